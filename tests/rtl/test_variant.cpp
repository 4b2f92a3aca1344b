#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "exception_text.h"
#include "vnxml/rtl/Variant.h"

using namespace vn;

namespace {

class ITally : public IInterface {
  VN_INTERFACE(ITally, IInterface, "{0B7E5C2A-91D4-4F3E-A8C6-5D2F1E9B7A31}")
 public:
  virtual int Value() = 0;
};

int gTallyLive = 0;

class TTally : public TInterfacedObject, public ITally {
  VN_CLASS(TTally, TInterfacedObject)
  VN_IMPLEMENTS(TInterfacedObject, ITally)
 public:
  TTally() { ++gTallyLive; }
  ~TTally() override { --gTallyLive; }
  int Value() override { return 7; }
};

using vntest::MessageOf;

}  // namespace

TEST(VariantTypes, ConstructorsPickTheExpectedCodes) {
  EXPECT_EQ(VarType(Variant()), varEmpty);
  EXPECT_EQ(VarType(Null()), varNull);
  EXPECT_EQ(VarType(Variant::Null()), varNull);
  EXPECT_EQ(VarType(Unassigned()), varEmpty);
  EXPECT_EQ(VarType(Variant(true)), varBoolean);
  EXPECT_EQ(VarType(Variant(ShortInt(-5))), varShortInt);
  EXPECT_EQ(VarType(Variant(Byte(5))), varByte);
  EXPECT_EQ(VarType(Variant(SmallInt(5))), varSmallint);
  EXPECT_EQ(VarType(Variant(Word(5))), varWord);
  EXPECT_EQ(VarType(Variant(5)), varInteger);
  EXPECT_EQ(VarType(Variant(Cardinal(5))), varLongWord);
  EXPECT_EQ(VarType(Variant(Int64(5))), varInt64);
  EXPECT_EQ(VarType(Variant(5LL)), varInt64);
  EXPECT_EQ(VarType(Variant(UInt64(5))), varUInt64);
  EXPECT_EQ(VarType(Variant(1.5f)), varSingle);
  EXPECT_EQ(VarType(Variant(1.5)), varDouble);
  EXPECT_EQ(VarType(Variant(Currency(1.5))), varCurrency);
  EXPECT_EQ(VarType(Variant(TDateTime(1.5))), varDate);
  EXPECT_EQ(VarType(Variant(TDate(1))), varDate);
  EXPECT_EQ(VarType(Variant(TTime(0.5))), varDate);
  EXPECT_EQ(VarType(Variant(u"x")), varUString);
  EXPECT_EQ(VarType(Variant(UnicodeString(u"x"))), varUString);
  EXPECT_EQ(VarType(Variant(u'x')), varUString);
  EXPECT_EQ(VarType(Variant("x")), varString);
  EXPECT_EQ(VarType(Variant(AnsiString("x"))), varString);
  EXPECT_EQ(VarType(VarArrayOf({1, 2})), varArray | varVariant);
}

TEST(VariantTypes, Predicates) {
  EXPECT_TRUE(VarIsEmpty(Variant()));
  EXPECT_FALSE(VarIsEmpty(Null()));
  EXPECT_TRUE(VarIsNull(Null()));
  EXPECT_TRUE(VarIsClear(Variant()));
  EXPECT_TRUE(VarIsClear(Variant(static_cast<IInterface *>(nullptr))));
  EXPECT_FALSE(VarIsClear(Null()));
  EXPECT_TRUE(VarIsStr(Variant(u"a")));
  EXPECT_TRUE(VarIsStr(Variant("a")));
  EXPECT_TRUE(VarIsStr(VarAsType(1, varOleStr)));
  EXPECT_FALSE(VarIsStr(Variant(1)));
  EXPECT_TRUE(VarIsOrdinal(Variant(true)));
  EXPECT_TRUE(VarIsOrdinal(Variant(UInt64(1))));
  EXPECT_FALSE(VarIsOrdinal(Variant(1.0)));
  EXPECT_TRUE(VarIsFloat(Variant(Currency(1.0))));
  EXPECT_FALSE(VarIsFloat(Variant(TDateTime(1.0))));
  EXPECT_TRUE(VarIsNumeric(Variant(1.0f)));
  EXPECT_FALSE(VarIsNumeric(Variant(u"1")));
  EXPECT_TRUE(VarIsArray(VarArrayOf({})));
  EXPECT_FALSE(VarIsArray(Variant(1)));
}

