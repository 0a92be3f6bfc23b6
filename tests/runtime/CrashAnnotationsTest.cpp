// SPDX-License-Identifier: Apache-2.0
#include "runtime/CrashAnnotations.h"

#include <gtest/gtest.h>

// The linker's names for the two ends of the section.
extern "C" const char __start_vanto_crash_info[];
extern "C" const char __stop_vanto_crash_info[];

namespace vanto::testing {
namespace {

TEST(CrashAnnotations, AreSevenWordsOfVersion4WithoutAMessage) {
  EXPECT_EQ(sizeof gCRAnnotations, 7 * sizeof(void*));
  EXPECT_EQ(gCRAnnotations.version, 4U);
  EXPECT_EQ(gCRAnnotations.message, nullptr);
  for (const std::uintptr_t word : gCRAnnotations.reserved) EXPECT_EQ(word, 0U);
}

TEST(CrashAnnotations, HaveVersionAndMessageInTheFirstTwoWords) {
  const auto* words = reinterpret_cast<const std::uintptr_t*>(&gCRAnnotations);
  EXPECT_EQ(words[0], 4U);
  EXPECT_EQ(static_cast<const void*>(&gCRAnnotations.message), static_cast<const void*>(words + 1));
}

TEST(CrashAnnotations, AreAllThatTheirSectionHolds) {
  EXPECT_EQ(reinterpret_cast<const char*>(&gCRAnnotations), __start_vanto_crash_info);
  EXPECT_EQ(__stop_vanto_crash_info - __start_vanto_crash_info, static_cast<std::ptrdiff_t>(sizeof gCRAnnotations));
}

}  // namespace
}  // namespace vanto::testing
