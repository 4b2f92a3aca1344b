#include "vnxml/rtl/DateUtils.h"

#include <cmath>
#include <ctime>

namespace vn {

namespace {

constexpr Word cMonthDays[2][12] = {{31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31},
                                    {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31}};

// Milliseconds from the time stamp origin to 1970-01-01.
constexpr Int64 cUnixEpochMSecs = Int64(DateDelta + UnixDateDelta) * MSecsPerDay;

const char16_t *const cShortMonthNames[12] = {u"Jan", u"Feb", u"Mar", u"Apr", u"May", u"Jun",
                                              u"Jul", u"Aug", u"Sep", u"Oct", u"Nov", u"Dec"};
const char16_t *const cLongMonthNames[12] = {u"January",   u"February", u"March",    u"April",
                                             u"May",       u"June",     u"July",     u"August",
                                             u"September", u"October",  u"November", u"December"};
const char16_t *const cShortDayNames[7] = {u"Sun", u"Mon", u"Tue", u"Wed", u"Thu", u"Fri", u"Sat"};
const char16_t *const cLongDayNames[7] = {u"Sunday",   u"Monday", u"Tuesday", u"Wednesday",
                                          u"Thursday", u"Friday", u"Saturday"};
constexpr char16_t cLongDateFormat[] = u"dddd, mmmm d, yyyy";

Int64 FloorDiv(Int64 A, Int64 B) {
  Int64 q = A / B;
  if ((A % B != 0) && ((A < 0) != (B < 0))) --q;
  return q;
}

// The value in milliseconds, rounded as the run-time's Round does (to nearest, ties to even).
Int64 RoundToMSecs(double AValue) {
  if (!std::isfinite(AValue) || std::fabs(AValue) > 1e9)
    throw EInvalidOp(u"Invalid floating point operation");
  return static_cast<Int64>(std::nearbyint(AValue * MSecsPerDay));
}

// Day number since 0001-01-01 (that day being 1) to year, month and day; 0/0/0 for a day number
// that is not positive.
void DecodeDayNumber(Int64 ADayNumber, Word &AYear, Word &AMonth, Word &ADay) {
  if (ADayNumber <= 0) {
    AYear = AMonth = ADay = 0;
    return;
  }
  constexpr Int64 D1 = 365, D4 = D1 * 4 + 1, D100 = D4 * 25 - 1, D400 = D100 * 4 + 1;
  Int64 t = ADayNumber - 1;
  Int64 y = 1 + (t / D400) * 400;
  t %= D400;
  Int64 i = t / D100, d = t % D100;
  if (i == 4) {
    --i;
    d += D100;
  }
  y += i * 100;
  y += (d / D4) * 4;
  d %= D4;
  i = d / D1;
  d %= D1;
  if (i == 4) {
    --i;
    d += D1;
  }
  y += i;
  const Word *table = cMonthDays[IsLeapYear(static_cast<Word>(y)) ? 1 : 0];
  Word m = 1;
  while (d >= table[m - 1]) {
    d -= table[m - 1];
    ++m;
  }
  AYear = static_cast<Word>(y);
  AMonth = m;
  ADay = static_cast<Word>(d + 1);
}

// Seconds since 1970-01-01 of a date-time read as if it were UTC, rounded down.
Int64 ToUnixSeconds(TDateTime AValue) {
  return FloorDiv(DateTimeToMilliseconds(AValue) - cUnixEpochMSecs, MSecsPerSec);
}

// The local offset from UTC in seconds at a moment, and whether daylight time is in force.
long UTCOffsetSecondsAt(Int64 AUnixSeconds, bool *AIsDST = nullptr) {
  std::time_t t = static_cast<std::time_t>(AUnixSeconds);
  std::tm tm{};
  if (!localtime_r(&t, &tm)) return 0;
  if (AIsDST) *AIsDST = tm.tm_isdst > 0;
  return tm.tm_gmtoff;
}

void AppendNumber(UnicodeString &AResult, unsigned AValue, unsigned ADigits) {
  char16_t buf[12];
  int n = 0;
  do {
    buf[n++] = static_cast<char16_t>(u'0' + AValue % 10);
    AValue /= 10;
  } while (AValue != 0);
  for (unsigned i = static_cast<unsigned>(n); i < ADigits; ++i) AResult += u'0';
  while (n > 0) AResult += buf[--n];
}

bool MatchesText(UnicodeStringView AText, std::size_t APos, UnicodeStringView AWhat) {
  if (AText.size() - APos < AWhat.size()) return false;
  for (std::size_t i = 0; i < AWhat.size(); ++i) {
    char16_t c = AText[APos + i], w = AWhat[i];
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - 32);
    if (w >= u'a' && w <= u'z') w = static_cast<char16_t>(w - 32);
    if (c != w) return false;
  }
  return true;
}

char16_t UpCase(char16_t C) {
  return (C >= u'a' && C <= u'z') ? static_cast<char16_t>(C - 32) : C;
}

UnicodeString ShortTimeFormatOf(const TFormatSettings &ASettings) {
  UnicodeString f = ASettings.LongTimeFormat;
  for (const char16_t *secs : {u":ss", u":s"}) {
    std::size_t p = f.find(secs);
    if (p != UnicodeString::npos) {
      f.erase(p, std::char_traits<char16_t>::length(secs));
      break;
    }
  }
  return f;
}

class TDateTimeFormatter {
 public:
  TDateTimeFormatter(TDateTime AValue, const TFormatSettings &ASettings)
      : FValue(AValue), FSettings(ASettings) {
    DecodeDateTime(AValue, FYear, FMonth, FDay, FHour, FMin, FSec, FMSec);
  }

