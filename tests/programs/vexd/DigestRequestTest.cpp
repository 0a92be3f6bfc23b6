// SPDX-License-Identifier: Apache-2.0
#include "vexd/DigestRequest.h"

#include "programs/vexd/VexdFixture.h"

namespace vanto::testing {
namespace {

using vexd::DigestRequest;
using vexd::Record;

DigestRequest sample(bool hasInfo) {
  DigestRequest request;
  request.files.name = "a";
  request.files.executable = openFile("/proc/self/exe");
  if (hasInfo) request.files.info = openFile("/dev/null");
  request.files.signature = openFile("/dev/null");
  request.trust = trustIn(keyPair(1));
  request.trust[0].revocations = "revoked";
  request.trust.push_back({"/other", {}, {}, {}, false, "is bad"});
  return request;
}

Record recordOf(const DigestRequest& request) {
  Record record{request.bytes(), {}};
  for (const int descriptor : request.descriptors()) record.descriptors.emplace_back(dup(descriptor));
  return record;
}

TEST(DigestRequest, IsReadAsItWasWritten) {
  for (const bool hasInfo : {false, true}) {
    const DigestRequest request = sample(hasInfo);
    const auto read = DigestRequest::read(recordOf(request));
    ASSERT_TRUE(read);
    EXPECT_EQ(read->files.name, "a");
    EXPECT_TRUE(read->files.executable);
    EXPECT_EQ(static_cast<bool>(read->files.info), hasInfo);
    EXPECT_FALSE(read->files.bundleSignature);
    EXPECT_TRUE(read->files.signature);
    ASSERT_EQ(read->trust.size(), 2U);
    EXPECT_FALSE(read->trust[1].isUsable);
    EXPECT_EQ(read->trust[1].doubt, "is bad");
    EXPECT_EQ(read->trust[0].doubt, "");
    EXPECT_EQ(read->trust[0].path, "/trust");
    EXPECT_TRUE(read->trust[0].isUsable);
    EXPECT_EQ(read->trust[0].revocations, "revoked");
    ASSERT_EQ(read->trust[0].keys.size(), 1U);
    EXPECT_EQ(read->trust[0].keys[0].name, "acme");
    EXPECT_EQ(read->trust[0].keys[0].bytes, request.trust[0].keys[0].bytes);
  }
}

TEST(DigestRequest, IsNoneWithOtherDescriptors) {
  Record few = recordOf(sample(true));
  few.descriptors.pop_back();
  EXPECT_FALSE(DigestRequest::read(std::move(few)));
  Record many = recordOf(sample(true));
  many.descriptors.push_back(openFile("/dev/null"));
  EXPECT_FALSE(DigestRequest::read(std::move(many)));
  EXPECT_FALSE(DigestRequest::read(Record{sample(false).bytes(), {}}));
}

TEST(DigestRequest, IsNoneWhenCut) {
  const std::string bytes = sample(true).bytes();
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    Record record = recordOf(sample(true));
    record.bytes.resize(length);
    EXPECT_FALSE(DigestRequest::read(std::move(record))) << length;
  }
}

}  // namespace
}  // namespace vanto::testing
