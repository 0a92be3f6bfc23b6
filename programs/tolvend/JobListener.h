// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include <sys/types.h>

#include "ipc/PublishedSocket.h"
#include "tolvend/Alarms.h"
#include "tolvend/SpareDescriptor.h"
#include "tolvend/WaitingClients.h"
#include "tolvend/Watch.h"

namespace vanto::manager {

/// The listening socket of one job, which the manager keeps while processes come and go. Main thread only.
class JobListener {
 public:
  /// `waiting` is called while a client waits and the socket is watched; `replaced` when
  /// another one has been bound in its place, since a process that was handed it has shut it down for good or its name
  /// was lost.
  JobListener(
      Alarms& alarms, SpareDescriptor& spare, std::function<void()> waiting, std::function<void()> replaced = [] {});

  /// Binds it in a directory that is borrowed. An empty text, or what is wrong and what to do.
  [[nodiscard]] std::string open(int directory, const std::string& file, PublishedSocket::Access access,
                                 PublishedSocket::Rival rival);
  /// Removes its file and closes it.
  void close();

  /// Whether it is open and, for the moment, has no socket.
  [[nodiscard]] bool isUnbound() const noexcept { return !socket_ && !file_.empty(); }
  /// Whether its name no longer stands for it.
  [[nodiscard]] bool isLost() const noexcept { return socket_ && !socket_->isPublished(); }
  /// Binds another one in its place, for as long as it takes, and less often each time, also where somebody else
  /// listens. Those who wait are let go, and come again.
  void bindAnew();
  /// Where it is in the file system, for people.
  [[nodiscard]] std::string path() const;

  [[nodiscard]] int descriptor() const noexcept { return socket_ ? socket_->descriptor() : -1; }

  void watch(bool shallWatch);
  [[nodiscard]] bool isAnybodyWaiting() const noexcept;
  /// How those who wait have changed since the last call.
  [[nodiscard]] WaitingChange lookAtWaiting();

  /// Accepts the client who waits longest. Without a descriptor for it those who wait are to be refused.
  [[nodiscard]] Accepted accept() { return acceptClient(descriptor()); }

  /// Whether a client, whose socket is borrowed, has closed its end.
  [[nodiscard]] static bool hasLeft(int client) noexcept;

  /// What a client is told who is not served.
  struct Refusal {
    vanto_error_code_t code;
    std::string text;
    /// For the manager's user and root only.
    std::string confidential;
  };
  /// Accepts those who wait, limits::managerRefusals at most, and tells each. Without a descriptor even for that the
  /// socket rests for a moment.
  void refuseAll(const Refusal& refusal);
  /// Tells one client, whose socket is borrowed.
  static void refuse(int client, const Refusal& refusal);

 private:
  void rest();
  void obey();
  void change();
  void isReady(std::uint32_t events);
  [[nodiscard]] std::string bind(PublishedSocket::Rival rival);

  std::unique_ptr<PublishedSocket> socket_;
  int directory_ = -1;
  /// Empty while it is not open.
  std::string file_;
  PublishedSocket::Access access_ = PublishedSocket::Access::Owner;
  SpareDescriptor& spare_;
  const std::function<void()> waiting_;
  const std::function<void()> replaced_;
  Watch watch_;
  bool shallWatch_ = false;
  /// As of the last look.
  WaitingClients seen_;
  /// Until then nothing is accepted, for want of a descriptor or of a socket.
  Alarm retry_;
  /// In nanoseconds, until another one is bound where that has failed.
  std::uint64_t pause_;
};

}  // namespace vanto::manager
