// The attribute list handed to StartElement, and the namespace scope list.
#include <algorithm>

#include "vnxml/xml/uVnSAX.h"

namespace vn {

namespace {

constexpr Integer cListIndexOutOfBounds = 4;

[[noreturn]] void RaiseIndex(Integer AIdx) {
  throw EVnXMLParseError(_cVnXMLListIndexOutOfBounds1, {AIdx}, cListIndexOutOfBounds);
}

[[noreturn]] void RaiseName(const VnXMLString &AName) {
  throw EVnXMLParseError(_cVnXMLListIndexOutOfBounds2, {AName}, cListIndexOutOfBounds);
}

[[noreturn]] void RaisePair(const VnXMLString &AURI, const VnXMLString &ALocalName) {
  throw EVnXMLParseError(_cVnXMLListIndexOutOfBounds3, {AURI, ALocalName}, cListIndexOutOfBounds);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// TVnSAXXMAttributes

TVnSAXXMAttributes::TVnSAXXMAttributes() {
  SetAutoDestroy(false);
}

TVnSAXXMAttributes::~TVnSAXXMAttributes() {
  Clear();
  while (FSpare) {
    PVnSAXXMAttribute n = FSpare;
    FSpare = n->Next;
    delete n;
  }
}

PVnSAXXMAttribute TVnSAXXMAttributes::Append(TVnSAXAttributeType AAttrType) {
  PVnSAXXMAttribute n;
  if (FSpare) {
    n = FSpare;
    FSpare = n->Next;
  } else {
    n = new TVnSAXXMAttribute;
  }
  n->AttrType = AAttrType;
  n->Idx = FCount;
  n->Prev = FLast;
  n->Next = nullptr;
  if (FLast)
    FLast->Next = n;
  else
    FFirst = n;
  FLast = n;
  ++FCount;
  return n;
}

void TVnSAXXMAttributes::Add(const VnXMLString &ALocalName, const VnXMLString &AQName,
                             const VnXMLString &AURI, const VnXMLString &AValue,
                             TVnSAXAttributeType AAttrType) {
  PVnSAXXMAttribute n = Append(AAttrType);
  // Assignment keeps the storage of a reused node's strings.
  n->LocalName = ALocalName;
  n->QName = AQName;
  n->URI = AURI;
  n->Value = AValue;
}

void TVnSAXXMAttributes::Clear() {
  // The nodes go to the spare chain; their strings keep their storage for the next list.
  if (FLast) {
    FLast->Next = FSpare;
    FSpare = FFirst;
  }
  FFirst = FLast = FCurrent = nullptr;
  FCount = 0;
}

PVnSAXXMAttribute TVnSAXXMAttributes::FindIndex(Integer AIdx) {
  for (FCurrent = FFirst; FCurrent; FCurrent = FCurrent->Next)
    if (FCurrent->Idx == AIdx) return FCurrent;
  return nullptr;
}

PVnSAXXMAttribute TVnSAXXMAttributes::FindQName(const VnXMLString &AQName) {
  for (FCurrent = FFirst; FCurrent; FCurrent = FCurrent->Next)
    if (SameText(FCurrent->QName, AQName)) return FCurrent;
  return nullptr;
}

PVnSAXXMAttribute TVnSAXXMAttributes::FindPair(const VnXMLString &AURI,
                                               const VnXMLString &ALocalName, bool AAnyURI) {
  for (FCurrent = FFirst; FCurrent; FCurrent = FCurrent->Next)
    if (SameText(FCurrent->LocalName, ALocalName) && (AAnyURI || SameText(FCurrent->URI, AURI)))
      return FCurrent;
  return nullptr;
}

PVnSAXXMAttribute TVnSAXXMAttributes::ByIndex(Integer AIdx) {
  if (PVnSAXXMAttribute n = FindIndex(AIdx)) return n;
  RaiseIndex(AIdx);
}

PVnSAXXMAttribute TVnSAXXMAttributes::ByQName(const VnXMLString &AQName) {
  if (PVnSAXXMAttribute n = FindQName(AQName)) return n;
  RaiseName(AQName);
}

PVnSAXXMAttribute TVnSAXXMAttributes::ByPair(const VnXMLString &AURI, const VnXMLString &ALocalName,
                                             bool AAnyURI) {
  if (PVnSAXXMAttribute n = FindPair(AURI, ALocalName, AAnyURI)) return n;
  RaisePair(AURI, ALocalName);
}

PVnSAXXMAttribute TVnSAXXMAttributes::GetAttribute(Integer AIdx) {
  return ByIndex(AIdx);
}

const VnXMLString &TVnSAXXMAttributes::GetLocalName(Integer AIdx) {
  return ByIndex(AIdx)->LocalName;
}

const VnXMLString &TVnSAXXMAttributes::GetQName(Integer AIdx) {
  return ByIndex(AIdx)->QName;
}

const VnXMLString &TVnSAXXMAttributes::GetURI(Integer AIdx) {
  return ByIndex(AIdx)->URI;
}

Integer TVnSAXXMAttributes::GetIndex(const VnXMLString &AQName) {
  PVnSAXXMAttribute n = FindQName(AQName);
  return n ? n->Idx : -1;
}

Integer TVnSAXXMAttributes::GetIndex(const VnXMLString &AURI, const VnXMLString &ALocalName) {
  PVnSAXXMAttribute n = FindPair(AURI, ALocalName, false);
  return n ? n->Idx : -1;
}

TVnSAXAttributeType TVnSAXXMAttributes::GetType(Integer AIdx) {
  return ByIndex(AIdx)->AttrType;
}

TVnSAXAttributeType TVnSAXXMAttributes::GetType(const VnXMLString &AQName) {
  return ByQName(AQName)->AttrType;
}

TVnSAXAttributeType TVnSAXXMAttributes::GetType(const VnXMLString &AURI,
                                                const VnXMLString &ALocalName) {
  return ByPair(AURI, ALocalName, false)->AttrType;
}

const VnXMLString &TVnSAXXMAttributes::GetValue(Integer AIdx) {
  return ByIndex(AIdx)->Value;
}

const VnXMLString &TVnSAXXMAttributes::GetValue(const VnXMLString &AQName) {
  return ByQName(AQName)->Value;
}

const VnXMLString &TVnSAXXMAttributes::GetValue(const VnXMLString &AURI,
                                                const VnXMLString &ALocalName) {
  return ByPair(AURI, ALocalName, AURI == u"*")->Value;
}

// ---------------------------------------------------------------------------------------------
// TVnSAXNamespaceList

TVnSAXNamespaceList::~TVnSAXNamespaceList() {
  Clear();
}

void TVnSAXNamespaceList::AddURI(Integer ALevel, const VnXMLString &APrefix,
                                 const VnXMLString &AURI) {
  auto ns = std::make_unique<TVnSAXNamespace>();
  ns->Level = ALevel;
  ns->Prefix = APrefix;
  ns->URI = AURI;
  FList.push_back(std::move(ns));
  Changed();
  FMaxLevel = std::max(FMaxLevel, ALevel);
  if (DelphiInterface<IVnSAXContentHandler> h = FOwner->GetContentHandler())
    h->StartPrefixMapping(APrefix, AURI);
}

PVnSAXNamespace TVnSAXNamespaceList::FindNamespace(const VnXMLString &APrefix) {
  TKept &kept = FKept[APrefix.empty() ? 0 : 1];
  PVnSAXNamespace found = nullptr;
  for (auto it = FList.rbegin(); it != FList.rend(); ++it)
    if ((*it)->Prefix.size() == APrefix.size() &&
        (APrefix.empty() || SameText((*it)->Prefix, APrefix))) {
      found = it->get();
      break;
    }
  kept.Valid = true;
  kept.Found = found;
  return found;
}

void TVnSAXNamespaceList::RemoveLevelFrom(Integer ALevel) {
  for (std::size_t i = FList.size(); i-- > 0;) {
    if (i >= FList.size() || FList[i]->Level < ALevel) continue;
    // The record goes only once its handler has seen the event.
    if (DelphiInterface<IVnSAXContentHandler> h = FOwner->GetContentHandler())
      h->EndPrefixMapping(FList[i]->Prefix);
    if (i < FList.size()) {
      FList.erase(FList.begin() + static_cast<std::ptrdiff_t>(i));
      Changed();
    }
  }
  FMaxLevel = std::numeric_limits<Integer>::min();
  for (const auto &ns : FList) FMaxLevel = std::max(FMaxLevel, ns->Level);
}

void TVnSAXNamespaceList::Clear() {
  FList.clear();
  Changed();
  FMaxLevel = std::numeric_limits<Integer>::min();
}

}  // namespace vn
