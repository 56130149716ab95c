// The version of an installed application, through the C interface.
#include <gmock/gmock.h>

#include "HostTest.h"

namespace tests {
namespace {

using testing::ElementsAre;

class Versions : public HostTest {
 protected:
  void Install(const std::u16string& key, const std::u16string& version) {
    Entry(key, {{u"DisplayName", u"App"}, {u"UninstallString", u"u"}, {u"DisplayVersion", version}});
  }
  static std::string Ask(const char* name, const char* registryPath = nullptr) {
    char buffer[64] = "#";
    std::int32_t size = sizeof buffer;
    return GetAppVersion(name, registryPath, buffer, &size) ? buffer : "(none)";
  }
};

TEST_F(Versions, NullAndEmptyRegistryPathsAskTheInventory) {
  Install(u"App", u"1.2 \u00e9");
  EXPECT_EQ(Ask("App"), "1.2 \u00e9");
  EXPECT_EQ(Ask("App", ""), "1.2 \u00e9");
  EXPECT_EQ(Ask("app"), "(none)");
  EXPECT_THAT(log.Messages(),
              ElementsAre("enter GetAppVersion", "enter GetAppVersion", "enter GetAppVersion"));
}

TEST_F(Versions, TheFirstOfTwoRecordsOfOneNameCounts) {
  Install(u"A", u"1");
  Install(u"B", u"2");
  EXPECT_EQ(Ask("App"), "1");
}

TEST_F(Versions, AnyOtherRegistryPathHasNoVersion) {
  Install(u"App", u"1");
  for (const char* path :
       {" ", "HKEY_LOCAL_MACHINE\\Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\App"}) {
    EXPECT_EQ(Ask("App", path), "(none)");
  }
}

TEST_F(Versions, AnEmptyInventoryHasNoVersionAndDoesNotReadTheName) {
  RequireNoOthers();
  EXPECT_EQ(Ask(nullptr), "(none)");
}

TEST_F(Versions, TheSizeIsComparedWithTheLengthWithoutTheNul) {
  Install(u"App", u"1.2");
  char buffer[8] = "#######";
  std::int32_t size = 2;
  EXPECT_FALSE(GetAppVersion("App", nullptr, buffer, &size));
  EXPECT_EQ(size, 2);
  EXPECT_STREQ(buffer, "#######");
  size = 4;
  EXPECT_TRUE(GetAppVersion("App", nullptr, buffer, &size));
  EXPECT_EQ(size, 3);
  EXPECT_STREQ(buffer, "1.2");
  EXPECT_FALSE(GetAppVersion("App", nullptr, nullptr, &size));
}

}  // namespace
}  // namespace tests
