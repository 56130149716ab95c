#include "explain/ExplainText.h"

#include <algorithm>
#include <array>

#include "console/DisplayText.h"
#include "views/Inventory.h"
#include "views/Table.h"

namespace cli {
namespace {

using kestrelbay::AppField;
using kestrelbay::ExplainedKey;
using kestrelbay::ExplainedValue;
using kestrelbay::Explanation;
using kestrelbay::Fate;
using kestrelbay::FieldSource;
using kestrelbay::KeyPath;
using kestrelbay::ScanRoot;
using kestrelbay::Verdict;

constexpr platform::LSTATUS kNotFound = 2;
constexpr platform::LSTATUS kPathNotFound = 3;
constexpr platform::LSTATUS kAccessDenied = 5;
constexpr platform::LSTATUS kMoreData = 234;

struct FieldWords {
  std::string_view name;
  std::string_view disagreement;  ///< why two records are not merged
};

/** By AppField. */
constexpr std::array<FieldWords, kestrelbay::kAppFieldCount> kFields = {{
    {"displayName", "the names differ"},
    {"installLocation", "the locations differ"},
    {"displayVersion", "the versions differ"},
    {"uninstallString", "both have an uninstall command"},
    {"registryKey", "the keys differ"},
    {"architecture", "the views differ"},
    {"displayIcon", "the icons differ"},
    {"installDate", "the dates differ"},
    {"lastWriteTime", "the times differ"},
}};

struct RuleWords {
  std::string_view name;
  std::string_view words;
};

/** By Verdict. */
constexpr std::array kRules = {
    RuleWords{"accepted", "it yields a record"},
    RuleWords{"unopened", "the key does not open"},
    RuleWords{"systemComponent", "SystemComponent is 1"},
    RuleWords{"noUninstallString", "no UninstallString"},
    RuleWords{"noName", "no name"},
    RuleWords{"publisherExcluded", "applications of its Publisher are never listed"},
    RuleWords{"knowledgeBaseName", "an update, as its key is named KB and six digits"},
    RuleWords{"hasParent", "an update, as it has a ParentKeyName"},
    RuleWords{"updateRelease", "an update, by its ReleaseType"},
    RuleWords{"machineBranch", "the machine's own branch is not looked into"},
    RuleWords{"branchUnopened", "no products of this user, or they do not open"},
    RuleWords{"notInBranch", "not among this user's products"},
    RuleWords{"propertiesUnopened", "no InstallProperties, or they do not open"},
    RuleWords{"productKeyUnopened", "the user's own product key does not open"},
    RuleWords{"inNoBranch", "no user's branch of UserData yields it"},
    RuleWords{"userDataUnopened", "UserData does not open in this view"},
};
static_assert(kRules.size() == static_cast<std::size_t>(Verdict::UserDataUnopened) + 1);

std::string Words(Verdict verdict) { return std::string(kRules[static_cast<std::size_t>(verdict)].words); }

std::string ViewText(kestrelbay::RegistryView view) {
  if (view == kestrelbay::kDefaultView) return {};
  return view == kestrelbay::k32BitView ? ", 32-bit view" : ", 64-bit view";
}

std::string FullText(const KeyPath& key) { return key.root + '\\' + key.path + ViewText(key.view); }

std::string StatusText(platform::LSTATUS status) {
  if (status == kNotFound || status == kPathNotFound) return "not there";
  return status == kAccessDenied ? "access denied" : "error " + std::to_string(status);
}

std::string_view ParentPath(const std::string& path) {
  return std::string_view(path).substr(0, path.find_last_of('\\'));
}

/** Returns the shortest name of `other` that distinguishes it from `key`. */
std::string Reference(const ExplainedKey& other, const ExplainedKey& key) {
  const bool isBeside =
      other.key.root == key.key.root && ParentPath(other.key.path) == ParentPath(key.key.path);
  const std::string view = other.view == key.view ? "" : ViewText(other.view);
  return isBeside ? other.name + view : FullText(other.key);
}

std::string ListedText(const Explanation& all, const ExplainedKey& key) {
  if (!key.earlier) return "listed";
  const std::string earlier = Reference(all.keys[*key.earlier], key);
  if (!key.agreement.disagreement) return "listed, with " + earlier + " merged into it";
  const auto field = static_cast<std::size_t>(*key.agreement.disagreement);
  return "listed beside " + earlier + ": " + std::string(kFields[field].disagreement);
}

std::string UnreadText(const ExplainedKey& key) {
  if (key.verdict == Verdict::UserDataUnopened) return "not read: " + Words(key.verdict);
  const bool isGate = key.place == ScanRoot::InstallerProducts;
  return StatusText(key.status) + (isGate ? ": without this key nothing is listed" : "");
}

std::string EmptyText(const kestrelbay::ValueFound& found) {
  if (found.status == kMoreData) {
    return "too long: " + std::to_string(found.bytes) + " bytes, 520 at most";
  }
  if (found.status != 0) return StatusText(found.status);
  return FoundName(found) == "otherType" ? "no text: type " + std::to_string(found.type) : "empty";
}

/** Returns the value by which the rule of a verdict decides; empty if it is none. */
std::string_view DecidingValue(Verdict verdict) {
  switch (verdict) {
    case Verdict::SystemComponent:
      return "SystemComponent";
    case Verdict::NoUninstallString:
      return "UninstallString";
    case Verdict::NoName:
      return "DisplayName";
    case Verdict::HasParent:
      return "ParentKeyName";
    case Verdict::UpdateRelease:
      return "ReleaseType";
    default:
      return {};
  }
}

/** Returns the text of that value, if the words of the rule do not contain it. */
std::string DecidingText(const ExplainedKey& key) {
  const auto value = std::ranges::find(key.values, DecidingValue(key.verdict), &ExplainedValue::name);
  if (value == key.values.end() || value->found.status == kNotFound) return {};
  if (value->text.empty()) return " (" + EmptyText(value->found) + ")";
  return key.verdict == Verdict::SystemComponent && value->text == "1" ? "" : " (\"" + value->text + "\")";
}

std::string FateText(const Explanation& all, const ExplainedKey& key) {
  switch (key.fate) {
    case Fate::Searched:
      return "opened";
    case Fate::Listed:
      return ListedText(all, key);
    case Fate::Merged:
      return "merged into " + Reference(all.keys[*key.mergedInto], key) + ": no value differs";
    case Fate::LeftOut:
      return "left out: " + Words(key.verdict) + DecidingText(key);
    case Fate::Unread:
      return UnreadText(key);
  }
  return {};
}

bool IsSame(const KeyPath& left, const KeyPath& right) {
  return left.root == right.root && left.path == right.path && left.view == right.view;
}

void PrintValues(Output& out, const ExplainedKey& key) {
  if (key.values.empty()) return;
  Table table({{"Value", true}, {"Goes into", false}, {"Text", true}, {"Of another key", true}});
  for (const ExplainedValue& value : key.values) {
    table.AddRow({value.name, value.field ? std::string(FieldName(*value.field)) : "",
                  value.text.empty() ? "(" + EmptyText(value.found) + ")" : value.text,
                  IsSame(value.key, key.key) ? "" : FullText(value.key)});
  }
  table.Print(out, StyleOfOutput());
}

std::string Indented(const std::string& text) { return "  " + Printable(text) + "\n"; }

void PrintKey(Output& out, const ExplainedPart& part, const ExplainedKey& key) {
  KeyPath place = key.key;
  place.view = key.view;
  out.Write(Printable(FullText(place)) + "\n");
  out.Write(Indented(FateText(part.all, key)));
  if (key.isEntry && !part.name.empty() && key.displayName != part.name) {
    out.Write(Indented(key.displayName.empty()
                           ? "it has no name"
                           : "its name is not exactly the one asked for: \"" + key.displayName + "\""));
  }
  for (const kestrelbay::ExplainedOpen& open : key.opens) {
    if (open.status != 0 && !IsSame(open.key, key.key)) {
      out.Write(Indented(FullText(open.key) + ": " + StatusText(open.status)));
    }
  }
  for (const kestrelbay::ExplainedBranch& branch : key.branches) {
    out.Write(Indented("in UserData of " + branch.sid + ": " + Words(branch.verdict)));
  }
  PrintValues(out, key);
  out.Write("\n");
}

std::string SourceText(AppField field, const FieldSource& source) {
  if (field == AppField::RegistryKey) return "(the key)";
  if (field == AppField::Architecture) return "(its view)";
  return field == AppField::LastWriteTime ? "(its last write time)" : source.value;
}

void PrintRecord(Output& out, const Explanation& all, const kestrelbay::ExplainedRecord& record) {
  const KeyPath& own = all.keys[record.key].key;
  Table table({{"Listed as", false}, {"From", true}, {"Text", true}, {"Of another key", true}});
  for (std::size_t at = 0; at < record.fields.size(); ++at) {
    const kestrelbay::ExplainedField& field = record.fields[at];
    const auto which = static_cast<AppField>(at);
    const bool isOfAnother = field.source && !IsSame(field.source->key, own);
    table.AddRow({std::string(FieldName(which)), field.source ? SourceText(which, *field.source) : "",
                  field.text, isOfAnother ? FullText(field.source->key) : ""});
  }
  table.Print(out, StyleOfOutput());
  out.Write("\n");
}

void PrintCounts(Output& out, const Explanation& explanation) {
  const auto count = [&](Fate fate) {
    return std::to_string(std::ranges::count(explanation.keys, fate, &ExplainedKey::fate));
  };
  out.Write(std::to_string(explanation.keys.size()) + (explanation.keys.size() == 1 ? " key: " : " keys: ") +
            count(Fate::Searched) + " searched, " + count(Fate::Listed) + " listed, " + count(Fate::Merged) +
            " merged, " + count(Fate::LeftOut) + " left out, " + count(Fate::Unread) + " not read.\n");
}

}  // namespace

std::string_view FieldName(AppField field) { return kFields[static_cast<std::size_t>(field)].name; }

std::string_view RuleName(Verdict verdict) { return kRules[static_cast<std::size_t>(verdict)].name; }

std::string_view FateName(Fate fate) {
  constexpr std::array<std::string_view, 5> kNames = {"searched", "listed", "merged", "left out", "unread"};
  return kNames[static_cast<std::size_t>(fate)];
}

std::string_view FoundName(const kestrelbay::ValueFound& found) {
  if (found.status == kMoreData) return "tooLong";
  if (found.status != 0) return found.status == kNotFound ? "missing" : "unreadable";
  const bool isRead = found.type == 1 || found.type == 2 || found.type == 4;
  return isRead ? "text" : "otherType";
}

void PrintOverview(Output& out, const Explanation& explanation) {
  const std::vector<ExplainedKey>& keys = explanation.keys;
  for (auto key = keys.begin(); key != keys.end();) {
    if (!key->isEntry) {
      out.Write(Printable(FullText(key->key) + ": " + FateText(explanation, *key)) + "\n");
      ++key;
      continue;
    }
    Table table({{"Key", true}, {"View", false}, {"Name", true}, {"What became of it", true}});
    for (; key != keys.end() && key->isEntry; ++key) {
      table.AddRow({key->name, ArchitectureName(key->view), key->displayName, FateText(explanation, *key)});
    }
    table.Print(out, StyleOfOutput());
    out.Write("\n");
  }
  PrintCounts(out, explanation);
}

void PrintPart(Output& out, const ExplainedPart& part) {
  for (const std::size_t key : part.keys) PrintKey(out, part, part.all.keys[key]);
  for (const std::size_t record : part.records) PrintRecord(out, part.all, part.all.records[record]);
  if (part.name.empty()) return PrintCounts(out, part.all);
  out.Write(part.records.empty() ? "Nothing of that name is listed.\n"
                                 : "Listed: " + CountText(part.records.size()) + " of that name.\n");
}

}  // namespace cli
