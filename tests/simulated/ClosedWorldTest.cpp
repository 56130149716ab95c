// A machine directory is a closed world: neither reads nor changes reach a file outside of it.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "MachineFolder.h"
#include "simulated/directory/CaptureFormat.h"
#include "simulated/machine/KeptChanges.h"

namespace simulated {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace fs = std::filesystem;

constexpr std::string_view kStatements = "[HKEY_LOCAL_MACHINE\\Software\\K]\n\"a\"=\"1\"\n";

/** The machine is in the folder "pc". Files beside it must not be touched. */
class ClosedWorld : public MachineFolder {
 protected:
  ClosedWorld() {
    Write("outside/kept.txt", "kept");
    Write("outside/10.reg", std::string(kHeader) + std::string(kStatements));
    outside = folder / "outside";
    folder /= "pc";
    WriteRegistry("00.reg", kStatements);
  }
  ~ClosedWorld() override { folder = folder.parent_path(); }

  void Link(const fs::path& target, const std::string& path) {
    fs::create_directories((folder / path).parent_path());
    fs::create_symlink(target, folder / path);
  }
  void ExpectRefusal(const std::string& place) {
    EXPECT_THAT(Refusal(), StartsWith((folder / place).string() + ": leads out of " + folder.string()));
  }
  void ExpectNothingChangedOutside() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(outside)) names.push_back(entry.path().filename());
    EXPECT_THAT(names, testing::UnorderedElementsAre("kept.txt", "10.reg"));
    EXPECT_EQ(fs::file_size(outside / "kept.txt"), 4U);
  }
  static platform::LSTATUS Change(Machine& machine, FileChanges files) {
    KeptMerger merger(machine);
    merger.OpenKey(u"HKEY_LOCAL_MACHINE\\Software\\New", {});
    return merger.Commit(std::move(files));
  }

  fs::path outside;
};

TEST_F(ClosedWorld, RegistryThatIsALinkOutIsRefused) {
  fs::remove_all(folder / "registry");
  Link(outside, "registry");
  ExpectRefusal("registry");
}

TEST_F(ClosedWorld, LinkToNothingIsNoMissingPart) {
  for (const char* part : {"registry", "machine.json", "drives"}) {
    fs::remove_all(folder / part);
    Link("none", part);
    EXPECT_THAT(Refusal(), StartsWith((folder / part).string() + ": cannot be read"));
    fs::remove(folder / part);
    WriteRegistry("00.reg", kStatements);
  }
}

TEST_F(ClosedWorld, RegistrationFileThatIsALinkOutIsRefused) {
  Link("../../outside/10.reg", "registry/10.reg");
  ExpectRefusal("registry/10.reg");
}

TEST_F(ClosedWorld, RegistrationFileThatIsALinkWithinIsRead) {
  Write("files/10.reg", std::string(kHeader) + "[HKEY_LOCAL_MACHINE\\Software\\Linked]\n");
  Link("../files/10.reg", "registry/10.reg");
  EXPECT_NE(Open()->registry.Find(u"HKEY_LOCAL_MACHINE\\Software\\Linked"), nullptr);
}

TEST_F(ClosedWorld, DescriptionThatIsALinkOutIsRefused) {
  Link(outside / "kept.txt", "machine.json");
  ExpectRefusal("machine.json");
}

TEST_F(ClosedWorld, DriveThatIsALinkOutIsRefused) {
  Link(outside, "drives/C");
  ExpectRefusal("drives/C");
}

TEST_F(ClosedWorld, FileOfAProgramThatIsALinkOutIsRefused) {
  Link(outside / "10.reg", "setups/a.reg");
  Write("machine.json", R"({"programs": {"a.exe": {"steps": [{"merges": "setups/a.reg"}]}}})");
  ExpectRefusal("setups/a.reg");
}

TEST_F(ClosedWorld, EntryOfADriveThatIsALinkOutCountsAsMissingWithOneWarning) {
  Link(outside, "drives/C/App");
  const auto machine = Open();
  for (int i = 0; i < 2; ++i) EXPECT_FALSE(machine->drives.Exists(u"C:\\App\\kept.txt"));
  EXPECT_EQ(machine->drives.OnHost(u"C:\\App\\kept.txt"), std::nullopt);
  EXPECT_FALSE(machine->drives.OpenFile(u"C:\\App\\kept.txt"));
  EXPECT_THAT(warnings,
              ElementsAre(StartsWith((folder / "drives/C/App/kept.txt").string() + ": leads out of ")));
}

