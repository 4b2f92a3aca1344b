// TVnTextParser: the window over the input, the per-width slots and the skip loops.
#include <unicode/ustring.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstdint>
#include <cstring>

#include "vnxml/common/uVnClasses.h"
#include "vnxml/common/uVnClasses/Utf8.h"

namespace vn {

namespace {

// Bytes read from a stream at a time.
constexpr Int64 cReadBlock = 256 * 1024;
// Bytes kept before the current character on a refill, so that the previous character (at most
// four bytes of UTF-8) stays available.
constexpr Int64 cKeepBehind = 4;

inline char16_t LoadUnit(const Byte *AP) noexcept {
  char16_t u;
  std::memcpy(&u, AP, 2);
  return u;
}

// Decodes the UTF-8 sequence at AP with at most AAvail bytes; ALen receives its length.
// Malformed or truncated sequences give U+FFFD and step over their maximal valid part.
inline UChar32 DecodeU8(const Byte *AP, Int64 AAvail, int32_t &ALen) noexcept {
  if (AP[0] < 0x80) {
    ALen = 1;
    return AP[0];
  }
  int32_t i = 0;
  int32_t n = static_cast<int32_t>(std::min<Int64>(AAvail, 4));
  UChar32 c;
  U8_NEXT(AP, i, n, c);
  ALen = i > 0 ? i : 1;
  return c < 0 ? 0xFFFD : c;
}

// The set bits of a 16-bit mask.
inline int BitCount16(unsigned AMask) noexcept {
  AMask = AMask - ((AMask >> 1) & 0x5555u);
  AMask = (AMask & 0x3333u) + ((AMask >> 2) & 0x3333u);
  AMask = (AMask + (AMask >> 4)) & 0x0F0Fu;
  return static_cast<int>((AMask + (AMask >> 8)) & 0x1Fu);
}

// The bytes of the range that are not continuation bytes (10xxxxxx), eight at a time.
inline Int64 CountUTF8Starts(const Byte *AP, const Byte *AE) noexcept {
  Int64 cont = 0;
  const Int64 n = AE - AP;
  for (; AE - AP >= 8; AP += 8) {
    std::uint64_t w;
    std::memcpy(&w, AP, 8);
    // One bit per continuation byte, at its bit 7; summed by a multiplication.
    const std::uint64_t m = (w & ~(w << 1) & 0x8080808080808080ull) >> 7;
    cont += static_cast<Int64>((m * 0x0101010101010101ull) >> 56);
  }
  for (; AP < AE; ++AP) cont += (*AP & 0xC0) == 0x80;
  return n - cont;
}

// Widens bytes below 128 one at a time from the start of the range; returns how many there were.
inline std::size_t WidenASCIIBytes(const Byte *AFrom, char16_t *ATo, std::size_t ACount) noexcept {
  std::size_t k = 0;
  for (; k < ACount && AFrom[k] < 0x80; ++k) ATo[k] = AFrom[k];
  return k;
}

// Widens the leading bytes below 128 of the range to UTF-16; returns how many there were. Blocks
// of sixteen bytes where the processor has SSE2 (eight for a text of 8 to 15 bytes), of four
// otherwise and for a text of 4 to 7 bytes. The bytes left behind the last whole block are
// taken as one more block that ends with the range, overlapping bytes already widened (they are
// ASCII, so widening them again changes nothing): most texts read are short names, which this
// takes without a loop over their bytes.
inline std::size_t WidenASCII(const Byte *AFrom, char16_t *ATo, std::size_t ACount) noexcept {
#if defined(__SSE2__)
  const __m128i zero = _mm_setzero_si128();
  if (ACount >= 16) {
    std::size_t k = 0;
    for (; k + 16 <= ACount; k += 16) {
      const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(AFrom + k));
      if (_mm_movemask_epi8(v) != 0) return k + WidenASCIIBytes(AFrom + k, ATo + k, ACount - k);
      _mm_storeu_si128(reinterpret_cast<__m128i *>(ATo + k), _mm_unpacklo_epi8(v, zero));
      _mm_storeu_si128(reinterpret_cast<__m128i *>(ATo + k + 8), _mm_unpackhi_epi8(v, zero));
    }
    if (k == ACount) return k;
    const std::size_t t = ACount - 16;
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(AFrom + t));
    if (_mm_movemask_epi8(v) != 0) return k + WidenASCIIBytes(AFrom + k, ATo + k, ACount - k);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(ATo + t), _mm_unpacklo_epi8(v, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(ATo + t + 8), _mm_unpackhi_epi8(v, zero));
    return ACount;
  }
  if (ACount >= 8) {
    const __m128i a = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(AFrom));
    const __m128i b = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(AFrom + ACount - 8));
    if (_mm_movemask_epi8(_mm_or_si128(a, b)) != 0) return WidenASCIIBytes(AFrom, ATo, ACount);
    _mm_storeu_si128(reinterpret_cast<__m128i *>(ATo), _mm_unpacklo_epi8(a, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(ATo + ACount - 8), _mm_unpacklo_epi8(b, zero));
    return ACount;
  }
#endif
  if (ACount >= 4) {
    std::size_t k = 0;
    for (; k + 4 <= ACount; k += 4) {
      std::uint32_t w;
      std::memcpy(&w, AFrom + k, 4);
      if (w & 0x80808080u) return k + WidenASCIIBytes(AFrom + k, ATo + k, ACount - k);
      for (int j = 0; j < 4; ++j) ATo[k + j] = AFrom[k + j];
    }
    if (k == ACount) return k;
    const std::size_t t = ACount - 4;
    std::uint32_t w;
    std::memcpy(&w, AFrom + t, 4);
    if (w & 0x80808080u) return k + WidenASCIIBytes(AFrom + k, ATo + k, ACount - k);
    for (int j = 0; j < 4; ++j) ATo[t + j] = AFrom[t + j];
    return ACount;
  }
  return WidenASCIIBytes(AFrom, ATo, ACount);
}

