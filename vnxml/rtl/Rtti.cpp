// The reflection table: descriptions made on first use, registration, the class table, and the
// library's own types.
#include "vnxml/rtl/Rtti.h"

#include <limits>
#include <mutex>

#include "vnxml/rtl/Classes.h"
#include "vnxml/rtl/Streams.h"

namespace vn {

namespace detail {
namespace {

// The table. It is made on first use and lives as long as the process, so that descriptions
// stay valid in the destructors of static objects.
struct TRegistry {
  std::recursive_mutex Lock;
  // Registered types, in order of registration (the library's first).
  std::vector<PTypeInfo> Registered;
  std::vector<std::unique_ptr<TTypeInfo>> ClassHandles;
  std::vector<std::unique_ptr<TRttiType>> Types;
  std::vector<TClass> Classes;
  // 0: the library's types are not registered yet, 1: being registered, 2: done.
  std::atomic<int> BuiltinState{0};
  // Moves on with every registration, so that cached member lists are made again.
  std::atomic<UInt64> Generation{1};
};

TRegistry &Reg() {
  static TRegistry *r = new TRegistry;
  return *r;
}

void RegisterBuiltins();

// Called with the lock held. A call made while the library's types are being registered (by
// that same registration) returns at once.
void EnsureBuiltinsLocked() {
  TRegistry &r = Reg();
  if (r.BuiltinState.load(std::memory_order_acquire) != 0) return;
  r.BuiltinState.store(1, std::memory_order_release);
  RegisterBuiltins();
  r.BuiltinState.store(2, std::memory_order_release);
}

void EnsureBuiltins() {
  TRegistry &r = Reg();
  if (r.BuiltinState.load(std::memory_order_acquire) == 2) return;
  std::lock_guard g(r.Lock);
  EnsureBuiltinsLocked();
}

UnicodeString Qualify(const UnicodeString &AUnit, const UnicodeString &AName) {
  return AUnit.empty() ? AName : AUnit + u"." + AName;
}

}  // namespace

UInt64 RegistrationGeneration() noexcept {
  return Reg().Generation.load(std::memory_order_acquire);
}

std::vector<PTypeInfo> RegisteredTypes() {
  EnsureBuiltins();
  TRegistry &r = Reg();
  std::lock_guard g(r.Lock);
  return r.Registered;
}

// ---------------------------------------------------------------------------------------------
// Access to the protected parts of descriptions.

struct TDescribe {
  // A type of a kind that needs no subclass of its own (Variant).
  class TPlainType final : public TRttiType {
   public:
    explicit TPlainType(PTypeInfo AHandle) : TRttiType(AHandle) {}
  };

  // The constructors of a class, invoked through its class reference.
  class TConstructor final : public TRttiMethod {
   public:
    explicit TConstructor(bool AOwned) : FOwned(AOwned) {}

   protected:
    TValue DoInvoke(void *, TClass AClass, std::span<const TValue> AArgs) const override {
      CheckParameterCount(GetName(), FOwned ? 1 : 0, AArgs.size());
      if (!AClass) AClass = GetParent()->GetHandle()->FClass;
      TObject *obj = FOwned ? AClass->CreateOwned(AArgs[0].AsType<TComponent>()) : AClass->Create();
      return TValue(obj);
    }

   private:
    bool FOwned;
  };

  template <class T>
  static T *New(PTypeInfo AHandle) {
    return new T(AHandle);
  }

  static void SetNames(TRttiType &AType, UnicodeString AName, UnicodeString AUnit) {
    AType.FName = std::move(AName);
    AType.FUnitName = std::move(AUnit);
    AType.FQualifiedName = Qualify(AType.FUnitName, AType.FName);
  }

  static void OrdinalRange(TRttiOrdinalType &AType, TOrdType AOrd) {
    switch (AOrd) {
      case otSByte:
        AType.FMinValue = -128, AType.FMaxValue = 127;
        break;
      case otUByte:
        AType.FMinValue = 0, AType.FMaxValue = 255;
        break;
      case otSWord:
        AType.FMinValue = -32768, AType.FMaxValue = 32767;
        break;
      case otUWord:
        AType.FMinValue = 0, AType.FMaxValue = 65535;
        break;
      case otSLong:
        AType.FMinValue = std::numeric_limits<Integer>::min();
        AType.FMaxValue = std::numeric_limits<Integer>::max();
        break;
      case otULong:
        AType.FMinValue = 0, AType.FMaxValue = std::numeric_limits<LongWord>::max();
        break;
      case otSQWord:
        AType.FMinValue = std::numeric_limits<Int64>::min();
        AType.FMaxValue = std::numeric_limits<Int64>::max();
        break;
      case otUQWord:
        AType.FMinValue = 0, AType.FMaxValue = std::numeric_limits<Int64>::max();
        break;
    }
  }

