// The generic XML DOM interfaces (the W3C DOM level 2 core, IDOMNode and its family) and the
// registry of the vendors that implement them.
//
// Code written against these interfaces runs on whichever vendor's DOM it is given: it asks the
// registry for a vendor by its description (GetDOM), and the vendor's IDOMImplementation makes
// documents. This layer knows no vendor; the library's own tree registers itself as "Vornell"
// (uVnXMLDOM.h).
//
// Every operation is of the failure-by-result kind: it answers S_OK, or a failure result
// (E_UNEXPECTED, 0x8000FFFF, when the implementor knows no better one) instead of raising, and
// sets its out arguments to null or empty first. Each interface carries checked forms beside
// the raw ones for the operations that give a value: `node->nodeName()` answers the name or
// raises ESafecallException; operations without a value are checked by hand,
// `CheckSafecallResult(node->normalize())`.
//
// Node arguments are raw interface pointers on which the caller holds a reference.
#pragma once

#include <functional>
#include <vector>

#include "vnxml/rtl/Classes.h"
#include "vnxml/rtl/Interface.h"
#include "vnxml/rtl/SysUtils.h"
#include "vnxml/rtl/Variant.h"

namespace vn {

using DOMString = WideString;
using DOMNodeType = Word;

// The node types, numbered as the W3C numbers them.
constexpr DOMNodeType ELEMENT_NODE = 1;
constexpr DOMNodeType ATTRIBUTE_NODE = 2;
constexpr DOMNodeType TEXT_NODE = 3;
constexpr DOMNodeType CDATA_SECTION_NODE = 4;
constexpr DOMNodeType ENTITY_REFERENCE_NODE = 5;
constexpr DOMNodeType ENTITY_NODE = 6;
constexpr DOMNodeType PROCESSING_INSTRUCTION_NODE = 7;
constexpr DOMNodeType COMMENT_NODE = 8;
constexpr DOMNodeType DOCUMENT_NODE = 9;
constexpr DOMNodeType DOCUMENT_TYPE_NODE = 10;
constexpr DOMNodeType DOCUMENT_FRAGMENT_NODE = 11;
constexpr DOMNodeType NOTATION_NODE = 12;

// The handler of asynchronous loads (IDOMPersist::set_OnAsyncLoad).
using TAsyncEventHandler = std::function<void(TObject *ASender, Integer AAsyncLoadState)>;

class IDOMImplementation;
class IDOMNode;
class IDOMNodeList;
class IDOMNamedNodeMap;
class IDOMCharacterData;
class IDOMAttr;
class IDOMElement;
class IDOMText;
class IDOMComment;
class IDOMCDATASection;
class IDOMDocumentType;
class IDOMEntityReference;
class IDOMProcessingInstruction;
class IDOMDocumentFragment;
class IDOMDocument;

// The checked form of a getter: `Type Name()` calls get_Name and raises on a failure.
#define VN_DOM_CHECKED_GET(Type, Name)              \
  Type Name() {                                     \
    Type r{};                                       \
    ::vn::CheckSafecallResult(this->get_##Name(r)); \
    return r;                                       \
  }

// A node of a generic DOM tree: its name, value, kin and the editing of its children.
class IDOMNode : public IInterface {
  VN_INTERFACE(IDOMNode, IInterface, "{C26325C3-A4B8-4474-853B-8E238F34EFAE}")
 public:
  virtual HRESULT get_nodeName(DOMString &AResult) = 0;
  virtual HRESULT get_nodeValue(DOMString &AResult) = 0;
  virtual HRESULT set_nodeValue(const DOMString &AValue) = 0;
  virtual HRESULT get_nodeType(DOMNodeType &AResult) = 0;
  virtual HRESULT get_parentNode(DelphiInterface<IDOMNode> &AResult) = 0;
  virtual HRESULT get_childNodes(DelphiInterface<IDOMNodeList> &AResult) = 0;
  virtual HRESULT get_firstChild(DelphiInterface<IDOMNode> &AResult) = 0;
  virtual HRESULT get_lastChild(DelphiInterface<IDOMNode> &AResult) = 0;
  virtual HRESULT get_previousSibling(DelphiInterface<IDOMNode> &AResult) = 0;
  virtual HRESULT get_nextSibling(DelphiInterface<IDOMNode> &AResult) = 0;
  virtual HRESULT get_attributes(DelphiInterface<IDOMNamedNodeMap> &AResult) = 0;
  virtual HRESULT get_ownerDocument(DelphiInterface<IDOMDocument> &AResult) = 0;
  virtual HRESULT get_namespaceURI(DOMString &AResult) = 0;
  virtual HRESULT get_prefix(DOMString &AResult) = 0;
  virtual HRESULT get_localName(DOMString &AResult) = 0;
  virtual HRESULT insertBefore(IDOMNode *ANewChild, IDOMNode *ARefChild,
                               DelphiInterface<IDOMNode> &AResult) = 0;
  virtual HRESULT replaceChild(IDOMNode *ANewChild, IDOMNode *AOldChild,
                               DelphiInterface<IDOMNode> &AResult) = 0;
  virtual HRESULT removeChild(IDOMNode *AChild, DelphiInterface<IDOMNode> &AResult) = 0;
  virtual HRESULT appendChild(IDOMNode *ANewChild, DelphiInterface<IDOMNode> &AResult) = 0;
  virtual HRESULT hasChildNodes(bool &AResult) = 0;
  virtual HRESULT cloneNode(bool ADeep, DelphiInterface<IDOMNode> &AResult) = 0;
  virtual HRESULT normalize() = 0;
  virtual HRESULT supports(const DOMString &AFeature, const DOMString &AVersion, bool &AResult) = 0;

  VN_DOM_CHECKED_GET(DOMString, nodeName)
  VN_DOM_CHECKED_GET(DOMString, nodeValue)
  VN_DOM_CHECKED_GET(DOMNodeType, nodeType)
  VN_DOM_CHECKED_GET(DelphiInterface<IDOMNode>, parentNode)
  VN_DOM_CHECKED_GET(DelphiInterface<IDOMNodeList>, childNodes)
  VN_DOM_CHECKED_GET(DelphiInterface<IDOMNode>, firstChild)
  VN_DOM_CHECKED_GET(DelphiInterface<IDOMNode>, lastChild)
  VN_DOM_CHECKED_GET(DelphiInterface<IDOMNode>, previousSibling)
  VN_DOM_CHECKED_GET(DelphiInterface<IDOMNode>, nextSibling)
  VN_DOM_CHECKED_GET(DelphiInterface<IDOMNamedNodeMap>, attributes)
  VN_DOM_CHECKED_GET(DelphiInterface<IDOMDocument>, ownerDocument)
  VN_DOM_CHECKED_GET(DOMString, namespaceURI)
  VN_DOM_CHECKED_GET(DOMString, prefix)
  VN_DOM_CHECKED_GET(DOMString, localName)
  DelphiInterface<IDOMNode> insertBefore(IDOMNode *ANewChild, IDOMNode *ARefChild);
  DelphiInterface<IDOMNode> replaceChild(IDOMNode *ANewChild, IDOMNode *AOldChild);
  DelphiInterface<IDOMNode> removeChild(IDOMNode *AChild);
  DelphiInterface<IDOMNode> appendChild(IDOMNode *ANewChild);
  bool hasChildNodes();
  DelphiInterface<IDOMNode> cloneNode(bool ADeep);
};

// An ordered list of nodes, read by index.
class IDOMNodeList : public IInterface {
  VN_INTERFACE(IDOMNodeList, IInterface, "{88EE5DFB-7EB3-4398-BF06-6B50B8B1093A}")
 public:
  virtual HRESULT get_item(Integer AIndex, DelphiInterface<IDOMNode> &AResult) = 0;
  virtual HRESULT get_length(Integer &AResult) = 0;

  DelphiInterface<IDOMNode> item(Integer AIndex);
  VN_DOM_CHECKED_GET(Integer, length)
};

// Nodes read by name or index: an element's attributes, a document type's entities.
class IDOMNamedNodeMap : public IInterface {
  VN_INTERFACE(IDOMNamedNodeMap, IInterface, "{DB93A76E-0517-47BF-B584-376D399E2FD4}")
 public:
  virtual HRESULT get_item(Integer AIndex, DelphiInterface<IDOMNode> &AResult) = 0;
  virtual HRESULT get_length(Integer &AResult) = 0;
  virtual HRESULT getNamedItem(const DOMString &AName, DelphiInterface<IDOMNode> &AResult) = 0;
  virtual HRESULT setNamedItem(IDOMNode *ANode, DelphiInterface<IDOMNode> &AResult) = 0;
  virtual HRESULT removeNamedItem(const DOMString &AName, DelphiInterface<IDOMNode> &AResult) = 0;
  virtual HRESULT getNamedItemNS(const DOMString &ANamespaceURI, const DOMString &ALocalName,
                                 DelphiInterface<IDOMNode> &AResult) = 0;
  virtual HRESULT setNamedItemNS(IDOMNode *ANode, DelphiInterface<IDOMNode> &AResult) = 0;
  virtual HRESULT removeNamedItemNS(const DOMString &ANamespaceURI, const DOMString &ALocalName,
                                    DelphiInterface<IDOMNode> &AResult) = 0;

  DelphiInterface<IDOMNode> item(Integer AIndex);
  VN_DOM_CHECKED_GET(Integer, length)
  DelphiInterface<IDOMNode> getNamedItem(const DOMString &AName);
  DelphiInterface<IDOMNode> getNamedItemNS(const DOMString &ANamespaceURI,
                                           const DOMString &ALocalName);
};

// A node that holds text: its data and the editing of ranges of it.
class IDOMCharacterData : public virtual IDOMNode {
  VN_INTERFACE(IDOMCharacterData, IDOMNode, "{EA6A442D-7EA3-4408-8BFE-5DF493D5B88B}")
 public:
  virtual HRESULT get_data(DOMString &AResult) = 0;
  virtual HRESULT set_data(const DOMString &AData) = 0;
  virtual HRESULT get_length(Integer &AResult) = 0;
  virtual HRESULT substringData(Integer AOffset, Integer ACount, DOMString &AResult) = 0;
  virtual HRESULT appendData(const DOMString &AData) = 0;
  virtual HRESULT insertData(Integer AOffset, const DOMString &AData) = 0;
  virtual HRESULT deleteData(Integer AOffset, Integer ACount) = 0;
  virtual HRESULT replaceData(Integer AOffset, Integer ACount, const DOMString &AData) = 0;

  VN_DOM_CHECKED_GET(DOMString, data)
  VN_DOM_CHECKED_GET(Integer, length)
  DOMString substringData(Integer AOffset, Integer ACount);
};

// An attribute: its name, value and the element that holds it.
class IDOMAttr : public virtual IDOMNode {
  VN_INTERFACE(IDOMAttr, IDOMNode, "{118EE771-79FD-4EDA-B914-8AEC55B7B5D3}")
 public:
  virtual HRESULT get_name(DOMString &AResult) = 0;
  virtual HRESULT get_specified(bool &AResult) = 0;
  virtual HRESULT get_value(DOMString &AResult) = 0;
  virtual HRESULT set_value(const DOMString &AValue) = 0;
  virtual HRESULT get_ownerElement(DelphiInterface<IDOMElement> &AResult) = 0;

  VN_DOM_CHECKED_GET(DOMString, name)
  VN_DOM_CHECKED_GET(bool, specified)
  VN_DOM_CHECKED_GET(DOMString, value)
  VN_DOM_CHECKED_GET(DelphiInterface<IDOMElement>, ownerElement)
};

// An element: its tag name, its attributes and the elements below it by name.
class IDOMElement : public virtual IDOMNode {
  VN_INTERFACE(IDOMElement, IDOMNode, "{A0670DB0-4EBC-40EF-9DA1-F683E6A5D33B}")
 public:
  virtual HRESULT get_tagName(DOMString &AResult) = 0;
  virtual HRESULT getAttribute(const DOMString &AName, DOMString &AResult) = 0;
  virtual HRESULT setAttribute(const DOMString &AName, const DOMString &AValue) = 0;
  virtual HRESULT removeAttribute(const DOMString &AName) = 0;
  virtual HRESULT getAttributeNode(const DOMString &AName, DelphiInterface<IDOMAttr> &AResult) = 0;
  virtual HRESULT setAttributeNode(IDOMAttr *ANewAttr, DelphiInterface<IDOMAttr> &AResult) = 0;
  virtual HRESULT removeAttributeNode(IDOMAttr *AOldAttr, DelphiInterface<IDOMAttr> &AResult) = 0;
  virtual HRESULT getElementsByTagName(const DOMString &AName,
                                       DelphiInterface<IDOMNodeList> &AResult) = 0;
  virtual HRESULT getAttributeNS(const DOMString &ANamespaceURI, const DOMString &ALocalName,
                                 DOMString &AResult) = 0;
  virtual HRESULT setAttributeNS(const DOMString &ANamespaceURI, const DOMString &AQualifiedName,
                                 const DOMString &AValue) = 0;
  virtual HRESULT removeAttributeNS(const DOMString &ANamespaceURI,
                                    const DOMString &ALocalName) = 0;
  virtual HRESULT getAttributeNodeNS(const DOMString &ANamespaceURI, const DOMString &ALocalName,
                                     DelphiInterface<IDOMAttr> &AResult) = 0;
  virtual HRESULT setAttributeNodeNS(IDOMAttr *ANewAttr, DelphiInterface<IDOMAttr> &AResult) = 0;
  virtual HRESULT getElementsByTagNameNS(const DOMString &ANamespaceURI,
                                         const DOMString &ALocalName,
                                         DelphiInterface<IDOMNodeList> &AResult) = 0;
  virtual HRESULT hasAttribute(const DOMString &AName, bool &AResult) = 0;
  virtual HRESULT hasAttributeNS(const DOMString &ANamespaceURI, const DOMString &ALocalName,
                                 bool &AResult) = 0;

  VN_DOM_CHECKED_GET(DOMString, tagName)
  DOMString getAttribute(const DOMString &AName);
  DelphiInterface<IDOMAttr> getAttributeNode(const DOMString &AName);
  DelphiInterface<IDOMAttr> setAttributeNode(IDOMAttr *ANewAttr);
  DelphiInterface<IDOMAttr> removeAttributeNode(IDOMAttr *AOldAttr);
  DelphiInterface<IDOMNodeList> getElementsByTagName(const DOMString &AName);
  DOMString getAttributeNS(const DOMString &ANamespaceURI, const DOMString &ALocalName);
  DelphiInterface<IDOMAttr> getAttributeNodeNS(const DOMString &ANamespaceURI,
                                               const DOMString &ALocalName);
  DelphiInterface<IDOMAttr> setAttributeNodeNS(IDOMAttr *ANewAttr);
  DelphiInterface<IDOMNodeList> getElementsByTagNameNS(const DOMString &ANamespaceURI,
                                                       const DOMString &ALocalName);
  bool hasAttribute(const DOMString &AName);
  bool hasAttributeNS(const DOMString &ANamespaceURI, const DOMString &ALocalName);
};

// A text node, which can be split in two.
class IDOMText : public virtual IDOMCharacterData {
  VN_INTERFACE(IDOMText, IDOMCharacterData, "{E64A5828-A1E1-41C3-A5BC-F90B683A61D1}")
 public:
  virtual HRESULT splitText(Integer AOffset, DelphiInterface<IDOMText> &AResult) = 0;

  DelphiInterface<IDOMText> splitText(Integer AOffset);
};

// A comment.
class IDOMComment : public virtual IDOMCharacterData {
  VN_INTERFACE(IDOMComment, IDOMCharacterData, "{9D1F9502-876B-40CC-9941-2B418466589E}")
};

// A CDATA section.
class IDOMCDATASection : public virtual IDOMText {
  VN_INTERFACE(IDOMCDATASection, IDOMText, "{DE102B11-7DA7-42DD-8D25-36BB0F094816}")
};

// A document type declaration: its name, entities, notations and identifiers.
class IDOMDocumentType : public virtual IDOMNode {
  VN_INTERFACE(IDOMDocumentType, IDOMNode, "{9679321F-D913-4932-B5D0-9F2EF70D57D8}")
 public:
  virtual HRESULT get_name(DOMString &AResult) = 0;
  virtual HRESULT get_entities(DelphiInterface<IDOMNamedNodeMap> &AResult) = 0;
  virtual HRESULT get_notations(DelphiInterface<IDOMNamedNodeMap> &AResult) = 0;
  virtual HRESULT get_publicId(DOMString &AResult) = 0;
  virtual HRESULT get_systemId(DOMString &AResult) = 0;
  virtual HRESULT get_internalSubset(DOMString &AResult) = 0;

  VN_DOM_CHECKED_GET(DOMString, name)
  VN_DOM_CHECKED_GET(DelphiInterface<IDOMNamedNodeMap>, entities)
  VN_DOM_CHECKED_GET(DelphiInterface<IDOMNamedNodeMap>, notations)
  VN_DOM_CHECKED_GET(DOMString, publicId)
  VN_DOM_CHECKED_GET(DOMString, systemId)
  VN_DOM_CHECKED_GET(DOMString, internalSubset)
};

// A notation declared in the document type.
class IDOMNotation : public virtual IDOMNode {
  VN_INTERFACE(IDOMNotation, IDOMNode, "{9A62AA95-8C37-48E5-BE24-B8A754DF92D6}")
 public:
  virtual HRESULT get_publicId(DOMString &AResult) = 0;
  virtual HRESULT get_systemId(DOMString &AResult) = 0;
};

// An entity declared in the document type.
class IDOMEntity : public virtual IDOMNode {
  VN_INTERFACE(IDOMEntity, IDOMNode, "{F1A0F7D3-DDD4-4FA2-801D-DF941FF935FD}")
 public:
  virtual HRESULT get_publicId(DOMString &AResult) = 0;
  virtual HRESULT get_systemId(DOMString &AResult) = 0;
  virtual HRESULT get_notationName(DOMString &AResult) = 0;
};

// A reference to an entity.
class IDOMEntityReference : public virtual IDOMNode {
  VN_INTERFACE(IDOMEntityReference, IDOMNode, "{8C244B34-BC3F-4ECA-975D-52C20EFB8F7A}")
};

// A processing instruction: its target and data.
class IDOMProcessingInstruction : public virtual IDOMNode {
  VN_INTERFACE(IDOMProcessingInstruction, IDOMNode, "{016D21B8-F81F-4017-8E73-C7B5C275DE4C}")
 public:
  virtual HRESULT get_target(DOMString &AResult) = 0;
  virtual HRESULT get_data(DOMString &AResult) = 0;
  virtual HRESULT set_data(const DOMString &AData) = 0;

  VN_DOM_CHECKED_GET(DOMString, target)
  VN_DOM_CHECKED_GET(DOMString, data)
};

// A document fragment: nodes without a document element.
class IDOMDocumentFragment : public virtual IDOMNode {
  VN_INTERFACE(IDOMDocumentFragment, IDOMNode, "{AAB620E9-4723-476C-8617-90F655BA5458}")
};

// A document: the top of a tree and the factory of its nodes.
class IDOMDocument : public virtual IDOMNode {
  VN_INTERFACE(IDOMDocument, IDOMNode, "{7FABF647-E656-4588-A03A-2EB744326FFC}")
 public:
  virtual HRESULT get_doctype(DelphiInterface<IDOMDocumentType> &AResult) = 0;
  virtual HRESULT get_domImplementation(DelphiInterface<IDOMImplementation> &AResult) = 0;
  virtual HRESULT get_documentElement(DelphiInterface<IDOMElement> &AResult) = 0;
  virtual HRESULT set_documentElement(IDOMElement *AElement) = 0;
  virtual HRESULT createElement(const DOMString &ATagName,
                                DelphiInterface<IDOMElement> &AResult) = 0;
  virtual HRESULT createDocumentFragment(DelphiInterface<IDOMDocumentFragment> &AResult) = 0;
  virtual HRESULT createTextNode(const DOMString &AData, DelphiInterface<IDOMText> &AResult) = 0;
  virtual HRESULT createComment(const DOMString &AData, DelphiInterface<IDOMComment> &AResult) = 0;
  virtual HRESULT createCDATASection(const DOMString &AData,
                                     DelphiInterface<IDOMCDATASection> &AResult) = 0;
  virtual HRESULT createProcessingInstruction(
      const DOMString &ATarget, const DOMString &AData,
      DelphiInterface<IDOMProcessingInstruction> &AResult) = 0;
  virtual HRESULT createAttribute(const DOMString &AName, DelphiInterface<IDOMAttr> &AResult) = 0;
  virtual HRESULT createEntityReference(const DOMString &AName,
                                        DelphiInterface<IDOMEntityReference> &AResult) = 0;
  virtual HRESULT getElementsByTagName(const DOMString &ATagName,
                                       DelphiInterface<IDOMNodeList> &AResult) = 0;
  virtual HRESULT importNode(IDOMNode *ANode, bool ADeep, DelphiInterface<IDOMNode> &AResult) = 0;
  virtual HRESULT createElementNS(const DOMString &ANamespaceURI, const DOMString &AQualifiedName,
                                  DelphiInterface<IDOMElement> &AResult) = 0;
  virtual HRESULT createAttributeNS(const DOMString &ANamespaceURI, const DOMString &AQualifiedName,
                                    DelphiInterface<IDOMAttr> &AResult) = 0;
  virtual HRESULT getElementsByTagNameNS(const DOMString &ANamespaceURI,
                                         const DOMString &ALocalName,
                                         DelphiInterface<IDOMNodeList> &AResult) = 0;
  virtual HRESULT getElementById(const DOMString &AElementId,
                                 DelphiInterface<IDOMElement> &AResult) = 0;

  VN_DOM_CHECKED_GET(DelphiInterface<IDOMDocumentType>, doctype)
  VN_DOM_CHECKED_GET(DelphiInterface<IDOMImplementation>, domImplementation)
  VN_DOM_CHECKED_GET(DelphiInterface<IDOMElement>, documentElement)
  DelphiInterface<IDOMElement> createElement(const DOMString &ATagName);
  DelphiInterface<IDOMText> createTextNode(const DOMString &AData);
  DelphiInterface<IDOMComment> createComment(const DOMString &AData);
  DelphiInterface<IDOMCDATASection> createCDATASection(const DOMString &AData);
  DelphiInterface<IDOMProcessingInstruction> createProcessingInstruction(const DOMString &ATarget,
                                                                         const DOMString &AData);
  DelphiInterface<IDOMAttr> createAttribute(const DOMString &AName);
  DelphiInterface<IDOMNodeList> getElementsByTagName(const DOMString &ATagName);
  DelphiInterface<IDOMNode> importNode(IDOMNode *ANode, bool ADeep);
  DelphiInterface<IDOMElement> createElementNS(const DOMString &ANamespaceURI,
                                               const DOMString &AQualifiedName);
  DelphiInterface<IDOMAttr> createAttributeNS(const DOMString &ANamespaceURI,
                                              const DOMString &AQualifiedName);
  DelphiInterface<IDOMNodeList> getElementsByTagNameNS(const DOMString &ANamespaceURI,
                                                       const DOMString &ALocalName);
  DelphiInterface<IDOMElement> getElementById(const DOMString &AElementId);
};

// A vendor's implementation: its features, and the making of documents and document types.
class IDOMImplementation : public IInterface {
  VN_INTERFACE(IDOMImplementation, IInterface, "{C03B2B9B-7880-4D02-911F-F0490C228989}")
 public:
  virtual HRESULT hasFeature(const DOMString &AFeature, const DOMString &AVersion,
                             bool &AResult) = 0;
  virtual HRESULT createDocumentType(const DOMString &AQualifiedName, const DOMString &APublicId,
                                     const DOMString &ASystemId,
                                     DelphiInterface<IDOMDocumentType> &AResult) = 0;
  virtual HRESULT createDocument(const DOMString &ANamespaceURI, const DOMString &AQualifiedName,
                                 IDOMDocumentType *ADocType,
                                 DelphiInterface<IDOMDocument> &AResult) = 0;

  bool hasFeature(const DOMString &AFeature, const DOMString &AVersion);
  DelphiInterface<IDOMDocument> createDocument(const DOMString &ANamespaceURI,
                                               const DOMString &AQualifiedName,
                                               IDOMDocumentType *ADocType);
};

// Extensions of a node beyond the W3C operations: its text, its markup and style sheets.
class IDOMNodeEx : public virtual IDOMNode {
  VN_INTERFACE(IDOMNodeEx, IDOMNode, "{CBE84D1A-6746-4B05-B678-F4440718E59F}")
 public:
  virtual HRESULT get_text(DOMString &AResult) = 0;
  virtual HRESULT set_text(const DOMString &AText) = 0;
  virtual HRESULT get_xml(DOMString &AResult) = 0;
  // The node transformed by the style sheet, as text or loaded into AOutput.
  virtual HRESULT transformNode(IDOMNode *AStyleSheet, WideString &AOutput) = 0;
  virtual HRESULT transformNode(IDOMNode *AStyleSheet, IDOMDocument *AOutput) = 0;

  VN_DOM_CHECKED_GET(DOMString, text)
  VN_DOM_CHECKED_GET(DOMString, xml)
};

// Selection of nodes by a path in the vendor's own dialect.
class IDOMNodeSelect : public IInterface {
  VN_INTERFACE(IDOMNodeSelect, IInterface, "{56038EAA-DD24-47A9-80AC-03101F86C73E}")
 public:
  virtual HRESULT selectNode(const DOMString &ANodePath, DelphiInterface<IDOMNode> &AResult) = 0;
  virtual HRESULT selectNodes(const DOMString &ANodePath,
                              DelphiInterface<IDOMNodeList> &AResult) = 0;

  DelphiInterface<IDOMNode> selectNode(const DOMString &ANodePath);
  DelphiInterface<IDOMNodeList> selectNodes(const DOMString &ANodePath);
};

// Loading and saving a node's markup.
class IDOMPersist : public IInterface {
  VN_INTERFACE(IDOMPersist, IInterface, "{7D9FDBD0-9B64-4D8F-8EB8-2FE30E5AD823}")
 public:
  virtual HRESULT get_xml(DOMString &AResult) = 0;
  virtual HRESULT asyncLoadState(Integer &AResult) = 0;
  // ASource: a file name or markup (a string Variant).
  virtual HRESULT load(const Variant &ASource, bool &AResult) = 0;
  virtual HRESULT loadFromStream(TStream *AStream, bool &AResult) = 0;
  virtual HRESULT loadFromStream(IStream *AStream, bool &AResult) = 0;
  virtual HRESULT loadxml(const DOMString &AValue, bool &AResult) = 0;
  virtual HRESULT save(const Variant &ADestination) = 0;
  virtual HRESULT saveToStream(TStream *AStream) = 0;
  virtual HRESULT set_OnAsyncLoad(TObject *ASender, TAsyncEventHandler AEventHandler) = 0;

  VN_DOM_CHECKED_GET(DOMString, xml)
  bool load(const Variant &ASource);
  bool loadFromStream(TStream *AStream);
  bool loadFromStream(IStream *AStream);
  bool loadxml(const DOMString &AValue);
};

// ---------------------------------------------------------------------------------------------
// Vendors

// Raised by the registry: no vendor of that description, or none registered at all.
class DOMException : public Exception {
  VN_EXCEPTION_CLASS(DOMException, Exception)
 public:
  using Exception::Exception;
};

// A DOM implementation that code can ask for by its description.
class TDOMVendor : public TObject {
  VN_CLASS(TDOMVendor, TObject)
 public:
  virtual DOMString Description() = 0;
  virtual DelphiInterface<IDOMImplementation> DOMImplementation() = 0;
};

// The registered vendors in the order of registration. The list does not own them: whoever
// registers a vendor unregisters and frees it. Safe for calls from several threads.
class TDOMVendorList {
 public:
  Integer Count() const;
  TDOMVendor *Vendors(Integer AIndex) const;
  // The first vendor with that description, ignoring ASCII case, or null.
  TDOMVendor *Find(const DOMString &AVendorDesc) const;
  void Add(TDOMVendor *AVendor);
  void Remove(TDOMVendor *AVendor);
};

TDOMVendorList &DOMVendors();
// The vendor GetDOM takes when it is given no description; empty: the first one registered.
extern DOMString DefaultDOMVendor;

void RegisterDOMVendor(TDOMVendor *AVendor);
void UnRegisterDOMVendor(TDOMVendor *AVendor);
// The vendor of that description (empty: DefaultDOMVendor, or the first registered); raises
// DOMException "No matching DOM vendor: \"%s\"", or "No DOM vendors are registered".
TDOMVendor *GetDOMVendor(const DOMString &AVendorDesc = u"");
// The vendor's DOMImplementation.
DelphiInterface<IDOMImplementation> GetDOM(const DOMString &AVendorDesc = u"");

}  // namespace vn

#undef VN_DOM_CHECKED_GET