inline bool Compare(TVnTextParserSkipOp AOp, UChar32 ACh, UChar32 AChar) noexcept {
  switch (AOp) {
    case soEqual:
      return ACh == AChar;
    case soLess:
      return ACh < AChar;
    case soGreater:
      return ACh > AChar;
    case soNotEqual:
      return ACh != AChar;
    case soLessOrEqual:
      return ACh <= AChar;
    case soGreaterOrEqual:
      return ACh >= AChar;
    default:
      return false;
  }
}

[[noreturn]] void RaiseBadSkipOp() {
  throw EArgumentOutOfRangeException(u"The skip operation does not fit the kind of argument");
}

}  // namespace

bool detail::DecodeWellFormedUTF8(const Byte *AP, std::size_t ASize, char16_t *AOut,
                                  std::size_t &ALen) noexcept {
  const Byte *e = AP + ASize;
  char16_t *d = AOut;
  while (AP < e) {
    if (e - AP >= 8) {
      // Eight bytes widened at once; the ASCII ones in front of the first other byte count.
      // The units written beyond them lie within the room: a unit never takes less than a byte.
      std::uint64_t w;
      std::memcpy(&w, AP, 8);
      const std::uint64_t high = w & 0x8080808080808080ull;
#if defined(__SSE2__)
      _mm_storeu_si128(reinterpret_cast<__m128i *>(d),
                       _mm_unpacklo_epi8(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(AP)),
                                         _mm_setzero_si128()));
#else
      for (int k = 0; k < 8; ++k) d[k] = AP[k];
#endif
      if (!high) {
        d += 8;
        AP += 8;
        continue;
      }
      if constexpr (std::endian::native == std::endian::little) {
        const auto ascii = static_cast<unsigned>(std::countr_zero(high)) / 8;
        d += ascii;
        AP += ascii;
      }
    }
    const Byte b = *AP;
    if (b < 0x80) {
      *d++ = b;
      ++AP;
    } else if (b >= 0xC2 && b <= 0xDF) {
      if (e - AP < 2 || (AP[1] & 0xC0) != 0x80) return false;
      *d++ = static_cast<char16_t>(((b & 0x1F) << 6) | (AP[1] & 0x3F));
      AP += 2;
    } else if (b >= 0xE0 && b <= 0xEF) {
      if (e - AP < 3) return false;
      const Byte b1 = AP[1], b2 = AP[2];
      if ((b1 & 0xC0) != 0x80 || (b2 & 0xC0) != 0x80) return false;
      if ((b == 0xE0 && b1 < 0xA0) || (b == 0xED && b1 >= 0xA0)) return false;
      *d++ = static_cast<char16_t>(((b & 0x0F) << 12) | ((b1 & 0x3F) << 6) | (b2 & 0x3F));
      AP += 3;
    } else if (b >= 0xF0 && b <= 0xF4) {
      if (e - AP < 4) return false;
      const Byte b1 = AP[1], b2 = AP[2], b3 = AP[3];
      if ((b1 & 0xC0) != 0x80 || (b2 & 0xC0) != 0x80 || (b3 & 0xC0) != 0x80) return false;
      if ((b == 0xF0 && b1 < 0x90) || (b == 0xF4 && b1 >= 0x90)) return false;
      const UChar32 c = ((b & 0x07) << 18) | ((b1 & 0x3F) << 12) | ((b2 & 0x3F) << 6) | (b3 & 0x3F);
      *d++ = static_cast<char16_t>(U16_LEAD(c));
      *d++ = static_cast<char16_t>(U16_TRAIL(c));
      AP += 4;
    } else {
      return false;
    }
  }
  ALen = static_cast<std::size_t>(d - AOut);
  return true;
}

// ---------------------------------------------------------------------------------------------
// The slots of each width.

template <TVnCharacterSetType W>
struct TVnTextParserWidth {
  static constexpr Int64 cUnit = W == cstW ? 2 : 1;

  static char16_t CurrChar(TVnTextParser *P) {
    if constexpr (W == cstA) {
      if (P->FCur < P->FLimit || P->Available(1) > 0) return (*P->FByteTable)[*P->FCur];
      return 0;
    } else if constexpr (W == cstW) {
      if (P->FLimit - P->FCur >= 2 || P->Available(2) >= 2) return LoadUnit(P->FCur);
      return 0;
    } else {
      if (P->FCur < P->FLimit && *P->FCur < 0x80) return *P->FCur;
      Int64 n = P->Available(4);
      if (n == 0) return 0;
      int32_t len;
      UChar32 c = DecodeU8(P->FCur, n, len);
      return c > 0xFFFF ? static_cast<char16_t>(U16_LEAD(c)) : static_cast<char16_t>(c);
    }
  }

