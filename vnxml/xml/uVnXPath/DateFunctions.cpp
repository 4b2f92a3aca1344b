// The date, time and duration functions of the library. They hold no typed values: each call
// reads the text of its parameter anew, a duration through VnXMLToDuration and a date, time or
// date-time through VnDecodeISODateTime, and answers numbers or texts. Zone offsets of "Z"
// values and of "now" come from the machine's zone rules (VnCalcTimeZoneOffset).
#include <cmath>
#include <optional>

#include "vnxml/xml/uVnXMLUtils.h"
#include "vnxml/xml/uVnXPath.h"

namespace vn {

namespace {

// The argument errors, word for word as applications see them.
inline constexpr const char16_t *cYearsFromDurationCount =
    u"The \"fn:years-from-duration(arg)\" function must have 1 parameter!";
inline constexpr const char16_t *cMonthsFromDurationCount =
    u"The \"fn:months-from-duration(arg)\" function must have 1 parameter!";
inline constexpr const char16_t *cDaysFromDurationCount =
    u"The \"fn:days-from-duration(arg)\" function must have 1 parameter!";
inline constexpr const char16_t *cHoursFromDurationCount =
    u"The \"fn:hours-from-duration(arg)\" function must have 1 parameter!";
inline constexpr const char16_t *cMinutesFromDurationCount =
    u"The \"fn:minutes-from-duration(arg)\" function must have 1 parameter!";
inline constexpr const char16_t *cSecondsFromDurationCount =
    u"The \"fn:seconds-from-duration(arg)\" function must have 1 parameter!";
inline constexpr const char16_t *cDateTimeCount =
    u"The \"fn:dateTime(date, time)\" function must have 2 parameters!";
inline constexpr const char16_t *cYearFromDateTimeCount =
    u"The \"fn:year-from-dateTime(dateTime)\" function must have 1 parameter!";
inline constexpr const char16_t *cMonthFromDateTimeCount =
    u"The \"fn:month-from-dateTime(dateTime)\" function must have 1 parameter!";
inline constexpr const char16_t *cDayFromDateTimeCount =
    u"The \"fn:day-from-dateTime(dateTime)\" function must have 1 parameter!";
inline constexpr const char16_t *cHoursFromDateTimeCount =
    u"The \"fn:hours-from-dateTime(dateTime)\" function must have 1 parameter!";
inline constexpr const char16_t *cMinutesFromDateTimeCount =
    u"The \"fn:minutes-from-dateTime(dateTime)\" function must have 1 parameter!";
inline constexpr const char16_t *cSecondsFromDateTimeCount =
    u"The \"fn:seconds-from-dateTime(dateTime)\" function must have 1 parameter!";
inline constexpr const char16_t *cTimeZoneFromDateTimeCount =
    u"The \"fn:timezone-from-dateTime(dateTime)\" function must have 1 parameter!";
inline constexpr const char16_t *cYearFromDateCount =
    u"The \"fn:year-from-date(date)\" function must have 1 parameter!";
inline constexpr const char16_t *cMonthFromDateCount =
    u"The \"fn:month-from-date(date)\" function must have 1 parameter!";
inline constexpr const char16_t *cDayFromDateCount =
    u"The \"fn:day-from-date(date)\" function must have 1 parameter!";
inline constexpr const char16_t *cTimeZoneFromDateCount =
    u"The \"fn:timezone-from-date(date)\" function must have 1 parameter!";
inline constexpr const char16_t *cHoursFromTimeCount =
    u"The \"fn:hours-from-time(time)\" function must have 1 parameter!";
inline constexpr const char16_t *cMinutesFromTimeCount =
    u"The \"fn:minutes-from-time(time)\" function must have 1 parameter!";
inline constexpr const char16_t *cSecondsFromTimeCount =
    u"The \"fn:seconds-from-time(time)\" function must have 1 parameter!";
inline constexpr const char16_t *cTimeZoneFromTimeCount =
    u"The \"fn:timezone-from-time(time)\" function must have 1 parameter!";
inline constexpr const char16_t *cAdjustDateTimeCount =
    u"The \"fn:adjust-dateTime-to-timezone(dt,timezone)\" function may not have more than 2 "
    u"parameters!";

// The XPath errors.
inline constexpr const char16_t *cYearsFromDurationInvalid =
    u"An invalid parameter was passed to fn:years-from-duration(arg)";
inline constexpr const char16_t *cMonthsFromDurationInvalid =
    u"An invalid parameter was passed to fn:months-from-duration(arg)";
inline constexpr const char16_t *cDaysFromDurationInvalid =
    u"An invalid parameter was passed to fn:days-from-duration(arg)";
inline constexpr const char16_t *cHoursFromDurationInvalid =
    u"An invalid parameter was passed to fn:hours-from-duration(arg)";
inline constexpr const char16_t *cMinutesFromDurationInvalid =
    u"An invalid parameter was passed to fn:minutes-from-duration(arg)";
inline constexpr const char16_t *cSecondsFromDurationInvalid =
    u"An invalid parameter was passed to fn:seconds-from-duration(arg)";
inline constexpr const char16_t *cDateTimeZones =
    u"An invalid parameter was passed to fn:dateTime(arg)";

// ---------------------------------------------------------------------------------------------
// Durations

// The duration in the text of ATerm's value; none for an empty sequence "()". A text that is no
// duration raises EVnXPathException "FORG0006" with AInvalid, whatever the reader's failure.
std::optional<TVnDuration> DurationOf(TVnXPathBaseTerm *ATerm, TVnDOMObjectList *ANodeList,
                                      Integer AIndex, const char16_t *AInvalid) {
  if (auto *list = dynamic_cast<TVnXPathListTerm *>(ATerm); list && list->Count() == 0)
    return std::nullopt;
  const UnicodeString text = VnVarToStr(ATerm->Value(ANodeList, AIndex));
  try {
    return VnXMLToDuration(text);
  } catch (const Exception &) {
    throw EVnXPathException(u"FORG0006", AInvalid);
  }
}

Int64 WholeSeconds(const TVnDuration &ADuration) {
  return static_cast<Int64>(std::trunc(ADuration.Seconds));
}

// The sign of a negative duration is put on by Variant multiplication, as any value's would be.
Variant Signed(const Variant &AValue, bool ANegative) {
  return ANegative ? AValue * Variant(-1) : AValue;
}

// The part APart of the duration of the function's one parameter, signed; Null for "()".
template <class F>
Variant DurationPart(const TVnXPathFunction &AFunction, TVnDOMObjectList *ANodeList, Integer AIndex,
                     const char16_t *ACount, const char16_t *AInvalid, F APart) {
  if (AFunction.ParamCount() != 1) throw EVnDomSyntax(ACount);
  const std::optional<TVnDuration> d = DurationOf(AFunction.Param(0), ANodeList, AIndex, AInvalid);
  if (!d) return Null();
  return Signed(APart(*d), d->Negative);
}

// ---------------------------------------------------------------------------------------------
// Dates and times

// The text of ATerm's value decoded: the Variant's own conversion, which refuses Null, then the
// ISO reader, whose errors pass.
TVnDateTimeParts PartsOf(TVnXPathBaseTerm *ATerm, TVnDOMObjectList *ANodeList, Integer AIndex) {
  return VnDecodeISODateTime(ATerm->Value(ANodeList, AIndex).AsString());
}

// The one parameter of a field function decoded.
TVnDateTimeParts PartsParam(const TVnXPathFunction &AFunction, TVnDOMObjectList *ANodeList,
                            Integer AIndex, const char16_t *ACount) {
  if (AFunction.ParamCount() != 1) throw EVnDomSyntax(ACount);
  return PartsOf(AFunction.Param(0), ANodeList, AIndex);
}

// The moment of the parts as they are written, zone left aside: date and time, the date or the
// time alone (a time alone is on 1899-12-30), negated for a text with a leading "-".
TDateTime EncodedParts(const TVnDateTimeParts &AParts) {
  TDateTime value = 0.0;
  if (AParts.HasDate && AParts.HasTime) {
    value = EncodeDateTime(AParts.Year, AParts.Month, AParts.Day, AParts.Hour, AParts.Minute,
                           AParts.Second, AParts.MSec);
  } else if (AParts.HasDate) {
    value = EncodeDate(AParts.Year, AParts.Month, AParts.Day);
  } else if (AParts.HasTime) {
    value = EncodeTime(AParts.Hour, AParts.Minute, AParts.Second, AParts.MSec);
  }
  if (AParts.Negative) value *= -1;
  return value;
}

Variant YearOfParts(const TVnDateTimeParts &AParts) {
  return Signed(static_cast<SmallInt>(AParts.Year), AParts.Negative);
}

Variant SecondsOfParts(const TVnDateTimeParts &AParts) {
  return AParts.Second + AParts.MSec / 1000.0;
}

// The zone of the parts as a duration text: an offset as written; for "Z" the local offset at
// the parts' moment read as local time; Null without a zone.
Variant TimeZoneOfParts(const TVnDateTimeParts &AParts) {
  TVnDuration zone;
  switch (AParts.TimezoneFormat) {
    case tzfOffset:
      zone.Negative = AParts.TimezoneOffset < 0;
      zone.Seconds = std::abs(static_cast<Integer>(AParts.TimezoneOffset)) * 60.0;
      break;
    case tzfUTC: {
      Integer sign;
      Word hours, minutes;
      VnCalcTimeZoneOffset(EncodedParts(AParts), sign, hours, minutes);
      zone.Negative = sign < 0;
      zone.Seconds = (hours * 60.0 + minutes) * 60.0;
      break;
    }
    default:
      return Null();
  }
  return VnDurationToXML(zone);
}

// AValue in decimal, left-filled with "0" to AWidth digits; never cut.
UnicodeString Padded(Integer AValue, std::size_t AWidth) {
  UnicodeString digits = IntToStr(static_cast<Int64>(AValue));
  if (digits.size() < AWidth) digits.insert(0, AWidth - digits.size(), u'0');
  return digits;
}

// "+hh:mm" or "-hh:mm" of an offset in minutes.
UnicodeString OffsetText(Integer AMinutes) {
  const Integer a = AMinutes < 0 ? -AMinutes : AMinutes;
  return UnicodeString(1, AMinutes < 0 ? u'-' : u'+') + Padded(a / 60, 2) + u":" +
         Padded(a % 60, 2);
}

// "YYYY-MM-DDThh:mm:ss.mmm" of the fields as they were read: no sign, no zone.
UnicodeString FieldsText(const TVnDateTimeParts &AParts) {
  return Padded(AParts.Year, 4) + u"-" + Padded(AParts.Month, 2) + u"-" + Padded(AParts.Day, 2) +
         u"T" + Padded(AParts.Hour, 2) + u":" + Padded(AParts.Minute, 2) + u":" +
         Padded(AParts.Second, 2) + u"." + Padded(AParts.MSec, 3);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Registration

void RegisterXPathDateFunctions(const TVnXPathFunctionAdder &AAdd) {
  AAdd(u"years-from-duration", VnXPathFunctionClass<TVnXPathFnYearsFromDuration>());
  AAdd(u"months-from-duration", VnXPathFunctionClass<TVnXPathFnMonthsFromDuration>());
  AAdd(u"days-from-duration", VnXPathFunctionClass<TVnXPathFnDaysFromDuration>());
  AAdd(u"hours-from-duration", VnXPathFunctionClass<TVnXPathFnHoursFromDuration>());
  AAdd(u"minutes-from-duration", VnXPathFunctionClass<TVnXPathFnMinutesFromDuration>());
  AAdd(u"seconds-from-duration", VnXPathFunctionClass<TVnXPathFnSecondsFromDuration>());
  AAdd(u"dateTime", VnXPathFunctionClass<TVnXPathFnDateTime>());
  AAdd(u"year-from-dateTime", VnXPathFunctionClass<TVnXPathFnYearFromDateTime>());
  AAdd(u"month-from-dateTime", VnXPathFunctionClass<TVnXPathFnMonthFromDateTime>());
  AAdd(u"day-from-dateTime", VnXPathFunctionClass<TVnXPathFnDayFromDateTime>());
  AAdd(u"hours-from-dateTime", VnXPathFunctionClass<TVnXPathFnHoursFromDateTime>());
  AAdd(u"minutes-from-dateTime", VnXPathFunctionClass<TVnXPathFnMinutesFromDateTime>());
  AAdd(u"seconds-from-dateTime", VnXPathFunctionClass<TVnXPathFnSecondsFromDateTime>());
  AAdd(u"timezone-from-dateTime", VnXPathFunctionClass<TVnXPathFnTimeZoneFromDateTime>());
  AAdd(u"year-from-date", VnXPathFunctionClass<TVnXPathFnYearFromDate>());
  AAdd(u"month-from-date", VnXPathFunctionClass<TVnXPathFnMonthFromDate>());
  AAdd(u"day-from-date", VnXPathFunctionClass<TVnXPathFnDayFromDate>());
  AAdd(u"timezone-from-date", VnXPathFunctionClass<TVnXPathFnTimeZoneFromDate>());
  AAdd(u"hours-from-time", VnXPathFunctionClass<TVnXPathFnHoursFromTime>());
  AAdd(u"minutes-from-time", VnXPathFunctionClass<TVnXPathFnMinutesFromTime>());
  AAdd(u"seconds-from-time", VnXPathFunctionClass<TVnXPathFnSecondsFromTime>());
  AAdd(u"timezone-from-time", VnXPathFunctionClass<TVnXPathFnTimeZoneFromTime>());
  AAdd(u"adjust-dateTime-to-timezone", VnXPathFunctionClass<TVnXPathFnAdjustDateTimeToTimeZone>());
  AAdd(u"adjust-date-to-timezone", VnXPathFunctionClass<TVnXPathFnAdjustDateToTimeZone>());
  AAdd(u"adjust-time-to-timezone", VnXPathFunctionClass<TVnXPathFnAdjustTimeToTimeZone>());
}

// ---------------------------------------------------------------------------------------------
// Durations

Variant TVnXPathFnYearsFromDuration::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return DurationPart(*this, ANodeList, AIndex, cYearsFromDurationCount, cYearsFromDurationInvalid,
                      [](const TVnDuration &d) { return Variant(d.Months / 12); });
}

Variant TVnXPathFnMonthsFromDuration::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return DurationPart(*this, ANodeList, AIndex, cMonthsFromDurationCount,
                      cMonthsFromDurationInvalid,
                      [](const TVnDuration &d) { return Variant(d.Months); });
}

Variant TVnXPathFnDaysFromDuration::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return DurationPart(*this, ANodeList, AIndex, cDaysFromDurationCount, cDaysFromDurationInvalid,
                      [](const TVnDuration &d) { return Variant(WholeSeconds(d) / 86400); });
}

