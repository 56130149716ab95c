// The C++ layer on the sample machine: each claim of its header. cpp-layer prints the line that failed.
// cpp-layer empty: on a machine without applications. cpp-layer outside: on the machine of that name.
#include <KestrelbayGeneral.hpp>

#include <dlfcn.h>
#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <type_traits>

using kestrelbay::host::InstallOrder;
using kestrelbay::host::Library;
using kestrelbay::host::Secret;

#define CHECK(condition)                                  \
  do {                                                    \
    if (!(condition)) {                                   \
      std::printf("line %d: %s\n", __LINE__, #condition); \
      return 1;                                           \
    }                                                     \
  } while (0)

static_assert(!std::is_copy_constructible_v<Secret> && std::is_nothrow_move_constructible_v<Secret>);
static_assert(!std::is_constructible_v<Library> && !std::is_copy_constructible_v<Library>);

namespace {

thread_local bool areThreadsRefused = false;

}  // namespace

// The library's start of a thread comes here.
extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                              void* argument) noexcept {
  if (areThreadsRefused) return EAGAIN;
  static const auto create = reinterpret_cast<decltype(&pthread_create)>(dlsym(RTLD_NEXT, "pthread_create"));
  return create(thread, attributes, start, argument);
}

namespace {

template <class Error, class Call>
bool Raises(Call call) {
  try {
    call();
  } catch (const Error&) {
    return true;
  }
  return false;
}

int ListsAndFacts(Library& library) {
  auto apps = library.List();
  CHECK(apps.size() == 45);
  const auto moved = std::move(apps);
  int dated = 0;
  for (const auto& app : moved) dated += app.changed.has_value();
  CHECK(dated > 0);
  CHECK(library.ListAsync(true).get().size() == 45);
  CHECK(library.Graphics() == "Lumenfall G40,Basic Display Driver");
  CHECK(library.IsTablet() == false);
  CHECK(library.Proxy() == "proxy.desk.example:8080");
  CHECK(library.FreeSpace('C') == 179200);
  CHECK(!library.FreeSpace('?'));
  CHECK(library.Version("Inkwhistle PDF Viewer"));
  CHECK(!library.Version("Nobody has this"));
  CHECK(!library.TakeLog().empty());
  return 0;
}

int Secrets(Library& library) {
  const auto text = library.Protect(Secret("a secret"));
  CHECK(text);
  const auto secret = library.Unprotect(*text);
  CHECK(secret && secret->View() == "a secret");
  CHECK(!library.Unprotect("no protected text"));
  CHECK(Raises<std::invalid_argument>([&] { library.Unprotect(std::string_view("a\0b", 3)); }));
  return 0;
}

int RefusesAnEmptySecret(Library& library) {
  CHECK(Raises<std::invalid_argument>([&] { (void)library.Protect(Secret("")); }));
  const Secret empty{std::string_view()};
  CHECK(empty.View().empty());
  return 0;
}

int RefusesQuotesAroundPaths(Library& library) {
  CHECK(Raises<std::invalid_argument>([&] { (void)library.Install({"\"C:\\setup.exe\"", "a"}); }));
  CHECK(Raises<std::invalid_argument>([&] { library.Run("\"C:\\setup.exe\""); }));
  return 0;
}

std::ptrdiff_t CountOf(Library& library, const std::string& name) {
  const auto apps = library.List();
  return std::count_if(apps.begin(), apps.end(), [&](const auto& app) { return app.name == name; });
}

/** For such an entry the library deletes nothing, or the entry of another application. */
int ForgetsOnlyEntriesOfThe64BitView(Library& library) {
  for (const char* name : {"Bramblefont Manager", "Confetti Chat 🎉"}) {
    CHECK(Raises<std::invalid_argument>([&] { library.Forget(name); }));
    CHECK(CountOf(library, name) == 2);
  }
  CHECK(library.Forget("Umberline Accounting") && CountOf(library, "Umberline Accounting") == 0);
  CHECK(!library.Forget("Umberline Accounting"));
  return 0;
}

/** A thread that cannot be started does not wait for the jobs before it, and does not stop those after it. */
int RaisesAtOnceWithoutThread(Library& library) {
  const InstallOrder missing{"C:\\no such file.exe", "Nobody has this"};
  auto first = library.Install(missing);
  areThreadsRefused = true;
  const bool isRaised = Raises<std::system_error>([&] { (void)library.Install(missing); });
  areThreadsRefused = false;
  CHECK(isRaised && first.wait_for(std::chrono::seconds(0)) == std::future_status::timeout);
  CHECK(library.Install(missing).get().message == "Install path is not exist!");
  return 0;
}

int Jobs(Library& library) {
  const std::string installer = "C:\\Users\\Anna\\Downloads\\mothlight-setup.exe";
  auto installed = library.Install({installer, "Mothlight Player"});
  auto missing = library.Install({"C:\\no such file.exe", "Nobody has this"});
  CHECK(missing.get().message == "Install path is not exist!");
  // The previous job has ended: jobs of a kind do not overlap.
  CHECK(installed.wait_for(std::chrono::seconds(0)) == std::future_status::ready);
  const auto outcome = installed.get();
  CHECK(outcome.isSuccess && outcome.message == "NULL" && outcome.version == "2.6.1");
  CHECK(library.Uninstall("Mothlight Player").get().isSuccess);
  CHECK(Raises<std::invalid_argument>([&] { (void)library.Uninstall(std::string(260, 'x')); }));
  library.TakeLog();
  auto running = library.Install({"C:\\no such file.exe", "Nobody has this"});
  while (library.TakeLog().empty()) std::this_thread::yield();
  auto waiting = library.Install({installer, "Mothlight Player"});
  library.Stop().StopForTheLifeOfThisProcess();
  running.get();
  CHECK(Raises<std::logic_error>([&] { waiting.get(); }));
  CHECK(!library.Version("Mothlight Player"));
  CHECK(Raises<std::logic_error>([&] { (void)library.Uninstall("Mothlight Player"); }));
  return 0;
}

int OnTheSampleMachine(Library& library) {
  return ListsAndFacts(library) || Secrets(library) || RefusesAnEmptySecret(library) ||
         RefusesQuotesAroundPaths(library) || RaisesAtOnceWithoutThread(library) ||
         ForgetsOnlyEntriesOfThe64BitView(library) || Jobs(library);
}

int ListsNothing(Library& library) {
  CHECK(library.List().empty() && library.ListAsync(true).get().empty());
  return 0;
}

/** A time that the clock cannot hold is unknown, and the rest of the list is as ever. */
int ListsTimesOutsideTheClock(Library& library) {
  const auto apps = library.List();
  CHECK(apps.size() == 4 && apps[0].name == "Dated" && apps[0].changed);
  CHECK(apps[1].name == "Far future" && !apps[1].changed);
  CHECK(apps[2].name == "Far past" && !apps[2].changed);
  return 0;
}

int GivesRoomToAVersionThatOverrunsTheRecord(Library& library) {
  const auto outcome = library.Install({"C:\\installer.exe", "Long version"}).get();
  CHECK(outcome.message == "Update fail!" && outcome.version == library.Version("Long version"));
  CHECK(outcome.version.size() == 3 * 259);
  return 0;
}

int OnTheMachineOutside(Library& library) {
  return ListsTimesOutsideTheClock(library) || GivesRoomToAVersionThatOverrunsTheRecord(library);
}

}  // namespace

int main(int, char** arguments) {
  Library& library = Library::Get();
  if (!arguments[1]) return OnTheSampleMachine(library);
  return std::strcmp(arguments[1], "empty") == 0 ? ListsNothing(library) : OnTheMachineOutside(library);
}