TEST(VariantTypes, TypeNames) {
  EXPECT_EQ(VarTypeAsText(varUString), u"UnicodeString");
  EXPECT_EQ(VarTypeAsText(varString), u"String");
  EXPECT_EQ(VarTypeAsText(varSmallint), u"Smallint");
  EXPECT_EQ(VarTypeAsText(varLongWord), u"LongWord");
  EXPECT_EQ(VarTypeAsText(varUInt64), u"UInt64");
  EXPECT_EQ(VarTypeAsText(varArray | varVariant), u"Array Variant");
  EXPECT_EQ(VarTypeAsText(0x0FFF), u"$0FFF");
}

TEST(VariantConvert, BooleansAreMinusOneAndTrueText) {
  const Variant t = true, f = false;
  EXPECT_EQ(t.AsString(), u"True");
  EXPECT_EQ(VarToStr(f), u"False");
  EXPECT_EQ(t.AsInteger(), -1);
  EXPECT_EQ(static_cast<int>(f), 0);
  EXPECT_DOUBLE_EQ(t.AsDouble(), -1.0);
  EXPECT_TRUE(Variant(u"true").AsBoolean());
  EXPECT_FALSE(Variant(u"FALSE").AsBoolean());
  EXPECT_FALSE(Variant(u"0").AsBoolean());
  EXPECT_TRUE(Variant(u"-3").AsBoolean());
  EXPECT_TRUE(Variant(0.5).AsBoolean());
  EXPECT_EQ(MessageOf<EVariantTypeCastError>([] { Variant(u"yes").AsBoolean(); }),
            u"Could not convert variant of type (UnicodeString) into type (Boolean)");
}

TEST(VariantConvert, TextToNumbersIsStrict) {
  EXPECT_DOUBLE_EQ(Variant(u"1.5").AsDouble(), 1.5);
  EXPECT_DOUBLE_EQ(static_cast<double>(Variant(u"-2E3")), -2000);
  EXPECT_EQ(Variant(u"42").AsInteger(), 42);
  EXPECT_EQ(Variant(u"$FF").AsInteger(), 255);
  EXPECT_EQ(Variant(u"2.5").AsInteger(), 2);  // half to even
  EXPECT_EQ(Variant(u"9000000000").AsInt64(), 9000000000LL);
  EXPECT_EQ(Variant(u"18446744073709551615").AsUInt64(), std::numeric_limits<UInt64>::max());
  EXPECT_EQ(Variant("17").AsInteger(), 17);
  EXPECT_THROW(Variant(u"9000000000").AsInteger(), EVariantOverflowError);
  EXPECT_EQ(MessageOf<EConvertError>([] { Variant(u"abc").AsInteger(); }),
            u"Could not convert variant of type (UnicodeString) into type (Integer)");
  EXPECT_EQ(MessageOf<EConvertError>([] { Variant(u"").AsDouble(); }),
            u"Could not convert variant of type (UnicodeString) into type (Double)");
  EXPECT_THROW(Variant(u"1,5").AsDouble(), EVariantTypeCastError);
}

TEST(VariantConvert, FloatsRoundHalfToEven) {
  EXPECT_EQ(Variant(2.5).AsInteger(), 2);
  EXPECT_EQ(Variant(3.5).AsInteger(), 4);
  EXPECT_EQ(Variant(-2.5).AsInteger(), -2);
  EXPECT_EQ(Variant(2.6).AsInt64(), 3);
  EXPECT_EQ(Variant(Currency(2.5)).AsInteger(), 2);
  EXPECT_EQ(Variant(Currency(-3.5)).AsInteger(), -4);
  EXPECT_THROW(Variant(3e9).AsInteger(), EVariantOverflowError);
  EXPECT_THROW(Variant(-1.0).AsUInt64(), EVariantOverflowError);
  EXPECT_THROW(Variant(std::nan("")).AsInt64(), EVariantOverflowError);
}

