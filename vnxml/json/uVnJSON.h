// JSON: the text conversions, the scanner, the event reader, the component with events, and
// the document tree with its output.
//
// The reader is a tolerant single-pass scanner, not a strict JSON parser: several values may
// follow each other at the top, junk between the members of an object is dropped, a trailing
// comma in an array is fine, an object cut off by the end of the text is closed, numbers are
// any run of digits, signs, dots and exponent letters. Names and values reach the handler as
// they are written, escapes included. Those leniencies are deliberate; other code relies on
// them.
//
// Reading a text into a tree and writing it back:
//
//   Owned<TVnJSONDocument> doc = MakeOwned<TVnJSONDocument>();
//   doc->SetAsJSON(u"{\"a\": 1, \"b\": [true, null]}");
//   Integer a = doc->GetMember(u"a", {jsoRaise})->GetAsInteger();
//   doc->GetMember(u"c", {jsoCreate})->SetAsString(u"new");
//   UnicodeString text = doc->GetFormattedJSON();
//
// Nodes are reference-counted objects: a node reached through an interface (IVnJSONBase and
// family) that is detached from its tree lives on until the last interface lets go of it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "vnxml/common/uVnClasses.h"
#include "vnxml/common/uVnTypes.h"
#include "vnxml/json/uVnJSONInterfaces.h"
#include "vnxml/rtl/Classes.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/rtl/Rtti.h"
#include "vnxml/rtl/Variant.h"

namespace vn {

// ---------------------------------------------------------------------------------------------
// Exceptions and messages

// Failures of the tree and the reader that are no syntax error: ErrorCode tells which.
VN_DECLARE_EXCEPTION(EVnJSONException, EVnException)
// Syntax errors of the reader (code 2), and the missing root of a document (code 10). An error
// that leaves a parse carries the line and column at which the reader stopped (1-based; -1 for
// an error that no parse raised).
class EVnJSONParseError : public EVnJSONException {
  VN_EXCEPTION_CLASS(EVnJSONParseError, EVnJSONException)
 public:
  using EVnJSONException::EVnJSONException;
  Integer LineNr = -1;
  Integer ColNr = -1;
};

// 2: the expected text, then the character found (empty at the end of the text).
inline constexpr char16_t _cVnJSONNotWellFormed[] =
    u"The document is not wellformed!\r\n\"%s\" expected, but \"%s\" found!";
// 3, 4
inline constexpr char16_t _cVnJSONNoContentHandler[] = u"No contenthandler has been assigned!";
inline constexpr char16_t _cVnJSONNoErrorHandler[] = u"No errorhandler has been assigned!";
// 5
inline constexpr char16_t _cVnJSONNoMember[] = u"There is no member with the name \"%s\"!";
// 6
inline constexpr char16_t _cVnJSONUnexpectedType[] = u"Unexptected JSON type!";
// 9: the class name, then the operation's word.
inline constexpr char16_t _cVnJSONNotSupported[] = u"Instances of %s do not support the %s method!";
// 10
inline constexpr char16_t _cVnJSONNoRoot[] = u"There is no root value!";
// Path selection: 11 nothing found (jsoRaise), 13 an empty path or one that starts with neither
// "$" nor "@", 14 another character where one was expected (the expected, then the found),
// 15 a "$" or "@" inside the path, 17 a filter whose parentheses do not match or that nests
// too deep.
inline constexpr char16_t _cVnJSONNoNodes[] = u"The specified path returned no nodes!";
inline constexpr char16_t _cVnJSONInvalidPath[] = u"The specified path is not a valid JSON path.";
inline constexpr char16_t _cVnJSONUnexpectedChar[] =
    u"The specified path is not a valid JSON path. Character '%s' was expected, however '%s' was "
    u"found.";
inline constexpr char16_t _cVnJSONMisplacedChar[] =
    u"The specified path is not a valid JSON path. A character ('%s') was detected on an invalid "
    u"position.";
inline constexpr char16_t _cVnJSONScriptTooComplex[] =
    u"The specified script expression is too complex or not valid!";
// Kept with the others for code that reports these cases itself; the selection never raises
// them.
inline constexpr char16_t _cVnJSONMoreThanOneNode[] =
    u"The specified path returned more than 1 node!";
inline constexpr char16_t _cVnJSONArrayExpected[] = u"Array expected. %s found.";
inline constexpr char16_t _cVnJSONObjectExpected[] = u"Object expected. %s found.";
inline constexpr char16_t _cVnJSONScriptNotSupported[] =
    u"Script expressions are not yet supported!";
// How deep filters may nest in one another (parentheses, "!", and paths inside filters that
// hold filters themselves); deeper text raises code 17.
inline constexpr Integer cVnJSONMaxNesting = 128;
// EReadError of LoadFromFile and of the reader's ParseFile.
inline constexpr char16_t _cVnJSONNoFile[] = u"There is no file \"%s\"";
// The tree handler, for an event that has no place at the cursor: EVnJSONException, and
// Exception for a member outside an object.
inline constexpr char16_t _cVnJSONOeps[] = u"oeps?";
inline constexpr char16_t _cVnJSONInvalidObjectType[] = u"Invalid objecttype";
// EConvertError of the date routines' variant forms.
inline constexpr char16_t _cVnJSONInvalidDate[] = u"The given value is not a valid Date value!";
inline constexpr char16_t _cVnJSONInvalidTime[] = u"The given value is not a valid Time value!";
inline constexpr char16_t _cVnJSONInvalidDateTime[] =
    u"The given value is not a valid DateTime value!";
// Exception of VnJSONToVal: the type's text.
inline constexpr char16_t _cVnJSONToValFailed[] = u"Failed to convert \"%s\" into a TValue!";

// ---------------------------------------------------------------------------------------------
// Text conversions

// Escapes text for use between double quotes; no quotes are added. '"', '/' and '\' get a
// backslash, 8, 9, 10, 12 and 13 their letter escapes, the codes 1 to 7 are dropped, everything
// else below 256 is copied as it stands (control characters too), and from 256 up each unit
// becomes \u and four upper-case hexadecimal digits.
VnJSONString VnStrToJSON(UnicodeStringView AText);
// The same, appended to ADest: for writers that build their output in one string.
void VnAppendStrToJSON(VnJSONString &ADest, UnicodeStringView AText);
// Undoes the escapes. \uXXXX adds one unit (bad hexadecimal raises EConvertError), \%XX one
// byte as a character, any other escaped character stands for itself; a bare %XX is a byte
// only in a number (ADataType jdtNumber).
UnicodeString VnJSONtoStr(UnicodeStringView AJSON, TVnJSONDataType ADataType = jdtString);
// The text of a JSON document, read and written again unformatted: a normalisation.
UnicodeString VnFormatJSON(const UnicodeString &AJSON);
UnicodeString VnFormatJSON(const AnsiString &AJSON);
// Integers and floats: number; text and dates: string; booleans: boolean; arrays: array;
// everything else null. Never object.
TVnJSONDataType VnVarTypeToJSONType(const Variant &AValue);
// The value as JSON text: dates quoted in their XML form without a zone, arrays with their
// elements joined by "," without spaces, -0 as "-0", infinities and NaN as "null", text quoted
// and escaped, Empty, Null and other kinds "null".
VnJSONString VnVarToJSON(const Variant &AValue);

// The date forms of JSON: "/Date(<milliseconds>)/" counted from 1970-01-01 00:00 without a zone,
// or an XML lexical form. The empty text is 0.
TDateTime VnJSONToDate(UnicodeStringView AText);
TDateTime VnJSONToTime(UnicodeStringView AText);
TDateTime VnJSONToDateTime(UnicodeStringView AText);
// Null gives ADefault; numbers and dates are the date itself; text goes through the text form;
// other kinds raise EConvertError.
TDateTime VnJSONToDate(const Variant &AValue, TDateTime ADefault);
TDateTime VnJSONToTime(const Variant &AValue, TDateTime ADefault);
TDateTime VnJSONToDateTime(const Variant &AValue, TDateTime ADefault);
// ADefault on any failure.
TDateTime VnJSONToDateDef(UnicodeStringView AText, TDateTime ADefault);
TDateTime VnJSONToTimeDef(UnicodeStringView AText, TDateTime ADefault);
TDateTime VnJSONToDateTimeDef(UnicodeStringView AText, TDateTime ADefault);

// The type bridges of the serializers. VnJSONType gives the JSON schema name of a type and,
// for some, its format: "integer" ("int32", "int64"), "number" ("float", "double"), "boolean",
// "string" ("date", "date-time", "dateTime"), and "any" for the rest.
struct TVnJSONTypeName {
  UnicodeString Name;
  UnicodeString Format;
};
TVnJSONTypeName VnJSONType(PTypeInfo AType);
// Arrays, records, classes and interfaces through the JSON serializer (VnSerialize); other kinds
// by VnValToXML.
VnJSONString VnValToJSON(const TValue &AValue);
// Text to a value of the type: numbers, booleans and dates through the VnXMLTo... routines,
// text types after VnJSONtoStr. Other types raise Exception _cVnJSONToValFailed.
TValue VnJSONToVal(UnicodeStringView AText, PTypeInfo AType, bool AUnescape = true);
TValue VnJSONToVal(UnicodeStringView AText, const UnicodeString &ATypeName, bool AUnescape = true);

// ---------------------------------------------------------------------------------------------
// The scanner

class TVnJSONTextParser;
using TVnJSONTextParserSkipFunc = TVnTextParser::TPtrSkipFunc;
using TVnJSONTextParserCheckFunc = TVnTextParser::TPtrCheckFunc;

// The text source of the JSON readers. Each F... field points at the constant of its character
// in the width of the source, and the two slots take such pointers, so that the readers never
// test the width.
class TVnJSONTextParser : public TVnTextParser {
  VN_CLASS(TVnJSONTextParser, TVnTextParser)
 public:
  // Reads AStream from its current position. Unless ACodePage is 1200 or a page of more than
  // one byte a character, the encoding is found in the first four bytes: UTF-16 LE when they
  // are x 00 x 00, UTF-8 otherwise; UTF-32 and UTF-16 BE raise Exception "The specified
  // encoding is not supported!".
  TVnJSONTextParser(TStream *AStream, bool AOwnsStream, Word ACodePage);
  // The same over a memory block that the caller keeps alive.
  TVnJSONTextParser(const void *ABuffer, UInt64 ASize, Word ACodePage);

