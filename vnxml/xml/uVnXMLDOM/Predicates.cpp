// The predicate engine: the scanner of a bracket's text, the equation tree with its terms, and
// their evaluation per candidate node.
//
// The boolean layer has no recursive grammar: one loop moves a cursor over the equation tree,
// opening child equations at "(" and "not", closing them at ")", and chaining siblings at "and"
// and "or". Terms are read by ReadTerm: literals, lists, calls, and paths, which the path walk
// evaluates again for each candidate.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <unordered_set>

#include "vnxml/common/uVnClasses/BoolChain.h"
#include "vnxml/xml/uVnXMLDOM/Internal.h"
#include "vnxml/xml/uVnXPath.h"

namespace vn {

namespace {

inline constexpr const char16_t *cInvalidFilter = u"\"%s\" is an invalid filter expression!";
inline constexpr const char16_t *cInvalidOperator =
    u"The filter \"%s\" contains an invalid compare operator (%s)!";
inline constexpr const char16_t *cInvalidStatement = u"The specified XPath statement is not valid!";
inline constexpr const char16_t *cNumberOrString = u"Either a number or a string was expected!";
inline constexpr const char16_t *cNumberOfString = u"Either a number of a string was expected!";
inline constexpr const char16_t *cCheckParenthesis =
    u"An invalid expression was detected!\r\nCheck the parenthesis.";
inline constexpr const char16_t *cInvalidOperation = u"An invalid operation has been detected!";

bool IsDigit(char16_t C) noexcept {
  return C >= u'0' && C <= u'9';
}

// White space of a predicate: the space character only.
void SkipSpaces(TVnTextParser *P) {
  while (!P->Eof() && P->CurrCharW() == u' ') P->NextChar();
}

bool AtChar(TVnTextParser *P, char16_t C) {
  return !P->Eof() && P->CurrCharW() == C;
}

// Whether the next characters spell AWord without regard to ASCII case.
bool AtWord(TVnTextParser *P, UnicodeStringView AWord) {
  const UnicodeString s = P->PeekString(static_cast<Integer>(AWord.size()));
  if (s.size() != AWord.size()) return false;
  for (std::size_t i = 0; i < s.size(); ++i) {
    char16_t c = s[i];
    if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c + 32);
    if (c != AWord[i]) return false;
  }
  return true;
}

// The characters from the current one while APred holds.
template <class F>
UnicodeString ReadWhile(TVnTextParser *P, F APred) {
  UnicodeString r;
  while (!P->Eof()) {
    const char16_t c = P->CurrCharW();
    if (!APred(c)) break;
    r += c;
    P->NextChar();
  }
  return r;
}

// A term owned until it is handed on.
struct TTermHolder {
  TVnXPathBaseTerm *P = nullptr;
  TTermHolder() noexcept = default;
  explicit TTermHolder(TVnXPathBaseTerm *ATerm) noexcept : P(ATerm) {}
  TTermHolder(const TTermHolder &) = delete;
  TTermHolder &operator=(const TTermHolder &) = delete;
  ~TTermHolder() { Free(P); }
  TVnXPathBaseTerm *Release() noexcept {
    TVnXPathBaseTerm *t = P;
    P = nullptr;
    return t;
  }
};

// A built-in position term; its parameter list is skipped.
template <class T>
TVnXPathFunctionTerm *MakeBuiltIn(TVnXPathEquation *AEquation, TVnTextParser *AFilterParser) {
  TTermHolder term(New<T>(AEquation));
  static_cast<T *>(term.P)->ParseParams(AFilterParser);
  return static_cast<T *>(term.Release());
}

TVnXPathValueComparisonOperator OperatorOf(const UnicodeString &AFilter,
                                           const UnicodeString &AText) {
  if (AText == u"=") return opEqual;
  if (AText == u"!=" || AText == u"<>") return opUnequal;
  if (AText == u"<" || AText == u"&lt;") return opSmaller;
  if (AText == u">" || AText == u"&gt;") return opGreater;
  if (AText == u"<=" || AText == u"&lt;=") return opSmallerEqual;
  if (AText == u">=" || AText == u"&gt;=") return opGreaterEqual;
  throw EVnDomSyntax(cInvalidOperator, {AFilter, AText});
}

// The number or not of one comparison operand.
struct TOperand {
  bool IsInteger = false;
  bool IsFloat = false;
  Int64 Integer64 = 0;
  Extended Float = 0;
};

const TFormatSettings &DotSettings() {
  static const TFormatSettings s = [] {
    TFormatSettings f;
    f.DecimalSeparator = u'.';
    f.ThousandSeparator = u',';
    return f;
  }();
  return s;
}

TOperand ConvertOperand(const Variant &AValue) {
  TOperand r;
  switch (TVnTypes::VarMainTypeKind(AValue)) {
    case mtkInteger:
      r.Integer64 = VnVarToInt64(AValue);
      r.IsInteger = true;
      return r;
    case mtkFloat:
      r.Float = VnVarToExtended(AValue);
      r.IsFloat = true;
      return r;
    default:
      break;
  }
  const UnicodeString text = VnVarToStr(AValue);
  if (text.empty() || !(IsDigit(text[0]) || text[0] == u'.')) return r;
  Integer code = 0;
  Val(text, r.Integer64, code);
  if (code == 0) {
    r.IsInteger = true;
    return r;
  }
  if (TryStrToFloat(text, r.Float, DotSettings())) r.IsFloat = true;
  return r;
}

template <class T>
bool Apply(TVnXPathValueComparisonOperator AOperator, const T &A, const T &B) {
  switch (AOperator) {
    case opUnequal:
      return A != B;
    case opEqual:
      return A == B;
    case opSmaller:
      return A < B;
    case opSmallerEqual:
      return A <= B;
    case opGreater:
      return A > B;
    case opGreaterEqual:
      return A >= B;
  }
  return false;
}

bool IsTrue(const Variant &AValue) {
  return VarType(AValue) == varBoolean && AValue.AsBoolean();
}

// Whether the text holds an "&": four units a step (a unit equal to "&" leaves a zero unit in
// the difference, which the borrow test finds).
bool HasAmpersand(UnicodeStringView AText) noexcept {
  constexpr std::uint64_t cOnes = 0x0001000100010001u, cHighs = 0x8000800080008000u;
  constexpr std::uint64_t cAmpersands = 0x0026002600260026u;
  std::size_t k = 0;
  for (; k + 4 <= AText.size(); k += 4) {
    std::uint64_t w;
    std::memcpy(&w, AText.data() + k, sizeof w);
    const std::uint64_t x = w ^ cAmpersands;
    if ((x - cOnes) & ~x & cHighs) return true;
  }
  for (; k < AText.size(); ++k)
    if (AText[k] == u'&') return true;
  return false;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Nesting

namespace dom {

Integer &TNestingGuard::Depth() noexcept {
  thread_local Integer depth = 0;
  return depth;
}

TNestingGuard::TNestingGuard() {
  if (++Depth() > cVnXPathMaxNesting) {
    --Depth();
    throw EVnDomSyntax(cTooDeep, {cVnXPathMaxNesting});
  }
}

}  // namespace dom

// ---------------------------------------------------------------------------------------------
// Equations

TVnXPathEquation::TVnXPathEquation(TVnDOMSelectMatchOption AMatchOption,
                                   TVnXPathCollationClass ACollation)
    : FMatchOption(AMatchOption), FCollation(ACollation) {}

TVnXPathEquation::~TVnXPathEquation() {
  Free(FTerm);
  for (TVnXPathEquation *child : FChilds) Free(child);
  // The chain of siblings may be as long as the predicate is: freed in a loop.
  TVnXPathEquation *next = FSibling;
  FSibling = nullptr;
  while (next) {
    TVnXPathEquation *after = next->FSibling;
    next->FSibling = nullptr;
    next->Free();
    next = after;
  }
}

TVnXPathEquation *TVnXPathEquation::NewEquation() const {
  return New<TVnXPathEquation>(FMatchOption, FCollation);
}

void TVnXPathEquation::SetValue(TVnXPathBaseTerm *ATerm) {
  Free(FTerm);
  FTerm = ATerm;
}

TVnXPathEquation *TVnXPathEquation::AddFirstChild() {
  TVnXPathEquation *child = NewEquation();
  try {
    FChilds.insert(FChilds.begin(), child);
  } catch (...) {
    child->Free();
    throw;
  }
  FOperation = opNA;
  child->FParent = this;
  return child;
}

TVnXPathEquation *TVnXPathEquation::AddChild(TVnXPathBoolOperator AOperator) {
  TVnXPathEquation *child = NewEquation();
  try {
    FChilds.push_back(child);
  } catch (...) {
    child->Free();
    throw;
  }
  FOperation = AOperator;
  child->FParent = this;
  return child;
}

TVnXPathEquation *TVnXPathEquation::AddSibling(TVnXPathBoolOperator AOperator) {
  TVnXPathEquation *sibling = NewEquation();
  Free(FSibling);
  FSibling = sibling;
  FOperation = AOperator;
  sibling->FParent = FParent;
  return sibling;
}

TVnDOMSelectOptions TVnXPathEquation::GetSelectOptions() const {
  TVnDOMSelectOptions r;
  r << (FCollation == TVnXPathCollationASCIICI::StaticClass() ? soCaseInsensitive
                                                              : soCaseSensitive);
  if (FMatchOption == soQualifiedName || FMatchOption == soLocalName) {
    r << FMatchOption;
  } else {
    r << (DefaultSelectMatchOption == soLocalName ? soLocalName : soQualifiedName);
  }
  return r;
}

// The chain's one precedence for "and" and "or": detail::EvaluateBoolChain. A term that gives
// nothing (Null) makes its link false at once and marks the whole evaluation.
bool TVnXPathEquation::Evaluate(TVnDOMObjectList *ANodeList, Integer AIndex, bool &ANil) {
  auto term = [&](TVnXPathEquation *E, bool &AStop) {
    if (!E->FTerm) throw Exception(cInvalidOperation);
    const Variant v = E->FTerm->Value(ANodeList, AIndex);
    // A comparison's answer, the common term, is a boolean already.
    if (VarType(v) == varBoolean) return v.AsBoolean();
    if (VnVarIsEmpty(v)) {
      ANil = true;
      AStop = true;
      return false;
    }
    return VnVarToBool(v, false, false);
  };
  if (!FSibling) {
    // A chain of one, the common case, needs no bookkeeping.
    bool stop = false;
    return term(this, stop);
  }
  std::vector<TVnXPathEquation *> chain;
  for (TVnXPathEquation *e = this; e; e = e->FSibling) chain.push_back(e);
  return detail::EvaluateBoolChain(
      chain.size(), [&](std::size_t I, bool &AStop) { return term(chain[I], AStop); },
      [&](std::size_t J) {
        const TVnXPathBoolOperator op = chain[J]->FOperation;
        if (op == opNA) throw Exception(cInvalidOperation);
        return op == opAnd;
      });
}

bool TVnXPathEquation::Evaluate(TVnDOMObjectList *ANodeList, Integer AIndex) {
  bool nil = false;
  const bool r = Evaluate(ANodeList, AIndex, nil);
  return nil ? false : r;
}

TVnXPathBaseTerm *TVnXPathEquation::ReadTerm(TVnTextParser *AFilterParser) {
  TVnTextParser *p = AFilterParser;
  dom::TNestingGuard guard;
  SkipSpaces(p);
  const char16_t c = p->Eof() ? 0 : p->CurrCharW();
  if (!p->Eof()) {
    if (IsDigit(c) || c == u'"') return New<TVnXPathConstantTerm>(this, p);
    if (c == u'.' && IsDigit(p->PeekCharW())) return New<TVnXPathConstantTerm>(this, p);
    if (c == u'(') return New<TVnXPathSequenceTerm>(this, p);
    if (c == u'[') return New<TVnXPathArrayTerm>(this, p);
  }
  UnicodeString token = ReadWhile(p, [](char16_t ch) {
    switch (ch) {
      case u'=':
      case u'<':
      case u'>':
      case u'!':
      case u'(':
      case u')':
      case u'[':
      case u']':
      case u'"':
      case u' ':
      case u',':
        return false;
      default:
        return true;
    }
  });
  SkipSpaces(p);
  if (AtChar(p, u'(')) {
    p->NextChar();
    if (token == u"first") return MakeBuiltIn<TVnXPathFirstNode>(this, p);
    if (token == u"last") return MakeBuiltIn<TVnXPathLastNode>(this, p);
    if (token == u"position") return MakeBuiltIn<TVnXPathFnPositionTerm>(this, p);
    if (token == u"node") return MakeBuiltIn<TVnXPathFnNodeTerm>(this, p);
    return CreateFunctionTerm(token, this, p);
  }
  if (!p->Eof()) {
    const char16_t d = p->CurrCharW();
    if (IsDigit(d) || d == u'.' || d == u'"') return New<TVnXPathConstantTerm>(this, p);
    if (d == u'[') {
      // The bracketed text joins the path, balanced by depth.
      Integer depth = 0;
      while (!p->Eof()) {
        const char16_t ch = p->ReadCharW();
        token += ch;
        if (ch == u'[') {
          ++depth;
        } else if (ch == u']' && --depth == 0) {
          break;
        }
      }
    }
  }
  if (token.empty()) throw EVnDomSyntax(cInvalidStatement);
  return New<TVnXPathValueTerm>(this, p, token);
}

// ---------------------------------------------------------------------------------------------
// Terms

TVnXPathConstantTerm::TVnXPathConstantTerm(TVnXPathEquation *AEquation,
                                           TVnTextParser *AFilterParser)
    : TVnXPathBaseTerm(AEquation) {
  TVnTextParser *p = AFilterParser;
  const char16_t c = p->Eof() ? 0 : p->CurrCharW();
  if (!p->Eof() && c == u'"') {
    p->NextChar();
    FValue = ReadWhile(p, [](char16_t ch) { return ch != u'"'; });
    if (!p->Eof()) p->NextChar();
    return;
  }
  if (!p->Eof() && (IsDigit(c) || c == u'.')) {
    const UnicodeString run = ReadWhile(p, [](char16_t ch) { return IsDigit(ch) || ch == u'.'; });
    Int64 i = 0;
    Extended f = 0;
    if (TryStrToInt64(run, i)) {
      FValue = i;
    } else if (TryStrToFloat(run, f, DotSettings())) {
      FValue = static_cast<double>(f);
    } else {
      throw EVnDomSyntax(cNumberOrString);
    }
    return;
  }
  throw EVnDomSyntax(cNumberOfString);
}

TVnXPathConstantTerm::TVnXPathConstantTerm(TVnXPathEquation *AEquation, const Variant &AValue)
    : TVnXPathBaseTerm(AEquation), FValue(AValue) {}

Variant TVnXPathConstantTerm::Value(TVnDOMObjectList *, Integer) {
  return FValue;
}

TVnXPathValueTerm::TVnXPathValueTerm(TVnXPathEquation *AEquation, TVnTextParser *,
                                     const UnicodeString &APath)
    : TVnXPathBaseTerm(AEquation), FPath(APath) {}

TVnXPathValueTerm::~TVnXPathValueTerm() = default;

namespace {

// The program of a value term's path, taken apart on first use under the equation's options.
TVnPathProgram &ProgramOf(std::unique_ptr<TVnPathProgram> &AProgram, const UnicodeString &APath,
                          TVnXPathEquation *AEquation) {
  if (!AProgram) {
    const TVnDOMSelectOptions options = AEquation->GetSelectOptions();
    AProgram = std::make_unique<TVnPathProgram>(APath, options.Contains(soLocalName), false,
                                                options.Contains(soCaseInsensitive)
                                                    ? TVnXPathCollationASCIICI::StaticClass()
                                                    : TVnXPathCollationCodepoint::StaticClass());
  }
  return *AProgram;
}

}  // namespace

void TVnXPathValueTerm::Collect(TVnDOMObjectList *ANodeList, Integer AIndex,
                                std::vector<TVnDOMNode *> &AFound) {
  TVnDOMNode *node = As<TVnDOMNode>(ANodeList->Get(AIndex));
  ProgramOf(FProgram, FPath, FEquation).Run(node, AFound, false);
}

TVnDOMNodeList *TVnXPathValueTerm::Nodes(TVnDOMObjectList *ANodeList, Integer AIndex) {
  std::vector<TVnDOMNode *> found;
  Collect(ANodeList, AIndex, found);
  auto *list = New<TVnDOMNodeList>();
  try {
    for (TVnDOMNode *n : found) list->Add(n, rdpLast);
  } catch (...) {
    list->Free();
    throw;
  }
  return list;
}

Variant TVnXPathValueTerm::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  dom::TPooled<std::vector<TVnDOMNode *>> pooled;
  std::vector<TVnDOMNode *> &found = *pooled;
  Collect(ANodeList, AIndex, found);
  auto valueOf = [](TVnDOMNode *ANode) -> Variant {
    if (ANode->GetNodeType() == ntAttribute &&
        TVnDOMNode::IsNamespaceName(ANode->GetPrefix(), ANode->GetLocalName()))
      return Null();
    return ANode->GetNodeValue();
  };
  const Integer n = static_cast<Integer>(found.size());
  if (n == 0) return Null();
  if (n == 1) return valueOf(found[0]);
  Variant r = VarArrayCreate(0, n - 1);
  for (Integer i = 0; i < n; ++i) r.PutElement(i, valueOf(found[static_cast<std::size_t>(i)]));
  return r;
}

TVnXPathValueTerm::TSingleText TVnXPathValueTerm::SingleText(TVnDOMObjectList *ANodeList,
                                                             Integer AIndex,
                                                             UnicodeString &AScratch,
                                                             const UnicodeString *&AText) {
  // A plain step ("@id") is counted where it stands; any other path collects its nodes.
  TVnDOMNode *node = nullptr;
  std::size_t count = 0;
  TVnPathProgram &program = ProgramOf(FProgram, FPath, FEquation);
  if (!program.SelectPlain(As<TVnDOMNode>(ANodeList->Get(AIndex)), node, count)) {
    dom::TPooled<std::vector<TVnDOMNode *>> pooled;
    std::vector<TVnDOMNode *> &found = *pooled;
    Collect(ANodeList, AIndex, found);
    count = found.size();
    if (count == 1) node = found[0];
  }
  if (count == 0) return stNull;
  if (count > 1) return stMany;
  if (node->GetNodeType() == ntAttribute) {
    if (node->GetNameRecord()->IsNamespace()) return stNull;
    // The library's own attribute keeps its value in lexical form: without a reference in it,
    // that is the value itself.
    if (node->ClassType() == TVnDOMAttribute::StaticClass()) {
      const UnicodeString &stored = static_cast<TVnDOMAttribute *>(node)->GetStoredValue();
      if (!HasAmpersand(stored)) {
        AText = &stored;
        return stText;
      }
    }
  }
  AScratch = node->GetNodeValue();
  AText = &AScratch;
  return stText;
}

void TVnXPathFunctionTerm::ParseParams(TVnTextParser *AFilterParser) {
  TVnTextParser *p = AFilterParser;
  Integer depth = 1;
  while (depth > 0 && !p->Eof()) {
    const char16_t c = p->ReadCharW();
    if (c == u'(') {
      ++depth;
    } else if (c == u')') {
      --depth;
    }
  }
}

Variant TVnXPathFirstNode::Value(TVnDOMObjectList *, Integer AIndex) {
  return AIndex == 0;
}

Variant TVnXPathLastNode::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  return AIndex == ANodeList->Count() - 1;
}

