// Fuzz target of JSON path selection: the input is a path with its filters, run against a small
// fixed document (objects, arrays, nested arrays, strings with escapes, numbers, literals, names
// that differ only in case, an empty object and array) from the document, the root value, an
// inner array and a member. The whole input is read as UTF-8 with no options; then its first
// byte is taken as a set of options (bit n for option n, jsoRaise first) and the rest as the
// path. Options with jsoCreate run on a fresh copy of the document, which is written out
// afterwards.
//
// A selection may fail only with the failures that arbitrary path text leads to: EVnJSONException
// (a malformed path or filter, nothing found with jsoRaise, an array refusing a member),
// EConvertError (an index or script that is no integer) and the plain Exception of a filter
// without a term. Anything else aborts with the path and the exception, and so does a broken
// promise: SelectSingleNode not giving the first node of CreateNodeList, or a result array that
// owns its nodes. A crash, a hang or a leak is a finding as well.
//
// Built with clang -fsanitize=fuzzer by fuzz/run.sh (FUZZ_TARGET=fuzz_jsonpath); in the normal
// build the same function is linked into jsonpath_tests, which feeds it every file of
// fuzz/corpus/jsonpath.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "vnxml/json/uVnJSON.h"
#include "vnxml/rtl/Owned.h"

using namespace vn;

namespace {

const char16_t *const cDocument =
    u"{\"store\":{\"book\":[{\"title\":\"A\\\"q\",\"price\":8.95,\"tags\":[\"x\",\"y\"]},"
    u"{\"title\":\"B\",\"price\":12,\"isbn\":\"1-2\",\"used\":true},"
    u"{\"Title\":\"c\",\"price\":-3e2,\"used\":false,\"n\":null}],"
    u"\"bicycle\":{\"color\":\"red\",\"price\":19.95}},"
    u"\"m\":[[1,2],[3,[4,5]],[]],\"e\":{},\"0\":\"zero\",\"a b\":\"\\u00e9\"}";

[[noreturn]] void Fail(const UnicodeString &APath, const char *AWhat) {
  std::fprintf(stderr, "path \"%s\": %s\n", UTF8Encode(APath).c_str(), AWhat);
  std::abort();
}

// Runs one selection from each starting point.
void Select(TVnJSONDocument *ADoc, const UnicodeString &APath, TVnJDOCSelectOptions AOptions) {
  TVnJSONBase *root = ADoc->GetRootValue();
  TVnJSONBase *starts[] = {ADoc, root, root ? root->SelectSingleNode(u"$.m[1]", {}) : nullptr,
                           root ? root->FindMember(u"store") : nullptr};
  for (TVnJSONBase *start : starts) {
    if (!start) continue;
    try {
      Owned<TVnJSONArray> list(start->CreateNodeList(APath, AOptions));
      if (list->Owner()) Fail(APath, "the result array has an owner");
      TVnJSONBase *first = nullptr;
      try {
        first = start->SelectSingleNode(APath, AOptions);
      } catch (const EVnJSONException &) {
        // jsoCreate may have made what a second run then finds differently; nothing else may
        // fail the second time.
        if (!AOptions.Contains(jsoCreate)) Fail(APath, "the second run failed");
      }
      if (!AOptions.Contains(jsoCreate) && list->Count() > 0 && first != list->Item(0))
        Fail(APath, "SelectSingleNode is not the first node of CreateNodeList");
      // The listed nodes are alive.
      for (Integer i = 0; i < list->Count(); ++i) (void)list->Item(i)->GetJSONType();
    } catch (const EVnJSONException &) {
    } catch (const EConvertError &) {
    } catch (const Exception &e) {
      if (e.ClassType() != Exception::StaticClass()) Fail(APath, e.what());
    } catch (const std::exception &e) {
      Fail(APath, e.what());
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *AData, std::size_t ASize) {
  static TVnJSONDocument *shared = TVnJSONDocument::CreateFromJSON(UnicodeString(cDocument));
  const std::string bytes(reinterpret_cast<const char *>(AData), ASize);
  Select(shared, UTF8ToString(bytes), {});
  if (ASize == 0) return 0;
  TVnJDOCSelectOptions options;
  for (int bit = 0; bit < 3; ++bit)
    if (AData[0] & (1 << bit)) options << static_cast<TVnJDOCSelectOption>(bit);
  const UnicodeString path = UTF8ToString(bytes.substr(1));
  if (options.Contains(jsoCreate)) {
    Owned<TVnJSONDocument> copy(TVnJSONDocument::CreateFromJSON(UnicodeString(cDocument)));
    Select(copy.get(), path, options);
    (void)copy->GetAsJSON();
  } else {
    Select(shared, path, options);
  }
  return 0;
}
