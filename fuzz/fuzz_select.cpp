// Fuzz target of path selection: the input is a path with its predicates, run against a small
// fixed document (elements, attributes, namespace declarations, prefixes, text, CDATA, comments,
// a processing instruction) through every entry point: CreateNodeList and SelectSingleNode from
// the document, the root, an inner element and an attribute, SelectSingleElement,
// CreateElementList, and the element list's path index. The whole input is read as UTF-8 with the
// default options; then its first byte is taken as a set of options (bit n for option n, soRaise
// first) and the rest as the path. Options with soCreate, and the path index with coCreate, run
// each call on a fresh copy of the document, which is written out afterwards.
//
// Two functions of this target's own are registered, so that calls and their parameters are
// reached: fuzz-node(path), the value of the one node a path selects, and fuzz-text(...), its
// parameters' values joined.
//
// A selection may fail only with the failures that arbitrary path text leads to: EVnDomSyntax,
// EVnDomNotFound, EVnXPathException, EInvalidCast, EListError, EConvertError and its
// descendants, and the plain Exception of a malformed filter or of contradicting options.
// Anything else aborts with the path and the exception, and so does a broken promise of the
// entry points: a node twice in one list, or SelectSingleNode not giving the first node of
// CreateNodeList. A crash, a hang or a leak is a finding as well.
//
// Built with clang -fsanitize=fuzzer by fuzz/run.sh (FUZZ_TARGET=fuzz_select); in the normal
// build the same function is linked into select_tests, which feeds it every file of
// fuzz/corpus/select.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <unordered_set>

#include "vnxml/xml/uVnXMLDOM.h"
#include "vnxml/xml/uVnXPath.h"

using namespace vn;

