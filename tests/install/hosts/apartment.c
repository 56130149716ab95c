/* StartApp leaves COM initialised on the thread that calls it. */
#include <KestrelbayGeneralSDK.h>
#include <objbase.h>

static void Drop(const char* file, int32_t level, const char* text) { (void)file, (void)level, (void)text; }

int main(void) {
  InitDllLogger(Drop);
  if (CoInitialize(NULL) != S_OK) return 1;
  CoUninitialize(); /* the thread is as new */
  StartApp("An application that nobody has", "");
  return CoInitialize(NULL) == S_FALSE ? 0 : 2;
}
