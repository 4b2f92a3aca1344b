// Format settings and the conversions between floats and text.
//
// Floats are written from the shortest decimal digits that read back to the same double; those
// digits are then rounded half away from zero to the precision asked for. So 0.1 + 0.2 shows as
// "0.3" with 15 digits, and a value never shows digits that its shortest form does not have.
#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>

#include "vnxml/rtl/SysUtils.h"

namespace vn {

// ---------------------------------------------------------------------------------------------
// Settings

TFormatSettings TFormatSettings::Create() {
  return TFormatSettings();
}

TFormatSettings TFormatSettings::Invariant() {
  TFormatSettings r;
  r.DecimalSeparator = u'.';
  r.ThousandSeparator = u',';
  return r;
}

TFormatSettings &FormatSettings() {
  static TFormatSettings gSettings = TFormatSettings::Create();
  return gSettings;
}

// ---------------------------------------------------------------------------------------------
// Float to text

namespace {

// The largest precision and number of decimals that the conversions honour.
constexpr Integer cMaxPrecision = 18;

// A finite value as decimal digits: 0.<Digits> * 10^Exponent. Zero has no digits.
struct TFloatRec {
  Integer Exponent = 0;
  bool Negative = false;
  Integer Count = 0;
  char Digits[cMaxPrecision + 2] = {};
};

// Rounds AValue to at most APrecision significant digits and to at most ADecimals digits after
// the point, half away from zero. Trailing zeros are dropped. A result of zero carries no sign.
TFloatRec FloatToDecimal(double AValue, Integer APrecision, Integer ADecimals) {
  TFloatRec r;
  if (AValue == 0) return r;
  r.Negative = std::signbit(AValue);
  char buf[40];
  const auto res =
      std::to_chars(buf, buf + sizeof buf, std::fabs(AValue), std::chars_format::scientific);
  // "d[.ddd]e±xx"
  char digits[24];
  Integer count = 0;
  const char *p = buf;
  for (; p < res.ptr && *p != 'e'; ++p)
    if (*p >= '0' && *p <= '9') digits[count++] = *p;
  Integer exp10 = 0;
  std::from_chars(p + 1 + (p[1] == '+' ? 1 : 0), res.ptr, exp10);
  Integer exponent = exp10 + 1;

  // How many digits stay: the precision, and no more than the decimals allow.
  const Integer keep =
      static_cast<Integer>(std::min<Int64>(APrecision, static_cast<Int64>(exponent) + ADecimals));
  if (keep < count) {
    if (keep < 0) return TFloatRec();
    const bool up = digits[keep] >= '5';
    count = keep;
    if (up) {
      Integer k = keep - 1;
      while (k >= 0 && digits[k] == '9') --k;
      if (k < 0) {
        digits[0] = '1';
        count = 1;
        ++exponent;
      } else {
        ++digits[k];
        count = k + 1;
      }
    }
  }
  while (count > 0 && digits[count - 1] == '0') --count;
  if (count == 0) return TFloatRec();
  r.Exponent = exponent;
  r.Count = std::min<Integer>(count, cMaxPrecision);
  std::copy(digits, digits + r.Count, r.Digits);
  return r;
}

// The digit at a position counted from the first significant one; '0' outside the digits.
inline char16_t DigitAt(const TFloatRec &ARec, Integer AIndex) {
  return (AIndex >= 0 && AIndex < ARec.Count) ? static_cast<char16_t>(ARec.Digits[AIndex]) : u'0';
}

void AppendInt(UnicodeString &AOut, Integer AValue, Integer AMinDigits) {
  UnicodeString d = UIntToStr(static_cast<UInt64>(AValue));
  if (static_cast<Integer>(d.size()) < AMinDigits)
    AOut.append(static_cast<std::size_t>(AMinDigits) - d.size(), u'0');
  AOut.append(d);
}

// "d.dddE+xx": APrecision digits, an exponent with sign and at least AExpDigits digits.
UnicodeString FormatExponent(const TFloatRec &ARec, Integer APrecision, Integer AExpDigits,
                             const TFormatSettings &ASettings) {
  UnicodeString r;
  if (ARec.Negative) r.push_back(u'-');
  r.push_back(DigitAt(ARec, 0));
  if (APrecision > 1) {
    r.push_back(ASettings.DecimalSeparator);
    for (Integer i = 1; i < APrecision; ++i) r.push_back(DigitAt(ARec, i));
  }
  const Integer e = ARec.Count ? ARec.Exponent - 1 : 0;
  r.push_back(u'E');
  r.push_back(e < 0 ? u'-' : u'+');
  AppendInt(r, e < 0 ? -e : e, AExpDigits);
  return r;
}

// The shortest form: fixed while the value has at most APrecision digits before the point and
// is at least 0.00001 in magnitude, otherwise "d.dddE-x" with the minimal exponent.
UnicodeString FormatGeneral(const TFloatRec &ARec, Integer APrecision,
                            const TFormatSettings &ASettings) {
  if (ARec.Count == 0) return u"0";
  UnicodeString r;
  if (ARec.Negative) r.push_back(u'-');
  if (ARec.Exponent > APrecision || ARec.Exponent < -4) {
    r.push_back(DigitAt(ARec, 0));
    if (ARec.Count > 1) {
      r.push_back(ASettings.DecimalSeparator);
      for (Integer i = 1; i < ARec.Count; ++i) r.push_back(DigitAt(ARec, i));
    }
    const Integer e = ARec.Exponent - 1;
    r.push_back(u'E');
    if (e < 0) r.push_back(u'-');
    AppendInt(r, e < 0 ? -e : e, 0);
    return r;
  }
  if (ARec.Exponent <= 0) {
    r.push_back(u'0');
    r.push_back(ASettings.DecimalSeparator);
    r.append(static_cast<std::size_t>(-ARec.Exponent), u'0');
    for (Integer i = 0; i < ARec.Count; ++i) r.push_back(DigitAt(ARec, i));
    return r;
  }
  for (Integer i = 0; i < ARec.Exponent; ++i) r.push_back(DigitAt(ARec, i));
  if (ARec.Count > ARec.Exponent) {
    r.push_back(ASettings.DecimalSeparator);
    for (Integer i = ARec.Exponent; i < ARec.Count; ++i) r.push_back(DigitAt(ARec, i));
  }
  return r;
}

// The magnitude in fixed notation with ADecimals decimals, with thousand separators if asked.
UnicodeString FormatFixedDigits(const TFloatRec &ARec, Integer ADecimals, bool AThousands,
                                const TFormatSettings &ASettings) {
  UnicodeString r;
  if (ARec.Exponent <= 0 || ARec.Count == 0) {
    r.push_back(u'0');
  } else {
    for (Integer i = 0; i < ARec.Exponent; ++i) {
      if (AThousands && i > 0 && (ARec.Exponent - i) % 3 == 0 && ASettings.ThousandSeparator)
        r.push_back(ASettings.ThousandSeparator);
      r.push_back(DigitAt(ARec, i));
    }
  }
  if (ADecimals > 0) {
    r.push_back(ASettings.DecimalSeparator);
    for (Integer i = 0; i < ADecimals; ++i) r.push_back(DigitAt(ARec, ARec.Exponent + i));
  }
  return r;
}

UnicodeString FormatCurrency(const UnicodeString &AAmount, bool ANegative,
                             const TFormatSettings &ASettings) {
  const UnicodeString &c = ASettings.CurrencyString;
  if (!ANegative) {
    switch (ASettings.CurrencyFormat) {
      case 1:
        return AAmount + c;
      case 2:
        return c + u" " + AAmount;
      case 3:
        return AAmount + u" " + c;
      default:
        return c + AAmount;
    }
  }
  const UnicodeString &a = AAmount;
  switch (ASettings.NegCurrFormat) {
    case 1:
      return u"-" + c + a;
    case 2:
      return c + u"-" + a;
    case 3:
      return c + a + u"-";
    case 4:
      return u"(" + a + c + u")";
    case 5:
      return u"-" + a + c;
    case 6:
      return a + u"-" + c;
    case 7:
      return a + c + u"-";
    case 8:
      return u"-" + a + u" " + c;
    case 9:
      return u"-" + c + u" " + a;
    case 10:
      return a + u" " + c + u"-";
    case 11:
      return c + u" " + a + u"-";
    case 12:
      return c + u" -" + a;
    case 13:
      return a + u"- " + c;
    case 14:
      return u"(" + c + u" " + a + u")";
    case 15:
      return u"(" + a + u" " + c + u")";
    default:
      return u"(" + c + a + u")";
  }
}

}  // namespace

UnicodeString FloatToStrF(Extended AValue, TFloatFormat AFormat, Integer APrecision,
                          Integer ADigits, const TFormatSettings &ASettings) {
  if (std::isnan(AValue)) return u"NAN";
  if (std::isinf(AValue)) return AValue < 0 ? u"-INF" : u"INF";
  const Integer precision = std::clamp<Integer>(APrecision, 1, cMaxPrecision);
  switch (AFormat) {
    case ffExponent:
      return FormatExponent(FloatToDecimal(AValue, precision, 9999), precision,
                            std::clamp<Integer>(ADigits, 0, 4), ASettings);
    case ffFixed:
    case ffNumber:
    case ffCurrency: {
      const Integer decimals = std::clamp<Integer>(ADigits, 0, cMaxPrecision);
      const TFloatRec rec = FloatToDecimal(AValue, precision, decimals);
      // More digits before the point than the precision holds: scientific notation.
      if (rec.Exponent > precision)
        return FormatExponent(FloatToDecimal(AValue, precision, 9999), precision,
                              std::clamp<Integer>(ADigits, 0, 4), ASettings);
      const UnicodeString amount = FormatFixedDigits(rec, decimals, AFormat != ffFixed, ASettings);
      if (AFormat == ffCurrency) return FormatCurrency(amount, rec.Negative, ASettings);
      return rec.Negative ? u"-" + amount : amount;
    }
    default:
      return FormatGeneral(FloatToDecimal(AValue, precision, 9999), precision, ASettings);
  }
}

UnicodeString FloatToStrF(Extended AValue, TFloatFormat AFormat, Integer APrecision,
                          Integer ADigits) {
  return FloatToStrF(AValue, AFormat, APrecision, ADigits, FormatSettings());
}

UnicodeString FloatToStr(Extended AValue, const TFormatSettings &ASettings) {
  return FloatToStrF(AValue, ffGeneral, 15, 0, ASettings);
}

UnicodeString FloatToStr(Extended AValue) {
  return FloatToStr(AValue, FormatSettings());
}

// ---------------------------------------------------------------------------------------------
// Text to float

namespace {

inline bool IsDigit(char16_t C) noexcept {
  return C >= u'0' && C <= u'9';
}

inline bool IsWord(UnicodeStringView S, std::size_t AAt, const char16_t *AWord) {
  for (std::size_t k = 0; AWord[k]; ++k) {
    if (AAt + k >= S.size()) return false;
    char16_t c = S[AAt + k];
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - 32);
    if (c != AWord[k]) return false;
  }
  return true;
}

// Reads float text: blanks, sign, digits with at most one ADecSep, an optional exponent, then
// blanks if ATrailingBlanks. Returns 0 with the value set, or the 1-based index of the first
// character that cannot be used (the length plus one when the text ends too early); a value out
// of the type's range is reported at the first character of the number.
template <class T>
Integer ParseFloat(UnicodeStringView S, char16_t ADecSep, bool ATrailingBlanks, T &AValue) {
  AValue = 0;
  const std::size_t n = S.size();
  std::size_t i = 0;
  while (i < n && S[i] == u' ') ++i;
  const std::size_t numStart = i;
  auto finish = [&](std::size_t AAt) -> Integer {
    if (ATrailingBlanks)
      while (AAt < n && S[AAt] == u' ') ++AAt;
    return AAt < n ? static_cast<Integer>(AAt + 1) : 0;
  };

  bool neg = false;
  const bool signed_ = i < n && (S[i] == u'+' || S[i] == u'-');
  if (signed_) neg = S[i++] == u'-';
  if (IsWord(S, i, u"INF")) {
    if (Integer code = finish(i + 3)) return code;
    AValue = neg ? -std::numeric_limits<T>::infinity() : std::numeric_limits<T>::infinity();
    return 0;
  }
  if (!signed_ && IsWord(S, i, u"NAN")) {
    if (Integer code = finish(i + 3)) return code;
    AValue = std::numeric_limits<T>::quiet_NaN();
    return 0;
  }

  // Significant digits without leading zeros, and the power of ten of the first of them.
  std::string digits;
  Int64 pointPos = 0;  // digits before the point, leading zeros included
  bool anyDigit = false, afterPoint = false, nonZero = false;
  Int64 lead = 0;  // digits (of either part) before the first significant one
  for (; i < n; ++i) {
    const char16_t c = S[i];
    if (IsDigit(c)) {
      anyDigit = true;
      if (!afterPoint) ++pointPos;
      if (c != u'0') nonZero = true;
      if (nonZero) {
        digits.push_back(static_cast<char>(c));
      } else {
        ++lead;
      }
    } else if (c == ADecSep && !afterPoint) {
      afterPoint = true;
    } else {
      break;
    }
  }
  if (!anyDigit) return static_cast<Integer>(i < n ? i + 1 : n + 1);

  Int64 exp = 0;
  if (i < n && (S[i] == u'e' || S[i] == u'E')) {
    ++i;
    bool expNeg = false;
    if (i < n && (S[i] == u'+' || S[i] == u'-')) expNeg = S[i++] == u'-';
    if (i >= n || !IsDigit(S[i])) return static_cast<Integer>(i < n ? i + 1 : n + 1);
    for (; i < n && IsDigit(S[i]); ++i)
      if (exp < 100000000) exp = exp * 10 + (S[i] - u'0');
    if (expNeg) exp = -exp;
  }
  if (Integer code = finish(i)) return code;

  if (!nonZero) {
    AValue = neg ? -T(0) : T(0);
    return 0;
  }
  while (!digits.empty() && digits.back() == '0') digits.pop_back();
  // The value is 0.<digits> * 10^scale.
  const Int64 scale = pointPos - lead + exp;
  const auto outOfRange = [&]() -> Integer {
    if (scale > 0) return static_cast<Integer>(numStart + 1);  // overflow
    AValue = neg ? -T(0) : T(0);                               // underflow: zero
    return 0;
  };
  if (scale > 400) return outOfRange();
  if (scale < -400) return outOfRange();
  std::string text;
  text.reserve(digits.size() + 16);
  if (neg) text.push_back('-');
  text.append("0.").append(digits).push_back('e');
  text.append(std::to_string(scale));
  T v;
  const auto res = std::from_chars(text.data(), text.data() + text.size(), v);
  if (res.ec == std::errc::result_out_of_range) return outOfRange();
  if (res.ec != std::errc() || std::isinf(v)) return static_cast<Integer>(numStart + 1);
  AValue = v;
  return 0;
}

[[noreturn]] void RaiseInvalidFloat(UnicodeStringView S) {
  UnicodeString m;
  m.append(u"'").append(S).append(u"' is not a valid floating point value");
  throw EConvertError(m);
}

}  // namespace

