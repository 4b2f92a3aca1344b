// Fuzz target of the form-URL-encoded reader. The input bytes go to TVnFormURLEncodedJSONReader
// as UTF-8 (page 65001) from memory and from a stream that hands out a few bytes a read, as bytes
// of a single-byte page that the reader sniffs (1252), and, when their count is even, as UTF-16;
// then into a TVnJSONDocument through LoadFromStream with the form flag, and what loaded is
// written out with GetAsJSON and GetFormattedJSON.
//
// The handler checks the shape of the event stream: StartDocument and one object first, objects
// and arrays closed in the order they were opened, a member only inside an object, only string
// values, and, after a parse that returned, everything closed and EndDocument last. The UTF-8
// reads from memory and from the stream must give the same events and the same failure. When
// the bytes are well-formed UTF-8, the tree loaded from them and the tree loaded from the same
// text in UTF-16 must write the same JSON text (the tree builder takes ASCII values straight
// from a byte source, and UTF-16 takes the general way).
//
// A parse may fail only with the failures of the form format: the plain Exception of a cut
// UTF-8 escape or of a missing "[", EConvertError of a bad \u escape when the tree decodes a
// value handed over as JSON text, and the plain Exception of an unsupported encoding for the
// sniffed page. Anything else aborts, and so does a broken event stream. A crash, a hang or a
// leak is a finding as well.
//
// Built with clang -fsanitize=fuzzer by fuzz/run.sh (FUZZ_TARGET=fuzz_form); in the normal build
// the same function is linked into jsonform_tests, which feeds it every file of
// fuzz/corpus/form.
#include <algorithm>
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
  std::fprintf(stderr, "\n*** fuzz_form: %s: %s\n", AWhat, ADetail.c_str());
  std::abort();
}

// Checks the order of the events as they come, and keeps them as text for comparisons.
class TShapeCheck : public TVnObject, public IVnJSONContentHandler {
  VN_CLASS(TShapeCheck, TVnObject)
  VN_IMPLEMENTS(TVnObject, IVnJSONContentHandler)
 public:
  std::string Log;

  void Begin() {
    FStack.clear();
    Log.clear();
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
    Log += 'D';
  }
  void EndDocument() override {
    if (!FStack.empty()) Finding("broken event stream", "EndDocument inside a value");
    FEnded = true;
    Log += 'd';
  }
  void StartObject() override {
    // The body is one object: only the document's first event opens one outside a member.
    if (FStack.empty() && Log != "D") Finding("broken event stream", "a second top value");
    Open('{');
  }
  void StartArray() override {
    if (FStack.empty()) Finding("broken event stream", "an array at the top");
    Open('[');
  }
  void StartMember(const VnJSONString &AName) override {
    if (FStack.empty() || FStack.back() != '{') Finding("broken event stream", "member");
    FStack.push_back(':');
    Log += "<" + UTF8Encode(AName) + ">";
  }
  void EndMember() override { Close(':'); }
  void EndObject() override { Close('{'); }
  void EndArray() override { Close('['); }
  void Value(TVnJSONDataType AType, const VnJSONString &AText) override {
    Inside();
    if (FStack.empty() || FStack.back() == '{') Finding("broken event stream", "value in object");
    if (AType != jdtString) Finding("broken event stream", "a value that is no string");
    Log += "'" + UTF8Encode(AText) + "'";
  }

 private:
  void Inside() {
    if (!FStarted || FEnded) Finding("broken event stream", "event outside the document");
  }
  void Open(char AKind) {
    Inside();
    FStack.push_back(AKind);
    Log += AKind;
  }
  void Close(char AKind) {
    if (FStack.empty() || FStack.back() != AKind)
      Finding("broken event stream", std::string("unmatched end of ") + AKind);
    FStack.pop_back();
    Log += ')';
  }
  std::vector<char> FStack;
  bool FStarted = false, FEnded = false;
};

bool Allowed(const Exception &E) {
  if (E.InheritsFrom(EConvertError::StaticClass())) return true;
  if (E.ClassType() != Exception::StaticClass()) return false;
  static const UnicodeString bracket = UnicodeString(_cVnFormBracketExpected).substr(0, 40);
  return E.Message == _cVnFormInvalidUTF8 || E.Message.starts_with(bracket) ||
         E.Message == u"The specified encoding is not supported!";
}

