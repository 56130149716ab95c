// Keys with many values: the index that finds them agrees with a search.
#include "simulated/registry/Key.h"

#include <gtest/gtest.h>

#include <ctime>

namespace simulated {
namespace {

std::u16string NameOf(std::size_t number) {
  const std::string digits = std::to_string(number);
  return u"Value" + std::u16string(digits.begin(), digits.end());
}

bool Has(Key& key, std::u16string_view name) {
  ValueView value;
  return key.FindValue(name, value) && SameName(value.name, name);
}

TEST(KeyValues, ManyAreFoundAfterEachSecondIsRemoved) {
  constexpr std::size_t kCount = 300;
  Key key(u"key");
  for (std::size_t i = 0; i < kCount; ++i) key.SetValue(NameOf(i), 1, {});
  for (std::size_t i = 0; i < kCount; i += 2) EXPECT_TRUE(key.RemoveValue(NameOf(i)));
  for (std::size_t i = 0; i < kCount; ++i) EXPECT_EQ(Has(key, NameOf(i)), i % 2 == 1) << i;
  EXPECT_FALSE(key.RemoveValue(NameOf(0)));
  EXPECT_TRUE(Has(key, u"VALUE299"));
}

TEST(KeyValues, ManyKeepTheOrderInWhichTheyWereSet) {
  constexpr std::size_t kCount = 300;
  Key key(u"key");
  for (std::size_t i = kCount; i > 0; --i) key.SetValue(NameOf(i), 1, {});
  key.SetValue(NameOf(7), 2, {});
  EXPECT_EQ(key.ValueCount(), kCount);
  for (std::size_t i = 0; i < kCount; ++i) EXPECT_EQ(key.ValueAt(i).name, NameOf(kCount - i));
  EXPECT_EQ(key.ValueAt(kCount - 7).type, 2U);
}

TEST(KeyValues, ValuesAddedWithoutASearchAreFound) {
  Key key(u"key");
  for (std::size_t i = 0; i < 100; ++i) key.SetValue(NameOf(i), 1, {});
  for (std::size_t i = 100; i < 200; ++i) key.AddValue(NameOf(i), 1, {});
  for (std::size_t i = 0; i < 200; ++i) EXPECT_TRUE(Has(key, NameOf(i))) << i;
  key.AddValue(u"Last", 1, {});
  EXPECT_TRUE(key.RemoveValue(NameOf(150)));
  EXPECT_TRUE(Has(key, u"last"));
  EXPECT_FALSE(Has(key, NameOf(150)));
}

// The processor's time, because a busy machine must not matter.
TEST(KeyValues, TimeOfManyIsNotQuadratic) {
  constexpr std::clock_t kMost = 5 * CLOCKS_PER_SEC;
  const std::clock_t begin = std::clock();
  Key key(u"key");
  for (std::size_t i = 0; i < 40'000; ++i) key.SetValue(NameOf(i), 1, {});
  EXPECT_LT(std::clock() - begin, kMost);
}

}  // namespace
}  // namespace simulated
