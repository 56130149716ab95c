/** Short secrets as texts that only the same Windows user can turn back. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kestrelbay {

/**
 * Without state; any thread may call anything at any time. Texts are bytes: nothing is converted. A failure
 * is an empty text, told apart from an empty result by the log alone.
 */
class Security {
 public:
  /** Made on first use by any thread, destroyed at unload. */
  static Security& GetInstance();
  virtual ~Security() = default;

  /** @return base64 in lines of 64 characters, each ended by CR LF */
  std::string Encrypt(const std::string& text);
  /** @param text  what Encrypt gave, up to its first NUL */
  std::string Decrypt(const std::string& text);

 private:
  Security() = default;

  std::vector<std::uint8_t> ProtectData(const std::string& text);
  std::string UnprotectData(const std::uint8_t* bytes, std::size_t length);
  std::string Byte2String(const std::uint8_t* bytes, std::size_t length);
  std::vector<std::uint8_t> String2Byte(const std::string& text);
};

/** Overwrites a secret where the optimiser cannot leave it out. */
void Wipe(void* bytes, std::size_t length);

/**
 * A secret, wiped when it goes, whether by a return or by an exception. Made in place from what a function
 * returns: a text that is moved leaves a copy of itself behind where it is short.
 */
struct SecretText {
  std::string text;

  ~SecretText() { Wipe(text.data(), text.size()); }
};

}  // namespace kestrelbay
