// SPDX-License-Identifier: Apache-2.0

// Where the program begins when it is linked without the C library, and the memory functions that the compiler takes
// for granted.
#include <cstddef>

#include "vantoproxy/Proxy.h"
#include "vantoproxy/SystemCall.h"

extern "C" {

void* memcpy(void* to, const void* from, std::size_t size) {
  void* result = to;
  __asm__ volatile("rep movsb" : "+D"(to), "+S"(from), "+c"(size) : : "memory");
  return result;
}

void* memset(void* to, int value, std::size_t size) {
  void* result = to;
  __asm__ volatile("rep stosb" : "+D"(to), "+c"(size) : "a"(value) : "memory");
  return result;
}

int memcmp(const void* one, const void* other, std::size_t size) {
  const auto* left = static_cast<const unsigned char*>(one);
  const auto* right = static_cast<const unsigned char*>(other);
  for (std::size_t i = 0; i < size; i++) {
    if (left[i] != right[i]) return left[i] - right[i];
  }
  return 0;
}

void* memchr(const void* in, int value, std::size_t size) {
  const auto* bytes = static_cast<const unsigned char*>(in);
  for (std::size_t i = 0; i < size; i++) {
    if (bytes[i] == static_cast<unsigned char>(value)) return const_cast<unsigned char*>(bytes + i);
  }
  return nullptr;
}

std::size_t strlen(const char* text) {
  const char* end = text;
  while (*end != '\0') end++;
  return static_cast<std::size_t>(end - text);
}

/// Called with the stack as the kernel lays it out: the number of arguments, the arguments, null, the environment,
/// null.
[[noreturn]] __attribute__((used)) void vantoProxyStart(long* stack) {
  const auto count = static_cast<int>(stack[0]);
  char** arguments = reinterpret_cast<char**>(stack + 1);
  const int status = vanto::runProxy(count, arguments, arguments + count + 1);
  for (;;) vanto::systemCall(SYS_exit_group, status);
}

__asm__(
    ".globl _start\n"
    ".type _start, @function\n"
    "_start:\n"
    "  xor %ebp, %ebp\n"
    "  mov %rsp, %rdi\n"
    "  and $-16, %rsp\n"
    "  call vantoProxyStart\n");

}  // extern "C"
