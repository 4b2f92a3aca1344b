// The event-driven XML reader of the library.
//
// A reader turns text into a stream of events. This unit holds what every reader and every
// consumer of those events shares: the handler, locator, attribute and reader interfaces, the
// attribute list handed to StartElement, the namespace scope list, the exception family and the
// abstract reader TVnSAXReader with its entry points. TVnSAXXMLReader is the reader for XML
// text, scanning through TVnXMLParser.
//
// The XML reader is a tolerant single-pass tag scanner, not a conforming XML processor: it does
// not match end tags against start tags, resolves no character or entity reference, reads no
// DTD and reports text and attribute values exactly as they stand in the source ("&amp;"
// arrives as five characters). Its leniencies are deliberate; other code relies on them.
//
// A handler in a few lines:
//
//   class TCounter : public TVnSAXHandler {
//    public:
//     int Elements = 0;
//     void StartElement(const VnXMLString &, const VnXMLString &, const VnXMLString &,
//                       IVnSAXAttributes *) override { ++Elements; }
//   };
//   TVnSAXXMLReader *reader = New<TVnSAXXMLReader>();
//   TCounter *counter = New<TCounter>();
//   reader->SetContentHandler(counter);
//   reader->SetErrorHandler(counter);
//   reader->Parse(u"<a><b/></a>");
//   reader->Free();  // releases the handler too
#pragma once

#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <vector>

#include "vnxml/common/uVnClasses.h"
#include "vnxml/json/uVnJSON.h"
#include "vnxml/rtl/Variant.h"

