// TVnDOMNodeImpl: the interface half of a node forwards each operation to its object.
#include "vnxml/xml/uVnXMLDOM/Internal.h"

namespace vn {

namespace {

// The interface of a node that an operation has just created and nobody else holds: the node is
// freed if the interface cannot be had.
DelphiInterface<IVnDOMNode> AdoptNode(TVnDOMNode *ANode) {
  try {
    return VnDOMIntf<IVnDOMNode>(ANode);
  } catch (...) {
    ANode->Free();
    throw;
  }
}

}  // namespace

TVnDOMNode *TVnDOMNodeImpl::DOMNode() const {
  return static_cast<TVnDOMNode *>(CheckedObject());
}

bool TVnDOMNodeImpl::CanSerialize(TVnDataSerializationFormatType AFormat) {
  return DOMNode()->CanSerialize(AFormat);
}

RawByteString TVnDOMNodeImpl::Serialize(TVnDataSerializationFormatType AFormat,
                                        TStringList *AParams) {
  return DOMNode()->Serialize(AFormat, AParams);
}

bool TVnDOMNodeImpl::GetPreserveSpace() {
  return DOMNode()->GetPreserveSpace();
}

UnicodeString TVnDOMNodeImpl::GetNodeValue() {
  return DOMNode()->GetNodeValue();
}

UnicodeString TVnDOMNodeImpl::GetText() {
  return DOMNode()->GetText();
}

UnicodeString TVnDOMNodeImpl::GetNamespaceURI() {
  return DOMNode()->GetNamespaceURI();
}

UnicodeString TVnDOMNodeImpl::GetLocalName() {
  return DOMNode()->GetLocalName();
}

UnicodeString TVnDOMNodeImpl::GetPrefix() {
  return DOMNode()->GetPrefix();
}

UnicodeString TVnDOMNodeImpl::GetQualifiedName() {
  return DOMNode()->GetQualifiedName();
}

UnicodeString TVnDOMNodeImpl::GetFormattedInnerXML() {
  return DOMNode()->GetFormattedInnerXML();
}

UnicodeString TVnDOMNodeImpl::GetFormattedXML() {
  return DOMNode()->GetFormattedXML();
}

UnicodeString TVnDOMNodeImpl::GetInnerXML() {
  return DOMNode()->GetInnerXML();
}

UnicodeString TVnDOMNodeImpl::GetXML() {
  return DOMNode()->GetXML();
}

DelphiInterface<IVnDOMNodeList> TVnDOMNodeImpl::GetChildNodes() {
  return VnDOMIntf<IVnDOMNodeList>(DOMNode()->GetChildNodes());
}

TVnDOMNodeType TVnDOMNodeImpl::GetNodeType() {
  return DOMNode()->GetNodeType();
}

void TVnDOMNodeImpl::SetNodeValue(const UnicodeString &AValue) {
  DOMNode()->SetNodeValue(AValue);
}

void TVnDOMNodeImpl::SetPrefix(const UnicodeString &APrefix) {
  DOMNode()->SetPrefix(APrefix);
}

void TVnDOMNodeImpl::SetQualifiedName(const UnicodeString &AName) {
  DOMNode()->SetQualifiedName(AName);
}

void TVnDOMNodeImpl::SetInnerXML(const UnicodeString &AXML) {
  DOMNode()->SetInnerXML(AXML);
}

void TVnDOMNodeImpl::NormalizeTextNodes() {
  DOMNode()->NormalizeTextNodes();
}

void TVnDOMNodeImpl::LoadFromStream(TStream *AStream, Word ACodePage) {
  DOMNode()->LoadFromStream(AStream, ACodePage);
}

void TVnDOMNodeImpl::SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted) {
  DOMNode()->SaveToStream(AStream, ACodePage, AFormatted);
}

void TVnDOMNodeImpl::Clear() {
  DOMNode()->Clear();
}

DelphiInterface<IVnDOMNode> TVnDOMNodeImpl::CloneNode(bool ADeep) {
  return AdoptNode(DOMNode()->CloneNode(ADeep));
}

