/**
 * The names of a registry's values, each kept once: thousands of keys hold values of the same few names.
 *
 * Takes no lock; belongs to a tree of keys and is guarded by what guards them.
 */
#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_set>

namespace simulated {

class NamePool {
 public:
  using Id = std::uint32_t;
  static constexpr Id kNone = UINT32_MAX;

  /** Identifies a name whatever its case; kNone where no value of the tree was ever called so. */
  Id Find(std::u16string_view name) const;
  /** Identifies this very spelling of the name, which is kept from now on. */
  Id Add(std::u16string_view name);

  const std::u16string& Text(Id spelling) const { return spellings_[spelling].text; }
  /** What Find answers for that spelling. */
  Id NameOf(Id spelling) const { return spellings_[spelling].name; }

 private:
  struct Spelling {
    std::u16string text;
    Id name;
    /** The next spelling of the same name. */
    Id next;
  };
  struct Entry {
    std::u16string_view text;
    Id name;
  };
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::u16string_view text) const;
    std::size_t operator()(const Entry& entry) const { return (*this)(entry.text); }
  };
  struct Same {
    using is_transparent = void;
    bool operator()(const Entry& left, const Entry& right) const { return (*this)(left.text, right); }
    bool operator()(std::u16string_view left, const Entry& right) const;
  };

  Id Append(std::u16string_view text, Id name);

  std::deque<Spelling> spellings_;
  std::unordered_set<Entry, Hash, Same> names_;
};

}  // namespace simulated
