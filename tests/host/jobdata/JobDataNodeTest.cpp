// SPDX-License-Identifier: Apache-2.0
#include "jobdata/JobDataNode.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>

#include "support/JobData.h"
#include "support/SmallStack.h"
#include "value/LiveObjects.h"

namespace vanto::testing {
namespace {

using Owned = tolven_data::Owned;

TEST(JobDataNode, HasTheContentOfItsKind) {
  EXPECT_NE(tolven_data::create(TOLVEN_DATA_DICTIONARY)->content<tolven_data::Entries>(), nullptr);
  EXPECT_NE(tolven_data::create(TOLVEN_DATA_ARRAY)->content<tolven_data::Elements>(), nullptr);
  EXPECT_NE(tolven_data::create(TOLVEN_DATA_INTEGER)->content<std::int64_t>(), nullptr);
  EXPECT_NE(tolven_data::create(TOLVEN_DATA_REAL)->content<double>(), nullptr);
  EXPECT_NE(tolven_data::create(TOLVEN_DATA_BOOL)->content<bool>(), nullptr);
  EXPECT_NE(tolven_data::create(TOLVEN_DATA_STRING)->content<std::string>(), nullptr);
  EXPECT_EQ(tolven_data::create(TOLVEN_DATA_OPAQUE)->content<tolven_data::Bytes>(), nullptr);
  EXPECT_EQ(tolven_data::create(TOLVEN_DATA_STRING)->content<bool>(), nullptr);
}

TEST(JobDataNode, IsMadeOfNoOtherKind) {
  for (const int kind : {-1, 0, 3, 9, 10, 11, 258}) {
    EXPECT_FALSE(tolven_data::create(static_cast<tolven_data_kind_t>(kind))) << kind;
  }
}

TEST(JobDataNode, TakesBytesInPlaceOfElementsAndKeepsItsKind) {
  const std::int64_t before = liveObjectCount();
  const Owned array = Owned::adopt(arrayData({integerData(1), stringData("a")}));
  const std::uint8_t bytes[] = {1, 2};
  array->setBytes(bytes);
  EXPECT_EQ(array->kind(), TOLVEN_DATA_ARRAY);
  EXPECT_EQ(array->content<tolven_data::Elements>(), nullptr);
  EXPECT_EQ(array->content<tolven_data::Bytes>()->contents.size(), 2U);
#ifdef VANTO_COUNT_OBJECTS
  EXPECT_EQ(liveObjectCount(), before + 1);
#else
  EXPECT_EQ(liveObjectCount(), before);
#endif
}

TEST(JobDataNode, KeepsItsEntriesInOrderForAnyOrderOfKeys) {
  const Owned dictionary = tolven_data::create(TOLVEN_DATA_DICTIONARY);
  auto& entries = *dictionary->content<tolven_data::Entries>();
  for (const char* key : {"m", "z", "a", "", "m", "\xc3\xa9", "aa"}) {
    dictionary->setEntry(entries, key, Owned::adopt(stringData(key)));
  }
  std::string keys;
  for (const auto& [key, value] : entries) keys += key + ",";
  EXPECT_EQ(keys, ",a,aa,m,z,\xc3\xa9,");
}

TEST(JobDataNode, EndsADeepTreeOnLittleStack) {
  runOnSmallStack(std::size_t{128} << 10, [] {
    tolven_data_t tree = nestedArrayData(1'000'000);
    tolven_data_free(tree);
  });
}

TEST(JobDataNodeDeathTest, NeverHasTwoContainers) {
  const OwnedJobData first(arrayData({integerData(1)}));
  const OwnedJobData second(arrayData({}));
  tolven_data_t element = tolven_data_array_get_index(first.get(), 0);
  const auto aborts = ::testing::KilledBySignal(SIGABRT);
  EXPECT_EXIT(tolven_data_array_set_index(second.get(), 0, element), aborts, "");
  EXPECT_EXIT(tolven_data_array_set_index(first.get(), 0, element), aborts, "");
  EXPECT_EXIT(tolven_data_array_set_index(second.get(), 0, second.get()), aborts, "");
  EXPECT_EXIT(tolven_data_free(element), aborts, "");
  const OwnedJobData dictionary(tolven_data_alloc(TOLVEN_DATA_DICTIONARY));
  EXPECT_EXIT(tolven_data_dict_insert(dictionary.get(), "k", element), aborts, "");
  EXPECT_EXIT(tolven_data_dict_insert(dictionary.get(), "k", dictionary.get()), aborts, "");
}

}  // namespace
}  // namespace vanto::testing
