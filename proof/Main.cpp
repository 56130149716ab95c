/**
 * proof [--as-is] [--without-rights] [--only=STEP]...: runs the tests on this machine and writes proof.zip.
 *
 * --as-is           does not ask for administrator rights
 * --without-rights  leaves out tests that need them, even if the person has them
 * --only            runs only these steps
 *
 * Exit status: 0 no test failed, 1 a test failed or a step did not end, 2 the proof does not run here.
 */
#include <windows.h>
// windows.h must come first.
#include <shellapi.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <vector>

#include "MachineFacts.h"
#include "MachineInUse.h"
#include "Program.h"
#include "TestReport.h"
#include "WorkFolder.h"
#include "ZipFile.h"

namespace proof {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

enum class Kind { Tests, Timing, Command };

struct Step {
  const wchar_t* name;
  Kind kind;
  /** The program and its parameters. */
  const wchar_t* command;
};

constexpr Step kSteps[] = {
    {L"capture", Kind::Command, L"kestrelbay.exe capture ..\\capture --redact --answers"},
    {L"contract", Kind::Tests, L"contract.exe"},
    {L"conformance", Kind::Tests, L"conformance.exe --gtest_filter=-RandomInventory.*"},
    {L"random-registry", Kind::Tests, L"conformance.exe --gtest_filter=RandomInventory.*"},
    {L"jobs", Kind::Tests, L"conformance-jobs.exe"},
    {L"stop", Kind::Tests, L"conformance-stop.exe"},
    {L"guard", Kind::Tests, L"guard-of-used-machine.exe"},
    {L"load", Kind::Tests, L"load.exe"},
    // 0 adds no applications: the floor is measured with those of the machine.
    {L"scan-floor", Kind::Timing, L"scan-floor.exe 0 15"},
    {L"icon-floor", Kind::Timing, L"icon-floor.exe \"%SystemRoot%\\notepad.exe\" 50"},
};
constexpr std::chrono::minutes kLimit{15};

struct Options {
  bool asIs = false;
  bool withoutRights = false;
  bool pauses = false;
  std::vector<std::wstring> only;

  bool Runs(const Step& step) const { return only.empty() || std::ranges::count(only, step.name) > 0; }
};

std::string Utf8(std::wstring_view text) {
  const std::u8string utf8 = fs::path(text).u8string();
  return {utf8.begin(), utf8.end()};
}

void Say(const std::string& line) {
  std::fputs((line + "\n").c_str(), stdout);
  std::fflush(stdout);
}

fs::path OwnPath() {
  std::wstring path(32768, L'\0');
  path.resize(GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size())));
  return path;
}

void RequireStep(const std::wstring& name) {
  if (std::ranges::find(kSteps, name, &Step::name) == std::end(kSteps))
    throw Refusal("there is no step " + Utf8(name));
}

Options ReadOptions() {
  int count = 0;
  wchar_t** values = CommandLineToArgvW(GetCommandLineW(), &count);
  Options options;
  const std::wstring only = L"--only=";
  for (int at = 1; at < count; ++at) {
    const std::wstring value = values[at];
    if (value.starts_with(only)) {
      options.only.push_back(value.substr(only.size()));
      RequireStep(options.only.back());
    } else if (value == L"--as-is" || value == L"--without-rights" || value == L"--pause") {
      options.asIs = true;
      options.withoutRights |= value == L"--without-rights";
      options.pauses |= value == L"--pause";
    } else {
      throw Refusal("unknown option " + Utf8(value) +
                    "; usage: prove [--as-is] [--without-rights] [--only=STEP]...");
    }
  }
  LocalFree(values);
  return options;
}

