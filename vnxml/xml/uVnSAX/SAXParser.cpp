// TVnSAXParser: the readers as a component with events.
#include <memory>

#include "vnxml/xml/uVnSAX.h"

namespace vn {

TVnSAXParser::TVnSAXParser(TComponent *AOwner) : TComponent(AOwner) {}

TVnSAXParser::~TVnSAXParser() {
  if (FReader) {
    TVnSAXReader *r = FReader;
    FReader = nullptr;
    r->Free();
  }
  FLocator = nullptr;
}

template <class F>
void TVnSAXParser::Notified(F &&AParse) {
  if (OnStart) OnStart(this);
  AParse();
  if (OnFinished) OnFinished(this);
}

void TVnSAXParser::ParseStream(TStream *AStream, Word AStreamCodePage,
                               const VnXMLString &APublicID) {
  Notified([&] {
    if (!AStream) throw EArgumentNilException(u"The stream is nil");
    // The first unit above U+0020 chooses the reader; the stream is left on it (or, at the
    // end, one unit back).
    const Integer width = AStreamCodePage == CP_UTF16 ? 2 : 1;
    Byte unit[2] = {0, 0};
    char16_t code = 0;
    bool read = false;
    while (AStream->Read(unit, width) == width) {
      read = true;
      code = width == 2 ? static_cast<char16_t>(unit[0] | (unit[1] << 8)) : unit[0];
      if (code >= 33) break;
    }
    if (read) AStream->Seek(-width, soCurrent);
    TVnSAXReader *reader;
    if (code == u'<')
      reader = New<TVnSAXXMLReader>();
    else
      reader = New<TVnSAXJSONReader>();
    FReader = reader;
    struct TRelease {
      TVnSAXParser *P;
      ~TRelease() {
        TVnSAXReader *r = P->FReader;
        P->FReader = nullptr;
        if (r) {
          r->SetContentHandler(nullptr);
          r->SetLexicalHandler(nullptr);
          r->SetErrorHandler(nullptr);
          r->Free();
        }
      }
    } release{this};
    reader->SetErrorHandler(this);
    reader->SetLexicalHandler(this);
    reader->SetContentHandler(this);
    reader->ParseStream(AStream, AStreamCodePage, APublicID);
  });
}

void TVnSAXParser::ParseFile(const UnicodeString &AFileName, Word AMode,
                             const VnXMLString &APublicID) {
  Notified([&] {
    std::unique_ptr<TFileStream, void (*)(TFileStream *)> stream(New<TFileStream>(AFileName, AMode),
                                                                 [](TFileStream *s) { s->Free(); });
    const Word page = VnGetCodePage(stream.get());
    ParseStream(stream.get(), page, APublicID);
  });
}

void TVnSAXParser::ParseBuffer(const void *ABuffer, Cardinal ABufSize, Word AStreamCodePage,
                               const VnXMLString &APublicID) {
  Notified([&] {
    TPointerStream stream(ABuffer, ABuffer ? ABufSize : 0);
    ParseStream(&stream, AStreamCodePage, APublicID);
  });
}

void TVnSAXParser::Parse(const UnicodeString &AXML, const VnXMLString &APublicID) {
  Notified([&] {
    TPointerStream stream(AXML.data(), static_cast<Int64>(AXML.size() * sizeof(char16_t)));
    ParseStream(&stream, CP_UTF16, APublicID);
  });
}

void TVnSAXParser::Parse(const AnsiString &AXML, Word ACodePage, const VnXMLString &APublicID) {
  Notified([&] {
    TPointerStream stream(AXML.data(), static_cast<Int64>(AXML.size()));
    ParseStream(&stream, ACodePage, APublicID);
  });
}

// --- handlers: each calls its event when one is assigned

void TVnSAXParser::Warning(IVnSAXLocator *ALocator, const VnXMLString &AMessage) {
  if (OnWarning) OnWarning(ALocator, AMessage);
}
void TVnSAXParser::Error(IVnSAXLocator *ALocator, const VnXMLString &AMessage) {
  if (OnError) OnError(ALocator, AMessage);
}
void TVnSAXParser::FatalError(IVnSAXLocator *ALocator, const VnXMLString &AMessage) {
  if (OnFatalError) OnFatalError(ALocator, AMessage);
}
void TVnSAXParser::SetDocumentLocator(IVnSAXLocator *ALocator) {
  FLocator = ALocator;
}
void TVnSAXParser::Characters(const VnXMLString &AText) {
  if (OnCharacters) OnCharacters(this, AText);
}
void TVnSAXParser::EndDocument() {
  if (OnEndDocument) OnEndDocument(this);
}
void TVnSAXParser::EndElement(const VnXMLString &ANamespaceURI, const VnXMLString &ALocalName,
                              const VnXMLString &AQName) {
  if (OnEndElement) OnEndElement(this, ANamespaceURI, ALocalName, AQName);
}
void TVnSAXParser::EndPrefixMapping(const VnXMLString &APrefix) {
  if (OnEndPrefixMapping) OnEndPrefixMapping(this, APrefix);
}
void TVnSAXParser::IgnorableWhitespace(const VnXMLString &AWhiteSpace) {
  if (OnIgnorableWhitespace) OnIgnorableWhitespace(this, AWhiteSpace);
}
void TVnSAXParser::ProcessingInstruction(const VnXMLString &ATarget, const VnXMLString &AData) {
  if (OnProcessingInstruction) OnProcessingInstruction(this, ATarget, AData);
}
void TVnSAXParser::StartDocument() {
  if (OnStartDocument) OnStartDocument(this);
}
void TVnSAXParser::StartElement(const VnXMLString &ANamespaceURI, const VnXMLString &ALocalName,
                                const VnXMLString &AQName, IVnSAXAttributes *AAttributes) {
  if (OnStartElement) OnStartElement(this, ANamespaceURI, ALocalName, AQName, AAttributes);
}
void TVnSAXParser::StartPrefixMapping(const VnXMLString &APrefix, const VnXMLString &AURI) {
  if (OnStartPrefixMapping) OnStartPrefixMapping(this, APrefix, AURI);
}
void TVnSAXParser::Comment(const VnXMLString &AText) {
  if (OnComment) OnComment(this, AText);
}
void TVnSAXParser::StartCDATA() {
  if (OnStartCDATA) OnStartCDATA(this);
}
void TVnSAXParser::StartDTD() {
  if (OnStartDTD) OnStartDTD(this);
}
void TVnSAXParser::EndCDATA() {
  if (OnEndCDATA) OnEndCDATA(this);
}
void TVnSAXParser::EndDTD() {
  if (OnEndDTD) OnEndDTD(this);
}

}  // namespace vn
