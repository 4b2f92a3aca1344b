// Helpers of the function library tests, beside those of the selection tests: what a path
// selects, XPath errors, and the value of one call on a node.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "select/select_util.h"
#include "vnxml/common/uVnLogger.h"
#include "vnxml/xml/uVnXMLDOM.h"
#include "vnxml/xml/uVnXPath.h"

namespace xpathtest {

using namespace vn;
// The loaded documents and the exception checks of the selection tests.
using selecttest::Doc;
using selecttest::FreeObject;
using selecttest::Load;
using selecttest::MessageOf;
using selecttest::NodeList;

// How a node shows in the expectations: an element by its qualified name and its "id"
// attribute if it has one ("item#2"), an attribute as "@name=value".
inline std::string Describe(TVnDOMNode *ANode) {
  if (ANode->GetNodeType() == ntAttribute)
    return "@" + UTF8Encode(ANode->GetQualifiedName()) + "=" + UTF8Encode(ANode->GetNodeValue());
  std::string r = UTF8Encode(ANode->GetQualifiedName());
  if (auto *e = dynamic_cast<TVnDOMElement *>(ANode)) {
    if (TVnDOMNode *id = e->GetAttributes()->Find(u"id", {soQualifiedName}))
      r += "#" + UTF8Encode(id->GetNodeValue());
  }
  return r;
}

// The nodes a path selects from ANode, described and joined by blanks.
inline std::string Selected(TVnDOMNode *ANode, const UnicodeString &APath,
                            TVnDOMSelectOptions AOptions = {}) {
  NodeList list(ANode->CreateNodeList(APath, AOptions));
  std::string r;
  for (Integer i = 0; i < list->Count(); ++i) {
    if (i) r += " ";
    r += Describe(list->GetItem(i));
  }
  return r;
}

// The XPath error F raises, as "code|message|object".
template <class F>
std::string XPathErrorOf(F AAction) {
  try {
    AAction();
  } catch (const EVnXPathException &e) {
    return UTF8Encode(e.GetErrorCode() + u"|" + e.Message + u"|" + e.GetErrorObject());
  } catch (const Exception &e) {
    ADD_FAILURE() << "another exception: " << UTF8Encode(e.ClassName()) << ": "
                  << UTF8Encode(e.Message);
    return "";
  }
  ADD_FAILURE() << "nothing raised";
  return "";
}

// The value of one term, such as concat("a", name), with ANode as the only candidate, names
// matched by local name under the code point collation unless told otherwise.
inline Variant Eval(TVnDOMNode *ANode, const UnicodeString &ATerm,
                    TVnXPathCollationClass ACollation = TVnXPathCollationCodepoint::StaticClass(),
                    TVnDOMSelectMatchOption AMatch = soLocalName) {
  std::unique_ptr<TVnXPathEquation, FreeObject> equation(New<TVnXPathEquation>(AMatch, ACollation));
  std::unique_ptr<TVnTextParser, FreeObject> parser(
      New<TVnTextParser>(ATerm.data(), static_cast<UInt64>(ATerm.size()) * 2, CP_UTF16));
  equation->SetValue(equation->ReadTerm(parser.get()));
  TVnDOMObjectList candidates;
  candidates.Add(ANode);
  return equation->GetTerm()->Value(&candidates, 0);
}

// A Variant as "Type:text", for expectations on the kind of a result: "Int64:2", "Null:".
inline std::string Typed(const Variant &AValue) {
  return UTF8Encode(VarTypeAsText(VarType(AValue)) + u":" + VnVarToStr(AValue));
}

}  // namespace xpathtest
