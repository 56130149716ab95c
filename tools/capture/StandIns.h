/** What is written in place of names that must not be known: of the same length, and never another name. */
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>

namespace capture {

/** Names are given folded; stand-ins are in small letters, where it is not said otherwise. */
class StandIns {
 public:
  enum class Alphabet { Letters, Hexadecimal, Decimal };

  /** Takes note of a name, which no stand-in may be or, from four characters on, hold. */
  void Avoid(std::u16string_view name);

  /** Sets what stands in for a name that another's stand-in is a part or another form of. */
  void Give(const std::u16string& name, const std::u16string& standIn);

  /** Whether that is a stand-in, given before. */
  bool IsGiven(const std::u16string& name) const { return given_.contains(name); }

  /**
   * The stand-in of a name, always the same. It has the name's length and its per cent signs and, but for the
   * alphabet of letters, its other signs; the numbers of a SID do not begin with 0 and stay numbers of 32
   * bits.
   * @param prefix  how it begins where there is room, to tell a reader what it stands for
   */
  const std::u16string& Of(const std::u16string& name, Alphabet alphabet, std::u16string_view prefix);

  /**
   * The stand-in with the capitals of the name as it is spelt: two spellings that differ stay two, which are
   * equal only where names are compared without regard to case.
   */
  static std::u16string Spelt(std::u16string standIn, std::u16string_view spelling);

 private:
  bool IsTaken(const std::u16string& standIn) const;

  std::set<std::u16string> avoided_;
  std::set<std::u16string> given_;
  std::map<std::u16string, std::u16string> made_;
  std::map<std::u16string, std::size_t> next_;
};

}  // namespace capture
