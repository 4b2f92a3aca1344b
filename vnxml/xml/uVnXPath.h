// The functions that a predicate can call: the base class that reads a parameter list, the
// registry of functions by name and of collations by URI, and the exception that carries an
// XPath error code.
//
// Functions are called without prefix: a predicate says concat(...), and fn:concat(...) is an
// unknown function. Names compare case-sensitively. The registries are filled when the library
// starts, collations first; RegisterXPathFunction adds a function of the application's own. A
// name registered a second time keeps its first class: lookups take the first match in order of
// registration. Register at start-up, before any thread selects: the registries are read without
// locks.
//
// A function of one's own:
//
//   class TTwice : public TVnXPathFunction {
//     VN_CLASS(TTwice, TVnXPathFunction)
//    public:
//     using TVnXPathFunction::TVnXPathFunction;
//     Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override {
//       if (ParamCount() != 1) throw EVnDomSyntax(u"twice() takes one parameter!");
//       const UnicodeString s = VnVarToStr(Param(0)->Value(ANodeList, AIndex));
//       return s + s;
//     }
//   };
//   RegisterXPathFunction(u"twice", VnXPathFunctionClass<TTwice>());
//   doc->SelectSingleElement(u"item[twice(@code)=\"abab\"]");
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "vnxml/rtl/RegularExpressions.h"
#include "vnxml/xml/uVnXMLDOM.h"

namespace vn {

// The base of the functions of the registry. The parameters are terms, evaluated only when the
// function runs; a function checks their count in Value, so that a wrong count raises at the
// first candidate node.
class TVnXPathFunction : public TVnXPathFunctionTerm {
  VN_CLASS(TVnXPathFunction, TVnXPathFunctionTerm)
 public:
  using TVnXPathFunctionTerm::TVnXPathFunctionTerm;
  ~TVnXPathFunction() override;
  // Reads the terms of the parameter list up to the closing ")", separated by ",". A function
  // made without a parser has no parameter list and cannot be evaluated.
  void ParseParams(TVnTextParser *AFilterParser) override;

  // Whether the parameter list has been read.
  bool HasParams() const noexcept { return FHasParams; }
  Integer ParamCount() const noexcept { return static_cast<Integer>(FParams.size()); }
  // Raises EListError for a bad index or when the list has not been read.
  TVnXPathBaseTerm *Param(Integer AIndex) const;

 protected:
  // The one node that a path parameter selects from the context node: EVnXPathException
  // "XPDY0002" when it selects nothing, "XPTY0004" when it selects more than one.
  static TVnDOMNode *ResolveNodeParam(TVnXPathValueTerm *ATerm, TVnDOMObjectList *ANodeList,
                                      Integer AIndex, const UnicodeString &AFunctionName);

  // The context node, the node AIndex of ANodeList.
  static TVnDOMNode *ContextNode(TVnDOMObjectList *ANodeList, Integer AIndex);
  // The value of the context node (GetNodeValue).
  static UnicodeString ContextValue(TVnDOMObjectList *ANodeList, Integer AIndex);
  // The value of the parameter AParam.
  Variant ParamValue(Integer AParam, TVnDOMObjectList *ANodeList, Integer AIndex) const;
  // Its text: Null and Empty give "", and so does a value that has no text (an array).
  UnicodeString ParamText(Integer AParam, TVnDOMObjectList *ANodeList, Integer AIndex) const;
  // The node value of the parameter: a path must select exactly one node (ResolveNodeParam
  // with AFunctionName), whose value it is; any other term gives its value.
  Variant ParamNodeValue(Integer AParam, TVnDOMObjectList *ANodeList, Integer AIndex,
                         const UnicodeString &AFunctionName) const;
  // The node of a function of an optional node parameter: the context node without
  // parameters, otherwise the one node of the path in parameter 0. A parameter that is no path
  // raises EVnXPathException "XPTY0004" with ANotANode.
  TVnDOMNode *NodeParam(TVnDOMObjectList *ANodeList, Integer AIndex,
                        const UnicodeString &AFunctionName, const UnicodeString &ANotANode) const;

