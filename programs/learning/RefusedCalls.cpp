// SPDX-License-Identifier: Apache-2.0
#include "learning/RefusedCalls.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <vector>

#include <sys/ioctl.h>
#include <sys/personality.h>

#include "sandbox/SystemCallRule.h"

namespace vanto::learning {
namespace {

void readRefused(const TraceLine& line, RunRecord& record) {
  record.remarkRefused(line.name);
}

void readPersonality(const TraceLine& line, RunRecord& record) {
  constexpr std::int64_t query = 0xffffffff;
  if (line.argument(0).number() != query && line.argument(0).number() != PER_LINUX) record.remarkRefused(line.name);
}

/// Beside "allow execute", without which no command runs under a profile.
void readMemory(const TraceLine& line, RunRecord& record) {
  constexpr std::int64_t sealedAgainstExecution = 8;
  if ((line.argument(1).number().value_or(0) & sealedAgainstExecution) == 0) {
    record.remarkRefused("memfd_create without MFD_NOEXEC_SEAL");
  }
}

void readControl(const TraceLine& line, RunRecord& record) {
  // Those of every descriptor are no matter of the device.
  constexpr std::array<std::int64_t, 4> ofDescriptors{FIOCLEX, FIONCLEX, FIONBIO, FIOASYNC};
  constexpr std::int64_t consoleControl = 0x541c;
  const auto request = line.argument(1).number();
  if (!request) return record.remarkUnreadable(line);
  if (*request == TIOCSTI || *request == consoleControl) return record.remarkRefused("typing into a terminal");
  const auto place = line.argument(0).place();
  if (!place || !record.devices.contains(place->path)) return;
  if (std::ranges::find(ofDescriptors, *request) == ofDescriptors.end()) record.use(place->path, Right::Ioctl);
}

/// Refused whatever a profile says and whatever they are called with.
std::vector<CallReader> allReaders() {
  std::vector<CallReader> readers{
      {"ioctl", &readControl}, {"memfd_create", &readMemory}, {"personality", &readPersonality}};
  Policy open;
  open.paths = {{"/", Right::Execute, {}}};
  open.others = {{Right::Processes, {}}};
  open.network = NetworkMode::All;
  for (const SystemCallRule& rule : systemCallRulesOf(open)) {
    if (rule.tests.empty() && rule.error == EPERM) readers.push_back({nameOf(rule.call), &readRefused});
  }
  return readers;
}

}  // namespace

std::span<const CallReader> refusedCalls() {
  static const std::vector<CallReader> readers = allReaders();
  return readers;
}

}  // namespace vanto::learning
