#include <windows.h>
// windows.h must come first.
#include <string_view>

#include "CodePages.h"
#include "Text.h"

namespace capture {
namespace {

constexpr std::size_t kBytes = 256;

/** @return 0 if the bytes are not one character */
char16_t Decode(UINT number, std::string_view bytes) {
  wchar_t unit = 0;
  const int units = MultiByteToWideChar(number, MB_ERR_INVALID_CHARS, bytes.data(),
                                        static_cast<int>(bytes.size()), &unit, 1);
  return units == 1 ? Folded(static_cast<char16_t>(unit)) : u'\0';
}

CodePage Read(UINT number) {
  CodePage page(kBytes);
  for (std::size_t byte = 0; byte < kBytes; ++byte) {
    const char first = static_cast<char>(byte);
    if (!IsDBCSLeadByteEx(number, static_cast<BYTE>(byte))) {
      page[byte] = Decode(number, {&first, 1});
      continue;
    }
    page.resize(kBytes * kBytes);
    for (std::size_t trail = 0; trail < kBytes; ++trail) {
      const char both[] = {first, static_cast<char>(trail)};
      page[byte << 8 | trail] = Decode(number, {both, 2});
    }
  }
  return page;
}

}  // namespace

const std::vector<CodePage>& CodePages() {
  static const std::vector<CodePage> kPages{Read(GetACP()), Read(GetOEMCP())};
  return kPages;
}

}  // namespace capture
