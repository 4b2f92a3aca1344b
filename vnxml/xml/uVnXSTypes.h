// Nullable values with the semantics of the XML Schema simple types: numbers, dates, binary data,
// strings, booleans and durations that know whether they have a value, carry restriction facets
// and check them on every assignment. They are value types: a copy copies the facets too.
//
// Every record keeps FHasValue as a string, "1" with a value and empty without, so that a
// default-made record is null.
#pragma once

#include <cmath>
#include <limits>
#include <type_traits>

#include "vnxml/common/uVnDateTimeUtils.h"
#include "vnxml/common/uVnNetEncoding.h"
#include "vnxml/common/uVnTypes.h"
#include "vnxml/rtl/RegularExpressions.h"

namespace vn {

namespace xs_detail {
inline const char16_t cHasValue[] = u"1";
[[noreturn]] void RaiseOutOfRange(const char16_t *AMessage);
[[noreturn]] void RaiseNotSupported(const char16_t *AMessage);
// The checks of a pattern facet: the value's text must match the expression somewhere.
void CheckPattern(const UnicodeString &APattern, const UnicodeString &AText);
// A whole float as a 64-bit integer; raises EInvalidOp outside the range.
Int64 ToInt64(double AValue);
// The kind the registry reports for T.
template <class T>
TVnTypeKind KindOf() {
  return TVnTypes::Of<T>()->Kind;
}
}  // namespace xs_detail

// A nullable boolean; also the result of the comparisons of the other records, null when the
// record compared is null.
struct TXsBoolean {
  bool FValue = false;
  UnicodeString FHasValue;

  TXsBoolean() = default;
  TXsBoolean(bool AValue) : FValue(AValue), FHasValue(xs_detail::cHasValue) {}
  bool IsNull() const { return FHasValue != xs_detail::cHasValue; }
  void Clear() {
    FValue = false;
    FHasValue.clear();
  }
  // False when null.
  operator bool() const { return !IsNull() && FValue; }
  Variant ToVariant() const { return IsNull() ? Variant::Null() : Variant(FValue); }
  UnicodeString ToString() const { return IsNull() ? UnicodeString() : VnBoolText(FValue); }
  void FromString(UnicodeStringView AValue);

 private:
  static UnicodeString VnBoolText(bool AValue) { return AValue ? u"true" : u"false"; }
};

// A nullable string.
struct TXsString {
  UnicodeString FValue;
  UnicodeString FHasValue;

  TXsString() = default;
  TXsString(const UnicodeString &AValue) : FValue(AValue), FHasValue(xs_detail::cHasValue) {}
  TXsString(const char16_t *AValue) : TXsString(UnicodeString(AValue)) {}
  bool IsNull() const { return FHasValue != xs_detail::cHasValue; }
  void Clear() {
    FValue.clear();
    FHasValue.clear();
  }
  operator UnicodeString() const { return IsNull() ? UnicodeString() : FValue; }
  Variant ToVariant() const { return IsNull() ? Variant::Null() : Variant(FValue); }
  UnicodeString ToString() const { return IsNull() ? UnicodeString() : FValue; }
  void FromString(UnicodeStringView AValue) { *this = UnicodeString(AValue); }
};

// A nullable duration; from and to its lexical form ("P1Y2M", "-PT1.5S").
struct TXsDuration {
  TVnDuration FValue;
  UnicodeString FHasValue;

  TXsDuration() = default;
  TXsDuration(const TVnDuration &AValue) : FValue(AValue), FHasValue(xs_detail::cHasValue) {}
  // The empty text gives the null duration; other text must be a duration.
  TXsDuration(const UnicodeString &AValue);
  bool IsNull() const { return FHasValue != xs_detail::cHasValue; }
  void Clear() {
    FValue = {};
    FHasValue.clear();
  }
  operator TVnDuration() const { return IsNull() ? TVnDuration() : FValue; }
  operator UnicodeString() const { return ToString(); }
  Variant ToVariant() const { return IsNull() ? Variant::Null() : Variant(ToString()); }
  // The lexical form, or "" when null.
  UnicodeString ToString() const;
  void FromString(UnicodeStringView AValue) { *this = TXsDuration(UnicodeString(AValue)); }
};

// The bare nullable of a facet.
template <class T>
struct TXsAnySimpleType {
  T FValue{};
  UnicodeString FHasValue;

