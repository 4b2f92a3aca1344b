// Variant: a dynamically typed value with the conversion, arithmetic and comparison rules of
// the run-time's variants.
//
// A Variant holds nothing (Empty), Null, a boolean, an 8-, 16-, 32- or 64-bit integer (signed or
// not), a single or double float, a currency amount, a date-time, a UTF-16 string, an 8-bit
// string, an interface, or a one-dimensional array of values with its own bounds. Copies are
// deep: copying an array copies its elements.
//
// The rules in short (each function below says more):
// - Conversions: Empty is 0, "" and false. Null converts to nothing and raises
//   EVariantTypeCastError (an EConvertError), except in VarToStr, which gives "". A boolean is
//   -1 or 0 as a number and "True" or "False" as text. Text becomes a number through the strict
//   conversions (an integer first, then a float with the process's format settings) and a
//   boolean through "True"/"False" in any case or a number. A float becomes an integer by
//   rounding half to even; a value out of the target's range raises EVariantOverflowError.
// - Arithmetic: Null on either side gives Null; Empty with Empty gives Empty; otherwise Empty is
//   0, or "" next to a string. Two strings (or a string and Empty) concatenate under +; any other
//   mix is numeric, and a string that is no number raises EVariantTypeCastError.
// - Comparison: Null equals Null only and orders below every other value; Empty equals 0, "" and
//   false; two strings compare ordinally; a string and a number compare as numbers; a boolean
//   against a number counts as -1 or 0; a string against a boolean compares as booleans, with
//   False below True.
// - Arrays, interfaces and the other kinds take part in no arithmetic or ordering:
//   EVariantInvalidOpError "Invalid variant operation".
#pragma once

#include <initializer_list>
#include <memory>
#include <type_traits>
#include <variant>

#include "vnxml/rtl/DateUtils.h"
#include "vnxml/rtl/Interface.h"
#include "vnxml/rtl/SysUtils.h"
#include "vnxml/rtl/Types.h"

namespace vn {

using TVarType = Word;

constexpr TVarType varEmpty = 0x0000;
constexpr TVarType varNull = 0x0001;
constexpr TVarType varSmallint = 0x0002;
constexpr TVarType varInteger = 0x0003;
constexpr TVarType varSingle = 0x0004;
constexpr TVarType varDouble = 0x0005;
constexpr TVarType varCurrency = 0x0006;
constexpr TVarType varDate = 0x0007;
constexpr TVarType varOleStr = 0x0008;
constexpr TVarType varDispatch = 0x0009;
constexpr TVarType varError = 0x000A;
constexpr TVarType varBoolean = 0x000B;
constexpr TVarType varVariant = 0x000C;
constexpr TVarType varUnknown = 0x000D;
constexpr TVarType varDecimal = 0x000E;
constexpr TVarType varShortInt = 0x0010;
constexpr TVarType varByte = 0x0011;
constexpr TVarType varWord = 0x0012;
constexpr TVarType varLongWord = 0x0013;
constexpr TVarType varInt64 = 0x0014;
constexpr TVarType varUInt64 = 0x0015;
constexpr TVarType varString = 0x0100;
constexpr TVarType varAny = 0x0101;
constexpr TVarType varUString = 0x0102;
constexpr TVarType varTypeMask = 0x0FFF;
constexpr TVarType varArray = 0x2000;
constexpr TVarType varByRef = 0x4000;

// A bound or dimension that the array does not have, or an array routine on a value that is no
// array.
VN_DECLARE_EXCEPTION(EVariantInvalidArgError, EVariantError)
// An array with an element type that arrays cannot hold, or with a high bound below low - 1.
VN_DECLARE_EXCEPTION(EVariantArrayCreateError, EVariantError)

// A fixed-point amount with four decimals, kept as a 64-bit integer scaled by 10000.
struct Currency {
  Int64 Scaled = 0;

  constexpr Currency() noexcept = default;
  // Rounds to four decimals, half to even. Raises EVariantOverflowError when out of range.
  explicit Currency(double AValue);
  static constexpr Currency FromScaled(Int64 AScaled) noexcept {
    Currency c;
    c.Scaled = AScaled;
    return c;
  }
  constexpr double ToDouble() const noexcept { return static_cast<double>(Scaled) / 10000.0; }

