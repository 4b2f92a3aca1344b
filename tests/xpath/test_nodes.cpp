// The node functions, error() and trace(), the numbers and the booleans of the function
// library, through filters on a document; the order in which the library registers itself.
#include <vector>

#include "xpath_util.h"

namespace xpathtest {
namespace {

const char16_t *cCatalog =
    u"<catalog xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" xmlns:p=\"urn:p\">"
    u"<item id=\"1\" code=\"AB\">own<name>Apple</name><price>10</price></item>"
    u"<item id=\"2\" code=\"ab\" xsi:nil=\"true\"><name>Pear</name><p:extra>x</p:extra></item>"
    u"<item id=\"3\" code=\"xy\" xsi:nil=\"TRUE\"><![CDATA[raw]]><name>Fig</name><name>Kiwi</name>"
    u"</item>"
    u"<item id=\"4\" nil=\"true\"><price>2.5</price></item>"
    u"</catalog>";

class Functions : public ::testing::Test {
 protected:
  void SetUp() override {
    FDoc = Load(cCatalog);
    FDoc->SetDocumentURI(u"file:///catalog.xml");
  }
  std::string Sel(const UnicodeString &APath, TVnDOMSelectOptions AOptions = {}) {
    return Selected(FDoc->GetRootNode(), APath, AOptions);
  }
  Variant Value(const UnicodeString &ATerm, Integer AItem = 0) {
    NodeList items(FDoc->GetRootNode()->CreateNodeList(u"item", {}));
    return Eval(items->GetItem(AItem), ATerm);
  }
  Doc FDoc;
};

TEST_F(Functions, TextIsWhetherTheNodeHasADirectTextChild) {
  EXPECT_EQ(Sel(u"item[text()]"), "item#1");
  // CDATA is not text; the parameters are ignored.
  EXPECT_EQ(Sel(u"item[not(text(name, 1))]"), "item#2 item#3 item#4");
  EXPECT_EQ(Sel(u"item/name[text()]"), "name name name name");
}

TEST_F(Functions, NodeNameIsTheContextNodesName) {
  EXPECT_EQ(Sel(u"item/*[node-name()=\"p:extra\"]", {soQualifiedName}), "p:extra");
  EXPECT_EQ(Sel(u"item/*[node-name()=\"extra\"]", {soLocalName}), "p:extra");
  // A parameter picks the node only to tell a namespace declaration: otherwise the name is
  // still the context node's.
  EXPECT_EQ(Sel(u"item[node-name(@id)=\"item\"]"), "item#1 item#2 item#3 item#4");
  EXPECT_EQ(Sel(u".[node-name(@p)=\"p\"]", {soLocalName}), "catalog");
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"item[node-name(\"name\")]"); }),
            "XPTY0004|The node parameter of function \"fn:node-name(node)\" must be a node!|");
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"item[node-name(missing)]"); }),
            "XPDY0002|The node parameter of function \"fn:node-name(node)\" may not be nil!|");
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"item[node-name(name)]"); }),
            "XPTY0004|The node parameter of function \"fn:node-name(node)\" must be a single "
            "node!|");
}

TEST_F(Functions, NilledReadsTheNilAttribute) {
  // Qualified names: xsi:nil by its namespace, its value compared under the collation.
  EXPECT_EQ(Sel(u"item[nilled()]", {soQualifiedName}), "item#2 item#3");
  EXPECT_EQ(Sel(u"item[nilled()]", {soQualifiedName, soCaseSensitive}), "item#2");
  // Local names: any attribute named nil; the last one of the name wins.
  EXPECT_EQ(Sel(u"item[nilled()]", {soLocalName}), "item#2 item#3 item#4");
  EXPECT_EQ(Sel(u"item[nilled(.)=false()]", {soQualifiedName}), "item#1 item#4");
  // A node that is no element is Null, and Null makes the predicate false.
  EXPECT_EQ(Sel(u"item/@code[not(nilled())]"), "");
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"item[nilled(1)]"); }),
            "XPTY0004|The node parameter of function \"fn:nilled(node)\" must be a node!|");
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"item[nilled(none)]"); }),
            "XPDY0002|The node parameter of function \"fn:nilled(node)\" may not be nil!|");
}

