// The XML document tree: its object model in two halves, the node base, the node lists, and the
// collations that name lookups and predicates compare with.
//
// Every object of a tree exists in two halves. The object half (TVnDOMObject and its
// descendants) holds the data and the logic and forms the tree with plain pointers and no
// reference counting. The interface half (TVnDOMObjectImpl and its descendants) is a thin
// reference-counted adapter that exists only while somebody holds an interface on the object:
// the first interface request on an object builds its Impl, and the Impl of every ancestor up to
// the top of the tree, each Impl holding one reference on the Impl of its parent. When the last
// reference goes, the Impls go from that object upwards; a top of a tree that is then left with
// no parent, no Impl and no other holder destroys itself, and with it the tree.
//
// Lifetime rules, in short:
// - A node owns its children; nothing else owns a node. A tree that has never been touched
//   through an interface belongs to whoever created its top, who frees it with Free.
// - An interface on a node keeps the node and all its ancestors alive.
// - A tree whose objects have been given out as interfaces dies with the last interface on any
//   of its objects, even if the application also holds an object pointer to its top.
// - RemoveChild destroys the child unless an interface still holds it; a removed node held by an
//   interface lives on as the top of its own tree and dies with that interface.
// - Free on a node that an interface still holds raises, and leaves the node untouched.
// - An RAII owner (Owned, vnxml/rtl/Owned.h) holds an object as an interface does: a tree dies
//   with the last of its owners and interfaces, a node that leaves its tree while owned lives on
//   as the top of its own tree, and Free on an owned node raises. An owner that ends while its
//   node stands in a tree leaves the node to the tree.
// - A list that belongs to a node (its child list) pins that node while an interface holds the
//   list. A list that a selection returns has no owner: an interface on it pins no node, and it
//   holds plain pointers, so the caller must not reach through it to a node that has been
//   destroyed since. An interface on a result list that is freed while the interface lives stays
//   valid as an interface, and each of its operations then raises EVnDomException.
//
// Nodes are created with New<T>() and freed with Free(); a tree is walked through object pointers
// without ever building an Impl. The classes of elements, character data, attributes,
// processing instructions and the document build on TVnDOMNode through the virtual operations
// and hooks declared here.
#pragma once

#include <atomic>
#include <cstdint>
#include <concepts>
#include <cstdlib>
#include <functional>
#include <initializer_list>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <vector>

#include "vnxml/common/uVnClasses.h"
#include "vnxml/common/uVnSerializer.h"
#include "vnxml/common/uVnSysUtils.h"
#include "vnxml/common/uVnTypes.h"
#include "vnxml/rtl/Classes.h"
#include "vnxml/rtl/Interface.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/rtl/Sets.h"
#include "vnxml/rtl/SysUtils.h"
#include "vnxml/rtl/Rtti.h"
#include "vnxml/rtl/Streams.h"
#include "vnxml/rtl/Variant.h"
#include "vnxml/json/uVnJSONSerializer.h"
#include "vnxml/xml/uVnSAX.h"
#include "vnxml/xml/XmlDom.h"
#include "vnxml/xml/uVnXMLSerializer.h"

namespace vn {

class IVnSAXLocator;

// ---------------------------------------------------------------------------------------------
// Enumerations and sets

// The ordinals are those of the W3C node types.
enum TVnDOMNodeType : Byte {
  ntUnknown,
  ntElement,
  ntAttribute,
  ntText,
  ntCDATA,
  ntEntityRef,
  ntEntity,
  ntProcessingInstruction,
  ntComment,
  ntDocument,
  ntDocumentType,
  ntDocumentFragment,
  ntNotation
};

// The display names of the node types, indexed by TVnDOMNodeType.
inline constexpr const char16_t *VnDOMNodeTypes[13] = {
    u"Unknown", u"Element",   u"Attribute",    u"Text",
    u"CDATA",   u"EntityRef", u"Entity",       u"ProcessingInstruction",
    u"Comment", u"Document",  u"DocumentType", u"DocumentFragment",
    u"Notation"};

enum TVnDOMPosition : Byte { rdpFirst, rdpLast, rdpBefore, rdpAfter };

enum TVnDOMNodeNameType : Byte { nntLocalName, nntQualifiedName };

enum TVnDOMLoadState : Byte { lsUninitialized, lsLoading, lsLoaded, lsInteractive, lsComplete };

// The options of name lookups and path selection; in a set, soRaise is bit 1, soCreate bit 2 and
// so on.
enum TVnDOMSelectOption : Byte {
  soRaise,
  soCreate,
  soCaseSensitive,
  soCaseInsensitive,
  soLocalName,
  soQualifiedName
};
using TVnDOMSelectOptions = Set<TVnDOMSelectOption, soRaise, soQualifiedName>;
// An option set written in braces at a call: `{}`, `{soRaise, soCaseSensitive}`. Every operation
// that takes an option set has an overload that takes one of these and passes it on as the set.
// Without it a braced list would be ambiguous or would mean something else: braces convert to
// any class, the set and a string alike, with the same rank, and `{}` or `{soCreate}` makes a
// bool better still; only an initializer_list parameter ranks above all of them.
using TVnDOMBracedOptions = std::initializer_list<TVnDOMSelectOption>;
// How names match: soLocalName or soQualifiedName.
using TVnDOMSelectMatchOption = TVnDOMSelectOption;

enum TVnDOMSelectCheckOption : Byte { coReturnNil, coCreate, coRaise };

// The parse notifications of a node: the locator of the reader, the message, and whether the
// handler has dealt with it.
using TVnDOMParseError =
    std::function<void(IVnSAXLocator *ALocator, const UnicodeString &AMessage, bool &AHandled)>;

// ---------------------------------------------------------------------------------------------
// Collations
//
// A collation is a class with class-level operations only. It is used through its class
// reference, TVnXPathCollationClass, which is the one constant instance of the class that
// StaticClass() returns; collations are compared by their reference. They are stateless and may
// be used from any thread.

class TVnXPathCollation;
using TVnXPathCollationClass = const TVnXPathCollation *;

// The base of collations: how path expressions compare and search strings.
class TVnXPathCollation {
 public:
  // Negative if A sorts before B, 0 if they are equal, positive if A sorts after B.
  virtual Integer Compare(UnicodeStringView A, UnicodeStringView B) const = 0;
  // The 1-based position of the first occurrence of ASubStr in AStr, 0 if there is none.
  virtual Integer Pos(UnicodeStringView ASubStr, UnicodeStringView AStr) const = 0;
  virtual const char16_t *ClassName() const noexcept = 0;
  // Compare(A, B) = 0. Name look-ups ask this on every candidate, so a collation may answer it
  // faster than a full comparison.
  virtual bool SameText(UnicodeStringView A, UnicodeStringView B) const {
    return Compare(A, B) == 0;
  }

 protected:
  constexpr TVnXPathCollation() noexcept = default;
  ~TVnXPathCollation() = default;
  TVnXPathCollation(const TVnXPathCollation &) = delete;
  TVnXPathCollation &operator=(const TVnXPathCollation &) = delete;
};

// The linguistic order of the invariant locale (the root collation) over both whole strings; case
// differences count. Pos is a plain case-sensitive search.
class TVnXPathCollationCodepoint : public TVnXPathCollation {
 public:
  static constexpr TVnXPathCollationClass StaticClass() noexcept { return &FClass; }
  Integer Compare(UnicodeStringView A, UnicodeStringView B) const override;
  bool SameText(UnicodeStringView A, UnicodeStringView B) const override;
  Integer Pos(UnicodeStringView ASubStr, UnicodeStringView AStr) const override;
  const char16_t *ClassName() const noexcept override { return u"TVnXPathCollationCodepoint"; }

 protected:
  constexpr TVnXPathCollationCodepoint() noexcept = default;

 private:
  static const TVnXPathCollationCodepoint FClass;
};

// The same order with the case of every letter ignored. Pos lower-cases both strings (A-Z only)
// and searches.
class TVnXPathCollationASCIICI : public TVnXPathCollation {
 public:
  static constexpr TVnXPathCollationClass StaticClass() noexcept { return &FClass; }
  Integer Compare(UnicodeStringView A, UnicodeStringView B) const override;
  bool SameText(UnicodeStringView A, UnicodeStringView B) const override;
  Integer Pos(UnicodeStringView ASubStr, UnicodeStringView AStr) const override;
  const char16_t *ClassName() const noexcept override { return u"TVnXPathCollationASCIICI"; }

 protected:
  constexpr TVnXPathCollationASCIICI() noexcept = default;

 private:
  static const TVnXPathCollationASCIICI FClass;
};

// ---------------------------------------------------------------------------------------------
// Exceptions. EVnDomException carries no error code. The library raises EVnDomException,
// EVnDomNotFound, EVnDomNotSupported and EVnDomSyntax; the others stand for the W3C errors of
// their names, for callers to catch.

// The base of the tree's errors; raised for most failures of the tree.
VN_DECLARE_EXCEPTION(EVnDomException, Exception)
// The W3C error DOMSTRING_SIZE_ERR: a text too long for its string type.
VN_DECLARE_EXCEPTION(EVnDomStringSize, EVnDomException)
// The W3C error HIERARCHY_REQUEST_ERR: a node where it may not stand.
VN_DECLARE_EXCEPTION(EVnDomHierarchyRequest, EVnDomException)
// The W3C error INDEX_SIZE_ERR: an index or count out of range.
VN_DECLARE_EXCEPTION(EVnDomIndexSize, EVnDomException)
// The W3C error INUSE_ATTRIBUTE_ERR: an attribute already held by an element.
VN_DECLARE_EXCEPTION(EVnDomInUseAttribute, EVnDomException)
// The W3C error INVALID_ACCESS_ERR: an access the object does not support.
VN_DECLARE_EXCEPTION(EVnDomInvalidAcces, EVnDomException)
// The W3C error INVALID_CHARACTER_ERR: a character a name may not hold.
VN_DECLARE_EXCEPTION(EVnDomInvalidCharacter, EVnDomException)
// The W3C error INVALID_MODIFICATION_ERR: a change of a node's type.
VN_DECLARE_EXCEPTION(EVnDomInvalidModification, EVnDomException)
// The W3C error INVALID_STATE_ERR: an object no longer usable.
VN_DECLARE_EXCEPTION(EVnDomInvalidState, EVnDomException)
// The W3C error NAMESPACE_ERR: a name that its namespaces do not allow.
VN_DECLARE_EXCEPTION(EVnDomNamespace, EVnDomException)
// A path that selects no node where the caller asked for one, or one too complex to create.
VN_DECLARE_EXCEPTION(EVnDomNotFound, EVnDomException)
// An operation that the node or the build does not support, such as setting a value.
VN_DECLARE_EXCEPTION(EVnDomNotSupported, EVnDomException)
// The W3C error NO_DATA_ALLOWED_ERR: data for a node that holds none.
VN_DECLARE_EXCEPTION(EVnDomNoDataAllowed, EVnDomException)
// The W3C error NO_MODIFICATION_ALLOWED_ERR: a change of a read-only node.
VN_DECLARE_EXCEPTION(EVnDomNoModificationAllowed, EVnDomException)
// A document or path expression that does not parse.
VN_DECLARE_EXCEPTION(EVnDomSyntax, EVnDomException)
// The W3C error TYPE_MISMATCH_ERR: a value of the wrong type.
VN_DECLARE_EXCEPTION(EVnDomTypeMismatch, EVnDomException)
// The W3C error VALIDATION_ERR: a change that makes the document invalid.
VN_DECLARE_EXCEPTION(EVnDomValidation, EVnDomException)
// The W3C error WRONG_DOCUMENT_ERR: a node of another document.
VN_DECLARE_EXCEPTION(EVnDomWrongDocument, EVnDomException)

// ---------------------------------------------------------------------------------------------
// Process-wide defaults, read at the moment of use.

// How names match when no document is at hand; copied into each new document.
extern TVnDOMSelectMatchOption DefaultSelectMatchOption;  // soQualifiedName
// The default of the preserve-space state, despite its name.
extern bool DefaultPreserveCase;  // false
// Copied into each new document; used by element lists when there is no document.
extern TVnDOMSelectCheckOption DefaultSelectCheckOption;  // coRaise
// The default collation: name matching is case-insensitive for ASCII out of the box.
extern TVnXPathCollationClass DefaultXPathCollation;  // TVnXPathCollationASCIICI

// ---------------------------------------------------------------------------------------------
// Classes

class TVnDOMObject;
class TVnDOMObjectImpl;
class TVnDOMNode;
class TVnDOMDocument;
class TVnDOMElement;
class TVnDOMAttribute;
class TVnDOMNodeImpl;
class TVnDOMNodeListBase;
class TVnDOMNodeList;
class TVnDOMElementList;
class TVnDOMAttrList;
class TVnDOMNodeListImpl;
class TVnDOMElementListImpl;
class TVnDOMAttrListImpl;

// ---------------------------------------------------------------------------------------------
// Storage of the tree

// The name of a node: prefix, local name and qualified name in one record that the nodes bearing
// the name share. A record never changes; renaming a node gives it another record. The nodes of
// a loaded document share one record per distinct name. The count is atomic because nodes that
// share a record may later stand in trees that different threads use.
class TVnDOMName {
 public:
  // A new record with a count of one.
  static TVnDOMName *Make(UnicodeStringView APrefix, UnicodeStringView ALocalName);
  // Splits at the first ":" into prefix and local name.
  static TVnDOMName *MakeQualified(UnicodeStringView AQualifiedName);
  // Shared records that live as long as the process: the empty name, and the fixed names of text,
  // CDATA, comment and document nodes ("#text", "#cdata-section", "#comment", "#document"; the
  // empty name for any other kind).
  static TVnDOMName *Empty() noexcept;
  static TVnDOMName *Fixed(TVnDOMNodeType AKind) noexcept;

  void AddRef() noexcept {
    if (!FFixed) FRefs.fetch_add(1, std::memory_order_relaxed);
  }
  void Release() noexcept {
    if (!FFixed && FRefs.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
  }
  // AddRef and Release for ACount references at once (ACount > 0): one atomic step for a caller
  // that hands out many.
  void AddRefs(Integer ACount) noexcept {
    if (!FFixed) FRefs.fetch_add(ACount, std::memory_order_relaxed);
  }
  void ReleaseRefs(Integer ACount) noexcept {
    if (!FFixed && FRefs.fetch_sub(ACount, std::memory_order_acq_rel) == ACount) delete this;
  }
  const UnicodeString &Prefix() const noexcept { return FPrefix; }
  const UnicodeString &LocalName() const noexcept { return FLocalName; }
  // Prefix, ":" and local name, or the local name alone when the prefix is empty.
  const UnicodeString &QualifiedName() const noexcept {
    return FPrefix.empty() ? FLocalName : FQualifiedName;
  }
  // Whether the name is that of a namespace declaration (TVnDOMNode::IsNamespaceName), worked
  // out once for all the nodes that bear it.
  bool IsNamespace() const noexcept { return FIsNamespace; }
  // Whether the qualified name is "xml:space" under ACollation (SameText). Every attach asks
  // this of the attributes of its element, so the answer for each of the library's two
  // collations is kept in the record after the first question.
  bool IsSpaceName(TVnXPathCollationClass ACollation) const;

 private:
  TVnDOMName(UnicodeStringView APrefix, UnicodeStringView ALocalName, bool AFixed);
  ~TVnDOMName() = default;
  std::atomic<Integer> FRefs{1};
  bool FFixed;
  bool FIsNamespace;
  // IsSpaceName's answers: per collation (ASCII case-insensitive, codepoint) a bit "known" and a
  // bit "is". Atomic since records are shared by trees on several threads; a race computes the
  // same answer twice.
  mutable std::atomic<std::uint8_t> FSpaceName{0};
  UnicodeString FPrefix;
  UnicodeString FLocalName;
  UnicodeString FQualifiedName;  // empty when there is no prefix
};

// A counted reference to a name record; never null (the empty name stands for none).
class TVnDOMNameRef {
 public:
  TVnDOMNameRef() noexcept : FName(TVnDOMName::Empty()) {}
  // Takes over a reference that the caller holds.
  explicit TVnDOMNameRef(TVnDOMName *AName) noexcept : FName(AName) {}
  TVnDOMNameRef(const TVnDOMNameRef &AOther) noexcept : FName(AOther.FName) { FName->AddRef(); }
  TVnDOMNameRef &operator=(const TVnDOMNameRef &AOther) noexcept {
    AOther.FName->AddRef();
    FName->Release();
    FName = AOther.FName;
    return *this;
  }
  TVnDOMNameRef &operator=(TVnDOMNameRef &&AOther) noexcept {
    std::swap(FName, AOther.FName);
    return *this;
  }
  ~TVnDOMNameRef() { FName->Release(); }
  TVnDOMName *operator->() const noexcept { return FName; }
  TVnDOMName *Get() const noexcept { return FName; }

 private:
  TVnDOMName *FName;
};

// The children of a node in order: one pointer wide, with the count, the capacity and the items
// in a single block that exists only while there are children. A block made while a load runs
// on the thread is cut from the load's node pages (TVnNodePages) beside the nodes; others come
// from the heap. The block keeps each item's node kind too, behind the items: a walk that passes
// over attributes or text reads the kind there without touching the node, whose memory is
// mostly elsewhere (a node's kind never changes once it is made).
class TVnDOMNodeArray {
 public:
  TVnDOMNodeArray() noexcept = default;
  TVnDOMNodeArray(const TVnDOMNodeArray &) = delete;
  TVnDOMNodeArray &operator=(const TVnDOMNodeArray &) = delete;
  ~TVnDOMNodeArray() {
    if (FBlock) Clear();
  }

  std::size_t size() const noexcept { return FBlock ? FBlock->Count : 0; }
  bool empty() const noexcept { return size() == 0; }
  TVnDOMNode *operator[](std::size_t AIndex) const noexcept { return FBlock->Items[AIndex]; }
  TVnDOMNode *const *begin() const noexcept { return FBlock ? FBlock->Items : nullptr; }
  TVnDOMNode *const *end() const noexcept {
    return FBlock ? FBlock->Items + FBlock->Count : nullptr;
  }
  // The kinds of the items, in the same order; null while there are none.
  const TVnDOMNodeType *Kinds() const noexcept { return FBlock ? KindsAt(Room()) : nullptr; }
  TVnDOMNode *front() const noexcept { return FBlock->Items[0]; }
  TVnDOMNode *back() const noexcept { return FBlock->Items[FBlock->Count - 1]; }
  // The position of the node, or -1.
  Integer IndexOf(const TVnDOMNode *ANode) const noexcept;
  // Raises std::bad_alloc when the block cannot grow; the array is unchanged then.
  void Insert(std::size_t AIndex, TVnDOMNode *ANode);
  void PushBack(TVnDOMNode *ANode) { Insert(size(), ANode); }
  void Erase(std::size_t AIndex) noexcept;
  void Clear() noexcept;
  void Swap(TVnDOMNodeArray &AOther) noexcept { std::swap(FBlock, AOther.FBlock); }
  // Becomes a copy of another array.
  void Assign(const TVnDOMNodeArray &ASource);

