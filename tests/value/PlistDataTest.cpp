// SPDX-License-Identifier: Apache-2.0
#include <VantoService/PlistData.h>

#include <array>
#include <numeric>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

using namespace vanto::testing;
using vanto::Ref;

using Bytes = std::vector<std::uint8_t>;

TEST(PlistData, HoldsACopyOfItsBytes) {
  Bytes bytes{1, 2, 0, 255};
  const Ref<PlistData> data = PlistData::create(bytes);
  bytes.assign(4, 7);
  EXPECT_EQ(data->length(), 4u);
  EXPECT_EQ(Bytes(data->bytes().begin(), data->bytes().end()), (Bytes{1, 2, 0, 255}));
}

TEST(PlistData, MayBeEmpty) {
  const Ref<PlistData> data = PlistData::create({});
  EXPECT_EQ(data->length(), 0u);
  EXPECT_TRUE(data->bytes().empty());
  EXPECT_EQ(data.get(), PlistData::create({}).get());
}

TEST(PlistData, WrapsBytesWithoutCopyingOrOwningThem) {
  std::array<std::uint8_t, 3> bytes{1, 2, 3};
  {
    const Ref<PlistData> data = PlistData::createWithoutCopying(bytes);
    EXPECT_EQ(data->bytes().data(), bytes.data());
    bytes[1] = 9;
    EXPECT_EQ(data->bytes()[1], 9);
  }
  EXPECT_EQ(bytes[1], 9);
}

TEST(PlistData, EqualsDataWithTheSameBytes) {
  const Bytes bytes{1, 2};
  const Ref<PlistData> data = PlistData::create(bytes);
  EXPECT_TRUE(data->isEqual(PlistData::createWithoutCopying(bytes).get()));
  EXPECT_FALSE(data->isEqual(PlistData::create(Bytes{1, 3}).get()));
  EXPECT_FALSE(data->isEqual(PlistData::create(Bytes{1}).get()));
  EXPECT_FALSE(data->isEqual(PlistData::create({}).get()));
  EXPECT_TRUE(PlistData::createWithoutCopying({})->isEqual(PlistData::create({}).get()));
  EXPECT_FALSE(data->isEqual(string("\1\2")));
}

TEST(PlistData, DescribesItselfByLengthAndBytes) {
  EXPECT_EQ(description(*PlistData::create(Bytes{0, 1, 2, 3})), "4 bytes 00010203");
  EXPECT_EQ(description(*PlistData::create(Bytes{0xAF})), "1 byte af");
  EXPECT_EQ(description(*PlistData::create({})), "0 bytes");
}

TEST(PlistData, DescribesOnlyItsFirst64Bytes) {
  Bytes bytes(64);
  std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
  std::string expected = description(*PlistData::create(bytes));
  EXPECT_TRUE(expected.ends_with("3d3e3f"));
  EXPECT_TRUE(expected.starts_with("64 bytes 000102"));
  bytes.push_back(64);
  expected.replace(0, 2, "65");
  EXPECT_EQ(description(*PlistData::create(bytes)), expected + "…");
}

}  // namespace
