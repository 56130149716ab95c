#include <iconv.h>

#include "CodePages.h"
#include "Text.h"

namespace capture {
namespace {

constexpr std::size_t kBytes = 256;

/** ANSI and OEM code pages of western, central and eastern Europe, the Baltic states, Greece and Turkey. */
constexpr const char* kNames[] = {"CP1252", "CP850", "CP437",  "CP1250", "CP852",  "CP1257", "CP775",
                                  "CP1251", "CP866", "CP1253", "CP737",  "CP1254", "CP857"};

/** @return 0 if the byte is no character */
char16_t Decode(iconv_t converter, char byte) {
  char16_t unit = 0;
  char* from = &byte;
  char* to = reinterpret_cast<char*>(&unit);
  std::size_t fromBytes = 1;
  std::size_t toBytes = sizeof unit;
  return iconv(converter, &from, &fromBytes, &to, &toBytes) == 0 ? Folded(unit) : u'\0';
}

std::vector<CodePage> Read() {
  std::vector<CodePage> pages;
  for (const char* const name : kNames) {
    const iconv_t converter = iconv_open("UTF-16LE", name);
    if (converter == reinterpret_cast<iconv_t>(-1)) continue;
    CodePage& page = pages.emplace_back(kBytes);
    for (std::size_t byte = 0; byte < kBytes; ++byte) page[byte] = Decode(converter, static_cast<char>(byte));
    iconv_close(converter);
  }
  return pages;
}

}  // namespace

const std::vector<CodePage>& CodePages() {
  static const std::vector<CodePage> kPages = Read();
  return kPages;
}

}  // namespace capture
