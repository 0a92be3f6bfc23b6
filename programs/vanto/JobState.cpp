// SPDX-License-Identifier: Apache-2.0
#include "vanto/JobState.h"

namespace vanto::tool {

JobState JobState::read(ReplyReader& reader) {
  JobState state;
  state.label = reader.text("label");
  state.name = reader.text("name");
  state.program = reader.text("program");
  state.state = reader.text("state");
  reader.eachOf("instances", [&state](ReplyReader& instance) {
    state.instances.push_back({instance.integer("pid"), instance.text("state"), instance.integer("since"),
                               instance.textIfAny("confinement")});
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

std::vector<JobState> JobState::readAll(ReplyReader& reader) {
  std::vector<JobState> states;
  reader.eachOf("jobs", [&states](ReplyReader& job) { states.push_back(read(job)); });
  return states;
}

}  // namespace vanto::tool
