// Fuzz target of the object readers. The first byte chooses the notation (bit 0: JSON or XML)
// and the entry (bit 1: fill an existing object with a list that collects what the reader
// creates, or VnCreateFrom, which makes the object the text names); the rest is the document.
// The model covers every kind of member the readers convert: numbers, text, enumerations, sets,
// dates, variants, TValue, XML Schema records, records, arrays of numbers, records and objects,
// lists of lines, and objects of a base and a derived class. No class of the model frees its
// members: the created-objects list (or the run itself) owns what the reader makes.
//
// A run may fail only with the library's own exceptions (vn::Exception and its descendants);
// anything else aborts. A crash, a hang or a leak is a finding as well.
//
// Built with clang -fsanitize=fuzzer by fuzz/run.sh (FUZZ_TARGET=fuzz_deserialize); in the
// normal build the same function is linked into serialize_tests, which feeds it every file of
// fuzz/corpus/deserialize.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "vnxml/common/uVnSerializer.h"
#include "vnxml/json/uVnJSONSerializer.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/xml/uVnXMLSerializer.h"
#include "vnxml/xml/uVnXSTypes.h"

using namespace vn;

namespace fuzzmodel {

enum TFzKind { fkAlpha, fkBeta, fkGamma };
using TFzKinds = Set<TFzKind, fkAlpha, fkGamma>;
VN_RTTI(TFzKind, u"fuzzmodel") {
  R.Names({u"fkAlpha", u"fkBeta", u"fkGamma"});
  R.Attribute(new SerializerHint(shoEnumPrefix, u"fk"));
}
VN_RTTI(TFzKinds, u"fuzzmodel") {}

struct TFzPoint {
  Integer X = 0;
  Double Y = 0;
  UnicodeString Tag;
};
VN_RTTI(TFzPoint, u"fuzzmodel") {
  R.Field(u"X", &TFzPoint::X).Field(u"Y", &TFzPoint::Y).Field(u"Tag", &TFzPoint::Tag);
}

class TFzItem : public TPersistent {
  VN_CLASS(TFzItem, TPersistent)
 public:
  UnicodeString Name;
  Int64 Count = 0;
  Byte Small = 0;
  Cardinal Wide = 0;
  UInt64 Huge = 0;
  bool Flag = false;
  char16_t Letter = u' ';
  TFzKind Kind = fkAlpha;
  TFzKinds Kinds;
  TDateTime When;
  TDate Day;
  Variant Any;
  TValue Held;
  TXsInt Maybe;
  TXsDuration Span;
  TXsDateTime Stamp;
  TFzPoint Where;
  std::array<Integer, 2> Pair{};
  std::vector<Integer> Nums;
  std::vector<TFzPoint> Points;
  std::vector<TFzItem *> Items;
  TFzItem *Next = nullptr;
  TStringList *Lines = nullptr;
};
VN_RTTI(TFzItem, u"fuzzmodel") {
  R.Field(u"Name", &TFzItem::Name).Field(u"Count", &TFzItem::Count);
  R.Field(u"Small", &TFzItem::Small).Field(u"Wide", &TFzItem::Wide);
  R.Field(u"Huge", &TFzItem::Huge).Field(u"Flag", &TFzItem::Flag);
  R.Field(u"Letter", &TFzItem::Letter).Field(u"Kind", &TFzItem::Kind);
  R.Field(u"Kinds", &TFzItem::Kinds).Field(u"When", &TFzItem::When);
  R.Field(u"Day", &TFzItem::Day).Field(u"Any", &TFzItem::Any).Field(u"Held", &TFzItem::Held);
  R.Field(u"Maybe", &TFzItem::Maybe).Field(u"Span", &TFzItem::Span);
  R.Field(u"Stamp", &TFzItem::Stamp).Field(u"Where", &TFzItem::Where);
  R.Field(u"Pair", &TFzItem::Pair).Field(u"Nums", &TFzItem::Nums);
  R.Field(u"Points", &TFzItem::Points).Field(u"Items", &TFzItem::Items);
  R.Field(u"Next", &TFzItem::Next).Field(u"Lines", &TFzItem::Lines);
}

class TFzSpecial : public TFzItem {
  VN_CLASS(TFzSpecial, TFzItem)
 public:
  Double Rate = 0;
};
VN_RTTI(TFzSpecial, u"fuzzmodel") {
  R.Field(u"Rate", &TFzSpecial::Rate);
}

}  // namespace fuzzmodel

using namespace fuzzmodel;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *AData, std::size_t ASize) {
  if (ASize < 1) return 0;
  const TVnDataSerializationFormatType format = (AData[0] & 1) ? dsfXML : dsfJSON;
  const bool createFrom = (AData[0] & 2) != 0;
  const RawByteString text(reinterpret_cast<const char *>(AData + 1), ASize - 1);
  try {
    if (createFrom) {
      TObject *object = VnCreateFrom(format, text);
      if (object) object->Free();
    } else {
      Owned<TObjectList> created(New<TObjectList>(true));
      Owned<TFzItem> item(New<TFzItem>());
      VnDeserialize(format, TValue(item.get()), text, created.get());
      // What was read writes again.
      (void)VnSerialize(format, TValue(item.get()));
    }
  } catch (const Exception &) {
  } catch (const std::exception &e) {
    std::fprintf(stderr, "\n*** fuzz_deserialize: foreign exception: %s\n", e.what());
    std::abort();
  } catch (...) {
    std::fprintf(stderr, "\n*** fuzz_deserialize: unknown exception\n");
    std::abort();
  }
  return 0;
}
