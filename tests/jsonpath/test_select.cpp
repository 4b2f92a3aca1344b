// Path selection on the JSON tree: steps, unions, slices, recursive descent, filters, creation,
// the result array and the errors.
#include <gtest/gtest.h>

#include <string>

#include "json/tree_util.h"
#include "vnxml/common/uVnSysUtils.h"

namespace {

using namespace vn;
using jsontree::Doc;
using jsontree::Load;
using jsontree::Raised;

// JSON text without the blanks the writer puts after ":" and ",".
std::string Tight(const UnicodeString &AJSON) {
  std::string r;
  bool inString = false;
  for (char c : UTF8Encode(AJSON)) {
    if (c == '"' && (r.empty() || r.back() != '\\')) inString = !inString;
    if (c == ' ' && !inString) continue;
    r += c;
  }
  return r;
}

std::string JSON(TVnJSONBase *ANode) {
  return Tight(ANode->GetAsJSON());
}

// The nodes a path selects from ANode, each as JSON without blanks, joined by " ".
std::string Found(TVnJSONBase *ANode, const UnicodeString &APath,
                  TVnJDOCSelectOptions AOptions = {}) {
  Owned<TVnJSONArray> list(ANode->CreateNodeList(APath, AOptions));
  std::string r;
  for (Integer i = 0; i < list->Count(); ++i) {
    if (i) r += ' ';
    r += JSON(list->Item(i));
  }
  return r;
}

const char16_t *const cStore =
    u"{\"store\":{\"book\":["
    u"{\"title\":\"A\",\"price\":8.95,\"tags\":[\"x\",\"y\"]},"
    u"{\"title\":\"B\",\"price\":12,\"isbn\":\"1-2\"},"
    u"{\"title\":\"C\",\"price\":8,\"isbn\":\"3-4\",\"used\":true},"
    u"{\"title\":\"D\",\"price\":22.99,\"used\":false}],"
    u"\"bicycle\":{\"color\":\"red\",\"price\":19.95}},\"title\":\"top\"}";

TEST(JSONPathSteps, NamesIndicesAndWildcards) {
  Doc d = Load(u"{\"a\":{\"b\":1},\"arr\":[10,20,30,40,50],\"x\":1,\"y\":2,\"A\":3}");
  EXPECT_EQ(Found(d.get(), u"$.a.b"), "1");
  EXPECT_EQ(Found(d.get(), u"$"), JSON(d->GetRootValue()));
  EXPECT_EQ(Found(d.get(), u"$.a.*"), "1");
  EXPECT_EQ(Found(d.get(), u"$.arr[*]"), "10 20 30 40 50");
  EXPECT_EQ(Found(d.get(), u"$.arr.*"), "10 20 30 40 50");
  EXPECT_EQ(Found(d.get(), u"$['x','y']"), "1 2");
  EXPECT_EQ(Found(d.get(), u"$['x']['y']"), "");
  EXPECT_EQ(Found(d.get(), u"$.arr[0]"), "10");
  EXPECT_EQ(Found(d.get(), u"$.arr[-1]"), "50");
  EXPECT_EQ(Found(d.get(), u"$.arr[5]"), "");
  EXPECT_EQ(Found(d.get(), u"$.arr[-6]"), "");
  EXPECT_EQ(Found(d.get(), u"$.arr[0,2,0]"), "10 30 10");
  EXPECT_EQ(Found(d.get(), u"$.arr.1"), "20");
  // A number on an object finds nothing, even a member of that name.
  Doc n = Load(u"{\"0\":\"zero\",\"o\":{\"1\":true}}");
  EXPECT_EQ(Found(n.get(), u"$.0"), "");
  // Quoted, it is a name.
  EXPECT_EQ(Found(n.get(), u"$['0']"), "\"zero\"");
  // Steps past a simple value find nothing.
  EXPECT_EQ(Found(d.get(), u"$.a.b.c"), "");
  EXPECT_EQ(Found(d.get(), u"$.x[0]"), "");
  // Names compare with regard to case unless the option says otherwise.
  EXPECT_EQ(Found(d.get(), u"$.a"), "{\"b\":1}");
  EXPECT_EQ(Found(d.get(), u"$.X"), "");
  EXPECT_EQ(Found(d.get(), u"$.X", {jsoCaseInsensitive}), "1");
  EXPECT_EQ(Found(d.get(), u"$['a','A']", {jsoCaseInsensitive}), "{\"b\":1} 3 {\"b\":1} 3");
  // Empty names stand for every member.
  EXPECT_EQ(Found(d.get(), u"$.a['']"), "1");
  EXPECT_EQ(Found(d.get(), u"$.a."), "1");
}

TEST(JSONPathSteps, SlicesAndScriptIndices) {
  Doc d = Load(u"{\"a\":[0,1,2,3,4,5]}");
  EXPECT_EQ(Found(d.get(), u"$.a[1:3]"), "1 2");
  EXPECT_EQ(Found(d.get(), u"$.a[:2]"), "0 1");
  EXPECT_EQ(Found(d.get(), u"$.a[4:]"), "4 5");
  EXPECT_EQ(Found(d.get(), u"$.a[-2:]"), "4 5");
  EXPECT_EQ(Found(d.get(), u"$.a[::2]"), "0 2 4");
  EXPECT_EQ(Found(d.get(), u"$.a[1:5:3]"), "1 4");
  // The start is always taken when it lies inside; a negative stop ends after it.
  EXPECT_EQ(Found(d.get(), u"$.a[0:-1]"), "0");
  EXPECT_EQ(Found(d.get(), u"$.a[4:2]"), "4");
  EXPECT_EQ(Found(d.get(), u"$.a[6:]"), "");
  // Downwards only while the stop lies above the index.
  EXPECT_EQ(Found(d.get(), u"$.a[3::-1]"), "3 2 1 0");
  EXPECT_EQ(Found(d.get(), u"$.a[3:1:-1]"), "3");
  EXPECT_EQ(Found(d.get(), u"$.a[(@.length-1)]"), "5");
  EXPECT_EQ(Found(d.get(), u"$.a[(@.length-2),(1)]"), "4 1");
  EXPECT_EQ(Found(d.get(), u"$.a[(@.length)]"), "");
  // The sum wraps round in 32 bits.
  EXPECT_EQ(Found(d.get(), u"$.a[(@.length+2147483647)]"), "");
  EXPECT_EQ(Raised([&] { d->CreateNodeList(u"$.a[(x)]", {}); }),
            "EConvertError: 'x' is not a valid integer value");
  EXPECT_EQ(Raised([&] { d->CreateNodeList(u"$.a[1-2]", {}); }),
            "EConvertError: '1-2' is not a valid integer value");
  // A slice on an object selects nothing.
  Doc o = Load(u"{\"a\":{\"0:1\":1}}");
  EXPECT_EQ(Found(o.get(), u"$.a[0:1]"), "");
}

TEST(JSONPathSteps, RecursiveDescentAndAlternatives) {
  Doc d = Load(cStore);
  EXPECT_EQ(Found(d.get(), u"$..title"), "\"top\" \"A\" \"B\" \"C\" \"D\"");
  EXPECT_EQ(Found(d.get(), u"$..price"), "8.95 12 8 22.99 19.95");
  EXPECT_EQ(Found(d.get(), u"$.store..color"), "\"red\"");
  EXPECT_EQ(Found(d.get(), u"$..book[1].title"), "\"B\"");
  EXPECT_EQ(Found(d.get(), u"$..tags[-1]"), "\"y\"");
  EXPECT_EQ(Found(d.get(), u"$..[0]"),
            "{\"title\":\"A\",\"price\":8.95,\"tags\":[\"x\",\"y\"]} \"x\"");
  Doc nest = Load(u"{\"a\":{\"a\":{\"a\":1}}}");
  EXPECT_EQ(Found(nest.get(), u"$..a"), "{\"a\":{\"a\":1}} {\"a\":1} 1");
  // " | " with both spaces joins paths, duplicates kept; without them it is one broken path.
  EXPECT_EQ(Found(d.get(), u"$.title | $..bicycle.color | $.title"), "\"top\" \"red\" \"top\"");
  EXPECT_EQ(Found(d.get(), u"$.title|$.x"), "");
}

TEST(JSONPathSteps, StartingPoints) {
  Doc d = Load(u"{\"a\":{\"b\":{\"c\":1}},\"z\":2}");
  TVnJSONBase *b = d->SelectSingleNode(u"$.a.b", {});
  ASSERT_NE(b, nullptr);
  EXPECT_EQ(Found(b, u"@.c"), "1");
  EXPECT_EQ(Found(b, u"$.z"), "2");
  EXPECT_EQ(Found(d->GetRootValue(), u"$.z"), "2");
  EXPECT_EQ(Found(d.get(), u"@.z"), "2");
  // A member runs the path on its value and then stands for itself.
  TVnJSONMember *m = d->GetRootValue()->FindMember(u"z");
  EXPECT_EQ(Found(m, u"@"), "2 \"z\":2");
  // A document without a root value selects nothing; a node outside a document cannot reach one.
  Doc empty = MakeOwned<TVnJSONDocument>();
  EXPECT_EQ(Found(empty.get(), u"$.a"), "");
  Owned<TVnJSONObject> loose(New<TVnJSONObject>(nullptr));
  loose->AddMember(u"k", jdtNumber, u"5");
  EXPECT_EQ(Found(loose.get(), u"@.k"), "5");
  EXPECT_EQ(Raised([&] { loose->CreateNodeList(u"$.k", {}); }).rfind("EInvalidCast", 0), 0u);
}

TEST(JSONPathFilters, Comparisons) {
  Doc d = Load(cStore);
  auto titles = [&](const char16_t *AFilter, TVnJDOCSelectOptions AOptions = {}) {
    return Found(d.get(), UnicodeString(u"$.store.book[") + AFilter + u"].title", AOptions);
  };
  EXPECT_EQ(titles(u"?(@.price < 10)"), "\"A\" \"C\"");
  EXPECT_EQ(titles(u"?(@.price<=8)"), "\"C\"");
  EXPECT_EQ(titles(u"?(@.price > 12)"), "\"D\"");
  EXPECT_EQ(titles(u"?(@.price>=12)"), "\"B\" \"D\"");
  EXPECT_EQ(titles(u"?(@.price==12)"), "\"B\"");
  EXPECT_EQ(titles(u"?(@.price!=12)"), "\"A\" \"C\" \"D\"");
  EXPECT_EQ(titles(u"?(@.price<>12)"), "\"A\" \"C\" \"D\"");
  // Integers against floats compare as floats; both sides may be paths or constants.
  EXPECT_EQ(titles(u"?(8.0 == @.price)"), "\"C\"");
  EXPECT_EQ(titles(u"?(@.price == $.store.bicycle.price)"), "");
  EXPECT_EQ(titles(u"?(@.price < $.store.bicycle.price)"), "\"A\" \"B\" \"C\"");
  // Quoted constants make both sides strings.
  EXPECT_EQ(titles(u"?(@.title == 'B')"), "\"B\"");
  EXPECT_EQ(titles(u"?(@.title == \"C\")"), "\"C\"");
  EXPECT_EQ(titles(u"?(@.title == 'b')"), "");
  EXPECT_EQ(titles(u"?(@.title == 'b')", {jsoCaseInsensitive}), "\"B\"");
  EXPECT_EQ(titles(u"?(@.title > 'b')", {jsoCaseInsensitive}), "\"C\" \"D\"");
  EXPECT_EQ(titles(u"?(@.title >= 'C')"), "\"C\" \"D\"");
  EXPECT_EQ(titles(u"?(@.price == '12')"), "\"B\"");
  // A number never compares with a non-number, not even for inequality.
  EXPECT_EQ(titles(u"?(@.price != abc)"), "");
  EXPECT_EQ(titles(u"?(@.title != 8)"), "");
  // Unquoted text compares as a string, booleans as booleans.
  EXPECT_EQ(titles(u"?(@.title == C)"), "\"C\"");
  EXPECT_EQ(titles(u"?(@.used == true)"), "\"C\"");
  EXPECT_EQ(titles(u"?(@.used != true)"), "\"D\"");
  // A missing node makes the comparison fail whatever the operator.
  EXPECT_EQ(titles(u"?(@.isbn != 'x')"), "\"B\" \"C\"");
  // Quotes protect nothing: the "=" in the text ends the operand.
  // "'a" is compared, then "=b'" replaces the comparison as a path to test, and is none.
  EXPECT_EQ(Raised([&] { titles(u"?(@.title=='a=b')"); }),
            "EVnJSONException 13: The specified path is not a valid JSON path.");
}

TEST(JSONPathFilters, LogicAndPresence) {
  Doc d = Load(cStore);
  auto titles = [&](const char16_t *AFilter) {
    return Found(d.get(), UnicodeString(u"$.store.book[") + AFilter + u"].title");
  };
  EXPECT_EQ(titles(u"?(@.isbn)"), "\"B\" \"C\"");
  EXPECT_EQ(titles(u"?(!@.isbn)"), "\"A\" \"D\"");
  EXPECT_EQ(titles(u"?(@.isbn && @.used)"), "\"C\"");
  EXPECT_EQ(titles(u"?(@.tags || @.used)"), "\"A\" \"C\" \"D\"");
  EXPECT_EQ(titles(u"?(@.price > 10 && !@.used)"), "\"B\"");
  EXPECT_EQ(titles(u"?((@.price > 10) && (@.isbn))"), "\"B\"");
  EXPECT_EQ(titles(u"?(!(@.price > 10 || @.tags))"), "\"C\"");
  EXPECT_EQ(titles(u"?(@.tags[1])"), "\"A\"");
  // "&&" and "||" have one precedence: the rest of the chain stands behind each link, and the
  // walk then goes on along it, so "a || b && c" is false whenever c is.
  EXPECT_EQ(titles(u"?(@.tags || @.isbn && @.used)"), "\"C\"");
  EXPECT_EQ(titles(u"?(@.isbn && @.used || @.tags)"), "\"A\" \"C\"");
  // A comparison that meets nothing makes the whole filter false, inside a negation too.
  EXPECT_EQ(titles(u"?(!(@.isbn == '1-2'))"), "\"C\"");
  EXPECT_EQ(titles(u"?(@.used || @.isbn == '1-2')"), "\"B\" \"C\" \"D\"");
  // Every comparison writes the shared flag and the last one worked out stands, also where the
  // chain works a link out a second time: here "@.y==1" clears what "@.z==1" set.
  Doc xy = Load(u"[{\"x\":1,\"y\":1}]");
  EXPECT_EQ(Found(xy.get(), u"$[?(@.x && @.y==2 && @.z==1 || @.y==1)].y"), "1");
  EXPECT_EQ(Found(xy.get(), u"$[?(@.x && @.y==2 && @.y==1 || @.z==1)].y"), "");
  // Filters on an object test the members' values.
  EXPECT_EQ(Found(d.get(), u"$.store[?(@.color)].price"), "19.95");
  // Survivors join the step's other parts once; the other parts keep their duplicates.
  EXPECT_EQ(titles(u"1,?(@.isbn),1"), "\"B\" \"C\" \"B\"");
  // The filter's text is then also taken for a slice when it holds a colon.
  EXPECT_EQ(titles(u"?(@.title == 'x:y')"), "\"A\" \"B\" \"C\" \"D\"");
}

TEST(JSONPathCreate, MissingMembersAreMade) {
  Doc d = Load(u"{}");
  // The new value is null and no object, so the walk to "b" ends there with nothing found.
  EXPECT_EQ(Found(d.get(), u"$.a.b", {jsoCreate}), "");
  EXPECT_EQ(JSON(d.get()), "{\"a\":null}");
  EXPECT_EQ(d->SelectSingleNode(u"$.a", {})->GetJSONType(), jdtNull);
  // A second call finds what the first made.
  d->SelectSingleNode(u"$.a", {})->SetAsString(u"v");
  EXPECT_EQ(Found(d.get(), u"$.a", {jsoCreate}), "\"v\"");
  EXPECT_EQ(JSON(d.get()), "{\"a\":\"v\"}");
  Doc o = Load(u"{\"o\":{}}");
  EXPECT_EQ(Found(o.get(), u"$.o['n m']", {jsoCreate}), "null");
  EXPECT_EQ(Found(o.get(), u"$.o.x", {jsoCreate, jsoCaseInsensitive}), "null");
  EXPECT_EQ(Found(o.get(), u"$.o.X", {jsoCreate, jsoCaseInsensitive}), "null");
  EXPECT_EQ(JSON(o.get()), "{\"o\":{\"n m\":null,\"x\":null}}");
  // "*" and indices make nothing; an array refuses a member.
  Doc a = Load(u"{\"arr\":[{\"k\":1}]}");
  EXPECT_EQ(Found(a.get(), u"$.arr[5]", {jsoCreate}), "");
  EXPECT_EQ(Found(a.get(), u"$.arr[0].*", {jsoCreate}), "1");
  EXPECT_EQ(Raised([&] { a->CreateNodeList(u"$.arr.k", {jsoCreate}); }),
            jsontree::Refusal("TVnJSONArray", "AddMember"));
  EXPECT_EQ(Raised([&] { a->CreateNodeList(u"$.arr[?(@.k==2)]", {jsoCreate}); }),
            jsontree::Refusal("TVnJSONArray", "AddMember"));
  // A failed select keeps what it made up to then.
  Doc p = Load(u"{\"x\":{}}");
  EXPECT_EQ(Raised([&] { p->CreateNodeList(u"$.x['m',?x]", {jsoCreate}); }),
            "EVnJSONException 14: The specified path is not a valid JSON path. Character '?(' was "
            "expected, however '?x' was found.");
  EXPECT_EQ(JSON(p.get()), "{\"x\":{\"m\":null}}");
}

TEST(JSONPathResults, ArrayOwnsNothingAndSingleNodes) {
  Doc d = Load(u"{\"a\":[1,2],\"b\":{\"c\":true}}");
  TVnJSONArray *list = d->CreateNodeList(u"$.a[*] | $.b", {});
  EXPECT_EQ(list->Owner(), nullptr);
  EXPECT_EQ(list->Count(), 3);
  EXPECT_EQ(list->Item(2)->Owner()->GetName(), u"b");
  list->Free();
  EXPECT_EQ(JSON(d.get()), "{\"a\":[1,2],\"b\":{\"c\":true}}");
  {
    DelphiInterface<IVnJSONArray> intf = d->SelectIntf(u"$.b.c", {});
    ASSERT_EQ(intf->Count(), 1);
    EXPECT_TRUE(intf->GetItem(0)->GetAsBoolean());
  }
  EXPECT_EQ(d->SelectSingleNode(u"$.a[1]", false)->GetAsInteger(), 2);
  EXPECT_EQ(d->SelectSingleNode(u"$.q", false), nullptr);
  const std::string none = "EVnJSONException 11: The specified path returned no nodes!";
  EXPECT_EQ(Raised([&] { d->SelectSingleNode(u"$.q", true); }), none);
  EXPECT_EQ(Raised([&] { Owned<TVnJSONArray> l(d->CreateNodeList(u"$.q", true)); }), none);
  EXPECT_EQ(Raised([&] { d->SelectIntf(u"$.q", {jsoRaise}); }), none);
  // The value hook of the support layer selects through the same paths, without case.
  DelphiInterface<IInterface> doc = VnCreateJSONDoc(u"{\"Name\":{\"First\":\"Ann\"}}");
  EXPECT_EQ(VnVarToStr(VnGetJSONDocValue(doc.get(), u"$.name.first")), u"Ann");
  EXPECT_TRUE(VnVarIsEmpty(VnGetJSONDocValue(doc.get(), u"$.nothing")));
}

TEST(JSONPathErrors, MessagesAndCodes) {
  Doc d = Load(u"{\"a\":{\"b\":[1,2]}}");
  auto raised = [&](const char16_t *APath) {
    return Raised([&] { Owned<TVnJSONArray> l(d->CreateNodeList(APath, {})); });
  };
  const std::string invalid = "EVnJSONException 13: The specified path is not a valid JSON path.";
  EXPECT_EQ(raised(u""), invalid);
  EXPECT_EQ(raised(u"   "), invalid);
  EXPECT_EQ(raised(u"a.b"), invalid);
  EXPECT_EQ(raised(u"$.a | "), invalid);
  EXPECT_EQ(raised(u"$x"),
            "EVnJSONException 14: The specified path is not a valid JSON path. Character '. or [' "
            "was expected, however 'x' was found.");
  EXPECT_EQ(raised(u"$$.a"),
            "EVnJSONException 15: The specified path is not a valid JSON path. A character ('$') "
            "was detected on an invalid position.");
  EXPECT_EQ(raised(u"$.a['b']@"),
            "EVnJSONException 15: The specified path is not a valid JSON path. A character ('@') "
            "was detected on an invalid position.");
  // A step is only cut when the walk gets there: past a simple value nothing is checked.
  EXPECT_EQ(raised(u"$.a.b[0]x"), "no exception");
  EXPECT_EQ(raised(u"$.a.b[?(@ & 1)]"),
            "EVnJSONException 14: The specified path is not a valid JSON path. Character '&' was "
            "expected, however ' ' was found.");
  EXPECT_EQ(raised(u"$.a.b[?(@ = 1)]"),
            "EVnJSONException 14: The specified path is not a valid JSON path. Character '=' was "
            "expected, however ' ' was found.");
  EXPECT_EQ(raised(u"$.a.b[?(@))]"),
            "EVnJSONException 17: The specified script expression is too complex or not valid!");
  EXPECT_EQ(raised(u"$.a.b[?(())]"), "Exception: An invalid operation has been detected!");
  EXPECT_EQ(raised(u"$.a.b[?(x)]"), invalid);
  // Parentheses nested deeper than the limit.
  UnicodeString deep =
      u"$.a.b[?(" + UnicodeString(5000, u'(') + u"@" + UnicodeString(5000, u')') + u")]";
  EXPECT_EQ(Raised([&] { Owned<TVnJSONArray> l(d->CreateNodeList(deep, {})); }),
            "EVnJSONException 17: The specified script expression is too complex or not valid!");
  UnicodeString nots = u"$.a.b[?(" + UnicodeString(129, u'!') + u"@)]";
  EXPECT_EQ(Raised([&] { Owned<TVnJSONArray> l(d->CreateNodeList(nots, {})); }),
            "EVnJSONException 17: The specified script expression is too complex or not valid!");
}

TEST(JSONPathDepth, DeepTreesAndLongPaths) {
  // 1,000,000 nested arrays: recursive descent reaches the bottom without the thread's stack.
  const int depth = 1000000;
  std::string text(depth, '[');
  text += "{\"k\":1}";
  text.append(depth, ']');
  Doc d = MakeOwned<TVnJSONDocument>();
  d->SetAsJSON(UTF8ToString(text));
  EXPECT_EQ(Found(d.get(), u"$..k"), "1");
  // A path of 100,000 steps down a tree as deep.
  const int steps = 100000;
  std::string nested;
  for (int i = 0; i < steps; ++i) nested += "{\"a\":";
  nested += "7";
  nested.append(steps, '}');
  Doc n = MakeOwned<TVnJSONDocument>();
  n->SetAsJSON(UTF8ToString(nested));
  UnicodeString path = u"$";
  for (int i = 0; i < steps; ++i) path += u".a";
  EXPECT_EQ(Found(n.get(), path), "7");
  path += u"[0]";
  EXPECT_EQ(Found(n.get(), path), "");
}

}  // namespace
