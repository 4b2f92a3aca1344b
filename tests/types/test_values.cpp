// TValue: storage, access by kind, display text, arrays, and the conversions of the library.
#include <gtest/gtest.h>

#include <cmath>

#include "vnxml/common/uVnRtti.h"
#include "vnxml/common/uVnTypes.h"
#include "vnxml/rtl/Classes.h"
#include "vnxml/rtl/Rtti.h"

using namespace vn;

namespace vtest {

enum TSize { szSmall, szMedium, szLarge };
using TSizes = Set<TSize, szSmall, szLarge>;
VN_RTTI(TSize, u"vtest") {
  R.Names({u"szSmall", u"szMedium", u"szLarge"});
}
VN_RTTI(TSizes, u"vtest") {}

// Too large to live inside a TValue.
struct TBig {
  UnicodeString Text;
  Int64 Numbers[8] = {};
};
VN_RTTI(TBig, u"vtest") {
  R.Field(u"Text", &TBig::Text);
}

class TThing : public TPersistent {
  VN_CLASS(TThing, TPersistent)
};

class IProbe : public IInterface {
  VN_INTERFACE(IProbe, IInterface, "{6C7A2E51-0B1D-4E8A-9F3C-2D4B5A6E7F80}")
 public:
  virtual Integer Answer() = 0;
};
class IOther : public IInterface {
  VN_INTERFACE(IOther, IInterface, "{1D2E3F40-5A6B-4C7D-8E9F-A0B1C2D3E4F5}")
};
class TProbe : public TInterfacedObject, public IProbe {
  VN_CLASS(TProbe, TInterfacedObject)
  VN_IMPLEMENTS(TInterfacedObject, IProbe)
 public:
  Integer Answer() override { return 42; }
};

}  // namespace vtest

using namespace vtest;

TEST(ValueStorage, CopiesAreDeepAndMovesEmptyTheSource) {
  TValue a(UnicodeString(100, u'x'));
  TValue b = a;
  *static_cast<UnicodeString *>(b.GetReferenceToRawData()) = u"changed";
  EXPECT_EQ(a.AsString(), UnicodeString(100, u'x'));
  EXPECT_EQ(b.AsString(), u"changed");

  TValue c = std::move(b);
  EXPECT_EQ(c.AsString(), u"changed");
  EXPECT_TRUE(b.GetIsEmpty());
  EXPECT_EQ(b.GetTypeInfo(), nullptr);

  a = c;
  a = a;
  EXPECT_EQ(a.AsString(), u"changed");
  a = TValue(5);
  EXPECT_EQ(a.AsInteger(), 5);
}

TEST(ValueStorage, LargeValuesLiveOnTheHeapWithTheSameSemantics) {
  TBig big;
  big.Text = u"big";
  big.Numbers[7] = 77;
  TValue v = TValue::From<TBig>(big);
  EXPECT_FALSE(TypeInfo<TBig>()->FInline);
  TValue w = v;
  static_cast<TBig *>(w.GetReferenceToRawData())->Numbers[7] = 1;
  EXPECT_EQ(static_cast<const TBig *>(v.GetReferenceToRawData())->Numbers[7], 77);
  TValue m = std::move(w);
  EXPECT_EQ(m.AsType<TBig>().Numbers[7], 1);
  EXPECT_EQ(m.AsType<TBig>().Text, u"big");

  TBig out;
  v.ExtractRawData(&out);
  EXPECT_EQ(out.Text, u"big");
  EXPECT_EQ(out.Numbers[7], 77);
}

TEST(ValueStorage, MakeCopiesMakeWithoutCopyMovesAndNullMakesTheDefault) {
  UnicodeString s = u"source text that is long enough to live on the heap";
  TValue copy;
  TValue::Make(&s, TypeInfo<UnicodeString>(), copy);
  EXPECT_EQ(copy.AsString(), s);
  TValue moved;
  TValue::MakeWithoutCopy(&s, TypeInfo<UnicodeString>(), moved);
  EXPECT_EQ(moved.AsString(), copy.AsString());
  EXPECT_TRUE(s.empty());

  TValue def = TValue::Make(nullptr, TypeInfo<TBig>());
  EXPECT_EQ(def.GetTypeInfo(), TypeInfo<TBig>());
  EXPECT_EQ(def.AsType<TBig>().Numbers[3], 0);
  EXPECT_TRUE(TValue::Make(nullptr, nullptr).GetIsEmpty());
}

