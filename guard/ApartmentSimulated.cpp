#include "Apartment.h"

namespace kestrelbay::guard {

Apartment::Apartment() : isOurs(false) {}

Apartment::~Apartment() = default;

}  // namespace kestrelbay::guard