Integer TVnDOMNodeImpl::NodeCount() {
  return DOMNode()->NodeCount();
}

DelphiInterface<IVnDOMNode> TVnDOMNodeImpl::AddChild(IVnDOMNode *ANode, IVnDOMNode *ARefNode,
                                                     TVnDOMPosition APosition) {
  TVnDOMNode *self = DOMNode();
  return VnDOMIntf<IVnDOMNode>(self->AddChild(Node(ANode), Node(ARefNode), APosition));
}

void TVnDOMNodeImpl::RemoveChild(IVnDOMNode *ANode) {
  TVnDOMNode *self = DOMNode();
  self->RemoveChild(Node(ANode));
}

DelphiInterface<IVnDOMNode> TVnDOMNodeImpl::InsertBefore(IVnDOMNode *ANode, IVnDOMNode *ARefNode) {
  TVnDOMNode *self = DOMNode();
  return VnDOMIntf<IVnDOMNode>(self->InsertBefore(Node(ANode), Node(ARefNode)));
}

DelphiInterface<IVnDOMNode> TVnDOMNodeImpl::AppendChild(IVnDOMNode *ANode) {
  TVnDOMNode *self = DOMNode();
  return VnDOMIntf<IVnDOMNode>(self->AppendChild(Node(ANode)));
}

DelphiInterface<IVnDOMNode> TVnDOMNodeImpl::SelectSingleNode(const UnicodeString &APath,
                                                             TVnDOMSelectOptions AOptions) {
  return VnDOMIntf<IVnDOMNode>(DOMNode()->SelectSingleNode(APath, AOptions));
}

DelphiInterface<IVnDOMNodeList> TVnDOMNodeImpl::CreateNodeList(const UnicodeString &APath,
                                                               TVnDOMSelectOptions AOptions) {
  TVnDOMNodeList *list = DOMNode()->CreateNodeList(APath, AOptions);
  try {
    return VnDOMIntf<IVnDOMNodeList>(list);
  } catch (...) {
    list->Free();
    throw;
  }
}

DelphiInterface<IVnDOMNode> TVnDOMNodeImpl::NextSibling() {
  return VnDOMIntf<IVnDOMNode>(DOMNode()->NextSibling());
}

DelphiInterface<IVnDOMNode> TVnDOMNodeImpl::PreviousSibling() {
  return VnDOMIntf<IVnDOMNode>(DOMNode()->PreviousSibling());
}

bool TVnDOMNodeImpl::HasChilds() {
  return DOMNode()->HasChilds();
}

bool TVnDOMNodeImpl::HasAttributes() {
  return DOMNode()->HasAttributes();
}

void TVnDOMNodeImpl::Transform(IVnDOMNode *AStyleSheet, WideString &AResult) {
  TVnDOMNode *self = DOMNode();
  self->Transform(Node(AStyleSheet), AResult);
}

DelphiInterface<IVnDOMDocument> TVnDOMNodeImpl::Transform(IVnDOMNode *AStyleSheet) {
  TVnDOMNode *self = DOMNode();
  // The new document is nobody else's: the interface becomes its owner.
  TVnDOMDocument *doc = self->Transform(Node(AStyleSheet));
  try {
    return VnDOMIntf<IVnDOMDocument>(doc);
  } catch (...) {
    doc->Free();
    throw;
  }
}

DelphiInterface<IVnDOMDocument> TVnDOMNodeImpl::Document() {
  return VnDOMIntf<IVnDOMDocument>(DOMNode()->GetDOMDocument());
}

DelphiInterface<IVnDOMNode> TVnDOMNodeImpl::ParentNode() {
  return VnDOMIntf<IVnDOMNode>(DOMNode()->ParentNode());
}

UnicodeString TVnDOMNodeImpl::NodePath(bool ALocalName, const UnicodeString &AKeyAttribute) {
  return DOMNode()->NodePath(ALocalName, AKeyAttribute);
}

}  // namespace vn
