#include "FilledMachine.h"

#include "Applications.h"
#include "simulated/directory/CurrentMachine.h"

namespace bench {
namespace {

const std::u16string kMachine = u"HKEY_LOCAL_MACHINE\\";

simulated::Key& CreateKey(simulated::Machine& machine, const std::u16string& path) {
  simulated::Key& key = machine.registry.CreateKey(kMachine + path);
  key.lastWriteTime = simulated::Clock::kDefaultStart;
  return key;
}

void SetValues(simulated::Key& key, const std::vector<Value>& values) {
  for (const Value& value : values) key.SetValue(value.name, value.type, value.bytes);
}

}  // namespace

FilledMachine::FilledMachine(std::size_t count) : count_(count) {
  auto machine = std::make_unique<simulated::Machine>();
  const std::u16string in32BitView = u"Software\\Wow6432Node\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
  simulated::Key& keys64 = CreateKey(*machine, kUninstallKey);
  simulated::Key& keys32 = CreateKey(*machine, in32BitView);
  simulated::Key& products = CreateKey(*machine, kProductsKey);
  for (std::size_t number = 0; number < count; ++number) {
    const Application app = MakeApplication(number);
    SetValues((app.in32BitView ? keys32 : keys64).CreateSubKey(app.keyName), app.values);
    if (!app.packedCode.empty()) SetValues(products.CreateSubKey(app.packedCode), app.productValues);
  }
  simulated::UseMachine(std::move(machine));
}

FilledMachine::~FilledMachine() { simulated::UseMachine(std::make_unique<simulated::Machine>()); }

}  // namespace bench
