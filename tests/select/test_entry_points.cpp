// The select entry points: their option checks, what they answer when nothing is found, the
// document forms, paths from the document, and the creation of missing elements.
#include "select_util.h"

namespace selecttest {
namespace {

const char16_t *cTree =
    u"<r><a id=\"1\"><b id=\"2\"/>t</a><a id=\"3\"/><c id=\"4\"><p:q id=\"5\"/></c></r>";

class EntryPoints : public ::testing::Test {
 protected:
  void SetUp() override {
    FDoc = Load(cTree);
    FRoot = FDoc->GetRootNode();
  }
  std::string Xml() { return UTF8Encode(FRoot->GetXML()); }
  Doc FDoc;
  TVnDOMElement *FRoot = nullptr;
};

TEST_F(EntryPoints, ConflictingOptionsAreRefusedByEveryForm) {
  const std::string cases =
      "It is not possible to specify both soCaseSensitive and soCaseInsensitive!";
  const std::string create = "It is not possible to specify both soRaise and soCreate!";
  const TVnDOMSelectOptions both = {soCaseSensitive, soCaseInsensitive};
  const TVnDOMSelectOptions raiseCreate = {soRaise, soCreate};
  EXPECT_EQ(MessageOf<Exception>([&] { FRoot->SelectSingleNode(u"a", both); }), cases);
  EXPECT_EQ(MessageOf<Exception>([&] { NodeList(FRoot->CreateNodeList(u"a", both)); }), cases);
  EXPECT_EQ(MessageOf<Exception>([&] { FRoot->SelectSingleElement(u"a", both); }), cases);
  EXPECT_EQ(MessageOf<Exception>([&] { ElementList(FRoot->CreateElementList(u"a", both)); }),
            cases);
  EXPECT_EQ(MessageOf<Exception>([&] { FDoc->SelectSingleElement(u"a", both); }), cases);
  EXPECT_EQ(MessageOf<Exception>([&] { ElementList(FDoc->CreateElementList(u"a", both)); }), cases);
  EXPECT_EQ(MessageOf<Exception>([&] { FRoot->SelectSingleNode(u"zz", raiseCreate); }), create);
  EXPECT_EQ(MessageOf<Exception>([&] { FRoot->SelectSingleElement(u"zz", raiseCreate); }), create);
  EXPECT_EQ(MessageOf<Exception>([&] { FDoc->SelectSingleElement(u"zz", raiseCreate); }), create);
  EXPECT_EQ(MessageOf<Exception>([&] { ElementList(FDoc->CreateElementList(u"zz", raiseCreate)); }),
            create);
  // Refused before anything is created.
  EXPECT_EQ(Xml(),
            "<r><a id=\"1\"><b id=\"2\" />t</a><a id=\"3\" /><c id=\"4\"><p:q id=\"5\" "
            "/></c></r>");
}

TEST_F(EntryPoints, NothingFound) {
  EXPECT_EQ(FRoot->SelectSingleNode(u"zz"), nullptr);
  EXPECT_EQ(FRoot->SelectSingleElement(u"zz"), nullptr);
  EXPECT_EQ(NodeList(FRoot->CreateNodeList(u"zz", {}))->Count(), 0);
  EXPECT_EQ(ElementList(FRoot->CreateElementList(u"zz", {}))->Count(), 0);
  EXPECT_EQ(MessageOf<EVnDomNotFound>([&] { FRoot->SelectSingleElement(u"zz", {soRaise}); }),
            "There is no node for the given path \"zz\"!");
  EXPECT_EQ(MessageOf<EVnDomNotFound>([&] { FDoc->SelectSingleElement(u"zz", {soRaise}); }),
            "There is no node for the given path \"zz\"!");
  EXPECT_EQ(
      MessageOf<EVnDomNotFound>([&] { ElementList(FDoc->CreateElementList(u"zz", {soRaise})); }),
      "There are no nodes for the given path \"zz\"!");
  // The node list keeps its misplaced quote.
  EXPECT_EQ(MessageOf<EVnDomNotFound>([&] { NodeList(FDoc->CreateNodeList(u"zz", {soRaise})); }),
            "There are no nodes for the given path \"zz!.");
}

TEST_F(EntryPoints, SlashAloneIsTheContextNode) {
  TVnDOMNode *b = FRoot->SelectSingleNode(u"a/b");
  TVnDOMNode *id = FRoot->SelectSingleNode(u"a/@id");
  TVnDOMNode *t = FRoot->SelectSingleNode(u"a/text()");
  EXPECT_EQ(FRoot->SelectSingleNode(u"/"), FRoot);
  EXPECT_EQ(b->SelectSingleNode(u" / "), b);
  EXPECT_EQ(id->SelectSingleNode(u"/"), id);
  EXPECT_EQ(t->SelectSingleNode(u"/"), t);
  EXPECT_EQ(FDoc->SelectSingleElement(u"/"), FRoot);
  EXPECT_EQ(Selected(b, u"/ | .. | /"), "b#2 a#1");
}

TEST_F(EntryPoints, PathsFromTheDocument) {
  TVnDOMNode *b = FRoot->SelectSingleNode(u"a/b");
  EXPECT_EQ(Selected(b, u"/r/a"), "a#1 a#3");
  EXPECT_EQ(Selected(b, u"/a"), "");
  EXPECT_EQ(Selected(b, u"//@id"), "@id=1 @id=2 @id=3 @id=4 @id=5");
  EXPECT_EQ(Selected(b, u"//*[@id>3]"), "c#4 p:q#5");
  // The document's element forms start at the root; its node forms at the document.
  EXPECT_EQ(Describe(FDoc->SelectSingleElement(u"a")), "a#1");
  EXPECT_EQ(Describe(FDoc->SelectSingleNode(u"a")), "nil");
  EXPECT_EQ(Describe(FDoc->SelectSingleNode(u"r/a")), "a#1");
  ElementList list(FDoc->CreateElementList(u"a", {}));
  EXPECT_EQ(list->Count(), 2);
}

TEST_F(EntryPoints, ADocumentWithoutRoot) {
  Doc doc(New<TVnDOMDocument>());
  EXPECT_EQ(MessageOf<EVnDomNotFound>([&] { doc->SelectSingleElement(u"", {}); }),
            "The specified nodePath is empty!");
  EXPECT_EQ(MessageOf<EVnDomNotFound>([&] { doc->SelectSingleElement(u"a", {soCreate}); }),
            "It is not possible to use XPath statements on documents without rootnode!");
  EXPECT_EQ(
      MessageOf<EVnDomNotFound>([&] { ElementList(doc->CreateElementList(u"a", {soRaise})); }),
      "There is no node for the given path \"a\".");
  EXPECT_EQ(doc->GetRootNode(), nullptr);
  // The document's own node forms walk it as any node.
  EXPECT_EQ(doc->SelectSingleNode(u"a"), nullptr);
  EXPECT_EQ(doc->SelectSingleNode(u"/"), doc.get());
}

TEST_F(EntryPoints, FirstOnlyTakesTheFirstAlternativeThatFinds) {
  EXPECT_EQ(Describe(FRoot->SelectSingleNode(u"zz|a|c")), "a#1");
  EXPECT_EQ(Describe(FRoot->SelectSingleNode(u"zz|c|a")), "c#4");
  EXPECT_EQ(Describe(FRoot->SelectSingleNode(u"a[5]|a[1]|a")), "a#3");
  EXPECT_EQ(Selected(FRoot, u"zz|c|a|c"), "c#4 a#1 a#3");
}

TEST(SelectResults, EachNodeOnceInOrderOfDiscovery) {
  UnicodeString xml = u"<r>";
  std::string all, later = "e#39 e#3";
  for (int k = 0; k < 40; ++k) {
    xml += u"<e id=\"" + IntToStr(k) + u"\"/>";
    all += (k ? " e#" : "e#") + std::to_string(k);
    if (k != 3 && k != 39) later += " e#" + std::to_string(k);
  }
  Doc doc = Load(xml + u"</r>");
  TVnDOMElement *root = doc->GetRootNode();
  EXPECT_EQ(Selected(root, u"*|e|*[3]|e[39]"), all);
  EXPECT_EQ(Selected(root, u"e[39]|*[3]|*"), later);
  EXPECT_EQ(Selected(root, u"e/..|//e/..|."), "r");
  // Below a node: its matching children first, then the same below each child in turn.
  Doc nested = Load(
      u"<r><a><x id=\"1\"/><b><x id=\"2\"/></b></a><c><x id=\"3\"/></c>"
      u"<x id=\"4\"><x id=\"5\"/></x></r>");
  EXPECT_EQ(Selected(nested.get(), u"//x"), "x#4 x#1 x#2 x#3 x#5");
  EXPECT_EQ(Selected(nested.get(), u"//x[@id > 1]"), "x#4 x#2 x#3 x#5");
}

// ---------------------------------------------------------------------------------------------
// Creation

TEST_F(EntryPoints, CreationBuildsTheMissingStepsAndFindsThemAgain) {
  TVnDOMNode *made = FRoot->SelectSingleNode(u"c/d/e", {soCreate});
  EXPECT_EQ(Describe(made), "e");
  EXPECT_EQ(FRoot->SelectSingleNode(u"c/d/e", {soCreate}), made);
  EXPECT_EQ(Selected(FRoot, u"c/*"), "p:q#5 d");
  // Each context node without a candidate gets its own element.
  NodeList list(FRoot->CreateNodeList(u"a/n", {soCreate}));
  EXPECT_EQ(list->Count(), 2);
  EXPECT_EQ(Selected(FRoot, u"a/n/.."), "a#1 a#3");
  NodeList again(FRoot->CreateNodeList(u"a/n", {soCreate}));
  EXPECT_EQ(again->Count(), 2);
  EXPECT_EQ(Selected(FRoot, u"a/n"), "n n");
  // The document's element forms create below the root.
  EXPECT_EQ(Describe(FDoc->SelectSingleElement(u"f/g", {soCreate})), "g");
  EXPECT_EQ(Selected(FDoc.get(), u"r/f/g"), "g");
}

TEST_F(EntryPoints, StepsBehindACreatedElementRunAsOnAnyOther) {
  // Below an element just made, a step that reads children finds none and makes its element;
  // ".", ".." and a group look elsewhere first, and "//" or a bad step raise as on any element.
  EXPECT_EQ(Describe(FRoot->SelectSingleNode(u"n1/n2/../n3", {soCreate})), "n3");
  EXPECT_EQ(Selected(FRoot, u"n1/*"), "n2 n3");
  EXPECT_EQ(Describe(FRoot->SelectSingleNode(u"m1/./m2", {soCreate})), "m2");
  EXPECT_EQ(Selected(FRoot, u"m1/*"), "m2");
  EXPECT_EQ(Describe(FRoot->SelectSingleNode(u"k1/k2[0]/k3", {soCreate})), "k3");
  EXPECT_EQ(Selected(FRoot, u"k1/k2/k3"), "k3");
  EXPECT_EQ(Describe(FRoot->SelectSingleNode(u"g1/(g2)/g3", {soCreate})), "g3");
  EXPECT_EQ(Selected(FRoot, u"g1/g2/g3"), "g3");
  EXPECT_EQ(MessageOf<Exception>([&] { FRoot->SelectSingleNode(u"h1//h2", {soCreate}); }),
            "The soCreate option cannot be used in combination with the \"//\" search option!");
  EXPECT_EQ(Selected(FRoot, u"h1/*"), "");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { FRoot->SelectSingleNode(u"e1/.x", {soCreate}); }),
            MessageOf<EVnDomSyntax>([&] { FRoot->SelectSingleNode(u"a/.x"); }));
  EXPECT_EQ(Selected(FRoot, u"e1/*"), "");
  // Many paths in a row, each from a new element: every call builds its own three, all of a
  // step's elements sharing its name record (more of them than the step takes references for
  // at once).
  for (int i = 0; i < 70; ++i) {
    TVnDOMElement *p = FRoot->AddElement(u"p");
    EXPECT_EQ(Describe(p->SelectSingleNode(u"a/b/c", {soCreate})), "c");
  }
  NodeList made(FRoot->CreateNodeList(u"p/a/b/c"));
  ASSERT_EQ(made->Count(), 70);
  EXPECT_EQ(made->GetItem(0)->GetNameRecord(), made->GetItem(69)->GetNameRecord());
}

