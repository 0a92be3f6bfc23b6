// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "host/ipc/BalancedTest.h"
#include "host/ipc/SampleObjects.h"
#include "ipc/Codec.h"
#include "support/MemoryLimit.h"
#include "value/limits.h"

using vanto::EncodedObject;
using vanto::Fd;
using vanto::Ref;
using vanto::test::memoryFile;
using vanto::test::own;

namespace limits = vanto::limits;

namespace {

std::vector<std::uint8_t> bytesOf(const EncodedObject& encoded) {
  return {encoded.bytes().begin(), encoded.bytes().end()};
}

Ref<vanto_object> arrayOfDescriptors(std::size_t count) {
  Ref<vanto_object> array = own(vanto_array_create(nullptr, 0));
  const Ref<vanto_object> carrier = own(vanto_fd_create(0));
  for (std::size_t index = 0; index < count; ++index) vanto_array_append_value(array.get(), carrier.get());
  return array;
}

/// An array that twice holds the one before it, and so on: 2 to the power of `levels` elements, were they written out.
Ref<vanto_object> doubledArrays(int levels) {
  Ref<vanto_object> doubled = own(vanto_array_create(nullptr, 0));
  for (int level = 0; level < levels; ++level) {
    vanto_object_t twice[] = {doubled.get(), doubled.get()};
    doubled = own(vanto_array_create(twice, 2));
  }
  return doubled;
}

vanto_error_code_t encodeOnce(const Ref<vanto_object>& object) {
  return EncodedObject().encode(object.get());
}

}  // namespace

using EncoderTest = vanto::test::BalancedTest;

TEST_F(EncoderTest, WritesTheDocumentedBytes) {
  const Ref<vanto_object> dictionary = own(vanto_dictionary_create(nullptr, nullptr, 0));
  vanto_dictionary_set_value(dictionary.get(), "name", own(vanto_string_create("echo")).get());
  vanto_dictionary_set_value(dictionary.get(), "id", own(vanto_int64_create(7)).get());
  EncodedObject encoded;
  ASSERT_EQ(encoded.encode(dictionary.get()), VANTO_ERROR_NONE);
  const std::vector<std::uint8_t> expected{
      7, 0, 0, 0, 2,   0,   0,   0,                                    // dictionary, 2 entries
      2, 0, 0, 0, 'i', 'd', 0,   0,                                    // key
      3, 0, 0, 0, 0,   0,   0,   0,   7,   0,   0,   0,   0, 0, 0, 0,  // int64
      4, 0, 0, 0, 'n', 'a', 'm', 'e',                                  // key
      1, 0, 0, 0, 4,   0,   0,   0,   'e', 'c', 'h', 'o', 0, 0, 0, 0,  // string
  };
  EXPECT_EQ(bytesOf(encoded), expected);
}

TEST_F(EncoderTest, TheOrderOfInsertionDoesNotShow) {
  const Ref<vanto_object> one = own(vanto_dictionary_create(nullptr, nullptr, 0));
  const Ref<vanto_object> other = own(vanto_dictionary_create(nullptr, nullptr, 0));
  for (int number = 0; number < 500; ++number) {
    const Ref<vanto_object> value = own(vanto_bool_create(true));
    vanto_dictionary_set_value(one.get(), std::to_string(number).c_str(), value.get());
    vanto_dictionary_set_value(other.get(), std::to_string(499 - number).c_str(), value.get());
  }
  EncodedObject encodedOne;
  EncodedObject encodedOther;
  ASSERT_EQ(encodedOne.encode(one.get()), VANTO_ERROR_NONE);
  ASSERT_EQ(encodedOther.encode(other.get()), VANTO_ERROR_NONE);
  EXPECT_EQ(bytesOf(encodedOne), bytesOf(encodedOther));
}

TEST_F(EncoderTest, ListsDescriptorsInTheOrderOfTheBytes) {
  const Fd memory = memoryFile("sealed");
  const Ref<vanto_object> dictionary = own(vanto_dictionary_create(nullptr, nullptr, 0));
  vanto_dictionary_set_value(dictionary.get(), "z", own(vanto_fd_create(0)).get());
  vanto_dictionary_set_value(dictionary.get(), "a", own(vanto_data_create_with_sealed_fd(memory.get(), 6)).get());
  EncodedObject encoded;
  ASSERT_EQ(encoded.encode(dictionary.get()), VANTO_ERROR_NONE);
  ASSERT_EQ(encoded.descriptors().size(), 2U);
  EXPECT_EQ(fcntl(encoded.descriptors()[0], F_GET_SEALS), vanto::test::allSeals);
  EXPECT_EQ(fcntl(encoded.descriptors()[1], F_GET_SEALS), -1);
}

TEST_F(EncoderTest, HoldsTheObjectWhoseDescriptorsItLists) {
  EncodedObject encoded;
  {
    const Ref<vanto_object> carrier = own(vanto_fd_create(0));
    ASSERT_EQ(encoded.encode(carrier.get()), VANTO_ERROR_NONE);
  }
  ASSERT_EQ(encoded.descriptors().size(), 1U);
  EXPECT_NE(fcntl(encoded.descriptors()[0], F_GETFD), -1);
}

