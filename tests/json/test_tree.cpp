// The document tree through its classes and interfaces: which operations each kind of node
// refuses, member lookup, the typed getters and setters, the ways to add members and values,
// and the document around the root value.
#include <cmath>
#include <limits>
#include <set>
#include <vector>

#include "tree_util.h"
#include "vnxml/rtl/DateUtils.h"

namespace jsontree {
namespace {

// ---------------------------------------------------------------------------------------------
// The refusal rule

struct TOperation {
  const char *Word;
  std::function<void(TVnJSONBase *)> Call;
};

// Every operation of the base class, with the word its refusal names.
const std::vector<TOperation> &Operations() {
  static const std::vector<TOperation> ops = {
      {"Count", [](TVnJSONBase *n) { n->Count(); }},
      {"Item", [](TVnJSONBase *n) { n->Item(0); }},
      {"AddValue", [](TVnJSONBase *n) { n->AddValue(jdtString); }},
      {"AddValue", [](TVnJSONBase *n) { n->AddValue(jdtString, u"x"); }},
      {"AddValue", [](TVnJSONBase *n) { n->AddValue(Variant(1)); }},
      {"DeleteValue", [](TVnJSONBase *n) { n->DeleteValue(0); }},
      {"RemoveValue", [](TVnJSONBase *n) { n->RemoveValue(nullptr); }},
      {"FindMember", [](TVnJSONBase *n) { n->FindMember(u"a"); }},
      {"FindMember", [](TVnJSONBase *n) { n->HasMember(u"a"); }},
      {"Member", [](TVnJSONBase *n) { n->GetMember(u"a", {jsoCreate}); }},
      {"Member", [](TVnJSONBase *n) { n->GetMemberEx1(u"a"); }},
      {"AddMember", [](TVnJSONBase *n) { n->AddMember(u"a"); }},
      {"AddMember", [](TVnJSONBase *n) { n->AddMember(u"a", jdtArray); }},
      {"AddMember", [](TVnJSONBase *n) { n->AddMember(u"a", jdtNumber, u"1"); }},
      {"AddMember", [](TVnJSONBase *n) { n->AddMember(u"a", Variant(1)); }},
      {"DeleteMember", [](TVnJSONBase *n) { n->DeleteMember(0); }},
      {"RemoveMember", [](TVnJSONBase *n) { n->RemoveMember(nullptr); }},
      {"GetName", [](TVnJSONBase *n) { n->GetName(); }},
      {"SetName", [](TVnJSONBase *n) { n->SetName(u"a"); }},
      {"GetValue", [](TVnJSONBase *n) { n->GetValueObj(); }},
      {"GetValue", [](TVnJSONBase *n) { n->GetValue(); }},
      {"SetValue", [](TVnJSONBase *n) { n->SetValue(nullptr); }},
      {"GetAsBoolean", [](TVnJSONBase *n) { n->GetAsBoolean(); }},
      {"GetAsDouble", [](TVnJSONBase *n) { n->GetAsDouble(); }},
      {"GetAsInteger", [](TVnJSONBase *n) { n->GetAsInteger(); }},
      {"GetAsLargeInt", [](TVnJSONBase *n) { n->GetAsLargeInt(); }},
      {"GetAsString", [](TVnJSONBase *n) { n->GetAsString(); }},
      {"GetAsVariant", [](TVnJSONBase *n) { n->GetAsVariant(); }},
      {"GetAsValue", [](TVnJSONBase *n) { n->GetAsValue(); }},
      {"SetAsBoolean", [](TVnJSONBase *n) { n->SetAsBoolean(true); }},
      {"SetAsDouble", [](TVnJSONBase *n) { n->SetAsDouble(1.5); }},
      {"SetAsInteger", [](TVnJSONBase *n) { n->SetAsInteger(1); }},
      {"SetAsLargeInt", [](TVnJSONBase *n) { n->SetAsLargeInt(1); }},
      {"SetAsString", [](TVnJSONBase *n) { n->SetAsString(u"x"); }},
      {"SetAsVariant", [](TVnJSONBase *n) { n->SetAsVariant(Variant(1)); }},
      {"SetAsValue", [](TVnJSONBase *n) { n->SetAsValue(TValue::FromVariant(Variant(1))); }},
      {"GetAsObject", [](TVnJSONBase *n) { n->GetAsObject(); }},
      {"GetAsObject", [](TVnJSONBase *n) { n->GetAsObjectIntf(); }},
      {"GetAsArray", [](TVnJSONBase *n) { n->GetAsArray(); }},
      {"GetAsArray", [](TVnJSONBase *n) { n->GetAsArrayIntf(); }},
  };
  return ops;
}

// Runs every operation whose word is not in AWorks on ANode and expects its refusal; the
// refused calls leave the node as it was, so one node serves them all.
void ExpectRefusals(TVnJSONBase *ANode, const std::set<std::string> &AWorks) {
  const std::string cls = UTF8Encode(ANode->ClassName());
  const std::string before = UTF8Encode(ANode->GetAsJSON());
  int refused = 0;
  for (const TOperation &op : Operations()) {
    if (AWorks.count(op.Word)) continue;
    EXPECT_EQ(Raised([&] { op.Call(ANode); }), Refusal(cls, op.Word));
    ++refused;
  }
  EXPECT_GT(refused, 0);
  EXPECT_EQ(UTF8Encode(ANode->GetAsJSON()), before) << cls;
}

const std::set<std::string> cSimpleWorks = {
    "GetAsBoolean",  "GetAsDouble", "GetAsInteger", "GetAsLargeInt", "GetAsString",
    "GetAsVariant",  "GetAsValue",  "SetAsBoolean", "SetAsDouble",   "SetAsInteger",
    "SetAsLargeInt", "SetAsString", "SetAsVariant", "SetAsValue"};

TEST(JSONRefusal, EachKindRefusesWhatDoesNotFitIt) {
  Doc d = Load(u"{\"o\":{\"x\":1},\"a\":[1],\"s\":\"t\"}");
  TVnJSONObject *root = d->GetRootValue()->GetAsObject();
  ExpectRefusals(root->FindMember(u"s")->GetValueObj(), cSimpleWorks);
  ExpectRefusals(root, {"Count", "Item", "FindMember", "Member", "AddMember", "DeleteMember",
                        "RemoveMember", "GetName", "GetAsObject"});
  ExpectRefusals(root->FindMember(u"a")->GetValueObj(),
                 {"Count", "Item", "AddValue", "DeleteValue", "RemoveValue", "GetAsArray"});
  // A member whose value is an object: the getters and setters have no simple value to go to,
  // and AddValue finds the value already there.
  ExpectRefusals(root->FindMember(u"o"),
                 {"GetName", "SetName", "GetValue", "SetValue", "GetAsObject"});
  // The document forwards the lookups and Count/Item to its root; everything else is refused.
  ExpectRefusals(d.get(), {"Count", "Item", "FindMember", "Member"});
}

// A class of an application: the refusal names the class of the object, not the library's.
class TTaggedValue : public TVnJSONSimpleType {
  VN_CLASS(TTaggedValue, TVnJSONSimpleType)
 public:
  using TVnJSONSimpleType::TVnJSONSimpleType;
};

TEST(JSONRefusal, NamesTheRunTimeClass) {
  Doc d = Load(u"[]");
  TVnJSONBase *v = New<TTaggedValue>(d->GetRootValue());
  EXPECT_EQ(Raised([&] { v->Count(); }), Refusal("TTaggedValue", "Count"));
  EXPECT_EQ(Raised([&] { v->AddMember(u"x"); }), Refusal("TTaggedValue", "AddMember"));
  v->SetAsInteger(4);
  EXPECT_EQ(d->GetAsJSON(), u"[4]");
}

TEST(JSONRefusal, ThroughTheInterfaces) {
  Doc d = Load(u"{\"o\":{},\"s\":\"t\"}");
  DelphiInterface<IVnJSONBase> s = d->FindMember(u"s")->GetValue();
  EXPECT_EQ(Raised([&] { s->GetName(); }), Refusal("TVnJSONSimpleType", "GetName"));
  EXPECT_EQ(Raised([&] { s->GetItem(0); }), Refusal("TVnJSONSimpleType", "Item"));
  EXPECT_EQ(Raised([&] { (*s)[u"x"]; }), Refusal("TVnJSONSimpleType", "Member"));
  EXPECT_EQ(Raised([&] { s->FindMemberIntf(u"x", false); }),
            Refusal("TVnJSONSimpleType", "FindMember"));
  EXPECT_EQ(Raised([&] { s->GetAsObjectIntf(); }), Refusal("TVnJSONSimpleType", "GetAsObject"));
  DelphiInterface<IVnJSONMember> o = d->GetMemberIntf(u"o", {jsoRaise});
  EXPECT_EQ(Raised([&] { o->GetAsInteger(); }), Refusal("TVnJSONMember", "GetAsInteger"));
  EXPECT_EQ(Raised([&] { o->SetAsString(u"x"); }), Refusal("TVnJSONMember", "SetAsString"));
  EXPECT_EQ(Raised([&] { o->GetAsArrayIntf(); }), Refusal("TVnJSONMember", "GetAsArray"));
}

TEST(JSONRefusal, ObjectNameAndMemberWithoutValue) {
  Doc d = Load(u"{}");
  TVnJSONBase *root = d->GetRootValue();
  EXPECT_EQ(root->GetName(), u"<object>");
  TVnJSONMember *m = root->AddMember(u"m");
  // Getters never create a value.
  EXPECT_EQ(Raised([&] { m->GetAsString(); }), Refusal("TVnJSONMember", "GetAsString"));
  EXPECT_EQ(Raised([&] { m->GetAsBoolean(); }), Refusal("TVnJSONMember", "GetAsBoolean"));
  EXPECT_EQ(m->GetValueObj(), nullptr);
}

// ---------------------------------------------------------------------------------------------
// Member lookup

TEST(JSONMembers, LookupByCaseAndOptions) {
  Doc d = Load(u"{\"Name\":1,\"name\":2,\"x\":3,\"x\":4}");
  TVnJSONBase *root = d->GetRootValue();
  ASSERT_EQ(root->Count(), 4);
  EXPECT_EQ(root->FindMember(u"name")->GetAsInteger(), 2);
  EXPECT_EQ(root->FindMember(u"NAME"), nullptr);
  EXPECT_EQ(root->FindMember(u"NAME", true)->GetAsInteger(), 1);
  EXPECT_TRUE(root->HasMember(u"nAMe", true));
  EXPECT_FALSE(root->HasMember(u"nAMe"));
  EXPECT_EQ(root->GetMember(u"NAME", {}), nullptr);
  EXPECT_EQ(root->GetMember(u"NAME", {jsoCaseInsensitive})->GetAsInteger(), 1);

  // Duplicate names are kept; the lookup finds the first.
  EXPECT_EQ(root->FindMember(u"x"), root->Item(2));
  EXPECT_EQ(root->FindMember(u"x")->GetAsInteger(), 3);
  EXPECT_EQ(root->Item(3)->GetAsInteger(), 4);

  EXPECT_EQ(root->GetMember(u"y", {}), nullptr);
  EXPECT_EQ(Raised([&] { root->GetMember(u"y", {jsoRaise}); }),
            "EVnJSONException 5: There is no member with the name \"y\"!");
  EXPECT_EQ(Raised([&] {
              d->GetMember(u"Y", {jsoRaise, jsoCaseInsensitive});
            }),
            "EVnJSONException 5: There is no member with the name \"Y\"!");
  EXPECT_EQ(root->Count(), 4);

  TVnJSONMember *y = root->GetMember(u"y", {jsoCreate});
  ASSERT_NE(y, nullptr);
  EXPECT_EQ(root->Count(), 5);
  EXPECT_EQ(root->Item(4), y);
  EXPECT_EQ(y->GetName(), u"y");
  EXPECT_EQ(y->GetValueObj(), nullptr);
  EXPECT_EQ(root->GetMember(u"y", {jsoCreate}), y);
  // With both options the member is created rather than missed.
  TVnJSONMember *z = d->GetMember(u"z", {jsoCreate, jsoRaise});
  ASSERT_NE(z, nullptr);
  EXPECT_EQ(root->Count(), 6);
  EXPECT_EQ(static_cast<TVnJSONObject *>(root)->LastMember(), z);
}

TEST(JSONMembers, NamesStayAsWritten) {
  // A name read with an escape keeps it; a lookup compares the text as written.
  Doc d = Load(u"{\"a\\u0041\":1}");
  EXPECT_EQ(d->Item(0)->GetName(), u"a\\u0041");
  EXPECT_EQ(d->FindMember(u"aA"), nullptr);
  EXPECT_NE(d->FindMember(u"a\\u0041"), nullptr);
  d->Item(0)->SetName(u"b");
  EXPECT_EQ(d->GetAsJSON(), u"{\"b\": 1}");
}

// ---------------------------------------------------------------------------------------------
// Simple values

TEST(JSONValues, ReadValuesAreTextConvertedOnEachCall) {
  Doc d = Load(
      u"{\"s\":\"abc\",\"i\":12,\"big\":5000000000,\"f\":1.50,\"t\":true,\"fa\":false,"
      u"\"nul\":null}");
  TVnJSONMember *s = d->FindMember(u"s");
  EXPECT_EQ(s->GetValueObj()->JSONType(), jdtString);
  EXPECT_EQ(s->GetAsInteger(), 0);
  EXPECT_EQ(s->GetAsLargeInt(), 0);
  EXPECT_EQ(s->GetAsDouble(), 0.0);
  EXPECT_EQ(s->GetAsString(), u"abc");

  TVnJSONMember *i = d->FindMember(u"i");
  EXPECT_EQ(i->GetValueObj()->JSONType(), jdtNumber);
  EXPECT_EQ(i->GetAsVariant().VType(), varUString);
  EXPECT_EQ(i->GetAsVariant().AsString(), u"12");
  EXPECT_EQ(i->GetAsInteger(), 12);
  EXPECT_EQ(i->GetAsDouble(), 12.0);
  EXPECT_EQ(d->FindMember(u"big")->GetAsLargeInt(), 5000000000LL);

  TVnJSONMember *f = d->FindMember(u"f");
  EXPECT_EQ(f->GetAsDouble(), 1.5);
  EXPECT_EQ(f->GetAsString(), u"1.50");

  TVnJSONMember *t = d->FindMember(u"t");
  EXPECT_EQ(t->GetValueObj()->JSONType(), jdtBoolean);
  EXPECT_TRUE(t->GetAsBoolean());
  EXPECT_EQ(t->GetAsString(), u"true");
  EXPECT_FALSE(d->FindMember(u"fa")->GetAsBoolean());

  // null arrives as the text "null", and a text is given as it stands.
  TVnJSONMember *n = d->FindMember(u"nul");
  EXPECT_EQ(n->GetValueObj()->JSONType(), jdtNull);
  EXPECT_EQ(n->GetAsString(), u"null");
}

TEST(JSONValues, SettersStoreTypeAndValue) {
  Doc d = Load(u"[0]");
  TVnJSONBase *v = d->Item(0);
  v->SetAsBoolean(true);
  EXPECT_EQ(v->JSONType(), jdtBoolean);
  EXPECT_EQ(v->GetAsVariant().VType(), varBoolean);
  EXPECT_EQ(v->GetAsString(), u"true");
  v->SetAsBoolean(false);
  EXPECT_EQ(v->GetAsString(), u"false");

  v->SetAsDouble(1.5);
  EXPECT_EQ(v->JSONType(), jdtNumber);
  EXPECT_EQ(v->GetAsString(), u"1.5");
  v->SetAsDouble(-0.0);
  EXPECT_EQ(v->GetAsString(), u"-0");
  v->SetAsDouble(std::numeric_limits<double>::quiet_NaN());
  EXPECT_EQ(v->GetAsString(), u"null");
  v->SetAsDouble(-std::numeric_limits<double>::infinity());
  EXPECT_EQ(v->GetAsString(), u"null");

  v->SetAsInteger(-7);
  EXPECT_EQ(v->JSONType(), jdtNumber);
  EXPECT_EQ(v->GetAsVariant().VType(), varInteger);
  EXPECT_EQ(v->GetAsString(), u"-7");
  EXPECT_EQ(v->GetAsDouble(), -7.0);

  v->SetAsLargeInt(5000000000LL);
  EXPECT_EQ(v->JSONType(), jdtNumber);
  EXPECT_EQ(v->GetAsVariant().VType(), varInt64);
  EXPECT_EQ(v->GetAsString(), u"5000000000");
  EXPECT_EQ(v->GetAsLargeInt(), 5000000000LL);

  v->SetAsString(u"12");
  EXPECT_EQ(v->JSONType(), jdtString);
  EXPECT_EQ(v->GetAsString(), u"12");
  EXPECT_EQ(v->GetAsInteger(), 12);
  EXPECT_EQ(d->GetAsJSON(), u"[\"12\"]");
}

TEST(JSONValues, SetAsVariantTakesTheTypeFromTheKind) {
  Doc d = Load(u"[0]");
  TVnJSONBase *v = d->Item(0);
  const TDateTime when(EncodeDate(2020, 1, 2).Val + EncodeTime(3, 4, 5, 0).Val);
  struct {
    Variant Value;
    TVnJSONDataType Type;
  } cases[] = {
      {Variant(3), jdtNumber},
      {Variant(static_cast<unsigned char>(3)), jdtNumber},
      {Variant(5000000000LL), jdtNumber},
      {Variant(2.5), jdtNumber},
      {Variant(2.5f), jdtNumber},
      {Variant(u"text"), jdtString},
      {Variant(AnsiString("text")), jdtString},
      {Variant(when), jdtString},
      {Variant(true), jdtBoolean},
      {Variant::Null(), jdtNull},
      {Variant(), jdtNull},
      {VarArrayOf({Variant(1), Variant(2)}), jdtNull},
  };
  for (const auto &c : cases) {
    v->SetAsBoolean(true);
    v->SetAsVariant(c.Value);
    EXPECT_EQ(v->JSONType(), c.Type) << "variant type " << c.Value.VType();
  }
  // The value is kept as given: a number stays a number, a date a date.
  v->SetAsVariant(Variant(3));
  EXPECT_EQ(v->GetAsVariant().VType(), varInteger);
  v->SetAsVariant(Variant(when));
  EXPECT_EQ(v->GetAsVariant().VType(), varDate);
  EXPECT_EQ(v->GetAsString(), VnVarToStr(Variant(when)));
  // A null-typed value that is no text gives the empty text.
  v->SetAsVariant(Variant::Null());
  EXPECT_EQ(v->GetAsString(), u"");
}

TEST(JSONValues, MembersForwardAndCreateTheirValues) {
  Doc d = Load(u"{\"arr\":[1]}");
  TVnJSONObject *root = d->GetRootValue()->GetAsObject();

  TVnJSONMember *n = root->AddMember(u"n");
  n->SetAsInteger(5);
  ASSERT_NE(n->GetValueObj(), nullptr);
  EXPECT_TRUE(n->GetValueObj()->Is<TVnJSONSimpleType>());
  EXPECT_EQ(n->GetValueObj()->JSONType(), jdtNumber);
  TVnJSONBase *value = n->GetValueObj();
  n->SetAsString(u"five");
  EXPECT_EQ(n->GetValueObj(), value);  // the same value, set again
  EXPECT_EQ(value->JSONType(), jdtString);

  root->AddMember(u"b")->SetAsBoolean(true);
  root->AddMember(u"f")->SetAsDouble(0.25);
  root->AddMember(u"l")->SetAsLargeInt(-5000000000LL);
  root->AddMember(u"v")->SetAsVariant(Variant(u"x"));
  EXPECT_EQ(d->GetAsJSON(),
            u"{\"arr\": [1], \"n\": \"five\", \"b\": true, \"f\": 0.25, \"l\": -5000000000, "
            u"\"v\": \"x\"}");

  // A setter on a member that holds a container is refused, and leaves the container.
  TVnJSONMember *arr = root->FindMember(u"arr");
  EXPECT_EQ(Raised([&] { arr->SetAsInteger(1); }), Refusal("TVnJSONMember", "SetAsInteger"));
  EXPECT_EQ(arr->GetAsArray()->Count(), 1);

  // An array variant makes an array value, which the setter then cannot fill.
  TVnJSONMember *av = root->AddMember(u"av");
  EXPECT_EQ(Raised([&] { av->SetAsVariant(VarArrayOf({Variant(1)})); }),
            Refusal("TVnJSONMember", "SetAsVariant"));
  ASSERT_NE(av->GetValueObj(), nullptr);
  EXPECT_TRUE(av->GetValueObj()->Is<TVnJSONArray>());
}

TEST(JSONValues, GetAsObjectAndGetAsArrayCreateTheValue) {
  Doc d = Load(u"{}");
  TVnJSONBase *root = d->GetRootValue();
  EXPECT_EQ(root->GetAsObject(), root);

  TVnJSONMember *o = root->AddMember(u"o");
  TVnJSONObject *obj = o->GetAsObject();
  ASSERT_NE(obj, nullptr);
  EXPECT_EQ(o->GetValueObj(), obj);
  EXPECT_EQ(o->GetAsObject(), obj);
  obj->AddMember(u"k", jdtNumber, u"1");

  TVnJSONMember *a = root->AddMember(u"a");
  DelphiInterface<IVnJSONArray> arr = a->GetAsArrayIntf();
  ASSERT_TRUE(arr);
  arr->AddValueIntf2(jdtString, u"x");
  EXPECT_EQ(a->GetAsArray(), a->GetValueObj());

  TVnJSONMember *v = root->AddMember(u"v");
  TVnJSONBase *created = v->AddValue(jdtObject);
  EXPECT_EQ(v->GetValueObj(), created);
  EXPECT_TRUE(created->Is<TVnJSONObject>());
  EXPECT_EQ(Raised([&] { v->AddValue(jdtArray); }), Refusal("TVnJSONMember", "AddValue"));
  EXPECT_EQ(d->GetAsJSON(), u"{\"o\": {\"k\": 1}, \"a\": [\"x\"], \"v\": {}}");
}

// ---------------------------------------------------------------------------------------------
// Adding members and values

TEST(JSONBuild, AddMemberFourForms) {
  Doc d = MakeOwned<TVnJSONDocument>();
  TVnJSONBase *root = d->CreateRootValue(jdtObject);

  TVnJSONMember *bare = root->AddMember(u"bare");
  EXPECT_EQ(bare->GetValueObj(), nullptr);
  EXPECT_EQ(static_cast<TVnJSONObject *>(root)->LastMember(), bare);
  root->DeleteMember(0);

  EXPECT_TRUE(root->AddMember(u"o", jdtObject)->GetValueObj()->Is<TVnJSONObject>());
  EXPECT_TRUE(root->AddMember(u"a", jdtArray)->GetValueObj()->Is<TVnJSONArray>());
  // A simple value made by type stays null until it is set.
  TVnJSONBase *typed = root->AddMember(u"t", jdtNumber)->GetValueObj();
  EXPECT_TRUE(typed->Is<TVnJSONSimpleType>());
  EXPECT_EQ(typed->JSONType(), jdtNull);

  TVnJSONMember *text = root->AddMember(u"x", jdtNumber, u"1.50");
  EXPECT_EQ(text->GetValueObj()->JSONType(), jdtNumber);
  EXPECT_EQ(text->GetAsVariant().VType(), varUString);
  EXPECT_EQ(text->GetAsDouble(), 1.5);
  EXPECT_EQ(d->GetAsJSON(), u"{\"o\": {}, \"a\": [], \"t\": null, \"x\": 1.50}");
}

TEST(JSONBuild, AddMemberWithAVariantStoresText) {
  Doc d = MakeOwned<TVnJSONDocument>();
  TVnJSONBase *root = d->CreateRootValue(jdtObject);
  const TDateTime when(EncodeDate(2020, 1, 2).Val + EncodeTime(3, 4, 5, 6).Val);
  root->AddMember(u"i", Variant(42));
  root->AddMember(u"i64", Variant(-123LL));
  root->AddMember(u"f", Variant(1.5));
  root->AddMember(u"s", Variant(u"a\"b"));
  root->AddMember(u"b", Variant(true));
  root->AddMember(u"d", Variant(when));
  root->AddMember(u"arr", VarArrayOf({Variant(1), Variant(u"x"), Variant(false)}));
  root->AddMember(u"n", Variant::Null());

  const struct {
    const char16_t *Name;
    TVnJSONDataType Type;
    const char16_t *Text;
  } expected[] = {
      {u"i", jdtNumber, u"42"},    {u"i64", jdtNumber, u"-123"},
      {u"f", jdtNumber, u"1.5"},   {u"s", jdtString, u"a\"b"},
      {u"b", jdtBoolean, u"true"}, {u"d", jdtString, u"2020-01-02T03:04:05.006"},
      {u"n", jdtNull, u""},
  };
  for (const auto &e : expected) {
    TVnJSONMember *m = d->FindMember(e.Name);
    ASSERT_NE(m, nullptr) << UTF8Encode(e.Name);
    EXPECT_EQ(m->GetValueObj()->JSONType(), e.Type) << UTF8Encode(e.Name);
    EXPECT_EQ(m->GetAsVariant().VType(), varUString) << UTF8Encode(e.Name);
    EXPECT_EQ(m->GetAsVariant().AsString(), e.Text) << UTF8Encode(e.Name);
  }
  TVnJSONArray *arr = d->FindMember(u"arr")->GetAsArray();
  ASSERT_EQ(arr->Count(), 3);
  EXPECT_EQ(arr->Item(0)->JSONType(), jdtNumber);
  EXPECT_EQ(arr->Item(1)->JSONType(), jdtString);
  EXPECT_EQ(arr->Item(2)->JSONType(), jdtBoolean);
  EXPECT_EQ(d->GetAsJSON(),
            u"{\"i\": 42, \"i64\": -123, \"f\": 1.5, \"s\": \"a\\\"b\", \"b\": true, "
            u"\"d\": \"2020-01-02T03:04:05.006\", \"arr\": [1, \"x\", false], \"n\": null}");
}

TEST(JSONBuild, AddValueThreeFormsAndTheListOperations) {
  Doc d = MakeOwned<TVnJSONDocument>();
  TVnJSONBase *arr = d->CreateRootValue(jdtArray);
  EXPECT_TRUE(arr->AddValue(jdtObject)->Is<TVnJSONObject>());
  EXPECT_TRUE(arr->AddValue(jdtArray)->Is<TVnJSONArray>());
  EXPECT_EQ(arr->AddValue(jdtString)->JSONType(), jdtNull);
  TVnJSONBase *text = arr->AddValue(jdtNumber, u"1e3");
  EXPECT_EQ(text->GetAsDouble(), 1000.0);
  // The variant form keeps the value as it is, as SetAsVariant does.
  TVnJSONBase *num = arr->AddValue(Variant(42));
  EXPECT_EQ(num->JSONType(), jdtNumber);
  EXPECT_EQ(num->GetAsVariant().VType(), varInteger);
  arr->AddValue(Variant(u"s"));
  arr->AddValue(Variant(true));
  ASSERT_EQ(arr->Count(), 7);
  EXPECT_EQ(d->GetAsJSON(), u"[{}, [], null, 1e3, 42, \"s\", true]");

  arr->DeleteValue(2);
  arr->RemoveValue(num);
  static_cast<TVnJSONArray *>(arr)->Exchange(0, 1);
  EXPECT_EQ(d->GetAsJSON(), u"[[], {}, 1e3, \"s\", true]");
}

// ---------------------------------------------------------------------------------------------
// The document

// Objects and arrays of every small size, as a load makes them and as edits change them
// afterwards: the children stay in order when an array outgrows the room a load gave it.
TEST(JSONBuild, ChildListsOfEverySizeLoadShrinkAndGrow) {
  for (int n = 0; n <= 20; ++n) {
    std::u16string items, members;
    for (int i = 0; i < n; ++i) {
      items += (i ? u"," : u"") + IntToStr(i);
      members += (i ? u",\"k" : u"\"k") + IntToStr(i) + u"\":" + IntToStr(i);
    }
    Doc d = Load(u"[[" + items + u"],{" + members + u"}]");
    TVnJSONBase *array = d->GetRootValue()->Item(0);
    TVnJSONBase *object = d->GetRootValue()->Item(1);
    ASSERT_EQ(array->Count(), n);
    ASSERT_EQ(object->Count(), n);
    // Every other child goes, then as many come as there were.
    for (int i = n - 1; i >= 0; i -= 2) {
      array->DeleteValue(i);
      object->DeleteMember(i);
    }
    for (int i = 0; i < n; ++i) {
      array->AddValue(jdtNumber, IntToStr(100 + i));
      object->AddMember(u"m" + IntToStr(i), Variant(100 + i));
    }
    std::u16string expected;
    for (int i = n % 2; i < n; i += 2) expected += IntToStr(i) + u",";
    for (int i = 0; i < n; ++i) expected += IntToStr(100 + i) + u",";
    std::u16string got;
    for (int i = 0; i < array->Count(); ++i) got += array->Item(i)->GetAsString() + u",";
    EXPECT_EQ(got, expected) << n;
    got.clear();
    for (int i = 0; i < object->Count(); ++i) got += object->Item(i)->GetAsString() + u",";
    EXPECT_EQ(got, expected) << n;
  }
}

TEST(JSONDocument, WithoutARootEveryLookupRaises) {
  Doc d = MakeOwned<TVnJSONDocument>();
  EXPECT_EQ(d->GetRootValue(), nullptr);
  EXPECT_EQ(d->GetAsJSON(), u"");
  const std::string noRoot = "EVnJSONParseError 10: There is no root value!";
  EXPECT_EQ(Raised([&] { d->Count(); }), noRoot);
  EXPECT_EQ(Raised([&] { d->Item(0); }), noRoot);
  EXPECT_EQ(Raised([&] { d->FindMember(u"a"); }), noRoot);
  EXPECT_EQ(Raised([&] { d->GetMember(u"a", {jsoCreate}); }), noRoot);
  EXPECT_EQ(Raised([&] { d->HasMember(u"a"); }), noRoot);
  // The class is a kind of EVnJSONException.
  try {
    d->Count();
    ADD_FAILURE();
  } catch (EVnJSONException &e) {
    EXPECT_EQ(e.ErrorCode, 10);
  }

  // Two children are no root either.
  New<TVnJSONSimpleType>(d.get())->SetAsInteger(1);
  New<TVnJSONSimpleType>(d.get())->SetAsInteger(2);
  EXPECT_EQ(d->GetRootValue(), nullptr);
  EXPECT_EQ(Raised([&] { d->Count(); }), noRoot);
  EXPECT_EQ(d->GetAsJSON(), u"12");
  d->SetAsJSON(u"");
  EXPECT_EQ(d->ObjectCount(), 0);
}

TEST(JSONDocument, RootValueAndForwarding) {
  Doc d = MakeOwned<TVnJSONDocument>();
  TVnJSONBase *obj = d->CreateRootValue(jdtObject);
  EXPECT_EQ(d->GetRootValue(), obj);
  obj->AddMember(u"a", Variant(1));
  EXPECT_EQ(d->Count(), 1);
  EXPECT_EQ(d->Item(0), obj->Item(0));
  EXPECT_EQ(d->FindMember(u"A", true), obj->Item(0));
  TVnJSONMember *b = d->GetMember(u"b", {jsoCreate});
  EXPECT_EQ(obj->Item(1), b);

  TVnJSONBase *arr = d->CreateRootValue(jdtArray);
  EXPECT_EQ(d->ObjectCount(), 1);
  EXPECT_EQ(d->GetRootValue(), arr);
  arr->AddValue(Variant(7));
  EXPECT_EQ(d->Item(0)->GetAsInteger(), 7);
  EXPECT_EQ(Raised([&] { d->FindMember(u"a"); }), Refusal("TVnJSONArray", "FindMember"));

  TVnJSONBase *simple = d->CreateRootValue(jdtString);
  EXPECT_TRUE(simple->Is<TVnJSONSimpleType>());
  EXPECT_EQ(simple->JSONType(), jdtNull);
  EXPECT_EQ(Raised([&] { d->Count(); }), Refusal("TVnJSONSimpleType", "Count"));
  simple->SetAsString(u"top");
  EXPECT_EQ(d->GetAsJSON(), u"\"top\"");

  // Each object or array at the top of a text replaces the root before it.
  d->SetAsJSON(u"{\"a\":1}[2]");
  ASSERT_NE(d->GetRootValue(), nullptr);
  EXPECT_EQ(d->GetAsJSON(), u"[2]");
}

TEST(JSONDocument, PathsAndTheDocumentAbove) {
  Doc d = Load(u"{\"a\":{\"b\":[{\"c\":1}]}}");
  TVnJSONBase *c = d->FindMember(u"a")->GetAsObject()->FindMember(u"b")->GetAsArray()->Item(0);
  TVnJSONBase *value = c->FindMember(u"c")->GetValueObj();
  EXPECT_EQ(value->GetPath(), u"#/a/b/c");
  EXPECT_EQ(d->GetRootValue()->GetPath(), u"#/");
  EXPECT_EQ(d->GetPath(), u"#/");
  EXPECT_EQ(value->GetDocument(), d.get());
  EXPECT_EQ(d->GetDocument(), d.get());

  Owned<TVnJSONObject> loose(New<TVnJSONObject>(nullptr));
  TVnJSONMember *m = loose->AddMember(u"m", jdtArray);
  EXPECT_EQ(Raised([&] { m->GetDocument(); }), "EInvalidCast: Invalid class typecast");
}

TEST(JSONDocument, LoadFromFile) {
  Doc d = MakeOwned<TVnJSONDocument>();
  const UnicodeString missing = TempFile("vnxml_json_no_such_file.json");
  EXPECT_EQ(Raised([&] { d->LoadFromFile(missing); }),
            "EReadError: There is no file \"" + UTF8Encode(missing) + "\"");
  EXPECT_EQ(Raised([&] { Doc loaded(TVnJSONDocument::CreateFromFile(missing)); }),
            "EReadError: There is no file \"" + UTF8Encode(missing) + "\"");

  const UnicodeString name = TempFile("vnxml_json_load.json");
  {
    TFileStream f(name, fmCreate);
    const std::string bytes = "\xEF\xBB\xBF{\"caf\xC3\xA9\":[true]}";
    f.WriteBuffer(bytes.data(), static_cast<Int64>(bytes.size()));
  }
  d->LoadFromFile(name);
  EXPECT_EQ(d->GetAsJSON(), u"{\"caf\u00E9\": [true]}");
  Doc again(TVnJSONDocument::CreateFromFile(name));
  EXPECT_EQ(again->GetAsJSON(), u"{\"caf\u00E9\": [true]}");
  RemoveFile(name);
}

// ---------------------------------------------------------------------------------------------
// Texts of every length and width

// Names and values are kept in the node when they are short and on the heap when not, a byte a
// character when every character is below 256: each form must give back what was stored, be
// found by name, and write and read back the same.
TEST(JSONTexts, EveryLengthAndWidthComesBackAsStored) {
  std::vector<UnicodeString> texts;
  for (std::size_t n : {0u, 1u, 3u, 4u, 5u, 7u, 8u, 9u, 16u, 40u}) {
    texts.push_back(UnicodeString(n, u'a'));                         // ASCII
    if (n) texts.push_back(UnicodeString(n - 1, u'b') + u"\u00E9");  // below 256
    if (n) texts.push_back(UnicodeString(n - 1, u'c') + u"\u0416");  // beyond 255
  }
  Doc d = MakeOwned<TVnJSONDocument>();
  TVnJSONBase *root = d->CreateRootValue(jdtObject);
  for (std::size_t i = 0; i < texts.size(); ++i)
    root->AddMember(u"k" + texts[i], jdtString)->SetAsString(texts[i]);
  for (std::size_t i = 0; i < texts.size(); ++i) {
    TVnJSONMember *m = root->FindMember(u"k" + texts[i]);
    ASSERT_NE(m, nullptr) << i;
    EXPECT_EQ(m->GetName(), u"k" + texts[i]);
    EXPECT_EQ(m->GetAsString(), texts[i]);
    EXPECT_EQ(m->GetAsVariant().AsString(), texts[i]);
  }
  // Upper-case ASCII finds the same names without regard to case, in both widths.
  EXPECT_EQ(root->FindMember(u"KAAAAAAAA", true), root->FindMember(u"kaaaaaaaa"));
  EXPECT_EQ(root->FindMember(u"KBB\u00E9", true), root->FindMember(u"kbb\u00E9"));
  EXPECT_EQ(root->FindMember(u"KCC\u0416", true), root->FindMember(u"kcc\u0416"));
  EXPECT_EQ(root->FindMember(u"KCC\u0416"), nullptr);

  // Read back: values are decoded, names stay as written, so a name beyond 255 comes back as
  // its escape.
  Doc again = Load(d->GetAsJSON());
  EXPECT_EQ(again->GetMember(u"kbbbbbbbb\u00E9", {jsoRaise})->GetAsString(), u"bbbbbbbb\u00E9");
  EXPECT_EQ(again->GetMember(u"kcccc\\u0416", {jsoRaise})->GetAsString(), u"cccc\u0416");
  EXPECT_EQ(again->GetMember(u"k" + texts[26], {jsoRaise})->GetAsString(), texts[26]);
  // Replacing a long text by a short one and back keeps each.
  TVnJSONMember *m = root->FindMember(u"k" + texts.back());
  m->SetAsString(u"x");
  EXPECT_EQ(m->GetAsString(), u"x");
  m->SetAsInteger(7);
  m->SetAsString(UnicodeString(300, u'\u0416'));
  EXPECT_EQ(m->GetAsString(), UnicodeString(300, u'\u0416'));
}

// A load keeps simple values compact until a node is asked for: every form of value (every
// text length around the forms' limits, both widths, escapes, numbers with each character they
// may have, keywords) must write the same before and after its node is made, give the same node
// each time, and be freed, deleted, exchanged and replaced while still compact. Loaded from
// UTF-16 and from UTF-8 (the reader's two ways of handing values over).
TEST(JSONTexts, LoadedValuesOfEveryFormBecomeNodesOnDemand) {
  const std::u16string values =
      u"\"\",\"a\",\"abcdefg\",\"abcdefgh\",\"abcdefghi\",\"" + std::u16string(40, u'x') +
      u"\",\"\u00E9t\u00E9\",\"\u0416\",\"a\\nb\",\"\\u0041\",0,-1234567,12345678,"
      u"-65.613616999999977,1e5,-9876543210.5E+1e,1234567890.5e-3,123456789012345678901234567890,"
      u"1234567890123456789012345678901,true,false,null";
  const std::u16string json = u"{\"a\":[" + values + u"],\"s\":\"abcdefghij\",\"n\":7,\"e\":\"\"}";
  for (bool utf8 : {false, true}) {
    SCOPED_TRACE(utf8);
    Doc d = Load(json, utf8);
    const UnicodeString before = d->GetAsJSON();
    const UnicodeString formatted = d->GetFormattedJSON();
    TVnJSONBase *a = d->FindMember(u"a")->GetValueObj();
    ASSERT_EQ(a->Count(), 22);
    const std::vector<std::u16string> texts = {u"",
                                               u"a",
                                               u"abcdefg",
                                               u"abcdefgh",
                                               u"abcdefghi",
                                               std::u16string(40, u'x'),
                                               u"\u00E9t\u00E9",
                                               u"\u0416",
                                               u"a\nb",
                                               u"A",
                                               u"0",
                                               u"-1234567",
                                               u"12345678",
                                               u"-65.613616999999977",
                                               u"1e5",
                                               u"-9876543210.5E+1e",
                                               u"1234567890.5e-3",
                                               u"123456789012345678901234567890",
                                               u"1234567890123456789012345678901",
                                               u"true",
                                               u"false",
                                               u"null"};
    for (Integer i = 0; i < a->Count(); ++i) {
      TVnJSONBase *v = a->Item(i);
      EXPECT_EQ(v, a->Objects(i)) << i;
      EXPECT_EQ(v->Owner(), a);
      EXPECT_EQ(v->GetAsString(), texts[i]) << i;
      EXPECT_EQ(v->JSONType(), i < 10   ? jdtString
                               : i < 19 ? jdtNumber
                               : i < 21 ? jdtBoolean
                                        : jdtNull);
    }
    EXPECT_EQ(d->GetAsJSON(), before);
    EXPECT_EQ(d->GetFormattedJSON(), formatted);
    EXPECT_EQ(d->FindMember(u"s")->GetAsString(), u"abcdefghij");
    EXPECT_EQ(d->FindMember(u"n")->GetAsInteger(), 7);

    // Edits on values still compact.
    Doc e = Load(json, utf8);
    TVnJSONArray *b = e->FindMember(u"a")->GetAsArray();
    b->Exchange(0, 5);
    b->DeleteValue(4);
    b->DeleteValue(20);
    e->FindMember(u"s")->SetValue(nullptr);
    e->FindMember(u"n")->SetAsString(u"x");
    e->FindMember(u"e")->CreateValue(jdtArray);
    EXPECT_EQ(e->GetAsJSON(), u"{\"a\": [\"" + std::u16string(40, u'x') +
                                  u"\", \"a\", \"abcdefg\", \"abcdefgh\", \"\", \"\u00E9t\u00E9\", "
                                  u"\"\\u0416\", \"a\\nb\", \"A\", 0, -1234567, 12345678, "
                                  u"-65.613616999999977, 1e5, -9876543210.5E+1e, 1234567890.5e-3, "
                                  u"123456789012345678901234567890, "
                                  u"1234567890123456789012345678901, true, false], \"s\": , "
                                  u"\"n\": \"x\", \"e\": []}");
    // A path's descent passes compact values and finds the ones asked for.
    Doc f = Load(json, utf8);
    DelphiInterface<IVnJSONArray> found = f->SelectIntf(u"$..n", {});
    ASSERT_EQ(found->Count(), 1);
    EXPECT_EQ(found->GetItem(0)->GetAsString(), u"7");
  }
  // Strings with characters from 256 on stay compact as well, as UTF-16 units: up to 4 become a
  // node's word, longer ones move their room to the node.
  Doc w = Load(u"[\"\u0416\u0417\u0418\u0419\u041A\",\"\U0001F600\",\"a\\u0416\",\"\u0416\"]");
  const UnicodeString written = w->GetAsJSON();
  EXPECT_EQ(written,
            u"[\"\\u0416\\u0417\\u0418\\u0419\\u041A\", \"\\uD83D\\uDE00\", \"a\\u0416\", "
            u"\"\\u0416\"]");
  const std::vector<std::u16string> wide = {u"\u0416\u0417\u0418\u0419\u041A", u"\U0001F600",
                                            u"a\u0416", u"\u0416"};
  for (Integer i = 0; i < 4; ++i) EXPECT_EQ(w->Item(i)->GetAsString(), wide[i]) << i;
  EXPECT_EQ(w->GetAsJSON(), written);
  // A value whose escape does not decode stops the load and stays, a null value, in an array
  // and in a member alike.
  Doc g = MakeOwned<TVnJSONDocument>();
  EXPECT_THROW(g->SetAsJSON(u"{\"a\":[1,\"\\uZZZZ\"]}"), EConvertError);
  EXPECT_EQ(g->GetAsJSON(), u"{\"a\": [1, null]}");
  EXPECT_THROW(g->SetAsJSON(u"{\"b\":\"\\uZZZZ\"}"), EConvertError);
  EXPECT_EQ(g->GetAsJSON(), u"{\"b\": null}");
}

// A string read from UTF-8 into an array or member is decoded where it stands, in one pass. It
// must give what the general way gives (the bytes to UTF-16, ill-formed ones replaced, then the
// escapes decoded) for every escape, width and ill-formed byte, and fail alike.
TEST(JSONTexts, UTF8StringsDecodeInOnePassAsTheGeneralWayDoes) {
  const std::vector<std::string> bodies = {"",
                                           "caf\xC3\xA9",
                                           "\xE6\x97\xA5\xE6\x9C\xAC",
                                           "\xF0\x9F\x98\x80 smile",
                                           "plain ascii text",
                                           "a\\u00e9\\u4E2D\\ud83d\\ude00b",
                                           "\\ud800 lone",
                                           "\\\"\\\\\\/\\b\\f\\n\\r\\t",
                                           "50% \\u0025",
                                           "x\\u00ff\\u0100y" + std::string(30, 'z'),
                                           "a\xFF"
                                           "b",
                                           "\xC0\xAF",
                                           "\xED\xA0\x80 surrogate",
                                           "\xE6\x97 cut",
                                           "\xF4\x90\x80\x80",
                                           "tail \xC3",
                                           std::string(100, 'w') + "\xC3\xA9\\n"};
  for (const std::string &body : bodies) {
    SCOPED_TRACE(body);
    const UnicodeString expected = VnJSONtoStr(UTF8ToString(body), jdtString);
    Doc d = MakeOwned<TVnJSONDocument>();
    d->SetAsJSON(std::string_view("{\"a\":[\"" + body + "\",\"" + body + body + "\"],\"m\":\"" +
                                  body + "\"}"));
    EXPECT_EQ(d->FindMember(u"a")->GetValueObj()->Item(0)->GetAsString(), expected);
    EXPECT_EQ(d->FindMember(u"a")->GetValueObj()->Item(1)->GetAsString(), expected + expected);
    EXPECT_EQ(d->FindMember(u"m")->GetAsString(), expected);
  }
  Doc g = MakeOwned<TVnJSONDocument>();
  EXPECT_THROW(g->SetAsJSON(std::string_view("{\"a\":[1,\"\xC3\xA9\\uZZZZ\"]}")), EConvertError);
  EXPECT_EQ(g->GetAsJSON(), u"{\"a\": [1, null]}");
  EXPECT_THROW(g->SetAsJSON(std::string_view("{\"b\":\"\\u12G4\"}")), EConvertError);
  EXPECT_EQ(g->GetAsJSON(), u"{\"b\": null}");
}

// A load keeps a member with a simple value as a record of name and value until the member is
// asked for: names of every form (lengths around the word's eight, both widths, a backslash,
// which a name keeps as read) among
// members that hold containers, more than an object's own slots. Each must write the same before
// and after its node is made, give the same node each time, be found by name with and without
// case, and be deleted, edited and selected while still a record.
TEST(JSONTexts, LoadedMembersBecomeNodesOnDemand) {
  const std::vector<std::u16string> names = {u"",
                                             u"a",
                                             u"abcdefgh",
                                             u"abcdefghi",
                                             u"\u00E9t\u00E9",
                                             u"\u0416",
                                             u"a\\nb",
                                             u"ob",
                                             std::u16string(40, u'k'),
                                             u"ar",
                                             u"z",
                                             u"abc",
                                             u"abcd",
                                             u"abcde",
                                             u"abcdef",
                                             u"abcdefg"};
  const std::u16string json =
      u"{\"\":1,\"a\":\"x\",\"abcdefgh\":true,\"abcdefghi\":null,\"\u00E9t\u00E9\":\"\u0416\u0417"
      u"\",\"\u0416\":-2.5e3,\"a\\nb\":\"" +
      std::u16string(20, u'v') + u"\",\"ob\":{\"i\":2},\"" + std::u16string(40, u'k') +
      u"\":\"\",\"ar\":[3],\"z\":0,\"abc\":3,\"abcd\":4,\"abcde\":5,\"abcdef\":6,\"abcdefg\":7}";
  for (bool utf8 : {false, true}) {
    SCOPED_TRACE(utf8);
    Doc d = Load(json, utf8);
    const UnicodeString before = d->GetAsJSON();
    const UnicodeString formatted = d->GetFormattedJSON();
    // Found by name first (only that member is made), then every member in order.
    auto *o = static_cast<TVnJSONObject *>(d->GetRootValue());
    TVnJSONMember *k = o->FindMember(u"ABCDEFGHI", true);
    ASSERT_NE(k, nullptr);
    EXPECT_EQ(o->FindMember(u"ABCDEFGHI"), nullptr);
    EXPECT_EQ(d->GetAsJSON(), before);
    ASSERT_EQ(o->Count(), static_cast<Integer>(names.size()));
    for (Integer i = 0; i < o->Count(); ++i) {
      auto *m = static_cast<TVnJSONMember *>(o->Item(i));
      EXPECT_EQ(m->GetName(), names[i]) << i;
      EXPECT_EQ(m, o->FindMember(names[i])) << i;
      EXPECT_EQ(m->Owner(), o);
      ASSERT_NE(m->GetValueObj(), nullptr);
      EXPECT_EQ(m->GetValueObj()->Owner(), m);
    }
    EXPECT_EQ(k, o->Item(3));
    EXPECT_EQ(static_cast<TVnJSONMember *>(o->Item(4))->GetAsString(), u"\u0416\u0417");
    EXPECT_EQ(static_cast<TVnJSONMember *>(o->Item(5))->GetAsDouble(), -2500.0);
    EXPECT_EQ(d->GetAsJSON(), before);
    EXPECT_EQ(d->GetFormattedJSON(), formatted);

    // Edits while the members are still records; the last member is one.
    Doc e = Load(json, utf8);
    auto *p = static_cast<TVnJSONObject *>(e->GetRootValue());
    EXPECT_EQ(p->LastMember()->GetName(), u"abcdefg");
    p->DeleteMember(1);
    p->DeleteMember(0);
    p->FindMember(u"abcdefgh")->SetAsInteger(9);
    p->AddMember(u"n", jdtNumber, u"4");
    EXPECT_EQ(e->GetAsJSON(),
              u"{\"abcdefgh\": 9, \"abcdefghi\": null, \"\u00E9t\u00E9\": "
              u"\"\\u0416\\u0417\", \"\\u0416\": -2.5e3, \"a\\\\nb\": \"" +
                  std::u16string(20, u'v') + u"\", \"ob\": {\"i\": 2}, \"" +
                  std::u16string(40, u'k') +
                  u"\": \"\", \"ar\": [3], \"z\": 0, \"abc\": 3, \"abcd\": 4, \"abcde\": 5, "
                  u"\"abcdef\": 6, \"abcdefg\": 7, \"n\": 4}");
    // A path's name steps compare a record's name where it stands, with and without case.
    Doc f = Load(json, utf8);
    DelphiInterface<IVnJSONArray> found = f->SelectIntf(u"$.ABCDEFGH", {jsoCaseInsensitive});
    ASSERT_EQ(found->Count(), 1);
    EXPECT_EQ(found->GetItem(0)->GetAsString(), u"true");
    EXPECT_EQ(f->SelectIntf(u"$.*", {})->Count(), static_cast<Integer>(names.size()));
    EXPECT_EQ(f->GetAsJSON(), before);
  }
  // A builder fed by hand makes each member when its name comes.
  Doc h = MakeOwned<TVnJSONDocument>();
  Owned<TVnJSONHandler> builder(New<TVnJSONHandler>(nullptr, h.get()));
  builder->StartObject();
  builder->StartMemberAscii("n", 1);
  builder->StartMember(u"m");
  EXPECT_EQ(h->GetRootValue()->Count(), 2);
  // A member held by an interface outlives the document that made it from its record.
  DelphiInterface<IVnJSONMember> held;
  {
    Doc g = Load(u"{\"a\":1,\"b\":\"bb\"}");
    held = g->GetRootValue()->FindMemberIntf(u"b", false);
  }
  EXPECT_EQ(held->GetAsString(), u"bb");
}

// The tree builder takes events from any source, not only its reader: a number whose characters
// are not all a number's keeps them as given, at every length.
TEST(JSONTexts, BuilderKeepsNumbersOfAnyCharacters) {
  Doc d = MakeOwned<TVnJSONDocument>();
  TVnJSONHandler *h = New<TVnJSONHandler>(nullptr, d.get());
  Owned<TVnJSONHandler> owner(h);
  const std::u16string numbers[] = {u"1x",
                                    u"12345678x90",
                                    u"1,2345678",
                                    u"0x123456789abcdef0",
                                    u"1/2/3/4/5/6/7/8/9",
                                    std::u16string(29, u'7') + u"Z"};
  h->StartArray();
  for (const auto &n : numbers) h->Value(jdtNumber, n);
  h->EndArray();
  TVnJSONBase *a = d->GetRootValue();
  ASSERT_EQ(a->Count(), 6);
  for (Integer i = 0; i < 6; ++i) EXPECT_EQ(a->Item(i)->GetAsString(), numbers[i]) << i;
}

// ---------------------------------------------------------------------------------------------
// The interface family

// Whether the node answers the interface I.
template <class I>
bool Has(TVnJSONBase *ANode) {
  DelphiInterface<I> intf;
  return Supports(ANode, intf) && intf;
}

TEST(JSONInterfaces, EachNodeAnswersItsInterfaces) {
  Doc d = Load(u"{\"m\":[\"s\"]}");
  TVnJSONBase *obj = d->GetRootValue();
  TVnJSONMember *member = d->FindMember(u"m");
  TVnJSONBase *arr = member->GetValueObj();
  TVnJSONBase *simple = arr->Item(0);

  EXPECT_TRUE(Has<IVnJSONDocument>(d.get()));
  EXPECT_TRUE(Has<IVnJSONBase>(d.get()));
  EXPECT_FALSE(Has<IVnJSONObject>(d.get()));
  EXPECT_TRUE(Has<IVnJSONObject>(obj));
  EXPECT_FALSE(Has<IVnJSONArray>(obj));
  EXPECT_FALSE(Has<IVnJSONMember>(obj));
  EXPECT_TRUE(Has<IVnJSONArray>(arr));
  EXPECT_FALSE(Has<IVnJSONSimpleType>(arr));
  EXPECT_TRUE(Has<IVnJSONSimpleType>(simple));
  EXPECT_TRUE(Has<IVnJSONBase>(simple));
  EXPECT_FALSE(Has<IVnJSONDocument>(simple));
  EXPECT_TRUE(Has<IVnJSONMember>(member));
  EXPECT_TRUE(Has<IVnJSONBase>(member));
  EXPECT_FALSE(Has<IVnJSONObject>(member));

  // The forms that only ask, by identifier, through the object and through an interface: the
  // reference the question takes is given back, whatever the interface's layout.
  EXPECT_TRUE(Supports(d.get(), IVnJSONDocument::IID));
  EXPECT_TRUE(Supports(member, IVnJSONMember::IID));
  EXPECT_FALSE(Supports(member, IVnJSONArray::IID));
  {
    DelphiInterface<IVnJSONBase> held(simple);
    EXPECT_TRUE(Supports(held.get(), IVnJSONSimpleType::IID));
    EXPECT_FALSE(Supports(held.get(), IVnJSONDocument::IID));
    EXPECT_EQ(static_cast<TVnJSONSimpleType *>(simple)->RefCount(), 1);
  }

  DelphiInterface<IVnJSONBase> base;
  ASSERT_TRUE(Supports(arr, base));
  EXPECT_EQ(base->Implementor(), arr);
  EXPECT_EQ(base->GetJSONType(), jdtArray);
  DelphiInterface<IVnJSONArray> asArray = IntfAs<IVnJSONArray>(base);
  EXPECT_EQ(asArray->Count(), 1);
  EXPECT_EQ(Raised([&] { IntfAs<IVnJSONObject>(base); }),
            "EIntfCastError: Interface not supported");
  DelphiInterface<IVnJSONSimpleType> value = IntfAs<IVnJSONSimpleType>((*base)[0]);
  EXPECT_EQ(value->GetAsVariant().AsString(), u"s");
  EXPECT_EQ(value->Implementor(), simple);
}

TEST(JSONInterfaces, DefaultIndexCreatesMembers) {
  Doc d = Load(u"{\"a\":1}");
  DelphiInterface<IVnJSONBase> doc;
  ASSERT_TRUE(Supports(d.get(), doc));
  EXPECT_EQ((*doc)[u"a"]->GetAsInteger(), 1);
  (*doc)[u"b"]->SetAsString(u"new");
  (*doc)[VnJSONString(u"c")]->GetAsObjectIntf()->AddMemberIntf4(u"d", Variant(2.5));
  EXPECT_EQ(d->GetAsJSON(), u"{\"a\": 1, \"b\": \"new\", \"c\": {\"d\": 2.5}}");
  EXPECT_EQ(doc->GetItem(1)->Implementor(), d->FindMember(u"b"));
  EXPECT_EQ(doc->Count(), 3);
  EXPECT_TRUE(doc->HasMember(u"C", true));
}

TEST(JSONInterfaces, BuildingThroughInterfaces) {
  Doc d = MakeOwned<TVnJSONDocument>();
  DelphiInterface<IVnJSONDocument> doc;
  ASSERT_TRUE(Supports(d.get(), doc));
  DelphiInterface<IVnJSONObject> obj = IntfAs<IVnJSONObject>(doc->CreateRootValueIntf(jdtObject));
  EXPECT_EQ(doc->GetRootValueIntf()->Implementor(), d->GetRootValue());

  obj->AddMemberIntf1(u"m1")->SetAsBoolean(false);
  DelphiInterface<IVnJSONMember> m2 = obj->AddMemberIntf2(u"m2", jdtArray);
  DelphiInterface<IVnJSONArray> arr = m2->GetAsArrayIntf();
  arr->AddValueIntf1(jdtObject);
  arr->AddValueIntf2(jdtBoolean, u"true");
  DelphiInterface<IVnJSONBase> three = arr->AddValueIntf3(Variant(3));
  arr->Exchange(0, 2);
  obj->AddMemberIntf3(u"m3", jdtString, u"t");
  EXPECT_EQ(doc->GetAsJSON(), u"{\"m1\": false, \"m2\": [3, true, {}], \"m3\": \"t\"}");

  arr->RemoveValueIntf(three);
  arr->DeleteValue(0);
  obj->RemoveMemberIntf(doc->FindMemberIntf(u"m1", false));
  EXPECT_EQ(doc->GetAsJSON(), u"{\"m2\": [{}], \"m3\": \"t\"}");
  obj->DeleteMember(1);

  DelphiInterface<IVnJSONBase> created = m2->CreateValueIntf(jdtNumber);
  created->SetAsInteger(9);
  EXPECT_EQ(m2->GetValue(), created);
  EXPECT_EQ(m2->GetName(), u"m2");
  m2->SetName(u"n");
  EXPECT_EQ(doc->GetMemberIntf(u"n", {jsoRaise})->GetAsInteger(), 9);
  EXPECT_EQ(doc->GetMemberIntf(u"x", {}), nullptr);
  EXPECT_EQ(doc->GetFormattedJSON(), u"{ \r\n  \"n\": 9\r\n}");
  doc->SetAsJSON(u"[1]");
  EXPECT_EQ(doc->GetRootValueIntf()->GetJSONType(), jdtArray);
}

// A member reads its value from text: the handler replaces what it held.
TEST(JSONDocument, SetAsJSONBelowTheDocument) {
  Doc d = Load(u"{\"m\":1,\"a\":[0]}");
  d->FindMember(u"m")->SetAsJSON(u"[true]");
  d->FindMember(u"a")->GetAsArray()->SetAsJSON(u"{\"x\":2}");
  EXPECT_EQ(d->GetAsJSON(), u"{\"m\": [true], \"a\": [0, {\"x\": 2}]}");
  d->FindMember(u"a")->GetAsArray()->SetAsJSON(u"");
  EXPECT_EQ(d->GetAsJSON(), u"{\"m\": [true], \"a\": []}");
}

}  // namespace
}  // namespace jsontree
