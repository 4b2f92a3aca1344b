// The event reader: the grammar as it is read with its leniencies, the messages and codes of its
// failures, the source forms, the locator, reuse, and the component with events.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "exception_text.h"
#include "json/json_util.h"

namespace {

using namespace vn;
using namespace jsontest;

const std::string V = cValueStart;
const std::string X = cEscapeChar;

// --- the grammar

TEST(JSONReaderGrammar, ValuesObjectsAndArrays) {
  EXPECT_EQ(Record(u"{\"a\":1}"), "SD SO SM(a) V(number,1) EM EO ED");
  EXPECT_EQ(Record(u""), "SD ED");
  EXPECT_EQ(Record(u"{}"), "SD SO EO ED");
  EXPECT_EQ(Record(u"[]"), "SD SA EA ED");
  EXPECT_EQ(Record(u"[ ]"), "SD SA EA ED");
  EXPECT_EQ(Record(u"[true,false,null]"),
            "SD SA V(boolean,true) V(boolean,false) V(null,null) EA ED");
  EXPECT_EQ(Record(u"{\"a\":[1,\"s\",true,{\"b\":{}},[]],\"c\":{\"d\":[[]]}}"),
            "SD SO SM(a) SA V(number,1) V(string,s) V(boolean,true) SO SM(b) SO EO EM EO SA EA "
            "EA EM SM(c) SO SM(d) SA SA EA EA EM EO EM EO ED");
  EXPECT_EQ(Record(u"{\"\u00e9\":\"\u20ac\U0001F600\"}"),
            "SD SO SM(\u00e9) V(string,\u20ac\U0001F600) EM EO ED");
}

TEST(JSONReaderGrammar, SimpleValuesAtTheTop) {
  EXPECT_EQ(Record(u"\"x\""), "SD V(string,x) ED");
  EXPECT_EQ(Record(u"\"x\"\r\n"), "SD V(string,x) ED");
  EXPECT_EQ(Record(u"\"x\" \t\n"), "SD V(string,x) ED");
  EXPECT_EQ(Record(u"12\n"), "SD V(number,12) ED");
  EXPECT_EQ(Record(u"null"), "SD V(null,null) ED");
  // Behind a number everything up to "]", "}" or "," is dropped, at the top too.
  EXPECT_EQ(Record(u"1 2"), "SD V(number,1) ED");
  EXPECT_EQ(Record(u"12 abc"), "SD V(number,12) ED");
  // One character behind a value is passed unseen, then only characters below U+0021.
  EXPECT_EQ(Record(u"1,2"), "SD V(number,1)" + NotWellFormed("", "2"));
  EXPECT_EQ(Record(u"\"a\" \"b\""), "SD V(string,a)" + NotWellFormed("", "\""));
  EXPECT_EQ(Record(u"\"a\"x"), "SD V(string,a)" + NotWellFormed("", "x"));
  // A string cut off by the end of the text ends there.
  EXPECT_EQ(Record(u"\"abc"), "SD V(string,abc) ED");
}

TEST(JSONReaderGrammar, SeveralValuesFollowEachOtherAtTheTop) {
  EXPECT_EQ(Record(u"{}{}[]"), "SD SO EO SO EO SA EA ED");
  EXPECT_EQ(Record(u"{\"a\":1}[2]\"x\""),
            "SD SO SM(a) V(number,1) EM EO SA V(number,2) EA V(string,x) ED");
}

TEST(JSONReaderGrammar, WhiteSpaceIsSkippedOnlyWhereTheReaderLooksForIt) {
  // Before the first value only spaces.
  EXPECT_EQ(Record(u"   {}"), "SD SO EO ED");
  EXPECT_EQ(Record(u"\t{}"), "SD" + NotWellFormed(V, "\t"));
  EXPECT_EQ(Record(u"\n[]"), "SD" + NotWellFormed(V, "\n"));
  // Behind a top-level object or array nothing.
  EXPECT_EQ(Record(u"{}\n"), "SD SO EO" + NotWellFormed(V, "\n"));
  EXPECT_EQ(Record(u"[] "), "SD SA EA" + NotWellFormed(V, " "));
  EXPECT_EQ(Record(u"{} {}"), "SD SO EO" + NotWellFormed(V, " "));
  // Inside objects and arrays all characters up to U+0020.
  EXPECT_EQ(Record(u"[ \t\r\n1 \n, \t\"a\"\r\n]"), "SD SA V(number,1) V(string,a) EA ED");
  EXPECT_EQ(Record(u"{ \n\"a\" \t: \r\n1 \n, \"b\"\n:\t[ ] \n}"),
            "SD SO SM(a) V(number,1) EM SM(b) SA EA EM EO ED");
}

TEST(JSONReaderGrammar, ObjectsDropWhatIsNotANameOrAValue) {
  EXPECT_EQ(Record(u"{\"a\":1 junk,\"b\":2}"),
            "SD SO SM(a) V(number,1) EM SM(b) V(number,2) EM EO ED");
  EXPECT_EQ(Record(u"{xyz \"a\":1}"), "SD SO SM(a) V(number,1) EM EO ED");
  EXPECT_EQ(Record(u"{\"a\" junk : 1}"), "SD SO SM(a) V(number,1) EM EO ED");
  EXPECT_EQ(Record(u"{\"a\":\"x\" y z,\"b\":true q}"),
            "SD SO SM(a) V(string,x) EM SM(b) V(boolean,true) EM EO ED");
  EXPECT_EQ(Record(u"{\"a\":1,,\"b\":2}"), "SD SO SM(a) V(number,1) EM SM(b) V(number,2) EM EO ED");
  // Unquoted names have no place: the scan runs to the next quotation mark or the end.
  EXPECT_EQ(Record(u"{a:1}"), "SD SO EO ED");
  EXPECT_EQ(Record(u"{a:1,\"b\":2}"), "SD SO SM(b) V(number,2) EM EO ED");
}

TEST(JSONReaderGrammar, ObjectsCutOffByTheEndAreClosed) {
  EXPECT_EQ(Record(u"{"), "SD SO EO ED");
  EXPECT_EQ(Record(u"{\"a\":1"), "SD SO SM(a) V(number,1) EM EO ED");
  EXPECT_EQ(Record(u"{\"a\":{\"b\":\"x"), "SD SO SM(a) SO SM(b) V(string,x) EM EO EM EO ED");
  // A member without a value is no value at all.
  EXPECT_EQ(Record(u"{\"a\":"), "SD SO SM(a)" + NotWellFormed(V, ""));
  EXPECT_EQ(Record(u"{\"a"), "SD SO SM(a)" + NotWellFormed(V, ""));
}

TEST(JSONReaderGrammar, TrailingCommas) {
  EXPECT_EQ(Record(u"[1,]"), "SD SA V(number,1) EA ED");
  EXPECT_EQ(Record(u"[1, ]"), "SD SA V(number,1) EA ED");
  EXPECT_EQ(Record(u"[,1]"), "SD SA" + NotWellFormed(V, ","));
  EXPECT_EQ(Record(u"[1,,2]"), "SD SA V(number,1)" + NotWellFormed(V, ","));
  // In an object the scan for the next name runs over the brace to the end of the text...
  EXPECT_EQ(Record(u"{\"a\":1,}"), "SD SO SM(a) V(number,1) EM" + NotWellFormed("\"", ""));
  // ...or to a later quotation mark, which then opens the next name.
  EXPECT_EQ(Record(u"{\"a\":1,}\"b\":2}"), "SD SO SM(a) V(number,1) EM SM(b) V(number,2) EM EO ED");
}

TEST(JSONReaderGrammar, ArraysDropWhatFollowsAValue) {
  EXPECT_EQ(Record(u"[1 2]"), "SD SA V(number,1) EA ED");
  EXPECT_EQ(Record(u"[\"a\" \"b\"]"), "SD SA V(string,a) EA ED");
  EXPECT_EQ(Record(u"[nullx,truefalse]"), "SD SA V(null,null) V(boolean,true) EA ED");
}

TEST(JSONReaderGrammar, NumbersAreAnyRunOfNumberCharacters) {
  EXPECT_EQ(Record(u"[1-2,+.e,-,e,E5,.5,1.5e+10]"),
            "SD SA V(number,1-2) V(number,+.e) V(number,-) V(number,e) V(number,E5) V(number,.5) "
            "V(number,1.5e+10) EA ED");
  EXPECT_EQ(Record(u"{\"a\":1e5x,\"b\":2}"),
            "SD SO SM(a) V(number,1e5) EM SM(b) V(number,2) EM EO ED");
  EXPECT_EQ(Record(u"[12abc34]"), "SD SA V(number,12) EA ED");
  // Numbers beyond every range are text to the reader.
  EXPECT_EQ(Record(u"[1e999999,123456789012345678901234567890,-0]"),
            "SD SA V(number,1e999999) V(number,123456789012345678901234567890) V(number,-0) EA "
            "ED");
}

TEST(JSONReaderGrammar, KeywordsMustMatchLetterByLetter) {
  EXPECT_EQ(Record(u"{\"a\":tru}"), "SD SO SM(a)" + NotWellFormed("e", "}"));
  EXPECT_EQ(Record(u"[tRue]"), "SD SA" + NotWellFormed("r", "R"));
  EXPECT_EQ(Record(u"[nul]"), "SD SA" + NotWellFormed("l", "]"));
  EXPECT_EQ(Record(u"[fals"), "SD SA" + NotWellFormed("e", ""));
  EXPECT_EQ(Record(u"[True]"), "SD SA" + NotWellFormed(V, "T"));
  EXPECT_EQ(Record(u"[x]"), "SD SA" + NotWellFormed(V, "x"));
}

TEST(JSONReaderGrammar, SingleQuotesAreNoString) {
  EXPECT_EQ(Record(u"['single']"), "SD SA" + NotWellFormed(V, "'"));
  EXPECT_EQ(Record(u"{\"a\":'x'}"), "SD SO SM(a)" + NotWellFormed(V, "'"));
  EXPECT_EQ(Record(u"'x'"), "SD" + NotWellFormed(V, "'"));
}

TEST(JSONReaderGrammar, StringsArriveAsWritten) {
  // Raw control characters and line breaks are allowed.
  EXPECT_EQ(Record(u"[\"a\tb\nc\x01\"]"), "SD SA V(string,a\tb\nc\x01) EA ED");
  // Escapes are not undone, in names nor in values.
  EXPECT_EQ(Record(uR"({"a\"b\\c\/":"x\n\u0041\t"})"),
            R"(SD SO SM(a\"b\\c\/) V(string,x\n\u0041\t) EM EO ED)");
  EXPECT_EQ(Record(uR"(["\"\\\/\b\f\n\r\t\u00e9"])"),
            R"(SD SA V(string,\"\\\/\b\f\n\r\t\u00e9) EA ED)");
  // Four characters behind \u are passed unchecked, quotation marks too.
  EXPECT_EQ(Record(uR"(["\uZZ"])"), R"(SD SA V(string,\uZZ"]) EA ED)");
  EXPECT_EQ(Record(uR"(["\u12345",1])"), R"(SD SA V(string,\u12345) V(number,1) EA ED)");
  // Lone surrogates in escapes are text like any other.
  EXPECT_EQ(Record(uR"(["\uD800","\uDC00x"])"),
            R"(SD SA V(string,\uD800) V(string,\uDC00x) EA ED)");
}

