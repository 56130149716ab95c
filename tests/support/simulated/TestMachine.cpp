#include "TestMachine.h"

#include <unistd.h>

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <stdexcept>

#include "platform/Constants.h"
#include "platform/Events.h"
#include "simulated/base/Handles.h"
#include "simulated/directory/CurrentMachine.h"
#include "simulated/port/InvalidParameter.h"
#include "simulated/regfile/RegFile.h"
#include "simulated/regfile/RegistryMerger.h"

namespace tests {
namespace {

namespace fs = std::filesystem;

simulated::View ViewOf(const KeyPath& key) {
  return key.view == View::Bits32 ? simulated::View::Bits32 : simulated::View::Native;
}

fs::path NewHostFolder() {
  auto name = (fs::temp_directory_path() / "kestrelbay-test-XXXXXX").string();
  if (!mkdtemp(name.data())) throw std::runtime_error("no temporary folder");
  return name;
}

}  // namespace

/** Events for which programs wait. They exist until all programs that may wait for them have ended. */
struct TestMachine::Signals {
  ~Signals() {
    for (const auto& [name, event] : events) platform::CloseHandle(event);
  }

  platform::HANDLE Find(const std::u16string& name) {
    const std::lock_guard guard(lock);
    auto& event = events[name];
    if (!event) event = platform::CreateEventW(nullptr, true, false, nullptr);
    return event;
  }

  std::mutex lock;
  std::map<std::u16string, platform::HANDLE> events;
};

struct TestMachine::State {
  State() {
    machine.drives.Mount(u'C', driveC);
    machine.CollectLogRecords();
  }
  ~State() {
    machine.programs.WaitForAll();
    simulated::UseMachine(std::make_unique<simulated::Machine>());
    std::error_code ignored;
    fs::remove_all(driveC, ignored);
  }

  /** @return the key in its view, or null */
  simulated::Key* Find(const KeyPath& key) {
    const auto end = std::min(key.path.find(u'\\'), key.path.size());
    simulated::Key* root = machine.registry.Find(key.path.substr(0, end));
    return root ? machine.registry.Find(*root, key.path.substr(end), ViewOf(key)) : nullptr;
  }

  /** @return the stored path of a key of a view, even if it does not exist */
  std::u16string StoredPath(const KeyPath& key) {
    const std::lock_guard guard(machine.registry.Lock());
    for (auto end = key.path.size(); end != std::u16string::npos; end = key.path.rfind(u'\\', end - 1)) {
      if (auto* above = Find({key.path.substr(0, end), key.view})) {
        return machine.registry.PathOf(*above) + key.path.substr(end);
      }
    }
    throw std::runtime_error("a path must begin with a predefined key's name");
  }

  /** @return the path on the host of a file of drive C */
  fs::path OnHost(std::u16string path) const {
    if (!path.starts_with(u"C:\\")) throw std::runtime_error("a file's path must begin with C:\\");
    std::replace(path.begin(), path.end(), u'\\', u'/');
    return driveC / path.substr(3);
  }

