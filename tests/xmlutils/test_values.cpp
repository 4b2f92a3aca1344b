#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <string>

#include "time_zone.h"
#include "vnxml/xml/uVnXMLUtils.h"

using namespace vn;

namespace {

// Runs a test in a fixed zone with daylight-saving time, and restores the machine's zone.
class InBerlin : public vntest::TimeZoneTest {
 protected:
  InBerlin() : TimeZoneTest("Europe/Berlin") {}
};

// Restores the process's decimal separator.
struct DecimalSeparator {
  explicit DecimalSeparator(char16_t ASep) : FOld(FormatSettings().DecimalSeparator) {
    FormatSettings().DecimalSeparator = ASep;
  }
  ~DecimalSeparator() { FormatSettings().DecimalSeparator = FOld; }
  char16_t FOld;
};

}  // namespace

TEST(XMLNumbersTest, IntegersAtTheirLimitsRoundTrip) {
  EXPECT_EQ(VnShortIntToXML(-128), u"-128");
  EXPECT_EQ(VnXMLToShortint(u"-128"), -128);
  EXPECT_EQ(VnSmallIntToXML(32767), u"32767");
  EXPECT_EQ(VnXMLToSmallint(u"-32768"), -32768);
  EXPECT_EQ(VnIntToXML(std::numeric_limits<Integer>::min()), u"-2147483648");
  EXPECT_EQ(VnXMLToInt(u"-2147483648"), std::numeric_limits<Integer>::min());
  EXPECT_EQ(VnInt64ToXML(std::numeric_limits<Int64>::max()), u"9223372036854775807");
  EXPECT_EQ(VnXMLToInt64(u"-9223372036854775808"), std::numeric_limits<Int64>::min());
  EXPECT_EQ(VnByteToXML(255), u"255");
  EXPECT_EQ(VnWordToXML(65535), u"65535");
  EXPECT_EQ(VnLongWordToXML(4294967295u), u"4294967295");
  EXPECT_EQ(VnCardinalToXML(7), u"7");
  EXPECT_EQ(VnXMLToLongword(u"-1"), 4294967295u) << "cut to the width";
  EXPECT_EQ(VnXMLToByte(u"300"), 44);
  EXPECT_EQ(VnXMLToWord(u"$FFFF"), 65535);
  EXPECT_EQ(VnXMLToInt(u"  0x10"), 16);
}

TEST(XMLNumbersTest, UInt64KeepsItsSignQuirk) {
  EXPECT_EQ(VnUInt64ToXML(9223372036854775807ull), u"9223372036854775807");
  EXPECT_EQ(VnUInt64ToXML(9223372036854775808ull), u"-9223372036854775808");
  EXPECT_EQ(VnUInt64ToXML(~0ull), u"-1");
  EXPECT_EQ(VnXMLToUInt64(u"-1"), ~0ull) << "what the writer writes reads back";
  EXPECT_THROW(VnXMLToUInt64(u"9223372036854775808"), EConvertError);
}

TEST(XMLNumbersTest, StrictAndLenientShapes) {
  EXPECT_EQ(VnXMLToInt(u""), 0);
  EXPECT_THROW(VnXMLToInt(u"12 "), EConvertError);
  EXPECT_THROW(VnXMLToInt(u"2147483648"), EConvertError);
  EXPECT_EQ(VnXMLToIntDef(u"", 7), 0);
  EXPECT_EQ(VnXMLToIntDef(u"x", 7), 7);
  EXPECT_EQ(VnXMLToInt64Def(u"99999999999999999999", -1), -1);
  EXPECT_EQ(VnXMLToByteDef(u"300", 1), 44);
}

TEST(XMLNumbersTest, FloatsUseThePointWhateverTheProcessSettings) {
  DecimalSeparator comma(u',');
  EXPECT_EQ(VnDoubleToXML(1.5), u"1.5");
  EXPECT_EQ(VnExtToXML(-0.25), u"-0.25");
  EXPECT_EQ(VnXMLToDouble(u"1.5"), 1.5);
  EXPECT_THROW(VnXMLToDouble(u"1,5"), EConvertError);
  EXPECT_EQ(VnXMLToDoubleDef(u"1,5", 9.0), 9.0);
  EXPECT_EQ(VnXMLToDoubleDef(u"", 9.0), 0.0);
  EXPECT_EQ(VnXMLToSingle(u"0.5"), 0.5f);
  EXPECT_EQ(VnXMLToExtended(u"-1E3"), -1000.0);
}

