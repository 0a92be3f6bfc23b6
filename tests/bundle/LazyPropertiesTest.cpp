// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <array>
#include <barrier>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <VantoService/PlistNumber.h>
#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceBundle.h>

#include "bundle/VantoServiceBundleFields.h"
#include "support/BundleBuilder.h"

namespace vanto {
namespace {

using test::BundleBuilder;
using test::VantoServiceBundleFields;

constexpr dispatch_once_t done = -1;

/// A directory for bundles, and a temporary-object scope.
class LazyProperties : public ::testing::Test {
 protected:
  [[nodiscard]] BundleBuilder builder(std::string_view name = "Foo.vanto") const {
    return BundleBuilder(directory_.path(), name);
  }

  [[nodiscard]] static Ref<Bundle> bundleOf(BundleBuilder builder) {
    return Bundle::create(*PlistString::create(builder.build()));
  }

  [[nodiscard]] static Ref<VantoServiceBundle> serviceOf(BundleBuilder builder) {
    return VantoServiceBundle::initWithBundle(bundleOf(std::move(builder)).get());
  }

  /// A service whose "ServiceType" is `xml`.
  [[nodiscard]] Ref<VantoServiceBundle> serviceOfType(std::string_view xml) const {
    return serviceOf(builder().serviceEntry("ServiceType", xml));
  }

