// Data binding for purchase orders, in the form a binding generator writes it for this schema:
//
//   <xs:element name="purchaseOrder" type="PurchaseOrderType"/>
//   <xs:complexType name="PurchaseOrderType">
//     <xs:sequence>
//       <xs:element name="shipTo" type="AddressType"/>
//       <xs:element name="comment" type="xs:string" minOccurs="0"/>
//       <xs:element name="created" type="xs:dateTime" minOccurs="0"/>
//       <xs:element name="item" type="ItemType" minOccurs="0" maxOccurs="unbounded"/>
//     </xs:sequence>
//     <xs:attribute name="orderDate" type="xs:date"/>
//     <xs:attribute name="id" type="guid" use="required"/>
//   </xs:complexType>
//   <xs:complexType name="AddressType">
//     <xs:sequence>
//       <xs:element name="name" type="xs:string"/>
//       <xs:element name="street" type="xs:string" minOccurs="0"/>
//       <xs:element name="city" type="xs:string" minOccurs="0"/>
//       <xs:element name="zip" type="xs:unsignedInt" minOccurs="0"/>
//     </xs:sequence>
//     <xs:attribute name="country" type="xs:string"/>
//   </xs:complexType>
//   <xs:complexType name="ItemType">
//     <xs:sequence>
//       <xs:element name="productName" type="xs:string"/>
//       <xs:element name="quantity" type="xs:int"/>
//       <xs:element name="price" type="xs:decimal"/>
//       <xs:element name="gift" type="xs:boolean" minOccurs="0"/>
//     </xs:sequence>
//     <xs:attribute name="partNum" type="xs:string" use="required"/>
//   </xs:complexType>
//
// One class per complex type, each a TVnXMLSchemaElement: the constructor enters the particles
// in schema order, and each property is a getter and a setter that call the typed family with
// the particle's index. Complex children come back as wrappers that the parent keeps; the
// repeated "item" is a TVnXMLSchemaElementArray.
#pragma once

#include "vnxml/xml/uVnXMLDOM.h"
#include "vnxml/xml/uVnXMLSchema.h"

namespace po {

using namespace vn;

class TAddressType : public TVnXMLSchemaElement {
  VN_CLASS(TAddressType, TVnXMLSchemaElement)
 public:
  enum : Integer { cName = 0, cStreet = 1, cCity = 2, cZip = 3, cCountry = 4 };

  explicit TAddressType(IVnDOMElement *AElement) : TVnXMLSchemaElement(AElement) {
    AddSchemaInfo(cName, ntElement, u"name", 1, 1, false, 0);
    AddSchemaInfo(cStreet, ntElement, u"street", 0, 1, false, 0);
    AddSchemaInfo(cCity, ntElement, u"city", 0, 1, false, 0);
    AddSchemaInfo(cZip, ntElement, u"zip", 0, 1, false, 0);
    AddSchemaInfo(cCountry, ntAttribute, u"country", 0, 1, false, 0);
  }

  UnicodeString GetName() { return GetStringValue(cName); }
  void SetName(const UnicodeString &AValue) { SetStringValue(cName, AValue); }
  UnicodeString GetStreet() { return GetStringValue(cStreet); }
  void SetStreet(const UnicodeString &AValue) { SetStringValue(cStreet, AValue); }
  UnicodeString GetCity() { return GetStringValue(cCity); }
  void SetCity(const UnicodeString &AValue) { SetStringValue(cCity, AValue); }
  LongWord GetZip() { return GetUnsignedIntValue(cZip); }
  void SetZip(LongWord AValue) { SetUnsignedIntValue(cZip, AValue); }
  UnicodeString GetCountry() { return GetStringValue(cCountry); }
  void SetCountry(const UnicodeString &AValue) { SetStringValue(cCountry, AValue); }
};

class TItemType : public TVnXMLSchemaElement {
  VN_CLASS(TItemType, TVnXMLSchemaElement)
 public:
  enum : Integer { cProductName = 0, cQuantity = 1, cPrice = 2, cGift = 3, cPartNum = 4 };

  explicit TItemType(IVnDOMElement *AElement) : TVnXMLSchemaElement(AElement) {
    AddSchemaInfo(cProductName, ntElement, u"productName", 1, 1, false, 0);
    AddSchemaInfo(cQuantity, ntElement, u"quantity", 1, 1, false, 0);
    AddSchemaInfo(cPrice, ntElement, u"price", 1, 1, false, 0);
    AddSchemaInfo(cGift, ntElement, u"gift", 0, 1, false, 0);
    AddSchemaInfo(cPartNum, ntAttribute, u"partNum", 1, 1, true, 0);
  }

