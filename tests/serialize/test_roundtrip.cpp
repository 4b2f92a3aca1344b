// Write, read back, write again: for every kind of member of the model, in both notations, the
// object read back writes the same bytes as the original.
#include <gtest/gtest.h>

#include "model.h"
#include "vnxml/json/uVnJSONSerializer.h"
#include "vnxml/rtl/DateUtils.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/xml/uVnXMLSerializer.h"

using namespace vn;
using namespace sermodel;

namespace {

const TVnDataSerializationFormatType cFormats[] = {dsfJSON, dsfXML};

// Writes AObject, reads the text into a new instance of T, and checks that the new instance
// writes the same text. Returns the instance read (owned by the caller).
template <class T>
T *RoundTrip(T *AObject, TVnDataSerializationFormatType AFormat) {
  RawByteString first = VnSerialize(AFormat, TValue(AObject));
  T *copy = New<T>();
  try {
    VnSerializer(copy).Deserialize(AFormat, first);
    RawByteString second = VnSerialize(AFormat, TValue(copy));
    EXPECT_EQ(second, first) << (AFormat == dsfJSON ? "JSON" : "XML");
  } catch (...) {
    Free(copy);
    throw;
  }
  return copy;
}

}  // namespace

TEST(RoundTrip, NumbersOfEveryWidth) {
  for (auto format : cFormats) {
    Owned<TNumbers> n(New<TNumbers>());
    n->B = 200;
    n->W = 60000;
    n->C = 4000000000u;
    n->U = 18000000000000000000ull;
    n->SI = -100;
    n->SM = -30000;
    n->I = -2000000000;
    n->L = -9000000000000000000ll;
    n->S = 1.5f;
    n->D = 2.25;
    n->E = -3.125;
    Owned<TNumbers> copy(RoundTrip(n.get(), format));
    EXPECT_EQ(copy->U, n->U);
    EXPECT_EQ(copy->L, n->L);
    EXPECT_EQ(copy->E, n->E);
  }
}

TEST(RoundTrip, TextsFlagsEnumerationsAndSets) {
  for (auto format : cFormats) {
    Owned<TTexts> t(New<TTexts>());
    t->Plain = u"a <b> & \"c\" \u00e9\U0001F600";
    t->Markup = u"<b>bold</b>";
    t->Flag = true;
    t->Color = clBlue;
    t->Size = szLarge;
    t->Colors = TColors{clRed, clBlue};
    t->Sizes = TSizes{szMedium};
    Owned<TTexts> copy(RoundTrip(t.get(), format));
    EXPECT_EQ(copy->Plain, t->Plain);
    EXPECT_EQ(copy->Color, clBlue);
    EXPECT_EQ(copy->Colors, t->Colors);
    EXPECT_EQ(copy->Sizes, t->Sizes);
  }
}

TEST(RoundTrip, DatesAndTimes) {
  for (auto format : cFormats) {
    Owned<TDates> d(New<TDates>());
    d->Day = TDate(EncodeDate(2024, 2, 29));
    d->Hour = TTime(EncodeTime(13, 14, 15, 0));
    d->Moment = EncodeDate(2001, 12, 31) + EncodeTime(23, 59, 58, 0);
    d->UDay = TVnUTCDate(EncodeDate(1999, 1, 2));
    d->UHour = TVnUTCTime(EncodeTime(1, 2, 3, 0));
    d->UMoment = TVnUTCDateTime(EncodeDate(2020, 6, 1) + EncodeTime(12, 0, 0, 0));
    Owned<TDates> copy(RoundTrip(d.get(), format));
    EXPECT_EQ(double(copy->Moment), double(d->Moment));
  }
}

TEST(RoundTrip, NullableSchemaRecords) {
  for (auto format : cFormats) {
    Owned<TXsMembers> x(New<TXsMembers>());
    x->Int = 42;
    x->Str = u"text";
    x->Bool = TXsBoolean(true);
    Owned<TXsMembers> copy(RoundTrip(x.get(), format));
    EXPECT_EQ(static_cast<Integer>(copy->Int), 42);
    EXPECT_TRUE(copy->When.IsNull());
  }
}

TEST(RoundTrip, ArraysOfNumbersRecordsAndObjects) {
  for (auto format : cFormats) {
    Owned<TLists> l(New<TLists>());
    l->Fixed = {1, 2, 3};
    l->Nums = {4, 5};
    l->Points = {{1, 2}, {3, 4}};
    l->People = {New<TPerson>(u"Ann"), New<TVipPerson>(u"Bob")};
    Owned<TLists> copy(RoundTrip(l.get(), format));
    ASSERT_EQ(copy->People.size(), 2u);
    EXPECT_TRUE(copy->People[1]->InheritsFrom(TVipPerson::StaticClass()));
    EXPECT_EQ(copy->Points[1].Y, 4);
  }
}

TEST(RoundTrip, NestedObjectsRecordsNilMembersAndLines) {
  for (auto format : cFormats) {
    Owned<TNest> n(New<TNest>());
    n->Person = New<TVipPerson>(u"Cy");
    static_cast<TVipPerson *>(n->Person)->SetLevel(3);
    n->Where = {7, 8};
    n->Lines = New<TStringList>();
    n->Lines->Add(u"one");
    n->Lines->Add(u"two");
    Owned<TNest> copy(RoundTrip(n.get(), format));
    ASSERT_TRUE(copy->Person);
    EXPECT_EQ(copy->Person->ClassType(), TVipPerson::StaticClass());
    EXPECT_EQ(copy->Nobody, nullptr);
    EXPECT_EQ(copy->Where.Y, 8);
  }
}
