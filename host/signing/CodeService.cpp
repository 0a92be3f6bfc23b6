// SPDX-License-Identifier: Apache-2.0
#include "signing/CodeService.h"

#include <cstddef>
#include <mutex>
#include <new>
#include <utility>

#include <VantoService/vanto.h>

#include "dispatch/Workers.h"

namespace vanto {

namespace {

/// A reference of a user, which is what keeps a connection open.
class UsedObject {
 public:
  UsedObject() = default;
  explicit UsedObject(vanto_object_t object) noexcept : object_(object) {}
  UsedObject(UsedObject&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  UsedObject& operator=(UsedObject&& other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  UsedObject(const UsedObject&) = delete;
  UsedObject& operator=(const UsedObject&) = delete;
  ~UsedObject() { vanto_release(object_); }

  [[nodiscard]] vanto_object_t get() const noexcept { return object_; }
  [[nodiscard]] UsedObject share() const noexcept { return UsedObject(vanto_retain(object_)); }

 private:
  vanto_object_t object_ = nullptr;
};

/// The connection of the process.
class KeptConnection {
 public:
  /// It, or a new one, or an error object.
  [[nodiscard]] UsedObject take(std::uint64_t deadline) {
    if (UsedObject kept = current(); kept.get() != nullptr) return kept;
    // Without the lock: who else wants one has a deadline too, and may be faster.
    UsedObject made(vanto_connect(codeServiceName, nullptr, remainingUntil(deadline)));
    if (vanto_kind(made.get()) != VANTO_KIND_CONNECTION) return made;
    const std::lock_guard lock(mutex_);
    if (connection_.get() == nullptr) connection_ = made.share();
    return connection_.share();
  }

  /// Keeps `connection`, which has ended, no longer.
  void drop(const UsedObject& connection) {
    UsedObject dropped;
    const std::lock_guard lock(mutex_);
    if (connection_.get() == connection.get()) std::swap(connection_, dropped);
  }

 private:
  [[nodiscard]] UsedObject current() {
    const std::lock_guard lock(mutex_);
    return connection_.get() != nullptr ? connection_.share() : UsedObject();
  }

  std::mutex mutex_;
  UsedObject connection_;
};

/// Never destroyed: other threads may ask while the process ends.
KeptConnection& keptConnection() {
  alignas(KeptConnection) static std::byte place[sizeof(KeptConnection)];
  static auto* const kept = ::new (place) KeptConnection;
  return *kept;
}

/// The answer to `request`, or an error object. A connection that was kept may have ended long ago, which says nothing
/// about the service there is now: then a new one is made, once.
UsedObject ask(const UsedObject& request, std::uint64_t deadline) {
  UsedObject answer;
  for (int attempt = 0; attempt < 2; ++attempt) {
    const UsedObject connection = keptConnection().take(deadline);
    if (vanto_kind(connection.get()) != VANTO_KIND_CONNECTION) return connection.share();
    answer = UsedObject(vanto_call(connection.get(), request.get(), remainingUntil(deadline)));
    const vanto_error_code_t code = vanto_error_get_code(answer.get());
    if (code != VANTO_ERROR_CLOSED && code != VANTO_ERROR_PROTOCOL) break;
    keptConnection().drop(connection);
  }
  return answer;
}

}  // namespace

CodeReply askCodeService(const Fd& process, std::uint64_t nanoseconds) noexcept {
  const std::uint64_t deadline = deadlineAfter(nanoseconds);
  const UsedObject descriptor(vanto_fd_create(process.get()));
  if (descriptor.get() == nullptr) return failedCodeReply(VexStatusGone, "the process cannot be named");
  const char* const key = "process";
  const vanto_object_t value = descriptor.get();
  const UsedObject request(vanto_dictionary_create(&key, &value, 1));
  return decodeCodeReply(ask(request, deadline).get());
}

std::optional<ExecutableFile> lookUpExecutable(const Fd& process) noexcept {
  const CodeReply reply = askCodeService(process);
  return reply.status == 0 ? std::optional(executableOf(reply.facts)) : std::nullopt;
}

ExecutableFile executableOf(const CodeFacts& facts) noexcept {
  return {static_cast<dev_t>(facts.device), static_cast<ino_t>(facts.inode)};
}

}  // namespace vanto
