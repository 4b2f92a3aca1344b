// The XML notation: the exact bytes written for each kind of member, the namespace parameters,
// and whole documents of objects, arrays, records and simple values.
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "exception_text.h"
#include "serialize/model.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/xml/uVnXMLSerializer.h"
#include "time_zone.h"

using namespace vn;
using namespace sermodel;
using vntest::MessageOf;

namespace {

const std::string cNs =
    "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
    "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"";

// The document of a value with the default namespace "urn:t" and the given parameters.
std::string Xml(const TValue &AValue,
                std::initializer_list<std::pair<const char16_t *, const char16_t *>> AParams = {}) {
  Owned<TVnSerializer> s(VnCreateSerializer(dsfXML, AValue));
  s->SetParam(u"xmlns", u"urn:t");
  for (auto &[name, value] : AParams) s->SetParam(name, value);
  return s->Serialize();
}

// The start tag of an object root of the class with the default namespaces and "urn:t".
std::string Root(const std::string &AClass) {
  return "<object " + cNs + " xsi:type=\"xsd:" + AClass + "\" xmlns=\"urn:t\">";
}

// The members of an object's document: what stands between the root's start and end tags.
std::string Body(const TValue &AValue) {
  std::string doc = Xml(AValue);
  std::size_t open = doc.find('>');
  const std::string end = "</object>";
  if (open == std::string::npos || doc.size() < open + 1 + end.size() ||
      doc.compare(doc.size() - end.size(), end.size(), end) != 0)
    return "not an object document: " + doc;
  return doc.substr(open + 1, doc.size() - open - 1 - end.size());
}

// Dates are written without a zone; a fixed zone keeps the test independent of the machine.
class FixedZone : public vntest::TimeZoneTest {
 protected:
  FixedZone() : TimeZoneTest("UTC") {}
};

}  // namespace

// ---------------------------------------------------------------------------------------------
// Simple members

TEST(XmlSerializer, IntegersOfEveryWidthAndFloatsCarryTheirSchemaTypes) {
  Owned<TNumbers> n(New<TNumbers>());
  n->B = 255;
  n->W = 65535;
  n->C = 4294967295u;
  n->U = 18446744073709551615ull;
  n->SI = -128;
  n->SM = -32768;
  n->I = -2147483647 - 1;
  n->L = INT64_MIN;
  n->S = 1.5f;
  n->D = 0.25;
  n->E = -2.5;
  EXPECT_EQ(Xml(n.get()), Root("TNumbers") +
                              "<B xsi:type=\"xsd:unsignedByte\">255</B>"
                              "<W xsi:type=\"xsd:unsignedShort\">65535</W>"
                              "<C xsi:type=\"xsd:unsignedInt\">4294967295</C>"
                              // the 64 bits read as signed, as the lexical form of UInt64 has it
                              "<U xsi:type=\"xsd:unsignedLong\">-1</U>"
                              "<SI xsi:type=\"xsd:byte\">-128</SI>"
                              "<SM xsi:type=\"xsd:short\">-32768</SM>"
                              "<I xsi:type=\"xsd:int\">-2147483648</I>"
                              "<L xsi:type=\"xsd:long\">-9223372036854775808</L>"
                              "<S xsi:type=\"xsd:float\">1.5</S>"
                              "<D xsi:type=\"xsd:double\">0.25</D>"
                              "<E xsi:type=\"xsd:decimal\">-2.5</E>"
                              "</object>");
}

