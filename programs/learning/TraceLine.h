// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "learning/TraceValue.h"

namespace vanto::learning {

/// One line of a trace: a system call that has returned, or the end of a process. Borrows the text.
struct TraceLine {
  enum class Kind : std::uint8_t {
    Call,
    End,
    Superseded  ///< the thread goes on as another one of its process, in `successor`, that executes a program
  };

  /// The line, without its line feed. None when it is no line of the traces that Tracer asks for, or longer than
  /// limits::lineBytes.
  [[nodiscard]] static std::optional<TraceLine> of(std::string_view text);

  /// An argument, counted from 0; of one that is not there nothing can be read.
  [[nodiscard]] TraceValue argument(std::size_t index) const noexcept {
    return index < arguments.size() ? arguments[index] : TraceValue();
  }
  [[nodiscard]] bool hasSucceeded() const noexcept { return error.empty(); }

  Kind kind = Kind::Call;
  /// The thread.
  std::int64_t process = 0;
  std::int64_t successor = 0;
  std::string_view name;
  std::vector<TraceValue> arguments;
  TraceValue result;
  /// The name of the error, "?" where the call has no result; empty for none.
  std::string_view error;
};

/// A part of a line that the tracer cut, as another process had something to tell meanwhile.
struct TraceLinePart {
  enum class Kind : std::uint8_t { Begin, Rest };

  /// None when `text` is a whole line, or none at all.
  [[nodiscard]] static std::optional<TraceLinePart> of(std::string_view text);

  Kind kind = Kind::Begin;
  std::int64_t process = 0;
  /// Of a rest: the call that it belongs to.
  std::string_view name;
  /// Without the sign of the cut; of a begin the process stands in front.
  std::string_view text;
};

}  // namespace vanto::learning
