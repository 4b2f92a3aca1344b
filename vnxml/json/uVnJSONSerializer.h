// The JSON notation of object serialization: TVnJSONSerializer writes the walk of TVnSerializer
// as JSON text in UTF-8, without white space. Each object starts with its "className" member;
// simple values take their lexical forms from uVnXMLUtils.
//
// Including this header registers the notation (the unit's start-up): the default serializer
// of dsfJSON, and those of TStrings, TComponent, the streams, TValue and the XML Schema records.
#pragma once

#include "vnxml/common/uVnDateTimeUtils.h"
#include "vnxml/common/uVnSerializer.h"
#include "vnxml/json/uVnJSON.h"

namespace vn {

// Writes a value as JSON: the serializer worker of the format dsfJSON.
class TVnJSONSerializer : public TVnSerializer {
  VN_CLASS(TVnJSONSerializer, TVnSerializer)
 public:
  explicit TVnJSONSerializer(const TValue &AValue) : TVnSerializer(AValue) {}
  TVnJSONSerializer(void *AInstance, PTypeInfo AType) : TVnSerializer(AInstance, AType) {}

  TVnDataSerializationFormatType Format() override { return dsfJSON; }
  void Reuse(void *AInstance, PTypeInfo AType) override;

  void SerializeStartType(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                          Integer AIndex) override;
  void SerializeEndType(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                        Integer AIndex) override;
  // Writes the separator, the name with its first letter in lower case, and the colon.
  void SerializeName(const UnicodeString &AName, TVnSerializerMemberType AMemberType,
                     TVnTypeKind AParentKind, TVnTypeKind AMemberKind) override;
  void SerializeValue(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                      const TValue &AValue, Integer AIndex) override;

 protected:
  // Whether a "," goes in front of the next member: false at first, true after anything was
  // written.
  bool FSeparate = false;

 private:
  void WriteEnumObject(const TVnTypeInfo *ATypeInfo, const TValue &AValue);
  void WriteText(const TVnTypeInfo *ATypeInfo, const TValue &AValue);
  // The text between quotes, escaped, straight into the run's output as UTF-8.
  void WriteEscaped(UnicodeStringView AText);
};

// A stream: its bytes in Base64 as "data".
class TVnJSONStreamSerializer : public TVnJSONSerializer {
  VN_CLASS(TVnJSONStreamSerializer, TVnJSONSerializer)
 public:
  using TVnJSONSerializer::TVnJSONSerializer;
  void DoSerialize(TVnSerializer *ASerializer, const UnicodeString &AName,
                   const UnicodeString &APath) override;
  void SerializeEndType(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                        Integer AIndex) override;
};

// The XML Schema records (TXsInt ...) by their plain values; a duration as an object. A record
// stands for one value, so its worker opens and closes nothing.
class TVnJSONXsSerializer : public TVnJSONSerializer {
  VN_CLASS(TVnJSONXsSerializer, TVnJSONSerializer)
 public:
  using TVnJSONSerializer::TVnJSONSerializer;
  void SerializeStartType(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                          Integer AIndex) override;
  void SerializeEndType(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                        Integer AIndex) override;
  void SerializeValue(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                      const TValue &AValue, Integer AIndex) override;
};

// A TStrings: the general walk, then its lines as the array "items".
class TVnJSONStringsSerializer : public TVnJSONSerializer {
  VN_CLASS(TVnJSONStringsSerializer, TVnJSONSerializer)
 public:
  using TVnJSONSerializer::TVnJSONSerializer;
  void DoSerialize(TVnSerializer *ASerializer, const UnicodeString &AName,
                   const UnicodeString &APath) override;
};

// A TComponent: its owner's name as "owner", then the general walk.
class TVnJSONComponentSerializer : public TVnJSONSerializer {
  VN_CLASS(TVnJSONComponentSerializer, TVnJSONSerializer)
 public:
  using TVnJSONSerializer::TVnJSONSerializer;
  void DoSerialize(TVnSerializer *ASerializer, const UnicodeString &AName,
                   const UnicodeString &APath) override;
};

// ---------------------------------------------------------------------------------------------
// Reading

// Reads the JSON wire form. The run's workers share one TVnJSONReader (a form reader with the
// parameter "UrlEncoded"); the deepest worker takes its events. Names and values arrive as they
// stand between the quotes and are unescaped by ValueToStr.
class TVnJSONDeserializer : public TVnDeserializer {
  VN_CLASS(TVnJSONDeserializer, TVnDeserializer)
 public:
  explicit TVnJSONDeserializer(const TValue &AValue) : TVnDeserializer(AValue) {}
  TVnJSONDeserializer(void *AInstance, PTypeInfo AType) : TVnDeserializer(AInstance, AType) {}
  TVnDataSerializationFormatType Format() override { return dsfJSON; }

  void SetParent(TVnCustomSerializer *AParent) override;
  void DoDeserialize() override;
  // "className" when it is the first member of the text; empty otherwise.
  UnicodeString ReadClassName(TVnTextParser *AParser) override;
  // The same on the text ahead of the reader (up to 255 characters); always true.
  bool ReadClassName(UnicodeString &AName) override;
  // The reader of a run: the form reader with the parameter "UrlEncoded", else the JSON one.
  virtual TVnJSONReader *CreateJSONReader();

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
  virtual void StartObject();
  virtual void StartArray();
  virtual void StartMember(const VnJSONString &AName);
  virtual void Value(TVnJSONDataType ADataType, const VnJSONString &AValue);
  virtual void EndArray();
  virtual void EndObject();

  TVnJSONReader *JSONReader() const noexcept { return FJSONReader; }
  const UnicodeString &MemberName() const noexcept { return FMemberName; }

