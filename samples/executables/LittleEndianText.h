/** Writes numbers as Windows' files have them: the lowest byte first. */
#pragma once

#include <cstdint>
#include <string>

namespace samples {

inline void Put(std::string& text, std::uint64_t number, int bytes) {
  for (int i = 0; i < bytes; ++i) text += static_cast<char>(number >> (8 * i) & 0xFF);
}

inline void Put8(std::string& text, std::uint64_t number) { Put(text, number, 1); }
inline void Put16(std::string& text, std::uint64_t number) { Put(text, number, 2); }
inline void Put32(std::string& text, std::uint64_t number) { Put(text, number, 4); }

/** Fills up to the next multiple of `step`. */
inline void Align(std::string& text, std::size_t step) {
  text.resize((text.size() + step - 1) / step * step);
}

}  // namespace samples
