// SPDX-License-Identifier: Apache-2.0
// The tool as it is installed, in a process of its own.
#include <csignal>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "support/BundleBuilder.h"
#include "support/TemporaryDirectory.h"
#include "system/ToolProcess.h"

namespace vanto::test {
namespace {

using Words = std::vector<std::string>;

/// Has the kernel kill this process when it renames a file.
void dieWhenRenaming() {
  sock_filter code[] = {
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat, 1, 0), BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat2, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_KILL_PROCESS), BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  const sock_fprog program{std::size(code), code};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
    _exit(126);
}

class Tool : public testing::Test {
 protected:
  Tool() {
    BundleBuilder host(directory_.path(), "Mail.app");
    host.identifier("org.example.mail").build();
    services_ = host.servicesPath();
    addService("a");
  }
  void addService(const std::string& name) const {
    BundleBuilder(services_, name + ".vanto")
        .identifier("org.example." + name)
        .executable(name)
        .serviceEntry("ServiceType", BundleBuilder::string("User"))
        .build();
  }
  static std::string contentsOf(const std::string& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    return text.str();
  }
  /// Names in the directory of the cache.
  [[nodiscard]] Words filesBesideTheCache() const {
    Words names;
    for (const auto& entry : std::filesystem::directory_iterator(directory_ / "caches"))
      names.push_back(entry.path().filename());
    return names;
  }
  void writeCache() {
    std::filesystem::create_directory(directory_ / "caches");
    ASSERT_EQ(runToolProcess({"cache", "write", cache_, host_}).end, "exit status 0");
    before_ = contentsOf(cache_);
    // Enough that the new contents are long.
    for (int index = 0; index < 50; ++index) addService("b" + std::to_string(index));
  }

