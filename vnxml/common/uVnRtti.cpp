#include "vnxml/common/uVnRtti.h"

namespace vn {

namespace {

[[noreturn]] void RaiseConversion(const TValue &AValue, PTypeInfo ATarget) {
  UnicodeString text;
  try {
    text = AValue.ToString();
  } catch (Exception &) {
    text = u"?";
  }
  throw EConvertError(u"Cannot convert the value \"" + text + u"\" of type " +
                      AValue.GetTypeInfo()->Name() + u" to " + ATarget->Name());
}

template <class T>
T ConvertTo(const TValue &AValue, bool ARaise, T ADefault) {
  if (AValue.IsNull()) return ADefault;
  PTypeInfo target = TypeInfo<T>();
  if (AValue.GetTypeInfo() == target)
    return *static_cast<const T *>(AValue.GetReferenceToRawData());
  TValue r;
  if (AValue.ToType(target, r)) return *static_cast<const T *>(r.GetReferenceToRawData());
  if (ARaise) RaiseConversion(AValue, target);
  return ADefault;
}

}  // namespace

Byte TValue::ToByte(bool ARaise, Byte ADefault) const {
  return ConvertTo(*this, ARaise, ADefault);
}
Word TValue::ToWord(bool ARaise, Word ADefault) const {
  return ConvertTo(*this, ARaise, ADefault);
}
LongWord TValue::ToLongWord(bool ARaise, LongWord ADefault) const {
  return ConvertTo(*this, ARaise, ADefault);
}
UInt64 TValue::ToUInt64(bool ARaise, UInt64 ADefault) const {
  return ConvertTo(*this, ARaise, ADefault);
}
ShortInt TValue::ToShortInt(bool ARaise, ShortInt ADefault) const {
  return ConvertTo(*this, ARaise, ADefault);
}
SmallInt TValue::ToSmallInt(bool ARaise, SmallInt ADefault) const {
  return ConvertTo(*this, ARaise, ADefault);
}
Integer TValue::ToInteger(bool ARaise, Integer ADefault) const {
  return ConvertTo(*this, ARaise, ADefault);
}
Int64 TValue::ToInt64(bool ARaise, Int64 ADefault) const {
  return ConvertTo(*this, ARaise, ADefault);
}
Single TValue::ToSingle(bool ARaise, Single ADefault) const {
  return ConvertTo(*this, ARaise, ADefault);
}
Double TValue::ToDouble(bool ARaise, Double ADefault) const {
  return ConvertTo(*this, ARaise, ADefault);
}
Extended TValue::ToExtended(bool ARaise, Extended ADefault) const {
  return ConvertTo(*this, ARaise, ADefault);
}
bool TValue::ToBoolean(bool ARaise, bool ADefault) const {
  return ConvertTo(*this, ARaise, ADefault);
}

WideString TValue::ToWideString(bool ARaise, const WideString &ADefault) const {
  if (IsNull()) return ADefault;
  switch (GetTypeKind()) {
    case tkEnumeration:
    case tkSet:
      return ToString();
    case tkFloat:
      if (FTypeInfo->FDateKind != dkNone) return ToString();
      break;
    default:
      break;
  }
  return ConvertTo<UnicodeString>(*this, ARaise, ADefault);
}

TVnTypeKind TValue::TypeKind() const {
  const TVnTypeInfo *i = VnTypeInfo();
  return i ? i->Kind : vtkUnknown;
}

TVnMainTypeKind TValue::MainTypeKind() const {
  return TVnTypes::ToMainTypeKind(TypeKind());
}

const TVnTypeInfo *TValue::VnTypeInfo() const {
  return TVnTypes::GetTypeInfo(FTypeInfo);
}

}  // namespace vn
