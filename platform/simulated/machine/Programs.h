/**
 * The programs of a simulated machine: what an executable's path, or a bare name, does when it is started.
 *
 * An .exe file on a drive that no program is set for starts and ends at once with exit code 0. Safe for any
 * number of threads.
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
  /** What stood behind the program in the command line, or the shell's parameters. */
  std::u16string parameters;
  bool elevated = false;
};

struct Program {
  /** What it does, on a thread of its own; answers its exit code. */
  std::function<int()> run = [] { return 0; };
  /** False for one that the shell hands to a process that runs already: no handle comes of starting it. */
  bool givesHandle = true;
  /** True: the elevation prompt for this one is refused. */
  bool refusesElevation = false;
  /** True: it is there only while a file stands at its path. */
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
  /** Waits for the programs that still run. */
  ~Programs();
  Programs(const Programs&) = delete;
  Programs& operator=(const Programs&) = delete;

  /** @param name a whole path, or a bare name such as u"explorer.exe", in any case */
  void Set(std::u16string_view name, Program program);
  std::optional<Program> Find(std::u16string_view path) const;

  StartedProgram Run(const Program& program, ProgramStart start);
  /** What was started, in order. */
  std::vector<ProgramStart> Starts() const;
  std::size_t RunningCount() const;
  /** Waits until every program that was started has ended. */
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
