// The shell starts the program but returns no process handle. Install, Uninstall and StartApp then behave as
// if it does not run.
#include <KestrelbayGeneralSDK.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <future>

namespace {

// Never freed: the thread of a job may still be ending when the process does.
std::promise<void>& installed = *new std::promise<void>;
std::promise<void>& removed = *new std::promise<void>;
InstallRequest& install = *new InstallRequest{};
UninstallRequest& uninstall = *new UninstallRequest{};

bool InstallationJudgesAtOnce() {
  // The program runs for ten minutes, so a wait would be noticed.
  std::strcpy(install.installerPath, "C:\\handless.exe");
  std::strcpy(install.displayName, "New");
  Install(&install, [](InstallRequest*) { installed.set_value(); });
  installed.get_future().wait();
  return std::strcmp(install.ErrMsg, "Cannot find the app from registry!") == 0;
}

bool RemovalIsCancelled() {
  std::strcpy(uninstall.displayName, "Handless");
  Uninstall(&uninstall, [](UninstallRequest*) { removed.set_value(); });
  removed.get_future().wait();
  return std::strcmp(uninstall.Result, "Cancel") == 0;
}

}  // namespace

int main() {
  InitDllLogger([](const char*, std::int32_t, const char*) {});
  const bool isProven = InstallationJudgesAtOnce() && RemovalIsCancelled() && StartApp("Handless", "") == 0;
  std::_Exit(isProven ? 0 : 1);
}
