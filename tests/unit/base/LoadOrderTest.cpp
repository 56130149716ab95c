// The order in which the library creates its load-time objects, and in which it destroys all its objects.
//
// The linker redirects each registration of a destruction here. This file also replaces CreateEventW by one
// that fails.
#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "KestrelbayGeneralSDK.h"
#include "base/LoadTimeObjects.h"
#include "base/RegistryKey.h"
#include "base/SDKLog.h"
#include "lifecycle/AppInstall.h"
#include "lifecycle/AppUninstall.h"
#include "platform/Events.h"
#include "protection/Security.h"

namespace {

struct Registration {
  void (*destroy)(void*);
  void* object;
};

// Filled before anything is constructed, so nothing here has a constructor that runs.
constinit std::array<Registration, 4096> registrations{};
constinit std::size_t registered = 0;

struct EventMade {
  std::size_t times;
  bool isPlain, staysSet, beginsSet;
  std::size_t registeredBefore;
};
constinit EventMade eventMade{};

/** The objects whose destruction is printed by name. */
constinit std::array<std::pair<const void*, const char*>, 16> printed{};

void Destroy(void* registration) {
  const auto& [destroy, object] = *static_cast<const Registration*>(registration);
  for (const auto& [address, name] : printed) {
    if (address && address == object) std::fprintf(stderr, "%s ", name);
  }
  destroy(object);
}

}  // namespace

// NOLINTBEGIN: the linker's names. Visible from outside, because the library of a sanitizer calls them too.
extern "C" {

int __real___cxa_atexit(void (*destroy)(void*), void* object, void* library);
[[gnu::visibility("default")]] int __wrap___cxa_atexit(void (*destroy)(void*), void* object, void* library) {
  if (registered == registrations.size()) std::abort();
  Registration& registration = registrations[registered++];
  registration = {destroy, object};
  return __real___cxa_atexit(&Destroy, &registration, library);
}

}  // extern "C"
// NOLINTEND

namespace platform {

HANDLE CreateEventW(void* attributes, BOOL manualReset, BOOL initialState, const char16_t* name) {
  eventMade = {eventMade.times + 1, !attributes && !name, manualReset != 0, initialState != 0, registered};
  return nullptr;
}

}  // namespace platform

namespace kestrelbay {
namespace {

const std::vector<const void*> kDestroyedObjects = {&LifecycleMutex,        &InstallerClassesPath,
                                                    &UninstallKeyPath,      &UserProductsPath,
                                                    &InstallerUserDataPath, &ExcludedPublisher};

TEST(LoadTimeObjects, AreCreatedInOrderWithTheEventLast) {
  std::vector<const void*> made;
  for (std::size_t at = 0; at < registered; ++at) {
    if (std::ranges::find(kDestroyedObjects, registrations[at].object) == kDestroyedObjects.end()) continue;
    made.push_back(registrations[at].object);
    EXPECT_LT(at, eventMade.registeredBefore);
  }
  EXPECT_EQ(made, kDestroyedObjects);
}

TEST(StopEvent, IsCreatedOnceAndMayBeNull) {
  EXPECT_EQ(eventMade.times, 1U);
  EXPECT_TRUE(eventMade.isPlain);
  EXPECT_TRUE(eventMade.staysSet);
  EXPECT_FALSE(eventMade.beginsSet);
  EXPECT_EQ(StopEvent, nullptr);
}

std::string lastLine;

TEST(StopEvent, ThatIsNullIsSetAndLoggedAsASuccess) {
  InitDllLogger([](const char*, std::int32_t, const char* text) { lastLine = text; });
  SetStopAppEvent();
  EXPECT_THAT(lastLine, testing::EndsWith(" setStopAppEvent success."));
}

void Unload() {
  // Created in this order, so destroyed in reverse, and the load-time objects after them.
  printed = {{{&SDKLog::GetInstance(), "SDKLog"},
              {&AppInstall::GetInstance(), "AppInstall"},
              {&AppUninstall::GetInstance(), "AppUninstall"},
              {&Security::GetInstance(), "Security"},
              {&LocalMachineRoot(), "LocalMachineRoot"},
              {&CurrentUserRoot(), "CurrentUserRoot"},
              {&UsersRoot(), "UsersRoot"},
              {&LifecycleMutex, "LifecycleMutex"},
              {&InstallerClassesPath, "InstallerClassesPath"},
              {&UninstallKeyPath, "UninstallKeyPath"},
              {&UserProductsPath, "UserProductsPath"},
              {&InstallerUserDataPath, "InstallerUserDataPath"},
              {&ExcludedPublisher, "ExcludedPublisher"}}};
  std::exit(0);
}

// clang registers no destructor that does nothing.
#ifdef __clang__
constexpr char kSecurity[] = "";
#else
constexpr char kSecurity[] = "Security ";
#endif

TEST(UnloadDeathTest, DestroysTheLatestFirstAndTheLoadTimeObjectsInReverse) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");  // a new process, in which none of them exists
  EXPECT_EXIT(Unload(), testing::ExitedWithCode(0),
              testing::StrEq("UsersRoot CurrentUserRoot LocalMachineRoot " + std::string(kSecurity) +
                             "AppUninstall AppInstall SDKLog ExcludedPublisher InstallerUserDataPath "
                             "UserProductsPath UninstallKeyPath InstallerClassesPath LifecycleMutex "));
}

}  // namespace
}  // namespace kestrelbay