  static char16_t PeekChar(TVnTextParser *P) {
    if constexpr (W == cstA) {
      if (P->Available(2) >= 2) return (*P->FByteTable)[P->FCur[1]];
      return 0;
    } else if constexpr (W == cstW) {
      if (P->Available(4) >= 4) return LoadUnit(P->FCur + 2);
      return 0;
    } else {
      Int64 n = P->Available(8);
      if (n == 0) return 0;
      int32_t len;
      DecodeU8(P->FCur, n, len);
      if (n <= len) return 0;
      int32_t len2;
      UChar32 c = DecodeU8(P->FCur + len, n - len, len2);
      return c > 0xFFFF ? static_cast<char16_t>(U16_LEAD(c)) : static_cast<char16_t>(c);
    }
  }

  static void Next(TVnTextParser *P) {
    if constexpr (W == cstA) {
      if (P->FCur < P->FLimit || P->Available(1) > 0) {
        ++P->FCur;
        return;
      }
    } else if constexpr (W == cstW) {
      if (P->FLimit - P->FCur >= 2 || P->Available(2) >= 2) {
        P->FCur += 2;
        return;
      }
    } else {
      if (P->FCur < P->FLimit && *P->FCur < 0x80) {
        ++P->FCur;
        return;
      }
      Int64 n = P->Available(4);
      if (n > 0) {
        int32_t len;
        DecodeU8(P->FCur, n, len);
        P->FCur += len;
        return;
      }
    }
    P->RaiseEOF();
  }

  // Moves over whole bytes while APred holds; for one-byte widths, and for UTF-8 when the test
  // can be decided on the byte (an ASCII argument).
  template <class Pred>
  static void ByteLoop(TVnTextParser *P, Pred APred) {
    for (;;) {
      const Byte *p = P->FCur;
      const Byte *e = P->FLimit;
      while (p < e && APred(*p)) ++p;
      P->FCur = p;
      if (p < e || P->Available(1) == 0) return;
    }
  }

  static void ByteFind(TVnTextParser *P, Byte AChar) {
    for (;;) {
      const Byte *p = P->FCur;
      const Byte *e = P->FLimit;
      const void *q = p < e ? std::memchr(p, AChar, static_cast<std::size_t>(e - p)) : nullptr;
      if (q) {
        P->FCur = static_cast<const Byte *>(q);
        return;
      }
      P->FCur = e;
      if (P->Available(1) == 0) return;
    }
  }

  // Finds a UTF-16 code unit; the window holds whole units from FBase on.
  static void UnitFind(TVnTextParser *P, char16_t AChar) {
    for (;;) {
      const Byte *p = P->FCur;
      const Byte *e = p + ((P->FLimit - p) & ~Int64(1));
      if (reinterpret_cast<std::uintptr_t>(p) % alignof(char16_t) == 0) {
        p = reinterpret_cast<const Byte *>(VnFindChar16(
            reinterpret_cast<const char16_t *>(p), reinterpret_cast<const char16_t *>(e), AChar));
      } else {
        while (p < e && LoadUnit(p) != AChar) p += 2;
      }
      P->FCur = p;
      if (p < e || P->Available(2) < 2) return;
    }
  }

  // Decodes character by character: the general case.
  template <class Pred>
  static void CharLoop(TVnTextParser *P, Pred APred) {
    for (;;) {
      if constexpr (W == cstW) {
        const Byte *p = P->FCur;
        const Byte *e = P->FLimit;
        while (e - p >= 2 && APred(LoadUnit(p))) p += 2;
        P->FCur = p;
        if (e - p >= 2 || P->Available(2) < 2) return;
      } else if constexpr (W == cstA) {
        const auto &table = *P->FByteTable;
        const Byte *p = P->FCur;
        const Byte *e = P->FLimit;
        while (p < e && APred(table[*p])) ++p;
        P->FCur = p;
        if (p < e || P->Available(1) == 0) return;
      } else {
        Int64 n = P->Available(4);
        if (n == 0) return;
        int32_t len;
        UChar32 c = DecodeU8(P->FCur, n, len);
        if (!APred(c)) return;
        P->FCur += len;
      }
    }
  }

  static void Skip(TVnTextParser *P, TVnTextParserSkipOp AOp, char16_t AChar) {
    if (AOp == soInSet || AOp == soNotInSet) RaiseBadSkipOp();
    if (AOp == soNotEqual && AChar == 0) {
      P->SkipToEnd();
      return;
    }
    if constexpr (W != cstW) {
      // An ASCII argument can be decided on the bytes: in UTF-8 every byte of a longer
      // sequence is above 127, and in the one-byte pages the bytes above 127 stand for
      // characters above 127.
      if (AChar < 0x80) {
        const Byte c = static_cast<Byte>(AChar);
        switch (AOp) {
          case soEqual:
            ByteLoop(P, [c](Byte b) { return b == c; });
            return;
          case soNotEqual:
            ByteFind(P, c);
            return;
          case soLessOrEqual:
            ByteLoop(P, [c](Byte b) { return b <= c; });
            return;
          case soLess:
            ByteLoop(P, [c](Byte b) { return b < c; });
            return;
          case soGreater:
            ByteLoop(P, [c](Byte b) { return b > c; });
            return;
          case soGreaterOrEqual:
            ByteLoop(P, [c](Byte b) { return b >= c; });
            return;
          default:
            return;
        }
      }
    }
    if constexpr (W == cstW) {
      if (AOp == soNotEqual) {
        UnitFind(P, AChar);
        return;
      }
    }
    const UChar32 c = AChar;
    switch (AOp) {
      case soEqual:
        CharLoop(P, [c](UChar32 ch) { return ch == c; });
        return;
      case soNotEqual:
        CharLoop(P, [c](UChar32 ch) { return ch != c; });
        return;
      case soLessOrEqual:
        CharLoop(P, [c](UChar32 ch) { return ch <= c; });
        return;
      default:
        CharLoop(P, [AOp, c](UChar32 ch) { return Compare(AOp, ch, c); });
        return;
    }
  }

