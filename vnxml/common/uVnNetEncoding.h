// Base64 and hexadecimal encodings of bytes.
#pragma once

#include <string>

#include "vnxml/rtl/SysUtils.h"

namespace vn {

// An encoding of bytes as ASCII text. Encode gives the text as bytes, EncodeBytesToString as
// UTF-16; Decode and DecodeStringToBytes go back. Decoding skips white space and raises
// EConvertError on any other character outside the alphabet, or on text cut short.
class TVnNetEncoding : public TObject {
  VN_CLASS(TVnNetEncoding, TObject)
 public:
  virtual RawByteString Encode(const void *AData, std::size_t ASize) const = 0;
  virtual RawByteString Decode(const void *AText, std::size_t ASize) const = 0;

  RawByteString Encode(const RawByteString &ABytes) const {
    return Encode(ABytes.data(), ABytes.size());
  }
  RawByteString Decode(const RawByteString &AText) const {
    return Decode(AText.data(), AText.size());
  }
  UnicodeString EncodeBytesToString(const void *AData, std::size_t ASize) const;
  RawByteString DecodeStringToBytes(UnicodeStringView AText) const;

  // Base64 with a line break (CR LF) after every 76 characters.
  static const TVnNetEncoding &Base64();
  // Base64 on one line.
  static const TVnNetEncoding &Base64Ex();
  // Two upper-case hexadecimal digits per byte; either case is read.
  static const TVnNetEncoding &Hex();
};

// Base64 text of bytes, broken into lines of ACharsPerLine characters when given.
class TVnBase64Encoding : public TVnNetEncoding {
  VN_CLASS(TVnBase64Encoding, TVnNetEncoding)
 public:
  // ACharsPerLine 0 writes one line.
  explicit TVnBase64Encoding(Integer ACharsPerLine = 0) : FCharsPerLine(ACharsPerLine) {}
  RawByteString Encode(const void *AData, std::size_t ASize) const override;
  RawByteString Decode(const void *AText, std::size_t ASize) const override;
  using TVnNetEncoding::Decode;
  using TVnNetEncoding::Encode;

 private:
  Integer FCharsPerLine;
};

// Hexadecimal text of bytes: two upper-case digits per byte; either case is read.
class TVnHexEncoding : public TVnNetEncoding {
  VN_CLASS(TVnHexEncoding, TVnNetEncoding)
 public:
  RawByteString Encode(const void *AData, std::size_t ASize) const override;
  RawByteString Decode(const void *AText, std::size_t ASize) const override;
  using TVnNetEncoding::Decode;
  using TVnNetEncoding::Encode;
};

}  // namespace vn
