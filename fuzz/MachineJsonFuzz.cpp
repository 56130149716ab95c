/** machine.json: any bytes are accepted, or refused with one line that names the file. */
#include <unistd.h>

#include <cstdlib>
#include <string_view>

#include "Expect.h"
#include "simulated/directory/JsonShape.h"
#include "simulated/directory/MachineJson.h"

namespace {

/** An empty folder, removed as soon as it is open: all files that an input names are missing. */
const simulated::Folder& EmptyFolder() {
  static const simulated::Folder folder = [] {
    char name[] = "/tmp/fuzzed-machine-XXXXXX";
    fuzz::Expect(mkdtemp(name) != nullptr, "a folder can be made");
    simulated::Folder made(name);
    rmdir(name);
    return made;
  }();
  return folder;
}

void CheckError(std::string_view what) {
  const bool isNamed = what.starts_with("fuzzed.json:") || what.starts_with(EmptyFolder().Path().c_str());
  fuzz::Expect(isNamed, "an error names the file");
  fuzz::Expect(what.find('\n') == what.npos, "an error is one line");
  // The folder has another name in each run.
  const std::string folder = EmptyFolder().Path().string();
  const bool isInFolder = what.starts_with(folder);
  fuzz::Outcome() =
      isInFolder ? "fuzzed-machine" + std::string(what.substr(folder.size())) : std::string(what);
}

void CheckCapture(const simulated::MachineDescription& description) {
  if (!description.capture) return;
  try {
    simulated::CheckFiles(*description.capture, EmptyFolder(), simulated::ChangeFolder(EmptyFolder()));
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
    simulated::SetPrograms(description.programs, EmptyFolder(), {name, description.lines}, machine, {});
    fuzz::Outcome() = "read";
  } catch (const simulated::MachineError& error) {
    CheckError(error.what());
  }
  return 0;
}
