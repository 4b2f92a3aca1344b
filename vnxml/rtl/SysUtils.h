// Exceptions, Format, text and number conversions of the run-time.
#pragma once

#include <cstring>
#include <exception>
#include <initializer_list>
#include <span>
#include <string>

#include "vnxml/rtl/Interface.h"
#include "vnxml/rtl/Object.h"
#include "vnxml/rtl/Types.h"

namespace vn {

class Variant;

// ---------------------------------------------------------------------------------------------
// Arguments of Format ("array of const"): each element refers to a value of the caller that
// lives until the end of the call.
class TVarRec {
 public:
  enum TKind : Byte {
    vtInteger,
    vtInt64,
    vtUInt64,
    vtExtended,
    vtBoolean,
    vtChar,
    vtWideChar,
    vtUnicodeString,
    vtAnsiString,
    vtPChar,
    vtPWideChar,
    vtPointer,
    vtObject,
    vtClass,
    vtVariant,
    vtInterface
  };

  TVarRec(int v) noexcept : FKind(vtInteger) { FInt = v; }
  TVarRec(short v) noexcept : TVarRec(static_cast<int>(v)) {}
  TVarRec(signed char v) noexcept : TVarRec(static_cast<int>(v)) {}
  TVarRec(unsigned char v) noexcept : TVarRec(static_cast<int>(v)) {}
  TVarRec(unsigned short v) noexcept : TVarRec(static_cast<int>(v)) {}
  TVarRec(unsigned int v) noexcept : FKind(vtInt64) { FInt64 = v; }
  TVarRec(long v) noexcept : FKind(vtInt64) { FInt64 = v; }
  TVarRec(long long v) noexcept : FKind(vtInt64) { FInt64 = v; }
  TVarRec(unsigned long v) noexcept : FKind(vtUInt64) { FUInt64 = v; }
  TVarRec(unsigned long long v) noexcept : FKind(vtUInt64) { FUInt64 = v; }
  TVarRec(double v) noexcept : FKind(vtExtended) { FExtended = v; }
  TVarRec(float v) noexcept : TVarRec(static_cast<double>(v)) {}
  TVarRec(bool v) noexcept : FKind(vtBoolean) { FBoolean = v; }
  TVarRec(char v) noexcept : FKind(vtChar) { FChar = v; }
  TVarRec(char16_t v) noexcept : FKind(vtWideChar) { FWideChar = v; }
  TVarRec(const UnicodeString &v) noexcept : FKind(vtUnicodeString) { FUnicodeString = &v; }
  TVarRec(const std::string &v) noexcept : FKind(vtAnsiString) { FAnsiString = &v; }
  TVarRec(const char *v) noexcept : FKind(vtPChar) { FPChar = v; }
  TVarRec(const char16_t *v) noexcept : FKind(vtPWideChar) { FPWideChar = v; }
  TVarRec(const void *v) noexcept : FKind(vtPointer) { FPointer = v; }
  TVarRec(const TObject *v) noexcept : FKind(vtObject) { FObject = v; }
  TVarRec(TClass v) noexcept : FKind(vtClass) { FClass = v; }
  TVarRec(const Variant &v) noexcept : FKind(vtVariant) { FVariant = &v; }
  TVarRec(IInterface *v) noexcept : FKind(vtInterface) { FInterface = v; }
  template <class T>
  requires std::is_base_of_v<TObject, T> TVarRec(T *v)
  noexcept : TVarRec(static_cast<const TObject *>(v)) {}

