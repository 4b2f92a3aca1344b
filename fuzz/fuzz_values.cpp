// Fuzz target of the lexical conversions: the bytes, as UTF-8 text, go through every reader of
// values in their XML forms (integers of each width, floats, booleans, dates, times and
// date-times in each zone treatment, durations, entity-decoded text, Base64 and hexadecimal),
// through the conversions by variant type, by kind and by type name, into the XML Schema records,
// and through the ISO date-time decoder. Only the library's exceptions are expected; anything
// else, a crash, a hang or a leak is a finding.
//
// Built with clang -fsanitize=fuzzer by fuzz/run.sh (FUZZ_TARGET=fuzz_values); xmlutils_tests
// replays its corpus (fuzz/corpus/values).
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "vnxml/common/uVnDateTimeUtils.h"
#include "vnxml/common/uVnNetEncoding.h"
#include "vnxml/xml/uVnXMLUtils.h"
#include "vnxml/xml/uVnXSTypes.h"
#include "fuzz_guarded.h"

using namespace vn;
using vnfuzz::Guarded;

namespace {

// The text back in its lexical form, as a user who read it would write it again.
template <class T>
void ReadAndWrite(UnicodeStringView AText) {
  Guarded([&] {
    TValue v = VnXMLToValue(AText, TypeInfo<T>());
    (void)VnValToXML(v);
  });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *AData, std::size_t ASize) {
  const std::string_view bytes(reinterpret_cast<const char *>(AData), ASize);
  const UnicodeString text = UTF8ToString(bytes);

  Guarded([&] { (void)VnXMLToShortint(text); });
  Guarded([&] { (void)VnXMLToSmallint(text); });
  Guarded([&] { (void)VnXMLToInt(text); });
  Guarded([&] { (void)VnXMLToInt64(text); });
  Guarded([&] { (void)VnXMLToByte(text); });
  Guarded([&] { (void)VnXMLToWord(text); });
  Guarded([&] { (void)VnXMLToLongword(text); });
  Guarded([&] { (void)VnXMLToUInt64(text); });
  Guarded([&] { (void)VnXMLToSingle(text); });
  Guarded([&] { (void)VnXMLToDouble(text); });
  Guarded([&] { (void)VnXMLToExtended(text); });
  Guarded([&] { (void)VnXMLToBool(text); });
  Guarded([&] { (void)VnXMLToDate(text); });
  for (TVnTimeZoneFormat zone : {tzfNone, tzfOffset, tzfUTC}) {
    Guarded([&] { (void)VnXMLToTime(text, zone); });
    Guarded([&] { (void)VnXMLToDateTime(text, zone); });
  }
  for (TVnXMLDateTimeFormat format : {xdtfLocal, xdtfUTC, xdtfTimezone}) {
    Guarded([&] { (void)VnXMLToTime(text, format); });
    Guarded([&] { (void)VnXMLToDateTime(text, format); });
  }
  Guarded([&] { (void)VnXMLToDuration(text); });
  Guarded([&] { (void)VnXMLToStr(text); });
  Guarded([&] { (void)VnDecodeISODateTime(text); });
  Guarded([&] { (void)TVnNetEncoding::Base64().DecodeStringToBytes(text); });
  Guarded([&] { (void)TVnNetEncoding::Hex().DecodeStringToBytes(text); });

  for (int kind = vtkUnknown; kind <= vtkClassRef; ++kind)
    Guarded([&] { (void)VnXMLToVariant(text, static_cast<TVnTypeKind>(kind)); });
  for (Word type :
       {varSmallint, varInteger, varSingle, varDouble, varCurrency, varDate, varOleStr, varBoolean,
        varShortInt, varByte, varWord, varLongWord, varInt64, varUInt64, varString, varUString})
    Guarded([&] { (void)VnXMLToVariant(text, type); });

  ReadAndWrite<TXsInt>(text);
  ReadAndWrite<TXsLong>(text);
  ReadAndWrite<TXsUnsignedLong>(text);
  ReadAndWrite<TXsDecimal>(text);
  ReadAndWrite<TXsDouble>(text);
  ReadAndWrite<TXsBoolean>(text);
  ReadAndWrite<TXsDate>(text);
  ReadAndWrite<TXsTime>(text);
  ReadAndWrite<TXsDateTime>(text);
  ReadAndWrite<TXsDuration>(text);
  ReadAndWrite<TXsBase64Binary>(text);
  ReadAndWrite<TXsHexBinary>(text);
  ReadAndWrite<TDateTime>(text);
  return 0;
}
