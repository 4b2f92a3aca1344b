// What the parts of uVnJSON share and nobody else needs.
#pragma once

#include <cstdlib>
#include <cstring>
#include <new>

#include "vnxml/json/uVnJSON.h"

namespace vn {

namespace json {

// A reader for a parse: the JSON reader, or the form reader for a form-URL-encoded body.
TVnJSONReader *CreateReader(bool AFormURLEncoded);

// Appends AText escaped as VnStrToJSON escapes it; the narrow form takes characters below 256,
// one a byte.
void AppendEscaped(UnicodeString &ADest, UnicodeStringView AText);
void AppendEscaped(UnicodeString &ADest, std::string_view ANarrow);

// The texts of the nodes, one word and one byte of information each. Text whose characters are
// all below 256 is kept a byte a character; up to 8 such characters (or 4 others) stand in the
// word itself, longer text on the heap (cut from the load's node pages while a load runs), the
// word pointing at it. A word of 0 with information 0 is the empty text.
// The bits of the information byte: the text stands in the word, a byte a character, and the
// length (of text on the heap: up to 15, longer text says 15). Text is always stored the same
// way for the same characters.
constexpr Byte cTextInline = 0x80;
constexpr Byte cTextNarrow = 0x40;
constexpr Byte cTextLength = 0x0F;
void TextSet(Byte &AInfo, UInt64 &AWord, UnicodeStringView AText);
void TextFree(Byte &AInfo, UInt64 &AWord) noexcept;
// TextSet for ASCII text given as bytes.
void TextSetAscii(Byte &AInfo, UInt64 &AWord, const char *AData, std::size_t ALength);
UnicodeString TextString(Byte AInfo, const UInt64 &AWord);
void TextAppend(UnicodeString &ADest, Byte AInfo, const UInt64 &AWord);
void TextAppendEscaped(UnicodeString &ADest, Byte AInfo, const UInt64 &AWord);
bool TextEquals(Byte AInfo, const UInt64 &AWord, UnicodeStringView AText, bool ACaseInsensitive);

// The walk that writes a node and what lies below it; into a stream as UTF-16, or as text.
void SaveTree(TVnJSONBase *ANode, TStream *AStream, bool AFormatted, Integer ALevel, bool AIndent,
              Word ACodePage = CP_UTF16);
UnicodeString SaveTreeText(TVnJSONBase *ANode, bool AFormatted);

// Encodes UTF-16 as UTF-8 into ADest (room for three bytes a unit); a unit that is half of a
// pair without its partner becomes U+FFFD. Returns the bytes written.
std::size_t ToUTF8(UnicodeStringView AText, char *ADest) noexcept;

// Writes UTF-16 text into a stream.
inline void Write(TStream *AStream, UnicodeStringView AText) {
  if (!AText.empty())
    AStream->WriteBuffer(AText.data(), static_cast<Int64>(AText.size() * sizeof(char16_t)));
}

}  // namespace json

// A name held the way member names are held, for many comparisons with them: since the same
// characters are always stored the same way, two texts differ when their information bytes do,
// and a name of up to eight narrow characters (four wide ones) is equal exactly when the words
// are.
struct TVnJSONNameMatch {
  explicit TVnJSONNameMatch(UnicodeStringView AName) : Name(AName) {
    json::TextSet(Info, Word, AName);
  }
  ~TVnJSONNameMatch() { json::TextFree(Info, Word); }
  TVnJSONNameMatch(const TVnJSONNameMatch &) = delete;
  TVnJSONNameMatch &operator=(const TVnJSONNameMatch &) = delete;

  bool Matches(const TVnJSONMember *AMember, bool ACaseInsensitive) const noexcept {
    if (!ACaseInsensitive) {
      if (AMember->FTextInfo != Info) return false;
      if (Info & json::cTextInline) return AMember->FName == Word;
    }
    return json::TextEquals(AMember->FTextInfo, AMember->FName, Name, ACaseInsensitive);
  }

  UnicodeString Name;
  Byte Info = 0;
  UInt64 Word = 0;
};

}  // namespace vn
