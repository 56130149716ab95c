/**
 * The objects that the library creates at load, in this order. At unload they are destroyed in reverse order,
 * except the event, which is never closed.
 */
#pragma once

#include <mutex>
#include <string>

#include "base/OwningMutex.h"
#include "platform/Types.h"

namespace kestrelbay {

/** Serialises the starts of installations and uninstallations, not the jobs themselves. */
extern OwningMutex<std::recursive_mutex> LifecycleMutex;

extern const std::u16string InstallerClassesPath;   ///< machine-wide installer products
extern const std::u16string UninstallKeyPath;       ///< registered applications, in every hive
extern const std::u16string UserProductsPath;       ///< installer products of one user
extern const std::u16string InstallerUserDataPath;  ///< the installer's data on the products of each user
extern const std::u16string ExcludedPublisher;      ///< the applications of this publisher are never listed

/** Manual-reset and unnamed. Once set, it stays set. Null if CreateEventW failed. */
extern const platform::HANDLE StopEvent;

}  // namespace kestrelbay
