// The vnxml program, run as a child process: standard output, standard error and the exit code
// of each command, compared exactly.
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>
#include <initializer_list>

#include "cli/run_tool.h"

using namespace cli_test;

namespace {

// Formatted output of the library: lines joined by CR LF, then the one line feed that the
// program puts at the end.
std::string Formatted(std::initializer_list<const char *> ALines) {
  std::string s;
  for (const char *l : ALines) s += (s.empty() ? "" : "\r\n") + std::string(l);
  return s + "\n";
}

void Expect(const TRun &ARun, int AExit, const std::string &AOut, const std::string &AErr) {
  EXPECT_EQ(ARun.Out, AOut);
  EXPECT_EQ(ARun.Err, AErr);
  EXPECT_EQ(ARun.Exit, AExit);
}

const std::string cShopXML = Data("shop.xml");
const std::string cShopJSON = Data("shop.json");
const std::string cBadXML = Data("bad.xml");
const std::string cBadJSON = Data("bad.json");
const std::string cMissing = Data("no-such-file.xml");

const char cBadXMLMessage[] = ":3:13: The document is not wellformed! Missing attribute value.\n";
const char cBadJSONMessage[] =
    ":3:10: The document is not wellformed! \"\", \\, /, b, f, n, r, t or u\" expected, but "
    "\"z\" found!\n";
const std::string cMissingMessage =
    "vnxml: cannot open \"" + cMissing + "\": No such file or directory\n";

const std::string cShopFormatted = Formatted({
    R"(<?xml version="1.0" encoding="UTF-8"?>)",
    "<!-- stock -->",
    R"(<shop xmlns:p="urn:p" city="Lyon">)",
    R"(  <item id="1" p:kind="pen">)",
    "    <name>Pen</name>",
    "    <price>1.50</price>",
    "  </item>",
    R"(  <item id="2">)",
    "    <name>Ink &amp; nib</name>",
    "    <price>4</price>",
    "  </item>",
    "  <Note><![CDATA[a<b]]></Note>",
    "</shop>",
});

}  // namespace

// --- usage, help and exit codes -----------------------------------------------------------

TEST(CliUsage, HelpGoesToStandardOutputWithExitZero) {
  const TRun top = RunTool({"--help"});
  EXPECT_EQ(top.Exit, 0);
  EXPECT_EQ(top.Err, "");
  EXPECT_EQ(top.Out.rfind("Usage: vnxml COMMAND [OPTIONS] [ARGUMENTS]\n", 0), 0u);
  for (const char *command : {"format", "select", "jpath", "tojson", "toxml", "events", "check"})
    EXPECT_NE(top.Out.find(std::string("\n  ") + command + " "), std::string::npos) << command;
  Expect(RunTool({"help"}), 0, top.Out, "");
  Expect(RunTool({"-h"}), 0, top.Out, "");

  // A command's own text, by either form, and before or after other words.
  const TRun select = RunTool({"select", "--help"});
  EXPECT_EQ(select.Out.rfind("Usage: vnxml select [OPTIONS] FILE PATH\n", 0), 0u);
  EXPECT_NE(select.Out.find("--case-insensitive"), std::string::npos);
  Expect(select, 0, select.Out, "");
  Expect(RunTool({"help", "select"}), 0, select.Out, "");
  Expect(RunTool({"select", "file.xml", "--help"}), 0, select.Out, "");
  const TRun events = RunTool({"events", "--help"});
  EXPECT_NE(events.Out.find("attribute QNAME=\"VALUE\""), std::string::npos);
  EXPECT_NE(events.Out, select.Out);
}

