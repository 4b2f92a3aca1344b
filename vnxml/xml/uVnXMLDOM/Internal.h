// Messages and helpers shared by the implementation files of uVnXMLDOM.
#pragma once

#include <atomic>
#include <unordered_set>
#include <vector>

#include "vnxml/xml/uVnXMLDOM.h"

namespace vn::dom {

// --- messages of the tree
inline constexpr const char16_t *cNoInterfaces =
    u"DOM Objects do not support interfaces. All interface requests should be handled by the "
    u"DOMIMpl object.";
inline constexpr const char16_t *cRefCountNotZero =
    u"An instance of %s is destroyed while it's refcount is not 0!";
inline constexpr const char16_t *cSetNodeValue =
    u"The SetNodeValue is not supported by the TVnDomNode";
inline constexpr const char16_t *cSetInnerXML =
    u"The SetInnerXML is not supported by the TVnDomNode";
inline constexpr const char16_t *cBothCases =
    u"It is not possible to specify both soCaseSensitive and soCaseInsensitive!";
inline constexpr const char16_t *cNoCreate = u"It is not possible to specify soCreate!";
inline constexpr const char16_t *cNoNodeForName = u"There is no node for the given name \"%s\".";
inline constexpr const char16_t *cNoFirstNode =
    u"Failed to get the first node!\r\nThe list contains no nodes.";
inline constexpr const char16_t *cNotInList =
    u"The specified referencenode is not part of this list!";
inline constexpr const char16_t *cNoChildElement = u"There is no childelement with the name %s!";
inline constexpr const char16_t *cInvalidIndex = u"Invalid idx value";
inline constexpr const char16_t *cListIndex = u"List index out of bounds (%d)";

// --- messages of this library's own guards
inline constexpr const char16_t *cNilNode = u"The node must not be nil!";
inline constexpr const char16_t *cCycle =
    u"A node cannot be added to itself, to one of its descendants, or below a node that stands "
    u"below it!";
inline constexpr const char16_t *cStillListed =
    u"An instance of %s is destroyed while the child list of another node still holds it!";
inline constexpr const char16_t *cOwnedList =
    u"A list that belongs to a node is destroyed together with that node only!";
inline constexpr const char16_t *cObjectGone =
    u"The object behind this interface has been destroyed!";
inline constexpr const char16_t *cTransformNotSupported =
    u"Style sheet transformation is not supported: the library was built without XSLT support!";
inline constexpr const char16_t *cSerializeNotSupported =
    u"Serialization in the format %d is not supported by %s!";

// Text, CDATA and comment nodes: leaves named by their kind ("#text", "#cdata-section",
// "#comment"). Nothing stops an application from giving such a node children or another name,
// but until one does, a walk for elements by name may pass over them by the kind its parent's
// child array keeps, without reading the node.
inline constexpr unsigned cPlainLeafKinds = 1u << ntText | 1u << ntCDATA | 1u << ntComment;
inline bool IsPlainLeafKind(TVnDOMNodeType AKind) noexcept {
  return cPlainLeafKinds >> AKind & 1u;
}
// Set for good, for the whole process, once any such node has had a child or another name: the
// walks then read every node as before. A relaxed flag is enough: a thread that made the change
// sees it in its own order, and a tree handed to another thread is handed over with a barrier.
inline std::atomic<bool> gOddLeaves{false};
inline bool OddLeaves() noexcept {
  return gOddLeaves.load(std::memory_order_relaxed);
}

// The explicit stack of the tree's walks. No walk of the tree calls itself per level: a
// document may be nested as deep as memory allows, and the thread's stack must not grow with it.
// The first frames live inside the object, so a walk over a shallow tree allocates nothing.
template <class T, std::size_t N = 32>
class TWalkStack {
 public:
  TWalkStack() noexcept = default;
  TWalkStack(const TWalkStack &) = delete;
  TWalkStack &operator=(const TWalkStack &) = delete;

  bool Empty() const noexcept { return FCount == 0; }
  std::size_t Size() const noexcept { return FCount; }
  // The frame on top. A Push may move the frames, so a reference is good until the next Push.
  T &Top() noexcept { return FCount <= N ? FInline[FCount - 1] : FMore[FCount - N - 1]; }
  T &operator[](std::size_t AIndex) noexcept {
    return AIndex < N ? FInline[AIndex] : FMore[AIndex - N];
  }
  void Push(const T &AFrame) {
    if (FCount < N) {
      FInline[FCount] = AFrame;
    } else {
      FMore.push_back(AFrame);
    }
    ++FCount;
  }
  void Pop() noexcept {
    if (FCount > N) FMore.pop_back();
    --FCount;
  }

