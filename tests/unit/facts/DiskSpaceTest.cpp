#include <gmock/gmock.h>

#include "facts/SystemInfo.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

class DiskSpace : public OnMachine {
 protected:
  std::int64_t SpaceWithFree(std::uint64_t freeBytes) {
    machine.drives.SetSpace(u'D', {freeBytes, ~std::uint64_t{0}});
    return info.GetDiskAvailableSpace("D:\\Some\\Folder");
  }

  SystemInfo& info = SystemInfo::GetInstance();
};

TEST_F(DiskSpace, IsInWholeMebibytes) {
  EXPECT_EQ(SpaceWithFree(0), 0);
  EXPECT_EQ(SpaceWithFree((1U << 20) - 1), 0);
  EXPECT_EQ(SpaceWithFree(1U << 20), 1);
  EXPECT_EQ(SpaceWithFree(~std::uint64_t{0}), (std::int64_t{1} << 44) - 1);
}

TEST_F(DiskSpace, OnlyTheFirstByteOfThePathIsRead) {
  machine.drives.SetSpace(u'Z', {5U << 20, 9U << 20});
  EXPECT_EQ(info.GetDiskAvailableSpace("Z"), 5);
  EXPECT_EQ(info.GetDiskAvailableSpace("z:\\no\\such folder"), 5);
  EXPECT_EQ(info.GetDiskAvailableSpace("Zebra"), 5);
  EXPECT_THAT(CallsOf([&] { info.GetDiskAvailableSpace("Z:\\App"); }),
              testing::Contains("GetDiskFreeSpaceExW(\"Z:/\") = 1"));
}

TEST_F(DiskSpace, APathWithoutADriveHasNoSpace) {
  EXPECT_THAT(CallsOf([&] {
                EXPECT_EQ(info.GetDiskAvailableSpace(nullptr), -1);
                EXPECT_EQ(info.GetDiskAvailableSpace(""), -1);
              }),
              testing::IsEmpty());
  for (const char* path : {"Q:\\", "\\\\server\\share", "1", "\u65e5:\\", "/", ":", " C:\\"}) {
    EXPECT_EQ(info.GetDiskAvailableSpace(path), -1) << path;
  }
}

TEST_F(DiskSpace, AMountedDriveHasTheSpaceOfItsFileSystem) {
  machine.drives.Mount(u'C', "/");
  EXPECT_GE(info.GetDiskAvailableSpace("C"), 0);
}

}  // namespace
}  // namespace kestrelbay
