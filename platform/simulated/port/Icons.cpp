#include "platform/Icons.h"

#include <algorithm>
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

/** The large list of whatever machine is current: one for the whole process, as it outlives any machine. */
platform::HIMAGELIST JumboList() {
  static char list;
  return reinterpret_cast<platform::HIMAGELIST>(&list);
}

/** Hexadecimal digits of "{46EB5926-582E-4017-9FDF-E8998DAA0950}", each byte by its place in the text. */
constexpr int kBytePlaces[16] = {1, 3, 5, 7, 10, 12, 15, 17, 20, 22, 25, 27, 29, 31, 33, 35};
constexpr std::u16string_view kIdForm = u"{--------x----x----x----x------------}";

bool HasIdForm(std::u16string_view text) {
  if (text.size() != kIdForm.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t form = kIdForm[i] == u'x' ? u'-' : kIdForm[i];
    if (kIdForm[i] == u'-' ? HexDigit(text[i]) < 0 : text[i] != form) return false;
  }
  return true;
}

HRESULT ParseId(const char16_t* text, GUID* id) {
  *id = {};
  if (!text) return platform::S_OK;
  if (!HasIdForm(text)) return kInvalidArgumentResult;
  std::uint8_t bytes[16];
  for (int i = 0; i < 16; ++i) {
    const char16_t* digits = text + kBytePlaces[i];
    bytes[i] = static_cast<std::uint8_t>(HexDigit(digits[0]) << 4 | HexDigit(digits[1]));
  }
  const auto number = [&](int first, int count) {
    std::uint32_t value = 0;
    for (int i = 0; i < count; ++i) value = value << 8 | bytes[first + i];
    return value;
  };
  id->Data1 = number(0, 4);
  id->Data2 = static_cast<std::uint16_t>(number(4, 2));
  id->Data3 = static_cast<std::uint16_t>(number(6, 2));
  std::copy_n(bytes + 8, 8, id->Data4);
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

/** The name of a file, with its ending; as much of it as there is room for. */
template <std::size_t kChars>
void CopyName(std::u16string_view path, char16_t (&name)[kChars]) {
  path.remove_prefix(path.find_last_of(u"\\/") + 1);
  const std::size_t chars = path.copy(name, kChars - 1);
  name[chars] = 0;
}

std::uintptr_t TellOfFile(Machine& machine, const char16_t* path, platform::SHFILEINFOW* info,
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
  // Nothing can draw on a bitmap here, so a copy may share its pixels.
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
  platform::BITMAP told{};
  told.bmWidth = static_cast<platform::LONG>(bitmap->picture->width);
  told.bmHeight = static_cast<platform::LONG>(bitmap->picture->height);
  told.bmWidthBytes = static_cast<platform::LONG>((bitmap->picture->width * bitmap->bits + 15) / 16 * 2);
  told.bmPlanes = 1;
  told.bmBitsPixel = static_cast<platform::WORD>(bitmap->bits);
  std::memcpy(description, &told, sizeof told);
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
      [&] { return simulated::TellOfFile(machine, path, info, infoBytes, flags); });
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
