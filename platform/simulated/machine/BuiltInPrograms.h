/** The programs of Windows that the product starts. */
#pragma once

#include <string>

namespace simulated {

class Machine;

/** The folder of Windows, from the variable SystemRoot. */
std::u16string WindowsFolder(const Machine& machine);

/** Runs a program with the parameters of its command line. @return its exit code */
using BuiltIn = int (*)(Machine& machine, const std::u16string& parameters);

/**
 * Returns the program at that whole path, or null. There are reg.exe in the folder System32, and
 * explorer.exe.
 *
 * reg runs "delete KEY /f" alone, which is what the product starts it for, and returns 1 for anything else.
 * It splits its parameters as Windows does, so an unquoted blank in a key's name is an error. Without /f it
 * would ask, and there is nobody to answer. explorer returns 1 at once, as it does if its desktop runs
 * already.
 */
BuiltIn FindBuiltIn(const Machine& machine, const std::u16string& path);

}  // namespace simulated
