// The JSON form of an XML tree against the XML form of the same tree, and JSON text loaded into
// an XML tree against the same text loaded into the JSON tree.
//
// Save/...: freedesktop.org.xml (shared-mime-info) loaded once, then written to a memory stream
// in UTF-8, unformatted: as XML (SaveToStream) and as JSON (SaveToJSONStream). Throughput is
// of the bytes written. LoadJSON/...: citm_catalog.json and twitter.json loaded into a
// TVnDOMDocument (the JSON reader's events as XML) and into a TVnJSONDocument. Throughput is of
// the bytes read. After the table, the ratios JSON/XML and DOM/JSON tree.
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "bench_util.h"
#include "json_inputs.h"
#include "vnxml/json/uVnJSON.h"
#include "vnxml/xml/uVnXMLDOM.h"

using namespace vn;

namespace {

const std::string &Freedesktop() {
  static const std::string text = [] {
    std::ifstream in("/usr/share/mime/packages/freedesktop.org.xml", std::ios::binary);
    std::stringstream b;
    b << in.rdbuf();
    return b.str();
  }();
  return text;
}

TVnDOMDocument *LoadFreedesktop(benchmark::State &AState) {
  const std::string &text = Freedesktop();
  if (text.empty()) {
    AState.SkipWithError("freedesktop.org.xml missing");
    return nullptr;
  }
  TPointerStream s(text.data(), static_cast<Int64>(text.size()));
  TVnDOMDocument *d = New<TVnDOMDocument>();
  d->LoadFromStream(&s);
  return d;
}

template <class F>
void SaveLoop(benchmark::State &AState, F AWrite) {
  TVnDOMDocument *d = LoadFreedesktop(AState);
  if (!d) return;
  Int64 size = 0;
  for (auto _ : AState) {
    TMemoryStream s;
    AWrite(d, s);
    size = s.GetSize();
  }
  d->Free();
  AState.counters["out_MB"] = static_cast<double>(size) / 1e6;
  AState.SetBytesProcessed(AState.iterations() * size);
}

void Save_xml(benchmark::State &AState) {
  SaveLoop(AState,
           [](TVnDOMDocument *d, TMemoryStream &s) { d->SaveToStream(&s, CP_UTF8, false, false); });
}

void Save_json(benchmark::State &AState) {
  SaveLoop(AState,
           [](TVnDOMDocument *d, TMemoryStream &s) { d->SaveToJSONStream(&s, false, false); });
}

void Save_json_formatted(benchmark::State &AState) {
  SaveLoop(AState,
           [](TVnDOMDocument *d, TMemoryStream &s) { d->SaveToJSONStream(&s, true, false); });
}

bool Missing(benchmark::State &AState, const std::string &AText) {
  if (!AText.empty()) return false;
  AState.SkipWithError("input missing");
  return true;
}

void LoadJSON_dom(benchmark::State &AState) {
  const std::string &t = Input(static_cast<int>(AState.range(0)));
  if (Missing(AState, t)) return;
  for (auto _ : AState) {
    TPointerStream s(t.data(), static_cast<Int64>(t.size()));
    TVnDOMDocument *d = TVnDOMDocument::CreateFromStream(&s, CP_UTF8);
    benchmark::DoNotOptimize(d);
    d->Free();
  }
  AState.SetBytesProcessed(AState.iterations() * static_cast<Int64>(t.size()));
}

void LoadJSON_tree(benchmark::State &AState) {
  const std::string &t = Input(static_cast<int>(AState.range(0)));
  if (Missing(AState, t)) return;
  for (auto _ : AState) {
    TPointerStream s(t.data(), static_cast<Int64>(t.size()));
    TVnJSONDocument *d = New<TVnJSONDocument>();
    d->LoadFromStream(&s, CP_UTF8, false);
    benchmark::DoNotOptimize(d);
    d->Free();
  }
  AState.SetBytesProcessed(AState.iterations() * static_cast<Int64>(t.size()));
}

BENCHMARK(Save_xml)->Name("Save/xml")->Unit(benchmark::kMillisecond);
BENCHMARK(Save_json)->Name("Save/json")->Unit(benchmark::kMillisecond);
BENCHMARK(Save_json_formatted)->Name("Save/json-formatted")->Unit(benchmark::kMillisecond);
BENCHMARK(LoadJSON_dom)
    ->Name("LoadJSON/dom")
    ->Arg(inCitm)
    ->Arg(inTwitter)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(LoadJSON_tree)
    ->Name("LoadJSON/tree")
    ->Arg(inCitm)
    ->Arg(inTwitter)
    ->Unit(benchmark::kMillisecond);

void PrintRatio(const vnbench::RatioReporter &AReporter, const char *ALabel, const std::string &A,
                const std::string &B) {
  const auto a = AReporter.Results.find(A);
  const auto b = AReporter.Results.find(B);
  if (a == AReporter.Results.end() || b == AReporter.Results.end()) return;
  std::printf("%-36s %10.1f %10.1f %8.2f\n", ALabel, a->second.Bytes / 1e6, b->second.Bytes / 1e6,
              a->second.Bytes / b->second.Bytes);
}

}  // namespace

int main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  vnbench::RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  std::printf("\n%-36s %10s %10s %8s\n", "ratio", "MB/s", "vs MB/s", "ratio");
  PrintRatio(reporter, "JSON/XML save (output bytes)", "Save/json", "Save/xml");
  PrintRatio(reporter, "DOM/JSON tree, citm_catalog", "LoadJSON/dom/1", "LoadJSON/tree/1");
  PrintRatio(reporter, "DOM/JSON tree, twitter", "LoadJSON/dom/0", "LoadJSON/tree/0");
  benchmark::Shutdown();
  return 0;
}
