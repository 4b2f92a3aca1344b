// TVnStringStream and TVnUTF8StreamAdapter.
#include <unicode/utf16.h>

#include <cstring>

#include "vnxml/common/uVnClasses.h"

namespace vn {

TVnStringStream::TVnStringStream(Word ACodePage, UInt64 ACapacity) : FCodePage(ACodePage) {
  if (ACapacity) SetCapacity(static_cast<Int64>(ACapacity));
}

TVnStringStream::TVnStringStream(const UnicodeString &AText) : FCodePage(CP_UTF16) {
  Append(AText.data(), static_cast<Int64>(AText.size() * 2));
  SetPosition(0);
}

TVnStringStream::TVnStringStream(const AnsiString &AText, Word ACodePage) : FCodePage(ACodePage) {
  Append(AText.data(), static_cast<Int64>(AText.size()));
  SetPosition(0);
}

TVnStringStream::TVnStringStream(const void *ABuffer, Integer ASize, Word ACodePage)
    : FCodePage(ACodePage) {
  if (ABuffer && ASize > 0) Append(ABuffer, ASize);
  SetPosition(0);
}

void TVnStringStream::Append(const void *AData, Int64 ACount) {
  Seek(0, soEnd);
  WriteBuffer(AData, ACount);
}

void TVnStringStream::Add(UnicodeStringView AText) {
  if (AText.empty()) return;
  if (FCodePage == CP_UTF16) {
    Append(AText.data(), static_cast<Int64>(AText.size() * 2));
  } else {
    RawByteString bytes = UnicodeToCodePage(AText, FCodePage);
    Append(bytes.data(), static_cast<Int64>(bytes.size()));
  }
}

void TVnStringStream::AddChar(char16_t AChar) {
  if (FCodePage == CP_UTF16) {
    Append(&AChar, 2);
  } else if (AChar < 0x80 && FCodePage != 1200) {
    // ASCII is the same byte in every page a string stream is used with.
    char b = static_cast<char>(AChar);
    if (FCodePage == CP_UTF8 || IsSingleByteCodePage(FCodePage) || FCodePage == 0)
      Append(&b, 1);
    else
      Add(UnicodeStringView(&AChar, 1));
  } else {
    Add(UnicodeStringView(&AChar, 1));
  }
}

UnicodeString TVnStringStream::GetWString() const {
  UnicodeString r(static_cast<std::size_t>(FSize / 2), u'\0');
  if (!r.empty()) std::memcpy(r.data(), FMemory, r.size() * 2);
  return r;
}

AnsiString TVnStringStream::GetAString() const {
  return AnsiString(
      std::string_view(reinterpret_cast<const char *>(FMemory), static_cast<std::size_t>(FSize)),
      FCodePage);
}

UnicodeString TVnStringStream::GetAsString() const {
  if (FCodePage == CP_UTF16) return GetWString();
  return CodePageToUnicode(reinterpret_cast<const char *>(FMemory), static_cast<std::size_t>(FSize),
                           FCodePage);
}

RawByteString TVnStringStream::GetDataString() const {
  return RawByteString(reinterpret_cast<const char *>(FMemory), static_cast<std::size_t>(FSize));
}

RawByteString TVnStringStream::GetAsUTF8() const {
  return StringData(CP_UTF8);
}

RawByteString TVnStringStream::StringData(Word ACodePage) const {
  const Word from = FCodePage ? FCodePage : DefaultSystemCodePage;
  const Word to = ACodePage ? ACodePage : DefaultSystemCodePage;
  if (from == to) return GetDataString();
  return UnicodeToCodePage(GetAsString(), to);
}

// ---------------------------------------------------------------------------------------------

TVnUTF8StreamAdapter::TVnUTF8StreamAdapter(TStream *ATarget, bool AOwner, bool AWriteBOM)
    : FTarget(ATarget), FOwner(AOwner) {
  if (AWriteBOM) FTarget->WriteBuffer(cVnUTF8, sizeof(cVnUTF8));
}

TVnUTF8StreamAdapter::~TVnUTF8StreamAdapter() {
  try {
    Flush(true);
  } catch (...) {
    // A destructor cannot report the failure of the last write.
  }
  if (FOwner && FTarget) FTarget->Free();
}

Int64 TVnUTF8StreamAdapter::Read(void *, Int64) {
  throw EStreamError(u"The UTF-8 stream adapter can only be written");
}

Int64 TVnUTF8StreamAdapter::Seek(Int64 AOffset, TSeekOrigin AOrigin) {
  if (AOffset == 0 && AOrigin == soCurrent) return FWritten;
  if (AOrigin == soEnd && AOffset == 0) return FWritten;
  if (AOrigin == soBeginning && AOffset == FWritten) return FWritten;
  throw EStreamError(u"The UTF-8 stream adapter cannot seek");
}

Int64 TVnUTF8StreamAdapter::Write(const void *ABuffer, Int64 ACount) {
  if (ACount <= 0) return 0;
  const Byte *p = static_cast<const Byte *>(ABuffer);
  const Byte *e = p + ACount;
  UnicodeString units;
  units.reserve(static_cast<std::size_t>(ACount / 2 + 2));
  if (FPendingHigh) units.push_back(std::exchange(FPendingHigh, u'\0'));
  if (FPendingByte >= 0) {
    units.push_back(static_cast<char16_t>(FPendingByte | (*p << 8)));
    FPendingByte = -1;
    ++p;
  }
  for (; e - p >= 2; p += 2) units.push_back(static_cast<char16_t>(p[0] | (p[1] << 8)));
  if (p < e) FPendingByte = *p;
  // A high surrogate at the end waits for its partner in the next write.
  if (!units.empty() && U16_IS_LEAD(units.back())) {
    FPendingHigh = units.back();
    units.pop_back();
  }
  if (!units.empty()) {
    std::string bytes = UTF8Encode(units);
    FTarget->WriteBuffer(bytes.data(), static_cast<Int64>(bytes.size()));
  }
  FWritten += ACount;
  return ACount;
}

void TVnUTF8StreamAdapter::Flush(bool AFinal) {
  if (!AFinal) return;
  if (FPendingHigh || FPendingByte >= 0) {
    FPendingHigh = 0;
    FPendingByte = -1;
    static const char cReplacement[] = "\xEF\xBF\xBD";
    FTarget->WriteBuffer(cReplacement, 3);
  }
}

}  // namespace vn
