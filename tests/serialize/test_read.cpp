// Reading documents that no serializer wrote: other member orders, other cases, unknown
// members, class names, nil members, and the failures of bad input, in both notations.
#include <gtest/gtest.h>

#include <cmath>

#include "model.h"
#include "vnxml/json/uVnJSONSerializer.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/xml/uVnXMLSerializer.h"

using namespace vn;
using namespace sermodel;

namespace readmodel {

// A chain of nodes, for documents deeper than the reader accepts.
class TChain : public TPersistent {
  VN_CLASS(TChain, TPersistent)
 public:
  ~TChain() override {
    // Iteratively: a long chain must not recurse in its destructor.
    TChain *next = Next;
    Next = nullptr;
    while (next) {
      TChain *after = next->Next;
      next->Next = nullptr;
      Free(next);
      next = after;
    }
  }
  Integer Id = 0;
  TChain *Next = nullptr;
};
VN_RTTI(TChain, u"readmodel") {
  R.Field(u"Id", &TChain::Id);
  R.Field(u"Next", &TChain::Next);
}

// An element's text goes into Text; Id may come as an attribute.
class TTagged : public TPersistent {
  VN_CLASS(TTagged, TPersistent)
 public:
  Integer Id = 0;
  UnicodeString Text;
};
VN_RTTI(TTagged, u"readmodel") {
  R.Field(u"Id", &TTagged::Id);
  R.Field(u"Text", &TTagged::Text, mvPublic, {new SerializerHint(shoNodeType, u"NodeValue")});
}

// A published property known in documents by another name.
class TRenamed : public TPersistent {
  VN_CLASS(TRenamed, TPersistent)
 public:
  const UnicodeString &GetTitle() const { return FTitle; }
  void SetTitle(const UnicodeString &A) { FTitle = A; }

 private:
  UnicodeString FTitle;
};
VN_RTTI(TRenamed, u"readmodel") {
  R.Property(u"Title", &TRenamed::GetTitle, &TRenamed::SetTitle, mvPublished,
             {new SerializerHint(shoName, u"caption")});
}

// A component with a number, made by the reader with an owner.
class TRComponent : public TComponent {
  VN_CLASS(TRComponent, TComponent)
 public:
  explicit TRComponent(TComponent *AOwner) : TComponent(AOwner) {}
  Integer Tag = 0;
};
VN_RTTI(TRComponent, u"readmodel") {
  R.Field(u"Tag", &TRComponent::Tag);
}

// Holds another holder without owning it.
class TRHolder : public TPersistent {
  VN_CLASS(TRHolder, TPersistent)
 public:
  TRHolder *Inner = nullptr;
};
VN_RTTI(TRHolder, u"readmodel") {
  R.Field(u"Inner", &TRHolder::Inner);
}

// Two objects of one class side by side: the second is read after the first is done.
class TRPair : public TPersistent {
  VN_CLASS(TRPair, TPersistent)
 public:
  ~TRPair() override {
    Free(First);
    Free(Second);
  }
  TAnyValues *First = New<TAnyValues>();
  TAnyValues *Second = New<TAnyValues>();
};
VN_RTTI(TRPair, u"readmodel") {
  R.Field(u"First", &TRPair::First);
  R.Field(u"Second", &TRPair::Second);
}

// Counts the copies made of the records that hold it; moves are not counted.
struct TCopyCount {
  static inline int Copies = 0;
  TCopyCount() = default;
  TCopyCount(const TCopyCount &) { ++Copies; }
  TCopyCount(TCopyCount &&) noexcept = default;
  TCopyCount &operator=(const TCopyCount &) {
    ++Copies;
    return *this;
  }
  TCopyCount &operator=(TCopyCount &&) noexcept = default;
};
struct TCountedLine {
  UnicodeString Text;
  Integer Qty = 0;
  TCopyCount Count;
};
VN_RTTI(TCountedLine, u"readmodel") {
  R.Field(u"Text", &TCountedLine::Text);
  R.Field(u"Qty", &TCountedLine::Qty);
}
using TCountedLines = std::vector<TCountedLine>;
VN_RTTI(TCountedLines, u"readmodel") {}

// Lines behind a property with a setter, and one line as a field.
class TCountedOrder : public TPersistent {
  VN_CLASS(TCountedOrder, TPersistent)
 public:
  const TCountedLines &GetLines() const { return FLines; }
  void SetLines(TCountedLines A) {
    FLines = std::move(A);
    ++LinesSet;
  }
  TCountedLine Main;
  Integer LinesSet = 0;

