// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <VantoService/tolven_data.h>
#include <VantoService/vanto.h>

namespace vanto::manager {

struct JobTreeEnd {
  void operator()(tolven_data_t data) const noexcept { tolven_data_free(data); }
};
/// Job data that ends with its owner.
using JobTree = std::unique_ptr<struct tolven_data, JobTreeEnd>;

/// Makes the job data that an IPC object, borrowed, stands for. Gives the refusal, or an empty text and `tree`. An
/// object beyond the limits of job data is refused before it is copied.
[[nodiscard]] std::string createJobTree(vanto_object_t object, JobTree& tree);

/// `text` in quotes, for people: on one line, and not all of it if it is long.
[[nodiscard]] std::string inQuotes(std::string_view text);

}  // namespace vanto::manager
