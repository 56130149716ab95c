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
  HiveBytes file;
  /** Sequence number of the first entry, from the log's header. */
  std::uint32_t first;
  /** The entries from the start of the log up to the first damaged one, or the first gap in the numbers. */
  std::vector<Entry> run;
  /** Whether the run ends at a damaged entry, which would be the next one. */
  bool isCut = false;

  /** The number of the entry that follows the run. */
  std::uint32_t Next() const { return first + static_cast<std::uint32_t>(run.size()); }
};

EntryLog ReadEntryLog(HiveBytes file) {
  EntryLog log{file, Read32(file, HiveHeader::kFirstSequence), {}};
  std::size_t at = kSector, hashedBytes = 0;
  for (auto entry = ReadEntry(file.subspan(at), hashedBytes); entry && entry->sequence == log.Next();
       entry = ReadEntry(file.subspan(at), hashedBytes)) {
    log.run.push_back(*entry);
    at += entry->bytes.size();
  }
  const HiveBytes rest = file.subspan(at);
  // The damage may be in the signature or in the number. A remnant has a right hash and another number.
  log.isCut = rest.size() >= kEntryHeaderBytes &&
              (Read32(rest, 12) == log.Next() ||
               (Read32(rest, 0) == Kind("HvLE") && HashOf(rest.first(32)) != Read64(rest, 32)));
  return log;
}

constexpr std::uint64_t kNoEnd = std::uint64_t{1} << 32;

