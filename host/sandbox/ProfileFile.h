// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace vanto {

/// The text of a profile's file, or what is wrong with the file.
struct ProfileFile {
  std::string text;
  /// Empty when the text could be read.
  std::string error;
};

/// Reads the file at `path`, which is a regular one of at most limits::profileBytes and does not change meanwhile.
/// Never waits for a writer of a FIFO.
[[nodiscard]] ProfileFile readProfileFile(const char* path);

}  // namespace vanto