Variant TVnXPathFnPositionTerm::Value(TVnDOMObjectList *, Integer AIndex) {
  return static_cast<Integer>(AIndex + 1);
}

Variant TVnXPathFnNodeTerm::Value(TVnDOMObjectList *, Integer) {
  return true;
}

bool TVnXPathChildTerm::ChildValue(TVnDOMObjectList *ANodeList, Integer AIndex, bool &ANil) {
  if (FEquation->GetChilds().size() != 1) throw Exception(cCheckParenthesis);
  dom::TNestingGuard guard;
  ANil = false;
  return FEquation->GetChilds()[0]->Evaluate(ANodeList, AIndex, ANil);
}

Variant TVnXPathChildTerm::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  bool nil = false;
  const bool r = ChildValue(ANodeList, AIndex, nil);
  return nil ? false : r;
}

Variant TVnXPathNot::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  bool nil = false;
  const bool r = ChildValue(ANodeList, AIndex, nil);
  return nil ? false : !r;
}

TVnXPathChildNodeX::TVnXPathChildNodeX(TVnXPathEquation *AEquation, TVnTextParser *,
                                       Integer AIndex) noexcept
    : TVnXPathBaseTerm(AEquation), FIndex(AIndex) {
  FIsBoolean = true;
}

Variant TVnXPathChildNodeX::Value(TVnDOMObjectList *, Integer AIndex) {
  return FIndex == AIndex;
}