  static void SkipSet(TVnTextParser *P, TVnTextParserSkipOp AOp, const TVnCharSet &ASet) {
    if (AOp != soInSet && AOp != soNotInSet) RaiseBadSkipOp();
    const bool in = AOp == soInSet;
    if constexpr (W == cstA) {
      ByteLoop(P, [&ASet, in](Byte b) { return ASet.Contains(b) == in; });
    } else if constexpr (W == cstW) {
      CharLoop(P,
               [&ASet, in](UChar32 ch) { return ASet.Contains(static_cast<unsigned>(ch)) == in; });
    } else {
      for (;;) {
        ByteLoop(P, [&ASet, in](Byte b) { return b < 0x80 && ASet.Contains(b) == in; });
        Int64 n = P->Available(4);
        if (n == 0 || *P->FCur < 0x80) return;
        int32_t len;
        UChar32 ch = DecodeU8(P->FCur, n, len);
        if (ASet.Contains(static_cast<unsigned>(ch)) != in) return;
        P->FCur += len;
      }
    }
  }

  static void Bind(TVnTextParser *P) {
    P->FCurrChar = &CurrChar;
    P->FPeekChar = &PeekChar;
    P->FNextChar = &Next;
    P->FSkipWhile = &Skip;
    P->FSkipSet = &SkipSet;
    P->FMinCharBytes = static_cast<Byte>(cUnit);
  }
};

// ---------------------------------------------------------------------------------------------
// Construction

TVnTextParser::TVnTextParser(TStream *ASource, bool AStreamOwner, Word ACodePage)
    : FStream(ASource), FStreamOwner(AStreamOwner) {
  FStreamStart = ASource ? ASource->GetPosition() : 0;
  FExhausted = ASource == nullptr;
  Init(ACodePage);
}

TVnTextParser::TVnTextParser(const void *ABuffer, UInt64 ASize, Word ACodePage) {
  FBase = FCur = static_cast<const Byte *>(ABuffer);
  FLimit = FBase + (ABuffer ? ASize : 0);
  FExhausted = true;
  Init(ACodePage);
}

bool TVnTextParser::TakeMemoryRest(TStream *AStream, const void *&AData, UInt64 &ASize) {
  if (!AStream || !AStream->Is<TCustomMemoryStream>()) return false;
  auto *m = static_cast<TCustomMemoryStream *>(AStream);
  const Int64 pos = m->Seek(0, soCurrent);
  const Int64 size = m->GetSize();
  const Int64 n = pos < size ? size - pos : 0;
  AData = n ? static_cast<const Byte *>(m->Memory()) + pos : nullptr;
  ASize = static_cast<UInt64>(n);
  m->Seek(0, soEnd);
  return true;
}

void TVnTextParser::Init(Word ACodePage) {
  SetContentCodePage(ACodePage);
  TVnTextParser::SetCharacterSetType(ACodePage == CP_UTF16  ? cstW
                                     : ACodePage == CP_UTF8 ? cstU
                                                            : cstA);
}

TVnTextParser::~TVnTextParser() {
  std::free(FBuffer);
  if (FStreamOwner && FStream) FStream->Free();
}

void TVnTextParser::SetCharacterSetType(TVnCharacterSetType AType) {
  SyncCounters(GetCurPos());
  FCharSetType = AType;
  switch (AType) {
    case cstW:
      TVnTextParserWidth<cstW>::Bind(this);
      break;
    case cstU:
      TVnTextParserWidth<cstU>::Bind(this);
      break;
    default:
      TVnTextParserWidth<cstA>::Bind(this);
      break;
  }
}

void TVnTextParser::SetContentCodePage(Word ACodePage) {
  FContentCodePage = ACodePage;
  FByteTable = &CodePageByteTable(ACodePage);
  FSingleBytePage = IsSingleByteCodePage(ACodePage);
}

// ---------------------------------------------------------------------------------------------
// The window

Int64 TVnTextParser::Refill(Int64 ANeed) {
  if (FExhausted || !FStream) {
    FExhausted = true;
    return FLimit - FCur;
  }
  const Int64 cur = GetCurPos();
  Int64 keep = std::max(FBasePos, cur - cKeepBehind);
  for (Int64 m : FMarks)
    if (m >= 0 && m < keep) keep = m;
  if (FCntPos < keep) SyncCounters(keep);

  const Int64 drop = keep - FBasePos;
  const Int64 remain = (FLimit - FBase) - drop;
  const Int64 want = remain + std::max(cReadBlock, ANeed);
  Byte *buf = FBuffer;
  if (want > FBufferCap) {
    // Only text pinned by marks makes the buffer grow beyond one block.
    Int64 cap = std::max(want, FBufferCap + FBufferCap / 2);
    buf = static_cast<Byte *>(std::malloc(static_cast<std::size_t>(cap)));
    if (!buf) throw EOutOfMemory(u"Out of memory");
    if (remain > 0) std::memcpy(buf, FBase + drop, static_cast<std::size_t>(remain));
    std::free(FBuffer);
    FBuffer = buf;
    FBufferCap = cap;
  } else if (remain > 0 && drop > 0) {
    std::memmove(buf, FBase + drop, static_cast<std::size_t>(remain));
  }
  FBase = buf;
  FBasePos = keep;
  FCur = buf + (cur - keep);
  FLimit = buf + remain;
  do {
    Int64 space = FBufferCap - (FLimit - buf);
    Int64 r = FStream->Read(const_cast<Byte *>(FLimit), space);
    if (r <= 0) {
      FExhausted = true;
      break;
    }
    FLimit += r;
  } while (FLimit - FCur < ANeed);
  return FLimit - FCur;
}

