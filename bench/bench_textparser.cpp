// The text source's inner loops against plain memchr and copy loops over the same bytes.
#include <sys/resource.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "bench_util.h"
#include "vnxml/common/uVnClasses.h"

using namespace vn;

namespace {

constexpr std::size_t cBytes = 64u << 20;

// 64 MiB of text in the given width with the only "<" at the very end.
const std::string &Buffer(TVnCharacterSetType AWidth) {
  static std::string buffers[3];
  std::string &b = buffers[AWidth];
  if (b.empty()) {
    if (AWidth == cstW) {
      UnicodeString u(cBytes / 2, u'a');
      for (std::size_t i = 0; i < u.size(); i += 61) u[i] = u' ';
      u.back() = u'<';
      b.assign(reinterpret_cast<const char *>(u.data()), cBytes);
    } else {
      b.assign(cBytes, 'a');
      for (std::size_t i = 0; i < b.size(); i += 61) b[i] = ' ';
      b.back() = '<';
    }
  }
  return b;
}

Word Page(TVnCharacterSetType AWidth) {
  return AWidth == cstW ? CP_UTF16 : AWidth == cstU ? CP_UTF8 : CP_LATIN1;
}

void SkipVnxml(benchmark::State &AState, TVnCharacterSetType AWidth) {
  const std::string &b = Buffer(AWidth);
  TVnTextParser *p = New<TVnTextParser>(b.data(), b.size(), Page(AWidth));
  for (auto _ : AState) {
    p->First();
    p->SkipWhile(soNotEqual, u'<');
    benchmark::DoNotOptimize(p->GetCurPos());
  }
  if (p->CurrCharW() != u'<') AState.SkipWithError("did not find the target");
  p->Free();
  AState.SetBytesProcessed(static_cast<int64_t>(AState.iterations()) * cBytes);
}

void SkipMemchr(benchmark::State &AState, TVnCharacterSetType AWidth) {
  const std::string &b = Buffer(AWidth);
  for (auto _ : AState) benchmark::DoNotOptimize(std::memchr(b.data(), '<', b.size()));
  AState.SetBytesProcessed(static_cast<int64_t>(AState.iterations()) * cBytes);
}

void SelectedVnxml(benchmark::State &AState, TVnCharacterSetType AWidth) {
  const std::string &b = Buffer(AWidth);
  TVnTextParser *p = New<TVnTextParser>(b.data(), b.size(), Page(AWidth));
  p->SkipWhile(soNotEqual, u'<');
  for (auto _ : AState) {
    p->First();
    p->SetMark(tpMark1);
    p->SkipWhile(soNotEqual, u'<');
    UnicodeString s = p->Selected(tpMark1, tpCurrent, true);
    benchmark::DoNotOptimize(s.data());
  }
  p->Free();
  AState.SetBytesProcessed(static_cast<int64_t>(AState.iterations()) * cBytes);
}

void SelectedCopy(benchmark::State &AState, TVnCharacterSetType AWidth) {
  const std::string &b = Buffer(AWidth);
  for (auto _ : AState) {
    UnicodeString s;
    if (AWidth == cstW) {
      s.resize(b.size() / 2 - 1);
      std::memcpy(s.data(), b.data(), s.size() * 2);
    } else {
      s.resize(b.size() - 1);
      const unsigned char *src = reinterpret_cast<const unsigned char *>(b.data());
      for (std::size_t i = 0; i < s.size(); ++i) s[i] = src[i];
    }
    benchmark::DoNotOptimize(s.data());
  }
  AState.SetBytesProcessed(static_cast<int64_t>(AState.iterations()) * cBytes);
}

long MaxRssKiB() {
  rusage u{};
  getrusage(RUSAGE_SELF, &u);
  return u.ru_maxrss;
}

// Reads a 200 MB file from start to end with no mark set: the parser's buffer stays one block.
void StreamBounded(benchmark::State &AState) {
  const char *name = "/tmp/vnxml_bench_200mb.txt";
  const std::size_t size = 200u << 20;
  {
    std::FILE *f = std::fopen(name, "wb");
    std::string line(1023, 'x');
    line += '\n';
    for (std::size_t n = 0; n < size; n += line.size()) std::fwrite(line.data(), 1, line.size(), f);
    std::fclose(f);
  }
  long before = MaxRssKiB();
  Int64 cap = 0;
  for (auto _ : AState) {
    TVnTextParser *p = New<TVnTextParser>(
        New<TFileStream>(u"/tmp/vnxml_bench_200mb.txt", fmOpenRead), true, CP_UTF8);
    Integer lines = 0;
    while (!p->Eof()) {
      p->SkipWhile(soNotEqual, cVnLF);
      if (!p->Eof()) p->NextChar();
    }
    lines = p->GetLineNr();
    benchmark::DoNotOptimize(lines);
    cap = p->BufferCapacity();
    p->Free();
  }
  AState.counters["buffer_KiB"] = static_cast<double>(cap) / 1024;
  AState.counters["rss_growth_KiB"] = static_cast<double>(MaxRssKiB() - before);
  AState.SetBytesProcessed(static_cast<int64_t>(AState.iterations()) * size);
  std::remove(name);
}

}  // namespace

BENCHMARK_CAPTURE(SkipVnxml, cstA, cstA)->Name("SkipWhile/cstA/vnxml");
BENCHMARK_CAPTURE(SkipMemchr, cstA, cstA)->Name("SkipWhile/cstA/memchr");
BENCHMARK_CAPTURE(SkipVnxml, cstU, cstU)->Name("SkipWhile/cstU/vnxml");
BENCHMARK_CAPTURE(SkipMemchr, cstU, cstU)->Name("SkipWhile/cstU/memchr");
BENCHMARK_CAPTURE(SkipVnxml, cstW, cstW)->Name("SkipWhile/cstW/vnxml");
BENCHMARK_CAPTURE(SkipMemchr, cstW, cstW)->Name("SkipWhile/cstW/memchr");
BENCHMARK_CAPTURE(SelectedVnxml, cstA, cstA)->Name("Selected/cstA/vnxml");
BENCHMARK_CAPTURE(SelectedCopy, cstA, cstA)->Name("Selected/cstA/copy");
BENCHMARK_CAPTURE(SelectedVnxml, cstU, cstU)->Name("Selected/cstU/vnxml");
BENCHMARK_CAPTURE(SelectedCopy, cstU, cstU)->Name("Selected/cstU/copy");
BENCHMARK_CAPTURE(SelectedVnxml, cstW, cstW)->Name("Selected/cstW/vnxml");
BENCHMARK_CAPTURE(SelectedCopy, cstW, cstW)->Name("Selected/cstW/copy");
BENCHMARK(StreamBounded)
    ->Name("StreamRead200MB/vnxml")
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

VNBENCH_MAIN()
