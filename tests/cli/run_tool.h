// Runs the built vnxml program as a child process with pipes for its three standard streams.
#pragma once

#include <string>
#include <vector>

namespace cli_test {

struct TRun {
  std::string Out;
  std::string Err;
  int Exit = -1;  // the exit status, or 128 + the signal that ended it
};

// Runs vnxml with AArgs, feeding AInput to its standard input (closed after it).
TRun RunTool(const std::vector<std::string> &AArgs, const std::string &AInput = "");

// Runs vnxml with its standard input redirected from the file APath, AOffset bytes of it read
// before.
TRun RunWithInputFile(const std::vector<std::string> &AArgs, const std::string &APath,
                      long AOffset = 0);

// Whether this machine gives pseudo-terminals (a container may have none).
bool TerminalsAvailable();

// Runs vnxml with its standard error on a new pseudo-terminal; Err is what the terminal got.
TRun RunOnTerminal(const std::vector<std::string> &AArgs);

// A file below the test data folder.
std::string Data(const std::string &AName);

// The contents of a file.
std::string ReadFile(const std::string &APath);

// A new file in /tmp with AText, removed when the object goes.
class TTempFile {
 public:
  explicit TTempFile(const std::string &AText);
  ~TTempFile();
  TTempFile(const TTempFile &) = delete;
  TTempFile &operator=(const TTempFile &) = delete;
  const std::string &Name() const noexcept { return FName; }

 private:
  std::string FName;
};

}  // namespace cli_test
