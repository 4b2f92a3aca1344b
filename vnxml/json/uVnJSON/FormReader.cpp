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
#include <algorithm>
#include <cassert>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "vnxml/json/uVnJSON/Internal.h"

namespace vn {

namespace {

// Tables of ASCII characters: 1 for the members.
struct TAsciiSet {
  Byte Bits[256] = {};
  // The members, the first repeated to make four.
  char Chars[4] = {};
  constexpr explicit TAsciiSet(const char *AMembers) {
    for (int i = 0; i < 4; ++i) Chars[i] = AMembers[0];
    for (int i = 0; AMembers[i]; ++i) {
      Bits[static_cast<Byte>(AMembers[i])] = 1;
      Chars[i] = AMembers[i];
    }
  }
  template <class C>
  constexpr bool Has(C AChar) const noexcept {
    const auto c = static_cast<std::make_unsigned_t<C>>(AChar);
    return c < 256 && Bits[c];
  }
};

// The first character from p on that is in ASet, or e.
template <class C>
inline const C *SkipPlain(const C *p, const C *e, const TAsciiSet &ASet) noexcept {
  while (p < e && !ASet.Has(*p)) ++p;
  return p;
}

// Sixteen bytes from p into a register: read in place when they lie before ALimit, the end of
// what may be read, else from a copy of what is left before e, padded with zeros.
#if defined(__SSE2__)
inline __m128i LoadBlock(const char *p, const char *e, const char *ALimit) noexcept {
  if (ALimit - p >= 16) return _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
  char block[16] = {};
  std::memcpy(block, p, static_cast<std::size_t>(e - p < 16 ? e - p : 16));
  return _mm_loadu_si128(reinterpret_cast<const __m128i *>(block));
}
#endif

// The same for bytes and a set of up to four characters, given again as ASet: sixteen bytes at
// a time where the processor has SSE2. The bytes up to ALimit (not before e) may be read.
inline const char *SkipPlain(const char *p, const char *e, const TAsciiSet &ASet,
                             const char *ALimit) noexcept {
#if defined(__SSE2__)
  const __m128i v0 = _mm_set1_epi8(ASet.Chars[0]), v1 = _mm_set1_epi8(ASet.Chars[1]);
  const __m128i v2 = _mm_set1_epi8(ASet.Chars[2]), v3 = _mm_set1_epi8(ASet.Chars[3]);
  for (; p < e; p += 16) {
    const __m128i v = LoadBlock(p, e, ALimit);
    const __m128i m = _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(v, v0), _mm_cmpeq_epi8(v, v1)),
                                   _mm_or_si128(_mm_cmpeq_epi8(v, v2), _mm_cmpeq_epi8(v, v3)));
    if (const int bits = _mm_movemask_epi8(m)) {
      const char *q = p + __builtin_ctz(static_cast<unsigned>(bits));
      return q < e ? q : e;
    }
  }
  return e;
#else
  (void)ALimit;
  while (p < e && !ASet.Has(*p)) ++p;
  return p;
#endif
}
inline const char16_t *SkipPlain(const char16_t *p, const char16_t *e, const TAsciiSet &ASet,
                                 const char16_t *) noexcept {
  return SkipPlain(p, e, ASet);
}

// Where a run of a key part ends, and where a run of a value ends.
constexpr TAsciiSet cKeyStop("%[]");
constexpr TAsciiSet cValueStop("%+\r\n");

// The value of each hexadecimal digit, -1 for other bytes.
constexpr struct THexTable {
  signed char Digit[256];
  constexpr THexTable() : Digit() {
    for (int c = 0; c < 256; ++c)
      Digit[c] = static_cast<signed char>(c >= '0' && c <= '9'   ? c - '0'
                                          : c >= 'A' && c <= 'F' ? c - 'A' + 10
                                          : c >= 'a' && c <= 'f' ? c - 'a' + 10
                                                                 : -1);
  }
} cHex;

template <class C>
inline int HexDigit(C AChar) noexcept {
  const auto c = static_cast<std::make_unsigned_t<C>>(AChar);
  return c < 256 ? cHex.Digit[c] : -1;
}