  // Binds the base slots, then the constant pointers and the two slots of this class.
  void SetCharacterSetType(TVnCharacterSetType AType) override;

  using TVnTextParser::SkipWhile;
  // Moves forward while the current character stands in relation AOperator to *ACharPtr.
  void SkipWhile(TVnTextParserSkipOp AOperator, const void *ACharPtr) {
    SkipWhileFunc(this, AOperator, ACharPtr);
  }
  // Whether the current character equals *ACharPtr. When it does not and ARaise is set, raises
  // EVnJSONParseError with code 2, naming the expected and the found character.
  bool CheckCurrChar(const void *ACharPtr, bool ARaise) {
    return CheckCurrCharFunc(this, ACharPtr, ARaise);
  }
  // Raises EVnJSONParseError code 2 with AExpected and the current character.
  [[noreturn]] void RaiseExpected(const UnicodeString &AExpected) override;
  // The source bytes from mark 1 to the current character, when the source takes a byte a
  // character (or is UTF-8), they lie in the window and are all ASCII: then the mark is released
  // and true returned. Otherwise nothing changes.
  bool TakeAscii(const char *&AData, std::size_t &ALength) {
    // The run the scan just saw whole and found ASCII, when neither the current character nor
    // mark 1 has moved since.
    if (FAsciiFrom && FAsciiTo == FCur && MarkPos(tpMark1) == FBasePos + (FAsciiFrom - FBase)) {
      AData = reinterpret_cast<const char *>(FAsciiFrom);
      ALength = static_cast<std::size_t>(FCur - FAsciiFrom);
      FAsciiFrom = FAsciiTo = nullptr;
      ClearMark(tpMark1);
      return true;
    }
    return TakeAsciiOther(AData, ALength);
  }
  // Up to ACount source bytes from the current character on, where they lie (fewer near the end),
  // for a look ahead that nothing consumes: in a UTF-8 source only, where ASCII text reads byte
  // for byte. False in other widths.
  bool PeekUtf8(Integer ACount, const char *&AData, std::size_t &ALength);
  // The source bytes from mark 1 to the current character, when the source is UTF-8 and they lie
  // in the window. Mark 1 stays. False in other widths.
  bool SelectedUTF8(const char *&AData, std::size_t &ALength);
  // Steps over the current character; nothing at the end of the text.
  void StepOver() {
    if (!_GetEOF()) Step();
  }
  // The scans both JSON readers share. ScanString: at the opening quotation mark (code 2
  // otherwise), sets mark 1 on the first character and stops on the closing quotation mark or
  // at the end of the text; escapes are checked (a backslash followed by none of "\/bfnrtu
  // raises code 2; \u passes four more characters unseen) and left as written. True when the
  // string holds a backslash.
  bool ScanString();
  // At the first character of a number, true, false or null: sets mark 1 on it and steps over
  // the keyword (each letter must match, code 2 otherwise) or the run of number characters
  // (digits, ".", "-", "+", "e", "E", not checked further), and gives the type. Any other
  // character raises code 2.
  TVnJSONDataType ScanLiteral();
  // Skips what follows a number up to the next "]", "}" or ",".
  void SkipToValueEnd();
  // At the next member name's quotation mark, or at the "," in front of it: drops what lies
  // before the mark.
  void SkipToName();
  // Skips characters up to and including U+0020.
  void SkipWhite();
  // After a member name's scan: over its closing quotation mark, on to the next ":" and over it,
  // then over the characters up to U+0020 behind it. A ":" right behind the mark takes one step.
  void SkipNameEnd() {
    if (FMinCharBytes == 1 && FLimit - FCur >= 2 && FCur[1] == ':') {
      FCur += 2;
    } else {
      StepOver();
      SkipTo(':');
      StepOver();
    }
    SkipControls();
  }

  TVnJSONTextParserSkipFunc SkipWhileFunc = nullptr;
  TVnJSONTextParserCheckFunc CheckCurrCharFunc = nullptr;

  const void *FApos = nullptr;
  const void *FQuote = nullptr;
  const void *FSpace = nullptr;
  const void *FColon = nullptr;
  const void *FBackSlash = nullptr;
  const void *FBracketO = nullptr;
  const void *FBracketC = nullptr;
  const void *FBraceO = nullptr;
  const void *FBraceC = nullptr;
  const void *FEqual = nullptr;