TEST(CliUsage, UsageErrorsExitTwo) {
  Expect(RunTool({}), 2, "", "vnxml: missing command (see vnxml --help)\n");
  Expect(RunTool({"frob"}), 2, "", "vnxml: unknown command \"frob\" (see vnxml --help)\n");
  Expect(RunTool({"help", "frob"}), 2, "", "vnxml: unknown command \"frob\" (see vnxml --help)\n");
  Expect(RunTool({"--version"}), 2, "", "vnxml: unknown option \"--version\" (see vnxml --help)\n");
  Expect(RunTool({"select"}), 2, "", "vnxml: missing FILE for select (see vnxml select --help)\n");
  Expect(RunTool({"select", cShopXML}), 2, "",
         "vnxml: missing PATH for select (see vnxml select --help)\n");
  Expect(RunTool({"jpath", cShopJSON}), 2, "",
         "vnxml: missing PATH for jpath (see vnxml jpath --help)\n");
  Expect(RunTool({"select", "--frob", cShopXML, "a"}), 2, "",
         "vnxml: unknown option \"--frob\" for select (see vnxml select --help)\n");
  // An option of another command is unknown here.
  Expect(RunTool({"tojson", "--first", cShopXML}), 2, "",
         "vnxml: unknown option \"--first\" for tojson (see vnxml tojson --help)\n");
  Expect(RunTool({"tojson", cShopXML, "b"}), 2, "",
         "vnxml: too many arguments for tojson: \"b\" (see vnxml tojson --help)\n");
  Expect(RunTool({"format", "a", "b"}), 2, "",
         "vnxml: too many arguments for format: \"b\" (see vnxml format --help)\n");
  Expect(RunTool({"check"}), 2, "", "vnxml: missing FILE for check (see vnxml check --help)\n");
  Expect(RunTool({"events"}), 2, "", "vnxml: missing FILE for events (see vnxml events --help)\n");
}

TEST(CliUsage, InputsThatCannotBeRead) {
  for (const char *command : {"format", "tojson", "toxml", "events"})
    Expect(RunTool({command, cMissing}), 1, "", cMissingMessage);
  Expect(RunTool({"select", cMissing, "a"}), 1, "", cMissingMessage);
  Expect(RunTool({"jpath", cMissing, "$.a"}), 1, "", cMissingMessage);
  const std::string dir = Data("");
  Expect(RunTool({"format", dir}), 1, "", "vnxml: cannot open \"" + dir + "\": Is a directory\n");
}

TEST(CliUsage, DoubleDashEndsTheOptions) {
  // After "--", a word that looks like an option is an argument: here a file name.
  Expect(RunTool({"format", "--", "--compact"}), 1, "",
         "vnxml: cannot open \"--compact\": No such file or directory\n");
}

// --- format ---------------------------------------------------------------------------------

TEST(CliFormat, XMLAsTheDocumentsFormattedSave) {
  Expect(RunTool({"format", cShopXML}), 0, cShopFormatted, "");
}

TEST(CliFormat, JSONAsTheTreesFormattedOutput) {
  Expect(RunTool({"format", cShopJSON}), 0,
         Formatted({
             "{ ",
             R"(  "shop": { )",
             R"(    "city": "Lyon", "items": [)",
             "      { ",
             R"(        "id": 1, "name": "Pen", "price": 1.5)",
             "      }, { ",
             R"(        "id": 2, "name": "Ink", "price": 4, "tags": [)",
             R"(          "blue", null, true)",
             "        ]",
             "      }",
             "    ]",
             "  }",
             "}",
         }),
         "");
}

TEST(CliFormat, StandardInputWithoutFileOrWithDash) {
  const std::string xml = ReadFile(cShopXML);
  Expect(RunTool({"format"}, xml), 0, cShopFormatted, "");
  Expect(RunTool({"format", "-"}, xml), 0, cShopFormatted, "");
  // Blanks at the end of JSON are no second value; a byte-order mark is read past.
  Expect(RunTool({"format"}, "\xEF\xBB\xBF [1, 2]\n\n  \n"), 0, Formatted({"[", "  1, 2", "]"}),
         "");
  // UTF-16 behind its mark comes out as UTF-8.
  Expect(RunTool({"format"}, std::string("\xFF\xFE[\0\"\0\xE9\0\"\0]\0\n\0", 14)), 0,
         Formatted({"[", "  \"\xC3\xA9\"", "]"}), "");
  // Nothing in, nothing out.
  Expect(RunTool({"format"}, ""), 0, "", "");
}

