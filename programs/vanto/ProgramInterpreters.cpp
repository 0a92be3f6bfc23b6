// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProgramInterpreters.h"

#include <array>
#include <climits>
#include <cstdint>
#include <cstring>
#include <string_view>

#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <sys/stat.h>
#include <unistd.h>

#include "value/Fd.h"

namespace vanto::tool {
namespace {

/// What the kernel looks at of a script.
constexpr std::size_t scriptBytes = 256;
/// Interpreters that are scripts in turn; the kernel gives up then too.
constexpr int mostInterpreters = 5;
constexpr std::size_t mostProgramHeaders = 128;

/// At most `size` bytes at `offset`; fewer at the end, none after an error.
std::string bytesAt(const Fd& file, std::size_t size, std::uint64_t offset) {
  if (offset > INT64_MAX) return {};
  std::string bytes(size, '\0');
  const ssize_t count = pread(file.get(), bytes.data(), size, static_cast<off_t>(offset));
  bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
  return bytes;
}

template <typename Record>
bool readAt(const Fd& file, std::uint64_t offset, Record& record) {
  const std::string bytes = bytesAt(file, sizeof record, offset);
  if (bytes.size() != sizeof record) return false;
  std::memcpy(&record, bytes.data(), sizeof record);
  return true;
}

/// The first word behind "#!".
std::optional<std::string> scriptInterpreter(std::string_view text) {
  text.remove_prefix(2);
  text = text.substr(0, text.find('\n'));
  const std::size_t begin = text.find_first_not_of(" \t");
  if (begin == std::string_view::npos) return std::nullopt;
  const std::size_t end = text.find_first_of(std::string_view(" \t\0", 3), begin);
  return std::string(text.substr(begin, end - begin));
}

/// The loader that the program names; the empty path when it needs none.
std::optional<std::string> loaderOf(const Fd& file) {
  ElfW(Ehdr) header;
  if (!readAt(file, 0, header) || std::memcmp(header.e_ident, ELFMAG, SELFMAG) != 0) return std::nullopt;
  if (header.e_phentsize != sizeof(ElfW(Phdr)) || header.e_phnum > mostProgramHeaders) return std::nullopt;
  for (std::size_t index = 0; index < header.e_phnum; ++index) {
    ElfW(Phdr) part;
    if (header.e_phoff > INT64_MAX || !readAt(file, header.e_phoff + index * sizeof part, part)) return std::nullopt;
    if (part.p_type != PT_INTERP) continue;
    if (part.p_filesz < 2 || part.p_filesz > PATH_MAX) return std::nullopt;
    const std::string path = bytesAt(file, part.p_filesz, part.p_offset);
    if (path.size() != part.p_filesz || path.back() != '\0') return std::nullopt;
    return std::string(path.c_str());
  }
  return std::string();
}

}  // namespace

std::optional<std::vector<std::string>> interpretersOf(const std::string& program) {
  std::vector<std::string> interpreters;
  for (std::string path = program; interpreters.size() <= mostInterpreters; path = interpreters.back()) {
    // Not blocking, for it can be a FIFO by now.
    const Fd file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat facts;
    if (!file || fstat(file.get(), &facts) != 0 || !S_ISREG(facts.st_mode)) return std::nullopt;
    const std::string begin = bytesAt(file, scriptBytes, 0);
    const bool isScript = begin.starts_with("#!");
    const auto next = isScript ? scriptInterpreter(begin) : loaderOf(file);
    if (!next) return std::nullopt;
    if (next->empty()) return interpreters;
    interpreters.push_back(*next);
    if (!isScript) return interpreters;
  }
  return std::nullopt;
}

}  // namespace vanto::tool
