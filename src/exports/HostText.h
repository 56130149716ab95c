/** Copies texts to the host: into its buffer, or into a block that it gives back. */
#pragma once

#include <cstdint>
#include <string>

namespace kestrelbay {

/** @return a copy of the host's text. Crashes on null: inputs are not checked. */
std::string TextOf(const char* text);

/**
 * Copies a text with its NUL into a host's buffer.
 *
 * By design the size is sign-extended and compared with the length without the NUL. So a negative size is
 * huge, and a size equal to the length reaches strcpy_s, which has no room then. Hosts rely on both.
 *
 * @param buffer  not used if the size is less than the length
 * @param size    in: size of `buffer` in bytes; out: length of the text, unchanged if it was not copied
 * @return whether the size was at least the length
 */
bool CopyToHost(const std::string& text, char* buffer, std::int32_t* size);

/**
 * Copies a text up to its first NUL into a malloc block of its length plus one byte.
 *
 * @param output  out: the block, set before the copy; null if there is no memory. The copy then calls the
 *                invalid-parameter handler.
 */
void HandOut(const std::string& text, char** output);

/** @return the block of HandOut */
char* NewHostText(const std::string& text);

}  // namespace kestrelbay
