#include "Surroundings.h"
#include "Text.h"
#include "simulated/directory/CurrentMachine.h"

namespace capture {

using simulated::CurrentMachine;
using simulated::Machine;

std::vector<std::pair<std::u16string, std::u16string>> EnvironmentVariables() {
  const auto variables = CurrentMachine().environment.All();
  return {variables.begin(), variables.end()};
}

std::u16string UserSid() { return CurrentMachine().registry.User(); }

std::optional<std::filesystem::path> FindMachineFile(std::u16string_view path) {
  auto place = CurrentMachine().drives.OnHost(path);
  std::error_code error;
  if (place && !std::filesystem::is_regular_file(*place, error)) place.reset();
  return place;
}

std::string ToAnsi(std::u16string_view text) { return ToUtf8(text); }

std::u16string FromAnsi(std::string_view text) { return ToWide(text); }

}  // namespace capture
