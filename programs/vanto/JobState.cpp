// SPDX-License-Identifier: Apache-2.0
#include "vanto/JobState.h"

namespace vanto::tool {
namespace {

int strengthOf(const std::string& confinement) noexcept {
  return confinement == "full" ? 2 : confinement == "reduced" ? 1 : 0;
}

}  // namespace

JobState JobState::read(ReplyReader& reader) {
  JobState state;
  state.label = reader.text("label");
  state.name = reader.text("name");
  state.program = reader.text("program");
  state.state = reader.text("state");
  reader.eachOf("instances", [&state](ReplyReader& instance) {
    state.instances.push_back({instance.integer("pid"), instance.text("state"), instance.integer("since"),
                               instance.textIfAny("confinement"), instance.textIfAny("receipt").value_or("")});
  });
  state.isMultiple = reader.flag("multiple");
  state.starts = reader.integer("starts");
  state.failures = reader.integer("failures");
  state.retry = reader.integerIfAny("retry");
  reader.dictionaryIfAny("failure", [&state](ReplyReader& failure) { state.failure = JobFailure::read(failure); });
  reader.dictionaryIfAny("socket", [&state](ReplyReader& socket) {
    state.socketLoss = SocketLoss{socket.text("text"), socket.integer("time"), socket.flag("published")};
  });
  return state;
}

const JobState::Instance* JobState::weakestInstance() const noexcept {
  const Instance* weakest = nullptr;
  for (const Instance& instance : instances) {
    if (!instance.confinement) continue;
    const bool isWeaker = weakest == nullptr || strengthOf(*instance.confinement) < strengthOf(*weakest->confinement);
    if (isWeaker) weakest = &instance;
  }
  return weakest;
}

std::vector<JobState> JobState::readAll(ReplyReader& reader) {
  std::vector<JobState> states;
  reader.eachOf("jobs", [&states](ReplyReader& job) { states.push_back(read(job)); });
  return states;
}

}  // namespace vanto::tool