TEST(XMLNumbersTest, FloatsAcrossTheNotationBoundary) {
  EXPECT_EQ(VnDoubleToXML(123456789012345.0), u"123456789012345");
  EXPECT_EQ(VnDoubleToXML(1e15), u"1E15");
  EXPECT_EQ(VnDoubleToXML(1e20), u"1E20");
  EXPECT_EQ(VnDoubleToXML(0.00001), u"0.00001");
  EXPECT_EQ(VnDoubleToXML(0.000001), u"1E-6");
  EXPECT_EQ(VnDoubleToXML(1.5e-10), u"1.5E-10");
  for (double v : {1e15, 1.5e-10, 0.1, 123.456, -7e-7, 1.7976931348623e308}) {
    const double back = VnXMLToDouble(VnDoubleToXML(v));
    EXPECT_NEAR(back, v, std::fabs(v) * 1e-14) << v;
  }
  EXPECT_TRUE(std::isnan(VnXMLToDouble(VnDoubleToXML(std::nan("")))));
  EXPECT_EQ(VnXMLToDouble(VnDoubleToXML(INFINITY)), INFINITY);
  EXPECT_EQ(VnXMLToDouble(VnDoubleToXML(-INFINITY)), -INFINITY);
}

TEST(XMLBooleansTest, OnlyOneAndTrueAreTrue) {
  EXPECT_EQ(VnBoolToXML(true), u"true");
  EXPECT_EQ(VnBoolToXML(false), u"false");
  EXPECT_TRUE(VnXMLToBool(u"TRUE"));
  EXPECT_TRUE(VnXMLToBool(u"1"));
  EXPECT_FALSE(VnXMLToBool(u"yes"));
  EXPECT_FALSE(VnXMLToBool(u"1 "));
  EXPECT_FALSE(VnXMLToBool(u""));
}

TEST_F(InBerlin, DatesAndTimesInEveryZoneForm) {
  EXPECT_EQ(VnDateToXML(0.0), u"1899-12-30");
  const TDateTime summer = EncodeDateTime(2020, 7, 15, 12, 0, 0, 250);
  const TDateTime winter = EncodeDateTime(2020, 1, 15, 12, 0, 0, 0);
  EXPECT_EQ(VnDateTimeToXML(summer, tzfNone), u"2020-07-15T12:00:00.250");
  EXPECT_EQ(VnDateTimeToXML(summer, tzfOffset), u"2020-07-15T12:00:00.250+02:00");
  EXPECT_EQ(VnDateTimeToXML(summer, tzfUTC), u"2020-07-15T10:00:00Z") << "no fraction in UTC";
  EXPECT_EQ(VnTimeToXML(summer, tzfUTC), u"10:00:00.250Z") << "the time form keeps it";
  EXPECT_EQ(VnDateTimeToXML(winter, xdtfTimezone), u"2020-01-15T12:00:00.000+01:00");
  EXPECT_EQ(VnDateToXML(winter, tzfOffset), u"2020-01-15+01:00");
  EXPECT_EQ(VnDateToXML(winter, xdtfUTC), u"2020-01-15Z");
  EXPECT_EQ(VnTimeToXML(winter, xdtfLocal), u"12:00:00.000");
}

