#include "LoadedLibrary.h"

#include <windows.h>
// windows.h must come first.
#include <tlhelp32.h>

#include <cstdint>
#include <stdexcept>
#include <vector>

namespace tests {
namespace {

/** @return 0 if the system makes no snapshot */
std::size_t CountThreadsOnce() {
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry = {};
  entry.dwSize = sizeof entry;
  std::size_t count = 0;
  for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
    count += entry.th32OwnerProcessID == GetCurrentProcessId();
  }
  CloseHandle(snapshot);
  return count;
}

std::size_t CountThreads() {
  for (int attempt = 0; attempt < 100; ++attempt) {
    if (const std::size_t count = CountThreadsOnce()) return count;
    Sleep(10);
  }
  throw std::runtime_error("the system lists no threads of this process");
}

/** Wine does not report the number of handles, so this tries each value. */
std::size_t CountHandles() {
  constexpr std::uintptr_t kHighestTried = 0x10000;
  std::size_t count = 0;
  for (std::uintptr_t value = 4; value < kHighestTried; value += 4) {
    DWORD flags = 0;
    count += GetHandleInformation(reinterpret_cast<HANDLE>(value), &flags) != 0;
  }
  return count;
}

/** No function reports the slots in use, so this takes all free slots and releases them. */
std::size_t CountSlots() {
  std::vector<DWORD> slots;
  for (DWORD slot = TlsAlloc(); slot != TLS_OUT_OF_INDEXES; slot = TlsAlloc()) slots.push_back(slot);
  for (const DWORD slot : slots) TlsFree(slot);
  constexpr std::size_t kSlots = 1088;
  return kSlots - slots.size();
}

/** Wine does not report the memory in use, so this adds up the regions of the process. */
std::size_t CountMemoryBytes() {
  std::size_t bytes = 0;
  const char* address = nullptr;
  MEMORY_BASIC_INFORMATION region = {};
  while (VirtualQuery(address, &region, sizeof region) != 0) {
    if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE) bytes += region.RegionSize;
    address = static_cast<const char*>(region.BaseAddress) + region.RegionSize;
  }
  return bytes;
}

}  // namespace

LoadedLibrary::LoadedLibrary(const std::string& file) : handle(LoadLibraryA(file.c_str())) {
  if (!handle) throw std::runtime_error("the library does not load");
}

LoadedLibrary::~LoadedLibrary() { FreeLibrary(static_cast<HMODULE>(handle)); }

void* LoadedLibrary::Find(const char* name) const {
  const FARPROC found = GetProcAddress(static_cast<HMODULE>(handle), name);
  if (!found) throw std::runtime_error(std::string("the library does not export ") + name);
  return reinterpret_cast<void*>(found);
}

bool LoadedLibrary::IsLoaded(const std::string& file) { return GetModuleHandleA(file.c_str()) != nullptr; }

ProcessFigures MeasureProcess() { return {CountThreads(), CountHandles(), CountSlots(), CountMemoryBytes()}; }

// The library never releases the shell's list of large images. If the shell were unloaded with the library,
// it would create the list anew in each life: 9 MB under Wine.
void PrepareLives() {
  if (!LoadLibraryA("shell32.dll")) throw std::runtime_error("the shell does not load");
}

ProcessFigures LeftByBareLives(std::size_t lives, bool throws) {
  const auto live = [throws] {
    const LoadedLibrary library("kestrelbay-test-bare.dll");
    reinterpret_cast<int (*)()>(library.Find("UseRuntime"))();
    try {
      if (throws) reinterpret_cast<void (*)()>(library.Find("Throw"))();
    } catch (const std::exception&) {
      // Ended before the library is unloaded, as in a host.
    }
  };
  // The system keeps some objects from the first few lives.
  for (int life = 0; life < 5; ++life) live();
  const ProcessFigures before = MeasureProcess();
  for (std::size_t life = 0; life < lives; ++life) live();
  const ProcessFigures after = MeasureProcess();
  return {after.threads - before.threads, after.handles - before.handles, after.slots - before.slots,
          after.memoryBytes - before.memoryBytes};
}

}  // namespace tests
