// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ipc/Domain.h"
#include "tolvend/BoundSockets.h"
#include "tolvend/FormerProcesses.h"
#include "tolvend/JobController.h"
#include "tolvend/JobStore.h"

namespace vanto::manager {

/// The jobs of a manager, in the world and on disk. Main thread only.
class Jobs {
 public:
  /// Keyed by label.
  using Map = std::map<std::string, std::unique_ptr<JobController>, std::less<>>;

  /// `directory` is that of the domain, in which sockets are bound; borrowed.
  Jobs(JobSurroundings surroundings, JobStore& store, FormerProcesses& former, BoundSockets& sockets, Domain domain,
       int directory);

  /// Called, in a call of its own, with the label of a job that has changed, was removed, or has ended after that.
  void observe(std::function<void(const std::string& label)> observer) { observer_ = std::move(observer); }

  /// Loads what the store holds. What went wrong, a line for each.
  [[nodiscard]] std::vector<std::string> restore();
  /// To be called when a former process has ended.
  void beginWhatCan();

  /// What came of an order. Nothing has changed when there is an error.
  struct Result {
    std::string error;
    bool hasReplaced = false;
  };
  [[nodiscard]] Result load(Job job);
  /// Removes a job, whose processes are asked to end.
  [[nodiscard]] Result unload(const std::string& label);
  [[nodiscard]] Result hold(JobController& job);
  [[nodiscard]] Result start(JobController& job);
  [[nodiscard]] Result restart(JobController& job);

  /// The file of that name in the directory of the domain was touched by somebody; any may have been if it is empty.
  void fileTouched(const std::string& file);

  [[nodiscard]] JobController* find(const std::string& label) const;
  [[nodiscard]] const Map& all() const noexcept { return jobs_; }
  /// Whether a job of that label was removed whose processes, or those of a manager before, have not all ended.
  [[nodiscard]] bool isEnding(const std::string& label) const;

  /// Ends all of them, and leaves them in the store.
  void retireAll();
  /// True when no process is left.
  [[nodiscard]] bool isEmpty() const noexcept;

 private:
  [[nodiscard]] std::string open(JobController& job, PublishedSocket::Rival rival) const;
  [[nodiscard]] std::unique_ptr<JobController> make(Job job);
  [[nodiscard]] Result replace(JobController& old, Job job);
  /// Forgets those removed whose processes have all ended.
  void forgetEnded();
  void note(const std::string& label);
  void tell();

  JobSurroundings surroundings_;
  JobStore& store_;
  FormerProcesses& former_;
  BoundSockets& sockets_;
  const Domain domain_;
  const int directory_;
  Map jobs_;
  /// Removed, with processes that have not ended.
  std::vector<std::unique_ptr<JobController>> ending_;
  /// What the observer has not been told of.
  std::vector<std::string> changed_;
  Alarm telling_;
  bool isRetired_ = false;
  std::function<void(const std::string&)> observer_;
};

}  // namespace vanto::manager
