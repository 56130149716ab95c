/**
 * What must stay as it is written, whoever the machine's user is: the names by which the library finds keys
 * and values, and the texts by which it decides. They are the same on every machine and tell of none.
 */
#pragma once

#include <string_view>

#include "CapturedMachine.h"

namespace capture {

/** Whether it is one name of the paths that the library opens, or one that it takes for an update's. */
bool IsFixedKeyName(std::u16string_view name);
bool IsFixedValueName(std::u16string_view name);

/** How many bytes at the beginning of a value decide something: a number, or a text that is compared. */
std::size_t DecidingBytes(const CapturedValue& value);

/** REG_SZ and its like; all others may be anything. */
bool IsText(const CapturedValue& value);

/** Whether the value holds the name of who the machine, or one of its programs, is registered to. */
bool HoldsOwner(std::u16string_view valueName);
/** Whether that is an organisation, and no person. */
bool HoldsOrganization(std::u16string_view valueName);
/** Whether the value is a list of proxies. */
bool HoldsProxies(std::u16string_view valueName);

}  // namespace capture
