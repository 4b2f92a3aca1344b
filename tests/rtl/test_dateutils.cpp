#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <type_traits>

#include "vnxml/rtl/DateUtils.h"

using namespace vn;

namespace {

constexpr double cOneMs = 1.0 / MSecsPerDay;

struct TFields {
  Word Y, M, D, H, N, S, Z;
};

TFields Decode(TDateTime AValue) {
  TFields f{};
  DecodeDateTime(AValue, f.Y, f.M, f.D, f.H, f.N, f.S, f.Z);
  return f;
}

#define EXPECT_FIELDS(Value, y, m, d, h, n, s, z) \
  do {                                            \
    TFields f_ = Decode(Value);                   \
    EXPECT_EQ(f_.Y, y);                           \
    EXPECT_EQ(f_.M, m);                           \
    EXPECT_EQ(f_.D, d);                           \
    EXPECT_EQ(f_.H, h);                           \
    EXPECT_EQ(f_.N, n);                           \
    EXPECT_EQ(f_.S, s);                           \
    EXPECT_EQ(f_.Z, z);                           \
  } while (0)

// Sets TZ for the life of the object, without calling tzset, so that the routines under test
// have to pick the change up themselves.
class TZoneGuard {
 public:
  explicit TZoneGuard(const char *AZone) {
    if (const char *old = std::getenv("TZ")) FOld = old;
    setenv("TZ", AZone, 1);
  }
  ~TZoneGuard() {
    if (FOld)
      setenv("TZ", FOld->c_str(), 1);
    else
      unsetenv("TZ");
    tzset();
  }

 private:
  std::optional<std::string> FOld;
};

}  // namespace

TEST(DateUtilsTypes, BehavesLikeANumberButIsDistinct) {
  static_assert(!std::is_same_v<TDateTime, double>);
  static_assert(!std::is_same_v<TDate, TDateTime> && !std::is_same_v<TTime, TDateTime>);
  TDateTime d = 1.5;
  TDateTime e = d + 1;
  EXPECT_DOUBLE_EQ(e, 2.5);
  EXPECT_TRUE(d < e);
  EXPECT_DOUBLE_EQ(e - d, 1.0);
  d += 1.0 / 24;
  EXPECT_FIELDS(d, 1899, 12, 31, 13, 0, 0, 0);
  TDate day = EncodeDate(2020, 5, 17);
  TTime noon = EncodeTime(12, 0, 0, 0);
  TDateTime both = day + noon;
  EXPECT_FIELDS(both, 2020, 5, 17, 12, 0, 0, 0);
  TTime t = both;
  EXPECT_DOUBLE_EQ(t, both);
}

TEST(DateUtilsEncode, DatesCountDaysFrom1899_12_30) {
  EXPECT_DOUBLE_EQ(EncodeDate(1899, 12, 30), 0);
  EXPECT_DOUBLE_EQ(EncodeDate(1900, 1, 1), 2);
  EXPECT_DOUBLE_EQ(EncodeDate(2000, 1, 1), 36526);
  EXPECT_DOUBLE_EQ(EncodeDate(1, 1, 1), -693593);
  EXPECT_DOUBLE_EQ(EncodeDate(9999, 12, 31), 2958465);
  EXPECT_DOUBLE_EQ(EncodeDate(2020, 3, 1) - EncodeDate(2020, 2, 28), 2);  // leap year
  EXPECT_DOUBLE_EQ(EncodeDate(1900, 3, 1) - EncodeDate(1900, 2, 28), 1);  // not a leap year
  EXPECT_DOUBLE_EQ(EncodeDate(2000, 3, 1) - EncodeDate(2000, 2, 28), 2);  // leap by 400
}

