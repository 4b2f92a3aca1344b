// Perl-compatible regular expressions over UTF-16 text.
//
//   TRegEx re(u"(\\w+)@(\\w+)", {roIgnoreCase});
//   TMatch m = re.Match(u"mail: joe@example");
//   if (m.Success()) m.Groups()[2].Value();     // "example"
//   TRegEx::Replace(u"a-b", u"-", u"+");        // "a+b"
//
// Positions are 1-based and count UTF-16 code units. A subject may hold unpaired surrogates;
// they match nothing, not even ".". Errors raise ERegularExpressionError.
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "vnxml/rtl/Sets.h"
#include "vnxml/rtl/SysUtils.h"
#include "vnxml/rtl/Types.h"

namespace vn {

enum TRegExOption : Byte {
  roNone,
  roIgnoreCase,
  roMultiLine,           // ^ and $ also at line ends
  roExplicitCapture,     // only named groups capture
  roCompiled,            // accepted; no effect
  roSingleLine,          // . matches line ends too
  roIgnorePatternSpace,  // blanks and #-comments in the pattern are ignored
  roNotEmpty             // an empty match does not count
};
using TRegExOptions = Set<TRegExOption, roNone, roNotEmpty>;

namespace detail {
struct TRegExCode;
}

// One group of a match. A group that did not take part has Success false and is empty.
class TGroup {
 public:
  TGroup() = default;
  bool Success() const noexcept { return FSuccess; }
  // 1-based; 0 for a group that did not take part.
  Integer Index() const noexcept { return FIndex; }
  Integer Length() const noexcept { return FLength; }
  UnicodeString Value() const;

 private:
  friend class TMatch;
  friend class TGroupCollection;
  TGroup(std::shared_ptr<const UnicodeString> AInput, Integer AIndex, Integer ALength,
         bool ASuccess)
      : FInput(std::move(AInput)), FIndex(AIndex), FLength(ALength), FSuccess(ASuccess) {}
  std::shared_ptr<const UnicodeString> FInput;
  Integer FIndex = 0;
  Integer FLength = 0;
  bool FSuccess = false;
};

// The groups of a match: the whole match at 0, then every group of the pattern by number.
// A bad number raises "Index out of bounds (%d)", an unknown name "Invalid group name (%s)".
class TGroupCollection {
 public:
  using const_iterator = std::vector<TGroup>::const_iterator;

  TGroupCollection() = default;
  Integer Count() const noexcept { return static_cast<Integer>(FList.size()); }
  const TGroup &operator[](Integer AIndex) const;
  const TGroup &operator[](const UnicodeString &AName) const;
  const TGroup &Item(Integer AIndex) const { return (*this)[AIndex]; }
  const_iterator begin() const noexcept { return FList.begin(); }
  const_iterator end() const noexcept { return FList.end(); }

 private:
  friend class TMatch;
  std::shared_ptr<const detail::TRegExCode> FCode;
  std::vector<TGroup> FList;
};

// The result of one search. An unsuccessful match is empty and has no groups.
class TMatch {
 public:
  TMatch() = default;
  bool Success() const noexcept { return FSuccess; }
  // 1-based position of the match; 0 for no match.
  Integer Index() const noexcept { return FGroups.FList.empty() ? 0 : FGroups.FList[0].Index(); }
  Integer Length() const noexcept { return FGroups.FList.empty() ? 0 : FGroups.FList[0].Length(); }
  UnicodeString Value() const;
  const TGroupCollection &Groups() const noexcept { return FGroups; }
  // The next match in the same subject. After an empty match the search goes on from the same
  // place but takes no empty match there, so that it always moves forward.
  TMatch NextMatch() const;
  // The replacement text with its group references expanded for this match.
  UnicodeString Result(const UnicodeString &AReplacement) const;

 private:
  friend class TRegEx;
  static TMatch Search(std::shared_ptr<const detail::TRegExCode> ACode,
                       std::shared_ptr<const UnicodeString> AInput, std::size_t AStart,
                       std::size_t AEnd, bool ANotEmptyAtStart);
  std::shared_ptr<const UnicodeString> FInput;
  std::size_t FEnd = 0;  // the end of the searched range (0-based, exclusive)
  TGroupCollection FGroups;
  bool FSuccess = false;
};

// All matches of a search, in order.
class TMatchCollection {
 public:
  using const_iterator = std::vector<TMatch>::const_iterator;

