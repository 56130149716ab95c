/** Writes a bitmap as PNG by the encoder that GDI+ lists for image/png. */
#pragma once

#include <cstdint>
#include <vector>

namespace kestrelbay {

class GdiPlusBitmap;

/** @param png  out: the bytes of the file @return false on failure */
bool SaveBitmapAsPng(GdiPlusBitmap& bitmap, std::vector<std::uint8_t>& png);

}  // namespace kestrelbay
