// The XML notation read back: TVnXMLDeserializer and its subclasses on one SAX reader per run.

// GCC 12 at -O2 reports a false -Wrestrict inside std::u16string::assign once the XML Schema
// records' assignments are inlined into VnXsFromText (GCC bug 105651); the copy is correct.
#if defined(__GNUC__) && !defined(__clang__) && __GNUC__ == 12
#pragma GCC diagnostic ignored "-Wrestrict"
#endif
#include "vnxml/common/uVnSerializer/Internal.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/rtl/SysUtils.h"
#include "vnxml/xml/uVnXMLSerializer.h"
#include "vnxml/xml/uVnXMLUtils.h"
#include "vnxml/xml/uVnXSTypes.h"

namespace vn {

namespace {

// The reader's handler for a run: it gives each event to the worker that takes events now, and
// frees the workers that the event has finished.
class TVnXMLDeserializerEvents : public TVnObject,
                                 public IVnSAXContentHandler,
                                 public IVnSAXLexicalHandler,
                                 public IVnSAXErrorHandler {
  VN_CLASS(TVnXMLDeserializerEvents, TVnObject)
  VN_IMPLEMENTS(TVnObject, IVnSAXContentHandler, IVnSAXLexicalHandler, IVnSAXErrorHandler)
 public:
  explicit TVnXMLDeserializerEvents(TVnXMLDeserializer *ARoot) : FRoot(ARoot) {}

  void SetDocumentLocator(IVnSAXLocator *) override {}
  void Characters(const VnXMLString &AText) override {
    if (TVnXMLDeserializer *w = Worker()) w->Characters(AText);
    FRoot->FreeRetired();
  }
  void EndDocument() override {}
  void EndElement(const VnXMLString &AUri, const VnXMLString &ALocalName,
                  const VnXMLString &AQName) override {
    if (TVnXMLDeserializer *w = Worker()) w->EndElement(AUri, ALocalName, AQName);
    FRoot->FreeRetired();
  }
  void EndPrefixMapping(const VnXMLString &) override {}
  void IgnorableWhitespace(const VnXMLString &) override {}
  void ProcessingInstruction(const VnXMLString &, const VnXMLString &) override {}
  void SkippedEntity(const VnXMLString &) override {}
  void StartDocument() override {}
  void StartElement(const VnXMLString &AUri, const VnXMLString &ALocalName,
                    const VnXMLString &AQName, IVnSAXAttributes *AAttributes) override {
    if (TVnXMLDeserializer *w = Worker()) w->StartElement(AUri, ALocalName, AQName, AAttributes);
    FRoot->FreeRetired();
  }
  void StartPrefixMapping(const VnXMLString &, const VnXMLString &) override {}

  void Comment(const VnXMLString &) override {}
  void StartCDATA() override {}
  void StartDTD() override {}
  void StartEntity(const VnXMLString &) override {}
  void EndCDATA() override {}
  void EndDTD() override {}
  void EndEntity(const VnXMLString &) override {}

  void Warning(IVnSAXLocator *, const VnXMLString &) override {}
  void Error(IVnSAXLocator *, const VnXMLString &) override {}
  void FatalError(IVnSAXLocator *ALocator, const VnXMLString &AMessage) override {
    TVnXMLDeserializer *w = Worker();
    (w ? w : FRoot)->FatalError(ALocator, AMessage);
  }

 private:
  TVnXMLDeserializer *Worker() const { return static_cast<TVnXMLDeserializer *>(FRoot->Current()); }
  TVnXMLDeserializer *FRoot;
};

// The type an xsi:type names: the writer types every element.
const TVnTypeInfo *TypeBySchemaName(const VnXMLString &AName) {
  return serializer_detail::CachedTypeInfo<tntSchemaName, 128>(AName);
}

// The type of a qualified name: each child worker of a typed element asks whether its type is a
// simple one.
const TVnTypeInfo *TypeByQualifiedName(const UnicodeString &AName) {
  return serializer_detail::CachedTypeInfo<tntQualifiedName, 64>(AName);
}

bool IsW3CAttribute(const PVnSAXXMAttribute AAttribute) {
  // The schema instance's URI, that of xsi:type, first: nearly every attribute the writer puts
  // on an element has it.
  static constexpr UnicodeStringView cXSI = cVnXSINamespaceURI;
  const VnXMLString &uri = AAttribute->URI;
  return SameStr(uri, cXSI) || uri.find(u"www.w3.org") != UnicodeString::npos;
}

// True when an attribute of the list is one that the replay gives as a member (xsi:type and
// the other W3C attributes are not).
bool HasMemberAttributes(IVnSAXAttributes *AAttributes) {
  if (!AAttributes) return false;
  for (PVnSAXXMAttribute a = AAttributes->FirstAttribute(); a; a = a->Next)
    if (!IsW3CAttribute(a)) return true;
  return false;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// TVnXMLDeserializer

TVnXMLDeserializer::~TVnXMLDeserializer() {
  // A worker that is freed in the middle of a simple member's markup was ended by a failure;
  // the markup goes with it.
  if (FXMLString) FXMLString->Free();
}

void TVnXMLDeserializer::Reuse(void *AInstance, PTypeInfo AType) {
  TVnDeserializer::Reuse(AInstance, AType);
  if (FXMLString) {
    FXMLString->Free();
    FXMLString = nullptr;
  }
  FSAXReader = nullptr;
  FLocalName.clear();
  FURI.clear();
  FDataType.clear();
  FCanDeserialize = desNo;
  FLevel = 0;
  FAttribs = nullptr;
  FProcessRootChars = false;
  FDeserializingAttribs = false;
}

void TVnXMLDeserializer::SetParent(TVnCustomSerializer *AParent) {
  TVnDeserializer::SetParent(AParent);
  if (!AParent || !AParent->InheritsFrom(TVnXMLDeserializer::StaticClass())) return;
  auto *parent = static_cast<TVnXMLDeserializer *>(AParent);
  FLevel = parent->FLevel - 1;
  FSAXReader = parent->FSAXReader;
  if (FSAXReader) TakeEvents();
}

void TVnXMLDeserializer::DoDeserialize() {
  FLevel = -1;
  FSAXReader = New<TVnSAXXMLReader>();
  Owned<TVnSAXXMLReader> reader(FSAXReader);
  auto *events = New<TVnXMLDeserializerEvents>(this);
  events->SetAutoDestroy(false);
  Owned<TVnXMLDeserializerEvents> eventsOwner(events);
  FSAXReader->SetContentHandler(events);
  FSAXReader->SetLexicalHandler(events);
  FSAXReader->SetErrorHandler(events);
  BeginRun();
  try {
    FSAXReader->ParseStream(FStream, 65001, VnXMLString());
  } catch (...) {
    EndRun(true);
    FSAXReader->SetContentHandler(nullptr);
    FSAXReader->SetLexicalHandler(nullptr);
    FSAXReader->SetErrorHandler(nullptr);
    FSAXReader = nullptr;
    throw;
  }
  EndRun(false);
  FSAXReader->SetContentHandler(nullptr);
  FSAXReader->SetLexicalHandler(nullptr);
  FSAXReader->SetErrorHandler(nullptr);
  FSAXReader = nullptr;
}

UnicodeString TVnXMLDeserializer::ReadClassName(TVnTextParser *AParser) {
  // The text "xsi:type" as it stands, whatever prefix the document binds to the namespace.
  static constexpr char16_t cKey[] = u"xsi:type";
  std::size_t matched = 0;
  while (!AParser->Eof()) {
    char16_t c = AParser->ReadCharW();
    if (c == cKey[matched]) {
      if (++matched == 8) break;
    } else {
      matched = c == cKey[0] ? 1 : 0;
    }
  }
  if (matched < 8) return UnicodeString();
  while (!AParser->Eof() && AParser->CurrCharW() != u'"') AParser->NextChar();
  if (AParser->Eof()) return UnicodeString();
  AParser->NextChar();
  UnicodeString name;
  while (!AParser->Eof() && AParser->CurrCharW() != u'"') name += AParser->ReadCharW();
  if (AParser->Eof()) return UnicodeString();
  return name;
}

bool TVnXMLDeserializer::ReadClassName(UnicodeString &AName) {
  if (!FAttribs || FAttribs->Count() == 0) return false;
  bool result = false;
  for (PVnSAXXMAttribute a = FAttribs->FirstAttribute(); a; a = a->Next) {
    if (SameText(a->LocalName, u"type")) {
      AName = a->Value;
      result = true;
    } else if (SameText(a->LocalName, u"nil") && VnXMLToBool(a->Value)) {
      AName.clear();
      return true;
    }
  }
  return result;
}

TVnDeserializer *TVnXMLDeserializer::CreateChildDeserializerIfNeeded(const UnicodeString &AName) {
  TVnDeserializer *child = TVnDeserializer::CreateChildDeserializerIfNeeded(AName);
  if (child && !FDataType.empty() && child->InheritsFrom(TVnXMLDeserializer::StaticClass())) {
    const TVnTypeInfo *type = TypeByQualifiedName(FDataType);
    if (type && type->GetIsSimpleType()) {
      auto *x = static_cast<TVnXMLDeserializer *>(child);
      x->FProcessRootChars = true;
      x->FDataType = FDataType;
    }
  }
  return child;
}

Integer TVnXMLDeserializer::ValueToInt(const UnicodeString &AValue) {
  return VnXMLToInt(AValue);
}
Int64 TVnXMLDeserializer::ValueToInt64(const UnicodeString &AValue) {
  return VnXMLToInt64(AValue);
}
Extended TVnXMLDeserializer::ValueToFloat(const UnicodeString &AValue) {
  double value;
  if (serializer_detail::PlainDecimal(AValue, value)) return value;
  return VnXMLToDouble(AValue);
}
UnicodeString TVnXMLDeserializer::ValueToStr(const UnicodeString &AValue) {
  return VnXMLToStr(UnicodeStringView(AValue));
}
TDateTime TVnXMLDeserializer::ValueToDate(const UnicodeString &AValue) {
  return VnXMLToDate(AValue);
}
TDateTime TVnXMLDeserializer::ValueToTime(const UnicodeString &AValue) {
  return VnXMLToTime(AValue, tzfNone);
}
TDateTime TVnXMLDeserializer::ValueToDateTime(const UnicodeString &AValue) {
  return VnXMLToDateTime(AValue, tzfNone);
}
bool TVnXMLDeserializer::ValueToBool(const UnicodeString &AValue) {
  return VnXMLToBool(AValue);
}
Variant TVnXMLDeserializer::ValueToVar(const UnicodeString &AValue,
                                       const UnicodeString &ADataType) {
  return VnXMLToVariant(AValue, ADataType);
}
TValue TVnXMLDeserializer::ValueToVal(const UnicodeString &AValue, const UnicodeString &ADataType) {
  return VnXMLToValue(AValue, ADataType);
}

void TVnXMLDeserializer::DeserializeAttributes(TVnXMLDeserializer *ATarget,
                                               IVnSAXAttributes *AAttributes) {
  if (!AAttributes || AAttributes->Count() == 0) return;
  // The list lives as long as the event: the replay may outlive nothing of it, but the
  // target's own events may not reach the reader's list, so the pieces are copied first.
  struct TItem {
    VnXMLString URI, LocalName, QName, Value;
  };
  std::vector<TItem> items;
  for (PVnSAXXMAttribute a = AAttributes->FirstAttribute(); a; a = a->Next)
    if (!IsW3CAttribute(a)) items.push_back({a->URI, a->LocalName, a->QName, a->Value});
  if (items.empty()) return;
  FDeserializingAttribs = true;
  ATarget->FDeserializingAttribs = true;
  try {
    for (const TItem &i : items) {
      ATarget->StartElement(i.URI, i.LocalName, i.QName, nullptr);
      ATarget->Characters(i.Value);
      ATarget->EndElement(i.URI, i.LocalName, i.QName);
    }
  } catch (...) {
    FDeserializingAttribs = false;
    ATarget->FDeserializingAttribs = false;
    throw;
  }
  FDeserializingAttribs = false;
  ATarget->FDeserializingAttribs = false;
}

void TVnXMLDeserializer::StartElement(const VnXMLString &AUri, const VnXMLString &ALocalName,
                                      const VnXMLString &AQName, IVnSAXAttributes *AAttributes) {
  ++FLevel;
  if (FLevel == 0) {
    DeserializeAttributes(this, AAttributes);
    return;
  }
  if (FLevel == 1) {
    FCanDeserialize = desNo;
    // The members of a document mostly share one namespace: its URI is copied only when it
    // changes.
    if (!SameStr(FURI, AUri)) FURI = AUri;
    FLocalName = ALocalName;
    FAttribs = AAttributes;
    if (IsArraySerializer()) {
      InitializeArrayElement(AUri, ALocalName);
      FCanDeserialize = desYes;
      if (AAttributes && AAttributes->Count() > 0 &&
          (FMemberValue.IsObject() || FMemberValue.GetTypeKind() == tkRecord) &&
          !FMemberValue.IsNull() && HasMemberAttributes(AAttributes)) {
        // On the element itself: a record is filled in place, an object by its pointer. An
        // element whose attributes are all W3C ones (its xsi:type) replays nothing, and gets
        // no reader for it.
        Owned<TVnDeserializer> target(
            FMemberValue.IsObject()
                ? VnCreateDeserializer(dsfXML, FMemberValue)
                : VnCreateDeserializerEx(dsfXML, FMemberValue.GetReferenceToRawData(),
                                         FMemberTypeInfo));
        if (target->InheritsFrom(TVnXMLDeserializer::StaticClass())) {
          auto *x = static_cast<TVnXMLDeserializer *>(target.get());
          x->FProcessRootChars = true;
          x->SetCreatedObjects(FCreatedObjs);
          x->CheckInstance();
          DeserializeAttributes(x, AAttributes);
        }
      }
    } else {
      static const VnXMLString cXSI = cVnXSINamespaceURI, cType = u"type";
      Integer typeAt = AAttributes ? AAttributes->GetIndex(cXSI, cType) : -1;
      if (typeAt >= 0) {
        const TVnTypeInfo *info = TypeBySchemaName(AAttributes->GetValue(typeAt));
        // Assigned, not built anew: the worker's text keeps its room from element to element.
        if (info)
          FDataType = info->QualifiedName;
        else
          FDataType.clear();
      }
      TVnDeserializer *before = Current();
      FCanDeserialize = CanDeserialize(FURI, FLocalName, FDataType, !FDeserializingAttribs);
      if (FDeserializingAttribs && FMemberTypeInfo &&
          (FMemberTypeInfo->Kind == vtkClass || FMemberTypeInfo->Kind == vtkRecord ||
           FMemberTypeInfo->Kind == vtkArray || FMemberTypeInfo->Kind == vtkDynArray)) {
        // An attribute holds text only: it does not enter an object, record or array member,
        // and the rest of the element stays with this worker.
        if (Current() != before) TakeEventsBack(before);
        FCanDeserialize = desIgnore;
      }
    }
    FAttribs = nullptr;
    return;
  }
  // Markup inside a simple member: collected as the member's text.
  if (!FXMLString) FXMLString = New<TVnStringStream>(static_cast<Word>(CP_UTF16), 0);
  FXMLString->AddChar(u'<');
  FXMLString->Add(AQName);
  if (AAttributes) {
    for (PVnSAXXMAttribute a = AAttributes->FirstAttribute(); a; a = a->Next) {
      FXMLString->AddChar(u' ');
      FXMLString->Add(a->QName);
      FXMLString->Add(u"=\"");
      FXMLString->Add(a->Value);
      FXMLString->AddChar(u'"');
    }
  }
  FXMLString->AddChar(u'>');
}

void TVnXMLDeserializer::Characters(const VnXMLString &AText) {
  if (FLevel > 1) {
    if (FXMLString) FXMLString->Add(AText);
    return;
  }
  if (FLevel == 1 || (FLevel == 0 && FProcessRootChars)) {
    if (FCanDeserialize != desIgnore) DeserializeValue(FURI, FLocalName, AText, FDataType);
    return;
  }
  if (FLevel != 0) return;
  // Text directly in an object's element: the member with the shoNodeType hint "NodeValue"
  // takes it.
  bool consumed = false;
  if (FInstanceTypeInfo && FInstanceTypeInfo->RttiType && FInstancePtr) {
    UnicodeString member;
    SerializerHint *hint = nullptr;
    for (TRttiProperty *p : FInstanceTypeInfo->RttiType->GetProperties())
      if (GetSerializerHint(p, shoNodeType, hint) && SameText(hint->Value(), u"NodeValue")) {
        member = p->GetName();
        break;
      }
    if (member.empty())
      for (TRttiField *f : FInstanceTypeInfo->RttiType->GetFields())
        if (GetSerializerHint(f, shoNodeType, hint) && SameText(hint->Value(), u"NodeValue")) {
          member = f->GetName();
          break;
        }
    if (!member.empty()) {
      UnicodeString uri = FURI;
      if (CanDeserialize(uri, member, FDataType, false) == desYes) {
        DeserializeValue(uri, member, AText, FDataType);
        consumed = true;
      }
    }
  }
  if (consumed) return;
  bool handled = false;
  UnicodeString typeName = FInstanceTypeInfo ? FInstanceTypeInfo->QualifiedName : UnicodeString();
  if (FCHelper) FCHelper->DeserializeValue(this, FURI, FLocalName, AText, typeName, handled);
  if (!handled && FIHelper)
    FIHelper->DeserializeValue(this, FURI, FLocalName, AText, typeName, handled);
}

void TVnXMLDeserializer::EndElement(const VnXMLString &AUri, const VnXMLString &ALocalName,
                                    const VnXMLString &AQName) {
  if (FLevel >= 2 && FXMLString) {
    FXMLString->Add(u"</");
    FXMLString->Add(AQName);
    FXMLString->AddChar(u'>');
    if (FLevel == 2) {
      UnicodeString text = FXMLString->GetWString();
      FXMLString->Free();
      FXMLString = nullptr;
      if (FCanDeserialize != desIgnore) DeserializeValue(AUri, ALocalName, text, u"System.string");
    }
  }
  --FLevel;
  if (FLevel < 0 && FParentDes) {
    DeserializeEndType();
    if (FParentDes->InheritsFrom(TVnXMLDeserializer::StaticClass()))
      --static_cast<TVnXMLDeserializer *>(FParentDes)->FLevel;
    HandBack();
  }
}

void TVnXMLDeserializer::FatalError(IVnSAXLocator *ALocator, const VnXMLString &AMessage) {
  throw EParserError(u"Line %d, column %d: %s", {ALocator ? ALocator->GetLineNr() : 0,
                                                 ALocator ? ALocator->GetColNr() : 0, AMessage});
}

// ---------------------------------------------------------------------------------------------
// Subclasses

TVnCanDeserialize TVnXMLXsDeserializer::CanDeserialize(UnicodeString &, UnicodeString &,
                                                       UnicodeString &, bool) {
  if (!FInstanceTypeInfo || !VnXsClear(FInstanceTypeInfo->Handle, FInstancePtr)) return desNo;
  return desYes;
}

void TVnXMLXsDeserializer::Characters(const VnXMLString &AText) {
  if (!FInstanceTypeInfo || !VnXsFromText(FInstanceTypeInfo->Handle, FInstancePtr, AText))
    throw Exception(u"The type is not an XsType!");
}

void TVnXMLStringsDeserializer::SetParent(TVnCustomSerializer *AParent) {
  TVnXMLDeserializer::SetParent(AParent);
  if (FInstancePtr) static_cast<TStrings *>(static_cast<TObject *>(FInstancePtr))->Clear();
}

TVnCanDeserialize TVnXMLStringsDeserializer::CanDeserialize(UnicodeString &, UnicodeString &AName,
                                                            UnicodeString &, bool) {
  return SameText(AName, u"item") ? desYes : desNo;
}

void TVnXMLStringsDeserializer::Characters(const VnXMLString &AText) {
  if (FLevel == 1 && SameText(FLocalName, u"item") && FInstancePtr)
    static_cast<TStrings *>(static_cast<TObject *>(FInstancePtr))->Add(AText);
}

void TVnXMLValueDeserializer::Characters(const VnXMLString &AText) {
  if (FInstancePtr) *static_cast<TValue *>(FInstancePtr) = TValue(AText);
  DeserializeEndType();
}

// ---------------------------------------------------------------------------------------------
// The XML Schema records by their text

namespace {

template <class R>
bool ClearAs(PTypeInfo AType, void *APtr) {
  if (AType != TypeInfo<R>()) return false;
  static_cast<R *>(APtr)->Clear();
  return true;
}

template <class R, class F>
bool SetAs(PTypeInfo AType, void *APtr, F &&AMake) {
  if (AType != TypeInfo<R>()) return false;
  *static_cast<R *>(APtr) = AMake();
  return true;
}

}  // namespace

bool VnXsClear(PTypeInfo AType, void *APtr) {
  if (!APtr) return false;
  if (AType == TypeInfo<TValue>()) {
    *static_cast<TValue *>(APtr) = TValue();
    return true;
  }
  return ClearAs<TXsBoolean>(AType, APtr) || ClearAs<TXsByte>(AType, APtr) ||
         ClearAs<TXsShort>(AType, APtr) || ClearAs<TXsInt>(AType, APtr) ||
         ClearAs<TXsLong>(AType, APtr) || ClearAs<TXsUnsignedByte>(AType, APtr) ||
         ClearAs<TXsUnsignedShort>(AType, APtr) || ClearAs<TXsUnsignedInt>(AType, APtr) ||
         ClearAs<TXsUnsignedLong>(AType, APtr) || ClearAs<TXsFloat>(AType, APtr) ||
         ClearAs<TXsDouble>(AType, APtr) || ClearAs<TXsDecimal>(AType, APtr) ||
         ClearAs<TXsString>(AType, APtr) || ClearAs<TXsBase64Binary>(AType, APtr) ||
         ClearAs<TXsHexBinary>(AType, APtr) || ClearAs<TXsDateTime>(AType, APtr) ||
         ClearAs<TXsDate>(AType, APtr) || ClearAs<TXsTime>(AType, APtr) ||
         ClearAs<TXsDuration>(AType, APtr);
}

bool VnXsFromText(PTypeInfo AType, void *APtr, const UnicodeString &AText) {
  if (!APtr) return false;
  if (AType == TypeInfo<TValue>()) {
    *static_cast<TValue *>(APtr) = TValue(AText);
    return true;
  }
  const UnicodeString &t = AText;
  return SetAs<TXsBoolean>(AType, APtr, [&] { return TXsBoolean(VnXMLToBool(t)); }) ||
         SetAs<TXsByte>(AType, APtr, [&] { return TXsByte(VnXMLToShortint(t)); }) ||
         SetAs<TXsShort>(AType, APtr, [&] { return TXsShort(VnXMLToSmallint(t)); }) ||
         SetAs<TXsInt>(AType, APtr, [&] { return TXsInt(VnXMLToInt(t)); }) ||
         SetAs<TXsLong>(AType, APtr, [&] { return TXsLong(VnXMLToInt64(t)); }) ||
         SetAs<TXsUnsignedByte>(AType, APtr, [&] { return TXsUnsignedByte(VnXMLToByte(t)); }) ||
         SetAs<TXsUnsignedShort>(AType, APtr, [&] { return TXsUnsignedShort(VnXMLToWord(t)); }) ||
         SetAs<TXsUnsignedInt>(AType, APtr, [&] { return TXsUnsignedInt(VnXMLToLongword(t)); }) ||
         SetAs<TXsUnsignedLong>(AType, APtr, [&] { return TXsUnsignedLong(VnXMLToUInt64(t)); }) ||
         SetAs<TXsFloat>(AType, APtr, [&] { return TXsFloat(VnXMLToSingle(t)); }) ||
         SetAs<TXsDouble>(AType, APtr, [&] { return TXsDouble(VnXMLToDouble(t)); }) ||
         SetAs<TXsDecimal>(AType, APtr,
                           [&] {
                             TXsDecimal r;
                             r = static_cast<Double>(VnXMLToExtended(t));
                             return r;
                           }) ||
         SetAs<TXsString>(AType, APtr,
                          [&] { return TXsString(VnXMLToStr(UnicodeStringView(t))); }) ||
         SetAs<TXsBase64Binary>(AType, APtr,
                                [&] { return TXsBase64Binary(RawByteString(UTF8Encode(t))); }) ||
         SetAs<TXsHexBinary>(AType, APtr,
                             [&] { return TXsHexBinary(RawByteString(UTF8Encode(t))); }) ||
         SetAs<TXsDateTime>(AType, APtr,
                            [&] { return TXsDateTime(VnXMLToDateTime(t, tzfNone)); }) ||
         SetAs<TXsDate>(AType, APtr, [&] { return TXsDate(TDate(VnXMLToDate(t))); }) ||
         SetAs<TXsTime>(AType, APtr, [&] { return TXsTime(TTime(VnXMLToTime(t, tzfNone))); }) ||
         SetAs<TXsDuration>(AType, APtr, [&] { return TXsDuration(t); });
}

}  // namespace vn