  static UnicodeString NameOf(PTypeInfo AType) { return AType ? AType->Name() : u"?"; }
  static UnicodeString QualifiedNameOf(PTypeInfo AType) {
    return AType ? AType->RttiType()->GetQualifiedName() : u"?";
  }

  static TRttiParameter *NewParameter(UnicodeString AName, PTypeInfo AType) {
    auto *p = new TRttiParameter();
    p->FName = std::move(AName);
    p->FType = AType;
    return p;
  }

  static void AddConstructor(TRttiInstanceType &AType, bool AOwned) {
    auto *m = new TConstructor(AOwned);
    m->FName = u"Create";
    m->FParent = &AType;
    m->FVisibility = mvPublic;
    m->FIsConstructor = true;
    m->FIsStatic = true;
    m->FReturnType = AType.FHandle;
    if (AOwned) m->FParameters.push_back(NewParameter(u"AOwner", TypeInfo<TComponent>()));
    AType.FMethods.push_back(m);
  }

  // The description of a handle that has none yet. Called with the lock held.
  static TRttiType *Make(PTypeInfo AHandle) {
    const UnicodeString defName = AHandle->FDefaultName ? AHandle->FDefaultName() : u"";
    const UnicodeString defUnit = AHandle->FDefaultUnit ? AHandle->FDefaultUnit : u"";
    // Types of these kinds are fully described without a registration.
    bool known = true;
    TRttiType *t = nullptr;
    switch (AHandle->Kind) {
      case tkInteger:
      case tkChar:
      case tkWChar: {
        auto *o = New<TRttiOrdinalType>(AHandle);
        OrdinalRange(*o, AHandle->OrdType());
        t = o;
        break;
      }
      case tkInt64: {
        auto *o = New<TRttiInt64Type>(AHandle);
        OrdinalRange(*o, AHandle->OrdType());
        t = o;
        break;
      }
      case tkEnumeration: {
        auto *e = New<TRttiEnumerationType>(AHandle);
        if (AHandle == TypeInfo<bool>()) {
          e->FIsBoolean = true;
          e->FNames = {u"False", u"True"};
          e->FMinValue = 0;
          e->FMaxValue = 1;
        } else {
          e->FMinValue = 0;
          e->FMaxValue = -1;
          known = false;
        }
        t = e;
        break;
      }
      case tkFloat:
        t = New<TRttiFloatType>(AHandle);
        break;
      case tkString:
      case tkLString:
      case tkWString:
      case tkUString:
        t = New<TRttiStringType>(AHandle);
        break;
      case tkSet:
        t = New<TRttiSetType>(AHandle);
        break;
      case tkClass: {
        auto *c = New<TRttiInstanceType>(AHandle);
        TClass cls = AHandle->FClass;
        SetNames(*c, cls->ClassName(), u"");
        if (cls->FCreate) AddConstructor(*c, false);
        if (cls->FCreateOwned) AddConstructor(*c, true);
        c->FRegistered.store(true, std::memory_order_release);
        return c;
      }
      case tkMethod:
      case tkProcedure: {
        TRttiInvokableType *m =
            AHandle->Kind == tkMethod
                ? static_cast<TRttiInvokableType *>(New<TRttiMethodType>(AHandle))
                : New<TRttiProcedureType>(AHandle);
        const auto *shape = static_cast<const TInvokableShape *>(AHandle->FShape);
        for (Integer i = 0; i < shape->Count; ++i)
          m->FParameters.push_back(NewParameter(u"A" + IntToStr(i + 1), shape->Params[i]()));
        t = m;
        break;
      }
      case tkInterface:
        t = New<TRttiInterfaceType>(AHandle);
        break;
      case tkArray:
        t = New<TRttiArrayType>(AHandle);
        break;
      case tkDynArray:
        t = New<TRttiDynamicArrayType>(AHandle);
        break;
      case tkRecord:
        t = New<TRttiRecordType>(AHandle);
        known = false;
        break;
      case tkClassRef:
        t = New<TRttiClassRefType>(AHandle);
        break;
      case tkPointer:
        t = New<TRttiPointerType>(AHandle);
        break;
      default:
        t = New<TPlainType>(AHandle);
        break;
    }
    // A distinct type over another is declared with its name and unit.
    if (!defUnit.empty()) known = true;
    t->FRegistered.store(known, std::memory_order_release);
    SetNames(*t, StructuralName(AHandle, defName), defUnit);
    return t;
  }

