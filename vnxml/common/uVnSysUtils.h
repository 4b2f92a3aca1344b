// The root exception class of the library, and small text helpers used with the text source.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string_view>

#include "vnxml/rtl/SysUtils.h"
#include "vnxml/rtl/Variant.h"

namespace vn {

// An exception with an integer ErrorCode whose meaning is fixed by the family that raises it.
// Both constructors are reachable through a class reference (TMetaClass::RaiseException), so
// that code holding a class reference can raise any descendant.
class EVnException : public Exception {
  VN_EXCEPTION_CLASS(EVnException, Exception)
 public:
  EVnException(const UnicodeString &AMessage, Integer AErrorCode)
      : Exception(AMessage), ErrorCode(AErrorCode) {}
  EVnException(const UnicodeString &AFormat, std::initializer_list<TVarRec> AArgs,
               Integer AErrorCode)
      : Exception(AFormat, AArgs), ErrorCode(AErrorCode) {}
  EVnException(const UnicodeString &AFormat, TVarRecs AArgs, Integer AErrorCode)
      : Exception(AFormat, AArgs), ErrorCode(AErrorCode) {}

  Integer ErrorCode = 0;
};

// A set of byte values (256 members), the character set of the skip loops. A 16-bit character
// above 255 is in no set.
class TVnCharSet {
 public:
  constexpr TVnCharSet() noexcept = default;
  constexpr TVnCharSet(std::initializer_list<unsigned char> AChars) noexcept {
    for (unsigned char c : AChars) Include(c);
  }
  // Every byte of the text.
  static constexpr TVnCharSet Of(std::string_view AChars) noexcept {
    TVnCharSet s;
    for (char c : AChars) s.Include(static_cast<unsigned char>(c));
    return s;
  }
  // The bytes from ALow to AHigh inclusive.
  static constexpr TVnCharSet Range(unsigned char ALow, unsigned char AHigh) noexcept {
    TVnCharSet s;
    for (unsigned c = ALow; c <= AHigh; ++c) s.Include(static_cast<unsigned char>(c));
    return s;
  }

  constexpr void Include(unsigned char AChar) noexcept {
    FBits[AChar >> 6] |= std::uint64_t(1) << (AChar & 63);
  }
  constexpr void Exclude(unsigned char AChar) noexcept {
    FBits[AChar >> 6] &= ~(std::uint64_t(1) << (AChar & 63));
  }
  constexpr bool Contains(unsigned AChar) const noexcept {
    return AChar < 256 && ((FBits[AChar >> 6] >> (AChar & 63)) & 1) != 0;
  }
  constexpr TVnCharSet operator+(const TVnCharSet &AOther) const noexcept {
    TVnCharSet s;
    for (int i = 0; i < 4; ++i) s.FBits[i] = FBits[i] | AOther.FBits[i];
    return s;
  }
  constexpr TVnCharSet operator-(const TVnCharSet &AOther) const noexcept {
    TVnCharSet s;
    for (int i = 0; i < 4; ++i) s.FBits[i] = FBits[i] & ~AOther.FBits[i];
    return s;
  }
  constexpr bool operator==(const TVnCharSet &) const noexcept = default;

 private:
  std::uint64_t FBits[4] = {0, 0, 0, 0};
};

// Whether the character is in the set; a character above 255 never is.
constexpr bool VnCharInSet(char AChar, const TVnCharSet &ASet) noexcept {
  return ASet.Contains(static_cast<unsigned char>(AChar));
}
constexpr bool VnCharInSet(char16_t AChar, const TVnCharSet &ASet) noexcept {
  return ASet.Contains(AChar);
}

// The first AChar in [ABegin, AEnd), or AEnd; compares eight code units at a time.
const char16_t *VnFindChar16(const char16_t *ABegin, const char16_t *AEnd, char16_t AChar) noexcept;

// Compares without regard to case (ASCII letters).
inline bool VnSameText(UnicodeStringView A, UnicodeStringView B) {
  return SameText(A, B);
}

// ---------------------------------------------------------------------------------------------
// Document hooks: the JSON unit installs them at start-up, so that code of the support layer
// and above reaches a JSON tree without depending on it. Each setter replaces the hook (null
// removes it); the calls raise ENotSupportedException while no hook is installed.

// Builds a JSON document from its text and answers it as an interface (IVnJSONDocument).
using TVnCreateJSONDocFunc = DelphiInterface<IInterface> (*)(const UnicodeString &AJSON);
// The value that a path selects in a JSON document given as an interface: the first node's
// value, or Unassigned (Empty) when the path selects nothing.
using TVnGetJSONDocValueFunc = Variant (*)(IInterface *ADocument, const UnicodeString &APath);

void SetCreateJSONDoc(TVnCreateJSONDocFunc AFunc) noexcept;
void SetGetJSONDocValue(TVnGetJSONDocValueFunc AFunc) noexcept;
DelphiInterface<IInterface> VnCreateJSONDoc(const UnicodeString &AJSON);
Variant VnGetJSONDocValue(IInterface *ADocument, const UnicodeString &APath);

// The same pair for XML documents, installed by the DOM unit: a document built from XML text
// (IVnDOMDocument), and the value of the element that a path selects in it (case and prefixes
// ignored), or Unassigned.
using TVnCreateXMLDocFunc = DelphiInterface<IInterface> (*)(const UnicodeString &AXML);
using TVnGetXMLDocValueFunc = Variant (*)(IInterface *ADocument, const UnicodeString &APath);

void SetCreateXMLDoc(TVnCreateXMLDocFunc AFunc) noexcept;
void SetGetXMLDocValue(TVnGetXMLDocValueFunc AFunc) noexcept;
DelphiInterface<IInterface> VnCreateXMLDoc(const UnicodeString &AXML);
Variant VnGetXMLDocValue(IInterface *ADocument, const UnicodeString &APath);

}  // namespace vn
