// TVnJSONTextParser: the encoding sniff, the JSON characters in the width of the source, and the
// skip and check slots.
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "vnxml/json/uVnJSON.h"

namespace vn {

namespace {

constexpr Integer cNotWellFormed = 2;

struct TConstants {
  const void *Apos, *Quote, *Space, *Colon, *BackSlash, *BracketO, *BracketC, *BraceO, *BraceC,
      *Equal;
};

constexpr TConstants cConstantsA = {&cVnAposA,      &cVnQuoteA,    &cVnSpaceA,    &cVnColonA,
                                    &cVnBackSlashA, &cVnBracketOA, &cVnBracketCA, &cVnBraceOA,
                                    &cVnBraceCA,    &cVnEqualA};
constexpr TConstants cConstantsW = {&cVnAposW,      &cVnQuoteW,    &cVnSpaceW,    &cVnColonW,
                                    &cVnBackSlashW, &cVnBracketOW, &cVnBracketCW, &cVnBraceOW,
                                    &cVnBraceCW,    &cVnEqualW};

constexpr TVnAsciiTable cValueEnd("]},");
constexpr TVnAsciiTable cNumber("0123456789.-+eE");
constexpr TVnAsciiTable cEscape("\"\\/bfnrtu");
constexpr char16_t cExpectedValue[] = u"\", t, f, n, 0..9, ., + or -";
constexpr char16_t cExpectedEscape[] = u"\", \\, /, b, f, n, r, t or u";

}  // namespace

TVnJSONTextParser::TVnJSONTextParser(TStream *AStream, bool AOwnsStream, Word ACodePage)
    : TVnTextParser(AStream, AOwnsStream, ACodePage) {
  SetCharacterSetType(CharacterSetType());
  Sniff(ACodePage);
}

TVnJSONTextParser::TVnJSONTextParser(const void *ABuffer, UInt64 ASize, Word ACodePage)
    : TVnTextParser(ABuffer, ASize, ACodePage) {
  SetCharacterSetType(CharacterSetType());
  Sniff(ACodePage);
}

void TVnJSONTextParser::Sniff(Word ACodePage) {
  // A page of one byte a character is not trusted: the first four bytes tell UTF-16 LE from
  // UTF-8, as JSON text can be nothing else here. Page 0 is the default page, UTF-8.
  if (ACodePage == 1200 || ACodePage == 0 || !IsSingleByteCodePage(ACodePage)) return;
  Byte b[4] = {0, 0, 0, 0};
  const Int64 n = Available(4);
  std::memcpy(b, FCur, static_cast<std::size_t>(n < 4 ? (n > 0 ? n : 0) : 4));
  const bool z0 = b[0] == 0, z1 = b[1] == 0, z2 = b[2] == 0, z3 = b[3] == 0;
  if ((z0 && z1 && z2 && !z3) || (z0 && !z1 && z2 && !z3) || (!z0 && z1 && z2 && z3))
    throw Exception(_SEncodingNotSupported);
  if (!z0 && z1 && !z2 && z3) {
    SetCharacterSetType(cstW);
    SetContentCodePage(1200);
  } else {
    SetCharacterSetType(cstU);
    SetContentCodePage(65001);
  }
}

void TVnJSONTextParser::SetCharacterSetType(TVnCharacterSetType AType) {
  TVnTextParser::SetCharacterSetType(AType);
  const TConstants *c = AType == cstW ? &cConstantsW : &cConstantsA;
  SkipWhileFunc = PtrSkipFunc(AType);
  CheckCurrCharFunc = PtrCheckFunc(AType);
  FApos = c->Apos;
  FQuote = c->Quote;
  FSpace = c->Space;
  FColon = c->Colon;
  FBackSlash = c->BackSlash;
  FBracketO = c->BracketO;
  FBracketC = c->BracketC;
  FBraceO = c->BraceO;
  FBraceC = c->BraceC;
  FEqual = c->Equal;
}

const Byte *TVnJSONTextParser::MarkedRun() {
  const Int64 from = GetPos(tpMark1);
  if (from < FBasePos) return nullptr;
  const Byte *p = FBase + (from - FBasePos);
  return p > FCur ? nullptr : p;
}

bool TVnJSONTextParser::TakeAsciiOther(const char *&AData, std::size_t &ALength) {
  FAsciiFrom = FAsciiTo = nullptr;
  if (FMinCharBytes != 1) return false;
  if (FNotAsciiEnd == GetCurPos() && FNotAsciiMark == MarkPos(tpMark1)) {
    FNotAsciiEnd = -1;
    return false;
  }
  const Byte *p = MarkedRun();
  if (!p) return false;
  const std::size_t n = static_cast<std::size_t>(FCur - p);
  // One pass without a branch, which the compiler can do many bytes at a time.
  Byte all = 0;
  for (std::size_t i = 0; i < n; ++i) all |= p[i];
  if (all >= 0x80) return false;
  AData = reinterpret_cast<const char *>(p);
  ALength = n;
  ClearMark(tpMark1);
  return true;
}

bool TVnJSONTextParser::PeekUtf8(Integer ACount, const char *&AData, std::size_t &ALength) {
  if (FCharSetType != cstU || ACount <= 0) return false;
  ALength = static_cast<std::size_t>(Available(ACount));
  AData = reinterpret_cast<const char *>(FCur);
  return true;
}

bool TVnJSONTextParser::SelectedUTF8(const char *&AData, std::size_t &ALength) {
  const Byte *p = FCharSetType == cstU ? MarkedRun() : nullptr;
  if (!p) return false;
  AData = reinterpret_cast<const char *>(p);
  ALength = static_cast<std::size_t>(FCur - p);
  return true;
}

void TVnJSONTextParser::SkipNumber() {
  SkipRun(
      [](const Byte *p) {
#if defined(__SSE2__)
        // A digit is a byte whose distance above "0" is at most 9.
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
        const __m128i d = _mm_sub_epi8(v, _mm_set1_epi8('0'));
        __m128i in = _mm_cmpeq_epi8(_mm_min_epu8(d, _mm_set1_epi8(9)), d);
        for (const char c : {'.', '-', '+', 'e', 'E'})
          in = _mm_or_si128(in, _mm_cmpeq_epi8(v, _mm_set1_epi8(c)));
        return ~static_cast<unsigned>(_mm_movemask_epi8(in)) & 0xFFFFu;
#else
        (void)p;
        return 0u;
#endif
      },
      [](Byte c) { return cNumber.Member[c] != 0; },
      [](char16_t u) { return u < 128 && cNumber.Member[u] != 0; });
}

#if defined(__SSE2__)
namespace {

// The mask of the sixteen bytes at AP that end a string's run (a quotation mark or backslash);
// AHigh gathers the bytes above 127 in front of the first of them.
inline unsigned StringStops16(const Byte *AP, unsigned &AHigh) noexcept {
  const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(AP));
  const unsigned stop = static_cast<unsigned>(_mm_movemask_epi8(
      _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8('"')), _mm_cmpeq_epi8(v, _mm_set1_epi8('\\')))));
  const unsigned top = static_cast<unsigned>(_mm_movemask_epi8(v));
  AHigh |= stop ? top & ((1u << __builtin_ctz(stop)) - 1) : top;
  return stop;
}

}  // namespace
#endif