TEST(JSONReaderGrammar, OnlyTheKnownEscapesAreAccepted) {
  EXPECT_EQ(Record(uR"(["\q"])"), "SD SA" + NotWellFormed(X, "q"));
  EXPECT_EQ(Record(uR"({"a\x":1})"), "SD SO" + NotWellFormed(X, "x"));
  EXPECT_EQ(Record(u"[\"\\"), "SD SA" + NotWellFormed(X, ""));
  EXPECT_EQ(Record(u"[\"\\\u00e9\"]"), "SD SA" + NotWellFormed(X, "\u00e9"));
}

TEST(JSONReaderGrammar, CharactersBeyondASCIIAreNamedWhole) {
  EXPECT_EQ(Record(u"[\u00e9]"), "SD SA" + NotWellFormed(V, "\u00e9"));
  EXPECT_EQ(Record(u"[\U0001F600]"), "SD SA" + NotWellFormed(V, "\U0001F600"));
}

TEST(JSONReaderGrammar, TruncatedUTF8EndsAsAStringValue) {
  for (const std::string &bytes :
       {std::string("[\"a\xC3"), std::string("[\"a\xE2\x82\"]"), std::string("[\"a\xF0\x9F\"]")}) {
    SCOPED_TRACE(bytes);
    TVnJSONReader *reader = New<TVnJSONReader>();
    TRecorder *rec = New<TRecorder>();
    DelphiInterface<IVnJSONContentHandler> keep(rec);
    reader->SetContentHandler(rec);
    reader->SetErrorHandler(rec);
    EXPECT_NO_THROW(reader->Parse(AnsiString(bytes, CP_UTF8), CP_UTF8));
    ASSERT_EQ(rec->Events.size(), 5u) << rec->Joined();
    EXPECT_EQ(rec->Events[1], "SA");
    EXPECT_EQ(rec->Events[2].substr(0, 10), "V(string,a");
    EXPECT_EQ(rec->Events[3], "EA");
    reader->Free();
  }
}

