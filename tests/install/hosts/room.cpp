// A version that is longer than its field overruns the record into the room behind it, also in a job of the
// guard. room INSTALLER: the machine has an application "Long version", whose version is 260 characters of
// three bytes each.
#include <KestrelbayGuard.h>

#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <future>
#include <string>
#include <thread>

namespace {

// The same record serves both: only the guard uses what follows the room.
GuardInstallJob plain, guarded;
std::promise<void> done;

void Fill(GuardInstallJob& job, const char* installer) {
  std::strcpy(job.request.displayName, "Long version");
  std::strcpy(job.request.installerPath, installer);
  std::memset(job.room, '#', sizeof job.room);
}

int Check(const GuardInstallJob& job) {
  const char* const record = reinterpret_cast<const char*>(&job);
  const std::string bytes(record + offsetof(InstallRequest, DisplayVersion), job.room + sizeof job.room);
  std::string expected;
  for (int i = 0; i < 260; ++i) expected += "\u65e5";
  expected.push_back('\0');
  if (bytes.compare(0, expected.size(), expected) != 0) return 1;
  return bytes.find_first_not_of('#', expected.size()) == bytes.npos ? 0 : 2;
}

int Run(const char* installer) {
  Fill(plain, installer);
  Install(&plain.request, [](InstallRequest*) { done.set_value(); });
  done.get_future().wait();
  if (const int failed = Check(plain)) return failed;

  Fill(guarded, installer);
  if (GuardStartInstall(&guarded) != 0) return 3;
  while (!guarded.finished) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  return Check(guarded) ? 4 : 0;
}

}  // namespace

int main(int, char** arguments) {
  InitDllLogger([](const char*, std::int32_t, const char*) {});
  std::_Exit(Run(arguments[1]));
}
