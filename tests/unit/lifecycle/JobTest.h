/** Jobs of both lifecycle flows on the test's own machine: what starts, gates, receives and ends them. */
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

/** Holds programs up until a test lets them go. */
class Gate {
 public:
  /** The action of a program: reports that it runs, and waits. */
  void Pass();
  void Open();
  /** Waits until that many programs have come to the gate. */
  void WaitForArrivals(std::size_t count);

 private:
  std::mutex mutex;
  std::condition_variable changed;
  std::size_t arrivals = 0;
  bool isOpen = false;
};

/** One call of a job's callback. */
struct Report {
  /** The request that came with it, an InstallRequest or an UninstallRequest. */
  const void* request;
  /** Which of the two callbacks of its kind was called. */
  int callback;
  /** What the request's fields of these names were by then; a removal has no version. */
  std::string result;
  std::string errMsg;
  std::string version;
  /** Whether the job was still registered. */
  bool isRegistered;
  bool isOnHostThread;
};

/**
 * A wait in vain ends the process after a minute. The tables of running jobs have no lock, so jobs are
 * started one by one, each when the one before has read its request, and end one by one: a worker that has
 * reported holds the next report up until it is gone.
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

  /** Starts a job and returns when it has read its request. */
  void Start(InstallRecord& record, InstallCallback callback = &ReceiveInstall);
  void Start(UninstallRecord& record, UninstallCallback callback = &ReceiveUninstall);
  /** Starts a job and returns when it has ended. */
  void Run(InstallRecord& record);
  void Run(UninstallRecord& record);

  /** Runs a job. @return its calls of the platform in order, those in a row of the registry as "registry" */
  template <class Record>
  std::vector<std::string> StepsOf(Record& record) {
    return WithoutDetail(CallsOf([&] { Run(record); }));
  }

  /** Waits until that many jobs have ended, threads included. */
  void WaitForEnds(std::size_t count);
  std::vector<Report> Reports() const;

  LogCapture log;

 private:
  static std::vector<std::string> WithoutDetail(const std::vector<std::string>& calls);
  /** Lines that workers have logged so far. */
  std::size_t WorkerLines() const;
  template <class StartJob>
  void StartAndWaitForWorker(StartJob start);

  std::size_t startedCount = 0;
};

}  // namespace kestrelbay
