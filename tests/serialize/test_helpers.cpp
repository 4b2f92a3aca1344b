// The containers and simple-type objects that the registered helpers write and read: value
// lists, object lists, dictionaries and objects that stand for one value, in both notations.
#include <gtest/gtest.h>

#include "exception_text.h"
#include "vnxml/common/uVnSerializerHelpers.h"
#include "vnxml/json/uVnJSONSerializer.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/xml/uVnXMLSerializer.h"

using namespace vn;
using vntest::MessageOf;

namespace serhelpers {

class TItem : public TPersistent {
  VN_CLASS(TItem, TPersistent)
 public:
  TItem() = default;
  explicit TItem(UnicodeString AName) : FName(std::move(AName)) {}
  const UnicodeString &GetName() const { return FName; }
  void SetName(const UnicodeString &A) { FName = A; }

 private:
  UnicodeString FName;
};
VN_RTTI(TItem, u"shop") {
  R.Property(u"Name", &TItem::GetName, &TItem::SetName);
}

class TGift : public TItem {
  VN_CLASS(TGift, TItem)
 public:
  using TItem::TItem;
  Integer GetWrap() const { return FWrap; }
  void SetWrap(Integer A) { FWrap = A; }

 private:
  Integer FWrap = 0;
};
VN_RTTI(TGift, u"shop") {
  R.Property(u"Wrap", &TGift::GetWrap, &TGift::SetWrap);
}

// A class of another tree: an object list of items does not take it.
class TNote : public TPersistent {
  VN_CLASS(TNote, TPersistent)
};
VN_RTTI(TNote, u"shop") {}

VN_RTTI(TVnList<Integer>, u"shop") {
  VnDescribeContainer(R);
}
VN_RTTI(TVnList<UnicodeString>, u"shop") {
  VnDescribeContainer(R);
}
VN_RTTI(TVnObjectList<TItem>, u"shop") {
  VnDescribeContainer(R);
}
using TItemsByName = TVnObjectDictionary<UnicodeString, TItem *>;
VN_RTTI(TItemsByName, u"shop") {
  VnDescribeContainer(R);
}
using TCounts = TVnObjectDictionary<UnicodeString, Integer>;
VN_RTTI(TCounts, u"shop") {
  VnDescribeContainer(R);
}

class TCustomerId : public TVnSimpleType<Integer> {
  VN_CLASS(TCustomerId, TVnSimpleType<Integer>)
 public:
  using TVnSimpleType<Integer>::TVnSimpleType;
};
VN_RTTI(TCustomerId, u"shop") {
  VnDescribeSimpleType(R);
}

class TCode : public TVnSimpleType<UnicodeString> {
  VN_CLASS(TCode, TVnSimpleType<UnicodeString>)
};
VN_RTTI(TCode, u"shop") {
  VnDescribeSimpleType(R);
}

// A simple type that does not tell the type of its value.
class TNoValueType : public TVnCustomSimpleType {
  VN_CLASS(TNoValueType, TVnCustomSimpleType)
 public:
  Variant GetAsVariant() const override { return Variant(1); }
  void SetAsValue(const TValue &) override {}
};
VN_RTTI(TNoValueType, u"shop") {}

// Holders of the containers, each container as a published property; a holder owns them.
class TNumbers : public TPersistent {
  VN_CLASS(TNumbers, TPersistent)
 public:
  ~TNumbers() override {
    Free(Nums);
    Free(Tags);
  }
  TVnList<Integer> *Nums = nullptr;
  TVnList<UnicodeString> *Tags = nullptr;
};
VN_RTTI(TNumbers, u"shop") {
  R.Property(u"Nums", &TNumbers::Nums, &TNumbers::Nums);
  R.Property(u"Tags", &TNumbers::Tags, &TNumbers::Tags);
}

class TShelf : public TPersistent {
  VN_CLASS(TShelf, TPersistent)
 public:
  ~TShelf() override {
    Free(Items);
    Free(Loose);
  }
  TVnObjectList<TItem> *Items = nullptr;
  TObjectList *Loose = nullptr;  // untyped
};
VN_RTTI(TShelf, u"shop") {
  R.Property(u"Items", &TShelf::Items, &TShelf::Items);
  R.Property(u"Loose", &TShelf::Loose, &TShelf::Loose);
}

class TStock : public TPersistent {
  VN_CLASS(TStock, TPersistent)
 public:
  ~TStock() override {
    Free(Counts);
    Free(Gifts);
  }
  TCounts *Counts = nullptr;
  TItemsByName *Gifts = nullptr;
};
VN_RTTI(TStock, u"shop") {
  R.Property(u"Counts", &TStock::Counts, &TStock::Counts);
  R.Property(u"Gifts", &TStock::Gifts, &TStock::Gifts);
}

class TCustomer : public TPersistent {
  VN_CLASS(TCustomer, TPersistent)
 public:
  ~TCustomer() override {
    Free(Id);
    Free(Code);
  }
  TCustomerId *Id = nullptr;
  TCode *Code = nullptr;
};
VN_RTTI(TCustomer, u"shop") {
  R.Property(u"Id", &TCustomer::Id, &TCustomer::Id);
  R.Property(u"Code", &TCustomer::Code, &TCustomer::Code);
}

class TOddOne : public TPersistent {
  VN_CLASS(TOddOne, TPersistent)
 public:
  ~TOddOne() override { Free(Odd); }
  TNoValueType *Odd = nullptr;
};
VN_RTTI(TOddOne, u"shop") {
  R.Property(u"Odd", &TOddOne::Odd, &TOddOne::Odd);
}

}  // namespace serhelpers

