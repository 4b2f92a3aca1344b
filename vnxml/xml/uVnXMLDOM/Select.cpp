// Path selection: the select entry points, the path taken apart into steps, and the walk.
//
// A path is not parsed by a grammar: it is cut by hand, at "|" into alternatives, at "/" and
// "//" into steps, and each step at "[" into its name and its predicates. The cutting depends on
// the text only, so it is done once per use of a path, and each step keeps its name, its kind,
// its predicates (parsed when first needed) and what an error in it would raise. The walk then
// runs the steps over the tree on a stack of its own, in the order in which a step-by-step walk
// that calls itself for the rest of the path and then for each child would meet the nodes.
#include <algorithm>
#include <optional>
#include <unordered_set>

#include "vnxml/xml/uVnXMLDOM/Internal.h"

namespace vn {

namespace {

inline constexpr const char16_t *cRaiseAndCreate =
    u"It is not possible to specify both soRaise and soCreate!";
inline constexpr const char16_t *cNoNodeForPath = u"There is no node for the given path \"%s\"!";
inline constexpr const char16_t *cTooComplex =
    u"The given path \"%s\" was too complex to use the soCreate option!";
inline constexpr const char16_t *cNoNodesForPath = u"There are no nodes for the given path \"%s!.";
inline constexpr const char16_t *cNoElementsForPath =
    u"There are no nodes for the given path \"%s\"!";
inline constexpr const char16_t *cNoRootForPath = u"There is no node for the given path \"%s\".";
inline constexpr const char16_t *cNoRootForCreate =
    u"It is not possible to use XPath statements on documents without rootnode!";
inline constexpr const char16_t *cEmptyNodePath = u"The specified nodePath is empty!";
inline constexpr const char16_t *cLeadingSlash =
    u"The specified nodePath started with an unexpected token (/)!";
inline constexpr const char16_t *cNotANode = u"The XPath expression does not return a DOM Node!";
inline constexpr const char16_t *cNotValid = u"The XPath expression is not valid!";
inline constexpr const char16_t *cCreateDescendant =
    u"The soCreate option cannot be used in combination with the \"//\" search option!";
inline constexpr const char16_t *cAfterStar =
    u"The XPath expression contains an error at \"%s\"!\r\na \"/\" or \"[\" was expected after the "
    u"\"*\".";
inline constexpr const char16_t *cAfterDot =
    u"The XPath expression contains an error at \"%s\"!\r\na \"/\" or \"[\" was expected after the "
    u"\"..\".";
inline constexpr const char16_t *cParentInDescendant =
    u"The XPath expression contains an error at \"%s\"!\r\nThe \"//\" cannot be used in "
    u"combination with \"..\".";

bool SameASCIICI(UnicodeStringView A, UnicodeStringView B) noexcept {
  if (A.size() != B.size()) return false;
  for (std::size_t i = 0; i < A.size(); ++i) {
    char16_t a = A[i], b = B[i];
    if (a >= u'A' && a <= u'Z') a = static_cast<char16_t>(a + 32);
    if (b >= u'A' && b <= u'Z') b = static_cast<char16_t>(b + 32);
    if (a != b) return false;
  }
  return true;
}

bool StartsWith(UnicodeStringView S, UnicodeStringView APrefix) noexcept {
  return S.size() >= APrefix.size() && S.substr(0, APrefix.size()) == APrefix;
}

// The position of the ")" that balances the "(" at AOpen, or npos.
std::size_t BalancingParen(UnicodeStringView S, std::size_t AOpen) noexcept {
  Integer depth = 0;
  for (std::size_t i = AOpen; i < S.size(); ++i) {
    if (S[i] == u'(') {
      ++depth;
    } else if (S[i] == u')' && --depth == 0) {
      return i;
    }
  }
  return UnicodeStringView::npos;
}

void CheckSelectOptions(TVnDOMSelectOptions AOptions) {
  if (AOptions.Contains(soCaseSensitive) && AOptions.Contains(soCaseInsensitive))
    throw Exception(dom::cBothCases);
  if (AOptions.Contains(soRaise) && AOptions.Contains(soCreate)) throw Exception(cRaiseAndCreate);
}

// The collation and the name matching that the options give, the node's settings otherwise.
TVnXPathCollationClass CollationOf(TVnDOMNode *ANode, TVnDOMSelectOptions AOptions) {
  if (AOptions.Contains(soCaseSensitive)) return TVnXPathCollationCodepoint::StaticClass();
  if (AOptions.Contains(soCaseInsensitive)) return TVnXPathCollationASCIICI::StaticClass();
  return ANode->GetCollation();
}

bool LocalNameOf(TVnDOMNode *ANode, TVnDOMSelectOptions AOptions) {
  if (AOptions.Contains(soLocalName)) return true;
  if (AOptions.Contains(soQualifiedName)) return false;
  return ANode->GetSelectMatchOption() == soLocalName;
}

// The programs of the last paths selected on this thread. A program depends on its text and its
// three settings only, and what it learns while it runs (the matches of the name records met,
// the trees of its predicates) holds for any later run; so a caller that selects with the same
// path again and again, as a loop over elements does, has it cut once. A program in use is not
// handed out again: a predicate's function may select with the same path while it runs.
class TProgramCache {
 public:
  // A program for the path and settings, marked as in use until Return.
  TVnPathProgram *Lease(const UnicodeString &APath, bool ALocalName, bool ACreate,
                        TVnXPathCollationClass ACollation) {
    for (TEntry &e : FEntries) {
      if (e.Program && !e.Busy && e.LocalName == ALocalName && e.Create == ACreate &&
          e.Collation == ACollation && e.Path == APath) {
        e.Busy = true;
        return e.Program.get();
      }
    }
    auto program = std::make_unique<TVnPathProgram>(APath, ALocalName, ACreate, ACollation);
    for (std::size_t tries = 0; tries < cSize; ++tries) {
      TEntry &e = FEntries[FNext];
      FNext = (FNext + 1) % cSize;
      if (e.Busy) continue;
      e.Path = APath;
      e.LocalName = ALocalName;
      e.Create = ACreate;
      e.Collation = ACollation;
      e.Program = std::move(program);
      e.Busy = true;
      return e.Program.get();
    }
    // Every entry is in use: the program lives for this selection only.
    FSpare.push_back(std::move(program));
    return FSpare.back().get();
  }

