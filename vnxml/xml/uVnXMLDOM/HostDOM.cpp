// The generic DOM interfaces (XmlDom.h) on the interface half of the tree, the vendor "Vornell",
// its implementation object, the free routines that work on any vendor's DOM, and the unit's
// start-up around them.
//
// Every operation runs inside SafecallInvoke: whatever it raises becomes a failure result, and
// out arguments are cleared before the work starts.
#include "vnxml/xml/uVnXMLDOM/Internal.h"

namespace vn {

namespace {

inline constexpr const char16_t *cNoAttributes = u"This node does not support attributes!";
inline constexpr const char16_t *cStreamContents = u"Failed to get the contents of the stream.";
inline constexpr const char16_t *cNoFragments =
    u"Document fragments are not supported by Vornell XML DOM!";
inline constexpr const char16_t *cNoEntityRefs =
    u"Entity references are not supported by Vornell XML DOM!";
inline constexpr const char16_t *cNoDocType = u"The doctype functionality is not implemented!";
inline constexpr const char16_t *cNotImplemented = u"Not implemented";
inline constexpr const char16_t *cNilStream = u"The stream must not be nil!";
inline constexpr const char16_t *cNotOwnersChild =
    u"Only a child of the node that the list belongs to can be added to this list!";
inline constexpr const char16_t *cNoOwnerDocument =
    u"The node belongs to no document, so no node can be made for it!";

// The interface I of a node or list that an operation has just made and nobody else holds: the
// object is freed if the interface cannot be had.
template <VnInterface I, class T>
DelphiInterface<I> Adopt(T *AObject) {
  try {
    return VnDOMIntf<I>(AObject);
  } catch (...) {
    AObject->Free();
    throw;
  }
}

// A new detached node of class T, set up by ASetUp, under the interface I.
template <VnInterface I, class T, class F>
DelphiInterface<I> NewDetached(F ASetUp) {
  return Adopt<I>(dom::NewNode<T>(ASetUp));
}

// The node behind a generic interface argument.
TVnDOMNode *ArgNode(IDOMNode *ANode) {
  return TVnDOMObjectImpl::Node(ANode);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// IDOMNode

HRESULT TVnDOMNodeImpl::get_nodeName(DOMString &AResult) {
  AResult.clear();
  return SafecallInvoke(this, [&] { AResult = DOMNode()->GetQualifiedName(); });
}

HRESULT TVnDOMNodeImpl::get_nodeValue(DOMString &AResult) {
  AResult.clear();
  return SafecallInvoke(this, [&] { AResult = DOMNode()->GetNodeValue(); });
}

HRESULT TVnDOMNodeImpl::set_nodeValue(const DOMString &AValue) {
  return SafecallInvoke(this, [&] { DOMNode()->SetNodeValue(AValue); });
}

HRESULT TVnDOMNodeImpl::get_nodeType(DOMNodeType &AResult) {
  AResult = 0;
  return SafecallInvoke(this,
                        [&] { AResult = static_cast<DOMNodeType>(DOMNode()->GetNodeType()); });
}

HRESULT TVnDOMNodeImpl::get_parentNode(DelphiInterface<IDOMNode> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] { AResult = VnDOMIntf<IDOMNode>(DOMNode()->ParentNode()); });
}

HRESULT TVnDOMNodeImpl::get_childNodes(DelphiInterface<IDOMNodeList> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this,
                        [&] { AResult = VnDOMIntf<IDOMNodeList>(DOMNode()->GetChildNodes()); });
}

HRESULT TVnDOMNodeImpl::get_firstChild(DelphiInterface<IDOMNode> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(
      this, [&] { AResult = VnDOMIntf<IDOMNode>(DOMNode()->GetChildNodes()->First()); });
}

HRESULT TVnDOMNodeImpl::get_lastChild(DelphiInterface<IDOMNode> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this,
                        [&] { AResult = VnDOMIntf<IDOMNode>(DOMNode()->GetChildNodes()->Last()); });
}

HRESULT TVnDOMNodeImpl::get_previousSibling(DelphiInterface<IDOMNode> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] { AResult = VnDOMIntf<IDOMNode>(DOMNode()->PreviousSibling()); });
}

HRESULT TVnDOMNodeImpl::get_nextSibling(DelphiInterface<IDOMNode> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] { AResult = VnDOMIntf<IDOMNode>(DOMNode()->NextSibling()); });
}

HRESULT TVnDOMNodeImpl::get_attributes(DelphiInterface<IDOMNamedNodeMap> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    TVnDOMNode *self = DOMNode();
    if (self->GetNodeType() != ntElement) throw EVnDomNotFound(cNoAttributes);
    AResult = VnDOMIntf<IDOMNamedNodeMap>(static_cast<TVnDOMElement *>(self)->GetAttributes());
  });
}

