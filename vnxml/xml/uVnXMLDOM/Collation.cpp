// The collations: the root collation of ICU stands for the invariant locale, at tertiary strength
// where case differences count and at secondary strength where they do not.
//
// Name lookups compare on every Find, so text that is plain ASCII on both sides takes a fast path
// that gives exactly the collator's answer without calling it. The path works on the weights that
// the collator gives each ASCII character, learnt from the collator itself at first use: every
// ASCII character is either completely ignorable (the control characters) or has one collation
// element, so the collator's multi-level comparison of two ASCII strings is the comparison of
// their primary weights in sequence, then of their secondary weights, then of their tertiary
// weights, each over the characters that are not ignorable.
#include <unicode/ucol.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "vnxml/xml/uVnXMLDOM.h"

namespace vn {

constinit const TVnXPathCollationCodepoint TVnXPathCollationCodepoint::FClass;
constinit const TVnXPathCollationASCIICI TVnXPathCollationASCIICI::FClass;

namespace {

// The comparison levels: 3 counts case differences, 2 ignores them.
constexpr int cCaseSensitive = 3;
constexpr int cIgnoreCase = 2;

class TCollators {
 public:
  TCollators() {
    FTertiary = Open(UCOL_TERTIARY);
    FSecondary = Open(UCOL_SECONDARY);
    UCollator *primary = Open(UCOL_PRIMARY);
    LearnWeights(primary);
    ucol_close(primary);
  }
  ~TCollators() {
    ucol_close(FTertiary);
    ucol_close(FSecondary);
  }
  TCollators(const TCollators &) = delete;
  TCollators &operator=(const TCollators &) = delete;

  Integer Compare(UnicodeStringView A, UnicodeStringView B, int ALevels) const {
    if (A == B) return 0;
    if (IsASCII(A) && IsASCII(B)) return CompareASCII(A, B, ALevels);
    const UCollationResult r =
        ucol_strcoll(ALevels == cCaseSensitive ? FTertiary : FSecondary,
                     reinterpret_cast<const UChar *>(A.data()), static_cast<int32_t>(A.size()),
                     reinterpret_cast<const UChar *>(B.data()), static_cast<int32_t>(B.size()));
    return r < 0 ? -1 : r > 0 ? 1 : 0;
  }

  // Compare(A, B, ALevels) == 0, in one walk that mostly stops at the first unit pair that
  // differs: the characters that are not ignorable must be equal at every level, pair by pair.
  // Text beyond ASCII is left to the collator.
  bool Same(UnicodeStringView A, UnicodeStringView B, int ALevels) const {
    if (SameStr(A, B)) return true;
    const std::uint64_t *key = FKeys[ALevels == cCaseSensitive ? 1 : 0].data();
    // The walk of two equal runs of ASCII units is the same in both texts: it may start behind
    // the longest such run that they begin with.
    const std::size_t start = CommonASCIIPrefix(A, B);
    std::size_t i = start, j = start;
    for (;;) {
      while (i < A.size() && A[i] < 0x80 && key[A[i]] == 0) ++i;
      while (j < B.size() && B[j] < 0x80 && key[B[j]] == 0) ++j;
      const bool endA = i == A.size(), endB = j == B.size();
      if (endA && endB) return true;
      if (endA || endB || A[i] >= 0x80 || B[j] >= 0x80 || key[A[i]] != key[B[j]]) break;
      ++i;
      ++j;
    }
    // A difference within ASCII text decides; anything else beyond ASCII asks the collator.
    if (IsASCII(A.substr(i)) && IsASCII(B.substr(j))) return false;
    return Compare(A, B, ALevels) == 0;
  }

 private:
  static UCollator *Open(UColAttributeValue AStrength) {
    UErrorCode e = U_ZERO_ERROR;
    UCollator *c = ucol_open("", &e);
    if (U_FAILURE(e)) {
      throw EVnDomException(u"The root collation is not available (%s)", {u_errorName(e)});
    }
    ucol_setStrength(c, AStrength);
    return c;
  }

  // The bits of four UTF-16 units that are set in a unit beyond ASCII.
  static constexpr std::uint64_t cBeyondASCII = 0xFF80FF80FF80FF80u;

  // The length of the longest run of ASCII units that A and B both begin with: four units a
  // step while they are equal, then one at a time.
  static std::size_t CommonASCIIPrefix(UnicodeStringView A, UnicodeStringView B) noexcept {
    const std::size_t n = std::min(A.size(), B.size());
    std::size_t k = 0;
    for (; k + 4 <= n; k += 4) {
      std::uint64_t a, b;
      std::memcpy(&a, A.data() + k, sizeof a);
      std::memcpy(&b, B.data() + k, sizeof b);
      if (a != b || (a & cBeyondASCII)) break;
    }
    while (k < n && A[k] == B[k] && A[k] < 0x80) ++k;
    return k;
  }

