#include "console/Base64.h"

#include "platform/Constants.h"
#include "platform/Protection.h"

namespace cli {

using platform::DWORD;

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
