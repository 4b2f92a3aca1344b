// A user's guide to the reflection table, by example.
//
// A small shop: an order with a customer (and a derived customer class), an enumeration whose
// value names carry a prefix, a set of it, an address record, a dynamic array of order lines,
// and an object list of items. Each type is registered in a few lines next to it; the tests
// then walk the types generically, as a serializer does.
#include <gtest/gtest.h>

#include "vnxml/common/uVnRtti.h"
#include "vnxml/common/uVnTypes.h"
#include "vnxml/rtl/Classes.h"
#include "vnxml/rtl/Rtti.h"

using namespace vn;

namespace shop {

// --- An attribute of our own: the prefix of an enumeration's value names.
class TEnumPrefix : public TCustomAttribute {
  VN_CLASS(TEnumPrefix, TCustomAttribute)
 public:
  explicit TEnumPrefix(UnicodeString APrefix) : Prefix(std::move(APrefix)) {}
  UnicodeString Prefix;
};

// --- An enumeration and a set of it. Registration names the values in order.
enum TColor { clRed, clGreen, clBlue };
using TColors = Set<TColor, clRed, clBlue>;

VN_RTTI(TColor, u"shop") {
  R.Names({u"clRed", u"clGreen", u"clBlue"});
  R.Attribute(new TEnumPrefix(u"cl"));
}
VN_RTTI(TColors, u"shop") {}

// --- Records: plain structs with public fields.
struct TAddress {
  UnicodeString Street;
  Integer Zip = 0;
};
VN_RTTI(TAddress, u"shop") {
  R.Field(u"Street", &TAddress::Street);
  R.Field(u"Zip", &TAddress::Zip);
}

struct TOrderLine {
  UnicodeString Article;
  Integer Quantity = 0;
  Double Price = 0;
};
using TOrderLines = std::vector<TOrderLine>;
VN_RTTI(TOrderLine, u"shop") {
  R.Field(u"Article", &TOrderLine::Article);
  R.Field(u"Quantity", &TOrderLine::Quantity);
  R.Field(u"Price", &TOrderLine::Price);
}
// A dynamic array needs no registration; this one gets a name.
VN_RTTI(TOrderLines, u"shop") {}

// --- Classes. A class declares itself with VN_CLASS; VN_RTTI_FRIEND lets its registration
// block list private members.
class TItem : public TPersistent {
  VN_CLASS(TItem, TPersistent)
 public:
  UnicodeString Name;
  Double Price = 0;
};
VN_RTTI(TItem, u"shop") {
  R.Field(u"Name", &TItem::Name);
  R.Field(u"Price", &TItem::Price);
}

// An object list of items. Its Name carries the element type, as a generic list's does.
class TItemList : public TObjectList {
  VN_CLASS(TItemList, TObjectList)
 public:
  TItemList() : TObjectList(true) {}
};
VN_RTTI(TItemList, u"System.Generics.Collections") {
  R.Name(u"TObjectList<shop.TItem>");
}

class TCustomer : public TPersistent {
  VN_CLASS(TCustomer, TPersistent)
  VN_RTTI_FRIEND(TCustomer)
 public:
  const UnicodeString &GetName() const { return FName; }
  void SetName(const UnicodeString &AValue) { FName = AValue; }
  Integer GetRating() const { return FRating; }

  Integer Id = 0;
  TAddress Address;