  friend constexpr bool operator==(Currency A, Currency B) noexcept { return A.Scaled == B.Scaled; }
  friend constexpr bool operator<(Currency A, Currency B) noexcept { return A.Scaled < B.Scaled; }
};

// The answers of VarCompareValue.
enum TVariantRelationship : Byte { vrEqual, vrLessThan, vrGreaterThan, vrNotEqual };

class Variant;

// Arithmetic and logic on variants; the operators of Variant call these.
Variant VarAdd(const Variant &A, const Variant &B);
Variant VarSub(const Variant &A, const Variant &B);
Variant VarMul(const Variant &A, const Variant &B);
// Real division: a float (Double, or Single for two Singles), or Currency for a currency amount
// divided by an integer or a currency amount. Raises EZeroDivide "Floating point division by
// zero" for a zero divisor, or EInvalidOp "Invalid floating point operation" for 0 / 0.
Variant VarDivide(const Variant &A, const Variant &B);
// Integer division and remainder (the sign of the remainder follows the dividend). Both sides
// become integers first (floats rounded half to even). Raises EDivByZero "Division by zero".
Variant VarIntDiv(const Variant &A, const Variant &B);
Variant VarMod(const Variant &A, const Variant &B);
Variant VarNeg(const Variant &A);
// Two booleans (or strings reading "True"/"False", or a boolean and such a string) give a
// boolean; any other mix works on the bits of the integers, a boolean counting as -1 or 0.
Variant VarAnd(const Variant &A, const Variant &B);
Variant VarOr(const Variant &A, const Variant &B);
Variant VarXor(const Variant &A, const Variant &B);
Variant VarNot(const Variant &A);
// The comparisons behind the operators == < <= > >=.
bool VarEquals(const Variant &A, const Variant &B);
bool VarLess(const Variant &A, const Variant &B);
bool VarLessEqual(const Variant &A, const Variant &B);

// A dynamically typed value with the run-time's conversion and arithmetic rules.
class Variant {
 public:
  // Empty.
  Variant() noexcept = default;
  Variant(const Variant &) = default;
  Variant(Variant &&) noexcept = default;
  Variant &operator=(const Variant &) = default;
  Variant &operator=(Variant &&) noexcept = default;
  ~Variant() = default;

  Variant(bool AValue) noexcept : FType(varBoolean), FData(AValue) {}
  Variant(signed char AValue) noexcept : FType(varShortInt), FData(Int64(AValue)) {}
  Variant(unsigned char AValue) noexcept : FType(varByte), FData(Int64(AValue)) {}
  Variant(short AValue) noexcept : FType(varSmallint), FData(Int64(AValue)) {}
  Variant(unsigned short AValue) noexcept : FType(varWord), FData(Int64(AValue)) {}
  Variant(int AValue) noexcept : FType(varInteger), FData(Int64(AValue)) {}
  Variant(unsigned AValue) noexcept : FType(varLongWord), FData(Int64(AValue)) {}
  Variant(long AValue) noexcept : FType(varInt64), FData(Int64(AValue)) {}
  Variant(long long AValue) noexcept : FType(varInt64), FData(Int64(AValue)) {}
  Variant(unsigned long AValue) noexcept : FType(varUInt64), FData(UInt64(AValue)) {}
  Variant(unsigned long long AValue) noexcept : FType(varUInt64), FData(UInt64(AValue)) {}
  Variant(float AValue) noexcept : FType(varSingle), FData(double(AValue)) {}
  Variant(double AValue) noexcept : FType(varDouble), FData(AValue) {}
  Variant(long double AValue) noexcept : FType(varDouble), FData(double(AValue)) {}
  Variant(Currency AValue) noexcept : FType(varCurrency), FData(AValue.Scaled) {}
  // TDate and TTime too.
  Variant(const TDateTime &AValue) noexcept : FType(varDate), FData(AValue.Val) {}
  Variant(char16_t AValue) : FType(varUString), FData(UnicodeString(1, AValue)) {}
  Variant(const char16_t *AValue) : FType(varUString), FData(UnicodeString(AValue)) {}
  Variant(UnicodeStringView AValue) : FType(varUString), FData(UnicodeString(AValue)) {}
  Variant(const UnicodeString &AValue) : FType(varUString), FData(AValue) {}
  Variant(UnicodeString &&AValue) noexcept : FType(varUString), FData(std::move(AValue)) {}
  // 8-bit text is varString.
  Variant(char AValue) : FType(varString), FData(AnsiString(std::string(1, AValue))) {}
  Variant(const char *AValue) : FType(varString), FData(AnsiString(AValue)) {}
  Variant(const std::string &AValue) : FType(varString), FData(AnsiString(AValue)) {}
  Variant(const AnsiString &AValue) : FType(varString), FData(AValue) {}
  // varUnknown; a null interface gives an Unknown variant that VarIsClear reports as clear.
  Variant(IInterface *AValue) noexcept : FType(varUnknown), FData(TIntf(AValue)) {}
  template <class T>
  requires std::is_base_of_v<IInterface, T> Variant(T *AValue)
  noexcept : Variant(static_cast<IInterface *>(AValue)) {}
  template <class T>
  requires std::is_base_of_v<IInterface, T> Variant(const DelphiInterface<T> &AValue)
  noexcept : Variant(static_cast<IInterface *>(AValue.get())) {}
  // Other pointers would silently become booleans.
  template <class T>
  requires(!std::is_base_of_v<IInterface, T> && !std::is_same_v<std::remove_cv_t<T>, char> &&
           !std::is_same_v<std::remove_cv_t<T>, char16_t>) Variant(T *)
  = delete;