using namespace serhelpers;

namespace {

const std::string cNs =
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
    "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"";

std::string Json(const TValue &AValue) {
  return VnSerialize(dsfJSON, AValue);
}

// The document with the default namespace "urn:t".
std::string Xml(const TValue &AValue) {
  Owned<TVnSerializer> s(VnCreateSerializer(dsfXML, AValue));
  s->SetParam(u"xmlns", u"urn:t");
  return s->Serialize();
}

std::string XmlRoot(const std::string &AClass) {
  return "<object " + cNs + " xsi:type=\"xsd:" + AClass + "\" xmlns=\"urn:t\">";
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// The typed containers

TEST(HelperContainers, ValueListKeepsItsOwnCopies) {
  Owned<TVnList<UnicodeString>> list(New<TVnList<UnicodeString>>());
  list->Add(u"a");
  list->Add(u"c");
  list->Insert(1, u"b");
  EXPECT_EQ(list->Count(), 3);
  EXPECT_EQ(list->ToArray(), (std::vector<UnicodeString>{u"a", u"b", u"c"}));
  list->Put(0, u"z");  // the old copy goes (the sanitizer sees a leak or a double free)
  list->Delete(2);
  EXPECT_EQ(list->ToArray(), (std::vector<UnicodeString>{u"z", u"b"}));
  EXPECT_EQ(list->IndexOf(u"b"), 1);
  EXPECT_EQ(list->IndexOf(u"c"), -1);
  list->SetCount(3);
  EXPECT_EQ((*list)[2], u"");
  EXPECT_EQ(MessageOf([&] { list->Get(3); }), u"EListError: List index out of bounds (3)");
}

TEST(HelperContainers, ObjectListFreesWhatItOwns) {
  Owned<TVnObjectList<TItem>> owning(New<TVnObjectList<TItem>>());
  EXPECT_TRUE(owning->OwnsObjects());
  owning->Add(New<TItem>(u"tea"));
  TGift *gift = New<TGift>(u"cup");
  owning->Add(gift);
  EXPECT_EQ(owning->Items(1), gift);
  EXPECT_EQ(owning->Extract(gift), gift);  // taken out, not freed
  EXPECT_EQ(owning->Count(), 1);

  Owned<TVnObjectList<TItem>> borrowing(New<TVnObjectList<TItem>>(false));
  borrowing->Add(gift);
  borrowing.reset();
  EXPECT_EQ(gift->GetName(), u"cup");  // still alive
  gift->Free();
}

TEST(HelperContainers, DictionaryInKeyOrderWithOwnedValues) {
  Owned<TItemsByName> dict(New<TItemsByName>());
  dict->Add(u"b", New<TItem>(u"two"));
  dict->Add(u"a", New<TItem>(u"one"));
  EXPECT_EQ(MessageOf([&] { dict->Add(u"a", nullptr); }), u"EListError: Duplicates not allowed");
  EXPECT_EQ(dict->Keys()->ToArray(), (std::vector<UnicodeString>{u"a", u"b"}));
  EXPECT_EQ(dict->Values()->Count(), 2);
  EXPECT_EQ(dict->Values()->ToArray()[0]->GetName(), u"one");
  dict->AddOrSetValue(u"a", New<TItem>(u"uno"));  // the replaced value is freed
  EXPECT_EQ(dict->GetItem(u"a")->GetName(), u"uno");
  dict->AddOrSetValue(u"a", dict->GetItem(u"a"));  // the same object again: kept
  EXPECT_EQ(dict->GetItem(u"a")->GetName(), u"uno");
  EXPECT_TRUE(dict->Remove(u"b"));
  EXPECT_FALSE(dict->Remove(u"b"));
  EXPECT_FALSE(dict->ContainsKey(u"b"));
  EXPECT_EQ(MessageOf([&] { dict->GetItem(u"b"); }), u"EListError: Item not found");

  TItem *kept = New<TItem>(u"kept");
  {
    Owned<TItemsByName> borrowing(New<TItemsByName>(false));
    borrowing->Add(u"k", kept);
    borrowing->Remove(u"k");
    borrowing->Add(u"k", kept);
  }
  EXPECT_EQ(kept->GetName(), u"kept");
  kept->Free();
}

// ---------------------------------------------------------------------------------------------
// Registration

TEST(HelperRegistration, ContainerNamesCarryTheirElementTypes) {
  EXPECT_EQ(TVnTypes::Of<TVnList<Integer>>()->Name, u"TList<System.Integer>");
  EXPECT_EQ(TVnTypes::Of<TVnList<UnicodeString>>()->Name, u"TList<System.string>");
  EXPECT_EQ(TVnTypes::Of<TVnObjectList<TItem>>()->Name, u"TObjectList<shop.TItem>");
  EXPECT_EQ(TVnTypes::Of<TItemsByName>()->QualifiedName,
            u"shop.TObjectDictionary<System.string,shop.TItem>");
  EXPECT_EQ(TVnTypes::Of<TSchemaPair>()->QualifiedName, u"uVnSerializerHelpers.TSchemaPair");
  EXPECT_EQ(TVnTypes::Of<TSchemaDictionary>()->Name, u"TSchemaDictionary");
}

TEST(HelperRegistration, EachContainerFindsItsHelpers) {
  auto writer = [](TClass AClass) -> UnicodeString {
    Owned<TVnSerializerHelper> h(FindSerializerHelper(AClass));
    return h ? h->ClassName() : UnicodeString(u"none");
  };
  auto reader = [](TClass AClass) -> UnicodeString {
    Owned<TVnDeserializerHelper> h(FindDeserializerHelper(AClass));
    return h ? h->ClassName() : UnicodeString(u"none");
  };
  EXPECT_EQ(writer(TCustomerId::StaticClass()), u"TVnSimpleTypeSerializerHelper");
  EXPECT_EQ(reader(TCustomerId::StaticClass()), u"TVnSimpleTypeDeserializerHelper");
  EXPECT_EQ(writer(TVnList<Integer>::StaticClass()), u"TVnListSerializerHelper");
  EXPECT_EQ(reader(TVnList<Integer>::StaticClass()), u"TVnListDeserializerHelper");
  EXPECT_EQ(writer(TList::StaticClass()), u"TVnListSerializerHelper");
  // An object list is a list too: the more derived registration wins.
  EXPECT_EQ(writer(TObjectList::StaticClass()), u"TVnObjectListSerializerHelper");
  EXPECT_EQ(reader(TObjectList::StaticClass()), u"TVnObjectListDeserializerHelper");
  EXPECT_EQ(writer(TVnObjectList<TItem>::StaticClass()), u"TVnObjectListSerializerHelper");
  EXPECT_EQ(reader(TVnObjectList<TItem>::StaticClass()), u"TVnObjectListDeserializerHelper");
  EXPECT_EQ(writer(TItemsByName::StaticClass()), u"TVnDictionarySerializerHelper");
  EXPECT_EQ(reader(TItemsByName::StaticClass()), u"none");
}

TEST(HelperRegistration, HintsNameTheHelpersByQualifiedName) {
  SerializerHint writer(shoSerializerHelper, u"uVnSerializerHelpers.TVnDictionarySerializerHelper");
  EXPECT_EQ(writer.GetSerializerHelperClass(), TVnDictionarySerializerHelper::StaticClass());
  SerializerHint reader(shoDeserializerHelper, u"uVnSerializerHelpers.TVnListDeserializerHelper");
  EXPECT_EQ(reader.GetDeserializerHelperClass(), TVnListDeserializerHelper::StaticClass());
}

// ---------------------------------------------------------------------------------------------
// Writing value lists: an array with one simple value per item

TEST(HelperValueListWrite, JsonArrayOfValues) {
  Owned<TNumbers> n(New<TNumbers>());
  n->Nums = New<TVnList<Integer>>();
  n->Nums->Add(1);
  n->Nums->Add(-2);
  n->Tags = New<TVnList<UnicodeString>>();
  n->Tags->Add(u"a\"b");
  EXPECT_EQ(Json(TValue(n.get())), R"({"className":"TNumbers","nums":[1,-2],"tags":["a\"b"]})");
}