 private:
  TCountedLines FLines;
};
VN_RTTI(TCountedOrder, u"readmodel") {
  R.Property(u"Lines", &TCountedOrder::GetLines, &TCountedOrder::SetLines);
  R.Field(u"Main", &TCountedOrder::Main);
}

}  // namespace readmodel

using namespace readmodel;

namespace {

const char cXsi[] = R"(xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance" )"
                    R"(xmlns:xsd="http://www.w3.org/2001/XMLSchema")";

RawByteString Xml(const std::string &ABody, const char *AType) {
  return std::string("<object ") + cXsi + R"( xsi:type="xsd:)" + AType + R"(">)" + ABody +
         "</object>";
}

template <class T>
Owned<T> Read(TVnDataSerializationFormatType AFormat, const RawByteString &AText) {
  Owned<T> object(New<T>());
  VnSerializer(object.get()).Deserialize(AFormat, AText);
  return object;
}

template <class E>
std::string FailureOf(const std::function<void()> &ACall) {
  try {
    ACall();
  } catch (const Exception &e) {
    if constexpr (!std::is_same_v<E, Exception>)
      if (!dynamic_cast<const E *>(&e)) return "other exception: " + UTF8Encode(e.Message);
    return UTF8Encode(e.Message);
  }
  return "no exception";
}

}  // namespace

TEST(ReadMembers, AnyOrderAnyCaseAndUnknownNamesThatAreReserved) {
  auto n =
      Read<TNumbers>(dsfJSON, R"({"d":2.5,"I":-7,"className":"TNumbers","parent":1,"OWNER":"x",)"
                              R"("type":3,"b":9})");
  EXPECT_EQ(n->I, -7);
  EXPECT_EQ(n->B, 9);
  EXPECT_EQ(n->D, 2.5);

  auto x = Read<TNumbers>(dsfXML, Xml("<d>2.5</d><I>-7</I><b>9</b><Type>1</Type>", "TNumbers"));
  EXPECT_EQ(x->I, -7);
  EXPECT_EQ(x->B, 9);
}

TEST(ReadMembers, UnknownMembersRaiseWithTheTypeAndName) {
  EXPECT_EQ(
      FailureOf<EVnSerializeException>([] { Read<TPerson>(dsfJSON, R"({"name":"Ann","age":3})"); }),
      "Failed to find a property or field with the name sermodel.TPerson.age!");
  // The XML reader reports every failure of a parse with its place in the text.
  EXPECT_EQ(FailureOf<EParserError>(
                [] { Read<TPerson>(dsfXML, Xml("<Name>Ann</Name><Age>3</Age>", "TPerson")); }),
            "Line 1, column 151: Failed to find a property or field with the name "
            "sermodel.TPerson.Age!");
}

TEST(ReadMembers, XmlAttributesCountAsElementsAndUnknownOnesAreIgnored) {
  auto t = Read<TTagged>(
      dsfXML, std::string("<object ") + cXsi + R"( Id="12" Color="red">body &amp; more</object>)");
  EXPECT_EQ(t->Id, 12);
  EXPECT_EQ(t->Text, u"body & more");
}

