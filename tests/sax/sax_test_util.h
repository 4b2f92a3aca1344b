// Shared helpers of the SAX tests: a handler that records every event as a line of text, and
// runs of one document through the reader in every source width.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "vnxml/xml/uVnSAX.h"

namespace saxtest {

using namespace vn;

inline std::string U8(const UnicodeString &S) {
  return UTF8Encode(S);
}

// Records the events: "SD", "ED", "SE(uri,local,qname)[local,qname,uri=value;...]",
// "EE(uri,local,qname)", "SPM(prefix,uri)", "EPM(prefix)", "C(text)", "IW(text)",
// "PI(target,data)", "Com(text)", "SCD", "ECD", "SDTD", "EDTD", "FE(message)".
class TRecorder : public TVnSAXHandler {
  VN_CLASS(TRecorder, TVnSAXHandler)
 public:
  std::vector<std::string> Events;
  // Raises EAbort from the event with this index (0-based), when not negative.
  int ThrowAt = -1;
  // Called on FatalError with the locator, before the event is recorded.
  std::function<void(IVnSAXLocator *)> OnFatal;
  // Called on StartElement with the attributes.
  std::function<void(IVnSAXAttributes *)> OnAttributes;

  void Add(std::string AEvent) {
    Events.push_back(std::move(AEvent));
    if (ThrowAt >= 0 && static_cast<int>(Events.size()) - 1 == ThrowAt)
      throw EAbort(u"handler failure");
  }

  void StartDocument() override { Add("SD"); }
  void EndDocument() override { Add("ED"); }
  void StartElement(const VnXMLString &AURI, const VnXMLString &ALocal, const VnXMLString &AQName,
                    IVnSAXAttributes *AAttributes) override {
    std::string s = "SE(" + U8(AURI) + "," + U8(ALocal) + "," + U8(AQName) + ")";
    if (AAttributes->Count() > 0) {
      s += "[";
      for (PVnSAXXMAttribute a = AAttributes->FirstAttribute(); a; a = a->Next) {
        if (a != AAttributes->FirstAttribute()) s += ";";
        s += U8(a->LocalName) + "," + U8(a->QName) + "," + U8(a->URI) + "=" + U8(a->Value);
      }
      s += "]";
    }
    if (OnAttributes) OnAttributes(AAttributes);
    Add(s);
  }
  void EndElement(const VnXMLString &AURI, const VnXMLString &ALocal,
                  const VnXMLString &AQName) override {
    Add("EE(" + U8(AURI) + "," + U8(ALocal) + "," + U8(AQName) + ")");
  }
  void StartPrefixMapping(const VnXMLString &APrefix, const VnXMLString &AURI) override {
    Add("SPM(" + U8(APrefix) + "," + U8(AURI) + ")");
  }
  void EndPrefixMapping(const VnXMLString &APrefix) override { Add("EPM(" + U8(APrefix) + ")"); }
  void Characters(const VnXMLString &AText) override { Add("C(" + U8(AText) + ")"); }
  void IgnorableWhitespace(const VnXMLString &AText) override { Add("IW(" + U8(AText) + ")"); }
  void ProcessingInstruction(const VnXMLString &ATarget, const VnXMLString &AData) override {
    Add("PI(" + U8(ATarget) + "," + U8(AData) + ")");
  }
  void Comment(const VnXMLString &AText) override { Add("Com(" + U8(AText) + ")"); }
  void StartCDATA() override { Add("SCD"); }
  void EndCDATA() override { Add("ECD"); }
  void StartDTD() override { Add("SDTD"); }
  void EndDTD() override { Add("EDTD"); }
  void FatalError(IVnSAXLocator *ALocator, const VnXMLString &AMessage) override {
    if (OnFatal) OnFatal(ALocator);
    Events.push_back("FE(" + U8(AMessage) + ")");
  }
};

// The outcome of one parse: the events, and the failure if there was one.
struct TOutcome {
  std::vector<std::string> Events;
  std::string Error;  // the class name, empty without a failure
  int Code = -1;      // ErrorCode of an EVnException
  std::string Message;
};

inline void Capture(TOutcome &AOut, const std::function<void()> &AParse) {
  try {
    AParse();
  } catch (const EVnException &E) {
    AOut.Error = U8(E.ClassName());
    AOut.Code = E.ErrorCode;
    AOut.Message = U8(E.Message);
  } catch (const Exception &E) {
    AOut.Error = U8(E.ClassName());
    AOut.Message = U8(E.Message);
  }
}

// The ways a document reaches the reader in RunAll.
enum class TSource {
  Utf16,      // Parse(UnicodeString): cstW
  Utf8,       // Parse(AnsiString, 65001): cstU
  Latin1,     // Parse(AnsiString, 28591): cstA with a single-byte page
  Sniffed,    // Parse(AnsiString, 0): UTF-8 found by the reader
  Trickle8,   // ParseStream over a stream that hands out 1 to 3 bytes a read, page 65001
  Trickle16,  // the same in UTF-16, page 1200
};

inline const char *SourceName(TSource S) {
  switch (S) {
    case TSource::Utf16:
      return "Parse(UnicodeString)";
    case TSource::Utf8:
      return "Parse(AnsiString, 65001)";
    case TSource::Latin1:
      return "Parse(AnsiString, 28591)";
    case TSource::Sniffed:
      return "Parse(AnsiString, 0)";
    case TSource::Trickle8:
      return "ParseStream(trickle, 65001)";
    default:
      return "ParseStream(trickle, 1200)";
  }
}

// A stream that hands out a few bytes per Read, so that every construct meets a refill of the
// scanner's window somewhere.
class TTrickleStream : public TStream {
  VN_CLASS(TTrickleStream, TStream)
 public:
  explicit TTrickleStream(std::string AData) : FData(std::move(AData)) {}
  Int64 Read(void *ABuffer, Int64 ACount) override {
    Int64 n = std::min<Int64>({ACount, 1 + (FReads++ % 3), Size() - FPos});
    if (n <= 0) return 0;
    std::memcpy(ABuffer, FData.data() + FPos, static_cast<std::size_t>(n));
    FPos += n;
    return n;
  }
  Int64 Write(const void *, Int64) override { return 0; }
  Int64 Seek(Int64 AOffset, TSeekOrigin AOrigin) override {
    Int64 base = AOrigin == soBeginning ? 0 : AOrigin == soCurrent ? FPos : Size();
    FPos = base + AOffset;
    return FPos;
  }

