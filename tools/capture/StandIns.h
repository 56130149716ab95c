/** Replacements for names: of the same length, and different from all names. */
#pragma once

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace capture {

/** Names are Folded(); stand-ins are in lower case, except as stated. */
class StandIns {
 public:
  enum class Alphabet { Letters, Hexadecimal, Decimal };

  /** Adds a name that no stand-in may be equal to. If it has four characters or more, no stand-in contains
   * it. */
  void Avoid(std::u16string_view name);

  /** Fixes the stand-in of a name that is derived from another name. */
  void Give(const std::u16string& name, const std::u16string& standIn);

  /** Whether this text is a stand-in. */
  bool IsGiven(const std::u16string& name) const { return given_.contains(name); }

  /**
   * Returns the stand-in of a name, always the same one. It has the length and the percent signs of the name.
   * With an alphabet of digits it has the other signs of the name too, and the numbers of a SID do not begin
   * with 0 and fit in 32 bits.
   * @param prefix  begins the stand-in if there is room, to show what it replaces
   */
  const std::u16string& Of(const std::u16string& name, Alphabet alphabet, std::u16string_view prefix);

  /**
   * Returns the stand-in with capitals where the name has them. So two spellings of a name stay different
   * texts, which are equal where names are compared without regard to case.
   */
  static std::u16string Spelt(std::u16string standIn, std::u16string_view spelling);

 private:
  /** The stand-ins of one length are numbered. */
  struct Numbering {
    std::size_t last = 0;
    bool isExhausted = false;
  };

  bool IsTaken(const std::u16string& standIn) const;

  std::set<std::u16string, std::less<>> avoided_;
  std::set<std::u16string> given_;
  std::map<std::u16string, std::u16string> made_;
  /** By prefix and length. */
  std::map<std::u16string, Numbering> next_;
};

}  // namespace capture