  void Return(TVnPathProgram *AProgram) noexcept {
    for (TEntry &e : FEntries) {
      if (e.Program.get() == AProgram) {
        e.Busy = false;
        return;
      }
    }
    for (std::size_t i = FSpare.size(); i-- > 0;) {
      if (FSpare[i].get() == AProgram) {
        FSpare.erase(FSpare.begin() + static_cast<std::ptrdiff_t>(i));
        return;
      }
    }
  }

  static TProgramCache &OfThread() {
    thread_local TProgramCache cache;
    return cache;
  }

 private:
  static constexpr std::size_t cSize = 4;
  struct TEntry {
    UnicodeString Path;
    bool LocalName = false;
    bool Create = false;
    bool Busy = false;
    TVnXPathCollationClass Collation = nullptr;
    std::unique_ptr<TVnPathProgram> Program;
  };
  TEntry FEntries[cSize];
  std::size_t FNext = 0;
  std::vector<std::unique_ptr<TVnPathProgram>> FSpare;
};

// The nodes a path selects from ANode with the options, after the checks of the options, into
// AFound (empty). The entry points borrow AFound from the thread's pool, so that a call does not
// take a list from the heap each time.
using TFoundNodes = dom::TPooled<std::vector<TVnDOMNode *>>;
void Select(TVnDOMNode *ANode, const UnicodeString &APath, TVnDOMSelectOptions AOptions,
            bool AFirstOnly, std::vector<TVnDOMNode *> &AFound) {
  CheckSelectOptions(AOptions);
  TProgramCache &cache = TProgramCache::OfThread();
  TVnPathProgram *program = cache.Lease(APath, LocalNameOf(ANode, AOptions),
                                        AOptions.Contains(soCreate), CollationOf(ANode, AOptions));
  struct TGiveBack {
    TProgramCache &Cache;
    TVnPathProgram *Program;
    ~TGiveBack() { Cache.Return(Program); }
  } giveBack{cache, program};
  program->Run(ANode, AFound, AFirstOnly);
}

// A new list of class L that holds the nodes, each checked to be a T.
template <class L, class T>
L *MakeList(const std::vector<TVnDOMNode *> &ANodes) {
  L *list = New<L>();
  try {
    for (TVnDOMNode *n : ANodes) list->Add(As<T>(n), rdpLast);
  } catch (...) {
    list->Free();
    throw;
  }
  return list;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// A step

// One step of a path as the walk runs it from a context node: cut from the text, with the rest
// of the path as the next step.
struct TVnPathStep {
  enum TKind : Byte {
    skGroup,      // "(path)": the nodes the path in parentheses selects
    skChildren,   // "" in descendant mode, "node()": every child but attributes
    skText,       // "text()": the child text and CDATA nodes
    skAttribute,  // "@name", "@*"
    skElements,   // "*": the child elements of a prefix
    skSelf,       // "."
    skParent,     // ".."
    skName        // any other name
  };

  // The error that the walk raises on reaching the step, if any: its class and its message.
  void (*ErrorClass)(const UnicodeString &) = nullptr;
  UnicodeString ErrorMessage;

  TKind Kind = skName;
  bool Descendant = false;
  // "*" matches any prefix, as AnyName any attribute name.
  UnicodeString Prefix;
  UnicodeString LocalName;
  bool AnyPrefix = false;
  bool AnyName = false;
  // "." right behind a step that is exactly "." selects nothing, unless in descendant mode.
  bool SelectsNothing = false;
  // The predicates in order, each "[...]", and their trees once parsed.
  std::vector<UnicodeString> Filters;
  std::vector<std::unique_ptr<TVnXPathEquation, void (*)(TVnXPathEquation *)>> Trees;
  // Creation: allowed when there is no predicate or only "[0]"; the name of the new element,
  // and its record once the step has made one. The step takes references to the record in
  // blocks and hands one to each element it makes, so that making an element takes no atomic
  // step of its own (a program, and so its steps, is used by one thread only); those left go
  // back with the step.
  bool MayCreate = false;
  UnicodeString CreateName;
  struct TMadeName {
    TVnDOMName *Record = nullptr;
    Integer Spare = 0;
    TMadeName() = default;
    TMadeName(const TMadeName &) = delete;
    TMadeName &operator=(const TMadeName &) = delete;
    ~TMadeName() {
      if (Record) Record->ReleaseRefs(Spare + 1);
    }
  } CreateRecord;
  static constexpr Integer cRefBlock = 64;
  // The path in parentheses of a group, taken apart on first use.
  UnicodeString GroupPath;
  std::unique_ptr<TVnPathProgram> Group;
  // The rest of the path; null when the step is the last.
  std::unique_ptr<TVnPathStep> Next;

  // The name records met and whether they matched, a slot for each by its address: nodes of a
  // loaded document share one record per name, and a document has few names, so nearly every
  // comparison is answered here without looking at the text. A slot holds its record, so that
  // no other record can take its address while the answer is kept.
  struct TSeen {
    const TVnDOMName *Key = nullptr;
    TVnDOMNameRef Name;
    bool Match = false;
  };
  static constexpr std::size_t cSeen = 32;
  TSeen Seen[cSeen];
  // Whether the step's name is one of the leaves' fixed names, once asked (a step runs under one
  // collation and name matching, its program's).
  enum TLeafNames : Byte { lnUnknown, lnNone, lnSome };
  TLeafNames LeafNames = lnUnknown;

  void Raise() const { ErrorClass(ErrorMessage); }

  // A reference to the record that the elements this step makes share, made on the first.
  TVnDOMNameRef MadeRecord() {
    if (!CreateRecord.Record) CreateRecord.Record = TVnDOMName::MakeQualified(CreateName);
    if (CreateRecord.Spare == 0) {
      CreateRecord.Record->AddRefs(cRefBlock);
      CreateRecord.Spare = cRefBlock;
    }
    --CreateRecord.Spare;
    return TVnDOMNameRef(CreateRecord.Record);
  }
  // Whether the step, run from an element without children, finds nothing and makes its element
  // there: a step that looks only at the children, with nothing to raise and no descent.
  bool MakesOnChildless() const noexcept {
    return MayCreate && !ErrorClass && !Descendant && Kind != skGroup && Kind != skSelf &&
           Kind != skParent;
  }

  // Whether the name of ANode, an element for a name step or an attribute for an attribute
  // step, is one the step selects; ALocalName is the program's name matching.
  bool NameMatches(TVnDOMNode *ANode, TVnXPathCollationClass ACollation, bool ALocalName) {
    return RecordMatches(ANode->GetNameRecord(), ACollation, ALocalName);
  }
  bool RecordMatches(TVnDOMName *AName, TVnXPathCollationClass ACollation, bool ALocalName) {
    const TSeen &seen = Seen[SeenSlot(AName)];
    if (seen.Key == AName) return seen.Match;
    return CompareName(AName, ACollation, ALocalName);
  }
  // Whether a name step may pass over text, CDATA and comment children by their kind: no such
  // node anywhere has children or a name of its own, and the step's name is none of theirs.
  bool PassesLeaves(TVnXPathCollationClass ACollation, bool ALocalName) {
    if (dom::OddLeaves()) return false;
    if (LeafNames == lnUnknown) {
      LeafNames = lnNone;
      for (TVnDOMNodeType kind : {ntText, ntCDATA, ntComment})
        if (RecordMatches(TVnDOMName::Fixed(kind), ACollation, ALocalName)) LeafNames = lnSome;
    }
    return LeafNames == lnNone;
  }
  bool PrefixMatches(TVnDOMNode *ANode, TVnXPathCollationClass ACollation) const {
    return PrefixMatches(ANode->GetPrefix(), ACollation);
  }
  bool PrefixMatches(const UnicodeString &APrefix, TVnXPathCollationClass ACollation) const {
    return AnyPrefix || ACollation->SameText(Prefix, APrefix);
  }

 private:
  // The slot of a record: records are heap blocks, so the low bits of the address say little.
  static std::size_t SeenSlot(const TVnDOMName *AName) noexcept {
    const auto a = reinterpret_cast<std::uintptr_t>(AName);
    return ((a >> 4) ^ (a >> 9)) & (cSeen - 1);
  }
  // NameMatches when the slot has no answer for the record: compares the texts and keeps the
  // answer.
  bool CompareName(TVnDOMName *AName, TVnXPathCollationClass ACollation, bool ALocalName);
};

bool TVnPathStep::CompareName(TVnDOMName *AName, TVnXPathCollationClass ACollation,
                              bool ALocalName) {
  bool match;
  if (Kind == skAttribute) {
    // Namespace declarations are no attributes to a path that matches qualified names.
    match = (ALocalName || !TVnDOMNode::IsNamespaceName(AName->Prefix(), AName->LocalName())) &&
            (AnyName || ACollation->SameText(LocalName, AName->LocalName())) &&
            PrefixMatches(AName->Prefix(), ACollation);
  } else {
    match = ACollation->SameText(LocalName, AName->LocalName()) &&
            PrefixMatches(AName->Prefix(), ACollation);
  }
  TSeen &slot = Seen[SeenSlot(AName)];
  AName->AddRef();
  slot.Name = TVnDOMNameRef(AName);
  slot.Key = AName;
  slot.Match = match;
  return match;
}

namespace {

template <class E>
void RaiseAs(const UnicodeString &AMessage) {
  throw E(AMessage);
}

// Cuts the path APath, run in descendant mode or not, into its chain of steps.
std::unique_ptr<TVnPathStep> CutSteps(UnicodeString APath, bool ADescendant, bool ALocalName) {
  std::unique_ptr<TVnPathStep> first;
  TVnPathStep *last = nullptr;
  UnicodeString previous;
  bool more = true;
  while (more) {
    auto step = std::make_unique<TVnPathStep>();
    TVnPathStep &s = *step;
    s.Descendant = ADescendant;
    more = false;
    // The first error of the step is the one that the walk of the text would meet first.
    auto fail = [&s](const char16_t *AMessage, void (*AClass)(const UnicodeString &),
                     const UnicodeString &AArgument = {}) {
      if (s.ErrorClass) return;
      s.ErrorClass = AClass;
      s.ErrorMessage = AArgument.empty() ? UnicodeString(AMessage) : Format(AMessage, {AArgument});
    };
    UnicodeString text, rest;
    bool restDescendant = false;
    if (StartsWith(APath, u"/")) {
      fail(cLeadingSlash, RaiseAs<EVnDomSyntax>);
    } else {
      std::size_t i = 0;
      if (StartsWith(APath, u"(")) {
        const std::size_t close = BalancingParen(APath, 0);
        i = close == UnicodeString::npos ? APath.size() : close;
      }
      while (i < APath.size() && APath[i] != u'/') {
        if (APath[i] == u'[') {
          const std::size_t close = APath.find(u']', i);
          i = close == UnicodeString::npos ? APath.size() : close + 1;
        } else {
          ++i;
        }
      }
      if (i >= APath.size()) {
        text = Trim(APath);
      } else {
        text = APath.substr(0, i);
        rest = APath.substr(i);
        if (rest == u"/") fail(cNotANode, RaiseAs<EVnDomSyntax>);
        if (StartsWith(rest, u"//")) {
          restDescendant = true;
          rest.erase(0, 2);
        } else {
          rest.erase(0, 1);
        }
        more = !rest.empty() || restDescendant;
      }
    }
    // The name and the predicates.
    UnicodeString filter;
    if (const std::size_t b = text.find(u'['); b != UnicodeString::npos) {
      filter = Trim(UnicodeStringView(text).substr(b));
      text = Trim(UnicodeStringView(text).substr(0, b));
    } else {
      text = Trim(text);
    }
    UnicodeString prefix, local;
    if (const std::size_t c = text.find(u':'); c != UnicodeString::npos) {
      prefix = text.substr(0, c);
      local = text.substr(c + 1);
    } else {
      local = text;
    }
    if (text.empty() && !ADescendant) fail(cNotValid, RaiseAs<EVnDomSyntax>);
    if (prefix.empty() && (ALocalName || local == u"*" || local == u".")) prefix = u"*";
    if (StartsWith(prefix, u"@")) {
      prefix.erase(0, 1);
      local.insert(0, u"@");
    }
    if (StartsWith(local, u"(")) {
      s.Kind = TVnPathStep::skGroup;
      const std::size_t close = BalancingParen(local, 0);
      s.GroupPath = local.substr(1, close == UnicodeString::npos ? UnicodeString::npos : close - 1);
    } else if (local.empty() || SameASCIICI(local, u"node()")) {
      s.Kind = TVnPathStep::skChildren;
    } else if (SameASCIICI(local, u"text()")) {
      s.Kind = TVnPathStep::skText;
    } else if (StartsWith(local, u"@")) {
      s.Kind = TVnPathStep::skAttribute;
      const UnicodeString name = local.substr(1);
      s.AnyName = name == u"*";
      if (ALocalName || (s.AnyName && prefix.empty())) prefix = u"*";
    } else if (local == u"*") {
      s.Kind = TVnPathStep::skElements;
    } else if (StartsWith(local, u"*")) {
      fail(cAfterStar, RaiseAs<EVnDomSyntax>, APath);
    } else if (local == u".") {
      s.Kind = TVnPathStep::skSelf;
      s.SelectsNothing = previous == u"." && !ADescendant;
    } else if (local == u"..") {
      s.Kind = TVnPathStep::skParent;
      if (ADescendant) fail(cParentInDescendant, RaiseAs<EVnDomSyntax>, APath);
    } else if (StartsWith(local, u".")) {
      fail(cAfterDot, RaiseAs<EVnDomSyntax>, APath);
    }
    s.Prefix = prefix;
    s.AnyPrefix = prefix == u"*";
    s.LocalName = s.Kind == TVnPathStep::skAttribute ? local.substr(1) : local;
    s.MayCreate = filter.empty() || filter == u"[0]";
    s.CreateName = (prefix.empty() || prefix == u"*") ? local : prefix + u":" + local;
    // The predicates: from each "[" to its balancing "]", nesting counted.
    for (std::size_t i = filter.find(u'['); i != UnicodeString::npos; i = filter.find(u'[', i)) {
      Integer depth = 0;
      std::size_t j = i;
      for (; j < filter.size(); ++j) {
        if (filter[j] == u'[') {
          ++depth;
        } else if (filter[j] == u']' && --depth == 0) {
          break;
        }
      }
      s.Filters.push_back(filter.substr(i, j < filter.size() ? j - i + 1 : UnicodeString::npos));
      s.Trees.emplace_back(nullptr, [](TVnXPathEquation *E) { Free(E); });
      i = j < filter.size() ? j + 1 : filter.size();
    }
    // The step as written, without its predicates: "p:." is no "." to the step behind it.
    previous = text;
    TVnPathStep *raw = step.get();
    if (last) {
      last->Next = std::move(step);
    } else {
      first = std::move(step);
    }
    last = raw;
    APath = rest;
    ADescendant = restDescendant;
  }
  return first;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// The program

TVnPathProgram::TVnPathProgram(const UnicodeString &APath, bool ALocalName, bool ACreate,
                               TVnXPathCollationClass ACollation)
    : LocalName(ALocalName), Create(ACreate), Collation(ACollation) {
  std::size_t start = 0;
  for (;;) {
    const std::size_t bar = APath.find(u'|', start);
    const UnicodeString alternative = Trim(UnicodeStringView(APath).substr(
        start, bar == UnicodeString::npos ? UnicodeString::npos : bar - start));
    TAlternative a;
    if (alternative == u"/") {
      a.Start = psSelf;
    } else if (StartsWith(alternative, u"//")) {
      a.Start = psDocument;
      a.First = CutSteps(alternative.substr(2), true, ALocalName);
    } else if (StartsWith(alternative, u"/")) {
      a.Start = psDocument;
      a.First = CutSteps(alternative.substr(1), false, ALocalName);
    } else {
      a.Start = psContext;
      a.First = CutSteps(alternative, false, ALocalName);
    }
    Alternatives.push_back(std::move(a));
    if (bar == UnicodeString::npos) break;
    start = bar + 1;
  }
}

TVnPathProgram::~TVnPathProgram() {
  // The chains may be as long as the path: unlinked one step at a time.
  for (TAlternative &a : Alternatives) {
    std::unique_ptr<TVnPathStep> s = std::move(a.First);
    while (s) s = std::move(s->Next);
  }
}

namespace {

// The nodes found so far: each once, in order of discovery. Short lists are searched; a set
// joins them once they grow.
class TFound {
 public:
  explicit TFound(std::vector<TVnDOMNode *> &AItems) : FItems(AItems) {}
  void Add(TVnDOMNode *ANode) {
    if (FItems.size() < cSearched) {
      for (TVnDOMNode *n : FItems)
        if (n == ANode) return;
      FItems.push_back(ANode);
      return;
    }
    if (!FSet)
      FSet = std::make_unique<std::unordered_set<TVnDOMNode *>>(FItems.begin(), FItems.end());
    if (FSet->insert(ANode).second) FItems.push_back(ANode);
  }

 private:
  static constexpr std::size_t cSearched = 16;
  std::vector<TVnDOMNode *> &FItems;
  // Made when the list grows past the searched ones: most lists stay short.
  std::unique_ptr<std::unordered_set<TVnDOMNode *>> FSet;
};

// The top of the tree a node stands in, for a path from the document of a node without one.
TVnDOMNode *TopOf(TVnDOMNode *ANode) {
  while (TVnDOMNode *parent = ANode->ParentNode()) ANode = parent;
  return ANode;
}

// The children of ANode but its attributes, in order, for a name step: AMatch takes those the
// step selects, AEach every one after that. The items are read where they stand (neither
// callback may change the child list), a node a few places ahead asked for while this one is
// compared.
template <class FMatch, class FEach>
void ForEachByName(TVnPathStep &AStep, TVnDOMNode *ANode, TVnXPathCollationClass ACollation,
                   bool ALocalName, FMatch AMatch, FEach AEach) {
  const TVnDOMNodeArray &array = ANode->Children();
  TVnDOMNode *const *children = array.begin();
  const TVnDOMNodeType *kinds = array.Kinds();
  const std::size_t n = array.size();
  // Attributes, and usually text and comments, are passed over by the kinds the array keeps:
  // only the nodes the step reads are touched.
  const unsigned passedKinds = AStep.PassesLeaves(ACollation, ALocalName)
                                   ? dom::cPlainLeafKinds | 1u << ntAttribute
                                   : 1u << ntAttribute;
  auto passed = [passedKinds](TVnDOMNodeType AKind) { return passedKinds >> AKind & 1u; };
  for (std::size_t i = 0; i < n; ++i) {
    if (i + 4 < n && !passed(kinds[i + 4])) __builtin_prefetch(children[i + 4]);
    if (passed(kinds[i])) continue;
    TVnDOMNode *child = children[i];
    if (AStep.NameMatches(child, ACollation, ALocalName)) AMatch(child);
    AEach(child);
  }
}

struct TWork {
  enum TWhat : Byte { wRun, wDescend, wAdd };
  TWhat What;
  TVnPathStep *Step;
  TVnDOMNode *Node;
};

// The candidates of a step on ANode, before its predicates, each given to ACandidates.Add.
template <class TSink>
void Collect(TVnPathProgram &AProgram, TVnPathStep &AStep, TVnDOMNode *ANode, TSink &ACandidates) {
  TVnXPathCollationClass collation = AProgram.Collation;
  switch (AStep.Kind) {
    case TVnPathStep::skGroup: {
      if (!AStep.Group) {
        AStep.Group = std::make_unique<TVnPathProgram>(AStep.GroupPath, AProgram.LocalName,
                                                       AProgram.Create, collation);
      }
      TFoundNodes found;
      AStep.Group->Run(ANode, *found, false, AProgram.Created);
      for (TVnDOMNode *n : *found) ACandidates.Add(n);
      return;
    }
    case TVnPathStep::skChildren: {
      const TVnDOMNodeArray &children = ANode->Children();
      const TVnDOMNodeType *kinds = children.Kinds();
      for (std::size_t i = 0, n = children.size(); i < n; ++i)
        if (kinds[i] != ntAttribute) ACandidates.Add(children[i]);
      return;
    }
    case TVnPathStep::skText:
      for (TVnDOMNode *child : ANode->Children())
        if (child->Is<TVnDOMText>()) ACandidates.Add(child);
      return;
    case TVnPathStep::skAttribute: {
      TVnDOMNode *owner = ANode;
      if (ANode->GetNodeType() == ntDocument) {
        owner = static_cast<TVnDOMDocument *>(ANode)->GetRootNode();
        if (!owner) return;
      }
      if (owner->GetNodeType() != ntElement) return;
      const bool lead = owner->AttributesLead();
      const TVnDOMNodeArray &children = owner->Children();
      const TVnDOMNodeType *kinds = children.Kinds();
      for (std::size_t i = 0, n = children.size(); i < n; ++i) {
        if (kinds[i] != ntAttribute) {
          if (lead) break;
          continue;
        }
        if (AStep.NameMatches(children[i], collation, AProgram.LocalName))
          ACandidates.Add(children[i]);
      }
      return;
    }
    case TVnPathStep::skElements: {
      if (ANode->GetNodeType() == ntDocument) {
        TVnDOMNode *root = static_cast<TVnDOMDocument *>(ANode)->GetRootNode();
        if (root && AStep.PrefixMatches(root, collation)) ACandidates.Add(root);
        return;
      }
      const TVnDOMNodeArray &children = ANode->Children();
      const TVnDOMNodeType *kinds = children.Kinds();
      for (std::size_t i = 0, n = children.size(); i < n; ++i)
        if (kinds[i] == ntElement && AStep.PrefixMatches(children[i], collation))
          ACandidates.Add(children[i]);
      return;
    }
    case TVnPathStep::skSelf:
      if (!AStep.SelectsNothing) ACandidates.Add(ANode);
      return;
    case TVnPathStep::skParent:
      if (TVnDOMNode *parent = ANode->ParentNode()) ACandidates.Add(parent);
      return;
    case TVnPathStep::skName:
      ForEachByName(
          AStep, ANode, collation, AProgram.LocalName,
          [&ACandidates](TVnDOMNode *AChild) { ACandidates.Add(AChild); }, [](TVnDOMNode *) {});
      return;
  }
}

// Whether this run with creation made the node.
bool MadeHere(const TVnPathProgram &AProgram, TVnDOMNode *ANode) {
  return AProgram.Created && AProgram.Created->Contains(ANode);
}

// Applies the predicates of the step to the candidates, each parsed on its first use.
void ApplyFilters(TVnPathProgram &AProgram, TVnPathStep &AStep, TVnDOMObjectList &ACandidates) {
  for (std::size_t f = 0; f < AStep.Filters.size() && ACandidates.Count() > 0; ++f) {
    if (!AStep.Trees[f]) {
      std::unique_ptr<TVnXPathEquation, void (*)(TVnXPathEquation *)> tree(
          New<TVnXPathEquation>(AProgram.LocalName ? soLocalName : soQualifiedName,
                                AProgram.Collation),
          [](TVnXPathEquation *E) { E->Free(); });
      dom::ParseFilter(tree.get(), AStep.Filters[f]);
      AStep.Trees[f] = std::move(tree);
    }
    dom::ApplyFilter(AStep.Trees[f].get(), ACandidates, true);
  }
}

// Whether the walk may run the step with DescendByName: the last step of the path, a name in
// descendant mode, nothing built by the run.
bool IsPlainDescent(const TVnPathProgram &AProgram, const TVnPathStep &AStep) {
  return AStep.Descendant && !AStep.Next && AStep.Kind == TVnPathStep::skName && !AProgram.Create &&
         !AStep.ErrorClass;
}

// "//name[...]" as the last step: the nodes in the order in which the general walk meets them
// (the matching children of a node, filtered, then the same below each child in turn), with
// one frame of a node pointer per node and no work items. One pass over the children of a node
// finds its candidates and the children to enter, which it pushes in order and then turns
// round, so that the first is entered first. Nodes without children are not entered: no child
// of theirs can match.
void DescendByName(TVnPathProgram &AProgram, TVnPathStep &AStep, TVnDOMNode *ANode,
                   TVnDOMObjectList &ACandidates, TFound &AFound) {
  const TVnXPathCollationClass collation = AProgram.Collation;
  const bool localName = AProgram.LocalName;
  // The stack holds every child still to enter of the nodes on the way down: a list from the
  // thread's pool, whose room stays from one walk to the next.
  dom::TPooled<std::vector<TVnDOMNode *>> pooled;
  std::vector<TVnDOMNode *> &nodes = *pooled;
  nodes.push_back(ANode);
  ACandidates.Clear();
  while (!nodes.empty()) {
    TVnDOMNode *node = nodes.back();
    nodes.pop_back();
    const std::size_t entered = nodes.size();
    ForEachByName(
        AStep, node, collation, localName,
        [&ACandidates](TVnDOMNode *AChild) { ACandidates.Add(AChild); },
        [&nodes](TVnDOMNode *AChild) {
          // A child entered will have its own children read: their array is asked for now.
          if (TVnDOMNode *const *grandChildren = AChild->Children().begin()) {
            __builtin_prefetch(grandChildren);
            nodes.push_back(AChild);
          }
        });
    std::reverse(nodes.begin() + static_cast<std::ptrdiff_t>(entered), nodes.end());
    if (ACandidates.Count() == 0) continue;
    ApplyFilters(AProgram, AStep, ACandidates);
    for (TVnDOMObject *c : ACandidates) AFound.Add(static_cast<TVnDOMNode *>(c));
    ACandidates.Clear();
  }
}

// The one step of a path that is one plain step from the context node (no brackets, no
// descendant mode, no group, no creation, no error), or null.
TVnPathStep *PlainStep(TVnPathProgram &AProgram) {
  if (AProgram.Alternatives.size() != 1 ||
      AProgram.Alternatives[0].Start != TVnPathProgram::psContext || AProgram.Create)
    return nullptr;
  TVnPathStep *step = AProgram.Alternatives[0].First.get();
  if (step && !step->Next && !step->Descendant && step->Filters.empty() && !step->ErrorClass &&
      step->Kind != TVnPathStep::skGroup)
    return step;
  return nullptr;
}

// Runs the chain that starts with AFirst from ANode.
void Walk(TVnPathProgram &AProgram, TVnPathStep *AFirst, TVnDOMNode *ANode, TFound &AFound) {
  dom::TNestingGuard guard;
  // A creating path makes an element or a few at a time, often many times over: they share the
  // thread's edit pages rather than take the heap one by one (while a load runs on the thread,
  // its pages stay in use).
  std::optional<TVnNodePages::TEditUse> pages;
  if (AProgram.Create) pages.emplace();
  dom::TWalkStack<TWork> stack;
  stack.Push({TWork::wRun, AFirst, ANode});
  dom::TPooled<TVnDOMObjectList> pooled;
  TVnDOMObjectList &candidates = *pooled;
  while (!stack.Empty()) {
    const TWork w = stack.Top();
    stack.Pop();
    if (w.What == TWork::wAdd) {
      AFound.Add(w.Node);
      continue;
    }
    TVnPathStep &step = *w.Step;
    if (w.What == TWork::wDescend) {
      // Each child pushed will have its own children read: their arrays are asked for now.
      const TVnDOMNodeArray &children = w.Node->Children();
      const TVnDOMNodeType *kinds = children.Kinds();
      for (std::size_t i = children.size(); i-- > 0;) {
        if (kinds[i] != ntAttribute && !MadeHere(AProgram, children[i])) {
          __builtin_prefetch(children[i]->Children().begin());
          stack.Push({TWork::wRun, w.Step, children[i]});
        }
      }
      continue;
    }
    if (IsPlainDescent(AProgram, step)) {
      DescendByName(AProgram, step, w.Node, candidates, AFound);
      continue;
    }
    if (step.ErrorClass) step.Raise();
    candidates.Clear();
    Collect(AProgram, step, w.Node, candidates);
    // What a group builds on this node is its answer; anything else built earlier is left out.
    if (step.Descendant && step.Kind != TVnPathStep::skGroup && AProgram.Created &&
        !AProgram.Created->Empty()) {
      TVnDOMObjectList kept;
      for (TVnDOMObject *c : candidates)
        if (!MadeHere(AProgram, static_cast<TVnDOMNode *>(c))) kept.Add(c);
      candidates.Assign(&kept);
    }
    ApplyFilters(AProgram, step, candidates);
    if (candidates.Count() == 0 && AProgram.Create && step.MayCreate &&
        w.Node->GetNodeType() == ntElement) {
      // Only an element of the library's own lineage knows how to add one.
      if (w.Node->Is<TVnDOMElement>()) {
        if (step.Descendant) throw Exception(cCreateDescendant);
        // The elements a step makes share one name record.
        TVnDOMElement *made = static_cast<TVnDOMElement *>(w.Node)->AddElement(step.MadeRecord());
        AProgram.Created->Insert(made);
        // The next step meets an element without children: when it looks only at children, it
        // finds nothing and makes its own element there, so that element is made at once, as is
        // the next one's, without a round through the work list for each.
        TVnPathStep *last = &step;
        while (last->Next && last->Next->MakesOnChildless() && made->Children().empty()) {
          last = last->Next.get();
          made = made->AddElement(last->MadeRecord());
          AProgram.Created->Insert(made);
        }
        if (last != &step) {
          if (last->Next)
            stack.Push({TWork::wRun, last->Next.get(), made});
          else
            stack.Push({TWork::wAdd, nullptr, made});
          continue;
        }
        candidates.Add(made);
      }
    }
    if (step.Descendant) stack.Push({TWork::wDescend, w.Step, w.Node});
    for (Integer i = candidates.Count(); i-- > 0;) {
      auto *node = static_cast<TVnDOMNode *>(candidates.Get(i));
      if (step.Next) {
        stack.Push({TWork::wRun, step.Next.get(), node});
      } else {
        stack.Push({TWork::wAdd, nullptr, node});
      }
    }
  }
}

}  // namespace

bool TVnPathProgram::SelectPlain(TVnDOMNode *ANode, TVnDOMNode *&AFirst, std::size_t &ACount) {
  TVnPathStep *step = PlainStep(*this);
  if (!step) return false;
  // The candidates of one step from one node are distinct: counted as they come.
  struct TCount {
    TVnDOMNode *First = nullptr;
    std::size_t Count = 0;
    void Add(TVnDOMNode *ANode) {
      if (Count++ == 0) First = ANode;
    }
  } count;
  Collect(*this, *step, ANode, count);
  AFirst = count.First;
  ACount = count.Count;
  return true;
}

void TVnPathProgram::Run(TVnDOMNode *ANode, std::vector<TVnDOMNode *> &AFound, bool AFirstOnly,
                         TVnMadeNodes *ACreated) {
  TVnMadeNodes created;
  TVnMadeNodes *const outer = Created;
  Created = Create ? (ACreated ? ACreated : &created) : nullptr;
  struct TRestore {
    TVnPathProgram *P;
    TVnMadeNodes *Outer;
    ~TRestore() { P->Created = Outer; }
  } restore{this, outer};
  TFound found(AFound);
  // A path of one plain step from the context, as a predicate's "@name" or "name" is, needs
  // neither the walk's stack nor its candidate list.
  if (TVnPathStep *step = PlainStep(*this)) {
    Collect(*this, *step, ANode, found);
    return;
  }
  for (TAlternative &a : Alternatives) {
    switch (a.Start) {
      case psSelf:
        found.Add(ANode);
        break;
      case psDocument: {
        TVnDOMNode *document = ANode->GetDOMDocument();
        Walk(*this, a.First.get(), document ? document : TopOf(ANode), found);
        break;
      }
      case psContext:
        Walk(*this, a.First.get(), ANode, found);
        break;
    }
    if (AFirstOnly && !AFound.empty()) break;
  }
}

// ---------------------------------------------------------------------------------------------
// The entry points

TVnDOMNode *TVnDOMNode::SelectSingleNode(const UnicodeString &APath, TVnDOMSelectOptions AOptions) {
  TFoundNodes found;
  Select(this, APath, AOptions, true, *found);
  if (!found->empty()) return found->front();
  if (AOptions.Contains(soRaise)) throw EVnDomNotFound(cNoNodeForPath, {APath});
  if (AOptions.Contains(soCreate)) throw EVnDomNotFound(cTooComplex, {APath});
  return nullptr;
}

namespace {

// The list of class L of every node the path selects, each checked to be a T; none raises
// ANoneMessage under soRaise.
template <class L, class T>
L *SelectList(TVnDOMNode *ANode, const UnicodeString &APath, TVnDOMSelectOptions AOptions,
              const char16_t *ANoneMessage) {
  TFoundNodes found;
  Select(ANode, APath, AOptions, false, *found);
  if (found->empty()) {
    if (AOptions.Contains(soRaise)) throw EVnDomNotFound(ANoneMessage, {APath});
    if (AOptions.Contains(soCreate)) throw EVnDomNotFound(cTooComplex, {APath});
  }
  return MakeList<L, T>(*found);
}

}  // namespace

TVnDOMNodeList *TVnDOMNode::CreateNodeList(const UnicodeString &APath,
                                           TVnDOMSelectOptions AOptions) {
  return SelectList<TVnDOMNodeList, TVnDOMNode>(this, APath, AOptions, cNoNodesForPath);
}

TVnDOMElement *TVnDOMElement::SelectSingleElement(const UnicodeString &APath,
                                                  TVnDOMSelectOptions AOptions) {
  return As<TVnDOMElement>(SelectSingleNode(APath, AOptions));
}

TVnDOMElementList *TVnDOMElement::CreateElementList(const UnicodeString &APath,
                                                    TVnDOMSelectOptions AOptions) {
  return SelectList<TVnDOMElementList, TVnDOMElement>(this, APath, AOptions, cNoElementsForPath);
}

TVnDOMElementList *TVnDOMDocument::CreateElementList(const UnicodeString &APath,
                                                     TVnDOMSelectOptions AOptions) {
  CheckSelectOptions(AOptions);
  if (TVnDOMElement *root = GetRootNode()) return root->CreateElementList(APath, AOptions);
  if (AOptions.Contains(soRaise)) throw EVnDomNotFound(cNoRootForPath, {APath});
  if (AOptions.Contains(soCreate)) throw EVnDomNotFound(cNoRootForCreate);
  return New<TVnDOMElementList>();
}

TVnDOMElement *TVnDOMDocument::SelectSingleElement(const UnicodeString &APath,
                                                   TVnDOMSelectOptions AOptions) {
  CheckSelectOptions(AOptions);
  if (APath.empty()) throw EVnDomNotFound(cEmptyNodePath);
  if (TVnDOMElement *root = GetRootNode()) return root->SelectSingleElement(APath, AOptions);
  if (AOptions.Contains(soRaise)) throw EVnDomNotFound(cNoRootForPath, {APath});
  if (AOptions.Contains(soCreate)) throw EVnDomNotFound(cNoRootForCreate);
  return nullptr;
}

}  // namespace vn
