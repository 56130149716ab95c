/* Without a callback, records go to the file of log.dll. */
#include <KestrelbayGeneralSDK.h>
#include <stddef.h>

int main(void) {
  InitDllLogger(NULL);
  return GetDiskAvailableSpace(NULL) == -1 ? 0 : 1;
}
