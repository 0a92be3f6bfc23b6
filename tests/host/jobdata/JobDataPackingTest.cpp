// SPDX-License-Identifier: Apache-2.0
#include "jobdata/JobDataPacking.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/JobData.h"
#include "value/limits.h"

namespace vanto::testing {
namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes packed(tolven_data_t data) {
  return pack(OwnedJobData(data));
}

/// Whether the tree packs; what it packs to is also what its unpacked form packs to.
bool packs(tolven_data_t data) {
  const Bytes bytes = packed(data);
  return !bytes.empty() && pack(unpack(bytes)) == bytes;
}

TEST(JobDataPacking, GivesTheBytesOfTheDocumentedExample) {
  tolven_data_t job = tolven_data_alloc(TOLVEN_DATA_DICTIONARY);
  tolven_data_dict_insert(job, "id", integerData(7));
  tolven_data_dict_insert(job, "list", arrayData({nullptr, stringData("echo")}));
  const Bytes expected = {'V', 'J', 'O', 'B', 1,   0,   0,   0,                                    //
                          1,   0,   0,   0,   2,   0,   0,   0,                                    //
                          2,   0,   0,   0,   'i', 'd', 0,   0,                                    //
                          4,   0,   0,   0,   0,   0,   0,   0,   7,   0,   0,   0,   0, 0, 0, 0,  //
                          4,   0,   0,   0,   'l', 'i', 's', 't',                                  //
                          2,   0,   0,   0,   2,   0,   0,   0,                                    //
                          0,   0,   0,   0,   0,   0,   0,   0,                                    //
                          7,   0,   0,   0,   4,   0,   0,   0,   'e', 'c', 'h', 'o', 0, 0, 0, 0};
  EXPECT_EQ(packed(job), expected);
}

TEST(JobDataPacking, DoesNotDependOnTheOrderOfMaking) {
  tolven_data_t one = tolven_data_alloc(TOLVEN_DATA_DICTIONARY);
  tolven_data_t other = tolven_data_alloc(TOLVEN_DATA_DICTIONARY);
  for (const char* key : {"a", "b", "c"}) tolven_data_dict_insert(one, key, stringData(key));
  for (const char* key : {"c", "a", "b"}) tolven_data_dict_insert(other, key, stringData(key));
  EXPECT_EQ(packed(one), packed(other));
}

TEST(JobDataPacking, TellsAnArrayFromBytesAndFromKindEight) {
  tolven_data_t array = tolven_data_alloc(TOLVEN_DATA_ARRAY);
  tolven_data_t bytes = tolven_data_alloc(TOLVEN_DATA_ARRAY);
  tolven_data_set_opaque(bytes, nullptr, 0);
  tolven_data_t opaque = tolven_data_alloc(TOLVEN_DATA_OPAQUE);
  const Bytes first = packed(array);
  const Bytes second = packed(bytes);
  const Bytes third = packed(opaque);
  EXPECT_NE(first, second);
  EXPECT_NE(first, third);
  EXPECT_NE(second, third);
  EXPECT_EQ(tolven_data_get_opaque(unpack(first).get()), nullptr);
  EXPECT_NE(tolven_data_get_opaque(unpack(second).get()), nullptr);
  EXPECT_EQ(tolven_data_get_kind(unpack(third).get()), TOLVEN_DATA_OPAQUE);
}

TEST(JobDataPacking, EndsAtTheLimitOfSize) {
  // Magic and header take 16 bytes.
  constexpr std::size_t room = limits::jobDataBytes - 16;
  const std::string fitting(room, 'x');
  EXPECT_TRUE(packs(stringData(fitting.c_str())));
  EXPECT_FALSE(packs(stringData((fitting + "x").c_str())));
  for (const std::size_t count : {room / 8, room / 8 + 1}) {
    tolven_data_t holes = tolven_data_alloc(TOLVEN_DATA_ARRAY);
    tolven_data_array_set_index(holes, count - 1, nullptr);
    EXPECT_EQ(packs(holes), count == room / 8);
  }
}

TEST(JobDataPacking, EndsAtTheLimitOfNesting) {
  EXPECT_TRUE(packs(nestedArrayData(limits::jobDataNesting)));
  EXPECT_FALSE(packs(nestedArrayData(limits::jobDataNesting + 1)));
  EXPECT_FALSE(packs(nestedArrayData(1'000'000)));
  for (const std::size_t levels : {limits::jobDataNesting, limits::jobDataNesting + 1}) {
    tolven_data_t nested = tolven_data_alloc(TOLVEN_DATA_DICTIONARY);
    for (std::size_t level = 1; level < levels; ++level) {
      tolven_data_t outer = tolven_data_alloc(TOLVEN_DATA_DICTIONARY);
      tolven_data_dict_insert(outer, "k", nested);
      nested = outer;
    }
    EXPECT_EQ(packs(nested), levels == limits::jobDataNesting);
  }
}

}  // namespace
}  // namespace vanto::testing
