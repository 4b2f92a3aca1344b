// The JSON notation of the serializer walk.
#include "vnxml/json/uVnJSONSerializer.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "vnxml/common/uVnDateTimeUtils.h"
#include "vnxml/common/uVnNetEncoding.h"
#include "vnxml/json/uVnJSON/Internal.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/xml/uVnXMLSerializer.h"
#include "vnxml/xml/uVnXMLUtils.h"
#include "vnxml/xml/uVnXSTypes.h"

namespace vn {

namespace {

const char16_t *const cBasicTypes =
    u"Basic types are only allowed on the Root level (For serialing basic values)";
const char16_t *const cUnsupportedKind = u"Unsupported TypeKind detected!";

TVnTypeKind KindOf(const TVnTypeInfo *AType) {
  return AType ? AType->Kind : vtkUnknown;
}

bool IsObjectKind(TVnTypeKind AKind) {
  return AKind == vtkRecord || AKind == vtkClass || AKind == vtkInterface || AKind == vtkPointer;
}

Int64 OrdinalOf(const TValue &AValue) {
  if (AValue.GetIsEmpty()) return 0;
  if (AValue.IsOrdinal()) return AValue.AsOrdinal();
  // A set of more than 64 possible members has no ordinal; its first 64 bits stand for it, of
  // which "asInt" keeps 32 anyway. Every set holds at least one 64-bit word.
  if (AValue.GetTypeKind() == tkSet) {
    UInt64 low = 0;
    std::memcpy(&low, AValue.GetReferenceToRawData(), sizeof low);
    return static_cast<Int64>(low);
  }
  return VnVarToInt64(AValue.AsVariant());
}

// An integer member's value, cut to its kind, as VnNumberToXML writes it (UInt64 as Int64).
Int64 IntegerOf(const TVnTypeInfo *AType, const TValue &AValue) {
  // A value of the member's own integer type gives the same bits by its ordinal, without the
  // general conversion; the kind cuts them below as it cuts the converted value.
  const TVnTypeKind kind = AType->Kind;
  const TTypeKind held = AValue.GetTypeKind();
  const bool ordinal =
      (held == tkInteger || held == tkInt64) && AValue.GetTypeInfo() == AType->Handle;
  switch (kind) {
    case vtkByte:
      return static_cast<Byte>(ordinal ? AValue.AsOrdinal() : AValue.ToUInt64());
    case vtkWord:
      return static_cast<Word>(ordinal ? AValue.AsOrdinal() : AValue.ToUInt64());
    case vtkLongWord:
      return static_cast<LongWord>(ordinal ? AValue.AsOrdinal() : AValue.ToUInt64());
    case vtkUInt64:
      return ordinal ? AValue.AsOrdinal() : static_cast<Int64>(AValue.ToUInt64());
    case vtkShortInt:
      return static_cast<ShortInt>((ordinal ? AValue.AsOrdinal() : AValue.ToInt64()));
    case vtkSmallInt:
      return static_cast<SmallInt>((ordinal ? AValue.AsOrdinal() : AValue.ToInt64()));
    case vtkLongInt:
      return static_cast<LongInt>((ordinal ? AValue.AsOrdinal() : AValue.ToInt64()));
    default:
      return (ordinal ? AValue.AsOrdinal() : AValue.ToInt64());
  }
}

// The text of a value that is a whole number of hundredths (prices, most often) of less than
// 1e13, other than zero, as VnDoubleToXML writes it: fixed notation without trailing zeros.
// Such a value is the double nearest to a decimal of at most 15 digits, which the general
// 15-digit form gives back as it stands. False for any other value.
bool HundredthsText(double AValue, char *ABuffer, std::size_t &ALength) {
  if (!(AValue != 0 && AValue > -1e13 && AValue < 1e13)) return false;
  const double hundredths = std::nearbyint(AValue * 100);
  if (hundredths / 100 != AValue) return false;
  const Int64 h = static_cast<Int64>(hundredths);
  UInt64 u = h < 0 ? static_cast<UInt64>(-h) : static_cast<UInt64>(h);
  char *p = ABuffer;
  if (h < 0) *p++ = '-';
  p = std::to_chars(p, p + 16, u / 100).ptr;
  const unsigned frac = static_cast<unsigned>(u % 100);
  if (frac != 0) {
    *p++ = '.';
    *p++ = static_cast<char>('0' + frac / 10);
    if (frac % 10 != 0) *p++ = static_cast<char>('0' + frac % 10);
  }
  ALength = static_cast<std::size_t>(p - ABuffer);
  return true;
}

}  // namespace

void TVnJSONSerializer::Reuse(void *AInstance, PTypeInfo AType) {
  TVnSerializer::Reuse(AInstance, AType);
  FSeparate = false;
}

void TVnJSONSerializer::SerializeName(const UnicodeString &AName, TVnSerializerMemberType,
                                      TVnTypeKind, TVnTypeKind) {
  // The member as it is written (',"name":'), in UTF-8, kept per name string. Member names live
  // in the type descriptions as long as the process, so their address finds the entry; the text
  // is compared too, since a name may also come from a temporary string. Each thread keeps its
  // own.
  struct TEntry {
    const UnicodeString *Key = nullptr;
    UnicodeString Name;
    std::string Bytes;
  };
  thread_local TEntry cache[256];
  TEntry &e = cache[(reinterpret_cast<std::uintptr_t>(&AName) >> 3) & 255];
  if (e.Key != &AName || e.Name != AName) {
    e.Key = nullptr;
    e.Bytes.assign(",\"");
    if (!AName.empty() && AName.front() < 0x80 && AName.find(u' ') == UnicodeString::npos) {
      char16_t first = AName.front();
      e.Bytes += static_cast<char>(first >= u'A' && first <= u'Z' ? first - u'A' + u'a' : first);
      AppendUTF8(e.Bytes, UnicodeStringView(AName).substr(1));
    } else {
      AppendUTF8(e.Bytes, VnCharCase(AName, 7, u' '));
    }
    e.Bytes += "\":";
    e.Name = AName;
    e.Key = &AName;
  }
  Write(std::string_view(e.Bytes).substr(FSeparate ? 0 : 1));
  FSeparate = true;
}

void TVnJSONSerializer::SerializeStartType(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                                           Integer AIndex) {
  TVnTypeKind kind = KindOf(ATypeInfo);
  if (kind == vtkInterface && FParent && KindOf(FParent->InstanceTypeInfo()) == vtkRecord) return;
  bool array = kind == vtkArray || kind == vtkDynArray;
  if (array && AName.empty()) {
    Write('[');
    return;
  }
  if (!array && !IsObjectKind(kind)) {
    VN_ASSERT_MSG_AT(!FParent, cBasicTypes, __FILE__, __LINE__);
    return;
  }
  if (!AName.empty()) {
    if (array) {
      Write('[');
      return;
    }
    if (AIndex >= 1 || FSeparate) Write(',');
  }
  Write('{');
  if (!ATypeInfo->GetIsSimpleType()) {
    Write(std::string_view("\"className\":\""));
    WriteSchemaName(ATypeInfo);
    Write('"');
    FSeparate = true;
  }
}

void TVnJSONSerializer::SerializeEndType(const UnicodeString &, const TVnTypeInfo *ATypeInfo,
                                         Integer) {
  TVnTypeKind kind = KindOf(ATypeInfo);
  if (kind == vtkInterface && FParent && KindOf(FParent->InstanceTypeInfo()) == vtkRecord) return;
  if (kind == vtkArray || kind == vtkDynArray)
    Write(']');
  else if (IsObjectKind(kind))
    Write('}');
  else
    VN_ASSERT_MSG_AT(!FParent, cBasicTypes, __FILE__, __LINE__);
  FSeparate = true;
}

void TVnJSONSerializer::WriteText(const TVnTypeInfo *ATypeInfo, const TValue &AValue) {
  Write('"');
  if (ATypeInfo && ATypeInfo->Name == u"VnJSONString")
    Write(AValue.ToString());
  else {
    UnicodeString holder;
    WriteEscaped(TextOf(AValue, holder));
  }
  Write('"');
}

void TVnJSONSerializer::WriteEscaped(UnicodeStringView AText) {
  std::string *out = Output();
  if (!out) {
    UnicodeString &escaped = Scratch();
    escaped.clear();
    VnAppendStrToJSON(escaped, AText);
    Write(escaped);
    return;
  }
  // Escaped as VnAppendStrToJSON escapes, and made UTF-8 in the same pass: characters from 256
  // up are written as \u escapes, so only the two-byte form of UTF-8 occurs. The bytes are made
  // in a block on the stack and appended a block at a time.
  char block[512];
  std::size_t n = 0;
  const char16_t *p = AText.data(), *e = p + AText.size();
  while (p < e) {
    // A character makes at most 6 bytes: as many as surely fit go without a check.
    const char16_t *stop =
        p + std::min<std::size_t>(static_cast<std::size_t>(e - p), (sizeof block - n) / 6);
    if (p == stop) {
      out->append(block, n);
      n = 0;
      continue;
    }
    for (; p < stop; ++p) {
      const char16_t c = *p;
      if (c >= 0x80 && c < 0x100) {
        // Stands as it is (no escape applies here), in two bytes.
        block[n++] = static_cast<char>(0xC0 | (c >> 6));
        block[n++] = static_cast<char>(0x80 | (c & 0x3F));
      } else {
        n = static_cast<std::size_t>(json::PutEscaped(block + n, c) - block);
      }
    }
  }
  out->append(block, n);
  Appended();
}

void TVnJSONSerializer::WriteEnumObject(const TVnTypeInfo *ATypeInfo, const TValue &AValue) {
  bool empty = AValue.GetIsEmpty();
  bool set = ATypeInfo->Kind == vtkSet;
  Int64 ordinal = OrdinalOf(AValue);
  UnicodeString text;
  if (set) {
    if (!empty)
      text = AValue.GetTypeKind() == tkSet || !ATypeInfo->Handle
                 ? AValue.ToString()
                 : TValue::FromOrdinal(ATypeInfo->Handle, ordinal).ToString();
  } else if (ATypeInfo->Handle) {
    text = TValue::FromOrdinal(ATypeInfo->Handle, ordinal).ToString();
  }
  SerializerHint *hint = nullptr;
  if (ATypeInfo->RttiType && GetSerializerHint(ATypeInfo->RttiType, shoEnumPrefix, hint))
    text.erase(0, std::min(text.size(), hint->Value().size()));
  Write(std::string_view("{\"className\":\""));
  WriteSchemaName(ATypeInfo);
  Write(std::string_view("\",\"asString\":\""));
  if (set && (text.empty() || text.front() != u'[')) Write('[');
  Write(text);
  if (set && (text.empty() || text.back() != u']')) Write(']');
  Write(std::string_view("\",\"asInt\":"));
  Write(VnIntToXML(static_cast<Integer>(static_cast<LongWord>(static_cast<UInt64>(ordinal)))));
  Write('}');
}

void TVnJSONSerializer::SerializeValue(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                                       const TValue &AValue, Integer AIndex) {
  if (AIndex > 0) Write(',');
  TVnTypeKind kind = KindOf(ATypeInfo);
  bool empty = AValue.GetIsEmpty();
  switch (kind) {
    case vtkByte:
    case vtkWord:
    case vtkLongWord:
    case vtkUInt64:
    case vtkShortInt:
    case vtkSmallInt:
    case vtkLongInt:
    case vtkInt64:
      if (empty) {
        Write(std::string_view("null"));
      } else {
        // The decimal digits of the value as VnNumberToXML takes it for the kind.
        char digits[24];
        Int64 v = IntegerOf(ATypeInfo, AValue);
        Write(std::string_view(digits, std::to_chars(digits, digits + sizeof digits, v).ptr));
      }
      break;
    case vtkSingle:
    case vtkDouble:
    case vtkExtended: {
      if (empty) {
        Write(std::string_view("null"));
        break;
      }
      char digits[24];
      std::size_t length = 0;
      if (kind != vtkExtended && HundredthsText(AValue.ToDouble(), digits, length))
        Write(std::string_view(digits, length));
      else
        Write(VnNumberToXML(kind, AValue));
      break;
    }
    case vtkWideChar:
    case vtkAnsiChar:
    case vtkShortString:
    case vtkString:
    case vtkAnsiString:
    case vtkWideString:
      if (empty)
        Write(std::string_view("null"));
      else
        WriteText(ATypeInfo, AValue);
      break;
    case vtkBoolean:
      if (empty)
        Write(std::string_view("null"));
      else
        Write(AValue.ToBoolean() ? std::string_view("true") : std::string_view("false"));
      break;
    case vtkEnum:
    case vtkSet:
      WriteEnumObject(ATypeInfo, AValue);
      break;
    case vtkDate:
    case vtkTime:
    case vtkDateTime: {
      if (empty) {
        Write(std::string_view("null"));
        break;
      }
      Write('"');
      if (AValue.MainTypeKind() == mtkString) {
        Write(AValue.ToString());
      } else {
        TDateTime d(AValue.ToDouble());
        Write(kind == vtkDate   ? VnDateToXML(d, tzfNone)
              : kind == vtkTime ? VnTimeToXML(d, tzfNone)
                                : VnDateTimeToXML(d, tzfNone));
        const UnicodeString &n = ATypeInfo->Name;
        if (n == u"TVnUTCDate" || n == u"TVnUTCTime" || n == u"TVnUTCDateTime") Write('Z');
      }
      Write('"');
      break;
    }
    case vtkVariant: {
      if (AValue.IsNull()) {
        Write(std::string_view("null"));
        break;
      }
      const TVnTypeInfo *inner = AValue.GetTypeKind() == tkVariant
                                     ? TVnTypes::VarTypeInfo(AValue.AsVariant())
                                     : TVnTypes::GetTypeInfo(AValue.GetTypeInfo());
      // A variant whose content has no type of its own would come back here without end.
      if (KindOf(inner) == vtkVariant) throw Exception(cUnsupportedKind);
      SerializeValue(AName, inner, AValue, AIndex);
      break;
    }
    case vtkArray:
    case vtkDynArray:
      if (!empty) throw Exception(u"JSON Arrays must be serialized by a ChildSerializer!");
      Write(std::string_view("[]"));
      break;
    case vtkRecord:
    case vtkClass:
    case vtkInterface:
    case vtkPointer:
    case vtkClassRef: {
      TVnMainTypeKind main = AValue.MainTypeKind();
      if (main == mtkInteger || main == mtkString) {
        if (AValue.IsNull()) {
          Write(std::string_view("null"));
        } else if (main == mtkInteger) {
          Write(AValue.ToString());
        } else {
          const TVnTypeInfo *own = TVnTypes::GetTypeInfo(AValue.GetTypeInfo());
          if (own && own->Name == u"VnJSONString")
            Write(AValue.ToString());
          else
            WriteText(own, AValue);
        }
      } else if (AValue.IsNull()) {
        Write(std::string_view("{}"));
      } else {
        throw Exception(u"JSON Ojbects must be serialized by a ChildSerializer!");
      }
      break;
    }
    default: {
      const TVnTypeInfo *own =
          AValue.GetTypeInfo() ? TVnTypes::GetTypeInfo(AValue.GetTypeInfo()) : nullptr;
      if (own && own->Name == u"VnJSONString")
        Write(AValue.ToString());
      else
        throw Exception(cUnsupportedKind);
      break;
    }
  }
  FSeparate = true;
}

// ---------------------------------------------------------------------------------------------
// Streams

void TVnJSONStreamSerializer::DoSerialize(TVnSerializer *ASerializer, const UnicodeString &AName,
                                          const UnicodeString &APath) {
  TVnJSONSerializer::DoSerialize(ASerializer, AName, APath);
  auto *object = static_cast<TObject *>(FInstancePtr);
  VN_ASSERT_AT(object && object->InheritsFrom(TStream::StaticClass()), __FILE__, __LINE__);
  auto *stream = static_cast<TStream *>(object);
  Int64 position = stream->GetPosition();
  stream->SetPosition(0);
  SerializeName(u"data", smtField, vtkClass, vtkString);
  Int64 size = stream->GetSize();
  RawByteString bytes(static_cast<std::size_t>(size), '\0');
  if (size > 0) stream->ReadBuffer(bytes.data(), size);
  UnicodeString text = TVnNetEncoding::Base64Ex().EncodeBytesToString(bytes.data(), bytes.size());
  ASerializer->SerializeValue(u"value", TVnTypes::Of<RawByteString>(), TValue(text), -1);
  SerializeEndType(u"data", TVnTypes::Of<UnicodeString>(), -1);
  stream->SetPosition(position);
}

void TVnJSONStreamSerializer::SerializeEndType(const UnicodeString &AName,
                                               const TVnTypeInfo *ATypeInfo, Integer AIndex) {
  if (ATypeInfo && ATypeInfo->Kind == vtkString) {
    FSeparate = true;
    return;
  }
  TVnJSONSerializer::SerializeEndType(AName, ATypeInfo, AIndex);
}

// ---------------------------------------------------------------------------------------------
// The XML Schema records

void TVnJSONXsSerializer::SerializeStartType(const UnicodeString &, const TVnTypeInfo *, Integer) {}
// The inherited end would take the record, a simple type, for a misplaced basic value below a
// parent; a record member ends with its value.
void TVnJSONXsSerializer::SerializeEndType(const UnicodeString &, const TVnTypeInfo *, Integer) {}

void TVnJSONXsSerializer::SerializeValue(const UnicodeString &AName, const TVnTypeInfo *,
                                         const TValue &, Integer AIndex) {
  if (FInstanceTypeInfo && FInstanceTypeInfo->Handle == TypeInfo<TXsDuration>() && FInstancePtr) {
    const TXsDuration &d = *static_cast<const TXsDuration *>(FInstancePtr);
    const TVnTypeInfo *object = TVnTypes::Of<TObject>();
    if (d.IsNull()) {
      TVnJSONSerializer::SerializeValue(AName, object, TValue(), AIndex);
      return;
    }
    TVnDuration v = d;
    UnicodeString text = u"{\"className\":\"" + TVnTypes::Of<TVnDuration>()->SchemaName() +
                         u"\",\"negative\":" + VnBoolToXML(v.Negative) + u",\"monthts\":" +
                         VnIntToXML(v.Months) + u",\"seconds\":" + VnExtToXML(v.Seconds) + u"}";
    TVnJSONSerializer::SerializeValue(AName, object, TValue::From<TVnJSONStringAlias>(text),
                                      AIndex);
    return;
  }
  const TVnTypeInfo *plain = nullptr;
  TValue value;
  if (!FInstanceTypeInfo || !FInstancePtr ||
      !VnXsPlainValue(FInstanceTypeInfo->Handle, FInstancePtr, plain, value))
    throw Exception(u"The type is not an XsType!");
  TVnJSONSerializer::SerializeValue(AName, plain, value, AIndex);
}

// ---------------------------------------------------------------------------------------------
// String lists and components

void TVnJSONStringsSerializer::DoSerialize(TVnSerializer *ASerializer, const UnicodeString &AName,
                                           const UnicodeString &APath) {
  TVnJSONSerializer::DoSerialize(ASerializer, AName, APath);
  auto *strings = static_cast<TStrings *>(FInstancePtr);
  const TVnTypeInfo *array = TVnTypes::GetTypeInfo(u"ArrayOfString", tntSchemaName, true, mtkArray);
  SerializeName(u"items", smtField, vtkClass, vtkDynArray);
  SerializeStartType(u"items", array, -1);
  if (strings) {
    const TVnTypeInfo *string = TVnTypes::Of<UnicodeString>();
    for (Integer i = 0; i < strings->Count(); ++i)
      ASerializer->SerializeValue(u"item", string, TValue(strings->Get(i)), i);
  }
  SerializeEndType(u"items", array, -1);
}

void TVnJSONComponentSerializer::DoSerialize(TVnSerializer *ASerializer, const UnicodeString &AName,
                                             const UnicodeString &APath) {
  auto *component = static_cast<TComponent *>(FInstancePtr);
  if (component && component->Owner()) {
    SerializeName(u"Owner", smtField, vtkClass, vtkString);
    ASerializer->SerializeValue(u"Owner", TVnTypes::GetTypeInfo(component->Owner()->ClassType()),
                                TValue(component->Owner()->Name()), -1);
  }
  TVnJSONSerializer::DoSerialize(ASerializer, AName, APath);
}

// ---------------------------------------------------------------------------------------------
// Start-up

bool VnJSONSerializerStartUp() {
  static const bool done = [] {
    RegisterType<TVnDuration>(u"uVnDateTimeUtils", [](TTypeBuilder<TVnDuration> &R) {
      R.Name(u"TVnDuration");
      R.Field(u"Negative", &TVnDuration::Negative);
      R.Field(u"Months", &TVnDuration::Months);
      R.Field(u"Seconds", &TVnDuration::Seconds);
    });
    TVnSerializerClass plain = VnReusableSerializerClass<TVnJSONSerializer>();
    TVnSerializerClass xs = VnSerializerClass<TVnJSONXsSerializer>();
    TVnSerializerClass stream = VnSerializerClass<TVnJSONStreamSerializer>();
    TVnDeserializerClass xsReader = VnDeserializerClass<TVnJSONXsDeserializer>();
    VnRegisterSerializer(dsfJSON, static_cast<PTypeInfo>(nullptr), plain,
                         VnDeserializerClass<TVnJSONDeserializer>());
    VnRegisterSerializer(dsfJSON, TStrings::StaticClass(),
                         VnSerializerClass<TVnJSONStringsSerializer>(),
                         VnDeserializerClass<TVnJSONStringsDeserializer>());
    VnRegisterSerializer(dsfJSON, TComponent::StaticClass(),
                         VnSerializerClass<TVnJSONComponentSerializer>(),
                         VnDeserializerClass<TVnJSONComponentDeserializer>());
    VnRegisterSerializer(dsfJSON, TStream::StaticClass(), stream, nullptr);
    VnRegisterSerializer(dsfJSON, TMemoryStream::StaticClass(), stream,
                         VnDeserializerClass<TVnJSONStreamDeserializer>());
    RegisterType<TVnJSONDocument>(
        u"uVnJSON", [](TTypeBuilder<TVnJSONDocument> &R) { R.Name(u"TVnJSONDocument"); });
    VnRegisterSerializer(dsfJSON, TVnJSONDocument::StaticClass(),
                         VnSerializerClass<TVnJSONDocSerializer>(),
                         VnDeserializerClass<TVnJSONDocDeserializer>());
    VnRegisterSerializer(dsfJSON, TypeInfo<TValue>(), plain,
                         VnDeserializerClass<TVnJSONValueDeserializer>());
    for (PTypeInfo t : VnXsRecordTypes()) VnRegisterSerializer(dsfJSON, t, xs, xsReader);
    return true;
  }();
  return done;
}

}  // namespace vn
