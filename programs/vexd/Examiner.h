// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include <sys/types.h>

#include <VantoService/vanto.h>

#include "vexd/DigesterProcess.h"
#include "vexd/FactsCache.h"
#include "vexd/Report.h"
#include "vexd/TrustFiles.h"

namespace vanto::vexd {

/// Looks at processes: opens what they execute, and has it digested unless that was done before. Any thread; the
/// calling one waits for file systems only.
class Examiner {
 public:
  /// Gets a report, once; on the calling thread or on another one.
  using Receiver = std::function<void(const Report&)>;

  /// `program` is the path of the program that digests.
  Examiner(const std::string& program, std::vector<TrustFiles::Place> trust);
  ~Examiner();
  Examiner(const Examiner&) = delete;
  Examiner& operator=(const Examiner&) = delete;

  /// Looks at the process of a descriptor. `isWanted` is asked before long work is begun.
  void examine(int process, Receiver receive, std::function<bool()> isWanted);

 private:
  struct Job;
  /// A queue with the process that its work items ask.
  struct Worker {
    Worker(const std::string& program, vanto_queue_t itsQueue) : process(program), queue(itsQueue) {}

    DigesterProcess process;
    vanto_queue_t queue;
    std::size_t waiting = 0;
  };

  /// The report that is kept; null when there is none.
  [[nodiscard]] FactsCache::Kept findAtAGlance(int process);
  [[nodiscard]] FactsCache::Kept findInCache(Job& job);
  [[nodiscard]] Worker* enqueue(const Job& job);
  void leave(const Job& job, Worker& worker);
  void run(Job& job, Worker& worker);
  [[nodiscard]] Report digest(Job& job, Worker& worker);

  std::vector<std::unique_ptr<Worker>> workers_;
  std::atomic<int> openings_{0};
  std::mutex mutex_;
  // What follows belongs to the mutex.
  TrustFiles trust_;
  FactsCache cache_;
  std::map<uid_t, std::size_t> waitingOfUser_;
  std::size_t waiting_ = 0;
};

}  // namespace vanto::vexd
