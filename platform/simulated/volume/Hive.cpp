#include "simulated/volume/Hive.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <new>
#include <set>

#include "simulated/base/FolderEntry.h"
#include "simulated/base/MachineError.h"
#include "simulated/base/WideText.h"
#include "simulated/volume/HiveRecovery.h"

namespace simulated {
namespace {

namespace fs = std::filesystem;

/**
 * Opens the logs of the file.
 * @param unusable  receives the name of a log that is a link or cannot be read
 */
std::vector<std::unique_ptr<SparseFile>> OpenLogs(const fs::path& file, std::string& unusable) {
  std::vector<std::unique_ptr<SparseFile>> logs;
  for (const char* const end : {".LOG1", ".LOG2", ".LOG"}) {
    const auto log = FindEntry(file.parent_path(), FromUtf8(file.filename().string() + end));
    std::error_code ignored;
    if (!log) continue;
    bool isUsable = !fs::is_symlink(*log, ignored);
    try {
      if (isUsable) logs.push_back(std::make_unique<SparseFile>(*log));
    } catch (const MachineError&) {
      isUsable = false;
    }
    if (!isUsable) unusable = log->filename().string();
  }
  return logs;
}

std::string PathOf(const Key& key) {
  std::u16string path = key.Name();
  for (const Key* above = key.Parent(); above && above->Parent(); above = above->Parent())
    path = above->Name() + u'\\' + path;
  return ToUtf8(path);
}

/** Whether `key` or a key above it was filled from `node`. The parents that a hive names may be damaged. */
bool IsFilledFrom(const Key* key, Hive::Node node) {
  // Only a forged hive has a key at 0, which is the place of the keys above its root.
  while (key && key->Place() != node) key = key->Parent();
  return key != nullptr;
}

}  // namespace

std::string ShownTime(std::uint64_t fileTime) {
  constexpr std::uint64_t kPerSecond = 10'000'000, kSecondsTo1970 = 11'644'473'600;
  const auto seconds =
      static_cast<std::time_t>(fileTime / kPerSecond) - static_cast<std::time_t>(kSecondsTo1970);
  std::tm parts = {};
  char text[sizeof "+1234567-01-01T00:00Z"];
  if (fileTime == 0 || !gmtime_r(&seconds, &parts)) return "unknown";
  return {text, std::strftime(text, sizeof text, "%Y-%m-%dT%H:%MZ", &parts)};
}

std::shared_ptr<Hive> Hive::Open(const fs::path& file, Recovery recovery, const LoadObserver& observer) {
  const std::shared_ptr<Hive> hive(new Hive(file, observer));
  if (recovery == Recovery::Applied) hive->Recover();
  hive->Read(recovery);
  if (!hive->image_.empty() || !hive->loss_.empty()) hive->newestChange_ = hive->reader_->NewestTime();
  hive->Report(observer);
  return hive;
}

void Hive::Report(const LoadObserver& observer) const {
  const std::string newest = "newest change " + ShownTime(newestChange_);
  const std::string what = image_.empty() ? "the hive was not written to its end"
                           : recoveredEntries_ == 1
                               ? "recovered 1 log entry"
                               : "recovered " + std::to_string(recoveredEntries_) + " log entries";
  const std::string line = file_.string() + ": " + what + ", " + newest;
  if (!loss_.empty()) {
    if (observer.damage) observer.damage(line + "; " + loss_ + ", so changes may be missing");
  } else if (!image_.empty() && observer.warning) {
    observer.warning(line);
  }
}

void Hive::Recover() {
  std::vector<HiveBytes> bytes;
  std::string unusable;
  const auto logs = OpenLogs(file_, unusable);
  bytes.reserve(logs.size());
  for (const auto& log : logs) bytes.push_back(log->Span());
  HiveRecovery recovery = RecoverHive(primary_.Span(), bytes, FromUtf8(file_.filename().string()));
  image_ = std::move(recovery.image);
  if (!image_.empty())
    for (const auto& log : logs) storedBytes_ += log->StoredBytes();
  recoveredEntries_ = recovery.entries;
  loss_ = std::move(recovery.loss);
  if (recovery.isDirty && !unusable.empty()) loss_ = unusable + " is a link or cannot be read";
}

void Hive::Read(Recovery recovery) {
  const HiveBytes bytes = image_.empty() ? primary_.Span() : HiveBytes(image_);
  try {
    reader_ = std::make_unique<HiveReader>(bytes, storedBytes_);
    if (!HasHiveHeader(bytes))
      throw HiveDamage("its header's checksum is wrong, and no log replaces the header");
  } catch (const HiveDamage& damage) {
    if (!image_.empty() && HasHiveHeader(primary_.Span())) {
      // The logs are another hive's after all, or are forged. The hive is read without them.
      image_.clear();
      storedBytes_ = primary_.StoredBytes();
      recoveredEntries_ = 0;
      loss_ = "its logs do not fit it";
      return Read(recovery);
    }
    const char* const advice = recovery == Recovery::Applied
                                   ? "; restore it from a backup"
                                   : "; leave out --no-recovery, or restore it from a backup";
    throw MachineError(file_.string() + ": the hive is damaged: " + damage.what() + advice);
  }
}

std::optional<Hive::Node> Hive::Child(const Key& key, Node node, std::u16string_view name) {
  std::optional<Node> found;
  ReadFor(key, [&] {
    for (const auto& subKey : reader_->SubKeysOf(node).items) {
      try {
        if (!found && SameName(reader_->NameOf(subKey.key), name)) found = subKey.key;
      } catch (const HiveDamage&) {
        // Reported when the key is filled.
        continue;
      }
    }
  });
  return found;
}

void Hive::FillLater(Key& key, Node node) {
  key.lastWriteTime = TimeOf(node);
  key.FillLater(*this, node);
}

void Hive::Fill(Key& key, std::size_t place) {
  const auto node = static_cast<Node>(place);
  ReadFor(key, [&] {
    FillValues(key, node);
    FillSubKeys(key, node);
  });
}

// Keys are read when a program first uses them, and the program expects no exception from the registry.
void Hive::ReadFor(const Key& key, const std::function<void()>& read) {
  if (isExhausted_) return;
  const auto stop = [&](const char* why) {
    isExhausted_ = true;
    if (damage_) damage_(file_.string() + ": " + PathOf(key) + ": " + why + "; the rest is left out");
  };
  try {
    read();
  } catch (const HiveExhausted& exhausted) {
    stop(exhausted.what());
  } catch (const std::bad_alloc&) {
    stop("it needs more memory than is free");
  }
}

void Hive::FillValues(Key& key, Node node) {
  std::set<std::u16string, NameLess> names;
  const auto values = reader_->ValuesOf(node);
  for (const Node cell : values.items) {
    try {
      const HiveReader::Value value = reader_->ReadValue(cell);
      if (!names.insert(value.name).second)
        ReportLeftOut(key, value.name, "a second value of this name");
      else
        key.AddValue(value.name, value.type, value.data);
    } catch (const HiveDamage& damage) {
      ReportKey(key, std::string(": ") + damage.what() + "; left out");
    }
  }
  if (!values.damage.empty()) ReportKey(key, ": " + values.damage + "; values are left out");
}

void Hive::FillSubKeys(Key& key, Node node) {
  std::vector<std::pair<std::u16string, HiveReader::SubKey>> subKeys;
  const auto listed = reader_->SubKeysOf(node);
  for (const HiveReader::SubKey& subKey : listed.items) {
    try {
      subKeys.emplace_back(reader_->NameOf(subKey.key), subKey);
    } catch (const HiveDamage& damage) {
      ReportLeftOut(key, reader_->LikelyNameOf(subKey.key), damage.what());
    }
  }
  if (!listed.damage.empty()) ReportKey(key, ": " + listed.damage + "; subkeys are left out");
  // Windows stores them sorted. In an unsorted hive, each insertion would move keys that are there already.
  std::ranges::stable_sort(subKeys, NameLess(),
                           [](const auto& subKey) -> std::u16string_view { return subKey.first; });
  for (const auto& [name, subKey] : subKeys) AddSubKey(key, node, name, subKey);
}

void Hive::AddSubKey(Key& key, Node parent, const std::u16string& name, const HiveReader::SubKey& listed) {
  const Node node = listed.key;
  // The hive would be read again and again below this key.
  if (IsFilledFrom(&key, node)) return ReportLeftOut(key, name, "it is the same key or above it");
  if (reader_->HasOtherParent(node, parent))
    ReportKey(key, ": its subkey " + ToUtf8(name) + " is another key's, so its own may be missing");
  try {
    const std::size_t before = key.SubKeyCount();
    Key& subKey = key.CreateSubKey(name);
    if (key.SubKeyCount() == before) return ReportLeftOut(key, name, "a second key of this name");
    FillLater(subKey, node);
    if (listed.nameHash && !HiveReader::IsNameHash(*listed.nameHash, name))
      ReportKey(subKey, ": its list has the hash of another name, so this name may be damaged");
  } catch (const std::length_error& impossible) {
    ReportLeftOut(key, name, impossible.what());
  }
}

void Hive::ReportLeftOut(const Key& key, const std::u16string& name, const char* why) {
  ReportKey(key, "\\" + ToUtf8(name) + ": " + why + "; left out");
}

void Hive::ReportKey(const Key& key, const std::string& what) {
  constexpr std::size_t kMostReports = 50;
  if (!damage_ || ++reports_ > kMostReports + 1) return;
  if (reports_ > kMostReports) return damage_(file_.string() + ": more keys or values are left out");
  damage_(file_.string() + ": " + PathOf(key) + what);
}

}  // namespace simulated
