// A process that failed to fetch the jumbo image list. A separate program, because the list is fetched once.
#include <gmock/gmock.h>

#include "ExtractionTest.h"
#include "Files.h"

namespace kestrelbay {
namespace {

class IconListFetch : public Extraction {};

TEST_F(IconListFetch, IsNotRepeatedAfterAFailureAndTheIconOfTheShellIsUsed) {
  // With 32 bits, the icon of 32 pixels would fail: it has no 48 pixels to lock.
  machine.pictures.displayBits = 24;
  const samples::Drawing drawing = simulated::Pattern(32, 32, false);
  MakeProgram({samples::MakeBitmap(drawing, 32), samples::MakePng(samples::Drawing(256, 256, 0xFF112233))});
  machine.faults.FailNth(1, simulated::Faults::Extent::Once, "SHGetImageList");
  const auto first = CallsOf([&] { EXPECT_EQ(Draw(), simulated::PictureOf(drawing)); });
  EXPECT_TRUE(machine.faults.Fired());
  ASSERT_GE(first.size(), 3U);
  EXPECT_THAT(first[0], testing::StartsWith("IIDFromString(\"{46EB5926-582E-4017-9FDF-E8998DAA0950}\")"));
  EXPECT_THAT(first[1], testing::StartsWith("SHGetImageList(4, 0x46eb5926)"));
  EXPECT_THAT(first[2], testing::StartsWith("SHGetFileInfoW("));
  for (const std::string& call : CallsOf([&] { EXPECT_EQ(Draw(), simulated::PictureOf(drawing)); })) {
    EXPECT_FALSE(call.starts_with("SHGetImageList") || call.starts_with("ImageList_GetIcon")) << call;
  }
  ExpectClosed();
}

}  // namespace
}  // namespace kestrelbay