  TKind Kind() const noexcept { return FKind; }
  int AsInteger() const noexcept { return FInt; }
  Int64 AsInt64() const noexcept { return FInt64; }
  UInt64 AsUInt64() const noexcept { return FUInt64; }
  double AsExtended() const noexcept { return FExtended; }
  bool AsBoolean() const noexcept { return FBoolean; }
  char AsChar() const noexcept { return FChar; }
  char16_t AsWideChar() const noexcept { return FWideChar; }
  const UnicodeString &AsUnicodeString() const noexcept { return *FUnicodeString; }
  const std::string &AsAnsiString() const noexcept { return *FAnsiString; }
  const char *AsPChar() const noexcept { return FPChar; }
  const char16_t *AsPWideChar() const noexcept { return FPWideChar; }
  const void *AsPointer() const noexcept { return FPointer; }
  const TObject *AsObject() const noexcept { return FObject; }
  TClass AsClass() const noexcept { return FClass; }
  const Variant &AsVariant() const noexcept { return *FVariant; }
  IInterface *AsInterface() const noexcept { return FInterface; }

 private:
  TKind FKind;
  union {
    int FInt;
    Int64 FInt64;
    UInt64 FUInt64;
    double FExtended;
    bool FBoolean;
    char FChar;
    char16_t FWideChar;
    const UnicodeString *FUnicodeString;
    const std::string *FAnsiString;
    const char *FPChar;
    const char16_t *FPWideChar;
    const void *FPointer;
    const TObject *FObject;
    TClass FClass;
    const Variant *FVariant;
    IInterface *FInterface;
  };
};
using TVarRecs = std::span<const TVarRec>;

// ---------------------------------------------------------------------------------------------
// Exceptions. They are thrown and caught by reference (`throw EConvertError(...)`,
// `catch (Exception &E)`); `throw;` raises the same exception again.

// The base of the library's exceptions: a message, thrown and caught by reference.
class Exception : public TObject, public std::exception {
  VN_CLASS(Exception, TObject)
 public:
  Exception() = default;
  explicit Exception(const UnicodeString &AMessage) : Message(AMessage) {}
  Exception(const UnicodeString &AFormat, std::initializer_list<TVarRec> AArgs);
  Exception(const UnicodeString &AFormat, TVarRecs AArgs);
  Exception(const Exception &) = default;
  Exception &operator=(const Exception &) = default;
  ~Exception() override = default;

  // The message as UTF-8.
  const char *what() const noexcept override;
  UnicodeString ToString() const override { return Message; }
  // Throws a copy of this exception with its dynamic type.
  [[noreturn]] virtual void Raise() const { throw *this; }
  // A heap copy with the dynamic type, for code that keeps an exception past its handler.
  virtual Exception *Clone() const { return new Exception(*this); }

  UnicodeString Message;

