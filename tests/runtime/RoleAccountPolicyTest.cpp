// SPDX-License-Identifier: Apache-2.0
#include <atomic>
#include <barrier>
#include <thread>

#include <VantoService/VantoServiceBundle.h>

#include "runtime/ServiceStart.h"
#include "value/LiveObjects.h"
#include "value/limits.h"

namespace vanto::testing {
namespace {

const std::string path = CLibrary::policyPath;
const std::string looked = "stat(" + path + ")";
const std::string named = "KorStringCreateWithFileSystemRepresentation(" + path + ")";
const std::string located = "KorURLCreateWithFileSystemPath(" + path + ", POSIX, no directory)";
const std::string readCall = "KorURLCreateDataAndPropertiesFromResource(" + path + ", administrator, 1048576, error)";
const std::string relaxedNotice = "syslog(5, Relaxed security policy: allowing connection for all clients.)";

std::string failureLine(const std::string& step) {
  return errorLine("in useRestrictiveRoleAccountSecurityPolicy(): could not create " + step + "() for: " + path);
}

const std::string readFailure = failureLine("KorURLCreateDataAndPropertiesFromResource");

std::string policyFile(const std::string& xml) {
  return BundleBuilder::document(BundleBuilder::dictionary({{"RestrictRoleAccountServices", xml}}));
}

class RoleAccountPolicy : public ServiceStart {
 protected:
  static void ask(const ServiceProgram& program) {
    const bool isRestrictive = VantoServiceBundle::useRestrictiveRoleAccountSecurityPolicy();
    program.report(isRestrictive ? "restrictive" : "relaxed");
  }

  /// Lets the policy file exist with the given bytes.
  static void provide(ServiceProgram& program, const std::string& bytes) {
    program.library.policyFileExists = true;
    program.host.answers().files[path] = bytes;
  }

  /// The lines of the first question to a process whose policy file holds `bytes`.
  [[nodiscard]] static Lines answerTo(const std::string& bytes) {
    const ChildOutcome outcome = run([&](ServiceProgram& program) {
      provide(program, bytes);
      ask(program);
    });
    EXPECT_EQ(outcome.end, "exit status 0");
    return outcome.lines;
  }

