// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cmath>
#include <csignal>
#include <cstring>
#include <string>
#include <vector>

#include "host/jobdata/JobDataInC.h"
#include "support/JobData.h"
#include "value/platform/jobdata.h"

namespace vanto::testing {
namespace {

OwnedJobData made(tolven_data_kind_t kind) {
  return OwnedJobData(tolven_data_alloc(kind));
}

constexpr tolven_data_kind_t madeKinds[] = {TOLVEN_DATA_DICTIONARY, TOLVEN_DATA_ARRAY, TOLVEN_DATA_INTEGER,
                                            TOLVEN_DATA_REAL,       TOLVEN_DATA_BOOL,  TOLVEN_DATA_STRING,
                                            TOLVEN_DATA_OPAQUE};

TEST(JobDataInterface, WorksFromC) {
  EXPECT_STREQ(useJobDataInC(), nullptr);
}

TEST(JobDataInterface, MakesEmptyNodesOfEachKindButThoseOfAProcess) {
  for (const tolven_data_kind_t kind : madeKinds) EXPECT_EQ(tolven_data_get_kind(made(kind).get()), kind);
  for (const tolven_data_kind_t kind :
       {TOLVEN_DATA_NONE, TOLVEN_DATA_FILE_DESCRIPTOR, TOLVEN_DATA_ERROR_NUMBER, TOLVEN_DATA_PORT}) {
    EXPECT_EQ(tolven_data_alloc(kind), nullptr) << kind;
  }
  EXPECT_EQ(tolven_data_get_integer(made(TOLVEN_DATA_INTEGER).get()), 0);
  EXPECT_EQ(tolven_data_get_real(made(TOLVEN_DATA_REAL).get()), 0.0);
  EXPECT_FALSE(tolven_data_get_bool(made(TOLVEN_DATA_BOOL).get()));
  EXPECT_STREQ(tolven_data_get_string(made(TOLVEN_DATA_STRING).get()), "");
  EXPECT_EQ(tolven_data_array_get_count(made(TOLVEN_DATA_ARRAY).get()), 0U);
  EXPECT_EQ(tolven_data_dict_get_count(made(TOLVEN_DATA_DICTIONARY).get()), 0U);
  EXPECT_EQ(tolven_data_get_opaque(made(TOLVEN_DATA_OPAQUE).get()), nullptr);
}

TEST(JobDataInterface, IgnoresNullEverywhere) {
  tolven_data_free(nullptr);
  EXPECT_EQ(tolven_data_get_kind(nullptr), TOLVEN_DATA_NONE);
  tolven_data_set_string(nullptr, "a");
  tolven_data_set_bool(nullptr, true);
  tolven_data_set_integer(nullptr, 1);
  tolven_data_set_real(nullptr, 1);
  tolven_data_set_opaque(nullptr, "a", 1);
  EXPECT_EQ(tolven_data_get_string(nullptr), nullptr);
  EXPECT_FALSE(tolven_data_get_bool(nullptr));
  EXPECT_EQ(tolven_data_get_integer(nullptr), 0);
  EXPECT_EQ(tolven_data_get_real(nullptr), 0.0);
  EXPECT_EQ(tolven_data_get_opaque(nullptr), nullptr);
  EXPECT_EQ(tolven_data_get_opaque_length(nullptr), 0U);
  EXPECT_EQ(tolven_data_array_get_count(nullptr), 0U);
  EXPECT_EQ(tolven_data_array_get_index(nullptr, 0), nullptr);
  EXPECT_EQ(tolven_data_dict_get_count(nullptr), 0U);
  EXPECT_EQ(tolven_data_dict_lookup(nullptr, "a"), nullptr);
  EXPECT_FALSE(tolven_data_dict_apply(nullptr, nullptr, nullptr));
  EXPECT_EQ(tolven_data_unpack(nullptr, 0), nullptr);
  std::size_t length = 7;
  EXPECT_EQ(tolven_data_pack(nullptr, &length), nullptr);
  EXPECT_EQ(length, 7U);
  EXPECT_EQ(tolven_data_pack(OwnedJobData(integerData(1)).get(), nullptr), nullptr);
}

TEST(JobDataInterface, ReadsAndSetsNothingOfAnotherKind) {
  for (const tolven_data_kind_t kind : madeKinds) {
    const OwnedJobData data = made(kind);
    const std::string before = describe(data);
    if (kind != TOLVEN_DATA_STRING) {
      tolven_data_set_string(data.get(), "a");
      EXPECT_EQ(tolven_data_get_string(data.get()), nullptr) << kind;
    }
    if (kind != TOLVEN_DATA_BOOL) tolven_data_set_bool(data.get(), true);
    if (kind != TOLVEN_DATA_INTEGER) tolven_data_set_integer(data.get(), 1);
    if (kind != TOLVEN_DATA_REAL) tolven_data_set_real(data.get(), 1);
    if (kind != TOLVEN_DATA_ARRAY && kind != TOLVEN_DATA_OPAQUE) tolven_data_set_opaque(data.get(), "a", 1);
    // What cannot be put there is freed.
    if (kind != TOLVEN_DATA_ARRAY) tolven_data_array_set_index(data.get(), 0, integerData(1));
    if (kind != TOLVEN_DATA_DICTIONARY) tolven_data_dict_insert(data.get(), "k", integerData(1));
    EXPECT_EQ(describe(data), before) << kind;
  }
  tolven_data_array_set_index(nullptr, 0, integerData(1));
  tolven_data_dict_insert(nullptr, "k", integerData(1));
}

TEST(JobDataInterface, KeepsScalarsExactly) {
  const OwnedJobData integer = made(TOLVEN_DATA_INTEGER);
  tolven_data_set_integer(integer.get(), INT64_MIN);
  EXPECT_EQ(tolven_data_get_integer(integer.get()), INT64_MIN);
  const OwnedJobData real = made(TOLVEN_DATA_REAL);
  tolven_data_set_real(real.get(), -0.0);
  EXPECT_TRUE(std::signbit(tolven_data_get_real(real.get())));
  const OwnedJobData flag = made(TOLVEN_DATA_BOOL);
  tolven_data_set_bool(flag.get(), true);
  EXPECT_TRUE(tolven_data_get_bool(flag.get()));
}

TEST(JobDataInterface, KeepsTheTextWhereTheNewOneIsNullOrNoUTF8) {
  const OwnedJobData data(stringData("h\u00e9llo"));
  tolven_data_set_string(data.get(), nullptr);
  tolven_data_set_string(data.get(), "\xff");
  EXPECT_STREQ(tolven_data_get_string(data.get()), "h\u00e9llo");
  tolven_data_set_string(data.get(), tolven_data_get_string(data.get()));
  EXPECT_STREQ(tolven_data_get_string(data.get()), "h\u00e9llo");
}

TEST(JobDataInterface, HoldsBytesOnKindEightAndOnArrays) {
  for (const tolven_data_kind_t kind : {TOLVEN_DATA_OPAQUE, TOLVEN_DATA_ARRAY}) {
    const OwnedJobData data = made(kind);
    EXPECT_EQ(tolven_data_get_opaque(data.get()), nullptr);
    tolven_data_set_opaque(data.get(), nullptr, 1);
    EXPECT_EQ(tolven_data_get_opaque(data.get()), nullptr);
    tolven_data_set_opaque(data.get(), nullptr, 0);
    EXPECT_NE(tolven_data_get_opaque(data.get()), nullptr);
    EXPECT_EQ(tolven_data_get_opaque_length(data.get()), 0U);
    tolven_data_set_opaque(data.get(), "\0\1\2", 3);
    ASSERT_EQ(tolven_data_get_opaque_length(data.get()), 3U);
    EXPECT_EQ(std::memcmp(tolven_data_get_opaque(data.get()), "\0\1\2", 3), 0);
    // A part of what is there already.
    tolven_data_set_opaque(data.get(), static_cast<const char*>(tolven_data_get_opaque(data.get())) + 1, 2);
    EXPECT_EQ(std::memcmp(tolven_data_get_opaque(data.get()), "\1\2", 2), 0);
    EXPECT_EQ(tolven_data_get_kind(data.get()), kind);
  }
}

TEST(JobDataInterface, ShowsNoElementsOfAnArrayThatCarriesBytes) {
  const OwnedJobData data(arrayData({integerData(1), integerData(2)}));
  tolven_data_set_opaque(data.get(), "bytes", 5);
  EXPECT_EQ(tolven_data_get_kind(data.get()), TOLVEN_DATA_ARRAY);
  EXPECT_EQ(tolven_data_array_get_count(data.get()), 0U);
  EXPECT_EQ(tolven_data_array_get_index(data.get(), 0), nullptr);
  tolven_data_array_set_index(data.get(), 0, integerData(3));
  EXPECT_EQ(tolven_data_array_get_count(data.get()), 0U);
  EXPECT_EQ(tolven_data_get_opaque_length(data.get()), 5U);
}

TEST(JobDataInterface, LeavesHolesInAnArrayAndCountsThem) {
  const OwnedJobData data = made(TOLVEN_DATA_ARRAY);
  tolven_data_array_set_index(data.get(), 2, integerData(3));
  EXPECT_EQ(describe(data), "[(null), (null), 3]");
  tolven_data_array_set_index(data.get(), 4, nullptr);
  EXPECT_EQ(tolven_data_array_get_count(data.get()), 5U);
  EXPECT_EQ(tolven_data_array_get_index(data.get(), 4), nullptr);
  EXPECT_EQ(tolven_data_array_get_index(data.get(), 5), nullptr);
  EXPECT_EQ(tolven_data_array_get_index(data.get(), SIZE_MAX), nullptr);
  tolven_data_array_set_index(data.get(), 2, integerData(4));
  tolven_data_array_set_index(data.get(), 0, stringData("first"));
  EXPECT_EQ(describe(data), "[\"first\", (null), 4, (null), (null)]");
  tolven_data_array_set_index(data.get(), 2, nullptr);
  EXPECT_EQ(describe(data), "[\"first\", (null), (null), (null), (null)]");
}

TEST(JobDataInterfaceDeathTest, EndsTheProgramThatAsksForAnImpossibleIndex) {
  const OwnedJobData data = made(TOLVEN_DATA_ARRAY);
  EXPECT_EXIT(tolven_data_array_set_index(data.get(), SIZE_MAX, nullptr), ::testing::KilledBySignal(SIGABRT), "");
}

TEST(JobDataInterface, FreesTheValueUnderANullKeyAndKeepsTheEntryForANullValue) {
  const OwnedJobData data = made(TOLVEN_DATA_DICTIONARY);
  tolven_data_dict_insert(data.get(), nullptr, integerData(1));
  tolven_data_dict_insert(data.get(), "\xc3", integerData(1));
  EXPECT_EQ(tolven_data_dict_get_count(data.get()), 0U);
  tolven_data_dict_insert(data.get(), "k", integerData(1));
  tolven_data_dict_insert(data.get(), "k", nullptr);
  tolven_data_dict_insert(data.get(), nullptr, nullptr);
  EXPECT_EQ(describe(data), "{\"k\": 1}");
}

TEST(JobDataInterface, ReplacesAnEntryAndFreesTheOldValue) {
  const OwnedJobData data = made(TOLVEN_DATA_DICTIONARY);
  tolven_data_dict_insert(data.get(), "k", stringData("k"));
  // The key is the text of the value that goes.
  tolven_data_dict_insert(data.get(), tolven_data_get_string(tolven_data_dict_lookup(data.get(), "k")), integerData(2));
  EXPECT_EQ(describe(data), "{\"k\": 2}");
  EXPECT_EQ(tolven_data_dict_lookup(data.get(), nullptr), nullptr);
  EXPECT_EQ(tolven_data_dict_lookup(data.get(), "other"), nullptr);
}

bool collect(const char* key, tolven_data_t value, void* context) {
  auto& keys = *static_cast<std::string*>(context);
  keys += key;
  return tolven_data_get_integer(value) != 3;
}

TEST(JobDataInterface, WalksADictionaryInTheOrderOfKeysUntilItIsStopped) {
  const OwnedJobData data = made(TOLVEN_DATA_DICTIONARY);
  for (const char* key : {"d", "b", "a", "c"}) tolven_data_dict_insert(data.get(), key, integerData(*key - 'a'));
  std::string keys;
  EXPECT_FALSE(tolven_data_dict_apply(data.get(), &collect, &keys));
  EXPECT_EQ(keys, "abcd");
  tolven_data_dict_insert(data.get(), "d", integerData(0));
  keys.clear();
  EXPECT_TRUE(tolven_data_dict_apply(data.get(), &collect, &keys));
  EXPECT_EQ(keys, "abcd");
  tolven_data_dict_insert(data.get(), "b", integerData(3));
  keys.clear();
  EXPECT_FALSE(tolven_data_dict_apply(data.get(), &collect, &keys));
  EXPECT_EQ(keys, "ab");
  EXPECT_FALSE(tolven_data_dict_apply(data.get(), nullptr, nullptr));
}

}  // namespace
}  // namespace vanto::testing
