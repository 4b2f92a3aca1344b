// The object base of the library (TVnObject, TVnObjectEx, TVnComponent and IVnObject), the
// text source that every reader scans through (TVnTextParser), and the string streams that
// every writer builds text in (TVnStringStream, TVnUTF8StreamAdapter).
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "vnxml/common/uVnSysUtils.h"
#include "vnxml/common/uVnTypes.h"
#include "vnxml/rtl/Classes.h"
#include "vnxml/rtl/Interface.h"
#include "vnxml/rtl/Streams.h"

namespace vn {

// ---------------------------------------------------------------------------------------------
// Character constants. The A form is one byte, the W form and the plain form 16 bits.

#define VN_CHAR_CONST(Name, Ch)              \
  inline constexpr char Name##A = Ch;        \
  inline constexpr char16_t Name##W = u##Ch; \
  inline constexpr char16_t Name = u##Ch;

VN_CHAR_CONST(cVnLt, '<')
VN_CHAR_CONST(cVnGt, '>')
VN_CHAR_CONST(cVnAmp, '&')
VN_CHAR_CONST(cVnApos, '\'')
VN_CHAR_CONST(cVnQuote, '"')
VN_CHAR_CONST(cVnEqual, '=')
VN_CHAR_CONST(cVnQuest, '?')
VN_CHAR_CONST(cVnExcl, '!')
VN_CHAR_CONST(cVnSlash, '/')
VN_CHAR_CONST(cVnBackSlash, '\\')
VN_CHAR_CONST(cVnSpace, ' ')
VN_CHAR_CONST(cVnLine, '-')
VN_CHAR_CONST(cVnColon, ':')
VN_CHAR_CONST(cVnSemiColon, ';')
VN_CHAR_CONST(cVnComma, ',')
VN_CHAR_CONST(cVnDot, '.')
VN_CHAR_CONST(cVnBracketO, '[')
VN_CHAR_CONST(cVnBracketC, ']')
VN_CHAR_CONST(cVnBraceO, '{')
VN_CHAR_CONST(cVnBraceC, '}')
VN_CHAR_CONST(cVnRBracketO, '(')
VN_CHAR_CONST(cVnRBracketC, ')')
VN_CHAR_CONST(cVnAt, '@')
VN_CHAR_CONST(cVnPercent, '%')
VN_CHAR_CONST(cVnDollar, '$')
VN_CHAR_CONST(cVnPlus, '+')
VN_CHAR_CONST(cVn0, '0')
VN_CHAR_CONST(cVn9, '9')
VN_CHAR_CONST(cVnCR, '\r')
VN_CHAR_CONST(cVnLF, '\n')
VN_CHAR_CONST(cVnEOF, '\0')

#undef VN_CHAR_CONST

// ---------------------------------------------------------------------------------------------
// Object base

// The base interface of the library's objects: it leads from an interface back to its object.
class IVnObject : public IInterface {
  VN_INTERFACE(IVnObject, IInterface, "{0417F540-9CCC-4DE6-B2C4-1063D0508346}")
 public:
  // The object that really implements the interface: the one way back from an interface to an
  // object.
  virtual TObject *Implementor() = 0;
};

// The reference counting with an auto-destroy switch that TVnObject and TVnComponent share.
// With the switch on (the default) the last _Release destroys the object; with it off the object
// stays alive at a count of 0 and its owner frees it. Switching it on late is legal at any time
// and takes effect at the next _Release that reaches 0. While New<T> runs the constructors the
// count is held at 1, so that an interface taken and released inside a constructor cannot
// destroy the half-built object.
//
// An RAII owner (Owned) counts as one reference. With the switch on, the object dies with the
// last of the owner and the interfaces; with it off, the owner is the owner the switch speaks
// of and frees the object when it ends.
template <class TBase>
class TVnRefCounted : public TBase, public virtual IVnObject {
 public:
  using TBase::TBase;

  virtual bool GetAutoDestroy() { return FAutoDestroy; }
  void SetAutoDestroy(bool AValue) noexcept { FAutoDestroy = AValue; }

  HRESULT QueryInterface(const TGUID &AIID, void **AObj) override {
    return GetInterface(AIID, AObj) ? S_OK : E_NOINTERFACE;
  }
  Integer _AddRef() override { return ++FRefCount; }
  Integer _Release() override {
    Integer r = --FRefCount;
    if (r == 0 && !FConstructing && GetAutoDestroy()) this->Free();
    return r;
  }
  TObject *Implementor() override { return this; }
  bool GetInterface(const TGUID &AIID, void **AObj) override {
    if (AIID == IVnObject::IID || AIID == IInterface::IID) {
      IVnObject *p = this;
      p->_AddRef();
      *AObj = p;
      return true;
    }
    return TBase::GetInterface(AIID, AObj);
  }
  void AfterConstruction() override {
    TBase::AfterConstruction();
    if (FConstructing) {
      FConstructing = false;
      --FRefCount;
    }
  }

