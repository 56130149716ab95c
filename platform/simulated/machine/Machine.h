/**
 * A simulated Windows machine.
 *
 * Tests build a machine in code; MachineDirectory.h reads one from a directory. Port operations act on the
 * current machine (CurrentMachine.h). The parts are thread-safe.
 */
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "simulated/base/Clock.h"
#include "simulated/base/Handles.h"
#include "simulated/base/ObjectTable.h"
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
#include "simulated/registry/RegistryTree.h"

namespace simulated {

/** One record of the product's log. */
struct LogRecord {
  char level;  ///< 'D', 'I', 'W' or 'E'
  std::string file;
  std::string format;
};

/** What an HKEY of the port refers to. */
struct OpenedKey {
  /** Stays in memory while it is open, even after it was deleted. */
  std::shared_ptr<Key> key;
  /** The rights that it was opened with. */
  platform::DWORD rights = 0;
};

/** A new machine is empty: the default environment, no drives, and only predefined keys. */
class Machine {
 public:
  /** Empty if changes are discarded. */
  Keeper keeper;
  RegistryTree registry;
  Environment environment;
  Drives drives;
  Programs programs;
  Journal journal;
  Faults faults;
  Clock clock;
  /** The registry's open keys, except the predefined ones. Open, use and close them under its lock. */
  ObjectTable<platform::HKEY, OpenedKey> keys;
  ShellIcons shellIcons;
  /** The open icons, bitmaps, images and streams. */
  PictureObjects pictures;

  /** Counts the open registry keys without the predefined ones. */
  std::size_t OpenKeys() const { return keys.OpenCount(); }
  /** For tests: from now on LogRecords keeps each log record in memory, and none goes to the log file. */
  void CollectLogRecords();
  /** The records since CollectLogRecords. */
  std::vector<LogRecord> LogRecords() const;
  /** @return false if records are not collected: the caller writes the record to the log file */
  bool AddLogRecord(LogRecord record);
  /** Why a change could not be written, and where, in one line; empty if all changes were written. */
  std::string WriteProblem() const;
  void SetWriteProblem(std::string line);

  /** Whole path of the host's executable on this machine. */
  std::u16string hostPath = u"C:\\Program Files\\Host\\host.exe";
  /** The host's current directory. */
  std::u16string currentDirectory = u"C:\\Program Files\\Host";
  /** Whether the user accepts the elevation prompt. */
  bool elevationGranted = true;
  AppsFolder appsFolder;
  /** Names of the graphics adapters in the system's order. Empty for an adapter without a description. */
  std::vector<std::optional<std::u16string>> graphicsAdapters;

  /** Of a machine that is an offline Windows volume. */
  std::optional<VolumeFacts> volume;

  /** Anything that must live as long as the machine, such as the lock of its directory. */
  std::shared_ptr<void> keepAlive;

 private:
  mutable std::mutex logLock_;
  bool collectsLog_ = false;
  std::vector<LogRecord> log_;
  std::string writeProblem_;
};

}  // namespace simulated
