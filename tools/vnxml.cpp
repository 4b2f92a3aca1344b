// vnxml: XML and JSON from the shell, through the library's public interface.
//
//   vnxml format [FILE]          vnxml select FILE PATH     vnxml jpath FILE PATH
//   vnxml tojson FILE            vnxml toxml FILE           vnxml events FILE
//   vnxml check FILE...          vnxml help [COMMAND]
//
// Exit codes: 0 success, 1 a document error, 2 a usage error. Every message goes to standard
// error behind "vnxml: ", except the FILE:LINE:COLUMN lines of check.
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "vnxml/json/uVnJSON.h"
#include "vnxml/xml/uVnSAX.h"
#include "vnxml/xml/uVnXMLDOM.h"
#include "vnxml_io.h"
#include "vnxml_usage.h"

using namespace vn;
using namespace vnxml_cli;

namespace {

// ---------------------------------------------------------------------------------------------
// Failures of a document

// A failure while reading or querying a document: where (a file, and a line and column when
// the reader knew them) and the message.
struct TDocumentError {
  std::string File;
  Integer Line = -1;
  Integer Column = -1;
  std::string Message;
};

// The message on one line: the library's CR LF inside a message becomes a blank.
std::string OneLine(const UnicodeString &AMessage) {
  std::string s = UTF8Encode(AMessage);
  std::string r;
  r.reserve(s.size());
  for (std::size_t i = 0; i < s.size(); ++i) {
    if (s[i] == '\r' && i + 1 < s.size() && s[i + 1] == '\n') continue;
    r += s[i] == '\n' || s[i] == '\r' ? ' ' : s[i];
  }
  return r;
}

std::string Where(const TDocumentError &AError) {
  std::string s = AError.File;
  if (AError.Line >= 0) {
    // Appended piece by piece: "literal" + std::string&& draws a false -Wrestrict from GCC 12.
    s.append(":").append(std::to_string(AError.Line));
    s.append(":").append(std::to_string(AError.Column));
  }
  return s;
}

// The position the reader told its error handler, kept for the report.
struct TLocation {
  Integer Line = -1;
  Integer Column = -1;
};

// ---------------------------------------------------------------------------------------------
// Loading

// Every output is UTF-8: a declaration that names another encoding is made to name UTF-8, so
// that what is written reads back as written. A document without one gets none.
void DeclareUTF8(TVnDOMDocument *ADoc) {
  TVnDOMProcessingInstruction *pi = ADoc->FindProcessingInstruction(u"xml");
  if (!pi) return;
  const std::string data = UTF8Encode(pi->GetData());
  const std::size_t at = data.find("encoding");
  if (at == std::string::npos) return;
  const std::size_t open = data.find_first_of("\"'", at);
  if (open == std::string::npos) return;
  const std::size_t close = data.find(data[open], open + 1);
  const std::string name =
      data.substr(open + 1, close == std::string::npos ? std::string::npos : close - open - 1);
  if (!SameText(UTF8ToString(name), u"UTF-8")) ADoc->SetEncoding(u"UTF-8");
}

// Loads an input into a DOM document: XML, or JSON read as the XML it stands for.
Owned<TVnDOMDocument> LoadDOM(TInput &AInput) {
  Owned<TVnDOMDocument> doc(New<TVnDOMDocument>());
  TLocation where;
  // Handled here, so that the reader's own exception leaves the load, with its plain message.
  doc->SetOnParseFatalError(
      [&where](IVnSAXLocator *ALocator, const UnicodeString &, bool &AHandled) {
        if (ALocator) {
          where.Line = ALocator->GetLineNr();
          where.Column = ALocator->GetColNr();
        }
        AHandled = true;
      });
  try {
    doc->LoadFromStream(AInput.Stream());
  } catch (Exception &E) {
    AInput.Finish();
    throw TDocumentError{DisplayName(AInput.Name()), where.Line, where.Column, OneLine(E.Message)};
  }
  doc->SetOnParseFatalError(nullptr);
  AInput.Finish();
  DeclareUTF8(doc.get());
  return doc;
}

Owned<TVnJSONDocument> LoadJSON(TInput &AInput) {
  Owned<TVnJSONDocument> doc(New<TVnJSONDocument>());
  AInput.HideTrailingBlanks();
  // The JSON reader reads from the stream's position and does not know byte-order marks: the
  // stream goes to it behind one, with the page the mark names.
  Word page = CP_UTF8;
  AInput.SkipByteOrderMark(page);
  try {
    doc->LoadFromStream(AInput.Stream(), page);
  } catch (EVnJSONParseError &E) {
    AInput.Finish();
    throw TDocumentError{DisplayName(AInput.Name()), E.LineNr, E.ColNr, OneLine(E.Message)};
  } catch (Exception &E) {
    AInput.Finish();
    throw TDocumentError{DisplayName(AInput.Name()), -1, -1, OneLine(E.Message)};
  }
  AInput.Finish();
  return doc;
}

// A query's failure (a malformed path): the message alone.
struct TQueryError {
  std::string Message;
};

// ---------------------------------------------------------------------------------------------
// The command line of one command

struct TArguments {
  std::vector<std::string> Positional;
  std::vector<std::string> Options;
  bool Has(const char *AOption) const {
    for (const std::string &o : Options)
      if (o == AOption) return true;
    return false;
  }
};

// Splits the words behind the command into options ("--name") and arguments; "-" is an
// argument, "--" ends the options. Options outside AAllowed are usage errors.
TArguments SplitArguments(const std::string &ACommand, int argc, char **argv, int AFirst,
                          std::initializer_list<const char *> AAllowed) {
  TArguments args;
  bool options = true;
  for (int i = AFirst; i < argc; ++i) {
    const std::string word = argv[i];
    if (options && word == "--") {
      options = false;
    } else if (options && word.size() > 1 && word[0] == '-') {
      bool known = false;
      for (const char *a : AAllowed) known = known || word == a;
      if (!known)
        throw TUsageError{"unknown option \"" + word + "\" for " + ACommand + " (see vnxml " +
                          ACommand + " --help)"};
      args.Options.push_back(word);
    } else {
      args.Positional.push_back(word);
    }
  }
  return args;
}

// Checks the count of arguments: at least AMin, at most AMax (-1: no limit).
void RequireArguments(const std::string &ACommand, const TArguments &AArgs, int AMin, int AMax,
                      const char *AWhat) {
  const int n = static_cast<int>(AArgs.Positional.size());
  if (n < AMin)
    throw TUsageError{std::string("missing ") + AWhat + " for " + ACommand + " (see vnxml " +
                      ACommand + " --help)"};
  if (AMax >= 0 && n > AMax)
    throw TUsageError{"too many arguments for " + ACommand + ": \"" + AArgs.Positional[AMax] +
                      "\" (see vnxml " + ACommand + " --help)"};
}

// Ends the output with a line feed when anything was written.
void EndOutput(TStdoutStream &AOut, Int64 AStart) {
  if (AOut.Written() > AStart) AOut.Text("\n");
}

// ---------------------------------------------------------------------------------------------
// Commands

int CmdFormat(const TArguments &AArgs) {
  TInput input(AArgs.Positional.empty() ? "-" : AArgs.Positional[0]);
  TStdoutStream out;
  if (input.Kind() == TInputKind::XML) {
    Owned<TVnDOMDocument> doc = LoadDOM(input);
    doc->SaveToStream(&out, CP_UTF8, true, false);
  } else {
    Owned<TVnJSONDocument> doc = LoadJSON(input);
    doc->SaveToStream(&out, true, CP_UTF8, false);
  }
  EndOutput(out, 0);
  return cExitOk;
}

// Runs a query given by the path text APath: a failure of the library other than a failed
// write is the path's, reported with the path.
template <class F>
void RunQuery(const std::string &APath, F AQuery) {
  try {
    AQuery();
  } catch (EWriteError &) {
    throw;
  } catch (Exception &E) {
    throw TQueryError{"path \"" + APath + "\": " + OneLine(E.Message)};
  }
}

// One selected node on a line of its own: its unformatted XML, an attribute without the blank
// that leads its form.
void WriteNode(TStdoutStream &AOut, TVnDOMNode *ANode) {
  if (ANode->GetNodeType() == ntAttribute) {
    std::string xml = UTF8Encode(ANode->GetXML());
    if (!xml.empty() && xml[0] == ' ') xml.erase(0, 1);
    AOut.Text(xml);
  } else {
    ANode->SaveToStream(&AOut, CP_UTF8, false);
  }
  AOut.Text("\n");
}

int CmdSelect(const TArguments &AArgs) {
  TInput input(AArgs.Positional[0]);
  const UnicodeString path = UTF8ToString(AArgs.Positional[1]);
  TVnDOMSelectOptions options;
  if (AArgs.Has("--case-sensitive")) options << soCaseSensitive;
  if (AArgs.Has("--case-insensitive")) options << soCaseInsensitive;
  if (AArgs.Has("--local-name")) options << soLocalName;
  Owned<TVnDOMDocument> doc = LoadDOM(input);
  TStdoutStream out;
  RunQuery(AArgs.Positional[1], [&] {
    if (AArgs.Has("--create")) {
      doc->SelectSingleNode(path, options + TVnDOMSelectOptions{soCreate});
      doc->SaveToStream(&out, CP_UTF8, true, false);
      EndOutput(out, 0);
    } else if (AArgs.Has("--first")) {
      if (TVnDOMNode *node = doc->SelectSingleNode(path, options)) WriteNode(out, node);
    } else {
      Owned<TVnDOMNodeList> found(doc->CreateNodeList(path, options));
      for (TVnDOMNode *node : *found) WriteNode(out, node);
    }
  });
  return cExitOk;
}

int CmdJPath(const TArguments &AArgs) {
  TInput input(AArgs.Positional[0]);
  const UnicodeString path = UTF8ToString(AArgs.Positional[1]);
  Owned<TVnJSONDocument> doc = LoadJSON(input);
  TStdoutStream out;
  auto write = [&out](TVnJSONBase *ANode) { out.Text(UTF8Encode(ANode->GetAsJSON()) + "\n"); };
  RunQuery(AArgs.Positional[1], [&] {
    if (AArgs.Has("--first")) {
      if (TVnJSONBase *node = doc->SelectSingleNode(path, TVnJDOCSelectOptions{})) write(node);
    } else {
      Owned<TVnJSONArray> found(doc->CreateNodeList(path, TVnJDOCSelectOptions{}));
      for (Integer i = 0; i < found->Count(); ++i) write(found->Item(i));
    }
  });
  return cExitOk;
}

int CmdToJSON(const TArguments &AArgs) {
  TInput input(AArgs.Positional[0]);
  Owned<TVnDOMDocument> doc = LoadDOM(input);
  TStdoutStream out;
  if (TVnDOMElement *root = doc->GetRootNode())
    root->SaveToJSONStream(&out, CP_UTF8, !AArgs.Has("--compact"));
  else
    out.Text("{}");
  EndOutput(out, 0);
  return cExitOk;
}

int CmdToXML(const TArguments &AArgs) {
  TInput input(AArgs.Positional[0]);
  Owned<TVnDOMDocument> doc = LoadDOM(input);
  TStdoutStream out;
  doc->SaveToStream(&out, CP_UTF8, !AArgs.Has("--compact"), false);
  EndOutput(out, 0);
  return cExitOk;
}

// ---- events

// Text in double quotes, escaped so that it stays on one line.
std::string Quoted(const UnicodeString &AText) {
  const std::string s = UTF8Encode(AText);
  std::string r = "\"";
  for (unsigned char c : s) {
    switch (c) {
      case '\\':
        r += "\\\\";
        break;
      case '"':
        r += "\\\"";
        break;
      case '\n':
        r += "\\n";
        break;
      case '\r':
        r += "\\r";
        break;
      case '\t':
        r += "\\t";
        break;
      default:
        if (c < 0x20 || c == 0x7F) {
          static const char hex[] = "0123456789ABCDEF";
          r += "\\x";
          r += hex[c >> 4];
          r += hex[c & 15];
        } else {
          r += static_cast<char>(c);
        }
    }
  }
  return r + "\"";
}

int CmdEvents(const TArguments &AArgs) {
  TInput input(AArgs.Positional[0]);
  TStdoutStream out;
  Owned<TVnSAXParser> parser(New<TVnSAXParser>(nullptr));
  auto line = [&out](const std::string &AText) { out.Text(AText + "\n"); };
  auto name = [](const UnicodeString &AName) { return UTF8Encode(AName); };
  parser->OnStartDocument = [&](TObject *) { line("startDocument"); };
  parser->OnEndDocument = [&](TObject *) { line("endDocument"); };
  parser->OnStartPrefixMapping = [&](TObject *, const VnXMLString &APrefix,
                                     const VnXMLString &AURI) {
    line("startPrefixMapping " + Quoted(APrefix) + " " + Quoted(AURI));
  };
  parser->OnEndPrefixMapping = [&](TObject *, const VnXMLString &APrefix) {
    line("endPrefixMapping " + Quoted(APrefix));
  };
  parser->OnStartElement = [&](TObject *, const VnXMLString &AURI, const VnXMLString &,
                               const VnXMLString &AQName, IVnSAXAttributes *AAttributes) {
    line("startElement " + name(AQName) + (AURI.empty() ? "" : " {" + name(AURI) + "}"));
    // The list lives only during this call.
    for (PVnSAXXMAttribute a = AAttributes ? AAttributes->FirstAttribute() : nullptr; a;
         a = a->Next)
      line("attribute " + name(a->QName) + "=" + Quoted(a->Value));
  };
  parser->OnEndElement = [&](TObject *, const VnXMLString &, const VnXMLString &,
                             const VnXMLString &AQName) { line("endElement " + name(AQName)); };
  parser->OnCharacters = [&](TObject *, const VnXMLString &AText) {
    line("characters " + Quoted(AText));
  };
  parser->OnIgnorableWhitespace = [&](TObject *, const VnXMLString &AText) {
    line("ignorableWhitespace " + Quoted(AText));
  };
  parser->OnProcessingInstruction = [&](TObject *, const VnXMLString &ATarget,
                                        const VnXMLString &AData) {
    line("processingInstruction " + name(ATarget) + " " + Quoted(AData));
  };
  parser->OnComment = [&](TObject *, const VnXMLString &AText) {
    line("comment " + Quoted(AText));
  };
  parser->OnStartCDATA = [&](TObject *) { line("startCDATA"); };
  parser->OnEndCDATA = [&](TObject *) { line("endCDATA"); };
  parser->OnStartDTD = [&](TObject *) { line("startDTD"); };
  parser->OnEndDTD = [&](TObject *) { line("endDTD"); };
  TLocation where;
  parser->OnFatalError = [&where](IVnSAXLocator *ALocator, const VnXMLString &) {
    if (ALocator) {
      where.Line = ALocator->GetLineNr();
      where.Column = ALocator->GetColNr();
    }
  };
  // The component looks at the first byte and does not know byte-order marks: the stream goes
  // to it behind one, with the page the mark names.
  TStream *stream = input.Stream();
  Word page = 0;
  input.SkipByteOrderMark(page);
  try {
    parser->ParseStream(stream, page);
  } catch (EWriteError &) {
    throw;
  } catch (Exception &E) {
    input.Finish();
    throw TDocumentError{DisplayName(input.Name()), where.Line, where.Column, OneLine(E.Message)};
  }
  return cExitOk;
}

// ---- check

int CmdCheck(const TArguments &AArgs) {
  int rc = cExitOk;
  for (const std::string &file : AArgs.Positional) {
    try {
      TInput input(file);
      if (input.Kind() == TInputKind::XML)
        LoadDOM(input);
      else
        LoadJSON(input);
    } catch (TInputError &E) {
      std::fprintf(stderr, "vnxml: %s\n", E.Text.c_str());
      rc = cExitDocument;
    } catch (TDocumentError &E) {
      std::fprintf(stderr, "%s: %s\n", Where(E).c_str(), E.Message.c_str());
      rc = cExitDocument;
    }
  }
  return rc;
}

// ---------------------------------------------------------------------------------------------
// Dispatch

int Help(const std::string &ACommand) {
  if (ACommand.empty()) {
    std::fputs(TopUsage(), stdout);
    return cExitOk;
  }
  const char *text = CommandHelp(ACommand);
  if (!text) throw TUsageError{"unknown command \"" + ACommand + "\" (see vnxml --help)"};
  std::fputs(text, stdout);
  return cExitOk;
}

int Run(int argc, char **argv) {
  if (argc < 2) throw TUsageError{"missing command (see vnxml --help)"};
  const std::string command = argv[1];
  if (command == "--help" || command == "-h") return Help("");
  if (command == "help") {
    if (argc > 3) throw TUsageError{"too many arguments for help (see vnxml --help)"};
    return Help(argc > 2 ? argv[2] : "");
  }
  if (!CommandHelp(command)) {
    if (command.size() > 1 && command[0] == '-')
      throw TUsageError{"unknown option \"" + command + "\" (see vnxml --help)"};
    throw TUsageError{"unknown command \"" + command + "\" (see vnxml --help)"};
  }
  for (int i = 2; i < argc; ++i) {
    if (std::strcmp(argv[i], "--") == 0) break;
    if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0)
      return Help(command);
  }
  if (command == "format") {
    const TArguments args = SplitArguments(command, argc, argv, 2, {});
    RequireArguments(command, args, 0, 1, "FILE");
    return CmdFormat(args);
  }
  if (command == "select") {
    const TArguments args = SplitArguments(
        command, argc, argv, 2,
        {"--first", "--create", "--case-sensitive", "--case-insensitive", "--local-name"});
    RequireArguments(command, args, 1, 2, "FILE");
    RequireArguments(command, args, 2, 2, "PATH");
    return CmdSelect(args);
  }
  if (command == "jpath") {
    const TArguments args = SplitArguments(command, argc, argv, 2, {"--first"});
    RequireArguments(command, args, 1, 2, "FILE");
    RequireArguments(command, args, 2, 2, "PATH");
    return CmdJPath(args);
  }
  if (command == "tojson" || command == "toxml") {
    const TArguments args = SplitArguments(command, argc, argv, 2, {"--compact"});
    RequireArguments(command, args, 1, 1, "FILE");
    return command == "tojson" ? CmdToJSON(args) : CmdToXML(args);
  }
  if (command == "events") {
    const TArguments args = SplitArguments(command, argc, argv, 2, {});
    RequireArguments(command, args, 1, 1, "FILE");
    return CmdEvents(args);
  }
  // check
  const TArguments args = SplitArguments(command, argc, argv, 2, {});
  RequireArguments(command, args, 1, -1, "FILE");
  return CmdCheck(args);
}

}  // namespace

