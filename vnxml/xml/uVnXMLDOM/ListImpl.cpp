// The interface halves of the node lists forward each operation to their list.
#include "vnxml/xml/uVnXMLDOM/Internal.h"

namespace vn {

TVnDOMNodeListBase *TVnDOMNodeListImpl::DOMList() const {
  return static_cast<TVnDOMNodeListBase *>(CheckedObject());
}

DelphiInterface<IVnDOMNode> TVnDOMNodeListImpl::GetItem(Integer AIndex) {
  return VnDOMIntf<IVnDOMNode>(DOMList()->GetItem(AIndex));
}

void TVnDOMNodeListImpl::Clear() {
  DOMList()->Clear();
}

void TVnDOMNodeListImpl::Add(IVnDOMNode *ANode, IVnDOMNode *ARefNode, TVnDOMPosition APosition) {
  TVnDOMNodeListBase *list = DOMList();
  list->Add(Node(ANode), Node(ARefNode), APosition);
}

void TVnDOMNodeListImpl::Add(IVnDOMNode *ANode, TVnDOMPosition APosition) {
  TVnDOMNodeListBase *list = DOMList();
  list->Add(Node(ANode), APosition);
}

void TVnDOMNodeListImpl::Add(IVnDOMNode *ANode, TVnDOMPosition APosition, IVnDOMNode *ARefNode) {
  TVnDOMNodeListBase *list = DOMList();
  list->Add(Node(ANode), APosition, Node(ARefNode));
}

DelphiInterface<IVnDOMNode> TVnDOMNodeListImpl::Delete(IVnDOMNode *ANode) {
  TVnDOMNodeListBase *list = DOMList();
  return VnDOMIntf<IVnDOMNode>(list->Delete(Node(ANode)));
}

Integer TVnDOMNodeListImpl::Count() {
  return DOMList()->Count();
}

DelphiInterface<IVnDOMNode> TVnDOMNodeListImpl::First() {
  return VnDOMIntf<IVnDOMNode>(DOMList()->First());
}

DelphiInterface<IVnDOMNode> TVnDOMNodeListImpl::Last() {
  return VnDOMIntf<IVnDOMNode>(DOMList()->Last());
}

DelphiInterface<IVnDOMNode> TVnDOMNodeListImpl::Next(IVnDOMNode *ANode) {
  TVnDOMNodeListBase *list = DOMList();
  return VnDOMIntf<IVnDOMNode>(list->Next(Node(ANode)));
}

DelphiInterface<IVnDOMNode> TVnDOMNodeListImpl::Previous(IVnDOMNode *ANode) {
  TVnDOMNodeListBase *list = DOMList();
  return VnDOMIntf<IVnDOMNode>(list->Previous(Node(ANode)));
}

bool TVnDOMNodeListImpl::ContainsNode(IVnDOMNode *ANode) {
  TVnDOMNodeListBase *list = DOMList();
  return list->ContainsNode(Node(ANode));
}

DelphiInterface<IVnDOMNode> TVnDOMNodeListImpl::Find(const UnicodeString &AName,
                                                     TVnDOMSelectOptions AOptions) {
  return VnDOMIntf<IVnDOMNode>(DOMList()->Find(AName, AOptions));
}

DelphiInterface<IVnDOMNode> TVnDOMNodeListImpl::Find(UnicodeStringView AURI,
                                                     UnicodeStringView AName) {
  return VnDOMIntf<IVnDOMNode>(DOMList()->Find(AURI, AName));
}

DelphiInterface<IVnDOMNode> TVnDOMNodeListImpl::Delete(const UnicodeString &AName,
                                                       TVnDOMSelectOptions AOptions) {
  return VnDOMIntf<IVnDOMNode>(DOMList()->Delete(AName, AOptions));
}

DelphiInterface<IVnDOMNode> TVnDOMNodeListImpl::Delete(UnicodeStringView AURI,
                                                       UnicodeStringView AName) {
  return VnDOMIntf<IVnDOMNode>(DOMList()->Delete(AURI, AName));
}

DelphiInterface<IVnDOMElement> TVnDOMElementListImpl::GetElement(const Variant &AIndex) {
  return VnDOMIntf<IVnDOMElement>(static_cast<TVnDOMElementList *>(DOMList())->GetItem(AIndex));
}

DelphiInterface<IVnDOMAttribute> TVnDOMAttrListImpl::FindNamespace(const UnicodeString &AURI) {
  return VnDOMIntf<IVnDOMAttribute>(static_cast<TVnDOMAttrList *>(DOMList())->FindNamespace(AURI));
}

DelphiInterface<IVnDOMAttribute> TVnDOMAttrListImpl::GetAttribute(Integer AIndex) {
  return VnDOMIntf<IVnDOMAttribute>(DOMList()->GetItem(AIndex));
}

}  // namespace vn