/** Runs the proof once more with administrator rights. @return its exit code; none if the person refuses */
std::optional<int> RunElevated(const Options& options) {
  Say("Windows asks once for administrator rights. Without them some tests are left out.");
  const std::wstring path = OwnPath();
  std::wstring parameters = L"--pause";
  for (const std::wstring& step : options.only) parameters += L" --only=" + step;
  SHELLEXECUTEINFOW execute = {};
  execute.cbSize = sizeof execute;
  execute.fMask = SEE_MASK_NOCLOSEPROCESS;
  execute.lpVerb = L"runas";
  execute.lpFile = path.c_str();
  execute.lpParameters = parameters.c_str();
  execute.nShow = SW_SHOWNORMAL;
  if (!ShellExecuteExW(&execute) || !execute.hProcess) return std::nullopt;
  Say("The proof runs in the window that has opened.");
  WaitForSingleObject(execute.hProcess, INFINITE);
  DWORD exitCode = 2;
  GetExitCodeProcess(execute.hProcess, &exitCode);
  CloseHandle(execute.hProcess);
  return static_cast<int>(exitCode);
}

std::wstring Expanded(const wchar_t* text) {
  std::wstring expanded(32768, L'\0');
  expanded.resize(ExpandEnvironmentStringsW(text, expanded.data(), static_cast<DWORD>(expanded.size())) - 1);
  return expanded;
}

