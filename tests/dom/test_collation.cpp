// The collations: their order, their treatment of case, Pos, and the ASCII fast path against the
// root collator itself.
#include <gtest/gtest.h>
#include <unicode/ucol.h>

#include <random>
#include <string>

#include "vnxml/xml/uVnXMLDOM.h"

using namespace vn;

namespace {

const TVnXPathCollationClass CP = TVnXPathCollationCodepoint::StaticClass();
const TVnXPathCollationClass CI = TVnXPathCollationASCIICI::StaticClass();

// The reference: ICU's root collator at the strength the collation stands for.
class Reference {
 public:
  explicit Reference(UColAttributeValue AStrength) {
    UErrorCode e = U_ZERO_ERROR;
    FColl = ucol_open("", &e);
    EXPECT_TRUE(U_SUCCESS(e));
    ucol_setStrength(FColl, AStrength);
  }
  ~Reference() { ucol_close(FColl); }
  int Compare(const UnicodeString &A, const UnicodeString &B) const {
    return ucol_strcoll(FColl, reinterpret_cast<const UChar *>(A.data()),
                        static_cast<int32_t>(A.size()), reinterpret_cast<const UChar *>(B.data()),
                        static_cast<int32_t>(B.size()));
  }

 private:
  UCollator *FColl;
};

TEST(Collation, CaseCountsInCodepointOnly) {
  EXPECT_EQ(CP->Compare(u"abc", u"abc"), 0);
  EXPECT_NE(CP->Compare(u"abc", u"ABC"), 0);
  EXPECT_EQ(CP->Compare(u"abc", u"ABC"), -CP->Compare(u"ABC", u"abc"));
  EXPECT_EQ(CI->Compare(u"abc", u"ABC"), 0);
  EXPECT_TRUE(CI->SameText(u"Name", u"nAME"));
  EXPECT_FALSE(CP->SameText(u"Name", u"nAME"));
  // Case of letters beyond ASCII is ignored too; accents are not.
  EXPECT_EQ(CI->Compare(u"\u00C9COLE", u"\u00E9cole"), 0);
  EXPECT_NE(CP->Compare(u"\u00C9COLE", u"\u00E9cole"), 0);
  EXPECT_NE(CI->Compare(u"ecole", u"\u00E9cole"), 0);
}

TEST(Collation, OrderIsLinguisticNotByCodeUnits) {
  // By code units "B" (66) sorts before "a" (97); linguistically "a" comes first.
  EXPECT_EQ(CP->Compare(u"a", u"B"), -1);
  EXPECT_EQ(CP->Compare(u"B", u"a"), 1);
  EXPECT_EQ(CI->Compare(u"a", u"B"), -1);
  EXPECT_EQ(CP->Compare(u"ab", u"abc"), -1);
  EXPECT_EQ(CP->Compare(u"", u"a"), -1);
  // Canonically equivalent text is equal.
  EXPECT_EQ(CP->Compare(u"\u00E9", u"e\u0301"), 0);
}

TEST(Collation, PosIsPlainOrLowerCased) {
  EXPECT_EQ(CI->Pos(u"B", u"abc"), 2);
  EXPECT_EQ(CP->Pos(u"B", u"abc"), 0);
  EXPECT_EQ(CP->Pos(u"b", u"abc"), 2);
  EXPECT_EQ(CI->Pos(u"XY", u"axYz"), 2);
  // The lower-casing is that of A-Z only.
  EXPECT_EQ(CI->Pos(u"\u00C9", u"\u00E9"), 0);
  EXPECT_EQ(CP->Pos(u"d", u"abc"), 0);
}

TEST(Collation, ClassReferencesAndDefault) {
  EXPECT_EQ(DefaultXPathCollation, CI);
  EXPECT_NE(CP, CI);
  EXPECT_EQ(std::u16string(CP->ClassName()), u"TVnXPathCollationCodepoint");
  EXPECT_EQ(std::u16string(CI->ClassName()), u"TVnXPathCollationASCIICI");
}

// Every ASCII pair answers exactly as the collator: random text over all 128 characters, and
// text made of near neighbours (case variants, prefixes, ignorable controls, punctuation).
TEST(Collation, AsciiFastPathMatchesCollator) {
  const Reference tertiary(UCOL_TERTIARY), secondary(UCOL_SECONDARY);
  std::mt19937 rng(20240607);
  const std::u16string pool = u"aAbBzZ09 -_.:'\t\x01\x1f\x7f@[`{~";
  auto randomText = [&](bool AFromPool) {
    UnicodeString s(rng() % 13, u'\0');
    for (char16_t &c : s) {
      c = AFromPool ? pool[rng() % pool.size()] : static_cast<char16_t>(rng() % 128);
    }
    return s;
  };
  int mismatches = 0;
  for (int i = 0; i < 60000 && mismatches < 10; ++i) {
    const bool pooled = i % 2 == 0;
    UnicodeString a = randomText(pooled);
    UnicodeString b = i % 3 == 0 ? a : randomText(pooled);
    if (i % 3 == 0 && !b.empty()) {
      const std::size_t at = rng() % b.size();
      b[at] = pool[rng() % pool.size()];
    }
    const int expectCP = tertiary.Compare(a, b), expectCI = secondary.Compare(a, b);
    const int gotCP = CP->Compare(a, b), gotCI = CI->Compare(a, b);
    // SameText has a walk of its own, which must agree with the order.
    const bool sameCP = CP->SameText(a, b), sameCI = CI->SameText(a, b);
    if (gotCP != expectCP || gotCI != expectCI || sameCP != (expectCP == 0) ||
        sameCI != (expectCI == 0)) {
      ++mismatches;
      ADD_FAILURE() << "pair " << i << ": codepoint " << gotCP << " vs " << expectCP
                    << ", ignore case " << gotCI << " vs " << expectCI << ", same " << sameCP
                    << sameCI;
    }
  }
  EXPECT_EQ(mismatches, 0);
  // Every single character against every other.
  for (char16_t x = 0; x < 128; ++x) {
    for (char16_t y = 0; y < 128; ++y) {
      const UnicodeString a(1, x), b(1, y);
      ASSERT_EQ(CP->Compare(a, b), tertiary.Compare(a, b)) << int(x) << " " << int(y);
      ASSERT_EQ(CI->Compare(a, b), secondary.Compare(a, b)) << int(x) << " " << int(y);
      ASSERT_EQ(CP->SameText(a, b), tertiary.Compare(a, b) == 0) << int(x) << " " << int(y);
      ASSERT_EQ(CI->SameText(a, b), secondary.Compare(a, b) == 0) << int(x) << " " << int(y);
    }
  }
}

TEST(Collation, MixedTextGoesToTheCollator) {
  const Reference tertiary(UCOL_TERTIARY);
  const UnicodeString a = u"na\u00EFve", b = u"naive", c = u"NA\u00CFVE";
  EXPECT_EQ(CP->Compare(a, b), tertiary.Compare(a, b));
  EXPECT_EQ(CP->Compare(b, a), tertiary.Compare(b, a));
  EXPECT_EQ(CI->Compare(a, c), 0);
  // Text beyond ASCII before or after the first ASCII difference, and canonically equivalent
  // forms of different lengths.
  const Reference secondary(UCOL_SECONDARY);
  const UnicodeString pairs[][2] = {{u"a\u0308x", u"\u00E4x"},  {u"A\u0308X", u"\u00E4x"},
                                    {u"ab\u0301", u"ac"},       {u"xa\u0301", u"x\u00E1"},
                                    {u"\u00E9t\u00E9", u"ete"}, {u"E\u0301", u"\u00C9"}};
  for (const auto &p : pairs) {
    EXPECT_EQ(CP->SameText(p[0], p[1]), tertiary.Compare(p[0], p[1]) == 0);
    EXPECT_EQ(CI->SameText(p[0], p[1]), secondary.Compare(p[0], p[1]) == 0);
  }
  EXPECT_TRUE(CI->SameText(u"A\u0308X", u"\u00E4x"));
}

}  // namespace
