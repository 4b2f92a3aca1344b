// Reflection: type handles, type descriptions with their members and attributes, the generic
// value TValue, and the registration of types.
//
// Every C++ type has a type handle, `TypeInfo<T>()`: one `TTypeInfo` per type, compared by
// address. Its description (`TRttiType`) is made on first use. The simple types, strings,
// dates, variants, arrays (`std::array`, `E[N]`), dynamic arrays (`std::vector`), sets
// (`vn::Set`), events (`std::function`) and every class declared with VN_CLASS are described
// without help. Records, enumerations, sets and classes get their names, unit, members and
// attributes from a registration block written next to the type:
//
//   VN_RTTI(TCustomer, u"uShop") {
//     R.Field(u"FId", &TCustomer::FId, mvPrivate);
//     R.Property(u"Name", &TCustomer::GetName, &TCustomer::SetName);   // published
//   }
//
// (see TTypeBuilder for every form). Registration happens at start-up, before threads run;
// lookups and values may then be used from any thread.
//
// Instances: an operation that takes an instance as `void *` takes the address of a record, or
// for a class the object's `TObject *`. Passing the object pointer itself is always right: the
// overloads that take `const TObject *` do the conversion.
#pragma once

#include <array>
#include <atomic>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <memory>
#include <new>
#include <span>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "vnxml/rtl/DateUtils.h"
#include "vnxml/rtl/Interface.h"
#include "vnxml/rtl/Object.h"
#include "vnxml/rtl/Sets.h"
#include "vnxml/rtl/SysUtils.h"
#include "vnxml/rtl/Types.h"
#include "vnxml/rtl/Variant.h"

namespace vn {

class TRttiType;
class TRttiField;
class TRttiProperty;
class TRttiIndexedProperty;
class TRttiMethod;
class TRttiParameter;
class TRttiInstanceType;
class TValue;
// The library's type registry (vnxml/common/uVnTypes.h) extends TValue with these.
class TVnTypeInfo;
enum TVnTypeKind : Byte;
enum TVnMainTypeKind : Byte;

// The host's classification of types. The ordinals are fixed.
enum TTypeKind : Byte {
  tkUnknown,
  tkInteger,
  tkChar,
  tkEnumeration,
  tkFloat,
  tkString,
  tkSet,
  tkClass,
  tkMethod,
  tkWChar,
  tkLString,
  tkWString,
  tkVariant,
  tkArray,
  tkRecord,
  tkInterface,
  tkInt64,
  tkDynArray,
  tkUString,
  tkClassRef,
  tkPointer,
  tkProcedure
};

// The width and sign of an ordinal value (integers, characters, enumerations).
enum TOrdType : Byte { otSByte, otUByte, otSWord, otUWord, otSLong, otULong, otSQWord, otUQWord };
enum TFloatType : Byte { ftSingle, ftDouble, ftExtended, ftComp, ftCurr };
// What a float type stands for: a number, or a date, a time of day or both.
enum TDateKind : Byte { dkNone, dkDate, dkTime, dkDateTime };
// The two representations of 8-bit text.
enum TAnsiKind : Byte { akAnsiString, akRawByteString };
enum TMemberVisibility : Byte { mvPrivate, mvProtected, mvPublic, mvPublished };

// A failure to read a set or enumeration from its text form.
VN_DECLARE_EXCEPTION(EPropertyConvertError, EConvertError)
// Reading a write-only or writing a read-only property.
VN_DECLARE_EXCEPTION(EPropertyError, Exception)
// A method called with the wrong number of arguments.
VN_DECLARE_EXCEPTION(EInvocationError, Exception)

// ---------------------------------------------------------------------------------------------
// Type handles.

// The life-cycle operations of a type's C++ representation.
struct TTypeOps {
  void (*Construct)(void *ADest);                     // value-initialises
  void (*Copy)(void *ADest, const void *ASource);     // copy-constructs
  void (*Move)(void *ADest, void *ASource) noexcept;  // move-constructs
  void (*Assign)(void *ADest, const void *ASource);   // copy-assigns
  void (*Destroy)(void *AValue) noexcept;
};

// The raw type handle: what the compiler knows about a type. One per type, compared by
// address; the description (TRttiType) hangs off it and is made on first use.
struct TTypeInfo {
  constexpr TTypeInfo(TTypeKind AKind, Byte ASubType, TDateKind ADateKind, std::uint32_t ASize,
                      std::uint32_t AAlign, bool ATrivial, bool AInline, const TTypeOps *AOps,
                      UnicodeString (*ADefaultName)(), const char16_t *ADefaultUnit,
                      const void *AShape, TClass AClass = nullptr) noexcept
      : Kind(AKind),
        FSubType(ASubType),
        FDateKind(ADateKind),
        FTrivial(ATrivial),
        FInline(AInline),
        FSize(ASize),
        FAlign(AAlign),
        FOps(AOps),
        FDefaultName(ADefaultName),
        FDefaultUnit(ADefaultUnit),
        FShape(AShape),
        FClass(AClass) {}
  TTypeInfo(const TTypeInfo &) = delete;
  TTypeInfo &operator=(const TTypeInfo &) = delete;

  TTypeKind Kind;
  // TOrdType for ordinals, characters, enumerations and sets; TFloatType for floats;
  // TAnsiKind for 8-bit text.
  Byte FSubType;
  TDateKind FDateKind;
  // Copied bit by bit and never destroyed.
  bool FTrivial;
  // Small enough to live inside a TValue.
  bool FInline;
  std::uint32_t FSize;
  std::uint32_t FAlign;
  const TTypeOps *FOps;
  UnicodeString (*FDefaultName)();
  const char16_t *FDefaultUnit;
  // Kind-specific static data: the element of an array or set, an interface's identifier ...
  const void *FShape;
  // The class of a class handle.
  TClass FClass;
  // The description, once made.
  mutable std::atomic<TRttiType *> FRttiType{nullptr};
  // A slot for the library's type registry (the TVnTypeInfo of this handle).
  mutable std::atomic<const void *> FRegistrySlot{nullptr};

  // The description of the type, made on first use.
  TRttiType *RttiType() const;
  UnicodeString Name() const;
  TOrdType OrdType() const noexcept { return static_cast<TOrdType>(FSubType); }
  TFloatType FloatType() const noexcept { return static_cast<TFloatType>(FSubType); }
};
using PTypeInfo = const TTypeInfo *;

template <class T>
PTypeInfo TypeInfo();

// A type of its own over the representation of another, so that the registry can tell the two
// apart (WideString over UnicodeString, Extended over Double ...). TTag names it:
//   struct TMyTag { static constexpr const char16_t *Name = u"TMy", *UnitName = u"uMy"; };
// A value of the type is a value of TRep; only the handle differs.
template <class TRep, class TTag>
struct TDistinctType {
  using TRepType = TRep;
  using TTagType = TTag;
};

// The registry's name of WideString.
struct TWideStringTag {
  static constexpr const char16_t *Name = u"WideString", *UnitName = u"System";
};
// The registry's name of Extended.
struct TExtendedTag {
  static constexpr const char16_t *Name = u"Extended", *UnitName = u"System";
};
// WideString and Extended share their representations with UnicodeString and Double.
using TWideStringAlias = TDistinctType<UnicodeString, TWideStringTag>;
using TExtendedAlias = TDistinctType<Double, TExtendedTag>;

// ---------------------------------------------------------------------------------------------
// Attributes.

// The base of attributes attached to types and members. An attribute given to a registration
// belongs to the registry from then on.
class TCustomAttribute : public TObject {
  VN_CLASS(TCustomAttribute, TObject)
 public:
  TCustomAttribute() = default;
};

// ---------------------------------------------------------------------------------------------
// TValue.

namespace detail {
template <class T>
struct TValueTraits;
}

// A value of any type, held by value, that knows its exact type handle. Values up to 32 bytes
// (numbers, strings, object and interface references, small records) live inside the TValue;
// larger ones on the heap. Copies are deep: copying a TValue copies the value it holds.
//
// The As... operations read a value of the fitting kind and raise EInvalidCast ("Invalid class
// typecast") for any other; the To... operations convert between the simple kinds as Variant
// does, and raise EConvertError or return the default, as the raise flag says.
class TValue {
 public:
  static constexpr std::size_t cInlineSize = 32;

  TValue() noexcept = default;
  TValue(const TValue &AOther);
  TValue(TValue &&AOther) noexcept;
  TValue &operator=(const TValue &AOther);
  TValue &operator=(TValue &&AOther) noexcept;
  ~TValue() {
    // Small trivial values (numbers, references) need nothing.
    if (FTypeInfo && !(FTypeInfo->FTrivial && FTypeInfo->FInline)) Clear();
  }

  // The common kinds convert implicitly; any registered type goes through From<T>.
  TValue(bool AValue) noexcept { Emplace<bool>(AValue); }
  TValue(signed char AValue) noexcept { Emplace<signed char>(AValue); }
  TValue(unsigned char AValue) noexcept { Emplace<unsigned char>(AValue); }
  TValue(short AValue) noexcept { Emplace<short>(AValue); }
  TValue(unsigned short AValue) noexcept { Emplace<unsigned short>(AValue); }
  TValue(int AValue) noexcept { Emplace<int>(AValue); }
  TValue(unsigned AValue) noexcept { Emplace<unsigned>(AValue); }
  TValue(long AValue) noexcept { Emplace<long>(AValue); }
  TValue(unsigned long AValue) noexcept { Emplace<unsigned long>(AValue); }
  TValue(long long AValue) noexcept { Emplace<long long>(AValue); }
  TValue(unsigned long long AValue) noexcept { Emplace<unsigned long long>(AValue); }
  TValue(float AValue) noexcept { Emplace<float>(AValue); }
  TValue(double AValue) noexcept { Emplace<double>(AValue); }
  TValue(Currency AValue) noexcept { Emplace<Currency>(AValue); }
  // AnsiChar and WideChar.
  TValue(char AValue) noexcept { Emplace<char>(AValue); }
  TValue(char16_t AValue) noexcept { Emplace<char16_t>(AValue); }
  TValue(const UnicodeString &AValue) { Emplace<UnicodeString>(AValue); }
  TValue(UnicodeString &&AValue) noexcept { Emplace<UnicodeString>(std::move(AValue)); }
  TValue(const char16_t *AValue) { Emplace<UnicodeString>(UnicodeString(AValue)); }
  TValue(UnicodeStringView AValue) { Emplace<UnicodeString>(UnicodeString(AValue)); }
  TValue(const AnsiString &AValue) { Emplace<AnsiString>(AValue); }
  TValue(const char *AValue) { Emplace<AnsiString>(AnsiString(AValue)); }
  TValue(const Variant &AValue) { Emplace<Variant>(AValue); }
  // The class reference.
  TValue(TClass AValue) noexcept { Emplace<TClass>(AValue); }
  // TDateTime, TDate, TTime and their descendants, each with its own handle.
  template <class D>
  requires std::is_base_of_v<TDateTime, D> TValue(const D &AValue)
  noexcept { Emplace<D>(AValue); }
  // An object: the handle of its actual class; a null pointer has the handle of T.
  template <class T>
  requires std::is_base_of_v<TObject, T> TValue(T *AObject);
  template <class I>
  requires std::is_base_of_v<IInterface, I> TValue(const DelphiInterface<I> &AValue);
  // An interface: the value holds a reference.
  template <class I>
  requires(std::is_base_of_v<IInterface, I> && !std::is_base_of_v<TObject, I>) TValue(I *AIntf)
      : TValue(DelphiInterface<I>(AIntf)) {}
  // Other pointers would silently become booleans; TValue::From<Pointer> takes them.
  template <class P>
  requires(!std::is_base_of_v<TObject, P> && !std::is_base_of_v<IInterface, P>) TValue(P *)
  = delete;
  template <class E>
  requires std::is_enum_v<E> TValue(E AValue)
  noexcept { Emplace<E>(AValue); }
  TValue(std::nullptr_t) = delete;