  static bool IsASCII(UnicodeStringView S) noexcept {
    std::uint64_t any = 0;
    std::size_t k = 0;
    for (; k + 4 <= S.size(); k += 4) {
      std::uint64_t w;
      std::memcpy(&w, S.data() + k, sizeof w);
      any |= w;
    }
    for (; k < S.size(); ++k) any |= S[k];
    return (any & cBeyondASCII) == 0;
  }

  static UCollationResult Coll(const UCollator *AColl, char16_t A, char16_t B) {
    return ucol_strcoll(AColl, reinterpret_cast<const UChar *>(&A), 1,
                        reinterpret_cast<const UChar *>(&B), 1);
  }

  // Ranks every ASCII character at each level: 0 marks a completely ignorable character; the
  // primary rank orders the characters as the collator does at primary strength, and the
  // secondary and tertiary ranks order the characters of one primary weight.
  void LearnWeights(const UCollator *APrimary) {
    std::array<char16_t, 128> order{};
    int n = 0;
    for (int c = 0; c < 128; ++c) {
      const char16_t ch = static_cast<char16_t>(c);
      if (ucol_strcoll(FTertiary, reinterpret_cast<const UChar *>(&ch), 1, nullptr, 0) ==
          UCOL_EQUAL) {
        continue;
      }
      order[n++] = ch;
    }
    auto byLevels = [&](char16_t A, char16_t B) {
      UCollationResult r = Coll(APrimary, A, B);
      if (r == UCOL_EQUAL) r = Coll(FSecondary, A, B);
      if (r == UCOL_EQUAL) r = Coll(FTertiary, A, B);
      return r == UCOL_LESS;
    };
    std::stable_sort(order.begin(), order.begin() + n, byLevels);
    std::uint16_t p = 0, s = 0, t = 0;
    for (int i = 0; i < n; ++i) {
      const char16_t c = order[i];
      if (i == 0 || Coll(APrimary, order[i - 1], c) != UCOL_EQUAL) {
        ++p;
        s = 1;
        t = 1;
      } else if (Coll(FSecondary, order[i - 1], c) != UCOL_EQUAL) {
        ++s;
        t = 1;
      } else if (Coll(FTertiary, order[i - 1], c) != UCOL_EQUAL) {
        ++t;
      }
      FWeights[0][c] = p;
      FWeights[1][c] = s;
      FWeights[2][c] = t;
      FKeys[0][c] = std::uint64_t{p} << 16 | s;
      FKeys[1][c] = std::uint64_t{p} << 32 | std::uint64_t{s} << 16 | t;
    }
  }

  Integer CompareASCII(UnicodeStringView A, UnicodeStringView B, int ALevels) const {
    for (int level = 0; level < ALevels; ++level) {
      const std::uint16_t *w = FWeights[level].data();
      const std::uint16_t *primary = FWeights[0].data();
      std::size_t i = 0, j = 0;
      for (;;) {
        while (i < A.size() && primary[A[i]] == 0) ++i;
        while (j < B.size() && primary[B[j]] == 0) ++j;
        const bool endA = i == A.size(), endB = j == B.size();
        if (endA || endB) {
          if (endA && endB) break;
          return endA ? -1 : 1;
        }
        if (w[A[i]] != w[B[j]]) return w[A[i]] < w[B[j]] ? -1 : 1;
        ++i;
        ++j;
      }
    }
    return 0;
  }

  UCollator *FTertiary = nullptr;
  UCollator *FSecondary = nullptr;
  // [level][character]: primary, secondary and tertiary ranks; a primary rank of 0 marks an
  // ignorable character.
  std::array<std::array<std::uint16_t, 128>, 3> FWeights{};
  // [case ignored, case counts][character]: the weights of the levels compared, as one key; 0
  // for an ignorable character.
  std::array<std::array<std::uint64_t, 128>, 2> FKeys{};
};

const TCollators &Collators() {
  static const TCollators c;
  return c;
}

}  // namespace

Integer TVnXPathCollationCodepoint::Compare(UnicodeStringView A, UnicodeStringView B) const {
  return Collators().Compare(A, B, cCaseSensitive);
}

bool TVnXPathCollationCodepoint::SameText(UnicodeStringView A, UnicodeStringView B) const {
  return Collators().Same(A, B, cCaseSensitive);
}

Integer TVnXPathCollationCodepoint::Pos(UnicodeStringView ASubStr, UnicodeStringView AStr) const {
  return vn::Pos(ASubStr, AStr);
}

Integer TVnXPathCollationASCIICI::Compare(UnicodeStringView A, UnicodeStringView B) const {
  return Collators().Compare(A, B, cIgnoreCase);
}

bool TVnXPathCollationASCIICI::SameText(UnicodeStringView A, UnicodeStringView B) const {
  return Collators().Same(A, B, cIgnoreCase);
}

Integer TVnXPathCollationASCIICI::Pos(UnicodeStringView ASubStr, UnicodeStringView AStr) const {
  return vn::Pos(LowerCase(ASubStr), LowerCase(AStr));
}

}  // namespace vn
