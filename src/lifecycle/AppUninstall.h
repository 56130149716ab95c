/**
 * The uninstall flow. Starts the uninstall command of an application. Waits for a change of the registry
 * entry, not for the program. The uninstallation succeeds if the application is no longer in the inventory.
 */
#pragma once

#include <string>
#include <thread>
#include <unordered_map>

#include "KestrelbayGeneralSDK.h"
#include "lifecycle/Jobs.h"
#include "platform/Types.h"

namespace kestrelbay {

/** The uninstall command and the registry entry of an application; empty if it was not found. */
struct UninstallTarget {
  std::string exePath;  ///< with its quotes, if it has any
  std::string para;     ///< the text after the blank that ends exePath
  std::string rootKeyStr;
  std::string subKeyPath;
  std::string architecture;  ///< "X86", "X64" or "ARCH_UNKNOWN"
};

/** As AppInstall, with a separate table and callback slot. */
class AppUninstall {
 public:
  /** Created on first use, destroyed at unload. Thread-safe. */
  static AppUninstall& GetInstance();
  virtual ~AppUninstall() = default;

  std::thread workerThread;
  std::unordered_map<std::string, UninstallRequest*> jobMap;
  UninstallCallback jobCallback = nullptr;

  /** Starts the worker of a job in `jobMap`. Blocks until the worker has taken its arguments. */
  void StartUninstall(const std::string& name);

  /** Runs one job on the calling thread. @return "Result", "ErrMsg", "DisplayName", and the look-up if the
   * application is still installed */
  ResultMap UninstallThreadImp(const std::string& displayName, const std::string& registryPath);

  /** Looks up the application and splits its uninstall command at the first blank after ".exe". */
  UninstallTarget GetUninstallPath(const std::string& displayName, const std::string& registryPath);

  /**
   * Looks up the application. The spelling of the name is prescribed by the interface.
   * @param info  out: its name, command, root, path and architecture; unchanged if the application is not
   * found
   */
  void InquryUnInstallInfo(ResultMap& info, const std::string& displayName, const std::string& registryPath);

  /** Starts the program elevated. @return its process, which by design stays open; null on failure */
  platform::HANDLE StartUninstallProcess(const std::string& appPath, const std::string& para);

  /**
   * Waits until the entry is deleted, a key below it is added or deleted, or StopEvent is set. Has no time
   * limit.
   * @param displayName  names the event that the change signals, so jobs of one name share the event
   * @return false if the watch failed to start
   */
  bool RegWatcher(std::string rootKeyStr, std::string subKeyPath, std::string architecture,
                  const std::string& displayName);

 private:
  AppUninstall() = default;

  void RunJob(const std::string& name);
};

}  // namespace kestrelbay
