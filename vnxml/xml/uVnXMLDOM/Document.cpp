// TVnDOMDocument: settings, the root, processing instructions and the "xml" instruction, and the
// load and save entry points.
#include <memory>

#include "vnxml/xml/uVnXMLDOM/Internal.h"

namespace vn {

namespace {

// The value of the encoding pseudo-attribute as the sniffer reads it: the text after
// "encoding", after its first double quote, before the next one, trimmed. Only double quotes
// count: a value in single quotes reads as empty. AFound tells whether "encoding" was there.
UnicodeString EncodingValue(const UnicodeString &AText, bool &AFound) {
  const UnicodeString lower = LowerCase(AText);
  const std::size_t at = lower.find(u"encoding");
  AFound = at != UnicodeString::npos;
  if (!AFound) return UnicodeString();
  UnicodeStringView rest = UnicodeStringView(AText).substr(at + 8);
  const std::size_t q1 = rest.find(u'"');
  if (q1 != UnicodeStringView::npos) rest = rest.substr(q1 + 1);
  const std::size_t q2 = rest.find(u'"');
  if (q2 == UnicodeStringView::npos) return UnicodeString();
  return Trim(rest.substr(0, q2));
}

template <class F>
TVnDOMDocument *Construct(F AInit) {
  auto *doc = New<TVnDOMDocument>();
  try {
    AInit(doc);
  } catch (...) {
    doc->Free();
    throw;
  }
  return doc;
}

}  // namespace

TVnDOMDocument::TVnDOMDocument()
    : FCollation(DefaultXPathCollation),
      FSelectMatchOption(DefaultSelectMatchOption),
      FSelectCheckOption(DefaultSelectCheckOption) {
  FNodeType = ntDocument;
  FName = TVnDOMNameRef(TVnDOMName::Fixed(ntDocument));
  FDOMDocument = this;
}

TVnDOMDocument *TVnDOMDocument::CreateFromXML(const UnicodeString &AXML) {
  return Construct([&](TVnDOMDocument *d) { d->LoadFromXML(AXML); });
}

TVnDOMDocument *TVnDOMDocument::CreateFromFile(const UnicodeString &AFileName, Word AMode) {
  return Construct([&](TVnDOMDocument *d) { d->LoadFromFile(AFileName, AMode); });
}

TVnDOMDocument *TVnDOMDocument::CreateFromStream(TStream *AStream, Word ACodePage) {
  return Construct([&](TVnDOMDocument *d) { d->LoadFromStream(AStream, ACodePage); });
}

TVnDOMDocument *TVnDOMDocument::CreateFromJSON(const UnicodeString &AJSON) {
  // The text goes in as UTF-16; the load picks its reader by the first character, so XML text
  // loads too.
  TPointerStream stream(AJSON.data(), static_cast<Int64>(AJSON.size() * sizeof(char16_t)));
  return CreateFromStream(&stream, CP_UTF16);
}

// --- settings

void TVnDOMDocument::SetCaseSensitive(bool AValue) {
  if (!AValue) {
    FCollation = TVnXPathCollationASCIICI::StaticClass();
  } else if (FCollation == TVnXPathCollationASCIICI::StaticClass()) {
    FCollation = TVnXPathCollationCodepoint::StaticClass();
  }
}

void TVnDOMDocument::SetUseSchemaInstance(bool AValue) {
  FUseSchemaInstance = AValue;
  if (!AValue || !FRootNode) return;
  if (!FRootNode->FindNamespace(dom::cXSINamespace)) {
    FRootNode->SetAttribute(u"xmlns:xsi", dom::cXSINamespace);
  }
  // The URI looked for carries a stray "-", so that the declaration is always (re)written.
  if (!FRootNode->FindNamespace(UnicodeString(dom::cXSDNamespace) + u"-")) {
    FRootNode->SetAttribute(u"xmlns:xsd", dom::cXSDNamespace);
  }
}

UnicodeString TVnDOMDocument::GetEncoding() const {
  return FEncoding.empty() ? UnicodeString(u"UTF-8") : FEncoding;
}

void TVnDOMDocument::SetCodePage(Word ACodePage) {
  FCodePage = ACodePage;
  FEncoding = VnCodePage(ACodePage);
}

void TVnDOMDocument::SetEncoding(const UnicodeString &AEncoding) {
  if (AEncoding.empty()) {
    FCodePage = CP_UTF8;
    FEncoding = u"UTF-8";
  } else {
    FCodePage = VnCodePage(AEncoding);
    FEncoding = AEncoding;
  }
  TVnDOMProcessingInstruction *pi = FindProcessingInstruction(u"xml");
  if (!pi) {
    pi = New<TVnDOMProcessingInstruction>();
    pi->SetQualifiedName(u"xml");
    pi->SetData(Format(u"version=\"1.0\" encoding=\"%s\"", {FEncoding}));
    AddChild(pi, nullptr, rdpFirst);
    return;
  }
  bool found = false;
  const UnicodeString old = EncodingValue(pi->GetData(), found);
  if (found) {
    if (!old.empty()) pi->SetData(StringReplace(pi->GetData(), old, FEncoding, false, true));
  } else {
    pi->SetData(Trim(pi->GetData() + u' ' + Format(u"encoding=\"%s\"", {FEncoding})));
  }
}

void TVnDOMDocument::ReCalcEncoding() {
  FEncoding = u"UTF-8";
  TVnDOMProcessingInstruction *pi = FindProcessingInstruction(u"xml");
  if (!pi) return;
  bool found = false;
  const UnicodeString value = EncodingValue(pi->GetData(), found);
  if (found) FEncoding = LowerCase(value);
}

// --- root and children

TVnDOMElement *TVnDOMDocument::CreateRootNode(const UnicodeString &AName) {
  if (FRootNode || FRootLeft) throw EVnDomException(dom::cHasRoot);
  auto *e = dom::NewNode<TVnDOMElement>([&](auto *n) { n->SetQualifiedName(AName); });
  AppendChild(e);
  return e;
}

TVnDOMElement *TVnDOMDocument::CreateRootNode(const UnicodeString &ANamespaceURI,
                                              const UnicodeString &AName) {
  TVnDOMElement *e = CreateRootNode(AName);
  e->SetAttribute(dom::DeclarationName(e->GetPrefix()), ANamespaceURI);
  return e;
}

TVnDOMNode *TVnDOMDocument::AppendChild(TVnDOMNode *ANode) {
  TVnDOMNode *r = TVnDOMNode::AppendChild(ANode);
  if (!FRootNode && !FRootLeft && ANode->GetNodeType() == ntElement)
    FRootNode = static_cast<TVnDOMElement *>(ANode);
  return r;
}

void TVnDOMDocument::RootLeaving(TVnDOMNode *ANode) {
  if (!ANode || ANode != FRootNode) return;
  FRootLeft = true;
  // A node is the departed root of one document at a time: an earlier one lets go of it.
  TVnDOMDocument *earlier = ANode->DepartedRootOf();
  if (earlier && earlier != this) earlier->FRootNode = nullptr;
  ANode->SetDepartedRootOf(this);
}

void TVnDOMDocument::ForgetRoot() noexcept {
  if (FRootLeft && FRootNode && FRootNode->DepartedRootOf() == this)
    FRootNode->SetDepartedRootOf(nullptr);
  FRootNode = nullptr;
  FRootLeft = false;
}

TVnDOMDocument::~TVnDOMDocument() {
  ForgetRoot();
}

void TVnDOMDocument::ChildTakenOut(TVnDOMNode *AChild) {
  RootLeaving(AChild);
  TVnDOMNode::ChildTakenOut(AChild);
}

void TVnDOMDocument::RemoveChild(TVnDOMNode *ANode) {
  RootLeaving(ANode);
  TVnDOMNode::RemoveChild(ANode);
}

void TVnDOMDocument::SetDocumentElement(TVnDOMElement *AElement) {
  TVnDOMChangeScope scope;
  if (FRootNode && FRootNode->ParentNode() == this) RemoveChild(FRootNode);
  ForgetRoot();
  if (AElement) AppendChild(AElement);
}

TVnDOMComment *TVnDOMDocument::AddComment(const UnicodeString &AText) {
  auto *c = New<TVnDOMComment>();
  AppendChild(c);
  c->SetNodeValue(AText);
  return c;
}

void TVnDOMDocument::Clear() {
  TVnDOMNode::Clear();
  ForgetRoot();
}

TVnDOMNode *TVnDOMDocument::CreateClone() {
  throw EVnDomNotSupported(dom::cNoDocClone);
}

// --- processing instructions

TVnDOMProcessingInstruction *TVnDOMDocument::FindProcessingInstruction(
    const UnicodeString &ATarget) {
  for (TVnDOMNode *n : FChildren) {
    if (n->GetNodeType() == ntProcessingInstruction && VnSameText(n->GetQualifiedName(), ATarget))
      return static_cast<TVnDOMProcessingInstruction *>(n);
  }
  return nullptr;
}

UnicodeString TVnDOMDocument::GetProcessingInstruction(const UnicodeString &ATarget) {
  TVnDOMProcessingInstruction *pi = FindProcessingInstruction(ATarget);
  if (!pi) throw EVnDomNotFound(dom::cNoPI, {ATarget});
  return pi->GetData();
}

void TVnDOMDocument::SetProcessingInstruction(const UnicodeString &ATarget,
                                              const UnicodeString &AData) {
  const bool xml = VnSameText(ATarget, u"xml");
  TVnDOMProcessingInstruction *pi = FindProcessingInstruction(ATarget);
  if (!pi) {
    pi = dom::NewNode<TVnDOMProcessingInstruction>([&](auto *n) { n->SetQualifiedName(ATarget); });
    TVnDOMProcessingInstruction *decl = xml ? nullptr : FindProcessingInstruction(u"xml");
    if (decl) {
      AddChild(pi, decl, rdpAfter);
    } else {
      AddChild(pi, nullptr, rdpFirst);
    }
  }
  pi->SetData(AData);
  if (xml) ReCalcEncoding();
}

// --- loading

void TVnDOMDocument::LoadCleared(TStream *AStream, Word ACodePage) {
  FLoadState = lsLoading;
  try {
    AStream->SetPosition(0);
    dom::ParseInto(this, AStream, ACodePage);
  } catch (...) {
    FLoadState = lsLoaded;
    throw;
  }
  FLoadState = lsLoaded;
  DoXMLLoaded();
}

void TVnDOMDocument::LoadFromXML(const UnicodeString &AXML) {
  Clear();
  if (AXML.empty()) return;
  TVnStringStream s(AXML);
  LoadCleared(&s, CP_UTF16);
}

void TVnDOMDocument::LoadFromXML(const AnsiString &AXML) {
  Clear();
  TVnStringStream s(AXML, 0);
  LoadCleared(&s, 0);
}

void TVnDOMDocument::LoadFromUTF8(std::string_view AXML) {
  Clear();
  // The reader picks XML or JSON by the first byte, so a byte-order mark goes first.
  if (AXML.starts_with(std::string_view(reinterpret_cast<const char *>(cVnUTF8), 3)))
    AXML.remove_prefix(3);
  if (AXML.empty()) return;
  // The caller's bytes are read where they stand.
  TPointerStream s(AXML.data(), static_cast<Int64>(AXML.size()));
  LoadCleared(&s, CP_UTF8);
}

TVnDOMDocument *TVnDOMDocument::CreateFromUTF8(std::string_view AXML) {
  return Construct([&](TVnDOMDocument *d) { d->LoadFromUTF8(AXML); });
}

void TVnDOMDocument::LoadXML(const UnicodeString &AFileName, Word AMode) {
  TFileStream f(AFileName, AMode);
  LoadFromStream(&f);
}

void TVnDOMDocument::LoadFromFile(const UnicodeString &AFileName, Word AMode) {
  LoadXML(AFileName, AMode);
  FDocumentURI = AFileName;
}

void TVnDOMDocument::LoadFromStream(TStream *AStream) {
  FLoadState = lsLoading;
  try {
    Word cp = VnGetCodePage(AStream);
    const char16_t first = dom::SkipToFirstUnit(AStream, cp);
    const Int64 start = AStream->GetPosition();
    if (cp == 0 && first == u'<') {
      cp = CP_UTF8;
      // The declaration, if any, stands before the first ">" within the first 1025 characters.
      std::string head;
      Byte b = 0;
      while (head.size() < 1025 && AStream->Read(&b, 1) == 1) {
        head.push_back(static_cast<char>(b));
        if (b == '>') break;
      }
      bool found = false;
      const UnicodeString name =
          EncodingValue(TVnEncoding::ConvertA(RawByteString(head), CP_UTF8), found);
      // A name the sniffer cannot read (single quotes give an empty one) leaves the page to the
      // reader, which reads the declaration itself.
      if (found) cp = name.empty() ? 0 : VnCodePage(name);
      AStream->SetPosition(start);
    } else if (cp == 0) {
      cp = CP_UTF8;
    }
    dom::ParseInto(this, AStream, cp);
  } catch (...) {
    FLoadState = lsLoaded;
    throw;
  }
  FLoadState = lsLoaded;
  DoXMLLoaded();
}

void TVnDOMDocument::LoadFromStream(TStream *AStream, Word ACodePage) {
  dom::ParseInto(this, AStream, ACodePage);
  DoXMLLoaded();
}

// --- saving

void TVnDOMDocument::SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted,
                                  bool AWriteBOM) {
  if (AWriteBOM) {
    if (ACodePage == CP_UTF16) {
      AStream->Write(cVnUTF16LE, 2);
    } else if (ACodePage == CP_UTF8) {
      AStream->Write(cVnUTF8, 3);
    }
  }
  TVnDOMNode::SaveToStream(AStream, ACodePage, AFormatted);
}

void TVnDOMDocument::SaveToStream(TStream *AStream, bool AFormatted, bool AWriteBOM) {
  SaveToStream(AStream, VnCodePage(GetEncoding()), AFormatted, AWriteBOM);
}

void TVnDOMDocument::SaveToFile(const UnicodeString &AFileName, bool AFormatted, bool AWriteBOM) {
  TFileStream f(AFileName, fmCreate);
  SaveToStream(&f, AFormatted, AWriteBOM);
}

TVnDOMObjectImpl *TVnDOMDocument::CreateDOMImpl(TVnDOMObject *AOwner) {
  return New<TVnDOMDocumentImpl>(AOwner);
}

void TVnDOMDocumentImpl::LoadFromStream(TStream *, Word) {
  throw EVnDomNotSupported(dom::cDocLoad);
}

void TVnDOMDocumentImpl::SaveToStream(TStream *, Word, bool) {
  throw EVnDomNotSupported(dom::cDocSave);
}

}  // namespace vn
