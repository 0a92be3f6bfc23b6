// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <ctime>
#include <functional>
#include <string>

#include "ipc/Domain.h"
#include "value/Fd.h"

namespace vanto::manager {

/// The directory of a domain, as the manager that is in charge of it has it.
struct ManagerDirectory {
  enum class State : std::uint8_t { Taken, InUse, Unusable } state = State::Unusable;
  /// What is wrong and what to do.
  std::string error;
  /// In which sockets are bound.
  Fd domain;
  /// Where that is; empty where the system does not tell.
  std::string path;
  /// In it, ".tolvend", which is nobody else's business.
  Fd own;
  /// Who has it open and locked is in charge.
  Fd lock;
};

/// Takes charge of a domain. Directories that are missing are made; none is taken that others may change.
/// For a moment a child that a manager before has just made has its lock open, so that a lock in use is tried again for
/// a second, with `pause` between.
[[nodiscard]] ManagerDirectory takeDirectory(
    Domain domain, const std::function<void(timespec)>& pause = [](timespec t) { nanosleep(&t, nullptr); });

/// Whether a directory that was taken, or ".tolvend" in it, is no longer where it was, so that clients and another
/// manager find others there, or none.
[[nodiscard]] bool isLost(const ManagerDirectory& directory) noexcept;

}  // namespace vanto::manager
