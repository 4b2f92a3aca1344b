// The text conversions of JSON (escaping, unescaping, values as JSON text, the date forms) and
// the scanner's choice of the encoding.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

#include "json/json_util.h"
#include "vnxml/rtl/DateUtils.h"

namespace {

using namespace vn;
using namespace jsontest;

// --- escaping

TEST(JSONText, StrToJSONEscapesQuotesSlashesAndSomeControls) {
  EXPECT_EQ(VnStrToJSON(u""), u"");
  EXPECT_EQ(VnStrToJSON(u"plain text"), u"plain text");
  EXPECT_EQ(VnStrToJSON(u"a/b"), u"a\\/b");
  EXPECT_EQ(VnStrToJSON(u"\"q\" \\"), u"\\\"q\\\" \\\\");
  EXPECT_EQ(VnStrToJSON(u"\b\t\n\f\r"), u"\\b\\t\\n\\f\\r");
}

TEST(JSONText, StrToJSONDropsOneToSevenAndKeepsTheOtherLowCharacters) {
  for (char16_t c = 1; c <= 7; ++c) EXPECT_EQ(VnStrToJSON(UnicodeString(1, c)), u"") << int(c);
  EXPECT_EQ(VnStrToJSON(u"a\x01\x07z"), u"az");
  const UnicodeString kept{u'\0', u'\x0B', u'\x0E', u'\x1F', u'\x7F', u'\x80', u'\xE9', u'\xFF'};
  EXPECT_EQ(VnStrToJSON(kept), kept);
}

TEST(JSONText, StrToJSONWritesEveryUnitFrom256AsUpperCaseHex) {
  EXPECT_EQ(VnStrToJSON(u"\u00e9"), u"\u00e9");
  EXPECT_EQ(VnStrToJSON(u"\u0100"), u"\\u0100");
  EXPECT_EQ(VnStrToJSON(u"x\uabcdy"), u"x\\uABCDy");
  EXPECT_EQ(VnStrToJSON(u"\U0001F600"), u"\\uD83D\\uDE00");
}

TEST(JSONText, JSONtoStrUndoesTheEscapes) {
  EXPECT_EQ(VnJSONtoStr(u"", jdtString), u"");
  EXPECT_EQ(VnJSONtoStr(u"a\\/b", jdtString), u"a/b");
  EXPECT_EQ(VnJSONtoStr(u"\\\"\\\\\\/", jdtString), u"\"\\/");
  EXPECT_EQ(VnJSONtoStr(u"\\b\\f\\n\\r\\t", jdtString), u"\b\f\n\r\t");
  // Any other character behind a backslash stands for itself.
  EXPECT_EQ(VnJSONtoStr(u"\\q\\'", jdtString), u"q'");
  EXPECT_EQ(VnJSONtoStr(u"\\u0041\\u00e9\\u20AC", jdtString), u"A\u00e9\u20ac");
  // Each \u gives one unit: pairs come out whole, lone halves alone.
  EXPECT_EQ(VnJSONtoStr(u"\\uD83D\\uDE00", jdtString), u"\U0001F600");
  EXPECT_EQ(VnJSONtoStr(u"\\uD800x", jdtString), (UnicodeString{char16_t(0xD800), u'x'}));
  // \% takes two hexadecimal digits in any type.
  EXPECT_EQ(VnJSONtoStr(u"\\%41", jdtString), u"A");
  // Escapes are found at every place of texts longer than one step of the search, and a "%"
  // in a number likewise.
  for (std::size_t k = 0; k < 20; ++k) {
    const std::u16string a(k, u'a'), b(19 - k, u'b');
    EXPECT_EQ(VnJSONtoStr(a + u"\\n" + b, jdtString), a + u"\n" + b) << k;
    EXPECT_EQ(VnJSONtoStr(a + u"%41" + b, jdtNumber), a + u"A" + b) << k;
  }
}

TEST(JSONText, JSONtoStrReadsPercentEscapesInNumbersOnly) {
  EXPECT_EQ(VnJSONtoStr(u"1%2E5", jdtNumber), u"1.5");
  EXPECT_EQ(VnJSONtoStr(u"%2D%31", jdtNumber), u"-1");
  for (TVnJSONDataType t : {jdtNull, jdtString, jdtBoolean, jdtObject, jdtArray})
    EXPECT_EQ(VnJSONtoStr(u"1%2E5%zz", t), u"1%2E5%zz") << TypeName(t);
}

TEST(JSONText, JSONtoStrRaisesTheIntegerConversionErrorOnBadHex) {
  EXPECT_THROW(VnJSONtoStr(u"\\uZZZZ", jdtString), EConvertError);
  EXPECT_THROW(VnJSONtoStr(u"\\u00G0", jdtString), EConvertError);
  EXPECT_THROW(VnJSONtoStr(u"\\%GG", jdtString), EConvertError);
  EXPECT_THROW(VnJSONtoStr(u"1%Z1", jdtNumber), EConvertError);
}

TEST(JSONText, EscapingRoundTripsAllButOneToSeven) {
  UnicodeString all;
  for (char16_t c = 0; c < 600; ++c) all += c;
  all += u"\U0001F600\uFFFF";
  UnicodeString expected;
  for (char16_t c : all)
    if (c < 1 || c > 7) expected += c;
  EXPECT_EQ(VnJSONtoStr(VnStrToJSON(all), jdtString), expected);
}

// --- values

TEST(JSONText, VarTypeToJSONType) {
  EXPECT_EQ(VnVarTypeToJSONType(Variant(42)), jdtNumber);
  EXPECT_EQ(VnVarTypeToJSONType(Variant(Int64(1) << 40)), jdtNumber);
  EXPECT_EQ(VnVarTypeToJSONType(Variant(Byte(1))), jdtNumber);
  EXPECT_EQ(VnVarTypeToJSONType(Variant(1.5)), jdtNumber);
  EXPECT_EQ(VnVarTypeToJSONType(Variant(u"s")), jdtString);
  EXPECT_EQ(VnVarTypeToJSONType(Variant(AnsiString("s"))), jdtString);
  EXPECT_EQ(VnVarTypeToJSONType(Variant(EncodeDate(2001, 2, 3))), jdtString);
  EXPECT_EQ(VnVarTypeToJSONType(Variant(true)), jdtBoolean);
  EXPECT_EQ(VnVarTypeToJSONType(VarArrayOf({Variant(1)})), jdtArray);
  EXPECT_EQ(VnVarTypeToJSONType(Null()), jdtNull);
  EXPECT_EQ(VnVarTypeToJSONType(Variant()), jdtNull);
}

TEST(JSONText, VarToJSONScalars) {
  EXPECT_EQ(VnVarToJSON(Variant(true)), u"true");
  EXPECT_EQ(VnVarToJSON(Variant(false)), u"false");
  EXPECT_EQ(VnVarToJSON(Variant(42)), u"42");
  EXPECT_EQ(VnVarToJSON(Variant(std::numeric_limits<Int64>::min())), u"-9223372036854775808");
  EXPECT_EQ(VnVarToJSON(Variant(1.5)), u"1.5");
  EXPECT_EQ(VnVarToJSON(Variant(1e20)), u"1E20");
  EXPECT_EQ(VnVarToJSON(Variant(1.5e-10)), u"1.5E-10");
  EXPECT_EQ(VnVarToJSON(Variant(0.0)), u"0");
  EXPECT_EQ(VnVarToJSON(Variant(-0.0)), u"-0");
  EXPECT_EQ(VnVarToJSON(Variant(std::numeric_limits<double>::infinity())), u"null");
  EXPECT_EQ(VnVarToJSON(Variant(-std::numeric_limits<double>::infinity())), u"null");
  EXPECT_EQ(VnVarToJSON(Variant(std::numeric_limits<double>::quiet_NaN())), u"null");
  EXPECT_EQ(VnVarToJSON(Variant(u"")), u"\"\"");
  EXPECT_EQ(VnVarToJSON(Variant(u"a\"b/\u0100\x01")), u"\"a\\\"b\\/\\u0100\"");
  EXPECT_EQ(VnVarToJSON(Null()), u"null");
  EXPECT_EQ(VnVarToJSON(Variant()), u"null");
}

TEST(JSONText, VarToJSONDatesAndArrays) {
  const TDateTime d = EncodeDate(2001, 2, 3) + EncodeTime(4, 5, 6, 7);
  EXPECT_EQ(VnVarToJSON(Variant(d)), u"\"2001-02-03T04:05:06.007\"");
  EXPECT_EQ(VnVarToJSON(VarArrayCreate(0, -1)), u"[]");
  EXPECT_EQ(VnVarToJSON(VarArrayOf(
                {Variant(1), Variant(u"a"), Variant(true), Null(), Variant(1.5), Variant(-0.0)})),
            u"[1,\"a\",true,null,1.5,-0]");
  EXPECT_EQ(VnVarToJSON(VarArrayOf({VarArrayOf({Variant(1), Variant(2)}), VarArrayCreate(0, -1)})),
            u"[[1,2],[]]");
}

// --- dates

const double cEpoch = 25569.0;  // 1970-01-01
const double cMs = 1.0 / 86400000.0;

TEST(JSONDates, MillisecondFormsCountFrom1970WithoutAZone) {
  EXPECT_DOUBLE_EQ(VnJSONToDateTime(u"/Date(0)/").Val, EncodeDate(1970, 1, 1).Val);
  EXPECT_DOUBLE_EQ(VnJSONToDateTime(u"/Date(0)/").Val, cEpoch);
  EXPECT_NEAR(VnJSONToDateTime(u"/Date(90000000)/").Val, cEpoch + 1 + 1.0 / 24, cMs);
  EXPECT_NEAR(VnJSONToDateTime(u"/Date(-86400000)/").Val, cEpoch - 1, cMs);
  // The date cuts the time; the time counts from the zero date and keeps whole days.
  EXPECT_DOUBLE_EQ(VnJSONToDate(u"/Date(90000000)/").Val, cEpoch + 1);
  EXPECT_NEAR(VnJSONToTime(u"/Date(3600000)/").Val, 1.0 / 24, cMs);
  EXPECT_NEAR(VnJSONToTime(u"/Date(90000000)/").Val, 1 + 1.0 / 24, cMs);
  // The frame is cut off unchecked.
  EXPECT_NEAR(VnJSONToDateTime(u"/abcd[1000xy").Val, cEpoch + 1000 * cMs, cMs / 10);
  // An empty text is 0.
  EXPECT_DOUBLE_EQ(VnJSONToDateTime(u"").Val, 0.0);
  EXPECT_DOUBLE_EQ(VnJSONToDate(u"").Val, 0.0);
  EXPECT_DOUBLE_EQ(VnJSONToTime(u"").Val, 0.0);
}

TEST(JSONDates, OtherTextsAreXMLForms) {
  EXPECT_DOUBLE_EQ(VnJSONToDateTime(u"2001-02-03T04:05:06").Val,
                   double(EncodeDate(2001, 2, 3) + EncodeTime(4, 5, 6, 0)));
  EXPECT_DOUBLE_EQ(VnJSONToDate(u"2001-02-03").Val, EncodeDate(2001, 2, 3).Val);
  EXPECT_NEAR(VnJSONToTime(u"04:05:06").Val, EncodeTime(4, 5, 6, 0).Val, cMs);
}

TEST(JSONDates, FailuresRaiseAndDefForms) {
  // A zone behind the milliseconds fails in the integer conversion.
  EXPECT_THROW(VnJSONToDateTime(u"/Date(0+0100)/"), EConvertError);
  EXPECT_THROW(VnJSONToDate(u"/Date()/"), EConvertError);
  EXPECT_ANY_THROW(VnJSONToDateTime(u"not a date"));
  EXPECT_DOUBLE_EQ(VnJSONToDateTimeDef(u"/Date(0+0100)/", 7.0).Val, 7.0);
  EXPECT_DOUBLE_EQ(VnJSONToDateDef(u"not a date", 7.0).Val, 7.0);
  EXPECT_DOUBLE_EQ(VnJSONToTimeDef(u"garbage", 7.0).Val, 7.0);
  EXPECT_DOUBLE_EQ(VnJSONToDateTimeDef(u"/Date(0)/", 7.0).Val, cEpoch);
  EXPECT_DOUBLE_EQ(VnJSONToDateDef(u"2001-02-03", 7.0).Val, EncodeDate(2001, 2, 3).Val);
  EXPECT_DOUBLE_EQ(VnJSONToTimeDef(u"", 7.0).Val, 0.0);
}

TEST(JSONDates, VariantForms) {
  const TDateTime def = 7.0;
  EXPECT_DOUBLE_EQ(VnJSONToDateTime(Null(), def).Val, 7.0);
  EXPECT_DOUBLE_EQ(VnJSONToDate(Null(), def).Val, 7.0);
  EXPECT_DOUBLE_EQ(VnJSONToTime(Null(), def).Val, 7.0);
  // Numbers and dates are the date itself, uncut.
  EXPECT_DOUBLE_EQ(VnJSONToDate(Variant(2), def).Val, 2.0);
  EXPECT_DOUBLE_EQ(VnJSONToDate(Variant(2.75), def).Val, 2.75);
  EXPECT_DOUBLE_EQ(VnJSONToTime(Variant(TDateTime(3.5)), def).Val, 3.5);
  // Text goes through the text form.
  EXPECT_DOUBLE_EQ(VnJSONToDateTime(Variant(u"/Date(0)/"), def).Val, cEpoch);
  EXPECT_DOUBLE_EQ(VnJSONToDate(Variant(u"2001-02-03"), def).Val, EncodeDate(2001, 2, 3).Val);
  // Other kinds raise, Empty included.
  for (const Variant &v : {Variant(true), Variant(), VarArrayOf({Variant(1)})}) {
    ExpectRaises<EConvertError>([&] { VnJSONToDate(v, def); },
                                u"The given value is not a valid Date value!");
    ExpectRaises<EConvertError>([&] { VnJSONToTime(v, def); },
                                u"The given value is not a valid Time value!");
    ExpectRaises<EConvertError>([&] { VnJSONToDateTime(v, def); },
                                u"The given value is not a valid DateTime value!");
  }
}

// --- the scanner's encoding

std::string ParseBytes(const std::string &ABytes, Word ACodePage) {
  TVnJSONReader *reader = New<TVnJSONReader>();
  TRecorder *rec = New<TRecorder>();
  DelphiInterface<IVnJSONContentHandler> keep(rec);
  reader->SetContentHandler(rec);
  reader->SetErrorHandler(rec);
  TOutcome out;
  Capture(out, [&] { reader->Parse(AnsiString(ABytes, ACodePage), ACodePage); });
  reader->Free();
  return rec->Joined() + (out.Error.empty() ? "" : " !" + out.Error + ": " + out.Message);
}

TEST(JSONScanner, ASingleBytePageIsOverruledByUTF8OrUTF16LE) {
  const std::string utf8 = "[\"\xC3\xA9\"]";
  const std::string utf16 = Utf16Bytes(u"[\"\u00e9\u20ac\"]");
  for (Word page : {CP_WIN1252, CP_LATIN1, Word(1251)}) {
    SCOPED_TRACE(page);
    EXPECT_EQ(ParseBytes(utf8, page), "SD SA V(string,\u00e9) EA ED");
    EXPECT_EQ(ParseBytes(utf16, page), "SD SA V(string,\u00e9\u20ac) EA ED");
    EXPECT_EQ(ParseBytes("", page), "SD ED");
    EXPECT_EQ(ParseBytes("[]", page), "SD SA EA ED");
  }
}

TEST(JSONScanner, UTF32AndUTF16BigEndianAreNotSupported) {
  const std::string message = " !Exception: The specified encoding is not supported!";
  EXPECT_EQ(ParseBytes(std::string("\0\0\0[\0\0\0]", 8), CP_WIN1252), message);
  EXPECT_EQ(ParseBytes(std::string("\0[\0]", 4), CP_WIN1252), message);
  EXPECT_EQ(ParseBytes(std::string("[\0\0\0]\0\0\0", 8), CP_WIN1252), message);
}

TEST(JSONScanner, UTF16AndUTF8PagesAreTakenAsGiven) {
  // "12" as UTF-16 LE bytes: sniffed under a single-byte page, read as UTF-8 under 65001,
  // where the NUL behind the "1" ends the number.
  const std::string twelve16 = Utf16Bytes(u"12");
  EXPECT_EQ(ParseBytes(twelve16, CP_WIN1252), "SD V(number,12) ED");
  EXPECT_EQ(ParseBytes(twelve16, CP_UTF8), "SD V(number,1) ED");
  // The bytes "12" under page 1200 are the one unit U+3231.
  EXPECT_EQ(ParseBytes("12", CP_UTF16),
            "SD !EVnJSONParseError: The document is not wellformed!\r\n\"" + cValueStart +
                "\" expected, but \"\u3231\" found!");
  EXPECT_EQ(ParseBytes("12", CP_WIN1252), "SD V(number,12) ED");
}

TEST(JSONScanner, TheSniffLooksAtTheStreamFromItsCurrentPosition) {
  TMemoryStream *stream = New<TMemoryStream>();
  const std::string bytes = std::string("\0\0\0\0", 4) + Utf16Bytes(u"[\"\u00e9\"]");
  stream->WriteBuffer(bytes.data(), static_cast<Int64>(bytes.size()));
  stream->SetPosition(4);
  TVnJSONReader *reader = New<TVnJSONReader>();
  TRecorder *rec = New<TRecorder>();
  DelphiInterface<IVnJSONContentHandler> keep(rec);
  reader->SetContentHandler(rec);
  reader->SetErrorHandler(rec);
  reader->ParseStream(stream, CP_WIN1252);
  EXPECT_EQ(rec->Joined(), "SD SA V(string,\u00e9) EA ED");
  reader->Free();
  stream->Free();
}

}  // namespace
