#include <gtest/gtest.h>

#include "vnxml/json/uVnJSON.h"

#include "exception_text.h"
#include "vnxml/xml/uVnXSTypes.h"
#include "vnxml/xml/uVnXMLUtils.h"

using namespace vn;

namespace xtest {
enum TFruit : Byte { frApple, frPear, frPlum };
using TFruits = Set<TFruit, frApple, frPlum>;
VN_RTTI(TFruit, u"xtest") {
  R.Names({u"frApple", u"frPear", u"frPlum"});
}
VN_RTTI(TFruits, u"xtest") {}

struct TBox {
  Integer Size = 0;
};
VN_RTTI(TBox, u"xtest") {
  R.Field(u"Size", &TBox::Size);
}
}  // namespace xtest

using namespace xtest;

using vntest::MessageOf;

TEST(XMLVariantShapesTest, IntegersByMainKind) {
  EXPECT_EQ(VnXMLToInt(Variant::Null(), 7), 7);
  EXPECT_EQ(VnXMLToInt(Variant(UnicodeString(u"12")), 7), 12);
  EXPECT_THROW(VnXMLToInt(Variant(UnicodeString(u"x")), 7), EConvertError);
  EXPECT_THROW(VnXMLToInt(Variant(UnicodeString()), 7), EConvertError) << "empty text raises";
  EXPECT_EQ(VnXMLToInt(Variant(true), 0), 1);
  EXPECT_EQ(VnXMLToByte(Variant(300), 0), 44);
  EXPECT_EQ(VnXMLToInt64(Variant(static_cast<long long>(-5)), 0), -5);
  EXPECT_EQ(MessageOf([] { VnXMLToInt(Variant(2.5), 0); }),
            u"EConvertError: The given value is not a valid integer value!");
  EXPECT_EQ(MessageOf([] { VnXMLToShortint(Variant(2.5), 0); }),
            u"EConvertError: The given value is not a valid shortint value!");
  EXPECT_EQ(MessageOf([] { VnXMLToLongword(Variant(2.5), 0); }),
            u"EConvertError: The given value is not a valid LongWord value!");
}

TEST(XMLVariantShapesTest, FloatsBooleansAndDates) {
  EXPECT_EQ(VnXMLToSingle(Variant::Null(), 5.0f), 0.0f) << "the single form ignores its default";
  EXPECT_EQ(VnXMLToDouble(Variant::Null(), 5.0), 5.0);
  EXPECT_EQ(VnXMLToDouble(Variant(UnicodeString(u"1.5")), 0), 1.5);
  EXPECT_EQ(VnXMLToDouble(Variant(TDateTime(2.5)), 0), 2.5);
  EXPECT_EQ(MessageOf([] { VnXMLToSingle(Variant(TDateTime(2.5)), 0); }),
            u"EConvertError: The given value is not a valid Single value!");
  EXPECT_TRUE(VnXMLToBool(Variant::Null(), true));
  EXPECT_FALSE(VnXMLToBool(Variant(256), true)) << "only the low byte counts";
  EXPECT_TRUE(VnXMLToBool(Variant(257), false));
  EXPECT_TRUE(VnXMLToBool(Variant(UnicodeString(u"TRUE")), false));
  EXPECT_EQ(MessageOf([] { VnXMLToBool(Variant(2.0), false); }),
            u"EConvertError: The given value is not a valid Boolean value!");
  EXPECT_EQ(VnXMLToDate(Variant::Null(), 3.0), 3.0);
  EXPECT_EQ(VnXMLToDateTime(Variant(1.5), 0), 1.5);
  EXPECT_EQ(VnXMLToDate(Variant(UnicodeString(u"2020-01-02")), 0), EncodeDate(2020, 1, 2));
  EXPECT_EQ(MessageOf([] { VnXMLToTime(Variant(true), 0); }),
            u"EConvertError: The given value is not a valid Time value!");
}

TEST(XMLVariantShapesTest, StringsAndArrays) {
  EXPECT_EQ(VnXMLToStr(Variant::Null(), u"dflt"), u"dflt");
  EXPECT_EQ(VnXMLToStr(Variant(5), u""), u"5");
  EXPECT_EQ(VnXMLToStr(Variant(1.5), u""), u"1.5");
  EXPECT_EQ(VnXMLToStr(Variant(UnicodeString(u"a&amp;b")), u""), u"a&b");
  EXPECT_EQ(VnXMLToStr(Variant(true), u""), u"true");
  EXPECT_EQ(VnXMLToStr(Variant(TDateTime(EncodeDate(2020, 1, 2))), u""),
            u"2020-01-02T00:00:00.000");
  EXPECT_EQ(VnXMLToStr(VarArrayOf({Variant(1), Variant(UnicodeString(u"x"))}), u""), u"1\r\nx\r\n");
}

