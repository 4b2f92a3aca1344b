// The conversions that depend on the type registry: the variant shapes, and TValue to and from
// text.
// GCC 12 at -O2 reports a false -Wrestrict inside std::u16string::assign once the XML Schema
// records' assignments from literals are inlined here (GCC bug 105651); the copy is correct.
#if defined(__GNUC__) && !defined(__clang__) && __GNUC__ == 12
#pragma GCC diagnostic ignored "-Wrestrict"
#endif
#include <cmath>

#include "vnxml/xml/uVnXSTypes.h"
#include "vnxml/xml/uVnXMLUtils.h"
#include "vnxml/xml/uVnXMLSerializer.h"

namespace vn {

namespace {

[[noreturn]] void RaiseNotValid(const char16_t *AType) {
  throw EConvertError(u"The given value is not a valid %s value!", {AType});
}

// The integer of a variant shape, cut to the width of T.
template <class T>
T VariantInt(const Variant &AValue, T ADefault, const char16_t *AType) {
  if (VarIsNull(AValue)) return ADefault;
  switch (TVnTypes::VarMainTypeKind(AValue)) {
    case mtkInteger:
      return static_cast<T>(AValue.AsInt64());
    case mtkString: {
      const UnicodeString text = VarToStr(AValue);
      if constexpr (sizeof(T) == 8)
        return static_cast<T>(StrToInt64(text));
      else
        return static_cast<T>(StrToInt(text));
    }
    case mtkBoolean:
      return static_cast<T>(VnVarBool(AValue, false) ? 1 : 0);
    default:
      RaiseNotValid(AType);
  }
}

double VariantFloat(const Variant &AValue, bool ADates, const char16_t *AType) {
  switch (TVnTypes::VarMainTypeKind(AValue)) {
    case mtkInteger:
    case mtkFloat:
      return AValue.AsDouble();
    case mtkDateTime:
      if (ADates) return VarToDateTime(AValue).Val;
      break;
    case mtkString:
      return VnXMLToDouble(VarToStr(AValue));
    default:
      break;
  }
  RaiseNotValid(AType);
}

template <class F>
TDateTime VariantDate(const Variant &AValue, TDateTime ADefault, const char16_t *AType,
                      F AFromText) {
  if (VarIsNull(AValue)) return ADefault;
  switch (TVnTypes::VarMainTypeKind(AValue)) {
    case mtkInteger:
    case mtkFloat:
      return AValue.AsDouble();
    case mtkDateTime:
      return VarToDateTime(AValue);
    case mtkString:
      return AFromText(VarToStr(AValue));
    default:
      RaiseNotValid(AType);
  }
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Variant shapes

ShortInt VnXMLToShortint(const Variant &AValue, ShortInt ADefault) {
  return VariantInt(AValue, ADefault, u"shortint");
}
SmallInt VnXMLToSmallint(const Variant &AValue, SmallInt ADefault) {
  return VariantInt(AValue, ADefault, u"smallint");
}
Integer VnXMLToInt(const Variant &AValue, Integer ADefault) {
  return VariantInt(AValue, ADefault, u"integer");
}
Int64 VnXMLToInt64(const Variant &AValue, Int64 ADefault) {
  return VariantInt(AValue, ADefault, u"integer");
}
Byte VnXMLToByte(const Variant &AValue, Byte ADefault) {
  return VariantInt(AValue, ADefault, u"Byte");
}
Word VnXMLToWord(const Variant &AValue, Word ADefault) {
  return VariantInt(AValue, ADefault, u"Word");
}
LongWord VnXMLToLongword(const Variant &AValue, LongWord ADefault) {
  return VariantInt(AValue, ADefault, u"LongWord");
}
UInt64 VnXMLToUInt64(const Variant &AValue, UInt64 ADefault) {
  return VariantInt(AValue, ADefault, u"integer");
}

Single VnXMLToSingle(const Variant &AValue, Single) {
  // Null gives 0.0 here, whatever the default.
  if (VarIsNull(AValue)) return 0.0f;
  return static_cast<Single>(VariantFloat(AValue, false, u"Single"));
}
Double VnXMLToDouble(const Variant &AValue, Double ADefault) {
  if (VarIsNull(AValue)) return ADefault;
  return VariantFloat(AValue, true, u"Double");
}
Extended VnXMLToExtended(const Variant &AValue, Extended ADefault) {
  if (VarIsNull(AValue)) return ADefault;
  return VariantFloat(AValue, true, u"Extended");
}

bool VnXMLToBool(const Variant &AValue, bool ADefault) {
  if (VarIsNull(AValue)) return ADefault;
  switch (TVnTypes::VarMainTypeKind(AValue)) {
    case mtkInteger:
      return (AValue.AsInt64() & 0xFF) != 0;
    case mtkString:
      return VnXMLToBool(VarToStr(AValue));
    case mtkBoolean:
      return AValue.AsBoolean();
    default:
      RaiseNotValid(u"Boolean");
  }
}

TDateTime VnXMLToDate(const Variant &AValue, TDateTime ADefault) {
  return VariantDate(AValue, ADefault, u"Date",
                     [](const UnicodeString &AText) { return VnXMLToDate(AText); });
}

TDateTime VnXMLToTime(const Variant &AValue, TDateTime ADefault, TVnTimeZoneFormat AFormat) {
  return VariantDate(AValue, ADefault, u"Time",
                     [AFormat](const UnicodeString &AText) { return VnXMLToTime(AText, AFormat); });
}

TDateTime VnXMLToDateTime(const Variant &AValue, TDateTime ADefault, TVnTimeZoneFormat AFormat) {
  return VariantDate(AValue, ADefault, u"DateTime", [AFormat](const UnicodeString &AText) {
    return VnXMLToDateTime(AText, AFormat);
  });
}

UnicodeString VnXMLToStr(const Variant &AValue, const UnicodeString &ADefault) {
  if (VarIsNull(AValue)) return ADefault;
  if (VarIsArray(AValue)) {
    if (VarArrayDimCount(AValue) != 1) RaiseNotValid(u"String");
    UnicodeString r;
    for (Integer i = VarArrayLowBound(AValue); i <= VarArrayHighBound(AValue); ++i)
      r += VnXMLToStr(AValue.GetElement(i), ADefault) + u"\r\n";
    return r;
  }
  switch (TVnTypes::VarMainTypeKind(AValue)) {
    case mtkInteger:
      return IntToStr(AValue.AsInt64());
    case mtkFloat:
      return VnDoubleToXML(AValue.AsDouble());
    case mtkString:
      return VnXMLToStr(VarToStr(AValue));
    case mtkBoolean:
      return VnBoolToXML(AValue.AsBoolean());
    case mtkDateTime:
      return VnDateTimeToXML(VarToDateTime(AValue), tzfNone);
    default:
      RaiseNotValid(u"String");
  }
}

// ---------------------------------------------------------------------------------------------
// Variants by kind and by type name

Variant VnXMLToVariant(UnicodeStringView AText, TVnTypeKind AKind) {
  switch (AKind) {
    case vtkByte:
      return Variant(VnXMLToByte(AText));
    case vtkWord:
      return Variant(VnXMLToWord(AText));
    case vtkLongWord:
      return Variant(VnXMLToLongword(AText));
    case vtkUInt64:
      return Variant(static_cast<unsigned long long>(VnXMLToUInt64(AText)));
    case vtkShortInt:
      return Variant(static_cast<signed char>(VnXMLToShortint(AText)));
    case vtkSmallInt:
      return Variant(VnXMLToSmallint(AText));
    case vtkLongInt:
    case vtkEnum:
    case vtkSet:
      return Variant(VnXMLToInt(AText));
    case vtkInt64:
      return Variant(static_cast<long long>(VnXMLToInt64(AText)));
    case vtkSingle:
      return Variant(VnXMLToSingle(AText));
    case vtkDouble:
    case vtkExtended:
      return Variant(VnXMLToDouble(AText));
    case vtkWideChar:
    case vtkAnsiChar:
    case vtkShortString:
    case vtkString:
    case vtkAnsiString:
    case vtkWideString:
      return Variant(VnXMLToStr(AText));
    case vtkBoolean:
      return Variant(VnXMLToBool(AText));
    case vtkDate:
      return Variant(VnXMLToDate(AText));
    case vtkTime:
      return Variant(VnXMLToTime(AText, tzfNone));
    case vtkDateTime:
      return Variant(VnXMLToDateTime(AText, tzfNone));
    case vtkVariant:
      return Variant(UnicodeString(AText));
    default:
      throw Exception(u"Failed to convert the value \"%s\" to a variant value of type %s!",
                      {UnicodeString(AText), GetEnumName(AKind)});
  }
}

Variant VnXMLToVariant(UnicodeStringView AText, const UnicodeString &ATypeName) {
  return VnXMLToVariant(AText, TVnTypes::GetVarType(ATypeName, tntQualifiedName, varUnknown));
}

// ---------------------------------------------------------------------------------------------
// TValue

VnXMLString VnValToXML(const TValue &AValue) {
  switch (AValue.GetTypeKind()) {
    case tkChar:
    case tkString:
    case tkWChar:
    case tkLString:
    case tkWString:
    case tkUString:
      return VnStrToXML(AValue.ToWideString(true, {}), true, true);
    case tkEnumeration: {
      const auto *type = static_cast<const TRttiOrdinalType *>(AValue.GetRttiType());
      const Int64 ordinal = AValue.AsOrdinal();
      if (type && (ordinal < type->GetMinValue() || ordinal > type->GetMaxValue()))
        return GetEnumName(AValue.GetTypeInfo(), static_cast<Integer>(type->GetMinValue()));
      return AValue.ToWideString(true, {});
    }
    case tkVariant:
      return VnVariantToXML(AValue.AsVariant());
    case tkArray:
    case tkRecord:
    case tkDynArray:
    case tkClass:
      // The XML serializer writes them; its document comes back as text.
      VnXMLSerializerStartUp();
      return UTF8ToString(VnSerialize(dsfXML, AValue));
    default:
      return AValue.ToWideString(true, {});
  }
}

namespace {

// The XML Schema record that stands for a value kind, and the kind of its value.
struct TXsRecordKind {
  const char16_t *Name;
  TVnTypeKind Kind;
};
constexpr TXsRecordKind cXsRecords[] = {
    {u"TXsUnsignedByte", vtkByte},
    {u"TXsUnsignedShort", vtkWord},
    {u"TXsUnsignedInt", vtkLongWord},
    {u"TXsUnsignedLong", vtkUInt64},
    {u"TXsByte", vtkShortInt},
    {u"TXsShort", vtkSmallInt},
    {u"TXsInt", vtkLongInt},
    {u"TXsLong", vtkInt64},
    {u"TXsFloat", vtkSingle},
    {u"TXsDouble", vtkDouble},
    {u"TXsDecimal", vtkExtended},
    {u"TXsString", vtkString},
    {u"TXsBoolean", vtkBoolean},
    {u"TXsDate", vtkDate},
    {u"TXsTime", vtkTime},
    {u"TXsDateTime", vtkDateTime},
};

// Wraps a converted value: as the XML Schema record when the target is one, else as the plain
// target type.
template <class TRecord, class TPlain>
TValue Wrap(bool AIsRecord, PTypeInfo AType, const TPlain &AValue) {
  if (AIsRecord) return TValue::From<TRecord>(TRecord(AValue));
  return TValue::Make(&AValue, AType);
}

[[noreturn]] void RaiseNotConvertible(UnicodeStringView AText, const TVnTypeInfo *AType) {
  throw Exception(u"Failed to convert the value \"%s\" to a value of type %s!",
                  {UnicodeString(AText), AType->Name});
}

}  // namespace

TValue VnXMLToValue(UnicodeStringView AText, const UnicodeString &ATypeName) {
  return VnXMLToValue(AText, TVnTypes::GetTypeInfo(ATypeName, tntQualifiedName, true)->Handle);
}

TValue VnXMLToValue(UnicodeStringView AText, PTypeInfo AType) {
  const TVnTypeInfo *info = TVnTypes::GetTypeInfo(AType);
  if (!info) throw EArgumentNilException(u"Argument must not be nil");
  TVnTypeKind kind = info->Kind;
  bool record = false;
  if (kind == vtkCustomSimple) {
    // An XML Schema record converts as the kind of the value it stands for.
    for (const TXsRecordKind &r : cXsRecords)
      if (info->Name == r.Name) {
        kind = r.Kind;
        record = true;
      }
  }
  switch (kind) {
    case vtkByte:
      return Wrap<TXsUnsignedByte>(record, AType, VnXMLToByte(AText));
    case vtkWord:
      return Wrap<TXsUnsignedShort>(record, AType, VnXMLToWord(AText));
    case vtkLongWord:
      return Wrap<TXsUnsignedInt>(record, AType, VnXMLToLongword(AText));
    case vtkUInt64:
      return Wrap<TXsUnsignedLong>(record, AType, VnXMLToUInt64(AText));
    case vtkShortInt:
      return Wrap<TXsByte>(record, AType, VnXMLToShortint(AText));
    case vtkSmallInt:
      return Wrap<TXsShort>(record, AType, VnXMLToSmallint(AText));
    case vtkLongInt:
      return Wrap<TXsInt>(record, AType, VnXMLToInt(AText));
    case vtkInt64:
      return Wrap<TXsLong>(record, AType, VnXMLToInt64(AText));
    case vtkSingle:
      return Wrap<TXsFloat>(record, AType, VnXMLToSingle(AText));
    case vtkDouble:
      return Wrap<TXsDouble>(record, AType, VnXMLToDouble(AText));
    case vtkExtended:
      return Wrap<TXsDecimal>(record, AType, VnXMLToExtended(AText));
    case vtkBoolean:
      return Wrap<TXsBoolean>(record, AType, VnXMLToBool(AText));
    case vtkDate:
      return Wrap<TXsDate>(record, AType, TDate(VnXMLToDate(AText)));
    case vtkTime:
      return Wrap<TXsTime>(record, AType, TTime(VnXMLToTime(AText, tzfNone)));
    case vtkDateTime:
      return Wrap<TXsDateTime>(record, AType, VnXMLToDateTime(AText, tzfNone));
    case vtkWideChar:
    case vtkShortString: {
      const char16_t c = AText.empty() ? u'\0' : AText[0];
      return TValue::Make(&c, AType);
    }
    case vtkAnsiChar: {
      const RawByteString bytes = TVnEncoding::ConvertW(AText, 0);
      const char c = bytes.empty() ? cVnEOFA : bytes[0];
      return TValue::Make(&c, AType);
    }
    case vtkAnsiString: {
      const AnsiString text(TVnEncoding::ConvertW(VnXMLToStr(AText), 0), 0);
      return TValue::Make(&text, AType);
    }
    case vtkString:
    case vtkWideString: {
      const UnicodeString text = VnXMLToStr(AText);
      if (record) return TValue::From<TXsString>(TXsString(text));
      return TValue::Make(&text, AType);
    }
    case vtkEnum: {
      TValue from;
      if (!AText.empty() && AText[0] >= u'0' && AText[0] <= u'9')
        from = TValue(UnicodeString(AText));
      else
        from = TValue(static_cast<Integer>(GetEnumValue(AType, AText)));
      TValue result;
      if (!from.ToType(AType, result)) RaiseNotConvertible(AText, info);
      return result;
    }
    case vtkSet: {
      UInt64 bits;
      if (!AText.empty() && AText[0] >= u'0' && AText[0] <= u'9')
        bits = static_cast<Cardinal>(StrToInt(AText));
      else
        bits = StringToSet(AType, AText);
      return TValue::FromOrdinal(AType, static_cast<Int64>(bits & 0xFFFFFFFFu));
    }
    case vtkVariant:
      return TValue(VnXMLToVariant(AText, varString));
    default:
      throw Exception(u"Failed to convert \"%s\" into a TValue!\r\nThe type %s is not supported.",
                      {UnicodeString(AText), info->Name});
  }
}

}  // namespace vn
