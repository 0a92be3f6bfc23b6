// SPDX-License-Identifier: Apache-2.0
#include "process/PendingPeer.h"

#include <memory>

#include <gtest/gtest.h>

#include <VantoService/PlistNumber.h>

#include "value/platform/signing.h"

namespace {

using vanto::PendingPeer;
using vanto::Ref;

TEST(PendingPeer, IsNotAskedForUnlessSomebodyDoes) {
  const PendingPeer peer(7);
  EXPECT_FALSE(peer.wasCodeAsked());
  PendingPeer::noteCodeAsked(8);
  EXPECT_FALSE(peer.wasCodeAsked());
  PendingPeer::noteCodeAsked(7);
  EXPECT_TRUE(peer.wasCodeAsked());
}

TEST(PendingPeer, IsAskedForWithAllThatItMayBe) {
  const PendingPeer one(7);
  const PendingPeer same(7);
  const PendingPeer foreign(0);
  PendingPeer::noteCodeAsked(7);
  EXPECT_TRUE(one.wasCodeAsked());
  EXPECT_TRUE(same.wasCodeAsked());
  EXPECT_FALSE(foreign.wasCodeAsked());
  PendingPeer::noteCodeAsked(0);
  EXPECT_TRUE(foreign.wasCodeAsked());
}

TEST(PendingPeer, WhatWasAskedBeforeDoesNotCount) {
  {
    const PendingPeer earlier(7);
    PendingPeer::noteCodeAsked(7);
    EXPECT_TRUE(earlier.wasCodeAsked());
  }
  PendingPeer::noteCodeAsked(7);
  const PendingPeer later(7);
  EXPECT_FALSE(later.wasCodeAsked());
}

TEST(PendingPeer, MayGoInAnyOrder) {
  auto first = std::make_unique<PendingPeer>(1);
  auto second = std::make_unique<PendingPeer>(2);
  const PendingPeer third(3);
  second.reset();
  PendingPeer::noteCodeAsked(1);
  EXPECT_TRUE(first->wasCodeAsked());
  first.reset();
  PendingPeer::noteCodeAsked(3);
  EXPECT_TRUE(third.wasCodeAsked());
}

TEST(PendingPeer, IsNotedByTheCodeSigningFacility) {
  const PendingPeer peer(7);
  const PendingPeer other(8);
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

}  // namespace
