// The tree model in its two halves: a tree of one million nodes built and walked through object
// pointers (no interface is ever created) against the same tree built and walked through
// interfaces. Each benchmark reports the time per node and the heap bytes per node.
//
// The ratio table of bench_util reads bytes_per_second: in this program one "byte" is one node,
// so its MB/s column reads as millions of nodes per second.
#include <malloc.h>

#include <cstdio>
#include <vector>

#include "bench_util.h"
#include "vnxml/xml/uVnXMLDOM.h"

using namespace vn;

namespace {

// root -> 1000 groups -> 999 items each: 1,000,001 nodes under the document.
constexpr int cGroups = 1000;
constexpr int cItems = 999;
constexpr Int64 cNodes = 1 + cGroups + Int64(cGroups) * cItems;

class TBenchDocument : public TVnDOMNode {
  VN_CLASS(TBenchDocument, TVnDOMNode)
 public:
  TBenchDocument() {
    FNodeType = ntDocument;
    FName = TVnDOMNameRef(TVnDOMName::Fixed(ntDocument));
    SetDOMDocument(this);
  }
};

class TBenchElement : public TVnDOMNode {
  VN_CLASS(TBenchElement, TVnDOMNode)
 public:
  TBenchElement() { FNodeType = ntElement; }
};

std::size_t HeapInUse() {
  return mallinfo2().uordblks;
}

TVnDOMNode *NewElement(const UnicodeString &AName) {
  TVnDOMNode *e = New<TBenchElement>();
  e->SetQualifiedName(AName);
  return e;
}

TVnDOMNode *BuildThroughObjects() {
  TVnDOMNode *doc = New<TBenchDocument>();
  TVnDOMNode *root = doc->AppendChild(NewElement(u"root"));
  for (int g = 0; g < cGroups; ++g) {
    TVnDOMNode *group = root->AppendChild(NewElement(u"group"));
    for (int i = 0; i < cItems; ++i) group->AppendChild(NewElement(u"item"));
  }
  return doc;
}

DelphiInterface<IVnDOMNode> BuildThroughInterfaces() {
  DelphiInterface<IVnDOMNode> doc = VnDOMIntf<IVnDOMNode>(New<TBenchDocument>());
  DelphiInterface<IVnDOMNode> root = doc->AppendChild(VnDOMIntf<IVnDOMNode>(New<TBenchElement>()));
  root->SetQualifiedName(u"root");
  for (int g = 0; g < cGroups; ++g) {
    DelphiInterface<IVnDOMNode> group =
        root->AppendChild(VnDOMIntf<IVnDOMNode>(New<TBenchElement>()));
    group->SetQualifiedName(u"group");
    for (int i = 0; i < cItems; ++i) {
      DelphiInterface<IVnDOMNode> item =
          group->AppendChild(VnDOMIntf<IVnDOMNode>(New<TBenchElement>()));
      item->SetQualifiedName(u"item");
    }
  }
  return doc;
}

void WalkObjects(TVnDOMNode *ANode, Int64 &ACount, Int64 &AChars) {
  ++ACount;
  AChars += static_cast<Int64>(ANode->GetLocalName().size());
  for (TVnDOMNode *c : ANode->Children()) WalkObjects(c, ACount, AChars);
}

void WalkInterfaces(IVnDOMNode *ANode, Int64 &ACount, Int64 &AChars) {
  ++ACount;
  AChars += static_cast<Int64>(ANode->GetLocalName().size());
  if (!ANode->HasChilds()) return;
  DelphiInterface<IVnDOMNodeList> children = ANode->GetChildNodes();
  const Integer n = children->Count();
  for (Integer i = 0; i < n; ++i) WalkInterfaces(children->GetItem(i), ACount, AChars);
}

void SetCounters(benchmark::State &AState, double ABytesPerNode) {
  AState.SetBytesProcessed(static_cast<int64_t>(AState.iterations()) * (cNodes + 1));
  AState.counters["time/node"] = benchmark::Counter(
      static_cast<double>(cNodes + 1),
      benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
  AState.counters["bytes/node"] = ABytesPerNode;
}

void BuildVnxml(benchmark::State &AState) {
  double bytes = 0;
  for (auto _ : AState) {
    const std::size_t before = HeapInUse();
    TVnDOMNode *doc = BuildThroughObjects();
    AState.PauseTiming();
    bytes = double(HeapInUse() - before) / double(cNodes + 1);
    if (doc->GetDOMImpl()) AState.SkipWithError("an interface was created");
    doc->Free();
    AState.ResumeTiming();
  }
  SetCounters(AState, bytes);
  AState.counters["object bytes"] = sizeof(TBenchElement);
  AState.counters["list bytes"] = sizeof(TVnDOMNodeList);
}

void BuildInterfaces(benchmark::State &AState) {
  double bytes = 0;
  for (auto _ : AState) {
    const std::size_t before = HeapInUse();
    DelphiInterface<IVnDOMNode> doc = BuildThroughInterfaces();
    AState.PauseTiming();
    bytes = double(HeapInUse() - before) / double(cNodes + 1);
    doc = nullptr;
    AState.ResumeTiming();
  }
  SetCounters(AState, bytes);
  AState.counters["Impl bytes"] = sizeof(TVnDOMNodeImpl);
}

void WalkVnxml(benchmark::State &AState) {
  const std::size_t before = HeapInUse();
  TVnDOMNode *doc = BuildThroughObjects();
  const double bytes = double(HeapInUse() - before) / double(cNodes + 1);
  for (auto _ : AState) {
    Int64 count = 0, chars = 0;
    WalkObjects(doc, count, chars);
    if (count != cNodes + 1) AState.SkipWithError("wrong node count");
    benchmark::DoNotOptimize(chars);
  }
  if (doc->GetDOMImpl()) AState.SkipWithError("an interface was created");
  doc->Free();
  SetCounters(AState, bytes);
}

void WalkInterfaces(benchmark::State &AState) {
  const std::size_t start = HeapInUse();
  DelphiInterface<IVnDOMNode> doc = BuildThroughInterfaces();
  const double bytes = double(HeapInUse() - start) / double(cNodes + 1);
  double held = 0;
  for (auto _ : AState) {
    Int64 count = 0, chars = 0;
    WalkInterfaces(doc, count, chars);
    if (count != cNodes + 1) AState.SkipWithError("wrong node count");
    benchmark::DoNotOptimize(chars);
  }
  // The extra heap per node while an interface is held on every item: its Impl half.
  {
    const std::size_t before = HeapInUse();
    std::vector<DelphiInterface<IVnDOMNode>> items;
    items.reserve(static_cast<std::size_t>(cNodes));
    DelphiInterface<IVnDOMNodeList> groups = doc->GetChildNodes()->First()->GetChildNodes();
    for (Integer g = 0; g < groups->Count(); ++g) {
      DelphiInterface<IVnDOMNodeList> list = groups->GetItem(g)->GetChildNodes();
      for (Integer i = 0; i < list->Count(); ++i) items.push_back(list->GetItem(i));
    }
    held =
        double(HeapInUse() - before - items.capacity() * sizeof(items[0])) / double(items.size());
  }
  doc = nullptr;
  SetCounters(AState, bytes);
  AState.counters["held Impl bytes"] = held;
}

}  // namespace

BENCHMARK(BuildVnxml)->Name("dom_build/vnxml")->Unit(benchmark::kMillisecond)->Iterations(3);
BENCHMARK(BuildInterfaces)
    ->Name("dom_build/interfaces")
    ->Unit(benchmark::kMillisecond)
    ->Iterations(3);
BENCHMARK(WalkVnxml)->Name("dom_walk/vnxml")->Unit(benchmark::kMillisecond);
BENCHMARK(WalkInterfaces)->Name("dom_walk/interfaces")->Unit(benchmark::kMillisecond);

VNBENCH_MAIN()