TEST(HelperValueListWrite, XmlElementPerItemNamedByTheElementType) {
  Owned<TNumbers> n(New<TNumbers>());
  n->Nums = New<TVnList<Integer>>();
  n->Nums->Add(1);
  n->Nums->Add(2);
  n->Tags = New<TVnList<UnicodeString>>();
  n->Tags->Add(u"x<y");
  EXPECT_EQ(
      Xml(TValue(n.get())),
      XmlRoot("TNumbers") +
          R"(<Nums xsi:type="xsd:ArrayOfInt"><int xsi:type="xsd:int">1</int>)"
          R"(<int xsi:type="xsd:int">2</int></Nums>)"
          R"(<Tags xsi:type="xsd:ArrayOfString"><string xsi:type="xsd:string">x&lt;y</string>)"
          R"(</Tags></object>)");
}

TEST(HelperValueListWrite, EmptyListOpensAndClosesTheArray) {
  Owned<TNumbers> n(New<TNumbers>());
  n->Nums = New<TVnList<Integer>>();
  n->Tags = New<TVnList<UnicodeString>>();
  EXPECT_EQ(Json(TValue(n.get())), R"({"className":"TNumbers","nums":[],"tags":[]})");
  EXPECT_EQ(Xml(TValue(n.get())), XmlRoot("TNumbers") +
                                      R"(<Nums xsi:type="xsd:ArrayOfInt"></Nums>)"
                                      R"(<Tags xsi:type="xsd:ArrayOfString"></Tags></object>)");
}

