#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "vnxml/rtl/SysUtils.h"

using namespace vn;

namespace {

// Text plus page must never be read as pointer plus length: a 64-bit integer after a pointer is
// refused, and lengths go through a view.
static_assert(std::is_constructible_v<AnsiString, const char *, int>);
static_assert(std::is_constructible_v<AnsiString, const char *, Word>);
static_assert(!std::is_constructible_v<AnsiString, const char *, std::size_t>);
static_assert(!std::is_constructible_v<AnsiString, const char *, std::int64_t>);
static_assert(!std::is_constructible_v<AnsiString, const char *, std::size_t, Word>);
static_assert(std::is_constructible_v<AnsiString, std::string_view, Word>);

}  // namespace

TEST(StringsUTF8, RoundTripAndMalformedInput) {
  const UnicodeString s = u"a\u00E9\u20AC\U0001F600";
  const std::string bytes = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
  EXPECT_EQ(UTF8Encode(s), bytes);
  EXPECT_EQ(UTF8ToString(bytes), s);
  EXPECT_EQ(UTF8ToString(std::string("a\0b", 3)), UnicodeString(u"a\0b", 3));
  EXPECT_EQ(UTF8ToString(""), u"");
  EXPECT_EQ(UTF8Encode(u""), "");
  // A truncated sequence, a stray byte and a lone surrogate become U+FFFD.
  EXPECT_EQ(UTF8ToString("x\xC3"), u"x\uFFFD");
  EXPECT_EQ(UTF8ToString("a\xFF"
                         "b"),
            u"a\uFFFDb");
  EXPECT_EQ(UTF8Encode(UnicodeString(1, char16_t(0xD800)) + u"z"), "\xEF\xBF\xBDz");
  EXPECT_EQ(ASCIIToString("Az\x7F"), u"Az\x7F");
}

TEST(StringsCase, AsciiOnlyFolding) {
  EXPECT_EQ(UpperCase(u"abz\u00E4\u00E9!"), u"ABZ\u00E4\u00E9!");
  EXPECT_EQ(LowerCase(u"ABZ\u00C4["), u"abz\u00C4[");
  EXPECT_EQ(CompareText(u"abc", u"ABC"), 0);
  EXPECT_LT(CompareText(u"abc", u"ABD"), 0);
  EXPECT_GT(CompareText(u"b", u"A"), 0);
  EXPECT_GT(CompareText(u"abc", u"AB"), 0);
  EXPECT_LT(CompareText(u"", u"a"), 0);
  // "_" lies between the upper and the lower case letters: the folding is to upper case.
  EXPECT_GT(CompareText(u"_", u"a"), 0);
  EXPECT_FALSE(SameText(u"\u00E4", u"\u00C4"));
  EXPECT_TRUE(SameText(u"XmL", u"xMl"));
  EXPECT_FALSE(SameText(u"ab", u"abc"));
  // Long texts too: equal ones, ones that differ in case only, and ones that differ at the end.
  EXPECT_TRUE(SameText(u"http://www.w3.org/2001/XMLSchema", u"http://www.w3.org/2001/XMLSchema"));
  EXPECT_TRUE(SameText(u"HTTP://WWW.W3.ORG/2001/xmlschema", u"http://www.w3.org/2001/XMLSchema"));
  EXPECT_FALSE(SameText(u"http://www.w3.org/2001/XMLSchemb", u"http://www.w3.org/2001/XMLSchema"));
  EXPECT_FALSE(
      SameText(u"http://www.w3.org/2001/XMLSch\u00E4", u"http://www.w3.org/2001/XMLSch\u00C4"));
  EXPECT_GT(CompareStr(u"a", u"B"), 0);
  EXPECT_LT(CompareStr(u"ab", u"abc"), 0);
  EXPECT_EQ(CompareStr(u"x", u"x"), 0);
  EXPECT_FALSE(SameStr(u"a", u"A"));
}

TEST(StringsTrim, DropsControlCharactersAndBlanks) {
  EXPECT_EQ(Trim(u"\t\r\n x y \x01"), u"x y");
  EXPECT_EQ(TrimLeft(u"  x "), u"x ");
  EXPECT_EQ(TrimRight(u"  x \n"), u"  x");
  EXPECT_EQ(Trim(u" \t "), u"");
  EXPECT_EQ(Trim(u"\u00A0x\u00A0"), u"\u00A0x\u00A0");
}

