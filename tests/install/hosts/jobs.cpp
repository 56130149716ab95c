// All installations share one callback, and a stop is permanent.
// jobs INSTALLER: an installer that does not end while the file "running" is in the current folder.
#include <KestrelbayGeneralSDK.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>

namespace {

enum Callback { kOlder, kNewer };

struct Report {
  const InstallRequest* request;
  Callback callback;

  bool operator==(const Report&) const = default;
};

std::mutex mutex;
std::condition_variable changed;
std::deque<Report> reports;

void Add(const Report& report) {
  const std::lock_guard held(mutex);
  reports.push_back(report);
  changed.notify_all();
}
void Older(InstallRequest* request) { Add({request, kOlder}); }
void Newer(InstallRequest* request) { Add({request, kNewer}); }

/** Ends the program if there is no report for a minute. */
Report NextReport() {
  std::unique_lock held(mutex);
  if (!changed.wait_for(held, std::chrono::minutes(1), [] { return !reports.empty(); })) std::_Exit(9);
  const Report report = reports.front();
  reports.pop_front();
  return report;
}

InstallRequest Request(const char* name, const char* installer) {
  InstallRequest request{};
  std::strcpy(request.displayName, name);
  std::strcpy(request.installerPath, installer);
  return request;
}

int Run(const char* installer) {
  static InstallRequest held = Request("Held", installer);
  static InstallRequest refused = Request("Refused", "C:\\no such folder\\setup.exe");
  Install(&held, &Older);
  Install(&refused, &Newer);
  if (NextReport() != Report{&refused, kNewer}) return 1;  // while the first one runs

  SetStopAppEvent();
  if (NextReport() != Report{&held, kNewer}) return 2;  // to the last callback, not to its own

  static InstallRequest later = Request("Later", installer);
  Install(&later, &Older);
  return NextReport() == Report{&later, kOlder} ? 0 : 3;  // does not wait, although its installer runs
}

}  // namespace

int main(int, char** arguments) {
  InitDllLogger([](const char*, std::int32_t, const char*) {});
  std::fclose(std::fopen("running", "w"));
  const int result = Run(arguments[1]);
  std::remove("running");
  std::_Exit(result);
}