  Integer RefCount() const noexcept { return FRefCount; }

 protected:
  void OwnerAddRef() noexcept override { ++FRefCount; }
  void OwnerRelease() override {
    if (--FRefCount == 0 || !GetAutoDestroy()) this->Free();
  }
  void OwnerDetach() noexcept override { --FRefCount; }

 private:
  bool FConstructing = detail::TakeConstructionGuard();
  bool FAutoDestroy = true;

 protected:
  Integer FRefCount = FConstructing ? 1 : 0;
};

// The base of the library's reference-counted objects.
class TVnObject : public TVnRefCounted<TObject> {
  VN_CLASS(TVnObject, TVnRefCounted<TObject>)
 public:
  TVnObject() noexcept = default;
};

// A TVnObject with assignment and notification of destroyed objects.
class TVnObjectEx : public TVnObject {
  VN_CLASS(TVnObjectEx, TVnObject)
 public:
  virtual void OnObjectDestroyed(TObject *AObject);
  // Raises EConvertError "Cannot assign a <source class> to a <dest class>".
  virtual void AssignTo(TVnObjectEx *ADest);
  virtual void DefineProperties(TFiler *AFiler);
  // Asks ASource to assign itself to this object; a null source raises as AssignTo does.
  virtual void Assign(TVnObjectEx *ASource);
};

// A component with the lifetime rules of TVnObject; a component that destroys itself leaves
// its owner on the way. With the switch off the owner frees it.
class TVnComponent : public TVnRefCounted<TComponent> {
  VN_CLASS(TVnComponent, TVnRefCounted<TComponent>)
 public:
  explicit TVnComponent(TComponent *AOwner) : TVnRefCounted<TComponent>(AOwner) {}
};

// ---------------------------------------------------------------------------------------------
// Text source

// The form in which the source holds its characters.
enum TVnCharacterSetType : Byte {
  cstA,  // one byte a character, interpreted in the content code page
  cstW,  // UTF-16 little-endian code units (page 1200)
  cstU   // UTF-8 (page 65001)
};

enum TVnTextParserPosType : Byte { tpPrev, tpCurrent, tpNext, tpMark1, tpMark2, tpMark3 };

enum TVnTextParserSkipOp : Byte {
  soEqual = 0,
  soLess = 1,
  soGreater = 2,
  soNotEqual = 3,
  soLessOrEqual = 4,
  soGreaterOrEqual = 5,
  soInSet = 6,
  soNotInSet = 7
};

// Raised by CheckEOF and by every operation that is asked to step at the end of input.
class EVnTextParserEOF : public EVnException {
  VN_EXCEPTION_CLASS(EVnTextParserEOF, EVnException)
 public:
  using EVnException::EVnException;
};

// A set of ASCII characters as the table that TVnTextParser::SkipAscii reads: 1 for the members.
struct TVnAsciiTable {
  Byte Member[256] = {};
  // The characters of AMembers, and with AControls every character up to U+0020 as well.
  constexpr explicit TVnAsciiTable(const char *AMembers, bool AControls = false) {
    for (const char *p = AMembers; *p; ++p) Member[static_cast<Byte>(*p)] = 1;
    if (AControls)
      for (int c = 0; c <= 0x20; ++c) Member[c] = 1;
  }
  // The members of ASet below 128.
  constexpr explicit TVnAsciiTable(const TVnCharSet &ASet) {
    for (unsigned c = 0; c < 128; ++c) Member[c] = ASet.Contains(c) ? 1 : 0;
  }
};

// The one reader of text in the library: a current character, three marks, and text taken by
// position. The source is a memory block or a stream, held in one of three widths; the width
// dependent work goes through function slots that are bound when the width changes, so that no
// inner loop tests the width per character.
//
// Positions (GetCurPos, GetPos) are byte offsets from the start of the input. Lines and columns
// start at 1 and count the steps of NextChar (bytes in cstA, UTF-16 code units in cstW, whole
// sequences in cstU); GetPosition counts the same steps from 0. A line ends at LF.
//
// A stream source reads in blocks and keeps in memory only the text from the oldest set mark
// (or just before the current character when no mark is set) to the end of the last block.
class TVnTextParser : public TVnObject {
  VN_CLASS(TVnTextParser, TVnObject)
 public:
  using TCharFunc = char16_t (*)(TVnTextParser *);
  using TStepFunc = void (*)(TVnTextParser *);
  using TSkipFunc = void (*)(TVnTextParser *, TVnTextParserSkipOp, char16_t);
  using TSkipSetFunc = void (*)(TVnTextParser *, TVnTextParserSkipOp, const TVnCharSet &);

