/** Encrypts short secrets into texts that only the same Windows user can decrypt. */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace kestrelbay {

/**
 * Has no state; thread-safe. Texts are bytes and are not converted. A failure returns the empty text; only
 * the log distinguishes it from an empty result. The names of the functions are prescribed.
 */
class Security {
 public:
  /** Created on first use, destroyed at unload. Thread-safe. */
  static Security& GetInstance();
  virtual ~Security() = default;

  /** @return base64 in lines of 64 characters, each ended by CR LF */
  std::string Encrypt(const std::string& text);
  /** @param text  a result of Encrypt; read up to its first NUL */
  std::string Decrypt(const std::string& text);

 private:
  Security() = default;

  std::vector<std::uint8_t> ProtectData(const std::string& text);
  std::string UnprotectData(const std::uint8_t* bytes, std::size_t length);
  std::string Byte2String(const std::uint8_t* bytes, std::size_t length);
  std::vector<std::uint8_t> String2Byte(const std::string& text);
};

/** Overwrites a secret with zeros. The optimiser cannot remove it. */
void Wipe(void* bytes, std::size_t length);

/**
 * Overwrites the stack below the caller. Functions that have returned leave parts of a secret there, and so
 * does the dynamic linker, which saves the registers that a copy went through.
 */
void WipeStack();

/**
 * A secret that is wiped when it is destroyed, also by an exception. Initialise it directly with the result
 * of a function: moving a short text leaves a copy of it in the source.
 */
struct SecretText {
  std::string text;

  ~SecretText() {
    Wipe(text.data(), text.size());
    // Freed first, because that is a call as well.
    std::string().swap(text);
    WipeStack();
  }
};

}  // namespace kestrelbay
