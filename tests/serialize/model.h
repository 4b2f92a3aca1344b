// A small model of registered types that the serializer tests write, one class per group of
// member kinds. Every class owns what its pointer members point to.
#pragma once

#include <array>
#include <vector>

#include "vnxml/common/uVnSerializer.h"
#include "vnxml/xml/uVnXSTypes.h"

namespace sermodel {

using namespace vn;

// An enumeration whose value names carry the prefix "cl", and one without a prefix hint.
enum TColor { clRed, clGreen, clBlue };
using TColors = Set<TColor, clRed, clBlue>;
enum TSize { szSmall, szMedium, szLarge };
using TSizes = Set<TSize, szSmall, szLarge>;

VN_RTTI(TColor, u"sermodel") {
  R.Names({u"clRed", u"clGreen", u"clBlue"});
  R.Attribute(new SerializerHint(shoEnumPrefix, u"cl"));
}
VN_RTTI(TColors, u"sermodel") {}
VN_RTTI(TSize, u"sermodel") {
  R.Names({u"szSmall", u"szMedium", u"szLarge"});
}
VN_RTTI(TSizes, u"sermodel") {}

// A record.
struct TPoint {
  Integer X = 0;
  Integer Y = 0;
};
VN_RTTI(TPoint, u"sermodel") {
  R.Field(u"X", &TPoint::X);
  R.Field(u"Y", &TPoint::Y);
}

// A person with one published property, and a derived class that adds one.
class TPerson : public TPersistent {
  VN_CLASS(TPerson, TPersistent)
 public:
  TPerson() = default;
  explicit TPerson(UnicodeString AName) : FName(std::move(AName)) {}
  const UnicodeString &GetName() const { return FName; }
  void SetName(const UnicodeString &A) { FName = A; }

 private:
  UnicodeString FName;
};
VN_RTTI(TPerson, u"sermodel") {
  R.Property(u"Name", &TPerson::GetName, &TPerson::SetName);
}

class TVipPerson : public TPerson {
  VN_CLASS(TVipPerson, TPerson)
 public:
  using TPerson::TPerson;
  Integer GetLevel() const { return FLevel; }
  void SetLevel(Integer A) { FLevel = A; }

 private:
  Integer FLevel = 0;
};
VN_RTTI(TVipPerson, u"sermodel") {
  R.Property(u"Level", &TVipPerson::GetLevel, &TVipPerson::SetLevel);
}

// Integers of every width and the three floats, as public fields.
class TNumbers : public TPersistent {
  VN_CLASS(TNumbers, TPersistent)
 public:
  Byte B = 0;
  Word W = 0;
  Cardinal C = 0;
  UInt64 U = 0;
  ShortInt SI = 0;
  SmallInt SM = 0;
  Integer I = 0;
  Int64 L = 0;
  Single S = 0;
  Double D = 0;
  Double E = 0;  // declared Extended
};
VN_RTTI(TNumbers, u"sermodel") {
  R.Field(u"B", &TNumbers::B);
  R.Field(u"W", &TNumbers::W);
  R.Field(u"C", &TNumbers::C);
  R.Field(u"U", &TNumbers::U);
  R.Field(u"SI", &TNumbers::SI);
  R.Field(u"SM", &TNumbers::SM);
  R.Field(u"I", &TNumbers::I);
  R.Field(u"L", &TNumbers::L);
  R.Field(u"S", &TNumbers::S);
  R.Field(u"D", &TNumbers::D);
  R.Field<TExtendedAlias>(u"E", &TNumbers::E);
}

// Text, markup held as text, a flag, the enumerations and sets.
class TTexts : public TPersistent {
  VN_CLASS(TTexts, TPersistent)
 public:
  UnicodeString Plain;
  UnicodeString Markup;  // declared VnXMLString: holds XML
  bool Flag = false;
  TColor Color = clRed;
  TSize Size = szSmall;
  TColors Colors;
  TSizes Sizes;
};
VN_RTTI(TTexts, u"sermodel") {
  R.Field(u"Plain", &TTexts::Plain);
  R.Field<TVnXMLStringAlias>(u"Markup", &TTexts::Markup);
  R.Field(u"Flag", &TTexts::Flag);
  R.Field(u"Color", &TTexts::Color);
  R.Field(u"Size", &TTexts::Size);
  R.Field(u"Colors", &TTexts::Colors);
  R.Field(u"Sizes", &TTexts::Sizes);
}

// Dates and times, plain and UTC.
class TDates : public TPersistent {
  VN_CLASS(TDates, TPersistent)
 public:
  TDate Day;
  TTime Hour;
  TDateTime Moment;
  TVnUTCDate UDay;
  TVnUTCTime UHour;
  TVnUTCDateTime UMoment;
};
VN_RTTI(TDates, u"sermodel") {
  R.Field(u"Day", &TDates::Day);
  R.Field(u"Hour", &TDates::Hour);
  R.Field(u"Moment", &TDates::Moment);
  R.Field(u"UDay", &TDates::UDay);
  R.Field(u"UHour", &TDates::UHour);
  R.Field(u"UMoment", &TDates::UMoment);
}

// The nullable XML Schema records.
class TXsMembers : public TPersistent {
  VN_CLASS(TXsMembers, TPersistent)
 public:
  TXsInt Int;
  TXsString Str;
  TXsBoolean Bool;
  TXsDateTime When;
  TXsDuration Span;
};
VN_RTTI(TXsMembers, u"sermodel") {
  R.Field(u"Int", &TXsMembers::Int);
  R.Field(u"Str", &TXsMembers::Str);
  R.Field(u"Bool", &TXsMembers::Bool);
  R.Field(u"When", &TXsMembers::When);
  R.Field(u"Span", &TXsMembers::Span);
}

// A variant field and a TValue property.
class TAnyValues : public TPersistent {
  VN_CLASS(TAnyValues, TPersistent)
 public:
  Variant V;
  TValue Held;
  TValue GetHeld() const { return Held; }
  void SetHeld(const TValue &A) { Held = A; }
};
VN_RTTI(TAnyValues, u"sermodel") {
  R.Field(u"V", &TAnyValues::V);
  R.Property(u"Held", &TAnyValues::GetHeld, &TAnyValues::SetHeld);
}

// Arrays: static and dynamic, of integers, records and objects (owned).
class TLists : public TPersistent {
  VN_CLASS(TLists, TPersistent)
 public:
  ~TLists() override {
    for (TPerson *p : People) Free(p);
  }
  std::array<Integer, 3> Fixed{};
  std::vector<Integer> Nums;
  std::vector<TPoint> Points;
  std::vector<TPerson *> People;
};
VN_RTTI(TLists, u"sermodel") {
  R.Field(u"Fixed", &TLists::Fixed);
  R.Field(u"Nums", &TLists::Nums);
  R.Field(u"Points", &TLists::Points);
  R.Field(u"People", &TLists::People);
}

// Objects and records inside an object: an owned person (any TPerson, so also a TVipPerson),
// a nil one, a record, and a list of lines.
class TNest : public TPersistent {
  VN_CLASS(TNest, TPersistent)
 public:
  ~TNest() override {
    Free(Person);
    Free(Lines);
  }
  TPerson *Person = nullptr;
  TPerson *Nobody = nullptr;
  TPoint Where;
  TStringList *Lines = nullptr;
};
VN_RTTI(TNest, u"sermodel") {
  R.Field(u"Person", &TNest::Person);
  R.Field(u"Nobody", &TNest::Nobody);
  R.Field(u"Where", &TNest::Where);
  R.Field(u"Lines", &TNest::Lines);
}

}  // namespace sermodel
