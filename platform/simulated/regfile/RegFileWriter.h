/**
 * Writes registration files as Windows exports them: UTF-16LE with a byte order mark, CRLF, and each key's
 * last write time as the comment that the reader knows. What is written is read back exactly, byte for byte.
 *
 * A writer is itself a sink, so that what one file says can be written into another.
 */
#pragma once

#include <string>

#include "simulated/regfile/RegFileSink.h"

namespace simulated {

class RegFileWriter : public RegFileSink {
 public:
  RegFileWriter();

  /** @throws std::length_error where the path holds a line end, which no registration file can express */
  void OpenKey(std::u16string_view path, std::optional<std::uint64_t> lastWriteTime) override;
  /** As OpenKey. */
  void DeleteKey(std::u16string_view path) override;
  void SetValue(std::u16string_view name, platform::DWORD type, std::span<const std::uint8_t> bytes) override;
  void DeleteValue(std::u16string_view name) override;

  /** The whole file so far. The span is good until the next call. */
  std::span<const std::uint8_t> Bytes() const;

 private:
  void KeyLine(std::u16string_view bracket, std::u16string_view path);
  void Line(std::u16string_view line);
  void Name(std::u16string_view name);
  void Quoted(std::u16string_view text);
  void Hex(platform::DWORD type, std::span<const std::uint8_t> bytes);

  std::u16string text_;
};

}  // namespace simulated
