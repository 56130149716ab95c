// The users of a volume: whose hives are read, and which user is the current one.
#include "VolumeMachineFixture.h"
#include "simulated/base/WideText.h"

namespace simulated {
namespace {

using namespace std::string_view_literals;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace fs = std::filesystem;

using VolumeUsersTest = VolumeMachineTest;

TEST_F(VolumeUsersTest, AccountOfEntraIdIsAPerson) {
  WriteMachine({{"S-1-12-1-7-8-9-10", "C:\\Users\\anna"}});
  WriteUser("Users/anna", "anna");
  const auto machine = Open();
  EXPECT_EQ(machine->registry.User(), u"S-1-12-1-7-8-9-10");
  EXPECT_THAT(warnings, IsEmpty());
}

TEST_F(VolumeUsersTest, UserIsChosenByNameOrSid) {
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

// A folder may have the name of another user's SID, or of a hive of the system.
TEST_F(VolumeUsersTest, FolderWithTheNameOfAnotherHiveIsLeftOut) {
  WriteMachine({{"S-1-5-21-1-1001", "C:\\Users\\anna"}});
  HiveFile(folder / "Windows/System32/config/DEFAULT").SetText("Key", "value", "services");
  WriteUser("Users/anna", "anna");
  for (const char* const name : {"s-1-5-21-1-1001", ".Default", "S-1-5-18"})
    WriteUser("Users/" + std::string(name), "other");
  const auto machine = Open();
  EXPECT_EQ(OwnerOf(*machine, u"HKEY_USERS\\S-1-5-21-1-1001"), u"anna\0"sv);
  EXPECT_EQ(OwnerOf(*machine, u"HKEY_USERS\\.DEFAULT"), u"services\0"sv);
  EXPECT_EQ(OwnerOf(*machine, u"HKEY_USERS\\S-1-5-18"), u"services\0"sv);
  EXPECT_THAT(damages, ElementsAre(HasSubstr(".Default is another hive; it is left out"),
                                   HasSubstr("S-1-5-18 is another hive; it is left out"),
                                   HasSubstr("s-1-5-21-1-1001 is another hive; it is left out")));
}

TEST_F(VolumeUsersTest, FolderWhoseNameIsNoKeysIsLeftOut) {
  WriteMachine();
  WriteUser("Users/a\\b", "other");
  EXPECT_THAT(Hives(*Open()), IsEmpty());
  EXPECT_THAT(damages, ElementsAre(HasSubstr("a\\b cannot be a key; it is left out")));
}

TEST_F(VolumeUsersTest, SidsOfTheListAreComparedWithoutCase) {
  WriteMachine({{"s-1-5-21-1-1001.BAK", "C:\\Users\\anna"}, {"S-1-5-21-1-1001", "C:\\Users\\TEMP"}});
  WriteUser("Users/anna", "anna");
  EXPECT_EQ(OwnerOf(*Open(), u"HKEY_CURRENT_USER"), u"anna\0"sv);
  EXPECT_THAT(damages, IsEmpty());
}

TEST_F(VolumeUsersTest, ProfileWhoseStateIsTemporaryGivesWayToTheKeptOne) {
  WriteMachine({{"S-1-5-21-1-1001.bak", "C:\\Users\\anna"}, {"S-1-5-21-1-1001", "C:\\Users\\other"}});
  WriteUser("Users/anna", "anna");
  WriteUser("Users/other", "temporary");
  EXPECT_EQ(OwnerOf(*Open(), u"HKEY_USERS\\S-1-5-21-1-1001"), u"temporary\0"sv);
  {
    HiveFile software(folder / kSoftware);
    const std::string list = kWindowsNt + "\\ProfileList\\S-1-5-21-1-1001";
    software.SetText(list + ".bak", "ProfileImagePath", "C:\\Users\\anna");
    software.SetText(list, "ProfileImagePath", "C:\\Users\\other");
    software.SetBytes(list, "State", "\0\x08\0\0"sv, 4);
  }
  EXPECT_EQ(OwnerOf(*Open(), u"HKEY_USERS\\S-1-5-21-1-1001"), u"anna\0"sv);
}

TEST_F(VolumeUsersTest, UserOfAMachineDirectoryIsNotChosen) {
  WriteRegistry("a.reg", "");
  EXPECT_THROW(OpenAs("anna"), MachineError);
}

TEST_F(VolumeUsersTest, ProfilePathMayEndInABackslash) {
  WriteMachine({{"S-1-5-21-1-1001", "C:\\Users\\anna\\"}});
  WriteUser("Users/anna", "anna");
  EXPECT_EQ(OwnerOf(*Open(), u"HKEY_USERS\\S-1-5-21-1-1001"), u"anna\0"sv);
  EXPECT_THAT(warnings, IsEmpty());
}

TEST_F(VolumeUsersTest, ProfileOnAnotherDriveIsReadThereAndNotByItsNameHere) {
  WriteMachine({{"S-1-5-21-1-1001", "D:\\Users\\anna"}});
  WriteUser("Users/anna", "other");
  EXPECT_EQ(OwnerOf(*Open(), u"HKEY_USERS\\anna"), u"other\0"sv);
  EXPECT_THAT(warnings,
              ElementsAre(HasSubstr("is on another drive"), HasSubstr("ProfileList has no such user")));
  WriteUser("drives/D/Users/anna", "anna");
  EXPECT_EQ(OwnerOf(*Open(), u"HKEY_USERS\\S-1-5-21-1-1001"), u"anna\0"sv);
}

TEST_F(VolumeUsersTest, ProfileOutsideTheUsualFoldersIsFound) {
  WriteMachine({{"S-1-5-21-1-1001", "C:\\Profiles\\anna"}});
  WriteUser("Profiles/anna", "anna");
  EXPECT_EQ(OwnerOf(*Open(), u"HKEY_USERS\\S-1-5-21-1-1001"), u"anna\0"sv);
}

TEST_F(VolumeUsersTest, LoneBackupOfAProfileIsThatProfile) {
  WriteMachine({{"S-1-5-21-1-1001.bak", "C:\\Users\\anna"}});
  WriteUser("Users/anna", "anna");
  EXPECT_EQ(OwnerOf(*Open(), u"HKEY_CURRENT_USER"), u"anna\0"sv);
  EXPECT_THAT(warnings, IsEmpty());
}

TEST_F(VolumeUsersTest, TemporaryProfileGivesWayToTheKeptOne) {
  WriteMachine({{"S-1-5-21-1-1001.bak", "C:\\Users\\anna"}, {"S-1-5-21-1-1001", "C:\\Users\\TEMP"}});
  WriteUser("Users/anna", "anna");
  WriteUser("Users/TEMP", "temporary");
  const auto machine = Open();
  EXPECT_EQ(OwnerOf(*machine, u"HKEY_USERS\\S-1-5-21-1-1001"), u"anna\0"sv);
  EXPECT_THAT(Hives(*machine), ElementsAre(u"S-1-5-21-1-1001", u"TEMP"));
}

TEST_F(VolumeUsersTest, ProfileNamedAsWindowsNamesTemporaryOnesGivesWayToTheKeptOne) {
  WriteMachine({{"S-1-5-21-1-1001.bak", "C:\\Users\\anna"}, {"S-1-5-21-1-1001", "C:\\Users\\Temp.PC.000"}});
  WriteUser("Users/anna", "anna");
  WriteUser("Users/Temp.PC.000", "temporary");
  EXPECT_EQ(OwnerOf(*Open(), u"HKEY_USERS\\S-1-5-21-1-1001"), u"anna\0"sv);
}

TEST_F(VolumeUsersTest, MandatoryProfilesHiveReplacesTheOther) {
  WriteMachine({{"S-1-5-21-1-1001", "C:\\Users\\anna"}, {"S-1-5-21-1-1002", "C:\\Users\\pavel"}});
  WriteUser("Users/anna", "mandatory", "ntuser.man");
  WriteUser("Users/anna", "other");
  WriteUser("Users/pavel", "mandatory", "NTUSER.MAN");
  const auto machine = Open();
  EXPECT_EQ(OwnerOf(*machine, u"HKEY_USERS\\S-1-5-21-1-1001"), u"mandatory\0"sv);
  EXPECT_EQ(OwnerOf(*machine, u"HKEY_USERS\\S-1-5-21-1-1002"), u"mandatory\0"sv);
}

TEST_F(VolumeUsersTest, FolderOfTwoUsersIsReportedAndEitherIsChosen) {
  WriteMachine({{"S-1-12-1-7-8-9-10", "C:\\Users\\anna"}, {"S-1-5-21-1-1001", "C:\\Users\\ANNA"}});
  WriteUser("Users/anna", "anna");
  EXPECT_THAT(Hives(*Open()), ElementsAre(u"S-1-12-1-7-8-9-10"));
  EXPECT_THAT(warnings, ElementsAre(AllOf(HasSubstr("Users/anna: the folder of two users"),
                                          HasSubstr("read as S-1-12-1-7-8-9-10's"),
                                          HasSubstr("choose S-1-5-21-1-1001 with --user"))));
  for (const char* const sid : {"S-1-12-1-7-8-9-10", "s-1-5-21-1-1001"}) {
    const auto machine = OpenAs(sid);
    EXPECT_TRUE(SameName(machine->registry.User(), FromUtf8(sid)));
    EXPECT_EQ(OwnerOf(*machine, u"HKEY_CURRENT_USER"), u"anna\0"sv);
    EXPECT_EQ(Hives(*machine).size(), 1U);
  }
}

TEST_F(VolumeUsersTest, ProfilePathLongerThanWindowsAllowsIsReported) {
  std::string path = "C:";
  while (path.size() < 260) path += "\\a";
  WriteMachine({{"S-1-5-21-1-1001", path}, {"S-1-5-21-1-1002", path + "b"}});
  Open();
  EXPECT_THAT(damages,
              ElementsAre(AllOf(HasSubstr("S-1-5-21-1-1002"), HasSubstr("longer than Windows allows"))));
}

// Its hive is DEFAULT, and so is not in its folder.
TEST_F(VolumeUsersTest, ListedProfileOfTheSystemItselfIsSkipped) {
  WriteMachine({{"S-1-5-18", "%SystemRoot%\\System32\\config\\systemprofile"}});
  WriteUser("Windows/System32/config/systemprofile", "other");
  EXPECT_THAT(Hives(*Open()), IsEmpty());
  EXPECT_THAT(damages, IsEmpty());
  EXPECT_THAT(warnings, IsEmpty());
}

// The hive exists, so what it has is missing in the answer.
TEST_F(VolumeUsersTest, HiveThatIsALinkToItselfIsDamage) {
  WriteMachine();
  for (const char* const user : {"anna", "pavel"}) {
    fs::create_directories(folder / "Users" / user);
    fs::create_symlink("NTUSER.DAT", folder / "Users" / user / "NTUSER.DAT");
  }
  EXPECT_THAT(Hives(*Open()), IsEmpty());
  EXPECT_THAT(damages,
              ElementsAre(HasSubstr("Users/anna/NTUSER.DAT: "), HasSubstr("Users/pavel/NTUSER.DAT: ")));
}

TEST_F(VolumeUsersTest, LinkedProfileFoldersAreReadOnce) {
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

TEST_F(VolumeUsersTest, ProfileFolderBehindALinkIsReadLast) {
  WriteMachine({{"S-1-5-21-1-1001", "C:\\Users\\pavel"}});
  WriteUser("Data/bob", "bob");
  WriteUser("Users/pavel", "pavel");
  fs::create_directory_symlink("../Data/bob", folder / "Users/bob");
  const auto machine = Open();
  EXPECT_EQ(OwnerOf(*machine, u"HKEY_USERS\\bob"), u"bob\0"sv);
  EXPECT_THAT(Hives(*machine), ElementsAre(u"bob", u"S-1-5-21-1-1001"));
  EXPECT_THAT(warnings, ElementsAre(HasSubstr("bob/NTUSER.DAT: the volume's ProfileList has no such user")));
  EXPECT_THAT(damages, IsEmpty());
}

TEST_F(VolumeUsersTest, LinksThatWindowsMakesAreNeitherReadNorDamage) {
  WriteMachine({{"S-1-5-21-1-1001", "C:\\Users\\anna"}});
  WriteUser("Users/anna", "anna");
  WriteUser("Users/Default", "template");
  fs::create_directory_symlink("/ProgramData", folder / "Users/All Users");
  fs::create_directory_symlink("/Users/Default", folder / "Users/Default User");
  fs::create_directory_symlink("Default", folder / "Users/Another");
  fs::create_directory_symlink("Users", folder / "Documents and Settings");
  EXPECT_THAT(Hives(*Open()), ElementsAre(u"S-1-5-21-1-1001"));
  EXPECT_THAT(warnings, IsEmpty());
  EXPECT_THAT(damages, IsEmpty());
  // A driver may show the target as a path of the host.
  fs::remove(folder / "Documents and Settings");
  fs::create_directory_symlink(folder / "Users", folder / "Documents and Settings");
  EXPECT_THAT(Hives(*Open()), ElementsAre(u"S-1-5-21-1-1001"));
  EXPECT_THAT(damages, IsEmpty());
}

TEST_F(VolumeUsersTest, FolderOfUsersBehindALinkOutOfTheVolumeIsDamage) {
  WriteMachine();
  fs::create_directory_symlink("/tmp", folder / "Users");
  EXPECT_THAT(Hives(*Open()), IsEmpty());
  EXPECT_THAT(damages, ElementsAre(HasSubstr("Users: leads out of its drive; it counts as missing")));
}

TEST_F(VolumeUsersTest, ProfileFolderBehindALinkOutOfTheVolumeIsDamage) {
  const fs::path top = folder;
  HiveFile(top / "outside/NTUSER.DAT").SetText("Key", "value", "other");
  folder = top / "volume";
  for (const char* const place : {"Users", "Profiles"}) {
    for (const char* const listed : {"Users", "Profiles"}) {
      fs::remove_all(folder);
      WriteMachine({{"S-1-5-21-1-1001", "C:\\" + std::string(listed) + "\\anna"}});
      fs::create_directories(folder / place);
      fs::create_directory_symlink(top / "outside", folder / place / "anna");
      const auto machine = Open();
      EXPECT_THAT(Hives(*machine), IsEmpty());
      // Nobody looks at a link that is neither listed nor in a usual folder.
      const std::string line = std::string(place) + "/anna: leads out of its drive; it counts as missing";
      if (std::string_view(place) == "Users" || std::string_view(listed) == place)
        EXPECT_THAT(machine->volume->damage, ElementsAre(line));
      else
        EXPECT_THAT(machine->volume->damage, IsEmpty());
    }
  }
  folder = top;
}

// Answers and captures have no path of the host.
TEST_F(VolumeUsersTest, DamageIsNotedByItsPlaceInTheVolume) {
  WriteMachine({{"S-1-5-21-1-1001", "C:\\Profiles\\anna"}});
  Write("Profiles/anna/NTUSER.DAT", "no hive");
  const fs::path whole = folder, before = fs::current_path();
  const fs::path link = fs::path(whole.string() + "-link");
  fs::create_directory_symlink(whole, link);
  fs::current_path(whole.parent_path());
  for (const fs::path& given : {whole, link, whole.filename(), fs::path(whole / "")}) {
    folder = given;
    EXPECT_THAT(Open()->volume->damage, ElementsAre(testing::StartsWith("Profiles/anna/NTUSER.DAT: ")));
  }
  folder = whole;
  fs::current_path(before);
  fs::remove(link);
}

TEST_F(VolumeUsersTest, HiveBehindALinkOutOfTheVolumeIsLeftOut) {
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

}  // namespace
}  // namespace simulated