TVnXPathHasNode::TVnXPathHasNode(TVnXPathEquation *AEquation, TVnXPathBaseTerm *ATerm) noexcept
    : TVnXPathBaseTerm(AEquation), FPath(ATerm) {
  FIsBoolean = true;
}

TVnXPathHasNode::~TVnXPathHasNode() {
  Free(FPath);
}

Variant TVnXPathHasNode::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  if (auto *path = dynamic_cast<TVnXPathValueTerm *>(FPath)) {
    dom::TPooled<std::vector<TVnDOMNode *>> found;
    path->Collect(ANodeList, AIndex, *found);
    return !found->empty();
  }
  return !VnVarIsEmpty(FPath->Value(ANodeList, AIndex));
}

TVnXPathValueComparison::TVnXPathValueComparison(TVnXPathEquation *AEquation,
                                                 TVnXPathBaseTerm *AValue1,
                                                 TVnXPathBaseTerm *AValue2,
                                                 TVnXPathValueComparisonOperator AOperator) noexcept
    : TVnXPathBaseTerm(AEquation),
      FValue1(AValue1),
      FValue2(AValue2),
      FOperator(AOperator),
      FConstant2(dynamic_cast<TVnXPathConstantTerm *>(AValue2)),
      FPath1(dynamic_cast<TVnXPathValueTerm *>(AValue1)) {}

