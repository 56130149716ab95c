#include "FactsCapture.h"

#include <algorithm>
#include <array>
#include <set>

#include "MachineCalls.h"
#include "Text.h"
#include "platform/Constants.h"
#include "platform/Files.h"
#include "platform/GraphicsAdapters.h"
#include "platform/ShellFolders.h"

namespace capture {
namespace {

/** More adapters than any machine has. Without a limit, a faulty driver could keep the enumeration running.
 */
constexpr platform::UINT kMostAdapters = 256;

constexpr std::u16string_view kOwnVariables[] = {u"ALLUSERSPROFILE",
                                                 u"APPDATA",
                                                 u"COMMONPROGRAMFILES",
                                                 u"COMMONPROGRAMFILES(X86)",
                                                 u"COMMONPROGRAMW6432",
                                                 u"COMPUTERNAME",
                                                 u"HOMEDRIVE",
                                                 u"HOMEPATH",
                                                 u"LOCALAPPDATA",
                                                 u"OS",
                                                 u"PROCESSOR_ARCHITECTURE",
                                                 u"PROGRAMDATA",
                                                 u"PROGRAMFILES",
                                                 u"PROGRAMFILES(X86)",
                                                 u"PROGRAMW6432",
                                                 u"PUBLIC",
                                                 u"SYSTEMDRIVE",
                                                 u"SYSTEMROOT",
                                                 u"TEMP",
                                                 u"TMP",
                                                 u"USERDOMAIN",
                                                 u"USERNAME",
                                                 u"USERPROFILE",
                                                 u"WINDIR"};

std::optional<std::u16string> DescribeAndRelease(IDXGIAdapter* adapter) {
  platform::DXGI_ADAPTER_DESC description{};
  if (!adapter) return {};
  const platform::HRESULT result = platform::IDXGIAdapter_GetDesc(adapter, &description);
  platform::IDXGIAdapter_Release(adapter);
  const std::u16string_view room(description.Description, std::size(description.Description));
  const std::u16string name(room.substr(0, room.find(u'\0')));
  return result < 0 || name.empty() ? std::nullopt : std::optional(name);
}

void CaptureAdapters(CapturedMachine& machine) {
  void* created = nullptr;
  if (platform::CreateDXGIFactory(platform::IID_IDXGIFactory, &created) < 0) return;
  auto* const factory = static_cast<IDXGIFactory*>(created);
  for (platform::UINT index = 0; index < kMostAdapters; ++index) {
    IDXGIAdapter* adapter = nullptr;
    if (platform::IDXGIFactory_EnumAdapters(factory, index, &adapter) == platform::DXGI_ERROR_NOT_FOUND)
      break;
    machine.graphicsAdapters.push_back(DescribeAndRelease(adapter));
  }
  platform::IDXGIFactory_Release(factory);
}

/** A and B are floppy disks, whose drives would start. */
void CaptureDisks(CapturedMachine& machine) {
  for (char letter = 'C'; letter <= 'Z'; ++letter) {
    const std::u16string root{static_cast<char16_t>(letter), u':', u'/'};
    std::uint64_t freeToCaller = 0;
    std::uint64_t size = 0;
    std::uint64_t free = 0;
    if (platform::GetDiskFreeSpaceExW(root.c_str(), &freeToCaller, &size, &free))
      machine.disks[letter] = {freeToCaller, std::max(size, freeToCaller)};
  }
}

std::optional<std::u16string> ItemName(IShellItem* item, platform::DWORD form) {
  char16_t* name = nullptr;
  if (platform::IShellItem_GetDisplayName(item, form, &name) < 0 || !name) return {};
  std::u16string text = name;
  platform::CoTaskMemFree(name);
  return text;
}

void CaptureItems(IEnumShellItems* enumerator, CapturedMachine& machine) {
  while (true) {
    IShellItem* item = nullptr;
    const platform::HRESULT result = platform::IEnumShellItems_Next(enumerator, 1, &item, nullptr);
    if (result < 0) machine.apps.emplace_back(std::nullopt);
    if (result != platform::S_OK) return;
    // In the order in which the library asks.
    CapturedApp app;
    app.id = ItemName(item, platform::SIGDN_DESKTOPABSOLUTEPARSING);
    app.name = ItemName(item, platform::SIGDN_NORMALDISPLAY);
    machine.apps.emplace_back(std::move(app));
    platform::IShellItem_Release(item);
  }
}

void CaptureAppsFolder(CapturedMachine& machine) {
  void* created = nullptr;
  platform::CoInitialize(nullptr);
  if (platform::SHCreateItemFromParsingName(u"shell:appsFolder", nullptr, platform::IID_IShellItem,
                                            &created) < 0)
    return;
  machine.hasAppsFolder = true;
  auto* const folder = static_cast<IShellItem*>(created);
  void* enumerator = nullptr;
  if (platform::IShellItem_BindToHandler(folder, nullptr, platform::BHID_EnumItems,
                                         platform::IID_IEnumShellItems, &enumerator) < 0) {
    machine.notes.push_back({u"", u"the items of the apps folder cannot be listed"});
  } else {
    CaptureItems(static_cast<IEnumShellItems*>(enumerator), machine);
    platform::IEnumShellItems_Release(static_cast<IEnumShellItems*>(enumerator));
  }
  platform::IShellItem_Release(folder);
}

/** Returns the names between percent signs in texts that Windows expands, in capitals. */
std::set<std::u16string> NamedVariables(const CapturedMachine& machine) {
  std::set<std::u16string> names;
  for (const CapturedKey& key : machine.keys) {
    for (const CapturedValue& value : key.values) {
      if (value.type != platform::REG_EXPAND_SZ) continue;
      std::u16string text(value.bytes.size() / 2, u'\0');
      std::copy_n(value.bytes.data(), text.size() * 2, reinterpret_cast<std::uint8_t*>(text.data()));
      // Text on both sides of a sign may be a name; which one is depends on the variables that are set.
      for (std::size_t at = 0, end = 0; end != text.npos; at = end + 1) {
        end = text.find(u'%', at);
        names.insert(AsciiUpper(text.substr(at, end - at)));
      }
    }
  }
  return names;
}

}  // namespace

bool IsWindowsVariable(std::u16string_view upper) {
  return std::ranges::find(kOwnVariables, upper) != std::end(kOwnVariables);
}

std::u16string CapturedMachine::Variable(std::u16string_view name) const {
  for (const auto& [spelling, value] : environment) {
    if (AsciiUpper(spelling) == AsciiUpper(name)) return value;
  }
  return {};
}

void CaptureFacts(CapturedMachine& machine) {
  std::array<char, 4096> text{};
  const auto room = static_cast<platform::DWORD>(text.size());
  machine.hostPath = FromAnsi({text.data(), platform::GetModuleFileNameA(nullptr, text.data(), room)});
  const platform::DWORD bytes = platform::GetCurrentDirectoryA(room, text.data());
  if (bytes < room) machine.currentDirectory = FromAnsi({text.data(), bytes});
  CaptureAdapters(machine);
  CaptureDisks(machine);
  CaptureAppsFolder(machine);
}

void CaptureEnvironment(CapturedMachine& machine) {
  std::set<std::u16string> wanted = NamedVariables(machine);
  wanted.insert(std::begin(kOwnVariables), std::end(kOwnVariables));
  for (auto& [name, value] : EnvironmentVariables()) {
    // If two names differ only in case, Windows finds the first one.
    if (wanted.erase(AsciiUpper(name)) != 0) machine.environment.emplace_back(name, value);
  }
}

}  // namespace capture