  TXsAnySimpleType() = default;
  TXsAnySimpleType(T AValue) : FValue(AValue), FHasValue(xs_detail::cHasValue) {}
  static TXsAnySimpleType Create(T AValue) { return TXsAnySimpleType(AValue); }
  bool IsNull() const { return FHasValue != xs_detail::cHasValue; }
  void Clear() {
    FValue = T{};
    FHasValue.clear();
  }
  operator T() const { return IsNull() ? T{} : FValue; }
};

// ---------------------------------------------------------------------------------------------
// Integers

// The facets of an integer record: bounds and pattern, checked on every assignment.
template <class T>
struct TXsIntegerRestrictions {
  TXsAnySimpleType<T> MinExclusive;
  TXsAnySimpleType<T> MaxExclusive;
  TXsAnySimpleType<T> MinInclusive;
  TXsAnySimpleType<T> MaxInclusive;
  UnicodeString Pattern;

  // Checks the facets in order; raises EArgumentOutOfRangeException. The comparison is unsigned
  // for the unsigned kinds (1 to 4) and signed otherwise, on the 64-bit extension of the value.
  void CheckLimits(TVnTypeKind AKind, T AValue) const;
  void Clear() {
    MinExclusive.Clear();
    MaxExclusive.Clear();
    MinInclusive.Clear();
    MaxInclusive.Clear();
    Pattern.clear();
  }
};

// A nullable integer of an XML Schema integer type, with its facets.
template <class T>
struct TXsInteger {
  UnicodeString FHasValue;
  T FValue{};
  TXsIntegerRestrictions<T> Restrictions;

  TXsInteger() = default;
  // From T: a new record has no facets to check.
  TXsInteger(T AValue) { Assign(AValue); }
  // Sets the value without a facet check.
  static TXsInteger Create(T AValue);
  void Clear();
  bool IsNull() const { return FHasValue != xs_detail::cHasValue; }

  // Sets FHasValue, checks the facets with the new value, then stores it: a failed check
  // leaves FHasValue set and the old value.
  TXsInteger &operator=(T AValue) {
    Assign(AValue);
    return *this;
  }
  operator T() const { return IsNull() ? T{} : FValue; }

  TXsInteger operator-() const;
  TXsInteger operator+() const { return Checked(FValue); }
  TXsInteger &operator++() { return *this = Step(1); }
  TXsInteger &operator--() { return *this = Step(-1); }
  TXsInteger operator++(int) {
    TXsInteger old = *this;
    ++*this;
    return old;
  }
  TXsInteger operator--(int) {
    TXsInteger old = *this;
    --*this;
    return old;
  }

  TXsBoolean operator==(T AValue) const {
    return Compare([&] { return FValue == AValue; });
  }
  TXsBoolean operator!=(T AValue) const {
    return Compare([&] { return FValue != AValue; });
  }
  TXsBoolean operator>(T AValue) const {
    return Compare([&] { return FValue > AValue; });
  }
  TXsBoolean operator>=(T AValue) const {
    return Compare([&] { return FValue >= AValue; });
  }
  TXsBoolean operator<(T AValue) const {
    return Compare([&] { return FValue < AValue; });
  }
  TXsBoolean operator<=(T AValue) const {
    return Compare([&] { return FValue <= AValue; });
  }

  // Computed at the width of T: results wrap.
  TXsInteger operator+(T AValue) const {
    return Arith(AValue, [](U a, U b) { return static_cast<U>(a + b); });
  }
  TXsInteger operator-(T AValue) const {
    return Arith(AValue, [](U a, U b) { return static_cast<U>(a - b); });
  }
  TXsInteger operator*(T AValue) const {
    return Arith(AValue, [](U a, U b) { return static_cast<U>(static_cast<P>(a) * b); });
  }
  // Integer division; a zero divisor raises EDivByZero.
  TXsInteger operator/(T AValue) const { return IntDivide(AValue); }
  TXsInteger IntDivide(T AValue) const;
  TXsInteger operator%(T AValue) const;
  // The shift count is taken modulo the width of the operation (32 bits, 64 for 64-bit T).
  TXsInteger operator<<(T AValue) const {
    return Arith(AValue, [](U a, U b) {
      return static_cast<U>(static_cast<P>(a) << (static_cast<P>(b) & cShiftMask));
    });
  }
  TXsInteger operator>>(T AValue) const {
    return Arith(AValue, [](U a, U b) {
      return static_cast<U>(static_cast<S>(static_cast<T>(a)) >> (static_cast<P>(b) & cShiftMask));
    });
  }
  TXsInteger operator&(T AValue) const {
    return Arith(AValue, [](U a, U b) { return static_cast<U>(a & b); });
  }
  TXsInteger operator|(T AValue) const {
    return Arith(AValue, [](U a, U b) { return static_cast<U>(a | b); });
  }
  TXsInteger operator^(T AValue) const {
    return Arith(AValue, [](U a, U b) { return static_cast<U>(a ^ b); });
  }