  // The name of a type that nobody named: arrays, sets, pointers and events by their shape,
  // other types by their declaration.
  static UnicodeString StructuralName(PTypeInfo AHandle, const UnicodeString &ADefault) {
    if (AHandle->FDefaultUnit) return ADefault;
    switch (AHandle->Kind) {
      case tkArray: {
        const auto *s = static_cast<const TArrayShape *>(AHandle->FShape);
        return u"array[0.." + IntToStr(s->Count - 1) + u"] of " + NameOf(s->Element());
      }
      case tkDynArray: {
        const auto *s = static_cast<const TArrayShape *>(AHandle->FShape);
        return u"TArray<" + QualifiedNameOf(s->Element()) + u">";
      }
      case tkSet: {
        const auto *s = static_cast<const TSetShape *>(AHandle->FShape);
        return u"set of " + NameOf(s->Element());
      }
      case tkPointer: {
        const auto *s = static_cast<const TPointerShape *>(AHandle->FShape);
        PTypeInfo r = s->Referred();
        return r ? u"^" + r->Name() : UnicodeString(u"Pointer");
      }
      case tkMethod:
        return u"TMethod";
      case tkProcedure:
        return u"TProcedure";
      default:
        return ADefault;
    }
  }

  static TRttiType *DescribeSlow(PTypeInfo AHandle) {
    TRegistry &r = Reg();
    std::lock_guard g(r.Lock);
    EnsureBuiltinsLocked();
    if (TRttiType *t = AHandle->FRttiType.load(std::memory_order_acquire)) return t;
    std::unique_ptr<TRttiType> t(Make(AHandle));
    TRttiType *p = t.get();
    r.Types.push_back(std::move(t));
    AHandle->FRttiType.store(p, std::memory_order_release);
    return p;
  }