TVnXPathValueComparison::~TVnXPathValueComparison() {
  Free(FValue1);
  Free(FValue2);
}

TVnXPathBaseTerm *TVnXPathValueComparison::ReleaseValue1() noexcept {
  TVnXPathBaseTerm *t = FValue1;
  FValue1 = nullptr;
  FPath1 = nullptr;
  return t;
}

Variant TVnXPathValueComparison::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  // A path compared with a text literal, the common predicate "[@id=\"7\"]": the path's one
  // text is compared where it stands, as CompareValues compares two texts.
  if (FPath1 && FConstant2) {
    if (const UnicodeString *literal = FConstant2->GetConstant().UStringOrNil()) {
      UnicodeString scratch;
      const UnicodeString *text = nullptr;
      switch (FPath1->SingleText(ANodeList, AIndex, scratch, text)) {
        case TVnXPathValueTerm::stNull:
          return Null();
        case TVnXPathValueTerm::stText:
          return CompareTexts(*text, *literal);
        case TVnXPathValueTerm::stMany:
          break;
      }
    }
  }
  const Variant a = FValue1->Value(ANodeList, AIndex);
  Variant computed;
  if (!FConstant2) computed = FValue2->Value(ANodeList, AIndex);
  const Variant &b = FConstant2 ? FConstant2->GetConstant() : computed;
  const bool arrayA = VarIsArray(a), arrayB = VarIsArray(b);
  Variant r = false;
  if (arrayA && arrayB) {
    const Integer highA = VarArrayHighBound(a), highB = VarArrayHighBound(b);
    for (Integer i = VarArrayLowBound(a); i <= highA; ++i) {
      const Variant x = a.GetElement(i);
      for (Integer j = VarArrayLowBound(b); j <= highB; ++j) {
        r = CompareValues(x, b.GetElement(j));
        if (IsTrue(r)) return r;
      }
    }
  } else if (arrayA) {
    const Integer high = VarArrayHighBound(a);
    for (Integer i = VarArrayLowBound(a); i <= high; ++i) {
      r = CompareValues(a.GetElement(i), b);
      if (IsTrue(r)) return r;
    }
  } else if (arrayB) {
    const Integer high = VarArrayHighBound(b);
    for (Integer i = VarArrayLowBound(b); i <= high; ++i) {
      r = CompareValues(a, b.GetElement(i));
      if (IsTrue(r)) return r;
    }
  } else {
    r = CompareValues(a, b);
  }
  return r;
}

