// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <array>
#include <barrier>
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceBundle.h>
#include <VantoService/VantoServiceConstants.h>

#include "bundle/VantoServiceBundleFields.h"
#include "support/BundleBuilder.h"
#include "support/PropertyLists.h"
#include "support/Values.h"

namespace vanto {
namespace {

using namespace vanto::testing;
using test::BundleBuilder;
using test::VantoServiceBundleFields;

constexpr dispatch_once_t done = -1;

/// A directory for bundles, and a temporary-object scope.
class JobDictionary : public ::testing::Test {
 protected:
  /// A service that can be a job: it has an identifier and an executable.
  [[nodiscard]] BundleBuilder complete() const { return incomplete().identifier("com.example.foo").executable("Foo"); }

  [[nodiscard]] BundleBuilder incomplete() const { return BundleBuilder(directory_.path(), "Foo.vanto").service(); }

  [[nodiscard]] static Ref<VantoServiceBundle> serviceOf(BundleBuilder builder) {
    return VantoServiceBundle::initWithBundle(Bundle::create(*PlistString::create(builder.build())).get());
  }

  [[nodiscard]] static PlistDictionary* jobOf(VantoServiceBundle& service) {
    return as<PlistDictionary>(service.tolvendJobDictionary());
  }

  /// The value under `key` in the job of the service that `builder` makes; null when it has none.
  [[nodiscard]] static Object* valueIn(const BundleBuilder& builder, std::string_view key) {
    VantoServiceBundle* service = serviceOf(builder).asTemporary();
    return jobOf(*service)->valueForKey(key);
  }

  /// The domain in the job of a service whose "ServiceType" is `xml`; empty when it has none.
  [[nodiscard]] std::string domainOfType(std::string_view xml) const {
    const auto* domain = as<PlistString>(valueIn(complete().serviceEntry("ServiceType", xml), "VantoDomain"));
    return domain == nullptr ? "" : std::string(domain->text());
  }

  /// A service without a bundle whose job dictionary is `value`, as a restored one is.
  [[nodiscard]] static Ref<VantoServiceBundle> restoredWith(Ref<Object> value) {
    Ref<VantoServiceBundle> service = VantoServiceBundle::initWithBundle(nullptr);
    const VantoServiceBundleFields fields{*service};
    fields.jobDictionary() = std::move(value);
    fields.jobDictionaryPredicate() = done;
    return service;
  }