  // The empty value: no type, no data.
  static TValue Empty() noexcept { return TValue(); }
  // A value of type T (given explicitly): `TValue::From<TVnXMLStringAlias>(text)`,
  // `TValue::From<TColors>(colors)`.
  template <class T>
  static TValue From(
      const std::type_identity_t<typename detail::TValueTraits<T>::TValueType> &AValue);
  // A copy of the value at AData, or the default value of the type when AData is null.
  static void Make(const void *AData, PTypeInfo AType, TValue &AResult);
  static TValue Make(const void *AData, PTypeInfo AType);
  // Takes the value at AData over by moving it; AData keeps a valid but unspecified value.
  static void MakeWithoutCopy(void *AData, PTypeInfo AType, TValue &AResult);
  // A value of an ordinal type (integer, character, enumeration, set of up to 64 members) from
  // its ordinal. Raises EInvalidCast for other types.
  static TValue FromOrdinal(PTypeInfo AType, Int64 AOrdinal);
  // The value in a variant as a value of the matching type: numbers, text, booleans and dates
  // get their types; Empty gives the empty value; Null, arrays and interfaces stay variants.
  static TValue FromVariant(const Variant &AValue);

  PTypeInfo GetTypeInfo() const noexcept { return FTypeInfo; }
  // tkUnknown for the empty value.
  TTypeKind GetTypeKind() const noexcept { return FTypeInfo ? FTypeInfo->Kind : tkUnknown; }
  TRttiType *GetRttiType() const { return FTypeInfo ? FTypeInfo->RttiType() : nullptr; }
  // True for the empty value, a nil object, interface, class reference, pointer or event, and
  // an empty dynamic array.
  bool GetIsEmpty() const noexcept;
  bool IsObject() const noexcept { return GetTypeKind() == tkClass; }
  bool IsClass() const noexcept { return GetTypeKind() == tkClassRef; }
  // Integers, characters, enumerations and sets of up to 64 members.
  bool IsOrdinal() const noexcept;
  bool IsArray() const noexcept { return GetTypeKind() == tkArray || GetTypeKind() == tkDynArray; }
  template <class T>
  bool IsType() const;

  // Objects (nil for the empty value), class references, interfaces.
  TObject *AsObject() const;
  TClass AsClass() const;
  DelphiInterface<IInterface> AsInterface() const;
  // Ordinal values; AsInteger raises EInvalidCast for a value beyond 32 bits.
  Int64 AsOrdinal() const;
  Integer AsInteger() const {
    if (FTypeInfo && FTypeInfo->Kind == tkInteger && FTypeInfo->FSubType == otSLong)
      return *std::launder(reinterpret_cast<const Integer *>(FData));
    return AsIntegerOf();
  }
  Int64 AsInt64() const { return AsOrdinal(); }
  UInt64 AsUInt64() const;
  bool AsBoolean() const;
  // Floats and dates; integers are taken as they are.
  Extended AsExtended() const;
  Currency AsCurrency() const;
  // Text and characters. On a temporary the text is moved out.
  UnicodeString AsString() const &;
  UnicodeString AsString() &&;
  // A value of a simple kind as a variant; the empty value gives Null.
  Variant AsVariant() const;
  // The value as T, converted when it is of another type (ToType's rules, objects by class);
  // EInvalidCast when it cannot be.
  template <class T>
  typename detail::TValueTraits<T>::TValueType AsType() const;
  template <class T>
  bool TryAsType(typename detail::TValueTraits<T>::TValueType &AResult) const;

  // A display form: "(empty)", numbers, text as it stands, "True", the name of an enumeration
  // value, "[a,b]" for a set, dates by DateTimeToStr, "(TFoo @ 0x...)" for an object,
  // "(record)", "(array)", "(dynamic array)", "(interface @ 0x...)", "(class 'TFoo')".
  UnicodeString ToString() const;

  // Static and dynamic arrays. EInvalidCast for a value of another kind, EArgumentOutOfRange
  // for an index outside the array.
  Integer GetArrayLength() const;
  TValue GetArrayElement(Integer AIndex) const;
  void SetArrayElement(Integer AIndex, const TValue &AValue);
  // Dynamic arrays only: new elements take their default value.
  void SetArrayLength(Integer ALength);

  // The address of the value inside this TValue (null for the empty value). For an object it
  // is the address of the TObject pointer.
  void *GetReferenceToRawData() noexcept { return FTypeInfo ? Raw() : nullptr; }
  const void *GetReferenceToRawData() const noexcept { return FTypeInfo ? Raw() : nullptr; }
  // Copy-assigns the value to ADest, which must hold a value of the same type.
  void ExtractRawData(void *ADest) const;

  // Converts into ATarget by ToType's rules, or objects by class and interfaces by query.
  bool TryCast(PTypeInfo ATarget, TValue &AResult) const { return ToType(ATarget, AResult); }
  // The same, raising EInvalidCast when the value cannot be converted.
  TValue Cast(PTypeInfo ATarget) const;

  // --- The conversions that the library adds (TValueClassHelper, vnxml/common/uVnRtti.h).
  // A value of any simple kind converts, a Variant inside included. The empty value, a nil
  // object and an empty or null variant give ADefault. A value that cannot be converted raises
  // EConvertError when ARaise is set and gives ADefault otherwise.
  Byte ToByte(bool ARaise = true, Byte ADefault = 0) const;
  Word ToWord(bool ARaise = true, Word ADefault = 0) const;
  LongWord ToLongWord(bool ARaise = true, LongWord ADefault = 0) const;
  UInt64 ToUInt64(bool ARaise = true, UInt64 ADefault = 0) const;
  ShortInt ToShortInt(bool ARaise = true, ShortInt ADefault = 0) const;
  SmallInt ToSmallInt(bool ARaise = true, SmallInt ADefault = 0) const;
  Integer ToInteger(bool ARaise = true, Integer ADefault = 0) const;
  Int64 ToInt64(bool ARaise = true, Int64 ADefault = 0) const;
  Single ToSingle(bool ARaise = true, Single ADefault = 0) const;
  Double ToDouble(bool ARaise = true, Double ADefault = 0) const;
  Extended ToExtended(bool ARaise = true, Extended ADefault = 0) const;
  bool ToBoolean(bool ARaise = true, bool ADefault = false) const;
  // Text: numbers as IntToStr and FloatToStr, booleans "True"/"False", the name of an
  // enumeration value, "[a,b]" for a set, dates by DateTimeToStr.
  WideString ToWideString(bool ARaise = true, const WideString &ADefault = {}) const;
  // Converts into a value of AType and returns true, or returns false when it cannot.
  bool ToType(PTypeInfo AType, TValue &AResult) const;
  // True for the empty value, a nil object and a variant that is Empty or Null.
  bool IsNull() const noexcept;
  // The registry's view of the value's type (vnxml/common/uVnTypes.h).
  TVnTypeKind TypeKind() const;
  TVnMainTypeKind MainTypeKind() const;
  const TVnTypeInfo *VnTypeInfo() const;

 private:
  template <class T, class A>
  void Emplace(A &&AValue);
  void *Raw() noexcept {
    return FTypeInfo->FInline ? static_cast<void *>(FData) : *reinterpret_cast<void **>(FData);
  }
  const void *Raw() const noexcept {
    return FTypeInfo->FInline ? static_cast<const void *>(FData)
                              : *reinterpret_cast<void *const *>(FData);
  }
  Integer AsIntegerOf() const;
  // Makes room for a value of AType (this value being empty); the caller constructs it at the
  // returned address, or calls Abandon when that fails.
  void *Prepare(PTypeInfo AType);
  void Abandon() noexcept;
  void Clear() noexcept;

  PTypeInfo FTypeInfo = nullptr;
  alignas(8) unsigned char FData[cInlineSize];

  friend struct TValueAccess;
};

// ---------------------------------------------------------------------------------------------
// Descriptions.

namespace detail {
struct TRegistration;
struct TRttiAccess;
struct TDescribe;
}  // namespace detail

// The base of the descriptions of types and members: their attributes.
class TRttiObject {
 public:
  TRttiObject(const TRttiObject &) = delete;
  TRttiObject &operator=(const TRttiObject &) = delete;
  virtual ~TRttiObject();

  // The attributes in order of declaration.
  std::span<TCustomAttribute *const> GetAttributes() const noexcept { return FAttributes; }
  // The first attribute of class A (or a descendant), or null.
  template <class A>
  A *GetAttribute() const {
    for (TCustomAttribute *a : FAttributes)
      if (a->InheritsFrom(A::StaticClass())) return static_cast<A *>(a);
    return nullptr;
  }

 protected:
  TRttiObject() = default;
  std::vector<TCustomAttribute *> FAttributes;  // owned

  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// A description with a name.
class TRttiNamedObject : public TRttiObject {
 public:
  const UnicodeString &GetName() const noexcept { return FName; }

 protected:
  UnicodeString FName;
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// A field, property or method of a record, class or interface.
class TRttiMember : public TRttiNamedObject {
 public:
  // The type that declares the member.
  TRttiType *GetParent() const noexcept { return FParent; }
  TMemberVisibility GetVisibility() const noexcept { return FVisibility; }

 protected:
  TRttiType *FParent = nullptr;
  TMemberVisibility FVisibility = mvPublic;
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// A field or property: a member with a type that can be read and written generically.
class TRttiDataMember : public TRttiMember {
 public:
  TRttiType *GetDataType() const { return FDataType ? FDataType->RttiType() : nullptr; }
  PTypeInfo GetDataTypeHandle() const noexcept { return FDataType; }
  virtual bool IsReadable() const noexcept { return true; }
  virtual bool IsWritable() const noexcept { return true; }
  // Reads the member of an instance (a record's address or an object). A write-only property
  // raises EPropertyError "Property <name> is write-only"; a nil instance
  // EArgumentNilException.
  virtual TValue GetValue(const void *AInstance) const = 0;
  TValue GetValue(const TObject *AObject) const {
    return GetValue(static_cast<const void *>(AObject));
  }
  // Writes the member, converting the value by TValue::Cast (EInvalidCast when it cannot be);
  // a read-only property raises EPropertyError "Property <name> is read-only".
  virtual void SetValue(void *AInstance, const TValue &AValue) const = 0;
  void SetValue(TObject *AObject, const TValue &AValue) const {
    SetValue(static_cast<void *>(AObject), AValue);
  }
  // Writes the member as SetValue does, taking the content of AValue over instead of copying it
  // when AValue holds a value of the member's declared type: AValue is left with a valid value
  // of its type whose content is unspecified.
  virtual void TakeValue(void *AInstance, TValue &AValue) const { SetValue(AInstance, AValue); }
  // Where the member lies in an instance, when GetValue would only copy what lies there (a
  // field, or a property read straight from a field, stored as a value of the member's type):
  // a reader that only looks may use it in place. Null for members read through code, and for
  // a nil instance.
  virtual const void *GetDataAddress(const void *AInstance) const noexcept {
    (void)AInstance;
    return nullptr;
  }

