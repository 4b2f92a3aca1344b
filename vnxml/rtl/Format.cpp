// Temporary: replaced by the full implementation.
#include "vnxml/rtl/SysUtils.h"
namespace vn {
UnicodeString Format(const UnicodeString &AFormat, TVarRecs) { return AFormat; }
UnicodeString Format(const UnicodeString &AFormat, TVarRecs, const TFormatSettings &) { return AFormat; }
}  // namespace vn
