// JSON path selection against a hand-written walk over the same loaded tree, the floor that any
// path engine stands on. Inputs: twitter, citm_catalog and the generated 50 MB document of
// json_inputs.h, each loaded once.
//
// Families, each "<query>/<input>/<who>", who being "vnxml" (CreateNodeList with the path text,
// the path taken apart on every call) or "hand" (the same selection written against the node
// classes: Objects/ObjectCount, FindMember, GetValueObj, the typed getters):
//   Descent  recursive descent to one member name ("$..screen_name", "$..amount", "$..city");
//   Filter   a filter over every item of the big array ("$.statuses[?(@.retweet_count > 0)]",
//            "$.performances[?(@.venueCode == 'PLEYEL_PLEYEL')]", "$[?(@.age > 50)]");
//   Fixed    a fixed path of several steps below every item ("$.statuses[*].user.screen_name",
//            "$.performances[*].seatCategories[0].areas[0].areaId", "$[*].address.geo.lat");
//   Create   100,000 calls with jsoCreate, each making one member ("$.statuses[17].added523"):
//            1,000 new members in each of 100 items; the members are removed again outside the
//            timing.
// Before timing, each pair is checked to find the same nodes. The nodes a hand walk visits
// (every node it looks at, members included) are the work of both rows: nodes/s is that count
// per second. After the table: each query's vnxml row against its hand row, and the ratio of
// their times (goal: at most 3).
#include <benchmark/benchmark.h>

#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "json_inputs.h"
#include "vnxml/json/uVnJSON.h"
#include "vnxml/rtl/Owned.h"

using namespace vn;

