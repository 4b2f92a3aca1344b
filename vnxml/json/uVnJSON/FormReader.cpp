// TVnFormURLEncodedJSONReader: an application/x-www-form-urlencoded body read as the events of
// the JSON object it stands for.
//
// A pair is a key, "=", and a value up to the next "&". A key is a name and any number of
// suffixes "[part]" ("%5B" and "%5D" stand for the brackets too). Each part is a level: a name
// or a part that is neither empty nor starts with a digit is a member of an object, an empty or
// numeric part an element of an array. Between two pairs the reader keeps the containers that
// the first pair opened, one level each, and a level's open item (a member, an array element
// that holds a container) is continued by the next pair when the parts agree up to there. So
// the events close exactly what the next pair leaves, and balance at the end.
#include <cassert>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "vnxml/json/uVnJSON/Internal.h"

namespace vn {

namespace {

// Tables of ASCII sets for TVnTextParser::SkipAscii: 1 for the members.
struct TAsciiSet {
  Byte Bits[256] = {};
  constexpr explicit TAsciiSet(const char *AMembers) {
    for (const char *p = AMembers; *p; ++p) Bits[static_cast<Byte>(*p)] = 1;
  }
};

// Where a run of a key part ends, and where a run of a value ends.
constexpr TAsciiSet cKeyStop("=%[]");
constexpr TAsciiSet cValueStop("&%+\r\n");

inline int HexDigit(char16_t c) noexcept {
  if (c >= u'0' && c <= u'9') return c - u'0';
  if (c >= u'A' && c <= u'F') return c - u'A' + 10;
  if (c >= u'a' && c <= u'f') return c - u'a' + 10;
  return -1;
}

inline bool IsIndex(const UnicodeString &APart) noexcept {
  return APart.empty() || (APart[0] >= u'0' && APart[0] <= u'9');
}

// Appends the character of a UTF-8 sequence of ALength bytes (2 to 8, as its first byte
// announces) to ADest. A sequence that isn't well-formed goes through the library's UTF-8
// conversion, which makes U+FFFD of each bad part.
void AppendUTF8(UnicodeString &ADest, const Byte *AB, std::size_t ALength) {
  const Byte b0 = AB[0];
  auto in = [AB](std::size_t i, Byte lo, Byte hi) { return AB[i] >= lo && AB[i] <= hi; };
  char32_t c = 0;
  bool ok = false;
  if (ALength == 2) {
    ok = b0 >= 0xC2 && in(1, 0x80, 0xBF);
    c = (char32_t(b0 & 0x1F) << 6) | (AB[1] & 0x3F);
  } else if (ALength == 3) {
    ok = in(1, b0 == 0xE0 ? 0xA0 : 0x80, b0 == 0xED ? 0x9F : 0xBF) && in(2, 0x80, 0xBF);
    c = (char32_t(b0 & 0x0F) << 12) | (char32_t(AB[1] & 0x3F) << 6) | (AB[2] & 0x3F);
  } else if (ALength == 4) {
    ok = b0 <= 0xF4 && in(1, b0 == 0xF0 ? 0x90 : 0x80, b0 == 0xF4 ? 0x8F : 0xBF) &&
         in(2, 0x80, 0xBF) && in(3, 0x80, 0xBF);
    c = (char32_t(b0 & 0x07) << 18) | (char32_t(AB[1] & 0x3F) << 12) |
        (char32_t(AB[2] & 0x3F) << 6) | (AB[3] & 0x3F);
  }
  if (!ok) {
    ADest += UTF8ToString(std::string_view(reinterpret_cast<const char *>(AB), ALength));
  } else if (c >= 0x10000) {
    c -= 0x10000;
    ADest += static_cast<char16_t>(0xD800 + (c >> 10));
    ADest += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
  } else {
    ADest += static_cast<char16_t>(c);
  }
}

// How a key part ended.
enum TPartEnd : Byte {
  peEqual,     // at "=", which is still the current character
  peEnd,       // at the end of the text
  peOpen,      // "[" or "%5B", stepped over
  peClose,     // "]", stepped over
  peCloseEsc,  // "%5D", stepped over
};

// One parse. The state of the open containers lives in FLevels: level 0 is the object at the
// top, level d + 1 the value of level d's open item. An object level's Item is the name of its
// open member (or of the last one, which the pair closed), an array level's the part of its last
// element; a level's item is open exactly when a deeper level exists.
class TFormScanner {
 public:
  TFormScanner(TVnJSONTextParser *AParser, IVnJSONContentHandler *AHandler, TVnJSONHandler *ATree)
      : P(AParser), H(AHandler), FTree(ATree) {}