  // Reads ASource from its current position; with AStreamOwner the stream is freed with the
  // parser. Page 1200 selects cstW, 65001 cstU, any other page (0 too) cstA.
  TVnTextParser(TStream *ASource, bool AStreamOwner, Word ACodePage);
  // Reads a memory block that the caller keeps alive; ASize is in bytes.
  TVnTextParser(const void *ABuffer, UInt64 ASize, Word ACodePage);
  ~TVnTextParser() override;
  // For a stream in memory (TCustomMemoryStream): its bytes from its position to its end, for a
  // parser to read where they lie, and the stream moved to its end, where reading it through
  // would leave it. False, and the stream untouched, for any other stream.
  static bool TakeMemoryRest(TStream *AStream, const void *&AData, UInt64 &ASize);

  // Changes the width at the current position. The base constructor binds the base slots; a
  // subclass that binds slots of its own calls SetCharacterSetType(CharacterSetType()) in its
  // constructor.
  virtual void SetCharacterSetType(TVnCharacterSetType AType);
  TVnCharacterSetType CharacterSetType() const noexcept { return FCharSetType; }
  // The page through which cstA text converts; the width stays as it is.
  void SetContentCodePage(Word ACodePage);
  Word ContentCodePage() const noexcept { return FContentCodePage; }

  // Movement
  void First();
  void Last();
  void NextChar() { FNextChar(this); }
  void SkipChars(Integer ACount);
  void SkipWhile(TVnTextParserSkipOp AOp, char16_t AChar) { FSkipWhile(this, AOp, AChar); }
  void SkipWhileSet(TVnTextParserSkipOp AOp, const TVnCharSet &ASet) { FSkipSet(this, AOp, ASet); }
  // The per-width skip loops, for subclasses that bind their own slots.
  void SrcASkipWhileA(TVnTextParserSkipOp AOp, char AChar);
  void SrcUSkipWhileA(TVnTextParserSkipOp AOp, char AChar);
  void SrcWSkipWhileW(TVnTextParserSkipOp AOp, char16_t AChar);

  // Inspection
  char16_t CurrCharW() { return FCurrChar(this); }
  // The current character for comparisons against ASCII values: a character above 127 gives a
  // value above 127 that equals no ASCII constant.
  char CurrCharA();
  char16_t PeekCharW() { return FPeekChar(this); }
  char16_t PrevCharW();
  char16_t ReadCharW() {
    char16_t c = FCurrChar(this);
    FNextChar(this);
    return c;
  }
  char ReadCharA() {
    char c = CurrCharA();
    FNextChar(this);
    return c;
  }
  // The next ACount characters starting with the current one; fewer near the end.
  UnicodeString PeekString(Integer ACount);
  UnicodeString PeekStringW(Integer ACount) { return PeekString(ACount); }

  bool _GetEOF() {
    if (FLimit - FCur >= FMinCharBytes) return false;
    return SlowEOF();
  }
  // EOF of the host is a macro in C++: the property is read as Eof().
  bool Eof() { return _GetEOF(); }
  void CheckEOF();

  Integer GetLineNr();
  Integer GetColNr();
  Integer GetPosition();
  Int64 GetCurPos() const noexcept { return FBasePos + (FCur - FBase); }
  // The position of a mark (-1 when it is not set), or of tpPrev, tpCurrent, tpNext.
  Int64 GetPos(TVnTextParserPosType APos);
  void SetMark(TVnTextParserPosType AMark) {
    if (AMark < tpMark1 || AMark > tpMark3) RaiseBadMark();
    FMarks[AMark - tpMark1] = GetCurPos();
  }
  void ClearMark(TVnTextParserPosType AMark) {
    if (AMark < tpMark1 || AMark > tpMark3) RaiseBadMark();
    FMarks[AMark - tpMark1] = -1;
  }
  bool IsMarkSet(TVnTextParserPosType AMark) const {
    return AMark >= tpMark1 && AMark <= tpMark3 && FMarks[AMark - tpMark1] >= 0;
  }
  // The line and the column of the character at APos, a position not before the last one
  // counted: the counters move forward only (GetLineNr, GetColNr, GetPosition and the refills
  // of a stream source count up to where they stand; a mark keeps refills behind it). An
  // earlier position raises EInvalidOperation. For a reader that records where a construct
  // starts and asks for its line and column only when it needs them.
  void LineColAt(Int64 APos, Integer &ALine, Integer &ACol);

