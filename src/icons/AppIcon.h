/** Turns the DisplayIcon of an application into the icon text for clients. */
#pragma once

#include <string>
#include <string_view>

namespace kestrelbay {

/**
 * @param displayIcon  the text in the registry, with quotes and icon index
 * @param extract      whether to draw the icon of an executable
 * @return UTF-8. A text with ".exe" in exactly this case is an executable: its picture as a data URL, or
 * empty without `extract` and on failure. Any other text: its normalized path.
 */
std::string GetAppIconText(std::u16string_view displayIcon, bool extract);

/** @return the path: cut at the first comma, without quotes, doubled backslashes and outer blanks */
std::u16string NormalizeIconPath(std::u16string_view displayIcon);

}  // namespace kestrelbay