namespace vn {

// The string type of the SAX interfaces: UTF-16.
using VnXMLString = UnicodeString;

// ---------------------------------------------------------------------------------------------
// Exceptions. All carry a message and an ErrorCode.

// The base of the reader's errors.
VN_DECLARE_EXCEPTION(EVnXMLException, EVnException)
// Every error that the XML reader raises, and every failed lookup in an attribute list.
VN_DECLARE_EXCEPTION(EVnXMLParseError, EVnXMLException)
// Declared for users of the interfaces; the library raises none of these.
VN_DECLARE_EXCEPTION(EVnSAXException, EVnException)
// A feature or property name that the reader does not recognize.
VN_DECLARE_EXCEPTION(EVnSAXNotRecognizedException, EVnSAXException)
// A feature or property value that the reader does not support.
VN_DECLARE_EXCEPTION(EVnSAXNotSupportedException, EVnSAXException)

// Messages of EVnXMLParseError; the error code of each stands in front of it.
// 2
inline constexpr char16_t _cVnXMLNotWellFormed[] =
    u"The document is not wellformed!\r\n\"%s\" expected, but \"%s\" found!";
// 3
inline constexpr char16_t _cVnXMLInvalidNameStartchar1[] =
    u"The current character \"%s\" is only a valid NameStartChar when NameSpaces are not "
    u"supported!";
inline constexpr char16_t _cVnXMLInvalidNameStartchar2[] =
    u"The current character \"%s\" is not a valid NameStartChar!";
// 4: by index, by name, by URI and local name.
inline constexpr char16_t _cVnXMLListIndexOutOfBounds1[] = u"List index (%d) out of bounds!";
inline constexpr char16_t _cVnXMLListIndexOutOfBounds2[] = u"List index (%s) out of bounds!";
inline constexpr char16_t _cVnXMLListIndexOutOfBounds3[] = u"List index (%s-%s) out of bounds!";
// 5
inline constexpr char16_t _cVnXMLDOCTypeExpected[] = u"\"DOCTYPE\" expected, but \"%s\" found";
// 6
inline constexpr char16_t _cVnXMLCDATAExpected[] = u"![CDATA[ expected, but \"%s\" found";
// 7
inline constexpr char16_t _cVnXMLMissingAttribute[] =
    u"The document is not wellformed!\r\nMissing attribute value.";
// 8
inline constexpr char16_t _cVnXMLELMNotClosed[] =
    u"The document is not wellformed!\r\nAn element was not closed correctly (Row: %d, Col: "
    u"%d).";
// 9
inline constexpr char16_t _cVnXMLMultipleRoot[] =
    u"The document is not wellformed!\r\nA XML document may not contain multiple root "
    u"elements.";
// 10
inline constexpr char16_t _cVnXMLNoContentHandler[] = u"No contenthandler has been assigned!";
// 11
inline constexpr char16_t _cVnXMLNoErrorHandler[] = u"No errorhandler has been assigned!";
// 12
inline constexpr char16_t _cVnXMLInvalidTextAtRoot[] =
    u"The document is not wellformed!\r\nAn invalid token was detected at the root level of the "
    u"document.";
// Declared for consumers; the reader raises it nowhere (an unknown encoding name fails in the
// code-page lookup with EEncodingError).
inline constexpr char16_t _cVnXMLEncodingNotSupported[] =
    u"The specified encoding is not supported!";
// Raised (with ErrorCode 0) when a DOCTYPE or CDATA section meets a reader without a lexical
// handler: those events have no handler to go to, and they are never dropped silently.
inline constexpr char16_t _cVnXMLNoLexicalHandler[] = u"No lexicalhandler has been assigned!";

// ---------------------------------------------------------------------------------------------
// Attributes

// Readers report CDATA for every attribute: no DTD is read that could say otherwise.
enum class TVnSAXAttributeType : Byte {
  CDATA,
  ID,
  IDREF,
  IDREFS,
  NMTOKEN,
  NMTOKENS,
  ENTITY,
  ENTITIES,
  NOTATION
};

struct TVnSAXXMAttribute;
using PVnSAXXMAttribute = TVnSAXXMAttribute *;

// A node of the doubly linked attribute list.
struct TVnSAXXMAttribute {
  PVnSAXXMAttribute Prev = nullptr;  // nil at the first node
  Integer Idx = 0;                   // 0-based, in the order of addition
  VnXMLString LocalName;             // the name behind the colon
  VnXMLString QName;                 // the name as written
  VnXMLString URI;
  TVnSAXAttributeType AttrType = TVnSAXAttributeType::CDATA;
  VnXMLString Value;                 // as the reader delivers it: raw
  PVnSAXXMAttribute Next = nullptr;  // nil at the last node
};

// ---------------------------------------------------------------------------------------------
// Interfaces. The methods stand in slot order.

// Where the reader stands: the position, line and column of the current event.
class IVnSAXLocator : public IInterface {
  VN_INTERFACE(IVnSAXLocator, IInterface, "{4E0A6B21-93D7-4C58-A1E2-7F3B5C9D0A11}")
 public:
  virtual Integer GetPosition() = 0;
  virtual Integer GetLineNr() = 0;
  virtual Integer GetColNr() = 0;
  virtual VnXMLString GetPublicID() = 0;
};

// The readers call FatalError only.
class IVnSAXErrorHandler : public IInterface {
  VN_INTERFACE(IVnSAXErrorHandler, IInterface, "{4E0A6B21-93D7-4C58-A1E2-7F3B5C9D0A12}")
 public:
  virtual void Warning(IVnSAXLocator *ALocator, const VnXMLString &AMessage) = 0;
  virtual void Error(IVnSAXLocator *ALocator, const VnXMLString &AMessage) = 0;
  virtual void FatalError(IVnSAXLocator *ALocator, const VnXMLString &AMessage) = 0;
};

// Lookups by name compare without regard to case. A lookup that finds nothing raises
// EVnXMLParseError with code 4, except GetIndex, which returns -1. The strings returned live
// as long as the list is unchanged: a handler copies what it wants to keep, since the list is
// emptied once StartElement returns.
class IVnSAXAttributes : public IInterface {
  VN_INTERFACE(IVnSAXAttributes, IInterface, "{4E0A6B21-93D7-4C58-A1E2-7F3B5C9D0A13}")
 public:
  virtual Integer Count() = 0;
  // The first node, nil when the list is empty; walk on through Next.
  virtual PVnSAXXMAttribute FirstAttribute() = 0;
  virtual PVnSAXXMAttribute GetAttribute(Integer AIdx) = 0;
  virtual const VnXMLString &GetLocalName(Integer AIdx) = 0;
  virtual const VnXMLString &GetQName(Integer AIdx) = 0;
  virtual const VnXMLString &GetURI(Integer AIdx) = 0;
  // The index of the first attribute with that qualified name, -1 when there is none.
  virtual Integer GetIndex(const VnXMLString &AQName) = 0;
  virtual Integer GetIndex(const VnXMLString &AURI, const VnXMLString &ALocalName) = 0;
  virtual TVnSAXAttributeType GetType(Integer AIdx) = 0;
  virtual TVnSAXAttributeType GetType(const VnXMLString &AQName) = 0;
  virtual TVnSAXAttributeType GetType(const VnXMLString &AURI, const VnXMLString &ALocalName) = 0;
  virtual const VnXMLString &GetValue(Integer AIdx) = 0;
  virtual const VnXMLString &GetValue(const VnXMLString &AQName) = 0;
  // AURI "*" matches any URI, so that the local name alone decides. The wildcard belongs to
  // this operation only.
  virtual const VnXMLString &GetValue(const VnXMLString &AURI, const VnXMLString &ALocalName) = 0;
};

// Receives the content events of a document: elements, text, prefix mappings and more.
class IVnSAXContentHandler : public IInterface {
  VN_INTERFACE(IVnSAXContentHandler, IInterface, "{4E0A6B21-93D7-4C58-A1E2-7F3B5C9D0A14}")
 public:
  virtual void SetDocumentLocator(IVnSAXLocator *ALocator) = 0;
  virtual void Characters(const VnXMLString &AText) = 0;
  virtual void EndDocument() = 0;
  virtual void EndElement(const VnXMLString &ANamespaceURI, const VnXMLString &ALocalName,
                          const VnXMLString &AQName) = 0;
  virtual void EndPrefixMapping(const VnXMLString &APrefix) = 0;
  virtual void IgnorableWhitespace(const VnXMLString &AWhiteSpace) = 0;
  virtual void ProcessingInstruction(const VnXMLString &ATarget, const VnXMLString &AData) = 0;
  virtual void SkippedEntity(const VnXMLString &AName) = 0;
  virtual void StartDocument() = 0;
  // Attributes is valid only until the call returns.
  virtual void StartElement(const VnXMLString &ANamespaceURI, const VnXMLString &ALocalName,
                            const VnXMLString &AQName, IVnSAXAttributes *Attributes) = 0;
  virtual void StartPrefixMapping(const VnXMLString &APrefix, const VnXMLString &AURI) = 0;
};

// Receives the lexical events: comments, CDATA sections, the DTD and entity boundaries.
class IVnSAXLexicalHandler : public IInterface {
  VN_INTERFACE(IVnSAXLexicalHandler, IInterface, "{4E0A6B21-93D7-4C58-A1E2-7F3B5C9D0A15}")
 public:
  virtual void Comment(const VnXMLString &AText) = 0;
  virtual void StartCDATA() = 0;
  virtual void StartDTD() = 0;
  virtual void StartEntity(const VnXMLString &AName) = 0;
  virtual void EndCDATA() = 0;
  virtual void EndDTD() = 0;
  virtual void EndEntity(const VnXMLString &AName) = 0;
};

// A SAX reader: parses a text and hands its events to the handlers set on it.
class IVnSAXXMLReader : public IInterface {
  VN_INTERFACE(IVnSAXXMLReader, IInterface, "{4E0A6B21-93D7-4C58-A1E2-7F3B5C9D0A16}")
 public:
  virtual DelphiInterface<IVnSAXLexicalHandler> GetLexicalHandler() = 0;
  virtual DelphiInterface<IVnSAXContentHandler> GetContentHandler() = 0;
  virtual DelphiInterface<IVnSAXErrorHandler> GetErrorHandler() = 0;
  // Always false.
  virtual bool GetFeature(const UnicodeString &AFeature) = 0;
  // Always Null.
  virtual Variant GetProperty(const UnicodeString &APropName) = 0;
  // The setters keep a reference.
  virtual void SetLexicalHandler(IVnSAXLexicalHandler *AHandler) = 0;
  virtual void SetContentHandler(IVnSAXContentHandler *AHandler) = 0;
  virtual void SetErrorHandler(IVnSAXErrorHandler *AHandler) = 0;
  // Accepted and ignored.
  virtual void SetFeature(const UnicodeString &AFeature, bool AValue) = 0;
  virtual void SetProperty(const UnicodeString &APropName, const Variant &AProperty) = 0;
  // Reads the caller's stream from its current position; the stream stays open. Page 0 asks
  // the reader to find the encoding in the text.
  virtual void ParseStream(TStream *AStream, Word AStreamCodePage,
                           const VnXMLString &APublicID = {}) = 0;
  // Opens the file with AMode (fmOpenRead ...). A byte-order mark decides the encoding; without
  // one the reader finds it in the text.
  virtual void ParseFile(const UnicodeString &AFileName, Word AMode,
                         const VnXMLString &APublicID = {}) = 0;
  // Reads a block that the caller keeps alive; it is not copied.
  virtual void ParseBuffer(const void *ABuffer, Cardinal ABufSize, Word ACodePage,
                           const VnXMLString &APublicID = {}) = 0;
  virtual void Parse(const UnicodeString &AXML, const VnXMLString &APublicID = {}) = 0;
  virtual void Parse(const AnsiString &AXML, Word ACodePage, const VnXMLString &APublicID = {}) = 0;
};

// ---------------------------------------------------------------------------------------------
// The attribute list

// The list handed to StartElement. Lookups move a cursor, so a list serves one thread at a
// time. Its automatic destruction is switched off: the reader that made it frees it, and an
// interface reference never does.
class TVnSAXXMAttributes : public TVnObject, public IVnSAXAttributes {
  VN_CLASS(TVnSAXXMAttributes, TVnObject)
  VN_IMPLEMENTS(TVnObject, IVnSAXAttributes)
 public:
  TVnSAXXMAttributes();
  ~TVnSAXXMAttributes() override;

