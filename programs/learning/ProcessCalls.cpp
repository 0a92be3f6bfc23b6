// SPDX-License-Identifier: Apache-2.0
#include "learning/ProcessCalls.h"

#include <array>
#include <utility>

#include <sched.h>

namespace vanto::learning {
namespace {

constexpr std::int64_t newNamespaces =
    CLONE_NEWNS | CLONE_NEWCGROUP | CLONE_NEWUTS | CLONE_NEWIPC | CLONE_NEWUSER | CLONE_NEWPID | CLONE_NEWNET;

void forked(const TraceLine& line, std::int64_t flags, RunRecord& record) {
  using Directory = TracedProcesses::Directory;
  using Descriptors = TracedProcesses::Descriptors;
  if ((flags & CLONE_THREAD) == 0) record.facts.others |= Right::Processes;
  if ((flags & newNamespaces) != 0) record.remarkRefused("a namespace of its own");
  record.processes.add(line.process, line.result.number().value_or(0),
                       (flags & CLONE_FS) != 0 ? Directory::Shared : Directory::Own,
                       (flags & CLONE_FILES) != 0 ? Descriptors::Shared : Descriptors::Own);
}

void readFork(const TraceLine& line, RunRecord& record) {
  forked(line, 0, record);
}

/// The flags are a field of the call, or of the structure that it is given.
void readClone(const TraceLine& line, RunRecord& record) {
  for (const TraceValue& argument : line.arguments) {
    if (const auto flags = argument.field("flags")) return forked(line, flags->number().value_or(0), record);
  }
  forked(line, 0, record);
}

/// The first of all is the command.
void executed(const TraceLine& line, const std::string& path, RunRecord& record) {
  record.processes.execute(line.process);
  if (record.facts.program.empty()) {
    record.facts.program = path;
  } else {
    record.facts.executed.insert(path);
  }
}

void readExecute(const TraceLine& line, RunRecord& record) {
  if (const auto path = record.pathIn(line, 0)) executed(line, *path, record);
}

void readExecuteAt(const TraceLine& line, RunRecord& record) {
  const auto place = line.argument(0).place();
  if (line.argument(1).bytes() != "") {
    if (const auto path = record.pathAt(line, 1)) executed(line, *path, record);
  } else if (place && !place->path.empty() && !place->isDeleted) {
    executed(line, place->path, record);
  } else {
    record.remarkRefused("executing a program that has no path");
  }
}

void readEnter(const TraceLine& line, RunRecord& record) {
  if (const auto path = line.argument(0).bytes()) {
    record.processes.enter(line.process, *path);
  } else {
    record.remarkUnreadable(line);
  }
}

void readEnterDescriptor(const TraceLine& line, RunRecord& record) {
  if (const auto place = line.argument(0).place()) record.processes.enter(line.process, place->path);
}

void readSignal(const TraceLine& line, RunRecord& record) {
  const auto process = line.argument(0).number();
  if (process && std::in_range<std::int32_t>(*process)) record.signalled.insert(*process);
}

void readDescriptorSignal(const TraceLine& line, RunRecord& record) {
  constexpr std::string_view kind = "pid:";
  const auto place = line.argument(0).place();
  const bool isNamed = place && place->kind.starts_with(kind);
  const auto process = isNamed ? TraceValue(std::string_view(place->kind).substr(kind.size())).number() : std::nullopt;
  if (!process || *process <= 0) return record.remarkUnreadable(line);
  record.signalled.insert(*process);
}

constexpr std::array readers{
    CallReader{"fork", &readFork},
    CallReader{"vfork", &readFork},
    CallReader{"clone", &readClone},
    CallReader{"clone3", &readClone},
    CallReader{"execve", &readExecute},
    CallReader{"execveat", &readExecuteAt},
    CallReader{"chdir", &readEnter},
    CallReader{"fchdir", &readEnterDescriptor},
    CallReader{"kill", &readSignal},
    CallReader{"tkill", &readSignal},
    CallReader{"tgkill", &readSignal},
    CallReader{"rt_sigqueueinfo", &readSignal},
    CallReader{"rt_tgsigqueueinfo", &readSignal},
    CallReader{"pidfd_send_signal", &readDescriptorSignal},
};

}  // namespace

std::span<const CallReader> processCalls() noexcept {
  return readers;
}

}  // namespace vanto::learning
