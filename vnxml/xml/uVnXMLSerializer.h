// The XML notation of object serialization: TVnXMLSerializer writes the walk of TVnSerializer
// as XML text in UTF-8, without declaration, line breaks or indentation. Simple values take
// their lexical forms from uVnXMLUtils.
//
// Including this header registers the notation (the unit's start-up): the default serializer
// of dsfXML, and those of TStrings, TComponent, TValue and the XML Schema records.
#pragma once

#include <memory>
#include <span>

#include "vnxml/common/uVnSerializer.h"
#include "vnxml/xml/uVnSAX.h"

namespace vn {

// Writes a value as XML: the serializer worker of the format dsfXML.
class TVnXMLSerializer : public TVnSerializer {
  VN_CLASS(TVnXMLSerializer, TVnSerializer)
 public:
  explicit TVnXMLSerializer(const TValue &AValue) : TVnSerializer(AValue) {}
  TVnXMLSerializer(void *AInstance, PTypeInfo AType) : TVnSerializer(AInstance, AType) {}

  TVnDataSerializationFormatType Format() override { return dsfXML; }
  void Reuse(void *AInstance, PTypeInfo AType) override;
  // At the root run (nil) fills in the namespace parameters' defaults, or removes them with
  // "excludenamespaces"; every worker then copies them into its fields.
  void SetParent(TVnCustomSerializer *AParent) override;

  void SerializeStartType(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                          Integer AIndex) override;
  void SerializeEndType(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                        Integer AIndex) override;
  void SerializeName(const UnicodeString &AName, TVnSerializerMemberType AMemberType,
                     TVnTypeKind AParentKind, TVnTypeKind AMemberKind) override;
  void SerializeValue(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                      const TValue &AValue, Integer AIndex) override;

  // "record", "object", or "array" for any other kind.
  virtual UnicodeString GetRootElementName(TVnTypeKind AKind);
  // Whether the start tag of a type (the root with AName empty) carries the type attributes.
  virtual bool WriteRootAttributes(const UnicodeString &AName);
  // Whether the element of a value carries the type attributes.
  virtual bool WriteValueAttributes(const UnicodeString &AName, Integer AIndex);

  // The namespace settings a worker writes with, read from the parameters when it is attached.
  struct TSettings {
    bool ExcludeNamespaces = false;
    UnicodeString DefaultNamespace;
    UnicodeString XSINamespace;
    UnicodeString XSIPrefix;
    UnicodeString XSDNamespace;
    UnicodeString XSDPrefix;
  };
  const TSettings &Settings() const noexcept { return *FSettings; }

 protected:
  // Shared with the parent while no parameter has changed since the parent read them.
  std::shared_ptr<const TSettings> FSettings;
  UInt64 FSettingsGeneration = 0;

