// SPDX-License-Identifier: Apache-2.0
#include "ipc/ObjectEquality.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstring>
#include <functional>
#include <vector>

#include "host/ipc/BalancedTest.h"
#include "host/ipc/SampleObjects.h"

using vanto::areEqual;
using vanto::Fd;
using vanto::Ref;
using vanto::test::memoryFile;
using vanto::test::own;

namespace {

Ref<vanto_object> dictionaryOf(const char* key, const Ref<vanto_object>& value) {
  vanto_object_t values[] = {value.get()};
  return own(vanto_dictionary_create(&key, values, 1));
}

Ref<vanto_object> arrayOf(const std::vector<Ref<vanto_object>>& elements) {
  Ref<vanto_object> array = own(vanto_array_create(nullptr, 0));
  for (const Ref<vanto_object>& element : elements) vanto_array_append_value(array.get(), element.get());
  return array;
}

double doubleOfBits(std::uint64_t bits) {
  return std::bit_cast<double>(bits);
}

/// Each makes another value than all others, and an equal one each time.
const std::function<Ref<vanto_object>()> makers[] = {
    [] { return own(vanto_string_create("")); },
    [] { return own(vanto_string_create("1")); },
    [] { return own(vanto_bool_create(true)); },
    [] { return own(vanto_bool_create(false)); },
    [] { return own(vanto_int64_create(0)); },
    [] { return own(vanto_int64_create(1)); },
    [] { return own(vanto_double_create(1)); },
    [] { return own(vanto_double_create(0.0)); },
    [] { return own(vanto_double_create(-0.0)); },
    [] { return own(vanto_double_create(doubleOfBits(0x7ff8'0000'0000'0000))); },
    [] { return own(vanto_double_create(doubleOfBits(0x7ff8'0000'0000'0001))); },
    [] { return own(vanto_data_create("", 0)); },
    [] { return own(vanto_data_create("1", 1)); },
    [] { return own(vanto_data_create("2", 1)); },
    [] { return own(vanto_error_create(VANTO_ERROR_CLOSED, "1")); },
    [] { return own(vanto_error_create(VANTO_ERROR_CLOSED, "2")); },
    [] { return own(vanto_error_create(VANTO_ERROR_REFUSED, "1")); },
    [] { return arrayOf({}); },
    [] { return arrayOf({own(vanto_int64_create(1))}); },
    [] {
      return arrayOf({own(vanto_int64_create(1)), own(vanto_int64_create(2))});
    },
    [] {
      return arrayOf({own(vanto_int64_create(2)), own(vanto_int64_create(1))});
    },
    [] { return arrayOf({arrayOf({own(vanto_int64_create(1))})}); },
    [] { return dictionaryOf("key", own(vanto_int64_create(1))); },
    [] { return dictionaryOf("key", own(vanto_int64_create(2))); },
    [] { return dictionaryOf("other", own(vanto_int64_create(1))); },
    [] { return dictionaryOf("key", dictionaryOf("key", own(vanto_int64_create(1)))); },
};

}  // namespace

using ObjectEqualityTest = vanto::test::BalancedTest;

TEST_F(ObjectEqualityTest, ValuesAreEqualExactlyWhenKindAndContentsAre) {
  for (std::size_t one = 0; one < std::size(makers); ++one) {
    for (std::size_t other = 0; other < std::size(makers); ++other) {
      EXPECT_EQ(areEqual(makers[one]().get(), makers[other]().get()), one == other) << one << " and " << other;
    }
  }
}

TEST_F(ObjectEqualityTest, NullEqualsNullOnly) {
  const Ref<vanto_object> string = own(vanto_string_create(""));
  EXPECT_TRUE(areEqual(nullptr, nullptr));
  EXPECT_FALSE(areEqual(string.get(), nullptr));
  EXPECT_FALSE(areEqual(nullptr, string.get()));
}

TEST_F(ObjectEqualityTest, DataIsEqualWhereverItsBytesLie) {
  const Fd memory = memoryFile("same bytes");
  const Ref<vanto_object> sealed = own(vanto_data_create_with_sealed_fd(memory.get(), 10));
  const Ref<vanto_object> copied = own(vanto_data_create("same bytes", 10));
  const Ref<vanto_object> other = own(vanto_data_create("some bytes", 10));
  EXPECT_TRUE(areEqual(sealed.get(), copied.get()));
  EXPECT_FALSE(areEqual(sealed.get(), other.get()));
}

TEST_F(ObjectEqualityTest, DescriptorsEqualOnlyThemselves) {
  const Ref<vanto_object> one = own(vanto_fd_create(0));
  const Ref<vanto_object> other = own(vanto_fd_create(0));
  EXPECT_TRUE(areEqual(one.get(), one.get()));
  EXPECT_FALSE(areEqual(one.get(), other.get()));
}

TEST_F(ObjectEqualityTest, DeepObjectsAreComparedWithoutUsingUpTheStack) {
  const Ref<vanto_object> one = vanto::test::nestedArrays(1'000'000);
  const Ref<vanto_object> same = vanto::test::nestedArrays(1'000'000);
  const Ref<vanto_object> deeper = vanto::test::nestedArrays(1'000'001);
  EXPECT_TRUE(areEqual(one.get(), same.get()));
  EXPECT_FALSE(areEqual(one.get(), deeper.get()));
}