 private:
  struct TBlock {
    std::uint32_t Count;
    // The room in items, with cOnPage set for a block cut from node pages.
    std::uint32_t Capacity;
    // The room's items, then as many kinds (TVnDOMNodeType, a byte each).
    TVnDOMNode *Items[1];
  };
  static constexpr std::uint32_t cOnPage = 0x80000000u;
  std::size_t Room() const noexcept { return FBlock->Capacity & ~cOnPage; }
  TVnDOMNodeType *KindsAt(std::size_t ARoom) const noexcept {
    return reinterpret_cast<TVnDOMNodeType *>(FBlock->Items + ARoom);
  }
  // Gives the block room for ACapacity items (at least the count); bad_alloc leaves it as it was.
  void Reserve(std::size_t ACapacity);
  TBlock *FBlock = nullptr;
};

// ---------------------------------------------------------------------------------------------
// Interfaces. Each interface derives from its parent interface virtually, so that an Impl that
// derives from the Impl of its parent and from a derived interface has one shared subobject of
// the parent interface, which the parent Impl implements. Interface pointers are therefore only
// ever converted upwards implicitly or obtained by QueryInterface.
//
// Node arguments are raw interface pointers on which the caller holds a reference; results are
// interface variables.

class IVnDOMNode;
class IVnDOMNodeList;
class IVnDOMNamedNodeList;
class IVnDOMElementList;
class IVnDOMAttrList;
class IVnDOMCharacterData;
class IVnDOMText;
class IVnDOMComment;
class IVnDOMCDATA;
class IVnDOMAttribute;
class IVnDOMElement;
class IVnDOMProcessingInstruction;
class IVnDOMDocument;

// A node of the library's XML tree as interfaces reach it: names, value, kin, loading.
class IVnDOMNode : public virtual IVnSerializable {
  VN_INTERFACE(IVnDOMNode, IVnSerializable, "{5BA39F9D-B914-4685-9D31-0C7D618FF832}")
 public:
  virtual bool GetPreserveSpace() = 0;
  virtual UnicodeString GetNodeValue() = 0;
  virtual UnicodeString GetText() = 0;
  virtual UnicodeString GetNamespaceURI() = 0;
  virtual UnicodeString GetLocalName() = 0;
  virtual UnicodeString GetPrefix() = 0;
  virtual UnicodeString GetQualifiedName() = 0;
  virtual UnicodeString GetFormattedInnerXML() = 0;
  virtual UnicodeString GetFormattedXML() = 0;
  virtual UnicodeString GetInnerXML() = 0;
  virtual UnicodeString GetXML() = 0;
  virtual DelphiInterface<IVnDOMNodeList> GetChildNodes() = 0;
  virtual TVnDOMNodeType GetNodeType() = 0;
  virtual void SetNodeValue(const UnicodeString &AValue) = 0;
  virtual void SetPrefix(const UnicodeString &APrefix) = 0;
  virtual void SetQualifiedName(const UnicodeString &AName) = 0;
  virtual void SetInnerXML(const UnicodeString &AXML) = 0;
  virtual void NormalizeTextNodes() = 0;
  virtual void LoadFromStream(TStream *AStream, Word ACodePage) = 0;
  virtual void SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted) = 0;
  virtual void Clear() = 0;
  virtual DelphiInterface<IVnDOMNode> CloneNode(bool ADeep) = 0;
  virtual Integer NodeCount() = 0;
  virtual DelphiInterface<IVnDOMNode> AddChild(IVnDOMNode *ANode, IVnDOMNode *ARefNode,
                                               TVnDOMPosition APosition) = 0;
  virtual void RemoveChild(IVnDOMNode *ANode) = 0;
  virtual DelphiInterface<IVnDOMNode> InsertBefore(IVnDOMNode *ANode, IVnDOMNode *ARefNode) = 0;
  virtual DelphiInterface<IVnDOMNode> AppendChild(IVnDOMNode *ANode) = 0;
  virtual DelphiInterface<IVnDOMNode> SelectSingleNode(const UnicodeString &APath,
                                                       TVnDOMSelectOptions AOptions) = 0;
  virtual DelphiInterface<IVnDOMNodeList> CreateNodeList(const UnicodeString &APath,
                                                         TVnDOMSelectOptions AOptions) = 0;
  DelphiInterface<IVnDOMNode> SelectSingleNode(const UnicodeString &APath,
                                               TVnDOMBracedOptions AOptions) {
    return SelectSingleNode(APath, TVnDOMSelectOptions(AOptions));
  }
  DelphiInterface<IVnDOMNodeList> CreateNodeList(const UnicodeString &APath,
                                                 TVnDOMBracedOptions AOptions) {
    return CreateNodeList(APath, TVnDOMSelectOptions(AOptions));
  }
  virtual DelphiInterface<IVnDOMNode> NextSibling() = 0;
  virtual DelphiInterface<IVnDOMNode> PreviousSibling() = 0;
  virtual bool HasChilds() = 0;
  virtual bool HasAttributes() = 0;
  virtual void Transform(IVnDOMNode *AStyleSheet, WideString &AResult) = 0;
  virtual DelphiInterface<IVnDOMDocument> Transform(IVnDOMNode *AStyleSheet) = 0;
  virtual DelphiInterface<IVnDOMDocument> Document() = 0;
  virtual DelphiInterface<IVnDOMNode> ParentNode() = 0;
  virtual UnicodeString NodePath(bool ALocalName, const UnicodeString &AKeyAttribute) = 0;
};

// A list of nodes of the tree, which never owns them: reading, adding and taking out.
class IVnDOMNodeList : public IInterface {
  VN_INTERFACE(IVnDOMNodeList, IInterface, "{D7121E5A-EB0A-49D1-8E27-7AE65BD913CA}")
 public:
  virtual DelphiInterface<IVnDOMNode> GetItem(Integer AIndex) = 0;
  virtual void Clear() = 0;
  virtual void Add(IVnDOMNode *ANode, IVnDOMNode *ARefNode, TVnDOMPosition APosition) = 0;
  virtual void Add(IVnDOMNode *ANode, TVnDOMPosition APosition) = 0;
  virtual void Add(IVnDOMNode *ANode, TVnDOMPosition APosition, IVnDOMNode *ARefNode) = 0;
  virtual DelphiInterface<IVnDOMNode> Delete(IVnDOMNode *ANode) = 0;
  virtual Integer Count() = 0;
  virtual DelphiInterface<IVnDOMNode> First() = 0;
  virtual DelphiInterface<IVnDOMNode> Last() = 0;
  virtual DelphiInterface<IVnDOMNode> Next(IVnDOMNode *ANode) = 0;
  virtual DelphiInterface<IVnDOMNode> Previous(IVnDOMNode *ANode) = 0;
  virtual bool ContainsNode(IVnDOMNode *ANode) = 0;
};

// A node list that finds and deletes nodes by name, or by namespace URI and local name.
class IVnDOMNamedNodeList : public virtual IVnDOMNodeList {
  VN_INTERFACE(IVnDOMNamedNodeList, IVnDOMNodeList, "{097B7F7F-8C68-41A0-BBDF-39262A80488E}")
 public:
  virtual DelphiInterface<IVnDOMNode> Find(const UnicodeString &AName,
                                           TVnDOMSelectOptions AOptions) = 0;
  virtual DelphiInterface<IVnDOMNode> Find(UnicodeStringView AURI, UnicodeStringView AName) = 0;
  virtual DelphiInterface<IVnDOMNode> Delete(const UnicodeString &AName,
                                             TVnDOMSelectOptions AOptions) = 0;
  virtual DelphiInterface<IVnDOMNode> Delete(UnicodeStringView AURI, UnicodeStringView AName) = 0;
  using IVnDOMNodeList::Delete;
  DelphiInterface<IVnDOMNode> Find(const UnicodeString &AName, TVnDOMBracedOptions AOptions) {
    return Find(AName, TVnDOMSelectOptions(AOptions));
  }
  DelphiInterface<IVnDOMNode> Delete(const UnicodeString &AName, TVnDOMBracedOptions AOptions) {
    return Delete(AName, TVnDOMSelectOptions(AOptions));
  }
};

// An element list whose items are also found by a Variant index: a number or a name.
class IVnDOMElementList : public virtual IVnDOMNamedNodeList {
  VN_INTERFACE(IVnDOMElementList, IVnDOMNamedNodeList, "{9D2F0EBC-7DF0-489E-ADCC-46ACB997589A}")
 public:
  virtual DelphiInterface<IVnDOMElement> GetElement(const Variant &AIndex) = 0;
};

// An element's attribute list, which also finds namespace declarations by URI.
class IVnDOMAttrList : public virtual IVnDOMNamedNodeList {
  VN_INTERFACE(IVnDOMAttrList, IVnDOMNamedNodeList, "{7734B7C6-CDC5-49CD-ACE0-3CB47DECB269}")
 public:
  virtual DelphiInterface<IVnDOMAttribute> FindNamespace(const UnicodeString &AURI) = 0;
  virtual DelphiInterface<IVnDOMAttribute> GetAttribute(Integer AIndex) = 0;
};

// The interfaces of the node kinds. Offsets in the character data operations are 1-based.

// A node that holds text (text, CDATA or comment): the editing of ranges of it.
class IVnDOMCharacterData : public virtual IVnDOMNode {
  VN_INTERFACE(IVnDOMCharacterData, IVnDOMNode, "{6DB6C03E-1155-4BC2-A344-86F1285423BE}")
 public:
  virtual void AppendStr(const UnicodeString &AText) = 0;
  virtual void DeleteStr(Integer AOffset, Integer ACount) = 0;
  virtual void InsertStr(Integer AOffset, const UnicodeString &AText) = 0;
  virtual void ReplaceStr(Integer AOffset, Integer ACount, const UnicodeString &AText) = 0;
  virtual UnicodeString Substring(Integer AOffset, Integer ACount) = 0;
};
// A text node, which can be split in two.
class IVnDOMText : public virtual IVnDOMCharacterData {
  VN_INTERFACE(IVnDOMText, IVnDOMCharacterData, "{7ECBBD06-4665-4435-9BC7-CF2E1FC1A5F4}")
 public:
  virtual DelphiInterface<IVnDOMText> SplitTxt(Integer AOffset) = 0;
};
// A comment node.
class IVnDOMComment : public virtual IVnDOMCharacterData {
  VN_INTERFACE(IVnDOMComment, IVnDOMCharacterData, "{DA0D0710-A101-49D2-9D82-B30B63B9096F}")
};
// A CDATA section node.
class IVnDOMCDATA : public virtual IVnDOMText {
  VN_INTERFACE(IVnDOMCDATA, IVnDOMText, "{E619A337-648C-4CAB-BC08-6E2FC36DA606}")
};
// An attribute node, namespace declarations among them, with its neighbours in the list.
class IVnDOMAttribute : public virtual IVnDOMNode {
  VN_INTERFACE(IVnDOMAttribute, IVnDOMNode, "{EBFBBD41-12CF-4A7A-8435-F65508FE0FFF}")
 public:
  virtual bool IsNamespace() = 0;
  virtual UnicodeString NamespacePrefix() = 0;
  virtual DelphiInterface<IVnDOMAttribute> NextAttribute() = 0;
  virtual DelphiInterface<IVnDOMAttribute> PreviousAttribute() = 0;
};

// The element's GetPreserveSpace and HasAttributes are those of IVnDOMNode, which this interface
// inherits: they stand in their place among these operations.
class IVnDOMElement : public virtual IVnDOMNode {
  VN_INTERFACE(IVnDOMElement, IVnDOMNode, "{5124EEBC-8073-47C0-9C06-DB02B4A7E93C}")
 public:
  virtual bool GetAsBoolean() = 0;
  virtual TDateTime GetAsDateTime() = 0;
  virtual Double GetAsDouble() = 0;
  virtual Int64 GetAsInt64() = 0;
  virtual Integer GetAsInteger() = 0;
  virtual UnicodeString GetAsString() = 0;
  virtual AnsiString GetAsAnsiString() = 0;
  virtual Variant GetAsVariant() = 0;
  virtual TValue GetAsValue() = 0;
  virtual Variant GetChildElementValue(const Variant &AIndex) = 0;
  virtual UnicodeString GetAttrib(const UnicodeString &AName) = 0;
  virtual UnicodeString GetAttribNS(const UnicodeString &ANamespaceURI,
                                    const UnicodeString &AName) = 0;
  virtual void SetAsBoolean(bool AValue) = 0;
  virtual void SetAsDateTime(TDateTime AValue) = 0;
  virtual void SetAsDouble(Double AValue) = 0;
  virtual void SetAsInt64(Int64 AValue) = 0;
  virtual void SetAsInteger(Integer AValue) = 0;
  virtual void SetAsString(const UnicodeString &AValue) = 0;
  virtual void SetAsVariant(const Variant &AValue) = 0;
  virtual void SetAsAnsiString(const AnsiString &AValue) = 0;
  virtual void SetAsValue(const TValue &AValue) = 0;
  virtual void SetAttrib(const UnicodeString &AName, const UnicodeString &AValue) = 0;
  virtual void SetAttribNS(const UnicodeString &ANamespaceURI, const UnicodeString &AName,
                           const UnicodeString &AValue) = 0;
  virtual void SetPreseveSpace(bool AValue) = 0;
  virtual DelphiInterface<IVnDOMCDATA> GetCDATA(Integer AIndex) = 0;
  virtual DelphiInterface<IVnDOMAttrList> GetAttributes() = 0;
  virtual DelphiInterface<IVnDOMElementList> GetElements() = 0;
  virtual DelphiInterface<IVnDOMNodeList> GetCharNodes() = 0;
  virtual DelphiInterface<IVnDOMAttrList> GetNamespaces() = 0;
  virtual Integer ElementCount() = 0;
  virtual Integer AttributeCount() = 0;
  virtual DelphiInterface<IVnDOMComment> AddComment(const UnicodeString &AValue) = 0;
  virtual DelphiInterface<IVnDOMText> AddText(const UnicodeString &AValue) = 0;
  virtual DelphiInterface<IVnDOMCDATA> AddCDATA(const UnicodeString &AValue) = 0;
  virtual DelphiInterface<IVnDOMElement> AddElement(const UnicodeString &AName) = 0;
  virtual DelphiInterface<IVnDOMElement> AddElement(const UnicodeString &ANamespaceURI,
                                                    const UnicodeString &AName) = 0;
  virtual DelphiInterface<IVnDOMAttribute> AddAttribute(const UnicodeString &AName) = 0;
  virtual DelphiInterface<IVnDOMAttribute> AddAttribute(const UnicodeString &ANamespaceURI,
                                                        const UnicodeString &AName) = 0;
  virtual DelphiInterface<IVnDOMComment> InsertComment(const UnicodeString &AValue,
                                                       TVnDOMPosition APosition,
                                                       IVnDOMNode *ARefNode) = 0;
  virtual DelphiInterface<IVnDOMText> InsertText(const UnicodeString &AValue,
                                                 TVnDOMPosition APosition,
                                                 IVnDOMNode *ARefNode) = 0;
  virtual DelphiInterface<IVnDOMCDATA> InsertCDATA(const UnicodeString &AValue,
                                                   TVnDOMPosition APosition,
                                                   IVnDOMNode *ARefNode) = 0;
  virtual DelphiInterface<IVnDOMElement> InsertElement(const UnicodeString &AName,
                                                       TVnDOMPosition APosition,
                                                       IVnDOMNode *ARefNode) = 0;
  virtual DelphiInterface<IVnDOMElement> InsertElement(const UnicodeString &ANamespaceURI,
                                                       const UnicodeString &AName,
                                                       TVnDOMPosition APosition,
                                                       IVnDOMNode *ARefNode) = 0;
  virtual void RemoveElement(IVnDOMElement *AElement) = 0;
  virtual void RemoveElement(const UnicodeString &AName) = 0;
  virtual void RemoveElement(const UnicodeString &ANamespaceURI, const UnicodeString &AName) = 0;
  virtual void RemoveAttribute(IVnDOMAttribute *AAttribute) = 0;
  virtual void RemoveAttribute(const UnicodeString &AName) = 0;
  virtual void RemoveAttribute(const UnicodeString &ANamespaceURI, const UnicodeString &AName) = 0;
  virtual DelphiInterface<IVnDOMElement> FindElement(const UnicodeString &AName,
                                                     TVnDOMSelectOptions AOptions) = 0;
  virtual DelphiInterface<IVnDOMElement> FindElement(const UnicodeString &ANamespaceURI,
                                                     const UnicodeString &AName) = 0;
  virtual DelphiInterface<IVnDOMElement> ElementByName(const UnicodeString &ANamespaceURI,
                                                       const UnicodeString &AName,
                                                       TVnDOMSelectCheckOption ACheck) = 0;
  virtual DelphiInterface<IVnDOMElement> ElementByName(const UnicodeString &ANamespaceURI,
                                                       const UnicodeString &AName,
                                                       bool ACreate) = 0;
  virtual DelphiInterface<IVnDOMElement> ElementByName(const UnicodeString &AName,
                                                       TVnDOMSelectOptions AOptions,
                                                       TClass AClass) = 0;
  virtual DelphiInterface<IVnDOMAttribute> FindAttribute(const UnicodeString &AName,
                                                         TVnDOMSelectOptions AOptions) = 0;
  virtual DelphiInterface<IVnDOMAttribute> FindAttribute(const UnicodeString &ANamespaceURI,
                                                         const UnicodeString &AName) = 0;
  virtual DelphiInterface<IVnDOMAttribute> AttributeByName(const UnicodeString &ANamespaceURI,
                                                           const UnicodeString &AName) = 0;
  virtual DelphiInterface<IVnDOMAttribute> AttributeByName(const UnicodeString &ANamespaceURI,
                                                           const UnicodeString &AName,
                                                           bool ACreate) = 0;
  virtual DelphiInterface<IVnDOMAttribute> AttributeByName(const UnicodeString &AName,
                                                           TVnDOMSelectOptions AOptions,
                                                           TClass AClass) = 0;
  virtual bool HasChildElement(const UnicodeString &AName, TVnDOMSelectOptions AOptions) = 0;
  virtual bool HasChildElement(const UnicodeString &ANamespaceURI, const UnicodeString &AName) = 0;
  virtual bool HasChildElements() = 0;
  virtual DelphiInterface<IVnDOMElement> FirstElement() = 0;
  virtual DelphiInterface<IVnDOMElement> LastElement() = 0;
  virtual bool HasAttribute(const UnicodeString &AName, TVnDOMSelectOptions AOptions) = 0;
  virtual bool HasAttribute(const UnicodeString &ANamespaceURI, const UnicodeString &AName) = 0;
  virtual DelphiInterface<IVnDOMAttribute> FirstAttribute() = 0;
  virtual DelphiInterface<IVnDOMAttribute> LastAttribute() = 0;
  virtual DelphiInterface<IVnDOMElement> ParentElement() = 0;
  virtual DelphiInterface<IVnDOMElement> NextElement() = 0;
  virtual DelphiInterface<IVnDOMElement> PreviousElement() = 0;
  // The element lists are new lists without a parent: the last interface on one frees it.
  virtual DelphiInterface<IVnDOMElementList> CreateElementList(const UnicodeString &AQualifiedName,
                                                               bool ARecursive) = 0;
  virtual DelphiInterface<IVnDOMElementList> CreateElementList(const UnicodeString &ANamespaceURI,
                                                               const UnicodeString &ALocalName,
                                                               bool ARecursive) = 0;
  virtual DelphiInterface<IVnDOMElementList> CreateElementList(const UnicodeString &APath,
                                                               TVnDOMSelectOptions AOptions) = 0;
  virtual DelphiInterface<IVnDOMElement> SelectSingleElement(const UnicodeString &APath,
                                                             TVnDOMSelectOptions AOptions) = 0;

  // Braced option sets. The class of ElementByName and AttributeByName may be left out here, as
  // on the element object.
  DelphiInterface<IVnDOMElement> FindElement(const UnicodeString &AName,
                                             TVnDOMBracedOptions AOptions) {
    return FindElement(AName, TVnDOMSelectOptions(AOptions));
  }
  DelphiInterface<IVnDOMElement> ElementByName(const UnicodeString &AName,
                                               TVnDOMBracedOptions AOptions,
                                               TClass AClass = nullptr) {
    return ElementByName(AName, TVnDOMSelectOptions(AOptions), AClass);
  }
  DelphiInterface<IVnDOMAttribute> FindAttribute(const UnicodeString &AName,
                                                 TVnDOMBracedOptions AOptions) {
    return FindAttribute(AName, TVnDOMSelectOptions(AOptions));
  }
  DelphiInterface<IVnDOMAttribute> AttributeByName(const UnicodeString &AName,
                                                   TVnDOMBracedOptions AOptions,
                                                   TClass AClass = nullptr) {
    return AttributeByName(AName, TVnDOMSelectOptions(AOptions), AClass);
  }
  bool HasChildElement(const UnicodeString &AName, TVnDOMBracedOptions AOptions) {
    return HasChildElement(AName, TVnDOMSelectOptions(AOptions));
  }
  bool HasAttribute(const UnicodeString &AName, TVnDOMBracedOptions AOptions) {
    return HasAttribute(AName, TVnDOMSelectOptions(AOptions));
  }
  DelphiInterface<IVnDOMElementList> CreateElementList(const UnicodeString &APath,
                                                       TVnDOMBracedOptions AOptions) {
    return CreateElementList(APath, TVnDOMSelectOptions(AOptions));
  }
  DelphiInterface<IVnDOMElement> SelectSingleElement(const UnicodeString &APath,
                                                     TVnDOMBracedOptions AOptions) {
    return SelectSingleElement(APath, TVnDOMSelectOptions(AOptions));
  }
};

// A processing instruction node: its target (the name) and its data.
class IVnDOMProcessingInstruction : public virtual IVnDOMNode {
  VN_INTERFACE(IVnDOMProcessingInstruction, IVnDOMNode, "{85F62362-3762-47D2-A308-1F1368E68150}")
 public:
  virtual UnicodeString GetData() = 0;
  virtual void SetData(const UnicodeString &AData) = 0;
};

// LoadFromStream and SaveToStream of IVnDOMNode are refused on a document: it loads and saves
// through LoadFromStreamEx and SaveToStreamEx.
class IVnDOMDocument : public virtual IVnDOMNode {
  VN_INTERFACE(IVnDOMDocument, IVnDOMNode, "{D45D3D71-6B97-4FCD-96A6-DFBBAA9849B8}")
 public:
  virtual DelphiInterface<IVnDOMElement> GetRootNode() = 0;
  virtual UnicodeString GetProcessingInstruction(const UnicodeString &ATarget) = 0;
  virtual bool GetCaseSensitive() = 0;
  virtual TVnXPathCollationClass GetCollation() = 0;
  virtual TVnDOMSelectMatchOption GetSelectMatchOption() = 0;
  virtual TVnDOMSelectCheckOption GetSelectCheckOption() = 0;
  virtual bool GetUseSchemaInstance() = 0;
  virtual UnicodeString GetEncoding() = 0;
  virtual Word GetCodePage() = 0;
  virtual UnicodeString GetDocumentURI() = 0;
  virtual void SetEncoding(const UnicodeString &AEncoding) = 0;
  virtual void SetCodePage(Word ACodePage) = 0;
  virtual void SetProcessingInstruction(const UnicodeString &ATarget,
                                        const UnicodeString &AData) = 0;
  virtual void SetCaseSensitive(bool AValue) = 0;
  virtual void SetCollation(TVnXPathCollationClass AValue) = 0;
  virtual void SetSelectMatchOption(TVnDOMSelectMatchOption AValue) = 0;
  virtual void SetSelectCheckOption(TVnDOMSelectCheckOption AValue) = 0;
  virtual void SetUseSchemaInstance(bool AValue) = 0;
  virtual void SetDocumentURI(const UnicodeString &AURI) = 0;
  virtual DelphiInterface<IVnDOMElement> CreateRootNode(const UnicodeString &AName) = 0;
  virtual DelphiInterface<IVnDOMElement> CreateRootNode(const UnicodeString &ANamespaceURI,
                                                        const UnicodeString &AName) = 0;
  virtual DelphiInterface<IVnDOMComment> AddComment(const UnicodeString &AText) = 0;
  virtual void LoadXML(const UnicodeString &AXML) = 0;
  virtual void LoadXML(TStream *AStream) = 0;
  virtual void LoadXML(const UnicodeString &AFileName, Word AMode) = 0;
  virtual void LoadFromXML(const AnsiString &AXML) = 0;
  virtual void LoadFromXML(const UnicodeString &AXML) = 0;
  virtual void LoadFromStreamEx(TStream *AStream) = 0;
  virtual void SaveToStreamEx(TStream *AStream, bool AFormatted, bool AWriteBOM) = 0;
  virtual void LoadFromFile(const UnicodeString &AFileName, Word AMode) = 0;
  virtual void SaveToFile(const UnicodeString &AFileName, bool AFormatted, bool AWriteBOM) = 0;
  virtual DelphiInterface<IVnDOMElementList> CreateElementList(const UnicodeString &APath,
                                                               TVnDOMSelectOptions AOptions) = 0;
  virtual DelphiInterface<IVnDOMElement> SelectSingleElement(const UnicodeString &APath,
                                                             TVnDOMSelectOptions AOptions) = 0;
  DelphiInterface<IVnDOMElementList> CreateElementList(const UnicodeString &APath,
                                                       TVnDOMBracedOptions AOptions) {
    return CreateElementList(APath, TVnDOMSelectOptions(AOptions));
  }
  DelphiInterface<IVnDOMElement> SelectSingleElement(const UnicodeString &APath,
                                                     TVnDOMBracedOptions AOptions) {
    return SelectSingleElement(APath, TVnDOMSelectOptions(AOptions));
  }
};

namespace detail {
// Answers exactly the listed identifiers, each with the pointer of its own subobject.
template <class Self, class... I>
bool VnDOMFindInterface(Self *ASelf, const TGUID &AIID, void **AObj) {
  bool found = false;
  (void)((AIID == I::IID ? (found = true, *AObj = static_cast<I *>(ASelf),
                            static_cast<I *>(ASelf)->_AddRef(), true)
                         : false) ||
         ...);
  return found;
}
}  // namespace detail

// Lists the interfaces an Impl class answers beyond those of Base (each interface by itself: the
// parents are answered by the Impl that implements them), and routes the three IInterface
// operations of every interface base to Base.
#define VN_DOM_IMPLEMENTS(Base, ...) \
  VN_IMPLEMENTS_BY(::vn::detail::VnDOMFindInterface, Base, __VA_ARGS__)

// ---------------------------------------------------------------------------------------------
// Changes of a tree and the release of interfaces.
//
// Detaching a node that an interface holds releases the Impl chain of its old ancestors, which
// may leave the top of the old tree without a holder: by the rules above that top destroys
// itself, and it may be the very tree whose operation is running. While a TVnDOMChangeScope
// exists on the thread, such a top is not destroyed at once but when the outermost scope ends.
// AddChild, RemoveChild and Clear hold one; an operation that makes several such calls on a tree
// and goes on using the tree between them holds one for its whole length.
class TVnDOMChangeScope {
 public:
  TVnDOMChangeScope() noexcept;
  ~TVnDOMChangeScope();
  TVnDOMChangeScope(const TVnDOMChangeScope &) = delete;
  TVnDOMChangeScope &operator=(const TVnDOMChangeScope &) = delete;
};

// ---------------------------------------------------------------------------------------------
// The object half

// The object half of every object of the tree: its data and logic; its Impl answers interfaces.
class TVnDOMObject : public TVnObject {
  VN_CLASS(TVnDOMObject, TVnObject)
 public:
  TVnDOMObject() noexcept;
  ~TVnDOMObject() override;