  const test::TemporaryDirectory directory_;
  const TemporaryScope scope_;
};

/// Keys of a dictionary in ascending order.
std::vector<std::string> keysOf(const PlistDictionary& dictionary) {
  std::vector<std::string> keys;
  for (Object* key : dictionary.allKeys()->elements()) keys.emplace_back(as<PlistString>(key)->text());
  return keys;
}

TEST_F(JobDictionary, HasFourEntriesForAServiceWithoutType) {
  const Ref<VantoServiceBundle> service = serviceOf(complete());
  ASSERT_NE(jobOf(*service), nullptr);
  EXPECT_EQ(keysOf(*jobOf(*service)),
            (std::vector<std::string>{"EnableTransactions", "Label", "MachServices", "ProgramArguments"}));
  EXPECT_EQ(jobOf(*service)->valueForKey("EnableTransactions"), PlistBoolean::of(true));
}

TEST_F(JobDictionary, NamesTheDomainByServiceType) {
  EXPECT_EQ(domainOfType(BundleBuilder::string("User")), "VantoPerUser");
  EXPECT_EQ(domainOfType(BundleBuilder::string("Session")), "VantoPerSession");
  EXPECT_EQ(domainOfType(BundleBuilder::string("System")), "VantoSystem");
}

TEST_F(JobDictionary, HasNoDomainForAnyOtherServiceType) {
  for (const std::string& xml : {BundleBuilder::string("system"), BundleBuilder::string(""), BundleBuilder::integer(1),
                                 BundleBuilder::boolean(true), BundleBuilder::array({})}) {
    EXPECT_EQ(domainOfType(xml), "") << xml;
  }
  EXPECT_EQ(valueIn(complete(), "VantoDomain"), nullptr);
}

TEST_F(JobDictionary, HasNoDomainForATypeThatOnlyAnArchiveCanHold) {
  const Ref<VantoServiceBundle> service = serviceOf(complete());
  const VantoServiceBundleFields fields{*service};
  fields.serviceType() = 4;
  fields.serviceTypePredicate() = done;
  EXPECT_EQ(jobOf(*service)->valueForKey("VantoDomain"), nullptr);
}

TEST_F(JobDictionary, StartsTheProxyWithTheExecutableAsItsOneArgument) {
  const Ref<VantoServiceBundle> service = serviceOf(complete());
  const auto* arguments = as<PlistArray>(jobOf(*service)->valueForKey("ProgramArguments"));
  ASSERT_NE(arguments, nullptr);
  ASSERT_EQ(arguments->count(), 2U);
  EXPECT_EQ(as<PlistString>(arguments->at(0))->text(), "/usr/libexec/vantoproxy");
  EXPECT_EQ(arguments->at(1), service->executablePath());
  EXPECT_EQ(service->executablePath()->text(), complete().executablePath("Foo"));
}

TEST_F(JobDictionary, OffersTheOneNameThatIsItsLabelToo) {
  const Ref<VantoServiceBundle> service = serviceOf(complete());
  EXPECT_EQ(jobOf(*service)->valueForKey("Label"), service->identifier());
  const auto* names = as<PlistDictionary>(jobOf(*service)->valueForKey("MachServices"));
  ASSERT_NE(names, nullptr);
  EXPECT_EQ(names->count(), 1U);
  EXPECT_EQ(names->valueForKey("com.example.foo"), PlistBoolean::of(true));
}

TEST_F(JobDictionary, CopiesMultipleInstancesOfAnyKindUnchanged) {
  for (const std::string& xml :
       {BundleBuilder::string("many"), BundleBuilder::integer(3), BundleBuilder::boolean(true),
        BundleBuilder::boolean(false), BundleBuilder::array({}), BundleBuilder::dictionary({{"a", "<true/>"}}),
        std::string("<data>AAEC</data>"), std::string("<date>2026-11-21T08:00:00Z</date>")}) {
    const Ref<VantoServiceBundle> service = serviceOf(complete().serviceEntry("_MultipleInstances", xml));
    Object* given = service->objectForServiceDictionaryKey(VantoServiceDictionaryMultipleInstancesKey);
    ASSERT_NE(given, nullptr) << xml;
    EXPECT_EQ(jobOf(*service)->valueForKey("MultipleInstances"), given) << xml;
    EXPECT_EQ(jobOf(*service)->valueForKey("_MultipleInstances"), nullptr) << xml;
  }
}

TEST_F(JobDictionary, TakesMultipleInstancesFromTheKeyWithTheUnderscoreOnly) {
  EXPECT_EQ(valueIn(complete().serviceEntry("MultipleInstances", "<true/>"), "MultipleInstances"), nullptr);
}

TEST_F(JobDictionary, CarriesNothingElseOfTheServiceDictionary) {
  BundleBuilder builder = complete();
  for (const char* key : {"JoinExistingSession", "EnvironmentVariables", "RunLoopType", "_SandboxProfile",
                          "_UseQelApplicationMain", "_RoleAccount", "_AllowedClients", "Other"}) {
    builder.serviceEntry(key, BundleBuilder::string("planted"));
  }
  const Ref<VantoServiceBundle> service = serviceOf(builder);
  EXPECT_EQ(keysOf(*jobOf(*service)),
            (std::vector<std::string>{"EnableTransactions", "Label", "MachServices", "ProgramArguments"}));
  EXPECT_EQ(service->tolvendJobPropertyListString()->text().find("planted"), std::string_view::npos);
}

TEST_F(JobDictionary, IsMadeForAServiceEntryThatIsNoDictionary) {
  const Ref<VantoServiceBundle> service = serviceOf(BundleBuilder(directory_.path(), "Foo.vanto")
                                                        .identifier("com.example.foo")
                                                        .executable("Foo")
                                                        .entry("VantoService", BundleBuilder::string("text")));
  ASSERT_NE(jobOf(*service), nullptr);
  EXPECT_EQ(jobOf(*service)->count(), 4U);
}

TEST_F(JobDictionary, IsImmutable) {
  const Ref<VantoServiceBundle> service = serviceOf(complete().serviceEntry("ServiceType", "<string>User</string>"));
  EXPECT_EQ(&jobOf(*service)->runtimeClass(), &PlistDictionary::classDescriptor());
  EXPECT_EQ(&jobOf(*service)->valueForKey("MachServices")->runtimeClass(), &PlistDictionary::classDescriptor());
  EXPECT_EQ(&jobOf(*service)->valueForKey("ProgramArguments")->runtimeClass(), &PlistArray::classDescriptor());
}

TEST_F(JobDictionary, IsComputedOnceAndOwnedByTheService) {
  const Ref<VantoServiceBundle> service = serviceOf(complete());
  const VantoServiceBundleFields fields{*service};
  EXPECT_EQ(fields.jobDictionaryPredicate(), 0);
  Ref<Object> job;
  {
    const TemporaryScope scope;
    job = Ref<Object>::share(service->tolvendJobDictionary());
  }
  EXPECT_EQ(fields.jobDictionaryPredicate(), done);
  EXPECT_EQ(job->referenceCount(), 2U);
  // Were it computed again, it would now have another label.
  fields.identifier() = PlistString::create("other");
  EXPECT_EQ(service->tolvendJobDictionary(), job.get());
  EXPECT_EQ(as<PlistString>(jobOf(*service)->valueForKey("Label"))->text(), "com.example.foo");
}

TEST_F(JobDictionary, DoesNotSeeLaterChangesOfTheBundleOnDisk) {
  BundleBuilder builder = complete();
  const Ref<VantoServiceBundle> service = serviceOf(builder);
  const std::string before(service->tolvendJobPropertyListString()->text());
  builder.serviceEntry("ServiceType", BundleBuilder::string("System")).build();
  EXPECT_EQ(service->tolvendJobPropertyListString()->text(), before);
}

TEST_F(JobDictionary, IsSharedByThreadsThatAskAtTheSameTime) {
  constexpr std::size_t threadCount = 8;
  const Ref<Bundle> bundle = Bundle::create(*PlistString::create(complete().build()));
  for (int round = 0; round < 50; ++round) {
    const Ref<VantoServiceBundle> service = VantoServiceBundle::initWithBundle(bundle.get());
    std::array<Object*, threadCount> jobs{};
    std::barrier start(threadCount);
    std::vector<std::thread> threads;
    for (Object*& job : jobs) {
      threads.emplace_back([&start, &job, &service] {
        const TemporaryScope scope;
        start.arrive_and_wait();
        job = service->tolvendJobDictionary();
      });
    }
    for (std::thread& thread : threads) thread.join();
    ASSERT_NE(jobs[0], nullptr);
    for (const Object* job : jobs) EXPECT_EQ(job, jobs[0]);
    EXPECT_EQ(jobs[0]->referenceCount(), 1U);
  }
}

TEST_F(JobDictionary, DoesNotExistWithoutIdentifierOrExecutable) {
  for (const BundleBuilder& builder :
       {incomplete(), incomplete().identifier("com.example.foo"), incomplete().executable("Foo")}) {
    const Ref<VantoServiceBundle> service = serviceOf(builder);
    const VantoServiceBundleFields fields{*service};
    EXPECT_EQ(service->tolvendJobDictionary(), nullptr);
    EXPECT_EQ(fields.jobDictionaryPredicate(), done);
    EXPECT_EQ(fields.serviceDictionaryPredicate(), done);
    EXPECT_EQ(fields.serviceTypePredicate(), done);
    EXPECT_EQ(service->tolvendJobPropertyListData(), nullptr);
    EXPECT_EQ(service->tolvendJobPropertyListString(), nullptr);
    std::filesystem::remove_all(builder.path());
  }
}

TEST_F(JobDictionary, IsNotTriedAgainWhenThereWasNone) {
  const Ref<VantoServiceBundle> service = serviceOf(incomplete().executable("Foo"));
  EXPECT_EQ(service->tolvendJobDictionary(), nullptr);
  VantoServiceBundleFields{*service}.identifier() = PlistString::create("late");
  EXPECT_EQ(service->tolvendJobDictionary(), nullptr);
}

TEST_F(JobDictionary, OfARestoredServiceIsTheArchivedOneWhateverItsKind) {
  const std::vector<Object*> values = {dictionary({{string("Label"), string("archived")}}),
                                       array({string("a")}),
                                       string("text"),
                                       number(7),
                                       PlistBoolean::of(true),
                                       PlistData::create({}).asTemporary(),
                                       mutableDictionary({})};
  for (Object* value : values) {
    EXPECT_EQ(restoredWith(Ref<Object>::share(value))->tolvendJobDictionary(), value);
  }
  EXPECT_EQ(restoredWith(nullptr)->tolvendJobDictionary(), nullptr);
}

TEST_F(JobDictionary, WithDomainIsMadeAfterARestoredOneWasAskedFor) {
  static_cast<void>(restoredWith(nullptr)->tolvendJobDictionary());
  EXPECT_EQ(domainOfType(BundleBuilder::string("User")), "VantoPerUser");
}

TEST_F(JobDictionary, IsWrittenAsAnXMLPropertyListThatReadsBackEqual) {
  const Ref<VantoServiceBundle> service =
      serviceOf(complete()
                    .serviceEntry("ServiceType", BundleBuilder::string("System"))
                    .serviceEntry("_MultipleInstances", BundleBuilder::string("a & \xC3\xA9")));
  const PlistString* text = service->tolvendJobPropertyListString();
  ASSERT_NE(text, nullptr);
  EXPECT_TRUE(text->text().starts_with("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>"));
  const Ref<PlistValue> read = readDocument(text->text());
  ASSERT_TRUE(read);
  EXPECT_TRUE(read->isEqual(service->tolvendJobDictionary()));
}

TEST_F(JobDictionary, HasTheSameBytesInBothWrittenForms) {
  const Ref<VantoServiceBundle> service = serviceOf(complete());
  const PlistData* data = service->tolvendJobPropertyListData();
  ASSERT_NE(data, nullptr);
  const std::string_view bytes(reinterpret_cast<const char*>(data->bytes().data()), data->length());
  EXPECT_EQ(bytes, written(*service->tolvendJobDictionary()));
  EXPECT_EQ(service->tolvendJobPropertyListString()->text(), bytes);
}

TEST_F(JobDictionary, IsWrittenAnewAtEachCallAsATemporary) {
  const Ref<VantoServiceBundle> service = serviceOf(complete());
  EXPECT_NE(service->tolvendJobPropertyListData(), service->tolvendJobPropertyListData());
  EXPECT_NE(service->tolvendJobPropertyListString(), service->tolvendJobPropertyListString());
  Ref<PlistData> data;
  Ref<PlistString> text;
  {
    const TemporaryScope scope;
    data = Ref<PlistData>::share(service->tolvendJobPropertyListData());
    text = Ref<PlistString>::share(service->tolvendJobPropertyListString());
  }
  EXPECT_EQ(data->referenceCount(), 1U);
  EXPECT_EQ(text->referenceCount(), 1U);
}

TEST_F(JobDictionary, IsNotWrittenWhenAnArchiveHadSomethingElseInItsPlace) {
  for (Object* value : std::vector<Object*>{array({string("a")}), string("text"), number(7), PlistBoolean::of(true)}) {
    const Ref<VantoServiceBundle> service = restoredWith(Ref<Object>::share(value));
    EXPECT_EQ(service->tolvendJobPropertyListData(), nullptr);
    EXPECT_EQ(service->tolvendJobPropertyListString(), nullptr);
  }
  EXPECT_EQ(restoredWith(nullptr)->tolvendJobPropertyListData(), nullptr);
}

TEST_F(JobDictionary, IsNotWrittenWhenXMLCannotCarryIt) {
  for (Object* value :
       std::vector<Object*>{string("\x01"), array({nullptr}), KorURL::create(*string("/a"), false).asTemporary()}) {
    const Ref<VantoServiceBundle> service =
        restoredWith(Ref<Object>::share(dictionary({{string("MultipleInstances"), value}})));
    EXPECT_EQ(service->tolvendJobPropertyListData(), nullptr);
    EXPECT_EQ(service->tolvendJobPropertyListString(), nullptr);
  }
}

using JobDictionaryDeathTest = JobDictionary;

TEST_F(JobDictionaryDeathTest, NeedsAServiceDictionaryEvenWhereThereCanBeNoJob) {
  const Ref<VantoServiceBundle> service = serviceOf(BundleBuilder(directory_.path(), "Foo.vanto"));
  EXPECT_EXIT(static_cast<void>(service->tolvendJobDictionary()), ::testing::KilledBySignal(SIGABRT),
              "_serviceDictionary != nil, function serviceDictionary, file VantoServiceBundle, line 473\\.\n$");
}

}  // namespace
}  // namespace vanto
