// Which form a call reaches. Every UTF-8 form is called with a narrow literal, a std::string and
// a std::string_view (a typed test over the three), and the UTF-16 calls that stood before
// beside them, braced option sets included, must still reach their own forms.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <type_traits>

#include "tests/utf8/utf8_text.h"
#include "vnxml/common/uVnSerializer.h"
#include "vnxml/json/uVnJSON.h"
#include "vnxml/json/uVnJSONSerializer.h"
#include "vnxml/xml/uVnXMLDOM.h"

using namespace vn;
using namespace utf8test;

// The names that keep an AnsiString form take their 8-bit text as before: a narrow literal and
// a std::string still reach it without ambiguity beside the UTF-8 loads.
static_assert(requires(TVnDOMDocument * d, std::string s) {
  d->LoadFromXML("<a/>");
  d->LoadFromXML(s);
  d->LoadFromUTF8("<a/>");
  d->LoadFromUTF8(s);
  TVnDOMDocument::CreateFromUTF8(std::string_view(s));
});
static_assert(requires(std::string s) {
  TVnJSONDocument::CreateFromJSON("{}", CP_UTF8);
  TVnJSONDocument::CreateFromUTF8("{}");
  VnCreateFrom(dsfJSON, "{}");
  VnCreateFrom(dsfJSON, s);
  VnCreateFrom(dsfJSON, std::string_view(s));
});
// The getters of UTF-8 text answer std::string, those of UTF-16 text UnicodeString.
static_assert(std::is_same_v<decltype(std::declval<TVnDOMNode &>().GetXMLUTF8()), std::string>);
static_assert(std::is_same_v<decltype(std::declval<TVnDOMNode &>().GetXML()), UnicodeString>);
static_assert(
    std::is_same_v<decltype(std::declval<TVnJSONBase &>().GetAsStringUTF8()), std::string>);

namespace {

template <class S>
S Arg(const std::string &AText) {
  if constexpr (std::is_same_v<S, const char *>) {
    return AText.c_str();
  } else {
    return S(AText);
  }
}

template <class S>
class Utf8Overloads : public ::testing::Test {};
using NarrowKinds = ::testing::Types<const char *, std::string, std::string_view>;
TYPED_TEST_SUITE(Utf8Overloads, NarrowKinds);

}  // namespace

TYPED_TEST(Utf8Overloads, XmlFormsTakeEveryNarrowKind) {
  using S = TypeParam;
  Owned<TVnDOMDocument> doc(TVnDOMDocument::CreateFromUTF8(Arg<S>("<r><a>1</a></r>")));
  doc->LoadFromUTF8(Arg<S>("<r><" + Cafe() + ">1</" + Cafe() + "></r>"));
  TVnDOMElement *r = doc->GetRootNode();
  r->SetAttribute(Arg<S>(Cafe()), Arg<S>(std::string(cEuro)));
  EXPECT_EQ(r->GetAttributeUTF8(Arg<S>(Cafe())), cEuro);
  TVnDOMElement *child = r->FindElement(Arg<S>(Cafe()));
  ASSERT_TRUE(child);
  EXPECT_EQ(r->FindElement(Arg<S>(Cafe()), {soQualifiedName}), child);
  EXPECT_EQ(r->SelectSingleNode(Arg<S>(Cafe())), child);
  EXPECT_EQ(r->SelectSingleNode(Arg<S>(Cafe()), {soRaise}), child);
  EXPECT_EQ(r->SelectSingleElement(Arg<S>(Cafe())), child);
  EXPECT_EQ(doc->SelectSingleElement(Arg<S>(Cafe())), child);
  Owned<TVnDOMNodeList> nodes(r->CreateNodeList(Arg<S>(Cafe()), {}));
  EXPECT_EQ(nodes->Count(), 1);
  Owned<TVnDOMElementList> elements(r->CreateElementList(Arg<S>(Cafe()), {}));
  EXPECT_EQ(elements->Count(), 1);
  child->SetNodeValue(Arg<S>(std::string(cKanji)));
  EXPECT_EQ(child->GetText(), cKanji16);
  child->SetAsString(Arg<S>(std::string(cE)));
  EXPECT_EQ(child->GetText(), cE16);
  r->AddElement(Arg<S>("b"))->AddText(Arg<S>("t"));
  r->AddComment(Arg<S>("c"));
  EXPECT_EQ(doc->GetXMLUTF8(), "<r " + Cafe() + "=\"" + std::string(cEuro) + "\"><" + Cafe() + ">" +
                                   std::string(cE) + "</" + Cafe() + "><b>t</b><!--c--></r>");

  // The UTF-16 forms beside them, with braced option sets.
  EXPECT_EQ(r->FindElement(Cafe16(), {soQualifiedName}), child);
  EXPECT_EQ(r->SelectSingleNode(Cafe16(), {}), child);
  EXPECT_EQ(r->SelectSingleElement(Cafe16(), {soRaise}), child);
  r->SetAttribute(u"u", u"v");
  EXPECT_EQ(r->GetAttribute(u"u"), u"v");
}

TYPED_TEST(Utf8Overloads, JsonFormsTakeEveryNarrowKind) {
  using S = TypeParam;
  Owned<TVnJSONDocument> doc(TVnJSONDocument::CreateFromUTF8(Arg<S>("{\"" + Cafe() + "\":1}")));
  doc->SetAsJSON(Arg<S>("{\"" + Cafe() + "\":{\"n\":2}}"));
  TVnJSONMember *cafe = doc->FindMember(Arg<S>(Cafe()));
  ASSERT_TRUE(cafe);
  EXPECT_TRUE(doc->HasMember(Arg<S>(Cafe())));
  EXPECT_EQ(doc->GetMember(Arg<S>(Cafe()), {jsoRaise}), cafe);
  EXPECT_EQ(doc->GetMember(Arg<S>(Cafe()), TVnJDOCSelectOptions()), cafe);
  const std::string path = "$." + Cafe() + ".n";
  TVnJSONBase *n = doc->SelectSingleNode(Arg<S>(path), true);
  ASSERT_TRUE(n);
  EXPECT_EQ(doc->SelectSingleNode(Arg<S>(path), {}), n);
  EXPECT_EQ(doc->SelectSingleNode(Arg<S>(path), TVnJDOCSelectOptions()), n);
  Owned<TVnJSONArray> list(doc->CreateNodeList(Arg<S>(path), false));
  EXPECT_EQ(list->Count(), 1);
  Owned<TVnJSONArray> braced(doc->CreateNodeList(Arg<S>(path), {jsoRaise}));
  EXPECT_EQ(braced->Count(), 1);
  TVnJSONObject *inner = cafe->GetAsObject();
  inner->AddMember(Arg<S>("m"))->SetAsString(Arg<S>(std::string(cEuro)));
  inner->FindMember(Arg<S>("n"))->SetAsString(Arg<S>(std::string(cE)));
  EXPECT_EQ(doc->GetAsJSONUTF8(),
            "{\"" + Cafe() + "\": {\"n\": \"" + std::string(cE) + "\", \"m\": \"\\u20AC\"}}");

  // The UTF-16 forms beside them.
  EXPECT_EQ(doc->FindMember(Cafe16()), cafe);
  EXPECT_EQ(doc->GetMember(Cafe16(), {jsoRaise}), cafe);
  EXPECT_EQ(doc->SelectSingleNode(UTF8ToString(path), {}), n);
  doc->SetAsJSON(u"{\"z\":0}");
  EXPECT_TRUE(doc->HasMember(u"z"));
}