TEST_F(ClosedWorld, ProgramAddsAndRemovesNothingOutside) {
  Link(outside, "drives/C/App");
  const auto machine = Open(Changes::Lasting);
  EXPECT_EQ(Change(*machine, {{u"C:\\App\\new.txt"}, {}}), 5);
  EXPECT_THAT(machine->WriteProblem(), HasSubstr("drives/C/App/new.txt: leads out of "));
  EXPECT_EQ(Change(*machine, {{}, {u"C:\\App\\kept.txt"}}), 5);
  EXPECT_EQ(machine->registry.Find(u"HKEY_LOCAL_MACHINE\\Software\\New"), nullptr);
  ExpectNothingChangedOutside();
}

TEST_F(ClosedWorld, ChangeIsNotWrittenThroughALink) {
  for (const char* name :
       {"registry/~change.tmp", "registry/~new-1.tmp", "registry/~change-00000002.reg.tmp"})
    Link(outside / "kept.txt", name);
  EXPECT_EQ(Change(*Open(Changes::Lasting), {}), 0);
  ExpectNothingChangedOutside();
}

TEST_F(ClosedWorld, FoldingWritesThroughNoLinkAndWaitsForNoPipe) {
  for (int i = 1; i <= 65; ++i) {
    const std::string number = std::to_string(i);
    WriteRegistry("~change-" + std::string(8 - number.size(), '0') + number + ".reg", kStatements);
  }
  Link(outside / "kept.txt", "registry/~change.tmp");
  ASSERT_EQ(mkfifo((folder / "registry/~new-1.tmp").c_str(), 0666), 0);
  Open(Changes::Lasting);
  ExpectNothingChangedOutside();
  EXPECT_TRUE(fs::exists(folder / "registry/~change-00000065.reg"));
  EXPECT_FALSE(fs::exists(folder / "registry/~change-00000001.reg"));
}

TEST_F(ClosedWorld, NumberOfAChangeThatIsOutOfRangeIsRefused) {
  for (const char* name : {"~change-18446744073709551615.reg", "~change-99999999999999999999999999.reg",
                           "~change-1000000000000.pending", "~change-1.reg"}) {
    WriteRegistry(name, kStatements);
    EXPECT_THAT(Refusal(),
                StartsWith((folder / "registry" / name).string() + ": its number is out of range"));
    fs::remove(folder / "registry" / name);
  }
}

TEST_F(ClosedWorld, TwoChangesOfOneNumberAreRefused) {
  WriteRegistry("~change-00000007.reg", kStatements);
  WriteRegistry("~change-00000007.pending", kStatements);
  const fs::path file = folder / "registry/~change-00000007.pending";
  EXPECT_THAT(Refusal(), StartsWith(file.string() + ": another change has this number; "));
  fs::remove(file);
  EXPECT_NO_THROW(Open(Changes::Lasting));
}

class CaptureFiles : public ClosedWorld {
 protected:
  /** Writes a capture that names one file. */
  void WriteCapture(const std::string& path) {
    nlohmann::json root = {{"capture", {{"format", 1}, {"files", {{path, {{"bytes", 4}}}}}}}};
    root["capture"]["checksum"] = ChecksumOfDescription(root);
    Write("machine.json", root.dump());
    fs::remove(folder / "registry/00.reg");
  }
};

TEST_F(CaptureFiles, OutsideAreRefused) {
  for (const std::string& path : {std::string("../outside/kept.txt"), (outside / "kept.txt").string(),
                                  std::string("registry/../../outside/kept.txt"), std::string()}) {
    WriteCapture(path);
    EXPECT_THAT(Refusal(), HasSubstr("machine.json:1: capture.files." + path + ": must lie in the machine's"))
        << path;
  }
}

TEST_F(CaptureFiles, BehindALinkOutAreRefused) {
  Link(outside, "drives/D");
  WriteCapture("drives/D/kept.txt");
  EXPECT_THAT(Refusal(), StartsWith((folder / "drives/D/kept.txt").string() +
                                    ": missing from the capture (a link leads out of it)"));
}

TEST_F(CaptureFiles, WithinAreAccepted) {
  Write("drives/D/kept.txt", "kept");
  WriteCapture("drives/D/kept.txt");
  EXPECT_THAT(Refusal(), IsEmpty());
}

}  // namespace
}  // namespace simulated
