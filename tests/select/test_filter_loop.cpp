// The boolean layer of a predicate: not, and, or, parentheses, positions, the operators, and the
// rule for functions that stand for a truth.
#include "select_util.h"

namespace selecttest {
namespace {

const char16_t *cItems =
    u"<r>"
    u"<i id=\"1\" a=\"1\"><b>x</b><e>1</e></i>"
    u"<i id=\"2\" a=\"2\"/>"
    u"<i id=\"3\"><b>y</b></i>"
    u"<i id=\"4\" a=\"\"><c/></i>"
    u"</r>";

class FilterLoop : public ::testing::Test {
 protected:
  void SetUp() override { FDoc = Load(cItems); }
  std::string Sel(const UnicodeString &APath, TVnDOMSelectOptions AOptions = {}) {
    return Selected(FDoc->GetRootNode(), APath, AOptions);
  }
  std::string Invalid(const UnicodeString &AFilter) {
    return MessageOf<Exception>([&] { Sel(u"i" + AFilter); });
  }
  Doc FDoc;
};

std::string InvalidText(const std::string &AFilter) {
  return "\"" + AFilter + "\" is an invalid filter expression!";
}

TEST_F(FilterLoop, NotNegatesBeforeAParenthesisADigitOrAnAttribute) {
  EXPECT_EQ(Sel(u"i[not(b)]"), "i#2 i#4");
  EXPECT_EQ(Sel(u"i[not  (b)]"), "i#2 i#4");
  EXPECT_EQ(Sel(u"i[not @a]"), "i#3");
  EXPECT_EQ(Sel(u"i[not 0]"), "i#2 i#3 i#4");
  // Only the first letter must be lower case.
  EXPECT_EQ(Sel(u"i[nOT(b)]"), "i#2 i#4");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Sel(u"i[NOT(b)]"); }),
            "The filter contains an unsupported function (NOT)!");
}

TEST_F(FilterLoop, NotBeforeAnythingElseLosesItsLetters) {
  EXPECT_EQ(Sel(u"i[not b]"), "i#1 i#3");
  EXPECT_EQ(Sel(u"i[notb]"), "i#1 i#3");
  // No word boundary: "note=1" is "e=1".
  EXPECT_EQ(Sel(u"i[note=1]"), "i#1");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Sel(u"i[not]"); }),
            "The specified XPath statement is not valid!");
}

TEST_F(FilterLoop, NotWithoutParenthesesKeepsOnlyThePresenceOfItsTerm) {
  // The comparison behind "not @a" is dropped: not(@a).
  EXPECT_EQ(Sel(u"i[not @a = \"1\"]"), "i#3");
  EXPECT_EQ(Sel(u"i[not @a != \"1\"]"), "i#3");
  EXPECT_EQ(Sel(u"i[not(@a = \"1\")]"), "i#2 i#4");
  // The rest of the chain joins inside the negation: not(@a and b).
  EXPECT_EQ(Sel(u"i[not @a and b]"), "i#2 i#3 i#4");
  EXPECT_EQ(Sel(u"i[not(@a) and b]"), "i#3");
  // After a position the negation is still waiting for a term to strip: the comparison of the
  // next one is dropped, so this is not([3] and @a).
  EXPECT_EQ(Sel(u"i[not 3 and @a = \"2\"]"), "i#1 i#2 i#3");
}

TEST_F(FilterLoop, ANegationOfSomethingMissingIsFalse) {
  EXPECT_EQ(Sel(u"i[not(b = \"q\")]"), "i#1 i#3");
  // The Null met inside the negation stays there: the "or" still decides for i#3.
  EXPECT_EQ(Sel(u"i[not(e = \"1\") or b]"), "i#1 i#3");
  EXPECT_EQ(Sel(u"i[e = \"1\" or b]"), "i#1");
  // A missing path is no Null to presence.
  EXPECT_EQ(Sel(u"i[not(c)]"), "i#1 i#2 i#3");
}

TEST_F(FilterLoop, AndAndOrChainFromTheRight) {
  EXPECT_EQ(Sel(u"i[b and @a]"), "i#1");
  EXPECT_EQ(Sel(u"i[b or @a]"), "i#1 i#2 i#3 i#4");
  // "@a or b and c" is (@a or (b and c)) and c.
  EXPECT_EQ(Sel(u"i[@a or b and c]"), "i#4");
  EXPECT_EQ(Sel(u"i[c and b or @a]"), "i#1 i#2 i#4");
  // "@a and b or c and @a": true for i#1 only if the last link sees the value of the rest.
  EXPECT_EQ(Sel(u"i[@a and b or c and @a]"), "i#1 i#4");
  // An "or" that is already true looks no further, so a missing node behind it is not met.
  EXPECT_EQ(Sel(u"i[b or zz = \"1\"]"), "i#1 i#3");
  EXPECT_EQ(Sel(u"i[zz = \"1\" or b]"), "");
}