 protected:
  void Reuse(void *AInstance, PTypeInfo AType) override;
  TClass ReusableClass() const noexcept override { return TVnJSONDeserializer::StaticClass(); }

  TVnJSONReader *FJSONReader = nullptr;
  TVnCanDeserialize FCanDeserialize = desNo;
  UnicodeString FMemberName;
  UnicodeString FDataType;
  UnicodeString FNamespace;
  // Above 0: the worker is inside something that it does not take, and ignores values.
  Integer FDisabledCnt = 0;
  // The worker of an object or record stands for an array as a whole; its end ends the worker.
  bool FOwnArray = false;
};

// The object of an enumeration or set: "asString", then "asInt", which wins.
class TVnJSONEnumDeserializer : public TVnJSONDeserializer {
  VN_CLASS(TVnJSONEnumDeserializer, TVnJSONDeserializer)
 public:
  using TVnJSONDeserializer::TVnJSONDeserializer;
  void DeserializeStartType() override;
  void StartMember(const VnJSONString &AName) override;
  void Value(TVnJSONDataType ADataType, const VnJSONString &AValue) override;
  void EndObject() override;
};

// A memory stream: its bytes from the Base64 string "data".
class TVnJSONStreamDeserializer : public TVnJSONDeserializer {
  VN_CLASS(TVnJSONStreamDeserializer, TVnJSONDeserializer)
 public:
  using TVnJSONDeserializer::TVnJSONDeserializer;
  void Value(TVnJSONDataType ADataType, const VnJSONString &AValue) override;
};

// An XML Schema record: one value fills it; null clears it.
class TVnJSONXsDeserializer : public TVnJSONDeserializer {
  VN_CLASS(TVnJSONXsDeserializer, TVnJSONDeserializer)
 public:
  using TVnJSONDeserializer::TVnJSONDeserializer;
  TVnCanDeserialize CanDeserialize(UnicodeString &AUri, UnicodeString &AName,
                                   UnicodeString &ADataType, bool ARaiseIfUnknown) override;
  // A duration comes as the object of its parts ("negative", "monthts", "seconds").
  void StartObject() override;
  void StartMember(const VnJSONString &AName) override;
  void Value(TVnJSONDataType ADataType, const VnJSONString &AValue) override;
  void EndObject() override;

 private:
  bool FInDuration = false;
  bool FDurationRead = false;
  TVnDuration FDuration;
};

// A TStrings: replaces the lines by the strings of "items".
class TVnJSONStringsDeserializer : public TVnJSONDeserializer {
  VN_CLASS(TVnJSONStringsDeserializer, TVnJSONDeserializer)
 public:
  using TVnJSONDeserializer::TVnJSONDeserializer;
  void SetParent(TVnCustomSerializer *AParent) override;
  TVnCanDeserialize CanDeserialize(UnicodeString &AUri, UnicodeString &AName,
                                   UnicodeString &ADataType, bool ARaiseIfUnknown) override;
  void Value(TVnJSONDataType ADataType, const VnJSONString &AValue) override;
};

// A TComponent: the general reading of an object, registered for the components.
class TVnJSONComponentDeserializer : public TVnJSONDeserializer {
  VN_CLASS(TVnJSONComponentDeserializer, TVnJSONDeserializer)
 public:
  using TVnJSONDeserializer::TVnJSONDeserializer;
};

// A TValue whose type the document gives: a plain value, or an object with "className" read
// from its own text.
class TVnJSONValueDeserializer : public TVnJSONDeserializer {
  VN_CLASS(TVnJSONValueDeserializer, TVnJSONDeserializer)
 public:
  explicit TVnJSONValueDeserializer(const TValue &AValue);
  TVnJSONValueDeserializer(void *AInstance, PTypeInfo AType);
  ~TVnJSONValueDeserializer() override;
  void SetParent(TVnCustomSerializer *AParent) override;
  void StartObject() override;
  void Value(TVnJSONDataType ADataType, const VnJSONString &AValue) override;
  void EndArray() override;
  void EndObject() override;

 private:
  TVnTextParser *FMarked = nullptr;
};

// ---------------------------------------------------------------------------------------------
// JSON documents: written as their own text, read by loading it

// A TVnJSONDocument as its text in UTF-8, unformatted. With "excluderoot" at the root of a run
// the outer braces (or brackets) of the document's value are left out, so that its members can
// stand inside another object; an empty object then writes nothing. As a member of an object the
// document's text is the member's value, and "null" for a document without a value.
class TVnJSONDocSerializer : public TVnJSONSerializer {
  VN_CLASS(TVnJSONDocSerializer, TVnJSONSerializer)
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

// A TVnJSONDocument loaded from the text in UTF-8, or a new document when the run has none. The
// loaded value replaces the document's value.
class TVnJSONDocDeserializer : public TVnJSONDeserializer {
  VN_CLASS(TVnJSONDocDeserializer, TVnJSONDeserializer)
 public:
  using TVnJSONDeserializer::Deserialize;
  using TVnJSONDeserializer::TVnJSONDeserializer;
  // A new, empty TVnJSONDocument; ATypeInfo becomes its type.
  TObject *CreateInstance(const TVnTypeInfo *&ATypeInfo) override;
  void Deserialize(TStream *AStream) override;
};

// The start-up of the unit: registers the notation once. Every translation unit that includes
// this header runs it, so that the notation is there whenever the header is in use.
bool VnJSONSerializerStartUp();
namespace detail {
[[maybe_unused]] inline const bool cVnJSONSerializerUnit = VnJSONSerializerStartUp();
}

}  // namespace vn
