/**
 * Names and texts that redaction must not change, even if a user has such a name: the library finds keys and
 * values by them, or compares them. They are the same on every machine and identify nobody.
 */
#pragma once

#include <string_view>

#include "CapturedMachine.h"

namespace capture {

/** Whether the library opens a path with this name, or takes a key of this name for an update. */
bool IsFixedKeyName(std::u16string_view name);
bool IsFixedValueName(std::u16string_view name);

/** Returns how many bytes at the start of a value the library decides by: a number, or a text that it
 * compares. */
std::size_t DecidingBytes(const CapturedValue& value);

/** Whether the value is of type REG_SZ, REG_EXPAND_SZ or REG_MULTI_SZ. Values of other types may hold any
 * bytes. */
bool IsText(const CapturedValue& value);

/** Whether the value has the name to which the machine or a program is registered. */
bool HoldsOwner(std::u16string_view valueName);
/** Whether that is the name of an organisation. */
bool HoldsOrganization(std::u16string_view valueName);
/** Whether the value is a list of proxies. */
bool HoldsProxies(std::u16string_view valueName);

}  // namespace capture
