// Small node classes that stand in for the element, text, attribute and document classes, with
// counters of live nodes and Impls, for the tests of the tree model.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "vnxml/xml/uVnXMLDOM.h"

namespace domtest {

using namespace vn;

struct Live {
  static inline int Nodes = 0;
  static inline int Impls = 0;
  static inline int Lists = 0;
  // Local names of destroyed nodes, in the order of destruction.
  static inline std::vector<UnicodeString> Destroyed;
  static inline int Refreshes = 0;
};

template <class TBase, class... TIntf>
class TCountingImpl : public TBase, public virtual TIntf... {
 public:
  explicit TCountingImpl(TVnDOMObject *AObject) : TBase(AObject) { ++Live::Impls; }
  ~TCountingImpl() override { --Live::Impls; }
};

class TNodeImpl : public TCountingImpl<TVnDOMNodeImpl> {
  VN_CLASS(TNodeImpl, TVnDOMNodeImpl)
 public:
  using TCountingImpl::TCountingImpl;
};

// The stand-ins take the library's Impls of their kinds for the identity of the interfaces; the
// operations of those Impls work on the library's own classes only and raise EInvalidCast here.
class TElementImpl : public TCountingImpl<TVnDOMElementImpl> {
  VN_CLASS(TElementImpl, TVnDOMElementImpl)
 public:
  using TCountingImpl::TCountingImpl;
};

class TAttributeImpl : public TCountingImpl<TVnDOMAttributeImpl> {
  VN_CLASS(TAttributeImpl, TVnDOMAttributeImpl)
 public:
  using TCountingImpl::TCountingImpl;
};

class TDocumentImpl : public TCountingImpl<TVnDOMDocumentImpl> {
  VN_CLASS(TDocumentImpl, TVnDOMDocumentImpl)
 public:
  using TCountingImpl::TCountingImpl;
};

// A node with a counter, a kind and a stored value.
class TTestNode : public TVnDOMNode {
  VN_CLASS(TTestNode, TVnDOMNode)
 public:
  TTestNode() { ++Live::Nodes; }
  ~TTestNode() override {
    --Live::Nodes;
    Live::Destroyed.push_back(GetLocalName());
  }
  UnicodeString Value;
  void SetKeptNamespaceURI(const UnicodeString &AURI) { SetStoredNamespaceURI(AURI); }

 protected:
  TVnDOMObjectImpl *CreateDOMImpl(TVnDOMObject *AOwner) override { return New<TNodeImpl>(AOwner); }
};

class TTestText : public TTestNode {
  VN_CLASS(TTestText, TTestNode)
 public:
  TTestText() {
    FNodeType = ntText;
    FName = TVnDOMNameRef(TVnDOMName::Fixed(ntText));
  }
  UnicodeString GetNodeValue() override { return Value; }
  void SetNodeValue(const UnicodeString &AValue) override { Value = AValue; }
  void RefreshNamespaces() override {
    ++Live::Refreshes;
    TTestNode::RefreshNamespaces();
  }
  TVnDOMNode *CreateClone() override {
    auto *c = static_cast<TTestText *>(TTestNode::CreateClone());
    c->Value = Value;
    return c;
  }

 protected:
  void _SaveToStream(TStream *AStream, Word ACodePage, bool, Integer &) override;
};

class TTestAttribute : public TTestNode {
  VN_CLASS(TTestAttribute, TTestNode)
 public:
  TTestAttribute() { FNodeType = ntAttribute; }
  UnicodeString GetNodeValue() override { return Value; }
  void SetNodeValue(const UnicodeString &AValue) override { Value = AValue; }
  TVnDOMNode *CreateClone() override {
    auto *c = static_cast<TTestAttribute *>(TTestNode::CreateClone());
    c->Value = Value;
    return c;
  }

 protected:
  TVnDOMObjectImpl *CreateDOMImpl(TVnDOMObject *AOwner) override {
    return New<TAttributeImpl>(AOwner);
  }
};

// An element that keeps, like the real one, a typed list of its child elements.
class TTestElement : public TTestNode {
  VN_CLASS(TTestElement, TTestNode)
 public:
  TTestElement() {
    FNodeType = ntElement;
    Elements = New<TVnDOMElementList>();
    SetListOwner(Elements, this);
    Attributes = New<TVnDOMAttrList>();
    SetListOwner(Attributes, this);
  }
  ~TTestElement() override {
    Elements->Free();
    Attributes->Free();
  }
  TVnDOMElementList *Elements;
  TVnDOMAttrList *Attributes;