  void Append(UnicodeStringView AFormat, int ALevel) {
    char16_t lastToken = 0;
    std::size_t p = 0;
    const std::size_t len = AFormat.size();
    auto countRun = [&](char16_t C) {
      std::size_t n = 1;
      while (p < len && UpCase(AFormat[p]) == C) {
        ++p;
        ++n;
      }
      return n;
    };
    while (p < len) {
      const char16_t raw = AFormat[p++];
      char16_t token = UpCase(raw);
      if (token >= u'A' && token <= u'Z') {
        if (token == u'M' && lastToken == u'H') token = u'N';
        lastToken = token;
      }
      switch (token) {
        case u'Y': {
          std::size_t n = countRun(u'Y');
          if (n <= 2)
            AppendNumber(FResult, FYear % 100, 2);
          else
            AppendNumber(FResult, FYear, 4);
          break;
        }
        case u'M': {
          std::size_t n = countRun(u'M');
          if (n <= 2)
            AppendNumber(FResult, FMonth, static_cast<unsigned>(n));
          else if (FMonth >= 1)
            FResult += (n == 3 ? cShortMonthNames : cLongMonthNames)[FMonth - 1];
          break;
        }
        case u'D': {
          std::size_t n = countRun(u'D');
          Word dow = FYear ? DayOfWeek(FValue) : 1;
          switch (n) {
            case 1:
            case 2:
              AppendNumber(FResult, FDay, static_cast<unsigned>(n));
              break;
            case 3:
              FResult += cShortDayNames[dow - 1];
              break;
            case 4:
              FResult += cLongDayNames[dow - 1];
              break;
            case 5:
              AppendNested(FSettings.ShortDateFormat, ALevel);
              break;
            default:
              AppendNested(cLongDateFormat, ALevel);
              break;
          }
          break;
        }
        case u'H': {
          std::size_t n = countRun(u'H');
          Word h = FHour;
          if (Uses12HourClock(AFormat, p)) {
            if (h == 0)
              h = 12;
            else if (h > 12)
              h -= 12;
          }
          AppendNumber(FResult, h, n > 2 ? 2 : static_cast<unsigned>(n));
          break;
        }
        case u'N': {
          std::size_t n = countRun(UpCase(raw));
          AppendNumber(FResult, FMin, n > 2 ? 2 : static_cast<unsigned>(n));
          break;
        }
        case u'S': {
          std::size_t n = countRun(u'S');
          AppendNumber(FResult, FSec, n > 2 ? 2 : static_cast<unsigned>(n));
          break;
        }
        case u'Z': {
          std::size_t n = countRun(u'Z');
          AppendNumber(FResult, FMSec, n > 1 ? 3 : 1);
          break;
        }
        case u'T': {
          std::size_t n = countRun(u'T');
          if (n == 1)
            AppendNested(ShortTimeFormatOf(FSettings), ALevel);
          else
            AppendNested(FSettings.LongTimeFormat, ALevel);
          break;
        }
        case u'C': {
          countRun(u'C');
          AppendNested(FSettings.ShortDateFormat, ALevel);
          if (FHour != 0 || FMin != 0 || FSec != 0 || FMSec != 0) {
            FResult += u' ';
            AppendNested(FSettings.LongTimeFormat, ALevel);
          }
          break;
        }
        case u'A': {
          const std::size_t start = p - 1;
          if (MatchesText(AFormat, start, u"AM/PM")) {
            FResult += AFormat.substr(FHour >= 12 ? start + 3 : start, 2);
            p = start + 5;
          } else if (MatchesText(AFormat, start, u"A/P")) {
            FResult += AFormat[FHour >= 12 ? start + 2 : start];
            p = start + 3;
          } else if (MatchesText(AFormat, start, u"AMPM")) {
            FResult += FHour >= 12 ? u"PM" : u"AM";
            p = start + 4;
          } else {
            FResult += raw;
          }
          break;
        }
        case u'/':
          FResult += FSettings.DateSeparator;
          break;
        case u':':
          FResult += FSettings.TimeSeparator;
          break;
        case u'\'':
        case u'"': {
          while (p < len && AFormat[p] != raw) FResult += AFormat[p++];
          if (p < len) ++p;
          break;
        }
        default:
          FResult += raw;
          break;
      }
    }
  }

