/**
 * Text of the port and text of Windows: the same sixteen bits under two types.
 *
 * A forwarder casts in the call expression and keeps no cast pointer.
 */
#pragma once

#include <guiddef.h>

namespace platform {

inline wchar_t* Wide(char16_t* text) { return reinterpret_cast<wchar_t*>(text); }
inline const wchar_t* Wide(const char16_t* text) { return reinterpret_cast<const wchar_t*>(text); }
static_assert(sizeof(wchar_t) == sizeof(char16_t));

/** Identities: the same sixteen bytes. For files that include windows.h first. */
template <class Identity>
const ::GUID& Windows(const Identity& identity) {
  static_assert(sizeof(Identity) == sizeof(::GUID));
  return reinterpret_cast<const ::GUID&>(identity);
}

}  // namespace platform
