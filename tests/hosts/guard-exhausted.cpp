/*
 * KestrelbayGuard reports lack of memory, and a thread that cannot be started, as a status on Windows too.
 * guard-exhausted READY GO: creates the file READY, and continues when GO exists. Between the two, its runner
 * limits the memory of the process to the memory that it has.
 */
#include <KestrelbayGuard.h>
#include <windows.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string>
#include <utility>

namespace {

/** Does not use the runtime's buffers, because they need memory. */
void Print(const char* text) {
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_OUTPUT_HANDLE), text, static_cast<DWORD>(std::strlen(text)), &written, nullptr);
}

#define CHECK(condition)        \
  do {                          \
    if (!(condition)) {         \
      Print(#condition "\r\n"); \
      return 1;                 \
    }                           \
  } while (0)

constexpr std::size_t kTextChars = 16 * 1024 * 1024;

GuardInstallJob install{};
GuardUninstallJob uninstall{};

/** Passes a text for whose copy there is no memory. */
int LongTextsFail(const char* text) {
  char unchanged = 0;
  char* output = &unchanged;
  CHECK(GuardEncrypt(text, &output) == GUARD_NO_MEMORY && !output);
  CHECK(GuardStartAnyExe(text, "") == GUARD_NO_MEMORY);
  CHECK(GuardStartApp(text, "") == GUARD_NO_MEMORY);
  return 0;
}

/** Takes the free address space, so that there is none for the stack of a thread. */
void TakeAddressSpace() {
  constexpr std::size_t kMostBytes = std::size_t{1} << 30, kGranularityBytes = 64 * 1024;
  for (std::size_t bytes = kMostBytes; bytes >= kGranularityBytes; bytes /= 2) {
    while (VirtualAlloc(nullptr, bytes, MEM_RESERVE, PAGE_NOACCESS)) {
    }
  }
}

int ThreadsFail() {
  CHECK(GuardGetInstalledAppListAsync([](InstalledAppEntry*, std::int32_t) {}, false) == GUARD_NO_THREAD);
  CHECK(GuardGetAppIconAsync([](char*) {}, "Nobody has this") == GUARD_NO_THREAD);
  CHECK(GuardStartAnyExeAsync("C:\\program.exe", "") == GUARD_NO_THREAD);
  CHECK(GuardStartInstall(&install) == GUARD_NO_THREAD && !install.finished);
  CHECK(GuardStartUninstall(&uninstall) == GUARD_NO_THREAD && !uninstall.finished);
  return 0;
}

struct Block {
  Block* next;
};

/** Takes the heap too. */
class TakenHeap {
 public:
  TakenHeap() {
    constexpr int kHoles = 200;
    constexpr std::size_t kHoleBytes = 96;
    for (int i = 0; i < kHoles; ++i) Take(holes_, kHoleBytes);
    for (const std::size_t bytes : {4096U, 512U})
      while (Take(large_, bytes)) {
      }
    for (const std::size_t bytes : {64U, 24U})
      while (Take(small_, bytes)) {
      }
  }
  ~TakenHeap() {
    for (Block** const first : {&large_, &small_, &holes_})
      while (*first) Release(*first);
  }
  /** Frees blocks of 512 bytes. */
  void FreeLarge(int count) {
    for (; count > 0 && large_; --count) Release(large_);
  }
  /** Frees every second block of 96 bytes, so that no two of them become a larger one. */
  void FreeHoles() {
    for (Block* block = holes_; block && block->next; block = block->next) Release(block->next);
  }

 private:
  static bool Take(Block*& first, std::size_t bytes) {
    void* const block = std::malloc(bytes);
    if (block) first = new (block) Block{first};
    return block != nullptr;
  }
  static void Release(Block*& first) { std::free(std::exchange(first, first->next)); }

  Block* holes_ = nullptr;
  Block* large_ = nullptr;
  Block* small_ = nullptr;
};

/**
 * An exception for which there is no memory. The runtime then takes it from a pool, whose lock needs a small
 * block at its first use. Without that block the process ends, as the header says.
 */
int ExceptionNeedsOnlyASmallBlock(const char* text) {
  char* output = nullptr;
  std::int32_t status = 0;
  {
    TakenHeap taken;
    taken.FreeHoles();
    status = GuardEncrypt(text, &output);
  }
  CHECK(status == GUARD_NO_MEMORY && !output);
  return 0;
}

void SetText(HKEY root, const char* path, const char* name, const std::string& text) {
  RegSetKeyValueA(root, path, name, REG_SZ, text.c_str(), static_cast<DWORD>(text.size() + 1));
}

/** Registers an application whose texts need more than one of the blocks. */
void RegisterApplication() {
  const std::string longText(250, 'x'),
      key = "Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall\\Starved";
  SetText(HKEY_LOCAL_MACHINE, "Software\\Classes\\Installer\\Products", "", "");
  for (const char* name : {"DisplayName", "UninstallString", "DisplayVersion", "InstallLocation"})
    SetText(HKEY_LOCAL_MACHINE, key.c_str(), name, longText);
}

/** A list fails as a whole, wherever memory ends. REQUIRES: the runtime's pool has its lock. */
int ListFailsAsAWhole() {
  constexpr int kMostKept = 40;
  for (int kept = kMostKept; kept >= 0; --kept) {
    InstalledAppEntry* entries = nullptr;
    std::uint32_t count = 77;
    std::int32_t status = 0;
    {
      TakenHeap taken;
      taken.FreeLarge(kept);
      status = GuardGetInstalledAppList(&entries, &count, false);
    }
    CHECK(status == 0 || (status == GUARD_NO_MEMORY && !entries && count == 0));
    CHECK(status == 0 || kept < kMostKept);
    CHECK(status != 0 || (kept > 1 && count > 0));
    if (status == 0) GuardReleaseInstalledAppList(&entries, static_cast<std::int32_t>(count));
  }
  return 0;
}

void WaitFor(const char* file) {
  while (GetFileAttributesA(file) == INVALID_FILE_ATTRIBUTES) Sleep(20);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  std::int64_t mebibytes = 0;
  char* const text = static_cast<char*>(std::malloc(kTextChars + 1));
  if (!text || GuardInitDllLogger([](const char*, std::int32_t, const char*) {}) != 0) return 2;
  std::memset(text, 'x', kTextChars);
  text[kTextChars] = '\0';
  std::strcpy(install.request.displayName, "Nobody has this");
  std::strcpy(uninstall.request.displayName, "Nobody has this");
  RegisterApplication();
  GuardGetDiskAvailableSpace("C", &mebibytes);
  CloseHandle(CreateFileA(argv[1], GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr));
  WaitFor(argv[2]);
  TakeAddressSpace();
  const int status = LongTextsFail(text) != 0 || ThreadsFail() != 0 ||
                     ExceptionNeedsOnlyASmallBlock(text) != 0 || ListFailsAsAWhole() != 0;
  // Does not unload the library, because its threads would need memory.
  TerminateProcess(GetCurrentProcess(), static_cast<UINT>(status));
}
