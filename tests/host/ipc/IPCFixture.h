// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <VantoService/vanto.h>
#include <gtest/gtest.h>

#include "support/TemporaryDirectory.h"

/// Real listeners and clients of one process, in a run-time directory of their own.
namespace vanto::test {

/// Long enough for everything that is to happen.
inline constexpr std::uint64_t generous = 60'000'000'000;

/// Owns a reference of the C interface.
class Held {
 public:
  Held() noexcept = default;
  explicit Held(vanto_object_t object) noexcept : object_(object) {}
  Held(const Held& other) noexcept : object_(vanto_retain(other.object_)) {}
  Held(Held&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  Held& operator=(Held other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~Held() { vanto_release(object_); }
  operator vanto_object_t() const noexcept { return object_; }
  [[nodiscard]] static Held share(vanto_object_t object) { return Held(vanto_retain(object)); }
  void reset() noexcept { vanto_release(std::exchange(object_, nullptr)); }

 private:
  vanto_object_t object_ = nullptr;
};

/// A value that one thread sets and another one waits for.
template <typename T>
class Awaited {
 public:
  void add(T value) {
    const std::lock_guard lock(mutex_);
    values_.push_back(std::move(value));
    changed_.notify_all();
  }
  /// The values, once there are `count` of them; a failure, and fewer, when that takes too long.
  std::vector<T> await(std::size_t count = 1) {
    std::unique_lock lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, std::chrono::seconds(60), [&] { return values_.size() >= count; }));
    return values_;
  }
  /// Takes the first value out, once there is one.
  T take() {
    std::unique_lock lock(mutex_);
    EXPECT_TRUE(changed_.wait_for(lock, std::chrono::seconds(60), [&] { return !values_.empty(); }));
    T value = std::move(values_.at(0));
    values_.erase(values_.begin());
    return value;
  }
  [[nodiscard]] std::size_t count() {
    const std::lock_guard lock(mutex_);
    return values_.size();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<T> values_;
};

/// A run-time directory in the environment; before any connection of the process.
class RuntimeDirectory {
 public:
  RuntimeDirectory() { setenv("XDG_RUNTIME_DIR", directory_.path().c_str(), 1); }
  ~RuntimeDirectory() { unsetenv("XDG_RUNTIME_DIR"); }
  [[nodiscard]] std::string socketPath(const std::string& name) const { return directory_ / ("vanto/user/" + name); }
  [[nodiscard]] const TemporaryDirectory& directory() const noexcept { return directory_; }

 private:
  TemporaryDirectory directory_;
};

/// A service that gives each event of its connections to a function. The default one answers with what was asked.
class Service {
 public:
  using Handler = std::function<void(vanto_object_t connection, vanto_object_t event)>;

  explicit Service(const char* name, Handler handler = echo)
      : handler_(std::move(handler)), listener_(vanto_connection_create_listener(name, nullptr)) {
    vanto_connection_set_event_handler(listener_, [this](vanto_object_t, vanto_object_t event) { received(event); });
    vanto_connection_resume(listener_);
  }
  /// Waits for the last event of its listener and of each connection, so that no handler runs any more.
  ~Service() {
    vanto_close(listener_);
    static_cast<void>(errors.await());
    const std::size_t count = connections.count();
    for (const Held& connection : connections.await(count)) vanto_close(connection);
    static_cast<void>(ends_.await(count));
  }

  static void echo(vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) vanto_reply(event, vanto_message_get_body(event));
  }

  [[nodiscard]] vanto_object_t listener() const { return listener_; }

  Awaited<Held> connections;
  Awaited<vanto_error_code_t> errors;
  /// Has each connection served on a queue of its own.
  bool hasQueues = true;

 private:
  void received(vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_ERROR) return errors.add(vanto_error_get_code(event));
    if (hasQueues) vanto_connection_set_queue(event, nullptr);
    vanto_connection_set_event_handler(event, [this](vanto_object_t connection, vanto_object_t message) {
      handler_(connection, message);
      if (vanto_kind(message) == VANTO_KIND_ERROR) ends_.add(1);
    });
    vanto_connection_resume(event);
    connections.add(Held::share(event));
  }

  const Handler handler_;
  Awaited<int> ends_;
  const Held listener_;
};

inline Held text(const char* value) {
  return Held(vanto_string_create(value));
}
inline Held data(std::size_t size, unsigned char fill = 'x') {
  const std::string bytes(size, static_cast<char>(fill));
  return Held(vanto_data_create(bytes.data(), bytes.size()));
}

/// An array of as many descriptors, all of the standard input.
inline Held descriptorsOf(std::size_t count) {
  const Held null(vanto_fd_create(0));
  Held array(vanto_array_create(nullptr, 0));
  for (std::size_t i = 0; i < count; i++) vanto_array_append_value(array, null);
  return array;
}

/// A new connection, which must come about.
inline Held connectTo(const char* name) {
  Held connection(vanto_connect(name, nullptr, generous));
  EXPECT_EQ(vanto_kind(connection), VANTO_KIND_CONNECTION)
      << (vanto_kind(connection) == VANTO_KIND_ERROR ? vanto_error_get_text(connection) : "");
  return connection;
}

inline Held callWith(vanto_object_t connection, vanto_object_t message, std::uint64_t timeout = generous) {
  return Held(vanto_call(connection, message, timeout));
}

inline vanto_error_code_t codeOf(vanto_object_t object) {
  return vanto_error_get_code(object);
}

}  // namespace vanto::test
