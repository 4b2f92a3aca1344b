// JSON through the library: a file read as events, then loaded into a tree, read by name and by
// path, changed and written back formatted; last, the same file read as XML events into a DOM.
//
//   json_demo FILE
//
// For a file with a "statuses" array (the shape of a Twitter API response) it reads the first
// status; for any other file it lists the root's members and edits the first number it finds.
#include <cstdio>
#include <string>

#include "vnxml/json/uVnJSON.h"
#include "vnxml/xml/uVnXMLDOM.h"

using namespace vn;

namespace {

// Counts the reader's events by kind.
class TCounter : public TVnObject, public IVnJSONContentHandler, public IVnJSONErrorHandler {
  VN_CLASS(TCounter, TVnObject)
  VN_IMPLEMENTS(TVnObject, IVnJSONContentHandler, IVnJSONErrorHandler)
 public:
  TObject *Implementor() override { return this; }
  long Objects = 0, Arrays = 0, Members = 0, Values[6] = {};
  void SetDocumentLocator(IVnJSONLocator *) override {}
  void StartDocument() override {}
  void StartObject() override { ++Objects; }
  void StartMember(const VnJSONString &) override { ++Members; }
  void StartArray() override { ++Arrays; }
  void Value(TVnJSONDataType AType, const VnJSONString &) override { ++Values[AType]; }
  void EndArray() override {}
  void EndMember() override {}
  void EndObject() override {}
  void EndDocument() override {}
  void Warning(IVnJSONLocator *, const VnJSONString &) override {}
  void Error(IVnJSONLocator *, const VnJSONString &) override {}
  void FatalError(IVnJSONLocator *, const VnJSONString &) override {}
};

const char *TypeName(TVnJSONDataType AType) {
  static const char *const names[] = {"null", "string", "number", "boolean", "object", "array"};
  return names[AType];
}

std::string U8(const UnicodeString &AText) {
  return UTF8Encode(AText);
}

void ShowStatus(TVnJSONDocument *ADoc) {
  TVnJSONBase *statuses = ADoc->GetMember(u"statuses", {jsoRaise})->GetAsArray();
  std::printf("statuses: %d\n", statuses->Count());
  TVnJSONBase *first = statuses->Item(0);
  TVnJSONBase *user = first->GetMember(u"user", {jsoRaise})->GetAsObject();
  std::printf("first status by @%s (%s followers):\n  %s\n",
              U8(user->GetMember(u"screen_name", {jsoRaise})->GetAsString()).c_str(),
              U8(user->GetMember(u"followers_count", {jsoRaise})->GetAsString()).c_str(),
              U8(first->GetMember(u"text", {jsoRaise})->GetAsString()).c_str());
  // Change one member and add one, then show the status's metadata formatted.
  TVnJSONMember *retweets = first->GetMember(u"retweet_count", {jsoRaise});
  const Integer before = retweets->GetAsInteger();
  retweets->SetAsInteger(before + 1);
  first->GetMember(u"seen_by_demo", {jsoCreate})->SetAsBoolean(true);
  std::printf("retweet_count %d -> %d\n", before, retweets->GetAsInteger());
  std::printf(
      "metadata of the first status, formatted:\n%s\n",
      U8(first->GetMember(u"metadata", {jsoRaise})->GetValueObj()->GetFormattedJSON()).c_str());
}

// Prints what each path selects: the count, and the first few nodes as JSON.
void ShowPaths(TVnJSONDocument *ADoc, std::initializer_list<const char16_t *> APaths) {
  for (const char16_t *path : APaths) {
    Owned<TVnJSONArray> found(ADoc->CreateNodeList(path, {}));
    std::printf("%s -> %d node(s)", U8(path).c_str(), found->Count());
    for (Integer i = 0; i < found->Count() && i < 3; ++i)
      std::printf("%s %s", i ? "," : ":", U8(found->Item(i)->GetAsJSON()).c_str());
    std::printf("%s\n", found->Count() > 3 ? ", ..." : "");
  }
}

void ShowAny(TVnJSONDocument *ADoc) {
  TVnJSONBase *root = ADoc->GetRootValue();
  if (!root) {
    std::printf("(empty document)\n");
    return;
  }
  if (root->JSONType() == jdtObject) {
    for (Integer i = 0; i < root->Count(); ++i) {
      TVnJSONBase *m = root->Item(i);
      std::printf("  %-8s %s\n", U8(m->GetName()).c_str(), TypeName(m->GetValueObj()->JSONType()));
    }
  }
  // Through the interfaces: the same tree, reached as IVnJSONDocument.
  DelphiInterface<IVnJSONDocument> doc(ADoc);
  if (DelphiInterface<IVnJSONMember> books = doc->FindMemberIntf(u"books", false)) {
    DelphiInterface<IVnJSONArray> list = books->GetAsArrayIntf();
    DelphiInterface<IVnJSONBase> first = list->GetItem(0);
    std::printf("first book: %s at %s\n", U8((*first)[u"title"]->GetAsString()).c_str(),
                U8((*first)[u"price"]->GetAsString()).c_str());
    (*first)[u"price"]->SetAsDouble(8.75);
    DelphiInterface<IVnJSONObject> added = list->AddValueIntf1(jdtObject)->GetAsObjectIntf();
    added->AddMemberIntf4(u"id", 10);
    added->AddMemberIntf4(u"title", u"New \"Arrivals\"");
    added->AddMemberIntf2(u"tags", jdtArray);
  }
  std::printf("changed, formatted:\n%s\n", U8(doc->GetFormattedJSON()).c_str());
}

}  // namespace

