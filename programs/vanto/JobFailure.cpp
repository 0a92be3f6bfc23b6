// SPDX-License-Identifier: Apache-2.0
#include "vanto/JobFailure.h"

#include <cerrno>
#include <climits>
#include <cstring>

#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

/// -1, which names nothing, for what is no number of the system.
int systemNumber(std::int64_t number) noexcept {
  return number < 0 || number > INT_MAX ? -1 : static_cast<int>(number);
}

std::string signalText(std::int64_t number) {
  const int signal = systemNumber(number);
  const char* name = sigabbrev_np(signal);
  const char* text = sigdescr_np(signal);
  const std::string result = "ended by signal " + std::to_string(number);
  return name == nullptr || text == nullptr ? result : result + " (SIG" + name + ": " + text + ")";
}

std::string errorText(std::int64_t number) {
  const int error = systemNumber(number);
  const char* name = strerrorname_np(error);
  const char* text = strerrordesc_np(error);
  const std::string result = "error " + std::to_string(number);
  return name == nullptr || text == nullptr ? result : std::string(text) + " (" + name + ", " + result + ")";
}

}  // namespace

JobFailure JobFailure::read(ReplyReader& reader) {
  JobFailure failure;
  failure.stage = reader.text("stage");
  failure.text = reader.text("text");
  failure.time = reader.integer("time");
  failure.error = reader.integerIfAny("error");
  failure.status = reader.integerIfAny("status");
  failure.signal = reader.integerIfAny("signal");
  failure.pause = reader.integerIfAny("pause");
  failure.pid = reader.integerIfAny("pid");
  failure.ran = reader.integerIfAny("ran");
  return failure;
}

std::string JobFailure::cause() const {
  if (signal) return signalText(*signal);
  // Time that has passed is no error of a system call.
  if (error && *error != ETIMEDOUT) return errorText(*error);
  if (status) return "ended with exit status " + std::to_string(*status);
  return visible(text);
}

}  // namespace vanto::tool
