#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "vnxml/rtl/SysUtils.h"

using namespace vn;

namespace {

Integer IntCode(const UnicodeString &S, Integer *AValue = nullptr) {
  Integer v = -99, code = -99;
  Val(S, v, code);
  if (AValue) *AValue = v;
  return code;
}

Integer FloatCode(const UnicodeString &S) {
  double v;
  Integer code;
  Val(S, v, code);
  return code;
}

template <class F>
UnicodeString ConvertFailure(F AFn) {
  try {
    AFn();
  } catch (EConvertError &E) {
    return E.Message;
  }
  return u"";
}

}  // namespace

TEST(NumbersIntegerText, IntToStrAndHex) {
  EXPECT_EQ(IntToStr(0), u"0");
  EXPECT_EQ(IntToStr(-42), u"-42");
  EXPECT_EQ(IntToStr(std::numeric_limits<Int64>::min()), u"-9223372036854775808");
  EXPECT_EQ(UIntToStr(~0ULL), u"18446744073709551615");
  EXPECT_EQ(IntToHex(255, 4), u"00FF");
  EXPECT_EQ(IntToHex(0x1234ABCD, 2), u"1234ABCD");
  EXPECT_EQ(IntToHex(0, 0), u"0");
  EXPECT_EQ(IntToHex(~0ULL, 1), u"FFFFFFFFFFFFFFFF");
}

TEST(NumbersStrToInt, AcceptedForms) {
  EXPECT_EQ(StrToInt(u"42"), 42);
  EXPECT_EQ(StrToInt(u"   -42"), -42);
  EXPECT_EQ(StrToInt(u"+007"), 7);
  EXPECT_EQ(StrToInt(u"$1F"), 31);
  EXPECT_EQ(StrToInt(u"0x1f"), 31);
  EXPECT_EQ(StrToInt(u"0X1F"), 31);
  EXPECT_EQ(StrToInt(u"x1F"), 31);
  EXPECT_EQ(StrToInt(u"X1f"), 31);
  EXPECT_EQ(StrToInt(u"-$10"), -16);
  EXPECT_EQ(StrToInt(u"0"), 0);
  EXPECT_EQ(StrToInt(u"2147483647"), 2147483647);
  EXPECT_EQ(StrToInt(u"-2147483648"), -2147483647 - 1);
  EXPECT_EQ(StrToInt(u"$FFFFFFFF"), -1);
  EXPECT_EQ(StrToInt(u"$000000001"), 1);
  EXPECT_EQ(StrToInt64(u"9223372036854775807"), std::numeric_limits<Int64>::max());
  EXPECT_EQ(StrToInt64(u"-9223372036854775808"), std::numeric_limits<Int64>::min());
  EXPECT_EQ(StrToInt64(u"4294967296"), 4294967296LL);
  EXPECT_EQ(StrToInt64(u"$FFFFFFFFFFFFFFFF"), -1);
  EXPECT_EQ(StrToUInt64(u"18446744073709551615"), ~0ULL);
  EXPECT_EQ(StrToUInt64(u"$FFFFFFFFFFFFFFFF"), ~0ULL);
}

TEST(NumbersStrToInt, RejectedForms) {
  Integer i;
  Int64 i64;
  UInt64 u64;
  for (const char16_t *s :
       {u"",    u" ",   u"-",          u"+",           u"$",          u"0x",    u"42 ",
        u"4 2", u"42a", u"1.5",        u"\t42",        u"--1",        u"$-1",   u"- 1",
        u"$G",  u"1e3", u"2147483648", u"-2147483649", u"$100000000", u"\uFF11"})
    EXPECT_FALSE(TryStrToInt(s, i)) << UTF8Encode(s);
  EXPECT_FALSE(TryStrToInt64(u"9223372036854775808", i64));
  EXPECT_FALSE(TryStrToInt64(u"-9223372036854775809", i64));
  EXPECT_FALSE(TryStrToInt64(u"$10000000000000000", i64));
  EXPECT_FALSE(TryStrToUInt64(u"18446744073709551616", u64));
  EXPECT_FALSE(TryStrToUInt64(u"-1", u64));
  EXPECT_EQ(ConvertFailure([] { StrToInt(u"abc"); }), u"'abc' is not a valid integer value");
  EXPECT_EQ(ConvertFailure([] { StrToInt64(u""); }), u"'' is not a valid integer value");
  EXPECT_EQ(ConvertFailure([] { StrToUInt64(u"-5"); }), u"'-5' is not a valid integer value");
  EXPECT_EQ(StrToIntDef(u"x", -7), -7);
  EXPECT_EQ(StrToIntDef(u"12", -7), 12);
  EXPECT_EQ(StrToInt64Def(u"99999999999999999999", 3), 3);
}

