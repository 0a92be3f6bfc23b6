// SPDX-License-Identifier: Apache-2.0
#include "ipc/ChunkAssembly.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "dispatch/Workers.h"

namespace vanto {

namespace {

bool isReply(const FrameHeader& header) noexcept {
  return header.kind == FrameKind::Reply;
}

/// Puts the payload where it belongs, unless it was received there.
void append(ChunkAssembly& assembly, std::span<const std::uint8_t> payload) noexcept {
  std::uint8_t* place = assembly.bytes != nullptr ? assembly.bytes.get() + assembly.filled : nullptr;
  if (place != nullptr && payload.data() != place) std::memcpy(place, payload.data(), payload.size());
  assembly.filled += payload.size();
}

}  // namespace

std::vector<ChunkAssembly>::iterator ChunkAssemblies::find(std::uint64_t id, bool ofReply) noexcept {
  return std::find_if(assemblies_.begin(), assemblies_.end(), [&](const ChunkAssembly& assembly) {
    return assembly.header.id == id && isReply(assembly.header) == ofReply;
  });
}

bool ChunkAssemblies::start(ReceivedFrame& frame, Wanted wanted, BodyRoom room) {
  const auto isOfReply = [](const ChunkAssembly& assembly) {
    return isReply(assembly.header);
  };
  if (isReply(frame.header) && std::any_of(assemblies_.begin(), assemblies_.end(), isOfReply)) return false;
  ChunkAssembly assembly;
  assembly.header = frame.header;
  assembly.descriptors = std::move(frame.descriptors);
  assembly.room = std::move(room);
  // Of how long the rest takes to come the sender's deadline knows nothing.
  if (frame.header.deadline != 0) assembly.deadline = deadlineAfter(frame.header.deadline);
  // Not filled: pages that no chunk has come for yet cost nothing.
  if (wanted == Wanted::Yes) assembly.bytes = std::make_unique_for_overwrite<std::uint8_t[]>(frame.header.length);
  append(assembly, frame.payload);
  latest_ = assemblies_.size();
  assemblies_.push_back(std::move(assembly));
  return true;
}

bool ChunkAssemblies::add(const ReceivedFrame& frame, std::optional<ChunkAssembly>& completed) {
  const auto found = find(frame.header.id, (frame.header.flags & frameIsOfReply) != 0);
  if (found == assemblies_.end()) return false;
  if (frame.payload.size() != std::min(found->missing(), limits::ipcInlineBytes)) return false;
  append(*found, frame.payload);
  latest_ = static_cast<std::size_t>(found - assemblies_.begin());
  if (found->missing() != 0) return true;
  completed = std::move(*found);
  assemblies_.erase(found);
  latest_ = 0;
  return true;
}

void ChunkAssemblies::drop(std::uint64_t id) noexcept {
  const auto found = find(id, false);
  if (found == assemblies_.end()) return;
  found->bytes.reset();
  found->descriptors.clear();
  found->room = {};
}

std::uint8_t* ChunkAssemblies::target() const noexcept {
  if (latest_ >= assemblies_.size()) return nullptr;
  const ChunkAssembly& assembly = assemblies_[latest_];
  // The next frame may be any frame, so there must be room for the largest.
  if (assembly.bytes == nullptr || assembly.missing() < limits::ipcInlineBytes) return nullptr;
  return assembly.bytes.get() + assembly.filled;
}

}  // namespace vanto
