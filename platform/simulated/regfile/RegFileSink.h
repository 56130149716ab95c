/** What a registration file says, one statement after the other: told by its reader, taken by its writer. */
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "platform/Types.h"

namespace simulated {

/** Told what a file says, in the file's order. Views are good during the call. */
class RegFileSink {
 public:
  virtual ~RegFileSink() = default;
  /**
   * [path]: the values that follow belong to this key.
   * @param path           whole, under the long name of a predefined key, no part empty, and as Windows
   *                       allows it
   * @param lastWriteTime  empty where the file does not say
   */
  virtual void OpenKey(std::u16string_view path, std::optional<std::uint64_t> lastWriteTime) = 0;
  /** [-path]: the key and all below it go; no value follows. */
  virtual void DeleteKey(std::u16string_view path) = 0;
  /** @param name empty for the unnamed value */
  virtual void SetValue(std::u16string_view name, platform::DWORD type,
                        std::span<const std::uint8_t> bytes) = 0;
  virtual void DeleteValue(std::u16string_view name) = 0;
  /** One line on a key or value that Windows cannot hold: nothing else is told of it. */
  virtual void LeaveOut(const std::string& line) { static_cast<void>(line); }
  /** So many of the file's bytes are read: called now and then. */
  virtual void Progress(std::size_t doneBytes) { static_cast<void>(doneBytes); }
};

}  // namespace simulated
