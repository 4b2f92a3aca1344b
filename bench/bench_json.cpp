// The JSON reader, tree, output and tree memory against RapidJSON, nlohmann/json and (for the
// tree load) simdjson, all on the same bytes in the same run. Four inputs:
//   twitter, citm_catalog, canada  the usual JSON corpus, read from the directory named by
//                  VNXML_BENCH_JSON_DIR (by default shared/data/json beside the source tree;
//                  skipped when missing);
//   gen50MB        a generated API-like document of about 50 MB: an array of records with text
//                  (escapes, \u sequences, raw non-ASCII), integers, floats, booleans, nulls and
//                  nested arrays and objects.
// Trailing white space is cut from every input before any library sees it: this library's reader
// does not skip white space behind a top-level object or array.
//
// Families, each "<family>/<input>/<who>":
//   Read     the event reader with handlers that do nothing: TVnJSONReader::ParseBuffer on the
//            UTF-8 bytes, rapidjson::Reader (kParseDefaultFlags, not in place), nlohmann's
//            sax_parse;
//   Load     a fresh tree from the UTF-8 bytes: TVnJSONDocument::LoadFromStream over a
//            TPointerStream, rapidjson::Document::Parse, nlohmann::json::parse, and a fresh
//            simdjson::dom::parser on a padded copy made once;
//   Write    a loaded tree written unformatted: vnxml to UTF-8 in a memory stream, vnxml-utf16
//            GetAsJSON, rapidjson::Writer into a StringBuffer, nlohmann's dump(). The throughput
//            counts the input bytes, so that the rows compare; out_MB is what each one wrote;
//   Memory   one load, with the tree alive: the heap it holds (glibc's mallinfo2, the ordinary
//            and the mapped blocks), per JSON value. Values are counted once per input by a
//            RapidJSON handler: each scalar, object and array is one, member names are none.
//            tree_values, the values each tree holds, shows that it kept the whole document.
//   Paired   the rows that the library's goals compare (Read and Load against RapidJSON, Load
//            and Write against nlohmann), the library's pass and the peer's in turn, so that both
//            meet the machine in the same state: "Paired/<family>/<input>/vnxml:<peer>", with
//            the peer's time over the library's (see bench_util.h).
//
// After the table come the paired ratios, then the ratios: every library row against each peer row
// of its family, with the median of repetitions when there are any, then the bytes per value and
// their ratios.
#include <malloc.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <fstream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <rapidjson/document.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <simdjson.h>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>

#include "bench_util.h"
#include "json_inputs.h"
#include "vnxml/json/uVnJSON.h"

using namespace vn;

