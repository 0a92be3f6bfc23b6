// SPDX-License-Identifier: Apache-2.0

// The tracer opens the pipe by the path that this process has for it. It could also inherit it, but then the command
// would too. The writing end stays open here, so the end of the trace is that of the tracer, which outlives everyone it
// traces.
#include "vanto/TracedRun.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "learning/limits.h"
#include "vanto/VisibleText.h"

extern char** environ;

namespace vanto::tool {
namespace {

using Outcome = learning::RunObserver::Outcome;

constexpr int pipeBytes = 1 << 20;
constexpr std::size_t pieceBytes = std::size_t{64} << 10;

std::string failed(const std::string& what, int error) {
  return what + ": " + std::strerror(error);
}

/// Those that end a process and that its user sends.
sigset_t endingSignals() noexcept {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGHUP, SIGINT, SIGQUIT, SIGTERM}) sigaddset(&signals, signal);
  return signals;
}

/// Keeps those back, to be read, while it lives.
class BlockedSignals {
 public:
  BlockedSignals() noexcept {
    const sigset_t signals = endingSignals();
    sigprocmask(SIG_BLOCK, &signals, &before_);
  }
  ~BlockedSignals() { sigprocmask(SIG_SETMASK, &before_, nullptr); }
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;

  [[nodiscard]] const sigset_t& before() const noexcept { return before_; }

 private:
  sigset_t before_{};
};

/// How a process is started: with `mask`, and without the ignored signal of this program.
class SpawnAttributes {
 public:
  explicit SpawnAttributes(const sigset_t& mask) noexcept {
    posix_spawnattr_init(&attributes_);
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGXFSZ);
    posix_spawnattr_setsigmask(&attributes_, &mask);
    posix_spawnattr_setsigdefault(&attributes_, &defaults);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;

  [[nodiscard]] const posix_spawnattr_t* get() const noexcept { return &attributes_; }

 private:
  posix_spawnattr_t attributes_;
};

/// Calls that this machine does not have are left out by the sign in front of each.
std::string tracedCalls() {
  std::string text;
  for (const std::string_view name : learning::RunObserver::calls()) {
    text.append(text.empty() ? "trace=?" : ",?").append(name);
  }
  return text;
}

/// Numbers in place of words, all text in hexadecimal, descriptors with what they lead to, structures of addresses and
/// no others, no contents, and a line only for what has returned: there is one way to read that.
std::vector<std::string> tracerArguments(const std::string& trace, const std::vector<std::string>& command) {
  std::vector<std::string> arguments{"strace", "-f", "-q", "-xx", "-yy", "-X", "raw", "-s", "0", "--seccomp-bpf", "-o",
                                     trace, "-e", tracedCalls(), "-e", "signal=none", "-e",
                                     "verbose=?connect,?bind,?sendto,?sendmsg,?sendmmsg,?recvmsg,?clone3,?openat2",
                                     // Descriptors inside a message stand in what is cut short otherwise.
                                     "-e", "abbrev=!recvmsg", "--"};
  arguments.insert(arguments.end(), command.begin(), command.end());
  return arguments;
}

Fd openProcess(pid_t process) noexcept {
  return Fd(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
}

}  // namespace

std::string TracedRun::open() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return failed("cannot make a pipe for the trace", errno);
  trace_.reset(ends[0]);
  traceWriter_.reset(ends[1]);
  // Nothing depends on it; the command waits less for its reader.
  static_cast<void>(fcntl(trace_.get(), F_SETPIPE_SZ, pipeBytes));
  fcntl(trace_.get(), F_SETFL, O_NONBLOCK);
  const sigset_t signals = endingSignals();
  signals_.reset(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
  return signals_ ? "" : failed("cannot wait for signals", errno);
}

