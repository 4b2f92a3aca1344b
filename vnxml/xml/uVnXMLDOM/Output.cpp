// XML output: the text writer and the writing of elements and documents. Values are stored in
// lexical form, so writing is concatenation.
#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>
#include <string>

#include "vnxml/xml/uVnXMLDOM/Internal.h"

namespace vn {

namespace dom {

namespace {

// UTF-16 to UTF-8 through a buffer on the stack. A lone surrogate makes the whole piece go
// through the run-time's conversion instead, so that both give the same bytes.
bool WriteUTF8(TStream *AStream, UnicodeStringView AText) {
  Byte buf[1024];
  std::size_t n = 0;
  const std::size_t len = AText.size();
  const char16_t *p = AText.data();
  for (std::size_t i = 0; i < len; ++i) {
    if (n + 4 > sizeof(buf)) {
      AStream->Write(buf, static_cast<Int64>(n));
      n = 0;
    }
    const char32_t c = p[i];
    if (c < 0x80) {
      buf[n++] = static_cast<Byte>(c);
    } else if (c < 0x800) {
      buf[n++] = static_cast<Byte>(0xC0 | (c >> 6));
      buf[n++] = static_cast<Byte>(0x80 | (c & 0x3F));
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      if (c > 0xDBFF || i + 1 >= len || p[i + 1] < 0xDC00 || p[i + 1] > 0xDFFF) return false;
      const char32_t cp = 0x10000 + ((c - 0xD800) << 10) + (p[i + 1] - 0xDC00);
      ++i;
      buf[n++] = static_cast<Byte>(0xF0 | (cp >> 18));
      buf[n++] = static_cast<Byte>(0x80 | ((cp >> 12) & 0x3F));
      buf[n++] = static_cast<Byte>(0x80 | ((cp >> 6) & 0x3F));
      buf[n++] = static_cast<Byte>(0x80 | (cp & 0x3F));
    } else {
      buf[n++] = static_cast<Byte>(0xE0 | (c >> 12));
      buf[n++] = static_cast<Byte>(0x80 | ((c >> 6) & 0x3F));
      buf[n++] = static_cast<Byte>(0x80 | (c & 0x3F));
    }
  }
  if (n) AStream->Write(buf, static_cast<Int64>(n));
  return true;
}

bool HasLoneSurrogate(UnicodeStringView AText) {
  for (std::size_t i = 0; i < AText.size(); ++i) {
    const char16_t c = AText[i];
    if (c < 0xD800 || c > 0xDFFF) continue;
    if (c > 0xDBFF || i + 1 >= AText.size() || AText[i + 1] < 0xDC00 || AText[i + 1] > 0xDFFF)
      return true;
    ++i;
  }
  return false;
}

// Collects the many small pieces of a walk and hands them to the target stream in large
// blocks; text in UTF-8 is converted straight into the block. The position is the target's plus
// what is buffered; anything else (reading, seeking, the size) first hands the buffer over, so
// the walk sees the stream as if it wrote directly.
class TVnBufferedOutput : public TStream {
  VN_CLASS(TVnBufferedOutput, TStream)
 public:
  explicit TVnBufferedOutput(TStream *ATarget)
      : FTarget(ATarget), FBuffer(std::make_unique<Byte[]>(cBlock)) {}
  Int64 Read(void *ABuffer, Int64 ACount) override {
    Flush();
    return FTarget->Read(ABuffer, ACount);
  }
  Int64 Write(const void *ABuffer, Int64 ACount) override {
    const auto *p = static_cast<const Byte *>(ABuffer);
    auto n = static_cast<std::size_t>(ACount);
    while (n > 0) {
      if (FUsed == cBlock) Flush();
      const std::size_t take = std::min(n, cBlock - FUsed);
      std::memcpy(FBuffer.get() + FUsed, p, take);
      FUsed += take;
      p += take;
      n -= take;
    }
    return ACount;
  }
  Int64 Seek(Int64 AOffset, TSeekOrigin AOrigin) override {
    if (AOrigin == soCurrent && AOffset == 0) {
      return FTarget->Seek(0, soCurrent) + static_cast<Int64>(FUsed);
    }
    Flush();
    return FTarget->Seek(AOffset, AOrigin);
  }
  Int64 GetSize() override {
    Flush();
    return FTarget->GetSize();
  }
  // Hands the buffer to the target; a target that takes less raises EWriteError.
  void Flush() {
    if (FUsed == 0) return;
    const std::size_t n = std::exchange(FUsed, 0);
    FTarget->WriteBuffer(FBuffer.get(), static_cast<Int64>(n));
  }
  // Writes the text as UTF-8 into the block. False, with nothing written, for a text that might
  // not fit into one block, and for a text with a lone surrogate (which goes through the
  // run-time's conversion instead).
  bool TryAppendUTF8(UnicodeStringView AText) {
    const std::size_t most = AText.size() * 3;
    if (most > cBlock) return false;
    if (cBlock - FUsed < most) Flush();
    Byte *out = dom::EncodeUTF8(AText, FBuffer.get() + FUsed);
    if (!out) return false;
    FUsed = static_cast<std::size_t>(out - FBuffer.get());
    return true;
  }

