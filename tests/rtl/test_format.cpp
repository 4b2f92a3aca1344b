#include <gtest/gtest.h>

#include <string>

#include "vnxml/rtl/SysUtils.h"
#include "vnxml/rtl/Variant.h"

using namespace vn;

namespace {

// The message Format raises for the format text AFormat, or "" when it raises nothing.
UnicodeString FormatFailure(const UnicodeString &AFormat, std::initializer_list<TVarRec> AArgs) {
  try {
    Format(AFormat, AArgs);
  } catch (EConvertError &E) {
    return E.Message;
  }
  return u"";
}

UnicodeString Expected(const UnicodeString &AFormat) {
  return u"Format '" + AFormat + u"' invalid or incompatible with argument";
}

}  // namespace

TEST(FormatIntegers, WidthPrecisionAndSign) {
  EXPECT_EQ(Format(u"[%d]", {42}), u"[42]");
  EXPECT_EQ(Format(u"[%5d]", {42}), u"[   42]");
  EXPECT_EQ(Format(u"[%-5d]", {42}), u"[42   ]");
  EXPECT_EQ(Format(u"[%.4d]", {-5}), u"[-0005]");
  EXPECT_EQ(Format(u"[%7.4d]", {-5}), u"[  -0005]");
  EXPECT_EQ(Format(u"[%2d]", {12345}), u"[12345]");
  EXPECT_EQ(Format(u"%d", {-2147483647 - 1}), u"-2147483648");
  EXPECT_EQ(Format(u"%d", {static_cast<long long>(-9000000000LL)}), u"-9000000000");
  EXPECT_EQ(Format(u"%d", {~0ULL}), u"18446744073709551615");
  EXPECT_EQ(Format(u"%D", {7}), u"7");
}

TEST(FormatIntegers, UnsignedAndHexReinterpretByWidth) {
  EXPECT_EQ(Format(u"%u", {-1}), u"4294967295");
  EXPECT_EQ(Format(u"%u", {-1LL}), u"18446744073709551615");
  EXPECT_EQ(Format(u"%.3u", {7}), u"007");
  EXPECT_EQ(Format(u"%x", {255}), u"FF");
  EXPECT_EQ(Format(u"%.4x", {255}), u"00FF");
  EXPECT_EQ(Format(u"%X", {-1}), u"FFFFFFFF");
  EXPECT_EQ(Format(u"%x", {-1LL}), u"FFFFFFFFFFFFFFFF");
  EXPECT_EQ(Format(u"%x", {0xDEADBEEFu}), u"DEADBEEF");
  EXPECT_EQ(Format(u"%6x|%-6x|", {171, 171}), u"    AB|AB    |");
}

TEST(FormatStrings, EveryStringKind) {
  const UnicodeString u = u"uni";
  const std::string a = "h\xC3\xA9llo";  // UTF-8
  EXPECT_EQ(Format(u"%s,%s,%s,%s,%s,%s", {u, a, "lit", u"wide", 'c', u'\u0436'}),
            u"uni,h\u00E9llo,lit,wide,c,\u0436");
  EXPECT_EQ(Format(u"[%s]", {static_cast<const char *>(nullptr)}), u"[]");
  EXPECT_EQ(Format(u"[%6s][%-6s]", {u"ab", u"ab"}), u"[    ab][ab    ]");
  EXPECT_EQ(Format(u"[%.2s][%.9s][%.0s]", {u"abcdef", u"abc", u"abc"}), u"[ab][abc][]");
  EXPECT_EQ(Format(u"100%% %S", {u"sure"}), u"100% sure");
}

TEST(FormatArguments, IndexAndStar) {
  EXPECT_EQ(Format(u"%1:s %0:s", {u"a", u"b"}), u"b a");
  // After an explicit index the next plain directive continues from there.
  EXPECT_EQ(Format(u"%1:s %s %0:s %s", {u"a", u"b", u"c"}), u"b c a b");
  EXPECT_EQ(Format(u"[%*d]", {5, 42}), u"[   42]");
  EXPECT_EQ(Format(u"[%-*d]", {4, 7}), u"[7   ]");
  EXPECT_EQ(Format(u"[%*.*d]", {6, 3, 7}), u"[   007]");
  EXPECT_EQ(Format(u"[%.*f]", {3, 1.5}), u"[1.500]");
  EXPECT_EQ(Format(u"%*:s", {2, u"a", u"b"}), u"b");
  EXPECT_EQ(Format(u"%1:-4d|", {0, 9}), u"9   |");
  // Extra arguments are ignored.
  EXPECT_EQ(Format(u"%d", {1, 2, 3}), u"1");
  EXPECT_EQ(Format(u"no directives", {}), u"no directives");
}

