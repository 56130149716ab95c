/** How texts reach the host: copied into its own buffer, or into a block that it gives back. */
#pragma once

#include <cstdint>
#include <string>

namespace kestrelbay {

/** @return the host's text; null faults in the scan for its length, as an input that is never checked does */
std::string TextOf(const char* text);

/**
 * Copies a text with its NUL into a host's buffer.
 *
 * The size is sign-extended and compared with the length alone, without the NUL: a negative size is huge, and
 * a size equal to the length goes through to strcpy_s, which then finds no room. Hosts rely on both.
 *
 * @param buffer  not looked at when the size is less than the length
 * @param size    in: size of `buffer` in bytes; out: the text's length, unchanged when it was not copied
 * @return whether the size was enough
 */
bool CopyToHost(const std::string& text, char* buffer, std::int32_t* size);

/**
 * Copies a text up to its first NUL into a malloc block of its length plus one byte.
 *
 * @param output  receives the block before anything is copied: null where there is no memory, which the
 *                invalid-parameter handler of the copy then finds there
 */
void HandOut(const std::string& text, char** output);

/** @return the block that HandOut makes */
char* NewHostText(const std::string& text);

}  // namespace kestrelbay
