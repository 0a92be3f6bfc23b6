// SPDX-License-Identifier: Apache-2.0

// The manager of a login session, beside that of its user.
#include <cstdlib>
#include <string>

#include <unistd.h>

#include "support/Child.h"
#include "system/ManagerFixture.h"

namespace vanto::test {
namespace {

using testing::ChildReport;
constexpr const char* echo = "org.example.echo";

class ManagerSessionDomain : public ManagerFixture {
 protected:
  /// The manager of a session; of the user without one.
  [[nodiscard]] ManagerSetting settingFor(const char* session) const {
    ManagerSetting changed = setting({"--domain", session != nullptr ? "session" : "user"});
    if (session != nullptr) {
      changed.prepare = [session] {
        setenv("XDG_SESSION_ID", session, 1);
      };
    }
    return changed;
  }

  /// What `work` reports in a process of that session.
  [[nodiscard]] static std::vector<std::string> inSession(const char* session,
                                                          const std::function<void(const ChildReport&)>& work) {
    const testing::ChildOutcome outcome = testing::runInChild([&](const ChildReport& report) {
      setenv("XDG_SESSION_ID", session, 1);
      work(report);
    });
    EXPECT_EQ(outcome.end, "exit status 0");
    return outcome.lines;
  }

  /// An order to a manager of the session.
  [[nodiscard]] static Held orderHere(const std::string& command, const Held& job) {
    const Held connection = connect("org.vanto.tolvend.session");
    const Held request(vanto_dictionary_create(nullptr, nullptr, 0));
    vanto_dictionary_set_value(request, "command", Held(vanto_string_create(command.c_str())));
    vanto_dictionary_set_value(request, "job", job);
    return Held(vanto_call(connection, request, generous));
  }

  static void reportProcess(const ChildReport& report) { report(std::to_string(call(echo))); }
};

TEST_F(ManagerSessionDomain, HasItsServicesForItselfBesideThoseOfTheUser) {
  ManagerProcess ofSession(settingFor("one"));
  ASSERT_TRUE(ofSession.isReady()) << ofSession.messages();
  ManagerProcess ofUser(settingFor(nullptr));
  ASSERT_TRUE(ofUser.isReady()) << ofUser.messages();
  const std::string path = program("echo", echo);
  ASSERT_EQ(loadJob(job(echo, path)), "");
  EXPECT_EQ(inSession("one",
                      [&](const ChildReport& report) {
                        report(errorOf(orderHere("load", job(echo, path))));
                        report(text(orderHere("status", {}), "domain"));
                      }),
            (std::vector<std::string>{"", "session"}));
  EXPECT_EQ(access((directory_ / "run/vanto/session-one/org.example.echo").c_str(), F_OK), 0);
  const std::string users = std::to_string(call(echo));
  const std::vector<std::string> sessions = inSession("one", reportProcess);
  EXPECT_NE(sessions, std::vector<std::string>{users});
  EXPECT_EQ(inSession("one", reportProcess), sessions);
  // Another session has no manager of its own, and so finds the user's.
  EXPECT_EQ(inSession("other", reportProcess), std::vector<std::string>{users});
  EXPECT_EQ(starts(echo), 2U);
  EXPECT_EQ(ofSession.terminate(), "exit status 0");
  EXPECT_EQ(ofSession.messages(), "");
  EXPECT_EQ(ofUser.terminate(), "exit status 0");
  EXPECT_EQ(ofUser.messages(), "");
}

TEST_F(ManagerSessionDomain, KeepsItsJobsForTheNextManagerOfThatSessionOnly) {
  const std::string path = program("echo", echo);
  const auto loadHere = [&](const ChildReport& report) {
    report(errorOf(orderHere("load", job(echo, path))));
  };
  const auto countHere = [](const ChildReport& report) {
    report(std::to_string(vanto_array_get_count(vanto_dictionary_get_value(orderHere("status", {}), "jobs"))));
  };
  {
    ManagerProcess manager(settingFor("one"));
    EXPECT_EQ(inSession("one", loadHere), std::vector<std::string>{""});
    ManagerProcess second(settingFor("one"));
    EXPECT_EQ(second.waitForEnd(), "exit status 75");
    manager.signal(SIGKILL);
    EXPECT_EQ(manager.waitForEnd(), "signal 9");
  }
  const ManagerProcess other(settingFor("other"));
  EXPECT_EQ(inSession("other", countHere), std::vector<std::string>{"0"});
  const ManagerProcess next(settingFor("one"));
  EXPECT_EQ(next.messages(), "");
  EXPECT_EQ(inSession("one", countHere), std::vector<std::string>{"1"});
}

}  // namespace
}  // namespace vanto::test