  static PTypeInfo Commit(TRegistration &A) {
    TRegistry &r = Reg();
    std::lock_guard g(r.Lock);
    EnsureBuiltinsLocked();
    TRttiType *t = A.Handle->RttiType();
    if (t->FCommitted) return A.Handle;
    t->FCommitted = true;
    SetNames(*t, A.Name.empty() ? t->FName : A.Name, A.UnitName);
    for (TCustomAttribute *a : A.Attributes) t->FAttributes.push_back(a);
    A.Attributes.clear();
    for (auto &f : A.Fields) {
      f->FParent = t;
      t->FFields.push_back(f.release());
    }
    for (auto &p : A.Properties) {
      p->FParent = t;
      t->FProperties.push_back(p.release());
    }
    for (auto &p : A.IndexedProperties) {
      p->FParent = t;
      t->FIndexedProperties.push_back(p.release());
    }
    for (auto &m : A.Methods) {
      m->FParent = t;
      t->FMethods.push_back(m.release());
    }
    if (A.HasEnumNames && t->GetTypeKind() == tkEnumeration) {
      auto *e = static_cast<TRttiEnumerationType *>(t);
      e->FNames = std::move(A.EnumNames);
      e->FMinValue = A.EnumMin;
      e->FMaxValue = A.EnumMin + static_cast<Int64>(e->FNames.size()) - 1;
    }
    if (A.CustomSimple) {
      t->FCustomSimple = true;
      t->FSchemaName = A.SchemaName;
    }
    if (auto *inv = dynamic_cast<TRttiInvokableType *>(t)) {
      for (std::size_t i = 0; i < A.ParamNames.size() && i < inv->FParameters.size(); ++i)
        inv->FParameters[i]->FName = A.ParamNames[i];
    }
    t->FRegistered.store(true, std::memory_order_release);
    r.Registered.push_back(A.Handle);
    r.Generation.fetch_add(1, std::memory_order_acq_rel);
    return A.Handle;
  }
};

TRegistration::~TRegistration() {
  for (TCustomAttribute *a : Attributes) delete a;
}

PTypeInfo Commit(TRegistration &ARegistration) {
  return TDescribe::Commit(ARegistration);
}

PTypeInfo ClassTypeInfo(TClass AClass) {
  if (!AClass) return nullptr;
  std::atomic_ref<const void *> slot(AClass->FTypeData);
  if (const void *p = slot.load(std::memory_order_acquire)) return static_cast<PTypeInfo>(p);
  TRegistry &r = Reg();
  std::lock_guard g(r.Lock);
  if (const void *p = slot.load(std::memory_order_acquire)) return static_cast<PTypeInfo>(p);
  auto h = std::make_unique<TTypeInfo>(tkClass, 0, dkNone, sizeof(TObject *), alignof(TObject *),
                                       true, true, &TOpsFor<TObject *>::Ops, nullptr, nullptr,
                                       nullptr, AClass);
  PTypeInfo p = h.get();
  r.ClassHandles.push_back(std::move(h));
  slot.store(p, std::memory_order_release);
  return p;
}

void TRttiAccess::InitMember(TRttiDataMember &AMember, UnicodeString AName, PTypeInfo AType,
                             TMemberVisibility AVisibility,
                             std::vector<TCustomAttribute *> AAttrs) {
  AMember.FName = std::move(AName);
  AMember.FDataType = AType;
  AMember.FVisibility = AVisibility;
  AMember.FAttributes = std::move(AAttrs);
}

void TRttiAccess::InitIndexed(TRttiIndexedProperty &AMember, UnicodeString AName, PTypeInfo AType,
                              TMemberVisibility AVisibility,
                              std::vector<TCustomAttribute *> AAttrs) {
  AMember.FName = std::move(AName);
  AMember.FDataType = AType;
  AMember.FVisibility = AVisibility;
  AMember.FAttributes = std::move(AAttrs);
}

void TRttiAccess::InitMethod(TRttiMethod &AMethod, UnicodeString AName,
                             TMemberVisibility AVisibility, std::vector<TCustomAttribute *> AAttrs,
                             PTypeInfo AResult, std::span<const PTypeInfo> AParams,
                             std::span<const UnicodeString> AParamNames, bool AStatic,
                             bool AConstructor) {
  AMethod.FName = std::move(AName);
  AMethod.FVisibility = AVisibility;
  AMethod.FAttributes = std::move(AAttrs);
  AMethod.FReturnType = AResult;
  AMethod.FIsStatic = AStatic;
  AMethod.FIsConstructor = AConstructor;
  for (std::size_t i = 0; i < AParams.size(); ++i) {
    UnicodeString name = i < AParamNames.size() ? AParamNames[i] : u"A" + IntToStr(Int64(i) + 1);
    AMethod.FParameters.push_back(TDescribe::NewParameter(std::move(name), AParams[i]));
  }
}

std::vector<TCustomAttribute *> TakeAttributes(std::initializer_list<TCustomAttribute *> AAttrs) {
  return std::vector<TCustomAttribute *>(AAttrs.begin(), AAttrs.end());
}

UnicodeString TypeNameFromCompiler(std::string_view AText) {
  // Drops the namespaces in front of the name: "shop::TOrder" is "TOrder".
  std::size_t end = AText.find('<');
  std::string_view head = AText.substr(0, end);
  std::size_t cut = head.rfind("::");
  if (cut != std::string_view::npos) AText.remove_prefix(cut + 2);
  return ASCIIToString(AText);
}

void RaiseInvalidCastValue() {
  throw EInvalidCast(u"Invalid class typecast");
}
void RaiseNotCopyable() {
  throw EInvalidOperation(u"Values of this type cannot be copied or created");
}
void RaiseIndexOutOfRange(Integer, Integer) {
  throw EArgumentOutOfRangeException(u"Argument out of range");
}
void RaiseNotReadable(const UnicodeString &AName) {
  throw EPropertyError(u"Property " + AName + u" is write-only");
}
void RaiseNotWritable(const UnicodeString &AName) {
  throw EPropertyError(u"Property " + AName + u" is read-only");
}
void RaiseNilInstance() {
  throw EArgumentNilException(u"Argument must not be nil");
}
void RaiseParameterCount(const UnicodeString &, Integer, Integer) {
  throw EInvocationError(u"Parameter count mismatch");
}
void CheckParameterCount(const UnicodeString &AName, Integer AExpected, std::size_t AGiven) {
  if (static_cast<std::size_t>(AExpected) != AGiven)
    RaiseParameterCount(AName, AExpected, static_cast<Integer>(AGiven));
}

}  // namespace detail

// ---------------------------------------------------------------------------------------------
// Handles and descriptions.

TRttiType *TTypeInfo::RttiType() const {
  if (TRttiType *t = FRttiType.load(std::memory_order_acquire)) return t;
  return detail::TDescribe::DescribeSlow(this);
}

UnicodeString TTypeInfo::Name() const {
  return RttiType()->GetName();
}

const TTypeInfo *TMetaClass::ClassInfo() const {
  return detail::ClassTypeInfo(this);
}

TRttiObject::~TRttiObject() {
  for (TCustomAttribute *a : FAttributes) delete a;
}

TRttiMethod::~TRttiMethod() {
  for (TRttiParameter *p : FParameters) delete p;
}

TRttiInvokableType::~TRttiInvokableType() {
  for (TRttiParameter *p : FParameters) delete p;
}

struct TRttiType::TFlat {
  UInt64 Generation = 0;
  std::vector<TRttiField *> Fields;
  std::vector<TRttiProperty *> Properties;
  std::vector<TRttiIndexedProperty *> IndexedProperties;
  std::vector<TRttiMethod *> Methods;
};

TRttiType::~TRttiType() {
  for (auto *p : FFields) delete p;
  for (auto *p : FProperties) delete p;
  for (auto *p : FIndexedProperties) delete p;
  for (auto *p : FMethods) delete p;
  delete FFlat.load();
  for (TFlat *f : FOldFlats) delete f;
}

const TRttiType::TFlat &TRttiType::Flat() const {
  const UInt64 gen = detail::RegistrationGeneration();
  TFlat *f = FFlat.load(std::memory_order_acquire);
  if (f && f->Generation == gen) return *f;
  auto &r = detail::Reg();
  std::lock_guard g(r.Lock);
  f = FFlat.load(std::memory_order_acquire);
  if (f && f->Generation == gen) return *f;
  auto nf = std::make_unique<TFlat>();
  nf->Generation = gen;
  nf->Fields = FFields;
  nf->Properties = FProperties;
  nf->IndexedProperties = FIndexedProperties;
  nf->Methods = FMethods;
  if (TRttiType *base = GetBaseType()) {
    const TFlat &b = base->Flat();
    nf->Fields.insert(nf->Fields.end(), b.Fields.begin(), b.Fields.end());
    nf->Properties.insert(nf->Properties.end(), b.Properties.begin(), b.Properties.end());
    nf->IndexedProperties.insert(nf->IndexedProperties.end(), b.IndexedProperties.begin(),
                                 b.IndexedProperties.end());
    for (TRttiMethod *m : b.Methods)
      if (!m->IsConstructor()) nf->Methods.push_back(m);
  }
  if (f) FOldFlats.push_back(f);
  FFlat.store(nf.get(), std::memory_order_release);
  return *nf.release();
}

std::span<TRttiField *const> TRttiType::GetFields() const {
  return Flat().Fields;
}
std::span<TRttiProperty *const> TRttiType::GetProperties() const {
  return Flat().Properties;
}
std::span<TRttiIndexedProperty *const> TRttiType::GetIndexedProperties() const {
  return Flat().IndexedProperties;
}
std::span<TRttiMethod *const> TRttiType::GetMethods() const {
  return Flat().Methods;
}

namespace {
template <class M>
M *FindByName(std::span<M *const> AList, UnicodeStringView AName) {
  for (M *m : AList)
    if (SameText(m->GetName(), AName)) return m;
  return nullptr;
}
}  // namespace

TRttiField *TRttiType::GetField(UnicodeStringView AName) const {
  return FindByName(GetFields(), AName);
}
TRttiProperty *TRttiType::GetProperty(UnicodeStringView AName) const {
  return FindByName(GetProperties(), AName);
}
TRttiIndexedProperty *TRttiType::GetIndexedProperty(UnicodeStringView AName) const {
  return FindByName(GetIndexedProperties(), AName);
}
TRttiMethod *TRttiType::GetMethod(UnicodeStringView AName) const {
  return FindByName(GetMethods(), AName);
}
std::vector<TRttiMethod *> TRttiType::GetMethods(UnicodeStringView AName) const {
  std::vector<TRttiMethod *> r;
  for (TRttiMethod *m : GetMethods())
    if (SameText(m->GetName(), AName)) r.push_back(m);
  return r;
}

bool TRttiType::GetIsOrdinal() const noexcept {
  switch (GetTypeKind()) {
    case tkInteger:
    case tkChar:
    case tkWChar:
    case tkEnumeration:
    case tkInt64:
      return true;
    default:
      return false;
  }
}

TRttiInstanceType *TRttiType::AsInstance() {
  if (GetTypeKind() != tkClass) detail::RaiseInvalidCastValue();
  return static_cast<TRttiInstanceType *>(this);
}

UnicodeString TRttiEnumerationType::GetValueName(Int64 AOrdinal) const {
  if (AOrdinal < FMinValue || AOrdinal > FMaxValue) return {};
  const auto i = static_cast<std::size_t>(AOrdinal - FMinValue);
  return i < FNames.size() ? FNames[i] : UnicodeString();
}

TRttiType *TRttiSetType::GetElementType() const {
  return static_cast<const detail::TSetShape *>(FHandle->FShape)->Element()->RttiType();
}
Integer TRttiSetType::GetMinElement() const noexcept {
  return static_cast<const detail::TSetShape *>(FHandle->FShape)->MinEl;
}
Integer TRttiSetType::GetMaxElement() const noexcept {
  return static_cast<const detail::TSetShape *>(FHandle->FShape)->MaxEl;
}

TRttiType *TRttiInstanceType::GetBaseType() const {
  return GetBaseInstanceType();
}
TRttiInstanceType *TRttiInstanceType::GetBaseInstanceType() const {
  TClass parent = FHandle->FClass->ClassParent();
  return parent ? static_cast<TRttiInstanceType *>(parent->ClassInfo()->RttiType()) : nullptr;
}

TGUID TRttiInterfaceType::GetGUID() const noexcept {
  return static_cast<const detail::TInterfaceShape *>(FHandle->FShape)->IID;
}
TRttiType *TRttiInterfaceType::GetBaseType() const {
  PTypeInfo p = static_cast<const detail::TInterfaceShape *>(FHandle->FShape)->Parent();
  return p ? p->RttiType() : nullptr;
}

TRttiType *TRttiArrayType::GetElementType() const {
  return static_cast<const detail::TArrayShape *>(FHandle->FShape)->Element()->RttiType();
}
Integer TRttiArrayType::GetTotalElementCount() const noexcept {
  return static_cast<const detail::TArrayShape *>(FHandle->FShape)->Count;
}
TRttiType *TRttiDynamicArrayType::GetElementType() const {
  return static_cast<const detail::TArrayShape *>(FHandle->FShape)->Element()->RttiType();
}

TRttiType *TRttiInvokableType::GetReturnType() const {
  const auto *s = static_cast<const detail::TInvokableShape *>(FHandle->FShape);
  return s->Result ? s->Result()->RttiType() : nullptr;
}

TRttiInstanceType *TRttiClassRefType::GetInstanceType() const {
  return static_cast<TRttiInstanceType *>(TypeInfo<TObject>()->RttiType());
}

TRttiType *TRttiPointerType::GetReferredType() const {
  PTypeInfo r = static_cast<const detail::TPointerShape *>(FHandle->FShape)->Referred();
  return r ? r->RttiType() : nullptr;
}

// ---------------------------------------------------------------------------------------------
// Methods.

TValue TRttiMethod::Invoke(void *AInstance, std::span<const TValue> AArgs) const {
  if (FIsStatic) {
    TClass cls = nullptr;
    if (AInstance && FParent->GetTypeKind() == tkClass)
      cls = static_cast<TObject *>(AInstance)->ClassType();
    return DoInvoke(nullptr, cls, AArgs);
  }
  return DoInvoke(AInstance, nullptr, AArgs);
}

TValue TRttiMethod::InvokeClass(TClass AClass, std::span<const TValue> AArgs) const {
  if (!FIsStatic) throw EInvocationError(u"The method " + FName + u" needs an instance");
  return DoInvoke(nullptr, AClass, AArgs);
}

TValue TRttiMethod::Invoke(const TValue &AInstance, std::span<const TValue> AArgs) const {
  switch (AInstance.GetTypeKind()) {
    case tkUnknown:
      return Invoke(static_cast<void *>(nullptr), AArgs);
    case tkClass:
      return Invoke(static_cast<void *>(AInstance.AsObject()), AArgs);
    case tkClassRef:
      return InvokeClass(AInstance.AsClass(), AArgs);
    case tkPointer:
      return Invoke(*static_cast<void *const *>(AInstance.GetReferenceToRawData()), AArgs);
    default:
      detail::RaiseInvalidCastValue();
  }
}

// ---------------------------------------------------------------------------------------------
// Lookups, enumerations, sets and the class table.

TRttiType *TRttiContext::FindType(UnicodeStringView AQualifiedName) {
  for (PTypeInfo h : detail::RegisteredTypes()) {
    TRttiType *t = h->RttiType();
    if (SameText(t->GetQualifiedName(), AQualifiedName)) return t;
  }
  return nullptr;
}

std::vector<TRttiType *> TRttiContext::GetTypes() {
  std::vector<TRttiType *> r;
  for (PTypeInfo h : detail::RegisteredTypes()) r.push_back(h->RttiType());
  return r;
}

UnicodeString GetEnumName(PTypeInfo AType, Integer AValue) {
  if (!AType || AType->Kind != tkEnumeration) return {};
  return static_cast<TRttiEnumerationType *>(AType->RttiType())->GetValueName(AValue);
}

Integer GetEnumValue(PTypeInfo AType, UnicodeStringView AName) {
  if (!AType || AType->Kind != tkEnumeration) return -1;
  auto *e = static_cast<TRttiEnumerationType *>(AType->RttiType());
  const auto names = e->GetNames();
  for (std::size_t i = 0; i < names.size(); ++i)
    if (SameText(names[i], AName)) return static_cast<Integer>(e->GetMinValue() + Int64(i));
  return -1;
}

namespace {
const detail::TSetShape &SetShapeOf(PTypeInfo ASetType) {
  if (!ASetType || ASetType->Kind != tkSet) detail::RaiseInvalidCastValue();
  return *static_cast<const detail::TSetShape *>(ASetType->FShape);
}
Integer SetBits(const detail::TSetShape &AShape) {
  const Integer n = AShape.MaxEl - AShape.MinEl + 1;
  return n > 64 ? 64 : n;
}
}  // namespace

namespace {
// The ordinal of a member's name: an enumeration value's name, or a number for other ordinals.
bool FindOrdinal(PTypeInfo AElement, const UnicodeString &AName, Int64 &AOrdinal) {
  if (AElement->Kind != tkEnumeration) return TryStrToInt64(AName, AOrdinal);
  auto *e = static_cast<TRttiEnumerationType *>(AElement->RttiType());
  const auto names = e->GetNames();
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (SameText(names[i], AName)) {
      AOrdinal = e->GetMinValue() + Int64(i);
      return true;
    }
  }
  return false;
}
}  // namespace

