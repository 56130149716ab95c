/**
 * The uninstall flow: starts an application's own uninstall command, waits for a change at its registry entry
 * and not for the program, and judges by whether the application is still in the inventory.
 */
#pragma once

#include <string>
#include <thread>
#include <unordered_map>

#include "KestrelbayGeneralSDK.h"
#include "lifecycle/Jobs.h"
#include "platform/Types.h"

namespace kestrelbay {

/** How an application is uninstalled, and where its entry stands; empty where it was not found. */
struct UninstallTarget {
  std::string exePath;  ///< with its quotes, where it has any
  std::string para;     ///< everything behind the blank that ends exePath
  std::string rootKeyStr;
  std::string subKeyPath;
  std::string architecture;  ///< "X86", "X64" or "ARCH_UNKNOWN"
};

/** Jobs and threads are as in AppInstall, with a table and a callback slot of their own. */
class AppUninstall {
 public:
  /** Made on first use by any thread, destroyed at unload. */
  static AppUninstall& GetInstance();
  virtual ~AppUninstall() = default;

  std::thread workerThread;
  std::unordered_map<std::string, UninstallRequest*> jobMap;
  UninstallCallback jobCallback = nullptr;

  /** Starts the worker of a job in `jobMap`. Returns when the worker has taken over its arguments. */
  void StartUninstall(const std::string& name);

  /** Runs one job on the calling thread. @return its notes: "Result", "ErrMsg" and what the look-up found */
  ResultMap UninstallThreadImp(const std::string& displayName, const std::string& registryPath);

  /** Looks the application up and splits its uninstall command at the first blank behind ".exe". */
  UninstallTarget GetUninstallPath(const std::string& displayName, const std::string& registryPath);

  /** Looks the application up and notes its name, command and place; nothing when it is not found. */
  void InquryUnInstallInfo(ResultMap& info, const std::string& displayName, const std::string& registryPath);

  /** Starts the program elevated. @return its process, which nothing here ever closes; null without one */
  platform::HANDLE StartUninstallProcess(const std::string& appPath, const std::string& para);

  /**
   * Waits for a sub key of the entry to come or go, or for StopEvent. One pass, without a time limit.
   * @param displayName  names the event that the change signals, so jobs of one name share it
   * @return false where the watch could not be set up
   */
  bool RegWatcher(std::string rootKeyStr, std::string subKeyPath, std::string architecture,
                  const std::string& displayName);

 private:
  AppUninstall() = default;

  void RunJob(const std::string& name);
};

}  // namespace kestrelbay
