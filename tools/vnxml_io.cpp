#include "vnxml_io.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "vnxml/rtl/SysUtils.h"

using namespace vn;

namespace vnxml_cli {

std::string DisplayName(const std::string &AName) {
  return AName == "-" ? std::string("<stdin>") : AName;
}

namespace {

// A seekable descriptor (a regular file), read in place. With a progress label it writes
// "\r<label> NN%" to standard error each time the percentage read grows.
class TDescriptorStream : public TStream {
  VN_CLASS(TDescriptorStream, TStream)
 public:
  // The stream's position 0 is AOffset in the file (standard input may have been read from
  // before); ASize bytes follow it.
  TDescriptorStream(int AFd, bool AOwnsFd, Int64 AOffset, Int64 ASize, std::string AProgressLabel)
      : FFd(AFd),
        FOwnsFd(AOwnsFd),
        FOffset(AOffset),
        FSize(ASize),
        FLabel(std::move(AProgressLabel)) {}
  ~TDescriptorStream() override {
    if (FOwnsFd) ::close(FFd);
  }

  Int64 Read(void *ABuffer, Int64 ACount) override {
    if (ACount > FSize - FPosition) ACount = FSize - FPosition > 0 ? FSize - FPosition : 0;
    auto *dest = static_cast<char *>(ABuffer);
    Int64 done = 0;
    while (done < ACount) {
      // Small reads (the loads look at a few bytes at a time while they sniff) go through the
      // buffer; large ones straight into the caller's block.
      if (FPosition >= FBufferStart && FPosition < FBufferStart + FBufferLength) {
        const Int64 n = std::min(ACount - done, FBufferStart + FBufferLength - FPosition);
        std::memcpy(dest + done, FBuffer + (FPosition - FBufferStart), static_cast<std::size_t>(n));
        done += n;
        FPosition += n;
      } else if (ACount - done >= static_cast<Int64>(sizeof FBuffer)) {
        const Int64 n = ReadAt(dest + done, ACount - done);
        if (n == 0) break;
        done += n;
        FPosition += n;
      } else {
        FBufferStart = FPosition;
        FBufferLength = ReadAt(FBuffer, sizeof FBuffer);
        if (FBufferLength == 0) break;
      }
    }
    if (!FLabel.empty() && !FQuiet) ShowProgress();
    return done;
  }
  Int64 Write(const void *, Int64) override { throw EWriteError(u"Stream write error"); }
  Int64 Seek(Int64 AOffset, TSeekOrigin AOrigin) override {
    // The end is FSize, which may stand before the end of the file.
    FPosition = AOrigin == soBeginning ? AOffset
                : AOrigin == soCurrent ? FPosition + AOffset
                                       : FSize + AOffset;
    if (FPosition < 0) FPosition = 0;
    return FPosition;
  }
  Int64 GetSize() override { return FSize; }
  // Hides everything from ASize on.
  void Limit(Int64 ASize) { FSize = ASize; }
  // Reads while quiet show no progress (TQuietPeek).
  void SetQuiet(bool AValue) { FQuiet = AValue; }

  void FinishProgress() {
    if (FLabel.empty() || FShown < 0) return;
    std::fprintf(stderr, "\r%s done\n", FLabel.c_str());
    FShown = -1;
    FLabel.clear();
  }

 private:
  void ShowProgress() {
    const int percent = FSize > 0 ? static_cast<int>(FPosition * 100 / FSize) : 100;
    if (percent <= FShown) return;
    FShown = percent;
    std::fprintf(stderr, "\r%s %d%%", FLabel.c_str(), percent);
    std::fflush(stderr);
  }

  // Up to ACount bytes at FPosition.
  Int64 ReadAt(char *ADest, Int64 ACount) {
    for (;;) {
      const ssize_t n = ::pread(FFd, ADest, static_cast<std::size_t>(ACount), FOffset + FPosition);
      if (n >= 0) return n;
      if (errno != EINTR)
        throw EReadError(UTF8ToString(std::string("read error: ") + std::strerror(errno)));
    }
  }