int main(int argc, char **argv) {
  const UnicodeString file = UTF8ToString(argc > 1 ? argv[1] : "examples/data/store.json");
  try {
    // Events first: the reader with a handler of a few lines.
    Owned<TVnJSONReader> reader(New<TVnJSONReader>());
    TCounter *counter = New<TCounter>();
    reader->SetContentHandler(counter);
    reader->SetErrorHandler(counter);
    reader->ParseFile(file, CP_UTF8);
    std::printf(
        "events: %ld objects, %ld arrays, %ld members; values: %ld strings, %ld numbers, "
        "%ld booleans, %ld nulls\n",
        counter->Objects, counter->Arrays, counter->Members, counter->Values[jdtString],
        counter->Values[jdtNumber], counter->Values[jdtBoolean], counter->Values[jdtNull]);

    // Then the tree.
    Owned<TVnJSONDocument> doc(TVnJSONDocument::CreateFromFile(file, CP_UTF8));
    const bool statuses = doc->GetRootValue() &&
                          doc->GetRootValue()->JSONType() == jdtObject &&
                          doc->FindMember(u"statuses");
    // Paths: names, indices, slices, recursive descent, filters, and a member made where a path
    // misses one.
    if (statuses) {
      ShowPaths(doc.get(), {u"$.statuses[0].user.screen_name",
                            u"$.statuses[?(@.retweet_count > 100)].user.screen_name",
                            u"$..hashtags[*].text", u"$.statuses[-2:].id"});
    } else {
      ShowPaths(doc.get(), {u"$.books[?(@.price < 20)].title", u"$..tags[*]",
                            u"$.books[(@.length-1)].title", u"$['store','owner']"});
      doc->SelectSingleNode(u"$.books[0].isbn", {jsoCreate})->SetAsString(u"978-0441172719");
    }
    if (statuses)
      ShowStatus(doc.get());
    else
      ShowAny(doc.get());
    std::printf("written unformatted: %zu characters\n", doc->GetAsJSON().size());

    // The same file as the XML it stands for: a DOM load takes the JSON reader when the text
    // does not begin with "<".
    Owned<TVnDOMDocument> dom(TVnDOMDocument::CreateFromFile(file, fmOpenRead));
    Owned<TVnDOMNodeList> elements(dom->CreateNodeList(u"//*", {}));
    std::printf("as XML: %d elements below <%s>\n", elements->Count(),
                U8(dom->GetRootNode()->GetLocalName()).c_str());
    if (!statuses) std::printf("%s\n", U8(dom->GetRootNode()->GetFormattedXML()).c_str());
  } catch (Exception &e) {
    std::fprintf(stderr, "%s: %s\n", UTF8Encode(e.ClassName()).c_str(), e.what());
    return 1;
  }
  return 0;
}
