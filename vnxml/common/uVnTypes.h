// Code pages, byte-order marks and encoding conversions of the library; the type registry
// (TVnTypes, TVnTypeInfo) with its classifications; the Variant helpers.
#pragma once

#include <atomic>

#include "vnxml/common/uVnSysUtils.h"
#include "vnxml/rtl/CodePages.h"
#include "vnxml/rtl/Rtti.h"
#include "vnxml/rtl/Streams.h"
#include "vnxml/rtl/Variant.h"

namespace vn {

extern const char16_t _SEncodingNotSupported[];  // "The specified encoding is not supported!"

// The byte-order marks written by the output paths.
inline constexpr Byte cVnUTF16LE[2] = {0xFF, 0xFE};
inline constexpr Byte cVnUTF8[3] = {0xEF, 0xBB, 0xBF};

// Looks at the bytes at the stream's current position for a byte-order mark. With a mark the
// stream is left behind it and the page is returned: 1200 for FF FE, 65001 for EF BB BF.
// Without one the position is unchanged and the result is 0. The big-endian mark FE FF raises
// EEncodingError with _SEncodingNotSupported (position unchanged).
Word VnGetCodePage(TStream *AStream);
// The number of a code page from its name in an encoding declaration, without regard to case.
// An unknown name raises EEncodingError with _SEncodingNotSupported.
Word VnCodePage(UnicodeStringView AName);
// The name of a page for the encoding pseudo-attribute of a declaration ("UTF-8", "UTF-16",
// "ISO-8859-1", "windows-1252" ...). An unknown page raises EEncodingError.
UnicodeString VnCodePage(Word APage);

// Code-page conversions.
class TVnEncoding {
 public:
  TVnEncoding() = delete;
  // UTF-16 to the bytes of a page.
  static RawByteString ConvertW(UnicodeStringView AText, Word ACodePage);
  // One-byte text in its own page (the default page for 0) to UTF-16.
  static UnicodeString ConvertA(const AnsiString &AText);
  // Bytes in a page to UTF-16.
  static UnicodeString ConvertA(const RawByteString &AText, Word ACodePage);
  static UnicodeString ConvertA(const Byte *ABuffer, Integer ASize, Word ACodePage);
};

// ---------------------------------------------------------------------------------------------
// Types that share a representation with another type but are told apart by the registry.

// The string types of the SAX and JSON interfaces: UTF-16 text. A member registered with the
// alias type reports "VnXMLString" or "VnJSONString" as its type's Name, which tells the
// serializers that the text is XML or JSON already:
//   R.Field<TVnXMLStringAlias>(u"Body", &TMessage::Body);
using VnXMLString = UnicodeString;
using VnJSONString = UnicodeString;
// The registry's name of VnXMLString, the alias of text that is XML already.
struct TVnXMLStringTag {
  static constexpr const char16_t *Name = u"VnXMLString", *UnitName = u"uVnTypes";
};
// The registry's name of VnJSONString, the alias of text that is JSON already.
struct TVnJSONStringTag {
  static constexpr const char16_t *Name = u"VnJSONString", *UnitName = u"uVnTypes";
};
using TVnXMLStringAlias = TDistinctType<UnicodeString, TVnXMLStringTag>;
using TVnJSONStringAlias = TDistinctType<UnicodeString, TVnJSONStringTag>;

// Dates and times in UTC. They behave as their local counterparts; the serializers write them
// with "Z".
class TVnUTCDate : public TDate {
 public:
  constexpr TVnUTCDate() noexcept = default;
  constexpr TVnUTCDate(double AValue) noexcept : TDate(AValue) {}
  constexpr TVnUTCDate(const TDateTime &AValue) noexcept : TDate(AValue.Val) {}
};
// A time of day in UTC.
class TVnUTCTime : public TTime {
 public:
  constexpr TVnUTCTime() noexcept = default;
  constexpr TVnUTCTime(double AValue) noexcept : TTime(AValue) {}
  constexpr TVnUTCTime(const TDateTime &AValue) noexcept : TTime(AValue.Val) {}
};
// A date and time in UTC.
class TVnUTCDateTime : public TDateTime {
 public:
  constexpr TVnUTCDateTime() noexcept = default;
  constexpr TVnUTCDateTime(double AValue) noexcept : TDateTime(AValue) {}
  constexpr TVnUTCDateTime(const TDateTime &AValue) noexcept : TDateTime(AValue.Val) {}
};

// ---------------------------------------------------------------------------------------------
// Classifications. The ordinals are fixed; the value names are registered, so GetEnumName
// prints them ("vtkLongInt").

// The fine classification of a type.
enum TVnTypeKind : Byte {
  vtkUnknown,   // no type, or a type without description
  vtkByte,      // unsigned 8 bit
  vtkWord,      // unsigned 16 bit
  vtkLongWord,  // unsigned 32 bit
  vtkUInt64,    // unsigned 64 bit
  vtkShortInt,  // signed 8 bit
  vtkSmallInt,  // signed 16 bit
  vtkLongInt,   // signed 32 bit
  vtkInt64,     // signed 64 bit
  vtkSingle,    // 32-bit float
  vtkDouble,    // 64-bit float (and Currency)
  vtkExtended,  // extended float
  vtkWideChar,  // 12..17: the text kinds
  vtkAnsiChar,
  vtkShortString,
  vtkString,      // UnicodeString
  vtkAnsiString,  // AnsiString, RawByteString
  vtkWideString,
  vtkBoolean,
  vtkEnum,
  vtkSet,
  vtkDate,      // TDate and its descendants (TVnUTCDate)
  vtkTime,      // TTime and its descendants (TVnUTCTime)
  vtkDateTime,  // TDateTime and its other descendants (TVnUTCDateTime)
  vtkVariant,
  vtkArray,
  vtkDynArray,
  vtkRecord,  // records, TValue among them
  vtkClass,
  vtkInterface,
  vtkCustomSimple,  // a record that stands for one simple value
  vtkPointer,
  vtkMethod,
  vtkProcedure,
  vtkClassRef
};

// The groups of kinds for value conversion.
enum TVnMainTypeKind : Byte {
  mtkUnknown,  // also "any" in a lookup by name
  mtkInteger,  // integers, enumerations, sets
  mtkFloat,
  mtkString,
  mtkBoolean,
  mtkDateTime,
  mtkArray,
  mtkComplex  // records (custom simple ones too), classes, interfaces
};

// The three name spaces of a lookup by name: the Name ("string"), the QualifiedName
// ("System.string") and the schema name without prefix ("string", "ArrayOfInt").
enum TVnTypeNameType : Byte { tntName, tntQualifiedName, tntSchemaName };

// The two notations of serialization.
enum TVnDataSerializationFormatType : Byte { dsfJSON, dsfXML };
// The display name of each notation for messages: "JSON", "XML".
extern const char16_t *const VnDataSerializationFormatType[2];

// The type tag of a JSON value, in this order.
enum TVnJSONDataType : Byte { jdtNull, jdtString, jdtNumber, jdtBoolean, jdtObject, jdtArray };

// Shapes of schema data; VirtualType derives an array type.
enum TVnSchemaDataType : Byte { sdtSimple, sdtComplex, sdtArray };

// Variant type codes of records and objects (GetVarType).
constexpr TVarType varRecord = 0x0024;
constexpr TVarType varObject = 0x0049;

struct TVnSerializerClassRef;

// The serializer and deserializer class of a type in one notation; either may be nil. The
// references carry the constructors that the serializer unit calls (uVnSerializer).
struct TVnSerializerPair {
  TClass Serializer = nullptr;
  TClass Deserializer = nullptr;
  const TVnSerializerClassRef *SerializerRef = nullptr;
  const TVnSerializerClassRef *DeserializerRef = nullptr;
};

// The registry's record of one type: made once, owned by the registry, never freed by callers.
// A virtual type (an array derived by VirtualType) has no RttiType and no Handle.
class TVnTypeInfo {
 public:
  TVnTypeInfo() = default;
  TVnTypeInfo(const TVnTypeInfo &) = delete;
  TVnTypeInfo &operator=(const TVnTypeInfo &) = delete;

