// Where loaded nodes live: a load cuts its nodes from shared pages, and every node must stay valid
// for exactly as long as it lives, whatever happens to its document, on whichever thread it goes.
// The sanitizer build turns any page given back too early into a reported use after free, and any
// page never given back into a reported leak.
#include <array>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <thread>
#include <vector>

#include "xml_util.h"

namespace domxml {
namespace {

// A document of AItems elements, each with an attribute and a text: enough nodes to fill several
// pages.
UnicodeString ManyItems(int AItems) {
  UnicodeString xml = u"<list>";
  for (int i = 0; i < AItems; ++i) {
    const UnicodeString n = IntToStr(i);
    xml += u"<item n=\"" + n + u"\">text " + n + u"</item>";
  }
  return xml + u"</list>";
}

TEST(NodeMemory, LoadedNodesOutliveTheirDocument) {
  Doc d = Load(ManyItems(3000));
  TVnDOMElement *root = d->GetRootNode();
  // Taken from the first pages of the load, the middle and the last.
  std::vector<TVnDOMNode *> kept;
  for (int i : {0, 1500, 2999}) kept.push_back(root->GetChildNodes()->GetItem(i));
  // Taken out of the list, a child is detached and left to the caller.
  for (TVnDOMNode *n : kept) root->GetChildNodes()->Delete(n);
  d.reset();

  for (std::size_t k = 0; k < kept.size(); ++k) {
    auto *e = static_cast<TVnDOMElement *>(kept[k]);
    const UnicodeString n = IntToStr(std::array{0, 1500, 2999}[k]);
    EXPECT_EQ(e->GetXML(), u"<item n=\"" + n + u"\">text " + n + u"</item>");
    // The survivors stay fully usable: they change, grow and shrink.
    e->SetAttribute(u"n", u"x");
    e->AddElement(u"sub")->SetNodeValue(u"new");
    e->GetChildNodes()->GetItem(1)->Free();
    EXPECT_EQ(e->GetXML(), u"<item n=\"x\"><sub>new</sub></item>");
  }
  for (TVnDOMNode *n : kept) n->Free();
}

TEST(NodeMemory, NodesMadeOutsideALoadMixWithLoadedOnes) {
  Doc d = Load(ManyItems(50));
  TVnDOMElement *root = d->GetRootNode();
  auto *extra = New<TVnDOMElement>();
  extra->SetQualifiedName(u"extra");
  TVnDOMNode *tenth = root->GetChildNodes()->GetItem(10);
  root->GetChildNodes()->Delete(tenth);
  extra->AppendChild(tenth);
  root->AppendChild(extra);
  root->AddElement(u"made")->SetAttribute(u"by", u"hand");
  EXPECT_EQ(root->ElementCount(), 51);
  EXPECT_EQ(extra->GetXML(), u"<extra><item n=\"10\">text 10</item></extra>");

  // A loaded tree taken into another document, whose own nodes came from the heap.
  Doc other = Empty();
  other->AppendChild(root->GetChildNodes()->GetItem(0)->CloneNode(true));
  TVnDOMNode *moved = root->GetChildNodes()->GetItem(1);
  root->GetChildNodes()->Delete(moved);
  other->GetRootNode()->AppendChild(moved);
  d.reset();
  EXPECT_EQ(other->GetXML(), u"<item n=\"0\">text 0<item n=\"1\">text 1</item></item>");
}

// An application's class, larger than the slots that loads cut.
class TBigElement : public TVnDOMElement {
  VN_CLASS(TBigElement, TVnDOMElement)
 public:
  std::array<char, 4096> Payload{};
};

// And one aligned beyond what the heap guarantees.
class TAlignedElement : public TVnDOMElement {
  VN_CLASS(TAlignedElement, TVnDOMElement)
 public:
  alignas(64) std::array<char, 64> Block{};
};

TEST(NodeMemory, ALoadInsideALoadKeepsBothTrees) {
  Doc outer = Empty();
  Doc inner;
  TBigElement *big = nullptr;
  std::vector<TAlignedElement *> aligned;
  outer->SetOnParseFatalError([&](IVnSAXLocator *, const UnicodeString &, bool &) {
    inner = Load(ManyItems(500));
    // Made while the outer load runs, too large for its pages.
    big = New<TBigElement>();
    big->SetQualifiedName(u"big");
    big->AddElement(u"small");
    for (int i = 0; i < 4; ++i) {
      aligned.push_back(New<TAlignedElement>());
      aligned.back()->SetQualifiedName(u"aligned");
    }
  });
  EXPECT_THROW(outer->LoadFromXML(ManyItems(400) + u"<"), Exception);
  ASSERT_TRUE(inner);
  ASSERT_NE(big, nullptr);
  // Both trees are whole, and the nodes made in between are the outer load's.
  EXPECT_EQ(outer->GetRootNode()->ElementCount(), 400);
  EXPECT_EQ(inner->GetRootNode()->ElementCount(), 500);
  for (TAlignedElement *a : aligned) {
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(a->Block.data()) % 64, 0u);
    big->AppendChild(a);
  }
  outer->GetRootNode()->AppendChild(big);
  EXPECT_EQ(outer->GetRootNode()->GetChildNodes()->GetItem(400)->GetXML(),
            u"<big><small /><aligned /><aligned /><aligned /><aligned /></big>");
  outer.reset();
  EXPECT_EQ(inner->GetRootNode()->GetChildNodes()->GetItem(499)->GetText(), u"text 499");
}

TEST(NodeMemory, TreesLoadedOnOneThreadAreFreedOnAnother) {
  const UnicodeString xml = ManyItems(400);
  constexpr int cRounds = 20;
  using Docs = std::vector<TVnDOMDocument *>;
  auto load = [&](Docs &AInto) {
    for (int i = 0; i < cRounds; ++i) AInto.push_back(TVnDOMDocument::CreateFromXML(xml));
  };
  // Each thread loads documents; then each reads and frees the other's while loading more.
  std::array<Docs, 2> first, second;
  std::thread a(load, std::ref(first[0])), b(load, std::ref(first[1]));
  a.join();
  b.join();
  std::array<int, 2> items{};
  auto swap = [&](int AWho) {
    for (TVnDOMDocument *doc : first[1 - AWho]) {
      items[AWho] += doc->GetRootNode()->ElementCount();
      doc->Free();
    }
    load(second[AWho]);
  };
  std::thread c(swap, 0), e(swap, 1);
  c.join();
  e.join();
  EXPECT_EQ(items[0], cRounds * 400);
  EXPECT_EQ(items[1], cRounds * 400);
  for (Docs &docs : second) {
    for (TVnDOMDocument *doc : docs) doc->Free();
  }
}

TEST(NodeMemory, NodesOfOnePageFreedOnTwoThreadsAtOnce) {
  for (int round = 0; round < 20; ++round) {
    Doc d = Load(ManyItems(2000));
    // Neighbours in the document are neighbours in memory: every page gets freed from both
    // threads at the same time.
    std::array<std::vector<TVnDOMNode *>, 2> halves;
    TVnDOMNodeList *children = d->GetRootNode()->GetChildNodes();
    for (int i = 0; children->Count() > 0; ++i)
      halves[i % 2].push_back(children->Delete(children->First()));
    d.reset();
    auto drop = [&](int AWho) {
      for (TVnDOMNode *n : halves[AWho]) n->Free();
    };
    std::thread a(drop, 0), b(drop, 1);
    a.join();
    b.join();
  }
}

TEST(NodeMemory, ALoadKeepsItsPageWhenEveryNodeOnItIsGone) {
  Doc d = Empty();
  std::vector<TVnDOMElement *> later;
  d->SetOnParseFatalError([&](IVnSAXLocator *, const UnicodeString &, bool &) {
    // Every node the load has made so far goes, the current page's included; the load then
    // makes more on that page.
    TVnDOMNodeList *children = d->GetRootNode()->GetChildNodes();
    while (children->Count() > 0) children->Delete(children->First())->Free();
    for (int i = 0; i < 3; ++i) {
      later.push_back(New<TVnDOMElement>());
      later.back()->SetQualifiedName(u"later");
    }
  });
  EXPECT_THROW(d->LoadFromXML(ManyItems(100) + u"<"), Exception);
  ASSERT_EQ(later.size(), 3u);
  for (TVnDOMElement *e : later) d->GetRootNode()->AppendChild(e);
  EXPECT_EQ(d->GetRootNode()->GetXML(), u"<list><later /><later /><later /></list>");
}

#if defined(__SANITIZE_ADDRESS__)
// A node freed on a page that lives on is still reported when used.
TEST(NodeMemoryDeathTest, AFreedNodeOnALivePageIsReported) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        Doc d = Load(u"<a><b/><c/></a>");
        TVnDOMNode *b = d->GetRootNode()->GetChildNodes()->GetItem(0);
        TVnDOMNode *c = d->GetRootNode()->GetChildNodes()->GetItem(1);
        d->GetRootNode()->GetChildNodes()->Delete(c);
        d.reset();
        // c keeps the page alive; b is gone.
        std::fprintf(stderr, "%d\n", static_cast<int>(b->GetNodeType()));
        c->Free();
      },
      "use-after-poison");
}
#endif

}  // namespace
}  // namespace domxml
