// The forms a step of a path can take, how names and prefixes match, and when the errors of a
// step are raised.
#include "select_util.h"

namespace selecttest {
namespace {

const char16_t *cTree =
    u"<r xmlns:p=\"urn:p\" a=\"1\" p:b=\"2\">"
    u"<x id=\"1\">t1<y id=\"5\"/><!--c--><![CDATA[cd]]></x>"
    u"<p:x id=\"2\"><y id=\"3\"/></p:x>"
    u"<X id=\"4\"/>"
    u"<node id=\"6\"/><text id=\"7\"/>"
    u"</r>";

class Steps : public ::testing::Test {
 protected:
  void SetUp() override {
    FDoc = Load(cTree);
    FRoot = FDoc->GetRootNode();
    FX = FRoot->SelectSingleNode(u"x");
    ASSERT_EQ(Describe(FX), "x#1");
  }
  Doc FDoc;
  TVnDOMElement *FRoot = nullptr;
  TVnDOMNode *FX = nullptr;
};

TEST_F(Steps, AGroupRunsItsPathWithEveryResult) {
  EXPECT_EQ(Selected(FRoot, u"(x/y)"), "y#5");
  EXPECT_EQ(Selected(FRoot, u"(*)/y"), "y#5 y#3");
  // The group's path is run for all its nodes even for a single-node call: its predicate sees
  // every child element.
  EXPECT_EQ(Describe(FRoot->SelectSingleNode(u"(*)[1]")), "p:x#2");
  EXPECT_EQ(Describe(FRoot->SelectSingleNode(u"(*/y)[last()]")), "y#3");
  // The step runs to the balancing ")", "/" or not, and is cut behind it.
  EXPECT_EQ(Selected(FRoot, u"(x/y)/.."), "x#1");
  // A step is split at its first ":" before its form is looked at: "(p" is then a prefix, and
  // "x/y)" a name that matches nothing.
  EXPECT_EQ(Selected(FRoot, u"(p:x/y)"), "");
  EXPECT_EQ(Selected(FRoot, u"((x)/(y))/@id"), "@id=5");
}

TEST_F(Steps, NodeAndAnEmptyDescendantStepTakeEveryChildButAttributes) {
  EXPECT_EQ(Selected(FX, u"node()"), "'t1' y#5 #comment 'cd'");
  EXPECT_EQ(Selected(FX, u"NODE()"), "'t1' y#5 #comment 'cd'");
  EXPECT_EQ(Selected(FX, u"Node()"), "'t1' y#5 #comment 'cd'");
  // "r//": the children of r, then below each child in turn; never an attribute.
  EXPECT_EQ(Selected(FDoc.get(), u"r//"), "x#1 p:x#2 X#4 node#6 text#7 't1' y#5 #comment 'cd' y#3");
}

TEST_F(Steps, TextTakesTheTextAndCDATAChildren) {
  EXPECT_EQ(Selected(FX, u"text()"), "'t1' 'cd'");
  EXPECT_EQ(Selected(FX, u"TeXt()"), "'t1' 'cd'");
  EXPECT_EQ(Selected(FRoot, u"text()"), "");
}

TEST_F(Steps, NamesBeginningWithNOrTArePlainNames) {
  EXPECT_EQ(Selected(FRoot, u"node"), "node#6");
  EXPECT_EQ(Selected(FRoot, u"text"), "text#7");
  EXPECT_EQ(Selected(FRoot, u"TEXT"), "text#7");
  EXPECT_EQ(Selected(FRoot, u"nodes()"), "");
  EXPECT_EQ(Selected(FRoot, u"node()"), "x#1 p:x#2 X#4 node#6 text#7");
}

TEST_F(Steps, AttributeSteps) {
  EXPECT_EQ(Selected(FRoot, u"@a"), "@a=1");
  EXPECT_EQ(Selected(FRoot, u"@A"), "@a=1");
  EXPECT_EQ(Selected(FRoot, u"@A", {soCaseSensitive}), "");
  // Without local-name mode an attribute without prefix is not one with a prefix.
  EXPECT_EQ(Selected(FRoot, u"@b"), "");
  EXPECT_EQ(Selected(FRoot, u"@p:b"), "@p:b=2");
  EXPECT_EQ(Selected(FRoot, u"@p:*"), "@p:b=2");
  EXPECT_EQ(Selected(FRoot, u"@*"), "@a=1 @p:b=2");
  // Local-name mode matches any prefix, even a prefix written in the step.
  EXPECT_EQ(Selected(FRoot, u"@b", {soLocalName}), "@p:b=2");
  EXPECT_EQ(Selected(FRoot, u"@q:b", {soLocalName}), "@p:b=2");
  EXPECT_EQ(Selected(FRoot, u"@*", {soLocalName}), "@xmlns:p=urn:p @a=1 @p:b=2");
  // Attributes are found by "@" only, never by name.
  EXPECT_EQ(Selected(FRoot, u"a"), "");
  EXPECT_EQ(Selected(FRoot, u"node()/@id"), "@id=1 @id=2 @id=4 @id=6 @id=7");
  // On the document, the root's attributes; on a text node, none.
  EXPECT_EQ(Selected(FDoc.get(), u"@p:b"), "@p:b=2");
  EXPECT_EQ(Selected(FX, u"text()/@*"), "");
  TVnDOMNode *a = FRoot->SelectSingleNode(u"@a");
  EXPECT_EQ(Selected(a, u".."), "r");
}

TEST_F(Steps, StarTakesChildElementsByPrefix) {
  EXPECT_EQ(Selected(FRoot, u"*"), "x#1 p:x#2 X#4 node#6 text#7");
  EXPECT_EQ(Selected(FRoot, u"p:*"), "p:x#2");
  EXPECT_EQ(Selected(FRoot, u"P:*"), "p:x#2");
  EXPECT_EQ(Selected(FRoot, u"P:*", {soCaseSensitive}), "");
  EXPECT_EQ(Selected(FX, u"*"), "y#5");
  EXPECT_EQ(Selected(FDoc.get(), u"*"), "r");
  EXPECT_EQ(Selected(FDoc.get(), u"p:*"), "");
}

TEST_F(Steps, DotAndDotDot) {
  EXPECT_EQ(Selected(FX, u"."), "x#1");
  EXPECT_EQ(Selected(FRoot, u"x/."), "x#1 X#4");
  EXPECT_EQ(Selected(FRoot, u"./p:x"), "p:x#2");
  EXPECT_EQ(Selected(FRoot, u"x/./y"), "y#5");
  // "." right behind "." selects nothing, unless it searches below.
  EXPECT_EQ(Selected(FX, u"./."), "");
  EXPECT_EQ(Selected(FRoot, u"./././x"), "");
  EXPECT_EQ(Selected(FX, u".//."), "x#1 't1' y#5 #comment 'cd'");
  // The step before must be "." itself: "p:." is a dot with a prefix, which the dot ignores.
  EXPECT_EQ(Selected(FX, u"p:."), "x#1");
  EXPECT_EQ(Selected(FX, u"p:./."), "x#1");
  EXPECT_EQ(Selected(FX, u".[0]/."), "");
  EXPECT_EQ(Selected(FX, u".."), "r");
  EXPECT_EQ(Selected(FRoot, u".."), "#document");
  EXPECT_EQ(Selected(FDoc.get(), u".."), "");
  EXPECT_EQ(Selected(FRoot, u"p:x/y/../.."), "r");
}

TEST_F(Steps, MalformedStarAndDotNames) {
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Selected(FRoot, u"**"); }),
            "The XPath expression contains an error at \"**\"!\r\na \"/\" or \"[\" was expected "
            "after the \"*\".");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Selected(FRoot, u"..."); }),
            "The XPath expression contains an error at \"...\"!\r\na \"/\" or \"[\" was "
            "expected after the \"..\".");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Selected(FRoot, u"x//.."); }),
            "The XPath expression contains an error at \"..\"!\r\nThe \"//\" cannot be used in "
            "combination with \"..\".");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Selected(FRoot, u"[0]"); }),
            "The XPath expression is not valid!");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Selected(FRoot, u"x/ /y"); }),
            "The XPath expression is not valid!");
}