  UnicodeString &Result() { return FResult; }

 private:
  // A nested format (the short date inside "c" and the like) is expanded two levels deep at
  // most, so that a format that names itself cannot loop.
  void AppendNested(UnicodeStringView AFormat, int ALevel) {
    if (ALevel < 2) Append(AFormat, ALevel + 1);
  }

  // Whether an am/pm marker follows before the next hour, outside quotes.
  static bool Uses12HourClock(UnicodeStringView AFormat, std::size_t AFrom) {
    bool quoted = false;
    for (std::size_t i = AFrom; i < AFormat.size(); ++i) {
      switch (AFormat[i]) {
        case u'A':
        case u'a':
          if (!quoted)
            return MatchesText(AFormat, i, u"AM/PM") || MatchesText(AFormat, i, u"A/P") ||
                   MatchesText(AFormat, i, u"AMPM");
          break;
        case u'H':
        case u'h':
          if (!quoted) return false;
          break;
        case u'\'':
        case u'"':
          quoted = !quoted;
          break;
        default:
          break;
      }
    }
    return false;
  }

  TDateTime FValue;
  const TFormatSettings &FSettings;
  Word FYear = 0, FMonth = 0, FDay = 0, FHour = 0, FMin = 0, FSec = 0, FMSec = 0;
  UnicodeString FResult;
};

// A reader over date-time text for TryStrToDateTime.
class TDateTimeScanner {
 public:
  TDateTimeScanner(UnicodeStringView AText, const TFormatSettings &ASettings)
      : FText(AText), FSettings(ASettings) {}

  std::size_t Pos = 0;

  bool AtEnd() {
    SkipBlanks();
    return Pos >= FText.size();
  }

