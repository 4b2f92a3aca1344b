// The string functions of the library: code points, comparison, strings and regular
// expressions. Text is UTF-16 throughout; lengths and positions count code units.
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>
#include <unicode/utypes.h>

#include <algorithm>
#include <limits>
#include <vector>

#include "vnxml/xml/uVnXPath.h"

namespace vn {

namespace {

// The argument errors, word for word as applications see them.
inline constexpr const char16_t *cCodepointsToStringCount =
    u"The \"fn:codepoints-to-string((int,int,...))\" function may contain 0 or 1 parameter, but "
    u"not more!";
inline constexpr const char16_t *cCodepointsToStringList =
    u"The \"fn:codepoints-to-string((int,int,...))\" requires a list of integers!";
inline constexpr const char16_t *cStringToCodepointsCount =
    u"The \"fn:string-to-codepoints(string)\" function must contain 1 parameter!";
inline constexpr const char16_t *cCompareTooFew =
    u"The \"fn:compare(comp1, comp2, collation*)\" function must contain at least parameters!";
inline constexpr const char16_t *cCompareTooMany =
    u"The \"fn:compare(comp1, comp2, collation*)\" function has a maximum of 3 paramaters!";
inline constexpr const char16_t *cCodepointEqualCount =
    u"The \"fn:codepoint-equal(comp1, comp2)\" function must contain 2 parameters!";
inline constexpr const char16_t *cStringJoinTooFew =
    u"The \"fn:string-join((string,string,...),sep*)\" function must contain at least 1 "
    u"parameter!";
inline constexpr const char16_t *cStringJoinTooMany =
    u"The \"fn:string-join((string,string,...),sep*)\" function may not contain more than 2 "
    u"parameters!";
inline constexpr const char16_t *cSubstringCount =
    u"The \"fn:substring(string,start,len)\" function must contain 3 or less parameters!";
inline constexpr const char16_t *cStringLengthCount =
    u"Too many parameters specified for \"fn:string-length(string)\"!";
inline constexpr const char16_t *cNormalizeSpaceCount =
    u"Too many parameters specified for \"fn:normalize-space(string)\"!";
inline constexpr const char16_t *cNormalizeUnicodeCount =
    u"Too many parameters specified for \"fn:normalize-unicode(string, normalizationForm)\"!";
inline constexpr const char16_t *cNormalizeUnicodeForm =
    u"An unsupported normalizationForm was specified for \"fn:normalize-unicode(string, "
    u"normalizationForm)\"!";
inline constexpr const char16_t *cSimplifyCount =
    u"The \"fn:simplify(string)\" function must have a single parameter!";
inline constexpr const char16_t *cUpperCaseCount =
    u"The \"fn:upper-case(string)\" function must have a single parameter!";
inline constexpr const char16_t *cLowerCaseCount =
    u"The \"fn:lower-case(string)\" function must have a single parameter!";
inline constexpr const char16_t *cTranslateCount =
    u"The \"fn:translate(string1,string2,string3)\" function must have 3 parameters!";
inline constexpr const char16_t *cContainsCount =
    u"The \"fn:contains(string1,string2)\" function must have 2 parameters!";
inline constexpr const char16_t *cStartsWithCount =
    u"The \"fn:starts-with(string1,string2)\" function must have 2 parameters!";
inline constexpr const char16_t *cEndsWithCount =
    u"The \"fn:ends-with(string1,string2)\" function must have 2 parameters!";
// substring-after reports itself under the name of substring-before.
inline constexpr const char16_t *cSubstringBeforeCount =
    u"The \"fn:substring-before(string1,string2)\" function must have 2 parameters!";
inline constexpr const char16_t *cMatchesCount =
    u"Invalid parameter for \"fn:matches(string,pattern,flags*)\"!";
inline constexpr const char16_t *cReplaceCount =
    u"Invalid parameter for \"fn:replace(input,pattern,replacement,flags*)\"!";
inline constexpr const char16_t *cTokenizeCount = u"Invalid parameter for \"fn:tokenize()\"!";

inline constexpr const char16_t *cNormalizationFailed = u"Unicode normalization failed (%s)!";

// The length that substring takes when none is given.
inline constexpr Int64 cMaxLength = std::numeric_limits<Integer>::max();

bool IsString(const Variant &AValue) {
  return TVnTypes::VarMainTypeKind(AValue) == mtkString;
}

bool IsInteger(const Variant &AValue) {
  return TVnTypes::VarMainTypeKind(AValue) == mtkInteger;
}

// An integer value of any width as a signed 64-bit one, the unsigned ones beyond its range cut
// to its maximum.
Int64 Int64Of(const Variant &AValue) {
  if (VarType(AValue) == varUInt64) {
    const UInt64 u = AValue.AsUInt64();
    return u > static_cast<UInt64>(std::numeric_limits<Int64>::max())
               ? std::numeric_limits<Int64>::max()
               : static_cast<Int64>(u);
  }
  return AValue.AsInt64();
}

// The words of the text between spaces (U+0020 only), in order.
std::vector<UnicodeString> Words(UnicodeStringView AText) {
  std::vector<UnicodeString> words;
  std::size_t i = 0;
  const std::size_t n = AText.size();
  while (i < n) {
    while (i < n && AText[i] == u' ') ++i;
    const std::size_t start = i;
    while (i < n && AText[i] != u' ') ++i;
    if (i > start) words.emplace_back(AText.substr(start, i - start));
  }
  return words;
}

UnicodeString NormalizeSpace(UnicodeStringView AText) {
  UnicodeString r;
  for (const UnicodeString &word : Words(AText)) {
    if (!r.empty()) r += u' ';
    r += word;
  }
  return r;
}

bool IsWhiteSpace(char16_t C) {
  return C == u' ' || C == u'\t' || C == u'\r' || C == u'\n';
}

// Runs of white space become one space, and there is none at either end.
UnicodeString SimplifyString(UnicodeStringView AText) {
  UnicodeString r;
  bool pending = false;
  for (const char16_t c : AText) {
    if (IsWhiteSpace(c)) {
      pending = !r.empty();
      continue;
    }
    if (pending) r += u' ';
    pending = false;
    r += c;
  }
  return r;
}

UnicodeString Normalized(const UnicodeString &AText, const UnicodeString &AForm) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2 *normalizer = nullptr;
  if (AForm == u"NFC") {
    normalizer = icu::Normalizer2::getNFCInstance(status);
  } else if (AForm == u"NFD") {
    normalizer = icu::Normalizer2::getNFDInstance(status);
  } else if (AForm == u"NFKC") {
    normalizer = icu::Normalizer2::getNFKCInstance(status);
  } else if (AForm == u"NFKD") {
    normalizer = icu::Normalizer2::getNFKDInstance(status);
  } else {
    throw EVnDomSyntax(cNormalizeUnicodeForm);
  }
  if (U_SUCCESS(status)) {
    // A read-only alias of the text: ICU copies nothing on the way in.
    const icu::UnicodeString source(false, AText.data(), static_cast<int32_t>(AText.size()));
    const icu::UnicodeString result = normalizer->normalize(source, status);
    if (U_SUCCESS(status)) {
      return UnicodeString(result.getBuffer(), static_cast<std::size_t>(result.length()));
    }
  }
  throw EVnDomException(cNormalizationFailed, {UnicodeString(ASCIIToString(u_errorName(status)))});
}

// The pieces as one text: ("a", "b").
UnicodeString TokenList(const std::vector<UnicodeString> &ATokens) {
  UnicodeString r = u"(";
  for (std::size_t i = 0; i < ATokens.size(); ++i) {
    if (i > 0) r += u", ";
    r += u'"';
    r += ATokens[i];
    r += u'"';
  }
  r += u')';
  return r;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Code points

Variant TVnXPathFnCodepointsToString::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  if (ParamCount() > 1) throw EVnDomSyntax(cCodepointsToStringCount);
  if (ParamCount() == 0) return Null();
  auto *list = dynamic_cast<TVnXPathSequenceTerm *>(Param(0));
  if (!list) throw EVnDomSyntax(cCodepointsToStringList);
  UnicodeString r;
  r.reserve(static_cast<std::size_t>(list->Count()));
  for (Integer i = 0; i < list->Count(); ++i) {
    const Variant v = list->GetTerm(i)->Value(ANodeList, AIndex);
    if (!IsInteger(v)) return Null();
    // One code unit per item: the low 16 bits, so that a pair of surrogates makes a character
    // beyond the 16-bit range.
    const UInt64 unit = VarType(v) == varUInt64 ? v.AsUInt64() : static_cast<UInt64>(v.AsInt64());
    r += static_cast<char16_t>(unit & 0xFFFF);
  }
  return r;
}

Variant TVnXPathFnStringToCodepoints::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  if (ParamCount() != 1) throw EVnDomSyntax(cStringToCodepointsCount);
  const Variant v = ParamValue(0, ANodeList, AIndex);
  if (!IsString(v)) return Null();
  const UnicodeString text = VnVarToStr(v);
  UnicodeString r = u"(";
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (i > 0) r += u", ";
    r += IntToStr(static_cast<Int64>(text[i]));
  }
  r += u')';
  return r;
}

