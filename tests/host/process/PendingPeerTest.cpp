// SPDX-License-Identifier: Apache-2.0
#include "process/PendingPeer.h"

#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include <VantoService/PlistNumber.h>

#include "value/platform/signing.h"

namespace {

using vanto::PendingPeer;
using vanto::Ref;

const vanto::Fd none;

TEST(PendingPeer, IsNotAskedForUnlessSomebodyDoes) {
  const PendingPeer peer(7, none);
  EXPECT_FALSE(peer.wasCodeAsked());
  PendingPeer::noteCodeAsked(8);
  EXPECT_FALSE(peer.wasCodeAsked());
  PendingPeer::noteCodeAsked(7);
  EXPECT_TRUE(peer.wasCodeAsked());
}

TEST(PendingPeer, IsAskedForWithAllThatItMayBe) {
  const PendingPeer one(7, none);
  const PendingPeer same(7, none);
  const PendingPeer foreign(0, none);
  PendingPeer::noteCodeAsked(7);
  EXPECT_TRUE(one.wasCodeAsked());
  EXPECT_TRUE(same.wasCodeAsked());
  EXPECT_FALSE(foreign.wasCodeAsked());
  PendingPeer::noteCodeAsked(0);
  EXPECT_TRUE(foreign.wasCodeAsked());
}

TEST(PendingPeer, WhatWasAskedBeforeDoesNotCount) {
  {
    const PendingPeer earlier(7, none);
    PendingPeer::noteCodeAsked(7);
    EXPECT_TRUE(earlier.wasCodeAsked());
  }
  PendingPeer::noteCodeAsked(7);
  const PendingPeer later(7, none);
  EXPECT_FALSE(later.wasCodeAsked());
}

TEST(PendingPeer, MayGoInAnyOrder) {
  auto first = std::make_unique<PendingPeer>(1, none);
  auto second = std::make_unique<PendingPeer>(2, none);
  const PendingPeer third(3, none);
  second.reset();
  PendingPeer::noteCodeAsked(1);
  EXPECT_TRUE(first->wasCodeAsked());
  first.reset();
  PendingPeer::noteCodeAsked(3);
  EXPECT_TRUE(third.wasCodeAsked());
}

TEST(PendingPeer, IsNotedByTheCodeSigningFacility) {
  const PendingPeer peer(7, none);
  const PendingPeer other(8, none);
  const Ref<PlistNumber> pid = PlistNumber::create(std::int64_t{7});
  const PlistDictionary::Entry entry{kVexGuestAttributePid, pid.get()};
  const Ref<PlistDictionary> attributes = PlistDictionary::create({&entry, 1});
  VexCode* code = nullptr;
  EXPECT_NE(VexCodeCopyGuestWithAttributes(nullptr, nullptr, 0, &code), 0);
  EXPECT_FALSE(peer.wasCodeAsked());
  static_cast<void>(VexCodeCopyGuestWithAttributes(nullptr, attributes.get(), 0, &code));
  EXPECT_TRUE(peer.wasCodeAsked());
  EXPECT_FALSE(other.wasCodeAsked());
}

TEST(PendingPeer, IsThatOfTheThreadThatJudgesIt) {
  EXPECT_EQ(PendingPeer::ofThisThread(), nullptr);
  PendingPeer outer(1, none);
  {
    PendingPeer inner(2, none);
    EXPECT_EQ(PendingPeer::ofThisThread(), &inner);
  }
  EXPECT_EQ(PendingPeer::ofThisThread(), &outer);
  std::thread([] { EXPECT_EQ(PendingPeer::ofThisThread(), nullptr); }).join();
}

TEST(PendingPeer, KeepsWhatItMadeAsLongAsItLives) {
  const auto watched = std::make_shared<int>(1);
  {
    PendingPeer peer(1, none);
    const std::shared_ptr<int>* made = peer.make(watched);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(**made, 1);
    for (std::size_t i = 1; i < vanto::limits::codeObjectsPerPeer; ++i) EXPECT_NE(peer.make(watched), nullptr);
    EXPECT_EQ(peer.make(watched), nullptr);
    EXPECT_EQ(watched.use_count(), static_cast<long>(vanto::limits::codeObjectsPerPeer) + 1);
  }
  EXPECT_EQ(watched.use_count(), 1);
}

TEST(PendingPeer, KnowsTheExecutableThatItWasTold) {
  PendingPeer peer(1, none);
  EXPECT_FALSE(peer.executable().isKnown());
  peer.noteExecutable({2, 3});
  EXPECT_EQ(peer.executable(), (vanto::ExecutableFile{2, 3}));
}

}  // namespace
