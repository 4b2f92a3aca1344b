// The registries of functions and collations, the parameter list of a function, and the XPath
// error object.
//
// Each registry is a singly linked list read from its head and appended to at its tail, so that
// lookups see the entries in order of registration. The lists are filled on first use, from
// whichever thread comes first (the standard collations; the function library joins them), and
// registrations of the application append behind them. A new entry is linked in with a release
// store, so a reader that finds it sees it whole; registrations themselves are expected at
// start-up, one at a time.
#include <atomic>
#include <mutex>

#include "vnxml/xml/uVnXMLDOM/Internal.h"
#include "vnxml/xml/uVnXPath.h"

namespace vn {

namespace {

inline constexpr const char16_t *cUnsupportedFunction =
    u"The filter contains an unsupported function (%s)!";
inline constexpr const char16_t *cUnsupportedCollation = u"The collation \"%s\" is not supported!";
inline constexpr const char16_t *cNilNodeParam =
    u"The node parameter of function \"%s\" may not be nil!";
inline constexpr const char16_t *cSingleNodeParam =
    u"The node parameter of function \"%s\" must be a single node!";

template <class V>
struct TReg {
  UnicodeString Name;
  V Value;
  std::atomic<TReg *> Next{nullptr};
};

template <class V>
class TRegistry {
 public:
  ~TRegistry() {
    TReg<V> *r = FHead.load(std::memory_order_acquire);
    while (r) {
      TReg<V> *next = r->Next.load(std::memory_order_relaxed);
      delete r;
      r = next;
    }
  }
  void Add(const UnicodeString &AName, V AValue) {
    auto *r = new TReg<V>{AName, AValue, {}};
    std::lock_guard<std::mutex> lock(FWriters);
    if (FTail) {
      FTail->Next.store(r, std::memory_order_release);
    } else {
      FHead.store(r, std::memory_order_release);
    }
    FTail = r;
  }
  // The first entry of the name, compared case-sensitively.
  const TReg<V> *Find(UnicodeStringView AName) const {
    for (const TReg<V> *r = FHead.load(std::memory_order_acquire); r;
         r = r->Next.load(std::memory_order_acquire)) {
      if (r->Name == AName) return r;
    }
    return nullptr;
  }

 private:
  std::atomic<TReg<V> *> FHead{nullptr};
  TReg<V> *FTail = nullptr;
  std::mutex FWriters;
};

struct TRegistries {
  TRegistry<TVnXPathCollationClass> Collations;
  TRegistry<TVnXPathFunctionClass> Functions;

  TRegistries() {
    Collations.Add(u"http://www.w3.org/2005/xpath-functions/collation/html-ascii-case-insensitive",
                   TVnXPathCollationASCIICI::StaticClass());
    Collations.Add(u"http://www.w3.org/2005/xpath-functions/collation/codepoint",
                   TVnXPathCollationCodepoint::StaticClass());
    RegisterStandardXPathFunctions(
        [this](auto &AName, auto AClass) { Functions.Add(AName, AClass); });
  }
};

TRegistries &Registries() {
  static TRegistries r;
  return r;
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Functions

TVnXPathFunction::~TVnXPathFunction() {
  for (TVnXPathBaseTerm *t : FParams) Free(t);
}

void TVnXPathFunction::ParseParams(TVnTextParser *AFilterParser) {
  TVnTextParser *p = AFilterParser;
  for (TVnXPathBaseTerm *t : FParams) Free(t);
  FParams.clear();
  FHasParams = true;
  while (!p->Eof() && p->CurrCharW() == u' ') p->NextChar();
  if (!p->Eof() && p->CurrCharW() == u')') {
    p->NextChar();
    return;
  }
  for (;;) {
    TVnXPathBaseTerm *t = FEquation->ReadTerm(p);
    try {
      FParams.push_back(t);
    } catch (...) {
      t->Free();
      throw;
    }
    if (!p->Eof() && p->CurrCharW() == u',') p->NextChar();
    if (p->Eof() || p->CurrCharW() == u')') break;
  }
  if (!p->Eof()) p->NextChar();
}

TVnXPathBaseTerm *TVnXPathFunction::Param(Integer AIndex) const {
  if (!FHasParams || AIndex < 0 || AIndex >= ParamCount())
    throw EListError(dom::cListIndex, {AIndex});
  return FParams[static_cast<std::size_t>(AIndex)];
}

TVnDOMNode *TVnXPathFunction::ResolveNodeParam(TVnXPathValueTerm *ATerm,
                                               TVnDOMObjectList *ANodeList, Integer AIndex,
                                               const UnicodeString &AFunctionName) {
  TVnDOMNodeList *list = ATerm->Nodes(ANodeList, AIndex);
  const Integer n = list->Count();
  TVnDOMNode *node = n == 1 ? list->GetItem(0) : nullptr;
  list->Free();
  if (n == 0) throw EVnXPathException(u"XPDY0002", Format(cNilNodeParam, {AFunctionName}));
  if (n > 1) throw EVnXPathException(u"XPTY0004", Format(cSingleNodeParam, {AFunctionName}));
  return node;
}

EVnXPathException::EVnXPathException(const UnicodeString &AErrorCode, const UnicodeString &AMessage,
                                     const UnicodeString &AErrorObject)
    : EVnDomException(AMessage), FErrorCode(AErrorCode), FErrorObject(AErrorObject) {}

// ---------------------------------------------------------------------------------------------
// Registries

void RegisterXPathFunction(const UnicodeString &AName, TVnXPathFunctionClass AClass) {
  Registries().Functions.Add(AName, AClass);
}

TVnXPathFunction *CreateFunctionTerm(const UnicodeString &AName, TVnXPathEquation *AEquation,
                                     TVnTextParser *AFilterParser) {
  const auto *r = Registries().Functions.Find(AName);
  if (!r) throw EVnDomSyntax(cUnsupportedFunction, {AName});
  TVnXPathFunction *fn = r->Value->FCreate(AEquation);
  if (AFilterParser) {
    try {
      fn->ParseParams(AFilterParser);
    } catch (...) {
      fn->Free();
      throw;
    }
  }
  return fn;
}

TVnXPathCollationClass FindXPathCollation(const UnicodeString &AURI) {
  const auto *r = Registries().Collations.Find(AURI);
  if (!r) throw EVnDomSyntax(cUnsupportedCollation, {AURI});
  return r->Value;
}

}  // namespace vn
