#include "vnxml/rtl/Streams.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "vnxml/rtl/SysUtils.h"

namespace vn {

// ---------------------------------------------------------------------------------------------
// TStream

Int64 TStream::GetSize() {
  Int64 pos = Seek(0, soCurrent);
  Int64 size = Seek(0, soEnd);
  Seek(pos, soBeginning);
  return size;
}

void TStream::SetSize(Int64) {
  throw EStreamError(u"Stream does not support a change of size");
}

void TStream::ReadBuffer(void *ABuffer, Int64 ACount) {
  Byte *p = static_cast<Byte *>(ABuffer);
  while (ACount > 0) {
    Int64 n = Read(p, ACount);
    if (n <= 0) throw EReadError(u"Stream read error");
    p += n;
    ACount -= n;
  }
}

void TStream::WriteBuffer(const void *ABuffer, Int64 ACount) {
  const Byte *p = static_cast<const Byte *>(ABuffer);
  while (ACount > 0) {
    Int64 n = Write(p, ACount);
    if (n <= 0) throw EWriteError(u"Stream write error");
    p += n;
    ACount -= n;
  }
}

Int64 TStream::CopyFrom(TStream *ASource, Int64 ACount) {
  if (ACount == 0) {
    ASource->SetPosition(0);
    ACount = ASource->GetSize();
  }
  constexpr Int64 cBlock = 64 * 1024;
  std::unique_ptr<Byte[]> buf(new Byte[cBlock]);
  Int64 done = 0;
  while (done < ACount) {
    Int64 n = std::min(cBlock, ACount - done);
    ASource->ReadBuffer(buf.get(), n);
    WriteBuffer(buf.get(), n);
    done += n;
  }
  return done;
}

// ---------------------------------------------------------------------------------------------
// Memory streams

Int64 TCustomMemoryStream::Read(void *ABuffer, Int64 ACount) {
  if (ACount <= 0 || FPosition >= FSize) return 0;
  Int64 n = std::min(ACount, FSize - FPosition);
  std::memcpy(ABuffer, FMemory + FPosition, static_cast<std::size_t>(n));
  FPosition += n;
  return n;
}

Int64 TCustomMemoryStream::Seek(Int64 AOffset, TSeekOrigin AOrigin) {
  Int64 base = AOrigin == soBeginning ? 0 : AOrigin == soCurrent ? FPosition : FSize;
  Int64 pos = base + AOffset;
  if (pos < 0) pos = 0;
  FPosition = pos;
  return pos;
}

void TCustomMemoryStream::SaveToStream(TStream *AStream) {
  if (FSize > 0) AStream->WriteBuffer(FMemory, FSize);
}

void TCustomMemoryStream::SaveToFile(const UnicodeString &AFileName) {
  TFileStream *fs = New<TFileStream>(AFileName, fmCreate);
  try {
    SaveToStream(fs);
  } catch (...) {
    fs->Free();
    throw;
  }
  fs->Free();
}

TMemoryStream::~TMemoryStream() {
  std::free(FMemory);
}

void TMemoryStream::SetCapacity(Int64 ANewCapacity) {
  if (ANewCapacity == FCapacity) return;
  // A smaller capacity cuts the content, and the position stays inside it.
  if (ANewCapacity < FSize) FSize = std::max<Int64>(ANewCapacity, 0);
  if (FPosition > FSize) FPosition = FSize;
  if (ANewCapacity <= 0) {
    std::free(FMemory);
    FMemory = nullptr;
    FCapacity = 0;
    return;
  }
  void *p = std::realloc(FMemory, static_cast<std::size_t>(ANewCapacity));
  if (!p) throw EOutOfMemory(u"Out of memory while expanding memory stream");
  FMemory = static_cast<Byte *>(p);
  FCapacity = ANewCapacity;
}

void TMemoryStream::SetSize(Int64 ANewSize) {
  if (ANewSize < 0) ANewSize = 0;
  if (ANewSize > FCapacity) SetCapacity(ANewSize);
  FSize = ANewSize;
  if (FPosition > FSize) FPosition = FSize;
}

Int64 TMemoryStream::Write(const void *ABuffer, Int64 ACount) {
  if (ACount <= 0) return 0;
  Int64 end = FPosition + ACount;
  if (end > FCapacity) {
    // Grows by a quarter at least, so that appending stays linear.
    Int64 cap = std::max<Int64>(end, FCapacity + FCapacity / 4);
    cap = (cap + 0x1FFF) & ~Int64(0x1FFF);
    SetCapacity(cap);
  }
  if (FPosition > FSize)
    std::memset(FMemory + FSize, 0, static_cast<std::size_t>(FPosition - FSize));
  std::memcpy(FMemory + FPosition, ABuffer, static_cast<std::size_t>(ACount));
  FPosition = end;
  if (end > FSize) FSize = end;
  return ACount;
}

void TMemoryStream::Clear() {
  SetCapacity(0);
  FSize = 0;
  FPosition = 0;
}

void TMemoryStream::LoadFromStream(TStream *AStream) {
  AStream->SetPosition(0);
  Int64 n = AStream->GetSize();
  SetSize(n);
  if (n) AStream->ReadBuffer(FMemory, n);
  FPosition = 0;
}

void TMemoryStream::LoadFromFile(const UnicodeString &AFileName) {
  TFileStream *fs = New<TFileStream>(AFileName, fmOpenRead | fmShareDenyWrite);
  try {
    LoadFromStream(fs);
  } catch (...) {
    fs->Free();
    throw;
  }
  fs->Free();
}

Int64 TPointerStream::Write(const void *, Int64) {
  throw EStreamError(u"Can't write to a read-only stream");
}

// ---------------------------------------------------------------------------------------------
// TFileStream

std::string FileNameToNative(const UnicodeString &AFileName) {
  return UTF8Encode(AFileName);
}

bool FileExists(const UnicodeString &AFileName) {
  struct stat st;
  return ::stat(FileNameToNative(AFileName).c_str(), &st) == 0 && S_ISREG(st.st_mode);
}

static UnicodeString OSErrorText(int AErr) {
  return UTF8ToString(std::strerror(AErr));
}

TFileStream::TFileStream(const UnicodeString &AFileName, Word AMode) : FFileName(AFileName) {
  std::string name = FileNameToNative(AFileName);
  if ((AMode & fmCreate) == fmCreate) {
    FHandle = ::open(name.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (FHandle < 0)
      throw EFCreateError(
          Format(u"Cannot create file \"%s\". %s", {AFileName, OSErrorText(errno)}));
  } else {
    int flags = O_CLOEXEC;
    switch (AMode & 3) {
      case fmOpenWrite:
        flags |= O_WRONLY;
        break;
      case fmOpenReadWrite:
        flags |= O_RDWR;
        break;
      default:
        flags |= O_RDONLY;
    }
    FHandle = ::open(name.c_str(), flags);
    if (FHandle < 0)
      throw EFOpenError(Format(u"Cannot open file \"%s\". %s", {AFileName, OSErrorText(errno)}));
  }
}

TFileStream::~TFileStream() {
  if (FHandle >= 0) ::close(FHandle);
}

Int64 TFileStream::Read(void *ABuffer, Int64 ACount) {
  if (ACount <= 0) return 0;
  for (;;) {
    ssize_t n = ::read(FHandle, ABuffer, static_cast<std::size_t>(ACount));
    if (n >= 0) return n;
    if (errno != EINTR) throw EReadError(Format(u"Stream read error. %s", {OSErrorText(errno)}));
  }
}

Int64 TFileStream::Write(const void *ABuffer, Int64 ACount) {
  if (ACount <= 0) return 0;
  for (;;) {
    ssize_t n = ::write(FHandle, ABuffer, static_cast<std::size_t>(ACount));
    if (n >= 0) return n;
    if (errno != EINTR) throw EWriteError(Format(u"Stream write error. %s", {OSErrorText(errno)}));
  }
}

Int64 TFileStream::Seek(Int64 AOffset, TSeekOrigin AOrigin) {
  int whence = AOrigin == soBeginning ? SEEK_SET : AOrigin == soCurrent ? SEEK_CUR : SEEK_END;
  off_t r = ::lseek(FHandle, static_cast<off_t>(AOffset), whence);
  if (r < 0) throw EStreamError(Format(u"Stream seek error. %s", {OSErrorText(errno)}));
  return r;
}

void TFileStream::SetSize(Int64 ANewSize) {
  if (::ftruncate(FHandle, static_cast<off_t>(ANewSize)) != 0)
    throw EStreamError(Format(u"Stream size error. %s", {OSErrorText(errno)}));
  if (GetPosition() > ANewSize) Seek(ANewSize, soBeginning);
}

}  // namespace vn
