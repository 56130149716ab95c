/**
 * The install flow: runs an installer on a worker and judges it by the inventory before and after, never by
 * the exit code of the installer.
 */
#pragma once

#include <string>
#include <thread>
#include <unordered_map>

#include "KestrelbayGeneralSDK.h"
#include "lifecycle/Jobs.h"

namespace kestrelbay {

/**
 * Any number of jobs run at once, each on a detached worker. By design the workers use the table and the
 * callback slot without a lock. The names of the members and functions are prescribed.
 */
class AppInstall {
 public:
  /** Created on first use, destroyed at unload. Thread-safe. */
  static AppInstall& GetInstance();
  virtual ~AppInstall() = default;

  /** The worker started last, detached at once. */
  std::thread workerThread;
  /** The records of the callers, by display name. A later job of a name replaces the earlier one. */
  std::unordered_map<std::string, InstallRequest*> jobMap;
  /** One slot for all jobs: a running job reports to the callback that was stored last. */
  InstallCallback jobCallback = nullptr;

  /** Starts the worker of a job in `jobMap`. Blocks until the worker has taken its arguments. */
  void StartInstall(const std::string& name);

  /** Runs one job on the calling thread. @return "Result", "ErrMsg" and the version found */
  ResultMap InstallThreadImp(const std::string& installationPath, const std::string& displayName,
                             const std::string& registryPath, const std::string& para);

  /**
   * Looks up the application. The spelling of the name is prescribed by the interface.
   * @param info  out: "DisplayName" and "DisplayVersion"; unchanged if the application is not found
   */
  void InquryInstallInfo(ResultMap& info, const std::string& displayName, const std::string& registryPath);

  /** Starts the installer elevated and waits for its end or for StopEvent. @return false if it did not start
   */
  bool StartInstallProcessAndWait(const std::string& appPath, const std::string& para);

 private:
  AppInstall() = default;

  void RunJob(const std::string& name);
};

}  // namespace kestrelbay
