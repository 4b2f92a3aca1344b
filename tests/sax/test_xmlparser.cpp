// The XML scanner: its width-bound characters and slots, and the one-read helpers the reader
// uses in its inner loops, which must agree with the slots of the text source everywhere,
// across refills of a stream source and over text beyond ASCII, malformed UTF-8 included.
#include <random>

#include "sax_test_util.h"

using namespace saxtest;

namespace {

struct TWidthCase {
  Word Page;
  TVnCharacterSetType Width;
};

const TWidthCase cWidths[] = {{CP_LATIN1, cstA}, {CP_UTF16, cstW}, {CP_UTF8, cstU}};

std::string Bytes(const UnicodeString &AText, Word APage) {
  if (APage == CP_UTF16)
    return std::string(reinterpret_cast<const char *>(AText.data()), AText.size() * 2);
  if (APage == CP_UTF8) return UTF8Encode(AText);
  return UnicodeToCodePage(AText, APage);
}

TEST(SaxXMLParser, CharactersAndSlotsFollowTheWidth) {
  for (const TWidthCase &w : cWidths) {
    const std::string bytes = Bytes(u"<a b='1'>x</a>", w.Page);
    TVnXMLParser *p = New<TVnXMLParser>(bytes.data(), bytes.size(), w.Page);
    EXPECT_EQ(p->CharacterSetType(), w.Width);
    if (w.Width == cstW) {
      EXPECT_EQ(*static_cast<const char16_t *>(p->FLt), u'<');
      EXPECT_EQ(*static_cast<const char16_t *>(p->FBracketCA), u']');
    } else {
      EXPECT_EQ(*static_cast<const char *>(p->FLt), '<');
      EXPECT_EQ(*static_cast<const char *>(p->FApos), '\'');
    }
    EXPECT_TRUE(p->CheckCurrChar(p->FLt, true));
    EXPECT_FALSE(p->CheckCurrChar(p->FGt, false));
    p->SkipWhile(soNotEqual, p->FApos);
    EXPECT_EQ(p->CurrCharW(), u'\'');
    p->SkipWhile(soNotEqual, p->FGt);
    EXPECT_EQ(p->GetPosition(), 8);
    try {
      p->CheckCurrChar(p->FEqual, true);
      ADD_FAILURE() << "no exception";
    } catch (const EVnXMLParseError &E) {
      EXPECT_EQ(E.ErrorCode, 2);
      EXPECT_EQ(U8(E.Message), NotWellFormed("=", ">"));
    }
    // At the end of input nothing is found.
    p->SkipWhile(soNotEqual, u'\0');
    EXPECT_FALSE(p->CheckCurrChar(p->FGt, false));
    EXPECT_EQ(p->CurrentText(), u"");
    p->Free();
  }
}

TEST(SaxXMLParser, AChangeOfWidthRebindsTheSlots) {
  const std::string bytes = "<\xC3\xA9>";
  TVnXMLParser *p = New<TVnXMLParser>(bytes.data(), bytes.size(), 0);
  EXPECT_EQ(p->CharacterSetType(), cstA);
  p->SetCharacterSetType(cstU);
  p->SetContentCodePage(CP_UTF8);
  p->NextChar();
  EXPECT_EQ(p->CurrCharW(), u'é');
  p->SkipWhile(soNotEqual, p->FGt);
  EXPECT_EQ(p->GetPosition(), 2);
  p->Free();
}

// A set as the table of SkipAscii.
struct TAsciiTableForTest {
  explicit TAsciiTableForTest(const TVnCharSet &ASet) {
    for (unsigned c = 0; c < 128; ++c) Member[c] = ASet.Contains(c) ? 1 : 0;
  }
  Byte Member[256] = {};
};

// A random text of markup characters, letters, white space and characters of two, three and
// four UTF-8 bytes.
UnicodeString RandomText(std::mt19937 &ARandom, std::size_t ALength) {
  static const char16_t *const pieces[] = {u"<", u">", u"'", u"\"", u"=",  u":",  u"/",
                                           u"!", u"?", u"-", u" ",  u"\n", u"\t", u"a",
                                           u"Z", u"é", u"ÿ", u"€",  u"日", u"𝄞",  u"\x01"};
  UnicodeString s;
  while (s.size() < ALength) s += pieces[ARandom() % std::size(pieces)];
  return s;
}

// Two scanners over the same bytes (kept alive by the caller), one moved by the slots, the
// other by the reader's helpers.
struct TPair {
  TPair(const std::string &ABytes, Word APage, bool AStream) {
    if (AStream) {
      A = New<TVnXMLParser>(new TTrickleStream(ABytes), true, APage);
      B = New<TVnXMLParser>(new TTrickleStream(ABytes), true, APage);
    } else {
      A = New<TVnXMLParser>(ABytes.data(), ABytes.size(), APage);
      B = New<TVnXMLParser>(ABytes.data(), ABytes.size(), APage);
    }
  }
  ~TPair() {
    A->Free();
    B->Free();
  }
  TVnXMLParser *A;
  TVnXMLParser *B;
};

TEST(SaxXMLParser, TheReadersHelpersAgreeWithTheSlots) {
  std::mt19937 random(20240501);
  const TVnCharSet sets[] = {TVnCharSet{':', '<', '>', '/'} + TVnCharSet::Range(0, 32),
                             TVnCharSet{'\'', '"'} + TVnCharSet::Range(0, 32),
                             TVnCharSet::Range(0, 32), TVnCharSet{'=', '>', '<'}};
  for (int round = 0; round < 60; ++round) {
    const UnicodeString text = RandomText(random, 40 + random() % 200);
    for (const TWidthCase &w : cWidths) {
      if (w.Width == cstA && !FitsLatin1(text)) continue;
      for (bool stream : {false, true}) {
        SCOPED_TRACE(std::to_string(round) + " page " + std::to_string(w.Page) +
                     (stream ? " stream" : " block"));
        const std::string bytes = Bytes(text, w.Page);
        TPair pair(bytes, w.Page, stream);
        TVnXMLParser *a = pair.A;
        TVnXMLParser *b = pair.B;
        for (int step = 0; step < 400 && !a->Eof(); ++step) {
          ASSERT_EQ(a->GetCurPos(), b->GetCurPos());
          ASSERT_EQ(b->CurrChar(), a->CurrCharW());
          ASSERT_EQ(b->PeekUnit(), a->PeekCharW());
          for (const char c : {'<', '>', '/', ' ', '\n'}) {
            const char16_t wc = static_cast<char16_t>(c);
            const void *ptr = w.Width == cstW ? static_cast<const void *>(&wc) : &c;
            ASSERT_EQ(b->CurrUnit() == wc, a->CheckCurrChar(ptr, false));
          }
          const unsigned op = random() % 6;
          if (op == 0) {
            a->NextChar();
            b->Step();
          } else if (op <= 2) {
            const TVnCharSet &set = sets[random() % std::size(sets)];
            const bool in = op == 1;
            a->SkipWhileSet(in ? soInSet : soNotInSet, set);
            TAsciiTableForTest table(set);
            b->SkipAscii(table.Member, in);
          } else if (op == 3) {
            const char c = "<>'\"?]"[random() % 6];
            a->SkipWhile(soNotEqual, static_cast<char16_t>(c));
            b->SkipTo(c);
          } else if (op == 4) {
            const char c = " -\n"[random() % 3];
            a->SkipWhile(soEqual, static_cast<char16_t>(c));
            b->SkipOver(c);
          } else {
            // Text taken from a mark both ways.
            a->SetMark(tpMark1);
            b->SetMark(tpMark1);
            const unsigned n = random() % 9;
            for (unsigned i = 0; i < n && !a->Eof(); ++i) {
              a->NextChar();
              b->Step();
            }
            UnicodeString viaTo = u"stale text that is longer than the selection";
            b->SelectedTo(tpMark1, tpCurrent, true, viaTo);
            ASSERT_EQ(viaTo, a->Selected(tpMark1, tpCurrent, true));
          }
        }
      }
    }
  }
}

TEST(SaxXMLParser, TextFromMalformedUTF8IsTheConvertersText) {
  // Whatever the bytes, the text taken is what the UTF-8 conversion of the run-time gives.
  std::mt19937 random(7);
  for (int round = 0; round < 500; ++round) {
    std::string bytes;
    const std::size_t n = random() % 40;
    for (std::size_t i = 0; i < n; ++i) {
      const unsigned kind = random() % 4;
      bytes += static_cast<char>(kind == 0 ? random() % 128 : 0x80 + random() % 128);
    }
    TVnXMLParser *p = New<TVnXMLParser>(bytes.data(), bytes.size(), CP_UTF8);
    p->SetMark(tpMark1);
    p->SkipWhile(soNotEqual, u'\0');
    UnicodeString text = u"previous";
    p->SelectedTo(tpMark1, tpCurrent, false, text);
    EXPECT_EQ(text, UTF8ToString(bytes)) << round;
    EXPECT_EQ(p->Selected(tpMark1, tpCurrent, true), UTF8ToString(bytes)) << round;
    p->Free();
  }
}

TEST(SaxXMLParser, LinesAndColumnsOfAnEarlierPosition) {
  const std::string bytes =
      "ab\n\xC3\xA9"
      "cd\nef";
  TVnXMLParser *p = New<TVnXMLParser>(bytes.data(), bytes.size(), CP_UTF8);
  p->SkipWhile(soNotEqual, u'd');
  const Int64 atD = p->GetCurPos();
  p->SkipWhile(soNotEqual, u'f');
  Integer line = 0, col = 0;
  p->LineColAt(atD, line, col);
  EXPECT_EQ(line, 2);
  EXPECT_EQ(col, 3);
  // The counters have moved to that position; the current one is still counted right, and an
  // earlier position than the counted one is refused.
  EXPECT_EQ(p->GetLineNr(), 3);
  EXPECT_EQ(p->GetColNr(), 2);
  EXPECT_THROW(p->LineColAt(atD, line, col), EInvalidOperation);
  p->Free();
}

}  // namespace
