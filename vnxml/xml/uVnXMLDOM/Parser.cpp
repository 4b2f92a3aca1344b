// TVnDOMParser: the SAX consumer that builds a tree under a node.
#include <cstdint>
#include <cstring>
#include <iterator>

#include "vnxml/xml/uVnXMLDOM/Internal.h"

namespace vn {

namespace dom {

void ParseInto(TVnDOMNode *ANode, TStream *AStream, Word ACodePage) {
  DelphiInterface<IVnSAXContentHandler> keep;
  auto *parser = New<TVnDOMParser>(ANode);
  keep = parser;
  parser->OnParseWarning = [ANode](IVnSAXLocator *L, const UnicodeString &M, bool &H) {
    ANode->DoDOMParseWarning(L, M, H);
  };
  parser->OnParseError = [ANode](IVnSAXLocator *L, const UnicodeString &M, bool &H) {
    ANode->DoDOMParseError(L, M, H);
  };
  parser->OnParseFatalError = [ANode](IVnSAXLocator *L, const UnicodeString &M, bool &H) {
    ANode->DoDOMParseFatalError(L, M, H);
  };
  parser->Parse(AStream, ACodePage);
}

char16_t SkipToFirstUnit(TStream *AStream, Word ACodePage) {
  const Integer width = ACodePage == CP_UTF16 ? 2 : 1;
  Byte unit[2] = {0, 0};
  while (AStream->Read(unit, width) == width) {
    const char16_t ch = width == 2 ? static_cast<char16_t>(unit[0] | (unit[1] << 8)) : unit[0];
    if (ch >= 33) {
      AStream->Seek(-width, soCurrent);
      return ch;
    }
  }
  return 0;
}

}  // namespace dom

void TVnDOMParser::Parse(TStream *AStream, Word ACodePage) {
  if (!AStream) throw EArgumentNilException(dom::cNilStream);
  // Any node loads from JSON as well: the first character above a blank decides.
  TVnNodePages pages;
  TVnSAXReader *reader;
  if (dom::SkipToFirstUnit(AStream, ACodePage) == u'<') {
    auto *xml = New<TVnSAXXMLReader>();
    xml->SetSingleRoot(FDOMNode->GetNodeType() == ntDocument);
    reader = xml;
  } else {
    reader = New<TVnSAXJSONReader>();
  }
  try {
    reader->SetErrorHandler(this);
    reader->SetLexicalHandler(this);
    reader->SetContentHandler(this);
    reader->ParseStream(AStream, ACodePage);
  } catch (...) {
    FLocator = nullptr;
    reader->Free();
    throw;
  }
  FLocator = nullptr;
  reader->Free();
}

TVnDOMParser::~TVnDOMParser() {
  for (auto &entry : FNames) entry.second->Release();
}

TVnDOMName *TVnDOMParser::NameOf(const VnXMLString &AQName) {
  const std::size_t n = AQName.size();
  const char16_t *text = AQName.data();
  // The length and the first, middle and last units pick the slot: the names of a document
  // (member names of JSON above all) mostly differ in one of those.
  std::size_t h = n;
  if (n != 0) h = ((h * 31 + text[0]) * 31 + text[n / 2]) * 31 + text[n - 1];
  TVnDOMName *&recent = FRecent[(h ^ (h >> 8)) & (std::size(FRecent) - 1)];
  TVnDOMName *name = recent;
  // Compared four units at a time in place: the string's own comparison of 16-bit text goes
  // unit by unit, and a call of memcmp costs more than the short names it would compare.
  const auto same = [text, n](const UnicodeString &AName) {
    if (AName.size() != n) return false;
    const char16_t *other = AName.data();
    std::size_t i = 0;
    for (; i + 4 <= n; i += 4) {
      std::uint64_t a, b;
      std::memcpy(&a, text + i, sizeof a);
      std::memcpy(&b, other + i, sizeof b);
      if (a != b) return false;
    }
    for (; i < n; ++i)
      if (text[i] != other[i]) return false;
    return true;
  };
  if (!name || !same(name->QualifiedName())) {
    auto it = FNames.find(AQName);
    if (it == FNames.end()) {
      name = TVnDOMName::MakeQualified(AQName);
      try {
        it = FNames.emplace(AQName, name).first;
      } catch (...) {
        name->Release();
        throw;
      }
    }
    name = recent = it->second;
  }
  name->AddRef();
  return name;
}

void TVnDOMParser::AppendNew(TVnDOMNode *ATarget, TVnDOMNode *ANode) {
  try {
    if (!TVnDOMNode::AppendFresh(ATarget, ANode)) ATarget->AppendChild(ANode);
  } catch (...) {
    if (!ANode->GetParent()) ANode->Free();
    throw;
  }
}

TVnDOMNode *TVnDOMParser::Target() const {
  // An end tag without its start tag, in text loaded into a node, climbs above where the load
  // began; past the top there is nothing left to build on.
  if (!FDOMNode) throw EVnDomHierarchyRequest(dom::cNoTarget);
  return FDOMNode;
}

TVnDOMElement *TVnDOMParser::CurrentElement() const {
  return As<TVnDOMElement>(Target());
}

void TVnDOMParser::StartElement(const VnXMLString &ANamespaceURI, const VnXMLString &,
                                const VnXMLString &AQName, IVnSAXAttributes *AAttributes) {
  TVnDOMNode *target = Target();
  auto *e = New<TVnDOMElement>();
  try {
    e->AdoptName(NameOf(AQName));
    if (AAttributes) {
      for (PVnSAXXMAttribute a = AAttributes->FirstAttribute(); a; a = a->Next) {
        auto *attr = New<TVnDOMAttribute>();
        try {
          attr->AdoptName(NameOf(a->QName));
          attr->SetStoredValue(a->Value);
          TVnDOMNode::AddFreshAttribute(e, attr);
        } catch (...) {
          if (!attr->GetParent()) attr->Free();
          throw;
        }
        // The namespace shortcut: the declaration of the element's own URI is linked at once.
        if (attr->IsNamespace() && attr->GetNodeValue() == ANamespaceURI) {
          e->FNamespace = attr;
          e->SetStoredNamespaceURI(ANamespaceURI);
          e->FNamespaceSet = true;
          e->GetNamespaces()->Add(attr, rdpLast);
        }
      }
    }
  } catch (...) {
    e->Free();
    throw;
  }
  AppendNew(target, e);
  if (target->GetNodeType() == ntDocument && AAttributes) {
    for (PVnSAXXMAttribute a = AAttributes->FirstAttribute(); a; a = a->Next) {
      if (VnSameText(a->Value, dom::cXSINamespace)) {
        static_cast<TVnDOMDocument *>(target)->FUseSchemaInstance = true;
      }
    }
  }
  FDOMNode = e;
}

void TVnDOMParser::EndElement(const VnXMLString &, const VnXMLString &, const VnXMLString &) {
  FDOMNode = Target()->ParentNode();
}

void TVnDOMParser::Characters(const VnXMLString &AText) {
  TVnDOMElement *e = CurrentElement();
  if (FInCDATA) {
    e->AddCDATA(AText);
    return;
  }
  auto *t = New<TVnDOMText>();
  t->SetStoredValue(AText);
  AppendNew(e, t);
}

void TVnDOMParser::IgnorableWhitespace(const VnXMLString &AText) {
  if (Target()->GetPreserveSpace()) Characters(AText);
}

void TVnDOMParser::ProcessingInstruction(const VnXMLString &ATarget, const VnXMLString &AData) {
  TVnDOMNode *target = Target();
  auto *pi = New<TVnDOMProcessingInstruction>();
  AppendNew(target, pi);
  pi->SetQualifiedName(ATarget);
  pi->SetData(AData);
}

void TVnDOMParser::Comment(const VnXMLString &AText) {
  TVnDOMNode *target = Target();
  auto *c = New<TVnDOMComment>();
  AppendNew(target, c);
  c->SetNodeValue(AText);
}

void TVnDOMParser::Warning(IVnSAXLocator *ALocator, const VnXMLString &AMessage) {
  bool handled = false;
  if (OnParseWarning) OnParseWarning(ALocator, AMessage, handled);
}

void TVnDOMParser::Error(IVnSAXLocator *ALocator, const VnXMLString &AMessage) {
  bool handled = false;
  if (OnParseError) OnParseError(ALocator, AMessage, handled);
}

void TVnDOMParser::FatalError(IVnSAXLocator *ALocator, const VnXMLString &AMessage) {
  bool handled = false;
  if (OnParseFatalError) OnParseFatalError(ALocator, AMessage, handled);
  if (handled) return;
  IVnSAXLocator *loc = ALocator ? ALocator : static_cast<IVnSAXLocator *>(FLocator);
  const Integer line = loc ? loc->GetLineNr() : -1;
  const Integer col = loc ? loc->GetColNr() : -1;
  throw EVnDomSyntax(dom::cParseFatal, {line, col, AMessage});
}

}  // namespace vn
