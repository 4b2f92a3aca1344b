#include "vnxml/common/uVnDateTimeUtils.h"

#include <cmath>

namespace vn {

namespace {

[[noreturn]] void RaiseBadISO(UnicodeStringView AText) {
  throw EConvertError(u"'%s' is not a valid ISO 8601 date and time", {UnicodeString(AText)});
}

bool IsDigit(char16_t c) {
  return c >= u'0' && c <= u'9';
}

// Reads exactly ACount digits at AI.
bool ReadDigits(UnicodeStringView AText, std::size_t &AI, std::size_t ACount, Integer &AValue) {
  if (AI + ACount > AText.size()) return false;
  Integer v = 0;
  for (std::size_t k = 0; k < ACount; ++k) {
    char16_t c = AText[AI + k];
    if (!IsDigit(c)) return false;
    v = v * 10 + (c - u'0');
  }
  AI += ACount;
  AValue = v;
  return true;
}

void AppendPadded(UnicodeString &AOut, UInt64 AValue, int AWidth) {
  char16_t buf[24];
  int n = 0;
  do {
    buf[n++] = static_cast<char16_t>(u'0' + AValue % 10);
    AValue /= 10;
  } while (AValue);
  for (int k = n; k < AWidth; ++k) AOut.push_back(u'0');
  while (n) AOut.push_back(buf[--n]);
}

void AppendDate(UnicodeString &AOut, TDateTime AValue) {
  Word y, m, d;
  DecodeDate(AValue, y, m, d);
  AppendPadded(AOut, y, 4);
  AOut.push_back(u'-');
  AppendPadded(AOut, m, 2);
  AOut.push_back(u'-');
  AppendPadded(AOut, d, 2);
}

void AppendTime(UnicodeString &AOut, TDateTime AValue, bool AIncludeMSec) {
  Word h, n, s, ms;
  DecodeTime(AValue, h, n, s, ms);
  AppendPadded(AOut, h, 2);
  AOut.push_back(u':');
  AppendPadded(AOut, n, 2);
  AOut.push_back(u':');
  AppendPadded(AOut, s, 2);
  if (AIncludeMSec) {
    AOut.push_back(u'.');
    AppendPadded(AOut, ms, 3);
  }
}

}  // namespace

TVnDateTimeParts VnDecodeISODateTime(UnicodeStringView AText) {
  TVnDateTimeParts p;
  std::size_t i = 0;
  const std::size_t n = AText.size();
  if (n == 0) return p;
  if (AText[0] == u'-') {
    p.Negative = true;
    ++i;
  }
  // A date starts with at least four digits and a "-"; a time with two digits and a ":".
  std::size_t digits = 0;
  while (i + digits < n && IsDigit(AText[i + digits])) ++digits;
  Integer v;
  if (digits >= 4 && i + digits < n && AText[i + digits] == u'-') {
    if (digits > 5) RaiseBadISO(AText);
    Integer year;
    if (!ReadDigits(AText, i, digits, year)) RaiseBadISO(AText);
    if (year > 0xFFFF) RaiseBadISO(AText);
    p.Year = static_cast<Word>(year);
    ++i;  // "-"
    if (!ReadDigits(AText, i, 2, v)) RaiseBadISO(AText);
    p.Month = static_cast<Word>(v);
    if (i >= n || AText[i] != u'-') RaiseBadISO(AText);
    ++i;
    if (!ReadDigits(AText, i, 2, v)) RaiseBadISO(AText);
    p.Day = static_cast<Word>(v);
    p.HasDate = true;
    if (i < n && AText[i] == u'T') {
      ++i;
      if (i >= n) RaiseBadISO(AText);
    }
  } else if (i < n && AText[i] == u'T') {
    ++i;
  }
  if (i + 2 < n && IsDigit(AText[i]) && AText[i + 2] == u':') {
    if (!ReadDigits(AText, i, 2, v)) RaiseBadISO(AText);
    p.Hour = static_cast<Word>(v);
    ++i;  // ":"
    if (!ReadDigits(AText, i, 2, v)) RaiseBadISO(AText);
    p.Minute = static_cast<Word>(v);
    if (i >= n || AText[i] != u':') RaiseBadISO(AText);
    ++i;
    if (!ReadDigits(AText, i, 2, v)) RaiseBadISO(AText);
    p.Second = static_cast<Word>(v);
    if (i < n && AText[i] == u'.') {
      ++i;
      std::size_t start = i;
      Integer ms = 0;
      while (i < n && IsDigit(AText[i])) {
        if (i - start < 3) ms = ms * 10 + (AText[i] - u'0');
        ++i;
      }
      if (i == start) RaiseBadISO(AText);
      for (std::size_t k = i - start; k < 3; ++k) ms *= 10;
      p.MSec = static_cast<Word>(ms);
    }
    p.HasTime = true;
  }
  if (!p.HasDate && !p.HasTime) RaiseBadISO(AText);
  if (i < n) {
    if (AText[i] == u'Z') {
      p.TimezoneFormat = tzfUTC;
      ++i;
    } else if (AText[i] == u'+' || AText[i] == u'-') {
      const bool west = AText[i] == u'-';
      ++i;
      Integer hh, mm;
      if (!ReadDigits(AText, i, 2, hh)) RaiseBadISO(AText);
      if (i >= n || AText[i] != u':') RaiseBadISO(AText);
      ++i;
      if (!ReadDigits(AText, i, 2, mm)) RaiseBadISO(AText);
      if (hh > 14 || mm > 59) RaiseBadISO(AText);
      p.TimezoneFormat = tzfOffset;
      p.TimezoneOffset = static_cast<SmallInt>(west ? -(hh * 60 + mm) : hh * 60 + mm);
    }
  }
  if (i != n) RaiseBadISO(AText);
  return p;
}

TVnDuration VnEncodeDuration(Integer AYears, Integer AMonths, Integer ADays, Integer AHours,
                             Integer AMinutes, Integer ASeconds, Integer AMSecs, bool ANegative) {
  TVnDuration d;
  d.Negative = ANegative;
  d.Months = AYears * 12 + AMonths;
  d.Seconds = static_cast<double>(ADays) * 86400.0 + static_cast<double>(AHours) * 3600.0 +
              static_cast<double>(AMinutes) * 60.0 + static_cast<double>(ASeconds) +
              static_cast<double>(AMSecs) / 1000.0;
  return d;
}

Integer VnCalcTimeZoneOffset(TDateTime ADateTime, Integer &ASign, Word &AHours, Word &AMinutes) {
  const Integer offset = LocalUTCOffsetMinutes(ADateTime);
  ASign = offset < 0 ? -1 : 1;
  const Integer a = offset < 0 ? -offset : offset;
  AHours = static_cast<Word>(a / 60);
  AMinutes = static_cast<Word>(a % 60);
  return offset;
}

UnicodeString VnTimeZoneOffsetToStr(Integer ASign, Word AHours, Word AMinutes) {
  UnicodeString r(1, ASign < 0 ? u'-' : u'+');
  AppendPadded(r, AHours, 2);
  r.push_back(u':');
  AppendPadded(r, AMinutes, 2);
  return r;
}

TDateTime VnLocalToUTC(TDateTime ALocal) {
  return LocalToUTC(ALocal);
}
TDateTime VnUTCToLocal(TDateTime AUTC) {
  return UTCToLocal(AUTC);
}
TDateTime VnAddMins(TDateTime ADateTime, Int64 AMinutes) {
  return IncMinute(ADateTime, AMinutes);
}

UnicodeString VnDateToISOStr(TDateTime ADate) {
  UnicodeString r;
  AppendDate(r, ADate);
  return r;
}

UnicodeString VnTimeToStr(TDateTime ATime, bool AIncludeMSec) {
  UnicodeString r;
  AppendTime(r, ATime, AIncludeMSec);
  return r;
}

UnicodeString VnDateTimeToISOStr(TDateTime ADateTime, bool AIncludeMSec) {
  UnicodeString r;
  AppendDate(r, ADateTime);
  r.push_back(u'T');
  AppendTime(r, ADateTime, AIncludeMSec);
  return r;
}

}  // namespace vn
