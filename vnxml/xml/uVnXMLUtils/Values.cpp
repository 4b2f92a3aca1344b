// Numbers, booleans, dates, times, durations and variants to and from their lexical forms.
#include <cmath>

#include "vnxml/xml/uVnXMLUtils.h"

namespace vn {

namespace {

// The settings of every float conversion: the process's defaults with "." and ",".
TFormatSettings XMLFloatSettings() {
  TFormatSettings s = FormatSettings();
  s.DecimalSeparator = u'.';
  s.ThousandSeparator = u',';
  return s;
}

void AppendOffset(UnicodeString &AOut, TDateTime AValue) {
  Integer sign;
  Word hours, minutes;
  VnCalcTimeZoneOffset(AValue, sign, hours, minutes);
  AOut += VnTimeZoneOffsetToStr(sign, hours, minutes);
}

[[noreturn]] void RaiseNoTimezone() {
  throw Exception(u"The XMLDateTime value did not contain timezone information!");
}

// Moves a value read with a zone to the zone asked for.
TDateTime ApplyZone(TDateTime AValue, const TVnDateTimeParts &AParts, TVnTimeZoneFormat AFormat) {
  switch (AParts.TimezoneFormat) {
    case tzfNone:
      if (AFormat != tzfNone) RaiseNoTimezone();
      return AValue;
    case tzfOffset: {
      TDateTime utc = IncMinute(AValue, -AParts.TimezoneOffset);
      return AFormat == tzfUTC ? utc : VnUTCToLocal(utc);
    }
    default:
      return AFormat == tzfUTC ? AValue : VnUTCToLocal(AValue);
  }
}

bool IsZeroText(UnicodeStringView AText) {
  return AText.empty() || AText == u"0";
}

}  // namespace

TVnTimeZoneFormat VnTimeZoneFormat(TVnXMLDateTimeFormat AFormat) {
  switch (AFormat) {
    case xdtfUTC:
      return tzfUTC;
    case xdtfTimezone:
      return tzfOffset;
    default:
      return tzfNone;
  }
}

// ---------------------------------------------------------------------------------------------
// Numbers and booleans to text

VnXMLString VnShortIntToXML(ShortInt AValue) {
  return IntToStr(AValue);
}
VnXMLString VnSmallIntToXML(SmallInt AValue) {
  return IntToStr(AValue);
}
VnXMLString VnLongIntToXML(LongInt AValue) {
  return IntToStr(AValue);
}
VnXMLString VnIntToXML(Integer AValue) {
  return IntToStr(AValue);
}
VnXMLString VnInt64ToXML(Int64 AValue) {
  return IntToStr(AValue);
}
VnXMLString VnByteToXML(Byte AValue) {
  return IntToStr(AValue);
}
VnXMLString VnWordToXML(Word AValue) {
  return IntToStr(AValue);
}
VnXMLString VnLongWordToXML(LongWord AValue) {
  return IntToStr(AValue);
}
VnXMLString VnCardinalToXML(Cardinal AValue) {
  return IntToStr(AValue);
}
VnXMLString VnUInt64ToXML(UInt64 AValue) {
  return IntToStr(static_cast<Int64>(AValue));
}
VnXMLString VnBoolToXML(bool AValue) {
  return AValue ? u"true" : u"false";
}

VnXMLString VnDoubleToXML(Double AValue) {
  UnicodeString s = FloatToStr(AValue);
  const char16_t sep = FormatSettings().DecimalSeparator;
  if (sep != u'.')
    for (char16_t &c : s)
      if (c == sep) c = u'.';
  return s;
}

VnXMLString VnExtToXML(Extended AValue) {
  return VnDoubleToXML(AValue);
}

// ---------------------------------------------------------------------------------------------
// Dates, times and durations to text

VnXMLString VnDateToXML(TDateTime AValue, TVnTimeZoneFormat AFormat) {
  if (AFormat == tzfUTC) return VnDateToISOStr(VnLocalToUTC(AValue)) + u"Z";
  UnicodeString r = VnDateToISOStr(AValue);
  if (AFormat == tzfOffset) AppendOffset(r, AValue);
  return r;
}

VnXMLString VnDateToXML(TDateTime AValue, TVnXMLDateTimeFormat AFormat) {
  return VnDateToXML(AValue, VnTimeZoneFormat(AFormat));
}

VnXMLString VnTimeToXML(TDateTime AValue, TVnTimeZoneFormat AFormat) {
  if (AFormat == tzfUTC) return VnTimeToStr(VnLocalToUTC(AValue), true) + u"Z";
  UnicodeString r = VnTimeToStr(AValue, true);
  if (AFormat == tzfOffset) AppendOffset(r, AValue);
  return r;
}

VnXMLString VnTimeToXML(TDateTime AValue, TVnXMLDateTimeFormat AFormat) {
  return VnTimeToXML(AValue, VnTimeZoneFormat(AFormat));
}

VnXMLString VnDateTimeToXML(TDateTime AValue, TVnTimeZoneFormat AFormat) {
  // The UTC form is the one without milliseconds.
  if (AFormat == tzfUTC) return VnDateTimeToISOStr(VnLocalToUTC(AValue), false) + u"Z";
  UnicodeString r = VnDateTimeToISOStr(AValue, true);
  if (AFormat == tzfOffset) AppendOffset(r, AValue);
  return r;
}

VnXMLString VnDateTimeToXML(TDateTime AValue, TVnXMLDateTimeFormat AFormat) {
  return VnDateTimeToXML(AValue, VnTimeZoneFormat(AFormat));
}

VnXMLString VnDurationToXML(const TVnDuration &AValue) {
  if (!(std::fabs(AValue.Seconds) < 9.2e18)) throw EInvalidOp(u"Invalid floating point operation");
  const Word years = static_cast<Word>(AValue.Months / 12);
  const Word months = static_cast<Word>(AValue.Months % 12);
  const Int64 whole = static_cast<Int64>(std::trunc(AValue.Seconds));
  const Word days = static_cast<Word>(whole / 86400);
  const Word hours = static_cast<Word>(whole % 86400 / 3600);
  const Word minutes = static_cast<Word>(whole % 3600 / 60);
  const Word seconds = static_cast<Word>(whole % 60);
  const Word msecs =
      static_cast<Word>(static_cast<Int64>(std::trunc((AValue.Seconds - whole) * 1000)));
  UnicodeString r = AValue.Negative ? u"-P" : u"P";
  if (!years && !months && !days && !hours && !minutes && !seconds && !msecs) return r + u"0Y";
  if (years) r += IntToStr(years) + u"Y";
  if (months) r += IntToStr(months) + u"M";
  if (days) r += IntToStr(days) + u"D";
  if (hours || minutes || seconds || msecs) {
    r += u"T";
    if (hours) r += IntToStr(hours) + u"H";
    if (minutes) r += IntToStr(minutes) + u"M";
    if (msecs) {
      // The milliseconds' own digits without trailing zeros: 500 and 5 both give ".5".
      UnicodeString frac = IntToStr(msecs);
      while (frac.size() > 1 && frac.back() == u'0') frac.pop_back();
      r += IntToStr(seconds) + u"." + frac + u"S";
    } else if (seconds) {
      r += IntToStr(seconds) + u"S";
    }
  }
  return r;
}

TVnXMLDateTimeFormat VnXMLDateTimeFormat(const TVnDateTimeParts &AParts) {
  switch (AParts.TimezoneFormat) {
    case tzfOffset:
      return xdtfTimezone;
    case tzfUTC:
      return xdtfUTC;
    default:
      return xdtfLocal;
  }
}

TVnDateTimeParts VnDecodeXMLDateTime(UnicodeStringView AText) {
  return VnDecodeISODateTime(AText);
}

// ---------------------------------------------------------------------------------------------
// Variants to text

VnXMLString VnVariantToXML(const Variant &AValue) {
  const TVarType type = VarType(AValue);
  switch (type) {
    case varEmpty:
    case varNull:
      return {};
    case varSmallint:
    case varInteger:
    case varShortInt:
    case varByte:
    case varWord:
    case varLongWord:
      return VnIntToXML(static_cast<Integer>(AValue.AsInt64()));
    case varSingle:
    case varDouble:
    case varCurrency:
      return VnDoubleToXML(AValue.AsDouble());
    case varDate:
      return VnDateTimeToXML(VarToDateTime(AValue), tzfNone);
    case varOleStr:
    case varString:
    case varUString:
      return VnStrToXML(VarToStr(AValue), true, true);
    case varBoolean:
      return VnBoolToXML(AValue.AsBoolean());
    case varInt64:
      return VnInt64ToXML(AValue.AsInt64());
    case varArray | varByte: {
      static const char16_t hex[] = u"0123456789ABCDEF";
      UnicodeString r;
      const Integer high = VarArrayHighBound(AValue);
      for (Integer i = 0; i <= high; ++i) {
        const unsigned b = static_cast<unsigned>(AValue.GetElement(i).AsInt64()) & 0xFF;
        r.push_back(hex[b >> 4]);
        r.push_back(hex[b & 15]);
      }
      return r;
    }
    default:
      break;
  }
  if (type & varArray) {
    // An escaped description of the array, not markup: the element texts are escaped twice.
    const Integer high = VarArrayHighBound(AValue);
    UnicodeString text = Format(u"<array length=\"%d\">", {high + 1});
    for (Integer i = 0; i <= high; ++i)
      text += Format(u"<element nr=\"%d\">%s</element>", {i, VnVariantToXML(AValue.GetElement(i))});
    text += u"</array>";
    return VnStrToXML(text, true, true);
  }
  throw Exception(u"VnVariantToXml; invalid variant type %d!", {static_cast<Integer>(type)});
}

// ---------------------------------------------------------------------------------------------
// Text to numbers

namespace {
template <class T>
T StrictInt(UnicodeStringView AText) {
  if (AText.empty()) return 0;
  if constexpr (sizeof(T) == 8)
    return static_cast<T>(StrToInt64(AText));
  else
    return static_cast<T>(StrToInt(AText));
}

template <class T>
T LenientInt(UnicodeStringView AText, T ADefault) {
  if (AText.empty()) return 0;
  if constexpr (sizeof(T) == 8) {
    Int64 v;
    return TryStrToInt64(AText, v) ? static_cast<T>(v) : ADefault;
  } else {
    Integer v;
    return TryStrToInt(AText, v) ? static_cast<T>(v) : ADefault;
  }
}
}  // namespace

ShortInt VnXMLToShortint(UnicodeStringView AText) {
  return StrictInt<ShortInt>(AText);
}
SmallInt VnXMLToSmallint(UnicodeStringView AText) {
  return StrictInt<SmallInt>(AText);
}
Integer VnXMLToInt(UnicodeStringView AText) {
  return StrictInt<Integer>(AText);
}
Int64 VnXMLToInt64(UnicodeStringView AText) {
  return StrictInt<Int64>(AText);
}
Byte VnXMLToByte(UnicodeStringView AText) {
  return StrictInt<Byte>(AText);
}
Word VnXMLToWord(UnicodeStringView AText) {
  return StrictInt<Word>(AText);
}
LongWord VnXMLToLongword(UnicodeStringView AText) {
  return StrictInt<LongWord>(AText);
}
UInt64 VnXMLToUInt64(UnicodeStringView AText) {
  return StrictInt<UInt64>(AText);
}

ShortInt VnXMLToShortintDef(UnicodeStringView AText, ShortInt ADefault) {
  return LenientInt(AText, ADefault);
}
SmallInt VnXMLToSmallintDef(UnicodeStringView AText, SmallInt ADefault) {
  return LenientInt(AText, ADefault);
}
Integer VnXMLToIntDef(UnicodeStringView AText, Integer ADefault) {
  return LenientInt(AText, ADefault);
}
Int64 VnXMLToInt64Def(UnicodeStringView AText, Int64 ADefault) {
  return LenientInt(AText, ADefault);
}
Byte VnXMLToByteDef(UnicodeStringView AText, Byte ADefault) {
  return LenientInt(AText, ADefault);
}
Word VnXMLToWordDef(UnicodeStringView AText, Word ADefault) {
  return LenientInt(AText, ADefault);
}
LongWord VnXMLToLongwordDef(UnicodeStringView AText, LongWord ADefault) {
  return LenientInt(AText, ADefault);
}
UInt64 VnXMLToUInt64Def(UnicodeStringView AText, UInt64 ADefault) {
  return LenientInt(AText, ADefault);
}

Double VnXMLToDouble(UnicodeStringView AText) {
  if (AText.empty()) return 0.0;
  return StrToFloat(AText, XMLFloatSettings());
}
Extended VnXMLToExtended(UnicodeStringView AText) {
  return VnXMLToDouble(AText);
}
Single VnXMLToSingle(UnicodeStringView AText) {
  return static_cast<Single>(VnXMLToDouble(AText));
}

Double VnXMLToDoubleDef(UnicodeStringView AText, Double ADefault) {
  if (AText.empty()) return 0.0;
  Extended v;
  return TryStrToFloat(AText, v, XMLFloatSettings()) ? v : ADefault;
}
Extended VnXMLToExtendedDef(UnicodeStringView AText, Extended ADefault) {
  return VnXMLToDoubleDef(AText, ADefault);
}
Single VnXMLToSingleDef(UnicodeStringView AText, Single ADefault) {
  if (AText.empty()) return 0.0f;
  Extended v;
  return TryStrToFloat(AText, v, XMLFloatSettings()) ? static_cast<Single>(v) : ADefault;
}

bool VnXMLToBool(UnicodeStringView AText) {
  return AText == u"1" || SameText(AText, u"true");
}

// ---------------------------------------------------------------------------------------------
// Text to dates and times

TDateTime VnXMLToDate(UnicodeStringView AText) {
  if (IsZeroText(AText)) return 0.0;
  const TVnDateTimeParts p = VnDecodeISODateTime(AText);
  TDateTime v = EncodeDate(p.Year, p.Month, p.Day);
  return p.Negative ? -v.Val : v.Val;
}

TDateTime VnXMLToDateTime(UnicodeStringView AText, TVnTimeZoneFormat AFormat) {
  if (IsZeroText(AText)) return 0.0;
  const TVnDateTimeParts p = VnDecodeISODateTime(AText);
  TDateTime v = 0.0;
  if (p.HasDate && p.HasTime)
    v = EncodeDateTime(p.Year, p.Month, p.Day, p.Hour, p.Minute, p.Second, p.MSec);
  else if (p.HasDate)
    v = EncodeDate(p.Year, p.Month, p.Day);
  else if (p.HasTime)
    v = EncodeTime(p.Hour, p.Minute, p.Second, p.MSec);
  if (p.Negative) v = -v.Val;
  return ApplyZone(v, p, AFormat);
}

TDateTime VnXMLToDateTime(UnicodeStringView AText, TVnXMLDateTimeFormat AFormat) {
  return VnXMLToDateTime(AText, VnTimeZoneFormat(AFormat));
}

TDateTime VnXMLToTime(UnicodeStringView AText, TVnTimeZoneFormat AFormat) {
  if (IsZeroText(AText)) return 0.0;
  const TVnDateTimeParts p = VnDecodeISODateTime(AText);
  TDateTime v = EncodeTime(p.Hour, p.Minute, p.Second, p.MSec);
  if (p.Negative) v = -v.Val;
  v = ApplyZone(v, p, AFormat);
  // Only the time of day stays, so a shift across midnight wraps.
  return v.Val - std::trunc(v.Val);
}

TDateTime VnXMLToTime(UnicodeStringView AText, TVnXMLDateTimeFormat AFormat) {
  return VnXMLToTime(AText, VnTimeZoneFormat(AFormat));
}

TDateTime VnXMLToDateDef(UnicodeStringView AText, TDateTime ADefault) {
  try {
    return VnXMLToDate(AText);
  } catch (Exception &) {
    return ADefault;
  }
}

TDateTime VnXMLToTimeDef(UnicodeStringView AText, TDateTime ADefault, TVnTimeZoneFormat AFormat) {
  try {
    return VnXMLToTime(AText, AFormat);
  } catch (Exception &) {
    return ADefault;
  }
}

TDateTime VnXMLToTimeDef(UnicodeStringView AText, TDateTime ADefault,
                         TVnXMLDateTimeFormat AFormat) {
  return VnXMLToTimeDef(AText, ADefault, VnTimeZoneFormat(AFormat));
}

TDateTime VnXMLToDateTimeDef(UnicodeStringView AText, TDateTime ADefault,
                             TVnTimeZoneFormat AFormat) {
  try {
    return VnXMLToDateTime(AText, AFormat);
  } catch (Exception &) {
    return ADefault;
  }
}

TDateTime VnXMLToDateTimeDef(UnicodeStringView AText, TDateTime ADefault,
                             TVnXMLDateTimeFormat AFormat) {
  return VnXMLToDateTimeDef(AText, ADefault, VnTimeZoneFormat(AFormat));
}

// ---------------------------------------------------------------------------------------------
// Text to durations

TVnDuration VnXMLToDuration(UnicodeStringView AText) {
  if (AText.empty())
    throw Exception(u"VnXMLToDuration; An empty string cannot be converted to a xs:duration!");
  static const TVnCharSet cNumber = TVnCharSet::Of("0123456789.");
  TVnTextParser *p = New<TVnTextParser>(AText.data(), AText.size() * 2, CP_UTF16);
  Word years = 0, months = 0, days = 0, hours = 0, minutes = 0, seconds = 0, msecs = 0;
  bool negative = false;
  try {
    char16_t c = p->ReadCharW();
    if (c == u'-') {
      negative = true;
      c = p->ReadCharW();
    }
    if (c != u'P') throw Exception(u"VnXMLToDuration; A duration must start with a \"P\"!");
    bool time = false;
    while (!p->Eof()) {
      if (p->CurrCharW() == u'T') {
        time = true;
        p->NextChar();
      }
      p->SetMark(tpMark1);
      p->SkipWhileSet(soInSet, cNumber);
      const char16_t unit = p->CurrCharW();
      if (unit != u'Y' && unit != u'M' && unit != u'D' && unit != u'H' && unit != u'S')
        throw Exception(u"VnXMLToDuration; The provided argument (%s) is not a valid duration!",
                        {UnicodeString(AText)});
      const UnicodeString number = p->Selected(tpMark1, tpCurrent, true);
      if (unit == u'S') {
        const std::size_t dot = number.find(u'.');
        if (dot != UnicodeString::npos) {
          seconds = static_cast<Word>(StrToInt(UnicodeStringView(number).substr(0, dot)));
          // The fraction's digits times 100, whatever their count.
          msecs = static_cast<Word>(StrToInt(UnicodeStringView(number).substr(dot + 1)) * 100);
        } else {
          seconds = static_cast<Word>(StrToInt(number));
        }
      } else {
        const Word v = static_cast<Word>(StrToInt(number));
        switch (unit) {
          case u'Y':
            years = v;
            break;
          case u'M':
            (time ? minutes : months) = v;
            break;
          case u'D':
            days = v;
            break;
          default:
            hours = v;
            break;
        }
      }
      p->NextChar();
    }
  } catch (...) {
    p->Free();
    throw;
  }
  p->Free();
  TVnDuration d = VnEncodeDuration(years, months, days, hours, minutes, seconds, msecs, false);
  d.Negative = negative;
  return d;
}

// ---------------------------------------------------------------------------------------------
// Text to variants

namespace {

Variant ArrayFromXML(UnicodeStringView AText, Word AVarType) {
  const UnicodeString text = VnXMLToStr(AText);
  const std::size_t q1 = text.find(u'"');
  const std::size_t q2 = q1 == UnicodeString::npos ? q1 : text.find(u'"', q1 + 1);
  if (q2 == UnicodeString::npos)
    throw Exception(u"VnXMLToVariant(%d); Unsupported VarType", {static_cast<Integer>(AVarType)});
  const Integer length = StrToInt(UnicodeStringView(text).substr(q1 + 1, q2 - q1 - 1));
  Word elemType = AVarType & ~varArray;
  if (elemType == varString || elemType == varUString) elemType = varOleStr;
  Variant result = VarArrayCreate(0, length - 1, elemType);
  std::size_t pos = text.find(u'>');
  pos = pos == UnicodeString::npos ? text.size() : pos + 1;
  Integer index = 0;
  while (UnicodeStringView(text).substr(pos).starts_with(u"<element")) {
    const std::size_t gt = text.find(u'>', pos);
    const std::size_t lt = gt == UnicodeString::npos ? gt : text.find(u'<', gt + 1);
    if (lt == UnicodeString::npos) break;
    result.PutElement(
        index++, VnXMLToVariant(UnicodeStringView(text).substr(gt + 1, lt - gt - 1), elemType));
    const std::size_t next = text.find(u"<element", lt);
    if (next == UnicodeString::npos) break;
    pos = next;
  }
  return result;
}

Variant ByteArrayFromXML(UnicodeStringView AText) {
  const UnicodeString text = Trim(AText);
  if (text.empty()) return Variant::Null();
  const Integer count = static_cast<Integer>(text.size() / 2);
  Variant result = VarArrayCreate(0, count - 1, varByte);
  for (Integer i = 0; i < count; ++i) {
    UnicodeString pair = u"$";
    pair.append(text, static_cast<std::size_t>(i) * 2, 2);
    result.PutElement(i, static_cast<Byte>(StrToInt(pair)));
  }
  return result;
}

// The strict conversion in which empty text raises too, cut to the width of T.
template <class T>
T StrictNonEmpty(UnicodeStringView AText) {
  if constexpr (sizeof(T) == 8)
    return static_cast<T>(StrToInt64(AText));
  else
    return static_cast<T>(StrToInt(AText));
}

}  // namespace

Variant VnXMLToVariant(UnicodeStringView AText, Word AVarType) {
  switch (AVarType) {
    case varEmpty:
      return Variant();
    case varNull:
      return Variant::Null();
    case varSmallint:
      return Variant(static_cast<short>(VnXMLToSmallint(AText)));
    case varInteger:
    case varDecimal:
      return Variant(static_cast<int>(VnXMLToInt(AText)));
    case varSingle:
      return Variant(VnXMLToSingle(AText));
    case varDouble:
      return Variant(VnXMLToDouble(AText));
    case varCurrency:
      return Variant(VnXMLToExtended(AText));
    case varDate:
      return Variant(VnXMLToDateTime(AText, tzfNone));
    case varOleStr:
    case varString:
    case varUString:
      return Variant(VnXMLToStr(AText));
    case varBoolean:
      return Variant(VnXMLToBool(AText));
    case varVariant:
    case varUnknown:
      return Variant(UnicodeString(AText));
    case varShortInt:
      return Variant(StrictNonEmpty<signed char>(AText));
    case varByte:
      return Variant(StrictNonEmpty<unsigned char>(AText));
    case varWord:
      return Variant(StrictNonEmpty<unsigned short>(AText));
    case varLongWord:
      return Variant(StrictNonEmpty<unsigned>(AText));
    case varInt64:
      return Variant(static_cast<long long>(StrictNonEmpty<Int64>(AText)));
    case varArray | varByte:
      return ByteArrayFromXML(AText);
    default:
      break;
  }
  if ((AVarType & varArray) && !AText.empty()) return ArrayFromXML(AText, AVarType);
  throw Exception(u"VnXMLToVariant(%d); Unsupported VarType", {static_cast<Integer>(AVarType)});
}

}  // namespace vn