TEST_F(EntryPoints, CreationNamesTheElementAsTheStepDoes) {
  EXPECT_EQ(Describe(FRoot->SelectSingleNode(u"p:new", {soCreate})), "p:new");
  EXPECT_EQ(Describe(FRoot->SelectSingleNode(u"plain", {soCreate, soLocalName})), "plain");
  EXPECT_EQ(Describe(FRoot->SelectSingleNode(u"p:other", {soCreate, soLocalName})), "p:other");
  // In local-name mode "q" finds p:q and creates nothing.
  EXPECT_EQ(Describe(FRoot->SelectSingleNode(u"c/q", {soCreate, soLocalName})), "p:q#5");
  EXPECT_EQ(Selected(FRoot, u"c/*"), "p:q#5");
}

TEST_F(EntryPoints, OnlyNoPredicateOrExactlyZeroMayCreate) {
  EXPECT_EQ(Describe(FRoot->SelectSingleNode(u"d[0]", {soCreate})), "d");
  EXPECT_EQ(Selected(FRoot, u"d"), "d");
  for (const char16_t *path : {u"e[1]", u"e[ 0]", u"e[0][0]", u"e[@id]"}) {
    EXPECT_EQ(
        MessageOf<EVnDomNotFound>([&] { FRoot->SelectSingleNode(path, {soCreate}); }),
        "The given path \"" + UTF8Encode(path) + "\" was too complex to use the soCreate option!");
  }
  // Candidates that the predicate removes are not replaced by a new one.
  EXPECT_EQ(MessageOf<EVnDomNotFound>(
                [&] { ElementList(FRoot->CreateElementList(u"a[@id=9]", {soCreate})); }),
            "The given path \"a[@id=9]\" was too complex to use the soCreate option!");
  EXPECT_EQ(Selected(FRoot, u"e"), "");
  EXPECT_EQ(Selected(FRoot, u"a"), "a#1 a#3");
}

