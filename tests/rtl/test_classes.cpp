#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "exception_text.h"
#include "vnxml/rtl/Classes.h"
#include "vnxml/rtl/Streams.h"

using namespace vn;

namespace {

int gLive = 0;

class TCounted : public TObject {
  VN_CLASS(TCounted, TObject)
 public:
  explicit TCounted(int AId = 0) : Id(AId) { ++gLive; }
  ~TCounted() override { --gLive; }
  int Id;
};

std::vector<UnicodeString> Lines(const TStrings &AList) {
  return AList.ToStringArray();
}

using vntest::MessageOf;

}  // namespace

// ---------------------------------------------------------------------------------------------

TEST(StringListTest, NameValueAccess) {
  TStringList sl;
  sl.AddStrings({u"Host=example.org", u"port=80", u"plain", u"empty=", u"eq=a=b"});
  EXPECT_EQ(sl.Names(0), u"Host");
  EXPECT_EQ(sl.Names(2), u"");
  EXPECT_EQ(sl.ValueFromIndex(2), u"");
  EXPECT_EQ(sl.ValueFromIndex(4), u"a=b");
  EXPECT_EQ(sl.ValueFromIndex(-1), u"");
  EXPECT_EQ(sl.Values(u"HOST"), u"example.org");
  EXPECT_EQ(sl.Values(u"eq"), u"a=b");
  EXPECT_EQ(sl.Values(u"missing"), u"");
  EXPECT_EQ(sl.IndexOfName(u"Port"), 1);
  EXPECT_EQ(sl.IndexOfName(u"plain"), -1);

  sl.SetValue(u"PORT", u"8080");  // replaces the line, written with the given name
  EXPECT_EQ(sl[1], u"PORT=8080");
  sl.SetValue(u"user", u"joe");  // appends
  EXPECT_EQ(sl[sl.Count() - 1], u"user=joe");
  sl.SetValue(u"host", u"");  // deletes
  EXPECT_EQ(sl.IndexOfName(u"Host"), -1);
  sl.SetValue(u"absent", u"");  // nothing to delete
  EXPECT_EQ(sl.Count(), 5);

  sl.AddPair(u"a", u"1").AddPair(u"b", u"2");
  EXPECT_EQ(sl.Values(u"b"), u"2");
  sl.SetValueFromIndex(sl.IndexOfName(u"a"), u"9");
  EXPECT_EQ(sl.Values(u"a"), u"9");

  TStringList colon;
  colon.SetNameValueSeparator(u':');
  colon.AddPair(u"k", u"v=w");
  EXPECT_EQ(colon[0], u"k:v=w");
  EXPECT_EQ(colon.Values(u"K"), u"v=w");
}

TEST(StringListTest, CaseSensitivityOfLookups) {
  TStringList sl;
  sl.AddStrings({u"Alpha", u"\u00C4rger", u"beta"});
  EXPECT_EQ(sl.IndexOf(u"ALPHA"), 0);
  EXPECT_EQ(sl.IndexOf(u"\u00E4RGER"), 1);  // folding reaches beyond ASCII
  EXPECT_EQ(sl.IndexOf(u"gamma"), -1);
  sl.SetCaseSensitive(true);
  EXPECT_EQ(sl.IndexOf(u"ALPHA"), -1);
  EXPECT_EQ(sl.IndexOf(u"Alpha"), 0);
  sl.Add(u"k=v");
  EXPECT_EQ(sl.IndexOfName(u"K"), -1);
  EXPECT_EQ(sl.IndexOfName(u"k"), 3);
}

