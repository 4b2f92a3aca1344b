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

using namespace vn;

namespace inplace {

struct TLine {
  UnicodeString Article;
  Integer Quantity = 0;
};
VN_RTTI(TLine, u"inplace") {
  R.Field(u"Article", &TLine::Article);
  R.Field(u"Quantity", &TLine::Quantity);
}
using TLines = std::vector<TLine>;
VN_RTTI(TLines, u"inplace") {}
using TLinePair = std::array<TLine, 2>;
VN_RTTI(TLinePair, u"inplace") {}
using TGrid = std::vector<std::vector<Integer>>;
VN_RTTI(TGrid, u"inplace") {}

// Each structured member twice: once read from its field (in place), once through a getter
// that returns a copy, which the walk can only take as a value. Both must write the same.
class TBasket : public TPersistent {
  VN_CLASS(TBasket, TPersistent)
 public:
  TLines Lines;
  TLine Best;
  TLinePair Pair;
  TGrid Grid;
  std::vector<bool> Flags;
  TLines GetLinesCopy() const { return Lines; }
  TLine GetBestCopy() const { return Best; }
  TLinePair GetPairCopy() const { return Pair; }
  TGrid GetGridCopy() const { return Grid; }
  std::vector<bool> GetFlagsCopy() const { return Flags; }
};
VN_RTTI(TBasket, u"inplace") {
  R.Property(u"Lines", &TBasket::Lines, &TBasket::Lines);
  R.Property(u"LinesCopy", &TBasket::GetLinesCopy, nullptr);
  R.Property(u"Best", &TBasket::Best, &TBasket::Best);
  R.Property(u"BestCopy", &TBasket::GetBestCopy, nullptr);
  R.Property(u"Pair", &TBasket::Pair, &TBasket::Pair);
  R.Property(u"PairCopy", &TBasket::GetPairCopy, nullptr);
  R.Property(u"Grid", &TBasket::Grid, &TBasket::Grid);
  R.Property(u"GridCopy", &TBasket::GetGridCopy, nullptr);
  R.Property(u"Flags", &TBasket::Flags, &TBasket::Flags);
  R.Property(u"FlagsCopy", &TBasket::GetFlagsCopy, nullptr);
}

// The same shapes as plain fields of a record.
struct TCrate {
  TLines Lines;
  TLine Best;
  TGrid Grid;
};
VN_RTTI(TCrate, u"inplace") {
  R.Field(u"Lines", &TCrate::Lines);
  R.Field(u"Best", &TCrate::Best);
  R.Field(u"Grid", &TCrate::Grid);
}

// An array renamed by its hint is looked up under the new name, which is no member: the walk
// fails there, and the message names the path down to it.
class TCell : public TPersistent {
  VN_CLASS(TCell, TPersistent)
 public:
  std::vector<Integer> Nums{1};
};
VN_RTTI(TCell, u"inplace") {
  R.Property(u"Nums", &TCell::Nums, &TCell::Nums, mvPublished,
             {new SerializerHint(shoName, u"numbers")});
}
struct TRow {
  Integer Id = 0;
  TCell *Cell = nullptr;
};
VN_RTTI(TRow, u"inplace") {
  R.Field(u"Id", &TRow::Id);
  R.Field(u"Cell", &TRow::Cell);
}
using TRows = std::vector<TRow>;
VN_RTTI(TRows, u"inplace") {}
class TSheet : public TPersistent {
  VN_CLASS(TSheet, TPersistent)
 public:
  ~TSheet() override {
    for (TRow &r : Rows) Free(r.Cell);
  }
  TLine Head;
  TRows Rows;
};
VN_RTTI(TSheet, u"inplace") {
  R.Property(u"Head", &TSheet::Head, &TSheet::Head);
  R.Property(u"Rows", &TSheet::Rows, &TSheet::Rows);
}

struct TNote {
  UnicodeString Text;
};
VN_RTTI(TNote, u"inplace") {
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
  ABasket.Grid = {{1, 2}, {}, {3}};
  ABasket.Flags = {true, false, true};
}

}  // namespace inplace

using namespace inplace;

