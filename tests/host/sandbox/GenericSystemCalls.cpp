// SPDX-License-Identifier: Apache-2.0
#include "host/sandbox/GenericSystemCalls.h"

#include <fstream>
#include <string>

namespace vanto::testing {
namespace {

/// Both headers at once cannot be compiled, as they define the same names.
long numberIn(const char* header, std::string_view call) {
  std::ifstream file(header);
  const std::string name(call);
  for (std::string line; std::getline(file, line);) {
    for (const std::string& start : {"#define __NR_" + name, "#define __NR3264_" + name}) {
      if (!line.starts_with(start) || line.size() == start.size()) continue;
      const char next = line[start.size()];
      if (next == ' ' || next == '\t') return std::stol(line.substr(start.size()));
    }
  }
  return -1;
}

}  // namespace

long genericNumberOf(std::string_view call) {
  return numberIn("/usr/include/asm-generic/unistd.h", call);
}

long x86NumberOf(std::string_view call) {
  return numberIn("/usr/include/x86_64-linux-gnu/asm/unistd_64.h", call);
}

}  // namespace vanto::testing
