/** Icon paths: what is cut off and dropped, by a second way to the same text. */
#include <algorithm>
#include <string>
#include <string_view>

#include "Expect.h"
#include "base/CommonFunc.h"
#include "icons/AppIcon.h"
#include "simulated/base/WideText.h"

namespace {

/** Copies unit by unit up to the first comma. */
std::u16string NormalizedNaively(std::u16string_view icon) {
  std::u16string path;
  bool isSecondBackslash = false;
  for (const char16_t unit : icon.substr(0, icon.find(u','))) {
    if (unit == u'"') continue;
    isSecondBackslash = unit == u'\\' && !isSecondBackslash && path.ends_with(u'\\');
    if (!isSecondBackslash) path += unit;
  }
  const auto isOther = [](char16_t unit) { return unit != u' '; };
  path.erase(std::find_if(path.rbegin(), path.rend(), isOther).base(), path.end());
  path.erase(path.begin(), std::ranges::find_if(path, isOther));
  return path;
}

std::string ExecutableNaively(std::string path) {
  std::erase(path, '"');
  // A line end matches nothing in the expressions.
  if (path.find_first_of("\r\n") != path.npos) return {};
  if (const std::size_t last = path.rfind(".exe"); last != path.npos) return path.substr(0, last + 4);
  return path.ends_with(".ico") ? path.substr(0, path.size() - 4) + ".exe" : "";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  const std::u16string icon = simulated::FromUtf8(text);
  const std::u16string path = kestrelbay::NormalizeIconPath(icon);
  fuzz::Expect(path == NormalizedNaively(icon),
               "the path has no quote, index, doubled backslash or outer blank");
  const std::string executable = kestrelbay::ExtractExePath(text);
  fuzz::Expect(executable == ExecutableNaively(text), "the executable ends at the last .exe");
  fuzz::Outcome() = simulated::ToUtf8(path) + ", " + executable;
  return 0;
}
