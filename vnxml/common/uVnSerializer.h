// Object serialization: the entry functions that turn any value into a document, the contracts
// by which a class takes part in its own serialization, the hints that steer the walk, the
// registries of serializers and helpers, and TVnSerializer, the walk that every notation shares.
//
// A notation (uVnXMLSerializer, uVnJSONSerializer) derives from TVnSerializer, implements the
// four writers and registers itself for its format; including its header is what makes the
// notation available, as the registrations run when its unit starts.
#pragma once

#include <atomic>
#include <concepts>
#include <functional>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <thread>

#include "vnxml/common/uVnClasses.h"
#include "vnxml/common/uVnSysUtils.h"
#include "vnxml/common/uVnTypes.h"
#include "vnxml/rtl/Classes.h"
#include "vnxml/rtl/Rtti.h"

namespace vn {

class TVnSerializer;
class TVnDeserializer;

// ---------------------------------------------------------------------------------------------
// Hints

enum TSerializerHintOption : Byte {
  shoName,                // the member's name in the document; an empty value leaves it out
  shoRequired,            // declared, not read
  shoSerializerHelper,    // qualified name of a TVnSerializerHelper class for this member
  shoDeserializerHelper,  // qualified name of a TVnDeserializerHelper class for this member
  shoNodeType,            // "NodeValue": the element's text goes into this member (XML)
  shoEnumPrefix,          // prefix cut from enumeration value names in documents
  shoDoNotSerialize,      // the member is not written
  shoTimezoneFormat       // declared, not read
};

// An attribute of a member or a type that steers serialization:
//   R.Property(u"Customer", &TOrder::GetCustomer, &TOrder::SetCustomer, mvPublished,
//              {new SerializerHint(shoName, u"client")});
//   R.Attribute(new SerializerHint(shoEnumPrefix, u"cl"));
class SerializerHint : public TCustomAttribute {
  VN_CLASS(SerializerHint, TCustomAttribute)
 public:
  explicit SerializerHint(TSerializerHintOption AOption, UnicodeString AValue = {})
      : FOption(AOption), FValue(std::move(AValue)) {}

  TSerializerHintOption Option() const noexcept { return FOption; }
  const UnicodeString &Value() const noexcept { return FValue; }

  // The helper class that the value names by its qualified name. A name that the type
  // registry does not know fails an assertion; a class that is no helper raises Exception.
  TClass GetSerializerHelperClass() const;
  TClass GetDeserializerHelperClass() const;