HRESULT TVnDOMNodeImpl::get_ownerDocument(DelphiInterface<IDOMDocument> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this,
                        [&] { AResult = VnDOMIntf<IDOMDocument>(DOMNode()->GetDOMDocument()); });
}

HRESULT TVnDOMNodeImpl::get_namespaceURI(DOMString &AResult) {
  AResult.clear();
  return SafecallInvoke(this, [&] { AResult = DOMNode()->GetNamespaceURI(); });
}

HRESULT TVnDOMNodeImpl::get_prefix(DOMString &AResult) {
  AResult.clear();
  return SafecallInvoke(this, [&] { AResult = DOMNode()->GetPrefix(); });
}

HRESULT TVnDOMNodeImpl::get_localName(DOMString &AResult) {
  AResult.clear();
  return SafecallInvoke(this, [&] { AResult = DOMNode()->GetLocalName(); });
}

HRESULT TVnDOMNodeImpl::insertBefore(IDOMNode *ANewChild, IDOMNode *ARefChild,
                                     DelphiInterface<IDOMNode> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    TVnDOMNode *self = DOMNode();
    AResult = VnDOMIntf<IDOMNode>(self->InsertBefore(ArgNode(ANewChild), ArgNode(ARefChild)));
  });
}

HRESULT TVnDOMNodeImpl::replaceChild(IDOMNode *ANewChild, IDOMNode *AOldChild,
                                     DelphiInterface<IDOMNode> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    TVnDOMNode *self = DOMNode();
    TVnDOMNode *newChild = ArgNode(ANewChild);
    TVnDOMNode *oldChild = ArgNode(AOldChild);
    // The result holds the new node, so that it outlives what follows even when it comes from
    // another tree.
    AResult = VnDOMIntf<IDOMNode>(newChild);
    TVnDOMChangeScope scope;
    TVnDOMNode *before = oldChild ? oldChild->PreviousSibling() : nullptr;
    self->RemoveChild(oldChild);
    self->AddChild(newChild, before, rdpAfter);
  });
}

HRESULT TVnDOMNodeImpl::removeChild(IDOMNode *AChild, DelphiInterface<IDOMNode> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    TVnDOMNode *self = DOMNode();
    TVnDOMNode *child = ArgNode(AChild);
    // The result takes its reference first, so the node survives its removal.
    AResult = VnDOMIntf<IDOMNode>(child);
    self->RemoveChild(child);
  });
}

HRESULT TVnDOMNodeImpl::appendChild(IDOMNode *ANewChild, DelphiInterface<IDOMNode> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    TVnDOMNode *self = DOMNode();
    AResult = VnDOMIntf<IDOMNode>(self->AppendChild(ArgNode(ANewChild)));
  });
}

HRESULT TVnDOMNodeImpl::hasChildNodes(bool &AResult) {
  AResult = false;
  return SafecallInvoke(this, [&] { AResult = DOMNode()->HasChilds(); });
}

HRESULT TVnDOMNodeImpl::cloneNode(bool ADeep, DelphiInterface<IDOMNode> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] { AResult = Adopt<IDOMNode>(DOMNode()->CloneNode(ADeep)); });
}

HRESULT TVnDOMNodeImpl::normalize() {
  return SafecallInvoke(this, [&] { DOMNode()->NormalizeTextNodes(); });
}

HRESULT TVnDOMNodeImpl::supports(const DOMString &, const DOMString &, bool &AResult) {
  AResult = false;
  return S_OK;
}

// ---------------------------------------------------------------------------------------------
// IDOMNodeEx

HRESULT TVnDOMNodeImpl::get_text(DOMString &AResult) {
  AResult.clear();
  return SafecallInvoke(this, [&] { AResult = DOMNode()->GetText(); });
}

HRESULT TVnDOMNodeImpl::set_text(const DOMString &AText) {
  return SafecallInvoke(this, [&] { DOMNode()->SetNodeValue(AText); });
}

HRESULT TVnDOMNodeImpl::get_xml(DOMString &AResult) {
  AResult.clear();
  return SafecallInvoke(this, [&] { AResult = DOMNode()->GetXML(); });
}

HRESULT TVnDOMNodeImpl::transformNode(IDOMNode *AStyleSheet, WideString &AOutput) {
  AOutput.clear();
  return SafecallInvoke(this, [&] {
    TVnDOMNode *self = DOMNode();
    self->Transform(ArgNode(AStyleSheet), AOutput);
  });
}

HRESULT TVnDOMNodeImpl::transformNode(IDOMNode *AStyleSheet, IDOMDocument *AOutput) {
  return SafecallInvoke(this, [&] {
    TVnDOMNode *self = DOMNode();
    if (!AOutput) throw EArgumentNilException(dom::cNilNode);
    WideString text;
    self->Transform(ArgNode(AStyleSheet), text);
    // The output document may be of any vendor: it loads the result through its own interface.
    DelphiInterface<IDOMPersist> output = IntfAs<IDOMPersist>(AOutput);
    output->loadxml(text);
  });
}

