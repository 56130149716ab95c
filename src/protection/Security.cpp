#include "protection/Security.h"

#include "base/SDKLog.h"
#include "platform/Constants.h"
#include "platform/Processes.h"
#include "platform/Protection.h"

namespace kestrelbay {
namespace {

constexpr char kFile[] = "Security";

// All records of this file have the level of information, even those of failures. Level and texts are
// prescribed.

// DATA_BLOB has no const form, although Windows only reads the bytes.
platform::DATA_BLOB BlobOf(const void* bytes, std::size_t length) {
  return {static_cast<platform::DWORD>(length), static_cast<platform::BYTE*>(const_cast<void*>(bytes))};
}

}  // namespace

void Wipe(void* bytes, std::size_t length) {
  volatile auto* const units = static_cast<volatile std::uint8_t*>(bytes);
  for (std::size_t at = 0; at < length; ++at) units[at] = 0;
}

void WipeStack() {
  // The deepest call, which opens the protected bytes, uses less than half of this.
  volatile std::uint8_t room[16384];
  for (volatile std::uint8_t& byte : room) byte = 0;
}

Security& Security::GetInstance() {
  static Security instance;
  return instance;
}

std::string Security::Encrypt(const std::string& text) {
  SDK_LOG(kLogInfo, kFile, "enter Encrypt");
  const std::vector<std::uint8_t> blob = ProtectData(text);
  if (blob.empty()) {
    SDK_LOG(kLogInfo, kFile, "ProtectData failed");
    return {};
  }
  return Byte2String(blob.data(), blob.size());
}

std::string Security::Decrypt(const std::string& text) {
  SDK_LOG(kLogInfo, kFile, "enter Decrypt");
  const std::vector<std::uint8_t> blob = String2Byte(text);
  if (blob.empty()) {
    SDK_LOG(kLogInfo, kFile, "String2Byte failed:size of buf=0");
    return {};
  }
  return UnprotectData(blob.data(), blob.size());
}

std::vector<std::uint8_t> Security::ProtectData(const std::string& text) {
  SDK_LOG(kLogInfo, kFile, "enter ProtectData");
  // The empty text is protected like any other. No entropy and no flags: the user's account alone opens the
  // result.
  platform::DATA_BLOB plain = BlobOf(text.data(), text.size());
  platform::DATA_BLOB blob{};
  if (!platform::CryptProtectData(&plain, nullptr, nullptr, nullptr, nullptr, 0, &blob)) {
    const platform::DWORD lastError = platform::GetLastError();
    SDK_LOG(kLogInfo, kFile, "CryptProtectData failed:%d", lastError);
    return {};
  }
  std::vector<std::uint8_t> bytes(blob.pbData, blob.pbData + blob.cbData);
  platform::LocalFree(blob.pbData);
  return bytes;
}

std::string Security::UnprotectData(const std::uint8_t* bytes, std::size_t length) {
  SDK_LOG(kLogInfo, kFile, "enter UnprotectData");
  // Returned by every path, so that the compiler builds it in the place of the result and never moves it.
  std::string text;
  platform::DATA_BLOB blob = BlobOf(bytes, length);
  platform::DATA_BLOB plain{};
  if (!platform::CryptUnprotectData(&blob, nullptr, nullptr, nullptr, nullptr, 0, &plain)) {
    const platform::DWORD lastError = platform::GetLastError();
    SDK_LOG(kLogInfo, kFile, "CryptUnprotectData failed, errCode=%d", lastError);
    return text;
  }
  // From char: assigning from bytes would copy the secret through a temporary text.
  text.assign(reinterpret_cast<const char*>(plain.pbData), plain.cbData);
  Wipe(plain.pbData, plain.cbData);
  platform::LocalFree(plain.pbData);
  return text;
}

std::string Security::Byte2String(const std::uint8_t* bytes, std::size_t length) {
  SDK_LOG(kLogInfo, kFile, "enter Byte2String");
  const auto byteCount = static_cast<platform::DWORD>(length);
  platform::DWORD chars = 0;
  platform::CryptBinaryToStringA(bytes, byteCount, platform::CRYPT_STRING_BASE64, nullptr, &chars);
  if (chars == 0) {
    SDK_LOG(kLogInfo, kFile, "CryptBinaryToStringA may be failed because nNeed=0");
    return {};
  }
  // The line breaks stay in the text, by design. If this call fails, the zeros stay: the empty text.
  std::string text(chars, '\0');
  platform::CryptBinaryToStringA(bytes, byteCount, platform::CRYPT_STRING_BASE64, text.data(), &chars);
  return text.c_str();
}

std::vector<std::uint8_t> Security::String2Byte(const std::string& text) {
  SDK_LOG(kLogInfo, kFile, "enter String2Byte");
  // Stays 0 if the text is not base64. A length of 0 means that the text ends at its NUL.
  platform::DWORD needed = 0;
  platform::CryptStringToBinaryA(text.c_str(), 0, platform::CRYPT_STRING_BASE64, nullptr, &needed, nullptr,
                                 nullptr);
  if (needed == 0) {
    SDK_LOG(kLogInfo, kFile, "CryptStringToBinaryA nNeed=%d", needed);
    return {};
  }
  std::vector<std::uint8_t> bytes(needed);
  if (!platform::CryptStringToBinaryA(text.c_str(), 0, platform::CRYPT_STRING_BASE64, bytes.data(), &needed,
                                      nullptr, nullptr)) {
    // Continues by design: UnprotectData fails on these bytes, and logs the reason of Windows.
    SDK_LOG(kLogInfo, kFile, "CryptStringToBinaryA failed");
  }
  return bytes;
}

}  // namespace kestrelbay
