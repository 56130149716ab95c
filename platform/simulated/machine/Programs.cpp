#include "simulated/machine/Programs.h"

#include <thread>

#include "simulated/base/Handles.h"
#include "simulated/machine/Drives.h"

namespace simulated {

Programs::~Programs() { WaitForAll(); }

void Programs::Set(std::u16string_view name, Program program) {
  const std::lock_guard guard(lock_);
  programs_.insert_or_assign(Drives::Normal(name), std::move(program));
}

std::optional<Program> Programs::Find(std::u16string_view path) const {
  const std::lock_guard guard(lock_);
  const auto found = programs_.find(Drives::Normal(path));
  if (found == programs_.end()) return std::nullopt;
  return found->second;
}

StartedProgram Programs::Run(const Program& program, ProgramStart start) {
  StartedProgram started{std::make_shared<Waitable>(Waitable{.kind = Waitable::Kind::Process}),
                         std::make_shared<Waitable>(Waitable{.kind = Waitable::Kind::Thread})};
  const std::lock_guard guard(lock_);
  std::thread([this, run = program.run, started]() mutable {
    Handles& handles = Handles::Shared();
    handles.SetExitCode(*started.process, static_cast<platform::DWORD>(run()));
    // Its captures may refer to objects of the test that waits for the signals below.
    run = nullptr;
    handles.Signal(*started.thread);
    handles.Signal(*started.process);
    Finish();
  }).detach();
  starts_.push_back(std::move(start));
  ++runningCount_;
  return started;
}

void Programs::Finish() {
  // Notifies under the lock, because the thread that waits for the last program may destroy this object.
  const std::lock_guard guard(lock_);
  --runningCount_;
  finished_.notify_all();
}

std::vector<ProgramStart> Programs::Starts() const {
  const std::lock_guard guard(lock_);
  return starts_;
}

std::size_t Programs::RunningCount() const {
  const std::lock_guard guard(lock_);
  return runningCount_;
}

void Programs::WaitForAll() const {
  std::unique_lock guard(lock_);
  finished_.wait(guard, [this] { return runningCount_ == 0; });
}

}  // namespace simulated