TEST_F(FilterLoop, OperatorWords) {
  EXPECT_EQ(Sel(u"i[b aNd @a]"), "i#1");
  EXPECT_EQ(Sel(u"i[b oR @a]"), "i#1 i#2 i#3 i#4");
  EXPECT_EQ(Invalid(u"[b AND @a]"), InvalidText("[b AND @a]"));
  EXPECT_EQ(Invalid(u"[b Or @a]"), InvalidText("[b Or @a]"));
  // Without a space the word must be followed by "(", a digit or "@".
  EXPECT_EQ(Sel(u"i[b and@a]"), "i#1");
  EXPECT_EQ(Sel(u"i[@a or0]"), "i#1 i#2 i#4");
  EXPECT_EQ(Invalid(u"[b andc]"), InvalidText("[b andc]"));
  EXPECT_EQ(Invalid(u"[b orc]"), InvalidText("[b orc]"));
  // A name that begins with the word, behind a space, is taken for the word.
  EXPECT_EQ(Sel(u"i[b or der]"), "i#1 i#3");
  EXPECT_EQ(Invalid(u"[b order]"), InvalidText("[b order]"));
  EXPECT_EQ(Invalid(u"[b and]"), InvalidText("[b and]"));
}

TEST_F(FilterLoop, Parentheses) {
  EXPECT_EQ(Sel(u"i[(b)]"), "i#1 i#3");
  EXPECT_EQ(Sel(u"i[((b))]"), "i#1 i#3");
  EXPECT_EQ(Sel(u"i[(b) and (@a)]"), "i#1");
  EXPECT_EQ(Sel(u"i[(b and @a) or (c)]"), "i#1 i#4");
  EXPECT_EQ(Sel(u"i[not((b) or (c))]"), "i#2");
  // A group hung behind a plain term is read and has no effect.
  EXPECT_EQ(Sel(u"i[b and (c)]"), "i#1 i#3");
  EXPECT_EQ(Sel(u"i[b and(@a)]"), "i#1 i#3");
  // A missing ")" is not reported.
  EXPECT_EQ(Sel(u"i[(b]"), "i#1 i#3");
  EXPECT_EQ(Sel(u"i[(b) and (@a]"), "i#1");
  // A ")" too many, with more behind it, leaves nothing to go on with.
  EXPECT_EQ(Invalid(u"[b) and c]"), InvalidText("[b) and c]"));
  EXPECT_EQ(Invalid(u"[(b)) or (c)]"), InvalidText("[(b)) or (c)]"));
}

TEST_F(FilterLoop, ANumberIsAZeroBasedPosition) {
  EXPECT_EQ(Sel(u"i[0]"), "i#1");
  EXPECT_EQ(Sel(u"i[3]"), "i#4");
  EXPECT_EQ(Sel(u"i[4]"), "");
  EXPECT_EQ(Sel(u"i[00]"), "i#1");
  EXPECT_EQ(Sel(u"i[ 1 ]"), "i#2");
  EXPECT_EQ(Sel(u"i[position()=1]"), "i#1");
  EXPECT_EQ(Sel(u"i[b and 2]"), "i#3");
  EXPECT_EQ(Sel(u"i[0 or c]"), "i#1 i#4");
  EXPECT_EQ(Invalid(u"[1 = 1]"), InvalidText("[1 = 1]"));
  EXPECT_EQ(Invalid(u"[1=position()]"), InvalidText("[1=position()]"));
  // Each bracket numbers the survivors of the one before.
  EXPECT_EQ(Sel(u"i[b][1]"), "i#3");
  EXPECT_EQ(Sel(u"i[@a][last()]"), "i#4");
  EXPECT_EQ(Sel(u"i[@a][position()=2][0]"), "i#2");
  EXPECT_EQ(Sel(u"i[1][1]"), "");
}

