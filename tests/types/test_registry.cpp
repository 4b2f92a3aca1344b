// The type registry of the library: records, kinds, names in three name spaces, schema names,
// virtual arrays, serializer pairs, and the variant side.
#include <gtest/gtest.h>

#include "vnxml/common/uVnTypes.h"
#include "vnxml/rtl/Classes.h"
#include "vnxml/rtl/Streams.h"

using namespace vn;

// The ordinals are part of the contract: the serializers test ranges of them.
static_assert(vtkString == 15 && vtkBoolean == 18 && vtkVariant == 24 && vtkCustomSimple == 30 &&
              vtkClassRef == 34);
static_assert(mtkComplex == 7 && tntSchemaName == 2 && dsfXML == 1 && sdtArray == 2);
static_assert(tkUString == 18 && tkProcedure == 21);

namespace rtest {

struct TPoint {
  Integer X = 0, Y = 0;
};
VN_RTTI(TPoint, u"rtest") {
  R.Field(u"X", &TPoint::X).Field(u"Y", &TPoint::Y);
}

// A record that stands for one simple value.
struct TNullableInt {
  Integer Value = 0;
  UnicodeString HasValue;
};
VN_RTTI(TNullableInt, u"rtest") {
  R.CustomSimple(u"int");
}

struct TNotRegistered {
  Integer A = 0;
};

class TBase : public TPersistent {
  VN_CLASS(TBase, TPersistent)
};
class TMiddle : public TBase {
  VN_CLASS(TMiddle, TBase)
};
class TLeaf : public TMiddle {
  VN_CLASS(TLeaf, TMiddle)
};

// A class that only the class table knows.
class TOnlyInTable : public TPersistent {
  VN_CLASS(TOnlyInTable, TPersistent)
};

// Serializer classes stand in for the real ones.
class TSerA : public TObject {
  VN_CLASS(TSerA, TObject)
};
class TSerB : public TObject {
  VN_CLASS(TSerB, TObject)
};
class TSerC : public TObject {
  VN_CLASS(TSerC, TObject)
};

}  // namespace rtest

using namespace rtest;

TEST(Registry, NilHandleAndDefaultPairs) {
  EXPECT_EQ(TVnTypes::GetTypeInfo(PTypeInfo(nullptr)), nullptr);
  EXPECT_EQ(TVnTypes::GetTypeInfo(TClass(nullptr)), nullptr);
  EXPECT_EQ(TVnTypes::GetTypeInfo(static_cast<const TRttiType *>(nullptr)), nullptr);

  const TVnSerializerPair json{TSerA::StaticClass(), TSerB::StaticClass()};
  TVnTypes::RegisterTypeSerializers(nullptr, dsfJSON, &json);
  const TVnSerializerPair *found = TVnTypes::FindSerializers(nullptr, dsfJSON);
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->Serializer, TSerA::StaticClass());
  EXPECT_EQ(found->Deserializer, TSerB::StaticClass());
  // The first default stands.
  const TVnSerializerPair other{TSerC::StaticClass(), nullptr};
  TVnTypes::RegisterTypeSerializers(nullptr, dsfJSON, &other);
  EXPECT_EQ(TVnTypes::FindSerializers(nullptr, dsfJSON)->Serializer, TSerA::StaticClass());
  // A record with no pair of its own gets the default.
  EXPECT_EQ(TVnTypes::FindSerializers(TVnTypes::Of<TPoint>(), dsfJSON)->Serializer,
            TSerA::StaticClass());
  EXPECT_THROW(TVnTypes::RegisterTypeSerializers(nullptr, dsfXML, nullptr), EArgumentNilException);
}

