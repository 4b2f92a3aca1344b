// Serialization already writes and reads UTF-8 bytes (RawByteString, a std::string): these
// tests check that text beyond ASCII makes the round trip in both notations, and that a
// std::string, a narrow literal and a std::string_view each reach the reading forms.
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "tests/utf8/utf8_text.h"
#include "vnxml/common/uVnSerializer.h"
#include "vnxml/json/uVnJSONSerializer.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/xml/uVnXMLSerializer.h"

using namespace vn;
using namespace utf8test;

namespace utf8model {

class TNote : public TPersistent {
  VN_CLASS(TNote, TPersistent)
 public:
  UnicodeString Title;
  UnicodeString Body;
};
VN_RTTI(TNote, u"utf8model") {
  R.Field(u"Title", &TNote::Title);
  R.Field(u"Body", &TNote::Body);
}

struct TLabel {
  UnicodeString Text;
};
VN_RTTI(TLabel, u"utf8model") {
  R.Field(u"Text", &TLabel::Text);
}

}  // namespace utf8model

using utf8model::TNote;

namespace {

Owned<TNote> Sample() {
  Owned<TNote> note = MakeOwned<TNote>();
  note->Title = Cafe16();
  note->Body = Mixed16();
  return note;
}

}  // namespace

TEST(Utf8Serialize, BothNotationsWriteUTF8Bytes) {
  Owned<TNote> note = Sample();
  const RawByteString json = VnSerialize(dsfJSON, TValue(note.get()));
  // The JSON writer escapes what is above U+00FF.
  EXPECT_NE(json.find("\"title\":\"" + Cafe() +
                      "\",\"body\":\"caf\xC3\xA9 \\u20AC \\uD83D\\uDE00 "
                      "\\u6F22\\u5B57\""),
            std::string::npos)
      << json;
  const RawByteString xml = VnSerializer(note.get()).AsXML();
  EXPECT_NE(xml.find("<Title xsi:type=\"xsd:string\">" + Cafe() +
                     "</Title><Body xsi:type=\"xsd:string\">" + Mixed() + "</Body>"),
            std::string::npos)
      << xml;
}

TEST(Utf8Serialize, EveryKindOfNarrowTextReadsBack) {
  Owned<TNote> note = Sample();
  for (auto format : {dsfJSON, dsfXML}) {
    const std::string text = VnSerialize(format, TValue(note.get()));
    const std::string_view view = text;

    Owned<TNote> fromString(VnDeserializeObject<TNote>(format, text));
    Owned<TNote> fromView(VnDeserializeObject<TNote>(format, view));
    EXPECT_EQ(fromString->Body, Mixed16());
    EXPECT_EQ(fromView->Body, Mixed16());
    EXPECT_EQ(fromView->Title, Cafe16());

    Owned<TObject> created(VnCreateFrom(format, view));
    ASSERT_TRUE(created->Is<TNote>());
    EXPECT_EQ(As<TNote>(created.get())->Body, Mixed16());

    Owned<TNote> filled = MakeOwned<TNote>();
    VnDeserialize(format, TValue(filled.get()), view);
    EXPECT_EQ(filled->Title, Cafe16());
    Owned<TNote> helped = MakeOwned<TNote>();
    VnSerializer(helped.get()).Deserialize(format, view);
    EXPECT_EQ(helped->Body, Mixed16());

    // A record, by address and type.
    utf8model::TLabel label{Mixed16()};
    const std::string labelText = VnSerialize(format, &label, TypeInfo<utf8model::TLabel>());
    utf8model::TLabel back;
    VnDeserialize(format, &back, TypeInfo<utf8model::TLabel>(), std::string_view(labelText));
    EXPECT_EQ(back.Text, Mixed16());
  }
  // A narrow literal, as before.
  Owned<TObject> literal(
      VnCreateFrom(dsfJSON, "{\"className\":\"TNote\",\"title\":\"\xE2\x82\xAC\"}"));
  EXPECT_EQ(As<TNote>(literal.get())->Title, cEuro16);
}

TEST(Utf8Serialize, AViewReadsOnlyItsOwnBytes) {
  const std::string buffer =
      "{\"className\":\"TNote\",\"body\":\"" + std::string(cKanji) + "\"}{\"body\":\"other\"}";
  const std::string_view first = std::string_view(buffer).substr(0, buffer.find("}{") + 1);
  Owned<TObject> made(VnCreateFrom(dsfJSON, first));
  EXPECT_EQ(As<TNote>(made.get())->Body, cKanji16);
}