// The two characters at p as one hexadecimal byte, or -1.
template <class C>
inline int HexPair(const C *p, const C *e) noexcept {
  if (e - p < 2) return -1;
  const int hi = HexDigit(p[0]);
  const int lo = HexDigit(p[1]);
  return hi < 0 || lo < 0 ? -1 : hi * 16 + lo;
}

// A decoded key part: ASCII text a byte a character (Data, Size), any other text as UTF-16
// (Wide). A text is always held the one way that fits it, so that two parts compare by their
// fields. ASCII text lies in Own, or, borrowed, in a source that outlives the parse.
struct TPart {
  const char *Data = "";
  std::size_t Size = 0;
  std::string Own;
  UnicodeString Wide;
  bool IsWide = false;
  bool Owned = false;

  TPart() = default;
  // Own's text may move with Own (a short text lies inside the string).
  TPart(TPart &&AOther) noexcept
      : Data(AOther.Data),
        Size(AOther.Size),
        Own(std::move(AOther.Own)),
        Wide(std::move(AOther.Wide)),
        IsWide(AOther.IsWide),
        Owned(AOther.Owned) {
    if (Owned) Sync();
  }
  TPart &operator=(TPart &&AOther) noexcept {
    Swap(AOther);
    return *this;
  }
  TPart(const TPart &) = delete;
  TPart &operator=(const TPart &) = delete;

  void Clear() noexcept {
    Data = "";
    Size = 0;
    if (Owned) Own.clear();
    if (IsWide) Wide.clear();
    IsWide = false;
    Owned = false;
  }
  void Borrow(const char *AData, std::size_t ASize) noexcept {
    Data = AData;
    Size = ASize;
    Owned = false;
  }
  // The ASCII text so far into Own, for more to be added.
  void Hold() {
    if (Owned) return;
    Own.assign(Data, Size);
    Owned = true;
    Sync();
  }
  void Sync() noexcept {
    Data = Own.data();
    Size = Own.size();
  }
  void Append(const char *p, const char *e) {
    Hold();
    Own.append(p, e);
    Sync();
  }
  void MakeWide() {
    if (IsWide) return;
    Wide.clear();
    for (std::size_t i = 0; i < Size; ++i) Wide += static_cast<char16_t>(Data[i]);
    IsWide = true;
  }
  // Back to the narrow form when the text turned out to be ASCII.
  void Settle() {
    if (!IsWide || std::any_of(Wide.begin(), Wide.end(), [](char16_t c) { return c >= 128; }))
      return;
    Own.assign(Wide.begin(), Wide.end());
    Owned = true;
    Sync();
    IsWide = false;
  }
  void Add(char16_t AChar) {
    if (IsWide) {
      Wide += AChar;
    } else {
      Hold();
      Own += static_cast<char>(AChar);
      Sync();
    }
  }
  bool operator==(const TPart &AOther) const noexcept {
    if (IsWide != AOther.IsWide) return false;
    if (IsWide) return Wide == AOther.Wide;
    return Size == AOther.Size && std::memcmp(Data, AOther.Data, Size) == 0;
  }
  char16_t First() const noexcept {
    if (IsWide) return Wide.empty() ? 0 : Wide[0];
    return Size ? static_cast<unsigned char>(Data[0]) : 0;
  }
  // An empty part, or one that starts with a digit, is an array index.
  bool IsIndex() const noexcept {
    const char16_t c = First();
    return (IsWide ? Wide.empty() : Size == 0) || (c >= u'0' && c <= u'9');
  }
  // Own and Wide are swapped only when one of the two parts holds its text there.
  void Swap(TPart &AOther) noexcept {
    const bool owned = Owned || AOther.Owned, wide = IsWide || AOther.IsWide;
    std::swap(Data, AOther.Data);
    std::swap(Size, AOther.Size);
    std::swap(IsWide, AOther.IsWide);
    std::swap(Owned, AOther.Owned);
    if (owned) {
      Own.swap(AOther.Own);
      if (Owned) Sync();
      if (AOther.Owned) AOther.Sync();
    }
    if (wide) Wide.swap(AOther.Wide);
  }
};