 protected:
  PTypeInfo FDataType = nullptr;
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// The description of a field: a data member read and written directly.
class TRttiField : public TRttiDataMember {
 public:
  TRttiType *GetFieldType() const { return GetDataType(); }
};

// The description of a property: a data member read and written through getter and setter.
class TRttiProperty : public TRttiDataMember {
 public:
  TRttiType *GetPropertyType() const { return GetDataType(); }
};

// A property with index arguments, such as Items[i].
class TRttiIndexedProperty : public TRttiMember {
 public:
  TRttiType *GetPropertyType() const { return FDataType ? FDataType->RttiType() : nullptr; }
  PTypeInfo GetPropertyTypeHandle() const noexcept { return FDataType; }
  virtual bool IsReadable() const noexcept = 0;
  virtual bool IsWritable() const noexcept = 0;
  virtual TValue GetValue(const void *AInstance, std::span<const TValue> AIndex) const = 0;
  virtual void SetValue(void *AInstance, std::span<const TValue> AIndex,
                        const TValue &AValue) const = 0;
  TValue GetValue(const TObject *AObject, std::initializer_list<TValue> AIndex) const {
    return GetValue(static_cast<const void *>(AObject), std::span(AIndex.begin(), AIndex.size()));
  }
  void SetValue(TObject *AObject, std::initializer_list<TValue> AIndex,
                const TValue &AValue) const {
    SetValue(static_cast<void *>(AObject), std::span(AIndex.begin(), AIndex.size()), AValue);
  }

 protected:
  PTypeInfo FDataType = nullptr;
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// One parameter of a method or routine type: its name and type.
class TRttiParameter : public TRttiNamedObject {
 public:
  TRttiType *GetParamType() const { return FType ? FType->RttiType() : nullptr; }
  PTypeInfo GetParamTypeHandle() const noexcept { return FType; }

 protected:
  PTypeInfo FType = nullptr;
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// The description of a method: its parameters and result, and its invocation.
class TRttiMethod : public TRttiMember {
 public:
  ~TRttiMethod() override;
  std::span<TRttiParameter *const> GetParameters() const noexcept { return FParameters; }
  // Null for a method without result.
  TRttiType *GetReturnType() const { return FReturnType ? FReturnType->RttiType() : nullptr; }
  // A constructor: invoked on a class reference, it returns the new object.
  bool IsConstructor() const noexcept { return FIsConstructor; }
  // A class method or constructor needs no instance.
  bool IsClassMethod() const noexcept { return FIsStatic; }

  // Calls the method. The arguments convert to the parameter types by TValue::Cast (EInvalidCast
  // when one cannot); a wrong count raises EInvocationError "Parameter count mismatch". The
  // result is the empty value for a method without result.
  TValue Invoke(void *AInstance, std::span<const TValue> AArgs) const;
  TValue Invoke(void *AInstance, std::initializer_list<TValue> AArgs) const {
    return Invoke(AInstance, std::span(AArgs.begin(), AArgs.size()));
  }
  TValue Invoke(TObject *AObject, std::initializer_list<TValue> AArgs) const {
    return Invoke(static_cast<void *>(AObject), std::span(AArgs.begin(), AArgs.size()));
  }
  // A constructor or class method through a class reference.
  TValue Invoke(TClass AClass, std::initializer_list<TValue> AArgs) const {
    return InvokeClass(AClass, std::span(AArgs.begin(), AArgs.size()));
  }
  TValue InvokeClass(TClass AClass, std::span<const TValue> AArgs) const;
  // The instance as a value: an object, a class reference, or a pointer to a record.
  TValue Invoke(const TValue &AInstance, std::span<const TValue> AArgs) const;

 protected:
  virtual TValue DoInvoke(void *AInstance, TClass AClass, std::span<const TValue> AArgs) const = 0;
  std::vector<TRttiParameter *> FParameters;  // owned
  PTypeInfo FReturnType = nullptr;
  bool FIsConstructor = false;
  bool FIsStatic = false;
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// The description of a type.
class TRttiType : public TRttiNamedObject {
 public:
  ~TRttiType() override;
  PTypeInfo GetHandle() const noexcept { return FHandle; }
  TTypeKind GetTypeKind() const noexcept { return FHandle->Kind; }
  // "Unit.Name", or the name alone for a type without unit.
  const UnicodeString &GetQualifiedName() const noexcept { return FQualifiedName; }
  const UnicodeString &GetUnitName() const noexcept { return FUnitName; }
  Integer GetTypeSize() const noexcept { return static_cast<Integer>(FHandle->FSize); }
  // Registered by the library or the program. A record, enumeration, set or interface without
  // registration has a bare description.
  bool GetIsRegistered() const noexcept { return FRegistered.load(std::memory_order_acquire); }
  // A record registered as one simple value, with its XML Schema name (TTypeBuilder::
  // CustomSimple).
  bool GetIsCustomSimple() const noexcept { return FCustomSimple; }
  const UnicodeString &GetCustomSchemaName() const noexcept { return FSchemaName; }

  // The ancestor of a class or interface.
  virtual TRttiType *GetBaseType() const { return nullptr; }
  bool GetIsInstance() const noexcept { return GetTypeKind() == tkClass; }
  bool GetIsRecord() const noexcept { return GetTypeKind() == tkRecord; }
  bool GetIsSet() const noexcept { return GetTypeKind() == tkSet; }
  bool GetIsOrdinal() const noexcept;
  TRttiInstanceType *AsInstance();

  // The members of the type and of its ancestors as one list: the most derived type's members
  // first, in order of declaration, then each ancestor's. A member hidden by a descendant's
  // member of the same name stays in the list behind it. Constructors are not inherited.
  std::span<TRttiField *const> GetFields() const;
  std::span<TRttiProperty *const> GetProperties() const;
  std::span<TRttiIndexedProperty *const> GetIndexedProperties() const;
  std::span<TRttiMethod *const> GetMethods() const;
  // The type's own members.
  std::span<TRttiField *const> GetDeclaredFields() const noexcept { return FFields; }
  std::span<TRttiProperty *const> GetDeclaredProperties() const noexcept { return FProperties; }
  std::span<TRttiMethod *const> GetDeclaredMethods() const noexcept { return FMethods; }
  // The first member of the list with that name, compared without regard to case; null when
  // there is none.
  TRttiField *GetField(UnicodeStringView AName) const;
  TRttiProperty *GetProperty(UnicodeStringView AName) const;
  TRttiIndexedProperty *GetIndexedProperty(UnicodeStringView AName) const;
  TRttiMethod *GetMethod(UnicodeStringView AName) const;
  // All methods of that name (overloads), most derived first.
  std::vector<TRttiMethod *> GetMethods(UnicodeStringView AName) const;

 protected:
  explicit TRttiType(PTypeInfo AHandle) : FHandle(AHandle) {}

  PTypeInfo FHandle;
  UnicodeString FUnitName;
  UnicodeString FQualifiedName;
  UnicodeString FSchemaName;
  std::atomic<bool> FRegistered{false};
  // A registration was committed (a later one is dropped).
  bool FCommitted = false;
  bool FCustomSimple = false;
  std::vector<TRttiField *> FFields;  // owned, likewise the others
  std::vector<TRttiProperty *> FProperties;
  std::vector<TRttiIndexedProperty *> FIndexedProperties;
  std::vector<TRttiMethod *> FMethods;

 private:
  struct TFlat;
  const TFlat &Flat() const;
  mutable std::atomic<TFlat *> FFlat{nullptr};
  // Lists replaced after a registration; kept so that spans handed out stay valid.
  mutable std::vector<TFlat *> FOldFlats;

  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// Integers, characters, enumerations.
class TRttiOrdinalType : public TRttiType {
 public:
  TOrdType GetOrdType() const noexcept { return FHandle->OrdType(); }
  Int64 GetMinValue() const noexcept { return FMinValue; }
  Int64 GetMaxValue() const noexcept { return FMaxValue; }

 protected:
  using TRttiType::TRttiType;
  Int64 FMinValue = 0;
  Int64 FMaxValue = 0;
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// An enumeration type, Boolean among them: the names of its values.
class TRttiEnumerationType : public TRttiOrdinalType {
 public:
  // The names of the values from GetMinValue on.
  std::span<const UnicodeString> GetNames() const noexcept { return FNames; }
  // The name of a value; "" outside the range.
  UnicodeString GetValueName(Int64 AOrdinal) const;
  bool GetIsBoolean() const noexcept { return FIsBoolean; }

 protected:
  using TRttiOrdinalType::TRttiOrdinalType;
  std::vector<UnicodeString> FNames;
  bool FIsBoolean = false;
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// 64-bit integers.
class TRttiInt64Type : public TRttiOrdinalType {
 protected:
  using TRttiOrdinalType::TRttiOrdinalType;
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// A float type: which float it is, and for TDateTime and its kin the kind of date.
class TRttiFloatType : public TRttiType {
 public:
  TFloatType GetFloatType() const noexcept { return FHandle->FloatType(); }
  TDateKind GetDateKind() const noexcept { return FHandle->FDateKind; }

 protected:
  using TRttiType::TRttiType;
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// A string type.
class TRttiStringType : public TRttiType {
 protected:
  using TRttiType::TRttiType;
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// A set type: its element type and the range of ordinals it can hold.
class TRttiSetType : public TRttiType {
 public:
  // The enumeration (or ordinal type) of the members.
  TRttiType *GetElementType() const;
  // The range of ordinals the set can hold; bit i of its mask stands for GetMinElement() + i.
  Integer GetMinElement() const noexcept;
  Integer GetMaxElement() const noexcept;

 protected:
  using TRttiType::TRttiType;
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// A record type: a value type of fields and properties, a struct outside the TObject family.
class TRttiRecordType : public TRttiType {
 protected:
  using TRttiType::TRttiType;
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// A class type: its class reference, its base class and its unit.
class TRttiInstanceType : public TRttiType {
 public:
  TClass GetMetaclassType() const noexcept { return FHandle->FClass; }
  TRttiType *GetBaseType() const override;
  TRttiInstanceType *GetBaseInstanceType() const;
  const UnicodeString &GetDeclaringUnitName() const noexcept { return GetUnitName(); }

 protected:
  using TRttiType::TRttiType;
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// An interface type: its identifier and its parent interface.
class TRttiInterfaceType : public TRttiType {
 public:
  TGUID GetGUID() const noexcept;
  TRttiType *GetBaseType() const override;

