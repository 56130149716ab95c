/** Tables of handles. */
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <mutex>
#include <unordered_map>

namespace simulated {

/** Returns a new handle value. No value is used twice, so the use of a closed handle always fails. */
std::uintptr_t NewObjectHandle();

/** Maps handles to the objects that they refer to. Thread-safe. */
template <class Handle, class Object>
class ObjectTable {
 public:
  Handle Open(std::shared_ptr<Object> object) {
    const std::lock_guard guard(lock_);
    const auto handle = reinterpret_cast<Handle>(NewObjectHandle());
    open_.emplace(handle, std::move(object));
    return handle;
  }

  /** @return the object; null if the handle is not open */
  std::shared_ptr<Object> Close(Handle handle) {
    const std::lock_guard guard(lock_);
    const auto found = open_.find(handle);
    if (found == open_.end()) return nullptr;
    std::shared_ptr<Object> closed = std::move(found->second);
    open_.erase(found);
    return closed;
  }

  /** Closes all handles. */
  void Clear() {
    const std::lock_guard guard(lock_);
    open_.clear();
  }

  /** @return null if the handle is not open */
  std::shared_ptr<Object> Find(Handle handle) const {
    const std::lock_guard guard(lock_);
    const auto found = open_.find(handle);
    return found == open_.end() ? nullptr : found->second;
  }

  std::size_t OpenCount() const {
    const std::lock_guard guard(lock_);
    return open_.size();
  }
  /** Counts the handles whose object `isCounted` accepts. */
  template <class Predicate>
  std::size_t OpenCount(Predicate isCounted) const {
    const std::lock_guard guard(lock_);
    const auto counts = [&](const auto& entry) { return isCounted(*entry.second); };
    return static_cast<std::size_t>(std::ranges::count_if(open_, counts));
  }

 private:
  mutable std::mutex lock_;
  std::unordered_map<Handle, std::shared_ptr<Object>> open_;
};

}  // namespace simulated