  const TemporaryDirectory directory_;
  const std::string host_ = directory_ / "Mail.app";
  const std::string cache_ = directory_ / "caches/cache";
  std::string services_;
  std::string before_;
};

TEST_F(Tool, EndsWithTheStatusThatItsHelpTells) {
  EXPECT_EQ(runToolProcess({"list", host_}).end, "exit status 0");
  EXPECT_EQ(runToolProcess({"lint", host_}).end, "exit status 0");
  BundleBuilder(services_, "bad.vanto").info("x").build();
  EXPECT_EQ(runToolProcess({"list", host_}).end, "exit status 1");
  EXPECT_EQ(runToolProcess({"lint", host_}).end, "exit status 1");
  EXPECT_EQ(runToolProcess({"list", directory_ / "none"}).end, "exit status 2");
  EXPECT_EQ(runToolProcess({"nonsense"}).end, "exit status 2");
  EXPECT_EQ(runToolProcess({}).end, "exit status 2");
  EXPECT_EQ(runToolProcess({"--help"}).end, "exit status 0");
}

TEST_F(Tool, ListsShowsAndDescribes) {
  const std::string bundle = services_ + "/a.vanto";
  EXPECT_EQ(runToolProcess({"list", host_}).output,
            "IDENTIFIER     TYPE  BUNDLE\norg.example.a  User  " + bundle + "\n");
  EXPECT_TRUE(runToolProcess({"show", bundle}).output.starts_with("org.example.a\n  Bundle:     " + bundle + "\n"));
  EXPECT_EQ(runToolProcess({"show", bundle + "/Contents/Linux/a"}).output, runToolProcess({"show", bundle}).output);
  EXPECT_TRUE(runToolProcess({"job", bundle}).output.starts_with("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist"));
}

TEST_F(Tool, ReadsStandardInput) {
  ToolSetting setting;
  setting.input = "{\"a\": [1, 1.0]}";
  EXPECT_EQ(runToolProcess({"plist"}, setting).output, "a:\n  [0]: 1\n  [1]: 1.0\n");
  const std::string xml = runToolProcess({"plist", "-", "--to", "xml"}, setting).output;
  setting.input = xml;
  EXPECT_EQ(runToolProcess({"plist", "-t", "json"}, setting).output, "{\n  \"a\": [\n    1,\n    1.0\n  ]\n}\n");
  setting.input = "";
  EXPECT_EQ(runToolProcess({"plist"}, setting).end, "exit status 2");
}

TEST_F(Tool, FailsWhenItsOutputCannotBeWritten) {
  ToolSetting setting;
  setting.prepare = [] {
    dup2(open("/dev/full", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
  };
  for (const Words& arguments : {Words{"list", host_}, Words{"--help"}, Words{"job", host_}}) {
    const ToolOutcome outcome = runToolProcess(arguments, setting);
    EXPECT_EQ(outcome.end, "exit status 2");
    EXPECT_EQ(outcome.messages, "vanto: cannot write the output: No space left on device\n");
  }
}

TEST_F(Tool, KeepsTheOldCacheWhenThereIsNoRoomForTheNewOne) {
  writeCache();
  ToolSetting setting;
  setting.prepare = [] {
    const rlimit limit{1000, 1000};
    setrlimit(RLIMIT_FSIZE, &limit);
  };
  const ToolOutcome outcome = runToolProcess({"cache", "write", cache_}, setting);
  EXPECT_EQ(outcome.end, "exit status 2");
  EXPECT_EQ(outcome.messages, "vanto: " + cache_ + ": cannot be written: File too large; the old file is as it was\n");
  EXPECT_EQ(contentsOf(cache_), before_);
  EXPECT_EQ(filesBesideTheCache(), Words{"cache"});
}

TEST_F(Tool, KeepsTheOldCacheWhenItIsKilledBeforeTheNewOneTakesItsPlace) {
  writeCache();
  ToolSetting setting;
  setting.prepare = dieWhenRenaming;
  EXPECT_EQ(runToolProcess({"cache", "write", cache_}, setting).end, "signal " + std::to_string(SIGSYS));
  EXPECT_EQ(contentsOf(cache_), before_);
  EXPECT_EQ(runToolProcess({"cache", "write", cache_}).end, "exit status 0");
  EXPECT_NE(contentsOf(cache_), before_);
  EXPECT_EQ(filesBesideTheCache(), Words{"cache"});
}

TEST_F(Tool, SaysWhatIsStaleInACache) {
  writeCache();
  EXPECT_EQ(runToolProcess({"cache", "check", cache_}).end, "exit status 1");
  EXPECT_EQ(runToolProcess({"cache", "write", cache_}).end, "exit status 0");
  const ToolOutcome outcome = runToolProcess({"cache", "check", cache_});
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.output + outcome.messages, "");
}

TEST_F(Tool, FitsATerminalAndCountsThere) {
  const ToolOutcome outcome = runToolOnTerminal({"list", host_}, 50);
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_TRUE(outcome.output.starts_with("\x1b[1mIDENTIFIER")) << outcome.output;
  EXPECT_NE(outcome.output.find("…"), outcome.output.npos);
  EXPECT_NE(outcome.output.find("1 service"), outcome.output.npos);
}

TEST_F(Tool, HasNoColoursWhereNobodyWantsAny) {
  const ToolOutcome outcome = runToolOnTerminal({"list", host_}, 80, [] { setenv("NO_COLOR", "1", 1); });
  EXPECT_EQ(outcome.output.find('\x1b'), outcome.output.npos);
  EXPECT_EQ(runToolProcess({"list", host_}).output.find('\x1b'), std::string::npos);
}

TEST_F(Tool, CommandsNoTerminalByWhatIsInFiles) {
  const std::string evil = "\x1b]0;x\x07\x1b[2J\u009b31m\u202e\xff";
  BundleBuilder(services_, evil + ".vanto").info(evil).build();
  BundleBuilder(services_, "\x1b[2J.vanto")
      .entry("KorBundleIdentifier", "<string>\u009b2J\u202e</string>")
      .service()
      .build();
  const std::regex styles("\x1b\\[(0|1|2|33|1;31)m|\x1b\\[K");
  for (const Words& arguments :
       {Words{"list", host_}, Words{"list", host_, "--json"}, Words{"lint", host_}, Words{"lint", "--json", host_},
        Words{"job", host_}, Words{"show", services_ + "/\x1b[2J.vanto"}, Words{"plist", services_ + "/" + evil},
        Words{evil}}) {
    for (const std::string& output : {runToolProcess(arguments).output, runToolProcess(arguments).messages,
                                      std::regex_replace(runToolOnTerminal(arguments, 80).output, styles, "")}) {
      for (std::size_t place = 0; place < output.size(); ++place) {
        const auto byte = static_cast<unsigned char>(output[place]);
        const bool isEllipsis = output.compare(place, 3, "…") == 0;
        if (isEllipsis) place += 2;
        EXPECT_TRUE(isEllipsis || byte == '\n' || byte == '\t' || (byte >= ' ' && byte <= '~')) << output;
      }
    }
  }
}

TEST_F(Tool, IsCompletedByTheShell) {
  const auto completed = [](const std::string& words, int index) {
    const std::string command = "bash -c '. " VANTO_TEST_TOOL_SOURCE "/completion.bash; COMP_WORDS=(" + words +
                                "); COMP_CWORD=" + std::to_string(index) + "; _vanto; echo ${COMPREPLY[*]}'";
    FILE* pipe = popen(command.c_str(), "re");
    std::string text(1000, '\0');
    text.resize(fread(text.data(), 1, text.size(), pipe));
    EXPECT_EQ(pclose(pipe), 0);
    return text;
  };
  EXPECT_EQ(completed("vanto l", 1), "list lint load logs\n");
  EXPECT_EQ(completed("vanto start --domain s", 3), "session system\n");
  EXPECT_EQ(completed("vanto logs --f", 2), "--follow\n");
  EXPECT_EQ(completed("vanto cache w", 2), "write\n");
  EXPECT_EQ(completed("vanto cache check --", 3), "--json --help\n");
  EXPECT_EQ(completed("vanto job --format j", 3), "json job-data\n");
  EXPECT_EQ(completed("vanto plist --t", 2), "--to\n");
}

}  // namespace
}  // namespace vanto::test
