#include <gtest/gtest.h>

#include <string>

#include "vnxml/common/uVnNetEncoding.h"

using namespace vn;

TEST(NetEncodingTest, Base64RoundTripsEveryLengthAndByte) {
  std::string all;
  for (int i = 0; i < 256; ++i) all.push_back(static_cast<char>(i));
  for (std::size_t n = 0; n <= all.size(); n += 37) {
    const std::string bytes = all.substr(0, n);
    const RawByteString text = TVnNetEncoding::Base64Ex().Encode(bytes);
    EXPECT_EQ(text.find('\n'), std::string::npos);
    EXPECT_EQ(TVnNetEncoding::Base64Ex().Decode(text), bytes) << n;
    EXPECT_EQ(TVnNetEncoding::Base64().Decode(TVnNetEncoding::Base64().Encode(bytes)), bytes);
  }
  EXPECT_EQ(TVnNetEncoding::Base64Ex().Encode(std::string("Man")), "TWFu");
  EXPECT_EQ(TVnNetEncoding::Base64Ex().Encode(std::string("Ma")), "TWE=");
  EXPECT_EQ(TVnNetEncoding::Base64Ex().Encode(std::string("M")), "TQ==");
  EXPECT_EQ(TVnNetEncoding::Base64Ex().EncodeBytesToString("hi", 2), u"aGk=");
}

TEST(NetEncodingTest, Base64WrapsLinesAndDecodingSkipsWhiteSpace) {
  const std::string bytes(100, 'x');
  const RawByteString wrapped = TVnNetEncoding::Base64().Encode(bytes);
  EXPECT_EQ(wrapped.find("\r\n"), 76u);
  EXPECT_EQ(TVnNetEncoding::Base64Ex().Decode(wrapped), bytes);
  EXPECT_EQ(TVnNetEncoding::Base64Ex().DecodeStringToBytes(u" TW Fu\n"), "Man");
}

TEST(NetEncodingTest, BadTextRaises) {
  for (const char *bad : {"TWF", "TW=u", "T!Fu", "TQ===", "TQ==TQ=="})
    EXPECT_THROW(TVnNetEncoding::Base64Ex().Decode(std::string(bad)), EConvertError) << bad;
  EXPECT_THROW(TVnNetEncoding::Base64Ex().DecodeStringToBytes(u"T\u00e9Fu"), EConvertError);
  EXPECT_THROW(TVnNetEncoding::Hex().Decode(std::string("ABC")), EConvertError);
  EXPECT_THROW(TVnNetEncoding::Hex().Decode(std::string("AG")), EConvertError);
}

TEST(NetEncodingTest, HexWritesUpperCaseAndReadsBoth) {
  EXPECT_EQ(TVnNetEncoding::Hex().Encode(std::string("\x00\xff\x1a", 3)), "00FF1A");
  EXPECT_EQ(TVnNetEncoding::Hex().Decode(std::string("00ff1A")), std::string("\x00\xff\x1a", 3));
}
