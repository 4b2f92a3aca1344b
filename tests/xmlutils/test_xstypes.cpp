#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <limits>

#include "exception_text.h"
#include "time_zone.h"
#include "vnxml/xml/uVnXSTypes.h"

using namespace vn;

using vntest::MessageOf;

TEST(XsIntegerTest, FreshRecordsAreNull) {
  TXsInt i;
  TXsDouble d;
  TXsDate dt;
  EXPECT_TRUE(i.IsNull());
  EXPECT_EQ(i.ToString(), u"NaN");
  EXPECT_EQ(d.ToString(), u"NaN");
  EXPECT_EQ(dt.ToString(), u"");
  EXPECT_EQ(static_cast<Integer>(i), 0);
  EXPECT_TRUE(VarIsNull(i.ToVariant()));
  i = 5;
  EXPECT_FALSE(i.IsNull());
  EXPECT_EQ(i.ToString(), u"5");
  EXPECT_EQ(VarToStr(i.ToVariant()), u"5");
  EXPECT_EQ(VarType(i.ToVariant()), varUString);
  i.Clear();
  EXPECT_TRUE(i.IsNull());
}

TEST(XsIntegerTest, FacetsAreCheckedOnAssignmentButNotOnParsing) {
  TXsInt i;
  i.Restrictions.MaxExclusive = TXsAnySimpleType<Integer>(10);
  i = 3;
  EXPECT_EQ(MessageOf([&] { i = 10; }),
            u"EArgumentOutOfRangeException: The specified value is greater than, or equal to, the "
            u"maximal value!");
  EXPECT_EQ(static_cast<Integer>(i), 3) << "a failed check keeps the old value";
  EXPECT_FALSE(i.IsNull());
  i.FromString(u"10");
  EXPECT_EQ(static_cast<Integer>(i), 10) << "parsed text is exempt";

  TXsInt j;
  j.Restrictions.MinInclusive = TXsAnySimpleType<Integer>(0);
  j.Restrictions.MaxInclusive = TXsAnySimpleType<Integer>(9);
  EXPECT_EQ(
      MessageOf([&] { j = -1; }),
      u"EArgumentOutOfRangeException: The specified value is smaller than the minimal value!");
  EXPECT_EQ(MessageOf([&] { j = 10; }),
            u"EArgumentOutOfRangeException: The specified value is greater than, or equal to, the "
            u"maximal value!")
      << "the inclusive maximum reuses the exclusive message";
  TXsInt k;
  k.Restrictions.MinExclusive = TXsAnySimpleType<Integer>(0);
  EXPECT_EQ(MessageOf([&] { k = 0; }),
            u"EArgumentOutOfRangeException: The specified value is smaller than, or equal to, the "
            u"minimal value!");
}

TEST(XsIntegerTest, PatternFacetMatchesTheDecimalText) {
  TXsInt i;
  i.Restrictions.Pattern = u"[0-9]{3}";
  EXPECT_EQ(MessageOf([&] { i = 12; }),
            u"EArgumentOutOfRangeException: The specified value does not match the specified "
            u"pattern!");
  i = 123;
  EXPECT_EQ(static_cast<Integer>(i), 123);
}

TEST(XsIntegerTest, UnsignedKindsCompareUnsigned) {
  TXsUnsignedLong u;
  u.Restrictions.MaxInclusive = TXsAnySimpleType<UInt64>(10);
  EXPECT_THROW(u = 9223372036854775808ull, EArgumentOutOfRangeException);
  TXsLong s;
  s.Restrictions.MaxInclusive = TXsAnySimpleType<Int64>(10);
  s = -5;
  EXPECT_EQ(static_cast<Int64>(s), -5);
}

TEST(XsIntegerTest, OperatorsWorkOnCopiesAtTheWidthOfT) {
  TXsUnsignedByte ub;
  EXPECT_TRUE((-ub).IsNull()) << "null stays null, no failure";
  ub = 0;
  EXPECT_EQ(MessageOf([&] { (void)-ub; }),
            u"ENotSupportedException: The negative operation is not allowed on unsigned integer "
            u"types!");
  TXsByte b = 127;
  ++b;
  EXPECT_EQ(static_cast<ShortInt>(b), -128);
  TXsInt x;
  EXPECT_TRUE((x + 1).IsNull());
  EXPECT_TRUE((x == 5).IsNull()) << "neither true nor false";
  EXPECT_FALSE(static_cast<bool>(x == 5));
  x = 7;
  EXPECT_TRUE(static_cast<bool>(x == 7));
  EXPECT_TRUE(static_cast<bool>(x > 6));
  EXPECT_EQ(static_cast<Integer>(x * 3 - 1), 20);
  EXPECT_EQ(static_cast<Integer>(x / 2), 3);
  EXPECT_EQ(static_cast<Integer>(x % 4), 3);
  EXPECT_EQ(static_cast<Integer>((x << 2) | 1), 29);
  EXPECT_THROW(x / 0, EDivByZero);
  TXsInt limited = 5;
  limited.Restrictions.MaxInclusive = TXsAnySimpleType<Integer>(5);
  EXPECT_THROW(limited + 1, EArgumentOutOfRangeException) << "results are checked too";
  EXPECT_EQ(static_cast<Integer>(x), 7) << "the operand is unchanged";
}

