// Documents nested far deeper than a call stack could follow. Each test runs on a thread with a
// small stack: a walk of the tree that called itself once per level would overflow it long
// before the deepest node.
#include <pthread.h>

#include <exception>
#include <functional>
#include <string>

#include "xml_util.h"

namespace domxml {
namespace {

constexpr int cDepth = 1000000;

// Runs AFn on a thread with a stack of AStackBytes and rethrows what it raised.
void OnSmallStack(const std::function<void()> &AFn, std::size_t AStackBytes = 1 << 20) {
  struct TCall {
    const std::function<void()> *Fn;
    std::exception_ptr Failure;
  } call{&AFn, nullptr};
  pthread_attr_t attr;
  ASSERT_EQ(pthread_attr_init(&attr), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attr, AStackBytes), 0);
  pthread_t thread;
  const auto run = [](void *AArg) -> void * {
    auto *c = static_cast<TCall *>(AArg);
    try {
      (*c->Fn)();
    } catch (...) {
      c->Failure = std::current_exception();
    }
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attr, run, &call), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attr);
  if (call.Failure) std::rethrow_exception(call.Failure);
}

std::string Repeat(const std::string &AText, int ACount) {
  std::string r;
  r.reserve(AText.size() * static_cast<std::size_t>(ACount));
  for (int i = 0; i < ACount; ++i) r += AText;
  return r;
}

// ADepth nested elements "a" around the text "x", the top one with AAttributes.
std::string Nested(int ADepth, const std::string &AAttributes = "") {
  return "<a" + AAttributes + ">" + Repeat("<a>", ADepth - 1) + "x" + Repeat("</a>", ADepth);
}

Doc LoadUTF8(const std::string &AText) {
  Doc doc = Empty();
  doc->LoadFromXML(AnsiString(AText, CP_UTF8));
  return doc;
}

TVnDOMElement *Deepest(TVnDOMElement *ARoot) {
  TVnDOMElement *e = ARoot;
  while (e->ElementCount() > 0) e = static_cast<TVnDOMElement *>(e->GetElements()->First());
  return e;
}

int Levels(TVnDOMNode *ANode) {
  int n = 0;
  for (; ANode && ANode->GetNodeType() == ntElement; ANode = ANode->ParentNode()) ++n;
  return n;
}

// xml:space="preserve" keeps the formatted form free of indents, which would otherwise grow with
// the square of the depth.
const std::string cPreserve = " xml:space=\"preserve\"";

TEST(DeepDocument, LoadsWalksSavesClonesAndFreesAMillionLevels) {
  const std::string text = Nested(cDepth, cPreserve);
  OnSmallStack([&] {
    Doc doc = LoadUTF8(text);
    TVnDOMElement *root = doc->GetRootNode();
    ASSERT_NE(root, nullptr);
    TVnDOMElement *deepest = Deepest(root);
    EXPECT_EQ(Levels(deepest), cDepth);
    EXPECT_EQ(deepest->GetNodeValue(), u"x");
    EXPECT_TRUE(deepest->GetPreserveSpace());

    EXPECT_EQ(UTF8Encode(deepest->NodePath()), Repeat("/a", cDepth));
    EXPECT_EQ(root->GetText(), u"x");
    TVnDOMElementList *all = root->CreateElementList(u"a", true);
    EXPECT_EQ(all->Count(), cDepth);
    all->Free();

    EXPECT_EQ(Saved(doc.get(), CP_UTF8, false), text);
    EXPECT_EQ(Saved(doc.get(), CP_UTF8, true), text);
    EXPECT_EQ(root->GetXML().size(), text.size());

    deepest->AddText(u"y");
    deepest->NormalizeTextNodes();
    EXPECT_EQ(deepest->GetCharNodes()->Count(), 1);
    EXPECT_EQ(deepest->GetNodeValue(), u"xy");

    // A deep copy, attached to a second document: the document and the namespaces reach every
    // level of it.
    auto *copy = static_cast<TVnDOMElement *>(root->CloneNode(true));
    Doc second = Empty();
    second->AppendChild(copy);
    EXPECT_EQ(Deepest(copy)->GetDOMDocument(), second.get());
    EXPECT_EQ(Saved(second.get(), CP_UTF8, false), Saved(doc.get(), CP_UTF8, false));

    // Taken out and freed, the copy's levels go with it; the first tree stays as it was.
    second->RemoveChild(copy);
    EXPECT_EQ(second->NodeCount(), 0);
    EXPECT_EQ(Levels(Deepest(root)), cDepth);
  });
}

TEST(DeepDocument, ClearAndDetachWalkEveryLevel) {
  const std::string text = Nested(cDepth);
  OnSmallStack([&] {
    // Once a node is held by an interface, the document belongs to the interfaces: it is held
    // by one too.
    TVnDOMDocument *doc = LoadUTF8(text).release();
    DelphiInterface<IVnDOMDocument> keep = VnDOMIntf<IVnDOMDocument>(doc);
    TVnDOMElement *root = doc->GetRootNode();
    auto *child = static_cast<TVnDOMElement *>(root->GetElements()->First());
    // Held by an interface, the subtree outlives its removal: detached, without a document.
    DelphiInterface<IVnDOMElement> held = VnDOMIntf<IVnDOMElement>(child);
    root->RemoveChild(child);
    EXPECT_EQ(child->GetParent(), nullptr);
    EXPECT_EQ(Deepest(child)->GetDOMDocument(), nullptr);
    EXPECT_EQ(Levels(Deepest(child)), cDepth - 1);
    doc->Clear();
    EXPECT_EQ(doc->NodeCount(), 0);
    held = nullptr;  // the last interface frees the detached subtree
  });
}

