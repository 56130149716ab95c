// Icons of applications, from the registry to the picture.
#include <gmock/gmock.h>

#include <array>
#include <cstring>

#include "ExecutableFile.h"
#include "HostTest.h"

namespace tests {
namespace {

using kestrelbay::IconReceiver;
using testing::StartsWith;

constexpr const char* kPictureStart = "data:image/png;base64,";

/** Width and height in the header of a PNG file, given in base64. */
std::array<std::uint32_t, 2> SizeOf(const std::string& iconText) {
  constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  for (std::size_t at = std::strlen(kPictureStart); at + 4 <= iconText.size() && bytes.size() < 24; at += 4) {
    std::uint32_t bits = 0;
    for (std::size_t i = 0; i < 4; ++i) {
      bits = bits << 6 | static_cast<std::uint32_t>(kDigits.find(iconText[at + i]) & 63);
    }
    for (const int shift : {16, 8, 0}) bytes += static_cast<char>(bits >> shift & 0xFF);
  }
  EXPECT_THAT(bytes, StartsWith("\x89PNG\r\n\x1a\n"));
  std::array<std::uint32_t, 2> size{};
  for (std::size_t at = 16; at < 24; ++at) {
    size[(at - 16) / 4] = size[(at - 16) / 4] << 8 | static_cast<unsigned char>(bytes[at]);
  }
  return size;
}

class Icon : public HostTest {
 protected:
  /** Adds an application with the icon of a program. @return the path of the program */
  std::u16string AppWith(const std::u16string& name, const std::string& program) {
    const std::u16string path = folder + u"\\" + name + u".exe";
    machine.MakeFile(path, program);
    AppAt(name, path);
    return path;
  }

  void AppAt(const std::u16string& name, const std::u16string& displayIcon) {
    Entry(name, {{u"DisplayName", name}, {u"UninstallString", u"u"}, {u"DisplayIcon", displayIcon}});
  }

  static std::string Large() {
    return samples::MakeExecutable({{u"", 1, {samples::MakePng(samples::Drawing(256, 256, 0xFF3366CC))}}});
  }

  /** @return the text that GetAppIconAsync reports */
  static std::string IconOf(const char* name) {
    IconReceiver receiver;
    GetAppIconAsync(&IconReceiver::Receive, name);
    return receiver.WaitForTexts(1)[0];
  }

  std::u16string folder = machine.Folder();
};

TEST_F(Icon, OfAProgramShowsItsLargestImage) {
  AppWith(u"App", Large());
  const std::string text = IconOf("App");
  ASSERT_THAT(text, StartsWith(kPictureStart));
  EXPECT_EQ(SizeOf(text), (std::array<std::uint32_t, 2>{256, 256}));
}

TEST_F(Icon, IsTheSameInAListAndAlone) {
  AppWith(u"App", Large());
  const auto entries = List(true);
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].iconText, IconOf("App"));
}

TEST_F(Icon, IsInAnAsynchronousListOnlyOnRequest) {
  RequireNoOthers();
  AppWith(u"App", Large());
  kestrelbay::ListReceiver receiver;
  GetInstalledAppListAsync(&kestrelbay::ListReceiver::Receive, true);
  receiver.WaitForLists(1);
  GetInstalledAppListAsync(&kestrelbay::ListReceiver::Receive, false);
  const auto lists = receiver.WaitForLists(2);
  ASSERT_EQ(lists.size(), 2U);
  ASSERT_EQ(lists[0].size(), 1U);
  EXPECT_EQ(lists[0][0].iconText, IconOf("App"));
  ASSERT_EQ(lists[1].size(), 1U);
  EXPECT_EQ(lists[1][0].iconText, "");
}

TEST_F(Icon, OfAProgramIsEmptyInAListWithoutIcons) {
  AppWith(u"App", Large());
  EXPECT_EQ(List(false)[0].iconText, "");
  EXPECT_THAT(List(false)[0].displayIcon, testing::EndsWith("App.exe"));
}

