#include <gmock/gmock.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "inventory/AppNameLess.h"
#include "support/Records.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;

TEST(AppNameLess, FoldsAsciiCapitals) {
  std::vector<std::u16string> names = {u"cherry", u"Banana", u"apple"};
  std::ranges::sort(names, AppNameLess);
  EXPECT_THAT(names, ElementsAre(u"apple", u"Banana", u"cherry"));
}

TEST(AppNameLess, ShorterComesBeforeALongerOneThatStartsWithIt) {
  EXPECT_TRUE(AppNameLess(u"Zeta", u"zeta2"));
  EXPECT_FALSE(AppNameLess(u"zeta2", u"Zeta"));
  EXPECT_TRUE(AppNameLess(u"", u"a"));
}

TEST(AppNameLess, NamesThatDifferOnlyInAsciiCaseAreEqual) {
  EXPECT_FALSE(AppNameLess(u"APPLE", u"apple"));
  EXPECT_FALSE(AppNameLess(u"apple", u"APPLE"));
}

TEST(AppNameLess, OtherLettersAreNotFolded) {
  EXPECT_TRUE(AppNameLess(u"\u00c9clair", u"\u00e9clair"));
  EXPECT_FALSE(AppNameLess(u"\u00e9clair", u"\u00c9clair"));
  EXPECT_TRUE(AppNameLess(u"\u0410", u"\u0430"));
}

TEST(AppNameLess, ComparesByCodeUnit) {
  EXPECT_TRUE(AppNameLess(u"z", u"\u00e9"));
  // A character beyond U+FFFF begins with a surrogate, which comes before U+FF21.
  EXPECT_TRUE(AppNameLess(u"\U0001F600", u"\uFF21"));
}

TEST(AppNameLess, FoldsToSmallLettersAndNotToCapitals) {
  // "_" is between the capitals and the small letters.
  EXPECT_TRUE(AppNameLess(u"_", u"A"));
  EXPECT_TRUE(AppNameLess(u"[", u"Z"));
  EXPECT_TRUE(AppNameLess(u"@", u"a"));
  EXPECT_TRUE(AppNameLess(u"@", u"_"));
}

std::vector<std::u16string> RandomNames(std::mt19937& random, std::size_t count) {
  constexpr char16_t kAlphabet[] = u"aAzZ_[@`{09\u00c9\u00e9\u0410\uFF21";
  constexpr char16_t kSurrogates[] = {0xD800, 0xDC00};
  std::vector<std::u16string> names(count);
  for (std::u16string& name : names) {
    for (std::size_t chars = random() % 4; chars > 0; --chars) {
      const std::size_t pick = random() % (std::size(kAlphabet) - 1 + std::size(kSurrogates));
      name += pick < std::size(kSurrogates) ? kSurrogates[pick] : kAlphabet[pick - std::size(kSurrogates)];
    }
  }
  return names;
}

TEST(AppNameLess, IsAStrictWeakOrdering) {
  std::mt19937 random(1);
  const std::vector<std::u16string> names = RandomNames(random, 60);
  const auto equal = [](const auto& a, const auto& b) { return !AppNameLess(a, b) && !AppNameLess(b, a); };
  for (const std::u16string& a : names) {
    EXPECT_FALSE(AppNameLess(a, a));
    for (const std::u16string& b : names) {
      EXPECT_FALSE(AppNameLess(a, b) && AppNameLess(b, a));
      for (const std::u16string& c : names) {
        EXPECT_TRUE(!AppNameLess(a, b) || !AppNameLess(b, c) || AppNameLess(a, c));
        EXPECT_TRUE(!equal(a, b) || !equal(b, c) || equal(a, c));
      }
    }
  }
}

TEST(AppNameLess, AgreesWithASecondImplementation) {
  std::mt19937 random(2);
  const std::vector<std::u16string> names = RandomNames(random, 200);
  for (const std::u16string& a : names) {
    for (const std::u16string& b : names) ASSERT_EQ(AppNameLess(a, b), LessNaively(Named(a), Named(b)));
  }
}

}  // namespace
}  // namespace kestrelbay