// ---------------------------------------------------------------------------------------------
// Comparison

Variant TVnXPathFnCompare::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  const Integer n = ParamCount();
  if (n < 2) throw EVnDomSyntax(cCompareTooFew);
  if (n > 3) throw EVnDomSyntax(cCompareTooMany);
  TVnXPathCollationClass collation =
      n == 3 ? FindXPathCollation(ParamText(2, ANodeList, AIndex)) : FEquation->GetCollation();
  const Variant a = ParamValue(0, ANodeList, AIndex);
  const Variant b = ParamValue(1, ANodeList, AIndex);
  if (VnVarIsEmpty(a) || VnVarIsEmpty(b)) return Null();
  const Integer c = collation->Compare(VnVarToStr(a), VnVarToStr(b));
  return static_cast<Integer>((c > 0) - (c < 0));
}

Variant TVnXPathFnCodepointEqual::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  if (ParamCount() != 2) throw EVnDomSyntax(cCodepointEqualCount);
  const Variant a = ParamValue(0, ANodeList, AIndex);
  const Variant b = ParamValue(1, ANodeList, AIndex);
  if (!IsString(a)) return Null();
  return a == b;
}

// ---------------------------------------------------------------------------------------------
// Strings

Variant TVnXPathFnConcat::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  Variant r = UnicodeString();
  for (Integer i = 0; i < ParamCount(); ++i) r += ParamValue(i, ANodeList, AIndex);
  return r;
}

