// Serializer helpers: containers whose content lies behind methods rather than members (value
// lists, object lists, dictionaries) and objects that stand for one simple value. The general
// walk cannot see into them; a helper, found for the container's class, writes the content
// through the writers of a child worker instead, and a deserializer helper reads it back.
//
// Including this header registers the helpers (the unit's start-up), in this order:
//
//   TVnCustomSimpleType       TVnSimpleTypeSerializerHelper  / TVnSimpleTypeDeserializerHelper
//   TList                     TVnListSerializerHelper        / TVnListDeserializerHelper
//   TObjectList               TVnObjectListSerializerHelper  / TVnObjectListDeserializerHelper
//   "TObjectList<T>"          TVnObjectListSerializerHelper  (writing only)
//   "TObjectDictionary<T,T>"  TVnDictionarySerializerHelper  (writing only)
//
// The helpers work through reflection alone: a list is anything derived from TList with the
// property "Count", the indexed property "Items" and the method "Add" (an object list also
// "OwnsObjects"); a dictionary is any class named "TObjectDictionary<K,V>" with the properties
// "Keys" and "Values", each an object with "Count" and "ToArray". The element type of a list
// comes from its reflection name: "TList<System.Integer>", "TObjectList<shop.TItem>".
//
// The typed containers below are such classes. Each instance type is registered once, after the
// registration of its element types, with VnDescribeContainer in its block:
//
//   VN_RTTI(TVnList<Integer>, u"shop") { VnDescribeContainer(R); }       // "TList<System.Integer>"
//   VN_RTTI(TVnObjectList<TItem>, u"shop") { VnDescribeContainer(R); }   //
//   "TObjectList<shop.TItem>" using TItemsByName = TVnObjectDictionary<UnicodeString, TItem *>;
//   VN_RTTI(TItemsByName, u"shop") { VnDescribeContainer(R); }
//
// A container is written by its helper only as a property (the walk asks for helpers on
// properties, not on fields) or as the root of a run.
#pragma once

#include <map>
#include <type_traits>
#include <vector>

#include "vnxml/common/uVnSerializer.h"

namespace vn {

// ---------------------------------------------------------------------------------------------
// The form of a dictionary in documents: one pair per entry.

// One entry of a dictionary as documents hold it: a key and its value.
struct TSchemaPair {
  TValue Key;
  TValue Value;
};
using TSchemaDictionary = std::vector<TSchemaPair>;

// ---------------------------------------------------------------------------------------------
// Objects that stand for one value

// The base of classes whose instances stand for one simple value: written as that value (not as
// an object with members) and read back from it. The type of the value is a matter of the class:
// it is the declared type of the class's reflected property "Value".
class TVnCustomSimpleType : public TPersistent {
  VN_CLASS(TVnCustomSimpleType, TPersistent)
 public:
  TVnCustomSimpleType() = default;

  // The value; Unassigned when the object holds none.
  virtual Variant GetAsVariant() const = 0;
  // Sets the value from a value of the value type (or one that converts to it); the empty value
  // clears it.
  virtual void SetAsValue(const TValue &AValue) = 0;

  // The value type of a class derived from TVnCustomSimpleType. A class without a reflected
  // property "Value" raises EVnSerializeException.
  static const TVnTypeInfo *ValueTypeInfo(TClass AClass);
  const TVnTypeInfo *ValueTypeInfo() const { return ValueTypeInfo(ClassType()); }
};

// A simple-type object that holds a value of type T, or none. A class derived from it registers
// the property "Value" with VnDescribeSimpleType:
//
//   class TCustomerId : public TVnSimpleType<Integer> {
//     VN_CLASS(TCustomerId, TVnSimpleType<Integer>)
//   };
//   VN_RTTI(TCustomerId, u"shop") { VnDescribeSimpleType(R); }
template <class T>
class TVnSimpleType : public TVnCustomSimpleType {
  VN_CLASS(TVnSimpleType, TVnCustomSimpleType)
 public:
  using TValueType = T;

  TVnSimpleType() = default;
  explicit TVnSimpleType(const T &AValue) : FValue(AValue), FHasValue(true) {}

  // The value; the default of T when there is none.
  const T &GetValue() const noexcept { return FValue; }
  void SetValue(const T &AValue) {
    FValue = AValue;
    FHasValue = true;
  }
  bool HasValue() const noexcept { return FHasValue; }
  void Clear() {
    FValue = T();
    FHasValue = false;
  }

  Variant GetAsVariant() const override {
    return FHasValue ? TValue::From<T>(FValue).AsVariant() : Variant();
  }
  void SetAsValue(const TValue &AValue) override {
    if (AValue.GetTypeKind() == tkUnknown)
      Clear();
    else
      SetValue(AValue.AsType<T>());
  }

