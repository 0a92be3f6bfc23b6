// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ipc/Domain.h"
#include "tolvend/Job.h"
#include "value/Fd.h"

namespace vanto::manager {

/// An operation on a file that failed; `error` 0 stands for success.
struct StoreFailure {
  /// An errno value.
  int error = 0;
  /// Relative to the manager's directory.
  std::string file;

  explicit operator bool() const noexcept { return error != 0; }
};

/// "jobs/org.example.echo: No space left on device (error 28)".
[[nodiscard]] std::string storeFailureText(const StoreFailure& failure);

/// The jobs on disk, by which a manager that starts knows what its predecessor was told. Each file is written beside
/// its place and then renamed, so it is there as a whole or not at all; nothing here survives the machine, so nothing
/// is flushed.
class JobStore {
 public:
  /// A file that is no job, and what is wrong with it. It is left alone.
  struct Damage {
    /// Relative to the manager's directory, as it is on disk, whatever characters that has.
    std::string file;
    std::string reason;
  };
  struct StoredJob {
    Job job;
    bool isHeld = false;
  };
  struct Contents {
    /// Ordered by label.
    std::vector<StoredJob> jobs;
    std::vector<Damage> damages;
  };

  /// `directory` is the manager's own, which nobody else can change.
  explicit JobStore(Fd directory) noexcept : directory_(static_cast<Fd&&>(directory)) {}

  /// Makes the folders that are missing, and removes what a manager left that died while it wrote. To be called first.
  [[nodiscard]] StoreFailure prepare();
  /// All jobs for a manager of `domain`.
  [[nodiscard]] Contents read(Domain domain) const;

  /// Writes a job in place of any of that label.
  [[nodiscard]] StoreFailure putJob(const Job& job);
  /// Removes a job and the mark that it is held; success if neither is there.
  [[nodiscard]] StoreFailure removeJob(std::string_view label);
  /// Marks a job as held; success if it is already.
  [[nodiscard]] StoreFailure putHeld(std::string_view label);
  [[nodiscard]] StoreFailure removeHeld(std::string_view label);

 private:
  /// Reads one file: a job, or what is wrong with it.
  [[nodiscard]] std::string readJob(const std::string& name, Domain domain, Job& job) const;

  Fd directory_;
};

}  // namespace vanto::manager
