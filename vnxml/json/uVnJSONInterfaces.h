// The interfaces of the JSON layer: the contracts of the event reader (locator, error handler,
// content handler, reader) and the interface family of the document tree (IVnJSONBase and its
// descendants). The classes behind them are in uVnJSON.
//
// The methods of each interface stand in slot order.
#pragma once

#include <initializer_list>

#include "vnxml/common/uVnClasses.h"
#include "vnxml/common/uVnTypes.h"
#include "vnxml/rtl/Rtti.h"
#include "vnxml/rtl/Sets.h"
#include "vnxml/rtl/Variant.h"

namespace vn {

// The options of a member lookup or a path selection: raise when nothing is found, create what
// is missing, compare member names without regard to case.
enum TVnJDOCSelectOption : Byte { jsoRaise, jsoCreate, jsoCaseInsensitive };
using TVnJDOCSelectOptions = Set<TVnJDOCSelectOption, jsoRaise, jsoCaseInsensitive>;
// A braced list of options ({}, {jsoCreate, jsoRaise}) at a call: an initializer_list parameter
// ranks above every other conversion of braces, so the list always means the option set.
using TVnJDOCBracedOptions = std::initializer_list<TVnJDOCSelectOption>;

// ---------------------------------------------------------------------------------------------
// The reader's contracts

// Where the JSON reader stands: the line and column of the current event, and the text's id.
class IVnJSONLocator : public IInterface {
  VN_INTERFACE(IVnJSONLocator, IInterface, "{6C1E2A40-0B7D-4E55-9F31-2D8A47C3E501}")
 public:
  virtual Integer GetLineNr() = 0;
  virtual Integer GetColNr() = 0;
  virtual VnJSONString GetPublicID() = 0;
};

// Receives the JSON reader's warnings, errors and fatal errors with the place they occur.
class IVnJSONErrorHandler : public IInterface {
  VN_INTERFACE(IVnJSONErrorHandler, IInterface, "{6C1E2A40-0B7D-4E55-9F31-2D8A47C3E502}")
 public:
  virtual void Warning(IVnJSONLocator *ALocator, const VnJSONString &AMessage) = 0;
  virtual void Error(IVnJSONLocator *ALocator, const VnJSONString &AMessage) = 0;
  virtual void FatalError(IVnJSONLocator *ALocator, const VnJSONString &AMessage) = 0;
};

// The events of a JSON text. Names and values arrive as they are written between the quotes:
// escapes are not undone. The strings live until the call returns.
class IVnJSONContentHandler : public IInterface {
  VN_INTERFACE(IVnJSONContentHandler, IInterface, "{6C1E2A40-0B7D-4E55-9F31-2D8A47C3E503}")
 public:
  virtual void SetDocumentLocator(IVnJSONLocator *ALocator) = 0;
  virtual void StartDocument() = 0;
  virtual void StartObject() = 0;
  virtual void StartMember(const VnJSONString &AName) = 0;
  virtual void StartArray() = 0;
  virtual void Value(TVnJSONDataType ADataType, const VnJSONString &AValue) = 0;
  virtual void EndArray() = 0;
  virtual void EndMember() = 0;
  virtual void EndObject() = 0;
  virtual void EndDocument() = 0;
};

// A JSON reader: parses a text and hands its events to the content handler.
class IVnJSONReader : public IInterface {
  VN_INTERFACE(IVnJSONReader, IInterface, "{6C1E2A40-0B7D-4E55-9F31-2D8A47C3E504}")
 public:
  virtual DelphiInterface<IVnJSONContentHandler> GetContentHandler() = 0;
  virtual DelphiInterface<IVnJSONErrorHandler> GetErrorHandler() = 0;
  // The setters keep a reference.
  virtual void SetContentHandler(IVnJSONContentHandler *AHandler) = 0;
  virtual void SetErrorHandler(IVnJSONErrorHandler *AHandler) = 0;
  // Reads the caller's stream from its current position; the stream stays open.
  virtual void ParseStream(TStream *AStream, Word ACodePage,
                           const VnJSONString &APublicID = {}) = 0;
  // A byte-order mark decides the encoding; ACodePage is taken without one.
  virtual void ParseFile(const UnicodeString &AFileName, Word ACodePage,
                         const VnJSONString &APublicID = {}) = 0;
  // Reads a block that the caller keeps alive; it is not copied.
  virtual void ParseBuffer(const void *ABuffer, Cardinal ASize, Word ACodePage,
                           const VnJSONString &APublicID = {}) = 0;
  virtual void Parse(const UnicodeString &AJSON, const VnJSONString &APublicID = {}) = 0;
  virtual void Parse(const AnsiString &AJSON, Word ACodePage,
                     const VnJSONString &APublicID = {}) = 0;
};

// ---------------------------------------------------------------------------------------------
// The tree's interfaces. Each inherits its parent interface virtually, so that a node class
// implements the operations of IVnJSONBase once for all of its interfaces. Every node answers
// IVnJSONBase; an operation that does not fit the
// node's kind raises EVnJSONException with code 9 ("Instances of TVnJSONSimpleType do not
// support the Count method!"), so code can walk a tree by name without casts.

class IVnJSONObject;
class IVnJSONArray;
class IVnJSONMember;

// Any value of a JSON tree, with its conversions and the walk by member name and index.
class IVnJSONBase : public virtual IVnObject {
  VN_INTERFACE(IVnJSONBase, IVnObject, "{6C1E2A40-0B7D-4E55-9F31-2D8A47C3E510}")
 public:
  virtual bool GetAsBoolean() = 0;
  virtual Double GetAsDouble() = 0;
  virtual Integer GetAsInteger() = 0;
  virtual Int64 GetAsLargeInt() = 0;
  virtual UnicodeString GetAsString() = 0;
  virtual Variant GetAsVariant() = 0;
  virtual TValue GetAsValue() = 0;
  virtual DelphiInterface<IVnJSONObject> GetAsObjectIntf() = 0;
  virtual DelphiInterface<IVnJSONArray> GetAsArrayIntf() = 0;
  virtual VnJSONString GetName() = 0;
  // A member's value.
  virtual DelphiInterface<IVnJSONBase> GetValue() = 0;
  virtual TVnJSONDataType GetJSONType() = 0;
  virtual VnJSONString GetAsJSON() = 0;
  // GetMember(AName, {jsoCreate}): a missing member is created.
  virtual DelphiInterface<IVnJSONMember> GetMemberEx(const VnJSONString &AName) = 0;
  virtual DelphiInterface<IVnJSONBase> GetItem(Integer AIndex) = 0;
  virtual void SetAsBoolean(bool AValue) = 0;
  virtual void SetAsDouble(Double AValue) = 0;
  virtual void SetAsInteger(Integer AValue) = 0;
  virtual void SetAsString(const UnicodeString &AValue) = 0;
  virtual void SetAsLargeInt(Int64 AValue) = 0;
  virtual void SetAsJSON(const VnJSONString &AText) = 0;
  virtual void SetAsVariant(const Variant &AValue) = 0;
  virtual void SetAsValue(const TValue &AValue) = 0;
  virtual void SetName(const VnJSONString &AName) = 0;
  virtual Integer Count() = 0;
  // The nodes a JSON path selects, as a free-standing array that owns none of them.
  virtual DelphiInterface<IVnJSONArray> SelectIntf(const UnicodeString &APath,
                                                   TVnJDOCSelectOptions AOptions) = 0;
  virtual DelphiInterface<IVnJSONMember> FindMemberIntf(const VnJSONString &AName,
                                                        bool ACaseInsensitive) = 0;
  virtual bool HasMember(const VnJSONString &AName, bool ACaseInsensitive) = 0;
  virtual DelphiInterface<IVnJSONMember> GetMemberIntf(const VnJSONString &AName,
                                                       TVnJDOCSelectOptions AOptions) = 0;

