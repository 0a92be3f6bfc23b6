// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <VantoService/vanto_code.h>

#include "host/signing/CodeServiceStub.h"

namespace vanto::test {
namespace {

class CodeInterface : public CodeServiceStub {
 protected:
  const Fd self_ = Fd(static_cast<int>(syscall(SYS_pidfd_open, getpid(), 0)));
};

TEST_F(CodeInterface, TellsOfAProcess) {
  const Held code(vanto_copy_process_code(self_.get(), generous));
  EXPECT_TRUE(vanto_equal(code, replyOfValidCode()));
  EXPECT_EQ(codeOf(Held(vanto_copy_process_code(-1, generous))), VANTO_ERROR_INVALID);
}

TEST_F(CodeInterface, TellsOfBothEndsOfAConnection) {
  const char* const name = "org.vanto.test.ends";
  Awaited<Held> ofClient;
  const Service service(name, [&ofClient](vanto_object_t connection, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) ofClient.add(Held(vanto_copy_peer_code(connection, generous)));
    Service::echo(connection, event);
  });
  const Held connection = connectTo(name);
  static_cast<void>(callWith(connection, text("x")));
  EXPECT_TRUE(vanto_equal(ofClient.take(), replyOfValidCode()));
  EXPECT_TRUE(vanto_equal(Held(vanto_copy_peer_code(connection, generous)), replyOfValidCode()));
  EXPECT_EQ(codeOf(Held(vanto_copy_peer_code(nullptr, generous))), VANTO_ERROR_INVALID);
  EXPECT_EQ(codeOf(Held(vanto_copy_peer_code(text("x"), generous))), VANTO_ERROR_INVALID);
}

TEST_F(CodeInterface, TellsOfMissingDescriptorsAndNotOfAnEnd) {
  const char* const name = "org.vanto.test.scarce";
  Awaited<Held> peers;
  const Service service(name, [&peers](vanto_object_t connection, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) peers.add(Held::share(connection));
    Service::echo(connection, event);
  });
  const Held connection = connectTo(name);
  static_cast<void>(callWith(connection, text("x")));
  const Held peer = peers.take();
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const Fd last(dup(self_.get()));
  const rlimit few{static_cast<rlim_t>(last.get()) + 1, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &few), 0);
  std::vector<Fd> taken;
  while (taken.empty() || taken.back()) taken.emplace_back(dup(self_.get()));
  const Held errors[] = {Held(vanto_copy_peer_code(connection, generous)), Held(vanto_copy_peer_code(peer, generous)),
                         Held(vanto_copy_process_code(self_.get(), generous))};
  taken.clear();
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  for (const Held& error : errors) {
    EXPECT_EQ(codeOf(error), VANTO_ERROR_FULL);
    EXPECT_STREQ(vanto_error_get_text(error), "no descriptors are left");
  }
}

TEST_F(CodeInterface, HasAnErrorForEachStatus) {
  const std::pair<VexStatus, vanto_error_code_t> statuses[] = {{VexStatusUnavailable, VANTO_ERROR_NO_SERVICE},
                                                               {VexStatusGone, VANTO_ERROR_CLOSED},
                                                               {VexStatusUnknown, VANTO_ERROR_REFUSED},
                                                               {VexStatusHidden, VANTO_ERROR_REFUSED},
                                                               {VexStatusTraced, VANTO_ERROR_REFUSED},
                                                               {VexStatusTimedOut, VANTO_ERROR_TIMED_OUT},
                                                               {VexStatusBusy, VANTO_ERROR_FULL}};
  for (const auto& [status, code] : statuses) {
    answer(failureReply(status));
    const Held error(vanto_copy_process_code(self_.get(), generous));
    EXPECT_EQ(codeOf(error), code);
    EXPECT_STREQ(vanto_error_get_text(error), "a reason");
  }
}

TEST_F(CodeInterface, TriesRequirementsOnCode) {
  const Held code = replyOfValidCode();
  const Held found(vanto_code_check_requirement(code, "valid"));
  EXPECT_TRUE(vanto_bool_get_value(vanto_dictionary_get_value(found, "satisfied")));
  const Held error(vanto_code_check_requirement(code, "valid and"));
  EXPECT_EQ(codeOf(error), VANTO_ERROR_INVALID);
  EXPECT_NE(std::string(vanto_error_get_text(error)).find("column 10"), std::string::npos);
  EXPECT_EQ(codeOf(Held(vanto_code_check_requirement(code, nullptr))), VANTO_ERROR_INVALID);
  EXPECT_EQ(codeOf(Held(vanto_code_check_requirement(nullptr, "valid and"))), VANTO_ERROR_INVALID);
  EXPECT_EQ(vanto_dictionary_get_count(Held(vanto_code_check_requirement(nullptr, "valid"))), 0U);
  EXPECT_EQ(codeOf(Held(vanto_code_check_requirement(text("x"), "valid"))), VANTO_ERROR_INVALID);
  EXPECT_EQ(codeOf(Held(vanto_code_check_requirement(failureReply(-2), "valid"))), VANTO_ERROR_INVALID);
}

}  // namespace
}  // namespace vanto::test
