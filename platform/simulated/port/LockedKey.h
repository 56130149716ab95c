/** The key that a handle refers to, as each operation of the registry looks at it. */
#pragma once

#include <mutex>

#include "simulated/base/WindowsNumbers.h"
#include "simulated/machine/Machine.h"

namespace simulated {

/** All rights that there are to a key. */
inline constexpr platform::DWORD kAllAccess = 0xF003F;

/** Holds the registry locked for as long as the key is looked at. */
class LockedKey {
 public:
  /** @param right what the handle must have been opened with, or 0 */
  LockedKey(Machine& machine, platform::HKEY handle, platform::DWORD right)
      : guard_(machine.registry.Lock()), key_(machine.registry.Predefined(handle)) {
    platform::DWORD rights = kAllAccess;
    if (key_) {
      rights &= ~key_->deniedRights;
      predefined_ = true;
    } else if (const OpenedKey* opened = machine.keys.Find(handle)) {
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

  /** 0 when the key may be looked at; else nothing else may be asked. */
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