bool TVnTextParser::SlowEOF() {
  return Available(FMinCharBytes) < FMinCharBytes;
}

void TVnTextParser::SkipToEnd() {
  for (;;) {
    Int64 n = FLimit - FCur;
    FCur += n - n % FMinCharBytes;
    if (FExhausted || Refill(FMinCharBytes) < FMinCharBytes) return;
  }
}

void TVnTextParser::RaiseEOF() {
  throw EVnTextParserEOF(u"Unexpected end of input", 0);
}

void TVnTextParser::CheckEOF() {
  if (_GetEOF()) RaiseEOF();
}

// ---------------------------------------------------------------------------------------------
// Movement

void TVnTextParser::First() {
  if (FBasePos == 0) {
    FCur = FBase;
  } else {
    // The start has left the window: read the stream again from where it began.
    FStream->SetPosition(FStreamStart);
    FBase = FCur = FLimit = FBuffer;
    FBasePos = 0;
    FExhausted = false;
  }
  for (Int64 &m : FMarks) m = -1;
  FCntPos = 0;
  FCntChars = 0;
  FCntLineStart = 0;
  FCntLine = 1;
}

void TVnTextParser::Last() {
  SkipToEnd();
  if (GetCurPos() > 0) FCur = FBase + (PrevPos() - FBasePos);
}

void TVnTextParser::SrcASkipWhileA(TVnTextParserSkipOp AOp, char AChar) {
  TVnTextParserWidth<cstA>::Skip(this, AOp, static_cast<unsigned char>(AChar));
}

void TVnTextParser::SrcUSkipWhileA(TVnTextParserSkipOp AOp, char AChar) {
  TVnTextParserWidth<cstU>::Skip(this, AOp, static_cast<unsigned char>(AChar));
}

void TVnTextParser::SrcWSkipWhileW(TVnTextParserSkipOp AOp, char16_t AChar) {
  TVnTextParserWidth<cstW>::Skip(this, AOp, AChar);
}

void TVnTextParser::SkipChars(Integer ACount) {
  for (Integer i = 0; i < ACount; ++i) FNextChar(this);
}

// ---------------------------------------------------------------------------------------------
// Inspection

Int64 TVnTextParser::CharLenAt(const Byte *AP) {
  if (FCharSetType == cstW) return 2;
  if (FCharSetType == cstA || *AP < 0x80) return 1;
  int32_t len;
  DecodeU8(AP, FLimit - AP, len);
  return len;
}

char TVnTextParser::CurrCharA() {
  if (Available(FMinCharBytes) < FMinCharBytes) return 0;
  if (FCharSetType == cstW) {
    char16_t u = LoadUnit(FCur);
    return u < 0x100 ? static_cast<char>(u) : static_cast<char>(0x80);
  }
  return static_cast<char>(*FCur);
}

Int64 TVnTextParser::PrevPos() {
  const Int64 cur = GetCurPos();
  if (cur == 0) return 0;
  switch (FCharSetType) {
    case cstW:
      return std::max<Int64>(0, cur - 2);
    case cstU: {
      const Byte *p = FCur - 1;
      int steps = 0;
      while (p > FBase && (*p & 0xC0) == 0x80 && steps < 3) {
        --p;
        ++steps;
      }
      return FBasePos + (p - FBase);
    }
    default:
      return cur - 1;
  }
}

Int64 TVnTextParser::NextPos() {
  Int64 n = Available(FCharSetType == cstU ? 4 : FMinCharBytes);
  if (n < FMinCharBytes) return GetCurPos();
  return GetCurPos() + CharLenAt(FCur);
}

char16_t TVnTextParser::PrevCharW() {
  if (GetCurPos() == 0) return 0;
  const Byte *p = FBase + (PrevPos() - FBasePos);
  switch (FCharSetType) {
    case cstW:
      return LoadUnit(p);
    case cstU: {
      int32_t len;
      UChar32 c = DecodeU8(p, FLimit - p, len);
      return c > 0xFFFF ? static_cast<char16_t>(U16_LEAD(c)) : static_cast<char16_t>(c);
    }
    default:
      return (*FByteTable)[*p];
  }
}

UnicodeString TVnTextParser::PeekString(Integer ACount) {
  if (ACount <= 0) return {};
  Int64 n = Available(static_cast<Int64>(ACount) * (FCharSetType == cstU ? 4 : FMinCharBytes));
  const Byte *p = FCur;
  const Byte *e = FCur + n;
  // Room for the worst case (every character a surrogate pair), cut to what was read.
  UnicodeString r(static_cast<std::size_t>(ACount) * 2, u'\0');
  char16_t *out = r.data();
  Integer i = 0;
  switch (FCharSetType) {
    case cstW:
      for (; i < ACount && e - p >= 2; ++i, p += 2) *out++ = LoadUnit(p);
      break;
    case cstU:
      while (i < ACount && p < e) {
        ++i;
        if (*p < 0x80) {
          *out++ = *p++;
          continue;
        }
        int32_t len;
        UChar32 c = DecodeU8(p, e - p, len);
        if (c > 0xFFFF) {
          *out++ = static_cast<char16_t>(U16_LEAD(c));
          *out++ = static_cast<char16_t>(U16_TRAIL(c));
        } else {
          *out++ = static_cast<char16_t>(c);
        }
        p += len;
      }
      break;
    default:
      for (; i < ACount && p < e; ++i) *out++ = (*FByteTable)[*p++];
      break;
  }
  r.resize(static_cast<std::size_t>(out - r.data()));
  return r;
}