// ---------------------------------------------------------------------------------------------
// IDOMNodeSelect

HRESULT TVnDOMNodeImpl::selectNode(const DOMString &ANodePath, DelphiInterface<IDOMNode> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    AResult = VnDOMIntf<IDOMNode>(DOMNode()->SelectSingleNode(ANodePath, {soRaise}));
  });
}

HRESULT TVnDOMNodeImpl::selectNodes(const DOMString &ANodePath,
                                    DelphiInterface<IDOMNodeList> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(
      this, [&] { AResult = Adopt<IDOMNodeList>(DOMNode()->CreateNodeList(ANodePath, {})); });
}

// ---------------------------------------------------------------------------------------------
// IDOMPersist

HRESULT TVnDOMNodeImpl::asyncLoadState(Integer &AResult) {
  AResult = FLoadState;
  return S_OK;
}

HRESULT TVnDOMNodeImpl::load(const Variant &ASource, bool &AResult) {
  AResult = false;
  return SafecallInvoke(this, [&] {
    TVnDOMNode *self = DOMNode();
    const UnicodeString source = VarToStr(ASource);
    if (auto *doc = dynamic_cast<TVnDOMDocument *>(self)) {
      if (!source.empty() && source.front() == u'<') {
        doc->LoadFromXML(source);
      } else if (FileExists(source)) {
        doc->LoadFromFile(source, 64);
      }
    } else {
      self->SetInnerXML(source);
    }
    AResult = true;
  });
}

HRESULT TVnDOMNodeImpl::loadFromStream(TStream *AStream, bool &AResult) {
  AResult = false;
  return SafecallInvoke(this, [&] {
    DOMNode()->LoadFromStream(AStream, 0);
    AResult = true;
  });
}

HRESULT TVnDOMNodeImpl::loadFromStream(IStream *AStream, bool &AResult) {
  AResult = false;
  return SafecallInvoke(this, [&] {
    TVnDOMNode *self = DOMNode();
    if (!AStream) throw EVnDomException(cStreamContents);
    // All of the stream, from its start, into memory; a stream that gives fewer or more bytes
    // than it reports is refused.
    TStatStg stat;
    UInt64 pos = 0;
    if (AStream->Stat(stat, 1) < 0 || AStream->Seek(0, STREAM_SEEK_SET, &pos) < 0)
      throw EVnDomException(cStreamContents);
    Owned<TMemoryStream> memory = MakeOwned<TMemoryStream>();
    Byte buffer[65536];
    for (;;) {
      LongWord got = 0;
      const HRESULT hr = AStream->Read(buffer, sizeof buffer, &got);
      if (hr < 0) throw EVnDomException(cStreamContents);
      if (got == 0) break;
      memory->WriteBuffer(buffer, got);
      if (static_cast<UInt64>(memory->GetSize()) > stat.cbSize) break;
    }
    if (static_cast<UInt64>(memory->GetSize()) != stat.cbSize)
      throw EVnDomException(cStreamContents);
    memory->SetPosition(0);
    self->LoadFromStream(memory.get(), 65001);
    AResult = true;
  });
}

HRESULT TVnDOMNodeImpl::loadxml(const DOMString &AValue, bool &AResult) {
  AResult = false;
  return SafecallInvoke(this, [&] { CheckSafecallResult(load(Variant(AValue), AResult)); });
}

HRESULT TVnDOMNodeImpl::save(const Variant &ADestination) {
  return SafecallInvoke(this, [&] {
    // The markup goes to a copy of the argument only: neither the caller nor any file sees it.
    Variant destination = ADestination;
    destination = Variant(DOMNode()->GetXML());
  });
}

HRESULT TVnDOMNodeImpl::saveToStream(TStream *AStream) {
  return SafecallInvoke(this, [&] {
    TVnDOMNode *self = DOMNode();
    if (!AStream) throw EArgumentNilException(cNilStream);
    Word codePage = 65001;
    if (auto *doc = dynamic_cast<TVnDOMDocument *>(self->GetDOMDocument()))
      codePage = VnCodePage(doc->GetEncoding());
    self->SaveToStream(AStream, codePage, false);
  });
}

HRESULT TVnDOMNodeImpl::set_OnAsyncLoad(TObject *, TAsyncEventHandler AEventHandler) {
  FEventHandler = std::move(AEventHandler);
  return S_OK;
}

// ---------------------------------------------------------------------------------------------
// IDOMNodeList, IDOMNamedNodeMap

HRESULT TVnDOMNodeListImpl::get_item(Integer AIndex, DelphiInterface<IDOMNode> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] { AResult = VnDOMIntf<IDOMNode>(DOMList()->GetItem(AIndex)); });
}

HRESULT TVnDOMNodeListImpl::get_length(Integer &AResult) {
  AResult = 0;
  return SafecallInvoke(this, [&] { AResult = DOMList()->Count(); });
}

