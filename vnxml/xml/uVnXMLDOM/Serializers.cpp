// The serializers and deserializers of documents and elements: a document or an element is
// written as its own text and read by loading that text, with no walk over members; and the
// unit's start-up, which registers them.
#include <string_view>

#include "vnxml/xml/uVnXMLDOM/Internal.h"

namespace vn {

namespace {

// The instance of a run must be an object: its type is known and is a class.
void CheckClassInstance(const TVnTypeInfo *AType) {
  VN_ASSERT_AT(AType && AType->Kind == vtkClass, __FILE__, __LINE__);
}

// The whole output of a root run in UTF-8, by the worker's own Serialize(AStream).
RawByteString SavedText(TVnSerializer *AWorker) {
  TVnStringStream stream(CP_UTF8, 0);
  AWorker->Serialize(&stream);
  return stream.GetDataString();
}

// Saves by ASave into a stream of its own and writes the bytes through the worker, so that they
// take their place in the output of the run that the worker belongs to.
template <class F>
void WriteSaved(TVnSerializer *AWorker, F ASave) {
  TMemoryStream text;
  ASave(&text);
  AWorker->Write(std::string_view(static_cast<const char *>(text.Memory()),
                                  static_cast<std::size_t>(text.GetSize())));
}

// The page an element is written and read in: its document's, or UTF-8 when it stands in no
// document or the document has no page set.
Word ElementCodePage(TVnDOMElement *AElement) {
  auto *doc = dynamic_cast<TVnDOMDocument *>(AElement->GetDOMDocument());
  return doc && doc->GetCodePage() != 0 ? doc->GetCodePage() : Word(CP_UTF8);
}

void SaveDocument(TVnDOMDocument *ADocument, TStream *AStream) {
  ADocument->SaveToStream(AStream, false, false);
}

void SaveElement(TVnDOMElement *AElement, TStream *AStream) {
  AElement->SaveToStream(AStream, ElementCodePage(AElement), false);
}

void SaveDocumentAsJSON(TVnDOMDocument *ADocument, TStream *AStream) {
  ADocument->SaveToJSONStream(AStream, false, false);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// TVnXMLDocSerializer

RawByteString TVnXMLDocSerializer::Serialize() {
  return SavedText(this);
}

void TVnXMLDocSerializer::Serialize(TStream *AStream) {
  CheckClassInstance(FInstanceTypeInfo);
  if (auto *doc = static_cast<TVnDOMDocument *>(FInstancePtr)) SaveDocument(doc, AStream);
}

void TVnXMLDocSerializer::DoSerialize(TVnSerializer *, const UnicodeString &,
                                      const UnicodeString &) {
  CheckClassInstance(FInstanceTypeInfo);
  auto *doc = static_cast<TVnDOMDocument *>(FInstancePtr);
  WriteSaved(this, [doc](TStream *AStream) { SaveDocument(doc, AStream); });
}

void TVnXMLDocSerializer::SerializeStartType(const UnicodeString &, const TVnTypeInfo *, Integer) {}
void TVnXMLDocSerializer::SerializeEndType(const UnicodeString &, const TVnTypeInfo *, Integer) {}

// ---------------------------------------------------------------------------------------------
// TVnDOMElementSerializer

RawByteString TVnDOMElementSerializer::Serialize() {
  return SavedText(this);
}

void TVnDOMElementSerializer::Serialize(TStream *AStream) {
  CheckClassInstance(FInstanceTypeInfo);
  if (auto *element = static_cast<TVnDOMElement *>(FInstancePtr)) SaveElement(element, AStream);
}

void TVnDOMElementSerializer::DoSerialize(TVnSerializer *, const UnicodeString &,
                                          const UnicodeString &) {
  CheckClassInstance(FInstanceTypeInfo);
  auto *element = static_cast<TVnDOMElement *>(FInstancePtr);
  WriteSaved(this, [element](TStream *AStream) { SaveElement(element, AStream); });
}

void TVnDOMElementSerializer::SerializeStartType(const UnicodeString &, const TVnTypeInfo *,
                                                 Integer) {}
void TVnDOMElementSerializer::SerializeEndType(const UnicodeString &, const TVnTypeInfo *,
                                               Integer) {}

// ---------------------------------------------------------------------------------------------
// TVnXMLDocJSONSerializer

RawByteString TVnXMLDocJSONSerializer::Serialize() {
  return SavedText(this);
}

void TVnXMLDocJSONSerializer::Serialize(TStream *AStream) {
  CheckClassInstance(FInstanceTypeInfo);
  if (auto *doc = static_cast<TVnDOMDocument *>(FInstancePtr)) SaveDocumentAsJSON(doc, AStream);
}

void TVnXMLDocJSONSerializer::DoSerialize(TVnSerializer *, const UnicodeString &,
                                          const UnicodeString &) {
  CheckClassInstance(FInstanceTypeInfo);
  auto *doc = static_cast<TVnDOMDocument *>(FInstancePtr);
  WriteSaved(this, [doc](TStream *AStream) { SaveDocumentAsJSON(doc, AStream); });
}

void TVnXMLDocJSONSerializer::SerializeStartType(const UnicodeString &, const TVnTypeInfo *,
                                                 Integer AIndex) {
  if (AIndex > 0) Write(',');
}
void TVnXMLDocJSONSerializer::SerializeEndType(const UnicodeString &, const TVnTypeInfo *,
                                               Integer) {}

// ---------------------------------------------------------------------------------------------
// TVnXMLDocDeserializer

TObject *TVnXMLDocDeserializer::CreateInstance(const TVnTypeInfo *&ATypeInfo) {
  TVnDOMDocument *doc = New<TVnDOMDocument>();
  ATypeInfo = TVnTypes::GetTypeInfo(TVnDOMDocument::StaticClass());
  return doc;
}

void TVnXMLDocDeserializer::Deserialize(TStream *AStream) {
  CheckClassInstance(FInstanceTypeInfo);
  TObject *created = nullptr;
  if (!FInstancePtr) FInstancePtr = created = CreateInstance(FInstanceTypeInfo);
  try {
    static_cast<TVnDOMDocument *>(FInstancePtr)->LoadFromStream(AStream);
  } catch (...) {
    // A document made for this run does not outlive its failure.
    if (created) {
      FInstancePtr = nullptr;
      created->Free();
    }
    throw;
  }
}

// ---------------------------------------------------------------------------------------------
// TVnDOMElementDeserializer

TObject *TVnDOMElementDeserializer::CreateInstance(const TVnTypeInfo *&) {
  throw Exception(u"Not supported");
}

void TVnDOMElementDeserializer::Deserialize(TStream *AStream) {
  CheckClassInstance(FInstanceTypeInfo);
  if (!FInstancePtr) FInstancePtr = CreateInstance(FInstanceTypeInfo);
  auto *element = static_cast<TVnDOMElement *>(FInstancePtr);
  element->LoadFromStream(AStream, ElementCodePage(element));
}

// ---------------------------------------------------------------------------------------------
// Start-up

bool VnXMLDOMStartUp() {
  static const bool done = [] {
    // The vendor and the document hooks first, then the serializers.
    VnXMLDOMHostStartUp();
    RegisterType<TVnDOMDocument>(
        u"uVnXMLDOM", [](TTypeBuilder<TVnDOMDocument> &R) { R.Name(u"TVnDOMDocument"); });
    RegisterType<TVnDOMElement>(u"uVnXMLDOM",
                                [](TTypeBuilder<TVnDOMElement> &R) { R.Name(u"TVnDOMElement"); });
    VnRegisterSerializer(dsfXML, TVnDOMDocument::StaticClass(),
                         VnSerializerClass<TVnXMLDocSerializer>(),
                         VnDeserializerClass<TVnXMLDocDeserializer>());
    // Registered second for the same type and format, so the XML pair above stands: a document
    // goes to and from XML alike.
    VnRegisterSerializer(dsfXML, TVnDOMDocument::StaticClass(),
                         VnSerializerClass<TVnXMLDocJSONSerializer>(), nullptr);
    VnRegisterSerializer(dsfXML, TVnDOMElement::StaticClass(),
                         VnSerializerClass<TVnDOMElementSerializer>(),
                         VnDeserializerClass<TVnDOMElementDeserializer>());
    return true;
  }();
  return done;
}

}  // namespace vn
