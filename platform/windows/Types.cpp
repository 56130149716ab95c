// Windows' own word on the types and constants of the port; nothing here is called.
#include <windows.h>

#include <objidl.h>

#include <algorithm>
using std::max;  // GDI+ asks for the two macros that this project switches off
using std::min;

#include <commctrl.h>
#include <dxgi.h>
#include <gdiplus.h>
#include <shellapi.h>
#include <shlobj.h>
#include <wincrypt.h>

#include <cstddef>
#include <type_traits>

#define PLATFORM_CONSTANTS_LIST_ONLY
#include "platform/Constants.h"

namespace platform {
namespace {

static_assert(std::is_same_v<DWORD, ::DWORD> && std::is_same_v<LONG, ::LONG> && std::is_same_v<BOOL, ::BOOL>);
static_assert(std::is_same_v<BYTE, ::BYTE> && std::is_same_v<UINT, ::UINT> && std::is_same_v<WORD, ::WORD>);
static_assert(std::is_same_v<LSTATUS, ::LSTATUS> && std::is_same_v<REGSAM, ::REGSAM>);
static_assert(std::is_same_v<HANDLE, ::HANDLE> && std::is_same_v<HKEY, ::HKEY>);

static_assert(sizeof(FILETIME) == sizeof(::FILETIME));
static_assert(offsetof(FILETIME, dwHighDateTime) == offsetof(::FILETIME, dwHighDateTime));

#define CHECK_CONSTANT(name, number) static_assert(static_cast<DWORD>(name) == (number), #name);
PLATFORM_CONSTANTS(CHECK_CONSTANT)

#define CHECK_RESULT(name, number) static_assert((name) == static_cast<HRESULT>(number), #name);
PLATFORM_RESULTS(CHECK_RESULT)

#define CHECK_PICTURE_CONSTANT(name, number) static_assert((name) == (number), #name);
using Gdiplus::ImageLockModeRead;
PLATFORM_PICTURE_CONSTANTS(CHECK_PICTURE_CONSTANT)

// Windows writes these as numbers cast to HKEY. A pointer is not a constant expression, but a number is.
#define HKEY std::intptr_t
#define CHECK_PREDEFINED_KEY(name, number) static_assert((name) == PredefinedKeyBits(number), #name);
PLATFORM_PREDEFINED_KEYS(CHECK_PREDEFINED_KEY)
#undef HKEY

}  // namespace
}  // namespace platform
