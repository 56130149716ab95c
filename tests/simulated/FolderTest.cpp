// A folder of the host: no path and no link leads out of it, and nothing waits or grows without bound.
#include "simulated/base/Folder.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <new>

#include "MachineFolder.h"
#include "simulated/base/WholeFile.h"

namespace {

/** The allocation of a larger array fails. */
std::size_t largestBlock = SIZE_MAX;

}  // namespace

void* operator new[](std::size_t bytes) {
  if (bytes > largestBlock) throw std::bad_alloc();
  return ::operator new(bytes);
}
void operator delete[](void* block) noexcept { ::operator delete(block); }
void operator delete[](void* block, std::size_t) noexcept { ::operator delete(block); }

namespace simulated {
namespace {

using namespace std::string_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

namespace fs = std::filesystem;
using Entry = Folder::Entry;

class FolderTest : public MachineFolder {
 protected:
  FolderTest() {
    Write("outside/secret.txt", "secret");
    Write("root/a/file.txt", "file");
    fs::create_symlink("../outside", folder / "root/leaves");
    fs::create_symlink(folder / "root/a/file.txt", folder / "root/absolute");
    fs::create_symlink("a/../a/file.txt", folder / "root/stays");
    fs::create_symlink("../../outside/new.txt", folder / "root/a/dangling");
    root.emplace(folder / "root");
  }

  std::string ReadError(const char* path) const {
    try {
      ReadWholeFile(*root, path);
      return "read";
    } catch (const MachineError& error) {
      return error.what();
    }
  }
  static void WriteSparse(const fs::path& file, std::string_view begin, std::uintmax_t bytes) {
    std::ofstream(file, std::ios::binary) << begin;
    fs::resize_file(file, bytes);
  }
  int StepByStep(const fs::path& path) const {
    const FileDescriptor file(OpenStepByStep(root->Descriptor(), path, O_RDONLY, 0));
    return file ? 0 : errno;
  }