namespace {

const char16_t *const cDocument =
    u"<?xml version=\"1.0\"?>\n"
    u"<!-- head -->\n"
    u"<r xmlns=\"urn:d\" xmlns:p=\"urn:p\" id=\"0\" a=\"x\">"
    u"<i id=\"1\" a=\"\"><v>10.0</v><n>abc</n><t>x</t><p:e p:k=\"1\">pe</p:e></i>"
    u"<i id=\"2\"><v>9</v><n>ABC</n><w>2</w><w>10</w><![CDATA[cd]]></i>"
    u"<i id=\"3\" a=\"y\" p:a=\"z\"><v>-5</v><n>b</n><t>y</t>text<!--c--></i>"
    u"<p:i id=\"4\" xmlns:q=\"urn:q\"><v>1e3</v><n/><q:x q:y=\"\"/></p:i>"
    u"<?pi data?>"
    u"</r>";

struct FreeObject {
  void operator()(TObject *AObject) const { AObject->Free(); }
};
using Doc = std::unique_ptr<TVnDOMDocument, FreeObject>;
using NodeList = std::unique_ptr<TVnDOMNodeList, FreeObject>;
using ElementList = std::unique_ptr<TVnDOMElementList, FreeObject>;

// --- the functions of this target

class TFuzzNode : public TVnXPathFunction {
  VN_CLASS(TFuzzNode, TVnXPathFunction)
 public:
  using TVnXPathFunction::TVnXPathFunction;
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override {
    auto *path = dynamic_cast<TVnXPathValueTerm *>(Param(0));
    if (!path) throw EVnDomSyntax(u"fuzz-node() takes a path!");
    return ResolveNodeParam(path, ANodeList, AIndex, u"fuzz-node")->GetNodeValue();
  }
};

class TFuzzText : public TVnXPathFunction {
  VN_CLASS(TFuzzText, TVnXPathFunction)
 public:
  using TVnXPathFunction::TVnXPathFunction;
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override {
    UnicodeString r;
    for (Integer i = 0; i < ParamCount(); ++i) r += VnVarToStr(Param(i)->Value(ANodeList, AIndex));
    return r;
  }
};

// --- what may fail, and how

UnicodeString gPath;

[[noreturn]] void Finding(const char *AWhat, const std::string &ADetail) {
  std::fprintf(stderr, "\n*** fuzz_select: %s: %s\n*** path (UTF-8): \"%s\"\n", AWhat,
               ADetail.c_str(), UTF8Encode(gPath).c_str());
  std::abort();
}

bool EndsWith(UnicodeStringView S, UnicodeStringView ATail) {
  return S.size() >= ATail.size() && S.substr(S.size() - ATail.size()) == ATail;
}

// The messages of the plain Exception that selection raises on its own: a malformed filter, and
// options that contradict each other.
bool IsSelectMessage(const UnicodeString &AMessage) {
  static const char16_t *const exact[] = {
      u"An invalid operation has been detected!",
      u"An invalid expression was detected!\r\nCheck the parenthesis.",
      u"It is not possible to specify both soCaseSensitive and soCaseInsensitive!",
      u"It is not possible to specify both soRaise and soCreate!",
      u"The soCreate option cannot be used in combination with the \"//\" search option!",
  };
  for (const char16_t *m : exact)
    if (AMessage == m) return true;
  return !AMessage.empty() && AMessage[0] == u'"' &&
         EndsWith(AMessage, u"\" is an invalid filter expression!");
}

bool Allowed(const Exception &E) {
  const TClass c = E.ClassType();
  if (c == EVnDomSyntax::StaticClass() || c == EVnDomNotFound::StaticClass() ||
      c == EVnXPathException::StaticClass() || c == EInvalidCast::StaticClass() ||
      c == EListError::StaticClass()) {
    return true;
  }
  // Failures of the values a predicate works on: conversions, Variant arithmetic (a list term
  // adding up an array), numbers out of range, and a pattern that does not compile.
  if (E.InheritsFrom(EConvertError::StaticClass()) ||
      E.InheritsFrom(EVariantError::StaticClass()) || E.InheritsFrom(EMathError::StaticClass()) ||
      E.InheritsFrom(EIntError::StaticClass()) || c == ERegularExpressionError::StaticClass()) {
    return true;
  }
  return c == Exception::StaticClass() && IsSelectMessage(E.Message);
}

// Runs AWork; true when it returned, false when it raised an allowed exception.
template <class F>
bool Guarded(F AWork) {
  try {
    AWork();
    return true;
  } catch (const Exception &e) {
    if (!Allowed(e)) Finding(UTF8Encode(e.ClassName()).c_str(), UTF8Encode(e.Message));
  } catch (const std::exception &e) {
    Finding("std::exception", e.what());
  } catch (...) {
    Finding("unknown exception", "");
  }
  return false;
}

// Reads what a selection found, the way a caller would, and checks that no node is there twice.
template <class L>
void Consume(L *AList) {
  std::unordered_set<TVnDOMNode *> seen;
  std::size_t total = 0;
  for (Integer i = 0; i < AList->Count(); ++i) {
    TVnDOMNode *n = (*AList)[i];
    if (!seen.insert(n).second) Finding("a node twice in one list", std::to_string(i));
    total += n->GetQualifiedName().size() + n->GetNodeValue().size();
  }
  (void)total;
}

// Every entry point, on the shared document, with options that do not create.
void SelectAll(TVnDOMDocument *ADoc, const UnicodeString &APath, TVnDOMSelectOptions AOptions) {
  TVnDOMElement *root = ADoc->GetRootNode();
  TVnDOMNode *contexts[] = {ADoc, root, (*root->GetElements())[0],
                            root->GetAttributes()->Find(u"id")};
  for (TVnDOMNode *context : contexts) {
    NodeList list;
    TVnDOMNode *single = nullptr;
    const bool listed = Guarded([&] {
      list.reset(context->CreateNodeList(APath, AOptions));
      Consume(list.get());
    });
    const bool selected = Guarded([&] { single = context->SelectSingleNode(APath, AOptions); });
    // SelectSingleNode stops at the first alternative that finds something, so a later
    // alternative that raises may fail CreateNodeList alone; when both return, they agree.
    if (listed && selected) {
      TVnDOMNode *first = list->Count() > 0 ? (*list)[0] : nullptr;
      if (single != first) Finding("SelectSingleNode is not the first of CreateNodeList", "");
    }
  }
  Guarded([&] { ElementList(root->CreateElementList(APath, AOptions)).get(); });
  Guarded([&] {
    ElementList list(ADoc->CreateElementList(APath, AOptions));
    Consume(list.get());
  });
  Guarded([&] { (void)root->SelectSingleElement(APath, AOptions); });
  Guarded([&] { (void)ADoc->SelectSingleElement(APath, AOptions); });
  for (TVnDOMSelectCheckOption check : {coReturnNil, coRaise}) {
    Guarded([&] { (void)root->GetElements()->GetItemEx(Variant(APath), check); });
  }
}

// The creating forms, each on a fresh copy of the document, which is then written out: what one
// call builds is not searched again by the next.
void Create(const UnicodeString &APath, TVnDOMSelectOptions AOptions) {
  auto onCopy = [](auto AWork) {
    Doc doc(TVnDOMDocument::CreateFromXML(cDocument));
    Guarded([&] { AWork(doc.get(), doc->GetRootNode()); });
    (void)doc->GetXML();
  };
  onCopy([&](TVnDOMDocument *, TVnDOMElement *ARoot) {
    (void)ARoot->SelectSingleNode(APath, AOptions);
  });
  onCopy([&](TVnDOMDocument *ADoc, TVnDOMElement *) {
    (void)ADoc->SelectSingleElement(APath, AOptions);
  });
  onCopy([&](TVnDOMDocument *, TVnDOMElement *ARoot) {
    ElementList(ARoot->CreateElementList(APath, AOptions)).get();
  });
  onCopy([&](TVnDOMDocument *, TVnDOMElement *ARoot) {
    (void)ARoot->GetElements()->GetItemEx(Variant(APath), coCreate);
  });
}

TVnDOMDocument *Shared() {
  static Doc doc = [] {
    RegisterXPathFunction(u"fuzz-node", VnXPathFunctionClass<TFuzzNode>());
    RegisterXPathFunction(u"fuzz-text", VnXPathFunctionClass<TFuzzText>());
    return Doc(TVnDOMDocument::CreateFromXML(cDocument));
  }();
  return doc.get();
}

void Run(const UnicodeString &APath, TVnDOMSelectOptions AOptions) {
  gPath = APath;
  if (AOptions.Contains(soCreate)) {
    Create(APath, AOptions);
    AOptions >> soCreate;
  }
  SelectAll(Shared(), APath, AOptions);
  if (!AOptions.Contains(soRaise)) Create(APath, AOptions + TVnDOMSelectOptions{soCreate});
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *AData, std::size_t ASize) {
  const std::string_view bytes(reinterpret_cast<const char *>(AData), ASize);
  Run(UTF8ToString(bytes), {});
  if (ASize > 0) {
    TVnDOMSelectOptions options;
    for (int bit = soRaise; bit <= soQualifiedName; ++bit)
      if (AData[0] & (1u << bit)) options << static_cast<TVnDOMSelectOption>(bit);
    Run(UTF8ToString(bytes.substr(1)), options);
  }
  return 0;
}
