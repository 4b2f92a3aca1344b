#include "vnxml/xml/uVnXMLSchema.h"

#include <algorithm>

#include "vnxml/common/uVnTypes.h"
#include "vnxml/rtl/SysUtils.h"
#include "vnxml/xml/uVnXMLUtils.h"

namespace vn {

namespace {

const char16_t *const cVnInvalidSchemaIndex = u"Invalid Schema Index";
const char16_t *const cVnNodeNotInSchema =
    u"The specified nodename (%s) is not part of the Schema!";
const char16_t *const cVnDuplicateSchemaIndex = u"Duplicates not allowed";

// Child elements and attributes are found by the qualified name the particle is written with;
// case follows the document's collation.
const TVnDOMSelectOptions cVnSchemaNameMatch{soQualifiedName};

// The part of a qualified name behind its first ":", or the whole name.
UnicodeStringView LocalPart(const UnicodeString &AName) {
  const auto colon = AName.find(u':');
  return colon == UnicodeString::npos ? UnicodeStringView(AName)
                                      : UnicodeStringView(AName).substr(colon + 1);
}

DelphiInterface<IVnDOMNode> AsNode(IVnDOMNode *ANode) {
  return DelphiInterface<IVnDOMNode>(ANode);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// TVnXMLSchemaElementArray

DelphiInterface<IVnDOMElementList> TVnXMLSchemaElementArray::Children() {
  TVnXMLSchemaInfo *info = FOwner->InfoOf(FIndex);
  return FOwner->FDOMElement->CreateElementList(info->Name(), cVnSchemaNameMatch);
}

Integer TVnXMLSchemaElementArray::Count() {
  return Children()->Count();
}

TVnXMLSchemaElement *TVnXMLSchemaElementArray::GetItem(Integer AIndex) {
  DelphiInterface<IVnDOMElementList> list = Children();
  if (AIndex < 0 || AIndex >= list->Count())
    throw EListError(Format(u"List index out of bounds (%d)", {AIndex}));
  DelphiInterface<IVnDOMElement> el;
  Supports(list->GetItem(AIndex).get(), el);
  return FOwner->GetSubElement(el, FFactory);
}

TVnXMLSchemaElement *TVnXMLSchemaElementArray::Add() {
  DelphiInterface<IVnDOMElementList> list = Children();
  DelphiInterface<IVnDOMElement> el;
  if (list->Count() == 0) {
    // The first child takes the particle's place in schema order.
    Supports(FOwner->GetNodeByIndex(FIndex, true).get(), el);
  } else {
    DelphiInterface<IVnDOMNode> last = list->Last();
    el = FOwner->FDOMElement->InsertElement(FOwner->InfoOf(FIndex)->Name(), rdpAfter, last);
  }
  return FOwner->GetSubElement(el, FFactory);
}

void TVnXMLSchemaElementArray::Delete(Integer AIndex) {
  DelphiInterface<IVnDOMElementList> list = Children();
  if (AIndex < 0 || AIndex >= list->Count())
    throw EListError(Format(u"List index out of bounds (%d)", {AIndex}));
  DelphiInterface<IVnDOMNode> node = list->GetItem(AIndex);
  FOwner->RemoveElementNode(node);
}

// ---------------------------------------------------------------------------------------------
// TVnXMLSchemaElement

TVnXMLSchemaElement::TVnXMLSchemaElement(IVnDOMElement *AElement) : FDOMElement(AElement) {
  if (!AElement) throw EArgumentNilException(u"The element of a schema element must not be nil!");
}

TVnXMLSchemaElement::~TVnXMLSchemaElement() {
  FreeArrayElements();
  // The wrappers of children nest as deep as the binding went down the document: they are
  // taken apart one level at a time from a work list, so that no destructor frees the next
  // level from inside itself.
  std::vector<TObject *> pending;
  TakeSubElements(pending);
  while (!pending.empty()) {
    TObject *obj = pending.back();
    pending.pop_back();
    if (auto *sub = dynamic_cast<TVnXMLSchemaElement *>(obj)) sub->TakeSubElements(pending);
    obj->Free();
  }
}

void TVnXMLSchemaElement::TakeSubElements(std::vector<TObject *> &AInto) {
  for (TObject *obj : FSubElements) AInto.push_back(obj);
  FSubElements.SetOwnsObjects(false);
  FSubElements.Clear();
  FSubElements.SetOwnsObjects(true);
}

void TVnXMLSchemaElement::FreeArrayElements() {
  // Taken out first, so that a failing destructor leaves no entry behind that is freed twice.
  std::map<Integer, TValue> arrays;
  arrays.swap(FArrayElements);
  for (auto &[index, value] : arrays)
    if (TObject *obj = value.AsObject()) obj->Free();
}

void TVnXMLSchemaElement::AddSchemaInfo(Integer AIndex, TVnDOMNodeType ANodeType,
                                        const UnicodeString &AName, Integer AMinOccurs,
                                        Integer AMaxOccurs, bool ARequired, Integer AChoiceIdx) {
  if (FSchemaInfo.count(AIndex)) throw EListError(cVnDuplicateSchemaIndex);
  Owned<TVnXMLSchemaInfo> info(New<TVnXMLSchemaInfo>(AName, ANodeType));
  info->FMinOccurs = AMinOccurs;
  info->FMaxOccurs = AMaxOccurs;
  info->FRequired = ARequired;
  info->FChoiceIdx = AChoiceIdx;
  TVnXMLSchemaInfo *raw = info.get();
  FSchemaInfoList.reserve(FSchemaInfoList.size() + 1);
  FSchemaInfo.emplace(AIndex, std::move(info));
  FSchemaInfoList.push_back(raw);
}

TVnXMLSchemaInfo *TVnXMLSchemaElement::FindSchemaInfo(const UnicodeString &AName) {
  for (auto &[index, info] : FSchemaInfo)
    if (SameText(info->Name(), AName)) return info.get();
  return nullptr;
}

TVnXMLSchemaInfo *TVnXMLSchemaElement::InfoOf(Integer AIndex) {
  auto it = FSchemaInfo.find(AIndex);
  if (it == FSchemaInfo.end()) throw EListError(cVnInvalidSchemaIndex);
  return it->second.get();
}

bool TVnXMLSchemaElement::IndexOfName(const UnicodeString &AName, Integer &AIndex) {
  for (auto &[index, info] : FSchemaInfo) {
    if (info->Name() == AName || LocalPart(info->Name()) == AName) {
      AIndex = index;
      return true;
    }
  }
  return false;
}

UnicodeString TVnXMLSchemaElement::GetXML() {
  return FDOMElement->GetXML();
}

void TVnXMLSchemaElement::AssignTo(TVnObjectEx *ADest) {
  auto *dest = dynamic_cast<TVnXMLSchemaElement *>(ADest);
  if (!dest) {
    TVnObjectEx::AssignTo(ADest);
    return;
  }
  if (dest == this) return;
  dest->Clear();
  // Copies of the children, attributes included, in their order: the destination's element then
  // writes what this one writes inside its tags.
  DelphiInterface<IVnDOMNodeList> children = FDOMElement->GetChildNodes();
  const Integer count = children->Count();
  TVnDOMChangeScope scope;
  for (Integer i = 0; i < count; ++i) {
    DelphiInterface<IVnDOMNode> copy = children->GetItem(i)->CloneNode(true);
    dest->FDOMElement->AppendChild(copy);
  }
}

void TVnXMLSchemaElement::Clear() {
  FreeArrayElements();
  FSubElements.Clear();
  FDOMElement->Clear();
}

DelphiInterface<IVnDOMNode> TVnXMLSchemaElement::FindNode(const UnicodeString &AName) {
  if (AName.empty()) return AsNode(FDOMElement);
  Integer index;
  if (!IndexOfName(AName, index)) return nullptr;
  return GetNodeByIndex(index, false);
}

DelphiInterface<IVnDOMNode> TVnXMLSchemaElement::GetNode(const UnicodeString &AName) {
  if (AName.empty()) return AsNode(FDOMElement);
  Integer index;
  if (!IndexOfName(AName, index)) throw EListError(Format(cVnNodeNotInSchema, {AName}));
  return GetNodeByIndex(index, true);
}

void TVnXMLSchemaElement::RemoveElementNode(IVnDOMNode *ANode) {
  DelphiInterface<IVnDOMNode> node(ANode);
  for (Integer i = FSubElements.Count() - 1; i >= 0; --i) {
    auto *sub = static_cast<TVnXMLSchemaElement *>(FSubElements.Get(i));
    if (AsNode(sub->AsElement()) == node) FSubElements.Delete(i);
  }
  if (DelphiInterface<IVnDOMNode> parent = node->ParentNode()) parent->RemoveChild(node);
}

void TVnXMLSchemaElement::RemoveNode(const UnicodeString &AName) {
  DelphiInterface<IVnDOMNode> node = FDOMElement->SelectSingleNode(AName, TVnDOMSelectOptions());
  if (node) RemoveElementNode(node);
}

bool TVnXMLSchemaElement::GetValue(Integer AIndex, UnicodeString &AValue) {
  AValue.clear();
  DelphiInterface<IVnDOMNode> node = GetNodeByIndex(AIndex, false);
  if (!node) return false;
  AValue = node->GetNodeValue();
  return true;
}

void TVnXMLSchemaElement::SetValue(Integer AIndex, const UnicodeString &AValue) {
  DelphiInterface<IVnDOMNode> node = GetNodeByIndex(AIndex, false);
  if (!node) {
    if (AValue.empty()) return;
    node = GetNodeByIndex(AIndex, true);
  }
  node->SetNodeValue(AValue);
}

DelphiInterface<IVnDOMNode> TVnXMLSchemaElement::GetNodeByIndex(Integer AIndex, bool ACreate) {
  TVnXMLSchemaInfo *info = InfoOf(AIndex);

  // The event may set values of this very particle; its reads and writes must not fire it
  // again.
  if (FOnGetValue && std::find(FCreating.begin(), FCreating.end(), info) == FCreating.end()) {
    FCreating.push_back(info);
    try {
      FOnGetValue(this, info);
    } catch (...) {
      FCreating.erase(std::find(FCreating.begin(), FCreating.end(), info));
      throw;
    }
    FCreating.erase(std::find(FCreating.begin(), FCreating.end(), info));
  }

  const bool isAttribute = info->NodeType() == ntAttribute;
  DelphiInterface<IVnDOMNode> result;
  if (isAttribute) {
    result = AsNode(FDOMElement->FindAttribute(info->Name(), cVnSchemaNameMatch));
    if (!result && info->Required()) ACreate = true;
  } else {
    result = AsNode(FDOMElement->FindElement(info->Name(), cVnSchemaNameMatch));
    if (!result && (info->Required() || info->MinOccurs() == 1)) ACreate = true;
  }
  if (result || !ACreate) return result;

  if (isAttribute) return AsNode(FDOMElement->AddAttribute(info->Name()));
  if (!FDOMElement->HasChilds()) return AsNode(FDOMElement->AddElement(info->Name()));

  // Schema order: after the nearest earlier particle whose element is there, else first.
  auto pos = std::find(FSchemaInfoList.begin(), FSchemaInfoList.end(), info);
  while (pos != FSchemaInfoList.begin()) {
    --pos;
    TVnXMLSchemaInfo *earlier = *pos;
    if (earlier->NodeType() == ntAttribute) continue;
    if (DelphiInterface<IVnDOMElement> ref =
            FDOMElement->FindElement(earlier->Name(), cVnSchemaNameMatch))
      return AsNode(FDOMElement->InsertElement(info->Name(), rdpAfter, ref));
  }
  return AsNode(FDOMElement->InsertElement(info->Name(), rdpFirst, nullptr));
}

// ---------------------------------------------------------------------------------------------
// Sub-elements and repeated children

TVnXMLSchemaElement *TVnXMLSchemaElement::GetSubElement(
    IVnDOMElement *AElement, const TVnXMLSchemaElementFactory &AFactory) {
  DelphiInterface<IVnDOMNode> node = AsNode(AElement);
  for (TObject *obj : FSubElements) {
    auto *sub = static_cast<TVnXMLSchemaElement *>(obj);
    if (AsNode(sub->AsElement()) == node) return sub;
  }
  Owned<TVnXMLSchemaElement> sub(AFactory(AElement));
  if (!sub) throw EListError(u"The factory of a child wrapper made no wrapper!");
  FSubElements.Add(sub.get());
  return sub.release();
}

TVnXMLSchemaElementArray *TVnXMLSchemaElement::GetArrayElement(
    Integer AIndex, const TVnXMLSchemaElementFactory &AFactory) {
  InfoOf(AIndex);
  auto it = FArrayElements.find(AIndex);
  if (it != FArrayElements.end())
    return static_cast<TVnXMLSchemaElementArray *>(it->second.AsObject());
  Owned<TVnXMLSchemaElementArray> array(New<TVnXMLSchemaElementArray>(this, AIndex, AFactory));
  FArrayElements.emplace(AIndex, TValue(array.get()));
  return array.release();
}

// ---------------------------------------------------------------------------------------------
// The typed family

Byte TVnXMLSchemaElement::GetByteValue(Integer AIndex) {
  UnicodeString s;
  return GetValue(AIndex, s) ? VnXMLToByte(s) : 0;
}
void TVnXMLSchemaElement::SetByteValue(Integer AIndex, Byte AValue) {
  SetValue(AIndex, VnByteToXML(AValue));
}

SmallInt TVnXMLSchemaElement::GetShortValue(Integer AIndex) {
  UnicodeString s;
  return GetValue(AIndex, s) ? VnXMLToSmallint(s) : 0;
}
void TVnXMLSchemaElement::SetShortValue(Integer AIndex, SmallInt AValue) {
  SetValue(AIndex, VnIntToXML(AValue));
}

Integer TVnXMLSchemaElement::GetIntValue(Integer AIndex) {
  UnicodeString s;
  return GetValue(AIndex, s) ? VnXMLToInt(s) : 0;
}
void TVnXMLSchemaElement::SetIntValue(Integer AIndex, Integer AValue) {
  SetValue(AIndex, VnIntToXML(AValue));
}
Integer TVnXMLSchemaElement::GetIntegerValue(Integer AIndex) {
  return GetIntValue(AIndex);
}
void TVnXMLSchemaElement::SetIntegerValue(Integer AIndex, Integer AValue) {
  SetIntValue(AIndex, AValue);
}

Int64 TVnXMLSchemaElement::GetLongValue(Integer AIndex) {
  UnicodeString s;
  return GetValue(AIndex, s) ? VnXMLToInt64(s) : 0;
}
void TVnXMLSchemaElement::SetLongValue(Integer AIndex, Int64 AValue) {
  SetValue(AIndex, VnInt64ToXML(AValue));
}
Int64 TVnXMLSchemaElement::GetInt64Value(Integer AIndex) {
  return GetLongValue(AIndex);
}
void TVnXMLSchemaElement::SetInt64Value(Integer AIndex, Int64 AValue) {
  SetLongValue(AIndex, AValue);
}
Int64 TVnXMLSchemaElement::GetInteger64Value(Integer AIndex) {
  return GetLongValue(AIndex);
}
void TVnXMLSchemaElement::SetInteger64Value(Integer AIndex, Int64 AValue) {
  SetLongValue(AIndex, AValue);
}

Byte TVnXMLSchemaElement::GetUnsignedByteValue(Integer AIndex) {
  return GetByteValue(AIndex);
}
void TVnXMLSchemaElement::SetUnsignedByteValue(Integer AIndex, Byte AValue) {
  SetByteValue(AIndex, AValue);
}

Word TVnXMLSchemaElement::GetUnsignedShortValue(Integer AIndex) {
  UnicodeString s;
  return GetValue(AIndex, s) ? VnXMLToWord(s) : 0;
}
void TVnXMLSchemaElement::SetUnsignedShortValue(Integer AIndex, Word AValue) {
  SetValue(AIndex, VnWordToXML(AValue));
}

LongWord TVnXMLSchemaElement::GetUnsignedIntValue(Integer AIndex) {
  UnicodeString s;
  return GetValue(AIndex, s) ? VnXMLToLongword(s) : 0;
}
void TVnXMLSchemaElement::SetUnsignedIntValue(Integer AIndex, LongWord AValue) {
  SetValue(AIndex, VnLongWordToXML(AValue));
}
LongWord TVnXMLSchemaElement::GetNonNegativeIntegerValue(Integer AIndex) {
  return GetUnsignedIntValue(AIndex);
}
void TVnXMLSchemaElement::SetNonNegativeIntegerValue(Integer AIndex, LongWord AValue) {
  SetUnsignedIntValue(AIndex, AValue);
}

UInt64 TVnXMLSchemaElement::GetUnsignedLongValue(Integer AIndex) {
  UnicodeString s;
  return GetValue(AIndex, s) ? VnXMLToUInt64(s) : 0;
}
void TVnXMLSchemaElement::SetUnsignedLongValue(Integer AIndex, UInt64 AValue) {
  SetValue(AIndex, VnUInt64ToXML(AValue));
}

TDateTime TVnXMLSchemaElement::GetDateValue(Integer AIndex) {
  UnicodeString s;
  return GetValue(AIndex, s) ? VnXMLToDate(s) : TDateTime(0.0);
}
void TVnXMLSchemaElement::SetDateValue(Integer AIndex, TDateTime AValue) {
  SetValue(AIndex, VnDateToXML(AValue, tzfNone));
}

TDateTime TVnXMLSchemaElement::GetTimeValue(Integer AIndex) {
  UnicodeString s;
  return GetValue(AIndex, s) ? VnXMLToTime(s, tzfNone) : TDateTime(0.0);
}
void TVnXMLSchemaElement::SetTimeValue(Integer AIndex, TDateTime AValue) {
  SetValue(AIndex, VnTimeToXML(AValue, tzfNone));
}

TDateTime TVnXMLSchemaElement::GetTimeInstantValue(Integer AIndex) {
  UnicodeString s;
  return GetValue(AIndex, s) ? VnXMLToDateTime(s, tzfNone) : TDateTime(0.0);
}
void TVnXMLSchemaElement::SetTimeInstantValue(Integer AIndex, TDateTime AValue) {
  SetValue(AIndex, VnDateTimeToXML(AValue, tzfNone));
}

TDateTime TVnXMLSchemaElement::GetDatetimeValue(Integer AIndex) {
  UnicodeString s;
  return GetValue(AIndex, s) ? VnXMLToDateTime(s, tzfNone) : TDateTime(0.0);
}
void TVnXMLSchemaElement::SetDatetimeValue(Integer AIndex, TDateTime AValue) {
  // Unlike TimeInstant, written in UTC.
  SetValue(AIndex, VnDateTimeToXML(AValue, tzfUTC));
}

UnicodeString TVnXMLSchemaElement::GetDurationValue(Integer AIndex) {
  return GetStringValue(AIndex);
}
void TVnXMLSchemaElement::SetDurationValue(Integer AIndex, const UnicodeString &AValue) {
  SetValue(AIndex, AValue);
}

Double TVnXMLSchemaElement::GetFloatValue(Integer AIndex) {
  UnicodeString s;
  return GetValue(AIndex, s) ? VnXMLToDouble(s) : 0.0;
}
void TVnXMLSchemaElement::SetFloatValue(Integer AIndex, Double AValue) {
  SetValue(AIndex, VnDoubleToXML(AValue));
}
Double TVnXMLSchemaElement::GetDecimalValue(Integer AIndex) {
  return GetFloatValue(AIndex);
}
void TVnXMLSchemaElement::SetDecimalValue(Integer AIndex, Double AValue) {
  SetFloatValue(AIndex, AValue);
}

Extended TVnXMLSchemaElement::GetDoubleValue(Integer AIndex) {
  UnicodeString s;
  return GetValue(AIndex, s) ? VnXMLToExtended(s) : 0.0;
}
void TVnXMLSchemaElement::SetDoubleValue(Integer AIndex, Extended AValue) {
  SetValue(AIndex, VnExtToXML(AValue));
}

UnicodeString TVnXMLSchemaElement::GetXmlValue(Integer AIndex) {
  UnicodeString s;
  GetValue(AIndex, s);
  return s;
}
void TVnXMLSchemaElement::SetXmlValue(Integer AIndex, const UnicodeString &AValue) {
  SetValue(AIndex, AValue);
}
UnicodeString TVnXMLSchemaElement::GetJsonValue(Integer AIndex) {
  return GetXmlValue(AIndex);
}
void TVnXMLSchemaElement::SetJsonValue(Integer AIndex, const UnicodeString &AValue) {
  SetValue(AIndex, AValue);
}

UnicodeString TVnXMLSchemaElement::GetStringValue(Integer AIndex) {
  UnicodeString s;
  return GetValue(AIndex, s) ? VnXMLToStr(UnicodeStringView(s)) : UnicodeString();
}
void TVnXMLSchemaElement::SetStringValue(Integer AIndex, const UnicodeString &AValue) {
  SetValue(AIndex, AValue);
}
UnicodeString TVnXMLSchemaElement::GetLanguageValue(Integer AIndex) {
  return GetStringValue(AIndex);
}
void TVnXMLSchemaElement::SetLanguageValue(Integer AIndex, const UnicodeString &AValue) {
  SetValue(AIndex, AValue);
}
UnicodeString TVnXMLSchemaElement::GetAnyValue(Integer AIndex) {
  return GetStringValue(AIndex);
}
void TVnXMLSchemaElement::SetAnyValue(Integer AIndex, const UnicodeString &AValue) {
  SetValue(AIndex, AValue);
}
UnicodeString TVnXMLSchemaElement::GetAnyUriValue(Integer AIndex) {
  return GetStringValue(AIndex);
}
void TVnXMLSchemaElement::SetAnyUriValue(Integer AIndex, const UnicodeString &AValue) {
  SetValue(AIndex, AValue);
}

AnsiString TVnXMLSchemaElement::GetBase64binaryValue(Integer AIndex) {
  UnicodeString s;
  if (!GetValue(AIndex, s)) return AnsiString();
  return AnsiString(UTF8Encode(VnXMLToStr(UnicodeStringView(s))), CP_UTF8);
}
void TVnXMLSchemaElement::SetBase64binaryValue(Integer AIndex, const AnsiString &AValue) {
  SetValue(AIndex, TVnEncoding::ConvertA(AValue));
}

bool TVnXMLSchemaElement::GetBooleanValue(Integer AIndex) {
  UnicodeString s;
  return GetValue(AIndex, s) && VnXMLToBool(s);
}
void TVnXMLSchemaElement::SetBooleanValue(Integer AIndex, bool AValue) {
  SetValue(AIndex, VnBoolToXML(AValue));
}

TGUID TVnXMLSchemaElement::GetGuidValue(Integer AIndex) {
  UnicodeString s;
  return GetValue(AIndex, s) ? StringToGUID(s) : TGUID();
}
void TVnXMLSchemaElement::SetGuidValue(Integer AIndex, const TGUID &AValue) {
  SetValue(AIndex, GUIDToString(AValue));
}

}  // namespace vn
