// The functions that a predicate can call: the base class that reads a parameter list, the
// registry of functions by name and of collations by URI, and the exception that carries an
// XPath error code.
//
// Functions are called without prefix: a predicate says concat(...), and fn:concat(...) is an
// unknown function. Names compare case-sensitively. The registries are filled when the library
// starts, collations first; RegisterXPathFunction adds a function of the application's own. A
// name registered a second time keeps its first class: lookups take the first match in order of
// registration. Register at start-up, before any thread selects: the registries are read without
// locks.
//
// A function of one's own:
//
//   class TTwice : public TVnXPathFunction {
//     VN_CLASS(TTwice, TVnXPathFunction)
//    public:
//     using TVnXPathFunction::TVnXPathFunction;
//     Variant Value(TVnDOMObjectList *ANodeList, Integer AIndex) override {
//       if (ParamCount() != 1) throw EVnDomSyntax(u"twice() takes one parameter!");
//       const UnicodeString s = VnVarToStr(Param(0)->Value(ANodeList, AIndex));
//       return s + s;
//     }
//   };
//   RegisterXPathFunction(u"twice", VnXPathFunctionClass<TTwice>());
//   doc->SelectSingleElement(u"item[twice(@code)=\"abab\"]");
#pragma once

#include <vector>

#include "vnxml/xml/uVnXMLDOM.h"

namespace vn {

// The base of the functions of the registry. The parameters are terms, evaluated only when the
// function runs; a function checks their count in Value, so that a wrong count raises at the
// first candidate node.
class TVnXPathFunction : public TVnXPathFunctionTerm {
  VN_CLASS(TVnXPathFunction, TVnXPathFunctionTerm)
 public:
  using TVnXPathFunctionTerm::TVnXPathFunctionTerm;
  ~TVnXPathFunction() override;
  // Reads the terms of the parameter list up to the closing ")", separated by ",". A function
  // made without a parser has no parameter list and cannot be evaluated.
  void ParseParams(TVnTextParser *AFilterParser) override;

  // Whether the parameter list has been read.
  bool HasParams() const noexcept { return FHasParams; }
  Integer ParamCount() const noexcept { return static_cast<Integer>(FParams.size()); }
  // Raises EListError for a bad index or when the list has not been read.
  TVnXPathBaseTerm *Param(Integer AIndex) const;

 protected:
  // The one node that a path parameter selects from the context node: EVnXPathException
  // "XPDY0002" when it selects nothing, "XPTY0004" when it selects more than one.
  static TVnDOMNode *ResolveNodeParam(TVnXPathValueTerm *ATerm, TVnDOMObjectList *ANodeList,
                                      Integer AIndex, const UnicodeString &AFunctionName);

  std::vector<TVnXPathBaseTerm *> FParams;
  bool FHasParams = false;
};

// The class reference of a function: its class and its constructor, through which the registry
// makes a term of a class it does not know at compile time.
struct TVnXPathFunctionMeta {
  TClass FClass;
  TVnXPathFunction *(*FCreate)(TVnXPathEquation *AEquation);
};
using TVnXPathFunctionClass = const TVnXPathFunctionMeta *;

// The class reference of T, which descends from TVnXPathFunction and has the constructor
// T(TVnXPathEquation *).
template <class T>
TVnXPathFunctionClass VnXPathFunctionClass() noexcept {
  static_assert(std::is_base_of_v<TVnXPathFunction, T>);
  static const TVnXPathFunctionMeta meta{
      T::StaticClass(),
      [](TVnXPathEquation *AEquation) -> TVnXPathFunction * { return New<T>(AEquation); }};
  return &meta;
}

// An XPath error: the code ("XPDY0002", "FOER0000" ...) and the object the error is about.
class EVnXPathException : public EVnDomException {
  VN_EXCEPTION_CLASS(EVnXPathException, EVnDomException)
 public:
  EVnXPathException(const UnicodeString &AErrorCode, const UnicodeString &AMessage,
                    const UnicodeString &AErrorObject = {});
  const UnicodeString &GetErrorCode() const noexcept { return FErrorCode; }
  const UnicodeString &GetErrorObject() const noexcept { return FErrorObject; }

 private:
  UnicodeString FErrorCode;
  UnicodeString FErrorObject;
};

// Adds a function to the end of the registry. Nothing checks for a name already there.
void RegisterXPathFunction(const UnicodeString &AName, TVnXPathFunctionClass AClass);
// Makes the function registered first under AName (compared case-sensitively) and reads its
// parameters when AFilterParser is given, the parser standing just behind the "(". An unknown
// name raises EVnDomSyntax "The filter contains an unsupported function (%s)!".
TVnXPathFunction *CreateFunctionTerm(const UnicodeString &AName, TVnXPathEquation *AEquation,
                                     TVnTextParser *AFilterParser);
// The collation registered under a URI: the W3C URIs of the codepoint and the HTML ASCII
// case-insensitive collations. An unknown URI raises EVnDomSyntax "The collation "%s" is not
// supported!".
TVnXPathCollationClass FindXPathCollation(const UnicodeString &AURI);

}  // namespace vn
