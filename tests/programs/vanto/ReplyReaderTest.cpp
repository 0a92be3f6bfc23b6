// SPDX-License-Identifier: Apache-2.0
#include "vanto/ReplyReader.h"

#include <gtest/gtest.h>

#include "programs/vanto/FakeManager.h"

namespace vanto::tool {
namespace {

using test::Held;
using testing::objectOf;

TEST(ReplyReader, ReadsWhatIsThere) {
  const Held reply = objectOf(R"({"text": "a\u0001", "number": -7, "flag": true, "list": [{"x": 1}, {"x": 2}],
                                  "inner": {"y": "z"}})");
  ReplyReader reader(reply);
  EXPECT_EQ(reader.text("text"), "a\x01");
  EXPECT_EQ(reader.integer("number"), -7);
  EXPECT_TRUE(reader.flag("flag"));
  EXPECT_EQ(reader.textIfAny("text"), "a\x01");
  EXPECT_EQ(reader.integerIfAny("none"), std::nullopt);
  std::int64_t sum = 0;
  reader.eachOf("list", [&sum](ReplyReader& element) { sum += element.integer("x"); });
  EXPECT_EQ(sum, 3);
  std::string inner;
  reader.dictionaryIfAny("inner", [&inner](ReplyReader& entry) { inner = entry.text("y"); });
  EXPECT_EQ(inner, "z");
  reader.dictionaryIfAny("none", [](ReplyReader&) { FAIL(); });
  EXPECT_EQ(reader.problem(), "");
}

TEST(ReplyReader, KeepsTheFirstProblem) {
  const Held reply = objectOf(R"({"text": 1, "flag": "true"})");
  ReplyReader reader(reply);
  EXPECT_EQ(reader.text("text"), "");
  EXPECT_FALSE(reader.flag("flag"));
  EXPECT_EQ(reader.problem(), "no string \"text\"");
}

TEST(ReplyReader, SaysWhichEntryIsWrong) {
  const std::pair<const char*, const char*> replies[] = {
      {R"({"jobs": [{"list": [{"x": 1}]}, {"list": [{"x": 1}, {"x": "1"}]}]})",
       "no int64 \"x\" in \"jobs\"[1].\"list\"[1]"},
      {R"({"jobs": [{"list": []}, 3]})", "no dictionary in \"jobs\"[1]"},
      {R"({"jobs": {"list": []}})", "no array \"jobs\""},
      {R"({})", "no array \"jobs\""},
      {R"([])", "no dictionary"}};
  for (const auto& [json, problem] : replies) {
    const Held reply = objectOf(json);
    ReplyReader reader(reply);
    reader.eachOf("jobs", [](ReplyReader& job) {
      job.eachOf("list", [](ReplyReader& element) { static_cast<void>(element.integer("x")); });
    });
    EXPECT_EQ(reader.problem(), problem) << json;
  }
}

TEST(ReplyReader, TakesWhatNeedNotBeThereOnlyOfTheRightKind) {
  const Held reply = objectOf(R"({"number": "7", "inner": []})");
  ReplyReader reader(reply);
  EXPECT_EQ(reader.integerIfAny("number"), std::nullopt);
  EXPECT_EQ(reader.problem(), "no int64 \"number\"");
  ReplyReader other(reply);
  other.dictionaryIfAny("inner", [](ReplyReader&) { FAIL(); });
  EXPECT_EQ(other.problem(), "no dictionary \"inner\"");
}

TEST(ReplyReader, ReadsNothingOfNull) {
  ReplyReader reader(nullptr);
  EXPECT_EQ(reader.text("a"), "");
  EXPECT_EQ(reader.problem(), "no dictionary");
}

}  // namespace
}  // namespace vanto::tool
