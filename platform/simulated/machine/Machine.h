/**
 * A simulated Windows machine: what the operations of the port act on.
 *
 * A machine is built in code, as tests do, or read from a directory (MachineDirectory.h). Port operations act
 * on the current one (CurrentMachine.h). Its parts are thread-safe.
 */
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "simulated/base/Clock.h"
#include "simulated/base/Handles.h"
#include "simulated/machine/AppsFolder.h"
#include "simulated/machine/Drives.h"
#include "simulated/machine/Environment.h"
#include "simulated/machine/Faults.h"
#include "simulated/machine/Journal.h"
#include "simulated/machine/KeptChanges.h"
#include "simulated/machine/Programs.h"
#include "simulated/machine/ShellIcons.h"
#include "simulated/machine/VolumeFacts.h"
#include "simulated/pictures/PictureObjects.h"
#include "simulated/registry/KeyHandles.h"
#include "simulated/registry/RegistryTree.h"

namespace simulated {

/** One record that log.dll was given. */
struct LogRecord {
  char level;  ///< 'D', 'I', 'W' or 'E'
  std::string file;
  std::string format;
};

class Machine {
 public:
  /** An empty machine: the default environment, no drives, and a registry of predefined keys alone. */
  Machine();
  ~Machine();

  /** Empty if changes are discarded. */
  Keeper keeper;
  RegistryTree registry;
  Environment environment;
  Drives drives;
  Programs programs;
  Journal journal;
  Faults faults;
  Clock clock;
  /** The registry's open keys; guarded by its lock. */
  KeyHandles keys;
  ShellIcons shellIcons;
  /** The icons, bitmaps, images and streams that are open. */
  PictureObjects pictures;

  /** How many registry keys are open, the predefined ones left out. */
  std::size_t OpenKeys();
  /** What was given to log.dll so far. */
  std::vector<LogRecord> LogRecords() const;
  void AddLogRecord(LogRecord record);
  /** Why a change could not be written, and where, in one line; empty while all could. */
  std::string WriteProblem() const;
  void SetWriteProblem(std::string line);

  /** Full path of the host's executable, as Windows would tell it. */
  std::u16string hostPath = u"C:\\Program Files\\Host\\host.exe";
  /** The host's current directory. */
  std::u16string currentDirectory = u"C:\\Program Files\\Host";
  /** What the elevation prompt answers. */
  bool elevationGranted = true;
  AppsFolder appsFolder;
  /** Names of the graphics adapters, in the system's order; nothing for one that fails to describe itself. */
  std::vector<std::optional<std::u16string>> graphicsAdapters;

  /** Of a machine that is an offline Windows volume. */
  std::optional<VolumeFacts> volume;

  /** Keeps what belongs to the machine alive as long as it lives, such as a directory's lock. */
  std::shared_ptr<void> keepAlive;

 private:
  mutable std::mutex logLock_;
  std::vector<LogRecord> log_;
  std::string writeProblem_;
};

}  // namespace simulated
