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

// ---------------------------------------------------------------------------------------------
// The slots of each width. In cstA and cstU the raw byte is the source form of the character (in
// UTF-8 the bytes of a longer sequence are all above 127), in cstW the 16-bit unit.

void TVnXMLParser::SrcASkipWhile(TVnXMLParser *P, TVnTextParserSkipOp AOperator,
                                 const void *ACharPtr) {
  P->SrcASkipWhileA(AOperator, *static_cast<const char *>(ACharPtr));
}

void TVnXMLParser::SrcUSkipWhile(TVnXMLParser *P, TVnTextParserSkipOp AOperator,
                                 const void *ACharPtr) {
  P->SrcUSkipWhileA(AOperator, *static_cast<const char *>(ACharPtr));
}

void TVnXMLParser::SrcWSkipWhile(TVnXMLParser *P, TVnTextParserSkipOp AOperator,
                                 const void *ACharPtr) {
  P->SrcWSkipWhileW(AOperator, *static_cast<const char16_t *>(ACharPtr));
}

bool TVnXMLParser::SrcACheckCurrChar(TVnXMLParser *P, const void *ACharPtr, bool ARaise) {
  const Byte c = *static_cast<const Byte *>(ACharPtr);
  if ((P->FCur < P->FLimit || P->Available(1) > 0) && *P->FCur == c) return true;
  if (ARaise) P->RaiseExpected(UnicodeString(1, c));
  return false;
}

bool TVnXMLParser::SrcUCheckCurrChar(TVnXMLParser *P, const void *ACharPtr, bool ARaise) {
  return SrcACheckCurrChar(P, ACharPtr, ARaise);
}

bool TVnXMLParser::SrcWCheckCurrChar(TVnXMLParser *P, const void *ACharPtr, bool ARaise) {
  const char16_t c = *static_cast<const char16_t *>(ACharPtr);
  if (P->FLimit - P->FCur >= 2 || P->Available(2) >= 2) {
    char16_t u;
    std::memcpy(&u, P->FCur, 2);
    if (u == c) return true;
  }
  if (ARaise) P->RaiseExpected(UnicodeString(1, c));
  return false;
}

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
  const TConstants *c;
  switch (AType) {
    case cstW:
      c = &cConstantsW;
      SkipWhileFunc = &SrcWSkipWhile;
      CheckCurrCharFunc = &SrcWCheckCurrChar;
      break;
    case cstU:
      c = &cConstantsA;
      SkipWhileFunc = &SrcUSkipWhile;
      CheckCurrCharFunc = &SrcUCheckCurrChar;
      break;
    default:
      c = &cConstantsA;
      SkipWhileFunc = &SrcASkipWhile;
      CheckCurrCharFunc = &SrcACheckCurrChar;
      break;
  }
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