std::string ReadWhole(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

const char* NameOf(End end) {
  switch (end) {
    case End::Exited:
      return "exited";
    case End::TimedOut:
      return "timed out";
    case End::Stopped:
      return "stopped";
    case End::NotStarted:
      return "not started";
  }
  return "";
}

Json RunStep(const Step& step, const WorkFolder& work) {
  const std::wstring name = step.name;
  const fs::path report = work.Results() / (name + L".xml");
  const fs::path output = work.Results() / (name + L".txt");
  std::wstring command = work.Programs().wstring() + L"\\" + Expanded(step.command);
  if (step.kind == Kind::Tests) command += L" --gtest_output=xml:" + report.wstring();
  const Run run = Programs::RunToEnd(command, work.Programs(), output, kLimit);
  Json result = {{"name", Utf8(name)},
                 {"end", NameOf(run.end)},
                 {"exitCode", run.exitCode},
                 {"seconds", static_cast<double>(run.time.count()) / 1000}};
  bool isPassed = run.end == End::Exited && run.exitCode == 0;
  if (step.kind == Kind::Tests) {
    result.update(ReadReport(report));
    // A program also exits with a failure if it could not run a test. The step has not failed then.
    const bool isWhole = run.end == End::Exited && result["tests"] > 0;
    isPassed = isWhole && result["failed"].empty() && (run.exitCode == 0 || !result["notRun"].empty());
  }
  if (step.kind == Kind::Timing) result["timing"] = ReadWhole(output);
  result["passed"] = isPassed;
  return result;
}

std::string Summary(const Json& result) {
  std::string text = result["passed"] ? "passed" : "FAILED";
  if (result["end"] != "exited") text += ", " + result["end"].get<std::string>();
  if (result.contains("tests")) {
    text += ", " + result["tests"].dump() + " tests, " + std::to_string(result["failed"].size()) +
            " failed, " + std::to_string(result["notRun"].size()) + " not run";
  }
  return text + ", " + std::to_string(static_cast<int>(result["seconds"].get<double>())) + " s";
}

Json RunSteps(const Options& options, const WorkFolder& work) {
  Json results = Json::array();
  const auto count = std::ranges::count_if(kSteps, [&](const Step& step) { return options.Runs(step); });
  for (const Step& step : kSteps) {
    if (!options.Runs(step)) continue;
    Say("[" + std::to_string(results.size() + 1) + "/" + std::to_string(count) + "] " + Utf8(step.name) +
        " ...");
    results.push_back(RunStep(step, work));
    if (Programs::IsStopped()) throw Refusal("stopped; all that the proof made is removed");
    Say("      " + Summary(results.back()));
  }
  return results;
}

/** Prints why tests did not run: each reason once, with the number of its tests. */
void SayWhatDidNotRun(const Json& results) {
  std::map<std::string, int> reasons;
  for (const Json& result : results) {
    if (!result.contains("notRun")) continue;
    for (const Json& test : result["notRun"]) ++reasons[test["reason"].get<std::string>()];
  }
  if (!reasons.empty()) Say("Not run on this machine:");
  for (const auto& [reason, count] : reasons) Say("  " + std::to_string(count) + " tests: " + reason);
}

std::string Now() {
  SYSTEMTIME time = {};
  GetSystemTime(&time);
  char text[sizeof "2026-01-01T00:00:00Z"];
  std::snprintf(text, sizeof text, "%04hu-%02hu-%02huT%02hu:%02hu:%02huZ", time.wYear, time.wMonth, time.wDay,
                time.wHour, time.wMinute, time.wSecond);
  return text;
}

/** @return proof.zip, or the first of proof-2.zip, proof-3.zip, ... that does not exist: none is replaced */
fs::path NewArchive(const fs::path& folder) {
  fs::path path = folder / "proof.zip";
  std::error_code failure;
  for (int number = 2; fs::exists(path, failure); ++number)
    path = folder / ("proof-" + std::to_string(number) + ".zip");
  return path;
}

/** Writes into the first folder that can be written to. @return the path of the archive */
fs::path WriteArchive(const Json& description, const WorkFolder& work) {
  std::vector<fs::path> folders = {OwnPath().parent_path().parent_path()};
  for (const wchar_t* variable : {L"%USERPROFILE%\\Desktop", L"%USERPROFILE%", L"%PUBLIC%"})
    folders.emplace_back(Expanded(variable));
  for (const fs::path& folder : folders) {
    try {
      const fs::path path = NewArchive(folder);
      ZipFile archive(path);
      archive.Add("proof.json", description.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
      archive.AddFolder("results", work.Results());
      if (fs::exists(work.Capture())) archive.AddFolder("capture", work.Capture());
      archive.Close();
      return path;
    } catch (const std::runtime_error&) {
      continue;
    }
  }
  throw Refusal("proof.zip cannot be written into any of your folders");
}

int Prove(const Options& options) {
  if (!options.asIs && !tests::IsElevated()) {
    if (const auto exitCode = RunElevated(options)) return *exitCode;
  }
  const HANDLE single = CreateMutexW(nullptr, FALSE, L"Global\\KestrelbayProof");
  if (!single || GetLastError() == ERROR_ALREADY_EXISTS) throw Refusal("the proof is running already");
  SetEnvironmentVariableW(L"KESTRELBAY_DISPOSABLE_MACHINE", nullptr);
  SetEnvironmentVariableW(L"KESTRELBAY_WITHOUT_RIGHTS", options.withoutRights ? L"1" : nullptr);
  Programs::CatchStop();
  const WorkFolder work(OwnPath().parent_path());
  { tests::TestMachine machine; }  // refuses a machine where a test's name is installed
  Json description = {{"format", 1}, {"version", KESTRELBAY_VERSION}, {"time", Now()}};
  description["machine"] = ReadMachineFacts();
  Say("Windows " + description["machine"]["windows"]["build"].dump() + ", code page " +
      description["machine"]["ansiCodePage"].dump() +
      (tests::IsElevated() ? ", with administrator rights" : ", without administrator rights"));
  const Json results = RunSteps(options, work);
  description["steps"] = results;
  SayWhatDidNotRun(results);
  Say("Written: " + Utf8(WriteArchive(description, work).wstring()));
  return std::ranges::all_of(results, [](const Json& result) { return result["passed"].get<bool>(); }) ? 0
                                                                                                       : 1;
}

}  // namespace
}  // namespace proof

int main() {
  proof::Options options;
  int status = 2;
  try {
    options = proof::ReadOptions();
    status = proof::Prove(options);
  } catch (const std::exception& error) {
    proof::Say(std::string("proof: ") + error.what());
  }
  // After a stop the handler may still run, and removing it would wait for its end.
  if (options.pauses && !proof::Programs::IsStopped()) {
    proof::Programs::ReleaseStop();
    proof::Say("Press Enter to close this window.");
    std::getchar();
  }
  return status;
}