// The character of a UTF-8 sequence of ALength bytes (1 to 8, as its first byte announces), or
// -1 when the sequence isn't well-formed.
long DecodeUTF8(const Byte *AB, std::size_t ALength) noexcept {
  const Byte b0 = AB[0];
  auto in = [AB](std::size_t i, Byte lo, Byte hi) { return AB[i] >= lo && AB[i] <= hi; };
  switch (ALength) {
    case 2:
      if (b0 >= 0xC2 && in(1, 0x80, 0xBF)) return (long(b0 & 0x1F) << 6) | (AB[1] & 0x3F);
      break;
    case 3:
      if (in(1, b0 == 0xE0 ? 0xA0 : 0x80, b0 == 0xED ? 0x9F : 0xBF) && in(2, 0x80, 0xBF))
        return (long(b0 & 0x0F) << 12) | (long(AB[1] & 0x3F) << 6) | (AB[2] & 0x3F);
      break;
    case 4:
      if (b0 <= 0xF4 && in(1, b0 == 0xF0 ? 0x90 : 0x80, b0 == 0xF4 ? 0x8F : 0xBF) &&
          in(2, 0x80, 0xBF) && in(3, 0x80, 0xBF))
        return (long(b0 & 0x07) << 18) | (long(AB[1] & 0x3F) << 12) | (long(AB[2] & 0x3F) << 6) |
               (AB[3] & 0x3F);
      break;
    default:
      break;
  }
  return -1;
}

void AppendChar(UnicodeString &ADest, long AChar) {
  if (AChar >= 0x10000) {
    AChar -= 0x10000;
    ADest += static_cast<char16_t>(0xD800 + (AChar >> 10));
    ADest += static_cast<char16_t>(0xDC00 + (AChar & 0x3FF));
  } else {
    ADest += static_cast<char16_t>(AChar);
  }
}

// Appends the character of a UTF-8 sequence to ADest. A sequence that isn't well-formed goes
// through the library's UTF-8 conversion, which makes U+FFFD of each bad part.
void AppendUTF8(UnicodeString &ADest, const Byte *AB, std::size_t ALength) {
  const long c = DecodeUTF8(AB, ALength);
  if (c >= 0)
    AppendChar(ADest, c);
  else
    ADest += UTF8ToString(std::string_view(reinterpret_cast<const char *>(AB), ALength));
}

// Appends well-formed UTF-8 text to ADest.
void AppendWellFormedUTF8(UnicodeString &ADest, const char *AText, std::size_t ALength) {
  const Byte *p = reinterpret_cast<const Byte *>(AText);
  const Byte *e = p + ALength;
  while (p < e) {
    const std::size_t n = *p < 0x80 ? 1 : *p >= 0xF0 ? 4 : *p >= 0xE0 ? 3 : 2;
    AppendChar(ADest, n == 1 ? *p : DecodeUTF8(p, n));
    p += n;
  }
}

// The escape behind a "%" at p (p stands behind the "%"): its bytes into ABytes, and their
// count; 0 when no two hexadecimal digits follow, and the "%" stands for itself. A first byte
// of 128 or more announces by each high bit behind its top one a further byte, which must come
// as "%" and two hexadecimal digits.
template <class C>
std::size_t Escape(const C *&p, const C *e, Byte (&ABytes)[8]) {
  int b = HexPair(p, e);
  if (b < 0) return 0;
  p += 2;
  std::size_t n = 0;
  ABytes[n++] = static_cast<Byte>(b);
  if (b < 0x80) return n;
  for (Byte lead = static_cast<Byte>(b << 1); lead & 0x80; lead = static_cast<Byte>(lead << 1)) {
    if (p == e || *p != '%') throw Exception(_cVnFormInvalidUTF8);
    b = HexPair(++p, e);
    if (b < 0) throw Exception(_cVnFormInvalidUTF8);
    p += 2;
    ABytes[n++] = static_cast<Byte>(b);
  }
  return n;
}

// Appends characters of text in either width to UTF-16 text.
inline void AppendWide(UnicodeString &ADest, const char *p, const char *e) {
  const std::size_t at = ADest.size();
  ADest.resize(at + static_cast<std::size_t>(e - p));
  for (char16_t *d = ADest.data() + at; p < e; ++p) *d++ = static_cast<unsigned char>(*p);
}
inline void AppendWide(UnicodeString &ADest, const char16_t *p, const char16_t *e) {
  ADest.append(p, e);
}

