#include <KestrelbayGeneralSDK.h>
#include <stdio.h>

static void Drop(const char* file, int32_t level, const char* text) { (void)file, (void)level, (void)text; }

int main(void) {
  InstalledAppEntry* entries;
  uint32_t count;
  InitDllLogger(Drop);
  GetInstalledAppList(&entries, &count, false);
  printf("%u applications\n", (unsigned)count);
  ReleaseInstalledAppList(&entries, (int32_t)count);
  return entries != NULL;
}
