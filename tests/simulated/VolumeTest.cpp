// The registry of an offline Windows volume: which hive is which key, and what is left out.
#include <gmock/gmock.h>

#include <sys/stat.h>

#include <numeric>

#include "HiveFile.h"
#include "HiveLogs.h"
#include "MachineFolder.h"
#include "simulated/machine/KeptChanges.h"

namespace simulated {
namespace {

using namespace std::string_view_literals;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace fs = std::filesystem;

constexpr std::size_t kPageBytes = 4096, kSectorBytes = 512;
constexpr const char* kSystem = "Windows/System32/config/SYSTEM";
constexpr std::u16string_view kThere = u"there\0"sv;
const std::string kProfiles = "Microsoft\\Windows NT\\CurrentVersion\\ProfileList\\";

class VolumeTest : public MachineFolder {
 protected:
  /** Writes a hive with one value in one key. */
  void WriteHive(const std::string& path, const std::string& key = "Key") {
    HiveFile(folder / path).SetText(key, "value", "there");
  }
  /** Writes SYSTEM with an empty control set. */
  void WriteSystem(const std::string& path = kSystem) {
    HiveFile system(folder / path);
    system.SetText("Key", "value", "there");
    system.Add("ControlSet001");
    system.SetBytes("Select", "Default", "\1\0\0\0"sv, 4);
  }
  /** Writes SYSTEM, and SOFTWARE with the profiles of these SIDs. */
  void WriteMachine(const std::map<std::string, std::string>& profiles = {}) {
    HiveFile software(folder / kSoftware);
    software.SetText("Key", "value", "there");
    for (const auto& [sid, image] : profiles) software.SetText(kProfiles + sid, "ProfileImagePath", image);
    WriteSystem();
  }
  /** Replaces bytes that SOFTWARE has once by as many new ones. */
  void ReplaceInHive(std::string_view before, std::string_view after) {
    std::string hive = Files().at(kSoftware);
    const std::size_t at = hive.find(before);
    ASSERT_NE(at, std::string::npos);
    hive.replace(at, after.size(), after);
    Write(kSoftware, hive);
  }
  static std::u16string Value(Machine& machine, const std::u16string& path) {
    return TextOf(machine, path, u"value");
  }
};

TEST_F(VolumeTest, HiveOfTheSystemsOwnAccountIsTheDefaultOne) {
  WriteMachine();
  WriteHive("Windows/System32/config/DEFAULT");
  const auto machine = Open();
  EXPECT_EQ(Value(*machine, u"HKEY_USERS\\S-1-5-18\\Key"), kThere);
  EXPECT_EQ(Value(*machine, u"HKEY_USERS\\.DEFAULT\\Key"), kThere);
}

TEST_F(VolumeTest, MachinesHives) {
  WriteMachine();
  WriteHive("Windows/System32/config/DEFAULT");
  const auto machine = Open();
  EXPECT_EQ(Value(*machine, u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Key"), kThere);
  EXPECT_EQ(Value(*machine, u"HKEY_LOCAL_MACHINE\\SYSTEM\\Key"), kThere);
  EXPECT_EQ(Value(*machine, u"HKEY_USERS\\.DEFAULT\\Key"), kThere);
  EXPECT_THAT(warnings, IsEmpty());
  EXPECT_THAT(damages, IsEmpty());
}

TEST_F(VolumeTest, ControlSetInUseIsSeenAsTheCurrentOne) {
  WriteMachine();
  {
    HiveFile system(folder / kSystem);
    system.SetText("ControlSet001\\Key", "value", "other");
    system.SetText("ControlSet002\\Key", "value", "there");
    system.SetBytes("Select", "Current", "\2\0\0\0"sv, 4);
  }
  const auto machine = Open();
  EXPECT_EQ(Value(*machine, u"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Key"), kThere);
}

TEST_F(VolumeTest, ControlSetOfTheNextStartIsTheDefaultOne) {
  WriteMachine();
  {
    HiveFile system(folder / kSystem);
    system.SetText("ControlSet001\\Key", "value", "there");
    system.SetText("ControlSet002\\Key", "value", "other");
    system.SetBytes("Select", "Current", "\2\0\0\0"sv, 4);
    system.SetBytes("Select", "Default", "\1\0\0\0"sv, 4);
  }
  EXPECT_EQ(Value(*Open(), u"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet\\Key"), kThere);
  EXPECT_THAT(damages, IsEmpty());
}

TEST_F(VolumeTest, ControlSetThatIsNotNamedIsReported) {
  WriteMachine();
  HiveFile(folder / kSystem).SetText("ControlSet001\\Key", "value", "there");
  // The hive lost Select: without it nothing says which control set the next start has.
  EXPECT_EQ(Open()->registry.Find(u"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet"), nullptr);
  EXPECT_THAT(damages, ElementsAre(HasSubstr("Select names no control set for the next start; ")));
  HiveFile(folder / kSystem).SetText("Key", "value", "there");
  Open();
  EXPECT_THAT(damages, IsEmpty()) << "this disk never started";
}

TEST_F(VolumeTest, MissingControlSetIsReported) {
  WriteMachine();
  {
    HiveFile system(folder / kSystem);
    system.Add("ControlSet001");
    system.SetBytes("Select", "Current", "\7\0\0\0"sv, 4);
  }
  EXPECT_EQ(Open()->registry.Find(u"HKEY_LOCAL_MACHINE\\SYSTEM\\CurrentControlSet"), nullptr);
  EXPECT_THAT(damages,
              ElementsAre(HasSubstr("SYSTEM: it has no control set for the next start (ControlSet007)")));
}

TEST_F(VolumeTest, ProfilesOfEveryPlaceAreLoadedUnderTheirSids) {
  WriteMachine({{"S-1-5-21-1-1001", "C:\\Users\\Anna"},
                {"S-1-5-21-1-1002", "%SystemDrive%\\Documents and Settings\\Pavel"},
                {"S-1-5-19", "%SystemRoot%\\ServiceProfiles\\LocalService"}});
  WriteHive("Users/Anna/NTUSER.DAT");
  WriteHive("Documents and Settings/Pavel/NTUSER.DAT");
  WriteHive("Windows/ServiceProfiles/LocalService/NTUSER.DAT");
  const auto machine = Open();
  EXPECT_EQ(Value(*machine, u"HKEY_USERS\\S-1-5-21-1-1001\\Key"), kThere);
  EXPECT_EQ(Value(*machine, u"HKEY_USERS\\S-1-5-21-1-1002\\Key"), kThere);
  EXPECT_EQ(Value(*machine, u"HKEY_USERS\\S-1-5-19\\Key"), kThere);
  EXPECT_EQ(Value(*machine, u"HKEY_CURRENT_USER\\Key"), kThere);
  EXPECT_EQ(machine->registry.User(), u"S-1-5-21-1-1001");
  EXPECT_THAT(warnings, ElementsAre(HasSubstr("2 people used the machine; HKEY_CURRENT_USER is Anna's")));
}

TEST_F(VolumeTest, TemplatesOfProfilesAndFoldersWithoutAHiveAreNotLoaded) {
  WriteMachine();
  WriteHive("Users/Default/NTUSER.DAT");
  WriteHive("Documents and Settings/default user/NTUSER.DAT");
  fs::create_directories(folder / "Users/Public");
  const auto machine = Open();
  EXPECT_EQ(machine->registry.Find(u"HKEY_USERS")->SubKeyCount(), 1U);
  EXPECT_THAT(warnings, IsEmpty());
}

TEST_F(VolumeTest, ProfileThatTheListDoesNotHaveIsLoadedUnderItsFoldersName) {
  WriteMachine({{"S-1-5-21-1-1001", "C:\\Users\\Anna"}});
  WriteHive("Users/Anna.old/NTUSER.DAT");
  const auto machine = Open();
  EXPECT_EQ(Value(*machine, u"HKEY_USERS\\Anna.old\\Key"), kThere);
  EXPECT_THAT(warnings, ElementsAre(AllOf(StartsWith((folder / "Users/Anna.old/NTUSER.DAT").string() + ": "),
                                          HasSubstr("ProfileList has no such user"))));
  EXPECT_THAT(damages, IsEmpty());
}

TEST_F(VolumeTest, NamesAreFoundInAnyCase) {
  {
    HiveFile software(folder / "WINDOWS/system32/CONFIG/software");
    software.SetText("Key", "value", "there");
    software.SetText(kProfiles + "S-1-5-21-1-1001", "ProfileImagePath", "C:\\Users\\ANNA");
  }
  WriteSystem("WINDOWS/system32/CONFIG/System");
  WriteHive("users/anna/ntuser.dat");
  const auto machine = Open();
  EXPECT_EQ(Value(*machine, u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Key"), kThere);
  EXPECT_EQ(Value(*machine, u"HKEY_LOCAL_MACHINE\\SYSTEM\\Key"), kThere);
  EXPECT_EQ(Value(*machine, u"HKEY_USERS\\S-1-5-21-1-1001\\Key"), kThere);
  EXPECT_THAT(warnings, IsEmpty());
}

TEST_F(VolumeTest, IsNeverWritten) {
  WriteMachine();
  const auto before = Files();
  {
    const auto machine = Open(Changes::Lasting);
    KeptMerger merger(*machine);
    merger.OpenKey(u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Key", {});
    merger.SetValue(u"value", 1, {});
    constexpr platform::LSTATUS kAccessDenied = 5;
    EXPECT_EQ(merger.Commit(), kAccessDenied);
    EXPECT_EQ(Value(*machine, u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Key"), kThere);
  }
  EXPECT_EQ(Files(), before);
}

TEST_F(VolumeTest, MissingHiveIsReported) {
  WriteMachine();
  fs::remove(folder / kSystem);
  EXPECT_EQ(Value(*Open(), u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Key"), kThere);
  EXPECT_THAT(warnings,
              ElementsAre(AllOf(StartsWith((folder / kSystem).string() + ": "), HasSubstr("left out"))));
  EXPECT_THAT(damages, IsEmpty());
}

TEST_F(VolumeTest, DamagedHivesAreReportedAndTheOthersLoaded) {
  WriteMachine({{"S-1-5-21-1-1001", "C:\\Users\\Anna"}, {"S-1-5-21-1-1002", "C:\\Users\\Pavel"}});
  WriteHive("Users/Anna/NTUSER.DAT");
  WriteHive("Users/Pavel/NTUSER.DAT");
  fs::resize_file(folder / "Users/Anna/NTUSER.DAT", 4096);
  Write("Windows/System32/config/DEFAULT", "no hive");
  Write(kSystem, "");
  const auto machine = Open();
  EXPECT_EQ(Value(*machine, u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Key"), kThere);
  EXPECT_EQ(Value(*machine, u"HKEY_USERS\\S-1-5-21-1-1002\\Key"), kThere);
  EXPECT_EQ(machine->registry.Find(u"HKEY_USERS\\S-1-5-21-1-1001"), nullptr);
  EXPECT_EQ(machine->registry.Find(u"HKEY_USERS\\.DEFAULT"), nullptr);
  EXPECT_EQ(machine->registry.Find(u"HKEY_LOCAL_MACHINE\\SYSTEM"), nullptr);
  EXPECT_THAT(
      damages,
      ElementsAre(HasSubstr("/SYSTEM: the hive is damaged: it is empty; "),
                  HasSubstr("/DEFAULT: the hive is damaged: it does not begin as a hive does; "),
                  HasSubstr("/Anna/NTUSER.DAT: the hive is damaged: it is cut off after 4096 bytes; ")));
  EXPECT_THAT(warnings, IsEmpty());
}

TEST_F(VolumeTest, PipeInPlaceOfAHiveIsNotWaitedFor) {
  WriteMachine();
  fs::create_directories(folder / "Users/Anna");
  ASSERT_EQ(mkfifo((folder / "Users/Anna/NTUSER.DAT").c_str(), 0600), 0);
  Open();
  EXPECT_THAT(damages, ElementsAre(HasSubstr("/Anna/NTUSER.DAT: not a regular file; ")));
}

TEST_F(VolumeTest, ProgressEndsWithTheWholeAndNeverGoesBack) {
  WriteMachine();
  WriteHive("Users/Anna/NTUSER.DAT");
  Open();
  ASSERT_FALSE(progress.empty());
  EXPECT_TRUE(std::ranges::is_sorted(progress));
  EXPECT_EQ(progress.back().first, progress.back().second);
  EXPECT_EQ(progress.back().second, fs::file_size(folder / kSoftware) + fs::file_size(folder / kSystem) +
                                        fs::file_size(folder / "Users/Anna/NTUSER.DAT"));
}

TEST_F(VolumeTest, ValueOfAMebibyte) {
  WriteHive(kSoftware);
  std::string data(1 << 20, 'x');
  data.replace(data.size() - 2, 2, "yy");
  SetSegmentedData(folder / kSoftware, "value", data);
  std::u16string expected(1 << 19, u'\x7878');
  expected.back() = u'\x7979';
  EXPECT_EQ(Value(*Open(), u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Key"), expected);
  EXPECT_THAT(damages, IsEmpty());
}

/** A user whose hive is dirty: its log has the value "there", the file another one. */
class DirtyUserTest : public VolumeTest {
 protected:
  static constexpr const char* kHive = "Users/Anna/NTUSER.DAT";

  DirtyUserTest() {
    WriteMachine({{"S-1-5-21-1-1001", "C:\\Users\\Anna"}});
    WriteHive(kHive);
    const std::string after = Files().at(kHive);
    HiveFile(folder / kHive).SetText("Key", "value", "other");
    const std::string before = Files().at(kHive);
    fields.first = 6;
    fields.second = 5;
    fields.binsBytes = static_cast<std::uint32_t>(before.size() - kPageBytes);
    Write(kHive, MakeHeader(fields) + before.substr(kSectorBytes));
    bins = after.substr(kPageBytes);
  }
  /** Returns a log with all sectors of `bins`. */
  std::string Log() {
    fields.first = fields.second = 6;
    fields.type = 1;
    std::vector<std::size_t> sectors(bins.size() / kSectorBytes);
    std::iota(sectors.begin(), sectors.end(), 0U);
    return MakeSectorLog(fields, bins, sectors);
  }
  std::u16string UsersValue() { return Value(*Open(), u"HKEY_USERS\\S-1-5-21-1-1001\\Key"); }

  HeaderFields fields;
  std::string bins;
};

// Windows 7 and earlier write NTUSER.DAT.LOG or, with two logs, NTUSER.DAT.LOG1.
TEST_F(DirtyUserTest, LogWithoutANumberIsApplied) {
  for (const char* const end : {".LOG", ".log1"}) {
    Write(std::string(kHive) + end, Log());
    EXPECT_EQ(UsersValue(), kThere);
    EXPECT_THAT(warnings, ElementsAre(HasSubstr("/NTUSER.DAT: recovered 1 log entry")));
    EXPECT_THAT(damages, IsEmpty());
    fs::remove(folder / (std::string(kHive) + end));
  }
}

TEST_F(DirtyUserTest, LogThatIsALinkOrCannotBeReadIsReported) {
  Write(std::string(kHive) + ".LOG1", Log());
  const fs::path other = folder / (std::string(kHive) + ".LOG2");
  const auto expectReport = [&] {
    EXPECT_EQ(UsersValue(), kThere);
    EXPECT_THAT(damages, ElementsAre(HasSubstr("; NTUSER.DAT.LOG2 is a link or cannot be read, ")));
    fs::remove(other);
  };
  fs::create_directory(other);
  expectReport();
  ASSERT_EQ(mkfifo(other.c_str(), 0600), 0);
  expectReport();
  for (const char* const target : {"NTUSER.DAT.LOG1", "NTUSER.DAT.LOG2", "missing"}) {
    fs::create_symlink(target, other);
    expectReport();
  }
}

TEST_F(DirtyUserTest, UnreadableLogOfACleanHiveIsNotReported) {
  WriteHive(kHive);
  fs::create_directory(folder / (std::string(kHive) + ".LOG1"));
  EXPECT_EQ(UsersValue(), kThere);
  EXPECT_THAT(damages, IsEmpty());
}

TEST_F(DirtyUserTest, LogThatDestroysTheHiveIsNotApplied) {
  bins.assign(bins.size(), 'x');
  Write(std::string(kHive) + ".LOG1", Log());
  EXPECT_EQ(UsersValue(), u"other\0"sv);
  EXPECT_THAT(damages, ElementsAre(HasSubstr("its logs do not fit it")));
}

TEST_F(VolumeTest, ManyKeysAndValues) {
  constexpr std::size_t kKeys = 70'000, kValues = 20'000;
  WriteMachine();
  WriteWideHive(folder / kSoftware, kKeys, kValues);
  const auto machine = Open();
  Key* const software = machine->registry.Find(u"HKEY_LOCAL_MACHINE\\SOFTWARE");
  EXPECT_EQ(software->SubKeyCount(), kKeys);
  EXPECT_EQ(software->ValueCount(), kValues);
  EXPECT_NE(software->FindSubKey(u"K00069999"), nullptr);
  ValueView value;
  EXPECT_TRUE(software->FindValue(u"V00019999", value));
  EXPECT_THAT(damages, IsEmpty());
}

TEST_F(VolumeTest, KeysHundredsDeep) {
  std::string path = "d";
  for (int level = 1; level < 500; ++level) path += "\\d";
  WriteHive(kSoftware, path);
  EXPECT_EQ(Value(*Open(), u"HKEY_LOCAL_MACHINE\\SOFTWARE\\" + std::u16string(path.begin(), path.end())),
            kThere);
}

TEST_F(VolumeTest, KeysThatWindowsDoesNotAllowAreLeftOutAndAllElseRead) {
  {
    HiveFile software(folder / kSoftware);
    software.SetText("Key", "value", "there");
    software.Add(std::string(256, 'n'));
    software.Add(std::string(255, 'n'));
  }
  WriteSystem();
  const auto machine = Open();
  EXPECT_EQ(Value(*machine, u"HKEY_LOCAL_MACHINE\\SOFTWARE\\Key"), kThere);
  EXPECT_EQ(machine->registry.Find(u"HKEY_LOCAL_MACHINE\\SOFTWARE")->SubKeyCount(), 2U);
  EXPECT_THAT(damages, ElementsAre(AllOf(
                           StartsWith((folder / kSoftware).string() + ": HKEY_LOCAL_MACHINE\\SOFTWARE\\nnn"),
                           HasSubstr("255 characters"))));
  EXPECT_THAT(warnings, IsEmpty());
}

// A name may contain half of a surrogate pair, or a NUL.
TEST_F(VolumeTest, NamesAreReadAsTheyStand) {
  {
    HiveFile software(folder / kSoftware);
    software.SetText("\xC3\xA4mter", "a_b", "there");
    software.SetText("n\xC4\x80y", "value", "there");
  }
  WriteSystem();
  ReplaceInHive("n\0\x00\x01y\0"sv, "n\0\x00\xD8y\0"sv);
  // The hash of the name, too.
  ReplaceInHive("\x53\xf6\x3a\x00"sv, "\x77\xd9\x20\x00"sv);
  ReplaceInHive("a_b"sv, "a\0b"sv);
  const auto machine = Open();
  EXPECT_EQ(Value(*machine, u"HKEY_LOCAL_MACHINE\\SOFTWARE\\n\xD800y"), kThere);
  EXPECT_EQ(TextOf(*machine, u"HKEY_LOCAL_MACHINE\\SOFTWARE\\\u00E4mter", u"a\0b"sv), kThere);
  EXPECT_THAT(warnings, IsEmpty());
  EXPECT_THAT(damages, IsEmpty());
}

}  // namespace
}  // namespace simulated
