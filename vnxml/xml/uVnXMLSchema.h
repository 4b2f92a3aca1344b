// The schema-bound element: the base class of data-binding classes made from an XML Schema.
//
// A TVnXMLSchemaElement wraps one DOM element and knows from a table, filled by the binding
// class's constructor with AddSchemaInfo, which child elements and attributes the schema allows
// and in which order. Typed properties read and write by a small integer, the schema index,
// through the Get...Value / Set...Value family below. The element stays the store of every
// value: a node is made only when a value is given (or when a required one is read), and it is
// always inserted in schema order, whatever order the values are set in.
#pragma once

#include <functional>
#include <map>
#include <vector>

#include "vnxml/common/uVnClasses.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/rtl/Rtti.h"
#include "vnxml/xml/uVnXMLDOM.h"

namespace vn {

class TVnXMLSchemaElement;

// One particle of the schema: a child element or an attribute that the element may carry.
class TVnXMLSchemaInfo : public TObject {
  VN_CLASS(TVnXMLSchemaInfo, TObject)
 public:
  TVnXMLSchemaInfo(const UnicodeString &AName, TVnDOMNodeType ANodeType)
      : FNodeType(ANodeType), FName(AName) {}

  TVnDOMNodeType NodeType() const noexcept { return FNodeType; }
  // The qualified name the node is written with ("ns:Name" or "Name").
  const UnicodeString &Name() const noexcept { return FName; }
  Integer MinOccurs() const noexcept { return FMinOccurs; }
  // -1 for "unbounded".
  Integer MaxOccurs() const noexcept { return FMaxOccurs; }
  bool Required() const noexcept { return FRequired; }
  // The choice group the particle belongs to; what the numbers mean is the binding class's.
  Integer ChoiceIdx() const noexcept { return FChoiceIdx; }

 private:
  friend class TVnXMLSchemaElement;

  TVnDOMNodeType FNodeType;
  UnicodeString FName;
  Integer FMinOccurs = 0;
  Integer FMaxOccurs = 0;
  bool FRequired = false;
  Integer FChoiceIdx = 0;
};

// Fired before a particle's node is looked up, with the schema element and the particle. A
// handler may give the particle a value (through the setters of the sender) before it is read;
// the particle's own reads and writes inside the handler do not fire it again.
using TVnXMLSchemaElementOnGetValue =
    std::function<void(TVnXMLSchemaElement *ASender, TVnXMLSchemaInfo *AInfo)>;

// Makes the wrapper of a child element: the binding class of that child's type.
using TVnXMLSchemaElementFactory = std::function<TVnXMLSchemaElement *(IVnDOMElement *AElement)>;

// The children of one repeated particle (maxOccurs above 1), as wrappers. It holds no copy: each
// call looks at the element's children of the particle's name, in document order, and answers
// their wrappers, which the owning schema element keeps among its sub-elements. Kept by the owner
// in its array table, made on first use by GetArrayElement.
class TVnXMLSchemaElementArray : public TObject {
  VN_CLASS(TVnXMLSchemaElementArray, TObject)
 public:
  TVnXMLSchemaElementArray(TVnXMLSchemaElement *AOwner, Integer AIndex,
                           TVnXMLSchemaElementFactory AFactory)
      : FOwner(AOwner), FIndex(AIndex), FFactory(std::move(AFactory)) {}

  Integer Count();
  // The wrapper of the AIndex-th child, counted from 0; EListError "List index out of bounds
  // (%d)" for an index outside.
  TVnXMLSchemaElement *GetItem(Integer AIndex);
  template <class T>
  T *Item(Integer AIndex) {
    return static_cast<T *>(GetItem(AIndex));
  }
  // A new child after the last one of the particle, or, for the first, at the particle's place
  // in schema order.
  TVnXMLSchemaElement *Add();
  template <class T>
  T *AddItem() {
    return static_cast<T *>(Add());
  }
  // Removes the AIndex-th child from the element, with its wrapper.
  void Delete(Integer AIndex);
  Integer SchemaIndex() const noexcept { return FIndex; }

 private:
  DelphiInterface<IVnDOMElementList> Children();

  TVnXMLSchemaElement *FOwner;
  Integer FIndex;
  TVnXMLSchemaElementFactory FFactory;
};

// The base of generated data-binding classes: wraps one element as the schema describes it.
class TVnXMLSchemaElement : public TVnObjectEx {
  VN_CLASS(TVnXMLSchemaElement, TVnObjectEx)
 public:
  explicit TVnXMLSchemaElement(IVnDOMElement *AElement);
  ~TVnXMLSchemaElement() override;
  TVnXMLSchemaElement(const TVnXMLSchemaElement &) = delete;
  TVnXMLSchemaElement &operator=(const TVnXMLSchemaElement &) = delete;

