// SPDX-License-Identifier: Apache-2.0
#include "vanto/TracedRun.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/Child.h"
#include "support/OpenDescriptors.h"
#include "support/TemporaryDirectory.h"
#include "vanto/ProgramSearch.h"

namespace vanto::tool {
namespace {

/// Runs commands under a tracer; the real one unless a script is written in its place.
class TracedRunTest : public ::testing::Test {
 protected:
  std::string run(const std::vector<std::string>& command) {
    TracedRun traced(tracer_, observer_);
    std::string problem = traced.run(command);
    status_ = traced.status();
    return problem;
  }

  static std::string contentsOf(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  /// A tracer that only writes `lines` as the trace: its arguments name the pipe behind "-o".
  void writeTracer(const std::string& lines) {
    tracer_ = directory_ / "tracer";
    std::ofstream(tracer_) << "#!/bin/sh\nwhile [ \"$1\" != -o ]; do shift; done\n" << lines;
    chmod(tracer_.c_str(), 0755);
  }

  test::TemporaryDirectory directory_;
  std::string tracer_ = programNamed("strace");
  learning::RunObserver observer_{"/"};
  int status_ = 0;
};

TEST_F(TracedRunTest, EndsAsTheCommandEnds) {
  EXPECT_EQ(run({"sh", "-c", "exit 7"}), "");
  EXPECT_TRUE(WIFEXITED(status_));
  EXPECT_EQ(WEXITSTATUS(status_), 7);
  EXPECT_TRUE(observer_.hasBegun());
}

TEST_F(TracedRunTest, TellsTheSignalThatEndedTheCommand) {
  EXPECT_EQ(run({"sh", "-c", "kill -9 $$"}), "");
  EXPECT_TRUE(WIFSIGNALED(status_));
  EXPECT_EQ(WTERMSIG(status_), SIGKILL);
}

TEST_F(TracedRunTest, SeesWhatTheCommandDoes) {
  EXPECT_EQ(run({"sh", "-c", "cat /etc/hostname > /dev/null"}), "");
  const learning::RunFacts facts = observer_.finish();
  EXPECT_TRUE(facts.used.contains("/etc/hostname"));
  EXPECT_TRUE(facts.program.ends_with("/sh"));
  EXPECT_EQ(facts.executed.size(), 1U);
  EXPECT_TRUE(facts.remarks.empty());
}

TEST_F(TracedRunTest, SeesWhatReceivedDescriptorsLeadTo) {
  const std::string made = directory_ / "made";
  EXPECT_EQ(run({"/usr/bin/python3", "-I", "-S", "-c",
                 "import os, socket, sys; ends = socket.socketpair(); directory = os.open(sys.argv[1], os.O_RDONLY); "
                 "socket.send_fds(ends[0], [b'x'], [directory]); "
                 "os.mkdir('/proc/self/fd/%d/made' % socket.recv_fds(ends[1], 1, 1)[1][0])",
                 directory_.path()}),
            "");
  EXPECT_TRUE(std::filesystem::is_directory(made));
  const learning::RunFacts facts = observer_.finish();
  EXPECT_TRUE(facts.made.contains(made));
}

TEST_F(TracedRunTest, LeavesNoDescriptorAndNoMask) {
  const std::size_t before = test::openDescriptors().size();
  sigset_t mask;
  EXPECT_EQ(run({"true"}), "");
  EXPECT_EQ(test::openDescriptors().size(), before);
  sigprocmask(SIG_BLOCK, nullptr, &mask);
  EXPECT_EQ(sigismember(&mask, SIGTERM), 0);
}

TEST_F(TracedRunTest, LeavesToTheCommandWhatItWouldHaveWithoutATracer) {
  const std::string script = "{ ls /proc/$$/fd; grep -e SigBlk /proc/self/status; } > ";
  ASSERT_EQ(std::system((script + directory_ / "free").c_str()), 0);
  EXPECT_EQ(run({"sh", "-c", script + directory_ / "traced"}), "");
  EXPECT_EQ(WEXITSTATUS(status_), 0);
  EXPECT_EQ(contentsOf(directory_ / "traced"), contentsOf(directory_ / "free"));
}

TEST_F(TracedRunTest, HandsOnASignalThatIsMeantForIt) {
  // A signal takes any thread of a process that does not keep it back, and tests before may have made some.
  const auto outcome = testing::runInChild([this](const testing::ChildReport&) {
    const std::string signal = "kill -TERM " + std::to_string(getpid());
    EXPECT_EQ(run({"sh", "-c", "trap 'exit 5' TERM; " + signal + "; while :; do sleep 0.01; done"}), "");
    EXPECT_TRUE(WIFEXITED(status_));
    EXPECT_EQ(WEXITSTATUS(status_), 5);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

TEST_F(TracedRunTest, SaysWhichLineItDoesNotUnderstand) {
  writeTracer("echo '5 kill(0, 0) = 0' > $2; echo nonsense > $2; exit 3");
  EXPECT_EQ(run({"true"}), "line 2 of the trace is not understood: nonsense");
}

TEST_F(TracedRunTest, SaysThatATraceIsNotWhole) {
  writeTracer("printf '5 kill(0, 0) = 0\\n5 kill' > $2");
  EXPECT_EQ(run({"true"}), "the last line of the trace is not whole");
}

TEST_F(TracedRunTest, HoldsNoLineThatNeverEnds) {
  writeTracer("head -c 20000000 /dev/zero | tr '\\0' a > $2");
  EXPECT_EQ(run({"true"}), "a line of the trace is too long");
}

TEST_F(TracedRunTest, SaysWhyTheTracerWasNotExecuted) {
  tracer_ = directory_ / "none";
  EXPECT_EQ(run({"true"}), tracer_ + ": not executed: No such file or directory");
}

}  // namespace
}  // namespace vanto::tool