TEST(StringListTest, SortedListsAndDuplicates) {
  TStringList sl;
  sl.AddStrings({u"pear", u"Apple", u"fig"});
  sl.SetSorted(true);
  EXPECT_EQ(Lines(sl), (std::vector<UnicodeString>{u"Apple", u"fig", u"pear"}));
  EXPECT_EQ(sl.Add(u"banana"), 1);
  // dupIgnore: the index of the line already there, nothing added.
  EXPECT_EQ(sl.Add(u"FIG"), 2);
  EXPECT_EQ(sl.Count(), 4);
  Integer at = -1;
  EXPECT_TRUE(sl.Find(u"PEAR", at));
  EXPECT_EQ(at, 3);
  EXPECT_FALSE(sl.Find(u"cherry", at));
  EXPECT_EQ(at, 2);
  EXPECT_EQ(sl.IndexOf(u"cherry"), -1);

  EXPECT_EQ(MessageOf<EStringListError>([&] { sl.Insert(0, u"x"); }),
            u"Operation not allowed on sorted list");
  EXPECT_THROW(sl.Put(0, u"x"), EStringListError);
  EXPECT_THROW(sl.Move(0, 1), EStringListError);
  EXPECT_EQ(sl.Count(), 4);

  sl.SetDuplicates(dupError);
  EXPECT_EQ(MessageOf<EStringListError>([&] { sl.Add(u"apple"); }),
            u"String list does not allow duplicates");
  sl.SetDuplicates(dupAccept);
  sl.Add(u"apple");
  sl.Add(u"APPLE");
  sl.Add(u"aPPle");
  EXPECT_EQ(sl.Count(), 7);
  EXPECT_TRUE(sl.Find(u"apple", at));
  EXPECT_EQ(at, 0);  // the first of the equal lines

  // Case-sensitive order is by code unit; switching re-sorts.
  sl.SetCaseSensitive(true);
  EXPECT_EQ(Lines(sl), (std::vector<UnicodeString>{u"APPLE", u"Apple", u"aPPle", u"apple",
                                                   u"banana", u"fig", u"pear"}));

  // Duplicates are only refused by a sorted list.
  TStringList unsorted;
  unsorted.SetDuplicates(dupError);
  unsorted.Add(u"a");
  unsorted.Add(u"a");
  EXPECT_EQ(unsorted.Count(), 2);
}

TEST(StringListTest, CustomSortIsStable) {
  TStringList sl;
  sl.AddStrings({u"b1", u"a1", u"b2", u"a2", u"c1", u"a3"});
  sl.CustomSort([](TStringList *L, Integer A, Integer B) {
    return static_cast<Integer>(L->Get(A)[0]) - static_cast<Integer>(L->Get(B)[0]);
  });
  EXPECT_EQ(Lines(sl), (std::vector<UnicodeString>{u"a1", u"a2", u"a3", u"b1", u"b2", u"c1"}));
}

TEST(StringListTest, CommaTextQuotingRoundTrip) {
  TStringList sl;
  sl.AddStrings({u"plain", u"with blank", u"say \"hi\"", u"a,b", u"", u"tab\there"});
  const UnicodeString text = sl.CommaText();
  EXPECT_EQ(text, u"plain,\"with blank\",\"say \"\"hi\"\"\",\"a,b\",,\"tab\there\"");
  TStringList back;
  back.SetCommaText(text);
  EXPECT_TRUE(back.Equals(&sl));

  TStringList one;
  one.Add(u"");
  EXPECT_EQ(one.CommaText(), u"\"\"");
  back.SetCommaText(u"\"\"");
  EXPECT_EQ(Lines(back), (std::vector<UnicodeString>{u""}));

  // Blanks separate unquoted items and vanish around delimiters; a final delimiter adds "".
  back.SetCommaText(u"  a b , \"c, d\" ,e,");
  EXPECT_EQ(Lines(back), (std::vector<UnicodeString>{u"a", u"b", u"c, d", u"e", u""}));
  // Text behind a closing quote starts another item; an open quote runs to the end.
  back.SetCommaText(u"\"x\"y,\"open, end");
  EXPECT_EQ(Lines(back), (std::vector<UnicodeString>{u"x", u"y", u"open, end"}));
  back.SetCommaText(u"");
  EXPECT_EQ(back.Count(), 0);
}

