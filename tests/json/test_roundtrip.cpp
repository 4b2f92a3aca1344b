// Real documents through files: load, save, load what was saved and save again; the second
// save must repeat the first byte for byte, in both layouts.
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "tree_util.h"

namespace jsontree {
namespace {

namespace fs = std::filesystem;

std::vector<fs::path> JSONFiles(const fs::path &ADir) {
  std::vector<fs::path> r;
  std::error_code ec;
  for (const auto &e : fs::directory_iterator(ADir, ec))
    if (e.is_regular_file() && e.path().extension() == ".json") r.push_back(e.path());
  std::sort(r.begin(), r.end());
  return r;
}

std::string ReadBytes(const fs::path &APath) {
  std::ifstream in(APath, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void WriteBytes(const fs::path &APath, const std::string &ABytes) {
  std::ofstream out(APath, std::ios::binary | std::ios::trunc);
  out.write(ABytes.data(), static_cast<std::streamsize>(ABytes.size()));
}

UnicodeString Name(const fs::path &APath) {
  return UTF8ToString(APath.string());
}

// Saves ADoc, loads the file into a new document and saves that: both files must be equal.
// Answers the document read back.
Doc SaveTwice(TVnJSONDocument *ADoc, bool AFormatted, const fs::path &ADir) {
  const fs::path first = ADir / "first.json", second = ADir / "second.json";
  ADoc->SaveToFile(Name(first), AFormatted);
  Doc back = MakeOwned<TVnJSONDocument>();
  back->LoadFromFile(Name(first));
  back->SaveToFile(Name(second), AFormatted);
  const std::string a = ReadBytes(first), b = ReadBytes(second);
  EXPECT_GT(a.size(), 3u);
  EXPECT_EQ(a.substr(0, 3), "\xEF\xBB\xBF");
  EXPECT_TRUE(a == b) << (AFormatted ? "formatted" : "unformatted") << ": " << a.size()
                      << " bytes, then " << b.size();
  return back;
}

void RoundTripAll(const fs::path &ADir) {
  const std::vector<fs::path> files = JSONFiles(ADir);
  if (files.empty()) GTEST_SKIP() << "no JSON files in " << ADir.string();
  const fs::path work =
      fs::path(::testing::TempDir()) / ("vnxml_json_roundtrip_" + std::to_string(::getpid()));
  fs::create_directories(work);
  for (const fs::path &f : files) {
    SCOPED_TRACE(f.string());
    // The reader takes no white space behind an object or array at the top of the text, and
    // most files end in a line break: the copy that is read ends with the closing bracket.
    std::string text = ReadBytes(f);
    while (!text.empty() && static_cast<unsigned char>(text.back()) <= ' ') text.pop_back();
    const fs::path source = work / "source.json";
    WriteBytes(source, text);

    Doc d = MakeOwned<TVnJSONDocument>();
    d->LoadFromFile(Name(source));
    ASSERT_NE(d->GetRootValue(), nullptr);
    EXPECT_GT(d->Count(), 0);
    const UnicodeString plain = d->GetAsJSON();

    Doc unformatted = SaveTwice(d.get(), false, work);
    EXPECT_TRUE(unformatted->GetAsJSON() == plain);
    // The formatted text reads back into the same tree.
    Doc formatted = SaveTwice(d.get(), true, work);
    EXPECT_TRUE(formatted->GetAsJSON() == plain);
    EXPECT_TRUE(formatted->GetFormattedJSON() == d->GetFormattedJSON());
  }
  fs::remove_all(work);
}

TEST(JSONRoundTrip, IsoCodes) {
  RoundTripAll("/usr/share/iso-codes/json");
}

TEST(JSONRoundTrip, SharedData) {
  RoundTripAll(fs::path(VNXML_TEST_DATA_DIR "/../../../shared/data/json").lexically_normal());
}

// A tree read from UTF-8 bytes (where ASCII text goes straight from the source into the nodes)
// equals the tree read from UTF-16 (where it passes through the reader's UTF-16 text), escapes,
// numbers followed by junk, non-ASCII text and every kind of value included.
TEST(JSONRoundTrip, UTF8AndUTF16BuildTheSameTree) {
  const UnicodeString text =
      u"{\"plain\": \"abc\", \"esc\\/name\": \"a\\/b\\u0041\", \"n\": 1%41, \"f\": -1.50e3, "
      u"\"t\": true, \"x\": false, \"z\": null, \"caf\u00E9\": \"\u00E9t\u00E9 \u0416\", "
      u"\"long\": \"abcdefghijklmnopqrstuvwxyz\", \"a\": [1, \"s\", [{}], {\"k\": \"v\"}]}";
  Doc wide = Load(text);
  const std::string bytes = UTF8Encode(text);
  Doc narrow = MakeOwned<TVnJSONDocument>();
  TPointerStream stream(bytes.data(), static_cast<Int64>(bytes.size()));
  narrow->LoadFromStream(&stream, CP_UTF8);
  EXPECT_EQ(narrow->GetAsJSON(), wide->GetAsJSON());
  EXPECT_EQ(narrow->GetMember(u"n", {jsoRaise})->GetAsString(), u"1");  // "%41" is dropped
  EXPECT_EQ(narrow->GetMember(u"esc\\/name", {jsoRaise})->GetAsString(), u"a/bA");
  EXPECT_EQ(narrow->GetMember(u"f", {jsoRaise})->GetAsDouble(), -1500.0);
  EXPECT_EQ(narrow->GetMember(u"t", {jsoRaise})->GetAsVariant().AsString(), u"true");
  EXPECT_EQ(narrow->GetMember(u"caf\u00E9", {jsoRaise})->GetAsString(), u"\u00E9t\u00E9 \u0416");
  EXPECT_EQ(narrow->GetMember(u"long", {jsoRaise})->GetAsString(), u"abcdefghijklmnopqrstuvwxyz");
}

// One file checked by content: characters beyond the 16-bit range are written as the escapes
// of their two surrogates.
TEST(JSONRoundTrip, CountryCodes) {
  const fs::path f = "/usr/share/iso-codes/json/iso_3166-1.json";
  if (!fs::exists(f)) GTEST_SKIP() << "no " << f.string();
  std::string text = ReadBytes(f);
  while (!text.empty() && static_cast<unsigned char>(text.back()) <= ' ') text.pop_back();
  Doc d = Load(UTF8ToString(text));
  TVnJSONArray *list = d->GetMember(u"3166-1", {jsoRaise})->GetAsArray();
  EXPECT_GT(list->Count(), 200);
  TVnJSONBase *aruba = list->Item(0);
  EXPECT_EQ(aruba->GetMember(u"alpha_2", {jsoRaise})->GetAsString(), u"AW");
  EXPECT_EQ(aruba->GetMember(u"flag", {jsoRaise})->GetAsString(), u"\U0001F1E6\U0001F1FC");
  EXPECT_EQ(aruba->GetMember(u"flag", {jsoRaise})->GetAsJSON(),
            u"\"flag\": \"\\uD83C\\uDDE6\\uD83C\\uDDFC\"");
}

}  // namespace
}  // namespace jsontree
