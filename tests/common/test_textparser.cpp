#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "vnxml/common/uVnClasses.h"

using namespace vn;

namespace {

// A stream that hands out at most FChunk bytes per Read, so that every construct of the input
// meets a refill boundary somewhere.
class TTrickleStream : public TStream {
  VN_CLASS(TTrickleStream, TStream)
 public:
  TTrickleStream(std::string AData, Int64 AChunk) : FData(std::move(AData)), FChunk(AChunk) {
    ++Live;
  }
  ~TTrickleStream() override { --Live; }
  Int64 Read(void *ABuffer, Int64 ACount) override {
    Int64 n = std::min({ACount, FChunk, static_cast<Int64>(FData.size()) - FPos});
    if (n <= 0) return 0;
    std::memcpy(ABuffer, FData.data() + FPos, static_cast<std::size_t>(n));
    FPos += n;
    return n;
  }
  Int64 Write(const void *, Int64) override { return 0; }
  Int64 Seek(Int64 AOffset, TSeekOrigin AOrigin) override {
    Int64 base = AOrigin == soBeginning ? 0 : AOrigin == soCurrent ? FPos : FData.size();
    FPos = base + AOffset;
    return FPos;
  }
  static inline int Live = 0;

 private:
  std::string FData;
  Int64 FChunk;
  Int64 FPos = 0;
};

enum class Source { Memory, Trickle };

struct Case {
  TVnCharacterSetType Width;
  Source From;
};

std::string Encode(const UnicodeString &AText, TVnCharacterSetType AWidth) {
  switch (AWidth) {
    case cstW:
      return std::string(reinterpret_cast<const char *>(AText.data()), AText.size() * 2);
    case cstU:
      return UTF8Encode(AText);
    default:
      return UnicodeToCodePage(AText, 1252);
  }
}

Word PageOf(TVnCharacterSetType AWidth) {
  return AWidth == cstW ? CP_UTF16 : AWidth == cstU ? CP_UTF8 : 1252;
}

// Owns the bytes and the parser over them.
struct Parser {
  Parser(const UnicodeString &AText, Case ACase) : Bytes(Encode(AText, ACase.Width)) {
    if (ACase.From == Source::Memory)
      P = New<TVnTextParser>(Bytes.data(), Bytes.size(), PageOf(ACase.Width));
    else
      P = New<TVnTextParser>(New<TTrickleStream>(Bytes, 3), true, PageOf(ACase.Width));
  }
  ~Parser() { P->Free(); }
  TVnTextParser *operator->() const { return P; }
  std::string Bytes;
  TVnTextParser *P;
};

class TextParserWidths : public ::testing::TestWithParam<Case> {};

std::string CaseName(const ::testing::TestParamInfo<Case> &AInfo) {
  const char *w[] = {"A", "W", "U"};
  return std::string(w[AInfo.param.Width]) +
         (AInfo.param.From == Source::Memory ? "Memory" : "Trickle");
}

}  // namespace

INSTANTIATE_TEST_SUITE_P(AllWidths, TextParserWidths,
                         ::testing::Values(Case{cstA, Source::Memory}, Case{cstW, Source::Memory},
                                           Case{cstU, Source::Memory}, Case{cstA, Source::Trickle},
                                           Case{cstW, Source::Trickle},
                                           Case{cstU, Source::Trickle}),
                         CaseName);

TEST_P(TextParserWidths, EmptyInputIsAtTheEndAtOnce) {
  Parser p(u"", GetParam());
  EXPECT_TRUE(p->Eof());
  EXPECT_EQ(p->CurrCharW(), cVnEOF);
  EXPECT_EQ(p->CurrCharA(), cVnEOFA);
  EXPECT_EQ(p->PeekCharW(), 0);
  EXPECT_EQ(p->PeekString(3), u"");
  EXPECT_THROW(p->NextChar(), EVnTextParserEOF);
  EXPECT_THROW(p->CheckEOF(), EVnTextParserEOF);
}

