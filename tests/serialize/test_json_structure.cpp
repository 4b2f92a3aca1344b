// The JSON notation, structure: objects and records with their "className", arrays, nil
// objects, polymorphic members, components, string lists, streams, the XML Schema records, the
// root forms and their parameters, and the writers as a helper calls them.
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <vector>

#include "tests/exception_text.h"
#include "vnxml/common/uVnSerializer.h"
#include "vnxml/json/uVnJSONSerializer.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/xml/uVnXSTypes.h"

using namespace vn;

namespace jsonobjects {

struct TPoint {
  Integer X = 0;
  Integer Y = 0;
};
VN_RTTI(TPoint, u"jsonobjects") {
  R.Field(u"X", &TPoint::X).Field(u"Y", &TPoint::Y);
}

struct TLine {
  TPoint From;
  TPoint To;
};
VN_RTTI(TLine, u"jsonobjects") {
  R.Field(u"From", &TLine::From).Field(u"To", &TLine::To);
}

class TItem : public TPersistent {
  VN_CLASS(TItem, TPersistent)
 public:
  Integer Id = 0;
};
VN_RTTI(TItem, u"jsonobjects") {
  R.Field(u"Id", &TItem::Id);
}

class TSpecialItem : public TItem {
  VN_CLASS(TSpecialItem, TItem)
 public:
  UnicodeString Tag;
};
VN_RTTI(TSpecialItem, u"jsonobjects") {
  R.Field(u"Tag", &TSpecialItem::Tag);
}

TItem *NewItem(Integer AId) {
  auto *item = New<TItem>();
  item->Id = AId;
  return item;
}

// A class with members of every structured kind; it owns the objects it points to.
class TShape : public TPersistent {
  VN_CLASS(TShape, TPersistent)
 public:
  ~TShape() override {
    Free(Item);
    for (TItem *i : Items) Free(i);
  }
  TPoint Pos;
  TItem *Item = nullptr;
  std::array<Integer, 3> Fixed{};
  std::vector<Integer> Nums;
  std::vector<TPoint> Points;
  std::vector<TItem *> Items;
};
VN_RTTI(TShape, u"jsonobjects") {
  R.Field(u"Pos", &TShape::Pos).Field(u"Item", &TShape::Item).Field(u"Fixed", &TShape::Fixed);
  R.Field(u"Nums", &TShape::Nums).Field(u"Points", &TShape::Points);
  R.Field(u"Items", &TShape::Items);
}

class TDocument : public TPersistent {
  VN_CLASS(TDocument, TPersistent)
 public:
  ~TDocument() override {
    Free(Lines);
    Free(Data);
  }
  TStringList *Lines = New<TStringList>();
  TMemoryStream *Data = New<TMemoryStream>();
};
VN_RTTI(TDocument, u"jsonobjects") {
  R.Field(u"Lines", &TDocument::Lines).Field(u"Data", &TDocument::Data);
}

class TPart : public TComponent {
  VN_CLASS(TPart, TComponent)
 public:
  explicit TPart(TComponent *AOwner) : TComponent(AOwner) {}
  Integer Size = 0;
};
VN_RTTI(TPart, u"jsonobjects") {
  R.Field(u"Size", &TPart::Size);
}

class TBox : public TComponent {
  VN_CLASS(TBox, TComponent)
 public:
  explicit TBox(TComponent *AOwner) : TComponent(AOwner) {}
  TPart *Own = nullptr;
  TPart *Foreign = nullptr;
};
VN_RTTI(TBox, u"jsonobjects") {
  R.Field(u"Own", &TBox::Own).Field(u"Foreign", &TBox::Foreign);
}

enum TOpt { a, b };
VN_RTTI(TOpt, u"jsonobjects") {
  R.Names({u"a", u"b"});
}
using TOpts = Set<TOpt, a, b>;
VN_RTTI(TOpts, u"jsonobjects") {}

struct TXsValues {
  TXsBoolean Flag;
  TXsByte I8;
  TXsShort I16;
  TXsInt I32;
  TXsLong I64;
  TXsUnsignedByte U8;
  TXsUnsignedShort U16;
  TXsUnsignedInt U32;
  TXsUnsignedLong U64;
  TXsFloat F32;
  TXsDouble F64;
  TXsDecimal Dec;
  TXsString Text;
  TXsBase64Binary B64;
  TXsHexBinary Hex;
  TXsDateTime Stamp;
  TXsDate Day;
  TXsTime Clock;
  TXsDuration Span;
};
VN_RTTI(TXsValues, u"jsonobjects") {
  R.Field(u"Flag", &TXsValues::Flag).Field(u"I8", &TXsValues::I8);
  R.Field(u"I16", &TXsValues::I16).Field(u"I32", &TXsValues::I32);
  R.Field(u"I64", &TXsValues::I64).Field(u"U8", &TXsValues::U8);
  R.Field(u"U16", &TXsValues::U16).Field(u"U32", &TXsValues::U32);
  R.Field(u"U64", &TXsValues::U64).Field(u"F32", &TXsValues::F32);
  R.Field(u"F64", &TXsValues::F64).Field(u"Dec", &TXsValues::Dec);
  R.Field(u"Text", &TXsValues::Text).Field(u"B64", &TXsValues::B64);
  R.Field(u"Hex", &TXsValues::Hex).Field(u"Stamp", &TXsValues::Stamp);
  R.Field(u"Day", &TXsValues::Day).Field(u"Clock", &TXsValues::Clock);
  R.Field(u"Span", &TXsValues::Span);
}

struct TXsList {
  std::vector<TXsInt> Values;
};
VN_RTTI(TXsList, u"jsonobjects") {
  R.Field(u"Values", &TXsList::Values);
}

// A helper that hands the writers to the test: it stands for a user's helper that writes a
// member by calling them directly.
std::function<void(TVnSerializer *, const UnicodeString &)> gProbe;

class TProbeHelper : public TVnSerializerHelper {
  VN_CLASS(TProbeHelper, TVnSerializerHelper)
 public:
  void Serialize(TVnSerializer *ASerializer, const UnicodeString &AName, const TVnTypeInfo *,
                 const TValue &, bool &AHandled) override {
    AHandled = true;
    ASerializer->SerializeName(AName, smtField, vtkClass, vtkUnknown);
    gProbe(ASerializer, AName);
  }
};
VN_RTTI(TProbeHelper, u"jsonobjects") {}

class TProbed : public TPersistent {
  VN_CLASS(TProbed, TPersistent)
 public:
  Integer Get() const { return 0; }
};
VN_RTTI(TProbed, u"jsonobjects") {
  R.Property(u"Probe", &TProbed::Get, nullptr, mvPublished,
             {new SerializerHint(shoSerializerHelper, u"jsonobjects.TProbeHelper")});
}

// The probed object one level down, so that its worker has a parent.
class TProbedHolder : public TPersistent {
  VN_CLASS(TProbedHolder, TPersistent)
 public:
  ~TProbedHolder() override { Free(Inner); }
  TProbed *Inner = New<TProbed>();
};
VN_RTTI(TProbedHolder, u"jsonobjects") {
  R.Field(u"Inner", &TProbedHolder::Inner);
}

RawByteString Json(const TValue &AValue,
                   std::initializer_list<std::pair<UnicodeString, UnicodeString>> AParams = {}) {
  Owned<TVnSerializer> s(VnCreateSerializer(dsfJSON, AValue));
  for (const auto &[name, value] : AParams) s->SetParam(name, value);
  return s->Serialize();
}

// The text of a TProbed object whose helper calls AWrite.
RawByteString Probe(std::function<void(TVnSerializer *)> AWrite) {
  gProbe = [&](TVnSerializer *ASerializer, const UnicodeString &) { AWrite(ASerializer); };
  Owned<TProbed> probed = MakeOwned<TProbed>();
  RawByteString text = VnSerialize(dsfJSON, TValue(probed.get()));
  gProbe = nullptr;
  return text;
}

}  // namespace jsonobjects

