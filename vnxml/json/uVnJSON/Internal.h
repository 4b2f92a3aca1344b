// What the parts of uVnJSON share and nobody else needs.
#pragma once

#include <cstdlib>
#include <cstring>
#include <new>

#include "vnxml/json/uVnJSON.h"

namespace vn {

// Length-prefixed UTF-16 text on the heap.
struct TVnJSONText {
  Cardinal Len;
  char16_t Data[1];

  // Null for the empty text.
  static TVnJSONText *Make(UnicodeStringView AText) {
    if (AText.empty()) return nullptr;
    void *p = std::malloc(offsetof(TVnJSONText, Data) + AText.size() * sizeof(char16_t));
    if (!p) throw std::bad_alloc();
    auto *t = static_cast<TVnJSONText *>(p);
    t->Len = static_cast<Cardinal>(AText.size());
    std::memcpy(t->Data, AText.data(), AText.size() * sizeof(char16_t));
    return t;
  }
  static void Dispose(TVnJSONText *AText) noexcept { std::free(AText); }
  static UnicodeStringView View(const TVnJSONText *AText) noexcept {
    return AText ? UnicodeStringView(AText->Data, AText->Len) : UnicodeStringView();
  }
};

namespace json {

// A reader for a parse: the JSON reader, or the form reader for a form-URL-encoded body.
TVnJSONReader *CreateReader(bool AFormURLEncoded);

// Appends AText escaped as VnStrToJSON escapes it.
void AppendEscaped(UnicodeString &ADest, UnicodeStringView AText);

// The walk that writes a node and what lies below it; into a stream as UTF-16, or as text.
void SaveTree(TVnJSONBase *ANode, TStream *AStream, bool AFormatted, Integer ALevel, bool AIndent);
UnicodeString SaveTreeText(TVnJSONBase *ANode, bool AFormatted);

// Writes UTF-16 text into a stream.
inline void Write(TStream *AStream, UnicodeStringView AText) {
  if (!AText.empty())
    AStream->WriteBuffer(AText.data(), static_cast<Int64>(AText.size() * sizeof(char16_t)));
}

}  // namespace json

}  // namespace vn