  DelphiInterface<IVnJSONMember> GetMemberIntf(const VnJSONString &AName,
                                               TVnJDOCBracedOptions AOptions) {
    return GetMemberIntf(AName, TVnJDOCSelectOptions(AOptions));
  }
  DelphiInterface<IVnJSONArray> SelectIntf(const UnicodeString &APath,
                                           TVnJDOCBracedOptions AOptions) {
    return SelectIntf(APath, TVnJDOCSelectOptions(AOptions));
  }
  // The default indexed property: doc[u"a"] gives the member named "a", made when missing;
  // node[2] the item at that index.
  DelphiInterface<IVnJSONMember> operator[](const VnJSONString &AName) {
    return GetMemberEx(AName);
  }
  DelphiInterface<IVnJSONMember> operator[](const char16_t *AName) {
    return GetMemberEx(VnJSONString(AName));
  }
  DelphiInterface<IVnJSONBase> operator[](Integer AIndex) { return GetItem(AIndex); }
};

// A string, number, boolean or null of a JSON tree; Value reads and writes it.
class IVnJSONSimpleType : public virtual IVnJSONBase {
  VN_INTERFACE(IVnJSONSimpleType, IVnJSONBase, "{6C1E2A40-0B7D-4E55-9F31-2D8A47C3E511}")
 public:
  // The property Value.
  Variant GetAsVariant() override = 0;
  void SetAsVariant(const Variant &AValue) override = 0;
};

// A member of a JSON object: its name and its value, with the value's conversions.
class IVnJSONMember : public virtual IVnObject {
  VN_INTERFACE(IVnJSONMember, IVnObject, "{6C1E2A40-0B7D-4E55-9F31-2D8A47C3E512}")
 public:
  virtual DelphiInterface<IVnJSONBase> GetValue() = 0;
  virtual VnJSONString GetName() = 0;
  virtual Integer GetAsInteger() = 0;
  virtual Double GetAsDouble() = 0;
  virtual UnicodeString GetAsString() = 0;
  virtual bool GetAsBoolean() = 0;
  virtual Int64 GetAsLargeInt() = 0;
  virtual Variant GetAsVariant() = 0;
  virtual DelphiInterface<IVnJSONObject> GetAsObjectIntf() = 0;
  virtual DelphiInterface<IVnJSONArray> GetAsArrayIntf() = 0;
  virtual void SetName(const VnJSONString &AName) = 0;
  virtual void SetAsInteger(Integer AValue) = 0;
  virtual void SetAsDouble(Double AValue) = 0;
  virtual void SetAsString(const UnicodeString &AValue) = 0;
  virtual void SetAsBoolean(bool AValue) = 0;
  virtual void SetAsLargeInt(Int64 AValue) = 0;
  virtual void SetAsVariant(const Variant &AValue) = 0;
  // Replaces the member's value by a new one of that type.
  virtual DelphiInterface<IVnJSONBase> CreateValueIntf(TVnJSONDataType AType) = 0;
};

// A JSON object of a tree: adds and removes members.
class IVnJSONObject : public virtual IVnJSONBase {
  VN_INTERFACE(IVnJSONObject, IVnJSONBase, "{6C1E2A40-0B7D-4E55-9F31-2D8A47C3E513}")
 public:
  virtual DelphiInterface<IVnJSONMember> AddMemberIntf1(const VnJSONString &AName) = 0;
  virtual DelphiInterface<IVnJSONMember> AddMemberIntf2(const VnJSONString &AName,
                                                        TVnJSONDataType AType) = 0;
  virtual DelphiInterface<IVnJSONMember> AddMemberIntf3(const VnJSONString &AName,
                                                        TVnJSONDataType AType,
                                                        const VnJSONString &AText) = 0;
  virtual DelphiInterface<IVnJSONMember> AddMemberIntf4(const VnJSONString &AName,
                                                        const Variant &AValue) = 0;
  virtual void DeleteMember(Integer AIndex) = 0;
  virtual void RemoveMemberIntf(IVnJSONMember *AMember) = 0;
};

// A JSON array of a tree: adds, removes and exchanges its values.
class IVnJSONArray : public virtual IVnJSONBase {
  VN_INTERFACE(IVnJSONArray, IVnJSONBase, "{6C1E2A40-0B7D-4E55-9F31-2D8A47C3E514}")
 public:
  virtual DelphiInterface<IVnJSONBase> AddValueIntf1(TVnJSONDataType AType) = 0;
  virtual DelphiInterface<IVnJSONBase> AddValueIntf2(TVnJSONDataType AType,
                                                     const VnJSONString &AText) = 0;
  virtual DelphiInterface<IVnJSONBase> AddValueIntf3(const Variant &AValue) = 0;
  virtual void DeleteValue(Integer AIndex) = 0;
  virtual void RemoveValueIntf(IVnJSONBase *AValue) = 0;
  virtual void Exchange(Integer A, Integer B) = 0;
};

// A JSON document: its root value, its text and the lookup of members.
class IVnJSONDocument : public virtual IVnObject {
  VN_INTERFACE(IVnJSONDocument, IVnObject, "{6C1E2A40-0B7D-4E55-9F31-2D8A47C3E515}")
 public:
  virtual DelphiInterface<IVnJSONBase> GetRootValueIntf() = 0;
  virtual VnJSONString GetAsJSON() = 0;
  virtual VnJSONString GetFormattedJSON() = 0;
  virtual void SetAsJSON(const VnJSONString &AText) = 0;
  virtual DelphiInterface<IVnJSONBase> CreateRootValueIntf(TVnJSONDataType AType) = 0;
  virtual DelphiInterface<IVnJSONMember> FindMemberIntf(const VnJSONString &AName,
                                                        bool ACaseInsensitive) = 0;
  virtual DelphiInterface<IVnJSONMember> GetMemberIntf(const VnJSONString &AName,
                                                       TVnJDOCSelectOptions AOptions) = 0;
  virtual DelphiInterface<IVnJSONArray> SelectIntf(const UnicodeString &APath,
                                                   TVnJDOCSelectOptions AOptions) = 0;
  virtual void LoadFromStream(TStream *AStream, Word ACodePage, bool AFormURLEncoded) = 0;
  virtual void LoadFromFile(const UnicodeString &AFileName, Word ACodePage) = 0;
  // UTF-8 with a byte-order mark.
  virtual void SaveToFile(const UnicodeString &AFileName, bool AFormatted) = 0;
  virtual void SaveToStream(TStream *AStream, bool AFormatted, Word ACodePage, bool ABOM) = 0;

  DelphiInterface<IVnJSONMember> GetMemberIntf(const VnJSONString &AName,
                                               TVnJDOCBracedOptions AOptions) {
    return GetMemberIntf(AName, TVnJDOCSelectOptions(AOptions));
  }
  DelphiInterface<IVnJSONArray> SelectIntf(const UnicodeString &APath,
                                           TVnJDOCBracedOptions AOptions) {
    return SelectIntf(APath, TVnJDOCSelectOptions(AOptions));
  }
};

}  // namespace vn
