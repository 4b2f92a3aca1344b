#include <gtest/gtest.h>

#include <vector>

#include "vnxml/rtl/RegularExpressions.h"

using namespace vn;

TEST(RegExTest, OptionsChangeWhatMatches) {
  EXPECT_FALSE(TRegEx::IsMatch(u"HELLO", u"hello"));
  EXPECT_TRUE(TRegEx::IsMatch(u"HELLO", u"hello", {roIgnoreCase}));
  EXPECT_TRUE(TRegEx::IsMatch(u"\u00C4RGER", u"\u00E4rger", {roIgnoreCase}));

  EXPECT_FALSE(TRegEx::IsMatch(u"one\ntwo", u"^two$"));
  EXPECT_TRUE(TRegEx::IsMatch(u"one\ntwo", u"^two$", {roMultiLine}));

  EXPECT_FALSE(TRegEx::IsMatch(u"a\nb", u"a.b"));
  EXPECT_TRUE(TRegEx::IsMatch(u"a\nb", u"a.b", {roSingleLine}));

  EXPECT_FALSE(TRegEx::IsMatch(u"ab", u"a b # letters"));
  EXPECT_TRUE(TRegEx::IsMatch(u"ab", u"a b # letters", {roIgnorePatternSpace}));

  const TMatch m = TRegEx::Match(u"ab", u"(a)(?<second>b)", {roExplicitCapture});
  EXPECT_EQ(m.Groups().Count(), 2);
  EXPECT_EQ(m.Groups()[1].Value(), u"b");
  EXPECT_EQ(m.Groups()[u"second"].Value(), u"b");

  const TRegEx notEmpty(u"x*", {roNotEmpty, roCompiled});
  EXPECT_EQ(notEmpty.Match(u"abxx").Index(), 3);
  EXPECT_TRUE(notEmpty.Options().Contains(roNotEmpty));
}

TEST(RegExTest, MatchesGroupsAndPositions) {
  const TRegEx re(u"(?<key>\\w+)=(\\d+)?");
  TMatch m = re.Match(u"  a=1, bb=, c=33");
  ASSERT_TRUE(m.Success());
  EXPECT_EQ(m.Index(), 3);
  EXPECT_EQ(m.Length(), 3);
  EXPECT_EQ(m.Value(), u"a=1");
  EXPECT_EQ(m.Groups()[u"key"].Value(), u"a");
  m = m.NextMatch();
  EXPECT_EQ(m.Value(), u"bb=");
  EXPECT_EQ(m.Groups().Count(), 3);
  EXPECT_FALSE(m.Groups()[2].Success());
  EXPECT_EQ(m.Groups()[2].Value(), u"");
  m = m.NextMatch().NextMatch();
  EXPECT_FALSE(m.Success());
  EXPECT_EQ(m.Value(), u"");

  EXPECT_THROW(re.Match(u"a=1").Groups()[3], ERegularExpressionError);
  try {
    re.Match(u"a=1").Groups()[u"nope"];
    FAIL();
  } catch (ERegularExpressionError &e) {
    EXPECT_EQ(e.Message, u"Invalid group name (nope)");
  }

  const TMatchCollection all = re.Matches(u"a=1 b=2 c=3");
  ASSERT_EQ(all.Count(), 3);
  EXPECT_EQ(all[2].Index(), 9);
  UnicodeString keys;
  for (const TMatch &x : all) keys += x.Groups()[1].Value();
  EXPECT_EQ(keys, u"abc");
  EXPECT_THROW(all[3], ERegularExpressionError);

  EXPECT_TRUE(re.IsMatch(u"a=1", 1));
  EXPECT_FALSE(re.IsMatch(u"a=1", 4));
  EXPECT_EQ(re.Match(u"a=1 b=2", 2).Value(), u"b=2");
  EXPECT_EQ(re.Match(u"abc=123", 1, 6).Value(), u"abc=12");
}

TEST(RegExTest, ReplaceExpandsGroupReferences) {
  const TRegEx re(u"(?<first>\\w+) (\\w+)");
  EXPECT_EQ(re.Replace(u"hello world", u"$2 $1"), u"world hello");
  EXPECT_EQ(re.Replace(u"hello world", u"\\2-\\1"), u"world-hello");
  EXPECT_EQ(re.Replace(u"hello world", u"${first}|\\g<first>|\\g<2>"), u"hello|hello|world");
  EXPECT_EQ(re.Replace(u"hello world", u"[$&][\\&][$0]"),
            u"[hello world][hello world][hello world]");
  EXPECT_EQ(re.Replace(u"hello world", u"\\\\ $$ \\$1"), u"\\ $ $1");
  // Unknown names and other escapes stay; a group number beyond the groups gives "".
  EXPECT_EQ(re.Replace(u"hello world", u"${nope}\\n$9"), u"${nope}\\n");
  // A second digit counts only when that group exists.
  EXPECT_EQ(re.Replace(u"hello world", u"$10"), u"hello0");
  EXPECT_EQ(TRegEx::Replace(u"xay", u"a", u"<\\`|\\'|\\_>"), u"x<x|y|xay>y");

  EXPECT_EQ(TRegEx::Replace(u"b", u"(a)?b", u"[$1]"), u"[]");
  EXPECT_EQ(TRegEx::Replace(u"a.b.c", u"\\.", u"-"), u"a-b-c");
  EXPECT_EQ(TRegEx(u"\\.").Replace(u"a.b.c", u"-", 1), u"a-b.c");
  EXPECT_EQ(TRegEx(u"\\.").Replace(u"a.b.c", u"-", 0), u"a.b.c");

  int calls = 0;
  EXPECT_EQ(TRegEx::Replace(u"1 22 333", u"\\d+",
                            [&](const TMatch &AMatch) {
                              ++calls;
                              return IntToStr(AMatch.Length());
                            }),
            u"1 2 3");
  EXPECT_EQ(calls, 3);
}

