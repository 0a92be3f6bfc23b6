// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <atomic>
#include <cstdint>
#include <new>

#include <fcntl.h>

#include "process/Contents.h"
#include "value/Fd.h"
#include "value/Memory.h"
#include "value/platform/process.h"

namespace {

/// The saved arguments; the process keeps them.
struct Arguments {
  int count;
  char** vector;
};

constinit char* emptyVector[] = {nullptr};
constinit Arguments noArguments{0, emptyVector};
constinit std::atomic<Arguments*> savedArguments{nullptr};

/// Splits text in which each argument ends in NUL; takes the memory over.
Arguments* split(char* text, std::size_t size) noexcept {
  const auto count = static_cast<std::size_t>(std::count(text, text + size, '\0'));
  auto** const vector = static_cast<char**>(vanto::Memory::allocate(vanto::Memory::product(count + 1, sizeof(char*))));
  for (std::size_t i = 0; i < count; ++i) {
    vector[i] = text;
    text = std::find(text, text + size, '\0') + 1;
  }
  vector[count] = nullptr;
  return ::new (vanto::Memory::allocate(sizeof(Arguments))) Arguments{static_cast<int>(count), vector};
}

const Arguments& arguments() noexcept {
  const Arguments* const saved = savedArguments.load(std::memory_order_acquire);
  return saved != nullptr ? *saved : noArguments;
}

void discard(Arguments* unused) noexcept {
  vanto::Memory::free(unused->vector[0]);
  vanto::Memory::free(unused->vector);
  vanto::Memory::free(unused);
}

}  // namespace

void vanto_process_save_arguments() {
  if (savedArguments.load(std::memory_order_acquire) != nullptr) return;
  const vanto::Fd file(open("/proc/self/cmdline", O_RDONLY | O_CLOEXEC));
  vanto::GrowingBytes text;
  if (!file || vanto::readContents(file.get(), INT32_MAX, text) != 0 || text.size() == 0) return;
  // A process may have written over the end of its own arguments.
  if (text.text().back() != '\0') text.append({"", 1});
  const std::size_t size = text.size();
  Arguments* const made = split(text.release(), size);
  Arguments* expected = nullptr;
  if (!savedArguments.compare_exchange_strong(expected, made, std::memory_order_acq_rel)) discard(made);
}

int _QelGetArgc() {
  return arguments().count;
}

char** _QelGetArgv() {
  return arguments().vector;
}
