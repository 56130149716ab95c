/** What a kind of handle refers to. */
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace simulated {

/** A handle value that was never given out before, so that using a closed one is always noticed. */
std::uintptr_t NewObjectHandle();

/** Objects by their handles, which serve as pointers as well. Safe for any number of threads. */
template <class Handle, class Object>
class ObjectTable {
 public:
  Handle Open(std::shared_ptr<Object> object) {
    const std::lock_guard guard(lock_);
    const auto handle = reinterpret_cast<Handle>(NewObjectHandle());
    open_.emplace(handle, std::move(object));
    return handle;
  }

  /** @return what was closed; null for what is no open handle */
  std::shared_ptr<Object> Close(Handle handle) {
    const std::lock_guard guard(lock_);
    const auto found = open_.find(handle);
    if (found == open_.end()) return nullptr;
    std::shared_ptr<Object> closed = std::move(found->second);
    open_.erase(found);
    return closed;
  }

  /** Closes all. */
  void Clear() {
    const std::lock_guard guard(lock_);
    open_.clear();
  }

  /** @return null for what is no open handle */
  std::shared_ptr<Object> Find(Handle handle) const {
    const std::lock_guard guard(lock_);
    const auto found = open_.find(handle);
    return found == open_.end() ? nullptr : found->second;
  }

  std::size_t OpenCount() const {
    const std::lock_guard guard(lock_);
    return open_.size();
  }

 private:
  mutable std::mutex lock_;
  std::unordered_map<Handle, std::shared_ptr<Object>> open_;
};

}  // namespace simulated