 protected:
  using TRttiType::TRttiType;
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// A static array type: its element type and element count.
class TRttiArrayType : public TRttiType {
 public:
  TRttiType *GetElementType() const;
  Integer GetTotalElementCount() const noexcept;
  Integer GetDimensionCount() const noexcept { return 1; }

 protected:
  using TRttiType::TRttiType;
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// A dynamic array type (std::vector): its element type.
class TRttiDynamicArrayType : public TRttiType {
 public:
  TRttiType *GetElementType() const;

 protected:
  using TRttiType::TRttiType;
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// Events (tkMethod, std::function) and plain routines (tkProcedure).
class TRttiInvokableType : public TRttiType {
 public:
  std::span<TRttiParameter *const> GetParameters() const noexcept { return FParameters; }
  TRttiType *GetReturnType() const;
  ~TRttiInvokableType() override;

 protected:
  using TRttiType::TRttiType;
  std::vector<TRttiParameter *> FParameters;  // owned
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// The type of an event, a std::function: its parameters and result.
class TRttiMethodType : public TRttiInvokableType {
 protected:
  using TRttiInvokableType::TRttiInvokableType;
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// The type of a plain routine pointer: its parameters and result.
class TRttiProcedureType : public TRttiInvokableType {
 protected:
  using TRttiInvokableType::TRttiInvokableType;
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// A class reference type: the class it refers to.
class TRttiClassRefType : public TRttiType {
 public:
  // TObject: a class reference may refer to any class.
  TRttiInstanceType *GetInstanceType() const;

 protected:
  using TRttiType::TRttiType;
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// A pointer type: the type it points to.
class TRttiPointerType : public TRttiType {
 public:
  // Null for an untyped pointer.
  TRttiType *GetReferredType() const;

