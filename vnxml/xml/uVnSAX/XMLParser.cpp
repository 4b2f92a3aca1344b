// TVnXMLParser: the XML characters in the width of the source, and the skip and check slots.
#include <cstring>

#include "vnxml/xml/uVnSAX.h"

namespace vn {

namespace {

constexpr Integer cNotWellFormed = 2;

struct TConstants {
  const void *Amp, *Apos, *Equal, *Gt, *Lt, *Quest, *Quote, *Slash, *Space, *Excl, *Line, *Colon,
      *SemiColon, *BracketO, *BracketC;
};

constexpr TConstants cConstantsA = {&cVnAmpA,       &cVnAposA,     &cVnEqualA,   &cVnGtA,
                                    &cVnLtA,        &cVnQuestA,    &cVnQuoteA,   &cVnSlashA,
                                    &cVnSpaceA,     &cVnExclA,     &cVnLineA,    &cVnColonA,
                                    &cVnSemiColonA, &cVnBracketOA, &cVnBracketCA};
constexpr TConstants cConstantsW = {&cVnAmpW,       &cVnAposW,     &cVnEqualW,   &cVnGtW,
                                    &cVnLtW,        &cVnQuestW,    &cVnQuoteW,   &cVnSlashW,
                                    &cVnSpaceW,     &cVnExclW,     &cVnLineW,    &cVnColonW,
                                    &cVnSemiColonW, &cVnBracketOW, &cVnBracketCW};

}  // namespace

void TVnXMLParser::RaiseExpected(const UnicodeString &AExpected) {
  const UnicodeString found = CurrentText();
  throw EVnXMLParseError(_cVnXMLNotWellFormed, {AExpected, found}, cNotWellFormed);
}

TVnXMLParser::TVnXMLParser(TStream *ASource, bool AStreamOwner, Word ACodePage)
    : TVnTextParser(ASource, AStreamOwner, ACodePage) {
  SetCharacterSetType(CharacterSetType());
}

TVnXMLParser::TVnXMLParser(const void *ABuffer, UInt64 ASize, Word ACodePage)
    : TVnTextParser(ABuffer, ASize, ACodePage) {
  SetCharacterSetType(CharacterSetType());
}

void TVnXMLParser::SetCharacterSetType(TVnCharacterSetType AType) {
  TVnTextParser::SetCharacterSetType(AType);
  const TConstants *c = AType == cstW ? &cConstantsW : &cConstantsA;
  SkipWhileFunc = PtrSkipFunc(AType);
  CheckCurrCharFunc = PtrCheckFunc(AType);
  FAmp = c->Amp;
  FApos = c->Apos;
  FEqual = c->Equal;
  FGt = c->Gt;
  FLt = c->Lt;
  FQuest = c->Quest;
  FQuote = c->Quote;
  FSlash = c->Slash;
  FSpace = c->Space;
  FExcl = c->Excl;
  FLine = c->Line;
  FColon = c->Colon;
  FSemiColon = c->SemiColon;
  FBracketOA = c->BracketO;
  FBracketCA = c->BracketC;
}

}  // namespace vn
