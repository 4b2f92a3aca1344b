#include "vnxml/xml/XmlDom.h"

#include <algorithm>
#include <mutex>

namespace vn {

// ---------------------------------------------------------------------------------------------
// Checked forms: call the raw operation and raise on a failure.

namespace {
template <class R, class F>
R Checked(F &&AFunc) {
  R r{};
  CheckSafecallResult(AFunc(r));
  return r;
}
}  // namespace

#define VN_CHECKED(Type, Call) return Checked<Type>([&](Type &r) { return Call; })

DelphiInterface<IDOMNode> IDOMNode::insertBefore(IDOMNode *ANewChild, IDOMNode *ARefChild) {
  VN_CHECKED(DelphiInterface<IDOMNode>, insertBefore(ANewChild, ARefChild, r));
}
DelphiInterface<IDOMNode> IDOMNode::replaceChild(IDOMNode *ANewChild, IDOMNode *AOldChild) {
  VN_CHECKED(DelphiInterface<IDOMNode>, replaceChild(ANewChild, AOldChild, r));
}
DelphiInterface<IDOMNode> IDOMNode::removeChild(IDOMNode *AChild) {
  VN_CHECKED(DelphiInterface<IDOMNode>, removeChild(AChild, r));
}
DelphiInterface<IDOMNode> IDOMNode::appendChild(IDOMNode *ANewChild) {
  VN_CHECKED(DelphiInterface<IDOMNode>, appendChild(ANewChild, r));
}
bool IDOMNode::hasChildNodes() {
  VN_CHECKED(bool, hasChildNodes(r));
}
DelphiInterface<IDOMNode> IDOMNode::cloneNode(bool ADeep) {
  VN_CHECKED(DelphiInterface<IDOMNode>, cloneNode(ADeep, r));
}

DelphiInterface<IDOMNode> IDOMNodeList::item(Integer AIndex) {
  VN_CHECKED(DelphiInterface<IDOMNode>, get_item(AIndex, r));
}

DelphiInterface<IDOMNode> IDOMNamedNodeMap::item(Integer AIndex) {
  VN_CHECKED(DelphiInterface<IDOMNode>, get_item(AIndex, r));
}
DelphiInterface<IDOMNode> IDOMNamedNodeMap::getNamedItem(const DOMString &AName) {
  VN_CHECKED(DelphiInterface<IDOMNode>, getNamedItem(AName, r));
}
DelphiInterface<IDOMNode> IDOMNamedNodeMap::getNamedItemNS(const DOMString &ANamespaceURI,
                                                           const DOMString &ALocalName) {
  VN_CHECKED(DelphiInterface<IDOMNode>, getNamedItemNS(ANamespaceURI, ALocalName, r));
}

DOMString IDOMCharacterData::substringData(Integer AOffset, Integer ACount) {
  VN_CHECKED(DOMString, substringData(AOffset, ACount, r));
}

DOMString IDOMElement::getAttribute(const DOMString &AName) {
  VN_CHECKED(DOMString, getAttribute(AName, r));
}
DelphiInterface<IDOMAttr> IDOMElement::getAttributeNode(const DOMString &AName) {
  VN_CHECKED(DelphiInterface<IDOMAttr>, getAttributeNode(AName, r));
}
DelphiInterface<IDOMAttr> IDOMElement::setAttributeNode(IDOMAttr *ANewAttr) {
  VN_CHECKED(DelphiInterface<IDOMAttr>, setAttributeNode(ANewAttr, r));
}
DelphiInterface<IDOMAttr> IDOMElement::removeAttributeNode(IDOMAttr *AOldAttr) {
  VN_CHECKED(DelphiInterface<IDOMAttr>, removeAttributeNode(AOldAttr, r));
}
DelphiInterface<IDOMNodeList> IDOMElement::getElementsByTagName(const DOMString &AName) {
  VN_CHECKED(DelphiInterface<IDOMNodeList>, getElementsByTagName(AName, r));
}
DOMString IDOMElement::getAttributeNS(const DOMString &ANamespaceURI, const DOMString &ALocalName) {
  VN_CHECKED(DOMString, getAttributeNS(ANamespaceURI, ALocalName, r));
}
DelphiInterface<IDOMAttr> IDOMElement::getAttributeNodeNS(const DOMString &ANamespaceURI,
                                                          const DOMString &ALocalName) {
  VN_CHECKED(DelphiInterface<IDOMAttr>, getAttributeNodeNS(ANamespaceURI, ALocalName, r));
}
DelphiInterface<IDOMAttr> IDOMElement::setAttributeNodeNS(IDOMAttr *ANewAttr) {
  VN_CHECKED(DelphiInterface<IDOMAttr>, setAttributeNodeNS(ANewAttr, r));
}
DelphiInterface<IDOMNodeList> IDOMElement::getElementsByTagNameNS(const DOMString &ANamespaceURI,
                                                                  const DOMString &ALocalName) {
  VN_CHECKED(DelphiInterface<IDOMNodeList>, getElementsByTagNameNS(ANamespaceURI, ALocalName, r));
}
bool IDOMElement::hasAttribute(const DOMString &AName) {
  VN_CHECKED(bool, hasAttribute(AName, r));
}
bool IDOMElement::hasAttributeNS(const DOMString &ANamespaceURI, const DOMString &ALocalName) {
  VN_CHECKED(bool, hasAttributeNS(ANamespaceURI, ALocalName, r));
}

DelphiInterface<IDOMText> IDOMText::splitText(Integer AOffset) {
  VN_CHECKED(DelphiInterface<IDOMText>, splitText(AOffset, r));
}

DelphiInterface<IDOMElement> IDOMDocument::createElement(const DOMString &ATagName) {
  VN_CHECKED(DelphiInterface<IDOMElement>, createElement(ATagName, r));
}
DelphiInterface<IDOMText> IDOMDocument::createTextNode(const DOMString &AData) {
  VN_CHECKED(DelphiInterface<IDOMText>, createTextNode(AData, r));
}
DelphiInterface<IDOMComment> IDOMDocument::createComment(const DOMString &AData) {
  VN_CHECKED(DelphiInterface<IDOMComment>, createComment(AData, r));
}
DelphiInterface<IDOMCDATASection> IDOMDocument::createCDATASection(const DOMString &AData) {
  VN_CHECKED(DelphiInterface<IDOMCDATASection>, createCDATASection(AData, r));
}
DelphiInterface<IDOMProcessingInstruction> IDOMDocument::createProcessingInstruction(
    const DOMString &ATarget, const DOMString &AData) {
  VN_CHECKED(DelphiInterface<IDOMProcessingInstruction>,
             createProcessingInstruction(ATarget, AData, r));
}
DelphiInterface<IDOMAttr> IDOMDocument::createAttribute(const DOMString &AName) {
  VN_CHECKED(DelphiInterface<IDOMAttr>, createAttribute(AName, r));
}
DelphiInterface<IDOMNodeList> IDOMDocument::getElementsByTagName(const DOMString &ATagName) {
  VN_CHECKED(DelphiInterface<IDOMNodeList>, getElementsByTagName(ATagName, r));
}
DelphiInterface<IDOMNode> IDOMDocument::importNode(IDOMNode *ANode, bool ADeep) {
  VN_CHECKED(DelphiInterface<IDOMNode>, importNode(ANode, ADeep, r));
}
DelphiInterface<IDOMElement> IDOMDocument::createElementNS(const DOMString &ANamespaceURI,
                                                           const DOMString &AQualifiedName) {
  VN_CHECKED(DelphiInterface<IDOMElement>, createElementNS(ANamespaceURI, AQualifiedName, r));
}
DelphiInterface<IDOMAttr> IDOMDocument::createAttributeNS(const DOMString &ANamespaceURI,
                                                          const DOMString &AQualifiedName) {
  VN_CHECKED(DelphiInterface<IDOMAttr>, createAttributeNS(ANamespaceURI, AQualifiedName, r));
}
DelphiInterface<IDOMNodeList> IDOMDocument::getElementsByTagNameNS(const DOMString &ANamespaceURI,
                                                                   const DOMString &ALocalName) {
  VN_CHECKED(DelphiInterface<IDOMNodeList>, getElementsByTagNameNS(ANamespaceURI, ALocalName, r));
}
DelphiInterface<IDOMElement> IDOMDocument::getElementById(const DOMString &AElementId) {
  VN_CHECKED(DelphiInterface<IDOMElement>, getElementById(AElementId, r));
}

bool IDOMImplementation::hasFeature(const DOMString &AFeature, const DOMString &AVersion) {
  VN_CHECKED(bool, hasFeature(AFeature, AVersion, r));
}
DelphiInterface<IDOMDocument> IDOMImplementation::createDocument(const DOMString &ANamespaceURI,
                                                                 const DOMString &AQualifiedName,
                                                                 IDOMDocumentType *ADocType) {
  VN_CHECKED(DelphiInterface<IDOMDocument>,
             createDocument(ANamespaceURI, AQualifiedName, ADocType, r));
}

DelphiInterface<IDOMNode> IDOMNodeSelect::selectNode(const DOMString &ANodePath) {
  VN_CHECKED(DelphiInterface<IDOMNode>, selectNode(ANodePath, r));
}
DelphiInterface<IDOMNodeList> IDOMNodeSelect::selectNodes(const DOMString &ANodePath) {
  VN_CHECKED(DelphiInterface<IDOMNodeList>, selectNodes(ANodePath, r));
}

bool IDOMPersist::load(const Variant &ASource) {
  VN_CHECKED(bool, load(ASource, r));
}
bool IDOMPersist::loadFromStream(TStream *AStream) {
  VN_CHECKED(bool, loadFromStream(AStream, r));
}
bool IDOMPersist::loadFromStream(IStream *AStream) {
  VN_CHECKED(bool, loadFromStream(AStream, r));
}
bool IDOMPersist::loadxml(const DOMString &AValue) {
  VN_CHECKED(bool, loadxml(AValue, r));
}

#undef VN_CHECKED

// ---------------------------------------------------------------------------------------------
// The vendor registry. Vendors register at start-up as a rule, but an application may register
// its own at any time, so the list is guarded.

namespace {
struct TVendorRegistry {
  std::mutex Lock;
  std::vector<TDOMVendor *> Vendors;
};

TVendorRegistry &Registry() {
  static TVendorRegistry registry;
  return registry;
}
}  // namespace

DOMString DefaultDOMVendor;

TDOMVendorList &DOMVendors() {
  static TDOMVendorList list;
  Registry();
  return list;
}

Integer TDOMVendorList::Count() const {
  TVendorRegistry &r = Registry();
  std::lock_guard lock(r.Lock);
  return static_cast<Integer>(r.Vendors.size());
}

TDOMVendor *TDOMVendorList::Vendors(Integer AIndex) const {
  TVendorRegistry &r = Registry();
  std::lock_guard lock(r.Lock);
  if (AIndex < 0 || static_cast<std::size_t>(AIndex) >= r.Vendors.size())
    throw EListError(u"List index out of bounds (%d)", {AIndex});
  return r.Vendors[static_cast<std::size_t>(AIndex)];
}

TDOMVendor *TDOMVendorList::Find(const DOMString &AVendorDesc) const {
  TVendorRegistry &r = Registry();
  std::lock_guard lock(r.Lock);
  for (TDOMVendor *vendor : r.Vendors)
    if (SameText(vendor->Description(), AVendorDesc)) return vendor;
  return nullptr;
}

void TDOMVendorList::Add(TDOMVendor *AVendor) {
  if (!AVendor) return;
  TVendorRegistry &r = Registry();
  std::lock_guard lock(r.Lock);
  r.Vendors.push_back(AVendor);
}

void TDOMVendorList::Remove(TDOMVendor *AVendor) {
  TVendorRegistry &r = Registry();
  std::lock_guard lock(r.Lock);
  auto it = std::find(r.Vendors.begin(), r.Vendors.end(), AVendor);
  if (it != r.Vendors.end()) r.Vendors.erase(it);
}

void RegisterDOMVendor(TDOMVendor *AVendor) {
  DOMVendors().Add(AVendor);
}

void UnRegisterDOMVendor(TDOMVendor *AVendor) {
  DOMVendors().Remove(AVendor);
}

TDOMVendor *GetDOMVendor(const DOMString &AVendorDesc) {
  TDOMVendorList &vendors = DOMVendors();
  const DOMString desc = AVendorDesc.empty() ? DefaultDOMVendor : AVendorDesc;
  if (desc.empty()) {
    TVendorRegistry &r = Registry();
    std::lock_guard lock(r.Lock);
    if (r.Vendors.empty()) throw DOMException(u"No DOM vendors are registered");
    return r.Vendors.front();
  }
  TDOMVendor *vendor = vendors.Find(desc);
  if (!vendor) throw DOMException(u"No matching DOM vendor: \"%s\"", {desc});
  return vendor;
}

DelphiInterface<IDOMImplementation> GetDOM(const DOMString &AVendorDesc) {
  return GetDOMVendor(AVendorDesc)->DOMImplementation();
}

}  // namespace vn
