// JSON read as XML events (TVnSAXJSONReader), the component that picks the reader by the first
// character (TVnSAXParser), and DOMs loaded from JSON.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "sax/sax_test_util.h"
#include "vnxml/xml/uVnXMLDOM.h"

namespace {

using namespace vn;
using saxtest::TOutcome;
using saxtest::TRecorder;

const std::string cRoot =
    "[xsi,xmlns:xsi,=http://www.w3.org/2001/XMLSchema-instance;xsd,xmlns:xsd,=http://www.w3.org/"
    "2001/XMLSchema]";
const std::string cDec = "[type,xsd:type,http://www.w3.org/2001/XMLSchema=decimal]";
const std::string cDecO = "[type,xsd:type,xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"=decimal]";
const std::string cStrO = "[type,xsd:type,xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"=string]";
const std::string cNil = "[nil,xsi:nil,http://www.w3.org/2001/XMLSchema-instance=true]";

// The events of AJSON through the JSON reader, from UTF-16 and from UTF-8 alike.
TOutcome RunJSON(const UnicodeString &AJSON, bool AUtf8 = false) {
  TOutcome out;
  TVnSAXJSONReader *reader = New<TVnSAXJSONReader>();
  TRecorder *rec = New<TRecorder>();
  DelphiInterface<IVnSAXContentHandler> keep(rec);
  reader->SetContentHandler(rec);
  reader->SetErrorHandler(rec);
  saxtest::Capture(out, [&] {
    if (AUtf8)
      reader->Parse(AnsiString(UTF8Encode(AJSON)), CP_UTF8);
    else
      reader->Parse(AJSON);
  });
  out.Events = rec->Events;
  reader->Free();
  return out;
}

std::string Events(const UnicodeString &AJSON) {
  TOutcome a = RunJSON(AJSON), b = RunJSON(AJSON, true);
  EXPECT_EQ(a.Events, b.Events) << "UTF-16 and UTF-8 differ for " << UTF8Encode(AJSON);
  std::string s = a.Error.empty() ? "" : a.Error + " " + std::to_string(a.Code) + ": " + a.Message;
  for (const std::string &e : a.Events) s += (s.empty() ? "" : " ") + e;
  return s;
}

TEST(SAXJSONReader, EventsOfEveryShape) {
  EXPECT_EQ(Events(u"{\"a\":[1,null],\"b\":\"x\"}"),
            "SD SE(,object,object)" + cRoot + " SE(,aArr,aArray) SE(,a,a)" + cDec +
                " C(1) EE(,a,a) SE(,a,a)" + cNil + " C(null) EE(,a,a) EE(,aArray,aArray) SE(,b,b)" +
                cStrO + " C(x) EE(,b,b) EE(,object,object) ED");
  EXPECT_EQ(Events(u"[]"), "SD SE(,array,array)" + cRoot + " EE(,array,array) ED");
  EXPECT_EQ(Events(u" \n[[1]]"), "SD SE(,array,array)" + cRoot +
                                     " SE(,arrayArray,arrayArray) SE(,array,array)" + cDec +
                                     " C(1) EE(,array,array) EE(,arrayArray,arrayArray)"
                                     " EE(,array,array) ED");
  // Several values at the top stand below the one root.
  EXPECT_EQ(Events(u"[1] [true]"),
            "SD SE(,array,array)" + cRoot + " SE(,array,array)" + cDec +
                " C(1) EE(,array,array) SE(,array,array)"
                "[type,xsd:type,http://www.w3.org/2001/XMLSchema=boolean] C(true) EE(,array,array)"
                " EE(,array,array) ED");
  // Objects inside arrays and objects, the empty object, and escapes left as written.
  EXPECT_EQ(Events(u"{\"o\":{\"e\":{},\"s\":\"x\\ny\\u00e9\"},\"l\":[{\"k\":false}]}"),
            "SD SE(,object,object)" + cRoot + " SE(,o,o) SE(,e,e) EE(,e,e) SE(,s,s)" + cStrO +
                " C(x\\ny\\u00e9) EE(,s,s) EE(,o,o) SE(,lArr,lArray) SE(,l,l) SE(,k,k)"
                "[type,xsd:type,xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"=boolean] C(false)"
                " EE(,k,k) EE(,l,l) EE(,lArray,lArray) EE(,object,object) ED");
  // Numbers are not checked; what follows one up to "," or "]" is dropped.
  EXPECT_EQ(Events(u"[1e+-. junk,2]"), "SD SE(,array,array)" + cRoot + " SE(,array,array)" + cDec +
                                           " C(1e+-.) EE(,array,array) SE(,array,array)" + cDec +
                                           " C(2) EE(,array,array) EE(,array,array) ED");
}

