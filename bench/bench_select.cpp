// Path selection against pugixml (select_nodes with the query compiled once, and compiled per
// call) and libxml2 (xmlXPathEval, which compiles per call), on the same bytes in the same run.
// Two documents, each loaded once per library and kept: the generated catalogue of about 50 MB
// of bench_dom (item elements with id and kind attributes, in a default namespace) and
// freedesktop.org.xml from shared-mime-info (mime-type elements with glob children, also in a
// default namespace).
//
// Families, "<query>/<document>/<who>":
//   Attr    "//x[@a="v"]" from the document: a name test on every element of the tree and an
//           attribute test on those of the name; the value matches one element
//           (big: //item[@id="<the middle id>"], freedesktop: //glob[@pattern="*.pdf"]).
//   Middle  "a/b[@c="v"]/d" from the document: three child steps with a predicate on the middle
//           one (big: catalog/item[@kind="k3"]/price, a seventh of the items; freedesktop:
//           mime-info/mime-type[@type="application/pdf"]/glob).
//   Create  "a/b/c" with soCreate below each of 100,000 new empty elements p, all children of
//           one new element under the document's root: each call finds nothing and builds the
//           three elements. The peers select "a/b/c" the same way and append the three elements
//           when nothing is found. Building the 100,000 parents before and taking them out after
//           is not timed.
// libxml2 does not match an unprefixed name against elements of a default namespace, so its
// expressions name the elements with a prefix bound to the document's namespace; pugixml and
// this library match the names as they are written.
//
// Who: "vnxml" selects with soCaseSensitive, the name and value matching of the peers; "vnxml_ci"
// with the default options (names and values compared ASCII case-insensitively) for reference;
// "vnxml_walk" (Attr only) no query but a bare walk over the library's tree that reads what
// "//x" must read, the floor of the Attr rows on this tree; "pugixml_compiled" (xpath_query made
// once), "pugixml_percall" (select_nodes of the text), "libxml2" (xmlXPathEval on a context made
// once).
//
// Times are the processor time of the thread (manual time), so that other work on the machine
// does not count. Counters: bytes_per_second is the document's size over the time of one query;
// cand/s the candidates over time, counted once per query by a plain walk (Attr: every element of
// the document, which the name test of "//" looks at; Middle: the element children that each of the
// three steps looks at; Create: the three elements that the steps run from for each path, p, a
// and b); paths/s for Create. On the vnxml rows, vs_<peer> is the vnxml throughput over the
// peer's of the same family in this run (above 1: vnxml is faster); the peers are registered
// first so that they have run. Every library must select the same number of nodes: a row whose
// count differs stops with an error.
//
// Paired rows, "Paired/<family>/<document>/vnxml:pugixml_compiled", run this library's pass and
// compiled pugixml's in turn, so that both meet the machine in the same state; they report the
// peer's time over this library's (see bench_util.h).
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xpath.h>
#include <libxml/xpathInternals.h>

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <pugixml.hpp>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "bench_util.h"
#include "vnxml/xml/uVnXMLDOM.h"

using namespace vn;

