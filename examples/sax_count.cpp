// Counts the elements, attributes, text and markup of XML files with a few lines of handler,
// and lists the most frequent element names.
//
//   sax_count [file.xml ...]   (default: examples/data/catalog.xml)
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "vnxml/xml/uVnSAX.h"

using namespace vn;

namespace {

class TCounter : public TVnSAXHandler {
  VN_CLASS(TCounter, TVnSAXHandler)
 public:
  long Elements = 0, Attributes = 0, Namespaces = 0, TextChars = 0, Comments = 0, PIs = 0,
       CDATA = 0;
  int Depth = 0, MaxDepth = 0;
  std::map<VnXMLString, long> Names;

  void StartElement(const VnXMLString &, const VnXMLString &, const VnXMLString &AQName,
                    IVnSAXAttributes *AAttributes) override {
    ++Elements;
    Attributes += AAttributes->Count();
    ++Names[AQName];
    MaxDepth = std::max(MaxDepth, ++Depth);
  }
  void EndElement(const VnXMLString &, const VnXMLString &, const VnXMLString &) override {
    --Depth;
  }
  void StartPrefixMapping(const VnXMLString &, const VnXMLString &) override { ++Namespaces; }
  void Characters(const VnXMLString &AText) override {
    TextChars += static_cast<long>(AText.size());
  }
  void Comment(const VnXMLString &) override { ++Comments; }
  void ProcessingInstruction(const VnXMLString &, const VnXMLString &) override { ++PIs; }
  void StartCDATA() override { ++CDATA; }
};

int Count(const std::string &AFile) {
  TVnSAXXMLReader *reader = New<TVnSAXXMLReader>();
  TCounter *counter = New<TCounter>();
  DelphiInterface<IVnSAXContentHandler> keep(counter);
  counter->AttachTo(reader);
  int rc = 0;
  const auto start = std::chrono::steady_clock::now();
  try {
    reader->ParseFile(UTF8ToString(AFile), fmOpenRead);
  } catch (const Exception &E) {
    std::fprintf(stderr, "%s: line %d, column %d: %s\n", AFile.c_str(), reader->GetLineNr(),
                 reader->GetColNr(), E.what());
    rc = 1;
  }
  const double ms =
      std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
  reader->Free();

  std::printf("%s (%.1f ms)\n", AFile.c_str(), ms);
  std::printf("  elements %ld, attributes %ld (namespace declarations %ld), depth %d\n",
              counter->Elements, counter->Attributes, counter->Namespaces, counter->MaxDepth);
  std::printf(
      "  text characters %ld, CDATA sections %ld, comments %ld, processing instructions %ld\n",
      counter->TextChars, counter->CDATA, counter->Comments, counter->PIs);
  std::vector<std::pair<VnXMLString, long>> names(counter->Names.begin(), counter->Names.end());
  std::sort(names.begin(), names.end(),
            [](const auto &A, const auto &B) { return A.second > B.second; });
  if (names.size() > 5) names.resize(5);
  std::printf("  most frequent:");
  for (const auto &[name, n] : names) std::printf(" %s (%ld)", UTF8Encode(name).c_str(), n);
  std::printf("\n");
  return rc;
}

}  // namespace

int main(int argc, char **argv) {
  std::vector<std::string> files(argv + 1, argv + argc);
  if (files.empty()) files.push_back("examples/data/catalog.xml");
  int rc = 0;
  for (const std::string &f : files) rc |= Count(f);
  return rc;
}
