// Loads a document into a tree, reads and changes it through the element API, queries it by path
// with predicates, builds missing elements by path, and writes it formatted.
//
//   dom_demo [file.xml]     (default: examples/data/library.xml)
#include <cstdio>
#include <string>

#include "vnxml/xml/uVnXMLDOM.h"

using namespace vn;

namespace {

std::string Out(const UnicodeString &AText) {
  return UTF8Encode(AText);
}

}  // namespace

int main(int argc, char **argv) {
  const std::string path = argc > 1 ? argv[1] : "examples/data/library.xml";
  TVnDOMDocument *doc = nullptr;
  try {
    doc = TVnDOMDocument::CreateFromFile(UTF8ToString(path));
    TVnDOMElement *library = doc->GetRootNode();
    std::printf("Loaded %s: root <%s> in %s, %d shelves\n", path.c_str(),
                Out(library->GetQualifiedName()).c_str(),
                Out(library->GetAttribute(u"city")).c_str(), library->ElementCount());

    // Query: every book, by walking shelves and books through the element lists.
    double total = 0;
    for (TVnDOMNode *s : *library->GetElements()) {
      auto *shelf = static_cast<TVnDOMElement *>(s);
      std::printf("  shelf \"%s\"\n", Out(shelf->GetAttribute(u"name")).c_str());
      for (TVnDOMNode *b : *shelf->GetElements()) {
        auto *book = static_cast<TVnDOMElement *>(b);
        TVnDOMElement *title = book->FindElement(u"dc:title");
        TVnDOMElement *price = book->FindElement(u"price");
        total += price ? price->GetAsDouble() : 0;
        std::printf("    %-3s %-34s %4s  %7.2f\n", Out(book->GetAttribute(u"id")).c_str(),
                    title ? Out(title->GetText()).c_str() : "?",
                    Out(book->GetAttribute(u"year")).c_str(), price ? price->GetAsDouble() : 0.0);
      }
    }
    std::printf("  value of the library: %.2f\n", total);

    // Change: raise the novels by 10 %, drop the reference shelf's book, add a new book with a
    // comment, an attribute that needs escaping and a typed price.
    TVnDOMElement *novels = library->FirstElement();
    for (TVnDOMNode *b : *novels->GetElements()) {
      TVnDOMElement *price = static_cast<TVnDOMElement *>(b)->FindElement(u"price");
      price->SetAsDouble(
          static_cast<double>(static_cast<long long>(price->GetAsDouble() * 110 + 0.5)) / 100);
    }
    TVnDOMElement *reference = library->LastElement();
    reference->RemoveElement(u"book");
    reference->AddComment(u" lent out ");
    TVnDOMElement *book = novels->AddElement(u"book");
    book->SetAttribute(u"id", u"n4");
    book->SetAttribute(u"year", u"1862");
    book->AddElement(u"dc:title")->SetAsString(u"Les Mis\u00e9rables <abridged>");
    book->AddElement(u"price")->SetAsDouble(15.5);
    // FindElement answers the last match: the new book.
    novels->FindElement(u"book")->SetAttribute(u"signed", u"yes");

    // Paths with predicates: books after 1900 under 10, the title of the second novel, every
    // element with an id of either kind; then a path that builds what is missing.
    std::printf("\nPaths:\n");
    auto show = [](const char *APath, TVnDOMNodeList *AList) {
      std::printf("  %-44s", APath);
      for (TVnDOMNode *n : *AList) std::printf(" %s", Out(n->GetNodeValue()).c_str());
      std::printf("\n");
      AList->Free();
    };
    show("shelf/book[@year>1900 and price<10]/@id",
         library->CreateNodeList(u"shelf/book[@year>1900 and price<10]/@id"));
    show("shelf[@name=\"novels\"]/book[1]/dc:title",
         library->CreateNodeList(u"shelf[@name=\"novels\"]/book[1]/dc:title"));
    show("//book[not(note)][last()]/@id | //shelf/@name",
         library->CreateNodeList(u"//book[not(note)][last()]/@id | //shelf/@name"));
    TVnDOMElement *stock = library->SelectSingleElement(u"annex/stock/count", {soCreate});
    stock->SetAsInteger(3);
    std::printf("  annex/stock/count with soCreate built %s\n", Out(stock->NodePath()).c_str());

    std::printf("\nThe changed document, formatted:\n");
    TMemoryStream out;
    doc->SaveToStream(&out, CP_UTF8, true, false);
    std::fwrite(out.Memory(), 1, static_cast<std::size_t>(out.GetSize()), stdout);
    std::printf("\n");

    // The same tree as JSON: repeated names fold into arrays, attributes become members, and
    // typed values keep their kind.
    std::printf("\nThe changed document as JSON:\n%s\n", Out(doc->GetAsFormattedJSON()).c_str());

    // Code written against the generic W3C-style interfaces asks the vendor registry for a DOM
    // and never names a class of the library. Failures come back as results; the checked forms
    // used here raise them.
    std::printf("\nThrough the generic DOM interfaces (vendor \"Vornell\"):\n");
    DelphiInterface<IDOMDocument> order = VnCreateDOM(u"Vornell", u"urn:shop", u"s:order");
    DelphiInterface<IDOMElement> line = VnAddElement(order->documentElement(), u"line");
    CheckSafecallResult(VnAddAttribute(line, u"sku")->set_value(u"B-7"));
    VnAddText(line, u"two pens");
    VnAddComment(order->documentElement(), u"paid");
    std::printf("  %s\n", Out(IntfAs<IDOMNodeEx>(order.get())->xml()).c_str());
    DelphiInterface<IDOMNode> none;
    const HRESULT hr = line->firstChild()->get_firstChild(none);
    std::printf("  firstChild of an attribute answers 0x%08X, no exception\n",
                static_cast<unsigned>(hr));

    // A style sheet applied through the generic interface (libxslt does the work).
    DelphiInterface<IVnDOMDocument> sheet = VnCreateDOM(
        u"<xsl:stylesheet version=\"1.0\" xmlns:xsl=\"http://www.w3.org/1999/XSL/Transform\">"
        u"<xsl:output omit-xml-declaration=\"yes\"/>"
        u"<xsl:template match=\"/*\"><receipt><xsl:for-each select=\"line\">"
        u"<item sku=\"{@sku}\"><xsl:value-of select=\".\"/></item></xsl:for-each></receipt>"
        u"</xsl:template></xsl:stylesheet>");
    WideString receipt;
    if (IntfAs<IDOMNodeEx>(order.get())->transformNode(IntfAs<IDOMNode>(sheet.get()), receipt) ==
        S_OK)
      std::printf("  transformed by a style sheet: %s", Out(receipt).c_str());
    else
      std::printf("  (style sheets are not available in this build)\n");
  } catch (Exception &E) {
    std::fprintf(stderr, "%s: %s\n", Out(E.ClassName()).c_str(), E.what());
    if (doc) doc->Free();
    return 1;
  }
  doc->Free();
  return 0;
}