  int FFd;
  bool FOwnsFd;
  Int64 FOffset;
  Int64 FSize;
  Int64 FPosition = 0;
  char FBuffer[65536];
  Int64 FBufferStart = 0;
  Int64 FBufferLength = 0;
  std::string FLabel;
  int FShown = -1;
  bool FQuiet = false;
};

// Everything a descriptor gives, into memory.
TMemoryStream *ReadAll(int AFd, const std::string &AName) {
  TMemoryStream *mem = New<TMemoryStream>();
  char buffer[65536];
  for (;;) {
    const ssize_t n = ::read(AFd, buffer, sizeof buffer);
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) {
      const int err = errno;
      mem->Free();
      throw TInputError{"cannot read \"" + DisplayName(AName) + "\": " + std::strerror(err)};
    }
    if (n == 0) break;
    mem->WriteBuffer(buffer, n);
  }
  mem->SetPosition(0);
  return mem;
}

// Keeps a descriptor stream quiet while the program looks at its input before the load: only
// the load's own reads show how far it is.
class TQuietPeek {
 public:
  explicit TQuietPeek(TStream *AStream) : FStream(dynamic_cast<TDescriptorStream *>(AStream)) {
    if (FStream) FStream->SetQuiet(true);
  }
  ~TQuietPeek() {
    if (FStream) FStream->SetQuiet(false);
  }
  TQuietPeek(const TQuietPeek &) = delete;
  TQuietPeek &operator=(const TQuietPeek &) = delete;

 private:
  TDescriptorStream *FStream;
};

}  // namespace

TInput::TInput(const std::string &AName) : FName(AName) {
  const bool isStdin = AName == "-";
  const int fd = isStdin ? 0 : ::open(AName.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) throw TInputError{"cannot open \"" + AName + "\": " + std::strerror(errno)};
  struct stat st {};
  if (::fstat(fd, &st) != 0 || S_ISDIR(st.st_mode)) {
    const int err = S_ISDIR(st.st_mode) ? EISDIR : errno;
    if (!isStdin) ::close(fd);
    throw TInputError{"cannot open \"" + DisplayName(AName) + "\": " + std::strerror(err)};
  }
  if (!S_ISREG(st.st_mode)) {
    FStream = ReadAll(fd, AName);
    if (!isStdin) ::close(fd);
    return;
  }
  // Standard input starts where whoever had it before left it.
  Int64 offset = 0;
  if (isStdin) {
    const off_t at = ::lseek(fd, 0, SEEK_CUR);
    if (at > 0 && at <= st.st_size) offset = at;
  }
  const Int64 size = static_cast<Int64>(st.st_size) - offset;
  std::string label;
  if (size > cProgressThreshold && ::isatty(2))
    label = "vnxml: reading " + DisplayName(AName) + " (" + std::to_string(size / (1024 * 1024)) +
            " MB)";
  FStream = New<TDescriptorStream>(fd, !isStdin, offset, size, label);
}

TInput::~TInput() {
  Finish();
  if (FStream) FStream->Free();
}

void TInput::Finish() {
  if (auto *d = dynamic_cast<TDescriptorStream *>(FStream)) d->FinishProgress();
}

TInputKind TInput::Kind() {
  // Block after block until a character above a blank, however many blanks lead.
  const TQuietPeek quiet(FStream);
  unsigned char head[4096];
  FStream->SetPosition(0);
  Int64 n = FStream->Read(head, sizeof head);
  Int64 i = 0;
  int width = 1;
  if (n >= 3 && head[0] == 0xEF && head[1] == 0xBB && head[2] == 0xBF) {
    i = 3;
  } else if (n >= 2 && head[0] == 0xFF && head[1] == 0xFE) {
    i = 2;
    width = 2;
  }
  TInputKind kind = TInputKind::JSON;
  for (bool found = false; !found && n >= width;) {
    for (; i + width <= n; i += width) {
      const unsigned unit = width == 2 ? head[i] | (head[i + 1] << 8) : head[i];
      if (unit > 0x20) {
        kind = unit == '<' ? TInputKind::XML : TInputKind::JSON;
        found = true;
        break;
      }
    }
    // Blocks hold whole units: a block size is even and the marks leave an even rest.
    if (!found) {
      n = FStream->Read(head, sizeof head);
      i = 0;
    }
  }
  FStream->SetPosition(0);
  return kind;
}