  // The text from AStart (inclusive) to AEnd (exclusive) as UTF-16; AClear releases the mark
  // AStart afterwards.
  UnicodeString Selected(TVnTextParserPosType AStart, TVnTextParserPosType AEnd, bool AClear);
  UnicodeString SelectedW(TVnTextParserPosType AStart, TVnTextParserPosType AEnd, bool AClear) {
    return Selected(AStart, AEnd, AClear);
  }
  // The same text as Selected, written into ADest, whose storage is reused: the form for
  // scanners that fill the same strings again and again.
  void SelectedTo(TVnTextParserPosType AStart, TVnTextParserPosType AEnd, bool AClear,
                  UnicodeString &ADest) {
    // From a mark to the current character, the scanners' common case, without detours.
    if (AStart >= tpMark1 && AStart <= tpMark3 && AEnd == tpCurrent) {
      const Int64 s = FMarks[AStart - tpMark1];
      if (s >= FBasePos && s <= GetCurPos()) {
        ConvertTo(FBase + (s - FBasePos), FCur, ADest);
        if (AClear) FMarks[AStart - tpMark1] = -1;
        return;
      }
    }
    SelectedToSlow(AStart, AEnd, AClear, ADest);
  }
  // The same text in its one-byte form: the source bytes in cstA and cstU (with their page),
  // and the UTF-16 text converted to the content code page in cstW.
  AnsiString SelectedA(TVnTextParserPosType AStart, TVnTextParserPosType AEnd, bool AClear);

  // The slots of scanners that compare through pointers to character constants in the width of
  // the source (one byte in cstA and cstU, 16 bits in cstW): a skip while the current character
  // stands in a relation to *ACharPtr, and a check of the current character that calls
  // RaiseExpected when it differs and ARaise is set. PtrSkipFunc and PtrCheckFunc give those of
  // a width.
  using TPtrSkipFunc = void (*)(TVnTextParser *AParser, TVnTextParserSkipOp AOperator,
                                const void *ACharPtr);
  using TPtrCheckFunc = bool (*)(TVnTextParser *AParser, const void *ACharPtr, bool ARaise);
  static TPtrSkipFunc PtrSkipFunc(TVnCharacterSetType AType) noexcept;
  static TPtrCheckFunc PtrCheckFunc(TVnCharacterSetType AType) noexcept;
  // Raised by the check slots for the character expected; each scanner raises the error of its
  // own format. The base raises EVnException with code 2.
  [[noreturn]] virtual void RaiseExpected(const UnicodeString &AExpected);

  // Width-blind helpers of the scanners built on this class.
  // The current character as text for messages: a whole character (a surrogate pair for one
  // beyond 16 bits), empty at the end of input or for a NUL.
  UnicodeString CurrentText();

