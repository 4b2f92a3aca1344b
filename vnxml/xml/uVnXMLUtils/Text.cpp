// Escaping of text for XML, and the decoding of character and entity references.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>

#include "vnxml/xml/uVnXMLUtils.h"

namespace vn {

namespace {

// ---------------------------------------------------------------------------------------------
// Escaping

// Writes escaped text into a UnicodeString or appends it to a string stream.
struct TStringSink {
  UnicodeString &Out;
  void Run(const char16_t *AP, std::size_t AN) { Out.append(AP, AN); }
  void Lit(std::u16string_view AText) { Out.append(AText); }
};

struct TStreamSink {
  TVnStringStream *Out;
  void Run(const char16_t *AP, std::size_t AN) { Out->Add(UnicodeStringView(AP, AN)); }
  void Lit(std::u16string_view AText) { Out->Add(AText); }
};

inline bool IsSpecial(char16_t C, bool AApos, bool AQuot) {
  return C < 32 || C == u'<' || C == u'>' || C == u'&' || (AApos && C == u'\'') ||
         (AQuot && C == u'"');
}

// The index of the next character that needs escaping, eight at a time; AN when none.
std::size_t NextSpecial(const char16_t *AP, std::size_t AI, std::size_t AN, bool AApos,
                        bool AQuot) {
  typedef std::uint16_t V8 __attribute__((vector_size(16)));
  typedef std::int16_t M8 __attribute__((vector_size(16)));
  const M8 aposMask = AApos ? M8{-1, -1, -1, -1, -1, -1, -1, -1} : M8{};
  const M8 quotMask = AQuot ? M8{-1, -1, -1, -1, -1, -1, -1, -1} : M8{};
  while (AN - AI >= 8) {
    V8 v;
    std::memcpy(&v, AP + AI, 16);
    // The scalars are of the vector's element type: clang does not take char16_t ones here.
    M8 m = (v < std::uint16_t{32}) | (v == std::uint16_t{u'<'}) | (v == std::uint16_t{u'>'}) |
           (v == std::uint16_t{u'&'}) | ((v == std::uint16_t{u'\''}) & aposMask) |
           ((v == std::uint16_t{u'"'}) & quotMask);
    std::uint64_t lo, hi;
    std::memcpy(&lo, &m, 8);
    std::memcpy(&hi, reinterpret_cast<const char *>(&m) + 8, 8);
    if (lo | hi) break;
    AI += 8;
  }
  while (AI < AN && !IsSpecial(AP[AI], AApos, AQuot)) ++AI;
  return AI;
}

void AppendCharRef(UnicodeString &AOut, unsigned ACode) {
  AOut += u"&#";
  if (ACode >= 10) AOut.push_back(static_cast<char16_t>(u'0' + ACode / 10));
  AOut.push_back(static_cast<char16_t>(u'0' + ACode % 10));
  AOut.push_back(u';');
}

template <class Sink>
void Escape(const char16_t *AP, std::size_t AN, bool AApos, bool AQuot, Sink &AOut) {
  std::size_t run = 0;
  std::size_t i = 0;
  UnicodeString ref;
  while (i < AN) {
    i = NextSpecial(AP, i, AN, AApos, AQuot);
    if (i > run) AOut.Run(AP + run, i - run);
    if (i == AN) return;
    const char16_t c = AP[i];
    switch (c) {
      case u'<':
        AOut.Lit(u"&lt;");
        break;
      case u'>':
        AOut.Lit(u"&gt;");
        break;
      case u'&':
        AOut.Lit(u"&amp;");
        break;
      case u'\'':
        AOut.Lit(u"&apos;");
        break;
      case u'"':
        AOut.Lit(u"&quot;");
        break;
      case 0:
        AOut.Run(AP + i, 1);
        break;
      default:
        ref.clear();
        AppendCharRef(ref, c);
        AOut.Lit(ref);
        break;
    }
    run = ++i;
  }
}

// ---------------------------------------------------------------------------------------------
// Named entities: the 252 of HTML 4.01 and "apos", found by a fold of the name into 32 bits.

struct TEntity {
  const char *Name;
  char16_t Code;
};

constexpr TEntity cEntities[] = {
    {"quot", 34},     {"amp", 38},      {"apos", 39},      {"lt", 60},        {"gt", 62},
    {"nbsp", 160},    {"iexcl", 161},   {"cent", 162},     {"pound", 163},    {"curren", 164},
    {"yen", 165},     {"brvbar", 166},  {"sect", 167},     {"uml", 168},      {"copy", 169},
    {"ordf", 170},    {"laquo", 171},   {"not", 172},      {"shy", 173},      {"reg", 174},
    {"macr", 175},    {"deg", 176},     {"plusmn", 177},   {"sup2", 178},     {"sup3", 179},
    {"acute", 180},   {"micro", 181},   {"para", 182},     {"middot", 183},   {"cedil", 184},
    {"sup1", 185},    {"ordm", 186},    {"raquo", 187},    {"frac14", 188},   {"frac12", 189},
    {"frac34", 190},  {"iquest", 191},  {"Agrave", 192},   {"Aacute", 193},   {"Acirc", 194},
    {"Atilde", 195},  {"Auml", 196},    {"Aring", 197},    {"AElig", 198},    {"Ccedil", 199},
    {"Egrave", 200},  {"Eacute", 201},  {"Ecirc", 202},    {"Euml", 203},     {"Igrave", 204},
    {"Iacute", 205},  {"Icirc", 206},   {"Iuml", 207},     {"ETH", 208},      {"Ntilde", 209},
    {"Ograve", 210},  {"Oacute", 211},  {"Ocirc", 212},    {"Otilde", 213},   {"Ouml", 214},
    {"times", 215},   {"Oslash", 216},  {"Ugrave", 217},   {"Uacute", 218},   {"Ucirc", 219},
    {"Uuml", 220},    {"Yacute", 221},  {"THORN", 222},    {"szlig", 223},    {"agrave", 224},
    {"aacute", 225},  {"acirc", 226},   {"atilde", 227},   {"auml", 228},     {"aring", 229},
    {"aelig", 230},   {"ccedil", 231},  {"egrave", 232},   {"eacute", 233},   {"ecirc", 234},
    {"euml", 235},    {"igrave", 236},  {"iacute", 237},   {"icirc", 238},    {"iuml", 239},
    {"eth", 240},     {"ntilde", 241},  {"ograve", 242},   {"oacute", 243},   {"ocirc", 244},
    {"otilde", 245},  {"ouml", 246},    {"divide", 247},   {"oslash", 248},   {"ugrave", 249},
    {"uacute", 250},  {"ucirc", 251},   {"uuml", 252},     {"yacute", 253},   {"thorn", 254},
    {"yuml", 255},    {"OElig", 338},   {"oelig", 339},    {"Scaron", 352},   {"scaron", 353},
    {"Yuml", 376},    {"fnof", 402},    {"circ", 710},     {"tilde", 732},    {"Alpha", 913},
    {"Beta", 914},    {"Gamma", 915},   {"Delta", 916},    {"Epsilon", 917},  {"Zeta", 918},
    {"Eta", 919},     {"Theta", 920},   {"Iota", 921},     {"Kappa", 922},    {"Lambda", 923},
    {"Mu", 924},      {"Nu", 925},      {"Xi", 926},       {"Omicron", 927},  {"Pi", 928},
    {"Rho", 929},     {"Sigma", 931},   {"Tau", 932},      {"Upsilon", 933},  {"Phi", 934},
    {"Chi", 935},     {"Psi", 936},     {"Omega", 937},    {"alpha", 945},    {"beta", 946},
    {"gamma", 947},   {"delta", 948},   {"epsilon", 949},  {"zeta", 950},     {"eta", 951},
    {"theta", 952},   {"iota", 953},    {"kappa", 954},    {"lambda", 955},   {"mu", 956},
    {"nu", 957},      {"xi", 958},      {"omicron", 959},  {"pi", 960},       {"rho", 961},
    {"sigmaf", 962},  {"sigma", 963},   {"tau", 964},      {"upsilon", 965},  {"phi", 966},
    {"chi", 967},     {"psi", 968},     {"omega", 969},    {"thetasym", 977}, {"upsih", 978},
    {"piv", 982},     {"ensp", 8194},   {"emsp", 8195},    {"thinsp", 8201},  {"zwnj", 8204},
    {"zwj", 8205},    {"lrm", 8206},    {"rlm", 8207},     {"ndash", 8211},   {"mdash", 8212},
    {"lsquo", 8216},  {"rsquo", 8217},  {"sbquo", 8218},   {"ldquo", 8220},   {"rdquo", 8221},
    {"bdquo", 8222},  {"dagger", 8224}, {"Dagger", 8225},  {"bull", 8226},    {"hellip", 8230},
    {"permil", 8240}, {"prime", 8242},  {"Prime", 8243},   {"lsaquo", 8249},  {"rsaquo", 8250},
    {"oline", 8254},  {"frasl", 8260},  {"euro", 8364},    {"image", 8465},   {"weierp", 8472},
    {"real", 8476},   {"trade", 8482},  {"alefsym", 8501}, {"larr", 8592},    {"uarr", 8593},
    {"rarr", 8594},   {"darr", 8595},   {"harr", 8596},    {"crarr", 8629},   {"lArr", 8656},
    {"uArr", 8657},   {"rArr", 8658},   {"dArr", 8659},    {"hArr", 8660},    {"forall", 8704},
    {"part", 8706},   {"exist", 8707},  {"empty", 8709},   {"nabla", 8711},   {"isin", 8712},
    {"notin", 8713},  {"ni", 8715},     {"prod", 8719},    {"sum", 8721},     {"minus", 8722},
    {"lowast", 8727}, {"radic", 8730},  {"prop", 8733},    {"infin", 8734},   {"ang", 8736},
    {"and", 8743},    {"or", 8744},     {"cap", 8745},     {"cup", 8746},     {"int", 8747},
    {"there4", 8756}, {"sim", 8764},    {"cong", 8773},    {"asymp", 8776},   {"ne", 8800},
    {"equiv", 8801},  {"le", 8804},     {"ge", 8805},      {"sub", 8834},     {"sup", 8835},
    {"nsub", 8836},   {"sube", 8838},   {"supe", 8839},    {"oplus", 8853},   {"otimes", 8855},
    {"perp", 8869},   {"sdot", 8901},   {"lceil", 8968},   {"rceil", 8969},   {"lfloor", 8970},
    {"rfloor", 8971}, {"lang", 9001},   {"rang", 9002},    {"loz", 9674},     {"spades", 9824},
    {"clubs", 9827},  {"hearts", 9829}, {"diams", 9830},
};

// The name padded to eight with zeros, the low byte of each character, folded pairwise from
// the outside in: (c0+c7) in the top byte down to (c3+c4) in the lowest.
template <class Ch>
std::uint32_t Fold(const Ch *AName, std::size_t ALen) {
  unsigned c[8] = {};
  for (std::size_t k = 0; k < ALen && k < 8; ++k) c[k] = static_cast<unsigned>(AName[k]) & 0xFF;
  return (((c[0] + c[7]) & 0xFF) << 24) | (((c[1] + c[6]) & 0xFF) << 16) |
         (((c[2] + c[5]) & 0xFF) << 8) | ((c[3] + c[4]) & 0xFF);
}

struct TEntityKey {
  std::uint32_t Key;
  char16_t Code;
  bool operator<(const TEntityKey &AOther) const { return Key < AOther.Key; }
};

const std::array<TEntityKey, std::size(cEntities)> &EntityKeys() {
  static const std::array<TEntityKey, std::size(cEntities)> keys = [] {
    std::array<TEntityKey, std::size(cEntities)> k{};
    for (std::size_t i = 0; i < std::size(cEntities); ++i)
      k[i] = {Fold(cEntities[i].Name, std::strlen(cEntities[i].Name)), cEntities[i].Code};
    std::sort(k.begin(), k.end());
    return k;
  }();
  return keys;
}

// The character of a named entity by its fold, or 0.
char16_t LookupEntity(const char16_t *AName, std::size_t ALen) {
  const auto &keys = EntityKeys();
  const TEntityKey probe{Fold(AName, ALen), 0};
  auto it = std::lower_bound(keys.begin(), keys.end(), probe);
  return it != keys.end() && it->Key == probe.Key ? it->Code : 0;
}

// The value of a numeric reference's digits ("#..." without the "#"), read by the strict
// integer conversion: hexadecimal after "x" or "X".
Integer NumericReference(UnicodeStringView ADigits) {
  if (!ADigits.empty() && (ADigits[0] == u'x' || ADigits[0] == u'X')) {
    UnicodeString hex = u"$";
    hex.append(ADigits.substr(1));
    return StrToInt(hex);
  }
  return StrToInt(ADigits);
}

// Scans from behind an "&" at AAmp to a blank, a ";" or the end; returns the stopping index.
template <class Ch>
std::size_t ScanReference(const Ch *AP, std::size_t AAmp, std::size_t AN) {
  std::size_t j = AAmp + 1;
  while (j < AN && AP[j] != Ch(' ') && AP[j] != Ch(';')) ++j;
  return j;
}

}  // namespace

// ---------------------------------------------------------------------------------------------

void VnAppendStrToXML(UnicodeString &ADest, UnicodeStringView AText, bool AEscapeApos,
                      bool AEscapeQuot) {
  TStringSink sink{ADest};
  Escape(AText.data(), AText.size(), AEscapeApos, AEscapeQuot, sink);
}

VnXMLString VnStrToXML(UnicodeStringView AText, bool AEscapeApos, bool AEscapeQuot) {
  UnicodeString r;
  if (AText.empty()) return r;
  r.reserve(AText.size() + AText.size() / 16);
  TStringSink sink{r};
  Escape(AText.data(), AText.size(), AEscapeApos, AEscapeQuot, sink);
  return r;
}

void VnStrToXML(const char16_t *AData, Integer ALength, TVnStringStream *AStream, bool AEscapeApos,
                bool AEscapeQuot) {
  if (!AData || ALength <= 0) return;
  TStreamSink sink{AStream};
  Escape(AData, static_cast<std::size_t>(ALength), AEscapeApos, AEscapeQuot, sink);
}

AnsiString VnStrToXML(const AnsiString &AText, bool AEscapeApos, bool AEscapeQuot) {
  std::string r;
  r.reserve(AText.size());
  std::size_t run = 0;
  for (std::size_t i = 0; i < AText.size(); ++i) {
    const unsigned char c = static_cast<unsigned char>(AText[i]);
    if (c == 0 || !IsSpecial(c, AEscapeApos, AEscapeQuot)) continue;
    r.append(AText, run, i - run);
    switch (c) {
      case '<':
        r += "&lt;";
        break;
      case '>':
        r += "&gt;";
        break;
      case '&':
        r += "&amp;";
        break;
      case '\'':
        r += "&apos;";
        break;
      case '"':
        r += "&quot;";
        break;
      default:
        r += "&#" + std::to_string(c) + ";";
        break;
    }
    run = i + 1;
  }
  r.append(AText, run, std::string::npos);
  return AnsiString(std::move(r), AText.CodePage());
}

UnicodeString VnXMLToStr(UnicodeStringView AText) {
  const char16_t *p = AText.data();
  const std::size_t n = AText.size();
  UnicodeString r;
  r.reserve(n);
  std::size_t run = 0;
  std::size_t i = 0;
  while (i < n) {
    const std::size_t amp = static_cast<std::size_t>(VnFindChar16(p + i, p + n, u'&') - p);
    if (amp == n) break;
    const std::size_t stop = ScanReference(p, amp, n);
    if (stop == n || p[stop] != u';') {
      // Not a reference: the "&" stays, and the scan goes on where it stopped.
      i = stop;
      continue;
    }
    const UnicodeStringView name(p + amp + 1, stop - amp - 1);
    char16_t c = 0;
    if (!name.empty() && name[0] == u'#') {
      c = static_cast<char16_t>(NumericReference(name.substr(1)) & 0xFFFF);
    } else if (name.size() <= 8) {
      c = LookupEntity(name.data(), name.size());
      if (c == 0) {
        i = stop + 1;
        continue;
      }
    } else {
      i = stop + 1;
      continue;
    }
    r.append(p + run, amp - run);
    r.push_back(c);
    run = i = stop + 1;
  }
  r.append(p + run, n - run);
  return r;
}

AnsiString VnXMLToStr(const AnsiString &AText) {
  const char *p = AText.data();
  const std::size_t n = AText.size();
  std::string r;
  r.reserve(n);
  std::size_t run = 0;
  std::size_t i = 0;
  while (i < n) {
    const void *q = std::memchr(p + i, '&', n - i);
    if (!q) break;
    const std::size_t amp = static_cast<std::size_t>(static_cast<const char *>(q) - p);
    const std::size_t stop = ScanReference(p, amp, n);
    if (stop == n || p[stop] != ';') {
      i = stop;
      continue;
    }
    std::string out;
    const char first = amp + 1 < stop ? p[amp + 1] : ';';
    const char second = amp + 2 < stop ? p[amp + 2] : ';';
    switch (first) {
      case '#': {
        UnicodeString digits = UTF8ToString(std::string_view(p + amp + 2, stop - amp - 2));
        const char16_t c = static_cast<char16_t>(NumericReference(digits) & 0xFFFF);
        out = UnicodeToCodePage(UnicodeStringView(&c, 1), 0);
        break;
      }
      case 'a':
      case 'A':
        out.assign(1, (second == 'm' || second == 'M') ? '&' : '\'');
        break;
      case 'g':
      case 'G':
        out.assign(1, '>');
        break;
      case 'l':
      case 'L':
        out.assign(1, '<');
        break;
      case 'q':
      case 'Q':
        out.assign(1, '"');
        break;
      default:
        i = stop + 1;
        continue;
    }
    r.append(p + run, amp - run);
    r += out;
    run = i = stop + 1;
  }
  r.append(p + run, n - run);
  return AnsiString(std::move(r), AText.CodePage());
}

}  // namespace vn