// ---------------------------------------------------------------------------------------------
// Lines, columns and positions

void TVnTextParser::SyncCounters(Int64 AToPos) {
  if (AToPos <= FCntPos) return;
  const Byte *p = FBase + (FCntPos - FBasePos);
  const Byte *e = FBase + (AToPos - FBasePos);
  switch (FCharSetType) {
    case cstW: {
      const Int64 units = (e - p) / 2;
      for (Int64 i = 0; i < units; ++i) {
        if (LoadUnit(p + 2 * i) == u'\n') {
          ++FCntLine;
          FCntLineStart = FCntChars + i + 1;
        }
      }
      FCntChars += units;
      break;
    }
    case cstU: {
      // The characters are the bytes less the continuation bytes (10xxxxxx).
#if defined(__SSE2__)
      // Sixteen bytes at a time: one mask of continuation bytes, one of line feeds.
      const __m128i lf = _mm_set1_epi8('\n');
      const __m128i contLimit = _mm_set1_epi8(static_cast<char>(0xC0));
      for (; e - p >= 16; p += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
        const unsigned cont =
            static_cast<unsigned>(_mm_movemask_epi8(_mm_cmplt_epi8(v, contLimit)));
        const unsigned lines = static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, lf)));
        if (lines == 0) {
          FCntChars += 16 - BitCount16(cont);
          continue;
        }
        // The line starts behind the last line feed of the block.
        const int last = 31 - __builtin_clz(lines);
        const unsigned upTo = (2u << last) - 1;
        FCntLine += BitCount16(lines);
        FCntLineStart = FCntChars + (last + 1) - BitCount16(cont & upTo);
        FCntChars += 16 - BitCount16(cont);
      }
#endif
      // Line by line: the characters of a line are its bytes less the continuation bytes.
      while (p < e) {
        const void *q = std::memchr(p, '\n', static_cast<std::size_t>(e - p));
        const Byte *stop = q ? static_cast<const Byte *>(q) + 1 : e;
        FCntChars += CountUTF8Starts(p, stop);
        if (q) {
          ++FCntLine;
          FCntLineStart = FCntChars;
        }
        p = stop;
      }
      break;
    }
    default: {
      const Byte *s = p;
      const Int64 base = FCntChars;
      while (p < e) {
        const void *q = std::memchr(p, '\n', static_cast<std::size_t>(e - p));
        if (!q) break;
        p = static_cast<const Byte *>(q) + 1;
        ++FCntLine;
        FCntLineStart = base + (p - s);
      }
      FCntChars = base + (e - s);
      break;
    }
  }
  FCntPos = AToPos;
}

void TVnTextParser::LineColAt(Int64 APos, Integer &ALine, Integer &ACol) {
  if (APos < FCntPos || APos > GetCurPos() || APos < FBasePos)
    throw EInvalidOperation(u"The line of that position is no longer known");
  SyncCounters(APos);
  ALine = FCntLine;
  ACol = static_cast<Integer>(FCntChars - FCntLineStart + 1);
}

Integer TVnTextParser::GetLineNr() {
  SyncCounters(GetCurPos());
  return FCntLine;
}

Integer TVnTextParser::GetColNr() {
  SyncCounters(GetCurPos());
  return static_cast<Integer>(FCntChars - FCntLineStart + 1);
}

Integer TVnTextParser::GetPosition() {
  SyncCounters(GetCurPos());
  return static_cast<Integer>(FCntChars);
}

// ---------------------------------------------------------------------------------------------
// Marks and selections

void TVnTextParser::RaiseBadMark() {
  throw EArgumentOutOfRangeException(u"Only the three marks can be set or cleared");
}

Int64 TVnTextParser::GetPos(TVnTextParserPosType APos) {
  switch (APos) {
    case tpPrev:
      return PrevPos();
    case tpCurrent:
      return GetCurPos();
    case tpNext:
      return NextPos();
    default:
      return MarkPos(APos);
  }
}

UnicodeString TVnTextParser::Convert(const Byte *AFrom, const Byte *ATo) {
  UnicodeString r;
  ConvertTo(AFrom, ATo, r);
  return r;
}

void TVnTextParser::ConvertTo(const Byte *AFrom, const Byte *ATo, UnicodeString &ADest) {
  // Every byte of UTF-8 gives at most one UTF-16 unit, a malformed one included (U+FFFD), and
  // ASCII, the common case, gives exactly one: the string takes that size at once, the leading
  // ASCII is widened in the same pass that looks for the end of it, and only text beyond ASCII
  // is cut to its length afterwards. That common case is all this part does, so that the calls
  // for short names stay cheap; everything else is ConvertOther's.
  const std::size_t n = static_cast<std::size_t>(ATo - AFrom);
  std::size_t ascii = 0;
  if (FCharSetType == cstU && n != 0) {
    if (ADest.size() != n) ADest.resize(n);
    ascii = WidenASCII(AFrom, ADest.data(), n);
    if (ascii == n) return;
  }
  ConvertOther(AFrom, ATo, ascii, ADest);
}

