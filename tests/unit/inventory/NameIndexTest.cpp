#include "inventory/NameIndex.h"

#include <gtest/gtest.h>

#include <deque>
#include <string>

namespace kestrelbay {
namespace {

TEST(NameIndex, FindsNothingInAnEmptyOne) {
  const NameIndex index;
  EXPECT_EQ(index.Find(u"App"), NameIndex::kNone);
  EXPECT_EQ(index.Find(u""), NameIndex::kNone);
}

TEST(NameIndex, NumbersNamesAsTheyCome) {
  NameIndex index;
  EXPECT_EQ(index.FindOrAdd(u"App"), 0U);
  EXPECT_EQ(index.FindOrAdd(u"Other"), 1U);
  EXPECT_EQ(index.FindOrAdd(u"App"), 0U);
  EXPECT_EQ(index.Find(u"Other"), 1U);
}

TEST(NameIndex, TellsNamesApartByCaseLengthAndNul) {
  using namespace std::string_view_literals;
  NameIndex index;
  index.FindOrAdd(u"App");
  for (const std::u16string_view other : {u"APP"sv, u"Ap"sv, u"App "sv, u"App\0"sv, u""sv}) {
    EXPECT_EQ(index.Find(other), NameIndex::kNone);
  }
}

// More names than the table first has room for, several times over.
TEST(NameIndex, KeepsEveryNumberWhileItGrows) {
  constexpr std::uint32_t kNames = 20000;
  std::deque<std::u16string> names;
  NameIndex index;
  for (std::uint32_t number = 0; number < kNames; ++number) {
    const std::string digits = std::to_string(number);
    names.emplace_back(digits.begin(), digits.end());
    ASSERT_EQ(index.FindOrAdd(names.back()), number);
  }
  for (std::uint32_t number = 0; number < kNames; ++number) ASSERT_EQ(index.Find(names[number]), number);
  EXPECT_EQ(index.Find(u"20000"), NameIndex::kNone);
}

}  // namespace
}  // namespace kestrelbay
