#include <objbase.h>

#include "Apartment.h"

namespace kestrelbay::guard {

// Fails if the host has a multithreaded apartment here: then COM is initialised, which suffices.
Apartment::Apartment() : isOurs(SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {}

Apartment::~Apartment() {
  if (isOurs) CoUninitialize();
}

}  // namespace kestrelbay::guard
