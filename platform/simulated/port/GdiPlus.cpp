// Start, shutdown and memory of GDI+.
#include "simulated/port/GdiPlus.h"

#include <cstdlib>

namespace simulated {
namespace {

using platform::GpStatus;

GpStatus Start(Machine& machine, std::uintptr_t* token, const platform::GdiplusStartupInput* input) {
  if (!token || !input) return kBadParameter;
  if (input->GdiplusVersion < 1 || input->GdiplusVersion > 3) return kUnsupportedVersion;
  *token = NewObjectHandle();
  ++machine.pictures.gdiPlusStarts;
  return kOk;
}

}  // namespace
}  // namespace simulated

namespace platform {

using simulated::Arguments;
using simulated::CurrentMachine;
using simulated::Failure;
using simulated::Machine;
using simulated::Perform;
using simulated::PerformGdiPlus;

GpStatus GdiplusStartup(std::uintptr_t* token, const GdiplusStartupInput* input, void*) {
  return PerformGdiPlus(
      "GdiplusStartup",
      [&](Arguments& arguments) {
        arguments.Number(input->GdiplusVersion).Handle(input->DebugEventCallback);
        arguments.Number(input->SuppressBackgroundThread).Number(input->SuppressExternalCodecs);
      },
      [&](Machine& machine) { return simulated::Start(machine, token, input); });
}

void GdiplusShutdown(std::uintptr_t token) {
  Machine& machine = CurrentMachine();
  Perform(
      &machine, "GdiplusShutdown", [&](Arguments& arguments) { arguments.Hex(token); },
      [&] {
        if (token != 0) --machine.pictures.gdiPlusStarts;
      });
}

void* GdipAlloc(std::size_t bytes) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "GdipAlloc", Failure<void*>{nullptr},
      [&](Arguments& arguments) { arguments.Number(static_cast<long long>(bytes)); },
      [&] {
        ++machine.pictures.allocations;
        return std::malloc(bytes);
      });
}

void GdipFree(void* memory) {
  Machine& machine = CurrentMachine();
  Perform(
      &machine, "GdipFree", [&](Arguments& arguments) { arguments.Handle(memory); },
      [&] {
        if (memory) --machine.pictures.allocations;
        std::free(memory);
      });
}

}  // namespace platform
