// The code point, comparison and string functions through filters on a document: results,
// the collation they run under, supplementary characters counted as UTF-16 code units.
#include "xpath_util.h"

namespace xpathtest {
namespace {

// U+1F600 as its surrogate pair, and "e" with a combining acute accent.
const char16_t *cTexts =
    u"<texts>"
    u"<t id=\"1\" v=\"Apple pie\">tattoo</t>"
    u"<t id=\"2\" v=\"apple\">a\xD83D\xDE00"
    u"b</t>"
    u"<t id=\"3\" v=\"  a   b  \">e\x0301</t>"
    u"<t id=\"4\"><x>1</x><x>2</x></t>"
    u"</texts>";

const char16_t *cCodepointURI = u"http://www.w3.org/2005/xpath-functions/collation/codepoint";

class Strings : public ::testing::Test {
 protected:
  void SetUp() override { FDoc = Load(cTexts); }
  std::string Sel(const UnicodeString &APath, TVnDOMSelectOptions AOptions = {}) {
    return Selected(FDoc->GetRootNode(), APath, AOptions);
  }
  // The value of a term on the text AItem (0-based), names matched by local name under the
  // code point collation.
  std::string Value(const UnicodeString &ATerm, Integer AItem = 0) {
    NodeList items(FDoc->GetRootNode()->CreateNodeList(u"t", {}));
    return Typed(Eval(items->GetItem(AItem), ATerm));
  }
  Doc FDoc;
};

TEST_F(Strings, CodepointsAreUTF16Units) {
  EXPECT_EQ(Value(u"codepoints-to-string((72, 105))"), "UnicodeString:Hi");
  EXPECT_EQ(Value(u"string-length(codepoints-to-string((55357, 56832)))"), "Integer:2");
  EXPECT_EQ(Sel(u"t[.=concat(\"a\", codepoints-to-string((55357, 56832)), \"b\")]"), "t#2");
  // Only the low 16 bits of an item count.
  EXPECT_EQ(Value(u"codepoints-to-string((65601))"), "UnicodeString:A");
  EXPECT_EQ(Value(u"codepoints-to-string((65, \"a\"))"), "Null:");
  EXPECT_EQ(Value(u"codepoints-to-string()"), "Null:");
  EXPECT_EQ(Value(u"codepoints-to-string(())"), "UnicodeString:");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Sel(u"t[codepoints-to-string(65)]"); }),
            "The \"fn:codepoints-to-string((int,int,...))\" requires a list of integers!");
  EXPECT_EQ(Value(u"string-to-codepoints(\"AB\")"), "UnicodeString:(65, 66)");
  EXPECT_EQ(Value(u"string-to-codepoints(\"\")"), "UnicodeString:()");
  EXPECT_EQ(Value(u"string-to-codepoints(.)", 1), "UnicodeString:(97, 55357, 56832, 98)");
  EXPECT_EQ(Value(u"string-to-codepoints(1)"), "Null:");
  EXPECT_EQ(Sel(u"t[string-to-codepoints(@v)=\"(97, 112, 112, 108, 101)\"]"), "t#2");
}

TEST_F(Strings, CompareUnderTheFiltersCollationOrANamedOne) {
  EXPECT_EQ(Value(u"compare(\"b\", \"a\")"), "Integer:1");
  EXPECT_EQ(Value(u"compare(\"a\", \"a\")"), "Integer:0");
  EXPECT_EQ(Sel(u"t[compare(\"a\", \"b\")<0]"), "t#1 t#2 t#3 t#4");
  // The document's collation ignores case, the code point one does not.
  EXPECT_EQ(Sel(u"t[compare(@v, \"APPLE\")=0]"), "t#2");
  EXPECT_EQ(Sel(u"t[compare(@v, \"APPLE\")=0]", {soCaseSensitive}), "");
  EXPECT_EQ(Sel(UnicodeString(u"t[compare(@v, \"APPLE\", \"") + cCodepointURI + u"\")=0]"), "");
  EXPECT_EQ(Sel(u"t[compare(@v, \"APPLE\", \"http://www.w3.org/2005/xpath-functions/collation/"
                u"html-ascii-case-insensitive\")=0]",
                {soCaseSensitive}),
            "t#2");
  // An empty (Null) side gives Null, which makes the predicate false; "" is a value.
  EXPECT_EQ(Value(u"compare(@v, \"a\")", 3), "Null:");
  EXPECT_EQ(Value(u"compare(\"\", \"a\")"), "Integer:-1");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Sel(u"t[compare(\"a\", \"b\", \"urn:none\")=0]"); }),
            "The collation \"urn:none\" is not supported!");
  EXPECT_EQ(Value(u"codepoint-equal(\"a\", \"a\")"), "Boolean:True");
  EXPECT_EQ(Value(u"codepoint-equal(\"a\", \"A\")"), "Boolean:False");
  EXPECT_EQ(Value(u"codepoint-equal(1, 1)"), "Null:");
  EXPECT_EQ(Value(u"codepoint-equal(\"1\", 1)"), "Boolean:True");
}

