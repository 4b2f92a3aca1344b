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

// Collects UTF-16 text and hands it to the stream in blocks, as UTF-16 or converted to a code
// page (or keeps all of it, without a stream).
class TWriter {
 public:
  explicit TWriter(TStream *AStream, Word ACodePage = CP_UTF16)
      : FStream(AStream), FCodePage(ACodePage) {
    if (FStream) FBuf.reserve(cBlock + 256);
  }
  ~TWriter() noexcept(false) {
    if (std::uncaught_exceptions() == 0) Flush(true);
  }
  void Put(UnicodeStringView AText) {
    FBuf.append(AText);
    if (FStream && FBuf.size() >= cBlock) Flush(false);
  }
  void Put(char16_t AChar) {
    FBuf += AChar;
    if (FStream && FBuf.size() >= cBlock) Flush(false);
  }
  void Indent(Integer ALevel) {
    for (Integer i = 0; i < ALevel; ++i) FBuf.append(u"  ", 2);
    if (FStream && FBuf.size() >= cBlock) Flush(false);
  }
  void PutText(Byte AInfo, const UInt64 &AWord) {
    json::TextAppend(FBuf, AInfo, AWord);
    if (FStream && FBuf.size() >= cBlock) Flush(false);
  }
  void PutTextEscaped(Byte AInfo, const UInt64 &AWord) {
    json::TextAppendEscaped(FBuf, AInfo, AWord);
    if (FStream && FBuf.size() >= cBlock) Flush(false);
  }
  void PutEscaped(UnicodeStringView AText) {
    json::AppendEscaped(FBuf, AText);
    if (FStream && FBuf.size() >= cBlock) Flush(false);
  }
  // Hands the text over; a block that ends in the first half of a surrogate pair keeps that
  // half for the next one, unless this is the last block.
  void Flush(bool ALast = true) {
    if (!FStream || FBuf.empty()) return;
    std::size_t n = FBuf.size();
    if (!ALast && FCodePage != CP_UTF16 && FBuf[n - 1] >= 0xD800 && FBuf[n - 1] <= 0xDBFF) --n;
    const UnicodeStringView block(FBuf.data(), n);
    if (FCodePage == CP_UTF16) {
      json::Write(FStream, block);
    } else if (FCodePage == CP_UTF8) {
      // The byte buffer keeps its size between blocks: three bytes a unit at most.
      if (FBytes.size() < n * 3) FBytes.resize(n * 3 + 64);
      const std::size_t len = json::ToUTF8(block, FBytes.data());
      FStream->WriteBuffer(FBytes.data(), static_cast<Int64>(len));
    } else {
      const RawByteString bytes = TVnEncoding::ConvertW(block, FCodePage);
      if (!bytes.empty()) FStream->WriteBuffer(bytes.data(), static_cast<Int64>(bytes.size()));
    }
    FBuf.erase(0, n);
  }
  UnicodeString &Text() { return FBuf; }
  TStream *Stream() const { return FStream; }
  // Whether the stream takes UTF-16 as it is, which a node of an application's class writes.
  bool Direct() const { return FCodePage == CP_UTF16; }

 private:
  static constexpr std::size_t cBlock = 8192;
  TStream *FStream;
  Word FCodePage;
  UnicodeString FBuf;
  std::string FBytes;
};

enum TNodeKind : Byte { nkOther, nkSimple, nkMember, nkObject, nkArray };

// The class references of the library's node classes, taken once.
struct TClasses {
  TClass Simple = TVnJSONSimpleType::StaticClass();
  TClass Member = TVnJSONMember::StaticClass();
  TClass Object = TVnJSONObject::StaticClass();
  TClass Array = TVnJSONArray::StaticClass();
  TClass Document = TVnJSONDocument::StaticClass();
  TClass Base = TVnJSONBase::StaticClass();
};

const TClasses &Classes() {
  static const TClasses c;
  return c;
}