TEST(ReadMembers, AnAttributeNeverEntersAnObjectMember) {
  Owned<TNest> n(New<TNest>());
  n->Person = New<TPerson>(u"kept");
  VnSerializer(n.get()).Deserialize(dsfXML, std::string("<object ") + cXsi +
                                                R"( Person="" Where="1"><Where><X>4</X></Where>)" +
                                                "</object>");
  ASSERT_TRUE(n->Person);
  EXPECT_EQ(n->Person->GetName(), u"kept");
  EXPECT_EQ(n->Where.X, 4);
}

TEST(ReadMembers, APropertyIsFoundByItsDocumentName) {
  EXPECT_EQ(Read<TRenamed>(dsfJSON, R"({"caption":"Hello"})")->GetTitle(), u"Hello");
  EXPECT_EQ(Read<TRenamed>(dsfXML, Xml("<caption>Hi</caption>", "TRenamed"))->GetTitle(), u"Hi");
}

TEST(ReadMembers, XmlEmptyElementsAndNilKeepTheValueAndMarkupBecomesText) {
  Owned<TTexts> t(New<TTexts>());
  t->Plain = u"kept";
  VnSerializer(t.get()).Deserialize(
      dsfXML, Xml(R"(<Plain/><Markup><b x="1">bold</b></Markup><Flag xsi:nil="true"/>)", "TTexts"));
  EXPECT_EQ(t->Plain, u"kept");
  EXPECT_EQ(t->Markup, u"<b x=\"1\">bold</b>");
  // Each piece of text replaces the one before: the text behind the markup wins.
  VnSerializer(t.get()).Deserialize(dsfXML, Xml("<Markup>a<i>b</i>c</Markup>", "TTexts"));
  EXPECT_EQ(t->Markup, u"c");
}

TEST(ReadObjects, TheDocumentsClassNameMakesTheInstanceOfANilMember) {
  auto json = Read<TNest>(
      dsfJSON, R"({"person":{"className":"TVipPerson","name":"Vi","level":2},"nobody":{}})");
  ASSERT_TRUE(json->Person);
  EXPECT_EQ(json->Person->ClassType(), TVipPerson::StaticClass());
  EXPECT_EQ(static_cast<TVipPerson *>(json->Person)->GetLevel(), 2);
  EXPECT_EQ(json->Nobody, nullptr);

  auto xml = Read<TNest>(dsfXML, Xml(R"(<Person xsi:type="xsd:TVipPerson"><Level>4</Level>)"
                                     R"(</Person><Nobody xsi:type="xsd:TPerson" xsi:nil="true"/>)",
                                     "TNest"));
  ASSERT_TRUE(xml->Person);
  EXPECT_EQ(static_cast<TVipPerson *>(xml->Person)->GetLevel(), 4);
  EXPECT_EQ(xml->Nobody, nullptr);
}

TEST(ReadObjects, TheClassNameIsFoundFarAheadAndBeyondAscii) {
  // Blanks push the class name past the first look ahead.
  auto far = Read<TNest>(
      dsfJSON, R"({"person":{)" + std::string(60, ' ') + R"("className":"TVipPerson","level":5}})");
  ASSERT_TRUE(far->Person);
  EXPECT_EQ(static_cast<TVipPerson *>(far->Person)->GetLevel(), 5);
  // A name beyond ASCII is read whole, in a UTF-8 text as in a UTF-16 one.
  EXPECT_EQ(FailureOf<ENotSupportedException>([] {
              Read<TNest>(dsfJSON, "{\"person\":{\"className\":\"TV\xC3\xAFp\",\"level\":1}}");
            }),
            "Failed to create an instance of TV\u00EFp!");
  // The first name decides: another name there, ASCII or not, means no class name.
  auto other =
      Read<TNest>(dsfJSON, "{\"person\":{\"n\xC3\xA4me\":1,\"className\":\"TVipPerson\"}}");
  EXPECT_EQ(other->Person, nullptr);
}

