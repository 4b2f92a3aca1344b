// What a selection keeps from one call to the next and what it may take for granted about the
// tree: a path used again (in a loop, under other settings, from inside its own predicate),
// attributes that stand behind other children, and names that nodes made one by one share.
#include <cstdio>
#include <cstdlib>
#include <functional>

#include "select_util.h"

namespace selecttest {
namespace {

// ---------------------------------------------------------------------------------------------
// Attributes among the other children

TEST(SelectAttributes, AreFoundWhereverAnEditPutThem) {
  Doc doc = Load(u"<r><e id=\"1\" k=\"a\"><c/></e><e id=\"2\"><c/></e></r>");
  TVnDOMElement *root = doc->GetRootNode();
  auto *first = static_cast<TVnDOMElement *>(root->SelectSingleNode(u"e[@id=\"1\"]"));
  auto *second = static_cast<TVnDOMElement *>(root->SelectSingleNode(u"e[@id=\"2\"]"));
  // Added after the child element: the attribute stands behind it.
  first->SetAttribute(u"late", u"x");
  // A child placed in front of the attributes.
  second->InsertElement(u"front", rdpFirst, nullptr);
  second->SetAttribute(u"late", u"y");
  EXPECT_EQ(Selected(first, u"@*"), "@id=1 @k=a @late=x");
  EXPECT_EQ(Selected(second, u"@*"), "@id=2 @late=y");
  EXPECT_EQ(Selected(root, u"e[@late=\"y\"]"), "e#2");
  EXPECT_EQ(Selected(root, u"//e[@late]/@late"), "@late=x @late=y");
  EXPECT_EQ(Selected(root, u"e/@id"), "@id=1 @id=2");
  // Removing what mixed them changes nothing about what is found.
  first->RemoveElement(u"c");
  EXPECT_EQ(Selected(first, u"@*"), "@id=1 @k=a @late=x");
}

// ---------------------------------------------------------------------------------------------
// A path used again

TEST(SelectAgain, TheSamePathFromManyNodesGivesEachItsOwnAnswer) {
  Doc doc = Load(u"<r><g n=\"1\"><i v=\"a\"/><i v=\"b\"/></g><g n=\"2\"><i v=\"b\"/></g><g/></r>");
  TVnDOMElement *root = doc->GetRootNode();
  std::string seen;
  for (TVnDOMNode *g : root->Children()) {
    seen += Selected(g, u"i[@v=\"b\"]/@v") + "|";
    // A number counts from 0: the second i.
    seen += Selected(g, u"i[1]") + "|";
  }
  EXPECT_EQ(seen, "@v=b|i|@v=b||||");
}

TEST(SelectAgain, OtherSettingsAreAnotherPath) {
  Doc doc = Load(u"<r><x id=\"1\"/><X id=\"2\"/><p:x xmlns:p=\"urn:p\" id=\"3\"/></r>");
  TVnDOMElement *root = doc->GetRootNode();
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(Selected(root, u"x"), "x#1 X#2");
    EXPECT_EQ(Selected(root, u"x", {soCaseSensitive}), "x#1");
    EXPECT_EQ(Selected(root, u"x", {soLocalName, soCaseSensitive}), "x#1 p:x#3");
    EXPECT_EQ(Selected(root, u"*[@ID=\"2\"]"), "X#2");
    EXPECT_EQ(Selected(root, u"*[@ID=\"2\"]", {soCaseSensitive}), "");
  }
  // Creation is a setting too: the same text without it builds nothing.
  EXPECT_EQ(root->SelectSingleNode(u"y/z"), nullptr);
  EXPECT_EQ(Describe(root->SelectSingleNode(u"y/z", {soCreate})), "z");
  EXPECT_EQ(Describe(root->SelectSingleNode(u"y/z")), "z");
}

TEST(SelectAgain, AFilterThatFailsFailsEveryTime) {
  Doc doc = Load(u"<r><i/></r>");
  TVnDOMElement *root = doc->GetRootNode();
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Selected(root, u"i[a=]"); }),
              "The specified XPath statement is not valid!");
  }
  // Without candidates the filter is never read, as before.
  EXPECT_EQ(Selected(root, u"none[a=]"), "");
}

// A function that selects, while the filter runs, with the path that the filter belongs to.
class TSelectAgain : public TVnXPathFunction {
  VN_CLASS(TSelectAgain, TVnXPathFunction)
 public:
  using TVnXPathFunction::TVnXPathFunction;
  static inline Integer Depth = 0;
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override {
    auto *node = As<TVnDOMNode>(ANodeList->Get(AIndex));
    if (Depth > 0) return true;
    ++Depth;
    struct TLeave {
      ~TLeave() { --Depth; }
    } leave;
    // The inner selection runs the same text from the parent while the outer one is under way.
    NodeList inner(node->ParentNode()->CreateNodeList(u"i[reenter()]"));
    return inner->Count() == 2 && node->GetNodeType() == ntElement;
  }
};