 private:
  TSerializerHintOption FOption;
  UnicodeString FValue;
};

// The first hint with the option among the attributes; AHint is nil when there is none.
bool GetSerializerHint(std::span<TCustomAttribute *const> AAttributes,
                       TSerializerHintOption AOption, SerializerHint *&AHint);
bool GetSerializerHint(const TRttiObject *AObject, TSerializerHintOption AOption,
                       SerializerHint *&AHint);

// ---------------------------------------------------------------------------------------------
// Interfaces

// What every serializer and deserializer worker answers: its instance and its parameters.
class IVnCustomSerializer : public IInterface {
  VN_INTERFACE(IVnCustomSerializer, IInterface, "{8A411E1C-4227-4C97-B9BC-0704A2215768}")
 public:
  virtual void *GetInstancePtr() = 0;
  virtual TObject *GetObjParam(const UnicodeString &AName) = 0;
  virtual UnicodeString GetParam(const UnicodeString &AName) = 0;
  virtual void SetParam(const UnicodeString &AName, const UnicodeString &AValue) = 0;
  virtual void SetObjParam(const UnicodeString &AName, TObject *AObject) = 0;
};

// A serializer worker: writes its value as a document, to bytes or to a stream.
class IVnSerializer : public virtual IVnCustomSerializer {
  VN_INTERFACE(IVnSerializer, IVnCustomSerializer, "{50458569-8419-4DBC-BF78-D7AC5A927C04}")
 public:
  virtual RawByteString Serialize() = 0;
  virtual void Serialize(TStream *AStream) = 0;
};

// A deserializer worker: reads a document into its value and lists the objects it made.
class IVnDeserializer : public virtual IVnCustomSerializer {
  VN_INTERFACE(IVnDeserializer, IVnCustomSerializer, "{ADF0EEA2-F6A1-459A-B917-B4A3481C9791}")
 public:
  virtual TObjectList *GetCreatedObjects() = 0;
  virtual void Deserialize(const RawByteString &AData) = 0;
  virtual void Deserialize(TStream *AStream) = 0;
};

// Answered by instances that want a say in their own serialization; the walk asks each class
// instance for it.
class IVnSerializerHelper : public IInterface {
  VN_INTERFACE(IVnSerializerHelper, IInterface, "{5B60BFE6-724B-4454-AF3A-1D3C10C530E5}")
 public:
  virtual bool CanSerializeChild(TVnSerializer *ASerializer, TObject *AChild, TClass AClass,
                                 UnicodeString &AName) = 0;
  virtual void BeforeSerialize(TVnSerializer *ASerializer, bool &ASkip) = 0;
  virtual void AfterSerialize(TVnSerializer *ASerializer) = 0;
};

enum TVnCanDeserialize : Byte { desYes, desNo, desIgnore };
enum TVnSerializerMemberType : Byte { smtProperty, smtField };

// Answered by instances that want a say in their own deserialization, member by member.
class IVnDeserializerHelper : public IInterface {
  VN_INTERFACE(IVnDeserializerHelper, IInterface, "{53720F69-818C-4D30-B2AB-3FB01712D3C0}")
 public:
  virtual void BeforeDeserialize(TVnDeserializer *ADeserializer) = 0;
  virtual void AfterDeserialize(TVnDeserializer *ADeserializer) = 0;
  virtual TVnCanDeserialize CanDeserialize(TVnDeserializer *ADeserializer, UnicodeString &AUri,
                                           UnicodeString &AName, UnicodeString &ADataType) = 0;
  virtual void DeserializeValue(TVnDeserializer *ADeserializer, const UnicodeString &AUri,
                                const UnicodeString &AName, const UnicodeString &AValue,
                                const UnicodeString &ADataType, bool &AHandled) = 0;
};

// An object that writes itself: its text goes into the document as it stands.
class IVnSerializable : public IInterface {
  VN_INTERFACE(IVnSerializable, IInterface, "{FECAA297-A72F-4A54-A230-249C52259587}")
 public:
  virtual bool CanSerialize(TVnDataSerializationFormatType AFormat) = 0;
  virtual RawByteString Serialize(TVnDataSerializationFormatType AFormat, TStringList *AParams) = 0;
};

// Answered by instances that read themselves from a document of a format, without the walk.
class IVnDeserializable : public IInterface {
  VN_INTERFACE(IVnDeserializable, IInterface, "{0C9F95A5-BD08-4A7D-A5F1-FA604A19E4A2}")
 public:
  virtual bool CanDeserialize(TVnDataSerializationFormatType AFormat) = 0;
  virtual void Deserialize(TVnDataSerializationFormatType AFormat, const RawByteString &AData,
                           TStringList *AParams) = 0;
};

inline const TGUID &IID_IVnCustomSerializer = IVnCustomSerializer::IID;
inline const TGUID &IID_IVnSerializable = IVnSerializable::IID;
inline const TGUID &IID_IVnDeserializable = IVnDeserializable::IID;

// The failure class of the walk.
class EVnSerializeException : public Exception {
  VN_EXCEPTION_CLASS(EVnSerializeException, Exception)
 public:
  using Exception::Exception;
};

// ---------------------------------------------------------------------------------------------
// Class references of serializers and deserializers: the class and the two constructors that
// the registry calls. VnSerializerClass<T>() gives the one reference of a class.

// One class reference: the worker class and the constructors that make its instances.
struct TVnSerializerClassRef {
  TClass Class;
  TObject *(*NewFromValue)(const TValue &AValue);
  TObject *(*NewFromPointer)(void *AInstance, PTypeInfo AType);
  // The class's workers may be used again for another child of the same run (Reuse).
  bool Reusable = false;
};
using TVnSerializerClass = const TVnSerializerClassRef *;
using TVnDeserializerClass = const TVnSerializerClassRef *;

template <class T>
TVnSerializerClass VnSerializerClass() {
  static const TVnSerializerClassRef ref{
      T::StaticClass(), [](const TValue &AValue) -> TObject * { return New<T>(AValue); },
      [](void *AInstance, PTypeInfo AType) -> TObject * { return New<T>(AInstance, AType); }};
  return &ref;
}
// The reference of a serializer class whose workers a run keeps and uses again for further
// children: the class implements Reuse for every field it has.
template <class T>
TVnSerializerClass VnReusableSerializerClass() {
  static const TVnSerializerClassRef ref{
      T::StaticClass(), [](const TValue &AValue) -> TObject * { return New<T>(AValue); },
      [](void *AInstance, PTypeInfo AType) -> TObject * { return New<T>(AInstance, AType); }, true};
  return &ref;
}
template <class T>
TVnDeserializerClass VnDeserializerClass() {
  return VnSerializerClass<T>();
}

// ---------------------------------------------------------------------------------------------
// Helpers: objects that take over the writing of a member (or a whole instance) of a class.

// The base of the helpers that write a member, or an instance of a class, in the walk's stead.
class TVnSerializerHelper : public TObject {
  VN_CLASS(TVnSerializerHelper, TObject)
 public:
  TVnSerializerHelper() = default;
  // Writes AValue under AName through ASerializer's writers. AHandled comes in true; a helper
  // that wants the default walk of the member sets it to false. The base writes nothing, so an
  // unfinished helper hides the member.
  virtual void Serialize(TVnSerializer *ASerializer, const UnicodeString &AName,
                         const TVnTypeInfo *ATypeInfo, const TValue &AValue, bool &AHandled);
};

// The base of the helpers that read a member, or an instance of a class, in the walk's stead.
class TVnDeserializerHelper : public TObject {
  VN_CLASS(TVnDeserializerHelper, TObject)
 public:
  TVnDeserializerHelper() = default;
  virtual TVnCanDeserialize CanDeserialize(TVnDeserializer *ADeserializer, UnicodeString &AUri,
                                           UnicodeString &AName, UnicodeString &ADataType);
  virtual void DeserializeStartType(TVnDeserializer *ADeserializer);
  virtual void DeserializeValue(TVnDeserializer *ADeserializer, const UnicodeString &AUri,
                                const UnicodeString &AName, const UnicodeString &AValue,
                                const UnicodeString &ADataType, bool &AHandled);
  virtual void DeserializeEndType(TVnDeserializer *ADeserializer);
};

using TVnSerializerHelperClass = TClass;
using TVnDeserializerHelperClass = TClass;

// One entry of the helper registry, a singly linked list read from its head.
struct TVnSerializerHelperReg {
  const TVnTypeInfo *ValueType = nullptr;
  TClass ValueClass = nullptr;
  UnicodeString ValueTypeName;
  TVnSerializerHelperClass SerializerHelperClass = nullptr;
  TVnDeserializerHelperClass DeserializerHelperClass = nullptr;
  TVnSerializerHelperReg *Next = nullptr;
};

// A new instance of the helper registered for the class (or its nearest registered ancestor),
// or nil. Generic names ("TObjectList<uShop.TItem>") are first looked up in their generic form
// ("TObjectList<T>"); the reader's lookup does only the ancestor walk.
TVnSerializerHelper *FindSerializerHelper(TClass AClass);
TVnDeserializerHelper *FindDeserializerHelper(TClass AClass);
// The generic form of a class name: each type argument replaced by "T".
UnicodeString VnGenericTypeName(UnicodeStringView AName);

// ---------------------------------------------------------------------------------------------
// Instances that take part in their own serialization. From BeforeSerialize to AfterSerialize
// the instance's critical section is held, so two threads that write the same instance write it
// one after the other. The section is recursive: a thread that meets the instance again inside
// its own walk goes on.
//
// Like every TVnObject, an instance lives by its reference count: the walk takes an interface
// on it, so hold it through an interface or an Owned, or switch auto-destroy off.

// The interface and reference-count operations of the two serializable bases. Their instances
// are meant to be written by several threads, and each walk takes an interface on the instance,
// so they count their references atomically.
#define VN_SERIALIZABLE_COUNTING(Self, Base)                                                      \
 public:                                                                                          \
  bool GetInterface(const ::vn::TGUID &AIID, void **AObj) override {                              \
    if (::vn::detail::FindInterface<Self, IVnSerializerHelper, IVnDeserializerHelper>(this, AIID, \
                                                                                      AObj))      \
      return true;                                                                                \
    return Base::GetInterface(AIID, AObj);                                                        \
  }                                                                                               \
  ::vn::HRESULT QueryInterface(const ::vn::TGUID &AIID, void **AObj) override {                   \
    return GetInterface(AIID, AObj) ? S_OK : E_NOINTERFACE;                                       \
  }                                                                                               \
  ::vn::Integer _AddRef() override {                                                              \
    return std::atomic_ref<::vn::Integer>(FRefCount).fetch_add(1, std::memory_order_relaxed) + 1; \
  }                                                                                               \
  ::vn::Integer _Release() override {                                                             \
    ::vn::Integer r =                                                                             \
        std::atomic_ref<::vn::Integer>(FRefCount).fetch_sub(1, std::memory_order_acq_rel) - 1;    \
    if (r == 0 && GetAutoDestroy()) this->Free();                                                 \
    return r;                                                                                     \
  }                                                                                               \
                                                                                                  \
 protected:                                                                                       \
  void OwnerAddRef() noexcept override {                                                          \
    _AddRef();                                                                                    \
  }                                                                                               \
  void OwnerRelease() override {                                                                  \
    if (std::atomic_ref<::vn::Integer>(FRefCount).fetch_sub(1, std::memory_order_acq_rel) == 1 || \
        !GetAutoDestroy())                                                                        \
      this->Free();                                                                               \
  }                                                                                               \
  void OwnerDetach() noexcept override {                                                          \
    std::atomic_ref<::vn::Integer>(FRefCount).fetch_sub(1, std::memory_order_acq_rel);            \
  }                                                                                               \
                                                                                                  \
 public:

// The base of objects with a say in their own serialization; a walk holds the object's lock.
class TVnSerializableObject : public TVnObjectEx,
                              public IVnSerializerHelper,
                              public IVnDeserializerHelper {
  VN_CLASS(TVnSerializableObject, TVnObjectEx)
  VN_SERIALIZABLE_COUNTING(TVnSerializableObject, TVnObjectEx)
 public:
  TVnSerializableObject() = default;

  bool CanSerializeChild(TVnSerializer *ASerializer, TObject *AChild, TClass AClass,
                         UnicodeString &AName) override;
  void BeforeSerialize(TVnSerializer *ASerializer, bool &ASkip) override;
  void AfterSerialize(TVnSerializer *ASerializer) override;
  void BeforeDeserialize(TVnDeserializer *ADeserializer) override;
  void AfterDeserialize(TVnDeserializer *ADeserializer) override;
  TVnCanDeserialize CanDeserialize(TVnDeserializer *ADeserializer, UnicodeString &AUri,
                                   UnicodeString &AName, UnicodeString &ADataType) override;
  void DeserializeValue(TVnDeserializer *ADeserializer, const UnicodeString &AUri,
                        const UnicodeString &AName, const UnicodeString &AValue,
                        const UnicodeString &ADataType, bool &AHandled) override;

  bool Serializing() const noexcept { return FSerializing; }
  bool Deserializing() const noexcept { return FDeserializing; }

 private:
  bool FSerializing = false;
  bool FDeserializing = false;
  // The thread's holds of the section; AfterSerialize of a thread that holds nothing (its
  // BeforeSerialize failed before entering) leaves it alone.
  std::recursive_mutex FCritSection;
  std::atomic<std::thread::id> FHolder{};
  Integer FHolds = 0;

  friend struct TVnSerializableLock;
};

// TVnSerializableObject for components: the same helpers and lock over TVnComponent.
class TVnSerializableComponent : public TVnComponent,
                                 public IVnSerializerHelper,
                                 public IVnDeserializerHelper {
  VN_CLASS(TVnSerializableComponent, TVnComponent)
  VN_SERIALIZABLE_COUNTING(TVnSerializableComponent, TVnComponent)
 public:
  explicit TVnSerializableComponent(TComponent *AOwner) : TVnComponent(AOwner) {}

  bool CanSerializeChild(TVnSerializer *ASerializer, TObject *AChild, TClass AClass,
                         UnicodeString &AName) override;
  void BeforeSerialize(TVnSerializer *ASerializer, bool &ASkip) override;
  void AfterSerialize(TVnSerializer *ASerializer) override;
  void BeforeDeserialize(TVnDeserializer *ADeserializer) override;
  void AfterDeserialize(TVnDeserializer *ADeserializer) override;
  TVnCanDeserialize CanDeserialize(TVnDeserializer *ADeserializer, UnicodeString &AUri,
                                   UnicodeString &AName, UnicodeString &ADataType) override;
  void DeserializeValue(TVnDeserializer *ADeserializer, const UnicodeString &AUri,
                        const UnicodeString &AName, const UnicodeString &AValue,
                        const UnicodeString &ADataType, bool &AHandled) override;

  bool Serializing() const noexcept { return FSerializing; }
  bool Deserializing() const noexcept { return FDeserializing; }

 private:
  std::recursive_mutex FCritSection;
  bool FSerializing = false;
  bool FDeserializing = false;
  std::atomic<std::thread::id> FHolder{};
  Integer FHolds = 0;

  friend struct TVnSerializableLock;
};

// ---------------------------------------------------------------------------------------------
// The workers

namespace detail {
// Counts the changes of any worker's parameters in the process. A worker caches what it reads
// from the chain of parameters (the exclude flags, the XML namespace settings) together with the
// count, and reads again once the count has moved.
UInt64 SerializerParamGeneration() noexcept;
void SerializerParamsChanged() noexcept;
}  // namespace detail

// What a serializer and a deserializer share: the instance, its type, the output or input
// stream, and the parameters ("name=value" lines; objects on lines that hold only the name),
// which every child finds through its parent.
class TVnCustomSerializer : public TVnObject, public virtual IVnCustomSerializer {
  VN_CLASS(TVnCustomSerializer, TVnObject)
  VN_IMPLEMENTS(TVnObject, IVnCustomSerializer)
 public:
  explicit TVnCustomSerializer(const TValue &AValue);
  TVnCustomSerializer(void *AInstance, PTypeInfo AType);
  ~TVnCustomSerializer() override;

