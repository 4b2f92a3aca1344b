// matches, replace and tokenize: the flag letters, group references, where replace takes its
// options from, tokens, and bad patterns.
#include "xpath_util.h"

namespace xpathtest {
namespace {

const char16_t *cItems =
    u"<list>"
    u"<item id=\"1\" code=\"AB\" date=\"2024-01-05\">first line\nsecond line</item>"
    u"<item id=\"2\" code=\"ab\">one two</item>"
    u"<item id=\"3\" code=\"ABC\">x</item>"
    u"<item id=\"4\" code=\"a1\"/>"
    u"</list>";

class RegExps : public ::testing::Test {
 protected:
  void SetUp() override { FDoc = Load(cItems); }
  std::string Sel(const UnicodeString &APath, TVnDOMSelectOptions AOptions = {}) {
    return Selected(FDoc->GetRootNode(), APath, AOptions);
  }
  std::string Value(const UnicodeString &ATerm, Integer AItem = 0) {
    NodeList items(FDoc->GetRootNode()->CreateNodeList(u"item", {}));
    return Typed(Eval(items->GetItem(AItem), ATerm));
  }
  Doc FDoc;
};

TEST_F(RegExps, MatchesWithFlags) {
  EXPECT_EQ(Sel(u"item[matches(@code, \"^[A-Z]{2}$\")]"), "item#1");
  EXPECT_EQ(Sel(u"item[matches(@code, \"^[A-Z]{2}$\", \"i\")]"), "item#1 item#2");
  EXPECT_EQ(Sel(u"item[matches(@code, \"b\")]"), "item#2");
  // Multi-line: ^ at every line start.
  EXPECT_EQ(Sel(u"item[matches(., \"^second\")]"), "");
  EXPECT_EQ(Sel(u"item[matches(., \"^second\", \"m\")]"), "item#1");
  // Single line: the dot takes the line end too.
  EXPECT_EQ(Sel(u"item[matches(., \"line.second\")]"), "");
  EXPECT_EQ(Sel(u"item[matches(., \"line.second\", \"s\")]"), "item#1");
  // White space in the pattern is ignored with x.
  EXPECT_EQ(Sel(u"item[matches(., \"one two\", \"x\")]"), "");
  EXPECT_EQ(Sel(u"item[matches(., \"one\\ two\", \"x\")]"), "item#2");
  EXPECT_EQ(Sel(u"item[matches(., \"o n e\", \"x\")]"), "item#2");
  // The letters are found with the collation's search: an upper-case I counts only where case
  // is ignored.
  EXPECT_EQ(Sel(u"item[matches(@code, \"^ab$\", \"I\")]"), "item#1 item#2");
  EXPECT_EQ(Sel(u"item[matches(@code, \"^ab$\", \"I\")]", {soCaseSensitive}), "item#2");
  // A missing value is the text "".
  EXPECT_EQ(Sel(u"item[matches(@none, \"^$\")]"), "item#1 item#2 item#3 item#4");
}

TEST_F(RegExps, ReplaceWithGroupsTakesItsOptionsFromTheReplacement) {
  EXPECT_EQ(Value(u"replace(@date, \"(\\d+)-(\\d+)-(\\d+)\", \"$3.$2.\\1\")"),
            "UnicodeString:05.01.2024");
  EXPECT_EQ(Value(u"replace(\"aaa\", \"a\", \"b\")"), "UnicodeString:bbb");
  // An "i" in the replacement makes the match ignore case; the fourth parameter is never read.
  EXPECT_EQ(Value(u"replace(\"ABC\", \"b\", \"-\")"), "UnicodeString:ABC");
  EXPECT_EQ(Value(u"replace(\"ABC\", \"b\", \"i\")"), "UnicodeString:AiC");
  EXPECT_EQ(Value(u"replace(\"ABC\", \"b\", \"-\", \"i\")"), "UnicodeString:ABC");
  EXPECT_EQ(Value(u"replace(\"ABC\", \"B\", \"-\", error(\"E\"))"), "UnicodeString:A-C");
  // A "q" makes only named groups capture: $1 is then the named one.
  EXPECT_EQ(Value(u"replace(\"abc\", \"(a)(?<n>b)\", \"<$1>\")"), "UnicodeString:<a>c");
  EXPECT_EQ(Value(u"replace(\"abc\", \"(a)(?<n>b)\", \"<$1>q\")"), "UnicodeString:<b>qc");
  EXPECT_EQ(Sel(u"item[replace(@code, \"[a-z]\", \"*\")=\"**\"]", {soCaseSensitive}), "item#2");
}

TEST_F(RegExps, TokenizeGivesOneTextOfQuotedTokens) {
  EXPECT_EQ(Value(u"tokenize()"), "UnicodeString:()");
  EXPECT_EQ(Value(u"tokenize(\"  a  b c \")"), "UnicodeString:(\"a\", \"b\", \"c\")");
  EXPECT_EQ(Value(u"tokenize(\"\")"), "UnicodeString:()");
  EXPECT_EQ(Value(u"tokenize(., \"\\s+\")", 1), "UnicodeString:(\"one\", \"two\")");
  EXPECT_EQ(Value(u"tokenize(\"a,b,,c\", \",\")"), "UnicodeString:(\"a\", \"b\", \"\", \"c\")");
  EXPECT_EQ(Value(u"tokenize(\"aXbxc\", \"x\")"), "UnicodeString:(\"aXb\", \"c\")");
  EXPECT_EQ(Value(u"tokenize(\"aXbxc\", \"x\", \"i\")"), "UnicodeString:(\"a\", \"b\", \"c\")");
  // ("A", ""): a trailing empty piece counts.
  EXPECT_EQ(Sel(u"item[string-length(tokenize(@code, \"B\"))=9]", {soCaseSensitive}), "item#1");
}

TEST_F(RegExps, BadPatternsRaiseAtTheFirstCandidate) {
  for (const char16_t *path : {u"item[matches(@code, \"(\")]", u"item[replace(@code, \"[\", \"\")]",
                               u"item[tokenize(@code, \"a{2,1}\")]"}) {
    try {
      Sel(path);
      ADD_FAILURE() << UTF8Encode(path) << " raised nothing";
    } catch (const Exception &e) {
      EXPECT_EQ(e.ClassType(), ERegularExpressionError::StaticClass()) << UTF8Encode(path);
      EXPECT_NE(UTF8Encode(e.Message).find(" at offset "), std::string::npos);
    }
  }
  EXPECT_EQ(Sel(u"none[matches(@code, \"(\")]"), "");
}

}  // namespace
}  // namespace xpathtest
