/* Before InitDllLogger a function that logs crashes. Only this crash is a success here. */
#include <KestrelbayGeneralSDK.h>
#include <signal.h>
#include <stdlib.h>

static void Seen(int number) {
  (void)number;
  _Exit(0);
}

int main(void) {
  char buffer[1024];
  int32_t size = sizeof buffer;
  signal(SIGSEGV, Seen);
  GetDeviceId(buffer, &size);
  return 1;
}
