/** The machine's graphics adapters. COM objects and results are as in ShellFolders.h. */
#pragma once

#include "platform/Types.h"

struct IDXGIFactory;
struct IDXGIAdapter;

namespace platform {

/** The description of an adapter; with the layout of Windows. */
struct DXGI_ADAPTER_DESC {
  char16_t Description[128];
  UINT VendorId;
  UINT DeviceId;
  UINT SubSysId;
  UINT Revision;
  std::size_t DedicatedVideoMemory;
  std::size_t DedicatedSystemMemory;
  std::size_t SharedSystemMemory;
  DWORD AdapterLuidLow;
  LONG AdapterLuidHigh;
};
static_assert(sizeof(DXGI_ADAPTER_DESC) == 304);

inline constexpr GUID IID_IDXGIFactory{
    0x7b7166ec, 0x21c7, 0x44ae, {0xb2, 0x1a, 0xc9, 0xae, 0x32, 0x1a, 0xe3, 0x69}};

/** @param factory receives the object of interface `iid`, which the caller releases; nothing on failure */
HRESULT CreateDXGIFactory(const GUID& iid, void** factory);

/**
 * @param adapter  receives the adapter at `index`, which the caller releases; null on failure
 * @return DXGI_ERROR_NOT_FOUND after the last one
 */
HRESULT IDXGIFactory_EnumAdapters(IDXGIFactory* factory, UINT index, IDXGIAdapter** adapter);

DWORD IDXGIFactory_Release(IDXGIFactory* factory);

HRESULT IDXGIAdapter_GetDesc(IDXGIAdapter* adapter, DXGI_ADAPTER_DESC* description);

DWORD IDXGIAdapter_Release(IDXGIAdapter* adapter);

}  // namespace platform
