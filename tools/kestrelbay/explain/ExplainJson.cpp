#include "explain/ExplainJson.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace cli {
namespace {

using Json = nlohmann::ordered_json;
using kestrelbay::AppField;
using kestrelbay::ExplainedKey;
using kestrelbay::Fate;
using kestrelbay::KeyPath;
using kestrelbay::ScanRoot;

std::string_view RoleName(const ExplainedKey& key) {
  switch (key.place) {
    case ScanRoot::InstallerProducts:
      return "installerProducts";
    case ScanRoot::UninstallKey:
      return key.isEntry ? "uninstallEntry" : "uninstallKey";
    case ScanRoot::UserProducts:
      return key.isEntry ? "userProduct" : "userProducts";
    case ScanRoot::UserData:
      return "userData";
  }
  return {};
}

Json ToJson(const KeyPath& key) { return {{"root", key.root}, {"path", key.path}, {"view", key.view}}; }

Json ToJson(const kestrelbay::ExplainedValue& value) {
  const bool isThere = FoundName(value.found) != "missing" && FoundName(value.found) != "unreadable";
  return {{"key", ToJson(value.key)},
          {"name", value.name},
          {"text", value.text},
          {"found", FoundName(value.found)},
          {"type", isThere ? Json(value.found.type) : Json()},
          {"bytes", isThere ? Json(value.found.bytes) : Json()},
          {"field", value.field ? Json(FieldName(*value.field)) : Json()}};
}

Json OrNull(const std::optional<std::size_t>& number) { return number ? Json(*number) : Json(); }

Json FilledFields(const ExplainedKey& key) {
  Json names = Json::array();
  for (std::size_t field = 0; field < kestrelbay::kAppFieldCount; ++field) {
    if (key.agreement.filled[field]) names.push_back(FieldName(static_cast<AppField>(field)));
  }
  return names;
}

Json ToJson(const ExplainedKey& key, std::size_t number) {
  Json json = {{"number", number},
               {"role", RoleName(key)},
               {"key", ToJson(key.key)},
               {"view", key.view},
               {"status", key.status},
               {"fate", FateName(key.fate)},
               {"rule", RuleName(key.verdict)}};
  if (!key.isEntry) return json;
  const auto& disagreement = key.agreement.disagreement;
  json.update({{"displayName", key.displayName},
               {"mergedInto", OrNull(key.mergedInto)},
               {"earlier", OrNull(key.earlier)},
               {"disagreement", disagreement ? Json(FieldName(*disagreement)) : Json()},
               {"filled", FilledFields(key)},
               {"opens", Json::array()},
               {"branches", Json::array()},
               {"values", Json::array()}});
  for (const auto& open : key.opens) {
    json["opens"].push_back({{"key", ToJson(open.key)}, {"status", open.status}});
  }
  for (const auto& branch : key.branches) {
    json["branches"].push_back({{"sid", branch.sid}, {"rule", RuleName(branch.verdict)}});
  }
  for (const auto& value : key.values) json["values"].push_back(ToJson(value));
  return json;
}

Json ToJson(const kestrelbay::ExplainedRecord& record) {
  Json json = {{"number", record.key}, {"fields", Json::object()}};
  for (std::size_t at = 0; at < record.fields.size(); ++at) {
    const kestrelbay::ExplainedField& field = record.fields[at];
    Json source;
    if (field.source) source = {{"key", ToJson(field.source->key)}, {"value", field.source->value}};
    json["fields"][FieldName(static_cast<AppField>(at))] = {{"text", field.text}, {"from", source}};
  }
  return json;
}

}  // namespace

Json ToJson(const ExplainedPart& part) {
  Json json = {{"keys", Json::array()}, {"records", Json::array()}, {"counts", Json::object()}};
  for (const std::size_t key : part.keys) json["keys"].push_back(ToJson(part.all.keys[key], key));
  for (const std::size_t record : part.records) json["records"].push_back(ToJson(part.all.records[record]));
  for (const Fate fate : {Fate::Searched, Fate::Listed, Fate::Merged, Fate::LeftOut, Fate::Unread}) {
    json["counts"][FateName(fate)] =
        std::ranges::count_if(part.keys, [&](std::size_t key) { return part.all.keys[key].fate == fate; });
  }
  return json;
}

}  // namespace cli
