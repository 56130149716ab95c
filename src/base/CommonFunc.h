/**
 * Functions that the whole library shares: text conversion and substitution, paths, process starts.
 *
 * Narrow text is UTF-8 and wide text is UTF-16, except in GetRootDir. The functions keep no state and are
 * thread-safe. A failed allocation throws.
 */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Types.h"

namespace kestrelbay {

/** @return the text up to its first NUL; invalid sequences become U+FFFD; empty if the conversion fails */
std::u16string Utf8ToWide(const std::string& text);

/** @return the text up to its first NUL; a lone surrogate becomes U+FFFD; empty if the conversion fails */
std::string WideToUtf8(std::u16string_view wide);

/** Replaces each `find`. Does not search the replacements again. REQUIRES: `find` is not empty. */
template <class Char>
std::basic_string<Char> ReplaceAll(std::basic_string<Char> text, std::basic_string_view<Char> find,
                                   std::basic_string_view<Char> replacement) {
  for (std::size_t at = 0; (at = text.find(find, at)) != text.npos; at += replacement.size()) {
    text.replace(at, find.size(), replacement);
  }
  return text;
}

/** Cuts at each `separator`. Keeps empty pieces, so there is always at least one. */
std::vector<std::u16string> SplitWide(std::u16string_view text, char16_t separator);

/**
 * Turns the icon path of an application into the path of its executable: the text up to the last ".exe", or a
 * path that ends in ".ico" with ".exe" instead. Drops quotes.
 * @return empty for any other text, including an ending in capitals
 */
std::string ExtractExePath(std::string iconPath);

/** @return true for a file or directory that exists; false for the empty path, without a system call */
bool FileExists(const std::string& path);

/**
 * Returns the directory of the host in the ANSI code page of the system.
 * @param mode  1 the current directory, 2 the directory of the host's executable, any other the empty text
 */
std::string GetRootDir(std::uint32_t mode);

/**
 * Starts a command line in a new console. By design both handles of the process stay open for the life of the
 * host.
 * @return the result of CreateProcessW
 */
std::int32_t StartProcess(std::u16string commandLine);

/**
 * Starts a program with elevation through the shell.
 * @param showCommand  an SW_ number for its window
 * @param process      out: the process, which the caller owns; null if the shell returned none
 * @return whether it was started; on failure the last error is set
 */
bool StartElevated(const std::string& file, const std::string& parameters, std::uint32_t showCommand,
                   platform::HANDLE& process);

/**
 * Starts a program with elevation.
 * @param showCommand  an SW_ number for its window
 * @return the process, which the caller owns; null on failure, including a refused prompt
 */
platform::HANDLE StartProcessElevated(const std::string& file, const std::string& parameters,
                                      std::uint32_t showCommand);

}  // namespace kestrelbay
