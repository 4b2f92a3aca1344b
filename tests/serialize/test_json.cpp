// The JSON notation, member by member: the exact bytes that each kind of simple member gives,
// and how member names are cased.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <limits>

#include "vnxml/common/uVnSerializer.h"
#include "vnxml/json/uVnJSONSerializer.h"
#include "vnxml/rtl/DateUtils.h"
#include "vnxml/rtl/Owned.h"
#include "time_zone.h"

using namespace vn;

namespace jsonvalues {

struct TInts {
  Byte U8 = 0;
  Word U16 = 0;
  LongWord U32 = 0;
  UInt64 U64 = 0;
  ShortInt S8 = 0;
  SmallInt S16 = 0;
  Integer S32 = 0;
  Int64 S64 = 0;
};
VN_RTTI(TInts, u"jsonvalues") {
  R.Field(u"U8", &TInts::U8).Field(u"U16", &TInts::U16).Field(u"U32", &TInts::U32);
  R.Field(u"U64", &TInts::U64).Field(u"S8", &TInts::S8).Field(u"S16", &TInts::S16);
  R.Field(u"S32", &TInts::S32).Field(u"S64", &TInts::S64);
}

struct TFloats {
  Single Single32 = 0;
  Double Double64 = 0;
  Double Ext = 0;
};
VN_RTTI(TFloats, u"jsonvalues") {
  R.Field(u"Single32", &TFloats::Single32).Field(u"Double64", &TFloats::Double64);
  R.Field<TExtendedAlias>(u"Ext", &TFloats::Ext);
}

struct TTexts {
  UnicodeString Plain;
  UnicodeString Raw;  // JSON text already
  UnicodeString Wide;
  AnsiString Ansi;
  RawByteString Bytes;
  char16_t WChar = u' ';
  char AChar = ' ';
};
VN_RTTI(TTexts, u"jsonvalues") {
  R.Field(u"Plain", &TTexts::Plain);
  R.Field<TVnJSONStringAlias>(u"Raw", &TTexts::Raw);
  R.Field<TWideStringAlias>(u"Wide", &TTexts::Wide);
  R.Field(u"Ansi", &TTexts::Ansi).Field(u"Bytes", &TTexts::Bytes);
  R.Field(u"WChar", &TTexts::WChar).Field(u"AChar", &TTexts::AChar);
}

struct TFlags {
  bool Yes = true;
  bool No = false;
};
VN_RTTI(TFlags, u"jsonvalues") {
  R.Field(u"Yes", &TFlags::Yes).Field(u"No", &TFlags::No);
}

// An enumeration whose value names carry a prefix that the documents leave out, one without,
// and sets of them.
enum TColor { clRed, clGreen, clBlue };
VN_RTTI(TColor, u"jsonvalues") {
  R.Names({u"clRed", u"clGreen", u"clBlue"});
  R.Attribute(new SerializerHint(shoEnumPrefix, u"cl"));
}
using TColors = Set<TColor, clRed, clBlue>;
VN_RTTI(TColors, u"jsonvalues") {}

enum TSize { szSmall, szLarge };
VN_RTTI(TSize, u"jsonvalues") {
  R.Names({u"szSmall", u"szLarge"});
}
// A set type with a prefix hint of its own.
using TSizes = Set<TSize, szSmall, szLarge>;
VN_RTTI(TSizes, u"jsonvalues") {
  R.Attribute(new SerializerHint(shoEnumPrefix, u"sz"));
}

// Sixty-four possible members: more than the 32 bits of "asInt".
enum TBit : Byte { b0 = 0, b1 = 1, b31 = 31, b32 = 32, b63 = 63 };
VN_RTTI(TBit, u"jsonvalues") {
  std::initializer_list<UnicodeString> names = {
      u"b0",  u"b1",  u"b2",  u"b3",  u"b4",  u"b5",  u"b6",  u"b7",  u"b8",  u"b9",  u"b10",
      u"b11", u"b12", u"b13", u"b14", u"b15", u"b16", u"b17", u"b18", u"b19", u"b20", u"b21",
      u"b22", u"b23", u"b24", u"b25", u"b26", u"b27", u"b28", u"b29", u"b30", u"b31", u"b32",
      u"b33", u"b34", u"b35", u"b36", u"b37", u"b38", u"b39", u"b40", u"b41", u"b42", u"b43",
      u"b44", u"b45", u"b46", u"b47", u"b48", u"b49", u"b50", u"b51", u"b52", u"b53", u"b54",
      u"b55", u"b56", u"b57", u"b58", u"b59", u"b60", u"b61", u"b62", u"b63"};
  R.Names(names);
}
using TBits = Set<TBit, b0, b63>;
VN_RTTI(TBits, u"jsonvalues") {}

// A hundred possible members: no ordinal of 64 bits holds them.
using TWideBits = Set<Byte, 0, 99>;
VN_RTTI(TWideBits, u"jsonvalues") {}

struct TChoices {
  TColor Color = clBlue;
  TSize Size = szLarge;
  TColors Colors;
  TSizes Sizes;
  TBits Bits;
};
VN_RTTI(TChoices, u"jsonvalues") {
  R.Field(u"Color", &TChoices::Color).Field(u"Size", &TChoices::Size);
  R.Field(u"Colors", &TChoices::Colors).Field(u"Sizes", &TChoices::Sizes);
  R.Field(u"Bits", &TChoices::Bits);
}

struct TDates {
  TDate Day;
  TTime Clock;
  TDateTime Stamp;
  TVnUTCDate UDay;
  TVnUTCTime UClock;
  TVnUTCDateTime UStamp;
};
VN_RTTI(TDates, u"jsonvalues") {
  R.Field(u"Day", &TDates::Day).Field(u"Clock", &TDates::Clock).Field(u"Stamp", &TDates::Stamp);
  R.Field(u"UDay", &TDates::UDay).Field(u"UClock", &TDates::UClock);
  R.Field(u"UStamp", &TDates::UStamp);
}

struct TVariants {
  Variant Number;
  Variant Text;
  Variant Real;
  Variant Flag;
  Variant When;
  Variant Nothing;
  Variant Unset = Variant::Null();
  std::vector<Variant> List;
};
VN_RTTI(TVariants, u"jsonvalues") {
  R.Field(u"Number", &TVariants::Number).Field(u"Text", &TVariants::Text);
  R.Field(u"Real", &TVariants::Real).Field(u"Flag", &TVariants::Flag);
  R.Field(u"When", &TVariants::When).Field(u"Nothing", &TVariants::Nothing);
  R.Field(u"Unset", &TVariants::Unset).Field(u"List", &TVariants::List);
}

// Member names as they are declared, and under a hint.
class TNames : public TPersistent {
  VN_CLASS(TNames, TPersistent)
 public:
  Integer One = 1;
  Integer GetOne() const { return One; }
};
VN_RTTI(TNames, u"jsonvalues") {
  R.Property(u"Customer", &TNames::GetOne, nullptr);
  R.Property(u"Renamed", &TNames::GetOne, nullptr, mvPublished,
             {new SerializerHint(shoName, u"ClientNo")});
  R.Field(u"URL", &TNames::One);
  R.Field(u"lower", &TNames::One);
  R.Field(u"\u00C4rger", &TNames::One);
  R.Field(u"Two Word name", &TNames::One);
  R.Field(u"_x", &TNames::One);
}

template <class T>
RawByteString Json(const T &ARecord) {
  return VnSerialize(dsfJSON, TValue::From<T>(ARecord));
}

}  // namespace jsonvalues

