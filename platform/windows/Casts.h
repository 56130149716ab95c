/**
 * Text of the port and text of Windows: the same sixteen bits under two types.
 *
 * A forwarder casts in the call expression and keeps no cast pointer.
 */
#pragma once

namespace platform {

inline wchar_t* Wide(char16_t* text) { return reinterpret_cast<wchar_t*>(text); }
inline const wchar_t* Wide(const char16_t* text) { return reinterpret_cast<const wchar_t*>(text); }
static_assert(sizeof(wchar_t) == sizeof(char16_t));

}  // namespace platform