TEST(NumbersVal, CodesPointAtTheOffendingCharacter) {
  Integer v;
  EXPECT_EQ(IntCode(u"  7", &v), 0);
  EXPECT_EQ(v, 7);
  EXPECT_EQ(IntCode(u""), 1);
  EXPECT_EQ(IntCode(u"-"), 2);
  EXPECT_EQ(IntCode(u"   "), 4);
  EXPECT_EQ(IntCode(u"12a"), 3);
  EXPECT_EQ(IntCode(u" 12 "), 4);
  EXPECT_EQ(IntCode(u"$"), 2);
  EXPECT_EQ(IntCode(u"0x"), 3);
  EXPECT_EQ(IntCode(u"$1G"), 3);
  EXPECT_EQ(IntCode(u"2147483648"), 10);
  EXPECT_EQ(IntCode(u"$123456789"), 10);
  // A failed conversion leaves zero.
  EXPECT_EQ(IntCode(u"12a", &v), 3);
  EXPECT_EQ(v, 0);
  Int64 w;
  Integer code;
  Val(u"-9223372036854775808", w, code);
  EXPECT_EQ(code, 0);
  EXPECT_EQ(w, std::numeric_limits<Int64>::min());

  double d;
  Val(u" 2.5e3", d, code);
  EXPECT_EQ(code, 0);
  EXPECT_EQ(d, 2500.0);
  EXPECT_EQ(FloatCode(u"1.5 "), 4);
  EXPECT_EQ(FloatCode(u"1,5"), 2);
  EXPECT_EQ(FloatCode(u"1e"), 3);
  EXPECT_EQ(FloatCode(u"e5"), 1);
  EXPECT_EQ(FloatCode(u"."), 2);
  EXPECT_EQ(FloatCode(u""), 1);
  EXPECT_EQ(FloatCode(u"1.2.3"), 4);
}

TEST(NumbersFloatToStr, FixedAndScientificBoundaries) {
  EXPECT_EQ(FloatToStr(0.0), u"0");
  EXPECT_EQ(FloatToStr(-0.0), u"0");
  EXPECT_EQ(FloatToStr(1.5), u"1.5");
  EXPECT_EQ(FloatToStr(-2.25), u"-2.25");
  EXPECT_EQ(FloatToStr(100.0), u"100");
  EXPECT_EQ(FloatToStr(0.1 + 0.2), u"0.3");
  EXPECT_EQ(FloatToStr(1.0 / 3), u"0.333333333333333");
  EXPECT_EQ(FloatToStr(2.0 / 3), u"0.666666666666667");
  EXPECT_EQ(FloatToStr(999999999999999.0), u"999999999999999");
  EXPECT_EQ(FloatToStr(99999999999999.9), u"99999999999999.9");
  EXPECT_EQ(FloatToStr(999999999999999.9), u"1E15");
  EXPECT_EQ(FloatToStr(1e15), u"1E15");
  EXPECT_EQ(FloatToStr(1e20), u"1E20");
  EXPECT_EQ(FloatToStr(123456789012345678901.0), u"1.23456789012346E20");
  EXPECT_EQ(FloatToStr(0.00001), u"0.00001");
  EXPECT_EQ(FloatToStr(0.000015), u"0.000015");
  EXPECT_EQ(FloatToStr(0.000001), u"1E-6");
  EXPECT_EQ(FloatToStr(0.0000099999), u"9.9999E-6");
  EXPECT_EQ(FloatToStr(1.5e-10), u"1.5E-10");
  EXPECT_EQ(FloatToStr(-2.5e-6), u"-2.5E-6");
  EXPECT_EQ(FloatToStr(std::numeric_limits<double>::max()), u"1.79769313486232E308");
  TFormatSettings fs;
  fs.DecimalSeparator = u',';
  EXPECT_EQ(FloatToStr(1.5, fs), u"1,5");
  EXPECT_EQ(FloatToStr(2.5e-7, fs), u"2,5E-7");
}

