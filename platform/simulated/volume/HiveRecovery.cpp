#include "simulated/volume/HiveRecovery.h"

#include <algorithm>
#include <bit>
#include <optional>

#include "simulated/base/UpperCase.h"

namespace simulated {
namespace {

constexpr std::size_t kSector = HiveHeader::kSectorBytes;
constexpr std::uint32_t kDirtySectorsLog = 1;
constexpr std::uint32_t kEntriesLog = 6;

std::uint32_t ChecksumOf(HiveBytes header) {
  std::uint32_t sum = 0;
  for (std::size_t at = 0; at < HiveHeader::kChecksum; at += 4) sum ^= Read32(header, at);
  // Windows avoids the two sums that an empty and an erased sector have.
  if (sum == 0) return 1;
  return sum == UINT32_MAX ? UINT32_MAX - 1 : sum;
}

void Put32(std::vector<std::uint8_t>& bytes, std::size_t at, std::uint32_t number) {
  for (std::size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<std::uint8_t>(number >> i * 8);
}

/** The hash by which Windows checks log entries: Marvin32 with its fixed seed. */
std::uint64_t HashOf(HiveBytes bytes) {
  constexpr std::uint64_t kSeed = 0x82EF4D887A4E55C5;
  auto low = static_cast<std::uint32_t>(kSeed);
  auto high = static_cast<std::uint32_t>(kSeed >> 32);
  const auto mix = [&](std::uint32_t word) {
    low += word;
    high ^= low;
    low = std::rotl(low, 20) + high;
    high = std::rotl(high, 9) ^ low;
    low = std::rotl(low, 27) + high;
    high = std::rotl(high, 19);
  };
  std::size_t at = 0;
  for (; at + 4 <= bytes.size(); at += 4) mix(Read32(bytes, at));
  std::uint32_t tail = 0x80;
  for (std::size_t i = bytes.size(); i > at; --i) tail = tail << 8 | bytes[i - 1];
  mix(tail);
  mix(0);
  return std::uint64_t{high} << 32 | low;
}

struct Entry {
  std::uint32_t sequence;
  std::uint32_t binsBytes;
  std::uint32_t pages;
  HiveBytes bytes;
};

constexpr std::size_t kEntryHeaderBytes = 40;

/** Reads the entry at the start of `log`. Returns nothing unless both of its hashes are right. */
std::optional<Entry> ReadEntry(HiveBytes log, std::size_t& hashedBytes) {
  if (log.size() < kEntryHeaderBytes || Read32(log, 0) != Kind("HvLE")) return std::nullopt;
  const std::size_t size = Read32(log, 4);
  if (size < kEntryHeaderBytes || size % kSector != 0 || size > log.size()) return std::nullopt;
  if (HashOf(log.first(32)) != Read64(log, 32)) return std::nullopt;
  hashedBytes += size;
  const HiveBytes bytes = log.first(size);
  if (HashOf(bytes.subspan(kEntryHeaderBytes)) != Read64(log, 24)) return std::nullopt;
  return Entry{Read32(log, 12), Read32(log, 16), Read32(log, 20), bytes};
}

/** A log of Windows 8.1 and later. */
struct EntryLog {
  HiveBytes header;
  /** Sequence number of the first entry, from the log's header. */
  std::uint32_t first;
  /** The entries from the start of the log up to the first damaged one, or the first gap in the numbers. */
  std::vector<Entry> run;

  /** The number of the entry that follows the run. */
  std::uint32_t Next() const { return first + static_cast<std::uint32_t>(run.size()); }
};

EntryLog ReadEntryLog(HiveBytes file) {
  EntryLog log{file.first(kSector), Read32(file, HiveHeader::kFirstSequence), {}};
  std::size_t at = kSector, hashedBytes = 0;
  for (auto entry = ReadEntry(file.subspan(at), hashedBytes); entry && entry->sequence == log.Next();
       entry = ReadEntry(file.subspan(at), hashedBytes)) {
    log.run.push_back(*entry);
    at += entry->bytes.size();
  }
  return log;
}

/**
 * Whether the log has an undamaged entry with this number or a higher one. Entries that an earlier use of the
 * log left behind have lower numbers.
 */
bool HasEntryFrom(std::uint32_t sequence, HiveBytes log) {
  // In a forged log damaged entries may overlap. The limit stops a search that hashes the same bytes again.
  std::size_t hashedBytes = 0;
  for (std::size_t at = kSector; at < log.size() && hashedBytes < 4 * log.size();) {
    const auto entry = ReadEntry(log.subspan(at), hashedBytes);
    if (entry && entry->sequence >= sequence) return true;
    at += entry ? entry->bytes.size() : kSector;
  }
  return false;
}

/**
 * Returns the last two names of the path in a header, in upper case. Windows writes the path of the hive into
 * the header of its log, too.
 */
std::u16string PlaceOf(HiveBytes header) {
  std::u16string name;
  for (std::size_t at = 0; at < HiveHeader::kFileNameBytes; at += 2) {
    const char16_t unit = Read16(header, HiveHeader::kFileName + at);
    if (unit == 0) break;
    name += UpperCase(unit);
  }
  const std::size_t last = name.rfind(u'\\');
  const std::size_t above = last == name.npos || last == 0 ? name.npos : name.rfind(u'\\', last - 1);
  return above == name.npos ? name : name.substr(above + 1);
}

HiveBytes IdentifierOf(HiveBytes header) {
  return header.subspan(HiveHeader::kIdentifier, HiveHeader::kIdentifierBytes);
}

/** Whether two headers name different hives. An identifier or path that one of them lacks is not compared. */
bool AreOfDifferentHives(HiveBytes left, HiveBytes right) {
  const auto isNamed = [](HiveBytes id) {
    return std::ranges::any_of(id, [](int byte) { return byte != 0; });
  };
  const HiveBytes leftId = IdentifierOf(left), rightId = IdentifierOf(right);
  if (isNamed(leftId) && isNamed(rightId) && !std::ranges::equal(leftId, rightId)) return true;
  const std::u16string leftPlace = PlaceOf(left), rightPlace = PlaceOf(right);
  // The field holds only the end of a long path, so the first of the names may be cut at its start.
  return !leftPlace.ends_with(rightPlace) && !rightPlace.ends_with(leftPlace);
}

class Recoverer {
 public:
  Recoverer(HiveBytes primary, const std::vector<HiveBytes>& logs) : primary_(primary), allLogs_(logs) {
    result_.isHeaderBroken = !HasHiveHeader(primary);
    result_.isDirty = result_.isHeaderBroken || Read32(primary, HiveHeader::kFirstSequence) !=
                                                    Read32(primary, HiveHeader::kSecondSequence);
    for (const HiveBytes log : logs) {
      if (!HasHiveHeader(log)) continue;
      if (Read32(log, HiveHeader::kFirstSequence) != Read32(log, HiveHeader::kSecondSequence)) continue;
      if (!result_.isHeaderBroken && AreOfDifferentHives(primary, log)) continue;
      logs_.push_back(log);
      logBytes_ += log.size();
    }
  }

  HiveRecovery Run() {
    if (!result_.isDirty) return std::move(result_);
    std::vector<EntryLog> logs;
    for (const HiveBytes log : logs_)
      if (Read32(log, HiveHeader::kType) == kEntriesLog) logs.push_back(ReadEntryLog(log));
    std::ranges::stable_sort(logs, {}, &EntryLog::first);
    if (!logs.empty()) ApplyEntries(logs);
    for (const HiveBytes log : logs_)
      if (result_.image.empty() && Read32(log, HiveHeader::kType) == kDirtySectorsLog) ApplyDirtySectors(log);
    if (result_.loss.empty()) result_.loss = FindLoss();
    return std::move(result_);
  }

 private:
  std::string FindLoss() const {
    if (result_.image.empty()) return "it has no usable log";
    const std::uint32_t next = Read32(result_.image, HiveHeader::kSecondSequence);
    const bool hasMore =
        std::ranges::any_of(allLogs_, [next](HiveBytes log) { return HasEntryFrom(next, log); });
    return hasMore ? "an entry or a header of its logs is damaged, and later entries are left out" : "";
  }

  /** Copies the primary file. If its header is broken, takes the log's header instead. */
  void Begin(HiveBytes logHeader) {
    result_.image.assign(primary_.begin(), primary_.end());
    result_.image.resize(std::max(result_.image.size(), HiveHeader::kBytes));
    if (!result_.isHeaderBroken) return;
    std::ranges::copy(logHeader, result_.image.begin());
    Put32(result_.image, HiveHeader::kType, 0);
  }

  /** A hive grows by at most the size of its logs. */
  bool CanGrowTo(std::size_t binsBytes) const {
    return binsBytes % HiveHeader::kBytes == 0 && binsBytes > 0 &&
           HiveHeader::kBytes + binsBytes <= std::max(primary_.size(), HiveHeader::kBytes) + logBytes_;
  }

  void SetBinsBytes(std::size_t bytes) {
    Put32(result_.image, HiveHeader::kBinsBytes, static_cast<std::uint32_t>(bytes));
    if (result_.image.size() < HiveHeader::kBytes + bytes) result_.image.resize(HiveHeader::kBytes + bytes);
  }

  void End(std::uint32_t sequence) {
    Put32(result_.image, HiveHeader::kFirstSequence, sequence);
    Put32(result_.image, HiveHeader::kSecondSequence, sequence);
    Put32(result_.image, HiveHeader::kChecksum, ChecksumOf(result_.image));
  }

  /** @param logs  at least one; the one with the earliest entries comes first */
  void ApplyEntries(std::vector<EntryLog>& logs) {
    DropLogsWithoutNews(logs);
    std::uint32_t next = logs.front().first;
    if (!result_.isHeaderBroken) {
      // Windows may have written entries to the primary file without raising its number. So the number of the
      // first entry may be higher than the primary's.
      next = std::max(next, Read32(primary_, HiveHeader::kSecondSequence));
    }
    Begin(logs.back().header);
    bool isStopped = false;
    for (const EntryLog& log : logs) {
      for (const Entry& entry : log.run) {
        if (isStopped || entry.sequence < next) continue;
        isStopped = entry.sequence != next || !Apply(entry);
        if (!isStopped) ++next, ++result_.entries;
      }
    }
    if (result_.isHeaderBroken && result_.entries == 0)
      result_.loss = "its header is that of a log without entries";
    if (result_.entries > 0 || result_.isHeaderBroken) return End(next);
    result_.image.clear();
  }

  /**
   * Drops each log whose entries are all in the primary file. If the primary's header is broken, drops each
   * log that the next one does not continue.
   */
  void DropLogsWithoutNews(std::vector<EntryLog>& logs) const {
    for (std::size_t i = logs.size() - 1; i > 0; --i) {
      const bool isOld = result_.isHeaderBroken
                             ? logs[i - 1].Next() != logs[i].first
                             : logs[i].first <= Read32(primary_, HiveHeader::kSecondSequence);
      if (!isOld) continue;
      logs.erase(logs.begin(), logs.begin() + static_cast<std::ptrdiff_t>(i));
      return;
    }
  }

  /** @return false, with no change made, if the hive cannot grow so far or a page is outside of it */
  bool Apply(const Entry& entry) {
    if (!CanGrowTo(entry.binsBytes)) return false;
    const HiveBytes references = entry.bytes.subspan(kEntryHeaderBytes);
    if (references.size() / 8 < entry.pages) return false;
    HiveBytes pages = references.subspan(std::size_t{8} * entry.pages);
    std::size_t left = pages.size();
    for (std::size_t i = 0; i < entry.pages; ++i) {
      const std::size_t at = Read32(references, i * 8), size = Read32(references, i * 8 + 4);
      if (size > left || at > entry.binsBytes || size > entry.binsBytes - at) return false;
      left -= size;
    }
    SetBinsBytes(entry.binsBytes);
    for (std::size_t i = 0; i < entry.pages; ++i) {
      const std::size_t at = Read32(references, i * 8), size = Read32(references, i * 8 + 4);
      std::ranges::copy(pages.first(size),
                        result_.image.begin() + static_cast<std::ptrdiff_t>(HiveHeader::kBytes + at));
      pages = pages.subspan(size);
    }
    return true;
  }

  /** Whether the log was written for the last change of the primary, and not for an earlier one. */
  bool IsOfLastChange(HiveBytes log) const {
    constexpr std::size_t kTimeOfFirstBin = HiveHeader::kBytes + 20;
    if (!result_.isHeaderBroken)
      return Read64(log, HiveHeader::kTime) == Read64(primary_, HiveHeader::kTime) &&
             Read32(log, HiveHeader::kFirstSequence) >= Read32(primary_, HiveHeader::kSecondSequence);
    return primary_.size() >= kTimeOfFirstBin + 8 &&
           Read64(log, HiveHeader::kTime) == Read64(primary_, kTimeOfFirstBin);
  }

  void ApplyDirtySectors(HiveBytes log) {
    const std::size_t binsBytes = Read32(log, HiveHeader::kBinsBytes);
    const std::size_t sectors = binsBytes / kSector, bitmapAt = kSector + 4;
    std::size_t from = (bitmapAt + (sectors + 7) / 8 + kSector - 1) / kSector * kSector;
    if (!IsOfLastChange(log) || !CanGrowTo(binsBytes) || from > log.size()) return;
    if (Read32(log, kSector) != Kind("DIRT")) return;
    const auto isDirty = [&](std::size_t sector) {
      return (log[bitmapAt + sector / 8] >> sector % 8 & 1) != 0;
    };
    std::size_t dirtySectors = 0;
    for (std::size_t i = 0; i < sectors; ++i)
      if (isDirty(i)) ++dirtySectors;
    if ((log.size() - from) / kSector < dirtySectors) return;
    Begin(log.first(kSector));
    SetBinsBytes(binsBytes);
    for (std::size_t i = 0; i < sectors; ++i) {
      if (!isDirty(i)) continue;
      std::ranges::copy(
          log.subspan(from, kSector),
          result_.image.begin() + static_cast<std::ptrdiff_t>(HiveHeader::kBytes + i * kSector));
      from += kSector;
    }
    result_.entries = 1;
    result_.loss.clear();
    End(Read32(log, HiveHeader::kFirstSequence));
  }

  const HiveBytes primary_;
  const std::vector<HiveBytes>& allLogs_;
  /** The logs of this hive that have a valid header. */
  std::vector<HiveBytes> logs_;
  std::size_t logBytes_ = 0;
  HiveRecovery result_;
};

}  // namespace

bool HasHiveHeader(HiveBytes file) {
  return file.size() >= kSector && Read32(file, 0) == Kind("regf") &&
         Read32(file, HiveHeader::kChecksum) == ChecksumOf(file);
}

HiveRecovery RecoverHive(HiveBytes primary, const std::vector<HiveBytes>& logs) {
  return Recoverer(primary, logs).Run();
}

}  // namespace simulated
