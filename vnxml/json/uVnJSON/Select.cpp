// Path selection on the JSON tree: the path dialect, its filter expressions and the walk.
//
// A path is taken apart once per use. Its steps are cut from the text as the walk first reaches
// them and kept for every further node at that level; a filter is parsed on its first
// application and kept for every further node and candidate. Cutting and parsing the same text
// again would give the same steps and the same errors at the same moment, so nothing a caller
// sees changes, except the time it takes. The walk runs on a stack of its own: neither the
// depth of the tree nor the number of steps reaches the thread's stack.
#include <memory>
#include <unordered_set>
#include <vector>

#include "vnxml/common/uVnClasses/BoolChain.h"
#include "vnxml/json/uVnJSON.h"
#include "vnxml/json/uVnJSON/Internal.h"
#include "vnxml/rtl/SysUtils.h"
#include "vnxml/rtl/Variant.h"

namespace vn {

namespace {

constexpr char16_t cInvalidExpression[] =
    u"An invalid expression was detected!\r\nCheck the parenthesis.";
constexpr char16_t cInvalidOperation[] = u"An invalid operation has been detected!";

// The character at AIndex as text, empty past the end.
UnicodeString CharAt(UnicodeStringView AText, std::size_t AIndex) {
  return AIndex < AText.size() ? UnicodeString(1, AText[AIndex]) : UnicodeString();
}

[[noreturn]] void RaiseUnexpected(const UnicodeString &AExpected, const UnicodeString &AFound) {
  throw EVnJSONException(_cVnJSONUnexpectedChar, {AExpected, AFound}, 14);
}

// How deep selections run inside one another on this thread: a filter's paths select again.
thread_local Integer tNesting = 0;

struct TNestingGuard {
  TNestingGuard() {
    if (tNesting >= cVnJSONMaxNesting) throw EVnJSONException(_cVnJSONScriptTooComplex, 17);
    ++tNesting;
  }
  ~TNestingGuard() { --tNesting; }
  TNestingGuard(const TNestingGuard &) = delete;
  TNestingGuard &operator=(const TNestingGuard &) = delete;
};

// The class tests of the walk. The node's JSON type settles most of them without a look at the
// class: objects and arrays carry their own type, and members (like the document and nulls)
// carry jdtNull.
[[gnu::noinline]] bool InheritsMember(TVnJSONBase *N) {
  return N->Is<TVnJSONMember>();
}
[[gnu::noinline]] bool InheritsObject(TVnJSONBase *N) {
  return N->Is<TVnJSONObject>();
}
[[gnu::noinline]] bool InheritsArray(TVnJSONBase *N) {
  return N->Is<TVnJSONArray>();
}
inline bool IsMember(TVnJSONBase *N) {
  return N->JSONType() == jdtNull &&
         (N->ClassType() == TVnJSONMember::StaticClass() || InheritsMember(N));
}
inline bool IsObject(TVnJSONBase *N) {
  return N->JSONType() == jdtObject &&
         (N->ClassType() == TVnJSONObject::StaticClass() || InheritsObject(N));
}
inline bool IsArray(TVnJSONBase *N) {
  return N->JSONType() == jdtArray &&
         (N->ClassType() == TVnJSONArray::StaticClass() || InheritsArray(N));
}
inline bool IsContainer(TVnJSONBase *N) {
  return IsObject(N) || IsArray(N);
}

// One more pair of quotes less: the text between a leading ' or " and the same character at the
// end; other text as it stands.
UnicodeStringView VnStripLiterals(UnicodeStringView AText) {
  if (AText.size() >= 2 && (AText[0] == u'\'' || AText[0] == u'"') && AText.back() == AText[0])
    return AText.substr(1, AText.size() - 2);
  return AText;
}

bool IsIndexText(UnicodeStringView AText) {
  if (AText.empty()) return false;
  for (char16_t c : AText)
    if (!((c >= u'0' && c <= u'9') || c == u'-')) return false;
  return true;
}

// ---------------------------------------------------------------------------------------------
// The compiled path

class TPathQuery;
class TVnBoolExpression;

// One part of a step: a name, an index, a slice, a script index or a filter (whose text then
// goes on as one of the others).
struct TPart {
  enum TKind : Byte { pkName, pkIndex, pkSlice, pkScript };
  UnicodeString Text;
  TKind Kind = pkName;
  bool Filter = false;
  // pkName: the name without its quotes; "*" or the empty name stand for every member or item.
  UnicodeString Name;
  bool Star = false;
  std::unique_ptr<TVnJSONNameMatch> Match;
  // pkIndex: the index when the text converts (otherwise the conversion raises when it runs).
  bool IndexOk = false;
  Integer Index = 0;
  // pkSlice
  Integer SliceStart = 0, SliceStop = 0, SliceStep = 0;
  // pkScript: the text between the parentheses.
  UnicodeString Script;
  // The filter's parsed expression, made on its first application.
  std::unique_ptr<TVnBoolExpression> Expression;
};

struct TStep {
  bool Deep = false;
  std::vector<TPart> Parts;
  // Where the rest of the path begins.
  std::size_t Rest = 0;
};

// One path of the " | " alternatives.
struct TAltPath {
  UnicodeString Text;
  std::vector<TStep> Steps;
};

// ---------------------------------------------------------------------------------------------
// Filter expressions

enum TVnBoolExpressionOperator : Byte { opNA, opAnd, opOr };
enum TVnExpValueHasNodeWithValueOp : Byte {
  opUnequal,
  opEqual,
  opSmaller,
  opSmallerEqual,
  opGreater,
  opGreaterEqual
};

// The flag an evaluation's comparisons share: each comparison writes it (false, or true when it
// met nothing), and the last write stands. Writes are counted, so that the chain evaluation can
// tell what working out a link left behind.
struct TNilFlag {
  bool Value = false;
  UInt64 Writes = 0;
  void Set(bool AValue) noexcept {
    Value = AValue;
    ++Writes;
  }
};

class TVnExpressionValue {
 public:
  virtual ~TVnExpressionValue() = default;
  // The truth of the term for the context node; ANil as the term's comparisons left it.
  virtual bool Value(TVnJSONBase *AContext, TNilFlag &ANil) = 0;
  TVnBoolExpression *FExpression = nullptr;
};

// One link of a chain of terms joined by "&&" and "||"; a parenthesis or "!" hangs a chain
// below as the child.
class TVnBoolExpression {
 public:
  TVnBoolExpression() = default;
  TVnBoolExpression(const TVnBoolExpression &) = delete;
  TVnBoolExpression &operator=(const TVnBoolExpression &) = delete;
  // Frees what hangs below and behind, without nested calls.
  ~TVnBoolExpression() {
    std::vector<TVnBoolExpression *> pending;
    auto take = [&](TVnBoolExpression *E) {
      if (E->FChild) pending.push_back(E->FChild);
      if (E->FSibling) pending.push_back(E->FSibling);
      E->FChild = E->FSibling = nullptr;
      delete E->FValue;
      E->FValue = nullptr;
    };
    take(this);
    while (!pending.empty()) {
      TVnBoolExpression *e = pending.back();
      pending.pop_back();
      take(e);
      delete e;
    }
  }