  // A string variant with the decimal text; Null when null.
  Variant ToVariant() const { return IsNull() ? Variant::Null() : Variant(ToString()); }
  // The decimal text, or "NaN" when null.
  UnicodeString ToString() const;
  // The empty text clears; other text is read strictly and cut to the width of T, without a
  // facet check.
  void FromString(UnicodeStringView AValue);

 private:
  void Assign(T AValue);
  TXsInteger Checked(T AValue) const;
  TXsInteger Step(int ADelta) const;
  template <class F>
  TXsBoolean Compare(F AFn) const {
    return IsNull() ? TXsBoolean() : TXsBoolean(AFn());
  }
  // The unsigned type of the width of T, and the types in which shifts are done.
  using U = std::make_unsigned_t<T>;
  using P = std::conditional_t<(sizeof(T) > 4), UInt64, std::uint32_t>;
  using S = std::conditional_t<(sizeof(T) > 4), Int64, Integer>;
  static constexpr P cShiftMask = sizeof(T) > 4 ? 63 : 31;
  template <class F>
  TXsInteger Arith(T AValue, F AFn) const {
    if (IsNull()) return *this;
    RequireInteger();
    return Checked(static_cast<T>(AFn(static_cast<U>(FValue), static_cast<U>(AValue))));
  }
  static TVnTypeKind RequireInteger();
};

// ---------------------------------------------------------------------------------------------
// Floats

// The facets of a float or decimal record: digits, bounds and pattern.
template <class T>
struct TXsRationalRestrictions {
  TXsAnySimpleType<Byte> TotalDigits;
  TXsAnySimpleType<Byte> FractionDigits;
  TXsAnySimpleType<T> MinExclusive;
  TXsAnySimpleType<T> MaxExclusive;
  TXsAnySimpleType<T> MinInclusive;
  TXsAnySimpleType<T> MaxInclusive;
  UnicodeString Pattern;

  void CheckLimits(T AValue) const;
  void Clear() {
    TotalDigits.Clear();
    FractionDigits.Clear();
    MinExclusive.Clear();
    MaxExclusive.Clear();
    MinInclusive.Clear();
    MaxInclusive.Clear();
    Pattern.clear();
  }
};

// A nullable float or decimal of an XML Schema type, with its facets.
template <class T>
struct TXsRational {
  T FValue{};
  UnicodeString FHasValue;
  TXsRationalRestrictions<T> Restrictions;

  TXsRational() = default;
  // From any of the numeric types.
  template <class N>
  requires std::is_arithmetic_v<N> TXsRational(N AValue) { Assign(static_cast<T>(AValue)); }
  static TXsRational Create(T AValue);
  void Clear();
  bool IsNull() const { return FHasValue != xs_detail::cHasValue; }

  template <class N>
  requires std::is_arithmetic_v<N> TXsRational &operator=(N AValue) {
    Assign(static_cast<T>(AValue));
    return *this;
  }
  operator T() const { return IsNull() ? T{} : FValue; }

  TXsRational operator-() const { return IsNull() ? *this : Checked(-FValue); }
  TXsRational operator+() const { return IsNull() ? *this : Checked(FValue); }

  TXsBoolean operator==(T AValue) const { return Compare(FValue == AValue); }
  TXsBoolean operator!=(T AValue) const { return Compare(FValue != AValue); }
  TXsBoolean operator>(T AValue) const { return Compare(FValue > AValue); }
  TXsBoolean operator>=(T AValue) const { return Compare(FValue >= AValue); }
  TXsBoolean operator<(T AValue) const { return Compare(FValue < AValue); }
  TXsBoolean operator<=(T AValue) const { return Compare(FValue <= AValue); }

  TXsRational operator+(T AValue) const { return IsNull() ? *this : Checked(FValue + AValue); }
  TXsRational operator-(T AValue) const { return IsNull() ? *this : Checked(FValue - AValue); }
  TXsRational operator*(T AValue) const { return IsNull() ? *this : Checked(FValue * AValue); }
  TXsRational operator/(T AValue) const { return IsNull() ? *this : Checked(FValue / AValue); }

  Variant ToVariant() const { return IsNull() ? Variant::Null() : Variant(ToString()); }
  // The lexical form ("1.5", "1E20"), or "NaN" when null.
  UnicodeString ToString() const;
  // The empty text clears; other text is read strictly with "." as decimal separator, without a
  // facet check.
  void FromString(UnicodeStringView AValue);

