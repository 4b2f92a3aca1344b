#include "vnxml/common/uVnNetEncoding.h"

namespace vn {

namespace {

const char cBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
const char cHex[] = "0123456789ABCDEF";

bool IsSpace(unsigned char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

[[noreturn]] void RaiseBad(const char *AKind) {
  throw EConvertError(u"The text is not valid %s", {AKind});
}

int Base64Value(unsigned char c) {
  if (c >= 'A' && c <= 'Z') return c - 'A';
  if (c >= 'a' && c <= 'z') return c - 'a' + 26;
  if (c >= '0' && c <= '9') return c - '0' + 52;
  if (c == '+') return 62;
  if (c == '/') return 63;
  return -1;
}

int HexValue(unsigned char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

}  // namespace

UnicodeString TVnNetEncoding::EncodeBytesToString(const void *AData, std::size_t ASize) const {
  RawByteString text = Encode(AData, ASize);
  return UnicodeString(text.begin(), text.end());
}

RawByteString TVnNetEncoding::DecodeStringToBytes(UnicodeStringView AText) const {
  RawByteString ascii;
  ascii.reserve(AText.size());
  for (char16_t c : AText) {
    if (c > 127) RaiseBad("encoded data");
    ascii.push_back(static_cast<char>(c));
  }
  return Decode(ascii.data(), ascii.size());
}

const TVnNetEncoding &TVnNetEncoding::Base64() {
  static const TVnBase64Encoding e(76);
  return e;
}

const TVnNetEncoding &TVnNetEncoding::Base64Ex() {
  static const TVnBase64Encoding e(0);
  return e;
}

const TVnNetEncoding &TVnNetEncoding::Hex() {
  static const TVnHexEncoding e;
  return e;
}

RawByteString TVnBase64Encoding::Encode(const void *AData, std::size_t ASize) const {
  const unsigned char *p = static_cast<const unsigned char *>(AData);
  RawByteString r;
  r.reserve((ASize + 2) / 3 * 4 + (FCharsPerLine > 0 ? ASize / 38 : 0));
  Integer line = 0;
  auto put = [&](char c) {
    if (FCharsPerLine > 0 && line == FCharsPerLine) {
      r += "\r\n";
      line = 0;
    }
    r.push_back(c);
    ++line;
  };
  std::size_t i = 0;
  for (; i + 3 <= ASize; i += 3) {
    unsigned v = (p[i] << 16) | (p[i + 1] << 8) | p[i + 2];
    put(cBase64[v >> 18]);
    put(cBase64[(v >> 12) & 63]);
    put(cBase64[(v >> 6) & 63]);
    put(cBase64[v & 63]);
  }
  if (ASize - i == 1) {
    unsigned v = p[i] << 16;
    put(cBase64[v >> 18]);
    put(cBase64[(v >> 12) & 63]);
    put('=');
    put('=');
  } else if (ASize - i == 2) {
    unsigned v = (p[i] << 16) | (p[i + 1] << 8);
    put(cBase64[v >> 18]);
    put(cBase64[(v >> 12) & 63]);
    put(cBase64[(v >> 6) & 63]);
    put('=');
  }
  return r;
}

RawByteString TVnBase64Encoding::Decode(const void *AText, std::size_t ASize) const {
  const unsigned char *p = static_cast<const unsigned char *>(AText);
  RawByteString r;
  r.reserve(ASize / 4 * 3);
  unsigned acc = 0;
  int bits = 0;
  int pad = 0;
  std::size_t quads = 0;
  for (std::size_t i = 0; i < ASize; ++i) {
    unsigned char c = p[i];
    if (IsSpace(c)) continue;
    if (c == '=') {
      ++pad;
      ++quads;
      continue;
    }
    if (pad) RaiseBad("base64");  // data after the padding
    int v = Base64Value(c);
    if (v < 0) RaiseBad("base64");
    acc = (acc << 6) | static_cast<unsigned>(v);
    bits += 6;
    ++quads;
    if (bits >= 8) {
      bits -= 8;
      r.push_back(static_cast<char>((acc >> bits) & 0xFF));
    }
  }
  if (quads % 4 != 0 || pad > 2) RaiseBad("base64");
  return r;
}

RawByteString TVnHexEncoding::Encode(const void *AData, std::size_t ASize) const {
  const unsigned char *p = static_cast<const unsigned char *>(AData);
  RawByteString r(ASize * 2, '\0');
  for (std::size_t i = 0; i < ASize; ++i) {
    r[2 * i] = cHex[p[i] >> 4];
    r[2 * i + 1] = cHex[p[i] & 15];
  }
  return r;
}

RawByteString TVnHexEncoding::Decode(const void *AText, std::size_t ASize) const {
  const unsigned char *p = static_cast<const unsigned char *>(AText);
  RawByteString r;
  r.reserve(ASize / 2);
  int high = -1;
  for (std::size_t i = 0; i < ASize; ++i) {
    if (IsSpace(p[i])) continue;
    int v = HexValue(p[i]);
    if (v < 0) RaiseBad("hexadecimal");
    if (high < 0) {
      high = v;
    } else {
      r.push_back(static_cast<char>((high << 4) | v));
      high = -1;
    }
  }
  if (high >= 0) RaiseBad("hexadecimal");
  return r;
}

}  // namespace vn
