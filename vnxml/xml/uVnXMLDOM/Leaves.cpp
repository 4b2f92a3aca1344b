// Character data, attributes and processing instructions.
#include <algorithm>
#include <utility>

#include "vnxml/xml/uVnXMLDOM/Internal.h"
#include "vnxml/xml/uVnXMLUtils.h"

namespace vn {

namespace {

// The run-time's string routines on 1-based positions. Delete removes nothing when the
// position lies outside the string or the count is not positive, and shortens a count that
// runs past the end.
void DeleteAt(UnicodeString &S, Integer AOffset, Integer ACount) {
  const Integer len = static_cast<Integer>(S.size());
  if (AOffset < 1 || AOffset > len || ACount <= 0) return;
  S.erase(static_cast<std::size_t>(AOffset - 1),
          static_cast<std::size_t>(std::min(ACount, len - AOffset + 1)));
}

// Insert puts the text first for a position below 1 and last for one past the end.
void InsertAt(UnicodeString &S, Integer AOffset, const UnicodeString &AText) {
  const Integer len = static_cast<Integer>(S.size());
  S.insert(static_cast<std::size_t>(std::clamp(AOffset, 1, len + 1) - 1), AText);
}

}  // namespace

// --- character data

TVnDOMCharacterData::TVnDOMCharacterData() {
  FNodeType = ntText;
  FName = TVnDOMNameRef(TVnDOMName::Fixed(ntText));
}

UnicodeString TVnDOMCharacterData::GetNodeValue() {
  return RawValue() ? FNodeValue : VnXMLToStr(FNodeValue);
}

void TVnDOMCharacterData::SetNodeValue(const UnicodeString &AValue) {
  FNodeValue = RawValue() ? AValue : VnStrToXML(AValue, true, true);
}

void TVnDOMCharacterData::AppendStr(const UnicodeString &AText) {
  SetNodeValue(GetNodeValue() + AText);
}

void TVnDOMCharacterData::DeleteStr(Integer AOffset, Integer ACount) {
  UnicodeString v = GetNodeValue();
  DeleteAt(v, AOffset, ACount);
  SetNodeValue(v);
}

void TVnDOMCharacterData::InsertStr(Integer AOffset, const UnicodeString &AText) {
  UnicodeString v = GetNodeValue();
  InsertAt(v, AOffset, AText);
  SetNodeValue(v);
}

void TVnDOMCharacterData::ReplaceStr(Integer AOffset, Integer ACount, const UnicodeString &AText) {
  // A delete, then an insert at the same position.
  UnicodeString v = GetNodeValue();
  DeleteAt(v, AOffset, ACount);
  InsertAt(v, AOffset, AText);
  SetNodeValue(v);
}

UnicodeString TVnDOMCharacterData::Substring(Integer, Integer) {
  return GetNodeValue();
}

TVnDOMNode *TVnDOMCharacterData::CreateClone() {
  auto *clone = static_cast<TVnDOMCharacterData *>(TVnDOMNode::CreateClone());
  clone->FNodeValue = FNodeValue;
  return clone;
}

TVnDOMObjectImpl *TVnDOMCharacterData::CreateDOMImpl(TVnDOMObject *AOwner) {
  return New<TVnDOMCharacterDataImpl>(AOwner);
}

// --- text

TVnDOMText *TVnDOMText::SplitText(Integer AOffset) {
  TVnDOMNode *parent = ParentNode();
  if (!parent) throw EVnDomException(dom::cSplitNoParent);
  UnicodeString v = GetNodeValue();
  const std::size_t at =
      static_cast<std::size_t>(std::clamp<Integer>(AOffset, 0, static_cast<Integer>(v.size())));
  auto *rest =
      static_cast<TVnDOMText *>(parent->AddChild(TVnDOMText::StaticClass(), this, rdpAfter));
  rest->SetNodeValue(v.substr(at));
  v.resize(at);
  SetNodeValue(v);
  return rest;
}

TVnDOMObjectImpl *TVnDOMText::CreateDOMImpl(TVnDOMObject *AOwner) {
  return New<TVnDOMTextImpl>(AOwner);
}

void TVnDOMText::_SaveToStream(TStream *AStream, Word ACodePage, bool, Integer &) {
  dom::WriteText(AStream, ACodePage, FNodeValue);
}

// --- CDATA

TVnDOMCDATA::TVnDOMCDATA() {
  FNodeType = ntCDATA;
  FName = TVnDOMNameRef(TVnDOMName::Fixed(ntCDATA));
}

TVnDOMObjectImpl *TVnDOMCDATA::CreateDOMImpl(TVnDOMObject *AOwner) {
  return New<TVnDOMCDATAImpl>(AOwner);
}

void TVnDOMCDATA::_SaveToStream(TStream *AStream, Word ACodePage, bool, Integer &) {
  dom::WriteText(AStream, ACodePage, u"<![CDATA[");
  dom::WriteText(AStream, ACodePage, FNodeValue);
  dom::WriteText(AStream, ACodePage, u"]]>");
}

// --- comments

TVnDOMComment::TVnDOMComment() {
  FNodeType = ntComment;
  FName = TVnDOMNameRef(TVnDOMName::Fixed(ntComment));
}

TVnDOMObjectImpl *TVnDOMComment::CreateDOMImpl(TVnDOMObject *AOwner) {
  return New<TVnDOMCommentImpl>(AOwner);
}

void TVnDOMComment::_SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted,
                                  Integer &ALevel) {
  if (AFormatted) {
    if (!GetPreserveSpace()) dom::WriteBreak(AStream, ACodePage);
    TVnDOMNode *parent = ParentNode();
    if (parent && parent->GetNodeType() == ntElement && !parent->GetPreserveSpace())
      dom::WriteIndent(AStream, ACodePage, ALevel);
  }
  dom::WriteText(AStream, ACodePage, u"<!--");
  dom::WriteText(AStream, ACodePage, FNodeValue);
  dom::WriteText(AStream, ACodePage, u"-->");
}

