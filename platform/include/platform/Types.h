/**
 * The Windows types that cross the port, under their Windows names.
 *
 * Handles use Windows' own tags and DWORD and LONG its own integers, so that the Windows binding forwards
 * them without a cast. Wide text is char16_t: the sixteen bits of Windows' wchar_t on every system.
 */
#pragma once

#include <cstddef>
#include <cstdint>

struct HKEY__;

namespace platform {

#if defined(_WIN32)
using DWORD = unsigned long;  // 32 bits on Windows, and a type distinct from unsigned int
using LONG = long;
#else
using DWORD = std::uint32_t;
using LONG = std::int32_t;
#endif
static_assert(sizeof(DWORD) == 4 && sizeof(LONG) == 4);

using BOOL = int;
using BYTE = unsigned char;
using UINT = unsigned int;
using WORD = unsigned short;
using LSTATUS = LONG;
using HRESULT = LONG;  ///< negative for a failure
using REGSAM = DWORD;
using HANDLE = void*;
using HKEY = ::HKEY__*;

/** 100-nanosecond steps since 1601-01-01 UTC, in two halves. */
struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};

/** An interface's or handler's identity; with the layout of Windows. */
struct GUID {
  std::uint32_t Data1;
  std::uint16_t Data2;
  std::uint16_t Data3;
  BYTE Data4[8];
};
static_assert(sizeof(GUID) == 16);

}  // namespace platform