 private:
  void WriteTypeName(const TVnTypeInfo *AType);
};

// The XML Schema records (TXsInt ...): the whole element from the record's plain value.
class TVnXMLXsSerializer : public TVnXMLSerializer {
  VN_CLASS(TVnXMLXsSerializer, TVnXMLSerializer)
 public:
  using TVnXMLSerializer::TVnXMLSerializer;
  void SerializeStartType(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                          Integer AIndex) override;
  void SerializeEndType(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                        Integer AIndex) override;
  void SerializeValue(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                      const TValue &AValue, Integer AIndex) override;
};

// A TStrings: one "item" element per line, and nothing else of the object.
class TVnXMLStringsSerializer : public TVnXMLSerializer {
  VN_CLASS(TVnXMLStringsSerializer, TVnXMLSerializer)
 public:
  using TVnXMLSerializer::TVnXMLSerializer;
  void DoSerialize(TVnSerializer *ASerializer, const UnicodeString &AName,
                   const UnicodeString &APath) override;
};

// A TComponent: its owner's name as "Owner", then the general walk.
class TVnXMLComponentSerializer : public TVnXMLSerializer {
  VN_CLASS(TVnXMLComponentSerializer, TVnXMLSerializer)
 public:
  using TVnXMLSerializer::TVnXMLSerializer;
  void DoSerialize(TVnSerializer *ASerializer, const UnicodeString &AName,
                   const UnicodeString &APath) override;
};

// ---------------------------------------------------------------------------------------------
// Reading

// Reads the XML wire form. The run's workers share one TVnSAXXMLReader; the deepest worker takes
// its events. A worker counts its element depth: level 0 is its own element, level 1 its
// members (or an array's elements), deeper levels are markup inside a simple member, collected
// as text. Attributes of an object's element count as child elements of the same name, apart
// from those in a W3C namespace (xsi:type and the like).
class TVnXMLDeserializer : public TVnDeserializer {
  VN_CLASS(TVnXMLDeserializer, TVnDeserializer)
 public:
  explicit TVnXMLDeserializer(const TValue &AValue) : TVnDeserializer(AValue) {}
  TVnXMLDeserializer(void *AInstance, PTypeInfo AType) : TVnDeserializer(AInstance, AType) {}
  ~TVnXMLDeserializer() override;
  TVnDataSerializationFormatType Format() override { return dsfXML; }

  void SetParent(TVnCustomSerializer *AParent) override;
  void DoDeserialize() override;
  // The value of the first "xsi:type" in the text, prefix included (whatever the document's
  // prefix for the namespace is, the text "xsi:type" is looked for); empty without one.
  UnicodeString ReadClassName(TVnTextParser *AParser) override;
  // From the attributes of the element in hand: its type attribute, or an empty name for
  // xsi:nil="true".
  bool ReadClassName(UnicodeString &AName) override;
  TVnDeserializer *CreateChildDeserializerIfNeeded(const UnicodeString &AName) override;

  Integer ValueToInt(const UnicodeString &AValue) override;
  Int64 ValueToInt64(const UnicodeString &AValue) override;
  Extended ValueToFloat(const UnicodeString &AValue) override;
  UnicodeString ValueToStr(const UnicodeString &AValue) override;
  TDateTime ValueToDate(const UnicodeString &AValue) override;
  TDateTime ValueToTime(const UnicodeString &AValue) override;
  TDateTime ValueToDateTime(const UnicodeString &AValue) override;
  bool ValueToBool(const UnicodeString &AValue) override;
  Variant ValueToVar(const UnicodeString &AValue, const UnicodeString &ADataType) override;
  TValue ValueToVal(const UnicodeString &AValue, const UnicodeString &ADataType) override;

  // The reader's events that a worker takes.
  virtual void StartElement(const VnXMLString &AUri, const VnXMLString &ALocalName,
                            const VnXMLString &AQName, IVnSAXAttributes *AAttributes);
  virtual void Characters(const VnXMLString &AText);
  virtual void EndElement(const VnXMLString &AUri, const VnXMLString &ALocalName,
                          const VnXMLString &AQName);
  // Raises EParserError "Line %d, column %d: %s".
  virtual void FatalError(IVnSAXLocator *ALocator, const VnXMLString &AMessage);

  Integer Level() const noexcept { return FLevel; }
  const UnicodeString &LocalName() const noexcept { return FLocalName; }
  const UnicodeString &DataType() const noexcept { return FDataType; }
  TVnSAXXMLReader *SAXReader() const noexcept { return FSAXReader; }

 protected:
  void Reuse(void *AInstance, PTypeInfo AType) override;
  TClass ReusableClass() const noexcept override { return TVnXMLDeserializer::StaticClass(); }
  // Replays the attributes of an element as child elements on ATarget.
  void DeserializeAttributes(TVnXMLDeserializer *ATarget, IVnSAXAttributes *AAttributes);

