#include "support/OnMachine.h"

#include "platform/Constants.h"
#include "platform/Processes.h"

namespace kestrelbay {

bool StartPlainlyElevated(const std::u16string& file, const std::u16string& parameters,
                          platform::HANDLE& process) {
  platform::SHELLEXECUTEINFOW execute{};
  execute.cbSize = sizeof execute;
  execute.fMask = platform::SEE_MASK_NOCLOSEPROCESS;
  execute.lpVerb = u"runas";
  execute.lpFile = file.c_str();
  execute.lpParameters = parameters.c_str();
  const bool isStarted = platform::ShellExecuteExW(&execute) != 0;
  process = execute.hProcess;
  return isStarted;
}

OnMachine::OnMachine() : machine(simulated::UseMachine(std::make_unique<simulated::Machine>())) {
  machine.CollectLogRecords();
}

void OnMachine::SetTexts(const std::u16string& path, const Texts& values) {
  machine.registry.CreateKey(path);
  for (const auto& [name, text] : values) machine.registry.SetText(path, name, text);
}

void OnMachine::SetBytes(const std::u16string& path, std::u16string_view name, platform::DWORD type,
                         const std::vector<std::uint8_t>& bytes) {
  machine.registry.SetValue(path, name, type, bytes);
}

std::unique_ptr<RegistryKey> OnMachine::OpenMachineKey(const std::u16string& path) {
  return OpenKey(LocalMachineRoot(), path);
}

std::vector<std::string> OnMachine::CallsOf(const std::function<void()>& action) {
  machine.journal.Start();
  action();
  machine.journal.Stop();
  std::vector<std::string> calls;
  for (const simulated::JournalCall& call : machine.journal.Calls()) {
    calls.push_back(call.name + "(" + call.arguments + ") = " + call.result);
  }
  return calls;
}

}  // namespace kestrelbay
