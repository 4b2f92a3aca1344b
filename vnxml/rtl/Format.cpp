// Format: directives "%" [index ":"] ["-"] [width] ["." precision] type.
#include <algorithm>
#include <climits>

#include "vnxml/rtl/SysUtils.h"
#include "vnxml/rtl/Variant.h"

namespace vn {

namespace {

[[noreturn]] void RaiseFormatError(const UnicodeString &AFormat) {
  throw EConvertError(u"Format '" + AFormat + u"' invalid or incompatible with argument");
}

// An argument turned into what its directive works on.
struct TFormatValue {
  enum TKind { fvInt32, fvInt64, fvUInt64, fvFloat, fvString, fvPointer };
  TKind Kind = fvInt32;
  UInt64 Bits = 0;  // integers: the two's complement bits; pointers: the address
  double Float = 0;
  UnicodeString Text;
};

// Variant arguments convert to what the type letter needs: an integer for d u x, a float for
// e f g n m, text for s. A variant that cannot convert fails like any argument that does not fit.
void FormatVariantArg(const Variant &AValue, char16_t AType, TFormatValue &AOut,
                      const UnicodeString &AFormat) {
  try {
    switch (AType) {
      case u'D':
      case u'U':
      case u'X':
        if (VarType(AValue) == varUInt64) {
          AOut.Kind = TFormatValue::fvUInt64;
          AOut.Bits = AValue.AsUInt64();
        } else {
          AOut.Kind = TFormatValue::fvInt64;
          AOut.Bits = static_cast<UInt64>(AValue.AsInt64());
        }
        return;
      case u'E':
      case u'F':
      case u'G':
      case u'N':
      case u'M':
        AOut.Kind = TFormatValue::fvFloat;
        AOut.Float = AValue.AsDouble();
        return;
      case u'S':
        AOut.Kind = TFormatValue::fvString;
        AOut.Text = VarToStr(AValue);
        return;
      default:
        break;
    }
  } catch (Exception &) {
  }
  RaiseFormatError(AFormat);
}

UnicodeString CharToString(char C) {
  if (static_cast<unsigned char>(C) < 0x80) return UnicodeString(1, static_cast<char16_t>(C));
  return UTF8ToString(std::string_view(&C, 1));
}

// Reads the argument for a directive of type AType (upper case), or raises.
TFormatValue TakeValue(const TVarRec &AArg, char16_t AType, const UnicodeString &AFormat) {
  TFormatValue v;
  if (AArg.Kind() == TVarRec::vtVariant) {
    FormatVariantArg(AArg.AsVariant(), AType, v, AFormat);
    return v;
  }
  switch (AType) {
    case u'D':
    case u'U':
    case u'X':
      switch (AArg.Kind()) {
        case TVarRec::vtInteger:
          v.Kind = TFormatValue::fvInt32;
          v.Bits = static_cast<UInt64>(static_cast<Int64>(AArg.AsInteger()));
          return v;
        case TVarRec::vtInt64:
          v.Kind = TFormatValue::fvInt64;
          v.Bits = static_cast<UInt64>(AArg.AsInt64());
          return v;
        case TVarRec::vtUInt64:
          v.Kind = TFormatValue::fvUInt64;
          v.Bits = AArg.AsUInt64();
          return v;
        default:
          break;
      }
      break;
    case u'E':
    case u'F':
    case u'G':
    case u'N':
    case u'M':
      if (AArg.Kind() == TVarRec::vtExtended) {
        v.Kind = TFormatValue::fvFloat;
        v.Float = AArg.AsExtended();
        return v;
      }
      break;
    case u'S':
      v.Kind = TFormatValue::fvString;
      switch (AArg.Kind()) {
        case TVarRec::vtUnicodeString:
          v.Text = AArg.AsUnicodeString();
          return v;
        case TVarRec::vtAnsiString:
          v.Text = UTF8ToString(AArg.AsAnsiString());
          return v;
        case TVarRec::vtPChar:
          if (AArg.AsPChar()) v.Text = UTF8ToString(AArg.AsPChar());
          return v;
        case TVarRec::vtPWideChar:
          if (AArg.AsPWideChar()) v.Text = AArg.AsPWideChar();
          return v;
        case TVarRec::vtChar:
          v.Text = CharToString(AArg.AsChar());
          return v;
        case TVarRec::vtWideChar:
          v.Text = UnicodeString(1, AArg.AsWideChar());
          return v;
        default:
          break;
      }
      break;
    case u'P': {
      const void *p;
      switch (AArg.Kind()) {
        case TVarRec::vtPointer:
          p = AArg.AsPointer();
          break;
        case TVarRec::vtObject:
          p = AArg.AsObject();
          break;
        case TVarRec::vtClass:
          p = AArg.AsClass();
          break;
        case TVarRec::vtInterface:
          p = AArg.AsInterface();
          break;
        case TVarRec::vtPChar:
          p = AArg.AsPChar();
          break;
        case TVarRec::vtPWideChar:
          p = AArg.AsPWideChar();
          break;
        default:
          RaiseFormatError(AFormat);
      }
      v.Kind = TFormatValue::fvPointer;
      v.Bits = reinterpret_cast<std::uintptr_t>(p);
      return v;
    }
    default:
      break;
  }
  RaiseFormatError(AFormat);
}

// Integer text with at least AMinDigits digits; the sign stands before the zeros.
UnicodeString PadDigits(UnicodeString ADigits, Integer AMinDigits) {
  const bool neg = !ADigits.empty() && ADigits[0] == u'-';
  const auto have = static_cast<Integer>(ADigits.size()) - (neg ? 1 : 0);
  if (AMinDigits > have)
    ADigits.insert(neg ? 1 : 0, static_cast<std::size_t>(AMinDigits - have), u'0');
  return ADigits;
}

UnicodeString FormatValue(const TFormatValue &AValue, char16_t AType, Integer APrecision,
                          const TFormatSettings &ASettings) {
  switch (AType) {
    case u'D': {
      UnicodeString s = AValue.Kind == TFormatValue::fvUInt64
                            ? UIntToStr(AValue.Bits)
                            : IntToStr(static_cast<Int64>(AValue.Bits));
      return PadDigits(std::move(s), APrecision);
    }
    case u'U': {
      const UInt64 u =
          AValue.Kind == TFormatValue::fvInt32 ? AValue.Bits & 0xFFFFFFFFull : AValue.Bits;
      return PadDigits(UIntToStr(u), APrecision);
    }
    case u'X': {
      const UInt64 u =
          AValue.Kind == TFormatValue::fvInt32 ? AValue.Bits & 0xFFFFFFFFull : AValue.Bits;
      return IntToHex(u, APrecision);
    }
    case u'E':
      return FloatToStrF(AValue.Float, ffExponent, APrecision < 0 ? 15 : APrecision, 3, ASettings);
    case u'F':
      return FloatToStrF(AValue.Float, ffFixed, 18, APrecision < 0 ? 2 : APrecision, ASettings);
    case u'G':
      return FloatToStrF(AValue.Float, ffGeneral, APrecision < 0 ? 15 : APrecision, 3, ASettings);
    case u'N':
      return FloatToStrF(AValue.Float, ffNumber, 18, APrecision < 0 ? 2 : APrecision, ASettings);
    case u'M':
      return FloatToStrF(AValue.Float, ffCurrency, 18,
                         APrecision < 0 ? ASettings.CurrencyDecimals : APrecision, ASettings);
    case u'S':
      if (APrecision >= 0 && static_cast<std::size_t>(APrecision) < AValue.Text.size())
        return AValue.Text.substr(0, static_cast<std::size_t>(APrecision));
      return AValue.Text;
    default:  // 'P'
      return IntToHex(AValue.Bits, 16);
  }
}

// The state of one run of Format over its format text.
class TFormatter {
 public:
  TFormatter(const UnicodeString &AFormat, TVarRecs AArgs, const TFormatSettings &ASettings)
      : FFormat(AFormat), FArgs(AArgs), FSettings(ASettings) {}

