// The text conversions of JSON: escaping, unescaping, values as JSON text, the date forms and
// the type bridges of the serializers.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "vnxml/common/uVnClasses/Utf8.h"
#include "vnxml/json/uVnJSON/Internal.h"
#include "vnxml/rtl/DateUtils.h"
#include "vnxml/json/uVnJSONSerializer.h"
#include "vnxml/xml/uVnXMLUtils.h"

namespace vn {

VnJSONString VnStrToJSON(UnicodeStringView AText) {
  VnJSONString r;
  if (AText.empty()) return r;
  r.reserve(AText.size() + AText.size() / 8 + 2);
  json::AppendEscaped(r, AText);
  return r;
}

void VnAppendStrToJSON(VnJSONString &ADest, UnicodeStringView AText) {
  json::AppendEscaped(ADest, AText);
}

namespace {

using json::EscapedWidth;

// Appends the escaped form of ACount units, AUnit(i) giving the i-th: the width is counted
// first, so that the text grows once and is written in place.
template <class F>
void AppendEscapedUnits(UnicodeString &r, std::size_t ACount, F AUnit) {
  std::size_t width = 0;
  bool changed = false;
  for (std::size_t i = 0; i < ACount; ++i) {
    const std::size_t w = EscapedWidth(AUnit(i));
    width += w;
    changed |= w != 1;
  }
  const std::size_t at = r.size();
  r.resize(at + width);
  char16_t *d = r.data() + at;
  // A vanished unit and an escape may leave the width as it was: only a text without either is
  // copied as it stands.
  if (!changed) {
    for (std::size_t i = 0; i < ACount; ++i) d[i] = AUnit(i);
    return;
  }
  for (std::size_t i = 0; i < ACount; ++i) d = json::PutEscaped(d, AUnit(i));
}

#if defined(__SSE2__)
// Eight or sixteen characters given a byte a character, as UTF-16 units at ADest.
inline void Widen8(const Byte *ASource, char16_t *ADest) noexcept {
  const __m128i bytes = _mm_loadl_epi64(reinterpret_cast<const __m128i *>(ASource));
  _mm_storeu_si128(reinterpret_cast<__m128i *>(ADest),
                   _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
}
inline void Widen16(const Byte *ASource, char16_t *ADest) noexcept {
  const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(ASource));
  _mm_storeu_si128(reinterpret_cast<__m128i *>(ADest),
                   _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
  _mm_storeu_si128(reinterpret_cast<__m128i *>(ADest + 8),
                   _mm_unpackhi_epi8(bytes, _mm_setzero_si128()));
}
// The lanes of ABytes that escaping changes, or may change: below 14, '"', '/' and '\\'.
inline int EscapeMask(__m128i ABytes) noexcept {
  const __m128i hit =
      _mm_or_si128(_mm_or_si128(_mm_cmpeq_epi8(_mm_min_epu8(ABytes, _mm_set1_epi8(13)), ABytes),
                                _mm_cmpeq_epi8(ABytes, _mm_set1_epi8('"'))),
                   _mm_or_si128(_mm_cmpeq_epi8(ABytes, _mm_set1_epi8('/')),
                                _mm_cmpeq_epi8(ABytes, _mm_set1_epi8('\\'))));
  return _mm_movemask_epi8(hit);
}
inline bool Plain8(const Byte *AData) noexcept {
  return (EscapeMask(_mm_loadl_epi64(reinterpret_cast<const __m128i *>(AData))) & 0xFF) == 0;
}
#endif

// Copies ACount characters given a byte a character as UTF-16 units. From eight characters on,
// the last eight are taken by a step that may overlap the one before.
void Widen(const Byte *ASource, std::size_t ACount, char16_t *ADest) noexcept {
  std::size_t i = 0;
#if defined(__SSE2__)
  for (; i + 16 <= ACount; i += 16) Widen16(ASource + i, ADest + i);
  if (ACount >= 8) {
    if (ACount - i > 8) Widen8(ASource + i, ADest + i);
    if (i < ACount) Widen8(ASource + ACount - 8, ADest + ACount - 8);
    return;
  }
#endif
  for (; i < ACount; ++i) ADest[i] = ASource[i];
}

// Whether no character of the narrow text changes when escaped (sixteen or eight at a time
// where the machine can).
bool EscapesAsItStands(const Byte *AData, std::size_t ACount) noexcept {
  std::size_t i = 0;
#if defined(__SSE2__)
  for (; i + 16 <= ACount; i += 16)
    if (EscapeMask(_mm_loadu_si128(reinterpret_cast<const __m128i *>(AData + i)))) return false;
  if (ACount >= 8) {
    if (ACount - i > 8 && !Plain8(AData + i)) return false;
    return i == ACount || Plain8(AData + ACount - 8);
  }
#endif
  for (; i < ACount; ++i)
    if (json::cEscapedWidth[AData[i]] != 1) return false;
  return true;
}

}  // namespace

void json::AppendEscaped(UnicodeString &r, UnicodeStringView AText) {
  const char16_t *p = AText.data();
  AppendEscapedUnits(r, AText.size(), [p](std::size_t I) { return p[I]; });
}

void json::AppendEscaped(UnicodeString &r, std::string_view ANarrow) {
  const auto *bytes = reinterpret_cast<const Byte *>(ANarrow.data());
  if (EscapesAsItStands(bytes, ANarrow.size())) {
    const std::size_t at = r.size();
    r.resize(at + ANarrow.size());
    Widen(bytes, ANarrow.size(), r.data() + at);
    return;
  }
  const char *p = ANarrow.data();
  AppendEscapedUnits(r, ANarrow.size(), [p](std::size_t I) {
    return static_cast<char16_t>(static_cast<unsigned char>(p[I]));
  });
}

// ---------------------------------------------------------------------------------------------
// The texts of the nodes

namespace {

using json::cTextInline;
using json::cTextLength;
using json::cTextNarrow;
constexpr Byte cInline = cTextInline;
constexpr Byte cNarrow = cTextNarrow;
constexpr Byte cLength = cTextLength;

// Text on the heap: its length, then its characters.
struct THeapText {
  Cardinal Len;
  static std::size_t SizeFor(std::size_t ALen, bool ANarrow) noexcept {
    return sizeof(Cardinal) + ALen * (ANarrow ? 1 : 2);
  }
  Byte *Data() noexcept { return reinterpret_cast<Byte *>(this) + sizeof(Cardinal); }
};

THeapText *HeapOf(const UInt64 &AWord) noexcept {
  return reinterpret_cast<THeapText *>(static_cast<std::uintptr_t>(AWord));
}

// The characters of a text: where they are, how many, and their width.
struct TTextChars {
  const Byte *Data;
  std::size_t Len;
  bool Narrow;
};

TTextChars CharsOf(Byte AInfo, const UInt64 &AWord) noexcept {
  const bool narrow = (AInfo & cNarrow) != 0;
  if (AInfo & cInline)
    return {reinterpret_cast<const Byte *>(&AWord), static_cast<std::size_t>(AInfo & cLength),
            narrow};
  if (!AWord) return {nullptr, 0, true};
  THeapText *h = HeapOf(AWord);
  return {h->Data(), h->Len, narrow};
}

}  // namespace

void json::TextRelease(Byte AInfo, UInt64 AWord) noexcept {
  THeapText *h = HeapOf(AWord);
  TVnNodePages::Release(h, THeapText::SizeFor(h->Len, (AInfo & cNarrow) != 0));
}

void json::TextSet(Byte &AInfo, UInt64 &AWord, UnicodeStringView AText) {
  // One pass without a branch, which the compiler can do many characters at a time.
  char16_t all = 0;
  for (char16_t c : AText) all |= c;
  const bool narrow = all < 256;
  const std::size_t n = AText.size();
  Byte info;
  UInt64 word = 0;
  if (n == 0) {
    info = 0;
  } else if (n <= (narrow ? 8u : 4u)) {
    info = static_cast<Byte>(cInline | (narrow ? cNarrow : 0) | n);
    auto *d = reinterpret_cast<Byte *>(&word);
    if (narrow)
      for (std::size_t i = 0; i < n; ++i) d[i] = static_cast<Byte>(AText[i]);
    else
      std::memcpy(d, AText.data(), n * 2);
  } else {
    if (n > 0x7FFFFFFFu) throw EOutOfMemory(u"Out of memory");
    auto *h = static_cast<THeapText *>(TVnNodePages::AllocateText(THeapText::SizeFor(n, narrow)));
    h->Len = static_cast<Cardinal>(n);
    Byte *d = h->Data();
    if (narrow)
      for (std::size_t i = 0; i < n; ++i) d[i] = static_cast<Byte>(AText[i]);
    else
      std::memcpy(d, AText.data(), n * 2);
    info = static_cast<Byte>((narrow ? cNarrow : 0) | std::min<std::size_t>(n, cLength));
    word = static_cast<UInt64>(reinterpret_cast<std::uintptr_t>(h));
  }
  TextFree(AInfo, AWord);
  AInfo = info;
  AWord = word;
}

namespace {

// Copies ALength bytes; from 8 to 32, by two fixed copies that may overlap instead of a call.
void CopyBytes(Byte *ADest, const char *ASource, std::size_t ALength) noexcept {
  if (ALength >= 8 && ALength <= 16) {
    std::memcpy(ADest, ASource, 8);
    std::memcpy(ADest + ALength - 8, ASource + ALength - 8, 8);
  } else if (ALength > 16 && ALength <= 32) {
    std::memcpy(ADest, ASource, 16);
    std::memcpy(ADest + ALength - 16, ASource + ALength - 16, 16);
  } else {
    std::memcpy(ADest, ASource, ALength);
  }
}

// The word of 1 to 8 narrow characters: two fixed loads that may overlap instead of a call.
UInt64 ShortWord(const char *AData, std::size_t ALength) noexcept {
  if (ALength >= 4) {
    std::uint32_t lo, hi;
    std::memcpy(&lo, AData, 4);
    std::memcpy(&hi, AData + ALength - 4, 4);
    return lo | static_cast<UInt64>(hi) << ((ALength - 4) * 8);
  }
  UInt64 word = static_cast<Byte>(AData[0]);
  if (ALength > 1) word |= static_cast<UInt64>(static_cast<Byte>(AData[1])) << 8;
  if (ALength > 2) word |= static_cast<UInt64>(static_cast<Byte>(AData[2])) << 16;
  return word;
}

}  // namespace

void json::TextSetAscii(Byte &AInfo, UInt64 &AWord, const char *AData, std::size_t ALength) {
  Byte info;
  UInt64 word = 0;
  if (ALength == 0) {
    info = 0;
  } else if (ALength <= 8) {
    info = static_cast<Byte>(cInline | cNarrow | ALength);
    word = ShortWord(AData, ALength);
  } else {
    if (ALength > 0x7FFFFFFFu) throw EOutOfMemory(u"Out of memory");
    auto *h =
        static_cast<THeapText *>(TVnNodePages::AllocateText(THeapText::SizeFor(ALength, true)));
    h->Len = static_cast<Cardinal>(ALength);
    CopyBytes(h->Data(), AData, ALength);
    info = static_cast<Byte>(cNarrow | std::min<std::size_t>(ALength, cLength));
    word = static_cast<UInt64>(reinterpret_cast<std::uintptr_t>(h));
  }
  TextFree(AInfo, AWord);
  AInfo = info;
  AWord = word;
}

// ---------------------------------------------------------------------------------------------
// Latent values

namespace {

static_assert(std::endian::native == std::endian::little && sizeof(std::uintptr_t) == 8,
              "a latent value keeps up to seven characters in the high bytes of its word");

// The marks of the two forms whose address stands shifted up by eight bits, and the bits that
// tell them from each other and from the other forms.
constexpr std::uintptr_t cWideMark = json::cLatent | json::cLatentWhole | json::cLatentWide;
constexpr std::uintptr_t cPackedMark = cWideMark | json::cLatentNumber;
constexpr std::uintptr_t cShiftedMarks = cPackedMark;

// A number of 8 to 30 characters, all digits, signs, points and exponent marks, is kept two
// characters a byte (a number's text is mostly its digits), the first in the low half: a digit
// as its value, a sign or point as the low half of its character (B, D, E), an exponent mark as
// A ("E") or C ("e"). The length stands in the word's top byte above the address, the codes in
// room of 8 bytes (up to 16 characters) or 16.
constexpr std::size_t cPackedMin = 8;
constexpr std::size_t cPackedMax = 30;
constexpr char cPackedChars[] = "0123456789E+e-.?";

std::size_t PackedSize(std::size_t ALength) noexcept {
  return ALength <= 16 ? 8 : 16;
}

// The word of a text at AAt, with AMark, which the address is shifted above, and ATopBits
// more bits above the address; null when the address does not leave them and the eight of
// the shift free (user addresses do), after freeing the room.
TVnJSONBase *ShiftedLatent(void *AAt, std::size_t ASize, std::uintptr_t AMark,
                           unsigned ATopBits) noexcept {
  const auto at = reinterpret_cast<std::uintptr_t>(AAt);
  if (at >> (8 * sizeof(std::uintptr_t) - 8 - ATopBits)) {
    TVnNodePages::Release(AAt, ASize);
    return nullptr;
  }
  return reinterpret_cast<TVnJSONBase *>((at << 8) | AMark);
}

// Packs 16 characters a half (a number's, then "0"s) into 8 bytes of codes a half, AHalves
// of them; false when one of the characters is not a number's (looked at unless AScanned).
bool PackCodes(const char *AChars, int AHalves, bool AScanned, Byte *ACodes) noexcept {
#if defined(__SSE2__)
  __m128i pairs[2] = {_mm_setzero_si128(), _mm_setzero_si128()};
  for (int half = 0; half < AHalves; ++half) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(AChars + 16 * half));
    // An exponent mark either way, by its lower case; the rest from "+" to "9" but "," and "/".
    const __m128i mark = _mm_cmpeq_epi8(_mm_or_si128(v, _mm_set1_epi8(0x20)), _mm_set1_epi8('e'));
    if (!AScanned) {
      const __m128i from = _mm_sub_epi8(v, _mm_set1_epi8('+'));
      const __m128i inRange = _mm_cmpeq_epi8(_mm_min_epu8(from, _mm_set1_epi8('9' - '+')), from);
      const __m128i gap = _mm_or_si128(_mm_cmpeq_epi8(v, _mm_set1_epi8(',')),
                                       _mm_cmpeq_epi8(v, _mm_set1_epi8('/')));
      if (_mm_movemask_epi8(_mm_or_si128(_mm_andnot_si128(gap, inRange), mark)) != 0xFFFF)
        return false;
    }
    // The low half of the character; for a mark five more, and two more again for "e".
    const __m128i low = _mm_and_si128(v, _mm_set1_epi8(0x0F));
    const __m128i lower = _mm_srli_epi16(_mm_and_si128(v, _mm_set1_epi8(0x20)), 4);
    const __m128i codes =
        _mm_add_epi8(low, _mm_and_si128(mark, _mm_add_epi8(lower, _mm_set1_epi8(5))));
    // Two codes a byte: the high byte of each 16-bit lane moves into the high half of its low
    // byte.
    pairs[half] =
        _mm_and_si128(_mm_or_si128(codes, _mm_srli_epi16(codes, 4)), _mm_set1_epi16(0xFF));
  }
  _mm_storeu_si128(reinterpret_cast<__m128i *>(ACodes), _mm_packus_epi16(pairs[0], pairs[1]));
  return true;
#else
  (void)AScanned;
  for (std::size_t i = 0; i < 16 * static_cast<std::size_t>(AHalves); ++i) {
    const auto c = static_cast<unsigned char>(AChars[i]);
    int code;
    if (c >= '0' && c <= '9')
      code = c - '0';
    else if (c == '+' || c == '-' || c == '.')
      code = c & 0x0F;
    else if (c == 'e' || c == 'E')
      code = (c & 0x0F) + 5 + ((c & 0x20) >> 4);
    else
      return false;
    if (i & 1)
      ACodes[i / 2] = static_cast<Byte>(ACodes[i / 2] | (code << 4));
    else
      ACodes[i / 2] = static_cast<Byte>(code);
  }
  return true;
#endif
}

// The packed latent number of ALength characters, which ACopy writes, or null when one of them
// has no code.
template <class G>
TVnJSONBase *PackNumber(std::size_t ALength, bool AScanned, G &&ACopy) {
  char chars[32];
  std::memset(chars, '0', sizeof chars);
  ACopy(reinterpret_cast<Byte *>(chars));
  Byte codes[16];
  if (!PackCodes(chars, ALength <= 16 ? 1 : 2, AScanned, codes)) return nullptr;
  const std::size_t size = PackedSize(ALength);
  void *room = TVnNodePages::AllocateText(size);
  if (size == 8)
    std::memcpy(room, codes, 8);
  else
    std::memcpy(room, codes, 16);
  return ShiftedLatent(room, size, (UInt64(ALength) << 56) | cPackedMark, 8);
}

// The latent value of ALength narrow characters: AAt gives the I-th for text that stands in the
// word, ACopy writes them all into the room of a longer text.
template <class F, class G>
TVnJSONBase *MakeLatent(TVnJSONDataType ADataType, std::size_t ALength, bool AScanned, F &&AAt,
                        G &&ACopy) {
  if (ADataType > jdtBoolean) return nullptr;
  if (ALength <= 7) {
    UInt64 word = json::cLatent | json::cLatentWhole | (UInt64(ADataType) << 2) | (ALength << 4);
    for (std::size_t i = 0; i < ALength; ++i) word |= UInt64(AAt(i)) << (8 * (i + 1));
    return reinterpret_cast<TVnJSONBase *>(static_cast<std::uintptr_t>(word));
  }
  if (ADataType != jdtString && ADataType != jdtNumber) return nullptr;
  if (ADataType == jdtNumber && ALength >= cPackedMin && ALength <= cPackedMax)
    if (TVnJSONBase *packed = PackNumber(ALength, AScanned, ACopy)) return packed;
  if (ALength > 0x7FFFFFFFu) throw EOutOfMemory(u"Out of memory");
  auto *h = static_cast<THeapText *>(TVnNodePages::AllocateText(THeapText::SizeFor(ALength, true)));
  h->Len = static_cast<Cardinal>(ALength);
  ACopy(h->Data());
  return reinterpret_cast<TVnJSONBase *>(reinterpret_cast<std::uintptr_t>(h) | json::cLatent |
                                         (ADataType == jdtNumber ? json::cLatentNumber : 0));
}

bool IsWideLatent(std::uintptr_t AWord) noexcept {
  return (AWord & cShiftedMarks) == cWideMark;
}

bool IsPackedLatent(std::uintptr_t AWord) noexcept {
  return (AWord & cShiftedMarks) == cPackedMark;
}

THeapText *LatentHeap(const TVnJSONBase *ASlot) noexcept {
  const auto word = reinterpret_cast<std::uintptr_t>(ASlot);
  return reinterpret_cast<THeapText *>(IsWideLatent(word) ? word >> 8 : word & ~std::uintptr_t(7));
}

Byte *LatentPacked(const TVnJSONBase *ASlot) noexcept {
  return reinterpret_cast<Byte *>((reinterpret_cast<std::uintptr_t>(ASlot) >> 8) &
                                  ((std::uintptr_t(1) << 48) - 1));
}

std::size_t PackedLength(const TVnJSONBase *ASlot) noexcept {
  return reinterpret_cast<std::uintptr_t>(ASlot) >> 56;
}

// Writes the characters of a packed number at ADest, which has room for 32 (what stands behind
// the number's own is left undefined); returns their count.
std::size_t Unpack(const TVnJSONBase *ASlot, Byte *ADest) noexcept {
  const Byte *codes = LatentPacked(ASlot);
  const std::size_t n = PackedLength(ASlot);
#if defined(__SSE2__)
  // The room holds 8 bytes of codes up to 16 characters, else 16.
  const __m128i packed = n <= 16 ? _mm_loadl_epi64(reinterpret_cast<const __m128i *>(codes))
                                 : _mm_loadu_si128(reinterpret_cast<const __m128i *>(codes));
  const __m128i nibble = _mm_set1_epi8(0x0F);
  const __m128i low = _mm_and_si128(packed, nibble);
  const __m128i high = _mm_and_si128(_mm_srli_epi16(packed, 4), nibble);
  const __m128i halves[2] = {_mm_unpacklo_epi8(low, high), _mm_unpackhi_epi8(low, high)};
  for (int k = 0; k < (n <= 16 ? 1 : 2); ++k) {
    const __m128i x = halves[k];
    // A digit is 0x30 above its code, a sign or point 0x20 (the codes are their low halves);
    // the marks are 0x45 ("E", A) and 0x65 ("e", C).
    const __m128i digit = _mm_cmplt_epi8(x, _mm_set1_epi8(10));
    const __m128i lower = _mm_cmpeq_epi8(x, _mm_set1_epi8(12));
    const __m128i mark = _mm_or_si128(_mm_cmpeq_epi8(x, _mm_set1_epi8(10)), lower);
    const __m128i other = _mm_or_si128(_mm_or_si128(x, _mm_set1_epi8(0x20)),
                                       _mm_and_si128(digit, _mm_set1_epi8(0x10)));
    const __m128i letter =
        _mm_or_si128(_mm_set1_epi8(0x45), _mm_and_si128(lower, _mm_set1_epi8(0x20)));
    const __m128i chars = _mm_or_si128(_mm_andnot_si128(mark, other), _mm_and_si128(mark, letter));
    _mm_storeu_si128(reinterpret_cast<__m128i *>(ADest + 16 * k), chars);
  }
#else
  for (std::size_t i = 0; i < n; ++i)
    ADest[i] = static_cast<Byte>(cPackedChars[(codes[i / 2] >> (4 * (i & 1))) & 0xF]);
#endif
  return n;
}

}  // namespace

