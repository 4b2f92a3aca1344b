// The terms of a predicate: how the term reader cuts paths, literals, lists and calls from the
// text, and what each gives.
#include "select_util.h"

namespace selecttest {
namespace {

const char16_t *cItems =
    u"<r xmlns:p=\"urn:p\">"
    u"<i id=\"1\"><v>10.0</v><t>x</t><w>2</w><w>10</w><s>x, y</s><q>a\\</q><u>abc]</u><z/>"
    u"<a><b c=\"3\"/></a></i>"
    u"<i id=\"2\"><v>9</v><t>y</t><w>3</w><s>x, y, z</s><p:n/><g>100000000000000000000</g></i>"
    u"</r>";

class Terms : public ::testing::Test {
 protected:
  void SetUp() override { FDoc = Load(cItems); }
  std::string Sel(const UnicodeString &APath, TVnDOMSelectOptions AOptions = {}) {
    return Selected(FDoc->GetRootNode(), APath, AOptions);
  }
  std::string SyntaxError(const UnicodeString &APath) {
    return MessageOf<EVnDomSyntax>([&] { Sel(APath); });
  }
  Doc FDoc;
};

const std::string cNotValid = "The specified XPath statement is not valid!";

TEST_F(Terms, ANameTokenTakesPathCharacters) {
  EXPECT_EQ(Sel(u"i[a/b/@c=3]"), "i#1");
  EXPECT_EQ(Sel(u"i[../i/@id=2]"), "i#1 i#2");
  EXPECT_EQ(Sel(u"i[*/*/@c]"), "i#1");
  EXPECT_EQ(Sel(u"i[.//@c]"), "i#1");
  EXPECT_EQ(Sel(u"i[p:n]"), "i#2");
  // No sign belongs to a number: "+3" is a path that selects nothing.
  EXPECT_EQ(Sel(u"i[a/b/@c=+3]"), "");
  // A quote is a name character: 'x' is the name of a child.
  EXPECT_EQ(Describe(FDoc->GetRootNode()->SelectSingleNode(u"i[1]/'x'", {soCreate})), "'x'");
  EXPECT_EQ(Sel(u"i['x']"), "i#2");
  EXPECT_EQ(Sel(u"i[t='x']"), "");
}

TEST_F(Terms, TabsAndLineBreaksArePartOfATerm) {
  EXPECT_EQ(Sel(u"i[ 0]"), "i#1");
  // "\t0" is no position but a path, which the walk trims to a child named "0".
  EXPECT_EQ(Sel(u"i[\t0]"), "");
  EXPECT_EQ(Sel(u"i[t\n=\"x\"]"), "i#1");
  EXPECT_EQ(Sel(u"i[w\tt]"), "");
  EXPECT_EQ(MessageOf<Exception>([&] { Sel(u"i[w t]"); }),
            "\"[w t]\" is an invalid filter expression!");
}

TEST_F(Terms, AConstantBehindATokenReplacesIt) {
  EXPECT_EQ(Sel(u"i[t=zz \"x\"]"), "i#1");
  EXPECT_EQ(Sel(u"i[t=zz\"y\"]"), "i#2");
  EXPECT_EQ(Sel(u"i[v=zz 9]"), "i#2");
  EXPECT_EQ(Sel(u"i[t=\t\"x\"]"), "i#1");
  // A dot behind a token opens a number even with no digit after it.
  EXPECT_EQ(SyntaxError(u"i[v=zz .]"), "Either a number or a string was expected!");
  // At the start of a term a dot without a digit is a path.
  EXPECT_EQ(Sel(u"i/v[.>9.5]"), "v");
}

TEST_F(Terms, ABracketJoinsThePathBeforeIt) {
  EXPECT_EQ(Sel(u"i[w [1]=10]"), "i#1");
  EXPECT_EQ(Sel(u"i[w[0]=3]"), "i#2");
  EXPECT_EQ(Sel(u"i[w [.=10]]"), "i#1");
  EXPECT_EQ(Sel(u"i[a [b[@c=3]]]"), "i#1");
}

TEST_F(Terms, AnEmptyTermIsAnInvalidStatement) {
  for (const char16_t *path : {u"i[=1]", u"i[,]", u"i[t=,]", u"i[t=)]", u"i[t=]", u"i[ ]"})
    EXPECT_EQ(SyntaxError(path), cNotValid) << UTF8Encode(path);
}

TEST_F(Terms, ACallTakesTheWholeTokenAsItsName) {
  EXPECT_EQ(SyntaxError(u"i[a/b(1)]"), "The filter contains an unsupported function (a/b)!");
  EXPECT_EQ(SyntaxError(u"i[fn:first()]"),
            "The filter contains an unsupported function (fn:first)!");
  EXPECT_EQ(SyntaxError(u"i[First()]"), "The filter contains an unsupported function (First)!");
  EXPECT_EQ(Sel(u"i[first ()]"), "i#1");
  EXPECT_EQ(Sel(u"i[last ( )]"), "i#2");
  EXPECT_EQ(Sel(u"i[position( )=2]"), "i#2");
  EXPECT_EQ(Sel(u"i[node()]"), "i#1 i#2");
  // The built-in calls skip their parameters up to the balancing ")".
  EXPECT_EQ(Sel(u"i[first(garbage, (x), ,)]"), "i#1");
  EXPECT_EQ(Sel(u"i[last(]"), "i#2");
}

TEST_F(Terms, StringConstants) {
  // No escapes: the backslash is the string's last character.
  EXPECT_EQ(Sel(u"i/q[.=\"a\\\"]"), "q");
  // An unclosed string runs to the end of the bracket's text, "]" included.
  EXPECT_EQ(Sel(u"i/u[.=\"abc]"), "u");
  // No doubling: "x""y" is two constants.
  EXPECT_EQ(MessageOf<Exception>([&] { Sel(u"i[t=\"x\"\"y\"]"); }),
            "\"[t=\"x\"\"y\"]\" is an invalid filter expression!");
  EXPECT_EQ(Sel(u"i[t=\"\"]"), "");
  EXPECT_EQ(Sel(u"i/z[.=\"\"]"), "z");
}

TEST_F(Terms, NumberConstants) {
  EXPECT_EQ(Sel(u"i[position()=002]"), "i#2");
  EXPECT_EQ(Sel(u"i[position()=2.0]"), "i#2");
  EXPECT_EQ(Sel(u"i[position()=1.5]"), "");
  EXPECT_EQ(Sel(u"i[v<.95]"), "");
  EXPECT_EQ(Sel(u"i[v>.95]"), "i#1 i#2");
  EXPECT_EQ(SyntaxError(u"i[v=1.2.3]"), "Either a number or a string was expected!");
  EXPECT_EQ(SyntaxError(u"i[v=1..]"), "Either a number or a string was expected!");
  // Too large for a 64-bit integer: a float on both sides.
  EXPECT_EQ(Sel(u"i[g=100000000000000000000]"), "i#2");
  // A number ends at the first character that is neither digit nor dot.
  EXPECT_EQ(MessageOf<Exception>([&] { Sel(u"i[v=1e1]"); }),
            "\"[v=1e1]\" is an invalid filter expression!");
}

TEST_F(Terms, ListsAreTheirItemsJoinedByCommas) {
  EXPECT_EQ(Sel(u"i[s=(\"x\", \"y\")]"), "i#1");
  EXPECT_EQ(Sel(u"i[s=(\"x\",\"y\")]"), "i#1");
  EXPECT_EQ(Sel(u"i[s=[\"x\", \"y\"]]"), "i#1");
  EXPECT_EQ(Sel(u"i[s=((\"x\", \"y\"), [\"z\"])]"), "i#2");
  EXPECT_EQ(Sel(u"i[s=(t, \"y\")]"), "i#1");
  EXPECT_EQ(Sel(u"i[s=( t, \"y\")]"), "i#1");
  // A trailing comma adds nothing.
  EXPECT_EQ(Sel(u"i[s=(\"x\", \"y\",)]"), "i#1");
  // The empty list, and a list with an item that is Null, are the empty string.
  EXPECT_EQ(Sel(u"i/z[.=()]"), "z");
  EXPECT_EQ(Sel(u"i/z[.=[ ]]"), "z");
  EXPECT_EQ(Sel(u"i/z[.=(zz, \"x\")]"), "z");
  EXPECT_EQ(Sel(u"i/z[.=(\"x\", zz)]"), "z");
  EXPECT_EQ(Sel(u"i/z[.=(\"x\")]"), "");
}

TEST_F(Terms, NothingSkipsSpacesBehindAListLiteral) {
  EXPECT_EQ(SyntaxError(u"i[s=(\"x\" , \"y\")]"), cNotValid);
  EXPECT_EQ(SyntaxError(u"i[s=(\"x\", \"y\" )]"), cNotValid);
  EXPECT_EQ(SyntaxError(u"i[s=(1 , 2)]"), cNotValid);
  EXPECT_EQ(SyntaxError(u"i[s=(,)]"), cNotValid);
  // A path item ends at the space; the reader behind it skips spaces.
  EXPECT_EQ(Sel(u"i[s=(\"x\", t )]"), "");
  EXPECT_EQ(Sel(u"i[s=(t , \"y\")]"), "i#1");
  // (1, 2) is read; its value cannot be made, since ", " is no number to add to.
  MessageOf<EVariantTypeCastError>([&] { Sel(u"i[s=(1, 2)]"); });
  MessageOf<EVariantTypeCastError>([&] { Sel(u"i[s=[\"a\", 2]]"); });
  EXPECT_EQ(Sel(u"i[s=(\"x\", t)]"), "");
  // With no candidate no bracket is read.
  EXPECT_EQ(Sel(u"zz[s=(1 , 2)]"), "");
}

TEST_F(Terms, PathsInsidePredicatesInsidePaths) {
  EXPECT_EQ(Selected(FDoc.get(), u"r[i[w[.=10]]]"), "r");
  EXPECT_EQ(Sel(u"i[../i[w[.=3]]]"), "i#1 i#2");
  EXPECT_EQ(Sel(u"i[w[../t[.=\"x\"]]]"), "i#1");
  EXPECT_EQ(Sel(u"i[a[b[@c[.=../../../w[1]]]]]"), "");
  EXPECT_EQ(Sel(u"i[a[b[@c[.>../../../w[0]]]]]"), "i#1");
  // "|" splits the whole path first, brackets or not: the alternatives are "i[(a/b", whose
  // missing ")" and "]" go unreported, and "w)]", which finds nothing.
  EXPECT_EQ(Sel(u"i[(a/b | w)]"), "i#1");
  // A broken predicate inside a predicate is raised when the outer one is evaluated.
  EXPECT_EQ(SyntaxError(u"i[w[.=<1]]"),
            "The filter \"[.=<1]\" contains an invalid compare "
            "operator (=<)!");
  EXPECT_EQ(Sel(u"i[zz[.=<1]]"), "");
}

}  // namespace
}  // namespace selecttest
