#include "simulated/directory/GroupedChanges.h"

#include <mutex>

#include "simulated/machine/Machine.h"

namespace simulated {

platform::LSTATUS GroupChanges(Machine& machine, const std::function<void()>& action) {
  ProgramChanges all;
  // Changes are made under the lock of the registry, so nobody uses the keeper while it is replaced.
  std::unique_lock lock(machine.registry.Lock());
  const Keeper keeper = machine.keeper;
  if (keeper) {
    machine.keeper = [&all, &keeper](const ProgramChanges& changes) -> platform::LSTATUS {
      if (!changes.files.IsEmpty()) return keeper(changes);
      changes.registry.WriteTo(all.registry);
      return 0;
    };
  }
  lock.unlock();
  action();
  lock.lock();
  machine.keeper = keeper;
  return all.registry.IsEmpty() ? 0 : keeper(all);
}

}  // namespace simulated