UInt64 StringToSet(PTypeInfo ASetType, UnicodeStringView AValue) {
  const detail::TSetShape &s = SetShapeOf(ASetType);
  PTypeInfo elem = s.Element();
  const UnicodeString text = Trim(AValue);
  UnicodeStringView v = text;
  if (!v.empty() && v.front() == u'[') v.remove_prefix(1);
  if (!v.empty() && v.back() == u']') v.remove_suffix(1);
  UInt64 mask = 0;
  if (Trim(v).empty()) return mask;
  for (;;) {
    const std::size_t comma = v.find(u',');
    const UnicodeString name = Trim(v.substr(0, comma));
    Int64 ord = 0;
    if (!FindOrdinal(elem, name, ord) || ord < s.MinEl || ord - s.MinEl >= SetBits(s))
      throw EPropertyConvertError(u"Invalid property element: " + name);
    mask |= UInt64(1) << (ord - s.MinEl);
    if (comma == UnicodeStringView::npos) break;
    v.remove_prefix(comma + 1);
  }
  return mask;
}

UnicodeString SetToString(PTypeInfo ASetType, const void *ASet, bool ABrackets) {
  const detail::TSetShape &s = SetShapeOf(ASetType);
  PTypeInfo elem = s.Element();
  const auto *words = static_cast<const UInt64 *>(ASet);
  UnicodeString r;
  const Integer bits = s.MaxEl - s.MinEl + 1;
  for (Integer i = 0; i < bits; ++i) {
    if (!((words[i / 64] >> (i % 64)) & 1u)) continue;
    if (!r.empty()) r += u',';
    const Integer ord = s.MinEl + i;
    r += elem->Kind == tkEnumeration ? GetEnumName(elem, ord) : IntToStr(ord);
  }
  return ABrackets ? u"[" + r + u"]" : r;
}

