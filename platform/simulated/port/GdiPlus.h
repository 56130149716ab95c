/** Status numbers and helpers of the GDI+ operations. */
#pragma once

#include "platform/Pictures.h"
#include "simulated/port/Call.h"

namespace simulated {

// Statuses of GDI+.
inline constexpr platform::GpStatus kOk = 0;
inline constexpr platform::GpStatus kGenericError = 1;
inline constexpr platform::GpStatus kBadParameter = 2;
inline constexpr platform::GpStatus kOutOfMemory = 3;
inline constexpr platform::GpStatus kNotImplemented = 6;
inline constexpr platform::GpStatus kWin32Error = 7;
inline constexpr platform::GpStatus kWrongState = 8;
inline constexpr platform::GpStatus kUnknownImageFormat = 13;
inline constexpr platform::GpStatus kUnsupportedVersion = 17;
inline constexpr platform::GpStatus kNotInitialized = 18;

inline constexpr int kRgb = 0x22009;  // PixelFormat32bppRGB

inline bool IsStarted(Machine& machine) { return machine.pictures.gdiPlusStarts > 0; }

/** Returns a pixel as 0xAARRGGBB. An image without alpha is opaque. */
std::uint32_t PixelOf(const GdiPlusImage& image, std::uint32_t x, std::uint32_t y);

/** Perform for an operation that returns a status. `body` receives the machine. */
template <class Describe, class Body>
platform::GpStatus PerformGdiPlus(const char* name, Describe describe, Body body) {
  Machine& machine = CurrentMachine();
  return Perform(&machine, name, Failure<platform::GpStatus>{kOutOfMemory}, describe,
                 [&] { return body(machine); });
}

}  // namespace simulated
