// SPDX-License-Identifier: Apache-2.0
#include "soak/WaitingClients.h"

#include <VantoService/vanto.h>

#include "soak/Ledger.h"
#include "soak/Load.h"
#include "support/RunningManager.h"

namespace vanto::soak {

namespace {

void connectOnce(WaitingClients::Story& story) {
  story.begin = monotonicTime();
  const test::IpcPointer outcome(vanto_connect(nameOf(Service::Shared), nullptr, Load::bound));
  story.end = monotonicTime();
  if (vanto_kind(outcome.get()) == VANTO_KIND_ERROR) story.error = vanto_error_get_text(outcome.get());
}

}  // namespace

WaitingClients::WaitingClients(int count) : stories_(static_cast<std::size_t>(count)) {
  for (Story& story : stories_) {
    threads_.emplace_back([&story] { connectOnce(story); });
  }
}

WaitingClients::~WaitingClients() {
  for (std::thread& thread : threads_) thread.join();
}

const std::vector<WaitingClients::Story>& WaitingClients::stories() {
  for (std::thread& thread : threads_) thread.join();
  threads_.clear();
  return stories_;
}

}  // namespace vanto::soak
