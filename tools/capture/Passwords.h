/** Finds passwords, other secrets and users in settings and command lines. */
#pragma once

#include <string_view>

#include "PersonalText.h"

namespace capture {

/** Adds the values of switches and settings for secrets and users, such as `/password:x`, `-pwd x`, `PWD=x`
 * and `"password": "x"`. */
void FindSecretSettings(std::u16string_view text, PersonalParts& parts);

}  // namespace capture
