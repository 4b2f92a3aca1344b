// The user's guide to serialization (docs/serialization.md), as a program: the types of a small
// shop registered once, then written as JSON and as XML and read back. The guide quotes this
// file.
#include <gtest/gtest.h>

#include "vnxml/common/uVnSerializer.h"
#include "vnxml/json/uVnJSONSerializer.h"  // the JSON notation
#include "vnxml/xml/uVnXMLSerializer.h"    // the XML notation

using namespace vn;

namespace guide {

// An enumeration whose value names carry a prefix that documents leave out.
enum TStatus { osNew, osPaid, osShipped };
VN_RTTI(TStatus, u"guide") {
  R.Names({u"osNew", u"osPaid", u"osShipped"});
  R.Attribute(new SerializerHint(shoEnumPrefix, u"os"));
}

// A record: its public fields are written.
struct TLine {
  UnicodeString Article;
  Integer Quantity = 0;
};
VN_RTTI(TLine, u"guide") {
  R.Field(u"Article", &TLine::Article);
  R.Field(u"Quantity", &TLine::Quantity);
}

// A class hierarchy: a member declared as the base may hold a derived class, and the document
// names the class it holds.
class TPayment : public TPersistent {
  VN_CLASS(TPayment, TPersistent)
 public:
  Double Amount = 0;
};
VN_RTTI(TPayment, u"guide") {
  R.Field(u"Amount", &TPayment::Amount);
}

class TCardPayment : public TPayment {
  VN_CLASS(TCardPayment, TPayment)
 public:
  UnicodeString Card;
};
VN_RTTI(TCardPayment, u"guide") {
  R.Field(u"Card", &TCardPayment::Card);
}

class TOrder : public TPersistent {
  VN_CLASS(TOrder, TPersistent)
 public:
  ~TOrder() override { Free(Payment); }
  Integer GetId() const { return FId; }
  void SetId(Integer AValue) { FId = AValue; }

  TStatus Status = osNew;
  std::vector<TLine> Lines;     // a list: a dynamic array
  TPayment *Payment = nullptr;  // owned; may hold a TCardPayment
  UnicodeString Secret;         // never written

 private:
  Integer FId = 0;
};
VN_RTTI(TOrder, u"guide") {
  R.Property(u"Id", &TOrder::GetId, &TOrder::SetId);  // published: written
  R.Field(u"Status", &TOrder::Status);                // public fields are written
  R.Field(u"Lines", &TOrder::Lines);
  R.Field(u"Payment", &TOrder::Payment);
  R.Field(u"Secret", &TOrder::Secret, mvPublic, {new SerializerHint(shoDoNotSerialize)});
}

}  // namespace guide

TEST(SerializeGuide, AnOrderBothWays) {
  Owned<guide::TOrder> order = MakeOwned<guide::TOrder>();
  order->SetId(7);
  order->Status = guide::osPaid;
  order->Lines = {{u"Tea", 2}, {u"Cup", 1}};
  auto *card = New<guide::TCardPayment>();
  card->Amount = 12.5;
  card->Card = u"4111";
  order->Payment = card;
  order->Secret = u"pin";

  EXPECT_EQ(VnSerialize(dsfJSON, TValue(order.get())),
            R"({"className":"TOrder","id":7,"status":{"className":"TStatus","asString":"Paid",)"
            R"("asInt":1},"lines":[{"className":"TLine","article":"Tea","quantity":2},)"
            R"({"className":"TLine","article":"Cup","quantity":1}],"payment":{"className":)"
            R"("TCardPayment","card":"4111","amount":12.5}})");

  EXPECT_EQ(VnSerializer(order.get()).AsXML(u"urn:shop", true),
            "<object><Id>7</Id><Status>Paid</Status><Lines><TLine><Article>Tea</Article>"
            "<Quantity>2</Quantity></TLine><TLine><Article>Cup</Article><Quantity>1</Quantity>"
            "</TLine></Lines><Payment><Card>4111</Card><Amount>12.5</Amount></Payment></object>");

  Owned<TVnSerializer> xml(VnCreateSerializer(dsfXML, TValue(order.get())));
  xml->SetParam(u"xmlns", u"urn:shop");
  RawByteString typed = xml->Serialize();
  EXPECT_NE(typed.find("<Payment xsi:type=\"xsd:TCardPayment\">"), std::string::npos);
  EXPECT_NE(typed.find("<Status xsi:type=\"xsd:TStatus\" value=\"1\">Paid</Status>"),
            std::string::npos);
}

TEST(SerializeGuide, AnOrderReadBack) {
  Owned<guide::TOrder> order = MakeOwned<guide::TOrder>();
  order->SetId(7);
  order->Status = guide::osShipped;
  order->Lines = {{u"Tea", 2}};
  auto *card = New<guide::TCardPayment>();
  card->Card = u"4111";
  order->Payment = card;

  for (auto format : {dsfJSON, dsfXML}) {
    RawByteString text = VnSerialize(format, TValue(order.get()));
    // A new order: the payment comes back as the class the document names.
    Owned<guide::TOrder> copy(VnDeserializeObject<guide::TOrder>(format, text));
    EXPECT_EQ(copy->GetId(), 7);
    EXPECT_EQ(copy->Status, guide::osShipped);
    ASSERT_TRUE(copy->Payment);
    EXPECT_EQ(copy->Payment->ClassType(), guide::TCardPayment::StaticClass());
    EXPECT_EQ(VnSerialize(format, TValue(copy.get())), text);
  }

  // An existing order, from a text written by hand: any order of members, any case.
  Owned<guide::TOrder> edited = MakeOwned<guide::TOrder>();
  VnSerializer(edited.get())
      .Deserialize(dsfJSON, R"({"lines":[{"article":"Cup","quantity":3}],"ID":9,)"
                            R"("status":{"className":"TStatus","asString":"Paid","asInt":1}})");
  EXPECT_EQ(edited->GetId(), 9);
  EXPECT_EQ(edited->Status, guide::osPaid);
  EXPECT_EQ(edited->Lines.at(0).Quantity, 3);
}