using namespace jsonobjects;
using vntest::MessageOf;

// Every object and record starts with "className", the name of the instance's own class, so a
// derived object in a member shows the derived class. A nil object is {}.
TEST(JsonStructure, ObjectsRecordsAndNil) {
  Owned<TShape> shape = MakeOwned<TShape>();
  shape->Pos = {1, 2};
  EXPECT_EQ(VnSerializer(shape.get()).AsJSON(),
            R"({"className":"TShape","pos":{"className":"TPoint","x":1,"y":2},"item":{},)"
            R"("fixed":[0,0,0],"nums":[],"points":[],"items":[]})");

  auto *special = New<TSpecialItem>();
  special->Id = 3;
  special->Tag = u"t";
  shape->Item = special;
  EXPECT_NE(VnSerializer(shape.get())
                .AsJSON()
                .find(R"("item":{"className":"TSpecialItem","tag":"t","id":3},)"),
            std::string::npos);

  TLine line{{1, 2}, {3, 4}};
  EXPECT_EQ(Json(TValue::From<TLine>(line)),
            R"({"className":"TLine","from":{"className":"TPoint","x":1,"y":2},)"
            R"("to":{"className":"TPoint","x":3,"y":4}})");
}

// Array elements are separated by commas: numbers, records and objects alike. A nil object
// element is {} after its separator.
TEST(JsonStructure, ArraysOfValuesRecordsAndObjects) {
  Owned<TShape> shape = MakeOwned<TShape>();
  shape->Fixed = {7, -8, 9};
  shape->Nums = {1, 2, 3};
  shape->Points = {{1, 2}, {3, 4}};
  shape->Items = {NewItem(1), NewItem(2), nullptr, NewItem(4)};
  EXPECT_EQ(VnSerializer(shape.get()).AsJSON(),
            R"({"className":"TShape","pos":{"className":"TPoint","x":0,"y":0},"item":{},)"
            R"("fixed":[7,-8,9],"nums":[1,2,3],)"
            R"("points":[{"className":"TPoint","x":1,"y":2},{"className":"TPoint","x":3,"y":4}],)"
            R"("items":[{"className":"TItem","id":1},{"className":"TItem","id":2},{},)"
            R"({"className":"TItem","id":4}]})");

  // An array at the root is the bare array.
  std::vector<Integer> nums{5, 6};
  EXPECT_EQ(Json(TValue::From<std::vector<Integer>>(nums)), "[5,6]");
}