TEST(ReadObjects, AClassNameThatIsNotFirstMakesNoInstanceAndTheContentIsPassedOver) {
  auto n = Read<TNest>(dsfJSON, R"({"person":{"name":"Vi","className":"TVipPerson"},)"
                                R"("where":{"className":"TPoint","x":5,"y":6}})");
  EXPECT_EQ(n->Person, nullptr);
  EXPECT_EQ(n->Where.X, 5);
}

TEST(ReadObjects, AClassTheMemberCannotHoldIsRefusedBeforeItIsMade) {
  EXPECT_EQ(FailureOf<EInvalidCast>(
                [] { Read<TNest>(dsfJSON, R"({"person":{"className":"TNumbers","b":1}})"); }),
            "Invalid class typecast");
}

TEST(ReadObjects, CreateFromMakesTheNamedClass) {
  Owned<TObject> json(VnCreateFrom(dsfJSON, R"({"className":"TVipPerson","name":"Jo"})"));
  ASSERT_EQ(json->ClassType(), TVipPerson::StaticClass());
  EXPECT_EQ(static_cast<TVipPerson *>(json.get())->GetName(), u"Jo");

  Owned<TObject> xml(VnCreateFrom(dsfXML, Xml("<Name>Xi</Name>", "TPerson")));
  ASSERT_EQ(xml->ClassType(), TPerson::StaticClass());
  EXPECT_EQ(static_cast<TPerson *>(xml.get())->GetName(), u"Xi");
}

TEST(ReadObjects, CreateFromGivesNewComponentsTheirOwner) {
  Owned<TComponent> owner(New<TComponent>(nullptr));
  TObject *made = VnCreateFrom(dsfJSON, owner.get(), R"({"className":"TRComponent","tag":3})");
  ASSERT_EQ(made->ClassType(), TRComponent::StaticClass());
  EXPECT_EQ(static_cast<TComponent *>(made)->Owner(), owner.get());
  EXPECT_EQ(static_cast<TRComponent *>(made)->Tag, 3);
}

TEST(ReadObjects, ObjectsMadeInsideATextValueBelongToTheRun) {
  // A TValue member holding an object whose member the nested run had to make: with the
  // caller's list, everything made is in it, and nothing is freed under the instance.
  Owned<TObjectList> made(New<TObjectList>(true));
  Owned<TAnyValues> a(New<TAnyValues>());
  VnDeserialize(dsfJSON, TValue(a.get()),
                R"({"held":{"className":"TRHolder","inner":{"className":"TRHolder"}}})",
                made.get());
  ASSERT_TRUE(a->Held.IsObject());
  auto *outer = static_cast<TRHolder *>(a->Held.AsObject());
  ASSERT_TRUE(outer->Inner);
  EXPECT_EQ(outer->Inner->ClassType(), TRHolder::StaticClass());
  EXPECT_EQ(made->Count(), 2);
}

TEST(ReadObjects, CreateFromFailsWithoutAKnownClassName) {
  EXPECT_EQ(FailureOf<EVnException>(
                [] { VnCreateFrom(dsfJSON, R"({"className":"TNoSuchClass","a":1})"); }),
            "The type \"TNoSuchClass\" is unknown!");
  EXPECT_EQ(FailureOf<Exception>([] { VnCreateFrom(dsfJSON, R"({"a":1,"className":"TPerson"})"); }),
            "Failed to read the ClassName from the stream!");
  // Another prefix for the instance namespace: the peek looks for the text "xsi:type" only.
  RawByteString other =
      R"(<object xmlns:i="http://www.w3.org/2001/XMLSchema-instance" i:type="TPerson">)"
      R"(<Name>Q</Name></object>)";
  EXPECT_EQ(FailureOf<Exception>([&] { VnCreateFrom(dsfXML, other); }),
            "Failed to read the ClassName from the stream!");
  EXPECT_EQ(Read<TPerson>(dsfXML, other)->GetName(), u"Q");
}

