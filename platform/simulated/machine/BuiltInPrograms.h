/** The programs that every Windows has and that a library may start. */
#pragma once

#include <string>

namespace simulated {

class Machine;

/** The folder that Windows is installed in, which is told by the variable SystemRoot. */
std::u16string WindowsFolder(const Machine& machine);

/** Runs a program with the parameters of its command line. @return its exit code */
using BuiltIn = int (*)(Machine& machine, const std::u16string& parameters);

/**
 * The program at that whole path, or null: reg.exe in the folder System32, and explorer.exe.
 *
 * reg deletes keys: "delete KEY /f", with /reg:32 or /reg:64. It takes its parameters apart as Windows does,
 * so an unquoted blank in a key's name is a mistake, and answers 1 for whatever it does not do. Without /f it
 * would ask, and nobody answers. explorer ends at once, as it does when its desktop runs already.
 */
BuiltIn FindBuiltIn(const Machine& machine, const std::u16string& path);

}  // namespace simulated