  // The first interface request creates the Impl (and those of the ancestors); the request is
  // answered by the Impl, then by this object's own table. A request that nothing answers leaves
  // no Impl behind that it created.
  HRESULT QueryInterface(const TGUID &AIID, void **AObj) override;
  Integer _AddRef() override;
  // Forwards to the Impl; without an Impl raises Exception ("DOM Objects do not support
  // interfaces. ...").
  Integer _Release() override;
  // The same as QueryInterface, so that Supports on the object answers the Impl's interfaces.
  bool GetInterface(const TGUID &AIID, void **AObj) override;
  void BeforeDestruction() override;

  // Whether the object may destroy itself now: not while a living parent holds it, not while
  // counted references are out, not while it is being destroyed.
  virtual bool CanAutoDestroy();
  // True unless GetCollation is TVnXPathCollationASCIICI.
  virtual bool GetCaseSensitive();
  // The document's setting if there is a document, otherwise the process default.
  virtual TVnXPathCollationClass GetCollation();
  virtual TVnDOMSelectMatchOption GetSelectMatchOption();
  virtual TVnDOMSelectCheckOption GetSelectCheckOption();

  TVnDOMNode *GetDOMDocument() const noexcept { return FDOMDocument; }
  TVnDOMObject *GetParent() const noexcept { return FParent; }
  // The interface half, null while no interface exists.
  TVnDOMObjectImpl *GetDOMImpl() const noexcept { return FDOMImpl; }
  bool Destroying() const noexcept { return FDestroying; }

 protected:
  // Builds the Impl of the class's own level around AOwner.
  virtual TVnDOMObjectImpl *CreateDOMImpl(TVnDOMObject *AOwner) = 0;
  // Stores the Impl (null detaches it).
  virtual void SetDOMImpl(TVnDOMObjectImpl *AImpl);
  virtual void SetDOMDocument(TVnDOMNode *ADocument);
  // Stores the parent, adjusts the document, and moves the Impl's parent reference along, so
  // that the chain of references always follows the tree.
  virtual void SetParentNode(TVnDOMObject *AParent);

  // Access for descendants to these operations on other objects of the tree.
  static void DoSetParentNode(TVnDOMObject *AObject, TVnDOMObject *AParent) {
    AObject->SetParentNode(AParent);
  }
  static void DoSetDOMDocument(TVnDOMObject *AObject, TVnDOMNode *ADocument) {
    AObject->SetDOMDocument(ADocument);
  }
  // Makes AOwner the owner of a list it has just created.
  static void SetListOwner(TVnDOMObject *AList, TVnDOMObject *AOwner) noexcept {
    AList->FParent = AOwner;
  }

  TVnDOMNode *FDOMDocument = nullptr;
  TVnDOMObject *FParent = nullptr;
  TVnDOMObjectImpl *FDOMImpl = nullptr;
  bool FDestroying = false;

  // An owner counts in the object's own count, which the interfaces leave alone (they count in
  // the Impl), so CanAutoDestroy is false while an owner holds the object. When the owner ends,
  // the object goes if nothing else holds it now, and otherwise stays with its holders: the
  // last interface, or the tree.
  void OwnerRelease() override;

 private:
  friend class TVnDOMObjectImpl;
  // Takes back an Impl that a request created and nothing answered, without destroying
  // anything.
  void DiscardDOMImpl();
  // Creates the Impl, and first those of the ancestors that have none.
  void MakeDOMImpl();
};

// ---------------------------------------------------------------------------------------------
// The interface half

// The interface half of a tree object: made on the first interface request, ended by the last.
class TVnDOMObjectImpl : public TVnObject {
  VN_CLASS(TVnDOMObjectImpl, TVnObject)
 public:
  // Holds an interface reference on ADOMObject's parent, which builds the parent's Impl if there
  // is none yet. The Impl's automatic destruction is off: its own _Release decides.
  explicit TVnDOMObjectImpl(TVnDOMObject *ADOMObject);
  ~TVnDOMObjectImpl() override;
  // The last reference detaches the Impl from its object, destroys the object if it can
  // destroy itself, and destroys the Impl, which releases the parent's Impl in turn.
  Integer _Release() override;
  // Raises EInvalidPointer while references are out.
  void BeforeDestruction() override;

  // The object half, null once the object has been destroyed under a live interface.
  TVnDOMObject *GetDOMObject() const noexcept { return FDOMObject; }
  TVnDOMObjectImpl *GetParentImpl() const noexcept { return FParent; }

  // Turns an interface argument into its node: null gives null; otherwise the implementor
  // behind IVnObject must be a node's Impl or a node. Anything else, an interface of another
  // DOM among them, raises EInvalidCast ("Invalid class typecast").
  static TVnDOMNode *Node(IInterface *ANode);

 protected:
  // The object, or EVnDomException when it has been destroyed under this interface.
  TVnDOMObject *CheckedObject() const;

  TVnDOMObject *FDOMObject;
  TVnDOMObjectImpl *FParent = nullptr;

 private:
  friend class TVnDOMObject;
  void LinkParent(TVnDOMObject *AParent);
  void ReleaseParentQuietly() noexcept;
  // Releases AImpl, and with it every Impl up the tree whose last reference that was, one after
  // the other. AFrom is the Impl whose destruction releases AImpl, if any.
  static void ReleaseChain(TVnDOMObjectImpl *AImpl, const TVnDOMObjectImpl *AFrom);
};

// Gives the interface I of an object (null for null); EIntfCastError when the object does not
// support it.
template <VnInterface I>
DelphiInterface<I> VnDOMIntf(TVnDOMObject *AObject) {
  if (!AObject) return nullptr;
  return IntfAs<I>(static_cast<IVnObject *>(AObject));
}

// ---------------------------------------------------------------------------------------------
// Nodes

// A node of the tree: name, namespace, parent and children, loading, saving and selection.
class TVnDOMNode : public TVnDOMObject {
  VN_CLASS(TVnDOMNode, TVnDOMObject)
 public:
  TVnDOMNode();
  ~TVnDOMNode() override;
  void AfterConstruction() override;
  // Nodes made while a load runs on the thread are cut from the load's pages, others come from
  // the heap one by one. There are no placement or nothrow forms: a node goes with Free, which
  // gives its memory back to where these took it from.
  static void *operator new(std::size_t ASize);
  static void operator delete(void *AObject, std::size_t ASize) noexcept;
  // Classes aligned beyond what the heap guarantees come from the heap's aligned allocation.
  static void *operator new(std::size_t ASize, std::align_val_t AAlign) {
    return ::operator new(ASize, AAlign);
  }
  static void operator delete(void *AObject, std::size_t, std::align_val_t AAlign) noexcept {
    ::operator delete(AObject, AAlign);
  }
  // Raises while an interface or an owner holds the node, or while another node's child list
  // still lists it, and then leaves the node untouched. Otherwise destroys the children (or
  // detaches those an interface or an owner holds) and takes the node out of its parent.
  void BeforeDestruction() override;
  // False while an Impl exists or a child list lists the node; otherwise as the object rule.
  bool CanAutoDestroy() override;

  // --- values and names
  // The parent's, or DefaultPreserveCase without a parent.
  virtual bool GetPreserveSpace();
  // Empty on a bare node.
  virtual UnicodeString GetNodeValue();
  virtual UnicodeString GetText();
  // The parent's namespace URI if there is a parent, otherwise the URI kept by the node.
  virtual UnicodeString GetNamespaceURI();
  virtual UnicodeString GetInnerXML();
  virtual UnicodeString GetFormattedInnerXML();
  // Raises EVnDomNotSupported on a bare node.
  virtual void SetNodeValue(const UnicodeString &AValue);
  virtual void SetPrefix(const UnicodeString &APrefix);
  // Splits at the first ":" into prefix and local name, then calls SetPrefix with the prefix.
  virtual void SetQualifiedName(const UnicodeString &AName);
  // Raises EVnDomNotSupported on a bare node.
  virtual void SetInnerXML(const UnicodeString &AXML);
  // Refreshes each child.
  virtual void RefreshNamespaces();

 protected:
  // Writes the node to a stream; nothing on a bare node.
  virtual void _SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted, Integer &ALevel);
  virtual void _SaveToJSONStream(TStream *AStream, Word ACodePage, bool AFormatted,
                                 Integer &ALevel);

 public:
  // Does nothing on a bare node.
  virtual void NormalizeTextNodes();
  // A new detached node of the same class with the same qualified name.
  virtual TVnDOMNode *CreateClone();
  // Parses the text and adds what it reads to this node, whatever its kind; text and CDATA need
  // an element to go to (EInvalidCast otherwise, reported as a syntax error).
  virtual void LoadFromStream(TStream *AStream, Word ACodePage);
  // _SaveToStream from level -1.
  virtual void SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted);
  // _SaveToJSONStream from level 1.
  virtual void SaveToJSONStream(TStream *AStream, Word ACodePage, bool AFormatted);
  // Destroys the children from the last to the first, or detaches those an interface holds.
  virtual void Clear();
  // CreateClone, and with ADeep the clones of all descendants in child order.
  virtual TVnDOMNode *CloneNode(bool ADeep);
  // Builds a node through the class reference's parameterless constructor and adds it.
  virtual TVnDOMNode *AddChild(TClass AClass, TVnDOMNode *ARefNode = nullptr,
                               TVnDOMPosition APosition = rdpLast);
  // Adds ANode to the child list at the place that ARefNode and APosition give, then makes this
  // node its parent. The hierarchy is not checked; only a node that would become its own
  // ancestor is refused (EVnDomException). Returns ANode.
  virtual TVnDOMNode *AddChild(TVnDOMNode *ANode, TVnDOMNode *ARefNode = nullptr,
                               TVnDOMPosition APosition = rdpLast);
  // Detaches ANode, takes it out of the child list, and destroys it if nothing else holds it.
  // Null does nothing.
  virtual void RemoveChild(TVnDOMNode *ANode);
  virtual TVnDOMNode *AppendChild(TVnDOMNode *ANode);

  // --- hooks of the node kinds
  // The load state that SetParentNode consults on a node's document; the document answers its
  // own.
  virtual TVnDOMLoadState GetLoadState();
  // False unless the node is an element with attributes.
  virtual bool HasAttributes();
  // The step of this node in NodePath: the local or qualified name, "@" in front for an
  // attribute. An element adds the key-attribute predicate.
  virtual UnicodeString NodePathStep(bool ALocalName, const UnicodeString &AKeyAttribute);

  // --- non-virtual operations
  const UnicodeString &GetLocalName() const noexcept { return FName->LocalName(); }
  const UnicodeString &GetPrefix() const noexcept { return FName->Prefix(); }
  // Prefix, ":" and local name, or the local name alone when the prefix is empty.
  const UnicodeString &GetQualifiedName() const noexcept { return FName->QualifiedName(); }
  // The shared name record.
  TVnDOMName *GetNameRecord() const noexcept { return FName.Get(); }
  TVnDOMNodeType GetNodeType() const noexcept { return FNodeType; }
  // The child list, attributes included; created on first use.
  TVnDOMNodeList *GetChildNodes();
  // The children as an array, for walks that need no list object.
  const TVnDOMNodeArray &Children() const noexcept { return FChildren; }
  // Whether every attribute among the children stands before every other child, as a load puts
  // them: a walk for attributes may then stop at the first child that is none. Once an insert
  // has mixed them, this stays false for the life of the node.
  bool AttributesLead() const noexcept { return !FAttributesMixed; }
  Integer NodeCount() const noexcept;
  bool HasChilds() const noexcept { return NodeCount() > 0; }
  TVnDOMNode *InsertBefore(TVnDOMNode *ANode, TVnDOMNode *ARefNode);
  // The parent of a node is always a node: only AddChild makes one.
  TVnDOMNode *ParentNode() const noexcept { return static_cast<TVnDOMNode *>(FParent); }
  // Next or Previous on the parent's child list; null without a parent.
  TVnDOMNode *NextSibling();
  TVnDOMNode *PreviousSibling();
  // The node written by SaveToStream into UTF-16 text, unformatted or formatted.
  UnicodeString GetXML();
  UnicodeString GetFormattedXML();
  // The path of the node from the document: "/a/b", "/a/@x", "/a/b[@id=\"7\"]".
  UnicodeString NodePath(bool ALocalName = false, const UnicodeString &AKeyAttribute = u"");

  // True for JSON and XML.
  bool CanSerialize(TVnDataSerializationFormatType AFormat) const noexcept;
  // The node written unformatted as UTF-8 XML, or as JSON.
  RawByteString Serialize(TVnDataSerializationFormatType AFormat, TStringList *AParams);
  // Style-sheet transformation of the node's XML through libxslt: the style sheet from a file
  // or from a node's XML. The result is the output text as xsl:output describes it; the forms
  // without AResult load it into a new document that the caller owns. A text that does not
  // parse raises EVnDomSyntax, a style sheet that does not compile or a run that fails
  // EVnDomException, each with the engine's own messages; built without XSLT support, each form
  // raises EVnDomNotSupported.
  void Transform(const UnicodeString &AStyleSheetFile, WideString &AResult);
  void Transform(TVnDOMNode *AStyleSheet, WideString &AResult);
  TVnDOMDocument *Transform(const UnicodeString &AStyleSheetFile);
  TVnDOMDocument *Transform(TVnDOMNode *AStyleSheet);
  // Path selection. A path is one or more alternatives joined by "|", each a chain of steps
  // joined by "/" or "//", each step with any number of predicates in brackets. soCaseSensitive
  // and soCaseInsensitive choose the collation (otherwise the node's), soLocalName and
  // soQualifiedName the name matching (otherwise the node's match option); soRaise raises
  // EVnDomNotFound when nothing is found, soCreate adds the elements of a simple path that are
  // missing. The first node found, or null.
  TVnDOMNode *SelectSingleNode(const UnicodeString &APath, TVnDOMSelectOptions AOptions = {});
  // Every node found, once each, in the order of discovery, in a new list without owner that
  // the caller frees.
  TVnDOMNodeList *CreateNodeList(const UnicodeString &APath, TVnDOMSelectOptions AOptions = {});
  TVnDOMNode *SelectSingleNode(const UnicodeString &APath, TVnDOMBracedOptions AOptions) {
    return SelectSingleNode(APath, TVnDOMSelectOptions(AOptions));
  }
  TVnDOMNodeList *CreateNodeList(const UnicodeString &APath, TVnDOMBracedOptions AOptions) {
    return CreateNodeList(APath, TVnDOMSelectOptions(AOptions));
  }

  // --- UTF-8 forms. Each one converts at the edge and calls the UTF-16 operation above it, so
  // the two never differ in what they do. Text goes in as std::string_view under the operation's
  // own name (a narrow literal, a std::string and a view all pick it); text comes out as
  // std::string from a getter named with "UTF8" at the end. Malformed UTF-8 becomes U+FFFD.
  // The node written in UTF-8, unformatted or formatted: the same text as GetXML and
  // GetFormattedXML, written by SaveToStream in code page 65001 with no UTF-16 copy between.
  std::string GetXMLUTF8() { return SaveToUTF8(false); }
  std::string GetFormattedXMLUTF8() { return SaveToUTF8(true); }
  std::string GetTextUTF8() { return UTF8Encode(GetText()); }
  std::string GetNodeValueUTF8() { return UTF8Encode(GetNodeValue()); }
  // Kinds that override SetNodeValue bring this form back into view with a using-declaration.
  void SetNodeValue(std::string_view AValue) { SetNodeValue(UTF8ToString(AValue)); }
  TVnDOMNode *SelectSingleNode(std::string_view APath, TVnDOMSelectOptions AOptions = {}) {
    return SelectSingleNode(UTF8ToString(APath), AOptions);
  }
  TVnDOMNode *SelectSingleNode(std::string_view APath, TVnDOMBracedOptions AOptions) {
    return SelectSingleNode(UTF8ToString(APath), TVnDOMSelectOptions(AOptions));
  }
  TVnDOMNodeList *CreateNodeList(std::string_view APath, TVnDOMSelectOptions AOptions = {}) {
    return CreateNodeList(UTF8ToString(APath), AOptions);
  }
  TVnDOMNodeList *CreateNodeList(std::string_view APath, TVnDOMBracedOptions AOptions) {
    return CreateNodeList(UTF8ToString(APath), TVnDOMSelectOptions(AOptions));
  }

  // --- parse notifications
  const TVnDOMParseError &GetOnParseWarning() const noexcept;
  const TVnDOMParseError &GetOnParseError() const noexcept;
  const TVnDOMParseError &GetOnParseFatalError() const noexcept;
  void SetOnParseWarning(TVnDOMParseError AEvent);
  void SetOnParseError(TVnDOMParseError AEvent);
  void SetOnParseFatalError(TVnDOMParseError AEvent);
  // Call the matching event if it is assigned.
  void DoDOMParseWarning(IVnSAXLocator *ALocator, const UnicodeString &AMessage, bool &AHandled);
  void DoDOMParseError(IVnSAXLocator *ALocator, const UnicodeString &AMessage, bool &AHandled);
  void DoDOMParseFatalError(IVnSAXLocator *ALocator, const UnicodeString &AMessage, bool &AHandled);

  TVnDOMNodeImpl *DOMNodeImpl() const noexcept;

  // Whether a prefix and local name name a namespace declaration: the local name "xmlns" with no
  // prefix, or the prefix "xmlns"; both without regard to ASCII case.
  static bool IsNamespaceName(UnicodeStringView APrefix, UnicodeStringView ALocalName) noexcept;

 protected:
  TVnDOMObjectImpl *CreateDOMImpl(TVnDOMObject *AOwner) override;
  void SetDOMImpl(TVnDOMObjectImpl *AImpl) override;
  // Stores the document and passes it on to every descendant.
  void SetDOMDocument(TVnDOMNode *ADocument) override;
  // Refreshes the namespaces of the node when it has a document: always, or while the document
  // is loading only for an element.
  void SetParentNode(TVnDOMObject *AParent) override;
  // Called when the child list's own Delete or Clear has taken AChild out: a child whose parent
  // this node is gets detached. Kinds that keep further lists of their children take it out of
  // those too.
  virtual void ChildTakenOut(TVnDOMNode *AChild);
  // Called before the child list's own Add, Delete or Clear changes the children directly.
  // Kinds that keep further lists of their children, which such a change leaves as they are,
  // make sure that those lists exist from then on.
  virtual void ChildListChanging() {}

  // Byte-sized fields first, so that they and the count below share the space behind
  // TVnDOMObject's fields: a node of 80 bytes instead of 88, which puts elements and attributes
  // in slots of the node pages one size smaller.
  TVnDOMNodeType FNodeType = ntUnknown;
  TVnDOMLoadState FLoadState = lsUninitialized;
  bool FNamespaceSet : 1 = false;
  bool FAttributesMixed : 1 = false;
  // Whether the node is of one of the library's element and leaf classes, not a derived one:
  // worked out once after construction (New), so that the walks and attaches that work on these
  // classes only need not ask the class of every node. A node made with a plain new keeps false
  // and takes the general paths.
  bool FOwnLeafOrElement : 1 = false;

 private:
  // How many child lists list this node.
  Integer FChildListRefs = 0;

 protected:
  // The children. The list object that GetChildNodes answers is a view of this array, made on
  // first request. The type above, the children and the name are what a walk of the tree reads
  // of every node: they stand together, so that they mostly share one cache line.
  TVnDOMNodeArray FChildren;
  TVnDOMNameRef FName;

 protected:
  // Stores a name record (taking over the caller's reference), then calls SetPrefix with its
  // prefix as SetQualifiedName does.
  void AdoptName(TVnDOMName *AName);
  // Store a new prefix or local name in a new record, keeping the other part.
  void StorePrefix(const UnicodeString &APrefix);
  void StoreLocalName(const UnicodeString &ALocalName);

  // The namespace URI the node keeps for itself while no parent resolves it; few nodes have one.
  // Once it has held text the record stays, so a reference to the text stays valid.
  const UnicodeString &StoredNamespaceURI() const noexcept {
    return FRare ? RareNamespaceURI() : cNoNamespaceURI;
  }
  void SetStoredNamespaceURI(const UnicodeString &AURI);
  void ClearStoredNamespaceURI() noexcept;

  // Sets the process's flag of odd leaves (see the walks by name) when the node is a text, CDATA
  // or comment node with children or with a name other than its kind's.
  void NoteIfOddLeaf() const noexcept;
  // Put a node into the children at AIndex and take one out, counting the listings; the checks
  // of the list (cycles) are the caller's.
  void ChildInsert(std::size_t AIndex, TVnDOMNode *ANode);
  void ChildErase(std::size_t AIndex) noexcept;
  // Puts a node into the children where the child list's Add would, with its checks.
  void AddToChildren(TVnDOMNode *ANode, TVnDOMNode *ARefNode, TVnDOMPosition APosition);

 private:
  friend class TVnDOMNodeListBase;
  friend class TVnDOMElement;
  friend struct TVnDOMJSONWriter;
  friend class TVnDOMDocument;
  friend class TVnDOMParser;
  // What few nodes have: the kept namespace URI, the parse events, the list object of the
  // children. One pointer wide while no node needs it.
  struct TRare;
  static inline const UnicodeString cNoNamespaceURI;
  const UnicodeString &RareNamespaceURI() const noexcept;
  TRare &Rare();
  // The document whose root this node was until it left the document's children, if the node
  // is that document's departed root.
  TVnDOMDocument *DepartedRootOf() const noexcept;
  void SetDepartedRootOf(TVnDOMDocument *ADocument);
  // Whether the node may be destroyed while AListed child lists still list it.
  bool FreeToDestroy(Integer AListed);
  // The parts of BeforeDestruction before and after Clear: the checks and the flag, then the
  // leave from the parent and the object's part.
  void BeginDestruction();
  void EndDestruction();
  static void CopyChildren(TVnDOMNode *ASource, TVnDOMNode *ADest);
  // The attach of a node the library has just made (by a load, or by a call that creates an
  // element): appends ANode (an element with nothing but new attributes below it, or a text) to
  // ATarget, an element of the library's class, leaving the tree as AppendChild would, without
  // the checks and walks that a node of any history needs. Answers false, having done nothing, in
  // every other case, which AppendChild must take.
  static bool AppendFresh(TVnDOMNode *ATarget, TVnDOMNode *ANode);
  // Puts AAttribute, just made, last on AElement, which has just been made too and is not
  // attached yet: as AddChild would, without its checks.
  static void AddFreshAttribute(TVnDOMElement *AElement, TVnDOMAttribute *AAttribute);
  // Whether the node is of one of the library's element or leaf classes, not a derived one
  // (false as well for such a node made with a plain new).
  static bool OwnLeafOrElement(const TVnDOMNode *ANode) noexcept {
    return ANode->FOwnLeafOrElement;
  }
  // Whether the node is of the library's own class for its kind: TVnDOMElement for ntElement,
  // TVnDOMText for ntText, TVnDOMAttribute for ntAttribute and so on.
  static bool OwnClassOfKind(const TVnDOMNode *ANode, TVnDOMNodeType AKind) noexcept {
    return ANode->FOwnLeafOrElement && ANode->FNodeType == AKind;
  }
  // The same, or a bare node or a document: a class whose walks are the library's own.
  static bool OwnClass(const TVnDOMNode *ANode) noexcept;
  // For a node of the library's own classes: does what its RefreshNamespaces does before it
  // refreshes the children, and answers true. False for an application's class.
  static bool RefreshOwnNamespaces(TVnDOMNode *ANode);
  // SaveToStream in code page 65001 into a string: the text of the UTF-8 getters.
  std::string SaveToUTF8(bool AFormatted) {
    TVnStringStream s(CP_UTF8, 0);
    SaveToStream(&s, CP_UTF8, AFormatted);
    return s.GetDataString();
  }
  std::unique_ptr<TRare> FRare;
};