TEST_F(InBerlin, ZonesAcrossTheSpringChange) {
  // Clocks go from 02:00 to 03:00 on 2020-03-29.
  const TDateTime before = EncodeDateTime(2020, 3, 29, 1, 59, 0, 0);
  const TDateTime after = EncodeDateTime(2020, 3, 29, 3, 0, 0, 0);
  EXPECT_EQ(VnDateTimeToXML(before, tzfUTC), u"2020-03-29T00:59:00Z");
  EXPECT_EQ(VnDateTimeToXML(after, tzfUTC), u"2020-03-29T01:00:00Z");
  EXPECT_EQ(VnDateTimeToXML(before, tzfOffset), u"2020-03-29T01:59:00.000+01:00");
  EXPECT_EQ(VnDateTimeToXML(after, tzfOffset), u"2020-03-29T03:00:00.000+02:00");
  EXPECT_EQ(VnXMLToDateTime(u"2020-03-29T01:00:00Z"), after);
  EXPECT_EQ(VnXMLToDateTime(u"2020-03-29T00:59:00Z"), before);
}

TEST_F(InBerlin, ReadingAppliesTheZoneTable) {
  const TDateTime noon = EncodeDateTime(2020, 7, 15, 12, 0, 0, 0);
  EXPECT_EQ(VnXMLToDateTime(u"2020-07-15T12:00:00"), noon);
  EXPECT_EQ(VnXMLToDateTime(u"2020-07-15T10:00:00Z"), noon);
  EXPECT_EQ(VnXMLToDateTime(u"2020-07-15T13:00:00+03:00", tzfOffset), noon);
  EXPECT_EQ(VnXMLToDateTime(u"2020-07-15T13:00:00+03:00", tzfUTC),
            EncodeDateTime(2020, 7, 15, 10, 0, 0, 0));
  EXPECT_EQ(VnXMLToDateTime(u"2020-07-15T10:00:00Z", xdtfUTC),
            EncodeDateTime(2020, 7, 15, 10, 0, 0, 0));
  try {
    VnXMLToDateTime(u"2020-07-15T12:00:00", tzfUTC);
    FAIL();
  } catch (EConvertError &) {
    FAIL() << "the base exception, not a conversion error";
  } catch (Exception &e) {
    EXPECT_EQ(e.Message, u"The XMLDateTime value did not contain timezone information!");
  }
  EXPECT_THROW(VnXMLToTime(u"12:00:00", tzfOffset), Exception);
  // A time shifted across midnight keeps only the time of day.
  EXPECT_NEAR(VnXMLToTime(u"23:30:00-01:00", tzfUTC).Val, EncodeTime(0, 30, 0, 0).Val, 1e-9);
}

TEST(XMLDatesTest, SpecialTextsAndBadFields) {
  EXPECT_EQ(VnXMLToDate(u"0"), 0.0);
  EXPECT_EQ(VnXMLToDate(u""), 0.0);
  EXPECT_EQ(VnXMLToDateTime(u"0"), 0.0);
  EXPECT_EQ(VnXMLToDate(u"2021-02-03T04:05:06"), EncodeDate(2021, 2, 3)) << "time ignored";
  EXPECT_EQ(VnXMLToDate(u"-0044-03-15").Val, -EncodeDate(44, 3, 15).Val);
  EXPECT_EQ(VnXMLToDateTime(u"10:30:00"), EncodeTime(10, 30, 0, 0));
  EXPECT_THROW(VnXMLToDate(u"2021-13-01"), EConvertError);
  EXPECT_THROW(VnXMLToDateTime(u"2021-02-30T00:00:00"), EConvertError);
  EXPECT_THROW(VnXMLToDate(u"yesterday"), EConvertError);
  EXPECT_EQ(VnXMLToDateDef(u"2021-13-01", 5.0), 5.0);
  EXPECT_EQ(VnXMLToDateTimeDef(u"nonsense", 6.0), 6.0);
  EXPECT_EQ(VnXMLToTimeDef(u"25:00:00", 7.0), 7.0);
}