  // The current character in source form, as the check slots of the scanners compare it (the byte
  // in cstA and cstU, the 16-bit unit in cstW; 0 at the end of input), read once for several
  // comparisons.
  [[gnu::always_inline]] char16_t CurrUnit() {
    if (FMinCharBytes == 1) return FCur < FLimit || Available(1) > 0 ? *FCur : 0;
    if (FLimit - FCur >= 2 || Available(2) >= 2) {
      char16_t u;
      std::memcpy(&u, FCur, 2);
      return u;
    }
    return 0;
  }
  // SkipWhileSet for a set of ASCII characters, given as a table of 256 entries that are 1 for
  // the members (all of them below 128): moves on while the current character is in the set
  // (AIn) or is not in it. A character above 127 is in no such set, in every width, so the
  // loop decides on bytes in cstA and cstU and on units in cstW, through one table look-up a
  // character.
  void SkipAscii(const Byte *ATable, bool AIn);
  // The same, deciding on the current character first without a call: for a set that the
  // current character mostly already ends the run of.
  void SkipAscii(const TVnAsciiTable &ATable, bool AIn) {
    const char16_t c = CurrUnit();
    if (c < 128 && (ATable.Member[c] != 0) != AIn && (c != 0 || !_GetEOF())) return;
    SkipAscii(ATable.Member, AIn);
  }
  // SkipAscii for the set of every character up to U+0020 (white space and the controls), the
  // set that runs of indentation are made of: sixteen bytes at a time in the one-byte widths.
  void SkipControls() {
    const char16_t c = CurrUnit();
    if (c > 0x20) return;
    SkipControlsRun();
  }
  // SkipWhile(soNotEqual, AChar) and SkipWhile(soEqual, AChar) for an ASCII character, in one
  // call.
  void SkipTo(char AChar) {
    if (FMinCharBytes == 1 && FCur < FLimit && *FCur == static_cast<Byte>(AChar)) return;
    SkipToRun(AChar);
  }
  void SkipOver(char AChar);
  // SkipWhile(soNotEqual) for either of two ASCII characters: stops on the first of them.
  void SkipToEither(char A, char B) {
    if (FMinCharBytes == 1 && FCur < FLimit &&
        (*FCur == static_cast<Byte>(A) || *FCur == static_cast<Byte>(B)))
      return;
    SkipToEitherRun(A, B);
  }
  // CurrCharW, without the slot where the window gives the character at once.
  [[gnu::always_inline]] char16_t CurrChar() {
    if (FCharSetType == cstW) return CurrUnit();
    if (FCur < FLimit && (FCharSetType == cstA || *FCur < 0x80))
      return FCharSetType == cstA ? (*FByteTable)[*FCur] : *FCur;
    return CurrCharW();
  }
  // NextChar, over an ASCII character in a one-byte or UTF-8 source or any unit of UTF-16
  // without the slot.
  [[gnu::always_inline]] void Step() {
    if (FMinCharBytes == 1 ? FCur < FLimit && *FCur < 0x80 : FLimit - FCur >= 2)
      FCur += FMinCharBytes;
    else
      NextChar();
  }
  // The character behind the current one, as PeekCharW gives it, read from the window at hand
  // where it can be.
  [[gnu::always_inline]] char16_t PeekUnit() {
    if (FLimit - FCur >= 2 * FMinCharBytes) {
      if (FMinCharBytes == 2) {
        char16_t u;
        std::memcpy(&u, FCur + 2, 2);
        return u;
      }
      if (FCharSetType == cstA) return (*FByteTable)[FCur[1]];
      if (FCur[0] < 0x80 && FCur[1] < 0x80) return FCur[1];
    }
    return PeekCharW();
  }

  TStream *Stream() const noexcept { return FStream; }
  // The bytes the parser holds for a stream source (0 for a memory block).
  Int64 BufferCapacity() const noexcept { return FBufferCap; }

 protected:
  // Where mark AMark (tpMark1 to tpMark3) stands, -1 when it is not set.
  Int64 MarkPos(TVnTextParserPosType AMark) const noexcept { return FMarks[AMark - tpMark1]; }
  // Raises EVnTextParserEOF.
  [[noreturn]] void RaiseEOF();
  // Makes at least ABytes bytes available from the current character, unless the input ends
  // first; returns the count available.
  Int64 Available(Int64 ABytes) {
    Int64 n = FLimit - FCur;
    if (n >= ABytes || FExhausted) return n;
    return Refill(ABytes);
  }
  // Loads more of the stream; returns the bytes available from the current character.
  Int64 Refill(Int64 ANeed);
  bool SlowEOF();
  // Moves behind the last character of the input.
  void SkipToEnd();
  // The position behind the character at APos, and the byte length of that character.
  Int64 CharLenAt(const Byte *AP);
  // The loop of SkipControls, from a current character that is in the set or at the end.
  void SkipControlsRun();
  // The loop of the wide scans: moves on while the current character belongs to a run, refilling
  // the window as it goes. In a byte a character AStops16 gives, for the sixteen bytes at its
  // argument, the mask of those that end the run (bit i for byte i; it is called only where the
  // processor has SSE2) and AKeepByte decides the bytes behind the last sixteen; in UTF-16
  // AKeepUnit decides unit by unit.
  template <class S, class B, class U>
  void SkipRun(S AStops16, B AKeepByte, U AKeepUnit) {
    if (FMinCharBytes == 1) {
      for (;;) {
        const Byte *p = FCur;
        const Byte *e = FLimit;
#if defined(__SSE2__)
        for (; e - p >= 16; p += 16) {
          if (const unsigned m = AStops16(p)) {
            FCur = p + __builtin_ctz(m);
            return;
          }
        }
#endif
        while (p < e && AKeepByte(*p)) ++p;
        FCur = p;
        if (p < e || Available(1) == 0) return;
      }
    }
    SkipRunWide(AKeepUnit);
  }
  // SkipRun's loop in UTF-16.
  template <class U>
  void SkipRunWide(U AKeepUnit) {
    for (;;) {
      const Byte *p = FCur;
      const Byte *e = FLimit;
      for (; e - p >= 2; p += 2) {
        char16_t u;
        std::memcpy(&u, p, 2);
        if (!AKeepUnit(u)) break;
      }
      FCur = p;
      if (e - p >= 2 || Available(2) < 2) return;
    }
  }
  // The loops of SkipTo and SkipToEither.
  void SkipToRun(char AChar);
  void SkipToEitherRun(char A, char B);