  TRttiType *RttiType = nullptr;
  PTypeInfo Handle = nullptr;
  // "TVnUTCDate", "VnXMLString", "TObjectList<uShop.TItem>" ...
  UnicodeString Name;
  // "System.string", "System.Rtti.TValue" ...
  UnicodeString QualifiedName;
  TVnTypeKind Kind = vtkUnknown;

  // The host kind (tkDynArray for a virtual array).
  TTypeKind GetKind() const noexcept;
  TVnMainTypeKind GetMainTypeKind() const noexcept;
  // The kinds up to vtkVariant, and vtkCustomSimple.
  bool GetIsSimpleType() const noexcept;
  // The name in documents, behind "APrefix:" when a prefix is given: the XML Schema name of a
  // simple type ("int", "dateTime"), "ArrayOf" and the element's schema name with a capital
  // first letter for an array ("ArrayOfInt"), the Name otherwise.
  UnicodeString SchemaName(UnicodeStringView APrefix = {}) const;
  // sdtArray: a type of kind vtkDynArray that stands for an array of this type, without a
  // declared array type behind it; one per type. Other shapes raise
  // EArgumentOutOfRangeException.
  const TVnTypeInfo *VirtualType(TVnSchemaDataType ADataType) const;
  // The element of an array (virtual ones too) or set; nil for other types.
  const TVnTypeInfo *GetElementType() const;

