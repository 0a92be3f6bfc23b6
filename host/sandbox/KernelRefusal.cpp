// SPDX-License-Identifier: Apache-2.0
#include "sandbox/KernelRefusal.h"

#include <cerrno>
#include <cstring>

namespace vanto {
namespace {

const char* remedyFor(int error) noexcept {
  switch (error) {
    case EMFILE:
      return "raise the limit of open files, or open fewer before";
    case ENFILE:
    case ENOMEM:
      return "start the service again when the machine has room";
    case E2BIG:
      return "processes and their parents are confined 16 times at most; start the service from one that is confined "
             "less often";
    case EPERM:
    case EACCES:
    case ENOSYS:
      return "something around the service filters system calls, such as a container; allow this one there";
    case ENOENT:
      return "start the service where /proc is mounted";
    default:
      return "report this with the version of the kernel";
  }
}

}  // namespace

std::string kernelRefusal(std::string_view what, int error) {
  return std::string(what) + ": " + std::strerror(error) + "; " + remedyFor(error);
}

}  // namespace vanto
