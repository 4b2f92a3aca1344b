// Perl-compatible regular expressions over UTF-16 text, on PCRE2's 16-bit library.
#include "vnxml/rtl/RegularExpressions.h"

#include <pcre2.h>

#include <algorithm>

namespace vn {

namespace detail {

// A compiled pattern, shared by the copies of a TRegEx and by its matches.
struct TRegExCode {
  UnicodeString Pattern;
  TRegExOptions Options;
  pcre2_code *Code = nullptr;
  uint32_t MatchOptions = 0;
  uint32_t CaptureCount = 0;

  TRegExCode() = default;
  TRegExCode(const TRegExCode &) = delete;
  TRegExCode &operator=(const TRegExCode &) = delete;
  ~TRegExCode() { pcre2_code_free(Code); }

  // The number of a named group, or -1.
  int NameToNumber(const UnicodeString &AName) const {
    const int r =
        pcre2_substring_number_from_name(Code, reinterpret_cast<PCRE2_SPTR>(AName.c_str()));
    return r >= 0 ? r : -1;
  }
};

}  // namespace detail

namespace {

constexpr const char16_t *cIndexOutOfBounds = u"Index out of bounds (%d)";

UnicodeString PcreMessage(int AErrorCode) {
  PCRE2_UCHAR buffer[256];
  const int n = pcre2_get_error_message(AErrorCode, buffer, sizeof buffer / sizeof buffer[0]);
  if (n < 0) return u"regular expression error " + IntToStr(AErrorCode);
  return UnicodeString(reinterpret_cast<const char16_t *>(buffer), static_cast<std::size_t>(n));
}

struct MatchDataDeleter {
  void operator()(pcre2_match_data *AData) const noexcept { pcre2_match_data_free(AData); }
};

struct CompileContextDeleter {
  void operator()(pcre2_compile_context *AContext) const noexcept {
    pcre2_compile_context_free(AContext);
  }
};

bool IsDigit(char16_t C) noexcept {
  return C >= u'0' && C <= u'9';
}

// The 0-based search range for a 1-based start and an optional length, clipped to the input.
void SearchRange(const UnicodeString &AInput, Integer AStartPos, Integer ALength,
                 std::size_t &AStart, std::size_t &AEnd) {
  const std::size_t size = AInput.size();
  AStart = AStartPos <= 1 ? 0 : std::min(static_cast<std::size_t>(AStartPos - 1), size);
  AEnd = ALength < 0 ? size : std::min(AStart + static_cast<std::size_t>(ALength), size);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// TGroup, TGroupCollection, TMatch, TMatchCollection

UnicodeString TGroup::Value() const {
  if (!FSuccess || !FInput || FLength <= 0) return UnicodeString();
  return FInput->substr(static_cast<std::size_t>(FIndex - 1), static_cast<std::size_t>(FLength));
}

const TGroup &TGroupCollection::operator[](Integer AIndex) const {
  if (AIndex < 0 || AIndex >= Count()) throw ERegularExpressionError(cIndexOutOfBounds, {AIndex});
  return FList[static_cast<std::size_t>(AIndex)];
}

const TGroup &TGroupCollection::operator[](const UnicodeString &AName) const {
  const int n = FCode ? FCode->NameToNumber(AName) : -1;
  if (n < 0) throw ERegularExpressionError(u"Invalid group name (%s)", {AName});
  return (*this)[n];
}

UnicodeString TMatch::Value() const {
  return FGroups.FList.empty() ? UnicodeString() : FGroups.FList[0].Value();
}

TMatch TMatch::Search(std::shared_ptr<const detail::TRegExCode> ACode,
                      std::shared_ptr<const UnicodeString> AInput, std::size_t AStart,
                      std::size_t AEnd, bool ANotEmptyAtStart) {
  TMatch m;
  if (AStart > AEnd) return m;
  std::unique_ptr<pcre2_match_data, MatchDataDeleter> data(
      pcre2_match_data_create_from_pattern(ACode->Code, nullptr));
  if (!data) throw EOutOfMemory(u"Out of memory");
  const uint32_t options = ACode->MatchOptions | (ANotEmptyAtStart ? PCRE2_NOTEMPTY_ATSTART : 0);
  const int rc = pcre2_match(ACode->Code, reinterpret_cast<PCRE2_SPTR>(AInput->data()), AEnd,
                             AStart, options, data.get(), nullptr);
  if (rc == PCRE2_ERROR_NOMATCH) return m;
  if (rc < 0) throw ERegularExpressionError(PcreMessage(rc));
  const PCRE2_SIZE *ovector = pcre2_get_ovector_pointer(data.get());
  const uint32_t pairs = pcre2_get_ovector_count(data.get());
  m.FGroups.FList.reserve(ACode->CaptureCount + 1);
  for (uint32_t i = 0; i <= ACode->CaptureCount; ++i) {
    if (i < pairs && ovector[2 * i] != PCRE2_UNSET) {
      const PCRE2_SIZE from = ovector[2 * i], to = std::max(ovector[2 * i + 1], from);
      m.FGroups.FList.push_back(
          TGroup(AInput, static_cast<Integer>(from + 1), static_cast<Integer>(to - from), true));
    } else {
      m.FGroups.FList.push_back(TGroup(AInput, 0, 0, false));
    }
  }
  m.FGroups.FCode = std::move(ACode);
  m.FInput = std::move(AInput);
  m.FEnd = AEnd;
  m.FSuccess = true;
  return m;
}

TMatch TMatch::NextMatch() const {
  if (!FSuccess) return TMatch();
  const std::size_t from = static_cast<std::size_t>(Index() - 1 + Length());
  return Search(FGroups.FCode, FInput, from, FEnd, Length() == 0);
}

UnicodeString TMatch::Result(const UnicodeString &AReplacement) const {
  const Integer groupCount = FGroups.Count() - 1;
  auto group = [&](Integer AN) -> UnicodeString {
    return AN >= 0 && AN <= groupCount ? FGroups.FList[static_cast<std::size_t>(AN)].Value()
                                       : UnicodeString();
  };
  // A group given by number or by name inside "\g<...>" or "${...}"; -1 for an unknown name.
  auto groupNumber = [&](const UnicodeString &AName) -> Integer {
    if (!AName.empty() && std::all_of(AName.begin(), AName.end(), IsDigit)) {
      Integer n = 0;
      for (char16_t c : AName) n = std::min(n * 10 + (c - u'0'), 1000000);
      return n;
    }
    return FGroups.FCode ? FGroups.FCode->NameToNumber(AName) : -1;
  };
  const UnicodeString &r = AReplacement;
  const std::size_t n = r.size();
  UnicodeString out;
  std::size_t i = 0;
  // A group number of one digit, and of two where that group exists.
  auto number = [&]() -> Integer {
    Integer k = r[i] - u'0';
    ++i;
    if (i < n && IsDigit(r[i]) && k * 10 + (r[i] - u'0') <= groupCount)
      k = k * 10 + (r[i++] - u'0');
    return k;
  };
  // Expands "<name>" or "{name}" at i; false leaves the text as written.
  auto named = [&](char16_t AClose) -> bool {
    const std::size_t close = r.find(AClose, i + 1);
    if (close == UnicodeString::npos) return false;
    const Integer k = groupNumber(r.substr(i + 1, close - i - 1));
    if (k < 0) return false;
    out += group(k);
    i = close + 1;
    return true;
  };
  const UnicodeString *input = FInput.get();
  while (i < n) {
    const char16_t c = r[i];
    if ((c != u'\\' && c != u'$') || i + 1 == n) {
      out += c;
      ++i;
      continue;
    }
    const char16_t d = r[i + 1];
    if (IsDigit(d)) {
      ++i;
      out += group(number());
      continue;
    }
    if (d == c || (c == u'\\' && d == u'$')) {
      out += d;
      i += 2;
      continue;
    }
    if (d == u'&') {
      out += Value();
      i += 2;
      continue;
    }
    if (c == u'\\' && input && FSuccess && (d == u'`' || d == u'\'' || d == u'_')) {
      const std::size_t from = static_cast<std::size_t>(Index() - 1);
      if (d == u'`')
        out += input->substr(0, from);
      else if (d == u'\'')
        out += input->substr(from + static_cast<std::size_t>(Length()));
      else
        out += *input;
      i += 2;
      continue;
    }
    if (c == u'\\' && d == u'g' && i + 2 < n && r[i + 2] == u'<') {
      i += 2;
      if (named(u'>')) continue;
      i -= 2;
    } else if (c == u'$' && d == u'{') {
      ++i;
      if (named(u'}')) continue;
      --i;
    }
    out += c;
    ++i;
  }
  return out;
}

const TMatch &TMatchCollection::operator[](Integer AIndex) const {
  if (AIndex < 0 || AIndex >= Count()) throw ERegularExpressionError(cIndexOutOfBounds, {AIndex});
  return FList[static_cast<std::size_t>(AIndex)];
}

// ---------------------------------------------------------------------------------------------
// TRegEx

TRegEx::TRegEx(const UnicodeString &APattern, TRegExOptions AOptions) {
  auto code = std::make_shared<detail::TRegExCode>();
  code->Pattern = APattern;
  code->Options = AOptions;
  // Invalid UTF-16 in a subject (a lone surrogate) then matches nothing instead of failing.
  uint32_t options = PCRE2_UTF | PCRE2_MATCH_INVALID_UTF;
  if (AOptions.Contains(roIgnoreCase)) options |= PCRE2_CASELESS;
  if (AOptions.Contains(roMultiLine)) options |= PCRE2_MULTILINE;
  if (AOptions.Contains(roExplicitCapture)) options |= PCRE2_NO_AUTO_CAPTURE;
  if (AOptions.Contains(roSingleLine)) options |= PCRE2_DOTALL;
  if (AOptions.Contains(roIgnorePatternSpace)) options |= PCRE2_EXTENDED;
  if (AOptions.Contains(roNotEmpty)) code->MatchOptions |= PCRE2_NOTEMPTY;

  std::unique_ptr<pcre2_compile_context, CompileContextDeleter> context(
      pcre2_compile_context_create(nullptr));
  if (!context) throw EOutOfMemory(u"Out of memory");
  // Lines end at LF, whatever the library was built with.
  pcre2_set_newline(context.get(), PCRE2_NEWLINE_LF);

  int error = 0;
  PCRE2_SIZE offset = 0;
  code->Code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(APattern.data()), APattern.size(),
                             options, &error, &offset, context.get());
  if (!code->Code)
    throw ERegularExpressionError(u"%s at offset %d",
                                  {PcreMessage(error), static_cast<Integer>(offset)});
  pcre2_pattern_info(code->Code, PCRE2_INFO_CAPTURECOUNT, &code->CaptureCount);
  FCode = std::move(code);
}

const UnicodeString &TRegEx::Pattern() const noexcept {
  return FCode->Pattern;
}

TRegExOptions TRegEx::Options() const noexcept {
  return FCode->Options;
}

bool TRegEx::IsMatch(const UnicodeString &AInput) const {
  return Match(AInput).Success();
}

bool TRegEx::IsMatch(const UnicodeString &AInput, Integer AStartPos) const {
  return Match(AInput, AStartPos).Success();
}

TMatch TRegEx::Match(const UnicodeString &AInput) const {
  return Match(AInput, 1, -1);
}

TMatch TRegEx::Match(const UnicodeString &AInput, Integer AStartPos) const {
  return Match(AInput, AStartPos, -1);
}

TMatch TRegEx::Match(const UnicodeString &AInput, Integer AStartPos, Integer ALength) const {
  std::size_t start, end;
  SearchRange(AInput, AStartPos, ALength, start, end);
  return TMatch::Search(FCode, std::make_shared<const UnicodeString>(AInput), start, end, false);
}

TMatchCollection TRegEx::Matches(const UnicodeString &AInput) const {
  return Matches(AInput, 1);
}

TMatchCollection TRegEx::Matches(const UnicodeString &AInput, Integer AStartPos) const {
  TMatchCollection r;
  for (TMatch m = Match(AInput, AStartPos); m.Success(); m = m.NextMatch()) r.FList.push_back(m);
  return r;
}

UnicodeString TRegEx::Replace(const UnicodeString &AInput, const UnicodeString &AReplacement,
                              Integer ACount) const {
  return Replace(
      AInput, [&](const TMatch &AMatch) { return AMatch.Result(AReplacement); }, ACount);
}

UnicodeString TRegEx::Replace(const UnicodeString &AInput, const TMatchEvaluator &AEvaluator,
                              Integer ACount) const {
  UnicodeString out;
  std::size_t last = 0;
  Integer done = 0;
  for (TMatch m = Match(AInput); m.Success() && (ACount < 0 || done < ACount);
       m = m.NextMatch(), ++done) {
    const std::size_t from = static_cast<std::size_t>(m.Index() - 1);
    out.append(AInput, last, from - last);
    out += AEvaluator(m);
    last = from + static_cast<std::size_t>(m.Length());
  }
  out.append(AInput, last, UnicodeString::npos);
  return out;
}

std::vector<UnicodeString> TRegEx::Split(const UnicodeString &AInput, Integer ACount) const {
  if (AInput.empty() || ACount == 1) return {AInput};
  std::vector<UnicodeString> pieces;
  std::size_t last = 0;
  for (TMatch m = Match(AInput); m.Success(); m = m.NextMatch()) {
    if (ACount > 0 && static_cast<Integer>(pieces.size()) + 1 >= ACount) break;
    const std::size_t from = static_cast<std::size_t>(m.Index() - 1);
    pieces.push_back(AInput.substr(last, from - last));
    last = from + static_cast<std::size_t>(m.Length());
  }
  pieces.push_back(AInput.substr(last));
  return pieces;
}

bool TRegEx::IsMatch(const UnicodeString &AInput, const UnicodeString &APattern,
                     TRegExOptions AOptions) {
  return TRegEx(APattern, AOptions).IsMatch(AInput);
}

TMatch TRegEx::Match(const UnicodeString &AInput, const UnicodeString &APattern,
                     TRegExOptions AOptions) {
  return TRegEx(APattern, AOptions).Match(AInput);
}

TMatchCollection TRegEx::Matches(const UnicodeString &AInput, const UnicodeString &APattern,
                                 TRegExOptions AOptions) {
  return TRegEx(APattern, AOptions).Matches(AInput);
}

UnicodeString TRegEx::Replace(const UnicodeString &AInput, const UnicodeString &APattern,
                              const UnicodeString &AReplacement, TRegExOptions AOptions) {
  return TRegEx(APattern, AOptions).Replace(AInput, AReplacement);
}

UnicodeString TRegEx::Replace(const UnicodeString &AInput, const UnicodeString &APattern,
                              const TMatchEvaluator &AEvaluator, TRegExOptions AOptions) {
  return TRegEx(APattern, AOptions).Replace(AInput, AEvaluator);
}

std::vector<UnicodeString> TRegEx::Split(const UnicodeString &AInput, const UnicodeString &APattern,
                                         TRegExOptions AOptions) {
  return TRegEx(APattern, AOptions).Split(AInput);
}

UnicodeString TRegEx::Escape(const UnicodeString &AText, bool AUseWildCards) {
  UnicodeString r;
  r.reserve(AText.size() * 2);
  for (std::size_t i = 0; i < AText.size(); ++i) {
    const char16_t c = AText[i];
    switch (c) {
      case u'.':
      case u'[':
      case u']':
      case u'(':
      case u')':
      case u'?':
      case u'*':
      case u'+':
      case u'{':
      case u'}':
      case u'^':
      case u'$':
      case u'|':
      case u'\\':
        r += u'\\';
        r += c;
        break;
      case u'\0':
        r += u"\\0";
        break;
      case u'\r':
        if (i + 1 < AText.size() && AText[i + 1] == u'\n') {
          r += u"\\r\\n";
          ++i;
        } else {
          r += c;
        }
        break;
      default:
        r += c;
    }
  }
  if (AUseWildCards) {
    r = StringReplace(r, u"\\*", u"(.*)");
    r = StringReplace(r, u"\\?", u"(.)");
    r = StringReplace(r, u"(.*)(.*)", u"\\*");
    r = StringReplace(r, u"(.)(.)", u"\\?");
  }
  return r;
}

}  // namespace vn
