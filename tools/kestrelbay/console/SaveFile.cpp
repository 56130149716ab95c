#include "console/SaveFile.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <system_error>

#include "console/Failure.h"
#include "console/System.h"

namespace cli {
namespace {

namespace fs = std::filesystem;

fs::path FromUtf8(const std::string& text) { return fs::path(std::u8string(text.begin(), text.end())); }

/** @return false on failure, with errno set */
bool WriteBytes(std::FILE* file, std::string_view bytes) {
  if (!file) return false;
  const bool isWritten = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size();
  return std::fclose(file) == 0 && isWritten;
}

std::error_code LastError() { return {errno != 0 ? errno : EIO, std::generic_category()}; }

/** A name in the folder of `path` that no other run uses. */
fs::path PathBeside(const fs::path& path) {
  fs::path beside = path;
  beside += "." + std::to_string(std::random_device{}()) + ".part";
  return beside;
}

/** @param before  the file that is replaced; its mode is kept */
std::error_code Replace(const fs::path& path, const fs::file_status& before, std::string_view bytes) {
  const fs::path beside = PathBeside(path);
  const bool isKept = fs::exists(before);
  errno = 0;
  // Private until it is whole: the file that it replaces may be private.
  std::error_code error;
  if (!WriteBytes(CreateNewFile(beside, isKept), bytes)) error = LastError();
  if (!error && isKept) fs::permissions(beside, before.permissions(), error);
  if (!error) fs::rename(beside, path, error);
  std::error_code ignored;  // after a rename there is nothing to remove
  fs::remove(beside, ignored);
  return error;
}

std::error_code WriteDirectly(const fs::path& path, std::string_view bytes) {
  errno = 0;
  std::ofstream file(path, std::ios::binary);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  file.close();
  return file.fail() ? LastError() : std::error_code();
}

std::error_code Save(fs::path path, std::string_view bytes) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (fs::is_directory(status)) return std::make_error_code(std::errc::is_a_directory);
  if (fs::exists(status) && !fs::is_regular_file(status)) return WriteDirectly(path, bytes);
  error.clear();
  if (fs::exists(status)) path = fs::canonical(path, error);
  return error ? error : Replace(path, status, bytes);
}

std::string ToUtf8(const fs::path& path) {
  const std::u8string text = path.u8string();
  return {text.begin(), text.end()};
}

/** A link to nothing is more likely a mistake than a wish for a file there, or for a file in its place. */
void RefuseLinkToNothing(const std::string& name) {
  const fs::path path = FromUtf8(name);
  std::error_code error;
  if (!fs::is_symlink(fs::symlink_status(path, error)) || fs::exists(path, error)) return;
  throw Failure("cannot write " + name + ": it is a link to " + ToUtf8(fs::read_symlink(path, error)) +
                ", which does not exist; remove the link or name another file");
}

}  // namespace

void SaveFile(const std::string& path, std::string_view bytes) {
  RefuseLinkToNothing(path);
  const std::error_code error = Save(FromUtf8(path), bytes);
  if (error) throw Failure("cannot write " + path + ": " + error.message() + "; name another file");
}

std::string ReadWholeFile(const std::string& path) {
  constexpr std::size_t kMostBytes = std::size_t{128} << 20;
  errno = 0;
  std::ifstream file(FromUtf8(path), std::ios::binary);
  std::string bytes;
  // A pipe has no size, and a sparse file of any size is easy to send.
  for (std::array<char, 1 << 16> part{}; file && bytes.size() <= kMostBytes;) {
    file.read(part.data(), part.size());
    bytes.append(part.data(), static_cast<std::size_t>(file.gcount()));
  }
  if (bytes.size() > kMostBytes) throw Failure(path + ": larger than 128 MiB; name another file");
  if (file.bad() || !file.is_open())
    throw Failure(path + ": cannot be read: " + LastError().message() + "; name another file");
  return bytes;
}

bool IsDirectory(const std::string& path) {
  std::error_code error;
  return fs::is_directory(FromUtf8(path), error);
}

}  // namespace cli
