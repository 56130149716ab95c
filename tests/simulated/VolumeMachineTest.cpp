// The machine of a volume: its environment, its views, and facts that are not on the disk.
#include <chrono>

#include "VolumeMachineFixture.h"

namespace simulated {
namespace {

using namespace std::string_view_literals;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace fs = std::filesystem;

TEST_F(VolumeMachineTest, VolumeWithADescriptionIsStillAVolume) {
  WriteMachine({{"S-1-5-21-1-1001", "C:\\Users\\anna"}});
  WriteUser("Users/anna", "anna");
  Write("machine.json", R"({"environment": {"ADDED": "yes"}, "graphicsAdapters": ["Lumenfall"]})");
  Write("drives/D/file", "");
  const auto machine = Open();
  EXPECT_EQ(OwnerOf(*machine, u"HKEY_CURRENT_USER"), u"anna\0"sv);
  EXPECT_EQ(machine->environment.Find(u"ADDED"), u"yes");
  EXPECT_EQ(machine->environment.Find(u"SystemRoot"), u"C:\\Windows");
  EXPECT_EQ(machine->graphicsAdapters.size(), 1U);
  EXPECT_TRUE(machine->drives.Exists(u"D:\\file"));
}

TEST_F(VolumeMachineTest, VolumeWithARegistryFolderIsRefused) {
  WriteMachine();
  WriteRegistry("a.reg", "");
  EXPECT_THAT(Refusal(), AllOf(HasSubstr("/registry: "), HasSubstr("remove this folder")));
}

TEST_F(VolumeMachineTest, VolumeWithoutSoftwareIsRefused) {
  WriteMachine();
  fs::remove(folder / kSoftware);
  EXPECT_THAT(Refusal(), HasSubstr("SOFTWARE: cannot be read"));
}

TEST_F(VolumeMachineTest, EnvironmentIsTheVolumes) {
  WriteMachine({{"S-1-5-21-1-1001", "C:\\Users\\anna"}}, {{kEnvironment, {"windir", "%SystemRoot%"}}});
  {
    HiveFile software(folder / kSoftware);
    software.SetText(kWindowsNt, "SystemRoot", "C:\\WINDOWS");
    software.SetText(kCurrentVersion, "ProgramFilesDir", "C:\\Programme");
    software.SetBytes(kWindowsNt + "\\ProfileList", "Public", Wide("%SystemDrive%\\Everybody"), kExpandable);
    software.SetBytes(kWindowsNt + "\\ProfileList\\S-1-5-21-1-1001", "ProfileImagePath",
                      Wide("%SystemDrive%\\Users\\anna"), kExpandable);
  }
  HiveFile(folder / "Users/anna/NTUSER.DAT")
      .SetBytes("Environment", "Mine", Wide("%USERPROFILE%\\x"), kExpandable);
  const auto machine = Open();
  EXPECT_EQ(machine->environment.Find(u"WINDIR"), u"C:\\WINDOWS");
  EXPECT_EQ(machine->environment.Find(u"ProgramFiles"), u"C:\\Programme");
  EXPECT_EQ(machine->environment.Find(u"ProgramW6432"), u"C:\\Programme");
  EXPECT_EQ(machine->environment.Find(u"PUBLIC"), u"C:\\Everybody");
  EXPECT_EQ(machine->environment.Find(u"USERNAME"), u"anna");
  EXPECT_EQ(machine->environment.Find(u"Mine"), u"C:\\Users\\anna\\x");
}

TEST_F(VolumeMachineTest, SharedFoldersAreThoseOfSoftware) {
  WriteMachine({{"S-1-5-21-1-1001", "C:\\Users\\anna"}},
               {{kEnvironment, {"Path", "%SystemRoot%\\system32"}}});
  {
    HiveFile software(folder / kSoftware);
    software.SetText(kWindowsNt, "SystemRoot", "C:\\Windows");
    software.SetText(kCurrentVersion, "CommonFilesDir", "C:\\Programme\\Common");
    software.SetText(kCurrentVersion, "CommonFilesDir (x86)", "C:\\Programme (x86)\\Common");
    const std::string list = kWindowsNt + "\\ProfileList";
    software.SetBytes(list, "ProgramData", Wide("%SystemDrive%\\Data"), kExpandable);
    software.SetText(list + "\\S-1-5-21-1-1001", "ProfileImagePath", "C:\\Users\\anna");
  }
  HiveFile(folder / "Users/anna/NTUSER.DAT")
      .SetBytes("Environment", "Path", Wide("%USERPROFILE%\\bin"), kExpandable);
  const auto machine = Open();
  EXPECT_EQ(machine->environment.Find(u"CommonProgramFiles"), u"C:\\Programme\\Common");
  EXPECT_EQ(machine->environment.Find(u"CommonProgramFiles(x86)"), u"C:\\Programme (x86)\\Common");
  EXPECT_EQ(machine->environment.Find(u"CommonProgramW6432"), u"C:\\Programme\\Common");
  EXPECT_EQ(machine->environment.Find(u"ProgramData"), u"C:\\Data");
  EXPECT_EQ(machine->environment.Find(u"ALLUSERSPROFILE"), u"C:\\Data");
  EXPECT_EQ(machine->environment.Find(u"Path"), u"C:\\Windows\\system32;C:\\Users\\anna\\bin");
}

TEST_F(VolumeMachineTest, AllUsersOfWindowsXpAreBelowTheFolderOfProfiles) {
  WriteMachine();
  {
    HiveFile software(folder / kSoftware);
    const std::string list = kWindowsNt + "\\ProfileList";
    software.SetBytes(list, "ProfilesDirectory", Wide("%SystemDrive%\\Documents and Settings"), kExpandable);
    software.SetText(list, "AllUsersProfile", "All Users");
  }
  EXPECT_EQ(Open()->environment.Find(u"ALLUSERSPROFILE"), u"C:\\Documents and Settings\\All Users");
}

TEST_F(VolumeMachineTest, VariableLongerThanWindowsAllowsIsLeftOut) {
  const std::string longest(32767, 'x'), longer(32768, 'x');
  WriteMachine({}, {{kEnvironment, {"Longer", longer}}});
  const auto machine = Open();
  EXPECT_EQ(machine->environment.Find(u"Longer"), std::nullopt);
  EXPECT_THAT(damages, ElementsAre(AllOf(HasSubstr(folder.string() + ": the environment variable Longer"),
                                         HasSubstr("longer than Windows allows"))));
  // Answers and captures have no path of the host.
  EXPECT_THAT(machine->volume->damage, ElementsAre(testing::StartsWith("the environment variable Longer")));
  WriteMachine({}, {{kEnvironment, {"Longest", longest}}});
  EXPECT_EQ(Open()->environment.Find(u"Longest")->size(), longest.size());
  EXPECT_THAT(damages, IsEmpty());
}

TEST_F(VolumeMachineTest, VariablesThatDoubleEachOtherEndAtTheLimit) {
  WriteMachine();
  {
    HiveFile system(folder / kSystem);
    system.SetBytes("Select", "Current", "\1\0\0\0"sv, 4);
    system.SetText(kEnvironment, "V0", std::string(64, 'x'));
    for (int i = 1; i < 10; ++i) {
      const std::string above = "%V" + std::to_string(i - 1) + "%";
      system.SetBytes(kEnvironment, "V" + std::to_string(i), Wide(above + above), kExpandable);
    }
  }
  const auto machine = Open();
  EXPECT_EQ(machine->environment.Find(u"V8")->size(), 64U << 8);
  EXPECT_EQ(machine->environment.Find(u"V9"), std::nullopt);
  EXPECT_THAT(damages, ElementsAre(HasSubstr("the environment variable V9")));
}

TEST_F(VolumeMachineTest, ManyLongVariablesEndAtAMebibyteInAll) {
  WriteMachine();
  {
    HiveFile system(folder / kSystem);
    system.SetBytes("Select", "Current", "\1\0\0\0"sv, 4);
    system.SetText(kEnvironment, "Long", std::string(30000, 'x'));
    for (int i = 0; i < 50; ++i)
      system.SetBytes(kEnvironment, "V" + std::to_string(i), Wide("%Long%"), kExpandable);
  }
  const auto machine = Open();
  std::size_t characters = 0;
  for (const auto& [name, value] : machine->environment.All()) characters += name.size() + value.size();
  EXPECT_LT(characters, (1U << 20) + 1000U);
  EXPECT_THAT(damages, ElementsAre(HasSubstr(" others: longer than Windows allows")));
}

TEST_F(VolumeMachineTest, VolumeIsTheDriveThatItsWindowsNames) {
  WriteMachine();
  HiveFile(folder / kSoftware).SetText(kWindowsNt, "SystemRoot", "D:\\Windows");
  const auto machine = Open();
  EXPECT_TRUE(machine->drives.Exists(u"D:\\Windows\\System32\\config\\SOFTWARE"));
  EXPECT_EQ(machine->environment.Find(u"SystemDrive"), u"D:");
}

TEST_F(VolumeMachineTest, VariableDoesNotChangeTheVolumesDrive) {
  for (const char* const drive : {"", "D:", "?"}) {
    WriteMachine({{"S-1-5-21-1-1001", "C:\\Users\\anna"}}, {{kEnvironment, {"SystemDrive", drive}}});
    WriteUser("Users/anna", "anna");
    const auto machine = Open();
    EXPECT_TRUE(machine->drives.Exists(u"C:\\Users\\anna"));
    EXPECT_EQ(OwnerOf(*machine, u"HKEY_USERS\\S-1-5-21-1-1001"), u"anna\0"sv);
    EXPECT_THAT(warnings, IsEmpty());
  }
}

TEST_F(VolumeMachineTest, SystemRootWithoutADriveIsNotUsed) {
  WriteMachine();
  HiveFile(folder / kSoftware).SetText(kWindowsNt, "SystemRoot", "?:\\Windows");
  const auto machine = Open();
  EXPECT_TRUE(machine->drives.Exists(u"C:\\Windows"));
  EXPECT_EQ(machine->environment.Find(u"SystemRoot"), u"C:\\Windows");
}

TEST_F(VolumeMachineTest, PlainVariableIsSetBeforeAnExpandableOneThatNamesIt) {
  WriteMachine();
  {
    HiveFile system(folder / kSystem);
    system.SetBytes("Select", "Current", "\1\0\0\0"sv, 4);
    system.SetBytes(kEnvironment, "Expanded", Wide("%Plain%"), kExpandable);
    system.SetText(kEnvironment, "Plain", "x");
  }
  EXPECT_EQ(Open()->environment.Find(u"Expanded"), u"x");
}

// Each missing folder once took two copies of the path before it.
TEST_F(VolumeMachineTest, PathOfManyMissingFoldersIsLookedUpInLinearTime) {
  WriteMachine();
  const auto machine = Open();
  std::u16string path = u"C:";
  for (int i = 0; i < 16'000; ++i) path += u"\\a";
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_FALSE(machine->drives.Exists(path));
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
}

TEST_F(VolumeMachineTest, ViewsOf32BitWindowsAreTheSame) {
  WriteMachine({}, {{kEnvironment, {"PROCESSOR_ARCHITECTURE", "x86"}}});
  HiveFile(folder / kSoftware).SetText("Vendor", "value", "there");
  const auto machine = Open();
  Key* const start = machine->registry.Find(u"HKEY_LOCAL_MACHINE");
  EXPECT_NE(machine->registry.Find(*start, u"SOFTWARE\\Vendor", View::Bits32), nullptr);
  EXPECT_EQ(machine->environment.Find(u"ProgramFiles(x86)"), std::nullopt);
  EXPECT_TRUE(machine->volume->is32Bit);
}

TEST_F(VolumeMachineTest, ViewsOf64BitWindowsDiffer) {
  WriteMachine({}, {{kEnvironment, {"PROCESSOR_ARCHITECTURE", "AMD64"}}});
  HiveFile(folder / kSoftware).SetText("Vendor", "value", "there");
  const auto machine = Open();
  Key* const start = machine->registry.Find(u"HKEY_LOCAL_MACHINE");
  EXPECT_EQ(machine->registry.Find(*start, u"SOFTWARE\\Vendor", View::Bits32), nullptr);
  EXPECT_FALSE(machine->volume->is32Bit);
}

TEST_F(VolumeMachineTest, MakerAndModelAreThoseOfTheLastStart) {
  WriteMachine({}, {{"HardwareConfig", {"LastConfig", "{1}"}},
                    {"HardwareConfig\\{1}", {"BaseBoardManufacturer", "Lumenfall"}}});
  EXPECT_EQ(
      TextOf(*Open(), u"HKEY_LOCAL_MACHINE\\HARDWARE\\DESCRIPTION\\System\\BIOS", u"BaseBoardManufacturer"),
      u"Lumenfall\0"sv);
}

TEST_F(VolumeMachineTest, MakerIsUnknownWithoutANoteOfTheLastStart) {
  WriteMachine();
  EXPECT_EQ(Open()->registry.Find(u"HKEY_LOCAL_MACHINE\\HARDWARE"), nullptr);
}

TEST_F(VolumeMachineTest, FreeSpaceOfACopyIsUnknownUnlessItIsDescribed) {
  WriteMachine();
  EXPECT_EQ(Open()->drives.FindSpace(u'C'), std::nullopt);
  Write("machine.json", R"({"disks": {"C": {"freeBytes": 5, "sizeBytes": 9}}})");
  EXPECT_EQ(Open()->drives.FindSpace(u'C')->freeBytes, 5U);
}

TEST_F(VolumeMachineTest, FreeSpaceOfAnotherDrivesFolderIsUnknown) {
  WriteMachine();
  Write("drives/D/file", "");
  EXPECT_EQ(Open()->drives.FindSpace(u'D'), std::nullopt);
}

TEST_F(VolumeMachineTest, NameOfItsWindows) {
  WriteMachine();
  HiveFile(folder / kSoftware).SetText(kWindowsNt, "ProductName", "Windows 10 Pro");
  EXPECT_EQ(Open()->volume->windows, u"Windows 10 Pro");
}

}  // namespace
}  // namespace simulated
