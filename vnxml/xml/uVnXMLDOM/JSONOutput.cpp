// JSON output of the tree: the member form of elements and attributes, the element's object
// form, the document's forms.
//
// The mapping is one-way. Elements become members, named by their local name; repeated names
// among the children of an element fold into arrays; attributes become members beside their
// element's value; the values are the typed values of the elements where a type is known.
//
// Text is collected as UTF-16 and handed to the stream in blocks, converted per block. Elements
// of the library's own class are written by one walk with a stack of its own, so a tree of any
// depth is written without nested calls; an element of an application's class met on the way
// writes itself through its virtual _SaveToJSONStream.
#include <cstring>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "vnxml/json/uVnJSON.h"
#include "vnxml/xml/uVnXMLDOM/Internal.h"
#include "vnxml/xml/uVnXMLUtils.h"

namespace vn {

namespace {

// Collects UTF-16 text and hands it to the stream in blocks: as it is for page 1200, as UTF-8
// for 65001 (a block with half a surrogate pair goes through the run-time's conversion, as the
// XML writer's pieces do), through the page's conversion otherwise.
class TJSONText {
 public:
  TJSONText(TStream *AStream, Word ACodePage) : FStream(AStream), FCodePage(ACodePage) {
    FBuf.reserve(cBlock + 64);
  }
  TJSONText(const TJSONText &) = delete;
  TJSONText &operator=(const TJSONText &) = delete;

  void Put(char16_t AChar) {
    FBuf.push_back(AChar);
    Check();
  }
  void Put(UnicodeStringView AText) {
    FBuf.append(AText);
    Check();
  }
  // Two blanks a level.
  void Pad(Integer ALevel) {
    if (ALevel > 0) FBuf.append(static_cast<std::size_t>(ALevel) * 2, u' ');
    Check();
  }
  void Break() { Put(u"\r\n"); }
  // A name with every "." made "_".
  void PutName(UnicodeStringView AName) {
    const std::size_t at = FBuf.size();
    FBuf.append(AName);
    for (std::size_t i = at; i < FBuf.size(); ++i) {
      if (FBuf[i] == u'.') FBuf[i] = u'_';
    }
    Check();
  }
  // Text escaped as VnStrToJSON escapes it.
  void PutEscaped(UnicodeStringView AText) {
    VnAppendStrToJSON(FBuf, AText);
    Check();
  }

  // Hands the text over. A block that ends in the first half of a surrogate pair keeps that
  // half for the next block, unless this is the last.
  void Flush(bool ALast = true) {
    if (FBuf.empty()) return;
    std::size_t n = FBuf.size();
    if (!ALast && FCodePage != CP_UTF16 && FBuf[n - 1] >= 0xD800 && FBuf[n - 1] <= 0xDBFF) --n;
    if (n == 0) return;
    const UnicodeStringView block(FBuf.data(), n);
    if (FCodePage == CP_UTF16) {
      FStream->WriteBuffer(block.data(), static_cast<Int64>(n * sizeof(char16_t)));
    } else if (FCodePage != CP_UTF8 || !WriteUTF8(block)) {
      const RawByteString bytes = TVnEncoding::ConvertW(block, FCodePage);
      if (!bytes.empty()) FStream->WriteBuffer(bytes.data(), static_cast<Int64>(bytes.size()));
    }
    FBuf.erase(0, n);
  }
  TStream *Stream() const noexcept { return FStream; }
  Word CodePage() const noexcept { return FCodePage; }

 private:
  static constexpr std::size_t cBlock = 32 * 1024;
  void Check() {
    if (FBuf.size() >= cBlock) Flush(false);
  }
  // False, with nothing written, for a block with half a surrogate pair.
  bool WriteUTF8(UnicodeStringView ABlock) {
    if (FBytes.size() < ABlock.size() * 3) FBytes.resize(ABlock.size() * 3 + 64);
    Byte *out = dom::EncodeUTF8(ABlock, FBytes.data());
    if (!out) return false;
    FStream->WriteBuffer(FBytes.data(), static_cast<Int64>(out - FBytes.data()));
    return true;
  }