  void Run() {
    H->StartDocument();
    H->StartObject();
    FLevels.resize(1);
    FLevels[0].Array = false;
    FDepth = 1;
    while (!P->Eof()) {
      const std::size_t n = ReadKey();
      // A last key of its own that starts with "_" is dropped.
      if (!n) break;
      Apply(n);
      P->Step();  // "="
      ReadValue();
      if (!FLevels[n - 1].Array) H->EndMember();
      if (P->Eof()) break;
      P->Step();  // "&"
      // A pair that begins with "_" (a cache breaker as scripts append one) ends the body.
      if (P->CurrUnit() == u'_') break;
    }
    CloseTo(1);
    H->EndObject();
    H->EndDocument();
  }

 private:
  // -------------------------------------------------------------------------------------------
  // Text: the runs of the source between escapes, and the decoded characters. ASCII text stays
  // a byte a character (FNarrow); anything else turns the whole text into UTF-16 (FWide).

  void Begin() {
    FNarrow.clear();
    FWide.clear();
    FIsWide = false;
  }

  void Widen() {
    FWide.resize(FNarrow.size());
    for (std::size_t i = 0; i < FNarrow.size(); ++i)
      FWide[i] = static_cast<unsigned char>(FNarrow[i]);
    FIsWide = true;
  }

  // The source from mark 1 to the current character.
  void AddRun() {
    if (!FIsWide) {
      const char *data;
      std::size_t n;
      if (P->TakeAscii(data, n)) {
        FNarrow.append(data, n);
        return;
      }
      Widen();
    }
    P->SelectedTo(tpMark1, tpCurrent, true, FScratch);
    FWide += FScratch;
  }

  void AddAscii(char16_t AChar) {
    if (FIsWide)
      FWide += AChar;
    else
      FNarrow += static_cast<char>(AChar);
  }

  // The current and the next character as one hexadecimal byte, or -1.
  int HexPair() {
    const int hi = HexDigit(P->CurrUnit());
    if (hi < 0) return -1;
    const int lo = HexDigit(P->PeekUnit());
    return lo < 0 ? -1 : hi * 16 + lo;
  }

  // The escape behind a "%" that has been stepped over: one byte, or a UTF-8 sequence whose
  // further bytes each come as "%" and two hexadecimal digits. A "%" without two hexadecimal
  // digits behind it stands for itself.
  void Decode() {
    int b = HexPair();
    if (b < 0) {
      AddAscii(u'%');
      return;
    }
    P->Step();
    P->Step();
    if (b < 0x80) {
      AddAscii(static_cast<char16_t>(b));
      return;
    }
    // Each high bit of the first byte behind its top one announces one more byte.
    Byte bytes[8];
    std::size_t n = 0;
    bytes[n++] = static_cast<Byte>(b);
    for (Byte lead = static_cast<Byte>(b << 1); lead & 0x80; lead = static_cast<Byte>(lead << 1)) {
      if (P->CurrUnit() != u'%') throw Exception(_cVnFormInvalidUTF8);
      P->Step();
      b = HexPair();
      if (b < 0) throw Exception(_cVnFormInvalidUTF8);
      P->Step();
      P->Step();
      bytes[n++] = static_cast<Byte>(b);
    }
    if (!FIsWide) Widen();
    AppendUTF8(FWide, bytes, n);
  }

  // The decoded text into ADest, whose storage is reused.
  void TakeText(UnicodeString &ADest) {
    if (FIsWide) {
      ADest.swap(FWide);
      return;
    }
    ADest.resize(FNarrow.size());
    for (std::size_t i = 0; i < FNarrow.size(); ++i)
      ADest[i] = static_cast<unsigned char>(FNarrow[i]);
  }