 private:
  UnicodeString FName;
  Integer FRating = 3;
};
VN_RTTI(TCustomer, u"shop") {
  R.Field(u"FName", &TCustomer::FName, mvPrivate);
  R.Field(u"FRating", &TCustomer::FRating, mvPrivate);
  R.Field(u"Id", &TCustomer::Id);
  R.Field(u"Address", &TCustomer::Address);
  R.Property(u"Name", &TCustomer::GetName, &TCustomer::SetName);    // published
  R.Property(u"Rating", &TCustomer::GetRating, nullptr, mvPublic);  // read-only
}

// A derived class whose Id hides the ancestor's.
class TVipCustomer : public TCustomer {
  VN_CLASS(TVipCustomer, TCustomer)
 public:
  UnicodeString Id;
  TColors Colors;
  Double Discount = 0;
};
VN_RTTI(TVipCustomer, u"shop") {
  R.Field(u"Id", &TVipCustomer::Id);
  R.Field(u"Colors", &TVipCustomer::Colors);
  R.Field(u"Discount", &TVipCustomer::Discount);
}

// The order owns its customer and items.
class TOrder : public TPersistent {
  VN_CLASS(TOrder, TPersistent)
 public:
  ~TOrder() override {
    Free(Customer);
    Free(Items);
  }
  TCustomer *GetCustomer() const { return Customer; }
  void SetCustomer(TCustomer *AValue) {
    if (AValue != Customer) Free(Customer);
    Customer = AValue;
  }

  Integer Number = 0;
  TCustomer *Customer = nullptr;
  TColor Color = clRed;
  TOrderLines Lines;
  TItemList *Items = New<TItemList>();
  TVnUTCDateTime Created;
  UnicodeString Note;  // holds XML: registered as VnXMLString
};
VN_RTTI(TOrder, u"shop") {
  R.Field(u"Number", &TOrder::Number);
  R.Property(u"Customer", &TOrder::GetCustomer, &TOrder::SetCustomer);
  R.Field(u"Color", &TOrder::Color);
  R.Field(u"Lines", &TOrder::Lines);
  R.Property(u"Items", &TOrder::Items, nullptr);
  R.Field(u"Created", &TOrder::Created);
  R.Field<TVnXMLStringAlias>(u"Note", &TOrder::Note);
}

}  // namespace shop

using namespace shop;

namespace {

std::vector<UnicodeString> NamesOf(auto AMembers) {
  std::vector<UnicodeString> r;
  for (auto *m : AMembers) r.push_back(m->GetName());
  return r;
}

}  // namespace

// Every registered type has a description with its name, unit and qualified name.
TEST(UserGuide, TypesAreDescribedByTheirRegistration) {
  TRttiType *order = TypeInfo<TOrder>()->RttiType();
  EXPECT_EQ(order->GetName(), u"TOrder");
  EXPECT_EQ(order->GetQualifiedName(), u"shop.TOrder");
  EXPECT_EQ(order->GetTypeKind(), tkClass);
  EXPECT_EQ(order->AsInstance()->GetMetaclassType(), TOrder::StaticClass());
  EXPECT_EQ(order->GetBaseType(), TypeInfo<TPersistent>()->RttiType());

  // The same description is found by qualified name, ignoring case.
  EXPECT_EQ(TRttiContext::FindType(u"SHOP.torder"), order);
  EXPECT_EQ(TRttiContext::FindType(u"shop.TNoSuchType"), nullptr);

  // Names of generic lists carry their type arguments.
  EXPECT_EQ(TypeInfo<TItemList>()->Name(), u"TObjectList<shop.TItem>");
  EXPECT_EQ(TRttiContext::GetType(TItemList::StaticClass())->GetQualifiedName(),
            u"System.Generics.Collections.TObjectList<shop.TItem>");
}

