#include "MachineFolder.h"

#include <stdlib.h>

#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

namespace simulated {

namespace fs = std::filesystem;

MachineFolder::MachineFolder() {
  auto name = (fs::temp_directory_path() / "kestrelbay-machine-XXXXXX").string();
  if (!mkdtemp(name.data())) throw std::runtime_error("no temporary folder");
  folder = name;
}

MachineFolder::~MachineFolder() {
  std::error_code ignored;
  fs::remove_all(folder, ignored);
}

void MachineFolder::Write(const std::string& path, std::string_view bytes) {
  fs::create_directories((folder / path).parent_path());
  std::ofstream(folder / path, std::ios::binary) << bytes;
}

void MachineFolder::WriteRegistry(const std::string& name, std::string_view statements) {
  Write("registry/" + name, std::string(kHeader) + std::string(statements));
}

std::unique_ptr<Machine> MachineFolder::Open(Changes changes) {
  warnings.clear();
  damages.clear();
  progress.clear();
  LoadObserver observer;
  observer.progress = [this](std::uint64_t done, std::uint64_t all) { progress.emplace_back(done, all); };
  observer.damage = [this](const std::string& line) { damages.push_back(line); };
  observer.warning = [this](const std::string& line) { warnings.push_back(line); };
  return OpenMachine(folder, changes, observer);
}

std::string MachineFolder::Refusal() {
  try {
    Open();
    return "";
  } catch (const MachineError& error) {
    return error.what();
  }
}

std::map<std::string, std::string> MachineFolder::Files() const {
  std::map<std::string, std::string> files;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(folder)) {
    std::ifstream file(entry.path(), std::ios::binary);
    const std::string path = fs::relative(entry.path(), folder).string();
    files[path] = entry.is_directory() ? "" : std::string(std::istreambuf_iterator<char>(file), {});
  }
  return files;
}

std::u16string TextOf(Machine& machine, std::u16string_view path, std::u16string_view name) {
  Key* const key = machine.registry.Find(path);
  ValueView value;
  if (!key || !key->FindValue(name, value)) return u"(none)";
  std::u16string text(value.bytes.size() / 2, u'\0');
  std::memcpy(text.data(), value.bytes.data(), text.size() * 2);
  return text;
}

}  // namespace simulated