 private:
  static constexpr std::size_t cBlock = 64 * 1024;
  TStream *FTarget;
  std::unique_ptr<Byte[]> FBuffer;
  std::size_t FUsed = 0;
};

}  // namespace

void WriteText(TStream *AStream, Word ACodePage, UnicodeStringView AText) {
  if (AText.empty()) return;
  if (ACodePage == CP_UTF16) {
    AStream->Write(AText.data(), static_cast<Int64>(AText.size() * 2));
    return;
  }
  if (ACodePage == CP_UTF8) {
    if (AStream->ClassType() == TVnBufferedOutput::StaticClass() &&
        static_cast<TVnBufferedOutput *>(AStream)->TryAppendUTF8(AText)) {
      return;
    }
    if (!HasLoneSurrogate(AText)) {
      WriteUTF8(AStream, AText);
      return;
    }
  }
  const RawByteString bytes = TVnEncoding::ConvertW(AText, ACodePage);
  AStream->Write(bytes.data(), static_cast<Int64>(bytes.size()));
}

void WriteBreak(TStream *AStream, Word ACodePage) {
  WriteText(AStream, ACodePage, u"\r\n");
}

void WriteIndent(TStream *AStream, Word ACodePage, Integer ALevel) {
  static constexpr char16_t blanks[] = u"                                ";
  constexpr Integer chunk = 16;  // indent units per piece of blanks
  for (Integer n = ALevel + 1; n > 0; n -= chunk) {
    WriteText(AStream, ACodePage,
              UnicodeStringView(blanks, 2 * static_cast<std::size_t>(n < chunk ? n : chunk)));
  }
}

}  // namespace dom

void TVnDOMNode::SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted) {
  Integer level = -1;
  dom::TVnBufferedOutput out(AStream);
  try {
    _SaveToStream(&out, ACodePage, AFormatted, level);
  } catch (...) {
    // What was written before the failure reaches the stream, as without the buffer.
    out.Flush();
    throw;
  }
  out.Flush();
}

