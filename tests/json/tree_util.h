// Helpers of the document tree tests: documents held by an owner, the bytes of a stream, and
// the class, code and message of the library exception that an action raises.
#pragma once

#include <unistd.h>

#include <gtest/gtest.h>

#include <cstdio>
#include <functional>
#include <string>

#include "vnxml/json/uVnJSON.h"
#include "vnxml/rtl/Owned.h"

namespace jsontree {

using namespace vn;

using Doc = vn::Owned<TVnJSONDocument>;

inline Doc Load(const UnicodeString &AJSON) {
  Doc d = MakeOwned<TVnJSONDocument>();
  d->SetAsJSON(AJSON);
  return d;
}

// Load, or with AUTF8 the same text loaded from its UTF-8 bytes (the reader's other way of
// handing text over).
inline Doc Load(const UnicodeString &AJSON, bool AUTF8) {
  if (!AUTF8) return Load(AJSON);
  Doc d = MakeOwned<TVnJSONDocument>();
  d->SetAsJSON(std::string_view(UTF8Encode(AJSON)));
  return d;
}

// The bytes of a memory stream.
inline std::string Bytes(TMemoryStream &AStream) {
  return std::string(static_cast<const char *>(AStream.Memory()),
                     static_cast<std::size_t>(AStream.GetSize()));
}

// UTF-16 text as the bytes of UTF-16 LE.
inline std::string UTF16LE(const UnicodeString &AText) {
  std::string r;
  for (char16_t c : AText) {
    r += static_cast<char>(c & 0xFF);
    r += static_cast<char>(c >> 8);
  }
  return r;
}

// What an action raises: "<class> <code>: <message>" for an EVnException, "<class>: <message>"
// for any other exception of the library, "no exception" otherwise.
inline std::string Raised(const std::function<void()> &AAction) {
  try {
    AAction();
  } catch (EVnException &e) {
    return UTF8Encode(e.ClassName()) + " " + std::to_string(e.ErrorCode) + ": " + e.what();
  } catch (Exception &e) {
    return UTF8Encode(e.ClassName()) + ": " + e.what();
  }
  return "no exception";
}

// The refusal of an operation, as Raised gives it.
inline std::string Refusal(const std::string &AClass, const std::string &AWord) {
  return "EVnJSONException 9: Instances of " + AClass + " do not support the " + AWord + " method!";
}

// A file name below the test's temporary folder.
// A file name in the temporary folder that no other test process uses at the same time.
inline UnicodeString TempFile(const std::string &AName) {
  return UTF8ToString(::testing::TempDir() + std::to_string(::getpid()) + "_" + AName);
}

inline void RemoveFile(const UnicodeString &AName) {
  std::remove(UTF8Encode(AName).c_str());
}

}  // namespace jsontree
