// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <csignal>
#include <cstdlib>
#include <thread>

#include <fcntl.h>
#include <grp.h>
#include <linux/kcmp.h>
#include <linux/sched.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/sandbox/EscapeScene.h"

namespace vanto::testing {
namespace {

constexpr long getDescriptorOfProcess = 438;

/// What came of a call that makes a process, in both of them.
int endOf(long process) {
  if (process == 0) _exit(0);
  if (process < 0) return errno;
  waitpid(static_cast<pid_t>(process), nullptr, 0);
  return 0;
}

int tryVfork(EscapeScene&) {
  // In the child nothing may be done but this.
  const pid_t child = vfork();
  if (child == 0) _exit(0);
  return endOf(child);
}

int tryClone3(EscapeScene&) {
  clone_args arguments{};
  arguments.exit_signal = SIGCHLD;
  const int outcome = endOf(syscall(SYS_clone3, &arguments, sizeof arguments));
  // It is denied by being missing.
  return outcome == ENOSYS ? EPERM : outcome;
}

int execute(const std::string& path) {
  char* const arguments[] = {const_cast<char*>(path.c_str()), nullptr};
  char* const environment[] = {nullptr};
  return outcomeOf(execve(path.c_str(), arguments, environment));
}

int tryExecuteDescriptor(EscapeScene& scene) {
  const int program = open(scene.readable("program").c_str(), O_RDONLY | O_CLOEXEC);
  char* const arguments[] = {const_cast<char*>("program"), nullptr};
  char* const environment[] = {nullptr};
  return outcomeOf(syscall(SYS_execveat, program, "", arguments, environment, AT_EMPTY_PATH));
}

int tryExecuteMemory(EscapeScene& scene) {
  const int memory = memfd_create("program", MFD_CLOEXEC);
  if (memory < 0) return errno;
  const Fd program(open(scene.readable("program").c_str(), O_RDONLY | O_CLOEXEC));
  char bytes[4096];
  for (ssize_t size; (size = read(program.get(), bytes, sizeof bytes)) > 0;) {
    if (write(memory, bytes, static_cast<std::size_t>(size)) != size) return errno;
  }
  char* const arguments[] = {const_cast<char*>("program"), nullptr};
  char* const environment[] = {nullptr};
  return outcomeOf(syscall(SYS_execveat, memory, "", arguments, environment, AT_EMPTY_PATH));
}

/// In a process of its own without privileges: the set-user-ID copy of a program that tells who it runs as.
[[noreturn]] void becomeNobodyAndGain(int program) {
  constexpr id_t nobody = 65534;
  constexpr int failed = 99;
  char* const arguments[] = {const_cast<char*>("test"), const_cast<char*>("-O"), const_cast<char*>("/"), nullptr};
  char* const environment[] = {nullptr};
  if (setgroups(0, nullptr) == 0 && setresgid(nobody, nobody, nobody) == 0 && setresuid(nobody, nobody, nobody) == 0) {
    syscall(SYS_execveat, program, "", arguments, environment, AT_EMPTY_PATH);
  }
  _exit(failed);
}

/// 0 where the copy ran as root, EPERM where as the one who executed it.
int tryGainByExecution(EscapeScene& scene) {
  struct stat root;
  if (geteuid() != 0 || stat("/", &root) != 0 || root.st_uid != 0) return noSuchWay;
  const Fd program(open(scene.setUserIdProgram().c_str(), O_PATH | O_CLOEXEC));
  const pid_t child = fork();
  if (child == 0) becomeNobodyAndGain(program.get());
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) return errno;
  if (!WIFEXITED(status) || WEXITSTATUS(status) > 1) return ENOEXEC;
  return WEXITSTATUS(status) == 0 ? 0 : EPERM;
}

int openSecret(EscapeScene& scene) {
  const Fd file(open(scene.outside("secret").c_str(), O_RDONLY | O_CLOEXEC));
  return file ? 0 : errno;
}

int tryByThread(EscapeScene& scene) {
  int outcome = 0;
  std::thread([&] { outcome = openSecret(scene); }).join();
  return outcome;
}

int tryByChild(EscapeScene& scene) {
  const pid_t child = fork();
  if (child == 0) _exit(openSecret(scene));
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child) return errno;
  return WEXITSTATUS(status);
}

