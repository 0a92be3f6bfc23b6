// SPDX-License-Identifier: Apache-2.0
#include "refusals/Site.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vanto::refusals {

namespace {

namespace fs = std::filesystem;
using test::IpcPointer;

constexpr const char* serviceName = "org.vanto.example.echo";
constexpr const char* signingName = "org.vanto.vexd";
constexpr int endMilliseconds = 30'000;

/// The one process that a process has made; -1 for none.
pid_t childOf(pid_t process) {
  std::error_code ignored;
  for (const auto& task : fs::directory_iterator("/proc/" + std::to_string(process) + "/task", ignored)) {
    std::ifstream file(task.path() / "children");
    if (pid_t child = -1; file >> child) return child;
  }
  return -1;
}

}  // namespace

Site::Site(Programs programs)
    : programs_(std::move(programs)),
      manager_({programs_.manager, programs_.proxy, directory_.path(), {"--idle", "0"}}) {
  setenv("XDG_RUNTIME_DIR", directory_.path().c_str(), 1);
  setenv("HOME", directory_.path().c_str(), 1);
  unsetenv("XDG_CONFIG_HOME");
  unsetenv("XDG_SESSION_ID");
}

int Site::runTool(std::vector<std::string> arguments, const std::string& output) const {
  arguments.insert(arguments.begin(), programs_.tool);
  std::vector<char*> words;
  for (std::string& argument : arguments) words.push_back(argument.data());
  words.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  pid_t pid = -1;
  const int error = posix_spawn(&pid, words[0], &actions, nullptr, words.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  int status = -1;
  if (error != 0 || waitpid(pid, &status, 0) != pid) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string Site::sign() const {
  const std::string key = directory_ / "demo.key";
  const std::string publicKey = directory_ / "demo.plist";
  const std::string ignored = directory_ / "output";
  fs::copy_file(programs_.client, friendProgram());
  const bool isDone =
      runTool({"key", "new", "demo", "--output", key}, ignored) == 0 &&
      runTool({"key", "public", key}, publicKey) == 0 && runTool({"trust", "add", publicKey}, ignored) == 0 &&
      runTool({"sign", "--key", key, "--identifier", "org.vanto.example.EchoHost", friendProgram()}, ignored) == 0;
  return isDone ? "" : "the tool cannot make, trust and use a key";
}

std::string Site::begin() {
  if (const std::string problem = sign(); !problem.empty()) return problem;
  const std::string bundle = directory_ / "echo.vanto";
  fs::copy(programs_.service, bundle, fs::copy_options::recursive);
  if (!manager_.start()) return "the manager does not start";
  std::string problem = manager_.load(signingName, programs_.vexd);
  return problem.empty() ? manager_.load(serviceName, bundle + "/Contents/Linux/echo") : problem;
}

std::string Site::end() {
  const int status = manager_.terminate(endMilliseconds);
  return status == 0 ? "" : "the manager ended with status " + std::to_string(status);
}

pid_t Site::processOf(const char* label) const {
  const IpcPointer reply = manager_.order("status", label);
  const vanto_object_t job = vanto_array_get_value(vanto_dictionary_get_value(reply.get(), "jobs"), 0);
  const vanto_object_t instances = vanto_dictionary_get_value(job, "instances");
  const std::size_t count = vanto_array_get_count(instances);
  if (count == 0) return -1;
  const vanto_object_t instance = vanto_array_get_value(instances, count - 1);
  return static_cast<pid_t>(vanto_int64_get_value(vanto_dictionary_get_value(instance, "pid")));
}

std::vector<std::pair<std::string, pid_t>> Site::processes() const {
  const pid_t signing = processOf(signingName);
  return {{"service", processOf(serviceName)},
          {"vexd", signing},
          {"vexd-digester", childOf(signing)},
          {"tolvend", manager_.pid()}};
}

}  // namespace vanto::refusals
