// A program against the installed package: the text source, XML Schema records, and a document
// loaded from text and looked up by element name.
#include <vnxml/common/uVnClasses.h>
#include <vnxml/xml/uVnXMLDOM.h>
#include <vnxml/xml/uVnXSTypes.h>

#include <cstdio>
#include <string>

using namespace vn;

namespace {

int failures = 0;

void Expect(bool AOk, const char *AWhat) {
  if (!AOk) {
    std::fprintf(stderr, "failed: %s\n", AWhat);
    ++failures;
  }
}

void TextSource() {
  const char text[] = "<root/>";
  TVnTextParser *p = New<TVnTextParser>(text, sizeof(text) - 1, CP_UTF8);
  p->SkipWhile(soNotEqual, u'/');
  Expect(p->PeekString(2) == u"/>", "the text source stops before \"/>\"");
  p->Free();
}

void SchemaRecords() {
  TXsInt i = 40;
  i = i + 2;
  Expect(i.ToString() == u"42", "TXsInt adds");
  i.Restrictions.MaxInclusive = TXsAnySimpleType<Integer>(42);
  bool refused = false;
  try {
    i = 43;
  } catch (EArgumentOutOfRangeException &) {
    refused = true;
  }
  Expect(refused && static_cast<Integer>(i) == 42, "TXsInt checks its facets");

  TXsDateTime dt;
  dt.FromString(u"2024-02-28T10:00:00Z");
  Expect(dt.ToString(false) == u"2024-02-28T10:00:00Z", "TXsDateTime reads and writes its text");
  Expect(static_cast<bool>(dt + 1.0 > static_cast<TDateTime>(dt)), "TXsDateTime adds days");
  TXsDateTime none;
  Expect((none + 1.0).IsNull(), "a null TXsDateTime stays null");

  // The records register themselves from the header, also through a static library.
  Expect(TVnTypes::GetTypeInfo(u"TXsDateTime", tntName) == TVnTypes::Of<TXsDateTime>(),
         "TXsDateTime is registered");
  Expect(TVnTypes::Of<TXsInt>()->SchemaName() == u"int", "TXsInt has its schema name");
}

void Document() {
  TVnDOMDocument *doc = TVnDOMDocument::CreateFromXML(
      u"<catalog><title>Old books</title><book id=\"b1\"><price>12.5</price></book></catalog>");
  TVnDOMElement *root = doc->GetRootNode();
  Expect(root && root->GetQualifiedName() == u"catalog", "the document has its root");
  Expect(root->ElementCount() == 2, "the root has two elements");
  // Found through the element list by name; becomes a path select ("book/price") once the
  // library selects by path.
  auto *book = static_cast<TVnDOMElement *>(root->GetElements()->GetItem(Variant(u"book")));
  Expect(book && book->GetAttribute(u"id") == u"b1", "the book is found by name");
  auto *price = book ? static_cast<TVnDOMElement *>(book->GetElements()->GetItem(Variant(u"price")))
                     : nullptr;
  TXsDouble amount;
  if (price) amount.FromString(price->GetText());
  Expect(!amount.IsNull() && static_cast<Double>(amount) == 12.5, "the price reads as TXsDouble");
  doc->Free();
}

}  // namespace

int main() {
  try {
    TextSource();
    SchemaRecords();
    Document();
  } catch (Exception &E) {
    std::fprintf(stderr, "%s: %s\n", UTF8Encode(E.ClassName()).c_str(), E.what());
    return 1;
  }
  std::puts(failures ? "package broken" : "package ok");
  return failures ? 1 : 0;
}