HRESULT TVnDOMNodeListImpl::getNamedItem(const DOMString &AName,
                                         DelphiInterface<IDOMNode> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    AResult = VnDOMIntf<IDOMNode>(DOMList()->Find(AName, {soRaise, soQualifiedName}));
  });
}

HRESULT TVnDOMNodeListImpl::setNamedItem(IDOMNode *ANode, DelphiInterface<IDOMNode> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    TVnDOMNodeListBase *list = DOMList();
    TVnDOMNode *node = ArgNode(ANode);
    // A list of one kind of a node's children (its attributes, say) holds plain pointers: a node
    // that is not a child of that node could be freed while the list still names it.
    if (node && !list->CanHoldNamedItem(node)) throw EVnDomException(cNotOwnersChild);
    list->Add(node, rdpLast);
  });
}

HRESULT TVnDOMNodeListImpl::removeNamedItem(const DOMString &AName,
                                            DelphiInterface<IDOMNode> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(
      this, [&] { AResult = VnDOMIntf<IDOMNode>(DOMList()->Delete(AName, {soQualifiedName})); });
}

HRESULT TVnDOMNodeListImpl::getNamedItemNS(const DOMString &ANamespaceURI,
                                           const DOMString &ALocalName,
                                           DelphiInterface<IDOMNode> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(
      this, [&] { AResult = VnDOMIntf<IDOMNode>(DOMList()->Find(ANamespaceURI, ALocalName)); });
}

HRESULT TVnDOMNodeListImpl::setNamedItemNS(IDOMNode *ANode, DelphiInterface<IDOMNode> &AResult) {
  return setNamedItem(ANode, AResult);
}

HRESULT TVnDOMNodeListImpl::removeNamedItemNS(const DOMString &ANamespaceURI,
                                              const DOMString &ALocalName,
                                              DelphiInterface<IDOMNode> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(
      this, [&] { AResult = VnDOMIntf<IDOMNode>(DOMList()->Delete(ANamespaceURI, ALocalName)); });
}

// ---------------------------------------------------------------------------------------------
// IDOMCharacterData, IDOMText

HRESULT TVnDOMCharacterDataImpl::get_data(DOMString &AResult) {
  AResult.clear();
  return SafecallInvoke(this, [&] { AResult = DOMCharacterData()->GetNodeValue(); });
}

HRESULT TVnDOMCharacterDataImpl::set_data(const DOMString &AData) {
  return SafecallInvoke(this, [&] { DOMCharacterData()->SetNodeValue(AData); });
}

HRESULT TVnDOMCharacterDataImpl::get_length(Integer &AResult) {
  AResult = 0;
  return SafecallInvoke(
      this, [&] { AResult = static_cast<Integer>(DOMCharacterData()->GetNodeValue().size()); });
}

HRESULT TVnDOMCharacterDataImpl::substringData(Integer AOffset, Integer ACount,
                                               DOMString &AResult) {
  AResult.clear();
  return SafecallInvoke(this, [&] { AResult = DOMCharacterData()->Substring(AOffset, ACount); });
}

HRESULT TVnDOMCharacterDataImpl::appendData(const DOMString &AData) {
  return SafecallInvoke(this, [&] { DOMCharacterData()->AppendStr(AData); });
}

HRESULT TVnDOMCharacterDataImpl::insertData(Integer AOffset, const DOMString &AData) {
  return SafecallInvoke(this, [&] { DOMCharacterData()->InsertStr(AOffset, AData); });
}

HRESULT TVnDOMCharacterDataImpl::deleteData(Integer AOffset, Integer ACount) {
  return SafecallInvoke(this, [&] { DOMCharacterData()->DeleteStr(AOffset, ACount); });
}

HRESULT TVnDOMCharacterDataImpl::replaceData(Integer AOffset, Integer ACount,
                                             const DOMString &AData) {
  return SafecallInvoke(this, [&] { DOMCharacterData()->ReplaceStr(AOffset, ACount, AData); });
}

HRESULT TVnDOMTextImpl::splitText(Integer AOffset, DelphiInterface<IDOMText> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    auto *text = static_cast<TVnDOMText *>(DOMCharacterData());
    AResult = VnDOMIntf<IDOMText>(text->SplitText(AOffset));
  });
}

// ---------------------------------------------------------------------------------------------
// IDOMAttr, IDOMProcessingInstruction

HRESULT TVnDOMAttributeImpl::get_name(DOMString &AResult) {
  AResult.clear();
  return SafecallInvoke(this, [&] { AResult = DOMAttribute()->GetQualifiedName(); });
}

HRESULT TVnDOMAttributeImpl::get_specified(bool &AResult) {
  AResult = true;
  return S_OK;
}

HRESULT TVnDOMAttributeImpl::get_value(DOMString &AResult) {
  AResult.clear();
  return SafecallInvoke(this, [&] { AResult = DOMAttribute()->GetNodeValue(); });
}