TEST(VariantConvert, NullRaisesAndEmptyIsZero) {
  EXPECT_EQ(MessageOf<EVariantTypeCastError>([] { Null().AsString(); }),
            u"Could not convert variant of type (Null) into type (UnicodeString)");
  EXPECT_EQ(MessageOf<EVariantTypeCastError>([] { Null().AsInteger(); }),
            u"Could not convert variant of type (Null) into type (Integer)");
  EXPECT_THROW(Null().AsInt64(), EVariantTypeCastError);
  EXPECT_THROW(Null().AsDouble(), EConvertError);
  EXPECT_THROW(Null().AsBoolean(), EConvertError);
  EXPECT_THROW(Null().AsDateTime(), EConvertError);
  EXPECT_EQ(VarToStr(Null()), u"");
  EXPECT_EQ(VarToStrDef(Null(), u"none"), u"none");
  EXPECT_EQ(VarToStrDef(Variant(), u"none"), u"");
  EXPECT_EQ(VarToStrDef(Variant(3), u"none"), u"3");
  const Variant e;
  EXPECT_EQ(e.AsInteger(), 0);
  EXPECT_EQ(e.AsString(), u"");
  EXPECT_FALSE(e.AsBoolean());
  EXPECT_DOUBLE_EQ(e.AsDouble(), 0);
}

TEST(VariantConvert, NumbersAndDatesToText) {
  EXPECT_EQ(VarToStr(Variant(-42)), u"-42");
  EXPECT_EQ(VarToStr(Variant(std::numeric_limits<UInt64>::max())), u"18446744073709551615");
  EXPECT_EQ(VarToStr(Variant(1.5)), u"1.5");
  EXPECT_EQ(VarToStr(Variant(0.1f)), u"0.1");
  EXPECT_EQ(VarToStr(Variant(Currency(-12.34))), u"-12.34");
  EXPECT_EQ(VarToStr(Variant(Currency(7.0))), u"7");
  const TDateTime dt = EncodeDateTime(2020, 1, 2, 15, 4, 5, 0);
  const Variant d = dt;
  EXPECT_EQ(VarToStr(d), DateTimeToStr(dt));
  EXPECT_EQ(VarToStr(d), u"1/2/2020 3:04:05 PM");
  EXPECT_DOUBLE_EQ(d.AsDouble(), dt);
  EXPECT_DOUBLE_EQ(Variant(u"1/2/2020").AsDateTime(), EncodeDate(2020, 1, 2));
  EXPECT_DOUBLE_EQ(Variant(2.25).AsDateTime(), 2.25);
  EXPECT_THROW(Variant(u"soon").AsDateTime(), EVariantTypeCastError);
  EXPECT_EQ(Variant(u"héllo").AsAnsiString(), std::string("h\xC3\xA9llo"));
  EXPECT_EQ(Variant(AnsiString("h\xC3\xA9llo")).AsString(), u"héllo");
}

TEST(VariantConvert, VarAsType) {
  Variant v = VarAsType(Variant(u"12"), varInteger);
  EXPECT_EQ(VarType(v), varInteger);
  EXPECT_EQ(v.AsInteger(), 12);
  EXPECT_EQ(VarType(VarAsType(Variant(12), varUString)), varUString);
  EXPECT_EQ(VarAsType(Variant(12), varUString).AsString(), u"12");
  EXPECT_EQ(VarType(VarAsType(Variant(u"7"), varByte)), varByte);
  EXPECT_THROW(VarAsType(Variant(300), varByte), EVariantOverflowError);
  EXPECT_THROW(VarAsType(Variant(-1), varWord), EVariantOverflowError);
  EXPECT_EQ(VarType(VarAsType(Variant(1), varNull)), varNull);
  EXPECT_EQ(VarType(VarAsType(Variant(1), varEmpty)), varEmpty);
  EXPECT_EQ(VarAsType(Variant(1.25), varCurrency).AsCurrency().Scaled, 12500);
  EXPECT_EQ(VarType(VarAsType(Variant(2.0), varDate)), varDate);
  EXPECT_EQ(VarAsType(Variant(u"True"), varBoolean).AsBoolean(), true);
  EXPECT_EQ(MessageOf<EVariantTypeCastError>([] { VarAsType(Null(), varUString); }),
            u"Could not convert variant of type (Null) into type (UnicodeString)");
  EXPECT_EQ(MessageOf<EVariantTypeCastError>([] { VarAsType(Variant(1), varInt64 | varArray); }),
            u"Could not convert variant of type (Integer) into type (Array Int64)");
  EXPECT_THROW(VarAsType(Variant(1), varUnknown), EVariantTypeCastError);
}