using namespace jsonvalues;

// Each integer width by its own conversion, unquoted. The unsigned 64-bit conversion prints the
// same 64 bits read as signed.
TEST(JsonValues, IntegersOfEveryWidth) {
  TInts r;
  EXPECT_EQ(Json(r),
            R"({"className":"TInts","u8":0,"u16":0,"u32":0,"u64":0,"s8":0,"s16":0,"s32":0,)"
            R"("s64":0})");
  r = {255,
       65535,
       4294967295u,
       42,
       -128,
       -32768,
       std::numeric_limits<Integer>::min(),
       std::numeric_limits<Int64>::min()};
  EXPECT_EQ(Json(r),
            R"({"className":"TInts","u8":255,"u16":65535,"u32":4294967295,"u64":42,"s8":-128,)"
            R"("s16":-32768,"s32":-2147483648,"s64":-9223372036854775808})");
  r.U64 = std::numeric_limits<UInt64>::max();
  EXPECT_NE(Json(r).find(R"("u64":-1,)"), std::string::npos);
}

// Single and Double by the double conversion, Extended by its own; FloatToStr's general form
// with 15 significant digits. A Single is widened first, so 0.1 shows its binary error.
TEST(JsonValues, FloatsUnquotedInTheGeneralForm) {
  TFloats r{1.5f, -0.25, 3};
  EXPECT_EQ(Json(r), R"({"className":"TFloats","single32":1.5,"double64":-0.25,"ext":3})");
  r = {0.1f, 1e20, 1.5e-7};
  EXPECT_EQ(Json(r), R"({"className":"TFloats","single32":0.100000001490116,"double64":1E20,)"
                     R"("ext":1.5E-7})");
}