 private:
  void Sniff(Word ACodePage);
  // Notes the run from AFrom to the current character as seen whole and ASCII, in a byte a
  // character and when the window has not moved since AFrom was taken (ABase, ABasePos).
  void NoteAscii(const Byte *AFrom, const Byte *ABase, Int64 ABasePos) {
    if (FMinCharBytes == 1 && FBase == ABase && FBasePos == ABasePos) {
      FAsciiFrom = AFrom;
      FAsciiTo = FCur;
    }
  }
  // After a string's scan that ends on the current character: notes the run from AFrom (mark 1)
  // as holding a byte above 127 when AHigh, else as seen whole and ASCII when it has no escape
  // (NoteAscii).
  void NoteString(unsigned AHigh, bool AEscaped, const Byte *AFrom, const Byte *ABase,
                  Int64 ABasePos) {
    if (AHigh) {
      // A byte in front of the first stop, so within the string.
      FNotAsciiMark = MarkPos(tpMark1);
      FNotAsciiEnd = GetCurPos();
    } else if (!AEscaped) {
      // The run was seen whole: it has no escape (whose "\u" passes characters unseen).
      NoteAscii(AFrom, ABase, ABasePos);
    }
  }
  // Steps over a run of number characters (digits, ".", "-", "+", "e", "E").
  void SkipNumber();
  // TakeAscii of a run that the last scan did not find ASCII: its bytes are looked at, unless
  // the scan saw a byte above 127 in it.
  bool TakeAsciiOther(const char *&AData, std::size_t &ALength);
  // The first source byte from mark 1 on, when the run from there to the current character lies
  // in the window; nil otherwise.
  const Byte *MarkedRun();
  // ScanString from the string's first character on, the general way (out of line, so that the
  // common case needs few registers).
  [[gnu::noinline]] bool ScanStringRest();

  // The source bytes that the last scan saw whole and found ASCII, so that TakeAscii of that
  // same run needs no second look.
  const Byte *FAsciiFrom = nullptr;
  const Byte *FAsciiTo = nullptr;
  // The run (mark 1 and end, as positions) that the last string scan found a byte above 127 in,
  // so that TakeAscii of that same run answers at once; -1 when there is none.
  Int64 FNotAsciiMark = -1;
  Int64 FNotAsciiEnd = -1;
};

// ---------------------------------------------------------------------------------------------
// The reader

class TVnJSONHandler;

// The event reader. Each parse call builds a scanner over its input, runs InternalParse and
// frees the scanner. A reader is reusable and keeps its handlers between parses; its automatic
// destruction is off, so the creator frees it, which releases the handlers.
//
// Errors leave as exceptions: EVnJSONParseError (code 2) for the text, EVnJSONException for
// missing handlers (codes 3 and 4). The error handler must be set but the reader does not call
// it, and it never calls SetDocumentLocator: a consumer that wants the locator takes the reader.
class TVnJSONReader : public TVnObject, public IVnJSONLocator, public IVnJSONReader {
  VN_CLASS(TVnJSONReader, TVnObject)
  VN_IMPLEMENTS(TVnObject, IVnJSONLocator, IVnJSONReader)
 public:
  TVnJSONReader();
  ~TVnJSONReader() override;
  TObject *Implementor() override { return this; }

  // IVnJSONLocator: during a parse the scanner's line and column, -1 outside one.
  Integer GetLineNr() override;
  Integer GetColNr() override;
  VnJSONString GetPublicID() override { return FPublicID; }

  // IVnJSONReader
  DelphiInterface<IVnJSONContentHandler> GetContentHandler() override { return FContentHandler; }
  DelphiInterface<IVnJSONErrorHandler> GetErrorHandler() override { return FErrorHandler; }
  void SetContentHandler(IVnJSONContentHandler *AHandler) override { FContentHandler = AHandler; }
  void SetErrorHandler(IVnJSONErrorHandler *AHandler) override { FErrorHandler = AHandler; }
  void ParseStream(TStream *AStream, Word ACodePage, const VnJSONString &APublicID = {}) override;
  // A missing file raises EReadError "There is no file "<name>"".
  void ParseFile(const UnicodeString &AFileName, Word ACodePage,
                 const VnJSONString &APublicID = {}) override;
  void ParseBuffer(const void *ABuffer, Cardinal ASize, Word ACodePage,
                   const VnJSONString &APublicID = {}) override;
  void Parse(const UnicodeString &AJSON, const VnJSONString &APublicID = {}) override;
  void Parse(const AnsiString &AJSON, Word ACodePage, const VnJSONString &APublicID = {}) override;

  // The text source of the parse in progress (nil outside one): a handler may look ahead or
  // set mark 3, which the reader leaves alone.
  TVnJSONTextParser *Parser() const noexcept { return FParser; }

 protected:
  // Reads the text of FParser and fires the events. The form reader replaces it.
  virtual void InternalParse();
  // The checks of both handlers, in order: EVnJSONException 3, then 4.
  void CheckHandlers();

  VnJSONString FPublicID;
  DelphiInterface<IVnJSONContentHandler> FContentHandler;
  DelphiInterface<IVnJSONErrorHandler> FErrorHandler;
  TVnJSONTextParser *FParser = nullptr;
  bool FUnexpectedEOF = false;
  Integer FLineNr = -1;
  Integer FColNr = -1;

 private:
  // Runs InternalParse over AParser and frees it whatever happens.
  void Run(TVnJSONTextParser *AParser, const VnJSONString &APublicID);
  // One object or array at the current character, nested ones included, on a stack of its own.
  void ParseContainer();
  // A string, keyword or number at the current character.
  void ParseSimpleValue();
  // The raw text from mark 1 to the current character, into FText.
  void TakeText();

  // Reused for each string and number: the events see it only while they run.
  UnicodeString FText;
  std::vector<Byte> FStack;
  // The content handler when it is the library's tree builder: it then takes ASCII text
  // straight from the source bytes.
  TVnJSONHandler *FTreeHandler = nullptr;
};

// The form reader's failures, raised as Exception: a %-escaped UTF-8 sequence that stops before
// its last byte, and a key suffix that does not open with "[" (or "%5B"), with the character
// found there (empty at the end of the text).
inline constexpr char16_t _cVnFormInvalidUTF8[] = u"Invalid UTF8 Encoding detected";
inline constexpr char16_t _cVnFormBracketExpected[] =
    u"The parser expected to read a \"[\" character, but \"%s\", was read instead!";

// Reads an application/x-www-form-urlencoded body ("a=1&b[c]=2&b[d][]=3") and fires the events
// a JSON text of the same data would: one object at the top whose members are the form's keys,
// bracket suffixes opening nested objects and arrays, every value a string. A consumer cannot
// tell it from the JSON reader. Only the content handler is required. A pair whose key starts
// with "_" ends the body, unless it is the first one; a value that starts with "[" or "{" is
// handed over as JSON text, unescaped.
class TVnFormURLEncodedJSONReader : public TVnJSONReader {
  VN_CLASS(TVnFormURLEncodedJSONReader, TVnJSONReader)
 public:
  TVnFormURLEncodedJSONReader() = default;

 protected:
  void InternalParse() override;
};

// ---------------------------------------------------------------------------------------------
// The component with events

using TVnJSONOnError =
    std::function<void(TObject *ASender, IVnJSONLocator *ALocator, const VnJSONString &AMessage)>;
using TVnJSONOnMember = std::function<void(TObject *ASender, const VnJSONString &AName)>;
using TVnJSONOnValue =
    std::function<void(TObject *ASender, TVnJSONDataType ADataType, const VnJSONString &AValue)>;

// The reader as a component: each parse call makes a reader (the form reader with
// AFormURLEncoded), sets this component as both handlers, and frees the reader afterwards. Each
// handler method calls its event when one is assigned; OnStart and OnFinished come before and
// after a parse.
class TVnJSONParser : public TComponent, public IVnJSONContentHandler, public IVnJSONErrorHandler {
  VN_CLASS(TVnJSONParser, TComponent)
  VN_IMPLEMENTS(TComponent, IVnJSONContentHandler, IVnJSONErrorHandler)
 public:
  explicit TVnJSONParser(TComponent *AOwner);
  ~TVnJSONParser() override;