TEST(XmlSerializer, TextIsEscapedUnlessDeclaredAsXMLString) {
  Owned<TTexts> t(New<TTexts>());
  t->Plain = u"a<b>&\"c'\u00e9";
  t->Markup = u"<b a=\"1\">x &amp; y</b>";
  t->Flag = true;
  std::string body = Body(t.get());
  EXPECT_EQ(body.substr(0, body.find("<Color")),
            "<Plain xsi:type=\"xsd:string\">a&lt;b&gt;&amp;&quot;c&apos;\xC3\xA9</Plain>"
            "<Markup xsi:type=\"xsd:string\"><b a=\"1\">x &amp; y</b></Markup>"
            "<Flag xsi:type=\"xsd:boolean\">true</Flag>");

  // Empty text is a start and an end tag: only null values are empty-element tags.
  t->Plain.clear();
  t->Markup.clear();
  t->Flag = false;
  body = Body(t.get());
  EXPECT_EQ(body.substr(0, body.find("<Color")),
            "<Plain xsi:type=\"xsd:string\"></Plain><Markup xsi:type=\"xsd:string\"></Markup>"
            "<Flag xsi:type=\"xsd:boolean\">false</Flag>");
}

TEST(XmlSerializer, EnumerationsAndSetsCarryTheirOrdinalAndLoseTheirPrefix) {
  Owned<TTexts> t(New<TTexts>());
  t->Color = clBlue;
  t->Size = szLarge;
  t->Colors = TColors{clRed, clBlue};
  t->Sizes = TSizes{szSmall, szLarge};
  std::string body = Body(t.get());
  EXPECT_EQ(body.substr(body.find("<Color")),
            "<Color xsi:type=\"xsd:TColor\" value=\"2\">Blue</Color>"
            "<Size xsi:type=\"xsd:TSize\" value=\"2\">szLarge</Size>"
            "<Colors xsi:type=\"xsd:TColors\" value=\"5\">[Red,Blue]</Colors>"
            "<Sizes xsi:type=\"xsd:TSizes\" value=\"5\">[szSmall,szLarge]</Sizes>");

  // An empty set still has its brackets.
  t->Colors = TColors{};
  body = Body(t.get());
  EXPECT_NE(body.find("<Colors xsi:type=\"xsd:TColors\" value=\"0\">[]</Colors>"),
            std::string::npos)
      << body;
}

namespace xmltest {

// A prefix hint that does not fit every value name: as many characters are cut regardless.
enum TMixed { mxFirst, Other };
using TMixedSet = Set<TMixed, mxFirst, Other>;
VN_RTTI(TMixed, u"xmltest") {
  R.Names({u"mxFirst", u"Other"});
  R.Attribute(new SerializerHint(shoEnumPrefix, u"mx"));
}
VN_RTTI(TMixedSet, u"xmltest") {}

}  // namespace xmltest

TEST(XmlSerializer, APrefixIsCutByItsLengthFromEnumerationsButReplacedInSets) {
  EXPECT_EQ(VnSerialize(dsfXML, TValue(xmltest::mxFirst)), "First");
  EXPECT_EQ(VnSerialize(dsfXML, TValue(xmltest::Other)), "her");
  EXPECT_EQ(
      VnSerialize(dsfXML, TValue::From<xmltest::TMixedSet>({xmltest::mxFirst, xmltest::Other})),
      "[First,Other]");
}

TEST_F(FixedZone, DatesAndTimesAreWrittenWithoutZoneAndUTCTypesWithZ) {
  Owned<TDates> d(New<TDates>());
  d->Day = TDate(45000);  // 2023-03-15
  d->Hour = TTime(0.75);  // 18:00
  d->Moment = TDateTime(45000.5);
  d->UDay = TVnUTCDate(45000);
  d->UHour = TVnUTCTime(0.75);
  d->UMoment = TVnUTCDateTime(45000.5);
  EXPECT_EQ(Body(d.get()),
            "<Day xsi:type=\"xsd:date\">2023-03-15</Day>"
            "<Hour xsi:type=\"xsd:time\">18:00:00.000</Hour>"
            "<Moment xsi:type=\"xsd:dateTime\">2023-03-15T12:00:00.000</Moment>"
            "<UDay xsi:type=\"xsd:date\">2023-03-15Z</UDay>"
            "<UHour xsi:type=\"xsd:time\">18:00:00.000Z</UHour>"
            "<UMoment xsi:type=\"xsd:dateTime\">2023-03-15T12:00:00.000Z</UMoment>");
}