namespace {

// ---------------------------------------------------------------------------------------------
// Inputs and their queries

struct TQuery {
  std::string Pugi;      // the text for pugixml, and for this library as UTF-16
  std::string Xml2;      // the text for libxml2, names prefixed with "c"
  Int64 Expected = -1;   // nodes selected, found by the compiled pugixml query
  Int64 Candidates = 0;  // elements looked at, counted by a plain walk
};

struct TInput {
  std::string Name;
  std::string Text;
  std::string NamespaceURI;
  TQuery Attr;
  TQuery Middle;
};

const std::string &GeneratedText() {
  // The document of bench_dom, byte for byte.
  static const std::string text = [] {
    std::string s;
    s.reserve(52u << 20);
    s += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<catalog xmlns=\"urn:example:catalog\">";
    for (int i = 0; s.size() < (50u << 20); ++i) {
      const std::string n = std::to_string(i);
      s += "<item id=\"" + n + "\" kind=\"k" + std::to_string(i % 7) + "\"><name>Item number " + n +
           "</name><price currency=\"EUR\">" + std::to_string(i % 1000) +
           ".95</price><note>text &amp; more, caf\xC3\xA9 " + n + "</note><!-- c --></item>";
    }
    s += "</catalog>";
    return s;
  }();
  return text;
}

std::string ReadFile(const char *APath) {
  std::ifstream in(APath, std::ios::binary);
  std::stringstream b;
  b << in.rdbuf();
  return b.str();
}

constexpr unsigned cPugiOptions =
    pugi::parse_default | pugi::parse_comments | pugi::parse_pi | pugi::parse_declaration;

Int64 CountElements(pugi::xml_node ANode) {
  Int64 n = 0;
  for (pugi::xml_node c = ANode.first_child(); c; c = c.next_sibling()) {
    if (c.type() != pugi::node_element) continue;
    n += 1 + CountElements(c);
  }
  return n;
}

Int64 ElementChildren(pugi::xml_node ANode) {
  Int64 n = 0;
  for (pugi::xml_node c = ANode.first_child(); c; c = c.next_sibling())
    if (c.type() == pugi::node_element) ++n;
  return n;
}

// The element children that the three steps of a/b[@c="v"]/d look at from the document.
Int64 CountMiddleCandidates(pugi::xml_node ADocument, const char *A, const char *B, const char *C,
                            const char *V) {
  Int64 n = ElementChildren(ADocument);
  for (pugi::xml_node a = ADocument.child(A); a; a = a.next_sibling(A)) {
    n += ElementChildren(a);
    for (pugi::xml_node b = a.child(B); b; b = b.next_sibling(B)) {
      if (std::string(b.attribute(C).value()) == V && b.attribute(C)) n += ElementChildren(b);
    }
  }
  return n;
}

std::vector<TInput> &Inputs() {
  static std::vector<TInput> inputs = [] {
    std::vector<TInput> r(2);
    {
      TInput &in = r[0];
      in.Name = "big";
      in.Text = GeneratedText();
      in.NamespaceURI = "urn:example:catalog";
    }
    {
      TInput &in = r[1];
      in.Name = "freedesktop";
      in.Text = ReadFile("/usr/share/mime/packages/freedesktop.org.xml");
      in.NamespaceURI = "http://www.freedesktop.org/standards/shared-mime-info";
    }
    return r;
  }();
  return inputs;
}

// ---------------------------------------------------------------------------------------------
// The loaded documents, one per library and input, kept for the whole run

struct FreeObject {
  void operator()(TObject *AObject) const { AObject->Free(); }
};

TVnDOMDocument *VnDocument(int AInput) {
  static std::unique_ptr<TVnDOMDocument, FreeObject> docs[2];
  if (!docs[AInput]) {
    const std::string &text = Inputs()[AInput].Text;
    docs[AInput].reset(New<TVnDOMDocument>());
    TPointerStream s(text.data(), static_cast<Int64>(text.size()));
    docs[AInput]->LoadFromStream(&s);
  }
  return docs[AInput].get();
}

pugi::xml_document &PugiDocument(int AInput) {
  static pugi::xml_document docs[2];
  static bool loaded[2] = {false, false};
  if (!loaded[AInput]) {
    const std::string &text = Inputs()[AInput].Text;
    docs[AInput].load_buffer(text.data(), text.size(), cPugiOptions);
    loaded[AInput] = true;
  }
  return docs[AInput];
}

struct TXml2 {
  xmlDoc *Doc = nullptr;
  xmlXPathContext *Context = nullptr;
};

TXml2 &Xml2Document(int AInput) {
  static TXml2 docs[2];
  if (!docs[AInput].Doc) {
    const std::string &text = Inputs()[AInput].Text;
    docs[AInput].Doc = xmlReadMemory(text.data(), static_cast<int>(text.size()), "doc.xml", nullptr,
                                     XML_PARSE_NONET | XML_PARSE_HUGE);
    docs[AInput].Context = xmlXPathNewContext(docs[AInput].Doc);
    xmlXPathRegisterNs(docs[AInput].Context, BAD_CAST "c",
                       BAD_CAST Inputs()[AInput].NamespaceURI.c_str());
  }
  return docs[AInput];
}

// The queries of both inputs, their expected counts and their candidates, worked out once from
// the pugixml tree.
void PrepareQueries() {
  static bool done = false;
  if (done) return;
  done = true;
  std::vector<TInput> &inputs = Inputs();
  {
    TInput &in = inputs[0];
    pugi::xml_document &d = PugiDocument(0);
    const Int64 items = ElementChildren(d.document_element());
    const std::string id = std::to_string(items / 2);
    in.Attr.Pugi = "//item[@id=\"" + id + "\"]";
    in.Attr.Xml2 = "//c:item[@id=\"" + id + "\"]";
    in.Middle.Pugi = "catalog/item[@kind=\"k3\"]/price";
    in.Middle.Xml2 = "c:catalog/c:item[@kind=\"k3\"]/c:price";
    in.Middle.Candidates = CountMiddleCandidates(d, "catalog", "item", "kind", "k3");
  }
  {
    TInput &in = inputs[1];
    pugi::xml_document &d = PugiDocument(1);
    in.Attr.Pugi = "//glob[@pattern=\"*.pdf\"]";
    in.Attr.Xml2 = "//c:glob[@pattern=\"*.pdf\"]";
    in.Middle.Pugi = "mime-info/mime-type[@type=\"application/pdf\"]/glob";
    in.Middle.Xml2 = "c:mime-info/c:mime-type[@type=\"application/pdf\"]/c:glob";
    in.Middle.Candidates =
        CountMiddleCandidates(d, "mime-info", "mime-type", "type", "application/pdf");
  }
  for (int i = 0; i < 2; ++i) {
    TInput &in = inputs[i];
    pugi::xml_document &d = PugiDocument(i);
    in.Attr.Candidates = CountElements(d);
    in.Attr.Expected = static_cast<Int64>(d.select_nodes(in.Attr.Pugi.c_str()).size());
    in.Middle.Expected = static_cast<Int64>(d.select_nodes(in.Middle.Pugi.c_str()).size());
  }
}

// ---------------------------------------------------------------------------------------------
// Timing and the ratios of the vnxml rows

// The processor time of the calling thread, user and system: on a machine shared with other
// work the wall clock counts the others' time too. The "Time" column of the rows is this time.
double ThreadSeconds() {
  timespec t;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
  return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// Mean seconds per iteration of each peer row that has run, by family ("Attr/big") and who.
std::map<std::string, std::map<std::string, double>> &PeerTimes() {
  static std::map<std::string, std::map<std::string, double>> times;
  return times;
}

// Records a row's mean time; on a vnxml row, adds the ratio to each peer of the family.
void Finish(benchmark::State &state, const std::string &AFamily, const std::string &AWho,
            double ATotalSeconds) {
  if (state.iterations() == 0 || ATotalSeconds <= 0) return;
  const double mean = ATotalSeconds / static_cast<double>(state.iterations());
  if (AWho.rfind("vnxml", 0) != 0) {
    PeerTimes()[AFamily][AWho] = mean;
    return;
  }
  for (const auto &[peer, seconds] : PeerTimes()[AFamily])
    state.counters["vs_" + peer] = seconds / mean;
}

// Raised by a pass whose library selected another number of nodes than expected.
void CheckCount(Int64 AGot, Int64 AExpected) {
  if (AGot == AExpected) return;
  throw std::runtime_error("selected " + std::to_string(AGot) + " nodes, expected " +
                           std::to_string(AExpected));
}

enum TWhich { wAttr, wMiddle, wCreate };

const TQuery &QueryOf(int AInput, TWhich AWhich) {
  PrepareQueries();
  const TInput &in = Inputs()[AInput];
  return AWhich == wAttr ? in.Attr : in.Middle;
}

std::string FamilyOf(int AInput, TWhich AWhich) {
  static const char *const names[] = {"Attr/", "Middle/", "Create/"};
  return names[AWhich] + Inputs()[AInput].Name;
}

// A pass: one query, or one round of creation, by one library; it returns the seconds it timed
// (set-up and clean-up of a creation round stay untimed) and raises when the count is wrong.
using TPass = std::function<double()>;

// ---------------------------------------------------------------------------------------------
// Queries

TPass QueryVn(int AInput, TWhich AWhich, TVnDOMSelectOptions AOptions) {
  const TQuery &q = QueryOf(AInput, AWhich);
  TVnDOMDocument *d = VnDocument(AInput);
  const UnicodeString path = UTF8ToString(q.Pugi);
  return [&q, d, path, AOptions] {
    const double t0 = ThreadSeconds();
    TVnDOMNodeList *list = d->CreateNodeList(path, AOptions);
    const Int64 n = list->Count();
    list->Free();
    const double t1 = ThreadSeconds();
    CheckCount(n, q.Expected);
    return t1 - t0;
  };
}

TPass QueryPugi(int AInput, TWhich AWhich, bool ACompiled) {
  const TQuery &q = QueryOf(AInput, AWhich);
  pugi::xml_document &d = PugiDocument(AInput);
  auto query = std::make_shared<const pugi::xpath_query>(q.Pugi.c_str());
  return [&q, &d, query, ACompiled] {
    const double t0 = ThreadSeconds();
    const pugi::xpath_node_set found =
        ACompiled ? d.select_nodes(*query) : d.select_nodes(q.Pugi.c_str());
    const Int64 n = static_cast<Int64>(found.size());
    const double t1 = ThreadSeconds();
    CheckCount(n, q.Expected);
    return t1 - t0;
  };
}

TPass QueryXml2(int AInput, TWhich AWhich) {
  const TQuery &q = QueryOf(AInput, AWhich);
  TXml2 &d = Xml2Document(AInput);
  return [&q, &d] {
    const double t0 = ThreadSeconds();
    d.Context->node = reinterpret_cast<xmlNode *>(d.Doc);
    xmlXPathObject *r = xmlXPathEval(BAD_CAST q.Xml2.c_str(), d.Context);
    const Int64 n = r && r->nodesetval ? r->nodesetval->nodeNr : 0;
    xmlXPathFreeObject(r);
    const double t1 = ThreadSeconds();
    CheckCount(n, q.Expected);
    return t1 - t0;
  };
}

// Not a query: a bare walk over the library's tree, as "//x" must read it at the least: every
// child list once, each child's kind and name record (a record met before answers by its
// address, as the path engine's name test does), elements with children entered. The floor of
// the Attr rows on this tree, reported against the peers like them.
TPass WalkVn(int AInput) {
  const TQuery &q = QueryOf(AInput, wAttr);
  const UnicodeString local = UTF8ToString(q.Pugi.substr(2, q.Pugi.find('[') - 2));
  TVnDOMDocument *d = VnDocument(AInput);
  return [d, local] {
    const double t0 = ThreadSeconds();
    Int64 named = 0;
    TVnDOMName *match = nullptr;
    std::vector<TVnDOMNode *> nodes{d};
    while (!nodes.empty()) {
      TVnDOMNode *node = nodes.back();
      nodes.pop_back();
      for (TVnDOMNode *child : node->Children()) {
        if (child->GetNodeType() != ntElement) continue;
        TVnDOMName *record = child->GetNameRecord();
        if (record == match || (!match && record->LocalName() == local)) {
          match = record;
          ++named;
        }
        if (!child->Children().empty()) nodes.push_back(child);
      }
    }
    benchmark::DoNotOptimize(named);
    return ThreadSeconds() - t0;
  };
}

// ---------------------------------------------------------------------------------------------
// Creation

constexpr int cNewPaths = 100000;

// A round of creation: APrepare builds the new parents, ACreate (timed alone) builds a/b/c below
// each and returns the paths it built (for this library: the calls that gave a node), which
// must be one per parent, and ARemove takes the parents out again and says whether the last one
// has its a/b/c.
template <class P, class C, class R>
TPass CreateRound(P APrepare, C ACreate, R ARemove) {
  return [=]() mutable {
    APrepare();
    const double t0 = ThreadSeconds();
    const Int64 built = ACreate();
    const double t1 = ThreadSeconds();
    const bool ok = ARemove();
    CheckCount(built, cNewPaths);
    if (!ok) throw std::runtime_error("a/b/c was not found again after creation");
    return t1 - t0;
  };
}

TPass CreateVn(int AInput) {
  struct TState {
    TVnDOMElement *Container = nullptr;
    std::vector<TVnDOMElement *> Parents;
  };
  auto st = std::make_shared<TState>();
  TVnDOMDocument *d = VnDocument(AInput);
  return CreateRound(
      [st, d] {
        st->Container = d->GetRootNode()->AddElement(u"bench-new");
        st->Parents.clear();
        for (int i = 0; i < cNewPaths; ++i) st->Parents.push_back(st->Container->AddElement(u"p"));
      },
      [st] {
        Int64 built = 0;
        for (TVnDOMElement *p : st->Parents)
          if (p->SelectSingleNode(u"a/b/c", {soCreate})) ++built;
        return built;
      },
      [st] {
        const bool ok = st->Parents.back()->SelectSingleNode(u"a/b/c") != nullptr;
        st->Container->ParentNode()->RemoveChild(st->Container);
        return ok;
      });
}

TPass CreatePugi(int AInput, bool ACompiled) {
  struct TState {
    pugi::xml_node Container;
    std::vector<pugi::xml_node> Parents;
    pugi::xpath_query Query{"a/b/c"};
  };
  auto st = std::make_shared<TState>();
  pugi::xml_document &d = PugiDocument(AInput);
  return CreateRound(
      [st, &d] {
        st->Container = d.document_element().append_child("bench-new");
        st->Parents.clear();
        for (int i = 0; i < cNewPaths; ++i) st->Parents.push_back(st->Container.append_child("p"));
      },
      [st, ACompiled] {
        Int64 built = 0;
        for (pugi::xml_node p : st->Parents) {
          const pugi::xpath_node found =
              ACompiled ? st->Query.evaluate_node(p) : p.select_node("a/b/c");
          if (found) continue;
          p.append_child("a").append_child("b").append_child("c");
          ++built;
        }
        return built;
      },
      [st] {
        const bool ok = static_cast<bool>(st->Parents.back().select_node("a/b/c"));
        st->Container.parent().remove_child(st->Container);
        return ok;
      });
}

// A new element without namespace as the last child of AParent (xmlNewChild would give it the
// parent's namespace, where a path without prefixes does not find it).
xmlNode *Xml2Append(xmlNode *AParent, const char *AName) {
  return xmlAddChild(AParent, xmlNewDocNode(AParent->doc, nullptr, BAD_CAST AName, nullptr));
}

TPass CreateXml2(int AInput) {
  struct TState {
    xmlNode *Container = nullptr;
    std::vector<xmlNode *> Parents;
  };
  auto st = std::make_shared<TState>();
  TXml2 &d = Xml2Document(AInput);
  return CreateRound(
      [st, &d] {
        st->Container = Xml2Append(xmlDocGetRootElement(d.Doc), "bench-new");
        st->Parents.clear();
        for (int i = 0; i < cNewPaths; ++i) st->Parents.push_back(Xml2Append(st->Container, "p"));
      },
      [st, &d] {
        Int64 built = 0;
        for (xmlNode *p : st->Parents) {
          d.Context->node = p;
          xmlXPathObject *r = xmlXPathEval(BAD_CAST "a/b/c", d.Context);
          const bool found = r && r->nodesetval && r->nodesetval->nodeNr > 0;
          xmlXPathFreeObject(r);
          if (found) continue;
          Xml2Append(Xml2Append(Xml2Append(p, "a"), "b"), "c");
          ++built;
        }
        return built;
      },
      [st, &d] {
        d.Context->node = st->Parents.back();
        xmlXPathObject *r = xmlXPathEval(BAD_CAST "a/b/c", d.Context);
        const bool ok = r && r->nodesetval && r->nodesetval->nodeNr == 1;
        xmlXPathFreeObject(r);
        xmlUnlinkNode(st->Container);
        xmlFreeNode(st->Container);
        return ok;
      });
}

// ---------------------------------------------------------------------------------------------
// Rows

// The passes of each "who", for any family.
enum TWho { vnxml, vnxml_ci, vnxml_walk, pugixml_compiled, pugixml_percall, libxml2 };

TPass Make(int AInput, TWhich AWhich, TWho AWho) {
  if (AWhich == wCreate) {
    switch (AWho) {
      case vnxml:
        return CreateVn(AInput);
      case pugixml_compiled:
      case pugixml_percall:
        return CreatePugi(AInput, AWho == pugixml_compiled);
      default:
        return CreateXml2(AInput);
    }
  }
  switch (AWho) {
    case vnxml:
      return QueryVn(AInput, AWhich, {soCaseSensitive});
    case vnxml_ci:
      return QueryVn(AInput, AWhich, {});
    case vnxml_walk:
      return WalkVn(AInput);
    case pugixml_compiled:
    case pugixml_percall:
      return QueryPugi(AInput, AWhich, AWho == pugixml_compiled);
    default:
      return QueryXml2(AInput, AWhich);
  }
}

// A row of its own: the pass over and over, with its rates and its ratios to the peers.
void Row(benchmark::State &state, TWhich AWhich, TWho AWho, const char *AName) {
  const int input = static_cast<int>(state.range(0));
  double total = 0;
  try {
    const TPass pass = Make(input, AWhich, AWho);
    for (auto _ : state) {
      const double seconds = pass();
      state.SetIterationTime(seconds);
      total += seconds;
    }
  } catch (const std::exception &E) {
    state.SkipWithError(E.what());
    return;
  }
  const double iterations = static_cast<double>(state.iterations());
  if (AWhich == wCreate) {
    state.counters["paths/s"] =
        benchmark::Counter(cNewPaths * iterations, benchmark::Counter::kIsRate);
    state.counters["cand/s"] =
        benchmark::Counter(3.0 * cNewPaths * iterations, benchmark::Counter::kIsRate);
  } else {
    const TQuery &q = QueryOf(input, AWhich);
    state.SetBytesProcessed(state.iterations() * static_cast<Int64>(Inputs()[input].Text.size()));
    state.counters["cand/s"] = benchmark::Counter(static_cast<double>(q.Candidates) * iterations,
                                                  benchmark::Counter::kIsRate);
  }
  Finish(state, FamilyOf(input, AWhich), AName, total);
}

// A paired row (see vnbench::Paired): this library's pass and compiled pugixml's in turn.
void PairedRow(benchmark::State &state, TWhich AWhich) {
  const int input = static_cast<int>(state.range(0));
  try {
    const TPass library = Make(input, AWhich, vnxml), peer = Make(input, AWhich, pugixml_compiled);
    vnbench::Paired(state, library, peer);
  } catch (const std::exception &E) {
    state.SkipWithError(E.what());
  }
}

// The fastest pass of a row run with repetitions: the machine's other work only ever adds time.
double Fastest(const std::vector<double> &AValues) {
  return AValues.empty() ? 0.0 : *std::min_element(AValues.begin(), AValues.end());
}

// "<family>/big/<who>" (the generated 50 MB document, for at least three seconds of passes so
// that its rows are means over several) and "<family>/freedesktop/<who>".
template <class F>
void RegisterBoth(const std::string &AFamily, const std::string &AWho, F AFunc) {
  for (int input = 0; input < 2; ++input) {
    const std::string name = AFamily + (input == 0 ? "/big/" : "/freedesktop/") + AWho;
    auto *b = benchmark::RegisterBenchmark(name.c_str(), AFunc)
                  ->Arg(input)
                  ->UseManualTime()
                  ->ComputeStatistics("min", Fastest)
                  ->Unit(benchmark::kMillisecond);
    if (input == 0) b->MinTime(3.0);
  }
}

// The peers of a family before its vnxml rows, so that their times are there for the ratios;
// then the paired rows.
void RegisterAll() {
  static const std::pair<TWho, const char *> whos[] = {{libxml2, "libxml2"},
                                                       {pugixml_compiled, "pugixml_compiled"},
                                                       {pugixml_percall, "pugixml_percall"},
                                                       {vnxml, "vnxml"},
                                                       {vnxml_ci, "vnxml_ci"},
                                                       {vnxml_walk, "vnxml_walk"}};
  static const char *const families[] = {"Attr", "Middle", "Create"};
  for (TWhich which : {wAttr, wMiddle, wCreate}) {
    for (const auto &[who, name] : whos) {
      if ((who == vnxml_walk && which != wAttr) || (who == vnxml_ci && which == wCreate)) continue;
      RegisterBoth(families[which], name, [which, who = who, name = name](benchmark::State &state) {
        Row(state, which, who, name);
      });
    }
  }
  for (TWhich which : {wAttr, wMiddle, wCreate})
    RegisterBoth(std::string("Paired/") + families[which], "vnxml:pugixml_compiled",
                 [which](benchmark::State &state) { PairedRow(state, which); });
}

}  // namespace

int main(int argc, char **argv) {
  RegisterAll();
  return vnbench::Main(argc, argv);
}