TEST(DateUtilsEncode, InvalidFieldsAreRejected) {
  TDateTime d;
  EXPECT_TRUE(TryEncodeDate(2020, 2, 29, d));
  EXPECT_FALSE(TryEncodeDate(2021, 2, 29, d));
  EXPECT_FALSE(TryEncodeDate(0, 1, 1, d));
  EXPECT_FALSE(TryEncodeDate(10000, 1, 1, d));
  EXPECT_FALSE(TryEncodeDate(2020, 13, 1, d));
  EXPECT_FALSE(TryEncodeDate(2020, 4, 31, d));
  EXPECT_FALSE(TryEncodeDate(2020, 4, 0, d));
  try {
    EncodeDate(2021, 2, 29);
    FAIL() << "no exception";
  } catch (EConvertError &E) {
    EXPECT_EQ(E.Message, u"Invalid argument to date encode");
  }
  EXPECT_TRUE(TryEncodeTime(23, 59, 59, 999, d));
  EXPECT_FALSE(TryEncodeTime(24, 0, 0, 0, d));
  EXPECT_FALSE(TryEncodeTime(0, 60, 0, 0, d));
  EXPECT_FALSE(TryEncodeTime(0, 0, 60, 0, d));
  EXPECT_FALSE(TryEncodeTime(0, 0, 0, 1000, d));
  try {
    EncodeTime(24, 0, 0, 0);
    FAIL() << "no exception";
  } catch (EConvertError &E) {
    EXPECT_EQ(E.Message, u"Invalid argument to time encode");
  }
  EXPECT_THROW(EncodeDateTime(2021, 2, 29, 0, 0, 0, 0), EConvertError);
  EXPECT_THROW(EncodeDateTime(2021, 2, 28, 0, 0, 0, 1000), EConvertError);
}

TEST(DateUtilsEncode, TimeIsSubtractedBefore1899_12_30) {
  EXPECT_DOUBLE_EQ(EncodeTime(12, 0, 0, 0), 0.5);
  EXPECT_DOUBLE_EQ(EncodeTime(6, 0, 0, 0), 0.25);
  EXPECT_DOUBLE_EQ(EncodeDateTime(1899, 12, 29, 6, 0, 0, 0), -1.25);
  EXPECT_DOUBLE_EQ(EncodeDateTime(1899, 12, 30, 6, 0, 0, 0), 0.25);
  EXPECT_DOUBLE_EQ(EncodeDateTime(1900, 1, 1, 18, 0, 0, 0), 2.75);
  TDateTime d;
  ASSERT_TRUE(TryEncodeDateTime(1899, 12, 28, 18, 0, 0, 0, d));
  EXPECT_DOUBLE_EQ(d, -2.75);
}

TEST(DateUtilsDecode, RoundTripsEveryDayOverCenturies) {
  int checked = 0;
  for (Word y : {1, 4, 100, 1600, 1899, 1900, 2000, 2023, 2024, 2100, 9999}) {
    for (Word m = 1; m <= 12; ++m) {
      for (Word d = 1; d <= DaysInAMonth(y, m); ++d) {
        Word y2, m2, d2;
        DecodeDate(EncodeDate(y, m, d), y2, m2, d2);
        ASSERT_EQ(y2, y);
        ASSERT_EQ(m2, m);
        ASSERT_EQ(d2, d);
        ++checked;
      }
    }
  }
  EXPECT_EQ(checked, 366 * 4 + 365 * 7);
}

TEST(DateUtilsDecode, NegativeValuesUseTheAbsoluteFraction) {
  EXPECT_FIELDS(-1.25, 1899, 12, 29, 6, 0, 0, 0);
  EXPECT_FIELDS(-0.5, 1899, 12, 30, 12, 0, 0, 0);
  EXPECT_FIELDS(0.5, 1899, 12, 30, 12, 0, 0, 0);
  EXPECT_FIELDS(-2.75, 1899, 12, 28, 18, 0, 0, 0);
  EXPECT_DOUBLE_EQ(DateOf(-1.25), -1);
  EXPECT_DOUBLE_EQ(TimeOf(-1.25), -0.25);
  EXPECT_DOUBLE_EQ(TimeOf(2.75), 0.75);
}

