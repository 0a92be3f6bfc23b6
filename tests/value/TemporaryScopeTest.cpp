// SPDX-License-Identifier: Apache-2.0
#include <VantoService/TemporaryScope.h>

#include <memory>
#include <new>
#include <optional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "support/Values.h"
#include "value/ValueStorage.h"

namespace {

using namespace vanto::testing;
using vanto::Object;
using vanto::Ref;
using vanto::TemporaryScope;

void addTemporaryOf(const Ref<PlistString>& string) {
  static_cast<void>(Ref<PlistString>(string).asTemporary());
}

TEST(TemporaryScope, ReleasesItsTemporariesWhenItCloses) {
  const Ref<PlistString> string = PlistString::create("a");
  {
    const TemporaryScope scope;
    addTemporaryOf(string);
    addTemporaryOf(string);
    EXPECT_EQ(string->referenceCount(), 3u);
  }
  EXPECT_EQ(string->referenceCount(), 1u);
}

TEST(TemporaryScope, LeavesThoseOfOuterScopesAlone) {
  const Ref<PlistString> string = PlistString::create("a");
  TemporaryScope outer;
  addTemporaryOf(string);
  {
    const TemporaryScope inner;
    addTemporaryOf(string);
    EXPECT_EQ(string->referenceCount(), 3u);
  }
  EXPECT_EQ(string->referenceCount(), 2u);
  outer.close();
  EXPECT_EQ(string->referenceCount(), 1u);
}

TEST(TemporaryScope, ClosesOnce) {
  const Ref<PlistString> string = PlistString::create("a");
  TemporaryScope outer;
  addTemporaryOf(string);
  TemporaryScope inner;
  inner.close();
  inner.close();
  EXPECT_EQ(string->referenceCount(), 2u);
  outer.close();
  EXPECT_EQ(string->referenceCount(), 1u);
}

TEST(TemporaryScope, HoldsAnyNumberOfTemporaries) {
  const Ref<PlistString> string = PlistString::create("a");
  {
    const TemporaryScope scope;
    for (int round = 0; round < 100'000; ++round) addTemporaryOf(string);
    EXPECT_EQ(string->referenceCount(), 100'001u);
  }
  EXPECT_EQ(string->referenceCount(), 1u);
}

/// Makes a temporary when it ends.
class Parting : public Object {
 public:
  static Ref<Parting> create(const Ref<PlistString>& string) {
    return Ref<Parting>::adopt(::new (allocate(sizeof(Parting))) Parting(string));
  }

 private:
  explicit Parting(const Ref<PlistString>& string) : Object(descriptor), string_(string) {}
  ~Parting() = default;

  static void destroy(Object& self) noexcept {
    auto& parting = static_cast<Parting&>(self);
    addTemporaryOf(parting.string_);
    {
      const TemporaryScope scope;
      addTemporaryOf(parting.string_);
    }
    parting.~Parting();
    deallocate(&self);
  }

  static constexpr vanto::Class descriptor{"Parting", &vanto::objectClass, vanto::NoKind, &destroy, nullptr, nullptr};

  Ref<PlistString> string_;
};

TEST(TemporaryScope, ReleasesWhatItsTemporariesLeaveWhenTheyEnd) {
  const Ref<PlistString> string = PlistString::create("a");
  {
    const TemporaryScope scope;
    static_cast<void>(Parting::create(string).asTemporary());
    EXPECT_EQ(string->referenceCount(), 2u);
  }
  EXPECT_EQ(string->referenceCount(), 1u);
}

TEST(TemporaryScope, IsOneForEachThread) {
  const Ref<PlistString> string = PlistString::create("a");
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&string] {
      for (int round = 0; round < 100; ++round) {
        const TemporaryScope outer;
        for (int index = 0; index < 10; ++index) addTemporaryOf(string);
        const TemporaryScope inner;
        addTemporaryOf(string);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(string->referenceCount(), 1u);
}

TEST(TemporaryScope, OfAThreadWithoutOneIsTheRootScopeUntilTheThreadEnds) {
  const Ref<PlistString> string = PlistString::create("a");
  std::thread thread([&string] {
    addTemporaryOf(string);
    {
      const TemporaryScope scope;
      addTemporaryOf(string);
    }
    EXPECT_EQ(string->referenceCount(), 2u);
  });
  thread.join();
  EXPECT_EQ(string->referenceCount(), 1u);
}

/// Makes temporaries when its thread ends, after all destructors of thread-local variables.
void addTemporaryAtThreadEnd(const Ref<PlistString>& string, int rounds) {
  struct Task {
    Ref<PlistString> string;
    int rounds;
  };
  static pthread_key_t key;
  static const int created = pthread_key_create(&key, [](void* value) {
    std::unique_ptr<Task> task(static_cast<Task*>(value));
    addTemporaryOf(task->string);
    if (--task->rounds > 0) pthread_setspecific(key, task.release());
  });
  ASSERT_EQ(created, 0);
  pthread_setspecific(key, std::make_unique<Task>(Task{string, rounds}).release());
}

TEST(TemporaryScope, TakesTemporariesWhileItsThreadEnds) {
  const Ref<PlistString> string = PlistString::create("a");
  struct Late {
    Ref<PlistString> string;
    ~Late() {
      if (string) addTemporaryOf(string);
    }
  };
  std::thread thread([&string] {
    thread_local Late late;
    late.string = string;
    addTemporaryAtThreadEnd(string, 2);
    addTemporaryOf(string);
  });
  thread.join();
  EXPECT_EQ(string->referenceCount(), 1u);
}

const char* const report = "function TemporaryScope close, file TemporaryScope.cpp";

void closeOuterFirst() {
  TemporaryScope outer;
  const TemporaryScope inner;
  outer.close();
}

void closeOnAnotherThread() {
  TemporaryScope scope;
  std::thread([&scope] {
    const TemporaryScope own;
    scope.close();
  }).join();
}

TEST(TemporaryScopeDeathTest, ClosesInReverseOrderOfOpeningOnly) {
  EXPECT_DEATH(closeOuterFirst(), report);
}

TEST(TemporaryScopeDeathTest, ClosesOnItsOwnThreadOnly) {
  EXPECT_DEATH(closeOnAnotherThread(), report);
}

}  // namespace