 private:
  mutable std::string FWhat;
};

// Declares the class reference, Raise and Clone of an exception class.
#define VN_EXCEPTION_CLASS(Self, Base)       \
  VN_CLASS(Self, Base)                       \
  [[noreturn]] void Raise() const override { \
    throw *this;                             \
  }                                          \
  ::vn::Exception *Clone() const override {  \
    return new Self(*this);                  \
  }

// Declares an exception class that adds nothing but its name.
#define VN_DECLARE_EXCEPTION(Self, Base) \
  class Self : public Base {             \
    VN_EXCEPTION_CLASS(Self, Base)       \
   public:                               \
    using Base::Base;                    \
  };

// The silent exception: ends an operation without an error message.
VN_DECLARE_EXCEPTION(EAbort, Exception)
// A text or value that does not convert to the type asked for.
VN_DECLARE_EXCEPTION(EConvertError, Exception)
// A call of an operation that the class leaves abstract.
VN_DECLARE_EXCEPTION(EAbstractError, Exception)
// A failed assertion, with its message, file and line.
VN_DECLARE_EXCEPTION(EAssertionFailed, Exception)
// A class typecast to a class that the object does not descend from.
VN_DECLARE_EXCEPTION(EInvalidCast, Exception)
// An interface cast to an interface that the object does not support.
VN_DECLARE_EXCEPTION(EIntfCastError, Exception)
// An invalid pointer operation, such as freeing an object still referenced.
VN_DECLARE_EXCEPTION(EInvalidPointer, Exception)
// An operation that the object's state does not allow now.
VN_DECLARE_EXCEPTION(EInvalidOperation, Exception)
// A request for more memory than a string or buffer can hold.
VN_DECLARE_EXCEPTION(EOutOfMemory, Exception)
// An argument that the operation cannot take.
VN_DECLARE_EXCEPTION(EArgumentException, Exception)
// An argument outside the range the operation accepts.
VN_DECLARE_EXCEPTION(EArgumentOutOfRangeException, EArgumentException)
// A null argument where the operation needs one.
VN_DECLARE_EXCEPTION(EArgumentNilException, EArgumentException)
// An operation that the object does not support.
VN_DECLARE_EXCEPTION(ENotSupportedException, Exception)
// An operation that is declared but not implemented.
VN_DECLARE_EXCEPTION(ENotImplemented, Exception)
// An encoding or code page that is not supported, or bytes invalid in it.
VN_DECLARE_EXCEPTION(EEncodingError, Exception)
// A failed call of the operating system, with its error code.
VN_DECLARE_EXCEPTION(EOSError, Exception)
// The base of the integer arithmetic errors.
VN_DECLARE_EXCEPTION(EIntError, Exception)
// An integer result outside the range of its type.
VN_DECLARE_EXCEPTION(EIntOverflow, EIntError)
// An integer division by zero.
VN_DECLARE_EXCEPTION(EDivByZero, EIntError)
// An integer value outside the range of the type it is assigned to.
VN_DECLARE_EXCEPTION(ERangeError, EIntError)
// The base of the floating-point arithmetic errors.
VN_DECLARE_EXCEPTION(EMathError, Exception)
// An invalid floating-point operation, such as 0 / 0.
VN_DECLARE_EXCEPTION(EInvalidOp, EMathError)
// A floating-point division by zero.
VN_DECLARE_EXCEPTION(EZeroDivide, EMathError)
// A floating-point result too large for its type.
VN_DECLARE_EXCEPTION(EOverflow, EMathError)
// Failures of Variant operations. A conversion that a Variant cannot make is a conversion
// error, so EVariantTypeCastError is an EConvertError.
VN_DECLARE_EXCEPTION(EVariantError, Exception)
// A conversion that a Variant cannot make.
VN_DECLARE_EXCEPTION(EVariantTypeCastError, EConvertError)
// An index outside the bounds of a Variant array.
VN_DECLARE_EXCEPTION(EVariantBadIndexError, EVariantError)
// An operation that the types of the Variants do not allow.
VN_DECLARE_EXCEPTION(EVariantInvalidOpError, EVariantError)
// A Variant result outside the range of its type.
VN_DECLARE_EXCEPTION(EVariantOverflowError, EVariantError)
// Streams, lists and readers.
VN_DECLARE_EXCEPTION(EStreamError, Exception)
// The base of the failures to create or open a file stream.
VN_DECLARE_EXCEPTION(EFileStreamError, EStreamError)
// A file that cannot be created.
VN_DECLARE_EXCEPTION(EFCreateError, EFileStreamError)
// A file that cannot be opened.
VN_DECLARE_EXCEPTION(EFOpenError, EFileStreamError)
// The base of the failures of reading and writing objects and classes by name.
VN_DECLARE_EXCEPTION(EFilerError, EStreamError)
// A read that fails: past the end of a stream, or from a file that is not there.
VN_DECLARE_EXCEPTION(EReadError, EFilerError)
// A write to a stream that fails.
VN_DECLARE_EXCEPTION(EWriteError, EFilerError)
// A class name that no registered class answers to.
VN_DECLARE_EXCEPTION(EClassNotFound, EFilerError)
// A list index out of bounds, or another misuse of a list.
VN_DECLARE_EXCEPTION(EListError, Exception)
// A misuse of a string list: a bad index, or a change a sorted list forbids.
VN_DECLARE_EXCEPTION(EStringListError, EListError)
// A component name that is invalid or already taken among its owner's components.
VN_DECLARE_EXCEPTION(EComponentError, Exception)
// A syntax error found by a text parser, with its line and column.
VN_DECLARE_EXCEPTION(EParserError, Exception)
// A regular expression that does not compile, or a failed match.
VN_DECLARE_EXCEPTION(ERegularExpressionError, Exception)

// ---------------------------------------------------------------------------------------------
// Operations of the failure-by-result kind. Interfaces that are meant to cross vendor or module
// boundaries (the DOM interfaces of XmlDom.h) report failures as results instead of exceptions:
// each operation answers S_OK, or the failure that TObject::SafeCallException gives for the
// exception that ended it. A caller that wants exceptions back checks the result.

// Raised by CheckSafecallResult with "Exception in safecall method"; ErrorCode is the result.
class ESafecallException : public Exception {
  VN_EXCEPTION_CLASS(ESafecallException, Exception)
 public:
  using Exception::Exception;
  HRESULT ErrorCode = 0;
};

// Raises ESafecallException for a failing result (below 0); success results pass.
void CheckSafecallResult(HRESULT AResult);

// Runs AFunc and answers S_OK, or the result that ASelf's SafeCallException gives for whatever
// AFunc raised. Nothing escapes.
template <class F>
HRESULT SafecallInvoke(TObject *ASelf, F &&AFunc) noexcept {
  try {
    AFunc();
    return S_OK;
  } catch (...) {
    return ASelf->SafeCallException(std::current_exception());
  }
}

using ExceptClass = TClass;

// Raises EAssertionFailed with "<AMessage> (<AFile>, line <ALine>)".
[[noreturn]] void AssertFailed(const UnicodeString &AMessage, const char *AFile, Integer ALine);

// Checks a condition with the default message "Assertion failure".
#define VN_ASSERT_AT(Cond, File, Line) \
  ((Cond) ? (void)0 : ::vn::AssertFailed(u"Assertion failure", File, Line))
#define VN_ASSERT_MSG_AT(Cond, Msg, File, Line) \
  ((Cond) ? (void)0 : ::vn::AssertFailed(Msg, File, Line))

// Raises EAbstractError ("Abstract Error"): the body of an operation left abstract.
[[noreturn]] void AbstractError();

// ---------------------------------------------------------------------------------------------
// Format settings.
struct TFormatSettings {
  char16_t DecimalSeparator = u'.';
  char16_t ThousandSeparator = u',';
  UnicodeString CurrencyString = u"$";
  // 0 "$1", 1 "1$", 2 "$ 1", 3 "1 $".
  Byte CurrencyFormat = 0;
  // 0 "($1)", 1 "-$1", 2 "$-1", 3 "$1-", 4 "(1$)", 5 "-1$", 6 "1-$", 7 "1$-", 8 "-1 $",
  // 9 "-$ 1", 10 "1 $-", 11 "$ 1-", 12 "$ -1", 13 "1- $", 14 "($ 1)", 15 "(1 $)".
  Byte NegCurrFormat = 0;
  Byte CurrencyDecimals = 2;
  char16_t DateSeparator = u'/';
  char16_t TimeSeparator = u':';
  UnicodeString ShortDateFormat = u"M/d/yyyy";
  UnicodeString LongTimeFormat = u"h:nn:ss AMPM";

