// Escaping and decoding of text against a plain copy of the same text.
#include <cstring>
#include <random>

#include "bench_util.h"
#include "vnxml/xml/uVnXMLUtils.h"

using namespace vn;

namespace {

constexpr std::size_t cChars = 32u << 20;  // 64 MiB of UTF-16

// Text with no special character, or with about 5% of them.
const UnicodeString &PlainText(bool ASpecials) {
  static UnicodeString texts[2];
  UnicodeString &t = texts[ASpecials];
  if (t.empty()) {
    std::mt19937 rng(42);
    t.resize(cChars);
    const char16_t specials[] = u"<>&'\"\n";
    for (std::size_t i = 0; i < cChars; ++i) {
      const unsigned r = rng();
      if (ASpecials && r % 100 < 5)
        t[i] = specials[r / 100 % 6];
      else
        t[i] = static_cast<char16_t>(r % 7 == 0 ? u' ' : u'a' + r % 26);
    }
  }
  return t;
}

// The escaped form of the same text, to decode.
const UnicodeString &EscapedText(bool ASpecials) {
  static UnicodeString texts[2];
  UnicodeString &t = texts[ASpecials];
  if (t.empty()) t = VnStrToXML(PlainText(ASpecials), true, true);
  return t;
}

void Copy(benchmark::State &AState, const UnicodeString &AText) {
  for (auto _ : AState) {
    UnicodeString c(AText.size(), u'\0');
    std::memcpy(c.data(), AText.data(), AText.size() * 2);
    benchmark::DoNotOptimize(c.data());
  }
  AState.SetBytesProcessed(static_cast<int64_t>(AState.iterations() * AText.size() * 2));
}

void Escape(benchmark::State &AState, bool ASpecials) {
  const UnicodeString &t = PlainText(ASpecials);
  for (auto _ : AState) benchmark::DoNotOptimize(VnStrToXML(t, true, true).data());
  AState.SetBytesProcessed(static_cast<int64_t>(AState.iterations() * t.size() * 2));
}

void Decode(benchmark::State &AState, bool ASpecials) {
  const UnicodeString &t = EscapedText(ASpecials);
  for (auto _ : AState) benchmark::DoNotOptimize(VnXMLToStr(t).data());
  AState.SetBytesProcessed(static_cast<int64_t>(AState.iterations() * t.size() * 2));
}

}  // namespace

BENCHMARK_CAPTURE(Escape, plain, false)
    ->Name("VnStrToXML/plain/vnxml")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Copy, plain, PlainText(false))
    ->Name("VnStrToXML/plain/copy")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Escape, specials, true)
    ->Name("VnStrToXML/5pct/vnxml")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Copy, specials, PlainText(true))
    ->Name("VnStrToXML/5pct/copy")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Decode, plain, false)
    ->Name("VnXMLToStr/plain/vnxml")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Copy, plain, EscapedText(false))
    ->Name("VnXMLToStr/plain/copy")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Decode, specials, true)
    ->Name("VnXMLToStr/5pct/vnxml")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Copy, specials, EscapedText(true))
    ->Name("VnXMLToStr/5pct/copy")
    ->Unit(benchmark::kMillisecond);

VNBENCH_MAIN()