Variant TVnXPathValueComparison::CompareValues(const Variant &A, const Variant &B) const {
  if (VarIsNull(A) || VarIsNull(B)) return Null();
  if (TVnTypes::VarMainTypeKind(A) == mtkString && TVnTypes::VarMainTypeKind(B) == mtkString) {
    // Texts held as UnicodeString are compared where they stand.
    UnicodeString copyA, copyB;
    const UnicodeString *pa = A.UStringOrNil(), *pb = B.UStringOrNil();
    if (!pa) pa = &(copyA = VnVarToStr(A));
    if (!pb) pb = &(copyB = VnVarToStr(B));
    return CompareTexts(*pa, *pb);
  }
  TOperand a = ConvertOperand(A), b = ConvertOperand(B);
  if (a.IsInteger && b.IsInteger) return Apply(FOperator, a.Integer64, b.Integer64);
  if (a.IsInteger && b.IsFloat) a.Float = static_cast<Extended>(a.Integer64);
  if (a.IsFloat && b.IsInteger) b.Float = static_cast<Extended>(b.Integer64);
  if ((a.IsInteger || a.IsFloat) && (b.IsInteger || b.IsFloat)) {
    return Apply(FOperator, a.Float, b.Float);
  }
  return Apply(FOperator, A, B);
}