  // The slots of the width in force.
  TCharFunc FCurrChar = nullptr;
  TCharFunc FPeekChar = nullptr;
  TStepFunc FNextChar = nullptr;
  TSkipFunc FSkipWhile = nullptr;
  TSkipSetFunc FSkipSet = nullptr;

  // The window of the input in memory: FBase is the byte at position FBasePos, FCur the current
  // character, FLimit the end of what has been read.
  const Byte *FBase = nullptr;
  const Byte *FCur = nullptr;
  const Byte *FLimit = nullptr;
  Int64 FBasePos = 0;
  bool FExhausted = true;
  Byte FMinCharBytes = 1;
  TVnCharacterSetType FCharSetType = cstA;
  Word FContentCodePage = 0;
  const std::array<char16_t, 256> *FByteTable = nullptr;
  bool FSingleBytePage = false;

 private:
  template <TVnCharacterSetType W>
  friend struct TVnTextParserWidth;

  void Init(Word ACodePage);
  void SyncCounters(Int64 AToPos);
  Int64 PrevPos();
  Int64 NextPos();
  UnicodeString Convert(const Byte *AFrom, const Byte *ATo);
  void ConvertTo(const Byte *AFrom, const Byte *ATo, UnicodeString &ADest);
  // ConvertTo for all but UTF-8 text that is ASCII throughout; in UTF-8, the first AAscii bytes
  // are already in ADest, which holds ATo - AFrom units.
  [[gnu::noinline]] void ConvertOther(const Byte *AFrom, const Byte *ATo, std::size_t AAscii,
                                      UnicodeString &ADest);
  void SelectedToSlow(TVnTextParserPosType AStart, TVnTextParserPosType AEnd, bool AClear,
                      UnicodeString &ADest);
  [[noreturn]] static void RaiseBadMark();
  // The bytes between two positions; false when the range is empty.
  bool SelectedRange(TVnTextParserPosType AStart, TVnTextParserPosType AEnd, const Byte *&AFrom,
                     const Byte *&ATo);

  TStream *FStream = nullptr;
  bool FStreamOwner = false;
  Int64 FStreamStart = 0;
  Byte *FBuffer = nullptr;
  Int64 FBufferCap = 0;

  Int64 FMarks[3] = {-1, -1, -1};

  // Lines and columns are counted lazily, from a checkpoint up to the position asked for.
  Int64 FCntPos = 0;
  Int64 FCntChars = 0;
  Int64 FCntLineStart = 0;
  Integer FCntLine = 1;
};

// ---------------------------------------------------------------------------------------------
// Node pages: where the nodes of the library's trees live (uVnClasses/NodePages.cpp).

// While one lives, the nodes and texts made on its thread are cut from its pages: a load opens
// one around its parse; one opened inside another stands in for it until it closes. A page goes
// back to the heap once its load has moved on from it and its last node is gone, whichever
// thread frees it. Outside a load, Allocate takes from the heap one by one.
class TVnNodePages {
 public:
  struct TPage;
  // The size of a load's first page: a few dozen nodes, so that small documents waste little.
  static constexpr std::size_t cFirstPage = 4096;

  TVnNodePages() noexcept;
  ~TVnNodePages();
  TVnNodePages(const TVnNodePages &) = delete;
  TVnNodePages &operator=(const TVnNodePages &) = delete;

