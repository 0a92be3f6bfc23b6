// SPDX-License-Identifier: Apache-2.0
#include "vantoproxy/Proxy.h"

#include <cerrno>
#include <csignal>
#include <fstream>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "programs/vantoproxy/ProxyProcess.h"
#include "support/ResourceLimits.h"
#include "support/TemporaryDirectory.h"

namespace vanto::test {
namespace {

using Lines = std::vector<std::string>;
using StatusPipe = ProxySetting::StatusPipe;

constexpr char probe[] = VANTO_TEST_PROBE;

std::string messageOf(const std::string& text) {
  return "vantoproxy: " + text + "\n";
}

void expectFailure(const ProxyOutcome& outcome, const std::string& end, const std::string& record,
                   const std::string& message) {
  EXPECT_EQ(outcome.end, end);
  EXPECT_EQ(outcome.record, record);
  EXPECT_EQ(outcome.messages, messageOf(message));
  EXPECT_EQ(outcome.output, "");
}

void writeFile(const std::string& path, const std::string& contents, mode_t mode) {
  std::ofstream(path) << contents;
  ASSERT_EQ(chmod(path.c_str(), mode), 0);
}

const std::string callIt = "; call it as vantoproxy PATH, with the absolute path of the service's executable";

TEST(Proxy, ExecutesThePathAsTheOnlyArgumentAndLeavesThePipeAtItsEnd) {
  const ProxyOutcome outcome = runProxyProcess({probe});
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.record, "");
  EXPECT_EQ(outcome.messages, "");
  EXPECT_EQ(outcome.lines("argument"), Lines{probe});
}

TEST(Proxy, GivesItsOwnProcessToTheServiceAndMakesNoOther) {
  const ProxyOutcome outcome = runProxyProcess({probe});
  const std::string pid = std::to_string(outcome.pid);
  EXPECT_EQ(outcome.lines("process"), Lines{pid + " group " + pid + " session " + pid});
  EXPECT_EQ(outcome.lines("children"), Lines{"none"});
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST(Proxy, LeavesTheSessionToALeaderOfAProcessGroup) {
  const ProxyOutcome outcome = runProxyProcess({probe}, {.prepare = [] {
                                                 setpgid(0, 0);
                                               }});
  const std::string pid = std::to_string(outcome.pid);
  EXPECT_EQ(outcome.lines("process"), Lines{pid + " group " + pid + " session " + std::to_string(getsid(0))});
}

TEST(Proxy, LeavesTheStandardStreamsAndNothingElseOpen) {
  const ProxyOutcome outcome = runProxyProcess({probe}, {.prepare = [] {
                                                 for (const int to : {3, 5, 19, 21, 200}) dup2(0, to);
                                               }});
  ASSERT_EQ(outcome.lines("descriptor").size(), 3U);
  EXPECT_EQ(outcome.lines("descriptor")[0], "0 /dev/zero");
}

TEST(Proxy, FillsTheStandardStreamsThatAreClosed) {
  const ProxyOutcome outcome = runProxyProcess({probe}, {.prepare = [] {
                                                 close(0);
                                                 close(2);
                                               }});
  const Lines descriptors = outcome.lines("descriptor");
  ASSERT_EQ(descriptors.size(), 3U);
  EXPECT_EQ(descriptors[0], "0 /dev/null");
  EXPECT_EQ(descriptors[2], "2 /dev/null");
}

TEST(Proxy, HandsListenersOverWithTheNumberOfTheProcess) {
  const ProxyOutcome outcome =
      runProxyProcess({probe}, {.environment = {"PATH=/bin", "LISTEN_FDS=2", "LISTEN_FDNAMES=a:b"}, .prepare = [] {
                                  for (const int to : {3, 4, 5}) dup2(0, to);
                                }});
  EXPECT_EQ(outcome.lines("variable"),
            (Lines{"PATH=/bin", "LISTEN_FDS=2", "LISTEN_FDNAMES=a:b", "LISTEN_PID=" + std::to_string(outcome.pid)}));
  const Lines descriptors = outcome.lines("descriptor");
  ASSERT_EQ(descriptors.size(), 5U);
  EXPECT_EQ(descriptors[3], "3 /dev/zero");
  EXPECT_EQ(descriptors[4], "4 /dev/zero");
}

TEST(Proxy, WorksWhereTheManagerKnewTheNumberOfTheProcess) {
  ProxySetting setting;
  setting.environment = {"LISTEN_FDS=1"};
  // As a manager does that executes the proxy in the process that it forked.
  setting.prepare = [] {
    dup2(0, 3);
    const std::string pid = "LISTEN_PID=" + std::to_string(getpid());
    const char* const arguments[] = {"vantoproxy", probe, nullptr};
    const char* const environment[] = {"LISTEN_FDS=1", pid.c_str(), nullptr};
    execve(VANTO_TEST_PROXY, const_cast<char**>(arguments), const_cast<char**>(environment));
  };
  const ProxyOutcome outcome = runProxyProcess({probe}, setting);
  EXPECT_EQ(outcome.lines("variable"),
            (Lines{"LISTEN_FDS=1", "PATH=/usr/local/bin:/usr/bin:/bin", "LISTEN_PID=" + std::to_string(outcome.pid)}));
  EXPECT_EQ(outcome.lines("descriptor").size(), 4U);
}

TEST(Proxy, KeepsNothingOfWhatWasHandedToAnotherProcess) {
  const ProxyOutcome outcome =
      runProxyProcess({probe}, {.environment = {"LISTEN_FDS=1", "LISTEN_PID=1", "LISTEN_FDNAMES=a"}, .prepare = [] {
                                  dup2(0, 3);
                                }});
  EXPECT_EQ(outcome.lines("variable"), Lines{"PATH=/usr/local/bin:/usr/bin:/bin"});
  EXPECT_EQ(outcome.lines("descriptor").size(), 3U);
}

TEST(Proxy, GivesTheServiceItsDocumentedEnvironment) {
  const Lines kept = {"HOME=/h",   "LANG=C",    "LANGUAGE=de", "LC_ALL=C", "LOGNAME=l",          "NOTIFY_SOCKET=@n",
                      "PATH=/bin", "TMPDIR=/t", "TZ=UTC",      "USER=u",   "XDG_RUNTIME_DIR=/r", "XDG_SESSION_ID=1"};
  Lines given = kept;
  for (const char* variable : {"LD_PRELOAD=/x", "LD_LIBRARY_PATH=/x", "GCONV_PATH=/x", "MALLOC_CHECK_=3", "BASH_ENV=/x",
                               "GLIBC_TUNABLES=x", "IFS=x", "LISTEN_PID=1", "LISTEN_PIDFDID=1", "nothing", "=empty"}) {
    given.push_back(variable);
  }
  EXPECT_EQ(runProxyProcess({probe}, {.environment = given}).lines("variable"), kept);
}

TEST(Proxy, KeepsTheVariablesThatTheManagerLists) {
  const ProxyOutcome outcome =
      runProxyProcess({probe}, {.environment = {"PATH=/bin", "A=1", "AB=2", "B=3", "VANTO_KEEP=A::B:C"}});
  EXPECT_EQ(outcome.lines("variable"), (Lines{"PATH=/bin", "A=1", "B=3"}));
}

TEST(Proxy, ClearsBlockedAndIgnoredSignals) {
  const ProxyOutcome outcome = runProxyProcess({probe}, {.prepare = [] {
                                                 sigset_t all;
                                                 sigfillset(&all);
                                                 sigprocmask(SIG_BLOCK, &all, nullptr);
                                                 for (int i = 1; i <= SIGRTMAX; i++) signal(i, SIG_IGN);
                                               }});
  EXPECT_EQ(outcome.lines("SigBlk:"), Lines{"0000000000000000"});
  EXPECT_EQ(outcome.lines("SigIgn:"), Lines{"0000000000000000"});
}

TEST(Proxy, DiesOfASignalThatCameWhileItWasBlocked) {
  const ProxyOutcome outcome = runProxyProcess({probe}, {.prepare = [] {
                                                 sigset_t set;
                                                 sigemptyset(&set);
                                                 sigaddset(&set, SIGTERM);
                                                 sigprocmask(SIG_BLOCK, &set, nullptr);
                                                 raise(SIGTERM);
                                               }});
  EXPECT_EQ(outcome.end, "signal 15");
  EXPECT_EQ(outcome.record, "");
  EXPECT_EQ(outcome.output, "");
}

TEST(Proxy, SetsMaskDirectoryAndTheLimitOfCoreFilesAndNoOtherLimit) {
  const ProxyOutcome outcome = runProxyProcess({probe}, {.prepare = [] {
                                                 umask(0);
                                                 rlimit limit{};
                                                 getrlimit(RLIMIT_CORE, &limit);
                                                 limit.rlim_cur = limit.rlim_max;
                                                 setrlimit(RLIMIT_CORE, &limit);
                                                 const rlimit files{123, 456};
                                                 setrlimit(RLIMIT_NOFILE, &files);
                                               }});
  EXPECT_EQ(outcome.lines("mask"), Lines{"077"});
  EXPECT_EQ(outcome.lines("directory"), Lines{"/"});
  EXPECT_EQ(outcome.lines("limit"), serviceLimitLines({123, 456}));
}

TEST(Proxy, RefusesACallWithoutExactlyOneAbsolutePath) {
  const std::string record = recordOf(1, EINVAL);
  expectFailure(runProxyProcess({}), "exit status 2", record, "no path was given (error 22)" + callIt);
  expectFailure(runProxyProcess({probe, "x"}), "exit status 2", record,
                std::string(probe) + ": more than one argument was given (error 22)" + callIt);
  expectFailure(runProxyProcess({"bin/sh"}), "exit status 2", record,
                "bin/sh: the path is not absolute (error 22)" + callIt);
  expectFailure(runProxyProcess({""}), "exit status 2", record, ": the path is not absolute (error 22)" + callIt);
}

TEST(Proxy, RefusesWhatIsNoExecutable) {
  const TemporaryDirectory directory;
  const std::string script = directory / "script";
  const std::string text = directory / "text";
  const std::string locked = directory / "locked";
  writeFile(script, "#!/bin/sh\necho wrong\n", 0755);
  writeFile(text, "echo wrong\n", 0755);
  writeFile(locked, "echo wrong\n", 0644);
  const std::string noProgram =
      " is a script, or no program of this kind of machine (error 8); give a program compiled for it";
  expectFailure(runProxyProcess({script}), "exit status 126", recordOf(5, ENOEXEC), script + ":" + noProgram);
  expectFailure(runProxyProcess({text}), "exit status 126", recordOf(6, ENOEXEC), text + ":" + noProgram);
  const std::string right =
      ": may not be executed (error 13); give the file and its directories the right to execute, on a file "
      "system that allows it";
  expectFailure(runProxyProcess({locked}), "exit status 126", recordOf(6, EACCES), locked + right);
  expectFailure(runProxyProcess({"/dev/null"}), "exit status 126", recordOf(5, EACCES), "/dev/null" + right);
  expectFailure(runProxyProcess({directory.path()}), "exit status 126", recordOf(5, EISDIR),
                directory.path() + ": is a directory (error 21); give the path of the executable in it");
  const std::string missing = directory / "missing";
  const std::string install = "; install the service, or correct the path";
  expectFailure(runProxyProcess({missing}), "exit status 127", recordOf(5, ENOENT),
                missing + ": there is no such file (error 2)" + install);
  expectFailure(runProxyProcess({text + "/x"}), "exit status 127", recordOf(5, ENOTDIR),
                text + "/x: there is no such file (error 20)" + install);
}

TEST(Proxy, RefusesAHandoverThatMakesNoSense) {
  const std::string correct = "; correct what the manager sets LISTEN_FDS to";
  const std::string path = std::string(probe) + ": ";
  expectFailure(runProxyProcess({probe}, {.environment = {"LISTEN_FDS=1x"}}), "exit status 2", recordOf(2, EINVAL),
                path + "LISTEN_FDS is not a number from 0 to 64 (error 22)" + correct);
  expectFailure(runProxyProcess({probe}, {.environment = {"LISTEN_FDS=2"},
                                          .prepare =
                                              [] {
                                                dup2(0, 3);
                                                close(4);
                                              }}),
                "exit status 2", recordOf(2, EBADF),
                path + "LISTEN_FDS counts a descriptor that is closed (error 9)" + correct);
}

TEST(Proxy, WritesNoRecordIntoADescriptorOfTheService) {
  const ProxyOutcome outcome = runProxyProcess({probe}, {.environment = {"LISTEN_FDS=1", "VANTO_EXEC_STATUS=3"},
                                                         .prepare = [] { dup2(statusDescriptor, 3); },
                                                         .statusPipe = StatusPipe::There});
  EXPECT_EQ(outcome.end, "exit status 2");
  EXPECT_EQ(outcome.record, "");
}

TEST(Proxy, WorksWithoutAStatusPipe) {
  EXPECT_EQ(runProxyProcess({probe}, {.statusPipe = StatusPipe::None}).end, "exit status 0");
  expectFailure(runProxyProcess({"x"}, {.statusPipe = StatusPipe::None}), "exit status 2", "",
                "x: the path is not absolute (error 22)" + callIt);
}

TEST(Proxy, OutlivesAManagerThatIsGone) {
  expectFailure(runProxyProcess({"x"}, {.statusPipe = StatusPipe::ReaderGone}), "exit status 2", "",
                "x: the path is not absolute (error 22)" + callIt);
  // Standard error is a pipe that nobody reads, too.
  const ProxyOutcome outcome = runProxyProcess({"x"}, {.prepare =
                                                           [] {
                                                             int ends[2];
                                                             if (pipe(ends) != 0) _exit(98);
                                                             dup2(ends[1], STDERR_FILENO);
                                                             close(ends[0]);
                                                             close(ends[1]);
                                                           },
                                                       .statusPipe = StatusPipe::ReaderGone});
  EXPECT_EQ(outcome.end, "exit status 2");
}

TEST(Proxy, TellsTheManagerWhereNobodyCanReadTheMessage) {
  const ProxyOutcome outcome = runProxyProcess({"/missing"}, {.prepare = [] {
                                                 close(STDERR_FILENO);
                                               }});
  EXPECT_EQ(outcome.end, "exit status 127");
  EXPECT_EQ(outcome.record, recordOf(5, ENOENT));
}

TEST(Proxy, ShowsNoControlCharacterOfAPathAndCutsALongOne) {
  const ProxyOutcome odd = runProxyProcess({"/a\nb\x1b[31m"});
  EXPECT_EQ(odd.messages,
            messageOf("/a?b?[31m: there is no such file (error 2); install the service, or correct the path"));
  const ProxyOutcome outcome = runProxyProcess({"/" + std::string(100'000, 'a')});
  EXPECT_EQ(outcome.record, recordOf(5, ENAMETOOLONG));
  EXPECT_EQ(outcome.messages,
            messageOf("/" + std::string(4095, 'a') +
                      ": has too many symbolic links or too long a name (error 36); correct the path"));
}

}  // namespace
}  // namespace vanto::test