  void *GetInstancePtr() override { return FInstancePtr; }
  void *InstancePtr() const noexcept { return FInstancePtr; }
  TObject *GetObjParam(const UnicodeString &AName) override;
  UnicodeString GetParam(const UnicodeString &AName) override;
  void SetParam(const UnicodeString &AName, const UnicodeString &AValue) override;
  void SetObjParam(const UnicodeString &AName, TObject *AObject) override;
  bool HasParam(const UnicodeString &AName);
  void SetParams(TStrings *AList);
  // The worker's own list (nil before its first parameter). A caller that changes the list
  // directly calls detail::SerializerParamsChanged() afterwards.
  TStringList *Params() const noexcept { return FParams; }

  virtual void SetParent(TVnCustomSerializer *AParent);
  virtual TVnDataSerializationFormatType Format() = 0;

  TVnCustomSerializer *Parent() const noexcept { return FParent; }
  const TVnTypeInfo *InstanceTypeInfo() const noexcept { return FInstanceTypeInfo; }
  const TValue &Value() const noexcept { return FValue; }
  TStream *Stream() const noexcept { return FStream; }
  const UnicodeString &Name() const noexcept { return FName; }
  void SetName(const UnicodeString &AName) { FName = AName; }

 protected:
  TVnCustomSerializer *FParent = nullptr;
  void *FInstancePtr = nullptr;
  const TVnTypeInfo *FInstanceTypeInfo = nullptr;
  TStream *FStream = nullptr;
  TStringList *FParams = nullptr;
  UnicodeString FName;
  TValue FValue;
  // The depth below the root: 0 at the root.
  Integer FDepth = 0;

