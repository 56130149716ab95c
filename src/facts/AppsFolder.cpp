#include "facts/AppsFolder.h"

#include "base/CommonFunc.h"
#include "platform/Constants.h"
#include "platform/ShellFolders.h"

namespace kestrelbay {
namespace {

std::string ReadItemName(IShellItem* item, platform::DWORD form) {
  char16_t* name = nullptr;
  if (platform::IShellItem_GetDisplayName(item, form, &name) < 0) return {};  // the item stays in the list
  const std::string text = WideToUtf8(name);
  platform::CoTaskMemFree(name);
  return text;
}

void ReadItems(IEnumShellItems* items, std::vector<AppsFolderEntry>& entries) {
  IShellItem* item = nullptr;
  // The end and an error are treated alike: the list has the items so far.
  while (platform::IEnumShellItems_Next(items, 1, &item, nullptr) == platform::S_OK) {
    AppsFolderEntry entry;
    entry.parsingName = ReadItemName(item, platform::SIGDN_DESKTOPABSOLUTEPARSING);
    entry.displayName = ReadItemName(item, platform::SIGDN_NORMALDISPLAY);
    entries.push_back(std::move(entry));
    platform::IShellItem_Release(item);
  }
}

}  // namespace

void EnumerateAppsFolder(std::vector<AppsFolderEntry>& entries) {
  platform::CoInitialize(nullptr);  // never undone, because later starts on this thread need it
  entries.clear();
  void* folder = nullptr;
  if (platform::SHCreateItemFromParsingName(u"shell:appsFolder", nullptr, platform::IID_IShellItem, &folder) <
      0) {
    return;
  }
  auto* const folderItem = static_cast<IShellItem*>(folder);
  void* items = nullptr;
  if (platform::IShellItem_BindToHandler(folderItem, nullptr, platform::BHID_EnumItems,
                                         platform::IID_IEnumShellItems, &items) >= 0) {
    auto* const enumerator = static_cast<IEnumShellItems*>(items);
    ReadItems(enumerator, entries);
    platform::IEnumShellItems_Release(enumerator);
  }
  platform::IShellItem_Release(folderItem);
}

}  // namespace kestrelbay