// A class without a pair of its own gets its nearest registered ancestor's, for each format
// on its own.
TEST(Registry, FindSerializersWalksUpToTheNearestRegisteredAncestor) {
  const TVnSerializerPair base{TSerA::StaticClass(), nullptr};
  const TVnSerializerPair middle{TSerB::StaticClass(), TSerB::StaticClass()};
  const TVnSerializerPair xml{TSerC::StaticClass(), nullptr};
  TVnTypes::RegisterTypeSerializers(TypeInfo<TBase>(), dsfJSON, &base);
  TVnTypes::RegisterTypeSerializers(TypeInfo<TMiddle>(), dsfJSON, &middle);
  TVnTypes::RegisterTypeSerializers(TypeInfo<TBase>(), dsfXML, &xml);

  EXPECT_EQ(TVnTypes::FindSerializers(TVnTypes::Of<TLeaf>(), dsfJSON)->Serializer,
            TSerB::StaticClass());
  EXPECT_EQ(TVnTypes::FindSerializers(TVnTypes::Of<TBase>(), dsfJSON)->Serializer,
            TSerA::StaticClass());
  EXPECT_EQ(TVnTypes::FindSerializers(TVnTypes::Of<TLeaf>(), dsfXML)->Serializer,
            TSerC::StaticClass());
  // The pair was copied: the caller's storage may go.
  const TVnSerializerPair *p = TVnTypes::FindSerializers(TVnTypes::Of<TMiddle>(), dsfJSON);
  EXPECT_NE(p, &middle);
  EXPECT_EQ(p->Deserializer, TSerB::StaticClass());
  EXPECT_THROW(TVnTypes::FindSerializers(nullptr, TVnDataSerializationFormatType(2)),
               EArgumentOutOfRangeException);
}

TEST(Registry, TheLibrarysSimpleTypesByName) {
  const TVnTypeInfo *s = TVnTypes::GetTypeInfo(u"string", tntName, true, mtkString);
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(s->Kind, vtkString);
  EXPECT_EQ(s->Handle, TypeInfo<UnicodeString>());
  EXPECT_EQ(s->QualifiedName, u"System.string");

  struct TCase {
    const char16_t *QualifiedName;
    PTypeInfo Handle;
    TVnTypeKind Kind;
  };
  const TCase cases[] = {
      {u"System.Integer", TypeInfo<Integer>(), vtkLongInt},
      {u"System.Int64", TypeInfo<Int64>(), vtkInt64},
      {u"System.Boolean", TypeInfo<bool>(), vtkBoolean},
      {u"System.Extended", TypeInfo<TExtendedAlias>(), vtkExtended},
      {u"System.Double", TypeInfo<Double>(), vtkDouble},
      {u"System.Rtti.TValue", TypeInfo<TValue>(), vtkRecord},
      {u"System.WideString", TypeInfo<TWideStringAlias>(), vtkWideString},
      {u"System.AnsiChar", TypeInfo<char>(), vtkAnsiChar},
      {u"System.Char", TypeInfo<char16_t>(), vtkWideChar},
      {u"System.TDate", TypeInfo<TDate>(), vtkDate},
      {u"System.TTime", TypeInfo<TTime>(), vtkTime},
      {u"System.TDateTime", TypeInfo<TDateTime>(), vtkDateTime},
      {u"uVnDateTimeUtils.TVnUTCDate", TypeInfo<TVnUTCDate>(), vtkDate},
      {u"uVnDateTimeUtils.TVnUTCTime", TypeInfo<TVnUTCTime>(), vtkTime},
      {u"uVnDateTimeUtils.TVnUTCDateTime", TypeInfo<TVnUTCDateTime>(), vtkDateTime},
      {u"uVnTypes.VnXMLString", TypeInfo<TVnXMLStringAlias>(), vtkString},
      {u"uVnTypes.VnJSONString", TypeInfo<TVnJSONStringAlias>(), vtkString},
      {u"System.Classes.TStringList", TypeInfo<TStringList>(), vtkClass},
      {u"System.Variant", TypeInfo<Variant>(), vtkVariant},
      {u"System.Pointer", TypeInfo<Pointer>(), vtkPointer},
      {u"System.TClass", TypeInfo<TClass>(), vtkClassRef},
      {u"System.Classes.TNotifyEvent", TypeInfo<TNotifyEvent>(), vtkMethod},
      {u"System.IInterface", TypeInfo<IInterface>(), vtkInterface},
  };
  for (const TCase &c : cases) {
    const TVnTypeInfo *i = TVnTypes::GetTypeInfo(c.QualifiedName, tntQualifiedName, true);
    ASSERT_NE(i, nullptr) << UTF8Encode(c.QualifiedName);
    EXPECT_EQ(i->Handle, c.Handle) << UTF8Encode(c.QualifiedName);
    EXPECT_EQ(i->Kind, c.Kind) << UTF8Encode(c.QualifiedName);
    EXPECT_EQ(i, TVnTypes::GetTypeInfo(c.Handle));
  }
  // The date types and the string aliases keep their own names.
  EXPECT_EQ(TVnTypes::Of<TVnUTCDate>()->Name, u"TVnUTCDate");
  EXPECT_EQ(TVnTypes::Of<TVnJSONStringAlias>()->Name, u"VnJSONString");
  EXPECT_NE(TVnTypes::Of<TVnXMLStringAlias>(), TVnTypes::Of<UnicodeString>());
}