TEST_F(FixedZone, XmlSchemaRecordsWriteTheirPlainValueOrNil) {
  Owned<TXsMembers> x(New<TXsMembers>());
  EXPECT_EQ(Body(x.get()),
            "<Int xsi:type=\"xsd:int\" xsi:nil=\"true\"/>"
            "<Str xsi:type=\"xsd:string\" xsi:nil=\"true\"/>"
            "<Bool xsi:type=\"xsd:boolean\" xsi:nil=\"true\"/>"
            "<When xsi:type=\"xsd:dateTime\" xsi:nil=\"true\"/>"
            "<Span xsi:type=\"xsd:string\" xsi:nil=\"true\"/>");
  x->Int = -5;
  x->Str = u"a&b";
  x->Bool = TXsBoolean(true);
  x->When.FromString(u"2023-03-15T12:30:00.250+02:00");
  x->Span = TXsDuration(UnicodeString(u"P1Y2MT3S"));
  EXPECT_EQ(Body(x.get()),
            "<Int xsi:type=\"xsd:int\">-5</Int>"
            "<Str xsi:type=\"xsd:string\">a&amp;b</Str>"
            "<Bool xsi:type=\"xsd:boolean\">true</Bool>"
            "<When xsi:type=\"xsd:dateTime\">2023-03-15T12:30:00.250+02:00</When>"
            "<Span xsi:type=\"xsd:string\">P1Y2MT3S</Span>");
  // At the root a record of one value is simple: its bare text.
  TXsInt i = 3;
  EXPECT_EQ(Xml(TValue::From<TXsInt>(i)), "3");
}

// A variant takes the type of what it holds; a TValue property is written as the value it holds,
// and left out when it holds nothing.
TEST(XmlSerializer, VariantsAndHeldValuesTakeTheirContentsType) {
  Owned<TAnyValues> a(New<TAnyValues>());
  a->V = Variant(42);
  a->Held = TValue(u"s<");
  EXPECT_EQ(Body(a.get()),
            "<Held xsi:type=\"xsd:string\">s&lt;</Held><V xsi:type=\"xsd:int\">42</V>");
  a->V = Variant(u"t");
  a->Held = TValue(2.5);
  EXPECT_EQ(Body(a.get()),
            "<Held xsi:type=\"xsd:double\">2.5</Held><V xsi:type=\"xsd:string\">t</V>");
  a->V = Variant::Null();
  a->Held = TValue();
  EXPECT_EQ(Body(a.get()), "<V xsi:type=\"xsd:anyType\" xsi:nil=\"true\"/>");
}