bool TVnDOMElement::SaveStartTag(TStream *AStream, Word ACodePage, bool AFormatted, Integer &ALevel,
                                 bool &AHasElements) {
  if (AFormatted && !GetPreserveSpace()) {
    const Int64 pos = AStream->GetPosition();
    if (pos == 2) {
      // A UTF-16 byte-order mark alone before the element gets no break.
      Byte head[2] = {0, 0};
      AStream->SetPosition(0);
      AStream->Read(head, 2);
      if (std::memcmp(head, cVnUTF16LE, 2) != 0) dom::WriteBreak(AStream, ACodePage);
    } else if (pos > 0) {
      dom::WriteBreak(AStream, ACodePage);
    }
    dom::WriteIndent(AStream, ACodePage, ALevel);
  }
  dom::WriteText(AStream, ACodePage, u"<");
  dom::WriteText(AStream, ACodePage, GetQualifiedName());
  bool hasElements = false;
  bool hasChars = false;
  if (FKindLists) {
    ForEachOfKind(0,
                  [&](TVnDOMNode *a) { a->_SaveToStream(AStream, ACodePage, AFormatted, ALevel); });
    hasElements = CountOfKind(1) > 0;
    hasChars = CountOfKind(2) > 0;
  } else {
    // Without kind lists the kinds follow the child list: one pass writes the attributes and
    // sees what else there is.
    for (TVnDOMNode *child : FChildren) {
      switch (KindOf(child->GetNodeType())) {
        case 0:
          child->_SaveToStream(AStream, ACodePage, AFormatted, ALevel);
          break;
        case 1:
          hasElements = true;
          break;
        case 2:
          hasChars = true;
          break;
        default:
          break;
      }
    }
  }
  AHasElements = hasElements;
  if (!hasElements && !hasChars) {
    dom::WriteText(AStream, ACodePage, u" />");
    return false;
  }
  dom::WriteText(AStream, ACodePage, u">");
  return true;
}

void TVnDOMElement::SaveEndTag(TStream *AStream, Word ACodePage, bool AFormatted, Integer ALevel,
                               bool AHasElements) {
  if (AFormatted && AHasElements && !GetPreserveSpace()) {
    dom::WriteBreak(AStream, ACodePage);
    dom::WriteIndent(AStream, ACodePage, ALevel);
  }
  dom::WriteText(AStream, ACodePage, u"</");
  dom::WriteText(AStream, ACodePage, GetQualifiedName());
  dom::WriteText(AStream, ACodePage, u">");
}

void TVnDOMElement::_SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted,
                                  Integer &ALevel) {
  // The start tag, the children other than attributes one level deeper, the end tag. Elements
  // of this class below are written on a frame of their own rather than by a call per level;
  // any other node writes itself.
  struct TFrame {
    TVnDOMElement *Element;
    std::size_t Index;
    bool HasElements;
  };
  bool hasElements = false;
  if (!SaveStartTag(AStream, ACodePage, AFormatted, ALevel, hasElements)) return;
  ++ALevel;
  dom::TWalkStack<TFrame> frames;
  frames.Push({this, 0, hasElements});
  while (!frames.Empty()) {
    TFrame &f = frames.Top();
    const TVnDOMNodeArray &children = f.Element->FChildren;
    if (f.Index >= children.size()) {
      --ALevel;
      f.Element->SaveEndTag(AStream, ACodePage, AFormatted, ALevel, f.HasElements);
      frames.Pop();
      continue;
    }
    TVnDOMNode *child = children[f.Index++];
    if (child->GetNodeType() == ntAttribute) continue;
    if (child->ClassType() != TVnDOMElement::StaticClass()) {
      child->_SaveToStream(AStream, ACodePage, AFormatted, ALevel);
      continue;
    }
    auto *e = static_cast<TVnDOMElement *>(child);
    if (e->SaveStartTag(AStream, ACodePage, AFormatted, ALevel, hasElements)) {
      ++ALevel;
      frames.Push({e, 0, hasElements});
    }
  }
}

void TVnDOMDocument::_SaveToStream(TStream *AStream, Word ACodePage, bool AFormatted,
                                   Integer &ALevel) {
  for (TVnDOMNode *child : FChildren) {
    child->_SaveToStream(AStream, ACodePage, AFormatted, ALevel);
  }
}

UnicodeString VnFormatXML(const UnicodeString &AXML) {
  TVnDOMDocument *doc = TVnDOMDocument::CreateFromXML(AXML);
  UnicodeString r;
  try {
    r = doc->GetFormattedXML();
  } catch (...) {
    doc->Free();
    throw;
  }
  doc->Free();
  return r;
}

UnicodeString VnFormatXML(const AnsiString &AXML) {
  return VnFormatXML(TVnEncoding::ConvertA(AXML));
}

}  // namespace vn