TEST(NumbersFloatToStr, SpecialValuesReadBack) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(FloatToStr(nan), u"NAN");
  EXPECT_EQ(FloatToStr(inf), u"INF");
  EXPECT_EQ(FloatToStr(-inf), u"-INF");
  EXPECT_TRUE(std::isnan(StrToFloat(FloatToStr(nan))));
  EXPECT_EQ(StrToFloat(FloatToStr(inf)), inf);
  EXPECT_EQ(StrToFloat(FloatToStr(-inf)), -inf);
  EXPECT_EQ(StrToFloat(u"+Inf"), inf);
  EXPECT_TRUE(std::isnan(StrToFloat(u" nan ")));
  EXPECT_EQ(FloatToStrF(nan, ffFixed, 15, 2), u"NAN");
}

TEST(NumbersFloatToStrF, Formats) {
  EXPECT_EQ(FloatToStrF(1234.5, ffExponent, 6, 2), u"1.23450E+03");
  EXPECT_EQ(FloatToStrF(0.0, ffExponent, 3, 0), u"0.00E+0");
  EXPECT_EQ(FloatToStrF(-1.5e-7, ffExponent, 2, 4), u"-1.5E-0007");
  EXPECT_EQ(FloatToStrF(1234.5678, ffFixed, 15, 2), u"1234.57");
  EXPECT_EQ(FloatToStrF(1.23456789, ffFixed, 3, 5), u"1.23000");
  EXPECT_EQ(FloatToStrF(0.995, ffFixed, 15, 2), u"1.00");
  EXPECT_EQ(FloatToStrF(-0.004, ffFixed, 15, 2), u"0.00");
  EXPECT_EQ(FloatToStrF(12345.0, ffFixed, 4, 1), u"1.235E+4");
  EXPECT_EQ(FloatToStrF(1e20, ffFixed, 15, 2), u"1.00000000000000E+20");
  EXPECT_EQ(FloatToStrF(1234567.5, ffNumber, 15, 1), u"1,234,567.5");
  EXPECT_EQ(FloatToStrF(-1234.5, ffNumber, 15, 0), u"-1,235");
  EXPECT_EQ(FloatToStrF(123.0, ffNumber, 15, 0), u"123");
  EXPECT_EQ(FloatToStrF(1234.5, ffCurrency, 15, 2), u"$1,234.50");
  EXPECT_EQ(FloatToStrF(123.456, ffGeneral, 4, 0), u"123.5");
  EXPECT_EQ(FloatToStrF(12345.0, ffGeneral, 4, 0), u"1.235E4");
}