TEST_F(Strings, ConcatAndStringJoinAddVariants) {
  EXPECT_EQ(Sel(u"t[concat(@id, \":\", @v)=\"2:apple\"]"), "t#2");
  EXPECT_EQ(Value(u"concat()"), "UnicodeString:");
  EXPECT_EQ(Value(u"concat(\"a\", @none)"), "Null:");
  EXPECT_THROW(Value(u"concat(\"a\", 1)"), EConvertError);
  EXPECT_EQ(Value(u"string-join((\"a\", \"b\"), \"-\")"), "UnicodeString:a-b");
  EXPECT_EQ(Value(u"string-join((\"a\", \"b\"))"), "UnicodeString:ab");
  EXPECT_EQ(Value(u"string-join((\"a\", @v), \"--\")"), "UnicodeString:a--Apple pie");
  EXPECT_EQ(Value(u"string-join((), \"-\")"), "UnicodeString:");
  EXPECT_THROW(Value(u"string-join((1, 2), \"-\")"), EConvertError);
  // Anything but a sequence is the list of its characters.
  EXPECT_EQ(Value(u"string-join(\"abc\", \"-\")"), "UnicodeString:a-b-c");
  EXPECT_EQ(Value(u"string-join([\"ab\"], \"+\")"), "UnicodeString:a+b");
  EXPECT_EQ(Sel(u"t[string-join(x, \",\")=\"1,2\"]"), "");  // two x: an array, no text
}

TEST_F(Strings, SubstringCopiesCodeUnits) {
  EXPECT_EQ(Value(u"substring(\"abc\", 0, 2)"), "UnicodeString:ab");
  EXPECT_EQ(Value(u"substring(\"abc\", 2)"), "UnicodeString:bc");
  EXPECT_EQ(Value(u"substring(\"abc\", 2, 0)"), "UnicodeString:");
  EXPECT_EQ(Value(u"substring(\"abc\", 9)"), "UnicodeString:");
  EXPECT_EQ(Value(u"substring(\"abc\", 2, 99999999999)"), "UnicodeString:bc");
  EXPECT_EQ(Value(u"substring(\"abc\")"), "UnicodeString:");
  EXPECT_EQ(Value(u"substring()"), "UnicodeString:");
  // No rounding and no coercion: a float or text where an integer belongs gives Null.
  EXPECT_EQ(Value(u"substring(\"abc\", 1.5)"), "Null:");
  EXPECT_EQ(Value(u"substring(\"abc\", 1, \"2\")"), "Null:");
  EXPECT_EQ(Value(u"substring(1, 1)"), "Null:");
  EXPECT_EQ(Sel(u"t[substring(@v, 1, 5)=\"apple\"]", {soCaseSensitive}), "t#2");
  // The character beyond 16 bits is two units: the second one alone, then the rest.
  EXPECT_EQ(Value(u"string-to-codepoints(substring(., 3))", 1), "UnicodeString:(56832, 98)");
  EXPECT_EQ(Value(u"substring(., 4)", 1), "UnicodeString:b");
  // The count is checked after the first three were evaluated; the fourth is never evaluated.
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"t[substring(\"a\", error(\"E\"), 1, 1)]"); }), "E||");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Sel(u"t[substring(\"a\", 1, 1, error(\"E\"))]"); }),
            "The \"fn:substring(string,start,len)\" function must contain 3 or less parameters!");
  EXPECT_EQ(Value(u"substring(\"a\", 1.5, 1, error(\"E\"))"), "Null:");
}

TEST_F(Strings, LengthAndSpaces) {
  EXPECT_EQ(Sel(u"t[string-length()=6]"), "t#1");
  EXPECT_EQ(Value(u"string-length()", 1), "Integer:4");  // a, the pair, b
  EXPECT_EQ(Value(u"string-length(@v)"), "Integer:9");
  EXPECT_EQ(Value(u"string-length(@none)"), "Integer:0");
  EXPECT_EQ(Value(u"string-length(x)", 3), "Integer:0");  // two nodes have no text
  // normalize-space splits at spaces only: a tab stays inside its word.
  EXPECT_EQ(Value(u"normalize-space(@v)", 2), "UnicodeString:a b");
  EXPECT_EQ(Value(u"normalize-space(\"  a \tb\n  c \")"), "UnicodeString:a \tb\n c");
  EXPECT_EQ(Value(u"normalize-space()"), "UnicodeString:tattoo");
  // simplify collapses all white space and trims; only strings count.
  EXPECT_EQ(Value(u"simplify(@v)", 2), "UnicodeString:a b");
  EXPECT_EQ(Value(u"simplify(\" \t a \tb\r\n  c \")"), "UnicodeString:a b c");
  EXPECT_EQ(Value(u"simplify(\"\")"), "UnicodeString:");
  EXPECT_EQ(Value(u"simplify(1)"), "Null:");
  EXPECT_EQ(Sel(u"t[simplify(@v)=\"a b\"]"), "t#3");
}

