// TVnDOMNode::Transform: style-sheet transformation of a node's XML through libxslt.
//
// The node's XML and the style sheet's XML are UTF-16 text here; both go to libxml2 as UTF-8
// with any encoding declaration inside them ignored, libxslt compiles the style sheet and runs
// it, and the result, written as xsl:output describes it, comes back as UTF-16. The engine's
// messages are collected per call on the calling thread and become the text of the exception.
// Built without VNXML_WITH_XSLT, every form raises EVnDomNotSupported.
#include "vnxml/xml/uVnXMLDOM/Internal.h"

#ifdef VNXML_WITH_XSLT
#include <libxml/parser.h>
#include <libxml/xmlIO.h>
#include <libxml/xmlerror.h>
#include <libxml/xmlversion.h>
#include <libxslt/documents.h>
#include <libxslt/extensions.h>
#include <libxslt/extra.h>
#include <libxslt/security.h>
#include <libxslt/transform.h>
#include <libxslt/xslt.h>
#include <libxslt/xsltInternals.h>
#include <libxslt/xsltutils.h>

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "vnxml/common/uVnTypes.h"
#include "vnxml/rtl/CodePages.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/rtl/Streams.h"
#endif

namespace vn {

#ifdef VNXML_WITH_XSLT

namespace {

inline constexpr const char16_t *cSourceNotWellFormed =
    u"The XML of the node to transform is not well-formed:\r\n%s";
inline constexpr const char16_t *cStyleSheetNotWellFormed =
    u"The style sheet is not well-formed XML:\r\n%s";
inline constexpr const char16_t *cStyleSheetInvalid =
    u"The style sheet is not a valid XSLT style sheet:\r\n%s";
inline constexpr const char16_t *cTransformFailed = u"The style sheet transformation failed:\r\n%s";
inline constexpr const char16_t *cNoDetails = u"The XSLT engine gave no details.";
inline constexpr const char16_t *cTooLarge =
    u"The text is too large for the XSLT engine (2 GB at most)!";

// The namespace of the extension functions of the original platform's engine; style sheets
// written for it call msxsl:node-set, which libxslt has under other namespaces only.
inline constexpr const char *cMSXSLNamespace = "urn:schemas-microsoft-com:xslt";

// Options of both parses: no network, CDATA sections as text (the XSLT data model has none),
// entities replaced and default attributes of an internal subset added, and the encoding of
// the text given by the caller (UTF-8) rather than by a declaration inside it: the text has been
// decoded already, whatever its declaration says.
constexpr int cParseOptions = XML_PARSE_NONET | XML_PARSE_NOCDATA | XML_PARSE_NOENT |
                              XML_PARSE_DTDATTR | XML_PARSE_IGNORE_ENC;

// --- the engine's messages

// What the engine reported during one call on this thread, as UTF-8 text.
struct TEngineLog {
  std::string Text;
  // An error (not a warning) was reported.
  bool Error = false;
};

thread_local TEngineLog *tLog = nullptr;

// The handlers that stood in libxslt's process-wide slots before this unit took them over; a
// message outside a call of this unit goes on to them.
xmlGenericErrorFunc gOuterXSLTError = nullptr;
void *gOuterXSLTErrorContext = nullptr;
xsltDocLoaderFunc gOuterLoader = nullptr;

// A message of its own line, ended.
void AppendLine(TEngineLog &ALog, std::string_view ALine) {
  while (!ALine.empty() && (ALine.back() == '\n' || ALine.back() == '\r' || ALine.back() == ' '))
    ALine.remove_suffix(1);
  if (ALine.empty()) return;
  if (!ALog.Text.empty() && ALog.Text.back() != '\n') ALog.Text += '\n';
  ALog.Text += ALine;
  ALog.Text += '\n';
}

std::string FormatV(const char *AFormat, va_list AArgs) {
  va_list copy;
  va_copy(copy, AArgs);
  char small[512];
  const int n = std::vsnprintf(small, sizeof small, AFormat, copy);
  va_end(copy);
  if (n < 0) return std::string();
  if (static_cast<std::size_t>(n) < sizeof small) return std::string(small, n);
  std::string r(static_cast<std::size_t>(n) + 1, '\0');
  std::vsnprintf(r.data(), r.size(), AFormat, AArgs);
  r.resize(static_cast<std::size_t>(n));
  return r;
}

// libxml2's and libxslt's printf-like messages. libxslt sends a message in pieces (the place,
// then the text), each ending its line; pieces without a line end are joined.
void GenericMessage(void *, const char *AFormat, ...) {
  va_list args;
  va_start(args, AFormat);
  const std::string text = FormatV(AFormat, args);
  va_end(args);
  if (TEngineLog *log = tLog) {
    log->Text += text;
  } else if (gOuterXSLTError) {
    gOuterXSLTError(gOuterXSLTErrorContext, "%s", text.c_str());
  }
}

// libxml2's structured errors: the parser's messages with their file and line. The handler
// takes a pointer to const from libxml2 2.12 on.
#if LIBXML_VERSION >= 21200
using TErrorArg = const xmlError *;
#else
using TErrorArg = xmlErrorPtr;
#endif

void StructuredMessage(void *, TErrorArg AError) {
  TEngineLog *log = tLog;
  if (!log || !AError) return;
  if (AError->level >= XML_ERR_ERROR) log->Error = true;
  std::string line;
  if (AError->level == XML_ERR_WARNING) line += "warning: ";
  if (AError->file) {
    line += AError->file;
    line += ':';
  }
  if (AError->line > 0) {
    line += "line ";
    line += std::to_string(AError->line);
    line += ": ";
  }
  line += AError->message ? AError->message : "error";
  AppendLine(*log, line);
}

// Documents that libxslt loads itself (xsl:import, xsl:include, document()) never come from the
// network inside a call of this unit.
xmlDocPtr LoadDocument(const xmlChar *AURI, xmlDictPtr ADict, int AOptions, void *ACtxt,
                       xsltLoadType AType) {
  if (tLog) AOptions |= XML_PARSE_NONET;
  return gOuterLoader(AURI, ADict, AOptions, ACtxt, AType);
}

// libxml2 and libxslt are set up once per process, before the first call on any thread.
// xmlCleanupParser is never called: the application may use libxml2 itself.
void StartEngine() {
  static std::once_flag once;
  std::call_once(once, [] {
    xmlInitParser();
    xsltInitGlobals();
    xsltInit();
    gOuterXSLTError = xsltGenericError;
    gOuterXSLTErrorContext = xsltGenericErrorContext;
    xsltSetGenericErrorFunc(nullptr, GenericMessage);
    gOuterLoader = xsltDocDefaultLoader;
    xsltSetLoaderFunc(LoadDocument);
    xsltRegisterExtModuleFunction(BAD_CAST "node-set", BAD_CAST cMSXSLNamespace,
                                  xsltFunctionNodeSet);
  });
}

// One call's collection: libxml2's handlers are per thread and are put back as they were;
// libxslt's process-wide handler finds the collection through the thread's slot.
class TEngineScope {
 public:
  TEngineScope() {
    StartEngine();
    FOuterLog = tLog;
    tLog = &FLog;
    FGeneric = xmlGenericError;
    FGenericContext = xmlGenericErrorContext;
    FStructured = xmlStructuredError;
    FStructuredContext = xmlStructuredErrorContext;
    xmlSetGenericErrorFunc(nullptr, GenericMessage);
    xmlSetStructuredErrorFunc(nullptr, StructuredMessage);
  }
  ~TEngineScope() {
    xmlSetStructuredErrorFunc(FStructuredContext, FStructured);
    xmlSetGenericErrorFunc(FGenericContext, FGeneric);
    tLog = FOuterLog;
  }
  TEngineScope(const TEngineScope &) = delete;
  TEngineScope &operator=(const TEngineScope &) = delete;