bool TVnXPathValueComparison::CompareTexts(const UnicodeString &A, const UnicodeString &B) const {
  TVnXPathCollationClass collation = FEquation->GetCollation();
  switch (FOperator) {
    case opEqual:
      return collation->SameText(A, B);
    case opUnequal:
      return !collation->SameText(A, B);
    case opSmaller:
      return collation->Compare(A, B) < 0;
    case opSmallerEqual:
      return collation->Compare(A, B) < 1;
    case opGreater:
      return collation->Compare(A, B) > 0;
    case opGreaterEqual:
      return collation->Compare(A, B) >= 0;
  }
  return false;
}

TVnXPathListTerm::~TVnXPathListTerm() {
  for (TVnXPathBaseTerm *t : FList) Free(t);
}

TVnXPathBaseTerm *TVnXPathListTerm::GetTerm(Integer AIndex) const {
  if (AIndex < 0 || AIndex >= Count()) throw EListError(dom::cListIndex, {AIndex});
  return FList[static_cast<std::size_t>(AIndex)];
}

Variant TVnXPathListTerm::Value(TVnDOMObjectList *ANodeList, Integer AIndex) {
  Variant acc = UnicodeString();
  const Variant separator = UnicodeString(u", ");
  for (TVnXPathBaseTerm *t : FList) acc = acc + separator + t->Value(ANodeList, AIndex);
  const UnicodeString s = VarToStr(acc);
  return s.size() > 2 ? s.substr(2) : UnicodeString();
}

