// TVnSAXReader: the entry points, the locator and the failure rule that every reader shares.
#include "vnxml/xml/uVnSAX.h"

namespace vn {

TVnSAXReader::TVnSAXReader() {
  SetAutoDestroy(false);
  FEmptyAttributes = New<TVnSAXXMAttributes>();
}

TVnSAXReader::~TVnSAXReader() {
  Free(FEmptyAttributes);
}

// ---------------------------------------------------------------------------------------------
// Locator

Integer TVnSAXReader::GetPosition() {
  ResolveLocation();
  return FParser ? FParser->GetPosition() : -1;
}

Integer TVnSAXReader::GetLineNr() {
  ResolveLocation();
  if (FUnexpectedEOF) return FLineNr;
  return FParser ? FParser->GetLineNr() : -1;
}

Integer TVnSAXReader::GetColNr() {
  ResolveLocation();
  if (FUnexpectedEOF) return FColNr;
  return FParser ? FParser->GetColNr() : -1;
}

// ---------------------------------------------------------------------------------------------
// Features and properties: none are known; settings are accepted and ignored.

bool TVnSAXReader::GetFeature(const UnicodeString &) {
  return false;
}

Variant TVnSAXReader::GetProperty(const UnicodeString &) {
  return Variant::Null();
}

void TVnSAXReader::SetFeature(const UnicodeString &, bool) {}

void TVnSAXReader::SetProperty(const UnicodeString &, const Variant &) {}

// ---------------------------------------------------------------------------------------------
// Entry points

void TVnSAXReader::Run(TStream *AStream, bool AReadBOM, Word ACodePage) {
  if (FParsing) throw EInvalidOperation(u"The reader is already parsing a document");
  FParsing = true;
  // Whatever happens, the scanner goes with the parse.
  struct TScope {
    TVnSAXReader *R;
    ~TScope() {
      TVnTextParser *p = R->FParser;
      R->FParser = nullptr;
      Free(p);
      R->FHeldContent = nullptr;
      R->FParsing = false;
    }
  } scope{this};
  FParser = CreateParser(AStream, false, AReadBOM, ACodePage);
  InternalParse();
}

void TVnSAXReader::ParseStream(TStream *AStream, Word AStreamCodePage,
                               const VnXMLString &APublicID) {
  FPublicID = APublicID;
  Run(AStream, false, AStreamCodePage);
}

void TVnSAXReader::ParseFile(const UnicodeString &AFileName, Word AMode,
                             const VnXMLString &APublicID) {
  FPublicID = APublicID;
  if (FParsing) throw EInvalidOperation(u"The reader is already parsing a document");
  std::unique_ptr<TFileStream, void (*)(TFileStream *)> stream(New<TFileStream>(AFileName, AMode),
                                                               [](TFileStream *s) { s->Free(); });
  Run(stream.get(), true, 0);
}

void TVnSAXReader::ParseBuffer(const void *ABuffer, Cardinal ABufSize, Word ACodePage,
                               const VnXMLString &APublicID) {
  FPublicID = APublicID;
  TPointerStream stream(ABuffer, ABuffer ? ABufSize : 0);
  Run(&stream, false, ACodePage);
}

void TVnSAXReader::Parse(const UnicodeString &AXML, const VnXMLString &APublicID) {
  FPublicID = APublicID;
  TPointerStream stream(AXML.data(), static_cast<Int64>(AXML.size() * sizeof(char16_t)));
  Run(&stream, false, CP_UTF16);
}

void TVnSAXReader::Parse(const AnsiString &AXML, Word ACodePage, const VnXMLString &APublicID) {
  FPublicID = APublicID;
  TPointerStream stream(AXML.data(), static_cast<Int64>(AXML.size()));
  Run(&stream, false, ACodePage);
}

// ---------------------------------------------------------------------------------------------
// The failure rule

void TVnSAXReader::NotifyFatalError() {
  UnicodeString message;
  bool eof = false;
  try {
    throw;
  } catch (const Exception &E) {
    message = E.Message;
    eof = E.Is<EVnTextParserEOF>();
  } catch (const std::exception &E) {
    message = UTF8ToString(E.what());
  } catch (...) {
  }
  FUnexpectedEOF = eof;
  ResolveLocation();
  if (DelphiInterface<IVnSAXErrorHandler> h = FErrorHandler)
    h->FatalError(static_cast<IVnSAXLocator *>(this), message);
}

// ---------------------------------------------------------------------------------------------
// TVnSAXHandler

void TVnSAXHandler::AttachTo(IVnSAXXMLReader *AReader) {
  AReader->SetContentHandler(this);
  AReader->SetLexicalHandler(this);
  AReader->SetErrorHandler(this);
}

}  // namespace vn