  void ParseStream(TStream *AStream, Word ACodePage, bool AFormURLEncoded = false,
                   const VnJSONString &APublicID = {});
  void ParseFile(const UnicodeString &AFileName, Word ACodePage,
                 const VnJSONString &APublicID = {});
  void ParseBuffer(const void *ABuffer, Cardinal ASize, Word ACodePage,
                   bool AFormURLEncoded = false, const VnJSONString &APublicID = {});
  void Parse(const UnicodeString &AJSON, const VnJSONString &APublicID = {});
  void Parse(const AnsiString &AJSON, Word ACodePage, const VnJSONString &APublicID = {});

  // The reader of the parse that runs, nil outside one.
  TVnJSONReader *Reader() const noexcept { return FReader; }
  // What SetDocumentLocator stored.
  IVnJSONLocator *Locator() const noexcept { return FLocator; }

  // IVnJSONErrorHandler
  void Warning(IVnJSONLocator *ALocator, const VnJSONString &AMessage) override;
  void Error(IVnJSONLocator *ALocator, const VnJSONString &AMessage) override;
  void FatalError(IVnJSONLocator *ALocator, const VnJSONString &AMessage) override;
  // IVnJSONContentHandler
  void SetDocumentLocator(IVnJSONLocator *ALocator) override;
  void StartDocument() override;
  void StartObject() override;
  void StartMember(const VnJSONString &AName) override;
  void StartArray() override;
  void Value(TVnJSONDataType ADataType, const VnJSONString &AValue) override;
  void EndArray() override;
  void EndMember() override;
  void EndObject() override;
  void EndDocument() override;

  TVnJSONOnError OnWarning;
  TVnJSONOnError OnError;
  TVnJSONOnError OnFatalError;
  TNotifyEvent OnStart;
  TNotifyEvent OnFinished;
  TNotifyEvent OnStartDocument;
  TNotifyEvent OnStartObject;
  TVnJSONOnMember OnStartMember;
  TNotifyEvent OnStartArray;
  TVnJSONOnValue OnValue;
  TNotifyEvent OnEndArray;
  TNotifyEvent OnEndMember;
  TNotifyEvent OnEndObject;
  TNotifyEvent OnEndDocument;

 private:
  template <class F>
  void Run(bool AFormURLEncoded, F &&AParse);
  IVnJSONLocator *FLocator = nullptr;
  TVnJSONReader *FReader = nullptr;
};

// ---------------------------------------------------------------------------------------------
// The document tree

class TVnJSONBase;
class TVnJSONSimpleType;
class TVnJSONMember;
class TVnJSONObject;
class TVnJSONArray;
class TVnJSONDocument;
struct TVnJSONTreeWriter;
struct TVnJSONNameMatch;

// A plain typed list of nodes; it owns none of them.
class TVnJSONNodeList : public TObject {
  VN_CLASS(TVnJSONNodeList, TObject)
 public:
  TVnJSONNodeList() = default;
  Integer Count() const noexcept { return static_cast<Integer>(FItems.size()); }
  TVnJSONBase *GetItem(Integer AIndex) const;
  TVnJSONBase *operator[](Integer AIndex) const { return GetItem(AIndex); }
  Integer Add(TVnJSONBase *ANode);
  void Insert(Integer AIndex, TVnJSONBase *ANode);
  void Delete(Integer AIndex);
  Integer IndexOf(const TVnJSONBase *ANode) const;
  Integer Remove(TVnJSONBase *ANode);
  void Clear() noexcept { FItems.clear(); }
  // Makes this list a copy of ASource.
  void Assign(const TVnJSONNodeList *ASource);
  auto begin() const noexcept { return FItems.begin(); }
  auto end() const noexcept { return FItems.end(); }

 private:
  std::vector<TVnJSONBase *> FItems;
};

// The base of every node. It carries the operations of all kinds: an operation that the node's
// class does not support raises EVnJSONException with code 9, naming the class and the
// operation.
//
// Ownership: a node made with an owner is registered with it, which frees it (the automatic
// destruction of a node with an owner is off). Freeing a node that interfaces still hold only
// detaches it: it turns self-destroying and goes with the last interface. A node without an
// owner is its creator's to Free (or to hand to an Owned).
class TVnJSONBase : public TVnObject, public virtual IVnJSONBase {
  VN_CLASS(TVnJSONBase, TVnObject)
  VN_IMPLEMENTS(TVnObject, IVnJSONBase)
 public:
  explicit TVnJSONBase(TVnJSONBase *AOwner);
  ~TVnJSONBase() override;
  TObject *Implementor() override { return this; }
  // Nodes made while a load runs on the thread are cut from the load's node pages, others come
  // from the heap one by one (TVnNodePages).
  static void *operator new(std::size_t ASize) { return TVnNodePages::Allocate(ASize); }
  static void operator delete(void *AObject, std::size_t ASize) noexcept {
    TVnNodePages::Release(AObject, ASize);
  }
  static void *operator new(std::size_t ASize, std::align_val_t AAlign) {
    return ::operator new(ASize, AAlign);
  }
  static void operator delete(void *AObject, std::size_t, std::align_val_t AAlign) noexcept {
    ::operator delete(AObject, AAlign);
  }

  // The tree
  TVnJSONBase *Owner() const noexcept { return FOwner; }
  TVnJSONDataType JSONType() const noexcept { return FJSONType; }
  TVnJSONDataType GetJSONType() override { return FJSONType; }
  // The children in order (a member's one child is its value). A load keeps the simple values
  // it reads in a compact form, and the members of an object that have one as a record of name
  // and value; the first call that asks for one here makes its node, which stays.
  Integer ObjectCount() const noexcept { return FCount; }
  TVnJSONBase *Objects(Integer AIndex) const {
    TVnJSONBase *child = FItems[AIndex];
    if (reinterpret_cast<std::uintptr_t>(child) & 1) [[unlikely]]
      child = const_cast<TVnJSONBase *>(this)->MakeNode(AIndex);
    return child;
  }
  // Registers a child; RemoveObject takes it out of the list and leaves it alone.
  virtual void InsertObject(TVnJSONBase *AObject);
  virtual void RemoveObject(TVnJSONBase *AObject);
  // Frees the children from the last to the first (when this node owns them) and empties the
  // list.
  void DestroyObjects();
  // Detaches the node from its owner, then destroys it, or, while interfaces hold it, leaves it
  // to the last of them.
  void FreeObject();
  // The document at the top of the tree: EInvalidCast when the top is another kind of node.
  TVnJSONDocument *GetDocument();
  // "#/" and the names of the members above this node, from the top down, joined by "/".
  UnicodeString GetPath();

  // Text
  VnJSONString GetAsJSON() override;
  void SetAsJSON(const VnJSONString &AText) override;
  VnJSONString GetFormattedJSON();
  // Adds what the text holds to this node (an empty stream empties it).
  virtual void LoadFromStream(TStream *AStream, Word ACodePage, bool AFormURLEncoded = false);
  // Writes the node as UTF-16 text into AStream.
  virtual void SaveToStream(TStream *AStream, bool AFormatted, Integer ALevel, bool AIndent);

