// The directory of the host, copied into buffers of every size.
#include <gmock/gmock.h>

#include <array>

#include "HostCallbacks.h"
#include "KestrelbayGeneralSDK.h"
#include "simulated/port/InvalidParameter.h"
#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;

class RootDirExport : public OnMachine {
 protected:
  RootDirExport() { machine.currentDirectory = u"C:\\Store\\1"; }  // ten bytes

  std::array<char, 32> buffer{};
  LogCapture log;
};

TEST_F(RootDirExport, WritesTheDirectoryAndItsLength) {
  std::int32_t size = 11;
  ::GetRootDir(buffer.data(), &size, 1);
  EXPECT_STREQ(buffer.data(), "C:\\Store\\1");
  EXPECT_EQ(size, 10);
  EXPECT_THAT(log.Messages(), ElementsAre("GetRootDir Debug"));
}

TEST_F(RootDirExport, TooSmallASizeIsLoggedAndStaysAsItWas) {
  std::int32_t size = 9;
  ::GetRootDir(nullptr, &size, 1);
  EXPECT_EQ(size, 9);
  ASSERT_EQ(log.Lines().size(), 2U);
  EXPECT_EQ(log.Lines()[1].file, "KestrelbayGeneralSDK");
  EXPECT_EQ(log.Lines()[1].level, 5);
  EXPECT_THAT(log.Lines()[1].text, testing::MatchesRegex("GetRootDir:[0-9]+ buffer length is too small\\."));
}

TEST_F(RootDirExport, NegativeSizeIsHuge) {
  std::int32_t size = -1;
  ::GetRootDir(buffer.data(), &size, 1);
  EXPECT_STREQ(buffer.data(), "C:\\Store\\1");
  EXPECT_EQ(size, 10);
}

TEST_F(RootDirExport, AnyOtherModeWritesAnEmptyTextAndLogsNothing) {
  buffer.fill('#');
  std::int32_t size = 32;
  ::GetRootDir(buffer.data(), &size, 3);
  EXPECT_STREQ(buffer.data(), "");
  EXPECT_EQ(size, 0);
  EXPECT_THAT(log.Lines(), ElementsAre());
}

TEST_F(RootDirExport, Mode2IsTheHostsDirectory) {
  machine.hostPath = u"C:\\Store\\host.exe";
  std::int32_t size = 32;
  ::GetRootDir(buffer.data(), &size, 2);
  EXPECT_STREQ(buffer.data(), "C:\\Store");
  EXPECT_EQ(size, 8);
  EXPECT_THAT(log.Messages(), ElementsAre("GetRootDir Release"));
}

TEST_F(RootDirExport, BytesAreInTheAnsiCodePageAndNotUtf8) {
  machine.currentDirectory = u"C:\\\u00e9";
  std::int32_t size = 32;
  ::GetRootDir(buffer.data(), &size, 1);
  EXPECT_STREQ(buffer.data(), "C:\\\xE9");
  EXPECT_EQ(size, 4);
}

int invalidParameters = 0;

TEST_F(RootDirExport, SizeEqualToTheLengthCallsTheInvalidParameterHandler) {
  invalidParameters = 0;
  const auto before = simulated::SetInvalidParameterHandler([](const char*) { ++invalidParameters; });
  buffer.fill('#');
  std::int32_t size = 10;
  ::GetRootDir(buffer.data(), &size, 1);
  simulated::SetInvalidParameterHandler(before);
  EXPECT_EQ(invalidParameters, 1);
  EXPECT_STREQ(buffer.data(), "");
  EXPECT_EQ(size, 10);
}

TEST_F(RootDirExport, NullBufferWithRoomCallsTheInvalidParameterHandler) {
  invalidParameters = 0;
  const auto before = simulated::SetInvalidParameterHandler([](const char*) { ++invalidParameters; });
  std::int32_t size = 32;
  ::GetRootDir(nullptr, &size, 1);
  simulated::SetInvalidParameterHandler(before);
  EXPECT_EQ(invalidParameters, 1);
  EXPECT_THAT(log.Messages(), ElementsAre("GetRootDir Debug"));
}

TEST_F(RootDirExport, SizeZeroForAnEmptyTextCallsTheInvalidParameterHandler) {
  invalidParameters = 0;
  const auto before = simulated::SetInvalidParameterHandler([](const char*) { ++invalidParameters; });
  buffer.fill('#');
  std::int32_t size = 0;
  ::GetRootDir(buffer.data(), &size, 3);
  simulated::SetInvalidParameterHandler(before);
  EXPECT_EQ(invalidParameters, 1);
  EXPECT_EQ(buffer[0], '#');
  EXPECT_EQ(size, 0);
  EXPECT_THAT(log.Lines(), ElementsAre());
}

}  // namespace
}  // namespace kestrelbay