// Counts the events of deep texts without keeping them.
class TCounter : public TVnObject, public IVnJSONContentHandler, public IVnJSONErrorHandler {
  VN_CLASS(TCounter, TVnObject)
  VN_IMPLEMENTS(TVnObject, IVnJSONContentHandler, IVnJSONErrorHandler)
 public:
  long Starts = 0, Ends = 0, Members = 0, Values = 0, Depth = 0, MaxDepth = 0, Documents = 0;
  bool Underflow = false;
  void Reset() { Starts = Ends = Members = Values = Depth = MaxDepth = Documents = 0; }
  void Open() {
    ++Starts;
    MaxDepth = std::max(MaxDepth, ++Depth);
  }
  void Close() {
    ++Ends;
    if (--Depth < 0) Underflow = true;
  }
  void SetDocumentLocator(IVnJSONLocator *) override {}
  void StartDocument() override { ++Documents; }
  void StartObject() override { Open(); }
  void StartMember(const VnJSONString &) override { ++Members; }
  void StartArray() override { Open(); }
  void Value(TVnJSONDataType, const VnJSONString &) override { ++Values; }
  void EndArray() override { Close(); }
  void EndMember() override {}
  void EndObject() override { Close(); }
  void EndDocument() override { ++Documents; }
  void Warning(IVnJSONLocator *, const VnJSONString &) override {}
  void Error(IVnJSONLocator *, const VnJSONString &) override {}
  void FatalError(IVnJSONLocator *, const VnJSONString &) override {}
};

