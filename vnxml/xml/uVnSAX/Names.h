// The characters of XML names, in their 16-bit part (internal to the SAX unit).
#pragma once

namespace vn::sax {

// The NameStartChar production of XML 1.0 (fifth edition), without the colon. A surrogate fails
// it.
constexpr bool IsNameStartChar(char16_t C) noexcept {
  if (C < 0x80) return (C >= u'A' && C <= u'Z') || C == u'_' || (C >= u'a' && C <= u'z');
  return (C >= 0xC0 && C <= 0xD6) || (C >= 0xD8 && C <= 0xF6) || (C >= 0xF8 && C <= 0x2FF) ||
         (C >= 0x370 && C <= 0x37D) || (C >= 0x37F && C <= 0x1FFF) ||
         (C >= 0x200C && C <= 0x200D) || (C >= 0x2070 && C <= 0x218F) ||
         (C >= 0x2C00 && C <= 0x2FEF) || (C >= 0x3001 && C <= 0xD7FF) ||
         (C >= 0xF900 && C <= 0xFDCF) || (C >= 0xFDF0 && C <= 0xFFFD);
}

// NameChar: NameStartChar with "-", ".", the digits, U+00B7, U+0300 to U+036F and U+203F to
// U+2040; again without the colon.
constexpr bool IsNameChar(char16_t C) noexcept {
  return IsNameStartChar(C) || C == u'-' || C == u'.' || (C >= u'0' && C <= u'9') || C == 0xB7 ||
         (C >= 0x300 && C <= 0x36F) || (C >= 0x203F && C <= 0x2040);
}

}  // namespace vn::sax
