// The interface halves of the node kinds: character data, text, attributes, elements,
// processing instructions and the document. Each operation forwards to the object; node
// arguments go through Node, node results leave as interfaces.
#include "vnxml/xml/uVnXMLDOM/Internal.h"

namespace vn {

namespace {

// A node argument that must be an element (or null): anything else is an invalid cast.
TVnDOMElement *ElementArg(IInterface *ANode) {
  TVnDOMNode *node = TVnDOMObjectImpl::Node(ANode);
  return node ? As<TVnDOMElement>(node) : nullptr;
}

TVnDOMAttribute *AttributeArg(IInterface *ANode) {
  TVnDOMNode *node = TVnDOMObjectImpl::Node(ANode);
  return node ? As<TVnDOMAttribute>(node) : nullptr;
}

// The interface of a list that an operation has just created for the caller: the list is freed
// if the interface cannot be had, and otherwise with the last interface on it.
DelphiInterface<IVnDOMElementList> AdoptList(TVnDOMElementList *AList) {
  try {
    return VnDOMIntf<IVnDOMElementList>(AList);
  } catch (...) {
    AList->Free();
    throw;
  }
}

}  // namespace

// --- character data

TVnDOMCharacterData *TVnDOMCharacterDataImpl::DOMCharacterData() const {
  return static_cast<TVnDOMCharacterData *>(CheckedObject());
}

void TVnDOMCharacterDataImpl::AppendStr(const UnicodeString &AText) {
  DOMCharacterData()->AppendStr(AText);
}

void TVnDOMCharacterDataImpl::DeleteStr(Integer AOffset, Integer ACount) {
  DOMCharacterData()->DeleteStr(AOffset, ACount);
}

void TVnDOMCharacterDataImpl::InsertStr(Integer AOffset, const UnicodeString &AText) {
  DOMCharacterData()->InsertStr(AOffset, AText);
}

void TVnDOMCharacterDataImpl::ReplaceStr(Integer AOffset, Integer ACount,
                                         const UnicodeString &AText) {
  DOMCharacterData()->ReplaceStr(AOffset, ACount, AText);
}

UnicodeString TVnDOMCharacterDataImpl::Substring(Integer AOffset, Integer ACount) {
  return DOMCharacterData()->Substring(AOffset, ACount);
}

DelphiInterface<IVnDOMText> TVnDOMTextImpl::SplitTxt(Integer AOffset) {
  return VnDOMIntf<IVnDOMText>(static_cast<TVnDOMText *>(DOMCharacterData())->SplitText(AOffset));
}

// --- attributes

TVnDOMAttribute *TVnDOMAttributeImpl::DOMAttribute() const {
  return As<TVnDOMAttribute>(CheckedObject());
}

bool TVnDOMAttributeImpl::IsNamespace() {
  return DOMAttribute()->IsNamespace();
}

UnicodeString TVnDOMAttributeImpl::NamespacePrefix() {
  return DOMAttribute()->NamespacePrefix();
}

DelphiInterface<IVnDOMAttribute> TVnDOMAttributeImpl::NextAttribute() {
  return VnDOMIntf<IVnDOMAttribute>(DOMAttribute()->NextAttribute());
}

DelphiInterface<IVnDOMAttribute> TVnDOMAttributeImpl::PreviousAttribute() {
  return VnDOMIntf<IVnDOMAttribute>(DOMAttribute()->PreviousAttribute());
}

// --- processing instructions

TVnDOMProcessingInstruction *TVnDOMProcessingInstructionImpl::DOMProcessingInstruction() const {
  return static_cast<TVnDOMProcessingInstruction *>(CheckedObject());
}

UnicodeString TVnDOMProcessingInstructionImpl::GetData() {
  return DOMProcessingInstruction()->GetData();
}

void TVnDOMProcessingInstructionImpl::SetData(const UnicodeString &AData) {
  DOMProcessingInstruction()->SetData(AData);
}

// --- elements

TVnDOMElement *TVnDOMElementImpl::DOMElement() const {
  return As<TVnDOMElement>(CheckedObject());
}

bool TVnDOMElementImpl::GetAsBoolean() {
  return DOMElement()->GetAsBoolean();
}

TDateTime TVnDOMElementImpl::GetAsDateTime() {
  return DOMElement()->GetAsDateTime();
}

Double TVnDOMElementImpl::GetAsDouble() {
  return DOMElement()->GetAsDouble();
}

Int64 TVnDOMElementImpl::GetAsInt64() {
  return DOMElement()->GetAsInt64();
}

Integer TVnDOMElementImpl::GetAsInteger() {
  return DOMElement()->GetAsInteger();
}

UnicodeString TVnDOMElementImpl::GetAsString() {
  return DOMElement()->GetAsString();
}

AnsiString TVnDOMElementImpl::GetAsAnsiString() {
  return DOMElement()->GetAsAnsiString();
}

Variant TVnDOMElementImpl::GetAsVariant() {
  return DOMElement()->GetAsVariant();
}

TValue TVnDOMElementImpl::GetAsValue() {
  return DOMElement()->GetAsValue();
}

Variant TVnDOMElementImpl::GetChildElementValue(const Variant &AIndex) {
  return DOMElement()->GetChildElementValue(AIndex);
}

UnicodeString TVnDOMElementImpl::GetAttrib(const UnicodeString &AName) {
  return DOMElement()->GetAttribute(AName);
}

UnicodeString TVnDOMElementImpl::GetAttribNS(const UnicodeString &ANamespaceURI,
                                             const UnicodeString &AName) {
  return DOMElement()->GetAttributeNS(ANamespaceURI, AName);
}

void TVnDOMElementImpl::SetAsBoolean(bool AValue) {
  DOMElement()->SetAsBoolean(AValue);
}

void TVnDOMElementImpl::SetAsDateTime(TDateTime AValue) {
  DOMElement()->SetAsDateTime(AValue);
}

void TVnDOMElementImpl::SetAsDouble(Double AValue) {
  DOMElement()->SetAsDouble(AValue);
}

void TVnDOMElementImpl::SetAsInt64(Int64 AValue) {
  DOMElement()->SetAsInt64(AValue);
}

void TVnDOMElementImpl::SetAsInteger(Integer AValue) {
  DOMElement()->SetAsInteger(AValue);
}

void TVnDOMElementImpl::SetAsString(const UnicodeString &AValue) {
  DOMElement()->SetAsString(AValue);
}

void TVnDOMElementImpl::SetAsVariant(const Variant &AValue) {
  DOMElement()->SetAsVariant(AValue);
}

void TVnDOMElementImpl::SetAsAnsiString(const AnsiString &AValue) {
  DOMElement()->SetAsAnsiString(AValue);
}

void TVnDOMElementImpl::SetAsValue(const TValue &AValue) {
  DOMElement()->SetAsValue(AValue);
}

void TVnDOMElementImpl::SetAttrib(const UnicodeString &AName, const UnicodeString &AValue) {
  DOMElement()->SetAttribute(AName, AValue);
}

void TVnDOMElementImpl::SetAttribNS(const UnicodeString &ANamespaceURI, const UnicodeString &AName,
                                    const UnicodeString &AValue) {
  DOMElement()->SetAttributeNS(ANamespaceURI, AName, AValue);
}

void TVnDOMElementImpl::SetPreseveSpace(bool AValue) {
  DOMElement()->SetPreseveSpace(AValue);
}

DelphiInterface<IVnDOMCDATA> TVnDOMElementImpl::GetCDATA(Integer AIndex) {
  return VnDOMIntf<IVnDOMCDATA>(DOMElement()->GetCDATA(AIndex));
}

DelphiInterface<IVnDOMAttrList> TVnDOMElementImpl::GetAttributes() {
  return VnDOMIntf<IVnDOMAttrList>(DOMElement()->GetAttributes());
}

DelphiInterface<IVnDOMElementList> TVnDOMElementImpl::GetElements() {
  return VnDOMIntf<IVnDOMElementList>(DOMElement()->GetElements());
}

DelphiInterface<IVnDOMNodeList> TVnDOMElementImpl::GetCharNodes() {
  return VnDOMIntf<IVnDOMNodeList>(DOMElement()->GetCharNodes());
}

DelphiInterface<IVnDOMAttrList> TVnDOMElementImpl::GetNamespaces() {
  return VnDOMIntf<IVnDOMAttrList>(DOMElement()->GetNamespaces());
}

Integer TVnDOMElementImpl::ElementCount() {
  return DOMElement()->ElementCount();
}

Integer TVnDOMElementImpl::AttributeCount() {
  return DOMElement()->AttributeCount();
}

DelphiInterface<IVnDOMComment> TVnDOMElementImpl::AddComment(const UnicodeString &AValue) {
  return VnDOMIntf<IVnDOMComment>(DOMElement()->AddComment(AValue));
}

DelphiInterface<IVnDOMText> TVnDOMElementImpl::AddText(const UnicodeString &AValue) {
  return VnDOMIntf<IVnDOMText>(DOMElement()->AddText(AValue));
}

DelphiInterface<IVnDOMCDATA> TVnDOMElementImpl::AddCDATA(const UnicodeString &AValue) {
  return VnDOMIntf<IVnDOMCDATA>(DOMElement()->AddCDATA(AValue));
}

DelphiInterface<IVnDOMElement> TVnDOMElementImpl::AddElement(const UnicodeString &AName) {
  return VnDOMIntf<IVnDOMElement>(DOMElement()->AddElement(AName));
}

DelphiInterface<IVnDOMElement> TVnDOMElementImpl::AddElement(const UnicodeString &ANamespaceURI,
                                                             const UnicodeString &AName) {
  return VnDOMIntf<IVnDOMElement>(DOMElement()->AddElement(ANamespaceURI, AName));
}

DelphiInterface<IVnDOMAttribute> TVnDOMElementImpl::AddAttribute(const UnicodeString &AName) {
  return VnDOMIntf<IVnDOMAttribute>(DOMElement()->AddAttribute(AName));
}

DelphiInterface<IVnDOMAttribute> TVnDOMElementImpl::AddAttribute(const UnicodeString &ANamespaceURI,
                                                                 const UnicodeString &AName) {
  return VnDOMIntf<IVnDOMAttribute>(DOMElement()->AddAttribute(ANamespaceURI, AName));
}

DelphiInterface<IVnDOMComment> TVnDOMElementImpl::InsertComment(const UnicodeString &AValue,
                                                                TVnDOMPosition APosition,
                                                                IVnDOMNode *ARefNode) {
  TVnDOMElement *self = DOMElement();
  return VnDOMIntf<IVnDOMComment>(self->InsertComment(AValue, APosition, Node(ARefNode)));
}

DelphiInterface<IVnDOMText> TVnDOMElementImpl::InsertText(const UnicodeString &AValue,
                                                          TVnDOMPosition APosition,
                                                          IVnDOMNode *ARefNode) {
  TVnDOMElement *self = DOMElement();
  return VnDOMIntf<IVnDOMText>(self->InsertText(AValue, APosition, Node(ARefNode)));
}

DelphiInterface<IVnDOMCDATA> TVnDOMElementImpl::InsertCDATA(const UnicodeString &AValue,
                                                            TVnDOMPosition APosition,
                                                            IVnDOMNode *ARefNode) {
  TVnDOMElement *self = DOMElement();
  return VnDOMIntf<IVnDOMCDATA>(self->InsertCDATA(AValue, APosition, Node(ARefNode)));
}

DelphiInterface<IVnDOMElement> TVnDOMElementImpl::InsertElement(const UnicodeString &AName,
                                                                TVnDOMPosition APosition,
                                                                IVnDOMNode *ARefNode) {
  TVnDOMElement *self = DOMElement();
  return VnDOMIntf<IVnDOMElement>(self->InsertElement(AName, APosition, Node(ARefNode)));
}

DelphiInterface<IVnDOMElement> TVnDOMElementImpl::InsertElement(const UnicodeString &ANamespaceURI,
                                                                const UnicodeString &AName,
                                                                TVnDOMPosition APosition,
                                                                IVnDOMNode *ARefNode) {
  TVnDOMElement *self = DOMElement();
  return VnDOMIntf<IVnDOMElement>(
      self->InsertElement(ANamespaceURI, AName, APosition, Node(ARefNode)));
}

void TVnDOMElementImpl::RemoveElement(IVnDOMElement *AElement) {
  TVnDOMElement *self = DOMElement();
  self->RemoveElement(ElementArg(AElement));
}

void TVnDOMElementImpl::RemoveElement(const UnicodeString &AName) {
  DOMElement()->RemoveElement(AName);
}

void TVnDOMElementImpl::RemoveElement(const UnicodeString &ANamespaceURI,
                                      const UnicodeString &AName) {
  DOMElement()->RemoveElement(ANamespaceURI, AName);
}

void TVnDOMElementImpl::RemoveAttribute(IVnDOMAttribute *AAttribute) {
  TVnDOMElement *self = DOMElement();
  self->RemoveAttribute(AttributeArg(AAttribute));
}

void TVnDOMElementImpl::RemoveAttribute(const UnicodeString &AName) {
  DOMElement()->RemoveAttribute(AName);
}

void TVnDOMElementImpl::RemoveAttribute(const UnicodeString &ANamespaceURI,
                                        const UnicodeString &AName) {
  DOMElement()->RemoveAttribute(ANamespaceURI, AName);
}

DelphiInterface<IVnDOMElement> TVnDOMElementImpl::FindElement(const UnicodeString &AName,
                                                              TVnDOMSelectOptions AOptions) {
  return VnDOMIntf<IVnDOMElement>(DOMElement()->FindElement(AName, AOptions));
}

DelphiInterface<IVnDOMElement> TVnDOMElementImpl::FindElement(const UnicodeString &ANamespaceURI,
                                                              const UnicodeString &AName) {
  return VnDOMIntf<IVnDOMElement>(DOMElement()->FindElement(ANamespaceURI, AName));
}

DelphiInterface<IVnDOMElement> TVnDOMElementImpl::ElementByName(const UnicodeString &ANamespaceURI,
                                                                const UnicodeString &AName,
                                                                TVnDOMSelectCheckOption ACheck) {
  return VnDOMIntf<IVnDOMElement>(DOMElement()->ElementByName(ANamespaceURI, AName, ACheck));
}

DelphiInterface<IVnDOMElement> TVnDOMElementImpl::ElementByName(const UnicodeString &ANamespaceURI,
                                                                const UnicodeString &AName,
                                                                bool ACreate) {
  return VnDOMIntf<IVnDOMElement>(DOMElement()->ElementByName(ANamespaceURI, AName, ACreate));
}

DelphiInterface<IVnDOMElement> TVnDOMElementImpl::ElementByName(const UnicodeString &AName,
                                                                TVnDOMSelectOptions AOptions,
                                                                TClass AClass) {
  return VnDOMIntf<IVnDOMElement>(DOMElement()->ElementByName(AName, AOptions, AClass));
}

DelphiInterface<IVnDOMAttribute> TVnDOMElementImpl::FindAttribute(const UnicodeString &AName,
                                                                  TVnDOMSelectOptions AOptions) {
  return VnDOMIntf<IVnDOMAttribute>(DOMElement()->FindAttribute(AName, AOptions));
}

DelphiInterface<IVnDOMAttribute> TVnDOMElementImpl::FindAttribute(
    const UnicodeString &ANamespaceURI, const UnicodeString &AName) {
  return VnDOMIntf<IVnDOMAttribute>(DOMElement()->FindAttribute(ANamespaceURI, AName));
}

DelphiInterface<IVnDOMAttribute> TVnDOMElementImpl::AttributeByName(
    const UnicodeString &ANamespaceURI, const UnicodeString &AName) {
  return VnDOMIntf<IVnDOMAttribute>(DOMElement()->AttributeByName(ANamespaceURI, AName));
}

DelphiInterface<IVnDOMAttribute> TVnDOMElementImpl::AttributeByName(
    const UnicodeString &ANamespaceURI, const UnicodeString &AName, bool ACreate) {
  return VnDOMIntf<IVnDOMAttribute>(DOMElement()->AttributeByName(ANamespaceURI, AName, ACreate));
}

DelphiInterface<IVnDOMAttribute> TVnDOMElementImpl::AttributeByName(const UnicodeString &AName,
                                                                    TVnDOMSelectOptions AOptions,
                                                                    TClass AClass) {
  return VnDOMIntf<IVnDOMAttribute>(DOMElement()->AttributeByName(AName, AOptions, AClass));
}

bool TVnDOMElementImpl::HasChildElement(const UnicodeString &AName, TVnDOMSelectOptions AOptions) {
  return DOMElement()->HasChildElement(AName, AOptions);
}

bool TVnDOMElementImpl::HasChildElement(const UnicodeString &ANamespaceURI,
                                        const UnicodeString &AName) {
  return DOMElement()->HasChildElement(ANamespaceURI, AName);
}

bool TVnDOMElementImpl::HasChildElements() {
  return DOMElement()->HasChildElements();
}

DelphiInterface<IVnDOMElement> TVnDOMElementImpl::FirstElement() {
  return VnDOMIntf<IVnDOMElement>(DOMElement()->FirstElement());
}

DelphiInterface<IVnDOMElement> TVnDOMElementImpl::LastElement() {
  return VnDOMIntf<IVnDOMElement>(DOMElement()->LastElement());
}

bool TVnDOMElementImpl::HasAttribute(const UnicodeString &AName, TVnDOMSelectOptions AOptions) {
  return DOMElement()->HasAttribute(AName, AOptions);
}

bool TVnDOMElementImpl::HasAttribute(const UnicodeString &ANamespaceURI,
                                     const UnicodeString &AName) {
  return DOMElement()->HasAttribute(ANamespaceURI, AName);
}

DelphiInterface<IVnDOMAttribute> TVnDOMElementImpl::FirstAttribute() {
  return VnDOMIntf<IVnDOMAttribute>(DOMElement()->FirstAttribute());
}

DelphiInterface<IVnDOMAttribute> TVnDOMElementImpl::LastAttribute() {
  return VnDOMIntf<IVnDOMAttribute>(DOMElement()->LastAttribute());
}

DelphiInterface<IVnDOMElement> TVnDOMElementImpl::ParentElement() {
  return VnDOMIntf<IVnDOMElement>(DOMElement()->ParentElement());
}

DelphiInterface<IVnDOMElement> TVnDOMElementImpl::NextElement() {
  return VnDOMIntf<IVnDOMElement>(DOMElement()->NextElement());
}

DelphiInterface<IVnDOMElement> TVnDOMElementImpl::PreviousElement() {
  return VnDOMIntf<IVnDOMElement>(DOMElement()->PreviousElement());
}

DelphiInterface<IVnDOMElementList> TVnDOMElementImpl::CreateElementList(
    const UnicodeString &AQualifiedName, bool ARecursive) {
  return AdoptList(DOMElement()->CreateElementList(AQualifiedName, ARecursive));
}

DelphiInterface<IVnDOMElementList> TVnDOMElementImpl::CreateElementList(
    const UnicodeString &ANamespaceURI, const UnicodeString &ALocalName, bool ARecursive) {
  return AdoptList(DOMElement()->CreateElementList(ANamespaceURI, ALocalName, ARecursive));
}

DelphiInterface<IVnDOMElementList> TVnDOMElementImpl::CreateElementList(
    const UnicodeString &APath, TVnDOMSelectOptions AOptions) {
  return AdoptList(DOMElement()->CreateElementList(APath, AOptions));
}

DelphiInterface<IVnDOMElement> TVnDOMElementImpl::SelectSingleElement(
    const UnicodeString &APath, TVnDOMSelectOptions AOptions) {
  return VnDOMIntf<IVnDOMElement>(DOMElement()->SelectSingleElement(APath, AOptions));
}

// --- documents

TVnDOMDocument *TVnDOMDocumentImpl::DOMDocument() const {
  return As<TVnDOMDocument>(CheckedObject());
}

DelphiInterface<IVnDOMElement> TVnDOMDocumentImpl::GetRootNode() {
  return VnDOMIntf<IVnDOMElement>(DOMDocument()->GetRootNode());
}

UnicodeString TVnDOMDocumentImpl::GetProcessingInstruction(const UnicodeString &ATarget) {
  return DOMDocument()->GetProcessingInstruction(ATarget);
}

bool TVnDOMDocumentImpl::GetCaseSensitive() {
  return DOMDocument()->GetCaseSensitive();
}

TVnXPathCollationClass TVnDOMDocumentImpl::GetCollation() {
  return DOMDocument()->GetCollation();
}

TVnDOMSelectMatchOption TVnDOMDocumentImpl::GetSelectMatchOption() {
  return DOMDocument()->GetSelectMatchOption();
}

TVnDOMSelectCheckOption TVnDOMDocumentImpl::GetSelectCheckOption() {
  return DOMDocument()->GetSelectCheckOption();
}

bool TVnDOMDocumentImpl::GetUseSchemaInstance() {
  return DOMDocument()->GetUseSchemaInstance();
}

UnicodeString TVnDOMDocumentImpl::GetEncoding() {
  return DOMDocument()->GetEncoding();
}

Word TVnDOMDocumentImpl::GetCodePage() {
  return DOMDocument()->GetCodePage();
}

UnicodeString TVnDOMDocumentImpl::GetDocumentURI() {
  return DOMDocument()->GetDocumentURI();
}

void TVnDOMDocumentImpl::SetEncoding(const UnicodeString &AEncoding) {
  DOMDocument()->SetEncoding(AEncoding);
}

void TVnDOMDocumentImpl::SetCodePage(Word ACodePage) {
  DOMDocument()->SetCodePage(ACodePage);
}

void TVnDOMDocumentImpl::SetProcessingInstruction(const UnicodeString &ATarget,
                                                  const UnicodeString &AData) {
  DOMDocument()->SetProcessingInstruction(ATarget, AData);
}

void TVnDOMDocumentImpl::SetCaseSensitive(bool AValue) {
  DOMDocument()->SetCaseSensitive(AValue);
}

void TVnDOMDocumentImpl::SetCollation(TVnXPathCollationClass AValue) {
  DOMDocument()->SetCollation(AValue);
}

void TVnDOMDocumentImpl::SetSelectMatchOption(TVnDOMSelectMatchOption AValue) {
  DOMDocument()->SetSelectMatchOption(AValue);
}

void TVnDOMDocumentImpl::SetSelectCheckOption(TVnDOMSelectCheckOption AValue) {
  DOMDocument()->SetSelectCheckOption(AValue);
}

void TVnDOMDocumentImpl::SetUseSchemaInstance(bool AValue) {
  DOMDocument()->SetUseSchemaInstance(AValue);
}

void TVnDOMDocumentImpl::SetDocumentURI(const UnicodeString &AURI) {
  DOMDocument()->SetDocumentURI(AURI);
}

DelphiInterface<IVnDOMElement> TVnDOMDocumentImpl::CreateRootNode(const UnicodeString &AName) {
  return VnDOMIntf<IVnDOMElement>(DOMDocument()->CreateRootNode(AName));
}

DelphiInterface<IVnDOMElement> TVnDOMDocumentImpl::CreateRootNode(
    const UnicodeString &ANamespaceURI, const UnicodeString &AName) {
  return VnDOMIntf<IVnDOMElement>(DOMDocument()->CreateRootNode(ANamespaceURI, AName));
}

DelphiInterface<IVnDOMComment> TVnDOMDocumentImpl::AddComment(const UnicodeString &AText) {
  return VnDOMIntf<IVnDOMComment>(DOMDocument()->AddComment(AText));
}

void TVnDOMDocumentImpl::LoadXML(const UnicodeString &AXML) {
  DOMDocument()->LoadXML(AXML);
}

void TVnDOMDocumentImpl::LoadXML(TStream *AStream) {
  DOMDocument()->LoadXML(AStream);
}

void TVnDOMDocumentImpl::LoadXML(const UnicodeString &AFileName, Word AMode) {
  DOMDocument()->LoadXML(AFileName, AMode);
}

void TVnDOMDocumentImpl::LoadFromXML(const AnsiString &AXML) {
  DOMDocument()->LoadFromXML(AXML);
}

void TVnDOMDocumentImpl::LoadFromXML(const UnicodeString &AXML) {
  DOMDocument()->LoadFromXML(AXML);
}

void TVnDOMDocumentImpl::LoadFromStreamEx(TStream *AStream) {
  DOMDocument()->LoadFromStream(AStream);
}

void TVnDOMDocumentImpl::SaveToStreamEx(TStream *AStream, bool AFormatted, bool AWriteBOM) {
  DOMDocument()->SaveToStream(AStream, AFormatted, AWriteBOM);
}

void TVnDOMDocumentImpl::LoadFromFile(const UnicodeString &AFileName, Word AMode) {
  DOMDocument()->LoadFromFile(AFileName, AMode);
}

void TVnDOMDocumentImpl::SaveToFile(const UnicodeString &AFileName, bool AFormatted,
                                    bool AWriteBOM) {
  DOMDocument()->SaveToFile(AFileName, AFormatted, AWriteBOM);
}

DelphiInterface<IVnDOMElementList> TVnDOMDocumentImpl::CreateElementList(
    const UnicodeString &APath, TVnDOMSelectOptions AOptions) {
  return AdoptList(DOMDocument()->CreateElementList(APath, AOptions));
}

DelphiInterface<IVnDOMElement> TVnDOMDocumentImpl::SelectSingleElement(
    const UnicodeString &APath, TVnDOMSelectOptions AOptions) {
  return VnDOMIntf<IVnDOMElement>(DOMDocument()->SelectSingleElement(APath, AOptions));
}

}  // namespace vn
