#include "vnxml/rtl/Variant.h"

#include <cfloat>
#include <cmath>
#include <vector>

#include "vnxml/rtl/CodePages.h"

namespace vn {

// The array behind a variant of type varArray | ElemType.
struct Variant::TArray {
  TVarType ElemType = varVariant;
  Integer Low = 0;
  std::vector<Variant> Items;
};

Variant::TArrayBox::TArrayBox() noexcept = default;
Variant::TArrayBox::TArrayBox(std::unique_ptr<TArray> AArray) noexcept : P(std::move(AArray)) {}
Variant::TArrayBox::TArrayBox(const TArrayBox &AOther)
    : P(AOther.P ? std::make_unique<TArray>(*AOther.P) : nullptr) {}
Variant::TArrayBox::TArrayBox(TArrayBox &&AOther) noexcept = default;
Variant::TArrayBox &Variant::TArrayBox::operator=(const TArrayBox &AOther) {
  // Copy first: the source may live inside the array being replaced.
  std::unique_ptr<TArray> copy = AOther.P ? std::make_unique<TArray>(*AOther.P) : nullptr;
  P = std::move(copy);
  return *this;
}
Variant::TArrayBox &Variant::TArrayBox::operator=(TArrayBox &&AOther) noexcept = default;
Variant::TArrayBox::~TArrayBox() = default;

// Reaches into the representation of Variant for the routines of this file.
class TVariantAccess {
 public:
  using TArray = Variant::TArray;

