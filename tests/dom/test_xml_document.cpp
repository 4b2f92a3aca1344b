// Documents: settings, the "xml" instruction, the sniffing load, failures and files.
#include <cstdio>

#include "xml_util.h"

namespace domxml {
namespace {

TEST(XmlDocument, ConstructionAndRoot) {
  Doc d = Empty();
  EXPECT_EQ(d->GetNodeType(), ntDocument);
  EXPECT_EQ(d->GetLocalName(), u"#document");
  EXPECT_EQ(d->GetDOMDocument(), d.get());
  EXPECT_EQ(d->GetLoadState(), lsUninitialized);
  EXPECT_EQ(d->GetRootNode(), nullptr);
  TVnDOMElement *r = d->CreateRootNode(u"r");
  EXPECT_EQ(d->GetRootNode(), r);
  try {
    d->CreateRootNode(u"s");
    ADD_FAILURE();
  } catch (EVnDomException &E) {
    EXPECT_EQ(Msg(E), "This DOM document already contains a rootnode!");
  }
  // Further top-level elements can be appended; only the first is the root.
  auto *second = New<TVnDOMElement>();
  second->SetQualifiedName(u"s");
  d->AppendChild(second);
  EXPECT_EQ(d->GetRootNode(), r);
  d->AddComment(u"end");
  EXPECT_EQ(d->GetXML(), u"<r /><s /><!--end-->");
  try {
    d->CloneNode(true);
    ADD_FAILURE();
  } catch (EVnDomNotSupported &E) {
    EXPECT_EQ(Msg(E), "It is not possible to clone a TVnDOMDocument using the CloneNode method!");
  }
  d->Clear();
  EXPECT_EQ(d->GetRootNode(), nullptr);
  EXPECT_EQ(d->NodeCount(), 0);
}

void ExpectRootRefused(TVnDOMDocument *ADoc) {
  try {
    ADoc->CreateRootNode(u"again");
    ADD_FAILURE() << "a second root was made";
  } catch (EVnDomException &E) {
    EXPECT_EQ(Msg(E), "This DOM document already contains a rootnode!");
  }
}

// A root that leaves the document is still its root while it lives, and its place stays taken
// until Clear; once it is destroyed the document answers no root.
TEST(XmlDocument, RootThatLeftKeepsItsPlace) {
  {
    // Nobody holds it: it is destroyed on removal.
    Doc d = Empty();
    d->RemoveChild(d->CreateRootNode(u"x"));
    EXPECT_EQ(d->GetRootNode(), nullptr);
    ExpectRootRefused(d.get());
    d->AppendChild(New<TVnDOMElement>());
    EXPECT_EQ(d->GetRootNode(), nullptr);
    d->Clear();
    EXPECT_EQ(d->CreateRootNode(u"y")->GetXML(), u"<y />");
  }
  {
    // Taken out through the child list, the root is the caller's; the document answers it
    // until the caller frees it.
    Doc d = Empty();
    TVnDOMElement *root = d->CreateRootNode(u"x");
    EXPECT_EQ(d->GetChildNodes()->Delete(root), root);
    EXPECT_EQ(d->GetRootNode(), root);
    EXPECT_EQ(root->GetParent(), nullptr);
    ExpectRootRefused(d.get());
    root->Free();
    EXPECT_EQ(d->GetRootNode(), nullptr);
    ExpectRootRefused(d.get());
  }
  {
    // Held by an interface, the removed root lives on; the document may go first.
    TVnDOMDocument *d = New<TVnDOMDocument>();
    DelphiInterface<IVnDOMDocument> doc = VnDOMIntf<IVnDOMDocument>(d);
    TVnDOMElement *root = d->CreateRootNode(u"x");
    DelphiInterface<IVnDOMElement> held = VnDOMIntf<IVnDOMElement>(root);
    d->RemoveChild(root);
    EXPECT_EQ(d->GetRootNode(), root);
    EXPECT_EQ(static_cast<IVnDOMElement *>(doc->GetRootNode()), static_cast<IVnDOMElement *>(held));
    ExpectRootRefused(d);
    doc = nullptr;
    EXPECT_EQ(held->GetXML(), u"<x />");
  }
  {
    // Cleared, the document lets go of the departed root, which outlives it unharmed.
    Doc d = Empty();
    TVnDOMElement *root = d->CreateRootNode(u"x");
    d->GetChildNodes()->Delete(root);
    d->Clear();
    EXPECT_EQ(d->GetRootNode(), nullptr);
    d.reset();
    EXPECT_EQ(root->GetXML(), u"<x />");
    root->Free();
  }
}

TEST(XmlDocument, Settings) {
  Doc d = Empty();
  EXPECT_FALSE(d->GetCaseSensitive());
  d->SetCaseSensitive(true);
  EXPECT_EQ(d->GetCollation(), TVnXPathCollationCodepoint::StaticClass());
  d->SetCaseSensitive(false);
  EXPECT_EQ(d->GetCollation(), TVnXPathCollationASCIICI::StaticClass());
  TVnDOMElement *r = d->CreateRootNode(u"r");
  r->AddElement(u"Item");
  EXPECT_NE(r->FindElement(u"item"), nullptr);
  d->SetCaseSensitive(true);
  EXPECT_EQ(r->FindElement(u"item"), nullptr);
  // The switch declares both prefixes on the root; the schema one is always rewritten.
  d->SetUseSchemaInstance(true);
  EXPECT_EQ(r->GetXML(),
            u"<r xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
            u"xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"><Item /></r>");
  // The page stays 0 until it is set; a load leaves it alone.
  EXPECT_EQ(d->GetCodePage(), 0);
  EXPECT_EQ(Load(u"<?xml version=\"1.0\" encoding=\"iso-8859-1\"?><a/>")->GetCodePage(), 0);
  d->SetCodePage(1252);
  EXPECT_EQ(d->GetCodePage(), 1252);
  EXPECT_EQ(d->GetEncoding(), u"windows-1252");
}

TEST(XmlDocument, TheXmlInstruction) {
  Doc d = Load(u"<a/>");
  EXPECT_EQ(d->GetEncoding(), u"UTF-8");
  try {
    d->GetProcessingInstruction(u"xml");
    ADD_FAILURE();
  } catch (EVnDomNotFound &E) {
    EXPECT_EQ(Msg(E), "There is no processinginstruction \"xml\"!");
  }
  d->SetProcessingInstruction(u"style", u"s");
  d->SetEncoding(u"");
  EXPECT_EQ(d->GetXML(), u"<?xml version=\"1.0\" encoding=\"UTF-8\"?><?style s?><a />");
  d->SetProcessingInstruction(u"other", u"o");
  // Others go right after the "xml" instruction.
  EXPECT_EQ(d->GetXML(), u"<?xml version=\"1.0\" encoding=\"UTF-8\"?><?other o?><?style s?><a />");
  d->SetEncoding(u"iso-8859-1");
  EXPECT_EQ(d->GetProcessingInstruction(u"XML"), u"version=\"1.0\" encoding=\"iso-8859-1\"");
  EXPECT_EQ(d->GetCodePage(), 28591);
  // Setting the instruction reads the encoding back in lower case and leaves the page.
  d->SetProcessingInstruction(u"xml", u"version=\"1.0\" encoding=\"UTF-16\"");
  EXPECT_EQ(d->GetEncoding(), u"utf-16");
  EXPECT_EQ(d->GetCodePage(), 28591);
  d->SetProcessingInstruction(u"xml", u"version=\"1.0\"");
  EXPECT_EQ(d->GetEncoding(), u"UTF-8");
  d->SetEncoding(u"UTF-16");
  EXPECT_EQ(d->GetProcessingInstruction(u"xml"), u"version=\"1.0\" encoding=\"UTF-16\"");
}

// A stream over bytes, loaded by the sniffing load.
Doc Sniff(const std::string &ABytes) {
  Doc d = Empty();
  TPointerStream s(ABytes.data(), static_cast<Int64>(ABytes.size()));
  d->LoadFromStream(&s);
  return d;
}

TEST(XmlDocument, SniffingLoad) {
  // Declared Latin-1 text is read as Latin-1.
  EXPECT_EQ(Sniff("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>\xE9</a>")
                ->GetRootNode()
                ->GetNodeValue(),
            u"\u00e9");
  // Without a declaration the bytes are UTF-8, and leading blanks are skipped.
  Doc u = Sniff(" \r\n\t<a>\xC3\xA9</a>");
  EXPECT_EQ(u->GetRootNode()->GetNodeValue(), u"\u00e9");
  EXPECT_EQ(u->GetLoadState(), lsLoaded);
  // A UTF-16 byte-order mark.
  std::u16string w = u"  <a>\u20ac</a>";
  std::string bytes("\xFF\xFE", 2);
  bytes.append(reinterpret_cast<const char *>(w.data()), w.size() * 2);
  EXPECT_EQ(Sniff(bytes)->GetRootNode()->GetNodeValue(), u"\u20ac");
  // Text that does not begin with "<" is JSON.
  EXPECT_EQ(Sniff("  {\"a\":1}")->GetRootNode()->GetLocalName(), u"object");
  EXPECT_EQ(Doc(TVnDOMDocument::CreateFromJSON(u"[]"))->GetRootNode()->GetLocalName(), u"array");
  // The JSON factory picks its reader by the first character too.
  Doc x(TVnDOMDocument::CreateFromJSON(u" <a>\u20ac</a>"));
  EXPECT_EQ(x->GetRootNode()->GetNodeValue(), u"\u20ac");
}

TEST(XmlDocument, SingleQuotedEncodingIsNotSniffed) {
  // The sniffer finds an empty name; the reader then reads the declaration itself.
  Doc d = Sniff("<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE9</a>");
  EXPECT_EQ(d->GetRootNode()->GetNodeValue(), u"\u00e9");
}

TEST(XmlDocument, LoadingAddsAndClears) {
  Doc d = Load(u"<a/>");
  // LoadFromStream does not clear: a second top-level element comes after the root.
  std::string more = "<b/>";
  TPointerStream s(more.data(), static_cast<Int64>(more.size()));
  d->LoadFromStream(&s, CP_UTF8);
  EXPECT_EQ(d->GetXML(), u"<a /><b />");
  EXPECT_EQ(d->GetRootNode()->GetLocalName(), u"a");
  // LoadFromXML clears; empty wide text leaves an empty document and the state alone.
  d->LoadFromXML(UnicodeString());
  EXPECT_EQ(d->NodeCount(), 0);
  EXPECT_EQ(d->GetLoadState(), lsLoaded);
  Doc e = Empty();
  e->LoadFromXML(UnicodeString());
  EXPECT_EQ(e->GetLoadState(), lsUninitialized);
  e->LoadFromXML(AnsiString("<x>\xC3\xA9</x>"));
  EXPECT_EQ(e->GetRootNode()->GetNodeValue(), u"\u00e9");
  EXPECT_EQ(e->GetLoadState(), lsLoaded);
}

TEST(XmlDocument, FailuresKeepTheNodesBuiltSoFar) {
  Doc d = Empty();
  try {
    d->LoadFromXML(UnicodeString(u"<a>\n<b>t</b>\n<c x=></c></a>"));
    ADD_FAILURE();
  } catch (EVnDomSyntax &E) {
    EXPECT_EQ(Msg(E).rfind("Line 3, column ", 0), 0u) << Msg(E);
  }
  EXPECT_EQ(d->GetLoadState(), lsLoaded);
  ASSERT_NE(d->GetRootNode(), nullptr);
  // The element whose tag failed was never built.
  EXPECT_EQ(d->GetXML(), u"<a><b>t</b></a>");

  // An event that handles the fatal error lets the reader's own exception through.
  Doc h = Empty();
  UnicodeString seen;
  h->SetOnParseFatalError([&](IVnSAXLocator *, const UnicodeString &AMessage, bool &AHandled) {
    seen = AMessage;
    AHandled = true;
  });
  bool syntax = false, other = false;
  try {
    h->LoadFromXML(UnicodeString(u"<a><"));
  } catch (EVnDomSyntax &) {
    syntax = true;
  } catch (Exception &) {
    other = true;
  }
  EXPECT_FALSE(syntax);
  EXPECT_TRUE(other);
  EXPECT_FALSE(seen.empty());
  // The factories free what they built.
  EXPECT_THROW(TVnDOMDocument::CreateFromXML(u"<a><b x=></a>"), EVnDomSyntax);
}

TEST(XmlDocument, EndTagsAboveTheLoadedNodeFailAsSyntax) {
  Doc d = Load(u"<r><s/></r>");
  // An end tag without its start tag takes the loading up to the parent ...
  d->GetRootNode()->FindElement(u"s")->SetInnerXML(u"</x><y/>");
  EXPECT_EQ(d->GetXML(), u"<r><s /><y /></r>");
  // ... and past the top nothing is left to build on: every kind of event then fails as a
  // syntax error, and what was built stays.
  Owned e(New<TVnDOMElement>());
  auto *element = static_cast<TVnDOMElement *>(e.get());
  element->SetQualifiedName(u"e");
  for (const char16_t *xml : {u"<a/></e></x><y/>", u"</x>t", u"</x><!--c-->", u"</x></y>",
                              u"</x><?p d?>", u"</x><![CDATA[c]]>"}) {
    try {
      element->SetInnerXML(xml);
      ADD_FAILURE() << UTF8Encode(xml);
    } catch (EVnDomSyntax &E) {
      EXPECT_EQ(Msg(E).rfind("Line 1, column ", 0), 0u) << Msg(E);
      EXPECT_NE(Msg(E).find("An end tag closes more than was opened"), std::string::npos) << Msg(E);
    }
  }
  EXPECT_EQ(element->GetXML(), u"<e />");
}

TEST(XmlDocument, AnyNodeLoadsFromAStream) {
  Doc d = Load(u"<r><!--c--></r>");
  TVnDOMNode *comment = d->GetRootNode()->GetChildNodes()->GetItem(0);
  const std::string xml = "<?q y?><b/>";
  TPointerStream s(xml.data(), static_cast<Int64>(xml.size()));
  comment->LoadFromStream(&s, CP_UTF8);
  ASSERT_EQ(comment->NodeCount(), 2);
  EXPECT_EQ(comment->GetChildNodes()->GetItem(0)->GetNodeType(), ntProcessingInstruction);
  EXPECT_EQ(comment->GetChildNodes()->GetItem(1)->GetNodeType(), ntElement);
}

TEST(XmlDocument, FilesAndInterfaceRefusals) {
  const std::string path = ::testing::TempDir() + "vnxml_dom_doc.xml";
  const UnicodeString name = UTF8ToString(path);
  {
    Doc d = Load(u"<r><e>\u00e9</e></r>");
    d->SetEncoding(u"UTF-8");
    d->SaveToFile(name, true, true);
  }
  Doc back(TVnDOMDocument::CreateFromFile(name));
  EXPECT_EQ(back->GetDocumentURI(), name);
  EXPECT_EQ(back->GetRootNode()->FirstElement()->GetNodeValue(), u"\u00e9");
  EXPECT_EQ(back->GetFormattedXML(),
            u"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<r>\r\n  <e>\u00e9</e>\r\n</r>");
  std::remove(path.c_str());

  DelphiInterface<IVnDOMNode> intf = VnDOMIntf<IVnDOMNode>(back.release());
  TMemoryStream s;
  try {
    intf->SaveToStream(&s, CP_UTF8, false);
    ADD_FAILURE();
  } catch (EVnDomNotSupported &E) {
    EXPECT_EQ(Msg(E),
              "The SaveToStream is not supported by the DOM Document. Use the SaveToStreamEx "
              "instead.");
  }
  EXPECT_THROW(intf->LoadFromStream(&s, CP_UTF8), EVnDomNotSupported);
  EXPECT_TRUE(Supports(static_cast<IInterface *>(intf), IVnDOMDocument::IID));
}

TEST(XmlDocument, InterfacesOfTheNodeKinds) {
  Doc d = Load(u"<a x=\"1\">t<![CDATA[c]]><!--m--><?p?></a>");
  DelphiInterface<IVnDOMNode> doc = VnDOMIntf<IVnDOMNode>(d.release());
  auto *root = static_cast<TVnDOMDocument *>(TVnDOMObjectImpl::Node(doc))->GetRootNode();
  EXPECT_TRUE(VnDOMIntf<IVnDOMElement>(root));
  EXPECT_TRUE(VnDOMIntf<IVnDOMAttribute>(root->FirstAttribute()));
  TVnDOMNodeList *chars = root->GetCharNodes();
  EXPECT_TRUE(VnDOMIntf<IVnDOMText>(chars->GetItem(0)));
  EXPECT_TRUE(VnDOMIntf<IVnDOMCDATA>(chars->GetItem(1)));
  EXPECT_TRUE(VnDOMIntf<IVnDOMText>(chars->GetItem(1)));
  EXPECT_TRUE(VnDOMIntf<IVnDOMComment>(chars->GetItem(2)));
  EXPECT_FALSE(Supports(static_cast<IVnObject *>(chars->GetItem(2)), IVnDOMText::IID));
  EXPECT_TRUE(VnDOMIntf<IVnDOMProcessingInstruction>(root->GetChildNodes()->Last()));
  // A walk through objects only builds no interface half.
  EXPECT_EQ(root->GetChildNodes()->GetItem(0)->GetDOMImpl(), nullptr);
}

// A document that counts its load hooks and notes the load state each one sees.
class TCountingDocument : public TVnDOMDocument {
  VN_CLASS(TCountingDocument, TVnDOMDocument)
 public:
  int Loaded = 0;
  TVnDOMLoadState StateSeen = lsUninitialized;

 protected:
  void DoXMLLoaded() override {
    ++Loaded;
    StateSeen = GetLoadState();
  }
};
using CountingDoc = vn::Owned<TCountingDocument>;

// Writes bytes into a file, replacing what it held.
void WriteFile(const std::string &APath, const std::string &ABytes) {
  std::FILE *f = std::fopen(APath.c_str(), "wb");
  ASSERT_NE(f, nullptr);
  std::fwrite(ABytes.data(), 1, ABytes.size(), f);
  std::fclose(f);
}

TEST(XmlDocument, CreateFromStream) {
  // The page given wins over the one the text declares.
  const std::string latin = "<?xml version=\"1.0\" encoding=\"UTF-8\"?><a>\xE9</a>";
  TPointerStream s(latin.data(), static_cast<Int64>(latin.size()));
  Doc d(TVnDOMDocument::CreateFromStream(&s, 28591));
  ASSERT_NE(d->GetRootNode(), nullptr);
  EXPECT_EQ(d->GetRootNode()->GetNodeValue(), u"\u00e9");
  // A load with a given page does not go through the load states.
  EXPECT_EQ(d->GetLoadState(), lsUninitialized);
  EXPECT_TRUE(d->GetDocumentURI().empty());
  // UTF-16 text without a byte-order mark.
  const std::u16string w = u"<a><b>\u20ac</b></a>";
  TPointerStream t(w.data(), static_cast<Int64>(w.size() * 2));
  Doc u(TVnDOMDocument::CreateFromStream(&t, CP_UTF16));
  EXPECT_EQ(u->GetXML(), u"<a><b>\u20ac</b></a>");
  // A failed load frees the document and passes the syntax error on.
  const std::string bad = "<a><b x=></b></a>";
  TPointerStream b(bad.data(), static_cast<Int64>(bad.size()));
  EXPECT_THROW(TVnDOMDocument::CreateFromStream(&b, CP_UTF8), EVnDomSyntax);
}

TEST(XmlDocument, LoadHooksAndLoadStates) {
  const std::string good = "<a/>", bad = "<a><b x=></b></a>";
  // A load with a given page calls the hook and leaves the state where it was.
  CountingDoc d(New<TCountingDocument>());
  TPointerStream s1(good.data(), static_cast<Int64>(good.size()));
  d->LoadFromStream(&s1, CP_UTF8);
  EXPECT_EQ(d->Loaded, 1);
  EXPECT_EQ(d->StateSeen, lsUninitialized);
  EXPECT_EQ(d->GetLoadState(), lsUninitialized);
  // Each other load path calls it once, once the document is loaded.
  d->LoadFromXML(UnicodeString(u"<b/>"));
  EXPECT_EQ(d->Loaded, 2);
  EXPECT_EQ(d->StateSeen, lsLoaded);
  d->LoadFromXML(AnsiString("<c/>"));
  EXPECT_EQ(d->Loaded, 3);
  d->StateSeen = lsUninitialized;
  TPointerStream s2(good.data(), static_cast<Int64>(good.size()));
  d->LoadFromStream(&s2);
  EXPECT_EQ(d->Loaded, 4);
  EXPECT_EQ(d->StateSeen, lsLoaded);
  // Empty wide text loads nothing and calls nothing.
  d->LoadFromXML(UnicodeString());
  EXPECT_EQ(d->Loaded, 4);
  const std::string path = ::testing::TempDir() + "vnxml_dom_doc_hooks.xml";
  const UnicodeString name = UTF8ToString(path);
  WriteFile(path, good);
  d->LoadXML(name, fmOpenRead | fmShareDenyWrite);
  EXPECT_EQ(d->Loaded, 5);
  d->LoadFromFile(name);
  EXPECT_EQ(d->Loaded, 6);

  // A failed load calls no hook. The sniffing load and the file loads end in lsLoaded; the load
  // with a given page leaves the state alone.
  CountingDoc p(New<TCountingDocument>());
  TPointerStream f1(bad.data(), static_cast<Int64>(bad.size()));
  EXPECT_THROW(p->LoadFromStream(&f1, CP_UTF8), EVnDomSyntax);
  EXPECT_EQ(p->GetLoadState(), lsUninitialized);
  EXPECT_EQ(p->Loaded, 0);
  CountingDoc q(New<TCountingDocument>());
  TPointerStream f2(bad.data(), static_cast<Int64>(bad.size()));
  EXPECT_THROW(q->LoadFromStream(&f2), EVnDomSyntax);
  EXPECT_EQ(q->GetLoadState(), lsLoaded);
  EXPECT_EQ(q->Loaded, 0);
  CountingDoc x(New<TCountingDocument>());
  EXPECT_THROW(x->LoadFromXML(UnicodeString(u"<a><b x=></b></a>")), EVnDomSyntax);
  EXPECT_THROW(x->LoadFromXML(AnsiString("<a><b x=></b></a>")), EVnDomSyntax);
  EXPECT_EQ(x->GetLoadState(), lsLoaded);
  EXPECT_EQ(x->Loaded, 0);
  WriteFile(path, bad);
  CountingDoc fl(New<TCountingDocument>());
  EXPECT_THROW(fl->LoadFromFile(name), EVnDomSyntax);
  EXPECT_EQ(fl->GetLoadState(), lsLoaded);
  EXPECT_EQ(fl->Loaded, 0);
  // The URI is set only after a load that succeeded.
  EXPECT_TRUE(fl->GetDocumentURI().empty());
  std::remove(path.c_str());
  // A file that cannot be opened fails before any load begins.
  CountingDoc missing(New<TCountingDocument>());
  EXPECT_THROW(missing->LoadFromFile(name), EFOpenError);
  EXPECT_EQ(missing->GetLoadState(), lsUninitialized);
  EXPECT_EQ(missing->Loaded, 0);
}

TEST(XmlDocument, OnlyLoadFromFileSetsTheURI) {
  const std::string path = ::testing::TempDir() + "vnxml_dom_doc_uri.xml";
  const UnicodeString name = UTF8ToString(path);
  WriteFile(path, "<r>\xC3\xA9</r>");
  Doc d = Empty();
  d->SetDocumentURI(u"urn:before");
  d->LoadXML(name, fmOpenRead | fmShareDenyWrite);
  EXPECT_EQ(d->GetRootNode()->GetNodeValue(), u"\u00e9");
  EXPECT_EQ(d->GetLoadState(), lsLoaded);
  EXPECT_EQ(d->GetDocumentURI(), u"urn:before");
  Doc e = Empty();
  e->LoadXML(name, fmOpenRead | fmShareDenyWrite);
  EXPECT_TRUE(e->GetDocumentURI().empty());
  Doc f = Empty();
  f->SetDocumentURI(u"urn:before");
  f->LoadFromFile(name);
  EXPECT_EQ(f->GetRootNode()->GetNodeValue(), u"\u00e9");
  EXPECT_EQ(f->GetDocumentURI(), name);
  std::remove(path.c_str());
}

// The text of the root after a sniffing load.
UnicodeString SniffedText(const std::string &ABytes) {
  return Sniff(ABytes)->GetRootNode()->GetNodeValue();
}

TEST(XmlDocument, SnifferLimits) {
  const UnicodeString asUTF8 = u"\u00e9", asLatin1 = u"\u00c3\u00a9";
  // A byte-order mark wins over the declared encoding.
  EXPECT_EQ(
      SniffedText("\xEF\xBB\xBF<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>\xC3\xA9</a>"),
      asUTF8);
  std::u16string w = u"<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>\u20ac</a>";
  std::string bytes("\xFF\xFE", 2);
  bytes.append(reinterpret_cast<const char *>(w.data()), w.size() * 2);
  EXPECT_EQ(SniffedText(bytes), u"\u20ac");
  // Whatever first tag there is gets read for an encoding, but nothing behind its ">".
  EXPECT_EQ(SniffedText("<a encoding=\"ISO-8859-1\">\xC3\xA9</a>"), asLatin1);
  EXPECT_EQ(SniffedText("<?xml version=\"1.0\"?><!-- encoding=\"ISO-8859-1\" --><a>\xC3\xA9</a>"),
            asUTF8);
  EXPECT_EQ(SniffedText("<a><b encoding=\"ISO-8859-1\"/>\xC3\xA9</a>"), asUTF8);
  // The head read is 1025 characters long: a value whose closing quote is the 1025th counts ...
  const std::string enc = "encoding=\"ISO-8859-1\"";
  const std::string fits = "<a" + std::string(1025 - 2 - enc.size(), ' ') + enc;
  ASSERT_EQ(fits.size(), 1025u);
  EXPECT_EQ(SniffedText(fits + ">\xC3\xA9</a>"), asLatin1);
  // ... one character later the value is cut off, reads as empty and gives no page, and the
  // reader, finding no declaration, reads UTF-8.
  EXPECT_EQ(SniffedText("<a " + fits.substr(2) + ">\xC3\xA9</a>"), asUTF8);
  // A name cut off by the limit is not found at all.
  EXPECT_EQ(SniffedText("<a" + std::string(1020, ' ') + enc + ">\xC3\xA9</a>"), asUTF8);
}

TEST(XmlDocument, SyntaxErrorsNameLineAndColumn) {
  const struct {
    const char16_t *XML;
    const char *Message;
  } cases[] = {
      {u"<a/><b/>",
       "Line 1, column 5: The document is not wellformed!\r\nA XML document may not contain "
       "multiple root elements."},
      {u"<a>\n</a>\n<b/>",
       "Line 3, column 1: The document is not wellformed!\r\nA XML document may not contain "
       "multiple root elements."},
      {u"<a>\n<b>t</b>\n<c x=></c></a>",
       "Line 3, column 6: The document is not wellformed!\r\nMissing attribute value."},
      {u"<a/>text",
       "Line 1, column 5: The document is not wellformed!\r\nAn invalid token was detected at "
       "the root level of the document."},
  };
  for (const auto &c : cases) {
    Doc d = Empty();
    try {
      d->LoadFromXML(UnicodeString(c.XML));
      ADD_FAILURE() << UTF8Encode(c.XML);
    } catch (EVnDomSyntax &E) {
      EXPECT_EQ(Msg(E), c.Message);
    }
  }
}

TEST(XmlDocument, SchemaInstanceSwitch) {
  const UnicodeString xsi = u"http://www.w3.org/2001/XMLSchema-instance";
  // Any attribute of a top-level element whose value is the instance URI, in any case, switches
  // the document on; the tree stays as it was read.
  Doc a = Load(u"<r note=\"HTTP://WWW.W3.ORG/2001/xmlschema-INSTANCE\"/>");
  EXPECT_TRUE(a->GetUseSchemaInstance());
  EXPECT_EQ(a->GetXML(), u"<r note=\"HTTP://WWW.W3.ORG/2001/xmlschema-INSTANCE\" />");
  EXPECT_FALSE(
      Load(u"<r xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"/>")->GetUseSchemaInstance());
  // Deeper elements and loads into an element do not count.
  Doc b = Load(u"<r><c xmlns:xsi=\"" + xsi + u"\"/></r>");
  EXPECT_FALSE(b->GetUseSchemaInstance());
  b->GetRootNode()->SetInnerXML(u"<d v=\"" + xsi + u"\"/>");
  EXPECT_FALSE(b->GetUseSchemaInstance());
  // A further top-level element loaded into the document does.
  const std::string more = "<s v=\"http://www.w3.org/2001/XMLSchema-instance\"/>";
  TPointerStream s(more.data(), static_cast<Int64>(more.size()));
  b->LoadFromStream(&s, CP_UTF8);
  EXPECT_TRUE(b->GetUseSchemaInstance());

  // Switching on with the instance URI declared under another prefix adds no "xsi"; "xsd" is
  // written over whatever it held.
  Doc c = Load(u"<r xmlns:i=\"" + xsi + u"\" xmlns:xsd=\"urn:old\"/>");
  EXPECT_TRUE(c->GetUseSchemaInstance());
  c->SetUseSchemaInstance(true);
  EXPECT_EQ(c->GetXML(),
            u"<r xmlns:i=\"" + xsi + u"\" xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" />");
  // Without a root only the flag is stored; a later root gets no declarations.
  Doc e = Empty();
  e->SetUseSchemaInstance(true);
  EXPECT_TRUE(e->GetUseSchemaInstance());
  EXPECT_EQ(e->NodeCount(), 0);
  EXPECT_EQ(e->CreateRootNode(u"r")->GetXML(), u"<r />");
  // Switching off touches nothing.
  c->SetUseSchemaInstance(false);
  EXPECT_FALSE(c->GetUseSchemaInstance());
  EXPECT_EQ(c->GetRootNode()->AttributeCount(), 2);
}

TEST(XmlDocument, ReadElementsLinkTheirOwnDeclarations) {
  // Read into a detached element, every declaration of the element's URI is listed, and the
  // last one becomes its namespace.
  Owned holder(New<TVnDOMElement>());
  auto *e = static_cast<TVnDOMElement *>(holder.get());
  e->SetQualifiedName(u"e");
  e->SetInnerXML(u"<p:c xmlns:p=\"urn:x\" xmlns:q=\"urn:x\" xmlns:o=\"urn:other\"/>");
  TVnDOMElement *c = e->FirstElement();
  TVnDOMAttrList *ns = c->GetNamespaces();
  ASSERT_EQ(ns->Count(), 2);
  EXPECT_EQ(ns->GetItem(0)->GetQualifiedName(), u"xmlns:p");
  EXPECT_EQ(ns->GetItem(1)->GetQualifiedName(), u"xmlns:q");
  EXPECT_EQ(c->GetNamespace(), c->FindAttribute(u"xmlns:q"));
  EXPECT_EQ(c->GetNamespaceURI(), u"urn:x");
  // The link is live: the element follows the declaration it was given.
  c->FindAttribute(u"xmlns:q")->SetNodeValue(u"urn:y");
  EXPECT_EQ(c->GetNamespaceURI(), u"urn:y");

  // In a document the link survives the refresh of an element whose parent gives it its
  // namespace: both own declarations follow the inherited one.
  Doc d = Load(u"<r xmlns=\"urn:x\"><c xmlns:a=\"urn:x\" xmlns:b=\"urn:x\"/></r>");
  TVnDOMElement *dc = d->GetRootNode()->FirstElement();
  TVnDOMAttrList *dns = dc->GetNamespaces();
  ASSERT_EQ(dns->Count(), 3);
  EXPECT_EQ(dns->GetItem(0), d->GetRootNode()->FindAttribute(u"xmlns"));
  EXPECT_EQ(dns->GetItem(1)->GetQualifiedName(), u"xmlns:a");
  EXPECT_EQ(dns->GetItem(2)->GetQualifiedName(), u"xmlns:b");
  EXPECT_EQ(dc->GetNamespace(), dc->FindAttribute(u"xmlns:b"));
  EXPECT_EQ(d->GetXML(), u"<r xmlns=\"urn:x\"><c xmlns:a=\"urn:x\" xmlns:b=\"urn:x\" /></r>");
  // A top-level element is refreshed without a parent element to inherit from, and its prefix
  // picks its declaration again; both declarations stay listed.
  Doc t = Load(u"<p:r xmlns:p=\"urn:x\" xmlns:q=\"urn:x\"/>");
  TVnDOMElement *r = t->GetRootNode();
  ASSERT_EQ(r->GetNamespaces()->Count(), 2);
  EXPECT_EQ(r->GetNamespace(), r->FindAttribute(u"xmlns:p"));
}

// Sets DefaultPreserveCase for a scope and puts the old value back.
struct PreserveByDefault {
  bool Old = DefaultPreserveCase;
  explicit PreserveByDefault(bool AValue) { DefaultPreserveCase = AValue; }
  ~PreserveByDefault() { DefaultPreserveCase = Old; }
};

TEST(XmlDocument, WhiteSpaceOfLoadsIntoAnElement) {
  const UnicodeString xml = u"<a> <b>\t</b>\n</a>";
  {
    // An element made and loaded while white space is preserved by default keeps it.
    PreserveByDefault on(true);
    Owned holder(New<TVnDOMElement>());
    auto *e = static_cast<TVnDOMElement *>(holder.get());
    e->SetQualifiedName(u"e");
    e->SetInnerXML(xml);
    EXPECT_EQ(e->GetXML(), u"<e><a> <b>\t</b>\n</a></e>");
  }
  {
    PreserveByDefault off(false);
    Owned holder(New<TVnDOMElement>());
    auto *e = static_cast<TVnDOMElement *>(holder.get());
    e->SetQualifiedName(u"e");
    e->SetInnerXML(xml);
    EXPECT_EQ(e->GetXML(), u"<e><a><b /></a></e>");
    // The element keeps the setting it was made with: the new elements take it over.
    PreserveByDefault on(true);
    e->SetInnerXML(xml);
    EXPECT_EQ(e->GetXML(), u"<e><a><b /></a></e>");
  }
}

TEST(XmlDocument, SingleQuotedDeclarationKeepsItsData) {
  // The old value between double quotes is empty, so nothing in the data is replaced; the
  // document takes the new encoding all the same.
  Doc d = Load(u"<?xml version='1.0' encoding='UTF-16'?><a/>");
  d->SetEncoding(u"ISO-8859-1");
  EXPECT_EQ(d->GetProcessingInstruction(u"xml"), u"version='1.0' encoding='UTF-16'");
  EXPECT_EQ(d->GetEncoding(), u"ISO-8859-1");
  EXPECT_EQ(d->GetCodePage(), 28591);
  EXPECT_EQ(d->GetXML(), u"<?xml version='1.0' encoding='UTF-16'?><a />");
}

// An application's element class that counts the children attached to it.
class TCountingElement : public TVnDOMElement {
  VN_CLASS(TCountingElement, TVnDOMElement)
 public:
  using TVnDOMElement::AddChild;
  TVnDOMNode *AddChild(TVnDOMNode *ANode, TVnDOMNode *ARefNode = nullptr,
                       TVnDOMPosition APosition = rdpLast) override {
    ++Added;
    return TVnDOMElement::AddChild(ANode, ARefNode, APosition);
  }
  int Added = 0;
};

TEST(XmlDocument, LoadsAttachAsAddChildDoes) {
  // Lists by kind that exist before a load into their element take the loaded nodes too.
  Doc d = Load(u"<r><old/>t</r>");
  TVnDOMElement *r = d->GetRootNode();
  TVnDOMElementList *elements = r->GetElements();
  ASSERT_EQ(elements->Count(), 1);
  const std::string more = "<new a=\"1\">x</new>";
  TPointerStream s(more.data(), static_cast<Int64>(more.size()));
  r->LoadFromStream(&s, CP_UTF8);
  ASSERT_EQ(elements->Count(), 2);
  EXPECT_EQ(elements->GetItem(1)->GetLocalName(), u"new");
  EXPECT_EQ(r->FindElement(u"new")->GetAttribute(u"a"), u"1");
  EXPECT_EQ(d->GetXML(), u"<r><old />t<new a=\"1\">x</new></r>");

  // A loaded element takes the declarations in scope and the space setting of the element it is
  // loaded into: its prefix and its attributes' find their declarations there.
  Doc n = Load(u"<r xmlns:p=\"urn:p\" xml:space=\"preserve\"/>");
  TVnDOMElement *nr = n->GetRootNode();
  nr->SetInnerXML(u"<c p:a=\"v\"> <p:e/> </c>");
  TVnDOMElement *c = nr->FirstElement();
  EXPECT_EQ(c->GetNamespaceURI(), u"");
  EXPECT_EQ(c->FindAttribute(u"p:a")->GetNamespaceURI(), u"urn:p");
  EXPECT_EQ(c->FirstElement()->GetNamespaceURI(), u"urn:p");
  EXPECT_TRUE(c->GetPreserveSpace());
  EXPECT_EQ(c->NodeCount(), 4);
  EXPECT_EQ(c->FirstElement()->GetDOMDocument(), n.get());

  // An element of an application's class gets the calls for every child a load attaches to it.
  Owned holder(New<TCountingElement>());
  auto *counting = static_cast<TCountingElement *>(holder.get());
  counting->SetQualifiedName(u"e");
  const std::string children = "<a/>text<b/>";
  TPointerStream cs(children.data(), static_cast<Int64>(children.size()));
  counting->LoadFromStream(&cs, CP_UTF8);
  EXPECT_EQ(counting->Added, 3);
  EXPECT_EQ(counting->GetXML(), u"<e><a />text<b /></e>");
}

// The child lists that a load makes live beside its nodes; after the load they grow, shrink and
// move like any other, and outlive the document their elements leave.
TEST(XmlDocument, LoadedChildListsChangeAfterTheLoad) {
  Doc other = Load(u"<o/>");
  TVnDOMElement *c;
  {
    Doc d = Load(u"<r><a/><b/><c/></r>");
    TVnDOMElement *r = d->GetRootNode();
    std::u16string expected = u"<a /><b /><c />";
    for (int i = 0; i < 40; ++i) {
      r->AddElement(u"n" + IntToStr(i));
      expected += u"<n" + IntToStr(i) + u" />";
    }
    for (const char16_t *name : {u"b", u"n5", u"n39"}) {
      r->RemoveChild(r->FindElement(name));
      const std::u16string tag = u"<" + std::u16string(name) + u" />";
      expected.erase(expected.find(tag), tag.size());
    }
    EXPECT_EQ(d->GetXML(), u"<r>" + expected + u"</r>");

    // An element of the load taken into another document keeps its loaded children there.
    c = r->FindElement(u"c");
    c->SetInnerXML(u"<x/><y/>");
    other->GetRootNode()->AppendChild(c);
  }
  c->AddElement(u"z");
  EXPECT_EQ(other->GetXML(), u"<o><c><x /><y /><z /></c></o>");
}

}  // namespace
}  // namespace domxml