TEST(FormatFloats, FixedExponentGeneral) {
  EXPECT_EQ(Format(u"%f", {1.5}), u"1.50");
  EXPECT_EQ(Format(u"%.3f", {2.0 / 3}), u"0.667");
  EXPECT_EQ(Format(u"%.0f|%.0f", {2.5, -2.5}), u"3|-3");
  EXPECT_EQ(Format(u"%.2f", {0.1 + 0.2}), u"0.30");
  EXPECT_EQ(Format(u"[%8.2f]", {-3.14159}), u"[   -3.14]");
  EXPECT_EQ(Format(u"%e", {1.5}), u"1.50000000000000E+000");
  EXPECT_EQ(Format(u"%.3e", {12345.678}), u"1.23E+004");
  EXPECT_EQ(Format(u"%.4e", {-0.00012345}), u"-1.235E-004");
  EXPECT_EQ(Format(u"%g|%g|%g|%g", {1e20, 1.5e-10, 0.5, 100.0}), u"1E20|1.5E-10|0.5|100");
  EXPECT_EQ(Format(u"%.3g", {1234.5}), u"1.23E3");
  EXPECT_EQ(Format(u"%n", {1234567.891}), u"1,234,567.89");
  EXPECT_EQ(Format(u"%.0n|%n", {1234.5, 999.0}), u"1,235|999.00");
  EXPECT_EQ(Format(u"%m|%m|%.0m", {1234.5, -3.0, 1234.4}), u"$1,234.50|($3.00)|$1,234");
}

TEST(FormatFloats, SettingsSeparatorsAndCurrency) {
  TFormatSettings fs = TFormatSettings::Create();
  fs.DecimalSeparator = u',';
  fs.ThousandSeparator = u'.';
  fs.CurrencyString = u"\u20AC";
  fs.CurrencyFormat = 3;
  fs.NegCurrFormat = 8;
  fs.CurrencyDecimals = 1;
  EXPECT_EQ(Format(u"%.2f|%n|%g", {1.5, 1234.5, 0.25}, fs), u"1,50|1.234,50|0,25");
  EXPECT_EQ(Format(u"%m|%m|%.2m", {12.5, -12.5, 3.0}, fs), u"12,5 \u20AC|-12,5 \u20AC|3,00 \u20AC");
  // The forms without settings read the process-wide instance.
  TFormatSettings &global = FormatSettings();
  const TFormatSettings saved = global;
  global.DecimalSeparator = u',';
  EXPECT_EQ(Format(u"%.1f", {2.5}), u"2,5");
  global = saved;
  EXPECT_EQ(Format(u"%.1f", {2.5}), u"2.5");
}

TEST(FormatPointers, SixteenHexDigits) {
  int x = 0;
  const void *p = &x;
  const auto expected = IntToHex(reinterpret_cast<std::uintptr_t>(p), 16);
  EXPECT_EQ(Format(u"%p", {p}), expected);
  EXPECT_EQ(Format(u"%p", {static_cast<const void *>(nullptr)}), u"0000000000000000");
  TObject *obj = New<TObject>();
  EXPECT_EQ(Format(u"%p", {obj}), IntToHex(reinterpret_cast<std::uintptr_t>(obj), 16));
  obj->Free();
}

TEST(FormatErrors, MissingArgumentsAndMismatchedKinds) {
  // Too few arguments.
  EXPECT_EQ(FormatFailure(u"%d %d", {1}), Expected(u"%d %d"));
  EXPECT_EQ(FormatFailure(u"%s", {}), Expected(u"%s"));
  EXPECT_EQ(FormatFailure(u"%3:d", {1, 2}), Expected(u"%3:d"));
  EXPECT_EQ(FormatFailure(u"%*d", {5}), Expected(u"%*d"));
  // Kinds that do not fit the letter.
  EXPECT_EQ(FormatFailure(u"%d", {u"12"}), Expected(u"%d"));
  EXPECT_EQ(FormatFailure(u"%d", {1.0}), Expected(u"%d"));
  EXPECT_EQ(FormatFailure(u"%x", {1.0}), Expected(u"%x"));
  EXPECT_EQ(FormatFailure(u"%f", {1}), Expected(u"%f"));
  EXPECT_EQ(FormatFailure(u"%e", {1LL}), Expected(u"%e"));
  EXPECT_EQ(FormatFailure(u"%s", {1}), Expected(u"%s"));
  EXPECT_EQ(FormatFailure(u"%s", {true}), Expected(u"%s"));
  EXPECT_EQ(FormatFailure(u"%p", {1}), Expected(u"%p"));
  EXPECT_EQ(FormatFailure(u"%*d", {u"5", 1}), Expected(u"%*d"));
  // The message names the whole format text, not only the directive.
  EXPECT_EQ(FormatFailure(u"a=%d b=%s", {1, 2}), Expected(u"a=%d b=%s"));
}

TEST(FormatErrors, MalformedDirectives) {
  for (const char16_t *f : {u"%", u"abc%", u"%5", u"%1:", u"%.", u"%k", u"%-", u"%1-d", u"%5.2"})
    EXPECT_EQ(FormatFailure(f, {1}), Expected(f)) << UTF8Encode(f);
}

TEST(FormatVariants, VariantArgumentsConvertToTheDirective) {
  Variant i(42), d(2.5), s(UnicodeString(u"7")), t(UnicodeString(u"text"));
  EXPECT_EQ(Format(u"%d|%x|%.1f|%s|%s", {i, i, d, d, t}), u"42|2A|2.5|2.5|text");
  EXPECT_EQ(Format(u"%d", {s}), u"7") << "numeric text converts";
  EXPECT_THROW(Format(u"%d", {t}), EConvertError);
  EXPECT_EQ(Format(u"[%s]", {Variant::Null()}), u"[]");
}