TEST(ReadArrays, ADynamicArrayIsOverwrittenFromTheStartAndTakesTheReadLength) {
  Owned<TLists> l(New<TLists>());
  l->Nums = {9, 9, 9, 9};
  VnSerializer(l.get()).Deserialize(dsfJSON, R"({"nums":[1,2],"points":[{"x":1,"y":2}]})");
  EXPECT_EQ(l->Nums, (std::vector<Integer>{1, 2}));
  ASSERT_EQ(l->Points.size(), 1u);
  EXPECT_EQ(l->Points[0].Y, 2);
  // An array may come as the text of an array.
  VnSerializer(l.get()).Deserialize(dsfJSON, R"({"nums":"[7,8]"})");
  EXPECT_EQ(l->Nums, (std::vector<Integer>{7, 8}));
  // A null element is an element with its default value, in arrays of any kind.
  VnSerializer(l.get()).Deserialize(dsfJSON, R"({"nums":[3,null,4],"people":[null]})");
  EXPECT_EQ(l->Nums, (std::vector<Integer>{3, 0, 4}));
  ASSERT_EQ(l->People.size(), 1u);
  EXPECT_EQ(l->People[0], nullptr);
  // Attributes of a record element of an array reach the record itself.
  Owned<TLists> x(New<TLists>());
  VnSerializer(x.get()).Deserialize(
      dsfXML, "<object><Points><TPoint X=\"5\"><Y>6</Y></TPoint></Points></object>");
  ASSERT_EQ(x->Points.size(), 1u);
  EXPECT_EQ(x->Points[0].X, 5);
  EXPECT_EQ(x->Points[0].Y, 6);
}

// The records of an array and a record member are read into one working copy each and moved
// from there into the array and the member; a property's setter still gets the whole value.
TEST(ReadArrays, RecordsAreCopiedAtMostOnceOnTheirWayIn) {
  const RawByteString json =
      R"({"lines":[{"text":"first line of text","qty":1},{"qty":2},)"
      R"({"text":"third line of text","qty":3}],"main":{"text":"main line of text","qty":4}})";
  const RawByteString xml =
      Xml("<Lines><TCountedLine><Text>first line of text</Text><Qty>1</Qty></TCountedLine>"
          "<TCountedLine><Qty>2</Qty></TCountedLine>"
          "<TCountedLine><Text>third line of text</Text><Qty>3</Qty></TCountedLine></Lines>"
          "<Main><Text>main line of text</Text><Qty>4</Qty></Main>",
          "TCountedOrder");
  for (const auto &[format, text] : {std::pair(dsfJSON, json), std::pair(dsfXML, xml)}) {
    SCOPED_TRACE(format == dsfJSON ? "JSON" : "XML");
    Owned<TCountedOrder> order(New<TCountedOrder>());
    TCopyCount::Copies = 0;
    VnSerializer(order.get()).Deserialize(format, text);
    const TCountedLines &lines = order->GetLines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].Text, u"first line of text");
    // Each element starts from the default, not from the element before.
    EXPECT_EQ(lines[1].Text, u"");
    EXPECT_EQ(lines[1].Qty, 2);
    EXPECT_EQ(lines[2].Text, u"third line of text");
    EXPECT_EQ(lines[2].Qty, 3);
    EXPECT_EQ(order->Main.Text, u"main line of text");
    EXPECT_EQ(order->Main.Qty, 4);
    EXPECT_EQ(order->LinesSet, 1);
    // One working copy per element and one of the member.
    EXPECT_LE(TCopyCount::Copies, 3 + 1);
  }
}