TEST(ValueKinds, EachValueKnowsItsExactHandle) {
  EXPECT_EQ(TValue(Byte(1)).GetTypeInfo(), TypeInfo<Byte>());
  EXPECT_EQ(TValue(1L).GetTypeInfo(), TypeInfo<Int64>());
  EXPECT_EQ(TValue(1LL).GetTypeInfo(), TypeInfo<Int64>());
  EXPECT_EQ(TValue(TDate(1)).GetTypeInfo(), TypeInfo<TDate>());
  EXPECT_NE(TValue(TDate(1)).GetTypeInfo(), TValue(TDateTime(1)).GetTypeInfo());
  EXPECT_EQ(TValue(TVnUTCTime(0.5)).GetTypeInfo(), TypeInfo<TVnUTCTime>());
  EXPECT_EQ(TValue(u"a").GetTypeKind(), tkUString);
  EXPECT_EQ(TValue::From<TWideStringAlias>(u"a").GetTypeKind(), tkWString);
  EXPECT_EQ(TValue(AnsiString("a")).GetTypeKind(), tkLString);
  EXPECT_EQ(TValue(u'c').GetTypeKind(), tkWChar);
  EXPECT_EQ(TValue('c').GetTypeKind(), tkChar);
  EXPECT_EQ(TValue(szLarge).GetTypeKind(), tkEnumeration);
  EXPECT_EQ(TValue(Variant(1)).GetTypeKind(), tkVariant);
  EXPECT_EQ(TValue(TThing::StaticClass()).GetTypeKind(), tkClassRef);
  EXPECT_EQ(TValue::From<TSizes>(TSizes{szSmall}).GetTypeKind(), tkSet);
  EXPECT_EQ(TValue().GetTypeKind(), tkUnknown);

  // An object value has the handle of its actual class; a null pointer that of its type.
  TThing thing;
  EXPECT_EQ(TValue(static_cast<TObject *>(&thing)).GetTypeInfo(), TypeInfo<TThing>());
  EXPECT_EQ(TValue(static_cast<TThing *>(nullptr)).GetTypeInfo(), TypeInfo<TThing>());
  EXPECT_EQ(TValue::From<TObject>(&thing).GetTypeInfo(), TypeInfo<TObject>());
}

TEST(ValueKinds, IsEmptyCoversNilReferencesAndEmptyArrays) {
  EXPECT_TRUE(TValue().GetIsEmpty());
  EXPECT_TRUE(TValue(static_cast<TThing *>(nullptr)).GetIsEmpty());
  EXPECT_TRUE(TValue(TClass(nullptr)).GetIsEmpty());
  EXPECT_TRUE(TValue(DelphiInterface<IProbe>()).GetIsEmpty());
  EXPECT_TRUE(TValue::From<TNotifyEvent>(TNotifyEvent()).GetIsEmpty());
  EXPECT_FALSE(TValue::From<TNotifyEvent>([](TObject *) {}).GetIsEmpty());
  EXPECT_TRUE(TValue::From<std::vector<Integer>>({}).GetIsEmpty());
  EXPECT_FALSE(TValue::From<std::vector<Integer>>({1}).GetIsEmpty());
  EXPECT_FALSE(TValue(0).GetIsEmpty());
  EXPECT_FALSE(TValue(u"").GetIsEmpty());
}

