// The attribute list and the namespace scope list.
#include "sax_test_util.h"

using namespace saxtest;

namespace {

struct SaxAttributes : ::testing::Test {
  void SetUp() override {
    List = New<TVnSAXXMAttributes>();
    List->Add(u"id", u"p:id", u"urn:p", u"1", TVnSAXAttributeType::CDATA);
    List->Add(u"Name", u"Name", u"", u"n", TVnSAXAttributeType::ID);
    List->Add(u"id", u"q:id", u"urn:q", u"2", TVnSAXAttributeType::NMTOKEN);
  }
  void TearDown() override { List->Free(); }

  // Runs AFunc and returns "code:message" of the EVnXMLParseError it raises.
  template <class F>
  static std::string Failure(F AFunc) {
    try {
      AFunc();
    } catch (const EVnXMLParseError &E) {
      return std::to_string(E.ErrorCode) + ":" + U8(E.Message);
    }
    return "no failure";
  }

  TVnSAXXMAttributes *List = nullptr;
};

TEST_F(SaxAttributes, NodesAreLinkedInOrderOfAddition) {
  ASSERT_EQ(List->Count(), 3);
  PVnSAXXMAttribute a = List->FirstAttribute();
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a->Prev, nullptr);
  std::vector<std::string> seen;
  PVnSAXXMAttribute last = nullptr;
  for (; a; a = a->Next) {
    EXPECT_EQ(a->Idx, static_cast<Integer>(seen.size()));
    EXPECT_EQ(a->Prev, last);
    seen.push_back(U8(a->QName) + "|" + U8(a->LocalName) + "|" + U8(a->URI) + "|" + U8(a->Value));
    last = a;
  }
  EXPECT_EQ(seen, (std::vector<std::string>{"p:id|id|urn:p|1", "Name|Name||n", "q:id|id|urn:q|2"}));
  EXPECT_EQ(List->GetAttribute(2), last);
}

TEST_F(SaxAttributes, LookupsByIndex) {
  EXPECT_EQ(List->GetLocalName(0), u"id");
  EXPECT_EQ(List->GetQName(1), u"Name");
  EXPECT_EQ(List->GetURI(2), u"urn:q");
  EXPECT_EQ(List->GetValue(2), u"2");
  EXPECT_EQ(List->GetType(1), TVnSAXAttributeType::ID);
  EXPECT_EQ(Failure([&] { List->GetValue(3); }), "4:List index (3) out of bounds!");
  EXPECT_EQ(Failure([&] { List->GetLocalName(-1); }), "4:List index (-1) out of bounds!");
  EXPECT_EQ(Failure([&] { List->GetQName(7); }), "4:List index (7) out of bounds!");
  EXPECT_EQ(Failure([&] { List->GetURI(3); }), "4:List index (3) out of bounds!");
  EXPECT_EQ(Failure([&] { List->GetType(3); }), "4:List index (3) out of bounds!");
  EXPECT_EQ(Failure([&] { List->GetAttribute(3); }), "4:List index (3) out of bounds!");
}

TEST_F(SaxAttributes, LookupsByNameIgnoreCase) {
  EXPECT_EQ(List->GetIndex(u"NAME"), 1);
  EXPECT_EQ(List->GetIndex(u"Q:ID"), 2);
  EXPECT_EQ(List->GetValue(u"name"), u"n");
  EXPECT_EQ(List->GetType(u"q:Id"), TVnSAXAttributeType::NMTOKEN);
  // GetIndex answers -1 where GetValue of the same name raises.
  EXPECT_EQ(List->GetIndex(u"absent"), -1);
  EXPECT_EQ(Failure([&] { List->GetValue(u"absent"); }), "4:List index (absent) out of bounds!");
  EXPECT_EQ(Failure([&] { List->GetType(u"absent"); }), "4:List index (absent) out of bounds!");
}

TEST_F(SaxAttributes, LookupsByURIAndLocalName) {
  EXPECT_EQ(List->GetIndex(u"URN:Q", u"ID"), 2);
  EXPECT_EQ(List->GetValue(u"urn:p", u"id"), u"1");
  EXPECT_EQ(List->GetType(u"urn:q", u"id"), TVnSAXAttributeType::NMTOKEN);
  EXPECT_EQ(List->GetIndex(u"urn:x", u"id"), -1);
  EXPECT_EQ(Failure([&] { List->GetValue(u"urn:x", u"id"); }),
            "4:List index (urn:x-id) out of bounds!");
}

TEST_F(SaxAttributes, TheWildcardBelongsToGetValueOnly) {
  // "*" matches any URI for GetValue: the first attribute with that local name wins.
  EXPECT_EQ(List->GetValue(u"*", u"id"), u"1");
  EXPECT_EQ(List->GetValue(u"*", u"name"), u"n");
  EXPECT_EQ(Failure([&] { List->GetValue(u"*", u"nope"); }),
            "4:List index (*-nope) out of bounds!");
  // Nowhere else.
  EXPECT_EQ(Failure([&] { List->GetType(u"*", u"id"); }), "4:List index (*-id) out of bounds!");
  EXPECT_EQ(List->GetIndex(u"*", u"id"), -1);
}