 private:
  Int64 Size() const { return static_cast<Int64>(FData.size()); }
  std::string FData;
  Int64 FPos = 0;
  Int64 FReads = 0;
};

struct TRunOptions {
  bool SingleRoot = true;
  bool Lexical = true;
  int ThrowAt = -1;
};

// Parses AXml (UTF-16) once from the given source with a fresh reader and recorder.
inline TOutcome RunOne(const UnicodeString &AXml, TSource ASource, const TRunOptions &AOpt = {}) {
  TOutcome out;
  TVnSAXXMLReader *reader = New<TVnSAXXMLReader>();
  TRecorder *rec = New<TRecorder>();
  DelphiInterface<IVnSAXContentHandler> keep(rec);
  rec->ThrowAt = AOpt.ThrowAt;
  reader->SetContentHandler(rec);
  reader->SetErrorHandler(rec);
  if (AOpt.Lexical) reader->SetLexicalHandler(rec);
  reader->SetSingleRoot(AOpt.SingleRoot);
  Capture(out, [&] {
    switch (ASource) {
      case TSource::Utf16:
        reader->Parse(AXml);
        break;
      case TSource::Utf8:
        reader->Parse(AnsiString(UTF8Encode(AXml), CP_UTF8), CP_UTF8);
        break;
      case TSource::Latin1:
        reader->Parse(AnsiString(UnicodeToCodePage(AXml, CP_LATIN1), CP_LATIN1), CP_LATIN1);
        break;
      case TSource::Sniffed:
        reader->Parse(AnsiString(UTF8Encode(AXml)), 0);
        break;
      case TSource::Trickle8: {
        TTrickleStream s(UTF8Encode(AXml));
        reader->ParseStream(&s, CP_UTF8);
        break;
      }
      case TSource::Trickle16: {
        TTrickleStream s(std::string(reinterpret_cast<const char *>(AXml.data()), AXml.size() * 2));
        reader->ParseStream(&s, CP_UTF16);
        break;
      }
    }
  });
  out.Events = rec->Events;
  reader->Free();
  return out;
}

inline bool FitsLatin1(const UnicodeString &AXml) {
  return std::all_of(AXml.begin(), AXml.end(), [](char16_t c) { return c < 256; });
}

inline std::vector<TSource> AllSources(const UnicodeString &AXml) {
  std::vector<TSource> r = {TSource::Utf16, TSource::Utf8, TSource::Sniffed, TSource::Trickle8,
                            TSource::Trickle16};
  if (FitsLatin1(AXml)) r.push_back(TSource::Latin1);
  return r;
}

inline std::string Joined(const std::vector<std::string> &AEvents) {
  std::string s;
  for (const auto &e : AEvents) s += "  " + e + "\n";
  return s;
}

// Parses AXml from every source and expects the same events everywhere, ending in "ED".
inline void ExpectEvents(const UnicodeString &AXml, const std::vector<std::string> &AExpected,
                         const TRunOptions &AOpt = {}) {
  for (TSource src : AllSources(AXml)) {
    TOutcome out = RunOne(AXml, src, AOpt);
    EXPECT_EQ(out.Error, "") << SourceName(src) << ": " << out.Message;
    EXPECT_EQ(out.Events, AExpected) << SourceName(src) << " of " << U8(AXml) << "\ngot:\n"
                                     << Joined(out.Events);
  }
}

// Parses AXml from every source and expects the failure, told to FatalError after the given
// events and then raised with the same message.
inline void ExpectFailure(const UnicodeString &AXml, const std::string &AClass, int ACode,
                          const std::string &AMessage,
                          const std::vector<std::string> &AEventsBefore,
                          const TRunOptions &AOpt = {}) {
  for (TSource src : AllSources(AXml)) {
    TOutcome out = RunOne(AXml, src, AOpt);
    EXPECT_EQ(out.Error, AClass) << SourceName(src) << " of " << U8(AXml);
    EXPECT_EQ(out.Code, ACode) << SourceName(src) << " of " << U8(AXml);
    EXPECT_EQ(out.Message, AMessage) << SourceName(src) << " of " << U8(AXml);
    std::vector<std::string> expected = AEventsBefore;
    expected.push_back("FE(" + AMessage + ")");
    EXPECT_EQ(out.Events, expected) << SourceName(src) << " of " << U8(AXml) << "\ngot:\n"
                                    << Joined(out.Events);
  }
}

// The message of code 2.
inline std::string NotWellFormed(const std::string &AExpected, const std::string &AFound) {
  return "The document is not wellformed!\r\n\"" + AExpected + "\" expected, but \"" + AFound +
         "\" found!";
}

}  // namespace saxtest
