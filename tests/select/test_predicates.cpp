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

TEST_F(Predicates, ComparisonCoercions) {
  // A number literal turns node text into a number where it can: "10.0" = 10 as floats.
  EXPECT_EQ(Sel(u"i[v=10]"), "i#1");
  EXPECT_EQ(Sel(u"i[v=\"10.0\"]"), "i#1");
  EXPECT_EQ(Sel(u"i[v=\"10\"]"), "");
  EXPECT_EQ(Sel(u"i[v<10]"), "i#2 i#3");
  // Two strings compare under the collation: "10" sorts before "2".
  EXPECT_EQ(Sel(u"i[w[0]<w[1]]"), "");
  EXPECT_EQ(Sel(u"i[w[1]<w[0]]"), "i#2");
  EXPECT_EQ(Sel(u"i[n=\"ABC\"]"), "i#1 i#2");
  EXPECT_EQ(Sel(u"i[n=\"ABC\"]", {soCaseSensitive}), "i#2");
  // Several nodes: true when any pair is true, for != too.
  EXPECT_EQ(Sel(u"i[w=10]"), "i#2");
  EXPECT_EQ(Sel(u"i[w!=2]"), "i#2");
  // A quote is not a string delimiter: 'x' is a path.
  EXPECT_EQ(Sel(u"i[t='x']"), "");
  // "-5" is no number to the coercion, so a number on the other side leaves the pair to the
  // Variant comparison, which converts the text; and -5 in a predicate is a path.
  EXPECT_EQ(Sel(u"i[v<0]"), "i#3");
  EXPECT_EQ(Sel(u"i[v=-5]"), "");
}

TEST_F(Predicates, MissingNodesMakeThePredicateFalse) {
  // With no t under i#2, the comparison is Null, and Null makes the whole predicate false even
  // beside an "or".
  EXPECT_EQ(Sel(u"i[t=\"x\" or n=\"b\"]"), "i#1 i#3");
  EXPECT_EQ(Sel(u"i[n=\"b\" or t=\"x\"]"), "i#1 i#3");
  EXPECT_EQ(Sel(u"i[not(t=\"q\")]"), "i#1 i#3");
}

TEST_F(Predicates, AndOrChainFromTheRight) {
  // a or b and c is (a or (b and c)) and c.
  EXPECT_EQ(Sel(u"i[@id=1 or @id=2 and @id=3]"), "");
  EXPECT_EQ(Sel(u"i[@id=1 and @id=1 or @id=3]"), "i#1 i#3");
  EXPECT_EQ(Sel(u"i[(@id=1 or @id=2) and v<10]"), "i#2");
  // A group hung behind a plain term has no effect.
  EXPECT_EQ(Sel(u"i[@id=1 or (@id=2)]"), "i#1");
  EXPECT_EQ(Sel(u"i[(@id=1) or (@id=2)]"), "i#1 i#2");
  // A long chain is evaluated in time linear in its length.
  UnicodeString chain = u"i[@id=0";
  for (int k = 0; k < 2000; ++k) chain += u" or @id=0";
  chain += u" or @id=2]";
  EXPECT_EQ(Sel(chain), "i#2");
  UnicodeString ands = u"i[@id";
  for (int k = 0; k < 2000; ++k) ands += u" and @id";
  ands += u"]";
  EXPECT_EQ(Sel(ands), "i#1 i#2 i#3");
}

TEST_F(Predicates, ListsAndPathsInsidePredicates) {
  EXPECT_EQ(Sel(u"i[n=(\"b\", \"abc\")]"), "");
  EXPECT_EQ(Sel(u"i[t=(\"y\")]"), "i#3");
  // A list's value is text: a number among its items cannot be added to it.
  EXPECT_THROW(Sel(u"i[@id=(1)]"), EConvertError);
  // A path with its own predicate inside a predicate inside a path.
  EXPECT_EQ(Sel(u"i[w[.=10]]"), "i#2");
  EXPECT_EQ(Sel(u"i[../i[@id=3]]"), "i#1 i#2 i#3");
  // A step ends at the first "/" behind the next "]": here the step is i[../i[@id=3] and the
  // rest of the path a step named t="y"].
  EXPECT_EQ(Sel(u"i[../i[@id=3]/t=\"y\"]"), "");
  EXPECT_EQ(Sel(u"i[t[../v[.<0]]]"), "i#3");
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