TEST(HelperValueListWrite, NilListIsANilObject) {
  Owned<TNumbers> n(New<TNumbers>());
  n->Tags = New<TVnList<UnicodeString>>();
  EXPECT_EQ(Json(TValue(n.get())), R"({"className":"TNumbers","nums":{},"tags":[]})");
}

TEST(HelperValueListWrite, ListAtTheRootKeepsItsEmptyName) {
  Owned<TVnList<Integer>> list(New<TVnList<Integer>>());
  list->Add(5);
  EXPECT_EQ(Json(TValue(list.get())), R"({"className":"TList<System.Integer>","":[5]})");
}

// ---------------------------------------------------------------------------------------------
// Writing object lists: one object per item, under its actual class

TEST(HelperObjectListWrite, JsonRecordsTheClassOfEachElement) {
  Owned<TShelf> s(New<TShelf>());
  s->Items = New<TVnObjectList<TItem>>();
  s->Items->Add(New<TItem>(u"tea"));
  s->Items->Add(New<TGift>(u"cup"));
  static_cast<TGift *>(s->Items->Get(1))->SetWrap(3);
  EXPECT_EQ(Json(TValue(s.get())),
            R"({"className":"TShelf","items":[{"className":"TItem","name":"tea"},)"
            R"({"className":"TGift","wrap":3,"name":"cup"}],"loose":{}})");
}

