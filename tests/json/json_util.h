// Shared helpers of the JSON reader tests: a handler that records the events as short words,
// runs of one text through the reader from every source form, and the check of a raised
// exception's class, message and code.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "vnxml/json/uVnJSON.h"

namespace jsontest {

using namespace vn;

inline std::string U8(const UnicodeString &S) {
  return UTF8Encode(S);
}

inline const char *TypeName(TVnJSONDataType AType) {
  static const char *const names[] = {"null", "string", "number", "boolean", "object", "array"};
  return AType <= jdtArray ? names[AType] : "?";
}

// Records the events, one word each: "SD", "ED", "SO", "EO", "SM(name)", "EM", "SA", "EA",
// "V(type,text)", "LOC" (SetDocumentLocator), and "W(message)", "E(message)", "FE(message)" for
// the error handler.
class TRecorder : public TVnObject, public IVnJSONContentHandler, public IVnJSONErrorHandler {
  VN_CLASS(TRecorder, TVnObject)
  VN_IMPLEMENTS(TVnObject, IVnJSONContentHandler, IVnJSONErrorHandler)
 public:
  std::vector<std::string> Events;
  // Called after each event is recorded, with its word.
  std::function<void(const std::string &)> OnEvent;

  void Add(std::string AEvent) {
    Events.push_back(std::move(AEvent));
    if (OnEvent) OnEvent(Events.back());
  }
  // The events joined by single spaces.
  std::string Joined() const {
    std::string r;
    for (const auto &e : Events) {
      if (!r.empty()) r += ' ';
      r += e;
    }
    return r;
  }