HRESULT TVnDOMAttributeImpl::set_value(const DOMString &AValue) {
  return SafecallInvoke(this, [&] { DOMAttribute()->SetNodeValue(AValue); });
}

HRESULT TVnDOMAttributeImpl::get_ownerElement(DelphiInterface<IDOMElement> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this,
                        [&] { AResult = VnDOMIntf<IDOMElement>(DOMAttribute()->ParentElement()); });
}

HRESULT TVnDOMProcessingInstructionImpl::get_target(DOMString &AResult) {
  AResult.clear();
  return SafecallInvoke(this, [&] { AResult = DOMProcessingInstruction()->GetQualifiedName(); });
}

HRESULT TVnDOMProcessingInstructionImpl::get_data(DOMString &AResult) {
  AResult.clear();
  return SafecallInvoke(this, [&] { AResult = DOMProcessingInstruction()->GetData(); });
}

HRESULT TVnDOMProcessingInstructionImpl::set_data(const DOMString &AData) {
  return SafecallInvoke(this, [&] { DOMProcessingInstruction()->SetData(AData); });
}

// ---------------------------------------------------------------------------------------------
// IDOMElement

HRESULT TVnDOMElementImpl::get_tagName(DOMString &AResult) {
  AResult.clear();
  return SafecallInvoke(this, [&] { AResult = DOMElement()->GetQualifiedName(); });
}

HRESULT TVnDOMElementImpl::getAttribute(const DOMString &AName, DOMString &AResult) {
  AResult.clear();
  return SafecallInvoke(this, [&] { AResult = DOMElement()->GetAttribute(AName); });
}

HRESULT TVnDOMElementImpl::setAttribute(const DOMString &AName, const DOMString &AValue) {
  return SafecallInvoke(this, [&] { DOMElement()->SetAttribute(AName, AValue); });
}

HRESULT TVnDOMElementImpl::removeAttribute(const DOMString &AName) {
  return SafecallInvoke(this, [&] { DOMElement()->RemoveAttribute(AName); });
}

HRESULT TVnDOMElementImpl::getAttributeNode(const DOMString &AName,
                                            DelphiInterface<IDOMAttr> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    AResult = VnDOMIntf<IDOMAttr>(DOMElement()->AttributeByName(AName, {soQualifiedName}, nullptr));
  });
}

HRESULT TVnDOMElementImpl::setAttributeNode(IDOMAttr *ANewAttr,
                                            DelphiInterface<IDOMAttr> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    TVnDOMElement *self = DOMElement();
    self->AddChild(ArgNode(ANewAttr), nullptr, rdpAfter);
  });
}

HRESULT TVnDOMElementImpl::removeAttributeNode(IDOMAttr *AOldAttr,
                                               DelphiInterface<IDOMAttr> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    TVnDOMElement *self = DOMElement();
    TVnDOMNode *node = ArgNode(AOldAttr);
    auto *attr = As<TVnDOMAttribute>(node);
    // The result keeps the attribute alive past its removal.
    AResult = VnDOMIntf<IDOMAttr>(attr);
    self->RemoveAttribute(attr);
  });
}

HRESULT TVnDOMElementImpl::getElementsByTagName(const DOMString &AName,
                                                DelphiInterface<IDOMNodeList> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(
      this, [&] { AResult = Adopt<IDOMNodeList>(DOMElement()->CreateElementList(AName, true)); });
}

HRESULT TVnDOMElementImpl::getAttributeNS(const DOMString &ANamespaceURI,
                                          const DOMString &ALocalName, DOMString &AResult) {
  AResult.clear();
  return SafecallInvoke(this,
                        [&] { AResult = DOMElement()->GetAttributeNS(ANamespaceURI, ALocalName); });
}

HRESULT TVnDOMElementImpl::setAttributeNS(const DOMString &ANamespaceURI,
                                          const DOMString &AQualifiedName,
                                          const DOMString &AValue) {
  return SafecallInvoke(
      this, [&] { DOMElement()->SetAttributeNS(ANamespaceURI, AQualifiedName, AValue); });
}

HRESULT TVnDOMElementImpl::removeAttributeNS(const DOMString &ANamespaceURI,
                                             const DOMString &ALocalName) {
  return SafecallInvoke(this, [&] { DOMElement()->RemoveAttribute(ANamespaceURI, ALocalName); });
}

HRESULT TVnDOMElementImpl::getAttributeNodeNS(const DOMString &ANamespaceURI,
                                              const DOMString &ALocalName,
                                              DelphiInterface<IDOMAttr> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    AResult = VnDOMIntf<IDOMAttr>(DOMElement()->AttributeByName(ANamespaceURI, ALocalName));
  });
}

HRESULT TVnDOMElementImpl::setAttributeNodeNS(IDOMAttr *ANewAttr,
                                              DelphiInterface<IDOMAttr> &AResult) {
  return setAttributeNode(ANewAttr, AResult);
}