  std::vector<TVnXPathBaseTerm *> FParams;
  bool FHasParams = false;
};

// The class reference of a function: its class and its constructor, through which the registry
// makes a term of a class it does not know at compile time.
struct TVnXPathFunctionMeta {
  TClass FClass;
  TVnXPathFunction *(*FCreate)(TVnXPathEquation *AEquation);
};
using TVnXPathFunctionClass = const TVnXPathFunctionMeta *;

// The class reference of T, which descends from TVnXPathFunction and has the constructor
// T(TVnXPathEquation *).
template <class T>
TVnXPathFunctionClass VnXPathFunctionClass() noexcept {
  static_assert(std::is_base_of_v<TVnXPathFunction, T>);
  static const TVnXPathFunctionMeta meta{
      T::StaticClass(),
      [](TVnXPathEquation *AEquation) -> TVnXPathFunction * { return New<T>(AEquation); }};
  return &meta;
}

// An XPath error: the code ("XPDY0002", "FOER0000" ...) and the object the error is about.
class EVnXPathException : public EVnDomException {
  VN_EXCEPTION_CLASS(EVnXPathException, EVnDomException)
 public:
  EVnXPathException(const UnicodeString &AErrorCode, const UnicodeString &AMessage,
                    const UnicodeString &AErrorObject = {});
  const UnicodeString &GetErrorCode() const noexcept { return FErrorCode; }
  const UnicodeString &GetErrorObject() const noexcept { return FErrorObject; }