// ---------------------------------------------------------------------------------------------
// Node lists. They never own their nodes. A list that belongs to a node has that node as its
// parent; a list that a selection returns has none and belongs to the caller.

class TVnDOMNodeListBase;

// The enumerator of the run-time's for-in loops: MoveNext, then GetCurrent.
class TVnDOMNodeListBaseEnumerator : public TObject {
  VN_CLASS(TVnDOMNodeListBaseEnumerator, TObject)
 public:
  explicit TVnDOMNodeListBaseEnumerator(TVnDOMNodeListBase *AList) noexcept : FList(AList) {}
  // Steps on and answers whether the index is still below Count.
  bool MoveNext();
  virtual TVnDOMNode *GetCurrent();

 protected:
  Integer FIndex = -1;
  TVnDOMNodeListBase *FList;
};

// The for-in enumerator of an element list, which reads items by the list's Variant index.
class TVnDOMElementListEnumerator : public TVnDOMNodeListBaseEnumerator {
  VN_CLASS(TVnDOMElementListEnumerator, TVnDOMNodeListBaseEnumerator)
 public:
  using TVnDOMNodeListBaseEnumerator::TVnDOMNodeListBaseEnumerator;
  // Through the element list's Variant index.
  TVnDOMNode *GetCurrent() override;
};

// The iterator of range-for loops over a list: the index starts at 0, each step reads the item
// anew, and the loop ends when the index reaches the list's current Count.
class TVnDOMNodeListIterator {
 public:
  using iterator_category = std::input_iterator_tag;
  using value_type = TVnDOMNode *;
  using difference_type = std::ptrdiff_t;
  using pointer = void;
  using reference = TVnDOMNode *;

  TVnDOMNodeListIterator() noexcept = default;
  TVnDOMNodeListIterator(TVnDOMNodeListBase *AList, bool AByVariant) noexcept
      : FList(AList), FByVariant(AByVariant) {}
  TVnDOMNode *operator*() const;
  TVnDOMNodeListIterator &operator++() noexcept {
    ++FIndex;
    return *this;
  }
  void operator++(int) noexcept { ++FIndex; }
  bool operator==(std::default_sentinel_t) const noexcept;

 private:
  TVnDOMNodeListBase *FList = nullptr;
  Integer FIndex = 0;
  bool FByVariant = false;
};

// The base of the node lists: an ordered array of nodes that it never owns.
class TVnDOMNodeListBase : public TVnDOMObject {
  VN_CLASS(TVnDOMNodeListBase, TVnDOMObject)
 public:
  TVnDOMNodeListBase() noexcept = default;
  ~TVnDOMNodeListBase() override;
  // A list that belongs to a node is destroyed with that node only: raises EVnDomException. A
  // list that an owner holds is freed by its owner only: raises Exception.
  void BeforeDestruction() override;
  // False while an Impl exists, or as the object rule; otherwise true only for a list without
  // owner.
  bool CanAutoDestroy() override;
  // A list that belongs to a node answers with the node's settings.
  TVnXPathCollationClass GetCollation() override;
  TVnDOMSelectMatchOption GetSelectMatchOption() override;
  TVnDOMSelectCheckOption GetSelectCheckOption() override;

  Integer Count() const noexcept { return static_cast<Integer>(FItems->size()); }
  // Raises EListError "List index out of bounds (%d)" for a bad index.
  TVnDOMNode *GetItem(Integer AIndex) const;
  TVnDOMNode *operator[](Integer AIndex) const { return GetItem(AIndex); }
  // Empties the list and frees nothing. On a node's child list the nodes taken out are detached
  // from the node: the caller owns them.
  void Clear();
  // rdpFirst and rdpLast ignore ARefNode; rdpBefore and rdpAfter place ANode at ARefNode, or
  // first and last when ARefNode is null.
  void Add(TVnDOMNode *ANode, TVnDOMNode *ARefNode, TVnDOMPosition APosition);
  // rdpFirst at the start, anything else at the end.
  void Add(TVnDOMNode *ANode, TVnDOMPosition APosition = rdpLast);
  // ARefNode must not be null (assertion). Before or after ARefNode; when ARefNode is not in the
  // list, rdpBefore puts ANode first and anything else last.
  void Add(TVnDOMNode *ANode, TVnDOMPosition APosition, TVnDOMNode *ARefNode);
  // Takes the node out and returns it, or null when it is not in the list. On a node's child
  // list a node whose parent the owner is gets detached: the caller owns it.
  TVnDOMNode *Delete(TVnDOMNode *ANode);
  // Raise EVnDomNotFound "Failed to get the first node!\r\nThe list contains no nodes." when the
  // list is empty (Last too).
  TVnDOMNode *First() const;
  TVnDOMNode *Last() const;
  // The item after ANode, null after the last; a node not in the list gives the first item.
  TVnDOMNode *Next(TVnDOMNode *ANode) const;
  // The item before ANode, null before the first; a node not in the list raises EListError.
  TVnDOMNode *Previous(TVnDOMNode *ANode) const;
  bool ContainsNode(TVnDOMNode *ANode) const noexcept { return IndexOf(ANode) >= 0; }
  Integer IndexOf(TVnDOMNode *ANode) const noexcept;

  // The last item whose name matches: by qualified name unless soLocalName (without either
  // option by GetSelectMatchOption), under the collation the options or the list give. A miss
  // gives null, or EVnDomNotFound with soRaise.
  TVnDOMNode *Find(const UnicodeString &AName, TVnDOMSelectOptions AOptions = {});
  // The last item whose local name equals AName and whose namespace URI equals AURI (any when
  // AURI is empty), under the list's collation.
  TVnDOMNode *Find(UnicodeStringView AURI, UnicodeStringView AName);
  // The last item whose local (ALocal) or qualified name equals AName under ACollation.
  TVnDOMNode *FindName(UnicodeStringView AName, bool ALocal,
                       TVnXPathCollationClass ACollation) const;
  // Find, then Delete.
  TVnDOMNode *Delete(const UnicodeString &AName, TVnDOMSelectOptions AOptions);
  TVnDOMNode *Delete(UnicodeStringView AURI, UnicodeStringView AName);
  // Braced option sets.
  TVnDOMNode *Find(const UnicodeString &AName, TVnDOMBracedOptions AOptions) {
    return Find(AName, TVnDOMSelectOptions(AOptions));
  }
  TVnDOMNode *Delete(const UnicodeString &AName, TVnDOMBracedOptions AOptions) {
    return Delete(AName, TVnDOMSelectOptions(AOptions));
  }

  std::unique_ptr<TVnDOMNodeListBaseEnumerator> GetEnumerator();
  TVnDOMNodeListIterator begin() noexcept { return TVnDOMNodeListIterator(this, false); }
  std::default_sentinel_t end() const noexcept { return std::default_sentinel; }

  TVnDOMNodeListImpl *DOMNodeListImpl() const noexcept;

 protected:
  TVnDOMObjectImpl *CreateDOMImpl(TVnDOMObject *AOwner) override;
  // Puts ANode at AIndex. On a list that belongs to a node, refuses (EVnDomException) the owner
  // itself, an ancestor of the owner, or a node below which the owner stands.
  void InsertAt(Integer AIndex, TVnDOMNode *ANode);
  // Takes the item at AIndex out, without anything else.
  void RemoveAt(Integer AIndex);
  // Refuses (EVnDomException) to put ANode into AOwner's list when AOwner is ANode itself, an
  // ancestor of it, or a node below it by the child lists.
  static void CheckInsert(TVnDOMNode *AOwner, TVnDOMNode *ANode);
  // Next and Previous over an array of nodes.
  static TVnDOMNode *NextIn(const TVnDOMNodeArray &AItems, const TVnDOMNode *ANode);
  static TVnDOMNode *PreviousIn(const TVnDOMNodeArray &AItems, const TVnDOMNode *ANode);
  // Where Add(ANode, ARefNode, APosition) puts a node in AItems.
  static Integer PlaceOf(const TVnDOMNodeArray &AItems, TVnDOMNode *ARefNode,
                         TVnDOMPosition APosition) noexcept;
  TVnDOMNode *Owner() const noexcept;

 public:
  // False for a list of one kind of a node's children (attributes, elements...) and a node that
  // is not a child of that node: such a list does not keep its items alive.
  bool CanHoldNamedItem(const TVnDOMNode *ANode) const noexcept;

 protected:
  // The items: the list's own array, or for the child list of a node the node's children.
  TVnDOMNodeArray &Items() noexcept { return *FItems; }
  const TVnDOMNodeArray &Items() const noexcept { return *FItems; }

  // Whether this is the child list of its owner.
  bool FChildList = false;
  TVnDOMNodeArray FOwnItems;
  TVnDOMNodeArray *FItems = &FOwnItems;

 private:
  friend class TVnDOMNode;
  friend class TVnDOMElement;
  friend class TVnDOMDocument;
  friend class TVnDOMAttribute;
};

// A list of nodes of any kind: a node's children, or the result of a selection.
class TVnDOMNodeList : public TVnDOMNodeListBase {
  VN_CLASS(TVnDOMNodeList, TVnDOMNodeListBase)
 public:
  TVnDOMNodeList() noexcept = default;
};

// A list of elements, read by position or by name through a Variant index.
class TVnDOMElementList : public TVnDOMNodeListBase {
  VN_CLASS(TVnDOMElementList, TVnDOMNodeListBase)
 public:
  TVnDOMElementList() noexcept = default;
  using TVnDOMNodeListBase::GetItem;
  // The position read of the base, also on a list that is not const: without it, GetItem(0)
  // would weigh the base's const form against the Variant form and find neither better.
  TVnDOMNode *GetItem(Integer AIndex) { return TVnDOMNodeListBase::GetItem(AIndex); }
  // GetItemEx with the check option of the owner's document, else the list's document, else
  // DefaultSelectCheckOption.
  TVnDOMNode *GetItem(const Variant &AIndex);
  // An integer index reads by position. A string index: "." gives the owner; a name with "/", or
  // any name with coCreate, is a path that SelectSingleElement selects from the owner (nothing
  // on a list without owner); another name is found by Find, case-sensitive or not by the list's
  // collation, by qualified name when it has a ":" and by local name otherwise, raising with
  // coRaise. Any other kind of index raises EListError "Invalid idx value".
  TVnDOMNode *GetItemEx(const Variant &AIndex, TVnDOMSelectCheckOption ACheck);
  std::unique_ptr<TVnDOMNodeListBaseEnumerator> GetEnumerator();
  TVnDOMNodeListIterator begin() noexcept { return TVnDOMNodeListIterator(this, true); }

  TVnDOMElementListImpl *DOMElementListImpl() const noexcept;

 protected:
  TVnDOMObjectImpl *CreateDOMImpl(TVnDOMObject *AOwner) override;
};

// The attribute list of an element, namespace declarations among them.
class TVnDOMAttrList : public TVnDOMNodeListBase {
  VN_CLASS(TVnDOMAttrList, TVnDOMNodeListBase)
 public:
  TVnDOMAttrList() noexcept = default;
  // The first namespace declaration, in list order, whose value equals AURI under the list's
  // collation, or null.
  TVnDOMNode *FindNamespace(UnicodeStringView AURI);

  TVnDOMAttrListImpl *DOMAttrListImpl() const noexcept;

 protected:
  TVnDOMObjectImpl *CreateDOMImpl(TVnDOMObject *AOwner) override;
};

// A plain list of objects of the tree, the work list of selection and evaluation.
class TVnDOMObjectList : public TObject {
  VN_CLASS(TVnDOMObjectList, TObject)
 public:
  using const_iterator = std::vector<TVnDOMObject *>::const_iterator;

  TVnDOMObjectList() = default;
  Integer Count() const noexcept { return static_cast<Integer>(FItems.size()); }
  // Raises EListError "List index out of bounds (%d)" for a bad index.
  TVnDOMObject *Get(Integer AIndex) const;
  TVnDOMObject *operator[](Integer AIndex) const { return Get(AIndex); }
  Integer Add(TVnDOMObject *AObject);
  void Insert(Integer AIndex, TVnDOMObject *AObject);
  void Delete(Integer AIndex);
  Integer Remove(TVnDOMObject *AObject);
  Integer IndexOf(TVnDOMObject *AObject) const noexcept;
  void Clear() noexcept { FItems.clear(); }
  // Replaces the items by those of another list.
  void Assign(const TVnDOMObjectList *ASource);
  void Assign(const TVnDOMNodeListBase *ASource);
  const_iterator begin() const noexcept { return FItems.begin(); }
  const_iterator end() const noexcept { return FItems.end(); }

 private:
  std::vector<TVnDOMObject *> FItems;
};

// ---------------------------------------------------------------------------------------------
// Leaf nodes. Text and attribute values are kept in XML lexical form, references and all:
// parsing stores them as they stand, output writes them as they stand, and only reading or
// setting the value through GetNodeValue and SetNodeValue converts.

class TVnDOMElement;
class TVnDOMDocument;

// The base of the nodes that hold text: text, CDATA sections and comments.
class TVnDOMCharacterData : public TVnDOMNode {
  VN_CLASS(TVnDOMCharacterData, TVnDOMNode)
 public:
  TVnDOMCharacterData();
  // Text decodes the stored lexical form; comments and CDATA answer it raw.
  UnicodeString GetNodeValue() override;
  UnicodeString GetText() override { return GetNodeValue(); }
  // Text stores the escaped form (apostrophes and quotes too); comments and CDATA store raw.
  void SetNodeValue(const UnicodeString &AValue) override;
  using TVnDOMNode::SetNodeValue;
  // The stored form, unconverted.
  const UnicodeString &GetStoredValue() const noexcept { return FNodeValue; }
  void SetStoredValue(UnicodeString AValue) noexcept { FNodeValue = std::move(AValue); }

  // Work on the decoded value and write it back; offsets are 1-based.
  void AppendStr(const UnicodeString &AText);
  void DeleteStr(Integer AOffset, Integer ACount);
  void InsertStr(Integer AOffset, const UnicodeString &AText);
  void ReplaceStr(Integer AOffset, Integer ACount, const UnicodeString &AText);
  // Answers the whole value: the part it would cut is dropped.
  UnicodeString Substring(Integer AOffset, Integer ACount);

  TVnDOMNode *CreateClone() override;

 protected:
  TVnDOMObjectImpl *CreateDOMImpl(TVnDOMObject *AOwner) override;
  // Whether the stored form is raw (comments, CDATA) rather than lexical (text).
  virtual bool RawValue() const noexcept { return false; }

  UnicodeString FNodeValue;
};

// A text node; its value is stored in escaped form.
class TVnDOMText : public TVnDOMCharacterData {
  VN_CLASS(TVnDOMText, TVnDOMCharacterData)
 public:
  TVnDOMText() = default;
  // The first AOffset characters stay; a new text node right after this one gets the rest and
  // is returned. Raises EVnDomException without a parent.
  TVnDOMText *SplitText(Integer AOffset);

 protected:
  TVnDOMObjectImpl *CreateDOMImpl(TVnDOMObject *AOwner) override;
  // The stored value as it stands, in any mode.
  void _SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted, Integer &ALevel) override;
};

// A CDATA section; its value is stored raw.
class TVnDOMCDATA : public TVnDOMText {
  VN_CLASS(TVnDOMCDATA, TVnDOMText)
 public:
  TVnDOMCDATA();

 protected:
  TVnDOMObjectImpl *CreateDOMImpl(TVnDOMObject *AOwner) override;
  void _SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted, Integer &ALevel) override;
  bool RawValue() const noexcept override { return true; }
};

// A comment; its value is stored raw.
class TVnDOMComment : public TVnDOMCharacterData {
  VN_CLASS(TVnDOMComment, TVnDOMCharacterData)
 public:
  TVnDOMComment();

 protected:
  TVnDOMObjectImpl *CreateDOMImpl(TVnDOMObject *AOwner) override;
  void _SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted, Integer &ALevel) override;
  bool RawValue() const noexcept override { return true; }
};

// An attribute of an element, or a namespace declaration (xmlns, xmlns:p).
class TVnDOMAttribute : public TVnDOMNode {
  VN_CLASS(TVnDOMAttribute, TVnDOMNode)
 public:
  TVnDOMAttribute();
  // The stored lexical form decoded.
  UnicodeString GetNodeValue() override;
  UnicodeString GetText() override { return GetNodeValue(); }
  // Stores the escaped form; an apostrophe stays as it is.
  void SetNodeValue(const UnicodeString &AValue) override;
  using TVnDOMNode::SetNodeValue;
  const UnicodeString &GetStoredValue() const noexcept { return FNodeValue; }
  void SetStoredValue(UnicodeString AValue) noexcept { FNodeValue = std::move(AValue); }

  // Whether this is a namespace declaration: "xmlns" unprefixed, or the prefix "xmlns" (ASCII
  // case ignored).
  bool IsNamespace() const noexcept { return FName->IsNamespace(); }
  // The prefix a declaration declares, empty for the default one; asserts IsNamespace.
  UnicodeString NamespacePrefix() const;
  // The declaration of the attribute's prefix on its element, or null.
  TVnDOMAttribute *GetNamespace() const noexcept { return FNamespace; }

  // The declaration's value; the XML namespace for the prefix "xml"; otherwise empty on an
  // element and the kept URI when detached.
  UnicodeString GetNamespaceURI() override;
  // On an element, adds a declaration of the URI before this attribute when the element does not
  // declare it yet; detached, keeps the URI for when the attribute is attached.
  void SetNamespaceURI(const UnicodeString &AURI);
  void SetPrefix(const UnicodeString &APrefix) override;
  // A change that makes or unmakes a declaration refreshes the element's namespaces.
  void SetQualifiedName(const UnicodeString &AName) override;
  // Links the declaration of the prefix (an unprefixed attribute takes the default one).
  void RefreshNamespaces() override;

  // Next and Previous in the element's attribute list; null without an element.
  TVnDOMAttribute *NextAttribute();
  TVnDOMAttribute *PreviousAttribute();
  TVnDOMElement *ParentElement() const noexcept;

  TVnDOMNode *CreateClone() override;

 protected:
  TVnDOMObjectImpl *CreateDOMImpl(TVnDOMObject *AOwner) override;
  void SetParentNode(TVnDOMObject *AParent) override;
  void _SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted, Integer &ALevel) override;
  // The attribute as a member of its element's JSON object: "<element>_<attribute>": "value"
  // (see TVnDOMElement::SaveToJSONStream for the name).
  void _SaveToJSONStream(TStream *AStream, Word ACodePage, bool AFormatted,
                         Integer &ALevel) override;

 private:
  friend class TVnDOMElement;
  friend class TVnDOMNode;
  void LinkNamespace();
  // LinkNamespace with the declarations in scope of the parent element given.
  void LinkNamespaceIn(TVnDOMAttrList *AScope);
  UnicodeString FNodeValue;
  TVnDOMAttribute *FNamespace = nullptr;
};

// A processing instruction: the target is its name, the data is kept raw.
class TVnDOMProcessingInstruction : public TVnDOMNode {
  VN_CLASS(TVnDOMProcessingInstruction, TVnDOMNode)
 public:
  TVnDOMProcessingInstruction();
  // The data, raw; the target is the qualified name.
  const UnicodeString &GetData() const noexcept { return FData; }
  void SetData(const UnicodeString &AData) { FData = AData; }

 protected:
  TVnDOMObjectImpl *CreateDOMImpl(TVnDOMObject *AOwner) override;
  void _SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted, Integer &ALevel) override;

 private:
  UnicodeString FData;
};

// ---------------------------------------------------------------------------------------------
// Elements. An element keeps all its children in the child list and each also in a list of its
// kind: attributes, child elements, character data (text, CDATA, comments). Processing
// instructions stand in the child list only. The kind lists are created on first use; the
// accessors below create them, the walks of the library do not.

// An element: attributes, child elements and character data, each in a list of its kind.
class TVnDOMElement : public TVnDOMNode {
  VN_CLASS(TVnDOMElement, TVnDOMNode)
 public:
  TVnDOMElement();
  ~TVnDOMElement() override;

