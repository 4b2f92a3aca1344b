// The tree as text: SaveToStream of each node class, the formatting rules, and the document's
// encodings.
//
// The library's own node classes are written by one walk with a stack of its own, so a tree of
// any depth is written without nested calls; a node of an application's class met on the way
// is written by its virtual SaveToStream.
#include "vnxml/json/uVnJSON/Internal.h"
#include "vnxml/rtl/Owned.h"
#include "vnxml/xml/uVnXMLUtils.h"

namespace vn {

namespace {

// Collects UTF-16 text and hands it to the stream in blocks (or keeps all of it, without a
// stream).
class TWriter {
 public:
  explicit TWriter(TStream *AStream) : FStream(AStream) {
    if (FStream) FBuf.reserve(cBlock + 256);
  }
  ~TWriter() noexcept(false) {
    if (std::uncaught_exceptions() == 0) Flush();
  }
  void Put(UnicodeStringView AText) {
    FBuf.append(AText);
    if (FStream && FBuf.size() >= cBlock) Flush();
  }
  void Put(char16_t AChar) {
    FBuf += AChar;
    if (FStream && FBuf.size() >= cBlock) Flush();
  }
  void Indent(Integer ALevel) {
    for (Integer i = 0; i < ALevel; ++i) FBuf.append(u"  ", 2);
    if (FStream && FBuf.size() >= cBlock) Flush();
  }
  void PutEscaped(UnicodeStringView AText) {
    json::AppendEscaped(FBuf, AText);
    if (FStream && FBuf.size() >= cBlock) Flush();
  }
  void Flush() {
    if (FStream && !FBuf.empty()) {
      json::Write(FStream, FBuf);
      FBuf.clear();
    }
  }
  UnicodeString &Text() { return FBuf; }
  TStream *Stream() const { return FStream; }

 private:
  static constexpr std::size_t cBlock = 8192;
  TStream *FStream;
  UnicodeString FBuf;
};

enum TNodeKind : Byte { nkOther, nkSimple, nkMember, nkObject, nkArray };

TNodeKind KindOf(const TVnJSONBase *ANode) {
  if (ANode->Is<TVnJSONSimpleType>()) return nkSimple;
  if (ANode->Is<TVnJSONMember>()) return nkMember;
  if (ANode->Is<TVnJSONObject>()) return nkObject;
  if (ANode->Is<TVnJSONArray>()) return nkArray;
  return nkOther;
}

bool IsLibraryClass(const TVnJSONBase *ANode) {
  const TClass c = ANode->ClassType();
  return c == TVnJSONSimpleType::StaticClass() || c == TVnJSONMember::StaticClass() ||
         c == TVnJSONObject::StaticClass() || c == TVnJSONArray::StaticClass() ||
         c == TVnJSONDocument::StaticClass() || c == TVnJSONBase::StaticClass();
}

}  // namespace

// The walk of json::SaveTree; a friend of the node classes through TVnJSONBase.
struct TVnJSONTreeWriter {
  struct TFrame {
    TVnJSONBase *Node;
    Integer Next;
    Integer Level;
    TNodeKind Kind;
    bool Indent;  // for the children of a node of kind nkOther: they take its arguments
  };

  TWriter &W;
  bool Formatted;
  std::vector<TFrame> Stack;

  // Writes ANode, or opens it: a container's children follow from the stack.
  void Emit(TVnJSONBase *ANode, Integer ALevel, bool AIndent, bool ATop) {
    for (;;) {
      if (!ATop && !IsLibraryClass(ANode)) {
        W.Flush();
        if (W.Stream()) {
          ANode->SaveToStream(W.Stream(), Formatted, ALevel, AIndent);
        } else {
          TVnStringStream s(CP_UTF16, 256);
          ANode->SaveToStream(&s, Formatted, ALevel, AIndent);
          W.Put(s.GetWString());
        }
        return;
      }
      ATop = false;
      switch (KindOf(ANode)) {
        case nkSimple:
          if (Formatted && AIndent) W.Indent(ALevel);
          WriteSimple(static_cast<TVnJSONSimpleType *>(ANode));
          return;
        case nkMember: {
          auto *m = static_cast<TVnJSONMember *>(ANode);
          if (Formatted && AIndent) W.Indent(ALevel);
          W.Put(u'"');
          W.PutEscaped(m->NameView());
          W.Put(u"\": ");
          TVnJSONBase *v = m->GetValueObj();
          if (!v) return;
          ANode = v;
          AIndent = false;
          continue;
        }
        case nkObject:
          if (Formatted) {
            if (AIndent) W.Indent(ALevel);
            W.Put(u"{ \r\n");
          } else {
            W.Put(u'{');
          }
          Stack.push_back({ANode, 0, ALevel, nkObject, false});
          return;
        case nkArray:
          if (Formatted) {
            if (AIndent) W.Indent(ALevel);
            W.Put(u"[\r\n");
          } else {
            W.Put(u'[');
          }
          Stack.push_back({ANode, 0, ALevel, nkArray, false});
          return;
        default:
          Stack.push_back({ANode, 0, ALevel, nkOther, AIndent});
          return;
      }
    }
  }