TEST(CliFormat, MalformedInputsTellFileLineAndColumn) {
  Expect(RunTool({"format", cBadXML}), 1, "", "vnxml: " + cBadXML + cBadXMLMessage);
  Expect(RunTool({"format", cBadJSON}), 1, "", "vnxml: " + cBadJSON + cBadJSONMessage);
  Expect(RunTool({"format"}, ReadFile(cBadXML)), 1, "",
         std::string("vnxml: <stdin>") + cBadXMLMessage);
  Expect(RunTool({"format", "-"}, "<a>\r\n<b></a"), 1, "",
         "vnxml: <stdin>:2:7: The document is not wellformed! \">\" expected, but \"\" found!\n");
}

// --- select -------------------------------------------------------------------------------

TEST(CliSelect, EachNodeOnALineOfItsOwn) {
  Expect(RunTool({"select", cShopXML, "//name"}), 0,
         "<name>Pen</name>\n<name>Ink &amp; nib</name>\n", "");
  // Attributes as name="value", text as stored.
  Expect(RunTool({"select", cShopXML, "shop/item/@id"}), 0, "id=\"1\"\nid=\"2\"\n", "");
  Expect(RunTool({"select", "-", "a/text()"}, "<a><b x=\"1\"/>t&lt;</a>"), 0, "t&lt;\n", "");
  Expect(RunTool({"select", cShopXML, "shop/item[@id=\"2\"]/price"}), 0, "<price>4</price>\n", "");
  // Nothing found: nothing written, success.
  Expect(RunTool({"select", cShopXML, "//missing"}), 0, "", "");
}

TEST(CliSelect, Options) {
  Expect(RunTool({"select", "--first", cShopXML, "//item"}), 0,
         "<item id=\"1\" p:kind=\"pen\"><name>Pen</name><price>1.50</price></item>\n", "");
  Expect(RunTool({"select", cShopXML, "//item", "--first"}), 0,
         "<item id=\"1\" p:kind=\"pen\"><name>Pen</name><price>1.50</price></item>\n", "");
  Expect(RunTool({"select", "--first", cShopXML, "//missing"}), 0, "", "");
  // The case of names and values: the document compares without regard to case unless told.
  const char names[] = "<name>Pen</name>\n<name>Ink &amp; nib</name>\n";
  Expect(RunTool({"select", cShopXML, "//NAME"}), 0, names, "");
  Expect(RunTool({"select", "--case-insensitive", cShopXML, "//NAME"}), 0, names, "");
  Expect(RunTool({"select", "--case-sensitive", cShopXML, "//NAME"}), 0, "", "");
  Expect(RunTool({"select", "--case-sensitive", cShopXML, "shop[@city=\"lyon\"]/@city"}), 0, "",
         "");
  Expect(RunTool({"select", cShopXML, "shop[@city=\"lyon\"]/@city"}), 0, "city=\"Lyon\"\n", "");
  // Local names: "kind" finds p:kind only by its local part.
  Expect(RunTool({"select", cShopXML, "//item/@kind"}), 0, "", "");
  Expect(RunTool({"select", "--local-name", cShopXML, "//item/@kind"}), 0, "p:kind=\"pen\"\n", "");
}

TEST(CliSelect, CreateBuildsWhatIsMissingAndWritesTheDocument) {
  std::string expected = cShopFormatted;
  expected.insert(expected.find("</shop>"), "  <stock>\r\n    <count />\r\n  </stock>\r\n");
  Expect(RunTool({"select", "--create", cShopXML, "shop/stock/count"}), 0, expected, "");
  // A path that exists changes nothing.
  Expect(RunTool({"select", "--create", cShopXML, "shop/Note"}), 0, cShopFormatted, "");
}