TVnJSONBase *json::LatentMake(TVnJSONDataType ADataType, std::string_view ANarrow, bool AScanned) {
  const char *p = ANarrow.data();
  return MakeLatent(
      ADataType, ANarrow.size(), AScanned, [p](std::size_t I) { return static_cast<Byte>(p[I]); },
      [ANarrow](Byte *ADest) { CopyBytes(ADest, ANarrow.data(), ANarrow.size()); });
}

TVnJSONBase *json::LatentMake(TVnJSONDataType ADataType, UnicodeStringView AText) {
  char16_t all = 0;
  for (char16_t c : AText) all |= c;
  if (all >= 256) {
    // A string with wider characters keeps them as UTF-16 units on the heap; the address must
    // leave room for the eight bits it is shifted by (user addresses do).
    const std::size_t n = AText.size();
    if (ADataType != jdtString || n > 0x7FFFFFFFu) return nullptr;
    const std::size_t size = THeapText::SizeFor(n, false);
    auto *h = static_cast<THeapText *>(TVnNodePages::AllocateText(size));
    h->Len = static_cast<Cardinal>(n);
    std::memcpy(h->Data(), AText.data(), n * 2);
    return ShiftedLatent(h, size, cWideMark, 0);
  }
  const char16_t *p = AText.data();
  auto at = [p](std::size_t I) { return static_cast<Byte>(p[I]); };
  return MakeLatent(ADataType, AText.size(), false, at, [&](Byte *ADest) {
    for (std::size_t i = 0; i < AText.size(); ++i) ADest[i] = at(i);
  });
}

