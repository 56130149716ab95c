/** Looks whether a hive file is whole, before anything is read of it. */
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace simulated {

/**
 * Goes through all bins of a hive, and from its root through all keys and values. libhivex looks at no more
 * than it is asked for, and takes a file that was cut off at the end of a page for a whole one.
 * @param doneBytes  raised by the file's bytes on the way, for another thread to look at
 * @return what is wrong, in a few words; nothing for a whole hive, also where more follows behind its end
 */
std::optional<std::string> FindHiveDamage(std::span<const std::uint8_t> file,
                                          std::atomic<std::uint64_t>& doneBytes);

}  // namespace simulated
