#include "console/SaveFile.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <system_error>

#include "console/Failure.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

fs::path FromUtf8(const std::string& text) { return fs::path(std::u8string(text.begin(), text.end())); }

/** Whether all was written; errno says why not. */
bool WriteBytes(const fs::path& path, std::string_view bytes) {
  errno = 0;
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  return !file.fail();
}

std::error_code LastError() { return {errno != 0 ? errno : EIO, std::generic_category()}; }

/** A name beside `path` that no other run uses. */
fs::path PathBeside(const fs::path& path) {
  fs::path beside = path;
  beside += "." + std::to_string(std::random_device{}()) + ".part";
  return beside;
}

std::error_code Replace(const fs::path& path, std::string_view bytes) {
  const fs::path beside = PathBeside(path);
  std::error_code error;
  if (!WriteBytes(beside, bytes)) {
    error = LastError();
  } else {
    fs::rename(beside, path, error);
  }
  std::error_code ignored;  // after a rename there is nothing to remove
  fs::remove(beside, ignored);
  return error;
}

std::error_code Save(fs::path path, std::string_view bytes) {
  std::error_code ignored;
  const fs::file_status status = fs::status(path, ignored);
  if (fs::is_directory(status)) return std::make_error_code(std::errc::is_a_directory);
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    return WriteBytes(path, bytes) ? std::error_code() : LastError();
  }
  // A link stays one: the file that it names is replaced.
  std::error_code error;
  if (fs::exists(status)) path = fs::canonical(path, error);
  return error ? error : Replace(path, bytes);
}

}  // namespace

void SaveFile(const std::string& path, std::string_view bytes) {
  const std::error_code error = Save(FromUtf8(path), bytes);
  if (error) throw Failure("cannot write " + path + ": " + error.message() + "; name another file");
}

std::string ReadWholeFile(const std::string& path) {
  errno = 0;
  std::ifstream file(FromUtf8(path), std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(file), {}};
  if (file.fail()) throw Failure(path + ": cannot be read: " + LastError().message() + "; name another file");
  return bytes;
}

bool IsDirectory(const std::string& path) {
  std::error_code error;
  return fs::is_directory(FromUtf8(path), error);
}

}  // namespace cli