TEST(StringListTest, DelimitedTextWithStrictDelimiter) {
  TStringList sl;
  sl.SetDelimiter(u';');
  sl.SetQuoteChar(u'\'');
  sl.SetStrictDelimiter(true);
  sl.SetDelimitedText(u" a b ; c;;'d;e'");
  EXPECT_EQ(Lines(sl), (std::vector<UnicodeString>{u" a b ", u" c", u"", u"d;e"}));
  EXPECT_EQ(sl.DelimitedText(), u" a b ; c;;'d;e'");
  // CommaText keeps its own rules whatever the list's settings are.
  EXPECT_EQ(sl.CommaText(), u"\" a b \",\" c\",,d;e");
  EXPECT_EQ(sl.Delimiter(), u';');
}

TEST(StringListTest, TextSplitsAtEveryLineBreak) {
  TStringList sl;
  sl.SetText(u"one\r\ntwo\nthree\rfour\r\n\r\n");
  EXPECT_EQ(Lines(sl), (std::vector<UnicodeString>{u"one", u"two", u"three", u"four", u""}));
  sl.SetText(u"a\r\nb");
  EXPECT_EQ(sl.Text(), u"a\r\nb\r\n");
  sl.SetTrailingLineBreak(false);
  EXPECT_EQ(sl.Text(), u"a\r\nb");
  sl.SetLineBreak(u"|");
  sl.SetText(u"x|y\nz|");
  EXPECT_EQ(Lines(sl), (std::vector<UnicodeString>{u"x", u"y\nz"}));
  sl.SetText(u"");
  EXPECT_EQ(sl.Count(), 0);
}

TEST(StringListTest, IndexErrorsAndEditing) {
  TStringList sl;
  sl.AddStrings({u"a", u"b", u"c", u"d"});
  EXPECT_EQ(MessageOf<EStringListError>([&] { sl.Get(4); }), u"List index out of bounds (4)");
  EXPECT_EQ(MessageOf<EListError>([&] { sl.Delete(-1); }), u"List index out of bounds (-1)");
  EXPECT_THROW(sl.Insert(5, u"x"), EStringListError);
  sl.Insert(4, u"e");
  sl.Move(0, 2);
  EXPECT_EQ(Lines(sl), (std::vector<UnicodeString>{u"b", u"c", u"a", u"d", u"e"}));
  sl.Exchange(0, 4);
  sl.Delete(1);
  EXPECT_EQ(Lines(sl), (std::vector<UnicodeString>{u"e", u"a", u"d", u"b"}));
  EXPECT_THROW(sl.Move(0, 4), EStringListError);
  EXPECT_EQ(sl.Count(), 4);
  UnicodeString joined;
  for (const UnicodeString &s : sl) joined += s;
  EXPECT_EQ(joined, u"eadb");
}

TEST(StringListTest, OwnedObjectsAreFreed) {
  gLive = 0;
  {
    TStringList sl(true);
    sl.AddObject(u"a", new TCounted(1));
    sl.AddObject(u"b", new TCounted(2));
    sl.AddObject(u"c", new TCounted(3));
    sl.AddObject(u"d", new TCounted(4));
    EXPECT_EQ(static_cast<TCounted *>(sl.Objects(1))->Id, 2);
    sl.Delete(0);
    EXPECT_EQ(gLive, 3);
    sl.Move(0, 2);  // a move keeps the object
    EXPECT_EQ(gLive, 3);
    EXPECT_EQ(static_cast<TCounted *>(sl.Objects(2))->Id, 2);
    sl.Clear();
    EXPECT_EQ(gLive, 0);
    sl.AddObject(u"e", new TCounted(5));
  }
  EXPECT_EQ(gLive, 0);

  TCounted keep(9);
  {
    TStringList sl;
    sl.AddObject(u"x", &keep);
    EXPECT_EQ(sl.IndexOfObject(&keep), 0);
    sl.Delete(0);
  }
  EXPECT_EQ(gLive, 1);
}

