// SPDX-License-Identifier: Apache-2.0
#include "vexd/FactsCache.h"

#include "programs/vexd/VexdFixture.h"
#include "vexd/MonotonicTime.h"
#include "vexd/limits.h"

namespace vanto::testing {
namespace {

using vexd::FactsCache;
using vexd::FactsKey;

FactsKey keyOf(std::uint64_t inode) {
  FactsKey key;
  key.executable.inode = inode;
  return key;
}

FactsCache::Kept reportWith(const std::string& reason) {
  vexd::Report report;
  report.answer.reason = reason;
  return std::make_shared<const vexd::Report>(report);
}

TEST(FactsCache, FindsWhatItKeeps) {
  FactsCache cache;
  EXPECT_EQ(cache.find(keyOf(1), 1), nullptr);
  cache.keep(keyOf(1), 1, reportWith("one"));
  cache.keep(keyOf(1), 1, reportWith("other"));
  ASSERT_NE(cache.find(keyOf(1), 1), nullptr);
  EXPECT_EQ(cache.find(keyOf(1), 1)->answer.reason, "other");
  EXPECT_EQ(cache.find(keyOf(2), 1), nullptr);
  EXPECT_EQ(cache.count(), 1U);
}

TEST(FactsCache, ForgetsEverythingWhenTrustChanges) {
  FactsCache cache;
  cache.keep(keyOf(1), 1, reportWith("one"));
  EXPECT_EQ(cache.find(keyOf(1), 2), nullptr);
  EXPECT_EQ(cache.count(), 0U);
  cache.keep(keyOf(1), 1, reportWith("late"));
  EXPECT_EQ(cache.find(keyOf(1), 2), nullptr);
}

TEST(FactsCache, LetsGoWhatWasNotAskedForTheLongest) {
  FactsCache cache;
  for (std::uint64_t i = 0; i < vexd::limits::cachedFacts; ++i) cache.keep(keyOf(i), 1, reportWith("kept"));
  EXPECT_NE(cache.find(keyOf(0), 1), nullptr);
  cache.keep(keyOf(vexd::limits::cachedFacts), 1, reportWith("one more"));
  EXPECT_EQ(cache.count(), vexd::limits::cachedFacts);
  EXPECT_NE(cache.find(keyOf(0), 1), nullptr);
  EXPECT_EQ(cache.find(keyOf(1), 1), nullptr);
  EXPECT_NE(cache.find(keyOf(2), 1), nullptr);
}

TEST(FactsCache, KeepsNothingLongerThanItIsGood) {
  FactsCache cache;
  vexd::Report report;
  report.goodUntil = vexd::monotonicNow() + 60'000'000'000;
  cache.keep(keyOf(1), 1, std::make_shared<const vexd::Report>(report));
  EXPECT_NE(cache.find(keyOf(1), 1), nullptr);
  report.goodUntil = vexd::monotonicNow() - 1;
  cache.keep(keyOf(1), 1, std::make_shared<const vexd::Report>(report));
  EXPECT_EQ(cache.find(keyOf(1), 1), nullptr);
  EXPECT_EQ(cache.count(), 0U);
}

TEST(FactsKey, ReliesOnAllFiles) {
  const test::TemporaryDirectory directory;
  writeContents(directory / "old", "old");
  settle(directory / "old");
  writeContents(directory / "new", "new");
  vexd::CodeFiles files;
  files.name = "old";
  files.executable = openFile(directory / "old");
  FactsKey key;
  EXPECT_TRUE(FactsKey::of(files, key));
  files.signature = openFile(directory / "new");
  EXPECT_FALSE(FactsKey::of(files, key));
}

}  // namespace
}  // namespace vanto::testing