TEST_F(Strings, NormalizeUnicodeForms) {
  EXPECT_EQ(Value(u"string-length(normalize-unicode())", 2), "Integer:1");
  EXPECT_EQ(Value(u"string-length(normalize-unicode(.))", 2), "Integer:1");
  EXPECT_EQ(Value(u"string-length(normalize-unicode(normalize-unicode(.), \"NFD\"))", 2),
            "Integer:2");
  EXPECT_EQ(Value(u"string-length(normalize-unicode(., \"\"))", 2), "Integer:2");
  EXPECT_EQ(Value(u"normalize-unicode(\"\xFB01\", \"NFKC\")"), "UnicodeString:fi");
  EXPECT_EQ(Value(u"normalize-unicode(\"\xFB01\", \"NFC\")"), "UnicodeString:\xEF\xAC\x81");
  EXPECT_EQ(Value(u"string-to-codepoints(normalize-unicode(\"\xE9\", \"NFKD\"))"),
            "UnicodeString:(101, 769)");
  EXPECT_EQ(Sel(u"t[normalize-unicode()=\"\xE9\"]", {soCaseSensitive}), "t#3");
  // Form names are case-sensitive.
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Sel(u"t[normalize-unicode(., \"nfc\")]"); }),
            "An unsupported normalizationForm was specified for \"fn:normalize-unicode(string, "
            "normalizationForm)\"!");
}

TEST_F(Strings, CaseAndTranslate) {
  // Only ASCII letters change case.
  EXPECT_EQ(Value(u"upper-case(\"ab\xE9z\")"), "UnicodeString:AB\xC3\xA9Z");
  EXPECT_EQ(Value(u"lower-case(\"AB\xC9Z\")"), "UnicodeString:ab\xC3\x89z");
  EXPECT_EQ(Value(u"upper-case(1)"), "Null:");
  EXPECT_EQ(Value(u"lower-case(@none)"), "Null:");
  EXPECT_EQ(Sel(u"t[upper-case(@v)=\"APPLE\"]", {soCaseSensitive}), "t#2");
  // translate replaces the whole of its second string by the whole of its third.
  EXPECT_EQ(Value(u"translate(\"abcabc\", \"ab\", \"x\")"), "UnicodeString:xcxc");
  EXPECT_EQ(Value(u"translate(\"abc\", \"\", \"x\")"), "UnicodeString:abc");
  EXPECT_EQ(Value(u"translate(\"aBc\", \"b\", \"x\")", 0), "UnicodeString:aBc");
  EXPECT_EQ(Value(u"string-to-codepoints(translate(., codepoints-to-string((55357, 56832)), "
                  u"\"-\"))",
                  1),
            "UnicodeString:(97, 45, 98)");
}

TEST_F(Strings, SearchesUnderTheCollation) {
  // The document's collation lower-cases both sides of contains and starts-with.
  EXPECT_EQ(Sel(u"t[contains(@v, \"PIE\")]"), "t#1");
  EXPECT_EQ(Sel(u"t[contains(@v, \"PIE\")]", {soCaseSensitive}), "");
  EXPECT_EQ(Sel(u"t[starts-with(@v, \"APP\")]"), "t#1 t#2");
  EXPECT_EQ(Sel(u"t[starts-with(@v, \"pp\")]"), "");
  // A missing attribute has the text "": false, not Null, so its negation holds.
  EXPECT_EQ(Sel(u"t[not(contains(@none, \"x\"))]"), "t#1 t#2 t#3 t#4");
  EXPECT_EQ(Value(u"contains(\"abc\", \"\")"), "Boolean:False");
  // ends-with compares case-sensitively under any collation.
  EXPECT_EQ(Sel(u"t[ends-with(@v, \"PIE\")]"), "");
  EXPECT_EQ(Sel(u"t[ends-with(@v, \"pie\")]"), "t#1");
  EXPECT_EQ(Value(u"ends-with(\"abc\", \"\")"), "Boolean:True");
  EXPECT_EQ(Value(u"ends-with(\"c\", \"abc\")"), "Boolean:False");
  EXPECT_EQ(Value(u"substring-before(., \"too\")"), "UnicodeString:tat");
  EXPECT_EQ(Value(u"substring-before(., \"x\")"), "UnicodeString:");
  // substring-after starts one character into the occurrence, and without one it is all.
  EXPECT_EQ(Value(u"substring-after(., \"tat\")"), "UnicodeString:attoo");
  EXPECT_EQ(Value(u"substring-after(\"abc\", \"x\")"), "UnicodeString:abc");
  EXPECT_EQ(Sel(u"t[substring-after(@v, \"P\")=\"ple\"]"), "t#2");
  EXPECT_EQ(Sel(u"t[substring-after(@v, \"P\")=\"ple\"]", {soCaseSensitive}), "");
  EXPECT_EQ(Sel(u"t[substring-after(@v, \"P\")=\"apple\"]", {soCaseSensitive}), "t#2");
}

}  // namespace
}  // namespace xpathtest
