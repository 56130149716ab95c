/** A secret in memory. */
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "console/System.h"

namespace cli {

/**
 * One block of fixed size on the heap, wiped at the end. It is never copied, moved or grown: each of these
 * would leave a second copy of the secret behind. (A short std::string keeps its text in the object itself,
 * so that even moving one copies the text.)
 */
class SecretText {
 public:
  explicit SecretText(std::size_t capacityBytes)
      : bytes_(std::make_unique<char[]>(capacityBytes + 1)), capacity_(capacityBytes) {}
  ~SecretText() { Wipe(bytes_.get(), capacity_ + 1); }
  SecretText(const SecretText&) = delete;
  SecretText& operator=(const SecretText&) = delete;

  /** Where the text is written; Resize tells then how much of it there is. */
  char* Data() { return bytes_.get(); }
  std::size_t Capacity() const { return capacity_; }
  /** @param size  at most Capacity() */
  void Resize(std::size_t size) {
    size_ = size;
    bytes_[size] = '\0';
  }

  std::string_view Get() const { return {bytes_.get(), size_}; }
  /** Null-terminated. */
  const char* c_str() const { return bytes_.get(); }

 private:
  const std::unique_ptr<char[]> bytes_;
  const std::size_t capacity_;
  std::size_t size_ = 0;
};

}  // namespace cli
