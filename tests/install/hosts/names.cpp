// A name of 87 characters of three bytes is listed and found, but does not fit into a request.
#include <KestrelbayGeneralSDK.h>

#include <cstdint>
#include <cstring>
#include <string>

int main() {
  InitDllLogger([](const char*, std::int32_t, const char*) {});
  std::string name;
  for (int i = 0; i < 87; ++i) name += "\u65e5";
  if (name.size() < sizeof UninstallRequest::displayName) return 1;
  InstalledAppEntry* entries = nullptr;
  std::uint32_t count = 0;
  bool isListed = false;
  GetInstalledAppList(&entries, &count, false);
  for (std::uint32_t i = 0; i < count; ++i) isListed |= entries[i].displayName == name;
  ReleaseInstalledAppList(&entries, static_cast<std::int32_t>(count));
  if (!isListed) return 2;
  char version[1024];
  std::int32_t size = sizeof version;
  return GetAppVersion(name.c_str(), nullptr, version, &size) && !std::strcmp(version, "8.7") ? 0 : 3;
}
