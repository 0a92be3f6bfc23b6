// SPDX-License-Identifier: Apache-2.0
#include "tolvend/StartFailure.h"

#include <cstring>

#include "tolvend/ErrorNumber.h"

namespace vanto::manager {

namespace {

using Stage = StartFailure::Stage;

/// Seconds with as many decimals as say something, three at most.
std::string seconds(std::uint64_t nanoseconds) {
  const std::uint64_t milliseconds = nanoseconds / 1'000'000;
  if (milliseconds == 0) return "less than 0.001 s";
  std::string text = std::to_string(milliseconds / 1000);
  std::string decimals = std::to_string(milliseconds % 1000 + 1000).substr(1);
  decimals.erase(decimals.find_last_not_of('0') + 1);
  if (!decimals.empty()) text += "." + decimals;
  return text + " s";
}

std::string signalText(int signal) {
  const char* description = sigdescr_np(signal);
  std::string text = "ended by signal " + std::to_string(signal);
  if (description != nullptr) text += std::string(" (") + description + ")";
  return text;
}

/// What ended it, without how long it ran.
std::string reasonOf(const StartFailure& failure) {
  if (failure.stage == Stage::Held) return "its owner has stopped it";
  if (failure.stage == Stage::Limit) return "too many instances";
  if (failure.stage == Stage::Removed) return "its job was unloaded";
  if (failure.stage == Stage::Manager) return "the service manager is ending";
  if (!failure.reason.empty()) return failure.reason;
  if (failure.signal >= 0) return signalText(failure.signal);
  if (failure.exitStatus >= 0) return "exited with status " + std::to_string(failure.exitStatus);
  if (failure.error == ESHUTDOWN) return "shut down the socket that it was handed";
  if (failure.patience != 0) return "did not accept clients within " + seconds(failure.patience);
  if (failure.error != 0) return errorNumberText(failure.error);
  return failure.ran != 0 ? "stopped accepting clients" : "it failed before";
}

/// After a start that failed before there was anything to run, the pause is too short to speak of.
bool isPauseTold(Stage stage) {
  return stage == Stage::Pause || stage == Stage::Listening || stage == Stage::Confinement ||
         stage == Stage::Greeting || stage == Stage::Serving;
}

}  // namespace

StartFailure failureOf(Stage stage, std::uint64_t now) noexcept {
  StartFailure failure;
  failure.stage = stage;
  failure.time = now;
  return failure;
}

StartFailure pauseAfter(const StartFailure& failure, std::uint64_t end, std::uint64_t now) noexcept {
  StartFailure told = failure;
  told.stage = Stage::Pause;
  told.time = now;
  told.pause = end - now;
  return told;
}

const char* stageName(Stage stage) noexcept {
  switch (stage) {
    case Stage::Held:
      return "held";
    case Stage::Pause:
      return "pause";
    case Stage::Limit:
      return "limit";
    case Stage::Resources:
      return "resources";
    case Stage::Proxy:
      return "proxy";
    case Stage::Call:
      return "call";
    case Stage::Handover:
      return "handover";
    case Stage::Descriptors:
      return "descriptors";
    case Stage::ProcessState:
      return "state";
    case Stage::Executable:
      return "executable";
    case Stage::Execution:
      return "execution";
    case Stage::Listening:
      return "listening";
    case Stage::Confinement:
      return "confinement";
    case Stage::Greeting:
      return "greeting";
    case Stage::Serving:
      return "serving";
    case Stage::Removed:
      return "removed";
    case Stage::Manager:
      break;
  }
  return "manager";
}

std::string failureText(const StartFailure& failure) {
  std::string text = std::string(stageName(failure.stage)) + ": " + reasonOf(failure);
  const bool hasEnd = failure.signal >= 0 || failure.exitStatus >= 0 || (failure.error == 0 && failure.reason.empty());
  if (hasEnd && failure.ran != 0) text += " after " + seconds(failure.ran);
  if (failure.pause != 0 && isPauseTold(failure.stage)) text += "; next attempt in " + seconds(failure.pause);
  return text;
}

}  // namespace vanto::manager
