// The UTF-8 forms of the JSON tree: loading UTF-8 text, writing it as UTF-8, JSON paths and
// member names in UTF-8, and values read and written as UTF-8. The JSON writer keeps characters
// up to U+00FF as they are and writes those above as \u escapes (surrogate pairs beyond the
// BMP); the UTF-8 output is that text in UTF-8.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "tests/utf8/utf8_text.h"
#include "vnxml/json/uVnJSON.h"

using namespace vn;
using namespace utf8test;

namespace {

using JDoc = Owned<TVnJSONDocument>;

// {"café":{"漢字":["€","😀"],"n":1},"x":"café € 😀 漢字"}
std::string Sample() {
  return "{\"" + Cafe() + "\":{\"" + std::string(cKanji) + "\":[\"" + std::string(cEuro) + "\",\"" +
         std::string(cSmile) + "\"],\"n\":1},\"x\":\"" + Mixed() + "\"}";
}

// The same document as the JSON writer writes it.
const char cSampleWritten[] =
    "{\"caf\xC3\xA9\": {\"\\u6F22\\u5B57\": [\"\\u20AC\", \"\\uD83D\\uDE00\"], \"n\": 1}, "
    "\"x\": \"caf\xC3\xA9 \\u20AC \\uD83D\\uDE00 \\u6F22\\u5B57\"}";

}  // namespace

// --- loading and output -----------------------------------------------------------------------

TEST(Utf8JsonText, CreateFromUTF8RoundTripsTheText) {
  const std::string text = Sample();
  JDoc doc(TVnJSONDocument::CreateFromUTF8(text));
  EXPECT_EQ(doc->GetAsJSONUTF8(), cSampleWritten);
  EXPECT_EQ(doc->GetAsJSONUTF8(), UTF8Encode(doc->GetAsJSON()));
  EXPECT_EQ(doc->FindMember("x")->GetAsStringUTF8(), Mixed());
  // What was written reads back to the same values. (A member name is kept as written, escapes
  // included, so the escaped name reads back as another name: the reader's rule, not UTF-8's.)
  JDoc again(TVnJSONDocument::CreateFromUTF8(doc->GetAsJSONUTF8()));
  EXPECT_EQ(again->FindMember("x")->GetAsStringUTF8(), Mixed());
  EXPECT_EQ(again->SelectSingleNode("$." + Cafe() + ".*[1]", true)->GetAsStringUTF8(), cSmile);
  EXPECT_EQ(doc->GetFormattedJSONUTF8(), UTF8Encode(doc->GetFormattedJSON()));
  // The same text loaded as UTF-16 gives the same tree.
  JDoc wide(TVnJSONDocument::CreateFromJSON(UTF8ToString(text)));
  EXPECT_EQ(wide->GetAsJSON(), doc->GetAsJSON());
  // A node below the top writes itself alone.
  TVnJSONBase *list = doc->SelectSingleNode("$." + Cafe() + "." + std::string(cKanji), true);
  EXPECT_EQ(list->GetAsJSONUTF8(), "[\"\\u20AC\", \"\\uD83D\\uDE00\"]");
}

TEST(Utf8JsonText, SetAsJSONReplacesTheContentAsTheUTF16FormDoes) {
  JDoc doc(TVnJSONDocument::CreateFromUTF8("{\"a\":1}"));
  doc->SetAsJSON("\xEF\xBB\xBF[\"" + Cafe() + "\"]");
  EXPECT_EQ(doc->GetAsJSONUTF8(), "[\"" + Cafe() + "\"]");
  doc->SetAsJSON(std::string_view());
  EXPECT_EQ(doc->ObjectCount(), 0);
  // Through the base class: the same form reaches a document's own SetAsJSON.
  TVnJSONBase *base = doc.get();
  base->SetAsJSON("{\"" + Cafe() + "\":null}");
  EXPECT_TRUE(doc->HasMember(Cafe()));
}

TEST(Utf8JsonText, EscapesAndRawCharactersMeanTheSame) {
  JDoc doc(TVnJSONDocument::CreateFromUTF8("{\"a\":\"\\u00e9\\ud83d\\ude00\"}"));
  EXPECT_EQ(doc->FindMember("a")->GetAsStringUTF8(), std::string(cE) + std::string(cSmile));
}

TEST(Utf8JsonText, MalformedSequencesReadAsReplacementCharacters) {
  JDoc doc(TVnJSONDocument::CreateFromUTF8("{\"a\":\"x\xFFy\xE2\x82\"}"));
  EXPECT_EQ(doc->FindMember("a")->GetAsString(), u"x\uFFFDy\uFFFD");
}

TEST(Utf8JsonText, ASyntaxErrorRaisesAsTheUTF16LoadDoes) {
  EXPECT_THROW(JDoc(TVnJSONDocument::CreateFromUTF8("{\"" + Cafe() + "\" 1}")), EVnJSONParseError);
}

// --- paths ------------------------------------------------------------------------------------