void TVnTextParser::ConvertOther(const Byte *AFrom, const Byte *ATo, std::size_t AAscii,
                                 UnicodeString &ADest) {
  const std::size_t n = static_cast<std::size_t>(ATo - AFrom);
  if (n == 0) {
    ADest.clear();
    return;
  }
  switch (FCharSetType) {
    case cstW: {
      if (ADest.size() != n / 2) ADest.resize(n / 2);
      std::memcpy(ADest.data(), AFrom, (n / 2) * 2);
      return;
    }
    case cstU: {
      char16_t *d = ADest.data();
      const std::size_t ascii = AAscii;
      std::size_t len = 0;
      if (detail::DecodeWellFormedUTF8(AFrom + ascii, n - ascii, d + ascii, len)) {
        ADest.resize(ascii + len);
        return;
      }
      int32_t ulen = 0;
      UErrorCode err = U_ZERO_ERROR;
      u_strFromUTF8WithSub(reinterpret_cast<UChar *>(ADest.data()), static_cast<int32_t>(n), &ulen,
                           reinterpret_cast<const char *>(AFrom), static_cast<int32_t>(n), 0xFFFD,
                           nullptr, &err);
      ADest.resize(U_SUCCESS(err) ? static_cast<std::size_t>(ulen) : 0);
      return;
    }
    default: {
      if (!FSingleBytePage) {
        ADest = CodePageToUnicode(reinterpret_cast<const char *>(AFrom), n, FContentCodePage);
        return;
      }
      // Blocks of ASCII are widened directly, the other bytes mapped through the page.
      const auto &table = *FByteTable;
      if (ADest.size() != n) ADest.resize(n);
      char16_t *d = ADest.data();
      std::size_t k = 0;
      for (; k + 8 <= n; k += 8) {
        std::uint64_t w;
        std::memcpy(&w, AFrom + k, 8);
        if (w & 0x8080808080808080ull) {
          for (std::size_t j = k; j < k + 8; ++j) d[j] = table[AFrom[j]];
        } else {
          for (std::size_t j = k; j < k + 8; ++j) d[j] = AFrom[j];
        }
      }
      for (; k < n; ++k) d[k] = table[AFrom[k]];
      return;
    }
  }
}

bool TVnTextParser::SelectedRange(TVnTextParserPosType AStart, TVnTextParserPosType AEnd,
                                  const Byte *&AFrom, const Byte *&ATo) {
  // The end first: tpNext may have to read on, which can move the window.
  const Int64 e = GetPos(AEnd);
  const Int64 s = GetPos(AStart);
  if (s < 0 || e < 0) throw EInvalidOperation(u"The text parser mark is not set");
  if (e <= s) return false;
  if (s < FBasePos) throw EInvalidOperation(u"The selected text is no longer available");
  AFrom = FBase + (s - FBasePos);
  ATo = FBase + (e - FBasePos);
  return true;
}

void TVnTextParser::SelectedToSlow(TVnTextParserPosType AStart, TVnTextParserPosType AEnd,
                                   bool AClear, UnicodeString &ADest) {
  const Byte *from, *to;
  if (SelectedRange(AStart, AEnd, from, to))
    ConvertTo(from, to, ADest);
  else
    ADest.clear();
  if (AClear && AStart >= tpMark1) ClearMark(AStart);
}

UnicodeString TVnTextParser::Selected(TVnTextParserPosType AStart, TVnTextParserPosType AEnd,
                                      bool AClear) {
  const Byte *from, *to;
  UnicodeString r;
  if (SelectedRange(AStart, AEnd, from, to)) r = Convert(from, to);
  if (AClear && AStart >= tpMark1) ClearMark(AStart);
  return r;
}

AnsiString TVnTextParser::SelectedA(TVnTextParserPosType AStart, TVnTextParserPosType AEnd,
                                    bool AClear) {
  const Byte *from, *to;
  AnsiString r;
  if (SelectedRange(AStart, AEnd, from, to)) {
    if (FCharSetType == cstW) {
      r = AnsiString(UnicodeToCodePage(Convert(from, to), FContentCodePage), FContentCodePage);
    } else {
      r = AnsiString(std::string_view(reinterpret_cast<const char *>(from),
                                      static_cast<std::size_t>(to - from)),
                     FCharSetType == cstU ? CP_UTF8 : FContentCodePage);
    }
  }
  if (AClear && AStart >= tpMark1) ClearMark(AStart);
  return r;
}

void TVnTextParser::SkipAscii(const Byte *ATable, bool AIn) {
  const Byte in = AIn ? 1 : 0;
  if (FMinCharBytes == 1) {
    for (;;) {
      const Byte *p = FCur;
      const Byte *e = FLimit;
      while (p < e && ATable[*p] == in) ++p;
      FCur = p;
      if (p < e || Available(1) == 0) return;
    }
  }
  for (;;) {
    const Byte *p = FCur;
    const Byte *e = FLimit;
    while (e - p >= 2) {
      char16_t u;
      std::memcpy(&u, p, 2);
      if ((u < 128 ? ATable[u] : 0) != in) break;
      p += 2;
    }
    FCur = p;
    if (e - p >= 2 || Available(2) < 2) return;
  }
}