// Text is quoted and escaped; a VnJSONString member holds JSON text already and goes between
// the quotes as it stands. Characters below 256 are written in UTF-8, those above as \u
// escapes; the codes 1 to 7 are dropped.
TEST(JsonValues, TextIsQuotedAndEscaped) {
  TTexts r;
  r.Plain = u"say \"hi\" \\ a/b";
  r.Raw = u"say \"hi\"";
  r.Wide = u"tab\tnl\ncr\rbs\bff\f";
  r.Ansi = "plain";
  r.Bytes = "AB";
  r.WChar = u'"';
  r.AChar = 'x';
  EXPECT_EQ(Json(r), R"({"className":"TTexts","plain":"say \"hi\" \\ a\/b","raw":"say "hi"",)"
                     R"("wide":"tab\tnl\ncr\rbs\bff\f","ansi":"plain","bytes":"AB","wChar":"\"",)"
                     R"("aChar":"x"})");

  TTexts empty;
  empty.Plain = u"caf\u00E9 \u20AC \U0001F600";
  empty.Wide = u"a\u0001\u0007b\u001Fc";
  EXPECT_EQ(Json(empty),
            "{\"className\":\"TTexts\",\"plain\":\"caf\xC3\xA9 \\u20AC \\uD83D\\uDE00\","
            "\"raw\":\"\",\"wide\":\"ab\x1F"
            "c\",\"ansi\":\"\",\"bytes\":\"\",\"wChar\":\" \",\"aChar\":\" \"}");
}

TEST(JsonValues, BooleansAreBareWords) {
  EXPECT_EQ(Json(TFlags{}), R"({"className":"TFlags","yes":true,"no":false})");
}

// An enumeration or a set is an object of its own: its type's name, the text and the integer.
// The prefix hint of the type cuts the text; a set's hint is read on the set type itself (not
// on its element type) and cuts the whole text "[...]" from the front, after which the bracket
// is put back. asInt keeps the low 32 bits of a set.
TEST(JsonValues, EnumerationsAndSetsAsObjects) {
  TChoices r;
  r.Colors << clRed << clBlue;
  r.Sizes << szSmall << szLarge;
  r.Bits << b1 << b31;
  EXPECT_EQ(Json(r), R"({"className":"TChoices",)"
                     R"("color":{"className":"TColor","asString":"Blue","asInt":2},)"
                     R"("size":{"className":"TSize","asString":"szLarge","asInt":1},)"
                     R"("colors":{"className":"TColors","asString":"[clRed,clBlue]","asInt":5},)"
                     R"("sizes":{"className":"TSizes","asString":"[zSmall,szLarge]","asInt":3},)"
                     R"("bits":{"className":"TBits","asString":"[b1,b31]","asInt":-2147483646}})");

  TChoices none;
  none.Color = clRed;
  none.Bits << b32 << b63;
  EXPECT_EQ(Json(none), R"({"className":"TChoices",)"
                        R"("color":{"className":"TColor","asString":"Red","asInt":0},)"
                        R"("size":{"className":"TSize","asString":"szLarge","asInt":1},)"
                        R"("colors":{"className":"TColors","asString":"[]","asInt":0},)"
                        R"("sizes":{"className":"TSizes","asString":"[]","asInt":0},)"
                        R"("bits":{"className":"TBits","asString":"[b32,b63]","asInt":0}})");
}