  static Variant Null() noexcept {
    Variant v;
    v.FType = varNull;
    return v;
  }
  static Variant Empty() noexcept { return Variant(); }

  // The type code, with varArray for an array.
  TVarType VType() const noexcept { return FType; }

  // Conversions by the rules above. Each raises EVariantTypeCastError "Could not convert variant
  // of type (<from>) into type (<to>)" when the value cannot be converted.
  Integer AsInteger() const;
  Int64 AsInt64() const;
  UInt64 AsUInt64() const;
  double AsDouble() const;
  Currency AsCurrency() const;
  bool AsBoolean() const;
  // Empty gives "", Null raises; dates through DateTimeToStr, floats through FloatToStr.
  UnicodeString AsString() const;
  AnsiString AsAnsiString() const;
  // The text a varUString holds, without a copy; null for any other type.
  const UnicodeString *UStringOrNil() const noexcept {
    return FType == varUString ? std::get_if<UnicodeString>(&FData) : nullptr;
  }
  // A number is taken as days; text is read by StrToDateTime.
  TDateTime AsDateTime() const;
  // The interface of varUnknown or varDispatch; null for Empty.
  DelphiInterface<IInterface> AsInterface() const;

  explicit operator int() const { return AsInteger(); }
  explicit operator long() const { return AsInt64(); }
  explicit operator unsigned long() const { return AsUInt64(); }
  explicit operator double() const { return AsDouble(); }
  explicit operator bool() const { return AsBoolean(); }
  explicit operator Currency() const { return AsCurrency(); }
  explicit operator UnicodeString() const { return AsString(); }
  explicit operator TDateTime() const { return AsDateTime(); }

  // Arrays: the element at an index between the bounds; EVariantBadIndexError "Variant or safe
  // array index out of bounds" otherwise, EVariantInvalidArgError "Invalid argument" when this is
  // no array. Put converts the value to the element type of the array.
  Variant GetElement(Integer AIndex) const;
  void PutElement(Integer AIndex, const Variant &AValue);
  Variant operator[](Integer AIndex) const { return GetElement(AIndex); }

  Variant &operator+=(const Variant &B) { return *this = VarAdd(*this, B); }
  Variant &operator-=(const Variant &B) { return *this = VarSub(*this, B); }
  Variant &operator*=(const Variant &B) { return *this = VarMul(*this, B); }
  Variant &operator/=(const Variant &B) { return *this = VarDivide(*this, B); }

  friend Variant operator+(const Variant &A, const Variant &B) { return VarAdd(A, B); }
  friend Variant operator-(const Variant &A, const Variant &B) { return VarSub(A, B); }
  friend Variant operator*(const Variant &A, const Variant &B) { return VarMul(A, B); }
  friend Variant operator/(const Variant &A, const Variant &B) { return VarDivide(A, B); }
  friend Variant operator%(const Variant &A, const Variant &B) { return VarMod(A, B); }
  friend Variant operator-(const Variant &A) { return VarNeg(A); }
  friend Variant operator&(const Variant &A, const Variant &B) { return VarAnd(A, B); }
  friend Variant operator|(const Variant &A, const Variant &B) { return VarOr(A, B); }
  friend Variant operator^(const Variant &A, const Variant &B) { return VarXor(A, B); }
  friend Variant operator~(const Variant &A) { return VarNot(A); }

  friend bool operator==(const Variant &A, const Variant &B) { return VarEquals(A, B); }
  friend bool operator!=(const Variant &A, const Variant &B) { return !VarEquals(A, B); }
  friend bool operator<(const Variant &A, const Variant &B) { return VarLess(A, B); }
  friend bool operator<=(const Variant &A, const Variant &B) { return VarLessEqual(A, B); }
  friend bool operator>(const Variant &A, const Variant &B) { return VarLess(B, A); }
  friend bool operator>=(const Variant &A, const Variant &B) { return VarLessEqual(B, A); }