  // Appends a node at the tail, with Idx equal to the former count.
  void Add(const VnXMLString &ALocalName, const VnXMLString &AQName, const VnXMLString &AURI,
           const VnXMLString &AValue, TVnSAXAttributeType AAttrType);
  // Disposes of all nodes.
  void Clear();

  Integer Count() override { return FCount; }
  PVnSAXXMAttribute FirstAttribute() override { return FFirst; }
  PVnSAXXMAttribute GetAttribute(Integer AIdx) override;
  const VnXMLString &GetLocalName(Integer AIdx) override;
  const VnXMLString &GetQName(Integer AIdx) override;
  const VnXMLString &GetURI(Integer AIdx) override;
  Integer GetIndex(const VnXMLString &AQName) override;
  Integer GetIndex(const VnXMLString &AURI, const VnXMLString &ALocalName) override;
  TVnSAXAttributeType GetType(Integer AIdx) override;
  TVnSAXAttributeType GetType(const VnXMLString &AQName) override;
  TVnSAXAttributeType GetType(const VnXMLString &AURI, const VnXMLString &ALocalName) override;
  const VnXMLString &GetValue(Integer AIdx) override;
  const VnXMLString &GetValue(const VnXMLString &AQName) override;
  const VnXMLString &GetValue(const VnXMLString &AURI, const VnXMLString &ALocalName) override;

