// SPDX-License-Identifier: Apache-2.0
#include "vanto/InputFile.h"

#include <cerrno>
#include <cstddef>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "value/Fd.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

constexpr std::size_t stepBytes = std::size_t{64} << 10;

std::nullopt_t fail(std::string& problem, const std::string& path, const std::string& reason) {
  problem = nameOfInput(path) + ": " + reason;
  return std::nullopt;
}

bool isRegular(int descriptor) noexcept {
  struct stat status {};
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

std::string nameOfInput(const std::string& path) {
  return path == "-" ? "standard input" : visible(path);
}

std::optional<std::string> readInput(const std::string& path, std::string& problem, InputKind kind,
                                     const InputLimit& limit) {
  Fd file;
  if (path != "-") {
    const int flags = kind == InputKind::RegularFile ? O_NONBLOCK : 0;
    file.reset(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | flags));
    if (!file) return fail(problem, path, std::string("cannot be opened: ") + std::strerror(errno));
    if (kind == InputKind::RegularFile && !isRegular(file.get())) return fail(problem, path, "is no regular file");
  }
  const int descriptor = path == "-" ? STDIN_FILENO : file.get();
  std::string contents;
  while (contents.size() <= limit.bytes) {
    const std::size_t used = contents.size();
    contents.resize(used + stepBytes);
    const ssize_t received = read(descriptor, contents.data() + used, stepBytes);
    contents.resize(used + (received > 0 ? static_cast<std::size_t>(received) : 0));
    if (received == 0) return contents;
    if (received < 0 && errno != EINTR) {
      return fail(problem, path, std::string("cannot be read: ") + std::strerror(errno));
    }
  }
  return fail(problem, path, std::string("is larger than ") + limit.name);
}

}  // namespace vanto::tool
