#include "facts/GraphicsAdapters.h"

#include "base/CommonFunc.h"
#include "platform/Constants.h"
#include "platform/GraphicsAdapters.h"

namespace kestrelbay {
namespace {

// Filters nothing: software adapters and equal cards are listed too.
std::vector<IDXGIAdapter*> Adapters(IDXGIFactory* factory) {
  std::vector<IDXGIAdapter*> adapters;
  for (platform::UINT index = 0;; ++index) {
    IDXGIAdapter* adapter = nullptr;
    // Any other result counts as an adapter: one that cannot be described has an empty name in the list.
    if (platform::IDXGIFactory_EnumAdapters(factory, index, &adapter) == platform::DXGI_ERROR_NOT_FOUND)
      break;
    adapters.push_back(adapter);
  }
  return adapters;
}

std::string DescribeAndRelease(IDXGIAdapter* adapter) {
  platform::DXGI_ADAPTER_DESC description{};
  if (!adapter) return {};
  // The result is not checked: after a failure the name is empty, and its comma stays in the list.
  platform::IDXGIAdapter_GetDesc(adapter, &description);
  std::string name = WideToUtf8(description.Description);
  platform::IDXGIAdapter_Release(adapter);
  return name;
}

}  // namespace

std::vector<std::string> GraphicsAdapterNames() {
  void* created = nullptr;
  if (platform::CreateDXGIFactory(platform::IID_IDXGIFactory, &created) < 0) return {};
  auto* const factory = static_cast<IDXGIFactory*>(created);
  std::vector<std::string> names;
  for (IDXGIAdapter* const adapter : Adapters(factory)) names.push_back(DescribeAndRelease(adapter));
  platform::IDXGIFactory_Release(factory);
  return names;
}

}  // namespace kestrelbay
