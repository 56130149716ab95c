#include "simulated/registry/Watches.h"

#include <algorithm>

#include "simulated/base/Handles.h"
#include "simulated/registry/Key.h"

namespace simulated {
namespace {

bool IsBelow(const Key& key, const Key& above) {
  for (const Key* parent = key.Parent(); parent; parent = parent->Parent())
    if (parent == &above) return true;
  return false;
}

}  // namespace

template <class Predicate>
void Watches::SignalIf(Predicate isConcerned) {
  std::erase_if(watches_, [&](const Watch& watch) {
    if (!isConcerned(watch)) return false;
    Handles::Shared().Signal(*watch.event);
    return true;
  });
}

bool Watches::IsWatched(const Key& key) const {
  return std::ranges::any_of(watches_, [&](const Watch& watch) { return watch.key == &key; });
}

void Watches::Notify(const Key& key, platform::DWORD kind) {
  SignalIf([&](const Watch& watch) {
    return (watch.filter & kind) != 0 && (watch.key == &key || (watch.isDeep && IsBelow(key, *watch.key)));
  });
}

void Watches::KeyDeleted(const Key& key) {
  if (watches_.empty()) return;
  SignalIf([&](const Watch& watch) { return watch.key == &key; });
}

void Watches::HandleClosed(platform::HKEY handle) {
  if (watches_.empty()) return;
  SignalIf([&](const Watch& watch) { return watch.handle == handle; });
}

}  // namespace simulated
