/** Where Windows looks for a program: folders, the path, App Paths, and names without an extension. */
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/Types.h"
#include "simulated/machine/BuiltInPrograms.h"
#include "simulated/machine/Machine.h"

namespace simulated {

struct FoundProgram {
  std::u16string path;
  Program program;
  /** The program of Windows to run instead of `program`, or null. */
  BuiltIn builtIn = nullptr;
  /** Error number if something at the path cannot be started, such as a folder; otherwise 0. */
  platform::DWORD problem = 0;
};

/** CreateProcess and the shell look for a bare name in different places. */
enum class Seeker { Creation, Shell };

/** Removes all quotes around a name. */
std::u16string WithoutQuotes(std::u16string_view file);

/** Finds a program by its path or by a bare name, which is complete. */
std::optional<FoundProgram> FindNamed(Machine& machine, const std::u16string& name, Seeker seeker);

/** The same; a name without an extension is first looked for with ".exe". */
std::optional<FoundProgram> FindProgram(Machine& machine, std::u16string_view name, Seeker seeker);

/**
 * Finds the program at the beginning of a command line. Without quotes the name may contain blanks: as on
 * Windows, the shortest beginning that names a program is used.
 * @param parameters  out: the rest of the line
 */
std::optional<FoundProgram> FindByCommandLine(Machine& machine, std::u16string_view line,
                                              std::u16string& parameters);

}  // namespace simulated