void json::LatentRead(const TVnJSONBase *ASlot, TLatentText &AText) noexcept {
  const auto word = static_cast<UInt64>(reinterpret_cast<std::uintptr_t>(ASlot));
  THeapText *h;
  if (IsPackedLatent(word)) {
    // The characters are written out into the room that comes with AText.
    static_assert(sizeof AText.Room >= sizeof(THeapText) + 32);
    h = reinterpret_cast<THeapText *>(AText.Room);
    h->Len = static_cast<Cardinal>(Unpack(ASlot, h->Data()));
    AText.Type = jdtNumber;
  } else if (IsWideLatent(word)) {
    h = LatentHeap(ASlot);
    AText.Type = jdtString;
    AText.Info = static_cast<Byte>(std::min<std::size_t>(h->Len, cLength));
    AText.Word = static_cast<UInt64>(reinterpret_cast<std::uintptr_t>(h));
    return;
  } else if (word & cLatentWhole) {
    const auto length = static_cast<Byte>((word >> 4) & 7);
    AText.Type = static_cast<TVnJSONDataType>((word >> 2) & 3);
    AText.Info = static_cast<Byte>(length ? cInline | cNarrow | length : 0);
    AText.Word = word >> 8;
    return;
  } else {
    h = LatentHeap(ASlot);
    AText.Type = (word & cLatentNumber) ? jdtNumber : jdtString;
  }
  AText.Info = static_cast<Byte>(cNarrow | std::min<std::size_t>(h->Len, cLength));
  AText.Word = static_cast<UInt64>(reinterpret_cast<std::uintptr_t>(h));
}

