/** Texts that leave nothing of themselves in memory. */
#pragma once

#include <string>

namespace cli {

/** Overwrites bytes where the optimiser cannot leave it out. */
inline void Wipe(char* bytes, std::size_t count) {
  volatile char* const units = bytes;
  for (std::size_t at = 0; at < count; ++at) units[at] = 0;
}

/** Wiped when it goes. A text that is assigned to it must be moved, or a copy stays. */
struct SecretText {
  SecretText() = default;
  SecretText(const SecretText&) = delete;
  SecretText& operator=(const SecretText&) = delete;
  ~SecretText() { Wipe(text.data(), text.size()); }

  std::string text;
};

}  // namespace cli