TEST(NumbersStrToFloat, AcceptedAndRejected) {
  EXPECT_EQ(StrToFloat(u"1.5"), 1.5);
  EXPECT_EQ(StrToFloat(u"  -1.5  "), -1.5);
  EXPECT_EQ(StrToFloat(u"+.5"), 0.5);
  EXPECT_EQ(StrToFloat(u"5."), 5.0);
  EXPECT_EQ(StrToFloat(u"1E3"), 1000.0);
  EXPECT_EQ(StrToFloat(u"1.5e-3"), 0.0015);
  EXPECT_EQ(StrToFloat(u"2e+2"), 200.0);
  EXPECT_EQ(StrToFloat(u"0.1"), 0.1);
  EXPECT_EQ(StrToFloat(u"000123.4500"), 123.45);
  // Exact conversion, ties to even.
  EXPECT_EQ(StrToFloat(u"9007199254740993"), 9007199254740992.0);
  EXPECT_EQ(StrToFloat(u"2.2250738585072014e-308"), 2.2250738585072014e-308);
  EXPECT_EQ(StrToFloat(u"0.000000000000000000000000000001e30"), 1.0);
  EXPECT_TRUE(std::signbit(StrToFloat(u"-0")));
  // Underflow gives zero; overflow is an error.
  EXPECT_EQ(StrToFloat(u"1e-400"), 0.0);
  Extended d;
  for (const char16_t *s :
       {u"", u" ", u".", u"-", u"1.5.5", u"1,000", u"1e", u"e3", u"1e+", u"abc", u"1 .5", u"+NAN",
        u"-nan", u"INFINITY", u"1e400", u"-1e999", u"$10", u"0x1", u"1.5x"})
    EXPECT_FALSE(TryStrToFloat(s, d)) << UTF8Encode(s);
  EXPECT_EQ(ConvertFailure([] { StrToFloat(u"1,5"); }),
            u"'1,5' is not a valid floating point value");
  EXPECT_EQ(StrToFloatDef(u"x", 2.5), 2.5);
}

TEST(NumbersStrToFloat, CommaSeparatorAndSingle) {
  TFormatSettings fs = TFormatSettings::Create();
  fs.DecimalSeparator = u',';
  fs.ThousandSeparator = u'.';
  EXPECT_EQ(StrToFloat(u"1,5", fs), 1.5);
  EXPECT_EQ(StrToFloat(u"-,25e1", fs), -2.5);
  EXPECT_EQ(StrToFloatDef(u"1.5", -1, fs), -1.0);
  EXPECT_EQ(StrToFloatDef(u"1.000,5", -1, fs), -1.0);
  EXPECT_EQ(TFormatSettings::Invariant().DecimalSeparator, u'.');
  EXPECT_EQ(StrToFloat(u"1.5", TFormatSettings::Invariant()), 1.5);
  Single f;
  EXPECT_TRUE(TryStrToFloat(u"0,1", f, fs));
  EXPECT_EQ(f, 0.1f);
  EXPECT_TRUE(TryStrToFloat(u"3,4e38", f, fs));
  EXPECT_FALSE(TryStrToFloat(u"3,5e38", f, fs));
  EXPECT_TRUE(TryStrToFloat(u"-INF", f, fs));
  EXPECT_EQ(f, -std::numeric_limits<float>::infinity());
}

TEST(NumbersBooleans, TextAndNumbers) {
  EXPECT_EQ(BoolToStr(true), u"-1");
  EXPECT_EQ(BoolToStr(false), u"0");
  EXPECT_EQ(BoolToStr(true, true), u"True");
  EXPECT_EQ(BoolToStr(false, true), u"False");
  EXPECT_TRUE(StrToBool(u"true"));
  EXPECT_TRUE(StrToBool(u"TRUE"));
  EXPECT_FALSE(StrToBool(u"False"));
  EXPECT_FALSE(StrToBool(u"0"));
  EXPECT_TRUE(StrToBool(u"-1"));
  EXPECT_TRUE(StrToBool(u"$10"));
  EXPECT_FALSE(StrToBool(u"0.0"));
  EXPECT_TRUE(StrToBool(u"2.5"));
  bool b = true;
  EXPECT_FALSE(TryStrToBool(u"yes", b));
  EXPECT_FALSE(TryStrToBool(u" true", b));
  EXPECT_TRUE(StrToBoolDef(u"", true));
  EXPECT_FALSE(StrToBoolDef(u"false", true));
  EXPECT_EQ(ConvertFailure([] { StrToBool(u"maybe"); }), u"'maybe' is not a valid boolean value");
}
