// Values to and from their lexical forms in XML documents, and the escaping and decoding of
// text. All routines are stateless.
#pragma once

#include "vnxml/common/uVnClasses.h"
#include "vnxml/common/uVnDateTimeUtils.h"
#include "vnxml/common/uVnRtti.h"
#include "vnxml/common/uVnTypes.h"
#include "vnxml/rtl/Variant.h"

namespace vn {

using VnXMLString = UnicodeString;

// The zone forms of the date routines: xdtfLocal stands for tzfNone, xdtfUTC for tzfUTC,
// xdtfTimezone for tzfOffset.
enum TVnXMLDateTimeFormat : Byte { xdtfLocal, xdtfUTC, xdtfTimezone };
TVnTimeZoneFormat VnTimeZoneFormat(TVnXMLDateTimeFormat AFormat);

// ---------------------------------------------------------------------------------------------
// Values to text

VnXMLString VnShortIntToXML(ShortInt AValue);
VnXMLString VnSmallIntToXML(SmallInt AValue);
VnXMLString VnLongIntToXML(LongInt AValue);
VnXMLString VnIntToXML(Integer AValue);
VnXMLString VnInt64ToXML(Int64 AValue);
VnXMLString VnByteToXML(Byte AValue);
VnXMLString VnWordToXML(Word AValue);
VnXMLString VnLongWordToXML(LongWord AValue);
VnXMLString VnCardinalToXML(Cardinal AValue);
// The digits of the same 64 bits read as signed: from 2^63 up the text is negative.
VnXMLString VnUInt64ToXML(UInt64 AValue);
VnXMLString VnBoolToXML(bool AValue);
// FloatToStr's general format with "." as the decimal separator.
VnXMLString VnDoubleToXML(Double AValue);
VnXMLString VnExtToXML(Extended AValue);

// YYYY-MM-DD, with "+hh:mm" for tzfOffset and "Z" for tzfUTC.
VnXMLString VnDateToXML(TDateTime AValue, TVnTimeZoneFormat AFormat = tzfNone);
VnXMLString VnDateToXML(TDateTime AValue, TVnXMLDateTimeFormat AFormat);
// hh:mm:ss.mmm with the same zone forms.
VnXMLString VnTimeToXML(TDateTime AValue, TVnTimeZoneFormat AFormat = tzfNone);
VnXMLString VnTimeToXML(TDateTime AValue, TVnXMLDateTimeFormat AFormat);
// YYYY-MM-DDThh:mm:ss.mmm with the same zone forms, but the UTC form has no milliseconds.
VnXMLString VnDateTimeToXML(TDateTime AValue, TVnTimeZoneFormat AFormat = tzfNone);
VnXMLString VnDateTimeToXML(TDateTime AValue, TVnXMLDateTimeFormat AFormat);
VnXMLString VnDurationToXML(const TVnDuration &AValue);

// Escapes "<", ">", "&" always, "'" and the double quotation mark on request, and the codes 1
// to 31 as "&#n;"; everything else passes.
VnXMLString VnStrToXML(UnicodeStringView AText, bool AEscapeApos = true, bool AEscapeQuot = true);
AnsiString VnStrToXML(const AnsiString &AText, bool AEscapeApos, bool AEscapeQuot);
// The same, appended to ADest: for writers that build their output in one string.
void VnAppendStrToXML(UnicodeString &ADest, UnicodeStringView AText, bool AEscapeApos = true,
                      bool AEscapeQuot = true);
// Appends the escaped text to the stream.
void VnStrToXML(const char16_t *AData, Integer ALength, TVnStringStream *AStream, bool AEscapeApos,
                bool AEscapeQuot);

VnXMLString VnVariantToXML(const Variant &AValue);
// By the value's host kind: numbers and sets by their text, text escaped, an enumeration by its
// name (a value out of range by the name of the lowest value), a variant by VnVariantToXML.
// Arrays, records and objects go through the XML serializer (VnSerialize), whose UTF-8
// document comes back as text.
VnXMLString VnValToXML(const TValue &AValue);

TVnXMLDateTimeFormat VnXMLDateTimeFormat(const TVnDateTimeParts &AParts);
TVnDateTimeParts VnDecodeXMLDateTime(UnicodeStringView AText);

// ---------------------------------------------------------------------------------------------
// Text to values. The raising shape takes text and raises the host's conversion error on bad
// text; the Def shape gives the default on bad text (but 0 for the empty text). Integers are cut
// to their width without a range check.

ShortInt VnXMLToShortint(UnicodeStringView AText);
SmallInt VnXMLToSmallint(UnicodeStringView AText);
Integer VnXMLToInt(UnicodeStringView AText);
Int64 VnXMLToInt64(UnicodeStringView AText);
Byte VnXMLToByte(UnicodeStringView AText);
Word VnXMLToWord(UnicodeStringView AText);
LongWord VnXMLToLongword(UnicodeStringView AText);
UInt64 VnXMLToUInt64(UnicodeStringView AText);
ShortInt VnXMLToShortintDef(UnicodeStringView AText, ShortInt ADefault);
SmallInt VnXMLToSmallintDef(UnicodeStringView AText, SmallInt ADefault);
Integer VnXMLToIntDef(UnicodeStringView AText, Integer ADefault);
Int64 VnXMLToInt64Def(UnicodeStringView AText, Int64 ADefault);
Byte VnXMLToByteDef(UnicodeStringView AText, Byte ADefault);
Word VnXMLToWordDef(UnicodeStringView AText, Word ADefault);
LongWord VnXMLToLongwordDef(UnicodeStringView AText, LongWord ADefault);
UInt64 VnXMLToUInt64Def(UnicodeStringView AText, UInt64 ADefault);

// "." decimal separator whatever the locale; the empty text is 0.
Single VnXMLToSingle(UnicodeStringView AText);
Double VnXMLToDouble(UnicodeStringView AText);
Extended VnXMLToExtended(UnicodeStringView AText);
Single VnXMLToSingleDef(UnicodeStringView AText, Single ADefault);
Double VnXMLToDoubleDef(UnicodeStringView AText, Double ADefault);
Extended VnXMLToExtendedDef(UnicodeStringView AText, Extended ADefault);

// True for "1" and for "true" in any case; everything else is false.
bool VnXMLToBool(UnicodeStringView AText);

// "" and "0" are 0.0. Raise the conversion error of EncodeDate / EncodeTime / EncodeDateTime on
// bad fields, and Exception "The XMLDateTime value did not contain timezone information!" when
// a zone is asked for and the text has none.
TDateTime VnXMLToDate(UnicodeStringView AText);
TDateTime VnXMLToTime(UnicodeStringView AText, TVnTimeZoneFormat AFormat = tzfNone);
TDateTime VnXMLToTime(UnicodeStringView AText, TVnXMLDateTimeFormat AFormat);
TDateTime VnXMLToDateTime(UnicodeStringView AText, TVnTimeZoneFormat AFormat = tzfNone);
TDateTime VnXMLToDateTime(UnicodeStringView AText, TVnXMLDateTimeFormat AFormat);
// The default on any failure.
TDateTime VnXMLToDateDef(UnicodeStringView AText, TDateTime ADefault);
TDateTime VnXMLToTimeDef(UnicodeStringView AText, TDateTime ADefault,
                         TVnTimeZoneFormat AFormat = tzfNone);
TDateTime VnXMLToTimeDef(UnicodeStringView AText, TDateTime ADefault, TVnXMLDateTimeFormat AFormat);
TDateTime VnXMLToDateTimeDef(UnicodeStringView AText, TDateTime ADefault,
                             TVnTimeZoneFormat AFormat = tzfNone);
TDateTime VnXMLToDateTimeDef(UnicodeStringView AText, TDateTime ADefault,
                             TVnXMLDateTimeFormat AFormat);

// The variant shapes: Null gives ADefault; otherwise by the variant's main kind: numbers convert
// directly, text through the strict text conversion (so bad and empty text raise), booleans as
// 0 or 1; any other kind raises EConvertError "The given value is not a valid <type> value!".
ShortInt VnXMLToShortint(const Variant &AValue, ShortInt ADefault);
SmallInt VnXMLToSmallint(const Variant &AValue, SmallInt ADefault);
Integer VnXMLToInt(const Variant &AValue, Integer ADefault);
Int64 VnXMLToInt64(const Variant &AValue, Int64 ADefault);
Byte VnXMLToByte(const Variant &AValue, Byte ADefault);
Word VnXMLToWord(const Variant &AValue, Word ADefault);
LongWord VnXMLToLongword(const Variant &AValue, LongWord ADefault);
UInt64 VnXMLToUInt64(const Variant &AValue, UInt64 ADefault);
// Null gives 0.0 whatever the default (the single form only) or ADefault; integers and floats as
// numbers, dates as numbers too except in the single form, text strictly.
Single VnXMLToSingle(const Variant &AValue, Single ADefault);
Double VnXMLToDouble(const Variant &AValue, Double ADefault);
Extended VnXMLToExtended(const Variant &AValue, Extended ADefault);
// Null gives ADefault; integers by their low byte, text by the text rule.
bool VnXMLToBool(const Variant &AValue, bool ADefault);
// Null gives ADefault; numbers and dates as numbers, text through the strict text routine.
TDateTime VnXMLToDate(const Variant &AValue, TDateTime ADefault);
TDateTime VnXMLToTime(const Variant &AValue, TDateTime ADefault,
                      TVnTimeZoneFormat AFormat = tzfNone);
TDateTime VnXMLToDateTime(const Variant &AValue, TDateTime ADefault,
                          TVnTimeZoneFormat AFormat = tzfNone);

// Decodes character references (one 16-bit character each, cut to 16 bits) and the named
// entities of HTML 4.01 plus "apos"; what is not a reference stays as written. A numeric
// reference that is no number raises EConvertError.
UnicodeString VnXMLToStr(UnicodeStringView AText);
// The one-byte form decides on the first letters of a name: "am" &, "a" ', "g" >, "l" <,
// "q" the quotation mark.
AnsiString VnXMLToStr(const AnsiString &AText);

// Null gives ADefault; numbers, booleans and dates by their lexical forms, text decoded, a
// one-dimensional array as its elements' texts each followed by CR LF; anything else raises
// EConvertError "The given value is not a valid String value!".
UnicodeString VnXMLToStr(const Variant &AValue, const UnicodeString &ADefault);

TVnDuration VnXMLToDuration(UnicodeStringView AText);

// The text as a variant of the given type code.
Variant VnXMLToVariant(UnicodeStringView AText, Word AVarType);
// The text as a variant of the kind's conversion.
Variant VnXMLToVariant(UnicodeStringView AText, TVnTypeKind AKind);
// The text as a variant of the type code of a type given by its qualified name (13 when the name
// is unknown).
Variant VnXMLToVariant(UnicodeStringView AText, const UnicodeString &ATypeName);

// The text as a value of a type given by its qualified name (an unknown name raises) or handle.
// The XML Schema records (TXsInt ...) are made from the converted value.
TValue VnXMLToValue(UnicodeStringView AText, const UnicodeString &ATypeName);
TValue VnXMLToValue(UnicodeStringView AText, PTypeInfo AType);

}  // namespace vn
