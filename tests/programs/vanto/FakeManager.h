// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <mutex>
#include <string>
#include <vector>

#include <VantoService/vanto.h>

#include "host/ipc/IPCFixture.h"

namespace vanto::testing {

/// The object that JSON text stands for; a failure when it is none.
[[nodiscard]] test::Held objectOf(const std::string& json);

/// A service manager in the test's own process that says what it is told to say, and writes down what it was asked. It
/// listens in the run-time directory of its test.
class FakeManager {
 public:
  explicit FakeManager(const std::string& domain = "user");

  /// What happens after an answer.
  enum class Then : std::uint8_t { Stay, HangUp };

  /// Answers `command` with the object of `answer`, sends those of `messages` on the same connection, and may then end
  /// it. Orders that nobody told it about get an error.
  void answer(const std::string& command, const std::string& answer, const std::vector<std::string>& messages = {},
              Then then = Then::Stay);
  /// The same for orders about one label.
  void answerAbout(const std::string& label, const std::string& command, const std::string& answer);
  /// Answers `command` with nothing, for ever or until it hangs up.
  void leaveUnanswered(const std::string& command, Then then = Then::Stay);

  /// The commands that came, with their labels: "start org.example.a".
  [[nodiscard]] std::vector<std::string> orders();
  /// The last request.
  [[nodiscard]] test::Held lastRequest();

  /// The state of a job, as JSON: resting, without any process. `more` has further entries, which begin with a comma.
  [[nodiscard]] static std::string job(const std::string& label, const std::string& more = "");
  /// The same with the state "running" in process 4321, of which `more` has further entries.
  [[nodiscard]] static std::string runningJob(const std::string& label, const std::string& more = "");
  /// An answer to "status" with these jobs.
  [[nodiscard]] static std::string status(const std::vector<std::string>& jobs);

 private:
  struct Script {
    bool isAnswered = true;
    std::string answer;
    std::vector<std::string> messages;
    Then then = Then::Stay;
  };

  void handle(vanto_object_t connection, vanto_object_t event);
  [[nodiscard]] Script scriptFor(vanto_object_t request);

  std::mutex mutex_;
  std::map<std::string, Script> scripts_;
  std::vector<std::string> orders_;
  test::Held lastRequest_;
  /// Requests that are never answered.
  std::vector<test::Held> kept_;
  /// The last field, so that it ends first.
  test::Service service_;
};

}  // namespace vanto::testing