TEST(Registry, LookupsByNameIgnoreCaseRespectTheMainKindAndRaiseOnRequest) {
  EXPECT_EQ(TVnTypes::GetTypeInfo(u"SYSTEM.INTEGER", tntQualifiedName), TVnTypes::Of<Integer>());
  EXPECT_EQ(TVnTypes::GetTypeInfo(u"integer", tntName), TVnTypes::Of<Integer>());
  // "Integer" is no schema name, and a name space is kept apart from the others.
  EXPECT_EQ(TVnTypes::GetTypeInfo(u"Integer", tntSchemaName), nullptr);
  EXPECT_EQ(TVnTypes::GetTypeInfo(u"int", tntSchemaName), TVnTypes::Of<Integer>());
  EXPECT_EQ(TVnTypes::GetTypeInfo(u"string", tntName, false, mtkInteger), nullptr);
  EXPECT_EQ(TVnTypes::GetTypeInfo(u"nothing", tntName, false), nullptr);
  try {
    TVnTypes::GetTypeInfo(u"nothing", tntSchemaName, true);
    FAIL() << "no exception";
  } catch (EVnException &E) {
    EXPECT_EQ(E.Message, u"The type \"nothing\" is unknown!");
  }
  // A custom simple record shares "int" with Integer; the first registered wins.
  EXPECT_EQ(TVnTypes::GetTypeInfo(u"int", tntSchemaName, false, mtkComplex),
            TVnTypes::Of<TNullableInt>());
  // The alias of TStringList, in every name space.
  for (TVnTypeNameType space : {tntName, tntQualifiedName, tntSchemaName})
    EXPECT_EQ(TVnTypes::GetTypeInfo(u"StringList", space), TVnTypes::Of<TStringList>());
  TVnTypes::RegisterTypeAlias(TypeInfo<TPoint>(), u"Point2D");
  TVnTypes::RegisterTypeAlias(TypeInfo<TPoint>(), u"Point2D");
  EXPECT_EQ(TVnTypes::GetTypeInfo(u"point2d", tntQualifiedName), TVnTypes::Of<TPoint>());
}

TEST(Registry, AClassInTheClassTableIsFoundByItsName) {
  EXPECT_EQ(TVnTypes::GetTypeInfo(u"TOnlyInTable", tntSchemaName), nullptr);
  RegisterClass(TOnlyInTable::StaticClass());
  const TVnTypeInfo *i = TVnTypes::GetTypeInfo(u"tonlyintable", tntSchemaName, true);
  EXPECT_EQ(i, TVnTypes::Of<TOnlyInTable>());
  EXPECT_EQ(i->Kind, vtkClass);
  EXPECT_EQ(TVnTypes::GetTypeInfo(u"TOnlyInTable", tntName, false, mtkComplex), i);
  EXPECT_EQ(TVnTypes::GetTypeInfo(u"TOnlyInTable", tntName, false, mtkString), nullptr);
  UnRegisterClass(TOnlyInTable::StaticClass());
}

TEST(Registry, ArraysBySchemaNameAreFoundOrMade) {
  const TVnTypeInfo *a = TVnTypes::GetTypeInfo(u"ArrayOfString", tntSchemaName, true, mtkArray);
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a->GetMainTypeKind(), mtkArray);
  ASSERT_NE(a->GetElementType(), nullptr);
  EXPECT_EQ(a->GetElementType()->Kind, vtkString);

  // No array type of points is registered: the virtual one of TPoint is made.
  const TVnTypeInfo *points =
      TVnTypes::GetTypeInfo(u"ArrayOfTPoint", tntSchemaName, true, mtkArray);
  EXPECT_EQ(points, TVnTypes::Of<TPoint>()->VirtualType(sdtArray));
  EXPECT_EQ(points->SchemaName(), u"ArrayOfTPoint");
  const TVnTypeInfo *nested =
      TVnTypes::GetTypeInfo(u"ArrayOfArrayOfInt", tntSchemaName, true, mtkArray);
  EXPECT_EQ(nested->GetElementType()->GetElementType(), TVnTypes::Of<Integer>());
  // Without the array kind nothing is made.
  EXPECT_EQ(TVnTypes::GetTypeInfo(u"ArrayOfTPoint", tntSchemaName), nullptr);
  EXPECT_EQ(TVnTypes::GetTypeInfo(u"ArrayOfNothing", tntSchemaName, false, mtkArray), nullptr);
}

