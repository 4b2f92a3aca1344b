// The schema element's table, node lookup and creation in schema order, values, the event
// before a read, assignment, clearing and removal.
#include <gtest/gtest.h>

#include <vector>

#include "exception_text.h"
#include "schema/schema_util.h"

using namespace vn;
using schematest::Bound;
using vntest::MessageOf;

namespace {

enum : Integer { cA = 10, cB = 20, cC = 30, cD = 40, cAttr = 50, cKey = 60 };

// Four optional elements and two attributes, entered in an order that differs from the index
// order, so that schema order and index order can be told apart.
void Sequence(TVnXMLSchemaElement *E) {
  E->AddSchemaInfo(cD, ntElement, u"a", 0, 1, false, 0);
  E->AddSchemaInfo(cC, ntElement, u"b", 0, 1, false, 0);
  E->AddSchemaInfo(cB, ntElement, u"c", 0, 1, false, 0);
  E->AddSchemaInfo(cA, ntElement, u"d", 0, 1, false, 0);
  E->AddSchemaInfo(cAttr, ntAttribute, u"code", 0, 1, false, 0);
  E->AddSchemaInfo(cKey, ntAttribute, u"key", 1, 1, true, 0);
}

TEST(SchemaOrder, SetsInAnyOrderGiveSchemaOrder) {
  // Reverse order into an empty element.
  Bound b(u"<r/>");
  Sequence(b.El.get());
  b->SetStringValue(cA, u"4");
  b->SetStringValue(cB, u"3");
  b->SetStringValue(cC, u"2");
  b->SetStringValue(cD, u"1");
  EXPECT_EQ(b.XML(), "<r><a>1</a><b>2</b><c>3</c><d>4</d></r>");

  // Mixed order, with an attribute already there (the element then has children from the
  // start) and an attribute particle set between the elements.
  Bound m(u"<r code=\"x\"/>");
  Sequence(m.El.get());
  m->SetStringValue(cB, u"3");
  m->SetStringValue(cA, u"4");
  m->SetStringValue(cKey, u"k");
  m->SetStringValue(cD, u"1");
  m->SetStringValue(cC, u"2");
  EXPECT_EQ(m.XML(), "<r code=\"x\" key=\"k\"><a>1</a><b>2</b><c>3</c><d>4</d></r>");
}

TEST(SchemaOrder, NewChildFollowsNearestEarlierParticleAndKeepsForeignChildren) {
  // "b" is missing: "c" goes after "a", not at the start; the foreign <x/> stays where it is.
  Bound b(u"<r><a>1</a><x/><d>4</d></r>");
  Sequence(b.El.get());
  b->SetStringValue(cB, u"3");
  EXPECT_EQ(b.XML(), "<r><a>1</a><c>3</c><x /><d>4</d></r>");
  // None of the earlier particles exists: first.
  Bound f(u"<r><x/><d>4</d></r>");
  Sequence(f.El.get());
  f->SetStringValue(cC, u"2");
  EXPECT_EQ(f.XML(), "<r><b>2</b><x /><d>4</d></r>");
}

TEST(SchemaReads, AbsentOptionalGivesZeroAndCreatesNothing) {
  Bound b(u"<r/>");
  Sequence(b.El.get());
  EXPECT_EQ(b->GetIntValue(cA), 0);
  EXPECT_EQ(b->GetDoubleValue(cB), 0.0);
  EXPECT_EQ(b->GetStringValue(cC), u"");
  EXPECT_FALSE(b->GetBooleanValue(cD));
  EXPECT_TRUE(b->GetGuidValue(cAttr).IsEmpty());
  EXPECT_EQ(static_cast<double>(b->GetDatetimeValue(cA)), 0.0);
  UnicodeString v = u"stale";
  EXPECT_FALSE(b->GetValue(cA, v));
  EXPECT_EQ(v, u"");
  EXPECT_EQ(b->FindNode(u"a"), nullptr);
  EXPECT_EQ(b.XML(), "<r />");
}

TEST(SchemaReads, AbsentRequiredIsCreatedEmpty) {
  // A required attribute.
  Bound b(u"<r/>");
  Sequence(b.El.get());
  UnicodeString v;
  EXPECT_TRUE(b->GetValue(cKey, v));
  EXPECT_EQ(v, u"");
  EXPECT_EQ(b.XML(), "<r key=\"\" />");

  // Elements: minOccurs 1 without the flag, and the flag with minOccurs 0; each goes to its
  // place in schema order.
  Bound e(u"<r><z>9</z></r>");
  e->AddSchemaInfo(1, ntElement, u"z", 0, 1, false, 0);
  e->AddSchemaInfo(2, ntElement, u"once", 1, 1, false, 0);
  e->AddSchemaInfo(3, ntElement, u"flagged", 0, 1, true, 0);
  e->AddSchemaInfo(4, ntElement, u"many", 2, 5, false, 0);
  EXPECT_EQ(e->GetStringValue(3), u"");
  EXPECT_EQ(e->GetStringValue(2), u"");
  // minOccurs above 1 is not "required" by itself.
  EXPECT_EQ(e->GetStringValue(4), u"");
  EXPECT_EQ(e.XML(), "<r><z>9</z><once /><flagged /></r>");
  // FindNode creates a required particle too.
  Bound f(u"<r/>");
  f->AddSchemaInfo(1, ntElement, u"once", 1, 1, false, 0);
  EXPECT_NE(f->FindNode(u"once"), nullptr);
  EXPECT_EQ(f.XML(), "<r><once /></r>");
}

TEST(SchemaWrites, EmptyTextCreatesNothingButEmptiesAPresentNode) {
  Bound b(u"<r><b>2</b></r>");
  Sequence(b.El.get());
  b->SetStringValue(cD, u"");
  b->SetStringValue(cAttr, u"");
  EXPECT_EQ(b.XML(), "<r><b>2</b></r>");
  b->SetStringValue(cC, u"");
  UnicodeString v = u"stale";
  EXPECT_TRUE(b->GetValue(cC, v));
  EXPECT_EQ(v, u"");
  EXPECT_EQ(b->AsElement()->FindElement(u"b", {})->GetText(), u"");

  Bound a(u"<r code=\"x\"/>");
  Sequence(a.El.get());
  a->SetStringValue(cAttr, u"");
  EXPECT_EQ(a.XML(), "<r code=\"\" />");
}

TEST(SchemaNames, PrefixedNamesAndLookups) {
  Bound b(u"<r xmlns:ns=\"urn:t\"><ns:Name>v</ns:Name><Other>o</Other></r>");
  b->AddSchemaInfo(1, ntElement, u"ns:Name", 0, 1, false, 0);
  b->AddSchemaInfo(2, ntElement, u"Other", 0, 1, false, 0);
  DelphiInterface<IVnDOMNode> full = b->GetNode(u"ns:Name");
  ASSERT_NE(full, nullptr);
  EXPECT_EQ(full->GetText(), u"v");
  EXPECT_EQ(b->GetNode(u"Name"), full);
  EXPECT_EQ(b->FindNode(u"Name"), full);
  // Only the part behind the prefix counts: another prefix is no match.
  EXPECT_EQ(b->FindNode(u"xx:Name"), nullptr);
  // The empty name is the element itself.
  EXPECT_EQ(b->GetNode(u""), DelphiInterface<IVnDOMNode>(b->AsElement()));

  EXPECT_EQ(b->FindNode(u"Unknown"), nullptr);
  EXPECT_EQ(MessageOf([&] { b->GetNode(u"Unknown"); }),
            u"EListError: The specified nodename (Unknown) is not part of the Schema!");
  // Names in the schema table ignore case; node names do not.
  EXPECT_EQ(b->FindSchemaInfo(u"NS:NAME"), b->SchemaInfoList()[0]);
  EXPECT_EQ(b->FindSchemaInfo(u"Name"), nullptr);
  EXPECT_EQ(b->FindNode(u"other"), nullptr);

  // GetNode makes an absent particle, FindNode does not.
  Bound e(u"<r/>");
  e->AddSchemaInfo(1, ntElement, u"ns:Name", 0, 1, false, 0);
  EXPECT_EQ(e->FindNode(u"Name"), nullptr);
  EXPECT_EQ(e.XML(), "<r />");
  EXPECT_NE(e->GetNode(u"Name"), nullptr);
  EXPECT_EQ(e.XML(), "<r><ns:Name /></r>");
}

TEST(SchemaTable, InvalidIndexDuplicatesAndTheInfo) {
  Bound b(u"<r/>");
  Sequence(b.El.get());
  const UnicodeString invalid = u"EListError: Invalid Schema Index";
  EXPECT_EQ(MessageOf([&] { b->GetIntValue(99); }), invalid);
  EXPECT_EQ(MessageOf([&] { b->SetStringValue(99, u"x"); }), invalid);
  EXPECT_EQ(MessageOf([&] { b->GetNodeByIndex(99, true); }), invalid);
  EXPECT_EQ(MessageOf([&] { b->AddSchemaInfo(cA, ntElement, u"other", 0, 1, false, 0); }),
            u"EListError: Duplicates not allowed");
  // The failed entry changed nothing.
  ASSERT_EQ(b->SchemaInfoList().size(), 6u);
  EXPECT_EQ(b->FindSchemaInfo(u"other"), nullptr);

  b->AddSchemaInfo(7, ntElement, u"last", 2, -1, true, 3);
  TVnXMLSchemaInfo *info = b->SchemaInfoList().back();
  EXPECT_EQ(info->Name(), u"last");
  EXPECT_EQ(info->NodeType(), ntElement);
  EXPECT_EQ(info->MinOccurs(), 2);
  EXPECT_EQ(info->MaxOccurs(), -1);
  EXPECT_TRUE(info->Required());
  EXPECT_EQ(info->ChoiceIdx(), 3);
  EXPECT_EQ(b->FindSchemaInfo(u"LAST"), info);
}

TEST(SchemaEvent, FiresOncePerLookupAndNotForItsOwnReads) {
  Bound b(u"<r/>");
  Sequence(b.El.get());
  std::vector<UnicodeString> fired;
  b->SetOnGetValue([&](TVnXMLSchemaElement *ASender, TVnXMLSchemaInfo *AInfo) {
    fired.push_back(AInfo->Name());
    // Gives "b" a default before it is read: the handler's own read and write of "b" do not
    // fire again. Its read of "a" does, once.
    if (AInfo->Name() == u"b" && ASender->GetStringValue(cC).empty()) {
      ASender->SetStringValue(cC, u"default");
      ASender->GetStringValue(cD);
    }
  });
  EXPECT_EQ(b->GetStringValue(cC), u"default");
  EXPECT_EQ(fired, (std::vector<UnicodeString>{u"b", u"a"}));
  EXPECT_EQ(b.XML(), "<r><b>default</b></r>");

  // A setter looks the node up once when it exists, twice when it makes it.
  fired.clear();
  b->SetStringValue(cC, u"set");
  b->SetStringValue(cA, u"new");
  EXPECT_EQ(fired, (std::vector<UnicodeString>{u"b", u"d", u"d"}));

  // A handler that raises leaves no particle marked: the next lookup fires again.
  Bound e(u"<r/>");
  Sequence(e.El.get());
  int calls = 0;
  e->SetOnGetValue([&](TVnXMLSchemaElement *, TVnXMLSchemaInfo *) {
    ++calls;
    throw EListError(u"refused");
  });
  EXPECT_THROW(e->GetIntValue(cA), EListError);
  EXPECT_THROW(e->GetIntValue(cA), EListError);
  EXPECT_EQ(calls, 2);
}

TEST(SchemaAssign, AssignToCopiesTheContentAndClearRemovesIt) {
  Bound src(u"<src code=\"1\"><a>x</a><!--c--><d>y</d></src>");
  Sequence(src.El.get());
  Bound dst(u"<dst old=\"o\"><b>old</b></dst>");
  Sequence(dst.El.get());
  dst->Assign(src.El.get());
  EXPECT_EQ(dst.XML(), "<dst code=\"1\"><a>x</a><!--c--><d>y</d></dst>");
  // The copy is independent of its source.
  src->SetStringValue(cA, u"changed");
  EXPECT_EQ(src.XML(), "<src code=\"1\"><a>x</a><!--c--><d>changed</d></src>");
  EXPECT_EQ(dst->GetStringValue(cA), u"y");

  // To an object that is no schema element: the base refuses.
  Owned<TVnObjectEx> other(New<TVnObjectEx>());
  EXPECT_THROW(src->AssignTo(other.get()), EConvertError);

  dst->Clear();
  EXPECT_EQ(dst.XML(), "<dst />");
  EXPECT_EQ(dst->GetStringValue(cA), u"");
}

TEST(SchemaRemove, RemoveNodeTakesTheNodeAndNothingElse) {
  Bound b(u"<r code=\"c\"><a>1</a><b>2</b></r>");
  Sequence(b.El.get());
  b->RemoveNode(u"b");
  b->RemoveNode(u"@code");
  // A name that selects nothing is no error.
  b->RemoveNode(u"missing");
  EXPECT_EQ(b.XML(), "<r><a>1</a></r>");
  EXPECT_EQ(b->GetStringValue(cC), u"");
  // The particle can be set again, in its place.
  b->SetStringValue(cC, u"3");
  EXPECT_EQ(b.XML(), "<r><a>1</a><b>3</b></r>");
}

}  // namespace

namespace {

// A binding of a recursive type: a part that holds a part.
class TPart : public TVnXMLSchemaElement {
  VN_CLASS(TPart, TVnXMLSchemaElement)
 public:
  explicit TPart(IVnDOMElement *AElement) : TVnXMLSchemaElement(AElement) {
    AddSchemaInfo(0, ntElement, u"part", 0, 1, false, 0);
  }
  TPart *Inner() { return GetChildElement<TPart>(0); }
};

TEST(SchemaWrappers, DeeplyNestedWrappersAreFreedWithoutRecursion) {
  Bound b(u"<part/>");
  Owned<TPart> top(New<TPart>(b.Doc->GetRootNode()));
  TPart *p = top.get();
  for (int i = 0; i < 200000; ++i) p = p->Inner();
  EXPECT_EQ(p->GetXML(), u"<part />");
  // Freeing the top frees every level below it; a destructor that freed its children from
  // inside itself would run out of stack here.
  top.reset();
}

TEST(SchemaWrappers, ANilElementIsRefused) {
  EXPECT_THROW(New<TVnXMLSchemaElement>(nullptr), EArgumentNilException);
}

}  // namespace