  // Names and values
  VnJSONString GetName() override;
  void SetName(const VnJSONString &AName) override;
  virtual TVnJSONBase *GetValueObj();
  virtual void SetValue(TVnJSONBase *AValue);
  DelphiInterface<IVnJSONBase> GetValue() override;
  bool GetAsBoolean() override;
  Double GetAsDouble() override;
  Integer GetAsInteger() override;
  Int64 GetAsLargeInt() override;
  UnicodeString GetAsString() override;
  Variant GetAsVariant() override;
  TValue GetAsValue() override;
  virtual TVnJSONObject *GetAsObject();
  virtual TVnJSONArray *GetAsArray();
  DelphiInterface<IVnJSONObject> GetAsObjectIntf() override;
  DelphiInterface<IVnJSONArray> GetAsArrayIntf() override;
  void SetAsBoolean(bool AValue) override;
  void SetAsDouble(Double AValue) override;
  void SetAsInteger(Integer AValue) override;
  void SetAsString(const UnicodeString &AValue) override;
  void SetAsLargeInt(Int64 AValue) override;
  void SetAsVariant(const Variant &AValue) override;
  void SetAsValue(const TValue &AValue) override;

  // Items and members
  Integer Count() override;
  virtual TVnJSONBase *Item(Integer AIndex);
  DelphiInterface<IVnJSONBase> GetItem(Integer AIndex) override;
  virtual TVnJSONBase *AddValue(TVnJSONDataType AType);
  virtual TVnJSONBase *AddValue(TVnJSONDataType AType, const VnJSONString &AText);
  virtual TVnJSONBase *AddValue(const Variant &AValue);
  virtual void RemoveValue(TVnJSONBase *AValue);
  virtual void DeleteValue(Integer AIndex);
  virtual TVnJSONMember *AddMember(const VnJSONString &AName);
  virtual TVnJSONMember *AddMember(const VnJSONString &AName, TVnJSONDataType AType);
  virtual TVnJSONMember *AddMember(const VnJSONString &AName, TVnJSONDataType AType,
                                   const VnJSONString &AText);
  virtual TVnJSONMember *AddMember(const VnJSONString &AName, const Variant &AValue);
  virtual void DeleteMember(Integer AIndex);
  virtual void RemoveMember(TVnJSONMember *AMember);
  virtual TVnJSONMember *FindMember(const VnJSONString &AName, bool ACaseInsensitive = false);
  virtual TVnJSONMember *GetMember(const VnJSONString &AName, TVnJDOCSelectOptions AOptions);
  TVnJSONMember *GetMember(const VnJSONString &AName, TVnJDOCBracedOptions AOptions) {
    return GetMember(AName, TVnJDOCSelectOptions(AOptions));
  }
  bool HasMember(const VnJSONString &AName, bool ACaseInsensitive = false) override;
  // GetMember(AName, {jsoCreate}).
  DelphiInterface<IVnJSONMember> GetMemberEx(const VnJSONString &AName) override;
  TVnJSONMember *GetMemberEx1(const VnJSONString &AName);
  DelphiInterface<IVnJSONMember> FindMemberIntf(const VnJSONString &AName,
                                                bool ACaseInsensitive) override;
  using IVnJSONBase::GetMemberIntf;
  DelphiInterface<IVnJSONMember> GetMemberIntf(const VnJSONString &AName,
                                               TVnJDOCSelectOptions AOptions) override;

  // Path selection. A path starts with "$" (the document's root value) or "@" (this node) and
  // goes on in steps: ".name", "..name" (at any depth below), "[...]" with names ('a'), "*",
  // indices (negative from the end), slices "start:stop:step", "(@.length-1)", unions "a,b" and
  // filters "?(@.price < 10 && @.title)". Several paths joined by " | " give all their nodes.
  // The result is a free-standing array that lists the nodes and owns none of them: the caller
  // frees it, the nodes stay. jsoCreate adds members that a name step misses (with null
  // values), jsoCaseInsensitive compares member names without regard to case, and jsoRaise
  // raises EVnJSONException code 11 when nothing is found. Malformed paths raise
  // EVnJSONException with code 13, 14, 15 or 17.
  TVnJSONArray *CreateNodeList(const UnicodeString &APath, TVnJDOCSelectOptions AOptions);
  TVnJSONArray *CreateNodeList(const UnicodeString &APath, TVnJDOCBracedOptions AOptions) {
    return CreateNodeList(APath, TVnJDOCSelectOptions(AOptions));
  }
  TVnJSONArray *CreateNodeList(const UnicodeString &APath, bool ARaise);
  // The first node CreateNodeList finds, nil when there is none.
  TVnJSONBase *SelectSingleNode(const UnicodeString &APath, TVnJDOCSelectOptions AOptions);
  TVnJSONBase *SelectSingleNode(const UnicodeString &APath, TVnJDOCBracedOptions AOptions) {
    return SelectSingleNode(APath, TVnJDOCSelectOptions(AOptions));
  }
  TVnJSONBase *SelectSingleNode(const UnicodeString &APath, bool ARaise);
  using IVnJSONBase::SelectIntf;
  DelphiInterface<IVnJSONArray> SelectIntf(const UnicodeString &APath,
                                           TVnJDOCSelectOptions AOptions) override;
  // The nodes of APath appended to AResult (duplicates kept), without making an array: what
  // CreateNodeList does inside. With AFirstOnly the paths joined by " | " stop at the first one
  // that finds something.
  void InternalCreateNodeList(const UnicodeString &APath, bool AFirstOnly,
                              TVnJDOCSelectOptions AOptions, std::vector<TVnJSONBase *> &AResult);

  // UTF-8 forms. Each one converts at the edge and calls the UTF-16 operation of the same name,
  // so the two never differ in what they do. Text goes in as std::string_view under the
  // operation's own name (a narrow literal, a std::string and a view all pick it); text comes
  // out as std::string from a getter named with "UTF8" at the end. Malformed UTF-8 becomes
  // U+FFFD. Classes that override one of these names bring the UTF-8 form back into view with a
  // using-declaration.
  std::string GetAsJSONUTF8() { return UTF8Encode(GetAsJSON()); }
  std::string GetFormattedJSONUTF8() { return UTF8Encode(GetFormattedJSON()); }
  // The text is read where it stands, in code page 65001 (LoadFromStream); a leading
  // byte-order mark is skipped, and empty text empties the node as SetAsJSON does.
  void SetAsJSON(std::string_view AText);
  std::string GetNameUTF8() { return UTF8Encode(GetName()); }
  std::string GetAsStringUTF8() { return UTF8Encode(GetAsString()); }
  void SetAsString(std::string_view AValue) { SetAsString(UTF8ToString(AValue)); }
  TVnJSONMember *AddMember(std::string_view AName) { return AddMember(UTF8ToString(AName)); }
  TVnJSONMember *FindMember(std::string_view AName, bool ACaseInsensitive = false) {
    return FindMember(UTF8ToString(AName), ACaseInsensitive);
  }
  TVnJSONMember *GetMember(std::string_view AName, TVnJDOCSelectOptions AOptions) {
    return GetMember(UTF8ToString(AName), AOptions);
  }
  TVnJSONMember *GetMember(std::string_view AName, TVnJDOCBracedOptions AOptions) {
    return GetMember(UTF8ToString(AName), TVnJDOCSelectOptions(AOptions));
  }
  bool HasMember(std::string_view AName, bool ACaseInsensitive = false) {
    return HasMember(UTF8ToString(AName), ACaseInsensitive);
  }
  TVnJSONArray *CreateNodeList(std::string_view APath, TVnJDOCSelectOptions AOptions) {
    return CreateNodeList(UTF8ToString(APath), AOptions);
  }
  TVnJSONArray *CreateNodeList(std::string_view APath, TVnJDOCBracedOptions AOptions) {
    return CreateNodeList(UTF8ToString(APath), TVnJDOCSelectOptions(AOptions));
  }
  TVnJSONArray *CreateNodeList(std::string_view APath, bool ARaise) {
    return CreateNodeList(UTF8ToString(APath), ARaise);
  }
  TVnJSONBase *SelectSingleNode(std::string_view APath, TVnJDOCSelectOptions AOptions) {
    return SelectSingleNode(UTF8ToString(APath), AOptions);
  }
  TVnJSONBase *SelectSingleNode(std::string_view APath, TVnJDOCBracedOptions AOptions) {
    return SelectSingleNode(UTF8ToString(APath), TVnJDOCSelectOptions(AOptions));
  }
  TVnJSONBase *SelectSingleNode(std::string_view APath, bool ARaise) {
    return SelectSingleNode(UTF8ToString(APath), ARaise);
  }

