#include "views/ListDifference.h"

#include <algorithm>
#include <map>

namespace cli {
namespace {

using Apps = std::vector<const AppRecord*>;

struct SameName {
  Apps before;
  Apps after;
};

std::vector<FieldDifference> Differences(const AppRecord& before, const AppRecord& after, bool includeIcons) {
  std::vector<FieldDifference> fields;
  for (const ListedText& field : kListedTexts) {
    if (field.text == &AppRecord::iconText && !includeIcons) continue;
    if (before.*field.text != after.*field.text) {
      fields.push_back({field.name, before.*field.text, after.*field.text});
    }
  }
  if (before.architecture != after.architecture)
    fields.push_back({"architecture", before.architecture, after.architecture});
  return fields;
}

bool IsSameText(const std::string AppRecord::*text, const AppRecord& before, const AppRecord& after) {
  return !(before.*text).empty() && before.*text == after.*text;
}

using IsPair = bool(const AppRecord& before, const AppRecord& after);

/** Says whether two applications of one name are the same one; the most reliable test first. */
constexpr IsPair* kPairings[] = {
    [](const AppRecord& before, const AppRecord& after) { return Differences(before, after, false).empty(); },
    [](const AppRecord& before, const AppRecord& after) {
      return before.architecture == after.architecture &&
             IsSameText(&AppRecord::installLocation, before, after);
    },
    [](const AppRecord& before, const AppRecord& after) {
      return before.architecture == after.architecture &&
             IsSameText(&AppRecord::displayVersion, before, after);
    },
    [](const AppRecord& before, const AppRecord& after) { return before.architecture == after.architecture; },
    [](const AppRecord& before, const AppRecord& after) {
      return IsSameText(&AppRecord::installLocation, before, after);
    },
    [](const AppRecord&, const AppRecord&) { return true; },
};

class Comparer {
 public:
  Comparer(ListDifference& difference, bool includeIcons)
      : difference_(difference), includeIcons_(includeIcons) {}

  void Compare(SameName& group) {
    for (IsPair* isPair : kPairings) PairAll(group, isPair);
    for (const AppRecord* app : group.before) difference_.apps.push_back({AppChange::Gone, app, {}});
    for (const AppRecord* app : group.after) difference_.apps.push_back({AppChange::Appeared, app, {}});
  }

 private:
  /** Removes the pairs from the group and notes their differences. */
  void PairAll(SameName& group, IsPair* isPair) {
    std::erase_if(group.before, [&](const AppRecord* before) {
      const auto after = std::ranges::find_if(
          group.after, [&](const AppRecord* candidate) { return isPair(*before, *candidate); });
      if (after == group.after.end()) return false;
      Note(*before, **after);
      group.after.erase(after);
      return true;
    });
  }

  void Note(const AppRecord& before, const AppRecord& after) {
    std::vector<FieldDifference> fields = Differences(before, after, includeIcons_);
    if (fields.empty()) {
      ++difference_.same;
    } else {
      difference_.apps.push_back({AppChange::Changed, &after, std::move(fields)});
    }
  }

  ListDifference& difference_;
  const bool includeIcons_;
};

/** Sorts names as a list does; names that differ only in case stay separate. */
std::pair<std::string, std::string> SortKey(const std::string& name) {
  std::string small = name;
  for (char& c : small) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
  return {small, name};
}

}  // namespace

ListDifference CompareLists(std::span<const AppRecord> before, std::span<const AppRecord> after,
                            bool includeIcons) {
  std::map<std::pair<std::string, std::string>, SameName> names;
  for (const AppRecord& app : before) names[SortKey(app.displayName)].before.push_back(&app);
  for (const AppRecord& app : after) names[SortKey(app.displayName)].after.push_back(&app);
  ListDifference difference;
  Comparer comparer(difference, includeIcons);
  for (auto& [name, group] : names) comparer.Compare(group);
  return difference;
}

}  // namespace cli
