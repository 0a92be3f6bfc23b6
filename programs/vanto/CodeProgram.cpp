// SPDX-License-Identifier: Apache-2.0
#include "vanto/CodeProgram.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string>

#include <unistd.h>

#include "vanto/VisibleText.h"

namespace vanto::tool {

bool isCodeCommand(std::string_view command) noexcept {
  constexpr std::array<std::string_view, 6> commands{"identify", "key", "requirement", "sign", "trust", "verify"};
  return std::find(commands.begin(), commands.end(), command) != commands.end();
}

void executeCodeProgram(std::string_view path, char* const* argv, Console& console) {
  char self[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", self, sizeof self);
  if (length < 0) return console.complain(std::string("/proc/self/exe: ") + std::strerror(errno));
  const std::string_view executable(self, static_cast<std::size_t>(length));
  const std::string program = std::string(executable.substr(0, executable.rfind('/') + 1)) + std::string(path);
  execv(program.c_str(), argv);
  console.complain(visible(program) + ": cannot be executed: " + std::strerror(errno));
}

}  // namespace vanto::tool