  void SetValue(TVnExpressionValue *AValue) {
    delete FValue;
    FValue = AValue;
    AValue->FExpression = this;
  }
  TVnBoolExpression *AddFirstChild() {
    FOperation = opNA;
    return NewChild();
  }
  TVnBoolExpression *AddChild(TVnBoolExpressionOperator AOperator) {
    FOperation = AOperator;
    return NewChild();
  }
  TVnBoolExpression *AddSibling(TVnBoolExpressionOperator AOperator) {
    delete FSibling;
    FSibling = new TVnBoolExpression();
    FOperation = AOperator;
    FSibling->FParent = FParent;
    return FSibling;
  }

  // The chain from here: the terms' truths joined by their links, every term read (a nil does
  // not end it), ANil as the last comparison worked out left it. A link's value is worked out
  // once; where the chain's definition works it out again, what it did to the flag is done
  // again.
  bool Evaluate(TVnJSONBase *AContext, TNilFlag &ANil) {
    if (!FSibling) return Term(this, AContext, ANil);
    std::vector<TVnBoolExpression *> chain;
    for (TVnBoolExpression *e = this; e; e = e->FSibling) chain.push_back(e);
    struct TEffects {
      TNilFlag &Flag;
      struct TEffect {
        bool Wrote = false;
        bool Value = false;
      };
      UInt64 Begin() const noexcept { return Flag.Writes; }
      TEffect End(UInt64 AMark) const noexcept { return {Flag.Writes != AMark, Flag.Value}; }
      void Replay(const TEffect &AEffect) noexcept {
        if (AEffect.Wrote) Flag.Set(AEffect.Value);
      }
    };
    return detail::EvaluateBoolChain(
        chain.size(), [&](std::size_t I, bool &) { return Term(chain[I], AContext, ANil); },
        [&](std::size_t J) {
          const TVnBoolExpressionOperator op = chain[J]->FOperation;
          if (op == opNA) throw Exception(cInvalidOperation);
          return op == opAnd;
        },
        TEffects{ANil});
  }
  // False whenever the flag came back set.
  bool Evaluate(TVnJSONBase *AContext) {
    TNilFlag nil;
    const bool r = Evaluate(AContext, nil);
    return nil.Value ? false : r;
  }

  TVnBoolExpressionOperator FOperation = opNA;
  TVnBoolExpression *FParent = nullptr;
  TVnBoolExpression *FSibling = nullptr;
  TVnBoolExpression *FChild = nullptr;
  TVnExpressionValue *FValue = nullptr;

