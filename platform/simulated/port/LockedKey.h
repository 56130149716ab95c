/** Access to the key that a handle refers to. */
#pragma once

#include <mutex>

#include "simulated/base/WindowsNumbers.h"
#include "simulated/machine/Machine.h"

namespace simulated {

/** KEY_ALL_ACCESS. */
inline constexpr platform::DWORD kAllAccess = 0xF003F;

/** Finds the key of a handle, and holds the registry's lock during its lifetime. */
class LockedKey {
 public:
  /** @param right  an access right that the handle must have, or 0 */
  LockedKey(Machine& machine, platform::HKEY handle, platform::DWORD right)
      : guard_(machine.registry.Lock()), key_(machine.registry.Predefined(handle)) {
    platform::DWORD rights = kAllAccess;
    if (key_) {
      rights &= ~key_->deniedRights;
      predefined_ = true;
    } else if (const auto opened = machine.keys.Find(handle)) {
      key_ = opened->key.get();
      rights = opened->rights;
    }
    if (!key_) {
      status_ = Status(kInvalidHandle);
    } else if (key_->deleted) {
      status_ = Status(kKeyDeleted);
    } else if ((rights & right) != right) {
      status_ = Status(kAccessDenied);
    }
  }

  /** 0 or a Windows error number. REQUIRES for all other functions: it is 0. */
  platform::LSTATUS Problem() const { return status_; }
  bool IsPredefined() const { return predefined_; }
  Key* operator->() const { return key_; }
  Key& operator*() const { return *key_; }

 private:
  std::lock_guard<std::recursive_mutex> guard_;
  Key* key_;
  bool predefined_ = false;
  platform::LSTATUS status_ = 0;
};

}  // namespace simulated