TEST(JSONReaderGrammar, AMillionNestedContainersNeedNoMachineStack) {
  constexpr long n = 1000000;
  TVnJSONReader *reader = New<TVnJSONReader>();
  TCounter *counter = New<TCounter>();
  DelphiInterface<IVnJSONContentHandler> keep(counter);
  reader->SetContentHandler(counter);
  reader->SetErrorHandler(counter);

  reader->Parse(UnicodeString(n, u'[') + u"1" + UnicodeString(n, u']'));
  EXPECT_EQ(counter->Starts, n);
  EXPECT_EQ(counter->Ends, n);
  EXPECT_EQ(counter->MaxDepth, n);
  EXPECT_EQ(counter->Values, 1);
  EXPECT_EQ(counter->Documents, 2);
  EXPECT_FALSE(counter->Underflow);

  // Objects, through UTF-8.
  counter->Reset();
  std::string text;
  for (long i = 0; i < n; ++i) text += "{\"a\":";
  text += "true" + std::string(n, '}');
  reader->Parse(AnsiString(text, CP_UTF8), CP_UTF8);
  EXPECT_EQ(counter->Starts, n);
  EXPECT_EQ(counter->Ends, n);
  EXPECT_EQ(counter->Members, n);
  EXPECT_EQ(counter->Values, 1);

  // Never closed: the innermost array finds no value at the end.
  counter->Reset();
  ExpectRaises<EVnJSONParseError>([&] { reader->Parse(UnicodeString(n, u'[')); },
                                  u"The document is not wellformed!\r\n\"" +
                                      UTF8ToString(cValueStart) + u"\" expected, but \"\" found!",
                                  2);
  EXPECT_EQ(counter->Starts, n);
  EXPECT_EQ(counter->Ends, 0);
  reader->Free();
}

// --- failures

TEST(JSONReaderFailures, MissingHandlersAreNamedBeforeAnyEvent) {
  TVnJSONReader *reader = New<TVnJSONReader>();
  TRecorder *rec = New<TRecorder>();
  DelphiInterface<IVnJSONContentHandler> keep(rec);
  ExpectRaises<EVnJSONException>([&] { reader->Parse(u"{}"); },
                                 u"No contenthandler has been assigned!", 3);
  reader->SetErrorHandler(rec);
  ExpectRaises<EVnJSONException>([&] { reader->Parse(u"{}"); },
                                 u"No contenthandler has been assigned!", 3);
  reader->SetErrorHandler(nullptr);
  reader->SetContentHandler(rec);
  ExpectRaises<EVnJSONException>([&] { reader->Parse(u"{}"); },
                                 u"No errorhandler has been assigned!", 4);
  EXPECT_TRUE(rec->Events.empty()) << rec->Joined();
  reader->Free();
}

