// The template bodies of uVnXSTypes.h, and the registration of the records as custom simple
// types. Included by uVnXSTypes.h only.
#pragma once

namespace vn {

namespace xs_detail {

inline const char16_t cMinExclusive[] =
    u"The specified value is smaller than, or equal to, the minimal value!";
inline const char16_t cMaxExclusive[] =
    u"The specified value is greater than, or equal to, the maximal value!";
inline const char16_t cMinInclusive[] = u"The specified value is smaller than the minimal value!";
inline const char16_t cTotalDigits[] =
    u"The value contains more digits than the maximum amount of allowed digits!";
inline const char16_t cFractionDigits[] =
    u"The value contains more digits than the maximum amount of allowed fraction digits!";

inline bool IsUnsignedKind(TVnTypeKind AKind) {
  return AKind >= vtkByte && AKind <= vtkUInt64;
}
inline bool IsIntegerKind(TVnTypeKind AKind) {
  return AKind >= vtkByte && AKind <= vtkInt64;
}
inline bool IsFloatKind(TVnTypeKind AKind) {
  return AKind >= vtkSingle && AKind <= vtkExtended;
}
inline bool IsDateKind(TVnTypeKind AKind) {
  return AKind >= vtkDate && AKind <= vtkDateTime;
}

// The four bounds in order, each only if set; then the pattern on AText.
template <class T, class Less>
void CheckBounds(const TXsAnySimpleType<T> &AMinEx, const TXsAnySimpleType<T> &AMaxEx,
                 const TXsAnySimpleType<T> &AMinIn, const TXsAnySimpleType<T> &AMaxIn, T AValue,
                 Less ALess) {
  if (!AMinEx.IsNull() && !ALess(AMinEx.FValue, AValue)) RaiseOutOfRange(cMinExclusive);
  if (!AMaxEx.IsNull() && !ALess(AValue, AMaxEx.FValue)) RaiseOutOfRange(cMaxExclusive);
  if (!AMinIn.IsNull() && ALess(AValue, AMinIn.FValue)) RaiseOutOfRange(cMinInclusive);
  // The inclusive maximum reports with the message of the exclusive one.
  if (!AMaxIn.IsNull() && ALess(AMaxIn.FValue, AValue)) RaiseOutOfRange(cMaxExclusive);
}

}  // namespace xs_detail

// ---------------------------------------------------------------------------------------------
// TXsInteger

template <class T>
void TXsIntegerRestrictions<T>::CheckLimits(TVnTypeKind AKind, T AValue) const {
  if (xs_detail::IsUnsignedKind(AKind)) {
    xs_detail::CheckBounds(
        MinExclusive, MaxExclusive, MinInclusive, MaxInclusive, AValue,
        [](T a, T b) { return static_cast<UInt64>(a) < static_cast<UInt64>(b); });
  } else {
    xs_detail::CheckBounds(MinExclusive, MaxExclusive, MinInclusive, MaxInclusive, AValue,
                           [](T a, T b) { return static_cast<Int64>(a) < static_cast<Int64>(b); });
  }
  if (!Pattern.empty()) {
    const UnicodeString text = xs_detail::IsUnsignedKind(AKind)
                                   ? UIntToStr(static_cast<UInt64>(AValue))
                                   : IntToStr(static_cast<Int64>(AValue));
    xs_detail::CheckPattern(Pattern, text);
  }
}

template <class T>
TVnTypeKind TXsInteger<T>::RequireInteger() {
  const TVnTypeKind kind = xs_detail::KindOf<T>();
  if (!xs_detail::IsIntegerKind(kind))
    xs_detail::RaiseNotSupported(u"The TXsInteger<T> only supports integer types!");
  return kind;
}

// The assertions name the unit by its place in the common library, "common/uVnXSTypes", the
// source path their message has always carried; the file itself sits beside the XML lexical
// conversions it uses.
template <class T>
TXsInteger<T> TXsInteger<T>::Create(T AValue) {
  VN_ASSERT_AT(xs_detail::IsIntegerKind(xs_detail::KindOf<T>()), "common/uVnXSTypes", __LINE__);
  TXsInteger r;
  r.FValue = AValue;
  r.FHasValue = xs_detail::cHasValue;
  return r;
}

template <class T>
void TXsInteger<T>::Clear() {
  VN_ASSERT_AT(xs_detail::IsIntegerKind(xs_detail::KindOf<T>()), "common/uVnXSTypes", __LINE__);
  FValue = T{};
  FHasValue.clear();
}

template <class T>
void TXsInteger<T>::Assign(T AValue) {
  const TVnTypeKind kind = RequireInteger();
  FHasValue = xs_detail::cHasValue;
  Restrictions.CheckLimits(kind, AValue);
  FValue = AValue;
}

template <class T>
TXsInteger<T> TXsInteger<T>::Checked(T AValue) const {
  TXsInteger r = *this;
  r.Restrictions.CheckLimits(RequireInteger(), AValue);
  r.FValue = AValue;
  return r;
}

template <class T>
TXsInteger<T> TXsInteger<T>::operator-() const {
  if (IsNull()) return *this;
  if (xs_detail::IsUnsignedKind(RequireInteger()))
    xs_detail::RaiseNotSupported(
        u"The negative operation is not allowed on unsigned integer types!");
  return Checked(static_cast<T>(-static_cast<std::make_unsigned_t<T>>(FValue)));
}

template <class T>
TXsInteger<T> TXsInteger<T>::Step(int ADelta) const {
  if (IsNull()) return *this;
  RequireInteger();
  using U = std::make_unsigned_t<T>;
  return Checked(static_cast<T>(static_cast<U>(FValue) + static_cast<U>(ADelta)));
}

template <class T>
TXsInteger<T> TXsInteger<T>::IntDivide(T AValue) const {
  if (IsNull()) return *this;
  RequireInteger();
  if (AValue == 0) throw EDivByZero(u"Division by zero");
  // The lowest value divided by -1 wraps at the width of T.
  if constexpr (std::is_signed_v<T>)
    if (AValue == -1) return Checked(static_cast<T>(U(0) - static_cast<U>(FValue)));
  return Checked(static_cast<T>(FValue / AValue));
}

template <class T>
TXsInteger<T> TXsInteger<T>::operator%(T AValue) const {
  if (IsNull()) return *this;
  RequireInteger();
  if (AValue == 0) throw EDivByZero(u"Division by zero");
  if constexpr (std::is_signed_v<T>)
    if (AValue == -1) return Checked(T(0));
  return Checked(static_cast<T>(FValue % AValue));
}

template <class T>
UnicodeString TXsInteger<T>::ToString() const {
  if (IsNull()) return u"NaN";
  if constexpr (std::is_unsigned_v<T>)
    return UIntToStr(static_cast<UInt64>(FValue));
  else
    return IntToStr(static_cast<Int64>(FValue));
}

template <class T>
void TXsInteger<T>::FromString(UnicodeStringView AValue) {
  if (AValue.empty()) {
    Clear();
    return;
  }
  RequireInteger();
  FHasValue = xs_detail::cHasValue;
  if constexpr (sizeof(T) == 8)
    FValue = static_cast<T>(StrToInt64(AValue));
  else
    FValue = static_cast<T>(StrToInt(AValue));
}

// ---------------------------------------------------------------------------------------------
// TXsRational

template <class T>
void TXsRationalRestrictions<T>::CheckLimits(T AValue) const {
  if (!TotalDigits.IsNull()) {
    UnicodeString digits = FloatToStr(AValue);
    std::erase(digits, u'.');
    std::erase(digits, u',');
    if (digits.size() > TotalDigits.FValue) xs_detail::RaiseOutOfRange(xs_detail::cTotalDigits);
  }
  if (!FractionDigits.IsNull()) {
    const UnicodeString fraction = FloatToStr(AValue - std::trunc(AValue));
    // Without the "0" and the separator in front.
    const std::size_t count = fraction.size() > 2 ? fraction.size() - 2 : 0;
    if (count > FractionDigits.FValue) xs_detail::RaiseOutOfRange(xs_detail::cFractionDigits);
  }
  xs_detail::CheckBounds(MinExclusive, MaxExclusive, MinInclusive, MaxInclusive, AValue,
                         [](T a, T b) { return a < b; });
  if (!Pattern.empty()) xs_detail::CheckPattern(Pattern, FloatToStr(AValue));
}

template <class T>
void TXsRational<T>::RequireFloat() {
  if (!xs_detail::IsFloatKind(xs_detail::KindOf<T>()))
    xs_detail::RaiseNotSupported(u"The TXsRational<T> only supports float types!");
}

template <class T>
TXsRational<T> TXsRational<T>::Create(T AValue) {
  RequireFloat();
  TXsRational r;
  r.FValue = AValue;
  r.FHasValue = xs_detail::cHasValue;
  return r;
}

template <class T>
void TXsRational<T>::Clear() {
  FValue = T{};
  FHasValue.clear();
}

template <class T>
void TXsRational<T>::Assign(T AValue) {
  RequireFloat();
  FHasValue = xs_detail::cHasValue;
  Restrictions.CheckLimits(AValue);
  FValue = AValue;
}

template <class T>
TXsRational<T> TXsRational<T>::Checked(T AValue) const {
  RequireFloat();
  TXsRational r = *this;
  r.Restrictions.CheckLimits(AValue);
  r.FValue = AValue;
  return r;
}

template <class T>
UnicodeString TXsRational<T>::ToString() const {
  if (IsNull()) return u"NaN";
  UnicodeString s = FloatToStr(FValue);
  const char16_t sep = FormatSettings().DecimalSeparator;
  if (sep != u'.') std::replace(s.begin(), s.end(), sep, u'.');
  return s;
}

template <class T>
void TXsRational<T>::FromString(UnicodeStringView AValue) {
  if (AValue.empty()) {
    Clear();
    return;
  }
  RequireFloat();
  TFormatSettings settings = FormatSettings();
  settings.DecimalSeparator = u'.';
  settings.ThousandSeparator = u',';
  FHasValue = xs_detail::cHasValue;
  FValue = static_cast<T>(StrToFloat(AValue, settings));
}

// ---------------------------------------------------------------------------------------------
// TXsDateTimeOf

template <class T>
TVnTypeKind TXsDateTimeOf<T>::RequireDateKind() {
  const TVnTypeKind kind = xs_detail::KindOf<T>();
  if (!xs_detail::IsDateKind(kind))
    xs_detail::RaiseNotSupported(u"The TXsDateTime<T> only supports float types!");
  return kind;
}

template <class T>
void TXsDateTimeOf<T>::Assign(T AValue) {
  const TVnTypeKind kind = RequireDateKind();
  *this = TXsDateTimeOf();
  if (kind != vtkTime) DecodeDate(AValue, FYear, FMonth, FDay);
  if (kind != vtkDate) DecodeTime(AValue, FHour, FMin, FSec, FMSec);
  FHasValue = xs_detail::cHasValue;
}

template <class T>
double TXsDateTimeOf<T>::Encoded() const {
  const TVnTypeKind kind = RequireDateKind();
  if (FIsBC) throw EConvertError(u"BC TDateTime values are not supported!");
  switch (kind) {
    case vtkDate:
      return EncodeDate(FYear, FMonth, FDay).Val;
    case vtkTime:
      return EncodeTime(FHour, FMin, FSec, FMSec).Val;
    default:
      return EncodeDateTime(FYear, FMonth, FDay, FHour, FMin, FSec, FMSec).Val;
  }
}

template <class T>
TXsDateTimeOf<T>::operator T() const {
  if (IsNull()) return T(0.0);
  const double v = Encoded();
  switch (FTimezoneFormat) {
    case tzfOffset:
      return T(VnUTCToLocal(VnAddMins(v, -FTimezoneOffset)).Val);
    case tzfUTC:
      return T(VnUTCToLocal(v).Val);
    default:
      return T(v);
  }
}

template <class T>
UnicodeString TXsDateTimeOf<T>::ToString(bool AIncludeMSec) const {
  if (IsNull()) return {};
  const double v = Encoded();
  UnicodeString r;
  switch (RequireDateKind()) {
    case vtkDate:
      r = VnDateToISOStr(v);
      break;
    case vtkTime:
      r = VnTimeToStr(v, AIncludeMSec);
      break;
    default:
      r = VnDateTimeToISOStr(v, AIncludeMSec);
      break;
  }
  if (FTimezoneFormat == tzfOffset) {
    const Integer offset = FTimezoneOffset;
    const Integer a = offset < 0 ? -offset : offset;
    r += VnTimeZoneOffsetToStr(offset < 0 ? -1 : 1, static_cast<Word>(a / 60),
                               static_cast<Word>(a % 60));
  } else if (FTimezoneFormat == tzfUTC) {
    r += u"Z";
  }
  return r;
}

template <class T>
void TXsDateTimeOf<T>::FromString(UnicodeStringView AValue) {
  const TVnDateTimeParts p = VnDecodeISODateTime(AValue);
  FHasValue = xs_detail::cHasValue;
  RequireDateKind();
  FYear = p.Year;
  FMonth = p.Month;
  FDay = p.Day;
  FHour = p.Hour;
  FMin = p.Minute;
  FSec = p.Second;
  FMSec = p.MSec;
  FIsBC = p.Negative;
  FTimezoneFormat = p.TimezoneFormat;
  FTimezoneOffset = p.TimezoneFormat == tzfOffset ? p.TimezoneOffset : 0;
}

// ---------------------------------------------------------------------------------------------
// The records are simple values to the registry and the serializers.

VN_RTTI(TXsByte, u"uVnXSTypes") {
  R.CustomSimple(u"byte");
}
VN_RTTI(TXsShort, u"uVnXSTypes") {
  R.CustomSimple(u"short");
}
VN_RTTI(TXsInt, u"uVnXSTypes") {
  R.CustomSimple(u"int");
}
VN_RTTI(TXsLong, u"uVnXSTypes") {
  R.CustomSimple(u"long");
}
VN_RTTI(TXsUnsignedByte, u"uVnXSTypes") {
  R.CustomSimple(u"unsignedByte");
}
VN_RTTI(TXsUnsignedShort, u"uVnXSTypes") {
  R.CustomSimple(u"unsignedShort");
}
VN_RTTI(TXsUnsignedInt, u"uVnXSTypes") {
  R.CustomSimple(u"unsignedInt");
}
VN_RTTI(TXsUnsignedLong, u"uVnXSTypes") {
  R.CustomSimple(u"unsignedLong");
}
VN_RTTI(TXsFloat, u"uVnXSTypes") {
  R.CustomSimple(u"float");
}
VN_RTTI(TXsDouble, u"uVnXSTypes") {
  R.CustomSimple(u"double");
}
VN_RTTI(TXsDecimal, u"uVnXSTypes") {
  R.CustomSimple(u"decimal");
}
VN_RTTI(TXsDate, u"uVnXSTypes") {
  R.CustomSimple(u"date");
}
VN_RTTI(TXsTime, u"uVnXSTypes") {
  R.CustomSimple(u"time");
}
VN_RTTI(TXsDateTime, u"uVnXSTypes") {
  R.CustomSimple(u"dateTime");
}
VN_RTTI(TXsString, u"uVnXSTypes") {
  R.CustomSimple(u"string");
}
VN_RTTI(TXsBoolean, u"uVnXSTypes") {
  R.CustomSimple(u"boolean");
}
VN_RTTI(TXsDuration, u"uVnXSTypes") {
  R.CustomSimple(u"duration");
}
VN_RTTI(TXsBase64Binary, u"uVnXSTypes") {
  R.CustomSimple(u"base64Binary");
}
VN_RTTI(TXsHexBinary, u"uVnXSTypes") {
  R.CustomSimple(u"hexBinary");
}

}  // namespace vn
