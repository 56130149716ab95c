/** One hive file of Windows: opened and recovered in memory; its keys are read and checked on first use. */
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "simulated/base/LoadObserver.h"
#include "simulated/base/WholeFile.h"
#include "simulated/registry/Key.h"
#include "simulated/volume/HiveReader.h"

namespace simulated {

/** Whether changes that are only in a hive's logs are applied, in memory. */
enum class Recovery { Applied, NotApplied };

/** Not thread-safe. The lock of the registry that holds its keys guards it. */
class Hive : public KeySource {
 public:
  using Node = HiveReader::Cell;

  /**
   * Opens a hive. Reports a recovery to `observer.warning`, and missing changes to `observer.damage`. Later,
   * when keys are read, reports each key and value that it leaves out to `observer.damage`, too. Never writes
   * the file.
   * @throws MachineError with one line that names the file
   */
  static std::shared_ptr<Hive> Open(const std::filesystem::path& file, Recovery recovery,
                                    const LoadObserver& observer);

  Node Root() const { return reader_->Root(); }
  /** @param key  the key that is filled from `node`, for reports @return nothing if there is none */
  std::optional<Node> Child(const Key& key, Node node, std::u16string_view name);
  std::uint64_t TimeOf(Node node) { return reader_->TimeOf(node); }
  /** Fills the key from that node when the key is first used. */
  void FillLater(Key& key, Node node);
  /** Fills the key now. Each of its subkeys is filled when it is first used. */
  void Fill(Key& key, std::size_t place) override;

  const std::filesystem::path& File() const { return file_; }
  /** Number of log entries that were applied. */
  std::size_t RecoveredEntries() const { return recoveredEntries_; }
  /** What the hive may lack although it is open; empty if nothing. */
  const std::string& Loss() const { return loss_; }
  /** Last write time of the key that was changed last; 0 if the hive is clean or is read without recovery. */
  std::uint64_t NewestChange() const { return newestChange_; }

 private:
  Hive(const std::filesystem::path& file, const LoadObserver& observer)
      : file_(file), primary_(file), storedBytes_(primary_.StoredBytes()), damage_(observer.damage) {}

  void Recover();
  void Read(Recovery recovery);
  void Report(const LoadObserver& observer) const;
  /** Calls `read`. If limit or memory are exhausted, reports it at the key. Later calls then do nothing. */
  void ReadFor(const Key& key, const std::function<void()>& read);
  void FillValues(Key& key, Node node);
  void FillSubKeys(Key& key, Node node);
  void AddSubKey(Key& key, Node parent, const std::u16string& name, const HiveReader::SubKey& listed);
  void ReportKey(const Key& key, const std::string& what);
  void ReportLeftOut(const Key& key, const std::u16string& name, const char* why);

  const std::filesystem::path file_;
  const SparseFile primary_;
  /** Bytes of the files that were read, without the holes of sparse files. */
  std::size_t storedBytes_;
  /** The recovered file; empty if the file itself is read. */
  std::vector<std::uint8_t> image_;
  std::unique_ptr<HiveReader> reader_;
  std::size_t recoveredEntries_ = 0;
  std::string loss_;
  std::uint64_t newestChange_ = 0;
  const Warning damage_;
  std::size_t reports_ = 0;
  bool isExhausted_ = false;
};

/** A FILETIME as "2026-11-02T14:03Z". */
std::string ShownTime(std::uint64_t fileTime);

}  // namespace simulated