TEST_F(Functions, StringAndDataGiveText) {
  EXPECT_EQ(Sel(u"item[string(@id)=\"2\"]"), "item#2");
  EXPECT_EQ(Sel(u"item[string()=\"own\"]"), "item#1");
  EXPECT_EQ(Sel(u"item[string(10)=\"10\"]"), "item#1 item#2 item#3 item#4");
  EXPECT_EQ(Sel(u"item/price[data(.)=\"2.5\"]"), "price");
  EXPECT_EQ(Typed(Value(u"data(price)")), "UnicodeString:10");
  EXPECT_EQ(Typed(Value(u"string(1.5)")), "UnicodeString:1.5");
  // A list is a value to data(), and refused by string() as soon as the predicate is read,
  // even where it would never be evaluated.
  EXPECT_EQ(Sel(u"item[data((\"a\", \"b\"))=\"a, b\"]"), "item#1 item#2 item#3 item#4");
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"item[false() and string((\"a\"))]"); }),
            "XPTY0004|The arg parameter of function \"fn:string(arg)\" may not be a sequence!|");
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"item[string( [\"a\"])]"); }),
            "FOTY0014|The arg parameter of function \"fn:string(arg)\" may not be a map or "
            "array!|");
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"item[string(name)]"); }),
            "XPTY0004|The node parameter of function \"fn:string(arg)\" must be a single node!|");
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"item[data(name)]"); }),
            "XPTY0004|The node parameter of function \"fn:data(arg)\" must be a single node!|");
}

TEST_F(Functions, BaseAndDocumentURIs) {
  EXPECT_EQ(Sel(u"item/*[base-uri()=\"urn:p\"]"), "p:extra");
  EXPECT_EQ(Sel(u"item[base-uri(@id)=\"file:///catalog.xml\"]"), "item#1 item#2 item#3 item#4");
  EXPECT_EQ(Sel(u"item[@id=2][base-uri(p:extra)=\"urn:p\"]"), "item#2");
  EXPECT_EQ(Sel(u"item[document-uri()=\"file:///catalog.xml\"]"), "item#1 item#2 item#3 item#4");
  EXPECT_EQ(Sel(u"item[@id=2][document-uri(p:extra)=\"file:///catalog.xml\"]"), "item#2");
  // A node in no document has no document URI.
  auto *loose = New<TVnDOMElement>();
  loose->SetQualifiedName(u"loose");
  EXPECT_EQ(Typed(Eval(loose, u"document-uri()")), "UnicodeString:");
  EXPECT_EQ(Typed(Eval(loose, u"base-uri()")), "UnicodeString:");
  loose->Free();
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"item[base-uri(\"x\")]"); }),
            "XPTY0004|The arg parameter of function \"fn:base-uri(arg)\" must be a node!|");
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"item[document-uri(\"x\")]"); }),
            "XPTY0004|The arg parameter of function \"fn:document-uri(arg)\" must be a node!|");
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"item[document-uri(none)]"); }),
            "XPDY0002|The node parameter of function \"fn:document-uri(arg)\" may not be nil!|");
}

TEST_F(Functions, ErrorRaisesWhatItIsGiven) {
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"item[error()]"); }), "FOER0000|An exception was raised|");
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"item[error(\"E1\")]"); }), "E1||");
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"item[error(\"E1\", name)]"); }), "E1|Apple|");
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"item[error(\"E1\", \"bad\", @code)]"); }), "E1|bad|AB");
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"item[error(7)]"); }), "7||");
  // Null has no text for the Variant's own conversion.
  EXPECT_THROW(Sel(u"item[error(missing)]"), EConvertError);
  // Raised at the first candidate only: a step without candidates raises nothing.
  EXPECT_EQ(Sel(u"none[error()]"), "");
}

std::vector<std::string> GTrace;

void Record(const UnicodeString &ALogger, const UnicodeString &AMessage) {
  GTrace.push_back(UTF8Encode(ALogger + u": " + AMessage));
}

TEST_F(Functions, TraceLogsAndGivesNothing) {
  GTrace.clear();
  EXPECT_EQ(VnSetLogSink(Record), nullptr);
  // The result is Empty: the predicate of a trace alone, or a comparison with it, keeps nothing.
  EXPECT_EQ(Sel(u"item[trace(name, \"name\")]"), "");
  EXPECT_EQ(Sel(u"item[trace(@code, \"code\")=\"AB\"]"), "");
  EXPECT_EQ(Typed(Value(u"trace(1, 2)")), "Empty:");
  const std::vector<std::string> expected = {"XPath: name; value=Apple",
                                             "XPath: name; value=Pear",
                                             "XPath: name",  // Fig and Kiwi
                                             "XPath: name",
                                             "XPath: code; value=AB",
                                             "XPath: code; value=ab",
                                             "XPath: code; value=xy",
                                             "XPath: code",
                                             "XPath: 2; value=1"};
  EXPECT_EQ(GTrace, expected);
  // The label is evaluated first.
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"item[trace(error(\"V\"), error(\"L\"))]"); }), "L||");
  EXPECT_EQ(VnSetLogSink(nullptr), Record);
  // Without a sink nothing is written and nothing fails.
  GTrace.clear();
  EXPECT_EQ(Sel(u"item[trace(name, \"name\")]"), "");
  EXPECT_TRUE(GTrace.empty());
}