 private:
  T FValue{};
  bool FHasValue = false;
};

// The registration of a class derived from TVnSimpleType<T>: its property "Value".
template <class C>
void VnDescribeSimpleType(TTypeBuilder<C> &R) {
  using B = TVnSimpleType<typename C::TValueType>;
  R.Property(u"Value", &B::GetValue, &B::SetValue);
}

// ---------------------------------------------------------------------------------------------
// Typed containers

// A list of values of type T: a TList whose items are the list's own copies of the values.
// Use the typed operations; the untyped ones of TList (Add of a pointer ...) do not know T.
template <class T>
class TVnList : public TList {
  VN_CLASS(TVnList, TList)
 public:
  TVnList() = default;
  ~TVnList() override { Clear(); }

  Integer Add(const T &AValue) { return TList::Add(new T(AValue)); }
  void Insert(Integer AIndex, const T &AValue) { TList::Insert(AIndex, new T(AValue)); }
  // The value at AIndex (EListError for a bad index); the default of T for a slot that SetCount
  // added.
  T Get(Integer AIndex) const {
    void *p = TList::Get(AIndex);
    return p ? *static_cast<T *>(p) : T();
  }
  void Put(Integer AIndex, const T &AValue) { TList::Put(AIndex, new T(AValue)); }
  T Items(Integer AIndex) const { return Get(AIndex); }
  T operator[](Integer AIndex) const { return Get(AIndex); }
  // The index of the first value equal to AValue, or -1.
  Integer IndexOf(const T &AValue) const {
    for (Integer i = 0; i < Count(); ++i)
      if (Get(i) == AValue) return i;
    return -1;
  }
  std::vector<T> ToArray() const {
    std::vector<T> r;
    r.reserve(static_cast<std::size_t>(Count()));
    for (Integer i = 0; i < Count(); ++i) r.push_back(Get(i));
    return r;
  }

 protected:
  void Notify(void *AItem, TListNotification AAction) override {
    inherited::Notify(AItem, AAction);
    if (AAction == lnDeleted) delete static_cast<T *>(AItem);
  }
};

// A list of objects of class T (or of its descendants) that frees them while it owns them.
template <class T>
class TVnObjectList : public TObjectList {
  VN_CLASS(TVnObjectList, TObjectList)
 public:
  explicit TVnObjectList(bool AOwnsObjects = true) : TObjectList(AOwnsObjects) {}
  TVnObjectList(TComponent *) = delete;

  Integer Add(T *AObject) { return TObjectList::Add(AObject); }
  void Insert(Integer AIndex, T *AObject) { TObjectList::Insert(AIndex, AObject); }
  T *Get(Integer AIndex) const { return static_cast<T *>(TObjectList::Get(AIndex)); }
  void Put(Integer AIndex, T *AObject) { TObjectList::Put(AIndex, AObject); }
  T *Items(Integer AIndex) const { return Get(AIndex); }
  T *operator[](Integer AIndex) const { return Get(AIndex); }
  Integer IndexOf(T *AObject) const { return TObjectList::IndexOf(AObject); }
  Integer Remove(T *AObject) { return TObjectList::Remove(AObject); }
  T *Extract(T *AObject) { return static_cast<T *>(TObjectList::Extract(AObject)); }
};

// The keys or the values of a dictionary, in the dictionary's order.
template <class T>
class TVnEnumerable : public TObject {
  VN_CLASS(TVnEnumerable, TObject)
 public:
  virtual Integer Count() const = 0;
  virtual std::vector<T> ToArray() const = 0;
};

namespace detail {
template <class T>
constexpr bool VnIsObjectPointer =
    std::is_pointer_v<T> &&std::is_base_of_v<TObject, std::remove_pointer_t<T>>;
}

// A dictionary from K to V in the order of its keys (K needs operator<). With V a pointer to an
// object and AOwnsValues, the dictionary frees the values it removes or replaces, and those it
// holds when it goes.
template <class K, class V>
class TVnObjectDictionary : public TObject {
  VN_CLASS(TVnObjectDictionary, TObject)
 public:
  explicit TVnObjectDictionary(bool AOwnsValues = true)
      : FOwnsValues(AOwnsValues), FKeys(this), FValues(this) {}
  TVnObjectDictionary(TComponent *) = delete;
  TVnObjectDictionary(const TVnObjectDictionary &) = delete;
  TVnObjectDictionary &operator=(const TVnObjectDictionary &) = delete;
  ~TVnObjectDictionary() override { Clear(); }

