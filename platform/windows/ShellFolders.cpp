#include "platform/ShellFolders.h"

#include <windows.h>

#include <objbase.h>
#include <shlobj.h>

#include "Casts.h"

namespace platform {

HRESULT CoInitialize(void* reserved) { return ::CoInitialize(reserved); }

void CoTaskMemFree(void* memory) { ::CoTaskMemFree(memory); }

HRESULT SHCreateItemFromParsingName(const char16_t* parsingName, void* bindContext, const GUID& iid,
                                    void** item) {
  return ::SHCreateItemFromParsingName(Wide(parsingName), static_cast<IBindCtx*>(bindContext), Windows(iid),
                                       item);
}

HRESULT IShellItem_BindToHandler(IShellItem* item, void* bindContext, const GUID& handlerId, const GUID& iid,
                                 void** handler) {
  return item->BindToHandler(static_cast<IBindCtx*>(bindContext), Windows(handlerId), Windows(iid), handler);
}

HRESULT IShellItem_GetDisplayName(IShellItem* item, DWORD form, char16_t** name) {
  return item->GetDisplayName(static_cast<SIGDN>(form), reinterpret_cast<wchar_t**>(name));
}

DWORD IShellItem_Release(IShellItem* item) { return item->Release(); }

HRESULT IEnumShellItems_Next(IEnumShellItems* enumerator, DWORD count, IShellItem** items, DWORD* fetched) {
  return enumerator->Next(count, items, fetched);
}

DWORD IEnumShellItems_Release(IEnumShellItems* enumerator) { return enumerator->Release(); }

}  // namespace platform
