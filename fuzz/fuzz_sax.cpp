// Fuzz target of the XML reader: the bytes are parsed through Parse with the code pages 0 (the
// reader finds the encoding), 1200, 65001 and 1252, through ParseStream over a stream that
// hands out a few bytes at a time, and as a fragment, by a handler that does nothing but look
// at the attributes. The same bytes go through the JSON reader as XML events (pages 0 and 1200),
// whose elements must balance whenever it gets to the end of the document, and through the
// component that picks the reader by the first character. Only the library's exceptions are
// expected; anything else, a crash, a hang or a leak is a finding.
//
// Built with clang -fsanitize=fuzzer by fuzz/run.sh; in the normal build the same function is
// linked into sax_tests, which feeds it every file of fuzz/corpus.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "vnxml/rtl/Owned.h"
#include "vnxml/xml/uVnSAX.h"
#include "fuzz_guarded.h"

using namespace vn;
using vnfuzz::Guarded;

namespace {

class TNullHandler : public TVnSAXHandler {
  VN_CLASS(TNullHandler, TVnSAXHandler)
 public:
  void StartElement(const VnXMLString &, const VnXMLString &, const VnXMLString &,
                    IVnSAXAttributes *AAttributes) override {
    // Walks the list while it is alive, the way a consumer copies what it keeps.
    Integer n = AAttributes->Count();
    for (PVnSAXXMAttribute a = AAttributes->FirstAttribute(); a; a = a->Next)
      Total += a->Value.size();
    if (n > 0) Total += AAttributes->GetValue(n - 1).size();
  }
  std::size_t Total = 0;
};

// Checks that the elements balance: every end has its start, and none is open at the end.
class TBalance : public TNullHandler {
  VN_CLASS(TBalance, TNullHandler)
 public:
  void StartElement(const VnXMLString &AURI, const VnXMLString &ALocal, const VnXMLString &AQName,
                    IVnSAXAttributes *AAttributes) override {
    TNullHandler::StartElement(AURI, ALocal, AQName, AAttributes);
    ++Depth;
  }
  void EndElement(const VnXMLString &, const VnXMLString &, const VnXMLString &) override {
    if (--Depth < 0) Fail("an end without its start");
  }
  void StartDocument() override { Depth = 0; }
  void EndDocument() override {
    if (Depth != 0) Fail("elements open at the end of the document");
  }
  [[noreturn]] static void Fail(const char *AWhat) {
    std::fprintf(stderr, "JSON as XML events: %s\n", AWhat);
    std::abort();
  }
  long Depth = 0;
};

class TDribbleStream : public TStream {
  VN_CLASS(TDribbleStream, TStream)
 public:
  TDribbleStream(const std::uint8_t *AData, std::size_t ASize) : FData(AData), FSize(ASize) {}
  Int64 Read(void *ABuffer, Int64 ACount) override {
    Int64 n = std::min<Int64>({ACount, 1 + (FReads++ % 5), static_cast<Int64>(FSize) - FPos});
    if (n <= 0) return 0;
    std::memcpy(ABuffer, FData + FPos, static_cast<std::size_t>(n));
    FPos += n;
    return n;
  }
  Int64 Write(const void *, Int64) override { return 0; }
  Int64 Seek(Int64 AOffset, TSeekOrigin AOrigin) override {
    Int64 base = AOrigin == soBeginning ? 0
                 : AOrigin == soCurrent ? FPos
                                        : static_cast<Int64>(FSize);
    FPos = base + AOffset;
    return FPos;
  }

 private:
  const std::uint8_t *FData;
  std::size_t FSize;
  Int64 FPos = 0;
  Int64 FReads = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *AData, std::size_t ASize) {
  TVnSAXXMLReader *reader = New<TVnSAXXMLReader>();
  TNullHandler *handler = New<TNullHandler>();
  handler->AttachTo(reader);
  const AnsiString text(std::string_view(reinterpret_cast<const char *>(AData), ASize));
  for (Word page : {Word(0), CP_UTF16, CP_UTF8, CP_WIN1252})
    Guarded([&] { reader->Parse(text, page); });
  Guarded([&] {
    TDribbleStream s(AData, ASize);
    reader->ParseStream(&s, 0);
  });
  reader->SetSingleRoot(false);
  Guarded([&] { reader->Parse(text, CP_UTF8); });
  reader->Free();

  TVnSAXJSONReader *json = New<TVnSAXJSONReader>();
  TBalance *balance = New<TBalance>();
  balance->AttachTo(json);
  for (Word page : {Word(0), CP_UTF16}) Guarded([&] { json->Parse(text, page); });
  json->Free();

  Owned<TVnSAXParser> component(New<TVnSAXParser>(nullptr));
  Guarded([&] {
    TDribbleStream s(AData, ASize);
    component->ParseStream(&s, CP_UTF8);
  });
  return 0;
}
