/**
 * A simulated Windows machine: what the operations of the port act on.
 *
 * A machine is built in code, as tests do, or read from a directory (MachineDirectory.h). One machine at a
 * time is the current one. Its parts are safe for any number of threads; replacing the current machine while
 * a port operation runs is not.
 */
#pragma once

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "simulated/base/Handles.h"
#include "simulated/machine/AppsFolder.h"
#include "simulated/machine/Clock.h"
#include "simulated/machine/Drives.h"
#include "simulated/machine/Environment.h"
#include "simulated/machine/Faults.h"
#include "simulated/machine/Journal.h"
#include "simulated/machine/Programs.h"
#include "simulated/machine/ShellIcons.h"
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

  /**
   * The machine that port operations act on, until another is put in its place: the one of the directory that
   * the environment variable KESTRELBAY_MACHINE names when it is first asked for, else an empty one. A
   * directory that cannot be used ends the process with one line on standard error and exit status 1.
   */
  static Machine& Current();
  /** The same, but null where nothing has asked for a machine yet. */
  static Machine* CurrentOrNull();
  /**
   * Replaces the current machine, whose open registry keys are closed with it. Events and processes belong to
   * the host's process and stay (Handles.h): a library makes events at load, before any machine is chosen.
   * @return the new one
   */
  static Machine& Use(std::unique_ptr<Machine> machine);

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

  /** Full path of the host's executable, as Windows would tell it. */
  std::u16string hostPath = u"C:\\Program Files\\Host\\host.exe";
  /** The host's current directory. */
  std::u16string currentDirectory = u"C:\\Program Files\\Host";
  /** What the elevation prompt answers. */
  bool elevationGranted = true;
  AppsFolder appsFolder;
  /** Names of the graphics adapters, in the system's order; nothing for one that fails to describe itself. */
  std::vector<std::optional<std::u16string>> graphicsAdapters;

  /** Keeps what belongs to the machine alive as long as it lives, such as a directory's lock. */
  std::shared_ptr<void> keepAlive;

 private:
  mutable std::mutex logLock_;
  std::vector<LogRecord> log_;
};

}  // namespace simulated