TEST(CliSelect, FailuresExitOne) {
  Expect(RunTool({"select", cShopXML, "shop/item[@id="}), 1, "",
         "vnxml: path \"shop/item[@id=\": The specified XPath statement is not valid!\n");
  Expect(RunTool({"select", cBadXML, "//name"}), 1, "", "vnxml: " + cBadXML + cBadXMLMessage);
}

TEST(CliSelect, JSONInputIsReadAsTheXMLItStandsFor) {
  Expect(RunTool({"select", cShopJSON, "//items[id=2]/tagsArray/tags[2]"}), 0,
         "<tags xsd:type=\"boolean\">true</tags>\n", "");
}

// --- jpath --------------------------------------------------------------------------------

TEST(CliJPath, EachNodeAsUnformattedJSON) {
  Expect(RunTool({"jpath", cShopJSON, "$.shop.items[*].name"}), 0, "\"Pen\"\n\"Ink\"\n", "");
  Expect(RunTool({"jpath", cShopJSON, "$..tags"}), 0, "[\"blue\", null, true]\n", "");
  Expect(RunTool({"jpath", cShopJSON, "$.shop.items[?(@.price > 2)]"}), 0,
         "{\"id\": 2, \"name\": \"Ink\", \"price\": 4, \"tags\": [\"blue\", null, true]}\n", "");
  Expect(RunTool({"jpath", "--first", cShopJSON, "$..id"}), 0, "1\n", "");
  Expect(RunTool({"jpath", cShopJSON, "$..id"}), 0, "1\n2\n", "");
  Expect(RunTool({"jpath", cShopJSON, "$.nothing"}), 0, "", "");
  Expect(RunTool({"jpath", "-", "$[1]"}, "[10, 20, 30]\n"), 0, "20\n", "");
}

TEST(CliJPath, FailuresExitOne) {
  Expect(RunTool({"jpath", cShopJSON, "shop"}), 1, "",
         "vnxml: path \"shop\": The specified path is not a valid JSON path.\n");
  Expect(RunTool({"jpath", cBadJSON, "$.a"}), 1, "", "vnxml: " + cBadJSON + cBadJSONMessage);
}

// --- tojson and toxml -----------------------------------------------------------------------

TEST(CliToJSON, FormattedByDefaultCompactOnRequest) {
  Expect(RunTool({"tojson", cShopXML}), 0,
         Formatted({
             "{",
             R"(  "shop": {)",
             R"(    "shop_city": "Lyon",    "item": [)",
             "      {",
             R"(        "item_id": "1",)",
             R"(        "item_kind": "pen",)",
             R"(        "name": "Pen",)",
             R"(        "price": "1.50")",
             "      },",
             "      {",
             R"(        "item_id": "2",)",
             R"(        "name": "Ink & nib",)",
             R"(        "price": "4")",
             "      }",
             "    ],",
             R"(    "Note": "a<b")",
             "  }",
             "}",
         }),
         "");
  Expect(RunTool({"tojson", "--compact", "-"}, "<a><b>1</b><b>2</b></a>"), 0,
         "{\"a\": {\"b\": [\"1\",\"2\"]}}\n", "");
  Expect(RunTool({"tojson", "--compact", "-"}, "<a/>"), 0, "{\"a\": null}\n", "");
}

TEST(CliToJSON, Failures) {
  Expect(RunTool({"tojson", cBadXML}), 1, "", "vnxml: " + cBadXML + cBadXMLMessage);
  Expect(RunTool({"tojson", "-"}, "<!-- only a comment -->"), 1, "",
         "vnxml: <stdin>:1:24: The document is not wellformed! \"<\" expected, but \"\" found!\n");
}