  template <class T>
  static Variant Make(TVarType AType, T &&AValue) {
    Variant v;
    v.FType = AType;
    v.FData.emplace<std::decay_t<T>>(std::forward<T>(AValue));
    return v;
  }
  static Variant MakeArray(TVarType AElemType, Integer ALow, std::vector<Variant> AItems) {
    auto a = std::make_unique<TArray>();
    a->ElemType = AElemType;
    a->Low = ALow;
    a->Items = std::move(AItems);
    Variant v;
    v.FType = static_cast<TVarType>(varArray | AElemType);
    v.FData.emplace<Variant::TArrayBox>(std::move(a));
    return v;
  }
  static bool Bool(const Variant &V) { return std::get<bool>(V.FData); }
  // The value of any integer kind.
  static __int128 Int(const Variant &V) {
    if (const UInt64 *u = std::get_if<UInt64>(&V.FData)) return *u;
    return std::get<Int64>(V.FData);
  }
  static Int64 Scaled(const Variant &V) { return std::get<Int64>(V.FData); }
  static double Float(const Variant &V) { return std::get<double>(V.FData); }
  static const UnicodeString &UStr(const Variant &V) { return std::get<UnicodeString>(V.FData); }
  static const AnsiString &AStr(const Variant &V) { return std::get<AnsiString>(V.FData); }
  static IInterface *Intf(const Variant &V) { return std::get<Variant::TIntf>(V.FData).get(); }
  static const TArray &Arr(const Variant &V) { return *std::get<Variant::TArrayBox>(V.FData).P; }
  static TArray &Arr(Variant &V) { return *std::get<Variant::TArrayBox>(V.FData).P; }
};

namespace {

using VA = TVariantAccess;
using Int128 = __int128;

[[noreturn]] void CastError(TVarType AFrom, TVarType ATo) {
  throw EVariantTypeCastError(u"Could not convert variant of type (" + VarTypeAsText(AFrom) +
                              u") into type (" + VarTypeAsText(ATo) + u")");
}
[[noreturn]] void InvalidOp() {
  throw EVariantInvalidOpError(u"Invalid variant operation");
}
[[noreturn]] void Overflow() {
  throw EVariantOverflowError(u"Variant overflow");
}
[[noreturn]] void InvalidArg() {
  throw EVariantInvalidArgError(u"Invalid argument");
}
[[noreturn]] void BadIndex() {
  throw EVariantBadIndexError(u"Variant or safe array index out of bounds");
}
[[noreturn]] void ArrayCreateError() {
  throw EVariantArrayCreateError(u"Error creating variant or safe array");
}

bool IsIntType(TVarType T) {
  switch (T) {
    case varSmallint:
    case varInteger:
    case varShortInt:
    case varByte:
    case varWord:
    case varLongWord:
    case varInt64:
    case varUInt64:
      return true;
    default:
      return false;
  }
}
bool IsStrType(TVarType T) {
  return T == varUString || T == varOleStr || T == varString;
}
bool IsIntfType(TVarType T) {
  return T == varUnknown || T == varDispatch;
}
// The kinds that take part in conversions, arithmetic and ordering.
bool IsSimpleType(TVarType T) {
  return T == varEmpty || T == varNull || T == varBoolean || IsIntType(T) || T == varSingle ||
         T == varDouble || T == varCurrency || T == varDate || IsStrType(T);
}

bool FitsType(Int128 AValue, TVarType AType) {
  switch (AType) {
    case varShortInt:
      return AValue >= -128 && AValue <= 127;
    case varByte:
      return AValue >= 0 && AValue <= 255;
    case varSmallint:
      return AValue >= -32768 && AValue <= 32767;
    case varWord:
      return AValue >= 0 && AValue <= 65535;
    case varInteger:
      return AValue >= INT32_MIN && AValue <= INT32_MAX;
    case varLongWord:
      return AValue >= 0 && AValue <= UINT32_MAX;
    case varInt64:
      return AValue >= INT64_MIN && AValue <= INT64_MAX;
    case varUInt64:
      return AValue >= 0 && AValue <= Int128(UINT64_MAX);
    default:
      return false;
  }
}

Variant MakeInt(TVarType AType, Int128 AValue) {
  if (AType == varUInt64) return VA::Make(AType, static_cast<UInt64>(AValue));
  return VA::Make(AType, static_cast<Int64>(AValue));
}

Variant MakeFloat(TVarType AType, double AValue) {
  return VA::Make(AType, AValue);
}

Variant MakeCurrency(Int128 AScaled) {
  if (!FitsType(AScaled, varInt64)) Overflow();
  return VA::Make(varCurrency, static_cast<Int64>(AScaled));
}

// Rounds half to even, as the run-time's Round does.
Int128 RoundFloat(double AValue) {
  if (!std::isfinite(AValue) || std::fabs(AValue) >= 18446744073709551616.0) Overflow();
  return static_cast<Int128>(std::nearbyint(AValue));
}

// ANumerator / ADenominator rounded half to even.
Int128 DivRoundEven(Int128 ANumerator, Int128 ADenominator) {
  Int128 q = ANumerator / ADenominator, r = ANumerator % ADenominator;
  if (r == 0) return q;
  const Int128 sign = ((ANumerator < 0) != (ADenominator < 0)) ? -1 : 1;
  const Int128 twice = (r < 0 ? -r : r) * 2, d = ADenominator < 0 ? -ADenominator : ADenominator;
  if (twice > d || (twice == d && (q & 1) != 0)) q += sign;
  return q;
}

UnicodeString TextOf(const Variant &V) {
  if (V.VType() == varString) {
    const AnsiString &a = VA::AStr(V);
    return CodePageToUnicode(a.data(), a.size(), a.CodePage());
  }
  return VA::UStr(V);
}

UnicodeString CurrencyToText(Int64 AScaled) {
  const bool negative = AScaled < 0;
  const UInt64 u = negative ? UInt64(0) - static_cast<UInt64>(AScaled) : UInt64(AScaled);
  UnicodeString r = negative ? u"-" : u"";
  r += UIntToStr(u / 10000);
  unsigned frac = static_cast<unsigned>(u % 10000);
  if (frac != 0) {
    UnicodeString digits;
    for (int i = 0; i < 4; ++i) {
      digits.insert(digits.begin(), static_cast<char16_t>(u'0' + frac % 10));
      frac /= 10;
    }
    while (digits.back() == u'0') digits.pop_back();
    r += FormatSettings().DecimalSeparator;
    r += digits;
  }
  return r;
}

// A number read from text: an integer first, then a float by the process's settings.
enum TTextNumber { tnNone, tnInt, tnFloat };
TTextNumber ReadNumber(const UnicodeString &S, Int128 &AInt, double &AFloat) {
  Int64 i;
  if (TryStrToInt64(S, i)) {
    AInt = i;
    return tnInt;
  }
  UInt64 u;
  if (TryStrToUInt64(S, u)) {
    AInt = u;
    return tnInt;
  }
  double d;
  if (TryStrToFloat(S, d)) {
    AFloat = d;
    return tnFloat;
  }
  return tnNone;
}

// ---------------------------------------------------------------------------------------------
// Conversions of one value

Int128 ToIntValue(const Variant &V, TVarType ATarget) {
  const TVarType t = V.VType();
  switch (t) {
    case varEmpty:
      return 0;
    case varBoolean:
      return VA::Bool(V) ? -1 : 0;
    case varSingle:
    case varDouble:
    case varDate:
      return RoundFloat(VA::Float(V));
    case varCurrency:
      return DivRoundEven(VA::Scaled(V), 10000);
    default:
      break;
  }
  if (IsIntType(t)) return VA::Int(V);
  if (IsStrType(t)) {
    Int128 i = 0;
    double d = 0;
    switch (ReadNumber(TextOf(V), i, d)) {
      case tnInt:
        return i;
      case tnFloat:
        return RoundFloat(d);
      default:
        break;
    }
  }
  CastError(t, ATarget);
}

Int128 ToIntOfType(const Variant &V, TVarType ATarget) {
  const Int128 r = ToIntValue(V, ATarget);
  if (!FitsType(r, ATarget)) Overflow();
  return r;
}

double ToFloatValue(const Variant &V, TVarType ATarget) {
  const TVarType t = V.VType();
  switch (t) {
    case varEmpty:
      return 0;
    case varBoolean:
      return VA::Bool(V) ? -1 : 0;
    case varSingle:
    case varDouble:
    case varDate:
      return VA::Float(V);
    case varCurrency:
      return static_cast<double>(VA::Scaled(V)) / 10000.0;
    default:
      break;
  }
  if (IsIntType(t)) return static_cast<double>(VA::Int(V));
  if (IsStrType(t)) {
    Int128 i = 0;
    double d = 0;
    switch (ReadNumber(TextOf(V), i, d)) {
      case tnInt:
        return static_cast<double>(i);
      case tnFloat:
        return d;
      default:
        break;
    }
  }
  CastError(t, ATarget);
}

Int128 ToCurrencyScaled(const Variant &V) {
  const TVarType t = V.VType();
  if (t == varCurrency) return VA::Scaled(V);
  Int128 i = 0;
  double d = 0;
  TTextNumber kind = tnNone;
  if (IsIntType(t) || t == varBoolean || t == varEmpty) {
    i = ToIntValue(V, varCurrency);
    kind = tnInt;
  } else if (t == varSingle || t == varDouble || t == varDate) {
    d = VA::Float(V);
    kind = tnFloat;
  } else if (IsStrType(t)) {
    kind = ReadNumber(TextOf(V), i, d);
  }
  switch (kind) {
    case tnInt:
      if (!FitsType(i * 10000, varInt64)) Overflow();
      return i * 10000;
    case tnFloat:
      return Currency(d).Scaled;
    default:
      CastError(t, varCurrency);
  }
}

bool ToBoolValue(const Variant &V) {
  const TVarType t = V.VType();
  switch (t) {
    case varEmpty:
      return false;
    case varBoolean:
      return VA::Bool(V);
    case varSingle:
    case varDouble:
    case varDate:
      return VA::Float(V) != 0;
    case varCurrency:
      return VA::Scaled(V) != 0;
    default:
      break;
  }
  if (IsIntType(t)) return VA::Int(V) != 0;
  if (IsStrType(t)) {
    bool b;
    if (TryStrToBool(TextOf(V), b)) return b;
  }
  CastError(t, varBoolean);
}

UnicodeString ToStringValue(const Variant &V, TVarType ATarget) {
  const TVarType t = V.VType();
  switch (t) {
    case varEmpty:
      return UnicodeString();
    case varBoolean:
      return VA::Bool(V) ? u"True" : u"False";
    case varSingle:
      return FloatToStrF(VA::Float(V), ffGeneral, 7, 0);
    case varDouble:
      return FloatToStr(VA::Float(V));
    case varCurrency:
      return CurrencyToText(VA::Scaled(V));
    case varDate:
      return DateTimeToStr(VA::Float(V));
    case varUInt64:
      return UIntToStr(static_cast<UInt64>(VA::Int(V)));
    default:
      break;
  }
  if (IsIntType(t)) return IntToStr(static_cast<Int64>(VA::Int(V)));
  if (IsStrType(t)) return TextOf(V);
  CastError(t, ATarget);
}

TDateTime ToDateValue(const Variant &V) {
  const TVarType t = V.VType();
  if (IsStrType(t)) {
    TDateTime d;
    if (TryStrToDateTime(TextOf(V), d)) return d;
    CastError(t, varDate);
  }
  return ToFloatValue(V, varDate);
}

// Whether arrays can hold elements of this type.
bool IsArrayElemType(TVarType T) {
  return T == varVariant || (IsSimpleType(T) && T != varEmpty && T != varNull) || IsIntfType(T);
}

Variant DefaultElement(TVarType AElemType) {
  return AElemType == varVariant ? Variant() : VarAsType(Variant(), AElemType);
}

// ---------------------------------------------------------------------------------------------
// Arithmetic

enum TOp { opAdd, opSub, opMul, opDivide, opIntDiv, opMod, opAnd, opOr, opXor };

// An operand reduced to a number.
struct TNum {
  enum TKind { nkInt, nkFloat, nkCurrency, nkDate } Kind = nkInt;
  TVarType Type = varInteger;
  Int128 I = 0;  // nkInt: the value; nkCurrency: the scaled amount
  double F = 0;  // nkFloat, nkDate
  double AsFloat() const {
    switch (Kind) {
      case nkInt:
        return static_cast<double>(I);
      case nkCurrency:
        return static_cast<double>(I) / 10000.0;
      default:
        return F;
    }
  }
  Int128 AsInt() const {
    switch (Kind) {
      case nkInt:
        return I;
      case nkCurrency:
        return DivRoundEven(I, 10000);
      default:
        return RoundFloat(F);
    }
  }
  TVarType IntType() const { return Kind == nkInt ? Type : varInteger; }
};

TNum ToNum(const Variant &V) {
  TNum n;
  const TVarType t = V.VType();
  switch (t) {
    case varEmpty:
      return n;
    case varBoolean:
      n.I = VA::Bool(V) ? -1 : 0;
      return n;
    case varSingle:
    case varDouble:
      n.Kind = TNum::nkFloat;
      n.Type = t;
      n.F = VA::Float(V);
      return n;
    case varDate:
      n.Kind = TNum::nkDate;
      n.Type = t;
      n.F = VA::Float(V);
      return n;
    case varCurrency:
      n.Kind = TNum::nkCurrency;
      n.Type = t;
      n.I = VA::Scaled(V);
      return n;
    default:
      break;
  }
  if (IsIntType(t)) {
    n.Type = t;
    n.I = VA::Int(V);
    return n;
  }
  if (IsStrType(t)) {
    switch (ReadNumber(TextOf(V), n.I, n.F)) {
      case tnInt:
        n.Type = FitsType(n.I, varInteger) ? varInteger
                 : FitsType(n.I, varInt64) ? varInt64
                                           : varUInt64;
        return n;
      case tnFloat:
        n.Kind = TNum::nkFloat;
        n.Type = varDouble;
        return n;
      default:
        CastError(t, varDouble);
    }
  }
  InvalidOp();
}

// The type that integer arithmetic aims at: Integer for the small kinds, Int64 once a LongWord
// or Int64 takes part, UInt64 once a UInt64 does.
TVarType IntResultType(TVarType A, TVarType B) {
  if (A == varUInt64 || B == varUInt64) return varUInt64;
  if (A == varLongWord || B == varLongWord || A == varInt64 || B == varInt64) return varInt64;
  return varInteger;
}

// An integer result in the type aimed at; a value that does not fit widens to Int64, then
// UInt64, then Double.
Variant IntResult(Int128 AValue, TVarType AType) {
  if (FitsType(AValue, AType)) return MakeInt(AType, AValue);
  if (FitsType(AValue, varInt64)) return MakeInt(varInt64, AValue);
  if (FitsType(AValue, varUInt64)) return MakeInt(varUInt64, AValue);
  return MakeFloat(varDouble, static_cast<double>(AValue));
}

void CheckFloatDivisor(double ADividend, double ADivisor) {
  if (ADivisor != 0) return;
  if (ADividend == 0 || std::isnan(ADividend))
    throw EInvalidOp(u"Invalid floating point operation");
  throw EZeroDivide(u"Floating point division by zero");
}

Variant Concat(const Variant &A, const Variant &B) {
  const TVarType ta = A.VType(), tb = B.VType();
  if (ta == varEmpty) return B;
  if (tb == varEmpty) return A;
  if (ta == varString && tb == varString && VA::AStr(A).CodePage() == VA::AStr(B).CodePage()) {
    AnsiString r = VA::AStr(A);
    r.append(VA::AStr(B));
    return VA::Make(varString, std::move(r));
  }
  UnicodeString r = TextOf(A) + TextOf(B);
  return VA::Make(ta == varOleStr && tb == varOleStr ? varOleStr : varUString, std::move(r));
}

Variant FloatArith(TOp AOp, double A, double B, TVarType AType) {
  switch (AOp) {
    case opAdd:
      return MakeFloat(AType, A + B);
    case opSub:
      return MakeFloat(AType, A - B);
    case opMul:
      return MakeFloat(AType, A * B);
    default:
      CheckFloatDivisor(A, B);
      return MakeFloat(AType, A / B);
  }
}

Variant CurrencyArith(TOp AOp, const TNum &A, const TNum &B) {
  // Both sides are currency or integer; integers are scaled up for + and -.
  const bool ca = A.Kind == TNum::nkCurrency, cb = B.Kind == TNum::nkCurrency;
  Int128 r;
  switch (AOp) {
    case opAdd:
    case opSub: {
      Int128 x = ca ? A.I : A.I * 10000, y = cb ? B.I : B.I * 10000;
      return MakeCurrency(AOp == opAdd ? x + y : x - y);
    }
    case opMul:
      if (__builtin_mul_overflow(A.I, B.I, &r)) Overflow();
      return MakeCurrency(ca && cb ? DivRoundEven(r, 10000) : r);
    default: {
      if (B.I == 0) CheckFloatDivisor(static_cast<double>(A.I), 0);
      // Bring the dividend to eight decimals over the divisor's four (or none).
      Int128 scaledDividend = ca ? A.I : A.I * 10000;
      scaledDividend *= cb ? 10000 : 1;
      return MakeCurrency(DivRoundEven(scaledDividend, B.I));
    }
  }
}

Variant IntArith(TOp AOp, const TNum &A, const TNum &B) {
  const TVarType type = IntResultType(A.IntType(), B.IntType());
  const Int128 x = A.AsInt(), y = B.AsInt();
  Int128 r = 0;
  switch (AOp) {
    case opAdd:
      return IntResult(x + y, type);
    case opSub:
      return IntResult(x - y, type);
    case opMul:
      if (__builtin_mul_overflow(x, y, &r))
        return MakeFloat(varDouble, static_cast<double>(x) * static_cast<double>(y));
      return IntResult(r, type);
    case opIntDiv:
    case opMod:
      if (y == 0) throw EDivByZero(u"Division by zero");
      return IntResult(AOp == opIntDiv ? x / y : x % y, type);
    case opAnd:
      return IntResult(x & y, type);
    case opOr:
      return IntResult(x | y, type);
    case opXor:
      return IntResult(x ^ y, type);
    default: {
      const double fx = static_cast<double>(x), fy = static_cast<double>(y);
      CheckFloatDivisor(fx, fy);
      return MakeFloat(varDouble, fx / fy);
    }
  }
}

// Reads a boolean operand of a logical operation: a boolean, or text that is "True" or "False"
// rather than a number.
bool AsLogicalBool(const Variant &V, bool &AValue) {
  const TVarType t = V.VType();
  if (t == varBoolean) {
    AValue = VA::Bool(V);
    return true;
  }
  if (!IsStrType(t)) return false;
  const UnicodeString s = TextOf(V);
  Int128 i;
  double d;
  if (ReadNumber(s, i, d) != tnNone) return false;
  return TryStrToBool(s, AValue);
}

Variant Arith(TOp AOp, const Variant &A, const Variant &B) {
  const TVarType ta = A.VType(), tb = B.VType();
  if (!IsSimpleType(ta) || !IsSimpleType(tb)) InvalidOp();
  if (ta == varNull || tb == varNull) return Variant::Null();
  if (ta == varEmpty && tb == varEmpty) return Variant();
  if (AOp == opAdd && (IsStrType(ta) || ta == varEmpty) && (IsStrType(tb) || tb == varEmpty))
    return Concat(A, B);

  if (AOp == opAnd || AOp == opOr || AOp == opXor) {
    bool x, y;
    if (AsLogicalBool(A, x) && AsLogicalBool(B, y))
      return AOp == opAnd ? Variant(x && y) : AOp == opOr ? Variant(x || y) : Variant(x != y);
    // Otherwise on integers; text reading "True" or "False" counts as -1 or 0.
    auto operand = [](const Variant &V) {
      bool b;
      if (IsStrType(V.VType()) && AsLogicalBool(V, b)) {
        TNum n;
        n.I = b ? -1 : 0;
        return n;
      }
      return ToNum(V);
    };
    return IntArith(AOp, operand(A), operand(B));
  }

  const TNum na = ToNum(A), nb = ToNum(B);
  if (AOp == opIntDiv || AOp == opMod) return IntArith(AOp, na, nb);

  if (na.Kind == TNum::nkDate || nb.Kind == TNum::nkDate) {
    TVarType type = varDouble;
    if (AOp == opAdd || (AOp == opSub && !(na.Kind == TNum::nkDate && nb.Kind == TNum::nkDate)))
      type = varDate;
    return FloatArith(AOp, na.AsFloat(), nb.AsFloat(), type);
  }
  if (na.Kind == TNum::nkFloat || nb.Kind == TNum::nkFloat) {
    const TVarType type = (na.Type == varSingle && nb.Type == varSingle) ? varSingle : varDouble;
    Variant r = FloatArith(AOp, na.AsFloat(), nb.AsFloat(), type);
    if (type == varSingle) r = MakeFloat(varSingle, static_cast<float>(VA::Float(r)));
    return r;
  }
  if (na.Kind == TNum::nkCurrency || nb.Kind == TNum::nkCurrency) return CurrencyArith(AOp, na, nb);
  return IntArith(AOp, na, nb);
}

// ---------------------------------------------------------------------------------------------
// Comparison

enum TCmp { cmpLess, cmpEqual, cmpGreater, cmpUnordered };

template <class T>
TCmp Order(const T &A, const T &B) {
  return A < B ? cmpLess : B < A ? cmpGreater : cmpEqual;
}

TCmp Compare(const Variant &A, const Variant &B, bool AForEquality) {
  const TVarType ta = A.VType(), tb = B.VType();
  if (ta == varNull || tb == varNull) {
    // Null equals Null and orders below every other value.
    if (ta == tb) return cmpEqual;
    return ta == varNull ? cmpLess : cmpGreater;
  }
  if (!IsSimpleType(ta) || !IsSimpleType(tb)) {
    if (AForEquality && IsIntfType(ta) && IsIntfType(tb))
      return VA::Intf(A) == VA::Intf(B) ? cmpEqual : cmpUnordered;
    InvalidOp();
  }
  if (ta == varEmpty && tb == varEmpty) return cmpEqual;
  if ((IsStrType(ta) || ta == varEmpty) && (IsStrType(tb) || tb == varEmpty)) {
    const Integer c = CompareStr(ta == varEmpty ? UnicodeString() : TextOf(A),
                                 tb == varEmpty ? UnicodeString() : TextOf(B));
    return c < 0 ? cmpLess : c > 0 ? cmpGreater : cmpEqual;
  }
  if ((ta == varBoolean && (tb == varBoolean || IsStrType(tb))) ||
      (tb == varBoolean && IsStrType(ta)))
    return Order(ToBoolValue(A), ToBoolValue(B));

  const TNum na = ToNum(A), nb = ToNum(B);
  if (na.Kind == TNum::nkInt && nb.Kind == TNum::nkInt) return Order(na.I, nb.I);
  if ((na.Kind == TNum::nkCurrency || na.Kind == TNum::nkInt) &&
      (nb.Kind == TNum::nkCurrency || nb.Kind == TNum::nkInt))
    return Order(na.Kind == TNum::nkCurrency ? na.I : na.I * 10000,
                 nb.Kind == TNum::nkCurrency ? nb.I : nb.I * 10000);
  const double x = na.AsFloat(), y = nb.AsFloat();
  if (std::isnan(x) || std::isnan(y)) return cmpUnordered;
  return Order(x, y);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Currency

Currency::Currency(double AValue) {
  const double scaled = AValue * 10000.0;
  if (!std::isfinite(scaled) || std::fabs(scaled) >= 9223372036854775807.0) Overflow();
  Scaled = static_cast<Int64>(std::nearbyint(scaled));
}

// ---------------------------------------------------------------------------------------------
// Variant members

Integer Variant::AsInteger() const {
  return static_cast<Integer>(ToIntOfType(*this, varInteger));
}
Int64 Variant::AsInt64() const {
  return static_cast<Int64>(ToIntOfType(*this, varInt64));
}
UInt64 Variant::AsUInt64() const {
  return static_cast<UInt64>(ToIntOfType(*this, varUInt64));
}
double Variant::AsDouble() const {
  return ToFloatValue(*this, varDouble);
}
Currency Variant::AsCurrency() const {
  const Int128 s = ToCurrencyScaled(*this);
  if (!FitsType(s, varInt64)) Overflow();
  return Currency::FromScaled(static_cast<Int64>(s));
}
bool Variant::AsBoolean() const {
  return ToBoolValue(*this);
}
UnicodeString Variant::AsString() const {
  return ToStringValue(*this, varUString);
}

AnsiString Variant::AsAnsiString() const {
  if (FType == varString) return VA::AStr(*this);
  return AnsiString(UnicodeToCodePage(ToStringValue(*this, varString), 0), 0);
}

TDateTime Variant::AsDateTime() const {
  return ToDateValue(*this);
}

DelphiInterface<IInterface> Variant::AsInterface() const {
  if (FType == varEmpty) return nullptr;
  if (IsIntfType(FType)) return VA::Intf(*this);
  CastError(FType, varUnknown);
}

Variant Variant::GetElement(Integer AIndex) const {
  if (!(FType & varArray)) InvalidArg();
  const TArray &a = VA::Arr(*this);
  const Int64 i = Int64(AIndex) - a.Low;
  if (i < 0 || i >= static_cast<Int64>(a.Items.size())) BadIndex();
  return a.Items[static_cast<std::size_t>(i)];
}

void Variant::PutElement(Integer AIndex, const Variant &AValue) {
  if (!(FType & varArray)) InvalidArg();
  TArray &a = VA::Arr(*this);
  const Int64 i = Int64(AIndex) - a.Low;
  if (i < 0 || i >= static_cast<Int64>(a.Items.size())) BadIndex();
  Variant v = a.ElemType == varVariant ? AValue : VarAsType(AValue, a.ElemType);
  a.Items[static_cast<std::size_t>(i)] = std::move(v);
}

// ---------------------------------------------------------------------------------------------
// Operations

Variant VarAdd(const Variant &A, const Variant &B) {
  return Arith(opAdd, A, B);
}
Variant VarSub(const Variant &A, const Variant &B) {
  return Arith(opSub, A, B);
}
Variant VarMul(const Variant &A, const Variant &B) {
  return Arith(opMul, A, B);
}
Variant VarDivide(const Variant &A, const Variant &B) {
  return Arith(opDivide, A, B);
}
Variant VarIntDiv(const Variant &A, const Variant &B) {
  return Arith(opIntDiv, A, B);
}
Variant VarMod(const Variant &A, const Variant &B) {
  return Arith(opMod, A, B);
}
Variant VarAnd(const Variant &A, const Variant &B) {
  return Arith(opAnd, A, B);
}
Variant VarOr(const Variant &A, const Variant &B) {
  return Arith(opOr, A, B);
}
Variant VarXor(const Variant &A, const Variant &B) {
  return Arith(opXor, A, B);
}

Variant VarNeg(const Variant &A) {
  const TVarType t = A.VType();
  if (!IsSimpleType(t)) InvalidOp();
  if (t == varNull || t == varEmpty) return A;
  const TNum n = ToNum(A);
  switch (n.Kind) {
    case TNum::nkInt:
      return IntResult(-n.I, IntResultType(n.Type, n.Type));
    case TNum::nkCurrency:
      return MakeCurrency(-n.I);
    default:
      return MakeFloat(n.Type, -n.F);
  }
}

Variant VarNot(const Variant &A) {
  const TVarType t = A.VType();
  if (!IsSimpleType(t)) InvalidOp();
  if (t == varNull || t == varEmpty) return A;
  bool b;
  if (AsLogicalBool(A, b)) return Variant(!b);
  const TNum n = ToNum(A);
  const TVarType type = IntResultType(n.IntType(), n.IntType());
  const Int128 x = n.AsInt();
  if (type == varUInt64 && x >= 0) return MakeInt(varUInt64, ~x & Int128(UINT64_MAX));
  return IntResult(~x, type);
}

bool VarEquals(const Variant &A, const Variant &B) {
  return Compare(A, B, true) == cmpEqual;
}

bool VarLess(const Variant &A, const Variant &B) {
  return Compare(A, B, false) == cmpLess;
}

bool VarLessEqual(const Variant &A, const Variant &B) {
  const TCmp c = Compare(A, B, false);
  return c == cmpLess || c == cmpEqual;
}

// ---------------------------------------------------------------------------------------------
// Inspection

bool VarIsType(const Variant &V, TVarType AVarType) noexcept {
  return V.VType() == AVarType;
}
bool VarIsEmpty(const Variant &V) noexcept {
  return V.VType() == varEmpty;
}
bool VarIsNull(const Variant &V) noexcept {
  return V.VType() == varNull;
}
bool VarIsClear(const Variant &V) noexcept {
  return V.VType() == varEmpty || (IsIntfType(V.VType()) && VA::Intf(V) == nullptr);
}
bool VarIsArray(const Variant &V) noexcept {
  return (V.VType() & varArray) != 0;
}
bool VarIsStr(const Variant &V) noexcept {
  return IsStrType(V.VType());
}
bool VarIsOrdinal(const Variant &V) noexcept {
  return IsIntType(V.VType()) || V.VType() == varBoolean;
}
bool VarIsFloat(const Variant &V) noexcept {
  const TVarType t = V.VType();
  return t == varSingle || t == varDouble || t == varCurrency;
}
bool VarIsNumeric(const Variant &V) noexcept {
  return VarIsOrdinal(V) || VarIsFloat(V);
}

UnicodeString VarTypeAsText(TVarType AVarType) {
  static const char16_t *const cNames[] = {
      u"Empty",    u"Null",     u"Smallint", u"Integer",  u"Single",   u"Double",
      u"Currency", u"Date",     u"OleStr",   u"Dispatch", u"Error",    u"Boolean",
      u"Variant",  u"Unknown",  u"Decimal",  u"$000F",    u"ShortInt", u"Byte",
      u"Word",     u"LongWord", u"Int64",    u"UInt64"};
  const TVarType base = AVarType & varTypeMask;
  UnicodeString r;
  if (base <= varUInt64)
    r = cNames[base];
  else if (base == varString)
    r = u"String";
  else if (base == varAny)
    r = u"Any";
  else if (base == varUString)
    r = u"UnicodeString";
  else
    r = u"$" + IntToHex(base, 4);
  if (AVarType & varArray) r = u"Array " + r;
  if (AVarType & varByRef) r = u"ByRef " + r;
  return r;
}

// ---------------------------------------------------------------------------------------------
// Conversions

UnicodeString VarToStr(const Variant &V) {
  if (V.VType() == varNull) return UnicodeString();
  return ToStringValue(V, varUString);
}

UnicodeString VarToStrDef(const Variant &V, const UnicodeString &ADefault) {
  return V.VType() == varNull ? ADefault : VarToStr(V);
}

TDateTime VarToDateTime(const Variant &V) {
  return V.AsDateTime();
}

Variant VarAsType(const Variant &V, TVarType AVarType) {
  const TVarType t = V.VType();
  if (AVarType == varVariant) return V;
  if (t & varArray) {
    if (!(AVarType & varArray)) CastError(t, AVarType);
    const TVarType elem = AVarType & varTypeMask;
    if (!IsArrayElemType(elem)) CastError(t, AVarType);
    const auto &a = VA::Arr(V);
    std::vector<Variant> items;
    items.reserve(a.Items.size());
    for (const Variant &item : a.Items)
      items.push_back(elem == varVariant ? item : VarAsType(item, elem));
    return VA::MakeArray(elem, a.Low, std::move(items));
  }
  if (AVarType & varArray) CastError(t, AVarType);
  if (AVarType == varEmpty) return Variant();
  if (AVarType == varNull) return Variant::Null();
  if (t == varNull) CastError(t, AVarType);
  if (IsIntType(AVarType)) return MakeInt(AVarType, ToIntOfType(V, AVarType));
  switch (AVarType) {
    case varSingle: {
      const double d = ToFloatValue(V, AVarType);
      if (std::isfinite(d) && std::fabs(d) > FLT_MAX) Overflow();
      return MakeFloat(varSingle, static_cast<float>(d));
    }
    case varDouble:
      return MakeFloat(varDouble, ToFloatValue(V, AVarType));
    case varCurrency:
      return MakeCurrency(ToCurrencyScaled(V));
    case varDate:
      return MakeFloat(varDate, ToDateValue(V).Val);
    case varBoolean:
      return Variant(ToBoolValue(V));
    case varOleStr:
    case varUString:
      return VA::Make(AVarType, ToStringValue(V, AVarType));
    case varString:
      return Variant(V.AsAnsiString());
    case varUnknown:
    case varDispatch:
      if (t == varEmpty || IsIntfType(t))
        return VA::Make(AVarType,
                        DelphiInterface<IInterface>(t == varEmpty ? nullptr : VA::Intf(V)));
      break;
    default:
      break;
  }
  CastError(t, AVarType);
}

TVariantRelationship VarCompareValue(const Variant &A, const Variant &B) {
  const TVarType ta = A.VType(), tb = B.VType();
  if (ta == varEmpty) return tb == varEmpty ? vrEqual : vrNotEqual;
  if (ta == varNull) return tb == varNull ? vrEqual : vrNotEqual;
  if (tb == varEmpty || tb == varNull) return vrNotEqual;
  if (VarEquals(A, B)) return vrEqual;
  switch (Compare(A, B, false)) {
    case cmpLess:
      return vrLessThan;
    case cmpGreater:
      return vrGreaterThan;
    default:
      return vrNotEqual;
  }
}

bool VarSameValue(const Variant &A, const Variant &B) {
  const TVarType ta = A.VType(), tb = B.VType();
  if (ta == varEmpty) return tb == varEmpty;
  if (ta == varNull) return tb == varNull;
  if (tb == varEmpty || tb == varNull) return false;
  return VarEquals(A, B);
}

// ---------------------------------------------------------------------------------------------
// Arrays

Variant VarArrayCreate(Integer ALow, Integer AHigh, TVarType AVarType) {
  if (!IsArrayElemType(AVarType) || Int64(AHigh) < Int64(ALow) - 1) ArrayCreateError();
  const std::size_t count = static_cast<std::size_t>(Int64(AHigh) - ALow + 1);
  return VA::MakeArray(AVarType, ALow, std::vector<Variant>(count, DefaultElement(AVarType)));
}

Variant VarArrayOf(std::initializer_list<Variant> AValues) {
  return VA::MakeArray(varVariant, 0, std::vector<Variant>(AValues));
}

Integer VarArrayDimCount(const Variant &A) noexcept {
  return VarIsArray(A) ? 1 : 0;
}

Integer VarArrayLowBound(const Variant &A, Integer ADim) {
  if (!VarIsArray(A) || ADim != 1) InvalidArg();
  return VA::Arr(A).Low;
}

Integer VarArrayHighBound(const Variant &A, Integer ADim) {
  if (!VarIsArray(A) || ADim != 1) InvalidArg();
  const auto &a = VA::Arr(A);
  return static_cast<Integer>(a.Low + static_cast<Int64>(a.Items.size()) - 1);
}

Variant VarArrayGet(const Variant &A, Integer AIndex) {
  return A.GetElement(AIndex);
}

void VarArrayPut(Variant &A, const Variant &AValue, Integer AIndex) {
  A.PutElement(AIndex, AValue);
}

void VarArrayRedim(Variant &A, Integer AHighBound) {
  if (!VarIsArray(A)) InvalidArg();
  auto &a = VA::Arr(A);
  if (Int64(AHighBound) < Int64(a.Low) - 1) ArrayCreateError();
  a.Items.resize(static_cast<std::size_t>(Int64(AHighBound) - a.Low + 1),
                 DefaultElement(a.ElemType));
}

}  // namespace vn