 protected:
  using TRttiType::TRttiType;
  friend struct detail::TRttiAccess;
  friend struct detail::TDescribe;
};

// Lookups of descriptions.
struct TRttiContext {
  static TRttiType *GetType(PTypeInfo AType) { return AType ? AType->RttiType() : nullptr; }
  static TRttiType *GetType(TClass AClass) {
    return AClass ? AClass->ClassInfo()->RttiType() : nullptr;
  }
  // A registered type by its qualified name, without regard to case; null when there is none.
  static TRttiType *FindType(UnicodeStringView AQualifiedName);
  // The registered types in order of registration (the library's first).
  static std::vector<TRttiType *> GetTypes();
};

// ---------------------------------------------------------------------------------------------
// Arrays in place.

// The length of the array of type AType at AArray, as TValue::GetArrayLength gives it.
Integer GetArrayLength(PTypeInfo AType, const void *AArray);
// Element AIndex of the array of type AType at AArray, as TValue::GetArrayElement gives it.
void GetArrayElement(PTypeInfo AType, const void *AArray, Integer AIndex, TValue &AResult);
// The type of the elements of the array type AType.
PTypeInfo GetArrayElementType(PTypeInfo AType);
// Where element AIndex of the array of type AType at AArray lies, for reading it in place; null
// when the elements are not stored as values of the element type (std::vector<bool>). Raises
// EInvalidCast for a type that is no array, and as GetArrayElement for an index out of range.
const void *GetArrayElementAddress(PTypeInfo AType, const void *AArray, Integer AIndex);

// ---------------------------------------------------------------------------------------------
// Enumerations, sets and the class table.

// The name of an enumeration value; "" for a value outside the range or a type that is no
// enumeration. Booleans are "False" and "True".
UnicodeString GetEnumName(PTypeInfo AType, Integer AValue);
// The ordinal of a name, compared without regard to case; -1 for an unknown name.
Integer GetEnumValue(PTypeInfo AType, UnicodeStringView AName);
// The mask of a set from a list of names separated by commas, with or without brackets and
// blanks ("a,b", "[a, b]", "" and "[]"). Bit i stands for the set's lowest member + i. An
// unknown name raises EPropertyConvertError "Invalid property element: <name>".
UInt64 StringToSet(PTypeInfo ASetType, UnicodeStringView AValue);
// The names of the members of a mask, separated by commas, in brackets when ABrackets.
UnicodeString SetToString(PTypeInfo ASetType, UInt64 AValue, bool ABrackets = false);
// The same for the set value at ASet, of any size (its 64-bit words in order).
UnicodeString SetToString(PTypeInfo ASetType, const void *ASet, bool ABrackets);

template <class E>
requires std::is_enum_v<E> UnicodeString GetEnumName(E AValue) {
  return GetEnumName(TypeInfo<E>(), static_cast<Integer>(AValue));
}

// The table of classes by name (persistent classes, for reading objects back by class name).
// Registering a class again is harmless; another class of the same name raises EFilerError
// "A class named <name> already exists".
void RegisterClass(TClass AClass);
void RegisterClasses(std::initializer_list<TClass> AClasses);
void UnRegisterClass(TClass AClass);
// The class of that name, compared without regard to case; null when there is none.
TClass GetClass(UnicodeStringView AClassName);
// The same, raising EClassNotFound "Class <name> not found".
TClass FindClass(UnicodeStringView AClassName);

// ---------------------------------------------------------------------------------------------
// The machinery behind TypeInfo<T>() and the registration blocks.

namespace detail {

// What the handle of an array type knows: element type, count and element access.
struct TArrayShape {
  PTypeInfo (*Element)();
  Integer Count;  // static arrays; -1 for dynamic ones
  Integer (*Length)(const void *AArray);
  void (*SetLength)(void *AArray, Integer ALength);  // dynamic arrays
  void (*GetElement)(const void *AArray, Integer AIndex, TValue &AResult);
  void (*SetElement)(void *AArray, Integer AIndex, const TValue &AValue);
  // The address of an element stored as a value of the element type; null for arrays whose
  // elements are not (std::vector<bool>).
  const void *(*ElementAddress)(const void *AArray, Integer AIndex) = nullptr;
};
// What the handle of a set type knows: element type and range of ordinals.
struct TSetShape {
  PTypeInfo (*Element)();
  Integer MinEl;
  Integer MaxEl;
};
// What the handle of an interface type knows: its identifier and parent.
struct TInterfaceShape {
  TGUID IID;
  PTypeInfo (*Parent)();
};
// What the handle of a pointer type knows: the type it points to.
struct TPointerShape {
  PTypeInfo (*Referred)();
};
using TTypeFn = PTypeInfo (*)();
// What the handle of an event or routine type knows: result, parameters, emptiness.
struct TInvokableShape {
  TTypeFn Result;  // null for no result
  const TTypeFn *Params;
  Integer Count;
  bool (*IsEmpty)(const void *AValue);
};

// The handle of a class, made on first use.
PTypeInfo ClassTypeInfo(TClass AClass);
// The registered types in order of registration, and a counter that moves on with each
// registration (for caches built from descriptions).
std::vector<PTypeInfo> RegisteredTypes();
UInt64 RegistrationGeneration() noexcept;
[[noreturn]] void RaiseInvalidCastValue();
[[noreturn]] void RaiseNotCopyable();
[[noreturn]] void RaiseIndexOutOfRange(Integer AIndex, Integer ACount);
UnicodeString TypeNameFromCompiler(std::string_view AText);

template <class T>
constexpr std::string_view CompilerTypeName() {
  std::string_view p = __PRETTY_FUNCTION__;
  const std::size_t s = p.find("T = ") + 4;
  const std::size_t e = p.find_first_of(";]", s);
  return p.substr(s, e - s);
}

// Whether T is a std::vector, and its element type.
template <class T>
struct TIsVector : std::false_type {};
template <class E, class A>
struct TIsVector<std::vector<E, A>> : std::true_type {
  using TElement = E;
};
// Whether T is a std::array, and its element type and count.
template <class T>
struct TIsStdArray : std::false_type {};
template <class E, std::size_t N>
struct TIsStdArray<std::array<E, N>> : std::true_type {
  using TElement = E;
  static constexpr std::size_t Count = N;
};
// Whether T is a Set, and its element type and range.
template <class T>
struct TIsVnSet : std::false_type {};
template <class E, int Min, int Max>
struct TIsVnSet<Set<E, Min, Max>> : std::true_type {
  using TElement = E;
  static constexpr int MinEl = Min, MaxEl = Max;
};
// Whether T is a DelphiInterface, and the interface it holds.
template <class T>
struct TIsDelphiInterface : std::false_type {};
template <class I>
struct TIsDelphiInterface<DelphiInterface<I>> : std::true_type {
  using TIntf = I;
};
// Whether T is a std::function, and its result and parameter types.
template <class T>
struct TIsFunction : std::false_type {};
template <class R, class... A>
struct TIsFunction<std::function<R(A...)>> : std::true_type {
  using TResult = R;
  static constexpr std::size_t Arity = sizeof...(A);
  static constexpr TTypeFn Params[sizeof...(A) + 1] = {&TypeInfo<std::decay_t<A>>..., nullptr};
};
// Whether T is a plain function pointer, and its result and parameter types.
template <class T>
struct TIsProcPtr : std::false_type {};
template <class R, class... A>
struct TIsProcPtr<R (*)(A...)> : std::true_type {
  using TResult = R;
  static constexpr std::size_t Arity = sizeof...(A);
  static constexpr TTypeFn Params[sizeof...(A) + 1] = {&TypeInfo<std::decay_t<A>>..., nullptr};
};
// Whether T is a TDistinctType.
template <class T>
struct TIsDistinct : std::false_type {};
template <class R, class G>
struct TIsDistinct<TDistinctType<R, G>> : std::true_type {};

template <class T>
concept VnObjectClass = std::is_class_v<T> && std::is_base_of_v<TObject, T>;
template <class T>
concept VnInterfaceType =
    std::is_class_v<T> && std::is_base_of_v<IInterface, T> && !std::is_base_of_v<TObject, T>;
template <class T>
concept VnObjectPointer =
    std::is_pointer_v<T> && VnObjectClass<std::remove_cv_t<std::remove_pointer_t<T>>>;

// Integers of one width and sign share one handle (long and long long are Int64).
template <class T>
struct TCanonical {
  using type = T;
};
template <class T>
requires(std::is_integral_v<T> && !std::is_same_v<T, bool> && !std::is_same_v<T, char> &&
         !std::is_same_v<T, char16_t>) struct TCanonical<T> {
  using type = std::conditional_t<
      std::is_signed_v<T>,
      std::conditional_t<
          sizeof(T) == 1, std::int8_t,
          std::conditional_t<sizeof(T) == 2, std::int16_t,
                             std::conditional_t<sizeof(T) == 4, std::int32_t, std::int64_t>>>,
      std::conditional_t<
          sizeof(T) == 1, std::uint8_t,
          std::conditional_t<sizeof(T) == 2, std::uint16_t,
                             std::conditional_t<sizeof(T) == 4, std::uint32_t, std::uint64_t>>>>;
};

// What TValue holds for a type (TRep) and what the C++ side reads and writes (TValueType).
template <class T>
struct TValueTraits {
  using U = std::remove_cv_t<T>;
  using TValueType = typename TCanonical<U>::type;
  using TRep = TValueType;
  static const TRep &ToRep(const TValueType &AValue) { return AValue; }
  static const TValueType &FromRep(const TRep &ARep) { return ARep; }
};
template <class T>
requires VnObjectClass<std::remove_cv_t<T>>
struct TValueTraits<T> {
  using TValueType = std::remove_cv_t<T> *;
  using TRep = TObject *;
  static TRep ToRep(TValueType AValue) { return AValue; }
  static TValueType FromRep(TRep ARep) { return static_cast<TValueType>(ARep); }
};
template <class T>
requires VnObjectPointer<std::remove_cv_t<T>>
struct TValueTraits<T> : TValueTraits<std::remove_pointer_t<std::remove_cv_t<T>>> {
};
template <class T>
requires VnInterfaceType<std::remove_cv_t<T>>
struct TValueTraits<T> {
  using TValueType = DelphiInterface<std::remove_cv_t<T>>;
  using TRep = TValueType;
  static const TRep &ToRep(const TValueType &AValue) { return AValue; }
  static const TValueType &FromRep(const TRep &ARep) { return ARep; }
};
template <class I>
struct TValueTraits<DelphiInterface<I>> : TValueTraits<I> {};
template <class I>
struct TValueTraits<const DelphiInterface<I>> : TValueTraits<I> {};
template <class R, class G>
struct TValueTraits<TDistinctType<R, G>> : TValueTraits<R> {};

// The canonical type behind a handle: classes by their class, interfaces by the interface.
template <class T>
struct THandleKey {
  using type = typename TCanonical<std::remove_cv_t<T>>::type;
};
template <class T>
requires VnObjectPointer<std::remove_cv_t<T>>
struct THandleKey<T> {
  using type = std::remove_cv_t<std::remove_pointer_t<std::remove_cv_t<T>>>;
};
template <class I>
struct THandleKey<DelphiInterface<I>> {
  using type = I;
};
template <class I>
struct THandleKey<const DelphiInterface<I>> {
  using type = I;
};

// The untyped construction, copy, move, assignment and destruction of a type's values.
template <class T>
struct TOpsFor {
  static void Construct(void *ADest) {
    if constexpr (std::is_default_constructible_v<T>)
      ::new (ADest) T();
    else
      RaiseNotCopyable();
  }
  static void Copy(void *ADest, const void *ASource) {
    if constexpr (std::is_copy_constructible_v<T>)
      ::new (ADest) T(*static_cast<const T *>(ASource));
    else
      RaiseNotCopyable();
  }
  // Only reached for a value that a copy made, so a type that cannot move never gets here.
  static void Move(void *ADest, void *ASource) noexcept {
    if constexpr (std::is_move_constructible_v<T>)
      ::new (ADest) T(std::move(*static_cast<T *>(ASource)));
  }
  static void Assign(void *ADest, const void *ASource) {
    if constexpr (std::is_copy_assignable_v<T>)
      *static_cast<T *>(ADest) = *static_cast<const T *>(ASource);
    else
      RaiseNotCopyable();
  }
  static void Destroy(void *AValue) noexcept { static_cast<T *>(AValue)->~T(); }
  static constexpr TTypeOps Ops{&Construct, &Copy, &Move, &Assign, &Destroy};
};
// C arrays, element by element.
template <class E, std::size_t N>
struct TOpsFor<E[N]> {
  static void Construct(void *ADest) {
    std::uninitialized_value_construct_n(static_cast<E *>(ADest), N);
  }
  static void Copy(void *ADest, const void *ASource) {
    std::uninitialized_copy_n(static_cast<const E *>(ASource), N, static_cast<E *>(ADest));
  }
  static void Move(void *ADest, void *ASource) noexcept {
    std::uninitialized_move_n(static_cast<E *>(ASource), N, static_cast<E *>(ADest));
  }
  static void Assign(void *ADest, const void *ASource) {
    std::copy_n(static_cast<const E *>(ASource), N, static_cast<E *>(ADest));
  }
  static void Destroy(void *AValue) noexcept { std::destroy_n(static_cast<E *>(AValue), N); }
  static constexpr TTypeOps Ops{&Construct, &Copy, &Move, &Assign, &Destroy};
};

template <class E>
constexpr TOrdType OrdTypeOf() {
  if constexpr (std::is_enum_v<E>) {
    return OrdTypeOf<std::underlying_type_t<E>>();
  } else {
    constexpr bool s = std::is_signed_v<E>;
    switch (sizeof(E)) {
      case 1:
        return s ? otSByte : otUByte;
      case 2:
        return s ? otSWord : otUWord;
      case 4:
        return s ? otSLong : otULong;
      default:
        return s ? otSQWord : otUQWord;
    }
  }
}

template <class T>
constexpr bool FitsInline() {
  return sizeof(T) <= TValue::cInlineSize && alignof(T) <= 8 &&
         std::is_nothrow_move_constructible_v<T>;
}

template <class U>
UnicodeString DefaultNameOf() {
  if constexpr (TIsDistinct<U>::value) {
    return U::TTagType::Name;
  } else {
    return TypeNameFromCompiler(CompilerTypeName<U>());
  }
}

// The element and element handle of containers.
template <class A>
struct TArrayAccess;
template <class E, std::size_t N>
struct TArrayAccess<std::array<E, N>> {
  using TElement = E;
  static constexpr Integer Count = static_cast<Integer>(N);
  static Integer Length(const void *) { return Count; }
  static E &At(void *A, Integer I) { return (*static_cast<std::array<E, N> *>(A))[I]; }
  static const E &At(const void *A, Integer I) {
    return (*static_cast<const std::array<E, N> *>(A))[I];
  }
};
template <class E, std::size_t N>
struct TArrayAccess<E[N]> {
  using TElement = E;
  static constexpr Integer Count = static_cast<Integer>(N);
  static Integer Length(const void *) { return Count; }
  static E &At(void *A, Integer I) { return static_cast<E *>(A)[I]; }
  static const E &At(const void *A, Integer I) { return static_cast<const E *>(A)[I]; }
};
template <class E, class Al>
struct TArrayAccess<std::vector<E, Al>> {
  using TElement = E;
  using V = std::vector<E, Al>;
  static constexpr Integer Count = -1;
  static Integer Length(const void *A) {
    return static_cast<Integer>(static_cast<const V *>(A)->size());
  }
  static void SetLength(void *A, Integer N) {
    static_cast<V *>(A)->resize(N < 0 ? 0 : static_cast<std::size_t>(N));
  }
  static decltype(auto) At(void *A, Integer I) { return (*static_cast<V *>(A))[I]; }
  static decltype(auto) At(const void *A, Integer I) { return (*static_cast<const V *>(A))[I]; }
};

// The element access by index and TValue of an array type, behind its TArrayShape.
template <class A>
struct TArrayOps {
  using Acc = TArrayAccess<A>;
  using E = typename Acc::TElement;
  static void Check(const void *AArray, Integer AIndex) {
    const Integer n = Acc::Length(AArray);
    if (AIndex < 0 || AIndex >= n) RaiseIndexOutOfRange(AIndex, n);
  }
  static void GetElement(const void *AArray, Integer AIndex, TValue &AResult);
  static void SetElement(void *AArray, Integer AIndex, const TValue &AValue);
  static constexpr bool cAddressable =
      std::is_lvalue_reference_v<decltype(Acc::At(std::declval<const void *>(), 0))> &&
      std::is_same_v<std::remove_cv_t<E>, typename TValueTraits<E>::TRep>;
  static const void *ElementAddress(const void *AArray, Integer AIndex) {
    Check(AArray, AIndex);
    return &Acc::At(AArray, AIndex);
  }
  static constexpr TArrayShape Make() {
    TArrayShape s{&TypeInfo<E>, Acc::Count, &Acc::Length, nullptr, &GetElement, &SetElement};
    if constexpr (Acc::Count < 0) s.SetLength = &Acc::SetLength;
    if constexpr (cAddressable) s.ElementAddress = &ElementAddress;
    return s;
  }
  static constexpr TArrayShape Shape = Make();
};

// The TSetShape of a Set type.
template <class S>
struct TSetShapeFor {
  using Info = TIsVnSet<S>;
  static constexpr TSetShape Shape{&TypeInfo<typename Info::TElement>, Info::MinEl, Info::MaxEl};
};
// The TInterfaceShape of an interface type.
template <class I>
struct TInterfaceShapeFor {
  static PTypeInfo Parent() {
    if constexpr (std::is_void_v<typename I::ParentInterface>)
      return nullptr;
    else
      return TypeInfo<typename I::ParentInterface>();
  }
  static constexpr TInterfaceShape Shape{I::IID, &Parent};
};
// The TPointerShape of a pointer type.
template <class P>
struct TPointerShapeFor {
  static PTypeInfo Referred() {
    using E = std::remove_cv_t<std::remove_pointer_t<P>>;
    if constexpr (std::is_void_v<E>)
      return nullptr;
    else
      return TypeInfo<E>();
  }
  static constexpr TPointerShape Shape{&Referred};
};
// The TInvokableShape of a std::function or function pointer type.
template <class U, class Info>
struct TInvokableShapeFor {
  static constexpr TTypeFn Result() {
    if constexpr (std::is_void_v<typename Info::TResult>)
      return nullptr;
    else
      return &TypeInfo<std::decay_t<typename Info::TResult>>;
  }
  static bool IsEmpty(const void *AValue) { return !*static_cast<const U *>(AValue); }
  static constexpr TInvokableShape Shape{Result(), Info::Params, static_cast<Integer>(Info::Arity),
                                         &IsEmpty};
};

// The handle of a non-class type U (already canonical).
template <class U>
struct THandle {
  using Traits = TValueTraits<U>;
  using Rep = typename Traits::TRep;

