// Form bodies loaded into documents: the shapes that keys build, including the mixes that the
// form format leaves open, escapes that are not what they seem, and deep nesting.
#include <gtest/gtest.h>

#include <string>

#include "jsonform/form_util.h"

namespace {

using namespace vn;
using namespace formtest;
using namespace std::string_literals;

TEST(FormReaderTree, KeysBuildObjectsAndArrays) {
  EXPECT_EQ(Tree("a=1&b=2"), R"({"a": "1", "b": "2"})");
  EXPECT_EQ(Tree("a[]=1&a[]=2"), R"({"a": ["1", "2"]})");
  EXPECT_EQ(Tree("a[b]=1&a[c]=2"), R"({"a": {"b": "1", "c": "2"}})");
  EXPECT_EQ(Tree("a%5Bb%5D=1"), R"({"a": {"b": "1"}})");
  EXPECT_EQ(Tree("a[0][b]=1&a[1][b]=2"), R"({"a": [{"b": "1"}, {"b": "2"}]})");
  EXPECT_EQ(Tree("a[0][b]=1&a[0][c]=2"), R"({"a": [{"b": "1", "c": "2"}]})");
  EXPECT_EQ(Tree("a[x][]=1&a[y][0]=2&a[y][1][z]=3"),
            R"({"a": {"x": ["1"], "y": ["2", {"z": "3"}]}})");
  // Every value is a string, whatever it looks like.
  EXPECT_EQ(Tree("n=12&t=true&z=null&j=[1,2]"),
            R"({"n": "12", "t": "true", "z": "null", "j": "[1,2]"})");
}

TEST(FormReaderTree, MixesThatTheFormatLeavesOpen) {
  // An open container keeps its kind: in an object every part is a name, in an array every
  // part starts an element.
  EXPECT_EQ(Tree("a[b]=1&a[0]=2&a[]=3"), R"({"a": {"b": "1", "0": "2", "": "3"}})");
  EXPECT_EQ(Tree("a[]=1&a[b]=2"), R"({"a": ["1", "2"]})");
  // Indices do not place elements: each new one appends, one that repeats at the last level too.
  EXPECT_EQ(Tree("a[3]=x"), R"({"a": ["x"]})");
  EXPECT_EQ(Tree("a[1]=x&a[5]=y&a[0]=z&a[0]=w"), R"({"a": ["x", "y", "z", "w"]})");
  // A repeated name at the last level is a second member; so is a value where a container was.
  EXPECT_EQ(Tree("a=1&a=2"), R"({"a": "1", "a": "2"})");
  EXPECT_EQ(Tree("a[b][c]=1&a[b]=2"), R"({"a": {"b": {"c": "1"}, "b": "2"}})");
  EXPECT_EQ(Tree("a[0][b]=1&a[0]=2"), R"({"a": [{"b": "1"}, "2"]})");
  // A suffix without its "]" ends with its part.
  EXPECT_EQ(Tree("a[b=1&c[d[e]=2"), R"({"a": {"b": "1"}, "c": {"d": {"e": "2"}}})");
}

TEST(FormReaderTree, EscapesThatAreNotWhatTheySeem) {
  // A "%" without two hexadecimal digits stands for itself, in names and values.
  EXPECT_EQ(Tree("a%zz=%4&b=100%&c=%%41"), R"({"a%zz": "%4", "b": "100%", "c": "%A"})");
  // Bytes that are no UTF-8 character become U+FFFD; a character beyond 16 bits is a pair.
  EXPECT_EQ(Tree("a=%80&b=%C0%80&c=%F0%9F%98%80"),
            R"({"a": "\uFFFD", "b": "\uFFFD\uFFFD", "c": "\uD83D\uDE00"})");
  // The escape of a value drops the codes 1 to 7 and keeps the rest; quotes, slashes and
  // backslashes come back as they went in.
  const std::string body = "a=x%01%07y%09%00&b=%22%2F%5C";
  TPointerStream stream(body.data(), static_cast<Int64>(body.size()));
  Owned<TVnJSONDocument> doc(TVnJSONDocument::CreateFromStream(&stream, CP_UTF8, true));
  EXPECT_EQ(doc->GetMember(u"a", {jsoRaise})->GetAsString(), u"xy\t"s + u'\0');
  EXPECT_EQ(Tree(body), "{\"a\": \"xy\\t\0\", \"b\": \"\\\"\\/\\\\\"}"s);
  EXPECT_EQ(Tree("a=%C3%A9%5Cn%01"), "{\"a\": \"\u00e9\\\\n\"}");
  // A value handed over unescaped has its backslash escapes decoded by the tree.
  EXPECT_EQ(Tree("a=[%5Cn]"), R"({"a": "[\n]"})");
}

TEST(FormReaderTree, DeepNestingNeedsNoDeepStack) {
  constexpr int cDepth = 10000;
  std::string body = "a", json = "{\"a\": ";
  for (int i = 0; i < cDepth; ++i) {
    body += "[x]";
    json += "{\"x\": ";
  }
  // The second pair continues all levels of the first.
  body += "[y]=1&" + body + "[z]=2";
  json += "{\"y\": \"1\", \"z\": \"2\"}" + std::string(cDepth + 1, '}');
  EXPECT_TRUE(Tree(body) == json);
  // Arrays in arrays, and the same events as the JSON text.
  std::string arrays = "a", nested = "{\"a\": ";
  for (int i = 0; i < cDepth; ++i) {
    arrays += "[]";
    nested += "[";
  }
  arrays += "=1";
  nested += "\"1\"" + std::string(cDepth, ']') + "}";
  EXPECT_TRUE(Tree(arrays) == nested);
  EXPECT_TRUE(RunForm(arrays, TSource::Utf8).Events == Record(UTF8ToString(nested)));
}

}  // namespace
