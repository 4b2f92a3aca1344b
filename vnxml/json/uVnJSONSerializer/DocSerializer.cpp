// The serializer and deserializer of JSON documents: a document is written as its own text and
// read by loading that text, with no walk over members.
#include <string_view>

#include "vnxml/json/uVnJSONSerializer.h"

namespace vn {

namespace {

// The instance of a run must be an object: its type is known and is a class.
void CheckClassInstance(const TVnTypeInfo *AType) {
  VN_ASSERT_AT(AType && AType->Kind == vtkClass, __FILE__, __LINE__);
}

// The document's text in UTF-8, unformatted and without a byte-order mark.
void SaveDocument(TVnJSONDocument *ADocument, TStream *AStream) {
  ADocument->SaveToStream(AStream, false, CP_UTF8, false);
}

std::string_view BytesOf(TCustomMemoryStream &AStream) {
  return std::string_view(static_cast<const char *>(AStream.Memory()),
                          static_cast<std::size_t>(AStream.GetSize()));
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// TVnJSONDocSerializer

RawByteString TVnJSONDocSerializer::Serialize() {
  TVnStringStream stream(CP_UTF8, 0);
  Serialize(&stream);
  return stream.GetDataString();
}

void TVnJSONDocSerializer::Serialize(TStream *AStream) {
  CheckClassInstance(FInstanceTypeInfo);
  auto *doc = static_cast<TVnJSONDocument *>(FInstancePtr);
  if (!doc) return;
  if (!ExcludeRoot()) {
    SaveDocument(doc, AStream);
    return;
  }
  // The value without its first and last byte: the braces of an object, the brackets of an
  // array.
  TMemoryStream text;
  SaveDocument(doc, &text);
  std::string_view bytes = BytesOf(text);
  if (bytes.size() > 2)
    AStream->WriteBuffer(bytes.data() + 1, static_cast<Int64>(bytes.size() - 2));
}

void TVnJSONDocSerializer::DoSerialize(TVnSerializer *, const UnicodeString &,
                                       const UnicodeString &) {
  CheckClassInstance(FInstanceTypeInfo);
  TMemoryStream text;
  SaveDocument(static_cast<TVnJSONDocument *>(FInstancePtr), &text);
  // A member needs a value: a document without one stands as null.
  if (text.GetSize() == 0)
    Write(std::string_view("null"));
  else
    Write(BytesOf(text));
}

void TVnJSONDocSerializer::SerializeStartType(const UnicodeString &, const TVnTypeInfo *,
                                              Integer AIndex) {
  if (AIndex > 0) Write(',');
}

void TVnJSONDocSerializer::SerializeEndType(const UnicodeString &, const TVnTypeInfo *, Integer) {}

// ---------------------------------------------------------------------------------------------
// TVnJSONDocDeserializer

TObject *TVnJSONDocDeserializer::CreateInstance(const TVnTypeInfo *&ATypeInfo) {
  TVnJSONDocument *doc = New<TVnJSONDocument>();
  // The caller holds the document by pointer: interfaces taken on it must not destroy it.
  doc->SetAutoDestroy(false);
  ATypeInfo = TVnTypes::GetTypeInfo(TVnJSONDocument::StaticClass());
  return doc;
}

void TVnJSONDocDeserializer::Deserialize(TStream *AStream) {
  CheckClassInstance(FInstanceTypeInfo);
  TObject *created = nullptr;
  if (!FInstancePtr) FInstancePtr = created = CreateInstance(FInstanceTypeInfo);
  try {
    static_cast<TVnJSONDocument *>(FInstancePtr)->LoadFromStream(AStream, CP_UTF8, false);
  } catch (...) {
    // A document made for this run does not outlive its failure.
    if (created) {
      FInstancePtr = nullptr;
      created->Free();
    }
    throw;
  }
}

}  // namespace vn