void TVnTextParser::SkipToRun(char AChar) {
  const Byte c = static_cast<Byte>(AChar);
  if (FMinCharBytes == 1) {
    // In UTF-8 the bytes of a longer sequence are all above 127: the search decides on bytes,
    // sixteen at a time over the first 64 (most runs are names and short values), then by
    // memchr, which takes long runs in wider steps.
#if defined(__SSE2__)
    const __m128i vc = _mm_set1_epi8(static_cast<char>(c));
#endif
    for (;;) {
      const Byte *p = FCur;
      const Byte *e = FLimit;
#if defined(__SSE2__)
      for (int k = 0; k < 4 && e - p >= 16; ++k, p += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
        const int m = _mm_movemask_epi8(_mm_cmpeq_epi8(v, vc));
        if (m) {
          FCur = p + __builtin_ctz(static_cast<unsigned>(m));
          return;
        }
      }
#endif
      const void *q = p < e ? std::memchr(p, c, static_cast<std::size_t>(e - p)) : nullptr;
      if (q) {
        FCur = static_cast<const Byte *>(q);
        return;
      }
      FCur = e;
      if (Available(1) == 0) return;
    }
  }
  SkipRunWide([c](char16_t u) { return u != c; });
}

namespace {

void PtrSkipA(TVnTextParser *P, TVnTextParserSkipOp AOperator, const void *ACharPtr) {
  P->SrcASkipWhileA(AOperator, *static_cast<const char *>(ACharPtr));
}

void PtrSkipU(TVnTextParser *P, TVnTextParserSkipOp AOperator, const void *ACharPtr) {
  P->SrcUSkipWhileA(AOperator, *static_cast<const char *>(ACharPtr));
}

void PtrSkipW(TVnTextParser *P, TVnTextParserSkipOp AOperator, const void *ACharPtr) {
  P->SrcWSkipWhileW(AOperator, *static_cast<const char16_t *>(ACharPtr));
}

// In cstA and cstU the raw byte is the source form of the character (in UTF-8 the bytes of a
// longer sequence are all above 127), in cstW the 16-bit unit.
bool PtrCheckA(TVnTextParser *P, const void *ACharPtr, bool ARaise) {
  const char c = *static_cast<const char *>(ACharPtr);
  if (P->CurrUnit() == static_cast<Byte>(c) && (c != 0 || !P->Eof())) return true;
  if (ARaise) P->RaiseExpected(UnicodeString(1, static_cast<Byte>(c)));
  return false;
}

bool PtrCheckW(TVnTextParser *P, const void *ACharPtr, bool ARaise) {
  const char16_t c = *static_cast<const char16_t *>(ACharPtr);
  if (P->CurrUnit() == c && (c != 0 || !P->Eof())) return true;
  if (ARaise) P->RaiseExpected(UnicodeString(1, c));
  return false;
}

}  // namespace

TVnTextParser::TPtrSkipFunc TVnTextParser::PtrSkipFunc(TVnCharacterSetType AType) noexcept {
  return AType == cstW ? &PtrSkipW : AType == cstU ? &PtrSkipU : &PtrSkipA;
}

TVnTextParser::TPtrCheckFunc TVnTextParser::PtrCheckFunc(TVnCharacterSetType AType) noexcept {
  return AType == cstW ? &PtrCheckW : &PtrCheckA;
}

void TVnTextParser::RaiseExpected(const UnicodeString &AExpected) {
  throw EVnException(u"\"%s\" expected, but \"%s\" found!", {AExpected, CurrentText()}, 2);
}

void TVnTextParser::SkipToEitherRun(char A, char B) {
  // In UTF-8 the bytes of a longer sequence are all above 127: the search decides on bytes.
  const Byte a = static_cast<Byte>(A), b = static_cast<Byte>(B);
  SkipRun(
      [a, b](const Byte *p) {
#if defined(__SSE2__)
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
        return static_cast<unsigned>(_mm_movemask_epi8(
            _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8(static_cast<char>(a))),
                         _mm_cmpeq_epi8(v, _mm_set1_epi8(static_cast<char>(b))))));
#else
        (void)p;
        return 0u;
#endif
      },
      [a, b](Byte c) { return c != a && c != b; }, [a, b](char16_t u) { return u != a && u != b; });
}

void TVnTextParser::SkipControlsRun() {
  // In UTF-8 and the one-byte pages a byte up to 0x20 is always the character itself.
  SkipRun(
      [](const Byte *p) {
#if defined(__SSE2__)
        // A byte is in the set where the smaller of it and 0x20 is the byte itself.
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
        const __m128i in = _mm_cmpeq_epi8(_mm_min_epu8(v, _mm_set1_epi8(0x20)), v);
        return ~static_cast<unsigned>(_mm_movemask_epi8(in)) & 0xFFFFu;
#else
        (void)p;
        return 0u;
#endif
      },
      [](Byte c) { return c <= 0x20; }, [](char16_t u) { return u <= 0x20; });
}

void TVnTextParser::SkipOver(char AChar) {
  const Byte c = static_cast<Byte>(AChar);
  SkipRun(
      [c](const Byte *p) {
#if defined(__SSE2__)
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
        const __m128i same = _mm_cmpeq_epi8(v, _mm_set1_epi8(static_cast<char>(c)));
        return ~static_cast<unsigned>(_mm_movemask_epi8(same)) & 0xFFFFu;
#else
        (void)p;
        return 0u;
#endif
      },
      [c](Byte b) { return b == c; }, [c](char16_t u) { return u == c; });
}

UnicodeString TVnTextParser::CurrentText() {
  UnicodeString s = PeekString(1);
  if (s.size() != 1) return s;
  if (s[0] == 0) {
    s.clear();
  } else if (s[0] >= 0xD800 && s[0] <= 0xDBFF) {
    // In UTF-16 a character beyond 16 bits is two steps: show both halves.
    UnicodeString pair = PeekString(2);
    if (pair.size() == 2 && pair[1] >= 0xDC00 && pair[1] <= 0xDFFF) s = pair;
  }
  return s;
}

}  // namespace vn
