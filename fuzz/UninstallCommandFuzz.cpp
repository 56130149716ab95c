/** Uninstall commands: program and parameters together must be the whole command. */
#include <memory>
#include <string>

#include "Expect.h"
#include "base/SDKLog.h"
#include "lifecycle/AppUninstall.h"
#include "lifecycle/Jobs.h"
#include "simulated/base/WideText.h"
#include "simulated/directory/CurrentMachine.h"

namespace {

using kestrelbay::SDKLog;

constexpr char16_t kRoot[] = u"HKEY_LOCAL_MACHINE";

/** A machine whose root key is the entry of a job with a registry path. */
simulated::Machine& MachineWithEntry() {
  simulated::Machine& machine = simulated::UseMachine(std::make_unique<simulated::Machine>());
  machine.registry.SetText(kRoot, u"DisplayName", simulated::FromUtf8(kestrelbay::kGivenPathDisplayName));
  SDKLog::GetInstance().logCallback = [](const char*, std::int32_t, const char*) {};
  return machine;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static simulated::Machine& machine = MachineWithEntry();
  const std::u16string wide = simulated::FromUtf8(std::string(data, data + size));
  const std::u16string read = wide.substr(0, wide.find(u'\0'));
  machine.registry.SetText(kRoot, u"UninstallString", read);
  const auto target = kestrelbay::AppUninstall::GetInstance().GetUninstallPath("name", "path");
  // A value has at most 520 bytes with its terminator.
  const std::string command = read.size() < 260 ? simulated::ToUtf8(read) : "";
  fuzz::Outcome() = target.exePath + "|" + target.para;
  const std::size_t program = command.find(".exe");
  const std::size_t blank = program == command.npos ? command.npos : command.find(' ', program);
  fuzz::Expect(target.exePath == command.substr(0, blank), "the program ends at the first blank after .exe");
  fuzz::Expect(blank == command.npos ? target.para.empty() : target.exePath + ' ' + target.para == command,
               "the parameters are all the rest");
  fuzz::Expect(machine.OpenKeys() == 0, "no key stays open");
  return 0;
}