TEST(CliToXML, JSONAsXMLEvents) {
  Expect(RunTool({"toxml", "--compact", cShopJSON}), 0,
         "<object xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
         "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"><shop><city "
         "xsd:type=\"string\">Lyon</city><itemsArray><items><id xsd:type=\"decimal\">1</id><name "
         "xsd:type=\"string\">Pen</name><price xsd:type=\"decimal\">1.5</price></items><items><id "
         "xsd:type=\"decimal\">2</id><name xsd:type=\"string\">Ink</name><price "
         "xsd:type=\"decimal\">4</price><tagsArray><tags xsd:type=\"string\">blue</tags><tags "
         "xsi:nil=\"true\">null</tags><tags "
         "xsd:type=\"boolean\">true</tags></tagsArray></items></itemsArray></shop></object>\n",
         "");
  Expect(RunTool({"toxml", "-"}, "{\"a\": [1, 2]}\n"), 0,
         Formatted({
             "<object xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\" "
             "xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\">",
             "  <aArray>",
             "    <a xsd:type=\"decimal\">1</a>",
             "    <a xsd:type=\"decimal\">2</a>",
             "  </aArray>",
             "</object>",
         }),
         "");
  Expect(RunTool({"toxml", cBadJSON}), 1, "", "vnxml: " + cBadJSON + cBadJSONMessage);
}

// --- events -------------------------------------------------------------------------------

TEST(CliEvents, XMLEventsOneALine) {
  Expect(RunTool({"events", cShopXML}), 0,
         "startDocument\n"
         "processingInstruction xml \"version=\\\"1.0\\\" encoding=\\\"UTF-8\\\"\"\n"
         "comment \" stock \"\n"
         "startPrefixMapping \"p\" \"urn:p\"\n"
         "startElement shop\n"
         "attribute xmlns:p=\"urn:p\"\n"
         "attribute city=\"Lyon\"\n"
         "ignorableWhitespace \"\\n  \"\n"
         "startElement item\n"
         "attribute id=\"1\"\n"
         "attribute p:kind=\"pen\"\n"
         "startElement name\n"
         "characters \"Pen\"\n"
         "endElement name\n"
         "startElement price\n"
         "characters \"1.50\"\n"
         "endElement price\n"
         "endElement item\n"
         "ignorableWhitespace \"\\n  \"\n"
         "startElement item\n"
         "attribute id=\"2\"\n"
         "startElement name\n"
         "characters \"Ink &amp; nib\"\n"
         "endElement name\n"
         "startElement price\n"
         "characters \"4\"\n"
         "endElement price\n"
         "endElement item\n"
         "ignorableWhitespace \"\\n  \"\n"
         "startElement Note\n"
         "startCDATA\n"
         "characters \"a<b\"\n"
         "endCDATA\n"
         "endElement Note\n"
         "ignorableWhitespace \"\\n\"\n"
         "endElement shop\n"
         "endPrefixMapping \"p\"\n"
         "endDocument\n",
         "");
}

TEST(CliEvents, NamespacesControlCharactersAndUTF8) {
  Expect(RunTool({"events", "-"}, "<x:a xmlns:x=\"urn:x\" t=\"1\t2\">caf\xC3\xA9\x01\\\r\n</x:a>"),
         0,
         "startDocument\n"
         "startPrefixMapping \"x\" \"urn:x\"\n"
         "startElement x:a {urn:x}\n"
         "attribute xmlns:x=\"urn:x\"\n"
         "attribute t=\"1\\t2\"\n"
         "characters \"caf\xC3\xA9\\x01\\\\\\r\\n\"\n"
         "endElement x:a\n"
         "endPrefixMapping \"x\"\n"
         "endDocument\n",
         "");
}

