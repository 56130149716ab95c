// The existence of files, and the directories of the host.
#include "platform/Files.h"

#include <gtest/gtest.h>

#include "LastErrors.h"
#include "TestMachine.h"
#include "platform/Processes.h"

namespace platform {
namespace {

class Files : public testing::Test {
 protected:
  tests::TestMachine machine;
  std::u16string folder = machine.Folder();
};

TEST_F(Files, AFileExistsInAnyCaseAndWithEitherSlash) {
  machine.MakeFile(folder + u"\\Sub Folder\\Größe.TXT", "x");
  EXPECT_EQ(0, _waccess((folder + u"\\Sub Folder\\Größe.TXT").c_str(), 0));
  EXPECT_EQ(0, _waccess((folder + u"\\SUB folder\\GRÖßE.txt").c_str(), 0));
  EXPECT_EQ(0, _waccess((folder + u"/Sub Folder/Größe.TXT").c_str(), 0));
}

TEST_F(Files, AFolderExists) {
  EXPECT_EQ(0, _waccess(folder.c_str(), 0));
  EXPECT_EQ(0, _waccess((folder + u"\\").c_str(), 0));
}

TEST_F(Files, AMissingFileDoesNotExist) {
  machine.MakeFile(folder + u"\\file", "x");
  EXPECT_EQ(-1, _waccess((folder + u"\\missing").c_str(), 0));
  EXPECT_EQ(-1, _waccess((folder + u"\\missing\\file").c_str(), 0));
  EXPECT_EQ(-1, _waccess((folder + u"\\file\\below").c_str(), 0));
  EXPECT_EQ(-1, _waccess(u"", 0));
  EXPECT_EQ(-1, _waccess(u"Q:\\no such drive", 0));
}

TEST_F(Files, ANameIsNotAPattern) {
  machine.MakeFile(folder + u"\\file", "x");
  EXPECT_EQ(-1, _waccess((folder + u"\\f*").c_str(), 0));
  EXPECT_EQ(-1, _waccess((folder + u"\\fil?").c_str(), 0));
  EXPECT_EQ(-1, _waccess((u"\"" + folder + u"\\file\"").c_str(), 0));
}

std::u16string Ascii(const char* text) { return {text, text + std::char_traits<char>::length(text)}; }

TEST_F(Files, TheCurrentDirectoryIsReturned) {
  char buffer[260] = {};
  const DWORD length = GetCurrentDirectoryA(sizeof buffer, buffer);
  EXPECT_EQ(machine.CurrentDirectory(), Ascii(buffer));
  EXPECT_EQ(machine.CurrentDirectory().size(), length);
  char exact[260] = {};
  EXPECT_EQ(length, GetCurrentDirectoryA(length + 1, exact));
  EXPECT_EQ(Ascii(buffer), Ascii(exact));
}

TEST_F(Files, ASmallBufferForTheCurrentDirectoryReturnsTheRequiredSize) {
  const auto length = static_cast<DWORD>(machine.CurrentDirectory().size());
  EXPECT_EQ(length + 1, GetCurrentDirectoryA(0, nullptr));
  std::string buffer(260, '#');
  EXPECT_EQ(length + 1, GetCurrentDirectoryA(length, buffer.data()));
  EXPECT_EQ(std::string(260, '#'), buffer);
}

TEST_F(Files, ThePathOfTheProgramIsReturned) {
  char buffer[260] = {};
  EXPECT_EQ(machine.HostPath().size(), GetModuleFileNameA(nullptr, buffer, sizeof buffer));
  EXPECT_EQ(machine.HostPath(), Ascii(buffer));
}

TEST_F(Files, ThePathOfTheProgramIsCutToTheBuffer) {
  char buffer[260];
  std::fill(std::begin(buffer), std::end(buffer), '#');
  EXPECT_EQ(4u, GetModuleFileNameA(nullptr, buffer, 4));
  EXPECT_EQ('#', buffer[4]);
  // Wine does not write the NUL.
  EXPECT_EQ(!tests::RunsOnWine(), buffer[3] == '\0');
  buffer[3] = '\0';
  EXPECT_EQ(machine.HostPath().substr(0, 3), Ascii(buffer));
}

TEST_F(Files, AnyFolderOfADriveHasItsSpace) {
  for (const auto& path : {std::u16string(u"C:/"), std::u16string(u"c:\\"), folder}) {
    std::uint64_t freeToCaller = 0;
    std::uint64_t total = 0;
    std::uint64_t totalFree = 0;
    ASSERT_NE(0, GetDiskFreeSpaceExW(path.c_str(), &freeToCaller, &total, &totalFree));
    EXPECT_GT(total, 0u);
    EXPECT_LE(freeToCaller, totalFree);
    EXPECT_LE(totalFree, total);
  }
}

TEST_F(Files, AMissingDriveHasNoSpace) {
  machine.MakeFile(folder + u"\\file", "x");
  const auto problem = [](const std::u16string& path) {
    std::uint64_t sizes[3] = {7, 7, 7};
    EXPECT_EQ(0, GetDiskFreeSpaceExW(path.c_str(), &sizes[0], &sizes[1], &sizes[2]));
    EXPECT_EQ(7u, sizes[0]);
    return GetLastError();
  };
  EXPECT_EQ(last_error::kPathNotFound, problem(u"Q:/"));
  EXPECT_EQ(last_error::kPathNotFound, problem(u"1:/"));
  EXPECT_EQ(last_error::kPathNotFound, problem(u""));
  EXPECT_EQ(last_error::kPathNotFound, problem(u"\uFFFD:/"));
  EXPECT_EQ(last_error::kNotADirectory, problem(folder + u"\\file"));
  // Wine says that there is no such file.
  EXPECT_EQ(!tests::RunsOnWine(), problem(folder + u"\\missing") == last_error::kPathNotFound);
}

}  // namespace
}  // namespace platform
