// Path selection: the step grammar, the entry points and their options, creation, and messages.
#include "select_util.h"

namespace selecttest {
namespace {

const char16_t *cCatalog =
    u"<catalog xmlns:x=\"urn:x\">"
    u"<book id=\"1\"><title>A</title><price>8</price></book>"
    u"<book id=\"2\"><title>B</title><price>12</price><x:note>n</x:note></book>"
    u"<x:book id=\"3\"><title>C</title></x:book>"
    u"<!--c-->text<![CDATA[cd]]>"
    u"</catalog>";

TEST(PathSteps, ChildNamesDescendantsAndAlternatives) {
  Doc doc = Load(cCatalog);
  TVnDOMElement *root = doc->GetRootNode();
  EXPECT_EQ(Selected(root, u"book"), "book#1 book#2");
  EXPECT_EQ(Selected(root, u"book/title"), "title title");
  EXPECT_EQ(Selected(root, u"x:book"), "x:book#3");
  EXPECT_EQ(Selected(root, u"book", {soLocalName}), "book#1 book#2 x:book#3");
  // Names compare under the document's collation, case-insensitive by default.
  EXPECT_EQ(Selected(root, u"BOOK"), "book#1 book#2");
  EXPECT_EQ(Selected(root, u"BOOK", {soCaseSensitive}), "");
  EXPECT_EQ(Selected(root, u"//title"), "title title title");
  EXPECT_EQ(Selected(root, u"/catalog/book"), "book#1 book#2");
  EXPECT_EQ(Selected(root, u"book//note", {soLocalName}), "x:note");
  // Alternatives: each once, in order of discovery.
  EXPECT_EQ(Selected(root, u"book[1] | book | x:book"), "book#2 book#1 x:book#3");
  EXPECT_EQ(Describe(root->SelectSingleNode(u"nothing|book")), "book#1");
  EXPECT_EQ(Describe(root->SelectSingleNode(u"x:book|book")), "x:book#3");
}

TEST(PathSteps, SpecialSteps) {
  Doc doc = Load(cCatalog);
  TVnDOMElement *root = doc->GetRootNode();
  TVnDOMNode *book = root->SelectSingleNode(u"book");
  EXPECT_EQ(Selected(book, u"/"), "book#1");
  EXPECT_EQ(Selected(doc.get(), u"/"), "#document");
  EXPECT_EQ(Selected(root, u"*"), "book#1 book#2 x:book#3");
  EXPECT_EQ(Selected(root, u"x:*"), "x:book#3");
  EXPECT_EQ(Selected(doc.get(), u"*"), "catalog");
  EXPECT_EQ(Selected(book, u"."), "book#1");
  EXPECT_EQ(Selected(book, u"./."), "");
  EXPECT_EQ(Selected(book, u".."), "catalog");
  EXPECT_EQ(Selected(book, u"../book[@id=2]/title"), "title");
  EXPECT_EQ(Selected(root, u"text()"), "'text' 'cd'");
  EXPECT_EQ(Selected(root, u"node()"), "book#1 book#2 x:book#3 #comment 'text' 'cd'");
  EXPECT_EQ(Selected(book, u"@id"), "@id=1");
  EXPECT_EQ(Selected(doc.get(), u"@*"), "");
  EXPECT_EQ(Selected(root, u"(book)/title"), "title title");
  // "|" splits the whole path first, parentheses or not.
  EXPECT_EQ(Selected(root, u"(book|x:book)/title"), "book#1 book#2");
}

TEST(PathSteps, NamespaceDeclarationsAmongAttributes) {
  Doc doc = Load(u"<r xmlns=\"urn:d\" xmlns:p=\"urn:p\" a=\"1\" p:b=\"2\"/>");
  TVnDOMElement *root = doc->GetRootNode();
  EXPECT_EQ(Selected(root, u"@*"), "@a=1 @p:b=2");
  EXPECT_EQ(Selected(root, u"@*", {soLocalName}), "@xmlns=urn:d @xmlns:p=urn:p @a=1 @p:b=2");
  EXPECT_EQ(Selected(root, u"@p:b"), "@p:b=2");
  EXPECT_EQ(Selected(root, u"@b"), "");
  EXPECT_EQ(Selected(root, u"@b", {soLocalName}), "@p:b=2");
  // On the document, the root's attributes.
  EXPECT_EQ(Selected(doc.get(), u"@a"), "@a=1");
}

TEST(PathSelect, OptionsAndNotFound) {
  Doc doc = Load(cCatalog);
  TVnDOMElement *root = doc->GetRootNode();
  EXPECT_EQ(MessageOf<Exception>([&] {
              root->SelectSingleNode(u"a", {soCaseSensitive, soCaseInsensitive});
            }),
            "It is not possible to specify both soCaseSensitive and soCaseInsensitive!");
  EXPECT_EQ(MessageOf<Exception>([&] {
              root->CreateNodeList(u"a", {soRaise, soCreate});
            }),
            "It is not possible to specify both soRaise and soCreate!");
  EXPECT_EQ(root->SelectSingleNode(u"missing"), nullptr);
  EXPECT_EQ(MessageOf<EVnDomNotFound>([&] { root->SelectSingleNode(u"missing", {soRaise}); }),
            "There is no node for the given path \"missing\"!");
  EXPECT_EQ(MessageOf<EVnDomNotFound>([&] { root->CreateNodeList(u"missing", {soRaise}); }),
            "There are no nodes for the given path \"missing!.");
  EXPECT_EQ(MessageOf<EVnDomNotFound>([&] { root->CreateElementList(u"missing", {soRaise}); }),
            "There are no nodes for the given path \"missing\"!");
  EXPECT_EQ(MessageOf<EVnDomNotFound>([&] { doc->SelectSingleElement(u"", {}); }),
            "The specified nodePath is empty!");
  // A node found that is no element is an invalid cast for the element forms.
  EXPECT_THROW(root->SelectSingleElement(u"text()"), EInvalidCast);
  EXPECT_THROW(ElementList(root->CreateElementList(u"node()", {})), EInvalidCast);
}

TEST(PathSelect, DocumentWithoutRoot) {
  Doc doc(New<TVnDOMDocument>());
  EXPECT_EQ(doc->SelectSingleElement(u"a"), nullptr);
  EXPECT_EQ(ElementList(doc->CreateElementList(u"a", {}))->Count(), 0);
  EXPECT_EQ(MessageOf<EVnDomNotFound>([&] { doc->SelectSingleElement(u"a", {soRaise}); }),
            "There is no node for the given path \"a\".");
  EXPECT_EQ(MessageOf<EVnDomNotFound>([&] { doc->CreateElementList(u"a", {soCreate}); }),
            "It is not possible to use XPath statements on documents without rootnode!");
}

TEST(PathCreate, BuildsWhatIsMissingAndFindsItAgain) {
  Doc doc = Load(u"<r><a/></r>");
  TVnDOMElement *root = doc->GetRootNode();
  TVnDOMElement *c = root->SelectSingleElement(u"a/b/c", {soCreate});
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(UTF8Encode(doc->GetRootNode()->GetXML()), "<r><a><b><c /></b></a></r>");
  EXPECT_EQ(root->SelectSingleElement(u"a/b/c", {soCreate}), c);
  EXPECT_EQ(root->SelectSingleElement(u"a/b/c"), c);
  // [0] may create, any other predicate may not.
  EXPECT_NE(root->SelectSingleElement(u"d[0]", {soCreate}), nullptr);
  EXPECT_EQ(MessageOf<EVnDomNotFound>([&] { root->SelectSingleNode(u"e[1]", {soCreate}); }),
            "The given path \"e[1]\" was too complex to use the soCreate option!");
  EXPECT_EQ(MessageOf<Exception>([&] { root->SelectSingleNode(u"a//z", {soCreate}); }),
            "The soCreate option cannot be used in combination with the \"//\" search option!");
  // A prefixed step creates a prefixed element.
  EXPECT_EQ(UTF8Encode(root->SelectSingleElement(u"p:q", {soCreate})->GetQualifiedName()), "p:q");
  // The element list's path index creates through the same walk.
  ElementList list(root->CreateElementList(u"a", {}));
  EXPECT_EQ(Describe(list->GetItemEx(Variant(UnicodeString(u"a/b")), coReturnNil)), "nil");
  TVnDOMElementList *elements = root->GetElements();
  EXPECT_EQ(Describe(elements->GetItemEx(Variant(UnicodeString(u"x/y")), coCreate)), "y");
}

TEST(PathSyntax, Messages) {
  Doc doc = Load(cCatalog);
  TVnDOMElement *root = doc->GetRootNode();
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { root->SelectSingleNode(u"book/"); }),
            "The XPath expression does not return a DOM Node!");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { root->SelectSingleNode(u"///book"); }),
            "The specified nodePath started with an unexpected token (/)!");
  // "//" at the end runs an empty step in descendant mode: everything below.
  EXPECT_EQ(Selected(root->SelectSingleNode(u"book"), u"title//"), "'A'");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { root->SelectSingleNode(u"a|"); }),
            "The XPath expression is not valid!");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { root->SelectSingleNode(u"*x"); }),
            "The XPath expression contains an error at \"*x\"!\r\na \"/\" or \"[\" was expected "
            "after the \"*\".");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { root->SelectSingleNode(u".x"); }),
            "The XPath expression contains an error at \".x\"!\r\na \"/\" or \"[\" was expected "
            "after the \"..\".");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { root->SelectSingleNode(u"//.."); }),
            "The XPath expression contains an error at \"..\"!\r\nThe \"//\" cannot be used in "
            "combination with \"..\".");
}

}  // namespace
}  // namespace selecttest

