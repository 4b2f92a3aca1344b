// Seekable byte streams: the abstract TStream, a memory stream and a file stream.
#pragma once

#include <cstdio>
#include <string>

#include "vnxml/rtl/Object.h"
#include "vnxml/rtl/Types.h"

namespace vn {

enum TSeekOrigin : Byte { soBeginning, soCurrent, soEnd };

// The base of byte streams: reads, writes and seeks, and the copies built on them.
class TStream : public TObject {
  VN_CLASS(TStream, TObject)
 public:
  // Reads up to ACount bytes, returns how many were read (0 at the end).
  virtual Int64 Read(void *ABuffer, Int64 ACount) = 0;
  // Writes up to ACount bytes, returns how many were written.
  virtual Int64 Write(const void *ABuffer, Int64 ACount) = 0;
  // Moves the position and returns the new one.
  virtual Int64 Seek(Int64 AOffset, TSeekOrigin AOrigin) = 0;

  Int64 GetPosition() { return Seek(0, soCurrent); }
  void SetPosition(Int64 APos) { Seek(APos, soBeginning); }
  virtual Int64 GetSize();
  virtual void SetSize(Int64 ANewSize);

  // Exactly ACount bytes or EReadError "Stream read error" / EWriteError "Stream write error".
  void ReadBuffer(void *ABuffer, Int64 ACount);
  void WriteBuffer(const void *ABuffer, Int64 ACount);
  // Copies ACount bytes from ASource (all of it from position 0 when ACount is 0); returns the
  // count copied.
  Int64 CopyFrom(TStream *ASource, Int64 ACount);
};

// A stream over one block of memory; the base of TMemoryStream and TPointerStream.
class TCustomMemoryStream : public TStream {
  VN_CLASS(TCustomMemoryStream, TStream)
 public:
  Int64 Read(void *ABuffer, Int64 ACount) override;
  Int64 Seek(Int64 AOffset, TSeekOrigin AOrigin) override;
  Int64 GetSize() override { return FSize; }
  void *Memory() const noexcept { return FMemory; }
  void SaveToStream(TStream *AStream);
  void SaveToFile(const UnicodeString &AFileName);

 protected:
  void SetPointer(void *APtr, Int64 ASize) noexcept {
    FMemory = static_cast<Byte *>(APtr);
    FSize = ASize;
  }
  Byte *FMemory = nullptr;
  Int64 FSize = 0;
  Int64 FPosition = 0;
};

// A growable block of memory that the stream owns.
class TMemoryStream : public TCustomMemoryStream {
  VN_CLASS(TMemoryStream, TCustomMemoryStream)
 public:
  TMemoryStream() = default;
  ~TMemoryStream() override;
  Int64 Write(const void *ABuffer, Int64 ACount) override;
  void SetSize(Int64 ANewSize) override;
  void Clear();
  void LoadFromStream(TStream *AStream);
  void LoadFromFile(const UnicodeString &AFileName);
  Int64 Capacity() const noexcept { return FCapacity; }
  void SetCapacity(Int64 ANewCapacity);

 private:
  Int64 FCapacity = 0;
};

// A read-only view of a block that the caller owns.
class TPointerStream : public TCustomMemoryStream {
  VN_CLASS(TPointerStream, TCustomMemoryStream)
 public:
  TPointerStream(const void *APtr, Int64 ASize) { SetPointer(const_cast<void *>(APtr), ASize); }
  Int64 Write(const void *ABuffer, Int64 ACount) override;
};

// File open modes, numbered as the host run-time numbers them.
constexpr Word fmCreate = 0xFF00;
constexpr Word fmOpenRead = 0x0000;
constexpr Word fmOpenWrite = 0x0001;
constexpr Word fmOpenReadWrite = 0x0002;
constexpr Word fmShareCompat = 0x0000;
constexpr Word fmShareExclusive = 0x0010;
constexpr Word fmShareDenyWrite = 0x0020;
constexpr Word fmShareDenyRead = 0x0030;
constexpr Word fmShareDenyNone = 0x0040;

// A file opened by name. fmCreate creates or truncates it for reading and writing; otherwise the
// low two bits choose read, write or both on an existing file (the share bits are accepted and
// have no effect on this platform). Failures raise EFCreateError
// "Cannot create file \"<name>\". <reason>" or EFOpenError "Cannot open file \"<name>\". <reason>".
class TFileStream : public TStream {
  VN_CLASS(TFileStream, TStream)
 public:
  TFileStream(const UnicodeString &AFileName, Word AMode);
  ~TFileStream() override;
  Int64 Read(void *ABuffer, Int64 ACount) override;
  Int64 Write(const void *ABuffer, Int64 ACount) override;
  Int64 Seek(Int64 AOffset, TSeekOrigin AOrigin) override;
  void SetSize(Int64 ANewSize) override;
  const UnicodeString &FileName() const noexcept { return FFileName; }

 private:
  UnicodeString FFileName;
  int FHandle = -1;
};

bool FileExists(const UnicodeString &AFileName);
// The name as the operating system takes it (UTF-8).
std::string FileNameToNative(const UnicodeString &AFileName);

}  // namespace vn