TEST(XmlSerializer, ArraysNameTheirElementsBySchemaName) {
  Owned<TLists> l(New<TLists>());
  l->Fixed = {1, 2, 3};
  l->Nums = {4};
  l->Points = {{5, 6}};
  l->People = {New<TPerson>(u"Ann"), New<TVipPerson>(u"Bob"), nullptr};
  EXPECT_EQ(Body(l.get()),
            "<Fixed xsi:type=\"xsd:ArrayOfInt\"><int xsi:type=\"xsd:int\">1</int>"
            "<int xsi:type=\"xsd:int\">2</int><int xsi:type=\"xsd:int\">3</int></Fixed>"
            "<Nums xsi:type=\"xsd:ArrayOfInt\"><int xsi:type=\"xsd:int\">4</int></Nums>"
            "<Points xsi:type=\"xsd:ArrayOfTPoint\"><TPoint xsi:type=\"xsd:TPoint\">"
            "<X xsi:type=\"xsd:int\">5</X><Y xsi:type=\"xsd:int\">6</Y></TPoint></Points>"
            "<People xsi:type=\"xsd:ArrayOfTPerson\">"
            "<TPerson xsi:type=\"xsd:TPerson\"><Name xsi:type=\"xsd:string\">Ann</Name></TPerson>"
            "<TPerson xsi:type=\"xsd:TVipPerson\"><Level xsi:type=\"xsd:int\">0</Level>"
            "<Name xsi:type=\"xsd:string\">Bob</Name></TPerson>"
            "<TPerson xsi:type=\"xsd:TPerson\" xsi:nil=\"true\"/></People>");
  l->Nums.clear();
  std::string body = Body(l.get());
  EXPECT_NE(body.find("<Nums xsi:type=\"xsd:ArrayOfInt\"></Nums>"), std::string::npos) << body;
  // An array at the root.
  EXPECT_EQ(Xml(TValue::From<std::vector<TPoint>>({{1, 2}})),
            "<array " + cNs +
                " xsi:type=\"xsd:ArrayOfTPoint\" xmlns=\"urn:t\">"
                "<TPoint xsi:type=\"xsd:TPoint\"><X xsi:type=\"xsd:int\">1</X>"
                "<Y xsi:type=\"xsd:int\">2</Y></TPoint></array>");
}

namespace xmltest {

class TWithStream : public TPersistent {
  VN_CLASS(TWithStream, TPersistent)
 public:
  ~TWithStream() override { Free(Data); }
  TMemoryStream *Data = New<TMemoryStream>();
};
VN_RTTI(TWithStream, u"xmltest") {
  R.Field(u"Data", &TWithStream::Data);
}

}  // namespace xmltest

// Objects show their actual class, nil objects are nil elements, records nest, and a string list
// is the list of its lines. A stream has no form of its own: the general walk finds nothing to
// write in it.
TEST(XmlSerializer, ObjectsRecordsAndStringLists) {
  Owned<TNest> n(New<TNest>());
  n->Person = New<TVipPerson>(u"Ann");
  n->Where = {3, 4};
  n->Lines = New<TStringList>();
  n->Lines->Add(u"l1");
  n->Lines->Add(u"a&b");
  EXPECT_EQ(Body(n.get()),
            "<Person xsi:type=\"xsd:TVipPerson\"><Level xsi:type=\"xsd:int\">0</Level>"
            "<Name xsi:type=\"xsd:string\">Ann</Name></Person>"
            "<Nobody xsi:type=\"xsd:TPerson\" xsi:nil=\"true\"/>"
            "<Where xsi:type=\"xsd:TPoint\"><X xsi:type=\"xsd:int\">3</X>"
            "<Y xsi:type=\"xsd:int\">4</Y></Where>"
            "<Lines xsi:type=\"xsd:TStringList\"><item xsi:type=\"xsd:string\">l1</item>"
            "<item xsi:type=\"xsd:string\">a&amp;b</item></Lines>");
  Owned<xmltest::TWithStream> w(New<xmltest::TWithStream>());
  w->Data->WriteBuffer("abc", 3);
  EXPECT_EQ(Body(w.get()), "<Data xsi:type=\"xsd:TMemoryStream\"></Data>");
  // A string list at the root.
  EXPECT_EQ(Xml(n->Lines, {{u"excludenamespaces", u"true"}}),
            "<object><item>l1</item><item>a&amp;b</item></object>");
}

// ---------------------------------------------------------------------------------------------
// Parameters

namespace {

// A notation that writes the root without its namespace declarations.
class TBareRootSerializer : public TVnXMLSerializer {
  VN_CLASS(TBareRootSerializer, TVnXMLSerializer)
 public:
  using TVnXMLSerializer::TVnXMLSerializer;
  bool WriteRootAttributes(const UnicodeString &AName) override { return !AName.empty(); }
};

}  // namespace