int main(int argc, char **argv) {
  int rc;
  try {
    rc = Run(argc, argv);
  } catch (TUsageError &E) {
    std::fprintf(stderr, "vnxml: %s\n", E.Text.c_str());
    return cExitUsage;
  } catch (TInputError &E) {
    std::fprintf(stderr, "vnxml: %s\n", E.Text.c_str());
    rc = cExitDocument;
  } catch (TDocumentError &E) {
    std::fflush(stdout);
    std::fprintf(stderr, "vnxml: %s: %s\n", Where(E).c_str(), E.Message.c_str());
    rc = cExitDocument;
  } catch (TQueryError &E) {
    std::fflush(stdout);
    std::fprintf(stderr, "vnxml: %s\n", E.Message.c_str());
    rc = cExitDocument;
  } catch (Exception &E) {
    std::fflush(stdout);
    std::fprintf(stderr, "vnxml: %s\n", OneLine(E.Message).c_str());
    rc = cExitDocument;
  } catch (std::bad_alloc &) {
    std::fprintf(stderr, "vnxml: out of memory\n");
    rc = cExitDocument;
  } catch (std::exception &E) {
    std::fprintf(stderr, "vnxml: %s\n", E.what());
    rc = cExitDocument;
  } catch (...) {
    std::fprintf(stderr, "vnxml: unexpected failure\n");
    rc = cExitDocument;
  }
  if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
    std::fprintf(stderr, "vnxml: cannot write standard output: %s\n", std::strerror(errno));
    return cExitDocument;
  }
  return rc;
}