TEST(StringListTest, AssignCopiesLinesObjectsAndSettings) {
  TCounted o(1);
  TStringList src;
  src.SetNameValueSeparator(u':');
  src.SetCaseSensitive(true);
  src.AddObject(u"k:v", &o);
  src.Add(u"x");
  TStringList dst;
  dst.Add(u"old");
  dst.Assign(&src);
  EXPECT_TRUE(dst.Equals(&src));
  EXPECT_EQ(dst.Objects(0), &o);
  EXPECT_EQ(dst.Values(u"k"), u"v");
  EXPECT_TRUE(dst.CaseSensitive());

  TComponent *other = New<TComponent>(nullptr);
  EXPECT_EQ(MessageOf<EConvertError>([&] { dst.Assign(other); }),
            u"Cannot assign a TComponent to a TStringList");
  EXPECT_EQ(MessageOf<EConvertError>([&] { other->Assign(&dst); }),
            u"Cannot assign a TStringList to a TComponent");
  other->Free();
  EXPECT_EQ(MessageOf<EConvertError>([&] { dst.Assign(nullptr); }),
            u"Cannot assign a nil to a TStringList");
}

TEST(StringListTest, UpdatesAreCountedAndReportedOnce) {
  TStringList sl;
  int changes = 0;
  sl.OnChange = [&](TObject *ASender) {
    EXPECT_EQ(ASender, &sl);
    ++changes;
  };
  sl.Add(u"a");
  EXPECT_EQ(changes, 1);
  sl.BeginUpdate();
  sl.BeginUpdate();
  sl.Add(u"b");
  sl.Add(u"c");
  sl.EndUpdate();
  EXPECT_EQ(changes, 1);
  sl.EndUpdate();
  EXPECT_EQ(changes, 2);
  EXPECT_EQ(sl.UpdateCount(), 0);
}

TEST(StringListTest, StreamsAreUtf8WithOptionalByteOrderMark) {
  TStringList sl;
  sl.AddStrings({u"gr\u00FC\u00DF", u"\U0001F600"});
  TMemoryStream *ms = New<TMemoryStream>();
  sl.SaveToStream(ms);
  const std::string expected = "gr\xC3\xBC\xC3\x9F\r\n\xF0\x9F\x98\x80\r\n";
  ASSERT_EQ(ms->GetSize(), static_cast<Int64>(expected.size()));
  EXPECT_EQ(std::string(static_cast<const char *>(ms->Memory()), expected.size()), expected);

  TStringList back;
  ms->SetPosition(0);
  back.LoadFromStream(ms);
  EXPECT_TRUE(back.Equals(&sl));

  ms->Clear();
  const std::string bom = "\xEF\xBB\xBFx\ny";
  ms->WriteBuffer(bom.data(), static_cast<Int64>(bom.size()));
  ms->SetPosition(0);
  back.LoadFromStream(ms);
  EXPECT_EQ(Lines(back), (std::vector<UnicodeString>{u"x", u"y"}));

  ms->Clear();
  const char utf16be[] = {'\xFE', '\xFF', 0, 'h', 0x20, 0x2C};
  ms->WriteBuffer(utf16be, sizeof utf16be);
  ms->SetPosition(0);
  back.LoadFromStream(ms);
  EXPECT_EQ(Lines(back), (std::vector<UnicodeString>{u"h\u202C"}));
  ms->Free();
}

// ---------------------------------------------------------------------------------------------

TEST(ListTest, EditingAndIndexErrors) {
  int a = 1, b = 2, c = 3;
  TList l;
  l.Add(&a);
  l.Add(nullptr);
  l.Add(&b);
  l.Insert(0, &c);
  EXPECT_EQ(l.Count(), 4);
  EXPECT_EQ(l.First(), &c);
  EXPECT_EQ(l.Last(), &b);
  l.Pack();
  EXPECT_EQ(l.Count(), 3);
  l.Move(0, 2);
  EXPECT_EQ(l[2], &c);
  l.Exchange(0, 1);
  EXPECT_EQ(l.IndexOf(&b), 0);
  EXPECT_EQ(l.Remove(&a), 1);
  EXPECT_EQ(l.Remove(&a), -1);
  EXPECT_EQ(MessageOf<EListError>([&] { l.Get(2); }), u"List index out of bounds (2)");
  EXPECT_THROW(l.Insert(3, &a), EListError);
  l.Clear();
  EXPECT_THROW(l.First(), EListError);
}