TEST(SAXJSONReader, MemberNamesBecomeElementNames) {
  auto first = [](const UnicodeString &AJSON) {
    TOutcome o = RunJSON(AJSON);
    return o.Events.size() > 2 ? o.Events[2] : std::string("(none)");
  };
  EXPECT_EQ(first(u"{\"1a\":1}"), "SE(,_1a,_1a)" + cDecO);
  EXPECT_EQ(first(u"{\"a b\":1}"), "SE(,a_b,a_b)" + cDecO);
  EXPECT_EQ(first(u"{\"\":1}"), "SE(,_,_)" + cDecO);
  EXPECT_EQ(first(u"{\"p:q\":1}"), "SE(,p_q,p_q)" + cDecO);
  EXPECT_EQ(first(u"{\"-x\":1}"), "SE(,_-x,_-x)" + cDecO);
  EXPECT_EQ(first(u"{\"\u00e9t\u00e9.1\":1}"),
            "SE(,\xC3\xA9t\xC3\xA9.1,\xC3\xA9t\xC3\xA9.1)" + cDecO);
  // An array member's start event ends in "Arr", its end event in "Array".
  EXPECT_EQ(first(u"{\"x y\":[]}"), "SE(,x_yArr,x_yArray)");
  EXPECT_EQ(RunJSON(u"{\"x y\":[]}").Events[3], "EE(,x_yArray,x_yArray)");
}

TEST(SAXJSONReader, Failures) {
  const std::string notWell = "EVnJSONParseError 2: The document is not wellformed!\r\n";
  // Only an object or an array starts a document; the failure goes to FatalError first.
  EXPECT_EQ(Events(u"\"x\""), notWell +
                                  "\"{ or [\" expected, but \"\" found! SD FE(The document is not "
                                  "wellformed!\r\n\"{ or [\" expected, but \"\" found!)");
  auto starts = [](const std::string &AText, const std::string &APrefix) {
    return AText.rfind(APrefix, 0) == 0 ? APrefix : AText;
  };
  const std::string tail = notWell + "\"{ or [\" expected, but \"x\" found!";
  EXPECT_EQ(starts(Events(u"[1] x"), tail), tail);
  const std::string letter = notWell + "\"e\" expected, but \"]\" found!";
  EXPECT_EQ(starts(Events(u"[tru]"), letter), letter);
  const std::string escape =
      notWell + "\"\", \\, /, b, f, n, r, t or u\" expected, but \"q\" found!";
  EXPECT_EQ(starts(Events(u"[\"a\\q\"]"), escape), escape);
  const std::string value = notWell + "\"\", t, f, n, 0..9, ., + or -\" expected, but \"#\" found!";
  EXPECT_EQ(starts(Events(u"[#]"), value), value);
  // The DOM reports the failure as it reports one of XML, and keeps the nodes built before it.
  Owned<TVnDOMDocument> d = MakeOwned<TVnDOMDocument>();
  EXPECT_THROW(d->LoadFromXML(UnicodeString(u"{\"a\":1,\"b\":[x]}")), EVnDomSyntax);
  ASSERT_NE(d->GetRootNode(), nullptr);
  EXPECT_EQ(d->GetRootNode()->GetXML().substr(0, 11), u"<object xml");
  // Missing handlers.
  TVnSAXJSONReader *r = New<TVnSAXJSONReader>();
  TOutcome o;
  saxtest::Capture(o, [&] { r->Parse(u"{}"); });
  EXPECT_EQ(o.Error + " " + std::to_string(o.Code), "EVnJSONException 3");
  r->Free();
}

TEST(SAXJSONReader, DeepNestingAndDOM) {
  // 200,000 nested arrays read and built into a DOM without the thread's stack.
  const int depth = 200000;
  UnicodeString text(depth, u'[');
  text += u"1";
  text.append(depth, u']');
  Owned<TVnDOMDocument> deep(TVnDOMDocument::CreateFromJSON(text));
  EXPECT_EQ(deep->GetRootNode()->GetLocalName(), u"array");
  // A DOM from JSON written as XML.
  Owned<TVnDOMDocument> d(TVnDOMDocument::CreateFromJSON(u"{\"a\":[1,null],\"b\":\"x<y\"}"));
  EXPECT_EQ(UTF8Encode(d->GetRootNode()->GetXML()),
            "<object xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
            "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"><aArray><a xsd:type=\"decimal\">1</a>"
            "<a xsi:nil=\"true\">null</a></aArray><b xsd:type=\"string\">x<y</b></object>");
}