TEST(SelectAgain, APathMaySelectWithItselfFromItsOwnPredicate) {
  RegisterXPathFunction(u"reenter", VnXPathFunctionClass<TSelectAgain>());
  Doc doc = Load(u"<r><i id=\"1\"/><i id=\"2\"/></r>");
  TVnDOMElement *root = doc->GetRootNode();
  EXPECT_EQ(Selected(root, u"i[reenter()]"), "i#1 i#2");
  EXPECT_EQ(Selected(root, u"i[reenter()]"), "i#1 i#2");
}

TEST(SelectAgain, ManyPathsInTurnEachSelectRight) {
  Doc doc = Load(u"<r><a><b/></a><c><d/></c></r>");
  TVnDOMElement *root = doc->GetRootNode();
  const char16_t *paths[] = {u"a/b", u"c/d", u"a", u"c", u"*/b", u"*/d", u"a|c", u"//d"};
  const char *expected[] = {"b", "d", "a", "c", "b", "d", "a c", "d"};
  for (int round = 0; round < 3; ++round) {
    for (std::size_t k = 0; k < std::size(paths); ++k)
      EXPECT_EQ(Selected(root, paths[k]), expected[k]) << UTF8Encode(paths[k]);
  }
}

// ---------------------------------------------------------------------------------------------
// A path compared with a text

TEST(SelectCompare, ThePathsTextIsItsValue) {
  Doc doc = Load(
      u"<r xmlns:p=\"urn:p\">"
      u"<i id=\"1\" v=\"a&amp;b\" p:w=\"k\"><t>x</t></i>"
      u"<i id=\"2\" v=\"c\" w=\"k\"><t>y</t></i>"
      u"<i id=\"3\"/>"
      u"<i id=\"4\"><t>x</t><t>z</t></i>"
      u"</r>");
  TVnDOMElement *root = doc->GetRootNode();
  // A reference in the stored form is read as what it stands for.
  EXPECT_EQ(Selected(root, u"i[@v=\"a&b\"]"), "i#1");
  EXPECT_EQ(Selected(root, u"i[@v=\"a&amp;b\"]"), "");
  // Nothing selected compares as nothing: neither equal nor unequal, nor its negation.
  EXPECT_EQ(Selected(root, u"i[@v!=\"c\"]"), "i#1");
  EXPECT_EQ(Selected(root, u"i[not(@v=\"c\")]"), "i#1");
  // Texts compare under the collation, in order as well.
  EXPECT_EQ(Selected(root, u"i[@v=\"C\"]"), "i#2");
  EXPECT_EQ(Selected(root, u"i[@v=\"C\"]", {soCaseSensitive}), "");
  EXPECT_EQ(Selected(root, u"i[@v<\"B\"]"), "i#1");
  EXPECT_EQ(Selected(root, u"i[@v>=\"c\"]"), "i#2");
  // An element's text.
  EXPECT_EQ(Selected(root, u"i[t=\"y\"]"), "i#2");
  // Several nodes selected: any of them may match.
  EXPECT_EQ(Selected(root, u"i[t=\"z\"]"), "i#4");
  EXPECT_EQ(Selected(root, u"i[t=\"x\"]"), "i#1 i#4");
  // Several attributes of one name by local name: any of them may match.
  EXPECT_EQ(Selected(root, u"i[@w=\"k\"]", {soLocalName}), "i#1 i#2");
  EXPECT_EQ(Selected(root, u"i[@w=\"k\"]", {soQualifiedName}), "i#2");
  // A namespace declaration has no value to a predicate.
  EXPECT_EQ(Selected(doc.get(), u"r[@xmlns:p=\"urn:p\"]", {soLocalName}), "");
}

// ---------------------------------------------------------------------------------------------
// The kinds a child array keeps beside its nodes

// The elements named x among the children of ANode, each with its id, found by reading each
// node: what a name step must select, however it passes over the other children.
std::string ExpectedX(TVnDOMNode *ANode) {
  std::string r;
  for (TVnDOMNode *c : ANode->Children()) {
    if (c->GetNodeType() != ntElement || c->GetLocalName() != u"x") continue;
    r += (r.empty() ? "" : " ") + Describe(c);
  }
  return r;
}

