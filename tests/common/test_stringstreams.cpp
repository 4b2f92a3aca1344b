#include <gtest/gtest.h>

#include <string>

#include "vnxml/common/uVnClasses.h"

using namespace vn;

namespace {
std::string Bytes(TMemoryStream *AStream) {
  return std::string(static_cast<const char *>(AStream->Memory()),
                     static_cast<std::size_t>(AStream->GetSize()));
}
}  // namespace

TEST(StringStreamTest, Utf16StreamHoldsTheTextAsIs) {
  TVnStringStream *s = New<TVnStringStream>(CP_UTF16, 16);
  s->Add(u"<a>");
  s->AddChar(u'\u20ac');
  s->Add(u"\U0001F600");
  EXPECT_EQ(s->GetWString(), u"<a>\u20ac\U0001F600");
  EXPECT_EQ(s->GetAsString(), s->GetWString());
  EXPECT_EQ(s->GetSize(), 6 * 2);
  EXPECT_EQ(s->GetAsUTF8(), "<a>\xE2\x82\xAC\xF0\x9F\x98\x80");
  EXPECT_EQ(s->StringData(28591), "<a>??");
  s->Free();
}

TEST(StringStreamTest, OneByteStreamConvertsOnAdd) {
  TVnStringStream *s = New<TVnStringStream>(1252, 16);
  s->Add(u"caf\u00e9 ");
  s->AddChar(u'\u20ac');
  EXPECT_EQ(s->GetDataString(), "caf\xE9 \x80");
  AnsiString a = s->GetAString();
  EXPECT_EQ(a.CodePage(), 1252);
  EXPECT_EQ(TVnEncoding::ConvertA(a), u"caf\u00e9 \u20ac");
  EXPECT_EQ(s->GetAsString(), u"caf\u00e9 \u20ac");
  EXPECT_EQ(s->GetAsUTF8(), "caf\xC3\xA9 \xE2\x82\xAC");
  s->Free();
}

TEST(StringStreamTest, DefaultPageIsTheSystemPage) {
  TVnStringStream *s = New<TVnStringStream>(0, 16);
  s->Add(u"\u00fc");
  EXPECT_EQ(s->GetDataString(), "\xC3\xBC");
  EXPECT_EQ(s->GetAsString(), u"\u00fc");
  s->Free();
}

TEST(StringStreamTest, ConstructorsStartAtZeroAndAddAppends) {
  TVnStringStream *s = New<TVnStringStream>(UnicodeString(u"ab"));
  EXPECT_EQ(s->GetPosition(), 0);
  EXPECT_EQ(s->CodePage(), CP_UTF16);
  char16_t c;
  s->ReadBuffer(&c, 2);
  EXPECT_EQ(c, u'a');
  s->Add(u"c");
  EXPECT_EQ(s->GetWString(), u"abc");
  s->Free();

  TVnStringStream *b = New<TVnStringStream>("xyz", 3, 28591);
  EXPECT_EQ(b->GetPosition(), 0);
  EXPECT_EQ(b->GetAsString(), u"xyz");
  b->Free();

  TVnStringStream *a = New<TVnStringStream>(AnsiString("\xE9t\xE9"), 28591);
  EXPECT_EQ(a->GetAsString(), u"\u00e9t\u00e9");
  a->Free();
}

TEST(Utf8AdapterTest, WritesUtf8WithAndWithoutMark) {
  TMemoryStream *m = New<TMemoryStream>();
  {
    TVnUTF8StreamAdapter *a = New<TVnUTF8StreamAdapter>(m, false, true);
    UnicodeString t = u"a\u00e9\u20ac";
    a->WriteBuffer(t.data(), static_cast<Int64>(t.size() * 2));
    EXPECT_EQ(a->GetPosition(), 6);
    EXPECT_THROW(a->Read(&t[0], 2), EStreamError);
    a->Free();
  }
  EXPECT_EQ(Bytes(m),
            "\xEF\xBB\xBF"
            "a\xC3\xA9\xE2\x82\xAC");
  m->Free();
}

TEST(Utf8AdapterTest, WritesSplitInsideCharactersAreCompleted) {
  TMemoryStream *m = New<TMemoryStream>();
  TVnUTF8StreamAdapter *a = New<TVnUTF8StreamAdapter>(m, false, false);
  UnicodeString t = u"x\U0001F600y";
  const char *bytes = reinterpret_cast<const char *>(t.data());
  // One byte at a time: halves of code units and halves of the surrogate pair.
  for (std::size_t i = 0; i < t.size() * 2; ++i) a->WriteBuffer(bytes + i, 1);
  a->Free();
  EXPECT_EQ(Bytes(m), "x\xF0\x9F\x98\x80y");
  m->Free();
}

