// SPDX-License-Identifier: Apache-2.0
#include "ipc/ChunkAssembly.h"

#include <algorithm>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>

namespace vanto::test {
namespace {

using Wanted = ChunkAssemblies::Wanted;
constexpr std::size_t inlineBytes = limits::ipcInlineBytes;

/// A body whose bytes tell their places.
std::vector<std::uint8_t> bodyOf(std::size_t size) {
  std::vector<std::uint8_t> body(size);
  for (std::size_t i = 0; i < size; i++) body[i] = static_cast<std::uint8_t>(i * 7 + i / 65536);
  return body;
}

ReceivedFrame first(FrameKind kind, std::uint64_t id, const std::vector<std::uint8_t>& body) {
  ReceivedFrame frame;
  frame.header = {.kind = kind, .id = id, .length = body.size()};
  frame.payload = {body.data(), inlineBytes};
  return frame;
}

ReceivedFrame chunk(std::uint64_t id, const std::vector<std::uint8_t>& body, std::size_t place, std::size_t size,
                    std::uint16_t flags = 0) {
  ReceivedFrame frame;
  frame.header = {.kind = FrameKind::Chunk, .flags = flags, .id = id};
  frame.payload = {body.data() + place, size};
  return frame;
}

TEST(ChunkAssembly, PutsABodyTogether) {
  const auto body = bodyOf(2 * inlineBytes + 10);
  ChunkAssemblies assemblies;
  std::optional<ChunkAssembly> completed;
  ReceivedFrame start = first(FrameKind::Message, 5, body);
  ASSERT_TRUE(assemblies.start(start, Wanted::Yes));
  ASSERT_TRUE(assemblies.add(chunk(5, body, inlineBytes, inlineBytes), completed));
  EXPECT_FALSE(completed);
  ASSERT_TRUE(assemblies.add(chunk(5, body, 2 * inlineBytes, 10), completed));
  ASSERT_TRUE(completed);
  EXPECT_TRUE(std::ranges::equal(completed->body(), body));
  EXPECT_EQ(completed->header.id, 5U);
}

TEST(ChunkAssembly, KeepsBodiesApart) {
  const auto one = bodyOf(2 * inlineBytes);
  const auto other = bodyOf(3 * inlineBytes);
  ChunkAssemblies assemblies;
  std::optional<ChunkAssembly> completed;
  // The same id on both ways: a request of the peer, and its reply to one of ours.
  ReceivedFrame request = first(FrameKind::Request, 5, one);
  ReceivedFrame reply = first(FrameKind::Reply, 5, other);
  ASSERT_TRUE(assemblies.start(request, Wanted::Yes));
  ASSERT_TRUE(assemblies.start(reply, Wanted::Yes));
  ASSERT_TRUE(assemblies.add(chunk(5, other, inlineBytes, inlineBytes, frameIsOfReply), completed));
  ASSERT_TRUE(assemblies.add(chunk(5, one, inlineBytes, inlineBytes), completed));
  ASSERT_TRUE(completed);
  EXPECT_EQ(completed->header.kind, FrameKind::Request);
  EXPECT_TRUE(std::ranges::equal(completed->body(), one));
  completed.reset();
  ASSERT_TRUE(assemblies.add(chunk(5, other, 2 * inlineBytes, inlineBytes, frameIsOfReply), completed));
  ASSERT_TRUE(completed);
  EXPECT_TRUE(std::ranges::equal(completed->body(), other));
}

TEST(ChunkAssembly, RefusesChunksThatFitNowhere) {
  const auto body = bodyOf(2 * inlineBytes + 10);
  ChunkAssemblies assemblies;
  std::optional<ChunkAssembly> completed;
  EXPECT_FALSE(assemblies.add(chunk(5, body, 0, 10), completed));
  ReceivedFrame start = first(FrameKind::Message, 5, body);
  ASSERT_TRUE(assemblies.start(start, Wanted::Yes));
  EXPECT_FALSE(assemblies.add(chunk(6, body, 0, inlineBytes), completed));
  EXPECT_FALSE(assemblies.add(chunk(5, body, 0, inlineBytes, frameIsOfReply), completed));
  EXPECT_FALSE(assemblies.add(chunk(5, body, 0, inlineBytes - 1), completed));
  ASSERT_TRUE(assemblies.add(chunk(5, body, inlineBytes, inlineBytes), completed));
  EXPECT_FALSE(assemblies.add(chunk(5, body, 0, 11), completed));
  EXPECT_FALSE(assemblies.add(chunk(5, body, 0, 9), completed));
}

TEST(ChunkAssembly, RefusesASecondReplyAtTheSameTime) {
  const auto body = bodyOf(2 * inlineBytes);
  ChunkAssemblies assemblies;
  ReceivedFrame one = first(FrameKind::Reply, 1, body);
  ReceivedFrame two = first(FrameKind::Reply, 2, body);
  ASSERT_TRUE(assemblies.start(one, Wanted::No));
  EXPECT_FALSE(assemblies.start(two, Wanted::No));
}

TEST(ChunkAssembly, HoldsNoBytesOfABodyThatNobodyWants) {
  const auto body = bodyOf(2 * inlineBytes);
  ChunkAssemblies assemblies;
  std::optional<ChunkAssembly> completed;
  ReceivedFrame start = first(FrameKind::Reply, 1, body);
  ASSERT_TRUE(assemblies.start(start, Wanted::No));
  EXPECT_EQ(assemblies.target(), nullptr);
  ASSERT_TRUE(assemblies.add(chunk(1, body, inlineBytes, inlineBytes, frameIsOfReply), completed));
  ASSERT_TRUE(completed);
  EXPECT_EQ(completed->bytes, nullptr);
}

TEST(ChunkAssembly, DropsTheRestOfARequestThatNobodyWantsAnyMore) {
  const auto body = bodyOf(inlineBytes + 10);
  ChunkAssemblies assemblies;
  std::optional<ChunkAssembly> completed;
  ReceivedFrame request = first(FrameKind::Request, 1, body);
  request.descriptors.emplace_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
  const int descriptor = request.descriptors[0].get();
  ReceivedFrame reply = first(FrameKind::Reply, 1, body);
  ASSERT_TRUE(assemblies.start(reply, Wanted::Yes));
  ASSERT_TRUE(assemblies.start(request, Wanted::Yes, BodyRoom::take(4741, limits::ipcChunkedBytesPerUser)));
  assemblies.drop(2);
  EXPECT_GE(fcntl(descriptor, F_GETFD), 0);
  assemblies.drop(1);
  EXPECT_LT(fcntl(descriptor, F_GETFD), 0);
  EXPECT_TRUE(BodyRoom::take(4741, 1));
  EXPECT_EQ(assemblies.target(), nullptr);
  ASSERT_TRUE(assemblies.add(chunk(1, body, inlineBytes, 10), completed));
  ASSERT_TRUE(completed);
  EXPECT_EQ(completed->bytes, nullptr);
  completed.reset();
  ASSERT_TRUE(assemblies.add(chunk(1, body, inlineBytes, 10, frameIsOfReply), completed));
  ASSERT_TRUE(completed);
  EXPECT_TRUE(std::ranges::equal(completed->body(), body));
}

TEST(ChunkAssembly, OffersThePlaceOfTheNextChunk) {
  const auto body = bodyOf(3 * inlineBytes + 1);
  ChunkAssemblies assemblies;
  std::optional<ChunkAssembly> completed;
  EXPECT_EQ(assemblies.target(), nullptr);
  ReceivedFrame start = first(FrameKind::Message, 1, body);
  ASSERT_TRUE(assemblies.start(start, Wanted::Yes));
  for (std::size_t place = inlineBytes; place < 3 * inlineBytes; place += inlineBytes) {
    std::uint8_t* target = assemblies.target();
    ASSERT_NE(target, nullptr);
    std::copy_n(body.data() + place, inlineBytes, target);
    ReceivedFrame frame = chunk(1, body, place, inlineBytes);
    frame.payload = {target, inlineBytes};
    ASSERT_TRUE(assemblies.add(frame, completed));
  }
  // The last byte is less than a frame may bring.
  EXPECT_EQ(assemblies.target(), nullptr);
  ASSERT_TRUE(assemblies.add(chunk(1, body, 3 * inlineBytes, 1), completed));
  ASSERT_TRUE(completed);
  EXPECT_TRUE(std::ranges::equal(completed->body(), body));
}

TEST(ChunkAssembly, KeepsTheDescriptorsOfTheFirstFrame) {
  const auto body = bodyOf(inlineBytes + 1);
  ChunkAssemblies assemblies;
  std::optional<ChunkAssembly> completed;
  ReceivedFrame start = first(FrameKind::Message, 1, body);
  start.descriptors.emplace_back(open("/dev/null", O_RDONLY | O_CLOEXEC));
  const int descriptor = start.descriptors[0].get();
  ASSERT_TRUE(assemblies.start(start, Wanted::Yes));
  ASSERT_TRUE(assemblies.add(chunk(1, body, inlineBytes, 1), completed));
  ASSERT_TRUE(completed);
  ASSERT_EQ(completed->descriptors.size(), 1U);
  EXPECT_EQ(completed->descriptors[0].get(), descriptor);
  EXPECT_GE(fcntl(descriptor, F_GETFD), 0);
}

}  // namespace
}  // namespace vanto::test