 private:
  T FInline[N];
  std::vector<T> FMore;
  std::size_t FCount = 0;
};

// A new node through a class reference; a class that makes no node is an invalid cast.
TVnDOMNode *MakeNode(TClass AClass);

// A new detached node of class T, given ASetUp (its name, say); freed again if that fails.
template <class T, class F>
T *NewNode(F ASetUp) {
  T *node = New<T>();
  try {
    ASetUp(node);
  } catch (...) {
    node->Free();
    throw;
  }
  return node;
}

// The qualified name of the declaration of a prefix: "xmlns" for the empty one.
inline UnicodeString DeclarationName(const UnicodeString &APrefix) {
  return APrefix.empty() ? UnicodeString(u"xmlns") : u"xmlns:" + APrefix;
}

// Whether a TVnDOMChangeScope is open on this thread.
bool ChangeInProgress() noexcept;
// Frees a top whose last interface has gone: at once, or when the outermost change scope ends.
// Failures of the destruction are swallowed.
void DisposeTop(TVnDOMObject *AObject) noexcept;
// Drops a destroyed object from the pending tops.
void ForgetPending(TVnDOMObject *AObject) noexcept;

}  // namespace vn::dom

namespace vn::dom {

// --- messages of elements, leaves and documents
inline constexpr const char16_t *cNotAChild =
    u"The specified ChildNode is not a child of this element!";
inline constexpr const char16_t *cNoCDATA = u"There is no CDATA element with index %d!";
inline constexpr const char16_t *cNodeClassRequired =
    u"A NodeClass is required when soCreate is specified!";
inline constexpr const char16_t *cNoChildNS =
    u"There is no child with the localname \"%s\" and namespace \"%s\"!";
inline constexpr const char16_t *cBadTypeInfo =
    u"The type attribute does not contain valid typeinfo.";
inline constexpr const char16_t *cHasRoot = u"This DOM document already contains a rootnode!";
inline constexpr const char16_t *cNoDocClone =
    u"It is not possible to clone a TVnDOMDocument using the CloneNode method!";
inline constexpr const char16_t *cDocLoad =
    u"The LoadFromStream is not supported by the DOM Document. Use the LoadFromStreamEx instead.";
inline constexpr const char16_t *cDocSave =
    u"The SaveToStream is not supported by the DOM Document. Use the SaveToStreamEx instead.";
inline constexpr const char16_t *cNoPI = u"There is no processinginstruction \"%s\"!";
inline constexpr const char16_t *cParseFatal = u"Line %d, column %d: %s";
inline constexpr const char16_t *cNoTarget =
    u"An end tag closes more than was opened since the node the text is loaded into!";
inline constexpr const char16_t *cNilStream = u"The stream must not be nil!";
inline constexpr const char16_t *cSplitNoParent = u"A text node without a parent cannot be split!";

inline constexpr const char16_t *cXSINamespace = cVnXSINamespaceURI;
inline constexpr const char16_t *cXSDNamespace = cVnXSDNamespaceURI;
inline constexpr const char16_t *cXMLNamespace = u"http://www.w3.org/XML/1998/namespace";

// The text writer: UTF-16 units as they are for page 1200, UTF-8 for 65001, the page's bytes
// otherwise, appended to the stream.
void WriteText(TStream *AStream, Word ACodePage, UnicodeStringView AText);
// A line break (CR LF).
void WriteBreak(TStream *AStream, Word ACodePage);
// ALevel + 1 indent units of two blanks.
void WriteIndent(TStream *AStream, Word ACodePage, Integer ALevel);
// Parses XML from the stream's position into ANode with a TVnDOMParser hooked to the node's
// parse events.
void ParseInto(TVnDOMNode *ANode, TStream *AStream, Word ACodePage);
// Skips the units below 33 (two bytes wide for page 1200, one otherwise) and leaves the stream
// on the first other unit, which it answers; 0 when the stream ends first.
char16_t SkipToFirstUnit(TStream *AStream, Word ACodePage);

// Encodes UTF-16 as UTF-8 at AOut (room for three bytes a unit) and gives the end of what it
// wrote; nil for a text with half a surrogate pair, which the writers hand to the run-time's
// conversion instead.
inline Byte *EncodeUTF8(UnicodeStringView AText, Byte *AOut) noexcept {
  Byte *out = AOut;
  const char16_t *p = AText.data();
  const char16_t *const end = p + AText.size();
  while (p < end) {
    const char32_t c = *p++;
    if (c < 0x80) {
      *out++ = static_cast<Byte>(c);
    } else if (c < 0x800) {
      *out++ = static_cast<Byte>(0xC0 | (c >> 6));
      *out++ = static_cast<Byte>(0x80 | (c & 0x3F));
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      if (c > 0xDBFF || p >= end || *p < 0xDC00 || *p > 0xDFFF) return nullptr;
      const char32_t cp = 0x10000 + ((c - 0xD800) << 10) + (*p++ - 0xDC00);
      *out++ = static_cast<Byte>(0xF0 | (cp >> 18));
      *out++ = static_cast<Byte>(0x80 | ((cp >> 12) & 0x3F));
      *out++ = static_cast<Byte>(0x80 | ((cp >> 6) & 0x3F));
      *out++ = static_cast<Byte>(0x80 | (cp & 0x3F));
    } else {
      *out++ = static_cast<Byte>(0xE0 | (c >> 12));
      *out++ = static_cast<Byte>(0x80 | ((c >> 6) & 0x3F));
      *out++ = static_cast<Byte>(0x80 | (c & 0x3F));
    }
  }
  return out;
}

}  // namespace vn::dom