// GetFields lists the most derived class's fields first, in order of declaration, then each
// ancestor's. The customer's Id, hidden by the VIP customer's, stays behind it.
TEST(UserGuide, MembersComeInTheRequiredOrder) {
  TRttiType *vip = TypeInfo<TVipCustomer>()->RttiType();
  EXPECT_EQ(NamesOf(vip->GetFields()),
            (std::vector<UnicodeString>{u"Id", u"Colors", u"Discount", u"FName", u"FRating", u"Id",
                                        u"Address"}));
  EXPECT_EQ(NamesOf(vip->GetProperties()), (std::vector<UnicodeString>{u"Name", u"Rating"}));
  EXPECT_EQ(NamesOf(vip->GetDeclaredFields()),
            (std::vector<UnicodeString>{u"Id", u"Colors", u"Discount"}));

  // A lookup ignores case and finds the first in the list: the VIP's own Id, a string.
  TRttiField *id = vip->GetField(u"ID");
  ASSERT_NE(id, nullptr);
  EXPECT_EQ(id->GetParent(), vip);
  EXPECT_EQ(id->GetFieldType()->GetTypeKind(), tkUString);
  EXPECT_EQ(vip->GetField(u"Missing"), nullptr);
  EXPECT_EQ(vip->GetProperty(u"name")->GetParent(), TypeInfo<TCustomer>()->RttiType());

  // Visibility and readability as registered.
  EXPECT_EQ(vip->GetField(u"FName")->GetVisibility(), mvPrivate);
  EXPECT_EQ(vip->GetField(u"Address")->GetVisibility(), mvPublic);
  EXPECT_EQ(vip->GetProperty(u"Name")->GetVisibility(), mvPublished);
  EXPECT_TRUE(vip->GetProperty(u"Rating")->IsReadable());
  EXPECT_FALSE(vip->GetProperty(u"Rating")->IsWritable());
}

// Values go in and out through TValue, whatever the declared type.
TEST(UserGuide, ValuesAreReadAndWrittenThroughTValue) {
  TVipCustomer c;
  TRttiType *t = TRttiContext::GetType(c.ClassType());

  t->GetProperty(u"Name")->SetValue(&c, u"Ann");
  EXPECT_EQ(c.GetName(), u"Ann");
  EXPECT_EQ(t->GetField(u"FName")->GetValue(&c).AsString(), u"Ann");

  // The hidden Id is reached through its own entry in the list.
  std::vector<TRttiField *> ids;
  for (TRttiField *f : t->GetFields())
    if (f->GetName() == u"Id") ids.push_back(f);
  ASSERT_EQ(ids.size(), 2u);
  ids[0]->SetValue(&c, u"VIP-1");
  ids[1]->SetValue(&c, 42);
  EXPECT_EQ(c.Id, u"VIP-1");
  EXPECT_EQ(static_cast<TCustomer &>(c).Id, 42);

  // A value of another type converts on the way in.
  t->GetField(u"Discount")->SetValue(&c, u"2.5");
  EXPECT_EQ(c.Discount, 2.5);

  // A record member is a value: change it through its own description, then store it back.
  TValue address = t->GetField(u"Address")->GetValue(&c);
  TRttiType *addressType = address.GetRttiType();
  addressType->GetField(u"Street")->SetValue(address.GetReferenceToRawData(), u"Main St 1");
  addressType->GetField(u"Zip")->SetValue(address.GetReferenceToRawData(), 1010);
  EXPECT_EQ(c.Address.Street, u"");
  t->GetField(u"Address")->SetValue(&c, address);
  EXPECT_EQ(c.Address.Street, u"Main St 1");
  EXPECT_EQ(c.Address.Zip, 1010);

  // A read-only property refuses to be written.
  EXPECT_THROW(t->GetProperty(u"Rating")->SetValue(&c, 5), EPropertyError);
}

// An enumeration prints its value names; its attribute tells the prefix. A set prints "[a,b]".
TEST(UserGuide, EnumerationsAndSetsByName) {
  TVipCustomer c;
  c.Colors << clRed << clBlue;
  TValue colors = TypeInfo<TVipCustomer>()->RttiType()->GetField(u"Colors")->GetValue(&c);
  EXPECT_EQ(colors.ToString(), u"[clRed,clBlue]");
  EXPECT_EQ(TValue(clGreen).ToString(), u"clGreen");

  TRttiType *color = TypeInfo<TColor>()->RttiType();
  ASSERT_NE(color->GetAttribute<TEnumPrefix>(), nullptr);
  EXPECT_EQ(color->GetAttribute<TEnumPrefix>()->Prefix, u"cl");
  // The set's element type leads to the same attribute.
  EXPECT_EQ(static_cast<TRttiSetType *>(colors.GetRttiType())->GetElementType(), color);

  EXPECT_EQ(GetEnumName(TypeInfo<TColor>(), 2), u"clBlue");
  EXPECT_EQ(GetEnumValue(TypeInfo<TColor>(), u"CLGREEN"), 1);
  EXPECT_EQ(GetEnumValue(TypeInfo<TColor>(), u"Green"), -1);

  // Text with or without brackets sets the members.
  TValue parsed;
  ASSERT_TRUE(TValue(u"[clGreen, clBlue]").ToType(TypeInfo<TColors>(), parsed));
  TRttiContext::GetType(c.ClassType())->GetField(u"Colors")->SetValue(&c, parsed);
  EXPECT_EQ(c.Colors, (TColors{clGreen, clBlue}));
}