  // --- the lists
  TVnDOMAttrList *GetAttributes();
  TVnDOMElementList *GetElements();
  TVnDOMNodeList *GetCharNodes();
  // The namespace declarations in scope: own and inherited, inner ones shadowing outer ones.
  TVnDOMAttrList *GetNamespaces();
  Integer ElementCount() const noexcept;
  Integer AttributeCount() const noexcept;
  bool HasChildElements() const noexcept { return ElementCount() > 0; }
  bool HasAttributes() override { return AttributeCount() > 0; }

  // --- children: the typed list first, then the child list
  using TVnDOMNode::AddChild;
  TVnDOMNode *AddChild(TVnDOMNode *ANode, TVnDOMNode *ARefNode = nullptr,
                       TVnDOMPosition APosition = rdpLast) override;
  // Asserts that ANode is a child of this element; null does nothing.
  void RemoveChild(TVnDOMNode *ANode) override;

  TVnDOMComment *AddComment(const UnicodeString &AValue);
  TVnDOMText *AddText(const UnicodeString &AValue);
  TVnDOMCDATA *AddCDATA(const UnicodeString &AValue);
  TVnDOMElement *AddElement(const UnicodeString &AName);
  // Adds an element that shares the name record ARecord (taking a reference of its own): for a
  // caller that makes many elements of one name, where AddElement(AName) makes a record each.
  TVnDOMElement *AddElement(TVnDOMName *ARecord);
  // The same with a reference that the caller hands over (a caller that takes references in
  // blocks, TVnDOMName::AddRefs, makes no atomic step per element).
  TVnDOMElement *AddElement(TVnDOMNameRef ARecord);
  // The URI is applied when the new element is attached.
  TVnDOMElement *AddElement(const UnicodeString &ANamespaceURI, const UnicodeString &AName);
  TVnDOMAttribute *AddAttribute(const UnicodeString &AName);
  TVnDOMAttribute *AddAttribute(const UnicodeString &ANamespaceURI, const UnicodeString &AName);
  TVnDOMComment *InsertComment(const UnicodeString &AValue, TVnDOMPosition APosition,
                               TVnDOMNode *ARefNode);
  TVnDOMText *InsertText(const UnicodeString &AValue, TVnDOMPosition APosition,
                         TVnDOMNode *ARefNode);
  TVnDOMCDATA *InsertCDATA(const UnicodeString &AValue, TVnDOMPosition APosition,
                           TVnDOMNode *ARefNode);
  TVnDOMElement *InsertElement(const UnicodeString &AName, TVnDOMPosition APosition,
                               TVnDOMNode *ARefNode);
  TVnDOMElement *InsertElement(const UnicodeString &ANamespaceURI, const UnicodeString &AName,
                               TVnDOMPosition APosition, TVnDOMNode *ARefNode);
  void RemoveElement(TVnDOMElement *AElement);
  // Silent when absent.
  void RemoveElement(const UnicodeString &AName);
  // Raises EVnDomNotFound when absent.
  void RemoveElement(const UnicodeString &ANamespaceURI, const UnicodeString &AName);
  void RemoveAttribute(TVnDOMAttribute *AAttribute);
  // Silent when absent.
  void RemoveAttribute(const UnicodeString &AName);
  // Raises EVnDomNotFound when absent.
  void RemoveAttribute(const UnicodeString &ANamespaceURI, const UnicodeString &AName);

  // --- finding; an empty URI means any namespace
  TVnDOMElement *FindElement(const UnicodeString &AName, TVnDOMSelectOptions AOptions = {});
  TVnDOMElement *FindElement(const UnicodeString &ANamespaceURI, const UnicodeString &AName);
  TVnDOMAttribute *FindAttribute(const UnicodeString &AName, TVnDOMSelectOptions AOptions = {});
  TVnDOMAttribute *FindAttribute(const UnicodeString &ANamespaceURI, const UnicodeString &AName);
  bool HasChildElement(const UnicodeString &AName, TVnDOMSelectOptions AOptions = {});
  bool HasChildElement(const UnicodeString &ANamespaceURI, const UnicodeString &AName);
  bool HasAttribute(const UnicodeString &AName, TVnDOMSelectOptions AOptions = {});
  bool HasAttribute(const UnicodeString &ANamespaceURI, const UnicodeString &AName);
  // Find, and with soCreate create a child of AClass (null: TVnDOMElement) named AName.
  TVnDOMElement *ElementByName(const UnicodeString &AName, TVnDOMSelectOptions AOptions,
                               TClass AClass = nullptr);
  // By URI and local name; a miss answers by ACheck (see the creation rule in the source).
  TVnDOMElement *ElementByName(const UnicodeString &ANamespaceURI, const UnicodeString &AName,
                               TVnDOMSelectCheckOption ACheck);
  // By URI and a possibly prefixed name; with ACreate a miss creates the child and declares the
  // URI where it is not declared yet, otherwise raises EVnDomNotFound.
  TVnDOMElement *ElementByName(const UnicodeString &ANamespaceURI, const UnicodeString &AName,
                               bool ACreate);
  TVnDOMAttribute *AttributeByName(const UnicodeString &AName, TVnDOMSelectOptions AOptions,
                                   TClass AClass = nullptr);
  // A miss raises EVnDomNotFound.
  TVnDOMAttribute *AttributeByName(const UnicodeString &ANamespaceURI, const UnicodeString &AName);
  TVnDOMAttribute *AttributeByName(const UnicodeString &ANamespaceURI, const UnicodeString &AName,
                                   bool ACreate);
  // The same lookups with a braced option set.
  TVnDOMElement *FindElement(const UnicodeString &AName, TVnDOMBracedOptions AOptions) {
    return FindElement(AName, TVnDOMSelectOptions(AOptions));
  }
  TVnDOMAttribute *FindAttribute(const UnicodeString &AName, TVnDOMBracedOptions AOptions) {
    return FindAttribute(AName, TVnDOMSelectOptions(AOptions));
  }
  bool HasChildElement(const UnicodeString &AName, TVnDOMBracedOptions AOptions) {
    return HasChildElement(AName, TVnDOMSelectOptions(AOptions));
  }
  bool HasAttribute(const UnicodeString &AName, TVnDOMBracedOptions AOptions) {
    return HasAttribute(AName, TVnDOMSelectOptions(AOptions));
  }
  TVnDOMElement *ElementByName(const UnicodeString &AName, TVnDOMBracedOptions AOptions,
                               TClass AClass = nullptr) {
    return ElementByName(AName, TVnDOMSelectOptions(AOptions), AClass);
  }
  TVnDOMAttribute *AttributeByName(const UnicodeString &AName, TVnDOMBracedOptions AOptions,
                                   TClass AClass = nullptr) {
    return AttributeByName(AName, TVnDOMSelectOptions(AOptions), AClass);
  }

  // --- plain attribute access. Reading an absent attribute by name creates it empty; by URI
  // it raises.
  UnicodeString GetAttribute(const UnicodeString &AName);
  void SetAttribute(const UnicodeString &AName, const UnicodeString &AValue);
  UnicodeString GetAttributeNS(const UnicodeString &ANamespaceURI, const UnicodeString &AName);
  void SetAttributeNS(const UnicodeString &ANamespaceURI, const UnicodeString &AName,
                      const UnicodeString &AValue);

  // --- navigation. The first four raise EVnDomNotFound on an empty list.
  TVnDOMElement *FirstElement();
  TVnDOMElement *LastElement();
  TVnDOMAttribute *FirstAttribute();
  TVnDOMAttribute *LastAttribute();
  TVnDOMElement *ParentElement() const noexcept;
  // Null when the parent is not an element.
  TVnDOMElement *NextElement();
  TVnDOMElement *PreviousElement();
  // The declaration of AURI on this element or the nearest ancestor element that has one.
  TVnDOMAttribute *FindNamespace(const UnicodeString &AURI);
  // The declaration that gives this element its namespace, or null.
  TVnDOMAttribute *GetNamespace() const noexcept { return FNamespace; }

  // --- namespaces
  UnicodeString GetNamespaceURI() override;
  // Detached: keeps the URI for when the element is attached. Attached: declares it on the
  // element when no declaration in scope fits the element's prefix.
  void SetNamespaceURI(const UnicodeString &AURI);
  void SetPrefix(const UnicodeString &APrefix) override;
  void RefreshNamespaces() override;

  // --- values
  // Own character data without comments.
  UnicodeString GetNodeValue() override;
  // Own character data with comments, then the text of each child element.
  UnicodeString GetText() override;
  // Replaces the text and comments (not CDATA) by one new text node holding AValue.
  void SetNodeValue(const UnicodeString &AValue) override;
  using TVnDOMNode::SetNodeValue;
  // The same with a value already in lexical form.
  void SetNodeValueEx(const UnicodeString &AValue);
  // The child elements only, written one after the other.
  UnicodeString GetInnerXML() override;
  UnicodeString GetFormattedInnerXML() override;
  // Replaces the child elements (other children stay) by those parsed from AXML.
  void SetInnerXML(const UnicodeString &AXML) override;
  Integer GetCDATACount() const noexcept;
  // The AIndex-th CDATA section; the index one past the last appends an empty one.
  TVnDOMCDATA *GetCDATA(Integer AIndex);
  Variant GetChildElementValue(const Variant &AIndex);
  void NormalizeTextNodes() override;

  // --- typed access. Getters read GetNodeValue; the numeric and date ones answer their default
  // on text that does not convert.
  bool GetAsBoolean();
  TDateTime GetAsDateTime();
  Double GetAsDouble();
  Int64 GetAsInt64();
  Integer GetAsInteger();
  UnicodeString GetAsString() { return GetNodeValue(); }
  AnsiString GetAsAnsiString();
  Variant GetAsVariant();
  TValue GetAsValue();
  void SetAsBoolean(bool AValue);
  void SetAsDateTime(TDateTime AValue);
  void SetAsDouble(Double AValue);
  void SetAsInt64(Int64 AValue);
  void SetAsInteger(Integer AValue);
  void SetAsString(const UnicodeString &AValue);
  void SetAsAnsiString(const AnsiString &AValue);
  void SetAsVariant(const Variant &AValue);
  void SetAsValue(const TValue &AValue);

  // --- element lists: the element itself and, with ARecursive, its descendants that match.
  // The caller owns the list.
  // The flag takes a bool and nothing else, so that a braced option set ({} or {soRaise})
  // always means the path form below.
  template <std::same_as<bool> B>
  TVnDOMElementList *CreateElementList(const UnicodeString &AQualifiedName, B ARecursive) {
    return CreateElementListByName(AQualifiedName, ARecursive);
  }
  TVnDOMElementList *CreateElementListByName(const UnicodeString &AQualifiedName, bool ARecursive);
  TVnDOMElementList *CreateElementList(const UnicodeString &ANamespaceURI,
                                       const UnicodeString &ALocalName, bool ARecursive);
  // Path selection as CreateNodeList, into an element list; a node found that is no element is
  // an invalid cast.
  TVnDOMElementList *CreateElementList(const UnicodeString &APath, TVnDOMSelectOptions AOptions);
  // SelectSingleNode, checked to be an element.
  TVnDOMElement *SelectSingleElement(const UnicodeString &APath, TVnDOMSelectOptions AOptions = {});

  // --- UTF-8 forms (see TVnDOMNode): names, paths and values in, std::string out.
  std::string GetAttributeUTF8(std::string_view AName) {
    return UTF8Encode(GetAttribute(UTF8ToString(AName)));
  }
  void SetAttribute(std::string_view AName, std::string_view AValue) {
    SetAttribute(UTF8ToString(AName), UTF8ToString(AValue));
  }
  std::string GetAsStringUTF8() { return UTF8Encode(GetAsString()); }
  void SetAsString(std::string_view AValue) { SetAsString(UTF8ToString(AValue)); }
  TVnDOMElement *AddElement(std::string_view AName) { return AddElement(UTF8ToString(AName)); }
  TVnDOMText *AddText(std::string_view AValue) { return AddText(UTF8ToString(AValue)); }
  TVnDOMComment *AddComment(std::string_view AValue) { return AddComment(UTF8ToString(AValue)); }
  void RemoveElement(std::string_view AName) { RemoveElement(UTF8ToString(AName)); }
  void RemoveAttribute(std::string_view AName) { RemoveAttribute(UTF8ToString(AName)); }
  bool HasChildElement(std::string_view AName, TVnDOMSelectOptions AOptions = {}) {
    return HasChildElement(UTF8ToString(AName), AOptions);
  }
  bool HasAttribute(std::string_view AName, TVnDOMSelectOptions AOptions = {}) {
    return HasAttribute(UTF8ToString(AName), AOptions);
  }
  bool HasChildElement(std::string_view AName, TVnDOMBracedOptions AOptions) {
    return HasChildElement(UTF8ToString(AName), TVnDOMSelectOptions(AOptions));
  }
  bool HasAttribute(std::string_view AName, TVnDOMBracedOptions AOptions) {
    return HasAttribute(UTF8ToString(AName), TVnDOMSelectOptions(AOptions));
  }
  TVnDOMElement *FindElement(std::string_view AName, TVnDOMSelectOptions AOptions = {}) {
    return FindElement(UTF8ToString(AName), AOptions);
  }
  TVnDOMElement *FindElement(std::string_view AName, TVnDOMBracedOptions AOptions) {
    return FindElement(UTF8ToString(AName), TVnDOMSelectOptions(AOptions));
  }
  TVnDOMAttribute *FindAttribute(std::string_view AName, TVnDOMSelectOptions AOptions = {}) {
    return FindAttribute(UTF8ToString(AName), AOptions);
  }
  TVnDOMAttribute *FindAttribute(std::string_view AName, TVnDOMBracedOptions AOptions) {
    return FindAttribute(UTF8ToString(AName), TVnDOMSelectOptions(AOptions));
  }
  TVnDOMElementList *CreateElementList(std::string_view APath, TVnDOMSelectOptions AOptions) {
    return CreateElementList(UTF8ToString(APath), AOptions);
  }
  TVnDOMElement *SelectSingleElement(std::string_view APath, TVnDOMSelectOptions AOptions = {}) {
    return SelectSingleElement(UTF8ToString(APath), AOptions);
  }

  // --- preserve space
  bool GetPreserveSpace() override { return FPreserveSpace; }
  // Sets the flag and the "xml:space" attribute; child elements keep their flags.
  void SetPreseveSpace(bool AValue);

  TVnDOMNode *CreateClone() override;
  UnicodeString NodePathStep(bool ALocalName, const UnicodeString &AKeyAttribute) override;

  // --- JSON. The element as one JSON object: "{", the member form of the element (the node's
  // SaveToJSONStream), "}"; with AFormatted a line break after "{" and before "}".
  //
  // The member form is "<name>": <value>, the name being the local name with every "." made a
  // "_". An element with child elements has an object for its value: its member attributes
  // first, then its child elements in order, where a child with later namesakes (same local
  // name) opens an array that takes them all, named by the local name as it stands. An element
  // without child elements has its scalar for its value, followed by its member attributes as
  // members of the same object. The scalar comes from GetAsValue: integers as their text (an
  // empty one as null, one that does not begin with a sign, a dot or a digit quoted), floats as
  // their text, booleans as true or false, text and dates quoted, anything else (no text, no
  // known type, xsi:nil) null. Member attributes are the attributes other than namespace
  // declarations and those in the schema-instance and schema namespaces, named
  // "<element>_<attribute>" ("." made "_"), with a "_" in front for as long as the element has
  // a child element of that local name.
  //
  // The writing walks with a stack of its own, so any depth of nesting is written.
  void SaveToJSONStream(TStream *AStream, Word ACodePage, bool AFormatted) override;

  TVnDOMAttrList *AttributesOrNil() const noexcept {
    return FKindLists ? FKindLists->Attributes : nullptr;
  }
  TVnDOMElementList *ElementsOrNil() const noexcept {
    return FKindLists ? FKindLists->Elements : nullptr;
  }
  TVnDOMNodeList *CharNodesOrNil() const noexcept {
    return FKindLists ? FKindLists->CharNodes : nullptr;
  }

 protected:
  TVnDOMObjectImpl *CreateDOMImpl(TVnDOMObject *AOwner) override;
  void SetParentNode(TVnDOMObject *AParent) override;
  void ChildTakenOut(TVnDOMNode *AChild) override;
  void ChildListChanging() override;
  void _SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted, Integer &ALevel) override;
  // The member form at ALevel (see SaveToJSONStream).
  void _SaveToJSONStream(TStream *AStream, Word ACodePage, bool AFormatted,
                         Integer &ALevel) override;
  void _SetPreseveSpace(bool AValue);

 private:
  friend class TVnDOMParser;
  friend class TVnDOMAttribute;
  friend class TVnDOMNode;
  friend struct TVnDOMJSONWriter;
  // What RefreshNamespaces does before it refreshes the children. AScope, when given, receives
  // what Scope() answers afterwards, found without climbing again.
  void RefreshElementNamespaces(TVnDOMAttrList **AScope = nullptr);
  // What SetParentNode does once the parent link is made: the space setting from the element's
  // own xml:space or from AParent, and the kept namespace URI once the element has a parent.
  void TakeParentSettings(TVnDOMObject *AParent, bool AFreshParent);
  // Places AElement, just made, as InsertElement does; frees it when that fails.
  TVnDOMElement *PlaceNew(TVnDOMElement *AElement, TVnDOMPosition APosition, TVnDOMNode *ARefNode);
  // The start tag with the attributes, closed as empty (" />", answering false) when there are
  // no other children; and the end tag. AHasElements tells whether child elements follow.
  bool SaveStartTag(TStream *AStream, Word ACodePage, bool AFormatted, Integer &ALevel,
                    bool &AHasElements);
  void SaveEndTag(TStream *AStream, Word ACodePage, bool AFormatted, Integer ALevel,
                  bool AHasElements);
  // The next child of a kind from APos on, in the order of its kind list, or null; APos moves
  // past it (a place in the kind list or in the child list, whichever the walk reads).
  TVnDOMNode *NextOfKind(int AKind, std::size_t &APos) const noexcept {
    if (const TVnDOMNodeListBase *list = KindList(AKind)) {
      const TVnDOMNodeArray &items = list->Items();
      return APos < items.size() ? items[APos++] : nullptr;
    }
    while (APos < FChildren.size()) {
      TVnDOMNode *n = FChildren[APos++];
      if (KindOf(n->GetNodeType()) == AKind) return n;
    }
    return nullptr;
  }
  // The kind lists are built from the child list on first use and kept in step from then on.
  // Until then the walks below read the child list, filtered by kind: 0 attributes, 1 elements,
  // 2 character data.
  static int KindOf(TVnDOMNodeType AType) noexcept {
    switch (AType) {
      case ntAttribute:
        return 0;
      case ntElement:
        return 1;
      case ntText:
      case ntCDATA:
      case ntComment:
        return 2;
      default:
        return -1;
    }
  }
  TVnDOMNodeListBase *KindList(int AKind) const noexcept {
    if (!FKindLists) return nullptr;
    return AKind == 0   ? static_cast<TVnDOMNodeListBase *>(FKindLists->Attributes)
           : AKind == 1 ? static_cast<TVnDOMNodeListBase *>(FKindLists->Elements)
           : AKind == 2 ? static_cast<TVnDOMNodeListBase *>(FKindLists->CharNodes)
                        : nullptr;
  }
  TVnDOMNodeListBase *BuildKindList(int AKind);
  // Calls AFn on each node of a kind, in the order of its kind list.
  template <class F>
  void ForEachOfKind(int AKind, F AFn) const {
    if (const TVnDOMNodeListBase *list = KindList(AKind)) {
      for (TVnDOMNode *n : list->Items()) AFn(n);
    } else {
      for (TVnDOMNode *n : FChildren) {
        if (KindOf(n->GetNodeType()) == AKind) AFn(n);
      }
    }
  }
  Integer CountOfKind(int AKind) const noexcept;
  // The last own attribute of this qualified name under the collation, as the attribute list's
  // Find with soQualifiedName would give it.
  TVnDOMAttribute *FindOwnAttribute(const UnicodeString &AQualifiedName);
  // FindOwnAttribute(u"xml:space").
  TVnDOMAttribute *FindOwnSpaceAttribute();
  // The first own declaration of AURI, as the attribute list's FindNamespace would give it.
  TVnDOMAttribute *FindOwnNamespace(UnicodeStringView AURI);
  TVnDOMNodeListBase *TypedList(TVnDOMNode *ANode);
  // The declarations in scope, without copying inherited ones; null when there are none.
  // ASteps, if given, receives how many elements up the list was found.
  TVnDOMAttrList *Scope(Integer *ASteps = nullptr) const noexcept;
  // How many elements in a row at most share the declarations of the element above them.
  static constexpr Integer cScopeShareLimit = 32;
  TVnDOMNode *NodeByName(TVnDOMNodeListBase *AList, const UnicodeString &AName,
                         TVnDOMSelectOptions AOptions, TClass AClass);
  TVnDOMNode *NodeByName(TVnDOMNodeListBase *AList, const UnicodeString &ANamespaceURI,
                         const UnicodeString &AName, TVnDOMSelectCheckOption ACheck);
  TVnDOMNode *NodeByName(TVnDOMNodeListBase *AList, const UnicodeString &ANamespaceURI,
                         const UnicodeString &AName, bool ACreate, TClass AClass);
  void CollectElements(TVnDOMElementList *AList, const UnicodeString &AURI,
                       const UnicodeString &ALocalName, bool ARecursive);
  void RemoveCharNodes(bool AKeepCDATA);
  bool SchemaInstanceOn();
  // The prefixes of the schema-instance namespace (with ":") and of the schema namespace in
  // scope; true when the switch is on and both are declared.
  bool SchemaPrefixes(UnicodeString &AInstance, UnicodeString &ASchema);

  // The lists by kind and of the declarations in scope are built on demand, and most elements
  // never need one: their pointers share one block, created with the first of them.
  struct TKindLists {
    TVnDOMAttrList *Attributes = nullptr;
    TVnDOMAttrList *Namespaces = nullptr;
    TVnDOMElementList *Elements = nullptr;
    TVnDOMNodeList *CharNodes = nullptr;
  };
  TKindLists &KindLists() {
    if (!FKindLists) FKindLists = std::make_unique<TKindLists>();
    return *FKindLists;
  }
  TVnDOMAttrList *NamespacesOrNil() const noexcept {
    return FKindLists ? FKindLists->Namespaces : nullptr;
  }
  std::unique_ptr<TKindLists> FKindLists;
  TVnDOMAttribute *FNamespace = nullptr;
  bool FPreserveSpace;
  // The declarations in scope are exactly those of the parent element (this element declares
  // none): the declarations list is not kept, Scope() reads the parent's, and GetNamespaces()
  // copies them on first use.
  bool FInheritScope = false;
};

