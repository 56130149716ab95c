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

platform::HANDLE Programs::Run(const Program& program, ProgramStart start) {
  auto process = std::make_shared<Waitable>(Waitable{.kind = Waitable::Kind::Process});
  const platform::HANDLE handle = Handles::Shared().Open(process);
  const std::lock_guard guard(lock_);
  starts_.push_back(std::move(start));
  threads_.emplace_back([run = program.run, process] {
    Handles::Shared().SetExitCode(*process, static_cast<platform::DWORD>(run()));
    Handles::Shared().Signal(*process);
  });
  return handle;
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