TEST_F(EntryPoints, NothingIsCreatedBelowANonElement) {
  EXPECT_EQ(MessageOf<EVnDomNotFound>([&] { FDoc->SelectSingleNode(u"zz", {soCreate}); }),
            "The given path \"zz\" was too complex to use the soCreate option!");
  EXPECT_EQ(MessageOf<EVnDomNotFound>([&] { NodeList(FDoc->CreateNodeList(u"zz", {soCreate})); }),
            "The given path \"zz\" was too complex to use the soCreate option!");
  TVnDOMNode *t = FRoot->SelectSingleNode(u"a/text()");
  EXPECT_EQ(MessageOf<EVnDomNotFound>([&] { t->SelectSingleNode(u"zz", {soCreate}); }),
            "The given path \"zz\" was too complex to use the soCreate option!");
  EXPECT_EQ(
      MessageOf<EVnDomNotFound>([&] { FRoot->SelectSingleNode(u"a[0]/text()/zz", {soCreate}); }),
      "The given path \"a[0]/text()/zz\" was too complex to use the soCreate option!");
  EXPECT_EQ(Xml(),
            "<r><a id=\"1\"><b id=\"2\" />t</a><a id=\"3\" /><c id=\"4\"><p:q id=\"5\" "
            "/></c></r>");
}