TEST(HelperObjectListWrite, XmlElementsNamedByTheElementTypeTypedByTheirClass) {
  Owned<TShelf> s(New<TShelf>());
  s->Items = New<TVnObjectList<TItem>>();
  s->Items->Add(New<TGift>(u"cup"));
  s->Loose = New<TObjectList>();
  s->Loose->Add(New<TItem>(u"pen"));
  EXPECT_EQ(Xml(TValue(s.get())),
            XmlRoot("TShelf") +
                R"(<Items xsi:type="xsd:ArrayOfTObjectList<shop.TItem>">)"
                R"(<TItem xsi:type="xsd:TGift"><Wrap xsi:type="xsd:int">0</Wrap>)"
                R"(<Name xsi:type="xsd:string">cup</Name></TItem></Items>)"
                // An untyped list names its elements "TObject".
                R"(<Loose xsi:type="xsd:ArrayOfTObjectList"><TObject xsi:type="xsd:TItem">)"
                R"(<Name xsi:type="xsd:string">pen</Name></TObject></Loose></object>)");
}

TEST(HelperObjectListWrite, NilElementIsANilObjectInItsPlace) {
  Owned<TVnObjectList<TItem>> list(New<TVnObjectList<TItem>>());
  list->Add(New<TItem>(u"a"));
  list->Add(nullptr);
  EXPECT_EQ(
      Json(TValue(list.get())),
      R"({"className":"TObjectList<shop.TItem>","items":[{"className":"TItem","name":"a"},{}]})");
}

TEST(HelperObjectListWrite, ListAtTheRootIsNamedItems) {
  Owned<TVnObjectList<TItem>> list(New<TVnObjectList<TItem>>());
  EXPECT_EQ(Json(TValue(list.get())), R"({"className":"TObjectList<shop.TItem>","items":[]})");
  EXPECT_EQ(Xml(TValue(list.get())),
            XmlRoot("TObjectList<shop.TItem>") +
                R"(<Items xsi:type="xsd:ArrayOfTObjectList<shop.TItem>"></Items></object>)");
}

// ---------------------------------------------------------------------------------------------
// Writing dictionaries: an array of key and value pairs

TEST(HelperDictionaryWrite, JsonPairsInKeyOrder) {
  Owned<TStock> s(New<TStock>());
  s->Counts = New<TCounts>();
  s->Counts->Add(u"b", 2);
  s->Counts->Add(u"a", 1);
  s->Gifts = New<TItemsByName>();
  s->Gifts->Add(u"x", New<TGift>(u"pen"));
  EXPECT_EQ(Json(TValue(s.get())),
            R"({"className":"TStock","counts":[{"className":"TSchemaPair","key":"a","value":1},)"
            R"({"className":"TSchemaPair","key":"b","value":2}],)"
            R"("gifts":[{"className":"TSchemaPair","key":"x",)"
            R"("value":{"className":"TGift","wrap":0,"name":"pen"}}]})");
}

TEST(HelperDictionaryWrite, XmlItemPerPairWithKeyAndValue) {
  Owned<TStock> s(New<TStock>());
  s->Counts = New<TCounts>();
  s->Counts->Add(u"a", 1);
  s->Gifts = New<TItemsByName>();
  EXPECT_EQ(Xml(TValue(s.get())),
            XmlRoot("TStock") +
                R"(<Counts xsi:type="xsd:ArrayOfTSchemaPair"><item xsi:type="xsd:TSchemaPair">)"
                R"(<Key xsi:type="xsd:string">a</Key><Value xsi:type="xsd:int">1</Value></item>)"
                R"(</Counts><Gifts xsi:type="xsd:ArrayOfTSchemaPair"></Gifts></object>)");
}

TEST(HelperDictionaryWrite, DictionaryAtTheRootIsNamedItems) {
  Owned<TCounts> d(New<TCounts>());
  d->Add(u"a", 1);
  EXPECT_EQ(Json(TValue(d.get())),
            R"({"className":"TObjectDictionary<System.string,System.Integer>",)"
            R"("items":[{"className":"TSchemaPair","key":"a","value":1}]})");
}

// ---------------------------------------------------------------------------------------------
// Writing simple-type objects: the value itself, typed by the class's value type

