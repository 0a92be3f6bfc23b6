// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <VantoService/Ref.h>
#include <VantoService/vanto.h>

#include "ipc/IPCObject.h"
#include "tolvend/JobController.h"

/// What people are told of a job, as IPC objects; see docs/formats/manager.md.
namespace vanto::manager {

/// A job state.
[[nodiscard]] Ref<vanto_object> jobState(const JobController& job);

/// A failure of a job.
[[nodiscard]] Ref<vanto_object> failureReport(const JobController& job, const StartFailure& failure);

/// A log line, with control characters and what is no UTF-8 escaped.
[[nodiscard]] Ref<vanto_object> lineReport(const LogLine& line);

/// All lines of a job, the oldest first.
[[nodiscard]] Ref<vanto_object> linesReport(const JobController& job);

/// The last failure of a job, its state, and at most five lines that it wrote before.
[[nodiscard]] Ref<vanto_object> whyReport(const JobController& job);

}  // namespace vanto::manager