TEST(XsIntegerTest, ParsingIsStrictAndCutsToTheWidth) {
  TXsUnsignedByte ub;
  ub.FromString(u"300");
  EXPECT_EQ(static_cast<Byte>(ub), 44);
  EXPECT_THROW(ub.FromString(u"x"), EConvertError);
  ub.FromString(u"");
  EXPECT_TRUE(ub.IsNull());
  TXsLong l;
  l.FromString(u"-9223372036854775808");
  EXPECT_EQ(l.ToString(), u"-9223372036854775808");
}

TEST(XsIntegerTest, OtherKindsThanIntegersAreRefused) {
  // A character is an integer to C++ but a text kind to the registry. Create and Clear assert,
  // naming the unit as "common/uVnXSTypes"; the other operations raise.
  const std::string created =
      UTF8Encode(MessageOf<EAssertionFailed>([] { TXsInteger<WideChar>::Create(u'x'); }));
  EXPECT_EQ(created.rfind("Assertion failure (common/uVnXSTypes, line ", 0), 0u) << created;
  TXsInteger<WideChar> c;
  const std::string cleared = UTF8Encode(MessageOf<EAssertionFailed>([&] { c.Clear(); }));
  EXPECT_EQ(cleared.rfind("Assertion failure (common/uVnXSTypes, line ", 0), 0u) << cleared;
  EXPECT_NE(created, cleared) << "each check reports its own line";
  EXPECT_EQ(MessageOf([&] { c = u'x'; }),
            u"ENotSupportedException: The TXsInteger<T> only supports integer types!");
}

TEST(XsRationalTest, DigitFacetsAndOperators) {
  TXsDouble d;
  d.Restrictions.TotalDigits = TXsAnySimpleType<Byte>(4);
  d = 12.34;
  EXPECT_EQ(MessageOf([&] { d = 123.45; }),
            u"EArgumentOutOfRangeException: The value contains more digits than the maximum "
            u"amount of allowed digits!");
  TXsDouble f;
  f.Restrictions.FractionDigits = TXsAnySimpleType<Byte>(2);
  f = 1.25;
  EXPECT_EQ(MessageOf([&] { f = 1.125; }),
            u"EArgumentOutOfRangeException: The value contains more digits than the maximum "
            u"amount of allowed fraction digits!");
  TXsFloat g = 2;  // from an integer
  EXPECT_EQ(g.ToString(), u"2");
  EXPECT_EQ(Trunc(TXsDouble(2.7)), 2);
  EXPECT_EQ(Round(TXsDouble(2.5)), 2) << "half to even";
  EXPECT_TRUE((TXsDouble() * 2.0).IsNull());
  EXPECT_TRUE(static_cast<bool>(TXsDouble(1.5) < 2.0));
  TXsDecimal dec = 0.1;
  EXPECT_EQ(dec.ToString(), u"0.1");
  dec.FromString(u"1E3");
  EXPECT_EQ(static_cast<Double>(dec), 1000.0);
  EXPECT_THROW(dec.FromString(u"1,5"), EConvertError);
}

TEST(XsBinaryTest, EncodingsAndBytes) {
  TXsBase64Binary b(u"aGVsbG8=");
  EXPECT_EQ(static_cast<RawByteString>(b), "hello");
  EXPECT_EQ(static_cast<UnicodeString>(b), u"aGVsbG8=");
  TXsHexBinary h(RawByteString("\x01\xff", 2));
  EXPECT_EQ(h.ToString(), u"01FF");
  EXPECT_EQ(static_cast<RawByteString>(h + TXsHexBinary(u"0A")), RawByteString("\x01\xff\x0a", 3));
  EXPECT_THROW(TXsHexBinary(u"0G"), EConvertError);
  TMemoryStream *m = New<TMemoryStream>();
  b.SaveBinaryData(m);
  m->SetPosition(0);
  TXsBase64Binary back;
  back.LoadBinaryData(m);
  m->Free();
  EXPECT_EQ(back.ToString(), u"aGVsbG8=");
  EXPECT_TRUE(VarIsNull(TXsHexBinary().ToVariant()));
}

TEST(XsSimpleRecordsTest, StringBooleanDuration) {
  TXsString s;
  EXPECT_TRUE(s.IsNull());
  s = u"x";
  EXPECT_EQ(static_cast<UnicodeString>(s), u"x");
  TXsBoolean b = true;
  EXPECT_TRUE(static_cast<bool>(b));
  b.FromString(u"TRUE");
  EXPECT_TRUE(static_cast<bool>(b));
  TXsDuration d(UnicodeString(u"PT1M30S"));
  EXPECT_DOUBLE_EQ(static_cast<TVnDuration>(d).Seconds, 90.0);
  EXPECT_EQ(static_cast<UnicodeString>(d), u"PT1M30S");
  EXPECT_TRUE(TXsDuration(UnicodeString()).IsNull());
}

