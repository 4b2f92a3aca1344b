// A benchmark main that prints, after the usual table, the throughput of each library
// benchmark against the peer benchmarks of the same family in the same run.
//
// Names follow "<family>/<who>[/args]": "SkipWhile/cstA/vnxml" against "SkipWhile/cstA/memchr".
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace vnbench {

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
  // The ratio by bytes, and by objects where both count them (texts of different sizes for the
  // same content compare by the objects).
  void PrintRatios() const {
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
  std::map<std::string, Rates> Results;
  std::set<std::string> Medians;
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
