// What a volume's registry says of its Windows: its name, its bits, and the folders of its user.
#include <gtest/gtest.h>

#include "VolumeMachineFixture.h"

namespace simulated {
namespace {

constexpr int kNumber = 4;

class VolumeWindowsTest : public VolumeMachineTest {
 protected:
  /** Writes a new SYSTEM and a new SOFTWARE, which has these texts of the Windows. */
  void WriteWindows(const std::map<std::string, std::string>& texts, int revision = 0) {
    std::filesystem::remove(folder / kSoftware);
    HiveFile software(folder / kSoftware);
    for (const auto& [name, text] : texts) software.SetText(kWindowsNt, name, text);
    if (revision != 0)
      software.SetBytes(kWindowsNt, "UBR", std::string{static_cast<char>(revision), '\0', '\0', '\0'},
                        kNumber);
    HiveFile(folder / kSystem).SetText("Select", "Any", "");
  }
  std::u16string Name(const std::map<std::string, std::string>& texts, int revision = 0) {
    WriteWindows(texts, revision);
    return Open()->volume->windows;
  }
};

TEST_F(VolumeWindowsTest, NameIsWindows11FromBuild22000) {
  const auto name = [this](const std::string& build) {
    return Name({{"ProductName", "Windows 10 Pro"}, {"CurrentBuildNumber", build}});
  };
  EXPECT_EQ(name("21999"), u"Windows 10 Pro (build 21999)");
  EXPECT_EQ(name("22000"), u"Windows 11 Pro (build 22000)");
  EXPECT_EQ(name("22631"), u"Windows 11 Pro (build 22631)");
  EXPECT_EQ(name("9600"), u"Windows 10 Pro (build 9600)");
}

TEST_F(VolumeWindowsTest, NameOfAnotherProductStays) {
  EXPECT_EQ(Name({{"ProductName", "Windows Server 2025"}, {"CurrentBuildNumber", "26100"}}),
            u"Windows Server 2025 (build 26100)");
}

TEST_F(VolumeWindowsTest, NameHasTheFirstVersionThatIsThere) {
  std::map<std::string, std::string> texts = {{"ProductName", "Windows"}, {"CSDVersion", "Service Pack 1"}};
  EXPECT_EQ(Name(texts), u"Windows Service Pack 1");
  texts["ReleaseId"] = "2009";
  EXPECT_EQ(Name(texts), u"Windows 2009");
  texts["DisplayVersion"] = "22H2";
  EXPECT_EQ(Name(texts), u"Windows 22H2");
}

TEST_F(VolumeWindowsTest, NameHasTheRevisionOfTheBuild) {
  EXPECT_EQ(Name({{"ProductName", "Windows"}, {"CurrentBuildNumber", "19045"}}, 5),
            u"Windows (build 19045.5)");
  EXPECT_EQ(Name({{"ProductName", "Windows"}}, 5), u"Windows");
}

TEST_F(VolumeWindowsTest, BitsAreThoseOfTheBuildWithoutAProcessor) {
  WriteWindows({{"BuildLabEx", "7601.24214.x86fre.win7sp1"}});
  EXPECT_TRUE(Open()->volume->is32Bit);
  WriteWindows({{"BuildLabEx", "7601.24214.amd64fre.win7sp1"}});
  EXPECT_FALSE(Open()->volume->is32Bit);
  WriteWindows({});
  EXPECT_FALSE(Open()->volume->is32Bit);
}

TEST_F(VolumeWindowsTest, FoldersOfTheUserAreThoseOfItsProfile) {
  WriteMachine({{"S-1-5-21-1-1001", "C:\\Users\\anna"}});
  {
    HiveFile user(folder / "Users/anna/NTUSER.DAT");
    const std::string folders = "Software\\" + kCurrentVersion + "\\Explorer\\User Shell Folders";
    user.SetText(folders, "AppData", "%USERPROFILE%\\Roaming");
    user.SetText(folders, "Local AppData", "%USERPROFILE%\\Local");
  }
  const auto machine = Open();
  EXPECT_EQ(machine->environment.Find(u"USERPROFILE"), u"C:\\Users\\anna");
  EXPECT_EQ(machine->environment.Find(u"HOMEDRIVE"), u"C:");
  EXPECT_EQ(machine->environment.Find(u"HOMEPATH"), u"\\Users\\anna");
  EXPECT_EQ(machine->environment.Find(u"APPDATA"), u"C:\\Users\\anna\\Roaming");
  EXPECT_EQ(machine->environment.Find(u"LOCALAPPDATA"), u"C:\\Users\\anna\\Local");
}

}  // namespace
}  // namespace simulated
