#include "vnxml/rtl/Types.h"

#include <ostream>

#include "vnxml/rtl/CodePages.h"
#include "vnxml/rtl/SysUtils.h"

namespace vn {

Word DefaultSystemCodePage = CP_UTF8;

UnicodeString GUIDToString(const TGUID &g) {
  return Format(
      u"{%.8x-%.4x-%.4x-%.2x%.2x-%.2x%.2x%.2x%.2x%.2x%.2x}",
      {g.D1, g.D2, g.D3, g.D4[0], g.D4[1], g.D4[2], g.D4[3], g.D4[4], g.D4[5], g.D4[6], g.D4[7]});
}

TGUID StringToGUID(const UnicodeString &s) {
  std::string a;
  a.reserve(s.size());
  for (char16_t c : s) {
    if (c > 127) throw EConvertError(Format(u"'%s' is not a valid GUID value", {s}));
    a.push_back(static_cast<char>(c));
  }
  if (a.size() != 38 || a.front() != '{')
    throw EConvertError(Format(u"'%s' is not a valid GUID value", {s}));
  try {
    return TGUID::Parse(a);
  } catch (const char *) {
    throw EConvertError(Format(u"'%s' is not a valid GUID value", {s}));
  }
}

namespace {

std::string AsUTF8(const AnsiString &AText) {
  const Word page = AText.EffectiveCodePage();
  if (page == CP_UTF8) return AText;
  return UTF8Encode(CodePageToUnicode(AText.data(), AText.size(), page));
}

}  // namespace

std::ostream &operator<<(std::ostream &AStream, const AnsiString &AText) {
  return AStream << AsUTF8(AText);
}

void PrintTo(const AnsiString &AText, std::ostream *AStream) {
  *AStream << '"' << AsUTF8(AText) << '"';
  if (AText.CodePage() != 0) *AStream << " (page " << AText.CodePage() << ')';
}

}  // namespace vn

std::ostream &operator<<(std::ostream &AStream, const std::u16string &AText) {
  return AStream << vn::UTF8Encode(AText);
}

std::ostream &operator<<(std::ostream &AStream, std::u16string_view AText) {
  return AStream << vn::UTF8Encode(AText);
}