 private:
  // Each lookup walks from the first node; nil when nothing matches.
  PVnSAXXMAttribute FindIndex(Integer AIdx);
  PVnSAXXMAttribute FindQName(const VnXMLString &AQName);
  PVnSAXXMAttribute FindPair(const VnXMLString &AURI, const VnXMLString &ALocalName, bool AAnyURI);
  PVnSAXXMAttribute ByIndex(Integer AIdx);
  PVnSAXXMAttribute ByQName(const VnXMLString &AQName);
  PVnSAXXMAttribute ByPair(const VnXMLString &AURI, const VnXMLString &ALocalName, bool AAnyURI);
  // Links a node, reused or new, at the tail; its strings keep their storage and old text.
  // The XML reader scans the names and the value straight into them.
  PVnSAXXMAttribute Append(TVnSAXAttributeType AAttrType);
  friend class TVnSAXXMLReader;

  PVnSAXXMAttribute FFirst = nullptr;
  PVnSAXXMAttribute FLast = nullptr;
  PVnSAXXMAttribute FCurrent = nullptr;
  Integer FCount = 0;
  // Disposed nodes kept for the next Add, so that a list that is filled and cleared per
  // element reuses its nodes and their strings' storage.
  PVnSAXXMAttribute FSpare = nullptr;
};

// ---------------------------------------------------------------------------------------------
// Namespace scopes

struct TVnSAXNamespace;
using PVnSAXNamespace = TVnSAXNamespace *;

// One namespace declaration in force: its prefix, its URI and the depth at which it stands.
struct TVnSAXNamespace {
  Integer Level = 0;  // the element depth at which the declaration stands
  VnXMLString Prefix;
  VnXMLString URI;
};

class TVnSAXReader;

// The declarations in force, in order of declaration. Lookups search from the newest record,
// which gives an inner declaration priority over an outer one of the same prefix; prefixes
// compare without regard to case. Nothing is predeclared: "xml" and "xmlns" resolve to the
// empty URI unless a document declares them.
class TVnSAXNamespaceList : public TObject {
  VN_CLASS(TVnSAXNamespaceList, TObject)
 public:
  // AOwner's content handler receives the prefix mapping events.
  explicit TVnSAXNamespaceList(TVnSAXReader *AOwner) : FOwner(AOwner) {}
  ~TVnSAXNamespaceList() override;

  // Appends a record, then reports StartPrefixMapping(APrefix, AURI).
  void AddURI(Integer ALevel, const VnXMLString &APrefix, const VnXMLString &AURI);
  // The newest record of that prefix, nil when there is none.
  PVnSAXNamespace GetNamespace(const VnXMLString &APrefix) {
    const TKept &kept = FKept[APrefix.empty() ? 0 : 1];
    if (kept.Valid && (kept.Found ? SameStr(kept.Found->Prefix, APrefix) : APrefix.empty()))
      return kept.Found;
    return FindNamespace(APrefix);
  }
  // The URI of that record; empty when there is none.
  const VnXMLString &GetURI(const VnXMLString &APrefix) {
    PVnSAXNamespace ns = GetNamespace(APrefix);
    return ns ? ns->URI : cNoURI;
  }
  // From the newest record to the oldest: each record of level ALevel or deeper is reported
  // with EndPrefixMapping and removed. Records of lower levels stay.
  void RemoveLevel(Integer ALevel) {
    if (FMaxLevel >= ALevel) RemoveLevelFrom(ALevel);
  }
  // Removes all records without any event.
  void Clear();
  Integer Count() const noexcept { return static_cast<Integer>(FList.size()); }

 private:
  void RemoveLevelFrom(Integer ALevel);
  PVnSAXNamespace FindNamespace(const VnXMLString &APrefix);
  static inline const VnXMLString cNoURI;
  // Forgets the answers kept by GetNamespace: the list has changed.
  void Changed() noexcept { FKept[0].Valid = FKept[1].Valid = false; }
  TVnSAXReader *FOwner;
  std::vector<std::unique_ptr<TVnSAXNamespace>> FList;
  // The last answer of GetNamespace for the empty prefix ([0]) and for a prefix ([1]): a
  // document names the same one or two prefixes on tag after tag, and the list changes only
  // where a declaration comes or goes. A record found holds while it still spells the prefix
  // asked for exactly; "none" holds for the empty prefix only.
  struct TKept {
    bool Valid = false;
    PVnSAXNamespace Found = nullptr;
  };
  TKept FKept[2];
  // The deepest level of a record: RemoveLevel of a deeper level has nothing to do.
  Integer FMaxLevel = std::numeric_limits<Integer>::min();
};

// ---------------------------------------------------------------------------------------------
// The abstract reader

// Owns the entry points and the locator; a subclass creates the scanner and scans. A reader is
// reusable: handlers stay set between parses. Its automatic destruction is switched off, so the
// interfaces it implements never free it: the creator calls Free, which releases the handlers.
//
// The failure rule of every reader: a failure during the scan is told to the error handler's
// FatalError first (with the reader as locator) and then raised again, so the caller always
// sees it. A reader serves one parse at a time; a parse started from a handler of the same
// reader raises EInvalidOperation.
class TVnSAXReader : public TVnObject, public IVnSAXLocator, public IVnSAXXMLReader {
  VN_CLASS(TVnSAXReader, TVnObject)
  VN_IMPLEMENTS(TVnObject, IVnSAXLocator, IVnSAXXMLReader)
 public:
  TVnSAXReader();
  ~TVnSAXReader() override;