// How a key part ended.
enum TPartEnd : Byte {
  peEqual,     // at the "=" behind the key
  peEnd,       // at the end of the text, the key without "="
  peOpen,      // behind "[" or "%5B"
  peClose,     // behind "]"
  peCloseEsc,  // behind "%5D"
};

// One parse. The scanner takes a text in memory whole, and from a stream each key up to its "="
// and each value up to its "&"; such a span comes straight from the source bytes when it is
// ASCII, else as UTF-16, and is decoded in loops of the scanner's own.
//
// The open containers live in FLevels: level 0 is the object at the top, level d + 1 the value
// of level d's open item. An object level's Item is the name of its open member (or of the last
// one, which the pair closed), an array level's the part of its last element; a level's item is
// open exactly when a deeper level exists.
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
    if (!P->Eof()) {
      if (P->Stream()) {
        ReadPairs();
      } else {
        // A text in memory is taken whole, where it lies when it is ASCII.
        P->SetMark(tpMark1);
        P->SkipWhile(soNotEqual, u'\0');
        Take([this](auto p, auto e) {
          ReadBody(p, e);
          return 0;
        });
      }
    }
    CloseTo(1);
    H->EndObject();
    H->EndDocument();
  }

 private:
  // The pairs of a stream, one key and one value at a time, so that only these are held.
  void ReadPairs() {
    while (!P->Eof()) {
      P->SetMark(tpMark1);
      P->SkipTo('=');
      FHasValue = !P->Eof();
      const std::size_t n = Take([this](auto p, auto e) { return ReadKey(p, e); });
      // A last key of its own that starts with "_" is dropped.
      if (!n) return;
      Apply(n);
      P->Step();  // "="
      P->SetMark(tpMark1);
      P->SkipTo('&');
      Take([this](auto p, auto e) {
        ReadValue(p, e);
        return 0;
      });
      if (!FLevels[n - 1].Array) H->EndMember();
      if (P->Eof()) return;
      P->Step();  // "&"
      // A pair that begins with "_" (a cache breaker as scripts append one) ends the body.
      if (P->CurrUnit() == u'_') return;
    }
  }

  // The first AChar from p on, or e.
  template <class C>
  static const C *Find(const C *p, const C *e, char AChar) noexcept {
    if constexpr (sizeof(C) == 1) {
      const void *q = std::memchr(p, AChar, static_cast<std::size_t>(e - p));
      return q ? static_cast<const C *>(q) : e;
    } else {
      return std::find(p, e, static_cast<C>(AChar));
    }
  }

  // The pairs of a whole text from p to e.
  template <class C>
  void ReadBody(const C *p, const C *e) {
    if constexpr (sizeof(C) == 1) FBodyEnd = e;
    while (p < e) {
      const C *equal = Find(p, e, '=');
      FHasValue = equal < e;
      const std::size_t n = ReadKey(p, equal);
      if (!n) return;
      Apply(n);
      p = equal + 1;
      const C *amp = Find(p, e, '&');
      ReadValue(p, amp);
      if (!FLevels[n - 1].Array) H->EndMember();
      if (amp == e) return;
      p = amp + 1;
      if (p < e && *p == '_') return;
    }
  }

  // Calls AWork with the source from mark 1 to the current character: the bytes themselves when
  // they are ASCII, else the text as UTF-16.
  template <class F>
  std::size_t Take(F AWork) {
    const char *data;
    std::size_t n;
    if (P->TakeAscii(data, n)) return AWork(data, data + n);
    P->SelectedTo(tpMark1, tpCurrent, true, FSpan);
    const char16_t *data16 = FSpan.data();
    return AWork(data16, data16 + FSpan.size());
  }

  // The end of what may be read behind a span from p to e: the end of the whole text when it
  // is in memory as bytes, else the span's own.
  template <class C>
  const C *Limit(const C *, const C *e) const noexcept {
    if constexpr (sizeof(C) == 1) return FBodyEnd ? FBodyEnd : e;
    return e;
  }

  // -------------------------------------------------------------------------------------------
  // Keys

  TPart &Part(std::size_t AIndex) {
    if (AIndex >= FParts.size()) FParts.resize(AIndex + 1);
    return FParts[AIndex];
  }

  // A key part from p up to a bracket (plain or escaped) or the end of the key; "+" and "&"
  // belong to the part.
  template <class C>
  TPartEnd ReadPart(const C *&p, const C *e, TPart &APart) {
    APart.Clear();
    if constexpr (sizeof(C) == 2) APart.MakeWide();
    TPartEnd end;
    for (;;) {
      const C *run = p;
      p = SkipPlain(p, e, cKeyStop, Limit(p, e));
      if constexpr (sizeof(C) == 1) {
        if (!APart.IsWide) {
          // A part of one run is borrowed from a whole text in memory.
          if (FBodyEnd && !APart.Owned)
            APart.Borrow(run, static_cast<std::size_t>(p - run));
          else
            APart.Append(run, p);
        } else {
          AppendWide(APart.Wide, run, p);
        }
      } else {
        AppendWide(APart.Wide, run, p);
      }
      if (p == e) {
        end = FHasValue ? peEqual : peEnd;
        break;
      }
      const C c = *p++;
      if (c == '[') {
        end = peOpen;
        break;
      }
      if (c == ']') {
        end = peClose;
        break;
      }
      // "%": an escaped bracket ends the part like a plain one; any other escape is text.
      if (e - p >= 2 && p[0] == '5') {
        if (p[1] == 'B' || p[1] == 'b') {
          p += 2;
          end = peOpen;
          break;
        }
        if (p[1] == 'D' || p[1] == 'd') {
          p += 2;
          end = peCloseEsc;
          break;
        }
      }
      Byte bytes[8];
      const std::size_t n = Escape(p, e, bytes);
      if (n == 1 && bytes[0] < 0x80) {
        APart.Add(bytes[0]);
      } else if (n) {
        APart.MakeWide();
        AppendUTF8(APart.Wide, bytes, n);
      } else {
        APart.Add(u'%');
      }
    }
    APart.Settle();
    return end;
  }

  [[noreturn]] static void RaiseBracket(const UnicodeString &AFound) {
    throw Exception(_cVnFormBracketExpected, {AFound});
  }

  // Behind a suffix's closing bracket: the end of the key, or the opening of the next suffix.
  template <class C>
  TPartEnd AfterSuffix(const C *&p, const C *e) {
    if (p == e) return FHasValue ? peEqual : peEnd;
    if (*p == '[') {
      ++p;
      return peOpen;
    }
    if (*p == '%') {
      if (e - p >= 3 && p[1] == '5' && (p[2] == 'B' || p[2] == 'b')) {
        p += 3;
        return peOpen;
      }
      RaiseBracket(UnicodeString(u"%"));
    }
    // The character found, a whole one: a surrogate pair stays together.
    const char16_t c = static_cast<std::make_unsigned_t<C>>(*p);
    UnicodeString found;
    if (c) found.assign(1, c);
    if (c >= 0xD800 && c <= 0xDBFF && e - p >= 2 && p[1] >= 0xDC00 && p[1] <= 0xDFFF)
      found += static_cast<char16_t>(p[1]);
    RaiseBracket(found);
  }

  // Reads the key from p to e into FParts; the count of its parts, or 0 for a key that runs to
  // the end of the text and starts with "_".
  template <class C>
  std::size_t ReadKey(const C *p, const C *e) {
    std::size_t n = 0;
    TPartEnd end = ReadPart(p, e, Part(n++));
    if (end == peEnd && FParts[0].First() == u'_') return 0;
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
      end = ReadPart(p, e, Part(n++));
      // A suffix that misses its "]" ends where its part does.
      if (end == peClose || end == peCloseEsc) end = AfterSuffix(p, e);
    }
    return n;
  }

  // -------------------------------------------------------------------------------------------
  // Events

  struct TLevel {
    TPart Item;
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

  void StartMember(const TPart &AName) {
    if (AName.IsWide) {
      H->StartMember(AName.Wide);
    } else if (FTree) {
      FTree->StartMemberAscii(AName.Data, AName.Size);
    } else {
      FOut.clear();
      AppendWide(FOut, AName.Data, AName.Data + AName.Size);
      H->StartMember(FOut);
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
      if (!level.Array) StartMember(FParts[j]);
      level.Item.Swap(FParts[j]);
      if (j + 1 == ACount) break;
      const bool array = FParts[j + 1].IsIndex();
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
  // Values: text from a byte source is collected as UTF-8 (FNarrow; FNonAscii tells whether a
  // character beyond ASCII is in it), from a UTF-16 source, or after an escape that isn't
  // well-formed UTF-8, as UTF-16 (FWide).

  // Turns the text so far into UTF-16.
  void Widen() {
    FWide.clear();
    AppendWellFormedUTF8(FWide, FNarrow.data(), FNarrow.size());
    FIsWide = true;
  }

  template <class C>
  void Append(const C *p, const C *e) {
    if constexpr (sizeof(C) == 1) {
      if (!FIsWide) {
        FNarrow.append(p, e);
        return;
      }
    }
    AppendWide(FWide, p, e);
  }

  void AppendAscii(char AChar) {
    if (FIsWide)
      FWide += static_cast<char16_t>(AChar);
    else
      FNarrow += AChar;
  }

  // The escape behind a "%" at p.
  template <class C>
  void AppendEscape(const C *&p, const C *e) {
    Byte bytes[8];
    const std::size_t n = Escape(p, e, bytes);
    if (!n) {
      AppendAscii('%');
    } else if (bytes[0] < 0x80) {
      AppendAscii(static_cast<char>(bytes[0]));
    } else if (!FIsWide && DecodeUTF8(bytes, n) >= 0) {
      FNarrow.append(reinterpret_cast<const char *>(bytes), n);
      FNonAscii = true;
    } else {
      if (!FIsWide) Widen();
      AppendUTF8(FWide, bytes, n);
    }
  }

  // The value from p to e: escapes decoded, "+" a space, line breaks dropped.
  template <class C>
  void ReadValue(const C *p, const C *e) {
    if constexpr (sizeof(C) == 1) {
      if (DecodeBytes(p, e)) return;
    }
    const C *s = SkipPlain(p, e, cValueStop, Limit(p, e));
    // The general way: a UTF-16 source, or an escape that isn't well-formed UTF-8.
    FNarrow.clear();
    FWide.clear();
    FIsWide = sizeof(C) == 2;
    FNonAscii = false;
    Append(p, s);
    while (s < e) {
      const C c = *s++;
      if (c == '%')
        AppendEscape(s, e);
      else if (c == '+')
        AppendAscii(' ');
      const C *run = s;
      s = SkipPlain(s, e, cValueStop, Limit(s, e));
      Append(run, s);
    }
    if (!FIsWide && FNonAscii) Widen();
    EmitValue(FNarrow.data(), FNarrow.size(), true);
  }

  // How a run of decoding ended.
  enum TDecoded { dcDone, dcWide, dcBad };

  // Decodes the ASCII bytes from p to e into d: escapes, "+" as a space, line breaks dropped.
  // Output of one byte a character stops at the first escape of a character beyond ASCII
  // (dcWide), UTF-16 output takes it too; an escape that is no well-formed UTF-8 stops both
  // (dcBad). Either stop leaves p on the "%". d needs room for as many characters as the source
  // has, and sixteen more; ALimit is the end of what may be read. AOdd is set when a backslash
  // or one of the codes 1 to 7 is written.
  template <class O>
  static TDecoded Decode(const char *&p, const char *e, const char *ALimit, O *&d, bool &AOdd) {
    constexpr bool wide = sizeof(O) == 2;
    auto isOdd = [](int c) { return c == '\\' || (c >= 1 && c <= 7); };
    // The common escapes, with few branches, behind the "%" at p when five characters follow
    // it: two hexadecimal digits of an ASCII character, and, in UTF-16, a character of two bytes
    // (a first byte from C2 to DF, then "%" and one from 80 to BF). False for any other escape.
    auto common = [&]() {
      const char *q = p + 1;
      const int hi = HexDigit(q[0]), lo = HexDigit(q[1]);
      const int b = hi * 16 + lo;
      const bool ascii = ((hi | lo) >= 0) & (hi < 8);
      if constexpr (wide) {
        const int hi2 = HexDigit(q[3]), lo2 = HexDigit(q[4]);
        const bool two = ((hi | lo | lo2) >= 0) & (b >= 0xC2) & (b <= 0xDF) & (q[2] == '%') &
                         (hi2 >= 8) & (hi2 <= 0xB);
        if (!(ascii | two)) return false;
        *d++ = static_cast<O>(two ? ((b & 0x1F) << 6) | ((hi2 & 3) << 4) | lo2 : b);
        p += 3 + 3 * two;
        AOdd |= ascii & isOdd(b);
      } else {
        if (!ascii) return false;
        *d++ = static_cast<O>(b);
        p += 3;
        AOdd |= isOdd(b);
      }
      return true;
    };
    for (;;) {
#if defined(__SSE2__)
      // Sixteen bytes at a time up to the next escape, line break, backslash or code 1 to 7,
      // "+" turned into a space on the way ("+" xor 0x0B is " "). The block is stored whole;
      // what lies behind the stop is written again. A common escape at the stop is taken here,
      // any other stop below. What lies behind e counts for nothing.
      const __m128i pct = _mm_set1_epi8('%'), cr = _mm_set1_epi8('\r'), lf = _mm_set1_epi8('\n');
      const __m128i bs = _mm_set1_epi8('\\'), one = _mm_set1_epi8(1), six = _mm_set1_epi8(6);
      const __m128i plus = _mm_set1_epi8('+'), flip = _mm_set1_epi8('+' ^ ' ');
      auto put = [&](__m128i v, O *to) {
        v = _mm_xor_si128(v, _mm_and_si128(_mm_cmpeq_epi8(v, plus), flip));
        if constexpr (wide) {
          const __m128i zero = _mm_setzero_si128();
          _mm_storeu_si128(reinterpret_cast<__m128i *>(to), _mm_unpacklo_epi8(v, zero));
          _mm_storeu_si128(reinterpret_cast<__m128i *>(to + 8), _mm_unpackhi_epi8(v, zero));
        } else {
          _mm_storeu_si128(reinterpret_cast<__m128i *>(to), v);
        }
      };
      while (p < e) {
        __m128i v = LoadBlock(p, e, ALimit);
        const unsigned end = e - p >= 16 ? 0x10000u : 1u << (e - p);
        const __m128i low = _mm_sub_epi8(v, one);
        const __m128i control = _mm_cmpeq_epi8(_mm_min_epu8(low, six), low);
        const int stop = _mm_movemask_epi8(_mm_or_si128(
            _mm_or_si128(_mm_cmpeq_epi8(v, pct), _mm_cmpeq_epi8(v, bs)),
            _mm_or_si128(control, _mm_or_si128(_mm_cmpeq_epi8(v, cr), _mm_cmpeq_epi8(v, lf)))));
        put(v, d);
        const int k = __builtin_ctz(static_cast<unsigned>(stop) | end);
        p += k;
        d += k;
        if (k == 16 || p == e) continue;
        if (*p != '%' || e - p < 6 || !common()) break;
      }
#endif
      if (p == e) return dcDone;
      if (*p == '%' && e - p >= 6 && common()) continue;
      const char c = *p;
      if (c == '%') {
        const char *at = p++;
        Byte bytes[8];
        const std::size_t n = Escape(p, e, bytes);
        if (!n) {
          *d++ = '%';
        } else if (bytes[0] < 0x80) {
          AOdd |= isOdd(bytes[0]);
          *d++ = static_cast<O>(bytes[0]);
        } else {
          const long ch = DecodeUTF8(bytes, n);
          if (!wide || ch < 0) {
            p = at;
            return ch < 0 ? dcBad : dcWide;
          }
          if (ch >= 0x10000) {
            *d++ = static_cast<O>(0xD800 + ((ch - 0x10000) >> 10));
            *d++ = static_cast<O>(0xDC00 + ((ch - 0x10000) & 0x3FF));
          } else {
            *d++ = static_cast<O>(ch);
          }
        }
        continue;
      }
      ++p;
      if (c == '+') {
        *d++ = ' ';
      } else if (c != '\r' && c != '\n') {
        AOdd |= isOdd(c);
        *d++ = static_cast<O>(static_cast<unsigned char>(c));
      }
    }
  }

  // The value from the ASCII bytes p to e, decoded and handed on; false, with nothing handed
  // on, at an escape that is no well-formed UTF-8. ASCII text is decoded into FNarrow, and at the
  // first character beyond ASCII the rest goes on as UTF-16 in FWide. The decoded text is never
  // longer than the source.
  bool DecodeBytes(const char *p, const char *e) {
    const char *const limit = Limit(p, e);
    FNarrow.resize(static_cast<std::size_t>(e - p) + 16);
    char *const start = FNarrow.data();
    char *d = start;
    // Whether a backslash or one of the codes 1 to 7 is in the text.
    bool odd = false;
    TDecoded r = Decode(p, e, limit, d, odd);
    if (r == dcBad) return false;
    FIsWide = r == dcWide;
    if (!FIsWide) {
      EmitValue(start, static_cast<std::size_t>(d - start), odd);
      return true;
    }
    const std::size_t done = static_cast<std::size_t>(d - start);
    FWide.resize(done + static_cast<std::size_t>(e - p) + 16);
    char16_t *w = FWide.data();
    for (std::size_t i = 0; i < done; ++i) w[i] = static_cast<unsigned char>(start[i]);
    w += done;
    if (Decode(p, e, limit, w, odd) == dcBad) return false;
    FWide.resize(static_cast<std::size_t>(w - FWide.data()));
    EmitValue(nullptr, 0, odd);
    return true;
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

  // Every value is a string. One that starts with "[" or "{" goes as it is, as JSON text would;
  // any other is escaped, so that the handler's decoding gives back the text. The tree builder
  // stores text without a backslash as it comes, so there the escape is left out when decoding
  // it again would only undo it: when the text holds no backslash and none of the codes 1 to 7.
  // The text is FWide when FIsWide is set, else the ASCII text AData; AOdd is false when the
  // text is known to hold neither a backslash nor one of the codes 1 to 7.
  void EmitValue(const char *AData, std::size_t ALength, bool AOdd) {
    if (!FIsWide) {
      if (FTree) {
        if (!AOdd) {
          FTree->ValueAscii(jdtString, AData, ALength);
          return;
        }
        if (FastValue(AData, ALength)) return;
      }
      FOut.clear();
      if (ALength && (AData[0] == '[' || AData[0] == '{'))
        AppendWide(FOut, AData, AData + ALength);
      else
        json::AppendEscaped(FOut, std::string_view(AData, ALength));
      H->Value(jdtString, FOut);
      return;
    }
    if (!FWide.empty() && (FWide[0] == u'[' || FWide[0] == u'{')) {
      H->Value(jdtString, FWide);
      return;
    }
    if (FTree && (!AOdd || std::none_of(FWide.begin(), FWide.end(), [](char16_t c) {
          return c == u'\\' || (c >= 1 && c <= 7);
        }))) {
      H->Value(jdtString, FWide);
      return;
    }
    FOut.clear();
    json::AppendEscaped(FOut, FWide);
    H->Value(jdtString, FOut);
  }

  TVnJSONTextParser *P;
  IVnJSONContentHandler *H;
  TVnJSONHandler *FTree;
  std::vector<TLevel> FLevels;
  std::size_t FDepth = 0;
  // The parts of the key being read; their storage is kept from pair to pair.
  std::vector<TPart> FParts;
  // Whether the key being read ends with "=" (or with the end of the text).
  bool FHasValue = false;
  // The end of the text in memory, when it is read whole as bytes.
  const char *FBodyEnd = nullptr;
  std::string FNarrow;
  UnicodeString FWide;
  bool FIsWide = false;
  bool FNonAscii = false;
  // A key or value that isn't ASCII, as UTF-16; a value escaped for the handler.
  UnicodeString FSpan;
  UnicodeString FOut;
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
