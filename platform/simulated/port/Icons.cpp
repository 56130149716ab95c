#include "platform/Icons.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "platform/Constants.h"
#include "simulated/base/ComObject.h"
#include "simulated/base/HexDigit.h"
#include "simulated/machine/FilePath.h"
#include "simulated/port/Call.h"

namespace simulated {
namespace {

using platform::BOOL;
using platform::GUID;
using platform::HICON;
using platform::HRESULT;

constexpr GUID kImageList = {0x46EB5926, 0x582E, 0x4017, {0x9F, 0xDF, 0xE8, 0x99, 0x8D, 0xAA, 0x09, 0x50}};

/** The handle of the jumbo list. One for the process, because the product keeps it longer than a machine. */
platform::HIMAGELIST JumboList() {
  static char list;
  return reinterpret_cast<platform::HIMAGELIST>(&list);
}

HRESULT ParseId(const char16_t* text, GUID* id) {
  constexpr std::u16string_view kForm = u"{xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx}";
  *id = {};
  if (!text) return platform::S_OK;
  const std::u16string_view given(text);
  if (given.size() != kForm.size()) return kInvalidArgumentResult;
  std::array<std::uint8_t, sizeof *id> bytes{};
  std::size_t digits = 0;
  for (std::size_t at = 0; at < kForm.size(); ++at) {
    const int digit = HexDigit(given[at]);
    if (kForm[at] == u'x' ? digit < 0 : given[at] != kForm[at]) return kInvalidArgumentResult;
    if (digit < 0) continue;
    std::uint8_t& byte = bytes[digits++ / 2];
    byte = static_cast<std::uint8_t>(byte << 4 | digit);
  }
  // The first three fields are numbers. In memory their lowest byte comes first.
  std::reverse(bytes.begin(), bytes.begin() + 4);
  std::reverse(bytes.begin() + 4, bytes.begin() + 6);
  std::reverse(bytes.begin() + 6, bytes.begin() + 8);
  std::memcpy(id, bytes.data(), bytes.size());
  return platform::S_OK;
}

HRESULT FetchList(int list, const GUID& iid, void** imageList) {
  *imageList = nullptr;
  if (list != static_cast<int>(platform::SHIL_JUMBO)) return kFailedResult;
  if (!IsSame(iid, kImageList)) return kNoInterfaceResult;
  *imageList = JumboList();
  return platform::S_OK;
}

HICON OpenIcon(Machine& machine, Picture picture) {
  return machine.pictures.icons.Open(
      std::make_shared<Icon>(Icon{std::make_shared<const Picture>(std::move(picture))}));
}

/** Copies the file name of a path, cut to the size of `name`. */
template <std::size_t kChars>
void CopyName(std::u16string_view path, char16_t (&name)[kChars]) {
  path.remove_prefix(path.find_last_of(u"\\/") + 1);
  const std::size_t chars = path.copy(name, kChars - 1);
  name[chars] = 0;
}

std::uintptr_t DescribeFile(Machine& machine, const char16_t* path, platform::SHFILEINFOW* info,
                            platform::UINT infoBytes, platform::UINT flags) {
  if (infoBytes < sizeof *info) return 0;
  const std::u16string whole = WholePath(machine, path);
  auto icon = machine.shellIcons.Look(machine.drives, whole);
  if (!icon) {
    SetLastError(kFileNotFound);
    return 0;
  }
  if (flags & platform::SHGFI_DISPLAYNAME) CopyName(whole, info->szDisplayName);
  if (flags & platform::SHGFI_ICON) {
    info->iIcon = icon->index;
    info->hIcon = OpenIcon(machine, std::move(icon->common));
  }
  return 1;
}

HICON TakeFromList(Machine& machine, platform::HIMAGELIST list, int index) {
  if (list != JumboList()) return nullptr;
  auto picture = machine.shellIcons.Jumbo(index);
  return picture ? OpenIcon(machine, std::move(*picture)) : nullptr;
}

BOOL CopyBitmaps(Machine& machine, HICON handle, platform::ICONINFO* info) {
  const auto icon = machine.pictures.icons.Find(handle);
  if (!icon) {
    SetLastError(kInvalidCursorHandle);
    return 0;
  }
  // No operation draws on a bitmap, so both bitmaps may share the pixels of the icon.
  const auto open = [&](std::uint32_t bits) {
    auto bitmap = std::make_shared<GdiBitmap>(GdiBitmap{icon->picture, bits});
    return static_cast<platform::HBITMAP>(machine.pictures.bitmaps.Open(std::move(bitmap)));
  };
  *info = {1, icon->picture->width / 2, icon->picture->height / 2, open(1),
           open(machine.pictures.displayBits)};
  return 1;
}

int Describe(Machine& machine, platform::HANDLE object, int bytes, void* description) {
  const auto bitmap = machine.pictures.bitmaps.Find(object);
  if (!bitmap) return 0;
  constexpr int kBytes = sizeof(platform::BITMAP);
  if (!description) return kBytes;
  if (bytes < kBytes) return 0;
  platform::BITMAP filled{};
  filled.bmWidth = static_cast<platform::LONG>(bitmap->picture->width);
  filled.bmHeight = static_cast<platform::LONG>(bitmap->picture->height);
  filled.bmWidthBytes = static_cast<platform::LONG>((bitmap->picture->width * bitmap->bits + 15) / 16 * 2);
  filled.bmPlanes = 1;
  filled.bmBitsPixel = static_cast<platform::WORD>(bitmap->bits);
  std::memcpy(description, &filled, sizeof filled);
  return kBytes;
}

}  // namespace
}  // namespace simulated