TEST(SelectByKind, EditsKeepEachChildsKindWithIt) {
  Doc doc = Load(u"<r a=\"1\"><x id=\"0\"/>t</r>");
  TVnDOMElement *root = doc->GetRootNode();
  // Children put in front, behind and between, in turns of every kind: the array grows from
  // the load's block to the heap and on the heap, each insert shifting what stands behind it.
  TVnDOMNode *middle = root->SelectSingleNode(u"x");
  for (int i = 1; i <= 40; ++i) {
    const UnicodeString id = IntToStr(i);
    switch (i % 5) {
      case 0:
        root->InsertText(u"t" + id, rdpFirst, nullptr);
        break;
      case 1:
        root->InsertElement(u"x", rdpFirst, nullptr)->SetAttribute(u"id", id);
        break;
      case 2:
        root->InsertComment(u"c" + id, rdpBefore, middle);
        break;
      case 3:
        root->InsertElement(u"x", rdpAfter, middle)->SetAttribute(u"id", id);
        break;
      case 4:
        root->SetAttribute(u"a" + id, id);
        root->InsertCDATA(u"d" + id, rdpFirst, nullptr);
        break;
    }
    ASSERT_EQ(Selected(root, u"x", {soCaseSensitive}), ExpectedX(root)) << i;
  }
  const std::string all = ExpectedX(root);
  EXPECT_EQ(Selected(root, u"//x", {soCaseSensitive}), all);
  EXPECT_EQ(Selected(root, u"@a4"), "@a4=4");
  // Taking children out shifts the kinds behind them back.
  for (int i = 0; i < 12; ++i) {
    TVnDOMNode *front = root->Children()[0];
    root->RemoveChild(front);
    ASSERT_EQ(Selected(root, u"x", {soCaseSensitive}), ExpectedX(root)) << i;
  }
  EXPECT_NE(ExpectedX(root), all);
  // A deep clone lists the same kinds.
  std::unique_ptr<TVnDOMNode, FreeObject> copy(root->CloneNode(true));
  EXPECT_EQ(Selected(copy.get(), u"x", {soCaseSensitive}), ExpectedX(root));
}

TEST(SelectByKind, AStepNamedAsALeafSelectsLeaves) {
  Doc doc = Load(u"<r>a<!--c--><![CDATA[d]]><x/>b</r>");
  TVnDOMElement *root = doc->GetRootNode();
  EXPECT_EQ(Selected(root, u"#text"), "'a' 'b'");
  EXPECT_EQ(Selected(root, u"#comment"), "#comment");
  EXPECT_EQ(Selected(doc.get(), u"//#cdata-section"), "'d'");
}

// Text, CDATA and comment nodes may be given children or another name: a path finds what stands
// there as before. Each history runs in a process of its own, since the first such node turns
// off, for the whole process, the pass over leaves by their kind.
void ExpectFoundInItsOwnProcess(const std::function<std::string()> &AFound,
                                const std::string &AExpected) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(
      {
        const std::string found = AFound();
        std::fprintf(stderr, "found: %s\n", found.c_str());
        std::exit(found == AExpected ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

TEST(SelectByKindDeathTest, ALeafWithAChildOrAnotherName) {
  ExpectFoundInItsOwnProcess(
      [] {
        Doc doc = Load(u"<r><x id=\"1\"/><!--c-->t</r>");
        TVnDOMElement *root = doc->GetRootNode();
        auto *child = static_cast<TVnDOMElement *>(
            root->Children()[1]->AddChild(TVnDOMElement::StaticClass()));
        child->SetQualifiedName(u"x");
        child->SetAttribute(u"id", u"2");
        return Selected(doc.get(), u"//x");
      },
      "x#1 x#2");
  ExpectFoundInItsOwnProcess(
      [] {
        Doc doc = Load(u"<r><x id=\"1\"/>t</r>");
        doc->GetRootNode()->Children()[1]->SetQualifiedName(u"x");
        return Selected(doc.get(), u"//x");
      },
      "x#1 't'");
  ExpectFoundInItsOwnProcess(
      [] {
        Doc doc = Load(u"<r><!--c--></r>");
        doc->GetRootNode()->Children()[0]->SetPrefix(u"p");
        return Selected(doc.get(), u"//p:#comment");
      },
      "p:#comment");
}

// ---------------------------------------------------------------------------------------------
// Names of nodes made one by one

TEST(MadeNames, ARenamedNodeLeavesItsNamesakesAlone) {
  Doc doc = Load(u"<r xmlns:p=\"urn:p\"/>");
  TVnDOMElement *root = doc->GetRootNode();
  TVnDOMElement *one = root->AddElement(u"item");
  TVnDOMElement *two = root->AddElement(u"item");
  one->SetPrefix(u"p");
  EXPECT_EQ(UTF8Encode(one->GetQualifiedName()), "p:item");
  EXPECT_EQ(UTF8Encode(two->GetQualifiedName()), "item");
  EXPECT_EQ(Selected(root, u"item"), "item");
  EXPECT_EQ(Selected(root, u"p:item"), "p:item");
  one->Free();
  EXPECT_EQ(UTF8Encode(root->AddElement(u"item")->GetQualifiedName()), "item");
  EXPECT_EQ(Selected(root, u"item"), "item item");
}

}  // namespace
}  // namespace selecttest
