#include "LoadedLibrary.h"

#include <dlfcn.h>
#include <malloc.h>
#include <pthread.h>

#include <climits>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "simulated/directory/CurrentMachine.h"

namespace tests {
namespace {

std::size_t CountSlots() {
  std::vector<pthread_key_t> slots;
  for (pthread_key_t slot; pthread_key_create(&slot, nullptr) == 0;) slots.push_back(slot);
  for (const pthread_key_t slot : slots) pthread_key_delete(slot);
  return PTHREAD_KEYS_MAX - slots.size();
}

}  // namespace

LoadedLibrary::LoadedLibrary(const std::string& file) : handle(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL)) {
  if (!handle) throw std::runtime_error(dlerror());
}

LoadedLibrary::~LoadedLibrary() { dlclose(handle); }

void* LoadedLibrary::Find(const char* name) const {
  void* const found = dlsym(handle, name);
  if (!found) throw std::runtime_error(dlerror());
  return found;
}

bool LoadedLibrary::IsLoaded(const std::string& file) {
  void* const found = dlopen(file.c_str(), RTLD_NOW | RTLD_NOLOAD);
  if (found) dlclose(found);
  return found != nullptr;
}

ProcessFigures MeasureProcess() {
  // The thread of a program stays until it is joined. It belongs to the machine and not to the library.
  simulated::CurrentMachine().programs.WaitForAll();
  const std::filesystem::directory_iterator threads("/proc/self/task");
  std::size_t handles = 0;
  for (const auto kind : {simulated::Waitable::Kind::Event, simulated::Waitable::Kind::Process,
                          simulated::Waitable::Kind::Thread}) {
    handles += simulated::Handles::Shared().OpenCount(kind);
  }
  return {static_cast<std::size_t>(std::distance(begin(threads), end(threads))), handles, CountSlots(),
          mallinfo2().uordblks};
}

void PrepareLives() { simulated::CurrentMachine().clock.UseSimulatedTime(); }

ProcessFigures LeftByBareLives(std::size_t, bool) { return {}; }

}  // namespace tests
