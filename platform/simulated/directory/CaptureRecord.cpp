#include "simulated/directory/CaptureRecord.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "simulated/base/WholeFile.h"
#include "simulated/directory/CaptureFormat.h"

namespace simulated {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr std::string_view kCapturedPrefix = "captured-";
constexpr const char* kRemedy =
    "; copy the capture again, or remove \"capture\" from machine.json to use what there is";

[[noreturn]] void Fail(const fs::path& file, const std::string& what) {
  throw MachineError(file.string() + ": " + what + kRemedy);
}

std::string TextOrNone(const json& object, const char* name) {
  const auto found = object.find(name);
  return found != object.end() && found->is_string() ? found->get<std::string>() : "";
}

CapturedFile ReadFile(const JsonShape& shape, const json& value, const std::string& member) {
  CapturedFile file;
  file.bytes = shape.Number(shape.Object(value, member).value("bytes", json()), member + ".bytes");
  file.checksum = TextOrNone(value, "checksum");
  return file;
}

std::uint64_t SizeOf(const Folder& directory, const std::string& path) {
  const FileDescriptor file = directory.Open(path, O_PATH);
  struct stat status {};
  if (file && fstat(file.Get(), &status) == 0) return static_cast<std::uint64_t>(status.st_size);
  const std::string reason = errno == EXDEV ? "a link leads out of it" : std::strerror(errno);
  Fail(directory.PathOf(path), "missing from the capture (" + reason + ")");
}

void CheckFile(const CapturedFile& captured, const Folder& directory, const std::string& path) {
  const fs::path file = directory.PathOf(path);
  const std::uint64_t bytes = SizeOf(directory, path);
  if (bytes < captured.bytes) Fail(file, "cut off: it had " + std::to_string(captured.bytes) + " bytes");
  if (bytes > captured.bytes) Fail(file, "not as it was captured: it is longer");
  if (captured.checksum.empty()) return;
  const FileBytes contents = ReadWholeFile(directory, path);
  if (CaptureChecksum({reinterpret_cast<const char*>(contents.data.get()), contents.size}) !=
      captured.checksum)
    Fail(file, "not as it was captured: it was changed");
}

}  // namespace

CaptureRecord ReadCapture(const JsonShape& shape, const json& root) {
  const json& capture = shape.Object(root.at("capture"), "capture");
  const std::uint32_t format = shape.Number(capture.value("format", json()), "capture.format");
  if (format > kCaptureFormat) {
    shape.Fail("capture.format", "this capture is of format " + std::to_string(format) +
                                     ", and only formats up to " + std::to_string(kCaptureFormat) +
                                     " are known here; use the version of kestrelbay that made it");
  }
  if (TextOrNone(capture, "checksum") != ChecksumOfDescription(root))
    shape.Fail("capture", std::string("the file is not as it was captured") + kRemedy);
  CaptureRecord record;
  const json notes = capture.value("notes", json::array());
  for (const json& note : shape.Array(notes, "capture.notes"))
    record.notes.push_back(note.is_string() ? note.get<std::string>() : note.dump());
  const json files = capture.value("files", json());
  for (const auto& [path, file] : shape.Object(files, "capture.files").items()) {
    const std::string member = "capture.files." + path;
    if (!Folder::IsBelow(path)) shape.Fail(member, "must lie in the machine's directory; correct the path");
    // A second spelling of a path would have the file read again.
    if (fs::path(path).lexically_normal().string() != path)
      shape.Fail(member, "must be a path without \"./\" and \"//\"; correct the path");
    record.files[path] = ReadFile(shape, file, member);
  }
  return record;
}

bool IsCapturesFile(const fs::path& file) { return file.filename().string().starts_with(kCapturedPrefix); }

void CheckFiles(const CaptureRecord& record, const Folder& directory, const ChangeFolder& registry) {
  for (const auto& [path, captured] : record.files) CheckFile(captured, directory, path);
  for (const fs::path& file : registry.Files()) {
    if (!ChangeFolder::IsChange(file) && !record.files.contains(file.string()))
      Fail(directory.PathOf(file), "no part of the capture");
  }
}

}  // namespace simulated