  // -------------------------------------------------------------------------------------------
  // Keys

  UnicodeString &Part(std::size_t AIndex) {
    if (AIndex >= FParts.size()) FParts.resize(AIndex + 1);
    return FParts[AIndex];
  }

  // A key part from the current character up to "=", a bracket (plain or escaped) or the end;
  // "+" and "&" belong to the part.
  TPartEnd ReadPart(UnicodeString &APart) {
    Begin();
    TPartEnd end;
    for (;;) {
      P->SetMark(tpMark1);
      P->SkipAscii(cKeyStop.Bits, false);
      AddRun();
      if (P->Eof()) {
        end = peEnd;
        break;
      }
      const char16_t c = P->CurrUnit();
      if (c == u'=') {
        end = peEqual;
        break;
      }
      P->Step();
      if (c == u'[') {
        end = peOpen;
        break;
      }
      if (c == u']') {
        end = peClose;
        break;
      }
      // "%": an escaped bracket ends the part like a plain one; any other escape is text.
      if (EscapedBracket(end)) break;
      Decode();
    }
    TakeText(APart);
    return end;
  }

  // Behind a "%": "5B" or "5D" (either case) is stepped over and gives peOpen or peCloseEsc.
  bool EscapedBracket(TPartEnd &AEnd) {
    if (P->CurrUnit() != u'5') return false;
    const char16_t c = P->PeekUnit();
    if (c == u'B' || c == u'b')
      AEnd = peOpen;
    else if (c == u'D' || c == u'd')
      AEnd = peCloseEsc;
    else
      return false;
    P->Step();
    P->Step();
    return true;
  }

  [[noreturn]] static void RaiseBracket(const UnicodeString &AFound) {
    throw Exception(_cVnFormBracketExpected, {AFound});
  }

  // Behind a suffix's closing bracket: "=", the end, or the opening of the next suffix.
  TPartEnd AfterSuffix() {
    if (P->Eof()) return peEnd;
    const char16_t c = P->CurrUnit();
    if (c == u'=') return peEqual;
    if (c == u'[' || c == u'%') {
      P->Step();
      TPartEnd end;
      if (c == u'[' || (EscapedBracket(end) && end == peOpen)) return peOpen;
      RaiseBracket(UnicodeString(u"%"));
    }
    RaiseBracket(P->CurrentText());
  }

  // Reads the key up to its "=" into FParts; the count of its parts, or 0 for a key that starts
  // with "_" and runs to the end of the text.
  std::size_t ReadKey() {
    std::size_t n = 0;
    TPartEnd end = ReadPart(Part(n++));
    if (end == peEnd && !FParts[0].empty() && FParts[0][0] == u'_') return 0;
    while (end != peEqual) {
      switch (end) {
        case peOpen:
          break;
        case peClose:
          RaiseBracket(UnicodeString(u"]"));
        case peCloseEsc:
          RaiseBracket(UnicodeString(u"%"));
        default:
          RaiseBracket(UnicodeString());
      }
      end = ReadPart(Part(n++));
      // A suffix that misses its "]" ends where its part does.
      if (end == peClose || end == peCloseEsc) end = AfterSuffix();
    }
    return n;
  }

  // -------------------------------------------------------------------------------------------
  // Events

  struct TLevel {
    UnicodeString Item;
    bool Array = false;
  };

  // Closes the levels from the deepest down to ADepth (exclusive): each container ends, and so
  // does the member that held it.
  void CloseTo(std::size_t ADepth) {
    while (FDepth > ADepth) {
      if (FLevels[--FDepth].Array)
        H->EndArray();
      else
        H->EndObject();
      if (!FLevels[FDepth - 1].Array) H->EndMember();
    }
  }

