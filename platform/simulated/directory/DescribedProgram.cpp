#include "simulated/directory/DescribedProgram.h"

#include <chrono>
#include <map>
#include <memory>
#include <thread>

#include "simulated/base/WholeFile.h"
#include "simulated/base/WideText.h"
#include "simulated/directory/JsonShape.h"
#include "simulated/machine/KeptChanges.h"
#include "simulated/machine/Machine.h"
#include "simulated/regfile/RegFile.h"

namespace simulated {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

/** Exit code of a program that could not do its work. */
constexpr int kFailedExitCode = 1;
constexpr std::chrono::milliseconds kBetweenLooks(10);

std::vector<std::u16string> ReadPaths(const JsonShape& shape, const json& value, const std::string& member) {
  std::vector<std::u16string> paths;
  for (const json& path : shape.Array(value, member))
    paths.push_back(shape.Text(path, Element(member, paths.size())));
  return paths;
}

ProgramStep ReadStep(const JsonShape& shape, const json& value, const std::string& member) {
  ProgramStep step;
  for (const auto& [name, part] : shape.Object(value, member).items()) {
    const std::string place = member + "." + name;
    if (name == "waitMs") {
      step.waitMs = shape.Number(part, place);
    } else if (name == "waitsForWatch") {
      step.waitsForWatch = shape.Text(part, place);
    } else if (name == "waitsForFile") {
      step.waitsForFile = shape.Text(part, place);
    } else if (name == "merges") {
      step.merges = ToUtf8(shape.Text(part, place));
    } else if (name == "adds") {
      step.files.adds = ReadPaths(shape, part, place);
    } else if (name == "removes") {
      step.files.removes = ReadPaths(shape, part, place);
    } else {
      shape.Fail(place, "unknown; a step has waitMs, waitsForWatch, waitsForFile, merges, adds and removes");
    }
  }
  return step;
}

bool ReadRefusal(const JsonShape& shape, const json& value, const std::string& member) {
  if (value != "granted" && value != "refused")
    shape.Fail(member, "must be \"granted\" or \"refused\"; correct it");
  return value == "refused";
}

ProgramDescription ReadProgram(const JsonShape& shape, const json& value, const std::string& member) {
  ProgramDescription program;
  for (const auto& [name, part] : shape.Object(value, member).items()) {
    const std::string place = member + "." + name;
    if (name == "steps") {
      for (const json& step : shape.Array(part, place))
        program.steps.push_back(ReadStep(shape, step, Element(place, program.steps.size())));
    } else if (name == "exitCode") {
      program.exitCode = shape.Number(part, place);
    } else if (name == "elevation") {
      program.refusesElevation = ReadRefusal(shape, part, place);
    } else if (name == "givesHandle") {
      program.givesHandle = shape.Flag(part, place);
    } else {
      shape.Fail(place, "unknown; a program has steps, exitCode, elevation and givesHandle");
    }
  }
  return program;
}

/** A file that steps merge. */
struct RegistrationFile {
  std::string name;
  FileBytes bytes;
};

/** A step with its registration file in memory; null if it merges none. */
struct LoadedStep {
  ProgramStep step;
  std::shared_ptr<const RegistrationFile> merged;
};

/** Drops the changes of a file: reading them reports its mistakes when the machine is opened. */
class ValidatingSink : public RegFileSink {
 public:
  explicit ValidatingSink(const Warning& warning) : warning_(warning) {}
  void OpenKey(std::u16string_view, std::optional<std::uint64_t>) override {}
  void DeleteKey(std::u16string_view) override {}
  void SetValue(std::u16string_view, platform::DWORD, std::span<const std::uint8_t>) override {}
  void DeleteValue(std::u16string_view) override {}
  void LeaveOut(const std::string& line) override {
    if (warning_) warning_(line);
  }

 private:
  const Warning& warning_;
};

/** Reads each registration file once, so that many steps with one large file do not fill the memory. */
class StepLoader {
 public:
  StepLoader(const Folder& directory, const JsonShape& shape, const Warning& warning)
      : directory_(directory), shape_(shape), warning_(warning) {}

  LoadedStep Load(const ProgramStep& step, const std::string& member) {
    if (step.merges.empty()) return {step, nullptr};
    const fs::path file = fs::path(step.merges).lexically_normal();
    if (!Folder::IsBelow(file))
      shape_.Fail(member + ".merges", "must lie in the machine's directory; correct the path");
    auto& merged = files_[file];
    if (!merged) merged = Read(file);
    return {step, merged};
  }

 private:
  std::shared_ptr<const RegistrationFile> Read(const fs::path& file) const {
    auto read = std::make_shared<const RegistrationFile>(
        RegistrationFile{directory_.PathOf(file).string(), ReadWholeFile(directory_, file)});
    ValidatingSink checker(warning_);
    ParseRegFile(read->bytes.Span(), read->name, checker);
    return read;
  }

  const Folder& directory_;
  const JsonShape& shape_;
  const Warning& warning_;
  std::map<fs::path, std::shared_ptr<const RegistrationFile>> files_;
};

void Wait(Machine& machine, const ProgramStep& step) {
  if (step.waitMs > 0) machine.clock.Sleep(step.waitMs);
  if (!step.waitsForWatch.empty()) machine.registry.WaitForWatch(step.waitsForWatch);
  // Another process may make the file, so this waits by the host's clock and not by the machine's.
  while (!step.waitsForFile.empty() && !machine.drives.Exists(step.waitsForFile))
    std::this_thread::sleep_for(kBetweenLooks);
}

/** @return false if the step's changes could not be made; then none of them is made */
bool Take(Machine& machine, const LoadedStep& loaded) {
  Wait(machine, loaded.step);
  KeptMerger merger(machine);
  if (loaded.merged) ParseRegFile(loaded.merged->bytes.Span(), loaded.merged->name, merger);
  return merger.Commit(loaded.step.files) == 0;
}

}  // namespace

ProgramDescriptions ReadPrograms(const JsonShape& shape, const json& value) {
  ProgramDescriptions programs;
  for (const auto& [path, program] : shape.Object(value, "programs").items()) {
    if (path.empty()) shape.Fail("programs", "a program has no name; name it by its path");
    programs[FromUtf8(path)] = ReadProgram(shape, program, "programs." + path);
  }
  return programs;
}

void SetPrograms(const ProgramDescriptions& programs, const Folder& directory, const JsonShape& shape,
                 Machine& machine, const Warning& warning) {
  StepLoader loader(directory, shape, warning);
  for (const auto& [path, description] : programs) {
    const std::string member = "programs." + ToUtf8(path) + ".steps";
    auto steps = std::make_shared<std::vector<LoadedStep>>();
    for (const ProgramStep& step : description.steps)
      steps->push_back(loader.Load(step, Element(member, steps->size())));
    Program program;
    program.run = [&machine, steps, exitCode = static_cast<int>(description.exitCode)] {
      for (const LoadedStep& step : *steps)
        if (!Take(machine, step)) return kFailedExitCode;
      return exitCode;
    };
    program.givesHandle = description.givesHandle;
    program.refusesElevation = description.refusesElevation;
    program.needsFile = path.find_first_of(u"\\/:") != path.npos;
    machine.programs.Set(path, std::move(program));
  }
}

}  // namespace simulated
