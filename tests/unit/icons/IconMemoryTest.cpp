// The memory that an extraction allocates: at most 64 MiB for any file. Counts the memory of the whole
// process.
#include <gtest/gtest.h>

#include "CountedMemory.h"
#include "ExtractionTest.h"
#include "HostileFiles.h"
#include "icons/AppIcon.h"

namespace kestrelbay {
namespace {

constexpr std::size_t kMostBytes = std::size_t{64} << 20;

class IconMemory : public Extraction {
 protected:
  /** @return the largest amount that was allocated at once during an action */
  static std::size_t PeakOf(const std::function<void()>& action) {
    const std::size_t before = bench::BytesInUse();
    bench::ResetPeak();
    action();
    return bench::PeakBytes() - before;
  }
};

TEST_F(IconMemory, IsCounted) {
  EXPECT_GE(PeakOf([] { std::vector<char>(kMostBytes + 1); }), kMostBytes);
  EXPECT_LT(PeakOf([] {}), 4096U);
}

TEST_F(IconMemory, OfAnyFileIsAtMost64MiB) {
  for (const simulated::HostileFile& file : simulated::HostileFiles()) {
    MakeFile(file.contents);
    EXPECT_LE(PeakOf([] { GetAppIconText(u"C:\\app.exe", true); }), kMostBytes) << file.name;
  }
}

}  // namespace
}  // namespace kestrelbay
