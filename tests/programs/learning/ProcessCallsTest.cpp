// SPDX-License-Identifier: Apache-2.0
#include "learning/ProcessCalls.h"

#include "programs/learning/Traced.h"

namespace vanto::learning {
namespace {

using testing::observed;
using Paths = std::set<std::string>;

TEST(ProcessCalls, TellProcessesFromThreads) {
  EXPECT_EQ(observed({"5 fork() = 6"}).others, Right::Processes);
  EXPECT_EQ(observed({"5 vfork() = 6"}).others, Right::Processes);
  EXPECT_EQ(observed({"5 clone(child_stack=NULL, flags=0x1200000|17, child_tidptr=0x7f) = 6"}).others,
            Right::Processes);
  EXPECT_EQ(observed({"5 clone3({flags=0x4100, exit_signal=17}, 88) = 6"}).others, Right::Processes);
  EXPECT_TRUE(observed({"5 clone3({flags=0x3d0f00, exit_signal=0} => {parent_tid=[6]}, 88) = 6"}).others.isEmpty());
  EXPECT_TRUE(observed({"5 clone(child_stack=0x7f, flags=0x3d0f00) = 6"}).others.isEmpty());
}

TEST(ProcessCalls, RemarkNamespaces) {
  EXPECT_EQ(observed({"5 clone(child_stack=NULL, flags=0x10000000|17) = 6"}).remarks,
            Paths{"a namespace of its own was used, which no profile allows"});
}

TEST(ProcessCalls, FollowDirectories) {
  const RunFacts facts =
      observed({"5 chdir(\"a\") = 0", "5 fork() = 6", "6 mkdir(\"x\", 0777) = 0", "6 fchdir(3</d>) = 0",
                "6 mkdir(\"y\", 0777) = 0", "5 mkdir(\"z\", 0777) = 0", "5 clone(child_stack=0x7f, flags=0x3d0f00) = 7",
                "7 chdir(\"/e\") = 0", "5 mkdir(\"t\", 0777) = 0"});
  EXPECT_EQ(facts.made, (Paths{"/w/a/x", "/d/y", "/w/a/z", "/e/t"}));
}

TEST(ProcessCalls, NoteWhatIsExecuted) {
  const RunFacts facts =
      observed({"5 execve(\"./a\", 0x7f, 0x7e /* 3 vars */) = 0",
                "5 execve(\"/b\", 0x7f, 0x7e) = -1 ENOENT (No such file or directory)",
                "5 execveat(3</d>, \"c\", 0x7f, 0x7e, 0) = 0", "5 execveat(3</d/e>, \"\", 0x7f, 0x7e, 0x1000) = 0"});
  EXPECT_EQ(facts.executed, (Paths{"/d/c", "/d/e"}));
  EXPECT_TRUE(facts.remarks.empty());
  EXPECT_EQ(observed({"5 execveat(3</memfd:x>(deleted), \"\", 0x7f, 0x7e, 0x1000) = 0"}).remarks,
            Paths{"executing a program that has no path was used, which no profile allows"});
}

TEST(ProcessCalls, AllowSignalsOnlyForThoseThatLeaveTheRun) {
  EXPECT_TRUE(observed({"5 fork() = 6", "5 kill(6, 15) = 0", "6 kill(5, 0) = 0", "6 +++ exited with 0 +++",
                        "5 kill(6, 0) = 0", "5 kill(0, 2) = 0", "5 tgkill(5, 5, 6) = 0", "5 kill(-6, 9) = 0",
                        "5 kill(9, 9) = -1 ESRCH (No such process)", "5 pidfd_send_signal(3<pid:6>, 9, NULL, 0) = 0"})
                  .others.without(Right::Processes)
                  .isEmpty());
  for (const char* call : {"5 kill(4, 0) = 0", "5 kill(-1, 15) = 0", "5 kill(-4, 15) = 0", "5 tkill(4, 15) = 0",
                           "5 pidfd_send_signal(3<pid:4>, 9, NULL, 0) = 0", "5 rt_sigqueueinfo(4, 9, 0x7f) = 0"}) {
    EXPECT_EQ(observed({call}).others, Right::Signal) << call;
  }
}

}  // namespace
}  // namespace vanto::learning
