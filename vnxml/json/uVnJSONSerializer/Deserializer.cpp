// The JSON notation read back: TVnJSONDeserializer and its subclasses on one JSON reader per run.
#include "vnxml/common/uVnNetEncoding.h"
#include "vnxml/common/uVnSerializer/Internal.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/rtl/SysUtils.h"
#include "vnxml/json/uVnJSONSerializer.h"
#include "vnxml/xml/uVnXMLSerializer.h"
#include "vnxml/xml/uVnXMLUtils.h"
#include "vnxml/xml/uVnXSTypes.h"

namespace vn {

namespace {

// The reader's handler for a run: it gives each event to the worker that takes events now, and
// frees the workers that the event has finished. Warnings and errors do nothing: what a bad
// text does is what the reader does after the call.
class TVnJSONDeserializerEvents : public TVnObject,
                                  public IVnJSONContentHandler,
                                  public IVnJSONErrorHandler {
  VN_CLASS(TVnJSONDeserializerEvents, TVnObject)
  VN_IMPLEMENTS(TVnObject, IVnJSONContentHandler, IVnJSONErrorHandler)
 public:
  explicit TVnJSONDeserializerEvents(TVnJSONDeserializer *ARoot) : FRoot(ARoot) {}

  void SetDocumentLocator(IVnJSONLocator *) override {}
  void StartDocument() override {}
  void StartObject() override {
    if (TVnJSONDeserializer *w = Worker()) w->StartObject();
    FRoot->FreeRetired();
  }
  void StartMember(const VnJSONString &AName) override {
    if (TVnJSONDeserializer *w = Worker()) w->StartMember(AName);
    FRoot->FreeRetired();
  }
  void StartArray() override {
    if (TVnJSONDeserializer *w = Worker()) w->StartArray();
    FRoot->FreeRetired();
  }
  void Value(TVnJSONDataType ADataType, const VnJSONString &AValue) override {
    if (TVnJSONDeserializer *w = Worker()) w->Value(ADataType, AValue);
    FRoot->FreeRetired();
  }
  void EndArray() override {
    if (TVnJSONDeserializer *w = Worker()) w->EndArray();
    FRoot->FreeRetired();
  }
  void EndMember() override {}
  void EndObject() override {
    if (TVnJSONDeserializer *w = Worker()) w->EndObject();
    FRoot->FreeRetired();
  }
  void EndDocument() override {}

  void Warning(IVnJSONLocator *, const VnJSONString &) override {}
  void Error(IVnJSONLocator *, const VnJSONString &) override {}
  void FatalError(IVnJSONLocator *, const VnJSONString &) override {}

 private:
  TVnJSONDeserializer *Worker() const {
    return static_cast<TVnJSONDeserializer *>(FRoot->Current());
  }
  TVnJSONDeserializer *FRoot;
};

bool IsBracketOrBlank(char16_t C) {
  return C == u'[' || C == u']' || C <= u' ';
}

// The name of the type of a JSON value for a variant member (made once: every value asks).
const UnicodeString &ValueTypeName(TVnJSONDataType ADataType, const VnJSONString &AValue,
                                   const UnicodeString &ANullType) {
  static const UnicodeString cString = u"System.string", cExtended = u"System.Extended",
                             cInt64 = u"System.Int64", cBoolean = u"System.Boolean";
  switch (ADataType) {
    case jdtString:
      return cString;
    case jdtNumber:
      return AValue.find(u'.') != UnicodeString::npos ? cExtended : cInt64;
    case jdtBoolean:
      return cBoolean;
    default:
      return ANullType;
  }
}

// A plain value from a JSON value: a string unescaped, a number as Int64 or Extended by its
// ".", a boolean, null as a null variant or as AEmpty.
TValue PlainValue(TVnJSONDataType ADataType, const VnJSONString &AValue, bool ANullVariant) {
  switch (ADataType) {
    case jdtNull:
      return ANullVariant ? TValue(Variant::Null()) : TValue();
    case jdtString:
      return TValue(VnJSONtoStr(AValue, jdtString));
    case jdtNumber:
      if (AValue.find(u'.') != UnicodeString::npos)
        return TValue::From<TExtendedAlias>(VnXMLToExtended(AValue));
      return TValue(VnXMLToInt64(AValue));
    case jdtBoolean:
      return TValue(VnXMLToBool(AValue));
    default:
      return TValue(AValue);
  }
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// TVnJSONDeserializer

void TVnJSONDeserializer::Reuse(void *AInstance, PTypeInfo AType) {
  TVnDeserializer::Reuse(AInstance, AType);
  FJSONReader = nullptr;
  FCanDeserialize = desNo;
  FMemberName.clear();
  FDataType.clear();
  FNamespace.clear();
  FDisabledCnt = 0;
  FOwnArray = false;
}

void TVnJSONDeserializer::SetParent(TVnCustomSerializer *AParent) {
  TVnDeserializer::SetParent(AParent);
  if (!AParent || !AParent->InheritsFrom(TVnJSONDeserializer::StaticClass())) return;
  FJSONReader = static_cast<TVnJSONDeserializer *>(AParent)->FJSONReader;
  if (FJSONReader) TakeEvents();
}

TVnJSONReader *TVnJSONDeserializer::CreateJSONReader() {
  UnicodeString encoded = GetParam(u"UrlEncoded");
  if (SameText(encoded, u"True") || encoded == u"1") return New<TVnFormURLEncodedJSONReader>();
  return New<TVnJSONReader>();
}

void TVnJSONDeserializer::DoDeserialize() {
  FJSONReader = CreateJSONReader();
  Owned<TVnJSONReader> reader(FJSONReader);
  auto *events = New<TVnJSONDeserializerEvents>(this);
  events->SetAutoDestroy(false);
  Owned<TVnJSONDeserializerEvents> eventsOwner(events);
  FJSONReader->SetContentHandler(events);
  FJSONReader->SetErrorHandler(events);
  BeginRun();
  try {
    FJSONReader->ParseStream(FStream, 65001, VnJSONString());
  } catch (...) {
    EndRun(true);
    FJSONReader->SetContentHandler(nullptr);
    FJSONReader->SetErrorHandler(nullptr);
    FJSONReader = nullptr;
    throw;
  }
  EndRun(false);
  FJSONReader->SetContentHandler(nullptr);
  FJSONReader->SetErrorHandler(nullptr);
  FJSONReader = nullptr;
}

UnicodeString TVnJSONDeserializer::ReadClassName(TVnTextParser *AParser) {
  auto skip = [&](char16_t AUntil) {
    while (!AParser->Eof() && AParser->CurrCharW() != AUntil) AParser->NextChar();
  };
  auto readUntil = [&](char16_t AEnd) {
    UnicodeString text;
    while (!AParser->Eof() && AParser->CurrCharW() != AEnd) text += AParser->ReadCharW();
    return text;
  };
  UnicodeString encoded = GetParam(u"UrlEncoded");
  if (SameText(encoded, u"True") || encoded == u"1") {
    while (!AParser->Eof() && (AParser->CurrCharW() <= u' ' || AParser->CurrCharW() == u'&'))
      AParser->NextChar();
    UnicodeString name;
    if (!AParser->Eof() && AParser->CurrCharW() == u'%' && AParser->PeekString(3) == u"%5B") {
      AParser->SkipChars(3);
      name = readUntil(u'%');
    } else if (!AParser->Eof() && AParser->CurrCharW() == u'[') {
      AParser->NextChar();
      name = readUntil(u']');
    }
    if (name != u"className") return UnicodeString();
    skip(u'=');
    if (AParser->Eof()) return UnicodeString();
    AParser->NextChar();
    return readUntil(u'&');
  }
  if (AParser->Eof()) return UnicodeString();
  AParser->NextChar();
  skip(u'"');
  if (AParser->Eof()) return UnicodeString();
  AParser->NextChar();
  if (readUntil(u'"') != u"className" || AParser->Eof()) return UnicodeString();
  skip(u':');
  skip(u'"');
  if (AParser->Eof()) return UnicodeString();
  AParser->NextChar();
  UnicodeString value = readUntil(u'"');
  return AParser->Eof() ? UnicodeString() : value;
}

namespace {

// The JSON peek at a text: skip one character, take the first name in quotes; when it is
// "className", its value. Incomplete when the text ends before the answer is certain. On the
// UTF-16 text, or on UTF-8 bytes where a value beyond ASCII is refused (AName empty) so that
// the caller looks again in UTF-16.
enum class TPeek { Found, None, Incomplete };
template <class C>
TPeek PeekClassName(std::basic_string_view<C> AText, UnicodeString &AName) {
  std::size_t i = 1;
  auto to = [&](char AChar) {
    while (i < AText.size() && AText[i] != static_cast<C>(AChar)) ++i;
    return i < AText.size();
  };
  if (AText.size() < 1) return TPeek::Incomplete;
  if (!to('"')) return TPeek::Incomplete;
  std::size_t start = ++i;
  if (!to('"')) return TPeek::Incomplete;
  static constexpr char cName[] = "className";
  const std::size_t nameLen = i - start;
  if (nameLen != sizeof cName - 1) return TPeek::None;
  for (std::size_t k = 0; k < nameLen; ++k)
    if (AText[start + k] != static_cast<C>(cName[k])) return TPeek::None;
  if (!to(':') || !to('"')) return TPeek::Incomplete;
  start = ++i;
  if (!to('"')) return TPeek::Incomplete;
  AName.clear();
  for (std::size_t k = start; k < i; ++k) {
    if constexpr (sizeof(C) == 1) {
      if (static_cast<unsigned char>(AText[k]) >= 0x80) {
        AName.clear();
        return TPeek::Found;
      }
    }
    AName.push_back(static_cast<char16_t>(static_cast<std::make_unsigned_t<C>>(AText[k])));
  }
  return TPeek::Found;
}

}  // namespace

bool TVnJSONDeserializer::ReadClassName(UnicodeString &AName) {
  AName.clear();
  TVnJSONTextParser *parser = FJSONReader ? FJSONReader->Parser() : nullptr;
  if (!parser) return true;
  // A short look first: the class name, when there is one, stands right behind the name. In
  // UTF-8 the bytes are read where they lie; a name beyond ASCII is read again in UTF-16.
  const char *bytes;
  std::size_t size;
  if (parser->PeekUtf8(48, bytes, size)) {
    TPeek result = PeekClassName(std::string_view(bytes, size), AName);
    if (result == TPeek::None || (result == TPeek::Incomplete && size < 48)) {
      AName.clear();
      return true;
    }
    if (result == TPeek::Found && !AName.empty()) return true;
  }
  UnicodeString ahead = parser->PeekString(48);
  TPeek result = PeekClassName(UnicodeStringView(ahead), AName);
  if (result == TPeek::Incomplete && ahead.size() == 48) {
    ahead = parser->PeekString(255);
    result = PeekClassName(UnicodeStringView(ahead), AName);
  }
  if (result != TPeek::Found) AName.clear();
  return true;
}

Integer TVnJSONDeserializer::ValueToInt(const UnicodeString &AValue) {
  return VnXMLToInt(AValue);
}
Int64 TVnJSONDeserializer::ValueToInt64(const UnicodeString &AValue) {
  return VnXMLToInt64(AValue);
}
Extended TVnJSONDeserializer::ValueToFloat(const UnicodeString &AValue) {
  double value;
  if (serializer_detail::PlainDecimal(AValue, value)) return value;
  return VnXMLToDouble(AValue);
}
UnicodeString TVnJSONDeserializer::ValueToStr(const UnicodeString &AValue) {
  return VnJSONtoStr(AValue, jdtNull);
}
TDateTime TVnJSONDeserializer::ValueToDate(const UnicodeString &AValue) {
  return VnXMLToDate(AValue);
}
TDateTime TVnJSONDeserializer::ValueToTime(const UnicodeString &AValue) {
  return VnXMLToTime(AValue, tzfNone);
}
TDateTime TVnJSONDeserializer::ValueToDateTime(const UnicodeString &AValue) {
  return VnXMLToDateTime(AValue, tzfNone);
}
bool TVnJSONDeserializer::ValueToBool(const UnicodeString &AValue) {
  return VnXMLToBool(AValue);
}
Variant TVnJSONDeserializer::ValueToVar(const UnicodeString &AValue,
                                        const UnicodeString &ADataType) {
  return VnXMLToVariant(AValue, TVnTypes::GetVarType(ADataType, tntQualifiedName, 13));
}

TValue TVnJSONDeserializer::ValueToVal(const UnicodeString &AValue,
                                       const UnicodeString &ADataType) {
  const TVnTypeInfo *type = TVnTypes::GetTypeInfo(ADataType, tntQualifiedName, true);
  PTypeInfo handle = type->Handle;
  switch (type->GetKind()) {
    case tkInteger:
    case tkEnumeration:
    case tkSet:
      return VnOrdinalValue(handle, ValueToInt(AValue));
    case tkChar:
    case tkWChar: {
      UnicodeString text = ValueToStr(AValue);
      return TValue::FromOrdinal(handle, text.empty() ? 0 : text[0]);
    }
    case tkFloat: {
      TValue v(static_cast<double>(ValueToFloat(AValue)));
      return handle ? v.Cast(handle) : v;
    }
    case tkString:
    case tkLString:
    case tkWString:
    case tkUString: {
      TValue v(ValueToStr(AValue));
      return handle && handle != v.GetTypeInfo() ? v.Cast(handle) : v;
    }
    case tkVariant:
      return TValue(Variant(ValueToStr(AValue)));
    case tkInt64:
      return TValue::FromOrdinal(handle, ValueToInt64(AValue));
    default:
      throw Exception(u"Failed to convert \"%s\" into a TValue!\r\nThe type %s is not supported.",
                      {AValue, ADataType});
  }
}

void TVnJSONDeserializer::StartObject() {
  if (FDisabledCnt >= 1) {
    ++FDisabledCnt;
    return;
  }
  if (IsArraySerializer()) {
    TValue *slot = InitializeArrayElement(UnicodeString(), FMemberName);
    if (FMemberTypeInfo && FMemberTypeInfo->Kind == vtkClass && slot &&
        (!slot->IsObject() || !slot->AsObject())) {
      ++FDisabledCnt;
      return;
    }
  } else if (!FMemberName.empty() && !(FMemberTypeInfo && (FMemberTypeInfo->Kind == vtkEnum ||
                                                           FMemberTypeInfo->Kind == vtkSet))) {
    // An object in a member that made no worker of its own (a nil object that could not be
    // created, a member of the wrong kind): its content is passed over.
    ++FDisabledCnt;
    return;
  }
  if (FMemberTypeInfo && (FMemberTypeInfo->Kind == vtkEnum || FMemberTypeInfo->Kind == vtkSet))
    CreateChildDeserializer(u"enum", FInstancePtr, FInstanceTypeInfo,
                            VnDeserializerClass<TVnJSONEnumDeserializer>(), nullptr);
}

void TVnJSONDeserializer::StartArray() {
  if (FDisabledCnt >= 1) {
    ++FDisabledCnt;
    return;
  }
  // The array that an object or record worker stands for as a whole (a list that a helper
  // fills): its values go to the helpers one by one, and its end ends the worker.
  if (FMemberName.empty() && !IsArraySerializer()) FOwnArray = true;
  FCanDeserialize = desYes;
}

void TVnJSONDeserializer::StartMember(const VnJSONString &AName) {
  if (FDisabledCnt >= 1) return;
  FCanDeserialize = desNo;
  FMemberName = AName;
  if (!IsArraySerializer())
    FCanDeserialize = CanDeserialize(FNamespace, FMemberName, FDataType, true);
}

void TVnJSONDeserializer::Value(TVnJSONDataType ADataType, const VnJSONString &AValue) {
  if (FDisabledCnt > 0) return;
  TVnTypeKind elementKind = vtkUnknown;
  if (IsArraySerializer(&elementKind) && elementKind != vtkArray && elementKind != vtkDynArray &&
      elementKind != vtkRecord && elementKind != vtkClass) {
    if (!AValue.empty() && ADataType != jdtNull) {
      bool any = false;
      for (char16_t c : AValue)
        if (!IsBracketOrBlank(c)) {
          any = true;
          break;
        }
      if (any) {
        InitializeArrayElement(UnicodeString(), FMemberName);
        FCanDeserialize = desYes;
      }
    } else {
      InitializeArrayElement(UnicodeString(), FMemberName);
      FCanDeserialize = desIgnore;
    }
  } else if (ADataType == jdtNull && IsArraySerializer()) {
    // A null element of an array of records, objects or arrays: an element with its default.
    InitializeArrayElement(UnicodeString(), FMemberName);
    FCanDeserialize = desIgnore;
  }
  if (FCanDeserialize == desIgnore) return;
  if (FInstancePtr && FInstanceTypeInfo && FMemberName.empty()) {
    // The value stands for the instance as a whole.
    const TVnTypeInfo *type = FInstanceTypeInfo;
    if ((type->Kind == vtkArray || type->Kind == vtkDynArray) && FParentDes &&
        FParentDes->InheritsFrom(TVnJSONDeserializer::StaticClass()) &&
        FParentDes->InstanceTypeInfo() != type && FParentDes->MemberTypeInfo() == type &&
        !AValue.empty() && AValue[0] == u'[') {
      // An array given as text: read by a run of its own on the parent's member value, which
      // keeps an array read at its root in its own member value.
      TValue &target = FParentDes->MemberValue();
      Owned<TVnDeserializer> reader(VnCreateDeserializer(dsfJSON, target));
      reader->SetCreatedObjects(FCreatedObjs);
      reader->Deserialize(RawByteString(UTF8Encode(VnJSONtoStr(AValue, jdtString))));
      target = reader->MemberValue();
      EndArray();
      return;
    }
    if (type->Kind == vtkRecord && type->QualifiedName == u"System.Rtti.TValue") {
      *static_cast<TValue *>(FInstancePtr) = PlainValue(ADataType, AValue, false);
      DeserializeEndType();
      HandBack();
      return;
    }
    if (type->Kind == vtkRecord || type->Kind == vtkClass) {
      if (ADataType != jdtNull) {
        bool handled = false;
        if (FCHelper)
          FCHelper->DeserializeValue(this, UnicodeString(), UnicodeString(), AValue,
                                     type->QualifiedName, handled);
        if (!handled && FIHelper)
          FIHelper->DeserializeValue(this, UnicodeString(), UnicodeString(), AValue,
                                     type->QualifiedName, handled);
        if (!handled && !AValue.empty()) {
          UnicodeString text = ADataType == jdtString ? VnJSONtoStr(AValue, jdtString) : AValue;
          if (text.empty() || text[0] != u'{')
            throw Exception(u"Record/Object data must start with \"{\".");
          DeserializeNested(FInstancePtr, type, UTF8Encode(text));
        }
      } else if (type->Kind == vtkRecord) {
        throw Exception(
            u"Records are not nillable! Use \"{}\" if you want to use empty records instead of "
            u"\"Null\".");
      }
      if (!FOwnArray) EndObject();
      return;
    }
  }
  DeserializeValue(UnicodeString(), FMemberName, AValue,
                   ValueTypeName(ADataType, AValue, FDataType));
}

void TVnJSONDeserializer::EndArray() {
  if (FDisabledCnt > 0) {
    --FDisabledCnt;
    return;
  }
  if (FParentDes) {
    DeserializeEndType();
    HandBack();
  }
}

void TVnJSONDeserializer::EndObject() {
  if (FDisabledCnt > 0) {
    --FDisabledCnt;
    return;
  }
  if (FParentDes) {
    DeserializeEndType();
    HandBack();
  }
}

// ---------------------------------------------------------------------------------------------
// The enumeration object

void TVnJSONEnumDeserializer::DeserializeStartType() {
  auto *parent = ParentDeserializer();
  FMemberTypeInfo = parent ? parent->MemberTypeInfo() : nullptr;
}

void TVnJSONEnumDeserializer::StartMember(const VnJSONString &AName) {
  FMemberName = AName;
  if (!SameText(AName, u"className") && !SameText(AName, u"asString") && !SameText(AName, u"asInt"))
    throw Exception(
        u"\"The JSON Enum Deserializer expected \"asString\" or \"asInt\", but the member "
        u"\"%s\" was deserialized instead!",
        {AName});
}

void TVnJSONEnumDeserializer::Value(TVnJSONDataType ADataType, const VnJSONString &AValue) {
  TVnDeserializer *parent = ParentDeserializer();
  if (!parent) return;
  if (SameText(FMemberName, u"asString") && ADataType == jdtString) {
    parent->DeserializeValue(UnicodeString(), FMemberName, AValue, u"System.string");
  } else if (SameText(FMemberName, u"asInt") &&
             (ADataType == jdtString || ADataType == jdtNumber)) {
    parent->DeserializeValue(UnicodeString(), FMemberName, AValue, u"System.Integer");
  } else if (ADataType == jdtString) {
    VN_ASSERT_AT(SameText(FMemberName, u"className"), __FILE__, __LINE__);
  }
}

void TVnJSONEnumDeserializer::EndObject() {
  // The value went to the parent's member with each piece; the parent's own type goes on (its
  // end would let a serializable object's section go in the middle of the object).
  HandBack();
}

// ---------------------------------------------------------------------------------------------
// Streams, strings, XML Schema records

void TVnJSONStreamDeserializer::Value(TVnJSONDataType ADataType, const VnJSONString &AValue) {
  if (ADataType != jdtString || !FInstancePtr) {
    TVnJSONDeserializer::Value(ADataType, AValue);
    return;
  }
  RawByteString bytes = TVnNetEncoding::Base64Ex().Decode(UTF8Encode(AValue));
  auto *stream = static_cast<TStream *>(static_cast<TObject *>(FInstancePtr));
  stream->SetSize(0);
  if (!bytes.empty()) stream->WriteBuffer(bytes.data(), static_cast<Int64>(bytes.size()));
  stream->SetPosition(0);
  if (FParentDes) {
    DeserializeEndType();
    HandBack();
  }
}

void TVnJSONStringsDeserializer::SetParent(TVnCustomSerializer *AParent) {
  TVnJSONDeserializer::SetParent(AParent);
  if (FInstancePtr) static_cast<TStrings *>(static_cast<TObject *>(FInstancePtr))->Clear();
}

TVnCanDeserialize TVnJSONStringsDeserializer::CanDeserialize(UnicodeString &, UnicodeString &AName,
                                                             UnicodeString &, bool) {
  return SameText(AName, u"items") ? desYes : desNo;
}

void TVnJSONStringsDeserializer::Value(TVnJSONDataType ADataType, const VnJSONString &AValue) {
  if (FDisabledCnt > 0) return;
  if (SameText(FMemberName, u"items") && FInstancePtr)
    static_cast<TStrings *>(static_cast<TObject *>(FInstancePtr))
        ->Add(ADataType == jdtString ? ValueToStr(AValue) : AValue);
}

TVnCanDeserialize TVnJSONXsDeserializer::CanDeserialize(UnicodeString &, UnicodeString &,
                                                        UnicodeString &, bool) {
  if (!FInstanceTypeInfo || !VnXsClear(FInstanceTypeInfo->Handle, FInstancePtr)) return desNo;
  return desYes;
}

void TVnJSONXsDeserializer::StartObject() {
  // A duration is written as an object of its parts.
  if (FInstanceTypeInfo && FInstanceTypeInfo->Handle == TypeInfo<TXsDuration>() &&
      FDisabledCnt == 0 && !FInDuration) {
    FInDuration = true;
    FDurationRead = false;
    FDuration = TVnDuration();
    return;
  }
  TVnJSONDeserializer::StartObject();
}

void TVnJSONXsDeserializer::StartMember(const VnJSONString &AName) {
  if (FInDuration) {
    FMemberName = AName;
    return;
  }
  TVnJSONDeserializer::StartMember(AName);
}

void TVnJSONXsDeserializer::Value(TVnJSONDataType ADataType, const VnJSONString &AValue) {
  if (FInDuration) {
    FDurationRead = true;
    if (SameText(FMemberName, u"negative"))
      FDuration.Negative = VnXMLToBool(AValue);
    else if (SameText(FMemberName, u"monthts"))
      FDuration.Months = VnXMLToInt(AValue);
    else if (SameText(FMemberName, u"seconds"))
      FDuration.Seconds = VnXMLToExtended(AValue);
    return;
  }
  if (!FInstanceTypeInfo) throw Exception(u"The type is not an XsType!");
  if (ADataType == jdtNull) {
    if (!VnXsClear(FInstanceTypeInfo->Handle, FInstancePtr))
      throw Exception(u"The type is not an XsType!");
  } else if (!VnXsFromText(FInstanceTypeInfo->Handle, FInstancePtr,
                           ADataType == jdtString ? ValueToStr(AValue) : AValue)) {
    throw Exception(u"The type is not an XsType!");
  }
  FInDuration = false;
  TVnJSONDeserializer::EndObject();
}

void TVnJSONXsDeserializer::EndObject() {
  if (FInDuration) {
    FInDuration = false;
    // "{}" is the null duration.
    auto *target = static_cast<TXsDuration *>(FInstancePtr);
    if (FDurationRead)
      *target = TXsDuration(FDuration);
    else
      target->Clear();
  }
  TVnJSONDeserializer::EndObject();
}

// ---------------------------------------------------------------------------------------------
// TValue members

TVnJSONValueDeserializer::TVnJSONValueDeserializer(const TValue &AValue)
    : TVnJSONDeserializer(AValue) {
  FDisabledCnt = 1;
}

TVnJSONValueDeserializer::TVnJSONValueDeserializer(void *AInstance, PTypeInfo AType)
    : TVnJSONDeserializer(AInstance, AType) {
  FDisabledCnt = 1;
}

TVnJSONValueDeserializer::~TVnJSONValueDeserializer() {
  // A worker that outlives the parse (the text ended inside its value) finds no parser.
  if (FMarked && FJSONReader && FJSONReader->Parser() == FMarked) FMarked->ClearMark(tpMark3);
}

void TVnJSONValueDeserializer::SetParent(TVnCustomSerializer *AParent) {
  TVnJSONDeserializer::SetParent(AParent);
  if (FJSONReader && FJSONReader->Parser()) {
    FMarked = FJSONReader->Parser();
    FMarked->SetMark(tpMark3);
  }
}

void TVnJSONValueDeserializer::StartObject() {
  ++FDisabledCnt;
}

void TVnJSONValueDeserializer::EndArray() {
  --FDisabledCnt;
}

void TVnJSONValueDeserializer::Value(TVnJSONDataType ADataType, const VnJSONString &AValue) {
  if (FDisabledCnt != 1) return;
  if (FInstancePtr) *static_cast<TValue *>(FInstancePtr) = PlainValue(ADataType, AValue, true);
  DeserializeEndType();
  HandBack();
}

void TVnJSONValueDeserializer::EndObject() {
  --FDisabledCnt;
  if (FDisabledCnt != 1) return;
  UnicodeString text;
  if (FMarked) {
    text = FMarked->Selected(tpMark3, tpCurrent, false);
    std::size_t brace = text.find(u'{');
    text = brace == UnicodeString::npos ? UnicodeString() : text.substr(brace);
    text += u'}';
  }
  UnicodeString name;
  {
    Owned<TVnTextParser> peek(New<TVnTextParser>(static_cast<const void *>(text.data()),
                                                 static_cast<UInt64>(text.size() * 2),
                                                 static_cast<Word>(CP_UTF16)));
    name = TVnJSONDeserializer::ReadClassName(peek.get());
  }
  const TVnTypeInfo *type =
      name.empty() ? nullptr : TVnTypes::GetTypeInfo(name, tntSchemaName, false);
  auto *target = static_cast<TValue *>(FInstancePtr);
  if (type && target) {
    switch (type->Kind) {
      case vtkEnum:
      case vtkSet: {
        Owned<TVnJSONDocument> doc(New<TVnJSONDocument>());
        doc->SetAsJSON(text);
        TVnJSONMember *m = doc->FindMember(u"asInt");
        Int64 ordinal = m ? m->GetAsLargeInt() : 0;
        *target = VnOrdinalValue(type->Handle, ordinal);
        break;
      }
      case vtkRecord: {
        TValue value = TValue::Make(nullptr, type->Handle);
        DeserializeNested(value.GetReferenceToRawData(), type, UTF8Encode(text));
        *target = std::move(value);
        break;
      }
      case vtkClass:
        if (FCreatedObjs) {
          auto *object =
              static_cast<TObject *>(DeserializeNested(nullptr, nullptr, UTF8Encode(text)));
          try {
            FCreatedObjs->Add(object);
          } catch (...) {
            object->Free();
            throw;
          }
          *target = TValue(object);
        }
        break;
      default:
        break;
    }
  }
  FDisabledCnt = 0;
  TVnJSONDeserializer::EndObject();
}

}  // namespace vn
