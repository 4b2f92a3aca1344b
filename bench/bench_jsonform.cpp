// The form-URL-encoded reader against the JSON reader on the same data. A generated form body of
// about 10 MB with 100,000 pairs (plain keys, objects nested by bracket suffixes, arrays with
// "[]" and with indices, values with "+" and percent escapes, ASCII and UTF-8), and the same data
// as JSON text, made once by loading the body into a document and writing it out as UTF-8.
//
// Families, each "<family>/<form|json>":
//   Load  a fresh TVnJSONDocument from the UTF-8 bytes through LoadFromStream over a
//         TPointerStream, with the form flag for the body;
//   Read  the event reader alone, with a handler that does nothing, through ParseBuffer.
// The throughput counts each input's own bytes. After the table come, per family, both rates,
// their ratio, and the ratio of the times per load: the form body against the JSON text of the
// same data (above 1: the form body is read faster). With --benchmark_repetitions the fastest
// repetitions are compared.
#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "bench_util.h"
#include "json_inputs.h"
#include "vnxml/json/uVnJSON.h"

using namespace vn;

namespace {

constexpr unsigned cPairs = 100000;
constexpr std::size_t cBytes = 10u << 20;

// Text as a form encoder writes it: space as "+", reserved characters and non-ASCII escaped.
void AppendEncoded(std::string &AOut, const std::string &AText) {
  static const char cHex[] = "0123456789ABCDEF";
  for (unsigned char c : AText) {
    if ((c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
        c == '.' || c == '_' || c == '*') {
      AOut += static_cast<char>(c);
    } else if (c == ' ') {
      AOut += '+';
    } else {
      AOut += '%';
      AOut += cHex[c >> 4];
      AOut += cHex[c & 15];
    }
  }
}

std::string Words(TRandom &ARandom, unsigned ACount) {
  static const char *const words[] = {
      "lorem", "ipsum", "dolor",   "sit",    "amet",       "consectetur", "adipiscing", "elit",
      "sed",   "do",    "eiusmod", "tempor", "incididunt", "labore",      "magna",      "aliqua",
      "café",  "naïve", "Zürich",  "50%",    "a/b",        "x&y",         "1+1=2",      "\"q\""};
  std::string s;
  for (unsigned i = 0; i < ACount; ++i) {
    if (i) s += ' ';
    s += words[ARandom.Below(sizeof words / sizeof *words)];
  }
  return s;
}

// Records of ten pairs each, padded by the length of their free text so that the body comes out
// near cBytes.
std::string GenerateForm() {
  static const char *const cities[] = {"Oslo", "Zürich", "São Paulo", "Kraków", "東京", "Lyon"};
  TRandom r{20240601};
  std::string s;
  s.reserve(cBytes + (1u << 16));
  const unsigned records = cPairs / 10;
  for (unsigned id = 0; id < records; ++id) {
    const std::string rec = "rec" + std::to_string(id);
    auto pair = [&](const std::string &AKey, const std::string &AValue) {
      if (!s.empty()) s += '&';
      s += AKey;
      s += '=';
      AppendEncoded(s, AValue);
    };
    // About 1000 bytes a record: the text of "about" makes up what the rest leaves.
    pair(rec + "[name]", Words(r, 2));
    pair(rec + "[email]", "user" + std::to_string(id) + "@example.com");
    pair(rec + "[address][street]", std::to_string(1 + r.Below(999)) + " Main St.");
    pair(rec + "[address][city]", cities[r.Below(6)]);
    pair(rec + "[tags][]", Words(r, 1));
    pair(rec + "[tags][]", Words(r, 1));
    pair(rec + "%5Bscores%5D%5B0%5D", std::to_string(r.Below(100000)));
    pair(rec + "%5Bscores%5D%5B1%5D", std::to_string(r.Below(100000)));
    const std::size_t target = (id + 1) * (cBytes / records) - 48;
    std::string about = Words(r, 8);
    while (s.size() + about.size() * 13 / 10 + 16 < target) {
      about += ' ';
      about += Words(r, 4);
    }
    pair(rec + "[about]", about);
    pair("plain" + std::to_string(id), Words(r, 3));
  }
  return s;
}

const std::string &Form() {
  static const std::string text = GenerateForm();
  return text;
}

// The form body's data as JSON text in UTF-8.
const std::string &JSON() {
  static const std::string text = [] {
    Owned<TVnJSONDocument> d(New<TVnJSONDocument>());
    TPointerStream in(Form().data(), static_cast<Int64>(Form().size()));
    d->LoadFromStream(&in, CP_UTF8, true);
    TMemoryStream out;
    d->SaveToStream(&out, false, CP_UTF8, false);
    return std::string(static_cast<const char *>(out.Memory()),
                       static_cast<std::size_t>(out.GetSize()));
  }();
  return text;
}

void Account(benchmark::State &AState, const std::string &AText) {
  AState.SetBytesProcessed(static_cast<int64_t>(AState.iterations()) *
                           static_cast<int64_t>(AText.size()));
  AState.counters["MB"] = static_cast<double>(AText.size()) / 1e6;
}

void Load(benchmark::State &AState, bool AForm) {
  const std::string &t = AForm ? Form() : JSON();
  for (auto _ : AState) {
    TVnJSONDocument *d = New<TVnJSONDocument>();
    TPointerStream s(t.data(), static_cast<Int64>(t.size()));
    try {
      d->LoadFromStream(&s, CP_UTF8, AForm);
    } catch (const Exception &E) {
      AState.SkipWithError(E.what());
    }
    benchmark::DoNotOptimize(d);
    d->Free();
  }
  Account(AState, t);
}

class TNullHandler : public TVnObject, public IVnJSONContentHandler, public IVnJSONErrorHandler {
  VN_CLASS(TNullHandler, TVnObject)
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

void Read(benchmark::State &AState, bool AForm) {
  const std::string &t = AForm ? Form() : JSON();
  TVnJSONReader *reader = AForm ? New<TVnFormURLEncodedJSONReader>() : New<TVnJSONReader>();
  TNullHandler *h = New<TNullHandler>();
  reader->SetContentHandler(h);
  reader->SetErrorHandler(h);
  for (auto _ : AState) {
    try {
      reader->ParseBuffer(t.data(), static_cast<Cardinal>(t.size()), CP_UTF8);
    } catch (const Exception &E) {
      AState.SkipWithError(E.what());
      break;
    }
  }
  reader->Free();
  Account(AState, t);
}

// Keeps each row's rate and time per iteration, and prints the form rows against the JSON rows.
class TFormReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    // With repetitions, the fastest repetition stands for the row: the one least disturbed by
    // whatever else the machine runs.
    for (const Run &r : runs) {
      if (r.error_occurred) continue;
      const bool min = r.run_type == Run::RT_Aggregate && r.aggregate_name == "min";
      if (r.run_type != Run::RT_Iteration && !min) continue;
      const std::string &name = r.run_name.function_name;
      if (!min && FMins.count(name)) continue;
      if (min) FMins.insert(name);
      FTimes[name] = r.GetAdjustedRealTime();
    }
  }
  void PrintSummary() const {
    std::printf("\n%-8s %12s %12s %14s %10s %10s %14s\n", "family", "form MB/s", "JSON MB/s",
                "MB/s form/JSON", "ms form", "ms JSON", "JSON/form time");
    const double formMB = static_cast<double>(Form().size()) / 1e6;
    const double jsonMB = static_cast<double>(JSON().size()) / 1e6;
    for (const char *family : {"Load", "Read"}) {
      auto f = FTimes.find(std::string(family) + "/form");
      auto j = FTimes.find(std::string(family) + "/json");
      if (f == FTimes.end() || j == FTimes.end()) continue;
      const double fRate = formMB / (f->second / 1e3), jRate = jsonMB / (j->second / 1e3);
      std::printf("%-8s %12.1f %12.1f %14.2f %10.1f %10.1f %14.2f\n", family, fRate, jRate,
                  fRate / jRate, f->second, j->second, j->second / f->second);
    }
    std::printf("form body %.2f MB, JSON text %.2f MB, %u pairs\n", formMB, jsonMB, cPairs);
  }

 private:
  std::map<std::string, double> FTimes;  // milliseconds per iteration
  std::set<std::string> FMins;
};

}  // namespace

int main(int argc, char **argv) {
  auto min = [](const std::vector<double> &AValues) {
    return AValues.empty() ? 0.0 : *std::min_element(AValues.begin(), AValues.end());
  };
  for (const char *family : {"Load", "Read"}) {
    for (bool form : {true, false}) {
      const std::string name = std::string(family) + (form ? "/form" : "/json");
      benchmark::RegisterBenchmark(name.c_str(), family[0] == 'L' ? Load : Read, form)
          ->Unit(benchmark::kMillisecond)
          ->MinTime(2.0)
          ->ComputeStatistics("min", min);
    }
  }
  benchmark::Initialize(&argc, argv);
  TFormReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintSummary();
  benchmark::Shutdown();
  return 0;
}
