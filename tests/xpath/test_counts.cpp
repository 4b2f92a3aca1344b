// Every function that checks its parameter count refuses a wrong one with its own message,
// word for word, when the filter is applied to its first candidate, and leaves nothing behind.
#include "xpath_util.h"

namespace xpathtest {
namespace {

struct TCountCase {
  const char16_t *Call;
  const char *Message;
};

const TCountCase cCountCases[] = {
    {u"node-name(a, b)", "The \"fn:node-name(node)\" function may only have 1 parameter!"},
    {u"nilled(a, b)", "The \"fn:nilled(node)\" function may only have 1 parameter!"},
    {u"string(a, b)",
     "The \"fn:string(arg)\" function may contain 0 or 1 parameter, but not more!"},
    {u"data(a, b)", "The \"fn:data(arg)\" function may contain 0 or 1 parameter, but not more!"},
    {u"base-uri(a, b)",
     "The \"fn:base-uri(arg)\" function may contain 0 or 1 parameter, but not more!"},
    {u"document-uri(a, b)",
     "The \"fn:document-uri(arg)\" function may contain 0 or 1 parameter, but not more!"},
    {u"error(1, 2, 3, 4)", "The \"fn:error()\" function has a maximum of 3 parameters!"},
    {u"trace(a)", "The \"fn:trace(value, label)\" function must contain 2 parameters!"},
    {u"abs()", "The \"fn:abs(num)\" function must contain 1 parameter!"},
    {u"ceiling(1, 2)", "The \"fn:ceiling(num)\" function must contain 1 parameter!"},
    {u"floor()", "The \"fn:floor(num)\" function must contain 1 parameter!"},
    {u"round(1.5, 2)", "The \"fn:round(num)\" function must contain 1 parameter!"},
    {u"half-to-even(1.5, 2)", "The \"fn:half-to-even(num)\" function must contain 1 parameter!"},
    {u"number(a, b)",
     "The \"fn:number(arg)\" function may contain 0 or 1 parameter, but not more!"},
    {u"codepoints-to-string((65), (66))",
     "The \"fn:codepoints-to-string((int,int,...))\" function may contain 0 or 1 parameter, but "
     "not more!"},
    {u"string-to-codepoints()",
     "The \"fn:string-to-codepoints(string)\" function must contain 1 parameter!"},
    {u"compare(\"a\")",
     "The \"fn:compare(comp1, comp2, collation*)\" function must contain at least parameters!"},
    {u"compare(\"a\", \"b\", \"c\", \"d\")",
     "The \"fn:compare(comp1, comp2, collation*)\" function has a maximum of 3 paramaters!"},
    {u"codepoint-equal(\"a\")",
     "The \"fn:codepoint-equal(comp1, comp2)\" function must contain 2 parameters!"},
    {u"string-join()",
     "The \"fn:string-join((string,string,...),sep*)\" function must contain at least 1 "
     "parameter!"},
    {u"string-join(\"a\", \"b\", \"c\")",
     "The \"fn:string-join((string,string,...),sep*)\" function may not contain more than 2 "
     "parameters!"},
    {u"substring(\"a\", 1, 1, 1)",
     "The \"fn:substring(string,start,len)\" function must contain 3 or less parameters!"},
    {u"string-length(a, b)", "Too many parameters specified for \"fn:string-length(string)\"!"},
    {u"normalize-space(a, b)", "Too many parameters specified for \"fn:normalize-space(string)\"!"},
    {u"normalize-unicode(a, \"NFC\", c)",
     "Too many parameters specified for \"fn:normalize-unicode(string, normalizationForm)\"!"},
    {u"simplify()", "The \"fn:simplify(string)\" function must have a single parameter!"},
    {u"upper-case(a, b)", "The \"fn:upper-case(string)\" function must have a single parameter!"},
    {u"lower-case()", "The \"fn:lower-case(string)\" function must have a single parameter!"},
    {u"translate(a, b)",
     "The \"fn:translate(string1,string2,string3)\" function must have 3 parameters!"},
    {u"contains(a)", "The \"fn:contains(string1,string2)\" function must have 2 parameters!"},
    {u"starts-with(a, b, c)",
     "The \"fn:starts-with(string1,string2)\" function must have 2 parameters!"},
    {u"ends-with(a)", "The \"fn:ends-with(string1,string2)\" function must have 2 parameters!"},
    {u"substring-before(a)",
     "The \"fn:substring-before(string1,string2)\" function must have 2 parameters!"},
    // substring-after speaks of substring-before.
    {u"substring-after(a, b, c)",
     "The \"fn:substring-before(string1,string2)\" function must have 2 parameters!"},
    {u"matches(a)", "Invalid parameter for \"fn:matches(string,pattern,flags*)\"!"},
    {u"matches(a, b, c, d)", "Invalid parameter for \"fn:matches(string,pattern,flags*)\"!"},
    {u"replace(a, b)", "Invalid parameter for \"fn:replace(input,pattern,replacement,flags*)\"!"},
    {u"replace(a, b, c, d, e)",
     "Invalid parameter for \"fn:replace(input,pattern,replacement,flags*)\"!"},
    {u"tokenize(a, b, c, d)", "Invalid parameter for \"fn:tokenize()\"!"},
    {u"boolean()", "The \"fn:boolean(arg)\" function must have 1 parameter!"},
};

TEST(ParameterCounts, AWrongCountRaisesItsMessageAtTheFirstCandidate) {
  Doc doc = Load(u"<r><i><a>1</a><b>2</b></i><i/></r>");
  for (const TCountCase &c : cCountCases) {
    const UnicodeString path = UnicodeString(u"i[") + c.Call + u"]";
    EXPECT_EQ(MessageOf<EVnDomSyntax>([&] { Selected(doc->GetRootNode(), path); }), c.Message)
        << UTF8Encode(path);
    // Without candidates nothing is evaluated, and nothing is wrong.
    EXPECT_EQ(Selected(doc->GetRootNode(), UnicodeString(u"none[") + c.Call + u"]"), "")
        << UTF8Encode(path);
  }
}

TEST(ParameterCounts, FunctionsWithoutACountTakeAny) {
  Doc doc = Load(u"<r><i>t</i></r>");
  EXPECT_EQ(Selected(doc->GetRootNode(), u"i[text(1, 2, 3, 4)]"), "i");
  EXPECT_EQ(Selected(doc->GetRootNode(), u"i[true(1, 2, 3, 4)]"), "i");
  EXPECT_EQ(Selected(doc->GetRootNode(), u"i[false(1)=false()]"), "i");
  EXPECT_EQ(Selected(doc->GetRootNode(), u"i[concat(\"a\", \"b\", \"c\", \"d\")=\"abcd\"]"), "i");
}

}  // namespace
}  // namespace xpathtest