TEST(DeepDocument, InterfacesBuildAndReleaseAlongTheWholePath) {
  const std::string text = Nested(cDepth);
  OnSmallStack([&] {
    TVnDOMDocument *doc = LoadUTF8(text).release();
    TVnDOMElement *deepest = Deepest(doc->GetRootNode());
    DelphiInterface<IVnDOMNode> leaf = VnDOMIntf<IVnDOMNode>(deepest);
    EXPECT_NE(doc->GetRootNode()->GetDOMImpl(), nullptr);
    EXPECT_NE(doc->GetDOMImpl(), nullptr);
    EXPECT_EQ(leaf->NodePath(false, u"").size(), 2u * cDepth);
    EXPECT_EQ(leaf->Document()->GetNodeType(), ntDocument);
    DelphiInterface<IVnDOMNode> parent = leaf->ParentNode();
    parent = nullptr;
    // The document was handed over to interfaces: the last of them takes the whole tree along.
    leaf = nullptr;
  });
}

TEST(DeepDocument, AnInterfaceOnTheDocumentKeepsTheTreeAcrossReleases) {
  const std::string text = Nested(cDepth);
  OnSmallStack([&] {
    DelphiInterface<IVnDOMDocument> doc = VnDOMIntf<IVnDOMDocument>(LoadUTF8(text).release());
    auto *object = static_cast<TVnDOMDocument *>(TVnDOMObjectImpl::Node(doc));
    TVnDOMElement *deepest = Deepest(object->GetRootNode());
    {
      DelphiInterface<IVnDOMNode> leaf = VnDOMIntf<IVnDOMNode>(deepest);
      EXPECT_EQ(leaf->GetText(), u"x");
    }
    // Released again, the Impls along the path are gone and the tree is whole.
    EXPECT_EQ(deepest->GetDOMImpl(), nullptr);
    EXPECT_EQ(object->GetRootNode()->GetDOMImpl(), nullptr);
    EXPECT_EQ(Levels(Deepest(object->GetRootNode())), cDepth);
    EXPECT_EQ(doc->GetXML().size(), text.size());
  });
}

// The formatted form with its indents, at a depth whose output stays small.
TEST(DeepDocument, FormattedOutputIndentsEveryLevel) {
  constexpr int depth = 3000;
  std::string expected;
  for (int d = 0; d < depth; ++d) {
    if (d > 0) expected += "\r\n" + std::string(2 * static_cast<std::size_t>(d), ' ');
    expected += "<a>";
  }
  expected += "x</a>";
  for (int d = depth - 2; d >= 0; --d) {
    expected += "\r\n" + std::string(2 * static_cast<std::size_t>(d), ' ') + "</a>";
  }
  OnSmallStack(
      [&] {
        Doc doc = LoadUTF8(Nested(depth));
        EXPECT_EQ(Saved(doc.get(), CP_UTF8, true), expected);
        EXPECT_EQ(Saved(doc.get(), CP_UTF8, false), Nested(depth));
      },
      256 << 10);
}

// Declarations far above the elements that use them resolve as they do a few levels down, and
// the look-ups stay cheap at any depth.
TEST(DeepDocument, NamespacesResolveAcrossManyLevels) {
  const std::string declarations = " xmlns=\"urn:d\" xmlns:p=\"urn:p\"";
  const std::string shallowText = Nested(3, declarations);
  const std::string deepText = Nested(100000, declarations);
  OnSmallStack([&] {
    for (const std::string *text : {&shallowText, &deepText}) {
      TVnDOMDocument *doc = LoadUTF8(*text).release();
      DelphiInterface<IVnDOMDocument> keep = VnDOMIntf<IVnDOMDocument>(doc);
      TVnDOMElement *root = doc->GetRootNode();
      TVnDOMElement *deepest = Deepest(root);
      deepest->SetAttribute(u"p:k", u"v");
      TVnDOMAttribute *k = deepest->FindAttribute(u"urn:p", u"k");
      ASSERT_NE(k, nullptr);
      EXPECT_EQ(k->GetNamespaceURI(), u"urn:p");
      EXPECT_EQ(deepest->FindNamespace(u"urn:p")->GetParent(), root);
      EXPECT_EQ(deepest->GetNamespaces()->Count(), 2);
      const UnicodeString uri = deepest->GetNamespaceURI();
      // Detached, the subtree keeps what its namespaces resolved to.
      auto *child = static_cast<TVnDOMElement *>(root->GetElements()->First());
      DelphiInterface<IVnDOMElement> held = VnDOMIntf<IVnDOMElement>(child);
      root->RemoveChild(child);
      EXPECT_EQ(Deepest(child)->GetNamespaceURI(), uri);
    }
  });
}

}  // namespace
}  // namespace domxml
