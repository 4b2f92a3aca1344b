// Object serialization: an application's own classes, registered once, written as JSON and XML.
//
//   serialize_demo
#include <cstdio>

#include "vnxml/common/uVnSerializer.h"
#include "vnxml/json/uVnJSONSerializer.h"
#include "vnxml/xml/uVnXMLSerializer.h"

using namespace vn;

namespace shop {

enum TStatus { osNew, osPaid, osShipped };
VN_RTTI(TStatus, u"shop") {
  R.Names({u"osNew", u"osPaid", u"osShipped"});
  R.Attribute(new SerializerHint(shoEnumPrefix, u"os"));
}

struct TCustomer {
  Int64 Id = 0;
  UnicodeString Name;
};
VN_RTTI(TCustomer, u"shop") {
  R.Field(u"Id", &TCustomer::Id);
  R.Field(u"Name", &TCustomer::Name);
}

struct TLine {
  UnicodeString Article;
  Integer Quantity = 0;
  Double Price = 0;
};
VN_RTTI(TLine, u"shop") {
  R.Field(u"Article", &TLine::Article);
  R.Field(u"Quantity", &TLine::Quantity);
  R.Field(u"Price", &TLine::Price);
}

class TPayment : public TPersistent {
  VN_CLASS(TPayment, TPersistent)
};
VN_RTTI(TPayment, u"shop") {}

class TInvoice : public TPayment {
  VN_CLASS(TInvoice, TPayment)
 public:
  Integer DueDays = 30;
};
VN_RTTI(TInvoice, u"shop") {
  R.Field(u"DueDays", &TInvoice::DueDays);
}

class TOrder : public TPersistent {
  VN_CLASS(TOrder, TPersistent)
 public:
  ~TOrder() override { Free(Payment); }
  Integer Id = 0;
  TDateTime Created;
  TStatus Status = osNew;
  TCustomer Customer;
  std::vector<TLine> Lines;
  UnicodeString Note;
  TPayment *Payment = nullptr;
};
VN_RTTI(TOrder, u"shop") {
  R.Field(u"Id", &TOrder::Id);
  R.Field(u"Created", &TOrder::Created);
  R.Field(u"Status", &TOrder::Status);
  R.Field(u"Customer", &TOrder::Customer);
  R.Field(u"Lines", &TOrder::Lines);
  R.Field(u"Note", &TOrder::Note);
  R.Field(u"Payment", &TOrder::Payment);
}

}  // namespace shop

int main() {
  try {
    Owned<shop::TOrder> order = MakeOwned<shop::TOrder>();
    order->Id = 1042;
    order->Created = EncodeDateTime(2026, 11, 25, 9, 30, 0, 0);
    order->Status = shop::osPaid;
    order->Customer = {7, u"Ann O'Neil"};
    order->Lines = {{u"Green tea", 2, 4.5}, {u"Cup <large>", 1, 12}};
    order->Note = u"Leave at the \"back\" door";
    order->Payment = New<shop::TInvoice>();

    std::printf("As JSON:\n%s\n\n", VnSerializer(order.get()).AsJSON().c_str());
    std::printf("As XML with type attributes:\n%s\n\n",
                VnSerializer(order.get()).AsXML(u"urn:shop").c_str());
    std::printf("As plain XML:\n%s\n\n", VnSerializer(order.get()).AsXML(u"", true).c_str());

    // Read back: the JSON into a new order, the XML into another; the invoice comes back as the
    // class the document names, and both copies write the same text again.
    RawByteString json = VnSerializer(order.get()).AsJSON();
    Owned<shop::TOrder> fromJson(VnDeserializeObject<shop::TOrder>(dsfJSON, json));
    RawByteString xml = VnSerialize(dsfXML, TValue(order.get()));
    Owned<shop::TOrder> fromXml(VnDeserializeObject<shop::TOrder>(dsfXML, xml));
    std::printf("Read back from JSON: order %d of %s, %zu lines, payment %s; written again: %s\n",
                fromJson->Id, UTF8Encode(fromJson->Customer.Name).c_str(), fromJson->Lines.size(),
                UTF8Encode(fromJson->Payment->ClassName()).c_str(),
                VnSerializer(fromJson.get()).AsJSON() == json ? "the same text" : "DIFFERENT");
    std::printf("Read back from XML: note %s; written again: %s\n",
                UTF8Encode(fromXml->Note).c_str(),
                VnSerialize(dsfXML, TValue(fromXml.get())) == xml ? "the same text" : "DIFFERENT");
    // A hand-written document: members in any order and case.
    VnSerializer(order.get()).Deserialize(dsfJSON, R"({"note":"Ring twice","ID":1043})");
    std::printf("After reading a hand-written change: %s\n",
                VnSerializer(order.get()).AsJSON().c_str());
  } catch (Exception &e) {
    std::fprintf(stderr, "%s\n", UTF8Encode(e.ClassName() + u": " + e.Message).c_str());
    return 1;
  }
  return 0;
}