TEST(Registry, VirtualArrayTypes) {
  const TVnTypeInfo *p = TVnTypes::Of<TPoint>();
  const TVnTypeInfo *v = p->VirtualType(sdtArray);
  EXPECT_EQ(v, p->VirtualType(sdtArray));
  EXPECT_EQ(v->Kind, vtkDynArray);
  EXPECT_EQ(v->RttiType, nullptr);
  EXPECT_EQ(v->Handle, nullptr);
  EXPECT_EQ(v->GetKind(), tkDynArray);
  EXPECT_EQ(v->GetElementType(), p);
  EXPECT_FALSE(v->GetIsSimpleType());
  EXPECT_EQ(v->SchemaName(u"xsd"), u"xsd:ArrayOfTPoint");
  EXPECT_THROW(p->VirtualType(sdtSimple), EArgumentOutOfRangeException);
  EXPECT_EQ(TVnTypes::FindSerializers(v, dsfXML), TVnTypes::FindSerializers(nullptr, dsfXML));
}

TEST(Registry, SchemaNames) {
  struct TCase {
    const TVnTypeInfo *Info;
    const char16_t *Name;
  };
  const TCase cases[] = {
      {TVnTypes::Of<Byte>(), u"unsignedByte"},
      {TVnTypes::Of<Word>(), u"unsignedShort"},
      {TVnTypes::Of<Cardinal>(), u"unsignedInt"},
      {TVnTypes::Of<UInt64>(), u"unsignedLong"},
      {TVnTypes::Of<ShortInt>(), u"byte"},
      {TVnTypes::Of<SmallInt>(), u"short"},
      {TVnTypes::Of<Integer>(), u"int"},
      {TVnTypes::Of<Int64>(), u"long"},
      {TVnTypes::Of<Single>(), u"float"},
      {TVnTypes::Of<Double>(), u"double"},
      {TVnTypes::Of<TExtendedAlias>(), u"decimal"},
      {TVnTypes::Of<UnicodeString>(), u"string"},
      {TVnTypes::Of<AnsiString>(), u"string"},
      {TVnTypes::Of<bool>(), u"boolean"},
      {TVnTypes::Of<TDate>(), u"date"},
      {TVnTypes::Of<TVnUTCTime>(), u"time"},
      {TVnTypes::Of<TDateTime>(), u"dateTime"},
      {TVnTypes::Of<Variant>(), u"anyType"},
      {TVnTypes::Of<TPoint>(), u"TPoint"},
      {TVnTypes::Of<TLeaf>(), u"TLeaf"},
      {TVnTypes::Of<TNullableInt>(), u"int"},
      {TVnTypes::Of<std::vector<Integer>>(), u"ArrayOfInt"},
      {TVnTypes::Of<std::array<bool, 2>>(), u"ArrayOfBoolean"},
      {TVnTypes::Of<std::vector<UnicodeString>>(), u"ArrayOfString"},
      {TVnTypes::Of<std::vector<TPoint>>(), u"ArrayOfTPoint"},
  };
  for (const TCase &c : cases) EXPECT_EQ(c.Info->SchemaName(), c.Name) << UTF8Encode(c.Name);
  EXPECT_EQ(TVnTypes::Of<Integer>()->SchemaName(u"xs"), u"xs:int");
}