// Runs AWork; an empty text when it returned, the message when it raised an allowed exception.
template <class F>
std::string Guarded(F AWork) {
  try {
    AWork();
    return std::string();
  } catch (const Exception &e) {
    if (!Allowed(e)) Finding(UTF8Encode(e.ClassName()).c_str(), UTF8Encode(e.Message));
    return "!" + UTF8Encode(e.Message);
  } catch (const std::exception &e) {
    Finding("std::exception", e.what());
  } catch (...) {
    Finding("unknown exception", "");
  }
}

TShapeCheck *Check() {
  static TShapeCheck *check = [] {
    TShapeCheck *c = New<TShapeCheck>();
    c->SetAutoDestroy(false);
    return c;
  }();
  return check;
}

// The events of one parse, with the failure behind them.
std::string Read(const std::function<void(TVnJSONReader *)> &AParse) {
  TVnJSONReader *reader = New<TVnFormURLEncodedJSONReader>();
  reader->SetContentHandler(Check());
  Check()->Begin();
  const std::string failure = Guarded([&] { AParse(reader); });
  if (failure.empty()) Check()->Finished();
  reader->Free();
  return Check()->Log + failure;
}

// A stream that hands out one to three bytes a read.
class TTrickleStream : public TStream {
  VN_CLASS(TTrickleStream, TStream)
 public:
  explicit TTrickleStream(const std::string &AData) : FData(AData) {}
  Int64 Read(void *ABuffer, Int64 ACount) override {
    const Int64 n = std::min<Int64>({ACount, 1 + (FReads++ % 3), Size() - FPos});
    if (n <= 0) return 0;
    std::memcpy(ABuffer, FData.data() + FPos, static_cast<std::size_t>(n));
    FPos += n;
    return n;
  }
  Int64 Write(const void *, Int64) override { return 0; }
  Int64 Seek(Int64 AOffset, TSeekOrigin AOrigin) override {
    const Int64 base = AOrigin == soBeginning ? 0 : AOrigin == soCurrent ? FPos : Size();
    FPos = base + AOffset;
    return FPos;
  }

 private:
  Int64 Size() const { return static_cast<Int64>(FData.size()); }
  const std::string &FData;
  Int64 FPos = 0;
  Int64 FReads = 0;
};

// The bytes loaded into a document with the form flag and written out: the JSON text, or the
// failure. A failed load leaves a partial tree, which is written out as well.
std::string Load(const std::string &ABytes, Word ACodePage) {
  TVnJSONDocument *doc = New<TVnJSONDocument>();
  TPointerStream stream(ABytes.data(), static_cast<Int64>(ABytes.size()));
  const std::string failure = Guarded([&] { doc->LoadFromStream(&stream, ACodePage, true); });
  std::string text;
  Guarded([&] {
    text = UTF8Encode(doc->GetAsJSON());
    (void)doc->GetFormattedJSON();
  });
  doc->Free();
  return failure.empty() ? text : failure;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *AData, std::size_t ASize) {
  const std::string bytes(reinterpret_cast<const char *>(AData), ASize);
  const std::string memory =
      Read([&](TVnJSONReader *R) { R->Parse(AnsiString(bytes, CP_UTF8), CP_UTF8); });
  const std::string trickled = Read([&](TVnJSONReader *R) {
    TTrickleStream stream(bytes);
    R->ParseStream(&stream, CP_UTF8);
  });
  if (memory != trickled) Finding("memory and stream differ", memory + " | " + trickled);
  Read([&](TVnJSONReader *R) { R->Parse(AnsiString(bytes, CP_WIN1252), CP_WIN1252); });
  if (ASize % 2 == 0) {
    UnicodeString wide(ASize / 2, u'\0');
    if (ASize) std::memcpy(wide.data(), AData, ASize);
    Read([&](TVnJSONReader *R) { R->Parse(wide); });
  }
  const std::string tree = Load(bytes, CP_UTF8);
  const UnicodeString text = UTF8ToString(std::string_view(bytes));
  if (UTF8Encode(text) == bytes) {
    const std::string wideBytes(reinterpret_cast<const char *>(text.data()),
                                text.size() * sizeof(char16_t));
    const std::string wideTree = Load(wideBytes, CP_UTF16);
    if (wideTree != tree) Finding("UTF-8 and UTF-16 trees differ", tree + " | " + wideTree);
  }
  return 0;
}
