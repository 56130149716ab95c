/*
 * StartApp leaves COM initialised on the thread that calls it, single-threaded. Drawing icons does not
 * initialise COM, and works without it here.
 */
#include <KestrelbayGuard.h>
#include <objbase.h>
#include <string.h>

static void Drop(const char* file, int32_t level, const char* text) { (void)file, (void)level, (void)text; }

static int CountIcons(void) {
  InstalledAppEntry* entries;
  uint32_t count;
  int icons = 0;
  GetInstalledAppList(&entries, &count, true);
  for (uint32_t i = 0; i < count; ++i)
    icons += strncmp(entries[i].iconText, "data:image/png;base64,", 22) == 0;
  ReleaseInstalledAppList(&entries, (int32_t)count);
  return icons;
}

static int recordsInApartment = 0;

/* Runs inside a call of the library, on its thread. */
static void CountInApartment(const char* file, int32_t level, const char* text) {
  (void)file, (void)level, (void)text;
  if (CoInitializeEx(NULL, COINIT_MULTITHREADED) == RPC_E_CHANGED_MODE)
    ++recordsInApartment;
  else
    CoUninitialize();
}

/*
 * GuardDeleteAppRegistryInfo initialises COM for the duration of the call, because the shell may start a
 * command.
 */
static int GuardInitialises(void) {
  GuardInitDllLogger(CountInApartment);
  recordsInApartment = 0;
  GuardDeleteAppRegistryInfo("An application that nobody has");
  if (recordsInApartment == 0 || CoInitialize(NULL) != S_OK) return 0;
  CoUninitialize();
  GuardInitDllLogger(Drop);
  return 1;
}

int main(void) {
  if (!GuardInitialises()) return 5;
  InitDllLogger(Drop);
  if (CountIcons() == 0) return 1;
  if (CoInitialize(NULL) != S_OK) return 2; /* not initialised before */
  CoUninitialize();                         /* as before the test */
  StartApp("An application that nobody has", "");
  if (CoInitializeEx(NULL, COINIT_MULTITHREADED) != RPC_E_CHANGED_MODE) return 3;
  return CoInitialize(NULL) == S_FALSE ? 0 : 4;
}