TEST(XmlSerializer, NamespaceParameters) {
  Owned<TNest> n(New<TNest>());
  n->Person = New<TPerson>(u"Ann");
  const std::string members =
      "<Person x:type=\"s:TPerson\"><Name x:type=\"s:string\">Ann</Name></Person>"
      "<Nobody x:type=\"s:TPerson\" x:nil=\"true\"/>"
      "<Where x:type=\"s:TPoint\"><X x:type=\"s:int\">0</X><Y x:type=\"s:int\">0</Y></Where>"
      "<Lines x:type=\"s:TStringList\" x:nil=\"true\"/>";
  EXPECT_EQ(Xml(n.get(), {{u"xsi-prefix", u"x"},
                          {u"xsd-prefix", u"s"},
                          {u"xsi-namespace", u"urn:i"},
                          {u"xsd-namespace", u"urn:d"},
                          {u"xmlns", u"urn:app"}}),
            "<object xmlns:x=\"urn:i\" xmlns:s=\"urn:d\" x:type=\"s:TNest\" xmlns=\"urn:app\">" +
                members + "</object>");

  // Without root frame: a sequence of elements.
  EXPECT_EQ(Xml(n.get(), {{u"xsi-prefix", u"x"}, {u"xsd-prefix", u"s"}, {u"excluderoot", u"true"}}),
            members);

  // Without namespaces: no type, nil or value attributes, nor declarations.
  Owned<TTexts> t(New<TTexts>());
  t->Color = clGreen;
  EXPECT_EQ(Xml(t.get(), {{u"excludenamespaces", u"true"}}),
            "<object><Plain></Plain><Markup></Markup><Flag>false</Flag><Color>Green</Color>"
            "<Size>szSmall</Size><Colors>[]</Colors><Sizes>[]</Sizes></object>");
  EXPECT_EQ(Xml(n.get(), {{u"excludenamespaces", u"true"}, {u"excluderoot", u"true"}}),
            "<Person><Name>Ann</Name></Person><Nobody/><Where><X>0</X><Y>0</Y></Where><Lines/>");

  // An empty "xmlns" removes the parameter, and the root gets the program's name back.
  Owned<TPerson> p(New<TPerson>(u"Ann"));
  const std::string byProgram = "<object " + cNs +
                                " xsi:type=\"xsd:TPerson\" xmlns=\"urn:serialize_tests\">"
                                "<Name xsi:type=\"xsd:string\">Ann</Name></object>";
  EXPECT_EQ(Xml(p.get(), {{u"xmlns", u""}}), byProgram);
  EXPECT_EQ(VnSerializer(p.get()).AsXML(), byProgram);

  // The root run fills the parameters in, where every worker below finds them.
  Owned<TVnSerializer> s(VnCreateSerializer(dsfXML, TValue(p.get())));
  s->Serialize();
  EXPECT_EQ(s->GetParam(u"excludenamespaces"), u"false");
  EXPECT_EQ(s->GetParam(u"xsi-prefix"), u"xsi");
  EXPECT_EQ(s->GetParam(u"xsd-prefix"), u"xsd");
  EXPECT_EQ(s->GetParam(u"xmlns"), u"urn:serialize_tests");
  // ... or takes them out.
  s->SetParam(u"excludenamespaces", u"true");
  EXPECT_EQ(s->Serialize(), "<object><Name>Ann</Name></object>");
  EXPECT_FALSE(s->HasParam(u"xmlns"));
  EXPECT_FALSE(s->HasParam(u"xsi-prefix"));

  // A record at the root.
  EXPECT_EQ(Xml(TValue::From<TPoint>({1, 2})),
            "<record " + cNs +
                " xsi:type=\"xsd:TPoint\" xmlns=\"urn:t\"><X xsi:type=\"xsd:int\">1</X>"
                "<Y xsi:type=\"xsd:int\">2</Y></record>");

  // A subclass may leave the root's attributes out; members keep theirs.
  Owned<TBareRootSerializer> bare(New<TBareRootSerializer>(TValue(n.get())));
  EXPECT_EQ(bare->Serialize(),
            "<object><Person xsi:type=\"xsd:TPerson\"><Name xsi:type=\"xsd:string\">Ann</Name>"
            "</Person><Nobody xsi:type=\"xsd:TPerson\" xsi:nil=\"true\"/>"
            "<Where xsi:type=\"xsd:TPoint\"><X xsi:type=\"xsd:int\">0</X>"
            "<Y xsi:type=\"xsd:int\">0</Y></Where>"
            "<Lines xsi:type=\"xsd:TStringList\" xsi:nil=\"true\"/></object>");
}

