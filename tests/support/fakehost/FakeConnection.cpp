// SPDX-License-Identifier: Apache-2.0
#include "support/fakehost/FakeConnection.h"

#include <new>
#include <utility>

#include "support/fakehost/HostState.h"
#include "value/ValueStorage.h"

namespace vanto::test {
namespace {

std::unique_lock<std::mutex> locked() {
  return std::unique_lock(HostState::shared().mutex);
}

/// `queue`, or a new one of that label, with a reference for the caller.
dispatch_queue_t retained(dispatch_queue_t queue, const std::string& label) {
  if (queue == nullptr) return makeQueue(label);
  retainQueue(queue);
  return queue;
}

}  // namespace

vanto_error_code_t FakeExchange::settle(Ref<vanto_object> object) {
  const auto lock = locked();
  if (!reply) {
    std::swap(reply, object);
    return VANTO_ERROR_NONE;
  }
  return vanto_error_get_code(reply.get()) == VANTO_ERROR_CLOSED ? VANTO_ERROR_CLOSED : VANTO_ERROR_INVALID;
}

Ref<vanto_object> errorObject(vanto_error_code_t code) {
  return Ref<vanto_object>::adopt(vanto_error_create(code, nullptr));
}

constinit const Class FakeMessage::messageClass{"FakeMessage",         &ipcObjectClass, NoKind,
                                                &FakeMessage::destroy, nullptr,         nullptr};

Ref<FakeMessage> FakeMessage::create(vanto_object_t body, std::shared_ptr<FakeExchange> exchange) {
  return Ref<FakeMessage>::adopt(::new (allocate(sizeof(FakeMessage))) FakeMessage(body, std::move(exchange)));
}

FakeMessage::FakeMessage(vanto_object_t body, std::shared_ptr<FakeExchange> exchange)
    : vanto_object(messageClass, objectKind), body_(Ref<vanto_object>::share(body)), exchange_(std::move(exchange)) {}

FakeMessage::~FakeMessage() {
  if (exchange_ != nullptr) static_cast<void>(exchange_->settle(errorObject(VANTO_ERROR_NO_REPLY)));
}

void FakeMessage::destroy(Object& self) noexcept {
  auto& message = static_cast<FakeMessage&>(self);
  message.~FakeMessage();
  deallocate(&message);
}

constinit const Class FakeConnection::connectionClass{"FakeConnection",         &ipcObjectClass, NoKind,
                                                      &FakeConnection::destroy, nullptr,         nullptr};

Ref<FakeConnection> FakeConnection::create(vanto_kind_t kind, std::string name, dispatch_queue_t queue,
                                           const FakePeer& peer) {
  return Ref<FakeConnection>::adopt(::new (allocate(sizeof(FakeConnection)))
                                        FakeConnection(kind, std::move(name), queue, peer));
}

FakeConnection::FakeConnection(vanto_kind_t kind, std::string name, dispatch_queue_t queue, const FakePeer& peer)
    : vanto_object(connectionClass, kind), name_(std::move(name)), peer_(peer), queue_(retained(queue, name_)) {}

FakeConnection::~FakeConnection() {
  if (release_ != nullptr) release_(context_);
  releaseQueue(queue_);
}

void FakeConnection::destroy(Object& self) noexcept {
  auto& connection = static_cast<FakeConnection&>(self);
  connection.~FakeConnection();
  deallocate(&connection);
}

std::string FakeConnection::text() const {
  return (kind() == VANTO_KIND_LISTENER ? "listener " : "connection ") + name_;
}

bool FakeConnection::isResumed() const {
  const auto lock = locked();
  return isResumed_;
}

bool FakeConnection::isClosed() const {
  const auto lock = locked();
  return isClosed_;
}

dispatch_queue_t FakeConnection::queue() const {
  const auto lock = locked();
  return queue_;
}

void FakeConnection::setHandler(vanto_event_function_t function, void* context,
                                vanto_context_release_t contextRelease) {
  auto lock = locked();
  function_ = function;
  void* const oldContext = std::exchange(context_, context);
  const vanto_context_release_t oldRelease = std::exchange(release_, contextRelease);
  lock.unlock();
  if (oldRelease != nullptr) oldRelease(oldContext);
}

void FakeConnection::setQueue(dispatch_queue_t queue) {
  dispatch_queue_t other = retained(queue, name_);
  {
    const auto lock = locked();
    std::swap(queue_, other);
  }
  releaseQueue(other);
}

void FakeConnection::resume() {
  auto lock = locked();
  const bool isFirst = !std::exchange(isResumed_, true);
  const auto held = std::exchange(held_, {});
  const bool isClosed = isClosed_;
  lock.unlock();
  if (!isFirst) return;
  for (const auto& event : held) enqueueEvent(event, isClosed && &event == &held.back());
}

void FakeConnection::retainByService() {
  const auto lock = locked();
  ++serviceReferences_;
}

void FakeConnection::releaseByService() {
  auto lock = locked();
  const bool wasLast = --serviceReferences_ == 0;
  lock.unlock();
  if (wasLast) close(VANTO_ERROR_CANCELLED);
}

bool FakeConnection::isHeldByService() const {
  const auto lock = locked();
  return serviceReferences_ > (keepsItself_ ? 1U : 0U);
}

/// The service has seen the event that offers this connection. It stays if the service resumed it or took a reference.
void FakeConnection::wasOffered() {
  auto lock = locked();
  keepsItself_ = isResumed_ && !isClosed_;
  const bool isKept = keepsItself_;
  lock.unlock();
  if (!isKept) releaseByService();
}

void FakeConnection::deliver(Ref<vanto_object> event) {
  auto lock = locked();
  if (isClosed_) return;
  if (!isResumed_) {
    held_.push_back(std::move(event));
    return;
  }
  lock.unlock();
  enqueueEvent(std::move(event), false);
}

void FakeConnection::close(vanto_error_code_t code) {
  Ref<vanto_object> error = errorObject(code);
  auto lock = locked();
  if (std::exchange(isClosed_, true)) return;
  const auto exchanges = std::exchange(exchanges_, {});
  for (auto& [call, reply] : calls_) reply = errorObject(VANTO_ERROR_CANCELLED);
  const bool isResumed = isResumed_;
  if (!isResumed) held_.push_back(error);
  lock.unlock();
  for (const auto& exchange : exchanges) {
    if (const auto open = exchange.lock()) static_cast<void>(open->settle(errorObject(VANTO_ERROR_CLOSED)));
  }
  if (isResumed) enqueueEvent(std::move(error), true);
}

void FakeConnection::enqueueEvent(Ref<vanto_object> event, bool isLast) {
  enqueue(queue(), [self = Ref<FakeConnection>::share(this), event = std::move(event), isLast] {
    self->handle(event.get(), isLast);
  });
}

void FakeConnection::handle(vanto_object_t event, bool isLast) {
  auto lock = locked();
  const vanto_event_function_t function = function_;
  void* const context = context_;
  lock.unlock();
  if (function != nullptr) function(this, event, context);
  if (vanto_kind(event) == VANTO_KIND_CONNECTION) asConnection(event)->wasOffered();
  if (!isLast) return;
  setHandler(nullptr, nullptr, nullptr);
  lock.lock();
  const bool keptItself = std::exchange(keepsItself_, false);
  lock.unlock();
  if (keptItself) releaseByService();
}

void FakeConnection::addExchange(const std::shared_ptr<FakeExchange>& exchange) {
  const auto lock = locked();
  exchanges_.push_back(exchange);
}

Ref<vanto_object> FakeConnection::sendToPeer(vanto_object_t message) {
  auto lock = locked();
  received_.push_back(Ref<vanto_object>::share(message));
  const FakeResponder responder = responder_;
  lock.unlock();
  return responder ? Ref<vanto_object>::adopt(responder(message)) : nullptr;
}

std::vector<vanto_object_t> FakeConnection::received() const {
  const auto lock = locked();
  std::vector<vanto_object_t> result;
  for (const auto& message : received_) result.push_back(message.get());
  return result;
}

void FakeConnection::setResponder(FakeResponder responder) {
  const auto lock = locked();
  responder_ = std::move(responder);
}

std::uint64_t FakeConnection::addCall(Ref<vanto_object> reply) {
  const auto lock = locked();
  calls_[++lastCall_] = std::move(reply);
  return lastCall_;
}

Ref<vanto_object> FakeConnection::takeCall(std::uint64_t call) {
  const auto lock = locked();
  auto node = calls_.extract(call);
  return node.empty() ? nullptr : std::move(node.mapped());
}

void FakeConnection::cancelCall(std::uint64_t call) {
  Ref<vanto_object> error = errorObject(VANTO_ERROR_CANCELLED);
  const auto lock = locked();
  const auto found = calls_.find(call);
  if (found != calls_.end()) std::swap(found->second, error);
}

FakeConnection* asConnection(vanto_object_t object) {
  if (object == nullptr) return nullptr;
  if (object->kind() != VANTO_KIND_LISTENER && object->kind() != VANTO_KIND_CONNECTION) {
    refuseUse("this is no connection:", textOf(object));
  }
  return static_cast<FakeConnection*>(object);
}

}  // namespace vanto::test
