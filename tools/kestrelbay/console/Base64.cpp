#include "console/Base64.h"

#include "platform/Constants.h"
#include "platform/Protection.h"

namespace cli {

using platform::DWORD;

std::string ToBase64(std::string_view bytes) {
  constexpr DWORD kOneLine = platform::CRYPT_STRING_BASE64 | platform::CRYPT_STRING_NOCRLF;
  const auto* const first = reinterpret_cast<const platform::BYTE*>(bytes.data());
  const auto count = static_cast<DWORD>(bytes.size());
  DWORD chars = 0;
  if (!platform::CryptBinaryToStringA(first, count, kOneLine, nullptr, &chars)) return {};
  std::string text(chars, '\0');
  if (!platform::CryptBinaryToStringA(first, count, kOneLine, text.data(), &chars)) return {};
  text.resize(chars);  // without the NUL, for which the first call counts room
  return text;
}

std::string FromBase64(std::string_view text) {
  // The operation takes a length of 0 for a null-terminated text.
  if (text.empty()) return {};
  const auto chars = static_cast<DWORD>(text.size());
  const auto convert = [&](platform::BYTE* bytes, DWORD& count) {
    return platform::CryptStringToBinaryA(text.data(), chars, platform::CRYPT_STRING_BASE64, bytes, &count,
                                          nullptr, nullptr);
  };
  DWORD count = 0;
  if (!convert(nullptr, count)) return {};
  std::string bytes(count, '\0');
  if (!convert(reinterpret_cast<platform::BYTE*>(bytes.data()), count)) return {};
  bytes.resize(count);
  return bytes;
}

}  // namespace cli
