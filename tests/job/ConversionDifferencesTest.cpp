// SPDX-License-Identifier: Apache-2.0
// The two converters walk alike. These are the points in which what they make differs.
#include <gtest/gtest.h>

#include <syslog.h>

#include <string>
#include <type_traits>

#include "host/ipc/SampleObjects.h"
#include "ipc/ObjectDescription.h"
#include "job/IPCObjectConversion.h"
#include "job/JobDataConversion.h"
#include "job/SampleJob.h"
#include "job/SampleValues.h"
#include "jobdata/JobDataNode.h"
#include "support/JobData.h"
#include "support/LogCapture.h"
#include "support/StandardErrorCapture.h"
#include "value/LiveObjects.h"

namespace vanto::testing {
namespace {

using test::own;

/// A value in both forms.
struct BothForms {
  explicit BothForms(Object* value) : data(Kor2tolven_data(value)), object(own(Kor2Vanto_data(value))) {}

  OwnedJobData data;
  Ref<vanto_object> object;
};

TEST(ConversionDifferences, EachConverterHasItsNamesAndItsResultType) {
  EXPECT_TRUE((std::is_same_v<decltype(Kor2tolven_data(nullptr)), tolven_data_t>));
  EXPECT_TRUE((std::is_same_v<decltype(Kor2Vanto_data(nullptr)), vanto_object_t>));
  EXPECT_TRUE((std::is_same_v<decltype(&myKorDictionaryApplyFunction), KorDictionaryApplierFunction>));
  EXPECT_TRUE((std::is_same_v<decltype(&KorDictionaryToVanto), KorDictionaryApplierFunction>));
}

TEST(ConversionDifferences, DataIsFreedAsATreeAndAnObjectIsCounted) {
  Object* value = array({string("element")});
  const std::int64_t before = liveObjectCount();
  tolven_data_free(Kor2tolven_data(value));
  EXPECT_EQ(liveObjectCount(), before);
  vanto_object_t object = Kor2Vanto_data(value);
  EXPECT_EQ(object->referenceCount(), 1U);
  vanto_release(object);
  EXPECT_EQ(liveObjectCount(), before);
}

TEST(ConversionDifferences, BytesAreAnArrayWithBytesOrADataObject) {
  const BothForms forms(data({1, 2}));
  EXPECT_EQ(tolven_data_get_kind(forms.data.get()), TOLVEN_DATA_ARRAY);
  EXPECT_EQ(tolven_data_get_opaque_length(forms.data.get()), 2U);
  EXPECT_EQ(vanto_kind(forms.object.get()), VANTO_KIND_DATA);
  EXPECT_EQ(vanto_data_get_length(forms.object.get()), 2U);
}

TEST(ConversionDifferences, AHoleOfTheSourceStaysAHoleOrCloses) {
  const BothForms forms(array({number(1), nullptr, number(3)}));
  EXPECT_EQ(describe(forms.data), "[1, (null), 3]");
  EXPECT_EQ(vanto::describe(forms.object.get()), "[1, 3]");
}

TEST(ConversionDifferences, AnElementIsOwnedByItsArrayOrCountedOnceByIt) {
  const BothForms forms(array({string("element")}));
  EXPECT_TRUE(tolven_data_array_get_index(forms.data.get(), 0)->hasContainer());
  EXPECT_EQ(tolven_data_array_get_index(forms.data.get(), 0)->referenceCount(), 1U);
  EXPECT_EQ(vanto_array_get_value(forms.object.get(), 0)->referenceCount(), 1U);
}

TEST(ConversionDifferences, AKeyGoesThroughTheConverterOrStraightIntoABuffer) {
  // A key that is missing shows it: the converter of values refuses it with its line, and the value is freed.
  const OwnedJobData target(tolven_data_alloc(TOLVEN_DATA_DICTIONARY));
  StandardErrorCapture errors;
  myKorDictionaryApplyFunction(nullptr, string("value"), target.get());
  EXPECT_EQ(errors.take(), "Kor2tolven_data() fails for top-level KorGetTypeID()\n");
  const BothForms forms(dictionary({{string("key"), PlistBoolean::of(true)}}));
  EXPECT_EQ(describe(forms.data), "{\"key\": true}");
  EXPECT_EQ(vanto::describe(forms.object.get()), "{\"key\": true}");
}

TEST(ConversionDifferences, AnEntryIsOwnedByItsDictionaryOrCountedOnceByIt) {
  const BothForms forms(dictionary({{string("key"), string("value")}}));
  EXPECT_TRUE(tolven_data_dict_lookup(forms.data.get(), "key")->hasContainer());
  EXPECT_EQ(tolven_data_dict_lookup(forms.data.get(), "key")->referenceCount(), 1U);
  EXPECT_EQ(vanto_dictionary_get_value(forms.object.get(), "key")->referenceCount(), 1U);
}

TEST(ConversionDifferences, AFailureGoesToTheStandardErrorOrToTheLog) {
  StandardErrorCapture errors;
  {
    const LogCapture silent;
    EXPECT_EQ(Kor2tolven_data(date()), nullptr);
  }
  EXPECT_NE(errors.take(), "");
  LogCapture log;
  EXPECT_EQ(Kor2Vanto_data(date()), nullptr);
  ASSERT_EQ(log.take().size(), 1U);
  EXPECT_EQ(errors.take(), "");
}

TEST(ConversionDifferences, EachConverterNamesItselfInItsLinesAndOnlyOneEndsThem) {
  StandardErrorCapture errors;
  LogCapture log;
  static_cast<void>(BothForms(array({numberOfSubtype(15), date()})));
  EXPECT_EQ(errors.take(),
            "Kor2tolven_data() fails for KorNumberType\nKor2tolven_data() fails for top-level KorGetTypeID()\n");
  log.expect(LOG_ERR, "Kor2Vanto_data() fails for KorNumberType");
  log.expect(LOG_ERR, "Kor2Vanto_data() fails for top-level KorGetTypeID()");
}

TEST(ConversionDifferences, AServiceMakesDataAtEachCallAndItsObjectOnce) {
  Ref<VantoServiceBundle> service = serviceWithJob(sampleJob());
  const OwnedJobData first(service->tolvendJobTolvenData());
  const OwnedJobData second(service->tolvendJobTolvenData());
  EXPECT_NE(first, second);
  vanto_object_t object = service->vantoJobData();
  EXPECT_EQ(service->vantoJobData(), object);
  service = nullptr;
  EXPECT_EQ(object->referenceCount(), 2U);
  vanto_release(object);
  vanto_release(object);
}

TEST(ConversionDifferences, EachFormOfAnArrayHasItsOwnMaker) {
  PlistArray* jobs = array({sampleJob()});
  const OwnedJobData data(VantoServiceBundle::createTolvenDataFromArray(jobs));
  const Ref<vanto_object> object = own(VantoServiceBundle::createVantoJobsArrayFromArray(jobs));
  EXPECT_EQ(tolven_data_array_get_count(data.get()), 1U);
  EXPECT_EQ(vanto_array_get_count(object.get()), 1U);
}

}  // namespace
}  // namespace vanto::testing