TEST(CliEvents, JSONGivesTheXMLEventsOfTheJSONReader) {
  Expect(RunTool({"events", "-"}, "\xEF\xBB\xBF{\"a\": [1, {\"b\": \"x\\ny\"}]}\n"), 0,
         "startDocument\n"
         "startElement object\n"
         "attribute xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\"\n"
         "attribute xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\"\n"
         "startElement aArray\n"
         "startElement a\n"
         "attribute xsd:type=\"decimal\"\n"
         "characters \"1\"\n"
         "endElement a\n"
         "startElement a\n"
         "startElement b\n"
         "attribute xsd:type=\"string\"\n"
         "characters \"x\\\\ny\"\n"
         "endElement b\n"
         "endElement a\n"
         "endElement aArray\n"
         "endElement object\n"
         "endDocument\n",
         "");
}

TEST(CliEvents, MalformedInputStopsAfterTheEventsBeforeTheError) {
  Expect(RunTool({"events", cBadXML}), 1,
         "startDocument\n"
         "startElement shop\n"
         "ignorableWhitespace \"\\n  \"\n"
         "startElement item\n"
         "attribute id=\"1\"\n"
         "ignorableWhitespace \"\\n    \"\n",
         "vnxml: " + cBadXML + cBadXMLMessage);
  const TRun json = RunTool({"events", cBadJSON});
  EXPECT_EQ(json.Exit, 1);
  EXPECT_EQ(json.Err, "vnxml: " + cBadJSON + cBadJSONMessage);
  EXPECT_EQ(json.Out.rfind("startDocument\nstartElement object\n", 0), 0u);
  EXPECT_EQ(json.Out.find("endDocument"), std::string::npos);
}

// --- check --------------------------------------------------------------------------------

TEST(CliCheck, GoodFilesAreSilent) {
  Expect(RunTool({"check", cShopXML, cShopJSON}), 0, "", "");
  Expect(RunTool({"check", "-"}, "{\"a\": 1}\r\n"), 0, "", "");
}

TEST(CliCheck, EachFailedFileOnce) {
  Expect(RunTool({"check", cBadXML, cShopXML, cBadJSON, cMissing, cShopJSON}), 1, "",
         cBadXML + cBadXMLMessage + cBadJSON + cBadJSONMessage + cMissingMessage);
  // End tags are not matched against start tags: </a> closes <b>, and <a> stays open.
  Expect(RunTool({"check", "-"}, "<a>\n  <b>\n</a>x"), 1, "",
         "<stdin>:3:5: Unexpected end of input\n");
  Expect(RunTool({"check", "-"}, "{\"a\": tru}"), 1, "",
         "<stdin>:1:10: The document is not wellformed! \"e\" expected, but \"}\" found!\n");
}

// --- large inputs -------------------------------------------------------------------------

// The percentages of a progress line as shown, in order; -1 stands for "done".
std::vector<int> Percentages(const std::string &AErr, const std::string &ALabel) {
  std::vector<int> shown;
  for (std::size_t at = AErr.find(ALabel); at != std::string::npos;
       at = AErr.find(ALabel, at + 1)) {
    const std::string rest = AErr.substr(at + ALabel.size(), 4);
    shown.push_back(rest.rfind("done", 0) == 0 ? -1 : std::atoi(rest.c_str()));
  }
  return shown;
}