  using IVnJSONBase::operator[];

 protected:
  // Raises the refusal of an operation: EVnJSONException code 9 with the class name and AWord.
  [[noreturn]] void Refuse(const char16_t *AWord);
  void OwnerRelease() override;

  TVnJSONBase *FOwner = nullptr;
  // The children: FCount pointers at FItems. The first ones stand in slots of the node itself
  // (FInlineItems: a member's one value, the first three children of an object or array); more
  // move to an array of 5, 9, 17 slots and so on (GrowItems).
  TVnJSONBase **FItems = nullptr;
  Integer FCount = 0;
  TVnJSONDataType FJSONType = jdtNull;
  bool FDestroyChilds : 1 = true;
  bool FInlineItems : 1 = false;
  // Whether compact children are member records (json::RecordMake), not values: set on an
  // object of the library's own class when a load puts the first record into it.
  bool FMemberRecords : 1 = false;
  // How many slots the node has of its own (when FInlineItems).
  Byte FOwnSlots : 2 = 0;
  // Kept for the node class's own use: the simple value's kind of value.
  Byte FClassByte = 0;
  // How the node class's own text (a value's, a member's name) is held (json::TextSet).
  Byte FTextInfo = 0;

 private:
  friend class TVnJSONHandler;
  friend class TVnJSONMember;
  friend class TVnJSONObject;
  friend class TVnJSONArray;
  friend class TVnJSONDocument;
  friend struct TVnJSONSlots;
  // Makes the node of the compact value or member record in the child slot AIndex and puts it
  // there.
  [[gnu::cold, gnu::noinline]] TVnJSONBase *MakeNode(Integer AIndex);
  // Destroys a subtree whose top has already left its owner, without calls that nest.
  static void DisposeTree(TVnJSONBase *ATop);
  // Gives the child array room for ACapacity children, keeping those it holds.
  void GrowItems(Integer ACapacity);
  // Frees the child array when it is not the node's own slots.
  void ReleaseItems() noexcept;
  // How many children the child array has room for: the node's own slots, or the count in the
  // word in front of an array of its own.
  Integer ItemsCapacity() const noexcept {
    if (FInlineItems) return FOwnSlots;
    return FItems ? static_cast<Integer>(reinterpret_cast<const std::size_t *>(FItems)[-1]) : 0;
  }
  // Appends a child as InsertObject of this class does, inline.
  void AppendChild(TVnJSONBase *AChild) {
    if (FCount == ItemsCapacity()) [[unlikely]]
      GrowForOneMore();
    FItems[FCount++] = AChild;
  }
  // GrowItems to the next capacity, out of line.
  void GrowForOneMore();
  // Points the child list at ACount slots of the node itself.
  void UseOwnSlots(TVnJSONBase **ASlots, Byte ACount) noexcept {
    FItems = ASlots;
    FInlineItems = true;
    FOwnSlots = ACount;
  }
  // Takes apart a node of the library's own classes that nothing holds and that has no children
  // left: its text or child array and its memory go back without the chain of virtual
  // destructors. False for every other node, which the caller frees as usual.
  bool DropPlain() noexcept;
  Integer IndexOfObject(const TVnJSONBase *AObject) const noexcept;
  void CheckIndex(Integer AIndex) const;
};

// A string, number, boolean or null. Values read from text are kept as text and converted by
// the getters on each call; saving writes the text back as it was read.
class TVnJSONSimpleType : public TVnJSONBase, public IVnJSONSimpleType {
  VN_CLASS(TVnJSONSimpleType, TVnJSONBase)
  VN_IMPLEMENTS(TVnJSONBase, IVnJSONSimpleType)
 public:
  explicit TVnJSONSimpleType(TVnJSONBase *AOwner);
  ~TVnJSONSimpleType() override;
  TObject *Implementor() override { return this; }

  bool GetAsBoolean() override;
  Double GetAsDouble() override;
  Integer GetAsInteger() override;
  Int64 GetAsLargeInt() override;
  UnicodeString GetAsString() override;
  Variant GetAsVariant() override;
  TValue GetAsValue() override;
  void SetAsBoolean(bool AValue) override;
  void SetAsDouble(Double AValue) override;
  void SetAsInteger(Integer AValue) override;
  void SetAsString(const UnicodeString &AValue) override;
  using TVnJSONBase::SetAsString;
  void SetAsLargeInt(Int64 AValue) override;
  void SetAsVariant(const Variant &AValue) override;
  void SetAsValue(const TValue &AValue) override;
  void SaveToStream(TStream *AStream, bool AFormatted, Integer ALevel, bool AIndent) override;

  // The value as VnVarToStr writes GetAsVariant: text as it is held, other values in the
  // run-time's forms (Null and Empty as the empty text); without the Variant in between.
  UnicodeString GetVariantText();
  // Stores text as a string value of the type ADataType: how the reader's values arrive.
  void SetText(UnicodeStringView AText, TVnJSONDataType ADataType);
  // The same for ASCII text given as bytes.
  void SetTextAscii(const char *AData, std::size_t ALength, TVnJSONDataType ADataType);

 private:
  friend struct TVnJSONTreeWriter;
  friend class TVnJSONBase;
  // How the value is held; FData's member by kind.
  enum TKind : Byte {
    vkNull,
    vkEmpty,
    vkText,  // varUString: FData.Word with FTextInfo (json::TextSet)
    vkBoolean,
    vkInteger,
    vkInt64,
    vkDouble,
    vkDate,
    vkOther  // any other variant: FData.Other
  };
  union TData {
    UInt64 Word;
    Variant *Other;
    Int64 Int;
    Double Dbl;
    bool Bool;
  };
  void ClearValue() noexcept;
  void StoreVariant(const Variant &AValue);
  UnicodeString Text() const;
  TKind Kind() const noexcept { return static_cast<TKind>(FClassByte); }
  TData FData{};
};

// A name and its value. The name is kept as written in the text (escapes included) and escaped
// again on output.
class TVnJSONMember : public TVnJSONBase, public IVnJSONMember {
  VN_CLASS(TVnJSONMember, TVnJSONBase)
  VN_IMPLEMENTS(TVnJSONBase, IVnJSONMember)
 public:
  explicit TVnJSONMember(TVnJSONBase *AOwner);
  ~TVnJSONMember() override;
  TObject *Implementor() override { return this; }

  VnJSONString GetName() override;
  // Whether the name is AName, with or without regard to case (ASCII letters).
  bool NameIs(UnicodeStringView AName, bool ACaseInsensitive) const noexcept;
  void SetName(const VnJSONString &AName) override;
  TVnJSONBase *GetValueObj() override { return FCount ? Objects(0) : nullptr; }
  // Makes AValue the member's value: the old one is freed, and AValue leaves its owner.
  void SetValue(TVnJSONBase *AValue) override;
  DelphiInterface<IVnJSONBase> GetValue() override;
  // Replaces the value by a new object, array or simple value (of type null until it is set).
  TVnJSONBase *CreateValue(TVnJSONDataType AType);
  DelphiInterface<IVnJSONBase> CreateValueIntf(TVnJSONDataType AType) override;

