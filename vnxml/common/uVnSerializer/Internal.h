// What the files of the serializer unit share and do not publish.
#pragma once

#include <charconv>
#include <cstddef>
#include <system_error>

#include "vnxml/common/uVnTypes.h"
#include "vnxml/rtl/Rtti.h"

namespace vn::serializer_detail {

// The class of a type record, nil for a type that is no class.
inline TClass ClassOf(const TVnTypeInfo *AType) {
  if (!AType || !AType->RttiType || AType->RttiType->GetTypeKind() != tkClass) return nullptr;
  return AType->RttiType->AsInstance()->GetMetaclassType();
}

// The number of a plain decimal text ("-12", "495.16": an optional minus, digits, at most one
// point between digits), read at once; false for any other text, which the full conversion
// takes. The result is the correctly rounded double, the same that the full conversion gives.
inline bool PlainDecimal(UnicodeStringView AText, double &AValue) {
  const std::size_t n = AText.size();
  if (n == 0 || n > 32) return false;
  char buffer[32];
  std::size_t i = 0;
  if (AText[0] == u'-') {
    buffer[0] = '-';
    i = 1;
  }
  bool point = false;
  for (std::size_t k = i; k < n; ++k) {
    const char16_t c = AText[k];
    if (c >= u'0' && c <= u'9') {
      buffer[k] = static_cast<char>(c);
    } else if (c == u'.' && !point && k > i && k + 1 < n) {
      point = true;
      buffer[k] = '.';
    } else {
      return false;
    }
  }
  if (i == n) return false;
  const auto result = std::from_chars(buffer, buffer + n, AValue);
  return result.ec == std::errc() && result.ptr == buffer + n;
}

}  // namespace vn::serializer_detail
