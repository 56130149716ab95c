#include "base/LoadTimeObjects.h"

#include "platform/Events.h"

namespace kestrelbay {

// In one file, because C++ defines the order of construction only within a file. The order and the
// destruction at unload are part of the interface.
OwningMutex<std::recursive_mutex> LifecycleMutex;
const std::u16string InstallerClassesPath = u"Software\\Classes\\Installer\\Products";
const std::u16string UninstallKeyPath = u"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall";
const std::u16string UserProductsPath = u"Software\\Microsoft\\Installer\\Products";
const std::u16string InstallerUserDataPath =
    u"Software\\Microsoft\\Windows\\CurrentVersion\\Installer\\UserData";
const std::u16string ExcludedPublisher = u"TOLVAN Handheld Engine";
// Not checked: without the event, each wait of a job fails and so ends at once. Never closed, because a
// worker may still wait for it at unload.
const platform::HANDLE StopEvent = platform::CreateEventW(nullptr, true, false, nullptr);

}  // namespace kestrelbay