TEST(JSONReaderFailures, ParseErrorsReachTheCallerWithoutTheErrorHandler) {
  TVnJSONReader *reader = New<TVnJSONReader>();
  TRecorder *rec = New<TRecorder>();
  DelphiInterface<IVnJSONContentHandler> keep(rec);
  reader->SetContentHandler(rec);
  reader->SetErrorHandler(rec);
  ExpectRaises<EVnJSONParseError>(
      [&] { reader->Parse(u"[1,x]"); },
      u"The document is not wellformed!\r\n\"\", t, f, n, 0..9, ., + or -\" expected, but \"x\" "
      u"found!",
      2);
  // Nothing went to the error handler, and the reader never offered a locator.
  EXPECT_EQ(rec->Joined(), "SD SA V(number,1)");
  // The parse error is an EVnJSONException too.
  bool caught = false;
  try {
    reader->Parse(u"[x]");
  } catch (const EVnJSONException &e) {
    caught = e.ErrorCode == 2;
  }
  EXPECT_TRUE(caught);
  reader->Free();
}

TEST(JSONReaderFailures, UnsupportedEncodingsAreRefusedBeforeAnyEvent) {
  for (const std::string &bytes :
       {std::string("\0\0\0[", 4), std::string("\0[\0]", 4), std::string("[\0\0\0", 4)}) {
    TVnJSONReader *reader = New<TVnJSONReader>();
    TRecorder *rec = New<TRecorder>();
    DelphiInterface<IVnJSONContentHandler> keep(rec);
    reader->SetContentHandler(rec);
    reader->SetErrorHandler(rec);
    ExpectRaises<Exception>([&] { reader->Parse(AnsiString(bytes, CP_WIN1252), CP_WIN1252); },
                            u"The specified encoding is not supported!");
    EXPECT_TRUE(rec->Events.empty());
    reader->Free();
  }
}

// --- sources

struct TTempFile {
  std::filesystem::path Path;
  TTempFile(const char *AName, const std::string &ABytes)
      : Path(std::filesystem::temp_directory_path() /
             (std::string("vnxml_json_") + std::to_string(::getpid()) + "_" + AName)) {
    std::ofstream(Path, std::ios::binary) << ABytes;
  }
  ~TTempFile() { std::filesystem::remove(Path); }
  UnicodeString Name() const { return UTF8ToString(Path.string()); }
};

std::string ParseWith(const std::function<void(TVnJSONReader *)> &AParse) {
  TVnJSONReader *reader = New<TVnJSONReader>();
  TRecorder *rec = New<TRecorder>();
  DelphiInterface<IVnJSONContentHandler> keep(rec);
  reader->SetContentHandler(rec);
  reader->SetErrorHandler(rec);
  TOutcome out;
  Capture(out, [&] { AParse(reader); });
  reader->Free();
  return rec->Joined() + (out.Error.empty() ? "" : " !" + out.Error + ": " + out.Message);
}

TEST(JSONReaderSources, ParseFileTakesTheByteOrderMarkOverTheCodePage) {
  const std::string expected = "SD SO SM(\u00e9) V(number,1) EM EO ED";
  const TTempFile utf16("bom16.json", "\xFF\xFE" + Utf16Bytes(u"{\"\u00e9\":1}"));
  EXPECT_EQ(ParseWith([&](TVnJSONReader *R) { R->ParseFile(utf16.Name(), CP_UTF8); }), expected);
  const TTempFile utf8("bom8.json", "\xEF\xBB\xBF{\"\xC3\xA9\":1}");
  EXPECT_EQ(ParseWith([&](TVnJSONReader *R) { R->ParseFile(utf8.Name(), CP_UTF16); }), expected);
  // Without a mark the code page is taken.
  const TTempFile plain("plain16.json", Utf16Bytes(u"{\"\u00e9\":1}"));
  EXPECT_EQ(ParseWith([&](TVnJSONReader *R) { R->ParseFile(plain.Name(), CP_UTF16, u"f"); }),
            expected);
}

TEST(JSONReaderSources, ParseFileOfAMissingFile) {
  const UnicodeString name = u"/nonexistent/vnxml/none.json";
  TVnJSONReader *reader = New<TVnJSONReader>();
  TRecorder *rec = New<TRecorder>();
  DelphiInterface<IVnJSONContentHandler> keep(rec);
  reader->SetContentHandler(rec);
  reader->SetErrorHandler(rec);
  EXPECT_EQ(vntest::MessageOf<Exception>([&] { reader->ParseFile(name, CP_UTF8); }),
            u"There is no file \"" + name + u"\"");
  EXPECT_TRUE(rec->Events.empty());
  reader->Free();
}

