// The order in which the shared library destroys its objects. This program defines the function that
// registers a destruction, so it receives the registrations of the library.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "KestrelbayGeneralSDK.h"
#include "simulated/directory/CurrentMachine.h"

namespace {

struct Registration {
  void (*destroy)(void*);
  void* object;
  const char* name;
};

// The library registers only a few. Filled before the constructors of this program run.
constinit std::array<Registration, 64> registrations{};
constinit std::size_t registered = 0;

bool IsOfLibrary(const void* dsoHandle) {
  Dl_info info{};
  return dsoHandle && dladdr(dsoHandle, &info) != 0 && info.dli_fname &&
         std::string_view(info.dli_fname).ends_with("libKestrelbayGeneral.so");
}

void Destroy(void* registration) {
  const auto* const entry = static_cast<const Registration*>(registration);
  std::fprintf(stderr, "%s ", entry->name);
  entry->destroy(entry->object);
}

}  // namespace

// NOLINTBEGIN: the C++ runtime's name.
extern "C" [[gnu::visibility("default")]] int __cxa_atexit(void (*destroy)(void*), void* object,
                                                           void* dsoHandle) {
  using Register = int (*)(void (*)(void*), void*, void*);
  static const auto next = reinterpret_cast<Register>(dlsym(RTLD_NEXT, "__cxa_atexit"));
  if (!IsOfLibrary(dsoHandle)) return next(destroy, object, dsoHandle);
  if (registered == registrations.size()) std::abort();
  Registration& registration = registrations[registered++];
  registration = {destroy, object, "other"};
  return next(&Destroy, &registration, dsoHandle);
}
// NOLINTEND

namespace {

template <class Function>
Function* Find(void* library, const char* name) {
  return reinterpret_cast<Function*>(dlsym(library, name));
}

struct Text {
  const char16_t* text;
  const char* name;
};

const Text kTexts[] = {
    {u"Software\\Classes\\Installer\\Products", "InstallerClassesPath"},
    {u"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall", "UninstallKeyPath"},
    {u"Software\\Microsoft\\Installer\\Products", "UserProductsPath"},
    {u"Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData", "InstallerUserDataPath"},
    {u"TOLVAN Handheld Engine", "ExcludedPublisher"},
};

/** Names the objects that the load registered: the mutex, then the texts. */
void NameLoadTimeObjects() {
  const std::size_t first = registered - std::size(kTexts);
  registrations[first - 1].name = "LifecycleMutex";
  for (std::size_t at = first; at < registered; ++at) {
    const auto& text = *static_cast<const std::u16string*>(registrations[at].object);
    if (text != kTexts[at - first].text) std::_Exit(3);
    registrations[at].name = kTexts[at - first].name;
  }
}

/** Names what `use` registers first. */
template <class Use>
void NameObjectOf(const char* name, Use use) {
  const std::size_t next = registered;
  use();
  if (registered > next) registrations[next].name = name;
}

// clang registers no destructor that does nothing.
#ifdef __clang__
#define SECURITY ""
#else
#define SECURITY "Security "
#endif

void LoadUseAndUnload() {
  simulated::UseMachine(std::make_unique<simulated::Machine>());
  void* const library = dlopen(KESTRELBAY_LIBRARY, RTLD_NOW | RTLD_LOCAL);
  if (!library || registered <= std::size(kTexts)) std::_Exit(2);
  NameLoadTimeObjects();
  NameObjectOf("SDKLog", [library] {
    Find<decltype(InitDllLogger)>(library, "InitDllLogger")([](const char*, std::int32_t, const char*) {});
  });
  NameObjectOf("Security", [library] {
    char* hidden = nullptr;
    Find<decltype(Encrypt)>(library, "Encrypt")("a text", &hidden);
    Find<decltype(ReleaseDllStr)>(library, "ReleaseDllStr")(&hidden);
  });
  dlclose(library);
  std::exit(0);
}

TEST(UnloadDeathTest, LibraryDestroysTheLatestFirstAndItsLoadTimeObjectsInReverse) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a new process, in which the library is not loaded
  EXPECT_EXIT(LoadUseAndUnload(), testing::ExitedWithCode(0),
              "^" SECURITY
              "SDKLog ExcludedPublisher InstallerUserDataPath UserProductsPath UninstallKeyPath "
              "InstallerClassesPath LifecycleMutex ");
}

}  // namespace