  // The process's defaults; the machine's locale is not consulted.
  static TFormatSettings Create();
  // The defaults with "." as decimal and "," as thousand separator.
  static TFormatSettings Invariant();
};

// The process-wide settings that the forms without a settings argument read.
TFormatSettings &FormatSettings();

// ---------------------------------------------------------------------------------------------
// Format with the directives %s %d %u %x %e %f %g %n %m %p and %%, each with optional index
// ("%1:s"), left alignment ("-"), width and precision, where width and precision may be "*".
// A directive that does not fit its argument, or an argument missing, raises EConvertError
// "Format '<format>' invalid or incompatible with argument".
UnicodeString Format(const UnicodeString &AFormat, TVarRecs AArgs);
UnicodeString Format(const UnicodeString &AFormat, TVarRecs AArgs,
                     const TFormatSettings &ASettings);
inline UnicodeString Format(const UnicodeString &AFormat, std::initializer_list<TVarRec> AArgs) {
  return Format(AFormat, TVarRecs(AArgs.begin(), AArgs.size()));
}
inline UnicodeString Format(const UnicodeString &AFormat, std::initializer_list<TVarRec> AArgs,
                            const TFormatSettings &ASettings) {
  return Format(AFormat, TVarRecs(AArgs.begin(), AArgs.size()), ASettings);
}

// ---------------------------------------------------------------------------------------------
// UTF-16 and UTF-8. Malformed input (a truncated sequence, a lone surrogate) becomes U+FFFD.
UnicodeString UTF8ToString(std::string_view AText);
std::string UTF8Encode(UnicodeStringView AText);
// For literals and diagnostics: each byte of ASCII text as one character.
UnicodeString ASCIIToString(std::string_view AText);

// ---------------------------------------------------------------------------------------------
// String routines. Positions are 1-based as in the host run-time.
UnicodeString UpperCase(UnicodeStringView S);                   // a-z only
UnicodeString LowerCase(UnicodeStringView S);                   // A-Z only
Integer CompareText(UnicodeStringView A, UnicodeStringView B);  // ASCII case folded
Integer CompareStr(UnicodeStringView A, UnicodeStringView B);
// The same characters, case included, compared as bytes. Inline, like SameText: both answer the
// name lookups of scanners and caches, mostly for short names.
inline bool SameStr(UnicodeStringView A, UnicodeStringView B) noexcept {
  return A.size() == B.size() &&
         (A.empty() || std::memcmp(A.data(), B.data(), A.size() * sizeof(char16_t)) == 0);
}
namespace detail {
// SameText of two texts of one length: ASCII letters folded.
bool SameTextFolded(UnicodeStringView A, UnicodeStringView B) noexcept;
}  // namespace detail
// The same characters, ASCII letters folded. Texts compared without case are mostly the same to
// the letter: those take no folding.
inline bool SameText(UnicodeStringView A, UnicodeStringView B) {
  return SameStr(A, B) || (A.size() == B.size() && detail::SameTextFolded(A, B));
}
UnicodeString Trim(UnicodeStringView S);  // drops characters <= blank at both ends
UnicodeString TrimLeft(UnicodeStringView S);
UnicodeString TrimRight(UnicodeStringView S);
// 1-based index of the first occurrence of ASubStr in S at or after AOffset, 0 when absent.
Integer Pos(UnicodeStringView ASubStr, UnicodeStringView S, Integer AOffset = 1);
// ACount characters from the 1-based AIndex; out-of-range arguments are clipped.
UnicodeString Copy(UnicodeStringView S, Integer AIndex, Integer ACount);
UnicodeString StringOfChar(char16_t C, Integer ACount);
UnicodeString StringReplace(UnicodeStringView S, UnicodeStringView AOld, UnicodeStringView ANew,
                            bool AReplaceAll = true, bool AIgnoreCase = false);
UnicodeString QuotedStr(UnicodeStringView S, char16_t AQuote = u'\'');
bool StartsText(UnicodeStringView ASubText, UnicodeStringView AText);
bool EndsText(UnicodeStringView ASubText, UnicodeStringView AText);
bool StartsStr(UnicodeStringView ASubText, UnicodeStringView AText);
bool EndsStr(UnicodeStringView ASubText, UnicodeStringView AText);

// ---------------------------------------------------------------------------------------------
// Integer conversions. Text: leading blanks, optional sign, then decimal digits, or hexadecimal
// digits after "$", "x", "X", "0x" or "0X". Hexadecimal text may fill every bit of the type
// ("$FFFFFFFF" is -1 as Integer); a decimal value that does not fit is an error.
UnicodeString IntToStr(Int64 AValue);
UnicodeString UIntToStr(UInt64 AValue);
UnicodeString IntToHex(UInt64 AValue, Integer ADigits);
// Raise EConvertError "'<text>' is not a valid integer value".
Integer StrToInt(UnicodeStringView S);
Int64 StrToInt64(UnicodeStringView S);
UInt64 StrToUInt64(UnicodeStringView S);
Integer StrToIntDef(UnicodeStringView S, Integer ADefault);
Int64 StrToInt64Def(UnicodeStringView S, Int64 ADefault);
bool TryStrToInt(UnicodeStringView S, Integer &AValue);
bool TryStrToInt64(UnicodeStringView S, Int64 &AValue);
bool TryStrToUInt64(UnicodeStringView S, UInt64 &AValue);
// Val: ACode is 0 on success, otherwise the 1-based index of the first character that could not
// be used (the length plus one for a text that ends too early, such as "" or "-").
void Val(UnicodeStringView S, Integer &AValue, Integer &ACode);
void Val(UnicodeStringView S, Int64 &AValue, Integer &ACode);
void Val(UnicodeStringView S, double &AValue, Integer &ACode);

// ---------------------------------------------------------------------------------------------
// Float conversions.
// General format: at most 15 significant digits, no trailing zeros, fixed notation while the
// value has at most 15 digits before the point and is at least 0.00001 in magnitude, otherwise
// scientific ("1E20", "1.5E-10"). Not-a-number and the infinities give "NAN", "INF" and "-INF".
UnicodeString FloatToStr(Extended AValue);
UnicodeString FloatToStr(Extended AValue, const TFormatSettings &ASettings);
enum TFloatFormat : Byte { ffGeneral, ffExponent, ffFixed, ffNumber, ffCurrency };
UnicodeString FloatToStrF(Extended AValue, TFloatFormat AFormat, Integer APrecision,
                          Integer ADigits);
UnicodeString FloatToStrF(Extended AValue, TFloatFormat AFormat, Integer APrecision,
                          Integer ADigits, const TFormatSettings &ASettings);
// Text: optional blanks, sign, digits with the decimal separator, optional exponent
// ("E", "e", with sign), optional blanks; also "NAN", "INF", "+INF", "-INF" without regard to
// case. The thousand separator is not accepted. Raises EConvertError
// "'<text>' is not a valid floating point value".
Extended StrToFloat(UnicodeStringView S);
Extended StrToFloat(UnicodeStringView S, const TFormatSettings &ASettings);
Extended StrToFloatDef(UnicodeStringView S, Extended ADefault);
Extended StrToFloatDef(UnicodeStringView S, Extended ADefault, const TFormatSettings &ASettings);
bool TryStrToFloat(UnicodeStringView S, Extended &AValue);
bool TryStrToFloat(UnicodeStringView S, Extended &AValue, const TFormatSettings &ASettings);
bool TryStrToFloat(UnicodeStringView S, Single &AValue, const TFormatSettings &ASettings);
inline bool TryStrToFloat(UnicodeStringView S, Single &AValue) {
  return TryStrToFloat(S, AValue, FormatSettings());
}

// ---------------------------------------------------------------------------------------------
// Booleans: BoolToStr gives "-1"/"0", or "True"/"False" when AUseBoolStrs; in: "True"/"False"
// without regard to case, or a number (0 is false, anything else true). Raises EConvertError
// "'<text>' is not a valid boolean value".
UnicodeString BoolToStr(bool AValue, bool AUseBoolStrs = false);
bool StrToBool(UnicodeStringView S);
bool StrToBoolDef(UnicodeStringView S, bool ADefault);
bool TryStrToBool(UnicodeStringView S, bool &AValue);

}  // namespace vn