TEST(ReadValues, JsonSpecialForms) {
  // Dates take the "Z" of the UTC forms; enumerations their object; "asInt" wins.
  auto d = Read<TDates>(dsfJSON, R"({"moment":"2024-03-05T13:04:05.006Z","day":"2024-03-05"})");
  EXPECT_EQ(FormatDateTime(u"yyyy-mm-dd hh:nn:ss", d->Moment), u"2024-03-05 13:04:05");
  auto t = Read<TTexts>(dsfJSON,
                        R"({"color":{"className":"TColor","asString":"Green","asInt":2},)"
                        R"("colors":{"className":"TColors","asString":"[Red,Blue]","asInt":5}})");
  EXPECT_EQ(t->Color, clBlue);
  EXPECT_EQ(t->Colors, (TColors{clRed, clBlue}));
  // An ordinal outside the enumeration gives no value of it.
  EXPECT_EQ(FailureOf<EAssertionFailed>([] {
              Read<TTexts>(dsfJSON, R"({"color":{"className":"TColor","asInt":7}})");
            }).substr(0, 33),
            "Failed to get the EnumValue for 7");
  EXPECT_EQ(FailureOf<Exception>([] { Read<TNest>(dsfJSON, R"({"where":null})"); }),
            "Records are not nillable! Use \"{}\" if you want to use empty records instead of "
            "\"Null\".");
  EXPECT_EQ(FailureOf<Exception>(
                [] { Read<TTexts>(dsfJSON, R"({"color":{"className":"TColor","name":"x"}})"); }),
            "\"The JSON Enum Deserializer expected \"asString\" or \"asInt\", but the member "
            "\"name\" was deserialized instead!");
}

TEST(ReadValues, DecimalNumbersReadTheSameInEveryForm) {
  struct TCase {
    const char *Text;
    Double Expected;
  };
  // Plain decimals, and the forms with an exponent; 2^53 + 1 rounds to even.
  const TCase both[] = {{"2.5", 2.5},
                        {"-12.125", -12.125},
                        {"0.1", 0.1},
                        {"123456789.123456789", 123456789.123456789},
                        {"1e3", 1000.0},
                        {"-2.5E-1", -0.25},
                        {"9007199254740993", 9007199254740993.0}};
  for (const TCase &c : both) {
    EXPECT_EQ(Read<TNumbers>(dsfJSON, std::string(R"({"d":)") + c.Text + "}")->D, c.Expected)
        << c.Text;
    EXPECT_EQ(Read<TNumbers>(dsfXML, Xml(std::string("<D>") + c.Text + "</D>", "TNumbers"))->D,
              c.Expected)
        << c.Text;
  }
  // Forms that only XML text has: leading zeros, a point at either end, blanks around.
  const TCase xml[] = {{"007.25", 7.25}, {"5.", 5.0}, {".5", 0.5}, {" 2.5 ", 2.5}};
  for (const TCase &c : xml)
    EXPECT_EQ(Read<TNumbers>(dsfXML, Xml(std::string("<D>") + c.Text + "</D>", "TNumbers"))->D,
              c.Expected)
        << c.Text;
  EXPECT_TRUE(std::signbit(Read<TNumbers>(dsfJSON, R"({"d":-0.0})")->D));
  EXPECT_EQ(
      FailureOf<EParserError>([] { Read<TNumbers>(dsfXML, Xml("<D>1.2.3</D>", "TNumbers")); }),
      "Line 1, column 140: '1.2.3' is not a valid floating point value");
}

TEST(ReadObjects, AnObjectReadAfterAnotherOfItsClassReadsAsItWouldAlone) {
  // The first object's member names its type; the second's does not, which keeps its text.
  auto pair = Read<TRPair>(dsfXML, Xml(R"(<First xsi:type="xsd:TAnyValues"><V xsi:type="xsd:int">)"
                                       R"(5</V></First><Second xsi:type="xsd:TAnyValues"><V>7</V>)"
                                       R"(</Second>)",
                                       "TRPair"));
  auto alone =
      Read<TRPair>(dsfXML, Xml(R"(<Second xsi:type="xsd:TAnyValues"><V>7</V></Second>)", "TRPair"));
  EXPECT_NE(VarType(pair->First->V), VarType(alone->Second->V));
  EXPECT_EQ(VarType(pair->Second->V), VarType(alone->Second->V));
  EXPECT_EQ(VarToStr(pair->Second->V), u"7");

  auto json = Read<TRPair>(dsfJSON, R"({"first":{"v":"a","held":1},"second":{"v":2}})");
  EXPECT_EQ(VarToStr(json->First->V), u"a");
  EXPECT_EQ(json->First->Held.AsInt64(), 1);
  EXPECT_EQ(VarToStr(json->Second->V), u"2");
  EXPECT_TRUE(json->Second->Held.GetIsEmpty());
}

