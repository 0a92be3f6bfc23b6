// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// The records that a service and its manager exchange over the link between them, a socket that keeps packet
/// boundaries; what they mean is told in docs/formats/manager.md. Nothing here keeps a state.
namespace vanto {

enum class ManagerRecordKind : std::uint32_t {
  Settings = 1,
  Leave = 2,
  Listening = 16,
  Greeted = 17,
  Idle = 18,
  Stopped = 19,
  Receipt = 20
};

/// As it lies in a packet, in the byte order of the machine.
struct ManagerRecord {
  ManagerRecordKind kind = ManagerRecordKind::Settings;
  std::uint32_t reserved = 0;
  std::uint64_t value = 0;
};
static_assert(sizeof(ManagerRecord) == 16);

/// Sends one record without waiting. False when that is not possible: the other side is gone or does not read.
[[nodiscard]] bool sendManagerRecord(int link, ManagerRecordKind kind, std::uint64_t value = 0) noexcept;

/// Sends a record of kind Receipt: its value is the size of `text`, which follows it in the same packet. Without
/// waiting, and false, as above. `text` holds at most limits::receiptBytes.
[[nodiscard]] bool sendManagerReceipt(int link, std::string_view text) noexcept;

enum class ManagerRecordResult : std::uint8_t {
  Record,   ///< of a kind that may be unknown
  Ignored,  ///< a packet that is none
  Nothing,  ///< nothing there now
  Ended     ///< the other side is gone
};

/// Receives one record without waiting.
[[nodiscard]] ManagerRecordResult receiveManagerRecord(int link, ManagerRecord& record) noexcept;

/// The same for whoever wants receipts too: `text` is that of a record of kind Receipt, and empty for any other.
[[nodiscard]] ManagerRecordResult receiveManagerRecord(int link, ManagerRecord& record, std::string& text) noexcept;

}  // namespace vanto