// A dynamic array of records: read the array, walk its elements, grow it, store it back.
TEST(UserGuide, DynamicArraysOfRecords) {
  TOrder order;
  order.Lines = {{u"Pen", 2, 1.5}, {u"Ink", 1, 4.0}};
  TRttiField *lines = TypeInfo<TOrder>()->RttiType()->GetField(u"Lines");
  auto *arrayType = static_cast<TRttiDynamicArrayType *>(lines->GetFieldType());
  EXPECT_EQ(arrayType->GetName(), u"TOrderLines");
  TRttiType *lineType = arrayType->GetElementType();
  EXPECT_EQ(lineType->GetName(), u"TOrderLine");

  TValue v = lines->GetValue(&order);
  ASSERT_EQ(v.GetArrayLength(), 2);
  TValue second = v.GetArrayElement(1);
  EXPECT_EQ(lineType->GetField(u"Article")->GetValue(second.GetReferenceToRawData()).AsString(),
            u"Ink");

  v.SetArrayLength(3);
  TValue line = TValue::Make(nullptr, lineType->GetHandle());
  lineType->GetField(u"Article")->SetValue(line.GetReferenceToRawData(), u"Pad");
  lineType->GetField(u"Quantity")->SetValue(line.GetReferenceToRawData(), 7);
  v.SetArrayElement(2, line);
  lines->SetValue(&order, v);
  ASSERT_EQ(order.Lines.size(), 3u);
  EXPECT_EQ(order.Lines[2].Article, u"Pad");
  EXPECT_EQ(order.Lines[2].Quantity, 7);
  EXPECT_EQ(order.Lines[0].Article, u"Pen");
}

// Instances are made from a class name: the class table, the registered type, or the
// parameterless constructor "Create" found among the methods.
TEST(UserGuide, InstancesAreCreatedByClassName) {
  RegisterClasses({TCustomer::StaticClass(), TVipCustomer::StaticClass(), TItem::StaticClass()});
  TClass cls = GetClass(u"tvipcustomer");
  ASSERT_EQ(cls, TVipCustomer::StaticClass());
  TObject *obj = cls->Create();
  EXPECT_TRUE(obj->Is<TCustomer>());
  obj->Free();

  TRttiType *t = TRttiContext::FindType(u"shop.TItem");
  TRttiMethod *create = t->GetMethod(u"Create");
  ASSERT_NE(create, nullptr);
  EXPECT_TRUE(create->IsConstructor());
  EXPECT_TRUE(create->GetParameters().empty());
  TObject *item = create->Invoke(t->AsInstance()->GetMetaclassType(), {}).AsObject();
  ASSERT_NE(item, nullptr);
  EXPECT_EQ(item->ClassType(), TItem::StaticClass());
  item->Free();

  EXPECT_EQ(GetClass(u"TNoSuchClass"), nullptr);
  EXPECT_THROW(FindClass(u"TNoSuchClass"), EClassNotFound);
}

