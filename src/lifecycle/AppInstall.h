/**
 * The install flow: runs one installer on a worker and judges it by whether the application shows up in the
 * inventory, never by the installer's exit code.
 */
#pragma once

#include <string>
#include <thread>
#include <unordered_map>

#include "KestrelbayGeneralSDK.h"
#include "lifecycle/Jobs.h"

namespace kestrelbay {

/**
 * Any number of jobs run at once, each on a detached worker that takes no lock: the table and the callback
 * slot are shared with later starts as they stand.
 */
class AppInstall {
 public:
  /** Made on first use by any thread, destroyed at unload. */
  static AppInstall& GetInstance();
  virtual ~AppInstall() = default;

  /** The worker started last, detached at once. */
  std::thread workerThread;
  /** Running jobs by display name: the caller's own records. A later one of a name takes its place. */
  std::unordered_map<std::string, InstallRequest*> jobMap;
  /** One for the whole instance: a job reports to the one stored last. */
  InstallCallback jobCallback = nullptr;

  /** Starts the worker of a job in `jobMap`. Returns when the worker has taken over its arguments. */
  void StartInstall(const std::string& name);

  /** Runs one job on the calling thread. @return its notes: "Result", "ErrMsg" and the version found */
  ResultMap InstallThreadImp(const std::string& installationPath, const std::string& displayName,
                             const std::string& registryPath, const std::string& para);

  /** Looks the application up and notes "DisplayName" and "DisplayVersion"; nothing when it is not found. */
  void InquryInstallInfo(ResultMap& info, const std::string& displayName, const std::string& registryPath);

  /** Starts the installer elevated and waits for its end or for StopEvent. @return whether it was started */
  bool StartInstallProcessAndWait(const std::string& appPath, const std::string& para);

 private:
  AppInstall() = default;

  void RunJob(const std::string& name);
};

}  // namespace kestrelbay
