// Text conversions, string routines, integer conversions and booleans of the run-time.
#include "vnxml/rtl/SysUtils.h"

#include <unicode/uchar.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <cstring>
#include <vector>

namespace vn {

// ---------------------------------------------------------------------------------------------
// UTF-16 and UTF-8

UnicodeString UTF8ToString(std::string_view AText) {
  if (AText.empty()) return UnicodeString();
  // Every byte gives at most one UTF-16 unit, a malformed one included (it becomes U+FFFD).
  UnicodeString r(AText.size(), u'\0');
  int32_t len = 0;
  UErrorCode err = U_ZERO_ERROR;
  u_strFromUTF8WithSub(reinterpret_cast<UChar *>(r.data()), static_cast<int32_t>(r.size()), &len,
                       AText.data(), static_cast<int32_t>(AText.size()), 0xFFFD, nullptr, &err);
  r.resize(U_SUCCESS(err) ? static_cast<std::size_t>(len) : 0);
  return r;
}

std::string UTF8Encode(UnicodeStringView AText) {
  if (AText.empty()) return std::string();
  // A unit gives at most three bytes; a surrogate pair four bytes for its two units.
  std::string r(AText.size() * 3, '\0');
  int32_t len = 0;
  UErrorCode err = U_ZERO_ERROR;
  u_strToUTF8WithSub(r.data(), static_cast<int32_t>(r.size()), &len,
                     reinterpret_cast<const UChar *>(AText.data()),
                     static_cast<int32_t>(AText.size()), 0xFFFD, nullptr, &err);
  r.resize(U_SUCCESS(err) ? static_cast<std::size_t>(len) : 0);
  return r;
}

UnicodeString ASCIIToString(std::string_view AText) {
  UnicodeString r;
  r.reserve(AText.size());
  for (char c : AText) r.push_back(static_cast<char16_t>(static_cast<unsigned char>(c)));
  return r;
}

// ---------------------------------------------------------------------------------------------
// String routines

namespace {

inline char16_t AsciiUpper(char16_t C) noexcept {
  return (C >= u'a' && C <= u'z') ? static_cast<char16_t>(C - 32) : C;
}

inline char16_t AsciiLower(char16_t C) noexcept {
  return (C >= u'A' && C <= u'Z') ? static_cast<char16_t>(C + 32) : C;
}

inline bool SameTextPart(UnicodeStringView A, UnicodeStringView B) noexcept {
  // Texts compared without case are mostly the same to the letter: a long one is compared as a
  // block first, and only characters that differ are folded.
  if (A.size() >= 16 && std::memcmp(A.data(), B.data(), A.size() * sizeof(char16_t)) == 0)
    return true;
  for (std::size_t i = 0; i < A.size(); ++i)
    if (A[i] != B[i] && AsciiUpper(A[i]) != AsciiUpper(B[i])) return false;
  return true;
}

}  // namespace

UnicodeString UpperCase(UnicodeStringView S) {
  UnicodeString r(S);
  for (char16_t &c : r) c = AsciiUpper(c);
  return r;
}

UnicodeString LowerCase(UnicodeStringView S) {
  UnicodeString r(S);
  for (char16_t &c : r) c = AsciiLower(c);
  return r;
}

Integer CompareText(UnicodeStringView A, UnicodeStringView B) {
  const std::size_t n = std::min(A.size(), B.size());
  for (std::size_t i = 0; i < n; ++i) {
    const char16_t a = AsciiUpper(A[i]);
    const char16_t b = AsciiUpper(B[i]);
    if (a != b) return static_cast<Integer>(a) - static_cast<Integer>(b);
  }
  return static_cast<Integer>(A.size()) - static_cast<Integer>(B.size());
}

bool detail::SameTextFolded(UnicodeStringView A, UnicodeStringView B) noexcept {
  return SameTextPart(A, B);
}

Integer CompareStr(UnicodeStringView A, UnicodeStringView B) {
  const std::size_t n = std::min(A.size(), B.size());
  for (std::size_t i = 0; i < n; ++i)
    if (A[i] != B[i]) return static_cast<Integer>(A[i]) - static_cast<Integer>(B[i]);
  return static_cast<Integer>(A.size()) - static_cast<Integer>(B.size());
}

UnicodeString Trim(UnicodeStringView S) {
  std::size_t b = 0, e = S.size();
  while (b < e && S[b] <= u' ') ++b;
  while (e > b && S[e - 1] <= u' ') --e;
  return UnicodeString(S.substr(b, e - b));
}

UnicodeString TrimLeft(UnicodeStringView S) {
  std::size_t b = 0;
  while (b < S.size() && S[b] <= u' ') ++b;
  return UnicodeString(S.substr(b));
}

UnicodeString TrimRight(UnicodeStringView S) {
  std::size_t e = S.size();
  while (e > 0 && S[e - 1] <= u' ') --e;
  return UnicodeString(S.substr(0, e));
}

Integer Pos(UnicodeStringView ASubStr, UnicodeStringView S, Integer AOffset) {
  if (ASubStr.empty() || AOffset < 1) return 0;
  const auto from = static_cast<std::size_t>(AOffset - 1);
  if (from >= S.size()) return 0;
  const std::size_t p = S.find(ASubStr, from);
  return p == UnicodeStringView::npos ? 0 : static_cast<Integer>(p + 1);
}

UnicodeString Copy(UnicodeStringView S, Integer AIndex, Integer ACount) {
  if (AIndex < 1) AIndex = 1;
  if (ACount <= 0) return UnicodeString();
  const auto from = static_cast<std::size_t>(AIndex - 1);
  if (from >= S.size()) return UnicodeString();
  return UnicodeString(S.substr(from, static_cast<std::size_t>(ACount)));
}

UnicodeString StringOfChar(char16_t C, Integer ACount) {
  return ACount > 0 ? UnicodeString(static_cast<std::size_t>(ACount), C) : UnicodeString();
}

namespace {

// Case folded text together with, for each folded unit, the index of the source unit it came
// from, so that a match in the folded text can be mapped back onto the source. Folding may
// change the length ("ß" folds to "ss"), hence the map.
struct TFoldedText {
  UnicodeString Text;
  std::vector<std::size_t> Source;  // Text.size() + 1 entries; the last is the source length
};

TFoldedText FoldCase(UnicodeStringView S) {
  TFoldedText r;
  r.Text.reserve(S.size());
  r.Source.reserve(S.size() + 1);
  UChar buf[8];
  std::size_t i = 0;
  while (i < S.size()) {
    const std::size_t start = i;
    const char16_t c = S[i];
    if (c < 0x80) {
      r.Text.push_back(AsciiLower(c));
      r.Source.push_back(start);
      ++i;
      continue;
    }
    std::size_t units = 1;
    if (U16_IS_LEAD(c) && i + 1 < S.size() && U16_IS_TRAIL(S[i + 1])) units = 2;
    i += units;
    UErrorCode err = U_ZERO_ERROR;
    const int32_t len = u_strFoldCase(buf, 8, reinterpret_cast<const UChar *>(S.data() + start),
                                      static_cast<int32_t>(units), U_FOLD_CASE_DEFAULT, &err);
    if (U_FAILURE(err) || len <= 0) {
      for (std::size_t k = start; k < i; ++k) {
        r.Text.push_back(S[k]);
        r.Source.push_back(start);
      }
      continue;
    }
    for (int32_t k = 0; k < len; ++k) {
      r.Text.push_back(static_cast<char16_t>(buf[k]));
      r.Source.push_back(start);
    }
  }
  r.Source.push_back(S.size());
  return r;
}

}  // namespace

UnicodeString StringReplace(UnicodeStringView S, UnicodeStringView AOld, UnicodeStringView ANew,
                            bool AReplaceAll, bool AIgnoreCase) {
  if (AOld.empty()) return UnicodeString(S);
  UnicodeString r;
  if (!AIgnoreCase) {
    std::size_t from = 0;
    while (true) {
      const std::size_t p = S.find(AOld, from);
      if (p == UnicodeStringView::npos) break;
      r.append(S.substr(from, p - from));
      r.append(ANew);
      from = p + AOld.size();
      if (!AReplaceAll) break;
    }
    r.append(S.substr(from));
    return r;
  }
  // Search the folded text; a match counts only when it begins and ends on the boundaries of
  // whole source characters.
  const TFoldedText text = FoldCase(S);
  const UnicodeString pattern = FoldCase(AOld).Text;
  auto isBoundary = [&](std::size_t AFolded) {
    return AFolded == 0 || AFolded == text.Text.size() ||
           text.Source[AFolded] != text.Source[AFolded - 1];
  };
  std::size_t srcFrom = 0;  // source index up to which S is copied
  std::size_t search = 0;   // folded index where the search continues
  while (true) {
    const std::size_t p = text.Text.find(pattern, search);
    if (p == UnicodeString::npos) break;
    const std::size_t e = p + pattern.size();
    if (!isBoundary(p) || !isBoundary(e)) {
      search = p + 1;
      continue;
    }
    const std::size_t srcStart = text.Source[p];
    const std::size_t srcEnd = text.Source[e];
    r.append(S.substr(srcFrom, srcStart - srcFrom));
    r.append(ANew);
    srcFrom = srcEnd;
    search = e;
    if (!AReplaceAll) break;
  }
  r.append(S.substr(srcFrom));
  return r;
}

UnicodeString QuotedStr(UnicodeStringView S, char16_t AQuote) {
  UnicodeString r;
  r.reserve(S.size() + 2);
  r.push_back(AQuote);
  for (char16_t c : S) {
    r.push_back(c);
    if (c == AQuote) r.push_back(c);
  }
  r.push_back(AQuote);
  return r;
}

bool StartsText(UnicodeStringView ASubText, UnicodeStringView AText) {
  return ASubText.size() <= AText.size() &&
         SameTextPart(ASubText, AText.substr(0, ASubText.size()));
}

bool EndsText(UnicodeStringView ASubText, UnicodeStringView AText) {
  return ASubText.size() <= AText.size() &&
         SameTextPart(ASubText, AText.substr(AText.size() - ASubText.size()));
}

bool StartsStr(UnicodeStringView ASubText, UnicodeStringView AText) {
  return AText.substr(0, std::min(AText.size(), ASubText.size())) == ASubText;
}

bool EndsStr(UnicodeStringView ASubText, UnicodeStringView AText) {
  return ASubText.size() <= AText.size() &&
         AText.substr(AText.size() - ASubText.size()) == ASubText;
}

// ---------------------------------------------------------------------------------------------
// Integer conversions

UnicodeString IntToStr(Int64 AValue) {
  const UInt64 mag = AValue < 0 ? 0 - static_cast<UInt64>(AValue) : static_cast<UInt64>(AValue);
  UnicodeString r = UIntToStr(mag);
  if (AValue < 0) r.insert(r.begin(), u'-');
  return r;
}

UnicodeString UIntToStr(UInt64 AValue) {
  char16_t buf[24];
  char16_t *p = buf + 24;
  do {
    *--p = static_cast<char16_t>(u'0' + AValue % 10);
    AValue /= 10;
  } while (AValue);
  return UnicodeString(p, buf + 24);
}

UnicodeString IntToHex(UInt64 AValue, Integer ADigits) {
  static constexpr char16_t cHex[] = u"0123456789ABCDEF";
  char16_t buf[16];
  char16_t *p = buf + 16;
  do {
    *--p = cHex[AValue & 15];
    AValue >>= 4;
  } while (AValue);
  UnicodeString r(p, buf + 16);
  if (ADigits > static_cast<Integer>(r.size()))
    r.insert(0, static_cast<std::size_t>(ADigits) - r.size(), u'0');
  return r;
}

namespace {

enum class TIntKind { Int32, Int64, UInt64 };

// Reads integer text by the rules of Val. Returns 0 and the bit pattern of the value in ARaw, or
// the 1-based index of the first character that cannot be used (the length plus one when the
// text ends too early).
Integer ValInteger(UnicodeStringView S, TIntKind AKind, UInt64 &ARaw) {
  ARaw = 0;
  const std::size_t n = S.size();
  std::size_t i = 0;
  while (i < n && S[i] == u' ') ++i;
  bool neg = false;
  if (i < n && (S[i] == u'+' || S[i] == u'-')) {
    neg = S[i] == u'-';
    // An unsigned type has no room for a minus sign.
    if (neg && AKind == TIntKind::UInt64) return static_cast<Integer>(i + 1);
    ++i;
  }
  bool hex = false;
  if (i < n && (S[i] == u'$' || S[i] == u'x' || S[i] == u'X')) {
    hex = true;
    ++i;
  } else if (i + 1 < n && S[i] == u'0' && (S[i + 1] == u'x' || S[i + 1] == u'X')) {
    hex = true;
    i += 2;
  }
  if (i >= n) return static_cast<Integer>(n + 1);

  const UInt64 bitsMax = AKind == TIntKind::Int32 ? 0xFFFFFFFFull : ~0ull;
  UInt64 decMax;  // the largest magnitude that decimal text may reach
  switch (AKind) {
    case TIntKind::Int32:
      decMax = neg ? 0x80000000ull : 0x7FFFFFFFull;
      break;
    case TIntKind::Int64:
      decMax = neg ? 0x8000000000000000ull : 0x7FFFFFFFFFFFFFFFull;
      break;
    default:
      decMax = ~0ull;
      break;
  }
  UInt64 v = 0;
  for (; i < n; ++i) {
    const char16_t c = S[i];
    unsigned d;
    if (c >= u'0' && c <= u'9')
      d = c - u'0';
    else if (hex && c >= u'a' && c <= u'f')
      d = c - u'a' + 10;
    else if (hex && c >= u'A' && c <= u'F')
      d = c - u'A' + 10;
    else
      return static_cast<Integer>(i + 1);
    if (hex) {
      if (v > (bitsMax >> 4)) return static_cast<Integer>(i + 1);
      v = (v << 4) | d;
    } else {
      if (v > (decMax - d) / 10) return static_cast<Integer>(i + 1);
      v = v * 10 + d;
    }
  }
  ARaw = neg ? (0 - v) & bitsMax : v;
  return 0;
}

[[noreturn]] void RaiseInvalidInteger(UnicodeStringView S) {
  UnicodeString m;
  m.reserve(S.size() + 30);
  m.append(u"'").append(S).append(u"' is not a valid integer value");
  throw EConvertError(m);
}

}  // namespace

void Val(UnicodeStringView S, Integer &AValue, Integer &ACode) {
  UInt64 raw;
  ACode = ValInteger(S, TIntKind::Int32, raw);
  AValue = ACode == 0 ? static_cast<Integer>(static_cast<std::uint32_t>(raw)) : 0;
}

void Val(UnicodeStringView S, Int64 &AValue, Integer &ACode) {
  UInt64 raw;
  ACode = ValInteger(S, TIntKind::Int64, raw);
  AValue = ACode == 0 ? static_cast<Int64>(raw) : 0;
}

bool TryStrToInt(UnicodeStringView S, Integer &AValue) {
  Integer code;
  Val(S, AValue, code);
  return code == 0;
}

bool TryStrToInt64(UnicodeStringView S, Int64 &AValue) {
  Integer code;
  Val(S, AValue, code);
  return code == 0;
}

bool TryStrToUInt64(UnicodeStringView S, UInt64 &AValue) {
  UInt64 raw;
  const bool ok = ValInteger(S, TIntKind::UInt64, raw) == 0;
  AValue = ok ? raw : 0;
  return ok;
}

Integer StrToInt(UnicodeStringView S) {
  Integer v;
  if (!TryStrToInt(S, v)) RaiseInvalidInteger(S);
  return v;
}

Int64 StrToInt64(UnicodeStringView S) {
  Int64 v;
  if (!TryStrToInt64(S, v)) RaiseInvalidInteger(S);
  return v;
}

UInt64 StrToUInt64(UnicodeStringView S) {
  UInt64 v;
  if (!TryStrToUInt64(S, v)) RaiseInvalidInteger(S);
  return v;
}

Integer StrToIntDef(UnicodeStringView S, Integer ADefault) {
  Integer v;
  return TryStrToInt(S, v) ? v : ADefault;
}

Int64 StrToInt64Def(UnicodeStringView S, Int64 ADefault) {
  Int64 v;
  return TryStrToInt64(S, v) ? v : ADefault;
}

// ---------------------------------------------------------------------------------------------
// Booleans

UnicodeString BoolToStr(bool AValue, bool AUseBoolStrs) {
  if (AUseBoolStrs) return AValue ? u"True" : u"False";
  return AValue ? u"-1" : u"0";
}

bool TryStrToBool(UnicodeStringView S, bool &AValue) {
  if (SameText(S, u"True")) {
    AValue = true;
    return true;
  }
  if (SameText(S, u"False")) {
    AValue = false;
    return true;
  }
  Int64 i;
  if (TryStrToInt64(S, i)) {
    AValue = i != 0;
    return true;
  }
  Extended f;
  if (TryStrToFloat(S, f)) {
    AValue = f != 0;
    return true;
  }
  AValue = false;
  return false;
}

bool StrToBool(UnicodeStringView S) {
  bool v;
  if (!TryStrToBool(S, v)) {
    UnicodeString m;
    m.append(u"'").append(S).append(u"' is not a valid boolean value");
    throw EConvertError(m);
  }
  return v;
}

bool StrToBoolDef(UnicodeStringView S, bool ADefault) {
  bool v;
  return TryStrToBool(S, v) ? v : ADefault;
}

}  // namespace vn
