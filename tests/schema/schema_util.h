// Helpers of the schema element tests: a document whose root a schema element wraps.
#pragma once

#include <gtest/gtest.h>

#include "vnxml/rtl/Owned.h"
#include "vnxml/xml/uVnXMLDOM.h"
#include "vnxml/xml/uVnXMLSchema.h"

namespace schematest {

using namespace vn;

// A document held through its interface, and a schema element on its root. The element's XML is
// what the tests compare.
struct Bound {
  DelphiInterface<IVnDOMDocument> Doc;
  Owned<TVnXMLSchemaElement> El;

  explicit Bound(const UnicodeString &AXML)
      : Doc(VnDOMIntf<IVnDOMDocument>(TVnDOMDocument::CreateFromXML(AXML))),
        El(New<TVnXMLSchemaElement>(Doc->GetRootNode())) {}

  TVnXMLSchemaElement *operator->() const { return El.get(); }
  std::string XML() const { return UTF8Encode(El->GetXML()); }
};

}  // namespace schematest
