// SPDX-License-Identifier: Apache-2.0
#include "ipc/IPCObject.h"

#include <VantoService/PlistString.h>
#include <VantoService/TemporaryScope.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "host/ipc/BalancedTest.h"
#include "host/ipc/SampleObjects.h"
#include "ipc/ScalarObject.h"
#include "ipc/StringObject.h"

using vanto::Ref;
using vanto::test::own;

using IPCObjectTest = vanto::test::BalancedTest;

namespace {

/// Stands for a connection: an object of the runtime that is no value.
class OtherObject final : public vanto_object {
 public:
  [[nodiscard]] static Ref<OtherObject> create();

 private:
  OtherObject() noexcept;
};

constinit const vanto::Class otherObjectClass{"OtherObject", &vanto::ipcObjectClass, 0, nullptr, nullptr, nullptr};

OtherObject::OtherObject() noexcept : vanto_object(otherObjectClass, VANTO_KIND_CONNECTION) {}

Ref<OtherObject> OtherObject::create() {
  return Ref<OtherObject>::adopt(new (allocate(sizeof(OtherObject))) OtherObject());
}

}  // namespace

TEST_F(IPCObjectTest, EveryKindIsAnIPCObject) {
  const Ref<vanto_object> string = own(vanto_string_create("text"));
  EXPECT_EQ(vanto::as<vanto_object>(string.get()), string.get());
  EXPECT_EQ(vanto_object::classDescriptor().name, std::string_view("IPCObject"));
  EXPECT_TRUE(string->isValue());
}

TEST_F(IPCObjectTest, TheCastByKindGivesNullForAnotherKind) {
  const Ref<vanto_object> string = own(vanto_string_create("text"));
  EXPECT_NE(vanto::ofKind<vanto::StringObject>(string.get()), nullptr);
  EXPECT_EQ(vanto::ofKind<vanto::Int64Object>(string.get()), nullptr);
  EXPECT_EQ(vanto::ofKind<vanto::StringObject>(static_cast<vanto_object*>(nullptr)), nullptr);
}

TEST_F(IPCObjectTest, DescribesAndComparesLikeAnyObject) {
  const vanto::TemporaryScope scope;
  const Ref<vanto_object> one = own(vanto_string_create("text"));
  const Ref<vanto_object> other = own(vanto_string_create("text"));
  EXPECT_EQ(one->description()->text(), "\"text\"");
  EXPECT_TRUE(one->isEqual(other.get()));
  EXPECT_FALSE(one->isEqual(own(vanto_int64_create(1)).get()));
  EXPECT_FALSE(one->isEqual(PlistString::create("text").get()));
}

TEST_F(IPCObjectTest, WhatIsNoValueCannotBePutIntoAContainer) {
  const Ref<vanto_object> other = OtherObject::create();
  EXPECT_FALSE(other->isValue());
  const Ref<vanto_object> array = own(vanto_array_create(nullptr, 0));
  vanto_array_append_value(array.get(), other.get());
  EXPECT_EQ(vanto_array_get_count(array.get()), 0U);
  const Ref<vanto_object> dictionary = own(vanto_dictionary_create(nullptr, nullptr, 0));
  vanto_dictionary_set_value(dictionary.get(), "key", other.get());
  EXPECT_EQ(vanto_dictionary_get_count(dictionary.get()), 0U);
}

TEST_F(IPCObjectTest, WhatIsNoValueEqualsOnlyItselfAndCannotTravel) {
  const Ref<vanto_object> one = OtherObject::create();
  const Ref<vanto_object> other = OtherObject::create();
  EXPECT_TRUE(vanto_equal(one.get(), one.get()));
  EXPECT_FALSE(vanto_equal(one.get(), other.get()));
  vanto::EncodedObject encoded;
  EXPECT_EQ(encoded.encode(one.get()), VANTO_ERROR_INVALID);
}

TEST_F(IPCObjectTest, ThreadsMayRetainAndReleaseTheSameObject) {
  const Ref<vanto_object> array = vanto::test::nestedArrays(3);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([array] {
      for (int round = 0; round < 10'000; ++round) vanto_release(vanto_retain(array.get()));
    });
  }
  for (std::thread& thread : threads) thread.join();
  threads.clear();
  EXPECT_EQ(array->referenceCount(), 1U);
}