  bool ScanDate(TDateTime &ADate) {
    enum { doMDY, doDMY, doYMD } order = doMDY;
    for (char16_t c : FSettings.ShortDateFormat) {
      c = UpCase(c);
      if (c == u'M') break;
      if (c == u'D') {
        order = doDMY;
        break;
      }
      if (c == u'Y') {
        order = doYMD;
        break;
      }
    }
    unsigned n1, n2, n3, l1, l2, l3;
    if (!ScanNumber(n1, l1) || !ScanChar(FSettings.DateSeparator) || !ScanNumber(n2, l2))
      return false;
    unsigned y, m, d, yearLen = 4;
    if (ScanChar(FSettings.DateSeparator)) {
      if (!ScanNumber(n3, l3)) return false;
      switch (order) {
        case doMDY:
          y = n3, yearLen = l3, m = n1, d = n2;
          break;
        case doDMY:
          y = n3, yearLen = l3, m = n2, d = n1;
          break;
        default:
          y = n1, yearLen = l1, m = n2, d = n3;
          break;
      }
      if (y <= 99 && yearLen <= 2) {
        // The window of 100 years that ends 50 years from now.
        const int century = YearOf(Now()) - 50;
        y += static_cast<unsigned>(century / 100 * 100);
        if (static_cast<int>(y) < century) y += 100;
      }
    } else {
      y = YearOf(Now());
      if (order == doDMY)
        d = n1, m = n2;
      else
        m = n1, d = n2;
    }
    ScanChar(FSettings.DateSeparator);
    if (y > 9999 || m > 12 || d > 31) return false;
    return TryEncodeDate(static_cast<Word>(y), static_cast<Word>(m), static_cast<Word>(d), ADate);
  }

  bool ScanTime(TDateTime &ATime) {
    int baseHour = ScanAmPm();
    unsigned h, n = 0, s = 0, z = 0, l;
    if (!ScanNumber(h, l)) return false;
    if (ScanChar(FSettings.TimeSeparator)) {
      if (!ScanNumber(n, l)) return false;
      if (ScanChar(FSettings.TimeSeparator)) {
        if (!ScanNumber(s, l)) return false;
        if (ScanChar(FSettings.DecimalSeparator) && !ScanNumber(z, l)) return false;
      }
    }
    if (baseHour < 0) baseHour = ScanAmPm();
    if (baseHour >= 0) {
      if (h == 0 || h > 12) return false;
      if (h == 12) h = 0;
      h += static_cast<unsigned>(baseHour);
    }
    if (h > 23 || n > 59 || s > 59 || z > 999) return false;
    return TryEncodeTime(static_cast<Word>(h), static_cast<Word>(n), static_cast<Word>(s),
                         static_cast<Word>(z), ATime);
  }

 private:
  void SkipBlanks() {
    while (Pos < FText.size() && FText[Pos] == u' ') ++Pos;
  }
  bool ScanChar(char16_t C) {
    SkipBlanks();
    if (Pos < FText.size() && FText[Pos] == C) {
      ++Pos;
      return true;
    }
    return false;
  }
  bool ScanNumber(unsigned &AValue, unsigned &ALength) {
    SkipBlanks();
    AValue = 0;
    ALength = 0;
    while (Pos < FText.size() && FText[Pos] >= u'0' && FText[Pos] <= u'9') {
      if (AValue < 100000) AValue = AValue * 10 + (FText[Pos] - u'0');
      ++Pos;
      ++ALength;
    }
    return ALength > 0;
  }
  // 0 after "AM", 12 after "PM", -1 when neither stands here.
  int ScanAmPm() {
    SkipBlanks();
    if (MatchesText(FText, Pos, u"AM")) {
      Pos += 2;
      return 0;
    }
    if (MatchesText(FText, Pos, u"PM")) {
      Pos += 2;
      return 12;
    }
    return -1;
  }

  UnicodeStringView FText;
  const TFormatSettings &FSettings;
};

}  // namespace

// ---------------------------------------------------------------------------------------------
// Time stamps

TTimeStamp DateTimeToTimeStamp(TDateTime ADateTime) {
  const Int64 ms = RoundToMSecs(ADateTime.Val);
  TTimeStamp r;
  r.Date = static_cast<Integer>(DateDelta + ms / MSecsPerDay);
  r.Time = static_cast<Integer>((ms < 0 ? -ms : ms) % MSecsPerDay);
  return r;
}

TDateTime TimeStampToDateTime(const TTimeStamp &ATimeStamp) {
  if (ATimeStamp.Time < 0 || ATimeStamp.Date <= 0)
    throw EConvertError(u"'" + IntToStr(ATimeStamp.Date) + u"." + IntToStr(ATimeStamp.Time) +
                        u"' is not a valid timestamp");
  return ComposeDateTime(static_cast<double>(ATimeStamp.Date - DateDelta),
                         static_cast<double>(ATimeStamp.Time) / MSecsPerDay);
}

