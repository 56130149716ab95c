#include "platform/ShellFolders.h"

#include <algorithm>

#include "platform/Constants.h"
#include "simulated/base/ComObject.h"
#include "simulated/base/Memory.h"
#include "simulated/port/Call.h"
#include "simulated/registry/Key.h"

struct IShellItem : simulated::ComObject {
  IShellItem(simulated::AppsFolderItem itemNames, bool isAppsFolder)
      : names(std::move(itemNames)), isFolder(isAppsFolder) {}

  const simulated::AppsFolderItem names;
  const bool isFolder;
};

struct IEnumShellItems : simulated::ComObject {
  explicit IEnumShellItems(const simulated::AppsFolder& folder) : items(folder.items) {}

  const std::vector<std::optional<simulated::AppsFolderItem>> items;
  std::size_t next = 0;
};

namespace simulated {
namespace {

using platform::DWORD;
using platform::GUID;
using platform::HRESULT;

constexpr HRESULT kFalse = 1;

/** COM counts per thread: a second initialisation succeeds with S_FALSE. */
HRESULT InitialiseThread() {
  thread_local bool isInitialised = false;
  return std::exchange(isInitialised, true) ? kFalse : platform::S_OK;
}

/** The apps folder is the only shell folder of this machine. */
HRESULT Parse(const AppsFolder& folder, std::u16string_view name, const GUID& iid, void** item) {
  if (!folder.isThere || !SameName(name, u"shell:AppsFolder")) return kFileNotFoundResult;
  if (!IsSame(iid, platform::IID_IShellItem)) return kNoInterfaceResult;
  *item = new IShellItem({u"Applications", u"::{4234D49B-0245-4DF3-B780-3893943456E1}"}, true);
  return platform::S_OK;
}

HRESULT Bind(const AppsFolder& folder, const IShellItem& item, const GUID& handlerId, const GUID& iid,
             void** handler) {
  if (!item.isFolder || !IsSame(handlerId, platform::BHID_EnumItems)) return kNoObjectResult;
  if (!IsSame(iid, platform::IID_IEnumShellItems)) return kNoInterfaceResult;
  *handler = new IEnumShellItems(folder);
  return platform::S_OK;
}

HRESULT CopyDisplayName(const IShellItem& item, DWORD form, char16_t** name) {
  const bool isParsingName = form == platform::SIGDN_DESKTOPABSOLUTEPARSING;
  if (!isParsingName && form != platform::SIGDN_NORMALDISPLAY) return kInvalidArgumentResult;
  const std::optional<std::u16string>& text = isParsingName ? item.names.id : item.names.name;
  if (!text) return kFailedResult;
  *name = static_cast<char16_t*>(Allocate((text->size() + 1) * sizeof(char16_t)));
  std::copy_n(text->c_str(), text->size() + 1, *name);
  return platform::S_OK;
}

HRESULT Fetch(IEnumShellItems& enumerator, DWORD count, IShellItem** items, DWORD& fetched) {
  for (; fetched < count && enumerator.next < enumerator.items.size(); ++fetched) {
    const std::optional<AppsFolderItem>& item = enumerator.items[enumerator.next];
    if (!item) return kFailedResult;
    items[fetched] = new IShellItem(*item, false);
    ++enumerator.next;
  }
  return fetched == count ? platform::S_OK : kFalse;
}

}  // namespace
}  // namespace simulated

namespace platform {

using simulated::Arguments;
using simulated::CurrentMachine;
using simulated::CurrentMachineOrNull;
using simulated::Machine;
using simulated::Perform;

constexpr simulated::Failure<HRESULT> kOutOfMemory{simulated::kOutOfMemoryResult};
constexpr simulated::Failure<DWORD> kReleasedAnyway{0, 0, true};

HRESULT CoInitialize(void* reserved) {
  return Perform(
      &CurrentMachine(), "CoInitialize", kOutOfMemory,
      [&](Arguments& arguments) { arguments.Handle(reserved); },
      [] { return simulated::InitialiseThread(); });
}

void CoTaskMemFree(void* memory) {
  Perform(
      CurrentMachineOrNull(), "CoTaskMemFree", [](Arguments&) {}, [&] { simulated::Deallocate(memory); });
}

HRESULT SHCreateItemFromParsingName(const char16_t* parsingName, void* bindContext, const GUID& iid,
                                    void** item) {
  Machine& machine = CurrentMachine();
  *item = nullptr;
  return Perform(
      &machine, "SHCreateItemFromParsingName", kOutOfMemory,
      [&](Arguments& arguments) { arguments.Text(parsingName).Handle(bindContext).Hex(iid.Data1); },
      [&] { return simulated::Parse(machine.appsFolder, parsingName, iid, item); });
}

HRESULT IShellItem_BindToHandler(IShellItem* item, void* bindContext, const GUID& handlerId, const GUID& iid,
                                 void** handler) {
  Machine& machine = CurrentMachine();
  *handler = nullptr;
  return Perform(
      &machine, "IShellItem_BindToHandler", kOutOfMemory,
      [&](Arguments& arguments) { arguments.Handle(bindContext).Hex(handlerId.Data1).Hex(iid.Data1); },
      [&] { return simulated::Bind(machine.appsFolder, *item, handlerId, iid, handler); });
}

HRESULT IShellItem_GetDisplayName(IShellItem* item, DWORD form, char16_t** name) {
  return Perform(
      &CurrentMachine(), "IShellItem_GetDisplayName", kOutOfMemory,
      [&](Arguments& arguments) { arguments.Hex(form); },
      [&] { return simulated::CopyDisplayName(*item, form, name); });
}

DWORD IShellItem_Release(IShellItem* item) {
  return Perform(
      CurrentMachineOrNull(), "IShellItem_Release", kReleasedAnyway, [](Arguments&) {},
      [&] { return simulated::ReleaseObject(item); });
}

HRESULT IEnumShellItems_Next(IEnumShellItems* enumerator, DWORD count, IShellItem** items, DWORD* fetched) {
  DWORD counted = 0;
  const HRESULT result = Perform(
      &CurrentMachine(), "IEnumShellItems_Next", kOutOfMemory,
      [&](Arguments& arguments) { arguments.Number(count).Handle(fetched); },
      [&] { return simulated::Fetch(*enumerator, count, items, counted); });
  if (fetched) *fetched = counted;
  return result;
}

DWORD IEnumShellItems_Release(IEnumShellItems* enumerator) {
  return Perform(
      CurrentMachineOrNull(), "IEnumShellItems_Release", kReleasedAnyway, [](Arguments&) {},
      [&] { return simulated::ReleaseObject(enumerator); });
}

}  // namespace platform