void json::LatentTake(TVnJSONBase *ASlot, TLatentText &AText) {
  const auto slot = reinterpret_cast<std::uintptr_t>(ASlot);
  if (IsPackedLatent(slot)) {
    // The node holds the characters one a byte: in its word, or in room of its own.
    const std::size_t n = PackedLength(ASlot);
    AText.Type = jdtNumber;
    Byte chars[32];
    Unpack(ASlot, chars);
    if (n <= 8) {
      UInt64 word = 0;
      std::memcpy(&word, chars, n);
      AText.Info = static_cast<Byte>(cInline | cNarrow | n);
      AText.Word = word;
    } else {
      auto *h = static_cast<THeapText *>(TVnNodePages::AllocateText(THeapText::SizeFor(n, true)));
      h->Len = static_cast<Cardinal>(n);
      std::memcpy(h->Data(), chars, n);
      AText.Info = static_cast<Byte>(cNarrow | std::min<std::size_t>(n, cLength));
      AText.Word = static_cast<UInt64>(reinterpret_cast<std::uintptr_t>(h));
    }
    TVnNodePages::Release(LatentPacked(ASlot), PackedSize(n));
    return;
  }
  LatentRead(ASlot, AText);
  const bool wide = IsWideLatent(slot);
  if ((slot & cLatentWhole) && !wide) return;
  // Text of up to 8 narrow characters (4 others) stands in the word of a node, as TextSet would
  // keep it.
  THeapText *h = LatentHeap(ASlot);
  if (h->Len > (wide ? 4u : 8u)) return;
  UInt64 word = 0;
  std::memcpy(&word, h->Data(), h->Len * (wide ? 2 : 1));
  AText.Info = static_cast<Byte>(cInline | (wide ? 0 : cNarrow) | h->Len);
  AText.Word = word;
  TVnNodePages::Release(h, THeapText::SizeFor(h->Len, !wide));
}

