// Temporary: replaced by the full implementation.
#include "vnxml/rtl/SysUtils.h"
#include <unicode/ustring.h>
namespace vn {
UnicodeString UTF8ToString(std::string_view AText) {
  UnicodeString r(AText.size(), u'\0');
  int32_t len = 0;
  UErrorCode err = U_ZERO_ERROR;
  u_strFromUTF8WithSub(reinterpret_cast<UChar *>(r.data()), static_cast<int32_t>(r.size()), &len,
                       AText.data(), static_cast<int32_t>(AText.size()), 0xFFFD, nullptr, &err);
  r.resize(U_SUCCESS(err) ? len : 0);
  return r;
}
std::string UTF8Encode(UnicodeStringView AText) {
  std::string r(AText.size() * 3, '\0');
  int32_t len = 0;
  UErrorCode err = U_ZERO_ERROR;
  u_strToUTF8WithSub(r.data(), static_cast<int32_t>(r.size()), &len,
                     reinterpret_cast<const UChar *>(AText.data()), static_cast<int32_t>(AText.size()),
                     0xFFFD, nullptr, &err);
  r.resize(U_SUCCESS(err) ? len : 0);
  return r;
}
}  // namespace vn