Int64 TimeStampToMSecs(const TTimeStamp &ATimeStamp) {
  return Int64(ATimeStamp.Date) * MSecsPerDay + ATimeStamp.Time;
}

TTimeStamp MSecsToTimeStamp(Int64 AMSecs) {
  TTimeStamp r;
  const Int64 days = FloorDiv(AMSecs, MSecsPerDay);
  r.Date = static_cast<Integer>(days);
  r.Time = static_cast<Integer>(AMSecs - days * MSecsPerDay);
  return r;
}

Int64 DateTimeToMilliseconds(TDateTime ADateTime) {
  return TimeStampToMSecs(DateTimeToTimeStamp(ADateTime));
}

TDateTime ComposeDateTime(TDateTime ADate, TDateTime ATime) {
  const double d = std::trunc(ADate.Val);
  const double t = std::fabs(ATime.Val - std::trunc(ATime.Val));
  return d < 0 ? d - t : d + t;
}

// ---------------------------------------------------------------------------------------------
// Calendar

bool IsLeapYear(Word AYear) {
  return (AYear % 4 == 0) && ((AYear % 100 != 0) || (AYear % 400 == 0));
}

Word DaysInAMonth(Word AYear, Word AMonth) {
  if (AMonth < 1 || AMonth > 12) return 0;
  return cMonthDays[IsLeapYear(AYear) ? 1 : 0][AMonth - 1];
}

Word DaysInAYear(Word AYear) {
  return IsLeapYear(AYear) ? 366 : 365;
}

Word DaysInMonth(TDateTime AValue) {
  Word y, m, d;
  DecodeDate(AValue, y, m, d);
  return DaysInAMonth(y, m);
}

bool TryEncodeDate(Word AYear, Word AMonth, Word ADay, TDateTime &ADate) {
  if (AYear < 1 || AYear > 9999 || AMonth < 1 || AMonth > 12) return false;
  const Word *table = cMonthDays[IsLeapYear(AYear) ? 1 : 0];
  if (ADay < 1 || ADay > table[AMonth - 1]) return false;
  Int64 day = ADay;
  for (int i = 0; i < AMonth - 1; ++i) day += table[i];
  const Int64 y = AYear - 1;
  ADate = static_cast<double>(y * 365 + y / 4 - y / 100 + y / 400 + day - DateDelta);
  return true;
}

TDateTime EncodeDate(Word AYear, Word AMonth, Word ADay) {
  TDateTime r;
  if (!TryEncodeDate(AYear, AMonth, ADay, r))
    throw EConvertError(u"Invalid argument to date encode");
  return r;
}

bool TryEncodeTime(Word AHour, Word AMin, Word ASec, Word AMSec, TDateTime &ATime) {
  if (AHour >= HoursPerDay || AMin >= MinsPerHour || ASec >= SecsPerMin || AMSec >= MSecsPerSec)
    return false;
  const Int64 ms = ((Int64(AHour) * MinsPerHour + AMin) * SecsPerMin + ASec) * MSecsPerSec + AMSec;
  ATime = static_cast<double>(ms) / MSecsPerDay;
  return true;
}

TDateTime EncodeTime(Word AHour, Word AMin, Word ASec, Word AMSec) {
  TDateTime r;
  if (!TryEncodeTime(AHour, AMin, ASec, AMSec, r))
    throw EConvertError(u"Invalid argument to time encode");
  return r;
}

bool TryEncodeDateTime(Word AYear, Word AMonth, Word ADay, Word AHour, Word AMinute, Word ASecond,
                       Word AMilliSecond, TDateTime &AValue) {
  TDateTime date, time;
  if (!TryEncodeDate(AYear, AMonth, ADay, date)) return false;
  if (!TryEncodeTime(AHour, AMinute, ASecond, AMilliSecond, time)) return false;
  AValue = date.Val >= 0 ? date.Val + time.Val : date.Val - time.Val;
  return true;
}

