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

bool isEnforced(const Plan& plan, Right right) {
  return plan.asked.contains(right) &&
         std::ranges::none_of(plan.missing, [right](const RightRemark& remark) { return remark.right == right; });
}

}  // namespace

Witness::Outcome Witness::outcomeOf(bool isDone) noexcept {
  if (isDone) return Outcome::Possible;
  const bool isWant = errno == EMFILE || errno == ENFILE || errno == ENOMEM || errno == ENOBUFS;
  return isWant ? Outcome::Unknown : Outcome::Denied;
}

Witness::Outcome Witness::listRoot() noexcept {
  return outcomeOf(static_cast<bool>(Fd(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC))));
}

Witness::Outcome Witness::makeDatagramSocket() noexcept {
  return outcomeOf(static_cast<bool>(Fd(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))));
}

Witness::Outcome Witness::callUnshare() noexcept {
  // With no flags it does nothing, and is refused nonetheless.
  return outcomeOf(unshare(0) == 0);
}

Witness::Witness(const Plan& plan) {
  if (isEnforced(plan, Right::Read)) trials_.push_back({"list /", &listRoot, Outcome::Unknown});
  if (isEnforced(plan, Right::Network)) trials_.push_back({"make a UDP socket", &makeDatagramSocket, Outcome::Unknown});
  if (isEnforced(plan, Right::System)) trials_.push_back({"call unshare", &callUnshare, Outcome::Unknown});
  tryAgain();
  std::erase_if(trials_, [](const Trial& trial) { return trial.outcome != Outcome::Possible; });
}

void Witness::tryAgain() noexcept {
  for (Trial& trial : trials_) trial.outcome = trial.attempt();
}

WitnessResult Witness::result() const noexcept {
  const auto isAny = [this](Outcome outcome) {
    return std::ranges::find(trials_, outcome, &Trial::outcome) != trials_.end();
  };
  if (isAny(Outcome::Possible)) return WitnessResult::Allowed;
  return isAny(Outcome::Denied) ? WitnessResult::Denied : WitnessResult::Untested;
}

std::string Witness::subject() const {
  return namesWhere([](Outcome outcome) noexcept { return outcome != Outcome::Unknown; });
}

std::string Witness::possible() const {
  return namesWhere([](Outcome outcome) noexcept { return outcome == Outcome::Possible; });
}

std::string Witness::namesWhere(bool (*isNamed)(Outcome) noexcept) const {
  std::string text;
  for (const Trial& trial : trials_) {
    if (isNamed(trial.outcome)) text += (text.empty() ? "" : ", ") + std::string(trial.name);
  }
  return text;
}

}  // namespace vanto