namespace vn {
// Registers the vendor "Vornell" (unless one is registered) and installs the two XML document
// hooks of the support layer, once; undone at exit. Part of the unit's start-up.
void VnXMLDOMHostStartUp();
}  // namespace vn

// ---------------------------------------------------------------------------------------------
// Path selection and predicates

namespace vn {

struct TVnPathStep;

// A path taken apart once for one use: its alternatives, each a chain of steps with their
// predicates, which are parsed when a step first has candidates to filter and kept for every
// further node the step runs on. Taking the path apart finds no error: each error of a step is
// kept with the step and raised when a walk reaches it, where the walk of the text would have
// met it.
// The elements that a run with creation has made. A run makes a few (one per missing step),
// so they are kept in the object and searched in turn; a set takes the rest.
class TVnMadeNodes {
 public:
  void Insert(TVnDOMNode *ANode) {
    if (FCount < cKept)
      FKept[FCount++] = ANode;
    else
      InsertMore(ANode);
  }
  bool Contains(TVnDOMNode *ANode) const {
    for (std::size_t i = 0; i < FCount; ++i)
      if (FKept[i] == ANode) return true;
    return FMore && FMore->count(ANode) > 0;
  }
  bool Empty() const noexcept { return FCount == 0; }

 private:
  // Insert beyond the nodes kept in place (out of line, so that Insert stays small).
  [[gnu::noinline]] void InsertMore(TVnDOMNode *ANode) {
    if (!FMore) FMore = std::make_unique<std::unordered_set<TVnDOMNode *>>();
    FMore->insert(ANode);
  }

  static constexpr std::size_t cKept = 8;
  TVnDOMNode *FKept[cKept];
  std::size_t FCount = 0;
  // Made by the first node beyond those kept: every run has a set of its own, and most never
  // need it.
  std::unique_ptr<std::unordered_set<TVnDOMNode *>> FMore;
};

struct TVnPathProgram {
  enum TStart : Byte { psSelf, psDocument, psContext };
  struct TAlternative {
    TStart Start;
    std::unique_ptr<TVnPathStep> First;
  };

  TVnPathProgram(const UnicodeString &APath, bool ALocalName, bool ACreate,
                 TVnXPathCollationClass ACollation);
  ~TVnPathProgram();
  TVnPathProgram(const TVnPathProgram &) = delete;
  TVnPathProgram &operator=(const TVnPathProgram &) = delete;

