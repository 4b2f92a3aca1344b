// Loading a document into a tree from memory, walking it, and saving it: this library against
// pugixml and libxml2 (xmlReadMemory, xmlDocDumpMemory) on the same bytes in the same run. Two
// documents: a generated one of about 50 MB, and freedesktop.org.xml from shared-mime-info.
//
// The "Memory/..." rows load once and report the heap the tree holds (heap_MB), the peak growth
// of the resident size during the load (peak_MB; -1 where the system does not let the peak be
// reset), the nodes of the document (elements, attributes and non-blank text: the same count
// for every library) and the heap bytes per such node.
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <malloc.h>

#include <fstream>
#include <pugixml.hpp>
#include <sstream>
#include <string>

#include "bench_util.h"
#include "vnxml/xml/uVnXMLDOM.h"

using namespace vn;

namespace {

std::size_t HeapInUse() {
  return mallinfo2().uordblks;
}

// A field of /proc/self/status in kB ("VmRSS", "VmHWM"), or -1 where it cannot be read.
long StatusKB(const char *AField) {
  std::ifstream in("/proc/self/status");
  std::string line;
  const std::string key = std::string(AField) + ":";
  while (std::getline(in, line)) {
    if (line.rfind(key, 0) == 0) return std::stol(line.substr(key.size()));
  }
  return -1;
}

// Brings the peak resident size down to the current one; false where the system refuses.
bool ResetPeakRSS() {
  std::ofstream out("/proc/self/clear_refs");
  out << "5";
  out.flush();
  return static_cast<bool>(out);
}

const std::string &Generated() {
  static const std::string text = [] {
    std::string s;
    s.reserve(52u << 20);
    s += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<catalog xmlns=\"urn:example:catalog\">";
    for (int i = 0; s.size() < (50u << 20); ++i) {
      const std::string n = std::to_string(i);
      s += "<item id=\"" + n + "\" kind=\"k" + std::to_string(i % 7) + "\"><name>Item number " + n +
           "</name><price currency=\"EUR\">" + std::to_string(i % 1000) +
           ".95</price><note>text &amp; more, caf\xC3\xA9 " + n + "</note><!-- c --></item>";
    }
    s += "</catalog>";
    return s;
  }();
  return text;
}

const std::string &Freedesktop() {
  static const std::string text = [] {
    std::ifstream in("/usr/share/mime/packages/freedesktop.org.xml", std::ios::binary);
    std::stringstream b;
    b << in.rdbuf();
    return b.str();
  }();
  return text;
}

const std::string &Source(int AIndex) {
  return AIndex == 0 ? Generated() : Freedesktop();
}

// --- this library

TVnDOMDocument *VnLoad(const std::string &AText) {
  auto *d = New<TVnDOMDocument>();
  TPointerStream s(AText.data(), static_cast<Int64>(AText.size()));
  d->LoadFromStream(&s);
  return d;
}

Int64 VnWalk(TVnDOMNode *ANode) {
  Int64 n = 1 + static_cast<Int64>(ANode->GetLocalName().size());
  for (TVnDOMNode *c : ANode->Children()) n += VnWalk(c);
  return n;
}

Int64 VnNodes(TVnDOMNode *ANode) {
  Int64 n = ANode->GetNodeType() == ntComment ? 0 : 1;
  for (TVnDOMNode *c : ANode->Children()) n += VnNodes(c);
  return n;
}

// --- libxml2

Int64 XmlWalk(xmlNode *ANode) {
  Int64 n = 0;
  for (xmlNode *c = ANode; c; c = c->next) {
    n += 1 + (c->name ? static_cast<Int64>(xmlStrlen(c->name)) : 0);
    for (xmlAttr *a = c->properties; a; a = a->next) n += 1 + xmlStrlen(a->name);
    if (c->children) n += XmlWalk(c->children);
  }
  return n;
}

xmlDoc *XmlLoad(const std::string &AText) {
  return xmlReadMemory(AText.data(), static_cast<int>(AText.size()), "doc.xml", nullptr,
                       XML_PARSE_NONET | XML_PARSE_HUGE);
}

// --- pugixml

struct StringWriter : pugi::xml_writer {
  std::string Out;
  void write(const void *data, size_t size) override {
    Out.append(static_cast<const char *>(data), size);
  }
};

Int64 PugiWalk(pugi::xml_node ANode) {
  Int64 n = 0;
  for (pugi::xml_node c = ANode.first_child(); c; c = c.next_sibling()) {
    n += 1 + static_cast<Int64>(std::char_traits<char>::length(c.name()));
    for (pugi::xml_attribute a = c.first_attribute(); a; a = a.next_attribute()) {
      n += 1 + static_cast<Int64>(std::char_traits<char>::length(a.name()));
    }
    n += PugiWalk(c);
  }
  return n;
}

constexpr unsigned cPugiOptions =
    pugi::parse_default | pugi::parse_comments | pugi::parse_pi | pugi::parse_declaration;

// --- benchmarks

void Load_vnxml(benchmark::State &state) {
  const std::string &text = Source(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    TVnDOMDocument *d = VnLoad(text);
    benchmark::DoNotOptimize(d);
    d->Free();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<Int64>(text.size()));
}

void Load_libxml2(benchmark::State &state) {
  const std::string &text = Source(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    xmlDoc *d = XmlLoad(text);
    benchmark::DoNotOptimize(d);
    xmlFreeDoc(d);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<Int64>(text.size()));
}

void Load_pugixml(benchmark::State &state) {
  const std::string &text = Source(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    pugi::xml_document d;
    benchmark::DoNotOptimize(d.load_buffer(text.data(), text.size(), cPugiOptions));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<Int64>(text.size()));
}

void Walk_vnxml(benchmark::State &state) {
  const std::string &text = Source(static_cast<int>(state.range(0)));
  TVnDOMDocument *d = VnLoad(text);
  for (auto _ : state) benchmark::DoNotOptimize(VnWalk(d));
  d->Free();
  state.SetBytesProcessed(state.iterations() * static_cast<Int64>(text.size()));
}

void Walk_libxml2(benchmark::State &state) {
  const std::string &text = Source(static_cast<int>(state.range(0)));
  xmlDoc *d = XmlLoad(text);
  for (auto _ : state) benchmark::DoNotOptimize(XmlWalk(xmlDocGetRootElement(d)));
  xmlFreeDoc(d);
  state.SetBytesProcessed(state.iterations() * static_cast<Int64>(text.size()));
}

void Walk_pugixml(benchmark::State &state) {
  const std::string &text = Source(static_cast<int>(state.range(0)));
  pugi::xml_document d;
  d.load_buffer(text.data(), text.size(), cPugiOptions);
  for (auto _ : state) benchmark::DoNotOptimize(PugiWalk(d));
  state.SetBytesProcessed(state.iterations() * static_cast<Int64>(text.size()));
}

void Save_vnxml(benchmark::State &state) {
  const std::string &text = Source(static_cast<int>(state.range(0)));
  TVnDOMDocument *d = VnLoad(text);
  Int64 size = 0;
  for (auto _ : state) {
    TMemoryStream s;
    d->SaveToStream(&s, CP_UTF8, false, false);
    size = s.GetSize();
  }
  d->Free();
  state.counters["out_MB"] = static_cast<double>(size) / 1e6;
  state.SetBytesProcessed(state.iterations() * static_cast<Int64>(text.size()));
}

void Save_libxml2(benchmark::State &state) {
  const std::string &text = Source(static_cast<int>(state.range(0)));
  xmlDoc *d = XmlLoad(text);
  int size = 0;
  for (auto _ : state) {
    xmlChar *out = nullptr;
    xmlDocDumpMemory(d, &out, &size);
    xmlFree(out);
  }
  xmlFreeDoc(d);
  state.counters["out_MB"] = size / 1e6;
  state.SetBytesProcessed(state.iterations() * static_cast<Int64>(text.size()));
}

void Save_pugixml(benchmark::State &state) {
  const std::string &text = Source(static_cast<int>(state.range(0)));
  pugi::xml_document d;
  d.load_buffer(text.data(), text.size(), cPugiOptions);
  std::size_t size = 0;
  for (auto _ : state) {
    StringWriter w;
    d.save(w, "", pugi::format_raw, pugi::encoding_utf8);
    size = w.Out.size();
  }
  state.counters["out_MB"] = static_cast<double>(size) / 1e6;
  state.SetBytesProcessed(state.iterations() * static_cast<Int64>(text.size()));
}

// Heap held by a loaded tree, per node of the document as this library counts them, and the
// peak growth of the resident size while loading (the reader's buffers included).
template <class F>
void ReportMemory(benchmark::State &state, F ALoadAndHold) {
  const std::string &text = Source(static_cast<int>(state.range(0)));
  static Int64 nodes[2] = {0, 0};
  if (!nodes[state.range(0)]) {
    TVnDOMDocument *d = VnLoad(text);
    nodes[state.range(0)] = VnNodes(d->GetRootNode());
    d->Free();
  }
  std::size_t held = 0;
  double peak = -1;
  for (auto _ : state) {
    malloc_trim(0);
    const bool reset = ResetPeakRSS();
    const long rss = StatusKB("VmRSS");
    const std::size_t before = HeapInUse();
    held = ALoadAndHold(text, before);
    if (reset && rss >= 0) peak = static_cast<double>(StatusKB("VmHWM") - rss) * 1024 / 1e6;
  }
  state.counters["heap_MB"] = static_cast<double>(held) / 1e6;
  state.counters["peak_MB"] = peak;
  state.counters["nodes"] = static_cast<double>(nodes[state.range(0)]);
  state.counters["bytes_per_node"] =
      static_cast<double>(held) / static_cast<double>(nodes[state.range(0)]);
}

void Memory_vnxml(benchmark::State &state) {
  ReportMemory(state, [](const std::string &t, std::size_t before) {
    TVnDOMDocument *d = VnLoad(t);
    const std::size_t held = HeapInUse() - before;
    d->Free();
    return held;
  });
}

void Memory_libxml2(benchmark::State &state) {
  ReportMemory(state, [](const std::string &t, std::size_t before) {
    xmlDoc *d = XmlLoad(t);
    const std::size_t held = HeapInUse() - before;
    xmlFreeDoc(d);
    return held;
  });
}

void Memory_pugixml(benchmark::State &state) {
  ReportMemory(state, [](const std::string &t, std::size_t before) {
    auto *d = new pugi::xml_document;
    d->load_buffer(t.data(), t.size(), cPugiOptions);
    const std::size_t held = HeapInUse() - before;
    delete d;
    return held;
  });
}

// Argument 0: the generated 50 MB document; 1: freedesktop.org.xml.
// The big document runs for several seconds, so that each figure is a mean over several passes:
// the time of one pass depends on what the previous one left in the heap.
#define VN_DOM_BENCH(Family, Who)          \
  BENCHMARK(Family##_##Who)                \
      ->Name(#Family "/big/" #Who)         \
      ->Arg(0)                             \
      ->MinTime(5.0)                       \
      ->Unit(benchmark::kMillisecond);     \
  BENCHMARK(Family##_##Who)                \
      ->Name(#Family "/freedesktop/" #Who) \
      ->Arg(1)                             \
      ->Unit(benchmark::kMillisecond);

VN_DOM_BENCH(Load, vnxml)
VN_DOM_BENCH(Load, libxml2)
VN_DOM_BENCH(Load, pugixml)
VN_DOM_BENCH(Walk, vnxml)
VN_DOM_BENCH(Walk, libxml2)
VN_DOM_BENCH(Walk, pugixml)
VN_DOM_BENCH(Save, vnxml)
VN_DOM_BENCH(Save, libxml2)
VN_DOM_BENCH(Save, pugixml)

#define VN_DOM_MEMORY(Who)               \
  BENCHMARK(Memory_##Who)                \
      ->Name("Memory/big/" #Who)         \
      ->Arg(0)                           \
      ->Iterations(1)                    \
      ->Unit(benchmark::kMillisecond);   \
  BENCHMARK(Memory_##Who)                \
      ->Name("Memory/freedesktop/" #Who) \
      ->Arg(1)                           \
      ->Iterations(1)                    \
      ->Unit(benchmark::kMillisecond);

VN_DOM_MEMORY(vnxml)
VN_DOM_MEMORY(libxml2)
VN_DOM_MEMORY(pugixml)

}  // namespace

VNBENCH_MAIN()
