#include "support/Records.h"

#include <algorithm>

#include "base/CommonFunc.h"

namespace kestrelbay {

InstalledAppInfo Named(const std::u16string& name) {
  InstalledAppInfo app;
  app.DisplayName = name;
  return app;
}

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

std::vector<std::string> Describe(const PlainRecords& records) {
  std::vector<std::string> texts;
  std::ranges::transform(records, std::back_inserter(texts),
                         [](const InstalledAppInfo& record) { return Describe(record); });
  return texts;
}

std::vector<std::u16string> NamesOf(const PlainRecords& records) {
  std::vector<std::u16string> names;
  std::ranges::transform(records, std::back_inserter(names), &InstalledAppInfo::DisplayName);
  return names;
}

PlainRecords RecordsOf(const AppRecords& apps) {
  PlainRecords records;
  for (const AppRecord& app : apps) {
    records.push_back({.DisplayName = std::u16string(app.DisplayName),
                       .InstallLocation = std::u16string(app.InstallLocation),
                       .DisplayVersion = std::u16string(app.DisplayVersion),
                       .UninstallString = std::u16string(app.UninstallString),
                       .rootKeyStr = std::u16string(app.rootKeyStr),
                       .subKeyPath = std::u16string(app.subKeyPath),
                       .architecture = app.architecture,
                       .DisplayIcon = std::u16string(app.DisplayIcon),
                       .IconText = app.IconText,
                       .InstallDate = std::u16string(app.InstallDate),
                       .LastWriteTime = std::u16string(app.LastWriteTime)});
  }
  return records;
}

}  // namespace kestrelbay
