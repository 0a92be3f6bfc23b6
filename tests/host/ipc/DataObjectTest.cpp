// SPDX-License-Identifier: Apache-2.0
#include "ipc/DataObject.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <string_view>
#include <thread>
#include <vector>

#include "host/ipc/BalancedTest.h"
#include "host/ipc/SampleObjects.h"
#include "ipc/FdObject.h"
#include "value/limits.h"

using vanto::DataObject;
using vanto::Fd;
using vanto::Ref;
using vanto::SealedDataObject;
using vanto::test::allSeals;
using vanto::test::memoryFile;

namespace {

std::string_view textOf(const DataObject& data) {
  return {reinterpret_cast<const char*>(data.bytes()), data.length()};
}

}  // namespace

using DataObjectTest = vanto::test::BalancedTest;

TEST_F(DataObjectTest, CopiesItsBytes) {
  std::array<std::uint8_t, 4> bytes{1, 0, 255, 7};
  const Ref<DataObject> data = DataObject::create(bytes);
  bytes.fill(9);
  ASSERT_EQ(data->length(), 4U);
  constexpr std::array<std::uint8_t, 4> expected{1, 0, 255, 7};
  EXPECT_EQ(std::memcmp(data->bytes(), expected.data(), 4), 0);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(data->bytes()) % alignof(std::max_align_t), 0U);
}

TEST_F(DataObjectTest, HasNoBytesWhenItIsEmpty) {
  const Ref<DataObject> data = DataObject::create({});
  EXPECT_EQ(data->length(), 0U);
  EXPECT_EQ(data->bytes(), nullptr);
}

TEST_F(DataObjectTest, ReadsSealedMemory) {
  const Ref<SealedDataObject> data = SealedDataObject::create(memoryFile("sealed text"), 6);
  ASSERT_TRUE(data);
  EXPECT_EQ(data->kind(), VANTO_KIND_DATA);
  EXPECT_EQ(textOf(*data), "sealed");
  EXPECT_EQ(SealedDataObject::from(*data), data.get());
  EXPECT_EQ(SealedDataObject::from(*DataObject::create({})), nullptr);
}

TEST_F(DataObjectTest, MapsSealedMemoryOnceForAllThreads) {
  const Ref<SealedDataObject> data = SealedDataObject::create(memoryFile("sealed text"), 11);
  std::array<const void*, 4> seen{};
  std::vector<std::thread> threads;
  for (const void*& place : seen) threads.emplace_back([&place, &data] { place = data->bytes(); });
  for (std::thread& thread : threads) thread.join();
  for (const void* place : seen) EXPECT_EQ(place, seen.front());
  EXPECT_EQ(textOf(*data), "sealed text");
}

TEST_F(DataObjectTest, SealedMemoryMayBeEmpty) {
  const Ref<SealedDataObject> data = SealedDataObject::create(memoryFile(""), 0);
  ASSERT_TRUE(data);
  EXPECT_EQ(data->bytes(), nullptr);
}

TEST_F(DataObjectTest, RefusesMemoryThatLacksASeal) {
  for (const int missing : {F_SEAL_SEAL, F_SEAL_SHRINK, F_SEAL_GROW, F_SEAL_WRITE}) {
    EXPECT_FALSE(SealedDataObject::create(memoryFile("text", allSeals & ~missing), 4)) << missing;
  }
  EXPECT_FALSE(SealedDataObject::create(memoryFile("text", 0), 4));
}

TEST_F(DataObjectTest, RefusesASealAgainstFutureWritesOnly) {
  EXPECT_FALSE(SealedDataObject::create(
      memoryFile("text", F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | 0x10 /* F_SEAL_FUTURE_WRITE */), 4));
}

TEST_F(DataObjectTest, RefusesMemoryThatIsShorterThanTheLength) {
  EXPECT_TRUE(SealedDataObject::create(memoryFile("text"), 4));
  EXPECT_FALSE(SealedDataObject::create(memoryFile("text"), 5));
}

TEST_F(DataObjectTest, RefusesWhatIsNoMemoryFile) {
  EXPECT_FALSE(SealedDataObject::create(Fd(), 0));
  EXPECT_FALSE(SealedDataObject::create(Fd(open("/dev/null", O_RDONLY | O_CLOEXEC)), 0));
  EXPECT_FALSE(SealedDataObject::create(Fd(open("/proc/self/exe", O_RDONLY | O_CLOEXEC)), 1));
}

TEST_F(DataObjectTest, TakesSealedMemoryUpToTheLimit) {
  constexpr std::size_t limit = vanto::limits::ipcSealedDataBytes;
  const Fd memory = memoryFile("start", allSeals, static_cast<off_t>(limit + 1));
  ASSERT_TRUE(memory);
  const Ref<SealedDataObject> data = SealedDataObject::create(vanto::FdObject::duplicate(memory.get()), limit);
  ASSERT_TRUE(data);
  EXPECT_EQ(data->length(), limit);
  EXPECT_EQ(data->bytes()[4], 't');
  EXPECT_FALSE(SealedDataObject::create(vanto::FdObject::duplicate(memory.get()), limit + 1));
}