  TStream *FStream;
  Word FCodePage;
  UnicodeString FBuf;
  std::vector<Byte> FBytes;
};

// Whether the stored value of a declaration is this namespace. A stored value with a reference
// in it is compared decoded.
bool DeclaresNamespace(TVnDOMAttribute *ADecl, UnicodeStringView AURI) {
  const UnicodeString &stored = ADecl->GetStoredValue();
  if (stored.find(u'&') == UnicodeString::npos) return stored == AURI;
  return ADecl->GetNodeValue() == AURI;
}

bool IsNumberStart(char16_t AChar) noexcept {
  return AChar == u'+' || AChar == u'-' || AChar == u'.' || (AChar >= u'0' && AChar <= u'9');
}

}  // namespace

// The walk. Each frame is an element whose object is open: the child elements still to write
// lie in FItems from Pos to End, grouped, the group's size standing in FGroups at its first
// item; a frame inside an array has the array's items up to GroupEnd.
struct TVnDOMJSONWriter {
  TVnDOMJSONWriter(TStream *AStream, Word ACodePage, bool AFormatted)
      : Out(AStream, ACodePage), Formatted(AFormatted) {}

  struct TFrame {
    std::size_t Start;     // where this frame's items begin in FItems
    std::size_t Pos;       // the next item
    std::size_t End;       // one past the last item
    std::size_t GroupEnd;  // inside an array: one past its last item; otherwise 0
    Integer Level;         // the level of the object's entries
    bool First;            // no entry (or array item) written yet
  };

  TJSONText Out;
  bool Formatted;
  std::vector<TVnDOMElement *> Items;
  std::vector<Cardinal> Groups;
  // The member attributes of the element at hand; filled and used before the walk goes deeper.
  std::vector<TVnDOMNode *> Attributes;
  // Scratch of the grouping.
  std::vector<TVnDOMElement *> Children;
  std::vector<Integer> Next;
  // The last child of each name so far.
  std::unordered_map<UnicodeStringView, Integer> Chains;
  std::vector<bool> Follower;
  dom::TWalkStack<TFrame> Frames;

  // --- attributes

  // Collects the member attributes of an element into Attributes; answers whether the element
  // has an attribute in the schema-instance namespace (which GetAsValue reads).
  bool CollectAttributes(TVnDOMElement *AElement) {
    Attributes.clear();
    bool schemaInstance = false;
    AElement->ForEachOfKind(0, [&](TVnDOMNode *n) {
      auto *a = static_cast<TVnDOMAttribute *>(n);
      if (a->ClassType() != TVnDOMAttribute::StaticClass()) {
        if (a->IsNamespace()) return;
        const UnicodeString uri = a->GetNamespaceURI();
        if (uri == dom::cXSINamespace) {
          schemaInstance = true;
          return;
        }
        if (uri == dom::cXSDNamespace) return;
        Attributes.push_back(a);
        return;
      }
      if (a->IsNamespace()) return;
      if (TVnDOMAttribute *decl = a->GetNamespace()) {
        if (DeclaresNamespace(decl, dom::cXSINamespace)) {
          schemaInstance = true;
          return;
        }
        if (DeclaresNamespace(decl, dom::cXSDNamespace)) return;
      }
      Attributes.push_back(a);
    });
    return schemaInstance;
  }

  static bool HasChildNamed(TVnDOMElement *AElement, UnicodeStringView AName) {
    bool found = false;
    AElement->ForEachOfKind(1, [&](TVnDOMNode *n) {
      if (!found && n->GetLocalName() == AName) found = true;
    });
    return found;
  }

  // "<element>_<attribute>" with "." made "_", and a "_" in front while the element has a child
  // element of that local name. A detached attribute is named by its local name alone.
  static UnicodeString AttributeName(TVnDOMNode *AAttribute, TVnDOMElement *AElement) {
    UnicodeString name;
    if (AElement) {
      name = AElement->GetLocalName();
      name += u'_';
    }
    name += AAttribute->GetLocalName();
    for (char16_t &c : name) {
      if (c == u'.') c = u'_';
    }
    if (AElement && AElement->CountOfKind(1) > 0) {
      while (HasChildNamed(AElement, name)) name.insert(name.begin(), u'_');
    }
    return name;
  }