  // Room for ASize bytes, aligned as the heap aligns: from the pages of the load that runs on
  // this thread, or from the heap. Release gives it back; ASize must be the size asked for.
  static void *Allocate(std::size_t ASize) { return AllocateAs<false>(ASize); }
  // Room for ASize bytes of data aligned to eight bytes at most (texts): cut in steps of eight
  // instead of the heap's alignment, so that short texts side by side take less room.
  static void *AllocateText(std::size_t ASize) { return AllocateAs<true>(ASize); }
  static inline void Release(void *AObject, std::size_t ASize) noexcept;
  // Room from the pages of the load that runs on this thread, or null when no load runs or
  // ASize does not fit a page; Release gives it back.
  static void *CutIfLoading(std::size_t ASize) {
    TVnNodePages *pages = tCurrent;
    if (!pages) return nullptr;
    if (void *room = pages->TakeInline(ASize, false)) return room;
    return pages->Cut(ASize, false);
  }
  // Whether a load (or an edit use, below) runs on this thread, so that CutIfLoading gives
  // room from pages: the nodes and their child arrays then share pages.
  static bool Loading() noexcept { return tCurrent != nullptr; }

  // While one lives and no load runs on the thread, nodes are cut from the thread's edit pages:
  // for a caller that makes a few nodes at a time, many times over (the elements a path
  // creates), so that they share pages instead of taking the heap one by one. The edit pages
  // stay the thread's between uses, with pages of the first size only; a page goes back to the
  // heap once the thread has moved on from it (or ended) and its last node is gone.
  class TEditUse {
   public:
    TEditUse() noexcept;
    ~TEditUse();
    TEditUse(const TEditUse &) = delete;
    TEditUse &operator=(const TEditUse &) = delete;

   private:
    bool FActive;
  };

 private:
  struct TEdit {};
  // The thread's edit pages: not made current by being made.
  explicit TVnNodePages(TEdit) noexcept : FOuter(nullptr), FEdit(true) {}
  static TVnNodePages &EditPages() noexcept;
  // The pages of the load that runs on this thread (or the edit pages during an edit use), null
  // when none runs.
  static inline thread_local TVnNodePages *tCurrent = nullptr;
  // Nodes larger than this (classes derived by applications) come from the heap.
  static constexpr std::size_t cLargestSlot = 1024;
  // A slot is the page word and the room: a node's room aligned as the heap aligns, a text's to
  // eight bytes. Slots start eight bytes apart; a node's slot skips eight bytes when the one
  // before it was a text that left the room misaligned.
  static constexpr std::size_t SlotFor(std::size_t ASize, bool AText) noexcept {
    const std::size_t align = AText ? sizeof(void *) : __STDCPP_DEFAULT_NEW_ALIGNMENT__;
    return (sizeof(void *) + ASize + align - 1) / align * align;
  }
  // Where the next slot's page word goes: a node's room must be aligned as the heap aligns.
  Byte *SlotStart(bool AText) const noexcept {
    if (AText) return FNext;
    return FNext + (~reinterpret_cast<std::uintptr_t>(FNext) & sizeof(void *));
  }
  // Inline, the common case of room that fits the page in use: a size known where a node is made
  // turns this into a few instructions. Null when the room does not fit, and always in the
  // address sanitizer build, which takes the general way that marks the room as usable.
  void *TakeInline([[maybe_unused]] std::size_t ASize, [[maybe_unused]] bool AText) noexcept {
#if !defined(__SANITIZE_ADDRESS__)
    const std::size_t slot = SlotFor(ASize, AText);
    Byte *word = SlotStart(AText);
    if (slot <= cLargestSlot && static_cast<std::ptrdiff_t>(slot) <= FEnd - word)
      return TakeSlot(word, slot);
#endif
    return nullptr;
  }
  template <bool AText>
  static void *AllocateAs(std::size_t ASize) {
    if (TVnNodePages *pages = tCurrent)
      if (void *room = pages->TakeInline(ASize, AText)) return room;
    return AllocateOther(ASize, AText);
  }
  // Takes the slot of ASlot bytes at AWord on the page in use, which has room for it: the page
  // word is written in front of the room, whose address is returned.
  void *TakeSlot(Byte *AWord, std::size_t ASlot) noexcept {
    FNext = AWord + ASlot;
    ++FCut;
    *reinterpret_cast<TPage **>(AWord) = FPage;
    return AWord + sizeof(void *);
  }
  // Allocate when the room does not fit the page in use, or no load runs.
  static void *AllocateOther(std::size_t ASize, bool AText);
  // Room for ASize bytes on the pages (a text's when AText), or null when they are too many for
  // a page.
  void *Cut(std::size_t ASize, bool AText);
  // Release of any node that is not counted off inline.
  static void ReleaseOther(void *AObject, std::size_t ASize) noexcept;
  // Hands the current page over to its nodes.
  void Leave() noexcept;