TEST_F(Functions, NumbersByKind) {
  EXPECT_EQ(Typed(Value(u"abs(5)")), "Int64:5");
  EXPECT_EQ(Typed(Value(u"abs(number(\"-2.5\"))")), "Double:2.5");
  EXPECT_EQ(Typed(Value(u"abs(true())")), "Smallint:1");
  EXPECT_EQ(Typed(Value(u"abs(false())")), "Smallint:0");
  // A node value is text, and text is no number to these functions.
  EXPECT_EQ(Typed(Value(u"abs(price)")), "Null:");
  EXPECT_EQ(Typed(Value(u"ceiling(price)")), "Null:");
  EXPECT_EQ(Typed(Value(u"round(\"2\")")), "Null:");
  EXPECT_EQ(Typed(Value(u"ceiling(2.1)")), "Integer:3");
  EXPECT_EQ(Typed(Value(u"ceiling(7)")), "Integer:7");
  EXPECT_EQ(Typed(Value(u"floor(2.9)")), "Integer:2");
  EXPECT_EQ(Typed(Value(u"floor(number(\"-2.1\"))")), "Integer:-3");
  EXPECT_EQ(Typed(Value(u"ceiling(true())")), "Integer:1");
  // Halves round to the even neighbour; round and half-to-even are one computation.
  EXPECT_EQ(Typed(Value(u"round(2.5)")), "Int64:2");
  EXPECT_EQ(Typed(Value(u"round(3.5)")), "Int64:4");
  EXPECT_EQ(Typed(Value(u"round(number(\"-2.5\"))")), "Int64:-2");
  EXPECT_EQ(Typed(Value(u"round(2.51)")), "Int64:3");
  EXPECT_EQ(Typed(Value(u"half-to-even(0.5)")), "Int64:0");
  EXPECT_EQ(Typed(Value(u"half-to-even(1.5)")), "Int64:2");
  EXPECT_EQ(Typed(Value(u"round(12345678901)")), "Int64:12345678901");
  EXPECT_EQ(Sel(u"item[floor(9.99)=9]"), "item#1 item#2 item#3 item#4");
  // A result beyond its integer size is refused rather than cut.
  EXPECT_THROW(Value(u"ceiling(3000000000)"), EInvalidOp);
  EXPECT_THROW(Value(u"round(number(\"1e300\"))"), EInvalidOp);
  EXPECT_EQ(Typed(Value(u"floor(2147483647.5)")), "Integer:2147483647");
}

TEST_F(Functions, NumberConvertsNodeValues) {
  EXPECT_EQ(Sel(u"item[number(@id)=2]"), "item#2");
  EXPECT_EQ(Sel(u"item/price[number(.)<5]"), "price");
  EXPECT_EQ(Typed(Value(u"number(@id)")), "Double:1");
  EXPECT_EQ(Typed(Value(u"number(\"7\")")), "Double:7");
  // A path must select one node; a Null value of another term stays Null; text that is no
  // number raises.
  EXPECT_EQ(XPathErrorOf([&] { Value(u"number(missing)"); }),
            "XPDY0002|The node parameter of function \"fn:number(arg)\" may not be nil!|");
  EXPECT_EQ(Typed(Value(u"number(concat(missing))")), "Null:");
  EXPECT_THROW(Value(u"number(@code)"), EConvertError);
  EXPECT_THROW(Sel(u"item[number()]"), EConvertError);
  EXPECT_EQ(Sel(u"item/price[number()=2.5]"), "price");
}