  void SetDocumentLocator(IVnJSONLocator *) override { Add("LOC"); }
  void StartDocument() override { Add("SD"); }
  void StartObject() override { Add("SO"); }
  void StartMember(const VnJSONString &AName) override { Add("SM(" + U8(AName) + ")"); }
  void StartArray() override { Add("SA"); }
  void Value(TVnJSONDataType AType, const VnJSONString &AValue) override {
    Add(std::string("V(") + TypeName(AType) + "," + U8(AValue) + ")");
  }
  void EndArray() override { Add("EA"); }
  void EndMember() override { Add("EM"); }
  void EndObject() override { Add("EO"); }
  void EndDocument() override { Add("ED"); }
  void Warning(IVnJSONLocator *, const VnJSONString &AMessage) override {
    Add("W(" + U8(AMessage) + ")");
  }
  void Error(IVnJSONLocator *, const VnJSONString &AMessage) override {
    Add("E(" + U8(AMessage) + ")");
  }
  void FatalError(IVnJSONLocator *, const VnJSONString &AMessage) override {
    Add("FE(" + U8(AMessage) + ")");
  }
};

// A stream that hands out one to three bytes a read, so that every construct meets a refill of
// the scanner's window somewhere.
class TTrickleStream : public TStream {
  VN_CLASS(TTrickleStream, TStream)
 public:
  explicit TTrickleStream(std::string AData) : FData(std::move(AData)) {}
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
  std::string FData;
  Int64 FPos = 0;
  Int64 FReads = 0;
};

// The ways a text reaches the reader.
enum class TSource {
  Utf16,       // Parse(UnicodeString): UTF-16
  Utf8,        // Parse(AnsiString, 65001): UTF-8, nothing sniffed
  Sniffed8,    // UTF-8 bytes given as page 1252: the reader finds UTF-8
  Sniffed16,   // UTF-16 LE bytes given as page 1252: the reader finds UTF-16
  SingleByte,  // Parse(AnsiString, 0): the default page, one byte a character, not sniffed
  Trickle8,    // ParseStream over a stream of a few bytes a read, page 65001
  Trickle16,   // the same in UTF-16, page 1200
  Buffer16,    // ParseBuffer over UTF-16 LE bytes, page 1200
};

inline const char *SourceName(TSource S) {
  switch (S) {
    case TSource::Utf16:
      return "Parse(UnicodeString)";
    case TSource::Utf8:
      return "Parse(AnsiString, 65001)";
    case TSource::Sniffed8:
      return "Parse(UTF-8 as 1252)";
    case TSource::Sniffed16:
      return "Parse(UTF-16 LE as 1252)";
    case TSource::SingleByte:
      return "Parse(AnsiString, 0)";
    case TSource::Trickle8:
      return "ParseStream(trickle, 65001)";
    case TSource::Trickle16:
      return "ParseStream(trickle, 1200)";
    default:
      return "ParseBuffer(1200)";
  }
}

inline std::string Utf16Bytes(const UnicodeString &S) {
  return std::string(reinterpret_cast<const char *>(S.data()), S.size() * sizeof(char16_t));
}

// The sources that can carry AJSON unchanged. The sniff reads four bytes: a text must be long
// enough and free of NUL for the page-1252 forms to mean what it says, and the one-byte form
// is kept to ASCII so that a character named in a message is the same everywhere.
inline std::vector<TSource> SourcesFor(const UnicodeString &AJSON) {
  std::vector<TSource> r = {TSource::Utf16, TSource::Utf8, TSource::Trickle8, TSource::Trickle16,
                            TSource::Buffer16};
  const bool noNul = std::none_of(AJSON.begin(), AJSON.end(), [](char16_t c) { return c == 0; });
  const bool ascii = std::all_of(AJSON.begin(), AJSON.end(), [](char16_t c) { return c < 128; });
  if (noNul && UTF8Encode(AJSON).size() >= 4) r.push_back(TSource::Sniffed8);
  if (noNul && AJSON.size() >= 2 && AJSON[0] < 256 && AJSON[1] < 256)
    r.push_back(TSource::Sniffed16);
  if (ascii) r.push_back(TSource::SingleByte);
  return r;
}

// The outcome of one parse: the events, and the failure if there was one.
struct TOutcome {
  std::string Events;
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

// Runs AJSON once through a fresh reader from ASource.
inline TOutcome RunOne(const UnicodeString &AJSON, TSource ASource) {
  TOutcome out;
  TVnJSONReader *reader = New<TVnJSONReader>();
  TRecorder *rec = New<TRecorder>();
  DelphiInterface<IVnJSONContentHandler> keep(rec);
  reader->SetContentHandler(rec);
  reader->SetErrorHandler(rec);
  Capture(out, [&] {
    switch (ASource) {
      case TSource::Utf16:
        reader->Parse(AJSON);
        break;
      case TSource::Utf8:
        reader->Parse(AnsiString(UTF8Encode(AJSON), CP_UTF8), CP_UTF8);
        break;
      case TSource::Sniffed8:
        reader->Parse(AnsiString(UTF8Encode(AJSON), CP_WIN1252), CP_WIN1252);
        break;
      case TSource::Sniffed16:
        reader->Parse(AnsiString(Utf16Bytes(AJSON), CP_WIN1252), CP_WIN1252);
        break;
      case TSource::SingleByte:
        reader->Parse(AnsiString(UTF8Encode(AJSON)), CP_ACP);
        break;
      case TSource::Trickle8: {
        TTrickleStream s(UTF8Encode(AJSON));
        reader->ParseStream(&s, CP_UTF8);
        break;
      }
      case TSource::Trickle16: {
        TTrickleStream s(Utf16Bytes(AJSON));
        reader->ParseStream(&s, CP_UTF16);
        break;
      }
      case TSource::Buffer16: {
        const std::string bytes = Utf16Bytes(AJSON);
        reader->ParseBuffer(bytes.data(), static_cast<Cardinal>(bytes.size()), CP_UTF16);
        break;
      }
    }
  });
  out.Events = rec->Joined();
  reader->Free();
  return out;
}

// The record of AJSON, the same from every source: the events, and behind them, when the parse
// fails, " !Class#code: message" (the line break of a message as "|").
inline std::string Record(const UnicodeString &AJSON) {
  std::string first;
  bool have = false;
  for (TSource src : SourcesFor(AJSON)) {
    const TOutcome out = RunOne(AJSON, src);
    std::string r = out.Events;
    if (!out.Error.empty()) {
      std::string m = out.Message;
      const std::string::size_type crlf = m.find("\r\n");
      if (crlf != std::string::npos) m.replace(crlf, 2, "|");
      r += " !" + out.Error + "#" + std::to_string(out.Code) + ": " + m;
    }
    if (!have) {
      first = r;
      have = true;
    } else {
      EXPECT_EQ(r, first) << SourceName(src) << " differs from " << SourceName(TSource::Utf16)
                          << " for " << U8(AJSON);
    }
  }
  return first;
}

// The tail that Record appends for the not-wellformed error of the reader.
inline std::string NotWellFormed(const std::string &AExpected, const std::string &AFound) {
  return " !EVnJSONParseError#2: The document is not wellformed!|\"" + AExpected +
         "\" expected, but \"" + AFound + "\" found!";
}

// The "expected" texts of a bad value start and of a bad escape.
inline const std::string cValueStart = "\", t, f, n, 0..9, ., + or -";
inline const std::string cEscapeChar = "\", \\, /, b, f, n, r, t or u";

// Runs AAction and expects an exception of exactly the class E with this message and, for the
// library's own exceptions, this ErrorCode (not checked when ACode is negative).
template <class E>
void ExpectRaises(const std::function<void()> &AAction, const UnicodeString &AMessage,
                  int ACode = -1) {
  try {
    AAction();
  } catch (const Exception &e) {
    EXPECT_EQ(U8(e.ClassName()), U8(E::StaticClass()->ClassName()));
    EXPECT_EQ(U8(e.Message), U8(AMessage));
    if (ACode >= 0) {
      const auto *ve = dynamic_cast<const EVnException *>(&e);
      ASSERT_NE(ve, nullptr) << "no EVnException";
      EXPECT_EQ(ve->ErrorCode, ACode);
    }
    return;
  }
  ADD_FAILURE() << "no exception, expected " << U8(AMessage);
}

}  // namespace jsontest
