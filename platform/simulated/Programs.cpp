#include "simulated/Programs.h"

#include "simulated/Drives.h"
#include "simulated/Handles.h"

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
  const StartedProgram started{std::make_shared<Waitable>(Waitable{.kind = Waitable::Kind::Process}),
                               std::make_shared<Waitable>(Waitable{.kind = Waitable::Kind::Thread})};
  const std::lock_guard guard(lock_);
  starts_.push_back(std::move(start));
  threads_.emplace_back([run = program.run, started] {
    Handles& handles = Handles::Shared();
    handles.SetExitCode(*started.process, static_cast<platform::DWORD>(run()));
    handles.Signal(*started.thread);
    handles.Signal(*started.process);
  });
  return started;
}

std::vector<ProgramStart> Programs::Starts() const {
  const std::lock_guard guard(lock_);
  return starts_;
}

void Programs::WaitForAll() {
  while (true) {
    std::vector<std::thread> ending;
    {
      const std::lock_guard guard(lock_);
      ending.swap(threads_);
    }
    if (ending.empty()) return;
    for (std::thread& thread : ending) thread.join();
  }
}

}  // namespace simulated