TDateTime EncodeDateTime(Word AYear, Word AMonth, Word ADay, Word AHour, Word AMinute, Word ASecond,
                         Word AMilliSecond) {
  TDateTime r;
  if (!TryEncodeDateTime(AYear, AMonth, ADay, AHour, AMinute, ASecond, AMilliSecond, r)) {
    const TFormatSettings &fs = FormatSettings();
    UnicodeString text = IntToStr(AYear) + fs.DateSeparator + IntToStr(AMonth) + fs.DateSeparator +
                         IntToStr(ADay) + u' ' + IntToStr(AHour) + fs.TimeSeparator +
                         IntToStr(AMinute) + fs.TimeSeparator + IntToStr(ASecond) +
                         fs.DecimalSeparator + IntToStr(AMilliSecond);
    throw EConvertError(u"'" + text + u"' is not a valid date and time");
  }
  return r;
}

void DecodeDate(TDateTime ADate, Word &AYear, Word &AMonth, Word &ADay) {
  DecodeDayNumber(DateTimeToTimeStamp(ADate).Date, AYear, AMonth, ADay);
}

void DecodeTime(TDateTime ATime, Word &AHour, Word &AMin, Word &ASec, Word &AMSec) {
  const Integer ms = DateTimeToTimeStamp(ATime).Time;
  const Integer mins = ms / (SecsPerMin * MSecsPerSec);
  const Integer rest = ms % (SecsPerMin * MSecsPerSec);
  AHour = static_cast<Word>(mins / MinsPerHour);
  AMin = static_cast<Word>(mins % MinsPerHour);
  ASec = static_cast<Word>(rest / MSecsPerSec);
  AMSec = static_cast<Word>(rest % MSecsPerSec);
}

void DecodeDateTime(TDateTime AValue, Word &AYear, Word &AMonth, Word &ADay, Word &AHour,
                    Word &AMinute, Word &ASecond, Word &AMilliSecond) {
  DecodeDate(AValue, AYear, AMonth, ADay);
  DecodeTime(AValue, AHour, AMinute, ASecond, AMilliSecond);
}

TDateTime DateOf(TDateTime AValue) {
  return std::trunc(AValue.Val);
}
TDateTime TimeOf(TDateTime AValue) {
  return AValue.Val - std::trunc(AValue.Val);
}

Word YearOf(TDateTime AValue) {
  Word y, m, d;
  DecodeDate(AValue, y, m, d);
  return y;
}
Word MonthOf(TDateTime AValue) {
  Word y, m, d;
  DecodeDate(AValue, y, m, d);
  return m;
}
Word DayOf(TDateTime AValue) {
  Word y, m, d;
  DecodeDate(AValue, y, m, d);
  return d;
}
Word HourOf(TDateTime AValue) {
  Word h, n, s, z;
  DecodeTime(AValue, h, n, s, z);
  return h;
}
Word MinuteOf(TDateTime AValue) {
  Word h, n, s, z;
  DecodeTime(AValue, h, n, s, z);
  return n;
}
Word SecondOf(TDateTime AValue) {
  Word h, n, s, z;
  DecodeTime(AValue, h, n, s, z);
  return s;
}
Word MilliSecondOf(TDateTime AValue) {
  Word h, n, s, z;
  DecodeTime(AValue, h, n, s, z);
  return z;
}

Word DayOfWeek(TDateTime AValue) {
  const Int64 d = DateTimeToTimeStamp(AValue).Date;
  return static_cast<Word>(((d % 7) + 7) % 7 + 1);
}

void ReplaceTime(TDateTime &ADateTime, TDateTime ANewTime) {
  ADateTime = ComposeDateTime(ADateTime, ANewTime);
}

// ---------------------------------------------------------------------------------------------
// Arithmetic

TDateTime IncYear(TDateTime AValue, Integer ANumberOfYears) {
  return IncMonth(AValue, ANumberOfYears * 12);
}

