// SPDX-License-Identifier: Apache-2.0
#include "refusals/Strangers.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <new>
#include <utility>
#include <vector>

#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <VantoService/vanto.h>

namespace vanto::refusals {

namespace {

namespace fs = std::filesystem;

constexpr int workers = 3;
constexpr std::uint64_t patience = 60'000'000'000;
constexpr std::int64_t unseenEvery = 100;
constexpr std::int64_t friendEvery = 1'000;

/// How the process ended that comes of forking; the negative number of the signal.
int endOf(pid_t process) {
  int status = 0;
  if (process < 0 || waitpid(process, &status, 0) != process) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

int endOfProgram(const std::string& program) {
  std::string name = program;
  std::string call = "--call";
  char* const words[] = {name.data(), call.data(), nullptr};
  pid_t process = -1;
  return posix_spawn(&process, program.c_str(), nullptr, nullptr, words, environ) == 0 ? endOf(process) : -1;
}

int endOfFork() {
  const pid_t process = fork();
  if (process == 0) _exit(Strangers::callOnce());
  return endOf(process);
}

}  // namespace

/// In memory that the processes share.
struct Strangers::Counts {
  std::atomic<std::int64_t> refused = 0;
  std::atomic<std::int64_t> served = 0;
  std::atomic<std::int64_t> wrong = 0;
};

Strangers::Strangers(std::string client, std::string friendProgram, std::string directory)
    : client_(std::move(client)), friendProgram_(std::move(friendProgram)), directory_(std::move(directory)) {}

int Strangers::callOnce() {
  const vanto_object_t connection = vanto_connect("org.vanto.example.echo", nullptr, patience);
  const vanto_object_t request = vanto_string_create("x");
  const vanto_object_t reply =
      vanto_kind(connection) == VANTO_KIND_ERROR ? vanto_retain(connection) : vanto_call(connection, request, patience);
  const int code = vanto_kind(reply) == VANTO_KIND_ERROR ? vanto_error_get_code(reply) : 0;
  vanto_release(reply);
  vanto_release(request);
  vanto_release(connection);
  return code;
}

Strangers::Outcome Strangers::call(std::int64_t count) const {
  void* const place = mmap(nullptr, sizeof(Counts), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (place == MAP_FAILED) return {.wrong = count};
  Counts& counts = *new (place) Counts;
  std::vector<pid_t> processes;
  for (int number = 0; number < workers; ++number) {
    const std::int64_t part = count / workers + (number < count % workers ? 1 : 0);
    const pid_t process = fork();
    if (process == 0) {
      work(number, part, counts);
      _exit(0);
    }
    processes.push_back(process);
  }
  for (const pid_t process : processes) {
    if (endOf(process) != 0) ++counts.wrong;
  }
  const Outcome outcome{counts.refused, counts.served, counts.wrong};
  munmap(place, sizeof(Counts));
  return outcome;
}

void Strangers::work(int number, std::int64_t count, Counts& counts) const {
  const std::string unseen = directory_ + "/unseen-" + std::to_string(number);
  for (std::int64_t i = 1; i <= count; ++i) {
    int end = 0;
    if (i % unseenEvery == 0) {
      fs::remove(unseen);
      fs::copy_file(client_, unseen);
      std::ofstream(unseen + ".Signature.plist") << "<plist version=\"1.0\"><dict><key>Seal</key>" << i;
      end = endOfProgram(unseen);
    } else {
      end = endOfFork();
    }
    ++(end == VANTO_ERROR_REFUSED ? counts.refused : counts.wrong);
    if (i % friendEvery == 1) ++(endOfProgram(friendProgram_) == 0 ? counts.served : counts.wrong);
  }
}

}  // namespace vanto::refusals
