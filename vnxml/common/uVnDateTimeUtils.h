// ISO 8601 dates, times and durations of XML Schema, and the machine's time-zone rules.
#pragma once

#include "vnxml/common/uVnTypes.h"  // TVnUTCDate, TVnUTCTime, TVnUTCDateTime
#include "vnxml/rtl/DateUtils.h"
#include "vnxml/rtl/SysUtils.h"

namespace vn {

// How a date or time carries its zone: not at all, as the local value with its offset, or
// converted to UTC ("Z").
enum TVnTimeZoneFormat : Byte { tzfNone, tzfOffset, tzfUTC };

// A duration: a sign, the months (years included) and the seconds (days and fractions
// included).
struct TVnDuration {
  bool Negative = false;
  Integer Months = 0;
  double Seconds = 0;
};

// The fields of an ISO 8601 date, time or date-time as written.
struct TVnDateTimeParts {
  bool HasDate = false;
  Word Year = 0;
  Word Month = 0;
  Word Day = 0;
  bool HasTime = false;
  Word Hour = 0;
  Word Minute = 0;
  Word Second = 0;
  Word MSec = 0;
  bool Negative = false;
  TVnTimeZoneFormat TimezoneFormat = tzfNone;
  SmallInt TimezoneOffset = 0;  // minutes, signed
};

// Reads "[-][YYYY-MM-DD][T][hh:mm:ss[.fff]][Z|(+|-)hh:mm]": a date, a time or both (with "T"
// between), each optional, then an optional zone. The year has at least four digits; a fraction
// of more than three digits is cut to milliseconds. The empty text gives parts with neither date
// nor time. Anything else raises EConvertError "'<text>' is not a valid ISO 8601 date and time".
// Field ranges are not checked here: encoding the parts checks them.
TVnDateTimeParts VnDecodeISODateTime(UnicodeStringView AText);

// Builds a duration: months = years * 12 + months, seconds = the days, hours, minutes and
// seconds in seconds plus the milliseconds over 1000. ANegative sets the sign.
TVnDuration VnEncodeDuration(Integer AYears, Integer AMonths, Integer ADays, Integer AHours,
                             Integer AMinutes, Integer ASeconds, Integer AMSecs, bool ANegative);

// The offset of the local zone from UTC at the local time ADateTime: the sign (-1 west of UTC,
// else 1) and its hours and minutes; returns the signed offset in minutes.
Integer VnCalcTimeZoneOffset(TDateTime ADateTime, Integer &ASign, Word &AHours, Word &AMinutes);
// "+hh:mm" or "-hh:mm" (the minus sign when ASign is below 0).
UnicodeString VnTimeZoneOffsetToStr(Integer ASign, Word AHours, Word AMinutes);
TDateTime VnLocalToUTC(TDateTime ALocal);
TDateTime VnUTCToLocal(TDateTime AUTC);
TDateTime VnAddMins(TDateTime ADateTime, Int64 AMinutes);

// "YYYY-MM-DD".
UnicodeString VnDateToISOStr(TDateTime ADate);
// "hh:mm:ss", with ".mmm" when AIncludeMSec.
UnicodeString VnTimeToStr(TDateTime ATime, bool AIncludeMSec = true);
// "YYYY-MM-DDThh:mm:ss", with ".mmm" when AIncludeMSec.
UnicodeString VnDateTimeToISOStr(TDateTime ADateTime, bool AIncludeMSec = true);

}  // namespace vn
