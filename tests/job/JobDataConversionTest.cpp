// SPDX-License-Identifier: Apache-2.0
#include "job/JobDataConversion.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>

#include <VantoService/VantoServiceBundle.h>

#include "bundle/VantoServiceBundleFields.h"
#include "job/SampleJob.h"
#include "job/SampleValues.h"
#include "support/JobData.h"
#include "support/Nesting.h"
#include "support/SmallStack.h"
#include "support/StandardErrorCapture.h"

namespace vanto::testing {
namespace {

constexpr char numberLine[] = "Kor2tolven_data() fails for KorNumberType\n";
constexpr char kindLine[] = "Kor2tolven_data() fails for top-level KorGetTypeID()\n";

const char* lineFor(Refusal refusal) {
  if (refusal == Refusal::None) return "";
  return refusal == Refusal::Number ? numberLine : kindLine;
}

OwnedJobData converted(Object* value) {
  return OwnedJobData(Kor2tolven_data(value));
}

TEST(JobDataConversion, ConvertsOrRefusesEveryKindAtEveryPlace) {
  for (const SampleValue& sample : sampleValues()) {
    for (const SamplePlace& place : samplePlaces()) {
      StandardErrorCapture errors;
      const OwnedJobData data = converted(place.around(sample.value));
      const bool isRefused = sample.refusal != Refusal::None;
      EXPECT_EQ(describe(data), isRefused ? place.jobDataRefused : filledIn(place.converted, sample.converted))
          << sample.name << " as " << place.name;
      EXPECT_EQ(errors.take(), lineFor(sample.refusal)) << sample.name << " as " << place.name;
    }
  }
}

TEST(JobDataConversion, GivesEachKindItsNumber) {
  const std::pair<Object*, int> kinds[] = {{dictionary({}), 1},     {array({}), 2},
                                           {data({1}), 2},          {data({}), 2},
                                           {number(1), 4},          {real(1), 5},
                                           {string("a"), 7},        {PlistBoolean::of(false), 6},
                                           {numberOfSubtype(9), 4}, {numberOfSubtype(6), 5},
                                           {numberOfSubtype(5), 5}, {mutableArray({number(1)}), 2}};
  for (const auto& [value, kind] : kinds) {
    EXPECT_EQ(tolven_data_get_kind(converted(value).get()), kind) << description(*value);
  }
}

TEST(JobDataConversion, MakesBytesAnArrayThatCarriesThemAndHasNoElements) {
  const OwnedJobData bytes = converted(data({0, 255, 7}));
  EXPECT_EQ(tolven_data_get_kind(bytes.get()), TOLVEN_DATA_ARRAY);
  ASSERT_EQ(tolven_data_get_opaque_length(bytes.get()), 3U);
  EXPECT_EQ(std::memcmp(tolven_data_get_opaque(bytes.get()), "\0\xff\7", 3), 0);
  EXPECT_EQ(tolven_data_array_get_count(bytes.get()), 0U);
  // Empty data is still told from an empty array.
  EXPECT_NE(tolven_data_get_opaque(converted(data({})).get()), nullptr);
  EXPECT_EQ(tolven_data_get_opaque(converted(array({})).get()), nullptr);
}

TEST(JobDataConversion, LeavesAHoleWhereTheMiddleOfThreeCannotBeConverted) {
  StandardErrorCapture errors;
  const OwnedJobData data = converted(array({number(1), date(), number(3)}));
  EXPECT_EQ(errors.take(), kindLine);
  EXPECT_EQ(tolven_data_array_get_count(data.get()), 3U);
  EXPECT_EQ(tolven_data_get_integer(tolven_data_array_get_index(data.get(), 0)), 1);
  EXPECT_EQ(tolven_data_array_get_index(data.get(), 1), nullptr);
  EXPECT_EQ(tolven_data_get_integer(tolven_data_array_get_index(data.get(), 2)), 3);
}

TEST(JobDataConversion, CountsARefusedLastElementButNoHoleAtTheEndOfTheSource) {
  StandardErrorCapture errors;
  EXPECT_EQ(describe(converted(array({number(1), date()}))), "[1, (null)]");
  EXPECT_EQ(errors.take(), kindLine);
  EXPECT_EQ(describe(converted(array({number(1), nullptr}))), "[1]");
  EXPECT_EQ(describe(converted(array({nullptr, nullptr}))), "[]");
  EXPECT_EQ(errors.take(), "");
}

TEST(JobDataConversion, TellsEachFailureInTheOrderOfTheWalk) {
  StandardErrorCapture errors;
  const OwnedJobData data = converted(
      array({array({date()}), numberOfSubtype(14), dictionary({{string("k"), date()}}), numberOfSubtype(16)}));
  EXPECT_EQ(errors.take(), std::string(kindLine) + numberLine + kindLine + numberLine);
  EXPECT_EQ(describe(data), "[[(null)], (null), {}, (null)]");
}

TEST(JobDataConversion, RefusesNullWithTheLineOfOtherKinds) {
  StandardErrorCapture errors;
  EXPECT_EQ(Kor2tolven_data(nullptr), nullptr);
  EXPECT_EQ(errors.take(), kindLine);
}

TEST(JobDataConversion, KeepsTextUpTo4095BytesAndEmptiesTheRestInSilence) {
  StandardErrorCapture errors;
  const std::string longest(4095, 'x');
  EXPECT_EQ(tolven_data_get_string(converted(string(longest)).get()), longest);
  EXPECT_STREQ(tolven_data_get_string(converted(string(longest + "x")).get()), "");
  EXPECT_STREQ(tolven_data_get_string(converted(string(std::string("a\0b", 3))).get()), "");
  EXPECT_EQ(errors.take(), "");
}

TEST(JobDataConversion, LetsTheLastOfTheKeysThatBecomeEmptyCount) {
  const std::string longKey(4096, 'k');
  const OwnedJobData data =
      converted(dictionary({{string(longKey + "1"), number(1)}, {string(longKey + "2"), number(2)}}));
  EXPECT_EQ(tolven_data_dict_get_count(data.get()), 1U);
  EXPECT_EQ(tolven_data_get_integer(tolven_data_dict_lookup(data.get(), "")), 2);
}

TEST(JobDataConversion, LeavesTheOldEntryWhereOnesValueCannotBeConverted) {
  const OwnedJobData target(tolven_data_alloc(TOLVEN_DATA_DICTIONARY));
  myKorDictionaryApplyFunction(string("a"), number(1), target.get());
  myKorDictionaryApplyFunction(string("b"), array({string("x")}), target.get());
  StandardErrorCapture errors;
  myKorDictionaryApplyFunction(string("a"), date(), target.get());
  EXPECT_EQ(errors.take(), kindLine);
  EXPECT_EQ(describe(target), "{\"a\": 1, \"b\": [\"x\"]}");
  myKorDictionaryApplyFunction(string("a"), number(2), target.get());
  EXPECT_EQ(describe(target), "{\"a\": 2, \"b\": [\"x\"]}");
}

TEST(JobDataConversion, FreesTheValueOfAnEntryWithoutAKey) {
  const OwnedJobData target(tolven_data_alloc(TOLVEN_DATA_DICTIONARY));
  StandardErrorCapture errors;
  myKorDictionaryApplyFunction(nullptr, number(1), target.get());
  EXPECT_EQ(errors.take(), kindLine);
  EXPECT_EQ(tolven_data_dict_get_count(target.get()), 0U);
}

TEST(JobDataConversion, ServesAsTheFunctionOfADictionaryWalk) {
  const OwnedJobData target(tolven_data_alloc(TOLVEN_DATA_DICTIONARY));
  KorDictionaryApplyFunction(mutableDictionary({{string("b"), number(2)}, {string("a"), PlistBoolean::of(true)}}),
                             &myKorDictionaryApplyFunction, target.get());
  EXPECT_EQ(describe(target), "{\"a\": true, \"b\": 2}");
}

TEST(JobDataConversion, NeedsNoStackForDepthAndNeitherDoesTheEndOfTheTree) {
  for (const std::size_t depth : {512U, 100'000U}) {
    const Ref<Object> value = nestedContainers(depth, *string("innermost"));
    std::size_t levels = 0;
    runOnSmallStack(std::size_t{256} << 10, [&] {
      const OwnedJobData data = converted(value.get());
      tolven_data_t node = data.get();
      while (tolven_data_get_kind(node) != TOLVEN_DATA_STRING && node != nullptr) {
        node = tolven_data_get_kind(node) == TOLVEN_DATA_ARRAY ? tolven_data_array_get_index(node, 0)
                                                               : tolven_data_dict_lookup(node, "k");
        ++levels;
      }
    });
    EXPECT_EQ(levels, depth);
  }
}

TEST(JobDataConversion, ConvertsAnArrayOfJobsAndAnythingElseByItsKind) {
  const OwnedJobData jobs(VantoServiceBundle::createTolvenDataFromArray(array({sampleJob(), sampleJob()})));
  EXPECT_EQ(tolven_data_get_kind(jobs.get()), TOLVEN_DATA_ARRAY);
  EXPECT_EQ(tolven_data_array_get_count(jobs.get()), 2U);
  const OwnedJobData job(VantoServiceBundle::createTolvenDataFromArray(sampleJob()));
  EXPECT_EQ(tolven_data_get_kind(job.get()), TOLVEN_DATA_DICTIONARY);
}

TEST(JobDataConversion, ConvertsTheJobOfAServiceWithoutALineAndAnewAtEachCall) {
  const Ref<VantoServiceBundle> service = serviceWithJob(sampleJob());
  StandardErrorCapture errors;
  const OwnedJobData first(service->tolvendJobTolvenData());
  const OwnedJobData second(service->tolvendJobTolvenData());
  EXPECT_EQ(errors.take(), "");
  EXPECT_NE(first, second);
  EXPECT_EQ(describe(first), sampleJobDescription);
  EXPECT_EQ(describe(second), sampleJobDescription);
}

TEST(JobDataConversion, HasNoDataForAServiceWithoutAJob) {
  const Ref<VantoServiceBundle> service = serviceWithJob(nullptr);
  for (int call = 0; call < 2; ++call) {
    StandardErrorCapture errors;
    EXPECT_EQ(service->tolvendJobTolvenData(), nullptr);
    EXPECT_EQ(errors.take(), kindLine);
  }
}

}  // namespace
}  // namespace vanto::testing
