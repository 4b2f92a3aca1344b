#include "run_tool.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace cli_test {

namespace {

void Check(bool AOk, const char *AWhat) {
  if (!AOk) throw std::runtime_error(std::string(AWhat) + ": " + std::strerror(errno));
}

std::vector<char *> Argv(const std::vector<std::string> &AArgs) {
  std::vector<char *> argv;
  argv.push_back(const_cast<char *>(VNXML_TOOL));
  for (const std::string &a : AArgs) argv.push_back(const_cast<char *>(a.c_str()));
  argv.push_back(nullptr);
  return argv;
}

int Status(pid_t APid) {
  int status = 0;
  while (::waitpid(APid, &status, 0) < 0 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Feeds AInput to AIn and drains the descriptors in AOut into their strings until all close.
void Pump(int AIn, const std::string &AInput, std::vector<std::pair<int, std::string *>> AOut) {
  std::size_t sent = 0;
  if (AInput.empty()) {
    ::close(AIn);
    AIn = -1;
  }
  while (AIn >= 0 || !AOut.empty()) {
    std::vector<pollfd> fds;
    if (AIn >= 0) fds.push_back({AIn, POLLOUT, 0});
    for (auto &o : AOut) fds.push_back({o.first, POLLIN, 0});
    if (::poll(fds.data(), fds.size(), -1) < 0) {
      Check(errno == EINTR, "poll");
      continue;
    }
    std::size_t k = 0;
    if (AIn >= 0) {
      if (fds[k].revents) {
        const ssize_t n = ::write(AIn, AInput.data() + sent, AInput.size() - sent);
        if (n > 0) sent += static_cast<std::size_t>(n);
        if (n < 0 || sent == AInput.size()) {
          ::close(AIn);
          AIn = -1;
        }
      }
      ++k;
    }
    for (std::size_t i = 0; i < AOut.size(); ++k) {
      if (fds[k].revents) {
        char buffer[65536];
        const ssize_t n = ::read(AOut[i].first, buffer, sizeof buffer);
        if (n > 0) {
          AOut[i].second->append(buffer, static_cast<std::size_t>(n));
        } else if (n == 0 || errno != EINTR) {
          ::close(AOut[i].first);
          AOut.erase(AOut.begin() + static_cast<std::ptrdiff_t>(i));
          continue;
        }
      }
      ++i;
    }
  }
}

}  // namespace

namespace {

// Runs vnxml with standard input from AStdin (a pipe fed with AInput when -1).
TRun Spawn(const std::vector<std::string> &AArgs, const std::string &AInput, int AStdin) {
  ::signal(SIGPIPE, SIG_IGN);
  int in[2], out[2], err[2];
  Check(::pipe2(in, O_CLOEXEC) == 0 && ::pipe2(out, O_CLOEXEC) == 0 && ::pipe2(err, O_CLOEXEC) == 0,
        "pipe");
  std::vector<char *> argv = Argv(AArgs);
  const pid_t pid = ::fork();
  Check(pid >= 0, "fork");
  if (pid == 0) {
    ::dup2(AStdin >= 0 ? AStdin : in[0], 0);
    ::dup2(out[1], 1);
    ::dup2(err[1], 2);
    ::signal(SIGPIPE, SIG_DFL);
    ::execv(VNXML_TOOL, argv.data());
    ::_exit(127);
  }
  ::close(in[0]);
  ::close(out[1]);
  ::close(err[1]);
  TRun run;
  Pump(in[1], AInput, {{out[0], &run.Out}, {err[0], &run.Err}});
  run.Exit = Status(pid);
  return run;
}

}  // namespace

TRun RunTool(const std::vector<std::string> &AArgs, const std::string &AInput) {
  return Spawn(AArgs, AInput, -1);
}

TRun RunWithInputFile(const std::vector<std::string> &AArgs, const std::string &APath,
                      long AOffset) {
  const int fd = ::open(APath.c_str(), O_RDONLY | O_CLOEXEC);
  Check(fd >= 0, "open");
  Check(::lseek(fd, AOffset, SEEK_SET) == AOffset, "lseek");
  TRun run = Spawn(AArgs, "", fd);
  ::close(fd);
  return run;
}

bool TerminalsAvailable() {
  const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  if (master < 0) return false;
  bool ok = ::grantpt(master) == 0 && ::unlockpt(master) == 0;
  if (ok) {
    const int slave = ::open(::ptsname(master), O_RDWR | O_NOCTTY | O_CLOEXEC);
    ok = slave >= 0;
    if (ok) ::close(slave);
  }
  ::close(master);
  return ok;
}

TRun RunOnTerminal(const std::vector<std::string> &AArgs) {
  const int master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  Check(master >= 0 && ::grantpt(master) == 0 && ::unlockpt(master) == 0, "posix_openpt");
  const std::string slaveName = ::ptsname(master);
  int out[2];
  Check(::pipe2(out, O_CLOEXEC) == 0, "pipe");
  std::vector<char *> argv = Argv(AArgs);
  const pid_t pid = ::fork();
  Check(pid >= 0, "fork");
  if (pid == 0) {
    const int slave = ::open(slaveName.c_str(), O_RDWR | O_NOCTTY);
    const int null = ::open("/dev/null", O_RDONLY);
    if (slave < 0 || null < 0) ::_exit(126);
    ::dup2(null, 0);
    ::dup2(out[1], 1);
    ::dup2(slave, 2);
    ::execv(VNXML_TOOL, argv.data());
    ::_exit(127);
  }
  ::close(out[1]);
  TRun run;
  // The terminal reports EIO once the child's side is closed; that ends the drain.
  Pump(-1, "", {{out[0], &run.Out}, {master, &run.Err}});
  run.Exit = Status(pid);
  return run;
}

std::string Data(const std::string &AName) {
  return std::string(VNXML_CLI_DATA_DIR) + "/" + AName;
}

std::string ReadFile(const std::string &APath) {
  std::ifstream f(APath, std::ios::binary);
  std::ostringstream s;
  s << f.rdbuf();
  return s.str();
}

TTempFile::TTempFile(const std::string &AText) {
  char name[] = "/tmp/vnxml_cli_XXXXXX";
  const int fd = ::mkstemp(name);
  Check(fd >= 0, "mkstemp");
  FName = name;
  for (std::size_t done = 0; done < AText.size();) {
    const ssize_t n = ::write(fd, AText.data() + done, AText.size() - done);
    Check(n > 0, "write");
    done += static_cast<std::size_t>(n);
  }
  ::close(fd);
}

TTempFile::~TTempFile() {
  ::unlink(FName.c_str());
}

}  // namespace cli_test
