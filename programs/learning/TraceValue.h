// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vanto::learning {

/// What a descriptor leads to.
struct TracePlace {
  /// False for what is in nobody's directory, such as a pipe or memory.
  [[nodiscard]] bool hasPath() const noexcept { return !path.empty() && !path.starts_with("/memfd:"); }

  /// The path; empty for what has none.
  std::string path;
  /// For what has no path, what it is: "TCP:[1234]". For a device "char 1:3".
  std::string kind;
  /// The path leads there no more.
  bool isDeleted = false;
};

/// One argument of a traced call, one of its results, or one field of either, as it is written in the trace. Each way
/// to read it gives nothing when it is written in another way. Borrows the line.
class TraceValue {
 public:
  TraceValue() noexcept = default;
  explicit TraceValue(std::string_view text) noexcept : text_(text) {}

  /// "0644", "-100", "0x2|0x80000"; also that of a descriptor.
  [[nodiscard]] std::optional<std::int64_t> number() const;
  /// The bytes of a quoted text that is written whole.
  [[nodiscard]] std::optional<std::string> bytes() const;
  /// The bytes of such a text behind the sign of abstract addresses.
  [[nodiscard]] std::optional<std::string> abstractBytes() const;
  /// What stands behind the number of a descriptor.
  [[nodiscard]] std::optional<TracePlace> place() const;
  /// The value of a field, in "name=value" itself or in a structure of such.
  [[nodiscard]] std::optional<TraceValue> field(std::string_view name) const;
  /// The elements of an array.
  [[nodiscard]] std::vector<TraceValue> elements() const;

 private:
  std::string_view text_;
};

/// Where the bracket or quote at `at` of `text` is closed, behind its end; npos when it is not, when others inside it
/// are not, or when something stands there that no trace has.
[[nodiscard]] std::size_t endOfGroup(std::string_view text, std::size_t at);

/// `text` cut at its commas outside brackets and quotes; none when it cannot be cut. Nothing has no elements.
[[nodiscard]] std::optional<std::vector<std::string_view>> elementsOf(std::string_view text);

}  // namespace vanto::learning