  void PutStoredText(TVnDOMNode *ANode) {
    const TClass c = ANode->ClassType();
    const UnicodeString *stored = nullptr;
    bool raw = false;
    if (c == TVnDOMAttribute::StaticClass()) {
      stored = &static_cast<TVnDOMAttribute *>(ANode)->GetStoredValue();
    } else if (c == TVnDOMText::StaticClass()) {
      stored = &static_cast<TVnDOMText *>(ANode)->GetStoredValue();
    } else if (c == TVnDOMCDATA::StaticClass()) {
      stored = &static_cast<TVnDOMCDATA *>(ANode)->GetStoredValue();
      raw = true;
    }
    // The lexical form is the value unless it holds a reference.
    if (stored && (raw || stored->find(u'&') == UnicodeString::npos)) {
      Out.PutEscaped(*stored);
    } else {
      Out.PutEscaped(ANode->GetNodeValue());
    }
  }

  // "<name>": "<value>", padded when formatted and APad.
  void PutAttribute(TVnDOMNode *AAttribute, TVnDOMElement *AElement, Integer ALevel, bool APad) {
    if (APad && Formatted) Out.Pad(ALevel);
    Out.Put(u'"');
    Out.Put(AttributeName(AAttribute, AElement));
    Out.Put(u"\": \"");
    PutStoredText(AAttribute);
    Out.Put(u'"');
  }

  // --- scalars

  void PutQuoted(UnicodeStringView AText) {
    Out.Put(u'"');
    Out.PutEscaped(AText);
    Out.Put(u'"');
  }

  // The scalar of an element without child elements, as an array item or as a member's value.
  void PutScalar(TVnDOMElement *AElement, bool AItem, bool ASchemaInstance) {
    if (!ASchemaInstance && AElement->ClassType() == TVnDOMElement::StaticClass()) {
      // Without a type the value is the text: null without character data, quoted text
      // otherwise, as GetAsValue gives it.
      if (AElement->CountOfKind(2) == 0) {
        Out.Put(u"null");
        return;
      }
      Out.Put(u'"');
      AElement->ForEachOfKind(2, [&](TVnDOMNode *n) {
        if (n->GetNodeType() != ntComment) PutStoredText(n);
      });
      Out.Put(u'"');
      return;
    }
    const TValue value = AElement->GetAsValue();
    const TTypeKind kind = value.GetTypeKind();
    if (kind == tkClassRef || kind == tkPointer) {
      Out.Put(VnValToJSON(value));
      return;
    }
    switch (value.MainTypeKind()) {
      case mtkInteger: {
        const UnicodeString text = AElement->GetNodeValue();
        if (AItem) {
          Out.Put(text);
        } else if (text.empty()) {
          Out.Put(u"null");
        } else if (IsNumberStart(text[0])) {
          Out.Put(text);
        } else {
          PutQuoted(text);
        }
        break;
      }
      case mtkFloat:
        Out.Put(AElement->GetNodeValue());
        break;
      case mtkString:
      case mtkDateTime:
        PutQuoted(AElement->GetNodeValue());
        break;
      case mtkBoolean:
        Out.Put(value.AsBoolean() ? UnicodeStringView(u"true") : UnicodeStringView(u"false"));
        break;
      default:
        Out.Put(u"null");
        break;
    }
  }

  // --- the items of a frame

  static bool SameName(TVnDOMElement *A, TVnDOMElement *B) noexcept {
    return A->GetNameRecord() == B->GetNameRecord() || A->GetLocalName() == B->GetLocalName();
  }

