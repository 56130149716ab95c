#include "CaptureWriter.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <random>
#include <system_error>

#include "Text.h"
#include "simulated/directory/CaptureFormat.h"
#include "simulated/regfile/RegFileWriter.h"

namespace capture {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

fs::path FromUtf8(std::string_view text) { return fs::path(std::u8string(text.begin(), text.end())); }

[[noreturn]] void Fail(const fs::path& place, const std::string& what) {
  const std::u8string name = place.u8string();
  throw CaptureError(std::string(name.begin(), name.end()) + ": " + what);
}

/**
 * A folder beside the target, which takes the target's place when it is complete. It gets the permissions of
 * an existing target, so that no other user gains access.
 */
class Scratch {
 public:
  explicit Scratch(const fs::path& target) : target_(target), path_(target) {
    path_ += "." + std::to_string(std::random_device{}()) + ".part";
    std::error_code error;
    const fs::file_status before = fs::status(target, error);
    if (!fs::create_directory(path_, error)) Fail(error);
    if (!fs::is_directory(before)) return;
    mode_ = before.permissions();
    fs::permissions(path_, fs::perms::owner_all, error);
    if (error) Fail(error);
  }
  ~Scratch() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  const fs::path& Path() const { return path_; }

  void TakePlace() {
    std::error_code error;
    std::error_code ignored;
    if (mode_) fs::permissions(path_, *mode_, error);
    if (!error) fs::rename(path_, target_, error);
    // Windows renames no folder over another one, so the empty target is removed first.
    if (error && fs::is_directory(target_, ignored) && fs::remove(target_, ignored)) {
      fs::rename(path_, target_, error);
      if (error) fs::create_directory(target_, ignored);
    }
    if (error) Fail(error);
  }

 private:
  [[noreturn]] void Fail(std::error_code error) const {
    capture::Fail(target_, "cannot be created (" + error.message() + "); name another folder");
  }

  const fs::path target_;
  fs::path path_;
  std::optional<fs::perms> mode_;
};

class Writer {
 public:
  Writer(CapturedMachine& machine, const fs::path& folder) : machine_(machine), folder_(folder) {}

  CaptureSummary Run(const CaptureInfo& info) {
    WriteRegistry("captured-machine.reg", u"HKEY_LOCAL_MACHINE");
    WriteRegistry("captured-users.reg", u"HKEY_USERS");
    for (const CapturedFile& file : machine_.files) WriteDriveFile(file);
    WriteDescription(info);
    for (const CapturedNote& note : machine_.notes) summary_.notes.push_back(note.Line());
    return summary_;
  }

 private:
  void WriteRegistry(const std::string& name, std::u16string_view root);
  void WriteDriveFile(const CapturedFile& file);
  void WriteDescription(const CaptureInfo& info);
  Json Describe() const;
  Json DeniedAccess() const;
  bool Write(const std::string& name, std::string_view bytes);