TEST_P(TextParserWidths, StepsReadsAndPeeks) {
  Parser p(u"ab\u00e9c", GetParam());
  EXPECT_EQ(p->CharacterSetType(), GetParam().Width);
  EXPECT_EQ(p->CurrCharW(), u'a');
  EXPECT_EQ(p->PeekCharW(), u'b');
  EXPECT_EQ(p->PrevCharW(), 0);
  EXPECT_EQ(p->ReadCharW(), u'a');
  EXPECT_EQ(p->PrevCharW(), u'a');
  EXPECT_EQ(p->ReadCharA(), 'b');
  EXPECT_EQ(p->CurrCharW(), u'\u00e9');
  EXPECT_LT(static_cast<unsigned char>(p->CurrCharA()), 256u);
  EXPECT_GE(static_cast<unsigned char>(p->CurrCharA()), 0x80u);
  EXPECT_EQ(p->PeekString(10), u"\u00e9c");
  p->SkipChars(2);
  EXPECT_TRUE(p->Eof());
  EXPECT_EQ(p->PrevCharW(), u'c');
  EXPECT_THROW(p->ReadCharW(), EVnTextParserEOF);
}

TEST_P(TextParserWidths, PeekStringNearTheEndReturnsWhatIsLeft) {
  Parser p(u"wxyz", GetParam());
  p->SkipChars(2);
  EXPECT_EQ(p->PeekString(3), u"yz");
  EXPECT_EQ(p->PeekStringW(1), u"y");
  EXPECT_EQ(p->CurrCharW(), u'y') << "peeking does not move";
}

TEST_P(TextParserWidths, SkipLoopsStopWhereTheirTestFails) {
  Parser p(u"   \t<tag attr='v'>text</tag>", GetParam());
  p->SkipWhile(soEqual, u' ');
  EXPECT_EQ(p->CurrCharW(), u'\t');
  p->SkipWhile(soLessOrEqual, u' ');
  EXPECT_EQ(p->CurrCharW(), u'<');
  p->SkipWhile(soNotEqual, u'\'');
  EXPECT_EQ(p->PeekString(3), u"'v'");
  p->SkipWhileSet(soNotInSet, TVnCharSet::Of(">/"));
  EXPECT_EQ(p->CurrCharW(), u'>');
  p->NextChar();
  p->SkipWhileSet(soInSet, TVnCharSet::Range('a', 'z'));
  EXPECT_EQ(p->CurrCharW(), u'<');
  p->SkipWhile(soNotEqual, u'#');
  EXPECT_TRUE(p->Eof()) << "a skip stops at the end of input in any case";
  EXPECT_THROW(p->SkipWhile(soInSet, u'x'), EArgumentOutOfRangeException);
}

TEST_P(TextParserWidths, SkipToNulRunsToTheEndOfInput) {
  Parser p(u"abc\u00e9def", GetParam());
  p->SetMark(tpMark1);
  p->SkipWhile(soNotEqual, 0);
  EXPECT_TRUE(p->Eof());
  EXPECT_EQ(p->Selected(tpMark1, tpCurrent, true), u"abc\u00e9def");
  EXPECT_FALSE(p->IsMarkSet(tpMark1));
}

TEST_P(TextParserWidths, SkipForANonAsciiCharacter) {
  Parser p(u"a\u00e9b\u00fcc", GetParam());
  p->SkipWhile(soNotEqual, u'\u00fc');
  EXPECT_EQ(p->CurrCharW(), u'\u00fc');
  EXPECT_EQ(p->PrevCharW(), u'b');
}

TEST_P(TextParserWidths, SelectedTakesTextByPosition) {
  Parser p(u"key=value;", GetParam());
  p->SetMark(tpMark1);
  EXPECT_EQ(p->Selected(tpMark1, tpCurrent, false), u"") << "start and end on one position";
  p->SkipWhile(soNotEqual, u'=');
  EXPECT_EQ(p->Selected(tpMark1, tpCurrent, false), u"key");
  EXPECT_EQ(p->Selected(tpMark1, tpNext, false), u"key=") << "tpNext includes the current";
  p->NextChar();
  p->SetMark(tpMark2);
  p->SkipWhile(soNotEqual, u';');
  EXPECT_EQ(p->Selected(tpMark2, tpCurrent, false), u"value");
  EXPECT_EQ(p->Selected(tpMark1, tpMark2, false), u"key=");
  p->ReadCharW();
  EXPECT_EQ(p->Selected(tpMark2, tpPrev, false), u"value") << "tpPrev stops before the ;";
  EXPECT_EQ(p->Selected(tpMark1, tpCurrent, false), u"key=value;") << "at the end of input";
  EXPECT_EQ(p->SelectedW(tpMark2, tpCurrent, true), u"value;");
  EXPECT_FALSE(p->IsMarkSet(tpMark2));
  EXPECT_EQ(p->GetPos(tpMark2), -1);
  EXPECT_THROW(p->Selected(tpMark2, tpCurrent, false), EInvalidOperation);
  EXPECT_THROW(p->SetMark(tpNext), EArgumentOutOfRangeException);
}

