/**
 * The programs of a simulated machine, by the path of their executable or by a bare name.
 *
 * An .exe file of a drive without a program here runs as well: it ends at once with exit code 0. Thread-safe.
 */
#pragma once

#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Types.h"

namespace simulated {

struct Waitable;

/** One start of a program. */
struct ProgramStart {
  std::u16string path;
  /** The command line without the program, or the parameters given to the shell. */
  std::u16string parameters;
  bool elevated = false;
};

struct Program {
  /** Runs on a new thread. Returns the exit code. */
  std::function<int()> run = [] { return 0; };
  /** False if the shell gives the start to a running process, so that the caller gets no handle. */
  bool givesHandle = true;
  /** True if the user refuses the elevation prompt for this program. */
  bool refusesElevation = false;
  /** True if the program exists only while a file exists at its path. */
  bool needsFile = false;
};

/** A process and its first thread, both signalled when the program has ended. */
struct StartedProgram {
  std::shared_ptr<Waitable> process;
  std::shared_ptr<Waitable> thread;
};

class Programs {
 public:
  Programs() = default;
  /** Blocks until every started program has ended. */
  ~Programs();
  Programs(const Programs&) = delete;
  Programs& operator=(const Programs&) = delete;

  /** @param name  a whole path, or a bare name such as u"explorer.exe"; case-insensitive */
  void Set(std::u16string_view name, Program program);
  std::optional<Program> Find(std::u16string_view path) const;

  StartedProgram Run(const Program& program, ProgramStart start);
  /** All starts, in order. */
  std::vector<ProgramStart> Starts() const;
  std::size_t RunningCount() const;
  /** Blocks until every started program has ended. */
  void WaitForAll() const;

 private:
  void Finish();

  mutable std::mutex lock_;
  mutable std::condition_variable finished_;
  std::map<std::u16string, Program> programs_;
  std::vector<ProgramStart> starts_;
  std::size_t runningCount_ = 0;
};

}  // namespace simulated