// ---------------------------------------------------------------------------------------------
// The document: the top of a tree, its settings, and loading and saving.

// A document: the top of a tree, its settings, and the loading and saving of the whole.
class TVnDOMDocument : public TVnDOMNode {
  VN_CLASS(TVnDOMDocument, TVnDOMNode)
 public:
  TVnDOMDocument();
  ~TVnDOMDocument() override;

  // Static factories of the named constructors; the caller owns the document.
  static TVnDOMDocument *CreateFromXML(const UnicodeString &AXML);
  static TVnDOMDocument *CreateFromFile(const UnicodeString &AFileName,
                                        Word AMode = fmOpenRead | fmShareDenyWrite);
  static TVnDOMDocument *CreateFromStream(TStream *AStream, Word ACodePage);
  // Loads the text as UTF-16 by CreateFromStream: text that does not begin with "<" is JSON,
  // read as the XML it stands for (TVnSAXJSONReader); other text is XML.
  static TVnDOMDocument *CreateFromJSON(const UnicodeString &AJSON);

  // --- settings
  TVnXPathCollationClass GetCollation() override { return FCollation; }
  void SetCollation(TVnXPathCollationClass AValue) { FCollation = AValue; }
  TVnDOMSelectMatchOption GetSelectMatchOption() override { return FSelectMatchOption; }
  void SetSelectMatchOption(TVnDOMSelectMatchOption AValue) { FSelectMatchOption = AValue; }
  TVnDOMSelectCheckOption GetSelectCheckOption() override { return FSelectCheckOption; }
  void SetSelectCheckOption(TVnDOMSelectCheckOption AValue) { FSelectCheckOption = AValue; }
  // False sets the ASCII case-insensitive collation; true replaces that by the code-point one.
  void SetCaseSensitive(bool AValue);
  bool GetUseSchemaInstance() const noexcept { return FUseSchemaInstance; }
  // True declares "xsi" (when absent) and "xsd" on the root.
  void SetUseSchemaInstance(bool AValue);
  // The encoding, "UTF-8" when none is set.
  UnicodeString GetEncoding() const;
  // Sets the code page and encoding and writes the encoding into the "xml" instruction, which
  // is created when there is none.
  void SetEncoding(const UnicodeString &AEncoding);
  // 0 until SetEncoding or SetCodePage sets it: loading leaves it alone.
  Word GetCodePage() const noexcept { return FCodePage; }
  // Sets the page and its encoding name; the instruction is not touched.
  void SetCodePage(Word ACodePage);
  const UnicodeString &GetDocumentURI() const noexcept { return FDocumentURI; }
  void SetDocumentURI(const UnicodeString &AURI) { FDocumentURI = AURI; }

  // --- root and children
  TVnDOMElement *GetRootNode() const noexcept { return FRootNode; }
  // Raises EVnDomException when there is a root already.
  TVnDOMElement *CreateRootNode(const UnicodeString &AName);
  TVnDOMElement *CreateRootNode(const UnicodeString &ANamespaceURI, const UnicodeString &AName);
  // The first element appended becomes the root.
  TVnDOMNode *AppendChild(TVnDOMNode *ANode) override;
  // A root that leaves stays the root for GetRootNode while it lives, and its place stays taken
  // (CreateRootNode refuses, AppendChild makes no new root) until Clear.
  void RemoveChild(TVnDOMNode *ANode) override;
  // Removes the old root (a departed one is let go), then appends AElement, which becomes the
  // root; null leaves the document without one.
  void SetDocumentElement(TVnDOMElement *AElement);
  TVnDOMComment *AddComment(const UnicodeString &AText);
  void Clear() override;
  // Raises EVnDomNotSupported: a document cannot be cloned.
  TVnDOMNode *CreateClone() override;

  // --- path selection from the root. Without a root: EVnDomNotFound with soRaise or soCreate,
  // otherwise null or an empty list. An empty path raises EVnDomNotFound for the single form.
  TVnDOMElementList *CreateElementList(const UnicodeString &APath, TVnDOMSelectOptions AOptions);
  TVnDOMElement *SelectSingleElement(const UnicodeString &APath, TVnDOMSelectOptions AOptions = {});
  // The same with a UTF-8 path.
  TVnDOMElementList *CreateElementList(std::string_view APath, TVnDOMSelectOptions AOptions) {
    return CreateElementList(UTF8ToString(APath), AOptions);
  }
  TVnDOMElement *SelectSingleElement(std::string_view APath, TVnDOMSelectOptions AOptions = {}) {
    return SelectSingleElement(UTF8ToString(APath), AOptions);
  }

  // --- processing instructions; targets compare without regard to case
  TVnDOMProcessingInstruction *FindProcessingInstruction(const UnicodeString &ATarget);
  // Raises EVnDomNotFound when there is none.
  UnicodeString GetProcessingInstruction(const UnicodeString &ATarget);
  void SetProcessingInstruction(const UnicodeString &ATarget, const UnicodeString &AData);

  // --- loading
  // Clears the document and parses the text; empty text leaves it empty.
  void LoadFromXML(const UnicodeString &AXML);
  // Clears the document and parses 8-bit text, whose page comes from the text.
  void LoadFromXML(const AnsiString &AXML);
  void LoadXML(const UnicodeString &AXML) { LoadFromXML(AXML); }
  void LoadXML(TStream *AStream) { LoadFromStream(AStream); }
  void LoadXML(const UnicodeString &AFileName, Word AMode);
  void LoadFromFile(const UnicodeString &AFileName, Word AMode = fmOpenRead | fmShareDenyWrite);
  // Finds the code page from a byte-order mark or the declaration, then parses. Does not clear.
  virtual void LoadFromStream(TStream *AStream);
  // Parses with the given page. Does not clear and does not change the load state.
  void LoadFromStream(TStream *AStream, Word ACodePage) override;
  // Clears the document and parses UTF-8 text as LoadFromXML does, the bytes read where they
  // stand in code page 65001 whatever the declaration names; a leading byte-order mark is
  // skipped, empty text leaves the document empty, and malformed sequences read as U+FFFD.
  void LoadFromUTF8(std::string_view AXML);
  // A new document loaded by LoadFromUTF8; the caller owns it.
  static TVnDOMDocument *CreateFromUTF8(std::string_view AXML);

  // --- saving
  // With AWriteBOM, a byte-order mark for pages 1200 and 65001.
  virtual void SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted, bool AWriteBOM);
  // In the page of GetEncoding.
  virtual void SaveToStream(TStream *AStream, bool AFormatted, bool AWriteBOM);
  using TVnDOMNode::SaveToStream;
  void SaveToFile(const UnicodeString &AFileName, bool AFormatted = false, bool AWriteBOM = false);
  // The UTF-8 byte-order mark with AWriteBOM, then the node form in UTF-8: the member form of
  // the root without braces around it ("<root>": ...). Nothing more without a root.
  virtual void SaveToJSONStream(TStream *AStream, bool AFormatted, bool AWriteBOM);
  // The node form in any page, without a byte-order mark.
  using TVnDOMNode::SaveToJSONStream;
  // The root as one formatted JSON object (TVnDOMElement::SaveToJSONStream), "{}" without a
  // root.
  UnicodeString GetAsFormattedJSON();
  std::string GetAsFormattedJSONUTF8() { return UTF8Encode(GetAsFormattedJSON()); }

 protected:
  TVnDOMObjectImpl *CreateDOMImpl(TVnDOMObject *AOwner) override;
  void _SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted, Integer &ALevel) override;
  // Each child in order; only elements write anything.
  void _SaveToJSONStream(TStream *AStream, Word ACodePage, bool AFormatted,
                         Integer &ALevel) override;
  // Called after each load; does nothing here.
  virtual void DoXMLLoaded() {}
  void ChildTakenOut(TVnDOMNode *AChild) override;

 private:
  friend class TVnDOMParser;
  friend class TVnDOMNode;
  void ReCalcEncoding();
  // The parse of the loads that clear first: the load state around the parse, then DoXMLLoaded.
  void LoadCleared(TStream *AStream, Word ACodePage);
  // The root leaves the children: it is remembered as the root that left, and it tells this
  // document when it is destroyed.
  void RootLeaving(TVnDOMNode *ANode);
  // Lets go of a root that left, which then no longer reports its destruction here.
  void ForgetRoot() noexcept;

  TVnXPathCollationClass FCollation;
  // The root; after it left the children, the root that left while it lives, null once it is
  // destroyed, with FRootLeft keeping its place taken.
  TVnDOMElement *FRootNode = nullptr;
  bool FRootLeft = false;
  UnicodeString FEncoding;
  UnicodeString FDocumentURI;
  TVnDOMSelectMatchOption FSelectMatchOption;
  TVnDOMSelectCheckOption FSelectCheckOption;
  bool FUseSchemaInstance = false;
  Word FCodePage = 0;
};

// ---------------------------------------------------------------------------------------------
// Predicates
//
// The text of one bracket of a path, such as [@id="7" and child], is parsed into a tree of
// equations that hold terms, evaluated once for each candidate node of the step, and the
// candidates for which it is true are kept. Every term yields a Variant: Null when nothing is
// there, a boolean, an integer, a float, a string, or an array with one value per selected node.
// The node context is always the pair (candidate list, zero-based index).
//
// White space in a predicate is the space character only. "and" and "or" have one precedence
// and chain from the right; a comparison meeting a missing node makes the whole predicate false.

enum TVnXPathBoolOperator : Byte { opNA, opAnd, opOr };
enum TVnXPathValueComparisonOperator : Byte {
  opUnequal,
  opEqual,
  opSmaller,
  opSmallerEqual,
  opGreater,
  opGreaterEqual
};

class TVnXPathBaseTerm;

// One node of the boolean structure of a predicate: a term, the operator that joins it to the
// next equation of its chain, and the child equations of a parenthesised group or a negation.
class TVnXPathEquation : public TObject {
  VN_CLASS(TVnXPathEquation, TObject)
 public:
  TVnXPathEquation(TVnDOMSelectMatchOption AMatchOption, TVnXPathCollationClass ACollation);
  // Frees the term, the child equations and the chain of siblings.
  ~TVnXPathEquation() override;

  // Frees a term already there, then stores ATerm.
  void SetValue(TVnXPathBaseTerm *ATerm);
  // A new child equation at the front of the children; this equation's operator becomes opNA.
  TVnXPathEquation *AddFirstChild();
  // A new child equation at the end of the children; this equation's operator becomes
  // AOperator.
  TVnXPathEquation *AddChild(TVnXPathBoolOperator AOperator);
  // A new next equation of the chain, under the same parent; this equation's operator becomes
  // AOperator.
  TVnXPathEquation *AddSibling(TVnXPathBoolOperator AOperator);
  // The options with which the paths of value terms are walked: the case option that the
  // collation stands for, and the name match option.
  TVnDOMSelectOptions GetSelectOptions() const;
  // The value of the chain that starts here for the node AIndex of ANodeList. A term that gives
  // nothing sets ANil and makes the chain false at once. Each term of the chain is evaluated at
  // most once per call.
  bool Evaluate(TVnDOMObjectList *ANodeList, Integer AIndex, bool &ANil);
  // The same, false when any term met nothing.
  bool Evaluate(TVnDOMObjectList *ANodeList, Integer AIndex);
  // Reads one term at the parser's position.
  TVnXPathBaseTerm *ReadTerm(TVnTextParser *AFilterParser);

  TVnDOMSelectMatchOption GetMatchOption() const noexcept { return FMatchOption; }
  TVnXPathCollationClass GetCollation() const noexcept { return FCollation; }
  TVnXPathBoolOperator GetOperation() const noexcept { return FOperation; }
  TVnXPathEquation *GetParent() const noexcept { return FParent; }
  TVnXPathEquation *GetSibling() const noexcept { return FSibling; }
  const std::vector<TVnXPathEquation *> &GetChilds() const noexcept { return FChilds; }
  TVnXPathBaseTerm *GetTerm() const noexcept { return FTerm; }

 private:
  TVnXPathEquation *NewEquation() const;

  TVnDOMSelectMatchOption FMatchOption;
  TVnXPathCollationClass FCollation;
  TVnXPathBoolOperator FOperation = opNA;
  TVnXPathEquation *FParent = nullptr;
  TVnXPathEquation *FSibling = nullptr;
  std::vector<TVnXPathEquation *> FChilds;
  TVnXPathBaseTerm *FTerm = nullptr;
};

// The base of every term. A term belongs to the equation it was made for.
class TVnXPathBaseTerm : public TObject {
  VN_CLASS(TVnXPathBaseTerm, TObject)
 public:
  explicit TVnXPathBaseTerm(TVnXPathEquation *AEquation) noexcept : FEquation(AEquation) {}
  virtual Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) = 0;
  TVnXPathEquation *GetEquation() const noexcept { return FEquation; }
  // Whether the term stands for a truth on its own, so that a predicate of this term alone
  // compares it with true.
  bool IsBoolean() const noexcept { return FIsBoolean; }

 protected:
  TVnXPathEquation *FEquation;
  bool FIsBoolean = false;
};

// A string or number literal.
class TVnXPathConstantTerm : public TVnXPathBaseTerm {
  VN_CLASS(TVnXPathConstantTerm, TVnXPathBaseTerm)
 public:
  // Reads the literal at the parser's position: "text" up to the next quote (no escapes), or
  // the longest run of digits and dots as an integer or a float.
  TVnXPathConstantTerm(TVnXPathEquation *AEquation, TVnTextParser *AFilterParser);
  TVnXPathConstantTerm(TVnXPathEquation *AEquation, const Variant &AValue);
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override;
  // The literal itself, which Value copies.
  const Variant &GetConstant() const noexcept { return FValue; }

 private:
  Variant FValue;
};

struct TVnPathProgram;

// A path, walked from the context node: the value of the node it selects, or an array of the
// values of the nodes it selects.
class TVnXPathValueTerm : public TVnXPathBaseTerm {
  VN_CLASS(TVnXPathValueTerm, TVnXPathBaseTerm)
 public:
  TVnXPathValueTerm(TVnXPathEquation *AEquation, TVnTextParser *AFilterParser,
                    const UnicodeString &APath);
  ~TVnXPathValueTerm() override;
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override;
  // The nodes that the path selects from the node AIndex of ANodeList, in a new list that the
  // caller frees.
  TVnDOMNodeList *Nodes(TVnDOMObjectList *ANodeList, Integer AIndex);
  // The same nodes, appended to AFound.
  void Collect(TVnDOMObjectList *ANodeList, Integer AIndex, std::vector<TVnDOMNode *> &AFound);
  const UnicodeString &GetPath() const noexcept { return FPath; }
  // What Value gives, for a comparison that needs the text only: stNull when Value is Null,
  // stText with AText pointing at the text when Value is that one text (read where the node
  // keeps it when it can, else from AScratch), stMany when the path selects several nodes.
  enum TSingleText : Byte { stNull, stText, stMany };
  TSingleText SingleText(TVnDOMObjectList *ANodeList, Integer AIndex, UnicodeString &AScratch,
                         const UnicodeString *&AText);

 private:
  UnicodeString FPath;
  // The path taken apart on first use and kept for every further candidate.
  std::unique_ptr<TVnPathProgram> FProgram;
};

// A call: the base of the built-in position terms and of the registered functions.
class TVnXPathFunctionTerm : public TVnXPathBaseTerm {
  VN_CLASS(TVnXPathFunctionTerm, TVnXPathBaseTerm)
 public:
  using TVnXPathBaseTerm::TVnXPathBaseTerm;
  // Reads the parameter list behind the "(" that the term reader stepped over. This form reads
  // no parameters: it skips to the balancing ")".
  virtual void ParseParams(TVnTextParser *AFilterParser);
};

// first(): the context node is the first candidate.
class TVnXPathFirstNode : public TVnXPathFunctionTerm {
  VN_CLASS(TVnXPathFirstNode, TVnXPathFunctionTerm)
 public:
  using TVnXPathFunctionTerm::TVnXPathFunctionTerm;
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override;
};

// last(): the context node is the last candidate.
class TVnXPathLastNode : public TVnXPathFunctionTerm {
  VN_CLASS(TVnXPathLastNode, TVnXPathFunctionTerm)
 public:
  using TVnXPathFunctionTerm::TVnXPathFunctionTerm;
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override;
};

// position(): the 1-based position of the context node among the candidates.
class TVnXPathFnPositionTerm : public TVnXPathFunctionTerm {
  VN_CLASS(TVnXPathFnPositionTerm, TVnXPathFunctionTerm)
 public:
  using TVnXPathFunctionTerm::TVnXPathFunctionTerm;
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override;
};

// node(): always true.
class TVnXPathFnNodeTerm : public TVnXPathFunctionTerm {
  VN_CLASS(TVnXPathFnNodeTerm, TVnXPathFunctionTerm)
 public:
  using TVnXPathFunctionTerm::TVnXPathFunctionTerm;
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override;
};

// A parenthesised group: the value of the one child equation of its equation.
class TVnXPathChildTerm : public TVnXPathBaseTerm {
  VN_CLASS(TVnXPathChildTerm, TVnXPathBaseTerm)
 public:
  explicit TVnXPathChildTerm(TVnXPathEquation *AEquation) noexcept : TVnXPathBaseTerm(AEquation) {
    FIsBoolean = true;
  }
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override;

 protected:
  // The child equation's value; false when it met nothing. Raises unless there is exactly one
  // child equation.
  bool ChildValue(TVnDOMObjectList *ANodeList, Integer AIndex, bool &ANil);
};

// not: the negation of the one child equation, and false when that met nothing.
class TVnXPathNot : public TVnXPathChildTerm {
  VN_CLASS(TVnXPathNot, TVnXPathChildTerm)
 public:
  using TVnXPathChildTerm::TVnXPathChildTerm;
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override;
};

// A number alone in a predicate: the context node is the candidate at that zero-based index.
class TVnXPathChildNodeX : public TVnXPathBaseTerm {
  VN_CLASS(TVnXPathChildNodeX, TVnXPathBaseTerm)
 public:
  TVnXPathChildNodeX(TVnXPathEquation *AEquation, TVnTextParser *AFilterParser,
                     Integer AIndex) noexcept;
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override;

 private:
  Integer FIndex;
};

// A term without comparison: for a path, whether it selects anything; otherwise whether its
// value is not empty.
class TVnXPathHasNode : public TVnXPathBaseTerm {
  VN_CLASS(TVnXPathHasNode, TVnXPathBaseTerm)
 public:
  // Takes over ATerm.
  TVnXPathHasNode(TVnXPathEquation *AEquation, TVnXPathBaseTerm *ATerm) noexcept;
  ~TVnXPathHasNode() override;
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override;
  TVnXPathBaseTerm *GetPath() const noexcept { return FPath; }

 private:
  TVnXPathBaseTerm *FPath;
};

// A comparison of two terms. Arrays compare element by element until a pair is true; strings
// compare under the equation's collation, numbers as integers or floats, anything else by the
// Variant comparison.
class TVnXPathValueComparison : public TVnXPathBaseTerm {
  VN_CLASS(TVnXPathValueComparison, TVnXPathBaseTerm)
 public:
  // Takes over both terms.
  TVnXPathValueComparison(TVnXPathEquation *AEquation, TVnXPathBaseTerm *AValue1,
                          TVnXPathBaseTerm *AValue2,
                          TVnXPathValueComparisonOperator AOperator) noexcept;
  ~TVnXPathValueComparison() override;
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override;
  // One pair: Null when either side is Null, otherwise the boolean of the comparison.
  Variant CompareValues(const Variant &A, const Variant &B) const;

  TVnXPathBaseTerm *GetValue1() const noexcept { return FValue1; }
  TVnXPathBaseTerm *GetValue2() const noexcept { return FValue2; }
  TVnXPathValueComparisonOperator GetOperator() const noexcept { return FOperator; }
  // Takes the first term back without freeing it; the comparison then holds none.
  TVnXPathBaseTerm *ReleaseValue1() noexcept;

 private:
  TVnXPathBaseTerm *FValue1;
  TVnXPathBaseTerm *FValue2;
  TVnXPathValueComparisonOperator FOperator;
  // The second term when it is a literal, read in place instead of copied per node.
  TVnXPathConstantTerm *FConstant2;
  // The first term when it is a path, whose one text a comparison with a text literal reads
  // without making a Variant of it.
  TVnXPathValueTerm *FPath1;
  // The comparison of two texts under the equation's collation.
  bool CompareTexts(const UnicodeString &A, const UnicodeString &B) const;
};

// A list of terms. Its value is the text of the item values joined by ", ".
class TVnXPathListTerm : public TVnXPathBaseTerm {
  VN_CLASS(TVnXPathListTerm, TVnXPathBaseTerm)
 public:
  using TVnXPathBaseTerm::TVnXPathBaseTerm;
  ~TVnXPathListTerm() override;
  TVnXPathBaseTerm *GetTerm(Integer AIndex) const;
  Integer Count() const noexcept { return static_cast<Integer>(FList.size()); }
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override;

 protected:
  // Reads the items between AOpen and AClose at the parser's position.
  void ReadItems(TVnTextParser *AFilterParser, char16_t AOpen, char16_t AClose);
  std::vector<TVnXPathBaseTerm *> FList;
};

// (a, b, ...)
class TVnXPathSequenceTerm : public TVnXPathListTerm {
  VN_CLASS(TVnXPathSequenceTerm, TVnXPathListTerm)
 public:
  TVnXPathSequenceTerm(TVnXPathEquation *AEquation, TVnTextParser *AFilterParser);
};

// [a, b, ...]
class TVnXPathArrayTerm : public TVnXPathListTerm {
  VN_CLASS(TVnXPathArrayTerm, TVnXPathListTerm)
 public:
  TVnXPathArrayTerm(TVnXPathEquation *AEquation, TVnTextParser *AFilterParser);
};

// How deeply paths and predicates may nest inside one another (a path in a predicate in a path,
// parentheses, lists in lists). Deeper text raises EVnDomSyntax.
inline constexpr Integer cVnXPathMaxNesting = 128;

// Formats XML text: loads it into a document and answers the document's formatted text. Parse
// errors pass through.
UnicodeString VnFormatXML(const UnicodeString &AXML);
UnicodeString VnFormatXML(const AnsiString &AXML);
// Formats the text (IDOMNodeEx) of a document given through the generic interfaces, not its
// markup: on a document of this library the text is empty, and so is the result.
UnicodeString VnFormatXML(IDOMDocument *ADocument);

// ---------------------------------------------------------------------------------------------
// Impls. Each forwards every operation of its interfaces to its object; node arguments go
// through Node.