void TVnXPathListTerm::ReadItems(TVnTextParser *AFilterParser, char16_t AOpen, char16_t AClose) {
  TVnTextParser *p = AFilterParser;
  VN_ASSERT_AT(AtChar(p, AOpen), "xml/uVnXMLDOM", __LINE__);
  p->NextChar();
  SkipSpaces(p);
  if (AtChar(p, AClose)) {
    p->NextChar();
    return;
  }
  for (;;) {
    TTermHolder item(FEquation->ReadTerm(p));
    FList.push_back(item.P);
    item.Release();
    if (AtChar(p, u',')) p->NextChar();
    if (p->Eof() || p->CurrCharW() == AClose) break;
  }
  if (!p->Eof()) p->NextChar();
}

TVnXPathSequenceTerm::TVnXPathSequenceTerm(TVnXPathEquation *AEquation,
                                           TVnTextParser *AFilterParser)
    : TVnXPathListTerm(AEquation) {
  ReadItems(AFilterParser, u'(', u')');
}

TVnXPathArrayTerm::TVnXPathArrayTerm(TVnXPathEquation *AEquation, TVnTextParser *AFilterParser)
    : TVnXPathListTerm(AEquation) {
  ReadItems(AFilterParser, u'[', u']');
}

// ---------------------------------------------------------------------------------------------
// Filters