TEST(ListTest, SortIsStable) {
  int v[] = {3, 1, 3, 2, 1};
  TList l;
  for (int &x : v) l.Add(&x);
  l.Sort([](void *A, void *B) { return *static_cast<int *>(A) - *static_cast<int *>(B); });
  std::vector<void *> got(l.begin(), l.end());
  EXPECT_EQ(got, (std::vector<void *>{&v[1], &v[4], &v[3], &v[0], &v[2]}));
}

TEST(ListTest, ObjectListFreesOwnedObjectsButNotExtractedOnes) {
  gLive = 0;
  TCounted *kept = nullptr;
  {
    TObjectList l;
    for (int i = 0; i < 5; ++i) l.Add(new TCounted(i));
    kept = static_cast<TCounted *>(l.Extract(l[1]));
    EXPECT_EQ(gLive, 5);
    EXPECT_EQ(l.Count(), 4);
    EXPECT_EQ(l.Remove(l[0]), 0);
    EXPECT_EQ(gLive, 4);
    l.Delete(0);
    EXPECT_EQ(gLive, 3);
    l.Put(0, new TCounted(7));  // the replaced object counts as deleted
    EXPECT_EQ(gLive, 3);
    EXPECT_EQ(l.FindInstanceOf(TCounted::StaticClass()), 0);
    EXPECT_EQ(l.FindInstanceOf(TObject::StaticClass()), -1);
    EXPECT_EQ(l.FindInstanceOf(TObject::StaticClass(), false, 1), 1);
    int ids = 0;
    for (TObject *o : l) ids = ids * 10 + static_cast<TCounted *>(o)->Id;
    EXPECT_EQ(ids, 74);
  }
  EXPECT_EQ(gLive, 1);
  EXPECT_EQ(kept->Id, 1);
  delete kept;

  TCounted stays(1);
  {
    TObjectList l(false);
    l.Add(&stays);
    l.Delete(0);
    l.Add(&stays);
  }
  EXPECT_EQ(gLive, 1);
}

// ---------------------------------------------------------------------------------------------

namespace {

std::vector<std::string> gEvents;

class TPart : public TComponent {
  VN_CLASS(TPart, TComponent)
 public:
  explicit TPart(TComponent *AOwner) : TComponent(AOwner) { ++gLive; }
  ~TPart() override {
    // Set by BeforeDestruction, or by the owner's before it frees its components.
    EXPECT_TRUE(ComponentState().Contains(csDestroying));
    gEvents.push_back("free " + UTF8Encode(Name()));
    --gLive;
  }

 protected:
  void Notification(TComponent *AComponent, TOperation AOperation) override {
    inherited::Notification(AComponent, AOperation);
    gEvents.push_back(UTF8Encode(Name()) + (AOperation == opInsert ? " +" : " -") +
                      UTF8Encode(AComponent->Name()));
  }
};

}  // namespace

TEST(ComponentTest, OwnerFreesItsComponentsLastFirst) {
  gLive = 0;
  gEvents.clear();
  TPart *root = New<TPart>(nullptr);
  TPart *a = New<TPart>(root);
  a->SetName(u"a");
  TPart *b = static_cast<TPart *>(TPart::StaticClass()->CreateOwned(root));
  b->SetName(u"b");
  New<TPart>(a)->SetName(u"a1");
  EXPECT_EQ(gLive, 4);
  EXPECT_EQ(root->ComponentCount(), 2);
  EXPECT_EQ(root->Components(1), b);
  EXPECT_EQ(b->Owner(), root);
  EXPECT_EQ(a->GetNamePath(), u"a");
  gEvents.clear();
  root->SetName(u"root");
  root->Free();
  EXPECT_EQ(gLive, 0);
  // Each class body runs before the base class frees what the component owns.
  EXPECT_EQ(gEvents, (std::vector<std::string>{"free root", "free b", "free a", "free a1"}));
}