void json::LatentFree(TVnJSONBase *ASlot) noexcept {
  const auto slot = reinterpret_cast<std::uintptr_t>(ASlot);
  if (IsPackedLatent(slot)) {
    TVnNodePages::Release(LatentPacked(ASlot), PackedSize(PackedLength(ASlot)));
    return;
  }
  const bool wide = IsWideLatent(slot);
  if ((slot & cLatentWhole) && !wide) return;
  THeapText *h = LatentHeap(ASlot);
  TVnNodePages::Release(h, THeapText::SizeFor(h->Len, !wide));
}

TVnJSONBase *json::RecordMake(Byte AInfo, UInt64 AName, TVnJSONBase *AValue) {
  auto *r = static_cast<TMemberRecord *>(TVnNodePages::AllocateText(sizeof(TMemberRecord)));
  r->Name = AName;
  r->Value = AValue;
  return reinterpret_cast<TVnJSONBase *>(reinterpret_cast<std::uintptr_t>(r) |
                                         std::uintptr_t(AInfo) << cRecordInfoShift | cLatent);
}

void json::RecordFree(TVnJSONBase *ASlot, bool AWhole) noexcept {
  Byte info;
  TMemberRecord *r = RecordOf(ASlot, info);
  if (AWhole) {
    TextFree(info, r->Name);
    LatentFree(r->Value);
  }
  TVnNodePages::Release(r, sizeof(TMemberRecord));
}

void json::TextAppend(UnicodeString &ADest, Byte AInfo, const UInt64 &AWord) {
  const TTextChars t = CharsOf(AInfo, AWord);
  if (!t.Len) return;
  const std::size_t at = ADest.size();
  ADest.resize(at + t.Len);
  char16_t *d = ADest.data() + at;
  if (t.Narrow)
    Widen(t.Data, t.Len, d);
  else
    std::memcpy(d, t.Data, t.Len * 2);
}