 protected:
  // Makes the worker as new for another instance: what the pointer constructor leaves.
  void ResetTo(void *AInstance, PTypeInfo AType);

 private:
  void InitFromPointer(void *AInstance, PTypeInfo AType);
};

// The deepest nesting of child workers (objects, records and arrays inside one another) that a
// walk accepts; one level deeper raises EVnSerializeException. The walk follows the nesting on
// the call stack, about 3 KB a level under AddressSanitizer and less in an optimised build, so
// the limit keeps a walk within 3 MB of stack in any build.
inline constexpr Integer cVnSerializerMaxDepth = 1000;

// The format-blind walk. One serializer stands for one value; each class, record or array below
// it gets a child serializer that writes into the same output.
class TVnSerializer : public TVnCustomSerializer, public IVnSerializer {
  VN_CLASS(TVnSerializer, TVnCustomSerializer)
  VN_IMPLEMENTS(TVnCustomSerializer, IVnSerializer)
 public:
  explicit TVnSerializer(const TValue &AValue);
  TVnSerializer(void *AInstance, PTypeInfo AType);
  ~TVnSerializer() override;

  void SetParent(TVnCustomSerializer *AParent) override;

  // One level of the walk; ASerializer is the parent, or this worker at the root. APath is the
  // path of the parent, to which AName is added; a child of the walk gets ParentPath() instead,
  // and its path is made from its parent's only when Path() is asked for it.
  virtual void DoSerialize(TVnSerializer *ASerializer, const UnicodeString &AName,
                           const UnicodeString &APath);
  // The marker that SerializeChild passes as APath: the path of ASerializer, made on demand.
  static const UnicodeString &ParentPath() noexcept;
  // The four writers of a notation. AIndex is the position in an enclosing array, -1 elsewhere.
  virtual void SerializeStartType(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                                  Integer AIndex);
  virtual void SerializeEndType(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                                Integer AIndex);
  virtual void SerializeName(const UnicodeString &AName, TVnSerializerMemberType AMemberType,
                             TVnTypeKind AParentKind, TVnTypeKind AMemberKind);
  virtual void SerializeValue(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                              const TValue &AValue, Integer AIndex);

  // The document in UTF-8.
  RawByteString Serialize() override;
  // The document in UTF-8 into the stream, from its current position.
  void Serialize(TStream *AStream) override;
  // The arguments of an event: one member per parameter of AInvokable.
  virtual void Serialize(TStream *AStream, const TRttiInvokableType *AInvokable,
                         const UnicodeString &AName, std::span<const TValue> AArgs, Integer AHigh);

  // The pieces of the walk, for helpers and notations.
  void SerializeFieldOrProp(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                            const TValue &AValue, std::span<TCustomAttribute *const> AAttributes);
  void SerializeClass(const UnicodeString &AName, TClass AClass, TObject *AInstance,
                      Integer AIndex);
  void SerializeRecord(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo, void *APtr,
                       const TVnTypeInfo *AInstanceTypeInfo, Integer AIndex);
  void SerializeArray(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo, void *APtr,
                      const TVnTypeInfo *AInstanceTypeInfo, Integer AIndex);
  void SerializeChild(const UnicodeString &AName, const UnicodeString &ATypeName, void *APtr,
                      const TVnTypeInfo *ATypeInfo, Integer AIndex);
  void SerializeInterface(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                          IInterface *AIntf, Integer AIndex);
  TVnSerializer *CreateChildSerializer(void *APtr, const TVnTypeInfo *ATypeInfo);

  // Makes a kept worker as new for the instance, as the pointer constructor would; only the
  // classes registered by VnReusableSerializerClass are asked. A class that adds fields resets
  // them too.
  virtual void Reuse(void *AInstance, PTypeInfo AType);

  // Output: bytes as they stand, or UTF-16 text as UTF-8.
  void Write(std::string_view ABytes);
  // The text of a value: a view on the string it holds, or its ToString kept in AHolder.
  static UnicodeStringView TextOf(const TValue &AValue, UnicodeString &AHolder);
  // The schema name of a type without prefix (TVnTypeInfo::SchemaName), as UTF-8 kept per type.
  void WriteSchemaName(const TVnTypeInfo *AType);
  void Write(UnicodeStringView AText);
  void Write(char AByte);
  // Appends UTF-16 text as UTF-8, as Write does; a lone surrogate becomes U+FFFD.
  static void AppendUTF8(std::string &AOut, UnicodeStringView AText);

  const UnicodeString &MemberName() const noexcept { return FMemberName; }
  // The members from the root to this worker, joined by dots ("Orders.TOrder.Lines"); made on
  // first use from the workers above, which stand while this one runs.
  const UnicodeString &Path() const;
  IVnSerializerHelper *Helper() const noexcept { return FHelper.get(); }