Variant TVnXPathFnHoursFromDuration::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return DurationPart(*this, ANodeList, AIndex, cHoursFromDurationCount, cHoursFromDurationInvalid,
                      [](const TVnDuration &d) { return Variant(WholeSeconds(d) % 86400 / 3600); });
}

Variant TVnXPathFnMinutesFromDuration::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return DurationPart(*this, ANodeList, AIndex, cMinutesFromDurationCount,
                      cMinutesFromDurationInvalid,
                      [](const TVnDuration &d) { return Variant(WholeSeconds(d) % 3600 / 60); });
}

Variant TVnXPathFnSecondsFromDuration::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return DurationPart(*this, ANodeList, AIndex, cSecondsFromDurationCount,
                      cSecondsFromDurationInvalid,
                      [](const TVnDuration &d) { return Variant(d.Seconds); });
}

// ---------------------------------------------------------------------------------------------
// dateTime

Variant TVnXPathFnDateTime::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  if (ParamCount() != 2) throw EVnDomSyntax(cDateTimeCount);
  const TVnDateTimeParts date = PartsOf(Param(0), ANodeList, AIndex);
  const TVnDateTimeParts time = PartsOf(Param(1), ANodeList, AIndex);
  // The time's zone, or the date's when the time has none; two zones must be of one form.
  TVnTimeZoneFormat zone = time.TimezoneFormat;
  Integer offset = time.TimezoneOffset;
  if (date.TimezoneFormat != tzfNone) {
    if (time.TimezoneFormat == tzfNone) {
      zone = date.TimezoneFormat;
      offset = date.TimezoneOffset;
    } else if (time.TimezoneFormat != date.TimezoneFormat) {
      throw EVnXPathException(u"FORG0008", cDateTimeZones);
    }
  }
  TDateTime value = EncodeDateTime(date.Year, date.Month, date.Day, time.Hour, time.Minute,
                                   time.Second, time.MSec);
  if (date.Negative) value *= -1;
  UnicodeString text = VnDateTimeToXML(value, tzfNone);
  if (zone == tzfUTC) {
    text += u'Z';
  } else if (zone == tzfOffset) {
    text += OffsetText(offset);
  }
  return text;
}

