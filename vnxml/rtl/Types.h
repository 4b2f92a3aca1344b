// Basic scalar and string types of the run-time, and the interface identifier.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <string_view>

namespace vn {

using Byte = std::uint8_t;
using ShortInt = std::int8_t;
using Word = std::uint16_t;
using SmallInt = std::int16_t;
using Cardinal = std::uint32_t;
using LongWord = std::uint32_t;
using Integer = std::int32_t;
using LongInt = std::int32_t;
using Int64 = std::int64_t;
using UInt64 = std::uint64_t;
using NativeInt = std::intptr_t;
using NativeUInt = std::uintptr_t;
using Boolean = bool;
using Single = float;
using Double = double;
// The extended float of this library is a 64-bit float.
using Extended = double;
using WideChar = char16_t;
using AnsiChar = char;
using Char = char16_t;
using HRESULT = std::int32_t;
using Pointer = void *;

constexpr HRESULT S_OK = 0;
constexpr HRESULT S_FALSE = 1;
constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
// The failure that an operation of the failure-by-result kind answers when nothing better is
// known (TObject::SafeCallException).
constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFFu);

// UTF-16 text with value semantics.
using UnicodeString = std::u16string;
using WideString = std::u16string;
using UnicodeStringView = std::u16string_view;
// 8-bit bytes that carry no code page.
using RawByteString = std::string;

// Code page numbers as Windows numbers them.
constexpr Word CP_ACP = 0;
constexpr Word CP_UTF16 = 1200;
constexpr Word CP_UTF16BE = 1201;
constexpr Word CP_UTF8 = 65001;
constexpr Word CP_LATIN1 = 28591;
constexpr Word CP_WIN1252 = 1252;
constexpr Word CP_ASCII = 20127;

// The page that stands for code page 0 ("the system's default page"). It is UTF-8 on this
// platform; a program may change it before it converts any text.
extern Word DefaultSystemCodePage;

// The integer types a code page may be given in after text: at most 32 bits, and no bool.
template <class T>
concept VnCodePageArg = std::integral<T> && sizeof(T) <= sizeof(std::uint32_t) &&
                        !std::same_as<T, bool>;

// 8-bit text together with the code page it is written in (0: the default page).
//
// A second argument after text is always its page: AnsiString("caf\xE9", 28591). Bytes given by
// pointer and length go through a view, AnsiString(std::string_view(p, n), 28591), so that a
// page can never be taken for a length; a pointer followed by a 64-bit integer (a size) does not
// compile.
class AnsiString : public std::string {
 public:
  AnsiString() = default;
  AnsiString(const char *s) : std::string(s) {}
  template <VnCodePageArg P>
  AnsiString(const char *s, P cp) : std::string(s), FCodePage(static_cast<Word>(cp)) {}
  // Pointer and length: write AnsiString(std::string_view(p, n), page).
  AnsiString(const char *, std::size_t) = delete;
  AnsiString(std::string s, Word cp = 0) : std::string(std::move(s)), FCodePage(cp) {}
  AnsiString(std::string_view s, Word cp = 0) : std::string(s), FCodePage(cp) {}

  Word CodePage() const noexcept { return FCodePage; }
  void SetCodePage(Word cp) noexcept { FCodePage = cp; }
  // The page that conversions actually use: the default page for 0.
  Word EffectiveCodePage() const noexcept { return FCodePage ? FCodePage : DefaultSystemCodePage; }

  // Writes the text to a narrow stream as UTF-8, converted from its page.
  friend std::ostream &operator<<(std::ostream &AStream, const AnsiString &AText);
  // GoogleTest's printer hook (found by argument-dependent lookup): the text as UTF-8 in
  // quotes, then the page when it is not 0.
  friend void PrintTo(const AnsiString &AText, std::ostream *AStream);

 private:
  Word FCodePage = 0;
};

// An interface identifier.
struct TGUID {
  std::uint32_t D1 = 0;
  std::uint16_t D2 = 0;
  std::uint16_t D3 = 0;
  std::uint8_t D4[8] = {};

  constexpr bool operator==(const TGUID &o) const noexcept {
    if (D1 != o.D1 || D2 != o.D2 || D3 != o.D3) return false;
    for (int i = 0; i < 8; ++i)
      if (D4[i] != o.D4[i]) return false;
    return true;
  }
  constexpr bool IsEmpty() const noexcept { return *this == TGUID{}; }

  // Parses "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" (the braces are optional) at compile time.
  // A malformed literal is a compile-time error when used in a constant expression.
  static constexpr TGUID Parse(std::string_view s) {
    if (!s.empty() && s.front() == '{') {
      if (s.size() != 38 || s.back() != '}') throw "malformed GUID";
      s = s.substr(1, 36);
    }
    if (s.size() != 36 || s[8] != '-' || s[13] != '-' || s[18] != '-' || s[23] != '-')
      throw "malformed GUID";
    auto hex = [](char c) -> unsigned {
      if (c >= '0' && c <= '9') return static_cast<unsigned>(c - '0');
      if (c >= 'a' && c <= 'f') return static_cast<unsigned>(c - 'a' + 10);
      if (c >= 'A' && c <= 'F') return static_cast<unsigned>(c - 'A' + 10);
      throw "malformed GUID";
    };
    auto num = [&](std::size_t from, std::size_t len) -> std::uint32_t {
      std::uint32_t v = 0;
      for (std::size_t i = from; i < from + len; ++i) v = v * 16 + hex(s[i]);
      return v;
    };
    TGUID g;
    g.D1 = num(0, 8);
    g.D2 = static_cast<std::uint16_t>(num(9, 4));
    g.D3 = static_cast<std::uint16_t>(num(14, 4));
    g.D4[0] = static_cast<std::uint8_t>(num(19, 2));
    g.D4[1] = static_cast<std::uint8_t>(num(21, 2));
    for (int i = 0; i < 6; ++i) g.D4[2 + i] = static_cast<std::uint8_t>(num(24 + 2 * i, 2));
    return g;
  }
};

// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}" in upper case.
UnicodeString GUIDToString(const TGUID &g);
// Reads the braced form; raises EConvertError on anything else.
TGUID StringToGUID(const UnicodeString &s);

}  // namespace vn

// Write UTF-16 text (UnicodeString and its views) to a narrow stream as UTF-8, for logs and test
// output. UnicodeString is a std::u16string, so argument-dependent lookup only searches
// namespace std, which must not be extended: these stand in the global namespace, where
// unqualified lookup ends and where GoogleTest's failure messages look (when this header comes
// before GoogleTest's). A namespace that declares operator<< of its own hides them from its
// code; there, write `using ::operator<<;` or stream vn::UTF8Encode(s).
std::ostream &operator<<(std::ostream &AStream, const std::u16string &AText);
std::ostream &operator<<(std::ostream &AStream, std::u16string_view AText);

namespace vn {
// Code of this namespace finds them even when the namespace gains operators of its own.
using ::operator<<;
}  // namespace vn
