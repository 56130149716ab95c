/** The icons of files without an icon. They are drawn here, because the pictures of Windows must not be
 * copied. */
#pragma once

#include "simulated/pictures/Picture.h"

namespace simulated {

/** Draws the icon of a program without an icon: a window. */
Picture DrawWindow(std::uint32_t sidePixels);

/** Draws the icon of a folder. */
Picture DrawFolder(std::uint32_t sidePixels);

}  // namespace simulated