  UnicodeString Run() {
    const std::size_t n = FFormat.size();
    while (FPos < n) {
      const std::size_t pct = FFormat.find(u'%', FPos);
      if (pct == UnicodeString::npos) {
        FResult.append(FFormat, FPos, UnicodeString::npos);
        break;
      }
      FResult.append(FFormat, FPos, pct - FPos);
      FPos = pct + 1;
      Directive();
    }
    return std::move(FResult);
  }

 private:
  [[noreturn]] void Fail() const { RaiseFormatError(FFormat); }

  const TVarRec &NextArg() {
    if (FArg >= FArgs.size()) Fail();
    return FArgs[FArg++];
  }

  // A number in the directive: decimal digits, or "*" for the next argument (an integer).
  bool Number(Int64 &AValue) {
    const std::size_t n = FFormat.size();
    if (FPos < n && FFormat[FPos] == u'*') {
      ++FPos;
      const TVarRec &a = NextArg();
      switch (a.Kind()) {
        case TVarRec::vtInteger:
          AValue = a.AsInteger();
          break;
        case TVarRec::vtInt64:
          AValue = a.AsInt64();
          break;
        case TVarRec::vtUInt64:
          AValue = a.AsUInt64() > static_cast<UInt64>(INT_MAX) ? INT_MAX : Int64(a.AsUInt64());
          break;
        default:
          Fail();
      }
      AValue = std::clamp<Int64>(AValue, INT_MIN + 1, INT_MAX);
      return true;
    }
    if (FPos >= n || FFormat[FPos] < u'0' || FFormat[FPos] > u'9') return false;
    AValue = 0;
    for (; FPos < n && FFormat[FPos] >= u'0' && FFormat[FPos] <= u'9'; ++FPos)
      AValue = std::min<Int64>(AValue * 10 + (FFormat[FPos] - u'0'), INT_MAX);
    return true;
  }

