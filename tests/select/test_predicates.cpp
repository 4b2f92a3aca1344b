// Predicates: positions, presence, comparisons and their coercions, the boolean layer with its
// one precedence, lists, and the messages of malformed filters.
#include "select_util.h"

namespace selecttest {
namespace {

const char16_t *cItems =
    u"<r>"
    u"<i id=\"1\" a=\"\"><v>10.0</v><n>abc</n><t>x</t></i>"
    u"<i id=\"2\"><v>9</v><n>ABC</n><w>2</w><w>10</w></i>"
    u"<i id=\"3\" a=\"y\"><v>-5</v><n>b</n><t>y</t>text</i>"
    u"</r>";

class Predicates : public ::testing::Test {
 protected:
  void SetUp() override { FDoc = Load(cItems); }
  std::string Sel(const UnicodeString &APath, TVnDOMSelectOptions AOptions = {}) {
    return Selected(FDoc->GetRootNode(), APath, AOptions);
  }
  Doc FDoc;
};

TEST_F(Predicates, Positions) {
  EXPECT_EQ(Sel(u"i[0]"), "i#1");
  EXPECT_EQ(Sel(u"i[1]"), "i#2");
  EXPECT_EQ(Sel(u"i[last()]"), "i#3");
  EXPECT_EQ(Sel(u"i[first()]"), "i#1");
  EXPECT_EQ(Sel(u"i[position()=2]"), "i#2");
  EXPECT_EQ(Sel(u"i[position()]"), "i#1 i#2 i#3");
  EXPECT_EQ(Sel(u"i[node()]"), "i#1 i#2 i#3");
  // A second bracket sees the survivors of the first, numbered anew.
  EXPECT_EQ(Sel(u"i[@a][1]"), "i#3");
  EXPECT_EQ(Sel(u"i[v<10][0]"), "i#2");
  // A predicate that begins with a number is a position and nothing else.
  EXPECT_EQ(MessageOf<Exception>([&] { Sel(u"i[2 = 2]"); }),
            "\"[2 = 2]\" is an invalid filter expression!");
}

TEST_F(Predicates, PresenceAndNodeValues) {
  EXPECT_EQ(Sel(u"i[@a]"), "i#1 i#3");
  EXPECT_EQ(Sel(u"i[t]"), "i#1 i#3");
  EXPECT_EQ(Sel(u"i/v[.=\"9\"]"), "v");
  EXPECT_EQ(Sel(u"i[not @a]"), "i#2");
  // "not" before a name without parentheses loses its meaning: the three letters go, the rest
  // is the path.
  EXPECT_EQ(Sel(u"i[not t]"), "i#1 i#3");
  EXPECT_EQ(Sel(u"i[not(t)]"), "i#2");
  // A string constant alone is its truth.
  EXPECT_EQ(Sel(u"i[\"true\"]"), "i#1 i#2 i#3");
  EXPECT_EQ(Sel(u"i[\"no\"]"), "");
}

TEST_F(Predicates, Messages) {
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Sel(u"i[v=<1]"); }),
            "The filter \"[v=<1]\" contains an invalid compare operator (=<)!");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Sel(u"i[v=]"); }),
            "The specified XPath statement is not valid!");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Sel(u"i[v=1.2.3]"); }),
            "Either a number or a string was expected!");
  EXPECT_EQ(MessageOf<Exception>([&] { Sel(u"i[v &lt; 1]"); }),
            "\"[v &lt; 1]\" is an invalid filter expression!");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Sel(u"i[fn:true()]"); }),
            "The filter contains an unsupported function (fn:true)!");
  EXPECT_EQ(MessageOf<Exception>([&] { Sel(u"i[a andb]"); }),
            "\"[a andb]\" is an invalid filter expression!");
  EXPECT_EQ(MessageOf<Exception>([&] { Sel(u"i[v)) and (v]"); }),
            "\"[v)) and (v]\" is an invalid filter expression!");
  // No candidates, no parse: a broken filter on a step that finds nothing raises nothing.
  EXPECT_EQ(Sel(u"none[v=<1]"), "");
}

TEST_F(Predicates, DeepNestingIsRefused) {
  UnicodeString parens = u"i[";
  for (int k = 0; k < 100000; ++k) parens += u"(";
  parens += u"@id]";
  EXPECT_THROW(Sel(parens), EVnDomSyntax);
  UnicodeString brackets = u"i";
  for (int k = 0; k < 100000; ++k) brackets += u"[a";
  for (int k = 0; k < 100000; ++k) brackets += u"]";
  EXPECT_EQ(Sel(brackets), "");  // the first level has no a: nothing deeper is evaluated
  UnicodeString nested = u"i";
  for (int k = 0; k < 1000; ++k) nested += u"[.";
  for (int k = 0; k < 1000; ++k) nested += u"]";
  EXPECT_THROW(Sel(nested), EVnDomSyntax);
  UnicodeString lists = u"i[v=";
  for (int k = 0; k < 100000; ++k) lists += u"(";
  EXPECT_THROW(Sel(lists + u"]"), EVnDomSyntax);
}

// A function of one's own, as an application registers it.
class TTwice : public TVnXPathFunction {
  VN_CLASS(TTwice, TVnXPathFunction)
 public:
  using TVnXPathFunction::TVnXPathFunction;
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override {
    if (ParamCount() != 1) throw EVnDomSyntax(u"twice() takes one parameter!");
    const UnicodeString s = VnVarToStr(Param(0)->Value(ANodeList, AIndex));
    return s + s;
  }
};

class TOther : public TTwice {
  VN_CLASS(TOther, TTwice)
 public:
  using TTwice::TTwice;
  Variant Value(TVnDOMObjectList *, Integer) override { return UnicodeString(u"other"); }
};

TEST_F(Predicates, ARegisteredFunctionIsCallable) {
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Sel(u"i[twice(t)=\"xx\"]"); }),
            "The filter contains an unsupported function (twice)!");
  RegisterXPathFunction(u"twice", VnXPathFunctionClass<TTwice>());
  RegisterXPathFunction(u"twice", VnXPathFunctionClass<TOther>());  // the first one stays
  EXPECT_EQ(Sel(u"i[twice(t)=\"xx\"]"), "i#1");
  EXPECT_EQ(Sel(u"i[twice(\"a\",)=\"aa\"]"), "i#1 i#2 i#3");
  // Names are case-sensitive, and the count is checked at the first candidate only.
  EXPECT_THROW(Sel(u"i[Twice(t)]"), EVnDomSyntax);
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Sel(u"i[twice()]"); }), "twice() takes one parameter!");
  EXPECT_EQ(Sel(u"none[twice()]"), "");
}

TEST(XPathRegistry, Collations) {
  EXPECT_EQ(FindXPathCollation(u"http://www.w3.org/2005/xpath-functions/collation/codepoint"),
            TVnXPathCollationCodepoint::StaticClass());
  EXPECT_EQ(FindXPathCollation(
                u"http://www.w3.org/2005/xpath-functions/collation/html-ascii-case-insensitive"),
            TVnXPathCollationASCIICI::StaticClass());
  EXPECT_EQ(MessageOf<EVnDomSyntax>([] { FindXPathCollation(u"urn:none"); }),
            "The collation \"urn:none\" is not supported!");
}

}  // namespace
}  // namespace selecttest