TEST(DateUtilsDecode, RoundsToTheNearestMillisecond) {
  const TDateTime ten = EncodeDateTime(2020, 6, 1, 10, 0, 0, 0);
  EXPECT_FIELDS(ten + 0.4 * cOneMs, 2020, 6, 1, 10, 0, 0, 0);
  EXPECT_FIELDS(ten - 0.4 * cOneMs, 2020, 6, 1, 10, 0, 0, 0);
  EXPECT_FIELDS(ten + 0.6 * cOneMs, 2020, 6, 1, 10, 0, 0, 1);
  // Just below midnight rounds up into the next day, date included.
  EXPECT_FIELDS(EncodeDate(2020, 12, 31) + 1 - 0.3 * cOneMs, 2021, 1, 1, 0, 0, 0, 0);
  EXPECT_FIELDS(EncodeDateTime(2020, 1, 1, 23, 59, 59, 999), 2020, 1, 1, 23, 59, 59, 999);
  Word h, n, s, z;
  EXPECT_THROW(DecodeTime(std::nan(""), h, n, s, z), EInvalidOp);
}

TEST(DateUtilsDecode, DayOfWeekAndFields) {
  EXPECT_EQ(DayOfWeek(EncodeDate(1899, 12, 30)), 7);  // Saturday
  EXPECT_EQ(DayOfWeek(EncodeDate(2024, 1, 1)), 2);    // Monday
  EXPECT_EQ(DayOfWeek(EncodeDate(2024, 1, 7)), 1);    // Sunday
  EXPECT_EQ(DayOfWeek(EncodeDateTime(1899, 12, 29, 6, 0, 0, 0)), 6);
  const TDateTime v = EncodeDateTime(2024, 2, 29, 13, 14, 15, 16);
  EXPECT_EQ(YearOf(v), 2024);
  EXPECT_EQ(MonthOf(v), 2);
  EXPECT_EQ(DayOf(v), 29);
  EXPECT_EQ(HourOf(v), 13);
  EXPECT_EQ(MinuteOf(v), 14);
  EXPECT_EQ(SecondOf(v), 15);
  EXPECT_EQ(MilliSecondOf(v), 16);
  EXPECT_EQ(DaysInMonth(v), 29);
  EXPECT_EQ(DaysInAYear(2100), 365);
  EXPECT_TRUE(IsLeapYear(2000));
  EXPECT_FALSE(IsLeapYear(1900));
}

TEST(DateUtilsInc, SmallUnitsAreExactAndCrossTheZeroDay) {
  EXPECT_DOUBLE_EQ(IncMinute(EncodeDateTime(2020, 12, 31, 23, 59, 0, 0), 1),
                   EncodeDate(2021, 1, 1));
  EXPECT_FIELDS(IncMilliSecond(EncodeDate(2020, 1, 1), 1), 2020, 1, 1, 0, 0, 0, 1);
  EXPECT_FIELDS(IncMilliSecond(EncodeDate(2020, 1, 1), -1), 2019, 12, 31, 23, 59, 59, 999);
  EXPECT_FIELDS(IncSecond(EncodeDate(2020, 1, 1), 86400 * 3 + 1), 2020, 1, 4, 0, 0, 1, 0);
  // 1899-12-29 23:00 is -1.9583...; two hours later is 1899-12-30 01:00, a positive value.
  const TDateTime lateOnThe29th = EncodeDateTime(1899, 12, 29, 23, 0, 0, 0);
  const TDateTime r = IncHour(lateOnThe29th, 2);
  EXPECT_GT(r, 0);
  EXPECT_FIELDS(r, 1899, 12, 30, 1, 0, 0, 0);
  EXPECT_FIELDS(IncMinute(r, -120), 1899, 12, 29, 23, 0, 0, 0);
  EXPECT_DOUBLE_EQ(IncMinute(r, -120), lateOnThe29th);
  EXPECT_FIELDS(IncHour(EncodeDateTime(1899, 12, 28, 6, 0, 0, 0), 30), 1899, 12, 29, 12, 0, 0, 0);
}

TEST(DateUtilsInc, DaysKeepTheTimeOfDay) {
  EXPECT_DOUBLE_EQ(IncDay(2.75, 3), 5.75);
  EXPECT_DOUBLE_EQ(IncDay(-1.25, 1), 0.25);  // 1899-12-29 06:00 to 1899-12-30 06:00
  EXPECT_FIELDS(IncDay(-0.25, 1), 1899, 12, 31, 6, 0, 0, 0);
  EXPECT_FIELDS(IncDay(0.75, -2), 1899, 12, 28, 18, 0, 0, 0);
  EXPECT_FIELDS(IncWeek(EncodeDate(2021, 12, 28), 1), 2022, 1, 4, 0, 0, 0, 0);
}