TEST_F(Functions, Booleans) {
  EXPECT_EQ(Sel(u"item[true()]"), "item#1 item#2 item#3 item#4");
  EXPECT_EQ(Sel(u"item[false()]"), "");
  EXPECT_EQ(Sel(u"item[true(\"ignored\", x)]"), "item#1 item#2 item#3 item#4");
  EXPECT_EQ(Typed(Value(u"boolean(\"\")")), "Boolean:False");
  EXPECT_EQ(Typed(Value(u"boolean(\"0\")")), "Boolean:True");
  EXPECT_EQ(Typed(Value(u"boolean(0)")), "Boolean:False");
  EXPECT_EQ(Typed(Value(u"boolean(2)")), "Boolean:True");
  EXPECT_EQ(Typed(Value(u"boolean(0.0)")), "Boolean:False");
  EXPECT_EQ(Typed(Value(u"boolean(())")), "Boolean:False");
  EXPECT_EQ(Typed(Value(u"boolean([])")), "Boolean:False");
  // A list is true when its first item is a path, whatever that path selects.
  EXPECT_EQ(Typed(Value(u"boolean((none, 1))")), "Boolean:True");
  EXPECT_EQ(Typed(Value(u"boolean((\"a\", name))")), "Boolean:False");
  EXPECT_EQ(Sel(u"item[boolean((name))=true()]"), "item#1 item#2 item#3 item#4");
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"item[boolean(name)]"); }),
            "FORG0006|An invalid parameter was passed to fn:boolean(arg)|");
  EXPECT_EQ(XPathErrorOf([&] { Sel(u"item[boolean(true())]"); }),
            "FORG0006|An invalid parameter was passed to fn:boolean(arg)|");
}

TEST_F(Functions, NotIsTheFiltersNegationOnly) {
  EXPECT_EQ(Sel(u"item[not(name)]"), "item#4");
  EXPECT_EQ(Sel(u"item[price and not(boolean(\"\"))]"), "item#1 item#4");
  // Called as a function it stands on a boolean() without parameters, and fails.
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Sel(u"item[string(not(name))]"); }),
            "The \"fn:boolean(arg)\" function must have 1 parameter!");
  EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Sel(u"item[true()=not(name)]"); }),
            "The \"fn:boolean(arg)\" function must have 1 parameter!");
}

TEST(FunctionLibrary, RegistersInItsOrderEndingWithNot) {
  std::vector<std::string> names;
  RegisterStandardXPathFunctions([&](const UnicodeString &AName, TVnXPathFunctionClass AClass) {
    names.push_back(UTF8Encode(AName) + "=" + UTF8Encode(AClass->FClass->ClassName()));
  });
  const std::vector<std::string> expected = {
      "text=TVnXPathFnText",
      "node-name=TVnXPathFnNodeName",
      "nilled=TVnXPathFnNilled",
      "string=TVnXPathFnString",
      "data=TVnXPathFnData",
      "base-uri=TVnXPathFnBaseUri",
      "document-uri=TVnXPathFnDocumentUri",
      "error=TVnXPathFnError",
      "trace=TVnXPathFnTrace",
      "abs=TVnXPathFnAbs",
      "ceiling=TVnXPathFnCeiling",
      "floor=TVnXPathFnFloor",
      "round=TVnXPathFnRound",
      "half-to-even=TVnXPathFnRoundHalfToEven",
      "number=TVnXPathFnNumber",
      "codepoints-to-string=TVnXPathFnCodepointsToString",
      "string-to-codepoints=TVnXPathFnStringToCodepoints",
      "compare=TVnXPathFnCompare",
      "codepoint-equal=TVnXPathFnCodepointEqual",
      "concat=TVnXPathFnConcat",
      "string-join=TVnXPathFnStringJoin",
      "substring=TVnXPathFnSubstring",
      "string-length=TVnXPathFnStringLength",
      "normalize-space=TVnXPathFnNormalizeSpace",
      "normalize-unicode=TVnXPathFnNormalizeUnicode",
      "simplify=TVnXPathFnSimplify",
      "upper-case=TVnXPathFnUpperCase",
      "lower-case=TVnXPathFnLowerCase",
      "translate=TVnXPathFnTranslate",
      "contains=TVnXPathFnContains",
      "starts-with=TVnXPathFnStartsWith",
      "ends-with=TVnXPathFnEndsWith",
      "substring-before=TVnXPathFnSubstringBefore",
      "substring-after=TVnXPathFnSubstringAfter",
      "matches=TVnXPathFnMatches",
      "replace=TVnXPathFnReplace",
      "tokenize=TVnXPathFnTokenize",
      "true=TVnXPathFnTrue",
      "false=TVnXPathFnFalse",
      "boolean=TVnXPathFnBoolean",
      "not=TVnXPathFnNot",
  };
  // The date, time and duration functions follow "not" (test_dates.cpp).
  ASSERT_GE(names.size(), expected.size());
  names.resize(expected.size());
  EXPECT_EQ(names, expected);
  // The registry holds the library before anything an application adds: a later registration
  // of a library name does not take effect.
  RegisterXPathFunction(u"concat", VnXPathFunctionClass<TVnXPathFnFalse>());
  Doc doc = Load(u"<r><a/></r>");
  EXPECT_EQ(Selected(doc->GetRootNode(), u"a[concat(\"x\")=\"x\"]"), "a");
}

}  // namespace
}  // namespace xpathtest
