// SPDX-License-Identifier: Apache-2.0

// TODO(port): confinement is not there yet. Until it is, every request is answered with an error: no service may
// believe that it is confined.
#include "value/platform/sandbox.h"

#include <cstring>

#include "value/Memory.h"

int sandbox_init_with_parameters(const char*, std::uint64_t, const char* const[], char** errorText) {
  constexpr char text[] = "not available on this host yet";
  if (errorText != nullptr) {
    *errorText = static_cast<char*>(vanto::Memory::allocate(sizeof text));
    std::memcpy(*errorText, text, sizeof text);
  }
  return -1;
}

void sandbox_free_error(char* errorText) {
  vanto::Memory::free(errorText);
}
