// SPDX-License-Identifier: Apache-2.0
#include "jobdata/JobDataDescription.h"

#include <gtest/gtest.h>

#include <string>

#include "support/JobData.h"
#include "value/limits.h"

namespace vanto::testing {
namespace {

std::string described(tolven_data_t data) {
  return describe(OwnedJobData(data));
}

TEST(JobDataDescription, ShowsLeaves) {
  EXPECT_EQ(describeJobData(nullptr), "(null)");
  EXPECT_EQ(described(nullptr), "(null)");
  EXPECT_EQ(described(stringData("a\n\x1b\"")), "\"a\\n\\x1b\\\"\"");
  EXPECT_EQ(described(integerData(INT64_MIN)), "-9223372036854775808");
  tolven_data_t real = tolven_data_alloc(TOLVEN_DATA_REAL);
  tolven_data_set_real(real, 0.1);
  EXPECT_EQ(described(real), "0.1");
  tolven_data_t flag = tolven_data_alloc(TOLVEN_DATA_BOOL);
  EXPECT_EQ(describeJobData(flag), "false");
  tolven_data_set_bool(flag, true);
  EXPECT_EQ(described(flag), "true");
}

TEST(JobDataDescription, ShowsBytesOfEitherKind) {
  for (const tolven_data_kind_t kind : {TOLVEN_DATA_OPAQUE, TOLVEN_DATA_ARRAY}) {
    tolven_data_t data = tolven_data_alloc(kind);
    EXPECT_EQ(describeJobData(data), kind == TOLVEN_DATA_ARRAY ? "[]" : "0 bytes");
    tolven_data_set_opaque(data, "\1\xff", 2);
    EXPECT_EQ(described(data), "2 bytes 01ff");
  }
}

TEST(JobDataDescription, ShowsContainersOnOneLineWithTheirHoles) {
  tolven_data_t dictionary = tolven_data_alloc(TOLVEN_DATA_DICTIONARY);
  EXPECT_EQ(describeJobData(dictionary), "{}");
  tolven_data_dict_insert(dictionary, "list", arrayData({integerData(1), nullptr, arrayData({})}));
  tolven_data_dict_insert(dictionary, "a\n", stringData("x"));
  EXPECT_EQ(described(dictionary), "{\"a\\n\": \"x\", \"list\": [1, (null), []]}");
}

TEST(JobDataDescription, EndsAtTheLimitsOfDepthAndLength) {
  constexpr std::size_t levels = limits::jobDataDescriptionNesting;
  EXPECT_EQ(described(nestedArrayData(levels)), std::string(levels, '[') + std::string(levels, ']'));
  EXPECT_EQ(described(nestedArrayData(levels + 1)), std::string(levels, '[') + "[...]" + std::string(levels, ']'));
  tolven_data_t inner = tolven_data_alloc(TOLVEN_DATA_DICTIONARY);
  for (std::size_t level = 0; level < levels; ++level) inner = arrayData({inner});
  EXPECT_EQ(described(inner), std::string(levels, '[') + "{...}" + std::string(levels, ']'));

  const std::string fitting(limits::jobDataDescriptionBytes - 2, 'x');
  EXPECT_EQ(described(stringData(fitting.c_str())), "\"" + fitting + "\"");
  const std::string longer = fitting + "x";
  EXPECT_EQ(described(stringData(longer.c_str())), "\"" + longer + "...");
  tolven_data_t wide = arrayData({});
  tolven_data_array_set_index(wide, 1'000'000, nullptr);
  const std::string text = described(wide);
  EXPECT_TRUE(text.ends_with("..."));
  EXPECT_LE(text.size(), limits::jobDataDescriptionBytes + 3);
}

}  // namespace
}  // namespace vanto::testing
