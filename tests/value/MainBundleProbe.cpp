// SPDX-License-Identifier: Apache-2.0
// Says which main bundle it has. Tests copy it into bundles and start it there. With arguments FROM TO it renames FROM
// to TO after the first look, to show that there is no second.
#include <array>
#include <barrier>
#include <cstdio>
#include <thread>
#include <vector>

#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceBundle.h>

namespace {

constexpr int threadCount = 8;

/// The main bundle, if as many threads asking for it at the same time all get the same.
Bundle* askOnThreads() {
  std::array<Bundle*, threadCount> answers{};
  std::barrier start(threadCount);
  std::vector<std::thread> threads;
  for (Bundle*& answer : answers) {
    threads.emplace_back([&start, &answer] {
      start.arrive_and_wait();
      answer = Bundle::mainBundle();
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (const Bundle* answer : answers) {
    if (answer != answers[0]) std::puts("threads got different bundles");
  }
  return answers[0];
}

void print(const char* what, const Bundle* bundle) {
  std::printf("%s %s\n", what, bundle == nullptr ? "none" : bundle->bundlePath()->utf8());
}

}  // namespace

int main(int argc, char** argv) {
  const vanto::TemporaryScope scope;
  Bundle* bundle = askOnThreads();
  print("bundle", bundle);
  if (argc == 3 && std::rename(argv[1], argv[2]) != 0) std::perror("rename");
  if (Bundle::mainBundle() != bundle) std::puts("asking again gave another bundle");
  VantoServiceBundle* service = VantoServiceBundle::VantoServiceBundleForMainExecutable();
  print("service", service == nullptr ? nullptr : service->bundle());
  if (service == nullptr) return 0;
  if (service->bundle() != bundle) std::puts("the service has another bundle");
  if (service == VantoServiceBundle::VantoServiceBundleForMainExecutable())
    std::puts("the service is not a new object");
}
