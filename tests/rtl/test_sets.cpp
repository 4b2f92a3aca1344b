#include <gtest/gtest.h>

#include <vector>

#include "vnxml/rtl/Sets.h"

using namespace vn;

namespace {

enum TFruit { frApple, frBanana, frCherry, frDate, frElder };
using TFruits = Set<TFruit, frApple, frElder>;
// More members than one machine word holds.
using TByteSet = Set<unsigned char, 0, 255>;
// A range that does not start at zero.
using TDigits = Set<char, '0', '9'>;

template <class S, class T>
std::vector<T> Members(const S &ASet) {
  std::vector<T> r;
  for (T v : ASet) r.push_back(v);
  return r;
}

}  // namespace

TEST(SetsTest, BuildsAndQueriesAtCompileTime) {
  constexpr TFruits s = TFruits{frBanana, frDate} + TFruits{frApple};
  static_assert(s.Contains(frApple) && s.Contains(frDate) && !s.Contains(frCherry));
  static_assert(s.Count() == 3);
  static_assert(TFruits::FromInt(s.ToInt()) == s);
  EXPECT_EQ(s.ToInt(), 0b1011u);
}

TEST(SetsTest, IncludeExcludeAndValuesOutOfRange) {
  TFruits s;
  EXPECT_TRUE(s.Empty());
  s << frCherry << frApple;
  EXPECT_TRUE(s.Contains(frCherry));
  EXPECT_EQ(s.Count(), 2);
  s >> frCherry >> frElder;
  EXPECT_EQ(s, TFruits{frApple});

  // Ordinals beyond the range are neither stored nor contained.
  s << static_cast<TFruit>(7) << static_cast<TFruit>(-1);
  EXPECT_FALSE(s.Contains(static_cast<TFruit>(7)));
  EXPECT_EQ(s.Count(), 1);

  TDigits d{'0', '5', 'a', '9'};
  EXPECT_EQ((Members<TDigits, char>(d)), (std::vector<char>{'0', '5', '9'}));
  EXPECT_FALSE(d.Contains('/'));
  EXPECT_EQ(d.ToInt(), (1u << 0) | (1u << 5) | (1u << 9));
  s.Clear();
  EXPECT_TRUE(s.Empty());
}

TEST(SetsTest, UnionIntersectionDifferenceAndEquality) {
  const TFruits a{frApple, frBanana, frCherry};
  const TFruits b{frBanana, frCherry, frDate};
  EXPECT_EQ(a + b, (TFruits{frApple, frBanana, frCherry, frDate}));
  EXPECT_EQ(a * b, (TFruits{frBanana, frCherry}));
  EXPECT_EQ(a - b, TFruits{frApple});
  EXPECT_EQ(b - a, TFruits{frDate});
  EXPECT_NE(a, b);
  TFruits c = a;
  c -= a;
  EXPECT_TRUE(c.Empty());
  c += b;
  c *= TFruits{frDate, frElder};
  EXPECT_EQ(c, TFruits{frDate});
}

TEST(SetsTest, IteratesInOrdinalOrderAcrossWords) {
  TByteSet s{200, 3, 64, 63, 255, 0};
  EXPECT_EQ((Members<TByteSet, unsigned char>(s)),
            (std::vector<unsigned char>{0, 3, 63, 64, 200, 255}));
  EXPECT_EQ(s.Count(), 6);
  s >> 64;
  EXPECT_FALSE(s.Contains(64));
  EXPECT_TRUE(s.Contains(63));
  const TByteSet none;
  EXPECT_TRUE(none.begin() == none.end());
  EXPECT_EQ((TByteSet{1, 130} * TByteSet{130, 131}), TByteSet{130});
}

TEST(SetsTest, MaskConversionIgnoresBitsBeyondTheRange) {
  const TFruits s = TFruits::FromInt(0xFFFFu);
  EXPECT_EQ(s.Count(), 5);
  EXPECT_EQ(s.ToInt(), 0b11111u);
  EXPECT_EQ(TFruits::FromInt(0b10100u), (TFruits{frCherry, frElder}));
  using TWide = Set<int, 0, 63>;
  EXPECT_EQ(TWide::FromInt(~0ull).Count(), 64);
  EXPECT_EQ(TWide{63}.ToInt(), 1ull << 63);
}
