// A library with nothing in it but the toolchain's runtime, and log.dll beside it as the real one has it.
// What it leaves behind when it is unloaded, every library of this toolchain does.
#include <memory>

#include "log/log.h"

/** Has the runtime do what any first use of a guarded object makes it do. */
extern "C" __declspec(dllexport) int UseRuntime() {
  static const std::unique_ptr<int> made = std::make_unique<int>(1);
  return *made;
}

/** Called by nobody: it is what has log.dll loaded. */
extern "C" __declspec(dllexport) void Log() { QVSLOGD("", ""); }
