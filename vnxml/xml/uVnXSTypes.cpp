// GCC 12 at -O2 reports a false -Wrestrict inside std::u16string::assign once the XML Schema
// records' assignments from literals are inlined here (GCC bug 105651); the copy is correct.
#if defined(__GNUC__) && !defined(__clang__) && __GNUC__ == 12
#pragma GCC diagnostic ignored "-Wrestrict"
#endif
#include "vnxml/xml/uVnXSTypes.h"

#include "vnxml/xml/uVnXMLUtils.h"

namespace vn {

namespace xs_detail {

void RaiseOutOfRange(const char16_t *AMessage) {
  throw EArgumentOutOfRangeException(AMessage);
}

void RaiseNotSupported(const char16_t *AMessage) {
  throw ENotSupportedException(AMessage);
}

void CheckPattern(const UnicodeString &APattern, const UnicodeString &AText) {
  // The expression is compiled at each check: the records share no state.
  if (!TRegEx::IsMatch(AText, APattern))
    throw EArgumentOutOfRangeException(
        u"The specified value does not match the specified pattern!");
}

Int64 ToInt64(double AValue) {
  if (!(AValue >= -9223372036854775808.0 && AValue < 9223372036854775808.0))
    throw EInvalidOp(u"Invalid floating point operation");
  return static_cast<Int64>(AValue);
}

}  // namespace xs_detail

void TXsBoolean::FromString(UnicodeStringView AValue) {
  if (AValue.empty())
    Clear();
  else
    *this = VnXMLToBool(AValue);
}

TXsDuration::TXsDuration(const UnicodeString &AValue) {
  if (!AValue.empty()) {
    FValue = VnXMLToDuration(AValue);
    FHasValue = xs_detail::cHasValue;
  }
}

UnicodeString TXsDuration::ToString() const {
  return IsNull() ? UnicodeString() : VnDurationToXML(FValue);
}

}  // namespace vn