bool TVnJSONTextParser::ScanString() {
  // The readers call it on the quotation mark: the general check only raises.
  if (CurrUnit() != u'"') [[unlikely]]
    CheckCurrChar(FQuote, true);
  Step();
  SetMark(tpMark1);
  FAsciiFrom = FAsciiTo = nullptr;
  const Byte *from = FCur;
#if defined(__SSE2__)
  if (FMinCharBytes == 1) {
    // Most strings end within the window without an escape: that case goes sixteen bytes a step
    // on pointers held in registers. An escape sends the string the general way from its start.
    unsigned high = 0;
    for (const Byte *p = from; FLimit - p >= 16; p += 16) {
      const unsigned stop = StringStops16(p, high);
      if (!stop) continue;
      const Byte *q = p + __builtin_ctz(stop);
      if (*q != '"') break;
      FCur = q;
      NoteString(high, false, from, FBase, FBasePos);
      return false;
    }
  }
#endif
  return ScanStringRest();
}

bool TVnJSONTextParser::ScanStringRest() {
  const Byte *from = FCur;
  const Byte *base = FBase;
  const Int64 basePos = FBasePos;
  // To the next quotation mark or backslash, noting whether a byte above 127 passed.
  unsigned high = 0;
  SkipRun(
      [&high](const Byte *p) {
#if defined(__SSE2__)
        return StringStops16(p, high);
#else
        (void)p;
        return 0u;
#endif
      },
      [&high](Byte c) {
        if (c == '"' || c == '\\') return false;
        high |= c & 0x80u;
        return true;
      },
      [](char16_t u) { return u != u'"' && u != u'\\'; });
  bool escaped = false;
  for (;;) {
    SkipToEither('\\', '"');
    if (Eof() || CurrUnit() == u'"') break;
    escaped = true;
    Step();  // the backslash
    const char16_t e = CurrUnit();
    if (Eof() || e >= 128 || !cEscape.Member[e]) RaiseExpected(cExpectedEscape);
    Step();
    if (e == u'u')
      for (int k = 0; k < 4; ++k) StepOver();
  }
  NoteString(high, escaped, from, base, basePos);
  return escaped;
}

TVnJSONDataType TVnJSONTextParser::ScanLiteral() {
  FAsciiFrom = FAsciiTo = nullptr;
  const char16_t c = Eof() ? 0 : CurrUnit();
  const char16_t *keyword = nullptr;
  TVnJSONDataType type = jdtNull;
  switch (c) {
    case u't':
      keyword = u"true";
      type = jdtBoolean;
      break;
    case u'f':
      keyword = u"false";
      type = jdtBoolean;
      break;
    case u'n':
      keyword = u"null";
      type = jdtNull;
      break;
    default:
      if (c >= 128 || !cNumber.Member[c]) RaiseExpected(cExpectedValue);
      type = jdtNumber;
  }
  SetMark(tpMark1);
  const Byte *from = FCur;
  const Byte *base = FBase;
  const Int64 basePos = FBasePos;
  if (!keyword) {
    SkipNumber();
  } else {
    // Each letter must match, case included.
    for (const char16_t *k = keyword; *k; ++k) {
      if (Eof() || CurrUnit() != *k) RaiseExpected(UnicodeString(1, *k));
      Step();
    }
  }
  // Either way the run is ASCII.
  NoteAscii(from, base, basePos);
  return type;
}

void TVnJSONTextParser::SkipToValueEnd() {
  SkipAscii(cValueEnd, false);
}

void TVnJSONTextParser::SkipToName() {
  // What lies there is mostly white space, which goes sixteen bytes at a time first; the comma
  // in front of it is passed first, since the white space skip stops on it.
  if (CurrUnit() == u',') Step();
  SkipControls();
  SkipTo('"');
}

void TVnJSONTextParser::SkipWhite() {
  SkipControls();
}

void TVnJSONTextParser::RaiseExpected(const UnicodeString &AExpected) {
  const UnicodeString found = CurrentText();
  throw EVnJSONParseError(_cVnJSONNotWellFormed, {AExpected, found}, cNotWellFormed);
}

}  // namespace vn
