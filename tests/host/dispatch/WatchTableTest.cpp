// SPDX-License-Identifier: Apache-2.0
#include "dispatch/WatchTable.h"

#include <vector>

#include <gtest/gtest.h>

#include "host/dispatch/Watching.h"

namespace {

using vanto::Ref;
using vanto::WatchTable;
using vanto::testing::Watching;

class WatchTableOfATest : public testing::Test {
 protected:
  // Never freed, like the one there is.
  static constinit inline WatchTable table_;
  const Ref<Watching> object_ = Watching::create([](std::uint32_t) {});

  void close(std::uint64_t name) {
    WatchTable::Place* const place = table_.pin(name);
    ASSERT_NE(place, nullptr);
    EXPECT_TRUE(table_.close(*place, name));
    table_.unpin(*place);
  }
};

TEST_F(WatchTableOfATest, GivesAnObjectAPlaceAndKeepsIt) {
  const std::uint64_t name = table_.add(*object_);
  EXPECT_EQ(WatchTable::nameOf(*object_), name);
  EXPECT_EQ(object_->referenceCount(), 2U);
  WatchTable::Place* const place = table_.pin(name);
  ASSERT_NE(place, nullptr);
  EXPECT_EQ(place->object, object_.get());
  EXPECT_TRUE(WatchTable::isOpen(*place));
  table_.unpin(*place);
  close(name);
}

TEST_F(WatchTableOfATest, LetsAnObjectGoWhenItIsClosed) {
  close(table_.add(*object_));
  EXPECT_EQ(object_->referenceCount(), 1U);
  EXPECT_EQ(WatchTable::nameOf(*object_), 0U);
}

TEST_F(WatchTableOfATest, KeepsAClosedObjectWhileItIsPinned) {
  const std::uint64_t name = table_.add(*object_);
  WatchTable::Place* const place = table_.pin(name);
  close(name);
  EXPECT_FALSE(WatchTable::isOpen(*place));
  EXPECT_EQ(WatchTable::pinOpen(*place), nullptr);
  EXPECT_EQ(place->object, object_.get());
  EXPECT_EQ(object_->referenceCount(), 2U);
  table_.unpin(*place);
  EXPECT_EQ(object_->referenceCount(), 1U);
}

TEST_F(WatchTableOfATest, ClosesOnlyOnce) {
  const std::uint64_t name = table_.add(*object_);
  WatchTable::Place* const place = table_.pin(name);
  EXPECT_TRUE(table_.close(*place, name));
  EXPECT_FALSE(table_.close(*place, name));
  table_.unpin(*place);
}

TEST_F(WatchTableOfATest, DoesNotConfuseATenantWithTheNextOne) {
  const std::uint64_t first = table_.add(*object_);
  close(first);
  const std::uint64_t second = table_.add(*object_);
  EXPECT_EQ(static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(second));
  EXPECT_NE(first, second);
  EXPECT_EQ(table_.pin(first), nullptr);
  WatchTable::Place* const place = table_.pin(second);
  ASSERT_NE(place, nullptr);
  EXPECT_FALSE(table_.close(*place, first));
  table_.unpin(*place);
  close(second);
}

TEST_F(WatchTableOfATest, DoesNotReuseAPlaceThatIsPinned) {
  const std::uint64_t first = table_.add(*object_);
  WatchTable::Place* const place = table_.pin(first);
  close(first);
  const std::uint64_t second = table_.add(*object_);
  EXPECT_NE(static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(second));
  table_.unpin(*place);
  EXPECT_EQ(WatchTable::nameOf(*object_), second);
  close(second);
}

TEST_F(WatchTableOfATest, NamesEachOfManyObjects) {
  struct Tenant {
    Ref<Watching> object;
    std::uint64_t name;
  };
  std::vector<Tenant> tenants;
  for (int i = 0; i < 5'000; ++i) {
    Ref<Watching> object = Watching::create([](std::uint32_t) {});
    const std::uint64_t name = table_.add(*object);
    tenants.push_back({std::move(object), name});
  }
  for (const Tenant& tenant : tenants) {
    EXPECT_GT(tenant.name, std::uint64_t{UINT32_MAX});
    WatchTable::Place* const place = table_.pin(tenant.name);
    ASSERT_NE(place, nullptr);
    EXPECT_EQ(place->object, tenant.object.get());
    table_.unpin(*place);
  }
  for (const Tenant& tenant : tenants) close(tenant.name);
}

using WatchTableDeathTest = WatchTableOfATest;

TEST_F(WatchTableDeathTest, EndsTheProcessWhenAnObjectIsWatchedTwice) {
  const std::uint64_t name = table_.add(*object_);
  EXPECT_EXIT(table_.add(*object_), testing::KilledBySignal(SIGABRT), "");
  close(name);
}

}  // namespace
