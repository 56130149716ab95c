/** The statements of a registration file: the reader calls these functions, and the writer implements them.
 */
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/Types.h"

namespace simulated {

/** Receives the statements of a file in their order. Views are valid during the call. */
class RegFileSink {
 public:
  virtual ~RegFileSink() = default;
  /**
   * [path]: the following values belong to this key.
   * @param path           whole, with the long name of a predefined key, without empty parts, and within
   *                       Windows' limits
   * @param lastWriteTime  empty if the file does not contain it
   */
  virtual void OpenKey(std::u16string_view path, std::optional<std::uint64_t> lastWriteTime) = 0;
  /** [-path]: deletes the key and all keys below it. No value follows. */
  virtual void DeleteKey(std::u16string_view path) = 0;
  /** @param name empty for the unnamed value */
  virtual void SetValue(std::u16string_view name, platform::DWORD type,
                        std::span<const std::uint8_t> bytes) = 0;
  virtual void DeleteValue(std::u16string_view name) = 0;
  /** Receives a warning about a key or value that Windows cannot store, instead of its statement. */
  virtual void LeaveOut(const std::string& line) { static_cast<void>(line); }
  /** Reports from time to time how many bytes of the file are read. */
  virtual void Progress(std::size_t doneBytes) { static_cast<void>(doneBytes); }
};

}  // namespace simulated
