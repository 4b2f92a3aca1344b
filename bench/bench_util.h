// A benchmark main that prints, after the usual table, the throughput of each library
// benchmark against the peer benchmarks of the same family in the same run.
//
// Names follow "<family>/<who>[/args]": "SkipWhile/cstA/vnxml" against "SkipWhile/cstA/memchr".
#pragma once

#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace vnbench {

class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &r : runs) {
      if (r.run_type != Run::RT_Iteration || r.error_occurred) continue;
      auto it = r.counters.find("bytes_per_second");
      if (it == r.counters.end()) continue;
      Results[r.benchmark_name()] = it->second.value;
    }
  }
  void PrintRatios() const {
    std::printf("\n%-44s %12s %12s %8s\n", "benchmark (vnxml vs peer)", "vnxml MB/s", "peer MB/s",
                "ratio");
    for (const auto &[name, bps] : Results) {
      std::size_t at = name.find("/vnxml");
      if (at == std::string::npos) continue;
      std::string family = name.substr(0, at);
      std::string rest = name.substr(at + 6);
      for (const auto &[peer, pbps] : Results) {
        if (peer == name || peer.rfind(family + "/", 0) != 0) continue;
        if (peer.find("/vnxml") != std::string::npos) continue;
        if (peer.size() < rest.size() || peer.compare(peer.size() - rest.size(), rest.size(), rest))
          continue;
        std::printf("%-44s %12.1f %12.1f %8.2f  (%s)\n", name.c_str(), bps / 1e6, pbps / 1e6,
                    bps / pbps, peer.c_str());
      }
    }
  }
  std::map<std::string, double> Results;
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