  void WriteSimple(TVnJSONSimpleType *ANode) {
    switch (ANode->JSONType()) {
      case jdtNull:
        W.Put(u"null");
        return;
      case jdtString:
        if (ANode->FKind == TVnJSONSimpleType::vkText) {
          W.Put(u'"');
          W.PutEscaped(ANode->TextView());
          W.Put(u'"');
        } else if (ANode->FKind == TVnJSONSimpleType::vkDate ||
                   TVnTypes::VarMainTypeKind(ANode->GetAsVariant()) == mtkDateTime) {
          // A date is written in its text form, and without quotation marks.
          W.Put(VnVarToStr(ANode->GetAsVariant()));
        } else {
          W.Put(u'"');
          W.PutEscaped(VnVarToStr(ANode->GetAsVariant()));
          W.Put(u'"');
        }
        return;
      case jdtNumber:
        if (ANode->FKind == TVnJSONSimpleType::vkText)
          W.Put(ANode->TextView());
        else
          W.Put(VnVarToJSON(ANode->GetAsVariant()));
        return;
      case jdtBoolean:
        if (ANode->FKind == TVnJSONSimpleType::vkText)
          W.Put(ANode->TextView());
        else
          W.Put(VnVarToBool(ANode->GetAsVariant()) ? u"true" : u"false");
        return;
      default:
        throw EVnJSONException(_cVnJSONUnexpectedType, 6);
    }
  }

  void Run(TVnJSONBase *ATop, Integer ALevel, bool AIndent) {
    Emit(ATop, ALevel, AIndent, true);
    while (!Stack.empty()) {
      TFrame &f = Stack.back();
      if (f.Next < f.Node->ObjectCount()) {
        const Integer i = f.Next++;
        TVnJSONBase *child = f.Node->Objects(i);
        const Integer level = f.Level;
        if (f.Kind == nkOther) {
          Emit(child, level, f.Indent, false);
        } else {
          if (i > 0) W.Put(u", ");
          Emit(child, level + 1, i == 0, false);
        }
        continue;
      }
      if (f.Kind == nkObject || f.Kind == nkArray) {
        if (Formatted) {
          W.Put(u"\r\n");
          W.Indent(f.Level);
        }
        W.Put(f.Kind == nkObject ? u'}' : u']');
      }
      Stack.pop_back();
    }
  }
};

namespace json {

void SaveTree(TVnJSONBase *ANode, TStream *AStream, bool AFormatted, Integer ALevel, bool AIndent) {
  TWriter w(AStream);
  TVnJSONTreeWriter t{w, AFormatted, {}};
  t.Run(ANode, ALevel, AIndent);
}

UnicodeString SaveTreeText(TVnJSONBase *ANode, bool AFormatted) {
  TWriter w(nullptr);
  TVnJSONTreeWriter t{w, AFormatted, {}};
  t.Run(ANode, 0, false);
  return std::move(w.Text());
}

}  // namespace json

void TVnJSONBase::SaveToStream(TStream *AStream, bool AFormatted, Integer ALevel, bool AIndent) {
  json::SaveTree(this, AStream, AFormatted, ALevel, AIndent);
}

void TVnJSONSimpleType::SaveToStream(TStream *AStream, bool AFormatted, Integer ALevel,
                                     bool AIndent) {
  json::SaveTree(this, AStream, AFormatted, ALevel, AIndent);
}

void TVnJSONMember::SaveToStream(TStream *AStream, bool AFormatted, Integer ALevel, bool AIndent) {
  json::SaveTree(this, AStream, AFormatted, ALevel, AIndent);
}

void TVnJSONObject::SaveToStream(TStream *AStream, bool AFormatted, Integer ALevel, bool AIndent) {
  json::SaveTree(this, AStream, AFormatted, ALevel, AIndent);
}

void TVnJSONArray::SaveToStream(TStream *AStream, bool AFormatted, Integer ALevel, bool AIndent) {
  json::SaveTree(this, AStream, AFormatted, ALevel, AIndent);
}

VnJSONString TVnJSONBase::GetAsJSON() {
  return json::SaveTreeText(this, false);
}

VnJSONString TVnJSONBase::GetFormattedJSON() {
  return json::SaveTreeText(this, true);
}

VnJSONString TVnJSONDocument::GetAsJSON() {
  return json::SaveTreeText(this, false);
}

VnJSONString TVnJSONDocument::GetFormattedJSON() {
  return json::SaveTreeText(this, true);
}

void TVnJSONDocument::SaveToStream(TStream *AStream, bool AFormatted, Word ACodePage, bool ABOM) {
  if (ACodePage == CP_UTF16) {
    if (ABOM) AStream->WriteBuffer(cVnUTF16LE, 2);
    json::SaveTree(this, AStream, AFormatted, 0, false);
    return;
  }
  const UnicodeString text = json::SaveTreeText(this, AFormatted);
  if (ACodePage == CP_UTF8 && ABOM) AStream->WriteBuffer(cVnUTF8, 3);
  const RawByteString bytes = TVnEncoding::ConvertW(text, ACodePage);
  if (!bytes.empty()) AStream->WriteBuffer(bytes.data(), static_cast<Int64>(bytes.size()));
}

void TVnJSONDocument::SaveToFile(const UnicodeString &AFileName, bool AFormatted) {
  Owned<TFileStream> stream(New<TFileStream>(AFileName, fmCreate));
  SaveToStream(stream.get(), AFormatted, CP_UTF8, true);
}

UnicodeString VnFormatJSON(const UnicodeString &AJSON) {
  Owned<TVnJSONDocument> doc(New<TVnJSONDocument>());
  doc->SetAsJSON(AJSON);
  return doc->GetAsJSON();
}

UnicodeString VnFormatJSON(const AnsiString &AJSON) {
  Owned<TVnJSONDocument> doc(New<TVnJSONDocument>());
  TPointerStream stream(AJSON.data(), static_cast<Int64>(AJSON.size()));
  doc->LoadFromStream(&stream, AJSON.EffectiveCodePage(), false);
  return doc->GetAsJSON();
}

}  // namespace vn
