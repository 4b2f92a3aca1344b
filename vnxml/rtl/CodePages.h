// Conversions between UTF-16 and the 8-bit code pages, numbered as Windows numbers them
// (1252, 28591, 65001 ...), through ICU. Code page 0 stands for DefaultSystemCodePage.
#pragma once

#include <array>
#include <string>

#include "vnxml/rtl/Types.h"

namespace vn {

// Whether the page is known to the converter library.
bool IsValidCodePage(Word ACodePage);
// Whether every character of the page is one byte (false for UTF-8, UTF-16 and the double-byte
// pages; false for an unknown page).
bool IsSingleByteCodePage(Word ACodePage);
// The name of the page in the converter library ("windows-1252", "UTF-8" ...), empty if unknown.
std::string CodePageConverterName(Word ACodePage);
// The preferred name of the page in an XML encoding declaration ("UTF-8", "ISO-8859-1",
// "windows-1252" ...), empty if unknown.
UnicodeString CodePageIANAName(Word ACodePage);
// The Windows number of an encoding name (IANA names, aliases, "windows-NNNN", "cpNNNN",
// "ibm-NNN"; case does not matter), 0 if the name is unknown.
Word CodePageFromName(UnicodeStringView AName);

// Bytes in a page to UTF-16. Bytes that the page does not map become U+FFFD.
// Raises EEncodingError "The specified encoding is not supported!" for an unknown page.
UnicodeString CodePageToUnicode(const char *ABytes, std::size_t ASize, Word ACodePage);
// UTF-16 to the bytes of a page. Characters that the page cannot hold become "?".
RawByteString UnicodeToCodePage(UnicodeStringView AText, Word ACodePage);

// For single-byte pages: the UTF-16 character of each byte (U+FFFD where the page has none).
// For other pages the table maps each byte to itself.
const std::array<char16_t, 256> &CodePageByteTable(Word ACodePage);

}  // namespace vn
