/*
 * A host in C on a machine whose two settings are missing. KestrelbayGuard catches the library's exceptions.
 * Exits with the line of the check that failed, or 0. Prints nothing and uses no function of the C runtime,
 * because it is also built without a runtime, for the ABI of another compiler.
 */
#include <KestrelbayGuard.h>
#include <stddef.h>

#define CHECK(condition)               \
  do {                                 \
    if (!(condition)) return __LINE__; \
  } while (0)

enum { kExceptions = 1000 };

static char buffer[1024];
static GuardInstallJob install;
static GuardUninstallJob uninstall;

static int IsSame(const char* left, const char* right) {
  while (*left && *left == *right) ++left, ++right;
  return *left == *right;
}

static void Fill(char* field, const char* text) {
  while ((*field++ = *text++)) {
  }
}

static int32_t TakeRecord(void) {
  int32_t level;
  int32_t size = sizeof buffer;
  uint32_t dropped;
  return GuardTakeLog(&level, buffer, &size, &dropped);
}

static int SurvivesExceptions(void) {
  for (int i = 0; i < kExceptions; ++i) {
    int32_t size = sizeof buffer;
    CHECK(GuardIsTabletPC() == GUARD_INVALID_SETTING);
    CHECK(GuardGetProxyServer(buffer, &size) == GUARD_INVALID_SETTING);
    CHECK(size == sizeof buffer);
  }
  return 0;
}

static int ListsAndTellsFacts(void) {
  InstalledAppEntry* entries;
  uint32_t count;
  int32_t size = sizeof buffer;
  int64_t mebibytes = 0;
  CHECK(GuardGetInstalledAppList(&entries, &count, false) == 0);
  CHECK(count > 0);
  CHECK(GuardReleaseInstalledAppList(&entries, (int32_t)count) == 0);
  CHECK(entries == NULL);
  CHECK(GuardGetAppVersion("Guarded", "", buffer, &size) == 1);
  CHECK(size == 3 && IsSame(buffer, "1.5"));
  CHECK(GuardGetAppVersion("Nobody has this", "", buffer, &size) == 0);
  CHECK(GuardGetDiskAvailableSpace("?", &mebibytes) == 0);
  CHECK(mebibytes == -1);
  CHECK(GuardStartAnyExe("C:\\no such program.exe", "") == 0);
  CHECK(GuardDeleteAppRegistryInfo("Nobody has this") == 0);
  return 0;
}

static int KeepsSecrets(void) {
  char* hidden;
  char* plain;
  CHECK(GuardEncrypt("a secret", &hidden) == 0);
  CHECK(GuardDecrypt(hidden, &plain) == 0);
  CHECK(IsSame(plain, "a secret"));
  ReleaseDllStr(&plain);
  ReleaseDllStr(&hidden);
  return 0;
}

static int QueuesRecords(void) {
  uint32_t dropped;
  int32_t level = 0;
  int32_t size = 4;
  while (TakeRecord() == 1) {
  }
  CHECK(TakeRecord() == 0);
  CHECK(GuardSetStopAppEvent() == 0);
  CHECK(GuardTakeLog(&level, buffer, &size, &dropped) == GUARD_BUFFER_TOO_SMALL);
  CHECK(size > 4 && size < (int32_t)sizeof buffer);
  CHECK(GuardTakeLog(&level, buffer, &size, &dropped) == 1);
  CHECK(level == 3 && dropped == 0 && buffer[size - 1] == '\0');
  CHECK(TakeRecord() == 0);
  return 0;
}

/** Each loss is reported by one call, even by a call whose buffer is too small. */
static int ReportsDroppedRecordsOnce(void) {
  uint32_t dropped;
  int32_t level;
  int32_t size = 4;
  for (int i = 0; i < 5000; ++i) CHECK(GuardSetStopAppEvent() == 0);
  CHECK(GuardTakeLog(&level, buffer, &size, &dropped) == GUARD_BUFFER_TOO_SMALL);
  CHECK(dropped == 5000 - 4096);
  CHECK(GuardTakeLog(&level, buffer, &size, &dropped) == 1);
  CHECK(dropped == 0);
  return 0;
}

