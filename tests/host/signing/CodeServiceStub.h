// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <mutex>

#include <sys/syscall.h>
#include <unistd.h>

#include "host/ipc/IPCFixture.h"
#include "host/signing/SampleFacts.h"
#include "signing/CodeDictionary.h"
#include "signing/CodeService.h"

namespace vanto::test {

inline Held replyOf(CodeFacts facts) {
  facts.device = 7;
  facts.inode = 8;
  return Held(createCodeDictionary(facts));
}
inline Held replyOfValidCode() {
  return replyOf(validFacts());
}
inline Held failureReply(VexStatus status) {
  Held reply(vanto_dictionary_create(nullptr, nullptr, 0));
  vanto_dictionary_set_value(reply, "status", Held(vanto_int64_create(status)));
  vanto_dictionary_set_value(reply, "reason", Held(vanto_string_create("a reason")));
  return reply;
}

/// A test in whose domain a code-signing service answers what it is told to. The process keeps its connection to it, so
/// each test begins and ends with one that is kept, and whose service has ended.
class CodeServiceStub : public ::testing::Test {
 protected:
  CodeServiceStub() { restart(); }

  static void SetUpTestSuite() {
    struct First final : CodeServiceStub {
      void TestBody() override {}
    };
    First().leaveConnectionKept();
  }
  void TearDown() override { leaveConnectionKept(); }

  void answer(Held reply) {
    const std::lock_guard lock(mutex_);
    reply_ = std::move(reply);
  }
  /// Requests that come are kept.
  void answerNobody() { answer(Held()); }
  /// How many requests came.
  [[nodiscard]] int requests() const { return requests_; }

  void stop() {
    service_.reset();
    // Its listener is closed by a worker; the next one must not find the name taken.
    const std::string path = std::string(getenv("XDG_RUNTIME_DIR")) + "/vanto/user/" + codeServiceName;
    for (int i = 0; i < 60'000 && access(path.c_str(), F_OK) == 0; ++i) usleep(1000);
  }
  void restart() {
    service_ = std::make_unique<Service>(codeServiceName, [this](vanto_object_t, vanto_object_t event) {
      if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
      ++requests_;
      const std::lock_guard lock(mutex_);
      const vanto_object_t process = vanto_dictionary_get_value(vanto_message_get_body(event), "process");
      if (reply_ == nullptr) return kept_.push_back(Held::share(event));
      if (vanto_kind(process) == VANTO_KIND_FD) vanto_reply(event, reply_);
    });
  }

 private:
  void leaveConnectionKept() {
    stop();
    answer(replyOfValidCode());
    restart();
    EXPECT_EQ(askCodeService(Fd(static_cast<int>(syscall(SYS_pidfd_open, getpid(), 0)))).status, 0);
    stop();
    kept_.clear();
  }

  const RuntimeDirectory directory_;
  std::atomic<int> requests_{0};
  std::mutex mutex_;
  Held reply_ = replyOfValidCode();
  std::vector<Held> kept_;
  std::unique_ptr<Service> service_;
};

}  // namespace vanto::test