// ---------------------------------------------------------------------------------------------
// Fields of dates and times

Variant TVnXPathFnYearFromDateTime::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return YearOfParts(PartsParam(*this, ANodeList, AIndex, cYearFromDateTimeCount));
}

Variant TVnXPathFnMonthFromDateTime::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return static_cast<SmallInt>(PartsParam(*this, ANodeList, AIndex, cMonthFromDateTimeCount).Month);
}

Variant TVnXPathFnDayFromDateTime::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return static_cast<SmallInt>(PartsParam(*this, ANodeList, AIndex, cDayFromDateTimeCount).Day);
}

Variant TVnXPathFnHoursFromDateTime::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return static_cast<SmallInt>(PartsParam(*this, ANodeList, AIndex, cHoursFromDateTimeCount).Hour);
}

Variant TVnXPathFnMinutesFromDateTime::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return static_cast<SmallInt>(
      PartsParam(*this, ANodeList, AIndex, cMinutesFromDateTimeCount).Minute);
}

Variant TVnXPathFnSecondsFromDateTime::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return SecondsOfParts(PartsParam(*this, ANodeList, AIndex, cSecondsFromDateTimeCount));
}

Variant TVnXPathFnTimeZoneFromDateTime::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return TimeZoneOfParts(PartsParam(*this, ANodeList, AIndex, cTimeZoneFromDateTimeCount));
}

