/**
 * Transaction logs: any hive and any two logs give a recovered hive of bounded size, or none.
 *
 * An input is the primary file, LOG1 and LOG2, each behind the number of its bytes in 32 bits.
 */
#include <algorithm>

#include "Expect.h"
#include "simulated/volume/HiveReader.h"
#include "simulated/volume/HiveRecovery.h"

namespace {

using simulated::HiveBytes;

HiveBytes TakeFile(HiveBytes& input) {
  if (input.size() < 4) return {};
  const std::size_t size = std::min<std::size_t>(simulated::Read32(input, 0), input.size() - 4);
  const HiveBytes file = input.subspan(4, size);
  input = input.subspan(4 + size);
  return file;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  HiveBytes input(data, size);
  const HiveBytes primary = TakeFile(input), first = TakeFile(input), second = TakeFile(input);
  const simulated::HiveRecovery recovery = simulated::RecoverHive(primary, {first, second}, u"ntuser.dat");
  fuzz::Expect(recovery.isDirty || recovery.image.empty(), "a clean hive stays as it is");
  fuzz::Expect(recovery.image.size() <= size + 2 * simulated::HiveHeader::kBytes, "a hive grows by its logs");
  fuzz::Expect(recovery.image.empty() || simulated::HasHiveHeader(recovery.image), "its header is whole");
  fuzz::Outcome() = std::to_string(recovery.entries) + " entries";
  if (!recovery.isDirty) fuzz::Outcome() = "clean";
  if (!recovery.loss.empty()) fuzz::Outcome() += ", " + recovery.loss;
  if (recovery.image.empty()) return 0;
  try {
    simulated::HiveReader(recovery.image, recovery.image.size()).NewestTime();
  } catch (const simulated::HiveDamage& damage) {
    fuzz::Outcome() += std::string("; ") + damage.what();
  }
  return 0;
}
