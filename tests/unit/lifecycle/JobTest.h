/** Jobs of both flows on the machine of a test: functions that start, hold, receive and end them. */
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "HostCallbacks.h"
#include "JobRecords.h"
#include "LogText.h"
#include "support/OnMachine.h"

namespace kestrelbay {

/** Holds programs until a test releases them. */
class Gate {
 public:
  /** The action of a program: reports that it runs, then waits. */
  void Pass();
  void Open();
  /** Waits until that many programs wait here. */
  void WaitForArrivals(std::size_t count);

 private:
  std::mutex mutex;
  std::condition_variable changed;
  std::size_t arrivals = 0;
  bool isOpen = false;
};

/** One call of the callback of a job. */
struct Report {
  /** The request in the call, an InstallRequest or an UninstallRequest. */
  const void* request;
  /** Which of the two callbacks of its kind was called. */
  int callback;
  /** The fields of the request with these names at that time. An uninstallation has no version. */
  std::string result;
  std::string errMsg;
  std::string version;
  /** Whether the job was still in the table. */
  bool isRegistered;
  bool isOnHostThread;
};

/**
 * A wait without a result ends the process after a minute. The tables of running jobs have no lock. So jobs
 * are started one by one, each after the one before has read its request. They also end one by one: the next
 * report waits until the thread of the last reporting worker has ended.
 */
class JobTest : public OnMachine {
 public:
  static void ReceiveInstall(InstallRequest* request);
  static void ReceiveInstallElsewhere(InstallRequest* request);
  static void ReceiveUninstall(UninstallRequest* request);
  static void ReceiveUninstallElsewhere(UninstallRequest* request);

 protected:
  JobTest();
  ~JobTest() override;

  /** Registers an application in the 64-bit view. */
  void AddApp(const std::u16string& name, const std::u16string& version,
              const std::u16string& command = u"u");
  void RemoveApp(const std::u16string& name);
  static std::u16string KeyOf(const std::u16string& name) { return kUninstall64Path + u"\\" + name; }
  /** Adds a program and its file. */
  void SetProgram(const std::u16string& path, const std::function<int()>& run, bool givesHandle = true);

  /** Starts a job. Returns when the job has read its request. */
  void Start(InstallRecord& record, InstallCallback callback = &ReceiveInstall);
  void Start(UninstallRecord& record, UninstallCallback callback = &ReceiveUninstall);
  /** Starts a job. Returns when the job has ended. */
  void Run(InstallRecord& record);
  void Run(UninstallRecord& record);

  /** Runs a job. @return its calls of the platform in order; several calls of the registry in a row are
   * "registry" */
  template <class Record>
  std::vector<std::string> StepsOf(Record& record) {
    return WithoutDetail(CallsOf([&] { Run(record); }));
  }

  /** Waits until that many jobs and their threads have ended. */
  void WaitForEnds(std::size_t count);
  std::vector<Report> Reports() const;

  LogCapture log;

 private:
  static std::vector<std::string> WithoutDetail(const std::vector<std::string>& calls);
  /** @return the lines that workers have logged so far */
  std::size_t WorkerLines() const;
  template <class StartJob>
  void StartAndWaitForWorker(StartJob start);

  std::size_t startedCount = 0;
};

}  // namespace kestrelbay
