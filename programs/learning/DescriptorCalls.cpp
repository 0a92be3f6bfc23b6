// SPDX-License-Identifier: Apache-2.0
#include "learning/DescriptorCalls.h"

#include <array>

namespace vanto::learning {
namespace {

/// Those that stand in a line by themselves are taken from each.
void readCopied(const TraceLine& /*line*/, RunRecord& /*record*/) {}

void readReceived(const TraceLine& line, RunRecord& record) {
  const auto control = line.argument(1).field("msg_control");
  if (!control) return;
  for (const TraceValue& part : control->elements()) {
    const auto received = part.field("cmsg_data");
    if (!received) continue;
    for (const TraceValue& descriptor : received->elements()) record.takePlace(line.process, descriptor);
  }
}

constexpr std::array readers{
    CallReader{"dup", &readCopied},   CallReader{"dup2", &readCopied},      CallReader{"dup3", &readCopied},
    CallReader{"fcntl", &readCopied}, CallReader{"recvmsg", &readReceived},
};

}  // namespace

std::span<const CallReader> descriptorCalls() noexcept {
  return readers;
}

}  // namespace vanto::learning