namespace selecttest {
namespace {

// A search in descendant mode leaves out what the same selection has just built, so creation
// below it ends: one element under each element that was there before.
TEST(PathCreate, DescendantSearchesSkipWhatTheyBuilt) {
  Doc doc = Load(u"<r><a/></r>");
  EXPECT_EQ(Selected(doc->GetRootNode(), u"//(x)", {soCreate}), "x x");
  EXPECT_EQ(UTF8Encode(doc->GetRootNode()->GetXML()), "<r><a><x /></a><x /></r>");
  // A second run finds those and builds one level below each: every run ends.
  EXPECT_EQ(Selected(doc->GetRootNode(), u"//(x)", {soCreate}), "x x x x");
  EXPECT_EQ(UTF8Encode(doc->GetRootNode()->GetXML()), "<r><a><x><x /></x></a><x><x /></x></r>");
  // Here the search meets an element whose only child it has built, finds no candidate there, and
  // refuses to create in descendant mode, where it would otherwise build without end.
  Doc other = Load(u"<r><a/></r>");
  EXPECT_EQ(MessageOf<Exception>(
                [&] { other->GetRootNode()->CreateNodeList(u"//*/x", {soCreate})->Free(); }),
            "The soCreate option cannot be used in combination with the \"//\" search option!");
}

}  // namespace
}  // namespace selecttest
