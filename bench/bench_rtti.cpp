// Member access through the reflection table against direct member access, and the registry's
// lookup by type handle against a hash map keyed by type.
//
// Each iteration is one access; the reported "bytes" are accesses, so the MB/s columns read as
// millions of accesses per second and the ratio is table speed over direct speed.
#include <typeindex>
#include <unordered_map>

#include "bench_util.h"
#include "vnxml/common/uVnTypes.h"
#include "vnxml/rtl/Classes.h"
#include "vnxml/rtl/Rtti.h"

using namespace vn;

namespace bench {

class TRow : public TPersistent {
  VN_CLASS(TRow, TPersistent)
 public:
  Integer Id = 0;
  UnicodeString Name = u"short";
  Integer GetId() const { return Id; }
  void SetId(Integer AValue) { Id = AValue; }
};
VN_RTTI(TRow, u"bench") {
  R.Field(u"Id", &TRow::Id);
  R.Field(u"Name", &TRow::Name);
  R.Property(u"IdProp", &TRow::GetId, &TRow::SetId);
}

// Keeps the compiler from seeing through the object.
TRow *Row() {
  static TRow *r = New<TRow>();
  benchmark::DoNotOptimize(r);
  return r;
}

void Count(benchmark::State &AState) {
  AState.SetBytesProcessed(static_cast<int64_t>(AState.iterations()));
}

}  // namespace bench

using namespace bench;

static void IntegerRead_vnxml(benchmark::State &state) {
  TRow *row = Row();
  TRttiField *f = TypeInfo<TRow>()->RttiType()->GetField(u"Id");
  for (auto _ : state) {
    Integer v = f->GetValue(row).AsInteger();
    benchmark::DoNotOptimize(v);
  }
  Count(state);
}
static void IntegerRead_direct(benchmark::State &state) {
  TRow *row = Row();
  for (auto _ : state) {
    benchmark::DoNotOptimize(row);
    Integer v = row->Id;
    benchmark::DoNotOptimize(v);
  }
  Count(state);
}
static void IntegerWrite_vnxml(benchmark::State &state) {
  TRow *row = Row();
  TRttiField *f = TypeInfo<TRow>()->RttiType()->GetField(u"Id");
  Integer i = 0;
  for (auto _ : state) {
    f->SetValue(row, ++i);
    benchmark::ClobberMemory();
  }
  Count(state);
}
static void IntegerWrite_direct(benchmark::State &state) {
  TRow *row = Row();
  Integer i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(row);
    row->Id = ++i;
    benchmark::ClobberMemory();
  }
  Count(state);
}
static void IntegerPropertyRead_vnxml(benchmark::State &state) {
  TRow *row = Row();
  TRttiProperty *p = TypeInfo<TRow>()->RttiType()->GetProperty(u"IdProp");
  for (auto _ : state) {
    Integer v = p->GetValue(row).AsInteger();
    benchmark::DoNotOptimize(v);
  }
  Count(state);
}
static void IntegerPropertyRead_direct(benchmark::State &state) {
  TRow *row = Row();
  for (auto _ : state) {
    benchmark::DoNotOptimize(row);
    Integer v = row->GetId();
    benchmark::DoNotOptimize(v);
  }
  Count(state);
}
static void StringRead_vnxml(benchmark::State &state) {
  TRow *row = Row();
  TRttiField *f = TypeInfo<TRow>()->RttiType()->GetField(u"Name");
  for (auto _ : state) {
    UnicodeString v = f->GetValue(row).AsString();
    benchmark::DoNotOptimize(v);
  }
  Count(state);
}
static void StringRead_direct(benchmark::State &state) {
  TRow *row = Row();
  for (auto _ : state) {
    benchmark::DoNotOptimize(row);
    UnicodeString v = row->Name;
    benchmark::DoNotOptimize(v);
  }
  Count(state);
}
static void StringWrite_vnxml(benchmark::State &state) {
  TRow *row = Row();
  TRttiField *f = TypeInfo<TRow>()->RttiType()->GetField(u"Name");
  const UnicodeString text = u"short";
  for (auto _ : state) {
    f->SetValue(row, text);
    benchmark::ClobberMemory();
  }
  Count(state);
}
static void StringWrite_direct(benchmark::State &state) {
  TRow *row = Row();
  const UnicodeString text = u"short";
  for (auto _ : state) {
    benchmark::DoNotOptimize(row);
    row->Name = text;
    benchmark::ClobberMemory();
  }
  Count(state);
}
static void GetTypeInfo_vnxml(benchmark::State &state) {
  PTypeInfo h = TypeInfo<TRow>();
  for (auto _ : state) {
    benchmark::DoNotOptimize(h);
    const TVnTypeInfo *i = TVnTypes::GetTypeInfo(h);
    benchmark::DoNotOptimize(i);
  }
  Count(state);
}
static void GetTypeInfo_unordered_map(benchmark::State &state) {
  std::unordered_map<std::type_index, const TVnTypeInfo *> map;
  map[typeid(TRow)] = TVnTypes::GetTypeInfo(TypeInfo<TRow>());
  map[typeid(Integer)] = TVnTypes::GetTypeInfo(TypeInfo<Integer>());
  std::type_index key = typeid(TRow);
  for (auto _ : state) {
    benchmark::DoNotOptimize(key);
    const TVnTypeInfo *i = map.find(key)->second;
    benchmark::DoNotOptimize(i);
  }
  Count(state);
}

BENCHMARK(IntegerRead_vnxml)->Name("IntegerRead/vnxml");
BENCHMARK(IntegerRead_direct)->Name("IntegerRead/direct");
BENCHMARK(IntegerWrite_vnxml)->Name("IntegerWrite/vnxml");
BENCHMARK(IntegerWrite_direct)->Name("IntegerWrite/direct");
BENCHMARK(IntegerPropertyRead_vnxml)->Name("IntegerPropertyRead/vnxml");
BENCHMARK(IntegerPropertyRead_direct)->Name("IntegerPropertyRead/direct");
BENCHMARK(StringRead_vnxml)->Name("StringRead/vnxml");
BENCHMARK(StringRead_direct)->Name("StringRead/direct");
BENCHMARK(StringWrite_vnxml)->Name("StringWrite/vnxml");
BENCHMARK(StringWrite_direct)->Name("StringWrite/direct");
BENCHMARK(GetTypeInfo_vnxml)->Name("GetTypeInfo/vnxml");
BENCHMARK(GetTypeInfo_unordered_map)->Name("GetTypeInfo/unordered_map");

VNBENCH_MAIN()
