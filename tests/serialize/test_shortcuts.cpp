// The walk reads records and arrays where they lie when their members allow it, and makes a
// worker's path only when a message needs it; the JSON notation escapes text straight into its
// output. These tests hold each of those shortcuts to what the plain way gives.
#include <gtest/gtest.h>

#include <array>
#include <vector>

#include "exception_text.h"
#include "vnxml/common/uVnSerializer.h"
#include "vnxml/json/uVnJSON.h"
#include "vnxml/json/uVnJSONSerializer.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/rtl/SysUtils.h"
#include "vnxml/xml/uVnXMLSerializer.h"
#include "vnxml/xml/uVnXMLUtils.h"

using namespace vn;
using vntest::MessageOf;

namespace shortcuts {

struct TLine {
  UnicodeString Article;
  Integer Quantity = 0;
};
VN_RTTI(TLine, u"shortcuts") {
  R.Field(u"Article", &TLine::Article);
  R.Field(u"Quantity", &TLine::Quantity);
}
using TLines = std::vector<TLine>;
VN_RTTI(TLines, u"shortcuts") {}
using TLinePair = std::array<TLine, 2>;
VN_RTTI(TLinePair, u"shortcuts") {}

// Each structured member twice: once read from its field (in place), once through a getter
// that returns a copy, which the walk can only take as a value. Both must write the same.
class TBasket : public TPersistent {
  VN_CLASS(TBasket, TPersistent)
 public:
  TLines Lines;
  TLine Best;
  TLinePair Pair;
  std::vector<bool> Flags;
  TLines GetLinesCopy() const { return Lines; }
  TLine GetBestCopy() const { return Best; }
  TLinePair GetPairCopy() const { return Pair; }
  std::vector<bool> GetFlagsCopy() const { return Flags; }
};
VN_RTTI(TBasket, u"shortcuts") {
  R.Property(u"Lines", &TBasket::Lines, &TBasket::Lines);
  R.Property(u"LinesCopy", &TBasket::GetLinesCopy, nullptr);
  R.Property(u"Best", &TBasket::Best, &TBasket::Best);
  R.Property(u"BestCopy", &TBasket::GetBestCopy, nullptr);
  R.Property(u"Pair", &TBasket::Pair, &TBasket::Pair);
  R.Property(u"PairCopy", &TBasket::GetPairCopy, nullptr);
  R.Property(u"Flags", &TBasket::Flags, &TBasket::Flags);
  R.Property(u"FlagsCopy", &TBasket::GetFlagsCopy, nullptr);
}

// The same shapes as plain fields of a record.
struct TCrate {
  TLines Lines;
  TLine Best;
};
VN_RTTI(TCrate, u"shortcuts") {
  R.Field(u"Lines", &TCrate::Lines);
  R.Field(u"Best", &TCrate::Best);
}

// An array renamed by its hint is looked up under the new name, which is no member: the walk
// fails there, and the message names the path down to it.
class TCell : public TPersistent {
  VN_CLASS(TCell, TPersistent)
 public:
  std::vector<Integer> Nums{1};
};
VN_RTTI(TCell, u"shortcuts") {
  R.Property(u"Nums", &TCell::Nums, &TCell::Nums, mvPublished,
             {new SerializerHint(shoName, u"numbers")});
}
struct TRow {
  Integer Id = 0;
  TCell *Cell = nullptr;
};
VN_RTTI(TRow, u"shortcuts") {
  R.Field(u"Id", &TRow::Id);
  R.Field(u"Cell", &TRow::Cell);
}
using TRows = std::vector<TRow>;
VN_RTTI(TRows, u"shortcuts") {}
class TSheet : public TPersistent {
  VN_CLASS(TSheet, TPersistent)
 public:
  ~TSheet() override {
    for (TRow &r : Rows) Free(r.Cell);
  }
  TLine Head;
  TRows Rows;
};
VN_RTTI(TSheet, u"shortcuts") {
  R.Property(u"Head", &TSheet::Head, &TSheet::Head);
  R.Property(u"Rows", &TSheet::Rows, &TSheet::Rows);
}

struct TNote {
  UnicodeString Text;
};
VN_RTTI(TNote, u"shortcuts") {
  R.Field(u"Text", &TNote::Text);
}

// The text of member AName in a JSON object written without blanks: from the colon to the
// comma or brace that closes its value.
std::string MemberText(const std::string &AJson, const std::string &AName) {
  const std::string key = "\"" + AName + "\":";
  std::size_t at = AJson.find(key);
  if (at == std::string::npos) return "<missing " + AName + ">";
  at += key.size();
  Integer depth = 0;
  bool quoted = false;
  for (std::size_t i = at; i < AJson.size(); ++i) {
    char c = AJson[i];
    if (quoted) {
      if (c == '\\')
        ++i;
      else if (c == '"')
        quoted = false;
      continue;
    }
    if (c == '"') quoted = true;
    if (c == '{' || c == '[') ++depth;
    if (c == '}' || c == ']') {
      if (depth == 0) return AJson.substr(at, i - at);
      --depth;
    }
    if (c == ',' && depth == 0) return AJson.substr(at, i - at);
  }
  return AJson.substr(at);
}

void Fill(TBasket &ABasket) {
  ABasket.Lines = {{u"Widget", 2}, {u"Gad\"get", 1}, {u"Sprocket \u00E9", 7}};
  ABasket.Best = {u"Best of all", 9};
  ABasket.Pair = {TLine{u"left", 1}, TLine{u"right", 2}};
  ABasket.Flags = {true, false, true};
}

}  // namespace shortcuts