TDateTime IncMonth(TDateTime AValue, Integer ANumberOfMonths) {
  Word y, m, d;
  DecodeDate(AValue, y, m, d);
  Int64 months = Int64(y) * 12 + (m - 1) + ANumberOfMonths;
  const Int64 year = FloorDiv(months, 12);
  const Word month = static_cast<Word>(months - year * 12 + 1);
  if (year < 1 || year > 9999) throw EConvertError(u"Invalid argument to date encode");
  const Word maxDay = DaysInAMonth(static_cast<Word>(year), month);
  TDateTime r = EncodeDate(static_cast<Word>(year), month, d > maxDay ? maxDay : d);
  ReplaceTime(r, AValue);
  return r;
}

TDateTime IncWeek(TDateTime AValue, Integer ANumberOfWeeks) {
  return IncDay(AValue, ANumberOfWeeks * 7);
}

TDateTime IncDay(TDateTime AValue, Integer ANumberOfDays) {
  // The time of day of a negative value is its absolute fraction, so the day and the time are
  // moved apart and joined again by the sign convention.
  return ComposeDateTime(std::trunc(AValue.Val) + ANumberOfDays, AValue.Val);
}

TDateTime IncHour(TDateTime AValue, Int64 ANumberOfHours) {
  return IncMilliSecond(AValue, ANumberOfHours * SecsPerHour * MSecsPerSec);
}

TDateTime IncMinute(TDateTime AValue, Int64 ANumberOfMinutes) {
  return IncMilliSecond(AValue, ANumberOfMinutes * SecsPerMin * MSecsPerSec);
}

TDateTime IncSecond(TDateTime AValue, Int64 ANumberOfSeconds) {
  return IncMilliSecond(AValue, ANumberOfSeconds * MSecsPerSec);
}

TDateTime IncMilliSecond(TDateTime AValue, Int64 ANumberOfMilliSeconds) {
  // A sum beyond 64 bits wraps around, as the host's integers do.
  const Int64 ms = static_cast<Int64>(static_cast<UInt64>(DateTimeToMilliseconds(AValue)) +
                                      static_cast<UInt64>(ANumberOfMilliSeconds));
  return TimeStampToDateTime(MSecsToTimeStamp(ms));
}

Int64 MilliSecondsBetween(TDateTime ANow, TDateTime AThen) {
  const Int64 d = DateTimeToMilliseconds(ANow) - DateTimeToMilliseconds(AThen);
  return d < 0 ? -d : d;
}

Int64 SecondsBetween(TDateTime ANow, TDateTime AThen) {
  return MilliSecondsBetween(ANow, AThen) / MSecsPerSec;
}

Int64 MinutesBetween(TDateTime ANow, TDateTime AThen) {
  return MilliSecondsBetween(ANow, AThen) / (Int64(SecsPerMin) * MSecsPerSec);
}

Int64 HoursBetween(TDateTime ANow, TDateTime AThen) {
  return MilliSecondsBetween(ANow, AThen) / (Int64(SecsPerHour) * MSecsPerSec);
}

Integer DaysBetween(TDateTime ANow, TDateTime AThen) {
  return static_cast<Integer>(MilliSecondsBetween(ANow, AThen) / MSecsPerDay);
}

Int64 DateTimeToUnix(TDateTime AValue) {
  const Int64 s = SecondsBetween(UnixDateDelta, AValue);
  return AValue.Val < UnixDateDelta ? -s : s;
}

TDateTime UnixToDateTime(Int64 AValue) {
  return IncSecond(static_cast<double>(UnixDateDelta), AValue);
}

// ---------------------------------------------------------------------------------------------
// Clock

TDateTime Now() {
  std::timespec ts{};
  clock_gettime(CLOCK_REALTIME, &ts);
  tzset();
  std::tm tm{};
  localtime_r(&ts.tv_sec, &tm);
  const TDateTime date =
      EncodeDate(static_cast<Word>(tm.tm_year + 1900), static_cast<Word>(tm.tm_mon + 1),
                 static_cast<Word>(tm.tm_mday));
  const TDateTime time = EncodeTime(static_cast<Word>(tm.tm_hour), static_cast<Word>(tm.tm_min),
                                    static_cast<Word>(tm.tm_sec > 59 ? 59 : tm.tm_sec),
                                    static_cast<Word>(ts.tv_nsec / 1000000));
  return date.Val + time.Val;
}

TDateTime Date() {
  return DateOf(Now());
}