 private:
  void Assign(T AValue);
  TXsRational Checked(T AValue) const;
  TXsBoolean Compare(bool AResult) const { return IsNull() ? TXsBoolean() : TXsBoolean(AResult); }
  static void RequireFloat();
};

// The integer part (0 when null).
// A value beyond the 64-bit range, not-a-number and the infinities raise EInvalidOp.
template <class T>
Int64 Trunc(const TXsRational<T> &AValue) {
  return xs_detail::ToInt64(std::trunc(static_cast<double>(static_cast<T>(AValue))));
}
// Rounded half to even, as the host rounds (0 when null).
template <class T>
Int64 Round(const TXsRational<T> &AValue) {
  return xs_detail::ToInt64(std::nearbyint(static_cast<double>(static_cast<T>(AValue))));
}

// ---------------------------------------------------------------------------------------------
// Binary data

// Base64 text.
struct TXsBinaryStringB64Encoding {
  static RawByteString Encode(const RawByteString &ABytes) {
    return TVnNetEncoding::Base64Ex().Encode(ABytes);
  }
  static RawByteString Decode(UnicodeStringView AText) {
    return TVnNetEncoding::Base64Ex().DecodeStringToBytes(AText);
  }
};

// Hexadecimal text.
struct TXsBinaryStringHexEncoding {
  static RawByteString Encode(const RawByteString &ABytes) {
    return TVnNetEncoding::Hex().Encode(ABytes);
  }
  static RawByteString Decode(UnicodeStringView AText) {
    return TVnNetEncoding::Hex().DecodeStringToBytes(AText);
  }
};

// Nullable binary data (base64Binary, hexBinary) held as bytes; E gives the text form.
template <class E>
struct TXsBinaryString {
  RawByteString FValue;
  UnicodeString FHasValue;

  TXsBinaryString() = default;
  // From the encoded text.
  TXsBinaryString(const UnicodeString &AText) : FValue(E::Decode(AText)), FHasValue(u"1") {}
  TXsBinaryString(const char16_t *AText) : TXsBinaryString(UnicodeString(AText)) {}
  // From the bytes as they stand.
  explicit TXsBinaryString(const RawByteString &ABytes) : FValue(ABytes), FHasValue(u"1") {}
  static TXsBinaryString Create(const UnicodeString &AText) { return TXsBinaryString(AText); }
  bool IsNull() const { return FHasValue != xs_detail::cHasValue; }
  void Clear() {
    FValue.clear();
    FHasValue.clear();
  }
  // The encoded text ("" when null).
  operator UnicodeString() const { return ToString(); }
  explicit operator RawByteString() const { return IsNull() ? RawByteString() : FValue; }
  friend TXsBinaryString operator+(const TXsBinaryString &A, const TXsBinaryString &B) {
    return TXsBinaryString(static_cast<RawByteString>(A) + static_cast<RawByteString>(B));
  }
  void SaveBinaryData(TStream *AStream) const {
    if (!FValue.empty()) AStream->WriteBuffer(FValue.data(), static_cast<Int64>(FValue.size()));
  }
  // Reads the stream from its position to its end.
  void LoadBinaryData(TStream *AStream) {
    RawByteString bytes(static_cast<std::size_t>(AStream->GetSize() - AStream->GetPosition()),
                        '\0');
    if (!bytes.empty()) AStream->ReadBuffer(bytes.data(), static_cast<Int64>(bytes.size()));
    *this = TXsBinaryString(bytes);
  }
  Variant ToVariant() const { return IsNull() ? Variant::Null() : Variant(ToString()); }
  UnicodeString ToString() const {
    if (IsNull()) return {};
    RawByteString text = E::Encode(FValue);
    return UnicodeString(text.begin(), text.end());
  }
  void FromString(UnicodeStringView AValue) { *this = TXsBinaryString(UnicodeString(AValue)); }
};

// ---------------------------------------------------------------------------------------------
// Dates and times, held in their parts

// The template of the three date and time records; C++ cannot give a template and a record
// the same name, so the template carries "Of".
template <class T>
struct TXsDateTimeOf {
  UnicodeString FHasValue;
  Word FYear = 0, FMonth = 0, FDay = 0, FHour = 0, FMin = 0, FSec = 0, FMSec = 0;
  bool FIsBC = false;
  TVnTimeZoneFormat FTimezoneFormat = tzfNone;
  SmallInt FTimezoneOffset = 0;
  UnicodeString FTimezoneName;