UnicodeString SetToString(PTypeInfo ASetType, UInt64 AValue, bool ABrackets) {
  const detail::TSetShape &s = SetShapeOf(ASetType);
  PTypeInfo elem = s.Element();
  UnicodeString r;
  const Integer bits = SetBits(s);
  for (Integer i = 0; i < bits; ++i) {
    if (!((AValue >> i) & 1u)) continue;
    if (!r.empty()) r += u',';
    const Integer ord = s.MinEl + i;
    r += elem->Kind == tkEnumeration ? GetEnumName(elem, ord) : IntToStr(ord);
  }
  return ABrackets ? u"[" + r + u"]" : r;
}

void RegisterClass(TClass AClass) {
  if (!AClass) return;
  auto &r = detail::Reg();
  std::lock_guard g(r.Lock);
  for (TClass c : r.Classes) {
    if (c == AClass) return;
    if (SameText(c->ClassName(), AClass->ClassName()))
      throw EFilerError(u"A class named " + AClass->ClassName() + u" already exists");
  }
  r.Classes.push_back(AClass);
}

void RegisterClasses(std::initializer_list<TClass> AClasses) {
  for (TClass c : AClasses) RegisterClass(c);
}

void UnRegisterClass(TClass AClass) {
  auto &r = detail::Reg();
  std::lock_guard g(r.Lock);
  std::erase(r.Classes, AClass);
}

