/** Hives with a known history, and their recovery. */
#pragma once

#include <gmock/gmock.h>

#include <random>

#include "HiveLogs.h"
#include "simulated/volume/HiveRecovery.h"

namespace simulated {

inline constexpr std::size_t kPage = 4096, kSector = 512;

inline HiveBytes BytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/** A hive's bins after each of its changes, and the log entry of each. */
class History {
 public:
  explicit History(unsigned seed, std::size_t changes = 8) : random_(seed) {
    first = static_cast<std::uint32_t>(2 + random_() % 100);
    states.push_back(Noise(kPage * (2 + random_() % 6)));
    for (std::size_t i = 0; i < changes; ++i) Change(first + static_cast<std::uint32_t>(i));
  }

  std::string Noise(std::size_t bytes) {
    std::string noise(bytes, '\0');
    for (char& byte : noise) byte = static_cast<char>(random_());
    return noise;
  }
  std::size_t Below(std::size_t end) { return random_() % end; }
  std::size_t Count() const { return entries.size(); }

  /** Returns the file after `done` changes. `second` is its second sequence number. */
  std::string Primary(std::size_t done, std::uint32_t second) const {
    HeaderFields fields;
    fields.first = second + 1;
    fields.second = second;
    fields.binsBytes = static_cast<std::uint32_t>(states[done].size());
    std::string file = MakeHeader(fields);
    file.resize(kPage);
    return file + states[done];
  }
  std::string Primary(std::size_t done) const {
    return Primary(done, first + static_cast<std::uint32_t>(done));
  }
  /** Returns a log with the entries from `begin` to before `end`. */
  std::string Log(std::size_t begin, std::size_t end, HeaderFields fields = {}) const {
    fields.type = 6;
    fields.first = fields.second = first + static_cast<std::uint32_t>(begin);
    fields.binsBytes = static_cast<std::uint32_t>(states[begin].size());
    std::string log = MakeHeader(fields);
    for (std::size_t i = begin; i < end; ++i) log += entries[i];
    return log;
  }

  std::uint32_t first = 0;
  std::vector<std::string> states;
  std::vector<std::string> entries;

 private:
  void Change(std::uint32_t sequence) {
    std::string bins = states.back();
    const std::size_t sectors = bins.size() / kSector;
    Pages pages;
    if (random_() % 4 == 0) {
      // The hive grows by a new bin, which is logged as a whole.
      pages[static_cast<std::uint32_t>(bins.size())] = Noise(kPage);
      bins.resize(bins.size() + kPage);
    }
    for (std::size_t i = 1 + random_() % 3; i > 0; --i)
      pages[static_cast<std::uint32_t>(random_() % sectors * kSector)] = Noise(kSector);
    for (const auto& [offset, bytes] : pages) bins.replace(offset, bytes.size(), bytes);
    entries.push_back(MakeEntry(sequence, static_cast<std::uint32_t>(bins.size()), pages));
    states.push_back(bins);
  }

  std::mt19937 random_;
};

inline HiveRecovery Recover(const std::string& primary, const std::vector<std::string>& logs,
                            std::u16string_view fileName = u"NTUSER.DAT") {
  std::vector<HiveBytes> bytes;
  for (const std::string& log : logs) bytes.push_back(BytesOf(log));
  return RecoverHive(BytesOf(primary), bytes, fileName);
}

inline std::string BinsOf(const HiveRecovery& recovery, std::size_t bytes) {
  if (recovery.image.size() < kPage + bytes) return "(none)";
  return {recovery.image.begin() + kPage,
          recovery.image.begin() + static_cast<std::ptrdiff_t>(kPage + bytes)};
}

/** Checks the number of entries, the bins, and that the header is valid and clean. */
inline void ExpectState(const HiveRecovery& recovery, const History& history, std::size_t done,
                        std::size_t entries) {
  EXPECT_EQ(recovery.entries, entries);
  ASSERT_FALSE(recovery.image.empty());
  EXPECT_TRUE(BinsOf(recovery, history.states[done].size()) == history.states[done]);
  EXPECT_TRUE(HasHiveHeader(recovery.image));
  EXPECT_EQ(Read32(recovery.image, 4), Read32(recovery.image, 8));
  EXPECT_EQ(Read32(recovery.image, 40), history.states[done].size());
}

}  // namespace simulated