  CapturedMachine& machine_;
  const fs::path folder_;
  Json files_ = Json::object();
  CaptureSummary summary_;
};

/** @return false on failure, with errno set; the caller may continue with other files */
bool Writer::Write(const std::string& name, std::string_view bytes) {
  const fs::path path = folder_ / FromUtf8(name);
  std::error_code error;
  fs::create_directories(path.parent_path(), error);
  errno = error.default_error_condition().value();
  if (error) return false;
  std::ofstream file(path, std::ios::binary);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  if (file.fail()) return false;
  summary_.bytes += bytes.size();
  return true;
}

[[noreturn]] void FailToWrite(const std::string& name) {
  const std::error_code error(errno != 0 ? errno : EIO, std::generic_category());
  throw CaptureError("cannot write " + name + " of the capture: " + error.message() +
                     "; name another folder");
}

/** Whether a file cannot be written because of its name; other files can be. */
bool IsErrorOfName(int error) {
  constexpr int kErrors[] = {ENAMETOOLONG, EINVAL, EILSEQ, ENOENT, ENOTDIR, EISDIR};
  return std::ranges::find(kErrors, error) != std::end(kErrors);
}

void Writer::WriteRegistry(const std::string& name, std::u16string_view root) {
  simulated::RegFileWriter writer;
  for (const CapturedKey& key : machine_.keys) {
    if (!std::u16string_view(key.path).starts_with(root)) continue;
    writer.OpenKey(key.path, key.lastWriteTime == 0 ? std::nullopt : std::optional(key.lastWriteTime));
    for (const CapturedValue& value : key.values) writer.SetValue(value.name, value.type, value.bytes);
    ++summary_.keys;
  }
  const std::span<const std::uint8_t> bytes = writer.Bytes();
  const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  const std::string path = "registry/" + name;
  if (!Write(path, text)) FailToWrite(path);
  files_[path] = {{"bytes", text.size()}, {"checksum", simulated::CaptureChecksum(text)}};
}

void Writer::WriteDriveFile(const CapturedFile& file) {
  std::string path = ToUtf8(file.path);
  std::replace(path.begin(), path.end(), '\\', '/');
  const std::string name = std::string("drives/") + path[0] + path.substr(2);
  if (Write(name, file.bytes)) {
    files_[name] = {{"bytes", file.bytes.size()}, {"checksum", simulated::CaptureChecksum(file.bytes)}};
    ++summary_.files;
  } else if (!IsErrorOfName(errno)) {
    FailToWrite(name);
  } else {
    // The name is not allowed on this system, or the path is too long.
    machine_.notes.push_back({file.path, u"icon file not captured: its name cannot be written here"});
  }
}

Json TextOrNull(const std::optional<std::u16string>& text) { return text ? Json(ToUtf8(*text)) : Json(); }

Json DescribeApp(const std::optional<CapturedApp>& app) {
  if (!app) return nullptr;
  Json item = Json::object();
  if (app->name) item["name"] = ToUtf8(*app->name);
  if (app->id) item["id"] = ToUtf8(*app->id);
  return item;
}

Json Writer::DeniedAccess() const {
  Json denied = Json::object();
  for (const CapturedKey& key : machine_.keys) {
    const std::string path = ToUtf8(key.path);
    // JSON cannot contain a lone surrogate.
    if (key.isDenied && ToWide(path) == key.path) denied[path] = Json::array({"KEY_READ"});
  }
  return denied;
}

Json Writer::Describe() const {
  Json description = {{"registryOrder", "as listed"}};
  if (!machine_.userSid.empty()) description["user"]["sid"] = ToUtf8(machine_.userSid);
  const std::u16string userName = machine_.Variable(u"USERNAME");
  if (!userName.empty()) description["user"]["name"] = ToUtf8(userName);
  Json& environment = description["environment"] = Json::object();
  for (const auto& [name, value] : machine_.environment) environment[ToUtf8(name)] = ToUtf8(value);
  if (!machine_.hostPath.empty()) description["hostPath"] = ToUtf8(machine_.hostPath);
  if (!machine_.currentDirectory.empty()) description["currentDirectory"] = ToUtf8(machine_.currentDirectory);
  Json& disks = description["disks"] = Json::object();
  for (const auto& [letter, disk] : machine_.disks)
    disks[std::string(1, letter)] = {{"freeBytes", disk.freeBytes}, {"sizeBytes", disk.sizeBytes}};
  Json& adapters = description["graphicsAdapters"] = Json::array();
  for (const auto& adapter : machine_.graphicsAdapters) adapters.push_back(TextOrNull(adapter));
  Json& apps = description["appsFolder"] = machine_.hasAppsFolder ? Json::array() : Json();
  for (const auto& app : machine_.apps) apps.push_back(DescribeApp(app));
  description["deniedAccess"] = DeniedAccess();
  return description;
}

void Writer::WriteDescription(const CaptureInfo& info) {
  Json notes = Json::array();
  for (const CapturedNote& note : machine_.notes) notes.push_back(ToUtf8(note.Line()));
  Json root = {{"capture",
                {{"format", simulated::kCaptureFormat},
                 {"program", info.program},
                 {"time", info.time},
                 {"account", ToUtf8(machine_.account)},
                 {"session", machine_.session ? Json(*machine_.session) : Json()},
                 {"redacted", info.isRedacted},
                 {"notes", notes},
                 {"files", files_}}}};
  root.update(Describe());
  root["capture"]["checksum"] = simulated::ChecksumOfDescription(nlohmann::json::parse(root.dump()));
  if (!Write("machine.json", root.dump(2) + "\n")) FailToWrite("machine.json");
}

fs::path TargetPath(const std::string& directory) {
  fs::path path = fs::absolute(FromUtf8(directory)).lexically_normal();
  if (!path.has_filename()) path = path.parent_path();
  // A link to a folder stays: the folder itself is replaced.
  std::error_code error;
  const fs::path real = fs::canonical(path, error);
  return !error && fs::is_symlink(path, error) ? real : path;
}

}  // namespace

void CheckTarget(const std::string& directory) {
  const fs::path target = TargetPath(directory);
  std::error_code error;
  const fs::file_status status = fs::status(target, error);
  if (!fs::exists(status)) {
    if (fs::is_symlink(fs::symlink_status(target, error)))
      Fail(target, "a link to a folder that does not exist; remove the link or name another folder");
    return;
  }
  if (!fs::is_directory(status)) Fail(target, "not a folder; name a folder that does not exist yet");
  if (!fs::is_empty(target, error))
    Fail(target, "not an empty folder; name a folder that does not exist yet");
}

CaptureSummary WriteCapture(CapturedMachine machine, const CaptureInfo& info, const std::string& directory) {
  CheckTarget(directory);
  Scratch scratch(TargetPath(directory));
  CaptureSummary summary = Writer(machine, scratch.Path()).Run(info);
  scratch.TakePlace();
  return summary;
}

}  // namespace capture