  // Puts the child elements of AElement into Items: with AFold, each followed by its later
  // namesakes as one group; otherwise each in a group of its own.
  void PushChildren(TVnDOMElement *AElement, bool AFold) {
    Children.clear();
    AElement->ForEachOfKind(
        1, [&](TVnDOMNode *n) { Children.push_back(static_cast<TVnDOMElement *>(n)); });
    const std::size_t n = Children.size();
    if (!AFold || n == 1) {
      for (TVnDOMElement *c : Children) {
        Items.push_back(c);
        Groups.push_back(1);
      }
      return;
    }
    if (n <= 8) {
      // Few children: every pair is compared.
      bool taken[8] = {};
      for (std::size_t i = 0; i < n; ++i) {
        if (taken[i]) continue;
        const std::size_t head = Items.size();
        Items.push_back(Children[i]);
        Groups.push_back(1);
        for (std::size_t j = i + 1; j < n; ++j) {
          if (!taken[j] && SameName(Children[i], Children[j])) {
            taken[j] = true;
            Items.push_back(Children[j]);
            Groups.push_back(0);
            ++Groups[head];
          }
        }
      }
      return;
    }
    // Many children: the namesakes are chained through a table of the names.
    Chains.clear();
    Next.assign(n, -1);
    Follower.assign(n, false);
    for (std::size_t i = 0; i < n; ++i) {
      const auto at = static_cast<Integer>(i);
      auto [it, added] = Chains.try_emplace(Children[i]->GetLocalName(), at);
      if (!added) {
        Next[static_cast<std::size_t>(it->second)] = at;
        it->second = at;
        Follower[i] = true;
      }
    }
    for (std::size_t i = 0; i < n; ++i) {
      if (Follower[i]) continue;
      const std::size_t head = Items.size();
      Groups.push_back(0);
      Items.push_back(Children[i]);
      Cardinal count = 1;
      for (Integer j = Next[i]; j >= 0; j = Next[static_cast<std::size_t>(j)]) {
        Items.push_back(Children[static_cast<std::size_t>(j)]);
        Groups.push_back(0);
        ++count;
      }
      Groups[head] = count;
    }
  }

  // Opens the object of an element with child elements, written as a member (AItem false:
  // member attributes each after a line break and followed by ",", the children folded) or as
  // an array item (attributes and children as entries, not folded). ALevel is the element's.
  void OpenObject(TVnDOMElement *AElement, Integer ALevel, bool AItem) {
    CollectAttributes(AElement);
    Out.Put(u'{');
    const std::size_t start = Items.size();
    bool first = true;
    if (!AItem) {
      for (TVnDOMNode *a : Attributes) {
        if (Formatted) Out.Break();
        PutAttribute(a, AElement, ALevel + 1, true);
        Out.Put(u',');
      }
      if (Attributes.empty() && Formatted) Out.Break();
    } else {
      if (Formatted) Out.Break();
      for (TVnDOMNode *a : Attributes) {
        if (!first) {
          Out.Put(u',');
          if (Formatted) Out.Break();
        }
        first = false;
        PutAttribute(a, AElement, ALevel + 1, true);
      }
    }
    PushChildren(AElement, !AItem);
    Frames.Push({start, start, Items.size(), 0, ALevel + 1, first});
  }

  // The member form of an element at ALevel; an element with child elements opens a frame.
  void PutMember(TVnDOMElement *AElement, Integer ALevel) {
    if (AElement->ClassType() != TVnDOMElement::StaticClass()) {
      // An application's class writes itself.
      Out.Flush();
      Integer level = ALevel;
      AElement->_SaveToJSONStream(Out.Stream(), Out.CodePage(), Formatted, level);
      return;
    }
    PutOwnMember(AElement, ALevel);
  }

  void PutOwnMember(TVnDOMElement *AElement, Integer ALevel) {
    if (Formatted) Out.Pad(ALevel);
    Out.Put(u'"');
    Out.PutName(AElement->GetLocalName());
    Out.Put(u"\": ");
    if (AElement->CountOfKind(1) > 0) {
      OpenObject(AElement, ALevel, false);
      return;
    }
    const bool schemaInstance = CollectAttributes(AElement);
    PutScalar(AElement, false, schemaInstance);
    for (TVnDOMNode *a : Attributes) {
      Out.Put(u", ");
      if (Formatted) {
        Out.Break();
        Out.Pad(ALevel);
      }
      PutAttribute(a, AElement, ALevel, false);
    }
  }

  // An array item at ALevel, its pad written.
  void PutItem(TVnDOMElement *AElement, Integer ALevel) {
    if (AElement->CountOfKind(1) > 0) {
      OpenObject(AElement, ALevel, true);
      return;
    }
    bool schemaInstance = false;
    if (AElement->ClassType() == TVnDOMElement::StaticClass()) {
      AElement->ForEachOfKind(0, [&](TVnDOMNode *n) {
        if (schemaInstance || n->ClassType() != TVnDOMAttribute::StaticClass()) {
          schemaInstance = true;
          return;
        }
        if (TVnDOMAttribute *decl = static_cast<TVnDOMAttribute *>(n)->GetNamespace())
          schemaInstance = DeclaresNamespace(decl, dom::cXSINamespace);
      });
    }
    PutScalar(AElement, true, schemaInstance);
  }

