/**
 * The folder in which the proof works. Its path is ASCII, as some tests pass paths as narrow text, and it can
 * be written to, which the folder of the kit may not allow.
 */
#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>

namespace proof {

/** The proof does not run on this machine, or in its state. */
class Refusal : public std::runtime_error {
  using runtime_error::runtime_error;
};

class WorkFolder {
 public:
  /**
   * Removes what an aborted run left, and makes the folder with a copy of the programs. From then on
   * temporary files of this process and its children are in the folder.
   * @throws Refusal
   */
  explicit WorkFolder(const std::filesystem::path& programs);
  /** Removes the folder, keys that tests left, and ends programs of the folder that still run. */
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