// A simple value at the root is its text alone; "excluderoot" leaves out the root's braces and
// class name; "excludechildren" leaves out record and object members, while an object element
// of an array stays as an empty string.
TEST(JsonStructure, RootFormsAndParameters) {
  EXPECT_EQ(Json(TValue(42)), "42");
  EXPECT_EQ(Json(TValue(UnicodeString(u"a\"b"))), R"("a\"b")");

  Owned<TShape> shape = MakeOwned<TShape>();
  shape->Nums = {1};
  shape->Items = {NewItem(1), nullptr};
  EXPECT_EQ(Json(TValue(shape.get()), {{u"excluderoot", u"true"}}),
            R"("pos":{"className":"TPoint","x":0,"y":0},"item":{},"fixed":[0,0,0],"nums":[1],)"
            R"("points":[],"items":[{"className":"TItem","id":1},{}])");
  EXPECT_EQ(Json(TValue(shape.get()), {{u"excludechildren", u"true"}}),
            R"({"className":"TShape","fixed":[0,0,0],"nums":[1],"points":[],"items":["",""]})");
}

// A string list is its class name and its lines as "items"; a memory stream its bytes in
// Base64 on one line as "data", read from the start, with the position put back after.
TEST(JsonStructure, StringListsAndStreams) {
  Owned<TDocument> doc = MakeOwned<TDocument>();
  EXPECT_EQ(VnSerializer(doc.get()).AsJSON(),
            R"({"className":"TDocument","lines":{"className":"TStringList","items":[]},)"
            R"("data":{"className":"TMemoryStream","data":""}})");

  doc->Lines->Add(u"l1");
  doc->Lines->Add(u"say \"x\"");
  doc->Data->WriteBuffer("ABC", 3);
  EXPECT_EQ(VnSerializer(doc.get()).AsJSON(),
            R"({"className":"TDocument","lines":{"className":"TStringList",)"
            R"("items":["l1","say \"x\""]},"data":{"className":"TMemoryStream","data":"QUJD"}})");
  EXPECT_EQ(doc->Data->GetPosition(), 3);

  Owned<TMemoryStream> stream = MakeOwned<TMemoryStream>();
  std::string bytes(100, 'z');
  stream->WriteBuffer(bytes.data(), 100);
  stream->SetPosition(10);
  std::string expected = R"({"className":"TMemoryStream","data":")";
  for (int i = 0; i < 33; ++i) expected += "enp6";
  expected += "eg==\"}";
  EXPECT_EQ(Json(TValue(stream.get())), expected);
  EXPECT_EQ(stream->GetPosition(), 10);
}

