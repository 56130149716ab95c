#include <iconv.h>

#include "CodePages.h"

namespace capture {
namespace {

/** ANSI and OEM code pages of western, central and eastern Europe, Greece and Turkey. */
constexpr const char* kCodePages[] = {"CP1252", "CP850",  "CP437", "CP1250", "CP852", "CP1251",
                                      "CP866",  "CP1253", "CP737", "CP1254", "CP857"};

/** @return empty if the code page lacks a character */
std::string Convert(const char* codePage, std::u16string_view text) {
  const iconv_t converter = iconv_open(codePage, "UTF-16LE");
  if (converter == reinterpret_cast<iconv_t>(-1)) return {};
  std::string narrow(text.size(), '\0');
  // iconv does not change its input, although the parameter is not const.
  char* from = reinterpret_cast<char*>(const_cast<char16_t*>(text.data()));
  char* to = narrow.data();
  std::size_t fromBytes = text.size() * sizeof(char16_t);
  std::size_t toBytes = narrow.size();
  const bool isWhole = iconv(converter, &from, &fromBytes, &to, &toBytes) == 0;
  iconv_close(converter);
  return isWhole ? narrow.substr(0, narrow.size() - toBytes) : std::string();
}

}  // namespace

std::vector<std::string> InCodePages(std::u16string_view text) {
  std::vector<std::string> forms;
  for (const char* codePage : kCodePages) {
    std::string narrow = Convert(codePage, text);
    if (!narrow.empty()) forms.push_back(std::move(narrow));
  }
  return forms;
}

}  // namespace capture