HRESULT TVnDOMElementImpl::getElementsByTagNameNS(const DOMString &ANamespaceURI,
                                                  const DOMString &ALocalName,
                                                  DelphiInterface<IDOMNodeList> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    AResult = Adopt<IDOMNodeList>(DOMElement()->CreateElementList(ANamespaceURI, ALocalName, true));
  });
}

HRESULT TVnDOMElementImpl::hasAttribute(const DOMString &AName, bool &AResult) {
  AResult = false;
  return SafecallInvoke(this,
                        [&] { AResult = DOMElement()->HasAttribute(AName, {soQualifiedName}); });
}

HRESULT TVnDOMElementImpl::hasAttributeNS(const DOMString &ANamespaceURI,
                                          const DOMString &ALocalName, bool &AResult) {
  AResult = false;
  return SafecallInvoke(this,
                        [&] { AResult = DOMElement()->HasAttribute(ANamespaceURI, ALocalName); });
}

// ---------------------------------------------------------------------------------------------
// IDOMDocument, IDOMDocumentType

HRESULT TVnDOMDocumentImpl::get_doctype(DelphiInterface<IDOMDocumentType> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    DOMDocument();
    AResult = static_cast<IDOMDocumentType *>(this);
  });
}

HRESULT TVnDOMDocumentImpl::get_domImplementation(DelphiInterface<IDOMImplementation> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] { AResult = New<TVnDOMImplementation>(); });
}

HRESULT TVnDOMDocumentImpl::get_documentElement(DelphiInterface<IDOMElement> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this,
                        [&] { AResult = VnDOMIntf<IDOMElement>(DOMDocument()->GetRootNode()); });
}

HRESULT TVnDOMDocumentImpl::set_documentElement(IDOMElement *AElement) {
  return SafecallInvoke(this, [&] {
    TVnDOMDocument *self = DOMDocument();
    TVnDOMNode *node = ArgNode(AElement);
    self->SetDocumentElement(As<TVnDOMElement>(node));
  });
}

HRESULT TVnDOMDocumentImpl::createElement(const DOMString &ATagName,
                                          DelphiInterface<IDOMElement> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    DOMDocument();
    AResult = NewDetached<IDOMElement, TVnDOMElement>(
        [&](TVnDOMElement *e) { e->SetQualifiedName(ATagName); });
  });
}

HRESULT TVnDOMDocumentImpl::createDocumentFragment(DelphiInterface<IDOMDocumentFragment> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] { throw EVnDomNotSupported(cNoFragments); });
}

HRESULT TVnDOMDocumentImpl::createTextNode(const DOMString &AData,
                                           DelphiInterface<IDOMText> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    DOMDocument();
    AResult = NewDetached<IDOMText, TVnDOMText>([&](TVnDOMText *t) { t->SetNodeValue(AData); });
  });
}

HRESULT TVnDOMDocumentImpl::createComment(const DOMString &AData,
                                          DelphiInterface<IDOMComment> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    DOMDocument();
    AResult =
        NewDetached<IDOMComment, TVnDOMComment>([&](TVnDOMComment *c) { c->SetNodeValue(AData); });
  });
}

HRESULT TVnDOMDocumentImpl::createCDATASection(const DOMString &AData,
                                               DelphiInterface<IDOMCDATASection> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    DOMDocument();
    AResult =
        NewDetached<IDOMCDATASection, TVnDOMCDATA>([&](TVnDOMCDATA *c) { c->SetNodeValue(AData); });
  });
}

HRESULT TVnDOMDocumentImpl::createProcessingInstruction(
    const DOMString &ATarget, const DOMString &AData,
    DelphiInterface<IDOMProcessingInstruction> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    DOMDocument();
    AResult = NewDetached<IDOMProcessingInstruction, TVnDOMProcessingInstruction>(
        [&](TVnDOMProcessingInstruction *p) {
          p->SetQualifiedName(ATarget);
          p->SetData(AData);
        });
  });
}

HRESULT TVnDOMDocumentImpl::createAttribute(const DOMString &AName,
                                            DelphiInterface<IDOMAttr> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    DOMDocument();
    AResult = NewDetached<IDOMAttr, TVnDOMAttribute>(
        [&](TVnDOMAttribute *a) { a->SetQualifiedName(AName); });
  });
}

HRESULT TVnDOMDocumentImpl::createEntityReference(const DOMString &,
                                                  DelphiInterface<IDOMEntityReference> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] { throw EVnDomNotSupported(cNoEntityRefs); });
}

HRESULT TVnDOMDocumentImpl::getElementsByTagName(const DOMString &ATagName,
                                                 DelphiInterface<IDOMNodeList> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    if (TVnDOMElement *root = DOMDocument()->GetRootNode())
      AResult = Adopt<IDOMNodeList>(root->CreateElementList(ATagName, true));
  });
}

