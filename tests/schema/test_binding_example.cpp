// The purchase-order binding of the examples, as an application uses a generated class: typed
// properties in any order, complex children, a repeated child, and a loaded document.
#include <gtest/gtest.h>

#include "../../examples/binding/purchase_order.h"
#include "vnxml/rtl/DateUtils.h"
#include "vnxml/rtl/Owned.h"

using namespace vn;

namespace {

const TGUID cId = StringToGUID(u"{0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0}");

TEST(BindingExample, PropertiesSetInAnyOrderWriteASchemaValidDocument) {
  Owned<po::TPurchaseOrderType> order(po::NewPurchaseOrder());
  po::TItemType *lamp = order->AddItem();
  lamp->SetPrice(19.99);
  lamp->SetPartNum(u"872-AA");
  lamp->SetProductName(u"Lamp");
  lamp->SetQuantity(2);
  order->SetComment(u"Hurry, my lawn is on fire");
  order->SetId(cId);
  order->SetOrderDate(EncodeDate(1999, 10, 20));
  po::TAddressType *ship = order->GetShipTo();
  ship->SetZip(90952);
  ship->SetName(u"Alice Smith");
  ship->SetCountry(u"US");
  po::TItemType *mower = order->AddItem();
  mower->SetGift(true);
  mower->SetProductName(u"Lawnmower");
  mower->SetQuantity(1);
  mower->SetPrice(148.95);
  mower->SetPartNum(u"926-AA");

  EXPECT_EQ(UTF8Encode(order->GetXML()),
            "<purchaseOrder id=\"{0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0}\" "
            "orderDate=\"1999-10-20\">"
            "<shipTo country=\"US\"><name>Alice Smith</name><zip>90952</zip></shipTo>"
            "<comment>Hurry, my lawn is on fire</comment>"
            "<item partNum=\"872-AA\"><productName>Lamp</productName><quantity>2</quantity>"
            "<price>19.99</price></item>"
            "<item partNum=\"926-AA\"><productName>Lawnmower</productName>"
            "<quantity>1</quantity><price>148.95</price><gift>true</gift></item>"
            "</purchaseOrder>");
  // The wrappers are kept: the same child gives the same object.
  EXPECT_EQ(order->GetShipTo(), ship);
  EXPECT_EQ(order->GetItem(1), mower);
}

TEST(BindingExample, ALoadedDocumentReadsThroughTheBinding) {
  Owned<po::TPurchaseOrderType> order(po::LoadPurchaseOrder(
      u"<purchaseOrder id=\"{0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0}\">"
      u"<shipTo><name>Bob</name><city>Old Town</city></shipTo>"
      u"<item partNum=\"1\"><productName>A</productName><quantity>3</quantity>"
      u"<price>1.25</price></item>"
      u"<note>not in the schema</note>"
      u"<item partNum=\"2\"><productName>B</productName><quantity>4</quantity>"
      u"<price>2.5</price></item>"
      u"</purchaseOrder>"));
  EXPECT_EQ(order->GetId(), cId);
  EXPECT_EQ(order->GetShipTo()->GetName(), u"Bob");
  EXPECT_EQ(order->GetShipTo()->GetCity(), u"Old Town");
  EXPECT_EQ(order->GetShipTo()->GetZip(), 0u);
  EXPECT_EQ(order->GetComment(), u"");
  ASSERT_EQ(order->ItemCount(), 2);
  double total = 0;
  for (Integer i = 0; i < order->ItemCount(); ++i)
    total += order->GetItem(i)->GetQuantity() * order->GetItem(i)->GetPrice();
  EXPECT_DOUBLE_EQ(total, 13.75);
  // Nothing was read that needed making.
  EXPECT_EQ(UTF8Encode(order->GetXML()).find("<comment"), std::string::npos);

  // A third item goes after the last one, past the foreign element; deleting the first keeps
  // the others and their wrappers.
  po::TItemType *second = order->GetItem(1);
  po::TItemType *third = order->AddItem();
  third->SetPartNum(u"3");
  order->DeleteItem(0);
  ASSERT_EQ(order->ItemCount(), 2);
  EXPECT_EQ(order->GetItem(0), second);
  EXPECT_EQ(order->GetItem(1)->GetPartNum(), u"3");
  const std::string xml = UTF8Encode(order->GetXML());
  EXPECT_LT(xml.find("<note>"), xml.find("partNum=\"2\""));
  EXPECT_LT(xml.find("partNum=\"2\""), xml.find("partNum=\"3\""));
  EXPECT_EQ(xml.find("partNum=\"1\""), std::string::npos);
  EXPECT_THROW(order->GetItem(2), EListError);

  // Clear drops the element's content and every wrapper; the binding works on afterwards.
  order->Clear();
  EXPECT_EQ(order->ItemCount(), 0);
  order->SetComment(u"again");
  EXPECT_EQ(UTF8Encode(order->GetXML()), "<purchaseOrder><comment>again</comment></purchaseOrder>");
}

// The order binding, with a view of how many child wrappers it keeps.
class TProbe : public po::TPurchaseOrderType {
  VN_CLASS(TProbe, po::TPurchaseOrderType)
 public:
  using po::TPurchaseOrderType::TPurchaseOrderType;
  Integer Wrappers() const { return FSubElements.Count(); }
};

TEST(BindingExample, RemovingAComplexChildDropsItsWrapper) {
  Owned<po::TPurchaseOrderType> made(po::NewPurchaseOrder());
  Owned<TProbe> order(New<TProbe>(made->AsElement()));
  order->GetShipTo()->SetName(u"Carol");
  order->AddItem()->SetPartNum(u"p");
  order->SetComment(u"c");
  EXPECT_EQ(order->Wrappers(), 2);
  order->RemoveNode(u"shipTo");
  EXPECT_EQ(order->Wrappers(), 1);
  order->DeleteItem(0);
  EXPECT_EQ(order->Wrappers(), 0);
  EXPECT_EQ(UTF8Encode(order->GetXML()), "<purchaseOrder><comment>c</comment></purchaseOrder>");
  // A new read makes a new, empty shipTo in its place (it is required) with a new wrapper.
  EXPECT_EQ(order->GetShipTo()->GetName(), u"");
  EXPECT_EQ(UTF8Encode(order->GetXML()),
            "<purchaseOrder><shipTo><name /></shipTo><comment>c</comment></purchaseOrder>");
}

}  // namespace