TEST(XMLDatesTest, DecoderReadsWhatTheWritersWrite) {
  TVnDateTimeParts p = VnDecodeXMLDateTime(u"-2020-07-15T10:11:12.5+05:30");
  EXPECT_TRUE(p.Negative);
  EXPECT_TRUE(p.HasDate && p.HasTime);
  EXPECT_EQ(p.Year, 2020);
  EXPECT_EQ(p.MSec, 500);
  EXPECT_EQ(p.TimezoneFormat, tzfOffset);
  EXPECT_EQ(p.TimezoneOffset, 330);
  EXPECT_EQ(VnXMLDateTimeFormat(p), xdtfTimezone);
  p = VnDecodeXMLDateTime(u"10:11:12.123456Z");
  EXPECT_FALSE(p.HasDate);
  EXPECT_EQ(p.MSec, 123);
  EXPECT_EQ(VnXMLDateTimeFormat(p), xdtfUTC);
  p = VnDecodeXMLDateTime(u"2020-07-15-03:00");
  EXPECT_EQ(p.TimezoneOffset, -180);
  for (const char16_t *bad : {u"2020-7-15", u"2020-07-15T", u"10:11", u"10:11:12+0100",
                              u"2020-07-15 10:11:12", u"2020-07-15Zx", u"T"})
    EXPECT_THROW(VnDecodeXMLDateTime(bad), EConvertError) << UTF8Encode(bad);
}

TEST(XMLDurationsTest, WritingFollowsTheComponentRules) {
  EXPECT_EQ(VnDurationToXML({}), u"P0Y");
  EXPECT_EQ(VnDurationToXML({true, 0, 0}), u"-P0Y");
  EXPECT_EQ(VnDurationToXML({false, 0, 90}), u"PT1M30S");
  EXPECT_EQ(VnDurationToXML({false, 0, 1.5}), u"PT1.5S");
  EXPECT_EQ(VnDurationToXML({false, 0, 0.25}), u"PT0.25S");
  EXPECT_EQ(VnDurationToXML({false, 0, 0.005}), u"PT0.5S") << "5 ms are not padded";
  EXPECT_EQ(VnDurationToXML({false, 14, 86400 + 3600}), u"P1Y2M1DT1H");
  EXPECT_THROW(VnDurationToXML({false, 0, 1e30}), EInvalidOp);
}

TEST(XMLDurationsTest, ReadingAndItsLeniencies) {
  TVnDuration d = VnXMLToDuration(u"PT1.5S");
  EXPECT_DOUBLE_EQ(d.Seconds, 1.5);
  EXPECT_DOUBLE_EQ(VnXMLToDuration(u"PT0.25S").Seconds, 2.5) << "the fraction times 100 ms";
  const UnicodeString full = u"-P1Y2M3DT4H5M6S";
  d = VnXMLToDuration(full);
  EXPECT_TRUE(d.Negative);
  EXPECT_EQ(d.Months, 14);
  EXPECT_EQ(VnDurationToXML(d), full);
  EXPECT_EQ(VnXMLToDuration(u"P1D2Y").Months, 24) << "order is not enforced";
  EXPECT_EQ(VnXMLToDuration(u"P1Y3Y").Months, 36) << "the last one wins";
  EXPECT_EQ(VnDurationToXML(VnXMLToDuration(u"P")), u"P0Y");
  auto message = [](const char16_t *AText) {
    try {
      VnXMLToDuration(AText);
    } catch (Exception &e) {
      return e.Message;
    }
    return UnicodeString(u"no exception");
  };
  EXPECT_EQ(message(u""),
            u"VnXMLToDuration; An empty string cannot be converted to a xs:duration!");
  EXPECT_EQ(message(u"1Y"), u"VnXMLToDuration; A duration must start with a \"P\"!");
  EXPECT_EQ(message(u"P1"),
            u"VnXMLToDuration; The provided argument (P1) is not a valid duration!");
  EXPECT_EQ(message(u"PT"),
            u"VnXMLToDuration; The provided argument (PT) is not a valid duration!");
  EXPECT_EQ(message(u"P1W"),
            u"VnXMLToDuration; The provided argument (P1W) is not a valid duration!");
}

