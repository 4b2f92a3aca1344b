// The usage texts of the command-line program.
#include "vnxml_usage.h"

namespace vnxml_cli {

namespace {

const char cTopUsage[] =
    "Usage: vnxml COMMAND [OPTIONS] [ARGUMENTS]\n"
    "\n"
    "Reads, queries and converts XML and JSON. An input is XML when its first character\n"
    "above a blank is \"<\", JSON otherwise. FILE \"-\" reads standard input.\n"
    "\n"
    "Commands:\n"
    "  format [FILE]        XML or JSON, formatted (standard input without FILE)\n"
    "  select FILE PATH     the nodes a path with predicates selects, one a line as XML\n"
    "                       (--first, --create, --case-sensitive, --case-insensitive,\n"
    "                       --local-name)\n"
    "  jpath FILE PATH      the nodes a JSON path selects, one a line as JSON (--first)\n"
    "  tojson FILE          an XML document as JSON, formatted (--compact: unformatted)\n"
    "  toxml FILE           a JSON document as the XML it stands for, formatted\n"
    "                       (--compact: unformatted)\n"
    "  events FILE          the reader's events, one a line\n"
    "  check FILE...        reports the first error of each file as FILE:LINE:COLUMN: MESSAGE\n"
    "                       on standard error; prints nothing for a good file\n"
    "  help [COMMAND]       this text, or the text of one command\n"
    "\n"
    "\"vnxml COMMAND --help\" tells more about a command.\n"
    "Output is UTF-8; formatted output breaks lines with CR LF, as the library writes it, and\n"
    "ends with one line feed.\n"
    "Exit status: 0 success, 1 a document error (malformed input, missing or unreadable file,\n"
    "bad path), 2 a usage error (unknown command or option, missing argument).\n";

struct TCommandHelp {
  const char *Name;
  const char *Text;
};

const TCommandHelp cCommandHelp[] = {
    {"format",
     "Usage: vnxml format [FILE|-]\n"
     "\n"
     "Writes the input formatted: XML as the document's formatted save (two blanks an\n"
     "indent, CR LF line breaks, no declaration added), JSON as the JSON tree's formatted\n"
     "output. Without FILE, standard input is read.\n"},
    {"select",
     "Usage: vnxml select [OPTIONS] FILE PATH\n"
     "\n"
     "Writes each node that PATH selects from the document, in the order found, as its\n"
     "unformatted XML on a line of its own; an attribute as name=\"value\", a text as\n"
     "stored. Nothing found writes nothing and succeeds.\n"
     "\n"
     "Options:\n"
     "  --first             only the first node found\n"
     "  --create            build the elements that PATH misses and write the whole changed\n"
     "                      document, formatted\n"
     "  --case-sensitive    compare names and values with regard to case\n"
     "  --case-insensitive  compare without regard to case (the document's default)\n"
     "  --local-name        match names by their local part, prefixes ignored\n"},
    {"jpath",
     "Usage: vnxml jpath [--first] FILE PATH\n"
     "\n"
     "Writes each node that the JSON path PATH ($.a.b[0], $..c, $.d[?(@.e > 1)]) selects,\n"
     "unformatted, on a line of its own. --first writes only the first node. Nothing found\n"
     "writes nothing and succeeds.\n"},
    {"tojson",
     "Usage: vnxml tojson [--compact] FILE\n"
     "\n"
     "Writes the document as one JSON object: repeated element names become arrays,\n"
     "attributes members, typed values keep their kind. Formatted unless --compact is given.\n"
     "A document without a root element writes {}.\n"},
    {"toxml",
     "Usage: vnxml toxml [--compact] FILE\n"
     "\n"
     "Reads JSON as the XML it stands for (a root \"object\" or \"array\", an element per member,\n"
     "the type of each simple value in an attribute) and writes that XML, formatted unless\n"
     "--compact is given. An XML input is written back as it was read.\n"},
    {"events",
     "Usage: vnxml events FILE\n"
     "\n"
     "Writes the events the reader fires, one a line. JSON input gives the XML events of the\n"
     "JSON reader. Lines:\n"
     "  startDocument | endDocument\n"
     "  startPrefixMapping \"PREFIX\" \"URI\" | endPrefixMapping \"PREFIX\"\n"
     "  startElement QNAME [{URI}]\n"
     "  attribute QNAME=\"VALUE\"       (after its startElement, in document order)\n"
     "  endElement QNAME\n"
     "  characters \"TEXT\" | ignorableWhitespace \"TEXT\"\n"
     "  processingInstruction TARGET \"DATA\"\n"
     "  comment \"TEXT\"\n"
     "  startCDATA | endCDATA | startDTD | endDTD\n"
     "Text stands as the reader delivers it (references are not resolved); in quotes,\n"
     "\\ and \" are escaped by a backslash, line feed, carriage return and tab as \\n \\r \\t,\n"
     "other control characters as \\xHH. On a malformed input the events up to the error\n"
     "are written, then the error as FILE:LINE:COLUMN: MESSAGE, and the exit status is 1.\n"},
    {"check",
     "Usage: vnxml check FILE...\n"
     "\n"
     "Loads each file (XML into the document tree, JSON into the JSON tree) and writes, for\n"
     "the first error of each, a line FILE:LINE:COLUMN: MESSAGE to standard error (a file\n"
     "that cannot be opened: vnxml: cannot open \"FILE\": REASON). A good file writes\n"
     "nothing. The exit status is 1 when any file failed.\n"},
    {"help",
     "Usage: vnxml help [COMMAND]\n"
     "\n"
     "Writes the usage of vnxml, or of COMMAND.\n"},
};

}  // namespace

const char *TopUsage() {
  return cTopUsage;
}

const char *CommandHelp(const std::string &ACommand) {
  for (const TCommandHelp &h : cCommandHelp)
    if (ACommand == h.Name) return h.Text;
  return nullptr;
}

}  // namespace vnxml_cli
