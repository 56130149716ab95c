/**
 * Writes registration files as Windows exports them: UTF-16LE with a byte order mark and CRLF. The last write
 * time of a key becomes the comment that RegFile.h describes. The reader gets back exactly the same values,
 * byte for byte.
 *
 * A writer is a sink, so that the statements of one file can be written into another.
 */
#pragma once

#include <string>

#include "simulated/regfile/RegFileSink.h"

namespace simulated {

class RegFileWriter : public RegFileSink {
 public:
  RegFileWriter();

  /** @throws std::length_error for a path with a line end, which a registration file cannot contain */
  void OpenKey(std::u16string_view path, std::optional<std::uint64_t> lastWriteTime) override;
  /** @throws std::length_error as OpenKey */
  void DeleteKey(std::u16string_view path) override;
  void SetValue(std::u16string_view name, platform::DWORD type, std::span<const std::uint8_t> bytes) override;
  void DeleteValue(std::u16string_view name) override;

  /** Returns the file so far. Borrowed: valid until the next call. */
  std::span<const std::uint8_t> Bytes() const;

 private:
  void AppendKey(std::u16string_view bracket, std::u16string_view path);
  void AppendLine(std::u16string_view line);
  void AppendName(std::u16string_view name);
  void AppendQuoted(std::u16string_view text);
  void AppendHex(platform::DWORD type, std::span<const std::uint8_t> bytes);

  std::u16string text_;
};

}  // namespace simulated