TEST_F(Icon, PathIsNormalizedFirst) {
  const std::u16string path = AppWith(u"App", Large());
  std::u16string doubled;
  for (const char16_t unit : path) doubled.append(unit == u'\\' ? 2 : 1, unit);
  AppAt(u"Quoted", u"\"" + path + u"\",-101");
  AppAt(u"Doubled", doubled + u" ,0");
  const std::string text = IconOf("App");
  EXPECT_EQ(IconOf("Quoted"), text);
  EXPECT_EQ(IconOf("Doubled"), text);
}

TEST_F(Icon, OfAnIconFileIsItsNormalizedPathWithAndWithoutIcons) {
  AppAt(u"App", u"\"C:\\App\\app.ico\",0");
  EXPECT_EQ(IconOf("App"), "C:\\App\\app.ico");
  EXPECT_EQ(List(true)[0].iconText, "C:\\App\\app.ico");
  EXPECT_EQ(List(false)[0].iconText, "C:\\App\\app.ico");
}

TEST_F(Icon, ProgramInCapitalsIsAPath) {
  const std::u16string path = folder + u"\\TOOL.EXE";
  machine.MakeFile(path, Large());
  AppAt(u"Tool", path);
  EXPECT_THAT(IconOf("Tool"), testing::EndsWith("\\TOOL.EXE"));
}

TEST_F(Icon, OfAMissingFileIsOneEmptyText) {
  AppAt(u"Missing", folder + u"\\missing.exe");
  AppAt(u"Bare", u"");
  for (const char* name : {"Missing", "Bare", "Unknown", "missing", ""}) {
    EXPECT_EQ(IconOf(name), "") << name;
  }
}

TEST_F(Icon, OfADamagedProgramAffectsNoOtherIcon) {
  AppWith(u"App", Large());
  AppWith(u"Damaged", Large().substr(0, 100));  // with more of the file, Wine reads beyond its end
  const auto entries = List(true);
  ASSERT_EQ(entries.size(), 2U);
  EXPECT_THAT(entries[0].iconText, StartsWith(kPictureStart));
  // Wine returns the icon of programs that have none.
  EXPECT_EQ(!RunsOnWine(), entries[1].iconText.empty());
}

TEST_F(Icon, OfAProgramWithoutIconIsTheCommonIcon) {
  AppWith(u"App", samples::MakeExecutable({}));
  EXPECT_EQ(SizeOf(IconOf("App")), (std::array<std::uint32_t, 2>{256, 256}));
}

TEST_F(Icon, SmallIconIsCutTo48Pixels) {
  AppWith(u"App", samples::MakeExecutable(
                      {{u"", 1, {samples::MakeBitmap(samples::Drawing(48, 48, 0xFF3366CC), 32)}}}));
  // Wine scales it to the size of the large icon.
  EXPECT_EQ(!RunsOnWine(), SizeOf(IconOf("App")) == (std::array<std::uint32_t, 2>{48, 48}));
}

TEST_F(Icon, SeveralAreDrawnAtOnce) {
  AppWith(u"App", Large());
  const std::string text = IconOf("App");
  IconReceiver receiver;
  for (int i = 0; i < 16; ++i) GetAppIconAsync(&IconReceiver::Receive, "App");
  const std::vector<std::string> texts = receiver.WaitForTexts(16);
  // The extractions share only the list of images, which is fetched by now. Wine 8 sometimes returns a blank
  // icon if several threads use that list at once (see the contract test of Icons). Then column 49 is empty
  // and the picture is cut.
  for (const std::string& drawn : texts) {
    ASSERT_THAT(drawn, StartsWith(kPictureStart));
    const bool isBlank = RunsOnWine() && SizeOf(drawn) == std::array<std::uint32_t, 2>{48, 48};
    EXPECT_TRUE(drawn == text || isBlank) << drawn;
  }
}

}  // namespace
}  // namespace tests
