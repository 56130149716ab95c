/** Standard mutexes that free what the runtime allocates for them. */
#pragma once

#include "platform/Events.h"

namespace kestrelbay {

/**
 * A standard mutex whose destructor frees its resources on every toolchain.
 *
 * The standard mutexes of mingw-w64 are trivially destructible, although the runtime allocates a block for
 * the first lock and an event for the first wait. Without this destructor, each load of the library leaks
 * both.
 */
template <class StandardMutex>
class OwningMutex : public StandardMutex {
 public:
  /** REQUIRES: no thread holds the mutex or waits for it. */
  ~OwningMutex() { platform::DestroyMutex(*this); }
};

}  // namespace kestrelbay
