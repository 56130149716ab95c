#include "platform/GraphicsAdapters.h"

#include <algorithm>

#include "platform/Constants.h"
#include "simulated/base/ComObject.h"
#include "simulated/port/Call.h"

struct IDXGIFactory : simulated::ComObject {
  explicit IDXGIFactory(const std::vector<std::optional<std::u16string>>& machineAdapters)
      : adapters(machineAdapters) {}

  const std::vector<std::optional<std::u16string>> adapters;
};

struct IDXGIAdapter : simulated::ComObject {
  explicit IDXGIAdapter(const std::optional<std::u16string>& adapterName) : name(adapterName) {}

  const std::optional<std::u16string> name;
};

namespace simulated {
namespace {

using platform::DXGI_ADAPTER_DESC;
using platform::HRESULT;

HRESULT MakeFactory(const Machine& machine, const platform::GUID& iid, void** factory) {
  if (!IsSame(iid, platform::IID_IDXGIFactory)) return kNoInterfaceResult;
  *factory = new IDXGIFactory(machine.graphicsAdapters);
  return platform::S_OK;
}

HRESULT FindAdapter(const IDXGIFactory& factory, platform::UINT index, IDXGIAdapter** adapter) {
  if (index >= factory.adapters.size()) return platform::DXGI_ERROR_NOT_FOUND;
  *adapter = new IDXGIAdapter(factory.adapters[index]);
  return platform::S_OK;
}

HRESULT Describe(const IDXGIAdapter& adapter, DXGI_ADAPTER_DESC& description) {
  if (!adapter.name) return kFailedResult;
  description = {};
  // A longer name is cut. The last unit stays 0, as the null terminator.
  adapter.name->copy(description.Description, std::size(description.Description) - 1);
  return platform::S_OK;
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

constexpr Failure<HRESULT> kOutOfMemory{simulated::kOutOfMemoryResult};
constexpr Failure<DWORD> kReleasedAnyway{0, 0, true};

HRESULT CreateDXGIFactory(const GUID& iid, void** factory) {
  Machine& machine = CurrentMachine();
  *factory = nullptr;
  return Perform(
      &machine, "CreateDXGIFactory", kOutOfMemory, [&](Arguments& arguments) { arguments.Hex(iid.Data1); },
      [&] { return simulated::MakeFactory(machine, iid, factory); });
}

HRESULT IDXGIFactory_EnumAdapters(IDXGIFactory* factory, UINT index, IDXGIAdapter** adapter) {
  Machine& machine = CurrentMachine();
  *adapter = nullptr;
  // The product calls this until it fails with exactly this error. If every call failed with another one, the
  // product would never stop: by design, but a test has to end.
  const HRESULT failure =
      machine.faults.Lasting() ? DXGI_ERROR_NOT_FOUND : HRESULT{simulated::kOutOfMemoryResult};
  return Perform(
      &machine, "IDXGIFactory_EnumAdapters", Failure<HRESULT>{failure},
      [&](Arguments& arguments) { arguments.Number(index); },
      [&] { return simulated::FindAdapter(*factory, index, adapter); });
}

DWORD IDXGIFactory_Release(IDXGIFactory* factory) {
  return Perform(
      CurrentMachineOrNull(), "IDXGIFactory_Release", kReleasedAnyway, [](Arguments&) {},
      [&] { return simulated::ReleaseObject(factory); });
}

HRESULT IDXGIAdapter_GetDesc(IDXGIAdapter* adapter, DXGI_ADAPTER_DESC* description) {
  return Perform(
      &CurrentMachine(), "IDXGIAdapter_GetDesc", kOutOfMemory, [](Arguments&) {},
      [&] { return simulated::Describe(*adapter, *description); });
}

DWORD IDXGIAdapter_Release(IDXGIAdapter* adapter) {
  return Perform(
      CurrentMachineOrNull(), "IDXGIAdapter_Release", kReleasedAnyway, [](Arguments&) {},
      [&] { return simulated::ReleaseObject(adapter); });
}

}  // namespace platform
