// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>

#include "learning/OpenDescriptors.h"
#include "learning/ProcessLink.h"

namespace vanto::learning {

/// The threads of a traced run: which there are and were, what directory each works in, and what it has open.
class TracedProcesses {
 public:
  enum class Directory : std::uint8_t { Own, Shared };
  enum class Descriptors : std::uint8_t { Own, Shared };

  /// `directory` is that of the first thread, which is the first that is asked for.
  explicit TracedProcesses(std::string directory) : first_(std::move(directory)) {}

  /// True when the thread is the first one, or somebody has made it.
  [[nodiscard]] bool isKnown(std::int64_t thread);
  /// Takes in a thread that one that is known has made; none beyond limits::threads.
  void add(std::int64_t maker, std::int64_t thread, Directory directory, Descriptors descriptors);
  void end(std::int64_t thread) { threads_.erase(thread); }
  /// Another program is executed, which shares its descriptors with nobody.
  void execute(std::int64_t thread);

  /// `path` as an absolute one for a thread that is known, without links of /proc at its beginning; empty when it
  /// is not known what directory or descriptor it is seen from.
  [[nodiscard]] std::string absolute(std::int64_t thread, const std::string& path) const;
  /// Changes the thread's directory by a path, which can be seen from the present one.
  void enter(std::int64_t thread, const std::string& path);
  /// A descriptor of the thread leads to `path`, or to what has none.
  void open(std::int64_t thread, std::int64_t descriptor, const std::string& path);

  /// True when the run has or had a process or thread of that id.
  [[nodiscard]] bool hasBeen(std::int64_t thread) const noexcept { return everyone_.contains(thread); }
  /// The first thread, which is the command itself; 0 when there was none yet.
  [[nodiscard]] std::int64_t command() const noexcept { return command_; }

 private:
  /// Threads of a process share both.
  struct Thread {
    std::shared_ptr<std::string> directory;
    std::shared_ptr<OpenDescriptors> descriptors;
  };

  [[nodiscard]] std::string placeOf(std::int64_t thread, const ProcessLink& link) const;

  std::string first_;
  std::int64_t command_ = 0;
  std::map<std::int64_t, Thread> threads_;
  std::set<std::int64_t> everyone_;
};

/// `path`, where it is relative, in `directory`; empty when that is empty then.
[[nodiscard]] std::string joined(const std::string& directory, const std::string& path);

}  // namespace vanto::learning