TEST(XMLVariantByKindTest, KindsAndTypeNames) {
  Variant b = VnXMLToVariant(u"300", vtkByte);
  EXPECT_EQ(VarType(b), varByte);
  EXPECT_EQ(b.AsInt64(), 44);
  EXPECT_EQ(VarType(VnXMLToVariant(u"2", vtkEnum)), varInteger);
  EXPECT_EQ(VarType(VnXMLToVariant(u"1.5", vtkSingle)), varSingle);
  EXPECT_EQ(VarToStr(VnXMLToVariant(u"a&amp;b", vtkVariant)), u"a&amp;b");
  EXPECT_EQ(VarType(VnXMLToVariant(u"2020-01-02", vtkDate)), varDate);
  EXPECT_EQ(MessageOf([] { VnXMLToVariant(u"x", vtkClass); }),
            u"Exception: Failed to convert the value \"x\" to a variant value of type vtkClass!");
  EXPECT_EQ(VarType(VnXMLToVariant(u"7", UnicodeString(u"System.Integer"))), varInteger);
  EXPECT_EQ(VarToStr(VnXMLToVariant(u"raw", UnicodeString(u"no.such.Type"))), u"raw")
      << "an unknown name is an interface type code: the text as it stands";
}

TEST(XMLValueTest, ValuesToText) {
  EXPECT_EQ(VnValToXML(TValue(5)), u"5");
  EXPECT_EQ(VnValToXML(TValue(UnicodeString(u"a<b"))), u"a&lt;b");
  EXPECT_EQ(VnValToXML(TValue(frPear)), u"frPear");
  EXPECT_EQ(VnValToXML(TValue(static_cast<TFruit>(7))), u"frApple")
      << "out of range writes the first name";
  EXPECT_EQ(VnValToXML(TValue(Variant(2.5))), u"2.5");
  // Structured values are written by the XML serializer, whose default namespace is the
  // program's name.
  EXPECT_EQ(VnValToXML(TValue::From<TBox>(TBox{3})),
            u"<record xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
            u"xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" xsi:type=\"xsd:TBox\" "
            u"xmlns=\"urn:xmlutils_tests\"><Size xsi:type=\"xsd:int\">3</Size></record>");
  EXPECT_EQ(VnValToXML(TValue::From<std::vector<Integer>>({1, 2})),
            u"<array xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
            u"xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\" xsi:type=\"xsd:ArrayOfInt\" "
            u"xmlns=\"urn:xmlutils_tests\"><int xsi:type=\"xsd:int\">1</int><int "
            u"xsi:type=\"xsd:int\">2</int></array>");
  EXPECT_EQ(VnValToJSON(TValue::From<TBox>(TBox{3})), u"{\"className\":\"TBox\",\"size\":3}");
  EXPECT_EQ(VnValToJSON(TValue::From<std::vector<Integer>>({1, 2})), u"[1,2]");
}

TEST(XMLValueTest, TextToValuesByType) {
  TValue i = VnXMLToValue(u"42", UnicodeString(u"System.Integer"));
  EXPECT_EQ(i.AsInteger(), 42);
  EXPECT_EQ(i.GetTypeInfo(), TypeInfo<Integer>());
  TValue xs = VnXMLToValue(u"42", TypeInfo<TXsInt>());
  ASSERT_EQ(xs.GetTypeInfo(), TypeInfo<TXsInt>());
  EXPECT_EQ(static_cast<Integer>(xs.AsType<TXsInt>()), 42);
  TValue dt = VnXMLToValue(u"2020-01-02", TypeInfo<TXsDate>());
  EXPECT_EQ(dt.AsType<TXsDate>().ToString(), u"2020-01-02");
  EXPECT_EQ(VnXMLToValue(u"a&lt;", TypeInfo<UnicodeString>()).AsString(), u"a<");
  EXPECT_EQ(VnXMLToValue(u"frPlum", TypeInfo<TFruit>()).AsOrdinal(), 2);
  EXPECT_EQ(VnXMLToValue(u"1", TypeInfo<TFruit>()).AsOrdinal(), 1);
  EXPECT_EQ(VnXMLToValue(u"[frApple,frPlum]", TypeInfo<TFruits>()).AsOrdinal(), 5);
  EXPECT_EQ(VnXMLToValue(u"6", TypeInfo<TFruits>()).AsOrdinal(), 6);
  EXPECT_TRUE(VnXMLToValue(u"true", TypeInfo<bool>()).AsBoolean());
  EXPECT_THROW(VnXMLToValue(u"1", UnicodeString(u"no.such.Type")), EVnException);
  EXPECT_EQ(
      MessageOf([] { VnXMLToValue(u"x", TypeInfo<TBox>()); }),
      u"Exception: Failed to convert \"x\" into a TValue!\r\nThe type TBox is not supported.");
}
