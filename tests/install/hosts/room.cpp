// A version that is longer than its field overruns the record into the room behind it. room INSTALLER: the
// machine has an application "Long version", whose version is 260 characters of three bytes each.
#include <KestrelbayGeneralSDK.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <future>
#include <string>

namespace {

struct Job {
  InstallRequest request{};
  char room[1024]{};
};

Job job;
std::promise<void> done;

int Run(const char* installer) {
  std::strcpy(job.request.displayName, "Long version");
  std::strcpy(job.request.installerPath, installer);
  std::memset(job.room, '#', sizeof job.room);
  Install(&job.request, [](InstallRequest*) { done.set_value(); });
  done.get_future().wait();

  const char* const record = reinterpret_cast<const char*>(&job);
  const std::string bytes(record + offsetof(InstallRequest, DisplayVersion), record + sizeof job);
  std::string expected;
  for (int i = 0; i < 260; ++i) expected += "\u65e5";
  expected.push_back('\0');
  if (bytes.compare(0, expected.size(), expected) != 0) return 1;
  return bytes.find_first_not_of('#', expected.size()) == bytes.npos ? 0 : 2;
}

}  // namespace

int main(int, char** arguments) {
  InitDllLogger([](const char*, std::int32_t, const char*) {});
  std::_Exit(Run(arguments[1]));
}