// The interface half of a node: the library's node interfaces and the generic DOM ones.
class TVnDOMNodeImpl : public TVnDOMObjectImpl,
                       public virtual IVnDOMNode,
                       public virtual IDOMNode,
                       public virtual IDOMNodeEx,
                       public IDOMNodeSelect,
                       public IDOMPersist {
  VN_CLASS(TVnDOMNodeImpl, TVnDOMObjectImpl)
  VN_DOM_IMPLEMENTS(TVnDOMObjectImpl, IVnSerializable, IVnDOMNode, IDOMNode, IDOMNodeEx,
                    IDOMNodeSelect, IDOMPersist)
 public:
  explicit TVnDOMNodeImpl(TVnDOMObject *ADOMObject) : TVnDOMObjectImpl(ADOMObject) {}
  TVnDOMNode *DOMNode() const;

  // IVnSerializable
  bool CanSerialize(TVnDataSerializationFormatType AFormat) override;
  RawByteString Serialize(TVnDataSerializationFormatType AFormat, TStringList *AParams) override;

  // IVnDOMNode
  bool GetPreserveSpace() override;
  UnicodeString GetNodeValue() override;
  UnicodeString GetText() override;
  UnicodeString GetNamespaceURI() override;
  UnicodeString GetLocalName() override;
  UnicodeString GetPrefix() override;
  UnicodeString GetQualifiedName() override;
  UnicodeString GetFormattedInnerXML() override;
  UnicodeString GetFormattedXML() override;
  UnicodeString GetInnerXML() override;
  UnicodeString GetXML() override;
  DelphiInterface<IVnDOMNodeList> GetChildNodes() override;
  TVnDOMNodeType GetNodeType() override;
  void SetNodeValue(const UnicodeString &AValue) override;
  void SetPrefix(const UnicodeString &APrefix) override;
  void SetQualifiedName(const UnicodeString &AName) override;
  void SetInnerXML(const UnicodeString &AXML) override;
  void NormalizeTextNodes() override;
  void LoadFromStream(TStream *AStream, Word ACodePage) override;
  void SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted) override;
  void Clear() override;
  DelphiInterface<IVnDOMNode> CloneNode(bool ADeep) override;
  Integer NodeCount() override;
  DelphiInterface<IVnDOMNode> AddChild(IVnDOMNode *ANode, IVnDOMNode *ARefNode,
                                       TVnDOMPosition APosition) override;
  void RemoveChild(IVnDOMNode *ANode) override;
  DelphiInterface<IVnDOMNode> InsertBefore(IVnDOMNode *ANode, IVnDOMNode *ARefNode) override;
  DelphiInterface<IVnDOMNode> AppendChild(IVnDOMNode *ANode) override;
  DelphiInterface<IVnDOMNode> SelectSingleNode(const UnicodeString &APath,
                                               TVnDOMSelectOptions AOptions) override;
  DelphiInterface<IVnDOMNodeList> CreateNodeList(const UnicodeString &APath,
                                                 TVnDOMSelectOptions AOptions) override;
  DelphiInterface<IVnDOMNode> NextSibling() override;
  DelphiInterface<IVnDOMNode> PreviousSibling() override;
  bool HasChilds() override;
  bool HasAttributes() override;
  void Transform(IVnDOMNode *AStyleSheet, WideString &AResult) override;
  DelphiInterface<IVnDOMDocument> Transform(IVnDOMNode *AStyleSheet) override;
  DelphiInterface<IVnDOMDocument> Document() override;
  DelphiInterface<IVnDOMNode> ParentNode() override;
  UnicodeString NodePath(bool ALocalName, const UnicodeString &AKeyAttribute) override;

  // IDOMNode
  HRESULT get_nodeName(DOMString &AResult) override;
  HRESULT get_nodeValue(DOMString &AResult) override;
  HRESULT set_nodeValue(const DOMString &AValue) override;
  HRESULT get_nodeType(DOMNodeType &AResult) override;
  HRESULT get_parentNode(DelphiInterface<IDOMNode> &AResult) override;
  // The child list, attributes included.
  HRESULT get_childNodes(DelphiInterface<IDOMNodeList> &AResult) override;
  // Fail on a node without children instead of answering null.
  HRESULT get_firstChild(DelphiInterface<IDOMNode> &AResult) override;
  HRESULT get_lastChild(DelphiInterface<IDOMNode> &AResult) override;
  HRESULT get_previousSibling(DelphiInterface<IDOMNode> &AResult) override;
  HRESULT get_nextSibling(DelphiInterface<IDOMNode> &AResult) override;
  // An element's attribute list; other nodes fail.
  HRESULT get_attributes(DelphiInterface<IDOMNamedNodeMap> &AResult) override;
  HRESULT get_ownerDocument(DelphiInterface<IDOMDocument> &AResult) override;
  HRESULT get_namespaceURI(DOMString &AResult) override;
  HRESULT get_prefix(DOMString &AResult) override;
  HRESULT get_localName(DOMString &AResult) override;
  HRESULT insertBefore(IDOMNode *ANewChild, IDOMNode *ARefChild,
                       DelphiInterface<IDOMNode> &AResult) override;
  HRESULT replaceChild(IDOMNode *ANewChild, IDOMNode *AOldChild,
                       DelphiInterface<IDOMNode> &AResult) override;
  HRESULT removeChild(IDOMNode *AChild, DelphiInterface<IDOMNode> &AResult) override;
  HRESULT appendChild(IDOMNode *ANewChild, DelphiInterface<IDOMNode> &AResult) override;
  HRESULT hasChildNodes(bool &AResult) override;
  HRESULT cloneNode(bool ADeep, DelphiInterface<IDOMNode> &AResult) override;
  HRESULT normalize() override;
  // Always false.
  HRESULT supports(const DOMString &AFeature, const DOMString &AVersion, bool &AResult) override;

  // IDOMNodeEx
  HRESULT get_text(DOMString &AResult) override;
  HRESULT set_text(const DOMString &AText) override;
  HRESULT get_xml(DOMString &AResult) override;
  HRESULT transformNode(IDOMNode *AStyleSheet, WideString &AOutput) override;
  HRESULT transformNode(IDOMNode *AStyleSheet, IDOMDocument *AOutput) override;

  // IDOMNodeSelect: SelectSingleNode with soRaise, CreateNodeList without options.
  HRESULT selectNode(const DOMString &ANodePath, DelphiInterface<IDOMNode> &AResult) override;
  HRESULT selectNodes(const DOMString &ANodePath, DelphiInterface<IDOMNodeList> &AResult) override;

  // IDOMPersist
  HRESULT asyncLoadState(Integer &AResult) override;
  HRESULT load(const Variant &ASource, bool &AResult) override;
  HRESULT loadFromStream(TStream *AStream, bool &AResult) override;
  HRESULT loadFromStream(IStream *AStream, bool &AResult) override;
  HRESULT loadxml(const DOMString &AValue, bool &AResult) override;
  // Builds the markup and writes it nowhere: the destination is not touched.
  HRESULT save(const Variant &ADestination) override;
  HRESULT saveToStream(TStream *AStream) override;
  // Stores the handler, which is never called: loads are never asynchronous.
  HRESULT set_OnAsyncLoad(TObject *ASender, TAsyncEventHandler AEventHandler) override;

 protected:
  TAsyncEventHandler FEventHandler;
  Integer FLoadState = 0;
};

// The interface half of a node list, as the library's list and the generic DOM ones.
class TVnDOMNodeListImpl : public TVnDOMObjectImpl,
                           public virtual IVnDOMNamedNodeList,
                           public IDOMNodeList,
                           public IDOMNamedNodeMap {
  VN_CLASS(TVnDOMNodeListImpl, TVnDOMObjectImpl)
  VN_DOM_IMPLEMENTS(TVnDOMObjectImpl, IVnDOMNodeList, IVnDOMNamedNodeList, IDOMNodeList,
                    IDOMNamedNodeMap)
 public:
  explicit TVnDOMNodeListImpl(TVnDOMObject *ADOMObject) : TVnDOMObjectImpl(ADOMObject) {}
  TVnDOMNodeListBase *DOMList() const;

  // IVnDOMNodeList
  DelphiInterface<IVnDOMNode> GetItem(Integer AIndex) override;
  void Clear() override;
  void Add(IVnDOMNode *ANode, IVnDOMNode *ARefNode, TVnDOMPosition APosition) override;
  void Add(IVnDOMNode *ANode, TVnDOMPosition APosition) override;
  void Add(IVnDOMNode *ANode, TVnDOMPosition APosition, IVnDOMNode *ARefNode) override;
  DelphiInterface<IVnDOMNode> Delete(IVnDOMNode *ANode) override;
  Integer Count() override;
  DelphiInterface<IVnDOMNode> First() override;
  DelphiInterface<IVnDOMNode> Last() override;
  DelphiInterface<IVnDOMNode> Next(IVnDOMNode *ANode) override;
  DelphiInterface<IVnDOMNode> Previous(IVnDOMNode *ANode) override;
  bool ContainsNode(IVnDOMNode *ANode) override;

  // IVnDOMNamedNodeList
  DelphiInterface<IVnDOMNode> Find(const UnicodeString &AName,
                                   TVnDOMSelectOptions AOptions) override;
  DelphiInterface<IVnDOMNode> Find(UnicodeStringView AURI, UnicodeStringView AName) override;
  DelphiInterface<IVnDOMNode> Delete(const UnicodeString &AName,
                                     TVnDOMSelectOptions AOptions) override;
  DelphiInterface<IVnDOMNode> Delete(UnicodeStringView AURI, UnicodeStringView AName) override;

  // IDOMNodeList, IDOMNamedNodeMap. The named operations change the list only: a node keeps its
  // parent and its place among the children, and an added node gets no parent.
  HRESULT get_item(Integer AIndex, DelphiInterface<IDOMNode> &AResult) override;
  HRESULT get_length(Integer &AResult) override;
  // A miss fails.
  HRESULT getNamedItem(const DOMString &AName, DelphiInterface<IDOMNode> &AResult) override;
  HRESULT setNamedItem(IDOMNode *ANode, DelphiInterface<IDOMNode> &AResult) override;
  HRESULT removeNamedItem(const DOMString &AName, DelphiInterface<IDOMNode> &AResult) override;
  HRESULT getNamedItemNS(const DOMString &ANamespaceURI, const DOMString &ALocalName,
                         DelphiInterface<IDOMNode> &AResult) override;
  HRESULT setNamedItemNS(IDOMNode *ANode, DelphiInterface<IDOMNode> &AResult) override;
  HRESULT removeNamedItemNS(const DOMString &ANamespaceURI, const DOMString &ALocalName,
                            DelphiInterface<IDOMNode> &AResult) override;
};

// The interface half of an element list.
class TVnDOMElementListImpl : public TVnDOMNodeListImpl, public virtual IVnDOMElementList {
  VN_CLASS(TVnDOMElementListImpl, TVnDOMNodeListImpl)
  VN_DOM_IMPLEMENTS(TVnDOMNodeListImpl, IVnDOMElementList)
 public:
  explicit TVnDOMElementListImpl(TVnDOMObject *ADOMObject) : TVnDOMNodeListImpl(ADOMObject) {}
  DelphiInterface<IVnDOMElement> GetElement(const Variant &AIndex) override;
};

// The interface half of an attribute list.
class TVnDOMAttrListImpl : public TVnDOMNodeListImpl, public virtual IVnDOMAttrList {
  VN_CLASS(TVnDOMAttrListImpl, TVnDOMNodeListImpl)
  VN_DOM_IMPLEMENTS(TVnDOMNodeListImpl, IVnDOMAttrList)
 public:
  explicit TVnDOMAttrListImpl(TVnDOMObject *ADOMObject) : TVnDOMNodeListImpl(ADOMObject) {}
  DelphiInterface<IVnDOMAttribute> FindNamespace(const UnicodeString &AURI) override;
  DelphiInterface<IVnDOMAttribute> GetAttribute(Integer AIndex) override;
};

// The Impls of the node kinds: each forwards the operations of its kind's interface to its
// object, under the same name.
class TVnDOMCharacterDataImpl : public TVnDOMNodeImpl,
                                public virtual IVnDOMCharacterData,
                                public virtual IDOMCharacterData {
  VN_CLASS(TVnDOMCharacterDataImpl, TVnDOMNodeImpl)
  VN_DOM_IMPLEMENTS(TVnDOMNodeImpl, IVnDOMCharacterData, IDOMCharacterData)
 public:
  explicit TVnDOMCharacterDataImpl(TVnDOMObject *ADOMObject) : TVnDOMNodeImpl(ADOMObject) {}
  TVnDOMCharacterData *DOMCharacterData() const;

  // IVnDOMCharacterData
  void AppendStr(const UnicodeString &AText) override;
  void DeleteStr(Integer AOffset, Integer ACount) override;
  void InsertStr(Integer AOffset, const UnicodeString &AText) override;
  void ReplaceStr(Integer AOffset, Integer ACount, const UnicodeString &AText) override;
  UnicodeString Substring(Integer AOffset, Integer ACount) override;

  // IDOMCharacterData: the value and the operations above (substringData answers the whole
  // value, as Substring does).
  HRESULT get_data(DOMString &AResult) override;
  HRESULT set_data(const DOMString &AData) override;
  HRESULT get_length(Integer &AResult) override;
  HRESULT substringData(Integer AOffset, Integer ACount, DOMString &AResult) override;
  HRESULT appendData(const DOMString &AData) override;
  HRESULT insertData(Integer AOffset, const DOMString &AData) override;
  HRESULT deleteData(Integer AOffset, Integer ACount) override;
  HRESULT replaceData(Integer AOffset, Integer ACount, const DOMString &AData) override;
};

// The interface half of a text node.
class TVnDOMTextImpl : public TVnDOMCharacterDataImpl,
                       public virtual IVnDOMText,
                       public virtual IDOMText {
  VN_CLASS(TVnDOMTextImpl, TVnDOMCharacterDataImpl)
  VN_DOM_IMPLEMENTS(TVnDOMCharacterDataImpl, IVnDOMText, IDOMText)
 public:
  explicit TVnDOMTextImpl(TVnDOMObject *ADOMObject) : TVnDOMCharacterDataImpl(ADOMObject) {}

  // IVnDOMText
  DelphiInterface<IVnDOMText> SplitTxt(Integer AOffset) override;

  // IDOMText
  HRESULT splitText(Integer AOffset, DelphiInterface<IDOMText> &AResult) override;
};

// The interface half of a CDATA section.
class TVnDOMCDATAImpl : public TVnDOMTextImpl,
                        public virtual IVnDOMCDATA,
                        public virtual IDOMCDATASection {
  VN_CLASS(TVnDOMCDATAImpl, TVnDOMTextImpl)
  VN_DOM_IMPLEMENTS(TVnDOMTextImpl, IVnDOMCDATA, IDOMCDATASection)
 public:
  explicit TVnDOMCDATAImpl(TVnDOMObject *ADOMObject) : TVnDOMTextImpl(ADOMObject) {}
};

// The interface half of a comment.
class TVnDOMCommentImpl : public TVnDOMCharacterDataImpl,
                          public virtual IVnDOMComment,
                          public virtual IDOMComment {
  VN_CLASS(TVnDOMCommentImpl, TVnDOMCharacterDataImpl)
  VN_DOM_IMPLEMENTS(TVnDOMCharacterDataImpl, IVnDOMComment, IDOMComment)
 public:
  explicit TVnDOMCommentImpl(TVnDOMObject *ADOMObject) : TVnDOMCharacterDataImpl(ADOMObject) {}
};

// The interface half of an attribute.
class TVnDOMAttributeImpl : public TVnDOMNodeImpl,
                            public virtual IVnDOMAttribute,
                            public virtual IDOMAttr {
  VN_CLASS(TVnDOMAttributeImpl, TVnDOMNodeImpl)
  VN_DOM_IMPLEMENTS(TVnDOMNodeImpl, IVnDOMAttribute, IDOMAttr)
 public:
  explicit TVnDOMAttributeImpl(TVnDOMObject *ADOMObject) : TVnDOMNodeImpl(ADOMObject) {}
  TVnDOMAttribute *DOMAttribute() const;

  // IVnDOMAttribute
  bool IsNamespace() override;
  UnicodeString NamespacePrefix() override;
  DelphiInterface<IVnDOMAttribute> NextAttribute() override;
  DelphiInterface<IVnDOMAttribute> PreviousAttribute() override;

  // IDOMAttr: the qualified name, the value, the parent; always specified.
  HRESULT get_name(DOMString &AResult) override;
  HRESULT get_specified(bool &AResult) override;
  HRESULT get_value(DOMString &AResult) override;
  HRESULT set_value(const DOMString &AValue) override;
  HRESULT get_ownerElement(DelphiInterface<IDOMElement> &AResult) override;
};

// The interface half of an element.
class TVnDOMElementImpl : public TVnDOMNodeImpl,
                          public virtual IVnDOMElement,
                          public virtual IDOMElement {
  VN_CLASS(TVnDOMElementImpl, TVnDOMNodeImpl)
  VN_DOM_IMPLEMENTS(TVnDOMNodeImpl, IVnDOMElement, IDOMElement)
 public:
  explicit TVnDOMElementImpl(TVnDOMObject *ADOMObject) : TVnDOMNodeImpl(ADOMObject) {}
  TVnDOMElement *DOMElement() const;

  // IVnDOMElement
  bool GetAsBoolean() override;
  TDateTime GetAsDateTime() override;
  Double GetAsDouble() override;
  Int64 GetAsInt64() override;
  Integer GetAsInteger() override;
  UnicodeString GetAsString() override;
  AnsiString GetAsAnsiString() override;
  Variant GetAsVariant() override;
  TValue GetAsValue() override;
  Variant GetChildElementValue(const Variant &AIndex) override;
  UnicodeString GetAttrib(const UnicodeString &AName) override;
  UnicodeString GetAttribNS(const UnicodeString &ANamespaceURI,
                            const UnicodeString &AName) override;
  void SetAsBoolean(bool AValue) override;
  void SetAsDateTime(TDateTime AValue) override;
  void SetAsDouble(Double AValue) override;
  void SetAsInt64(Int64 AValue) override;
  void SetAsInteger(Integer AValue) override;
  void SetAsString(const UnicodeString &AValue) override;
  void SetAsVariant(const Variant &AValue) override;
  void SetAsAnsiString(const AnsiString &AValue) override;
  void SetAsValue(const TValue &AValue) override;
  void SetAttrib(const UnicodeString &AName, const UnicodeString &AValue) override;
  void SetAttribNS(const UnicodeString &ANamespaceURI, const UnicodeString &AName,
                   const UnicodeString &AValue) override;
  void SetPreseveSpace(bool AValue) override;
  DelphiInterface<IVnDOMCDATA> GetCDATA(Integer AIndex) override;
  DelphiInterface<IVnDOMAttrList> GetAttributes() override;
  DelphiInterface<IVnDOMElementList> GetElements() override;
  DelphiInterface<IVnDOMNodeList> GetCharNodes() override;
  DelphiInterface<IVnDOMAttrList> GetNamespaces() override;
  Integer ElementCount() override;
  Integer AttributeCount() override;
  DelphiInterface<IVnDOMComment> AddComment(const UnicodeString &AValue) override;
  DelphiInterface<IVnDOMText> AddText(const UnicodeString &AValue) override;
  DelphiInterface<IVnDOMCDATA> AddCDATA(const UnicodeString &AValue) override;
  DelphiInterface<IVnDOMElement> AddElement(const UnicodeString &AName) override;
  DelphiInterface<IVnDOMElement> AddElement(const UnicodeString &ANamespaceURI,
                                            const UnicodeString &AName) override;
  DelphiInterface<IVnDOMAttribute> AddAttribute(const UnicodeString &AName) override;
  DelphiInterface<IVnDOMAttribute> AddAttribute(const UnicodeString &ANamespaceURI,
                                                const UnicodeString &AName) override;
  DelphiInterface<IVnDOMComment> InsertComment(const UnicodeString &AValue,
                                               TVnDOMPosition APosition,
                                               IVnDOMNode *ARefNode) override;
  DelphiInterface<IVnDOMText> InsertText(const UnicodeString &AValue, TVnDOMPosition APosition,
                                         IVnDOMNode *ARefNode) override;
  DelphiInterface<IVnDOMCDATA> InsertCDATA(const UnicodeString &AValue, TVnDOMPosition APosition,
                                           IVnDOMNode *ARefNode) override;
  DelphiInterface<IVnDOMElement> InsertElement(const UnicodeString &AName, TVnDOMPosition APosition,
                                               IVnDOMNode *ARefNode) override;
  DelphiInterface<IVnDOMElement> InsertElement(const UnicodeString &ANamespaceURI,
                                               const UnicodeString &AName, TVnDOMPosition APosition,
                                               IVnDOMNode *ARefNode) override;
  void RemoveElement(IVnDOMElement *AElement) override;
  void RemoveElement(const UnicodeString &AName) override;
  void RemoveElement(const UnicodeString &ANamespaceURI, const UnicodeString &AName) override;
  void RemoveAttribute(IVnDOMAttribute *AAttribute) override;
  void RemoveAttribute(const UnicodeString &AName) override;
  void RemoveAttribute(const UnicodeString &ANamespaceURI, const UnicodeString &AName) override;
  DelphiInterface<IVnDOMElement> FindElement(const UnicodeString &AName,
                                             TVnDOMSelectOptions AOptions) override;
  DelphiInterface<IVnDOMElement> FindElement(const UnicodeString &ANamespaceURI,
                                             const UnicodeString &AName) override;
  DelphiInterface<IVnDOMElement> ElementByName(const UnicodeString &ANamespaceURI,
                                               const UnicodeString &AName,
                                               TVnDOMSelectCheckOption ACheck) override;
  DelphiInterface<IVnDOMElement> ElementByName(const UnicodeString &ANamespaceURI,
                                               const UnicodeString &AName, bool ACreate) override;
  DelphiInterface<IVnDOMElement> ElementByName(const UnicodeString &AName,
                                               TVnDOMSelectOptions AOptions,
                                               TClass AClass) override;
  DelphiInterface<IVnDOMAttribute> FindAttribute(const UnicodeString &AName,
                                                 TVnDOMSelectOptions AOptions) override;
  DelphiInterface<IVnDOMAttribute> FindAttribute(const UnicodeString &ANamespaceURI,
                                                 const UnicodeString &AName) override;
  DelphiInterface<IVnDOMAttribute> AttributeByName(const UnicodeString &ANamespaceURI,
                                                   const UnicodeString &AName) override;
  DelphiInterface<IVnDOMAttribute> AttributeByName(const UnicodeString &ANamespaceURI,
                                                   const UnicodeString &AName,
                                                   bool ACreate) override;
  DelphiInterface<IVnDOMAttribute> AttributeByName(const UnicodeString &AName,
                                                   TVnDOMSelectOptions AOptions,
                                                   TClass AClass) override;
  bool HasChildElement(const UnicodeString &AName, TVnDOMSelectOptions AOptions) override;
  bool HasChildElement(const UnicodeString &ANamespaceURI, const UnicodeString &AName) override;
  bool HasChildElements() override;
  DelphiInterface<IVnDOMElement> FirstElement() override;
  DelphiInterface<IVnDOMElement> LastElement() override;
  bool HasAttribute(const UnicodeString &AName, TVnDOMSelectOptions AOptions) override;
  bool HasAttribute(const UnicodeString &ANamespaceURI, const UnicodeString &AName) override;
  DelphiInterface<IVnDOMAttribute> FirstAttribute() override;
  DelphiInterface<IVnDOMAttribute> LastAttribute() override;
  DelphiInterface<IVnDOMElement> ParentElement() override;
  DelphiInterface<IVnDOMElement> NextElement() override;
  DelphiInterface<IVnDOMElement> PreviousElement() override;
  DelphiInterface<IVnDOMElementList> CreateElementList(const UnicodeString &AQualifiedName,
                                                       bool ARecursive) override;
  DelphiInterface<IVnDOMElementList> CreateElementList(const UnicodeString &ANamespaceURI,
                                                       const UnicodeString &ALocalName,
                                                       bool ARecursive) override;
  DelphiInterface<IVnDOMElementList> CreateElementList(const UnicodeString &APath,
                                                       TVnDOMSelectOptions AOptions) override;
  DelphiInterface<IVnDOMElement> SelectSingleElement(const UnicodeString &APath,
                                                     TVnDOMSelectOptions AOptions) override;

  // IDOMElement
  HRESULT get_tagName(DOMString &AResult) override;
  HRESULT getAttribute(const DOMString &AName, DOMString &AResult) override;
  HRESULT setAttribute(const DOMString &AName, const DOMString &AValue) override;
  HRESULT removeAttribute(const DOMString &AName) override;
  HRESULT getAttributeNode(const DOMString &AName, DelphiInterface<IDOMAttr> &AResult) override;
  // Adds the attribute after the others; one of the same name stays.
  HRESULT setAttributeNode(IDOMAttr *ANewAttr, DelphiInterface<IDOMAttr> &AResult) override;
  HRESULT removeAttributeNode(IDOMAttr *AOldAttr, DelphiInterface<IDOMAttr> &AResult) override;
  HRESULT getElementsByTagName(const DOMString &AName,
                               DelphiInterface<IDOMNodeList> &AResult) override;
  HRESULT getAttributeNS(const DOMString &ANamespaceURI, const DOMString &ALocalName,
                         DOMString &AResult) override;
  HRESULT setAttributeNS(const DOMString &ANamespaceURI, const DOMString &AQualifiedName,
                         const DOMString &AValue) override;
  HRESULT removeAttributeNS(const DOMString &ANamespaceURI, const DOMString &ALocalName) override;
  HRESULT getAttributeNodeNS(const DOMString &ANamespaceURI, const DOMString &ALocalName,
                             DelphiInterface<IDOMAttr> &AResult) override;
  HRESULT setAttributeNodeNS(IDOMAttr *ANewAttr, DelphiInterface<IDOMAttr> &AResult) override;
  HRESULT getElementsByTagNameNS(const DOMString &ANamespaceURI, const DOMString &ALocalName,
                                 DelphiInterface<IDOMNodeList> &AResult) override;
  HRESULT hasAttribute(const DOMString &AName, bool &AResult) override;
  HRESULT hasAttributeNS(const DOMString &ANamespaceURI, const DOMString &ALocalName,
                         bool &AResult) override;
};

