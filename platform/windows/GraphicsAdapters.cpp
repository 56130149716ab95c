#include "platform/GraphicsAdapters.h"

#include <windows.h>

#include <dxgi.h>

#include "Casts.h"
#include "Records.h"

namespace platform {
namespace {

CHECK_RECORD(DXGI_ADAPTER_DESC, ::DXGI_ADAPTER_DESC)
CHECK_FIELD(DXGI_ADAPTER_DESC, ::DXGI_ADAPTER_DESC, Description)
CHECK_FIELD(DXGI_ADAPTER_DESC, ::DXGI_ADAPTER_DESC, VendorId)
CHECK_FIELD(DXGI_ADAPTER_DESC, ::DXGI_ADAPTER_DESC, Revision)
CHECK_FIELD(DXGI_ADAPTER_DESC, ::DXGI_ADAPTER_DESC, DedicatedVideoMemory)
CHECK_FIELD(DXGI_ADAPTER_DESC, ::DXGI_ADAPTER_DESC, SharedSystemMemory)

}  // namespace

HRESULT CreateDXGIFactory(const GUID& iid, void** factory) {
  return ::CreateDXGIFactory(Windows(iid), factory);
}

HRESULT IDXGIFactory_EnumAdapters(IDXGIFactory* factory, UINT index, IDXGIAdapter** adapter) {
  return factory->EnumAdapters(index, adapter);
}

DWORD IDXGIFactory_Release(IDXGIFactory* factory) { return factory->Release(); }

HRESULT IDXGIAdapter_GetDesc(IDXGIAdapter* adapter, DXGI_ADAPTER_DESC* description) {
  return adapter->GetDesc(reinterpret_cast<::DXGI_ADAPTER_DESC*>(description));
}

DWORD IDXGIAdapter_Release(IDXGIAdapter* adapter) { return adapter->Release(); }

}  // namespace platform