// A component starts with its owner's name; a component member that the object owns is
// written in full, one with another owner by its name only.
TEST(JsonStructure, ComponentsAndTheirOwners) {
  Owned<TComponent> form = MakeOwned<TComponent>(nullptr);
  form->SetName(u"Form1");
  auto *box = New<TBox>(form.get());
  box->SetName(u"Box1");
  box->Own = New<TPart>(box);
  box->Own->SetName(u"Part1");
  box->Own->Size = 3;
  box->Foreign = New<TPart>(form.get());
  box->Foreign->SetName(u"Part2");
  EXPECT_EQ(Json(TValue(box)),
            R"({"className":"TBox","owner":"Form1","name":"Box1","tag":0,)"
            R"("own":{"className":"TPart","owner":"Box1","name":"Part1","tag":0,"size":3},)"
            R"("foreign":"Part2"})");
  // Without an owner there is no "owner" member.
  EXPECT_EQ(Json(TValue(form.get())), R"({"className":"TComponent","name":"Form1","tag":0})");
}

// The XML Schema records by their plain values, without braces; a duration is an object of
// its own. A null record is null, a null duration {}.
TEST(JsonStructure, XmlSchemaRecords) {
  TXsValues r;
  EXPECT_EQ(Json(TValue::From<TXsValues>(r)),
            R"({"className":"TXsValues","flag":null,"i8":null,"i16":null,"i32":null,)"
            R"("i64":null,"u8":null,"u16":null,"u32":null,"u64":null,"f32":null,"f64":null,)"
            R"("dec":null,"text":null,"b64":null,"hex":null,"stamp":null,"day":null,)"
            R"("clock":null,"span":{}})");

  r.Flag = TXsBoolean(true);
  r.I8 = -8;
  r.I16 = -16;
  r.I32 = -32;
  r.I64 = -64;
  r.U8 = 8;
  r.U16 = 16;
  r.U32 = 32;
  r.U64 = 64;
  r.F32 = 1.5;
  r.F64 = -0.25;
  r.Dec = 3;
  r.Text = TXsString(u"a\"b");
  r.B64 = TXsBase64Binary(RawByteString("AB"));
  r.Hex = TXsHexBinary(RawByteString("CD"));
  r.Stamp.FromString(u"2024-03-05T13:04:05Z");
  r.Day.FromString(u"2024-03-05");
  r.Clock.FromString(u"13:04:05");
  r.Span = TXsDuration(TVnDuration{false, 14, 3.5});
  EXPECT_EQ(Json(TValue::From<TXsValues>(r)),
            R"({"className":"TXsValues","flag":true,"i8":-8,"i16":-16,"i32":-32,"i64":-64,)"
            R"("u8":8,"u16":16,"u32":32,"u64":64,"f32":1.5,"f64":-0.25,"dec":3,"text":"a\"b",)"
            R"("b64":"AB","hex":"CD","stamp":"2024-03-05T13:04:05.000Z","day":"2024-03-05",)"
            R"("clock":"13:04:05.000","span":{"className":"TVnDuration","negative":false,)"
            R"("monthts":14,"seconds":3.5}})");
  r.Span = TXsDuration(TVnDuration{true, 0, 0.25});
  EXPECT_NE(Json(TValue::From<TXsValues>(r))
                .find(R"("span":{"className":"TVnDuration","negative":true,"monthts":0,)"
                      R"("seconds":0.25}})"),
            std::string::npos);

  // At the root a record is its value alone.
  EXPECT_EQ(Json(TValue::From<TXsInt>(TXsInt(5))), "5");
}

// An XS record that is an array element gets no separator: its worker's start writes nothing
// and its value comes with index -1, so the elements run together ("[12]"). That is the written
// behaviour and is kept; this test holds the valid form for the decision whether the start
// should write the separator for an index above 0.
TEST(JsonStructure, DISABLED_XmlSchemaRecordsInAnArray) {
  TXsList list;
  list.Values = {TXsInt(1), TXsInt(2)};
  EXPECT_EQ(Json(TValue::From<TXsList>(list)), R"({"className":"TXsList","values":[1,2]})");
}