  // IVnSAXLocator. After a failure by an unexpected end of input, the line and column are those
  // of the start of the construct that ran off the input, until a later failure stores new
  // ones; otherwise, during a parse, those of the scanner; otherwise -1. The position is the
  // scanner's count of characters read, -1 outside a parse.
  Integer GetPosition() override;
  Integer GetLineNr() override;
  Integer GetColNr() override;
  VnXMLString GetPublicID() override { return FPublicID; }

  // IVnSAXXMLReader
  DelphiInterface<IVnSAXLexicalHandler> GetLexicalHandler() override { return FLexicalHandler; }
  DelphiInterface<IVnSAXContentHandler> GetContentHandler() override { return FContentHandler; }
  DelphiInterface<IVnSAXErrorHandler> GetErrorHandler() override { return FErrorHandler; }
  bool GetFeature(const UnicodeString &AFeature) override;
  Variant GetProperty(const UnicodeString &APropName) override;
  void SetLexicalHandler(IVnSAXLexicalHandler *AHandler) override { FLexicalHandler = AHandler; }
  void SetContentHandler(IVnSAXContentHandler *AHandler) override { FContentHandler = AHandler; }
  void SetErrorHandler(IVnSAXErrorHandler *AHandler) override { FErrorHandler = AHandler; }
  void SetFeature(const UnicodeString &AFeature, bool AValue) override;
  void SetProperty(const UnicodeString &APropName, const Variant &AProperty) override;
  void ParseStream(TStream *AStream, Word AStreamCodePage,
                   const VnXMLString &APublicID = {}) override;
  void ParseFile(const UnicodeString &AFileName, Word AMode,
                 const VnXMLString &APublicID = {}) override;
  void ParseBuffer(const void *ABuffer, Cardinal ABufSize, Word ACodePage,
                   const VnXMLString &APublicID = {}) override;
  void Parse(const UnicodeString &AXML, const VnXMLString &APublicID = {}) override;
  void Parse(const AnsiString &AXML, Word ACodePage, const VnXMLString &APublicID = {}) override;

 protected:
  // Creates the scanner over AStream. AReadBOM asks for a byte-order mark to be looked for;
  // page 0 asks for the encoding to be found in the text.
  virtual TVnTextParser *CreateParser(TStream *AStream, bool AStreamOwner, bool AReadBOM,
                                      Word AStreamCodePage) = 0;
  // Scans the text of FParser and fires the events, under the failure rule.
  virtual void InternalParse() = 0;

  // Brings FLineNr and FColNr up to date, for a subclass that records where a construct starts
  // and works out its line and column only when they are asked for. Called by the locator and
  // by the failure rule, while the scanner is still there.
  virtual void ResolveLocation() {}

  // The failure rule, called from inside the catch (...) block of a subclass's InternalParse:
  // records whether the exception in flight is an unexpected end of input and tells the error
  // handler its message. The caller then raises it again with `throw;`.
  void NotifyFatalError();
  // The content handler for the event about to be fired. The handler in force is held until an
  // event finds another one in force, or until the parse ends, so that a handler that points the
  // reader at another handler cannot lose itself while it runs, without a count taken for every
  // event.
  IVnSAXContentHandler *Content() {
    if (FHeldContent.get() != FContentHandler.get()) FHeldContent = FContentHandler;
    return FHeldContent.get();
  }

  VnXMLString FPublicID;
  // Line and column at the start of the construct being read; subclasses store them.
  Integer FLineNr = -1;
  Integer FColNr = -1;
  bool FUnexpectedEOF = false;
  TVnTextParser *FParser = nullptr;
  // The one empty list passed to every element without attributes.
  TVnSAXXMAttributes *FEmptyAttributes = nullptr;
  DelphiInterface<IVnSAXLexicalHandler> FLexicalHandler;
  DelphiInterface<IVnSAXContentHandler> FContentHandler;
  DelphiInterface<IVnSAXErrorHandler> FErrorHandler;

 private:
  // Creates the scanner, runs InternalParse and frees the scanner whatever happens.
  void Run(TStream *AStream, bool AReadBOM, Word ACodePage);
  DelphiInterface<IVnSAXContentHandler> FHeldContent;
  bool FParsing = false;
};

// ---------------------------------------------------------------------------------------------
// The XML scanner

class TVnXMLParser;
using TVnXMLTextParserSkipFunc = TVnTextParser::TPtrSkipFunc;
using TVnXMLTextParserCheckFunc = TVnTextParser::TPtrCheckFunc;

// The text source for XML: knows the characters XML cares about in the width in force. Each
// F... field points at the constant of that character in the width of the source (one byte in
// cstA and cstU, 16 bits in cstW), and the two slots take such pointers, so that the callers
// never test the width.
class TVnXMLParser : public TVnTextParser {
  VN_CLASS(TVnXMLParser, TVnTextParser)
 public:
  TVnXMLParser(TStream *ASource, bool AStreamOwner, Word ACodePage);
  TVnXMLParser(const void *ABuffer, UInt64 ASize, Word ACodePage);

  // Binds the base slots, then the constant pointers and the two slots of this class.
  void SetCharacterSetType(TVnCharacterSetType AType) override;

