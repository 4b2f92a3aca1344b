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