// The interface half of a processing instruction.
class TVnDOMProcessingInstructionImpl : public TVnDOMNodeImpl,
                                        public virtual IVnDOMProcessingInstruction,
                                        public virtual IDOMProcessingInstruction {
  VN_CLASS(TVnDOMProcessingInstructionImpl, TVnDOMNodeImpl)
  VN_DOM_IMPLEMENTS(TVnDOMNodeImpl, IVnDOMProcessingInstruction, IDOMProcessingInstruction)
 public:
  explicit TVnDOMProcessingInstructionImpl(TVnDOMObject *ADOMObject) : TVnDOMNodeImpl(ADOMObject) {}
  TVnDOMProcessingInstruction *DOMProcessingInstruction() const;

  // IVnDOMProcessingInstruction
  UnicodeString GetData() override;
  void SetData(const UnicodeString &AData) override;

  // IDOMProcessingInstruction: the qualified name is the target.
  HRESULT get_target(DOMString &AResult) override;
  HRESULT get_data(DOMString &AResult) override;
  HRESULT set_data(const DOMString &AData) override;
};

// The interface half of a document, which also answers as its document type.
class TVnDOMDocumentImpl : public TVnDOMNodeImpl,
                           public virtual IVnDOMDocument,
                           public virtual IDOMDocument,
                           public virtual IDOMDocumentType {
  VN_CLASS(TVnDOMDocumentImpl, TVnDOMNodeImpl)
  VN_DOM_IMPLEMENTS(TVnDOMNodeImpl, IVnDOMDocument, IDOMDocument, IDOMDocumentType)
 public:
  explicit TVnDOMDocumentImpl(TVnDOMObject *ADOMObject) : TVnDOMNodeImpl(ADOMObject) {}
  TVnDOMDocument *DOMDocument() const;

  // A document is loaded and saved through its own operations: both raise EVnDomNotSupported.
  void LoadFromStream(TStream *AStream, Word ACodePage) override;
  void SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted) override;

  // IVnDOMDocument
  DelphiInterface<IVnDOMElement> GetRootNode() override;
  UnicodeString GetProcessingInstruction(const UnicodeString &ATarget) override;
  bool GetCaseSensitive() override;
  TVnXPathCollationClass GetCollation() override;
  TVnDOMSelectMatchOption GetSelectMatchOption() override;
  TVnDOMSelectCheckOption GetSelectCheckOption() override;
  bool GetUseSchemaInstance() override;
  UnicodeString GetEncoding() override;
  Word GetCodePage() override;
  UnicodeString GetDocumentURI() override;
  void SetEncoding(const UnicodeString &AEncoding) override;
  void SetCodePage(Word ACodePage) override;
  void SetProcessingInstruction(const UnicodeString &ATarget, const UnicodeString &AData) override;
  void SetCaseSensitive(bool AValue) override;
  void SetCollation(TVnXPathCollationClass AValue) override;
  void SetSelectMatchOption(TVnDOMSelectMatchOption AValue) override;
  void SetSelectCheckOption(TVnDOMSelectCheckOption AValue) override;
  void SetUseSchemaInstance(bool AValue) override;
  void SetDocumentURI(const UnicodeString &AURI) override;
  DelphiInterface<IVnDOMElement> CreateRootNode(const UnicodeString &AName) override;
  DelphiInterface<IVnDOMElement> CreateRootNode(const UnicodeString &ANamespaceURI,
                                                const UnicodeString &AName) override;
  DelphiInterface<IVnDOMComment> AddComment(const UnicodeString &AText) override;
  void LoadXML(const UnicodeString &AXML) override;
  void LoadXML(TStream *AStream) override;
  void LoadXML(const UnicodeString &AFileName, Word AMode) override;
  void LoadFromXML(const AnsiString &AXML) override;
  void LoadFromXML(const UnicodeString &AXML) override;
  void LoadFromStreamEx(TStream *AStream) override;
  void SaveToStreamEx(TStream *AStream, bool AFormatted, bool AWriteBOM) override;
  void LoadFromFile(const UnicodeString &AFileName, Word AMode) override;
  void SaveToFile(const UnicodeString &AFileName, bool AFormatted, bool AWriteBOM) override;
  // Through the root element. Without a root: EVnDomNotFound with soRaise or soCreate, otherwise
  // no element and an empty list.
  DelphiInterface<IVnDOMElementList> CreateElementList(const UnicodeString &APath,
                                                       TVnDOMSelectOptions AOptions) override;
  DelphiInterface<IVnDOMElement> SelectSingleElement(const UnicodeString &APath,
                                                     TVnDOMSelectOptions AOptions) override;

  // IDOMDocument. The create operations give detached nodes: a node that is never added goes
  // with its last interface.
  HRESULT get_doctype(DelphiInterface<IDOMDocumentType> &AResult) override;
  HRESULT get_domImplementation(DelphiInterface<IDOMImplementation> &AResult) override;
  HRESULT get_documentElement(DelphiInterface<IDOMElement> &AResult) override;
  // Removes the old root, then appends the new one.
  HRESULT set_documentElement(IDOMElement *AElement) override;
  HRESULT createElement(const DOMString &ATagName, DelphiInterface<IDOMElement> &AResult) override;
  // Not supported: fails.
  HRESULT createDocumentFragment(DelphiInterface<IDOMDocumentFragment> &AResult) override;
  HRESULT createTextNode(const DOMString &AData, DelphiInterface<IDOMText> &AResult) override;
  HRESULT createComment(const DOMString &AData, DelphiInterface<IDOMComment> &AResult) override;
  HRESULT createCDATASection(const DOMString &AData,
                             DelphiInterface<IDOMCDATASection> &AResult) override;
  HRESULT createProcessingInstruction(const DOMString &ATarget, const DOMString &AData,
                                      DelphiInterface<IDOMProcessingInstruction> &AResult) override;
  HRESULT createAttribute(const DOMString &AName, DelphiInterface<IDOMAttr> &AResult) override;
  // Not supported: fails.
  HRESULT createEntityReference(const DOMString &AName,
                                DelphiInterface<IDOMEntityReference> &AResult) override;
  HRESULT getElementsByTagName(const DOMString &ATagName,
                               DelphiInterface<IDOMNodeList> &AResult) override;
  // A clone of the node, deep or not, left detached.
  HRESULT importNode(IDOMNode *ANode, bool ADeep, DelphiInterface<IDOMNode> &AResult) override;
  HRESULT createElementNS(const DOMString &ANamespaceURI, const DOMString &AQualifiedName,
                          DelphiInterface<IDOMElement> &AResult) override;
  HRESULT createAttributeNS(const DOMString &ANamespaceURI, const DOMString &AQualifiedName,
                            DelphiInterface<IDOMAttr> &AResult) override;
  HRESULT getElementsByTagNameNS(const DOMString &ANamespaceURI, const DOMString &ALocalName,
                                 DelphiInterface<IDOMNodeList> &AResult) override;
  // The element that the path //@id="AElementId" selects.
  HRESULT getElementById(const DOMString &AElementId,
                         DelphiInterface<IDOMElement> &AResult) override;

  // IDOMDocumentType: the document stands for its own document type, which is empty.
  HRESULT get_name(DOMString &AResult) override;
  HRESULT get_entities(DelphiInterface<IDOMNamedNodeMap> &AResult) override;
  HRESULT get_notations(DelphiInterface<IDOMNamedNodeMap> &AResult) override;
  HRESULT get_publicId(DOMString &AResult) override;
  HRESULT get_systemId(DOMString &AResult) override;
  HRESULT get_internalSubset(DOMString &AResult) override;
};

// ---------------------------------------------------------------------------------------------
// The DOM vendor "Vornell": the library's tree behind the generic DOM interfaces of XmlDom.h.
// The unit registers one vendor at start-up, unless one of that description is registered
// already, and unregisters it at shutdown.

// The DOM vendor "Vornell" of the generic DOM registry: hands out TVnDOMImplementation.
class TVnDOMVendor : public TDOMVendor {
  VN_CLASS(TVnDOMVendor, TDOMVendor)
 public:
  // "Vornell".
  DOMString Description() override;
  // A new TVnDOMImplementation.
  DelphiInterface<IDOMImplementation> DOMImplementation() override;
};

// The generic DOM implementation of the library: makes documents of the library's tree.
class TVnDOMImplementation : public TVnObject, public IDOMImplementation {
  VN_CLASS(TVnDOMImplementation, TVnObject)
  VN_IMPLEMENTS(TVnObject, IDOMImplementation)
 public:
  // True for "xml" (ignoring case) in version "1.0" or "2.0".
  HRESULT hasFeature(const DOMString &AFeature, const DOMString &AVersion, bool &AResult) override;
  // Fails: EVnDomNotSupported "Not implemented".
  HRESULT createDocumentType(const DOMString &AQualifiedName, const DOMString &APublicId,
                             const DOMString &ASystemId,
                             DelphiInterface<IDOMDocumentType> &AResult) override;
  // A new document; with a name its root element, and with a URI the root's declaration of it
  // ("xmlns" or "xmlns:" and the name's prefix). A document type fails: EVnDomNotSupported.
  HRESULT createDocument(const DOMString &ANamespaceURI, const DOMString &AQualifiedName,
                         IDOMDocumentType *ADocType,
                         DelphiInterface<IDOMDocument> &AResult) override;
};

// The vendor's description.
inline constexpr const char16_t *cVnDOMVendorName = u"Vornell";

// A document of this library from XML text (CreateFromXML).
DelphiInterface<IVnDOMDocument> VnCreateDOM(const UnicodeString &AXML);
// A document of the vendor AVendor (GetDOM) with a root element of that name and namespace.
DelphiInterface<IDOMDocument> VnCreateDOM(const UnicodeString &AVendor,
                                          const UnicodeString &ANamespaceURI,
                                          const UnicodeString &AName);
// Add a node of the kind to AParent, made by AParent's owner document and appended with
// appendChild (attributes with setAttributeNode). They work on any vendor's DOM; failures raise
// ESafecallException.
DelphiInterface<IDOMElement> VnAddElement(IDOMElement *AParent, const UnicodeString &AName);
DelphiInterface<IDOMElement> VnAddElement(IDOMElement *AParent, const UnicodeString &ANamespaceURI,
                                          const UnicodeString &AName);
DelphiInterface<IDOMAttr> VnAddAttribute(IDOMElement *AParent, const UnicodeString &AName);
DelphiInterface<IDOMAttr> VnAddAttribute(IDOMElement *AParent, const UnicodeString &ANamespaceURI,
                                         const UnicodeString &AName);
DelphiInterface<IDOMText> VnAddText(IDOMElement *AParent, const UnicodeString &AText);
DelphiInterface<IDOMCDATASection> VnAddCDATA(IDOMElement *AParent, const UnicodeString &AText);
DelphiInterface<IDOMComment> VnAddComment(IDOMElement *AParent, const UnicodeString &AText);

// ---------------------------------------------------------------------------------------------
// The SAX consumer that builds nodes under a target node, a document or an element. Values are
// stored as the reader hands them over, in lexical form. A failure leaves the nodes built so far
// in the tree.

// Builds nodes from SAX events under a document or an element.
class TVnDOMParser : public TVnObject,
                     public IVnSAXContentHandler,
                     public IVnSAXLexicalHandler,
                     public IVnSAXErrorHandler {
  VN_CLASS(TVnDOMParser, TVnObject)
  VN_IMPLEMENTS(TVnObject, IVnSAXContentHandler, IVnSAXLexicalHandler, IVnSAXErrorHandler)
 public:
  explicit TVnDOMParser(TVnDOMNode *ADOMNode) noexcept : FDOMNode(ADOMNode) {}
  ~TVnDOMParser() override;

  // Skips the units below 33, then reads XML when the next unit is "<", and JSON as the XML it
  // stands for otherwise (TVnSAXJSONReader).
  void Parse(TStream *AStream, Word ACodePage);

  TVnDOMParseError OnParseWarning, OnParseError, OnParseFatalError;

  // IVnSAXContentHandler
  void SetDocumentLocator(IVnSAXLocator *ALocator) override { FLocator = ALocator; }
  void Characters(const VnXMLString &AText) override;
  void EndDocument() override {}
  void EndElement(const VnXMLString &, const VnXMLString &, const VnXMLString &) override;
  void EndPrefixMapping(const VnXMLString &) override {}
  void IgnorableWhitespace(const VnXMLString &AText) override;
  void ProcessingInstruction(const VnXMLString &ATarget, const VnXMLString &AData) override;
  void SkippedEntity(const VnXMLString &) override {}
  void StartDocument() override {}
  void StartElement(const VnXMLString &ANamespaceURI, const VnXMLString &ALocalName,
                    const VnXMLString &AQName, IVnSAXAttributes *AAttributes) override;
  void StartPrefixMapping(const VnXMLString &, const VnXMLString &) override {}
  // IVnSAXLexicalHandler
  void Comment(const VnXMLString &AText) override;
  void StartCDATA() override { FInCDATA = true; }
  void StartDTD() override {}
  void StartEntity(const VnXMLString &) override {}
  void EndCDATA() override { FInCDATA = false; }
  void EndDTD() override {}
  void EndEntity(const VnXMLString &) override {}
  // IVnSAXErrorHandler. Warnings and errors go to their events and parsing continues; a fatal
  // error not handled by its event raises EVnDomSyntax "Line %d, column %d: %s".
  void Warning(IVnSAXLocator *ALocator, const VnXMLString &AMessage) override;
  void Error(IVnSAXLocator *ALocator, const VnXMLString &AMessage) override;
  void FatalError(IVnSAXLocator *ALocator, const VnXMLString &AMessage) override;

 private:
  // The node that the events build on; EVnDomHierarchyRequest when end tags have climbed
  // above the node the load began at.
  TVnDOMNode *Target() const;
  TVnDOMElement *CurrentElement() const;
  // The record of a qualified name, shared by every node of the parse that bears the name; the
  // caller gets a reference of its own.
  TVnDOMName *NameOf(const VnXMLString &AQName);
  // Appends a node the load has just made; one that could not be appended is freed.
  static void AppendNew(TVnDOMNode *ATarget, TVnDOMNode *ANode);
  TVnDOMNode *FDOMNode;
  std::unordered_map<UnicodeString, TVnDOMName *> FNames;
  // The names met last, by a cheap hash of the text, in front of the map; the map holds them.
  TVnDOMName *FRecent[256] = {};
  DelphiInterface<IVnSAXLocator> FLocator;
  bool FInCDATA = false;
};

// ---------------------------------------------------------------------------------------------
// Serialization. A document and an element have a text of their own, and serializing one of
// them as a value writes that text instead of walking its members: the XML of the document's or
// the element's save, or the JSON rendering of a document. At the root of a run the text is the
// whole output, and the run's parameters ("excluderoot" and the namespace settings) have no
// effect on it. As a member of an object the text stands at the member's place, with no element
// of the member around it.
//
// Reading loads the text into the instance, or into a new document when the run has none. An
// element is only ever filled: a reader cannot create one.
//
// The unit registers these classes under dsfXML. The pair that is registered first for a type
// and format stands, so a document is written and read as XML; TVnXMLDocJSONSerializer is for
// callers that create it themselves and want the JSON rendering of a document.

// A TVnDOMDocument as its XML, saved unformatted, without a byte-order mark, in the page of its
// encoding.
class TVnXMLDocSerializer : public TVnXMLSerializer {
  VN_CLASS(TVnXMLDocSerializer, TVnXMLSerializer)
 public:
  using TVnXMLSerializer::Serialize;
  using TVnXMLSerializer::TVnXMLSerializer;
  RawByteString Serialize() override;
  void Serialize(TStream *AStream) override;
  // Inside a walk: the text at the member's place; the member gets no element of its own.
  void DoSerialize(TVnSerializer *ASerializer, const UnicodeString &AName,
                   const UnicodeString &APath) override;
  void SerializeStartType(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                          Integer AIndex) override;
  void SerializeEndType(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                        Integer AIndex) override;
};

// A TVnDOMDocument loaded from XML, or from JSON when the text does not begin with "<" (the
// document's own sniffing load). The text is added to what the document holds: a document that
// has a root gets a second top-level element.
class TVnXMLDocDeserializer : public TVnXMLDeserializer {
  VN_CLASS(TVnXMLDocDeserializer, TVnXMLDeserializer)
 public:
  using TVnXMLDeserializer::Deserialize;
  using TVnXMLDeserializer::TVnXMLDeserializer;
  // A new, empty TVnDOMDocument; ATypeInfo becomes its type.
  TObject *CreateInstance(const TVnTypeInfo *&ATypeInfo) override;
  void Deserialize(TStream *AStream) override;
};

// A TVnDOMElement as its XML, unformatted, in the code page of its document (UTF-8 when it has
// none, or when the document has no page set).
class TVnDOMElementSerializer : public TVnXMLSerializer {
  VN_CLASS(TVnDOMElementSerializer, TVnXMLSerializer)
 public:
  using TVnXMLSerializer::Serialize;
  using TVnXMLSerializer::TVnXMLSerializer;
  RawByteString Serialize() override;
  void Serialize(TStream *AStream) override;
  void DoSerialize(TVnSerializer *ASerializer, const UnicodeString &AName,
                   const UnicodeString &APath) override;
  void SerializeStartType(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                          Integer AIndex) override;
  void SerializeEndType(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                        Integer AIndex) override;
};

// Fills a TVnDOMElement: the text's nodes are appended to its children, read in the page the
// element is written in.
class TVnDOMElementDeserializer : public TVnXMLDeserializer {
  VN_CLASS(TVnDOMElementDeserializer, TVnXMLDeserializer)
 public:
  using TVnXMLDeserializer::Deserialize;
  using TVnXMLDeserializer::TVnXMLDeserializer;
  // Raises Exception "Not supported": an element can only be filled.
  TObject *CreateInstance(const TVnTypeInfo *&ATypeInfo) override;
  void Deserialize(TStream *AStream) override;
};

// A TVnDOMDocument as its JSON rendering in UTF-8 (TVnDOMDocument::SaveToJSONStream): the member
// form of the root, without braces around it.
class TVnXMLDocJSONSerializer : public TVnJSONSerializer {
  VN_CLASS(TVnXMLDocJSONSerializer, TVnJSONSerializer)
 public:
  using TVnJSONSerializer::Serialize;
  using TVnJSONSerializer::TVnJSONSerializer;
  RawByteString Serialize() override;
  void Serialize(TStream *AStream) override;
  void DoSerialize(TVnSerializer *ASerializer, const UnicodeString &AName,
                   const UnicodeString &APath) override;
  // Only the separator in front of an element of an array.
  void SerializeStartType(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                          Integer AIndex) override;
  void SerializeEndType(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                        Integer AIndex) override;
};

// The start-up of the unit: registers the serializers of documents and elements once. Every
// translation unit that includes this header runs it.
bool VnXMLDOMStartUp();
namespace detail {
[[maybe_unused]] inline const bool cVnXMLDOMUnit = VnXMLDOMStartUp();
}

}  // namespace vn
