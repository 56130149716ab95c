/** Hives: any bytes are refused, or read from the root on, up to 16 times their size. */
#include <algorithm>
#include <vector>

#include "Expect.h"
#include "simulated/volume/HiveReader.h"

namespace {

using simulated::HiveDamage;
using simulated::HiveReader;

struct Contents {
  std::size_t keys = 0;
  std::size_t values = 0;
  std::size_t bytes = 0;
  std::size_t damages = 0;
};

void ReadValues(HiveReader& reader, HiveReader::Cell key, Contents& contents) {
  const auto values = reader.ValuesOf(key);
  if (!values.damage.empty()) ++contents.damages;
  for (const HiveReader::Cell value : values.items) {
    try {
      const HiveReader::Value read = reader.ReadValue(value);
      ++contents.values;
      contents.bytes += read.data.size();
      // Looks at each byte, so that a sanitizer sees those that are not there.
      fuzz::Expect(std::ranges::count(read.data, 0) >= 0, "data can be read");
    } catch (const HiveDamage&) {
      ++contents.damages;
    }
  }
}

void Read(HiveReader& reader, HiveReader::Cell key, int level, Contents& contents) {
  constexpr int kDeepestLevel = 512;
  ++contents.keys;
  reader.TimeOf(key);
  ReadValues(reader, key, contents);
  const auto subKeys = reader.SubKeysOf(key);
  if (!subKeys.damage.empty()) ++contents.damages;
  for (const auto& [subKey, nameHash] : subKeys.items) {
    try {
      reader.LikelyNameOf(subKey);
      const std::u16string name = reader.NameOf(subKey);
      if (nameHash && !HiveReader::IsNameHash(*nameHash, name)) ++contents.damages;
      if (reader.HasOtherParent(subKey, key)) ++contents.damages;
    } catch (const HiveDamage&) {
      ++contents.damages;
      continue;
    }
    if (level < kDeepestLevel) Read(reader, subKey, level + 1, contents);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Contents contents;
  try {
    HiveReader reader({data, size}, size);
    reader.NewestTime();
    Read(reader, reader.Root(), 0, contents);
    fuzz::Outcome() = std::to_string(contents.keys) + " keys, " + std::to_string(contents.values) + " values";
    if (contents.damages > 0) fuzz::Outcome() += ", " + std::to_string(contents.damages) + " damages";
  } catch (const HiveDamage& damage) {
    fuzz::Outcome() = damage.what();
  } catch (const simulated::HiveExhausted& exhausted) {
    fuzz::Outcome() = exhausted.what();
  }
  constexpr std::size_t kMostReadPerByte = 16;
  fuzz::Expect(contents.bytes <= kMostReadPerByte * size, "values hold no more than the limit");
  return 0;
}