namespace dom {

void ParseFilter(TVnXPathEquation *ARoot, const UnicodeString &AFilter) {
  std::unique_ptr<TVnTextParser, void (*)(TVnTextParser *)> parser(
      New<TVnTextParser>(AFilter.data(), static_cast<UInt64>(AFilter.size()) * 2, CP_UTF16),
      [](TVnTextParser *P) { P->Free(); });
  TVnTextParser *p = parser.get();
  if (!AtChar(p, u'[')) throw Exception(cInvalidFilter, {AFilter});
  p->NextChar();
  TVnXPathEquation *cur = ARoot;
  Integer depth = 0;
  bool notPending = false;
  auto deeper = [&depth] {
    if (++depth > cVnXPathMaxNesting) throw EVnDomSyntax(cTooDeep, {cVnXPathMaxNesting});
  };
  auto isOpening = [](char16_t C) { return C == u'(' || IsDigit(C) || C == u'@'; };
  for (;;) {
    bool handled = false;
    SkipSpaces(p);
    // A ")" too many at the top leaves no current equation: the text is no filter.
    if (!cur) throw Exception(cInvalidFilter, {AFilter});
    const char16_t c = p->Eof() ? 0 : p->CurrCharW();
    if (!p->Eof() && !cur->GetTerm() && c == u'(') {
      cur->SetValue(New<TVnXPathChildTerm>(cur));
      cur = cur->AddFirstChild();
      deeper();
      p->NextChar();
      handled = true;
    } else if (!p->Eof() && !cur->GetTerm() && c == u'n' && AtWord(p, u"not")) {
      p->SkipChars(3);
      SkipSpaces(p);
      if (!p->Eof() && isOpening(p->CurrCharW())) {
        cur->SetValue(New<TVnXPathNot>(cur));
        cur = cur->AddFirstChild();
        deeper();
        if (p->CurrCharW() == u'(') {
          p->NextChar();
          handled = true;
        } else {
          notPending = true;
          SkipSpaces(p);
        }
      }
    } else if (!p->Eof() && cur->GetTerm() &&
               ((c == u'a' && AtWord(p, u"and")) || (c == u'o' && AtWord(p, u"or")))) {
      const bool isAnd = c == u'a';
      const TVnXPathBoolOperator op = isAnd ? opAnd : opOr;
      p->SkipChars(isAnd ? 3 : 2);
      const bool spaceAfter = AtChar(p, u' ');
      SkipSpaces(p);
      if (!p->Eof() && isOpening(p->CurrCharW())) {
        if (p->CurrCharW() == u'(' && cur->GetChilds().empty()) {
          cur = cur->AddChild(op);
          deeper();
        } else {
          cur = cur->AddSibling(op);
        }
        handled = true;
      } else if (spaceAfter) {
        cur = cur->AddSibling(op);
        handled = true;
      }
    } else if (!p->Eof() && c == u')') {
      cur = cur->GetParent();
      --depth;
      p->NextChar();
      handled = true;
    }
    if (!handled && cur && !cur->GetTerm()) {
      if (!p->Eof() && IsDigit(p->CurrCharW())) {
        const UnicodeString digits = ReadWhile(p, IsDigit);
        cur->SetValue(New<TVnXPathChildNodeX>(cur, p, StrToInt(digits)));
        handled = true;
      } else {
        TTermHolder left(cur->ReadTerm(p));
        TVnXPathBaseTerm *leftTerm = left.P;
        SkipSpaces(p);
        const bool isValuePath = dynamic_cast<TVnXPathValueTerm *>(leftTerm) != nullptr;
        auto *fn = dynamic_cast<TVnXPathFunctionTerm *>(leftTerm);
        if (fn && fn->IsBoolean()) {
          TTermHolder yes(New<TVnXPathConstantTerm>(cur, Variant(true)));
          auto *cmp = New<TVnXPathValueComparison>(cur, left.P, yes.P, opEqual);
          left.Release();
          yes.Release();
          cur->SetValue(cmp);
          handled = true;
        } else if (!p->Eof() && (p->CurrCharW() == u'!' || p->CurrCharW() == u'<' ||
                                 p->CurrCharW() == u'=' || p->CurrCharW() == u'>')) {
          const UnicodeString opText = ReadWhile(
              p, [](char16_t ch) { return ch == u'!' || ch == u'<' || ch == u'=' || ch == u'>'; });
          SkipSpaces(p);
          TTermHolder right(cur->ReadTerm(p));
          SkipSpaces(p);
          handled = true;
          const TVnXPathValueComparisonOperator op = OperatorOf(AFilter, opText);
          auto *cmp = New<TVnXPathValueComparison>(cur, left.P, right.P, op);
          left.Release();
          right.Release();
          cur->SetValue(cmp);
        } else {
          if (isValuePath) {
            auto *has = New<TVnXPathHasNode>(cur, left.P);
            left.Release();
            cur->SetValue(has);
          } else {
            cur->SetValue(left.Release());
          }
          handled = true;
        }
        if (notPending) {
          // Only the presence of the left term is negated: a comparison read behind it is
          // dropped, and the left term it holds is kept.
          TVnXPathBaseTerm *term = cur->GetTerm();
          TVnXPathBaseTerm *kept = leftTerm;
          if (auto *cmp = dynamic_cast<TVnXPathValueComparison *>(term);
              cmp && cmp->GetValue1() == leftTerm) {
            cmp->ReleaseValue1();
          } else if (term == leftTerm) {
            kept = nullptr;  // the term is in place as it stands
          } else if (auto *has = dynamic_cast<TVnXPathHasNode *>(term);
                     has && has->GetPath() == leftTerm) {
            kept = nullptr;  // already wrapped
          }
          if (kept) {
            TTermHolder hold(kept);
            if (isValuePath) {
              auto *has = New<TVnXPathHasNode>(cur, hold.P);
              hold.Release();
              cur->SetValue(has);
            } else {
              cur->SetValue(hold.Release());
            }
          }
          notPending = false;
        }
      }
    }
    if (!handled) throw Exception(cInvalidFilter, {AFilter});
    SkipSpaces(p);
    if (p->Eof() || p->CurrCharW() == u']') break;
  }
}

void ApplyFilter(TVnXPathEquation *ARoot, TVnDOMObjectList &ANodes, bool ANodesOnly) {
  TPooled<TVnDOMObjectList> kept;
  const Integer n = ANodes.Count();
  auto node = [&ANodes](Integer AIndex) { return static_cast<TVnDOMNode *>(ANodes.Get(AIndex)); };
  for (Integer i = 0; i < n; ++i) {
    // Most predicates read the attributes or children of the node, three reads that each wait
    // for the one before: the node, its child array, its first children. While this node is
    // evaluated, each is asked for a few nodes ahead, the earlier ones further ahead, so that
    // each finds the one before it at hand.
    if (ANodesOnly) {
      if (i + 8 < n) __builtin_prefetch(node(i + 8));
      if (i + 4 < n) __builtin_prefetch(node(i + 4)->Children().begin());
      if (i + 2 < n) {
        const TVnDOMNodeArray &children = node(i + 2)->Children();
        for (std::size_t c = 0, m = std::min<std::size_t>(children.size(), 4); c < m; ++c)
          __builtin_prefetch(children[c]);
      }
    }
    if (ARoot->Evaluate(&ANodes, i)) kept->Add(ANodes.Get(i));
  }
  ANodes.Assign(&*kept);
}

void FilterNodeList(TVnDOMObjectList &ANodes, const UnicodeString &AFilter, bool ALocalName,
                    TVnXPathCollationClass ACollation) {
  std::unique_ptr<TVnXPathEquation, void (*)(TVnXPathEquation *)> root(
      New<TVnXPathEquation>(ALocalName ? soLocalName : soQualifiedName, ACollation),
      [](TVnXPathEquation *E) { E->Free(); });
  ParseFilter(root.get(), AFilter);
  ApplyFilter(root.get(), ANodes);
}

}  // namespace dom

}  // namespace vn