  bool GetAsBoolean() override;
  Double GetAsDouble() override;
  Integer GetAsInteger() override;
  Int64 GetAsLargeInt() override;
  UnicodeString GetAsString() override;
  Variant GetAsVariant() override;
  TValue GetAsValue() override;
  TVnJSONObject *GetAsObject() override;
  TVnJSONArray *GetAsArray() override;
  DelphiInterface<IVnJSONObject> GetAsObjectIntf() override;
  DelphiInterface<IVnJSONArray> GetAsArrayIntf() override;
  void SetAsBoolean(bool AValue) override;
  void SetAsDouble(Double AValue) override;
  void SetAsInteger(Integer AValue) override;
  void SetAsString(const UnicodeString &AValue) override;
  using TVnJSONBase::SetAsString;
  void SetAsLargeInt(Int64 AValue) override;
  void SetAsVariant(const Variant &AValue) override;
  void SetAsValue(const TValue &AValue) override;
  using TVnJSONBase::AddValue;
  // With a type on a member without a value: creates the value.
  TVnJSONBase *AddValue(TVnJSONDataType AType) override;
  void SaveToStream(TStream *AStream, bool AFormatted, Integer ALevel, bool AIndent) override;

 private:
  // The value for a getter: a simple value, or the refusal naming AWord.
  TVnJSONSimpleType *SimpleValue(const char16_t *AWord);
  // The value for a setter: created with AType when there is none.
  TVnJSONSimpleType *SimpleValueFor(TVnJSONDataType AType, const char16_t *AWord);
  friend struct TVnJSONTreeWriter;
  friend struct TVnJSONNameMatch;
  friend class TVnJSONHandler;
  friend class TVnJSONBase;
  UInt64 FName = 0;               // with FTextInfo (json::TextSet)
  TVnJSONBase *FValue = nullptr;  // the one child slot
};

// A JSON object: its members, each a name and a value, in the order of the text.
class TVnJSONObject : public TVnJSONBase, public IVnJSONObject {
  VN_CLASS(TVnJSONObject, TVnJSONBase)
  VN_IMPLEMENTS(TVnJSONBase, IVnJSONObject)
 public:
  explicit TVnJSONObject(TVnJSONBase *AOwner);
  TObject *Implementor() override { return this; }

  void InsertObject(TVnJSONBase *AObject) override;
  // "<object>".
  VnJSONString GetName() override;
  TVnJSONObject *GetAsObject() override { return this; }
  DelphiInterface<IVnJSONObject> GetAsObjectIntf() override;
  Integer Count() override { return FCount; }
  TVnJSONBase *Item(Integer AIndex) override;
  // The last member in the list, null when there is none.
  TVnJSONMember *LastMember() const {
    return FCount ? static_cast<TVnJSONMember *>(Objects(FCount - 1)) : nullptr;
  }

  using TVnJSONBase::AddMember;
  TVnJSONMember *AddMember(const VnJSONString &AName) override;
  TVnJSONMember *AddMember(const VnJSONString &AName, TVnJSONDataType AType) override;
  TVnJSONMember *AddMember(const VnJSONString &AName, TVnJSONDataType AType,
                           const VnJSONString &AText) override;
  TVnJSONMember *AddMember(const VnJSONString &AName, const Variant &AValue) override;
  void DeleteMember(Integer AIndex) override;
  void RemoveMember(TVnJSONMember *AMember) override;
  TVnJSONMember *FindMember(const VnJSONString &AName, bool ACaseInsensitive = false) override;
  using TVnJSONBase::FindMember;
  using TVnJSONBase::GetMember;
  TVnJSONMember *GetMember(const VnJSONString &AName, TVnJDOCSelectOptions AOptions) override;

  DelphiInterface<IVnJSONMember> AddMemberIntf1(const VnJSONString &AName) override;
  DelphiInterface<IVnJSONMember> AddMemberIntf2(const VnJSONString &AName,
                                                TVnJSONDataType AType) override;
  DelphiInterface<IVnJSONMember> AddMemberIntf3(const VnJSONString &AName, TVnJSONDataType AType,
                                                const VnJSONString &AText) override;
  DelphiInterface<IVnJSONMember> AddMemberIntf4(const VnJSONString &AName,
                                                const Variant &AValue) override;
  void RemoveMemberIntf(IVnJSONMember *AMember) override;
  void SaveToStream(TStream *AStream, bool AFormatted, Integer ALevel, bool AIndent) override;

 private:
  TVnJSONBase *FSlots[3];  // the first three members
};

// An array. One without an owner is a selection result: it lists nodes of some tree and frees
// none of them.
class TVnJSONArray : public TVnJSONBase, public IVnJSONArray {
  VN_CLASS(TVnJSONArray, TVnJSONBase)
  VN_IMPLEMENTS(TVnJSONBase, IVnJSONArray)
 public:
  explicit TVnJSONArray(TVnJSONBase *AOwner);
  TObject *Implementor() override { return this; }

  TVnJSONArray *GetAsArray() override { return this; }
  DelphiInterface<IVnJSONArray> GetAsArrayIntf() override;
  Integer Count() override { return FCount; }
  TVnJSONBase *Item(Integer AIndex) override;
  TVnJSONBase *AddValue(TVnJSONDataType AType) override;
  TVnJSONBase *AddValue(TVnJSONDataType AType, const VnJSONString &AText) override;
  TVnJSONBase *AddValue(const Variant &AValue) override;
  void RemoveValue(TVnJSONBase *AValue) override;
  void DeleteValue(Integer AIndex) override;
  void Exchange(Integer A, Integer B) override;
  // Lists a node of another tree in a free-standing array; it stays where it is.
  void AddReference(TVnJSONBase *ANode);

  DelphiInterface<IVnJSONBase> AddValueIntf1(TVnJSONDataType AType) override;
  DelphiInterface<IVnJSONBase> AddValueIntf2(TVnJSONDataType AType,
                                             const VnJSONString &AText) override;
  DelphiInterface<IVnJSONBase> AddValueIntf3(const Variant &AValue) override;
  void RemoveValueIntf(IVnJSONBase *AValue) override;
  void SaveToStream(TStream *AStream, bool AFormatted, Integer ALevel, bool AIndent) override;

 private:
  TVnJSONBase *FSlots[3];  // the first three items
};

// The top of a tree: at most one root value, an object, an array or a simple value.
class TVnJSONDocument : public TVnJSONBase, public IVnJSONDocument {
  VN_CLASS(TVnJSONDocument, TVnJSONBase)
  VN_IMPLEMENTS(TVnJSONBase, IVnJSONDocument)
 public:
  TVnJSONDocument();
  TObject *Implementor() override { return this; }

  // The loading constructors: each makes the document with the parameterless constructor of
  // the class, then loads.
  static TVnJSONDocument *CreateFromFile(const UnicodeString &AFileName, Word ACodePage = 0);
  static TVnJSONDocument *CreateFromJSON(const UnicodeString &AJSON);
  static TVnJSONDocument *CreateFromJSON(const AnsiString &AJSON, Word ACodePage);
  static TVnJSONDocument *CreateFromStream(TStream *AStream, Word ACodePage,
                                           bool AFormURLEncoded = false);
  // From UTF-8 text, by SetAsJSON's UTF-8 form.
  static TVnJSONDocument *CreateFromUTF8(std::string_view AJSON);