// --- attributes

TVnDOMAttribute::TVnDOMAttribute() {
  FNodeType = ntAttribute;
}

UnicodeString TVnDOMAttribute::GetNodeValue() {
  return VnXMLToStr(FNodeValue);
}

void TVnDOMAttribute::SetNodeValue(const UnicodeString &AValue) {
  FNodeValue = VnStrToXML(AValue, false, true);
}

UnicodeString TVnDOMAttribute::NamespacePrefix() const {
  VN_ASSERT_AT(IsNamespace(), "xml/uVnXMLDOM", 7370);
  // The declaration test ignores case; this one does not.
  if (GetLocalName() == u"xmlns") return UnicodeString();
  return GetLocalName();
}

TVnDOMElement *TVnDOMAttribute::ParentElement() const noexcept {
  TVnDOMNode *parent = ParentNode();
  return parent && parent->GetNodeType() == ntElement ? static_cast<TVnDOMElement *>(parent)
                                                      : nullptr;
}

UnicodeString TVnDOMAttribute::GetNamespaceURI() {
  if (FNamespace) return FNamespace->GetNodeValue();
  if (GetPrefix() == u"xml") return dom::cXMLNamespace;
  if (FParent) return UnicodeString();
  return StoredNamespaceURI();
}

void TVnDOMAttribute::SetNamespaceURI(const UnicodeString &AURI) {
  TVnDOMElement *element = ParentElement();
  if (!element) {
    SetStoredNamespaceURI(AURI);
    FNamespaceSet = true;
    return;
  }
  TVnDOMAttrList *scope = element->Scope();
  if (FNamespaceSet && !(scope && scope->FindNamespace(StoredNamespaceURI()))) {
    TVnDOMChangeScope scope;
    auto *decl = dom::NewNode<TVnDOMAttribute>([&](auto *n) {
      n->SetQualifiedName(dom::DeclarationName(GetPrefix()));
      n->SetNodeValue(AURI);
    });
    element->AddChild(decl, this, rdpBefore);
    FNamespace = decl;
  }
  ClearStoredNamespaceURI();
  FNamespaceSet = false;
}

void TVnDOMAttribute::LinkNamespace() {
  TVnDOMElement *element = ParentElement();
  if (!element) {
    FNamespace = nullptr;
    return;
  }
  LinkNamespaceIn(element->Scope());
}

