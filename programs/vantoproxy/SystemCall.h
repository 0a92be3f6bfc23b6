// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/syscall.h>

#ifndef VANTO_WITHOUT_LIBC
#include <cerrno>

#include <unistd.h>
#endif

namespace vanto {

/// A value as a register holds it.
template <typename T>
[[nodiscard]] inline long asRegister(T value) noexcept {
  return static_cast<long>(value);
}
template <typename T>
[[nodiscard]] inline long asRegister(T* value) noexcept {
  return reinterpret_cast<long>(value);
}

/// Makes a system call with five arguments; gives its result, or the negative of an errno value.
[[nodiscard]] inline long systemCallOfFive(long number, long a, long b, long c, long d, long e) noexcept {
#ifdef VANTO_WITHOUT_LIBC
  // The C library's own start takes longer than all the rest that this program does.
  long result;
  register long fourth __asm__("r10") = d;
  register long fifth __asm__("r8") = e;
  __asm__ volatile("syscall"
                   : "=a"(result)
                   : "a"(number), "D"(a), "S"(b), "d"(c), "r"(fourth), "r"(fifth)
                   : "rcx", "r11", "memory");
  return result;
#else
  const long result = syscall(number, a, b, c, d, e);
  return result == -1 ? -errno : result;
#endif
}

/// The same with as many arguments as the call has.
template <typename... Arguments>
inline long systemCall(long number, Arguments... arguments) noexcept {
  long values[5] = {asRegister(arguments)...};
  return systemCallOfFive(number, values[0], values[1], values[2], values[3], values[4]);
}

/// The errno value in the result of a system call, or 0.
[[nodiscard]] inline int errorIn(long result) noexcept {
  return result < 0 ? static_cast<int>(-result) : 0;
}

}  // namespace vanto