HRESULT TVnDOMDocumentImpl::importNode(IDOMNode *ANode, bool ADeep,
                                       DelphiInterface<IDOMNode> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    DOMDocument();
    TVnDOMNode *node = ArgNode(ANode);
    if (!node) throw EVnDomException(dom::cNilNode);
    AResult = Adopt<IDOMNode>(node->CloneNode(ADeep));
  });
}

HRESULT TVnDOMDocumentImpl::createElementNS(const DOMString &ANamespaceURI,
                                            const DOMString &AQualifiedName,
                                            DelphiInterface<IDOMElement> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    DOMDocument();
    AResult = NewDetached<IDOMElement, TVnDOMElement>([&](TVnDOMElement *e) {
      e->SetQualifiedName(AQualifiedName);
      e->SetNamespaceURI(ANamespaceURI);
    });
  });
}

HRESULT TVnDOMDocumentImpl::createAttributeNS(const DOMString &ANamespaceURI,
                                              const DOMString &AQualifiedName,
                                              DelphiInterface<IDOMAttr> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    DOMDocument();
    AResult = NewDetached<IDOMAttr, TVnDOMAttribute>([&](TVnDOMAttribute *a) {
      a->SetQualifiedName(AQualifiedName);
      a->SetNamespaceURI(ANamespaceURI);
    });
  });
}

HRESULT TVnDOMDocumentImpl::getElementsByTagNameNS(const DOMString &ANamespaceURI,
                                                   const DOMString &ALocalName,
                                                   DelphiInterface<IDOMNodeList> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    if (TVnDOMElement *root = DOMDocument()->GetRootNode())
      AResult = Adopt<IDOMNodeList>(root->CreateElementList(ANamespaceURI, ALocalName, true));
  });
}

HRESULT TVnDOMDocumentImpl::getElementById(const DOMString &AElementId,
                                           DelphiInterface<IDOMElement> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    DelphiInterface<IVnDOMElement> found =
        SelectSingleElement(Format(u"//@id=\"%s\"", {AElementId}), TVnDOMSelectOptions());
    if (found) AResult = IntfAs<IDOMElement>(found.get());
  });
}

HRESULT TVnDOMDocumentImpl::get_name(DOMString &AResult) {
  AResult.clear();
  return S_OK;
}

HRESULT TVnDOMDocumentImpl::get_entities(DelphiInterface<IDOMNamedNodeMap> &AResult) {
  AResult = nullptr;
  return S_OK;
}

HRESULT TVnDOMDocumentImpl::get_notations(DelphiInterface<IDOMNamedNodeMap> &AResult) {
  AResult = nullptr;
  return S_OK;
}

HRESULT TVnDOMDocumentImpl::get_publicId(DOMString &AResult) {
  AResult.clear();
  return S_OK;
}

HRESULT TVnDOMDocumentImpl::get_systemId(DOMString &AResult) {
  AResult.clear();
  return S_OK;
}

HRESULT TVnDOMDocumentImpl::get_internalSubset(DOMString &AResult) {
  AResult.clear();
  return S_OK;
}

// ---------------------------------------------------------------------------------------------
// The vendor and its implementation object

DOMString TVnDOMVendor::Description() {
  return cVnDOMVendorName;
}

DelphiInterface<IDOMImplementation> TVnDOMVendor::DOMImplementation() {
  return New<TVnDOMImplementation>();
}

HRESULT TVnDOMImplementation::hasFeature(const DOMString &AFeature, const DOMString &AVersion,
                                         bool &AResult) {
  AResult = SameText(AFeature, u"xml") && (AVersion == u"1.0" || AVersion == u"2.0");
  return S_OK;
}

HRESULT TVnDOMImplementation::createDocumentType(const DOMString &, const DOMString &,
                                                 const DOMString &,
                                                 DelphiInterface<IDOMDocumentType> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] { throw EVnDomNotSupported(cNotImplemented); });
}

HRESULT TVnDOMImplementation::createDocument(const DOMString &ANamespaceURI,
                                             const DOMString &AQualifiedName,
                                             IDOMDocumentType *ADocType,
                                             DelphiInterface<IDOMDocument> &AResult) {
  AResult = nullptr;
  return SafecallInvoke(this, [&] {
    if (ADocType) throw EVnDomNotSupported(cNoDocType);
    auto *doc = New<TVnDOMDocument>();
    DelphiInterface<IDOMDocument> result = Adopt<IDOMDocument>(doc);
    if (!Trim(AQualifiedName).empty()) {
      TVnDOMElement *root = doc->CreateRootNode(AQualifiedName);
      if (!Trim(ANamespaceURI).empty())
        root->SetAttribute(dom::DeclarationName(root->GetPrefix()), ANamespaceURI);
    }
    AResult = std::move(result);
  });
}

// ---------------------------------------------------------------------------------------------
// Free routines

DelphiInterface<IVnDOMDocument> VnCreateDOM(const UnicodeString &AXML) {
  return Adopt<IVnDOMDocument>(TVnDOMDocument::CreateFromXML(AXML));
}

