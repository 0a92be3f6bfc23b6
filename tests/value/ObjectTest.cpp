// SPDX-License-Identifier: Apache-2.0
#include <VantoService/Object.h>

#include <new>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/Values.h"
#include "value/LiveObjects.h"
#include "value/ObjectBlock.h"
#include "value/ValueStorage.h"

namespace {

using vanto::as;
using vanto::Class;
using vanto::Object;
using vanto::Ref;
using namespace vanto::testing;

/// A class of a program: notes its end.
class Probe : public Object {
 public:
  static const Class& classDescriptor() noexcept { return descriptor; }
  static Ref<Probe> create(bool& isEnded) { return Ref<Probe>::adopt(::new (allocate(sizeof(Probe))) Probe(isEnded)); }

 private:
  explicit Probe(bool& isEnded) noexcept : Object(descriptor), isEnded_(isEnded) {}

  static void destroy(Object& self) noexcept {
    static_cast<Probe&>(self).isEnded_ = true;
    deallocate(&self);
  }

  static constexpr Class descriptor{"Probe", &vanto::objectClass, vanto::NoKind, &destroy, nullptr, nullptr};

  bool& isEnded_;
};

TEST(Object, StartsWithOneReferenceAndEndsWithTheLast) {
  bool isEnded = false;
  Ref<Probe> probe = Probe::create(isEnded);
  EXPECT_EQ(probe->referenceCount(), 1u);
  probe->retain();
  EXPECT_EQ(probe->referenceCount(), 2u);
  probe->release();
  EXPECT_EQ(probe->referenceCount(), 1u);
  EXPECT_FALSE(isEnded);
  probe = nullptr;
  EXPECT_TRUE(isEnded);
}

TEST(Object, IsOfItsClassAndOfThoseAbove) {
  bool isEnded = false;
  const Ref<Probe> probe = Probe::create(isEnded);
  EXPECT_TRUE(probe->isKindOf(Probe::classDescriptor()));
  EXPECT_TRUE(probe->isKindOf(Object::classDescriptor()));
  EXPECT_FALSE(probe->isKindOf(PlistString::classDescriptor()));
  EXPECT_EQ(&probe->runtimeClass(), &Probe::classDescriptor());
}

TEST(Object, CastsOnlyToClassesItIsOf) {
  Object* object = string("text");
  EXPECT_EQ(as<PlistString>(object), object);
  EXPECT_EQ(as<PlistValue>(object), object);
  EXPECT_EQ(as<PlistMutableString>(object), nullptr);
  EXPECT_EQ(as<PlistNumber>(object), nullptr);
  EXPECT_EQ(as<PlistString>(static_cast<Object*>(nullptr)), nullptr);
}

TEST(Object, OfAClassWithoutEqualityEqualsOnlyItself) {
  bool isEnded = false;
  const Ref<Probe> one = Probe::create(isEnded);
  const Ref<Probe> other = Probe::create(isEnded);
  EXPECT_TRUE(one->isEqual(one.get()));
  EXPECT_FALSE(one->isEqual(other.get()));
  EXPECT_FALSE(one->isEqual(nullptr));
}

TEST(Object, CountsReferencesOfManyThreads) {
  bool isEnded = false;
  Ref<Probe> probe = Probe::create(isEnded);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([copy = probe] {
      for (int round = 0; round < 10000; ++round) {
        copy->retain();
        copy->release();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  threads.clear();
  EXPECT_EQ(probe->referenceCount(), 1u);
  EXPECT_FALSE(isEnded);
  probe = nullptr;
  EXPECT_TRUE(isEnded);
}

TEST(Object, EndsOnWhicheverThreadReleasesItLast) {
  for (int round = 0; round < 200; ++round) {
    bool isEnded = false;
    Ref<Probe> probe = Probe::create(isEnded);
    std::thread thread([copy = probe]() mutable { copy = nullptr; });
    probe = nullptr;
    thread.join();
    EXPECT_TRUE(isEnded);
  }
}

TEST(Object, ThatIsImmortalIsNeitherCountedNorEnded) {
  const PlistBoolean* constant = PlistBoolean::of(true);
  constant->release();
  constant->release();
  constant->retain();
  EXPECT_EQ(constant->referenceCount(), UINT32_MAX);
  EXPECT_TRUE(constant->value());
}

TEST(Object, InABlockCountsForTheWholeBlock) {
  vanto::ObjectBlock& block = vanto::ObjectBlock::create(256);
  PlistNumber* one = block.makeNumber(std::int64_t{1});
  PlistNumber* two = block.makeNumber(2.5);
  EXPECT_EQ(one->referenceCount(), 1u);
  two->retain();
  EXPECT_EQ(one->referenceCount(), 2u);
  one->release();
  EXPECT_EQ(two->referenceCount(), 1u);
  EXPECT_EQ(one->int64Value(), 1);
  two->release();
}

TEST(Ref, SharesMovesAndGivesAway) {
  bool isEnded = false;
  Ref<Probe> probe = Probe::create(isEnded);
  Ref<Probe> copy = probe;
  EXPECT_EQ(probe->referenceCount(), 2u);
  Ref<Object> moved = std::move(copy);
  EXPECT_FALSE(copy);
  EXPECT_EQ(probe->referenceCount(), 2u);
  moved = nullptr;
  EXPECT_EQ(probe->referenceCount(), 1u);
  copy = Ref<Probe>::share(probe.get());
  EXPECT_EQ(probe->referenceCount(), 2u);
  Ref<Probe>& same = copy;
  copy = same;
  EXPECT_EQ(probe->referenceCount(), 2u);
  Probe* owned = copy.leak();
  EXPECT_FALSE(copy);
  EXPECT_EQ(owned->referenceCount(), 2u);
  owned->release();
  EXPECT_EQ(Ref<Probe>::share(nullptr).get(), nullptr);
  EXPECT_EQ(Ref<Probe>().asTemporary(), nullptr);
}

}  // namespace
