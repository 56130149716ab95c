#include <windows.h>
// windows.h must come first.
#include "CodePages.h"

namespace capture {

std::vector<std::string> InCodePages(std::u16string_view text) {
  const std::wstring wide(text.begin(), text.end());
  std::vector<std::string> forms;
  for (const UINT codePage : {GetACP(), GetOEMCP()}) {
    // UTF-8 has every character, and does not take the flag that reports a missing one.
    BOOL isReplaced = FALSE;
    std::string narrow(wide.size() * 4, '\0');
    const int bytes = WideCharToMultiByte(
        codePage, codePage == CP_UTF8 ? 0 : WC_NO_BEST_FIT_CHARS, wide.data(), static_cast<int>(wide.size()),
        narrow.data(), static_cast<int>(narrow.size()), nullptr, codePage == CP_UTF8 ? nullptr : &isReplaced);
    narrow.resize(static_cast<std::size_t>(bytes));
    if (!isReplaced) forms.push_back(std::move(narrow));
  }
  return forms;
}

}  // namespace capture