TEST(Utf8JsonSelect, PathsWithNamesBeyondASCII) {
  JDoc doc(TVnJSONDocument::CreateFromUTF8(Sample()));
  TVnJSONBase *smile = doc->SelectSingleNode("$." + Cafe() + "." + std::string(cKanji) + "[1]",
                                             TVnJDOCSelectOptions());
  ASSERT_TRUE(smile);
  EXPECT_EQ(smile->GetAsStringUTF8(), cSmile);
  EXPECT_EQ(smile, doc->SelectSingleNode(u"$." + Cafe16() + u"." + UnicodeString(cKanji16) + u"[1]",
                                         TVnJDOCSelectOptions()));

  Owned<TVnJSONArray> all(doc->CreateNodeList("$..['" + std::string(cKanji) + "'][*]", {}));
  ASSERT_EQ(all->Count(), 2);
  EXPECT_EQ(all->Item(0)->GetAsStringUTF8(), cEuro);

  Owned<TVnJSONArray> filtered(doc->CreateNodeList(
      "$." + Cafe() + ".['" + std::string(cKanji) + "'][?(@ == '" + std::string(cSmile) + "')]",
      false));
  ASSERT_EQ(filtered->Count(), 1);
  EXPECT_EQ(filtered->Item(0), smile);

  EXPECT_FALSE(doc->SelectSingleNode("$.caf", false));
  EXPECT_THROW(doc->SelectSingleNode("$.caf", true), EVnJSONException);
  EXPECT_THROW(Owned<TVnJSONArray>(doc->CreateNodeList("$.caf", {jsoRaise})), EVnJSONException);
}

TEST(Utf8JsonSelect, CreatingPathsAddMembersWithTheDecodedNames) {
  JDoc doc(TVnJSONDocument::CreateFromUTF8("{}"));
  Owned<TVnJSONArray> made(doc->CreateNodeList("$." + std::string(cKanji), {jsoCreate}));
  ASSERT_EQ(made->Count(), 1);
  EXPECT_EQ(doc->GetAsJSONUTF8(), "{\"\\u6F22\\u5B57\": null}");
  EXPECT_EQ(doc->GetRootValue()->Item(0)->GetNameUTF8(), cKanji);
}

// --- members and values -----------------------------------------------------------------------

TEST(Utf8JsonMembers, LookupByUTF8Name) {
  JDoc doc(TVnJSONDocument::CreateFromUTF8(Sample()));
  TVnJSONMember *cafe = doc->FindMember(Cafe());
  ASSERT_TRUE(cafe);
  EXPECT_EQ(cafe->GetName(), Cafe16());
  EXPECT_EQ(cafe->GetNameUTF8(), Cafe());
  EXPECT_TRUE(doc->HasMember(Cafe()));
  // Case is folded for ASCII letters only.
  EXPECT_TRUE(doc->HasMember("CAF" + std::string(cE), true));
  EXPECT_FALSE(doc->HasMember("CAF\xC3\x89", true));
  EXPECT_FALSE(doc->FindMember("caf"));

  TVnJSONObject *inner = cafe->GetAsObject();
  ASSERT_TRUE(inner);
  EXPECT_TRUE(inner->FindMember(std::string(cKanji)));
  EXPECT_EQ(inner->GetMember("n", {jsoRaise})->GetAsInteger(), 1);
  EXPECT_THROW(inner->GetMember(std::string(cEuro), {jsoRaise}), EVnJSONException);
}

TEST(Utf8JsonMembers, AddingAndSettingByUTF8) {
  JDoc doc(TVnJSONDocument::CreateFromUTF8("{}"));
  doc->GetMember(Cafe(), {jsoCreate})->SetAsString(Mixed());
  TVnJSONObject *root = doc->GetRootValue()->GetAsObject();
  root->AddMember(std::string(cKanji))->SetAsString(std::string(cEuro));
  EXPECT_EQ(doc->GetAsJSONUTF8(),
            "{\"caf\xC3\xA9\": \"caf\xC3\xA9 \\u20AC \\uD83D\\uDE00 "
            "\\u6F22\\u5B57\", \"\\u6F22\\u5B57\": \"\\u20AC\"}");
  EXPECT_EQ(doc->FindMember(Cafe())->GetAsString(), Mixed16());
  EXPECT_EQ(doc->FindMember(std::string(cKanji))->GetAsStringUTF8(), cEuro);

  // A simple value in an array takes the UTF-8 setter too.
  TVnJSONArray *list = root->AddMember(u"list", jdtArray)->GetAsArray();
  TVnJSONBase *item = list->AddValue(jdtString);
  item->SetAsString(std::string(cSmile) + "\"\\");
  EXPECT_EQ(item->GetAsStringUTF8(), std::string(cSmile) + "\"\\");
  EXPECT_EQ(list->GetAsJSONUTF8(), "[\"\\uD83D\\uDE00\\\"\\\\\"]");
  static_cast<TVnJSONSimpleType *>(item)->SetAsString("\xC3");
  EXPECT_EQ(item->GetAsString(), u"\uFFFD");
}
