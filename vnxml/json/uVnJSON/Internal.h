// What the parts of uVnJSON share and nobody else needs.
#pragma once

#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "vnxml/json/uVnJSON.h"

namespace vn {

namespace json {

// A reader for a parse: the JSON reader, or the form reader for a form-URL-encoded body.
TVnJSONReader *CreateReader(bool AFormURLEncoded);

// The index of the first backslash or "%" in AText from AFrom on, or its size.
std::size_t FindBackslashOrPercent(UnicodeStringView AText, std::size_t AFrom) noexcept;

// Decodes a string's UTF-8 source as it stands between its quotation marks (escapes as the
// reader's scan admits them) into AOut, which has room for ALength units, in one pass: what
// VnJSONtoStr gives for the UTF-16 form of those bytes. False, with AOut's content undefined, at
// anything the pass leaves to the general way: an ill-formed UTF-8 sequence (which the
// conversion replaces), a "\u" without four hexadecimal digits, a backslash at the end.
bool DecodeStringUTF8(const char *AData, std::size_t ALength, char16_t *AOut,
                      std::size_t &ALen) noexcept;

// Appends AText escaped as VnStrToJSON escapes it; the narrow form takes characters below 256,
// one a byte.
void AppendEscaped(UnicodeString &ADest, UnicodeStringView AText);
void AppendEscaped(UnicodeString &ADest, std::string_view ANarrow);

// The escaping rules, one character at a time. A character below 256 takes cEscapedWidth units
// once escaped: 0 for 1 to 7, which vanish; 2 for a backslash and cEscapeLetter's letter; 1 for
// the others, which stay as they are. Characters from 256 on take the six of "\uXXXX".
inline constexpr std::array<Byte, 256> cEscapedWidth = [] {
  std::array<Byte, 256> w{};
  for (std::size_t c = 0; c < 256; ++c) w[c] = 1;
  for (std::size_t c = 1; c <= 7; ++c) w[c] = 0;
  for (char16_t c : {u'\b', u'\t', u'\n', u'\f', u'\r', u'"', u'/', u'\\'}) w[c] = 2;
  return w;
}();
inline constexpr std::array<char, 128> cEscapeLetter = [] {
  std::array<char, 128> l{};
  l['\b'] = 'b';
  l['\t'] = 't';
  l['\n'] = 'n';
  l['\f'] = 'f';
  l['\r'] = 'r';
  for (char c : {'"', '/', '\\'}) l[static_cast<std::size_t>(c)] = c;
  return l;
}();

inline std::size_t EscapedWidth(char16_t AChar) noexcept {
  return AChar >= 256 ? 6 : cEscapedWidth[AChar];
}

// Writes the escaped form of AChar at ADest, in units of type T (char16_t, or char for a
// character that stands as it is only below 128), and answers the end of what it wrote.
template <class T>
T *PutEscaped(T *ADest, char16_t AChar) noexcept {
  static constexpr char cHex[] = "0123456789ABCDEF";
  switch (EscapedWidth(AChar)) {
    case 0:
      return ADest;
    case 1:
      *ADest = static_cast<T>(AChar);
      return ADest + 1;
    case 2:
      ADest[0] = T('\\');
      ADest[1] = T(cEscapeLetter[AChar]);
      return ADest + 2;
    default:
      ADest[0] = T('\\');
      ADest[1] = T('u');
      ADest[2] = T(cHex[(AChar >> 12) & 15]);
      ADest[3] = T(cHex[(AChar >> 8) & 15]);
      ADest[4] = T(cHex[(AChar >> 4) & 15]);
      ADest[5] = T(cHex[AChar & 15]);
      return ADest + 6;
  }
}

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
// Gives back the room of text on the heap (TextFree does it when there is such room).
void TextRelease(Byte AInfo, UInt64 AWord) noexcept;
inline void TextFree(Byte &AInfo, UInt64 &AWord) noexcept {
  if (!(AInfo & cTextInline) && AWord) TextRelease(AInfo, AWord);
  AInfo = 0;
  AWord = 0;
}
// TextSet for ASCII text given as bytes.
void TextSetAscii(Byte &AInfo, UInt64 &AWord, const char *AData, std::size_t ALength);
UnicodeString TextString(Byte AInfo, const UInt64 &AWord);
void TextAppend(UnicodeString &ADest, Byte AInfo, const UInt64 &AWord);
void TextAppendEscaped(UnicodeString &ADest, Byte AInfo, const UInt64 &AWord);
bool TextEquals(Byte AInfo, const UInt64 &AWord, UnicodeStringView AText, bool ACaseInsensitive);

// Latent values. A value read from text that nobody has asked for as a node yet stands in the
// child slot of its array or member as a tagged word instead of a node: bit 0 set (a node's
// address never has it). With bit 1 set the word holds the value whole: bits 2-3 the data type
// (jdtNull to jdtBoolean), bits 4-6 the length, bytes 1 to 7 the characters (up to 7, each below
// 256). Without it the word less its three low bits is the address of a heap text of narrow
// characters (as TextSet makes them), and bit 2 tells a number (set) from a string. With bits 1
// and 7 set the word is a string with characters from 256 on: the address of its heap text of
// UTF-16 units stands in the word shifted up by eight bits; with bits 0, 1, 2 and 7 set, a
// number of 8 to 30 characters, digits and signs only, kept two characters a byte, whose address
// stands in the word the same way, its length in the top byte. A load keeps
// most of a document's values this way, without a node each; TVnJSONBase::Objects makes the
// node when the value is first asked for, and the walks that only read or free (output, the
// free walk, a path's descent) take the word as it is.
constexpr std::uintptr_t cLatent = 1;
constexpr std::uintptr_t cLatentWhole = 2;
constexpr std::uintptr_t cLatentNumber = 4;
constexpr std::uintptr_t cLatentWide = 0x80;
inline bool IsLatent(const TVnJSONBase *ASlot) noexcept {
  return (reinterpret_cast<std::uintptr_t>(ASlot) & cLatent) != 0;
}
// The latent value of a text, or null when the text cannot be one (a keyword longer than 7
// characters, anything but a string with characters from 256 on); the narrow form takes
// characters below 256, one a byte.
// AScanned: the text is a number as the reader's scanner takes it, whose characters need no
// look before they are packed.
TVnJSONBase *LatentMake(TVnJSONDataType ADataType, std::string_view ANarrow, bool AScanned = false);
TVnJSONBase *LatentMake(TVnJSONDataType ADataType, UnicodeStringView AText);
// A latent value's data type and its text in TextSet's form (still the latent value's own, or
// written out into Room, for a packed number).
struct TLatentText {
  TVnJSONDataType Type;
  Byte Info;
  UInt64 Word;
  UInt64 Room[5];
};
void LatentRead(const TVnJSONBase *ASlot, TLatentText &AText) noexcept;
// Gives the latent value's text to a node in TextSet's form: its room moves to the node, or is
// given back when the node holds the text in its word or in room of its own (a packed number's
// characters are written out). Raises only when that room cannot be had, with the latent value
// unchanged.
void LatentTake(TVnJSONBase *ASlot, TLatentText &AText);
// Gives back the room of a latent value.
void LatentFree(TVnJSONBase *ASlot) noexcept;

// Member records. A member that a load reads with a simple value stands in its object's child
// slot as a record of two words instead of a node: the name's word (TextSet's form) and the
// latent value. The slot holds the record's address with bit 0 set and the name's information
// byte in bits 56-63 (addresses stay below 2^56, and the record is aligned to eight bytes); an
// object whose FMemberRecords is set reads its compact children this way. TVnJSONBase::Objects
// makes the member node when the member is first asked for; the walks that only read or free
// take the record as it is.
struct TMemberRecord {
  UInt64 Name;
  TVnJSONBase *Value;  // always latent
};
constexpr unsigned cRecordInfoShift = 56;
inline TMemberRecord *RecordOf(const TVnJSONBase *ASlot, Byte &AInfo) noexcept {
  const auto w = reinterpret_cast<std::uintptr_t>(ASlot);
  AInfo = static_cast<Byte>(w >> cRecordInfoShift);
  return reinterpret_cast<TMemberRecord *>(w & ((std::uintptr_t(1) << cRecordInfoShift) - 8));
}
// The record of a name and a latent value, cut from the load's pages; it takes both over. Raises
// only when that room cannot be had, with nothing taken over.
TVnJSONBase *RecordMake(Byte AInfo, UInt64 AName, TVnJSONBase *AValue);
// Gives back the record's room, and with AWhole its name's and its value's too.
void RecordFree(TVnJSONBase *ASlot, bool AWhole) noexcept;

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

// The child slots as they stand, compact values and member records included, for the walks of
// the unit that read or free a tree without making nodes of them.
struct TVnJSONSlots {
  static TVnJSONBase *At(const TVnJSONBase *ANode, Integer AIndex) noexcept {
    return ANode->FItems[AIndex];
  }
  // A member's value as it stands: null when there is none.
  static TVnJSONBase *ValueOf(const TVnJSONBase *AMember) noexcept {
    return AMember->FCount ? AMember->FItems[0] : nullptr;
  }
};

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
    return Matches(AMember->FTextInfo, AMember->FName, ACaseInsensitive);
  }
  // The name of a member record (json::RecordOf).
  bool MatchesRecord(const TVnJSONBase *ASlot, bool ACaseInsensitive) const noexcept {
    Byte info;
    const json::TMemberRecord *r = json::RecordOf(ASlot, info);
    return Matches(info, r->Name, ACaseInsensitive);
  }
  bool Matches(Byte AInfo, const UInt64 &AWord, bool ACaseInsensitive) const noexcept {
    if (!ACaseInsensitive) {
      if (AInfo != Info) return false;
      if (Info & json::cTextInline) return AWord == Word;
    }
    return json::TextEquals(AInfo, AWord, Name, ACaseInsensitive);
  }

  UnicodeString Name;
  Byte Info = 0;
  UInt64 Word = 0;
};

}  // namespace vn