TEST_P(TextParserWidths, LinesAndColumnsFollowTheCurrentCharacter) {
  Parser p(u"ab\ncd\u00e9\n\nx", GetParam());
  EXPECT_EQ(p->GetLineNr(), 1);
  EXPECT_EQ(p->GetColNr(), 1);
  p->SkipWhile(soNotEqual, u'd');
  EXPECT_EQ(p->GetLineNr(), 2);
  EXPECT_EQ(p->GetColNr(), 2);
  EXPECT_EQ(p->GetPosition(), 4);
  p->SkipWhile(soNotEqual, u'x');
  EXPECT_EQ(p->GetLineNr(), 4);
  EXPECT_EQ(p->GetColNr(), 1);
  EXPECT_EQ(p->GetPosition(), 8);
  p->First();
  EXPECT_EQ(p->GetLineNr(), 1);
  EXPECT_EQ(p->CurrCharW(), u'a');
}

TEST_P(TextParserWidths, FirstAndLastMoveToTheEnds) {
  Parser p(u"first\u00e9", GetParam());
  p->SkipChars(3);
  p->First();
  EXPECT_EQ(p->CurrCharW(), u'f');
  EXPECT_EQ(p->GetCurPos(), 0);
  p->SetMark(tpMark1);
  p->Last();
  EXPECT_EQ(p->CurrCharW(), u'\u00e9');
  EXPECT_FALSE(p->Eof());
  EXPECT_EQ(p->Selected(tpMark1, tpNext, false), u"first\u00e9");
}

TEST(TextParserTest, Utf8SequencesAreOneStepAndSupplementaryCharactersBecomePairs) {
  std::string bytes = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z";  // a é € U+1F600 z
  TVnTextParser *p = New<TVnTextParser>(bytes.data(), bytes.size(), CP_UTF8);
  p->SetMark(tpMark1);
  p->NextChar();
  EXPECT_EQ(p->CurrCharW(), u'\u00e9');
  p->NextChar();
  EXPECT_EQ(p->CurrCharW(), u'\u20ac');
  EXPECT_EQ(p->GetCurPos(), 3);
  p->NextChar();
  EXPECT_EQ(p->CurrCharW(), 0xD83D) << "the high surrogate stands for the character";
  EXPECT_EQ(p->PeekString(2), u"\U0001F600z");
  p->NextChar();
  EXPECT_EQ(p->CurrCharW(), u'z');
  EXPECT_EQ(p->GetColNr(), 5);
  EXPECT_EQ(p->Selected(tpMark1, tpCurrent, false), u"a\u00e9\u20ac\U0001F600");
  AnsiString raw = p->SelectedA(tpMark1, tpCurrent, false);
  EXPECT_EQ(static_cast<std::string>(raw), bytes.substr(0, bytes.size() - 1));
  EXPECT_EQ(raw.CodePage(), CP_UTF8);
  p->Free();
}

TEST(TextParserTest, MalformedUtf8BecomesReplacementCharacters) {
  std::string bytes = "a\xC3(\xE2\x82";  // a, truncated 2-byte, '(', truncated 3-byte at end
  TVnTextParser *p = New<TVnTextParser>(bytes.data(), bytes.size(), CP_UTF8);
  p->SetMark(tpMark1);
  p->NextChar();
  EXPECT_EQ(p->CurrCharW(), 0xFFFD);
  p->NextChar();
  EXPECT_EQ(p->CurrCharW(), u'(');
  p->NextChar();
  EXPECT_EQ(p->CurrCharW(), 0xFFFD);
  p->NextChar();
  EXPECT_TRUE(p->Eof());
  EXPECT_EQ(p->Selected(tpMark1, tpCurrent, false), u"a\uFFFD(\uFFFD");
  p->Free();
}