TEST(HelperSimpleTypeWrite, JsonValueInPlaceOfTheObject) {
  Owned<TCustomer> c(New<TCustomer>());
  c->Id = New<TCustomerId>(7);
  c->Code = New<TCode>();
  c->Code->SetValue(u"A\"1");
  EXPECT_EQ(Json(TValue(c.get())), R"({"className":"TCustomer","id":7,"code":"A\"1"})");
}

TEST(HelperSimpleTypeWrite, NoValueAndNilObjectAreNull) {
  Owned<TCustomer> c(New<TCustomer>());
  c->Code = New<TCode>();  // holds no value
  EXPECT_EQ(Json(TValue(c.get())), R"({"className":"TCustomer","id":null,"code":null})");
  EXPECT_EQ(Xml(TValue(c.get())), XmlRoot("TCustomer") +
                                      R"(<Id xsi:type="xsd:int" xsi:nil="true"/>)"
                                      R"(<Code xsi:type="xsd:string" xsi:nil="true"/></object>)");
}

TEST(HelperSimpleTypeWrite, XmlElementTypedByTheValueType) {
  Owned<TCustomer> c(New<TCustomer>());
  c->Id = New<TCustomerId>(7);
  c->Code = New<TCode>();
  c->Code->SetValue(u"a&b");
  EXPECT_EQ(Xml(TValue(c.get())), XmlRoot("TCustomer") +
                                      R"(<Id xsi:type="xsd:int">7</Id>)"
                                      R"(<Code xsi:type="xsd:string">a&amp;b</Code></object>)");
  // At the root the value is the text of the root element.
  EXPECT_EQ(Xml(TValue(c->Id)), XmlRoot("TCustomerId") + "7</object>");
}

TEST(HelperSimpleTypeWrite, ClassWithoutValuePropertyFails) {
  Owned<TOddOne> o(New<TOddOne>());
  o->Odd = New<TNoValueType>();
  EXPECT_EQ(MessageOf([&] { Json(TValue(o.get())); }),
            u"EVnSerializeException: The simple type TNoValueType has no property \"Value\" that "
            u"gives the type of its value!");
}

// ---------------------------------------------------------------------------------------------
// Reading. Containers and simple-type objects are read into instances that exist already: the
// reader cannot make one from the document (a list's data type names its array, a simple type's
// its value).

namespace {

template <class T>
void Read(T *AObject, TVnDataSerializationFormatType AFormat, const RawByteString &ADoc) {
  VnSerializer(AObject).Deserialize(AFormat, ADoc);
}

TNumbers *EmptyNumbers() {
  TNumbers *n = New<TNumbers>();
  n->Nums = New<TVnList<Integer>>();
  n->Tags = New<TVnList<UnicodeString>>();
  return n;
}

}  // namespace

TEST(HelperValueListRead, XmlAppendsEachValue) {
  Owned<TNumbers> n(EmptyNumbers());
  n->Nums->Add(1);
  n->Nums->Add(2);
  n->Tags->Add(u"x<y");
  RawByteString doc = Xml(TValue(n.get()));
  Owned<TNumbers> copy(EmptyNumbers());
  copy->Nums->Add(9);  // a list is not cleared before reading
  Read(copy.get(), dsfXML, doc);
  EXPECT_EQ(copy->Nums->ToArray(), (std::vector<Integer>{9, 1, 2}));
  EXPECT_EQ(copy->Tags->ToArray(), (std::vector<UnicodeString>{u"x<y"}));
}

TEST(HelperValueListRead, ElementTypeServesWhereTheDocumentGivesNone) {
  // XML without namespaces has no xsi:type; JSON names the list's own type.
  Owned<TNumbers> xml(EmptyNumbers());
  Read(xml.get(), dsfXML,
       "<object><Nums><int>4</int><int>5</int></Nums><Tags><string>a&amp;b</string></Tags>"
       "</object>");
  EXPECT_EQ(xml->Nums->ToArray(), (std::vector<Integer>{4, 5}));
  EXPECT_EQ(xml->Tags->ToArray(), (std::vector<UnicodeString>{u"a&b"}));

  Owned<TNumbers> json(EmptyNumbers());
  Read(json.get(), dsfJSON, R"({"className":"TNumbers","nums":[7,8,9],"tags":["a\"b","c"]})");
  EXPECT_EQ(json->Nums->ToArray(), (std::vector<Integer>{7, 8, 9}));
  EXPECT_EQ(json->Tags->ToArray(), (std::vector<UnicodeString>{u"a\"b", u"c"}));
}

