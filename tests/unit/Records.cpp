#include "Records.h"

#include <algorithm>

#include "frame/CommonFunc.h"

namespace kestrelbay {

std::string Describe(const InstalledAppInfo& app) {
  std::string text;
  const auto add = [&](const char* name, const std::string& value) {
    text.append(name).append("=\"").append(value).append("\" ");
  };
  add("DisplayName", WideToUtf8(app.DisplayName));
  add("InstallLocation", WideToUtf8(app.InstallLocation));
  add("DisplayVersion", WideToUtf8(app.DisplayVersion));
  add("UninstallString", WideToUtf8(app.UninstallString));
  add("rootKeyStr", WideToUtf8(app.rootKeyStr));
  add("subKeyPath", WideToUtf8(app.subKeyPath));
  add("architecture", std::to_string(app.architecture));
  add("DisplayIcon", WideToUtf8(app.DisplayIcon));
  add("IconText", app.IconText);
  add("InstallDate", WideToUtf8(app.InstallDate));
  add("LastWriteTime", WideToUtf8(app.LastWriteTime));
  return text;
}

std::vector<std::string> Describe(const InstalledAppList& apps) {
  std::vector<std::string> texts;
  std::ranges::transform(apps, std::back_inserter(texts),
                         [](const InstalledAppInfo& app) { return Describe(app); });
  return texts;
}

std::vector<std::u16string> NamesOf(const InstalledAppList& apps) {
  std::vector<std::u16string> names;
  std::ranges::transform(apps, std::back_inserter(names), &InstalledAppInfo::DisplayName);
  return names;
}

}  // namespace kestrelbay
