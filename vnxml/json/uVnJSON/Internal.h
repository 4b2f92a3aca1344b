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

  // Null for the empty text. Texts made while a load runs are cut from the load's node pages.
  static TVnJSONText *Make(UnicodeStringView AText) {
    if (AText.empty()) return nullptr;
    auto *t = static_cast<TVnJSONText *>(TVnNodePages::Allocate(SizeFor(AText.size())));
    t->Len = static_cast<Cardinal>(AText.size());
    std::memcpy(t->Data, AText.data(), AText.size() * sizeof(char16_t));
    return t;
  }
  static void Dispose(TVnJSONText *AText) noexcept {
    if (AText) TVnNodePages::Release(AText, SizeFor(AText->Len));
  }
  static std::size_t SizeFor(std::size_t ALen) noexcept {
    return offsetof(TVnJSONText, Data) + ALen * sizeof(char16_t);
  }
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
void SaveTree(TVnJSONBase *ANode, TStream *AStream, bool AFormatted, Integer ALevel, bool AIndent,
              Word ACodePage = CP_UTF16);
UnicodeString SaveTreeText(TVnJSONBase *ANode, bool AFormatted);

// Encodes UTF-16 as UTF-8 into ADest (room for three bytes a unit); a unit that is half of a
// pair without its partner becomes U+FFFD. Returns the bytes written.
std::size_t ToUTF8(UnicodeStringView AText, char *ADest) noexcept;

// Writes UTF-16 text into a stream.
inline void Write(TStream *AStream, UnicodeStringView AText) {
  if (!AText.empty())
    AStream->WriteBuffer(AText.data(), static_cast<Int64>(AText.size() * sizeof(char16_t)));
}

}  // namespace json

}  // namespace vn
