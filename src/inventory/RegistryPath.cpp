#include "inventory/RegistryPath.h"

#include "base/CommonFunc.h"

namespace kestrelbay {

OpenedPath OpenRegistryPath(const std::string& path) {
  const std::string cleaned = ReplaceAll<char>(path, "\\\\", "\\");
  const std::size_t separator = cleaned.find('\\');
  const std::string rootName = cleaned.substr(0, separator);
  const std::string subKey = separator == cleaned.npos ? cleaned : cleaned.substr(separator + 1);
  // A copy of the root: by design HKEY_CURRENT_USER is closed when the result is destroyed.
  OpenedPath opened{rootName == "HKEY_CURRENT_USER" ? CurrentUserRoot() : LocalMachineRoot(), nullptr};
  opened.key = OpenKey64(opened.root, Utf8ToWide(subKey));
  return opened;
}

}  // namespace kestrelbay