TClass GetClass(UnicodeStringView AClassName) {
  auto &r = detail::Reg();
  std::lock_guard g(r.Lock);
  for (TClass c : r.Classes)
    if (SameText(c->ClassName(), AClassName)) return c;
  return nullptr;
}

TClass FindClass(UnicodeStringView AClassName) {
  TClass c = GetClass(AClassName);
  if (!c) throw EClassNotFound(u"Class " + UnicodeString(AClassName) + u" not found");
  return c;
}

// ---------------------------------------------------------------------------------------------
// The library's own types.

namespace detail {
namespace {

template <class T>
void Named(const char16_t *AName, const char16_t *AUnit) {
  RegisterType<T>(AUnit, [&](TTypeBuilder<T> &R) { R.Name(AName); });
}

void RegisterBuiltins() {
  Named<bool>(u"Boolean", u"System");
  Named<ShortInt>(u"ShortInt", u"System");
  Named<SmallInt>(u"SmallInt", u"System");
  Named<Integer>(u"Integer", u"System");
  Named<Int64>(u"Int64", u"System");
  Named<Byte>(u"Byte", u"System");
  Named<Word>(u"Word", u"System");
  Named<Cardinal>(u"Cardinal", u"System");
  Named<UInt64>(u"UInt64", u"System");
  Named<Single>(u"Single", u"System");
  Named<Double>(u"Double", u"System");
  Named<TExtendedAlias>(u"Extended", u"System");
  Named<Currency>(u"Currency", u"System");
  Named<UnicodeString>(u"string", u"System");
  Named<TWideStringAlias>(u"WideString", u"System");
  Named<AnsiString>(u"AnsiString", u"System");
  Named<RawByteString>(u"RawByteString", u"System");
  Named<char16_t>(u"Char", u"System");
  Named<char>(u"AnsiChar", u"System");
  Named<TDateTime>(u"TDateTime", u"System");
  Named<TDate>(u"TDate", u"System");
  Named<TTime>(u"TTime", u"System");
  Named<Variant>(u"Variant", u"System");
  Named<TValue>(u"TValue", u"System.Rtti");
  Named<Pointer>(u"Pointer", u"System");
  Named<TClass>(u"TClass", u"System");
  Named<std::vector<UnicodeString>>(u"TStringDynArray", u"System.Types");
  Named<IInterface>(u"IInterface", u"System");
  RegisterType<TGUID>(u"System", [](TTypeBuilder<TGUID> &R) {
    R.Name(u"TGUID");
    R.Field(u"D1", &TGUID::D1).Field(u"D2", &TGUID::D2).Field(u"D3", &TGUID::D3);
    R.Field(u"D4", &TGUID::D4);
  });
  RegisterType<TNotifyEvent>(u"System.Classes", [](TTypeBuilder<TNotifyEvent> &R) {
    R.Name(u"TNotifyEvent").ParamNames({u"Sender"});
  });

  RegisterType<TObject>(u"System");
  RegisterType<TPersistent>(u"System.Classes");
  RegisterType<TStrings>(u"System.Classes", [](TTypeBuilder<TStrings> &R) {
    R.Property(u"Count", &TStrings::Count, nullptr, mvPublic);
    R.Property(u"Text", &TStrings::Text, &TStrings::SetText, mvPublic);
    R.IndexedProperty(u"Strings", &TStrings::Get, &TStrings::Put);
    R.Method(u"Add", &TStrings::Add, mvPublic, {u"S"});
    R.Method(u"Clear", &TStrings::Clear);
  });
  RegisterType<TStringList>(u"System.Classes");
  RegisterType<TList>(u"System.Classes", [](TTypeBuilder<TList> &R) {
    R.Property(u"Count", &TList::Count, nullptr, mvPublic);
    R.IndexedProperty(u"Items", &TList::Get, &TList::Put);
    R.Method(u"Add", &TList::Add, mvPublic, {u"Item"});
    R.Method(u"Clear", &TList::Clear);
  });
  RegisterType<TObjectList>(u"System.Contnrs", [](TTypeBuilder<TObjectList> &R) {
    R.Property(u"OwnsObjects", &TObjectList::OwnsObjects, &TObjectList::SetOwnsObjects, mvPublic);
    R.IndexedProperty(u"Items", &TObjectList::Get, &TObjectList::Put);
    R.Method(u"Add", &TObjectList::Add, mvPublic, {u"AObject"});
  });
  RegisterType<TComponent>(u"System.Classes", [](TTypeBuilder<TComponent> &R) {
    R.Property(u"Owner", &TComponent::Owner, nullptr, mvPublic);
    R.Property(u"Name", &TComponent::Name, &TComponent::SetName);
    R.Property(u"Tag", &TComponent::Tag, &TComponent::SetTag);
  });
  RegisterType<TStream>(u"System.Classes", [](TTypeBuilder<TStream> &R) {
    R.Property(u"Position", &TStream::GetPosition, &TStream::SetPosition, mvPublic);
    R.Property(u"Size", &TStream::GetSize, &TStream::SetSize, mvPublic);
  });
  RegisterType<TCustomMemoryStream>(u"System.Classes");
  RegisterType<TMemoryStream>(u"System.Classes");

  RegisterType<TTypeKind>(u"System", [](TTypeBuilder<TTypeKind> &R) {
    R.Names({u"tkUnknown",   u"tkInteger",  u"tkChar",     u"tkEnumeration", u"tkFloat",
             u"tkString",    u"tkSet",      u"tkClass",    u"tkMethod",      u"tkWChar",
             u"tkLString",   u"tkWString",  u"tkVariant",  u"tkArray",       u"tkRecord",
             u"tkInterface", u"tkInt64",    u"tkDynArray", u"tkUString",     u"tkClassRef",
             u"tkPointer",   u"tkProcedure"});
  });
  RegisterType<TMemberVisibility>(u"System.Rtti", [](TTypeBuilder<TMemberVisibility> &R) {
    R.Names({u"mvPrivate", u"mvProtected", u"mvPublic", u"mvPublished"});
  });
}

}  // namespace
}  // namespace detail

}  // namespace vn