TEST(VariantArith, AdditionConcatenatesOrAddsNumbers) {
  Variant r = Variant(u"ab") + u"cd";
  EXPECT_EQ(VarType(r), varUString);
  EXPECT_EQ(r.AsString(), u"abcd");
  r = Variant(u"1") + 2;
  EXPECT_TRUE(VarIsNumeric(r));
  EXPECT_EQ(r.AsInteger(), 3);
  r = 2 + Variant(u"1.5");
  EXPECT_EQ(VarType(r), varDouble);
  EXPECT_DOUBLE_EQ(r.AsDouble(), 3.5);
  EXPECT_THROW(Variant(u"x") + 2, EConvertError);
  EXPECT_EQ(MessageOf<EVariantTypeCastError>([] { Variant(u"x") + 2; }),
            u"Could not convert variant of type (UnicodeString) into type (Double)");
  EXPECT_EQ((Variant(u"1") + u"2").AsString(), u"12");  // two strings never add as numbers
  EXPECT_EQ(VarType(Variant("ab") + Variant("cd")), varString);
  EXPECT_EQ((Variant("ab") + Variant(u"cd")).AsString(), u"abcd");
}

TEST(VariantArith, NullAndEmpty) {
  EXPECT_TRUE(VarIsNull(Null() + 1));
  EXPECT_TRUE(VarIsNull(1 + Null()));
  EXPECT_TRUE(VarIsNull(Variant(u"a") + Null()));
  EXPECT_TRUE(VarIsNull(Null() * 0));
  EXPECT_TRUE(VarIsNull(-Null()));
  EXPECT_EQ((Variant() + 1).AsInteger(), 1);
  EXPECT_EQ(VarType(Variant() + 1), varInteger);
  EXPECT_EQ((Variant() - 1).AsInteger(), -1);
  const Variant s = Variant() + u"a";
  EXPECT_EQ(VarType(s), varUString);
  EXPECT_EQ(s.AsString(), u"a");
  EXPECT_TRUE(VarIsEmpty(Variant() + Variant()));
}

TEST(VariantArith, IntegerKindsWiden) {
  Variant r = Variant(2147483647) + 1;
  EXPECT_EQ(VarType(r), varInt64);
  EXPECT_EQ(r.AsInt64(), 2147483648LL);
  EXPECT_EQ(VarType(Variant(Byte(200)) + Variant(Byte(100))), varInteger);
  EXPECT_EQ((Variant(Byte(200)) + Variant(Byte(100))).AsInteger(), 300);
  EXPECT_EQ(VarType(Variant(3) * Variant(Int64(4))), varInt64);
  r = Variant(std::numeric_limits<Int64>::max()) * 4;
  EXPECT_EQ(VarType(r), varDouble);
  EXPECT_DOUBLE_EQ(r.AsDouble(), 4.0 * 9223372036854775807.0);
  EXPECT_EQ(VarType(Variant(UInt64(1)) - 2), varInt64);
  EXPECT_EQ((Variant(UInt64(1)) - 2).AsInt64(), -1);
  EXPECT_EQ(VarType(Variant(1) + 1.5), varDouble);
  EXPECT_EQ(VarType(Variant(1.5f) + Variant(1.5f)), varSingle);
  EXPECT_EQ(VarType(-Variant(Byte(3))), varInteger);
  EXPECT_EQ((-Variant(Byte(3))).AsInteger(), -3);
}

TEST(VariantArith, DivisionAndRemainder) {
  Variant r = Variant(7) / 2;
  EXPECT_EQ(VarType(r), varDouble);
  EXPECT_DOUBLE_EQ(r.AsDouble(), 3.5);
  EXPECT_EQ(VarIntDiv(7, 2).AsInteger(), 3);
  EXPECT_EQ(VarIntDiv(-7, 2).AsInteger(), -3);
  EXPECT_EQ(VarMod(-7, 2).AsInteger(), -1);
  EXPECT_EQ((Variant(7) % 3).AsInteger(), 1);
  EXPECT_EQ(VarIntDiv(7.5, 2).AsInteger(), 4);  // 7.5 rounds to 8 first
  EXPECT_THROW(VarIntDiv(1, 0), EDivByZero);
  EXPECT_THROW(VarMod(1, Variant()), EDivByZero);
  EXPECT_THROW(Variant(1) / 0, EZeroDivide);
  EXPECT_THROW(Variant(0.0) / 0, EInvalidOp);
}