// "excludechildren" leaves out members that are records, objects or interfaces; arrays stay,
// and an object element of an array is an empty string.
TEST(XmlSerializer, ExcludeChildrenKeepsSimpleMembersAndArrays) {
  Owned<TNest> n(New<TNest>());
  n->Person = New<TPerson>(u"Ann");
  EXPECT_EQ(Xml(n.get(), {{u"excludechildren", u"true"}}), Root("TNest") + "</object>");
  Owned<TLists> l(New<TLists>());
  l->Nums = {1};
  l->Points = {{1, 2}};
  l->People = {New<TPerson>(u"Ann")};
  EXPECT_EQ(Xml(l.get(), {{u"excludechildren", u"true"}, {u"excludenamespaces", u"true"}}),
            "<object><Fixed><int>0</int><int>0</int><int>0</int></Fixed><Nums><int>1</int></Nums>"
            "<Points><TPoint/></Points><People><TPerson></TPerson></People></object>");
}

// ---------------------------------------------------------------------------------------------
// The writers called directly, by a helper, as a notation's subclass or a helper may call them

namespace xmltest {

// Runs the script of the test in place of writing its member.
class TScriptHelper : public TVnSerializerHelper {
  VN_CLASS(TScriptHelper, TVnSerializerHelper)
 public:
  static inline std::function<void(TVnSerializer *)> Script;
  void Serialize(TVnSerializer *ASerializer, const UnicodeString &, const TVnTypeInfo *,
                 const TValue &, bool &) override {
    Script(ASerializer);
  }
};
VN_RTTI(TScriptHelper, u"xmltest") {}

class TScripted : public TPersistent {
  VN_CLASS(TScripted, TPersistent)
 public:
  Integer Get() const { return 0; }
};
VN_RTTI(TScripted, u"xmltest") {
  R.Property(u"M", &TScripted::Get, nullptr, mvPublished,
             {new SerializerHint(shoSerializerHelper, u"xmltest.TScriptHelper")});
}

// The scripted object one level down, so that the script's worker has a parent.
class TScriptedHolder : public TPersistent {
  VN_CLASS(TScriptedHolder, TPersistent)
 public:
  ~TScriptedHolder() override { Free(Inner); }
  TScripted *Inner = New<TScripted>();
};
VN_RTTI(TScriptedHolder, u"xmltest") {
  R.Field(u"Inner", &TScriptedHolder::Inner);
}

// What the script writes at the root's level (inside the root's element), or the exception.
std::string Scripted(std::function<void(TVnSerializer *)> AScript, bool ANested = false) {
  TScriptHelper::Script = std::move(AScript);
  try {
    if (ANested) {
      Owned<TScriptedHolder> h(New<TScriptedHolder>());
      return Body(h.get());
    }
    Owned<TScripted> s(New<TScripted>());
    return Body(s.get());
  } catch (Exception &e) {
    return UTF8Encode(e.ClassName() + u": " + e.Message);
  }
}

}  // namespace xmltest

using namespace xmltest;