UnicodeString json::TextString(Byte AInfo, const UInt64 &AWord) {
  UnicodeString r;
  TextAppend(r, AInfo, AWord);
  return r;
}

void json::TextAppendEscaped(UnicodeString &ADest, Byte AInfo, const UInt64 &AWord) {
  const TTextChars t = CharsOf(AInfo, AWord);
  if (!t.Len) return;
  if (t.Narrow) {
    AppendEscaped(ADest, std::string_view(reinterpret_cast<const char *>(t.Data), t.Len));
  } else {
    // The units may stand unaligned in the word: each is read by a copy of its two bytes.
    const Byte *data = t.Data;
    AppendEscapedUnits(ADest, t.Len, [data](std::size_t I) {
      char16_t c;
      std::memcpy(&c, data + 2 * I, 2);
      return c;
    });
  }
}

bool json::TextEquals(Byte AInfo, const UInt64 &AWord, UnicodeStringView AText,
                      bool ACaseInsensitive) {
  const TTextChars t = CharsOf(AInfo, AWord);
  if (t.Len != AText.size()) return false;
  for (std::size_t i = 0; i < t.Len; ++i) {
    char16_t c;
    if (t.Narrow) {
      c = t.Data[i];
    } else {
      std::memcpy(&c, t.Data + 2 * i, 2);
    }
    char16_t d = AText[i];
    if (c == d) continue;
    if (!ACaseInsensitive) return false;
    if (c >= u'a' && c <= u'z') c = static_cast<char16_t>(c - 32);
    if (d >= u'a' && d <= u'z') d = static_cast<char16_t>(d - 32);
    if (c != d) return false;
  }
  return true;
}

std::size_t json::ToUTF8(UnicodeStringView AText, char *ADest) noexcept {
  const char16_t *p = AText.data();
  const char16_t *e = p + AText.size();
  char *d = ADest;
  while (p < e) {
#if defined(__SSE2__)
    // Runs of ASCII, the most of most documents, eight units at a time; after a step that meets
    // anything else, the next eight units go one by one, so that text mostly beyond ASCII does
    // not pay for a failed step on every character.
    const __m128i high = _mm_set1_epi16(-128);
    while (e - p >= 8) {
      const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p));
      if (_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(units, high), _mm_setzero_si128())) !=
          0xFFFF)
        break;
      _mm_storel_epi64(reinterpret_cast<__m128i *>(d), _mm_packus_epi16(units, units));
      p += 8;
      d += 8;
    }
    if (p == e) break;
#endif
    const char16_t *stop = e - p > 8 ? p + 8 : e;
    while (p < stop) {
      const char16_t c = *p++;
      if (c < 0x80) {
        *d++ = static_cast<char>(c);
      } else if (c < 0x800) {
        *d++ = static_cast<char>(0xC0 | (c >> 6));
        *d++ = static_cast<char>(0x80 | (c & 0x3F));
      } else if (c >= 0xD800 && c <= 0xDBFF && p < e && *p >= 0xDC00 && *p <= 0xDFFF) {
        const char32_t u = 0x10000 + ((char32_t(c) - 0xD800) << 10) + (char32_t(*p++) - 0xDC00);
        *d++ = static_cast<char>(0xF0 | (u >> 18));
        *d++ = static_cast<char>(0x80 | ((u >> 12) & 0x3F));
        *d++ = static_cast<char>(0x80 | ((u >> 6) & 0x3F));
        *d++ = static_cast<char>(0x80 | (u & 0x3F));
      } else {
        const char16_t u = (c >= 0xD800 && c <= 0xDFFF) ? char16_t(0xFFFD) : c;
        *d++ = static_cast<char>(0xE0 | (u >> 12));
        *d++ = static_cast<char>(0x80 | ((u >> 6) & 0x3F));
        *d++ = static_cast<char>(0x80 | (u & 0x3F));
      }
    }
  }
  return static_cast<std::size_t>(d - ADest);
}

namespace {

// The value of a hexadecimal digit, -1 for any other character.
constexpr int HexDigit(char16_t AChar) noexcept {
  return AChar >= u'0' && AChar <= u'9'   ? AChar - u'0'
         : AChar >= u'a' && AChar <= u'f' ? AChar - u'a' + 10
         : AChar >= u'A' && AChar <= u'F' ? AChar - u'A' + 10
                                          : -1;
}

// What a backslash and the letter AChar stand for, "u" and "%" aside: a control character for
// "b", "f", "n", "r" and "t"; '"', '\\', '/' and any other character stand for themselves.
constexpr char16_t Unescaped(char16_t AChar) noexcept {
  switch (AChar) {
    case u'b':
      return 8;
    case u'f':
      return 12;
    case u'n':
      return 10;
    case u'r':
      return 13;
    case u't':
      return 9;
    default:
      return AChar;
  }
}

// The integer conversion of a hexadecimal escape: raises EConvertError for anything that is not
// a hexadecimal number.
Integer HexValue(UnicodeStringView ADigits) {
  // Digits only, the escapes of any document, are read here; the rest takes the conversion
  // with its messages.
  Integer r = ADigits.empty() || ADigits.size() > 4 ? -1 : 0;
  for (std::size_t i = 0; r >= 0 && i < ADigits.size(); ++i) {
    const int d = HexDigit(ADigits[i]);
    r = d < 0 ? -1 : r * 16 + d;
  }
  if (r >= 0) return r;
  UnicodeString t(u"$");
  t.append(ADigits);
  return StrToInt(t);
}

}  // namespace