TEST(TextParserTest, Utf8TextOfAnyLengthConvertsWhereverItsFirstNonAsciiByteStands) {
  // ASCII is widened in blocks, the last block overlapping the one before: every length up to
  // three blocks, with a two-byte character or a malformed byte at every place or nowhere, into
  // one reused string, so that it grows and shrinks between the texts.
  UnicodeString into;
  for (std::size_t n = 1; n <= 40; ++n) {
    for (std::size_t at = 0; at <= n; ++at) {
      for (const bool malformed : {false, true}) {
        std::string bytes;
        UnicodeString expected;
        for (std::size_t i = 0; i < n; ++i) {
          if (i == at) {
            bytes += malformed ? "\xFF" : "\xC3\xA9";
            expected += malformed ? u'\uFFFD' : u'\u00e9';
          } else {
            bytes += static_cast<char>('a' + i % 26);
            expected += static_cast<char16_t>(u'a' + i % 26);
          }
        }
        TVnTextParser *p = New<TVnTextParser>(bytes.data(), bytes.size(), CP_UTF8);
        p->SetMark(tpMark1);
        while (!p->Eof()) p->NextChar();
        p->SelectedTo(tpMark1, tpCurrent, false, into);
        EXPECT_EQ(into, expected) << "length " << n << ", other at " << at;
        p->Free();
      }
    }
  }
}

TEST(TextParserTest, LoneSurrogatesInUtf16PassThroughUnchanged) {
  UnicodeString text = u"x";
  text.push_back(static_cast<char16_t>(0xDC00));
  text.push_back(u'y');
  TVnTextParser *p = New<TVnTextParser>(text.data(), text.size() * 2, CP_UTF16);
  p->SetMark(tpMark1);
  p->SkipWhile(soNotEqual, u'y');
  EXPECT_EQ(p->Selected(tpMark1, tpCurrent, false), text.substr(0, 2));
  p->Free();
}

TEST(TextParserTest, OddTrailingByteOfUtf16IsNotACharacter) {
  const char bytes[] = {'a', 0, 'b'};
  TVnTextParser *p = New<TVnTextParser>(bytes, 3, CP_UTF16);
  p->NextChar();
  EXPECT_TRUE(p->Eof());
  p->Free();
}

TEST(TextParserTest, OneByteTextConvertsThroughTheContentCodePage) {
  const char bytes[] = "\x80\xE9";
  TVnTextParser *p = New<TVnTextParser>(bytes, 2, 1252);
  EXPECT_EQ(p->CurrCharW(), u'\u20ac');
  p->SetMark(tpMark1);
  p->Last();
  EXPECT_EQ(p->Selected(tpMark1, tpNext, false), u"\u20ac\u00e9");
  AnsiString raw = p->SelectedA(tpMark1, tpNext, false);
  EXPECT_EQ(static_cast<std::string>(raw), "\x80\xE9");
  EXPECT_EQ(raw.CodePage(), 1252);
  p->SetContentCodePage(28591);
  EXPECT_EQ(p->Selected(tpMark1, tpNext, false), u"\u0080\u00e9");
  EXPECT_EQ(p->CharacterSetType(), cstA) << "the page does not change the width";
  p->Free();
}

TEST(TextParserTest, WidthCanChangeAtTheCurrentPosition) {
  // Four bytes of a prefix read one by one, then UTF-16 from there on.
  std::string bytes = "ab";
  UnicodeString rest = u"\u20acz";
  bytes.append(reinterpret_cast<const char *>(rest.data()), rest.size() * 2);
  TVnTextParser *p = New<TVnTextParser>(bytes.data(), bytes.size(), 0);
  EXPECT_EQ(p->CharacterSetType(), cstA);
  p->SkipChars(2);
  p->SetCharacterSetType(cstW);
  EXPECT_EQ(p->CurrCharW(), u'\u20ac');
  p->NextChar();
  EXPECT_EQ(p->CurrCharW(), u'z');
  EXPECT_EQ(p->GetColNr(), 4);
  p->Free();
}