namespace {

// Reports the input's size and the throughput over it.
void Account(benchmark::State &AState, const std::string &AText) {
  AState.SetBytesProcessed(static_cast<int64_t>(AState.iterations()) *
                           static_cast<int64_t>(AText.size()));
}

// The number of JSON values (scalars, objects, arrays) of each input, counted once.
struct TValueCounter : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, TValueCounter> {
  std::size_t N = 0;
  bool Default() {
    ++N;
    return true;
  }
  bool StartObject() { return Default(); }
  bool StartArray() { return Default(); }
  bool Key(const char *, rapidjson::SizeType, bool) { return true; }
  bool EndObject(rapidjson::SizeType) { return true; }
  bool EndArray(rapidjson::SizeType) { return true; }
};

std::size_t ValueCount(int AIndex) {
  static std::size_t counts[inCount] = {};
  if (!counts[AIndex]) {
    const std::string &t = Input(AIndex);
    TValueCounter h;
    rapidjson::Reader reader;
    rapidjson::StringStream ss(t.c_str());
    reader.Parse<rapidjson::kParseDefaultFlags>(ss, h);
    counts[AIndex] = h.N;
  }
  return counts[AIndex];
}

// ---------------------------------------------------------------------------------------------
// The handlers that do nothing

class TNullJSONHandler : public TVnObject,
                         public IVnJSONContentHandler,
                         public IVnJSONErrorHandler {
  VN_CLASS(TNullJSONHandler, TVnObject)
  VN_IMPLEMENTS(TVnObject, IVnJSONContentHandler, IVnJSONErrorHandler)
 public:
  void SetDocumentLocator(IVnJSONLocator *) override {}
  void StartDocument() override {}
  void StartObject() override {}
  void StartMember(const VnJSONString &) override {}
  void StartArray() override {}
  void Value(TVnJSONDataType, const VnJSONString &) override {}
  void EndArray() override {}
  void EndMember() override {}
  void EndObject() override {}
  void EndDocument() override {}
  void Warning(IVnJSONLocator *, const VnJSONString &) override {}
  void Error(IVnJSONLocator *, const VnJSONString &) override {}
  void FatalError(IVnJSONLocator *, const VnJSONString &) override {}
};

struct TRapidNull : rapidjson::BaseReaderHandler<rapidjson::UTF8<>, TRapidNull> {};

struct TNlohmannNull : nlohmann::json::json_sax_t {
  bool null() override { return true; }
  bool boolean(bool) override { return true; }
  bool number_integer(number_integer_t) override { return true; }
  bool number_unsigned(number_unsigned_t) override { return true; }
  bool number_float(number_float_t, const string_t &) override { return true; }
  bool string(string_t &) override { return true; }
  bool binary(binary_t &) override { return true; }
  bool start_object(std::size_t) override { return true; }
  bool key(string_t &) override { return true; }
  bool end_object() override { return true; }
  bool start_array(std::size_t) override { return true; }
  bool end_array() override { return true; }
  bool parse_error(std::size_t, const std::string &, const nlohmann::detail::exception &) override {
    return false;
  }
};

// ---------------------------------------------------------------------------------------------
// The passes. Each family's work on an input is a pass, made ready once (reader, loaded tree)
// and then run over and over: by a row of its own, or in turn with a peer's pass in a paired
// row. A pass returns the bytes it wrote (0 when it writes nothing) and raises when it fails.

using TPass = std::function<std::size_t()>;
using TPassMaker = TPass (*)(const std::string &);

// Read

TPass Read_vnxml(const std::string &AText) {
  std::shared_ptr<TVnJSONReader> reader(New<TVnJSONReader>(), [](TVnJSONReader *R) { R->Free(); });
  TNullJSONHandler *h = New<TNullJSONHandler>();
  reader->SetContentHandler(h);
  reader->SetErrorHandler(h);
  return [reader, &AText] {
    reader->ParseBuffer(AText.data(), static_cast<Cardinal>(AText.size()), CP_UTF8);
    return std::size_t{0};
  };
}

TPass Read_rapidjson(const std::string &AText) {
  return [&AText] {
    TRapidNull h;
    rapidjson::Reader reader;
    rapidjson::StringStream ss(AText.c_str());
    if (reader.Parse<rapidjson::kParseDefaultFlags>(ss, h).IsError())
      throw std::runtime_error("rapidjson failed");
    return std::size_t{0};
  };
}

TPass Read_nlohmann(const std::string &AText) {
  return [&AText] {
    TNlohmannNull h;
    if (!nlohmann::json::sax_parse(AText.data(), AText.data() + AText.size(), &h))
      throw std::runtime_error("nlohmann failed");
    return std::size_t{0};
  };
}

// Load

TVnJSONDocument *VnLoad(const std::string &AText) {
  Owned<TVnJSONDocument> d(New<TVnJSONDocument>());
  TPointerStream s(AText.data(), static_cast<Int64>(AText.size()));
  d->LoadFromStream(&s, CP_UTF8);
  return d.release();
}

TPass Load_vnxml(const std::string &AText) {
  return [&AText] {
    TVnJSONDocument *d = VnLoad(AText);
    benchmark::DoNotOptimize(d);
    d->Free();
    return std::size_t{0};
  };
}

TPass Load_rapidjson(const std::string &AText) {
  return [&AText] {
    rapidjson::Document d;
    d.Parse(AText.data(), AText.size());
    if (d.HasParseError()) throw std::runtime_error("rapidjson failed");
    benchmark::DoNotOptimize(d);
    return std::size_t{0};
  };
}

TPass Load_nlohmann(const std::string &AText) {
  return [&AText] {
    nlohmann::json j = nlohmann::json::parse(AText.data(), AText.data() + AText.size());
    benchmark::DoNotOptimize(j);
    return std::size_t{0};
  };
}

TPass Load_simdjson(const std::string &AText) {
  auto padded = std::make_shared<simdjson::padded_string>(AText);
  return [padded] {
    simdjson::dom::parser parser;
    simdjson::dom::element root;
    if (parser.parse(*padded).get(root) != simdjson::SUCCESS)
      throw std::runtime_error("simdjson failed");
    benchmark::DoNotOptimize(root);
    return std::size_t{0};
  };
}

// Write

TPass Write_vnxml(const std::string &AText) {
  std::shared_ptr<TVnJSONDocument> d(VnLoad(AText), [](TVnJSONDocument *D) { D->Free(); });
  return [d] {
    TMemoryStream s;
    d->SaveToStream(&s, false, CP_UTF8, false);
    return static_cast<std::size_t>(s.GetSize());
  };
}

TPass Write_vnxml_utf16(const std::string &AText) {
  std::shared_ptr<TVnJSONDocument> d(VnLoad(AText), [](TVnJSONDocument *D) { D->Free(); });
  return [d] {
    const VnJSONString text = d->GetAsJSON();
    return text.size() * sizeof(char16_t);
  };
}

TPass Write_rapidjson(const std::string &AText) {
  auto d = std::make_shared<rapidjson::Document>();
  d->Parse(AText.data(), AText.size());
  return [d] {
    rapidjson::StringBuffer b;
    rapidjson::Writer<rapidjson::StringBuffer> w(b);
    d->Accept(w);
    return b.GetSize();
  };
}

TPass Write_nlohmann(const std::string &AText) {
  auto j = std::make_shared<const nlohmann::json>(
      nlohmann::json::parse(AText.data(), AText.data() + AText.size()));
  return [j] { return j->dump().size(); };
}

bool Missing(benchmark::State &AState, const std::string &AText) {
  if (!AText.empty()) return false;
  AState.SkipWithError("input missing");
  return true;
}

// A row of its own: the pass over and over. A writing pass reports what it wrote (out_MB).
void Row(benchmark::State &AState, int AInput, TPassMaker AMake) {
  const std::string &t = Input(AInput);
  if (Missing(AState, t)) return;
  std::size_t size = 0;
  try {
    const TPass pass = AMake(t);
    for (auto _ : AState) size = pass();
  } catch (const std::exception &E) {
    AState.SkipWithError(E.what());
    return;
  }
  if (size) AState.counters["out_MB"] = static_cast<double>(size) / 1e6;
  Account(AState, t);
}

// A paired row: the library's pass and the peer's in turn (see vnbench::Paired), wall-clock
// time as the rows of their own take it.
void PairedRow(benchmark::State &AState, int AInput, TPassMaker ALibrary, TPassMaker APeer) {
  const std::string &t = Input(AInput);
  if (Missing(AState, t)) return;
  try {
    const TPass library = ALibrary(t), peer = APeer(t);
    const auto timed = [](const TPass &APass) {
      const auto t0 = std::chrono::steady_clock::now();
      APass();
      return std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    };
    vnbench::Paired(
        AState, [&] { return timed(library); }, [&] { return timed(peer); });
  } catch (const std::exception &E) {
    AState.SkipWithError(E.what());
  }
}
// ---------------------------------------------------------------------------------------------
// Memory

std::size_t HeapInUse() {
  const struct mallinfo2 m = mallinfo2();
  return m.uordblks + m.hblkhd;
}

// The values held by each tree, counted as ValueCount counts them: a check that every library
// kept the whole document.
std::size_t TreeValues(TVnJSONBase *ANode) {
  std::size_t n = ANode->Is<TVnJSONMember>() || ANode->Is<TVnJSONDocument>() ? 0 : 1;
  for (Integer i = 0; i < ANode->ObjectCount(); ++i) n += TreeValues(ANode->Objects(i));
  return n;
}

std::size_t TreeValues(const rapidjson::Value &AValue) {
  std::size_t n = 1;
  if (AValue.IsObject())
    for (const auto &m : AValue.GetObject()) n += TreeValues(m.value);
  else if (AValue.IsArray())
    for (const auto &v : AValue.GetArray()) n += TreeValues(v);
  return n;
}

std::size_t TreeValues(const nlohmann::json &AValue) {
  std::size_t n = 1;
  if (AValue.is_structured())
    for (const auto &v : AValue) n += TreeValues(v);
  return n;
}

struct THeld {
  std::size_t Bytes;
  std::size_t Values;
};

// ALoadAndHold loads the input and returns the heap grown since the given figure while the tree
// is still alive, and the values of the tree; then it frees the tree. It runs on a thread of its
// own: a thread keeps a few empty node pages for its next load, which a load on the thread of
// the earlier rows would take without growing the heap (so its tree would look smaller than it
// is). All threads share the main heap arena, which is the one mallinfo2 reports.
template <class F>
void ReportMemory(benchmark::State &AState, int AInput, F ALoadAndHold) {
  const std::string &t = Input(AInput);
  if (Missing(AState, t)) return;
  mallopt(M_ARENA_MAX, 1);
  const std::size_t values = ValueCount(AInput);
  THeld held{};
  for (auto _ : AState) {
    malloc_trim(0);
    std::thread worker([&] { held = ALoadAndHold(t, HeapInUse()); });
    worker.join();
  }
  AState.counters["heap_MB"] = static_cast<double>(held.Bytes) / 1e6;
  AState.counters["values"] = static_cast<double>(values);
  AState.counters["tree_values"] = static_cast<double>(held.Values);
  AState.counters["bytes_per_value"] =
      static_cast<double>(held.Bytes) / static_cast<double>(values);
}

void Memory_vnxml(benchmark::State &AState, int AInput) {
  ReportMemory(AState, AInput, [](const std::string &t, std::size_t before) {
    Owned<TVnJSONDocument> d(VnLoad(t));
    const std::size_t bytes = HeapInUse() - before;
    return THeld{bytes, TreeValues(d.get())};
  });
}

void Memory_rapidjson(benchmark::State &AState, int AInput) {
  ReportMemory(AState, AInput, [](const std::string &t, std::size_t before) {
    auto d = std::make_unique<rapidjson::Document>();
    d->Parse(t.data(), t.size());
    const std::size_t bytes = HeapInUse() - before;
    return THeld{bytes, TreeValues(*d)};
  });
}

void Memory_nlohmann(benchmark::State &AState, int AInput) {
  ReportMemory(AState, AInput, [](const std::string &t, std::size_t before) {
    auto j = std::make_unique<nlohmann::json>(nlohmann::json::parse(t.data(), t.data() + t.size()));
    const std::size_t bytes = HeapInUse() - before;
    return THeld{bytes, TreeValues(*j)};
  });
}

// ---------------------------------------------------------------------------------------------
// Registration

using TBenchFunc = void (*)(benchmark::State &, int);

// The big input's rows run several seconds, so that each figure is a mean over several passes.
void Settle(benchmark::internal::Benchmark *ABench, int AInput) {
  ABench->Unit(benchmark::kMillisecond);
  if (AInput == inGen) ABench->MinTime(3.0);
}

// "<family>/<input>/<who>" for each input, the pass in a row of its own.
void Register(const char *AFamily, const char *AWho, TPassMaker AMake) {
  for (int i = 0; i < inCount; ++i) {
    const std::string name = std::string(AFamily) + "/" + cInputNames[i] + "/" + AWho;
    Settle(benchmark::RegisterBenchmark(name.c_str(), Row, i, AMake), i);
  }
}

// The memory rows: one load each.
void RegisterOnce(const char *AFamily, const char *AWho, TBenchFunc AFunc) {
  for (int i = 0; i < inCount; ++i) {
    const std::string name = std::string(AFamily) + "/" + cInputNames[i] + "/" + AWho;
    benchmark::RegisterBenchmark(name.c_str(), AFunc, i)
        ->Unit(benchmark::kMillisecond)
        ->Iterations(1);
  }
}

// "Paired/<family>/<input>/vnxml:<peer>" for each input.
void RegisterPaired(const char *AFamily, TPassMaker ALibrary, const char *APeer,
                    TPassMaker APeerPass) {
  for (int i = 0; i < inCount; ++i) {
    const std::string name =
        std::string("Paired/") + AFamily + "/" + cInputNames[i] + "/vnxml:" + APeer;
    auto *b = benchmark::RegisterBenchmark(name.c_str(), PairedRow, i, ALibrary, APeerPass);
    b->UseManualTime();
    Settle(b, i);
  }
}

void RegisterAll() {
  Register("Read", "vnxml", Read_vnxml);
  Register("Read", "rapidjson", Read_rapidjson);
  Register("Read", "nlohmann", Read_nlohmann);
  Register("Load", "vnxml", Load_vnxml);
  Register("Load", "rapidjson", Load_rapidjson);
  Register("Load", "nlohmann", Load_nlohmann);
  Register("Load", "simdjson", Load_simdjson);
  Register("Write", "vnxml", Write_vnxml);
  Register("Write", "vnxml-utf16", Write_vnxml_utf16);
  Register("Write", "rapidjson", Write_rapidjson);
  Register("Write", "nlohmann", Write_nlohmann);
  RegisterOnce("Memory", "vnxml", Memory_vnxml);
  RegisterOnce("Memory", "rapidjson", Memory_rapidjson);
  RegisterOnce("Memory", "nlohmann", Memory_nlohmann);
  // The goals' comparisons, each in turn with its peer.
  RegisterPaired("Read", Read_vnxml, "rapidjson", Read_rapidjson);
  RegisterPaired("Load", Load_vnxml, "rapidjson", Load_rapidjson);
  RegisterPaired("Load", Load_vnxml, "nlohmann", Load_nlohmann);
  RegisterPaired("Write", Write_vnxml, "nlohmann", Write_nlohmann);
}

// ---------------------------------------------------------------------------------------------
// The report

// The ratios of bench_util.h, fed with the median of the repetitions where there are any (the
// run of a single repetition otherwise), and with the memory rows and the library's variants
// ("vnxml-utf16") as well.
class TJSONReporter : public vnbench::RatioReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &r : runs) {
      if (r.error_occurred) continue;
      NotePaired(r);
      const bool median = r.run_type == Run::RT_Aggregate && r.aggregate_name == "median";
      if (r.run_type != Run::RT_Iteration && !median) continue;
      const std::string &name = r.run_name.function_name;
      // A median, once there, is not replaced by the repetitions' own rows.
      if (!median && Medians.count(name)) continue;
      if (median) Medians.insert(name);
      if (auto it = r.counters.find("bytes_per_second"); it != r.counters.end())
        Results[name].Bytes = it->second.value;
      if (auto it = r.counters.find("bytes_per_value"); it != r.counters.end())
        PerValue[name] = it->second.value;
    }
  }

  void PrintAll() const {
    PrintRatios();
    // The library's variants against the peers of their family.
    std::printf("\n%-44s %12s %12s %8s\n", "variant (vnxml-* vs peer)", "vnxml MB/s", "peer MB/s",
                "ratio");
    for (const auto &[name, rates] : Results) {
      const std::size_t at = name.find("/vnxml-");
      if (at == std::string::npos) continue;
      const std::string family = name.substr(0, at + 1);
      for (const auto &[peer, prates] : Results) {
        if (peer.rfind(family, 0) != 0 || peer.find("/vnxml") != std::string::npos) continue;
        std::printf("%-44s %12.1f %12.1f %8.2f  (%s)\n", name.c_str(), rates.Bytes / 1e6,
                    prates.Bytes / 1e6, rates.Bytes / prates.Bytes, peer.c_str());
      }
    }
    // Tree memory.
    std::printf("\n%-30s %10s %10s %10s %12s %12s\n", "tree memory (bytes/value)", "vnxml",
                "rapidjson", "nlohmann", "vnxml/nloh", "vnxml/rapid");
    for (const char *input : cInputNames) {
      const std::string p = std::string("Memory/") + input + "/";
      auto get = [&](const char *who) {
        auto it = PerValue.find(p + who);
        return it == PerValue.end() ? 0.0 : it->second;
      };
      const double v = get("vnxml"), r = get("rapidjson"), n = get("nlohmann");
      if (v == 0) continue;
      std::printf("%-30s %10.1f %10.1f %10.1f %12.2f %12.2f\n", input, v, r, n, n ? v / n : 0,
                  r ? v / r : 0);
    }
  }

  std::set<std::string> Medians;
  std::map<std::string, double> PerValue;
};

}  // namespace

int main(int argc, char **argv) {
  RegisterAll();
  benchmark::Initialize(&argc, argv);
  TJSONReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintAll();
  benchmark::Shutdown();
  return 0;
}
