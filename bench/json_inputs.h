// The inputs of the JSON benchmarks: the usual corpus (twitter, citm_catalog, canada), read from
// the directory named by VNXML_BENCH_JSON_DIR (by default shared/data/json beside the source
// tree), and a generated API-like document of about 50 MB (gen50MB): an array of records with
// text (escapes, \\u sequences, raw non-ASCII), integers, floats, booleans, nulls and nested
// arrays and objects. Trailing white space is cut from every input: the library's reader does not
// skip white space behind a top-level object or array.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace {

inline std::string DataDir() {
  if (const char *d = std::getenv("VNXML_BENCH_JSON_DIR")) return d;
  return VNBENCH_JSON_DIR;
}

inline void TrimTail(std::string &AText) {
  while (!AText.empty() && static_cast<unsigned char>(AText.back()) <= 0x20) AText.pop_back();
}

inline std::string ReadCorpus(const char *AName) {
  std::ifstream in(DataDir() + "/" + AName, std::ios::binary);
  std::stringstream ss;
  ss << in.rdbuf();
  std::string s = ss.str();
  TrimTail(s);
  return s;
}

// A small generator of its own, so that the document is the same on every machine.
struct TRandom {
  unsigned long long State;
  unsigned Next() {
    State = State * 6364136223846793005ull + 1442695040888963407ull;
    return static_cast<unsigned>(State >> 33);
  }
  unsigned Below(unsigned AEnd) { return Next() % AEnd; }
};

inline void AppendFixed(std::string &AOut, double AValue, int ADigits) {
  char b[64];
  std::snprintf(b, sizeof b, "%.*f", ADigits, AValue);
  AOut += b;
}