  const test::TemporaryDirectory directory_;
  const TemporaryScope scope_;
};

TEST_F(LazyProperties, IdentifyTheServiceByItsBundle) {
  const Ref<VantoServiceBundle> service = serviceOf(
      builder().identifier("com.example.foo").serviceEntry("KorBundleIdentifier", BundleBuilder::string("no")));
  EXPECT_EQ(service->identifier()->text(), "com.example.foo");
  EXPECT_EQ(service->identifier(), service->bundle()->bundleIdentifier());
  EXPECT_EQ(VantoServiceBundleFields{*service}.identifierPredicate(), done);
}

TEST_F(LazyProperties, LeaveAMissingIdentifierMissingOnEveryCall) {
  const Ref<VantoServiceBundle> service = serviceOf(builder().service());
  const VantoServiceBundleFields fields{*service};
  EXPECT_EQ(service->identifier(), nullptr);
  EXPECT_EQ(fields.identifierPredicate(), done);
  // If it were looked for again, it would now be found.
  fields.bundle() = bundleOf(builder("Other.vanto").identifier("other"));
  EXPECT_EQ(service->identifier(), nullptr);
}

TEST_F(LazyProperties, FindTheExecutableOnceAndKeepItsPath) {
  const BundleBuilder full = builder().executable("Foo").service();
  const Ref<VantoServiceBundle> service = serviceOf(full);
  PlistString* path = nullptr;
  {
    const TemporaryScope scope;
    path = service->executablePath();
  }
  ASSERT_NE(path, nullptr);
  EXPECT_EQ(path->referenceCount(), 1U);
  EXPECT_EQ(path->text(), full.executablePath("Foo"));
  std::filesystem::remove(full.executablePath("Foo"));
  EXPECT_EQ(service->executablePath(), path);
  EXPECT_EQ(VantoServiceBundleFields{*service}.executablePathPredicate(), done);
}

TEST_F(LazyProperties, LeaveAMissingExecutableMissingWhenItComesLater) {
  BundleBuilder bundle = builder().entry("KorBundleExecutable", BundleBuilder::string("Foo"));
  const Ref<VantoServiceBundle> service = serviceOf(bundle);
  EXPECT_EQ(service->executablePath(), nullptr);
  bundle.executable("Foo").build();
  EXPECT_NE(service->bundle()->executablePath(), nullptr);
  EXPECT_EQ(service->executablePath(), nullptr);
}

TEST_F(LazyProperties, KeepTheServiceDictionaryOfTheInfoDictionary) {
  const Ref<VantoServiceBundle> service = serviceOf(builder().serviceEntry("a", BundleBuilder::integer(1)));
  Object* dictionary = service->serviceDictionary();
  EXPECT_EQ(dictionary, service->bundle()->infoDictionary()->valueForKey("VantoService"));
  EXPECT_EQ(as<PlistDictionary>(dictionary)->count(), 1U);
  EXPECT_EQ(service->serviceDictionary(), dictionary);
  EXPECT_EQ(VantoServiceBundleFields{*service}.serviceDictionaryPredicate(), done);
}

TEST_F(LazyProperties, KeepAServiceDictionaryOfAnotherKindAsItIs) {
  const std::string path = builder().entry("VantoService", BundleBuilder::string("text")).build();
  VantoServiceBundle* service = VantoServiceBundle::VantoServiceBundleAtPath(PlistString::create(path).get());
  ASSERT_NE(service, nullptr);
  const auto* stored = as<PlistString>(service->serviceDictionary());
  ASSERT_NE(stored, nullptr);
  EXPECT_EQ(stored->text(), "text");
  EXPECT_EQ(service->serviceType(), VantoServiceTypeNone);
  EXPECT_FALSE(service->isSystemService());
}

TEST_F(LazyProperties, TellTheServiceType) {
  const std::pair<std::string_view, VantoServiceType> types[] = {
      {"User", 1}, {"Session", 2}, {"System", 3}, {"system", 0}, {"SYSTEM", 0}, {"", 0}, {"System ", 0}, {"Other", 0}};
  for (const auto& [text, type] : types) {
    const Ref<VantoServiceBundle> service = serviceOfType(BundleBuilder::string(text));
    EXPECT_EQ(service->serviceType(), type) << text;
    EXPECT_EQ(service->isSystemService(), type == 3) << text;
    EXPECT_EQ(service->serviceType(), type) << text;
    EXPECT_EQ(VantoServiceBundleFields{*service}.serviceTypePredicate(), done);
  }
}

TEST_F(LazyProperties, TakeAServiceTypeThatIsAbsentOrNoStringAsNone) {
  const Ref<VantoServiceBundle> service = serviceOf(builder().service());
  EXPECT_EQ(service->serviceType(), VantoServiceTypeNone);
  EXPECT_FALSE(service->isSystemService());
  for (const std::string& xml : {BundleBuilder::integer(3), BundleBuilder::boolean(true), BundleBuilder::array({}),
                                 BundleBuilder::dictionary({})}) {
    EXPECT_EQ(serviceOfType(xml)->serviceType(), VantoServiceTypeNone) << xml;
    EXPECT_FALSE(serviceOfType(xml)->isSystemService()) << xml;
  }
}

TEST_F(LazyProperties, ComputeTheServiceDictionaryForTheServiceType) {
  const Ref<VantoServiceBundle> service = serviceOfType(BundleBuilder::string("User"));
  EXPECT_EQ(VantoServiceBundleFields{*service}.serviceDictionaryPredicate(), 0);
  EXPECT_EQ(service->serviceType(), VantoServiceTypeUser);
  EXPECT_EQ(VantoServiceBundleFields{*service}.serviceDictionaryPredicate(), done);
}

TEST_F(LazyProperties, GiveWhatAnArchiveRestoredWithoutTouchingTheBundle) {
  const Ref<VantoServiceBundle> service = VantoServiceBundle::initWithBundle(nullptr);
  const VantoServiceBundleFields fields{*service};
  fields.identifierPredicate() = fields.executablePathPredicate() = done;
  fields.serviceTypePredicate() = fields.serviceDictionaryPredicate() = done;
  fields.serviceType() = VantoServiceTypeSystem;
  EXPECT_EQ(service->serviceDictionary(), nullptr);
  EXPECT_EQ(service->identifier(), nullptr);
  EXPECT_TRUE(service->isSystemService());

  const Ref<PlistMutableString> string = PlistMutableString::create("mutable");
  fields.identifier() = string;
  fields.executablePath() = string;
  EXPECT_EQ(service->identifier(), string.get());
  EXPECT_EQ(service->executablePath(), string.get());

  fields.serviceDictionary() = PlistNumber::create(std::int64_t{2});
  EXPECT_EQ(service->serviceDictionary(), fields.serviceDictionary().get());
}

constexpr char missingServiceDictionary[] =
    "log 3: Assertion failed: _serviceDictionary != nil, function serviceDictionary, file VantoServiceBundle, line "
    "473\\.\n$";

using LazyPropertiesDeathTest = LazyProperties;

TEST_F(LazyPropertiesDeathTest, AbortWithoutAServiceDictionary) {
  const std::string path = builder().identifier("foo").build();
  const Ref<PlistString> key = PlistString::create("key");
  ASSERT_EQ(VantoServiceBundle::VantoServiceBundleAtPath(PlistString::create(path).get()), nullptr);
  const Ref<VantoServiceBundle> service =
      VantoServiceBundle::initWithBundle(Bundle::create(*PlistString::create(path)).get());
  const auto aborts = ::testing::KilledBySignal(SIGABRT);
  EXPECT_EXIT(static_cast<void>(service->serviceDictionary()), aborts, missingServiceDictionary);
  EXPECT_EXIT(static_cast<void>(service->serviceType()), aborts, missingServiceDictionary);
  EXPECT_EXIT(static_cast<void>(service->isSystemService()), aborts, missingServiceDictionary);
  EXPECT_EXIT(static_cast<void>(service->objectForServiceDictionaryKey(key.get())), aborts, missingServiceDictionary);
  EXPECT_EXIT(static_cast<void>(service->boolForServiceDictionaryKey(key.get())), aborts, missingServiceDictionary);
  EXPECT_EXIT(static_cast<void>(service->stringForServiceDictionaryKey(key.get())), aborts, missingServiceDictionary);
  EXPECT_EXIT(static_cast<void>(service->arrayForServiceDictionaryKey(key.get())), aborts, missingServiceDictionary);
  EXPECT_EXIT(static_cast<void>(service->dictionaryForServiceDictionaryKey(key.get())), aborts,
              missingServiceDictionary);
  // What does not need the service dictionary works.
  EXPECT_EQ(service->identifier()->text(), "foo");
  EXPECT_EQ(service->executablePath(), nullptr);
}

TEST_F(LazyPropertiesDeathTest, AbortWithoutABundleToTakeTheServiceDictionaryFrom) {
  const Ref<VantoServiceBundle> service = VantoServiceBundle::initWithBundle(nullptr);
  EXPECT_EXIT(static_cast<void>(service->serviceDictionary()), ::testing::KilledBySignal(SIGABRT),
              missingServiceDictionary);
}

/// What a thread got from the getters.
struct Answers {
  PlistString* identifier = nullptr;
  PlistString* executablePath = nullptr;
  Object* serviceDictionary = nullptr;
  VantoServiceType serviceType = 0;

