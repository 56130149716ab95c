/**
 * The folder in which the proof works. Its path is ASCII, because some tests pass paths as narrow text. The
 * folder of the kit would not do: it may be read-only.
 */
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace proof {

/** The proof does not run on this machine, or not in the machine's present state. */
class Refusal : public std::runtime_error {
  using runtime_error::runtime_error;
};

class WorkFolder {
 public:
  /**
   * Removes what an aborted run left. Makes the folder with a copy of the programs. Also makes it the place
   * of temporary files of this process and its children.
   * @throws Refusal
   */
  explicit WorkFolder(const std::filesystem::path& programs);
  /** Ends programs of the folder that still run. Removes the folder, and the keys that tests left. */
  ~WorkFolder();
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;

  std::filesystem::path Programs() const { return path_ / "bin"; }
  std::filesystem::path Results() const { return path_ / "results"; }
  std::filesystem::path Capture() const { return path_ / "capture"; }

 private:
  void Clear() const;

  const std::filesystem::path path_;
};

}  // namespace proof
