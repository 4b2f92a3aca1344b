// Code pages, byte-order marks and encoding conversions of the library.
#pragma once

#include "vnxml/common/uVnSysUtils.h"
#include "vnxml/rtl/CodePages.h"
#include "vnxml/rtl/Streams.h"

namespace vn {

extern const char16_t _SEncodingNotSupported[];  // "The specified encoding is not supported!"

// The byte-order marks written by the output paths.
inline constexpr Byte cVnUTF16LE[2] = {0xFF, 0xFE};
inline constexpr Byte cVnUTF8[3] = {0xEF, 0xBB, 0xBF};

// Looks at the bytes at the stream's current position for a byte-order mark. With a mark the
// stream is left behind it and the page is returned: 1200 for FF FE, 65001 for EF BB BF.
// Without one the position is unchanged and the result is 0. The big-endian mark FE FF raises
// EEncodingError with _SEncodingNotSupported (position unchanged).
Word VnGetCodePage(TStream *AStream);
// The number of a code page from its name in an encoding declaration, without regard to case.
// An unknown name raises EEncodingError with _SEncodingNotSupported.
Word VnCodePage(UnicodeStringView AName);
// The name of a page for the encoding pseudo-attribute of a declaration ("UTF-8", "UTF-16",
// "ISO-8859-1", "windows-1252" ...). An unknown page raises EEncodingError.
UnicodeString VnCodePage(Word APage);

// Code-page conversions.
class TVnEncoding {
 public:
  TVnEncoding() = delete;
  // UTF-16 to the bytes of a page.
  static RawByteString ConvertW(UnicodeStringView AText, Word ACodePage);
  // One-byte text in its own page (the default page for 0) to UTF-16.
  static UnicodeString ConvertA(const AnsiString &AText);
  // Bytes in a page to UTF-16.
  static UnicodeString ConvertA(const RawByteString &AText, Word ACodePage);
  static UnicodeString ConvertA(const Byte *ABuffer, Integer ASize, Word ACodePage);
};

}  // namespace vn
