#include "vnxml/common/uVnTypes.h"

namespace vn {

const char16_t _SEncodingNotSupported[] = u"The specified encoding is not supported!";

Word VnGetCodePage(TStream *AStream) {
  Int64 start = AStream->GetPosition();
  Byte bom[3] = {0, 0, 0};
  Int64 n = 0;
  while (n < 3) {
    Int64 r = AStream->Read(bom + n, 3 - n);
    if (r <= 0) break;
    n += r;
  }
  Word page = 0;
  Int64 len = 0;
  if (n >= 3 && bom[0] == 0xEF && bom[1] == 0xBB && bom[2] == 0xBF) {
    page = CP_UTF8;
    len = 3;
  } else if (n >= 2 && bom[0] == 0xFF && bom[1] == 0xFE) {
    page = CP_UTF16;
    len = 2;
  } else if (n >= 2 && bom[0] == 0xFE && bom[1] == 0xFF) {
    // Big-endian UTF-16 is not a source form of the text source: refuse it plainly rather
    // than read it as bytes.
    AStream->SetPosition(start);
    throw EEncodingError(_SEncodingNotSupported);
  }
  AStream->SetPosition(start + len);
  return page;
}

Word VnCodePage(UnicodeStringView AName) {
  Word page = CodePageFromName(AName);
  if (page == 0 || !IsValidCodePage(page)) throw EEncodingError(_SEncodingNotSupported);
  return page;
}

UnicodeString VnCodePage(Word APage) {
  UnicodeString name = CodePageIANAName(APage);
  if (name.empty()) throw EEncodingError(_SEncodingNotSupported);
  return name;
}

RawByteString TVnEncoding::ConvertW(UnicodeStringView AText, Word ACodePage) {
  return UnicodeToCodePage(AText, ACodePage);
}

UnicodeString TVnEncoding::ConvertA(const AnsiString &AText) {
  return CodePageToUnicode(AText.data(), AText.size(), AText.CodePage());
}

UnicodeString TVnEncoding::ConvertA(const RawByteString &AText, Word ACodePage) {
  return CodePageToUnicode(AText.data(), AText.size(), ACodePage);
}

UnicodeString TVnEncoding::ConvertA(const Byte *ABuffer, Integer ASize, Word ACodePage) {
  if (ASize <= 0) return {};
  return CodePageToUnicode(reinterpret_cast<const char *>(ABuffer), static_cast<std::size_t>(ASize),
                           ACodePage);
}

}  // namespace vn
