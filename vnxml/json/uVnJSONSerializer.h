// The JSON notation of object serialization: TVnJSONSerializer writes the walk of TVnSerializer
// as JSON text in UTF-8, without white space. Each object starts with its "className" member;
// simple values take their lexical forms from uVnXMLUtils.
//
// Including this header registers the notation (the unit's start-up): the default serializer
// of dsfJSON, and those of TStrings, TComponent, the streams, TValue and the XML Schema records.
#pragma once

#include "vnxml/common/uVnSerializer.h"
#include "vnxml/json/uVnJSON.h"

namespace vn {

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
  // What goes in front of the next member: empty at first, "," after anything was written.
  UnicodeString FPrefix;

 private:
  void WriteEnumObject(const TVnTypeInfo *ATypeInfo, const TValue &AValue);
  void WriteText(const TVnTypeInfo *ATypeInfo, const TValue &AValue);
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

// The start-up of the unit: registers the notation once. Every translation unit that includes
// this header runs it, so that the notation is there whenever the header is in use.
bool VnJSONSerializerStartUp();
namespace detail {
[[maybe_unused]] inline const bool cVnJSONSerializerUnit = VnJSONSerializerStartUp();
}

}  // namespace vn