void TVnDOMAttribute::LinkNamespaceIn(TVnDOMAttrList *AScope) {
  if (!AScope || AScope->Count() == 0) {
    FNamespace = nullptr;
    return;
  }
  // Every attached attribute links here, so the declaration's name is put together in a local
  // buffer unless the prefix is unusually long.
  const UnicodeString &prefix = GetPrefix();
  static constexpr std::u16string_view cXmlns = u"xmlns:";
  char16_t buffer[64];
  UnicodeString longName;
  UnicodeStringView name = cXmlns.substr(0, 5);
  if (!prefix.empty()) {
    if (prefix.size() <= std::size(buffer) - cXmlns.size()) {
      std::copy(cXmlns.begin(), cXmlns.end(), buffer);
      std::copy(prefix.begin(), prefix.end(), buffer + cXmlns.size());
      name = UnicodeStringView(buffer, cXmlns.size() + prefix.size());
    } else {
      longName = UnicodeString(cXmlns) + prefix;
      name = longName;
    }
  }
  FNamespace =
      static_cast<TVnDOMAttribute *>(AScope->FindName(name, false, AScope->GetCollation()));
}

void TVnDOMAttribute::SetPrefix(const UnicodeString &APrefix) {
  StorePrefix(APrefix);
  LinkNamespace();
}

void TVnDOMAttribute::SetQualifiedName(const UnicodeString &AName) {
  const bool was = IsNamespace();
  TVnDOMNode::SetQualifiedName(AName);
  if (FDestroying) return;
  if (FDOMDocument && FDOMDocument->GetLoadState() == lsLoading) return;
  TVnDOMElement *element = ParentElement();
  if (element && (was || IsNamespace())) element->RefreshNamespaces();
}

void TVnDOMAttribute::RefreshNamespaces() {
  LinkNamespace();
  TVnDOMNode::RefreshNamespaces();
}

void TVnDOMAttribute::SetParentNode(TVnDOMObject *AParent) {
  const bool hadParent = FParent != nullptr;
  if (!FDestroying && hadParent && !AParent) {
    SetStoredNamespaceURI(GetNamespaceURI());
    FNamespaceSet = true;
    // The declaration belongs to the old element.
    FNamespace = nullptr;
  }
  TVnDOMNode::SetParentNode(AParent);
  if (!FDestroying && !hadParent && AParent && !StoredNamespaceURI().empty() && ParentElement())
    SetNamespaceURI(StoredNamespaceURI());
}

TVnDOMAttribute *TVnDOMAttribute::NextAttribute() {
  TVnDOMElement *element = ParentElement();
  if (!element) return nullptr;
  return static_cast<TVnDOMAttribute *>(element->GetAttributes()->Next(this));
}

TVnDOMAttribute *TVnDOMAttribute::PreviousAttribute() {
  TVnDOMElement *element = ParentElement();
  if (!element) return nullptr;
  return static_cast<TVnDOMAttribute *>(element->GetAttributes()->Previous(this));
}

TVnDOMNode *TVnDOMAttribute::CreateClone() {
  auto *clone = static_cast<TVnDOMAttribute *>(TVnDOMNode::CreateClone());
  clone->FNodeValue = FNodeValue;
  return clone;
}

TVnDOMObjectImpl *TVnDOMAttribute::CreateDOMImpl(TVnDOMObject *AOwner) {
  return New<TVnDOMAttributeImpl>(AOwner);
}

void TVnDOMAttribute::_SaveToStream(TStream *AStream, Word ACodePage, bool, Integer &) {
  dom::WriteText(AStream, ACodePage, u" ");
  dom::WriteText(AStream, ACodePage, GetQualifiedName());
  dom::WriteText(AStream, ACodePage, u"=\"");
  dom::WriteText(AStream, ACodePage, FNodeValue);
  dom::WriteText(AStream, ACodePage, u"\"");
}

// --- processing instructions

TVnDOMProcessingInstruction::TVnDOMProcessingInstruction() {
  FNodeType = ntProcessingInstruction;
}

TVnDOMObjectImpl *TVnDOMProcessingInstruction::CreateDOMImpl(TVnDOMObject *AOwner) {
  return New<TVnDOMProcessingInstructionImpl>(AOwner);
}

void TVnDOMProcessingInstruction::_SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted,
                                                Integer &ALevel) {
  if (AFormatted && AStream->GetSize() > 4) {
    dom::WriteBreak(AStream, ACodePage);
    TVnDOMNode *parent = ParentNode();
    if (parent && parent->GetNodeType() == ntElement && !parent->GetPreserveSpace())
      dom::WriteIndent(AStream, ACodePage, ALevel);
  }
  dom::WriteText(AStream, ACodePage, u"<?");
  dom::WriteText(AStream, ACodePage, GetQualifiedName());
  if (!FData.empty()) {
    dom::WriteText(AStream, ACodePage, u" ");
    dom::WriteText(AStream, ACodePage, FData);
  }
  dom::WriteText(AStream, ACodePage, u"?>");
}

}  // namespace vn