std::size_t json::FindBackslashOrPercent(UnicodeStringView AText, std::size_t AFrom) noexcept {
  const std::size_t n = AText.size();
  const char16_t *p = AText.data();
  std::size_t i = AFrom;
#if defined(__SSE2__)
  // Eight units a step.
  const __m128i backslash = _mm_set1_epi16(u'\\'), percent = _mm_set1_epi16(u'%');
  for (; i + 8 <= n; i += 8) {
    const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i *>(p + i));
    const unsigned hit = static_cast<unsigned>(_mm_movemask_epi8(
        _mm_or_si128(_mm_cmpeq_epi16(v, backslash), _mm_cmpeq_epi16(v, percent))));
    if (hit) return i + static_cast<std::size_t>(__builtin_ctz(hit)) / 2;
  }
#endif
  while (i < n && p[i] != u'\\' && p[i] != u'%') ++i;
  return i;
}

UnicodeString VnJSONtoStr(UnicodeStringView AJSON, TVnJSONDataType ADataType) {
  UnicodeString r;
  if (AJSON.empty()) return r;
  const std::size_t n = AJSON.size();
  r.reserve(n);
  std::size_t i = 0;
  while (i < n) {
    // Copy the run without escapes in one append.
    const std::size_t j = json::FindBackslashOrPercent(AJSON, i);
    r.append(AJSON.data() + i, j - i);
    i = j;
    if (i >= n) break;
    const char16_t c = AJSON[i++];
    if (c == u'%') {
      if (ADataType == jdtNumber) {
        r += static_cast<char16_t>(HexValue(AJSON.substr(i, 2)) & 0xFF);
        i += 2;
      } else {
        r += c;
      }
      continue;
    }
    // A backslash at the very end stands for nothing.
    if (i >= n) break;
    const char16_t e = AJSON[i++];
    switch (e) {
      case u'u':
        r += static_cast<char16_t>(HexValue(AJSON.substr(i, 4)));
        i += 4;
        break;
      case u'%':
        r += static_cast<char16_t>(HexValue(AJSON.substr(i, 2)) & 0xFF);
        i += 2;
        break;
      default:
        r += Unescaped(e);
        break;
    }
  }
  return r;
}

bool json::DecodeStringUTF8(const char *AData, std::size_t ALength, char16_t *AOut,
                            std::size_t &ALen) noexcept {
  const Byte *p = reinterpret_cast<const Byte *>(AData);
  const Byte *const e = p + ALength;
  char16_t *d = AOut;
  for (;;) {
    // The run up to the next backslash, then the escape.
    const auto *bs =
        static_cast<const Byte *>(std::memchr(p, '\\', static_cast<std::size_t>(e - p)));
    const Byte *runEnd = bs ? bs : e;
    std::size_t len;
    if (!detail::DecodeWellFormedUTF8(p, static_cast<std::size_t>(runEnd - p), d, len))
      return false;
    d += len;
    if (!bs) break;
    p = bs + 1;
    if (p == e) return false;
    const Byte c = *p++;
    switch (c) {
      case 'u': {
        if (e - p < 4) return false;
        unsigned v = 0;
        for (int k = 0; k < 4; ++k) {
          const int digit = HexDigit(p[k]);
          if (digit < 0) return false;
          v = v * 16 + static_cast<unsigned>(digit);
        }
        *d++ = static_cast<char16_t>(v);
        p += 4;
        break;
      }
      default:
        // Not "%", which takes two hexadecimal digits.
        if (c == '%' || c >= 0x80) return false;
        *d++ = Unescaped(c);
        break;
    }
  }
  ALen = static_cast<std::size_t>(d - AOut);
  return true;
}

TVnJSONDataType VnVarTypeToJSONType(const Variant &AValue) {
  switch (TVnTypes::VarMainTypeKind(AValue)) {
    case mtkInteger:
    case mtkFloat:
      return jdtNumber;
    case mtkString:
    case mtkDateTime:
      return jdtString;
    case mtkBoolean:
      return jdtBoolean;
    case mtkArray:
      return jdtArray;
    default:
      return jdtNull;
  }
}

namespace {

VnJSONString Quoted(UnicodeStringView AText) {
  VnJSONString r;
  r.reserve(AText.size() + 2);
  r += u'"';
  r.append(AText);
  r += u'"';
  return r;
}

}  // namespace

VnJSONString VnVarToJSON(const Variant &AValue) {
  switch (TVnTypes::VarMainTypeKind(AValue)) {
    case mtkDateTime:
      return Quoted(VnDateTimeToXML(VarToDateTime(AValue), tzfNone));
    case mtkArray: {
      VnJSONString r(u"[");
      const Integer lo = VarArrayLowBound(AValue, 1);
      const Integer hi = VarArrayHighBound(AValue, 1);
      for (Integer k = lo; k <= hi; ++k) {
        if (k > lo) r += u',';
        r += VnVarToJSON(VarArrayGet(AValue, k));
      }
      r += u']';
      return r;
    }
    case mtkBoolean:
      return VnBoolToXML(VnVarToBool(AValue));
    case mtkInteger:
      return VnInt64ToXML(VnVarToInt64(AValue));
    case mtkFloat: {
      const Double d = VnVarToDouble(AValue);
      if (d == 0 && std::signbit(d)) return u"-0";
      if (std::isinf(d) || std::isnan(d)) return u"null";
      return VnDoubleToXML(d);
    }
    case mtkString:
      return Quoted(VnStrToJSON(VnVarToStr(AValue)));
    default:
      return u"null";
  }
}

// ---------------------------------------------------------------------------------------------
// Dates