namespace {
class XsDateTimeInBerlin : public vntest::TimeZoneTest {
 protected:
  XsDateTimeInBerlin() : TimeZoneTest("Europe/Berlin") {}
};
}  // namespace

TEST_F(XsDateTimeInBerlin, PartsZonesAndText) {
  TXsDateTime dt;
  dt.FromString(u"2020-07-15T10:00:00.250Z");
  EXPECT_EQ(dt.FTimezoneFormat, tzfUTC);
  EXPECT_EQ(dt.ToString(true), u"2020-07-15T10:00:00.250Z") << "in its own zone";
  EXPECT_EQ(dt.ToString(false), u"2020-07-15T10:00:00Z");
  EXPECT_EQ(static_cast<TDateTime>(dt), EncodeDateTime(2020, 7, 15, 12, 0, 0, 250)) << "local";
  dt.FromString(u"2020-07-15T12:00:00-03:30");
  EXPECT_EQ(dt.FTimezoneOffset, -210);
  EXPECT_EQ(dt.ToString(false), u"2020-07-15T12:00:00-03:30");
  EXPECT_EQ(static_cast<TDateTime>(dt), EncodeDateTime(2020, 7, 15, 17, 30, 0, 0));

  TXsDate d = TDate(EncodeDate(2021, 2, 3));
  EXPECT_EQ(d.ToString(), u"2021-02-03");
  ++d;
  EXPECT_EQ(d.ToString(), u"2021-02-04");
  EXPECT_TRUE(static_cast<bool>(d > TDate(EncodeDate(2021, 2, 3))));
  TXsTime t;
  t.FromString(u"23:59:58.5");
  EXPECT_EQ(t.ToString(), u"23:59:58.500");
  EXPECT_EQ(t.ToString(false), u"23:59:58");
}

TEST(XsDateTimeTest, BCValuesCannotBecomeNumbers) {
  TXsDate d;
  d.FromString(u"-0044-03-15");
  EXPECT_TRUE(d.FIsBC);
  EXPECT_EQ(MessageOf([&] { (void)static_cast<TDate>(d); }),
            u"EConvertError: BC TDateTime values are not supported!");
  TXsDate none;
  EXPECT_TRUE((none + 1.0).IsNull());
  EXPECT_TRUE((none == TDate(0.0)).IsNull());
}

TEST(XsRegistryTest, RecordsAreCustomSimpleTypes) {
  const TVnTypeInfo *i = TVnTypes::Of<TXsInt>();
  EXPECT_EQ(i->Kind, vtkCustomSimple);
  EXPECT_EQ(i->Name, u"TXsInt");
  EXPECT_EQ(i->SchemaName(), u"int");
  EXPECT_TRUE(i->GetIsSimpleType());
  EXPECT_EQ(TVnTypes::GetTypeInfo(u"TXsDateTime", tntName), TVnTypes::Of<TXsDateTime>());
  EXPECT_EQ(TVnTypes::Of<TXsDecimal>()->SchemaName(), u"decimal");
  EXPECT_NE(TVnTypes::Of<TXsDecimal>(), TVnTypes::Of<TXsDouble>());
  EXPECT_EQ(TVnTypes::Of<TXsBase64Binary>()->SchemaName(u"xs"), u"xs:base64Binary");
}

TEST(XsIntegerTest, ArithmeticWrapsAtTheWidthAndNeverTraps) {
  TXsLong lowest = std::numeric_limits<Int64>::min();
  EXPECT_EQ(static_cast<Int64>(lowest / Int64{-1}), std::numeric_limits<Int64>::min());
  EXPECT_EQ(static_cast<Int64>(lowest % Int64{-1}), 0);
  TXsInt highest = std::numeric_limits<Integer>::max();
  EXPECT_EQ(static_cast<Integer>(highest + 1), std::numeric_limits<Integer>::min());
  EXPECT_EQ(static_cast<Integer>(highest * 2), -2);
  TXsInt one = 1;
  EXPECT_EQ(static_cast<Integer>(one << 40), 256) << "the count is taken modulo 32";
  TXsInt minus = -8;
  EXPECT_EQ(static_cast<Integer>(minus >> 1), -4) << "an arithmetic shift";
  TXsByte b = 1;
  EXPECT_EQ(static_cast<ShortInt>(b << ShortInt{7}), -128);
}

TEST(XsRationalTest, FailedParsingStillSetsAValueAndHugeValuesDoNotTruncate) {
  TXsDouble d;
  EXPECT_THROW(d.FromString(u"abc"), EConvertError);
  EXPECT_FALSE(d.IsNull()) << "the flag is set before the value is read";
  EXPECT_THROW(Trunc(TXsDouble(1e300)), EInvalidOp);
  EXPECT_THROW(Round(TXsDouble(std::nan(""))), EInvalidOp);
}
