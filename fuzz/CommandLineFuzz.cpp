/**
 * Command lines: the search for the program, and the parameters of the built-in reg.
 *
 * reg deletes one key and the keys below it, or nothing. A start without an error has a process handle.
 */
#include <memory>
#include <string>
#include <string_view>

#include "Expect.h"
#include "platform/Events.h"
#include "platform/Processes.h"
#include "simulated/base/WideText.h"
#include "simulated/directory/CurrentMachine.h"
#include "simulated/machine/BuiltInPrograms.h"

namespace {

using simulated::Key;
using simulated::Machine;
using simulated::UseMachine;

std::size_t KeysBelow(Key& key) {
  std::size_t count = 1;
  for (std::size_t i = 0; i < key.SubKeyCount(); ++i) count += KeysBelow(key.SubKeyAt(i));
  return count;
}

std::size_t AllKeys(Machine& machine) {
  return KeysBelow(*machine.registry.Find(u"HKLM")) + KeysBelow(*machine.registry.Find(u"HKU"));
}

void CheckReg(const std::u16string& parameters) {
  Machine machine;
  for (const char16_t* path : {u"HKLM\\Software\\Vendor\\App", u"HKLM\\Software\\Two Words\\a\"b",
                               u"HKLM\\Software\\Wow6432Node\\Vendor", u"HKCU\\Software\\Vendor"})
    machine.registry.CreateKey(path);
  const std::size_t before = AllKeys(machine);
  const int status = simulated::FindBuiltIn(machine, u"C:\\Windows\\System32\\reg.exe")(machine, parameters);
  fuzz::Expect(status == 0 || status == 1, "reg returns 0 or 1");
  fuzz::Expect((AllKeys(machine) < before) == (status == 0), "reg deletes keys if and only if it succeeds");
  fuzz::Expect(machine.registry.Find(u"HKLM") && machine.registry.Find(u"HKCU"),
               "predefined keys are not deleted");
  fuzz::Outcome() = status == 0 ? "deleted " + std::to_string(before - AllKeys(machine)) : "nothing";
}

Machine& MachineWithPrograms() {
  Machine& machine = UseMachine(std::make_unique<Machine>());
  for (const char16_t* path : {u"C:\\Program.exe", u"C:\\Two Words\\app.exe", u"setup.exe", u"bare"}) {
    simulated::Program program;
    program.run = [] { return 0; };
    machine.programs.Set(path, program);
  }
  return machine;
}

void CheckSearch(std::u16string line) {
  static Machine& machine = MachineWithPrograms();
  platform::STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  platform::PROCESS_INFORMATION process{};
  const bool isStarted = platform::CreateProcessW(nullptr, line.data(), nullptr, nullptr, false, 0, nullptr,
                                                  nullptr, &startup, &process);
  fuzz::Expect(isStarted == (process.hProcess != nullptr), "a started program has a handle");
  if (!isStarted) return;
  fuzz::Outcome() += ", started";
  platform::CloseHandle(process.hThread);
  platform::CloseHandle(process.hProcess);
  machine.programs.WaitForAll();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::u16string text = simulated::FromUtf8(std::string(data, data + size));
  CheckReg(text);
  CheckSearch(text);
  return 0;
}
