// KestrelbayGuard on a machine that others use: an exception crosses from one DLL to another. The settings of
// the machine stay as they are: this process sees root keys in which the settings are missing.
#include <KestrelbayGuard.h>
#include <gtest/gtest.h>
#include <windows.h>

#include <array>

#include "RegistryChanges.h"
#include "TestMachine.h"

namespace tests {
namespace {

const std::u16string kRoot = u"HKEY_CURRENT_USER\\Software\\KestrelbayContract";

/** Replaces a root key for this process by the key of this test. */
class ReplacedRoot {
 public:
  explicit ReplacedRoot(HKEY root) : root_(root) {
    const OpenKey key(kRoot, KEY_READ);
    EXPECT_EQ(RegOverridePredefKey(root_, key.Get()), ERROR_SUCCESS);
  }
  ~ReplacedRoot() { RegOverridePredefKey(root_, nullptr); }
  ReplacedRoot(const ReplacedRoot&) = delete;
  ReplacedRoot& operator=(const ReplacedRoot&) = delete;

 private:
  HKEY root_;
};

std::int32_t StatusOfProxyServer() {
  const ReplacedRoot replaced(HKEY_CURRENT_USER);
  std::array<char, 1024> buffer{};
  std::int32_t size = buffer.size();
  return GuardGetProxyServer(buffer.data(), &size);
}

std::int32_t StatusOfTabletPC() {
  const ReplacedRoot replaced(HKEY_LOCAL_MACHINE);
  return GuardIsTabletPC();
}

TEST(GuardOfUsedMachine, ReportsAnExceptionOfAnotherDllAsStatus) {
  TestMachine machine;
  machine.CreateKey(kRoot + u"\\Software\\Microsoft\\Windows\\CurrentVersion\\Internet Settings");
  machine.CreateKey(kRoot + u"\\Software\\Microsoft\\Windows\\Tablet PC");
  ASSERT_EQ(GuardQueueLog(), 0);
  constexpr int kExceptions = 100;
  for (int i = 0; i < kExceptions; ++i) {
    ASSERT_EQ(StatusOfProxyServer(), GUARD_INVALID_SETTING);
    ASSERT_EQ(StatusOfTabletPC(), GUARD_INVALID_SETTING);
  }
}

}  // namespace
}  // namespace tests
