// SPDX-License-Identifier: Apache-2.0
#include "tolvend/JobTree.h"

#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "support/JobData.h"
#include "value/limits.h"

namespace vanto::manager {
namespace {

struct Release {
  void operator()(vanto_object_t object) const { vanto_release(object); }
};
using Owned = std::unique_ptr<struct vanto_object, Release>;

/// The description of the job data that `object`, which is taken over, gives; the refusal if none.
std::string convert(vanto_object_t object) {
  const Owned owned(object);
  JobTree tree;
  if (std::string refusal = createJobTree(object, tree); !refusal.empty()) {
    EXPECT_EQ(tree, nullptr);
    return refusal;
  }
  return vanto::testing::describe(vanto::testing::OwnedJobData(tree.release()));
}

std::string describe(vanto_object_t object) {
  const std::unique_ptr<char, void (*)(void*)> text(vanto_copy_description(object), &std::free);
  return text.get();
}

vanto_object_t nested(std::size_t levels) {
  vanto_object_t object = vanto_array_create(nullptr, 0);
  for (std::size_t level = 1; level < levels; ++level) {
    vanto_object_t outer = vanto_array_create(&object, 1);
    vanto_release(object);
    object = outer;
  }
  return object;
}

constexpr char tooLarge[] =
    "the job is larger than 1 MiB, or more than 128 levels deep; a job needs a few hundred bytes";

TEST(JobTree, HoldsEachKindOfValue) {
  const Owned text(vanto_string_create("ä"));
  const Owned number(vanto_int64_create(-5));
  const Owned real(vanto_double_create(0.5));
  const vanto_object_t elements[] = {text.get(), number.get(), real.get(), vanto_bool_create(true)};
  const Owned array(vanto_array_create(elements, 4));
  const char* key = "key";
  const vanto_object_t value = array.get();
  vanto_object_t dictionary = vanto_dictionary_create(&key, &value, 1);
  const std::string expected = describe(dictionary);
  EXPECT_EQ(convert(dictionary), expected);
  EXPECT_EQ(convert(vanto_data_create("xyz", 3)), describe(Owned(vanto_data_create("xyz", 3)).get()));
}

TEST(JobTree, RefusesWhatIsNoValue) {
  const std::string refusal =
      "the job holds something that is no value, such as a descriptor or an error; leave that out";
  EXPECT_EQ(convert(vanto_fd_create(STDIN_FILENO)), refusal);
  EXPECT_EQ(convert(vanto_error_create(VANTO_ERROR_NAME, nullptr)), refusal);
  EXPECT_EQ(convert(nullptr), refusal);
  const Owned error(vanto_error_create(VANTO_ERROR_NAME, nullptr));
  const vanto_object_t element = error.get();
  EXPECT_EQ(convert(vanto_array_create(&element, 1)), refusal);
}

TEST(JobTree, RefusesMoreThanAJobMayHave) {
  const std::string text(limits::jobDataBytes - 8, 'x');
  EXPECT_NE(convert(vanto_string_create(text.c_str())), tooLarge);
  EXPECT_EQ(convert(vanto_string_create((text + "x").c_str())), tooLarge);
  EXPECT_EQ(convert(vanto_data_create((text + "x").data(), text.size() + 1)), tooLarge);
  vanto_object_t dictionary = vanto_dictionary_create(nullptr, nullptr, 0);
  vanto_dictionary_set_value(dictionary, text.c_str(), vanto_bool_create(true));
  EXPECT_EQ(convert(dictionary), tooLarge);
}

TEST(JobTree, RefusesWhatIsNestedTooDeep) {
  EXPECT_NE(convert(nested(limits::jobDataNesting)), tooLarge);
  EXPECT_EQ(convert(nested(limits::jobDataNesting + 1)), tooLarge);
  EXPECT_EQ(convert(nested(100'000)), tooLarge);
}

TEST(JobTree, QuotesTextOnOneLineAndNotAllOfIt) {
  EXPECT_EQ(inQuotes("a\"b\n"), R"("a\"b\n")");
  EXPECT_LT(inQuotes(std::string(100'000, 'x')).size(), 300U);
}

}  // namespace
}  // namespace vanto::manager
