/**
 * The shell's folders. Items are COM objects: opaque pointers, with a function for each method, named after
 * it. Results are COM's: negative for a failure.
 */
#pragma once

#include "platform/Types.h"

struct IShellItem;
struct IEnumShellItems;

namespace platform {

inline constexpr GUID IID_IShellItem{
    0x43826d1e, 0xe718, 0x42ee, {0xbc, 0x55, 0xa1, 0xe2, 0x61, 0xc3, 0x7b, 0xfe}};
inline constexpr GUID IID_IEnumShellItems{
    0x70629033, 0xe363, 0x4a28, {0xa5, 0x67, 0x0d, 0xb7, 0x80, 0x06, 0xe6, 0xd7}};
inline constexpr GUID BHID_EnumItems{
    0x94f60519, 0x2850, 0x4924, {0xaa, 0x5a, 0xd1, 0x5e, 0x84, 0x86, 0x80, 0x39}};

/** Initialises COM on the calling thread. @param reserved null @return S_FALSE (1) if it was already
 * initialised */
HRESULT CoInitialize(void* reserved);

/** Frees memory that a COM object returned; null is allowed. */
void CoTaskMemFree(void* memory);

/**
 * Creates an item from a parsing name.
 * @param bindContext  null
 * @param item         receives the object of interface `iid`, which the caller releases; null on failure
 */
HRESULT SHCreateItemFromParsingName(const char16_t* parsingName, void* bindContext, const GUID& iid,
                                    void** item);

/**
 * Returns a handler of an item, such as the enumerator of the items of a folder.
 * @param bindContext  null
 * @param handler      receives the object of interface `iid`, which the caller releases; null on failure
 */
HRESULT IShellItem_BindToHandler(IShellItem* item, void* bindContext, const GUID& handlerId, const GUID& iid,
                                 void** handler);

/** @param form one of SIGDN_ @param name receives a text that CoTaskMemFree frees; unchanged on failure */
HRESULT IShellItem_GetDisplayName(IShellItem* item, DWORD form, char16_t** name);

DWORD IShellItem_Release(IShellItem* item);

/**
 * Returns the next items.
 * @param items    receives up to `count` objects, which the caller releases
 * @param fetched  receives how many; may be null for a count of 1
 * @return S_OK (0) with all of them, S_FALSE (1) at the end
 */
HRESULT IEnumShellItems_Next(IEnumShellItems* enumerator, DWORD count, IShellItem** items, DWORD* fetched);

DWORD IEnumShellItems_Release(IEnumShellItems* enumerator);

}  // namespace platform