TEST(ValueAccess, AsOperationsReadTheirKindAndRefuseOthers) {
  EXPECT_EQ(TValue(Word(65535)).AsInteger(), 65535);
  EXPECT_EQ(TValue(Cardinal(0xFFFFFFFFu)).AsInteger(), -1);
  EXPECT_THROW(TValue(Int64(1) << 40).AsInteger(), EInvalidCast);
  EXPECT_EQ(TValue(Int64(1) << 40).AsInt64(), Int64(1) << 40);
  EXPECT_EQ(TValue(szMedium).AsOrdinal(), 1);
  EXPECT_EQ(TValue::From<TSizes>(TSizes{szSmall, szLarge}).AsOrdinal(), 5);
  EXPECT_EQ(TValue(u'A').AsOrdinal(), 65);
  EXPECT_TRUE(TValue(true).AsBoolean());
  EXPECT_THROW(TValue(1).AsBoolean(), EInvalidCast);
  EXPECT_THROW(TValue(szLarge).AsBoolean(), EInvalidCast);
  EXPECT_EQ(TValue(1.5f).AsExtended(), 1.5);
  EXPECT_EQ(TValue(7).AsExtended(), 7.0);
  EXPECT_THROW(TValue(u"7").AsExtended(), EInvalidCast);
  EXPECT_THROW(TValue(u"7").AsInteger(), EInvalidCast);
  EXPECT_EQ(TValue(AnsiString("caf\xC3\xA9")).AsString(), u"caf\u00E9");
  EXPECT_EQ(TValue('x').AsString(), u"x");
  EXPECT_THROW(TValue(3).AsString(), EInvalidCast);
  EXPECT_THROW(TValue().AsString(), EInvalidCast);
  EXPECT_EQ(TValue().AsObject(), nullptr);
  EXPECT_THROW(TValue(3).AsObject(), EInvalidCast);
  EXPECT_THROW(TValue(3).AsClass(), EInvalidCast);
  EXPECT_EQ(TValue(Currency(2.5)).AsCurrency(), Currency(2.5));
  EXPECT_THROW(TValue::FromOrdinal(TypeInfo<UnicodeString>(), 1), EInvalidCast);

  DelphiInterface<IProbe> probe(New<TProbe>());
  TValue iv(probe);
  EXPECT_EQ(iv.GetTypeInfo(), TypeInfo<IProbe>());
  EXPECT_EQ(iv.AsInterface().get(), static_cast<IInterface *>(probe.get()));
  EXPECT_EQ(iv.AsType<IProbe>()->Answer(), 42);
  // A plain interface pointer is taken as an interface too, with a reference of its own.
  TValue raw(probe.get());
  EXPECT_EQ(raw.GetTypeInfo(), TypeInfo<IProbe>());
  EXPECT_EQ(static_cast<TProbe *>(probe.get())->RefCount(), 3);
}

TEST(ValueAccess, AsVariantGivesTheMatchingVariantType) {
  EXPECT_TRUE(VarIsNull(TValue().AsVariant()));
  EXPECT_EQ(VarType(TValue(Byte(3)).AsVariant()), varByte);
  EXPECT_EQ(VarType(TValue(3).AsVariant()), varInteger);
  EXPECT_EQ(VarType(TValue(UInt64(3)).AsVariant()), varUInt64);
  EXPECT_EQ(VarType(TValue(true).AsVariant()), varBoolean);
  EXPECT_EQ(VarType(TValue(szLarge).AsVariant()), varInteger);
  EXPECT_EQ(TValue(szLarge).AsVariant().AsInteger(), 2);
  EXPECT_EQ(VarType(TValue(TDate(3)).AsVariant()), varDate);
  EXPECT_EQ(VarType(TValue(1.5f).AsVariant()), varSingle);
  EXPECT_EQ(VarType(TValue(u"s").AsVariant()), varUString);
  EXPECT_EQ(VarType(TValue(Variant(u"s")).AsVariant()), varUString);
  EXPECT_THROW(TValue::From<TBig>(TBig()).AsVariant(), EInvalidCast);
}

TEST(ValueAccess, FromVariantAndFromOrdinal) {
  EXPECT_TRUE(TValue::FromVariant(Variant()).GetIsEmpty());
  EXPECT_EQ(TValue::FromVariant(Variant(5)).GetTypeInfo(), TypeInfo<Integer>());
  EXPECT_EQ(TValue::FromVariant(Variant(Int64(5))).GetTypeInfo(), TypeInfo<Int64>());
  EXPECT_EQ(TValue::FromVariant(Variant(u"s")).GetTypeInfo(), TypeInfo<UnicodeString>());
  EXPECT_EQ(TValue::FromVariant(Variant(TDateTime(2))).GetTypeInfo(), TypeInfo<TDateTime>());
  EXPECT_EQ(TValue::FromVariant(Variant(false)).GetTypeInfo(), TypeInfo<bool>());
  // Null stays a variant, so that it can still be told apart.
  TValue n = TValue::FromVariant(Null());
  EXPECT_EQ(n.GetTypeKind(), tkVariant);
  EXPECT_TRUE(n.IsNull());

  EXPECT_EQ(TValue::FromOrdinal(TypeInfo<TSize>(), 2).ToString(), u"szLarge");
  EXPECT_EQ(TValue::FromOrdinal(TypeInfo<TSizes>(), 3).ToString(), u"[szSmall,szMedium]");
  // Bits beyond the set's members are dropped.
  EXPECT_EQ(TValue::FromOrdinal(TypeInfo<TSizes>(), 0xFF).AsOrdinal(), 7);
  EXPECT_EQ(TValue::FromOrdinal(TypeInfo<Byte>(), 200).AsInteger(), 200);
}