std::string TracedRun::start(const std::vector<std::string>& command, const sigset_t& mask) {
  const std::string trace = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(traceWriter_.get());
  std::vector<std::string> texts = tracerArguments(trace, command);
  std::vector<char*> arguments;
  for (std::string& text : texts) arguments.push_back(text.data());
  arguments.push_back(nullptr);
  const SpawnAttributes attributes(mask);
  pid_t tracer = 0;
  const int error = posix_spawn(&tracer, tracer_.c_str(), nullptr, attributes.get(), arguments.data(), environ);
  if (error != 0) return failed(visible(tracer_) + ": not executed", error);
  tracerProcess_ = openProcess(tracer);
  return tracerProcess_ ? "" : failed("cannot wait for the tracer", errno);
}

std::string TracedRun::run(const std::vector<std::string>& command) {
  const BlockedSignals blocked;
  std::string problem = open();
  if (problem.empty()) problem = start(command, blocked.before());
  if (problem.empty()) problem = follow();
  return problem;
}

std::string TracedRun::follow() {
  std::array<pollfd, 3> waiting{
      {{trace_.get(), POLLIN, 0}, {signals_.get(), POLLIN, 0}, {tracerProcess_.get(), POLLIN, 0}}};
  for (;;) {
    if (poll(waiting.data(), waiting.size(), -1) < 0 && errno != EINTR) return failed("cannot wait", errno);
    takeSignal();
    // The trace is whole once the tracer has ended, and not before.
    const bool isOver = hasEnded();
    while (takeTrace()) {
    }
    if (isOver) break;
  }
  if (problem_.empty() && !pending_.empty()) problem_ = "the last line of the trace is not whole";
  return problem_;
}

bool TracedRun::hasEnded() {
  siginfo_t info{};
  if (waitid(P_PIDFD, static_cast<id_t>(tracerProcess_.get()), &info, WEXITED | WNOHANG) != 0) return true;
  if (info.si_pid == 0) return false;
  status_ = info.si_code == CLD_EXITED ? W_EXITCODE(info.si_status, 0) : W_EXITCODE(0, info.si_status);
  return true;
}

bool TracedRun::takeTrace() {
  std::array<char, pieceBytes> piece;
  const ssize_t count = read(trace_.get(), piece.data(), piece.size());
  if (count <= 0) return count < 0 && errno == EINTR;
  pending_.append(piece.data(), static_cast<std::size_t>(count));
  takeLines();
  return true;
}

void TracedRun::takeLines() {
  std::size_t begin = 0;
  for (std::size_t end = pending_.find('\n'); end != pending_.npos; end = pending_.find('\n', begin)) {
    const std::string_view line = std::string_view(pending_).substr(begin, end - begin);
    begin = end + 1;
    ++lines_;
    // What the command does goes on, so the rest is read and thrown away.
    if (!problem_.empty()) continue;
    const Outcome outcome = observer_.take(line);
    if (outcome == Outcome::NotUnderstood) {
      problem_ = "line " + std::to_string(lines_) + " of the trace is not understood: " + visible(line.substr(0, 200));
    } else if (outcome == Outcome::TooMuch) {
      problem_ = "the run does more than can be remembered; learn from parts of it";
    }
  }
  pending_.erase(0, begin);
  if (problem_.empty() && pending_.size() > learning::limits::lineBytes) problem_ = "a line of the trace is too long";
  if (!problem_.empty() && pending_.size() > learning::limits::lineBytes) pending_.clear();
  if (signal_ != 0) signalCommand();
}

void TracedRun::takeSignal() {
  signalfd_siginfo info;
  while (read(signals_.get(), &info, sizeof info) == static_cast<ssize_t>(sizeof info)) {
    // The kernel sends those of a terminal to everyone who uses it, so the command has got it as well.
    if (info.ssi_code > 0) continue;
    signal_ = static_cast<int>(info.ssi_signo);
    signalCommand();
  }
}

/// Does nothing as long as nobody knows which process the command is.
void TracedRun::signalCommand() {
  if (!commandProcess_ && observer_.command() != 0) {
    commandProcess_ = openProcess(static_cast<pid_t>(observer_.command()));
  }
  if (!commandProcess_) return;
  static_cast<void>(syscall(SYS_pidfd_send_signal, commandProcess_.get(), signal_, nullptr, 0));
  signal_ = 0;
}

}  // namespace vanto::tool