TEST(Utf8AdapterTest, UnfinishedHalfBecomesReplacementAndOwnedTargetIsFreed) {
  TMemoryStream *m = New<TMemoryStream>();
  TVnUTF8StreamAdapter *a = New<TVnUTF8StreamAdapter>(m, false, false);
  char16_t high = 0xD83D;
  a->WriteBuffer(&high, 2);
  a->Free();
  EXPECT_EQ(Bytes(m), "\xEF\xBF\xBD");
  // The owning adapter frees its target; LeakSanitizer would report otherwise.
  TVnUTF8StreamAdapter *owner = New<TVnUTF8StreamAdapter>(m, true, false);
  owner->Free();
}

TEST(CodePageTest, ByteOrderMarksAreReadAndSkipped) {
  struct {
    std::string Bytes;
    Word Page;
    Int64 After;
  } cases[] = {{"\xEF\xBB\xBF<a/>", CP_UTF8, 3},
               {"\xFF\xFE<\0", CP_UTF16, 2},
               {"<a/>", 0, 0},
               {"\xEF\xBB", 0, 0},
               {"", 0, 0}};
  for (const auto &c : cases) {
    TMemoryStream *m = New<TMemoryStream>();
    m->WriteBuffer(c.Bytes.data(), static_cast<Int64>(c.Bytes.size()));
    m->SetPosition(0);
    EXPECT_EQ(VnGetCodePage(m), c.Page);
    EXPECT_EQ(m->GetPosition(), c.After);
    m->Free();
  }
}

TEST(CodePageTest, BigEndianMarkIsRefused) {
  TMemoryStream *m = New<TMemoryStream>();
  m->WriteBuffer("\xFE\xFF\0<", 4);
  m->SetPosition(0);
  try {
    VnGetCodePage(m);
    FAIL();
  } catch (EEncodingError &e) {
    EXPECT_EQ(e.Message, u"The specified encoding is not supported!");
  }
  EXPECT_EQ(m->GetPosition(), 0);
  m->Free();
}

TEST(CodePageTest, NamesAndNumbers) {
  EXPECT_EQ(VnCodePage(u"UTF-8"), 65001);
  EXPECT_EQ(VnCodePage(u"utf-8"), 65001);
  EXPECT_EQ(VnCodePage(u"ISO-8859-1"), 28591);
  EXPECT_EQ(VnCodePage(u"latin1"), 28591);
  EXPECT_EQ(VnCodePage(u"Windows-1252"), 1252);
  EXPECT_EQ(VnCodePage(u"UTF-16"), 1200);
  EXPECT_EQ(VnCodePage(u"us-ascii"), 20127);
  EXPECT_EQ(VnCodePage(u"ISO-8859-15"), 28605);
  EXPECT_EQ(VnCodePage(u"Shift_JIS"), 932);
  EXPECT_THROW(VnCodePage(u"no-such-encoding"), EEncodingError);
  EXPECT_THROW(VnCodePage(u""), EEncodingError);

  EXPECT_EQ(VnCodePage(Word(65001)), u"UTF-8");
  EXPECT_EQ(VnCodePage(Word(1200)), u"UTF-16");
  EXPECT_EQ(VnCodePage(Word(28591)), u"ISO-8859-1");
  EXPECT_EQ(VnCodePage(Word(1252)), u"windows-1252");
  EXPECT_THROW(VnCodePage(Word(12345)), EEncodingError);
  for (Word page : {Word(65001), Word(1200), Word(28591), Word(1252), Word(28605), Word(20127)})
    EXPECT_EQ(VnCodePage(VnCodePage(page)), page) << page;
}

TEST(CodePageTest, ConversionsBothWays) {
  EXPECT_EQ(TVnEncoding::ConvertW(u"\u00e9\u20ac", 1252), "\xE9\x80");
  EXPECT_EQ(TVnEncoding::ConvertW(u"\u00e9\u20ac", 28591), "\xE9?") << "unmappable becomes ?";
  EXPECT_EQ(TVnEncoding::ConvertW(u"\u00e9", CP_UTF8), "\xC3\xA9");
  EXPECT_EQ(TVnEncoding::ConvertA(RawByteString("\xE9\x80"), 1252), u"\u00e9\u20ac");
  const Byte block[] = {0x82, 0xA0};
  EXPECT_EQ(TVnEncoding::ConvertA(block, 2, 932), u"\u3042") << "a double-byte page";
  EXPECT_EQ(TVnEncoding::ConvertA(RawByteString("a\xFF"), CP_UTF8), u"a\uFFFD");
  EXPECT_EQ(TVnEncoding::ConvertA(AnsiString("\xE9", 28591)), u"\u00e9");
  EXPECT_THROW(TVnEncoding::ConvertW(u"x", 12345), EEncodingError);
  EXPECT_THROW(TVnEncoding::ConvertA(RawByteString("x"), 12345), EEncodingError);
  EXPECT_TRUE(IsSingleByteCodePage(1252));
  EXPECT_FALSE(IsSingleByteCodePage(65001));
  EXPECT_FALSE(IsSingleByteCodePage(932));
}