// Counts the values the JSON reader reports: objects, arrays and simple values.
class TValueCount : public TVnObject, public IVnJSONContentHandler, public IVnJSONErrorHandler {
  VN_CLASS(TValueCount, TVnObject)
  VN_IMPLEMENTS(TVnObject, IVnJSONContentHandler, IVnJSONErrorHandler)
 public:
  long Values = 0;
  void SetDocumentLocator(IVnJSONLocator *) override {}
  void StartDocument() override {}
  void StartObject() override { ++Values; }
  void StartMember(const VnJSONString &) override {}
  void StartArray() override { ++Values; }
  void Value(TVnJSONDataType, const VnJSONString &) override { ++Values; }
  void EndArray() override {}
  void EndMember() override {}
  void EndObject() override {}
  void EndDocument() override {}
  void Warning(IVnJSONLocator *, const VnJSONString &) override {}
  void Error(IVnJSONLocator *, const VnJSONString &) override {}
  void FatalError(IVnJSONLocator *, const VnJSONString &) override {}
};

TEST(SAXJSONReader, RealFilesGiveAnElementPerValue) {
  namespace fs = std::filesystem;
  int files = 0;
  for (const fs::path &dir :
       {fs::path("/usr/share/iso-codes/json"),
        fs::path(VNXML_TEST_DATA_DIR "/../../../shared/data/json").lexically_normal()}) {
    if (!fs::is_directory(dir)) continue;
    for (const auto &entry : fs::directory_iterator(dir)) {
      if (entry.path().extension() != ".json") continue;
      SCOPED_TRACE(entry.path().string());
      std::ifstream in(entry.path(), std::ios::binary);
      std::stringstream ss;
      ss << in.rdbuf();
      std::string text = ss.str();
      // The JSON reader does not pass blanks behind the top-level value.
      while (!text.empty() && static_cast<unsigned char>(text.back()) <= 32) text.pop_back();
      TVnJSONReader *reader = New<TVnJSONReader>();
      TValueCount *count = New<TValueCount>();
      reader->SetContentHandler(count);
      reader->SetErrorHandler(count);
      reader->Parse(AnsiString(text), CP_UTF8);
      const long values = count->Values;
      reader->Free();
      TPointerStream stream(text.data(), static_cast<Int64>(text.size()));
      Owned<TVnDOMDocument> d(TVnDOMDocument::CreateFromStream(&stream, CP_UTF8));
      Owned<TVnDOMNodeList> elements(d->CreateNodeList(u"//*", {}));
      EXPECT_EQ(elements->Count(), values);
      ++files;
    }
  }
  if (files == 0) GTEST_SKIP() << "no JSON files (packages iso-codes, the shared data)";
}

TEST(SAXParserComponent, ChoosesTheReaderAndNotifies) {
  Owned<TVnSAXParser> p(New<TVnSAXParser>(nullptr));
  std::vector<std::string> log;
  p->OnStart = [&](TObject *) { log.push_back("start"); };
  p->OnFinished = [&](TObject *) { log.push_back("finished"); };
  p->OnStartElement = [&](TObject *, const VnXMLString &, const VnXMLString &ALocal,
                          const VnXMLString &, IVnSAXAttributes *) {
    log.push_back(UTF8Encode(ALocal) + (p->Reader()->Is<TVnSAXJSONReader>() ? "/json" : "/xml"));
  };
  p->OnFatalError = [&](IVnSAXLocator *, const VnXMLString &) { log.push_back("fatal"); };
  auto run = [&](const UnicodeString &AText) {
    log.clear();
    try {
      p->Parse(AText);
    } catch (const Exception &e) {
      log.push_back(UTF8Encode(e.ClassName()));
    }
    std::string s;
    for (const std::string &e : log) s += (s.empty() ? "" : " ") + e;
    return s;
  };
  EXPECT_EQ(run(u"  <a/>"), "start start a/xml finished finished");
  EXPECT_EQ(run(u"  {}"), "start start object/json finished finished");
  EXPECT_EQ(run(u""), "start start fatal EVnJSONParseError");
  EXPECT_EQ(run(u"<a><1/></a>"), "start start a/xml fatal EVnXMLParseError");
  EXPECT_EQ(p->Reader(), nullptr);
  // ParseStream alone notifies once; a UTF-8 mark there is no "<", so JSON is read.
  log.clear();
  const std::string bom = "\xEF\xBB\xBF<a/>";
  TPointerStream s(bom.data(), static_cast<Int64>(bom.size()));
  EXPECT_THROW(p->ParseStream(&s, CP_UTF8), EVnJSONParseError);
  EXPECT_EQ(log.front(), "start");
  EXPECT_EQ(log.back(), "fatal");
}

}  // namespace
