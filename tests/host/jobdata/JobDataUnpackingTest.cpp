// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <malloc.h>

#include <string>
#include <string_view>
#include <vector>

#include "jobdata/JobDataPacking.h"
#include "support/JobData.h"
#include "support/MemoryLimit.h"
#include "support/SampleFiles.h"
#include "value/limits.h"

namespace vanto::testing {
namespace {

using Bytes = std::vector<std::uint8_t>;

/// The samples whose names begin with `verdict`.
std::vector<test::SampleFile> samples(std::string_view verdict) {
  return test::sampleFiles(VANTO_JOB_DATA_SAMPLES, verdict);
}

TEST(JobDataUnpacking, TakesEverySampleToAcceptAndPacksItToTheSameBytes) {
  const std::vector<test::SampleFile> accepted = samples("accept-");
  ASSERT_GT(accepted.size(), 15U);
  for (const auto& [name, bytes] : accepted) {
    const OwnedJobData data = unpack(bytes);
    ASSERT_TRUE(data) << name;
    EXPECT_EQ(pack(data), bytes) << name;
  }
}

TEST(JobDataUnpacking, RefusesEverySampleToRefuse) {
  const std::vector<test::SampleFile> refused = samples("refuse-");
  ASSERT_GT(refused.size(), 30U);
  for (const auto& [name, bytes] : refused) EXPECT_FALSE(unpack(bytes)) << name;
}

TEST(JobDataUnpacking, RefusesEveryPrefix) {
  for (const auto& [name, bytes] : samples("accept-")) {
    for (std::size_t length = 0; length < bytes.size(); ++length) {
      ASSERT_FALSE(unpack(Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(length))))
          << name << " cut at " << length;
    }
  }
}

TEST(JobDataUnpacking, EveryChangedByteIsRefusedOrIsAnotherTree) {
  for (const auto& [name, bytes] : samples("accept-")) {
    if (bytes.size() > 512) continue;
    Bytes changed = bytes;
    for (std::uint8_t& byte : changed) {
      const std::uint8_t original = byte;
      for (int difference = 1; difference < 256; ++difference) {
        byte = static_cast<std::uint8_t>(original ^ difference);
        const OwnedJobData data = unpack(changed);
        ASSERT_TRUE(!data || pack(data) == changed) << name << " at " << &byte - changed.data();
      }
      byte = original;
    }
  }
}

TEST(JobDataUnpacking, DoesNotNeedAlignedBytes) {
  Bytes shifted = {0xff};
  const Bytes bytes = pack(OwnedJobData(integerData(0x0102030405060708)));
  shifted.insert(shifted.end(), bytes.begin(), bytes.end());
  const OwnedJobData data(tolven_data_unpack(shifted.data() + 1, bytes.size()));
  EXPECT_EQ(tolven_data_get_integer(data.get()), 0x0102030405060708);
}

/// The beginning of an array of `count` elements as bytes, with the magic word.
Bytes arrayHeader(std::size_t count) {
  Bytes bytes = {'V', 'J', 'O', 'B', 1, 0, 0, 0, 2, 0, 0, 0};
  for (int shift = 0; shift < 32; shift += 8) bytes.push_back(static_cast<std::uint8_t>(count >> shift));
  return bytes;
}

TEST(JobDataUnpacking, EndsAtTheLimitOfSize) {
  for (const std::size_t size : {limits::jobDataBytes, limits::jobDataBytes + 8}) {
    Bytes bytes = arrayHeader(size / 8 - 2);
    bytes.resize(size);
    EXPECT_EQ(static_cast<bool>(unpack(bytes)), size == limits::jobDataBytes);
  }
}

#ifndef VANTO_TEST_SANITIZED
TEST(JobDataUnpacking, HoldsASmallMultipleOfTheBytes) {
  const auto held = [] {
    const struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
  };
  const Bytes elements[] = {
      {1, 0, 0, 0, 0, 0, 0, 0},
      {2, 0, 0, 0, 0, 0, 0, 0},
      {6, 0, 0, 0, 1, 0, 0, 0},
      {7, 0, 0, 0, 0, 0, 0, 0},
      {1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 6, 0, 0, 0, 1, 0, 0, 0},
  };
  for (const Bytes& element : elements) {
    const std::size_t count = (limits::jobDataBytes - 16) / element.size() / 2;
    Bytes bytes = arrayHeader(count);
    for (std::size_t index = 0; index < count; ++index) bytes.insert(bytes.end(), element.begin(), element.end());
    const std::size_t before = held();
    const OwnedJobData data = unpack(bytes);
    ASSERT_TRUE(data);
    EXPECT_LE(held() - before, 16 * bytes.size());
  }
}
#endif

}  // namespace
}  // namespace vanto::testing