TEST(ComponentTest, FreeingAComponentLeavesItsOwnerAndTellsIt) {
  gLive = 0;
  TPart *root = New<TPart>(nullptr);
  root->SetName(u"root");
  TPart *a = New<TPart>(root);
  a->SetName(u"a");
  TPart *b = New<TPart>(root);
  b->SetName(u"b");
  gEvents.clear();
  a->Free();
  EXPECT_EQ(root->ComponentCount(), 1);
  EXPECT_EQ(root->FindComponent(u"a"), nullptr);
  // The owner and, through it, the remaining components hear of the removal.
  EXPECT_EQ(gEvents, (std::vector<std::string>{"free a", "b -a", "root -a"}));
  TPart *moved = New<TPart>(nullptr);
  moved->SetName(u"m");
  gEvents.clear();
  b->InsertComponent(moved);
  EXPECT_EQ(moved->Owner(), b);
  EXPECT_EQ(gEvents, (std::vector<std::string>{"m +m", "b +m"}));
  root->Free();
  EXPECT_EQ(gLive, 0);
}

TEST(ComponentTest, NamesAreIdentifiersUniqueWithinTheOwner) {
  TComponent *root = New<TComponent>(nullptr);
  TComponent *a = New<TComponent>(root);
  TComponent *b = New<TComponent>(root);
  a->SetName(u"Button1");
  EXPECT_EQ(root->FindComponent(u"BUTTON1"), a);
  EXPECT_EQ(root->FindComponent(u""), nullptr);
  EXPECT_EQ(MessageOf<EComponentError>([&] { b->SetName(u"button1"); }),
            u"A component named button1 already exists");
  EXPECT_EQ(MessageOf<EComponentError>([&] { b->SetName(u"1st"); }),
            u"'1st' is not a valid component name");
  EXPECT_THROW(b->SetName(u"a b"), EComponentError);
  EXPECT_THROW(b->SetName(u"a.b"), EComponentError);
  EXPECT_EQ(b->Name(), u"");
  a->SetName(u"BUTTON1");  // a new spelling of its own name
  b->SetName(u"_x2");
  b->SetName(u"");
  EXPECT_EQ(a->Name(), u"BUTTON1");

  // A component with a taken name cannot join.
  TComponent *stray = New<TComponent>(nullptr);
  stray->SetName(u"button1");
  EXPECT_THROW(root->InsertComponent(stray), EComponentError);
  EXPECT_EQ(stray->Owner(), nullptr);
  root->RemoveComponent(a);
  EXPECT_EQ(a->Owner(), nullptr);
  root->InsertComponent(stray);
  root->Free();
  a->Free();
}

TEST(ComponentTest, FreeNotificationAcrossOwners) {
  gLive = 0;
  TPart *left = New<TPart>(nullptr);
  left->SetName(u"left");
  TPart *right = New<TPart>(nullptr);
  right->SetName(u"right");
  left->FreeNotification(right);
  gEvents.clear();
  right->Free();
  EXPECT_EQ(gEvents, (std::vector<std::string>{"free right", "left -right"}));
  gEvents.clear();
  left->Free();
  EXPECT_EQ(gEvents, (std::vector<std::string>{"free left"}));
  EXPECT_EQ(gLive, 0);
}

TEST(ComponentTest, DestructionStateAndInterface) {
  TPart *root = New<TPart>(nullptr);
  TPart *child = New<TPart>(root);
  EXPECT_FALSE(root->ComponentState().Contains(csDestroying));
  root->Destroying();
  EXPECT_TRUE(child->ComponentState().Contains(csDestroying));

  TComponent *c = New<TComponent>(nullptr);
  IInterface *i = c;
  EXPECT_EQ(i->_AddRef(), -1);
  EXPECT_EQ(i->_Release(), -1);
  void *p = nullptr;
  EXPECT_EQ(i->QueryInterface(IInterface::IID, &p), S_OK);
  EXPECT_EQ(p, static_cast<void *>(i));
  EXPECT_EQ(i->QueryInterface(TGUID::Parse("{11111111-2222-3333-4444-555555555555}"), &p),
            E_NOINTERFACE);
  EXPECT_EQ(p, nullptr);
  {
    DelphiInterface<IInterface> held(c);  // no counting: the object stays the caller's
  }
  c->Free();
  root->Free();
}