inline std::string Generate(std::size_t ABytes) {
  static const char *const first[] = {"Anna",    "Björn", "Chloé", "Dmitri", "Eva",   "François",
                                      "Günther", "Hana",  "Ines",  "José",   "Kenji", "Łukasz",
                                      "María",   "Nils",  "Olga",  "Zoë"};
  static const char *const last[] = {"Müller",   "O'Brien",  "Søndergaard", "Smith", "García",
                                     "Nakamura", "Kowalski", "Dubois",      "Rossi", "Andersson"};
  static const char *const cities[] = {"Zürich",   "São Paulo", "東京",   "Kraków",   "Reykjavík",
                                       "New York", "Αθήνα",     "Москва", "Montréal", "Oslo"};
  static const char *const words[] = {"lorem",
                                      "ipsum",
                                      "dolor",
                                      "sit",
                                      "amet",
                                      "consectetur",
                                      "adipiscing",
                                      "elit",
                                      "sed",
                                      "do",
                                      "café",
                                      "naïve",
                                      "über",
                                      "straße",
                                      "日本語",
                                      "😀",
                                      "\\\"quoted\\\"",
                                      "a\\/b",
                                      "tab\\there",
                                      "50%",
                                      "\\u00e9t\\u00e9",
                                      "\\u4e2d\\u6587",
                                      "back\\\\slash",
                                      "line\\nbreak",
                                      "\\ud83d\\ude00",
                                      "x"};
  static const char *const tags[] = {"new",      "sale",     "vip", "beta", "légende",
                                     "archived", "priority", "eu",  "us",   "asia"};
  constexpr unsigned nWords = sizeof words / sizeof *words;

  TRandom r{20240601};
  std::string s;
  s.reserve(ABytes + (1u << 16));
  s += "[\n";
  for (unsigned long long id = 1; s.size() < ABytes; ++id) {
    if (id > 1) s += ",\n";
    s += "{\"id\":" + std::to_string(id);
    s += ",\"guid\":\"";
    char g[48];
    std::snprintf(g, sizeof g, "%08x-%04x-%04x-%04x-%08x%04x", r.Next(), r.Below(65536),
                  r.Below(65536), r.Below(65536), r.Next(), r.Below(65536));
    s += g;
    s += "\",\"active\":";
    s += r.Below(2) ? "true" : "false";
    s += ",\"balance\":";
    AppendFixed(s, (static_cast<double>(r.Below(10000000)) - 2000000) / 100, 2);
    s += ",\"age\":" + std::to_string(18 + r.Below(70));
    s += ",\"name\":\"";
    s += first[r.Below(16)];
    s += ' ';
    s += last[r.Below(10)];
    s += "\",\"email\":\"user" + std::to_string(id) + "@example.com\"";
    s += ",\"phone\":\"+1 (555) " + std::to_string(100 + r.Below(900)) + "-" +
         std::to_string(1000 + r.Below(9000)) + "\"";
    s += ",\"address\":{\"street\":\"" + std::to_string(1 + r.Below(999)) + " Main St.\"";
    s += ",\"city\":\"";
    s += cities[r.Below(10)];
    s += "\",\"zip\":\"" + std::to_string(10000 + r.Below(90000)) + "\",\"geo\":{\"lat\":";
    AppendFixed(s, static_cast<double>(r.Below(180000000)) / 1e6 - 90, 6);
    s += ",\"lng\":";
    AppendFixed(s, static_cast<double>(r.Below(360000000)) / 1e6 - 180, 6);
    s += "}},\"about\":\"";
    for (unsigned w = 0, n = 8 + r.Below(24); w < n; ++w) {
      if (w) s += ' ';
      s += words[r.Below(nWords)];
    }
    s += "\",\"registered\":\"20" + std::to_string(10 + r.Below(15)) + "-0" +
         std::to_string(1 + r.Below(9)) + "-1" + std::to_string(r.Below(10)) +
         "T08:" + std::to_string(10 + r.Below(50)) + ":00Z\"";
    s += ",\"tags\":[";
    for (unsigned t = 0, n = r.Below(6); t < n; ++t) {
      if (t) s += ',';
      s += '"';
      s += tags[r.Below(10)];
      s += '"';
    }
    s += "],\"friends\":[";
    for (unsigned f = 0, n = r.Below(4); f < n; ++f) {
      if (f) s += ',';
      s += "{\"id\":" + std::to_string(r.Below(1000000)) + ",\"name\":\"";
      s += first[r.Below(16)];
      s += "\",\"score\":";
      AppendFixed(s, static_cast<double>(r.Below(100000)) / 1000, 3);
      s += '}';
    }
    s += "],\"metrics\":{\"views\":" + std::to_string(1000000000000ull + r.Next());
    s += ",\"ratio\":" + std::to_string(r.Below(1000)) + "e-3";
    s += ",\"history\":[";
    for (unsigned h = 0, n = 2 + r.Below(6); h < n; ++h) {
      if (h) s += ',';
      s += std::to_string(static_cast<int>(r.Below(2000)) - 1000);
    }
    s += "],\"flags\":[true,false,null]},\"parent\":";
    if (r.Below(3))
      s += "null";
    else
      s += std::to_string(r.Below(static_cast<unsigned>(id)) + 1);
    s += ",\"rating\":";
    AppendFixed(s, 1 + static_cast<double>(r.Below(41)) / 10, 1);
    s += '}';
  }
  s += "\n]";
  return s;
}

enum TInput { inTwitter, inCitm, inCanada, inGen, inCount };
const char *const cInputNames[inCount] = {"twitter", "citm_catalog", "canada", "gen50MB"};

inline const std::string &Input(int AIndex) {
  static std::string texts[inCount];
  static bool made[inCount] = {};
  if (!made[AIndex]) {
    made[AIndex] = true;
    switch (AIndex) {
      case inTwitter:
        texts[AIndex] = ReadCorpus("twitter.json");
        break;
      case inCitm:
        texts[AIndex] = ReadCorpus("citm_catalog.json");
        break;
      case inCanada:
        texts[AIndex] = ReadCorpus("canada.json");
        break;
      default:
        texts[AIndex] = Generate(50u << 20);
        break;
    }
  }
  return texts[AIndex];
}

}  // namespace