TEST(XMLVariantsTest, WritingSwitchesOnTheVariantType) {
  EXPECT_EQ(VnVariantToXML(Variant()), u"");
  EXPECT_EQ(VnVariantToXML(Variant::Null()), u"");
  EXPECT_EQ(VnVariantToXML(Variant(42)), u"42");
  EXPECT_EQ(VnVariantToXML(Variant(4294967295u)), u"-1") << "as a 32-bit integer";
  EXPECT_EQ(VnVariantToXML(Variant(2.5)), u"2.5");
  EXPECT_EQ(VnVariantToXML(Variant(true)), u"true");
  EXPECT_EQ(VnVariantToXML(Variant(UnicodeString(u"a<'b'>"))), u"a&lt;&apos;b&apos;&gt;");
  EXPECT_EQ(VnVariantToXML(Variant(static_cast<long long>(-5))), u"-5");
  EXPECT_EQ(VnVariantToXML(Variant(TDateTime(EncodeDateTime(2001, 2, 3, 4, 5, 6, 7)))),
            u"2001-02-03T04:05:06.007");
  Variant bytes = VarArrayCreate(0, 1, varByte);
  bytes.PutElement(0, static_cast<unsigned char>(0));
  bytes.PutElement(1, static_cast<unsigned char>(255));
  EXPECT_EQ(VnVariantToXML(bytes), u"00FF");
  try {
    VnVariantToXML(Variant(static_cast<unsigned long long>(1)));
    FAIL();
  } catch (Exception &e) {
    EXPECT_EQ(e.Message, u"VnVariantToXml; invalid variant type 21!");
  }
}

TEST(XMLVariantsTest, ArraysAreEscapedTextThatReadsBack) {
  Variant a = VarArrayOf({Variant(1), Variant(UnicodeString(u"x<y"))});
  const UnicodeString text = VnVariantToXML(a);
  EXPECT_EQ(text,
            u"&lt;array length=&quot;2&quot;&gt;&lt;element nr=&quot;0&quot;&gt;1&lt;/element&gt;"
            u"&lt;element nr=&quot;1&quot;&gt;x&amp;lt;y&lt;/element&gt;&lt;/array&gt;");
  Variant back = VnXMLToVariant(text, varArray | varVariant);
  ASSERT_TRUE(VarIsArray(back));
  EXPECT_EQ(VarArrayHighBound(back), 1);
  EXPECT_EQ(VarToStr(back.GetElement(0)), u"1");
  EXPECT_EQ(VarToStr(back.GetElement(1)), u"x&lt;y") << "the element text was escaped twice";

  Variant ints = VarArrayOf({Variant(7), Variant(8)});
  Variant intsBack = VnXMLToVariant(VnVariantToXML(ints), varArray | varInteger);
  EXPECT_EQ(intsBack.GetElement(1).AsInt64(), 8);
}

TEST(XMLVariantsTest, ReadingByTypeCode) {
  EXPECT_TRUE(VarIsEmpty(VnXMLToVariant(u"x", varEmpty)));
  EXPECT_TRUE(VarIsNull(VnXMLToVariant(u"x", varNull)));
  EXPECT_EQ(VarType(VnXMLToVariant(u"12", varSmallint)), varSmallint);
  EXPECT_EQ(VnXMLToVariant(u"", varInteger).AsInt64(), 0) << "the text shape reads empty as 0";
  EXPECT_THROW(VnXMLToVariant(u"", varByte), EConvertError) << "the variant shape raises";
  EXPECT_EQ(VnXMLToVariant(u"300", varByte).AsInt64(), 44);
  EXPECT_EQ(VarType(VnXMLToVariant(u"1", varInt64)), varInt64);
  EXPECT_EQ(VarToStr(VnXMLToVariant(u"a&amp;b", varUString)), u"a&b");
  EXPECT_EQ(VarToStr(VnXMLToVariant(u"a&amp;b", varUnknown)), u"a&amp;b") << "undecoded";
  EXPECT_TRUE(VnXMLToVariant(u"TRUE", varBoolean).AsBoolean());
  Variant bytes = VnXMLToVariant(u" 00ff10 ", varArray | varByte);
  EXPECT_EQ(VarArrayHighBound(bytes), 2);
  EXPECT_EQ(bytes.GetElement(1).AsInt64(), 255);
  EXPECT_TRUE(VarIsNull(VnXMLToVariant(u"  ", varArray | varByte)));
  try {
    VnXMLToVariant(u"x", varUInt64);
    FAIL();
  } catch (Exception &e) {
    EXPECT_EQ(e.Message, u"VnXMLToVariant(21); Unsupported VarType");
  }
}
