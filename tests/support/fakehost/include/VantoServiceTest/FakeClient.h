// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include <sys/types.h>

#include <VantoService/Object.h>
#include <VantoService/vanto.h>

namespace vanto::test {

/// Who a client is.
struct FakePeer {
  pid_t pid = 4242;
  uid_t uid = 1000;
  gid_t gid = 1000;

  /// The audit token that the service gets to see.
  [[nodiscard]] audit_token_t token() const noexcept;
};

/// Answers a message; the reference of the result is given away, null is no answer.
using FakeResponder = std::function<vanto_object_t(vanto_object_t message)>;

class FakeConnection;
struct FakeExchange;

/// A request that a client sent. Copies stand for the same request.
class FakeRequest {
 public:
  /// The reply, or an error object; null as long as the service may still answer. Lives as long as the request.
  [[nodiscard]] vanto_object_t reply() const;

  /// Tells the service that nobody waits for the reply any more.
  void cancel();

 private:
  friend class FakeClient;
  explicit FakeRequest(std::shared_ptr<FakeExchange> exchange);

  std::shared_ptr<FakeExchange> exchange_;
};

/// A client at the other end of a connection to the service under test. Copies stand for the same client. What it does
/// has reached the service, and the service's handlers have run, when the operation returns, unless the service handles
/// something else just then, or has not resumed the connection yet.
class FakeClient {
 public:
  FakeClient(const FakeClient& other);
  FakeClient(FakeClient&& other) noexcept;
  FakeClient& operator=(const FakeClient& other);
  FakeClient& operator=(FakeClient&& other) noexcept;
  ~FakeClient();

  /// True from the moment the service was offered the connection until one of both closes it.
  [[nodiscard]] bool isConnected() const;
  /// VANTO_ERROR_NO_SERVICE or VANTO_ERROR_REFUSED for a client that never was connected, VANTO_ERROR_CLOSED for one
  /// whose connection has ended.
  [[nodiscard]] vanto_error_code_t error() const;

  /// Sends a message that expects no reply.
  void send(vanto_object_t body);
  /// Sends a request.
  [[nodiscard]] FakeRequest call(vanto_object_t body);

  /// The messages and requests that the service sent to this client, in their order. They live as long as the client.
  [[nodiscard]] std::vector<vanto_object_t> received() const;
  /// How this client answers requests of the service; without it there is no answer.
  void answerWith(FakeResponder responder);

  /// Closes the connection. The service gets its last event.
  void close();

 private:
  friend class FakeHost;
  FakeClient(Ref<FakeConnection> connection, vanto_error_code_t error);

  /// Null for a client that never was connected.
  Ref<FakeConnection> connection_;
  vanto_error_code_t error_;
};

}  // namespace vanto::test