  UnicodeString GetProductName() { return GetStringValue(cProductName); }
  void SetProductName(const UnicodeString &AValue) { SetStringValue(cProductName, AValue); }
  Integer GetQuantity() { return GetIntValue(cQuantity); }
  void SetQuantity(Integer AValue) { SetIntValue(cQuantity, AValue); }
  Double GetPrice() { return GetDecimalValue(cPrice); }
  void SetPrice(Double AValue) { SetDecimalValue(cPrice, AValue); }
  bool GetGift() { return GetBooleanValue(cGift); }
  void SetGift(bool AValue) { SetBooleanValue(cGift, AValue); }
  UnicodeString GetPartNum() { return GetStringValue(cPartNum); }
  void SetPartNum(const UnicodeString &AValue) { SetStringValue(cPartNum, AValue); }
};

class TPurchaseOrderType : public TVnXMLSchemaElement {
  VN_CLASS(TPurchaseOrderType, TVnXMLSchemaElement)
 public:
  enum : Integer { cShipTo = 0, cComment = 1, cCreated = 2, cItem = 3, cOrderDate = 4, cId = 5 };

  explicit TPurchaseOrderType(IVnDOMElement *AElement) : TVnXMLSchemaElement(AElement) {
    AddSchemaInfo(cShipTo, ntElement, u"shipTo", 1, 1, false, 0);
    AddSchemaInfo(cComment, ntElement, u"comment", 0, 1, false, 0);
    AddSchemaInfo(cCreated, ntElement, u"created", 0, 1, false, 0);
    AddSchemaInfo(cItem, ntElement, u"item", 0, -1, false, 0);
    AddSchemaInfo(cOrderDate, ntAttribute, u"orderDate", 0, 1, false, 0);
    AddSchemaInfo(cId, ntAttribute, u"id", 1, 1, true, 0);
  }

  TAddressType *GetShipTo() { return GetChildElement<TAddressType>(cShipTo); }
  UnicodeString GetComment() { return GetStringValue(cComment); }
  void SetComment(const UnicodeString &AValue) { SetStringValue(cComment, AValue); }
  TDateTime GetCreated() { return GetDatetimeValue(cCreated); }
  void SetCreated(TDateTime AValue) { SetDatetimeValue(cCreated, AValue); }
  TDateTime GetOrderDate() { return GetDateValue(cOrderDate); }
  void SetOrderDate(TDateTime AValue) { SetDateValue(cOrderDate, AValue); }
  TGUID GetId() { return GetGuidValue(cId); }
  void SetId(const TGUID &AValue) { SetGuidValue(cId, AValue); }

  // The repeated "item".
  Integer ItemCount() { return Items()->Count(); }
  TItemType *GetItem(Integer AIndex) { return Items()->Item<TItemType>(AIndex); }
  TItemType *AddItem() { return Items()->AddItem<TItemType>(); }
  void DeleteItem(Integer AIndex) { Items()->Delete(AIndex); }

 private:
  TVnXMLSchemaElementArray *Items() { return GetArrayElement<TItemType>(cItem); }
};

// The binding of a document's root element; the caller frees it. The document lives while the
// binding (or any other interface) holds its root.
inline TPurchaseOrderType *GetPurchaseOrder(IVnDOMDocument *ADocument) {
  return New<TPurchaseOrderType>(ADocument->GetRootNode());
}

// A new document with an empty root element "purchaseOrder", and its binding.
inline TPurchaseOrderType *NewPurchaseOrder() {
  DelphiInterface<IVnDOMDocument> doc = VnDOMIntf<IVnDOMDocument>(New<TVnDOMDocument>());
  return New<TPurchaseOrderType>(doc->CreateRootNode(u"purchaseOrder"));
}

// A document loaded from XML text, and the binding of its root.
inline TPurchaseOrderType *LoadPurchaseOrder(const UnicodeString &AXML) {
  DelphiInterface<IVnDOMDocument> doc =
      VnDOMIntf<IVnDOMDocument>(TVnDOMDocument::CreateFromXML(AXML));
  return GetPurchaseOrder(doc);
}

}  // namespace po
