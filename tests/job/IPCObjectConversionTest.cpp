// SPDX-License-Identifier: Apache-2.0
#include "job/IPCObjectConversion.h"

#include <gtest/gtest.h>

#include <syslog.h>

#include <array>
#include <barrier>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceBundle.h>

#include "bundle/VantoServiceBundleFields.h"
#include "host/ipc/SampleObjects.h"
#include "ipc/ObjectDescription.h"
#include "job/SampleJob.h"
#include "job/SampleValues.h"
#include "support/LogCapture.h"
#include "support/Nesting.h"
#include "support/SmallStack.h"

namespace vanto::testing {
namespace {

using test::own;
using test::VantoServiceBundleFields;

const LogLine numberLine{LOG_ERR, "Kor2Vanto_data() fails for KorNumberType"};
const LogLine kindLine{LOG_ERR, "Kor2Vanto_data() fails for top-level KorGetTypeID()"};

std::vector<LogLine> linesFor(Refusal refusal) {
  if (refusal == Refusal::None) return {};
  return {refusal == Refusal::Number ? numberLine : kindLine};
}

Ref<vanto_object> converted(Object* value) {
  return own(Kor2Vanto_data(value));
}

std::string describedAs(Object* value) {
  return vanto::describe(converted(value).get());
}

TEST(IPCObjectConversion, ConvertsOrRefusesEveryKindAtEveryPlace) {
  for (const SampleValue& sample : sampleValues()) {
    for (const SamplePlace& place : samplePlaces()) {
      LogCapture log;
      const bool isRefused = sample.refusal != Refusal::None;
      EXPECT_EQ(describedAs(place.around(sample.value)),
                isRefused ? place.ipcObjectRefused : filledIn(place.converted, sample.converted))
          << sample.name << " as " << place.name;
      EXPECT_EQ(log.take(), linesFor(sample.refusal)) << sample.name << " as " << place.name;
    }
  }
}

TEST(IPCObjectConversion, MakesAnObjectOfTheKindForEachValue) {
  const std::pair<Object*, vanto_kind_t> kinds[] = {{string("a"), VANTO_KIND_STRING},
                                                    {PlistBoolean::of(false), VANTO_KIND_BOOL},
                                                    {array({}), VANTO_KIND_ARRAY},
                                                    {dictionary({}), VANTO_KIND_DICTIONARY},
                                                    {data({1}), VANTO_KIND_DATA},
                                                    {number(1), VANTO_KIND_INT64},
                                                    {numberOfSubtype(9), VANTO_KIND_INT64},
                                                    {real(1), VANTO_KIND_DOUBLE},
                                                    {numberOfSubtype(12), VANTO_KIND_DOUBLE}};
  for (const auto& [value, kind] : kinds) {
    EXPECT_EQ(vanto_kind(converted(value).get()), kind) << description(*value);
  }
}

TEST(IPCObjectConversion, KeepsTheBytesOfData) {
  const Ref<vanto_object> object = converted(data({0, 255, 7}));
  ASSERT_EQ(vanto_data_get_length(object.get()), 3U);
  EXPECT_EQ(std::memcmp(vanto_data_get_bytes_ptr(object.get()), "\0\xff\7", 3), 0);
}

TEST(IPCObjectConversion, MovesElementsUpOverTheHolesOfTheSource) {
  EXPECT_EQ(describedAs(array({nullptr, number(1), number(2), nullptr, number(3)})), "[1, 2, 3]");
  EXPECT_EQ(describedAs(array({nullptr, nullptr})), "[]");
}

TEST(IPCObjectConversion, ConvertsTheRestOfAnArrayWithADateInTheMiddle) {
  LogCapture log;
  log.expect({kindLine});
  EXPECT_EQ(describedAs(array({number(1), date(), number(2)})), "[1, 2]");
}

TEST(IPCObjectConversion, LogsEachFailureInTheOrderOfTheWalk) {
  LogCapture log;
  log.expect({kindLine, numberLine, kindLine, numberLine});
  EXPECT_EQ(describedAs(array(
                {array({date()}), numberOfSubtype(14), dictionary({{string("k"), date()}}), numberOfSubtype(16)})),
            "[[], {}]");
}

TEST(IPCObjectConversion, RefusesNullWithTheLineOfOtherKinds) {
  LogCapture log;
  log.expect({kindLine});
  EXPECT_EQ(Kor2Vanto_data(nullptr), nullptr);
}

TEST(IPCObjectConversion, KeepsTextUpTo4095BytesAndEmptiesTheRestInSilence) {
  const LogCapture log;
  const std::string longest(4095, 'x');
  EXPECT_EQ(vanto_string_get_text(converted(string(longest)).get()), longest);
  EXPECT_STREQ(vanto_string_get_text(converted(string(longest + "x")).get()), "");
  EXPECT_STREQ(vanto_string_get_text(converted(string(std::string("a\0b", 3))).get()), "");
  EXPECT_EQ(describedAs(dictionary({{string(longest + "x"), number(1)}, {string(std::string("a\0b", 3)), number(2)}})),
            "{\"\": 1}");
}

TEST(IPCObjectConversion, LeavesTheOldEntryWhereOnesValueCannotBeConverted) {
  const Ref<vanto_object> target = converted(dictionary({}));
  KorDictionaryToVanto(string("a"), number(1), target.get());
  LogCapture log;
  log.expect({kindLine});
  KorDictionaryToVanto(string("a"), date(), target.get());
  EXPECT_EQ(vanto::describe(target.get()), "{\"a\": 1}");
  KorDictionaryToVanto(string("a"), array({number(2)}), target.get());
  EXPECT_EQ(vanto::describe(target.get()), "{\"a\": [2]}");
}

TEST(IPCObjectConversion, LeavesTheTargetTheOnlyReferenceToAValue) {
  const Ref<vanto_object> target = converted(dictionary({{string("k"), array({string("element")})}}));
  vanto_object_t value = vanto_dictionary_get_value(target.get(), "k");
  EXPECT_EQ(value->referenceCount(), 1U);
  EXPECT_EQ(vanto_array_get_value(value, 0)->referenceCount(), 1U);
}

TEST(IPCObjectConversion, NeedsNoStackForDepth) {
  for (const std::size_t depth : {512U, 100'000U}) {
    const Ref<Object> value = nestedContainers(depth, *string("innermost"));
    std::size_t levels = 0;
    runOnSmallStack(std::size_t{256} << 10, [&] {
      const Ref<vanto_object> object = converted(value.get());
      vanto_object_t node = object.get();
      while (vanto_kind(node) != VANTO_KIND_STRING && node != nullptr) {
        node = vanto_kind(node) == VANTO_KIND_ARRAY ? vanto_array_get_value(node, 0)
                                                    : vanto_dictionary_get_value(node, "k");
        ++levels;
      }
    });
    EXPECT_EQ(levels, depth);
  }
}

TEST(IPCObjectConversion, ConvertsAnArrayOfJobsAndAnythingElseByItsKind) {
  const Ref<vanto_object> jobs = own(VantoServiceBundle::createVantoJobsArrayFromArray(array({sampleJob()})));
  EXPECT_EQ(vanto::describe(jobs.get()), "[" + std::string(sampleJobDescription) + "]");
  EXPECT_EQ(jobs->referenceCount(), 1U);
  const Ref<vanto_object> job = own(VantoServiceBundle::createVantoJobsArrayFromArray(sampleJob()));
  EXPECT_EQ(vanto::describe(job.get()), sampleJobDescription);
}

/// Drops the two references that a service never drops, so that a test leaves nothing behind.
void endJobData(vanto_object_t object) {
  vanto_release(object);
  vanto_release(object);
}

TEST(IPCObjectConversion, ConvertsTheJobOfAServiceOnceAndKeepsTwoReferencesForGood) {
  const LogCapture log;
  Ref<VantoServiceBundle> service = serviceWithJob(sampleJob());
  const VantoServiceBundleFields fields{*service};
  vanto_object_t job = service->vantoJobData();
  EXPECT_EQ(fields.jobDataPredicate(), -1);
  EXPECT_EQ(fields.jobData(), job);
  EXPECT_EQ(job->referenceCount(), 2U);
  fields.jobDictionary() = nullptr;
  EXPECT_EQ(service->vantoJobData(), job);
  EXPECT_EQ(job->referenceCount(), 2U);
  service = nullptr;
  EXPECT_EQ(job->referenceCount(), 2U);
  // Without a type there is no domain.
  EXPECT_EQ(vanto::describe(job), sampleJobDescription);
  EXPECT_EQ(vanto_dictionary_get_value(job, "VantoDomain"), nullptr);
  endJobData(job);
}

TEST(IPCObjectConversion, LeavesAMissingJobMissingAndLogsOnce) {
  const Ref<VantoServiceBundle> service = serviceWithJob(nullptr);
  LogCapture log;
  log.expect({kindLine});
  EXPECT_EQ(service->vantoJobData(), nullptr);
  VantoServiceBundleFields{*service}.jobDictionary() = Ref<Object>::share(sampleJob());
  EXPECT_EQ(service->vantoJobData(), nullptr);
}

TEST(IPCObjectConversion, GivesThreadsThatAskAtTheSameTimeOneObject) {
  constexpr std::size_t threadCount = 8;
  for (int round = 0; round < 20; ++round) {
    const Ref<VantoServiceBundle> service = serviceWithJob(sampleJob());
    std::array<vanto_object_t, threadCount> answers{};
    std::barrier start(threadCount);
    std::vector<std::thread> threads;
    for (std::size_t index = 0; index < threadCount; ++index) {
      threads.emplace_back([&, index] {
        const TemporaryScope scope;
        start.arrive_and_wait();
        answers[index] = service->vantoJobData();
      });
    }
    for (std::thread& thread : threads) thread.join();
    for (vanto_object_t answer : answers) EXPECT_EQ(answer, answers[0]);
    ASSERT_NE(answers[0], nullptr);
    EXPECT_EQ(answers[0]->referenceCount(), 2U);
    endJobData(answers[0]);
  }
}

}  // namespace
}  // namespace vanto::testing