 protected:
  // Sends what the run has written so far on to the stream.
  void Flush();
  // The run's output buffer, for a notation that appends to it itself, or null outside a run;
  // Appended() afterwards sends a full buffer on to the stream.
  std::string *Output() const noexcept { return FOut; }
  void Appended() {
    if (FOut->size() >= 65536 && FStream) Flush();
  }
  // True when the parameter holds "true".
  bool ParamIsTrue(const UnicodeString &AName);
  // "excludechildren" and "excluderoot", read once per change of any parameter.
  bool ExcludeChildren() {
    if (FFlagsGeneration != detail::SerializerParamGeneration()) ReadFlags();
    return FExcludeChildren;
  }
  bool ExcludeRoot() {
    if (FFlagsGeneration != detail::SerializerParamGeneration()) ReadFlags();
    return FExcludeRoot;
  }

  UnicodeString FMemberName;
  DelphiInterface<IVnSerializerHelper> FHelper;

 private:
  void WalkMembers();
  void WalkArray(TVnSerializer *ASerializer, const UnicodeString &AName);
  // SerializeFieldOrProp with the record or array read at AData: in place, or in AValue.
  void SerializeMember(const UnicodeString &AName, const TVnTypeInfo *ATypeInfo,
                       const TValue &AValue, const void *AData);
  bool IsAncestorInstance(const void *AObject) const;
  void RunRoot(TStream *AStream, const std::function<void()> &ABody);

  void ReadFlags();
  void RunBody();
  // A child worker for the instance: a kept one of the class when there is one.
  TVnSerializer *AcquireChild(void *APtr, const TVnTypeInfo *ATypeInfo);
  // Done with a child: kept for the run when its class allows it and nothing else holds it.
  void ReleaseChild(TVnSerializer *AChild) noexcept;
  void QueryHelper();

  // The path when made; otherwise FPathParent's path, a dot and FMemberName.
  mutable UnicodeString FPath;
  const TVnSerializer *FPathParent = nullptr;
  mutable bool FPathMade = true;
  // The output of the run: the root's buffer, shared by its children.
  std::string *FOut = nullptr;
  std::string FOwnBuffer;
  UInt64 FFlagsGeneration = 0;
  bool FExcludeChildren = false;
  bool FExcludeRoot = false;
  // The workers kept for reuse: the root's list, shared by its children.
  std::vector<TVnSerializer *> *FKept = nullptr;
  std::vector<TVnSerializer *> FOwnKept;
  bool FReusable = false;

 protected:
  // A text buffer that the run's writers may reuse for escaping; the root's, shared.
  UnicodeString &Scratch() noexcept { return FScratch ? *FScratch : FOwnScratch; }

 private:
  UnicodeString *FScratch = nullptr;
  UnicodeString FOwnScratch;
};

// ---------------------------------------------------------------------------------------------
// The reader's machine

class TVnDeserializer;

// The created-objects list that a deserializer makes for itself: it frees the list when the
// deserializer goes, and with AOwnsObjects the objects in it.
class TVnDeserializerObjectList : public TObjectList {
  VN_CLASS(TVnDeserializerObjectList, TObjectList)
 public:
  TVnDeserializerObjectList(TVnDeserializer *AOwner, bool AOwnsObjects)
      : TObjectList(AOwnsObjects), FOwner(AOwner) {}
  TVnDeserializer *Owner() const noexcept { return FOwner; }

 private:
  TVnDeserializer *FOwner;
};

// Fills an instance from the events of a parser. A notation (uVnXMLSerializer,
// uVnJSONSerializer) turns its reader's events into CanDeserialize, DeserializeValue and
// CreateChildDeserializerIfNeeded; the machine finds the member, converts the value, stores it,
// creates missing objects, and keeps the tree of child workers: one per object, record or array
// being read, the deepest of which takes the events.
//
// The run's workers live on a chain from the root to the deepest: a child takes the events when
// it is attached (SetParent) and gives them back to its parent when its type ends (HandBack);
// the root frees a worker that has handed back once the event that ended it returns, and frees
// the whole chain when the run fails. The events never nest on the call stack, so the depth of a
// document costs heap, not stack; it is limited to cVnSerializerMaxDepth levels all the same, as
// on writing.
class TVnDeserializer : public TVnCustomSerializer, public IVnDeserializer {
  VN_CLASS(TVnDeserializer, TVnCustomSerializer)
  VN_IMPLEMENTS(TVnCustomSerializer, IVnDeserializer)
 public:
  explicit TVnDeserializer(const TValue &AValue);
  TVnDeserializer(void *AInstance, PTypeInfo AType);
  ~TVnDeserializer() override;

  // IVnDeserializer
  TObjectList *GetCreatedObjects() override;
  // Reads the UTF-8 document into the instance.
  void Deserialize(const RawByteString &AData) override;
  void Deserialize(TStream *AStream) override;

  // Takes over the parent's stream and created-objects list.
  void SetParent(TVnCustomSerializer *AParent) override;
  // Uses AList for the objects created from here on; nil makes a new list that owns nothing.
  void SetCreatedObjects(TObjectList *AList);

  // The class name at the start of the document, for a run that knows no type.
  virtual UnicodeString ReadClassName(TVnTextParser *AParser) = 0;
  // The class name that the document gives for the member in hand; false when the notation
  // gives none (the member's declared type is taken then).
  virtual bool ReadClassName(UnicodeString &AName);
  // A new instance of the type: the parameterless constructor (a component's owner constructor
  // with the "Owner" parameter). Not recorded in the created-objects list.
  virtual TObject *CreateInstance(const TVnTypeInfo *&ATypeInfo);
  // Parses the stream, sending the events to the workers.
  virtual void DoDeserialize() = 0;
  // Makes sure of an instance and a type; returns the worker that takes the events.
  virtual TVnDeserializer *CheckInstance();
  // The child for the member in hand when it is an object, record or array; nil otherwise.
  virtual TVnDeserializer *CreateChildDeserializerIfNeeded(const UnicodeString &AName);