Variant TVnXPathFnStringJoin::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  const Integer n = ParamCount();
  if (n < 1) throw EVnDomSyntax(cStringJoinTooFew);
  if (n > 2) throw EVnDomSyntax(cStringJoinTooMany);
  const UnicodeString separator = n > 1 ? ParamText(1, ANodeList, AIndex) : UnicodeString();
  if (auto *list = dynamic_cast<TVnXPathSequenceTerm *>(Param(0))) {
    // Separator and item are added in turn, and the leading separator is cut at the end.
    const Variant sep = separator;
    Variant joined = UnicodeString();
    for (Integer i = 0; i < list->Count(); ++i) {
      joined += sep;
      joined += list->GetTerm(i)->Value(ANodeList, AIndex);
    }
    const UnicodeString text = VnVarToStr(joined);
    return text.substr(std::min(separator.size(), text.size()));
  }
  // Any other value stands for the list of its characters (code units).
  const UnicodeString text = ParamText(0, ANodeList, AIndex);
  UnicodeString r;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (i > 0) r += separator;
    r += text[i];
  }
  return r;
}

Variant TVnXPathFnSubstring::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  const Integer n = ParamCount();
  UnicodeString text;
  Int64 start = 0, length = 0;
  if (n > 0) {
    const Variant v = ParamValue(0, ANodeList, AIndex);
    if (!IsString(v)) return Null();
    text = VnVarToStr(v);
  }
  if (n > 1) {
    const Variant v = ParamValue(1, ANodeList, AIndex);
    if (!IsInteger(v)) return Null();
    start = Int64Of(v);
    length = cMaxLength;
  }
  if (n > 2) {
    const Variant v = ParamValue(2, ANodeList, AIndex);
    if (!IsInteger(v)) return Null();
    length = Int64Of(v);
  }
  // Checked only now, after the first three were evaluated.
  if (n > 3) throw EVnDomSyntax(cSubstringCount);
  // Copy: a start below 1 counts as 1 and leaves the length as it is.
  if (start < 1) start = 1;
  const auto size = static_cast<Int64>(text.size());
  if (length <= 0 || start > size) return UnicodeString();
  return text.substr(static_cast<std::size_t>(start - 1),
                     static_cast<std::size_t>(std::min(length, size - start + 1)));
}

