// The tree as text: the two layouts, what simple values write, escapes, the document's
// encodings and files, and trees too deep for nested calls.
#include "tree_util.h"
#include "vnxml/rtl/DateUtils.h"

namespace jsontree {
namespace {

struct TLayout {
  const char16_t *Input;
  const char16_t *Plain;
  const char16_t *Formatted;
};

TEST(JSONOutput, BothLayouts) {
  const TLayout cases[] = {
      {u"{}", u"{}", u"{ \r\n\r\n}"},
      {u"[]", u"[]", u"[\r\n\r\n]"},
      {u"{\"a\":1,\"b\":[1,2]}", u"{\"a\": 1, \"b\": [1, 2]}",
       u"{ \r\n  \"a\": 1, \"b\": [\r\n    1, 2\r\n  ]\r\n}"},
      // Only the first child of a container is indented; the others follow on its line.
      {u"[{\"a\":1},{\"b\":2}]", u"[{\"a\": 1}, {\"b\": 2}]",
       u"[\r\n  { \r\n    \"a\": 1\r\n  }, { \r\n    \"b\": 2\r\n  }\r\n]"},
      {u"{\"o\":{\"x\":1}}", u"{\"o\": {\"x\": 1}}",
       u"{ \r\n  \"o\": { \r\n    \"x\": 1\r\n  }\r\n}"},
      {u"[[1,[2]],3]", u"[[1, [2]], 3]",
       u"[\r\n  [\r\n    1, [\r\n      2\r\n    ]\r\n  ], 3\r\n]"},
      {u"{\"e\":{},\"f\":[]}", u"{\"e\": {}, \"f\": []}",
       u"{ \r\n  \"e\": { \r\n\r\n  }, \"f\": [\r\n\r\n  ]\r\n}"},
  };
  for (const TLayout &c : cases) {
    Doc d = Load(c.Input);
    EXPECT_EQ(d->GetAsJSON(), c.Plain) << UTF8Encode(c.Input);
    EXPECT_EQ(d->GetFormattedJSON(), c.Formatted) << UTF8Encode(c.Input);
  }
}

TEST(JSONOutput, InnerNodesAndLevels) {
  Doc d = Load(u"{\"a\":1,\"b\":[1,2]}");
  TVnJSONMember *b = d->FindMember(u"b");
  EXPECT_EQ(d->FindMember(u"a")->GetAsJSON(), u"\"a\": 1");
  EXPECT_EQ(b->GetAsJSON(), u"\"b\": [1, 2]");
  EXPECT_EQ(b->GetFormattedJSON(), u"\"b\": [\r\n  1, 2\r\n]");
  EXPECT_EQ(b->GetValueObj()->GetFormattedJSON(), u"[\r\n  1, 2\r\n]");
  EXPECT_EQ(b->GetAsArray()->Item(1)->GetAsJSON(), u"2");

  // The node-level routine writes UTF-16 at the level it is given.
  TMemoryStream s;
  b->GetValueObj()->SaveToStream(&s, true, 2, true);
  EXPECT_EQ(Bytes(s), UTF16LE(u"    [\r\n      1, 2\r\n    ]"));
  TMemoryStream member;
  b->SaveToStream(&member, true, 1, true);
  EXPECT_EQ(Bytes(member), UTF16LE(u"  \"b\": [\r\n    1, 2\r\n  ]"));
  TMemoryStream plain;
  b->SaveToStream(&plain, false, 3, true);
  EXPECT_EQ(Bytes(plain), UTF16LE(u"\"b\": [1, 2]"));
  // The document hands its arguments to the root as they are.
  TMemoryStream doc;
  static_cast<TVnJSONBase *>(d.get())->SaveToStream(&doc, true, 1, true);
  EXPECT_EQ(Bytes(doc), UTF16LE(u"  { \r\n    \"a\": 1, \"b\": [\r\n      1, 2\r\n    ]\r\n  }"));
}

TEST(JSONOutput, SimpleValues) {
  // Read values are written back as they were read.
  Doc d = Load(u"[1.50,-0,1e5,+.e,true,false,null,\"x\"]");
  EXPECT_EQ(d->GetAsJSON(), u"[1.50, -0, 1e5, +.e, true, false, null, \"x\"]");

  Doc s = Load(u"[]");
  TVnJSONBase *arr = s->GetRootValue();
  arr->AddValue(jdtNull)->SetAsDouble(1.5);
  arr->AddValue(jdtNull)->SetAsDouble(1e20);
  arr->AddValue(jdtNull)->SetAsDouble(1.5e-10);
  arr->AddValue(jdtNull)->SetAsDouble(-0.0);
  arr->AddValue(jdtNull)->SetAsInteger(-3);
  arr->AddValue(jdtNull)->SetAsLargeInt(1234567890123LL);
  arr->AddValue(jdtNull)->SetAsBoolean(false);
  arr->AddValue(jdtNull)->SetAsString(u"t");
  arr->AddValue(jdtNull)->SetAsVariant(Variant::Null());
  arr->AddValue(jdtNumber);  // made by type: null until set
  EXPECT_EQ(s->GetAsJSON(),
            u"[1.5, 1E20, 1.5E-10, -0, -3, 1234567890123, false, \"t\", null, null]");
}

TEST(JSONOutput, DatesAreWrittenWithoutQuotes) {
  const TDateTime when(EncodeDate(2021, 12, 31).Val + EncodeTime(23, 59, 58, 0).Val);
  const UnicodeString text = VnVarToStr(Variant(when));
  ASSERT_FALSE(text.empty());
  Doc d = Load(u"{}");
  d->GetRootValue()->AddMember(u"d")->SetAsVariant(Variant(when));
  EXPECT_EQ(d->GetAsJSON(), u"{\"d\": " + text + u"}");
  // AddMember stores the date's XML text, which is an ordinary string.
  d->GetRootValue()->AddMember(u"x", Variant(when));
  EXPECT_EQ(d->FindMember(u"x")->GetAsJSON(), u"\"x\": \"2021-12-31T23:59:58.000\"");
}

TEST(JSONOutput, Escapes) {
  Doc d = Load(u"[\"a\\/b\",\"\\u00e9\\u0100\\n\\t\\\"\"]");
  EXPECT_EQ(d->Item(0)->GetAsString(), u"a/b");
  EXPECT_EQ(d->Item(1)->GetAsString(), u"\u00E9\u0100\n\t\"");
  EXPECT_EQ(d->GetAsJSON(), u"[\"a\\/b\", \"\u00E9\\u0100\\n\\t\\\"\"]");

  TVnJSONBase *v = d->Item(0);
  v->SetAsString(u"a\u0001b\u000Bc\\");
  EXPECT_EQ(v->GetAsJSON(), u"\"ab\u000Bc\\\\\"");

  // Names are kept as read, so each backslash of a read escape is written doubled.
  Doc names = Load(u"{\"a\\\\b\":1,\"c\\/d\":2}");
  EXPECT_EQ(names->Item(0)->GetName(), u"a\\\\b");
  EXPECT_EQ(names->GetAsJSON(), u"{\"a\\\\\\\\b\": 1, \"c\\\\\\/d\": 2}");
  names->Item(0)->SetName(u"\u0100\"");
  EXPECT_EQ(names->Item(0)->GetAsJSON(), u"\"\\u0100\\\"\": 1");
}

// Text kept a byte a character is escaped and encoded many characters at a step: every length
// up to 40, with each character that escaping changes (or keeps) at every place, must write as
// the same text kept in UTF-16 escapes, and the UTF-8 output must be that text encoded.
TEST(JSONOutput, NarrowTextAtEveryLengthAndPlace) {
  Doc d = MakeOwned<TVnJSONDocument>();
  TVnJSONBase *value = d->CreateRootValue(jdtObject)->AddMember(u"k", jdtString)->GetValueObj();
  for (std::size_t n = 0; n <= 40; ++n)
    for (char16_t special : {u'"', u'\\', u'/', u'\n', u'\u0001', u'\u000B', u'\u00E9', u'~'})
      for (std::size_t at = 0; at <= n; ++at) {
        UnicodeString text(n, u'a');
        for (std::size_t i = 0; i < n; ++i) text[i] = static_cast<char16_t>(u'a' + i % 26);
        if (at < n) text[at] = special;
        value->SetAsString(text);
        const UnicodeString json = u"{\"k\": \"" + VnStrToJSON(text) + u"\"}";
        ASSERT_EQ(d->GetAsJSON(), json) << n << " " << at << " " << int(special);
        TMemoryStream s;
        d->SaveToStream(&s, false, CP_UTF8, false);
        ASSERT_EQ(Bytes(s), UTF8Encode(json)) << n << " " << at;
      }
}

TEST(JSONOutput, UnexpectedTypeOfASimpleValue) {
  Doc d = Load(u"[]");
  TVnJSONBase *v = d->GetRootValue()->AddValue(jdtObject, u"x");
  EXPECT_TRUE(v->Is<TVnJSONSimpleType>());
  EXPECT_EQ(v->GetAsString(), u"x");
  EXPECT_EQ(Raised([&] { d->GetAsJSON(); }), "EVnJSONException 6: Unexptected JSON type!");
  TMemoryStream s;
  EXPECT_EQ(Raised([&] { d->SaveToStream(&s, false, 65001, false); }),
            "EVnJSONException 6: Unexptected JSON type!");
}

// ---------------------------------------------------------------------------------------------
// Encodings and files

std::string Saved(TVnJSONDocument *ADoc, bool AFormatted, Word ACodePage, bool ABOM) {
  TMemoryStream s;
  ADoc->SaveToStream(&s, AFormatted, ACodePage, ABOM);
  return Bytes(s);
}

TEST(JSONOutput, DocumentEncodings) {
  Doc d = Load(u"{\"caf\u00E9\":[\"\u00E9\"]}");
  const UnicodeString plain = u"{\"caf\u00E9\": [\"\u00E9\"]}";
  const UnicodeString formatted = u"{ \r\n  \"caf\u00E9\": [\r\n    \"\u00E9\"\r\n  ]\r\n}";
  ASSERT_EQ(d->GetAsJSON(), plain);
  ASSERT_EQ(d->GetFormattedJSON(), formatted);

  EXPECT_EQ(Saved(d.get(), false, 1200, false), UTF16LE(plain));
  EXPECT_EQ(Saved(d.get(), false, 1200, true), "\xFF\xFE" + UTF16LE(plain));
  EXPECT_EQ(Saved(d.get(), true, 1200, true), "\xFF\xFE" + UTF16LE(formatted));

  const std::string utf8 = "{\"caf\xC3\xA9\": [\"\xC3\xA9\"]}";
  EXPECT_EQ(Saved(d.get(), false, 65001, false), utf8);
  EXPECT_EQ(Saved(d.get(), false, 65001, true), "\xEF\xBB\xBF" + utf8);
  EXPECT_EQ(Saved(d.get(), true, 65001, false), UTF8Encode(formatted));

  // A page of one byte a character never has a mark.
  const std::string ansi = "{\"caf\xE9\": [\"\xE9\"]}";
  EXPECT_EQ(Saved(d.get(), false, 1252, false), ansi);
  EXPECT_EQ(Saved(d.get(), false, 1252, true), ansi);
  EXPECT_EQ(Saved(d.get(), false, 28591, true), ansi);
  EXPECT_EQ(Saved(d.get(), true, 1252, true), "{ \r\n  \"caf\xE9\": [\r\n    \"\xE9\"\r\n  ]\r\n}");
}

std::string FileBytes(const UnicodeString &AName) {
  TMemoryStream s;
  s.LoadFromFile(AName);
  return Bytes(s);
}

// A node of an application's class writes itself, wherever it stands and whatever the target.
class TStarValue : public TVnJSONSimpleType {
  VN_CLASS(TStarValue, TVnJSONSimpleType)
 public:
  using TVnJSONSimpleType::TVnJSONSimpleType;
  void SaveToStream(TStream *AStream, bool, Integer ALevel, bool) override {
    const UnicodeString text = u"\"\u00E9" + IntToStr(ALevel) + u"\"";
    AStream->WriteBuffer(text.data(), static_cast<Int64>(text.size() * 2));
  }
};

TEST(JSONOutput, ApplicationNodesWriteThemselves) {
  Doc d = Load(u"{\"a\":[1]}");
  New<TStarValue>(d->FindMember(u"a")->GetValueObj());
  EXPECT_EQ(d->GetAsJSON(), u"{\"a\": [1, \"\u00E92\"]}");
  EXPECT_EQ(d->GetFormattedJSON(), u"{ \r\n  \"a\": [\r\n    1, \"\u00E92\"\r\n  ]\r\n}");
  TMemoryStream utf8;
  d->SaveToStream(&utf8, false, CP_UTF8, false);
  EXPECT_EQ(std::string(static_cast<const char *>(utf8.Memory()), utf8.GetSize()),
            "{\"a\": [1, \"\xC3\xA9"
            "2\"]}");
  TMemoryStream wide;
  d->SaveToStream(&wide, false, CP_UTF16, false);
  EXPECT_EQ(UnicodeString(static_cast<const char16_t *>(wide.Memory()), wide.GetSize() / 2),
            d->GetAsJSON());
}

TEST(JSONOutput, SaveToFileWritesUTF8WithAMark) {
  Doc d = Load(u"{\"k\":[\"\u00E9\u20AC\"]}");
  const UnicodeString name = TempFile("vnxml_json_save.json");
  d->SaveToFile(name);
  EXPECT_EQ(FileBytes(name), "\xEF\xBB\xBF{\"k\": [\"\xC3\xA9\\u20AC\"]}");
  d->SaveToFile(name, true);
  EXPECT_EQ(FileBytes(name), "\xEF\xBB\xBF{ \r\n  \"k\": [\r\n    \"\xC3\xA9\\u20AC\"\r\n  ]\r\n}");

  DelphiInterface<IVnJSONDocument> intf;
  ASSERT_TRUE(Supports(d.get(), intf));
  intf->SaveToFile(name, false);
  Doc back = MakeOwned<TVnJSONDocument>();
  back->LoadFromFile(name);
  EXPECT_EQ(back->FindMember(u"k")->GetAsArray()->Item(0)->GetAsString(), u"\u00E9\u20AC");
  RemoveFile(name);
}

TEST(JSONOutput, FormatJSONNormalises) {
  EXPECT_EQ(VnFormatJSON(UnicodeString(u"{ \"a\" : [ 1 ,2 ] , \"b\":\"\\u0041\\/\"}")),
            u"{\"a\": [1, 2], \"b\": \"A\\/\"}");
  EXPECT_EQ(VnFormatJSON(UnicodeString(u"")), u"");
  EXPECT_EQ(VnFormatJSON(AnsiString("[true,null,{}]")), u"[true, null, {}]");
  EXPECT_EQ(VnFormatJSON(AnsiString("[\"caf\xC3\xA9\"]", 65001)), u"[\"caf\u00E9\"]");
  EXPECT_EQ(Raised([] { VnFormatJSON(UnicodeString(u"[tru]")); }).substr(0, 20),
            "EVnJSONParseError 2:");
}

// ---------------------------------------------------------------------------------------------
// Depth

TEST(JSONOutput, MillionNestedArrays) {
  constexpr std::size_t n = 1000000;
  UnicodeString text(n, u'[');
  text += u'1';
  text.append(n, u']');
  {
    Doc d = Load(text);
    EXPECT_EQ(d->GetAsJSON(), text);
    TMemoryStream s;
    d->SaveToStream(&s, false, 65001, false);
    EXPECT_EQ(s.GetSize(), static_cast<Int64>(2 * n + 1));
    // A subtree deep inside leaves with the rest of the tree.
    TVnJSONBase *inner = d->GetRootValue();
    for (int i = 0; i < 10; ++i) inner = inner->Item(0);
    EXPECT_EQ(inner->GetAsJSON().size(), 2 * (n - 10) + 1);
  }
}

TEST(JSONOutput, DeepObjects) {
  constexpr std::size_t n = 200000;
  UnicodeString text;
  for (std::size_t i = 0; i < n; ++i) text += u"{\"a\":";
  text += u"0";
  text.append(n, u'}');
  UnicodeString expected;
  for (std::size_t i = 0; i < n; ++i) expected += u"{\"a\": ";
  expected += u"0";
  expected.append(n, u'}');
  Doc d = Load(text);
  EXPECT_EQ(d->GetAsJSON(), expected);
  d.reset();
}

}  // namespace
}  // namespace jsontree
