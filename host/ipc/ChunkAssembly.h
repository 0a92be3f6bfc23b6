// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "ipc/BodyRoom.h"
#include "ipc/FrameSocket.h"

namespace vanto {

/// A body that arrives in chunks.
struct ChunkAssembly {
  FrameHeader header;
  /// Null when nobody wants the body any more.
  std::unique_ptr<std::uint8_t[]> bytes;
  std::size_t filled = 0;
  std::vector<Fd> descriptors;
  BodyRoom room;
  /// When the sender of a request stops waiting; UINT64_MAX for never.
  std::uint64_t deadline = UINT64_MAX;

  [[nodiscard]] std::span<const std::uint8_t> body() const noexcept { return {bytes.get(), header.length}; }
  [[nodiscard]] std::size_t missing() const noexcept { return header.length - filled; }
};

/// The bodies that arrive in chunks on one connection. Not thread-safe.
class ChunkAssemblies {
 public:
  enum class Wanted : std::uint8_t { Yes, No };

  /// Begins with the first frame of a body that is longer than that frame, and keeps `room` with the body. False when
  /// its sender may not begin now.
  [[nodiscard]] bool start(ReceivedFrame& frame, Wanted wanted, BodyRoom room = {});

  /// Adds a chunk. False when it belongs to no body here or has not the size that it must have. `completed` gets the
  /// body when it is whole.
  [[nodiscard]] bool add(const ReceivedFrame& frame, std::optional<ChunkAssembly>& completed);

  /// Nobody wants the request called `id` any more: if it is on its way here, the rest of it is counted and dropped.
  void drop(std::uint64_t id) noexcept;

  /// Where the payload of the next frame is best put: the place of the chunk that is likely to come. Null for nowhere.
  [[nodiscard]] std::uint8_t* target() const noexcept;

  void clear() noexcept { assemblies_.clear(); }

 private:
  [[nodiscard]] std::vector<ChunkAssembly>::iterator find(std::uint64_t id, bool isReply) noexcept;

  std::vector<ChunkAssembly> assemblies_;
  /// The one that got the last chunk.
  std::size_t latest_ = 0;
};

}  // namespace vanto