  static constexpr TTypeKind Kind() {
    if constexpr (std::is_same_v<U, TWideStringAlias>) {
      return tkWString;
    } else if constexpr (TIsDistinct<U>::value) {
      return THandle<typename TCanonical<typename U::TRepType>::type>::Kind();
    } else if constexpr (std::is_same_v<U, bool> || std::is_enum_v<U>) {
      return tkEnumeration;
    } else if constexpr (std::is_same_v<U, char>) {
      return tkChar;
    } else if constexpr (std::is_same_v<U, char16_t>) {
      return tkWChar;
    } else if constexpr (std::is_integral_v<U>) {
      return sizeof(U) == 8 ? tkInt64 : tkInteger;
    } else if constexpr (std::is_floating_point_v<U> || std::is_same_v<U, Currency> ||
                         std::is_base_of_v<TDateTime, U>) {
      return tkFloat;
    } else if constexpr (std::is_same_v<U, UnicodeString>) {
      return tkUString;
    } else if constexpr (std::is_same_v<U, AnsiString> || std::is_same_v<U, std::string>) {
      return tkLString;
    } else if constexpr (std::is_same_v<U, Variant>) {
      return tkVariant;
    } else if constexpr (std::is_same_v<U, TClass>) {
      return tkClassRef;
    } else if constexpr (TIsVnSet<U>::value) {
      return tkSet;
    } else if constexpr (TIsVector<U>::value) {
      return tkDynArray;
    } else if constexpr (TIsStdArray<U>::value || std::is_array_v<U>) {
      return tkArray;
    } else if constexpr (TIsFunction<U>::value) {
      return tkMethod;
    } else if constexpr (TIsProcPtr<U>::value) {
      return tkProcedure;
    } else if constexpr (std::is_pointer_v<U>) {
      return tkPointer;
    } else if constexpr (VnInterfaceType<U>) {
      return tkInterface;
    } else {
      return tkRecord;
    }
  }
  static constexpr Byte SubType() {
    if constexpr (TIsDistinct<U>::value) {
      if constexpr (std::is_same_v<U, TExtendedAlias>)
        return ftExtended;
      else
        return THandle<typename TCanonical<typename U::TRepType>::type>::SubType();
    } else if constexpr (std::is_same_v<U, char>) {
      return otUByte;
    } else if constexpr (std::is_integral_v<U> || std::is_enum_v<U>) {
      return OrdTypeOf<U>();
    } else if constexpr (std::is_same_v<U, float>) {
      return ftSingle;
    } else if constexpr (std::is_same_v<U, Currency>) {
      return ftCurr;
    } else if constexpr (std::is_floating_point_v<U> || std::is_base_of_v<TDateTime, U>) {
      return ftDouble;
    } else if constexpr (std::is_same_v<U, std::string>) {
      return akRawByteString;
    } else if constexpr (TIsVnSet<U>::value) {
      return otUQWord;
    } else {
      return 0;
    }
  }
  static constexpr TDateKind DateKind() {
    if constexpr (TIsDistinct<U>::value)
      return THandle<typename U::TRepType>::DateKind();
    else if constexpr (std::is_base_of_v<TDate, U>)
      return dkDate;
    else if constexpr (std::is_base_of_v<TTime, U>)
      return dkTime;
    else if constexpr (std::is_base_of_v<TDateTime, U>)
      return dkDateTime;
    else
      return dkNone;
  }
  static constexpr const void *Shape() {
    if constexpr (TIsDistinct<U>::value) {
      return THandle<typename TCanonical<typename U::TRepType>::type>::Shape();
    } else if constexpr (TIsVnSet<U>::value) {
      return &TSetShapeFor<U>::Shape;
    } else if constexpr (TIsVector<U>::value || TIsStdArray<U>::value || std::is_array_v<U>) {
      return &TArrayOps<U>::Shape;
    } else if constexpr (TIsFunction<U>::value) {
      return &TInvokableShapeFor<U, TIsFunction<U>>::Shape;
    } else if constexpr (TIsProcPtr<U>::value) {
      return &TInvokableShapeFor<U, TIsProcPtr<U>>::Shape;
    } else if constexpr (std::is_pointer_v<U>) {
      return &TPointerShapeFor<U>::Shape;
    } else if constexpr (VnInterfaceType<U>) {
      return &TInterfaceShapeFor<U>::Shape;
    } else {
      return nullptr;
    }
  }
  static constexpr const char16_t *Unit() {
    if constexpr (TIsDistinct<U>::value)
      return U::TTagType::UnitName;
    else
      return nullptr;
  }
  static_assert(!std::is_same_v<U, long double>, "long double has no type handle");

  static constinit inline TTypeInfo Value{
      Kind(),
      SubType(),
      DateKind(),
      static_cast<std::uint32_t>(sizeof(Rep)),
      static_cast<std::uint32_t>(alignof(Rep)),
      std::is_trivially_copyable_v<Rep> &&std::is_trivially_destructible_v<Rep>,
      FitsInline<Rep>(),
      &TOpsFor<Rep>::Ops,
      &DefaultNameOf<U>,
      Unit(),
      Shape()};
};

}  // namespace detail

// The type handle of T. Classes (and pointers to them) have the handle of their class,
// `DelphiInterface<I>` that of I, and integers of one width and sign share a handle.
template <class T>
PTypeInfo TypeInfo() {
  using K = typename detail::THandleKey<std::remove_cv_t<T>>::type;
  if constexpr (detail::VnObjectClass<K>)
    return detail::ClassTypeInfo(K::StaticClass());
  else
    return &detail::THandle<K>::Value;
}

// ---------------------------------------------------------------------------------------------
// TValue templates.

template <class T, class A>
void TValue::Emplace(A &&AValue) {
  using Rep = typename detail::TValueTraits<T>::TRep;
  PTypeInfo t = TypeInfo<T>();
  if constexpr (detail::FitsInline<Rep>() && !std::is_array_v<Rep>) {
    ::new (static_cast<void *>(FData)) Rep(std::forward<A>(AValue));
    FTypeInfo = t;
  } else {
    void *p = Prepare(t);
    try {
      if constexpr (std::is_array_v<Rep>)
        detail::TOpsFor<Rep>::Copy(p, &AValue);
      else
        ::new (p) Rep(std::forward<A>(AValue));
    } catch (...) {
      Abandon();
      throw;
    }
  }
}

template <class T>
requires std::is_base_of_v<TObject, T> TValue::TValue(T *AObject) {
  PTypeInfo t = AObject ? AObject->ClassType()->ClassInfo() : TypeInfo<std::remove_cv_t<T>>();
  TObject *o = const_cast<std::remove_cv_t<T> *>(AObject);
  std::memcpy(FData, &o, sizeof o);
  FTypeInfo = t;
}

template <class I>
requires std::is_base_of_v<IInterface, I> TValue::TValue(const DelphiInterface<I> &AValue) {
  Emplace<DelphiInterface<I>>(AValue);
}

template <class T>
TValue TValue::From(
    const std::type_identity_t<typename detail::TValueTraits<T>::TValueType> &AValue) {
  TValue v;
  v.Emplace<T>(detail::TValueTraits<T>::ToRep(AValue));
  return v;
}

template <class T>
bool TValue::IsType() const {
  PTypeInfo t = TypeInfo<T>();
  if (FTypeInfo == t) return true;
  if constexpr (detail::VnObjectClass<typename detail::THandleKey<std::remove_cv_t<T>>::type>) {
    if (GetTypeKind() == tkClass) {
      TObject *o = AsObject();
      return !o || o->InheritsFrom(t->FClass);
    }
  }
  return false;
}

template <class T>
bool TValue::TryAsType(typename detail::TValueTraits<T>::TValueType &AResult) const {
  using Tr = detail::TValueTraits<T>;
  using Rep = typename Tr::TRep;
  PTypeInfo t = TypeInfo<T>();
  if (FTypeInfo == t) [[likely]] {
    // The handle tells where the value lives, and so does T.
    if constexpr (detail::FitsInline<Rep>() && !std::is_array_v<Rep>)
      AResult = Tr::FromRep(*std::launder(reinterpret_cast<const Rep *>(FData)));
    else
      AResult = Tr::FromRep(*static_cast<const Rep *>(Raw()));
    return true;
  }
  if constexpr (detail::VnObjectClass<typename detail::THandleKey<std::remove_cv_t<T>>::type>) {
    if (!FTypeInfo || GetTypeKind() != tkClass) return false;
    TObject *o = *static_cast<TObject *const *>(Raw());
    if (o && !o->InheritsFrom(t->FClass)) return false;
    AResult = Tr::FromRep(o);
    return true;
  } else {
    TValue r;
    if (!ToType(t, r)) return false;
    AResult = Tr::FromRep(*static_cast<const Rep *>(r.Raw()));
    return true;
  }
}

template <class T>
typename detail::TValueTraits<T>::TValueType TValue::AsType() const {
  typename detail::TValueTraits<T>::TValueType r{};
  if (!TryAsType<T>(r)) detail::RaiseInvalidCastValue();
  return r;
}

namespace detail {
template <class A>
void TArrayOps<A>::GetElement(const void *AArray, Integer AIndex, TValue &AResult) {
  Check(AArray, AIndex);
  AResult = TValue::From<E>(TValueTraits<E>::FromRep(Acc::At(AArray, AIndex)));
}
template <class A>
void TArrayOps<A>::SetElement(void *AArray, Integer AIndex, const TValue &AValue) {
  Check(AArray, AIndex);
  Acc::At(AArray, AIndex) = AValue.AsType<E>();
}
}  // namespace detail

// ---------------------------------------------------------------------------------------------
// Registration.

namespace detail {

// What a registration block collects; committed to the table in one step.
struct TRegistration {
  PTypeInfo Handle = nullptr;
  UnicodeString Name;
  UnicodeString UnitName;
  std::vector<TCustomAttribute *> Attributes;
  std::vector<std::unique_ptr<TRttiField>> Fields;
  std::vector<std::unique_ptr<TRttiProperty>> Properties;
  std::vector<std::unique_ptr<TRttiIndexedProperty>> IndexedProperties;
  std::vector<std::unique_ptr<TRttiMethod>> Methods;
  std::vector<UnicodeString> EnumNames;
  Int64 EnumMin = 0;
  bool HasEnumNames = false;
  UnicodeString SchemaName;
  bool CustomSimple = false;
  std::vector<UnicodeString> ParamNames;

  TRegistration() = default;
  TRegistration(const TRegistration &) = delete;
  TRegistration &operator=(const TRegistration &) = delete;
  ~TRegistration();
};

// Enters a registration into the table. The first registration of a type stands; a later one
// is dropped with its attributes.
PTypeInfo Commit(TRegistration &ARegistration);

// Sets the protected fields of descriptions and members.
struct TRttiAccess {
  static void InitMember(TRttiDataMember &AMember, UnicodeString AName, PTypeInfo AType,
                         TMemberVisibility AVisibility, std::vector<TCustomAttribute *> AAttrs);
  static void InitIndexed(TRttiIndexedProperty &AMember, UnicodeString AName, PTypeInfo AType,
                          TMemberVisibility AVisibility, std::vector<TCustomAttribute *> AAttrs);
  static void InitMethod(TRttiMethod &AMethod, UnicodeString AName, TMemberVisibility AVisibility,
                         std::vector<TCustomAttribute *> AAttrs, PTypeInfo AResult,
                         std::span<const PTypeInfo> AParams,
                         std::span<const UnicodeString> AParamNames, bool AStatic,
                         bool AConstructor);
};

template <class T>
concept VnStructured = (std::is_class_v<T> && !TIsVector<T>::value && !TIsStdArray<T>::value &&
                        !TIsVnSet<T>::value && !TIsFunction<T>::value && !TIsDistinct<T>::value &&
                        !VnInterfaceType<T>);

// The instance of a member access: a record's address, or an object as TObject *.
template <class C>
C *InstanceOf(const void *AInstance) {
  void *p = const_cast<void *>(AInstance);
  if constexpr (VnObjectClass<C>)
    return static_cast<C *>(static_cast<TObject *>(p));
  else
    return static_cast<C *>(p);
}

// Reads and writes values of a declared type D from and to C++ values of type M.
template <class D, class M>
struct TMemberIO {
  using DT = TValueTraits<D>;
  static_assert(std::is_same_v<typename DT::TRep, typename TValueTraits<M>::TRep> ||
                    std::is_convertible_v<M, typename DT::TValueType>,
                "the declared type of a member must share the member's representation");
  static TValue Read(const M &AValue) { return TValue::From<D>(AValue); }
  template <class MM = M>
  static MM Write(const TValue &AValue) {
    if constexpr (VnObjectPointer<MM>)
      return AValue.AsType<std::remove_pointer_t<MM>>();
    else
      return static_cast<MM>(AValue.AsType<D>());
  }
};

// Whether a member of C++ type M read as declared type D is stored as D's value: reading it is
// a copy of what lies there.
template <class D, class M>
inline constexpr bool TMemberInPlace =
    !std::is_array_v<M> && std::is_same_v<std::remove_cv_t<M>, typename TValueTraits<D>::TRep>;

[[noreturn]] void RaiseNotReadable(const UnicodeString &AName);
[[noreturn]] void RaiseNotWritable(const UnicodeString &AName);
[[noreturn]] void RaiseNilInstance();

// A registered field's description: reads and writes the member through its pointer.
template <class C, class M, class D>
class TFieldImpl final : public TRttiField {
  static constexpr bool cInPlace = TMemberInPlace<D, M>;

