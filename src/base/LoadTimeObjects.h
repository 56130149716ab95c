/**
 * What the library makes when it is loaded, in this order. All but the event are destroyed at unload, in
 * reverse; the event is never closed.
 */
#pragma once

#include <mutex>
#include <string>

#include "platform/Types.h"

namespace kestrelbay {

/** Serialises the starts of installations and removals, not the jobs themselves. */
extern std::recursive_mutex LifecycleMutex;

extern const std::u16string InstallerClassesPath;   ///< machine-wide installer products
extern const std::u16string UninstallKeyPath;       ///< registered applications, in every hive
extern const std::u16string UserProductsPath;       ///< installer products of one user
extern const std::u16string InstallerUserDataPath;  ///< what the installer knows of each user's products
extern const std::u16string ExcludedPublisher;      ///< whose applications are never listed

/** Manual-reset, unnamed; once set it stays set. Null where it could not be made. */
extern const platform::HANDLE StopEvent;

}  // namespace kestrelbay
