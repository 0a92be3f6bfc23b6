// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "value/Fd.h"

/// What the two processes send each other over a stream socket: records of numbers and texts, with descriptors. Both
/// are of one build, so there is no version; but neither believes a length.
namespace vanto::vexd {

/// Puts a record together.
class RecordWriter {
 public:
  void number(std::uint64_t value);
  void text(std::string_view value);

  [[nodiscard]] const std::string& bytes() const noexcept { return bytes_; }

 private:
  std::string bytes_;
};

/// Takes one apart. Beyond its end everything is 0 or empty, and isFine() no longer.
class RecordReader {
 public:
  explicit RecordReader(std::string_view bytes) noexcept : rest_(bytes) {}

  [[nodiscard]] std::uint64_t number() noexcept;
  /// One of at most `limit` bytes, which lies in the record.
  [[nodiscard]] std::string_view text(std::size_t limit) noexcept;

  /// True when the record held what was taken, and nothing more is there.
  [[nodiscard]] bool isWhole() const noexcept { return isFine_ && rest_.empty(); }
  [[nodiscard]] bool isFine() const noexcept { return isFine_; }

 private:
  [[nodiscard]] std::string_view take(std::size_t length) noexcept;

  std::string_view rest_;
  bool isFine_ = true;
};

/// Descriptors that a record can carry.
inline constexpr std::size_t recordDescriptors = 4;

struct Record {
  std::string bytes;
  std::vector<Fd> descriptors;
};

/// Waits until there is one of these events of poll(). False when there is none until `deadline`, as below.
[[nodiscard]] bool awaitSocket(int socket, short events, std::uint64_t deadline) noexcept;

/// Sends a record, waiting for room until `deadline` (CLOCK_MONOTONIC, nanoseconds; UINT64_MAX for ever). False when
/// the other side is gone or takes too long.
[[nodiscard]] bool sendRecord(int socket, std::string_view bytes, const std::vector<int>& descriptors,
                              std::uint64_t deadline) noexcept;

/// Receives one of at most `limit` bytes. False when the other side is gone, takes too long, or sent something else.
[[nodiscard]] bool receiveRecord(int socket, std::size_t limit, std::uint64_t deadline, Record& record);

}  // namespace vanto::vexd
