#include "vnxml/rtl/CodePages.h"

#include <unicode/ucnv.h>

#include <map>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <cstdlib>
#include <cstring>

#include "vnxml/rtl/SysUtils.h"

namespace vn {

namespace {

const char16_t cEncodingNotSupported[] = u"The specified encoding is not supported!";

struct TNamedPage {
  Word Page;
  const char *Name;
};

// Pages whose converter name is not simply "windows-<n>".
constexpr TNamedPage cPageNames[] = {
    {1200, "UTF-16LE"},     {1201, "UTF-16BE"},     {12000, "UTF-32LE"},    {12001, "UTF-32BE"},
    {65000, "UTF-7"},       {65001, "UTF-8"},       {20127, "US-ASCII"},    {28591, "ISO-8859-1"},
    {28592, "ISO-8859-2"},  {28593, "ISO-8859-3"},  {28594, "ISO-8859-4"},  {28595, "ISO-8859-5"},
    {28596, "ISO-8859-6"},  {28597, "ISO-8859-7"},  {28598, "ISO-8859-8"},  {28599, "ISO-8859-9"},
    {28603, "ISO-8859-13"}, {28605, "ISO-8859-15"}, {20866, "KOI8-R"},      {21866, "KOI8-U"},
    {932, "windows-31j"},   {936, "windows-936"},   {949, "windows-949"},   {950, "windows-950"},
    {51932, "EUC-JP"},      {51949, "EUC-KR"},      {50220, "ISO-2022-JP"}, {54936, "GB18030"},
    {10000, "macintosh"},   {437, "ibm-437"},       {850, "ibm-850"},       {852, "ibm-852"},
    {855, "ibm-855"},       {857, "ibm-857"},       {860, "ibm-860"},       {861, "ibm-861"},
    {862, "ibm-862"},       {863, "ibm-863"},       {864, "ibm-864"},       {865, "ibm-865"},
    {866, "ibm-866"},       {869, "ibm-869"},       {874, "windows-874"},   {1250, "windows-1250"},
    {1251, "windows-1251"}, {1252, "windows-1252"}, {1253, "windows-1253"}, {1254, "windows-1254"},
    {1255, "windows-1255"}, {1256, "windows-1256"}, {1257, "windows-1257"}, {1258, "windows-1258"},
};

// The names written into encoding declarations for the pages where the converter's canonical
// name is not the usual one.
constexpr TNamedPage cDeclarationNames[] = {
    {1200, "UTF-16"},   {1201, "UTF-16BE"}, {65001, "UTF-8"},  {20127, "US-ASCII"},
    {932, "Shift_JIS"}, {936, "GBK"},       {949, "EUC-KR"},   {950, "Big5"},
    {51932, "EUC-JP"},  {54936, "GB18030"}, {20866, "KOI8-R"}, {21866, "KOI8-U"},
    {437, "IBM437"},    {850, "IBM850"},    {866, "IBM866"},   {10000, "macintosh"},
};

Word Effective(Word ACodePage) {
  return ACodePage ? ACodePage : DefaultSystemCodePage;
}

// Converters are not thread-safe; each thread keeps its own, one per page.
struct TConverterCache {
  std::unordered_map<Word, UConverter *> Map;
  ~TConverterCache() {
    for (auto &kv : Map)
      if (kv.second) ucnv_close(kv.second);
  }
  UConverter *Get(Word APage) {
    auto it = Map.find(APage);
    if (it != Map.end()) return it->second;
    UConverter *cnv = nullptr;
    std::string name = CodePageConverterName(APage);
    if (!name.empty()) {
      UErrorCode err = U_ZERO_ERROR;
      cnv = ucnv_open(name.c_str(), &err);
      if (U_FAILURE(err)) {
        cnv = nullptr;
      } else {
        err = U_ZERO_ERROR;
        ucnv_setSubstChars(cnv, "?", 1, &err);
      }
    }
    Map.emplace(APage, cnv);
    return cnv;
  }
};

UConverter *Converter(Word APage) {
  thread_local TConverterCache cache;
  UConverter *cnv = cache.Get(APage);
  if (!cnv) throw EEncodingError(cEncodingNotSupported);
  ucnv_reset(cnv);
  return cnv;
}

std::string Narrow(UnicodeStringView AText) {
  std::string r;
  r.reserve(AText.size());
  for (char16_t c : AText) r.push_back(c < 128 ? static_cast<char>(c) : '?');
  return r;
}

}  // namespace

std::string CodePageConverterName(Word ACodePage) {
  Word page = Effective(ACodePage);
  for (const auto &p : cPageNames)
    if (p.Page == page) return p.Name;
  // Other pages under the names that the converter library knows for Windows numbers.
  for (const char *prefix : {"windows-", "ibm-", "cp"}) {
    std::string name = prefix + std::to_string(page);
    UErrorCode err = U_ZERO_ERROR;
    const char *canon = ucnv_getCanonicalName(name.c_str(), "", &err);
    if (U_SUCCESS(err) && canon) return name;
  }
  return {};
}

bool IsValidCodePage(Word ACodePage) {
  std::string name = CodePageConverterName(ACodePage);
  if (name.empty()) return false;
  UErrorCode err = U_ZERO_ERROR;
  UConverter *cnv = ucnv_open(name.c_str(), &err);
  if (cnv) ucnv_close(cnv);
  return U_SUCCESS(err);
}

bool IsSingleByteCodePage(Word ACodePage) {
  Word page = Effective(ACodePage);
  if (page == CP_UTF8 || page == CP_UTF16 || page == CP_UTF16BE) return false;
  std::string name = CodePageConverterName(page);
  if (name.empty()) return false;
  UErrorCode err = U_ZERO_ERROR;
  UConverter *cnv = ucnv_open(name.c_str(), &err);
  if (U_FAILURE(err)) return false;
  bool single = ucnv_getMaxCharSize(cnv) == 1;
  ucnv_close(cnv);
  return single;
}

UnicodeString CodePageIANAName(Word ACodePage) {
  Word page = Effective(ACodePage);
  for (const auto &p : cDeclarationNames)
    if (p.Page == page) return ASCIIToString(p.Name);
  std::string name = CodePageConverterName(page);
  if (name.empty()) return {};
  for (const char *standard : {"MIME", "IANA"}) {
    UErrorCode err = U_ZERO_ERROR;
    const char *std_name = ucnv_getStandardName(name.c_str(), standard, &err);
    if (U_SUCCESS(err) && std_name) return ASCIIToString(std_name);
  }
  return ASCIIToString(name);
}

Word CodePageFromName(UnicodeStringView AName) {
  std::string name = Narrow(AName);
  if (name.empty()) return 0;
  UErrorCode err = U_ZERO_ERROR;
  const char *canon = ucnv_getAlias(name.c_str(), 0, &err);
  if (U_FAILURE(err) || !canon) return 0;
  std::string canonical = canon;
  // The first page whose converter has the same canonical name.
  static const std::map<std::string, Word> byCanonical = [] {
    std::map<std::string, Word> m;
    for (const auto &p : cPageNames) {
      UErrorCode e = U_ZERO_ERROR;
      const char *c = ucnv_getAlias(p.Name, 0, &e);
      if (U_SUCCESS(e) && c) m.emplace(c, p.Page);
    }
    // The byte-order-sniffing forms stand for the little-endian pages.
    for (const TNamedPage &p : {TNamedPage{1200, "UTF-16"}, TNamedPage{12000, "UTF-32"}}) {
      UErrorCode e = U_ZERO_ERROR;
      const char *c = ucnv_getAlias(p.Name, 0, &e);
      if (U_SUCCESS(e) && c) m.emplace(c, p.Page);
    }
    return m;
  }();
  auto it = byCanonical.find(canonical);
  if (it != byCanonical.end()) return it->second;
  // A Windows number in the name ("windows-1252", "cp1252", "ibm-437").
  for (std::size_t i = 0; i < name.size(); ++i) {
    if (name[i] >= '0' && name[i] <= '9') {
      unsigned long n = std::strtoul(name.c_str() + i, nullptr, 10);
      if (n > 0 && n <= 0xFFFF) {
        std::string candidate = CodePageConverterName(static_cast<Word>(n));
        UErrorCode e = U_ZERO_ERROR;
        const char *c = candidate.empty() ? nullptr : ucnv_getAlias(candidate.c_str(), 0, &e);
        if (c && canonical == c) return static_cast<Word>(n);
      }
      break;
    }
  }
  return 0;
}

UnicodeString CodePageToUnicode(const char *ABytes, std::size_t ASize, Word ACodePage) {
  Word page = Effective(ACodePage);
  if (ASize == 0) {
    Converter(page);  // an unknown page fails even for empty text
    return {};
  }
  if (page == CP_UTF8) return UTF8ToString(std::string_view(ABytes, ASize));
  if (page == CP_UTF16) {
    UnicodeString r(ASize / 2, u'\0');
    std::memcpy(r.data(), ABytes, (ASize / 2) * 2);
    return r;
  }
  UConverter *cnv = Converter(page);
  UnicodeString r;
  r.resize(ASize * 2 + 2);
  UErrorCode err = U_ZERO_ERROR;
  int32_t n =
      ucnv_toUChars(cnv, reinterpret_cast<UChar *>(r.data()), static_cast<int32_t>(r.size()),
                    ABytes, static_cast<int32_t>(ASize), &err);
  if (err == U_BUFFER_OVERFLOW_ERROR) {
    r.resize(static_cast<std::size_t>(n));
    err = U_ZERO_ERROR;
    ucnv_reset(cnv);
    n = ucnv_toUChars(cnv, reinterpret_cast<UChar *>(r.data()), static_cast<int32_t>(r.size()),
                      ABytes, static_cast<int32_t>(ASize), &err);
  }
  if (U_FAILURE(err) && err != U_STRING_NOT_TERMINATED_WARNING)
    throw EEncodingError(
        u"No mapping for the Unicode character exists in the target multi-byte code page.");
  r.resize(static_cast<std::size_t>(n));
  return r;
}

RawByteString UnicodeToCodePage(UnicodeStringView AText, Word ACodePage) {
  Word page = Effective(ACodePage);
  if (AText.empty()) {
    Converter(page);
    return {};
  }
  if (page == CP_UTF8) return UTF8Encode(AText);
  if (page == CP_UTF16)
    return RawByteString(reinterpret_cast<const char *>(AText.data()), AText.size() * 2);
  UConverter *cnv = Converter(page);
  RawByteString r;
  r.resize(AText.size() * static_cast<std::size_t>(ucnv_getMaxCharSize(cnv)) + 8);
  UErrorCode err = U_ZERO_ERROR;
  int32_t n = ucnv_fromUChars(cnv, r.data(), static_cast<int32_t>(r.size()),
                              reinterpret_cast<const UChar *>(AText.data()),
                              static_cast<int32_t>(AText.size()), &err);
  if (U_FAILURE(err) && err != U_STRING_NOT_TERMINATED_WARNING)
    throw EEncodingError(
        u"No mapping for the Unicode character exists in the target multi-byte code page.");
  r.resize(static_cast<std::size_t>(n));
  return r;
}

const std::array<char16_t, 256> &CodePageByteTable(Word ACodePage) {
  static std::mutex lock;
  static std::map<Word, std::unique_ptr<std::array<char16_t, 256>>> tables;
  Word page = Effective(ACodePage);
  std::lock_guard<std::mutex> guard(lock);
  auto &slot = tables[page];
  if (!slot) {
    slot = std::make_unique<std::array<char16_t, 256>>();
    for (int i = 0; i < 256; ++i) (*slot)[i] = static_cast<char16_t>(i);
    if (IsSingleByteCodePage(page)) {
      UErrorCode err = U_ZERO_ERROR;
      UConverter *cnv = ucnv_open(CodePageConverterName(page).c_str(), &err);
      if (U_SUCCESS(err)) {
        for (int i = 0; i < 256; ++i) {
          char b = static_cast<char>(i);
          UChar out[4];
          UErrorCode e = U_ZERO_ERROR;
          ucnv_reset(cnv);
          int32_t n = ucnv_toUChars(cnv, out, 4, &b, 1, &e);
          (*slot)[i] = (U_SUCCESS(e) && n == 1) ? static_cast<char16_t>(out[0]) : u'\xFFFD';
        }
        ucnv_close(cnv);
      }
    }
  }
  return *slot;
}

}  // namespace vn