TEST(XmlSerializer, ValuesGivenInAnotherFormThanTheirType) {
  const TVnTypeInfo *color = TVnTypes::Of<TColor>();
  // Enumerations from an ordinal or a variant.
  EXPECT_EQ(Scripted([&](TVnSerializer *S) { S->SerializeValue(u"M", color, TValue(1), -1); }),
            "<M xsi:type=\"xsd:TColor\" value=\"1\">Green</M>");
  EXPECT_EQ(
      Scripted([&](TVnSerializer *S) { S->SerializeValue(u"M", color, TValue(Variant(2)), -1); }),
      "<M xsi:type=\"xsd:TColor\" value=\"2\">Blue</M>");
  // A date held as text is written as it is.
  EXPECT_EQ(Scripted([](TVnSerializer *S) {
              S->SerializeValue(u"M", TVnTypes::Of<TDate>(), TValue(u"someday"), -1);
            }),
            "<M xsi:type=\"xsd:date\">someday</M>");
  // An object's place with text or a number: written as a value of the value's own type.
  EXPECT_EQ(Scripted([](TVnSerializer *S) {
              S->SerializeValue(u"M", TVnTypes::Of<TPerson>(), TValue(u"<b/>"), -1);
            }),
            "<M xsi:type=\"xsd:string\">&lt;b/&gt;</M>");
  EXPECT_EQ(Scripted([](TVnSerializer *S) {
              S->SerializeValue(u"M", TVnTypes::Of<TPoint>(), TValue(7), -1);
            }),
            "<M xsi:type=\"xsd:int\">7</M>");
}

TEST(XmlSerializer, WritersRefuseWhatNeedsAChildWorker) {
  EXPECT_EQ(Scripted([](TVnSerializer *S) {
              S->SerializeValue(u"M", TVnTypes::Of<std::vector<Integer>>(),
                                TValue::From<std::vector<Integer>>({1}), -1);
            }),
            "Exception: XML Arrays must be serialized by a ChildSerializer!");
  EXPECT_EQ(Scripted([](TVnSerializer *S) {
              S->SerializeValue(u"M", TVnTypes::Of<TPoint>(), TValue::From<TPoint>({1, 2}), -1);
            }),
            "Exception: XML ComplexTypes must be serialized by a ChildSerializer!");

  // Simple types have no start and end below the root; at the root they write nothing.
  const std::string basic =
      "EAssertionFailed: Basic types are only allowed on the Root level (For serialing basic "
      "values) (";
  const TVnTypeInfo *integer = TVnTypes::Of<Integer>();
  EXPECT_EQ(Scripted([&](TVnSerializer *S) { S->SerializeStartType(u"M", integer, -1); }, true)
                .substr(0, basic.size()),
            basic);
  EXPECT_EQ(Scripted([&](TVnSerializer *S) { S->SerializeEndType(u"M", integer, -1); }, true)
                .substr(0, basic.size()),
            basic);
  EXPECT_EQ(Scripted([&](TVnSerializer *S) {
              S->SerializeStartType(u"M", integer, -1);
              S->SerializeEndType(u"M", integer, -1);
            }),
            "");
  // A pointer has a start tag but no end tag; below the root its end fails like a simple type's.
  const TVnTypeInfo *pointer = TVnTypes::Of<Pointer>();
  EXPECT_EQ(Scripted([&](TVnSerializer *S) {
              S->SerializeStartType(u"M", pointer, -1);
              S->SerializeEndType(u"M", pointer, -1);
            }),
            "<M xsi:type=\"xsd:" + UTF8Encode(pointer->SchemaName(u"")) + "\">");
  EXPECT_EQ(Scripted([&](TVnSerializer *S) { S->SerializeEndType(u"M", pointer, -1); }, true)
                .substr(0, basic.size()),
            basic);
}

TEST(XmlSerializer, APointerAtTheRootOpensAnElementThatNeverCloses) {
  Pointer p = nullptr;
  Owned<TVnSerializer> s(VnCreateSerializer(dsfXML, &p, TypeInfo<Pointer>()));
  s->SetParam(u"excludenamespaces", u"true");
  EXPECT_EQ(s->Serialize(), "<array>");
}