  // The lexical conversions of the notation.
  virtual Integer ValueToInt(const UnicodeString &AValue) = 0;
  virtual Int64 ValueToInt64(const UnicodeString &AValue) = 0;
  virtual Extended ValueToFloat(const UnicodeString &AValue) = 0;
  virtual UnicodeString ValueToStr(const UnicodeString &AValue) = 0;
  virtual TDateTime ValueToDate(const UnicodeString &AValue) = 0;
  virtual TDateTime ValueToTime(const UnicodeString &AValue) = 0;
  virtual TDateTime ValueToDateTime(const UnicodeString &AValue) = 0;
  virtual bool ValueToBool(const UnicodeString &AValue) = 0;
  virtual Variant ValueToVar(const UnicodeString &AValue, const UnicodeString &ADataType) = 0;
  virtual TValue ValueToVal(const UnicodeString &AValue, const UnicodeString &ADataType) = 0;

  // Finds the member AName of the instance and makes it the member in hand. desYes when it was
  // found (a child is made for an object, record or array), desNo when not: unknown members
  // raise EVnSerializeException with ARaiseIfUnknown, apart from "className", "parent",
  // "owner" and "type". A helper's verdict comes first.
  virtual TVnCanDeserialize CanDeserialize(UnicodeString &AUri, UnicodeString &AName,
                                           UnicodeString &ADataType, bool ARaiseIfUnknown);
  // The start of the worker's own type: helpers are told, an array worker finds its element.
  virtual void DeserializeStartType();
  // Converts AValue to the member in hand and stores it.
  virtual void DeserializeValue(const UnicodeString &AUri, const UnicodeString &AName,
                                const UnicodeString &AValue, const UnicodeString &ADataType);
  // The end of the worker's own type: helpers are told, records and arrays are written back
  // into the parent's member.
  virtual void DeserializeEndType();

  // A child worker for a value (its raw data, and the value itself as the child's member
  // value), for an instance with an explicit worker class, or for an instance with the class
  // registered for its type. The child takes the events.
  TVnDeserializer *CreateChildDeserializer(const UnicodeString &AName, const TValue &AValue,
                                           SerializerHint *AHint);
  TVnDeserializer *CreateChildDeserializer(const UnicodeString &AName, void *APtr,
                                           const TVnTypeInfo *ATypeInfo,
                                           TVnDeserializerClass AClass, SerializerHint *AHint);
  TVnDeserializer *CreateChildDeserializer(const UnicodeString &AName, void *APtr,
                                           const TVnTypeInfo *ATypeInfo, SerializerHint *AHint);

  // True for a worker whose own type is an array below a parent; AKind is the element's kind.
  // Inline: asked several times for every event; only array workers go on to the rest.
  bool IsArraySerializer(TVnTypeKind *AKind = nullptr) {
    if (!FParent || !FInstanceTypeInfo ||
        (FInstanceTypeInfo->Kind != vtkArray && FInstanceTypeInfo->Kind != vtkDynArray))
      return false;
    return IsArrayWorker(AKind);
  }
  // An array worker's next element: grows a dynamic array by one and makes the element the
  // member in hand; returns its value (nil for any other worker).
  TValue *InitializeArrayElement(const UnicodeString &AUri, const UnicodeString &AName);

  // The member in hand: nil type when there is none.
  TRttiField *MemberField() const noexcept { return FMemberField; }
  TRttiProperty *MemberProp() const noexcept { return FMemberProp; }
  const TVnTypeInfo *MemberTypeInfo() const noexcept { return FMemberTypeInfo; }
  TValue &MemberValue() noexcept { return FMemberValue; }
  Integer ArrIdx() const noexcept { return FArrIdx; }
  TVnDeserializerHelper *ClassHelper() const noexcept { return FCHelper; }
  IVnDeserializerHelper *InstanceHelper() const noexcept { return FIHelper.get(); }
  TVnDeserializer *ParentDeserializer() const noexcept { return FParentDes; }

  // The worker that takes the events of the run now (the root's record).
  TVnDeserializer *Current() const noexcept { return FRoot ? FRoot->FCurrent : nullptr; }
  // Gives the events back to the parent: the worker is freed by the root once the event in
  // progress returns. A root without parent keeps them.
  void HandBack();
  // Frees the workers that have handed back; the notations call it after each event.
  // Inline: called after every event, when there mostly is nothing to free.
  void FreeRetired() noexcept {
    if (!FRetired.empty()) FreeRetiredNow();
  }
  // Frees the instance that the run made for itself (no instance was given), after a failure.
  void FreeCreatedRoot() noexcept;
  // A document inside a value, read by a run of its own into AInstance (a new instance of the
  // class the text names when both are nil): the objects it creates go to this run's list.
  void *DeserializeNested(void *AInstance, const TVnTypeInfo *AType, const RawByteString &AData);
  // The workers that took the events since ATo did are done: ATo takes them again.
  void TakeEventsBack(TVnDeserializer *ATo) noexcept;

 protected:
  // The notation's parse begins and ends: this worker takes the events; after a failure the
  // workers still taking part are told the end of their type and freed.
  void BeginRun();
  void EndRun(bool AFailed) noexcept;
  // Takes the events of the run that the parent is in (a notation's SetParent, with a reader).
  void TakeEvents();
  TVnDeserializer *AttachChild(TVnDeserializer *AChild, const UnicodeString &AName,
                               const TVnTypeInfo *ATypeInfo, SerializerHint *AHint);
  // Stores the member value in hand: into the parent's array for an array worker, else by the
  // field or property.
  void StoreMemberValue();
  // Clears the member in hand.
  void ClearMember();
  TVnDeserializer *RootWorker() const noexcept { return FRoot; }
  // Makes a kept worker as new for another instance, as the pointer constructor would. A run
  // keeps a worker for reuse only when its class is the one that ReusableClass names, so every
  // class that names itself there resets each field it adds.
  virtual void Reuse(void *AInstance, PTypeInfo AType);
  // The class whose workers a run may keep and use again for further children (nil: none).
  virtual TClass ReusableClass() const noexcept { return nullptr; }
  // Whether this worker's class is the one its ReusableClass names (asked for every value read;
  // answered once per worker, whose class never changes).
  bool IsReusableClass() const noexcept {
    if (FReusableState == 0) FReusableState = ClassType() == ReusableClass() ? 1 : 2;
    return FReusableState == 1;
  }