  bool operator==(const Answers&) const = default;
};

TEST_F(LazyProperties, AreComputedOnceForThreadsThatAskAtTheSameTime) {
  constexpr int threadCount = 8;
  const Ref<Bundle> bundle = bundleOf(
      builder().identifier("foo").executable("Foo").serviceEntry("ServiceType", BundleBuilder::string("System")));
  for (int round = 0; round < 50; ++round) {
    const Ref<VantoServiceBundle> service = VantoServiceBundle::initWithBundle(bundle.get());
    std::array<Answers, threadCount> answers;
    std::barrier start(threadCount);
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i) {
      threads.emplace_back([&, i] {
        const TemporaryScope scope;
        start.arrive_and_wait();
        Answers& mine = answers[static_cast<std::size_t>(i)];
        // Some begin with what depends on the service dictionary, some with the dictionary itself.
        if (i % 2 == 0) mine.serviceType = service->serviceType();
        mine.serviceDictionary = service->serviceDictionary();
        mine.identifier = service->identifier();
        mine.executablePath = service->executablePath();
        if (i % 2 == 1) mine.serviceType = service->serviceType();
      });
    }
    for (std::thread& thread : threads) thread.join();
    ASSERT_NE(answers[0].executablePath, nullptr);
    for (const Answers& answer : answers) EXPECT_EQ(answer, answers[0]);
    EXPECT_EQ(answers[0].serviceType, VantoServiceTypeSystem);
    // Each computation makes a new path; only the one that is kept was made, and it is held once.
    EXPECT_EQ(answers[0].executablePath->referenceCount(), 1U);
  }
}

}  // namespace
}  // namespace vanto