using namespace shortcuts;

// A member read where it lies writes exactly what its copy writes, in both notations.
TEST(SerializerShortcuts, MembersReadInPlaceWriteWhatTheirCopiesWrite) {
  Owned<TBasket> basket(New<TBasket>());
  Fill(*basket);
  const std::string json = VnSerialize(dsfJSON, TValue(basket.get()));
  EXPECT_EQ(MemberText(json, "lines"),
            R"([{"className":"TLine","article":"Widget","quantity":2},)"
            R"({"className":"TLine","article":"Gad\"get","quantity":1},)"
            "{\"className\":\"TLine\",\"article\":\"Sprocket \xC3\xA9\",\"quantity\":7}]");
  for (const char *name : {"lines", "best", "pair", "flags"})
    EXPECT_EQ(MemberText(json, name), MemberText(json, std::string(name) + "Copy")) << name;

  // In XML each member's element with its type attribute and content, from after its name.
  const std::string xml = VnSerialize(dsfXML, TValue(basket.get()));
  auto element = [&xml](const std::string &AName) {
    std::size_t at = xml.find("<" + AName + " "), end = xml.find("</" + AName + ">");
    if (at == std::string::npos || end == std::string::npos) return "<missing " + AName + ">";
    at += AName.size() + 1;
    return xml.substr(at, end - at);
  };
  for (const char *name : {"Lines", "Best", "Pair", "Flags"})
    EXPECT_EQ(element(name), element(std::string(name) + "Copy")) << name;
}

// Reading in place keeps nothing from one run to the next: after the arrays have grown (and
// moved) and the texts changed, the next run writes the new content.
TEST(SerializerShortcuts, EachRunReadsTheMembersAsTheyAreThen) {
  Owned<TBasket> basket(New<TBasket>());
  Fill(*basket);
  const std::string before = VnSerialize(dsfJSON, TValue(basket.get()));
  for (Integer i = 0; i < 100; ++i) basket->Lines.push_back({u"more", i});
  basket->Lines[0].Article = u"changed";
  basket->Best.Quantity = 10;
  const std::string after = VnSerialize(dsfJSON, TValue(basket.get()));
  EXPECT_NE(before, after);
  EXPECT_EQ(MemberText(after, "lines"), MemberText(after, "linesCopy"));
  EXPECT_EQ(MemberText(after, "lines").substr(0, 55),
            R"([{"className":"TLine","article":"changed","quantity":2})");
  EXPECT_EQ(MemberText(after, "best"),
            R"({"className":"TLine","article":"Best of all","quantity":10})");
}