  TMatchCollection() = default;
  Integer Count() const noexcept { return static_cast<Integer>(FList.size()); }
  // A bad index raises "Index out of bounds (%d)".
  const TMatch &operator[](Integer AIndex) const;
  const TMatch &Item(Integer AIndex) const { return (*this)[AIndex]; }
  const_iterator begin() const noexcept { return FList.begin(); }
  const_iterator end() const noexcept { return FList.end(); }

 private:
  friend class TRegEx;
  std::vector<TMatch> FList;
};

// Computes the text that replaces one match.
using TMatchEvaluator = std::function<UnicodeString(const TMatch &AMatch)>;

// A compiled pattern. Copies share the compiled code.
//
// Replacement texts: "\0".."\9" and "$0".."$9" (a second digit is taken when that group exists),
// "\g<N>", "\g<name>", "${N}" and "${name}" insert a group; "\&" and "$&" the whole match;
// "\`" the text before the match, "\'" the text after it, "\_" the whole subject; "\\" is a
// backslash, "\$" and "$$" a dollar. A group that did not take part, or a number beyond the
// groups, inserts nothing; an unknown name and any other escape stay as written.
class TRegEx {
 public:
  // Compiles the pattern; a bad one raises ERegularExpressionError "<reason> at offset <n>".
  explicit TRegEx(const UnicodeString &APattern, TRegExOptions AOptions = {});

  const UnicodeString &Pattern() const noexcept;
  TRegExOptions Options() const noexcept;

  bool IsMatch(const UnicodeString &AInput) const;
  // Searches from the 1-based AStartPos.
  bool IsMatch(const UnicodeString &AInput, Integer AStartPos) const;
  TMatch Match(const UnicodeString &AInput) const;
  TMatch Match(const UnicodeString &AInput, Integer AStartPos) const;
  // Searches the ALength code units from the 1-based AStartPos.
  TMatch Match(const UnicodeString &AInput, Integer AStartPos, Integer ALength) const;
  TMatchCollection Matches(const UnicodeString &AInput) const;
  TMatchCollection Matches(const UnicodeString &AInput, Integer AStartPos) const;
  // Replaces every match, or the first ACount when ACount >= 0.
  UnicodeString Replace(const UnicodeString &AInput, const UnicodeString &AReplacement,
                        Integer ACount = -1) const;
  UnicodeString Replace(const UnicodeString &AInput, const TMatchEvaluator &AEvaluator,
                        Integer ACount = -1) const;
  // The pieces between the matches, empty ones included; captured groups are not added. With
  // ACount > 0 at most ACount pieces, the last one holding the rest of the input.
  std::vector<UnicodeString> Split(const UnicodeString &AInput, Integer ACount = 0) const;

  static bool IsMatch(const UnicodeString &AInput, const UnicodeString &APattern,
                      TRegExOptions AOptions = {});
  static TMatch Match(const UnicodeString &AInput, const UnicodeString &APattern,
                      TRegExOptions AOptions = {});
  static TMatchCollection Matches(const UnicodeString &AInput, const UnicodeString &APattern,
                                  TRegExOptions AOptions = {});
  static UnicodeString Replace(const UnicodeString &AInput, const UnicodeString &APattern,
                               const UnicodeString &AReplacement, TRegExOptions AOptions = {});
  static UnicodeString Replace(const UnicodeString &AInput, const UnicodeString &APattern,
                               const TMatchEvaluator &AEvaluator, TRegExOptions AOptions = {});
  static std::vector<UnicodeString> Split(const UnicodeString &AInput,
                                          const UnicodeString &APattern,
                                          TRegExOptions AOptions = {});

  // Puts a backslash before . [ ] ( ) ? * + { } ^ $ | and \, and writes NUL as "\0" and
  // CR LF as "\r\n". With AUseWildCards, "*" becomes "(.*)" and "?" becomes "(.)", while a
  // doubled "**" or "??" stands for the character itself.
  static UnicodeString Escape(const UnicodeString &AText, bool AUseWildCards = false);

 private:
  std::shared_ptr<const detail::TRegExCode> FCode;
};

}  // namespace vn
