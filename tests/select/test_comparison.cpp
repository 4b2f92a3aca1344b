// Value comparison: the integer, float, string and Variant modes, node sets on either side, and
// Null.
#include <cmath>

#include "select_util.h"

namespace selecttest {
namespace {

const char16_t *cItems =
    u"<r>"
    u"<i id=\"1\"><v>10.0</v><n>abc</n><w>2</w><w>10</w><h>0x10</h><m>-5</m></i>"
    u"<i id=\"2\"><v>9</v><n>ABC</n><w>3</w><h>16</h><m>x</m></i>"
    u"<i id=\"3\"><v>10</v><n>b</n></i>"
    u"</r>";

class Comparison : public ::testing::Test {
 protected:
  void SetUp() override { FDoc = Load(cItems); }
  std::string Sel(const UnicodeString &APath, TVnDOMSelectOptions AOptions = {}) {
    return Selected(FDoc->GetRootNode(), APath, AOptions);
  }
  Doc FDoc;
};

TEST_F(Comparison, NumbersCompareAsIntegersOrFloats) {
  EXPECT_EQ(Sel(u"i[v<10]"), "i#2");
  EXPECT_EQ(Sel(u"i[v=10]"), "i#1 i#3");
  EXPECT_EQ(Sel(u"i[v=10.0]"), "i#1 i#3");
  EXPECT_EQ(Sel(u"i[v>=9.5]"), "i#1 i#3");
  EXPECT_EQ(Sel(u"i[v!=10]"), "i#2");
  // Text on the other side of a number is read as a number when it starts with a digit or a
  // dot: as an integer the way Val reads one, hexadecimal included, else as a float.
  EXPECT_EQ(Sel(u"i[position()=\"2\"]"), "i#2");
  EXPECT_EQ(Sel(u"i[position()=\"2.0\"]"), "i#2");
  EXPECT_EQ(Sel(u"i[position()=\"0x2\"]"), "i#2");
  EXPECT_EQ(Sel(u"i[h=16]"), "i#1 i#2");
  EXPECT_EQ(Sel(u"i[h>15.5]"), "i#1 i#2");
}

TEST_F(Comparison, TwoStringsCompareUnderTheCollation) {
  EXPECT_EQ(Sel(u"i[v=\"10.0\"]"), "i#1");
  EXPECT_EQ(Sel(u"i[v=\"10\"]"), "i#3");
  // Digits in two strings are still text: "10.0" and "10" sort before "9".
  EXPECT_EQ(Sel(u"i[v<\"9\"]"), "i#1 i#3");
  EXPECT_EQ(Sel(u"i[n=\"abc\"]"), "i#1 i#2");
  EXPECT_EQ(Sel(u"i[n=\"abc\"]", {soCaseSensitive}), "i#1");
  EXPECT_EQ(Sel(u"i[n!=\"abc\"]"), "i#3");
  EXPECT_EQ(Sel(u"i[n<\"b\"]"), "i#1 i#2");
  EXPECT_EQ(Sel(u"i[n<=\"ABC\"]"), "i#1 i#2");
  EXPECT_EQ(Sel(u"i[n>\"abc\"]"), "i#3");
  EXPECT_EQ(Sel(u"i[n>=\"b\"]"), "i#3");
  EXPECT_EQ(Sel(u"i[n=n]"), "i#1 i#2 i#3");
}

TEST_F(Comparison, WhatIsNoNumberGoesToTheVariantComparison) {
  // "-5" starts with a sign: no number here, but the Variant comparison converts it.
  EXPECT_EQ(Sel(u"i[0][m<0]"), "i#1");
  EXPECT_EQ(Sel(u"i[0][m=-5]"), "");
  // "x" cannot be converted.
  EXPECT_THROW(Sel(u"i[1][m<0]"), EVariantTypeCastError);
  // A boolean is no number either.
  EXPECT_EQ(Sel(u"i[first()=\"True\"]"), "i#1");
  EXPECT_EQ(Sel(u"i[last()=\"False\"]"), "i#1 i#2");
}

TEST_F(Comparison, SeveralNodesCompareUntilAPairIsTrue) {
  EXPECT_EQ(Sel(u"i[w=\"10\"]"), "i#1");
  EXPECT_EQ(Sel(u"i[w!=\"2\"]"), "i#1 i#2");
  EXPECT_EQ(Sel(u"i[w<3]"), "i#1");
  EXPECT_EQ(Sel(u"i[\"3\"=w]"), "i#2");
  // A number first is a position, and nothing may follow it.
  EXPECT_EQ(MessageOf<Exception>([&] { Sel(u"i[5>w]"); }),
            "\"[5>w]\" is an invalid filter expression!");
  EXPECT_EQ(Sel(u"i[position()<w]"), "i#1 i#2");
  Doc doc = Load(
      u"<r><e id=\"1\"><a>1</a><a>2</a><b>3</b><b>4</b></e>"
      u"<e id=\"2\"><a>1</a><a>4</a><b>3</b><b>4</b></e></r>");
  TVnDOMElement *root = doc->GetRootNode();
  EXPECT_EQ(Selected(root, u"e[a=b]"), "e#2");
  EXPECT_EQ(Selected(root, u"e[a!=b]"), "e#1 e#2");
  EXPECT_EQ(Selected(root, u"e[a>b]"), "e#2");
  EXPECT_EQ(Selected(root, u"e[a>=b]"), "e#2");
  EXPECT_EQ(Selected(root, u"e[b<a]"), "e#2");
}

TEST_F(Comparison, NothingToCompareIsNullAndMakesThePredicateFalse) {
  EXPECT_EQ(Sel(u"i[zz=\"x\"]"), "");
  EXPECT_EQ(Sel(u"i[zz!=\"x\"]"), "");
  EXPECT_EQ(Sel(u"i[\"x\"!=zz]"), "");
  EXPECT_EQ(Sel(u"i[not(zz=\"x\")]"), "");
  EXPECT_EQ(Sel(u"i[n=\"b\" or zz=\"x\"]"), "i#3");
  EXPECT_EQ(Sel(u"i[zz=\"x\" or n=\"b\"]"), "");
  EXPECT_EQ(Sel(u"i[m=\"x\" or v=\"10\"]"), "i#2");
}

TEST_F(Comparison, NamespaceDeclarationsHaveNoValue) {
  Doc doc = Load(u"<r><e id=\"1\" xmlns:p=\"urn:p\"/><e xmlns:p=\"urn:p\" id=\"2\"/></r>");
  TVnDOMElement *root = doc->GetRootNode();
  EXPECT_EQ(Selected(root, u"e[@xmlns:p]", {soLocalName}), "e#1 e#2");
  EXPECT_EQ(Selected(root, u"e[@xmlns:p=\"urn:p\"]", {soLocalName}), "");
  EXPECT_EQ(Selected(root, u"e[@*=\"1\"]", {soLocalName}), "e#1");
  // When no pair is true the last pair decides: for e#1 that is the declaration's Null, which
  // makes the whole predicate false; for e#2 it is false, and the "or" goes on.
  EXPECT_EQ(Selected(root, u"e[@*=\"3\" or @id]", {soLocalName}), "e#2");
}

// Not a number, from a function of the test's own.
class TNaN : public TVnXPathFunction {
  VN_CLASS(TNaN, TVnXPathFunction)
 public:
  using TVnXPathFunction::TVnXPathFunction;
  Variant Value(TVnDOMObjectList *, Integer) override { return std::nan(""); }
};

TEST_F(Comparison, NotANumberIsUnequalToEverything) {
  RegisterXPathFunction(u"cmpnan", VnXPathFunctionClass<TNaN>());
  EXPECT_EQ(Sel(u"i[cmpnan()!=1]"), "i#1 i#2 i#3");
  EXPECT_EQ(Sel(u"i[cmpnan()!=cmpnan()]"), "i#1 i#2 i#3");
  EXPECT_EQ(Sel(u"i[cmpnan()=cmpnan()]"), "");
  EXPECT_EQ(Sel(u"i[cmpnan()<=1]"), "");
  EXPECT_EQ(Sel(u"i[cmpnan()>=1.5]"), "");
}

}  // namespace
}  // namespace selecttest
