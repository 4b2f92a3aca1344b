// Helpers of the tests of the real node classes: documents that free themselves, and the bytes
// a save writes.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "vnxml/rtl/Owned.h"
#include "vnxml/xml/uVnXMLDOM.h"

namespace domxml {

using namespace vn;

// Owners rather than unique_ptr: a tree that a test also hands to interfaces then dies once,
// with the last of its holders.
using Doc = vn::Owned<TVnDOMDocument>;
using Owned = vn::Owned<TObject>;

inline Doc Load(const UnicodeString &AXML) {
  return Doc(TVnDOMDocument::CreateFromXML(AXML));
}

inline Doc Empty() {
  return Doc(New<TVnDOMDocument>());
}

// The bytes of a memory stream.
inline std::string Bytes(TMemoryStream &AStream) {
  return std::string(static_cast<const char *>(AStream.Memory()),
                     static_cast<std::size_t>(AStream.GetSize()));
}

// What a node writes in a page, as bytes.
inline std::string Saved(TVnDOMNode *ANode, Word ACodePage, bool AFormatted) {
  TMemoryStream s;
  ANode->SaveToStream(&s, ACodePage, AFormatted);
  return Bytes(s);
}

inline std::string Msg(const Exception &E) {
  return E.what();
}

}  // namespace domxml