  TVnNodePages *FOuter;
  TPage *FPage = nullptr;
  Byte *FNext = nullptr;
  Byte *FEnd = nullptr;
  std::int64_t FCut = 0;
  std::size_t FNextSize = cFirstPage;
  // Edit pages keep to the first size: their pages live as long as any node on them.
  bool FEdit = false;
};

// While one lives, the nodes freed on its thread are counted off their pages in runs, one count
// for each run of nodes of the same page, instead of one each: a tree that is freed as a whole
// opens one. Its end counts off the last run.
class TVnNodeReleaseBatch {
 public:
  TVnNodeReleaseBatch() noexcept;
  ~TVnNodeReleaseBatch();
  TVnNodeReleaseBatch(const TVnNodeReleaseBatch &) = delete;
  TVnNodeReleaseBatch &operator=(const TVnNodeReleaseBatch &) = delete;

 private:
  friend class TVnNodePages;
  // The innermost batch open on this thread, null when none is.
  static inline thread_local TVnNodeReleaseBatch *tCurrent = nullptr;
  void Flush() noexcept;
  TVnNodeReleaseBatch *FOuter;
  TVnNodePages::TPage *FPage = nullptr;
  std::int64_t FCount = 0;
};

inline void TVnNodePages::Release(void *AObject, std::size_t ASize) noexcept {
#if !defined(__SANITIZE_ADDRESS__)
  // Inline, the common case of a tree freed as a whole: a node of the page that the open batch
  // is counting. (The address sanitizer build takes the general way, which marks the room as
  // freed.)
  if (TVnNodeReleaseBatch *batch = TVnNodeReleaseBatch::tCurrent; batch && AObject) {
    TPage *page = *reinterpret_cast<TPage **>(static_cast<Byte *>(AObject) - sizeof(void *));
    if (page && page == batch->FPage) {
      ++batch->FCount;
      return;
    }
  }
#endif
  ReleaseOther(AObject, ASize);
}

// ---------------------------------------------------------------------------------------------
// String streams

// A memory stream that knows the code page of the text it holds. Add converts UTF-16 text to
// that page and appends it at the end.
class TVnStringStream : public TMemoryStream {
  VN_CLASS(TVnStringStream, TMemoryStream)
 public:
  TVnStringStream(Word ACodePage, UInt64 ACapacity);
  explicit TVnStringStream(const UnicodeString &AText);
  TVnStringStream(const AnsiString &AText, Word ACodePage);
  TVnStringStream(const void *ABuffer, Integer ASize, Word ACodePage);

  Word CodePage() const noexcept { return FCodePage; }
  void Add(UnicodeStringView AText);
  // Appends one character. A character that is half of a surrogate pair is written on its own:
  // pairs belong in Add.
  void AddChar(char16_t AChar);

  // The bytes read as UTF-16 code units (the content of a page-1200 stream).
  UnicodeString GetWString() const;
  // The bytes unchanged, tagged with the stream's page.
  AnsiString GetAString() const;
  // The content decoded through the stream's page.
  UnicodeString GetAsString() const;
  RawByteString GetDataString() const;
  RawByteString GetAsUTF8() const;
  // The content converted to ACodePage.
  RawByteString StringData(Word ACodePage) const;

 private:
  void Append(const void *AData, Int64 ACount);
  Word FCodePage;
};

// A write-through stream: UTF-16 text written to it reaches the wrapped stream as UTF-8. A
// write may end in the middle of a character; the rest is completed by the next write, and a
// half that is never completed is written as U+FFFD when the adapter is freed.
class TVnUTF8StreamAdapter : public TStream {
  VN_CLASS(TVnUTF8StreamAdapter, TStream)
 public:
  TVnUTF8StreamAdapter(TStream *ATarget, bool AOwner, bool AWriteBOM);
  ~TVnUTF8StreamAdapter() override;
  // Reading is not supported: raises EStreamError.
  Int64 Read(void *ABuffer, Int64 ACount) override;
  Int64 Write(const void *ABuffer, Int64 ACount) override;
  // Only the query of the position (0 from soCurrent) is supported; the position is the count
  // of UTF-16 bytes written.
  Int64 Seek(Int64 AOffset, TSeekOrigin AOrigin) override;
  TStream *Target() const noexcept { return FTarget; }

 private:
  void Flush(bool AFinal);
  TStream *FTarget;
  bool FOwner;
  Int64 FWritten = 0;
  // A byte of an unfinished code unit, and a high surrogate waiting for its partner.
  int FPendingByte = -1;
  char16_t FPendingHigh = 0;
};

}  // namespace vn