  TObjectList *FCreatedObjs = nullptr;
  Integer FArrIdx = -1;
  DelphiInterface<IVnDeserializerHelper> FIHelper;
  TVnDeserializerHelper *FCHelper = nullptr;
  TRttiField *FMemberField = nullptr;
  TRttiProperty *FMemberProp = nullptr;
  const TVnTypeInfo *FMemberTypeInfo = nullptr;
  TValue FMemberValue;
  TVnDeserializer *FParentDes = nullptr;

 private:
  void Init();
  bool IsArrayWorker(TVnTypeKind *AKind);
  void FreeRetiredNow() noexcept;
  void StoreInto(TVnDeserializer *AWorker, const TValue &AValue);
  // A worker that has handed back goes to the run's kept workers when its class allows it and
  // nothing else holds it; false when it is to be freed.
  bool Keep(TVnDeserializer *AWorker) noexcept;
  // A kept worker of the class, made as new for the instance; nil when none is kept.
  TVnDeserializer *TakeKept(TClass AClass, void *AInstance, PTypeInfo AType);
  void FreeKept() noexcept;
  // The worker whose parse the events come from (nil outside a run), and on that worker the
  // one that takes them now.
  TVnDeserializer *FRoot = nullptr;
  TVnDeserializer *FCurrent = nullptr;
  std::vector<TVnDeserializer *> FRetired;
  // On the run's root: the workers kept for reuse.
  std::vector<TVnDeserializer *> FKept;
  // The instance the run created for itself (no instance given): freed when the run fails.
  TObject *FCreatedRoot = nullptr;
  bool FHandedBack = false;
  // Between DeserializeStartType and DeserializeEndType.
  bool FStarted = false;
  bool FEnded = false;
  // IsReusableClass: 0 not asked yet, 1 yes, 2 no.
  mutable unsigned char FReusableState = 0;
};

// ---------------------------------------------------------------------------------------------
// Registration. Called from the start-up of units, before use.

// Makes a persistent class findable by name (RegisterClass).
void VnRegisterType(TClass AClass);
void VnRegisterType(PTypeInfo AType);
// The serializer and deserializer of a type in one format. A nil type handle registers the
// format's default. Either class may be nil. The first registration for a type and format
// stands.
void VnRegisterSerializer(TVnDataSerializationFormatType AFormat, TClass AClass,
                          TVnSerializerClass ASerializer, TVnDeserializerClass ADeserializer);
void VnRegisterSerializer(TVnDataSerializationFormatType AFormat, PTypeInfo AType,
                          TVnSerializerClass ASerializer, TVnDeserializerClass ADeserializer);
// Helpers of a class (descendants before ancestors), or of a generic type by its text name
// ("TObjectList<T>"), which only the writer's lookup uses.
void VnRegisterSerializerHelper(TClass AClass, TVnSerializerHelperClass ASerializer,
                                TVnDeserializerHelperClass ADeserializer);
void VnRegisterSerializerHelper(const UnicodeString &ATypeName,
                                TVnSerializerHelperClass ASerializer,
                                TVnDeserializerHelperClass ADeserializer);
// The head of the helper registry.
const TVnSerializerHelperReg *VnSerializerHelpers();

// Lookup: the class of the pair found for the type, or nil.
TVnSerializerClass VnFindSerializerClass(TVnDataSerializationFormatType AFormat, PTypeInfo AType);
TVnSerializerClass VnFindSerializerClassEx(TVnDataSerializationFormatType AFormat,
                                           const TVnTypeInfo *AType);
TVnDeserializerClass VnFindDeserializerClass(TVnDataSerializationFormatType AFormat,
                                             PTypeInfo AType);
TVnDeserializerClass VnFindDeserializerClassEx(TVnDataSerializationFormatType AFormat,
                                               const TVnTypeInfo *AType);

// A new serializer for a value; the caller frees it. None registered raises Exception.
TVnSerializer *VnCreateSerializer(TVnDataSerializationFormatType AFormat, const TValue &AValue);
TVnSerializer *VnCreateSerializer(TVnDataSerializationFormatType AFormat, void *AInstance,
                                  PTypeInfo AType);
TVnSerializer *VnCreateSerializerEx(TVnDataSerializationFormatType AFormat, void *AInstance,
                                    const TVnTypeInfo *AType);

// The document of a value, in UTF-8.
RawByteString VnSerialize(TVnDataSerializationFormatType AFormat, const TValue &AValue);
RawByteString VnSerialize(TVnDataSerializationFormatType AFormat, void *AInstance, PTypeInfo AType);
RawByteString VnSerializeEx(TVnDataSerializationFormatType AFormat, void *AInstance,
                            const TVnTypeInfo *AType);
void VnSerialize(TVnDataSerializationFormatType AFormat, const TValue &AValue, TStream *AStream);
void VnSerialize(TVnDataSerializationFormatType AFormat, void *AInstance, PTypeInfo AType,
                 TStream *AStream);
void VnSerializeEx(TVnDataSerializationFormatType AFormat, void *AInstance,
                   const TVnTypeInfo *AType, TStream *AStream);

// Reading. Each function creates the worker, runs it and frees it. AList receives the objects
// that the reader creates below the root (members that were nil): without it they belong to the
// worker and are destroyed with it at the end of the call, so they do not outlive it; with a
// list they go into it, to be freed by its own OwnsObjects; with nullptr nobody records them
// and they stay alive, attached to the instance. A class that frees its members itself reads
// with nullptr. The result is the address of the instance (a new one when none was given).
TVnDeserializer *VnCreateDeserializer(TVnDataSerializationFormatType AFormat, const TValue &AValue);
TVnDeserializer *VnCreateDeserializer(TVnDataSerializationFormatType AFormat, void *AInstance,
                                      PTypeInfo AType);
TVnDeserializer *VnCreateDeserializerEx(TVnDataSerializationFormatType AFormat, void *AInstance,
                                        const TVnTypeInfo *AType);

void *VnDeserialize(TVnDataSerializationFormatType AFormat, const TValue &AValue,
                    const RawByteString &AData);
void *VnDeserialize(TVnDataSerializationFormatType AFormat, const TValue &AValue,
                    const RawByteString &AData, TObjectList *AList);
void *VnDeserialize(TVnDataSerializationFormatType AFormat, void *AInstance, PTypeInfo AType,
                    const RawByteString &AData);
void *VnDeserializeEx(TVnDataSerializationFormatType AFormat, void *AInstance,
                      const TVnTypeInfo *AType, const RawByteString &AData);
void *VnDeserialize(TVnDataSerializationFormatType AFormat, const TValue &AValue, TStream *AStream);
void *VnDeserialize(TVnDataSerializationFormatType AFormat, const TValue &AValue, TStream *AStream,
                    TObjectList *AList);
void *VnDeserialize(TVnDataSerializationFormatType AFormat, void *AInstance, PTypeInfo AType,
                    TStream *AStream);
void *VnDeserializeEx(TVnDataSerializationFormatType AFormat, void *AInstance,
                      const TVnTypeInfo *AType, TStream *AStream);
// A value of an ordinal type from a document's number: an enumeration's ordinal outside its
// range raises EConvertError "The ordinal %d is out of the range of %s!" (the type's name).
TValue VnOrdinalValue(PTypeInfo AType, Int64 AOrdinal);

// The typed form: fills AObject, or creates an instance of T when AObject is nil; objects
// created below it stay attached to it.
template <class T>
T *VnDeserializeObject(TVnDataSerializationFormatType AFormat, const RawByteString &AData,
                       T *AObject = nullptr) {
  return static_cast<T *>(
      static_cast<TObject *>(VnDeserialize(AFormat, TValue(AObject), AData, nullptr)));
}
template <class T, std::same_as<std::string_view> V>
T *VnDeserializeObject(TVnDataSerializationFormatType AFormat, V AData, T *AObject = nullptr) {
  return VnDeserializeObject<T>(AFormat, RawByteString(AData), AObject);
}

// The object that the document describes, of the class its "className" (JSON) or xsi:type
// (XML) names. With an owner and a parent, as the parameters "Owner" and "Parent" of the run.
TObject *VnCreateFrom(TVnDataSerializationFormatType AFormat, const RawByteString &AData);
TObject *VnCreateFrom(TVnDataSerializationFormatType AFormat, TComponent *AOwner,
                      const RawByteString &AData);
TObject *VnCreateFrom(TVnDataSerializationFormatType AFormat, TComponent *AOwner, TObject *AParent,
                      const RawByteString &AData);

// The document's bytes are UTF-8 text (or any page its declaration names), so a std::string or
// a narrow literal goes to the forms above as it is. A std::string_view goes to these, which
// take nothing else: an overload that a literal could also reach would make the literal
// ambiguous.
template <std::same_as<std::string_view> V>
void *VnDeserialize(TVnDataSerializationFormatType AFormat, const TValue &AValue, V AData) {
  return VnDeserialize(AFormat, AValue, RawByteString(AData));
}
template <std::same_as<std::string_view> V>
void *VnDeserialize(TVnDataSerializationFormatType AFormat, const TValue &AValue, V AData,
                    TObjectList *AList) {
  return VnDeserialize(AFormat, AValue, RawByteString(AData), AList);
}
template <std::same_as<std::string_view> V>
void *VnDeserialize(TVnDataSerializationFormatType AFormat, void *AInstance, PTypeInfo AType,
                    V AData) {
  return VnDeserialize(AFormat, AInstance, AType, RawByteString(AData));
}
template <std::same_as<std::string_view> V>
TObject *VnCreateFrom(TVnDataSerializationFormatType AFormat, V AData) {
  return VnCreateFrom(AFormat, RawByteString(AData));
}
template <std::same_as<std::string_view> V>
TObject *VnCreateFrom(TVnDataSerializationFormatType AFormat, TComponent *AOwner, V AData) {
  return VnCreateFrom(AFormat, AOwner, RawByteString(AData));
}
template <std::same_as<std::string_view> V>
TObject *VnCreateFrom(TVnDataSerializationFormatType AFormat, TComponent *AOwner, TObject *AParent,
                      V AData) {
  return VnCreateFrom(AFormat, AOwner, AParent, RawByteString(AData));
}

// The operations that every object has in serialization, as a small value over the object:
//   VnSerializer(order).AsJSON()
//   VnSerializer(order).AsXML(u"urn:shop")
class TVnSerializerClassHelper {
 public:
  explicit TVnSerializerClassHelper(TObject *ASelf) noexcept : FSelf(ASelf) {}
  RawByteString Serialize(TVnDataSerializationFormatType AFormat) const;
  // Fills the object from the document; members that the reader creates stay attached to it.
  void Deserialize(TVnDataSerializationFormatType AFormat, const RawByteString &AData) const;
  // A std::string_view of the document (see VnCreateFrom).
  template <std::same_as<std::string_view> V>
  void Deserialize(TVnDataSerializationFormatType AFormat, V AData) const {
    Deserialize(AFormat, RawByteString(AData));
  }
  RawByteString AsJSON() const;
  // "excludenamespaces" when AExcludeNamespaces, else "xmlns" when ANamespace is not empty.
  RawByteString AsXML(const UnicodeString &ANamespace = {}, bool AExcludeNamespaces = false) const;
  TObject *Self() const noexcept { return FSelf; }

 private:
  TObject *FSelf;
};
inline TVnSerializerClassHelper VnSerializer(TObject *AObject) noexcept {
  return TVnSerializerClassHelper(AObject);
}

// A name in another case. Mode 6: the first letter of each word upper case ("string" gives
// "String"); mode 7: the first letter of the first word lower case and of each further word
// upper case ("Customer" gives "customer"). Words are separated by ASeparator, which is kept;
// the other letters stay as they are. Mode 0 gives the text unchanged; any other mode raises
// EArgumentOutOfRangeException.
UnicodeString VnCharCase(UnicodeStringView AText, Integer AMode, char16_t ASeparator = u' ');

// Messages
extern const char16_t _SVnNoSerializer[];  // "There is no registered serializer for \"%s\"!"
extern const char16_t
    _SVnNoFormatSerializer[];                  // "There is no \"%s\" registered serializer for %s!"
extern const char16_t _SVnSerializeFailure[];  // "Serialization failure at \"%s\"\r\n"
// "There is no registered deserializer for \"%s\"!"
extern const char16_t _SVnNoDeserializer[];
// "There is no registered %s deserializer for %s!"
extern const char16_t _SVnNoFormatDeserializer[];

}  // namespace vn
