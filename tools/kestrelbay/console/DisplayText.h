/**
 * Text as a terminal shows it, in cells: a character takes none, one or two.
 *
 * All text is UTF-8. Invalid bytes count as, and are shown as, U+FFFD.
 */
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace cli {

/**
 * Makes characters visible that would act on a terminal or show nothing there. Control characters become
 * their pictures (U+2400 and on). Characters that change the direction of the text, characters of no width
 * and tag characters become U+FFFD. The result is made in one block of memory.
 */
std::string Printable(std::string_view text);

/** Whether a terminal acts on the character: a control character, or one that changes the text's direction.
 */
bool ActsOnTerminal(char32_t code);

/** Returns what to write for a character; an empty text keeps it. */
using Replacement = std::function<std::string(char32_t)>;

/**
 * Replaces characters.
 * @param bytesPerByte  so many bytes are reserved for each byte of `text`. If that is enough, the result is
 * made in one block, which a secret needs: growing would leave a copy behind.
 */
std::string ReplaceCharacters(std::string_view text, std::size_t bytesPerByte,
                              const Replacement& replacement);

/** Returns the cells that a printable text takes. */
int DisplayWidth(std::string_view text);

/**
 * Returns a printable text of at most `cells` cells: the text itself, or its beginning and an ellipsis. A
 * combining mark stays with its character.
 * @param cells  at least 1
 */
std::string CutToWidth(std::string_view text, int cells);

/** Returns the text in lower case and without blanks, to compare names that look alike. */
std::string WithoutCaseAndBlanks(std::string_view text);

}  // namespace cli
