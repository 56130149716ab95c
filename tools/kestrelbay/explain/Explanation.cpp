#include "explain/Explanation.h"

#include <unordered_map>

#include "base/CommonFunc.h"
#include "inventory/InventoryScan.h"

namespace kestrelbay {
namespace {

using Sources = std::array<std::optional<FieldSource>, kAppFieldCount>;

constexpr std::size_t Index(AppField field) { return static_cast<std::size_t>(field); }

KeyPath PlaceOf(const RegistryKey& key) { return {WideToUtf8(key.rootName), WideToUtf8(key.path), key.view}; }

KeyPath PlaceBelow(const RegistryKey& parent, const std::u16string& path, RegistryView view) {
  const std::string above = parent.path.empty() ? "" : WideToUtf8(parent.path) + '\\';
  return {WideToUtf8(parent.rootName), above + WideToUtf8(path), view};
}

// Receives the events of a scan and fills the explanation.
class Recorder {
 public:
  explicit Recorder(Explanation& explanation) : explanation_(explanation) {}

  void operator()(const ScanRootTried& tried) {
    ExplainedKey& key = explanation_.keys.emplace_back();
    key.place = tried.scanRoot;
    key.key = PlaceBelow(tried.key.parent, tried.key.path, tried.key.view);
    key.view = tried.key.view;
    key.status = tried.key.status;
    key.fate = tried.key.status == 0 ? Fate::Searched : Fate::Unread;
    if (tried.key.status != 0) key.verdict = Verdict::Unopened;
  }

  void operator()(const EntryBegun& begun) {
    ExplainedKey& key = explanation_.keys.emplace_back();
    key.place = begun.scanRoot;
    key.isEntry = true;
    key.key = PlaceBelow(begun.key, begun.name, begun.key.view);
    key.name = WideToUtf8(begun.name);
    key.view = begun.view;
    parent_ = &begun.key;
    sources_ = {};
  }

  void operator()(const KeyTried& tried) {
    const KeyPath place = PlaceBelow(tried.parent, tried.path, tried.view);
    Current().opens.push_back({place, tried.status});
    if (place.root == Current().key.root && place.path == Current().key.path) Current().status = tried.status;
  }

  void operator()(const ValueRead& read) {
    const KeyPath place = PlaceOf(read.key);
    const std::string name = WideToUtf8(read.name);
    Current().values.push_back({place, name, WideToUtf8(read.text), read.found, read.field});
    if (read.field == AppField::DisplayName) Current().displayName = Current().values.back().text;
    if (read.field) sources_[Index(*read.field)] = {place, name};
  }

  void operator()(const KeyTaken& taken) {
    for (const AppField field : {AppField::RegistryKey, AppField::Architecture, AppField::LastWriteTime}) {
      sources_[Index(field)] = {PlaceOf(taken.key), ""};
    }
  }

  void operator()(const BranchJudged& branch) {
    Current().branches.push_back({WideToUtf8(branch.sid), branch.verdict});
    // A branch that yields no record has no sources.
    if (branch.verdict != Verdict::Accepted) sources_ = {};
  }

  void operator()(const RecordAdded& record) {
    const std::size_t index = explanation_.keys.size() - 1;
    Current().agreement = record.agreement;
    if (record.earlier) Meet(keyOfRecord_.at(record.earlier), record.agreement, index);
    keyOfRecord_[&record.added] = index;
    sourcesOfKey_[index] = sources_;
  }

  void operator()(const EntryJudged& judged) {
    ExplainedKey& key = Current();
    key.verdict = judged.verdict;
    key.fate = judged.verdict == Verdict::Accepted   ? Fate::Listed
               : judged.verdict == Verdict::Unopened ? Fate::Unread
                                                     : Fate::LeftOut;
    NameCurrent();
  }

  void operator()(const ProductsUnread& unread) {
    for (const std::u16string& name : ListSubKeyNames(unread.userProducts)) {
      (*this)(EntryBegun{ScanRoot::UserProducts, unread.userProducts, name, unread.view});
      Current().verdict = Verdict::UserDataUnopened;
      Current().fate = Fate::Unread;
      NameCurrent();
    }
  }

  /** Explains the records of a finished scan, in their order. */
  void TakeRecords(const AppRecords& apps) {
    for (const AppRecord& app : apps) {
      explanation_.records.push_back(Explain(app, keyOfRecord_.at(&app)));
    }
  }

 private:
  ExplainedKey& Current() { return explanation_.keys.back(); }

  // Reads the name of an entry that the scan left out before it read the name, because a person asks by name.
  void NameCurrent() {
    ExplainedKey& key = Current();
    if (!key.displayName.empty()) return;
    const auto opened = OpenKeyInView(*parent_, Utf8ToWide(key.name), parent_->view);
    if (!opened) return;
    const bool isProduct = key.place == ScanRoot::UserProducts;
    key.displayName = WideToUtf8(ReadRegistryValue(*opened, isProduct ? u"ProductName" : u"DisplayName"));
  }

  // The record of the key at `index` has the same name as the record of the key at `earlier`.
  void Meet(std::size_t earlier, const Agreement& agreement, std::size_t index) {
    Current().earlier = earlier;
    const Sources& sourcesOfEarlier = sourcesOfKey_.at(earlier);
    for (std::size_t field = 0; field < kAppFieldCount; ++field) {
      if (agreement.filled[field]) sources_[field] = sourcesOfEarlier[field];
    }
    if (agreement.disagreement) return;
    explanation_.keys[earlier].mergedInto = index;
    explanation_.keys[earlier].fate = Fate::Merged;
  }

  ExplainedRecord Explain(const AppRecord& app, std::size_t key) const {
    ExplainedRecord record;
    record.key = key;
    const auto set = [&](AppField field, std::u16string_view text) {
      record.fields[Index(field)] = {WideToUtf8(text), text.empty() ? std::nullopt : SourceOf(key, field)};
    };
    set(AppField::DisplayName, app.DisplayName);
    set(AppField::InstallLocation, app.InstallLocation);
    set(AppField::DisplayVersion, app.DisplayVersion);
    set(AppField::UninstallString, app.UninstallString);
    set(AppField::RegistryKey, std::u16string(app.rootKeyStr) + u'\\' + std::u16string(app.subKeyPath));
    set(AppField::DisplayIcon, app.DisplayIcon);
    set(AppField::InstallDate, app.InstallDate);
    set(AppField::LastWriteTime, app.LastWriteTime);
    record.fields[Index(AppField::Architecture)] = {std::to_string(app.architecture),
                                                    SourceOf(key, AppField::Architecture)};
    return record;
  }

  std::optional<FieldSource> SourceOf(std::size_t key, AppField field) const {
    return sourcesOfKey_.at(key)[Index(field)];
  }

  Explanation& explanation_;
  const RegistryKey* parent_ = nullptr;  // of the entry that is being read
  Sources sources_;                      // of the record that is being read
  std::unordered_map<std::size_t, Sources> sourcesOfKey_;
  std::unordered_map<const AppRecord*, std::size_t> keyOfRecord_;
};

}  // namespace

Explanation ExplainInstalledApps() {
  Explanation explanation;
  Recorder recorder(explanation);
  const ScanObserver observer = [&](const ScanEvent& event) { std::visit(recorder, event); };
  Scan scan(&observer);
  ScanInventory(scan);
  AppRecords apps = scan.TakeApps();
  apps.SortByName();
  recorder.TakeRecords(apps);
  return explanation;
}

}  // namespace kestrelbay
