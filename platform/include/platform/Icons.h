/** Icons of files from the shell, and the bitmaps of an icon. */
#pragma once

#include "platform/Types.h"

struct HICON__;
struct HBITMAP__;
struct _IMAGELIST;

namespace platform {

using HICON = ::HICON__*;
using HBITMAP = ::HBITMAP__*;
using HIMAGELIST = ::_IMAGELIST*;

/** The shell's data on a file; with the layout of Windows. */
struct SHFILEINFOW {
  HICON hIcon;
  int iIcon;
  DWORD dwAttributes;
  char16_t szDisplayName[260];
  char16_t szTypeName[80];
};
static_assert(sizeof(SHFILEINFOW) == 696);

/** The two bitmaps of an icon; with the layout of Windows. */
struct ICONINFO {
  BOOL fIcon;
  DWORD xHotspot;
  DWORD yHotspot;
  HBITMAP hbmMask;
  HBITMAP hbmColor;
};
static_assert(sizeof(ICONINFO) == 32);

/** The description of a bitmap; with the layout of Windows. */
struct BITMAP {
  LONG bmType;
  LONG bmWidth;
  LONG bmHeight;
  LONG bmWidthBytes;
  WORD bmPlanes;
  WORD bmBitsPixel;
  void* bmBits;
};
static_assert(sizeof(BITMAP) == 32);

/** Reads an interface id in braces. @return negative for any other text */
HRESULT IIDFromString(const char16_t* text, GUID* iid);

/**
 * Returns one of the shell's image lists.
 * @param list       SHIL_JUMBO for icons of 256 by 256 pixels
 * @param imageList  receives an object of interface `iid`, which also serves as an HIMAGELIST; null on
 * failure
 */
HRESULT SHGetImageList(int list, const GUID& iid, void** imageList);

/**
 * Reads the shell's data on a file. The icon is that of the file itself; a program without one has the common
 * icon of the system. A damaged icon counts as none, but on the simulated machine the call fails.
 * @param path        null-terminated
 * @param attributes  used only with SHGFI_USEFILEATTRIBUTES
 * @param info        receives the icon, which DestroyIcon frees, and its index in the shell's image lists
 * @param infoBytes   size of `info`
 * @param flags       SHGFI_ flags
 * @return 0 on failure, as for a missing file
 */
std::uintptr_t SHGetFileInfoW(const char16_t* path, DWORD attributes, SHFILEINFOW* info, UINT infoBytes,
                              UINT flags);

/**
 * Copies an icon from an image list. An icon of at most 48 pixels is unscaled in the top left corner of the
 * 256-pixel image of the jumbo list; Wine scales it.
 * @param flags  ILD_NORMAL
 * @return an icon that DestroyIcon frees; null on failure
 */
HICON ImageList_GetIcon(HIMAGELIST imageList, int index, UINT flags);

BOOL DestroyIcon(HICON icon);

/** @param info receives copies of the icon's bitmaps, which DeleteObject frees @return 0 on failure */
BOOL GetIconInfo(HICON icon, ICONINFO* info);

/** Describes a bitmap. @param bytes size of `description`, a BITMAP @return bytes written; 0 on failure */
int GetObjectW(HANDLE object, int bytes, void* description);

BOOL DeleteObject(HANDLE object);

}  // namespace platform