 public:
  explicit TFieldImpl(M C::*AMember) : FMember(AMember) {}
  using TRttiDataMember::GetValue;
  using TRttiDataMember::SetValue;
  TValue GetValue(const void *AInstance) const override {
    if (!AInstance) RaiseNilInstance();
    return TMemberIO<D, M>::Read(InstanceOf<C>(AInstance)->*FMember);
  }
  const void *GetDataAddress(const void *AInstance) const noexcept override {
    if constexpr (cInPlace)
      return AInstance ? &(InstanceOf<C>(AInstance)->*FMember) : nullptr;
    else
      return nullptr;
  }
  void TakeValue(void *AInstance, TValue &AValue) const override {
    if constexpr (cInPlace && !std::is_trivially_copyable_v<M>) {
      if (AInstance && AValue.GetTypeInfo() == TypeInfo<D>()) {
        InstanceOf<C>(AInstance)->*FMember =
            std::move(*static_cast<M *>(AValue.GetReferenceToRawData()));
        return;
      }
    }
    SetValue(AInstance, AValue);
  }
  void SetValue(void *AInstance, const TValue &AValue) const override {
    if (!AInstance) RaiseNilInstance();
    if constexpr (std::is_array_v<M>) {
      const TValue v = AValue.Cast(TypeInfo<D>());
      TOpsFor<M>::Assign(&(InstanceOf<C>(AInstance)->*FMember), v.GetReferenceToRawData());
    } else {
      InstanceOf<C>(AInstance)->*FMember = TMemberIO<D, M>::Write(AValue);
    }
  }

 private:
  M C::*FMember;
};

// Member-function shapes.
template <class F>
struct TMemberFn;
#define VN_RTTI_MEMBER_FN(CV, NOEXCEPT)                \
  template <class R, class C, class... A>              \
  struct TMemberFn<R (C::*)(A...) CV NOEXCEPT> {       \
    using TClassType = C;                              \
    using TResult = R;                                 \
    using TArgs = std::tuple<A...>;                    \
    static constexpr std::size_t Arity = sizeof...(A); \
  };
VN_RTTI_MEMBER_FN(, )
VN_RTTI_MEMBER_FN(const, )
VN_RTTI_MEMBER_FN(, noexcept)
VN_RTTI_MEMBER_FN(const, noexcept)
#undef VN_RTTI_MEMBER_FN

template <class F>
concept VnMemberFunction = std::is_member_function_pointer_v<F>;
template <class F>
concept VnMemberData = std::is_member_object_pointer_v<F>;

template <class F>
struct TMemberDataOf;
template <class M, class C>
struct TMemberDataOf<M C::*> {
  using TClassType = C;
  using TType = M;
};

// The type a property getter or setter handles.
template <class G, class S>
struct TPropertyTypeOf {
  static auto Pick() {
    if constexpr (VnMemberData<G>)
      return std::type_identity<typename TMemberDataOf<G>::TType>();
    else if constexpr (VnMemberFunction<G>)
      return std::type_identity<std::remove_cvref_t<typename TMemberFn<G>::TResult>>();
    else if constexpr (VnMemberData<S>)
      return std::type_identity<typename TMemberDataOf<S>::TType>();
    else
      return std::type_identity<
          std::remove_cvref_t<std::tuple_element_t<0, typename TMemberFn<S>::TArgs>>>();
  }
  using type = typename decltype(Pick())::type;
};

// A registered property's description: reads by its getter and writes by its setter.
template <class C, class M, class D, class G, class S>
class TPropertyImpl final : public TRttiProperty {
 public:
  TPropertyImpl(G AGetter, S ASetter) : FGetter(AGetter), FSetter(ASetter) {}
  using TRttiDataMember::GetValue;
  using TRttiDataMember::SetValue;
  bool IsReadable() const noexcept override { return !std::is_null_pointer_v<G>; }
  bool IsWritable() const noexcept override { return !std::is_null_pointer_v<S>; }
  const void *GetDataAddress(const void *AInstance) const noexcept override {
    if constexpr (VnMemberData<G> && TMemberInPlace<D, M>)
      return AInstance ? &(InstanceOf<C>(AInstance)->*FGetter) : nullptr;
    else
      return nullptr;
  }
  TValue GetValue(const void *AInstance) const override {
    if constexpr (std::is_null_pointer_v<G>) {
      RaiseNotReadable(GetName());
    } else {
      if (!AInstance) RaiseNilInstance();
      C *obj = InstanceOf<C>(AInstance);
      if constexpr (VnMemberData<G>)
        return TMemberIO<D, M>::Read(obj->*FGetter);
      else
        return TMemberIO<D, M>::Read((obj->*FGetter)());
    }
  }
  void SetValue(void *AInstance, const TValue &AValue) const override {
    if constexpr (std::is_null_pointer_v<S>) {
      RaiseNotWritable(GetName());
    } else {
      if (!AInstance) RaiseNilInstance();
      C *obj = InstanceOf<C>(AInstance);
      if constexpr (VnMemberData<S>)
        obj->*FSetter = TMemberIO<D, M>::Write(AValue);
      else
        (obj->*FSetter)(TMemberIO<D, M>::Write(AValue));
    }
  }
  void TakeValue(void *AInstance, TValue &AValue) const override {
    if constexpr (!std::is_null_pointer_v<S> && TMemberInPlace<D, M> &&
                  !std::is_trivially_copyable_v<M>) {
      if (AInstance && AValue.GetTypeInfo() == TypeInfo<D>()) {
        C *obj = InstanceOf<C>(AInstance);
        M &value = *static_cast<M *>(AValue.GetReferenceToRawData());
        if constexpr (VnMemberData<S>)
          obj->*FSetter = std::move(value);
        else
          (obj->*FSetter)(std::move(value));
        return;
      }
    }
    SetValue(AInstance, AValue);
  }

 private:
  G FGetter;
  S FSetter;
};

// A registered indexed property's description: getter and setter take one index.
template <class C, class M, class I, class G, class S>
class TIndexedImpl final : public TRttiIndexedProperty {
 public:
  TIndexedImpl(G AGetter, S ASetter) : FGetter(AGetter), FSetter(ASetter) {}
  using TRttiIndexedProperty::GetValue;
  using TRttiIndexedProperty::SetValue;
  bool IsReadable() const noexcept override { return !std::is_null_pointer_v<G>; }
  bool IsWritable() const noexcept override { return !std::is_null_pointer_v<S>; }
  TValue GetValue(const void *AInstance, std::span<const TValue> AIndex) const override {
    if constexpr (std::is_null_pointer_v<G>) {
      RaiseNotReadable(GetName());
    } else {
      if (!AInstance) RaiseNilInstance();
      CheckIndex(AIndex);
      return TMemberIO<M, M>::Read((InstanceOf<C>(AInstance)->*FGetter)(AIndex[0].AsType<I>()));
    }
  }
  void SetValue(void *AInstance, std::span<const TValue> AIndex,
                const TValue &AValue) const override {
    if constexpr (std::is_null_pointer_v<S>) {
      RaiseNotWritable(GetName());
    } else {
      if (!AInstance) RaiseNilInstance();
      CheckIndex(AIndex);
      (InstanceOf<C>(AInstance)->*FSetter)(AIndex[0].AsType<I>(), TMemberIO<M, M>::Write(AValue));
    }
  }

 private:
  static void CheckIndex(std::span<const TValue> AIndex);
  G FGetter;
  S FSetter;
};

[[noreturn]] void RaiseParameterCount(const UnicodeString &AName, Integer AExpected,
                                      Integer AGiven);
void CheckParameterCount(const UnicodeString &AName, Integer AExpected, std::size_t AGiven);

template <class C, class M, class I, class G, class S>
void TIndexedImpl<C, M, I, G, S>::CheckIndex(std::span<const TValue> AIndex) {
  if (AIndex.size() != 1) RaiseParameterCount(u"index", 1, static_cast<Integer>(AIndex.size()));
}

template <class R>
TValue ResultOf(R &&AValue) {
  using D = std::remove_cvref_t<R>;
  return TValue::From<D>(std::forward<R>(AValue));
}

// A registered method's description: invokes the member function with TValue arguments.
template <class F>
class TMethodImpl final : public TRttiMethod {
  using Fn = TMemberFn<F>;
  using C = typename Fn::TClassType;
  using R = typename Fn::TResult;

 public:
  explicit TMethodImpl(F AMethod) : FMethod(AMethod) {}

 protected:
  TValue DoInvoke(void *AInstance, TClass, std::span<const TValue> AArgs) const override {
    CheckParameterCount(GetName(), static_cast<Integer>(Fn::Arity), AArgs.size());
    if (!AInstance) RaiseNilInstance();
    C *obj = InstanceOf<C>(AInstance);
    return Call(obj, AArgs, std::make_index_sequence<Fn::Arity>());
  }

 private:
  template <std::size_t... Is>
  TValue Call(C *AObj, std::span<const TValue> AArgs, std::index_sequence<Is...>) const {
    using Args = typename Fn::TArgs;
    if constexpr (std::is_void_v<R>) {
      (AObj->*FMethod)(
          AArgs[Is].template AsType<std::remove_cvref_t<std::tuple_element_t<Is, Args>>>()...);
      return TValue();
    } else {
      return ResultOf((AObj->*FMethod)(
          AArgs[Is].template AsType<std::remove_cvref_t<std::tuple_element_t<Is, Args>>>()...));
    }
  }
  F FMethod;
};

// A class method or other static routine.
template <class R, class... A>
class TStaticMethodImpl final : public TRttiMethod {
 public:
  explicit TStaticMethodImpl(R (*AFn)(A...)) : FFn(AFn) {}

 protected:
  TValue DoInvoke(void *, TClass, std::span<const TValue> AArgs) const override {
    CheckParameterCount(GetName(), static_cast<Integer>(sizeof...(A)), AArgs.size());
    return Call(AArgs, std::index_sequence_for<A...>());
  }

