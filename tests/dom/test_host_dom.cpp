// The tree behind the generic DOM interfaces (XmlDom.h): code that knows only IDOMNode and its
// family, asks the vendor registry for "Vornell" and never sees a class of the library.
#include <gtest/gtest.h>

#include "vnxml/xml/XmlDom.h"
#include "vnxml/xml/uVnXMLDOM.h"
#include "xml_util.h"

namespace {

using namespace vn;

constexpr HRESULT cFailed = static_cast<HRESULT>(0x8000FFFFu);

DelphiInterface<IDOMDocument> NewDocument(const DOMString &AURI, const DOMString &AName) {
  return GetDOM(u"Vornell")->createDocument(AURI, AName, nullptr);
}

DOMString XmlOf(IDOMNode *ANode) {
  return IntfAs<IDOMNodeEx>(ANode)->xml();
}

DelphiInterface<IDOMDocument> Parsed(const DOMString &AXML) {
  DelphiInterface<IDOMDocument> doc = NewDocument(u"", u"");
  EXPECT_TRUE(IntfAs<IDOMPersist>(doc.get())->loadxml(AXML));
  return doc;
}

// A node of some other vendor: every operation fails, and it is no node of this tree.
class TForeignNode : public TInterfacedObject, public IDOMNode {
  VN_CLASS(TForeignNode, TInterfacedObject)
  VN_IMPLEMENTS(TInterfacedObject, IDOMNode)
 public:
  HRESULT get_nodeName(DOMString &) override { return E_FAIL; }
  HRESULT get_nodeValue(DOMString &) override { return E_FAIL; }
  HRESULT set_nodeValue(const DOMString &) override { return E_FAIL; }
  HRESULT get_nodeType(DOMNodeType &) override { return E_FAIL; }
  HRESULT get_parentNode(DelphiInterface<IDOMNode> &) override { return E_FAIL; }
  HRESULT get_childNodes(DelphiInterface<IDOMNodeList> &) override { return E_FAIL; }
  HRESULT get_firstChild(DelphiInterface<IDOMNode> &) override { return E_FAIL; }
  HRESULT get_lastChild(DelphiInterface<IDOMNode> &) override { return E_FAIL; }
  HRESULT get_previousSibling(DelphiInterface<IDOMNode> &) override { return E_FAIL; }
  HRESULT get_nextSibling(DelphiInterface<IDOMNode> &) override { return E_FAIL; }
  HRESULT get_attributes(DelphiInterface<IDOMNamedNodeMap> &) override { return E_FAIL; }
  HRESULT get_ownerDocument(DelphiInterface<IDOMDocument> &) override { return E_FAIL; }
  HRESULT get_namespaceURI(DOMString &) override { return E_FAIL; }
  HRESULT get_prefix(DOMString &) override { return E_FAIL; }
  HRESULT get_localName(DOMString &) override { return E_FAIL; }
  HRESULT insertBefore(IDOMNode *, IDOMNode *, DelphiInterface<IDOMNode> &) override {
    return E_FAIL;
  }
  HRESULT replaceChild(IDOMNode *, IDOMNode *, DelphiInterface<IDOMNode> &) override {
    return E_FAIL;
  }
  HRESULT removeChild(IDOMNode *, DelphiInterface<IDOMNode> &) override { return E_FAIL; }
  HRESULT appendChild(IDOMNode *, DelphiInterface<IDOMNode> &) override { return E_FAIL; }
  HRESULT hasChildNodes(bool &) override { return E_FAIL; }
  HRESULT cloneNode(bool, DelphiInterface<IDOMNode> &) override { return E_FAIL; }
  HRESULT normalize() override { return E_FAIL; }
  HRESULT supports(const DOMString &, const DOMString &, bool &) override { return E_FAIL; }
};

// --- the registry and the implementation object

TEST(HostDOMVendor, TheTreeIsRegisteredAsVornell) {
  TDOMVendor *vendor = DOMVendors().Find(u"VORNELL");
  ASSERT_NE(vendor, nullptr);
  EXPECT_EQ(vendor->Description(), u"Vornell");
  EXPECT_EQ(GetDOMVendor(u"Vornell"), vendor);
  EXPECT_EQ(DOMVendors().Find(u"Nobody"), nullptr);
  try {
    GetDOM(u"Nobody");
    FAIL() << "no exception";
  } catch (DOMException &e) {
    EXPECT_EQ(e.Message, u"No matching DOM vendor: \"Nobody\"");
  }
}

TEST(HostDOMVendor, AVendorOfTheApplicationComesAndGoes) {
  class TOther : public TDOMVendor {
   public:
    DOMString Description() override { return u"Other"; }
    DelphiInterface<IDOMImplementation> DOMImplementation() override { return nullptr; }
  };
  TOther other;
  const Integer before = DOMVendors().Count();
  RegisterDOMVendor(&other);
  EXPECT_EQ(DOMVendors().Count(), before + 1);
  EXPECT_EQ(GetDOMVendor(u"other"), &other);
  UnRegisterDOMVendor(&other);
  EXPECT_EQ(DOMVendors().Count(), before);
  EXPECT_EQ(DOMVendors().Find(u"Other"), nullptr);
}

TEST(HostDOMVendor, FeaturesAndDocuments) {
  DelphiInterface<IDOMImplementation> impl = GetDOM(u"Vornell");
  EXPECT_TRUE(impl->hasFeature(u"XML", u"1.0"));
  EXPECT_TRUE(impl->hasFeature(u"xml", u"2.0"));
  EXPECT_FALSE(impl->hasFeature(u"xml", u"3.0"));
  EXPECT_FALSE(impl->hasFeature(u"Core", u"2.0"));

  DelphiInterface<IDOMDocument> doc = impl->createDocument(u"urn:books", u"b:shelf", nullptr);
  EXPECT_EQ(XmlOf(doc), u"<b:shelf xmlns:b=\"urn:books\" />");
  DelphiInterface<IDOMDocument> plain = impl->createDocument(u"urn:books", u"shelf", nullptr);
  EXPECT_EQ(XmlOf(plain), u"<shelf xmlns=\"urn:books\" />");
  DelphiInterface<IDOMDocument> empty = impl->createDocument(u"urn:books", u" ", nullptr);
  EXPECT_EQ(empty->documentElement(), nullptr);

  // A document type is refused, and so is making one.
  DelphiInterface<IDOMDocument> out = doc;
  EXPECT_EQ(impl->createDocument(u"", u"a", doc->doctype(), out), cFailed);
  EXPECT_EQ(out, nullptr);
  DelphiInterface<IDOMDocumentType> type;
  EXPECT_EQ(impl->createDocumentType(u"a", u"", u"", type), cFailed);
}

// --- building and reading a document

TEST(HostDOMBuild, ADocumentMadeThroughTheInterfacesOnly) {
  DelphiInterface<IDOMDocument> doc = NewDocument(u"", u"catalog");
  DelphiInterface<IDOMElement> root = doc->documentElement();
  DelphiInterface<IDOMElement> book = doc->createElement(u"book");
  CheckSafecallResult(book->setAttribute(u"id", u"7"));
  book->appendChild(doc->createTextNode(u"Tom & Jerry"));
  root->appendChild(book);
  root->appendChild(doc->createComment(u"end"));
  root->insertBefore(doc->createProcessingInstruction(u"pi", u"x=1"), book);
  root->appendChild(doc->createCDATASection(u"<raw>"));

  EXPECT_EQ(XmlOf(doc),
            u"<catalog><?pi x=1?><book id=\"7\">Tom &amp; Jerry</book><!--end--><![CDATA[<raw>]]>"
            u"</catalog>");
  EXPECT_EQ(book->tagName(), u"book");
  EXPECT_EQ(book->nodeType(), ELEMENT_NODE);
  // Attributes stand among the children, first here.
  EXPECT_EQ(book->firstChild()->nodeType(), ATTRIBUTE_NODE);
  EXPECT_EQ(book->lastChild()->nodeType(), TEXT_NODE);
  EXPECT_EQ(book->lastChild()->nodeValue(), u"Tom & Jerry");
  EXPECT_EQ(doc->nodeType(), DOCUMENT_NODE);
  EXPECT_EQ(book->getAttribute(u"id"), u"7");
  EXPECT_TRUE(book->hasAttribute(u"id"));
  // Names compare without case under the default collation of a new document.
  EXPECT_TRUE(book->hasAttribute(u"ID"));
  EXPECT_FALSE(book->hasAttribute(u"name"));
  EXPECT_EQ(book->parentNode(), DelphiInterface<IDOMNode>(root));
  EXPECT_EQ(book->ownerDocument(), doc);
  EXPECT_EQ(IntfAs<IDOMProcessingInstruction>(root->firstChild().get())->target(), u"pi");
  EXPECT_EQ(IntfAs<IDOMProcessingInstruction>(root->firstChild().get())->data(), u"x=1");
}

TEST(HostDOMBuild, ChildNodesListAttributesToo) {
  DelphiInterface<IDOMDocument> doc = Parsed(u"<a x=\"1\" y=\"2\"><b />t</a>");
  DelphiInterface<IDOMElement> a = doc->documentElement();
  DelphiInterface<IDOMNodeList> children = a->childNodes();
  ASSERT_EQ(children->length(), 4);
  EXPECT_EQ(children->item(0)->nodeType(), ATTRIBUTE_NODE);
  EXPECT_EQ(children->item(2)->nodeName(), u"b");
  EXPECT_EQ(children->item(3)->nodeName(), u"#text");

  DelphiInterface<IDOMNamedNodeMap> attrs = a->attributes();
  EXPECT_EQ(attrs->length(), 2);
  EXPECT_EQ(attrs->getNamedItem(u"y")->nodeValue(), u"2");
  EXPECT_EQ(IntfAs<IDOMAttr>(attrs->item(0).get())->name(), u"x");
  EXPECT_TRUE(IntfAs<IDOMAttr>(attrs->item(0).get())->specified());
  EXPECT_EQ(IntfAs<IDOMAttr>(attrs->item(0).get())->ownerElement(), a);
}

TEST(HostDOMBuild, NamespacesOfElementsAndAttributes) {
  DelphiInterface<IDOMDocument> doc = NewDocument(u"urn:a", u"p:root");
  DelphiInterface<IDOMElement> root = doc->documentElement();
  EXPECT_EQ(root->namespaceURI(), u"urn:a");
  EXPECT_EQ(root->prefix(), u"p");
  EXPECT_EQ(root->localName(), u"root");
  DelphiInterface<IDOMElement> child = doc->createElementNS(u"urn:a", u"p:child");
  root->appendChild(child);
  CheckSafecallResult(child->setAttributeNS(u"urn:a", u"p:flag", u"on"));
  EXPECT_EQ(child->getAttributeNS(u"urn:a", u"flag"), u"on");
  EXPECT_TRUE(child->hasAttributeNS(u"urn:a", u"flag"));
  EXPECT_EQ(child->getAttributeNodeNS(u"urn:a", u"flag")->nodeValue(), u"on");
  EXPECT_EQ(XmlOf(root), u"<p:root xmlns:p=\"urn:a\"><p:child p:flag=\"on\" /></p:root>");
  CheckSafecallResult(child->removeAttributeNS(u"urn:a", u"flag"));
  EXPECT_FALSE(child->hasAttributeNS(u"urn:a", u"flag"));
}

TEST(HostDOMBuild, ElementsByTagNameAreFoundAtAnyDepth) {
  DelphiInterface<IDOMDocument> doc = Parsed(u"<a><b /><c><b /></c></a>");
  EXPECT_EQ(doc->getElementsByTagName(u"b")->length(), 2);
  EXPECT_EQ(doc->documentElement()->getElementsByTagName(u"c")->length(), 1);
  // A document without a root answers no list at all.
  DelphiInterface<IDOMDocument> empty = NewDocument(u"", u"");
  EXPECT_EQ(empty->getElementsByTagName(u"b"), nullptr);
}

TEST(HostDOMBuild, TheDocumentElementIsReplaced) {
  DelphiInterface<IDOMDocument> doc = Parsed(u"<old><x /></old>");
  DelphiInterface<IDOMElement> old = doc->documentElement();
  CheckSafecallResult(doc->set_documentElement(doc->createElement(u"new")));
  EXPECT_EQ(doc->documentElement()->tagName(), u"new");
  EXPECT_EQ(XmlOf(doc), u"<new />");
  // The old root lives on, detached, while it is held.
  EXPECT_EQ(old->parentNode(), nullptr);
  EXPECT_EQ(XmlOf(old), u"<old><x /></old>");
}

TEST(HostDOMBuild, CharacterDataAndSplitText) {
  DelphiInterface<IDOMDocument> doc = Parsed(u"<a>abcd</a>");
  DelphiInterface<IDOMText> text = IntfAs<IDOMText>(doc->documentElement()->firstChild().get());
  EXPECT_EQ(text->length(), 4);
  // The part cut out is dropped: the whole value comes back.
  EXPECT_EQ(text->substringData(1, 2), u"abcd");
  DelphiInterface<IDOMText> rest = text->splitText(2);
  EXPECT_EQ(text->data(), u"ab");
  EXPECT_EQ(rest->data(), u"cd");
  CheckSafecallResult(rest->appendData(u"e"));
  CheckSafecallResult(text->insertData(0, u"<"));
  EXPECT_EQ(XmlOf(doc), u"<a>&lt;abcde</a>");
}

// --- failures come back as results

TEST(HostDOMFailures, FailuresAreResultsAndOutArgumentsAreCleared) {
  DelphiInterface<IDOMDocument> doc = Parsed(u"<a>t</a>");
  DelphiInterface<IDOMElement> a = doc->documentElement();
  DelphiInterface<IDOMNode> empty = doc->createElement(u"e");

  DelphiInterface<IDOMNode> out = DelphiInterface<IDOMNode>(a);
  EXPECT_EQ(empty->get_firstChild(out), cFailed);
  EXPECT_EQ(out, nullptr);
  out = DelphiInterface<IDOMNode>(a);
  EXPECT_EQ(empty->get_lastChild(out), cFailed);
  EXPECT_EQ(out, nullptr);

  DelphiInterface<IDOMNamedNodeMap> attrs;
  EXPECT_EQ(a->firstChild()->get_attributes(attrs), cFailed);
  EXPECT_EQ(a->get_attributes(attrs), S_OK);
  DelphiInterface<IDOMNode> missing = DelphiInterface<IDOMNode>(a);
  EXPECT_EQ(attrs->getNamedItem(u"nope", missing), cFailed);
  EXPECT_EQ(missing, nullptr);

  // An attribute list holds only the element's own attributes: a new one would be freed under
  // it.
  DelphiInterface<IDOMNode> added;
  EXPECT_EQ(attrs->setNamedItem(doc->createAttribute(u"n"), added), cFailed);
  EXPECT_EQ(a->childNodes()->length(), 1);
  DelphiInterface<IDOMNode> inChildList;
  EXPECT_EQ(IntfAs<IDOMNamedNodeMap>(a->childNodes().get())->getNamedItem(u"#text", inChildList),
            S_OK);

  // Nil where a stream or a document must be given.
  EXPECT_EQ(IntfAs<IDOMPersist>(a.get())->saveToStream(nullptr), cFailed);
  WideString none;
  EXPECT_EQ(IntfAs<IDOMNodeEx>(a.get())->transformNode(nullptr, none), cFailed);

  DelphiInterface<IDOMDocumentFragment> fragment;
  EXPECT_EQ(doc->createDocumentFragment(fragment), cFailed);
  DelphiInterface<IDOMEntityReference> ref;
  EXPECT_EQ(doc->createEntityReference(u"amp", ref), cFailed);
  DOMString text = u"left over";
  EXPECT_EQ(a->firstChild()->get_nodeName(text), S_OK);
  EXPECT_EQ(text, u"#text");

  // The checked forms raise instead, with the result.
  try {
    empty->firstChild();
    FAIL() << "no exception";
  } catch (ESafecallException &e) {
    EXPECT_EQ(e.ErrorCode, cFailed);
    EXPECT_EQ(e.Message, u"Exception in safecall method");
  }
}

TEST(HostDOMFailures, NodesOfAnotherVendorAreRefused) {
  DelphiInterface<IDOMDocument> doc = Parsed(u"<a />");
  DelphiInterface<IDOMNode> foreign(new TForeignNode);
  DelphiInterface<IDOMNode> out;
  EXPECT_EQ(doc->documentElement()->appendChild(foreign, out), cFailed);
  EXPECT_EQ(doc->importNode(foreign, true, out), cFailed);
  EXPECT_EQ(XmlOf(doc), u"<a />");
}

TEST(HostDOMFailures, SelectNodeRaisesOnAMissAndSelectNodesDoesNot) {
  DelphiInterface<IDOMDocument> doc = Parsed(u"<a><b n=\"1\" /><b n=\"2\" /></a>");
  DelphiInterface<IDOMNodeSelect> select = IntfAs<IDOMNodeSelect>(doc->documentElement().get());
  EXPECT_EQ(select->selectNode(u"b[@n=\"2\"]")->nodeName(), u"b");
  DelphiInterface<IDOMNode> none;
  EXPECT_EQ(select->selectNode(u"c", none), cFailed);
  EXPECT_EQ(select->selectNodes(u"b")->length(), 2);
  EXPECT_EQ(select->selectNodes(u"c")->length(), 0);
}

// --- moving nodes and their lifetime

TEST(HostDOMLifetime, RemovedAndReplacedNodesLiveOnWhileHeld) {
  DelphiInterface<IDOMDocument> doc = Parsed(u"<a><b /><c /><d /></a>");
  DelphiInterface<IDOMElement> a = doc->documentElement();
  DelphiInterface<IDOMNode> c = a->removeChild(a->childNodes()->item(1));
  EXPECT_EQ(c->nodeName(), u"c");
  EXPECT_EQ(c->parentNode(), nullptr);
  EXPECT_EQ(XmlOf(a), u"<a><b /><d /></a>");

  // The new node takes the old one's place.
  DelphiInterface<IDOMNode> b = a->firstChild();
  EXPECT_EQ(a->replaceChild(c, a->lastChild()), c);
  EXPECT_EQ(XmlOf(a), u"<a><b /><c /></a>");
  // The first child replaced: the new node goes where the list puts a node after no node.
  a->replaceChild(doc->createElement(u"e"), b);
  EXPECT_EQ(XmlOf(a), u"<a><c /><e /></a>");
  EXPECT_EQ(b->parentNode(), nullptr);
}

TEST(HostDOMLifetime, DetachedNodesGoWithTheirLastInterface) {
  DelphiInterface<IDOMDocument> doc = Parsed(u"<a />");
  {
    // Never added: freed with the interface (the leak checker would see it otherwise).
    DelphiInterface<IDOMElement> lost = doc->createElement(u"lost");
    lost->appendChild(doc->createTextNode(u"x"));
    CheckSafecallResult(lost->setAttribute(u"k", u"v"));
  }
  {
    DelphiInterface<IDOMElement> kept = doc->createElement(u"kept");
    doc->documentElement()->appendChild(kept);
  }
  EXPECT_EQ(XmlOf(doc), u"<a><kept /></a>");

  // An imported node is a detached clone; the original stays.
  DelphiInterface<IDOMDocument> other = Parsed(u"<x><y>1</y></x>");
  DelphiInterface<IDOMNode> copy = doc->importNode(other->documentElement(), true);
  EXPECT_EQ(copy->parentNode(), nullptr);
  EXPECT_EQ(XmlOf(copy), u"<x><y>1</y></x>");
  DelphiInterface<IDOMNode> shallow = doc->importNode(other->documentElement(), false);
  EXPECT_EQ(XmlOf(shallow), u"<x />");
  doc->documentElement()->appendChild(copy);
  EXPECT_EQ(XmlOf(doc), u"<a><kept /><x><y>1</y></x></a>");
  EXPECT_EQ(XmlOf(other), u"<x><y>1</y></x>");
}

TEST(HostDOMLifetime, ANodeMovedToAnotherParentOutlivesItsFormerOne) {
  // An add does not take a node out of its earlier parent: the former parent still lists it.
  // When that parent goes, the node stays with its new one (and nothing leaks).
  DelphiInterface<IDOMDocument> doc = Parsed(u"<a><b><c /></b></a>");
  DelphiInterface<IDOMElement> b = IntfAs<IDOMElement>(doc->documentElement()->firstChild().get());
  CheckSafecallResult(doc->set_documentElement(b));
  EXPECT_EQ(XmlOf(doc), u"<b><c /></b>");

  DelphiInterface<IDOMDocument> other = Parsed(u"<x><y /></x>");
  DelphiInterface<IDOMElement> x = other->documentElement();
  DelphiInterface<IDOMNode> y = x->firstChild();
  DelphiInterface<IDOMElement> holder = other->createElement(u"holder");
  holder->appendChild(y);
  EXPECT_EQ(y->parentNode(), DelphiInterface<IDOMNode>(holder));
  EXPECT_EQ(XmlOf(x), u"<x><y /></x>");
  x = nullptr;
  other = nullptr;
  EXPECT_EQ(XmlOf(holder), u"<holder><y /></holder>");
}

TEST(HostDOMLifetime, AttributeNodesAreAddedWithoutReplacing) {
  DelphiInterface<IDOMDocument> doc = Parsed(u"<a k=\"1\" />");
  DelphiInterface<IDOMElement> a = doc->documentElement();
  DelphiInterface<IDOMAttr> k = doc->createAttribute(u"k");
  CheckSafecallResult(k->set_value(u"2"));
  EXPECT_EQ(a->setAttributeNode(k), nullptr);
  EXPECT_EQ(XmlOf(a), u"<a k=\"1\" k=\"2\" />");
  DelphiInterface<IDOMAttr> first = a->getAttributeNode(u"k");
  DelphiInterface<IDOMAttr> removed = a->removeAttributeNode(k);
  EXPECT_EQ(removed, k);
  EXPECT_EQ(removed->value(), u"2");
  EXPECT_EQ(XmlOf(a), u"<a k=\"1\" />");
}

// --- loading and saving

TEST(HostDOMPersist, LoadTakesMarkupOrAnExistingFile) {
  DelphiInterface<IDOMDocument> doc = NewDocument(u"", u"");
  DelphiInterface<IDOMPersist> persist = IntfAs<IDOMPersist>(doc.get());
  EXPECT_TRUE(persist->load(Variant(UnicodeString(u"<r><s /></r>"))));
  EXPECT_EQ(persist->xml(), u"<r><s /></r>");
  EXPECT_EQ(doc->documentElement()->tagName(), u"r");
  // A name of no file does nothing, and answers success all the same.
  EXPECT_TRUE(persist->load(Variant(UnicodeString(u"/no/such/file.xml"))));
  EXPECT_EQ(persist->xml(), u"<r><s /></r>");

  // On an element the text becomes its content.
  DelphiInterface<IDOMPersist> element = IntfAs<IDOMPersist>(doc->documentElement().get());
  EXPECT_TRUE(element->loadxml(u"<t>1</t>"));
  EXPECT_EQ(element->xml(), u"<r><t>1</t></r>");
  Integer state = -1;
  EXPECT_EQ(element->asyncLoadState(state), S_OK);
  EXPECT_EQ(state, 0);
}

TEST(HostDOMPersist, SaveWritesNothingAndSaveToStreamWritesTheMarkup) {
  DelphiInterface<IDOMDocument> doc = Parsed(u"<r a=\"1\" />");
  DelphiInterface<IDOMPersist> persist = IntfAs<IDOMPersist>(doc.get());
  Variant destination(UnicodeString(u"untouched"));
  EXPECT_EQ(persist->save(destination), S_OK);
  EXPECT_EQ(VarToStr(destination), u"untouched");

  DelphiInterface<IDOMPersist> root = IntfAs<IDOMPersist>(doc->documentElement().get());
  TMemoryStream stream;
  CheckSafecallResult(root->saveToStream(&stream));
  EXPECT_EQ(domxml::Bytes(stream), "<r a=\"1\" />");

  // A node writes in the page of its document's encoding.
  DelphiInterface<IDOMDocument> latin = Parsed(u"<r>\u00E9</r>");
  IntfAs<IVnDOMDocument>(latin.get())->SetEncoding(u"ISO-8859-1");
  TMemoryStream latinBytes;
  CheckSafecallResult(
      IntfAs<IDOMPersist>(latin->documentElement().get())->saveToStream(&latinBytes));
  EXPECT_EQ(domxml::Bytes(latinBytes), "<r>\xE9</r>");
}

TEST(HostDOMPersist, LoadFromAnInterfaceStream) {
  DelphiInterface<IDOMDocument> doc = Parsed(u"<r />");
  DelphiInterface<IDOMPersist> root = IntfAs<IDOMPersist>(doc->documentElement().get());
  auto *bytes = New<TMemoryStream>();
  const std::string text = "<k>caf\xC3\xA9</k>";
  bytes->WriteBuffer(text.data(), static_cast<Int64>(text.size()));
  DelphiInterface<IStream> stream(new TStreamAdapter(bytes, soOwned));
  EXPECT_TRUE(root->loadFromStream(stream.get()));
  EXPECT_EQ(XmlOf(doc), u"<r><k>caf\u00E9</k></r>");

  // A stream that tells a size it does not deliver is refused.
  class TShortStream : public TStreamAdapter {
   public:
    using TStreamAdapter::TStreamAdapter;
    HRESULT Stat(TStatStg &AStat, LongWord AFlag) override {
      TStreamAdapter::Stat(AStat, AFlag);
      AStat.cbSize += 10;
      return S_OK;
    }
  };
  TMemoryStream shortBytes;
  shortBytes.WriteBuffer(text.data(), static_cast<Int64>(text.size()));
  DelphiInterface<IStream> liar(new TShortStream(&shortBytes));
  bool loaded = true;
  EXPECT_EQ(root->loadFromStream(liar.get(), loaded), cFailed);
  EXPECT_FALSE(loaded);
}

TEST(HostDOMPersist, DoctypeIsTheDocumentItselfAndEmpty) {
  DelphiInterface<IDOMDocument> doc = Parsed(u"<r />");
  DelphiInterface<IDOMDocumentType> type = doc->doctype();
  ASSERT_NE(type, nullptr);
  EXPECT_EQ(type->name(), u"");
  EXPECT_EQ(type->publicId(), u"");
  EXPECT_EQ(type->entities(), nullptr);
  EXPECT_EQ(type->nodeType(), DOCUMENT_NODE);
  EXPECT_NE(doc->domImplementation(), nullptr);
}

// --- style sheets through the generic interfaces

#ifdef VNXML_WITH_XSLT
TEST(HostDOMTransform, TransformNodeToTextAndIntoADocument) {
  DelphiInterface<IDOMDocument> doc = Parsed(u"<list><item>a</item><item>b</item></list>");
  DelphiInterface<IDOMDocument> sheet = Parsed(
      u"<xsl:stylesheet version=\"1.0\" xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\">"
      u"<xsl:output omit-xml-declaration=\"yes\"/>"
      u"<xsl:template match=\"/list\"><names><xsl:for-each select=\"item\"><n>"
      u"<xsl:value-of select=\".\"/></n></xsl:for-each></names></xsl:template>"
      u"</xsl:stylesheet>");
  DelphiInterface<IDOMNodeEx> source = IntfAs<IDOMNodeEx>(doc.get());
  WideString text;
  CheckSafecallResult(source->transformNode(sheet, text));
  EXPECT_EQ(text, u"<names><n>a</n><n>b</n></names>\n");

  DelphiInterface<IDOMDocument> output = NewDocument(u"", u"");
  CheckSafecallResult(source->transformNode(sheet, output.get()));
  EXPECT_EQ(output->documentElement()->tagName(), u"names");

  // A broken style sheet is a failing result.
  DelphiInterface<IDOMDocument> broken = Parsed(u"<nothing/>");
  text = u"stale";
  EXPECT_EQ(source->transformNode(broken, text), cFailed);
  EXPECT_EQ(text, u"");
}
#endif

// --- the free routines

TEST(HostDOMRoutines, BuildADocumentOnAnyVendor) {
  DelphiInterface<IDOMDocument> doc = VnCreateDOM(u"Vornell", u"urn:o", u"o:order");
  DelphiInterface<IDOMElement> root = doc->documentElement();
  DelphiInterface<IDOMElement> line = VnAddElement(root, u"line");
  DelphiInterface<IDOMAttr> qty = VnAddAttribute(line, u"qty");
  CheckSafecallResult(qty->set_value(u"3"));
  VnAddElement(root, u"urn:o", u"o:note");
  VnAddText(line, u"pen");
  VnAddCDATA(line, u"<b>");
  VnAddComment(root, u"done");
  EXPECT_EQ(XmlOf(doc),
            u"<o:order xmlns:o=\"urn:o\"><line qty=\"3\">pen<![CDATA[<b>]]></line><o:note />"
            u"<!--done--></o:order>");

  // A parent that belongs to no document cannot have nodes made for it.
  DelphiInterface<IDOMElement> loose = doc->createElement(u"loose");
  EXPECT_THROW(VnAddElement(loose, u"x"), EVnDomException);
  EXPECT_THROW(VnCreateDOM(u"Nobody", u"", u"a"), DOMException);
}

TEST(HostDOMRoutines, FormatXMLOfAGenericDocumentFormatsItsTextWhichIsEmpty) {
  DelphiInterface<IDOMDocument> doc = Parsed(u"<r><s>text</s></r>");
  EXPECT_EQ(VnFormatXML(doc.get()), u"");
}

TEST(HostDOMRoutines, TheDocumentHooksOfTheSupportLayer) {
  DelphiInterface<IInterface> doc = VnCreateXMLDoc(u"<a><B>42</B><c>x</c></a>");
  ASSERT_NE(doc, nullptr);
  DelphiInterface<IVnDOMDocument> dom;
  ASSERT_TRUE(Supports(doc.get(), dom));
  // Case and prefixes do not matter to the lookup.
  EXPECT_EQ(VarToStr(VnGetXMLDocValue(doc, u"b")), u"42");
  EXPECT_EQ(VarToStr(VnGetXMLDocValue(doc, u"C")), u"x");
  EXPECT_TRUE(VarIsEmpty(VnGetXMLDocValue(doc, u"d")));
  DelphiInterface<IVnDOMDocument> mine = VnCreateDOM(u"<p />");
  EXPECT_EQ(mine->GetRootNode()->GetQualifiedName(), u"p");
}

}  // namespace
