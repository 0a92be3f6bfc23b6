// SPDX-License-Identifier: Apache-2.0

// What a manager is told to load, or finds on disk.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "ipc/SocketName.h"
#include "tolvend/JobIntake.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

/// What is taken is the bytes that came, and can be started; what is refused leaves nothing but one line.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  vanto::manager::Job job;
  const std::string refusal = vanto::manager::takeJob(bytes, size, vanto::Domain::User, job);
  if (!refusal.empty()) {
    require(job.label.empty() && job.data.empty());
    for (const char character : refusal) require(static_cast<unsigned char>(character) >= ' ');
    return 0;
  }
  require(job.data == std::string(reinterpret_cast<const char*>(bytes), size));
  require(job.name == job.label && !vanto::socketFileName(job.name).empty());
  require(job.program.starts_with('/') && job.program.find("/../") == job.program.npos);
  return 0;
}
