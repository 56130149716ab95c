/**
 * The Windows constants that src/ passes or receives, each defined once.
 *
 * A constexpr with the name of a Windows constant does not compile after windows.h. So the list is
 * expanded twice: here into constants, and in the Windows binding, which defines
 * PLATFORM_CONSTANTS_LIST_ONLY, into a check of each number against windows.h.
 */
#pragma once

#include "platform/Types.h"

#define PLATFORM_CONSTANTS(X)                 \
  X(ERROR_SUCCESS, 0)                         \
  X(ERROR_NO_MORE_ITEMS, 259)                 \
  X(REG_SZ, 1)                                \
  X(REG_EXPAND_SZ, 2)                         \
  X(REG_DWORD, 4)                             \
  X(KEY_READ, 0x20019)                        \
  X(KEY_NOTIFY, 0x0010)                       \
  X(KEY_WOW64_64KEY, 0x0100)                  \
  X(KEY_WOW64_32KEY, 0x0200)                  \
  X(REG_NOTIFY_CHANGE_NAME, 1)                \
  X(CP_UTF8, 65001)                           \
  X(STARTF_USESHOWWINDOW, 1)                  \
  X(SW_HIDE, 0)                               \
  X(SW_SHOWNORMAL, 1)                         \
  X(SW_SHOW, 5)                               \
  X(CREATE_NEW_CONSOLE, 0x10)                 \
  X(SEE_MASK_NOCLOSEPROCESS, 0x40)            \
  X(MAXIMUM_WAIT_OBJECTS, 64)                 \
  X(WAIT_OBJECT_0, 0)                         \
  X(WAIT_TIMEOUT, 258)                        \
  X(WAIT_FAILED, 0xFFFFFFFF)                  \
  X(INFINITE, 0xFFFFFFFF)                     \
  X(SIGDN_NORMALDISPLAY, 0)                   \
  X(SIGDN_DESKTOPABSOLUTEPARSING, 0x80028000) \
  X(CRYPT_STRING_BASE64, 1)                   \
  X(CRYPT_STRING_NOCRLF, 0x40000000)          \
  X(FILE_ATTRIBUTE_DIRECTORY, 0x10)           \
  X(SHGFI_ICON, 0x100)                        \
  X(SHGFI_DISPLAYNAME, 0x200)                 \
  X(SHIL_JUMBO, 4)                            \
  X(ILD_NORMAL, 0)

/** Numbers of GDI+, of type int. */
#define PLATFORM_PICTURE_CONSTANTS(X) \
  X(ImageLockModeRead, 1)             \
  X(PixelFormat32bppARGB, 0x26200A)

/** Results that src/ distinguishes: of type HRESULT, which is signed. */
#define PLATFORM_RESULTS(X) \
  X(S_OK, 0)                \
  X(DXGI_ERROR_NOT_FOUND, 0x887A0002)

/** The predefined keys: handle values that are always open. Windows sign-extends their 32 bits. */
#define PLATFORM_PREDEFINED_KEYS(X) \
  X(HKEY_CURRENT_USER, 0x80000001)  \
  X(HKEY_LOCAL_MACHINE, 0x80000002) \
  X(HKEY_USERS, 0x80000003)

namespace platform {

constexpr std::intptr_t PredefinedKeyBits(std::uint32_t number) { return static_cast<std::int32_t>(number); }

#ifndef PLATFORM_CONSTANTS_LIST_ONLY
#define PLATFORM_CONSTANT(name, number) inline constexpr DWORD name = number;
PLATFORM_CONSTANTS(PLATFORM_CONSTANT)
#undef PLATFORM_CONSTANT

#define PLATFORM_PICTURE_CONSTANT(name, number) inline constexpr int name = number;
PLATFORM_PICTURE_CONSTANTS(PLATFORM_PICTURE_CONSTANT)
#undef PLATFORM_PICTURE_CONSTANT

#define PLATFORM_RESULT(name, number) inline constexpr HRESULT name = static_cast<HRESULT>(number);
PLATFORM_RESULTS(PLATFORM_RESULT)
#undef PLATFORM_RESULT

#define PLATFORM_PREDEFINED_KEY(name, number) \
  inline const HKEY name = reinterpret_cast<HKEY>(PredefinedKeyBits(number));
PLATFORM_PREDEFINED_KEYS(PLATFORM_PREDEFINED_KEY)
#undef PLATFORM_PREDEFINED_KEY
#endif

}  // namespace platform