namespace {

enum TInputs { pInTwitter, pInCitm, pInGen, pInCount };
const char *const cPathInputs[pInCount] = {"twitter", "citm_catalog", "gen50MB"};
const int cInputOf[pInCount] = {inTwitter, inCitm, inGen};

TVnJSONDocument *Tree(int AInput) {
  static TVnJSONDocument *trees[pInCount] = {};
  if (!trees[AInput]) {
    const std::string &text = Input(cInputOf[AInput]);
    if (text.empty()) return nullptr;
    TVnJSONDocument *d = New<TVnJSONDocument>();
    d->SetAsJSON(UTF8ToString(text));
    trees[AInput] = d;
  }
  return trees[AInput];
}

// The queries of each input.
struct TQueries {
  const char16_t *DescentPath, *DescentName;
  const char16_t *FilterPath, *FilterArray, *FilterMember;
  bool FilterNumeric;  // "> 0" / "> 50" against a number, or "==" against a string
  double FilterNumber;
  const char16_t *FilterText;
  const char16_t *FixedPath;
  std::vector<std::u16string> FixedSteps;  // below each item; "#0" is item 0 of an array
  const char16_t *CreateArray;             // "" for the root array
};

const TQueries &Queries(int AInput) {
  static const TQueries q[pInCount] = {
      {u"$..screen_name",
       u"screen_name",
       u"$.statuses[?(@.retweet_count > 0)]",
       u"statuses",
       u"retweet_count",
       true,
       0,
       u"",
       u"$.statuses[*].user.screen_name",
       {u"user", u"screen_name"},
       u"statuses"},
      {u"$..amount",
       u"amount",
       u"$.performances[?(@.venueCode == 'PLEYEL_PLEYEL')]",
       u"performances",
       u"venueCode",
       false,
       0,
       u"PLEYEL_PLEYEL",
       u"$.performances[*].seatCategories[0].areas[0].areaId",
       {u"seatCategories", u"#0", u"areas", u"#0", u"areaId"},
       u"performances"},
      {u"$..city",
       u"city",
       u"$[?(@.age > 50)]",
       u"",
       u"age",
       true,
       50,
       u"",
       u"$[*].address.geo.lat",
       {u"address", u"geo", u"lat"},
       u""},
  };
  return q[AInput];
}

// ---------------------------------------------------------------------------------------------
// The hand-written walks

bool IsContainer(TVnJSONBase *N) {
  return N->JSONType() == jdtObject || N->JSONType() == jdtArray;
}

TVnJSONBase *ValueOf(TVnJSONBase *ANode, UnicodeStringView AName, std::size_t &AVisited) {
  if (ANode->JSONType() != jdtObject) return nullptr;
  for (Integer i = 0; i < ANode->ObjectCount(); ++i) {
    ++AVisited;
    auto *m = static_cast<TVnJSONMember *>(ANode->Objects(i));
    if (m->NameIs(AName, false)) return m->GetValueObj();
  }
  return nullptr;
}

TVnJSONBase *BigArray(TVnJSONDocument *ADoc, const char16_t *AName) {
  std::size_t visited = 0;
  TVnJSONBase *root = ADoc->GetRootValue();
  return *AName ? ValueOf(root, AName, visited) : root;
}

void HandDescent(TVnJSONDocument *ADoc, UnicodeStringView AName, std::vector<TVnJSONBase *> &AOut,
                 std::size_t &AVisited) {
  std::vector<TVnJSONBase *> stack{ADoc->GetRootValue()};
  while (!stack.empty()) {
    TVnJSONBase *n = stack.back();
    stack.pop_back();
    ++AVisited;
    const bool object = n->JSONType() == jdtObject;
    // Own matches first, then the children in order.
    if (object)
      for (Integer i = 0; i < n->ObjectCount(); ++i) {
        auto *m = static_cast<TVnJSONMember *>(n->Objects(i));
        if (m->NameIs(AName, false)) AOut.push_back(m->GetValueObj());
      }
    for (Integer i = n->ObjectCount() - 1; i >= 0; --i) {
      TVnJSONBase *c = n->Objects(i);
      if (object) {
        ++AVisited;
        c = c->GetValueObj();
      }
      if (IsContainer(c))
        stack.push_back(c);
      else
        ++AVisited;
    }
  }
}

void HandFilter(TVnJSONDocument *ADoc, const TQueries &AQ, std::vector<TVnJSONBase *> &AOut,
                std::size_t &AVisited) {
  TVnJSONBase *a = BigArray(ADoc, AQ.FilterArray);
  for (Integer i = 0; i < a->ObjectCount(); ++i) {
    TVnJSONBase *item = a->Objects(i);
    ++AVisited;
    TVnJSONBase *v = ValueOf(item, AQ.FilterMember, AVisited);
    if (!v) continue;
    if (AQ.FilterNumeric ? v->GetAsDouble() > AQ.FilterNumber : v->GetAsString() == AQ.FilterText)
      AOut.push_back(item);
  }
}

void HandFixed(TVnJSONDocument *ADoc, const TQueries &AQ, std::vector<TVnJSONBase *> &AOut,
               std::size_t &AVisited) {
  TVnJSONBase *a = BigArray(ADoc, AQ.FilterArray);
  for (Integer i = 0; i < a->ObjectCount(); ++i) {
    TVnJSONBase *n = a->Objects(i);
    ++AVisited;
    for (const std::u16string &step : AQ.FixedSteps) {
      if (!n) break;
      if (step == u"#0") {
        n = n->JSONType() == jdtArray && n->ObjectCount() > 0 ? n->Objects(0) : nullptr;
        ++AVisited;
      } else {
        n = ValueOf(n, step, AVisited);
      }
    }
    if (n) AOut.push_back(n);
  }
}

// ---------------------------------------------------------------------------------------------
// Benchmarks

constexpr int cCreateItems = 100;
constexpr int cCreatePerItem = 1000;

bool Skip(benchmark::State &AState, TVnJSONDocument *ADoc) {
  if (ADoc) return false;
  AState.SkipWithError("input missing");
  return true;
}

// Runs the vnxml path and the hand walk once each and checks that they find the same nodes;
// gives the hand walk's visits.
template <class F>
std::size_t Check(benchmark::State &AState, TVnJSONDocument *ADoc, const char16_t *APath, F AHand) {
  std::vector<TVnJSONBase *> hand;
  std::size_t visited = 0;
  AHand(hand, visited);
  Owned<TVnJSONArray> list(ADoc->CreateNodeList(APath, {}));
  bool same = static_cast<std::size_t>(list->Count()) == hand.size();
  for (std::size_t i = 0; same && i < hand.size(); ++i)
    same = list->Item(static_cast<Integer>(i)) == hand[i];
  if (!same || hand.empty()) {
    AState.SkipWithError("vnxml and the hand walk differ");
    return 0;
  }
  AState.counters["found"] = static_cast<double>(hand.size());
  return visited;
}

template <class F>
void RunPair(benchmark::State &AState, int AInput, const char16_t *APath, bool AHand, F AWalk) {
  TVnJSONDocument *doc = Tree(AInput);
  if (Skip(AState, doc)) return;
  const std::size_t visits = Check(AState, doc, APath, AWalk);
  if (!visits) return;
  std::vector<TVnJSONBase *> out;
  for (auto _ : AState) {
    if (AHand) {
      out.clear();
      std::size_t v = 0;
      AWalk(out, v);
      benchmark::DoNotOptimize(out.data());
    } else {
      Owned<TVnJSONArray> list(doc->CreateNodeList(APath, {}));
      benchmark::DoNotOptimize(list.get());
    }
  }
  AState.SetItemsProcessed(static_cast<int64_t>(AState.iterations() * visits));
}

void Descent(benchmark::State &AState, int AInput, bool AHand) {
  const TQueries &q = Queries(AInput);
  TVnJSONDocument *doc = Tree(AInput);
  RunPair(AState, AInput, q.DescentPath, AHand, [&](std::vector<TVnJSONBase *> &O, std::size_t &V) {
    HandDescent(doc, q.DescentName, O, V);
  });
}

void Filter(benchmark::State &AState, int AInput, bool AHand) {
  const TQueries &q = Queries(AInput);
  TVnJSONDocument *doc = Tree(AInput);
  RunPair(AState, AInput, q.FilterPath, AHand,
          [&](std::vector<TVnJSONBase *> &O, std::size_t &V) { HandFilter(doc, q, O, V); });
}

void Fixed(benchmark::State &AState, int AInput, bool AHand) {
  const TQueries &q = Queries(AInput);
  TVnJSONDocument *doc = Tree(AInput);
  RunPair(AState, AInput, q.FixedPath, AHand,
          [&](std::vector<TVnJSONBase *> &O, std::size_t &V) { HandFixed(doc, q, O, V); });
}

void Create(benchmark::State &AState, int AInput, bool AHand) {
  TVnJSONDocument *doc = Tree(AInput);
  if (Skip(AState, doc)) return;
  const TQueries &q = Queries(AInput);
  TVnJSONBase *array = BigArray(doc, q.CreateArray);
  std::vector<UnicodeString> paths, names;
  paths.reserve(cCreateItems * cCreatePerItem);
  names.reserve(cCreatePerItem);
  const UnicodeString head =
      *q.CreateArray ? UnicodeString(u"$.") + q.CreateArray + u"[" : UnicodeString(u"$[");
  for (int k = 0; k < cCreatePerItem; ++k) names.push_back(u"added" + IntToStr(k));
  for (int j = 0; j < cCreateItems; ++j)
    for (int k = 0; k < cCreatePerItem; ++k)
      paths.push_back(head + IntToStr(j) + u"]." + names[static_cast<std::size_t>(k)]);
  // The items keep their own members before the new ones; those go again after each pass.
  std::vector<Integer> before(cCreateItems);
  for (int j = 0; j < cCreateItems; ++j) before[j] = array->Objects(j)->ObjectCount();
  auto removeNew = [&] {
    for (int j = 0; j < cCreateItems; ++j) {
      TVnJSONBase *item = array->Objects(j);
      while (item->ObjectCount() > before[j]) item->DeleteMember(item->ObjectCount() - 1);
    }
  };
  std::size_t visits = 0;
  for (auto _ : AState) {
    visits = 0;
    if (AHand) {
      for (int j = 0; j < cCreateItems; ++j) {
        TVnJSONBase *item = array->Item(j);
        for (int k = 0; k < cCreatePerItem; ++k) {
          const UnicodeString &name = names[static_cast<std::size_t>(k)];
          visits += static_cast<std::size_t>(item->ObjectCount()) + 1;
          if (!item->FindMember(name)) item->AddMember(name, jdtNull);
        }
      }
    } else {
      for (const UnicodeString &p : paths) {
        Owned<TVnJSONArray> list(doc->CreateNodeList(p, {jsoCreate}));
        benchmark::DoNotOptimize(list.get());
      }
    }
    AState.PauseTiming();
    if (array->Objects(cCreateItems - 1)->ObjectCount() !=
        before[cCreateItems - 1] + cCreatePerItem)
      AState.SkipWithError("the creations did not happen");
    removeNew();
    AState.ResumeTiming();
  }
  // Both rows count the hand walk's visits: the members each lookup passes, and the new one.
  if (!visits)
    for (int j = 0; j < cCreateItems; ++j)
      visits += static_cast<std::size_t>(cCreatePerItem) * before[j] +
                static_cast<std::size_t>(cCreatePerItem) * (cCreatePerItem + 1) / 2;
  AState.SetItemsProcessed(static_cast<int64_t>(AState.iterations() * visits));
}

using TPairFunc = void (*)(benchmark::State &, int, bool);

void Register(const char *AQuery, TPairFunc AFunc) {
  for (int i = 0; i < pInCount; ++i)
    for (bool hand : {false, true}) {
      const std::string name =
          std::string(AQuery) + "/" + cPathInputs[i] + "/" + (hand ? "hand" : "vnxml");
      benchmark::RegisterBenchmark(name.c_str(), AFunc, i, hand)->Unit(benchmark::kMillisecond);
    }
}

// After the table: each vnxml row against its hand row.
class TPathReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run> &runs) override {
    ConsoleReporter::ReportRuns(runs);
    for (const Run &r : runs) {
      if (r.run_type != Run::RT_Iteration || r.error_occurred) continue;
      auto it = r.counters.find("items_per_second");
      if (it != r.counters.end()) Rates[r.benchmark_name()] = it->second.value;
    }
  }
  void Print() const {
    std::printf("\n%-36s %14s %14s %10s\n", "query/input", "vnxml Mnode/s", "hand Mnode/s",
                "time ratio");
    for (const auto &[name, rate] : Rates) {
      const std::size_t at = name.rfind("/vnxml");
      if (at == std::string::npos) continue;
      auto hand = Rates.find(name.substr(0, at) + "/hand");
      if (hand == Rates.end()) continue;
      std::printf("%-36s %14.1f %14.1f %10.2f\n", name.substr(0, at).c_str(), rate / 1e6,
                  hand->second / 1e6, hand->second / rate);
    }
  }
  std::map<std::string, double> Rates;
};

}  // namespace

int main(int argc, char **argv) {
  Register("Descent", Descent);
  Register("Filter", Filter);
  Register("Fixed", Fixed);
  Register("Create", Create);
  benchmark::Initialize(&argc, argv);
  TPathReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  reporter.Print();
  benchmark::Shutdown();
  return 0;
}