TDateTime Time() {
  return TimeOf(Now());
}

// ---------------------------------------------------------------------------------------------
// Time zones

Integer LocalUTCOffsetMinutes(TDateTime ALocal) {
  tzset();
  // The wall-clock time read as if it were UTC. The true moment is that minus the offset, and
  // the offset is one of those in force a day before or a day after.
  const Int64 wall = ToUnixSeconds(ALocal);
  bool dstBefore = false, dstAfter = false;
  const long before = UTCOffsetSecondsAt(wall - SecsPerDay, &dstBefore);
  const long after = UTCOffsetSecondsAt(wall + SecsPerDay, &dstAfter);
  long offset;
  if (before == after) {
    offset = UTCOffsetSecondsAt(wall - before);
  } else {
    const bool beforeFits = UTCOffsetSecondsAt(wall - before) == before;
    const bool afterFits = UTCOffsetSecondsAt(wall - after) == after;
    if (beforeFits != afterFits)
      offset = beforeFits ? before : after;
    else  // in the gap or the overlap of the change
      offset = (dstBefore && !dstAfter) ? after : before;
  }
  return static_cast<Integer>(offset / SecsPerMin);
}

Integer UTCOffsetMinutesAtUTC(TDateTime AUTC) {
  tzset();
  return static_cast<Integer>(UTCOffsetSecondsAt(ToUnixSeconds(AUTC)) / SecsPerMin);
}

TDateTime LocalToUTC(TDateTime ALocal) {
  return IncMinute(ALocal, -LocalUTCOffsetMinutes(ALocal));
}

TDateTime UTCToLocal(TDateTime AUTC) {
  return IncMinute(AUTC, UTCOffsetMinutesAtUTC(AUTC));
}

// ---------------------------------------------------------------------------------------------
// Text

UnicodeString FormatDateTime(UnicodeStringView AFormat, TDateTime ADateTime) {
  return FormatDateTime(AFormat, ADateTime, FormatSettings());
}

UnicodeString FormatDateTime(UnicodeStringView AFormat, TDateTime ADateTime,
                             const TFormatSettings &ASettings) {
  TDateTimeFormatter f(ADateTime, ASettings);
  f.Append(AFormat.empty() ? UnicodeStringView(u"c") : AFormat, 0);
  return std::move(f.Result());
}

UnicodeString DateTimeToStr(TDateTime ADateTime) {
  return FormatDateTime(u"c", ADateTime, FormatSettings());
}

UnicodeString DateTimeToStr(TDateTime ADateTime, const TFormatSettings &ASettings) {
  return FormatDateTime(u"c", ADateTime, ASettings);
}

UnicodeString DateToStr(TDateTime ADate) {
  return FormatDateTime(u"ddddd", ADate);
}

UnicodeString TimeToStr(TDateTime ATime) {
  return FormatDateTime(u"tt", ATime);
}

bool TryStrToDateTime(UnicodeStringView S, TDateTime &AValue) {
  return TryStrToDateTime(S, AValue, FormatSettings());
}

bool TryStrToDateTime(UnicodeStringView S, TDateTime &AValue, const TFormatSettings &ASettings) {
  {
    TDateTimeScanner scanner(S, ASettings);
    TDateTime date, time;
    if (scanner.ScanDate(date) &&
        (scanner.AtEnd() || (scanner.ScanTime(time) && scanner.AtEnd()))) {
      AValue = date.Val >= 0 ? date.Val + time.Val : date.Val - time.Val;
      return true;
    }
  }
  TDateTimeScanner scanner(S, ASettings);
  TDateTime time;
  if (scanner.ScanTime(time) && scanner.AtEnd()) {
    AValue = time;
    return true;
  }
  return false;
}

TDateTime StrToDateTime(UnicodeStringView S) {
  return StrToDateTime(S, FormatSettings());
}

TDateTime StrToDateTime(UnicodeStringView S, const TFormatSettings &ASettings) {
  TDateTime r;
  if (!TryStrToDateTime(S, r, ASettings))
    throw EConvertError(u"'" + UnicodeString(S) + u"' is not a valid date and time");
  return r;
}

}  // namespace vn
