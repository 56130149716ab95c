#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "NaiveInventory.h"
#include "Records.h"
#include "inventory/AppList.h"

namespace kestrelbay {
namespace {

using testing::ElementsAre;

InstalledAppInfo Named(std::u16string name) {
  InstalledAppInfo app;
  app.DisplayName = std::move(name);
  return app;
}

bool Less(std::u16string left, std::u16string right) {
  return AppNameLess(Named(std::move(left)), Named(std::move(right)));
}

TEST(AppNameLess, FoldsAsciiCapitals) {
  InstalledAppList apps = {Named(u"cherry"), Named(u"Banana"), Named(u"apple")};
  std::ranges::sort(apps, AppNameLess);
  EXPECT_THAT(NamesOf(apps), ElementsAre(u"apple", u"Banana", u"cherry"));
}

TEST(AppNameLess, ShorterComesBeforeALongerOneThatStartsWithIt) {
  EXPECT_TRUE(Less(u"Zeta", u"zeta2"));
  EXPECT_FALSE(Less(u"zeta2", u"Zeta"));
  EXPECT_TRUE(Less(u"", u"a"));
}

TEST(AppNameLess, NamesThatDifferInAsciiCaseAloneAreEqual) {
  EXPECT_FALSE(Less(u"APPLE", u"apple"));
  EXPECT_FALSE(Less(u"apple", u"APPLE"));
}

TEST(AppNameLess, OtherLettersAreNotFolded) {
  EXPECT_TRUE(Less(u"\u00c9clair", u"\u00e9clair"));
  EXPECT_FALSE(Less(u"\u00e9clair", u"\u00c9clair"));
  EXPECT_TRUE(Less(u"\u0410", u"\u0430"));
}

TEST(AppNameLess, ComparesByCodeUnit) {
  EXPECT_TRUE(Less(u"z", u"\u00e9"));
  // A character beyond U+FFFF begins with a surrogate, which comes before U+FF21.
  EXPECT_TRUE(Less(u"\U0001F600", u"\uFF21"));
}

TEST(AppNameLess, FoldsToSmallLettersAndNotToCapitals) {
  // "_" lies between the capitals and the small letters.
  EXPECT_TRUE(Less(u"_", u"A"));
  EXPECT_TRUE(Less(u"[", u"Z"));
  EXPECT_TRUE(Less(u"@", u"a"));
}

TEST(AppNameLess, LooksAtNoOtherField) {
  InstalledAppInfo left = Named(u"App");
  InstalledAppInfo right = Named(u"App");
  left.DisplayVersion = u"1";
  right.DisplayVersion = u"2";
  left.architecture = 1;
  right.architecture = 2;
  EXPECT_FALSE(AppNameLess(left, right));
  EXPECT_FALSE(AppNameLess(right, left));
}

InstalledAppList RandomNames(std::mt19937& random, std::size_t count) {
  constexpr char16_t kAlphabet[] = u"aAzZ_[09\u00c9\u00e9\u0410\uFF21";
  constexpr char16_t kSurrogates[] = {0xD800, 0xDC00};
  InstalledAppList apps(count);
  for (InstalledAppInfo& app : apps) {
    for (std::size_t chars = random() % 4; chars > 0; --chars) {
      const std::size_t pick = random() % (std::size(kAlphabet) - 1 + std::size(kSurrogates));
      app.DisplayName +=
          pick < std::size(kSurrogates) ? kSurrogates[pick] : kAlphabet[pick - std::size(kSurrogates)];
    }
  }
  return apps;
}

TEST(AppNameLess, IsAStrictWeakOrdering) {
  std::mt19937 random(1);
  const InstalledAppList apps = RandomNames(random, 60);
  const auto equal = [](const auto& a, const auto& b) { return !AppNameLess(a, b) && !AppNameLess(b, a); };
  for (const InstalledAppInfo& a : apps) {
    EXPECT_FALSE(AppNameLess(a, a));
    for (const InstalledAppInfo& b : apps) {
      EXPECT_FALSE(AppNameLess(a, b) && AppNameLess(b, a));
      for (const InstalledAppInfo& c : apps) {
        EXPECT_TRUE(!AppNameLess(a, b) || !AppNameLess(b, c) || AppNameLess(a, c));
        EXPECT_TRUE(!equal(a, b) || !equal(b, c) || equal(a, c));
      }
    }
  }
}

TEST(AppNameLess, AgreesWithTheOrderWrittenOut) {
  std::mt19937 random(2);
  const InstalledAppList apps = RandomNames(random, 200);
  for (const InstalledAppInfo& a : apps) {
    for (const InstalledAppInfo& b : apps) ASSERT_EQ(AppNameLess(a, b), LessNaively(a, b));
  }
}

}  // namespace
}  // namespace kestrelbay