 private:
  UnicodeString FErrorCode;
  UnicodeString FErrorObject;
};

// Adds a function to the end of the registry. Nothing checks for a name already there.
void RegisterXPathFunction(const UnicodeString &AName, TVnXPathFunctionClass AClass);
// Makes the function registered first under AName (compared case-sensitively) and reads its
// parameters when AFilterParser is given, the parser standing just behind the "(". An unknown
// name raises EVnDomSyntax "The filter contains an unsupported function (%s)!".
TVnXPathFunction *CreateFunctionTerm(const UnicodeString &AName, TVnXPathEquation *AEquation,
                                     TVnTextParser *AFilterParser);
// The collation registered under a URI: the W3C URIs of the codepoint and the HTML ASCII
// case-insensitive collations. An unknown URI raises EVnDomSyntax "The collation "%s" is not
// supported!".
TVnXPathCollationClass FindXPathCollation(const UnicodeString &AURI);

// ---------------------------------------------------------------------------------------------
// The function library
//
// The functions that every predicate can call, registered under the names below (without the
// "fn:" of their messages) in this order. The names are those of the XPath 2.0 functions, but
// the behaviour is this library's own, as told at each class: several of them differ from
// XPath on purpose. Values are Variants: a node's value is text, so a function that wants a
// number of integer or float kind takes literals and the results of numeric functions only
// (abs(price) is Null). A wrong number of parameters raises EVnDomSyntax when the function
// runs, at the first candidate node; the messages are fixed texts, typing errors included.
// first(), last(), position() and node() are terms of the predicate engine, not registered
// functions.
//
// The "context value" is the value of the context node; the "text" of a parameter is its value
// as text, "" for Null; the "node value" of a parameter is, for a path, the value of the one
// node it must select (EVnXPathException "XPDY0002" for none, "XPTY0004" for several) and
// otherwise the parameter's value.

// Adds the library's functions, in their order of registration, through AAdd. The registry
// calls it on its first use, before any function of the application.
using TVnXPathFunctionAdder =
    std::function<void(const UnicodeString &AName, TVnXPathFunctionClass AClass)>;
void RegisterStandardXPathFunctions(const TVnXPathFunctionAdder &AAdd);

// Declares a function class of the library: a TVnXPathFunction with a Value of its own.
#define VN_XPATH_FUNCTION_CLASS(Self)                                    \
  class Self : public TVnXPathFunction {                                 \
    VN_CLASS(Self, TVnXPathFunction)                                     \
   public:                                                               \
    using TVnXPathFunction::TVnXPathFunction;                            \
    Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override; \
  };

// --- nodes

// "text", any parameters, ignored: whether the context node has a child of node type text
// (CDATA is not text here). A boolean, never the text itself.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnText)
// "node-name", 0 or 1 parameter (a path to one node): for a namespace declaration, the prefix
// it declares; otherwise the name of the context node, qualified or local as the filter matches
// names. The parameter only decides between the two.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnNodeName)
// "nilled", 0 or 1 parameter (a path to one node): Null for a node that is no element; for an
// element whether its attribute nil (xsi:nil when names match qualified) is "true" under the
// filter's collation, false without it.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnNilled)

// "string", 0 or 1 parameter: the context value, or the node value of the parameter, as text.
// A parameter that is a sequence "(...)" or an array "[...]" is refused when the predicate is
// read (EVnXPathException "XPTY0004" or "FOTY0014").
class TVnXPathFnString : public TVnXPathFunction {
  VN_CLASS(TVnXPathFnString, TVnXPathFunction)
 public:
  using TVnXPathFunction::TVnXPathFunction;
  void ParseParams(TVnTextParser *AFilterParser) override;
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override;
};

// "data", 0 or 1 parameter: as "string", without the check of the parameter's form.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnData)
// "base-uri", 0 or 1 parameter (a path to one node): the namespace URI of the node, or when it
// has none the document URI of its document.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnBaseUri)
// "document-uri", 0 or 1 parameter (a path to one node): the document URI of the node's
// document; "" for a node in no document.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnDocumentUri)

// --- errors and tracing

// "error", 0 to 3 parameters (code, message, error object), raises EVnXPathException: without
// parameters "FOER0000" "An exception was raised". The parameters convert as Variants do, so a
// Null one raises a conversion error instead.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnError)
// "trace", 2 parameters (value, label): logs label + "; value=" + value to the logger "XPath"
// (uVnLogger), or the label alone when the value's text is empty. The result is Empty, so a
// predicate of trace() alone, or a comparison with it, holds for no node.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnTrace)

// --- numbers. Integer and float values, booleans (0 or 1) and date-times (as floats) count;
// any other value (text, node values) gives Null.

// "abs", 1 parameter: the absolute value, a 64-bit integer or a float.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnAbs)
// "ceiling", 1 parameter: the smallest integer not below the value, as a 32-bit integer.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnCeiling)
// "floor", 1 parameter: the largest integer not above the value, as a 32-bit integer.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnFloor)
// "round", 1 parameter: the nearest integer, halves to the even one (round(2.5) is 2), as a
// 64-bit integer.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnRound)
// "half-to-even", 1 parameter: the same computation as "round".
VN_XPATH_FUNCTION_CLASS(TVnXPathFnRoundHalfToEven)
// "number", 0 or 1 parameter: the context value or the node value of the parameter as a
// float; a value that is no number raises EConvertError, an empty one (Null) stays.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnNumber)

// --- code points (UTF-16 code units)

// "codepoints-to-string", 0 or 1 parameter, a sequence of integers (so written with double
// parentheses: codepoints-to-string((72,105))): the string of those code units. Null without
// a parameter or when an item is no integer.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnCodepointsToString)
// "string-to-codepoints", 1 parameter: for a string the text "(72, 105)" of its code units,
// "()" for "", Null for a value of any other kind.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnStringToCodepoints)

// --- comparison

// "compare", 2 or 3 parameters (a, b, collation URI): the collation's order of the two texts,
// -1, 0 or 1, under the filter's collation or the one registered under the URI; Null when
// either value is empty (Null).
VN_XPATH_FUNCTION_CLASS(TVnXPathFnCompare)
// "codepoint-equal", 2 parameters: for a first value that is a string, the Variant equality of
// both values; Null otherwise.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnCodepointEqual)

// --- strings. Lengths and positions count UTF-16 code units, 1-based.

// "concat", any parameters: the values added up by Variant addition from "": strings
// concatenate, a Null makes the result Null, and a number raises (it would be added as one).
VN_XPATH_FUNCTION_CLASS(TVnXPathFnConcat)
// "string-join", 1 or 2 parameters (list, separator): the items of a sequence joined by the
// separator (by Variant addition, so a number among them raises); any other value is taken as
// the list of its characters: string-join("abc","-") is "a-b-c".
VN_XPATH_FUNCTION_CLASS(TVnXPathFnStringJoin)
// "substring", up to 3 parameters (string, start, length): Copy of the string from start
// (below 1 counts as 1, the length unchanged) for length characters, or to the end. "" with
// fewer than 2 parameters; Null as soon as the string is no string or start or length no
// integer.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnSubstring)
// "string-length", 0 or 1 parameter: the length of the context value or of the parameter's
// text, a 32-bit integer.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnStringLength)
// "normalize-space", 0 or 1 parameter: the words of the context value or of the parameter's
// text, split at spaces (U+0020 only) and joined by one space.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnNormalizeSpace)
// "normalize-unicode", 0 to 2 parameters (string, form): the context value or the parameter's
// text in Unicode normalization form "NFC" (the default), "NFD", "NFKC" or "NFKD" (names in
// upper case); an empty form leaves the text as it is, another raises EVnDomSyntax.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnNormalizeUnicode)
// "simplify", 1 parameter: a string with its runs of white space (space, tab, CR, LF) made one
// space and none at either end; Null for a value of another kind.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnSimplify)
// "upper-case", 1 parameter: a string with a-z in upper case, other letters unchanged; Null
// for a value of another kind.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnUpperCase)
// "lower-case", 1 parameter: a string with A-Z in lower case; Null for another kind.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnLowerCase)
// "translate", 3 parameters (s, from, to): every occurrence of the whole of from in s replaced
// by the whole of to, case-sensitively: translate("abcabc","ab","x") is "xcxc".
VN_XPATH_FUNCTION_CLASS(TVnXPathFnTranslate)
// "contains", 2 parameters (s, part): whether part occurs in s, by the collation's Pos (so an
// empty part never occurs).
VN_XPATH_FUNCTION_CLASS(TVnXPathFnContains)
// "starts-with", 2 parameters: whether the first occurrence of part is at the start of s.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnStartsWith)
// "ends-with", 2 parameters: whether s ends with part, case-sensitively whatever the collation.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnEndsWith)
// "substring-before", 2 parameters: the characters of s before the first occurrence of part;
// "" when part does not occur.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnSubstringBefore)
// "substring-after", 2 parameters: the characters of s from the one after the first character
// of the first occurrence of part: substring-after("tattoo","tat") is "attoo"; all of s when
// part does not occur.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnSubstringAfter)

// --- regular expressions, Perl-compatible (TRegEx). The options come from letters found in a
// flags text by the collation's Pos: "s" dot matches line ends, "m" multi-line, "i" ignore
// case, "x" ignore white space in the pattern, "q" explicit capture (only named groups
// capture). A bad pattern raises ERegularExpressionError.

// The base of the three: keeps the pattern it compiled last, since a function runs once per
// candidate node, mostly with the same pattern.
class TVnXPathRegExFunction : public TVnXPathFunction {
  VN_CLASS(TVnXPathRegExFunction, TVnXPathFunction)
 public:
  using TVnXPathFunction::TVnXPathFunction;