Variant TVnXPathFnStringLength::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  if (ParamCount() > 1) throw EVnDomSyntax(cStringLengthCount);
  const UnicodeString text =
      ParamCount() == 0 ? ContextValue(ANodeList, AIndex) : ParamText(0, ANodeList, AIndex);
  return static_cast<Integer>(text.size());
}

Variant TVnXPathFnNormalizeSpace::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  if (ParamCount() > 1) throw EVnDomSyntax(cNormalizeSpaceCount);
  return NormalizeSpace(ParamCount() == 0 ? ContextValue(ANodeList, AIndex)
                                          : ParamText(0, ANodeList, AIndex));
}

Variant TVnXPathFnNormalizeUnicode::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  const Integer n = ParamCount();
  if (n > 2) throw EVnDomSyntax(cNormalizeUnicodeCount);
  const UnicodeString text =
      n == 0 ? ContextValue(ANodeList, AIndex) : ParamText(0, ANodeList, AIndex);
  const UnicodeString form = n == 2 ? ParamText(1, ANodeList, AIndex) : UnicodeString(u"NFC");
  if (form.empty()) return text;
  return Normalized(text, form);
}

Variant TVnXPathFnSimplify::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  if (ParamCount() != 1) throw EVnDomSyntax(cSimplifyCount);
  const Variant v = ParamValue(0, ANodeList, AIndex);
  if (!IsString(v)) return Null();
  return SimplifyString(VnVarToStr(v));
}

Variant TVnXPathFnUpperCase::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  if (ParamCount() != 1) throw EVnDomSyntax(cUpperCaseCount);
  const Variant v = ParamValue(0, ANodeList, AIndex);
  if (!IsString(v)) return Null();
  return UpperCase(VnVarToStr(v));
}

Variant TVnXPathFnLowerCase::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  if (ParamCount() != 1) throw EVnDomSyntax(cLowerCaseCount);
  const Variant v = ParamValue(0, ANodeList, AIndex);
  if (!IsString(v)) return Null();
  return LowerCase(VnVarToStr(v));
}

Variant TVnXPathFnTranslate::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  if (ParamCount() != 3) throw EVnDomSyntax(cTranslateCount);
  const UnicodeString text = ParamText(0, ANodeList, AIndex);
  const UnicodeString from = ParamText(1, ANodeList, AIndex);
  const UnicodeString to = ParamText(2, ANodeList, AIndex);
  return StringReplace(text, from, to, true, false);
}

Variant TVnXPathFnContains::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  if (ParamCount() != 2) throw EVnDomSyntax(cContainsCount);
  const UnicodeString text = ParamText(0, ANodeList, AIndex);
  const UnicodeString part = ParamText(1, ANodeList, AIndex);
  return FEquation->GetCollation()->Pos(part, text) >= 1;
}

Variant TVnXPathFnStartsWith::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  if (ParamCount() != 2) throw EVnDomSyntax(cStartsWithCount);
  const UnicodeString text = ParamText(0, ANodeList, AIndex);
  const UnicodeString part = ParamText(1, ANodeList, AIndex);
  return FEquation->GetCollation()->Pos(part, text) == 1;
}

