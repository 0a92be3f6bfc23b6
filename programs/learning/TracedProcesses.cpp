// SPDX-License-Identifier: Apache-2.0
#include "learning/TracedProcesses.h"

#include <utility>

#include "learning/limits.h"

namespace vanto::learning {

std::string joined(const std::string& directory, const std::string& path) {
  if (path.starts_with('/')) return path;
  return path.empty() || directory.empty() ? directory : directory + "/" + path;
}

bool TracedProcesses::isKnown(std::int64_t thread) {
  if (command_ == 0) {
    command_ = thread;
    directories_[thread] = std::make_shared<std::string>(first_);
    everyone_.insert(thread);
  }
  return directories_.contains(thread);
}

void TracedProcesses::add(std::int64_t maker, std::int64_t thread, Directory directory) {
  const auto found = directories_.find(maker);
  const auto own = found == directories_.end() ? std::make_shared<std::string>(first_) : found->second;
  directories_[thread] = directory == Directory::Shared ? own : std::make_shared<std::string>(*own);
  everyone_.insert(thread);
}

std::string TracedProcesses::absolute(std::int64_t thread, const std::string& path) const {
  const auto found = directories_.find(thread);
  return joined(found == directories_.end() ? first_ : *found->second, path);
}

void TracedProcesses::enter(std::int64_t thread, const std::string& path) {
  const auto found = directories_.find(thread);
  if (found == directories_.end()) return;
  // What links lead to is not known here, so nothing of it can be shortened.
  std::string directory = joined(*found->second, path);
  *found->second = directory.size() <= limits::directoryBytes ? std::move(directory) : std::string();
}

}  // namespace vanto::learning