// The writers as a helper calls them. Values of a complex type: a string under a class type is
// quoted, a VnJSONString under it raw, an integer bare, an empty value {}; an array value can
// only be empty. An empty value of a set type is the set object with "[]".
TEST(JsonStructure, WritersCalledByAHelper) {
  const TVnTypeInfo *item = TVnTypes::Of<TItem>();
  EXPECT_EQ(Probe([&](TVnSerializer *s) {
              s->SerializeValue(u"v", item, TValue(UnicodeString(u"a\"b")), -1);
            }),
            R"({"className":"TProbed","probe":"a\"b"})");
  EXPECT_EQ(Probe([&](TVnSerializer *s) {
              s->SerializeValue(u"v", item, TValue::From<TVnJSONStringAlias>(u"[1,2]"), -1);
            }),
            R"({"className":"TProbed","probe":[1,2]})");
  EXPECT_EQ(Probe([&](TVnSerializer *s) { s->SerializeValue(u"v", item, TValue(12), -1); }),
            R"({"className":"TProbed","probe":12})");
  EXPECT_EQ(Probe([&](TVnSerializer *s) { s->SerializeValue(u"v", item, TValue(), 2); }),
            R"({"className":"TProbed","probe":,{}})");
  EXPECT_EQ(Probe([&](TVnSerializer *s) {
              s->SerializeValue(u"v", TVnTypes::Of<std::vector<Integer>>(), TValue(), -1);
            }),
            R"({"className":"TProbed","probe":[]})");
  EXPECT_EQ(Probe([&](TVnSerializer *s) {
              s->SerializeValue(u"v", TVnTypes::Of<Integer>(), TValue(), -1);
            }),
            R"({"className":"TProbed","probe":null})");
  EXPECT_EQ(Probe([&](TVnSerializer *s) {
              s->SerializeValue(u"v", TVnTypes::Of<TDate>(), TValue(UnicodeString(u"soon")), -1);
            }),
            R"({"className":"TProbed","probe":"soon"})");

  EXPECT_EQ(MessageOf([&] {
              Probe([&](TVnSerializer *s) {
                std::vector<Integer> v{1};
                s->SerializeValue(u"v", TVnTypes::Of<std::vector<Integer>>(),
                                  TValue::From<std::vector<Integer>>(v), -1);
              });
            }),
            u"Exception: JSON Arrays must be serialized by a ChildSerializer!");
  Owned<TItem> object = MakeOwned<TItem>();
  EXPECT_EQ(
      MessageOf([&] {
        Probe([&](TVnSerializer *s) { s->SerializeValue(u"v", item, TValue(object.get()), -1); });
      }),
      u"Exception: JSON Ojbects must be serialized by a ChildSerializer!");
  EXPECT_EQ(MessageOf([&] {
              Probe([&](TVnSerializer *s) {
                s->SerializeValue(u"v", TVnTypes::Of<TXsInt>(), TValue(1), -1);
              });
            }),
            u"Exception: Unsupported TypeKind detected!");
  // ... unless the value is JSON text already.
  EXPECT_EQ(Probe([&](TVnSerializer *s) {
              s->SerializeValue(u"v", TVnTypes::Of<TXsInt>(),
                                TValue::From<TVnJSONStringAlias>(u"{\"k\":1}"), -1);
            }),
            R"({"className":"TProbed","probe":{"k":1}})");
}

// The enumeration and set objects of an empty value: the value of ordinal 0, or no members.
TEST(JsonStructure, EmptyValuesOfEnumerationAndSetTypes) {
  EXPECT_EQ(Probe([&](TVnSerializer *s) {
              s->SerializeValue(u"v", TVnTypes::Of<TOpts>(), TValue(), -1);
            }),
            R"({"className":"TProbed","probe":{"className":"TOpts","asString":"[]","asInt":0}})");
  EXPECT_EQ(
      Probe([&](TVnSerializer *s) { s->SerializeValue(u"v", TVnTypes::Of<TOpt>(), TValue(), -1); }),
      R"({"className":"TProbed","probe":{"className":"TOpt","asString":"a","asInt":0}})");
  TOpts both{a, b};
  EXPECT_EQ(Probe([&](TVnSerializer *s) {
              s->SerializeValue(u"v", TVnTypes::Of<TOpts>(), TValue::From<TOpts>(both), -1);
            }),
            R"({"className":"TProbed","probe":{"className":"TOpts","asString":"[a,b]",)"
            R"("asInt":3}})");
}

// A simple type may only be opened at the root.
TEST(JsonStructure, SimpleTypesOpenOnlyAtTheRoot) {
  Owned<TProbedHolder> holder = MakeOwned<TProbedHolder>();
  gProbe = [](TVnSerializer *s, const UnicodeString &) {
    s->SerializeStartType(u"v", TVnTypes::Of<Integer>(), -1);
  };
  UnicodeString message = MessageOf([&] { VnSerializer(holder.get()).AsJSON(); });
  gProbe = nullptr;
  EXPECT_NE(message.find(u"Basic types are only allowed on the Root level (For serialing basic "
                         u"values)"),
            UnicodeString::npos);
}