  // The single child, nil when there is none (or more than one).
  TVnJSONBase *GetRootValue();
  DelphiInterface<IVnJSONBase> GetRootValueIntf() override;
  // Replaces the content by a new object, array or simple value.
  TVnJSONBase *CreateRootValue(TVnJSONDataType AType);
  DelphiInterface<IVnJSONBase> CreateRootValueIntf(TVnJSONDataType AType) override;

  // Forwarded to the root; without one EVnJSONParseError code 10.
  Integer Count() override;
  TVnJSONBase *Item(Integer AIndex) override;
  TVnJSONMember *FindMember(const VnJSONString &AName, bool ACaseInsensitive = false) override;
  using TVnJSONBase::FindMember;
  using TVnJSONBase::GetMember;
  TVnJSONMember *GetMember(const VnJSONString &AName, TVnJDOCSelectOptions AOptions) override;

  VnJSONString GetAsJSON() override;
  VnJSONString GetFormattedJSON() override;
  void SetAsJSON(const VnJSONString &AText) override;
  using TVnJSONBase::SetAsJSON;
  void LoadFromStream(TStream *AStream, Word ACodePage, bool AFormURLEncoded = false) override;
  // A missing file raises EReadError "There is no file "<name>"".
  void LoadFromFile(const UnicodeString &AFileName, Word ACodePage = 0) override;
  // UTF-8 with a byte-order mark.
  void SaveToFile(const UnicodeString &AFileName, bool AFormatted = false) override;
  // The tree as text in ACodePage: 1200 (UTF-16 LE), 65001 (UTF-8), or any other page; the
  // mark is written for 1200 and 65001 when ABOM is set.
  void SaveToStream(TStream *AStream, bool AFormatted, Word ACodePage, bool ABOM) override;

  using TVnJSONBase::FindMemberIntf;
  using TVnJSONBase::GetMemberIntf;
  using TVnJSONBase::SelectIntf;
  DelphiInterface<IVnJSONMember> FindMemberIntf(const VnJSONString &AName,
                                                bool ACaseInsensitive) override {
    return TVnJSONBase::FindMemberIntf(AName, ACaseInsensitive);
  }
  DelphiInterface<IVnJSONMember> GetMemberIntf(const VnJSONString &AName,
                                               TVnJDOCSelectOptions AOptions) override {
    return TVnJSONBase::GetMemberIntf(AName, AOptions);
  }
  DelphiInterface<IVnJSONArray> SelectIntf(const UnicodeString &APath,
                                           TVnJDOCSelectOptions AOptions) override {
    return TVnJSONBase::SelectIntf(APath, AOptions);
  }

 private:
  TVnJSONBase *RootOrRaise();
};

// The handler that builds a tree from the reader's events, below the node it was made for
// (normally a document). Its automatic destruction is off: the load that made it frees it.
class TVnJSONHandler : public TVnObject, public IVnJSONContentHandler, public IVnJSONErrorHandler {
  VN_CLASS(TVnJSONHandler, TVnObject)
  VN_IMPLEMENTS(TVnObject, IVnJSONContentHandler, IVnJSONErrorHandler)
 public:
  TVnJSONHandler(TVnJSONReader *AReader, TVnJSONBase *ANode);
  ~TVnJSONHandler() override;

  void SetDocumentLocator(IVnJSONLocator *) override {}
  void StartDocument() override {}
  void StartObject() override;
  void StartMember(const VnJSONString &AName) override;
  void StartArray() override;
  void Value(TVnJSONDataType ADataType, const VnJSONString &AValue) override;
  void EndArray() override;
  void EndMember() override {}
  void EndObject() override;
  void EndDocument() override {}
  void Warning(IVnJSONLocator *, const VnJSONString &) override {}
  void Error(IVnJSONLocator *, const VnJSONString &) override {}
  void FatalError(IVnJSONLocator *, const VnJSONString &) override {}

  // After a failed parse: a member whose value never came gets a null value, as if it had been
  // made with one.
  void FinishFailed();
  // Value and StartMember for ASCII text given as bytes, as the reader hands them over when it
  // reads a source of a byte a character (or UTF-8): without a detour through UTF-16.
  void ValueAscii(TVnJSONDataType ADataType, const char *AData, std::size_t ALength);
  void StartMemberAscii(const char *AData, std::size_t ALength);

 private:
  void Open(TVnJSONDataType AType);
  void Close();
  // A new value of the type ADataType (object, array, or a simple value for the rest) at the
  // cursor when the cursor is an object or array of the library's own class (the object's last
  // member gets it); nil for any other cursor.
  TVnJSONBase *NewOwnNode(TVnJSONDataType ADataType);
  TVnJSONSimpleType *NewOwnValue(TVnJSONDataType ADataType) {
    return static_cast<TVnJSONSimpleType *>(NewOwnNode(ADataType));
  }
  // Where a value read from text can stay compact: an array of the library's own class, the
  // member just read (of the library's own class, still without a value), or the object whose
  // member name waits in FName; nil otherwise.
  TVnJSONBase *LatentTarget() const noexcept;
  // Appends the compact value AValue to ATarget, as a member record with the waiting name when
  // ATarget is the object that waits for it; false (and nothing done) when AValue is nil.
  bool AddLatent(TVnJSONBase *ATarget, TVnJSONBase *AValue);
  // Makes the member node of a waiting name, for every event but a compact value: the member
  // then stands as it would have stood had it been made when its name was read.
  void FlushName() {
    if (FNameOwner) MakeNamedMember();
  }
  void MakeNamedMember();
  // ValueAscii of a number as the reader's scanner takes it: its characters are only those a
  // number may have ("0" to "9", ".", "-", "+", "e", "E"), so none needs a look.
  friend class TVnJSONReader;
  void ScannedNumber(const char *AData, std::size_t ALength);
  // Value of a string as the reader's scan saw it in a UTF-8 source (the bytes between its
  // quotation marks), decoded in one pass where it can stay compact. False, with nothing done,
  // when it cannot stay compact or needs the general decoding; the reader then hands it over as
  // UTF-16.
  bool ValueUTF8(const char *AData, std::size_t ALength);
  // Stores the decoded text AText at ATarget (LatentTarget), compact where it can be, as a node
  // otherwise.
  void AddDecoded(TVnJSONBase *ATarget, TVnJSONDataType ADataType, UnicodeStringView AText);
  // Makes ANode the cursor and notes whether its class is exactly the library's object or array.
  void SetCurrValue(TVnJSONBase *ANode) noexcept;
  TVnJSONReader *FReader;
  TVnJSONBase *FCurrValue = nullptr;
  enum : Byte { ckOther, ckObject, ckArray } FCurrKind = ckOther;
  TVnJSONMember *FPendingMember = nullptr;
  // The name of the member just read into an object of the library's own class (FNameOwner),
  // held as a member holds its name until the value comes: a simple value makes a member record
  // of both, anything else the member node (FlushName). FNameOwner is nil when no name waits.
  // Names wait only in a load (FDeferNames, set by TVnJSONBase::LoadFromStream), which sees
  // every parse to its end or to FinishFailed; a handler fed by any other caller makes each
  // member when its name comes.
  friend class TVnJSONBase;
  bool FDeferNames = false;
  TVnJSONBase *FNameOwner = nullptr;
  UInt64 FName = 0;
  Byte FNameInfo = 0;
  // ValueUTF8's room for the decoded text, kept for the next string.
  UnicodeString FDecoded;
};

}  // namespace vn
