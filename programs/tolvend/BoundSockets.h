// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "value/Fd.h"

namespace vanto::manager {

/// The folder "sockets" of the manager's directory: for each socket that a manager has bound in the directory of its
/// domain a second link, so that its successor knows it from one that somebody else has bound. A process that a killed
/// manager has left may still listen on it, and may be one of which there is no record: the manager can be killed
/// between making a process and writing that down. Main thread only.
class BoundSockets {
 public:
  /// Opens the folder, and makes it where it is missing. `domain` is the directory of the domain, `own` the manager's.
  /// 0, or an errno value.
  [[nodiscard]] int open(Fd domain, int own);

  /// Notes that the socket `file` is the manager's. One that cannot be noted is missed only by a successor.
  void put(const std::string& file) const noexcept;
  /// Whether the socket that is called `file` now was noted.
  [[nodiscard]] bool has(const std::string& file) const noexcept;
  /// Has the name `file` stand again for the socket that was noted: those who wait at it and who listens on it notice
  /// nothing. Another socket of the name is replaced, and what is no socket left alone. 0, or an errno value: ENOTSOCK,
  /// or ENOENT when none was noted.
  [[nodiscard]] int restore(const std::string& file) const noexcept;
  void remove(const std::string& file) const noexcept;

 private:
  Fd domain_;
  Fd folder_;
};

}  // namespace vanto::manager