namespace {

enum TDatePart { dpDate, dpTime, dpDateTime };

TDateTime JSONToDate(UnicodeStringView AText, TDatePart APart) {
  if (AText.empty()) return 0.0;
  if (AText[0] == u'/') {
    // "/Date(" milliseconds ")/": the frame is not checked, only cut off.
    UnicodeStringView ms =
        AText.size() > 8 ? AText.substr(6, AText.size() - 8) : UnicodeStringView();
    const Int64 n = StrToInt64(ms);
    switch (APart) {
      case dpDate:
        return DateOf(IncMilliSecond(EncodeDate(1970, 1, 1), n));
      case dpTime:
        return IncMilliSecond(TDateTime(0.0), n);
      default:
        return IncMilliSecond(EncodeDate(1970, 1, 1), n);
    }
  }
  switch (APart) {
    case dpDate:
      return VnXMLToDate(AText);
    case dpTime:
      return VnXMLToTime(AText, tzfNone);
    default:
      return VnXMLToDateTime(AText, tzfNone);
  }
}

TDateTime JSONToDate(const Variant &AValue, TDateTime ADefault, TDatePart APart,
                     const char16_t *AMessage) {
  if (VarIsNull(AValue)) return ADefault;
  switch (TVnTypes::VarMainTypeKind(AValue)) {
    case mtkInteger:
    case mtkFloat:
    case mtkDateTime:
      return TDateTime(VnVarToDouble(AValue));
    case mtkString:
      return JSONToDate(VnVarToStr(AValue), APart);
    default:
      throw EConvertError(AMessage);
  }
}

TDateTime JSONToDateDef(UnicodeStringView AText, TDateTime ADefault, TDatePart APart) {
  try {
    return JSONToDate(AText, APart);
  } catch (const Exception &) {
    return ADefault;
  }
}

}  // namespace

TDateTime VnJSONToDate(UnicodeStringView AText) {
  return JSONToDate(AText, dpDate);
}
TDateTime VnJSONToTime(UnicodeStringView AText) {
  return JSONToDate(AText, dpTime);
}
TDateTime VnJSONToDateTime(UnicodeStringView AText) {
  return JSONToDate(AText, dpDateTime);
}

TDateTime VnJSONToDate(const Variant &AValue, TDateTime ADefault) {
  return JSONToDate(AValue, ADefault, dpDate, _cVnJSONInvalidDate);
}
TDateTime VnJSONToTime(const Variant &AValue, TDateTime ADefault) {
  return JSONToDate(AValue, ADefault, dpTime, _cVnJSONInvalidTime);
}
TDateTime VnJSONToDateTime(const Variant &AValue, TDateTime ADefault) {
  return JSONToDate(AValue, ADefault, dpDateTime, _cVnJSONInvalidDateTime);
}

TDateTime VnJSONToDateDef(UnicodeStringView AText, TDateTime ADefault) {
  return JSONToDateDef(AText, ADefault, dpDate);
}
TDateTime VnJSONToTimeDef(UnicodeStringView AText, TDateTime ADefault) {
  return JSONToDateDef(AText, ADefault, dpTime);
}
TDateTime VnJSONToDateTimeDef(UnicodeStringView AText, TDateTime ADefault) {
  return JSONToDateDef(AText, ADefault, dpDateTime);
}

// ---------------------------------------------------------------------------------------------
// Type bridges

TVnJSONTypeName VnJSONType(PTypeInfo AType) {
  const TVnTypeInfo *t = TVnTypes::GetTypeInfo(AType);
  if (!t) return {u"any", {}};
  switch (t->Kind) {
    case vtkShortInt:
    case vtkSmallInt:
    case vtkLongInt:
    case vtkByte:
    case vtkWord:
      return {u"integer", u"int32"};
    case vtkLongWord:
    case vtkInt64:
    case vtkUInt64:
      return {u"integer", u"int64"};
    case vtkSingle:
      return {u"number", u"float"};
    case vtkDouble:
    case vtkExtended:
      return {u"number", u"double"};
    case vtkBoolean:
      return {u"boolean", {}};
    case vtkDate:
      return {u"string", u"date"};
    case vtkDateTime:
      return {u"string", u"date-time"};
    case vtkTime:
      return {u"string", u"dateTime"};
    default:
      break;
  }
  switch (t->GetMainTypeKind()) {
    case mtkString:
      return {u"string", {}};
    default:
      return {u"any", {}};
  }
}

VnJSONString VnValToJSON(const TValue &AValue) {
  const TVnTypeInfo *t = TVnTypes::GetTypeInfo(AValue.GetTypeInfo());
  if (t && (t->GetMainTypeKind() == mtkComplex || t->Kind == vtkArray || t->Kind == vtkDynArray)) {
    // Structured values are written by the JSON serializer; its document comes back as text.
    VnJSONSerializerStartUp();
    return UTF8ToString(VnSerialize(dsfJSON, AValue));
  }
  return VnValToXML(AValue);
}

TValue VnJSONToVal(UnicodeStringView AText, PTypeInfo AType, bool AUnescape) {
  const TVnTypeInfo *t = TVnTypes::GetTypeInfo(AType);
  const TVnMainTypeKind k = t ? t->GetMainTypeKind() : mtkUnknown;
  switch (k) {
    case mtkString:
      if (AUnescape) return VnXMLToValue(VnJSONtoStr(AText, jdtString), AType);
      return VnXMLToValue(AText, AType);
    case mtkInteger:
    case mtkFloat:
    case mtkBoolean:
    case mtkDateTime:
      return VnXMLToValue(AText, AType);
    default:
      throw Exception(_cVnJSONToValFailed, {t ? t->Name : UnicodeString(u"")});
  }
}

TValue VnJSONToVal(UnicodeStringView AText, const UnicodeString &ATypeName, bool AUnescape) {
  const TVnTypeInfo *t = TVnTypes::GetTypeInfo(ATypeName, tntQualifiedName, false);
  if (!t) t = TVnTypes::GetTypeInfo(ATypeName, tntName, false);
  if (!t || !t->Handle) throw Exception(_cVnJSONToValFailed, {ATypeName});
  return VnJSONToVal(AText, t->Handle, AUnescape);
}

}  // namespace vn