  TXsDateTimeOf() = default;
  TXsDateTimeOf(T AValue) { Assign(AValue); }
  static TXsDateTimeOf Create(T AValue) { return TXsDateTimeOf(AValue); }
  void Clear() { *this = TXsDateTimeOf(); }
  bool IsNull() const { return FHasValue != xs_detail::cHasValue; }

  TXsDateTimeOf &operator=(T AValue) {
    Assign(AValue);
    return *this;
  }
  // Local time: a value with a zone is brought to UTC and then to the machine's zone. Null
  // gives 0; a BC value raises EConvertError "BC TDateTime values are not supported!".
  operator T() const;

  TXsDateTimeOf operator-() const { return IsNull() ? *this : TXsDateTimeOf(T(-Number())); }
  TXsDateTimeOf operator+() const { return *this; }
  TXsDateTimeOf &operator++() { return *this = *this + 1.0; }
  TXsDateTimeOf &operator--() { return *this = *this - 1.0; }

  TXsBoolean operator==(T AValue) const { return Compare(Number() == AValue.Val); }
  TXsBoolean operator!=(T AValue) const { return Compare(Number() != AValue.Val); }
  TXsBoolean operator>(T AValue) const { return Compare(Number() > AValue.Val); }
  TXsBoolean operator>=(T AValue) const { return Compare(Number() >= AValue.Val); }
  TXsBoolean operator<(T AValue) const { return Compare(Number() < AValue.Val); }
  TXsBoolean operator<=(T AValue) const { return Compare(Number() <= AValue.Val); }

  TXsDateTimeOf operator+(double ADays) const {
    return IsNull() ? *this : TXsDateTimeOf(T(Number() + ADays));
  }
  TXsDateTimeOf operator-(double ADays) const {
    return IsNull() ? *this : TXsDateTimeOf(T(Number() - ADays));
  }
  TXsDateTimeOf operator+(const TXsDateTimeOf &AOther) const {
    return IsNull() ? *this : TXsDateTimeOf(T(Number() + AOther.Number()));
  }
  TXsDateTimeOf operator-(const TXsDateTimeOf &AOther) const {
    return IsNull() ? *this : TXsDateTimeOf(T(Number() - AOther.Number()));
  }

  Variant ToVariant() const { return IsNull() ? Variant::Null() : Variant(ToString(true)); }
  // The lexical form in the value's own zone, "" when null.
  UnicodeString ToString(bool AIncludeMSec = true) const;
  void FromString(UnicodeStringView AValue);

 private:
  void Assign(T AValue);
  // The value as written, without a change of zone.
  double Encoded() const;
  // The local value as a number (0 when null).
  double Number() const { return IsNull() ? 0.0 : static_cast<T>(*this).Val; }
  TXsBoolean Compare(bool AResult) const { return IsNull() ? TXsBoolean() : TXsBoolean(AResult); }
  static TVnTypeKind RequireDateKind();
};

// The integer part of the local value.
template <class T>
Int64 Trunc(const TXsDateTimeOf<T> &AValue) {
  return xs_detail::ToInt64(std::trunc(static_cast<T>(AValue).Val));
}

// ---------------------------------------------------------------------------------------------
// The family

using TXsByte = TXsInteger<ShortInt>;
using TXsShort = TXsInteger<SmallInt>;
using TXsInt = TXsInteger<Integer>;
using TXsLong = TXsInteger<Int64>;
using TXsUnsignedByte = TXsInteger<Byte>;
using TXsUnsignedShort = TXsInteger<Word>;
using TXsUnsignedInt = TXsInteger<Cardinal>;
using TXsUnsignedLong = TXsInteger<UInt64>;
using TXsFloat = TXsRational<Single>;
using TXsDouble = TXsRational<Double>;
// The decimal record: the extended float of this library is a 64-bit float, so the record is a
// type of its own over TXsRational<Double>.
struct TXsDecimal : TXsRational<Double> {
  using TXsRational<Double>::TXsRational;
  using TXsRational<Double>::operator=;
  TXsDecimal() = default;
  TXsDecimal(const TXsRational<Double> &AValue) : TXsRational<Double>(AValue) {}
};
using TXsDate = TXsDateTimeOf<TDate>;
using TXsTime = TXsDateTimeOf<TTime>;
using TXsDateTime = TXsDateTimeOf<TDateTime>;
using TXsBase64Binary = TXsBinaryString<TXsBinaryStringB64Encoding>;
using TXsHexBinary = TXsBinaryString<TXsBinaryStringHexEncoding>;

}  // namespace vn

#include "vnxml/xml/uVnXSTypes.inl"