TEST(StringsPosCopy, OneBasedAndClipped) {
  EXPECT_EQ(Pos(u"b", u"abcb"), 2);
  EXPECT_EQ(Pos(u"b", u"abcb", 3), 4);
  EXPECT_EQ(Pos(u"b", u"abcb", 5), 0);
  EXPECT_EQ(Pos(u"b", u"abcb", 0), 0);
  EXPECT_EQ(Pos(u"cb", u"abcb"), 3);
  EXPECT_EQ(Pos(u"x", u"abc"), 0);
  EXPECT_EQ(Pos(u"", u"abc"), 0);
  EXPECT_EQ(Pos(u"abcd", u"abc"), 0);
  EXPECT_EQ(Copy(u"abcdef", 2, 3), u"bcd");
  EXPECT_EQ(Copy(u"abcdef", 0, 2), u"ab");
  EXPECT_EQ(Copy(u"abcdef", -5, 2), u"ab");
  EXPECT_EQ(Copy(u"abcdef", 5, 100), u"ef");
  EXPECT_EQ(Copy(u"abcdef", 2, -1), u"");
  EXPECT_EQ(Copy(u"abc", 4, 1), u"");
  EXPECT_EQ(Copy(u"abc", 1, 0x7FFFFFFF), u"abc");
  EXPECT_EQ(StringOfChar(u'x', 3), u"xxx");
  EXPECT_EQ(StringOfChar(u'x', -1), u"");
}

TEST(StringsReplace, AllFirstAndIgnoreCase) {
  EXPECT_EQ(StringReplace(u"a-b-c", u"-", u"+"), u"a+b+c");
  EXPECT_EQ(StringReplace(u"a-b-c", u"-", u"+", false), u"a+b-c");
  EXPECT_EQ(StringReplace(u"aa", u"a", u"aa"), u"aaaa");
  EXPECT_EQ(StringReplace(u"abc", u"", u"x"), u"abc");
  EXPECT_EQ(StringReplace(u"aaa", u"aa", u"b"), u"ba");
  EXPECT_EQ(StringReplace(u"Hello HELLO hello", u"hello", u"X"), u"Hello HELLO X");
  EXPECT_EQ(StringReplace(u"Hello HELLO hello", u"hello", u"X", true, true), u"X X X");
  EXPECT_EQ(StringReplace(u"Hello HELLO", u"hello", u"X", false, true), u"X HELLO");
  EXPECT_EQ(StringReplace(u"\u00C4rger \u00E4rger", u"\u00E4RGER", u"x", true, true), u"x x");
  // Full case folding: "ß" matches "SS" as a whole, but half of it matches nothing.
  EXPECT_EQ(StringReplace(u"Stra\u00DFe", u"SS", u"ss", true, true), u"Strasse");
  EXPECT_EQ(StringReplace(u"Stra\u00DFe", u"s", u"_", true, true), u"_tra\u00DFe");
}

TEST(StringsAffixes, QuotesStartsEnds) {
  EXPECT_EQ(QuotedStr(u"it's"), u"'it''s'");
  EXPECT_EQ(QuotedStr(u""), u"''");
  EXPECT_EQ(QuotedStr(u"say \"hi\"", u'"'), u"\"say \"\"hi\"\"\"");
  EXPECT_TRUE(StartsText(u"AB", u"abc"));
  EXPECT_FALSE(StartsText(u"abcd", u"abc"));
  EXPECT_TRUE(EndsText(u"BC", u"abc"));
  EXPECT_FALSE(EndsText(u"xbc", u"abc"));
  EXPECT_TRUE(StartsText(u"", u"abc"));
  EXPECT_TRUE(StartsStr(u"ab", u"abc"));
  EXPECT_FALSE(StartsStr(u"AB", u"abc"));
  EXPECT_FALSE(StartsStr(u"abcd", u"abc"));
  EXPECT_TRUE(EndsStr(u"bc", u"abc"));
  EXPECT_FALSE(EndsStr(u"BC", u"abc"));
  EXPECT_FALSE(EndsStr(u"zabc", u"abc"));
}

TEST(StringsAnsi, TextAndPageIsNeverPointerAndLength) {
  const AnsiString latin("text", 28591);
  EXPECT_EQ(latin.size(), 4u);
  EXPECT_EQ(static_cast<const std::string &>(latin), "text");
  EXPECT_EQ(latin.CodePage(), 28591);
  const AnsiString typed("caf\xE9", CP_WIN1252);
  EXPECT_EQ(typed.size(), 4u);
  EXPECT_EQ(typed.CodePage(), CP_WIN1252);
  EXPECT_EQ(AnsiString("x").CodePage(), 0);

  // Bytes by pointer and length, a NUL among them.
  const char raw[] = {'a', '\0', 'b', 'c'};
  const AnsiString bytes(std::string_view(raw, 3), CP_UTF8);
  EXPECT_EQ(bytes.size(), 3u);
  EXPECT_EQ(bytes[1], '\0');
  EXPECT_EQ(bytes.CodePage(), CP_UTF8);
  EXPECT_EQ(AnsiString(std::string("ab"), 1252).CodePage(), 1252);
}
