// Shared helpers of the form reader tests: a body run through the form reader from several
// source forms into the recorder, and a body loaded into a document and written out.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "json/json_util.h"

namespace formtest {

using namespace vn;
using namespace jsontest;

// Runs the UTF-8 bytes ABody through a fresh form reader from ASource (no error handler set).
inline TOutcome RunForm(const std::string &ABody, TSource ASource) {
  TOutcome out;
  TVnJSONReader *reader = New<TVnFormURLEncodedJSONReader>();
  TRecorder *rec = New<TRecorder>();
  DelphiInterface<IVnJSONContentHandler> keep(rec);
  reader->SetContentHandler(rec);
  const UnicodeString wide = UTF8ToString(ABody);
  const std::string wideBytes = Utf16Bytes(wide);
  Capture(out, [&] {
    switch (ASource) {
      case TSource::Utf16:
        reader->Parse(wide);
        break;
      case TSource::Utf8:
        reader->Parse(AnsiString(ABody, CP_UTF8), CP_UTF8);
        break;
      case TSource::Trickle8: {
        TTrickleStream s(ABody);
        reader->ParseStream(&s, CP_UTF8);
        break;
      }
      case TSource::Trickle16: {
        TTrickleStream s(wideBytes);
        reader->ParseStream(&s, CP_UTF16);
        break;
      }
      default:
        reader->ParseBuffer(wideBytes.data(), static_cast<Cardinal>(wideBytes.size()), CP_UTF16);
        break;
    }
  });
  out.Events = rec->Joined();
  if (!out.Error.empty()) {
    out.Events += " !" + out.Error;
    if (out.Code >= 0) out.Events += "#" + std::to_string(out.Code);
    out.Events += ": " + out.Message;
  }
  reader->Free();
  return out;
}

// The events of ABody (UTF-8), the same from each source form: in UTF-8 and UTF-16, from memory
// and from a stream of a few bytes a read. A failure is appended as " !Class#code: message".
inline std::string Form(const std::string &ABody) {
  const std::string first = RunForm(ABody, TSource::Utf8).Events;
  for (TSource s : {TSource::Utf16, TSource::Trickle8, TSource::Trickle16, TSource::Buffer16})
    EXPECT_EQ(RunForm(ABody, s).Events, first) << SourceName(s) << " for " << ABody;
  return first;
}

// ABody loaded into a document (UTF-8 from a memory stream), written out unformatted as UTF-8.
// A second load of the same body in UTF-16 must give the same text.
inline std::string Tree(const std::string &ABody) {
  auto load = [](const std::string &ABytes, Word APage) {
    Owned<TMemoryStream> stream(New<TMemoryStream>());
    if (!ABytes.empty()) stream->WriteBuffer(ABytes.data(), static_cast<Int64>(ABytes.size()));
    stream->SetPosition(0);
    Owned<TVnJSONDocument> doc(TVnJSONDocument::CreateFromStream(stream.get(), APage, true));
    return U8(doc->GetAsJSON());
  };
  const std::string text = load(ABody, CP_UTF8);
  EXPECT_EQ(load(Utf16Bytes(UTF8ToString(ABody)), CP_UTF16), text) << "UTF-16 for " << ABody;
  return text;
}

}  // namespace formtest