  Integer Count() const noexcept { return static_cast<Integer>(FMap.size()); }
  bool OwnsValues() const noexcept { return FOwnsValues; }
  // Raises EListError "Duplicates not allowed" for a key that is there already.
  void Add(const K &AKey, const V &AValue) {
    if (FMap.count(AKey)) throw EListError(u"Duplicates not allowed");
    FMap.emplace(AKey, AValue);
  }
  void AddOrSetValue(const K &AKey, const V &AValue) {
    auto it = FMap.find(AKey);
    if (it == FMap.end()) {
      FMap.emplace(AKey, AValue);
      return;
    }
    V old = it->second;
    it->second = AValue;
    // Setting the value a key holds already keeps it.
    if constexpr (detail::VnIsObjectPointer<V>) {
      if (old != AValue) Release(old);
    }
  }
  // Removes the key and, when owned, frees its value; false when it is not there.
  bool Remove(const K &AKey) {
    auto it = FMap.find(AKey);
    if (it == FMap.end()) return false;
    V old = it->second;
    FMap.erase(it);
    Release(old);
    return true;
  }
  void Clear() {
    std::map<K, V> old;
    old.swap(FMap);
    for (auto &e : old) Release(e.second);
  }
  bool ContainsKey(const K &AKey) const { return FMap.count(AKey) != 0; }
  bool TryGetValue(const K &AKey, V &AValue) const {
    auto it = FMap.find(AKey);
    if (it == FMap.end()) return false;
    AValue = it->second;
    return true;
  }
  // Raises EListError "Item not found" for a key that is not there.
  V GetItem(const K &AKey) const {
    auto it = FMap.find(AKey);
    if (it == FMap.end()) throw EListError(u"Item not found");
    return it->second;
  }
  void SetItem(const K &AKey, const V &AValue) { AddOrSetValue(AKey, AValue); }

  TVnEnumerable<K> *Keys() noexcept { return &FKeys; }
  TVnEnumerable<V> *Values() noexcept { return &FValues; }

  typename std::map<K, V>::const_iterator begin() const noexcept { return FMap.begin(); }
  typename std::map<K, V>::const_iterator end() const noexcept { return FMap.end(); }

 private:
  class TKeys : public TVnEnumerable<K> {
   public:
    explicit TKeys(const TVnObjectDictionary *AOwner) : FOwner(AOwner) {}
    Integer Count() const override { return FOwner->Count(); }
    std::vector<K> ToArray() const override {
      std::vector<K> r;
      for (const auto &e : FOwner->FMap) r.push_back(e.first);
      return r;
    }

   private:
    const TVnObjectDictionary *FOwner;
  };
  class TValues : public TVnEnumerable<V> {
   public:
    explicit TValues(const TVnObjectDictionary *AOwner) : FOwner(AOwner) {}
    Integer Count() const override { return FOwner->Count(); }
    std::vector<V> ToArray() const override {
      std::vector<V> r;
      for (const auto &e : FOwner->FMap) r.push_back(e.second);
      return r;
    }

   private:
    const TVnObjectDictionary *FOwner;
  };

  void Release(const V &AValue) {
    if constexpr (detail::VnIsObjectPointer<V>) {
      if (FOwnsValues) TObject::Free(AValue);
    }
  }

