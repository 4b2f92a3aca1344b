#include "vnxml/common/uVnSysUtils.h"

#include <cstdint>
#include <cstring>

namespace vn {

const char16_t *VnFindChar16(const char16_t *ABegin, const char16_t *AEnd,
                             char16_t AChar) noexcept {
  typedef std::uint16_t V8 __attribute__((vector_size(16)));
  const V8 needle = {AChar, AChar, AChar, AChar, AChar, AChar, AChar, AChar};
  const char16_t *p = ABegin;
  while (AEnd - p >= 8) {
    V8 v;
    std::memcpy(&v, p, 16);
    auto eq = v == needle;
    std::uint64_t lo, hi;
    std::memcpy(&lo, &eq, 8);
    std::memcpy(&hi, reinterpret_cast<const char *>(&eq) + 8, 8);
    if (lo | hi) break;
    p += 8;
  }
  // Loads through memcpy, so that the routine may also scan byte buffers that hold UTF-16.
  for (; p < AEnd; ++p) {
    char16_t c;
    std::memcpy(&c, p, 2);
    if (c == AChar) break;
  }
  return p;
}

namespace {

// Written at start-up only, read afterwards.
TVnCreateJSONDocFunc gCreateJSONDoc = nullptr;
TVnGetJSONDocValueFunc gGetJSONDocValue = nullptr;

[[noreturn]] void RaiseNoJSONHook() {
  throw ENotSupportedException(
      u"No JSON document hook is installed: the JSON unit of the library is not linked in");
}

TVnCreateXMLDocFunc gCreateXMLDoc = nullptr;
TVnGetXMLDocValueFunc gGetXMLDocValue = nullptr;

[[noreturn]] void RaiseNoXMLHook() {
  throw ENotSupportedException(
      u"No XML document hook is installed: the DOM unit of the library is not linked in");
}

}  // namespace

void SetCreateJSONDoc(TVnCreateJSONDocFunc AFunc) noexcept {
  gCreateJSONDoc = AFunc;
}

void SetGetJSONDocValue(TVnGetJSONDocValueFunc AFunc) noexcept {
  gGetJSONDocValue = AFunc;
}

DelphiInterface<IInterface> VnCreateJSONDoc(const UnicodeString &AJSON) {
  if (!gCreateJSONDoc) RaiseNoJSONHook();
  return gCreateJSONDoc(AJSON);
}

Variant VnGetJSONDocValue(IInterface *ADocument, const UnicodeString &APath) {
  if (!gGetJSONDocValue) RaiseNoJSONHook();
  return gGetJSONDocValue(ADocument, APath);
}

void SetCreateXMLDoc(TVnCreateXMLDocFunc AFunc) noexcept {
  gCreateXMLDoc = AFunc;
}

void SetGetXMLDocValue(TVnGetXMLDocValueFunc AFunc) noexcept {
  gGetXMLDocValue = AFunc;
}

DelphiInterface<IInterface> VnCreateXMLDoc(const UnicodeString &AXML) {
  if (!gCreateXMLDoc) RaiseNoXMLHook();
  return gCreateXMLDoc(AXML);
}

Variant VnGetXMLDocValue(IInterface *ADocument, const UnicodeString &APath) {
  if (!gGetXMLDocValue) RaiseNoXMLHook();
  return gGetXMLDocValue(ADocument, APath);
}

}  // namespace vn
