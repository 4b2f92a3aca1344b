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
  // A root removed through RemoveChild is forgotten, so that no pointer outlives it.
  TVnDOMElement *root = d->CreateRootNode(u"x");
  d->RemoveChild(root);
  EXPECT_EQ(d->GetRootNode(), nullptr);
  EXPECT_EQ(d->CreateRootNode(u"y")->GetXML(), u"<y />");
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
  // Text that does not begin with "<" would be JSON, which this build cannot read.
  EXPECT_THROW(Sniff("  {\"a\":1}"), EVnDomNotSupported);
  EXPECT_THROW(TVnDOMDocument::CreateFromJSON(u"{}"), EVnDomNotSupported);
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

}  // namespace
}  // namespace domxml
