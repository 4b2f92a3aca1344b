// Fuzz target of the tree: the bytes are loaded into a document by the sniffing load, the UTF-8
// load and with the code pages 1200 and 65001, and as text into a detached element and into an
// element of a loaded tree; whatever was built is then written plain and formatted, cloned deeply,
// its text nodes joined, and freed. A document loaded from the bytes also serves as a style sheet
// over a small fixed document. Only the library's exceptions are expected; anything else, a crash,
// a hang or a leak is a finding.
//
// Built with clang -fsanitize=fuzzer by fuzz/run.sh (FUZZ_TARGET=fuzz_dom); dom_tests replays
// the XML corpus (fuzz/corpus).
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "vnxml/xml/uVnXMLDOM.h"
#include "fuzz_guarded.h"

using namespace vn;
using vnfuzz::Guarded;

namespace {

// Everything a user might do with a tree that a load has left, complete or not.
void Exercise(TVnDOMNode *ANode) {
  Guarded([&] { (void)ANode->GetXML(); });
  Guarded([&] { (void)ANode->GetFormattedXML(); });
  Guarded([&] {
    TMemoryStream s;
    ANode->SaveToStream(&s, CP_UTF16, true);
  });
  Guarded([&] {
    TVnDOMNode *copy = ANode->CloneNode(true);
    copy->Free();
  });
  Guarded([&] { ANode->NormalizeTextNodes(); });
}

// The document as a style sheet over a small fixed source, into text and into a new document.
void Transform(TVnDOMDocument *AStyleSheet) {
  TVnDOMDocument *source =
      TVnDOMDocument::CreateFromXML(u"<r a=\"1\"><i n=\"2\">x</i><i n=\"1\">y<j/></i></r>");
  Guarded([&] {
    WideString text;
    source->Transform(AStyleSheet, text);
  });
  Guarded([&] {
    if (TVnDOMDocument *result = source->Transform(AStyleSheet)) {
      Exercise(result);
      result->Free();
    }
  });
  source->Free();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *AData, std::size_t ASize) {
  {
    TVnDOMDocument *d = New<TVnDOMDocument>();
    Guarded([&] {
      TPointerStream s(AData, static_cast<Int64>(ASize));
      d->LoadFromStream(&s);
    });
    Exercise(d);
    if (d->GetRootNode()) Transform(d);
    if (TVnDOMElement *root = d->GetRootNode()) {
      Guarded([&] {
        root->SetInnerXML(
            UTF8ToString(std::string_view(reinterpret_cast<const char *>(AData), ASize)));
      });
      Exercise(d);
    }
    d->Free();
  }
  {
    // The UTF-8 load reads the caller's bytes in place.
    TVnDOMDocument *d = New<TVnDOMDocument>();
    Guarded(
        [&] { d->LoadFromUTF8(std::string_view(reinterpret_cast<const char *>(AData), ASize)); });
    Exercise(d);
    d->Free();
  }
  for (Word page : {CP_UTF16, CP_UTF8}) {
    TVnDOMDocument *d = New<TVnDOMDocument>();
    Guarded([&] {
      TPointerStream s(AData, static_cast<Int64>(ASize));
      d->LoadFromStream(&s, page);
    });
    Exercise(d);
    d->Free();
  }
  TVnDOMElement *e = New<TVnDOMElement>();
  Guarded([&] {
    e->SetQualifiedName(u"e");
    TPointerStream s(AData, static_cast<Int64>(ASize));
    e->LoadFromStream(&s, CP_UTF8);
  });
  Exercise(e);
  e->Free();
  return 0;
}
