/** machine.json: any bytes are taken or refused with one line that names the file. */
#include <string_view>

#include "Expect.h"
#include "simulated/MachineJson.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  simulated::Machine machine;
  try {
    const auto description = simulated::ParseMachineJson({data, size}, "fuzzed.json");
    simulated::ApplyFacts(description, machine);
    simulated::ApplyDeniedRights(description, "fuzzed.json", machine);
  } catch (const simulated::MachineError& error) {
    const std::string_view what = error.what();
    fuzz::Expect(what.starts_with("fuzzed.json:"), "an error names the file");
    fuzz::Expect(what.find('\n') == what.npos, "an error is one line");
  }
  return 0;
}
