// The interface half: identifiers, the pointers QueryInterface hands out, the conversion of node
// arguments, and the forwarding of the node operations.
#include "dom_stubs.h"

namespace domtest {
namespace {

// A node interface implemented elsewhere, on a base that does or does not answer IVnObject.
template <class TBase>
class TForeignNode : public TBase, public virtual IVnDOMNode {
  VN_IMPLEMENTS(TBase, IVnDOMNode)
 public:
  bool CanSerialize(TVnDataSerializationFormatType) override { return false; }
  RawByteString Serialize(TVnDataSerializationFormatType, TStringList *) override { return {}; }
  bool GetPreserveSpace() override { return false; }
  UnicodeString GetNodeValue() override { return {}; }
  UnicodeString GetText() override { return {}; }
  UnicodeString GetNamespaceURI() override { return {}; }
  UnicodeString GetLocalName() override { return u"foreign"; }
  UnicodeString GetPrefix() override { return {}; }
  UnicodeString GetQualifiedName() override { return {}; }
  UnicodeString GetFormattedInnerXML() override { return {}; }
  UnicodeString GetFormattedXML() override { return {}; }
  UnicodeString GetInnerXML() override { return {}; }
  UnicodeString GetXML() override { return {}; }
  DelphiInterface<IVnDOMNodeList> GetChildNodes() override { return nullptr; }
  TVnDOMNodeType GetNodeType() override { return ntElement; }
  void SetNodeValue(const UnicodeString &) override {}
  void SetPrefix(const UnicodeString &) override {}
  void SetQualifiedName(const UnicodeString &) override {}
  void SetInnerXML(const UnicodeString &) override {}
  void NormalizeTextNodes() override {}
  void LoadFromStream(TStream *, Word) override {}
  void SaveToStream(TStream *, Word, bool) override {}
  void Clear() override {}
  DelphiInterface<IVnDOMNode> CloneNode(bool) override { return nullptr; }
  Integer NodeCount() override { return 0; }
  DelphiInterface<IVnDOMNode> AddChild(IVnDOMNode *, IVnDOMNode *, TVnDOMPosition) override {
    return nullptr;
  }
  void RemoveChild(IVnDOMNode *) override {}
  DelphiInterface<IVnDOMNode> InsertBefore(IVnDOMNode *, IVnDOMNode *) override { return nullptr; }
  DelphiInterface<IVnDOMNode> AppendChild(IVnDOMNode *) override { return nullptr; }
  DelphiInterface<IVnDOMNode> SelectSingleNode(const UnicodeString &,
                                               TVnDOMSelectOptions) override {
    return nullptr;
  }
  DelphiInterface<IVnDOMNodeList> CreateNodeList(const UnicodeString &,
                                                 TVnDOMSelectOptions) override {
    return nullptr;
  }
  DelphiInterface<IVnDOMNode> NextSibling() override { return nullptr; }
  DelphiInterface<IVnDOMNode> PreviousSibling() override { return nullptr; }
  bool HasChilds() override { return false; }
  bool HasAttributes() override { return false; }
  void Transform(IVnDOMNode *, WideString &) override {}
  DelphiInterface<IVnDOMDocument> Transform(IVnDOMNode *) override { return nullptr; }
  DelphiInterface<IVnDOMDocument> Document() override { return nullptr; }
  DelphiInterface<IVnDOMNode> ParentNode() override { return nullptr; }
  UnicodeString NodePath(bool, const UnicodeString &) override { return {}; }
};

class Interfaces : public DomTest {};

TEST_F(Interfaces, Identifiers) {
  const std::pair<TGUID, const char16_t *> ids[] = {
      {IVnSerializable::IID, u"{FECAA297-A72F-4A54-A230-249C52259587}"},
      {IVnDOMNode::IID, u"{5BA39F9D-B914-4685-9D31-0C7D618FF832}"},
      {IVnDOMNodeList::IID, u"{D7121E5A-EB0A-49D1-8E27-7AE65BD913CA}"},
      {IVnDOMNamedNodeList::IID, u"{097B7F7F-8C68-41A0-BBDF-39262A80488E}"},
      {IVnDOMElementList::IID, u"{9D2F0EBC-7DF0-489E-ADCC-46ACB997589A}"},
      {IVnDOMAttrList::IID, u"{7734B7C6-CDC5-49CD-ACE0-3CB47DECB269}"},
      {IVnDOMCharacterData::IID, u"{6DB6C03E-1155-4BC2-A344-86F1285423BE}"},
      {IVnDOMText::IID, u"{7ECBBD06-4665-4435-9BC7-CF2E1FC1A5F4}"},
      {IVnDOMComment::IID, u"{DA0D0710-A101-49D2-9D82-B30B63B9096F}"},
      {IVnDOMCDATA::IID, u"{E619A337-648C-4CAB-BC08-6E2FC36DA606}"},
      {IVnDOMAttribute::IID, u"{EBFBBD41-12CF-4A7A-8435-F65508FE0FFF}"},
      {IVnDOMElement::IID, u"{5124EEBC-8073-47C0-9C06-DB02B4A7E93C}"},
      {IVnDOMProcessingInstruction::IID, u"{85F62362-3762-47D2-A308-1F1368E68150}"},
      {IVnDOMDocument::IID, u"{D45D3D71-6B97-4FCD-96A6-DFBBAA9849B8}"},
  };
  for (const auto &[iid, text] : ids) EXPECT_EQ(GUIDToString(iid), text);
}

TEST_F(Interfaces, ExceptionFamilyAndNodeTypeNames) {
  const TClass family[] = {EVnDomStringSize::StaticClass(),
                           EVnDomHierarchyRequest::StaticClass(),
                           EVnDomIndexSize::StaticClass(),
                           EVnDomInUseAttribute::StaticClass(),
                           EVnDomInvalidAcces::StaticClass(),
                           EVnDomInvalidCharacter::StaticClass(),
                           EVnDomInvalidModification::StaticClass(),
                           EVnDomInvalidState::StaticClass(),
                           EVnDomNamespace::StaticClass(),
                           EVnDomNotFound::StaticClass(),
                           EVnDomNotSupported::StaticClass(),
                           EVnDomNoDataAllowed::StaticClass(),
                           EVnDomNoModificationAllowed::StaticClass(),
                           EVnDomSyntax::StaticClass(),
                           EVnDomTypeMismatch::StaticClass(),
                           EVnDomValidation::StaticClass(),
                           EVnDomWrongDocument::StaticClass()};
  for (TClass c : family) EXPECT_EQ(c->ClassParent(), EVnDomException::StaticClass());
  EXPECT_EQ(EVnDomException::StaticClass()->ClassParent(), Exception::StaticClass());
  try {
    EVnDomWrongDocument::StaticClass()->RaiseException(u"wrong");
  } catch (EVnDomException &E) {
    EXPECT_EQ(Msg(E), "wrong");
    EXPECT_EQ(E.ClassName(), u"EVnDomWrongDocument");
  }
  EXPECT_EQ(UnicodeString(VnDOMNodeTypes[ntUnknown]), u"Unknown");
  EXPECT_EQ(UnicodeString(VnDOMNodeTypes[ntCDATA]), u"CDATA");
  EXPECT_EQ(UnicodeString(VnDOMNodeTypes[ntProcessingInstruction]), u"ProcessingInstruction");
  EXPECT_EQ(UnicodeString(VnDOMNodeTypes[ntNotation]), u"Notation");
  EXPECT_EQ(static_cast<int>(ntDocument), 9);
  const TVnDOMSelectOptions options{soRaise, soQualifiedName};
  EXPECT_EQ(options.ToInt(), 1u | 32u);
}

TEST_F(Interfaces, EachInterfaceIsItsOwnSubobject) {
  TTestElement *e = Element(u"p:e");
  {
    DelphiInterface<IVnDOMElement> el = VnDOMIntf<IVnDOMElement>(e);
    DelphiInterface<IVnSerializable> ser = IntfAs<IVnSerializable>(el);
    DelphiInterface<IVnDOMNode> node = IntfAs<IVnDOMNode>(ser);
    EXPECT_TRUE(ser->CanSerialize(dsfXML));
    EXPECT_FALSE(ser->CanSerialize(static_cast<TVnDataSerializationFormatType>(3)));
    EXPECT_EQ(node->GetLocalName(), u"e");
    EXPECT_EQ(el->GetPrefix(), u"p");
    EXPECT_EQ(IntfAs<IVnDOMElement>(node), el);
    // One identity and one count for all of them.
    DelphiInterface<IInterface> id1 = IntfAs<IInterface>(node), id2 = IntfAs<IInterface>(ser);
    EXPECT_EQ(id1.get(), id2.get());
    EXPECT_EQ(e->GetDOMImpl()->RefCount(), 5);
    DelphiInterface<IVnObject> obj = IntfAs<IVnObject>(el);
    EXPECT_TRUE(obj->Implementor()->Is<TVnDOMNodeImpl>());
    EXPECT_EQ(static_cast<TVnDOMObjectImpl *>(obj->Implementor())->GetDOMObject(), e);
    // Asking the object itself gives the same Impl.
    DelphiInterface<IVnDOMNode> viaObject;
    EXPECT_TRUE(Supports(static_cast<TObject *>(e), viaObject));
    EXPECT_EQ(viaObject, node);
    EXPECT_THROW(IntfAs<IVnDOMDocument>(node), EIntfCastError);
    DelphiInterface<IVnDOMNodeList> children = VnDOMIntf<IVnDOMNodeList>(e->GetChildNodes());
    DelphiInterface<IVnDOMNamedNodeList> named = IntfAs<IVnDOMNamedNodeList>(children);
    EXPECT_EQ(named->Count(), 0);
    EXPECT_THROW(IntfAs<IVnDOMElementList>(children), EIntfCastError);
  }
  EXPECT_EQ(Live::Nodes, 0);
}

TEST_F(Interfaces, NodeArgumentsMustComeFromThisTree) {
  TTestElement *e = Element(u"e");
  DelphiInterface<IVnDOMNode> ei = VnDOMIntf<IVnDOMNode>(e);
  EXPECT_EQ(TVnDOMObjectImpl::Node(nullptr), nullptr);
  EXPECT_EQ(TVnDOMObjectImpl::Node(ei), e);
  EXPECT_EQ(TVnDOMObjectImpl::Node(static_cast<IVnObject *>(e)), e);

  DelphiInterface<IVnDOMNode> plain = new TForeignNode<TInterfacedObject>();
  DelphiInterface<IVnDOMNode> vn = New<TForeignNode<TVnObject>>();
  for (IVnDOMNode *foreign : {plain.get(), vn.get()}) {
    EXPECT_THROW(TVnDOMObjectImpl::Node(foreign), EInvalidCast);
    try {
      ei->AppendChild(foreign);
      ADD_FAILURE() << "no exception";
    } catch (EInvalidCast &E) {
      EXPECT_EQ(Msg(E), "Invalid class typecast");
    }
    EXPECT_THROW(ei->InsertBefore(ei->CloneNode(false), foreign), EInvalidCast);
    EXPECT_THROW(ei->GetChildNodes()->ContainsNode(foreign), EInvalidCast);
  }
  EXPECT_EQ(ei->NodeCount(), 0);
  EXPECT_EQ(plain->GetLocalName(), u"foreign");
}

TEST_F(Interfaces, NodeOperationsForward) {
  TTestDocument *d = New<TTestDocument>();
  DelphiInterface<IVnDOMNode> doc = VnDOMIntf<IVnDOMNode>(d);
  DelphiInterface<IVnDOMNode> root = doc->AppendChild(VnDOMIntf<IVnDOMNode>(Element(u"root")));
  DelphiInterface<IVnDOMNode> b = root->AppendChild(VnDOMIntf<IVnDOMNode>(Element(u"b")));
  DelphiInterface<IVnDOMNode> a = root->InsertBefore(VnDOMIntf<IVnDOMNode>(Element(u"a")), b);
  DelphiInterface<IVnDOMNode> c =
      root->AddChild(VnDOMIntf<IVnDOMNode>(Element(u"c")), nullptr, rdpLast);
  DelphiInterface<IVnDOMNode> t = a->AppendChild(VnDOMIntf<IVnDOMNode>(Text(u"x")));
  EXPECT_EQ(root->NodeCount(), 3);
  EXPECT_TRUE(root->HasChilds());
  EXPECT_FALSE(root->HasAttributes());
  EXPECT_EQ(a->NextSibling(), b);
  EXPECT_EQ(b->PreviousSibling(), a);
  EXPECT_EQ(c->NextSibling(), nullptr);
  EXPECT_EQ(t->ParentNode(), a);
  EXPECT_EQ(t->Document(), IntfAs<IVnDOMDocument>(doc));
  EXPECT_EQ(doc->ParentNode(), nullptr);
  EXPECT_EQ(t->NodePath(false, u""), u"/root/a/#text");
  EXPECT_EQ(t->GetNodeType(), ntText);
  t->SetNodeValue(u"y");
  EXPECT_EQ(t->GetNodeValue(), u"y");
  EXPECT_EQ(a->GetXML(), u"<a>y</a>");
  EXPECT_EQ(root->GetChildNodes()->GetItem(2), c);
  b->SetQualifiedName(u"q:bb");
  EXPECT_EQ(b->GetPrefix(), u"q");
  EXPECT_EQ(b->GetQualifiedName(), u"q:bb");
  {
    DelphiInterface<IVnDOMNode> copy = a->CloneNode(true);
    EXPECT_EQ(copy->GetXML(), u"<a>y</a>");
    EXPECT_EQ(copy->ParentNode(), nullptr);
    EXPECT_EQ(Live::Nodes, 8);
  }
  EXPECT_EQ(Live::Nodes, 6);
  // A node removed through the interface lives while its argument reference does.
  root->RemoveChild(a);
  EXPECT_EQ(root->NodeCount(), 2);
  EXPECT_EQ(a->ParentNode(), nullptr);
  EXPECT_EQ(a->GetXML(), u"<a>y</a>");
  // b is no style sheet (and without XSLT support nothing is).
  WideString out;
  EXPECT_THROW(a->Transform(b, out), EVnDomException);
  EXPECT_THROW(a->Transform(b), EVnDomException);
  EXPECT_EQ(a->SelectSingleNode(u"node()", {})->GetNodeValue(), u"y");
  EXPECT_EQ(a->CreateNodeList(u"x", {})->Count(), 0);
  EXPECT_THROW(a->LoadFromStream(nullptr, CP_UTF8), EArgumentNilException);
  EXPECT_EQ(a->Serialize(dsfXML, nullptr), "<a>y</a>");
  a = nullptr;
  t = nullptr;
  EXPECT_EQ(Live::Nodes, 4);
  root->Clear();
  EXPECT_EQ(Live::Nodes, 4);  // b and c are held
  b = nullptr;
  c = nullptr;
  EXPECT_EQ(Live::Nodes, 2);
}

}  // namespace
}  // namespace domtest
