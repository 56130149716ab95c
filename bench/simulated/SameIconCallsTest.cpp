// The bare calls must be the same as those of an extraction. Otherwise the comparison has no meaning.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "BareIcon.h"
#include "ExecutableFile.h"
#include "icons/IconPicture.h"
#include "simulated/directory/CurrentMachine.h"

namespace bench {
namespace {

namespace fs = std::filesystem;

constexpr const char16_t* kPath = u"C:\\app.exe";

std::vector<std::string> CallsOf(simulated::Machine& machine, const std::function<void()>& action) {
  action();  // gets the image list, which is done only once
  machine.journal.Start();
  action();
  machine.journal.Stop();
  std::vector<std::string> names;
  for (const auto& call : machine.journal.Calls()) {
    // The memory for the library's own objects is not part of the drawing.
    if (call.name != "GdipAlloc" && call.name != "GdipFree") names.push_back(call.name);
  }
  return names;
}

TEST(SameIconCalls, AreMadeByTheExtractionAndTheBareOne) {
  simulated::Machine& machine = simulated::UseMachine(std::make_unique<simulated::Machine>());
  const fs::path drive = fs::path(testing::TempDir()) / "kestrelbay-same-icon-calls";
  fs::create_directories(drive);
  std::ofstream(drive / "app.exe", std::ios::binary)
      << samples::MakeExecutable({{u"", 1, {samples::MakePng(samples::Drawing(256, 256, 0xFF3366CC))}}});
  machine.drives.Mount(u'C', drive);
  auto bare = CallsOf(machine, [] { EXPECT_GT(BareIcon(kPath), 0U); });
  auto extraction = CallsOf(machine, [] {
    std::string base64;
    EXPECT_TRUE(kestrelbay::IconToPngBase64(kPath, base64));
  });
  // The bare extraction converts the bytes in place, so its last calls are in another order.
  std::sort(bare.begin(), bare.end());
  std::sort(extraction.begin(), extraction.end());
  EXPECT_EQ(extraction, bare);
  EXPECT_GT(bare.size(), 20U);
  fs::remove_all(drive);
}

}  // namespace
}  // namespace bench
