/** Files of the host, read and written as a whole. */
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <span>

namespace simulated {

/** A file's bytes, aligned for any text. */
struct FileBytes {
  std::unique_ptr<std::uint8_t[]> data;
  std::size_t size = 0;
  std::span<const std::uint8_t> Span() const { return {data.get(), size}; }
};

/** @throws MachineError with one line that names the file, for a pipe or whatever else is no file as well */
FileBytes ReadWholeFile(const std::filesystem::path& file);

/** A file that is looked through where it lies. Nobody may cut it off meanwhile. */
class MappedFile {
 public:
  /** @throws MachineError as ReadWholeFile does */
  explicit MappedFile(const std::filesystem::path& file);
  ~MappedFile();
  MappedFile(const MappedFile&) = delete;
  MappedFile& operator=(const MappedFile&) = delete;
  std::span<const std::uint8_t> Span() const { return {static_cast<const std::uint8_t*>(begin_), size_}; }
  /** Has the whole file in memory at once, for those who look at most of it. */
  void FetchAll() const;

 private:
  void* begin_ = nullptr;
  std::size_t size_ = 0;
};

/**
 * Writes a file so that it is there whole or not at all, also after a power failure: when it answers 0, the
 * file lasts. A file of that name is replaced; on failure it is as before, or whole but not certain to last.
 * @param scratch  a name in the same folder that nothing else uses meanwhile
 * @return 0, or the errno of what failed
 */
int WriteWholeFile(const std::filesystem::path& file, const std::filesystem::path& scratch,
                   std::span<const std::uint8_t> bytes);

/** Makes a folder's entries last. @return 0 or an errno */
int SyncFolder(const std::filesystem::path& folder);

}  // namespace simulated
