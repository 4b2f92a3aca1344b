// The XML reader against expat and libxml2's SAX2 interface, each delivering to handlers that do
// nothing, on the same bytes in the same run:
//   Generated50MB   a generated 50 MB UTF-8 document with attributes, namespaces, mixed text,
//                   CDATA, comments and some non-ASCII text;
//   Freedesktop     /usr/share/mime/packages/freedesktop.org.xml (skipped when missing);
//   Generated50MB-UTF16  the generated document in UTF-16LE (about 100 MB).
// The reader reads through ParseStream over a memory stream. ParseFile200MB parses a 200 MB file
// from disk and reports how far the peak resident memory grew: the reader does not hold the
// document. It is registered first, so that it runs before the other inputs are built.
#include <expat.h>
#include <libxml/parser.h>
#include <sys/resource.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "bench_util.h"
#include "vnxml/xml/uVnSAX.h"

using namespace vn;

namespace {

// ---------------------------------------------------------------------------------------------
// Inputs

// Appends items of a catalogue until AOut holds at least ABytes bytes past AStart.
void AppendItems(std::string &AOut, std::size_t ABytes, unsigned &ASeed) {
  static const char *const words[] = {"alpha", "beta",  "gamma", "delta",  "epsilon", "zeta",
                                      "eta",   "theta", "iota",  "kappa",  "lambda",  "mu",
                                      "naïve", "café",  "über",  "straße", "x",       "yz"};
  auto next = [&ASeed] {
    ASeed = ASeed * 1103515245u + 12345u;
    return (ASeed >> 16) & 0x7FFF;
  };
  const std::size_t target = AOut.size() + ABytes;
  std::size_t n = 0;
  while (AOut.size() < target) {
    ++n;
    AOut += "  <item id=\"" + std::to_string(n) + "\" x:kind=\"k" + std::to_string(next() % 7) +
            "\" price=\"" + std::to_string(next() % 1000) + ".50\">\n";
    AOut += "    <x:name lang=\"en\">";
    for (unsigned w = 0, c = 2 + next() % 6; w < c; ++w) {
      if (w) AOut += ' ';
      AOut += words[next() % 18];
    }
    AOut += "</x:name>\n    <desc>Mixed <b>bold</b> text with &amp; an entity, ";
    for (unsigned w = 0, c = 5 + next() % 20; w < c; ++w) {
      AOut += words[next() % 18];
      AOut += ' ';
    }
    AOut += "and more.</desc>\n";
    if (n % 10 == 0) AOut += "    <![CDATA[raw <data> & such]]>\n";
    if (n % 50 == 0) AOut += "    <!-- a comment every fifty items -->\n";
    AOut += "    <tags><tag v=\"a\"/><tag v=\"b\"/><tag v=\"c\"/></tags>\n  </item>\n";
  }
}

std::string Head(const char *AEncoding) {
  return std::string("<?xml version=\"1.0\" encoding=\"") + AEncoding +
         "\"?>\n<catalog xmlns=\"urn:bench\" xmlns:x=\"urn:bench:x\">\n";
}

const char *const cTail = "</catalog>\n";

std::string Generate(std::size_t ABytes, const char *AEncoding) {
  std::string s = Head(AEncoding);
  s.reserve(ABytes + 4096);
  unsigned seed = 7;
  AppendItems(s, ABytes, seed);
  s += cTail;
  return s;
}

const std::string &Generated() {
  static const std::string s = Generate(50u << 20, "UTF-8");
  return s;
}

const std::string &GeneratedUTF16() {
  static const std::string s = [] {
    const UnicodeString u = UTF8ToString(Generate(50u << 20, "UTF-16"));
    return std::string(reinterpret_cast<const char *>(u.data()), u.size() * 2);
  }();
  return s;
}

const std::string &Freedesktop() {
  static const std::string s = [] {
    std::ifstream in("/usr/share/mime/packages/freedesktop.org.xml", std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
  }();
  return s;
}

// ---------------------------------------------------------------------------------------------
// The three parsers

class TNullHandler : public TVnSAXHandler {
  VN_CLASS(TNullHandler, TVnSAXHandler)
};

void Vnxml(benchmark::State &AState, const std::string &ABytes, Word APage) {
  if (ABytes.empty()) {
    AState.SkipWithError("input missing");
    return;
  }
  TMemoryStream *stream = New<TMemoryStream>();
  stream->WriteBuffer(ABytes.data(), static_cast<Int64>(ABytes.size()));
  TVnSAXXMLReader *reader = New<TVnSAXXMLReader>();
  New<TNullHandler>()->AttachTo(reader);
  for (auto _ : AState) {
    stream->SetPosition(0);
    try {
      reader->ParseStream(stream, APage);
    } catch (const Exception &E) {
      AState.SkipWithError(E.what());
      break;
    }
  }
  reader->Free();
  stream->Free();
  AState.SetBytesProcessed(static_cast<int64_t>(AState.iterations()) *
                           static_cast<int64_t>(ABytes.size()));
}

void Expat(benchmark::State &AState, const std::string &ABytes, const char *AEncoding) {
  if (ABytes.empty()) {
    AState.SkipWithError("input missing");
    return;
  }
  for (auto _ : AState) {
    XML_Parser p = XML_ParserCreate(AEncoding);
    XML_SetElementHandler(
        p, [](void *, const XML_Char *, const XML_Char **) {}, [](void *, const XML_Char *) {});
    XML_SetCharacterDataHandler(p, [](void *, const XML_Char *, int) {});
    XML_SetCommentHandler(p, [](void *, const XML_Char *) {});
    XML_SetProcessingInstructionHandler(p, [](void *, const XML_Char *, const XML_Char *) {});
    XML_SetCdataSectionHandler(
        p, [](void *) {}, [](void *) {});
    const bool ok =
        XML_Parse(p, ABytes.data(), static_cast<int>(ABytes.size()), 1) != XML_STATUS_ERROR;
    if (!ok) AState.SkipWithError(XML_ErrorString(XML_GetErrorCode(p)));
    XML_ParserFree(p);
    if (!ok) break;
  }
  AState.SetBytesProcessed(static_cast<int64_t>(AState.iterations()) *
                           static_cast<int64_t>(ABytes.size()));
}

void Libxml2(benchmark::State &AState, const std::string &ABytes) {
  if (ABytes.empty()) {
    AState.SkipWithError("input missing");
    return;
  }
  xmlSAXHandler sax{};
  sax.initialized = XML_SAX2_MAGIC;
  sax.startElementNs = [](void *, const xmlChar *, const xmlChar *, const xmlChar *, int,
                          const xmlChar **, int, int, const xmlChar **) {};
  sax.endElementNs = [](void *, const xmlChar *, const xmlChar *, const xmlChar *) {};
  sax.characters = [](void *, const xmlChar *, int) {};
  sax.cdataBlock = [](void *, const xmlChar *, int) {};
  sax.comment = [](void *, const xmlChar *) {};
  sax.processingInstruction = [](void *, const xmlChar *, const xmlChar *) {};
  for (auto _ : AState) {
    if (xmlSAXUserParseMemory(&sax, nullptr, ABytes.data(), static_cast<int>(ABytes.size())) != 0) {
      AState.SkipWithError("libxml2 failed");
      break;
    }
  }
  AState.SetBytesProcessed(static_cast<int64_t>(AState.iterations()) *
                           static_cast<int64_t>(ABytes.size()));
}

// ---------------------------------------------------------------------------------------------
// Peak memory of a 200 MB file

long MaxRssKiB() {
  rusage u{};
  getrusage(RUSAGE_SELF, &u);
  return u.ru_maxrss;
}

void ParseFile200MB(benchmark::State &AState) {
  const char *name = "/tmp/vnxml_bench_sax_200mb.xml";
  std::size_t size = 0;
  {
    // Written in pieces, so that the generator holds no more than a piece.
    std::FILE *f = std::fopen(name, "wb");
    std::string part = Head("UTF-8");
    unsigned seed = 11;
    for (int i = 0; i < 200; ++i) {
      AppendItems(part, 1u << 20, seed);
      std::fwrite(part.data(), 1, part.size(), f);
      size += part.size();
      part.clear();
      part.shrink_to_fit();
    }
    std::fwrite(cTail, 1, std::strlen(cTail), f);
    size += std::strlen(cTail);
    std::fclose(f);
  }
  TVnSAXXMLReader *reader = New<TVnSAXXMLReader>();
  New<TNullHandler>()->AttachTo(reader);
  const long before = MaxRssKiB();
  for (auto _ : AState) {
    try {
      reader->ParseFile(UTF8ToString(name), fmOpenRead);
    } catch (const Exception &E) {
      AState.SkipWithError(E.what());
      break;
    }
  }
  AState.counters["file_MB"] = static_cast<double>(size) / 1e6;
  AState.counters["rss_before_KiB"] = static_cast<double>(before);
  AState.counters["rss_growth_KiB"] = static_cast<double>(MaxRssKiB() - before);
  reader->Free();
  AState.SetBytesProcessed(static_cast<int64_t>(AState.iterations()) * static_cast<int64_t>(size));
  std::remove(name);
}

}  // namespace

BENCHMARK(ParseFile200MB)
    ->Name("ParseFile200MB/vnxml")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

BENCHMARK_CAPTURE(Vnxml, gen, Generated(), CP_UTF8)
    ->Name("Generated50MB/vnxml")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Expat, gen, Generated(), nullptr)
    ->Name("Generated50MB/expat")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Libxml2, gen, Generated())
    ->Name("Generated50MB/libxml2")
    ->Unit(benchmark::kMillisecond);

BENCHMARK_CAPTURE(Vnxml, fd, Freedesktop(), CP_UTF8)
    ->Name("Freedesktop/vnxml")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Expat, fd, Freedesktop(), nullptr)
    ->Name("Freedesktop/expat")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Libxml2, fd, Freedesktop())
    ->Name("Freedesktop/libxml2")
    ->Unit(benchmark::kMillisecond);

BENCHMARK_CAPTURE(Vnxml, u16, GeneratedUTF16(), CP_UTF16)
    ->Name("Generated50MB-UTF16/vnxml")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Expat, u16, GeneratedUTF16(), "UTF-16LE")
    ->Name("Generated50MB-UTF16/expat")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Libxml2, u16, GeneratedUTF16())
    ->Name("Generated50MB-UTF16/libxml2")
    ->Unit(benchmark::kMillisecond);

VNBENCH_MAIN()