 protected:
  // The options that AFlags names under the filter's collation.
  TRegExOptions OptionsOf(const UnicodeString &AFlags) const;
  // The compiled pattern.
  const TRegEx &RegEx(const UnicodeString &APattern, TRegExOptions AOptions);

 private:
  std::optional<TRegEx> FRegEx;
};

// "matches", 2 or 3 parameters (s, pattern, flags): whether the pattern matches anywhere in s.
class TVnXPathFnMatches : public TVnXPathRegExFunction {
  VN_CLASS(TVnXPathFnMatches, TVnXPathRegExFunction)
 public:
  using TVnXPathRegExFunction::TVnXPathRegExFunction;
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override;
};

// "replace", 3 or 4 parameters (s, pattern, replacement, flags): every match replaced by the
// replacement, in which "$1" or "\1" stand for a group (TRegEx::Replace). The options are read
// from the replacement text itself; the fourth parameter is accepted and never read.
class TVnXPathFnReplace : public TVnXPathRegExFunction {
  VN_CLASS(TVnXPathFnReplace, TVnXPathRegExFunction)
 public:
  using TVnXPathRegExFunction::TVnXPathRegExFunction;
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override;
};

// "tokenize", 0 to 3 parameters (s, pattern, flags): the pieces of s as one text, each in
// double quotes, joined by ", " in parentheses: ("a", "b"). Without a pattern s is split at
// spaces as normalize-space splits it; with one, at its matches, empty pieces included.
// Without parameters "()".
class TVnXPathFnTokenize : public TVnXPathRegExFunction {
  VN_CLASS(TVnXPathFnTokenize, TVnXPathRegExFunction)
 public:
  using TVnXPathRegExFunction::TVnXPathRegExFunction;
  Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override;
};

// --- booleans

// "true", any parameters, ignored.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnTrue)
// "false", any parameters, ignored.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnFalse)
// "boolean", 1 parameter: for a list, false when it is empty and otherwise whether its first
// item is a path; for a literal, a number other than 0 or a non-empty string. Any other
// parameter, a path too, raises EVnXPathException "FORG0006".
VN_XPATH_FUNCTION_CLASS(TVnXPathFnBoolean)
// "not" as a called function, where the filter does not read it as its own negation (inside a
// parameter list, or on the right of a comparison): it always raises, since it stands on a
// "boolean" that has no parameters. At the start of a predicate or behind "and" and "or",
// not(...) is the filter's negation.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnNot)

// --- dates, times and durations. They work on lexical forms: each call reads its text anew
// (VnXMLToDuration, VnDecodeISODateTime) and answers a number or a text; there is no typed
// date value. A wrong count raises EVnDomSyntax; a date text that does not decode raises the
// decoder's EConvertError, and a Null date value the Variant's conversion error.

// Adds the date, time and duration functions, in their order of registration, through AAdd:
// the library registers them right behind "not".
void RegisterXPathDateFunctions(const TVnXPathFunctionAdder &AAdd);

// The duration functions, 1 parameter each: an empty sequence "()" gives Null; otherwise the
// parameter's text is read as a duration, and a text that is none raises EVnXPathException
// "FORG0006". The result is negative for a negative duration.
//
// "years-from-duration": the whole years of the months, a 32-bit integer.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnYearsFromDuration)
// "months-from-duration": all the months, years included ("P1Y2M" gives 14), a 32-bit integer.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnMonthsFromDuration)
// "days-from-duration": the whole days of the seconds, a 64-bit integer.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnDaysFromDuration)
// "hours-from-duration": the whole hours of the seconds within their day, a 64-bit integer.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnHoursFromDuration)
// "minutes-from-duration": the whole minutes within their hour, a 64-bit integer.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnMinutesFromDuration)
// "seconds-from-duration": all the seconds, days, hours and minutes included ("PT1M30S" gives
// 90), a float.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnSecondsFromDuration)

// "dateTime", 2 parameters (date, time): the date-time text "YYYY-MM-DDThh:mm:ss.mmm" of the
// date's day and the time's time of day, with the zone of the time, or of the date when the time
// has none. A date and a time with zones of different forms ("Z" and an offset) raise
// EVnXPathException "FORG0008"; two offsets are not compared, the time's wins.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnDateTime)

// The fields of a date, time or date-time text, 1 parameter each; all of them read any of the
// three forms alike, so "year-from-date" and "year-from-dateTime" are one computation, and a
// field that the text lacks is 0. Fields are 16-bit integers, the seconds a float with the
// milliseconds as fraction; the year is negative for a text that starts with "-".
VN_XPATH_FUNCTION_CLASS(TVnXPathFnYearFromDateTime)
// "month-from-dateTime": the month of a date, time or date-time text.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnMonthFromDateTime)
// "day-from-dateTime": the day of a date, time or date-time text.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnDayFromDateTime)
// "hours-from-dateTime": the hours of a date, time or date-time text.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnHoursFromDateTime)
// "minutes-from-dateTime": the minutes of a date, time or date-time text.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnMinutesFromDateTime)
// "seconds-from-dateTime": the seconds of a date, time or date-time text.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnSecondsFromDateTime)
// The zone of a date, time or date-time text as a duration text: an offset as written ("+02:00"
// gives "PT2H", "-05:30" "-PT5H30M"); "Z" the offset of the machine's local zone at the text's
// date and time read as local time (so not a zero duration, except where local time is UTC);
// Null for a text without zone.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnTimeZoneFromDateTime)
// "year-from-date": the year of a date, time or date-time text.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnYearFromDate)
// "month-from-date": the month of a date, time or date-time text.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnMonthFromDate)
// "day-from-date": the day of a date, time or date-time text.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnDayFromDate)
// "timezone-from-date": the zone of a date, time or date-time text.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnTimeZoneFromDate)
// "hours-from-time": the hours of a date, time or date-time text.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnHoursFromTime)
// "minutes-from-time": the minutes of a date, time or date-time text.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnMinutesFromTime)
// "seconds-from-time": the seconds of a date, time or date-time text.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnSecondsFromTime)
// "timezone-from-time": the zone of a date, time or date-time text.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnTimeZoneFromTime)

// "adjust-dateTime-to-timezone", 1 or 2 parameters (dt, zone): gives dt another zone without
// moving its time. The zone is the duration text of the second parameter (its whole hours and
// minutes), none when that is empty, and without a second parameter the machine's local offset
// now. A dt without zone gets the zone appended to its text ("+hh:mm"); a dt with a zone is
// written anew as "YYYY-MM-DDThh:mm:ss.mmm" from its fields, followed by the zone if there is
// one. A dt without zone and no zone given stays as it is; an empty dt gives Null.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnAdjustDateTimeToTimeZone)
// "adjust-date-to-timezone" and "adjust-time-to-timezone", any parameters, none of them read:
// they give Empty.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnAdjustDateToTimeZone)
// "adjust-time-to-timezone": gives Empty, as "adjust-date-to-timezone" does.
VN_XPATH_FUNCTION_CLASS(TVnXPathFnAdjustTimeToTimeZone)

#undef VN_XPATH_FUNCTION_CLASS

}  // namespace vn