  TEngineLog &Log() noexcept { return FLog; }
  // The messages so far as the text of an exception; the log starts again.
  UnicodeString TakeMessages() {
    std::string text;
    text.swap(FLog.Text);
    FLog.Error = false;
    UnicodeString r;
    for (char16_t c : UTF8ToString(text)) {
      if (c == u'\n') r += u'\r';
      r += c;
    }
    while (!r.empty() && (r.back() == u'\n' || r.back() == u'\r' || r.back() == u' ')) r.pop_back();
    return r.empty() ? UnicodeString(cNoDetails) : r;
  }

 private:
  TEngineLog FLog;
  TEngineLog *FOuterLog;
  xmlGenericErrorFunc FGeneric;
  void *FGenericContext;
  xmlStructuredErrorFunc FStructured;
  void *FStructuredContext;
};

// --- owners of the engine's objects

struct TFreeDoc {
  void operator()(xmlDoc *ADoc) const noexcept { xmlFreeDoc(ADoc); }
};
struct TFreeStyleSheet {
  void operator()(xsltStylesheet *AStyle) const noexcept { xsltFreeStylesheet(AStyle); }
};
struct TFreeContext {
  void operator()(xsltTransformContext *AContext) const noexcept {
    xsltFreeTransformContext(AContext);
  }
};
struct TFreeSecurity {
  void operator()(xsltSecurityPrefs *APrefs) const noexcept { xsltFreeSecurityPrefs(APrefs); }
};
struct TCloseOutput {
  void operator()(xmlOutputBuffer *AOutput) const noexcept { xmlOutputBufferClose(AOutput); }
};
using TDocPtr = std::unique_ptr<xmlDoc, TFreeDoc>;
using TStyleSheetPtr = std::unique_ptr<xsltStylesheet, TFreeStyleSheet>;
using TContextPtr = std::unique_ptr<xsltTransformContext, TFreeContext>;
using TSecurityPtr = std::unique_ptr<xsltSecurityPrefs, TFreeSecurity>;
using TOutputPtr = std::unique_ptr<xmlOutputBuffer, TCloseOutput>;

// Parses decoded text; a document that libxml2 refuses, or that it read with errors (an
// undeclared prefix), raises EVnDomSyntax with AMessage and libxml2's messages.
TDocPtr ParseText(TEngineScope &AScope, const UnicodeString &AText, const char *AURL,
                  const char16_t *AMessage) {
  const std::string utf8 = UTF8Encode(AText);
  if (utf8.size() > static_cast<std::size_t>(INT_MAX)) throw EVnDomException(cTooLarge);
  TDocPtr doc(
      xmlReadMemory(utf8.data(), static_cast<int>(utf8.size()), AURL, "UTF-8", cParseOptions));
  if (!doc || AScope.Log().Error) throw EVnDomSyntax(AMessage, {AScope.TakeMessages()});
  AScope.TakeMessages();  // warnings
  return doc;
}

// Style sheets may read files (xsl:include, xsl:import, document()) but neither reach the
// network nor write files or create directories.
TSecurityPtr SecurityPrefs() {
  TSecurityPtr prefs(xsltNewSecurityPrefs());
  if (!prefs) throw EOutOfMemory(u"Out of memory");
  xsltSetSecurityPrefs(prefs.get(), XSLT_SECPREF_READ_NETWORK, xsltSecurityForbid);
  xsltSetSecurityPrefs(prefs.get(), XSLT_SECPREF_WRITE_NETWORK, xsltSecurityForbid);
  xsltSetSecurityPrefs(prefs.get(), XSLT_SECPREF_WRITE_FILE, xsltSecurityForbid);
  xsltSetSecurityPrefs(prefs.get(), XSLT_SECPREF_CREATE_DIRECTORY, xsltSecurityForbid);
  return prefs;
}

// The transformation of ASource by AStyleSheet (both XML text); AURL is the style sheet's own
// place, against which its relative references resolve (null for a style sheet from a node).
UnicodeString TransformText(const UnicodeString &ASource, const UnicodeString &AStyleSheet,
                            const char *AURL) {
  TEngineScope scope;
  TDocPtr source = ParseText(scope, ASource, nullptr, cSourceNotWellFormed);
  TDocPtr sheet = ParseText(scope, AStyleSheet, AURL, cStyleSheetNotWellFormed);

  // A compiled style sheet owns its document; one that fails to compile leaves it to the caller.
  TStyleSheetPtr style(xsltParseStylesheetDoc(sheet.get()));
  if (!style) throw EVnDomException(cStyleSheetInvalid, {scope.TakeMessages()});
  sheet.release();
  if (style->errors != 0) throw EVnDomException(cStyleSheetInvalid, {scope.TakeMessages()});
  scope.TakeMessages();  // warnings

  const TSecurityPtr prefs = SecurityPrefs();
  const TContextPtr context(xsltNewTransformContext(style.get(), source.get()));
  if (!context) throw EVnDomException(cTransformFailed, {scope.TakeMessages()});
  xsltSetTransformErrorFunc(context.get(), nullptr, GenericMessage);
  xsltSetCtxtSecurityPrefs(prefs.get(), context.get());
  TDocPtr result(
      xsltApplyStylesheetUser(style.get(), source.get(), nullptr, nullptr, nullptr, context.get()));
  if (!result || context->state != XSLT_STATE_OK)
    throw EVnDomException(cTransformFailed, {scope.TakeMessages()});

  // The output as xsl:output describes it (method, declaration, indentation), but in UTF-8
  // whatever encoding it names: the text goes on as UTF-16, and the declaration keeps the
  // encoding that the style sheet asked for.
  TOutputPtr output(xmlAllocOutputBuffer(nullptr));
  if (!output) throw EOutOfMemory(u"Out of memory");
  if (xsltSaveResultTo(output.get(), result.get(), style.get()) < 0)
    throw EVnDomException(cTransformFailed, {scope.TakeMessages()});
  const xmlChar *bytes = xmlOutputBufferGetContent(output.get());
  const std::size_t size = xmlOutputBufferGetSize(output.get());
  if (!bytes || size == 0) return UnicodeString();
  return UTF8ToString(std::string_view(reinterpret_cast<const char *>(bytes), size));
}

// The text of a style sheet file: a byte-order mark tells UTF-8 or UTF-16, otherwise the
// default code page.
UnicodeString LoadTextFile(const UnicodeString &AFileName) {
  Owned<TFileStream> stream =
      MakeOwned<TFileStream>(AFileName, Word(fmOpenRead | fmShareDenyWrite));
  const Word page = VnGetCodePage(stream.get());
  const Int64 size = stream->GetSize() - stream->GetPosition();
  std::string bytes(static_cast<std::size_t>(size > 0 ? size : 0), '\0');
  if (!bytes.empty()) stream->ReadBuffer(bytes.data(), static_cast<Int64>(bytes.size()));
  return CodePageToUnicode(bytes.data(), bytes.size(), page ? page : DefaultSystemCodePage);
}

}  // namespace

void TVnDOMNode::Transform(const UnicodeString &AStyleSheetFile, WideString &AResult) {
  AResult.clear();
  const UnicodeString source = GetXML();
  const UnicodeString sheet = LoadTextFile(AStyleSheetFile);
  AResult = TransformText(source, sheet, FileNameToNative(AStyleSheetFile).c_str());
}

void TVnDOMNode::Transform(TVnDOMNode *AStyleSheet, WideString &AResult) {
  AResult.clear();
  if (!AStyleSheet) throw EArgumentNilException(dom::cNilNode);
  AResult = TransformText(GetXML(), AStyleSheet->GetXML(), nullptr);
}

#else

void TVnDOMNode::Transform(const UnicodeString &, WideString &AResult) {
  AResult.clear();
  throw EVnDomNotSupported(dom::cTransformNotSupported);
}

void TVnDOMNode::Transform(TVnDOMNode *, WideString &AResult) {
  AResult.clear();
  throw EVnDomNotSupported(dom::cTransformNotSupported);
}

#endif

TVnDOMDocument *TVnDOMNode::Transform(const UnicodeString &AStyleSheetFile) {
  WideString text;
  Transform(AStyleSheetFile, text);
  return TVnDOMDocument::CreateFromXML(text);
}

TVnDOMDocument *TVnDOMNode::Transform(TVnDOMNode *AStyleSheet) {
  WideString text;
  Transform(AStyleSheet, text);
  return TVnDOMDocument::CreateFromXML(text);
}

}  // namespace vn
