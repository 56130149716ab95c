/** COM on the calling thread. */
#pragma once

namespace kestrelbay::guard {

/**
 * Initialises COM on this thread, single-threaded. The destructor uninitialises it. Microsoft's
 * documentation asks for COM on a thread that draws icons or starts a command through the shell. Changes
 * nothing if the host has initialised COM on this thread. On Linux: does nothing.
 */
class Apartment {
 public:
  Apartment();
  ~Apartment();
  Apartment(const Apartment&) = delete;
  Apartment& operator=(const Apartment&) = delete;

 private:
  [[maybe_unused]] bool isOurs = false;  // not used on Linux
};

}  // namespace kestrelbay::guard