TEST_F(FilterLoop, OperatorTexts) {
  EXPECT_EQ(Sel(u"i[@id=2]"), "i#2");
  EXPECT_EQ(Sel(u"i[@id!=2]"), "i#1 i#3 i#4");
  EXPECT_EQ(Sel(u"i[@id<>2]"), "i#1 i#3 i#4");
  EXPECT_EQ(Sel(u"i[@id<2]"), "i#1");
  EXPECT_EQ(Sel(u"i[@id<=2]"), "i#1 i#2");
  EXPECT_EQ(Sel(u"i[@id>2]"), "i#3 i#4");
  EXPECT_EQ(Sel(u"i[@id>=2]"), "i#2 i#3 i#4");
  EXPECT_EQ(Sel(u"i[@id = 2]"), "i#2");
  EXPECT_EQ(Sel(u"i[@id >=2]"), "i#2 i#3 i#4");
  for (const char16_t *op : {u"==", u"=<", u"=>", u"<<", u"!", u"=!", u">>=", u"!==", u"<>="}) {
    const UnicodeString filter = u"[@id" + UnicodeString(op) + u"2]";
    EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Sel(u"i" + filter); }),
              "The filter \"" + UTF8Encode(filter) + "\" contains an invalid compare operator (" +
                  UTF8Encode(op) + ")!");
  }
  // The entity forms never come out of the operator reader.
  EXPECT_EQ(Invalid(u"[@id &lt; 2]"), InvalidText("[@id &lt; 2]"));
  EXPECT_EQ(Invalid(u"[@id &gt;= 2]"), InvalidText("[@id &gt;= 2]"));
  // The right term is read before the operator is looked up.
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Sel(u"i[@id=<]"); }),
            "The specified XPath statement is not valid!");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Sel(u"i[@id = = 2]"); }),
            "The specified XPath statement is not valid!");
}

TEST_F(FilterLoop, AFilterMustStartWithItsBracketAndBeUsedUp) {
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Sel(u"i[]"); }),
            "The specified XPath statement is not valid!");
  EXPECT_EQ(Invalid(u"[b c]"), InvalidText("[b c]"));
  EXPECT_EQ(Invalid(u"[@id=1 2]"), InvalidText("[@id=1 2]"));
  EXPECT_EQ(Invalid(u"[b=\"x\" \"y\"]"), InvalidText("[b=\"x\" \"y\"]"));
  // Behind the closing bracket of the last predicate nothing is read.
  EXPECT_EQ(Sel(u"i[b]]"), "i#1 i#3");
}

TEST_F(FilterLoop, AnEquationWithoutATermIsRefusedWhenItIsReached) {
  const std::string message = "An invalid operation has been detected!";
  for (const char16_t *filter : {u"[)]", u"[()]", u"[(]", u"[not()]", u"[b and ]", u"[(b) or ( )]"})
    EXPECT_EQ(MessageOf<Exception>([&] { Sel(u"i" + UnicodeString(filter)); }), message)
        << UTF8Encode(filter);
  // Behind a term that decides alone, the empty one is never reached.
  EXPECT_EQ(Sel(u"i[0][@a or ]"), "i#1");
  EXPECT_EQ(Sel(u"i[0][c and ]"), "");
}

// A function of the test's own: "x" for the second candidate, "y" for every other.
class TMark : public TVnXPathFunction {
  VN_CLASS(TMark, TVnXPathFunction)
 public:
  using TVnXPathFunction::TVnXPathFunction;
  Variant Value(TVnDOMObjectList *, Integer AIndex) override {
    return UnicodeString(AIndex == 1 ? u"x" : u"y");
  }
};

// The same function, declared to stand for a truth.
class TBooleanMark : public TMark {
  VN_CLASS(TBooleanMark, TMark)
 public:
  explicit TBooleanMark(TVnXPathEquation *AEquation) : TMark(AEquation) { FIsBoolean = true; }
};

TEST_F(FilterLoop, AFunctionThatStandsForATruthTakesNoOperator) {
  RegisterXPathFunction(u"loopmark", VnXPathFunctionClass<TMark>());
  RegisterXPathFunction(u"loopboolmark", VnXPathFunctionClass<TBooleanMark>());
  EXPECT_EQ(Sel(u"i[loopmark()=\"x\"]"), "i#2");
  EXPECT_EQ(Sel(u"i[loopmark() != \"x\"]"), "i#1 i#3 i#4");
  // The boolean function is compared with true on its own, and an operator behind it is left
  // over.
  EXPECT_EQ(Invalid(u"[loopboolmark()=\"x\"]"), InvalidText("[loopboolmark()=\"x\"]"));
  EXPECT_EQ(Invalid(u"[loopboolmark() != \"x\"]"), InvalidText("[loopboolmark() != \"x\"]"));
  // As a parameter or on the right it is a plain term.
  EXPECT_EQ(Sel(u"i[\"x\"=loopboolmark()]"), "i#2");
}

}  // namespace
}  // namespace selecttest
