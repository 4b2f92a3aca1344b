// Date and time values of the run-time: TDateTime and its arithmetic, calendar encoding and
// decoding, the machine's time-zone rules, and date-time text.
//
// A TDateTime counts days since 1899-12-30 00:00; the fraction is the time of day. Before that
// day the value is negative and its fraction is still the time of day taken as an absolute
// value: -1.25 is 1899-12-29 06:00, and -0.5 is 1899-12-30 12:00 just like 0.5.
#pragma once

#include "vnxml/rtl/SysUtils.h"
#include "vnxml/rtl/Types.h"

namespace vn {

// A point in time as a number of days. It converts to and from double freely, so arithmetic
// and comparisons are those of double (`d + 1`, `d < e`, `d - e`), yet it is a type of its own.
class TDateTime {
 public:
  double Val = 0;

  constexpr TDateTime() noexcept = default;
  constexpr TDateTime(double AValue) noexcept : Val(AValue) {}
  constexpr operator double() const noexcept { return Val; }

  constexpr TDateTime &operator+=(double ADays) noexcept {
    Val += ADays;
    return *this;
  }
  constexpr TDateTime &operator-=(double ADays) noexcept {
    Val -= ADays;
    return *this;
  }
  constexpr TDateTime &operator*=(double AFactor) noexcept {
    Val *= AFactor;
    return *this;
  }
  constexpr TDateTime &operator/=(double ADivisor) noexcept {
    Val /= ADivisor;
    return *this;
  }
  constexpr TDateTime &operator++() noexcept {
    Val += 1;
    return *this;
  }
  constexpr TDateTime &operator--() noexcept {
    Val -= 1;
    return *this;
  }
};

// A date-time that stands for a date only. Distinct from TDateTime for the type registry.
class TDate : public TDateTime {
 public:
  constexpr TDate() noexcept = default;
  constexpr TDate(double AValue) noexcept : TDateTime(AValue) {}
  constexpr TDate(const TDateTime &AValue) noexcept : TDateTime(AValue.Val) {}
};

// A date-time that stands for a time of day only. Distinct from TDateTime for the type registry.
class TTime : public TDateTime {
 public:
  constexpr TTime() noexcept = default;
  constexpr TTime(double AValue) noexcept : TDateTime(AValue) {}
  constexpr TTime(const TDateTime &AValue) noexcept : TDateTime(AValue.Val) {}
};

constexpr Integer HoursPerDay = 24;
constexpr Integer MinsPerHour = 60;
constexpr Integer SecsPerMin = 60;
constexpr Integer MSecsPerSec = 1000;
constexpr Integer MinsPerDay = HoursPerDay * MinsPerHour;
constexpr Integer SecsPerDay = MinsPerDay * SecsPerMin;
constexpr Integer SecsPerHour = SecsPerMin * MinsPerHour;
constexpr Integer MSecsPerDay = SecsPerDay * MSecsPerSec;
// Days from 0001-01-01 (day 1) to 1899-12-30.
constexpr Integer DateDelta = 693594;
// The TDateTime of 1970-01-01.
constexpr Integer UnixDateDelta = 25569;
// 0100-01-01 00:00 and 9999-12-31 23:59:59.999.
constexpr double MinDateTime = -657434.0;
constexpr double MaxDateTime = 2958465.99999999;

// A date-time as whole days since 0001-01-01 (that day being 1) and milliseconds since
// midnight.
struct TTimeStamp {
  Integer Time = 0;
  Integer Date = 0;
};

// Rounds the value to the nearest millisecond (ties to even), then splits it. For a negative
// value the time is that of the absolute fraction. Raises EInvalidOp "Invalid floating point
// operation" for not-a-number, the infinities and values beyond a billion days.
TTimeStamp DateTimeToTimeStamp(TDateTime ADateTime);
// Raises EConvertError "'<date>.<time>' is not a valid timestamp" when the date is not positive
// or the time is negative.
TDateTime TimeStampToDateTime(const TTimeStamp &ATimeStamp);
Int64 TimeStampToMSecs(const TTimeStamp &ATimeStamp);
TTimeStamp MSecsToTimeStamp(Int64 AMSecs);
// Milliseconds since 0001-01-01 minus one day, through DateTimeToTimeStamp.
Int64 DateTimeToMilliseconds(TDateTime ADateTime);

// Joins a whole day number and a time of day by the sign convention: for a negative day the
// time is subtracted.
TDateTime ComposeDateTime(TDateTime ADate, TDateTime ATime);

// ---------------------------------------------------------------------------------------------
// Calendar. Years run from 1 to 9999.
bool IsLeapYear(Word AYear);
Word DaysInAMonth(Word AYear, Word AMonth);
Word DaysInAYear(Word AYear);
Word DaysInMonth(TDateTime AValue);

bool TryEncodeDate(Word AYear, Word AMonth, Word ADay, TDateTime &ADate);
// Raises EConvertError "Invalid argument to date encode".
TDateTime EncodeDate(Word AYear, Word AMonth, Word ADay);
// Hours 0..23, minutes and seconds 0..59, milliseconds 0..999.
bool TryEncodeTime(Word AHour, Word AMin, Word ASec, Word AMSec, TDateTime &ATime);
// Raises EConvertError "Invalid argument to time encode".
TDateTime EncodeTime(Word AHour, Word AMin, Word ASec, Word AMSec);
// The date plus the time, or for a date before 1899-12-30 the date minus the time.
bool TryEncodeDateTime(Word AYear, Word AMonth, Word ADay, Word AHour, Word AMinute, Word ASecond,
                       Word AMilliSecond, TDateTime &AValue);
// Raises EConvertError "'<y>/<m>/<d> <h>:<n>:<s>.<ms>' is not a valid date and time" (with the
// separators of the process's format settings).
TDateTime EncodeDateTime(Word AYear, Word AMonth, Word ADay, Word AHour, Word AMinute, Word ASecond,
                         Word AMilliSecond);

// The fields of the value rounded to the nearest millisecond. A value before 0001-01-01 decodes
// to the date 0/0/0.
void DecodeDate(TDateTime ADate, Word &AYear, Word &AMonth, Word &ADay);
void DecodeTime(TDateTime ATime, Word &AHour, Word &AMin, Word &ASec, Word &AMSec);
void DecodeDateTime(TDateTime AValue, Word &AYear, Word &AMonth, Word &ADay, Word &AHour,
                    Word &AMinute, Word &ASecond, Word &AMilliSecond);

// The whole days (truncated), and the fraction (negative for a negative value).
TDateTime DateOf(TDateTime AValue);
TDateTime TimeOf(TDateTime AValue);
Word YearOf(TDateTime AValue);
Word MonthOf(TDateTime AValue);
Word DayOf(TDateTime AValue);
Word HourOf(TDateTime AValue);
Word MinuteOf(TDateTime AValue);
Word SecondOf(TDateTime AValue);
Word MilliSecondOf(TDateTime AValue);
// 1 is Sunday, 7 Saturday.
Word DayOfWeek(TDateTime AValue);

// Keeps the date of ADateTime and puts in the time of day of ANewTime, by the sign convention.
void ReplaceTime(TDateTime &ADateTime, TDateTime ANewTime);

// ---------------------------------------------------------------------------------------------
// Arithmetic. The hour, minute, second and millisecond forms work on whole milliseconds, so the
// result is exact to the millisecond and crosses 1899-12-30 correctly. IncDay moves the day and
// keeps the time of day unchanged. IncMonth keeps the day of month where the new month has it and
// takes the month's last day otherwise.
TDateTime IncYear(TDateTime AValue, Integer ANumberOfYears = 1);
TDateTime IncMonth(TDateTime AValue, Integer ANumberOfMonths = 1);
TDateTime IncWeek(TDateTime AValue, Integer ANumberOfWeeks = 1);
TDateTime IncDay(TDateTime AValue, Integer ANumberOfDays = 1);
TDateTime IncHour(TDateTime AValue, Int64 ANumberOfHours = 1);
TDateTime IncMinute(TDateTime AValue, Int64 ANumberOfMinutes = 1);
TDateTime IncSecond(TDateTime AValue, Int64 ANumberOfSeconds = 1);
TDateTime IncMilliSecond(TDateTime AValue, Int64 ANumberOfMilliSeconds = 1);

// Whole units between two values, never negative (the remainder is dropped).
Int64 MilliSecondsBetween(TDateTime ANow, TDateTime AThen);
Int64 SecondsBetween(TDateTime ANow, TDateTime AThen);
Int64 MinutesBetween(TDateTime ANow, TDateTime AThen);
Int64 HoursBetween(TDateTime ANow, TDateTime AThen);
Integer DaysBetween(TDateTime ANow, TDateTime AThen);

// Seconds since 1970-01-01 00:00 and back, without any time-zone conversion.
Int64 DateTimeToUnix(TDateTime AValue);
TDateTime UnixToDateTime(Int64 AValue);

// ---------------------------------------------------------------------------------------------
// The clock, in local time to the millisecond.
TDateTime Now();
TDateTime Date();
TDateTime Time();

// ---------------------------------------------------------------------------------------------
// The machine's time-zone rules (the TZ environment variable when it is set, the system's zone
// otherwise; it is read again on every call).
//
// Minutes to add to UTC to get local time, for a local wall-clock time, by the rules in force on
// that date. A wall-clock time that does not exist (skipped when the clocks go forward) or that
// exists twice (repeated when they go back) takes the offset of standard time; when both sides
// of the change are standard time, or both daylight time, it takes the offset in force before
// the change. So in Berlin both 02:30 on the last Sunday of March and 02:30 on the last Sunday
// of October are taken as +60.
Integer LocalUTCOffsetMinutes(TDateTime ALocal);
// Minutes to add to UTC to get local time, at a moment given in UTC.
Integer UTCOffsetMinutesAtUTC(TDateTime AUTC);
// LocalToUTC subtracts LocalUTCOffsetMinutes; UTCToLocal adds UTCOffsetMinutesAtUTC.
TDateTime LocalToUTC(TDateTime ALocal);
TDateTime UTCToLocal(TDateTime AUTC);

// ---------------------------------------------------------------------------------------------
// Date-time text.
//
// FormatDateTime understands: c (short date, then a blank and the long time unless the time is
// midnight), d dd ddd dddd ddddd (short date) dddddd (long date), m mm mmm mmmm (minutes instead
// when following an hour), yy yyyy, h hh (12-hour when an am/pm marker follows), n nn, s ss,
// z zzz, t (short time) tt (long time), am/pm and a/p (the letters as written), ampm ("AM" or
// "PM"), / (date separator), : (time separator), text in single or double quotes; anything else
// stands for itself. Month and day names are English. The short time format is the long time
// format without its seconds.
UnicodeString FormatDateTime(UnicodeStringView AFormat, TDateTime ADateTime);
UnicodeString FormatDateTime(UnicodeStringView AFormat, TDateTime ADateTime,
                             const TFormatSettings &ASettings);
// FormatDateTime("c"): with the default settings "1/2/2020 3:04:05 PM", or "1/2/2020" at
// midnight.
UnicodeString DateTimeToStr(TDateTime ADateTime);
UnicodeString DateTimeToStr(TDateTime ADateTime, const TFormatSettings &ASettings);
UnicodeString DateToStr(TDateTime ADate);
UnicodeString TimeToStr(TDateTime ATime);

// Reads a date in the order of the short date format with the date separator ("1/2/2020";
// "1/2" is in the current year; a year of one or two digits falls in the 100 years around now),
// optionally followed by a time "h[:n[:s[.z]]]" with an optional "AM"/"PM" before or after it;
// or a time alone. Blanks around the parts are allowed. StrToDateTime raises EConvertError
// "'<text>' is not a valid date and time".
bool TryStrToDateTime(UnicodeStringView S, TDateTime &AValue);
bool TryStrToDateTime(UnicodeStringView S, TDateTime &AValue, const TFormatSettings &ASettings);
TDateTime StrToDateTime(UnicodeStringView S);
TDateTime StrToDateTime(UnicodeStringView S, const TFormatSettings &ASettings);

}  // namespace vn
