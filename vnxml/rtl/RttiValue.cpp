// TValue: storage, access by kind, display text and the conversions between types.
#include <cmath>
#include <cstdio>
#include <limits>

#include "vnxml/rtl/CodePages.h"
#include "vnxml/rtl/Rtti.h"

namespace vn {

struct TValueAccess {
  static void *Raw(TValue &V) noexcept { return V.Raw(); }
  static const void *Raw(const TValue &V) noexcept { return V.Raw(); }
  static void *Prepare(TValue &V, PTypeInfo AType) { return V.Prepare(AType); }
  static void Abandon(TValue &V) noexcept { V.Abandon(); }
};

namespace {

using VA = TValueAccess;

[[noreturn]] void InvalidCast() {
  detail::RaiseInvalidCastValue();
}

Int64 ReadOrdinal(const void *AData, TOrdType AOrd) noexcept {
  switch (AOrd) {
    case otSByte:
      return *static_cast<const std::int8_t *>(AData);
    case otUByte:
      return *static_cast<const std::uint8_t *>(AData);
    case otSWord:
      return *static_cast<const std::int16_t *>(AData);
    case otUWord:
      return *static_cast<const std::uint16_t *>(AData);
    case otSLong:
      return *static_cast<const std::int32_t *>(AData);
    case otULong:
      return *static_cast<const std::uint32_t *>(AData);
    case otSQWord:
      return *static_cast<const std::int64_t *>(AData);
    case otUQWord:
      return static_cast<Int64>(*static_cast<const std::uint64_t *>(AData));
  }
  return 0;
}

void WriteOrdinal(void *AData, TOrdType AOrd, Int64 AValue) noexcept {
  switch (AOrd) {
    case otSByte:
    case otUByte: {
      const auto v = static_cast<std::uint8_t>(AValue);
      std::memcpy(AData, &v, sizeof v);
      break;
    }
    case otSWord:
    case otUWord: {
      const auto v = static_cast<std::uint16_t>(AValue);
      std::memcpy(AData, &v, sizeof v);
      break;
    }
    case otSLong:
    case otULong: {
      const auto v = static_cast<std::uint32_t>(AValue);
      std::memcpy(AData, &v, sizeof v);
      break;
    }
    case otSQWord:
    case otUQWord:
      std::memcpy(AData, &AValue, sizeof AValue);
      break;
  }
}

// Whether an ordinal read by ReadOrdinal from a type of ASource fits a type of ATarget.
bool OrdinalFits(Int64 AValue, TOrdType ASource, TOrdType ATarget) noexcept {
  // A value above Int64's range reads as negative from an unsigned 64-bit type.
  if (ASource == otUQWord && AValue < 0) return ATarget == otUQWord;
  switch (ATarget) {
    case otSByte:
      return AValue >= -128 && AValue <= 127;
    case otUByte:
      return AValue >= 0 && AValue <= 255;
    case otSWord:
      return AValue >= -32768 && AValue <= 32767;
    case otUWord:
      return AValue >= 0 && AValue <= 65535;
    case otSLong:
      return AValue >= std::numeric_limits<Integer>::min() &&
             AValue <= std::numeric_limits<Integer>::max();
    case otULong:
      return AValue >= 0 && AValue <= Int64(std::numeric_limits<LongWord>::max());
    case otSQWord:
      return true;
    case otUQWord:
      return AValue >= 0;
  }
  return false;
}

double ReadFloat(const void *AData, TFloatType AFloat) noexcept {
  switch (AFloat) {
    case ftSingle:
      return *static_cast<const float *>(AData);
    case ftCurr:
      return static_cast<const Currency *>(AData)->ToDouble();
    case ftComp:
      return static_cast<double>(*static_cast<const Int64 *>(AData));
    default:
      return *static_cast<const double *>(AData);
  }
}

bool IsText(TTypeKind AKind) noexcept {
  return AKind == tkUString || AKind == tkWString || AKind == tkLString || AKind == tkString;
}

bool IsIntegerKind(TTypeKind AKind) noexcept {
  return AKind == tkInteger || AKind == tkInt64;
}

bool IsBooleanType(PTypeInfo AType) {
  return AType->Kind == tkEnumeration &&
         static_cast<TRttiEnumerationType *>(AType->RttiType())->GetIsBoolean();
}

UnicodeString TextOf(const void *AData, PTypeInfo AType) {
  switch (AType->Kind) {
    case tkUString:
    case tkWString:
      return *static_cast<const UnicodeString *>(AData);
    case tkLString: {
      if (AType->FSubType == akAnsiString) {
        const auto &a = *static_cast<const AnsiString *>(AData);
        return CodePageToUnicode(a.data(), a.size(), a.CodePage());
      }
      const auto &b = *static_cast<const std::string *>(AData);
      return CodePageToUnicode(b.data(), b.size(), 0);
    }
    case tkChar: {
      const char c = *static_cast<const char *>(AData);
      return CodePageToUnicode(&c, 1, 0);
    }
    case tkWChar:
      return UnicodeString(1, *static_cast<const char16_t *>(AData));
    default:
      InvalidCast();
  }
}

const detail::TArrayShape &ArrayShape(PTypeInfo AType) {
  if (!AType || (AType->Kind != tkArray && AType->Kind != tkDynArray)) InvalidCast();
  return *static_cast<const detail::TArrayShape *>(AType->FShape);
}

const detail::TSetShape &SetShape(PTypeInfo AType) {
  return *static_cast<const detail::TSetShape *>(AType->FShape);
}

Integer SetSize(PTypeInfo AType) {
  const auto &s = SetShape(AType);
  return s.MaxEl - s.MinEl + 1;
}

UInt64 SetMask(PTypeInfo AType) {
  const Integer n = SetSize(AType);
  return n >= 64 ? ~UInt64(0) : (UInt64(1) << n) - 1;
}

// A value of ATarget made from nothing: the caller writes into VA::Raw(AResult).
void MakeDefault(PTypeInfo ATarget, TValue &AResult) {
  TValue::Make(nullptr, ATarget, AResult);
}

PTypeInfo ValueHandle() {
  static const PTypeInfo h = TypeInfo<TValue>();
  return h;
}

// The value of a simple kind as a Variant; false for kinds that have no variant form.
bool ToVariantValue(const TValue &V, Variant &AResult) {
  PTypeInfo t = V.GetTypeInfo();
  if (!t) {
    AResult = Null();
    return true;
  }
  const void *d = V.GetReferenceToRawData();
  switch (t->Kind) {
    case tkInteger:
    case tkInt64: {
      const Int64 o = ReadOrdinal(d, t->OrdType());
      switch (t->OrdType()) {
        case otSByte:
          AResult = Variant(static_cast<signed char>(o));
          break;
        case otUByte:
          AResult = Variant(static_cast<unsigned char>(o));
          break;
        case otSWord:
          AResult = Variant(static_cast<short>(o));
          break;
        case otUWord:
          AResult = Variant(static_cast<unsigned short>(o));
          break;
        case otSLong:
          AResult = Variant(static_cast<int>(o));
          break;
        case otULong:
          AResult = Variant(static_cast<unsigned>(o));
          break;
        case otSQWord:
          AResult = Variant(o);
          break;
        case otUQWord:
          AResult = Variant(static_cast<UInt64>(o));
          break;
      }
      return true;
    }
    case tkEnumeration:
      if (IsBooleanType(t))
        AResult = Variant(ReadOrdinal(d, t->OrdType()) != 0);
      else
        AResult = Variant(static_cast<int>(ReadOrdinal(d, t->OrdType())));
      return true;
    case tkSet:
      if (SetSize(t) > 64) return false;
      AResult = Variant(static_cast<Int64>(*static_cast<const UInt64 *>(d) & SetMask(t)));
      return true;
    case tkChar:
      AResult = Variant(AnsiString(std::string(1, *static_cast<const char *>(d))));
      return true;
    case tkWChar:
      AResult = Variant(*static_cast<const char16_t *>(d));
      return true;
    case tkFloat:
      switch (t->FloatType()) {
        case ftSingle:
          AResult = Variant(*static_cast<const float *>(d));
          return true;
        case ftCurr:
          AResult = Variant(*static_cast<const Currency *>(d));
          return true;
        default:
          if (t->FDateKind != dkNone)
            AResult = Variant(TDateTime(ReadFloat(d, t->FloatType())));
          else
            AResult = Variant(ReadFloat(d, t->FloatType()));
          return true;
      }
    case tkUString:
    case tkWString:
      AResult = Variant(*static_cast<const UnicodeString *>(d));
      return true;
    case tkLString:
      if (t->FSubType == akAnsiString)
        AResult = Variant(*static_cast<const AnsiString *>(d));
      else
        AResult = Variant(*static_cast<const std::string *>(d));
      return true;
    case tkVariant:
      AResult = *static_cast<const Variant *>(d);
      return true;
    case tkInterface:
      AResult = Variant(*static_cast<IInterface *const *>(d));
      return true;
    case tkRecord:
      if (t == ValueHandle()) return ToVariantValue(*static_cast<const TValue *>(d), AResult);
      return false;
    default:
      return false;
  }
}

bool SameRepresentation(PTypeInfo A, PTypeInfo B) noexcept {
  if (A->FOps != B->FOps || A->FSize != B->FSize) return false;
  if (A->Kind == B->Kind) return true;
  return (A->Kind == tkUString || A->Kind == tkWString) &&
         (B->Kind == tkUString || B->Kind == tkWString);
}

bool ConvertValue(const TValue &V, PTypeInfo ATarget, TValue &AResult);

bool ToEnumeration(const TValue &V, PTypeInfo ATarget, TValue &AResult) {
  PTypeInfo s = V.GetTypeInfo();
  auto *e = static_cast<TRttiEnumerationType *>(ATarget->RttiType());
  const void *d = V.GetReferenceToRawData();
  if (e->GetIsBoolean()) {
    Variant v;
    if (!ToVariantValue(V, v)) return false;
    bool b;
    try {
      b = VarAsType(v, varBoolean).AsBoolean();
    } catch (Exception &) {
      return false;
    }
    MakeDefault(ATarget, AResult);
    WriteOrdinal(VA::Raw(AResult), ATarget->OrdType(), b ? 1 : 0);
    return true;
  }
  Int64 ord = 0;
  switch (s->Kind) {
    case tkInteger:
    case tkInt64:
    case tkEnumeration:
      ord = ReadOrdinal(d, s->OrdType());
      if (s->OrdType() == otUQWord && ord < 0) return false;
      break;
    case tkFloat: {
      const double f = ReadFloat(d, s->FloatType());
      if (!std::isfinite(f) || f != std::trunc(f) || std::fabs(f) > 9e15) return false;
      ord = static_cast<Int64>(f);
      break;
    }
    case tkUString:
    case tkWString:
    case tkLString:
    case tkChar:
    case tkWChar: {
      const UnicodeString text = Trim(TextOf(d, s));
      if (!TryStrToInt64(text, ord)) {
        const auto names = e->GetNames();
        bool found = false;
        for (std::size_t i = 0; i < names.size() && !found; ++i) {
          if (SameText(names[i], text)) {
            ord = e->GetMinValue() + Int64(i);
            found = true;
          }
        }
        if (!found) return false;
      }
      break;
    }
    default:
      return false;
  }
  if (e->GetNames().empty()) {
    if (!OrdinalFits(ord, otSQWord, ATarget->OrdType())) return false;
  } else if (ord < e->GetMinValue() || ord > e->GetMaxValue()) {
    return false;
  }
  MakeDefault(ATarget, AResult);
  WriteOrdinal(VA::Raw(AResult), ATarget->OrdType(), ord);
  return true;
}

bool ToSet(const TValue &V, PTypeInfo ATarget, TValue &AResult) {
  PTypeInfo s = V.GetTypeInfo();
  if (SetSize(ATarget) > 64) return false;
  const auto &ts = SetShape(ATarget);
  const void *d = V.GetReferenceToRawData();
  UInt64 mask = 0;
  switch (s->Kind) {
    case tkSet: {
      const auto &ss = SetShape(s);
      if (ss.Element() != ts.Element() || SetSize(s) > 64) return false;
      const UInt64 src = *static_cast<const UInt64 *>(d) & SetMask(s);
      for (Integer i = 0; i < SetSize(s); ++i) {
        if (!((src >> i) & 1u)) continue;
        const Integer bit = ss.MinEl + i - ts.MinEl;
        if (bit < 0 || bit >= SetSize(ATarget)) return false;
        mask |= UInt64(1) << bit;
      }
      break;
    }
    case tkInteger:
    case tkInt64:
      mask = static_cast<UInt64>(ReadOrdinal(d, s->OrdType()));
      if (ReadOrdinal(d, s->OrdType()) < 0 && s->OrdType() != otUQWord) return false;
      break;
    case tkUString:
    case tkWString:
    case tkLString: {
      const UnicodeString text = Trim(TextOf(d, s));
      if (!text.empty() && text[0] >= u'0' && text[0] <= u'9') {
        if (!TryStrToUInt64(text, mask)) return false;
      } else {
        try {
          mask = StringToSet(ATarget, text);
        } catch (Exception &) {
          return false;
        }
      }
      break;
    }
    default:
      return false;
  }
  if (mask & ~SetMask(ATarget)) return false;
  MakeDefault(ATarget, AResult);
  std::memcpy(VA::Raw(AResult), &mask, sizeof mask);
  return true;
}

bool ToCharacter(const TValue &V, PTypeInfo ATarget, TValue &AResult) {
  PTypeInfo s = V.GetTypeInfo();
  const void *d = V.GetReferenceToRawData();
  Int64 code = 0;
  if (IsText(s->Kind) || s->Kind == tkChar || s->Kind == tkWChar) {
    const UnicodeString text = TextOf(d, s);
    if (ATarget->Kind == tkChar) {
      const RawByteString bytes = UnicodeToCodePage(UnicodeStringView(text).substr(0, 1), 0);
      code = bytes.empty() ? 0 : static_cast<unsigned char>(bytes[0]);
    } else {
      code = text.empty() ? 0 : text[0];
    }
  } else if (IsIntegerKind(s->Kind)) {
    code = ReadOrdinal(d, s->OrdType());
    if (!OrdinalFits(code, s->OrdType(), ATarget->OrdType())) return false;
  } else {
    return false;
  }
  MakeDefault(ATarget, AResult);
  WriteOrdinal(VA::Raw(AResult), ATarget->OrdType(), code);
  return true;
}

TVarType VarCodeOf(PTypeInfo AType) {
  switch (AType->Kind) {
    case tkInteger:
    case tkInt64:
      switch (AType->OrdType()) {
        case otSByte:
          return varShortInt;
        case otUByte:
          return varByte;
        case otSWord:
          return varSmallint;
        case otUWord:
          return varWord;
        case otSLong:
          return varInteger;
        case otULong:
          return varLongWord;
        case otSQWord:
          return varInt64;
        case otUQWord:
          return varUInt64;
      }
      break;
    case tkFloat:
      if (AType->FDateKind != dkNone) return varDate;
      switch (AType->FloatType()) {
        case ftSingle:
          return varSingle;
        case ftCurr:
          return varCurrency;
        case ftComp:
          return varInt64;
        default:
          return varDouble;
      }
    case tkLString:
      return varString;
    default:
      break;
  }
  return varUString;
}

// Numbers and text, through the conversions of Variant.
bool ToSimple(const TValue &V, PTypeInfo ATarget, TValue &AResult) {
  PTypeInfo s = V.GetTypeInfo();
  const void *d = V.GetReferenceToRawData();
  const TTypeKind tk = ATarget->Kind;
  // Integer to integer and float to float without a detour.
  if (IsIntegerKind(s->Kind) && IsIntegerKind(tk)) {
    const Int64 o = ReadOrdinal(d, s->OrdType());
    if (!OrdinalFits(o, s->OrdType(), ATarget->OrdType())) return false;
    MakeDefault(ATarget, AResult);
    WriteOrdinal(VA::Raw(AResult), ATarget->OrdType(), o);
    return true;
  }
  // Enumerations and sets become text by their names.
  if (IsText(tk) && ((s->Kind == tkEnumeration && !IsBooleanType(s)) || s->Kind == tkSet)) {
    return ConvertValue(TValue(V.ToString()), ATarget, AResult);
  }
  Variant v;
  if (!ToVariantValue(V, v)) return false;
  if (VarIsNull(v)) return false;
  Variant c;
  try {
    c = VarAsType(v, VarCodeOf(ATarget));
    MakeDefault(ATarget, AResult);
    void *r = VA::Raw(AResult);
    switch (tk) {
      case tkInteger:
      case tkInt64:
        if (ATarget->OrdType() == otUQWord)
          WriteOrdinal(r, otUQWord, static_cast<Int64>(c.AsUInt64()));
        else
          WriteOrdinal(r, ATarget->OrdType(), c.AsInt64());
        break;
      case tkFloat:
        switch (ATarget->FloatType()) {
          case ftSingle:
            *static_cast<float *>(r) = static_cast<float>(c.AsDouble());
            break;
          case ftCurr:
            *static_cast<Currency *>(r) = c.AsCurrency();
            break;
          case ftComp:
            *static_cast<Int64 *>(r) = c.AsInt64();
            break;
          default:
            *static_cast<double *>(r) = c.AsDouble();
            break;
        }
        break;
      case tkUString:
      case tkWString:
        *static_cast<UnicodeString *>(r) = c.AsString();
        break;
      case tkLString:
        if (ATarget->FSubType == akAnsiString)
          *static_cast<AnsiString *>(r) = c.AsAnsiString();
        else
          *static_cast<std::string *>(r) = c.AsAnsiString();
        break;
      default:
        return false;
    }
  } catch (Exception &) {
    AResult = TValue();
    return false;
  }
  return true;
}

bool ConvertValue(const TValue &V, PTypeInfo ATarget, TValue &AResult) {
  PTypeInfo s = V.GetTypeInfo();
  if (s == ATarget) {
    AResult = V;
    return true;
  }
  if (!s) {
    MakeDefault(ATarget, AResult);
    return true;
  }
  const void *d = V.GetReferenceToRawData();
  if (ATarget == ValueHandle()) {
    AResult = TValue::From<TValue>(V);
    return true;
  }
  if (s == ValueHandle()) return ConvertValue(*static_cast<const TValue *>(d), ATarget, AResult);
  const TTypeKind tk = ATarget->Kind;
  if (tk == tkClass) {
    if (s->Kind != tkClass) return false;
    TObject *o = *static_cast<TObject *const *>(d);
    if (o && !o->InheritsFrom(ATarget->FClass)) return false;
    TValue::Make(&o, ATarget, AResult);
    return true;
  }
  if (tk == tkInterface) {
    const auto *shape = static_cast<const detail::TInterfaceShape *>(ATarget->FShape);
    void *p = nullptr;
    if (s->Kind == tkInterface) {
      IInterface *i = *static_cast<IInterface *const *>(d);
      if (i && i->QueryInterface(shape->IID, &p) != S_OK) return false;
    } else if (s->Kind == tkClass) {
      TObject *o = *static_cast<TObject *const *>(d);
      if (o && !o->GetInterface(shape->IID, &p)) return false;
    } else {
      return false;
    }
    MakeDefault(ATarget, AResult);
    // The query took the reference that the new value holds.
    std::memcpy(VA::Raw(AResult), &p, sizeof p);
    return true;
  }
  if (s->Kind != tkClass && s->Kind != tkInterface && SameRepresentation(s, ATarget)) {
    TValue::Make(d, ATarget, AResult);
    return true;
  }
  if (s->Kind == tkVariant && tk != tkVariant) {
    const Variant &v = *static_cast<const Variant *>(d);
    if (VarIsEmpty(v)) {
      MakeDefault(ATarget, AResult);
      return true;
    }
    if (VarIsNull(v) || VarIsArray(v)) return false;
    return ConvertValue(TValue::FromVariant(v), ATarget, AResult);
  }
  switch (tk) {
    case tkVariant: {
      Variant v;
      if (!ToVariantValue(V, v)) return false;
      TValue::Make(&v, ATarget, AResult);
      return true;
    }
    case tkPointer: {
      if (s->Kind != tkPointer && s->Kind != tkClass && s->Kind != tkClassRef) return false;
      void *p = *static_cast<void *const *>(d);
      TValue::Make(&p, ATarget, AResult);
      return true;
    }
    case tkEnumeration:
      return ToEnumeration(V, ATarget, AResult);
    case tkSet:
      return ToSet(V, ATarget, AResult);
    case tkChar:
    case tkWChar:
      return ToCharacter(V, ATarget, AResult);
    case tkInteger:
    case tkInt64:
    case tkFloat:
    case tkUString:
    case tkWString:
    case tkLString:
      return ToSimple(V, ATarget, AResult);
    default:
      return false;
  }
}

UnicodeString Address(const void *APtr) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%p", APtr);
  return ASCIIToString(buf);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Storage.

void *TValue::Prepare(PTypeInfo AType) {
  if (AType->FInline) {
    FTypeInfo = AType;
    return FData;
  }
  void *p = ::operator new(AType->FSize, std::align_val_t(AType->FAlign));
  std::memcpy(FData, &p, sizeof p);
  FTypeInfo = AType;
  return p;
}

void TValue::Abandon() noexcept {
  if (FTypeInfo && !FTypeInfo->FInline)
    ::operator delete(*reinterpret_cast<void **>(FData), std::align_val_t(FTypeInfo->FAlign));
  FTypeInfo = nullptr;
}

void TValue::Clear() noexcept {
  if (!FTypeInfo) return;
  if (!FTypeInfo->FTrivial) FTypeInfo->FOps->Destroy(Raw());
  Abandon();
}

TValue::TValue(const TValue &AOther) {
  PTypeInfo t = AOther.FTypeInfo;
  if (!t) return;
  if (t->FInline && t->FTrivial) {
    // Numbers and references: the whole room at once, a copy of fixed size.
    std::memcpy(FData, AOther.FData, cInlineSize);
    FTypeInfo = t;
    return;
  }
  void *p = Prepare(t);
  if (t->FTrivial) {
    std::memcpy(p, AOther.Raw(), t->FSize);
  } else {
    try {
      t->FOps->Copy(p, AOther.Raw());
    } catch (...) {
      Abandon();
      throw;
    }
  }
}

TValue::TValue(TValue &&AOther) noexcept {
  PTypeInfo t = AOther.FTypeInfo;
  if (!t) return;
  if (!t->FInline || t->FTrivial) {
    // A heap value moves with its pointer; a trivial one with its bytes, the whole room at once.
    std::memcpy(FData, AOther.FData, cInlineSize);
  } else {
    t->FOps->Move(FData, AOther.FData);
    t->FOps->Destroy(AOther.FData);
  }
  FTypeInfo = t;
  AOther.FTypeInfo = nullptr;
}

TValue &TValue::operator=(const TValue &AOther) {
  if (this == &AOther) return *this;
  PTypeInfo t = AOther.FTypeInfo;
  if (t && t->FInline && t->FTrivial) {
    // Copying a number or a reference cannot fail: no temporary needed.
    Clear();
    ::new (this) TValue(AOther);
    return *this;
  }
  *this = TValue(AOther);
  return *this;
}

TValue &TValue::operator=(TValue &&AOther) noexcept {
  if (this != &AOther) {
    if (FTypeInfo) Clear();
    ::new (this) TValue(std::move(AOther));
  }
  return *this;
}

void TValue::Make(const void *AData, PTypeInfo AType, TValue &AResult) {
  TValue r;
  if (AType) {
    void *p = r.Prepare(AType);
    try {
      if (!AData)
        AType->FOps->Construct(p);
      else if (AType->FTrivial)
        std::memcpy(p, AData, AType->FSize);
      else
        AType->FOps->Copy(p, AData);
    } catch (...) {
      r.Abandon();
      throw;
    }
  }
  AResult = std::move(r);
}

TValue TValue::Make(const void *AData, PTypeInfo AType) {
  TValue r;
  Make(AData, AType, r);
  return r;
}

void TValue::MakeWithoutCopy(void *AData, PTypeInfo AType, TValue &AResult) {
  if (!AData) {
    Make(nullptr, AType, AResult);
    return;
  }
  TValue r;
  if (AType) {
    void *p = r.Prepare(AType);
    if (AType->FTrivial)
      std::memcpy(p, AData, AType->FSize);
    else
      AType->FOps->Move(p, AData);
  }
  AResult = std::move(r);
}

TValue TValue::FromOrdinal(PTypeInfo AType, Int64 AOrdinal) {
  if (!AType) InvalidCast();
  TValue r;
  switch (AType->Kind) {
    case tkInteger:
    case tkInt64:
    case tkChar:
    case tkWChar:
    case tkEnumeration:
      Make(nullptr, AType, r);
      WriteOrdinal(r.Raw(), AType->OrdType(), AOrdinal);
      return r;
    case tkSet: {
      if (SetSize(AType) > 64) InvalidCast();
      Make(nullptr, AType, r);
      const UInt64 mask = static_cast<UInt64>(AOrdinal) & SetMask(AType);
      std::memcpy(r.Raw(), &mask, sizeof mask);
      return r;
    }
    default:
      InvalidCast();
  }
}

TValue TValue::FromVariant(const Variant &AValue) {
  switch (VarType(AValue)) {
    case varEmpty:
      return TValue();
    case varSmallint:
      return TValue(static_cast<SmallInt>(AValue.AsInteger()));
    case varInteger:
      return TValue(AValue.AsInteger());
    case varSingle:
      return TValue(static_cast<float>(AValue.AsDouble()));
    case varDouble:
      return TValue(AValue.AsDouble());
    case varCurrency:
      return TValue(AValue.AsCurrency());
    case varDate:
      return TValue(AValue.AsDateTime());
    case varOleStr:
    case varUString:
      return TValue(AValue.AsString());
    case varString:
      return TValue(AValue.AsAnsiString());
    case varBoolean:
      return TValue(AValue.AsBoolean());
    case varShortInt:
      return TValue(static_cast<ShortInt>(AValue.AsInteger()));
    case varByte:
      return TValue(static_cast<Byte>(AValue.AsInteger()));
    case varWord:
      return TValue(static_cast<Word>(AValue.AsInteger()));
    case varLongWord:
      return TValue(static_cast<LongWord>(AValue.AsInt64()));
    case varInt64:
    case varDecimal:
      return TValue(AValue.AsInt64());
    case varUInt64:
      return TValue(AValue.AsUInt64());
    case varUnknown:
    case varDispatch:
      return TValue(AValue.AsInterface());
    default:
      return TValue(AValue);
  }
}

// ---------------------------------------------------------------------------------------------
// Access.

bool TValue::GetIsEmpty() const noexcept {
  if (!FTypeInfo) return true;
  switch (FTypeInfo->Kind) {
    case tkClass:
    case tkClassRef:
    case tkPointer:
    case tkInterface:
      return *static_cast<void *const *>(Raw()) == nullptr;
    case tkMethod:
    case tkProcedure:
      return static_cast<const detail::TInvokableShape *>(FTypeInfo->FShape)->IsEmpty(Raw());
    case tkDynArray:
      return static_cast<const detail::TArrayShape *>(FTypeInfo->FShape)->Length(Raw()) == 0;
    default:
      return false;
  }
}

bool TValue::IsOrdinal() const noexcept {
  switch (GetTypeKind()) {
    case tkInteger:
    case tkInt64:
    case tkChar:
    case tkWChar:
    case tkEnumeration:
      return true;
    case tkSet:
      return SetSize(FTypeInfo) <= 64;
    default:
      return false;
  }
}

TObject *TValue::AsObject() const {
  if (!FTypeInfo) return nullptr;
  if (FTypeInfo->Kind != tkClass) InvalidCast();
  return *static_cast<TObject *const *>(Raw());
}

TClass TValue::AsClass() const {
  if (!FTypeInfo) return nullptr;
  if (FTypeInfo->Kind != tkClassRef) InvalidCast();
  return *static_cast<const TClass *>(Raw());
}

DelphiInterface<IInterface> TValue::AsInterface() const {
  if (!FTypeInfo) return nullptr;
  if (FTypeInfo->Kind != tkInterface) InvalidCast();
  // Every interface derives from IInterface alone, so the pointer is an IInterface pointer.
  return DelphiInterface<IInterface>(*static_cast<IInterface *const *>(Raw()));
}

Int64 TValue::AsOrdinal() const {
  if (!IsOrdinal()) InvalidCast();
  if (FTypeInfo->Kind == tkSet)
    return static_cast<Int64>(*static_cast<const UInt64 *>(Raw()) & SetMask(FTypeInfo));
  return ReadOrdinal(Raw(), FTypeInfo->OrdType());
}

Integer TValue::AsIntegerOf() const {
  const Int64 v = AsOrdinal();
  const bool big = FTypeInfo->Kind == tkSet || FTypeInfo->OrdType() == otUQWord
                       ? static_cast<UInt64>(v) > std::numeric_limits<LongWord>::max()
                       : v < std::numeric_limits<Integer>::min() ||
                             v > Int64(std::numeric_limits<LongWord>::max());
  if (big) InvalidCast();
  return static_cast<Integer>(static_cast<std::uint32_t>(v));
}

UInt64 TValue::AsUInt64() const {
  const Int64 v = AsOrdinal();
  if (v < 0 && FTypeInfo->Kind != tkSet && FTypeInfo->OrdType() != otUQWord) InvalidCast();
  return static_cast<UInt64>(v);
}

bool TValue::AsBoolean() const {
  if (!FTypeInfo || !IsBooleanType(FTypeInfo)) InvalidCast();
  return ReadOrdinal(Raw(), FTypeInfo->OrdType()) != 0;
}

Extended TValue::AsExtended() const {
  switch (GetTypeKind()) {
    case tkFloat:
      return ReadFloat(Raw(), FTypeInfo->FloatType());
    case tkInteger:
    case tkInt64: {
      const Int64 v = ReadOrdinal(Raw(), FTypeInfo->OrdType());
      if (FTypeInfo->OrdType() == otUQWord) return static_cast<double>(static_cast<UInt64>(v));
      return static_cast<double>(v);
    }
    default:
      InvalidCast();
  }
}

Currency TValue::AsCurrency() const {
  if (GetTypeKind() == tkFloat && FTypeInfo->FloatType() == ftCurr)
    return *static_cast<const Currency *>(Raw());
  return Currency(AsExtended());
}

UnicodeString TValue::AsString() const & {
  if (!FTypeInfo) InvalidCast();
  if (FTypeInfo == ValueHandle()) return static_cast<const TValue *>(Raw())->AsString();
  return TextOf(Raw(), FTypeInfo);
}

UnicodeString TValue::AsString() && {
  if (FTypeInfo && (FTypeInfo->Kind == tkUString || FTypeInfo->Kind == tkWString))
    return std::move(*static_cast<UnicodeString *>(Raw()));
  return AsString();
}

Variant TValue::AsVariant() const {
  Variant v;
  if (!ToVariantValue(*this, v)) InvalidCast();
  return v;
}

UnicodeString TValue::ToString() const {
  if (!FTypeInfo) return u"(empty)";
  const void *d = Raw();
  switch (FTypeInfo->Kind) {
    case tkInteger:
    case tkInt64: {
      const Int64 v = ReadOrdinal(d, FTypeInfo->OrdType());
      return FTypeInfo->OrdType() == otUQWord ? UIntToStr(static_cast<UInt64>(v)) : IntToStr(v);
    }
    case tkEnumeration:
      return GetEnumName(FTypeInfo, static_cast<Integer>(ReadOrdinal(d, FTypeInfo->OrdType())));
    case tkSet:
      return SetToString(FTypeInfo, d, true);
    case tkFloat: {
      const double f = ReadFloat(d, FTypeInfo->FloatType());
      switch (FTypeInfo->FDateKind) {
        case dkDate:
          return DateToStr(f);
        case dkTime:
          return TimeToStr(f);
        case dkDateTime:
          return DateTimeToStr(f);
        default:
          return FloatToStr(f);
      }
    }
    case tkChar:
    case tkWChar:
    case tkUString:
    case tkWString:
    case tkLString:
    case tkString:
      return TextOf(d, FTypeInfo);
    case tkVariant: {
      const Variant &v = *static_cast<const Variant *>(d);
      try {
        return VarToStr(v);
      } catch (Exception &) {
        return u"(variant)";
      }
    }
    case tkClass: {
      TObject *o = *static_cast<TObject *const *>(d);
      if (!o) return u"(empty)";
      return u"(" + o->ClassName() + u" @ " + Address(o) + u")";
    }
    case tkClassRef: {
      TClass c = *static_cast<const TClass *>(d);
      return c ? u"(class '" + c->ClassName() + u"')" : UnicodeString(u"(empty)");
    }
    case tkInterface:
      return u"(interface @ " + Address(*static_cast<void *const *>(d)) + u")";
    case tkPointer:
      return u"(pointer @ " + Address(*static_cast<void *const *>(d)) + u")";
    case tkRecord:
      if (FTypeInfo == ValueHandle()) return static_cast<const TValue *>(d)->ToString();
      return u"(record)";
    case tkArray:
      return u"(array)";
    case tkDynArray:
      return u"(dynamic array)";
    case tkMethod:
      return u"(method)";
    case tkProcedure:
      return u"(procedure)";
    default:
      return u"(unknown)";
  }
}

Integer TValue::GetArrayLength() const {
  return ArrayShape(FTypeInfo).Length(Raw());
}

TValue TValue::GetArrayElement(Integer AIndex) const {
  TValue r;
  ArrayShape(FTypeInfo).GetElement(Raw(), AIndex, r);
  return r;
}

Integer GetArrayLength(PTypeInfo AType, const void *AArray) {
  return ArrayShape(AType).Length(AArray);
}

void GetArrayElement(PTypeInfo AType, const void *AArray, Integer AIndex, TValue &AResult) {
  ArrayShape(AType).GetElement(AArray, AIndex, AResult);
}

PTypeInfo GetArrayElementType(PTypeInfo AType) {
  return ArrayShape(AType).Element();
}

const void *GetArrayElementAddress(PTypeInfo AType, const void *AArray, Integer AIndex) {
  const detail::TArrayShape &s = ArrayShape(AType);
  return s.ElementAddress ? s.ElementAddress(AArray, AIndex) : nullptr;
}

void TValue::SetArrayElement(Integer AIndex, const TValue &AValue) {
  ArrayShape(FTypeInfo).SetElement(Raw(), AIndex, AValue);
}

void TValue::SetArrayLength(Integer ALength) {
  const detail::TArrayShape &s = ArrayShape(FTypeInfo);
  if (!s.SetLength) InvalidCast();
  if (ALength < 0) detail::RaiseIndexOutOfRange(ALength, 0);
  s.SetLength(Raw(), ALength);
}

void TValue::ExtractRawData(void *ADest) const {
  if (!FTypeInfo || !ADest) return;
  if (FTypeInfo->FTrivial)
    std::memcpy(ADest, Raw(), FTypeInfo->FSize);
  else
    FTypeInfo->FOps->Assign(ADest, Raw());
}

TValue TValue::Cast(PTypeInfo ATarget) const {
  TValue r;
  if (!ToType(ATarget, r)) InvalidCast();
  return r;
}

bool TValue::ToType(PTypeInfo AType, TValue &AResult) const {
  if (!AType) return false;
  TValue r;
  if (!ConvertValue(*this, AType, r)) return false;
  AResult = std::move(r);
  return true;
}

bool TValue::IsNull() const noexcept {
  if (!FTypeInfo) return true;
  switch (FTypeInfo->Kind) {
    case tkClass:
      return *static_cast<TObject *const *>(Raw()) == nullptr;
    case tkVariant: {
      const Variant &v = *static_cast<const Variant *>(Raw());
      return VarIsEmpty(v) || VarIsNull(v);
    }
    default:
      return false;
  }
}

}  // namespace vn
