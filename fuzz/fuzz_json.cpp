// Fuzz target of the JSON reader and the document tree. The input bytes go to TVnJSONReader as
// UTF-8 (page 65001), as bytes of a single-byte page that the reader sniffs (1252), and, when
// their count is even, as UTF-16 (Parse(UnicodeString)); then into a TVnJSONDocument through
// SetAsJSON (the bytes read as UTF-8, once as UTF-16 text and once in place) and LoadFromStream
// (the raw bytes, page 65001), and what loaded is written out with GetAsJSON and
// GetFormattedJSON, before and after every node of the tree is asked for. The same text goes
// through the JSON date forms.
//
// The handler checks the shape of the event stream: one StartDocument first, objects and arrays
// closed in the order they were opened, a member only inside an object, EndDocument last, and
// no call to the error handler or to SetDocumentLocator.
//
// A parse may fail only with the failures that arbitrary text leads to: EVnJSONException and
// its descendants (syntax, and the tree's refusals), EConvertError and its descendants (a bad
// hexadecimal escape when a value is decoded), and the plain Exception of an unsupported
// encoding or of a member outside an object. Anything else aborts, and so does a broken event
// stream. A crash, a hang or a leak is a finding as well.
//
// Built with clang -fsanitize=fuzzer by fuzz/run.sh (FUZZ_TARGET=fuzz_json); in the normal build
// the same function is linked into json_tests, which feeds it every file of fuzz/corpus/json.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "vnxml/json/uVnJSON.h"

using namespace vn;

namespace {

[[noreturn]] void Finding(const char *AWhat, const std::string &ADetail) {
  std::fprintf(stderr, "\n*** fuzz_json: %s: %s\n", AWhat, ADetail.c_str());
  std::abort();
}

// Checks the order of the events as they come.
class TShapeCheck : public TVnObject, public IVnJSONContentHandler, public IVnJSONErrorHandler {
  VN_CLASS(TShapeCheck, TVnObject)
  VN_IMPLEMENTS(TVnObject, IVnJSONContentHandler, IVnJSONErrorHandler)
 public:
  void Begin() {
    FStack.clear();
    FStarted = FEnded = false;
  }
  // After a parse that returned: the document is closed.
  void Finished() {
    if (!FStarted || !FEnded) Finding("broken event stream", "no StartDocument or EndDocument");
  }

  void SetDocumentLocator(IVnJSONLocator *) override { Finding("broken promise", "locator"); }
  void StartDocument() override {
    if (FStarted) Finding("broken event stream", "StartDocument twice");
    FStarted = true;
  }
  void EndDocument() override {
    if (!FStack.empty()) Finding("broken event stream", "EndDocument inside a value");
    FEnded = true;
  }
  void StartObject() override { Open('{'); }
  void StartArray() override { Open('['); }
  void StartMember(const VnJSONString &) override {
    if (FStack.empty() || FStack.back() != '{') Finding("broken event stream", "member");
    FStack.push_back(':');
  }
  void EndMember() override { Close(':'); }
  void EndObject() override { Close('{'); }
  void EndArray() override { Close('['); }
  void Value(TVnJSONDataType AType, const VnJSONString &) override {
    Inside();
    if (AType > jdtBoolean) Finding("broken event stream", "value of a structured type");
  }
  void Warning(IVnJSONLocator *, const VnJSONString &) override { Finding("error handler", ""); }
  void Error(IVnJSONLocator *, const VnJSONString &) override { Finding("error handler", ""); }
  void FatalError(IVnJSONLocator *, const VnJSONString &) override { Finding("error handler", ""); }

