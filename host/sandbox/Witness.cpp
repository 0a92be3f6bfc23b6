// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Witness.h"

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sched.h>
#include <sys/socket.h>

#include "value/Fd.h"

namespace vanto {
namespace {

/// A process that is short of descriptors or memory is not denied anything.
bool isPossible(const Fd& opened) noexcept {
  return opened || errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS;
}

bool canListRoot() noexcept {
  return isPossible(Fd(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
}

bool canMakeDatagramSocket() noexcept {
  return isPossible(Fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)));
}

/// With no flags it does nothing, and is refused nonetheless.
bool canUnshare() noexcept {
  return unshare(0) == 0;
}

bool isEnforced(const Plan& plan, Right right) {
  return plan.asked.contains(right) &&
         std::ranges::none_of(plan.missing, [right](const RightRemark& remark) { return remark.right == right; });
}

}  // namespace

Witness::Witness(const Plan& plan) {
  if (isEnforced(plan, Right::Read)) trials_.push_back({"list /", &canListRoot});
  if (isEnforced(plan, Right::Network)) trials_.push_back({"make a UDP socket", &canMakeDatagramSocket});
  if (isEnforced(plan, Right::System)) trials_.push_back({"call unshare", &canUnshare});
  std::erase_if(trials_, [](const Trial& trial) { return !trial.isPossible(); });
}

WitnessResult Witness::result() const noexcept {
  if (trials_.empty()) return WitnessResult::Untested;
  const bool isAnyPossible = std::ranges::any_of(trials_, [](const Trial& trial) { return trial.isPossible(); });
  return isAnyPossible ? WitnessResult::Allowed : WitnessResult::Denied;
}

std::string Witness::subject() const {
  std::string text;
  for (const Trial& trial : trials_) text += (text.empty() ? "" : ", ") + std::string(trial.name);
  return text;
}

}  // namespace vanto
