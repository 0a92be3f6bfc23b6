// SPDX-License-Identifier: Apache-2.0
#include "vantoproxy/Executable.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>

#include "vantoproxy/SystemCall.h"

namespace vanto {

namespace {

Failure wrongCall(const char* reason) noexcept {
  return {ExecStage::Call, EINVAL, reason,
          "call it as vantoproxy PATH, with the absolute path of the service's executable"};
}

Failure failureFor(ExecStage stage, int error) noexcept {
  switch (error) {
    case ENOENT:
    case ENOTDIR:
      return {stage, error, "there is no such file", "install the service, or correct the path"};
    case EISDIR:
      return {stage, error, "is a directory", "give the path of the executable in it"};
    case ENOEXEC:
      return {stage, error, "is a script, or no program of this kind of machine", "give a program compiled for it"};
    case EACCES:
    case EPERM:
      return {stage, error, "may not be executed",
              "give the file and its directories the right to execute, on a file system that allows it"};
    case ETXTBSY:
      return {stage, error, "is open for writing", "try again when it is complete"};
    case ELOOP:
    case ENAMETOOLONG:
      return {stage, error, "has too many symbolic links or too long a name", "correct the path"};
    default:
      return {stage, error, "cannot be executed", "look the error up in errno(3)"};
  }
}

int errorOfKind(const char* path) noexcept {
  struct statx status;
  const int error = errorIn(systemCall(SYS_statx, AT_FDCWD, path, 0, STATX_TYPE, &status));
  if (error != 0) return error;
  if (S_ISDIR(status.stx_mode)) return EISDIR;
  return S_ISREG(status.stx_mode) ? 0 : EACCES;
}

/// A file that can be executed and not read is left to the system.
bool isScript(const char* path) noexcept {
  const long file = systemCall(SYS_openat, AT_FDCWD, path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
  if (file < 0) return false;
  char start[2] = {};
  const bool isRead = systemCall(SYS_read, file, start, sizeof start) == sizeof start;
  systemCall(SYS_close, file);
  return isRead && start[0] == '#' && start[1] == '!';
}

}  // namespace

Failure checkCall(int count, char* const* arguments) noexcept {
  if (count < 2) return wrongCall("no path was given");
  if (count > 2) return wrongCall("more than one argument was given");
  return arguments[1][0] == '/' ? Failure{} : wrongCall("the path is not absolute");
}

Failure checkExecutable(const char* path) noexcept {
  int error = errorOfKind(path);
  if (error == 0 && isScript(path)) error = ENOEXEC;
  return error == 0 ? Failure{} : failureFor(ExecStage::Executable, error);
}

Failure execute(const char* path, const char* const* environment) noexcept {
  const char* const arguments[] = {path, nullptr};
  const int error = errorIn(systemCall(SYS_execve, path, arguments, environment));
  if (error != ENOENT) return failureFor(ExecStage::Execution, error);
  return {ExecStage::Execution, error, "needs a loader that is not there", "install what it is linked against"};
}

}  // namespace vanto