TEST(ValueText, ToStringForEachKind) {
  EXPECT_EQ(TValue().ToString(), u"(empty)");
  EXPECT_EQ(TValue(-5).ToString(), u"-5");
  EXPECT_EQ(TValue(UInt64(18446744073709551615ull)).ToString(), u"18446744073709551615");
  EXPECT_EQ(TValue(1.5).ToString(), u"1.5");
  EXPECT_EQ(TValue(true).ToString(), u"True");
  EXPECT_EQ(TValue(szMedium).ToString(), u"szMedium");
  EXPECT_EQ(TValue::From<TSizes>(TSizes{}).ToString(), u"[]");
  EXPECT_EQ(TValue::From<TSizes>(TSizes{szSmall, szLarge}).ToString(), u"[szSmall,szLarge]");
  EXPECT_EQ(TValue(TDate(EncodeDate(2020, 1, 2))).ToString(), u"1/2/2020");
  EXPECT_EQ(TValue(u"text").ToString(), u"text");
  EXPECT_EQ(TValue(TThing::StaticClass()).ToString(), u"(class 'TThing')");
  TThing thing;
  EXPECT_TRUE(StartsStr(u"(TThing @ ", TValue(&thing).ToString()));
  EXPECT_EQ(TValue::From<TBig>(TBig()).ToString(), u"(record)");
  EXPECT_EQ(TValue::From<std::vector<Integer>>({1}).ToString(), u"(dynamic array)");
  EXPECT_EQ(TValue::From<TValue>(TValue(7)).ToString(), u"7");
}

TEST(ValueArrays, ElementsOfStaticAndDynamicArrays) {
  using TFour = std::array<Integer, 4>;
  TValue s = TValue::From<TFour>(TFour{1, 2, 3, 4});
  EXPECT_EQ(s.GetTypeKind(), tkArray);
  EXPECT_EQ(s.GetArrayLength(), 4);
  s.SetArrayElement(3, u"40");
  EXPECT_EQ(s.GetArrayElement(3).AsInteger(), 40);
  EXPECT_THROW(s.GetArrayElement(4), EArgumentOutOfRangeException);
  EXPECT_THROW(s.GetArrayElement(-1), EArgumentOutOfRangeException);
  EXPECT_THROW(s.SetArrayLength(5), EInvalidCast);
  EXPECT_THROW(s.SetArrayElement(0, u"x"), EInvalidCast);
  EXPECT_EQ(s.GetArrayElement(0).AsInteger(), 1);

  TValue d = TValue::From<std::vector<UnicodeString>>({u"a"});
  d.SetArrayLength(3);
  EXPECT_EQ(d.GetArrayLength(), 3);
  EXPECT_EQ(d.GetArrayElement(2).AsString(), u"");
  d.SetArrayElement(2, u"c");
  EXPECT_EQ(d.AsType<std::vector<UnicodeString>>(), (std::vector<UnicodeString>{u"a", u"", u"c"}));
  EXPECT_THROW(TValue(1).GetArrayLength(), EInvalidCast);

  // The bytes of a C array member are a static array too.
  TGUID g = TGUID::Parse("{00000000-0000-0000-0102-030405060708}");
  TValue d4 = TypeInfo<TGUID>()->RttiType()->GetField(u"D4")->GetValue(&g);
  EXPECT_EQ(d4.GetArrayLength(), 8);
  EXPECT_EQ(d4.GetArrayElement(7).AsInteger(), 8);
  d4.SetArrayElement(0, 9);
  TypeInfo<TGUID>()->RttiType()->GetField(u"D4")->SetValue(&g, d4);
  EXPECT_EQ(g.D4[0], 9);
}