TEST(JSONReaderSources, ParseStreamReadsFromTheCurrentPositionAndLeavesTheStreamOpen) {
  TMemoryStream *stream = New<TMemoryStream>();
  const std::string bytes = "junk[1,\"\xC3\xA9\"]";
  stream->WriteBuffer(bytes.data(), static_cast<Int64>(bytes.size()));
  stream->SetPosition(4);
  EXPECT_EQ(ParseWith([&](TVnJSONReader *R) { R->ParseStream(stream, CP_UTF8); }),
            "SD SA V(number,1) V(string,\u00e9) EA ED");
  stream->SetPosition(0);
  EXPECT_EQ(stream->GetSize(), static_cast<Int64>(bytes.size()));
  stream->Free();
}

TEST(JSONReaderSources, ParseBufferReadsTheGivenSizeOnly) {
  const std::string bytes = "[1,2]garbage";
  EXPECT_EQ(ParseWith([&](TVnJSONReader *R) { R->ParseBuffer(bytes.data(), 5, CP_UTF8); }),
            "SD SA V(number,1) V(number,2) EA ED");
  EXPECT_EQ(ParseWith([&](TVnJSONReader *R) { R->ParseBuffer(bytes.data(), 0, CP_UTF8); }),
            "SD ED");
}

// --- locator and reuse

TEST(JSONReaderLocator, LinesAndColumnsDuringTheEventsAndMinusOneOutside) {
  const UnicodeString text = u"{\n  \"a\": 1,\n  \"b\": [\"\u00e9\",2]\n}";
  for (TSource src : {TSource::Utf16, TSource::Utf8}) {
    SCOPED_TRACE(SourceName(src));
    TVnJSONReader *reader = New<TVnJSONReader>();
    TRecorder *rec = New<TRecorder>();
    DelphiInterface<IVnJSONContentHandler> keep(rec);
    reader->SetContentHandler(rec);
    reader->SetErrorHandler(rec);
    EXPECT_EQ(reader->GetLineNr(), -1);
    EXPECT_EQ(reader->GetColNr(), -1);
    std::vector<std::string> at;
    rec->OnEvent = [&](const std::string &AEvent) {
      if (AEvent == "SD" || AEvent == "ED" || AEvent == "EM") return;
      at.push_back(AEvent + "@" + std::to_string(reader->GetLineNr()) + ":" +
                   std::to_string(reader->GetColNr()));
    };
    if (src == TSource::Utf16)
      reader->Parse(text);
    else
      reader->Parse(AnsiString(UTF8Encode(text), CP_UTF8), CP_UTF8);
    // An object or array opens on its bracket, a name ends on its closing quotation mark, a
    // string value too, and a number ends behind its last character.
    EXPECT_EQ(at, (std::vector<std::string>{"SO@1:1", "SM(a)@2:5", "V(number,1)@2:9", "SM(b)@3:5",
                                            "SA@3:8", "V(string,\u00e9)@3:11", "V(number,2)@3:14",
                                            "EA@3:14", "EO@4:1"}));
    EXPECT_EQ(reader->GetLineNr(), -1);
    EXPECT_EQ(reader->GetColNr(), -1);
    reader->Free();
  }
}

TEST(JSONReaderLocator, PublicIDStartsAsTheAddressAndFollowsEachParse) {
  TVnJSONReader *reader = New<TVnJSONReader>();
  EXPECT_EQ(reader->GetPublicID(),
            IntToStr(static_cast<Int64>(reinterpret_cast<NativeUInt>(reader))));
  TRecorder *rec = New<TRecorder>();
  DelphiInterface<IVnJSONContentHandler> keep(rec);
  reader->SetContentHandler(rec);
  reader->SetErrorHandler(rec);
  UnicodeString during;
  rec->OnEvent = [&](const std::string &) { during = reader->GetPublicID(); };
  reader->Parse(u"[1]", u"first");
  EXPECT_EQ(during, u"first");
  EXPECT_EQ(reader->GetPublicID(), u"first");
  reader->Parse(AnsiString("[1]"), CP_UTF8);
  EXPECT_EQ(reader->GetPublicID(), u"");
  reader->Free();
}

