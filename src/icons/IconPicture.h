/**
 * Turns the largest icon of an executable into a PNG in memory. Each function returns false on failure.
 *
 * Extractions may run at once. By design they fetch their shared image list without a lock.
 */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/Icons.h"

namespace kestrelbay {

/**
 * @param path    of the executable
 * @param base64  out: the PNG in base64. Its last character is a NUL, because the conversion counts the NUL:
 * use it as a C string.
 */
bool IconToPngBase64(const std::u16string& path, std::string& base64);

/** @param icon  null fails @param png  out: the bytes of the file */
bool IconToPng(platform::HICON icon, std::vector<std::uint8_t>& png);

}  // namespace kestrelbay