  using TVnTextParser::SkipWhile;
  // Moves forward while the current character stands in relation AOperator to *ACharPtr.
  void SkipWhile(TVnTextParserSkipOp AOperator, const void *ACharPtr) {
    SkipWhileFunc(this, AOperator, ACharPtr);
  }
  // Whether the current character equals *ACharPtr. When it does not and ARaise is set, raises
  // EVnXMLParseError with code 2, naming the expected character and the one found.
  bool CheckCurrChar(const void *ACharPtr, bool ARaise) {
    return CheckCurrCharFunc(this, ACharPtr, ARaise);
  }
  // The slots of the width in force.
  TVnXMLTextParserSkipFunc SkipWhileFunc = nullptr;
  TVnXMLTextParserCheckFunc CheckCurrCharFunc = nullptr;

  // The characters in the width in force.
  const void *FAmp = nullptr;
  const void *FApos = nullptr;
  const void *FEqual = nullptr;
  const void *FGt = nullptr;
  const void *FLt = nullptr;
  const void *FQuest = nullptr;
  const void *FQuote = nullptr;
  const void *FSlash = nullptr;
  const void *FSpace = nullptr;
  const void *FExcl = nullptr;
  const void *FLine = nullptr;
  const void *FColon = nullptr;
  const void *FSemiColon = nullptr;
  const void *FBracketOA = nullptr;
  const void *FBracketCA = nullptr;

 private:
  // EVnXMLParseError with code 2, naming the expected and the found character.
  [[noreturn]] void RaiseExpected(const UnicodeString &AExpected) override;
};

// ---------------------------------------------------------------------------------------------
// The XML reader

// The XML reader: reads XML text and reports it as SAX events.
class TVnSAXXMLReader : public TVnSAXReader {
  VN_CLASS(TVnSAXXMLReader, TVnSAXReader)
 public:
  TVnSAXXMLReader();
  ~TVnSAXXMLReader() override;

  // True (the default): one root element, no text at the top level, and text may not run to
  // the end of input. False reads a fragment: several roots and text at the top level.
  bool GetSingleRoot() const noexcept { return FCheckSingleRootElm; }
  void SetSingleRoot(bool AValue) noexcept { FCheckSingleRootElm = AValue; }

 protected:
  // A byte-order mark (looked for with AReadBOM) wins over the caller's page; the declaration
  // of the text is consulted only when both give nothing, and text that declares nothing is
  // UTF-8.
  TVnTextParser *CreateParser(TStream *AStream, bool AStreamOwner, bool AReadBOM,
                              Word AStreamCodePage) override;
  void InternalParse() override;

 private:
  void ParseProcessingInstruction();
  void ParseComment();
  void ParseDTD();
  void ParseCDATA();
  void ParseCharacters();
  void ParseAtrributes(TVnSAXXMAttributes *AAttributes, Integer ALevel);
  void ParseElement(Integer &ALevel);
  // ParseElement up to the skip to the closing ">": one start, end or empty tag.
  void ParseTag(Integer &ALevel);
  // What follows the close of the root: only comments, processing instructions and white space
  // with SingleRoot; everything with it off.
  void ParseAfterRoot(Integer &ALevel);
  void CheckValidNameStartChar();
  // Records the start of the construct being read (pinned by the third mark); its line and
  // column are counted when they are needed.
  void StoreLineCol();
  void ResolveLocation() override;
  void RequireLexicalHandler();
  Word SniffEncoding(TVnXMLParser *AParser);

  bool FCheckSingleRootElm = true;
  bool FLinePending = false;
  TVnSAXNamespaceList *FNamespaceList = nullptr;
  TVnXMLParser *FParser = nullptr;
  // The list filled for each element with attributes, emptied after its StartElement.
  TVnSAXXMAttributes *FAttributes = nullptr;
  // Scratch strings of the scan, reused from tag to tag: the names of the element, the prefix
  // of the attribute being read (its other parts go straight into the list), and text.
  VnXMLString FPrefix, FLocalName, FQName, FAttrPrefix, FText;
};

// ---------------------------------------------------------------------------------------------
// JSON as XML events

// The namespaces the JSON reader declares on its root element.
inline constexpr char16_t cVnXSINamespaceURI[] = u"http://www.w3.org/2001/XMLSchema-instance";
inline constexpr char16_t cVnXSDNamespaceURI[] = u"http://www.w3.org/2001/XMLSchema";

// The JSON scanner as the SAX reader uses it.
class TVnJSONTextParserEx : public TVnJSONTextParser {
  VN_CLASS(TVnJSONTextParserEx, TVnJSONTextParser)
 public:
  using TVnJSONTextParser::TVnJSONTextParser;
};

// Reads JSON text and fires the events of the XML it stands for, so that any SAX consumer (a
// DOM, a deserializer) reads JSON. One root element, "object" or "array", declares the prefixes
// xsi and xsd; a member becomes an element of its name (made a valid XML name: "_" for each
// character that cannot stand in one, and in front of a first character that cannot start
// one), an array member an element "<name>Array" whose items are elements "<name>", and a
// simple value an element with its text as written (escapes included) and an attribute that
// tells its type (xsd:type "string", "decimal" or "boolean", or xsi:nil "true"). Several
// values at the top of the text all stand below the one root.
//
// Its errors are the JSON reader's (EVnJSONParseError code 2, EVnJSONException 3 and 4), told to
// FatalError and raised again as every reader does. The lexical handler is never called.
class TVnSAXJSONReader : public TVnSAXReader {
  VN_CLASS(TVnSAXJSONReader, TVnSAXReader)
 public:
  TVnSAXJSONReader() = default;
  ~TVnSAXJSONReader() override;

