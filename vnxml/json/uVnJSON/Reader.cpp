// TVnJSONReader: the entry points, the locator and the grammar of JSON text as it is read;
// TVnJSONParser: the reader as a component with events.
#include <cassert>

#include "vnxml/json/uVnJSON/Internal.h"
#include "vnxml/rtl/Owned.h"

namespace vn {

namespace {

enum TFrame : Byte { frObject, frArray };

}  // namespace

TVnJSONReader::TVnJSONReader()
    : FPublicID(IntToStr(static_cast<Int64>(reinterpret_cast<NativeUInt>(this)))) {
  SetAutoDestroy(false);
}

TVnJSONReader::~TVnJSONReader() = default;

// ---------------------------------------------------------------------------------------------
// Locator

Integer TVnJSONReader::GetLineNr() {
  if (FUnexpectedEOF) return FLineNr;
  return FParser ? FParser->GetLineNr() : -1;
}

Integer TVnJSONReader::GetColNr() {
  if (FUnexpectedEOF) return FColNr;
  return FParser ? FParser->GetColNr() : -1;
}

// ---------------------------------------------------------------------------------------------
// Entry points

void TVnJSONReader::Run(TVnJSONTextParser *AParser, const VnJSONString &APublicID) {
  struct TScope {
    TVnJSONReader *R;
    TVnJSONTextParser *P;
    ~TScope() {
      if (R->FParser == P) R->FParser = nullptr;
      Free(P);
    }
  } scope{this, AParser};
  if (FParser) throw EInvalidOperation(u"The reader is already parsing a document");
  FPublicID = APublicID;
  // Found again by each parse that reads through this class's grammar.
  FTreeHandler = nullptr;
  FUnexpectedEOF = false;
  FLineNr = FColNr = -1;
  FParser = AParser;
  try {
    InternalParse();
  } catch (EVnJSONParseError &E) {
    // Where the reader stood goes with the error, the message stays as it is.
    if (E.LineNr < 0) {
      E.LineNr = FParser->GetLineNr();
      E.ColNr = FParser->GetColNr();
    }
    throw;
  } catch (const EVnTextParserEOF &) {
    // Stepping at the end of the text is no error for this grammar; a scanner that raises it
    // anyway reports where it stood.
    FUnexpectedEOF = true;
    FLineNr = FParser->GetLineNr();
    FColNr = FParser->GetColNr();
    throw;
  }
}

void TVnJSONReader::ParseStream(TStream *AStream, Word ACodePage, const VnJSONString &APublicID) {
  // A stream in memory is scanned where it lies.
  const void *data;
  UInt64 size;
  if (TVnTextParser::TakeMemoryRest(AStream, data, size)) {
    Run(New<TVnJSONTextParser>(data, size, ACodePage), APublicID);
    return;
  }
  Run(New<TVnJSONTextParser>(AStream, false, ACodePage), APublicID);
}

void TVnJSONReader::ParseFile(const UnicodeString &AFileName, Word ACodePage,
                              const VnJSONString &APublicID) {
  if (!FileExists(AFileName)) throw EReadError(_cVnJSONNoFile, {AFileName});
  Owned<TFileStream> stream(New<TFileStream>(AFileName, fmOpenRead | fmShareDenyWrite));
  const Word mark = VnGetCodePage(stream.get());
  Run(New<TVnJSONTextParser>(stream.get(), false, mark ? mark : ACodePage), APublicID);
}

void TVnJSONReader::ParseBuffer(const void *ABuffer, Cardinal ASize, Word ACodePage,
                                const VnJSONString &APublicID) {
  Run(New<TVnJSONTextParser>(ABuffer, ABuffer ? ASize : 0, ACodePage), APublicID);
}

void TVnJSONReader::Parse(const UnicodeString &AJSON, const VnJSONString &APublicID) {
  Run(New<TVnJSONTextParser>(AJSON.data(), AJSON.size() * sizeof(char16_t), CP_UTF16), APublicID);
}

void TVnJSONReader::Parse(const AnsiString &AJSON, Word ACodePage, const VnJSONString &APublicID) {
  Run(New<TVnJSONTextParser>(AJSON.data(), AJSON.size(), ACodePage), APublicID);
}

// ---------------------------------------------------------------------------------------------
// The grammar

void TVnJSONReader::CheckHandlers() {
  if (!FContentHandler) throw EVnJSONException(_cVnJSONNoContentHandler, 3);
  if (!FErrorHandler) throw EVnJSONException(_cVnJSONNoErrorHandler, 4);
}

void TVnJSONReader::InternalParse() {
  CheckHandlers();
  assert(FParser && "Assertion failure");
  TVnJSONTextParser *P = FParser;
  IVnJSONContentHandler *H = FContentHandler;
  // The library's tree builder takes ASCII text straight from the source.
  FTreeHandler = nullptr;
  DelphiInterface<IVnObject> handler;
  if (Supports(H, handler)) {
    TObject *o = handler->Implementor();
    if (o && o->ClassType() == TVnJSONHandler::StaticClass())
      FTreeHandler = static_cast<TVnJSONHandler *>(o);
  }
  // Only spaces are skipped before the first value: a tab or a line break there is a value
  // that fails.
  P->SkipOver(' ');
  H->StartDocument();
  while (!P->Eof()) {
    const char16_t c = P->CurrUnit();
    if (c == u'[' || c == u'{') {
      // White space behind a top-level object or array is not skipped: the loop meets it as
      // the start of a simple value, which fails.
      ParseContainer();
      continue;
    }
    ParseSimpleValue();
    if (!P->Eof()) {
      // One character is passed without a look, then everything below U+0021.
      P->Step();
      P->SkipControls();
      if (!P->Eof()) P->RaiseExpected(u"");
    }
  }
  H->EndDocument();
}

void TVnJSONReader::TakeText() {
  FParser->SelectedTo(tpMark1, tpCurrent, true, FText);
}

void TVnJSONReader::ParseSimpleValue() {
  TVnJSONTextParser *P = FParser;
  const char *data;
  std::size_t n;
  if (!P->Eof() && P->CurrUnit() == u'"') {
    const bool escaped = P->ScanString();
    if (FTreeHandler) {
      if (!escaped && P->TakeAscii(data, n)) {
        FTreeHandler->ValueAscii(jdtString, data, n);
        return;
      }
      // Other text of a UTF-8 source is decoded where it stands; the rest goes as UTF-16.
      if (P->SelectedUTF8(data, n) && FTreeHandler->ValueUTF8(data, n)) {
        P->ClearMark(tpMark1);
        return;
      }
    }
    TakeText();
    FContentHandler->Value(jdtString, FText);
    return;
  }
  const TVnJSONDataType type = P->ScanLiteral();
  if (FTreeHandler && P->TakeAscii(data, n)) {
    if (type == jdtNumber)
      FTreeHandler->ScannedNumber(data, n);
    else
      FTreeHandler->ValueAscii(type, data, n);
  } else {
    TakeText();
    FContentHandler->Value(type, FText);
  }
  // What follows a number up to the next "]", "}" or "," is dropped.
  if (type == jdtNumber) P->SkipToValueEnd();
}

void TVnJSONReader::ParseContainer() {
  TVnJSONTextParser *P = FParser;
  IVnJSONContentHandler *H = FContentHandler;
  std::vector<Byte> &stack = FStack;
  stack.clear();
  // The nesting lives on this stack, not on the machine's: each state below is one step of the
  // object and array loops, and a nested container is entered by a jump.
  char16_t c = P->CurrUnit();
open:
  if (c == u'{') {
    H->StartObject();
    // Anything before the first name or the closing brace is dropped unseen.
    P->SkipToEither('}', '"');
    if (P->Eof() || P->CurrUnit() != u'"') {
      H->EndObject();
      P->StepOver();
      goto after;
    }
    stack.push_back(frObject);
    goto member;
  }
  H->StartArray();
  stack.push_back(frArray);
  goto item;

member:
  P->SkipToName();
  P->ScanString();
  {
    // Names are kept as written, escapes included: any ASCII name can go as it stands.
    const char *data;
    std::size_t n;
    if (FTreeHandler && P->TakeAscii(data, n)) {
      FTreeHandler->StartMemberAscii(data, n);
    } else {
      TakeText();
      H->StartMember(FText);
    }
  }
  P->SkipNameEnd();
  goto value;

item:
  // At "[" or ",": the next item, or the end of the array.
  P->StepOver();
  P->SkipControls();
  if (!P->Eof() && P->CurrUnit() == u']') goto after;
  goto value;

value:
  c = P->Eof() ? 0 : P->CurrUnit();
  if (c == u'[' || c == u'{') goto open;
  ParseSimpleValue();

after:
  // A value has ended: the frame on top decides what comes next.
  if (stack.empty()) return;
  if (stack.back() == frObject) {
    H->EndMember();
    // Junk up to the next "," or "}" is dropped; the end of the text closes the object.
    P->SkipToEither('}', ',');
    if (!P->Eof() && P->CurrUnit() == u',') goto member;
    H->EndObject();
  } else {
    P->SkipToEither(']', ',');
    if (!P->Eof() && P->CurrUnit() == u',') goto item;
    H->EndArray();
  }
  P->StepOver();
  stack.pop_back();
  goto after;
}

// ---------------------------------------------------------------------------------------------
// TVnJSONParser

TVnJSONReader *json::CreateReader(bool AFormURLEncoded) {
  if (AFormURLEncoded) return New<TVnFormURLEncodedJSONReader>();
  return New<TVnJSONReader>();
}

TVnJSONParser::TVnJSONParser(TComponent *AOwner) : TComponent(AOwner) {}

TVnJSONParser::~TVnJSONParser() = default;

template <class F>
void TVnJSONParser::Run(bool AFormURLEncoded, F &&AParse) {
  if (FReader) throw EInvalidOperation(u"The parser is already parsing a document");
  TVnJSONReader *reader = json::CreateReader(AFormURLEncoded);
  // The reader goes whatever happens, before OnFinished: an event that raises leaves the
  // component free for the next parse.
  auto release = [this, reader] {
    FReader = nullptr;
    FLocator = nullptr;
    reader->SetContentHandler(nullptr);
    reader->SetErrorHandler(nullptr);
    reader->Free();
  };
  FReader = reader;
  reader->SetContentHandler(this);
  reader->SetErrorHandler(this);
  bool started = false;
  try {
    if (OnStart) OnStart(this);
    started = true;
    AParse(reader);
  } catch (...) {
    release();
    // A parse that began finishes also when it fails; an exception of OnFinished replaces the
    // parse's own.
    if (started && OnFinished) OnFinished(this);
    throw;
  }
  release();
  if (OnFinished) OnFinished(this);
}

void TVnJSONParser::ParseStream(TStream *AStream, Word ACodePage, bool AFormURLEncoded,
                                const VnJSONString &APublicID) {
  Run(AFormURLEncoded, [&](TVnJSONReader *R) { R->ParseStream(AStream, ACodePage, APublicID); });
}

void TVnJSONParser::ParseFile(const UnicodeString &AFileName, Word ACodePage,
                              const VnJSONString &APublicID) {
  Run(false, [&](TVnJSONReader *R) { R->ParseFile(AFileName, ACodePage, APublicID); });
}

void TVnJSONParser::ParseBuffer(const void *ABuffer, Cardinal ASize, Word ACodePage,
                                bool AFormURLEncoded, const VnJSONString &APublicID) {
  Run(AFormURLEncoded,
      [&](TVnJSONReader *R) { R->ParseBuffer(ABuffer, ASize, ACodePage, APublicID); });
}

void TVnJSONParser::Parse(const UnicodeString &AJSON, const VnJSONString &APublicID) {
  Run(false, [&](TVnJSONReader *R) { R->Parse(AJSON, APublicID); });
}

void TVnJSONParser::Parse(const AnsiString &AJSON, Word ACodePage, const VnJSONString &APublicID) {
  Run(false, [&](TVnJSONReader *R) { R->Parse(AJSON, ACodePage, APublicID); });
}

void TVnJSONParser::Warning(IVnJSONLocator *ALocator, const VnJSONString &AMessage) {
  if (OnWarning) OnWarning(this, ALocator, AMessage);
}

void TVnJSONParser::Error(IVnJSONLocator *ALocator, const VnJSONString &AMessage) {
  if (OnError) OnError(this, ALocator, AMessage);
}

void TVnJSONParser::FatalError(IVnJSONLocator *ALocator, const VnJSONString &AMessage) {
  if (OnFatalError) OnFatalError(this, ALocator, AMessage);
}

void TVnJSONParser::SetDocumentLocator(IVnJSONLocator *ALocator) {
  FLocator = ALocator;
}

void TVnJSONParser::StartDocument() {
  if (OnStartDocument) OnStartDocument(this);
}

void TVnJSONParser::StartObject() {
  if (OnStartObject) OnStartObject(this);
}

void TVnJSONParser::StartMember(const VnJSONString &AName) {
  if (OnStartMember) OnStartMember(this, AName);
}

void TVnJSONParser::StartArray() {
  if (OnStartArray) OnStartArray(this);
}

void TVnJSONParser::Value(TVnJSONDataType ADataType, const VnJSONString &AValue) {
  if (OnValue) OnValue(this, ADataType, AValue);
}

void TVnJSONParser::EndArray() {
  if (OnEndArray) OnEndArray(this);
}

void TVnJSONParser::EndMember() {
  if (OnEndMember) OnEndMember(this);
}

void TVnJSONParser::EndObject() {
  if (OnEndObject) OnEndObject(this);
}

void TVnJSONParser::EndDocument() {
  if (OnEndDocument) OnEndDocument(this);
}

}  // namespace vn