  // Adds what the path selects from ANode to AFound, each node once, in the order of discovery.
  // With AFirstOnly the alternatives stop after the first that found anything. With creation on,
  // ACreated collects the elements made (a group passes its caller's set on).
  void Run(TVnDOMNode *ANode, std::vector<TVnDOMNode *> &AFound, bool AFirstOnly,
           TVnMadeNodes *ACreated = nullptr);
  // For a path of one plain step from the context node (no brackets, no descendant mode, no
  // group, no creation), as a predicate's "@id" or "price" is: the first node the step selects
  // from ANode and how many it selects, without a list. False, with nothing done, for any other
  // path.
  bool SelectPlain(TVnDOMNode *ANode, TVnDOMNode *&AFirst, std::size_t &ACount);

  bool LocalName;
  bool Create;
  TVnXPathCollationClass Collation;
  std::vector<TAlternative> Alternatives;
  // While a run with creation goes on: the elements it has made. A search in descendant mode
  // leaves them out, so that it never descends into what it has just built and always ends.
  TVnMadeNodes *Created = nullptr;
};

}  // namespace vn

namespace vn::dom {

inline constexpr const char16_t *cTooDeep =
    u"The path or predicate is nested more than %d levels deep!";

// Counts, per thread, how deeply paths, predicates and their terms stand inside one another
// while they are read or evaluated; beyond cVnXPathMaxNesting it raises EVnDomSyntax, so that no
// text can exhaust the stack.
class TNestingGuard {
 public:
  TNestingGuard();
  ~TNestingGuard() { --Depth(); }
  TNestingGuard(const TNestingGuard &) = delete;
  TNestingGuard &operator=(const TNestingGuard &) = delete;

 private:
  static Integer &Depth() noexcept;
};

// The predicate of one bracket, "[...]" with its brackets: parsed into the equation tree whose
// root ARoot is, from a text parser over the text.
void ParseFilter(TVnXPathEquation *ARoot, const UnicodeString &AFilter);
// Keeps the nodes of ANodes for which the tree is true, in their order. The list changes only
// when every node has been evaluated.
// ANodesOnly: every item is a TVnDOMNode, as the candidates of a path step are.
void ApplyFilter(TVnXPathEquation *ARoot, TVnDOMObjectList &ANodes, bool ANodesOnly = false);
// Parses the bracket, applies it and frees the tree.
void FilterNodeList(TVnDOMObjectList &ANodes, const UnicodeString &AFilter, bool ALocalName,
                    TVnXPathCollationClass ACollation);

}  // namespace vn::dom

namespace vn::dom {

// A work list lent from a per-thread pool for the length of a walk or an evaluation and given
// back empty, its storage kept: a walk run once per candidate then allocates nothing for its
// lists once the thread has run one. Walks nest (a predicate's path is a walk inside a walk), so
// each borrower has its own list.
template <class T>
class TPooled {
 public:
  TPooled() : FItem(Take()) {}
  ~TPooled() {
    Empty(*FItem);
    std::vector<std::unique_ptr<T>> &pool = Pool();
    if (pool.size() < cKept) {
      try {
        pool.push_back(std::move(FItem));
      } catch (...) {
        // The list goes with this object instead.
      }
    }
  }
  TPooled(const TPooled &) = delete;
  TPooled &operator=(const TPooled &) = delete;
  T &operator*() const noexcept { return *FItem; }
  T *operator->() const noexcept { return FItem.get(); }

 private:
  static constexpr std::size_t cKept = 64;
  static std::vector<std::unique_ptr<T>> &Pool() {
    thread_local std::vector<std::unique_ptr<T>> pool;
    return pool;
  }
  static std::unique_ptr<T> Take() {
    std::vector<std::unique_ptr<T>> &pool = Pool();
    if (pool.empty()) return std::make_unique<T>();
    std::unique_ptr<T> item = std::move(pool.back());
    pool.pop_back();
    return item;
  }
  static void Empty(TVnDOMObjectList &AList) noexcept { AList.Clear(); }
  // A list grown large (the result of a selection over a big document) gives its storage back
  // rather than hold it for the thread's life.
  template <class U>
  static void Empty(std::vector<U> &AList) noexcept {
    if (AList.capacity() > cKeptCapacity)
      std::vector<U>().swap(AList);
    else
      AList.clear();
  }
  static constexpr std::size_t cKeptCapacity = 4096;

  std::unique_ptr<T> FItem;
};

}  // namespace vn::dom
