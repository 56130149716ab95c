#include "icons/AppIcon.h"

#include "base/CommonFunc.h"
#include "icons/IconPicture.h"

namespace kestrelbay {
namespace {

std::u16string TrimSpaces(const std::u16string& text) {
  const std::size_t begin = text.find_first_not_of(u' ');
  if (begin == text.npos) return {};
  return text.substr(begin, text.find_last_not_of(u' ') - begin + 1);
}

}  // namespace

std::string GetAppIconText(std::u16string_view displayIcon, bool extract) {
  if (displayIcon.empty()) return {};
  // The case matters, by design: "tool.EXE" is passed on as a path. So are icon files and DLLs, which are not
  // read.
  if (displayIcon.find(u".exe") == displayIcon.npos) return WideToUtf8(NormalizeIconPath(displayIcon));
  std::string base64;
  if (!extract || !IconToPngBase64(NormalizeIconPath(displayIcon), base64)) return {};
  return "data:image/png;base64," + base64;
}

std::u16string NormalizeIconPath(std::u16string_view displayIcon) {
  // Drops the icon index. By design a comma in a folder name cuts the path, too.
  std::u16string path = SplitWide(displayIcon, u',').front();
  std::erase(path, u'"');
  return TrimSpaces(ReplaceAll<char16_t>(std::move(path), u"\\\\", u"\\"));
}

}  // namespace kestrelbay
