// SPDX-License-Identifier: Apache-2.0
#include <VantoServiceTest/FakeClient.h>

#include <utility>

#include "support/fakehost/FakeConnection.h"
#include "support/fakehost/HostState.h"

namespace vanto::test {

audit_token_t FakePeer::token() const noexcept {
  const auto word = static_cast<std::uint32_t>(pid);
  return {{word, uid, gid, uid, gid, 0, 0, 0}};
}

FakeRequest::FakeRequest(std::shared_ptr<FakeExchange> exchange) : exchange_(std::move(exchange)) {}

vanto_object_t FakeRequest::reply() const {
  const std::lock_guard lock(HostState::shared().mutex);
  return exchange_->reply.get();
}

void FakeRequest::cancel() {
  {
    const std::lock_guard lock(HostState::shared().mutex);
    exchange_->isCancelled = true;
  }
  static_cast<void>(exchange_->settle(errorObject(VANTO_ERROR_CANCELLED)));
}

FakeClient::FakeClient(Ref<FakeConnection> connection, vanto_error_code_t error)
    : connection_(std::move(connection)), error_(error) {}

FakeClient::FakeClient(const FakeClient&) = default;
FakeClient::FakeClient(FakeClient&&) noexcept = default;
FakeClient& FakeClient::operator=(const FakeClient&) = default;
FakeClient& FakeClient::operator=(FakeClient&&) noexcept = default;
FakeClient::~FakeClient() = default;

bool FakeClient::isConnected() const {
  return error() == VANTO_ERROR_NONE;
}

vanto_error_code_t FakeClient::error() const {
  if (error_ != VANTO_ERROR_NONE) return error_;
  return connection_->isClosed() ? VANTO_ERROR_CLOSED : VANTO_ERROR_NONE;
}

void FakeClient::send(vanto_object_t body) {
  if (!isConnected()) return;
  connection_->deliver(FakeMessage::create(body, nullptr));
  performQueues();
}

FakeRequest FakeClient::call(vanto_object_t body) {
  const auto exchange = std::make_shared<FakeExchange>();
  if (!isConnected()) {
    static_cast<void>(exchange->settle(errorObject(error())));
    return FakeRequest(exchange);
  }
  connection_->addExchange(exchange);
  connection_->deliver(FakeMessage::create(body, exchange));
  performQueues();
  return FakeRequest(exchange);
}

std::vector<vanto_object_t> FakeClient::received() const {
  return connection_ ? connection_->received() : std::vector<vanto_object_t>{};
}

void FakeClient::answerWith(FakeResponder responder) {
  if (connection_) connection_->setResponder(std::move(responder));
}

void FakeClient::close() {
  if (!connection_) return;
  connection_->close(VANTO_ERROR_CLOSED);
  performQueues();
}

}  // namespace vanto::test