// A member read where it lies writes exactly what its copy writes, in both notations.
TEST(SerializerInPlace, MembersReadInPlaceWriteWhatTheirCopiesWrite) {
  Owned<TBasket> basket(New<TBasket>());
  Fill(*basket);
  const std::string json = VnSerialize(dsfJSON, TValue(basket.get()));
  EXPECT_EQ(MemberText(json, "lines"),
            R"([{"className":"TLine","article":"Widget","quantity":2},)"
            R"({"className":"TLine","article":"Gad\"get","quantity":1},)"
            "{\"className\":\"TLine\",\"article\":\"Sprocket \xC3\xA9\",\"quantity\":7}]");
  EXPECT_EQ(MemberText(json, "grid"), "[[1,2],[],[3]]");
  for (const char *name : {"lines", "best", "pair", "grid", "flags"})
    EXPECT_EQ(MemberText(json, name), MemberText(json, std::string(name) + "Copy")) << name;

  const std::string xml = VnSerialize(dsfXML, TValue(basket.get()));
  for (const char *name : {"Lines", "Best", "Pair", "Grid", "Flags"}) {
    const std::string open = std::string("<") + name + ">", close = std::string("</") + name + ">";
    const std::string openCopy = std::string("<") + name + "Copy>";
    const std::string closeCopy = std::string("</") + name + "Copy>";
    std::size_t a = xml.find(open), b = xml.find(close);
    std::size_t c = xml.find(openCopy), d = xml.find(closeCopy);
    ASSERT_TRUE(a != std::string::npos && b != std::string::npos && c != std::string::npos &&
                d != std::string::npos)
        << name << " in " << xml;
    EXPECT_EQ(xml.substr(a + open.size(), b - a - open.size()),
              xml.substr(c + openCopy.size(), d - c - openCopy.size()))
        << name;
  }
}

// Reading in place keeps nothing from one run to the next: after the arrays have grown (and
// moved) and the texts changed, the next run writes the new content.
TEST(SerializerInPlace, EachRunReadsTheMembersAsTheyAreThen) {
  Owned<TBasket> basket(New<TBasket>());
  Fill(*basket);
  const std::string before = VnSerialize(dsfJSON, TValue(basket.get()));
  for (Integer i = 0; i < 100; ++i) basket->Lines.push_back({u"more", i});
  basket->Lines[0].Article = u"changed";
  basket->Grid[1] = {4, 5, 6};
  basket->Best.Quantity = 10;
  const std::string after = VnSerialize(dsfJSON, TValue(basket.get()));
  EXPECT_NE(before, after);
  EXPECT_EQ(MemberText(after, "lines"), MemberText(after, "linesCopy"));
  EXPECT_EQ(MemberText(after, "lines").substr(0, 55),
            R"([{"className":"TLine","article":"changed","quantity":2})");
  EXPECT_EQ(MemberText(after, "grid"), "[[1,2],[4,5,6],[3]]");
  EXPECT_EQ(MemberText(after, "best"),
            R"({"className":"TLine","article":"Best of all","quantity":10})");
}

// Records given by value, with their arrays and records as fields: the same text as the object
// with the same content.
TEST(SerializerInPlace, FieldsOfARecordGivenByValue) {
  TCrate crate;
  crate.Lines = {{u"a", 1}, {u"b", 2}};
  crate.Best = {u"c", 3};
  crate.Grid = {{7}, {8, 9}};
  EXPECT_EQ(VnSerialize(dsfJSON, TValue::From<TCrate>(crate)),
            R"({"className":"TCrate","lines":[{"className":"TLine","article":"a","quantity":1},)"
            R"({"className":"TLine","article":"b","quantity":2}],)"
            R"("best":{"className":"TLine","article":"c","quantity":3},"grid":[[7],[8,9]]})");
}

// The path in a message goes through records, array elements (under their schema name) and
// objects, also when workers of earlier members and rows are used again further down.
TEST(SerializerInPlace, MessagesNameThePathDownToTheFailure) {
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
TEST(SerializerInPlace, LongTextIsEscapedAsTheJSONTextRoutineEscapesIt) {
  TNote note;
  for (char16_t c = 0; c < 0x300; ++c) note.Text += c;
  note.Text += u"\xD83D\xDE00 lone \xD800 and \xDC00";
  for (Integer i = 0; i < 4; ++i) note.Text += note.Text.substr(static_cast<std::size_t>(i) * 3);
  UnicodeString escaped;
  VnAppendStrToJSON(escaped, note.Text);
  EXPECT_EQ(VnSerialize(dsfJSON, TValue::From<TNote>(note)),
            "{\"className\":\"TNote\",\"text\":\"" + UTF8Encode(escaped) + "\"}");
}