  // Writes what the open frames hold.
  void Run() {
    while (!Frames.Empty()) {
      TFrame &f = Frames.Top();
      if (f.GroupEnd) {
        // Inside an array, whose items stand at the next level.
        if (f.Pos < f.GroupEnd) {
          TVnDOMElement *item = Items[f.Pos++];
          if (!f.First) {
            Out.Put(u',');
            if (Formatted) Out.Break();
          }
          f.First = false;
          if (Formatted) Out.Pad(f.Level + 1);
          PutItem(item, f.Level + 1);  // may push, which may move f
          continue;
        }
        if (Formatted) {
          Out.Break();
          Out.Pad(f.Level);
        }
        Out.Put(u']');
        f.GroupEnd = 0;
        continue;
      }
      if (f.Pos >= f.End) {
        if (Formatted) {
          Out.Break();
          Out.Pad(f.Level - 1);
        }
        Out.Put(u'}');
        Items.resize(f.Start);
        Groups.resize(f.Start);
        Frames.Pop();
        continue;
      }
      if (!f.First) {
        Out.Put(u',');
        if (Formatted) Out.Break();
      }
      f.First = false;
      const std::size_t at = f.Pos;
      const Cardinal group = Groups[at];
      TVnDOMElement *child = Items[at];
      if (group > 1) {
        if (Formatted) Out.Pad(f.Level);
        Out.Put(u'"');
        Out.Put(child->GetLocalName());
        Out.Put(u"\": [");
        if (Formatted) Out.Break();
        f.GroupEnd = at + group;
        f.First = true;
        continue;
      }
      ++f.Pos;
      PutMember(child, f.Level);  // may push, which may move f
    }
  }
};

// --- the operations

void TVnDOMElement::_SaveToJSONStream(TStream *AStream, Word ACodePage, bool AFormatted,
                                      Integer &ALevel) {
  TVnDOMJSONWriter w(AStream, ACodePage, AFormatted);
  try {
    // This element by the walk's own form: PutMember would hand an application's class back to
    // this very operation.
    w.PutOwnMember(this, ALevel);
    w.Run();
  } catch (...) {
    // What was written before the failure reaches the stream.
    w.Out.Flush();
    throw;
  }
  w.Out.Flush();
}

void TVnDOMElement::SaveToJSONStream(TStream *AStream, Word ACodePage, bool AFormatted) {
  dom::WriteText(AStream, ACodePage, AFormatted ? u"{\r\n" : u"{");
  TVnDOMNode::SaveToJSONStream(AStream, ACodePage, AFormatted);
  dom::WriteText(AStream, ACodePage, AFormatted ? u"\r\n}" : u"}");
}

void TVnDOMAttribute::_SaveToJSONStream(TStream *AStream, Word ACodePage, bool AFormatted,
                                        Integer &ALevel) {
  TVnDOMJSONWriter w(AStream, ACodePage, AFormatted);
  w.PutAttribute(this, ParentElement(), ALevel, true);
  w.Out.Flush();
}

void TVnDOMDocument::_SaveToJSONStream(TStream *AStream, Word ACodePage, bool AFormatted,
                                       Integer &ALevel) {
  for (TVnDOMNode *child : FChildren) {
    child->_SaveToJSONStream(AStream, ACodePage, AFormatted, ALevel);
  }
}

void TVnDOMDocument::SaveToJSONStream(TStream *AStream, bool AFormatted, bool AWriteBOM) {
  if (AWriteBOM) AStream->WriteBuffer(cVnUTF8, sizeof(cVnUTF8));
  TVnDOMNode::SaveToJSONStream(AStream, CP_UTF8, AFormatted);
}

UnicodeString TVnDOMDocument::GetAsFormattedJSON() {
  TVnDOMElement *root = GetRootNode();
  if (!root) return u"{}";
  TVnStringStream s(CP_UTF16, 0);
  root->SaveToJSONStream(&s, CP_UTF16, true);
  return s.GetWString();
}

}  // namespace vn
