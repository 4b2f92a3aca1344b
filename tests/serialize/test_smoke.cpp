// The order of the walk's example, written in both notations.
#include <gtest/gtest.h>

#include "vnxml/common/uVnSerializer.h"
#include "vnxml/json/uVnJSONSerializer.h"
#include "vnxml/xml/uVnXMLSerializer.h"

using namespace vn;

namespace smoke {

class TPerson : public TPersistent {
  VN_CLASS(TPerson, TPersistent)
 public:
  UnicodeString FName;
  const UnicodeString &GetName() const { return FName; }
  void SetName(const UnicodeString &A) { FName = A; }
};
VN_RTTI(TPerson, u"smoke") {
  R.Property(u"Name", &TPerson::GetName, &TPerson::SetName);
}

class TOrder : public TPersistent {
  VN_CLASS(TOrder, TPersistent)
 public:
  ~TOrder() override { delete FCustomer; }
  Integer FId = 0;
  TPerson *FCustomer = nullptr;
  UnicodeString Note;
  Integer Hidden = 0;
  Integer GetId() const { return FId; }
  void SetId(Integer A) { FId = A; }
  TPerson *GetCustomer() const { return FCustomer; }
  void SetCustomer(TPerson *A) { FCustomer = A; }
};
VN_RTTI(TOrder, u"smoke") {
  R.Property(u"Id", &TOrder::GetId, &TOrder::SetId);
  R.Property(u"Customer", &TOrder::GetCustomer, &TOrder::SetCustomer);
  R.Field(u"Note", &TOrder::Note);
  R.Field(u"Hidden", &TOrder::Hidden, mvPrivate);
}

}  // namespace smoke

TEST(SerializeSmoke, OrderBothWays) {
  auto *order = New<smoke::TOrder>();
  order->FId = 7;
  order->FCustomer = New<smoke::TPerson>();
  order->FCustomer->FName = u"Ann";
  order->Note = u"x";
  EXPECT_EQ(
      VnSerialize(dsfJSON, TValue(order)),
      R"({"className":"TOrder","id":7,"customer":{"className":"TPerson","name":"Ann"},"note":"x"})");
  Owned<TVnSerializer> s(VnCreateSerializer(dsfXML, TValue(order)));
  s->SetParam(u"xmlns", u"urn:app");
  EXPECT_EQ(s->Serialize(),
            "<object xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
            "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" xsi:type=\"xsd:TOrder\" "
            "xmlns=\"urn:app\"><Id xsi:type=\"xsd:int\">7</Id><Customer "
            "xsi:type=\"xsd:TPerson\"><Name xsi:type=\"xsd:string\">Ann</Name></Customer><Note "
            "xsi:type=\"xsd:string\">x</Note></object>");
  EXPECT_EQ(VnSerializer(order).AsXML(u"", true),
            "<object><Id>7</Id><Customer><Name>Ann</Name></Customer><Note>x</Note></object>");
  order->Free();
}