// The To... conversions of the library: a raise flag and a default.
TEST(ValueConversion, SimpleKindsConvertAndBadValuesRaiseOrDefault) {
  EXPECT_EQ(TValue(u"12").ToInteger(true, 0), 12);
  EXPECT_EQ(TValue(12.5).ToInteger(true, 0), 12);  // half to even, as Variant rounds
  EXPECT_EQ(TValue(13.5).ToInteger(true, 0), 14);
  EXPECT_EQ(TValue(true).ToInteger(true, 0), -1);
  EXPECT_EQ(TValue(Variant(u"7")).ToByte(true, 0), 7);
  EXPECT_EQ(TValue(u"1.25").ToDouble(true, 0), 1.25);
  EXPECT_EQ(TValue(3).ToExtended(true, 0), 3.0);
  EXPECT_EQ(TValue(u"true").ToBoolean(true, false), true);
  EXPECT_EQ(TValue(0).ToBoolean(true, true), false);
  EXPECT_EQ(TValue(szLarge).ToInteger(true, 0), 2);
  EXPECT_EQ(TValue(u"-5").ToInt64(true, 0), -5);
  EXPECT_EQ(TValue(Int64(300)).ToSmallInt(true, 0), 300);

  try {
    TValue(u"abc").ToInteger(true, 0);
    FAIL() << "no exception";
  } catch (EConvertError &E) {
    EXPECT_EQ(E.Message, u"Cannot convert the value \"abc\" of type string to Integer");
  }
  EXPECT_EQ(TValue(u"abc").ToInteger(false, 99), 99);
  // Out of range is a failed conversion, not a silent cut.
  EXPECT_THROW(TValue(300).ToByte(true, 0), EConvertError);
  EXPECT_EQ(TValue(300).ToByte(false, 1), 1);
  EXPECT_EQ(TValue(-1).ToWord(false, 5), 5);
  EXPECT_THROW(TValue(-1).ToUInt64(true, 0), EConvertError);
  EXPECT_THROW(TValue::From<TBig>(TBig()).ToInteger(true, 0), EConvertError);

  // No value at all gives the default, also when raising.
  EXPECT_EQ(TValue().ToInteger(true, 7), 7);
  EXPECT_EQ(TValue(Null()).ToInteger(true, 8), 8);
  EXPECT_EQ(TValue(static_cast<TThing *>(nullptr)).ToWideString(true, u"d"), u"d");
}

TEST(ValueConversion, ToWideStringGivesNamesAndText) {
  EXPECT_EQ(TValue(szMedium).ToWideString(true, u""), u"szMedium");
  EXPECT_EQ(TValue::From<TSizes>(TSizes{szLarge}).ToWideString(true, u""), u"[szLarge]");
  EXPECT_EQ(TValue(false).ToWideString(true, u""), u"False");
  EXPECT_EQ(TValue(2.5).ToWideString(true, u""), u"2.5");
  EXPECT_EQ(TValue(Int64(-9)).ToWideString(true, u""), u"-9");
  EXPECT_EQ(TValue(Variant(3)).ToWideString(true, u""), u"3");
  EXPECT_EQ(TValue(TDate(EncodeDate(2021, 3, 4))).ToWideString(true, u""), u"3/4/2021");
  TThing thing;
  EXPECT_THROW(TValue(&thing).ToWideString(true, u""), EConvertError);
  EXPECT_EQ(TValue(&thing).ToWideString(false, u"d"), u"d");
}