  // Enters a particle under AIndex, at the end of the schema order. A doubled index raises
  // EListError "Duplicates not allowed".
  void AddSchemaInfo(Integer AIndex, TVnDOMNodeType ANodeType, const UnicodeString &AName,
                     Integer AMinOccurs, Integer AMaxOccurs, bool ARequired, Integer AChoiceIdx);
  // The particle of that name, ignoring case, in the order of the indexes; or nil.
  TVnXMLSchemaInfo *FindSchemaInfo(const UnicodeString &AName);

  const DelphiInterface<IVnDOMElement> &AsElement() const noexcept { return FDOMElement; }
  UnicodeString GetXML();

  // To another schema element: clears it, then its element takes this element's attributes and
  // children (copies); its own name stays. Other destinations go to the inherited operation.
  void AssignTo(TVnObjectEx *ADest) override;
  // Frees the repeated-children objects and the sub-element wrappers, and clears the element.
  void Clear();

  // The node of a particle, named by its qualified name or by the part behind the prefix; an
  // empty name gives the element itself. FindNode gives nil for a name outside the schema and
  // creates nothing that is absent (but a required particle); GetNode creates the node when it
  // is absent and raises EListError "The specified nodename (%s) is not part of the Schema!"
  // for a name outside the schema.
  DelphiInterface<IVnDOMNode> FindNode(const UnicodeString &AName);
  DelphiInterface<IVnDOMNode> GetNode(const UnicodeString &AName);
  // Removes the node that the path AName selects on the element, with its wrappers.
  void RemoveNode(const UnicodeString &AName);

  // The value of a particle's node as it stands; false (and "") when there is no node.
  bool GetValue(Integer AIndex, UnicodeString &AValue);
  // Sets the value of a particle's node, also to "". An absent node is made only for a
  // non-empty value.
  void SetValue(Integer AIndex, const UnicodeString &AValue);

  // The node of the particle AIndex. An absent node is made when ACreate is set, or when the
  // particle is required (or, for an element, has minOccurs 1). Raises EListError "Invalid
  // Schema Index" for an index that is not in the table.
  DelphiInterface<IVnDOMNode> GetNodeByIndex(Integer AIndex, bool ACreate);

  const TVnXMLSchemaElementOnGetValue &OnGetValue() const noexcept { return FOnGetValue; }
  void SetOnGetValue(TVnXMLSchemaElementOnGetValue AValue) { FOnGetValue = std::move(AValue); }

  // The particles in schema order.
  const std::vector<TVnXMLSchemaInfo *> &SchemaInfoList() const noexcept { return FSchemaInfoList; }

  // --- The typed family. A getter gives the zero of its type when the particle has no node,
  // and raises the conversion error of the lexical form on bad text; a setter converts to the
  // lexical form and calls SetValue.
  Byte GetByteValue(Integer AIndex);
  void SetByteValue(Integer AIndex, Byte AValue);
  SmallInt GetShortValue(Integer AIndex);
  void SetShortValue(Integer AIndex, SmallInt AValue);
  Integer GetIntValue(Integer AIndex);
  void SetIntValue(Integer AIndex, Integer AValue);
  Integer GetIntegerValue(Integer AIndex);
  void SetIntegerValue(Integer AIndex, Integer AValue);
  Int64 GetLongValue(Integer AIndex);
  void SetLongValue(Integer AIndex, Int64 AValue);
  Int64 GetInt64Value(Integer AIndex);
  void SetInt64Value(Integer AIndex, Int64 AValue);
  Int64 GetInteger64Value(Integer AIndex);
  void SetInteger64Value(Integer AIndex, Int64 AValue);
  Byte GetUnsignedByteValue(Integer AIndex);
  void SetUnsignedByteValue(Integer AIndex, Byte AValue);
  Word GetUnsignedShortValue(Integer AIndex);
  void SetUnsignedShortValue(Integer AIndex, Word AValue);
  LongWord GetUnsignedIntValue(Integer AIndex);
  void SetUnsignedIntValue(Integer AIndex, LongWord AValue);
  LongWord GetNonNegativeIntegerValue(Integer AIndex);
  void SetNonNegativeIntegerValue(Integer AIndex, LongWord AValue);
  UInt64 GetUnsignedLongValue(Integer AIndex);
  void SetUnsignedLongValue(Integer AIndex, UInt64 AValue);
  // Dates and times read without a zone. TimeInstant writes the plain local value; Datetime
  // writes the value converted to UTC, with "Z".
  TDateTime GetDateValue(Integer AIndex);
  void SetDateValue(Integer AIndex, TDateTime AValue);
  TDateTime GetTimeValue(Integer AIndex);
  void SetTimeValue(Integer AIndex, TDateTime AValue);
  TDateTime GetTimeInstantValue(Integer AIndex);
  void SetTimeInstantValue(Integer AIndex, TDateTime AValue);
  TDateTime GetDatetimeValue(Integer AIndex);
  void SetDatetimeValue(Integer AIndex, TDateTime AValue);
  UnicodeString GetDurationValue(Integer AIndex);
  void SetDurationValue(Integer AIndex, const UnicodeString &AValue);
  Double GetFloatValue(Integer AIndex);
  void SetFloatValue(Integer AIndex, Double AValue);
  Double GetDecimalValue(Integer AIndex);
  void SetDecimalValue(Integer AIndex, Double AValue);
  Extended GetDoubleValue(Integer AIndex);
  void SetDoubleValue(Integer AIndex, Extended AValue);
  // The node's value as it stands, without a second decoding.
  UnicodeString GetXmlValue(Integer AIndex);
  void SetXmlValue(Integer AIndex, const UnicodeString &AValue);
  UnicodeString GetJsonValue(Integer AIndex);
  void SetJsonValue(Integer AIndex, const UnicodeString &AValue);
  // The node's value decoded once more by VnXMLToStr: references that the value still holds
  // (written as text, "&amp;lt;" in the document) come out as characters.
  UnicodeString GetStringValue(Integer AIndex);
  void SetStringValue(Integer AIndex, const UnicodeString &AValue);
  UnicodeString GetLanguageValue(Integer AIndex);
  void SetLanguageValue(Integer AIndex, const UnicodeString &AValue);
  UnicodeString GetAnyValue(Integer AIndex);
  void SetAnyValue(Integer AIndex, const UnicodeString &AValue);
  UnicodeString GetAnyUriValue(Integer AIndex);
  void SetAnyUriValue(Integer AIndex, const UnicodeString &AValue);
  // The text as UTF-8 bytes and the bytes as text: neither decodes nor encodes base64.
  AnsiString GetBase64binaryValue(Integer AIndex);
  void SetBase64binaryValue(Integer AIndex, const AnsiString &AValue);
  bool GetBooleanValue(Integer AIndex);
  void SetBooleanValue(Integer AIndex, bool AValue);
  // The braced form "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}".
  TGUID GetGuidValue(Integer AIndex);
  void SetGuidValue(Integer AIndex, const TGUID &AValue);