int tryForeignMemory(long call) {
  char byte = 0;
  const iovec part{&byte, 1};
  return outcomeOf(syscall(call, getpid(), &part, 1, &part, 1, 0));
}

int trySignalByDescriptor(EscapeScene&) {
  const Fd process(static_cast<int>(syscall(SYS_pidfd_open, getppid(), 0)));
  return outcomeOf(syscall(SYS_pidfd_send_signal, process.get(), 0, nullptr, 0));
}

int tryForeignDescriptor(EscapeScene&) {
  const Fd process(static_cast<int>(syscall(SYS_pidfd_open, getpid(), 0)));
  return outcomeOf(syscall(getDescriptorOfProcess, process.get(), STDERR_FILENO, 0));
}

int tryForeignEnvironment(EscapeScene&) {
  const Fd file(open(("/proc/" + std::to_string(getppid()) + "/environ").c_str(), O_RDONLY | O_CLOEXEC));
  return file ? 0 : errno;
}

int trySetNamespace(EscapeScene&) {
  const Fd space(open("/proc/self/ns/uts", O_RDONLY | O_CLOEXEC));
  return space ? outcomeOf(setns(space.get(), 0)) : errno;
}

int tryLimits(EscapeScene&) {
  rlimit limit;
  return outcomeOf(prlimit(getppid(), RLIMIT_NOFILE, nullptr, &limit));
}

constexpr auto table = std::to_array<NamedProbe>({
    {"fork",
     [](EscapeScene&) {
       return endOf(fork());
     }},
    {"vfork", &tryVfork},
    {"clone",
     [](EscapeScene&) {
       return endOf(syscall(SYS_clone, SIGCHLD, 0, 0, 0, 0));
     }},
    {"clone3", &tryClone3},
    {"clone-namespaces",
     [](EscapeScene&) {
       return endOf(syscall(SYS_clone, CLONE_NEWUTS | SIGCHLD, 0, 0, 0, 0));
     }},
    {"unshare",
     [](EscapeScene&) {
       return outcomeOf(unshare(CLONE_FS));
     }},
    {"unshare-user",
     [](EscapeScene&) {
       return outcomeOf(unshare(CLONE_NEWUSER));
     }},
    {"set-namespace", &trySetNamespace},
    {"execute",
     [](EscapeScene&) {
       return execute("/usr/bin/true");
     }},
    {"execute-allowed",
     [](EscapeScene&) {
       return execute("/usr/bin/true");
     }},
    {"execute-descriptor", &tryExecuteDescriptor},
    {"execute-memory", &tryExecuteMemory},
    {"execute-other",
     [](EscapeScene& scene) {
       return execute(scene.outside("program"));
     }},
    {"execute-readable",
     [](EscapeScene& scene) {
       return execute(scene.readable("program"));
     }},
    {"execute-script",
     [](EscapeScene& scene) {
       return execute(scene.outside("script"));
     }},
    {"execute-memory-open", &tryExecuteMemory},
    {"gain-by-execution", &tryGainByExecution},
    {"read-by-thread", &tryByThread},
    {"read-by-child", &tryByChild},
    {"signal",
     [](EscapeScene&) {
       return outcomeOf(kill(getppid(), 0));
     }},
    {"signal-by-descriptor", &trySignalByDescriptor},
    {"trace",
     [](EscapeScene&) {
       return outcomeOf(ptrace(PTRACE_TRACEME, 0, nullptr, nullptr));
     }},
    {"read-memory",
     [](EscapeScene&) {
       return tryForeignMemory(SYS_process_vm_readv);
     }},
    {"write-memory",
     [](EscapeScene&) {
       return tryForeignMemory(SYS_process_vm_writev);
     }},
    {"take-descriptor", &tryForeignDescriptor},
    {"compare",
     [](EscapeScene&) {
       return outcomeOf(syscall(SYS_kcmp, getpid(), getpid(), KCMP_FILE, 0, 0));
     }},
    {"read-environment", &tryForeignEnvironment},
    {"priority",
     [](EscapeScene&) {
       return outcomeOf(setpriority(PRIO_PROCESS, static_cast<id_t>(getppid()),
                                    getpriority(PRIO_PROCESS, static_cast<id_t>(getppid()))));
     }},
    {"resource-limits", &tryLimits},
});

}  // namespace

EscapeProbes processProbes() {
  return {table.begin(), table.end()};
}

}  // namespace vanto::testing
