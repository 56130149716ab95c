// The C++ layer on the sample machine: each claim of its header. cpp-layer prints the line that failed.
#include <KestrelbayGeneral.hpp>

#include <cstdio>
#include <type_traits>

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
  library.Stop().StopForTheLifeOfThisProcess();
  CHECK(Raises<std::logic_error>([&] { (void)library.Uninstall("Mothlight Player"); }));
  return 0;
}

}  // namespace

int main() {
  Library& library = Library::Get();
  return ListsAndFacts(library) || Secrets(library) || Jobs(library);
}
