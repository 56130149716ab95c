// A machine.json of a wrong form is reported with the line and the path of the member.
#include <gmock/gmock.h>
#include <malloc.h>

#include <ostream>

#include "MachineFolder.h"
#include "simulated/directory/JsonFile.h"

namespace simulated {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

struct Mistake {
  const char* what;
  std::string json;
  int line;
  std::string told;
};

void PrintTo(const Mistake& mistake, std::ostream* out) { *out << mistake.what; }

const Mistake kMistakes[] = {
    {"NoObject", "\n[]", 2, "not an object; "},
    {"Unknown", "{\n\"colour\": 1}", 2, "colour: unknown; "},
    {"UserNoObject", "{\n\"user\": \"Anna\"}", 2, "user: must be an object; "},
    {"UserOfAnotherMember", "{\"user\": {\n\"name\": \"Anna\",\n\"age\": \"7\"}}", 3, "user.age: unknown; "},
    {"NameNoText", "{\"user\": {\n\"name\":\n7}}", 2, "user.name: must be a text that is not empty; "},
    {"NameEmpty", "{\"user\": {\"name\": \"\"}}", 1, "user.name: must be a text that is not empty; "},
    {"SidNoName", "{\"user\": {\"sid\": \"S-1-5\\\\Anna\"}}", 1, "user.sid: not the name of a hive; "},
    {"SidWithNul", "{\"user\": {\"sid\": \"S-1-5\\u0000\"}}", 1, "user.sid: not the name of a hive; "},
    {"SidTooLong", "{\"user\": {\"sid\": \"" + std::string(256, 'S') + "\"}}", 1,
     "user.sid: not the name of a hive; "},
    {"EnvironmentNoObject", "{\"environment\": []}", 1, "environment: must be an object; "},
    {"EnvironmentNoText", "{\"environment\": {\n\"A\": \"x\",\n\"B\": null}}", 3,
     "environment.B: must be a text; "},
    {"EnvironmentNoName", "{\"environment\": {\n\"A=B\": \"x\"}}", 2,
     "environment.A=B: no variable's name; "},
    {"EnvironmentEmptyName", "{\"environment\": {\n\"\": \"x\"}}", 2, "environment.: no variable's name; "},
    {"ElevationOther", "{\n\"elevation\": \"maybe\"}", 2, "elevation: must be \"granted\" or \"refused\"; "},
    {"ElevationNoText", "{\n\n\"elevation\": true}", 3, "elevation: must be \"granted\" or \"refused\"; "},
    {"HostPathNoText", "{\"hostPath\": {}}", 1, "hostPath: must be a text that is not empty; "},
    {"CurrentDirectoryEmpty", "{\n\"currentDirectory\": \"\"}", 2,
     "currentDirectory: must be a text that is not empty; "},
    {"RegistryOrderOther", "{\n\"registryOrder\": \"random\"}", 2,
     "registryOrder: must be \"sorted\" or \"as listed\"; "},
    {"DiskNoLetter", "{\"disks\": {\n\"CD\": {}}}", 2, "disks.CD: no drive letter; "},
    {"DiskHalfTold", "{\"disks\": {\n\"C\": {\n\"freeBytes\": 1}}}", 2,
     "disks.C.sizeBytes: must be a whole number of bytes; "},
    {"DiskNegative", "{\"disks\": {\"C\": {\n\"sizeBytes\": 1,\n\"freeBytes\": -1}}}", 3,
     "disks.C.freeBytes: must be a whole number of bytes; "},
    {"DiskOverfull", "{\"disks\": {\"C\": {\"sizeBytes\": 1, \"freeBytes\": 2}}}", 1,
     "disks.C: more free than there is; "},
    {"DiskOfAnotherMember", "{\"disks\": {\"C\": {\n\"label\": 1}}}", 2, "disks.C.label: unknown; "},
    {"AdaptersNoList", "{\"graphicsAdapters\": {}}", 1, "graphicsAdapters: must be a list; "},
    {"AdapterNoText", "{\"graphicsAdapters\": [\n\"A\",\nnull,\n7]}", 4,
     "graphicsAdapters[2]: must be a text that is not empty; "},
    {"AppNoObject", "{\"appsFolder\": [\n{},\n\"Mail\"]}", 3, "appsFolder[1]: must be an object; "},
    {"AppOfAnotherMember", "{\"appsFolder\": [{},\n{},\n{\"name\": \"x\",\n\"icon\": 1}]}", 4,
     "appsFolder[2].icon: unknown; "},
    {"AppsNameNoText", "{\"appsFolder\": [{\n\"id\": []}]}", 2, "appsFolder[0].id: must be a text; "},
    {"ProgramWithoutName", "{\"programs\": {\n\"\": {}}}", 1, "programs: a program has no name; "},
    {"ProgramNoObject", "{\"programs\": {\n\"a.exe\": 1}}", 2, "programs.a.exe: must be an object; "},
    {"ProgramOfAnotherMember", "{\"programs\": {\"a.exe\": {\n\"colour\": 1}}}", 2,
     "programs.a.exe.colour: unknown; "},
    {"StepsNoList", "{\"programs\": {\"a.exe\": {\n\"steps\": {}}}}", 2,
     "programs.a.exe.steps: must be a list; "},
    {"StepOfAnotherMember", "{\"programs\": {\"a.exe\": {\"steps\": [{},\n{\"waits\": 1}]}}}", 2,
     "programs.a.exe.steps[1].waits: unknown; "},
    {"WaitNegative", "{\"programs\": {\"a.exe\": {\"steps\": [\n{\"waitMs\": -1}]}}}", 2,
     "programs.a.exe.steps[0].waitMs: must be a whole number from 0 to 4294967295; "},
    {"WaitOf33Bits", "{\"programs\": {\"a.exe\": {\"steps\": [{\"waitMs\": 4294967296}]}}}", 1,
     "programs.a.exe.steps[0].waitMs: must be a whole number from 0 to 4294967295; "},
    {"AddsNoText", "{\"programs\": {\"a.exe\": {\"steps\": [{\"adds\": [\"x\",\n1]}]}}}", 2,
     "programs.a.exe.steps[0].adds[1]: must be a text that is not empty; "},
    {"HandleNoFlag", "{\"programs\": {\"a.exe\": {\n\"givesHandle\": 1}}}", 2,
     "programs.a.exe.givesHandle: must be true or false; "},
    {"MergesOutside", "{\"programs\": {\"a.exe\": {\"steps\": [{},\n{\"merges\": \"../x.reg\"}]}}}", 2,
     "programs.a.exe.steps[1].merges: must lie in the machine's directory; "},
    {"RightUnknown", "{\"deniedAccess\": {\"HKEY_LOCAL_MACHINE\\\\Software\": [\"KEY_READ\",\n\"KEY_FLY\"]}}",
     2, "deniedAccess.HKEY_LOCAL_MACHINE\\Software[1]: unknown right; "},
    {"RightNoText", "{\"deniedAccess\": {\"HKEY_LOCAL_MACHINE\\\\Software\": [\n1]}}", 2,
     "deniedAccess.HKEY_LOCAL_MACHINE\\Software[0]: unknown right; "},
    {"RightsNoList", "{\"deniedAccess\": {\n\"HKEY_LOCAL_MACHINE\\\\Software\": \"DELETE\"}}", 2,
     "deniedAccess.HKEY_LOCAL_MACHINE\\Software: must be a list; "},
    {"RightsOnNoKey", "{\"deniedAccess\": {\n\"HKEY_LOCAL_MACHINE\\\\Nowhere\": [\"DELETE\"]}}", 2,
     "deniedAccess.HKEY_LOCAL_MACHINE\\Nowhere: no such key in the registry; "},
    {"NameWithLineEnd", "{\n\"a\\nb\": 1}", 2, "a?b: unknown; "},
    {"SaidTwice", "{\n\"hostPath\": \"x\",\n\"hostPath\": 1}", 3,
     "hostPath: must be a text that is not empty; "},
    {"NotJson", "{\n\"user\": {,}\n}", 2, "syntax error"},
    {"CutOff", "{\n\"user\": {\"name\":", 2, "syntax error"},
    {"TextNotEnded", "{\n\"hostPath\": \"x\n}", 2, "syntax error"},
    {"Empty", "", 1, "syntax error"},
    {"NoUtf8", "{\n\"hostPath\": \"\xE9\"}", 2, "syntax error"},
    {"NumberTooLarge", "{\n\"a\": [\n1e999\n]}", 3, "number overflow parsing '1e999'; "},
};

class MachineJsonErrors : public MachineFolder, public testing::WithParamInterface<Mistake> {};

TEST_P(MachineJsonErrors, AreToldWithTheirLineAndNothingIsLoadedOrChanged) {
  WriteRegistry("a.reg", "[HKEY_LOCAL_MACHINE\\Software]\n");
  Write("machine.json", GetParam().json);
  const auto before = Files();
  const std::string place = (folder / "machine.json").string() + ":" + std::to_string(GetParam().line) + ": ";
  EXPECT_THAT(Refusal(), StartsWith(place + GetParam().told));
  EXPECT_EQ(Refusal().find('\n'), std::string::npos);
  EXPECT_EQ(Files(), before);
}

INSTANTIATE_TEST_SUITE_P(, MachineJsonErrors, testing::ValuesIn(kMistakes),
                         [](const auto& mistake) { return std::string(mistake.param.what); });

using MachineJsonTest = MachineFolder;

TEST_F(MachineJsonTest, NestedHoweverDeepIsRefused) {
  for (const int depth : {101, 200000}) {
    const std::string open(static_cast<std::size_t>(depth), '['), close(static_cast<std::size_t>(depth), ']');
    for (const std::string member : {"\"capture\": {\"format\": 1},", ""}) {
      Write("machine.json", "{" + member + "\n\"x\": " + open + close + "}");
      EXPECT_THAT(Refusal(),
                  StartsWith((folder / "machine.json").string() + ":2: nested more than 100 deep; "));
    }
  }
}

TEST_F(MachineJsonTest, FormIsToldBeforeTheDepthThatNobodyReaches) {
  Write("machine.json", "{\"x\": " + std::string(99, '[') + std::string(99, ']') + "}");
  EXPECT_THAT(Refusal(), HasSubstr("machine.json:1: x: unknown; "));
}

TEST_F(MachineJsonTest, EveryMemberIsTaken) {
  WriteRegistry("a.reg", "[HKEY_CURRENT_USER\\Software]\n@=\"mine\"\n");
  Write("machine.json", R"({"user": {"name": "Anna", "sid": "S-1-5-21-7"}, "environment": {"A": "b"},
      "hostPath": "C:\\h.exe", "currentDirectory": "C:\\here", "elevation": "refused",
      "deniedAccess": {"HKEY_CURRENT_USER\\Software": ["KEY_SET_VALUE", "DELETE"]}})");
  const auto machine = Open();
  EXPECT_NE(machine->registry.Find(u"HKEY_USERS\\S-1-5-21-7\\Software"), nullptr);
  EXPECT_EQ(machine->environment.Find(u"a"), u"b");
  EXPECT_EQ(machine->environment.Find(u"ProgramData"), std::nullopt);
  EXPECT_EQ(machine->hostPath, u"C:\\h.exe");
  EXPECT_EQ(machine->currentDirectory, u"C:\\here");
  EXPECT_FALSE(machine->elevationGranted);
  EXPECT_EQ(machine->registry.Find(u"HKEY_CURRENT_USER\\Software")->deniedRights, 0x10002U);
}

TEST(MachineJson, LinesOfADeepFileTakeMemoryByItsSize) {
  constexpr std::size_t kLevels = 90, kMostPerByte = 50;
  std::string text, end;
  for (std::size_t i = 0; i < kLevels; ++i) {
    text += "{\"" + std::string(1000, 'n') + "\":";
    end += '}';
  }
  text += "[0";
  for (int i = 0; i < 5000; ++i) text += ",0";
  text += "]" + end;
  const std::size_t before = mallinfo2().uordblks;
  const JsonFile file =
      ParseJsonFile({reinterpret_cast<const std::uint8_t*>(text.data()), text.size()}, "file");
  EXPECT_LT(mallinfo2().uordblks - before, kMostPerByte * text.size());
  EXPECT_EQ(file.lines.Place("file", "missing"), "file:1");
}

}  // namespace
}  // namespace simulated