TEST(CliProgress, OnATerminalAbove50MB) {
  if (!TerminalsAvailable()) GTEST_SKIP() << "this machine gives no pseudo-terminals";
  // 54 000 000 blanks inside a small element, and before a small object: large, cheap to read.
  const std::string blanks(54000000, ' ');
  const TTempFile xml("<a>" + blanks + "</a>");
  const TTempFile json(blanks + "{\"a\": 1}\n");
  for (const TTempFile *big : {&xml, &json}) {
    SCOPED_TRACE(big == &xml ? "XML" : "JSON");
    const std::string label = "\rvnxml: reading " + big->Name() + " (51 MB) ";
    const TRun terminal = RunOnTerminal({"check", big->Name()});
    EXPECT_EQ(terminal.Exit, 0);
    EXPECT_EQ(terminal.Out, "");
    // Only the load's reads count: the looks at the start and at the end before it show
    // nothing, so the line grows from where the load stands, and ends with "done" (the
    // terminal turns the final line feed into CR LF).
    const std::vector<int> shown = Percentages(terminal.Err, label);
    ASSERT_GE(shown.size(), 2u) << terminal.Err;
    EXPECT_EQ(shown.back(), -1);
    EXPECT_TRUE(std::is_sorted(shown.begin(), shown.end() - 1)) << terminal.Err;
    EXPECT_EQ(shown[shown.size() - 2], 100);
    // The readers read in blocks: the line starts at 0 and moves through the middle.
    EXPECT_EQ(shown.front(), 0);
    EXPECT_GT(shown.size(), 10u) << terminal.Err;
    const std::string end = label + "done\r\n";
    ASSERT_GE(terminal.Err.size(), end.size());
    EXPECT_EQ(terminal.Err.substr(terminal.Err.size() - end.size()), end);
  }
  const TTempFile &big = json;

  // Standard error on a pipe: no progress.
  Expect(RunTool({"format", big.Name()}), 0, Formatted({"{ ", "  \"a\": 1", "}"}), "");
  // Below the threshold: none on a terminal either.
  const TRun small = RunOnTerminal({"check", cShopXML});
  Expect(small, 0, "", "");
}

// --- files and standard input ---------------------------------------------------------------

TEST(CliInput, StandardInputRedirectedFromAFile) {
  Expect(RunWithInputFile({"format"}, cShopXML), 0, cShopFormatted, "");
  Expect(RunWithInputFile({"check", "-"}, cBadJSON), 1, "",
         std::string("<stdin>") + cBadJSONMessage);
  // Read from where the shell left it, as after `read line; vnxml format -`.
  const TTempFile rest("HEADER\n<a>x</a>");
  Expect(RunWithInputFile({"format", "-"}, rest.Name(), 7), 0, Formatted({"<a>x</a>"}), "");
}

TEST(CliInput, LeadingBlanksBeyondOneBlockStillMakeXML) {
  const TTempFile file(std::string(5000, ' ') + "<a/>");
  Expect(RunTool({"format", file.Name()}), 0, Formatted({"<a />"}), "");
  Expect(RunTool({"check", file.Name()}), 0, "", "");
}

TEST(CliInput, ADeclarationOfAnotherEncodingIsWrittenAsUTF8) {
  // The text is read in the declared page and written in UTF-8, under a declaration that says
  // so; the output reads back to the same text.
  const TTempFile latin("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?><a>caf\xE9</a>");
  const std::string expected =
      Formatted({"<?xml version=\"1.0\" encoding=\"UTF-8\"?>", "<a>caf\xC3\xA9</a>"});
  Expect(RunTool({"format", latin.Name()}), 0, expected, "");
  Expect(RunTool({"format", "-"}, expected), 0, expected, "");
  // A document without a declaration gets none.
  Expect(RunTool({"format", "-"}, "<a>caf\xC3\xA9</a>"), 0, Formatted({"<a>caf\xC3\xA9</a>"}), "");
}

TEST(CliInput, LongRunsOfBlanksAtTheEndOfJSON) {
  // More blanks than one backward block, in a file and through a pipe.
  std::string tail;
  for (int i = 0; i < 3000; ++i) tail += " \r\n\t";
  const TTempFile file("{\"a\": [true]}" + tail);
  const std::string formatted = Formatted({"{ ", "  \"a\": [", "    true", "  ]", "}"});
  Expect(RunTool({"format", file.Name()}), 0, formatted, "");
  Expect(RunTool({"format"}, ReadFile(file.Name())), 0, formatted, "");
  Expect(RunTool({"jpath", file.Name(), "$.a[0]"}), 0, "true\n", "");
  // Blanks inside the document stay: here in the last string.
  Expect(RunTool({"jpath", "-", "$[0]"}, "[\"x  \n\"]  \n"), 0, "\"x  \\n\"\n", "");
}
