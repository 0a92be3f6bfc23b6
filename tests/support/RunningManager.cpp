// SPDX-License-Identifier: Apache-2.0
#include "support/RunningManager.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "value/Fd.h"

namespace vanto::test {
namespace {

constexpr std::uint64_t orderBound = 60'000'000'000;
constexpr int readyBound = 10'000;

/// A socket at `path` to which a program sends datagrams; nothing on failure.
Fd openNotifySocket(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof address.sun_path) return {};
  std::memcpy(address.sun_path, path.c_str(), path.size());
  unlink(path.c_str());
  Fd socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!socket || bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return {};
  return socket;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

/// The environment of this process, with one more variable.
std::vector<std::string> environmentWith(const std::string& name, const std::string& value) {
  std::vector<std::string> variables;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    if (std::strncmp(*variable, (name + "=").c_str(), name.size() + 1) != 0) variables.emplace_back(*variable);
  }
  variables.push_back(name + "=" + value);
  return variables;
}

IpcPointer string(const std::string& text) {
  return IpcPointer(vanto_string_create_with_length(text.data(), text.size()));
}

IpcPointer dictionary(const std::vector<std::pair<const char*, vanto_object_t>>& entries) {
  IpcPointer result(vanto_dictionary_create(nullptr, nullptr, 0));
  for (const auto& [key, value] : entries) vanto_dictionary_set_value(result.get(), key, value);
  return result;
}

IpcPointer jobOf(const std::string& label, const std::string& program, RunningManager::Instances instances) {
  const IpcPointer name = string(label);
  const IpcPointer proxy = string("/usr/libexec/vantoproxy");
  const IpcPointer path = string(program);
  const std::array<vanto_object_t, 2> words{proxy.get(), path.get()};
  const IpcPointer arguments(vanto_array_create(words.data(), words.size()));
  const IpcPointer yes(vanto_bool_create(true));
  const IpcPointer multiple(vanto_bool_create(instances == RunningManager::Instances::Multiple));
  const IpcPointer services = dictionary({{label.c_str(), yes.get()}});
  return dictionary({{"Label", name.get()},
                     {"MachServices", services.get()},
                     {"ProgramArguments", arguments.get()},
                     {"MultipleInstances", multiple.get()},
                     {"EnableTransactions", yes.get()}});
}

}  // namespace

RunningManager::RunningManager(Setting setting) : setting_(std::move(setting)) {}

RunningManager::~RunningManager() {
  kill();
}

bool RunningManager::start() {
  const std::string path = setting_.runtimeDirectory + "/ready";
  const Fd ready = openNotifySocket(path);
  if (!ready) return false;
  std::vector<std::string> words{setting_.program, "--domain", "user", "--proxy", setting_.proxy};
  words.insert(words.end(), setting_.arguments.begin(), setting_.arguments.end());
  std::vector<std::string> variables = environmentWith("NOTIFY_SOCKET", path);
  pid_t child = -1;
  if (posix_spawn(&child, words[0].c_str(), nullptr, nullptr, pointersTo(words).data(), pointersTo(variables).data()) !=
      0) {
    return false;
  }
  pid_ = child;
  const Fd process(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
  std::array<pollfd, 2> watched{{{ready.get(), POLLIN, 0}, {process.get(), POLLIN, 0}}};
  const bool isReady = poll(watched.data(), watched.size(), readyBound) > 0 && (watched[0].revents & POLLIN) != 0;
  unlink(path.c_str());
  return isReady;
}

void RunningManager::kill() {
  if (pid_ < 0) return;
  ::kill(pid_, SIGKILL);
  waitpid(pid_, nullptr, 0);
  pid_ = -1;
}

bool RunningManager::waitForEnd(int milliseconds, int& status) {
  const Fd process(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)));
  pollfd watched{process.get(), POLLIN, 0};
  if (poll(&watched, 1, milliseconds) <= 0) return false;
  if (waitpid(pid_, &status, 0) != pid_) return false;
  pid_ = -1;
  return true;
}

int RunningManager::terminate(int milliseconds) {
  int status = 0;
  if (pid_ < 0 || ::kill(pid_, SIGTERM) != 0 || !waitForEnd(milliseconds, status)) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

IpcPointer RunningManager::send(vanto_object_t request) const {
  IpcPointer connection(vanto_connect("org.vanto.tolvend.user", nullptr, orderBound));
  if (vanto_kind(connection.get()) != VANTO_KIND_CONNECTION) return connection;
  return IpcPointer(vanto_call(connection.get(), request, orderBound));
}

IpcPointer RunningManager::order(const char* command, const char* label) const {
  const IpcPointer commandText = string(command);
  const IpcPointer labelText(vanto_string_create(label));
  return send(dictionary({{"command", commandText.get()}, {"label", labelText.get()}}).get());
}

std::string RunningManager::load(const std::string& label, const std::string& program, Instances instances) const {
  const IpcPointer command = string("load");
  const IpcPointer job = jobOf(label, program, instances);
  return errorIn(send(dictionary({{"command", command.get()}, {"job", job.get()}}).get()).get());
}

std::string RunningManager::errorIn(vanto_object_t reply) {
  if (vanto_kind(reply) == VANTO_KIND_ERROR) return vanto_error_get_text(reply);
  vanto_object_t error = vanto_dictionary_get_value(reply, "error");
  return error == nullptr ? std::string() : vanto_string_get_text(error);
}

}  // namespace vanto::test