// Records given by value, with their arrays and records as fields: the same text as the object
// with the same content.
TEST(SerializerShortcuts, FieldsOfARecordGivenByValue) {
  TCrate crate;
  crate.Lines = {{u"a", 1}, {u"b", 2}};
  crate.Best = {u"c", 3};
  EXPECT_EQ(VnSerialize(dsfJSON, TValue::From<TCrate>(crate)),
            R"({"className":"TCrate","lines":[{"className":"TLine","article":"a","quantity":1},)"
            R"({"className":"TLine","article":"b","quantity":2}],)"
            R"("best":{"className":"TLine","article":"c","quantity":3}})");
}

// The path in a message goes through records, array elements (under their schema name) and
// objects, also when workers of earlier members and rows are used again further down.
TEST(SerializerShortcuts, MessagesNameThePathDownToTheFailure) {
  Owned<TSheet> sheet(New<TSheet>());
  sheet->Head = {u"head", 1};
  sheet->Rows.resize(3);
  sheet->Rows[2].Cell = New<TCell>();
  const UnicodeString expected =
      u"EVnSerializeException: Serialization failure at \"Rows.TRow.Cell.numbers\"\r\nArrays "
      u"are only supported as a field or property of another object/record!";
  EXPECT_EQ(MessageOf([&] { VnSerialize(dsfJSON, TValue(sheet.get())); }), expected);
  EXPECT_EQ(MessageOf([&] { VnSerialize(dsfXML, TValue(sheet.get())); }), expected);
  // A second run on the same thread, after the first failed, names the same path.
  EXPECT_EQ(MessageOf([&] { VnSerialize(dsfJSON, TValue(sheet.get())); }), expected);
}

// Text longer than the blocks the writer fills, with every kind of character at every place
// of a block, is escaped exactly as VnAppendStrToJSON escapes it.
TEST(SerializerShortcuts, LongTextIsEscapedAsTheJSONTextRoutineEscapesIt) {
  TNote note;
  for (char16_t c = 0; c < 0x300; ++c) note.Text += c;
  note.Text += u"\xD83D\xDE00 lone \xD800 and \xDC00";
  for (Integer i = 0; i < 4; ++i) note.Text += note.Text.substr(static_cast<std::size_t>(i) * 3);
  UnicodeString escaped;
  VnAppendStrToJSON(escaped, note.Text);
  EXPECT_EQ(VnSerialize(dsfJSON, TValue::From<TNote>(note)),
            "{\"className\":\"TNote\",\"text\":\"" + UTF8Encode(escaped) + "\"}");
}

// Numbers written without the general conversions give its digits: integers of every width by
// their ordinal, and floats that are whole hundredths in fixed notation; all others, and the
// values at the edges of those shortcuts, as VnDoubleToXML writes them.
TEST(SerializerShortcuts, FloatsGiveTheDigitsOfTheGeneralConversion) {
  std::vector<Double> values;
  for (Integer i = -250; i <= 250; ++i) {
    values.push_back(i / 100.0);
    values.push_back(i * 0.37);
    values.push_back(i / 8.0);
    values.push_back(1e12 + i * 0.01);
  }
  for (Double v : {1.0 / 3, 0.1 + 0.2, 1e-5, 0.0001, 0.01, 123456789012.34, 9999999999999.99, 1e13,
                   -1e13, 1e15, 5e-324, 0.0, -0.0, 100.0, 12.5, -7.1})
    values.push_back(v);
  std::string expected = "[";
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i > 0) expected += ',';
    expected += UTF8Encode(VnDoubleToXML(values[i]));
  }
  expected += ']';
  EXPECT_EQ(VnSerialize(dsfJSON, TValue::From<std::vector<Double>>(values)), expected);

  const std::vector<Single> singles{0.1f, 1.5f, 2.25f, -3.75f, 1e-3f};
  expected = "[";
  for (std::size_t i = 0; i < singles.size(); ++i) {
    if (i > 0) expected += ',';
    expected += UTF8Encode(VnDoubleToXML(singles[i]));
  }
  expected += ']';
  EXPECT_EQ(VnSerialize(dsfJSON, TValue::From<std::vector<Single>>(singles)), expected);
}