TEST_F(SaxAttributes, ClearEmptiesTheList) {
  List->Clear();
  EXPECT_EQ(List->Count(), 0);
  EXPECT_EQ(List->FirstAttribute(), nullptr);
  EXPECT_EQ(List->GetIndex(u"Name"), -1);
  List->Add(u"z", u"z", u"", u"9", TVnSAXAttributeType::CDATA);
  ASSERT_EQ(List->Count(), 1);
  EXPECT_EQ(List->FirstAttribute()->Idx, 0);
  EXPECT_EQ(List->FirstAttribute()->Next, nullptr);
  EXPECT_EQ(List->FirstAttribute()->Prev, nullptr);
  EXPECT_EQ(List->GetValue(u"z"), u"9");
}

TEST_F(SaxAttributes, InterfaceReferencesDoNotFreeTheList) {
  {
    DelphiInterface<IVnSAXAttributes> intf(List);
    EXPECT_EQ(intf->Count(), 3);
  }
  // Still alive for its owner, who frees it in TearDown.
  EXPECT_EQ(List->Count(), 3);
  DelphiInterface<IVnSAXAttributes> viaQuery;
  EXPECT_TRUE(Supports(static_cast<TObject *>(List), viaQuery));
}

// The namespace list reports to the content handler of its owner.
struct SaxNamespaces : ::testing::Test {
  void SetUp() override {
    Reader = New<TVnSAXXMLReader>();
    Rec = New<TRecorder>();
    Keep = Rec;
    Reader->SetContentHandler(Rec);
    List = New<TVnSAXNamespaceList>(Reader);
  }
  void TearDown() override {
    List->Free();
    Reader->Free();
  }
  TVnSAXXMLReader *Reader = nullptr;
  TRecorder *Rec = nullptr;
  DelphiInterface<IVnSAXContentHandler> Keep;
  TVnSAXNamespaceList *List = nullptr;
};

TEST_F(SaxNamespaces, AddReportsAtOnce) {
  List->AddURI(1, u"p", u"urn:1");
  EXPECT_EQ(Rec->Events, (std::vector<std::string>{"SPM(p,urn:1)"}));
  PVnSAXNamespace ns = List->GetNamespace(u"P");
  ASSERT_NE(ns, nullptr);
  EXPECT_EQ(ns->Level, 1);
  EXPECT_EQ(ns->Prefix, u"p");
  EXPECT_EQ(ns->URI, u"urn:1");
}

TEST_F(SaxNamespaces, TheNewestDeclarationAnswers) {
  List->AddURI(1, u"p", u"urn:1");
  List->AddURI(2, u"p", u"urn:2");
  List->AddURI(2, u"", u"urn:d");
  EXPECT_EQ(List->GetURI(u"p"), u"urn:2");
  EXPECT_EQ(List->GetURI(u""), u"urn:d");
  EXPECT_EQ(List->Count(), 3);
  // Nothing is predeclared.
  EXPECT_EQ(List->GetURI(u"xml"), u"");
  EXPECT_EQ(List->GetURI(u"xmlns"), u"");
  EXPECT_EQ(List->GetNamespace(u"q"), nullptr);
}

TEST_F(SaxNamespaces, RemoveLevelTakesThatLevelAndDeeperNewestFirst) {
  List->AddURI(1, u"a", u"1");
  List->AddURI(3, u"b", u"3");
  List->AddURI(4, u"c", u"4");
  List->AddURI(2, u"d", u"2");
  List->AddURI(5, u"e", u"5");
  Rec->Events.clear();
  List->RemoveLevel(3);
  EXPECT_EQ(Rec->Events, (std::vector<std::string>{"EPM(e)", "EPM(c)", "EPM(b)"}));
  EXPECT_EQ(List->Count(), 2);
  EXPECT_EQ(List->GetURI(u"a"), u"1");
  EXPECT_EQ(List->GetURI(u"d"), u"2");
  EXPECT_EQ(List->GetURI(u"b"), u"");
}

TEST_F(SaxNamespaces, ClearReportsNothing) {
  List->AddURI(1, u"a", u"1");
  List->AddURI(2, u"b", u"2");
  Rec->Events.clear();
  List->Clear();
  EXPECT_TRUE(Rec->Events.empty());
  EXPECT_EQ(List->Count(), 0);
  EXPECT_EQ(List->GetURI(u"a"), u"");
}

TEST_F(SaxNamespaces, AFailingHandlerKeepsTheRecord) {
  List->AddURI(1, u"a", u"1");
  Rec->ThrowAt = static_cast<int>(Rec->Events.size());
  EXPECT_THROW(List->RemoveLevel(1), EAbort);
  EXPECT_EQ(List->GetURI(u"a"), u"1");
}

}  // namespace