static int direct = 0;

static void CountDirect(const char* file, int32_t level, const char* text) {
  (void)file, (void)level, (void)text;
  ++direct;
}

/** A second GuardQueueLog does not call InitDllLogger, which logs; after GuardInitDllLogger it does. */
static int KeepsDestinationOfRecords(void) {
  while (TakeRecord() == 1) {
  }
  CHECK(GuardQueueLog() == 0);
  CHECK(TakeRecord() == 0);
  CHECK(GuardInitDllLogger(CountDirect) == 0);
  CHECK(direct == 1 && TakeRecord() == 0);
  CHECK(GuardQueueLog() == 0);
  CHECK(direct == 1 && TakeRecord() == 1);
  return 0;
}

static int FinishesJobs(void) {
  Fill(install.request.displayName, "Nobody has this");
  Fill(install.request.installerPath, "C:\\no such installer.exe");
  CHECK(GuardStartInstall(&install) == 0);
  while (!install.finished) {
  }
  CHECK(IsSame(install.request.ErrMsg, "Install path is not exist!"));
  Fill(uninstall.request.displayName, "Nobody has this");
  CHECK(GuardStartUninstall(&uninstall) == 0);
  while (!uninstall.finished) {
  }
  CHECK(IsSame(uninstall.request.ErrMsg, "Get uninstall path is empty!"));
  return 0;
}

static InstallRequest installCalled;
static UninstallRequest uninstallCalled;
static const void* reported = NULL;

/* C99 has no atomic variables. These are of the compilers that build this host. */
static void Report(const void* what) { __atomic_store_n(&reported, what, __ATOMIC_RELEASE); }
static void WaitForReport(const void* what) {
  while (__atomic_load_n(&reported, __ATOMIC_ACQUIRE) != what) {
  }
}

static void ReportInstall(InstallRequest* request) { Report(request); }
static void ReportUninstall(UninstallRequest* request) { Report(request); }

static int ReportsJobsToCallbacks(void) {
  Fill(installCalled.displayName, "Nobody has this");
  Fill(installCalled.installerPath, "C:\\no such installer.exe");
  CHECK(GuardInstall(&installCalled, ReportInstall) == 0);
  WaitForReport(&installCalled);
  CHECK(IsSame(installCalled.ErrMsg, "Install path is not exist!"));
  Fill(uninstallCalled.displayName, "Nobody has this");
  CHECK(GuardUninstall(&uninstallCalled, ReportUninstall) == 0);
  WaitForReport(&uninstallCalled);
  CHECK(IsSame(uninstallCalled.ErrMsg, "Get uninstall path is empty!"));
  return 0;
}

static void ReceiveIcon(char* text) {
  Fill(buffer, text);
  Report(buffer);
}

static int FindsIcons(void) {
  CHECK(GuardGetAppIconAsync(ReceiveIcon, "Guarded") == 0);
  WaitForReport(buffer);
  CHECK(IsSame(buffer, "C:\\guarded.ico"));
  return 0;
}

int main(void) {
  int line;
  CHECK(IsSame(GuardVersion(), KESTRELBAY_EXPECTED_VERSION));
  CHECK(GuardQueueLog() == 0);
  if ((line = SurvivesExceptions()) || (line = ListsAndTellsFacts()) || (line = KeepsSecrets())) return line;
  if ((line = FinishesJobs()) || (line = ReportsJobsToCallbacks()) || (line = FindsIcons())) return line;
  if ((line = QueuesRecords())) return line;
  if ((line = ReportsDroppedRecordsOnce())) return line;
  return KeepsDestinationOfRecords();
}

#ifdef GUARD_WITHOUT_RUNTIME
__declspec(dllimport) void ExitProcess(unsigned status);
/* The entry point of the program without a C runtime. */
void mainCRTStartup(void) { ExitProcess((unsigned)main()); }
#endif
