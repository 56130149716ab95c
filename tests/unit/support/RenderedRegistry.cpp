#include "support/RenderedRegistry.h"

#include "support/OnMachine.h"

namespace kestrelbay {
namespace {

void Render(const PlainKey& from, simulated::RegistryTree& registry, const std::u16string& path) {
  registry.CreateKey(path);
  for (const PlainValue& value : from.values) registry.SetValue(path, value.name, value.type, value.bytes);
  if (from.lastWriteTime) registry.SetLastWriteTime(path, from.lastWriteTime);
  if (from.denied) registry.Deny(path, kAllReading);
  for (const PlainKey& subKey : from.subKeys) Render(subKey, registry, path + u"\\" + subKey.name);
}

}  // namespace

simulated::Machine& UseMachineWith(const PlainRegistry& registry) {
  simulated::Machine& machine = simulated::UseMachine(std::make_unique<simulated::Machine>());
  Render(registry.machine, machine.registry, u"HKEY_LOCAL_MACHINE");
  for (const PlainKey& software : registry.machine32.subKeys) {
    Render(software, machine.registry, u"HKEY_LOCAL_MACHINE\\Software\\Wow6432Node");
  }
  Render(registry.users, machine.registry, u"HKEY_USERS");
  return machine;
}

}  // namespace kestrelbay
