// SPDX-License-Identifier: Apache-2.0
#include "vanto/SystemdUnits.h"

#include <gtest/gtest.h>

#include "support/Values.h"

namespace vanto::tool {
namespace {

using testing::array;
using testing::mutableDictionary;
using testing::string;

PlistMutableDictionary* jobOf(const std::string& label, const char* domain) {
  return mutableDictionary({{string("Label"), string(label)},
                            {string("VantoDomain"), string(domain)},
                            {string("ProgramArguments"), array({string("/usr/libexec/vantoproxy"), string("/a b")})}});
}

constexpr char proxy[] = "/opt/libexec/vantoproxy";

/// Why the job has no units; empty when it has.
std::string problemOf(const PlistDictionary& job, const std::string& account = "") {
  std::string problem;
  return SystemdUnits::of(job, account, proxy, problem) ? "" : problem;
}

bool hasLine(const std::string& unit, const std::string& line) {
  return ("\n" + unit).find("\n" + line + "\n") != std::string::npos;
}

TEST(SystemdUnits, StartAServiceOfTheUserOnDemand) {
  std::string problem;
  const auto units = SystemdUnits::of(*jobOf("org.example.a", "VantoPerUser"), "", proxy, problem);
  ASSERT_TRUE(units) << problem;
  EXPECT_EQ(units->socketName, "org.example.a.socket");
  EXPECT_EQ(units->serviceName, "org.example.a.service");
  for (const char* line : {"ListenSequentialPacket=%t/vanto/user/org.example.a", "FileDescriptorName=org.example.a",
                           "Accept=no", "SocketMode=0600", "DirectoryMode=0700", "PassCredentials=yes",
                           "RemoveOnStop=yes", "WantedBy=sockets.target"}) {
    EXPECT_TRUE(hasLine(units->socket, line)) << line << "\n" << units->socket;
  }
  for (const char* line : {"ExecStart=\"/opt/libexec/vantoproxy\" \"/a b\"", "Type=simple", "KillMode=mixed",
                           "TimeoutStopSec=20s", "Restart=no", "Requires=org.example.a.socket"}) {
    EXPECT_TRUE(hasLine(units->service, line)) << line << "\n" << units->service;
  }
  EXPECT_EQ(units->service.find("User="), units->service.npos);
}

TEST(SystemdUnits, StartAServiceOfTheSystemAsSomebody) {
  std::string problem;
  const auto units = SystemdUnits::of(*jobOf("a", "VantoSystem"), "nobody", proxy, problem);
  ASSERT_TRUE(units) << problem;
  EXPECT_TRUE(hasLine(units->socket, "ListenSequentialPacket=/run/vanto/a"));
  EXPECT_TRUE(hasLine(units->socket, "SocketMode=0666"));
  EXPECT_TRUE(hasLine(units->socket, "DirectoryMode=0755"));
  EXPECT_TRUE(hasLine(units->service, "User=nobody"));
  EXPECT_EQ(problemOf(*jobOf("a", "VantoSystem")),
            "it is a service of the system; say with --account which user it shall run as");
  EXPECT_EQ(problemOf(*jobOf("a", "VantoSystem"), "x\nExecStart=y"), "x\\nExecStart=y is no name of a user");
  EXPECT_EQ(problemOf(*jobOf("a", "VantoPerUser"), "nobody"),
            "it is a service of the user and runs as that one; --account is for those of the system");
}

TEST(SystemdUnits, HaveATemplateForSeveralInstances) {
  std::string problem;
  PlistMutableDictionary* job = jobOf("a", "VantoPerUser");
  job->setValueForKey(PlistBoolean::of(true), string("MultipleInstances"));
  const auto units = SystemdUnits::of(*job, "", proxy, problem);
  ASSERT_TRUE(units) << problem;
  EXPECT_EQ(units->socketName, "a.socket");
  EXPECT_EQ(units->serviceName, "a@.service");
  EXPECT_TRUE(hasLine(units->socket, "Accept=yes"));
  EXPECT_TRUE(hasLine(units->socket, "FileDescriptorName=a"));
  EXPECT_EQ(units->service.find("Requires="), units->service.npos);
  job->setValueForKey(PlistBoolean::of(false), string("MultipleInstances"));
  EXPECT_EQ(SystemdUnits::of(*job, "", proxy, problem).value().serviceName, "a.service");
}

TEST(SystemdUnits, AreNoneForAProxyThatSystemdDoesNotExecute) {
  for (const char* place : {"/a\"b", "/a'b", "/a\\b", "/a\nb", "/a\x7f"}) {
    std::string problem;
    EXPECT_FALSE(SystemdUnits::of(*jobOf("a", "VantoPerUser"), "", place, problem)) << place;
    EXPECT_TRUE(problem.starts_with("systemd does not execute /a")) << problem;
    EXPECT_TRUE(problem.ends_with("; say with --proxy where else vantoproxy is")) << problem;
  }
}

TEST(SystemdUnits, EscapeNames) {
  std::string problem;
  const auto units = SystemdUnits::of(*jobOf("a b/\n%", "VantoPerUser"), "", proxy, problem);
  ASSERT_TRUE(units) << problem;
  EXPECT_EQ(units->socketName, "a\\x2520b\\x252F\\x250A\\x2525.socket");
  EXPECT_TRUE(hasLine(units->socket, "ListenSequentialPacket=%t/vanto/user/a%%20b%%2F%%0A%%25")) << units->socket;
  EXPECT_TRUE(hasLine(units->socket, "FileDescriptorName=a%%20b%%2F%%0A%%25"));
}

TEST(SystemdUnits, AreNoneForWhatSystemdCannotHave) {
  EXPECT_EQ(problemOf(*jobOf("a", "VantoPerSession")),
            "it is a service of each session, and systemd has units of the user and of the system only");
  EXPECT_EQ(problemOf(*jobOf("", "VantoPerUser")), "its label cannot be the name of a service");
  EXPECT_EQ(problemOf(*jobOf(std::string("a\0b", 3), "VantoPerUser")), "its label cannot be the name of a service");
  EXPECT_NE(problemOf(*jobOf(std::string(100, 'a'), "VantoPerUser")).find("systemd takes 107 at most"),
            std::string::npos);
  PlistMutableDictionary* job = jobOf("a", "VantoPerUser");
  job->setValueForKey(array({string("x"), testing::number(1)}), string("ProgramArguments"));
  EXPECT_EQ(problemOf(*job), "its job has no command line that can be executed");
  EXPECT_EQ(problemOf(*jobOf("a", "x")).substr(0, 22), "its \"VantoDomain\" is x");
}

}  // namespace
}  // namespace vanto::tool
