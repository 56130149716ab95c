/** Hives: any bytes are refused, or read from the root to the last value. */
#include <algorithm>
#include <vector>

#include "Expect.h"
#include "simulated/volume/HiveReader.h"

namespace {

using simulated::HiveReader;

struct Contents {
  std::size_t keys = 0;
  std::size_t values = 0;
  std::size_t bytes = 0;
};

void Read(HiveReader& reader, HiveReader::Cell key, Contents& contents) {
  ++contents.keys;
  reader.NameOf(key);
  reader.ForEachValue(key, [&](HiveReader::Cell value) {
    const HiveReader::Value read = reader.ReadValue(value);
    ++contents.values;
    contents.bytes += read.data.size();
    // Looks at each byte, so that a sanitizer sees those that are not there.
    fuzz::Expect(std::ranges::count(read.data, 0) >= 0, "data can be read");
  });
  reader.ForEachSubKey(key, [&](HiveReader::Cell subKey) { Read(reader, subKey, contents); });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  try {
    HiveReader reader({data, size});
    std::size_t checked = 0;
    reader.CheckAll([&](std::size_t bytes) { checked += bytes; });
    fuzz::Expect(checked == size, "progress ends with the whole");
    Contents contents;
    Read(reader, reader.Root(), contents);
    fuzz::Expect(contents.bytes <= size, "values hold no more than the file");
    fuzz::Outcome() = std::to_string(contents.keys) + " keys, " + std::to_string(contents.values) + " values";
  } catch (const simulated::HiveDamage& damage) {
    fuzz::Outcome() = damage.what();
  }
  return 0;
}
