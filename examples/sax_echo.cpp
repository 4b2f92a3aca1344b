// Prints every event that the XML reader fires for a file, indented by nesting: a handler is a
// class derived from TVnSAXHandler that overrides the events it cares about.
//
//   sax_echo [file.xml]      (default: examples/data/catalog.xml)
#include <cstdio>
#include <string>

#include "vnxml/xml/uVnSAX.h"

using namespace vn;

namespace {

std::string Out(const VnXMLString &AText) {
  std::string s = UTF8Encode(AText);
  std::string r;
  for (char c : s) {
    if (c == '\n')
      r += "\\n";
    else if (c == '\t')
      r += "\\t";
    else
      r += c;
  }
  return r;
}

class TEcho : public TVnSAXHandler {
  VN_CLASS(TEcho, TVnSAXHandler)
 public:
  void StartDocument() override { Line("StartDocument"); }
  void EndDocument() override { Line("EndDocument"); }
  void StartPrefixMapping(const VnXMLString &APrefix, const VnXMLString &AURI) override {
    Line("StartPrefixMapping \"" + Out(APrefix) + "\" = " + Out(AURI));
  }
  void EndPrefixMapping(const VnXMLString &APrefix) override {
    Line("EndPrefixMapping \"" + Out(APrefix) + "\"");
  }
  void StartElement(const VnXMLString &AURI, const VnXMLString &ALocalName,
                    const VnXMLString &AQName, IVnSAXAttributes *AAttributes) override {
    std::string s = "<" + Out(AQName) + ">";
    if (!AURI.empty()) s += "  {" + Out(AURI) + "}" + Out(ALocalName);
    Line(s);
    // The attribute list lives only during this call.
    for (PVnSAXXMAttribute a = AAttributes->FirstAttribute(); a; a = a->Next)
      Line("  @" + Out(a->QName) + " = \"" + Out(a->Value) + "\"");
    ++FDepth;
  }
  void EndElement(const VnXMLString &, const VnXMLString &, const VnXMLString &AQName) override {
    --FDepth;
    Line("</" + Out(AQName) + ">");
  }
  void Characters(const VnXMLString &AText) override { Line("text \"" + Out(AText) + "\""); }
  void IgnorableWhitespace(const VnXMLString &AText) override {
    Line("white space (" + std::to_string(AText.size()) + ")");
  }
  void ProcessingInstruction(const VnXMLString &ATarget, const VnXMLString &AData) override {
    Line("<?" + Out(ATarget) + " " + Out(AData) + "?>");
  }
  void Comment(const VnXMLString &AText) override { Line("<!--" + Out(AText) + "-->"); }
  void StartCDATA() override { Line("StartCDATA"); }
  void EndCDATA() override { Line("EndCDATA"); }
  void StartDTD() override { Line("StartDTD"); }
  void EndDTD() override { Line("EndDTD"); }
  void FatalError(IVnSAXLocator *ALocator, const VnXMLString &AMessage) override {
    std::fprintf(stderr, "error at line %d, column %d: %s\n", ALocator->GetLineNr(),
                 ALocator->GetColNr(), UTF8Encode(AMessage).c_str());
  }

 private:
  void Line(const std::string &AText) { std::printf("%*s%s\n", FDepth * 2, "", AText.c_str()); }
  int FDepth = 0;
};

}  // namespace

int main(int argc, char **argv) {
  const std::string file = argc > 1 ? argv[1] : "examples/data/catalog.xml";
  TVnSAXXMLReader *reader = New<TVnSAXXMLReader>();
  New<TEcho>()->AttachTo(reader);  // the reader keeps the handler alive
  int rc = 0;
  try {
    reader->ParseFile(UTF8ToString(file), fmOpenRead);
  } catch (const Exception &E) {
    // FatalError has told where; the exception reaches the caller after it.
    std::fprintf(stderr, "%s: %s\n", UTF8Encode(E.ClassName()).c_str(), E.what());
    rc = 1;
  }
  reader->Free();
  return rc;
}