 private:
  friend struct TVnTypesState;
  friend class TVnTypes;
  const TVnTypeInfo *FElement = nullptr;
  std::atomic<UInt64> FGeneration{0};
  mutable std::atomic<const TVnTypeInfo *> FVirtualArray{nullptr};
};

// The process-wide type registry. Registration happens at start-up; lookups may come from any
// thread.
class TVnTypes {
 public:
  TVnTypes() = delete;

  // The canonical record of a type; nil for nil. Made on first use and kept. A type without
  // registration gives a record of kind vtkUnknown.
  static const TVnTypeInfo *GetTypeInfo(PTypeInfo AType);
  static const TVnTypeInfo *GetTypeInfo(const TRttiType *AType);
  static const TVnTypeInfo *GetTypeInfo(TClass AClass);
  template <class T>
  static const TVnTypeInfo *Of() {
    return GetTypeInfo(TypeInfo<T>());
  }
  // A registered type by name in one name space, without regard to case, restricted to a main
  // kind unless that is mtkUnknown; the first registered wins. With tntSchemaName and mtkArray
  // a name "ArrayOf<element>" that no array type has makes the virtual array of the element.
  // A schema name may carry the prefix of a document ("xsd:int"): what follows the colon is
  // looked up.
  // Not found: nil, or with ARaise EVnException "The type \"<name>\" is unknown!".
  static const TVnTypeInfo *GetTypeInfo(UnicodeStringView AName, TVnTypeNameType ANameType,
                                        bool ARaise = false,
                                        TVnMainTypeKind AMainKind = mtkUnknown);
  // The variant type code of a named type, or ADefault for an unknown name.
  static TVarType GetVarType(UnicodeStringView AName, TVnTypeNameType ANameType,
                             TVarType ADefault = varUnknown);
  // The type that fits the variant's current content (Variant for Empty and Null).
  static const TVnTypeInfo *VarTypeInfo(const Variant &AValue);
  static TVnMainTypeKind VarMainTypeKind(const Variant &AValue);
  static TVnMainTypeKind ToMainTypeKind(TVnTypeKind AKind) noexcept;
  // A second name of a type, found in all three name spaces.
  static void RegisterTypeAlias(PTypeInfo AType, UnicodeStringView AAlias);
  // Stores the pair of a type in one notation; a nil type stores the notation's default pair.
  // The first pair registered for a type and notation stands.
  static void RegisterTypeSerializers(PTypeInfo AType, TVnDataSerializationFormatType AFormat,
                                      const TVnSerializerPair *APair);
  // The pair of the type itself; for a class otherwise that of its nearest registered ancestor;
  // otherwise the notation's default pair (nil when there is none).
  static const TVnSerializerPair *FindSerializers(const TVnTypeInfo *AType,
                                                  TVnDataSerializationFormatType AFormat);
};

// ---------------------------------------------------------------------------------------------
// Variant helpers. Empty and Null give the default. A value that cannot be converted raises
// EConvertError when ARaise is set and gives the default otherwise.

bool VnVarToBool(const Variant &AValue, bool ADefault = false, bool ARaise = false);
UnicodeString VnVarToStr(const Variant &AValue, const UnicodeString &ADefault = {},
                         bool ARaise = false);
Extended VnVarToExtended(const Variant &AValue, Extended ADefault = 0, bool ARaise = false);
Double VnVarToDouble(const Variant &AValue, Double ADefault = 0, bool ARaise = false);
Int64 VnVarToInt64(const Variant &AValue, Int64 ADefault = 0, bool ARaise = false);
Integer VnVarToInt(const Variant &AValue, Integer ADefault = 0, bool ARaise = false);
// The number of elements of an array; 0 for any other value.
Integer VnVarArrayCount(const Variant &AValue);
// The value as a boolean, or ADefault when it has none; never raises.
bool VnVarBool(const Variant &AValue, bool ADefault);
// Empty, Null, a variant that holds no interface, or an array without elements.
bool VnVarIsEmpty(const Variant &AValue);

}  // namespace vn
