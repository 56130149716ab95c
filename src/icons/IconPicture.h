/**
 * From an executable to its largest icon as a PNG, in memory alone. Any failure is a false result.
 *
 * Extractions may run at once; the image list that they share is fetched without a lock.
 */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/Icons.h"

namespace kestrelbay {

class GdiPlusBitmap;

/**
 * @param path    of the executable
 * @param base64  receives the PNG in base64. Its last character is the NUL that the conversion counts: read
 * it as a C string.
 */
bool IconToPngBase64(const std::u16string& path, std::string& base64);

/** @param icon null is a failure @param png receives the file's bytes */
bool IconToPng(platform::HICON icon, std::vector<std::uint8_t>& png);

/** @param png receives the file's bytes */
bool SaveBitmapAsPng(GdiPlusBitmap& bitmap, std::vector<std::uint8_t>& png);

}  // namespace kestrelbay