TEST(DateUtilsInc, MonthsClampTheDay) {
  EXPECT_FIELDS(IncMonth(EncodeDateTime(2021, 1, 31, 10, 0, 0, 0), 1), 2021, 2, 28, 10, 0, 0, 0);
  EXPECT_FIELDS(IncMonth(EncodeDate(2021, 1, 31), -2), 2020, 11, 30, 0, 0, 0, 0);
  EXPECT_FIELDS(IncMonth(EncodeDate(2020, 12, 15), 14), 2022, 2, 15, 0, 0, 0, 0);
  EXPECT_FIELDS(IncYear(EncodeDate(2020, 2, 29), 1), 2021, 2, 28, 0, 0, 0, 0);
  EXPECT_DOUBLE_EQ(IncMonth(EncodeDateTime(1899, 11, 29, 6, 0, 0, 0), 1), -1.25);
  EXPECT_THROW(IncYear(EncodeDate(9999, 1, 1), 1), EConvertError);
}

TEST(DateUtilsInc, BetweenCountsWholeUnitsEitherWay) {
  const TDateTime a = EncodeDateTime(1899, 12, 29, 23, 0, 0, 0);
  const TDateTime b = EncodeDateTime(1899, 12, 30, 1, 0, 0, 0);
  EXPECT_EQ(MinutesBetween(a, b), 120);
  EXPECT_EQ(MinutesBetween(b, a), 120);
  EXPECT_EQ(HoursBetween(a, b), 2);
  EXPECT_EQ(DaysBetween(a, b), 0);
  const TDateTime c = EncodeDateTime(2020, 1, 1, 0, 0, 59, 999);
  EXPECT_EQ(SecondsBetween(c, EncodeDate(2020, 1, 1)), 59);
  EXPECT_EQ(MinutesBetween(c, EncodeDate(2020, 1, 1)), 0);
  EXPECT_EQ(MilliSecondsBetween(c, EncodeDate(2020, 1, 1)), 59999);
  EXPECT_EQ(DaysBetween(EncodeDate(2020, 1, 1), EncodeDate(2021, 1, 1)), 366);
}

TEST(DateUtilsInc, UnixSeconds) {
  EXPECT_EQ(DateTimeToUnix(EncodeDate(1970, 1, 2)), 86400);
  EXPECT_EQ(DateTimeToUnix(EncodeDateTime(1969, 12, 31, 23, 59, 0, 0)), -60);
  EXPECT_DOUBLE_EQ(UnixToDateTime(0), UnixDateDelta);
  EXPECT_FIELDS(UnixToDateTime(1700000000), 2023, 11, 14, 22, 13, 20, 0);
}

TEST(DateUtilsClock, NowIsTheLocalWallClock) {
  std::time_t t = std::time(nullptr);
  std::tm tm{};
  localtime_r(&t, &tm);
  const TDateTime expected = EncodeDateTime(
      static_cast<Word>(tm.tm_year + 1900), static_cast<Word>(tm.tm_mon + 1),
      static_cast<Word>(tm.tm_mday), static_cast<Word>(tm.tm_hour), static_cast<Word>(tm.tm_min),
      static_cast<Word>(tm.tm_sec > 59 ? 59 : tm.tm_sec), 0);
  EXPECT_LE(SecondsBetween(Now(), expected), 2);
  EXPECT_DOUBLE_EQ(Date(), DateOf(Now()));
  EXPECT_LT(Time(), 1.0);
}