DelphiInterface<IDOMDocument> VnCreateDOM(const UnicodeString &AVendor,
                                          const UnicodeString &ANamespaceURI,
                                          const UnicodeString &AName) {
  DelphiInterface<IDOMDocument> doc =
      GetDOM(AVendor)->createDocument(ANamespaceURI, AName, nullptr);
  if (!doc->documentElement()) {
    DelphiInterface<IDOMElement> root = doc->createElementNS(ANamespaceURI, AName);
    CheckSafecallResult(doc->set_documentElement(root));
  }
  return doc;
}

namespace {
// The owner document of a parent given through the generic interfaces.
DelphiInterface<IDOMDocument> OwnerOf(IDOMElement *AParent) {
  if (!AParent) throw EVnDomException(dom::cNilNode);
  DelphiInterface<IDOMDocument> doc = AParent->ownerDocument();
  if (!doc) throw EVnDomException(cNoOwnerDocument);
  return doc;
}

template <class I>
DelphiInterface<I> AppendTo(IDOMElement *AParent, DelphiInterface<I> ANode) {
  AParent->appendChild(ANode.get());
  return ANode;
}
}  // namespace

DelphiInterface<IDOMElement> VnAddElement(IDOMElement *AParent, const UnicodeString &AName) {
  return AppendTo(AParent, OwnerOf(AParent)->createElement(AName));
}

DelphiInterface<IDOMElement> VnAddElement(IDOMElement *AParent, const UnicodeString &ANamespaceURI,
                                          const UnicodeString &AName) {
  return AppendTo(AParent, OwnerOf(AParent)->createElementNS(ANamespaceURI, AName));
}

DelphiInterface<IDOMAttr> VnAddAttribute(IDOMElement *AParent, const UnicodeString &AName) {
  DelphiInterface<IDOMAttr> attr = OwnerOf(AParent)->createAttribute(AName);
  AParent->setAttributeNode(attr);
  return attr;
}

DelphiInterface<IDOMAttr> VnAddAttribute(IDOMElement *AParent, const UnicodeString &ANamespaceURI,
                                         const UnicodeString &AName) {
  DelphiInterface<IDOMAttr> attr = OwnerOf(AParent)->createAttributeNS(ANamespaceURI, AName);
  AParent->setAttributeNode(attr);
  return attr;
}

DelphiInterface<IDOMText> VnAddText(IDOMElement *AParent, const UnicodeString &AText) {
  return AppendTo(AParent, OwnerOf(AParent)->createTextNode(AText));
}

DelphiInterface<IDOMCDATASection> VnAddCDATA(IDOMElement *AParent, const UnicodeString &AText) {
  return AppendTo(AParent, OwnerOf(AParent)->createCDATASection(AText));
}

DelphiInterface<IDOMComment> VnAddComment(IDOMElement *AParent, const UnicodeString &AText) {
  return AppendTo(AParent, OwnerOf(AParent)->createComment(AText));
}

UnicodeString VnFormatXML(IDOMDocument *ADocument) {
  if (!ADocument) throw EArgumentNilException(dom::cNilNode);
  DelphiInterface<IDOMNodeEx> node = IntfAs<IDOMNodeEx>(ADocument);
  return VnFormatXML(node->text());
}

// ---------------------------------------------------------------------------------------------
// Start-up: the vendor and the two document hooks of the support layer.

namespace {

DelphiInterface<IInterface> CreateXMLDocHook(const UnicodeString &AXML) {
  DelphiInterface<IVnDOMDocument> doc = VnCreateDOM(AXML);
  return DelphiInterface<IInterface>(doc.get());
}

Variant GetXMLDocValueHook(IInterface *ADocument, const UnicodeString &APath) {
  if (!ADocument) throw EArgumentNilException(dom::cNilNode);
  DelphiInterface<IVnDOMDocument> doc = IntfAs<IVnDOMDocument>(ADocument);
  DelphiInterface<IVnDOMElement> found =
      doc->SelectSingleElement(APath, {soCaseInsensitive, soLocalName});
  return found ? found->GetAsVariant() : Variant();
}

struct THostStartUp {
  TVnDOMVendor *Vendor = nullptr;
  THostStartUp() {
    if (!DOMVendors().Find(cVnDOMVendorName)) {
      Vendor = New<TVnDOMVendor>();
      RegisterDOMVendor(Vendor);
    }
    SetCreateXMLDoc(&CreateXMLDocHook);
    SetGetXMLDocValue(&GetXMLDocValueHook);
  }
  ~THostStartUp() {
    SetCreateXMLDoc(nullptr);
    SetGetXMLDocValue(nullptr);
    if (Vendor) {
      UnRegisterDOMVendor(Vendor);
      Vendor->Free();
    }
  }
};

}  // namespace

void VnXMLDOMHostStartUp() {
  static THostStartUp startUp;
}

}  // namespace vn