namespace platform {

using simulated::Arguments;
using simulated::CurrentMachine;
using simulated::CurrentMachineOrNull;
using simulated::Failure;
using simulated::Machine;
using simulated::Perform;

HRESULT IIDFromString(const char16_t* text, GUID* iid) {
  return Perform(
      CurrentMachineOrNull(), "IIDFromString", Failure<HRESULT>{simulated::kInvalidArgumentResult},
      [&](Arguments& arguments) { arguments.Text(text); }, [&] { return simulated::ParseId(text, iid); });
}

HRESULT SHGetImageList(int list, const GUID& iid, void** imageList) {
  return Perform(
      CurrentMachineOrNull(), "SHGetImageList", Failure<HRESULT>{simulated::kFailedResult},
      [&](Arguments& arguments) { arguments.Number(list).Hex(iid.Data1); },
      [&] { return simulated::FetchList(list, iid, imageList); });
}

std::uintptr_t SHGetFileInfoW(const char16_t* path, DWORD attributes, SHFILEINFOW* info, UINT infoBytes,
                              UINT flags) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "SHGetFileInfoW", Failure<std::uintptr_t>{0, simulated::kFileNotFound},
      [&](Arguments& arguments) { arguments.Text(path).Hex(attributes).Number(infoBytes).Hex(flags); },
      [&] { return simulated::DescribeFile(machine, path, info, infoBytes, flags); });
}

HICON ImageList_GetIcon(HIMAGELIST imageList, int index, UINT flags) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "ImageList_GetIcon", Failure<HICON>{nullptr},
      [&](Arguments& arguments) { arguments.Handle(imageList).Number(index).Hex(flags); },
      [&] { return simulated::TakeFromList(machine, imageList, index); });
}

BOOL DestroyIcon(HICON icon) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "DestroyIcon", Failure<BOOL>{0, simulated::kInvalidCursorHandle, true},
      [&](Arguments& arguments) { arguments.Handle(icon); },
      [&]() -> BOOL { return machine.pictures.icons.Close(icon) ? 1 : 0; });
}

BOOL GetIconInfo(HICON icon, ICONINFO* info) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "GetIconInfo", Failure<BOOL>{0, simulated::kNotEnoughMemory},
      [&](Arguments& arguments) { arguments.Handle(icon); },
      [&] { return simulated::CopyBitmaps(machine, icon, info); });
}

int GetObjectW(HANDLE object, int bytes, void* description) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "GetObjectW", Failure<int>{0},
      [&](Arguments& arguments) { arguments.Handle(object).Number(bytes); },
      [&] { return simulated::Describe(machine, object, bytes, description); });
}

BOOL DeleteObject(HANDLE object) {
  Machine& machine = CurrentMachine();
  return Perform(
      &machine, "DeleteObject", Failure<BOOL>{0, 0, true},
      [&](Arguments& arguments) { arguments.Handle(object); },
      [&]() -> BOOL { return machine.pictures.bitmaps.Close(object) ? 1 : 0; });
}

}  // namespace platform
