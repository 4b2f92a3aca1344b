// A benchmark main that prints, after the usual table, the throughput of each library
// benchmark against the peer benchmarks of the same family in the same run.
//
// Names follow "<family>/<who>[/args]": "SkipWhile/cstA/vnxml" against "SkipWhile/cstA/memchr".
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace vnbench {

// A paired row: the library's pass and a peer's pass on the same input, timed in turn within
// each round, the order switched from round to round. Rows run one after the other meet a shared
// machine in different states (its speed has been seen to drift by half between two rows of one
// run); the two passes of a round meet it in the same state, so their ratio holds where the
// ratio of separate rows does not. Each pass returns the seconds it timed (so that untimed set-up
// can stay inside it). The row's time is the library's; its counters are the ratio of the
// peer's time over the library's (above 1: the library is faster), the median over the rounds
// and the lower and upper quartiles. Register the row with UseManualTime. Its name is
// "Paired/<family>/<input>/vnxml:<peer>".
template <class L, class P>
void Paired(benchmark::State &AState, L ALibrary, P APeer) {
  std::vector<double> ratios;
  for (auto _ : AState) {
    double library, peer;
    if (ratios.size() % 2 == 0) {
      library = ALibrary();
      peer = APeer();
    } else {
      peer = APeer();
      library = ALibrary();
    }
    if (library <= 0 || peer <= 0) {
      AState.SkipWithError("a pass failed");
      return;
    }
    AState.SetIterationTime(library);
    ratios.push_back(peer / library);
  }
  if (ratios.empty()) return;
  std::sort(ratios.begin(), ratios.end());
  const auto at = [&ratios](double AQuantile) {
    return ratios[static_cast<std::size_t>(AQuantile * static_cast<double>(ratios.size() - 1) +
                                           0.5)];
  };
  AState.counters["ratio"] = at(0.5);
  AState.counters["ratio_q1"] = at(0.25);
  AState.counters["ratio_q3"] = at(0.75);
}

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  // The rates of one benchmark: bytes per second, and "objects" per second when it counts them.
  struct Rates {
    double Bytes = 0;
    double Objects = 0;
  };

  // A benchmark run with repetitions stands by its median; without, by its one run.
  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &r : runs) {
      if (r.error_occurred) continue;
      NotePaired(r);
      const bool median = r.run_type == Run::RT_Aggregate && r.aggregate_name == "median";
      if (!median && r.run_type != Run::RT_Iteration) continue;
      const std::string name = r.run_name.str();
      if (!median && Medians.count(name)) continue;
      auto it = r.counters.find("bytes_per_second");
      if (it == r.counters.end()) continue;
      Rates &rates = Results[name];
      rates.Bytes = it->second.value;
      auto objects = r.counters.find("objects");
      rates.Objects = objects == r.counters.end() ? 0 : objects->second.value;
      if (median) Medians.insert(name);
    }
  }
  // Keeps the ratios of a paired row's runs: each repetition's median, quartiles and all.
  void NotePaired(const Run &ARun) {
    if (ARun.error_occurred || ARun.run_type != Run::RT_Iteration) return;
    const std::string name = ARun.run_name.str();
    if (name.rfind("Paired/", 0) != 0) return;
    const auto get = [&ARun](const char *ACounter) {
      auto it = ARun.counters.find(ACounter);
      return it == ARun.counters.end() ? 0.0 : it->second.value;
    };
    PairedRuns[name].push_back({get("ratio_q1"), get("ratio"), get("ratio_q3")});
  }

  // The ratio by bytes, and by objects where both count them (texts of different sizes for the
  // same content compare by the objects).
  void PrintRatios() const {
    if (!PairedRuns.empty()) {
      std::printf("\n%-52s %s\n", "paired (vnxml vs peer, in turn)",
                  "ratio of the peer's time over vnxml's: median [quartiles] of each repetition");
      for (const auto &[name, runs] : PairedRuns) {
        std::printf("%-52s", name.c_str());
        for (const PairedRatio &p : runs) std::printf(" %5.2f [%4.2f-%4.2f]", p.Median, p.Q1, p.Q3);
        std::printf("\n");
      }
    }
    std::printf("\n%-44s %12s %12s %8s %8s\n", "benchmark (vnxml vs peer)", "vnxml MB/s",
                "peer MB/s", "ratio", "by obj");
    for (const auto &[name, rates] : Results) {
      std::size_t at = name.find("/vnxml");
      if (at == std::string::npos) continue;
      std::string family = name.substr(0, at);
      std::string rest = name.substr(at + 6);
      for (const auto &[peer, prates] : Results) {
        if (peer == name || peer.rfind(family + "/", 0) != 0) continue;
        if (peer.find("/vnxml") != std::string::npos) continue;
        if (peer.size() < rest.size() || peer.compare(peer.size() - rest.size(), rest.size(), rest))
          continue;
        char byObjects[16] = "";
        if (rates.Objects > 0 && prates.Objects > 0)
          std::snprintf(byObjects, sizeof byObjects, "%.2f", rates.Objects / prates.Objects);
        std::printf("%-44s %12.1f %12.1f %8.2f %8s  (%s)\n", name.c_str(), rates.Bytes / 1e6,
                    prates.Bytes / 1e6, rates.Bytes / prates.Bytes, byObjects, peer.c_str());
      }
    }
  }
  struct PairedRatio {
    double Q1, Median, Q3;
  };
  std::map<std::string, Rates> Results;
  std::set<std::string> Medians;
  std::map<std::string, std::vector<PairedRatio>> PairedRuns;
};

inline int Main(int argc, char **argv) {
  benchmark::Initialize(&argc, argv);
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.PrintRatios();
  benchmark::Shutdown();
  return 0;
}

}  // namespace vnbench

#define VNBENCH_MAIN()                \
  int main(int argc, char **argv) {   \
    return vnbench::Main(argc, argv); \
  }
