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

// The type that a name of kind AKind names, kept per thread in ASlots places: a document names
// the same few types over and over, and the registry's lookup takes a lock. Types live as long
// as the process; a name that finds nothing is not kept, since a later registration may bring it.
template <TVnTypeNameType AKind, std::size_t ASlots>
const TVnTypeInfo *CachedTypeInfo(const UnicodeString &AName) {
  static_assert((ASlots & (ASlots - 1)) == 0, "the slots are a power of two");
  struct TEntry {
    UnicodeString Name;
    const TVnTypeInfo *Type = nullptr;
  };
  thread_local TEntry cache[ASlots];
  const std::size_t n = AName.size();
  const std::size_t h = n * 7 + (n ? AName[n - 1] * 31 + AName[n / 2] * 5 + AName[0] : 0);
  TEntry &e = cache[h & (ASlots - 1)];
  if (e.Type && SameStr(e.Name, AName)) return e.Type;
  const TVnTypeInfo *type = TVnTypes::GetTypeInfo(AName, AKind, false);
  if (type) {
    e.Name = AName;
    e.Type = type;
  }
  return type;
}

}  // namespace vn::serializer_detail
