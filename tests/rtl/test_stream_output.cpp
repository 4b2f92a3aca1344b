// Text written to narrow streams. The library's header comes before GoogleTest's here on
// purpose: GoogleTest's failure messages look for operator<< only among the global declarations
// that precede its own header, and this file checks that the UTF-16 one is among them then.
#include "vnxml/rtl/SysUtils.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <sstream>
#include <string>

using namespace vn;

namespace {

template <class T>
std::string Streamed(const T &AValue) {
  std::ostringstream os;
  os << AValue;
  return os.str();
}

}  // namespace

TEST(StringsStream, UnicodeStringWritesUTF8) {
  const UnicodeString s = u"a\u00E9\u20AC\U0001F600";
  EXPECT_EQ(Streamed(s), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(Streamed(UnicodeStringView(s).substr(0, 2)), "a\xC3\xA9");
  EXPECT_EQ(Streamed(UnicodeString()), "");
  // A lone surrogate writes U+FFFD, as UTF8Encode does.
  EXPECT_EQ(Streamed(UnicodeString(1, char16_t(0xDC00))), "\xEF\xBF\xBD");
  std::ostringstream padded;
  padded << std::setw(4) << UnicodeString(u"ab") << '|';
  EXPECT_EQ(padded.str(), "  ab|");
  // GoogleTest's failure messages reach it, since the library's header came first.
  const ::testing::AssertionResult r = ::testing::AssertionFailure() << s;
  EXPECT_EQ(std::string(r.message()), Streamed(s));
  // Its printer of values has a form of its own for UTF-16 text.
  EXPECT_EQ(::testing::PrintToString(UnicodeString(u"ab")), "u\"ab\"");
}

TEST(StringsStream, AnsiStringWritesUTF8FromItsPage) {
  EXPECT_EQ(Streamed(AnsiString("caf\xE9", 28591)), "caf\xC3\xA9");
  EXPECT_EQ(Streamed(AnsiString("\x80", CP_WIN1252)), "\xE2\x82\xAC");
  // Page 0 is the default page, UTF-8 here: the bytes as they are.
  EXPECT_EQ(Streamed(AnsiString("caf\xC3\xA9")), "caf\xC3\xA9");
  EXPECT_EQ(::testing::PrintToString(AnsiString("caf\xE9", 28591)), "\"caf\xC3\xA9\" (page 28591)");
  EXPECT_EQ(::testing::PrintToString(AnsiString("x")), "\"x\"");
}