/** Whether the log has an undamaged entry with a number from `first` to before `end`. */
bool HasEntry(HiveBytes log, std::uint32_t first, std::uint64_t end) {
  // In a forged log damaged entries may overlap. The limit stops a search that hashes the same bytes again.
  std::size_t hashedBytes = 0;
  for (std::size_t at = kSector; at < log.size() && hashedBytes < 4 * log.size();) {
    const auto entry = ReadEntry(log.subspan(at), hashedBytes);
    if (entry && entry->sequence >= first && entry->sequence < end) return true;
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

bool IsNamed(HiveBytes identifier) {
  return std::ranges::any_of(identifier, [](int byte) { return byte != 0; });
}

// The field holds only the end of a long path, so the first of the names may be cut at its start.
bool AreSamePlace(std::u16string_view left, std::u16string_view right) {
  return left.ends_with(right) || right.ends_with(left);
}

/** Whether two headers name different hives. An identifier or path that one of them lacks is not compared. */
bool AreOfDifferentHives(HiveBytes left, HiveBytes right) {
  const HiveBytes leftId = IdentifierOf(left), rightId = IdentifierOf(right);
  if (IsNamed(leftId) && IsNamed(rightId) && !std::ranges::equal(leftId, rightId)) return true;
  return !AreSamePlace(PlaceOf(left), PlaceOf(right));
}

/** Whether the identifier of a header with a wrong checksum is one: Windows writes it twice, as a UUID. */
bool LooksValid(HiveBytes identifier, HiveBytes second) {
  const int version = identifier[7] >> 4, variant = identifier[8] >> 6;
  return std::ranges::equal(identifier, second) && version >= 1 && version <= 5 && variant == 2;
}

/** Whether a log is of the hive in the file of that name, whose primary file has a broken header. */
bool IsLogOfBroken(HiveBytes primary, HiveBytes log, std::u16string_view fileName) {
  std::u16string name;
  for (const char16_t unit : fileName) name += UpperCase(unit);
  const std::u16string logPlace = PlaceOf(log);
  if (primary.size() >= kSector && Read32(primary, 0) == Kind("regf")) {
    const HiveBytes id = IdentifierOf(primary);
    const bool hasId = LooksValid(id, primary.subspan(HiveHeader::kSecondIdentifier, id.size()));
    if (hasId && IsNamed(IdentifierOf(log))) return std::ranges::equal(id, IdentifierOf(log));
    const std::u16string place = PlaceOf(primary);
    // Random bytes are hardly ever ASCII.
    const bool hasPlace = place.ends_with(name) && std::ranges::all_of(place, [](char16_t unit) {
                            return unit >= ' ' && unit < 0x7F;
                          });
    if (hasPlace) return AreSamePlace(place, logPlace);
  }
  return logPlace.empty() || logPlace.substr(logPlace.rfind(u'\\') + 1) == name;
}

class Recoverer {
 public:
  Recoverer(HiveBytes primary, const std::vector<HiveBytes>& logs, std::u16string_view fileName)
      : primary_(primary) {
    result_.isHeaderBroken = !HasHiveHeader(primary);
    result_.isDirty = result_.isHeaderBroken || Read32(primary, HiveHeader::kFirstSequence) !=
                                                    Read32(primary, HiveHeader::kSecondSequence);
    if (!result_.isHeaderBroken) wanted_ = Read32(primary, HiveHeader::kSecondSequence);
    for (const HiveBytes log : logs) {
      if (!HasHiveHeader(log) ||
          Read32(log, HiveHeader::kFirstSequence) != Read32(log, HiveHeader::kSecondSequence)) {
        damagedLogs_.push_back(log);
        continue;
      }
      if (result_.isHeaderBroken ? !IsLogOfBroken(primary, log, fileName) : AreOfDifferentHives(primary, log))
        continue;
      logs_.push_back(log);
      logBytes_ += log.size();
    }
    // Without the primary's header nothing says which of two different hives this is.
    const auto isOther = [this](HiveBytes log) { return AreOfDifferentHives(logs_.front(), log); };
    if (result_.isHeaderBroken && std::ranges::any_of(logs_, isOther)) logs_.clear();
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
    // Entries that an earlier use of a log left behind have lower numbers.
    const auto hasLater = [next](HiveBytes log) { return HasEntry(log, next, kNoEnd); };
    if (std::ranges::any_of(logs_, hasLater) || std::ranges::any_of(damagedLogs_, hasLater))
      return "an entry or a header of its logs is damaged, and later entries are left out";
    const auto hasEarlier = [this](HiveBytes log) { return HasEntry(log, wanted_, firstApplied_); };
    return std::ranges::any_of(damagedLogs_, hasEarlier) ? kEarlierLeftOut : "";
  }

  /** Copies header and bins of the primary file. If its header is broken, takes the log's header instead. */
  void Begin(HiveBytes log) {
    GrowTo(HiveHeader::kBytes);
    if (result_.isHeaderBroken) {
      std::ranges::copy(log.first(kSector), result_.image.begin());
      Put32(result_.image, HiveHeader::kType, 0);
    }
    const std::size_t end = HiveHeader::kBytes + std::size_t{Read32(result_.image, HiveHeader::kBinsBytes)};
    if (primary_.size() > HiveHeader::kBytes) GrowTo(std::min(primary_.size(), end));
  }

  /** Adds what the primary file has there, because Windows may have written bins that its header lacks. */
  void GrowTo(std::size_t bytes) {
    const std::size_t before = result_.image.size(), end = std::min(bytes, primary_.size());
    if (bytes <= before) return;
    result_.image.resize(bytes);
    if (before < end)
      std::ranges::copy(primary_.subspan(before, end - before),
                        result_.image.begin() + static_cast<std::ptrdiff_t>(before));
  }

  /** A hive grows by at most the size of its logs. */
  bool CanGrowTo(std::size_t binsBytes) const {
    return binsBytes % HiveHeader::kBytes == 0 && binsBytes > 0 &&
           HiveHeader::kBytes + binsBytes <= std::max(primary_.size(), HiveHeader::kBytes) + logBytes_;
  }

  void SetBinsBytes(std::size_t bytes) {
    Put32(result_.image, HiveHeader::kBinsBytes, static_cast<std::uint32_t>(bytes));
    GrowTo(HiveHeader::kBytes + bytes);
  }

  void End(std::uint32_t sequence) {
    Put32(result_.image, HiveHeader::kFirstSequence, sequence);
    Put32(result_.image, HiveHeader::kSecondSequence, sequence);
    Put32(result_.image, HiveHeader::kChecksum, ChecksumOf(result_.image));
  }

  /** @param logs  at least one; the one with the earliest entries comes first */
  void ApplyEntries(std::vector<EntryLog>& logs) {
    DropLogsWithoutNews(logs);
    // Windows may have written entries to the primary file without raising its number. So the number of the
    // first entry may be higher than the primary's.
    firstApplied_ = std::max(logs.front().first, wanted_);
    std::uint32_t next = firstApplied_;
    Begin(logs.back().file);
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
  void DropLogsWithoutNews(std::vector<EntryLog>& logs) {
    for (std::size_t i = logs.size() - 1; i > 0; --i) {
      const bool isOld =
          result_.isHeaderBroken ? logs[i - 1].Next() != logs[i].first : IsWithoutNews(logs[i - 1], logs[i]);
      if (!isOld) continue;
      if (result_.isHeaderBroken && logs[i - 1].isCut) result_.loss = kEarlierLeftOut;
      logs.erase(logs.begin(), logs.begin() + static_cast<std::ptrdiff_t>(i));
      return;
    }
  }

  /** A log whose later entries are damaged is not old: what follows them must not be applied. */
  bool IsWithoutNews(const EntryLog& log, const EntryLog& following) const {
    if (following.first <= wanted_) return true;
    return log.first < wanted_ && log.Next() <= wanted_ && !log.isCut && !HasEntry(log.file, wanted_, kNoEnd);
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
             Read32(log, HiveHeader::kFirstSequence) >= wanted_;
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
    Begin(log);
    SetBinsBytes(binsBytes);
    for (std::size_t i = 0; i < sectors; ++i) {
      if (!isDirty(i)) continue;
      std::ranges::copy(
          log.subspan(from, kSector),
          result_.image.begin() + static_cast<std::ptrdiff_t>(HiveHeader::kBytes + i * kSector));
      from += kSector;
    }
    result_.entries = 1;
    const auto isLater = [log](HiveBytes other) {
      return Read32(other, HiveHeader::kType) == kDirtySectorsLog &&
             Read64(other, HiveHeader::kTime) > Read64(log, HiveHeader::kTime);
    };
    if (std::ranges::any_of(logs_, isLater)) result_.loss = "a later log is left out, as on Windows";
    End(Read32(log, HiveHeader::kFirstSequence));
  }

  static constexpr const char* kEarlierLeftOut =
      "an entry or a header of its logs is damaged, and earlier entries are left out";

  const HiveBytes primary_;
  /** The logs without a valid header. Nothing says whether the primary has their entries. */
  std::vector<HiveBytes> damagedLogs_;
  /** The logs of this hive that have a valid header. */
  std::vector<HiveBytes> logs_;
  std::size_t logBytes_ = 0;
  /** Number of the first entry that the primary may lack; 0 if its header is broken. */
  std::uint32_t wanted_ = 0;
  std::uint32_t firstApplied_ = 0;
  HiveRecovery result_;
};

}  // namespace

bool HasHiveHeader(HiveBytes file) {
  return file.size() >= kSector && Read32(file, 0) == Kind("regf") &&
         Read32(file, HiveHeader::kChecksum) == ChecksumOf(file);
}

HiveRecovery RecoverHive(HiveBytes primary, const std::vector<HiveBytes>& logs,
                         std::u16string_view fileName) {
  return Recoverer(primary, logs, fileName).Run();
}

}  // namespace simulated