TEST(VariantArith, CurrencyAndDates) {
  Variant c = Variant(Currency(1.5)) + 1;
  EXPECT_EQ(VarType(c), varCurrency);
  EXPECT_EQ(c.AsCurrency().Scaled, 25000);
  c = Variant(Currency(0.1)) * Variant(Currency(0.1));
  EXPECT_EQ(c.AsCurrency().Scaled, 100);
  c = Variant(Currency(10)) / 4;
  EXPECT_EQ(VarType(c), varCurrency);
  EXPECT_EQ(c.AsCurrency().Scaled, 25000);
  EXPECT_EQ(VarType(Variant(Currency(1)) + 0.5), varDouble);

  const Variant d = TDateTime(EncodeDate(2020, 1, 31));
  Variant r = d + 1;
  EXPECT_EQ(VarType(r), varDate);
  EXPECT_DOUBLE_EQ(r.AsDateTime(), EncodeDate(2020, 2, 1));
  r = d - Variant(TDateTime(EncodeDate(2020, 1, 1)));
  EXPECT_EQ(VarType(r), varDouble);
  EXPECT_DOUBLE_EQ(r.AsDouble(), 30);
  EXPECT_EQ(VarType(d - 1), varDate);
  EXPECT_EQ(VarType(d * 2), varDouble);
}

TEST(VariantArith, LogicOnBooleansAndIntegers) {
  EXPECT_EQ(VarType(Variant(true) & Variant(false)), varBoolean);
  EXPECT_FALSE((Variant(true) & Variant(false)).AsBoolean());
  EXPECT_TRUE((Variant(true) | Variant(false)).AsBoolean());
  EXPECT_TRUE((Variant(true) ^ Variant(u"false")).AsBoolean());
  EXPECT_EQ(VarType(Variant(true) ^ Variant(u"false")), varBoolean);
  EXPECT_EQ((Variant(12) & 10).AsInteger(), 8);
  EXPECT_EQ((Variant(12) | 3).AsInteger(), 15);
  EXPECT_EQ((Variant(12) ^ 10).AsInteger(), 6);
  EXPECT_EQ((Variant(true) & 5).AsInteger(), 5);  // True is -1
  EXPECT_EQ((Variant(u"6") & 3).AsInteger(), 2);
  EXPECT_FALSE((~Variant(true)).AsBoolean());
  EXPECT_EQ(VarType(~Variant(true)), varBoolean);
  EXPECT_EQ((~Variant(0)).AsInteger(), -1);
  EXPECT_EQ((~Variant(UInt64(0))).AsUInt64(), std::numeric_limits<UInt64>::max());
  EXPECT_TRUE(VarIsNull(Null() & true));
  EXPECT_EQ((Variant(true) + 1).AsInteger(), 0);
}

TEST(VariantArith, OnlySimpleValuesTakePart) {
  EXPECT_THROW(VarArrayOf({1}) + 1, EVariantInvalidOpError);
  EXPECT_THROW(-VarArrayOf({1}), EVariantInvalidOpError);
  EXPECT_THROW(VarArrayOf({1}) < 1, EVariantInvalidOpError);
  Variant v = 1;
  v += 2;
  v *= Variant(u"3");
  v -= 1;
  v /= 2;
  EXPECT_DOUBLE_EQ(v.AsDouble(), 4);
}

TEST(VariantCompare, StringsOrdinallyAndMixedAsNumbers) {
  EXPECT_TRUE(Variant(u"abc") < Variant(u"abd"));
  EXPECT_TRUE(Variant(u"B") < Variant(u"a"));  // ordinal, case-sensitive
  EXPECT_FALSE(Variant(u"a") == Variant(u"A"));
  EXPECT_TRUE(Variant(u"10") < Variant(u"9"));  // two strings never compare as numbers
  EXPECT_TRUE(Variant(u"10") == 10);
  EXPECT_TRUE(Variant(u"10.0") == 10);
  EXPECT_TRUE(Variant(u"9") < 10);
  EXPECT_TRUE(10 >= Variant(u"9.5"));
  EXPECT_TRUE(Variant("abc") == Variant(u"abc"));
  EXPECT_THROW((void)(Variant(u"abc") == 1), EVariantTypeCastError);
  EXPECT_THROW((void)(Variant(u"abc") < 1), EConvertError);
}