TEST(Registry, KindsMainKindsAndSimpleness) {
  EXPECT_EQ(TVnTypes::Of<TNullableInt>()->Kind, vtkCustomSimple);
  EXPECT_TRUE(TVnTypes::Of<TNullableInt>()->GetIsSimpleType());
  EXPECT_EQ(TVnTypes::Of<TNullableInt>()->GetKind(), tkRecord);
  EXPECT_TRUE(TVnTypes::Of<Variant>()->GetIsSimpleType());
  EXPECT_FALSE(TVnTypes::Of<TPoint>()->GetIsSimpleType());
  EXPECT_FALSE(TVnTypes::Of<std::vector<Integer>>()->GetIsSimpleType());
  EXPECT_EQ(TVnTypes::Of<TValue>()->GetKind(), tkRecord);

  // An unregistered record has a record of kind vtkUnknown.
  const TVnTypeInfo *u = TVnTypes::Of<TNotRegistered>();
  ASSERT_NE(u, nullptr);
  EXPECT_EQ(u->Kind, vtkUnknown);
  EXPECT_EQ(u->Name, u"TNotRegistered");

  struct TCase {
    TVnTypeKind Kind;
    TVnMainTypeKind Main;
  };
  const TCase cases[] = {
      {vtkUnknown, mtkUnknown}, {vtkByte, mtkInteger},    {vtkInt64, mtkInteger},
      {vtkEnum, mtkInteger},    {vtkSet, mtkInteger},     {vtkSingle, mtkFloat},
      {vtkExtended, mtkFloat},  {vtkWideChar, mtkString}, {vtkWideString, mtkString},
      {vtkBoolean, mtkBoolean}, {vtkDate, mtkDateTime},   {vtkDateTime, mtkDateTime},
      {vtkVariant, mtkUnknown}, {vtkArray, mtkArray},     {vtkDynArray, mtkArray},
      {vtkRecord, mtkComplex},  {vtkClass, mtkComplex},   {vtkInterface, mtkComplex},
      {vtkPointer, mtkUnknown}, {vtkClassRef, mtkUnknown}};
  for (const TCase &c : cases) EXPECT_EQ(TVnTypes::ToMainTypeKind(c.Kind), c.Main) << int(c.Kind);

  // The kinds print by their value names.
  EXPECT_EQ(GetEnumName(vtkCustomSimple), u"vtkCustomSimple");
  EXPECT_EQ(GetEnumName(mtkDateTime), u"mtkDateTime");
  EXPECT_EQ(GetEnumName(tkDynArray), u"tkDynArray");
  EXPECT_EQ(GetEnumValue(TypeInfo<TVnTypeKind>(), u"vtkClassRef"), 34);
}

TEST(Registry, VariantSide) {
  EXPECT_EQ(TVnTypes::GetVarType(u"int", tntSchemaName), varInteger);
  EXPECT_EQ(TVnTypes::GetVarType(u"System.Int64", tntQualifiedName), varInt64);
  EXPECT_EQ(TVnTypes::GetVarType(u"dateTime", tntSchemaName), varDate);
  EXPECT_EQ(TVnTypes::GetVarType(u"string", tntName), varUString);
  EXPECT_EQ(TVnTypes::GetVarType(u"WideString", tntName), varOleStr);
  EXPECT_EQ(TVnTypes::GetVarType(u"Currency", tntName), varCurrency);
  EXPECT_EQ(TVnTypes::GetVarType(u"TPoint", tntName), varRecord);
  EXPECT_EQ(TVnTypes::GetVarType(u"TStringList", tntName), varObject);
  EXPECT_EQ(TVnTypes::GetVarType(u"ArrayOfString", tntSchemaName), varArray);
  EXPECT_EQ(TVnTypes::GetVarType(u"nothing", tntName, 13), 13);
  EXPECT_EQ(TVnTypes::GetVarType(u"nothing", tntName), varUnknown);

  EXPECT_EQ(TVnTypes::VarTypeInfo(Variant(5)), TVnTypes::Of<Integer>());
  EXPECT_EQ(TVnTypes::VarTypeInfo(Variant(u"x")), TVnTypes::Of<UnicodeString>());
  EXPECT_EQ(TVnTypes::VarTypeInfo(Variant(TDateTime(1))), TVnTypes::Of<TDateTime>());
  EXPECT_EQ(TVnTypes::VarTypeInfo(Variant()), TVnTypes::Of<Variant>());
  EXPECT_EQ(TVnTypes::VarTypeInfo(Null()), TVnTypes::Of<Variant>());
  const TVnTypeInfo *arr = TVnTypes::VarTypeInfo(VarArrayOf({1, 2}));
  EXPECT_EQ(arr->Kind, vtkDynArray);
  EXPECT_EQ(arr->SchemaName(), u"ArrayOfAnyType");
  EXPECT_EQ(TVnTypes::VarTypeInfo(VarArrayCreate(0, 1, varByte))->SchemaName(),
            u"ArrayOfUnsignedByte");

  EXPECT_EQ(TVnTypes::VarMainTypeKind(Variant(1.5)), mtkFloat);
  EXPECT_EQ(TVnTypes::VarMainTypeKind(Variant(true)), mtkBoolean);
  EXPECT_EQ(TVnTypes::VarMainTypeKind(Variant(UInt64(1))), mtkInteger);
  EXPECT_EQ(TVnTypes::VarMainTypeKind(Variant(AnsiString("a"))), mtkString);
  EXPECT_EQ(TVnTypes::VarMainTypeKind(Variant(TDateTime(1))), mtkDateTime);
  EXPECT_EQ(TVnTypes::VarMainTypeKind(VarArrayOf({1})), mtkArray);
  EXPECT_EQ(TVnTypes::VarMainTypeKind(Null()), mtkUnknown);
}

