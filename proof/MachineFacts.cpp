#include "MachineFacts.h"

#include <windows.h>

#include <iterator>
#include <string>

#include "MachineInUse.h"

namespace proof {
namespace {

using Json = nlohmann::ordered_json;

std::string Narrow(const wchar_t* text) {
  char narrow[512] = {};
  WideCharToMultiByte(CP_UTF8, 0, text, -1, narrow, sizeof narrow - 1, nullptr, nullptr);
  return narrow;
}

constexpr const wchar_t* kWindowsKey = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion";

std::string TextOf(const wchar_t* name) {
  wchar_t text[256] = {};
  DWORD bytes = sizeof text - sizeof *text;
  RegGetValueW(HKEY_LOCAL_MACHINE, kWindowsKey, name, RRF_RT_REG_SZ, nullptr, text, &bytes);
  return Narrow(text);
}

/** Calls RtlGetVersion, because GetVersionEx reports an older version to a program without a manifest. */
Json Version() {
  using GetVersion = LONG(WINAPI*)(OSVERSIONINFOW*);
  OSVERSIONINFOW version = {};
  version.dwOSVersionInfoSize = sizeof version;
  const HMODULE system = GetModuleHandleW(L"ntdll.dll");
  reinterpret_cast<GetVersion>(reinterpret_cast<void*>(GetProcAddress(system, "RtlGetVersion")))(&version);
  DWORD update = 0;
  DWORD bytes = sizeof update;
  RegGetValueW(HKEY_LOCAL_MACHINE, kWindowsKey, L"UBR", RRF_RT_REG_DWORD, nullptr, &update, &bytes);
  return {{"major", version.dwMajorVersion},   {"minor", version.dwMinorVersion},
          {"build", version.dwBuildNumber},    {"update", update},
          {"product", TextOf(L"ProductName")}, {"displayVersion", TextOf(L"DisplayVersion")}};
}

Json WineVersion() {
  using GetVersion = const char* (*)();
  const auto* found =
      reinterpret_cast<void*>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version"));
  return found ? Json(reinterpret_cast<GetVersion>(const_cast<void*>(found))()) : Json();
}

}  // namespace

Json ReadMachineFacts() {
  wchar_t locale[LOCALE_NAME_MAX_LENGTH] = {};
  GetUserDefaultLocaleName(locale, LOCALE_NAME_MAX_LENGTH);
  SYSTEM_INFO system = {};
  GetNativeSystemInfo(&system);
  return {{"windows", Version()},
          {"wine", WineVersion()},
          {"ansiCodePage", GetACP()},
          {"oemCodePage", GetOEMCP()},
          {"locale", Narrow(locale)},
          {"elevated", tests::IsElevated()},
          {"processors", system.dwNumberOfProcessors}};
}

}  // namespace proof
