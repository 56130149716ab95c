// Two jobs of one name each report their own request. A job that is started while the callback of the
// previous one runs loses its table entry and ends the process: only this end is a success here.
//
// twins INSTALLER: an installer that does not end while the file "running" is in the current folder.
#include <KestrelbayGeneralSDK.h>

#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <mutex>
#include <string_view>
#include <thread>
#include <vector>

namespace {

std::mutex mutex;
std::condition_variable changed;
std::vector<const InstallRequest*> reports;
int begun = 0;
bool isStarting = false;

/** Ends the program if the condition is still false after a minute. */
void WaitUntil(const std::function<bool()>& condition) {
  std::unique_lock held(mutex);
  if (!changed.wait_for(held, std::chrono::minutes(1), condition)) std::_Exit(9);
}

void Add(InstallRequest* request) {
  const std::lock_guard held(mutex);
  reports.push_back(request);
  changed.notify_all();
}

/** Counts the jobs that have begun. They have read their requests. */
void CountBegun(const char*, std::int32_t, const char* text) {
  if (std::string_view(text).find("InstallThreadImp begin.") == std::string_view::npos) return;
  const std::lock_guard held(mutex);
  ++begun;
  changed.notify_all();
}

void AddAndStayForTheNext(InstallRequest* request) {
  Add(request);
  WaitUntil([] { return isStarting; });
}

/** The next job is in the table, but its thread has not begun. Gives the previous job time to end. */
void LetTheOneBeforeEnd(const char*, std::int32_t, const char* text) {
  if (!std::string_view(text).starts_with("StartInstall:")) return;
  {
    const std::lock_guard held(mutex);
    isStarting = true;
    changed.notify_all();
  }
  std::this_thread::sleep_for(std::chrono::seconds(1));
}

void EndWell(int number) {
  // Windows removes the handler before it calls it. A second signal may come from another thread, or from the
  // library while it is unloaded.
  std::signal(number, &EndWell);
  std::remove("running");
  std::_Exit(0);
}

InstallRequest Twin(const char* installer) {
  InstallRequest request{};
  std::strcpy(request.displayName, "Twin");
  std::strcpy(request.installerPath, installer);
  return request;
}

int Run(const char* installer) {
  static InstallRequest twins[] = {Twin(installer), Twin(installer), Twin(installer), Twin(installer)};
  for (int i = 0; i < 2; ++i) Install(&twins[i], &Add);
  WaitUntil([] { return begun == 2; });
  SetStopAppEvent();
  WaitUntil([] { return reports.size() == 2; });
  if (reports[0] == reports[1]) return 1;
  for (int i = 0; i < 2; ++i) {
    if (std::strcmp(twins[i].Result, "Fail") != 0) return 2;
  }

  Install(&twins[2], &AddAndStayForTheNext);
  WaitUntil([] { return reports.size() == 3; });
  InitDllLogger(&LetTheOneBeforeEnd);
  for (const int number : {SIGSEGV, SIGABRT}) std::signal(number, &EndWell);
  Install(&twins[3], &Add);
  WaitUntil([] { return reports.size() == 4; });
  return 3;
}

}  // namespace

int main(int, char** arguments) {
  InitDllLogger(&CountBegun);
  std::fclose(std::fopen("running", "w"));
  const int result = Run(arguments[1]);
  std::remove("running");
  std::_Exit(result);
}
