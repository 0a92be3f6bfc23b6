// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

#include "value/Fd.h"

namespace vanto::manager {

/// What the manager says to whoever started it, a line at a time. It never waits for a reader: a line that is not taken
/// at once is dropped, and the next one that is taken is preceded by their number. Main thread only.
class Messages {
 public:
  /// Writes to `descriptor`, which is borrowed and not changed.
  explicit Messages(int descriptor) noexcept : descriptor_(descriptor) {}

  /// Of a line that is too long for one write the rest is cut.
  void say(const std::string& line);

 private:
  [[nodiscard]] bool write(const std::string& text);
  void open();

  const int descriptor_;
  /// The same file with settings of our own, where there is such a thing.
  Fd own_;
  enum class Kind { Unknown, Socket, Waiting, Other } kind_ = Kind::Unknown;
  std::size_t dropped_ = 0;
};

}  // namespace vanto::manager