 private:
  template <std::size_t... Is>
  TValue Call(std::span<const TValue> AArgs, std::index_sequence<Is...>) const {
    if constexpr (std::is_void_v<R>) {
      FFn(AArgs[Is].template AsType<std::remove_cvref_t<A>>()...);
      return TValue();
    } else {
      return ResultOf(FFn(AArgs[Is].template AsType<std::remove_cvref_t<A>>()...));
    }
  }
  R (*FFn)(A...);
};

std::vector<TCustomAttribute *> TakeAttributes(std::initializer_list<TCustomAttribute *> AAttrs);

}  // namespace detail

// The block of a registration: `R` in VN_RTTI. Each operation returns the builder so that
// calls may be chained.
template <class T>
class TTypeBuilder {
 public:
  using TType = T;

  explicit TTypeBuilder(PTypeInfo AHandle, UnicodeString AUnitName) {
    FReg.Handle = AHandle;
    FReg.UnitName = std::move(AUnitName);
  }

  // The type's name in place of the one taken from the declaration: the name of a generic
  // instance with its type arguments ("TObjectList<uShop.TItem>"), or a name for an array or
  // set type.
  TTypeBuilder &Name(UnicodeString AName) {
    FReg.Name = std::move(AName);
    return *this;
  }
  // An attribute of the type itself (a hint on an enumeration ...).
  TTypeBuilder &Attribute(TCustomAttribute *AAttribute) {
    FReg.Attributes.push_back(AAttribute);
    return *this;
  }

  // Enumerations: the names of the values in order of their ordinals, from AMinValue on.
  TTypeBuilder &Names(std::initializer_list<UnicodeString> ANames,
                      Int64 AMinValue = 0) requires std::is_enum_v<T> {
    FReg.EnumNames.assign(ANames.begin(), ANames.end());
    FReg.EnumMin = AMinValue;
    FReg.HasEnumNames = true;
    return *this;
  }

  // Events and routines: the names of the parameters.
  TTypeBuilder &ParamNames(std::initializer_list<UnicodeString> ANames) requires(
      detail::TIsFunction<T>::value || detail::TIsProcPtr<T>::value) {
    FReg.ParamNames.assign(ANames.begin(), ANames.end());
    return *this;
  }

  // A record that stands for one simple value, with the XML Schema name of that value.
  TTypeBuilder &CustomSimple(UnicodeString ASchemaName) requires(detail::VnStructured<T> &&
                                                                 !detail::VnObjectClass<T>) {
    FReg.CustomSimple = true;
    FReg.SchemaName = std::move(ASchemaName);
    return *this;
  }

  // A field, by pointer to member: `R.Field(u"Id", &T::Id)`. TDecl gives a declared type that
  // shares the member's representation (`R.Field<TVnXMLStringAlias>(u"Body", &T::Body)`).
  template <class TDecl = void, class M, class C>
  requires(detail::VnStructured<T> && !std::is_function_v<M> && std::is_base_of_v<C, T>)
      TTypeBuilder &Field(UnicodeString AName, M C::*AMember,
                          TMemberVisibility AVisibility = mvPublic,
                          std::initializer_list<TCustomAttribute *> AAttributes = {}) {
    using D = std::conditional_t<std::is_void_v<TDecl>, M, TDecl>;
    auto f = std::make_unique<detail::TFieldImpl<C, M, D>>(AMember);
    detail::TRttiAccess::InitMember(*f, std::move(AName), TypeInfo<D>(), AVisibility,
                                    detail::TakeAttributes(AAttributes));
    FReg.Fields.push_back(std::move(f));
    return *this;
  }

  // A property with a getter and a setter, each a member function, a pointer to a field, or
  // nullptr (write-only, read-only): `R.Property(u"Name", &T::GetName, &T::SetName)`.
  template <class TDecl = void, class G, class S>
  requires detail::VnStructured<T> TTypeBuilder &Property(
      UnicodeString AName, G AGetter, S ASetter, TMemberVisibility AVisibility = mvPublished,
      std::initializer_list<TCustomAttribute *> AAttributes = {}) {
    static_assert(!(std::is_null_pointer_v<G> && std::is_null_pointer_v<S>),
                  "a property needs a getter or a setter");
    using M = typename detail::TPropertyTypeOf<G, S>::type;
    using D = std::conditional_t<std::is_void_v<TDecl>, M, TDecl>;
    using C = typename ClassOf<G, S>::type;
    static_assert(std::is_base_of_v<C, T>, "the accessors must belong to the type or a base");
    auto p = std::make_unique<detail::TPropertyImpl<C, M, D, G, S>>(AGetter, ASetter);
    detail::TRttiAccess::InitMember(*p, std::move(AName), TypeInfo<D>(), AVisibility,
                                    detail::TakeAttributes(AAttributes));
    FReg.Properties.push_back(std::move(p));
    return *this;
  }

  // A property with one index argument: `R.IndexedProperty(u"Items", &T::Get, &T::Put)`;
  // either accessor may be nullptr.
  template <class G, class S>
  requires detail::VnStructured<T> TTypeBuilder &IndexedProperty(
      UnicodeString AName, G AGetter, S ASetter, TMemberVisibility AVisibility = mvPublic,
      std::initializer_list<TCustomAttribute *> AAttributes = {}) {
    using C = typename ClassOf<G, S>::type;
    using Src = std::conditional_t<std::is_null_pointer_v<G>, S, G>;
    using I = std::remove_cvref_t<std::tuple_element_t<0, typename detail::TMemberFn<Src>::TArgs>>;
    using M = typename IndexedTypeOf<G, S>::type;
    auto p = std::make_unique<detail::TIndexedImpl<C, M, I, G, S>>(AGetter, ASetter);
    detail::TRttiAccess::InitIndexed(*p, std::move(AName), TypeInfo<M>(), AVisibility,
                                     detail::TakeAttributes(AAttributes));
    FReg.IndexedProperties.push_back(std::move(p));
    return *this;
  }

  // A method, by pointer to member function, or a static function as a class method. The
  // parameters are named by AParamNames ("A1", "A2" ... for names not given).
  template <class F>
  requires detail::VnStructured<T> TTypeBuilder &Method(
      UnicodeString AName, F AMethod, TMemberVisibility AVisibility = mvPublic,
      std::initializer_list<UnicodeString> AParamNames = {},
      std::initializer_list<TCustomAttribute *> AAttributes = {}) {
    std::unique_ptr<TRttiMethod> m;
    PTypeInfo result = nullptr;
    std::vector<PTypeInfo> params;
    bool isStatic = false;
    if constexpr (detail::VnMemberFunction<F>) {
      using Fn = detail::TMemberFn<F>;
      static_assert(std::is_base_of_v<typename Fn::TClassType, T>,
                    "the method must belong to the type or a base");
      if constexpr (!std::is_void_v<typename Fn::TResult>)
        result = TypeInfo<std::remove_cvref_t<typename Fn::TResult>>();
      ParamTypes<typename Fn::TArgs>(params, std::make_index_sequence<Fn::Arity>());
      m = std::make_unique<detail::TMethodImpl<F>>(AMethod);
    } else {
      static_assert(detail::TIsProcPtr<F>::value, "a method is a member function or a function");
      using P = detail::TIsProcPtr<F>;
      if constexpr (!std::is_void_v<typename P::TResult>)
        result = TypeInfo<std::remove_cvref_t<typename P::TResult>>();
      for (std::size_t i = 0; i < P::Arity; ++i) params.push_back(P::Params[i]());
      m = MakeStatic(AMethod);
      isStatic = true;
    }
    std::vector<UnicodeString> names(AParamNames.begin(), AParamNames.end());
    detail::TRttiAccess::InitMethod(*m, std::move(AName), AVisibility,
                                    detail::TakeAttributes(AAttributes), result, params, names,
                                    isStatic, false);
    FReg.Methods.push_back(std::move(m));
    return *this;
  }

  detail::TRegistration &Data() noexcept { return FReg; }

 private:
  template <class G, class S>
  struct ClassOf {
    static auto Pick() {
      using Src = std::conditional_t<std::is_null_pointer_v<G>, S, G>;
      if constexpr (detail::VnMemberData<Src>)
        return std::type_identity<typename detail::TMemberDataOf<Src>::TClassType>();
      else
        return std::type_identity<typename detail::TMemberFn<Src>::TClassType>();
    }
    using type = typename decltype(Pick())::type;
  };
  template <class G, class S>
  struct IndexedTypeOf {
    static auto Pick() {
      if constexpr (!std::is_null_pointer_v<G>)
        return std::type_identity<std::remove_cvref_t<typename detail::TMemberFn<G>::TResult>>();
      else
        return std::type_identity<
            std::remove_cvref_t<std::tuple_element_t<1, typename detail::TMemberFn<S>::TArgs>>>();
    }
    using type = typename decltype(Pick())::type;
  };
  template <class Tuple, std::size_t... Is>
  static void ParamTypes(std::vector<PTypeInfo> &AOut, std::index_sequence<Is...>) {
    (AOut.push_back(TypeInfo<std::remove_cvref_t<std::tuple_element_t<Is, Tuple>>>()), ...);
  }
  template <class R, class... A>
  static std::unique_ptr<TRttiMethod> MakeStatic(R (*AFn)(A...)) {
    return std::make_unique<detail::TStaticMethodImpl<R, A...>>(AFn);
  }

  detail::TRegistration FReg;
};

// Registers T with its unit name; ADescribe fills the builder. Returns the type handle.
// Registering a type again is harmless: the first registration stands.
template <class T, class F>
PTypeInfo RegisterType(UnicodeString AUnitName, F &&ADescribe) {
  TTypeBuilder<T> b(TypeInfo<T>(), std::move(AUnitName));
  ADescribe(b);
  return detail::Commit(b.Data());
}
template <class T>
PTypeInfo RegisterType(UnicodeString AUnitName) {
  return RegisterType<T>(std::move(AUnitName), [](TTypeBuilder<T> &) {});
}

}  // namespace vn

#define VN_RTTI_CAT2(A, B) A##B
#define VN_RTTI_CAT(A, B) VN_RTTI_CAT2(A, B)

// A registration block, written at namespace scope in the namespace of the type:
//
//   VN_RTTI(TOrder, u"uShop") {
//     R.Field(u"Id", &TOrder::Id);
//   }
//
// It runs at start-up. The type's name is its name in the declaration (R.Name sets another).
// A block may stand in a header: every translation unit registers it, and the first stands.
#define VN_RTTI(Type, UnitName)                                                            \
  inline void VnDescribeType(::vn::TTypeBuilder<Type> &R);                                 \
  [[maybe_unused]] static const ::vn::PTypeInfo VN_RTTI_CAT(vnRttiRegistered_, __LINE__) = \
      ::vn::RegisterType<Type>(UnitName, [](::vn::TTypeBuilder<Type> &B) {                 \
        B.Name(::vn::detail::TypeNameFromCompiler(#Type));                                 \
        VnDescribeType(B);                                                                 \
      });                                                                                  \
  inline void VnDescribeType([[maybe_unused]] ::vn::TTypeBuilder<Type> &R)

// Inside a class whose private or protected members its registration block lists.
#define VN_RTTI_FRIEND(Type) friend void VnDescribeType(::vn::TTypeBuilder<Type> &R);