TEST_F(EntryPoints, CreationRefusesADescendantSearchOnceAnElementLacksTheName) {
  const std::string message =
      "The soCreate option cannot be used in combination with the \"//\" search option!";
  // b exists, but r itself has no child b.
  EXPECT_EQ(MessageOf<Exception>([&] { FRoot->SelectSingleNode(u"//b", {soCreate}); }), message);
  // a#1 has a b, but that b has none.
  EXPECT_EQ(MessageOf<Exception>([&] { FRoot->SelectSingleNode(u"a//b", {soCreate}); }), message);
  // On the document nothing is created, but r lacks a child r.
  EXPECT_EQ(MessageOf<Exception>([&] { FDoc->SelectSingleNode(u"//r", {soCreate}); }), message);
  EXPECT_EQ(Selected(FRoot, u"//b"), "b#2");
}

TEST_F(EntryPoints, TheElementListRunsPathIndexes) {
  TVnDOMElementList *elements = FRoot->GetElements();
  // A name without ":" is matched by local name.
  EXPECT_EQ(Describe(elements->GetItemEx(Variant(UnicodeString(u"c/q")), coReturnNil)), "p:q#5");
  EXPECT_EQ(Describe(elements->GetItemEx(Variant(UnicodeString(u"c/p:q")), coReturnNil)), "p:q#5");
  EXPECT_EQ(Describe(elements->GetItemEx(Variant(UnicodeString(u"c/zz")), coReturnNil)), "nil");
  EXPECT_EQ(MessageOf<EVnDomNotFound>(
                [&] { elements->GetItemEx(Variant(UnicodeString(u"c/zz")), coRaise); }),
            "There is no node for the given path \"c/zz\"!");
  EXPECT_EQ(Describe(elements->GetItemEx(Variant(UnicodeString(u"new")), coCreate)), "new");
  EXPECT_EQ(Describe(elements->GetItemEx(Variant(UnicodeString(u"c/zz")), coCreate)), "zz");
  EXPECT_EQ(Selected(FRoot, u"c/zz|new"), "zz new");
}

}  // namespace
}  // namespace selecttest