  std::optional<Folder> root;
};

TEST_F(FolderTest, SparseFileIsReadUpToSixteenTimesItsBytes) {
  WriteSparse(folder / "sparse", std::string(4096, 'x'), std::uintmax_t{40} << 30);
  const SparseFile file(folder / "sparse");
  EXPECT_EQ(file.StoredBytes(), 4096U);
  EXPECT_EQ(file.Span().size(), 16 * 4096U);
  EXPECT_EQ(file.Span()[4095], 'x');
  EXPECT_EQ(file.Span()[4096], 0);
}

TEST_F(FolderTest, FileWithoutHolesIsReadAsAWhole) {
  const std::string bytes(100'000, 'x');
  Write("whole", bytes);
  const SparseFile file(folder / "whole");
  EXPECT_EQ(file.StoredBytes(), bytes.size());
  EXPECT_TRUE(std::ranges::equal(file.Span(), bytes));
}

// A mapped file would end the process.
TEST_F(FolderTest, FileThatIsShortenedMeanwhileDoesNoHarm) {
  const std::string bytes(100'000, 'x');
  Write("whole", bytes);
  const SparseFile file(folder / "whole");
  fs::resize_file(folder / "whole", 0);
  EXPECT_TRUE(std::ranges::equal(file.Span(), bytes));
}

TEST_F(FolderTest, PathThatLeavesIsOutside) {
  for (const char* path : {"leaves", "leaves/secret.txt", "absolute", "a/dangling", "..",
                           "../outside/secret.txt", "a/../../outside", "/etc/passwd"})
    EXPECT_EQ(root->Look(path), Entry::Outside) << path;
  EXPECT_THAT(ReadError("leaves/secret.txt"), HasSubstr("root/leaves/secret.txt: leads out of "));
}

TEST_F(FolderTest, LinkThatStaysIsFollowed) {
  EXPECT_EQ(root->Look("stays"), Entry::File);
  EXPECT_EQ(ReadWholeFile(*root, "stays").size, 4U);
}

TEST_F(FolderTest, HostWithoutTheCallRefusesEveryLink) {
  for (const char* path :
       {"leaves", "leaves/secret.txt", "absolute", "stays", "a/dangling", "..", "/etc", "a/.."})
    EXPECT_EQ(StepByStep(path), EXDEV) << path;
  for (const char* path : {"", ".", "a", "a/file.txt"}) EXPECT_EQ(StepByStep(path), 0) << path;
  EXPECT_EQ(StepByStep("a/none"), ENOENT);
}

TEST_F(FolderTest, PathWithANulIsRefused) {
  const fs::path leaves("..\0/outside/secret.txt"s);
  const fs::path named("a/file.txt\0x"s);
  std::vector<fs::path> made;
  EXPECT_FALSE(Folder::IsBelow(leaves));
  for (const fs::path& path : {leaves, named}) {
    EXPECT_EQ(StepByStep(path), EINVAL);
    EXPECT_FALSE(root->Open(path, O_RDONLY));
    EXPECT_EQ(root->Create(path, made), EINVAL);
    EXPECT_EQ(root->Remove(path), EINVAL);
  }
  EXPECT_THAT(made, IsEmpty());
  EXPECT_EQ(root->Look("a/file.txt"), Entry::File);
}

TEST_F(FolderTest, LinkToNothingIsAnEntry) {
  fs::create_symlink("none", folder / "root/nowhere");
  EXPECT_TRUE(root->Has("nowhere"));
  EXPECT_FALSE(root->Has("none"));
}

TEST_F(FolderTest, FileIsReplacedAndNotWhatALinkOfItsNameLeadsTo) {
  const auto secret = folder / "outside/secret.txt";
  fs::create_symlink(secret, folder / "root/a/linked");
  const std::uint8_t byte = 'x';
  EXPECT_EQ(root->Replace("a/linked", {&byte, 1}), 0);
  EXPECT_EQ(fs::file_size(secret), 6U);
  EXPECT_FALSE(fs::is_symlink(folder / "root/a/linked"));
  EXPECT_EQ(root->Replace("leaves/new.txt", {&byte, 1}), EXDEV);
  EXPECT_THAT(root->Names("a"), UnorderedElementsAre("file.txt", "dangling", "linked"));
}

TEST_F(FolderTest, NothingIsMadeOrRemovedOutside) {
  std::vector<fs::path> made;
  for (const char* path : {"leaves/new.txt", "a/dangling", "leaves/sub/new.txt"})
    EXPECT_EQ(root->Create(path, made), EXDEV) << path;
  EXPECT_EQ(root->Remove("leaves/secret.txt"), EXDEV);
  EXPECT_EQ(root->Remove("../outside/secret.txt"), EXDEV);
  EXPECT_THAT(made, IsEmpty());
  EXPECT_TRUE(fs::exists(folder / "outside/secret.txt"));
  EXPECT_FALSE(fs::exists(folder / "outside/new.txt"));
  EXPECT_EQ(root->Remove("leaves"), 0);
  EXPECT_TRUE(fs::exists(folder / "outside"));
}

TEST_F(FolderTest, PipeIsNoFileAndIsNotWaitedFor) {
  ASSERT_EQ(mkfifo((folder / "root/pipe").c_str(), 0666), 0);
  EXPECT_EQ(root->Look("pipe"), Entry::Other);
  EXPECT_FALSE(root->OpenFile("pipe"));
  EXPECT_THAT(ReadError("pipe"), HasSubstr("root/pipe: not a regular file; "));
}

TEST_F(FolderTest, FileOfMoreThanAGibibyteIsRefusedByItsName) {
  Write("root/large.reg", "");
  fs::resize_file(folder / "root/large.reg", kLargestFileBytes + 1);
  EXPECT_THAT(ReadError("large.reg"), HasSubstr("root/large.reg: larger than 1 GiB"));
}

TEST_F(FolderTest, FileThatDoesNotFitIntoMemoryIsNamed) {
  Write("root/large.reg", "");
  fs::resize_file(folder / "root/large.reg", 1 << 20);
  largestBlock = 1 << 19;
  const std::string error = ReadError("large.reg");
  largestBlock = SIZE_MAX;
  EXPECT_THAT(error, HasSubstr("root/large.reg: too large for the memory that is free"));
}

}  // namespace
}  // namespace simulated