TEST(Registry, ARecordMadeBeforeItsRegistrationIsBroughtUpToDate) {
  struct TLate {
    Integer N = 0;
  };
  const TVnTypeInfo *before = TVnTypes::Of<TLate>();
  EXPECT_EQ(before->Kind, vtkUnknown);
  RegisterType<TLate>(u"rtest",
                      [](TTypeBuilder<TLate> &R) { R.Name(u"TLate").Field(u"N", &TLate::N); });
  const TVnTypeInfo *after = TVnTypes::Of<TLate>();
  EXPECT_EQ(after, before);
  EXPECT_EQ(after->Kind, vtkRecord);
  EXPECT_EQ(after->QualifiedName, u"rtest.TLate");
  EXPECT_EQ(TVnTypes::GetTypeInfo(u"rtest.TLate", tntQualifiedName), after);
}

TEST(VariantHelpers, ConversionsWithDefaultAndRaiseFlag) {
  EXPECT_TRUE(VnVarToBool(Variant(u"TRUE")));
  EXPECT_TRUE(VnVarToBool(Variant(2)));
  EXPECT_FALSE(VnVarToBool(Variant(u"no"), false, false));
  EXPECT_TRUE(VnVarToBool(Variant(u"no"), true, false));
  EXPECT_THROW(VnVarToBool(Variant(u"no"), false, true), EConvertError);
  EXPECT_TRUE(VnVarToBool(Null(), true, true));

  EXPECT_EQ(VnVarToStr(Variant(1.5)), u"1.5");
  EXPECT_EQ(VnVarToStr(Null()), u"");
  EXPECT_EQ(VnVarToStr(Null(), u"d"), u"d");
  EXPECT_EQ(VnVarToStr(VarArrayOf({1}), u"d", false), u"d");
  EXPECT_THROW(VnVarToStr(VarArrayOf({1}), u"d", true), EConvertError);

  EXPECT_EQ(VnVarToExtended(Variant(u"2.5")), 2.5);
  EXPECT_EQ(VnVarToDouble(Variant(u"x"), 7.0), 7.0);
  EXPECT_THROW(VnVarToExtended(Variant(u"x"), 0.0, true), EConvertError);
  EXPECT_EQ(VnVarToInt64(Variant(u"9000000000")), 9000000000LL);
  EXPECT_EQ(VnVarToInt(Variant(u"12")), 12);
  EXPECT_EQ(VnVarToInt(Variant(Int64(1) << 40), -1), -1);
  // Overflow is a conversion error too.
  EXPECT_THROW(VnVarToInt(Variant(Int64(1) << 40), -1, true), EConvertError);
  EXPECT_EQ(VnVarToInt(Variant(), 5, true), 5);

  EXPECT_TRUE(VnVarBool(Variant(u"true"), false));
  EXPECT_TRUE(VnVarBool(Variant(u"bad"), true));
}

TEST(VariantHelpers, EmptinessAndArrayCount) {
  EXPECT_TRUE(VnVarIsEmpty(Variant()));
  EXPECT_TRUE(VnVarIsEmpty(Null()));
  EXPECT_TRUE(VnVarIsEmpty(Variant(static_cast<IInterface *>(nullptr))));
  EXPECT_TRUE(VnVarIsEmpty(VarArrayCreate(0, -1)));
  EXPECT_FALSE(VnVarIsEmpty(Variant(u"")));
  EXPECT_FALSE(VnVarIsEmpty(Variant(0)));
  EXPECT_FALSE(VnVarIsEmpty(VarArrayOf({Null()})));

  EXPECT_EQ(VnVarArrayCount(VarArrayOf({1, 2, 3})), 3);
  EXPECT_EQ(VnVarArrayCount(VarArrayCreate(2, 5)), 4);
  EXPECT_EQ(VnVarArrayCount(Variant(3)), 0);
  EXPECT_EQ(VnVarArrayCount(Null()), 0);
}