  fs::path driveC = NewHostFolder();
  int folders = 0;
  std::mutex marksMutex;
  std::condition_variable markLeft;
  simulated::Machine& machine = simulated::UseMachine(std::make_unique<simulated::Machine>());
};

TestMachine::TestMachine() : signals(std::make_unique<Signals>()), state(std::make_unique<State>()) {
  // Keys of every Windows: those where the 32-bit view begins, and the Software key of the user.
  for (const auto* path :
       {u"HKEY_LOCAL_MACHINE\\Software\\Wow6432Node", u"HKEY_LOCAL_MACHINE\\System",
        u"HKEY_LOCAL_MACHINE\\Software\\Classes\\Wow6432Node", u"HKEY_CURRENT_USER\\Software"}) {
    state->machine.registry.CreateKey(path);
  }
}

TestMachine::~TestMachine() = default;

void TestMachine::CreateKey(const KeyPath& key) {
  if (HasKey(key)) return;
  const auto path = state->StoredPath(key);
  state->machine.registry.CreateKey(path);
  // A new subkey writes the key above it, too.
  for (const auto& written : {path, path.substr(0, path.rfind(u'\\'))})
    state->machine.registry.SetLastWriteTime(written, state->machine.clock.Now());
}

void TestMachine::SetValue(const KeyPath& key, std::u16string_view name, platform::DWORD type,
                           std::span<const std::uint8_t> bytes) {
  const auto path = state->StoredPath(key);
  state->machine.registry.SetValue(path, name, type, bytes);
  state->machine.registry.SetLastWriteTime(path, state->machine.clock.Now());
}

bool TestMachine::DeleteKey(const KeyPath& key) {
  return HasKey(key) && state->machine.registry.RemoveKey(state->StoredPath(key));
}

void TestMachine::ImportReg(std::string_view regText) {
  simulated::RegistryMerger merger(state->machine.registry);
  simulated::ParseRegFile({reinterpret_cast<const std::uint8_t*>(regText.data()), regText.size()},
                          "import.reg", merger);
}

bool TestMachine::HasKey(const KeyPath& key) { return state->Find(key) != nullptr; }

std::vector<std::u16string> TestMachine::SubKeyNames(const KeyPath& key) {
  std::vector<std::u16string> names;
  auto* found = state->Find(key);
  for (std::size_t index = 0; found && index < found->SubKeyCount(); ++index) {
    names.emplace_back(found->SubKeyAt(index).Name());
  }
  return names;
}

std::uint64_t TestMachine::LastWriteTime(const KeyPath& key) {
  const auto* found = state->Find(key);
  if (!found) throw std::runtime_error("there is no such key");
  return found->lastWriteTime;
}

bool TestMachine::SetLastWriteTime(const KeyPath& key, std::uint64_t fileTime) {
  state->machine.registry.SetLastWriteTime(state->StoredPath(key), fileTime);
  return true;
}

void TestMachine::SetVariable(std::u16string_view name, std::u16string_view value) {
  state->machine.environment.Set(name, value);
}

bool IsInUse() { return false; }

std::u16string HiveOfTests() { return u"HKEY_USERS\\S-1-5-21-4000000000-4000000000-4000000000-1001"; }

platform::HANDLE TestMachine::MakeMutex(const std::u16string& name) {
  bool made = false;
  const auto mutex =
      simulated::Handles::Shared().OpenEvent({.kind = simulated::Waitable::Kind::Mutex, .name = name}, made);
  if (!mutex) throw std::runtime_error("no mutex");
  return mutex;
}

std::u16string TestMachine::Folder() {
  const auto number = std::to_string(++state->folders);
  const auto path = u"C:\\Temp\\Test " + std::u16string(number.begin(), number.end());
  fs::create_directories(state->OnHost(path));
  return path;
}

void TestMachine::MakeFile(const std::u16string& path, std::string_view contents) {
  const auto file = state->OnHost(path);
  fs::create_directories(file.parent_path());
  std::ofstream stream(file, std::ios::binary);
  stream << contents;
  if (!stream.flush()) throw std::runtime_error("a file cannot be made");
}

void TestMachine::MakeProgram(const std::u16string& path, const std::vector<ProgramStep>& steps,
                              int exitCode) {
  MakeFile(path, "");
  auto run = [this, steps, exitCode, mark = state->OnHost(path + u".ran")] {
    for (const ProgramStep& step : steps) Take(step);
    const std::lock_guard held(state->marksMutex);
    std::ofstream(mark).flush();
    state->markLeft.notify_all();
    return exitCode;
  };
  state->machine.programs.Set(path, {.run = run});
}

void TestMachine::Take(const ProgramStep& step) {
  auto& registry = state->machine.registry;
  switch (step.kind) {
    case ProgramStep::Kind::WaitForSignal: {
      const platform::HANDLE event = signals->Find(step.name);
      platform::WaitForMultipleObjects(1, &event, false, platform::INFINITE);
      return;
    }
    case ProgramStep::Kind::WaitForWatch:
      return registry.WaitForWatch(state->StoredPath(step.key));
    default:
      break;
  }
  const std::lock_guard guard(registry.Lock());
  if (step.kind == ProgramStep::Kind::CreateKey) CreateKey(step.key);
  if (step.kind == ProgramStep::Kind::DeleteKey) DeleteKey(step.key);
  if (step.kind == ProgramStep::Kind::SetText) SetText(step.key, step.name, step.text);
  if (step.kind == ProgramStep::Kind::DeleteValue)
    registry.RemoveValue(state->StoredPath(step.key), step.name);
}

void TestMachine::Signal(const std::u16string& name) { platform::SetEvent(signals->Find(name)); }

void TestMachine::WaitForProgram(const std::u16string& path) {
  std::unique_lock held(state->marksMutex);
  state->markLeft.wait(held, [&] { return ProgramRan(path); });
}

bool TestMachine::ProgramRan(const std::u16string& path) { return fs::exists(state->OnHost(path + u".ran")); }

std::u16string TestMachine::ParametersOf(const std::u16string& path) {
  std::u16string parameters;
  for (const auto& start : state->machine.programs.Starts()) {
    if (start.path == path) parameters = start.parameters;
  }
  return parameters;
}

std::u16string TestMachine::HostPath() { return state->machine.hostPath; }

std::u16string TestMachine::CurrentDirectory() { return state->machine.currentDirectory; }

void TestMachine::Enter(const std::u16string& folder) { state->machine.currentDirectory = folder; }

std::vector<LogRecord> TestMachine::LogRecords() {
  std::vector<LogRecord> records;
  for (const auto& record : state->machine.LogRecords()) {
    records.push_back({record.level, record.file, record.format});
  }
  return records;
}

void TestMachine::IgnoreInvalidParameters() { simulated::SetInvalidParameterHandler(nullptr); }

// A simulated shell shows nothing.
struct MessageCloser::State {};
MessageCloser::MessageCloser() = default;
MessageCloser::~MessageCloser() = default;

platform::DWORD ExitCodeOf(platform::HANDLE process) {
  return simulated::Handles::Shared().Find(process)->exitCode;
}

bool RunsOnWine() { return false; }

}  // namespace tests