TEST(DateUtilsTimeZone, BerlinAroundTheDaylightSavingChanges) {
  TZoneGuard zone("Europe/Berlin");
  EXPECT_EQ(LocalUTCOffsetMinutes(EncodeDateTime(2021, 1, 15, 12, 0, 0, 0)), 60);
  EXPECT_EQ(LocalUTCOffsetMinutes(EncodeDateTime(2021, 7, 15, 12, 0, 0, 0)), 120);
  // Spring: 02:00 becomes 03:00 on 2021-03-28; the skipped half hour takes standard time.
  EXPECT_EQ(LocalUTCOffsetMinutes(EncodeDateTime(2021, 3, 28, 1, 59, 0, 0)), 60);
  EXPECT_EQ(LocalUTCOffsetMinutes(EncodeDateTime(2021, 3, 28, 2, 30, 0, 0)), 60);
  EXPECT_EQ(LocalUTCOffsetMinutes(EncodeDateTime(2021, 3, 28, 3, 0, 0, 0)), 120);
  // Autumn: 03:00 becomes 02:00 on 2021-10-31; the repeated hour takes standard time.
  EXPECT_EQ(LocalUTCOffsetMinutes(EncodeDateTime(2021, 10, 31, 1, 59, 0, 0)), 120);
  EXPECT_EQ(LocalUTCOffsetMinutes(EncodeDateTime(2021, 10, 31, 2, 30, 0, 0)), 60);
  EXPECT_EQ(LocalUTCOffsetMinutes(EncodeDateTime(2021, 10, 31, 3, 0, 0, 0)), 60);
  // The same changes seen from UTC: at 01:00 UTC both times.
  EXPECT_EQ(UTCOffsetMinutesAtUTC(EncodeDateTime(2021, 3, 28, 0, 59, 59, 0)), 60);
  EXPECT_EQ(UTCOffsetMinutesAtUTC(EncodeDateTime(2021, 3, 28, 1, 0, 0, 0)), 120);
  EXPECT_EQ(UTCOffsetMinutesAtUTC(EncodeDateTime(2021, 10, 31, 0, 59, 59, 0)), 120);
  EXPECT_EQ(UTCOffsetMinutesAtUTC(EncodeDateTime(2021, 10, 31, 1, 0, 0, 0)), 60);
}

TEST(DateUtilsTimeZone, ConvertsBetweenLocalAndUTC) {
  TZoneGuard zone("Europe/Berlin");
  EXPECT_FIELDS(LocalToUTC(EncodeDateTime(2021, 7, 15, 12, 0, 0, 0)), 2021, 7, 15, 10, 0, 0, 0);
  EXPECT_FIELDS(LocalToUTC(EncodeDateTime(2021, 1, 1, 0, 30, 0, 0)), 2020, 12, 31, 23, 30, 0, 0);
  EXPECT_FIELDS(UTCToLocal(EncodeDateTime(2021, 1, 15, 12, 0, 0, 0)), 2021, 1, 15, 13, 0, 0, 0);
  EXPECT_FIELDS(UTCToLocal(EncodeDateTime(2021, 7, 15, 23, 30, 0, 123)), 2021, 7, 16, 1, 30, 0,
                123);
  const TDateTime utc = EncodeDateTime(2021, 10, 31, 0, 30, 0, 0);  // 02:30 daylight time
  EXPECT_FIELDS(UTCToLocal(utc), 2021, 10, 31, 2, 30, 0, 0);
  EXPECT_FIELDS(LocalToUTC(UTCToLocal(utc)), 2021, 10, 31, 1, 30, 0, 0);  // standard wins
}

TEST(DateUtilsTimeZone, FollowsChangesOfTZ) {
  const TDateTime winter = EncodeDateTime(2021, 1, 15, 12, 0, 0, 0);
  const TDateTime summer = EncodeDateTime(2021, 7, 15, 12, 0, 0, 0);
  {
    TZoneGuard zone("America/New_York");
    EXPECT_EQ(LocalUTCOffsetMinutes(winter), -300);
    EXPECT_EQ(LocalUTCOffsetMinutes(summer), -240);
    EXPECT_FIELDS(LocalToUTC(winter), 2021, 1, 15, 17, 0, 0, 0);
    // 2021-03-14 02:30 does not exist in New York.
    EXPECT_EQ(LocalUTCOffsetMinutes(EncodeDateTime(2021, 3, 14, 2, 30, 0, 0)), -300);
  }
  {
    TZoneGuard zone("UTC");
    EXPECT_EQ(UTCOffsetMinutesAtUTC(summer), 0);
    EXPECT_EQ(LocalUTCOffsetMinutes(summer), 0);
    EXPECT_DOUBLE_EQ(LocalToUTC(summer), summer);
  }
  {
    // A rule string needs no zone database.
    TZoneGuard zone("CET-1CEST,M3.5.0,M10.5.0/3");
    EXPECT_EQ(UTCOffsetMinutesAtUTC(summer), 120);
    EXPECT_EQ(LocalUTCOffsetMinutes(winter), 60);
    EXPECT_EQ(LocalUTCOffsetMinutes(EncodeDateTime(2021, 3, 28, 2, 30, 0, 0)), 60);
  }
}

