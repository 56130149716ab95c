#include <objbase.h>

#include "Apartment.h"

namespace kestrelbay::guard {

// Fails if the host has initialised COM on this thread as multithreaded. Icons can be drawn then, too.
Apartment::Apartment() : isOurs(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {}

Apartment::~Apartment() {
  if (isOurs) CoUninitialize();
}

}  // namespace kestrelbay::guard