TEST(VariantCompare, NumbersOfEveryKind) {
  EXPECT_TRUE(Variant(1) == 1.0);
  EXPECT_TRUE(Variant(Byte(1)) == Variant(Int64(1)));
  EXPECT_TRUE(Variant(std::numeric_limits<UInt64>::max()) > -1);
  const Int64 big = (Int64(1) << 53) + 1;
  EXPECT_TRUE(Variant(big) != Variant(big - 1));
  EXPECT_TRUE(Variant(Currency(1.5)) == 1.5);
  EXPECT_TRUE(Variant(Currency(2)) == 2);
  EXPECT_TRUE(Variant(TDateTime(2)) == 2);
  EXPECT_TRUE(Variant(TDateTime(2)) < 2.5);
  const Variant nan = std::nan("");
  EXPECT_FALSE(nan == nan);
  EXPECT_TRUE(nan != nan);
  EXPECT_FALSE(nan < 1);
  EXPECT_FALSE(nan >= 1);
}

TEST(VariantCompare, BooleansCountAsMinusOneAgainstNumbers) {
  EXPECT_TRUE(Variant(true) == -1);
  EXPECT_TRUE(Variant(true) < 0);
  EXPECT_TRUE(Variant(false) == 0);
  EXPECT_FALSE(Variant(true) == 1);
  EXPECT_TRUE(Variant(false) < Variant(true));
  EXPECT_TRUE(Variant(u"True") == Variant(true));
  EXPECT_TRUE(Variant(u"false") == Variant(false));
  EXPECT_THROW((void)(Variant(u"maybe") == Variant(true)), EVariantTypeCastError);
}

TEST(VariantCompare, NullAndEmpty) {
  EXPECT_TRUE(Null() == Null());
  EXPECT_FALSE(Null() == 0);
  EXPECT_FALSE(Null() == Variant());
  EXPECT_TRUE(Null() != 0);
  EXPECT_TRUE(Null() < 0);
  EXPECT_TRUE(Null() < Variant(u""));
  EXPECT_FALSE(Null() > -1000);
  EXPECT_TRUE(Null() <= Null());
  EXPECT_FALSE(Null() < Null());
  EXPECT_TRUE(Variant() == 0);
  EXPECT_TRUE(Variant() == u"");
  EXPECT_TRUE(Variant() == Variant(false));
  EXPECT_TRUE(Variant() < 1);
  EXPECT_TRUE(Variant() == Variant());

  EXPECT_EQ(VarCompareValue(Variant(), 0), vrNotEqual);
  EXPECT_EQ(VarCompareValue(Variant(), Variant()), vrEqual);
  EXPECT_EQ(VarCompareValue(Null(), Null()), vrEqual);
  EXPECT_EQ(VarCompareValue(1, Null()), vrNotEqual);
  EXPECT_EQ(VarCompareValue(1, 2), vrLessThan);
  EXPECT_EQ(VarCompareValue(u"b", u"a"), vrGreaterThan);
  EXPECT_EQ(VarCompareValue(u"2", 2), vrEqual);
  EXPECT_TRUE(VarSameValue(Null(), Null()));
  EXPECT_FALSE(VarSameValue(Variant(), 0));
  EXPECT_TRUE(VarSameValue(Variant(u"3"), 3));
}

