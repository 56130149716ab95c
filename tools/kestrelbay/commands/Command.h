/**
 * The commands. Each one is a file that defines its Add function. To add a command, name its function twice
 * here, in alphabetical order, because the help lists commands in this order.
 */
#pragma once

#include <CLI/App.hpp>
#include <functional>

#include "console/Failure.h"
#include "console/Output.h"

namespace cli {

/** The options of every command, and its output. */
struct Session {
  /** --json: print one JSON text. */
  bool json = false;
  Output& out;
  /** --log: records of the library's log are printed at any time. */
  bool logs = false;
  /** --machine is given. */
  bool namesMachine = false;
  /** The exit status if nothing fails. */
  ExitStatus status = kDone;
};

/** A command with its own options. */
struct Command {
  Command() = default;
  template <class Run>
  Command(Run action)
      : run(std::move(action)) {}  // NOLINT: implicit, so that a command is assigned its action

  /** @throws Failure */
  std::function<void(Session&)> run;
  /** False for a command that opens its own machines. */
  bool needsMachine = true;
  /** The exit status on failure, and if damage makes the answer incomplete. */
  ExitStatus failed = kFailed;
};

/** Adds a command to the parser, which assigns it to `chosen` if the command line names it. */
using AddCommand = void(CLI::App& app, Command& chosen);

/** Refuses the empty text as the value of an option or argument. */
inline std::string RefuseEmpty(const std::string& text) { return text.empty() ? "the name is empty" : ""; }

AddCommand AddBlocked, AddCapture, AddCompletion, AddDecrypt, AddDiff, AddEncrypt, AddExplain, AddFacts,
    AddForget, AddIcon, AddInstall, AddList, AddReport, AddRoot, AddRun, AddStart, AddUninstall, AddVersion;
inline constexpr AddCommand* kCommands[] = {AddBlocked, AddCapture,   AddCompletion, AddDecrypt, AddDiff,
                                            AddEncrypt, AddExplain,   AddFacts,      AddForget,  AddIcon,
                                            AddInstall, AddList,      AddReport,     AddRoot,    AddRun,
                                            AddStart,   AddUninstall, AddVersion};

}  // namespace cli
