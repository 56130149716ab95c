#include "Apartment.h"

namespace kestrelbay::guard {

Apartment::Apartment() = default;

Apartment::~Apartment() = default;

}  // namespace kestrelbay::guard
