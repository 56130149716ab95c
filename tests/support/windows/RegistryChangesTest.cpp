// The changes of the tests to the registry, and their undoing.
#include "RegistryChanges.h"

#include <gtest/gtest.h>

namespace tests {
namespace {

const KeyPath kKey(u"HKEY_LOCAL_MACHINE\\Software\\KestrelbayLeft\\One\\Deep", View::Bits32);
const KeyPath kTop(u"HKEY_LOCAL_MACHINE\\Software\\KestrelbayLeft", View::Bits32);

bool IsThere(const KeyPath& key) { return static_cast<bool>(OpenKey(key, KEY_READ)); }

TEST(RegistryChanges, AreUndoneInTheEnd) {
  {
    RegistryChanges changes;
    changes.CreateKey(kKey);
    EXPECT_TRUE(IsThere(kKey));
  }
  EXPECT_FALSE(IsThere(kTop));
}

TEST(RegistryChanges, OfATestThatWasKilledAreUndoneByTheNext) {
  // Never destroyed, as in a process that crashes.
  auto* const killed = new RegistryChanges;
  killed->CreateKey(kKey);
  killed->DeleteLater(u"HKEY_CURRENT_USER\\Software\\KestrelbayLeft");
  ASSERT_TRUE(IsThere(kKey));
  const RegistryChanges next;
  EXPECT_FALSE(IsThere(kTop));
}

TEST(RegistryChanges, LeaveKeysThatWereThereBefore) {
  const KeyPath software(u"HKEY_LOCAL_MACHINE\\Software", View::Bits32);
  {
    RegistryChanges changes;
    changes.CreateKey(software);
  }
  EXPECT_TRUE(IsThere(software));
}

}  // namespace
}  // namespace tests
