// The input and output streams of the command-line program, and its failures.
#pragma once

#include <string>

#include "vnxml/rtl/Streams.h"

namespace vnxml_cli {

// Exit codes.
inline constexpr int cExitOk = 0;
inline constexpr int cExitDocument = 1;
inline constexpr int cExitUsage = 2;

// A wrong command line: unknown command or option, a missing or surplus argument. The text is
// written behind "vnxml: ".
struct TUsageError {
  std::string Text;
};

// A failure of one input that is already worded: a missing or unreadable file. The text is
// written behind "vnxml: ".
struct TInputError {
  std::string Text;
};

// The name under which an input appears in messages: "<stdin>" for "-".
std::string DisplayName(const std::string &AName);

// What the first character above a blank says the input is.
enum class TInputKind { XML, JSON };

// One opened input: a regular file (or standard input redirected from one) is read in place
// through its descriptor; a pipe or terminal is read into memory first, since the loads look
// ahead and step back. Above cProgressThreshold bytes and with standard error on a terminal, the
// reads show how far they are.
class TInput {
 public:
  // Opens AName ("-" for standard input); raises TInputError when that fails.
  explicit TInput(const std::string &AName);
  ~TInput();
  TInput(const TInput &) = delete;
  TInput &operator=(const TInput &) = delete;

  vn::TStream *Stream() const noexcept { return FStream; }
  const std::string &Name() const noexcept { return FName; }
  // "<" as the first character above U+0020 (behind a byte-order mark) makes XML, anything
  // else JSON, as the library's loads decide. The stream is back at position 0 afterwards.
  TInputKind Kind();
  // Hides the blanks (characters up to U+0020) at the end of the input from the readers. The
  // JSON reader takes anything behind a top-level object or array for the start of another
  // value, so a file that ends in a line break would not load.
  void HideTrailingBlanks();
  // Steps over a UTF-8 or UTF-16 LE byte-order mark at the start, setting APage to 65001 or
  // 1200; without one the stream is at 0 and APage unchanged.
  void SkipByteOrderMark(vn::Word &APage);
  // Ends the progress line, if one is shown.
  void Finish();

 private:
  std::string FName;
  vn::TStream *FStream = nullptr;
};

inline constexpr long long cProgressThreshold = 50LL * 1024 * 1024;

// Standard output as a write-only stream. The library's writers ask for the position and the
// size, and the XML writer reads back the first bytes to tell a byte-order mark: the stream
// keeps those few bytes and answers both.
class TStdoutStream : public vn::TStream {
  VN_CLASS(TStdoutStream, vn::TStream)
 public:
  vn::Int64 Read(void *ABuffer, vn::Int64 ACount) override;
  vn::Int64 Write(const void *ABuffer, vn::Int64 ACount) override;
  vn::Int64 Seek(vn::Int64 AOffset, vn::TSeekOrigin AOrigin) override;
  vn::Int64 GetSize() override { return FWritten; }
  vn::Int64 Written() const noexcept { return FWritten; }
  // Writes text as it stands (UTF-8).
  void Text(const std::string &AText) { Write(AText.data(), static_cast<vn::Int64>(AText.size())); }

 private:
  static constexpr int cKept = 16;
  unsigned char FHead[cKept] = {};
  vn::Int64 FWritten = 0;
  vn::Int64 FPosition = 0;
};

}  // namespace vnxml_cli