 private:
  static bool Term(TVnBoolExpression *E, TVnJSONBase *AContext, TNilFlag &ANil) {
    // An equation left without a term ("()", "&&" at the start) cannot be evaluated.
    if (!E->FValue) throw Exception(cInvalidOperation);
    return E->FValue->Value(AContext, ANil);
  }
  TVnBoolExpression *NewChild() {
    delete FChild;
    FChild = new TVnBoolExpression();
    FChild->FParent = this;
    return FChild;
  }
};

// "(...)": the chain below.
class TVnExpressionValueChild : public TVnExpressionValue {
 public:
  bool Value(TVnJSONBase *AContext, TNilFlag &ANil) override {
    if (!FExpression->FChild) throw Exception(cInvalidExpression);
    return FExpression->FChild->Evaluate(AContext, ANil);
  }
};

// "!": the chain below, negated.
class TVnExpressionValueNot : public TVnExpressionValue {
 public:
  bool Value(TVnJSONBase *AContext, TNilFlag &ANil) override {
    if (!FExpression->FChild) throw Exception(cInvalidExpression);
    return !FExpression->FChild->Evaluate(AContext, ANil);
  }
};

// ---------------------------------------------------------------------------------------------
// The walk

// A path taken apart: the alternatives, each with the steps cut so far, and the scratch space of
// the walk, kept between runs.
class TPathQuery {
 public:
  TPathQuery(UnicodeStringView APath, TVnJDOCSelectOptions AOptions);
  // The nodes of the path from AContext, appended to AResult.
  void Run(TVnJSONBase *AContext, bool AFirstOnly, std::vector<TVnJSONBase *> &AResult);
  // The first node, nil when there is none; the whole path runs all the same.
  TVnJSONBase *First(TVnJSONBase *AContext);

 private:
  struct TFrame {
    TVnJSONBase *Node;
    Cardinal Level;
    bool Deep;
    Byte Phase;
    std::size_t I;
    std::size_t LBegin;
    std::size_t LEnd;
  };
  void Walk(TAltPath &APath, TVnJSONBase *AStart, std::vector<TVnJSONBase *> &AResult);
  // The step at ALevel, cut from the text when the walk first gets there.
  TStep &StepAt(TAltPath &APath, Cardinal ALevel) {
    return ALevel < APath.Steps.size() ? APath.Steps[ALevel] : CutSteps(APath, ALevel);
  }
  TStep &CutSteps(TAltPath &APath, Cardinal ALevel);
  // Adds what the step's parts select on N (an object or an array) to FBuffer.
  void Collect(TStep &AStep, TVnJSONBase *N, std::size_t ABegin);
  void ApplyFilter(TPart &APart, TVnJSONBase *N, std::size_t ABegin);

  std::vector<TAltPath> FPaths;
  TVnJDOCSelectOptions FOptions;
  bool FBusy = false;
  std::vector<TFrame> FFrames;
  std::vector<TVnJSONBase *> FBuffer;
  std::vector<TVnJSONBase *> FFirst;
};

// ---------------------------------------------------------------------------------------------
// Comparisons and tests of a path

// "path": whether the path finds anything from the context node.
class TVnExpressionValueExists : public TVnExpressionValue {
 public:
  TVnExpressionValueExists(UnicodeString APath, bool ACaseInsensitive)
      : FPath(std::move(APath)), FCaseInsensitive(ACaseInsensitive) {}
  bool Value(TVnJSONBase *AContext, TNilFlag &) override {
    if (!FQuery)
      FQuery = std::make_unique<TPathQuery>(FPath, FCaseInsensitive
                                                       ? TVnJDOCSelectOptions{jsoCaseInsensitive}
                                                       : TVnJDOCSelectOptions{});
    return FQuery->First(AContext) != nullptr;
  }
  VnJSONString FPath;
  bool FCaseInsensitive;

 private:
  std::unique_ptr<TPathQuery> FQuery;
};

// How an operand's text compares: as an integer (which is a float too), a float, a boolean, or
// nothing of these.
struct TTextClass {
  bool IsInt = false, IsFloat = false, IsBool = false;
  Integer Int = 0;
  Extended Float = 0;
  bool Bool = false;
};

TTextClass Classify(UnicodeStringView AText) {
  static const TFormatSettings settings = TFormatSettings::Invariant();
  TTextClass c;
  if (AText.empty()) return c;
  if (TryStrToInt(AText, c.Int)) {
    c.IsInt = c.IsFloat = true;
    c.Float = c.Int;
  } else if (TryStrToFloat(AText, c.Float, settings)) {
    c.IsFloat = true;
  } else if (TryStrToBool(AText, c.Bool)) {
    c.IsBool = true;
  }
  return c;
}

bool IsQuoted(UnicodeStringView AText) {
  return !AText.empty() && (AText[0] == u'\'' || AText[0] == u'"');
}

// "left op right". An operand that is no path is the same text for every candidate: it is
// classified once.
class TVnExpValueHasNodeWithValue : public TVnExpressionValue {
 public:
  TVnExpValueHasNodeWithValue(UnicodeString AValue1, UnicodeString AValue2,
                              TVnExpValueHasNodeWithValueOp AOperator, bool ACaseInsensitive)
      : FValue1(std::move(AValue1)),
        FValue2(std::move(AValue2)),
        FOperator(AOperator),
        FCaseInsensitive(ACaseInsensitive) {
    Prepare(FValue1, FOperand1);
    Prepare(FValue2, FOperand2);
  }
  bool Value(TVnJSONBase *AContext, TNilFlag &ANil) override;

