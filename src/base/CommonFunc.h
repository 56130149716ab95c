/**
 * Small services that the whole library shares: text conversion and substitution, paths, process starts.
 *
 * Narrow text is UTF-8 and wide text UTF-16, but for GetRootDir. Nothing here keeps state, so any thread may
 * call anything at any time. A failed allocation leaves as an exception.
 */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Types.h"

namespace kestrelbay {

/** @return the text up to its first NUL; invalid sequences become U+FFFD; empty where conversion fails */
std::u16string Utf8ToWide(const std::string& text);

/** @return the text up to its first NUL; a lone surrogate becomes U+FFFD; empty where conversion fails */
std::string WideToUtf8(std::u16string_view wide);

/** Replaces every `find`, which is not empty. What was put in is not searched again. */
template <class Char>
std::basic_string<Char> ReplaceAll(std::basic_string<Char> text, std::basic_string_view<Char> find,
                                   std::basic_string_view<Char> replacement) {
  for (std::size_t at = 0; (at = text.find(find, at)) != text.npos; at += replacement.size()) {
    text.replace(at, find.size(), replacement);
  }
  return text;
}

/** Cuts at every `separator`; empty pieces are kept, so there is always at least one. */
std::vector<std::u16string> SplitWide(std::u16string_view text, char16_t separator);

/**
 * Turns the location of an application's icon into the path of its executable: everything up to the last
 * ".exe", or a path that ends in ".ico" with ".exe" in its place. Quotes are dropped.
 * @return empty for anything else, an ending in capitals included
 */
std::string ExtractExePath(std::string iconPath);

/** @return true for a file or directory that exists; false for the empty path, without asking */
bool FileExists(const std::string& path);

/**
 * Where the host runs, as bytes of the system's ANSI code page.
 * @param mode  1 the current directory, 2 the directory of the host's executable, any other the empty text
 */
std::string GetRootDir(std::uint32_t mode);

/**
 * Starts a command line in a console of its own. Both handles of a started process stay open for the life of
 * the host: nothing here ever needs them, and that is meant.
 * @return what CreateProcessW returned
 */
std::int32_t StartProcess(std::u16string commandLine);

/**
 * Asks the shell to start a program with elevation.
 * @param showCommand  how its window is shown, an SW_ number
 * @param process      receives the process, which the caller owns; null where the shell gave none
 * @return whether it was started; if not, the last error says why
 */
bool StartElevated(const std::string& file, const std::string& parameters, std::uint32_t showCommand,
                   platform::HANDLE& process);

/**
 * Starts a program with elevation.
 * @param showCommand  how its window is shown, an SW_ number
 * @return the process, which the caller owns; null on failure, a refused prompt included
 */
platform::HANDLE StartProcessElevated(const std::string& file, const std::string& parameters,
                                      std::uint32_t showCommand);

}  // namespace kestrelbay