void TInput::SkipByteOrderMark(Word &APage) {
  const TQuietPeek quiet(FStream);
  unsigned char bom[3] = {};
  FStream->SetPosition(0);
  const Int64 n = FStream->Read(bom, 3);
  if (n == 3 && bom[0] == 0xEF && bom[1] == 0xBB && bom[2] == 0xBF) {
    APage = CP_UTF8;
  } else if (n >= 2 && bom[0] == 0xFF && bom[1] == 0xFE) {
    APage = 1200;
    FStream->SetPosition(2);
  } else {
    FStream->SetPosition(0);
  }
}

void TInput::HideTrailingBlanks() {
  // Reads the tail backwards in blocks; UTF-16 text (behind its mark) in pairs of bytes.
  unsigned char head[2] = {};
  FStream->SetPosition(0);
  const bool utf16 = FStream->Read(head, 2) == 2 && head[0] == 0xFF && head[1] == 0xFE;
  const int width = utf16 ? 2 : 1;
  const Int64 start = utf16 ? 2 : 0;
  Int64 end = FStream->GetSize();
  unsigned char block[4096];
  const TQuietPeek quiet(FStream);
  for (bool blank = true; blank && end - start >= width;) {
    Int64 n = end - start < static_cast<Int64>(sizeof block) ? end - start : sizeof block;
    n -= n % width;
    FStream->SetPosition(end - n);
    FStream->ReadBuffer(block, n);
    for (Int64 i = n; blank && i >= width; i -= width) {
      blank = block[i - width] <= 0x20 && (width == 1 || block[i - 1] == 0);
      if (blank) end -= width;
    }
  }
  if (auto *descriptor = dynamic_cast<TDescriptorStream *>(FStream))
    descriptor->Limit(end);
  else
    FStream->SetSize(end);
  FStream->SetPosition(0);
}

Int64 TStdoutStream::Read(void *ABuffer, Int64 ACount) {
  // Only the kept head can be read back.
  Int64 n = 0;
  while (n < ACount && FPosition < cKept && FPosition < FWritten)
    static_cast<unsigned char *>(ABuffer)[n++] = FHead[FPosition++];
  return n;
}

Int64 TStdoutStream::Write(const void *ABuffer, Int64 ACount) {
  if (ACount <= 0) return 0;
  if (FPosition != FWritten) throw EWriteError(u"Stream write error");
  const auto *bytes = static_cast<const unsigned char *>(ABuffer);
  for (Int64 i = 0; i < ACount && FWritten + i < cKept; ++i) FHead[FWritten + i] = bytes[i];
  if (std::fwrite(ABuffer, 1, static_cast<std::size_t>(ACount), stdout) !=
      static_cast<std::size_t>(ACount))
    throw EWriteError(u"Stream write error");
  FWritten += ACount;
  FPosition = FWritten;
  return ACount;
}

Int64 TStdoutStream::Seek(Int64 AOffset, TSeekOrigin AOrigin) {
  const Int64 target = AOrigin == soBeginning ? AOffset
                       : AOrigin == soCurrent ? FPosition + AOffset
                                              : FWritten + AOffset;
  // Back into the kept head, or to the end; standard output cannot go anywhere else.
  if (target < 0 || target > FWritten || (target != FWritten && target > cKept))
    throw EStreamError(u"Standard output cannot seek");
  FPosition = target;
  return target;
}

}  // namespace vnxml_cli