TEST(ReadValues, FormEncodedInput) {
  Owned<TPerson> p(New<TPerson>());
  Owned<TVnDeserializer> reader(VnCreateDeserializer(dsfJSON, TValue(p.get())));
  reader->SetParam(u"UrlEncoded", u"True");
  reader->Deserialize(RawByteString("name=Ann%20Lee&parent=x"));
  EXPECT_EQ(p->GetName(), u"Ann Lee");
}

TEST(ReadFailures, BadValuesAndTruncatedTextRaiseAndFreeWhatWasMade) {
  EXPECT_EQ(FailureOf<EConvertError>([] { Read<TNumbers>(dsfJSON, R"({"i":"1x"})"); }),
            "'1x' is not a valid integer value");
  // A failure after an object was made for a nil member: it is attached to the target, which
  // owns it; nothing leaks (the sanitizer run checks).
  Owned<TNest> n(New<TNest>());
  EXPECT_ANY_THROW(VnSerializer(n.get()).Deserialize(
      dsfJSON, R"({"person":{"className":"TPerson","name":"A","age":1}})"));
  ASSERT_TRUE(n->Person);
  EXPECT_EQ(n->Person->GetName(), u"A");
  // A text that stops before its end gives what it holds.
  RawByteString cut = Xml(R"(<Person xsi:type="xsd:TPerson"><Name>A</Name>)", "TNest");
  cut.resize(cut.size() - 9);
  EXPECT_EQ(Read<TNest>(dsfXML, cut)->Person->GetName(), u"A");
  EXPECT_EQ(
      Read<TNest>(dsfJSON, R"({"person":{"className":"TPerson","name":"B")")->Person->GetName(),
      u"B");
  // A run that made its own instance frees it when it fails.
  EXPECT_THROW(VnCreateFrom(dsfJSON, R"({"className":"TNest","where":{"z":1}})"),
               EVnSerializeException);
  // A stream that is no memory stream has a writer in JSON but no reader.
  EXPECT_EQ(FailureOf<Exception>([] {
              Owned<TMemoryStream> inner(New<TMemoryStream>());
              Owned<TVnUTF8StreamAdapter> s(New<TVnUTF8StreamAdapter>(inner.get(), false, false));
              VnDeserialize(dsfJSON, TValue(s.get()), RawByteString("{}"));
            }),
            "There is no registered deserializer for \"JSON\"!");
}

TEST(ReadFailures, NestingDeeperThanTheLimitRaises) {
  std::string deep;
  for (int i = 0; i < 1500; ++i) deep += R"({"className":"TChain","next":)";
  deep += "{}";
  for (int i = 0; i < 1500; ++i) deep += "}";
  Owned<TChain> c(New<TChain>());
  EXPECT_EQ(FailureOf<EVnSerializeException>([&] {
              VnSerializer(c.get()).Deserialize(dsfJSON, deep);
            }).substr(0, 46),
            "The document is nested deeper than 1000 levels");
  // Within the limit the whole chain is read.
  std::string ok;
  for (int i = 0; i < 900; ++i) ok += R"({"className":"TChain","id":1,"next":)";
  ok += "{}";
  for (int i = 0; i < 900; ++i) ok += "}";
  Owned<TChain> d(New<TChain>());
  VnSerializer(d.get()).Deserialize(dsfJSON, ok);
  Integer length = 0;
  for (TChain *p = d.get(); p; p = p->Next) ++length;
  EXPECT_EQ(length, 900);
}