 protected:
  // --- For binding classes: the wrappers of complex children.

  // The wrapper of AElement among the sub-elements; made by AFactory and kept when there is
  // none yet.
  TVnXMLSchemaElement *GetSubElement(IVnDOMElement *AElement,
                                     const TVnXMLSchemaElementFactory &AFactory);
  // The wrapper, of class T, of the child element of the particle AIndex; nil when it is absent
  // and not made (ACreate false and not required).
  template <class T>
  T *GetChildElement(Integer AIndex, bool ACreate = true) {
    DelphiInterface<IVnDOMNode> node = GetNodeByIndex(AIndex, ACreate);
    DelphiInterface<IVnDOMElement> el;
    if (!node || !Supports(node.get(), el)) return nullptr;
    return static_cast<T *>(GetSubElement(el, &NewWrapper<T>));
  }
  // The repeated children of the particle AIndex; the object is made on first use and kept in
  // FArrayElements until Clear or destruction.
  TVnXMLSchemaElementArray *GetArrayElement(Integer AIndex,
                                            const TVnXMLSchemaElementFactory &AFactory);
  template <class T>
  TVnXMLSchemaElementArray *GetArrayElement(Integer AIndex) {
    return GetArrayElement(AIndex, &NewWrapper<T>);
  }
  template <class T>
  static TVnXMLSchemaElement *NewWrapper(IVnDOMElement *AElement) {
    return New<T>(AElement);
  }
  // Removes ANode from its parent, after freeing the sub-element wrappers of that very node.
  void RemoveElementNode(IVnDOMNode *ANode);

  // The particles for which OnGetValue is running.
  std::vector<TVnXMLSchemaInfo *> FCreating;
  DelphiInterface<IVnDOMElement> FDOMElement;
  // By schema index; owns the particles.
  std::map<Integer, Owned<TVnXMLSchemaInfo>> FSchemaInfo;
  // The same particles in the order of AddSchemaInfo: the schema's order.
  std::vector<TVnXMLSchemaInfo *> FSchemaInfoList;
  // The wrappers of child elements; owns them.
  TObjectList FSubElements{true};
  // The repeated children by schema index; each value holds an object, freed by Clear and by
  // the destructor.
  std::map<Integer, TValue> FArrayElements;
  TVnXMLSchemaElementOnGetValue FOnGetValue;

 private:
  friend class TVnXMLSchemaElementArray;
  TVnXMLSchemaInfo *InfoOf(Integer AIndex);
  // The schema index of the particle named AName (qualified, or behind its prefix), or false.
  bool IndexOfName(const UnicodeString &AName, Integer &AIndex);
  void FreeArrayElements();
  // Moves the child wrappers into AInto without freeing them.
  void TakeSubElements(std::vector<TObject *> &AInto);
};

}  // namespace vn
