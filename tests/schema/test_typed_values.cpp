// The typed getters and setters: the lexical text each setter writes, and the value each getter
// reads back from it.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <functional>
#include <string>

#include "exception_text.h"
#include "schema/schema_util.h"
#include "vnxml/rtl/DateUtils.h"
#include "time_zone.h"

using namespace vn;
using schematest::Bound;

namespace {

constexpr Integer cV = 1;   // the element particle "v"
constexpr Integer cAt = 2;  // the attribute particle "at"

Bound Fresh(const UnicodeString &AXML = u"<r/>") {
  Bound b(AXML);
  b->AddSchemaInfo(cV, ntElement, u"v", 0, 1, false, 0);
  b->AddSchemaInfo(cAt, ntAttribute, u"at", 0, 1, false, 0);
  return b;
}

// The zone rules of a fixed zone one hour east of UTC, without daylight saving, so that the UTC
// form of a value is known.
class SchemaTyped : public vntest::TimeZoneTest {
 protected:
  SchemaTyped() : TimeZoneTest("XST-1") {}
};

struct TypedCase {
  const char *Name;
  std::function<void(TVnXMLSchemaElement *, Integer)> Set;
  // The element's text in the document, as written.
  const char *Text;
  // Reads the value back and compares it.
  std::function<void(TVnXMLSchemaElement *, Integer)> Check;
};

TEST_F(SchemaTyped, EveryPairWritesItsLexicalFormAndReadsItBack) {
  const TDateTime day = EncodeDate(2024, 2, 29);
  const TDateTime time = EncodeTime(13, 45, 30, 250);
  const TDateTime stamp = EncodeDateTime(2024, 2, 29, 13, 45, 30, 250);
  const TGUID guid = StringToGUID(u"{12345678-9ABC-DEF0-1234-56789ABCDEF0}");
  using E = TVnXMLSchemaElement;
  const TypedCase cases[] = {
      {"Byte", [](E *e, Integer i) { e->SetByteValue(i, 200); }, "200",
       [](E *e, Integer i) { EXPECT_EQ(e->GetByteValue(i), 200); }},
      {"Short", [](E *e, Integer i) { e->SetShortValue(i, -12345); }, "-12345",
       [](E *e, Integer i) { EXPECT_EQ(e->GetShortValue(i), -12345); }},
      {"Int", [](E *e, Integer i) { e->SetIntValue(i, -2147483647 - 1); }, "-2147483648",
       [](E *e, Integer i) { EXPECT_EQ(e->GetIntValue(i), -2147483647 - 1); }},
      {"Integer", [](E *e, Integer i) { e->SetIntegerValue(i, 2147483647); }, "2147483647",
       [](E *e, Integer i) { EXPECT_EQ(e->GetIntegerValue(i), 2147483647); }},
      {"Long", [](E *e, Integer i) { e->SetLongValue(i, 9007199254740993LL); }, "9007199254740993",
       [](E *e, Integer i) { EXPECT_EQ(e->GetLongValue(i), 9007199254740993LL); }},
      {"Int64", [](E *e, Integer i) { e->SetInt64Value(i, INT64_MIN); }, "-9223372036854775808",
       [](E *e, Integer i) { EXPECT_EQ(e->GetInt64Value(i), INT64_MIN); }},
      {"Integer64", [](E *e, Integer i) { e->SetInteger64Value(i, INT64_MAX); },
       "9223372036854775807",
       [](E *e, Integer i) { EXPECT_EQ(e->GetInteger64Value(i), INT64_MAX); }},
      {"UnsignedByte", [](E *e, Integer i) { e->SetUnsignedByteValue(i, 255); }, "255",
       [](E *e, Integer i) { EXPECT_EQ(e->GetUnsignedByteValue(i), 255); }},
      {"UnsignedShort", [](E *e, Integer i) { e->SetUnsignedShortValue(i, 65535); }, "65535",
       [](E *e, Integer i) { EXPECT_EQ(e->GetUnsignedShortValue(i), 65535); }},
      {"UnsignedInt", [](E *e, Integer i) { e->SetUnsignedIntValue(i, 2147483647u); }, "2147483647",
       [](E *e, Integer i) { EXPECT_EQ(e->GetUnsignedIntValue(i), 2147483647u); }},
      {"NonNegativeInteger", [](E *e, Integer i) { e->SetNonNegativeIntegerValue(i, 123456u); },
       "123456", [](E *e, Integer i) { EXPECT_EQ(e->GetNonNegativeIntegerValue(i), 123456u); }},
      {"UnsignedLong", [](E *e, Integer i) { e->SetUnsignedLongValue(i, 9223372036854775807ULL); },
       "9223372036854775807",
       [](E *e, Integer i) { EXPECT_EQ(e->GetUnsignedLongValue(i), 9223372036854775807ULL); }},
      {"Date", [&](E *e, Integer i) { e->SetDateValue(i, day); }, "2024-02-29",
       [&](E *e, Integer i) { EXPECT_EQ(static_cast<double>(e->GetDateValue(i)), double(day)); }},
      {"Time", [&](E *e, Integer i) { e->SetTimeValue(i, time); }, "13:45:30.250",
       [&](E *e, Integer i) {
         EXPECT_NEAR(static_cast<double>(e->GetTimeValue(i)), double(time), 1e-9);
       }},
      // The plain local value, with milliseconds.
      {"TimeInstant", [&](E *e, Integer i) { e->SetTimeInstantValue(i, stamp); },
       "2024-02-29T13:45:30.250",
       [&](E *e, Integer i) {
         EXPECT_NEAR(static_cast<double>(e->GetTimeInstantValue(i)), double(stamp), 1e-9);
       }},
      // The same value in UTC (one hour back in this zone), which has no milliseconds; read
      // back without a zone it is the local value again, to the second.
      {"Datetime", [&](E *e, Integer i) { e->SetDatetimeValue(i, stamp); }, "2024-02-29T12:45:30Z",
       [&](E *e, Integer i) {
         EXPECT_NEAR(static_cast<double>(e->GetDatetimeValue(i)),
                     double(EncodeDateTime(2024, 2, 29, 13, 45, 30, 0)), 1e-9);
       }},
      {"Duration", [](E *e, Integer i) { e->SetDurationValue(i, u"P1Y2M3DT4H5M6S"); },
       "P1Y2M3DT4H5M6S",
       [](E *e, Integer i) { EXPECT_EQ(e->GetDurationValue(i), u"P1Y2M3DT4H5M6S"); }},
      {"Float", [](E *e, Integer i) { e->SetFloatValue(i, 1.5); }, "1.5",
       [](E *e, Integer i) { EXPECT_EQ(e->GetFloatValue(i), 1.5); }},
      {"Decimal", [](E *e, Integer i) { e->SetDecimalValue(i, 0.1); }, "0.1",
       [](E *e, Integer i) { EXPECT_EQ(e->GetDecimalValue(i), 0.1); }},
      {"Double", [](E *e, Integer i) { e->SetDoubleValue(i, -2.5e-10); }, "-2.5E-10",
       [](E *e, Integer i) { EXPECT_EQ(e->GetDoubleValue(i), -2.5e-10); }},
      {"Xml", [](E *e, Integer i) { e->SetXmlValue(i, u"<b>x</b>"); }, "&lt;b&gt;x&lt;/b&gt;",
       [](E *e, Integer i) { EXPECT_EQ(e->GetXmlValue(i), u"<b>x</b>"); }},
      {"Json", [](E *e, Integer i) { e->SetJsonValue(i, u"{\"a\":1}"); }, "{&quot;a&quot;:1}",
       [](E *e, Integer i) { EXPECT_EQ(e->GetJsonValue(i), u"{\"a\":1}"); }},
      {"String", [](E *e, Integer i) { e->SetStringValue(i, u"caf\u00e9 & co"); },
       "caf\xc3\xa9 &amp; co",
       [](E *e, Integer i) { EXPECT_EQ(e->GetStringValue(i), u"caf\u00e9 & co"); }},
      {"Language", [](E *e, Integer i) { e->SetLanguageValue(i, u"en-GB"); }, "en-GB",
       [](E *e, Integer i) { EXPECT_EQ(e->GetLanguageValue(i), u"en-GB"); }},
      {"Any", [](E *e, Integer i) { e->SetAnyValue(i, u"any text"); }, "any text",
       [](E *e, Integer i) { EXPECT_EQ(e->GetAnyValue(i), u"any text"); }},
      {"AnyUri", [](E *e, Integer i) { e->SetAnyUriValue(i, u"http://example.com/?a=1"); },
       "http://example.com/?a=1",
       [](E *e, Integer i) { EXPECT_EQ(e->GetAnyUriValue(i), u"http://example.com/?a=1"); }},
      {"Base64binary", [](E *e, Integer i) { e->SetBase64binaryValue(i, AnsiString("QUJD")); },
       "QUJD", [](E *e, Integer i) { EXPECT_EQ(e->GetBase64binaryValue(i), AnsiString("QUJD")); }},
      {"Boolean", [](E *e, Integer i) { e->SetBooleanValue(i, true); }, "true",
       [](E *e, Integer i) { EXPECT_TRUE(e->GetBooleanValue(i)); }},
      {"Guid", [&](E *e, Integer i) { e->SetGuidValue(i, guid); },
       "{12345678-9ABC-DEF0-1234-56789ABCDEF0}",
       [&](E *e, Integer i) { EXPECT_EQ(e->GetGuidValue(i), guid); }},
  };
  for (const TypedCase &c : cases) {
    SCOPED_TRACE(c.Name);
    Bound b = Fresh();
    c.Set(b.El.get(), cV);
    EXPECT_EQ(b.XML(), std::string("<r><v>") + c.Text + "</v></r>");
    c.Check(b.El.get(), cV);
    // The same on an attribute particle.
    Bound a = Fresh();
    c.Set(a.El.get(), cAt);
    EXPECT_EQ(a.XML(), std::string("<r at=\"") + c.Text + "\" />");
    c.Check(a.El.get(), cAt);
  }
}

TEST_F(SchemaTyped, TextReadTwiceDecodesStoredReferencesOnce) {
  // A value that holds a reference as text: the String family decodes it once more, the Xml
  // family gives the value as it stands.
  Bound b = Fresh(u"<r><v>a &amp;lt; b</v></r>");
  EXPECT_EQ(b->GetXmlValue(cV), u"a &lt; b");
  EXPECT_EQ(b->GetStringValue(cV), u"a < b");
  EXPECT_EQ(b->GetBase64binaryValue(cV), AnsiString("a < b"));
  // UTF-8 bytes out, the bytes' text in.
  Bound u = Fresh(u"<r><v>\u00e9</v></r>");
  EXPECT_EQ(static_cast<const std::string &>(u->GetBase64binaryValue(cV)), "\xc3\xa9");
  u->SetBase64binaryValue(cV, AnsiString("\xe9", 28591));
  EXPECT_EQ(u->GetXmlValue(cV), u"\u00e9");
}

TEST_F(SchemaTyped, FalseAndOddValuesAndBadText) {
  Bound f = Fresh();
  f->SetBooleanValue(cV, false);
  EXPECT_EQ(f.XML(), "<r><v>false</v></r>");
  EXPECT_FALSE(f->GetBooleanValue(cV));
  // Text other than "1" or "true" reads as false.
  Bound y = Fresh(u"<r><v>yes</v><x/></r>");
  EXPECT_FALSE(y->GetBooleanValue(cV));
  Bound one = Fresh(u"<r><v>1</v></r>");
  EXPECT_TRUE(one->GetBooleanValue(cV));

  // The unsigned 32-bit reading goes through the signed conversion: values from 2^31 up are
  // written, but do not read back.
  Bound big = Fresh();
  big->SetUnsignedIntValue(cV, 4294967295u);
  EXPECT_EQ(big.XML(), "<r><v>4294967295</v></r>");
  EXPECT_THROW(big->GetUnsignedIntValue(cV), EConvertError);
  // The unsigned 64-bit text is that of the same bits read as signed.
  big->SetUnsignedLongValue(cV, 18446744073709551615ULL);
  EXPECT_EQ(big->GetXmlValue(cV), u"-1");
  EXPECT_EQ(big->GetUnsignedLongValue(cV), 18446744073709551615ULL);

  // Conversion failures pass through the getters.
  Bound bad = Fresh(u"<r at=\"nope\"><v>abc</v></r>");
  EXPECT_THROW(bad->GetIntValue(cV), EConvertError);
  EXPECT_THROW(bad->GetDoubleValue(cV), EConvertError);
  EXPECT_THROW(bad->GetGuidValue(cAt), EConvertError);
  EXPECT_THROW(bad->GetDateValue(cV), EConvertError);
}

}  // namespace
