#include "exports/HostText.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <string>

#include "simulated/port/InvalidParameter.h"

namespace kestrelbay {
namespace {

using namespace std::string_literals;

const std::string kTenBytes = "0123456789";

TEST(TextOf, TextEndsAtItsNul) { EXPECT_EQ(TextOf("caf\u00e9\0more"), "caf\u00e9"); }

TEST(TextOfDeathTest, NullCrashes) {
  const char* volatile none = nullptr;
  EXPECT_DEATH(TextOf(none), "");
}

TEST(CopyToHost, RoomForTheNulSucceedsAndReturnsTheLength) {
  std::array<char, 11> buffer;
  buffer.fill('#');
  std::int32_t size = 11;
  EXPECT_TRUE(CopyToHost(kTenBytes, buffer.data(), &size));
  EXPECT_EQ(size, 10);
  EXPECT_STREQ(buffer.data(), "0123456789");
}

TEST(CopyToHost, TooSmallASizeTouchesNothing) {
  std::array<char, 11> buffer;
  buffer.fill('#');
  std::int32_t size = 9;
  EXPECT_FALSE(CopyToHost(kTenBytes, buffer.data(), &size));
  EXPECT_EQ(size, 9);
  EXPECT_EQ(buffer[0], '#');
  EXPECT_FALSE(CopyToHost(kTenBytes, nullptr, &size));
}

TEST(CopyToHost, NegativeSizeIsHuge) {
  for (std::int32_t size : {-1, INT32_MIN}) {
    std::array<char, 11> buffer{};
    EXPECT_TRUE(CopyToHost(kTenBytes, buffer.data(), &size));
    EXPECT_EQ(size, 10);
    EXPECT_STREQ(buffer.data(), "0123456789");
  }
}

int invalidParameters = 0;

TEST(CopyToHost, SizeEqualToTheLengthPassesButHasNoRoomForTheNul) {
  invalidParameters = 0;
  const auto before = simulated::SetInvalidParameterHandler([](const char*) { ++invalidParameters; });
  std::array<char, 11> buffer;
  buffer.fill('#');
  std::int32_t size = 10;
  EXPECT_TRUE(CopyToHost(kTenBytes, buffer.data(), &size));
  simulated::SetInvalidParameterHandler(before);
  EXPECT_EQ(invalidParameters, 1);
  EXPECT_STREQ(buffer.data(), "");
  EXPECT_EQ(size, 10);
}

TEST(CopyToHost, SizeZeroPassesForAnEmptyTextButHasNoRoomForTheNul) {
  invalidParameters = 0;
  const auto before = simulated::SetInvalidParameterHandler([](const char*) { ++invalidParameters; });
  char buffer = '#';
  std::int32_t size = 0;
  EXPECT_FALSE(CopyToHost("0", &buffer, &size));
  EXPECT_EQ(invalidParameters, 0);
  EXPECT_TRUE(CopyToHost("", &buffer, &size));
  simulated::SetInvalidParameterHandler(before);
  EXPECT_EQ(invalidParameters, 1);
  EXPECT_EQ(buffer, '#');
  EXPECT_EQ(size, 0);
}

TEST(CopyToHost, EmptyTextFitsIntoOneByte) {
  char buffer = '#';
  std::int32_t size = 1;
  EXPECT_TRUE(CopyToHost("", &buffer, &size));
  EXPECT_EQ(size, 0);
  EXPECT_EQ(buffer, '\0');
}

using HostText = std::unique_ptr<char, decltype(&std::free)>;

TEST(NewHostText, IsASeparateCopy) {
  const std::string text = "caf\u00e9";
  const HostText copy(NewHostText(text), &std::free);
  EXPECT_NE(copy.get(), text.c_str());
  EXPECT_STREQ(copy.get(), "caf\u00e9");
}

TEST(NewHostText, EmptyTextIsABlockAndNotNull) {
  const HostText copy(NewHostText(""), &std::free);
  ASSERT_NE(copy, nullptr);
  EXPECT_STREQ(copy.get(), "");
}

TEST(NewHostText, EndsAtTheFirstNul) {
  const HostText copy(NewHostText("ab\0cd"s), &std::free);
  EXPECT_STREQ(copy.get(), "ab");
}

}  // namespace
}  // namespace kestrelbay
