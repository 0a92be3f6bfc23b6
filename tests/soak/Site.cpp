// SPDX-License-Identifier: Apache-2.0
#include "soak/Site.h"

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vanto::soak {

namespace {

namespace fs = std::filesystem;
using test::IpcPointer;
using test::RunningManager;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds patience{10};
constexpr int endMilliseconds = 30'000;

std::string text(vanto_object_t dictionary, const char* key) {
  vanto_object_t value = vanto_dictionary_get_value(dictionary, key);
  return vanto_kind(value) == VANTO_KIND_STRING ? vanto_string_get_text(value) : "";
}

std::int64_t number(vanto_object_t dictionary, const char* key) {
  return vanto_int64_get_value(vanto_dictionary_get_value(dictionary, key));
}

std::string madeDirectory(const std::string& path) {
  fs::create_directory(path);
  return path;
}

std::vector<std::string> managerArguments() {
  std::vector<std::string> arguments = SanitizerReports::managerArguments();
  arguments.insert(arguments.end(), {"--idle", std::to_string(Site::idleSeconds)});
  return arguments;
}

}  // namespace

Site::Site(const Programs& programs)
    : reports_(madeDirectory(directory_ / "reports")),
      ledger_((fs::create_directory(directory_ / "service"), directory_ / "service/" + Ledger::fileName)),
      manager_({programs.manager, programs.proxy, directory_.path(), managerArguments()}) {
  for (const Service service : services) fs::copy_file(programs.service, executable(service));
  setenv("XDG_RUNTIME_DIR", directory_.path().c_str(), 1);
  prctl(PR_SET_CHILD_SUBREAPER, 1);
}

std::string Site::begin() {
  if (!manager_.start()) return "the manager does not start";
  return load();
}

std::string Site::load() const {
  using Instances = RunningManager::Instances;
  std::string error = manager_.load(nameOf(Service::Shared), executable(Service::Shared), Instances::One);
  if (!error.empty()) return error;
  return manager_.load(nameOf(Service::Multiple), executable(Service::Multiple), Instances::Multiple);
}

std::string Site::end() {
  const int status = manager_.terminate(endMilliseconds);
  if (status != 0) return "the manager ended with status " + std::to_string(status);
  reapAdopted();
  const std::size_t left = children().size();
  return left == 0 ? "" : std::to_string(left) + " processes are left";
}

Site::State Site::state(Service service) const {
  const IpcPointer reply = manager_.order("status", nameOf(service));
  const vanto_object_t jobs = vanto_dictionary_get_value(reply.get(), "jobs");
  const vanto_object_t job = vanto_array_get_value(jobs, 0);
  State state;
  state.state = text(job, "state") + RunningManager::errorIn(reply.get());
  state.retry = number(job, "retry");
  state.starts = number(job, "starts");
  state.failures = number(job, "failures");
  state.failureTime = number(vanto_dictionary_get_value(job, "failure"), "time");
  const vanto_object_t instances = vanto_dictionary_get_value(job, "instances");
  for (std::size_t i = 0; i < vanto_array_get_count(instances); i++) {
    state.processes.push_back(static_cast<pid_t>(number(vanto_array_get_value(instances, i), "pid")));
  }
  return state;
}

bool Site::waitUntil(const std::function<bool()>& condition) const {
  const Clock::time_point deadline = Clock::now() + patience;
  while (!condition()) {
    if (Clock::now() > deadline) return false;
    reapAdopted();
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  return true;
}

void Site::signalProcesses(Service service, int signal) const {
  for (const pid_t process : state(service).processes) kill(process, signal);
}

void Site::signalProcesses(int signal) const {
  for (const Service service : services) signalProcesses(service, signal);
}

void Site::killStarting() {
  const std::vector<pid_t> processes = state(Service::Shared).processes;
  if (processes.empty()) return;
  ledger_.noteFailure(Service::Shared);
  kill(processes.back(), SIGKILL);
}

void Site::removeExecutables() const {
  for (const Service service : services) fs::rename(executable(service), executable(service) + ".away");
}

void Site::makeExecutablesUnusable() const {
  for (const Service service : services) chmod(executable(service).c_str(), 0600);
}

void Site::setMode(const std::string& mode) const {
  for (const Service service : services) setMode(service, mode);
}

void Site::setMode(Service service, const std::string& mode) const {
  const std::string path = executable(service) + Ledger::modeSuffix;
  // As a whole, since a process may just begin.
  std::ofstream(path + ".new") << mode << '\n';
  fs::rename(path + ".new", path);
}

void Site::restore() const {
  for (const Service service : services) {
    const std::string path = executable(service);
    if (fs::exists(path + ".away")) fs::rename(path + ".away", path);
    chmod(path.c_str(), 0700);
  }
  setMode("");
}

std::string Site::order(const char* command, Service service) const {
  return RunningManager::errorIn(manager_.order(command, nameOf(service)).get());
}

std::string Site::order(const char* command) const {
  std::string error;
  for (const Service service : services) {
    if (error.empty()) error = order(command, service);
  }
  return error;
}

std::string Site::replaceManager() {
  manager_.kill();
  return manager_.start() ? "" : "the manager does not start again";
}

Site::Holdings Site::holdings() const {
  const std::string process = "/proc/" + std::to_string(manager_.pid());
  Holdings holdings;
  for (const fs::directory_entry& entry : fs::directory_iterator(process + "/fd")) {
    holdings.descriptors += entry.path().empty() ? 0 : 1;
  }
  std::ifstream status(process + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("RssAnon:", 0) == 0) holdings.kilobytes = std::atol(line.c_str() + 8);
  }
  return holdings;
}

std::vector<pid_t> Site::children() const {
  std::vector<pid_t> found;
  for (const fs::directory_entry& task : fs::directory_iterator("/proc/self/task")) {
    std::ifstream file(task.path() / "children");
    for (pid_t child; file >> child;) {
      if (child != manager_.pid()) found.push_back(child);
    }
  }
  return found;
}

void Site::reapAdopted() const {
  for (const pid_t child : children()) waitpid(child, nullptr, WNOHANG);
}

}  // namespace vanto::soak