TEST_F(Steps, AStepRaisesItsErrorOnlyWhenTheWalkReachesIt) {
  EXPECT_EQ(Selected(FRoot, u"none/**"), "");
  EXPECT_THROW(Selected(FRoot, u"x/**"), EVnDomSyntax);
  EXPECT_EQ(Selected(FRoot, u"none///y"), "");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Selected(FRoot, u"x///y"); }),
            "The specified nodePath started with an unexpected token (/)!");
  EXPECT_EQ(Selected(FRoot, u"none//.."), "");
  // A step's own trailing "/" is found before its candidates are looked for.
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Selected(FRoot, u"none/"); }),
            "The XPath expression does not return a DOM Node!");
  // A single-node call stops at the first alternative that found something.
  EXPECT_EQ(Describe(FRoot->SelectSingleNode(u"x|**")), "x#1");
  EXPECT_THROW(Selected(FRoot, u"x|**"), EVnDomSyntax);
  EXPECT_THROW(FRoot->SelectSingleNode(u"none|**"), EVnDomSyntax);
  // The path of a predicate raises when the predicate is evaluated.
  EXPECT_EQ(Selected(FRoot, u"none[.q]"), "");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Selected(FRoot, u"x[.q]"); }),
            "The XPath expression contains an error at \".q\"!\r\na \"/\" or \"[\" was expected "
            "after the \"..\".");
}

