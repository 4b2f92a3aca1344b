// Shared texts of the UTF-8 tests: the same characters as UTF-8 bytes (written as escapes, so
// that the compiler's source encoding plays no part) and as UTF-16, covering two-, three- and
// four-byte sequences and a character outside the Basic Multilingual Plane.
#pragma once

#include <string>
#include <string_view>

#include "vnxml/rtl/SysUtils.h"

namespace utf8test {

// "é" (2 bytes), "€" (3 bytes), U+1F600 (4 bytes, a surrogate pair in UTF-16), "漢字" (CJK).
inline constexpr std::string_view cE = "\xC3\xA9";
inline constexpr std::string_view cEuro = "\xE2\x82\xAC";
inline constexpr std::string_view cSmile = "\xF0\x9F\x98\x80";
inline constexpr std::string_view cKanji = "\xE6\xBC\xA2\xE5\xAD\x97";
inline constexpr std::u16string_view cE16 = u"\u00E9";
inline constexpr std::u16string_view cEuro16 = u"\u20AC";
inline constexpr std::u16string_view cSmile16 = u"\U0001F600";
inline constexpr std::u16string_view cKanji16 = u"\u6F22\u5B57";

// "café € 😀 漢字" both ways.
inline std::string Mixed() {
  return "caf" + std::string(cE) + " " + std::string(cEuro) + " " + std::string(cSmile) + " " +
         std::string(cKanji);
}
inline vn::UnicodeString Mixed16() {
  return u"caf" + vn::UnicodeString(cE16) + u" " + vn::UnicodeString(cEuro16) + u" " +
         vn::UnicodeString(cSmile16) + u" " + vn::UnicodeString(cKanji16);
}

// Names for elements, attributes and members: "café", "漢字".
inline std::string Cafe() {
  return "caf" + std::string(cE);
}
inline vn::UnicodeString Cafe16() {
  return u"caf" + vn::UnicodeString(cE16);
}

}  // namespace utf8test