Variant TVnXPathFnEndsWith::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  if (ParamCount() != 2) throw EVnDomSyntax(cEndsWithCount);
  const UnicodeString text = ParamText(0, ANodeList, AIndex);
  const UnicodeString part = ParamText(1, ANodeList, AIndex);
  return part.size() <= text.size() &&
         UnicodeStringView(text).substr(text.size() - part.size()) == part;
}

Variant TVnXPathFnSubstringBefore::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  if (ParamCount() != 2) throw EVnDomSyntax(cSubstringBeforeCount);
  const UnicodeString text = ParamText(0, ANodeList, AIndex);
  const UnicodeString part = ParamText(1, ANodeList, AIndex);
  const Integer p = FEquation->GetCollation()->Pos(part, text);
  return text.substr(0, p > 0 ? static_cast<std::size_t>(p - 1) : 0);
}

Variant TVnXPathFnSubstringAfter::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  if (ParamCount() != 2) throw EVnDomSyntax(cSubstringBeforeCount);
  const UnicodeString text = ParamText(0, ANodeList, AIndex);
  const UnicodeString part = ParamText(1, ANodeList, AIndex);
  // From the character after the first one of the occurrence, the length of part not counted;
  // no occurrence (0) gives the whole text.
  const Integer p = FEquation->GetCollation()->Pos(part, text);
  return text.substr(static_cast<std::size_t>(p));
}

// ---------------------------------------------------------------------------------------------
// Regular expressions

TRegExOptions TVnXPathRegExFunction::OptionsOf(const UnicodeString &AFlags) const {
  TVnXPathCollationClass collation = FEquation->GetCollation();
  TRegExOptions r;
  if (collation->Pos(u"s", AFlags) > 0) r << roSingleLine;
  if (collation->Pos(u"m", AFlags) > 0) r << roMultiLine;
  if (collation->Pos(u"i", AFlags) > 0) r << roIgnoreCase;
  if (collation->Pos(u"x", AFlags) > 0) r << roIgnorePatternSpace;
  if (collation->Pos(u"q", AFlags) > 0) r << roExplicitCapture;
  return r;
}

const TRegEx &TVnXPathRegExFunction::RegEx(const UnicodeString &APattern, TRegExOptions AOptions) {
  if (!FRegEx || FRegEx->Pattern() != APattern || !(FRegEx->Options() == AOptions)) {
    FRegEx.reset();
    FRegEx.emplace(APattern, AOptions);
  }
  return *FRegEx;
}

Variant TVnXPathFnMatches::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  const Integer n = ParamCount();
  if (n < 2 || n > 3) throw EVnDomSyntax(cMatchesCount);
  const UnicodeString text = ParamText(0, ANodeList, AIndex);
  const UnicodeString pattern = ParamText(1, ANodeList, AIndex);
  const UnicodeString flags = n == 3 ? ParamText(2, ANodeList, AIndex) : UnicodeString();
  return RegEx(pattern, OptionsOf(flags)).IsMatch(text);
}

Variant TVnXPathFnReplace::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  const Integer n = ParamCount();
  if (n < 3 || n > 4) throw EVnDomSyntax(cReplaceCount);
  const UnicodeString input = ParamText(0, ANodeList, AIndex);
  const UnicodeString pattern = ParamText(1, ANodeList, AIndex);
  const UnicodeString replacement = ParamText(2, ANodeList, AIndex);
  // The options are read from the replacement; a fourth parameter is never evaluated.
  return RegEx(pattern, OptionsOf(replacement)).Replace(input, replacement);
}

Variant TVnXPathFnTokenize::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  const Integer n = ParamCount();
  if (n > 3) throw EVnDomSyntax(cTokenizeCount);
  if (n == 0) return UnicodeString(u"()");
  const UnicodeString text = ParamText(0, ANodeList, AIndex);
  if (n == 1) return TokenList(Words(text));
  const UnicodeString pattern = ParamText(1, ANodeList, AIndex);
  const UnicodeString flags = n == 3 ? ParamText(2, ANodeList, AIndex) : UnicodeString();
  return TokenList(RegEx(pattern, OptionsOf(flags)).Split(text));
}

}  // namespace vn