  VnJSONString FValue1;
  VnJSONString FValue2;
  TVnExpValueHasNodeWithValueOp FOperator;
  bool FCaseInsensitive;

 private:
  struct TOperand {
    bool IsPath = false;
    TTextClass Class;  // of a constant
    std::unique_ptr<TPathQuery> Query;
    UnicodeString Found;  // the text of the node a path found last
  };
  static void Prepare(const UnicodeString &AText, TOperand &AOperand) {
    AOperand.IsPath = !AText.empty() && (AText[0] == u'$' || AText[0] == u'@');
    if (!AOperand.IsPath && !IsQuoted(AText)) AOperand.Class = Classify(AText);
  }
  // The operand's text for the context node; false when it is Null (the empty operand, or a
  // path that finds nothing).
  bool Resolve(const UnicodeString &AText, TOperand &AOperand, TVnJSONBase *AContext,
               UnicodeStringView &AResult);
  template <class T>
  bool Compare(const T &A, const T &B) const {
    switch (FOperator) {
      case opUnequal:
        return !(A == B);
      case opEqual:
        return A == B;
      case opSmaller:
        return A < B;
      case opSmallerEqual:
        return A < B || A == B;
      case opGreater:
        return B < A;
      case opGreaterEqual:
        return B < A || A == B;
    }
    return false;
  }
  TOperand FOperand1, FOperand2;
};

bool TVnExpValueHasNodeWithValue::Resolve(const UnicodeString &AText, TOperand &AOperand,
                                          TVnJSONBase *AContext, UnicodeStringView &AResult) {
  if (AText.empty()) return false;
  if (!AOperand.IsPath) {
    AResult = AText;
    return true;
  }
  if (!AOperand.Query)
    AOperand.Query = std::make_unique<TPathQuery>(
        AText,
        FCaseInsensitive ? TVnJDOCSelectOptions{jsoCaseInsensitive} : TVnJDOCSelectOptions{});
  TVnJSONBase *node = AOperand.Query->First(AContext);
  if (!node) return false;
  if (node->ClassType() == TVnJSONSimpleType::StaticClass() || node->Is<TVnJSONSimpleType>()) {
    AOperand.Found = static_cast<TVnJSONSimpleType *>(node)->GetVariantText();
  } else {
    // A member stands for its value; an object or an array refuses to give one.
    TVnJSONBase *value = node->GetValueObj();
    if (!value) return false;
    AOperand.Found = value->GetAsString();
  }
  AResult = AOperand.Found;
  return true;
}

bool TVnExpValueHasNodeWithValue::Value(TVnJSONBase *AContext, TNilFlag &ANil) {
  ANil.Set(false);
  UnicodeStringView a, b;
  const bool hasA = Resolve(FValue1, FOperand1, AContext, a);
  const bool hasB = Resolve(FValue2, FOperand2, AContext, b);
  if (!hasA || !hasB) {
    ANil.Set(true);
    return false;
  }
  if (IsQuoted(a) || IsQuoted(b)) {
    a = VnStripLiterals(a);
    b = VnStripLiterals(b);
  } else {
    const TTextClass ca = FOperand1.IsPath ? Classify(a) : FOperand1.Class;
    const TTextClass cb = FOperand2.IsPath ? Classify(b) : FOperand2.Class;
    if (ca.IsInt && cb.IsInt) return Compare(ca.Int, cb.Int);
    if (ca.IsFloat && cb.IsFloat) return Compare(ca.Float, cb.Float);
    if (ca.IsBool && cb.IsBool) return Compare(ca.Bool, cb.Bool);
    // A number never compares with anything else.
    if (ca.IsFloat || cb.IsFloat) {
      ANil.Set(true);
      return false;
    }
  }
  if (FCaseInsensitive) {
    if (FOperator == opEqual) return SameText(a, b);
    if (FOperator == opUnequal) return !SameText(a, b);
    return Compare(LowerCase(a), LowerCase(b));
  }
  // Strings compare by their code units, as the run-time compares text Variants.
  return Compare(a, b);
}

// ---------------------------------------------------------------------------------------------
// The filter parser

// Reads an operand from AIndex: its first character whatever it is, then up to one of
// "!&)<=>|" or the end; "[...]" and "(...)" are stepped over whole. Trimmed.
UnicodeString ReadOperand(UnicodeStringView AText, std::size_t &AIndex) {
  const std::size_t start = AIndex;
  const std::size_t n = AText.size();
  std::size_t i = AIndex + 1;
  while (i < n) {
    const char16_t c = AText[i];
    if (c == u'[' || c == u'(') {
      const std::size_t close = AText.find(c == u'[' ? u']' : u')', i + 1);
      i = close == UnicodeStringView::npos ? n : close + 1;
      continue;
    }
    if (c == u'!' || c == u'&' || c == u')' || c == u'<' || c == u'=' || c == u'>' || c == u'|')
      break;
    ++i;
  }
  AIndex = i;
  return Trim(AText.substr(start, i - start));
}

// The filter part "?(...)" as an expression tree.
std::unique_ptr<TVnBoolExpression> ParseFilter(UnicodeStringView APart, bool ACaseInsensitive) {
  if (APart.size() < 2 || APart[0] != u'?' || APart[1] != u'(')
    RaiseUnexpected(u"?(", UnicodeString(APart.substr(0, 2)));
  // The closing parenthesis is taken on trust.
  const UnicodeStringView text = APart.size() > 3 ? APart.substr(2, APart.size() - 3) : u"";
  auto root = std::make_unique<TVnBoolExpression>();
  TVnBoolExpression *cur = root.get();
  Integer depth = 0;
  bool notOpen = false;
  auto up = [&] {
    if (!cur->FParent) throw EVnJSONException(_cVnJSONScriptTooComplex, 17);
    cur = cur->FParent;
    --depth;
  };
  auto down = [&](TVnExpressionValue *AValue) {
    cur->SetValue(AValue);
    if (++depth > cVnJSONMaxNesting) throw EVnJSONException(_cVnJSONScriptTooComplex, 17);
    cur = cur->AddFirstChild();
  };
  const std::size_t n = text.size();
  std::size_t i = 0;
  while (i < n) {
    const char16_t c = text[i];
    bool operand = false;
    switch (c) {
      case u'(':
        down(new TVnExpressionValueChild());
        ++i;
        break;
      case u')':
        up();
        ++i;
        break;
      case u'!':
        down(new TVnExpressionValueNot());
        notOpen = true;
        ++i;
        break;
      case u'&':
      case u'|':
        if (i + 1 >= n || text[i + 1] != c)
          RaiseUnexpected(UnicodeString(1, c), CharAt(text, i + 1));
        cur = cur->AddSibling(c == u'&' ? opAnd : opOr);
        i += 2;
        break;
      default: {
        operand = true;
        UnicodeString left = ReadOperand(text, i);
        bool compare = i < n;
        TVnExpValueHasNodeWithValueOp op = opEqual;
        if (compare) {
          switch (text[i]) {
            case u'!':
            case u'=':
              if (i + 1 >= n || text[i + 1] != u'=') RaiseUnexpected(u"=", CharAt(text, i + 1));
              op = text[i] == u'!' ? opUnequal : opEqual;
              i += 2;
              break;
            case u'<':
              if (i + 1 < n && text[i + 1] == u'=') {
                op = opSmallerEqual;
                i += 2;
              } else if (i + 1 < n && text[i + 1] == u'>') {
                op = opUnequal;
                i += 2;
              } else {
                op = opSmaller;
                ++i;
              }
              break;
            case u'>':
              if (i + 1 < n && text[i + 1] == u'=') {
                op = opGreaterEqual;
                i += 2;
              } else {
                op = opGreater;
                ++i;
              }
              break;
            default:
              compare = false;
          }
        }
        if (compare) {
          UnicodeString right = i < n ? ReadOperand(text, i) : UnicodeString();
          cur->SetValue(new TVnExpValueHasNodeWithValue(std::move(left), std::move(right), op,
                                                        ACaseInsensitive));
        } else {
          cur->SetValue(new TVnExpressionValueExists(std::move(left), ACaseInsensitive));
        }
      }
    }
    // A "!" governs the one term behind it.
    if (operand && notOpen) {
      up();
      notOpen = false;
    }
    while (i < n && text[i] == u' ') ++i;
  }
  return root;
}

// ---------------------------------------------------------------------------------------------
// Cutting steps

// Splits a bracket's text at the commas outside '...' quotes; each part trimmed, a trailing empty
// part dropped.
void SplitUnion(UnicodeStringView AText, std::vector<TPart> &AParts) {
  bool quoted = false;
  std::size_t start = 0;
  for (std::size_t i = 0; i <= AText.size(); ++i) {
    if (i == AText.size() || (AText[i] == u',' && !quoted)) {
      TPart p;
      p.Text = Trim(AText.substr(start, i - start));
      if (i == AText.size() && p.Text.empty()) break;
      AParts.push_back(std::move(p));
      start = i + 1;
    } else if (AText[i] == u'\'') {
      quoted = !quoted;
    }
  }
}

// What the part's text is, after a filter.
void ClassifyPart(TPart &APart) {
  const UnicodeString &t = APart.Text;
  APart.Filter = !t.empty() && t[0] == u'?';
  if (!t.empty() && t[0] == u'(') {
    APart.Kind = TPart::pkScript;
    APart.Script = t.substr(1, t.size() >= 2 ? t.size() - 2 : 0);
  } else if (t.find(u':') != UnicodeString::npos) {
    APart.Kind = TPart::pkSlice;
    UnicodeString s = t[0] == u':' ? u"0" + t : t;
    UnicodeStringView fields[3] = {u"0", u"0", u"0"};
    std::size_t start = 0;
    for (int f = 0; f < 3; ++f) {
      const std::size_t colon = f < 2 ? s.find(u':', start) : UnicodeString::npos;
      if (colon == UnicodeString::npos) {
        fields[f] = UnicodeStringView(s).substr(start);
        break;
      }
      fields[f] = UnicodeStringView(s).substr(start, colon - start);
      start = colon + 1;
    }
    APart.SliceStart = StrToIntDef(fields[0], 0);
    APart.SliceStop = StrToIntDef(fields[1], 0);
    APart.SliceStep = StrToIntDef(fields[2], 0);
  } else if (IsIndexText(t)) {
    APart.Kind = TPart::pkIndex;
    APart.IndexOk = TryStrToInt(t, APart.Index);
  } else {
    APart.Kind = TPart::pkName;
    UnicodeStringView name = t;
    if (!name.empty() && name[0] == u'\'')
      name = name.size() >= 2 ? name.substr(1, name.size() - 2) : UnicodeStringView();
    APart.Name = name.empty() ? UnicodeString(u"*") : UnicodeString(name);
    APart.Star = APart.Name == u"*";
    APart.Match = std::make_unique<TVnJSONNameMatch>(APart.Name);
  }
}

TPathQuery::TPathQuery(UnicodeStringView APath, TVnJDOCSelectOptions AOptions)
    : FOptions(AOptions) {
  static constexpr char16_t cSeparator[] = u" | ";
  std::size_t start = 0;
  for (;;) {
    const std::size_t bar = APath.find(cSeparator, start);
    TAltPath alt;
    alt.Text = Trim(APath.substr(
        start, bar == UnicodeStringView::npos ? UnicodeStringView::npos : bar - start));
    FPaths.push_back(std::move(alt));
    if (bar == UnicodeStringView::npos) break;
    start = bar + 3;
  }
}

TStep &TPathQuery::CutSteps(TAltPath &APath, Cardinal ALevel) {
  while (APath.Steps.size() <= ALevel) {
    const UnicodeStringView text = APath.Text;
    std::size_t i = APath.Steps.empty() ? 1 : APath.Steps.back().Rest;
    TStep step;
    const char16_t c = text[i];
    if (c == u'$' || c == u'@')
      throw EVnJSONException(_cVnJSONMisplacedChar, {CharAt(text, i)}, 15);
    UnicodeStringView token;
    if (c == u'.') {
      ++i;
      if (i < text.size() && text[i] == u'.') {
        step.Deep = true;
        ++i;
      }
      // The token's first character belongs to it whatever it is.
      std::size_t end = i < text.size() ? i + 1 : i;
      while (end < text.size() && text[end] != u'.' && text[end] != u'[') ++end;
      token = text.substr(i, end - i);
      step.Rest = end;
    } else if (c == u'[') {
      // To the closing bracket; a "[" inside skips to the next "]" first.
      std::size_t end = i + 1;
      while (end < text.size() && text[end] != u']') {
        if (text[end] == u'[') {
          const std::size_t close = text.find(u']', end + 1);
          end = close == UnicodeStringView::npos ? text.size() : close + 1;
        } else {
          ++end;
        }
      }
      if (end < text.size()) ++end;
      token = text.substr(i, end - i);
      step.Rest = end;
    } else {
      RaiseUnexpected(u". or [", CharAt(text, i));
    }
    if (!token.empty() && token[0] == u'[') {
      SplitUnion(token.size() >= 2 ? token.substr(1, token.size() - 2) : UnicodeStringView(),
                 step.Parts);
    } else {
      TPart p;
      p.Text = UnicodeString(token);
      step.Parts.push_back(std::move(p));
    }
    for (TPart &p : step.Parts) ClassifyPart(p);
    APath.Steps.push_back(std::move(step));
  }
  return APath.Steps[ALevel];
}

// ---------------------------------------------------------------------------------------------
// Running

void TPathQuery::ApplyFilter(TPart &APart, TVnJSONBase *N, std::size_t ABegin) {
  if (!APart.Expression)
    APart.Expression = ParseFilter(APart.Text, FOptions.Contains(jsoCaseInsensitive));
  TVnBoolExpression *e = APart.Expression.get();
  // Survivors already found by an earlier part of the step are not added again.
  std::unordered_set<TVnJSONBase *> earlier;
  const bool check = FBuffer.size() > ABegin;
  if (check) earlier.insert(FBuffer.begin() + static_cast<std::ptrdiff_t>(ABegin), FBuffer.end());
  const bool object = IsObject(N);
  const Integer count = N->ObjectCount();
  for (Integer k = 0; k < count; ++k) {
    TVnJSONBase *candidate = N->Objects(k);
    if (object) candidate = static_cast<TVnJSONMember *>(candidate)->GetValueObj();
    if (!candidate) continue;
    if (e->Evaluate(candidate) && !(check && earlier.count(candidate)))
      FBuffer.push_back(candidate);
  }
}

void TPathQuery::Collect(TStep &AStep, TVnJSONBase *N, std::size_t ABegin) {
  const bool object = IsObject(N);
  const bool array = !object && IsArray(N);
  for (TPart &part : AStep.Parts) {
    if (part.Filter) ApplyFilter(part, N, ABegin);
    const Integer count = N->ObjectCount();
    switch (part.Kind) {
      case TPart::pkScript:
      case TPart::pkIndex: {
        Integer index;
        if (part.Kind == TPart::pkScript) {
          const std::size_t at = part.Script.find(u"@.length");
          if (at == UnicodeString::npos) {
            index = StrToInt(part.Script);
          } else {
            const UnicodeString rest = Trim(StringReplace(part.Script, u"@.length", u"", true));
            // The sum wraps round in 32 bits, as the run-time's integers do.
            const Int64 sum = Int64(array ? count : 0) + (rest.empty() ? 0 : StrToInt(rest));
            index = static_cast<Integer>(static_cast<Cardinal>(static_cast<UInt64>(sum)));
          }
        } else {
          if (!array) break;
          index = part.IndexOk ? part.Index : StrToInt(part.Text);
        }
        if (!array) break;
        if (index < 0) index += count;
        if (index >= 0 && index < count) FBuffer.push_back(N->Objects(index));
        break;
      }
      case TPart::pkSlice: {
        if (!array) break;
        Integer start = part.SliceStart, stop = part.SliceStop, step = part.SliceStep;
        if (start < 0) start += count;
        if (step == 0) step = 1;
        if (stop == 0) stop = count;
        if (start < 0 || start >= count) break;
        Int64 i = start;
        do {
          FBuffer.push_back(N->Objects(static_cast<Integer>(i)));
          i += step;
        } while (i >= 0 && i < count && i < stop);
        break;
      }
      case TPart::pkName: {
        const bool ci = FOptions.Contains(jsoCaseInsensitive);
        if (object) {
          for (Integer k = 0; k < count; ++k) {
            // A member record's name is read where it stands: only a member found is made.
            TVnJSONBase *slot = TVnJSONSlots::At(N, k);
            if (json::IsLatent(slot) && !part.Star && !part.Match->MatchesRecord(slot, ci))
              continue;
            auto *m = static_cast<TVnJSONMember *>(N->Objects(k));
            if (part.Star || part.Match->Matches(m, ci))
              if (TVnJSONBase *v = m->GetValueObj()) FBuffer.push_back(v);
          }
        } else if (array && part.Star) {
          for (Integer k = 0; k < count; ++k) FBuffer.push_back(N->Objects(k));
        }
        if (FBuffer.size() == ABegin && FOptions.Contains(jsoCreate) && !part.Star) {
          // Only an object takes a member; any other node refuses.
          TVnJSONMember *m = N->AddMember(part.Name, jdtNull);
          FBuffer.push_back(m->GetValueObj());
        }
        break;
      }
    }
  }
}

void TPathQuery::Walk(TAltPath &APath, TVnJSONBase *AStart, std::vector<TVnJSONBase *> &AResult) {
  std::vector<TFrame> &frames = FFrames;
  const std::size_t base = frames.size();
  auto push = [&](TVnJSONBase *ANode, Cardinal ALevel, bool ADeep) {
    frames.push_back(TFrame{ANode, ALevel, ADeep, 0, 0, FBuffer.size(), FBuffer.size()});
  };
  push(AStart, 0, false);
  while (frames.size() > base) {
    TFrame &f = frames.back();
    switch (f.Phase) {
      case 0:
        // A member first runs the same path on its value, then goes on itself.
        if (IsMember(f.Node)) {
          f.Phase = 1;
          if (TVnJSONBase *v = f.Node->GetValueObj()) push(v, f.Level, f.Deep);
          continue;
        }
        [[fallthrough]];
      case 1: {
        const std::size_t rest = f.Level == 0 ? 1 : APath.Steps[f.Level - 1].Rest;
        if (rest >= APath.Text.size()) {
          AResult.push_back(f.Node);
          frames.pop_back();
          continue;
        }
        if (!IsContainer(f.Node)) {
          frames.pop_back();
          continue;
        }
        TStep &step = StepAt(APath, f.Level);
        frames.back().Deep = f.Deep || step.Deep;
        const std::size_t begin = FBuffer.size();
        // The parts may run filters, whose paths use queries of their own.
        Collect(step, f.Node, begin);
        TFrame &g = frames.back();
        g.LBegin = begin;
        g.LEnd = FBuffer.size();
        if (step.Rest >= APath.Text.size()) {
          AResult.insert(AResult.end(), FBuffer.begin() + static_cast<std::ptrdiff_t>(begin),
                         FBuffer.end());
          g.Phase = 3;
        } else {
          g.Phase = 2;
          g.I = begin;
        }
        continue;
      }
      case 2: {
        // The rest of the path is not empty, so a node that is neither a member, an object nor
        // an array would find nothing: it is not visited.
        TVnJSONBase *next = nullptr;
        while (!next && f.I < f.LEnd) {
          TVnJSONBase *n = FBuffer[f.I++];
          if (IsContainer(n) || IsMember(n)) next = n;
        }
        if (next) {
          push(next, f.Level + 1, false);
          continue;
        }
        f.Phase = 3;
        f.I = 0;
        continue;
      }
      case 3: {
        // The same step on each child; a member's value stands for the member, which would
        // find nothing itself (the step is not the path's end).
        TVnJSONBase *next = nullptr;
        if (f.Deep) {
          const std::size_t count = static_cast<std::size_t>(f.Node->ObjectCount());
          while (!next && f.I < count) {
            // A compact value is never a container: it is passed without making its node.
            TVnJSONBase *c = TVnJSONSlots::At(f.Node, static_cast<Integer>(f.I++));
            if (json::IsLatent(c)) continue;
            if (IsMember(c)) {
              if (json::IsLatent(TVnJSONSlots::ValueOf(c))) continue;
              c = c->GetValueObj();
            }
            if (c && IsContainer(c)) next = c;
          }
        }
        if (next) {
          push(next, f.Level, true);
          continue;
        }
        FBuffer.resize(f.LBegin);
        frames.pop_back();
        continue;
      }
    }
  }
}

void TPathQuery::Run(TVnJSONBase *AContext, bool AFirstOnly, std::vector<TVnJSONBase *> &AResult) {
  TNestingGuard guard;
  // A query belongs to one call or one filter term, and no filter reaches the query it stands
  // in: a run never nests in a run of the same query.
  if (FBusy) throw EInvalidOperation(u"A path query ran inside its own run");
  FBusy = true;
  struct TRelease {
    TPathQuery *Q;
    ~TRelease() {
      Q->FBusy = false;
      Q->FFrames.clear();
      Q->FBuffer.clear();
    }
  } release{this};
  for (TAltPath &path : FPaths) {
    if (path.Text.empty()) throw EVnJSONException(_cVnJSONInvalidPath, 13);
    TVnJSONBase *start;
    if (path.Text[0] == u'$') {
      start = AContext->Owner() && AContext->Owner()->Is<TVnJSONDocument>()
                  ? AContext
                  : AContext->GetDocument()->GetRootValue();
    } else if (path.Text[0] == u'@') {
      start = !AContext->Owner() && AContext->Is<TVnJSONDocument>()
                  ? static_cast<TVnJSONDocument *>(AContext)->GetRootValue()
                  : AContext;
    } else {
      throw EVnJSONException(_cVnJSONInvalidPath, 13);
    }
    // A document without a root value has nothing to select from.
    const std::size_t before = AResult.size();
    if (start) Walk(path, start, AResult);
    if (AFirstOnly && AResult.size() > before) break;
  }
}

TVnJSONBase *TPathQuery::First(TVnJSONBase *AContext) {
  FFirst.clear();
  Run(AContext, false, FFirst);
  return FFirst.empty() ? nullptr : FFirst.front();
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// TVnJSONBase

void TVnJSONBase::InternalCreateNodeList(const UnicodeString &APath, bool AFirstOnly,
                                         TVnJDOCSelectOptions AOptions,
                                         std::vector<TVnJSONBase *> &AResult) {
  TPathQuery query(APath, AOptions);
  query.Run(this, AFirstOnly, AResult);
}

TVnJSONArray *TVnJSONBase::CreateNodeList(const UnicodeString &APath,
                                          TVnJDOCSelectOptions AOptions) {
  std::vector<TVnJSONBase *> found;
  InternalCreateNodeList(APath, false, AOptions, found);
  if (found.empty() && AOptions.Contains(jsoRaise)) throw EVnJSONException(_cVnJSONNoNodes, 11);
  Owned<TVnJSONArray> result(New<TVnJSONArray>(nullptr));
  for (TVnJSONBase *n : found) result->AddReference(n);
  return result.release();
}

TVnJSONArray *TVnJSONBase::CreateNodeList(const UnicodeString &APath, bool ARaise) {
  return CreateNodeList(APath, ARaise ? TVnJDOCSelectOptions{jsoRaise} : TVnJDOCSelectOptions{});
}

TVnJSONBase *TVnJSONBase::SelectSingleNode(const UnicodeString &APath,
                                           TVnJDOCSelectOptions AOptions) {
  std::vector<TVnJSONBase *> found;
  InternalCreateNodeList(APath, false, AOptions, found);
  if (found.empty() && AOptions.Contains(jsoRaise)) throw EVnJSONException(_cVnJSONNoNodes, 11);
  return found.empty() ? nullptr : found.front();
}

TVnJSONBase *TVnJSONBase::SelectSingleNode(const UnicodeString &APath, bool ARaise) {
  return SelectSingleNode(APath, ARaise ? TVnJDOCSelectOptions{jsoRaise} : TVnJDOCSelectOptions{});
}

DelphiInterface<IVnJSONArray> TVnJSONBase::SelectIntf(const UnicodeString &APath,
                                                      TVnJDOCSelectOptions AOptions) {
  return DelphiInterface<IVnJSONArray>(CreateNodeList(APath, AOptions));
}

}  // namespace vn