// The object list is walked through the members that the library registers for TObjectList:
// "Add", "Count" and the indexed "Items".
TEST(UserGuide, ObjectListsThroughTheirMethods) {
  TOrder order;
  TRttiType *orderType = TypeInfo<TOrder>()->RttiType();
  TObject *list = orderType->GetProperty(u"Items")->GetValue(&order).AsObject();
  ASSERT_EQ(list, order.Items);
  TRttiType *listType = TRttiContext::GetType(list->ClassType());

  auto *item = New<TItem>();
  item->Name = u"Pen";
  TValue index = listType->GetMethod(u"Add")->Invoke(list, {TValue(item)});
  EXPECT_EQ(index.AsInteger(), 0);
  EXPECT_EQ(listType->GetProperty(u"Count")->GetValue(list).AsInteger(), 1);
  TObject *first = listType->GetIndexedProperty(u"Items")->GetValue(list, {0}).AsObject();
  EXPECT_EQ(first, item);
  EXPECT_TRUE(listType->GetProperty(u"OwnsObjects")->GetValue(list).AsBoolean());
}

// A class member holds an object reference; writing a derived object is allowed, writing an
// object of an unrelated class is refused.
TEST(UserGuide, ObjectMembersByClass) {
  TOrder order;
  TRttiProperty *customer = TypeInfo<TOrder>()->RttiType()->GetProperty(u"Customer");
  EXPECT_TRUE(customer->GetValue(&order).GetIsEmpty());
  EXPECT_EQ(customer->GetPropertyType()->GetName(), u"TCustomer");

  customer->SetValue(&order, New<TVipCustomer>());
  TValue v = customer->GetValue(&order);
  EXPECT_EQ(v.GetTypeInfo(), TypeInfo<TCustomer>());  // the declared class
  EXPECT_EQ(v.AsObject()->ClassType(), TVipCustomer::StaticClass());
  auto *vip = v.AsType<TVipCustomer>();
  EXPECT_EQ(vip, order.Customer);

  TItem stranger;
  EXPECT_THROW(customer->SetValue(&order, &stranger), EInvalidCast);
  EXPECT_EQ(order.Customer, vip);
}

// Types that share a C++ representation stay apart where the registry needs it.
TEST(UserGuide, TypeIdentityOfAliases) {
  TRttiType *order = TypeInfo<TOrder>()->RttiType();
  const TVnTypeInfo *created = TVnTypes::GetTypeInfo(order->GetField(u"Created")->GetFieldType());
  EXPECT_EQ(created->Name, u"TVnUTCDateTime");
  EXPECT_EQ(created->Kind, vtkDateTime);

  const TVnTypeInfo *note = TVnTypes::GetTypeInfo(order->GetField(u"Note")->GetFieldType());
  EXPECT_EQ(note->Name, u"VnXMLString");
  EXPECT_EQ(note->Kind, vtkString);

  // A value read from the member knows the alias; it is still a string.
  TOrder o;
  o.Note = u"<b>x</b>";
  TValue v = order->GetField(u"Note")->GetValue(&o);
  EXPECT_EQ(v.VnTypeInfo()->Name, u"VnXMLString");
  EXPECT_EQ(v.AsString(), u"<b>x</b>");
}

// The registry of the library sees the same types with their kinds and schema names.
TEST(UserGuide, TheRegistryView) {
  const TVnTypeInfo *order = TVnTypes::Of<TOrder>();
  EXPECT_EQ(order->Kind, vtkClass);
  EXPECT_EQ(order->SchemaName(u"xsd"), u"xsd:TOrder");
  EXPECT_EQ(TVnTypes::Of<TOrderLines>()->SchemaName(), u"ArrayOfTOrderLine");
  EXPECT_EQ(TVnTypes::Of<TColor>()->Kind, vtkEnum);
  EXPECT_EQ(TVnTypes::Of<TColors>()->Kind, vtkSet);
  EXPECT_EQ(TVnTypes::Of<TAddress>()->Kind, vtkRecord);
  EXPECT_EQ(TVnTypes::GetTypeInfo(u"TVipCustomer", tntSchemaName, true),
            TVnTypes::Of<TVipCustomer>());
  EXPECT_EQ(TVnTypes::GetTypeInfo(u"shop.TColor", tntQualifiedName), TVnTypes::Of<TColor>());
}
