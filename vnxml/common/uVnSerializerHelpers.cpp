#include "vnxml/common/uVnSerializerHelpers.h"

#include "vnxml/rtl/Owned.h"

namespace vn {

namespace {

const char16_t cUnitName[] = u"uVnSerializerHelpers";

TRttiType *TypeOf(const TObject *AObject) {
  return TRttiContext::GetType(AObject->ClassType());
}

// The helpers reach a container through its reflected members only; a class that lacks one is
// not the container its helper was registered for.
[[noreturn]] void RaiseMissing(const TObject *AObject, const char16_t *AKind,
                               UnicodeStringView AName) {
  throw EVnSerializeException(Format(u"The class %s has no %s \"%s\"!",
                                     {TypeOf(AObject)->GetName(), AKind, UnicodeString(AName)}));
}

TObject *RequireObject(const TValue &AValue, const TObject *AOwner, UnicodeStringView AName) {
  TObject *o = AValue.AsObject();
  if (!o) RaiseMissing(AOwner, u"object in the property", AName);
  return o;
}

TValue ReadProperty(TObject *AObject, UnicodeStringView AName) {
  TRttiProperty *p = TypeOf(AObject)->GetProperty(AName);
  if (!p) RaiseMissing(AObject, u"property", AName);
  return p->GetValue(AObject);
}

TValue ReadItem(TObject *AObject, Integer AIndex) {
  TRttiIndexedProperty *p = TypeOf(AObject)->GetIndexedProperty(u"Items");
  if (!p) RaiseMissing(AObject, u"indexed property", u"Items");
  return p->GetValue(AObject, {TValue(AIndex)});
}

TValue CallMethod(TObject *AObject, UnicodeStringView AName, std::initializer_list<TValue> AArgs) {
  TRttiMethod *m = TypeOf(AObject)->GetMethod(AName);
  if (!m) RaiseMissing(AObject, u"method", AName);
  return m->Invoke(AObject, AArgs);
}

const TVnTypeInfo *TypeInfoOf(const TObject *AObject) {
  return TVnTypes::GetTypeInfo(AObject->ClassType());
}

// The element type that a container's reflection name carries between "<" and the closing
// ">" ("TObjectList<shop.TItem>"); nil for a name without type argument. An element type that
// the registry does not know raises.
const TVnTypeInfo *ElementTypeOf(const TVnTypeInfo *AContainer) {
  UnicodeStringView name = AContainer->Name;
  std::size_t open = name.find(u'<');
  if (open == UnicodeStringView::npos || name.size() < open + 2) return nullptr;
  return TVnTypes::GetTypeInfo(name.substr(open + 1, name.size() - open - 2), tntQualifiedName,
                               true);
}

// The name of each element in documents: the element type's schema name, "TObject" for an
// untyped container.
UnicodeString ItemNameOf(const TVnTypeInfo *AElement) {
  return (AElement ? AElement : TVnTypes::Of<TObject>())->SchemaName();
}

TClass ClassOf(const TVnTypeInfo *AType) {
  if (!AType || !AType->RttiType || AType->RttiType->GetTypeKind() != tkClass) return nullptr;
  return AType->RttiType->AsInstance()->GetMetaclassType();
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Simple types

const TVnTypeInfo *TVnCustomSimpleType::ValueTypeInfo(TClass AClass) {
  TRttiType *type = TRttiContext::GetType(AClass);
  TRttiProperty *value = type ? type->GetProperty(u"Value") : nullptr;
  if (!value)
    throw EVnSerializeException(
        Format(u"The simple type %s has no property \"Value\" that gives the type of its value!",
               {type ? type->GetName() : UnicodeString(u"nil")}));
  return TVnTypes::GetTypeInfo(value->GetDataTypeHandle());
}

void TVnSimpleTypeSerializerHelper::Serialize(TVnSerializer *ASerializer,
                                              const UnicodeString &AName,
                                              const TVnTypeInfo *ATypeInfo, const TValue &AValue,
                                              bool &AHandled) {
  TObject *object = AValue.AsObject();
  const TVnTypeInfo *valueType =
      TVnCustomSimpleType::ValueTypeInfo(object ? object->ClassType() : ClassOf(ATypeInfo));
  ASerializer->SerializeName(AName, smtProperty, vtkClass, valueType->Kind);
  TValue value;
  if (object) {
    Variant v = static_cast<TVnCustomSimpleType *>(object)->GetAsVariant();
    if (!VarIsEmpty(v)) value = TValue::FromVariant(v);
  }
  ASerializer->SerializeValue(AName, valueType, value, -1);
  AHandled = true;
}

void TVnSimpleTypeDeserializerHelper::DeserializeValue(TVnDeserializer *ADeserializer,
                                                       const UnicodeString &, const UnicodeString &,
                                                       const UnicodeString &AValue,
                                                       const UnicodeString &, bool &AHandled) {
  auto *object = static_cast<TObject *>(ADeserializer->InstancePtr());
  if (!object || !object->InheritsFrom(TVnCustomSimpleType::StaticClass())) return;
  const TVnTypeInfo *target = TVnCustomSimpleType::ValueTypeInfo(object->ClassType());
  // The readers hand text over in its lexical form, escapes included: text values are decoded by
  // the notation first. Other kinds convert from the lexical form, by the notation's rules where
  // the plain conversion fails (dates, XML booleans).
  UnicodeString text =
      target->GetMainTypeKind() == mtkString ? ADeserializer->ValueToStr(AValue) : AValue;
  TValue value;
  if (!TValue(text).ToType(target->Handle, value))
    value = ADeserializer->ValueToVal(AValue, target->QualifiedName);
  static_cast<TVnCustomSimpleType *>(object)->SetAsValue(value);
  AHandled = true;
}

// ---------------------------------------------------------------------------------------------
// Lists of values

void TVnListSerializerHelper::Serialize(TVnSerializer *ASerializer, const UnicodeString &AName,
                                        const TVnTypeInfo *ATypeInfo, const TValue &AValue,
                                        bool &AHandled) {
  TObject *list = AValue.AsObject();
  if (!list) {
    // A nil list is a nil object member, as the walk writes one.
    AHandled = false;
    return;
  }
  UnicodeString item = ItemNameOf(ElementTypeOf(TypeInfoOf(list)));
  const TVnTypeInfo *array =
      TVnTypes::GetTypeInfo(u"ArrayOf" + VnCharCase(item, 6, u' '), tntSchemaName, true, mtkArray);
  ASerializer->SerializeName(AName, smtProperty, vtkClass, vtkDynArray);
  Owned<TVnSerializer> child(ASerializer->CreateChildSerializer(list, ATypeInfo));
  child->SerializeStartType(AName, array, -1);
  Integer count = ReadProperty(list, u"Count").AsInteger();
  for (Integer i = 0; i < count; ++i) {
    TValue v = ReadItem(list, i);
    child->SerializeValue(item, v.VnTypeInfo(), v, i);
  }
  child->SerializeEndType(AName, array, -1);
  AHandled = true;
}

void TVnListDeserializerHelper::DeserializeValue(TVnDeserializer *ADeserializer,
                                                 const UnicodeString &, const UnicodeString &,
                                                 const UnicodeString &AValue,
                                                 const UnicodeString &ADataType, bool &AHandled) {
  auto *list = static_cast<TObject *>(ADeserializer->InstancePtr());
  if (!list) return;
  // The data type of the value where the document gives a simple one; otherwise (JSON names the
  // list's own type, XML without namespaces none) the element type of the list.
  UnicodeString dataType = ADataType;
  const TVnTypeInfo *given =
      dataType.empty() ? nullptr : TVnTypes::GetTypeInfo(dataType, tntQualifiedName, false);
  if (!given || !given->GetIsSimpleType()) {
    if (const TVnTypeInfo *element = ElementTypeOf(TypeInfoOf(list)))
      dataType = element->QualifiedName;
  }
  TValue v = ADeserializer->ValueToVal(AValue, dataType);
  CallMethod(list, u"Add", {v});
  AHandled = true;
}

// ---------------------------------------------------------------------------------------------
// Lists of objects

void TVnObjectListSerializerHelper::Serialize(TVnSerializer *ASerializer,
                                              const UnicodeString &AName,
                                              const TVnTypeInfo *ATypeInfo, const TValue &AValue,
                                              bool &AHandled) {
  TObject *list = AValue.AsObject();
  if (!list) {
    AHandled = false;
    return;
  }
  const UnicodeString name = AName.empty() ? UnicodeString(u"Items") : AName;
  const TVnTypeInfo *element = ElementTypeOf(TypeInfoOf(list));
  UnicodeString item = ItemNameOf(element);
  const TVnTypeInfo *array = ATypeInfo->VirtualType(sdtArray);
  ASerializer->SerializeName(name, smtProperty, vtkClass, vtkDynArray);
  Owned<TVnSerializer> child(ASerializer->CreateChildSerializer(list, ATypeInfo));
  child->SerializeStartType(name, array, -1);
  Integer count = ReadProperty(list, u"Count").AsInteger();
  for (Integer i = 0; i < count; ++i) {
    TObject *object = ReadItem(list, i).AsObject();
    if (object) {
      // Each element under its actual class, so that a list of mixed classes reads back.
      const TVnTypeInfo *info = TypeInfoOf(object);
      child->SerializeChild(item, info->SchemaName(), object, info, i);
    } else {
      TClass declared = ClassOf(element);
      child->SerializeClass(item, declared ? declared : TObject::StaticClass(), nullptr, i);
    }
  }
  child->SerializeEndType(name, array, -1);
  AHandled = true;
}

TVnCanDeserialize TVnObjectListDeserializerHelper::CanDeserialize(TVnDeserializer *ADeserializer,
                                                                  UnicodeString &,
                                                                  UnicodeString &AName,
                                                                  UnicodeString &ADataType) {
  auto *list = static_cast<TObject *>(ADeserializer->InstancePtr());
  if (!list || !ReadProperty(list, u"OwnsObjects").AsBoolean()) return desNo;
  const TVnTypeInfo *info =
      ADataType.empty() ? nullptr : TVnTypes::GetTypeInfo(ADataType, tntQualifiedName, false);
  if (!info || info->Kind != vtkClass) return desNo;
  TObject *object = ADeserializer->CreateInstance(info);
  try {
    CallMethod(list, u"Add", {TValue(object)});
  } catch (...) {
    // Not taken by the list (a class the list does not hold): nobody else owns it.
    object->Free();
    throw;
  }
  ADeserializer->CreateChildDeserializer(AName, object, TypeInfoOf(object), nullptr);
  return desYes;
}

// ---------------------------------------------------------------------------------------------
// Dictionaries

void TVnDictionarySerializerHelper::Serialize(TVnSerializer *ASerializer,
                                              const UnicodeString &AName, const TVnTypeInfo *,
                                              const TValue &AValue, bool &AHandled) {
  TObject *dict = AValue.AsObject();
  if (!dict) {
    AHandled = false;
    return;
  }
  const UnicodeString name = AName.empty() ? UnicodeString(u"Items") : AName;
  const TVnTypeInfo *dictType = TVnTypes::Of<TSchemaDictionary>();
  const TVnTypeInfo *pairType = TVnTypes::Of<TSchemaPair>();
  TObject *keys = RequireObject(ReadProperty(dict, u"Keys"), dict, u"Keys");
  Integer count = ReadProperty(keys, u"Count").AsInteger();
  TValue keyArray = CallMethod(keys, u"ToArray", {});
  TObject *values = RequireObject(ReadProperty(dict, u"Values"), dict, u"Values");
  TValue valueArray = CallMethod(values, u"ToArray", {});
  ASerializer->SerializeName(name, smtProperty, vtkClass, vtkDynArray);
  Owned<TVnSerializer> child(ASerializer->CreateChildSerializer(dict, TypeInfoOf(dict)));
  child->SerializeStartType(name, dictType, -1);
  for (Integer i = 0; i < count; ++i) {
    TSchemaPair pair{keyArray.GetArrayElement(i), valueArray.GetArrayElement(i)};
    child->SerializeChild(u"item", u"KeyAndValue", &pair, pairType, i);
  }
  child->SerializeEndType(name, dictType, -1);
  AHandled = true;
}

// ---------------------------------------------------------------------------------------------
// Start-up

bool VnSerializerHelpersStartUp() {
  static const bool done = [] {
    RegisterType<TSchemaPair>(cUnitName, [](TTypeBuilder<TSchemaPair> &R) {
      R.Name(u"TSchemaPair");
      R.Field(u"Key", &TSchemaPair::Key);
      R.Field(u"Value", &TSchemaPair::Value);
    });
    RegisterType<TSchemaDictionary>(
        cUnitName, [](TTypeBuilder<TSchemaDictionary> &R) { R.Name(u"TSchemaDictionary"); });
    RegisterType<TVnCustomSimpleType>(cUnitName);
    // The helper classes by qualified name, for the hints shoSerializerHelper and
    // shoDeserializerHelper.
    RegisterType<TVnSimpleTypeSerializerHelper>(cUnitName);
    RegisterType<TVnSimpleTypeDeserializerHelper>(cUnitName);
    RegisterType<TVnListSerializerHelper>(cUnitName);
    RegisterType<TVnListDeserializerHelper>(cUnitName);
    RegisterType<TVnObjectListSerializerHelper>(cUnitName);
    RegisterType<TVnObjectListDeserializerHelper>(cUnitName);
    RegisterType<TVnDictionarySerializerHelper>(cUnitName);

    VnRegisterSerializerHelper(TVnCustomSimpleType::StaticClass(),
                               TVnSimpleTypeSerializerHelper::StaticClass(),
                               TVnSimpleTypeDeserializerHelper::StaticClass());
    VnRegisterSerializerHelper(TList::StaticClass(), TVnListSerializerHelper::StaticClass(),
                               TVnListDeserializerHelper::StaticClass());
    VnRegisterSerializerHelper(TObjectList::StaticClass(),
                               TVnObjectListSerializerHelper::StaticClass(),
                               TVnObjectListDeserializerHelper::StaticClass());
    VnRegisterSerializerHelper(u"TObjectList<T>", TVnObjectListSerializerHelper::StaticClass(),
                               TVnObjectListDeserializerHelper::StaticClass());
    VnRegisterSerializerHelper(u"TObjectDictionary<T,T>",
                               TVnDictionarySerializerHelper::StaticClass(), nullptr);
    return true;
  }();
  return done;
}

}  // namespace vn