TEST(RegExTest, EmptyMatchesAlwaysMoveOn) {
  EXPECT_EQ(TRegEx::Replace(u"abc", u"x*", u"-"), u"-a-b-c-");
  EXPECT_EQ(TRegEx::Replace(u"abc", u"b*", u"-"), u"-a--c-");
  EXPECT_EQ(TRegEx::Matches(u"", u"x*").Count(), 1);
  // After an empty match no empty match is taken at the same place, but a longer one is.
  const TMatchCollection lazy = TRegEx::Matches(u"aaa", u"a*?");
  ASSERT_EQ(lazy.Count(), 7);
  EXPECT_EQ(lazy[1].Value(), u"a");
  EXPECT_EQ(lazy[2].Index(), 2);
  EXPECT_EQ(lazy[2].Length(), 0);
}

TEST(RegExTest, SplitKeepsEmptyPiecesAndDropsGroups) {
  using V = std::vector<UnicodeString>;
  EXPECT_EQ(TRegEx::Split(u",a,,b,", u","), (V{u"", u"a", u"", u"b", u""}));
  EXPECT_EQ(TRegEx::Split(u"a1b22c", u"(\\d)+"), (V{u"a", u"b", u"c"}));
  EXPECT_EQ(TRegEx::Split(u"", u","), (V{u""}));
  EXPECT_EQ(TRegEx::Split(u"abc", u"x"), (V{u"abc"}));
  const TRegEx comma(u"\\s*,\\s*");
  EXPECT_EQ(comma.Split(u"a , b,c ,d", 3), (V{u"a", u"b", u"c ,d"}));
  EXPECT_EQ(comma.Split(u"a,b", 1), (V{u"a,b"}));
}

TEST(RegExTest, BadPatternRaisesWithOffset) {
  try {
    TRegEx re(u"ab(c");
    FAIL();
  } catch (ERegularExpressionError &e) {
    EXPECT_NE(e.Message.find(u"at offset 4"), UnicodeString::npos) << e.what();
    EXPECT_NE(e.Message.find(u"parenthesis"), UnicodeString::npos) << e.what();
  }
  EXPECT_THROW(TRegEx::IsMatch(u"x", u"[z-a]"), ERegularExpressionError);
  EXPECT_THROW(TRegEx::Match(u"x", u"(?<n>a)(?<n>b)"), ERegularExpressionError);
}

TEST(RegExTest, SurrogatesInTheSubject) {
  // A pair is one character: "." takes both units, and positions count units.
  const UnicodeString pair = u"a\U0001F600b";
  const TMatch m = TRegEx::Match(pair, u"a(.)b");
  ASSERT_TRUE(m.Success());
  EXPECT_EQ(m.Length(), 4);
  EXPECT_EQ(m.Groups()[1].Length(), 2);
  EXPECT_EQ(TRegEx::Match(pair, u"b").Index(), 4);
  EXPECT_EQ(TRegEx::Replace(pair, u"", u"|"), u"|a|\U0001F600|b|");

  // A lone surrogate matches nothing but does not stop the search.
  UnicodeString lone = u"a?b";
  lone[1] = 0xD800;
  EXPECT_FALSE(TRegEx::IsMatch(lone, u"a.b"));
  EXPECT_EQ(TRegEx::Match(lone, u"b").Index(), 3);
  EXPECT_EQ(TRegEx::Split(lone, u"[ab]").size(), 3u);
  lone[1] = 0xDC00;
  EXPECT_EQ(TRegEx::Replace(lone, u"\\w", u"x").back(), u'x');
}

TEST(RegExTest, EscapeMakesTextLiteral) {
  const UnicodeString text = u"1+1=2? (a|b) [c] {3} ^$ \\ .*";
  const UnicodeString escaped = TRegEx::Escape(text);
  EXPECT_EQ(escaped, u"1\\+1=2\\? \\(a\\|b\\) \\[c\\] \\{3\\} \\^\\$ \\\\ \\.\\*");
  EXPECT_EQ(TRegEx::Match(u"x" + text + u"y", escaped).Index(), 2);
  EXPECT_EQ(TRegEx::Escape(u"a\r\nb"), u"a\\r\\nb");
  EXPECT_EQ(TRegEx::Escape(u"*.txt?", true), u"(.*)\\.txt(.)");
  EXPECT_EQ(TRegEx::Escape(u"a**b", true), u"a\\*b");
  EXPECT_TRUE(TRegEx::IsMatch(u"notes.txt1", TRegEx::Escape(u"*.txt?", true)));
}
