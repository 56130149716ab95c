#include <vector>

#include "base/CommonFunc.h"
#include "facts/SystemInfo.h"
#include "platform/Constants.h"
#include "platform/Files.h"
#include "platform/Graphics.h"

namespace kestrelbay {
namespace {

constexpr unsigned kMebibyteBits = 20;

std::vector<IDXGIAdapter*> Adapters(IDXGIFactory* factory) {
  std::vector<IDXGIAdapter*> adapters;
  for (platform::UINT index = 0;; ++index) {
    IDXGIAdapter* adapter = nullptr;
    // Any other result counts as an adapter: what cannot be described keeps its place with an empty name.
    if (platform::IDXGIFactory_EnumAdapters(factory, index, &adapter) == platform::DXGI_ERROR_NOT_FOUND)
      break;
    adapters.push_back(adapter);
  }
  return adapters;
}

std::string DescribeAndRelease(IDXGIAdapter* adapter) {
  platform::DXGI_ADAPTER_DESC description{};
  if (!adapter) return {};
  platform::IDXGIAdapter_GetDesc(adapter, &description);
  std::string name = WideToUtf8(description.Description);
  platform::IDXGIAdapter_Release(adapter);
  return name;
}

}  // namespace

std::string SystemInfo::GetGraphics() {
  void* created = nullptr;
  if (platform::CreateDXGIFactory(platform::IID_IDXGIFactory, &created) < 0) return {};
  auto* const factory = static_cast<IDXGIFactory*>(created);
  std::string names;
  const char* separator = "";
  for (IDXGIAdapter* const adapter : Adapters(factory)) {
    names.append(separator).append(DescribeAndRelease(adapter));
    separator = ",";
  }
  platform::IDXGIFactory_Release(factory);
  return names;
}

std::int64_t SystemInfo::GetDiskAvailableSpace(const char* path) {
  if (!path || !*path) return -1;
  const std::u16string root = Utf8ToWide({path[0], ':', '/'});
  std::uint64_t freeToCaller = 0;
  std::uint64_t total = 0;
  std::uint64_t totalFree = 0;
  if (!platform::GetDiskFreeSpaceExW(root.c_str(), &freeToCaller, &total, &totalFree)) return -1;
  return static_cast<std::int64_t>(freeToCaller >> kMebibyteBits);
}

}  // namespace kestrelbay