  TVnDOMNode *AddChild(TVnDOMNode *ANode, TVnDOMNode *ARefNode = nullptr,
                       TVnDOMPosition APosition = rdpLast) override {
    if (ANode && ANode->GetNodeType() == ntElement) Elements->Add(ANode, ARefNode, APosition);
    if (ANode && ANode->GetNodeType() == ntAttribute) Attributes->Add(ANode, ARefNode, APosition);
    return TTestNode::AddChild(ANode, ARefNode, APosition);
  }
  using TVnDOMNode::AddChild;
  void RemoveChild(TVnDOMNode *ANode) override {
    if (ANode) {
      Elements->Delete(ANode);
      Attributes->Delete(ANode);
    }
    TTestNode::RemoveChild(ANode);
  }
  bool HasAttributes() override { return Attributes->Count() > 0; }
  void RefreshNamespaces() override {
    ++Live::Refreshes;
    TTestNode::RefreshNamespaces();
  }
  UnicodeString NodePathStep(bool ALocalName, const UnicodeString &AKeyAttribute) override {
    UnicodeString step = TTestNode::NodePathStep(ALocalName, AKeyAttribute);
    if (AKeyAttribute.empty()) return step;
    TVnDOMSelectOptions options{soCaseInsensitive};
    if (ALocalName) options << soLocalName;
    if (TVnDOMNode *a = Attributes->Find(AKeyAttribute, options)) {
      step += u"[@" + AKeyAttribute + u"=\"" + a->GetNodeValue() + u"\"]";
    }
    return step;
  }

 protected:
  void ChildTakenOut(TVnDOMNode *AChild) override {
    Elements->Delete(AChild);
    Attributes->Delete(AChild);
    TTestNode::ChildTakenOut(AChild);
  }
  void _SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted, Integer &ALevel) override;
  void _SaveToJSONStream(TStream *AStream, Word ACodePage, bool, Integer &ALevel) override;
  TVnDOMObjectImpl *CreateDOMImpl(TVnDOMObject *AOwner) override {
    return New<TElementImpl>(AOwner);
  }
};

// A document with its own settings.
class TTestDocument : public TTestNode {
  VN_CLASS(TTestDocument, TTestNode)
 public:
  TTestDocument() {
    FNodeType = ntDocument;
    FName = TVnDOMNameRef(TVnDOMName::Fixed(ntDocument));
    SetDOMDocument(this);
  }
  TVnXPathCollationClass Collation = DefaultXPathCollation;
  TVnDOMSelectMatchOption MatchOption = DefaultSelectMatchOption;
  TVnDOMSelectCheckOption CheckOption = DefaultSelectCheckOption;
  TVnDOMLoadState LoadState = lsUninitialized;

  TVnXPathCollationClass GetCollation() override { return Collation; }
  TVnDOMSelectMatchOption GetSelectMatchOption() override { return MatchOption; }
  TVnDOMSelectCheckOption GetSelectCheckOption() override { return CheckOption; }
  TVnDOMLoadState GetLoadState() override { return LoadState; }

 protected:
  TVnDOMObjectImpl *CreateDOMImpl(TVnDOMObject *AOwner) override {
    return New<TDocumentImpl>(AOwner);
  }
};

// Helpers to build trees.
inline TTestElement *Element(const char16_t *AName) {
  auto *e = New<TTestElement>();
  e->SetQualifiedName(AName);
  return e;
}
inline TTestText *Text(const char16_t *AValue) {
  auto *t = New<TTestText>();
  t->Value = AValue;
  return t;
}
inline TTestAttribute *Attribute(const char16_t *AName, const char16_t *AValue) {
  auto *a = New<TTestAttribute>();
  a->SetQualifiedName(AName);
  a->Value = AValue;
  return a;
}

// Writes text into a stream in the page asked for.
void WriteText(TStream *AStream, Word ACodePage, const UnicodeString &AText);

// Checks that every test leaves no node and no Impl alive.
class DomTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Live::Nodes = 0;
    Live::Impls = 0;
    Live::Refreshes = 0;
    Live::Destroyed.clear();
  }
  void TearDown() override {
    EXPECT_EQ(Live::Nodes, 0) << "nodes left alive";
    EXPECT_EQ(Live::Impls, 0) << "Impls left alive";
  }
};

// The text of an exception's message as UTF-8, for comparisons.
inline std::string Msg(const Exception &E) {
  return E.what();
}

}  // namespace domtest