TEST(JSONReaderReuse, AReaderParsesAgainAfterSuccessAndFailure) {
  TVnJSONReader *reader = New<TVnJSONReader>();
  TRecorder *rec = New<TRecorder>();
  DelphiInterface<IVnJSONContentHandler> keep(rec);
  reader->SetContentHandler(rec);
  reader->SetErrorHandler(rec);
  reader->Parse(u"[1]");
  EXPECT_THROW(reader->Parse(u"{\"a\":tru}"), EVnJSONParseError);
  EXPECT_EQ(reader->GetLineNr(), -1);
  // A handler's own exception passes through unchanged.
  rec->OnEvent = [](const std::string &AEvent) {
    if (AEvent == "V(number,2)") throw EAbort(u"stop");
  };
  ExpectRaises<EAbort>([&] { reader->Parse(u"[2,3]"); }, u"stop");
  rec->OnEvent = nullptr;
  reader->Parse(u"{}");
  EXPECT_EQ(rec->Joined(), "SD SA V(number,1) EA ED SD SO SM(a) SD SA V(number,2) SD SO EO ED");
  // Another handler takes over for the next parse.
  TRecorder *other = New<TRecorder>();
  DelphiInterface<IVnJSONContentHandler> keepOther(other);
  reader->SetContentHandler(other);
  reader->Parse(u"null");
  EXPECT_EQ(other->Joined(), "SD V(null,null) ED");
  EXPECT_EQ(rec->Events.size(), 15u);
  reader->Free();
}

// --- the component

TEST(JSONParserComponent, EventsInOrderWithTheirArguments) {
  TVnJSONParser *parser = New<TVnJSONParser>(nullptr);
  std::vector<std::string> log;
  bool senders = true;
  auto note = [&](const char *AName) {
    return [&, AName](TObject *ASender) {
      senders = senders && ASender == parser;
      log.push_back(AName);
    };
  };
  parser->OnStart = note("Start");
  parser->OnFinished = note("Finished");
  parser->OnStartDocument = note("SD");
  parser->OnStartObject = note("SO");
  parser->OnStartArray = note("SA");
  parser->OnEndArray = note("EA");
  parser->OnEndMember = note("EM");
  parser->OnEndObject = note("EO");
  parser->OnEndDocument = note("ED");
  parser->OnStartMember = [&](TObject *ASender, const VnJSONString &AName) {
    senders = senders && ASender == parser;
    log.push_back("SM(" + U8(AName) + ")");
  };
  parser->OnValue = [&](TObject *ASender, TVnJSONDataType AType, const VnJSONString &AText) {
    senders = senders && ASender == parser;
    log.push_back(std::string("V(") + TypeName(AType) + "," + U8(AText) + ")");
    // During the parse the component holds its reader, which locates the events.
    EXPECT_NE(parser->Reader(), nullptr);
    EXPECT_EQ(parser->Reader()->GetLineNr(), 1);
    EXPECT_EQ(parser->Reader()->GetPublicID(), u"pid");
  };
  auto fatal = [&](TObject *, IVnJSONLocator *, const VnJSONString &) { log.push_back("FE"); };
  parser->OnFatalError = fatal;
  parser->OnError = fatal;
  parser->OnWarning = fatal;

  parser->Parse(uR"({"a":[1,"x\u0041",null]})", u"pid");
  EXPECT_EQ(log, (std::vector<std::string>{"Start", "SD", "SO", "SM(a)", "SA", "V(number,1)",
                                           R"(V(string,x\u0041))", "V(null,null)", "EA", "EM", "EO",
                                           "ED", "Finished"}));
  EXPECT_TRUE(senders);
  EXPECT_EQ(parser->Reader(), nullptr);
  EXPECT_EQ(parser->Locator(), nullptr);

  // A failure still finishes, frees the reader and reaches the caller; OnFatalError stays
  // silent.
  log.clear();
  EXPECT_THROW(parser->Parse(AnsiString("[x]"), CP_UTF8), EVnJSONParseError);
  EXPECT_EQ(log, (std::vector<std::string>{"Start", "SD", "SA", "Finished"}));
  EXPECT_EQ(parser->Reader(), nullptr);
  parser->Free();
}

