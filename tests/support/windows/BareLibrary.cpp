// A library that has only the runtime of the toolchain and loads log.dll, as the real one does. At unload,
// any library of this toolchain leaves the resources that this library leaves. A test compares the real
// library with it.
#include <memory>
#include <stdexcept>

#include "log/log.h"

/** Starts the parts of the runtime that the first use of a guarded object starts. */
extern "C" __declspec(dllexport) int UseRuntime() {
  static const std::unique_ptr<int> made = std::make_unique<int>(1);
  return *made;
}

/** Starts the parts of the runtime that the first exception starts. */
extern "C" __declspec(dllexport) void Throw() { throw std::runtime_error("for the host"); }

/** Never called: the import makes Windows load log.dll. */
extern "C" __declspec(dllexport) void Log() { QVSLOGD("", ""); }
