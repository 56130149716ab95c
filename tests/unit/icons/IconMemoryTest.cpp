// What an extraction allocates: no file can make it more than 64 MiB. Counts the memory of the whole process.
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
  /** The most that was allocated at once while an action ran. */
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