 private:
  void Inside() {
    if (!FStarted || FEnded) Finding("broken event stream", "event outside the document");
    if (!FStack.empty() && FStack.back() == '{') Finding("broken event stream", "value in object");
  }
  void Open(char AKind) {
    Inside();
    FStack.push_back(AKind);
  }
  void Close(char AKind) {
    if (FStack.empty() || FStack.back() != AKind)
      Finding("broken event stream", std::string("unmatched end of ") + AKind);
    FStack.pop_back();
  }
  std::vector<char> FStack;
  bool FStarted = false, FEnded = false;
};

bool Allowed(const Exception &E) {
  if (E.InheritsFrom(EVnJSONException::StaticClass()) ||
      E.InheritsFrom(EConvertError::StaticClass())) {
    return true;
  }
  return E.ClassType() == Exception::StaticClass() &&
         (E.Message == u"The specified encoding is not supported!" ||
          E.Message == u"Invalid objecttype");
}

// Runs AWork; true when it returned, false when it raised an allowed exception.
template <class F>
bool Guarded(F AWork) {
  try {
    AWork();
    return true;
  } catch (const Exception &e) {
    if (!Allowed(e)) Finding(UTF8Encode(e.ClassName()).c_str(), UTF8Encode(e.Message));
  } catch (const std::exception &e) {
    Finding("std::exception", e.what());
  } catch (...) {
    Finding("unknown exception", "");
  }
  return false;
}

TShapeCheck *Check() {
  static TShapeCheck *check = [] {
    TShapeCheck *c = New<TShapeCheck>();
    c->SetAutoDestroy(false);
    return c;
  }();
  return check;
}

void Read(const std::function<void(TVnJSONReader *)> &AParse) {
  TVnJSONReader *reader = New<TVnJSONReader>();
  reader->SetContentHandler(Check());
  reader->SetErrorHandler(Check());
  Check()->Begin();
  if (Guarded([&] { AParse(reader); })) Check()->Finished();
  if (reader->GetLineNr() != -1) Finding("broken promise", "locator outside a parse");
  reader->Free();
}

void Load(const std::function<void(TVnJSONDocument *)> &ALoad) {
  TVnJSONDocument *doc = New<TVnJSONDocument>();
  Guarded([&] { ALoad(doc); });
  // A failed load leaves a partial tree, which is written out as well; then every node is asked
  // for (which makes the nodes of the values a load keeps compact), and the tree must write the
  // same text again.
  VnJSONString text, formatted;
  if (!Guarded([&] {
        text = doc->GetAsJSON();
        formatted = doc->GetFormattedJSON();
      })) {
    doc->Free();
    return;
  }
  std::vector<TVnJSONBase *> pending{doc};
  while (!pending.empty()) {
    TVnJSONBase *n = pending.back();
    pending.pop_back();
    for (Integer i = 0; i < n->ObjectCount(); ++i) pending.push_back(n->Objects(i));
  }
  Guarded([&] {
    if (doc->GetAsJSON() != text || doc->GetFormattedJSON() != formatted)
      Finding("output changed once the nodes were made", UTF8Encode(text));
  });
  doc->Free();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *AData, std::size_t ASize) {
  const std::string bytes(reinterpret_cast<const char *>(AData), ASize);
  Read([&](TVnJSONReader *R) { R->Parse(AnsiString(bytes, CP_UTF8), CP_UTF8); });
  Read([&](TVnJSONReader *R) { R->Parse(AnsiString(bytes, CP_WIN1252), CP_WIN1252); });
  if (ASize % 2 == 0) {
    UnicodeString wide(ASize / 2, u'\0');
    if (ASize) std::memcpy(wide.data(), AData, ASize);
    Read([&](TVnJSONReader *R) { R->Parse(wide); });
  }
  const UnicodeString text = UTF8ToString(std::string_view(bytes));
  // The date forms read the text as it is; their default forms never raise.
  Guarded([&] { VnJSONToDateTime(text); });
  Guarded([&] { VnJSONToDate(text); });
  Guarded([&] { VnJSONToTime(text); });
  try {
    VnJSONToDateTimeDef(text, 1.5);
    VnJSONToDateDef(text, 1.5);
    VnJSONToTimeDef(text, 1.5);
  } catch (...) {
    Finding("a default form raised", UTF8Encode(text));
  }
  Load([&](TVnJSONDocument *D) { D->SetAsJSON(text); });
  Load([&](TVnJSONDocument *D) { D->SetAsJSON(std::string_view(bytes)); });
  Load([&](TVnJSONDocument *D) {
    TMemoryStream *stream = New<TMemoryStream>();
    struct TFree {
      TMemoryStream *S;
      ~TFree() { S->Free(); }
    } owner{stream};
    if (ASize) stream->WriteBuffer(AData, static_cast<Int64>(ASize));
    stream->SetPosition(0);
    D->LoadFromStream(stream, CP_UTF8);
  });
  return 0;
}
