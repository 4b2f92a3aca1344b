// Helpers of the path selection tests: a loaded document that frees itself, and the names of
// what a path selects.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "vnxml/xml/uVnXMLDOM.h"
#include "vnxml/xml/uVnXPath.h"

namespace selecttest {

using namespace vn;

struct FreeObject {
  void operator()(TObject *AObject) const { AObject->Free(); }
};
using Doc = std::unique_ptr<TVnDOMDocument, FreeObject>;
using NodeList = std::unique_ptr<TVnDOMNodeList, FreeObject>;
using ElementList = std::unique_ptr<TVnDOMElementList, FreeObject>;

inline Doc Load(const UnicodeString &AXML) {
  return Doc(TVnDOMDocument::CreateFromXML(AXML));
}

// How a node shows in the expectations: an element by its qualified name and its "id"
// attribute if it has one ("b#2"), an attribute as "@name=value", text as "'value'", the
// document as "#document".
inline std::string Describe(TVnDOMNode *ANode) {
  if (!ANode) return "nil";
  switch (ANode->GetNodeType()) {
    case ntElement: {
      auto *e = static_cast<TVnDOMElement *>(ANode);
      std::string r = UTF8Encode(e->GetQualifiedName());
      if (TVnDOMNode *id = e->GetAttributes()->Find(u"id", {soQualifiedName}))
        r += "#" + UTF8Encode(id->GetNodeValue());
      return r;
    }
    case ntAttribute:
      return "@" + UTF8Encode(ANode->GetQualifiedName()) + "=" + UTF8Encode(ANode->GetNodeValue());
    case ntText:
    case ntCDATA:
      return "'" + UTF8Encode(ANode->GetNodeValue()) + "'";
    case ntDocument:
      return "#document";
    default:
      return UTF8Encode(ANode->GetQualifiedName());
  }
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

// The message of what F raises, which must be of class E exactly; fails the test when it raises
// nothing or something else.
template <class E, class F>
std::string MessageOf(F AAction) {
  try {
    AAction();
  } catch (const Exception &e) {
    if (e.ClassType() != E::StaticClass()) {
      ADD_FAILURE() << "another exception: " << UTF8Encode(e.ClassName()) << ": "
                    << UTF8Encode(e.Message);
    }
    return UTF8Encode(e.Message);
  }
  ADD_FAILURE() << "nothing raised";
  return "";
}

}  // namespace selecttest
