// TVnSAXXMLReader: encoding detection, the prolog and body loops and the scanning routines.
//
// The reader is a single-pass tag scanner. It holds the nesting of elements in a counter only,
// never compares an end tag with its start tag, and takes every text as it stands in the
// source. The leniencies below are the reader's documented behaviour and are kept as they are.
#include "vnxml/xml/uVnSAX.h"
#include "vnxml/xml/uVnSAX/Names.h"

namespace vn {

namespace {

constexpr Integer cErrNotWellFormed = 2;
constexpr Integer cErrNameStartChar = 3;
constexpr Integer cErrDocTypeExpected = 5;
constexpr Integer cErrCDATAExpected = 6;
constexpr Integer cErrMissingAttribute = 7;
constexpr Integer cErrElementNotClosed = 8;
constexpr Integer cErrMultipleRoot = 9;
constexpr Integer cErrNoContentHandler = 10;
constexpr Integer cErrNoErrorHandler = 11;
constexpr Integer cErrTextAtRoot = 12;

constexpr TVnCharSet cWhite = TVnCharSet::Range(0, 32);
// The end of a processing instruction's target.
constexpr TVnCharSet cTargetEnd = {' ', '?'};
// The end of an element name, and of its local part behind a prefix.
constexpr TVnCharSet cNameEnd = TVnCharSet{':', '<', '>', '/'} + cWhite;
constexpr TVnCharSet cLocalNameEnd = TVnCharSet{'>', '/'} + cWhite;
// The end of an attribute name, of its local part, and the start of its value.
constexpr TVnCharSet cAttrNameEnd = {'=', ':', '>', '<'};
constexpr TVnCharSet cAttrLocalNameEnd = {'=', '>', '<'};
constexpr TVnCharSet cAttrValueStart = {'\'', '"', '>', '<'};
// What stands between two attributes.
constexpr TVnCharSet cAttrGap = TVnCharSet{'\'', '"'} + cWhite;
constexpr TVnCharSet cAngles = {'<', '>'};

// The sets as tables of the scanner's ASCII skip loop.
using TAsciiTable = TVnAsciiTable;
constexpr TAsciiTable cTargetEndTable{cTargetEnd};
constexpr TAsciiTable cNameEndTable{cNameEnd};
constexpr TAsciiTable cLocalNameEndTable{cLocalNameEnd};
constexpr TAsciiTable cAttrNameEndTable{cAttrNameEnd};
constexpr TAsciiTable cAttrLocalNameEndTable{cAttrLocalNameEnd};
constexpr TAsciiTable cAttrValueStartTable{cAttrValueStart};
constexpr TAsciiTable cAttrGapTable{cAttrGap};
constexpr TAsciiTable cAnglesTable{cAngles};

using sax::IsNameStartChar;

// Whether the name has five characters that read "xmlns" without regard to case, compared on
// the low byte of each 16-bit character.
bool IsXmlns(const VnXMLString &AName) noexcept {
  if (AName.size() != 5) return false;
  static constexpr char cXmlns[] = "xmlns";
  for (std::size_t i = 0; i < 5; ++i) {
    unsigned b = AName[i] & 0xFFu;
    if (b >= 'A' && b <= 'Z') b += 'a' - 'A';
    if (b != static_cast<unsigned char>(cXmlns[i])) return false;
  }
  return true;
}

// Drops the characters up to blank at both ends, as Trim does, in place. Names rarely have any:
// the test of both ends is inline, the trim itself is not.
[[gnu::noinline]] void TrimEnds(VnXMLString &AText) {
  std::size_t b = 0, e = AText.size();
  while (e > 0 && AText[e - 1] <= u' ') --e;
  while (b < e && AText[b] <= u' ') ++b;
  if (e != AText.size()) AText.resize(e);
  if (b > 0) AText.erase(0, b);
}
inline void TrimInPlace(VnXMLString &AText) {
  if (!AText.empty() && AText.front() > u' ' && AText.back() > u' ') return;
  TrimEnds(AText);
}

// The handler of a call is held for the length of the call, so that a handler that re-points
// the reader at another handler cannot lose itself while it runs.
template <class I>
DelphiInterface<I> Hold(const DelphiInterface<I> &AHandler) {
  return AHandler;
}

}  // namespace

TVnSAXXMLReader::TVnSAXXMLReader() {
  FNamespaceList = New<TVnSAXNamespaceList>(this);
  FAttributes = New<TVnSAXXMAttributes>();
}

TVnSAXXMLReader::~TVnSAXXMLReader() {
  Free(FAttributes);
  Free(FNamespaceList);
}

// ---------------------------------------------------------------------------------------------
// Encoding

TVnTextParser *TVnSAXXMLReader::CreateParser(TStream *AStream, bool AStreamOwner, bool AReadBOM,
                                             Word AStreamCodePage) {
  Word page = AReadBOM ? VnGetCodePage(AStream) : 0;
  if (page == 0) page = AStreamCodePage;
  // A stream in memory is scanned where it lies.
  const void *data;
  UInt64 size;
  TVnXMLParser *p = !AStreamOwner && TVnTextParser::TakeMemoryRest(AStream, data, size)
                        ? New<TVnXMLParser>(data, size, page)
                        : New<TVnXMLParser>(AStream, AStreamOwner, page);
  if (page == 0) {
    try {
      SniffEncoding(p);
    } catch (...) {
      p->Free();
      throw;
    }
  }
  FParser = p;
  return p;
}

// With neither a mark nor a page from the caller: reads the encoding name of an XML declaration
// at the first "<", sets the width and the content page, and goes back to the start. The name
// is taken leniently: whatever stands first behind "encoding" and "=" serves as the quotation
// mark. A document that declares nothing, or UTF-8, is read as UTF-8.
Word TVnSAXXMLReader::SniffEncoding(TVnXMLParser *P) {
  P->SkipWhile(soNotEqual, P->FLt);
  static constexpr char16_t cDecl[] = u"<?xml ";
  bool declared = true;
  for (int i = 0; i < 6; ++i) {
    if (P->Eof() || P->CurrCharW() != cDecl[i]) {
      declared = false;
      break;
    }
    P->Step();
  }
  UnicodeString name;
  if (declared) {
    P->SetMark(tpMark1);
    P->SkipWhile(soNotEqual, P->FGt);
    const UnicodeString decl = P->SelectedW(tpMark1, tpCurrent, true);
    const std::size_t at = LowerCase(decl).find(u"encoding");
    if (at != UnicodeString::npos) {
      UnicodeString s = decl.substr(at);
      const std::size_t eq = s.find(u'=');
      if (eq != UnicodeString::npos) s.erase(0, eq + 1);
      s = Trim(s);
      if (s.size() > 1) {
        const char16_t quote = s[0];
        s.erase(0, 1);
        const std::size_t end = s.find(quote);
        s = end == UnicodeString::npos ? UnicodeString() : s.substr(0, end);
      }
      name = std::move(s);
    }
  }
  Word page;
  if (!name.empty() && !SameText(name, u"UTF-8")) {
    page = VnCodePage(name);
  } else {
    if (P->CharacterSetType() == cstA) P->SetCharacterSetType(cstU);
    page = CP_UTF8;
  }
  P->SetContentCodePage(page);
  P->First();
  return page;
}

// ---------------------------------------------------------------------------------------------
// The document

void TVnSAXXMLReader::InternalParse() {
  struct TScope {
    TVnSAXXMLReader *R;
    ~TScope() {
      R->FParser = nullptr;
      R->FLinePending = false;
    }
  } scope{this};
  if (!FContentHandler) throw EVnXMLParseError(_cVnXMLNoContentHandler, cErrNoContentHandler);
  if (!FErrorHandler) throw EVnXMLParseError(_cVnXMLNoErrorHandler, cErrNoErrorHandler);
  try {
    VN_ASSERT_AT(FParser, "xml/uVnSAX", 1956);
    TVnXMLParser *P = FParser;
    Integer level = 0;
    P->SkipWhile(soNotEqual, P->FLt);
    Content()->StartDocument();

    // The prolog: comments, processing instructions and the DOCTYPE. Everything else between
    // two "<" is dropped, and so is a "<" followed by white space.
    while (!P->Eof()) {
      const char16_t next = P->PeekUnit();
      if (next >= 1 && next <= 32) {
        P->Step();
      } else if (next == u'!') {
        P->Step();
        if (P->PeekUnit() == u'-')
          ParseComment();
        else
          ParseDTD();
      } else if (next == u'?') {
        ParseProcessingInstruction();
      } else {
        break;
      }
      P->SkipWhile(soNotEqual, P->FLt);
    }
    // A document without any element fails here.
    P->SkipWhile(soLessOrEqual, P->FSpace);
    P->CheckCurrChar(P->FLt, true);

    // The body. The character behind the current one is looked at first, so text whose second
    // character is "!" or "?" is taken for markup.
    while (!P->Eof()) {
      const char16_t next = P->PeekUnit();
      if (next == u'!') {
        P->Step();
        if (P->PeekUnit() == u'-')
          ParseComment();
        else
          ParseCDATA();
      } else if (next == u'?') {
        ParseProcessingInstruction();
      } else if (P->CurrUnit() == u'<') {
        ParseElement(level);
      } else {
        ParseCharacters();
      }
    }
    // Elements still open are no failure.
    Content()->EndDocument();
    // A locator left from an earlier unexpected end answers with the last construct's start.
    if (FUnexpectedEOF) ResolveLocation();
  } catch (...) {
    NotifyFatalError();
    throw;
  }
}

void TVnSAXXMLReader::StoreLineCol() {
  FParser->SetMark(tpMark3);
  FLinePending = true;
}

void TVnSAXXMLReader::ResolveLocation() {
  if (!FLinePending || !FParser) return;
  FLinePending = false;
  // The third mark keeps the counters from passing the start, and every query of the locator
  // resolves it first; should the position be lost all the same, the locator has no answer
  // rather than a failure of its own in the middle of the failure rule.
  try {
    FParser->LineColAt(FParser->GetPos(tpMark3), FLineNr, FColNr);
  } catch (const Exception &) {
    FLineNr = FColNr = -1;
  }
}

void TVnSAXXMLReader::RequireLexicalHandler() {
  if (!FLexicalHandler) throw EVnXMLParseError(_cVnXMLNoLexicalHandler, 0);
}

void TVnSAXXMLReader::CheckValidNameStartChar() {
  const char16_t c = FParser->CurrChar();
  if (c == u':')
    throw EVnXMLParseError(_cVnXMLInvalidNameStartchar1, {FParser->CurrentText()},
                           cErrNameStartChar);
  if (!IsNameStartChar(c))
    throw EVnXMLParseError(_cVnXMLInvalidNameStartchar2, {FParser->CurrentText()},
                           cErrNameStartChar);
}

// ---------------------------------------------------------------------------------------------
// Processing instructions, comments, the DOCTYPE and CDATA sections

// The XML declaration is a processing instruction like any other. The data ends at the first
// "?", whether a ">" follows it or not.
void TVnSAXXMLReader::ParseProcessingInstruction() {
  StoreLineCol();
  TVnXMLParser *P = FParser;
  P->CheckCurrChar(P->FLt, true);
  P->Step();
  P->Step();
  P->SetMark(tpMark1);
  P->SkipAscii(cTargetEndTable.Member, false);
  P->SelectedTo(tpMark1, tpCurrent, true, FQName);
  if (P->CheckCurrChar(P->FSpace, false)) {
    P->SkipWhile(soEqual, P->FSpace);
    P->SetMark(tpMark1);
    P->SkipWhile(soNotEqual, P->FQuest);
    P->SelectedTo(tpMark1, tpCurrent, true, FText);
  } else {
    FText.clear();
    P->SkipAscii(cTargetEndTable.Member, true);
  }
  Content()->ProcessingInstruction(FQName, FText);
  P->SkipWhile(soNotEqual, P->FGt);
  P->Step();
}

// The comment ends at the first "-->"; "--" inside it is accepted.
void TVnSAXXMLReader::ParseComment() {
  StoreLineCol();
  TVnXMLParser *P = FParser;
  if (P->CheckCurrChar(P->FLt, false)) P->Step();
  P->CheckCurrChar(P->FExcl, true);
  P->SkipChars(3);
  P->SetMark(tpMark1);
  do {
    P->SkipWhile(soNotEqual, P->FLine);
    if (P->PeekString(3) == u"-->") break;
    P->Step();
  } while (!P->Eof());
  if (FLexicalHandler) {
    P->SelectedTo(tpMark1, tpCurrent, true, FText);
    Hold(FLexicalHandler)->Comment(FText);
  }
  P->ClearMark(tpMark1);
  P->SkipWhile(soNotEqual, P->FGt);
  P->Step();
}

// The DOCTYPE is passed over by counting angle brackets; nothing of it is read. Quotation marks
// and comments inside it are not honoured.
void TVnSAXXMLReader::ParseDTD() {
  StoreLineCol();
  TVnXMLParser *P = FParser;
  if (P->CheckCurrChar(P->FLt, false)) P->Step();
  P->CheckCurrChar(P->FExcl, true);
  P->Step();
  P->SetMark(tpMark1);
  P->SkipWhile(soNotEqual, P->FSpace);
  P->SelectedTo(tpMark1, tpCurrent, true, FText);
  if (FText != u"DOCTYPE")
    throw EVnXMLParseError(_cVnXMLDOCTypeExpected, {FText}, cErrDocTypeExpected);
  RequireLexicalHandler();
  Hold(FLexicalHandler)->StartDTD();
  Integer depth = 1;
  do {
    P->Step();
    P->SkipAscii(cAnglesTable.Member, false);
    if (P->Eof()) break;
    depth += P->CheckCurrChar(P->FLt, false) ? 1 : -1;
  } while (depth != 0);
  RequireLexicalHandler();
  Hold(FLexicalHandler)->EndDTD();
  P->SkipWhile(soNotEqual, P->FGt);
  P->Step();
}

// The current character is the "!". The text of the section is one Characters event between
// StartCDATA and EndCDATA.
void TVnSAXXMLReader::ParseCDATA() {
  StoreLineCol();
  TVnXMLParser *P = FParser;
  P->CheckCurrChar(P->FExcl, true);
  P->SetMark(tpMark1);
  // A section cut off before its "[" fails as a section that is none.
  for (int i = 0; i < 7 && !P->Eof(); ++i) P->Step();
  P->SelectedTo(tpMark1, tpNext, true, FText);
  if (FText.size() > 8) FText.resize(8);
  if (FText != u"![CDATA[")
    throw EVnXMLParseError(_cVnXMLCDATAExpected, {FText}, cErrCDATAExpected);
  RequireLexicalHandler();
  Hold(FLexicalHandler)->StartCDATA();
  P->Step();
  P->SetMark(tpMark1);
  do {
    P->SkipWhile(soNotEqual, P->FBracketCA);
    if (P->PeekString(3) == u"]]>") break;
    P->Step();
  } while (!P->Eof());
  P->SelectedTo(tpMark1, tpCurrent, true, FText);
  Content()->Characters(FText);
  RequireLexicalHandler();
  Hold(FLexicalHandler)->EndCDATA();
  P->SkipWhile(soNotEqual, P->FGt);
  P->Step();
}

// ---------------------------------------------------------------------------------------------
// Text

// One run of text up to the next "<" is one event: IgnorableWhitespace when every character of
// it is below 33, Characters otherwise. With SingleRoot, text may not run to the end of input;
// without it, text that does is delivered as Characters followed by an empty
// IgnorableWhitespace.
void TVnSAXXMLReader::ParseCharacters() {
  StoreLineCol();
  TVnXMLParser *P = FParser;
  P->SetMark(tpMark1);
  bool white = true;
  P->SkipControls();
  if (!P->Eof() && P->CurrUnit() != u'<') {
    white = false;
    P->SkipTo('<');
  }
  if (FCheckSingleRootElm)
    P->CheckEOF();
  else if (P->Eof())
    P->SetMark(tpMark2);
  if (white) {
    P->SelectedTo(tpMark1, tpCurrent, false, FText);
    Content()->IgnorableWhitespace(FText);
  } else if (P->IsMarkSet(tpMark2)) {
    P->SelectedTo(tpMark1, tpMark2, false, FText);
    Content()->Characters(FText);
    P->SelectedTo(tpMark2, tpCurrent, false, FText);
    Content()->IgnorableWhitespace(FText);
  } else if (P->GetCurPos() != P->GetPos(tpMark1)) {
    P->SelectedTo(tpMark1, tpCurrent, false, FText);
    Content()->Characters(FText);
  }
  P->ClearMark(tpMark1);
  P->ClearMark(tpMark2);
}

// ---------------------------------------------------------------------------------------------
// Elements

// Reads the attributes of a start tag up to its ">" or "/". Names end only at "=", ":", ">" or
// "<", so they may hold blanks, and whatever stands between "=" and the quotation mark is
// skipped. Namespace declarations stay in the list with the empty URI and are reported at
// once, before StartElement; an unprefixed attribute takes the default namespace; a prefix
// resolves when it is read, so a declaration further right in the same tag is not yet known.
void TVnSAXXMLReader::ParseAtrributes(TVnSAXXMAttributes *AAttributes, Integer ALevel) {
  StoreLineCol();
  TVnXMLParser *P = FParser;
  for (;;) {
    P->SetMark(tpMark1);
    P->SetMark(tpMark2);
    P->SkipAscii(cAttrNameEndTable.Member, false);
    char16_t c = P->CurrUnit();
    if (c == u'<' || c == u'>')
      throw EVnXMLParseError(_cVnXMLMissingAttribute, cErrMissingAttribute);
    // The names and the value go straight into the node; a failure leaves it to the list's
    // next Clear, unseen.
    PVnSAXXMAttribute a = AAttributes->Append(TVnSAXAttributeType::CDATA);
    if (c != u':') {
      FAttrPrefix.clear();
      P->SelectedTo(tpMark1, tpCurrent, true, a->LocalName);
      TrimInPlace(a->LocalName);
      a->QName = a->LocalName;
      P->ClearMark(tpMark2);
    } else {
      // The prefix is not trimmed: white space in front of it stays part of it.
      P->SelectedTo(tpMark1, tpCurrent, true, FAttrPrefix);
      P->SkipWhile(soEqual, P->FColon);
      P->SetMark(tpMark1);
      P->SkipAscii(cAttrLocalNameEndTable.Member, false);
      c = P->CurrUnit();
      if (c == u'<' || c == u'>')
        throw EVnXMLParseError(_cVnXMLMissingAttribute, cErrMissingAttribute);
      P->SelectedTo(tpMark1, tpCurrent, true, a->LocalName);
      TrimInPlace(a->LocalName);
      P->SelectedTo(tpMark2, tpCurrent, true, a->QName);
      TrimInPlace(a->QName);
    }
    P->SkipAscii(cAttrValueStartTable.Member, false);
    c = P->CurrUnit();
    if (c == u'<' || c == u'>')
      throw EVnXMLParseError(_cVnXMLMissingAttribute, cErrMissingAttribute);
    P->Step();
    P->SetMark(tpMark1);
    P->SkipTo(c == u'\'' ? '\'' : '"');
    P->SelectedTo(tpMark1, tpCurrent, true, a->Value);

    if (IsXmlns(a->QName)) {
      a->URI.clear();
      FNamespaceList->AddURI(ALevel, VnXMLString(), a->Value);
    } else if (IsXmlns(FAttrPrefix)) {
      a->URI.clear();
      FNamespaceList->AddURI(ALevel, a->LocalName, a->Value);
    } else {
      const VnXMLString &uri = FNamespaceList->GetURI(FAttrPrefix);
      if (!uri.empty() || !a->URI.empty()) a->URI = uri;
    }

    P->SkipAscii(cAttrGapTable.Member, true);
    if (P->Eof()) return;
    c = P->CurrUnit();
    if (c == u'>' || c == u'/') return;
  }
}

// One start, end or empty tag, up to the skip to its ">". The level counts the open elements;
// end tags are not compared with start tags, so a stray end tag may take it below 0.
void TVnSAXXMLReader::ParseTag(Integer &ALevel) {
  StoreLineCol();
  TVnXMLParser *P = FParser;
  if (P->CurrUnit() != u'<') P->CheckCurrChar(P->FLt, true);
  P->Step();
  const bool endTag = P->CurrUnit() == u'/';
  if (endTag) P->Step();
  CheckValidNameStartChar();
  P->SetMark(tpMark1);
  P->SetMark(tpMark2);
  P->SkipAscii(cNameEndTable.Member, false);
  char16_t c = P->CurrUnit();
  if (c == u'<') {
    ResolveLocation();
    throw EVnXMLParseError(_cVnXMLELMNotClosed, {FLineNr, FColNr}, cErrElementNotClosed);
  }
  FPrefix.clear();
  const bool prefixed = c == u':';
  if (prefixed) {
    P->SelectedTo(tpMark1, tpCurrent, true, FPrefix);
    P->Step();
    CheckValidNameStartChar();
    P->SetMark(tpMark1);
    P->SkipAscii(cLocalNameEndTable.Member, false);
    P->SelectedTo(tpMark1, tpCurrent, true, FLocalName);
    P->SelectedTo(tpMark2, tpCurrent, true, FQName);
  } else {
    // Without a prefix both marks stand on the same character: one text serves as both names.
    P->SelectedTo(tpMark1, tpCurrent, true, FLocalName);
    P->ClearMark(tpMark2);
  }
  const VnXMLString &qname = prefixed ? FQName : FLocalName;
  // Only blanks: a line break in front of the first attribute stays in front of its name.
  if (P->CurrUnit() == u' ') P->SkipOver(' ');

  if (!endTag) {
    ++ALevel;
    TVnSAXXMAttributes *attributes = FEmptyAttributes;
    c = P->CurrUnit();
    if (c != u'/' && c != u'>') {
      attributes = FAttributes;
      attributes->Clear();
      ParseAtrributes(attributes, ALevel);
      c = P->CurrUnit();
    }
    // The URI is the namespace record's own string: no record goes before RemoveLevel.
    if (c == u'/') {
      const VnXMLString &uri = FNamespaceList->GetURI(FPrefix);
      Content()->StartElement(uri, FLocalName, qname, attributes);
      attributes->Clear();
      Content()->EndElement(uri, FLocalName, qname);
      FNamespaceList->RemoveLevel(ALevel);
      --ALevel;
    } else if (c == u'>') {
      Content()->StartElement(FNamespaceList->GetURI(FPrefix), FLocalName, qname, attributes);
    }
    // The list is dead once StartElement has returned; a tag cut off by the end of input gets
    // no event at all.
    if (attributes != FEmptyAttributes) attributes->Clear();
  } else {
    const VnXMLString &uri = FNamespaceList->GetURI(FPrefix);
    if (P->CurrUnit() != u'>') P->CheckCurrChar(P->FGt, true);
    Content()->EndElement(uri, FLocalName, qname);
    FNamespaceList->RemoveLevel(ALevel);
    --ALevel;
  }
  if (P->CurrUnit() != u'>') P->SkipTo('>');
}

void TVnSAXXMLReader::ParseElement(Integer &ALevel) {
  TVnXMLParser *P = FParser;
  ParseTag(ALevel);
  P->Step();
  if (ALevel == 0) ParseAfterRoot(ALevel);
  if (!P->Eof() && P->CurrUnit() != u'<') ParseCharacters();
}

// Behind the close of the root, up to the end of input. White space is skipped; with
// SingleRoot, text fails with code 12 and another element with code 9, while comments,
// processing instructions and even CDATA sections pass. Without SingleRoot every further
// top-level tag is read here as well: a further root that closes again continues this same
// loop, and the content of one that stays open is read by it too, each text behind a tag of it
// first.
void TVnSAXXMLReader::ParseAfterRoot(Integer &ALevel) {
  TVnXMLParser *P = FParser;
  while (!P->Eof()) {
    P->SkipWhile(soLessOrEqual, P->FSpace);
    if (P->Eof()) break;
    if (P->CurrUnit() != u'<') {
      if (FCheckSingleRootElm) throw EVnXMLParseError(_cVnXMLInvalidTextAtRoot, cErrTextAtRoot);
      ParseCharacters();
      continue;
    }
    const char16_t next = P->PeekUnit();
    if (next == u'!') {
      P->Step();
      if (P->PeekUnit() == u'-')
        ParseComment();
      else
        ParseCDATA();
    } else if (next == u'?') {
      ParseProcessingInstruction();
    } else {
      if (FCheckSingleRootElm) throw EVnXMLParseError(_cVnXMLMultipleRoot, cErrMultipleRoot);
      ParseTag(ALevel);
      P->Step();
      if (ALevel != 0 && !P->Eof() && P->CurrUnit() != u'<') ParseCharacters();
    }
  }
}

}  // namespace vn