  static const Lines reading;
};

const Lines RoleAccountPolicy::reading = {looked, named, located, readCall};

TEST_F(RoleAccountPolicy, IsRestrictiveSilentlyWithoutAFile) {
  const ChildOutcome outcome = run(ask);
  EXPECT_EQ(outcome.lines, (Lines{looked, "restrictive"}));
}

TEST_F(RoleAccountPolicy, IsRestrictiveSilentlyWhyeverTheFileCannotBeLookedAt) {
  for (const int error : {EACCES, ELOOP, ENOTDIR, EIO}) {
    const ChildOutcome outcome = run([error](ServiceProgram& program) {
      program.library.policyFileError = error;
      program.host.answers().files[path] = policyFile(BundleBuilder::boolean(false));
      ask(program);
    });
    EXPECT_EQ(outcome.lines, (Lines{looked, "restrictive"})) << error;
  }
}

TEST_F(RoleAccountPolicy, IsReadOnceEvenIfTheFileChanges) {
  const ChildOutcome outcome = run([](ServiceProgram& program) {
    ask(program);
    provide(program, policyFile(BundleBuilder::boolean(false)));
    ask(program);
  });
  EXPECT_EQ(outcome.lines, (Lines{looked, "restrictive", "restrictive"}));
}

TEST_F(RoleAccountPolicy, IsRelaxedWhenTheFileSaysSoWithOneLine) {
  const ChildOutcome outcome = run([](ServiceProgram& program) {
    provide(program, policyFile(BundleBuilder::boolean(false)));
    ask(program);
    provide(program, policyFile(BundleBuilder::boolean(true)));
    ask(program);
  });
  EXPECT_EQ(outcome.lines, (reading + Lines{errorLine("Role Account Security Policy: Relaxed"), "relaxed", "relaxed"}));
}

TEST_F(RoleAccountPolicy, IsRestrictiveWhenTheFileSaysSo) {
  EXPECT_EQ(answerTo(policyFile(BundleBuilder::boolean(true))), reading + Lines{"restrictive"});
}

TEST_F(RoleAccountPolicy, StaysRestrictiveForAValueThatIsNoBoolean) {
  for (const std::string& xml : {BundleBuilder::string("NO"), BundleBuilder::string("false"), BundleBuilder::integer(0),
                                 std::string("<real>0</real>"), BundleBuilder::array({BundleBuilder::boolean(false)}),
                                 BundleBuilder::dictionary({}), std::string("<data></data>"),
                                 std::string("<date>2026-11-21T08:00:00Z</date>")}) {
    EXPECT_EQ(answerTo(policyFile(xml)), reading + Lines{"restrictive"}) << xml;
  }
}

TEST_F(RoleAccountPolicy, StaysRestrictiveWithoutTheKey) {
  for (const char* key : {"restrictRoleAccountServices", "RestrictRoleAccountService", ""}) {
    const std::string other = BundleBuilder::dictionary({{key, BundleBuilder::boolean(false)}});
    EXPECT_EQ(answerTo(BundleBuilder::document(other)), reading + Lines{"restrictive"}) << key;
  }
  EXPECT_EQ(answerTo(BundleBuilder::document("<dict/>")), reading + Lines{"restrictive"});
}

TEST_F(RoleAccountPolicy, TakesARootThatIsNoDictionaryForOneWithoutTheKey) {
  for (const std::string& xml : {BundleBuilder::boolean(false), BundleBuilder::array({BundleBuilder::boolean(false)}),
                                 BundleBuilder::string("RestrictRoleAccountServices"), BundleBuilder::integer(0)}) {
    EXPECT_EQ(answerTo(BundleBuilder::document(xml)), reading + Lines{"restrictive"}) << xml;
  }
}

TEST_F(RoleAccountPolicy, StaysRestrictiveWhenTheNameCannotBeMade) {
  const ChildOutcome outcome = run([](ServiceProgram& program) {
    provide(program, policyFile(BundleBuilder::boolean(false)));
    program.host.fail("KorStringCreateWithFileSystemRepresentation");
    ask(program);
  });
  EXPECT_EQ(outcome.lines,
            (Lines{looked, named, failureLine("KorStringCreateWithFileSystemRepresentation"), "restrictive"}));
}

TEST_F(RoleAccountPolicy, StaysRestrictiveWhenTheURLCannotBeMade) {
  const ChildOutcome outcome = run([](ServiceProgram& program) {
    provide(program, policyFile(BundleBuilder::boolean(false)));
    program.host.fail("KorURLCreateWithFileSystemPath");
    ask(program);
  });
  EXPECT_EQ(outcome.lines,
            (Lines{looked, named, located, failureLine("KorURLCreateWithFileSystemPath"), "restrictive"}));
}

TEST_F(RoleAccountPolicy, StaysRestrictiveWhenTheFileCannotBeRead) {
  const ChildOutcome outcome = run([](ServiceProgram& program) {
    program.library.policyFileExists = true;
    ask(program);
  });
  EXPECT_EQ(outcome.lines, (reading + Lines{readFailure, "restrictive"}));
}

TEST_F(RoleAccountPolicy, LogsTheFailureToReadForAFileThatIsNoPropertyList) {
  const std::string whole = policyFile(BundleBuilder::boolean(false));
  for (const std::string& bytes :
       {std::string(), std::string("no property list"), std::string("{\"RestrictRoleAccountServices\": false}"),
        whole.substr(0, whole.size() / 2), whole + "more", std::string(100, '\0')}) {
    EXPECT_EQ(answerTo(bytes), (reading + Lines{readFailure, "restrictive"})) << bytes;
  }
}

TEST_F(RoleAccountPolicy, IsReadFromAFileOfTheLargestSizeAndNoLarger) {
  std::string bytes = policyFile(BundleBuilder::boolean(false));
  bytes.resize(limits::policyFileBytes, ' ');
  EXPECT_EQ(answerTo(bytes), (reading + Lines{errorLine("Role Account Security Policy: Relaxed"), "relaxed"}));
  EXPECT_EQ(answerTo(bytes + ' '), (reading + Lines{readFailure, "restrictive"}));
}

TEST_F(RoleAccountPolicy, DropsEverythingItMade) {
  for (const std::string& bytes : {policyFile(BundleBuilder::string("NO")), policyFile(BundleBuilder::boolean(false)),
                                   std::string("no property list")}) {
    const ChildOutcome outcome = run([&](ServiceProgram& program) {
      provide(program, bytes);
      const std::int64_t before = liveObjectCount();
      ask(program);
      EXPECT_EQ(liveObjectCount(), before);
    });
    EXPECT_EQ(outcome.end, "exit status 0");
  }
}

TEST_F(RoleAccountPolicy, ThatIsRelaxedAcceptsEveryClientWithANoticeForEach) {
  const std::string list = BundleBuilder::array({BundleBuilder::integer(5), BundleBuilder::string("never")});
  const ChildOutcome outcome = run(serviceBundle().serviceEntry("_AllowedClients", list), [](ServiceProgram& program) {
    program.reportLogOnly();
    provide(program, policyFile(BundleBuilder::boolean(false)));
    program.host.fail("VexCodeCopyGuestWithAttributes");
    program.host.whileRunning([&program] {
      for (int round = 0; round < 3; ++round) {
        program.report(program.host.connect(identifier).error() == VANTO_ERROR_REFUSED ? "refused" : "admitted");
      }
      EXPECT_EQ(program.host.count("audit_token_to_au32"), 0U);
      EXPECT_EQ(program.host.count("VexCodeCopyGuestWithAttributes"), 0U);
    });
    program.serviceMain([](vanto_object_t, vanto_object_t) {});
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, (Lines{errorLine("Role Account Security Policy: Relaxed"), relaxedNotice, "admitted",
                                  relaxedNotice, "admitted", relaxedNotice, "admitted", "returned 0"}));
}

TEST_F(RoleAccountPolicy, IsNotReadBeforeTheFirstClientConnects) {
  const ChildOutcome outcome =
      run(serviceBundle().serviceEntry("_AllowedClients", BundleBuilder::array({BundleBuilder::string("valid")})),
          [](ServiceProgram& program) { program.serviceMain(nullptr); });
  EXPECT_EQ(outcome.end, "exit status 0");
  for (const std::string& line : outcome.lines) EXPECT_NE(line, looked);
}

TEST_F(RoleAccountPolicy, IsReadOnceForThreadsThatAskAtTheSameTimeAndSeenByAll) {
  const ChildOutcome outcome = run([](ServiceProgram& program) {
    provide(program, policyFile(BundleBuilder::boolean(false)));
    constexpr int count = 8;
    std::atomic<int> relaxed = 0;
    std::barrier start(count);
    std::vector<std::thread> threads;
    for (int index = 0; index < count; ++index) {
      threads.emplace_back([&] {
        start.arrive_and_wait();
        if (!VantoServiceBundle::useRestrictiveRoleAccountSecurityPolicy()) ++relaxed;
      });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(relaxed, count);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, reading + Lines{errorLine("Role Account Security Policy: Relaxed")});
}

}  // namespace
}  // namespace vanto::testing