TEST(DateUtilsText, FormatsWithTheSettings) {
  const TDateTime v = EncodeDateTime(2020, 1, 2, 15, 4, 5, 7);
  EXPECT_EQ(DateTimeToStr(v), u"1/2/2020 3:04:05 PM");
  EXPECT_EQ(DateTimeToStr(EncodeDate(2020, 1, 2)), u"1/2/2020");
  EXPECT_EQ(DateTimeToStr(EncodeDateTime(2020, 1, 2, 0, 0, 1, 0)), u"1/2/2020 12:00:01 AM");
  EXPECT_EQ(DateToStr(v), u"1/2/2020");
  EXPECT_EQ(TimeToStr(v), u"3:04:05 PM");
  EXPECT_EQ(FormatDateTime(u"yyyy-mm-dd hh:nn:ss.zzz", v), u"2020-01-02 15:04:05.007");
  EXPECT_EQ(FormatDateTime(u"yy/m/d h:m:s z", v), u"20/1/2 15:4:5 7");
  EXPECT_EQ(FormatDateTime(u"dddd, mmmm d (ddd mmm)", v), u"Thursday, January 2 (Thu Jan)");
  EXPECT_EQ(FormatDateTime(u"h:nn am/pm 'at' \"h\"", v), u"3:04 pm at h");
  EXPECT_EQ(FormatDateTime(u"h:nn A/P", v), u"3:04 P");
  EXPECT_EQ(FormatDateTime(u"t", v), u"3:04 PM");
  TFormatSettings de = TFormatSettings::Create();
  de.DateSeparator = u'.';
  de.ShortDateFormat = u"dd/mm/yyyy";
  de.LongTimeFormat = u"hh:nn:ss";
  EXPECT_EQ(DateTimeToStr(v, de), u"02.01.2020 15:04:05");
}

TEST(DateUtilsText, ReadsDateAndTimeText) {
  EXPECT_DOUBLE_EQ(StrToDateTime(u"1/2/2020 3:04:05 PM"), EncodeDateTime(2020, 1, 2, 15, 4, 5, 0));
  EXPECT_DOUBLE_EQ(StrToDateTime(u" 1/2/2020 "), EncodeDate(2020, 1, 2));
  EXPECT_DOUBLE_EQ(StrToDateTime(u"13:30"), EncodeTime(13, 30, 0, 0));
  EXPECT_DOUBLE_EQ(StrToDateTime(u"12:00:00.5 AM"), EncodeTime(0, 0, 0, 5));
  EXPECT_DOUBLE_EQ(StrToDateTime(u"1/2/20"), EncodeDate(2020, 1, 2));
  EXPECT_DOUBLE_EQ(StrToDateTime(u"1/2/1850 6:00"), EncodeDateTime(1850, 1, 2, 6, 0, 0, 0));
  TFormatSettings de = TFormatSettings::Create();
  de.DateSeparator = u'.';
  de.ShortDateFormat = u"dd/mm/yyyy";
  EXPECT_DOUBLE_EQ(StrToDateTime(u"02.01.2020", de), EncodeDate(2020, 1, 2));
  TDateTime d;
  EXPECT_FALSE(TryStrToDateTime(u"2020-01-02", d));
  EXPECT_FALSE(TryStrToDateTime(u"13:00 PM", d));
  EXPECT_FALSE(TryStrToDateTime(u"1/2/2020 x", d));
  try {
    StrToDateTime(u"2/30/2020");
    FAIL() << "no exception";
  } catch (EConvertError &E) {
    EXPECT_EQ(E.Message, u"'2/30/2020' is not a valid date and time");
  }
}
