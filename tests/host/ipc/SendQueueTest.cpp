// SPDX-License-Identifier: Apache-2.0
#include "ipc/SendQueue.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/ipc/IPCFixture.h"

namespace vanto::test {
namespace {

constexpr std::size_t inlineBytes = limits::ipcInlineBytes;

std::unique_ptr<Outgoing> outgoing(FrameKind kind, std::uint64_t id, std::size_t size) {
  auto made = std::make_unique<Outgoing>();
  made->kind = kind;
  made->id = id;
  EXPECT_EQ(made->body.encode(data(size - 8)), VANTO_ERROR_NONE);
  EXPECT_EQ(made->size(), size);
  return made;
}

/// Sends everything that can be sent, and tells the ids in the order of their frames.
std::vector<std::uint64_t> sendAll(SendQueue& queue, bool hasCredit = true) {
  std::vector<std::uint64_t> ids;
  while (Outgoing* next = queue.next(hasCredit)) {
    ids.push_back(next->id);
    const std::unique_ptr<Outgoing> finished = queue.advance(*next, std::min(next->size() - next->sent, inlineBytes));
  }
  return ids;
}

using Ids = std::vector<std::uint64_t>;

TEST(SendQueue, SendsMessagesInOrder) {
  SendQueue queue;
  for (const std::uint64_t id : {1, 2, 3}) queue.add(outgoing(FrameKind::Message, id, 16));
  EXPECT_FALSE(queue.isEmpty());
  EXPECT_EQ(sendAll(queue), (Ids{1, 2, 3}));
  EXPECT_TRUE(queue.isEmpty());
}

TEST(SendQueue, RepliesNeedNoCredit) {
  SendQueue queue;
  queue.add(outgoing(FrameKind::Request, 1, 16));
  queue.add(outgoing(FrameKind::Reply, 9, 16));
  EXPECT_EQ(sendAll(queue, false), (Ids{9}));
  EXPECT_EQ(sendAll(queue, true), (Ids{1}));
}

TEST(SendQueue, WhatHasBegunNeedsNoMoreCredit) {
  SendQueue queue;
  queue.add(outgoing(FrameKind::Message, 1, 2 * inlineBytes));
  Outgoing* next = queue.next(true);
  ASSERT_NE(next, nullptr);
  EXPECT_EQ(queue.advance(*next, inlineBytes), nullptr);
  EXPECT_EQ(sendAll(queue, false), (Ids{1}));
}

TEST(SendQueue, SmallMessagesTakeTurnsWithChunks) {
  SendQueue queue;
  queue.add(outgoing(FrameKind::Message, 1, 4 * inlineBytes));
  queue.add(outgoing(FrameKind::Message, 2, 16));
  queue.add(outgoing(FrameKind::Message, 3, 16));
  EXPECT_EQ(sendAll(queue), (Ids{1, 1, 2, 1, 3, 1}));
}

TEST(SendQueue, OneLargeReplyAtATimeAndSmallOnesBetween) {
  SendQueue queue;
  queue.add(outgoing(FrameKind::Reply, 1, 4 * inlineBytes));
  queue.add(outgoing(FrameKind::Reply, 2, 2 * inlineBytes));
  queue.add(outgoing(FrameKind::Reply, 3, 16));
  EXPECT_EQ(sendAll(queue), (Ids{1, 1, 3, 1, 1, 2, 2}));
}

TEST(SendQueue, TakesALimitedNumberOfMessages) {
  SendQueue queue;
  for (std::uint64_t id = 1; id <= limits::ipcSendQueueMessages; id++) {
    ASSERT_TRUE(queue.hasRoomFor(16)) << id;
    queue.add(outgoing(FrameKind::Message, id, 16));
  }
  EXPECT_FALSE(queue.hasRoomFor(16));
  const std::unique_ptr<Outgoing> finished = queue.advance(*queue.next(true), 16);
  EXPECT_TRUE(queue.hasRoomFor(16));
}

TEST(SendQueue, TakesALimitedNumberOfBytes) {
  SendQueue queue;
  queue.add(outgoing(FrameKind::Message, 1, limits::ipcSendQueueBytes / 2));
  queue.add(outgoing(FrameKind::Message, 2, 16));
  EXPECT_TRUE(queue.hasRoomFor(limits::ipcSendQueueBytes / 2 - 16));
  EXPECT_FALSE(queue.hasRoomFor(limits::ipcSendQueueBytes / 2 - 15));
}

TEST(SendQueue, NoMessageCountsAsMoreThanHalf) {
  SendQueue queue;
  queue.add(outgoing(FrameKind::Message, 1, limits::ipcMessageBytes));
  EXPECT_TRUE(queue.hasRoomFor(limits::ipcMessageBytes));
  queue.add(outgoing(FrameKind::Message, 2, 16));
  EXPECT_FALSE(queue.hasRoomFor(limits::ipcMessageBytes));
  EXPECT_TRUE(queue.hasRoomFor(limits::ipcSendQueueBytes / 2 - 16));
}

TEST(SendQueue, RepliesTakeNoRoomFromMessages) {
  SendQueue queue;
  for (std::uint64_t id = 1; id <= 300; id++) queue.add(outgoing(FrameKind::Reply, id, 16));
  EXPECT_TRUE(queue.hasRoomFor(limits::ipcMessageBytes));
  EXPECT_EQ(queue.replyBytes(), 300U * 16);
  EXPECT_EQ(sendAll(queue).size(), 300U);
  EXPECT_EQ(queue.replyBytes(), 0U);
}

TEST(SendQueue, GivesBackARequestOfWhichNothingWasSent) {
  SendQueue queue;
  queue.add(outgoing(FrameKind::Request, 1, 2 * inlineBytes));
  queue.add(outgoing(FrameKind::Request, 2, 16));
  const std::unique_ptr<Outgoing> finished = queue.advance(*queue.next(true), inlineBytes);
  EXPECT_EQ(queue.takeUnsent(1), nullptr);
  const std::unique_ptr<Outgoing> unsent = queue.takeUnsent(2);
  ASSERT_NE(unsent, nullptr);
  EXPECT_EQ(unsent->id, 2U);
  EXPECT_EQ(queue.takeUnsent(2), nullptr);
  EXPECT_EQ(sendAll(queue), (Ids{1}));
}

TEST(SendQueue, GivesEverythingAway) {
  SendQueue queue;
  queue.add(outgoing(FrameKind::Reply, 1, 2 * inlineBytes));
  queue.add(outgoing(FrameKind::Message, 2, 16));
  const std::unique_ptr<Outgoing> finished = queue.advance(*queue.next(false), inlineBytes);
  const OutgoingList all = queue.takeAll();
  EXPECT_TRUE(queue.isEmpty());
  EXPECT_EQ(queue.next(true), nullptr);
  EXPECT_EQ(queue.replyBytes(), 0U);
  ASSERT_NE(all.first(), nullptr);
  EXPECT_NE(all.first()->next, nullptr);
}

}  // namespace
}  // namespace vanto::test
