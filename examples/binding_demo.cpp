// Data binding: builds a purchase order through the classes of examples/binding/purchase_order.h
// (written as a binding generator writes them), setting the properties in any order, and shows
// that the document comes out in schema order; then reads a received order through the same
// classes, with a handler that supplies a missing comment before it is read.
#include <cstdio>
#include <string>

#include "binding/purchase_order.h"
#include "vnxml/rtl/DateUtils.h"
#include "vnxml/rtl/Owned.h"

using namespace vn;

namespace {

std::string Out(const UnicodeString &AText) {
  return UTF8Encode(AText);
}

}  // namespace

int main() {
  try {
    Owned<po::TPurchaseOrderType> order(po::NewPurchaseOrder());
    // Deliberately out of schema order: items first, the address last.
    po::TItemType *lamp = order->AddItem();
    lamp->SetPrice(19.99);
    lamp->SetQuantity(2);
    lamp->SetProductName(u"Lamp <desk>");
    lamp->SetPartNum(u"872-AA");
    order->SetComment(u"Hurry, my lawn is on fire");
    order->SetOrderDate(EncodeDate(1999, 10, 20));
    order->SetId(StringToGUID(u"{0F1E2D3C-4B5A-6978-8796-A5B4C3D2E1F0}"));
    po::TAddressType *ship = order->GetShipTo();
    ship->SetCountry(u"US");
    ship->SetZip(90952);
    ship->SetName(u"Alice Smith");
    po::TItemType *mower = order->AddItem();
    mower->SetPartNum(u"926-AA");
    mower->SetGift(true);
    mower->SetPrice(148.95);
    mower->SetQuantity(1);
    mower->SetProductName(u"Lawnmower");
    std::printf("Built in any order, written in schema order:\n%s\n\n",
                Out(order->AsElement()->GetFormattedXML()).c_str());

    Owned<po::TPurchaseOrderType> received(po::LoadPurchaseOrder(
        u"<purchaseOrder id=\"{00000000-0000-0000-0000-0000000000AB}\" orderDate=\"2024-05-01\">"
        u"<shipTo><name>Bob</name><city>Old Town</city></shipTo>"
        u"<item partNum=\"1\"><productName>Tea</productName><quantity>3</quantity>"
        u"<price>4.5</price></item>"
        u"<item partNum=\"2\"><productName>Cup</productName><quantity>2</quantity>"
        u"<price>6</price><gift>1</gift></item></purchaseOrder>"));
    // A missing comment gets a default the moment it is looked up.
    received->SetOnGetValue([](TVnXMLSchemaElement *ASender, TVnXMLSchemaInfo *AInfo) {
      if (AInfo->Name() == u"comment" && !ASender->FindNode(u"comment"))
        ASender->SetStringValue(po::TPurchaseOrderType::cComment, u"(none)");
    });
    std::printf("Received order %s of %s for %s in %s, comment %s:\n",
                Out(GUIDToString(received->GetId())).c_str(),
                Out(FormatDateTime(u"yyyy-mm-dd", received->GetOrderDate())).c_str(),
                Out(received->GetShipTo()->GetName()).c_str(),
                Out(received->GetShipTo()->GetCity()).c_str(), Out(received->GetComment()).c_str());
    double total = 0;
    for (Integer i = 0; i < received->ItemCount(); ++i) {
      po::TItemType *item = received->GetItem(i);
      total += item->GetQuantity() * item->GetPrice();
      std::printf("  %-4s %-6s %3d x %6.2f%s\n", Out(item->GetPartNum()).c_str(),
                  Out(item->GetProductName()).c_str(), item->GetQuantity(), item->GetPrice(),
                  item->GetGift() ? "  (gift)" : "");
    }
    std::printf("  total %.2f\n", total);
  } catch (Exception &E) {
    std::fprintf(stderr, "%s: %s\n", Out(E.ClassName()).c_str(), E.what());
    return 1;
  }
  return 0;
}