TEST(TextParserTest, MarkSetBeforeRefillsKeepsTheWholeText) {
  // Far more than one read block, delivered in odd-sized pieces.
  std::string text;
  while (text.size() < 700000) text += "<item n=\"\xC3\xA9\xF0\x9F\x98\x80\">x</item>\n";
  text += "!";
  TTrickleStream *s = New<TTrickleStream>(text, 65537);
  TVnTextParser *p = New<TVnTextParser>(s, true, CP_UTF8);
  p->SkipChars(1);
  p->SetMark(tpMark1);
  p->SkipWhile(soNotEqual, u'!');
  ASSERT_FALSE(p->Eof());
  UnicodeString all = p->Selected(tpMark1, tpCurrent, true);
  EXPECT_EQ(all, UTF8ToString(text.substr(1, text.size() - 2)));
  EXPECT_EQ(p->GetLineNr(), static_cast<Integer>(std::count(text.begin(), text.end(), '\n')) + 1);
  p->Free();
  EXPECT_EQ(TTrickleStream::Live, 0) << "the owned stream goes with the parser";
}

TEST(TextParserTest, FirstRereadsAStreamWhoseStartHasLeftTheWindow) {
  std::string text(600000, 'a');
  text[0] = 'S';
  text.back() = 'E';
  TTrickleStream *s = New<TTrickleStream>(text, 100000);
  TVnTextParser *p = New<TVnTextParser>(s, true, 0);
  p->SkipWhile(soNotEqual, u'E');
  EXPECT_EQ(p->GetCurPos(), 599999);
  p->First();
  EXPECT_EQ(p->CurrCharW(), u'S');
  EXPECT_EQ(p->GetPosition(), 0);
  p->Free();
}

TEST(TextParserTest, ReadsFromTheStreamPositionAndOnlyFreesAnOwnedStream) {
  TMemoryStream *m = New<TMemoryStream>();
  m->WriteBuffer("skip|data", 9);
  m->SetPosition(5);
  TVnTextParser *p = New<TVnTextParser>(m, false, 0);
  p->SetMark(tpMark1);
  p->SkipWhile(soNotEqual, 0);
  EXPECT_EQ(p->Selected(tpMark1, tpCurrent, false), u"data");
  p->First();
  EXPECT_EQ(p->CurrCharW(), u'd') << "the start is where the stream stood";
  p->Free();
  m->Free();
}

TEST(TextParserTest, EmptyFileGivesEndOfInputAtOnce) {
  char name[] = "/tmp/vnxml_empty_XXXXXX";
  int fd = mkstemp(name);
  ASSERT_GE(fd, 0);
  close(fd);
  TVnTextParser *p =
      New<TVnTextParser>(New<TFileStream>(ASCIIToString(name), fmOpenRead), true, CP_UTF8);
  EXPECT_TRUE(p->Eof());
  EXPECT_EQ(p->CurrCharW(), 0);
  p->Free();
  std::remove(name);
}

namespace {
// Produces ASize bytes of lines without holding them.
class TGeneratorStream : public TStream {
  VN_CLASS(TGeneratorStream, TStream)
 public:
  explicit TGeneratorStream(Int64 ASize) : FSize(ASize), FPattern(1000000, 'x') {
    for (std::size_t i = 99; i < FPattern.size(); i += 100) FPattern[i] = '\n';
  }
  Int64 Read(void *ABuffer, Int64 ACount) override {
    Int64 off = FPos % static_cast<Int64>(FPattern.size());
    Int64 n = std::min({ACount, FSize - FPos, static_cast<Int64>(FPattern.size()) - off});
    if (n <= 0) return 0;
    std::memcpy(ABuffer, FPattern.data() + off, static_cast<std::size_t>(n));
    FPos += n;
    return n;
  }
  Int64 Write(const void *, Int64) override { return 0; }
  Int64 Seek(Int64 AOffset, TSeekOrigin AOrigin) override {
    FPos = (AOrigin == soBeginning ? 0 : AOrigin == soCurrent ? FPos : FSize) + AOffset;
    return FPos;
  }

 private:
  Int64 FSize;
  std::string FPattern;
  Int64 FPos = 0;
};
}  // namespace

TEST(TextParserTest, StreamWithoutMarksKeepsItsBufferBounded) {
  const Int64 size = 200ll << 20;
  TVnTextParser *p = New<TVnTextParser>(New<TGeneratorStream>(size), true, CP_UTF8);
  p->SkipWhile(soNotEqual, 0);
  EXPECT_TRUE(p->Eof());
  EXPECT_EQ(p->GetCurPos(), size);
  EXPECT_EQ(p->GetLineNr(), size / 100 + 1);
  EXPECT_LT(p->BufferCapacity(), 4ll << 20);
  p->Free();
}
