/** Scripts that complete the command line in a shell, made from what the parser knows. */
#pragma once

#include <CLI/App.hpp>
#include <string>

namespace cli {

/** The shells, as the user names them. */
inline constexpr const char* kBash = "bash";
inline constexpr const char* kPowerShell = "powershell";
inline constexpr const char* kZsh = "zsh";

/**
 * Returns a script that completes the commands of `app` and their options, and leaves all else to the shell,
 * which completes names of files.
 * @param shell  one of the names above
 */
std::string CompletionScript(const CLI::App& app, const std::string& shell);

}  // namespace cli
