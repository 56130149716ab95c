/**
 * The commands of the host. Each is one file, which defines its Add function; a new one is named here twice,
 * in alphabetical order, because help lists them so.
 */
#pragma once

#include <CLI/App.hpp>
#include <functional>

#include "Output.h"

namespace host {

/** What a command is given to work with. */
struct Session {
  /** Wanted by a program: one JSON text on standard output. */
  bool json = false;
  Output& out;
  /** The library's log is printed as it comes. */
  bool logs = false;
};

/** The command that was chosen, with its own options. @throws Failure */
using Command = std::function<void(Session&)>;

/** Tells the parser of a command, and has it put into `chosen` when it is named on the command line. */
using AddCommand = void(CLI::App& app, Command& chosen);

AddCommand AddBlocked, AddCapture, AddDecrypt, AddEncrypt, AddFacts, AddForget, AddIcon, AddInstall, AddList,
    AddReport, AddRoot, AddRun, AddStart, AddUninstall, AddVersion;
inline constexpr AddCommand* kCommands[] = {AddBlocked, AddCapture, AddDecrypt, AddEncrypt,   AddFacts,
                                            AddForget,  AddIcon,    AddInstall, AddList,      AddReport,
                                            AddRoot,    AddRun,     AddStart,   AddUninstall, AddVersion};

}  // namespace host
