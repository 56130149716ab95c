#include "simulated/registry/Redirection.h"

#include <vector>

#include "simulated/registry/KeyPath.h"

namespace simulated {
namespace {

using Names = std::vector<std::u16string_view>;

constexpr std::u16string_view kRedirectedNode = u"Wow6432Node";

/** The names from the predefined key, which is the first one, down to `path` below `start`. */
Names WholePath(const Key& start, std::u16string_view path) {
  Names names;
  for (const Key* key = &start; key->Parent(); key = key->Parent()) names.insert(names.begin(), key->Name());
  for (auto name = TakeName(path); !name.empty(); name = TakeName(path)) names.push_back(name);
  return names;
}

bool IsRedirected(const Names& names) {
  if (names.size() < 2 || !SameName(names[0], u"HKEY_LOCAL_MACHINE") || !SameName(names[1], u"Software"))
    return false;
  return names.size() == 2 || (!SameName(names[2], kRedirectedNode) && !SameName(names[2], u"Classes"));
}

}  // namespace

Key* FindIn32BitView(Key& start, std::u16string_view path) {
  Names names = WholePath(start, path);
  if (!IsRedirected(names)) return FindBelow(start, path);
  names.insert(names.begin() + 2, kRedirectedNode);
  Key* key = &start;
  while (key->Parent()) key = key->Parent();
  for (auto name = names.begin(); key && name != names.end(); ++name) key = key->FindSubKey(*name);
  return key;
}

}  // namespace simulated
