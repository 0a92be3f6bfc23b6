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
    threads_[thread] = {std::make_shared<std::string>(first_), std::make_shared<OpenDescriptors>()};
    everyone_.insert(thread);
  }
  return threads_.contains(thread);
}

void TracedProcesses::add(std::int64_t maker, std::int64_t thread, Directory directory, Descriptors descriptors) {
  if (threads_.size() >= limits::threads) return;
  const auto found = threads_.find(maker);
  Thread made = found == threads_.end()
                    ? Thread{std::make_shared<std::string>(first_), std::make_shared<OpenDescriptors>()}
                    : found->second;
  if (directory == Directory::Own) made.directory = std::make_shared<std::string>(*made.directory);
  if (descriptors == Descriptors::Own) made.descriptors = std::make_shared<OpenDescriptors>(*made.descriptors);
  threads_[thread] = std::move(made);
  everyone_.insert(thread);
}

void TracedProcesses::execute(std::int64_t thread) {
  const auto found = threads_.find(thread);
  if (found == threads_.end()) return;
  found->second.descriptors = std::make_shared<OpenDescriptors>(*found->second.descriptors);
}

std::string TracedProcesses::absolute(std::int64_t thread, const std::string& path) const {
  const auto found = threads_.find(thread);
  std::string way = joined(found == threads_.end() ? first_ : *found->second.directory, path);
  // Each time what is behind the link is shorter.
  while (const auto link = ProcessLink::of(way)) {
    std::string place = placeOf(thread, *link);
    if (place.empty()) return {};
    if (place == "/" && !link->rest.empty()) place.clear();
    way = place.append(link->rest);
  }
  return way;
}

/// Where the link leads to; empty when that is not known.
std::string TracedProcesses::placeOf(std::int64_t thread, const ProcessLink& link) const {
  // Nobody who is looked at has another root: no profile allows to change it.
  if (link.kind == ProcessLink::Kind::Root) return "/";
  const auto found = threads_.find(link.process == 0 ? thread : link.process);
  if (found == threads_.end()) return {};
  if (link.kind == ProcessLink::Kind::Directory) return *found->second.directory;
  return found->second.descriptors->pathOf(link.descriptor);
}

void TracedProcesses::enter(std::int64_t thread, const std::string& path) {
  const auto found = threads_.find(thread);
  if (found == threads_.end()) return;
  // What links lead to is not known here, so nothing of it can be shortened.
  std::string directory = absolute(thread, path);
  *found->second.directory = directory.size() <= limits::directoryBytes ? std::move(directory) : std::string();
}

void TracedProcesses::open(std::int64_t thread, std::int64_t descriptor, const std::string& path) {
  const auto found = threads_.find(thread);
  if (found == threads_.end()) return;
  // No place is behind a link of /proc; to take one for it could lead in a circle.
  found->second.descriptors->set(descriptor, ProcessLink::of(path) ? std::string() : path);
}

}  // namespace vanto::learning