TEST(HelperObjectListRead, XmlCreatesEachElementByItsType) {
  Owned<TShelf> s(New<TShelf>());
  s->Items = New<TVnObjectList<TItem>>();
  s->Items->Add(New<TItem>(u"tea"));
  TGift *gift = New<TGift>(u"cup");
  gift->SetWrap(3);
  s->Items->Add(gift);
  RawByteString doc = Xml(TValue(s.get()));
  Owned<TShelf> copy(New<TShelf>());
  copy->Items = New<TVnObjectList<TItem>>();
  Read(copy.get(), dsfXML, doc);
  ASSERT_EQ(copy->Items->Count(), 2);
  EXPECT_EQ(copy->Items->Get(0)->ClassType(), TItem::StaticClass());
  EXPECT_EQ(copy->Items->Get(0)->GetName(), u"tea");
  ASSERT_EQ(copy->Items->Get(1)->ClassType(), TGift::StaticClass());
  EXPECT_EQ(copy->Items->Get(1)->GetName(), u"cup");
  EXPECT_EQ(static_cast<TGift *>(copy->Items->Get(1))->GetWrap(), 3);
  EXPECT_EQ(Xml(TValue(copy.get())), doc);
}

TEST(HelperObjectListRead, ListThatOwnsNothingReadsNothing) {
  Owned<TShelf> s(New<TShelf>());
  s->Items = New<TVnObjectList<TItem>>();
  s->Items->Add(New<TGift>(u"cup"));
  RawByteString doc = Xml(TValue(s.get()));
  Owned<TShelf> copy(New<TShelf>());
  copy->Items = New<TVnObjectList<TItem>>(false);
  Read(copy.get(), dsfXML, doc);
  EXPECT_EQ(copy->Items->Count(), 0);
}

TEST(HelperObjectListRead, JsonGivesNoTypeAndFillsNothing) {
  Owned<TShelf> copy(New<TShelf>());
  copy->Items = New<TVnObjectList<TItem>>();
  Read(copy.get(), dsfJSON,
       R"({"className":"TShelf","items":[{"className":"TItem","name":"tea"},)"
       R"({"className":"TGift","wrap":3,"name":"cup"}]})");
  EXPECT_EQ(copy->Items->Count(), 0);
}

TEST(HelperObjectListRead, ElementOfAClassTheListDoesNotHoldFails) {
  Owned<TShelf> copy(New<TShelf>());
  copy->Items = New<TVnObjectList<TItem>>();
  UnicodeString message = MessageOf([&] {
    Read(copy.get(), dsfXML,
         R"(<object xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance"><Items>)"
         R"(<TItem xsi:type="xsd:TNote"/></Items></object>)");
  });
  EXPECT_NE(message.find(u"Invalid class typecast"), UnicodeString::npos) << UTF8Encode(message);
  EXPECT_EQ(copy->Items->Count(), 0);  // the object made for it is freed (the sanitizer checks)
}

TEST(HelperSimpleTypeRead, ValueBackInBothNotations) {
  for (auto format : {dsfXML, dsfJSON}) {
    Owned<TCustomer> c(New<TCustomer>());
    c->Id = New<TCustomerId>(7);
    c->Code = New<TCode>();
    c->Code->SetValue(u"a&b<\"c\"");
    RawByteString doc = VnSerialize(format, TValue(c.get()));
    Owned<TCustomer> copy(New<TCustomer>());
    copy->Id = New<TCustomerId>();
    copy->Code = New<TCode>();
    Read(copy.get(), format, doc);
    EXPECT_EQ(copy->Id->GetValue(), 7) << int(format);
    EXPECT_TRUE(copy->Id->HasValue());
    EXPECT_EQ(copy->Code->GetValue(), u"a&b<\"c\"") << int(format);
  }
}
