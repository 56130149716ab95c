/**
 * The commands of the host. Each is one file, which defines its Add function; a new one is named here twice,
 * in alphabetical order, because help lists them so.
 */
#pragma once

#include <CLI/App.hpp>
#include <functional>

#include "console/Failure.h"
#include "console/Output.h"

namespace cli {

/** What a command is given to work with. */
struct Session {
  /** Wanted by a program: one JSON text on standard output. */
  bool json = false;
  Output& out;
  /** The library's log is printed as it comes. */
  bool logs = false;
  /** The machine was named on the command line. */
  bool namesMachine = false;
  /** How the command ends where nothing failed. */
  ExitStatus status = kDone;
};

/** The command that was chosen, with its own options. */
struct Command {
  Command() = default;
  template <class Run>
  Command(Run action) : run(std::move(action)) {}  // NOLINT: what a command does is the command

  /** @throws Failure */
  std::function<void(Session&)> run;
  /** The machine at hand is opened before; a command that opens machines of its own has no need of it. */
  bool needsMachine = true;
};

/** Tells the parser of a command, and has it put into `chosen` when it is named on the command line. */
using AddCommand = void(CLI::App& app, Command& chosen);

AddCommand AddBlocked, AddCapture, AddDecrypt, AddDiff, AddEncrypt, AddExplain, AddFacts, AddForget, AddIcon,
    AddInstall, AddList, AddReport, AddRoot, AddRun, AddStart, AddUninstall, AddVersion;
inline constexpr AddCommand* kCommands[] = {
    AddBlocked, AddCapture, AddDecrypt, AddDiff, AddEncrypt, AddExplain, AddFacts,     AddForget, AddIcon,
    AddInstall, AddList,    AddReport,  AddRoot, AddRun,     AddStart,   AddUninstall, AddVersion};

}  // namespace cli