TEST(VariantArray, BoundsAndElements) {
  Variant a = VarArrayCreate(1, 3);
  EXPECT_EQ(VarType(a), varArray | varVariant);
  EXPECT_EQ(VarArrayDimCount(a), 1);
  EXPECT_EQ(VarArrayLowBound(a), 1);
  EXPECT_EQ(VarArrayHighBound(a), 3);
  EXPECT_TRUE(VarIsEmpty(a[2]));
  VarArrayPut(a, u"x", 3);
  a.PutElement(1, 5);
  EXPECT_EQ(VarArrayGet(a, 3).AsString(), u"x");
  EXPECT_EQ(VarType(a[1]), varInteger);
  EXPECT_EQ(MessageOf<EVariantBadIndexError>([&] { a.GetElement(0); }),
            u"Variant or safe array index out of bounds");
  EXPECT_THROW(a.PutElement(4, 1), EVariantBadIndexError);
  EXPECT_THROW(VarArrayHighBound(a, 2), EVariantInvalidArgError);
  EXPECT_THROW(VarArrayLowBound(Variant(1)), EVariantInvalidArgError);
  EXPECT_THROW(Variant(1)[0], EVariantInvalidArgError);
  EXPECT_EQ(VarArrayDimCount(Variant(1)), 0);
  EXPECT_THROW(VarArrayCreate(5, 3), EVariantArrayCreateError);
  const Variant empty = VarArrayCreate(5, 4);
  EXPECT_EQ(VarArrayHighBound(empty), 4);
  EXPECT_THROW(VarToStr(a), EVariantTypeCastError);

  const Variant of = VarArrayOf({1, u"a", true});
  EXPECT_EQ(VarArrayLowBound(of), 0);
  EXPECT_EQ(VarArrayHighBound(of), 2);
  EXPECT_EQ(VarType(of[1]), varUString);
  EXPECT_EQ(VarType(of[2]), varBoolean);
}

TEST(VariantArray, CopiesAreIndependent) {
  Variant a = VarArrayOf({1, VarArrayOf({2, 3})});
  Variant b = a;
  b.PutElement(0, 99);
  Variant inner = b[1];
  inner.PutElement(0, 42);
  b.PutElement(1, inner);
  EXPECT_EQ(a[0].AsInteger(), 1);
  EXPECT_EQ(a[1][0].AsInteger(), 2);
  EXPECT_EQ(b[0].AsInteger(), 99);
  EXPECT_EQ(b[1][0].AsInteger(), 42);
  a = a[1];  // an array replaced by one of its own elements
  EXPECT_EQ(VarArrayHighBound(a), 1);
  EXPECT_EQ(a[1].AsInteger(), 3);
  Variant moved = std::move(b);
  EXPECT_EQ(moved[0].AsInteger(), 99);
}

TEST(VariantArray, TypedElementsAndRedim) {
  Variant bytes = VarArrayCreate(0, 1, varByte);
  EXPECT_EQ(VarType(bytes), 0x2011);
  EXPECT_EQ(VarType(bytes[0]), varByte);
  EXPECT_EQ(bytes[0].AsInteger(), 0);
  bytes.PutElement(1, u"7");
  EXPECT_EQ(VarType(bytes[1]), varByte);
  EXPECT_EQ(bytes[1].AsInteger(), 7);
  EXPECT_THROW(bytes.PutElement(0, 300), EVariantOverflowError);
  VarArrayRedim(bytes, 3);
  EXPECT_EQ(VarArrayHighBound(bytes), 3);
  EXPECT_EQ(bytes[1].AsInteger(), 7);
  EXPECT_EQ(VarType(bytes[3]), varByte);
  VarArrayRedim(bytes, 0);
  EXPECT_THROW(bytes[1], EVariantBadIndexError);
  EXPECT_THROW(VarArrayCreate(0, 1, varNull), EVariantArrayCreateError);

  const Variant strings = VarAsType(VarArrayOf({1, 2.5}), varArray | varUString);
  EXPECT_EQ(VarType(strings), varArray | varUString);
  EXPECT_EQ(VarType(strings[1]), varUString);
  EXPECT_EQ(strings[1].AsString(), u"2.5");
  EXPECT_THROW(VarAsType(VarArrayOf({1}), varInteger), EVariantTypeCastError);
}

TEST(VariantInterface, HoldsAReference) {
  {
    DelphiInterface<ITally> t = New<TTally>();
    Variant v = t;
    EXPECT_EQ(VarType(v), varUnknown);
    t = nullptr;
    EXPECT_EQ(gTallyLive, 1);
    Variant copy = v;
    v = 1;
    EXPECT_EQ(gTallyLive, 1);
    DelphiInterface<ITally> back;
    ASSERT_TRUE(Supports(copy.AsInterface().get(), back));
    EXPECT_EQ(back->Value(), 7);
    EXPECT_TRUE(copy == copy);
    EXPECT_FALSE(copy == Variant(static_cast<IInterface *>(nullptr)));
    EXPECT_THROW(copy.AsString(), EVariantTypeCastError);
    EXPECT_THROW(copy + 1, EVariantInvalidOpError);
  }
  EXPECT_EQ(gTallyLive, 0);
  EXPECT_TRUE(Variant().AsInterface() == nullptr);
}