// A set of more than 64 possible members is written like any other: its low 32 bits as asInt.
TEST(JsonValues, SetsOfMoreThan64PossibleMembers) {
  TWideBits bits;
  bits << 1 << 31 << 40;
  EXPECT_EQ(Json(bits), R"({"className":"TWideBits","asString":"[1,31,40]","asInt":-2147483646})");
}

// The text of a set beyond 64 possible members stops at the 64th: TValue::ToString reads only
// the first 64 bits (a fault of the run-time's set conversions, not of the notation).
TEST(JsonValues, SetsShowMembersBeyondTheFirst64) {
  TWideBits bits;
  bits << 1 << 99;
  EXPECT_EQ(Json(bits), R"({"className":"TWideBits","asString":"[1,99]","asInt":2})");
}

class JsonDates : public vntest::TimeZoneTest {
 protected:
  JsonDates() : TimeZoneTest("UTC") {}
};

// Dates in their XML forms without a zone, quoted; the UTC types add "Z" to the same text, so
// their times keep the milliseconds.
TEST_F(JsonDates, DatesWithoutZoneAndTheUTCTypesWithZ) {
  TDateTime stamp = EncodeDate(2024, 3, 5) + EncodeTime(13, 4, 5, 6);
  TDates r{TDate(EncodeDate(2024, 3, 5)),
           TTime(EncodeTime(13, 4, 5, 6)),
           stamp,
           TVnUTCDate(EncodeDate(2024, 3, 5)),
           TVnUTCTime(EncodeTime(13, 4, 5, 6)),
           TVnUTCDateTime(stamp)};
  EXPECT_EQ(Json(r),
            R"({"className":"TDates","day":"2024-03-05","clock":"13:04:05.006",)"
            R"("stamp":"2024-03-05T13:04:05.006","uDay":"2024-03-05Z","uClock":"13:04:05.006Z",)"
            R"("uStamp":"2024-03-05T13:04:05.006Z"})");
  EXPECT_EQ(Json(TDates{}),
            R"({"className":"TDates","day":"1899-12-30","clock":"00:00:00.000",)"
            R"("stamp":"1899-12-30T00:00:00.000","uDay":"1899-12-30Z","uClock":"00:00:00.000Z",)"
            R"("uStamp":"1899-12-30T00:00:00.000Z"})");
}

// A variant is written by the type of its content; Empty and Null give null. In an array each
// element from index 1 on gets its separator twice, once for the variant and once for its
// content, except a null one.
TEST_F(JsonDates, VariantsByTheirContent) {
  TVariants r;
  r.Number = 7;
  r.Text = UnicodeString(u"a\"b");
  r.Real = 2.5;
  r.Flag = true;
  r.When = EncodeDate(2024, 3, 5);
  r.List = {Variant(1), Variant(UnicodeString(u"x")), Variant::Null(), Variant(false)};
  EXPECT_EQ(Json(r), R"({"className":"TVariants","number":7,"text":"a\"b","real":2.5,"flag":true,)"
                     R"("when":"2024-03-05T00:00:00.000","nothing":null,"unset":null,)"
                     R"("list":[1,,"x",null,,false]})");
}

// The first letter of the name in lower case, the first of each further word (words separated
// by blanks) in upper case; the rest stays. A property's shoName hint gives the name.
TEST(JsonValues, MemberNamesStartInLowerCase) {
  Owned<TNames> names = MakeOwned<TNames>();
  EXPECT_EQ(VnSerializer(names.get()).AsJSON(),
            "{\"className\":\"TNames\",\"customer\":1,\"clientNo\":1,\"uRL\":1,\"lower\":1,"
            "\"\xC3\xA4rger\":1,\"two Word Name\":1,\"_x\":1}");
}
