// The machine of a volume: its users, its environment, its views, and facts that are not on the disk.
#include <gmock/gmock.h>

#include "HiveFile.h"
#include "MachineFolder.h"

namespace simulated {
namespace {

using namespace std::string_view_literals;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace fs = std::filesystem;

constexpr const char* kSystem = "Windows/System32/config/SYSTEM";
const std::string kCurrentVersion = "Microsoft\\Windows\\CurrentVersion";
const std::string kWindowsNt = "Microsoft\\Windows NT\\CurrentVersion";
const std::string kEnvironment = "ControlSet001\\Control\\Session Manager\\Environment";
constexpr int kExpandable = 2;

std::string Wide(std::string_view text) {
  std::string bytes;
  for (const char character : text) bytes += {character, '\0'};
  return bytes + std::string(2, '\0');
}

class VolumeMachineTest : public MachineFolder {
 protected:
  /** Writes SOFTWARE with these profiles, and SYSTEM with these values of one key each. */
  void WriteMachine(const std::map<std::string, std::string>& profiles = {},
                    const std::map<std::string, std::pair<std::string, std::string>>& system = {}) {
    HiveFile software(folder / kSoftware);
    for (const auto& [sid, image] : profiles)
      software.SetBytes(kWindowsNt + "\\ProfileList\\" + sid, "ProfileImagePath", Wide(image), kExpandable);
    HiveFile hive(folder / kSystem);
    hive.SetBytes("Select", "Current", "\1\0\0\0"sv, 4);
    for (const auto& [key, value] : system) hive.SetBytes(key, value.first, Wide(value.second), kExpandable);
  }
  void WriteUser(const std::string& path, const std::string& owner) {
    HiveFile(folder / path / "NTUSER.DAT").SetText("Key", "value", owner);
  }
  std::unique_ptr<Machine> OpenAs(const std::string& user) {
    VolumeOptions options;
    options.user = user;
    return OpenMachine(folder, Changes::Discarded, {}, options);
  }
  static std::u16string OwnerOf(Machine& machine, const std::u16string& hive) {
    return TextOf(machine, hive + u"\\Key", u"value");
  }
  /** The hives of HKEY_USERS that are not empty. */
  static std::vector<std::u16string> Hives(Machine& machine) {
    std::vector<std::u16string> names;
    Key* const users = machine.registry.Find(u"HKEY_USERS");
    for (std::size_t i = 0; i < users->SubKeyCount(); ++i)
      if (users->SubKeyAt(i).SubKeyCount() > 0) names.push_back(users->SubKeyAt(i).Name());
    return names;
  }
};

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

TEST_F(VolumeMachineTest, AccountOfEntraIdIsAPerson) {
  WriteMachine({{"S-1-12-1-7-8-9-10", "C:\\Users\\anna"}});
  WriteUser("Users/anna", "anna");
  const auto machine = Open();
  EXPECT_EQ(machine->registry.User(), u"S-1-12-1-7-8-9-10");
  EXPECT_THAT(warnings, IsEmpty());
}

TEST_F(VolumeMachineTest, UserIsChosenByNameOrSid) {
  WriteMachine({{"S-1-5-21-1-1001", "C:\\Users\\anna"}, {"S-1-5-21-1-1002", "C:\\Users\\pavel"}});
  WriteUser("Users/anna", "anna");
  WriteUser("Users/pavel", "pavel");
  EXPECT_EQ(OwnerOf(*Open(), u"HKEY_CURRENT_USER"), u"anna\0"sv);
  EXPECT_THAT(warnings, ElementsAre(AllOf(HasSubstr("anna's (S-1-5-21-1-1001)"), HasSubstr("--user"))));
  EXPECT_EQ(OwnerOf(*OpenAs("PAVEL"), u"HKEY_CURRENT_USER"), u"pavel\0"sv);
  EXPECT_EQ(OwnerOf(*OpenAs("S-1-5-21-1-1002"), u"HKEY_CURRENT_USER"), u"pavel\0"sv);
  EXPECT_EQ(OpenAs("pavel")->environment.Find(u"USERPROFILE"), u"C:\\Users\\pavel");
  EXPECT_THROW(OpenAs("nobody"), MachineError);
}

TEST_F(VolumeMachineTest, UserOfAMachineDirectoryIsNotChosen) {
  WriteRegistry("a.reg", "");
  EXPECT_THROW(OpenAs("anna"), MachineError);
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

TEST_F(VolumeMachineTest, VolumeIsTheDriveThatItsWindowsNames) {
  WriteMachine();
  HiveFile(folder / kSoftware).SetText(kWindowsNt, "SystemRoot", "D:\\Windows");
  const auto machine = Open();
  EXPECT_TRUE(machine->drives.Exists(u"D:\\Windows\\System32\\config\\SOFTWARE"));
  EXPECT_EQ(machine->environment.Find(u"SystemDrive"), u"D:");
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

TEST_F(VolumeMachineTest, ProfilePathMayEndInABackslash) {
  WriteMachine({{"S-1-5-21-1-1001", "C:\\Users\\anna\\"}});
  WriteUser("Users/anna", "anna");
  EXPECT_EQ(OwnerOf(*Open(), u"HKEY_USERS\\S-1-5-21-1-1001"), u"anna\0"sv);
  EXPECT_THAT(warnings, IsEmpty());
}

TEST_F(VolumeMachineTest, ProfileOnAnotherDriveIsReadThereAndNotByItsNameHere) {
  WriteMachine({{"S-1-5-21-1-1001", "D:\\Users\\anna"}});
  WriteUser("Users/anna", "other");
  EXPECT_EQ(OwnerOf(*Open(), u"HKEY_USERS\\anna"), u"other\0"sv);
  EXPECT_THAT(warnings,
              ElementsAre(HasSubstr("is on another drive"), HasSubstr("ProfileList has no such user")));
  WriteUser("drives/D/Users/anna", "anna");
  EXPECT_EQ(OwnerOf(*Open(), u"HKEY_USERS\\S-1-5-21-1-1001"), u"anna\0"sv);
}

TEST_F(VolumeMachineTest, ProfileOutsideTheUsualFoldersIsFound) {
  WriteMachine({{"S-1-5-21-1-1001", "C:\\Profiles\\anna"}});
  WriteUser("Profiles/anna", "anna");
  EXPECT_EQ(OwnerOf(*Open(), u"HKEY_USERS\\S-1-5-21-1-1001"), u"anna\0"sv);
}

TEST_F(VolumeMachineTest, LoneBackupOfAProfileIsThatProfile) {
  WriteMachine({{"S-1-5-21-1-1001.bak", "C:\\Users\\anna"}});
  WriteUser("Users/anna", "anna");
  EXPECT_EQ(OwnerOf(*Open(), u"HKEY_CURRENT_USER"), u"anna\0"sv);
  EXPECT_THAT(warnings, IsEmpty());
}

TEST_F(VolumeMachineTest, TemporaryProfileGivesWayToTheKeptOne) {
  WriteMachine({{"S-1-5-21-1-1001.bak", "C:\\Users\\anna"}, {"S-1-5-21-1-1001", "C:\\Users\\TEMP"}});
  WriteUser("Users/anna", "anna");
  WriteUser("Users/TEMP", "temporary");
  const auto machine = Open();
  EXPECT_EQ(OwnerOf(*machine, u"HKEY_USERS\\S-1-5-21-1-1001"), u"anna\0"sv);
  EXPECT_THAT(Hives(*machine), ElementsAre(u"S-1-5-21-1-1001", u"TEMP"));
}

TEST_F(VolumeMachineTest, LinkedProfileFoldersAreReadOnce) {
  for (const auto& [link, real] :
       {std::pair{"Documents and Settings", "Users"}, {"Users", "Documents and Settings"}}) {
    fs::remove_all(folder);
    WriteMachine({{"S-1-5-21-1-1001", "C:\\Users\\anna"}});
    WriteUser(std::string(real) + "/anna", "anna");
    fs::create_directory_symlink(real, folder / link);
    const auto machine = Open();
    EXPECT_THAT(Hives(*machine), ElementsAre(u"S-1-5-21-1-1001"));
    EXPECT_THAT(warnings, IsEmpty());
  }
}

TEST_F(VolumeMachineTest, HiveBehindALinkOutOfTheVolumeIsLeftOut) {
  fs::create_directories(folder / "outside");
  HiveFile(folder / "outside/NTUSER.DAT").SetText("Key", "value", "other");
  const fs::path top = folder;
  folder = top / "volume";
  WriteMachine();
  fs::create_directories(folder / "Users/anna");
  fs::create_symlink(top / "outside/NTUSER.DAT", folder / "Users/anna/NTUSER.DAT");
  EXPECT_THAT(Hives(*Open()), IsEmpty());
  EXPECT_THAT(damages, ElementsAre(HasSubstr("a link out of the volume")));
  folder = top;
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

TEST_F(VolumeMachineTest, NameOfItsWindows) {
  WriteMachine();
  HiveFile(folder / kSoftware).SetText(kWindowsNt, "ProductName", "Windows 10 Pro");
  EXPECT_EQ(Open()->volume->windows, u"Windows 10 Pro");
}

}  // namespace
}  // namespace simulated