TEST_F(Steps, StepsAreCutAtSlashesAndBarsFirst) {
  EXPECT_EQ(Selected(FRoot, u" x / y "), "y#5");
  EXPECT_EQ(Selected(FRoot, u"x[@id = 1] /y"), "y#5");
  // "|" splits the whole path before anything else, quotes or not: the first alternative is
  // *[@id="1 and the second 2"].
  EXPECT_EQ(Selected(FRoot, u"*[@id=\"1|2\"]"), "x#1");
  EXPECT_EQ(Selected(FRoot, u"y | x/y | p:x/y"), "y#5 y#3");
}

TEST_F(Steps, NamesMatchByPrefixAndLocalName) {
  // Qualified names by default, under the document's case-insensitive collation.
  EXPECT_EQ(Selected(FRoot, u"x"), "x#1 X#4");
  EXPECT_EQ(Selected(FRoot, u"p:x"), "p:x#2");
  EXPECT_EQ(Selected(FRoot, u"P:X"), "p:x#2");
  EXPECT_EQ(Selected(FRoot, u"x", {soCaseSensitive}), "x#1");
  EXPECT_EQ(Selected(FRoot, u"x", {soLocalName}), "x#1 p:x#2 X#4");
  EXPECT_EQ(Selected(FRoot, u"p:x", {soLocalName}), "p:x#2");
  EXPECT_EQ(Selected(FRoot, u"x", {soLocalName, soCaseSensitive}), "x#1 p:x#2");
  EXPECT_EQ(Selected(FRoot, u"//y", {soQualifiedName}), "y#5 y#3");
}

TEST_F(Steps, TheDocumentSettingsAreTheDefaults) {
  FDoc->SetSelectMatchOption(soLocalName);
  EXPECT_EQ(Selected(FRoot, u"x"), "x#1 p:x#2 X#4");
  EXPECT_EQ(Selected(FRoot, u"x", {soQualifiedName}), "x#1 X#4");
  EXPECT_EQ(Selected(FRoot, u"@*"), "@xmlns:p=urn:p @a=1 @p:b=2");
  FDoc->SetSelectMatchOption(soQualifiedName);
  FDoc->SetCollation(TVnXPathCollationCodepoint::StaticClass());
  EXPECT_EQ(Selected(FRoot, u"X"), "X#4");
  EXPECT_EQ(Selected(FRoot, u"X", {soCaseInsensitive}), "x#1 X#4");
  // The predicates follow the same settings.
  EXPECT_EQ(Selected(FRoot, u"*[Y]"), "");
  EXPECT_EQ(Selected(FRoot, u"*[Y]", {soCaseInsensitive}), "x#1 p:x#2");
}

}  // namespace
}  // namespace selecttest