Variant TVnXPathFnYearFromDate::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return YearOfParts(PartsParam(*this, ANodeList, AIndex, cYearFromDateCount));
}

Variant TVnXPathFnMonthFromDate::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return static_cast<SmallInt>(PartsParam(*this, ANodeList, AIndex, cMonthFromDateCount).Month);
}

Variant TVnXPathFnDayFromDate::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return static_cast<SmallInt>(PartsParam(*this, ANodeList, AIndex, cDayFromDateCount).Day);
}

Variant TVnXPathFnTimeZoneFromDate::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return TimeZoneOfParts(PartsParam(*this, ANodeList, AIndex, cTimeZoneFromDateCount));
}

Variant TVnXPathFnHoursFromTime::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return static_cast<SmallInt>(PartsParam(*this, ANodeList, AIndex, cHoursFromTimeCount).Hour);
}

Variant TVnXPathFnMinutesFromTime::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return static_cast<SmallInt>(PartsParam(*this, ANodeList, AIndex, cMinutesFromTimeCount).Minute);
}

Variant TVnXPathFnSecondsFromTime::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return SecondsOfParts(PartsParam(*this, ANodeList, AIndex, cSecondsFromTimeCount));
}

Variant TVnXPathFnTimeZoneFromTime::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return TimeZoneOfParts(PartsParam(*this, ANodeList, AIndex, cTimeZoneFromTimeCount));
}

