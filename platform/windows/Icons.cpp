#include "platform/Icons.h"

#include <windows.h>

#include <commctrl.h>
#include <commoncontrols.h>
#include <objbase.h>
#include <shellapi.h>
#include <shlobj.h>

#include "Casts.h"
#include "Records.h"

namespace platform {
namespace {

CHECK_RECORD(SHFILEINFOW, ::SHFILEINFOW)
CHECK_FIELD(SHFILEINFOW, ::SHFILEINFOW, hIcon)
CHECK_FIELD(SHFILEINFOW, ::SHFILEINFOW, iIcon)
CHECK_FIELD(SHFILEINFOW, ::SHFILEINFOW, dwAttributes)
CHECK_FIELD(SHFILEINFOW, ::SHFILEINFOW, szDisplayName)
CHECK_FIELD(SHFILEINFOW, ::SHFILEINFOW, szTypeName)

CHECK_RECORD(ICONINFO, ::ICONINFO)
CHECK_FIELD(ICONINFO, ::ICONINFO, fIcon)
CHECK_FIELD(ICONINFO, ::ICONINFO, hbmMask)
CHECK_FIELD(ICONINFO, ::ICONINFO, hbmColor)

CHECK_RECORD(BITMAP, ::BITMAP)
CHECK_FIELD(BITMAP, ::BITMAP, bmWidth)
CHECK_FIELD(BITMAP, ::BITMAP, bmHeight)
CHECK_FIELD(BITMAP, ::BITMAP, bmWidthBytes)
CHECK_FIELD(BITMAP, ::BITMAP, bmBitsPixel)
CHECK_FIELD(BITMAP, ::BITMAP, bmBits)

}  // namespace

HRESULT IIDFromString(const char16_t* text, GUID* iid) {
  return ::IIDFromString(Wide(text), reinterpret_cast<IID*>(iid));
}

HRESULT SHGetImageList(int list, const GUID& iid, void** imageList) {
  return ::SHGetImageList(list, Windows(iid), imageList);
}

std::uintptr_t SHGetFileInfoW(const char16_t* path, DWORD attributes, SHFILEINFOW* info, UINT infoBytes,
                              UINT flags) {
  return ::SHGetFileInfoW(Wide(path), attributes, reinterpret_cast<::SHFILEINFOW*>(info), infoBytes, flags);
}

HICON ImageList_GetIcon(HIMAGELIST imageList, int index, UINT flags) {
  return ::ImageList_GetIcon(imageList, index, flags);
}

BOOL DestroyIcon(HICON icon) { return ::DestroyIcon(icon); }

BOOL GetIconInfo(HICON icon, ICONINFO* info) {
  return ::GetIconInfo(icon, reinterpret_cast<::ICONINFO*>(info));
}

int GetObjectW(HANDLE object, int bytes, void* description) {
  return ::GetObjectW(object, bytes, description);
}

BOOL DeleteObject(HANDLE object) { return ::DeleteObject(object); }

}  // namespace platform
