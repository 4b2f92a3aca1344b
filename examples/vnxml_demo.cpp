// The library's demonstration: reads a bundled settings file through the text source in each of
// its three widths (one byte per character, UTF-16 and UTF-8) and shows that each width scans
// the same lines and takes the same text.
#include <cstdio>
#include <string>

#include "vnxml/common/uVnClasses.h"

using namespace vn;

namespace {

// Scans "name = value" lines, skipping comments and blank lines.
void Scan(TVnTextParser *P) {
  const TVnCharSet blanks = TVnCharSet::Of(" \t\r\n");
  while (!P->Eof()) {
    P->SkipWhileSet(soInSet, blanks);
    if (P->Eof()) break;
    if (P->CurrCharW() == u'#') {
      P->SkipWhile(soNotEqual, cVnLF);
      continue;
    }
    const Integer line = P->GetLineNr();
    P->SetMark(tpMark1);
    P->SkipWhileSet(soNotInSet, TVnCharSet::Of(" =\n"));
    UnicodeString name = P->Selected(tpMark1, tpCurrent, true);
    P->SkipWhile(soNotEqual, cVnEqual);
    if (!P->Eof()) P->NextChar();
    P->SkipWhile(soEqual, cVnSpace);
    P->SetMark(tpMark1);
    P->SkipWhile(soNotEqual, cVnLF);
    UnicodeString value = Trim(P->Selected(tpMark1, tpCurrent, true));
    std::printf("  line %d: %-6s = \"%s\"\n", line, UTF8Encode(name).c_str(),
                UTF8Encode(value).c_str());
  }
}

}  // namespace

int main(int argc, char **argv) {
  const std::string dir = argc > 1 ? argv[1] : "examples/data";
  const UnicodeString file = UTF8ToString(dir + "/settings.txt");
  try {
    // The file is UTF-8; the other two widths get the same text converted.
    TMemoryStream *bytes = New<TMemoryStream>();
    bytes->LoadFromFile(file);
    const UnicodeString text = TVnEncoding::ConvertA(
        RawByteString(static_cast<const char *>(bytes->Memory()), bytes->GetSize()), CP_UTF8);
    bytes->Free();

    struct {
      const char *Label;
      Word Page;
    } widths[] = {{"one byte a character (ISO-8859-15)", 28605},
                  {"UTF-16", CP_UTF16},
                  {"UTF-8, read from the file stream", CP_UTF8}};
    for (const auto &w : widths) {
      std::printf("%s:\n", w.Label);
      TVnTextParser *p;
      RawByteString encoded;
      if (w.Page == CP_UTF8) {
        p = New<TVnTextParser>(New<TFileStream>(file, fmOpenRead), true, CP_UTF8);
      } else {
        encoded = TVnEncoding::ConvertW(text, w.Page);
        p = New<TVnTextParser>(encoded.data(), encoded.size(), w.Page);
      }
      Scan(p);
      p->Free();
    }
  } catch (Exception &e) {
    std::fprintf(stderr, "%s: %s\n", UTF8Encode(e.ClassName()).c_str(), e.what());
    return 1;
  }
  return 0;
}