  TVnSAXXMLReader *FSAXReader = nullptr;
  UnicodeString FLocalName;
  UnicodeString FURI;
  UnicodeString FDataType;
  TVnCanDeserialize FCanDeserialize = desNo;
  Integer FLevel = 0;
  IVnSAXAttributes *FAttribs = nullptr;
  TVnStringStream *FXMLString = nullptr;
  bool FProcessRootChars = false;
  bool FDeserializingAttribs = false;
};

// An XML Schema record: the element's text by the record's own conversion.
class TVnXMLXsDeserializer : public TVnXMLDeserializer {
  VN_CLASS(TVnXMLXsDeserializer, TVnXMLDeserializer)
 public:
  using TVnXMLDeserializer::TVnXMLDeserializer;
  TVnCanDeserialize CanDeserialize(UnicodeString &AUri, UnicodeString &AName,
                                   UnicodeString &ADataType, bool ARaiseIfUnknown) override;
  void Characters(const VnXMLString &AText) override;
};

// A TStrings: replaces the lines by the texts of the "item" elements.
class TVnXMLStringsDeserializer : public TVnXMLDeserializer {
  VN_CLASS(TVnXMLStringsDeserializer, TVnXMLDeserializer)
 public:
  using TVnXMLDeserializer::TVnXMLDeserializer;
  void SetParent(TVnCustomSerializer *AParent) override;
  TVnCanDeserialize CanDeserialize(UnicodeString &AUri, UnicodeString &AName,
                                   UnicodeString &ADataType, bool ARaiseIfUnknown) override;
  void Characters(const VnXMLString &AText) override;
};

// A TComponent: the general reading of an object, registered for the components.
class TVnXMLComponentDeserializer : public TVnXMLDeserializer {
  VN_CLASS(TVnXMLComponentDeserializer, TVnXMLDeserializer)
 public:
  using TVnXMLDeserializer::TVnXMLDeserializer;
};

// A TValue: the element's text as a string value.
class TVnXMLValueDeserializer : public TVnXMLDeserializer {
  VN_CLASS(TVnXMLValueDeserializer, TVnXMLDeserializer)
 public:
  using TVnXMLDeserializer::TVnXMLDeserializer;
  void Characters(const VnXMLString &AText) override;
};

// The start-up of the unit: registers the notation once. Every translation unit that includes
// this header runs it, so that the notation is there whenever the header is in use.
bool VnXMLSerializerStartUp();
namespace detail {
[[maybe_unused]] inline const bool cVnXMLSerializerUnit = VnXMLSerializerStartUp();
}

}  // namespace vn

namespace vn {

// The plain value of an XML Schema record at APtr of type AType (TXsInt -> Integer ...), as the
// XS serializers of both notations write it: the plain type in APlain, the value in AValue
// (empty for a null record). Dates and times give their text under the date type; a duration
// its text under UnicodeString. False for a type that is no XS record.
bool VnXsPlainValue(PTypeInfo AType, const void *APtr, const TVnTypeInfo *&APlain, TValue &AValue);
// An XML Schema record at APtr made null (a TValue empty); false for a type that is no XS record.
bool VnXsClear(PTypeInfo AType, void *APtr);
// An XML Schema record at APtr set from its text by the record's own conversion (a TValue holds
// the text); false for a type that is no XS record.
bool VnXsFromText(PTypeInfo AType, void *APtr, const UnicodeString &AText);
// The XML Schema records in the order in which both notations register their serializers.
std::span<const PTypeInfo> VnXsRecordTypes();
// The lexical form of a value of a number kind (vtkByte to vtkExtended) by the Vn...ToXML
// routine of that kind; other kinds raise EArgumentOutOfRangeException.
UnicodeString VnNumberToXML(TVnTypeKind AKind, const TValue &AValue);
// The text of an enumeration value of type AType (held as itself, an ordinal or a variant),
// with the type's shoEnumPrefix cut from its front.
UnicodeString VnEnumText(const TValue &AValue, const TVnTypeInfo *AType);

}  // namespace vn
