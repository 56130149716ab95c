/** Hives: any bytes are refused, or read from the root to the last value with what cannot be read told. */
#include <sys/mman.h>

#include <algorithm>
#include <vector>

#include "Expect.h"
#include "simulated/base/FileDescriptor.h"
#include "simulated/base/LittleEndian.h"
#include "simulated/volume/Hive.h"
#include "simulated/volume/HiveDamage.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

// With the sum that the header's other words need to have, so that those can be changed, too.
Bytes WithSum(std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kSummedBytes = 508;
  Bytes hive(bytes.begin(), bytes.end());
  if (hive.size() < kSummedBytes + 4) return hive;
  std::uint32_t sum = 0;
  for (std::size_t at = 0; at < kSummedBytes; at += 4) sum ^= simulated::Read32(hive, at);
  for (std::size_t i = 0; i < 4; ++i) hive[kSummedBytes + i] = static_cast<std::uint8_t>(sum >> i * 8);
  return hive;
}

// libhivex opens files alone: this one has no place on a disk.
simulated::FileDescriptor InMemory(const Bytes& bytes) {
  simulated::FileDescriptor file(memfd_create("hive", MFD_CLOEXEC));
  const ssize_t written = write(file.Get(), bytes.data(), bytes.size());
  fuzz::Expect(written == static_cast<ssize_t>(bytes.size()), "there is memory for a file");
  return file;
}

struct Contents {
  std::size_t keys = 0;
  std::size_t values = 0;
};

void Read(simulated::Key& key, Contents& contents) {
  ++contents.keys;
  for (std::size_t i = 0; i < key.ValueCount(); ++i) {
    const simulated::ValueView value = key.ValueAt(i);
    contents.values += std::ranges::count(value.bytes, 0) >= 0;
  }
  for (std::size_t i = 0; i < key.SubKeyCount(); ++i) Read(key.SubKeyAt(i), contents);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Bytes bytes = WithSum({data, size});
  std::atomic<std::uint64_t> doneBytes = 0;
  if (const auto damage = simulated::FindHiveDamage(bytes, doneBytes)) {
    fuzz::Outcome() = *damage;
    return 0;
  }
  const simulated::FileDescriptor file = InMemory(bytes);
  const std::string path = "/proc/self/fd/" + std::to_string(file.Get());
  std::string leftOut;
  simulated::LoadObserver observer;
  // libhivex also knows where cells begin, and refuses what points into the middle of one.
  observer.damage = observer.warning = [&](const std::string&) { leftOut = ", some left out"; };
  try {
    const auto hive = simulated::Hive::Open(path, std::make_shared<simulated::MappedFile>(path), observer);
    simulated::Key root(u"root");
    hive->FillLater(root, hive->Root());
    Contents contents;
    Read(root, contents);
    fuzz::Outcome() =
        std::to_string(contents.keys) + " keys, " + std::to_string(contents.values) + " values" + leftOut;
  } catch (const simulated::MachineError& error) {
    const std::string_view what = error.what();
    fuzz::Outcome() = what.substr(what.find(": ") + 2);
  }
  return 0;
}