TEST(JSONParserComponent, EveryEntryPointReadsTheSameEvents) {
  TVnJSONParser *parser = New<TVnJSONParser>(nullptr);
  std::string log;
  parser->OnStartArray = [&](TObject *) { log += "SA "; };
  parser->OnValue = [&](TObject *, TVnJSONDataType, const VnJSONString &AText) {
    log += U8(AText) + " ";
  };
  parser->OnEndArray = [&](TObject *) { log += "EA;"; };
  const std::string bytes = "[\"\xC3\xA9\",2]";
  parser->Parse(u"[\"\u00e9\",2]");
  parser->Parse(AnsiString(bytes, CP_UTF8), CP_UTF8);
  parser->ParseBuffer(bytes.data(), static_cast<Cardinal>(bytes.size()), CP_UTF8);
  TTrickleStream stream(bytes);
  parser->ParseStream(&stream, CP_UTF8);
  const TTempFile file("component.json", "\xEF\xBB\xBF" + bytes);
  parser->ParseFile(file.Name(), CP_WIN1252);
  EXPECT_EQ(log, "SA \u00e9 2 EA;SA \u00e9 2 EA;SA \u00e9 2 EA;SA \u00e9 2 EA;SA \u00e9 2 EA;");
  // Without events assigned the component reads quietly.
  TVnJSONParser *quiet = New<TVnJSONParser>(nullptr);
  EXPECT_NO_THROW(quiet->Parse(u"{\"a\":[1,{}]}"));
  quiet->Free();
  parser->Free();
}

TEST(JSONParserComponent, FailingStartAndFinishEventsStillFreeTheReader) {
  TVnJSONParser *parser = New<TVnJSONParser>(nullptr);
  std::vector<std::string> log;
  parser->OnStart = [&](TObject *) {
    log.push_back("Start");
    throw EAbort(u"start");
  };
  parser->OnFinished = [&](TObject *) { log.push_back("Finished"); };
  parser->OnStartDocument = [&](TObject *) { log.push_back("SD"); };
  ExpectRaises<EAbort>([&] { parser->Parse(u"[]"); }, u"start");
  EXPECT_EQ(parser->Reader(), nullptr);
  // The parse never began, so it does not finish either.
  EXPECT_EQ(log, (std::vector<std::string>{"Start"}));

  parser->OnStart = nullptr;
  parser->OnFinished = [&](TObject *) {
    log.push_back("Finished");
    throw EAbort(u"finish");
  };
  ExpectRaises<EAbort>([&] { parser->Parse(u"[]"); }, u"finish");
  EXPECT_EQ(parser->Reader(), nullptr);
  // After a failed parse the exception of OnFinished is the one that leaves.
  ExpectRaises<EAbort>([&] { parser->Parse(u"[x]"); }, u"finish");
  EXPECT_EQ(parser->Reader(), nullptr);
  parser->OnFinished = nullptr;
  log.clear();
  parser->Parse(u"[]");
  EXPECT_EQ(log, (std::vector<std::string>{"SD"}));
  parser->Free();
}

// The tree takes ASCII text straight from UTF-8 bytes; a character beyond ASCII anywhere in a
// name or value, long runs of white space and a window that moves during a string must all
// leave the same tree as the text read in UTF-16.
TEST(JSONReaderSources, TheTreeReadsUtf8LikeUtf16WhereverACharacterBeyondAsciiStands) {
  UnicodeString text = u"{";
  for (std::size_t at : {0u, 1u, 14u, 15u, 16u, 17u, 31u, 32u, 40u}) {
    const UnicodeString s = UnicodeString(at, u'a') + u"\u00e9" + UnicodeString(20, u'b');
    const UnicodeString wide = UnicodeString(at, u'c') + u"\u0416" + UnicodeString(3, u'd');
    if (text.size() > 1) text += u",";
    text += u"\n" + UnicodeString(37, u' ') + u"\"" + s + u"\"\t:  \"" + wide + u"\"";
    text += u", \"" + wide + u"\":" + UnicodeString(at, u' ') + u"[\"" + s + u"\", 12]";
  }
  text += u"\r\n}";
  auto loadBytes = [](TStream *AStream) {
    TVnJSONDocument *d = New<TVnJSONDocument>();
    d->LoadFromStream(AStream, CP_UTF8);
    const UnicodeString r = d->GetAsJSON();
    d->Free();
    return r;
  };
  TVnJSONDocument *ref = New<TVnJSONDocument>();
  ref->SetAsJSON(text);
  const UnicodeString expected = ref->GetAsJSON();
  EXPECT_EQ(ref->GetRootValue()->Count(), 18);
  EXPECT_EQ(ref->GetRootValue()->Item(2)->GetName(),
            UnicodeString(1, u'a') + u"\u00e9" + UnicodeString(20, u'b'));
  ref->Free();
  const std::string bytes = UTF8Encode(text);
  TMemoryStream memory;
  memory.Write(bytes.data(), static_cast<Int64>(bytes.size()));
  memory.Seek(0, soBeginning);
  EXPECT_EQ(loadBytes(&memory), expected);
  TTrickleStream trickle(bytes);
  EXPECT_EQ(loadBytes(&trickle), expected);
}

}  // namespace
