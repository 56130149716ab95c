#include "views/ListDifference.h"

#include <deque>
#include <map>
#include <optional>
#include <set>

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

/** Two applications of one name with equal keys are a pair. Without a key, an application is in no pair. */
using PairKey = std::optional<std::vector<std::string>>;

PairKey AllButTheIcon(const AppRecord& app) {
  std::vector<std::string> texts = {std::to_string(app.architecture)};
  for (const ListedText& field : kListedTexts)
    if (field.text != &AppRecord::iconText) texts.push_back(app.*field.text);
  return texts;
}

/** An empty text pairs nothing. */
template <std::string AppRecord::*kText>
PairKey ArchitectureAnd(const AppRecord& app) {
  if ((app.*kText).empty()) return std::nullopt;
  return PairKey({std::to_string(app.architecture), app.*kText});
}

PairKey Architecture(const AppRecord& app) { return PairKey({std::to_string(app.architecture)}); }

PairKey Location(const AppRecord& app) {
  if (app.installLocation.empty()) return std::nullopt;
  return PairKey({app.installLocation});
}

PairKey Nothing(const AppRecord&) { return PairKey(std::in_place); }

/** The most reliable one first. */
constexpr PairKey (*kPairings[])(const AppRecord& app) = {&AllButTheIcon,
                                                          &ArchitectureAnd<&AppRecord::installLocation>,
                                                          &ArchitectureAnd<&AppRecord::displayVersion>,
                                                          &Architecture,
                                                          &Location,
                                                          &Nothing};

class Comparer {
 public:
  Comparer(ListDifference& difference, bool includeIcons)
      : difference_(difference), includeIcons_(includeIcons) {}

  void Compare(SameName& group) {
    for (const auto keyOf : kPairings) PairAll(group, keyOf);
    for (const AppRecord* app : group.before) difference_.apps.push_back({AppChange::Gone, app, {}});
    for (const AppRecord* app : group.after) difference_.apps.push_back({AppChange::Appeared, app, {}});
  }

 private:
  /** Removes the pairs from the group and notes their differences. Equal keys are paired in list order. */
  void PairAll(SameName& group, PairKey (*keyOf)(const AppRecord& app)) {
    std::map<std::vector<std::string>, std::deque<const AppRecord*>> candidates;
    for (const AppRecord* app : group.after)
      if (const PairKey key = keyOf(*app)) candidates[*key].push_back(app);
    std::set<const AppRecord*> paired;
    std::erase_if(group.before, [&](const AppRecord* before) {
      const PairKey key = keyOf(*before);
      const auto found = key ? candidates.find(*key) : candidates.end();
      if (found == candidates.end() || found->second.empty()) return false;
      const AppRecord* const after = found->second.front();
      found->second.pop_front();
      Note(*before, *after);
      paired.insert(after);
      return true;
    });
    std::erase_if(group.after, [&](const AppRecord* app) { return paired.contains(app); });
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