// ---------------------------------------------------------------------------------------------
// Zone adjustment

Variant TVnXPathFnAdjustDateTimeToTimeZone::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  if (ParamCount() > 2) throw EVnDomSyntax(cAdjustDateTimeCount);
  // Without parameters, Param(0) raises the parameter list's index error.
  const Variant dt = ParamValue(0, ANodeList, AIndex);
  const UnicodeString text = VnVarToStr(dt);
  if (text.empty()) return Null();
  const TVnDateTimeParts parts = VnDecodeISODateTime(text);

  // The zone to give, as a signed offset in minutes.
  std::optional<Integer> zone;
  if (ParamCount() == 2) {
    const UnicodeString zoneText = ParamText(1, ANodeList, AIndex);
    if (!zoneText.empty()) {
      const TVnDuration d = VnXMLToDuration(zoneText);
      const Int64 seconds = WholeSeconds(d);
      const auto minutes = static_cast<Integer>(seconds / 3600 * 60 + seconds % 3600 / 60);
      zone = d.Negative ? -minutes : minutes;
    }
  } else {
    Integer sign;
    Word hours, minutes;
    VnCalcTimeZoneOffset(Now(), sign, hours, minutes);
    zone = (sign < 0 ? -1 : 1) * (hours * 60 + minutes);
  }

  // The time is not moved: only the zone's text changes.
  if (parts.TimezoneFormat == tzfNone) {
    if (!zone) return dt;
    return text + OffsetText(*zone);
  }
  return zone ? FieldsText(parts) + OffsetText(*zone) : FieldsText(parts);
}

Variant TVnXPathFnAdjustDateToTimeZone::Value(TVnDOMObjectList *, Integer) {
  return Variant();
}

Variant TVnXPathFnAdjustTimeToTimeZone::Value(TVnDOMObjectList *, Integer) {
  return Variant();
}

}  // namespace vn