 private:
  struct TArray;
  // Owns an array and copies it deeply.
  struct TArrayBox {
    std::unique_ptr<TArray> P;
    TArrayBox() noexcept;
    explicit TArrayBox(std::unique_ptr<TArray> AArray) noexcept;
    TArrayBox(const TArrayBox &AOther);
    TArrayBox(TArrayBox &&AOther) noexcept;
    TArrayBox &operator=(const TArrayBox &AOther);
    TArrayBox &operator=(TArrayBox &&AOther) noexcept;
    ~TArrayBox();
  };
  using TIntf = DelphiInterface<IInterface>;
  // Empty and Null hold nothing; booleans bool; the integers up to varInt64 and the currency
  // (scaled) Int64; varUInt64 UInt64; the floats and dates double; the strings their text.
  using TData = std::variant<std::monostate, bool, Int64, UInt64, double, UnicodeString, AnsiString,
                             TIntf, TArrayBox>;

  TVarType FType = varEmpty;
  TData FData;

  friend class TVariantAccess;
};

inline Variant Null() noexcept {
  return Variant::Null();
}
inline Variant Unassigned() noexcept {
  return Variant();
}

// ---------------------------------------------------------------------------------------------
// Inspection.
inline TVarType VarType(const Variant &V) noexcept {
  return V.VType();
}
bool VarIsType(const Variant &V, TVarType AVarType) noexcept;
bool VarIsEmpty(const Variant &V) noexcept;
bool VarIsNull(const Variant &V) noexcept;
// Empty, or an interface variant that holds no interface.
bool VarIsClear(const Variant &V) noexcept;
bool VarIsArray(const Variant &V) noexcept;
// varUString, varOleStr, varString.
bool VarIsStr(const Variant &V) noexcept;
// The integer kinds and varBoolean.
bool VarIsOrdinal(const Variant &V) noexcept;
// varSingle, varDouble, varCurrency.
bool VarIsFloat(const Variant &V) noexcept;
// Ordinal or float.
bool VarIsNumeric(const Variant &V) noexcept;
// The name of a type code: "Empty", "Null", "Smallint", "Integer", "Single", "Double",
// "Currency", "Date", "OleStr", "Dispatch", "Error", "Boolean", "Variant", "Unknown", "Decimal",
// "ShortInt", "Byte", "Word", "LongWord", "Int64", "UInt64", "String", "Any", "UnicodeString";
// "$XXXX" for other codes; "Array " and "ByRef " stand in front for the flags.
UnicodeString VarTypeAsText(TVarType AVarType);

// ---------------------------------------------------------------------------------------------
// Conversions.

// The text of the value; Null and Empty give "". Raises for arrays and interfaces.
UnicodeString VarToStr(const Variant &V);
// ADefault for Null, otherwise VarToStr.
UnicodeString VarToStrDef(const Variant &V, const UnicodeString &ADefault);
inline UnicodeString VarToWideStr(const Variant &V) {
  return VarToStr(V);
}
TDateTime VarToDateTime(const Variant &V);
// The value converted to another type code. varEmpty and varNull give Empty and Null;
// varVariant gives the value as it is; an array type converts each element of an array. Null
// converts to nothing else.
Variant VarAsType(const Variant &V, TVarType AVarType);

// Empty equals only Empty and Null only Null (vrEqual), and either against anything else is
// vrNotEqual; otherwise the operators decide.
TVariantRelationship VarCompareValue(const Variant &A, const Variant &B);
// Empty and Null are the same only as themselves; otherwise A == B.
bool VarSameValue(const Variant &A, const Variant &B);

// ---------------------------------------------------------------------------------------------
// Arrays (one dimension).

// Elements of AVarType: varVariant (starting Empty) or a scalar type (starting at 0, "" or
// false). Raises EVariantArrayCreateError "Error creating variant or safe array" for another
// element type or a high bound below ALow - 1.
Variant VarArrayCreate(Integer ALow, Integer AHigh, TVarType AVarType = varVariant);
// A varVariant array of the values with the bounds 0 and count - 1.
Variant VarArrayOf(std::initializer_list<Variant> AValues);
// 1 for an array, 0 otherwise.
Integer VarArrayDimCount(const Variant &A) noexcept;
// ADim must be 1: EVariantInvalidArgError "Invalid argument" otherwise, or for a value that is
// no array.
Integer VarArrayLowBound(const Variant &A, Integer ADim = 1);
Integer VarArrayHighBound(const Variant &A, Integer ADim = 1);
Variant VarArrayGet(const Variant &A, Integer AIndex);
void VarArrayPut(Variant &A, const Variant &AValue, Integer AIndex);
// Moves the high bound; new elements start as VarArrayCreate makes them.
void VarArrayRedim(Variant &A, Integer AHighBound);

}  // namespace vn
