#include "inventory/RegistryPath.h"

#include <gmock/gmock.h>

#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

class RegistryPaths : public OnMachine {
 protected:
  /** @return root and path of the key that a text opens, or "nothing" */
  static std::u16string Opened(const std::string& path) {
    const OpenedPath place = OpenRegistryPath(path);
    if (!place.key) return u"nothing";
    return std::u16string(place.key->rootName) + u"|" + place.key->path;
  }
};

TEST_F(RegistryPaths, TheRootIsBeforeTheFirstBackslash) {
  machine.registry.CreateKey(u"HKEY_LOCAL_MACHINE\\Software\\App");
  machine.registry.CreateKey(u"HKEY_CURRENT_USER\\Software\\App");
  EXPECT_EQ(Opened("HKEY_LOCAL_MACHINE\\Software\\App"), u"HKEY_LOCAL_MACHINE|Software\\App");
  EXPECT_EQ(Opened("HKEY_CURRENT_USER\\Software\\App"), u"HKEY_CURRENT_USER|Software\\App");
}

TEST_F(RegistryPaths, AnyOtherRootIsTheMachines) {
  machine.registry.CreateKey(u"HKEY_LOCAL_MACHINE\\Software\\App");
  for (const char* root : {"HKLM", "HKEY_USERS", "hkey_current_user", "HKEY_CURRENT_USER ", ""}) {
    EXPECT_EQ(Opened(std::string(root) + "\\Software\\App"), u"HKEY_LOCAL_MACHINE|Software\\App") << root;
  }
}

TEST_F(RegistryPaths, DoubledBackslashesCountAsOne) {
  machine.registry.CreateKey(u"HKEY_LOCAL_MACHINE\\Software\\App");
  EXPECT_EQ(Opened("HKEY_LOCAL_MACHINE\\\\Software\\\\App"), u"HKEY_LOCAL_MACHINE|Software\\App");
}

TEST_F(RegistryPaths, ATextWithoutABackslashIsRootAndPath) {
  machine.registry.CreateKey(u"HKEY_LOCAL_MACHINE\\Alone");
  EXPECT_EQ(Opened("Alone"), u"HKEY_LOCAL_MACHINE|Alone");
  EXPECT_EQ(Opened("HKEY_LOCAL_MACHINE"), u"nothing");
}

TEST_F(RegistryPaths, TheEmptyTextIsTheMachinesRootIn64Bits) {
  const auto calls = CallsOf([] { EXPECT_EQ(Opened(""), u"HKEY_LOCAL_MACHINE|"); });
  EXPECT_THAT(calls,
              testing::Contains(testing::StartsWith("RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"\", 0, 0x20119")));
}

TEST_F(RegistryPaths, AMissingKeyDoesNotOpen) { EXPECT_EQ(Opened("HKEY_LOCAL_MACHINE\\None"), u"nothing"); }

}  // namespace
}  // namespace kestrelbay