// The kind of a node, and whether its class is one of the library's own: one look at the class
// for those, the walk up the class chain for an application's.
TNodeKind KindOf(const TVnJSONBase *ANode, bool &ALibrary) {
  const TClasses &c = Classes();
  const TClass k = ANode->ClassType();
  ALibrary = true;
  if (k == c.Simple) return nkSimple;
  if (k == c.Member) return nkMember;
  if (k == c.Object) return nkObject;
  if (k == c.Array) return nkArray;
  if (k == c.Document || k == c.Base) return nkOther;
  ALibrary = false;
  if (ANode->Is<TVnJSONSimpleType>()) return nkSimple;
  if (ANode->Is<TVnJSONMember>()) return nkMember;
  if (ANode->Is<TVnJSONObject>()) return nkObject;
  if (ANode->Is<TVnJSONArray>()) return nkArray;
  return nkOther;
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
      bool library;
      const TNodeKind kind = KindOf(ANode, library);
      if (!ATop && !library) {
        if (W.Stream() && W.Direct()) {
          W.Flush();
          ANode->SaveToStream(W.Stream(), Formatted, ALevel, AIndent);
        } else {
          TVnStringStream s(CP_UTF16, 256);
          ANode->SaveToStream(&s, Formatted, ALevel, AIndent);
          W.Put(s.GetWString());
        }
        return;
      }
      ATop = false;
      switch (kind) {
        case nkSimple:
          if (Formatted && AIndent) W.Indent(ALevel);
          WriteSimple(static_cast<TVnJSONSimpleType *>(ANode));
          return;
        case nkMember: {
          auto *m = static_cast<TVnJSONMember *>(ANode);
          if (Formatted && AIndent) W.Indent(ALevel);
          WriteName(m->FTextInfo, m->FName);
          TVnJSONBase *v = library ? TVnJSONSlots::ValueOf(m) : m->GetValueObj();
          if (!v) return;
          if (json::IsLatent(v)) {
            WriteLatent(v);
            return;
          }
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

  // A member's name and what follows it up to the value.
  void WriteName(Byte AInfo, const UInt64 &AName) {
    W.Put(u'"');
    W.PutTextEscaped(AInfo, AName);
    W.Put(u"\": ");
  }

  // A compact value, written as the node it stands for would be.
  void WriteLatent(const TVnJSONBase *ASlot) {
    json::TLatentText t;
    json::LatentRead(ASlot, t);
    switch (t.Type) {
      case jdtNull:
        W.Put(u"null");
        return;
      case jdtString:
        W.Put(u'"');
        W.PutTextEscaped(t.Info, t.Word);
        W.Put(u'"');
        return;
      default:
        W.PutText(t.Info, t.Word);
        return;
    }
  }

  void WriteSimple(TVnJSONSimpleType *ANode) {
    switch (ANode->JSONType()) {
      case jdtNull:
        W.Put(u"null");
        return;
      case jdtString:
        if (ANode->Kind() == TVnJSONSimpleType::vkText) {
          W.Put(u'"');
          W.PutTextEscaped(ANode->FTextInfo, ANode->FData.Word);
          W.Put(u'"');
        } else if (ANode->Kind() == TVnJSONSimpleType::vkDate ||
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
        if (ANode->Kind() == TVnJSONSimpleType::vkText)
          W.PutText(ANode->FTextInfo, ANode->FData.Word);
        else
          W.Put(VnVarToJSON(ANode->GetAsVariant()));
        return;
      case jdtBoolean:
        if (ANode->Kind() == TVnJSONSimpleType::vkText)
          W.PutText(ANode->FTextInfo, ANode->FData.Word);
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
        const Integer level = f.Level;
        if (f.Kind == nkOther) {
          // A document's root: always a node.
          Emit(f.Node->Objects(i), level, f.Indent, false);
        } else {
          TVnJSONBase *child = TVnJSONSlots::At(f.Node, i);
          if (i > 0) W.Put(u", ");
          if (json::IsLatent(child)) {
            if (Formatted && i == 0) W.Indent(level + 1);
            // In an object, a member record: written as its member node would be.
            if (f.Kind == nkObject) {
              Byte info;
              const json::TMemberRecord *r = json::RecordOf(child, info);
              WriteName(info, r->Name);
              child = r->Value;
            }
            WriteLatent(child);
          } else {
            Emit(child, level + 1, i == 0, false);
          }
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

void SaveTree(TVnJSONBase *ANode, TStream *AStream, bool AFormatted, Integer ALevel, bool AIndent,
              Word ACodePage) {
  TWriter w(AStream, ACodePage);
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
  // Other pages: the text is converted block by block on its way into the stream.
  if (ACodePage == CP_UTF8 && ABOM) AStream->WriteBuffer(cVnUTF8, 3);
  json::SaveTree(this, AStream, AFormatted, 0, false, ACodePage);
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