  // Starts the item of the key's first ACount parts: the levels whose items the key continues
  // stay, the rest close, and new containers open for the key's deeper parts. The item of the
  // last part takes the value. A level's kind stays what it was opened as: in an object every
  // part is a name, in an array every part an index.
  void Apply(std::size_t ACount) {
    std::size_t k = 0;
    while (k + 1 < ACount && k + 1 < FDepth && FLevels[k].Item == FParts[k]) ++k;
    CloseTo(k + 1);
    for (std::size_t j = k;; ++j) {
      TLevel &level = FLevels[j];
      if (!level.Array) H->StartMember(FParts[j]);
      level.Item.swap(FParts[j]);
      if (j + 1 == ACount) break;
      const bool array = IsIndex(FParts[j + 1]);
      if (array)
        H->StartArray();
      else
        H->StartObject();
      if (FLevels.size() <= j + 1) FLevels.resize(j + 2);
      FLevels[j + 1].Array = array;
      ++FDepth;
    }
  }

  // -------------------------------------------------------------------------------------------
  // Values

  // The value behind "=" up to the next "&" or the end: escapes decoded, "+" a space, line
  // breaks dropped.
  void ReadValue() {
    P->SetMark(tpMark1);
    P->SkipAscii(cValueStop.Bits, false);
    if (P->Eof() || P->CurrUnit() == u'&') {
      // Text without escapes, the common case: ASCII goes to the tree straight from the source.
      const char *data;
      std::size_t n;
      if (FTree && P->TakeAscii(data, n)) {
        if (FastValue(data, n)) return;
        Begin();
        FNarrow.assign(data, n);
      } else {
        Begin();
        AddRun();
      }
      EmitValue();
      return;
    }
    Begin();
    AddRun();
    while (!P->Eof()) {
      const char16_t c = P->CurrUnit();
      if (c == u'&') break;
      P->Step();
      if (c == u'%')
        Decode();
      else if (c == u'+')
        AddAscii(u' ');
      P->SetMark(tpMark1);
      P->SkipAscii(cValueStop.Bits, false);
      AddRun();
    }
    EmitValue();
  }

  // Hands ASCII text to the tree builder when it stores what the general way would store: a
  // value escaped by VnStrToJSON and decoded again is the same text but for the codes 1 to 7,
  // which the escape drops; a value handed over unescaped must hold no backslash.
  bool FastValue(const char *AData, std::size_t ALength) {
    if (ALength && (AData[0] == '[' || AData[0] == '{')) {
      if (std::memchr(AData, '\\', ALength)) return false;
    } else {
      for (std::size_t i = 0; i < ALength; ++i)
        if (AData[i] >= 1 && AData[i] <= 7) return false;
    }
    FTree->ValueAscii(jdtString, AData, ALength);
    return true;
  }

  void EmitValue() {
    if (!FIsWide) {
      if (FTree && FastValue(FNarrow.data(), FNarrow.size())) return;
      Widen();
    }
    // Every value is a string. One that starts with "[" or "{" goes as it is, as JSON text
    // would; any other is escaped, so that the handler's decoding gives back the text.
    if (!FWide.empty() && (FWide[0] == u'[' || FWide[0] == u'{'))
      H->Value(jdtString, FWide);
    else
      H->Value(jdtString, VnStrToJSON(FWide));
  }

  TVnJSONTextParser *P;
  IVnJSONContentHandler *H;
  TVnJSONHandler *FTree;
  std::vector<TLevel> FLevels;
  std::size_t FDepth = 0;
  // The parts of the key being read; their storage is kept from pair to pair.
  std::vector<UnicodeString> FParts;
  std::string FNarrow;
  UnicodeString FWide;
  UnicodeString FScratch;
  bool FIsWide = false;
};

}  // namespace

void TVnFormURLEncodedJSONReader::InternalParse() {
  assert(FParser && "Assertion failure");
  // Only the content handler is required: this reader raises its errors and never reports one.
  if (!FContentHandler) throw EVnJSONException(_cVnJSONNoContentHandler, 3);
  IVnJSONContentHandler *H = FContentHandler;
  // The library's tree builder takes ASCII values straight from the source.
  TVnJSONHandler *tree = nullptr;
  DelphiInterface<IVnObject> handler;
  if (Supports(H, handler)) {
    TObject *o = handler->Implementor();
    if (o && o->ClassType() == TVnJSONHandler::StaticClass())
      tree = static_cast<TVnJSONHandler *>(o);
  }
  TFormScanner(FParser, H, tree).Run();
}

}  // namespace vn
