#include "MachineCalls.h"
#include "Text.h"
#include "simulated/directory/CurrentMachine.h"
#include "simulated/port/Call.h"
#include "simulated/port/LockedKey.h"

namespace capture {

using simulated::CurrentMachine;
using simulated::Machine;

std::vector<std::pair<std::u16string, std::u16string>> EnvironmentVariables() {
  const auto variables = CurrentMachine().environment.All();
  return {variables.begin(), variables.end()};
}

std::u16string UserSid() { return CurrentMachine().registry.User(); }

std::u16string UserAccount() {
  const auto variable = [](std::u16string_view name) -> std::u16string {
    for (const auto& [spelling, value] : CurrentMachine().environment.All()) {
      if (AsciiUpper(spelling) == name) return value;
    }
    return {};
  };
  const std::u16string domain = variable(u"USERDOMAIN");
  return domain.empty() ? variable(u"USERNAME") : domain + u'\\' + variable(u"USERNAME");
}

std::optional<std::uint32_t> Session() { return std::nullopt; }

// Goes through Perform, so that a test can make this call fail as well.
platform::LSTATUS EnumerateValue(platform::HKEY key, platform::DWORD index, CapturedValue& value) {
  constexpr platform::DWORD kQueryValue = 0x1;
  Machine& machine = CurrentMachine();
  const auto read = [&]() -> platform::LSTATUS {
    const simulated::LockedKey owner(machine, key, kQueryValue);
    if (owner.Problem() != 0) return owner.Problem();
    if (index >= owner->ValueCount()) return platform::ERROR_NO_MORE_ITEMS;
    const simulated::ValueView found = owner->ValueAt(index);
    value.name = found.name;
    value.type = found.type;
    value.bytes.assign(found.bytes.begin(), found.bytes.end());
    return 0;
  };
  return simulated::Perform(
      &machine, "RegEnumValueW",
      simulated::Failure<platform::LSTATUS>{simulated::Status(simulated::kNoSystemResources)},
      [&](simulated::Arguments& arguments) { arguments.Key(machine, key).Number(index); }, read);
}

std::optional<std::filesystem::path> FindMachineFile(std::u16string_view path) {
  auto place = CurrentMachine().drives.OnHost(path);
  std::error_code error;
  if (place && !std::filesystem::is_regular_file(*place, error)) place.reset();
  return place;
}

std::string ToAnsi(std::u16string_view text) { return ToUtf8(text); }

std::u16string FromAnsi(std::string_view text) { return ToWide(text); }

}  // namespace capture
