/** From the DisplayIcon of an application to the icon text that a client shows. */
#pragma once

#include <string>
#include <string_view>

namespace kestrelbay {

/**
 * @param displayIcon  the registry's text, with quotes and icon index
 * @param extract      whether an executable's icon is to be drawn
 * @return UTF-8: the cleaned path for anything but an executable, which is told by ".exe" in exactly this
 *         case; for an executable a picture as a data URL, or empty where none was asked for or could
 *         be drawn
 */
std::string GetAppIconText(std::u16string_view displayIcon, bool extract);

/** @return the path alone: cut at the first comma, without quotes, doubled backslashes and outer blanks */
std::u16string NormalizeIconPath(std::u16string_view displayIcon);

}  // namespace kestrelbay
