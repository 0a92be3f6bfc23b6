// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

#include <VantoService/tolven_data.h>
#include <VantoService/vanto.h>

#include "ipc/Domain.h"
#include "tolvend/Job.h"

/// Which jobs a manager takes. Nothing in a job is passed over: what it does not know it refuses, since a key with a
/// slip of the pen in it would otherwise do nothing without a word.
///
/// Each of these gives the refusal, one sentence that says what is wrong and what to do, and leaves `job` as it was; or
/// an empty text, when the job is good. `domain` is the manager's own.
namespace vanto::manager {

/// `data` is borrowed.
[[nodiscard]] std::string takeJob(tolven_data_t data, Domain domain, Job& job);
/// A job as an IPC object; borrowed.
[[nodiscard]] std::string takeJob(vanto_object_t object, Domain domain, Job& job);
/// A job as job data in bytes.
[[nodiscard]] std::string takeJob(const void* bytes, std::size_t size, Domain domain, Job& job);

/// The word for a domain in names and options: "session", "user", "system".
[[nodiscard]] const char* domainWord(Domain domain) noexcept;

}  // namespace vanto::manager
