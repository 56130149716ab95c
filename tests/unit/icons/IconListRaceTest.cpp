// The data race of the jumbo image list, which is kept by design. A separate program, because the list is
// fetched once.
#include "ExtractionTest.h"
#include "Files.h"
#include "support/InTurns.h"

namespace kestrelbay {
namespace {

class IconListRace : public Extraction {};

TEST_F(IconListRace, ListOfAnotherThreadIsUsedWithoutALock) {
  const samples::Drawing drawing = simulated::Pattern(256, 256, true);
  MakeProgram({samples::MakePng(drawing)});
  simulated::Picture theirs, ours;
  const auto calls = CallsOf([&] { InTurns([&] { theirs = Draw(); }, [&] { ours = Draw(); }); });
  EXPECT_EQ(theirs, ours);
  EXPECT_EQ(CallsTo("SHGetImageList", calls).size(), 1U);
  EXPECT_EQ(CallsTo("ImageList_GetIcon", calls).size(), 2U);
}

}  // namespace
}  // namespace kestrelbay
