/**
 * Text as a terminal shows it: in cells, of which a character takes none, one or two.
 *
 * All text is UTF-8; what is not counts and shows as U+FFFD.
 */
#pragma once

#include <string>
#include <string_view>

namespace cli {

/**
 * The text without what would act on a terminal instead of showing there: control characters become their
 * pictures (U+2400 and on), those that turn the direction of writing become U+FFFD.
 */
std::string Printable(std::string_view text);

/** Cells that a printable text takes. */
int DisplayWidth(std::string_view text);

/**
 * A printable text of at most `cells` cells: the text itself, or its beginning and an ellipsis. Marks stay
 * with the character that they stand on.
 * @param cells  at least 1
 */
std::string CutToWidth(std::string_view text, int cells);

/** The text in small letters without any blanks: what two names that look alike have in common. */
std::string WithoutCaseAndBlanks(std::string_view text);

}  // namespace cli