  std::map<K, V> FMap;
  bool FOwnsValues;
  TKeys FKeys;
  TValues FValues;
};

namespace detail {
// The qualified name of a type, as a container's reflection name carries it.
template <class T>
UnicodeString VnContainerArgName() {
  return TypeInfo<T>()->RttiType()->GetQualifiedName();
}
template <class T>
void VnDescribeEnumerable(const UnicodeString &AUnitName) {
  RegisterType<TVnEnumerable<T>>(AUnitName, [](TTypeBuilder<TVnEnumerable<T>> &E) {
    E.Name(u"TEnumerable<" + VnContainerArgName<T>() + u">");
    E.Property(u"Count", &TVnEnumerable<T>::Count, nullptr, mvPublic);
    E.Method(u"ToArray", &TVnEnumerable<T>::ToArray);
  });
}
}  // namespace detail

// The registrations of the typed containers: the name that carries the element types, and the
// typed members that the helpers call. Count, OwnsObjects and the untyped members come from the
// registrations of TList and TObjectList.
template <class T>
void VnDescribeContainer(TTypeBuilder<TVnList<T>> &R) {
  R.Name(u"TList<" + detail::VnContainerArgName<T>() + u">");
  R.IndexedProperty(u"Items", &TVnList<T>::Get, &TVnList<T>::Put);
  R.Method(u"Add", &TVnList<T>::Add, mvPublic, {u"Value"});
  R.Method(u"ToArray", &TVnList<T>::ToArray);
}
template <class T>
void VnDescribeContainer(TTypeBuilder<TVnObjectList<T>> &R) {
  R.Name(u"TObjectList<" + detail::VnContainerArgName<T>() + u">");
  R.IndexedProperty(u"Items", &TVnObjectList<T>::Get, &TVnObjectList<T>::Put);
  R.Method(u"Add", &TVnObjectList<T>::Add, mvPublic, {u"AObject"});
}
template <class K, class V>
void VnDescribeContainer(TTypeBuilder<TVnObjectDictionary<K, V>> &R) {
  using D = TVnObjectDictionary<K, V>;
  UnicodeString unit = R.Data().UnitName;
  detail::VnDescribeEnumerable<K>(unit);
  detail::VnDescribeEnumerable<V>(unit);
  R.Name(u"TObjectDictionary<" + detail::VnContainerArgName<K>() + u"," +
         detail::VnContainerArgName<V>() + u">");
  R.Property(u"Count", &D::Count, nullptr, mvPublic);
  R.Property(u"Keys", &D::Keys, nullptr, mvPublic);
  R.Property(u"Values", &D::Values, nullptr, mvPublic);
  R.IndexedProperty(u"Items", &D::GetItem, &D::SetItem);
  R.Method(u"Add", &D::Add, mvPublic, {u"Key", u"Value"});
}

// ---------------------------------------------------------------------------------------------
// The helpers. None has state; the registry makes one per member.

// A simple-type object: its value under the member's name, typed by the class's value type.
class TVnSimpleTypeSerializerHelper : public TVnSerializerHelper {
  VN_CLASS(TVnSimpleTypeSerializerHelper, TVnSerializerHelper)
 public:
  void Serialize(TVnSerializer *ASerializer, const UnicodeString &AName,
                 const TVnTypeInfo *ATypeInfo, const TValue &AValue, bool &AHandled) override;
};

// Reads the value of a simple-type object: the text converted to the class's value type.
class TVnSimpleTypeDeserializerHelper : public TVnDeserializerHelper {
  VN_CLASS(TVnSimpleTypeDeserializerHelper, TVnDeserializerHelper)
 public:
  void DeserializeValue(TVnDeserializer *ADeserializer, const UnicodeString &AUri,
                        const UnicodeString &AName, const UnicodeString &AValue,
                        const UnicodeString &ADataType, bool &AHandled) override;
};

// A list of values: an array with one simple value per item.
class TVnListSerializerHelper : public TVnSerializerHelper {
  VN_CLASS(TVnListSerializerHelper, TVnSerializerHelper)
 public:
  void Serialize(TVnSerializer *ASerializer, const UnicodeString &AName,
                 const TVnTypeInfo *ATypeInfo, const TValue &AValue, bool &AHandled) override;
};

// Adds each value read to the list ("Add").
class TVnListDeserializerHelper : public TVnDeserializerHelper {
  VN_CLASS(TVnListDeserializerHelper, TVnDeserializerHelper)
 public:
  void DeserializeValue(TVnDeserializer *ADeserializer, const UnicodeString &AUri,
                        const UnicodeString &AName, const UnicodeString &AValue,
                        const UnicodeString &ADataType, bool &AHandled) override;
};

// A list of objects: an array with one object per item, each under its actual class, so that a
// list of mixed classes reads back.
class TVnObjectListSerializerHelper : public TVnSerializerHelper {
  VN_CLASS(TVnObjectListSerializerHelper, TVnSerializerHelper)
 public:
  void Serialize(TVnSerializer *ASerializer, const UnicodeString &AName,
                 const TVnTypeInfo *ATypeInfo, const TValue &AValue, bool &AHandled) override;
};

// Fills a list that owns its objects: each element whose data type names a class becomes a new
// object of that class, added to the list and read by a child worker. A list that does not own
// its objects, and an element without a data type (JSON gives none), is passed over.
class TVnObjectListDeserializerHelper : public TVnDeserializerHelper {
  VN_CLASS(TVnObjectListDeserializerHelper, TVnDeserializerHelper)
 public:
  TVnCanDeserialize CanDeserialize(TVnDeserializer *ADeserializer, UnicodeString &AUri,
                                   UnicodeString &AName, UnicodeString &ADataType) override;
};

// A dictionary: an array of TSchemaPair records, one per entry, each named "item". There is no
// reader for this form.
class TVnDictionarySerializerHelper : public TVnSerializerHelper {
  VN_CLASS(TVnDictionarySerializerHelper, TVnSerializerHelper)
 public:
  void Serialize(TVnSerializer *ASerializer, const UnicodeString &AName,
                 const TVnTypeInfo *ATypeInfo, const TValue &AValue, bool &AHandled) override;
};

// The unit's start-up: registers TSchemaPair, TSchemaDictionary and TVnCustomSimpleType, and the
// helpers in the order above. Runs once.
bool VnSerializerHelpersStartUp();
namespace detail {
[[maybe_unused]] inline const bool cVnSerializerHelpersUnit = VnSerializerHelpersStartUp();
}  // namespace detail

}  // namespace vn
