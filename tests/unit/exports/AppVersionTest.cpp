#include <gmock/gmock.h>

#include <optional>

#include "KestrelbayGeneralSDK.h"
#include "LogText.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;

constexpr const char* kEntryLine = "KestrelbayGeneralSDK 3 GetAppVersion: enter GetAppVersion";

class AppVersion : public OnMachine {
 protected:
  AppVersion() { machine.registry.CreateKey(kProductsPath); }

  void AddApp(const std::u16string& key, const std::u16string& name, const std::u16string& version) {
    SetTexts(kUninstall64Path + u"\\" + key,
             {{u"DisplayName", name}, {u"UninstallString", u"u"}, {u"DisplayVersion", version}});
  }
  static std::optional<std::string> Version(const char* name, const char* registryPath = nullptr) {
    char buffer[64];
    std::int32_t size = sizeof buffer;
    if (!GetAppVersion(name, registryPath, buffer, &size)) {
      EXPECT_EQ(size, 64);
      return std::nullopt;
    }
    EXPECT_EQ(static_cast<std::size_t>(size), std::string(buffer).size());
    return buffer;
  }

  LogCapture log;
};

TEST_F(AppVersion, AnInstalledApplicationHasItsVersion) {
  AddApp(u"App", u"App \u65e5", u"1.2 \u00e9");
  EXPECT_EQ(Version("App \u65e5"), "1.2 \u00e9");
  EXPECT_EQ(Version("App \u65e5", ""), "1.2 \u00e9");
  EXPECT_THAT(TextOf(log), ElementsAre(kEntryLine, kEntryLine));
}

TEST_F(AppVersion, TheNameMustBeEqualByteForByte) {
  AddApp(u"App", u"App", u"1");
  for (const char* name : {"app", "App ", "Ap", ""}) EXPECT_EQ(Version(name), std::nullopt) << name;
}

TEST_F(AppVersion, TheFirstOfTwoRecordsOfOneNameCounts) {
  AddApp(u"A", u"App", u"1");
  AddApp(u"B", u"App", u"2");
  EXPECT_EQ(Version("App"), "1");
}

TEST_F(AppVersion, WithoutAVersionItLooksLikeNotInstalled) {
  AddApp(u"App", u"App", u"");
  EXPECT_EQ(Version("App"), std::nullopt);
  EXPECT_EQ(Version("Other"), std::nullopt);
  EXPECT_THAT(TextOf(log), ElementsAre(kEntryLine, kEntryLine));
}

TEST_F(AppVersion, AnEmptyInventoryHasNoVersionAndDoesNotReadTheName) {
  EXPECT_EQ(Version("App"), std::nullopt);
  EXPECT_EQ(Version(nullptr), std::nullopt);
}

using AppVersionDeathTest = AppVersion;

TEST_F(AppVersionDeathTest, ANullNameCrashesAtTheFirstRecordWithAName) {
  AddApp(u"App", u"App", u"1");
  EXPECT_DEATH(Version(nullptr), "");
}

TEST_F(AppVersion, TheSizeIsComparedWithTheLengthWithoutTheNul) {
  AddApp(u"App", u"App", u"1.2");
  char buffer[8] = "#######";
  std::int32_t size = 4;
  EXPECT_TRUE(GetAppVersion("App", nullptr, buffer, &size));
  EXPECT_EQ(size, 3);
  EXPECT_STREQ(buffer, "1.2");
  size = 2;
  EXPECT_FALSE(GetAppVersion("App", nullptr, buffer, &size));
  EXPECT_EQ(size, 2);
}

TEST_F(AppVersion, AnyRegistryPathMeansTheMachinesRoot) {
  AddApp(u"App", u"App", u"1");
  machine.registry.SetText(u"HKEY_CURRENT_USER\\Software\\App", u"DisplayVersion", u"2");
  for (const char* path : {" ", "HKEY_CURRENT_USER\\Software\\App", "\xFF"}) {
    const auto calls = CallsOf([&] { EXPECT_EQ(Version("App", path), std::nullopt); });
    std::vector<std::string> registry;
    for (const std::string& call : calls) {
      if (call.starts_with("Reg")) registry.push_back(call.substr(0, call.find(", 0x")));
    }
    // The root stays open: a predefined key is never closed.
    EXPECT_THAT(registry,
                ElementsAre("RegOpenKeyExW(HKEY_LOCAL_MACHINE, \"\", 0",
                            testing::StartsWith("RegQueryValueExW(HKEY_LOCAL_MACHINE, \"DisplayVersion\"")));
  }
  EXPECT_THAT(TextOf(log), testing::Each(kEntryLine));
}

TEST_F(AppVersion, AVersionAtTheMachinesRootIsReturnedForAnyPathAndName) {
  machine.registry.SetText(u"HKEY_LOCAL_MACHINE", u"DisplayVersion", u"9");
  EXPECT_EQ(Version(nullptr, " "), "9");
}

TEST_F(AppVersion, ARootThatDoesNotOpenIsLogged) {
  machine.faults.FailNth(1, simulated::Faults::Extent::Once, "RegOpenKeyExW");
  EXPECT_EQ(Version("App", " "), std::nullopt);
  EXPECT_THAT(TextOf(log),
              ElementsAre(kEntryLine, "KestrelbayGeneralSDK 5 GetAppVersion: failed open registry."));
}

}  // namespace
}  // namespace kestrelbay
