// TVnSAXJSONReader: JSON text as the events of the XML it stands for.
#include <vector>

#include "vnxml/xml/uVnSAX.h"
#include "vnxml/xml/uVnSAX/Names.h"

namespace vn {

namespace {

constexpr TVnAsciiTable cOpen("{[");
constexpr char16_t cExpectedRoot[] = u"{ or [";

// A member's name as an element name: "_" for each character that cannot stand in a name (the
// colon too), "_" for the empty name, and "_" in front of a first character that cannot start
// one.
constexpr TVnAsciiTable cNameChars(
    "-.0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz");

void MakeElementName(VnXMLString &AName) {
  for (char16_t &c : AName)
    if (c < 0x80 ? !cNameChars.Member[c] : !sax::IsNameChar(c)) c = u'_';
  if (AName.empty())
    AName.assign(1, u'_');
  else if (!sax::IsNameStartChar(AName[0]))
    AName.insert(AName.begin(), u'_');
}

}  // namespace

TVnSAXJSONReader::~TVnSAXJSONReader() {
  Free(FRootAttributes);
  for (auto &row : FValueAttributes)
    for (TVnSAXXMAttributes *list : row) Free(list);
}

TVnTextParser *TVnSAXJSONReader::CreateParser(TStream *AStream, bool AStreamOwner, bool,
                                              Word AStreamCodePage) {
  // A stream in memory is scanned where it lies.
  const void *data;
  UInt64 size;
  if (!AStreamOwner && TVnTextParser::TakeMemoryRest(AStream, data, size))
    return New<TVnJSONTextParserEx>(data, size, AStreamCodePage);
  return New<TVnJSONTextParserEx>(AStream, AStreamOwner, AStreamCodePage);
}

IVnSAXAttributes *TVnSAXJSONReader::ValueAttributes(TVnJSONDataType AType, bool AInObject) {
  TVnSAXXMAttributes *&slot = FValueAttributes[AInObject ? 1 : 0][AType];
  if (slot) return slot;
  TVnSAXXMAttributes *list = New<TVnSAXXMAttributes>();
  slot = list;
  const bool nil = AType == jdtNull;
  const char16_t *uri = nil ? cVnXSINamespaceURI : cVnXSDNamespaceURI;
  // Members of objects carry the declaration as their URI, items of arrays the plain URI.
  const VnXMLString u = AInObject
                            ? VnXMLString(nil ? u"xmlns:xsi=\"" : u"xmlns:xsd=\"") + uri + u"\""
                            : VnXMLString(uri);
  static const char16_t *const cTypes[] = {u"", u"string", u"decimal", u"boolean"};
  if (nil)
    list->Add(u"nil", u"xsi:nil", u, u"true", TVnSAXAttributeType::CDATA);
  else
    list->Add(u"type", u"xsd:type", u, cTypes[AType], TVnSAXAttributeType::CDATA);
  return list;
}

void TVnSAXJSONReader::InternalParse() {
  struct TScope {
    TVnSAXJSONReader *R;
    ~TScope() { R->FJSONParser = nullptr; }
  } scope{this};
  if (!FContentHandler) throw EVnJSONException(_cVnJSONNoContentHandler, 3);
  if (!FErrorHandler) throw EVnJSONException(_cVnJSONNoErrorHandler, 4);
  try {
    VN_ASSERT_AT(FParser, "xml/uVnSAX", 2316);
    FJSONParser = static_cast<TVnJSONTextParserEx *>(FParser);
    TVnJSONTextParserEx *P = FJSONParser;
    if (!FRootAttributes) {
      FRootAttributes = New<TVnSAXXMAttributes>();
      FRootAttributes->Add(u"xsi", u"xmlns:xsi", u"", cVnXSINamespaceURI,
                           TVnSAXAttributeType::CDATA);
      FRootAttributes->Add(u"xsd", u"xmlns:xsd", u"", cVnXSDNamespaceURI,
                           TVnSAXAttributeType::CDATA);
    }
    P->SkipAscii(cOpen, false);
    Content()->StartDocument();
    const char16_t first = P->Eof() ? 0 : P->CurrUnit();
    if (first != u'[' && first != u'{') P->RaiseExpected(cExpectedRoot);
    const VnXMLString root = first == u'[' ? u"array" : u"object";
    Content()->StartElement(u"", root, root, FRootAttributes);
    // Several values at the top all stand below the one root.
    while (!P->Eof()) {
      const char16_t c = P->CurrUnit();
      if (c == u'[' || c == u'{') {
        ParseContainer(root);
        continue;
      }
      if (c < 33) {
        P->Step();
        continue;
      }
      P->RaiseExpected(cExpectedRoot);
    }
    Content()->EndElement(u"", root, root);
    Content()->EndDocument();
  } catch (...) {
    NotifyFatalError();
    throw;
  }
}

void TVnSAXJSONReader::ParseSimpleValue(const VnXMLString &AName, bool AInObject) {
  TVnJSONTextParserEx *P = FJSONParser;
  TVnJSONDataType type;
  if (!P->Eof() && P->CurrUnit() == u'"') {
    P->ScanString();
    type = jdtString;
    P->SelectedTo(tpMark1, tpCurrent, true, FText);
  } else {
    type = P->ScanLiteral();
    P->SelectedTo(tpMark1, tpCurrent, true, FText);
    if (type == jdtNumber) P->SkipToValueEnd();
  }
  Content()->StartElement(u"", AName, AName, ValueAttributes(type, AInObject));
  Content()->Characters(FText);
  Content()->EndElement(u"", AName, AName);
}

void TVnSAXJSONReader::ParseContainer(const VnXMLString &AName) {
  TVnJSONTextParserEx *P = FJSONParser;
  IVnSAXAttributes *none = FEmptyAttributes;
  // The open objects and arrays: the name of an array's items, and the element that closes
  // with the container (none for the outermost, which the caller closes). Frames above the top
  // are kept, so that their names keep their room for the next container at that depth.
  struct TFrame {
    bool Object;
    VnXMLString Name;
    VnXMLString Close;
  };
  std::vector<TFrame> stack;
  std::size_t depth = 0;
  const auto push = [&](bool AObject) -> TFrame & {
    if (depth == stack.size()) stack.emplace_back();
    TFrame &f = stack[depth++];
    f.Object = AObject;
    return f;
  };
  {
    TFrame &f = push(P->CurrUnit() == u'{');
    f.Name = AName;
    f.Close.clear();
  }
  VnXMLString member;
  VnXMLString local;
  char16_t c;

open:
  // At "{" or "[" of the container on top of the stack.
  if (stack[depth - 1].Object) {
    P->CheckCurrChar(P->FBraceO, true);
    P->SkipToEither('}', '"');
    if (P->Eof() || P->CurrUnit() != u'"') goto objectEnd;
    goto member;
  }
  P->CheckCurrChar(P->FBracketO, true);
  goto item;

member:
  P->SkipToName();
  P->ScanString();
  P->SelectedTo(tpMark1, tpCurrent, true, member);
  MakeElementName(member);
  P->StepOver();
  P->SkipTo(':');
  P->StepOver();
  P->SkipWhite();
  c = P->Eof() ? 0 : P->CurrUnit();
  if (c == u'[') {
    // The start event's local name ends in "Arr"; every other name of the element in "Array".
    TFrame &f = push(false);
    f.Name = member;
    f.Close.assign(member).append(u"Array");
    local.assign(member).append(u"Arr");
    Content()->StartElement(u"", local, f.Close, none);
    goto open;
  }
  if (c == u'{') {
    TFrame &f = push(true);
    f.Name.clear();
    f.Close = member;
    Content()->StartElement(u"", f.Close, f.Close, none);
    goto open;
  }
  ParseSimpleValue(member, true);
  goto objectNext;

objectNext:
  // Whatever stands up to the next "," or "}" is dropped; the end of the text ends the object.
  P->SkipToEither('}', ',');
  if (!P->Eof() && P->CurrUnit() == u',') goto member;

objectEnd:
  P->StepOver();
  goto after;

item:
  // At "[" or ",": the next item, or the end of the array.
  P->StepOver();
  P->SkipWhite();
  c = P->Eof() ? 0 : P->CurrUnit();
  if (c == u'[') {
    // A nested array's items bear the name of the outer array's items.
    TFrame &f = push(false);
    const TFrame &outer = stack[depth - 2];
    f.Name = outer.Name;
    f.Close.assign(outer.Name).append(u"Array");
    Content()->StartElement(u"", f.Close, f.Close, none);
    goto open;
  }
  if (c == u'{') {
    TFrame &f = push(true);
    f.Close = stack[depth - 2].Name;
    f.Name.clear();
    Content()->StartElement(u"", f.Close, f.Close, none);
    goto open;
  }
  if (c != u']') ParseSimpleValue(stack[depth - 1].Name, false);

arrayNext:
  P->SkipToEither(']', ',');
  if (!P->Eof() && P->CurrUnit() == u',') goto item;
  P->StepOver();

after:
  // A container has ended: its element closes, and its parent goes on.
  {
    const TFrame &f = stack[depth - 1];
    if (!f.Close.empty()) Content()->EndElement(u"", f.Close, f.Close);
    --depth;
  }
  if (depth == 0) return;
  if (stack[depth - 1].Object) goto objectNext;
  goto arrayNext;
}

}  // namespace vn