TEST(ValueConversion, ToTypeMakesEnumerationsAndSetsFromTextAndNumbers) {
  TValue r;
  ASSERT_TRUE(TValue(u"2").ToType(TypeInfo<TSize>(), r));
  EXPECT_EQ(r.ToString(), u"szLarge");
  ASSERT_TRUE(TValue(u"szmedium").ToType(TypeInfo<TSize>(), r));
  EXPECT_EQ(r.AsOrdinal(), 1);
  ASSERT_TRUE(TValue(0).ToType(TypeInfo<TSize>(), r));
  EXPECT_EQ(r.ToString(), u"szSmall");
  TValue before = r;
  EXPECT_FALSE(TValue(3).ToType(TypeInfo<TSize>(), r));
  EXPECT_FALSE(TValue(u"szHuge").ToType(TypeInfo<TSize>(), r));
  EXPECT_EQ(r.ToString(), before.ToString());  // untouched on failure

  ASSERT_TRUE(TValue(5).ToType(TypeInfo<TSizes>(), r));
  EXPECT_EQ(r.ToString(), u"[szSmall,szLarge]");
  ASSERT_TRUE(TValue(u"6").ToType(TypeInfo<TSizes>(), r));
  EXPECT_EQ(r.ToString(), u"[szMedium,szLarge]");
  ASSERT_TRUE(TValue(u"").ToType(TypeInfo<TSizes>(), r));
  EXPECT_EQ(r.ToString(), u"[]");
  EXPECT_FALSE(TValue(8).ToType(TypeInfo<TSizes>(), r));
  EXPECT_FALSE(TValue(u"[szTiny]").ToType(TypeInfo<TSizes>(), r));

  ASSERT_TRUE(TValue(u"Q").ToType(TypeInfo<char16_t>(), r));
  EXPECT_EQ(r.AsOrdinal(), u'Q');
  ASSERT_TRUE(TValue(2.5).ToType(TypeInfo<TTime>(), r));
  EXPECT_EQ(r.GetTypeInfo(), TypeInfo<TTime>());
  EXPECT_EQ(r.AsExtended(), 2.5);
  ASSERT_TRUE(TValue(u"x").ToType(TypeInfo<TValue>(), r));
  EXPECT_EQ(r.GetTypeInfo(), TypeInfo<TValue>());
  EXPECT_EQ(r.AsString(), u"x");
  ASSERT_TRUE(TValue(4).ToType(TypeInfo<Variant>(), r));
  EXPECT_EQ(r.AsVariant().AsInteger(), 4);
  // An empty value becomes the default value of the target.
  ASSERT_TRUE(TValue().ToType(TypeInfo<Integer>(), r));
  EXPECT_EQ(r.AsInteger(), 0);
  EXPECT_FALSE(TValue(1).ToType(nullptr, r));
}

TEST(ValueConversion, ObjectsByClassAndInterfacesByQuery) {
  TThing thing;
  TValue r;
  EXPECT_TRUE(TValue(&thing).ToType(TypeInfo<TPersistent>(), r));
  EXPECT_EQ(r.GetTypeInfo(), TypeInfo<TPersistent>());
  EXPECT_EQ(r.AsObject(), &thing);
  EXPECT_FALSE(TValue(&thing).ToType(TypeInfo<TStringList>(), r));
  EXPECT_THROW(TValue(&thing).Cast(TypeInfo<TStringList>()), EInvalidCast);
  EXPECT_TRUE(TValue(&thing).IsType<TPersistent>());
  EXPECT_FALSE(TValue(&thing).IsType<TStringList>());

  DelphiInterface<IProbe> probe(New<TProbe>());
  TValue base = TValue::From<IInterface>(DelphiInterface<IInterface>(probe.get()));
  ASSERT_TRUE(base.ToType(TypeInfo<IProbe>(), r));
  EXPECT_EQ(r.AsType<IProbe>()->Answer(), 42);
  EXPECT_FALSE(base.ToType(TypeInfo<IOther>(), r));
  EXPECT_TRUE(TValue(static_cast<TObject *>(static_cast<TProbe *>(probe.get())))
                  .ToType(TypeInfo<IProbe>(), r));
}

TEST(ValueConversion, IsNullAndTheRegistryView) {
  EXPECT_TRUE(TValue().IsNull());
  EXPECT_TRUE(TValue(static_cast<TThing *>(nullptr)).IsNull());
  EXPECT_TRUE(TValue(Variant()).IsNull());
  EXPECT_TRUE(TValue(Null()).IsNull());
  EXPECT_FALSE(TValue(0).IsNull());
  EXPECT_FALSE(TValue(u"").IsNull());

  EXPECT_EQ(TValue(3).TypeKind(), vtkLongInt);
  EXPECT_EQ(TValue(3).MainTypeKind(), mtkInteger);
  EXPECT_EQ(TValue(u"s").MainTypeKind(), mtkString);
  EXPECT_EQ(TValue(TVnUTCDate(2)).TypeKind(), vtkDate);
  EXPECT_EQ(TValue(Variant()).TypeKind(), vtkVariant);
  EXPECT_EQ(TValue().TypeKind(), vtkUnknown);
  EXPECT_EQ(TValue().VnTypeInfo(), nullptr);
  EXPECT_EQ(TValue(1.0).VnTypeInfo(), TVnTypes::Of<Double>());
}
