// The results of jobs that change nothing, and the paths that jobs accept. outcomes INSTALLER ENDED PACKAGE:
// an installer that ends at once if the file "running" is not in the current folder, the file that the
// uninstaller of "Cancelled" makes when it ends, and a package that is not a program.
#include <KestrelbayGeneralSDK.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <future>
#include <string>
#include <thread>

namespace {

struct Ending {
  std::string result;
  std::string message;

  bool operator==(const Ending&) const = default;
};

// A new one for each job, never freed: the previous job may still be in its callback.
std::promise<void>* done = nullptr;
void SetDone() { done->set_value(); }

bool EndsAs(const Ending& expected, const std::string& job, const char* result, const char* message) {
  const Ending ending = {result, message};
  if (ending != expected) std::printf("%s: %s, %s\n", job.c_str(), result, message);
  return ending == expected;
}

bool Installs(const std::string& path, const std::string& name, const Ending& expected) {
  static struct {
    InstallRequest request;
    char room[1024];  // for the version of "Long version"
  } job;
  job = {};
  InstallRequest& request = job.request;
  std::strcpy(request.installerPath, path.c_str());
  std::strcpy(request.displayName, name.c_str());
  done = new std::promise<void>;
  Install(&request, [](InstallRequest*) { SetDone(); });
  done->get_future().wait();
  return EndsAs(expected, "install " + path, request.Result, request.ErrMsg);
}

bool Removes(const std::string& name, const Ending& expected) {
  static UninstallRequest request;
  request = {};
  std::strcpy(request.displayName, name.c_str());
  done = new std::promise<void>;
  Uninstall(&request, [](UninstallRequest*) { SetDone(); });
  done->get_future().wait();
  return EndsAs(expected, "remove " + name, request.Result, request.ErrMsg);
}

/** The uninstaller ends and changes nothing: the uninstallation waits until the stop. */
bool IsCancelled(const char* ended) {
  static UninstallRequest request;
  std::strcpy(request.displayName, "Cancelled");
  done = new std::promise<void>;
  std::future<void> end = done->get_future();
  Uninstall(&request, [](UninstallRequest*) { SetDone(); });
  for (int i = 0; i < 6000 && !std::ifstream(ended); ++i)
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  if (!std::ifstream(ended)) return false;
  if (end.wait_for(std::chrono::milliseconds(500)) != std::future_status::timeout) return false;
  SetStopAppEvent();
  end.wait();
  return EndsAs({"Fail", "The app is still in registry!"}, "cancelled", request.Result, request.ErrMsg);
}

int Run(const std::string& installer, const char* ended, const char* package) {
  const Ending missing = {"Fail", "Install path is not exist!"};
  const Ending notFound = {"Fail", "Cannot find the app from registry!"};
  if (!Installs("", "", {"Fail", "Install path is empty!"})) return 1;
  if (!Installs("C:\\no such folder\\setup.exe", "", missing)) return 2;
  if (!Installs("\"" + installer + "\"", "New", missing)) return 3;
  if (!Installs(installer, "", {"Fail", "DisplayName is empty!"})) return 4;
  if (!Installs(installer, "New", notFound)) return 5;
  if (!Installs(installer, "Long version", {"Fail", "Update fail!"})) return 6;
  if (!Installs(installer.substr(installer.rfind('\\') + 1), "New", notFound)) return 7;  // a relative path
  if (!Installs(package, "New", notFound)) return 8;

  if (!Removes("", {"Fail", "DisplayName is empty!"})) return 11;
  if (!Removes("New", {"Fail", "Get uninstall path is empty!"})) return 12;
  if (!Removes("Without uninstaller", {"Fail", "Uninstall path is not exist!"})) return 13;
  if (!Removes("Long version", {"Cancel", "Start uninstall process fail!"})) return 14;
  std::remove(ended);
  if (!IsCancelled(ended)) return 15;

  if (!StartAnyExe(installer.c_str(), "")) return 21;
  if (StartAnyExe(("\"" + installer + "\"").c_str(), "")) return 22;
  return StartAnyExe("%SystemRoot%\\explorer.exe", "") ? 23 : 0;
}

int failedStarts = 0;

void CountFailedStarts(const char*, std::int32_t, const char* text) {
  failedStarts += std::strstr(text, "Create process failed") != nullptr;
}

}  // namespace

int main(int, char** arguments) {
  InitDllLogger(&CountFailedStarts);
  const int result = Run(arguments[1], arguments[2], arguments[3]);
  const bool isLogged = failedStarts == 2;  // the package, and "Long version", whose command is not a program
  std::_Exit(result != 0 || isLogged ? result : 31);
}