 protected:
  // The JSON scanner over AStream; AReadBOM is ignored, the scanner finds the encoding itself.
  TVnTextParser *CreateParser(TStream *AStream, bool AStreamOwner, bool AReadBOM,
                              Word AStreamCodePage) override;
  void InternalParse() override;

 private:
  // The content of one object or array at the current character, nested ones included, on a
  // stack of its own; AName names the elements of an array's items.
  void ParseContainer(const VnXMLString &AName);
  // A simple value as an element named AName. AInObject chooses the form of the type
  // attribute's URI.
  void ParseSimpleValue(const VnXMLString &AName, bool AInObject);
  // The attribute list of a simple value of type AType.
  IVnSAXAttributes *ValueAttributes(TVnJSONDataType AType, bool AInObject);

  TVnJSONTextParserEx *FJSONParser = nullptr;
  VnXMLString FText;
  // The root's list, and by [in an object][type] the lists of simple values: made once, passed
  // to every element of their kind, as the XML reader passes its one list.
  TVnSAXXMAttributes *FRootAttributes = nullptr;
  TVnSAXXMAttributes *FValueAttributes[2][4] = {};
};

// ---------------------------------------------------------------------------------------------
// The component with events

using TVnSAXOnStartDocument = std::function<void(TObject *ASender)>;
using TVnSAXOnEndDocument = std::function<void(TObject *ASender)>;
using TVnSAXOnStartPrefixMapping =
    std::function<void(TObject *ASender, const VnXMLString &APrefix, const VnXMLString &AURI)>;
using TVnSAXOnEndPrefixMapping = std::function<void(TObject *ASender, const VnXMLString &APrefix)>;
using TVnSAXOnStartElement = std::function<void(
    TObject *ASender, const VnXMLString &ANamespaceURI, const VnXMLString &ALocalName,
    const VnXMLString &AQName, IVnSAXAttributes *AAttributes)>;
using TVnSAXOnEndElement =
    std::function<void(TObject *ASender, const VnXMLString &ANamespaceURI,
                       const VnXMLString &ALocalName, const VnXMLString &AQName)>;
using TVnSAXOnCharacters = std::function<void(TObject *ASender, const VnXMLString &AText)>;
using TVnSAXOnIgnorableWhitespace =
    std::function<void(TObject *ASender, const VnXMLString &AWhiteSpace)>;
using TVnSAXOnProcessingInstruction =
    std::function<void(TObject *ASender, const VnXMLString &ATarget, const VnXMLString &AData)>;
using TVnSAXOnComment = std::function<void(TObject *ASender, const VnXMLString &AText)>;
using TVnSAXOnStartDTD = std::function<void(TObject *ASender)>;
using TVnSAXOnEndDTD = std::function<void(TObject *ASender)>;
using TVnSAXOnStartCDATA = std::function<void(TObject *ASender)>;
using TVnSAXOnEndCDATA = std::function<void(TObject *ASender)>;
using TVnSAXOnError = std::function<void(IVnSAXLocator *ALocator, const VnXMLString &AErrMsg)>;

// The readers as a component: assign the events of interest and call a Parse operation. Each
// parse looks at the first character above U+0020 of its input and makes an XML reader for "<",
// a JSON reader for anything else (the end of input too), with this component as its content,
// lexical and error handler; the reader goes when the parse ends. OnStart comes before and
// OnFinished after a parse; ParseFile, ParseBuffer and Parse run ParseStream inside, so they
// give each notification twice, their own around those of ParseStream. A failed parse gives
// OnFatalError, then its exception, and no OnFinished. OnEndProlog is never fired.
//
// Through ParseStream the look at the first character does not know byte-order marks: a UTF-8
// mark makes the JSON reader; ParseFile reads the mark first.
class TVnSAXParser : public TComponent,
                     public IVnSAXErrorHandler,
                     public IVnSAXContentHandler,
                     public IVnSAXLexicalHandler {
  VN_CLASS(TVnSAXParser, TComponent)
  VN_IMPLEMENTS(TComponent, IVnSAXErrorHandler, IVnSAXContentHandler, IVnSAXLexicalHandler)
 public:
  explicit TVnSAXParser(TComponent *AOwner);
  ~TVnSAXParser() override;

  void ParseStream(TStream *AStream, Word AStreamCodePage, const VnXMLString &APublicID = {});
  void ParseFile(const UnicodeString &AFileName, Word AMode, const VnXMLString &APublicID = {});
  void ParseBuffer(const void *ABuffer, Cardinal ABufSize, Word AStreamCodePage,
                   const VnXMLString &APublicID = {});
  void Parse(const UnicodeString &AXML, const VnXMLString &APublicID = {});
  void Parse(const AnsiString &AXML, Word ACodePage, const VnXMLString &APublicID = {});

  // The reader of the parse that runs, nil outside one.
  TVnSAXReader *Reader() const noexcept { return FReader; }
  // What SetDocumentLocator stored (the readers do not call it).
  IVnSAXLocator *Locator() const noexcept { return FLocator; }

  // IVnSAXErrorHandler
  void Warning(IVnSAXLocator *ALocator, const VnXMLString &AMessage) override;
  void Error(IVnSAXLocator *ALocator, const VnXMLString &AMessage) override;
  void FatalError(IVnSAXLocator *ALocator, const VnXMLString &AMessage) override;
  // IVnSAXContentHandler
  void SetDocumentLocator(IVnSAXLocator *ALocator) override;
  void Characters(const VnXMLString &AText) override;
  void EndDocument() override;
  void EndElement(const VnXMLString &ANamespaceURI, const VnXMLString &ALocalName,
                  const VnXMLString &AQName) override;
  void EndPrefixMapping(const VnXMLString &APrefix) override;
  void IgnorableWhitespace(const VnXMLString &AWhiteSpace) override;
  void ProcessingInstruction(const VnXMLString &ATarget, const VnXMLString &AData) override;
  void SkippedEntity(const VnXMLString &) override {}
  void StartDocument() override;
  void StartElement(const VnXMLString &ANamespaceURI, const VnXMLString &ALocalName,
                    const VnXMLString &AQName, IVnSAXAttributes *AAttributes) override;
  void StartPrefixMapping(const VnXMLString &APrefix, const VnXMLString &AURI) override;
  // IVnSAXLexicalHandler
  void Comment(const VnXMLString &AText) override;
  void StartCDATA() override;
  void StartDTD() override;
  void StartEntity(const VnXMLString &) override {}
  void EndCDATA() override;
  void EndDTD() override;
  void EndEntity(const VnXMLString &) override {}

  TVnSAXOnEndDocument OnEndProlog;
  TVnSAXOnStartPrefixMapping OnStartPrefixMapping;
  TVnSAXOnEndPrefixMapping OnEndPrefixMapping;
  TVnSAXOnStartElement OnStartElement;
  TVnSAXOnCharacters OnCharacters;
  TVnSAXOnIgnorableWhitespace OnIgnorableWhitespace;
  TVnSAXOnEndElement OnEndElement;
  TVnSAXOnStartDocument OnStartDocument;
  TVnSAXOnEndDocument OnEndDocument;
  TVnSAXOnProcessingInstruction OnProcessingInstruction;
  TVnSAXOnComment OnComment;
  TVnSAXOnStartDTD OnStartDTD;
  TVnSAXOnEndDTD OnEndDTD;
  TVnSAXOnStartCDATA OnStartCDATA;
  TVnSAXOnEndCDATA OnEndCDATA;
  TVnSAXOnError OnWarning;
  TVnSAXOnError OnError;
  TVnSAXOnError OnFatalError;
  TNotifyEvent OnStart;
  TNotifyEvent OnFinished;

 private:
  // OnStart, AParse between, OnFinished when it succeeds.
  template <class F>
  void Notified(F &&AParse);
  IVnSAXLocator *FLocator = nullptr;
  TVnSAXReader *FReader = nullptr;
};

// ---------------------------------------------------------------------------------------------
// A ready handler

// Implements the content, lexical and error handler with empty bodies, and counts references:
// derive from it and override what you need. FatalError does nothing here: the reader raises
// the exception to its caller after it anyway.
class TVnSAXHandler : public TVnObject,
                      public IVnSAXContentHandler,
                      public IVnSAXLexicalHandler,
                      public IVnSAXErrorHandler {
  VN_CLASS(TVnSAXHandler, TVnObject)
  VN_IMPLEMENTS(TVnObject, IVnSAXContentHandler, IVnSAXLexicalHandler, IVnSAXErrorHandler)
 public:
  TVnSAXHandler() noexcept = default;

  // Sets this handler as the content, lexical and error handler of AReader.
  void AttachTo(IVnSAXXMLReader *AReader);

  // IVnSAXContentHandler
  void SetDocumentLocator(IVnSAXLocator *) override {}
  void Characters(const VnXMLString &) override {}
  void EndDocument() override {}
  void EndElement(const VnXMLString &, const VnXMLString &, const VnXMLString &) override {}
  void EndPrefixMapping(const VnXMLString &) override {}
  void IgnorableWhitespace(const VnXMLString &) override {}
  void ProcessingInstruction(const VnXMLString &, const VnXMLString &) override {}
  void SkippedEntity(const VnXMLString &) override {}
  void StartDocument() override {}
  void StartElement(const VnXMLString &, const VnXMLString &, const VnXMLString &,
                    IVnSAXAttributes *) override {}
  void StartPrefixMapping(const VnXMLString &, const VnXMLString &) override {}
  // IVnSAXLexicalHandler
  void Comment(const VnXMLString &) override {}
  void StartCDATA() override {}
  void StartDTD() override {}
  void StartEntity(const VnXMLString &) override {}
  void EndCDATA() override {}
  void EndDTD() override {}
  void EndEntity(const VnXMLString &) override {}
  // IVnSAXErrorHandler
  void Warning(IVnSAXLocator *, const VnXMLString &) override {}
  void Error(IVnSAXLocator *, const VnXMLString &) override {}
  void FatalError(IVnSAXLocator *, const VnXMLString &) override {}
};

}  // namespace vn