void Val(UnicodeStringView S, double &AValue, Integer &ACode) {
  ACode = ParseFloat(S, u'.', false, AValue);
  if (ACode) AValue = 0;
}

bool TryStrToFloat(UnicodeStringView S, Extended &AValue, const TFormatSettings &ASettings) {
  return ParseFloat(S, ASettings.DecimalSeparator, true, AValue) == 0;
}

bool TryStrToFloat(UnicodeStringView S, Extended &AValue) {
  return TryStrToFloat(S, AValue, FormatSettings());
}

bool TryStrToFloat(UnicodeStringView S, Single &AValue, const TFormatSettings &ASettings) {
  return ParseFloat(S, ASettings.DecimalSeparator, true, AValue) == 0;
}

Extended StrToFloat(UnicodeStringView S, const TFormatSettings &ASettings) {
  Extended v;
  if (!TryStrToFloat(S, v, ASettings)) RaiseInvalidFloat(S);
  return v;
}

Extended StrToFloat(UnicodeStringView S) {
  return StrToFloat(S, FormatSettings());
}

Extended StrToFloatDef(UnicodeStringView S, Extended ADefault, const TFormatSettings &ASettings) {
  Extended v;
  return TryStrToFloat(S, v, ASettings) ? v : ADefault;
}

Extended StrToFloatDef(UnicodeStringView S, Extended ADefault) {
  return StrToFloatDef(S, ADefault, FormatSettings());
}

}  // namespace vn
