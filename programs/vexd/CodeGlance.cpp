// SPDX-License-Identifier: Apache-2.0
#include "vexd/CodeGlance.h"

#include <cstddef>
#include <optional>
#include <string>

#include <unistd.h>

#include "vexd/CodeFinder.h"
#include "vexd/ProcessState.h"
#include "vexd/limits.h"

namespace vanto::vexd {
namespace {

bool look(const std::string& path, FileIdentity& identity) noexcept {
  return FileIdentity::at(path.c_str(), FileIdentity::Links::Targets, identity) && identity.isOfFile();
}

/// Where a link leads; empty when that cannot be told.
std::string targetOf(const std::string& link) {
  char path[limits::pathBytes];
  const ssize_t length = readlink(link.c_str(), path, sizeof path);
  return {path, length > 0 ? static_cast<std::size_t>(length) : 0};
}

bool mayBeJudged(pid_t pid) {
  const std::optional<ProcessState> state = ProcessState::read(pid);
  return state && state->isInOwnNamespace && state->tracing == Tracing::No;
}

}  // namespace

bool glanceAtCode(int process, FactsKey& key) {
  const std::optional<pid_t> pid = processOf(process);
  if (!pid || *pid <= 0 || !mayBeJudged(*pid)) return false;
  const std::string link = directoryOf(*pid) + "/exe";
  // Not looked at whether the executable still lies there: with a signature that is not its own no answer is kept.
  const std::string path = targetOf(link);
  return path.starts_with('/') && lookAroundCode(path, key) && look(link, key.executable) && !hasEnded(process);
}

}  // namespace vanto::vexd