TEST_F(EncoderTest, EncodingAgainReplacesWhatWasThere) {
  EncodedObject encoded;
  ASSERT_EQ(encoded.encode(own(vanto_fd_create(0)).get()), VANTO_ERROR_NONE);
  ASSERT_EQ(encoded.encode(own(vanto_bool_create(true)).get()), VANTO_ERROR_NONE);
  EXPECT_EQ(bytesOf(encoded), (std::vector<std::uint8_t>{2, 0, 0, 0, 1, 0, 0, 0}));
  EXPECT_TRUE(encoded.descriptors().empty());
  EXPECT_EQ(encoded.encode(nullptr), VANTO_ERROR_INVALID);
  EXPECT_TRUE(encoded.bytes().empty());
}

TEST_F(EncoderTest, NestingEndsAtItsLimit) {
  EXPECT_EQ(encodeOnce(vanto::test::nestedArrays(limits::ipcNesting)), VANTO_ERROR_NONE);
  EXPECT_EQ(encodeOnce(vanto::test::nestedArrays(limits::ipcNesting + 1)), VANTO_ERROR_TOO_LARGE);
  EXPECT_EQ(encodeOnce(vanto::test::nestedArrays(1'000'000)), VANTO_ERROR_TOO_LARGE);
}

TEST_F(EncoderTest, DescriptorsEndAtTheirLimit) {
  EXPECT_EQ(encodeOnce(arrayOfDescriptors(limits::ipcDescriptors)), VANTO_ERROR_NONE);
  EncodedObject encoded;
  EXPECT_EQ(encoded.encode(arrayOfDescriptors(limits::ipcDescriptors + 1).get()), VANTO_ERROR_TOO_LARGE);
  EXPECT_TRUE(encoded.bytes().empty());
  EXPECT_TRUE(encoded.descriptors().empty());
}

TEST_F(EncoderTest, TheSizeEndsAtItsLimit) {
  // A header of 8 bytes leaves this for contents.
  const std::string contents(limits::ipcMessageBytes - 8 + 1, 'x');
  EncodedObject encoded;
  ASSERT_EQ(encoded.encode(own(vanto_data_create(contents.data(), contents.size() - 1)).get()), VANTO_ERROR_NONE);
  EXPECT_EQ(encoded.bytes().size(), limits::ipcMessageBytes);
  EXPECT_EQ(encoded.encode(own(vanto_data_create(contents.data(), contents.size())).get()), VANTO_ERROR_TOO_LARGE);
  EXPECT_EQ(encoded.encode(own(vanto_string_create(contents.c_str())).get()), VANTO_ERROR_TOO_LARGE);
  EXPECT_EQ(encoded.encode(own(vanto_error_create(VANTO_ERROR_FULL, contents.c_str())).get()), VANTO_ERROR_TOO_LARGE);
  const char* key = contents.c_str();
  vanto_object_t value = vanto_bool_create(true);
  EXPECT_EQ(encoded.encode(own(vanto_dictionary_create(&key, &value, 1)).get()), VANTO_ERROR_TOO_LARGE);
}

TEST_F(EncoderTest, DataBehindTheLimitStaysBehindIt) {
  const std::string contents(limits::ipcMessageBytes - 24, 'x');
  const Ref<vanto_object> array = own(vanto_array_create(nullptr, 0));
  vanto_array_append_value(array.get(), own(vanto_data_create(contents.data(), contents.size())).get());
  vanto_array_append_value(array.get(), own(vanto_bool_create(true)).get());
  EncodedObject encoded;
  ASSERT_EQ(encoded.encode(array.get()), VANTO_ERROR_NONE);
  EXPECT_EQ(encoded.bytes().size(), limits::ipcMessageBytes);
  vanto_array_append_value(array.get(), own(vanto_bool_create(true)).get());
  EXPECT_EQ(encoded.encode(array.get()), VANTO_ERROR_TOO_LARGE);
}

TEST_F(EncoderTest, AnObjectSharedManyTimesOverStopsAtTheSizeLimit) {
  EXPECT_EQ(encodeOnce(doubledArrays(64)), VANTO_ERROR_TOO_LARGE);
}

#ifndef VANTO_TEST_SANITIZED
TEST_F(EncoderTest, TakesNoMoreMemoryThanTheLargestMessage) {
  const Ref<vanto_object> object = doubledArrays(64);
  const auto encodeInLittleMemory = [&object] {
    vanto::test::limitFurtherMemory(limits::ipcMessageBytes + (std::size_t{4} << 20));
    std::_Exit(encodeOnce(object) == VANTO_ERROR_TOO_LARGE ? 0 : 1);
  };
  EXPECT_EXIT(encodeInLittleMemory(), testing::ExitedWithCode(0), "");
}
#endif

TEST_F(EncoderTest, SharedObjectsAreWrittenEachTime) {
  const Ref<vanto_object> element = own(vanto_string_create("text"));
  vanto_object_t twice[] = {element.get(), element.get()};
  EncodedObject encoded;
  ASSERT_EQ(encoded.encode(own(vanto_array_create(twice, 2)).get()), VANTO_ERROR_NONE);
  EXPECT_EQ(encoded.bytes().size(), 8U + 2 * 16U);
}