  void Directive() {
    const std::size_t n = FFormat.size();
    if (FPos >= n) Fail();
    if (FFormat[FPos] == u'%') {
      FResult.push_back(u'%');
      ++FPos;
      return;
    }
    Int64 num = 0;
    bool have = Number(num);
    if (have && FPos < n && FFormat[FPos] == u':') {
      if (num < 0) Fail();
      FArg = static_cast<std::size_t>(num);
      ++FPos;
      have = false;
    }
    bool left = false;
    if (!have) {
      if (FPos < n && FFormat[FPos] == u'-') {
        left = true;
        ++FPos;
      }
      have = Number(num);
    }
    Int64 width = have ? num : 0;
    // A negative width from "*" aligns to the left.
    if (width < 0) {
      left = true;
      width = -width;
    }
    Int64 precision = -1;
    if (FPos < n && FFormat[FPos] == u'.') {
      ++FPos;
      if (!Number(precision)) precision = 0;
      if (precision < 0) precision = -1;
    }
    if (FPos >= n) Fail();
    char16_t type = FFormat[FPos++];
    if (type >= u'a' && type <= u'z') type = static_cast<char16_t>(type - 32);
    switch (type) {
      case u'D':
      case u'U':
      case u'X':
      case u'E':
      case u'F':
      case u'G':
      case u'N':
      case u'M':
      case u'S':
      case u'P':
        break;
      default:
        Fail();
    }
    const TFormatValue value = TakeValue(NextArg(), type, FFormat);
    const UnicodeString text = FormatValue(value, type, static_cast<Integer>(precision), FSettings);
    const auto w = static_cast<std::size_t>(width);
    if (text.size() >= w) {
      FResult.append(text);
    } else if (left) {
      FResult.append(text).append(w - text.size(), u' ');
    } else {
      FResult.append(w - text.size(), u' ').append(text);
    }
  }

  const UnicodeString &FFormat;
  TVarRecs FArgs;
  const TFormatSettings &FSettings;
  std::size_t FPos = 0;
  std::size_t FArg = 0;
  UnicodeString FResult;
};

}  // namespace

UnicodeString Format(const UnicodeString &AFormat, TVarRecs AArgs,
                     const TFormatSettings &ASettings) {
  return TFormatter(AFormat, AArgs, ASettings).Run();
}

UnicodeString Format(const UnicodeString &AFormat, TVarRecs AArgs) {
  return Format(AFormat, AArgs, FormatSettings());
}

}  // namespace vn
