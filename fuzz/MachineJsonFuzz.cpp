/** machine.json: any bytes are taken or refused with one line that names the file. */
#include <string_view>

#include "Expect.h"
#include "simulated/directory/JsonShape.h"
#include "simulated/directory/MachineJson.h"

namespace {

// A folder that is nowhere: what an input names in it is missing.
const std::filesystem::path kFolder = "fuzzed.json:";

void CheckError(std::string_view what) {
  fuzz::Expect(what.starts_with("fuzzed.json:"), "an error names the file");
  fuzz::Expect(what.find('\n') == what.npos, "an error is one line");
  fuzz::Outcome() = what;
}

// Files that a capture names may be anywhere.
void CheckCapture(const simulated::MachineDescription& description) {
  if (!description.capture) return;
  try {
    simulated::CheckFiles(*description.capture, kFolder, simulated::RegistryFolder(kFolder));
  } catch (const simulated::MachineError&) {
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string name = "fuzzed.json";
  simulated::Machine machine;
  try {
    const auto description = simulated::ParseMachineJson({data, size}, name);
    CheckCapture(description);
    simulated::ApplyFacts(description, machine);
    simulated::ApplyDeniedRights(description, name, machine);
    simulated::SetPrograms(description.programs, kFolder, {name, description.lines}, machine, {});
    fuzz::Outcome() = "read";
  } catch (const simulated::MachineError& error) {
    CheckError(error.what());
  }
  return 0;
}
