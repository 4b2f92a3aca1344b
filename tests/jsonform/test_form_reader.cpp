// The form-URL-encoded reader: the events of keys, suffixes and values, the decoding of escapes,
// the pairs that end the body, the failures, and the loads and the component that choose it.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "jsonform/form_util.h"

namespace {

using namespace vn;
using namespace formtest;

const std::string cBracket = "Exception: The parser expected to read a \"[\" character, but \"";
const std::string cUTF8 = " !Exception: Invalid UTF8 Encoding detected";

// --- events

TEST(FormReaderEvents, KeysSuffixesAndValues) {
  EXPECT_EQ(Form(""), "SD SO EO ED");
  EXPECT_EQ(Form("a=1&b=2"), "SD SO SM(a) V(string,1) EM SM(b) V(string,2) EM EO ED");
  EXPECT_EQ(Form("a[]=1&a[]=2"), "SD SO SM(a) SA V(string,1) V(string,2) EA EM EO ED");
  EXPECT_EQ(Form("a[b]=1&a[c]=2"),
            "SD SO SM(a) SO SM(b) V(string,1) EM SM(c) V(string,2) EM EO EM EO ED");
  EXPECT_EQ(Form("a%5Bb%5D=1"), Form("a[b]=1"));
  EXPECT_EQ(Form("a%5bb%5d=1"), Form("a[b]=1"));
  EXPECT_EQ(Form("a[0][b]=1&a[1][b]=2"),
            "SD SO SM(a) SA SO SM(b) V(string,1) EM EO SO SM(b) V(string,2) EM EO EA EM EO ED");
  // A level that the next key leaves closes with everything below it.
  EXPECT_EQ(Form("a[b][c]=1&a[d]=2&e=3"),
            "SD SO SM(a) SO SM(b) SO SM(c) V(string,1) EM EO EM SM(d) V(string,2) EM EO EM "
            "SM(e) V(string,3) EM EO ED");
  EXPECT_EQ(Form("a[]=1&b=2"), "SD SO SM(a) SA V(string,1) EA EM SM(b) V(string,2) EM EO ED");
  // Empty names and values.
  EXPECT_EQ(Form("=&a="), "SD SO SM() V(string,) EM SM(a) V(string,) EM EO ED");
}

TEST(FormReaderEvents, ValuesAreDecodedStringsEscapedForTheHandler) {
  EXPECT_EQ(Form("x=a+b%21"), "SD SO SM(x) V(string,a b!) EM EO ED");
  EXPECT_EQ(Form("x=%E2%82%AC"), "SD SO SM(x) V(string,\\u20AC) EM EO ED");
  // "=" and "%5B" are text in a value; line breaks vanish.
  EXPECT_EQ(Form("x=a=b%5B\r\nc"), "SD SO SM(x) V(string,a=b[c) EM EO ED");
  EXPECT_EQ(Form("x=a/%22b"), "SD SO SM(x) V(string,a\\/\\\"b) EM EO ED");
  // A value that starts with "[" or "{" goes unescaped.
  EXPECT_EQ(Form("x=[\"a/b\"]&y=%7B%22z%22%7D"),
            "SD SO SM(x) V(string,[\"a/b\"]) EM SM(y) V(string,{\"z\"}) EM EO ED");
  // Names are handed over decoded; "+" and "&" belong to a name.
  EXPECT_EQ(Form("a%2Fb+c&d=1"), "SD SO SM(a/b+c&d) V(string,1) EM EO ED");
}

TEST(FormReaderEvents, APairThatBeginsWithAnUnderscoreEndsTheBody) {
  EXPECT_EQ(Form("a=1&_=123"), "SD SO SM(a) V(string,1) EM EO ED");
  EXPECT_EQ(Form("a=1&_=123&b=2"), "SD SO SM(a) V(string,1) EM EO ED");
  EXPECT_EQ(Form("a[]=1&_x"), "SD SO SM(a) SA V(string,1) EA EM EO ED");
  // The first pair is read; a last key of its own is dropped, decoded or not.
  EXPECT_EQ(Form("_=1"), "SD SO SM(_) V(string,1) EM EO ED");
  EXPECT_EQ(Form("_x"), "SD SO EO ED");
  EXPECT_EQ(Form("a=1&%5Fx"), "SD SO SM(a) V(string,1) EM EO ED");
  EXPECT_EQ(Form("a=1&%5F=2"), "SD SO SM(a) V(string,1) EM SM(_) V(string,2) EM EO ED");
  // A trailing "&" ends the body too.
  EXPECT_EQ(Form("a=1&"), "SD SO SM(a) V(string,1) EM EO ED");
}

// Values and names decode alike wherever their escapes fall, near the start, across sixteen
// bytes and at the end.
TEST(FormReaderEvents, EscapesDecodeAtEveryPosition) {
  for (int shift = 0; shift < 34; ++shift) {
    const std::string pad(static_cast<std::size_t>(shift), 'x');
    EXPECT_EQ(Form("v=" + pad + "a+b%2Fc%C3%A9d%E2%82%ACe%0Df\r\ng%5Ch"),
              "SD SO SM(v) V(string," + pad + "a b\\/c\u00e9d\\u20ACe\\rfg\\\\h) EM EO ED");
    EXPECT_EQ(Form(pad + "a%C3%A9+%2B%5Bx" + pad + "%5D=" + pad + "%C3%A9"),
              "SD SO SM(" + pad + "a\u00e9++) SO SM(x" + pad + ") V(string," + pad +
                  "\u00e9) EM EO EM EO ED");
  }
}

// The events equal those of the JSON reader over the same data as JSON text.
TEST(FormReaderEvents, TheSameEventsAsTheJSONText) {
  const std::vector<std::pair<std::string, UnicodeString>> cases = {
      {"a=1&b[c][]=x&b[c][]=y&b[d]=z", uR"({"a":"1","b":{"c":["x","y"],"d":"z"}})"},
      {"a[0][b]=1&a[0][c]=2&a[1][b]=3", uR"({"a":[{"b":"1","c":"2"},{"b":"3"}]})"},
      {"a[][][]=1&a[][][]=2", uR"({"a":[[["1","2"]]]})"},
      {"a=%C3%A9%F0%9F%98%80", uR"({"a":"é\uD83D\uDE00"})"},
  };
  for (const auto &[body, json] : cases) EXPECT_EQ(Form(body), Record(json)) << body;
}

// --- failures

TEST(FormReaderFailures, MessagesAndWhatWasDeliveredBefore) {
  EXPECT_EQ(Form("x=%E2"), "SD SO SM(x)" + cUTF8);
  EXPECT_EQ(Form("x=%E2%82"), "SD SO SM(x)" + cUTF8);
  EXPECT_EQ(Form("x=%E2%82A"), "SD SO SM(x)" + cUTF8);
  EXPECT_EQ(Form("x=%E2%zz%AC"), "SD SO SM(x)" + cUTF8);
  EXPECT_EQ(Form("a=1&b]=2"), "SD SO SM(a) V(string,1) EM !" + cBracket + "]\", was read instead!");
  EXPECT_EQ(Form("a[b]c=1"), "SD SO !" + cBracket + "c\", was read instead!");
  EXPECT_EQ(Form("a[b]%5D=1"), "SD SO !" + cBracket + "%\", was read instead!");
  EXPECT_EQ(Form("a[b]%41=1"), "SD SO !" + cBracket + "%\", was read instead!");
  // A key without "=" at the end of the text.
  EXPECT_EQ(Form("a=1&b"), "SD SO SM(a) V(string,1) EM !" + cBracket + "\", was read instead!");
  EXPECT_EQ(Form("a[b]"), "SD SO !" + cBracket + "\", was read instead!");
}

TEST(FormReaderFailures, OnlyTheContentHandlerIsRequired) {
  TVnJSONReader *reader = New<TVnFormURLEncodedJSONReader>();
  ExpectRaises<EVnJSONException>([&] { reader->Parse(u"a=1"); },
                                 u"No contenthandler has been assigned!", 3);
  reader->Free();
}

// --- the loads and the component

TEST(FormReaderLoads, DocumentsAndTheComponentReadFormBodies) {
  const std::string body = "a[]=1&a[]=2&b[c]=%E2%82%AC";
  EXPECT_EQ(Tree(body), R"({"a": ["1", "2"], "b": {"c": "\u20AC"}})");

  Owned<TVnJSONDocument> doc(New<TVnJSONDocument>());
  TPointerStream stream(body.data(), static_cast<Int64>(body.size()));
  doc->LoadFromStream(&stream, CP_UTF8, true);
  EXPECT_EQ(
      doc->GetMember(u"b", {jsoRaise})->GetAsObject()->GetMember(u"c", {jsoRaise})->GetAsString(),
      u"\u20AC");

  TVnJSONParser *parser = New<TVnJSONParser>(nullptr);
  std::string log;
  parser->OnStartMember = [&](TObject *, const VnJSONString &AName) { log += U8(AName) + ":"; };
  parser->OnValue = [&](TObject *, TVnJSONDataType AType, const VnJSONString &AText) {
    log += std::string(TypeName(AType)) + "," + U8(AText) + ";";
  };
  parser->ParseBuffer(body.data(), static_cast<Cardinal>(body.size()), CP_UTF8, true);
  TTrickleStream trickle(body);
  parser->ParseStream(&trickle, CP_UTF8, true);
  const std::string once = "a:string,1;string,2;b:c:string,\\u20AC;";
  EXPECT_EQ(log, once + once);
  parser->Free();
}

}  // namespace
