// SPDX-License-Identifier: Apache-2.0
#include <VantoService/vanto.h>

#include "ipc/Activity.h"
#include "ipc/ClientConnect.h"
#include "ipc/Connection.h"
#include "ipc/Listener.h"
#include "ipc/ManagerLink.h"
#include "ipc/Message.h"
#include "ipc/PeerJudgement.h"
#include "ipc/UserLimit.h"

// The C interface of listeners, connections and messages, and of references, which mean more there than for other
// objects. What callers pass is tested here.

namespace {

using vanto::asEndpoint;
using vanto::Connection;
using vanto::errorObject;
using vanto::Listener;
using vanto::MessageObject;
using vanto::ofKind;
using vanto::Ref;

/// Gives the caller of a function the reference that its name promises.
vanto_object_t handOver(Ref<vanto_object> object) noexcept {
  return object.leak();
}

Ref<dispatch_queue_s> shared(vanto_queue_t queue) noexcept {
  return Ref<dispatch_queue_s>::share(queue);
}

}  // namespace

vanto_object_t vanto_retain(vanto_object_t object) {
  if (vanto::Endpoint* endpoint = asEndpoint(object)) {
    endpoint->retainByUser();
  } else if (object != nullptr) {
    object->retain();
  }
  return object;
}

void vanto_release(vanto_object_t object) {
  if (vanto::Endpoint* endpoint = asEndpoint(object)) {
    endpoint->releaseByUser();
  } else if (object != nullptr) {
    object->release();
  }
}

vanto_object_t vanto_connection_create_listener(const char* name, vanto_queue_t queue) {
  return name != nullptr ? handOver(Listener::create(name, shared(queue))) : nullptr;
}

void vanto_connection_set_event_function(vanto_object_t connection, vanto_event_function_t function, void* context,
                                         vanto_context_release_t release) {
  vanto::Endpoint* endpoint = asEndpoint(connection);
  Ref<vanto::EventHandler> handler;
  if (function != nullptr) handler = vanto::EventHandler::create(function, context, release);
  if (endpoint != nullptr) endpoint->setHandler(std::move(handler));
}

void vanto_connection_set_queue(vanto_object_t connection, vanto_queue_t queue) {
  if (vanto::Endpoint* endpoint = asEndpoint(connection)) endpoint->setQueue(shared(queue));
}

void vanto_connection_resume(vanto_object_t connection) {
  if (auto* peer = ofKind<Connection>(connection)) peer->resume();
  if (auto* listener = ofKind<Listener>(connection)) listener->resume();
}

vanto_object_t vanto_connect(const char* name, vanto_queue_t queue, uint64_t timeout) {
  if (name == nullptr) return handOver(errorObject(VANTO_ERROR_INVALID));
  return handOver(vanto::connectToService(name, shared(queue), timeout));
}

vanto_object_t vanto_call_service(const char* name, vanto_object_t message, uint64_t timeout) {
  return handOver(name != nullptr ? vanto::callService(name, message, timeout) : errorObject(VANTO_ERROR_INVALID));
}

vanto_error_code_t vanto_send(vanto_object_t connection, vanto_object_t message, uint64_t timeout) {
  auto* peer = ofKind<Connection>(connection);
  return peer != nullptr ? peer->send(message, timeout) : VANTO_ERROR_INVALID;
}

vanto_object_t vanto_call(vanto_object_t connection, vanto_object_t message, uint64_t timeout) {
  auto* peer = ofKind<Connection>(connection);
  return handOver(peer != nullptr ? peer->call(message, timeout) : errorObject(VANTO_ERROR_INVALID));
}

uint64_t vanto_call_async(vanto_object_t connection, vanto_object_t message, uint64_t timeout,
                          vanto_reply_function_t function, void* context) {
  auto* peer = ofKind<Connection>(connection);
  return peer != nullptr && function != nullptr ? peer->callAsync(message, timeout, function, context) : 0;
}

void vanto_cancel(vanto_object_t connection, uint64_t call) {
  if (auto* peer = ofKind<Connection>(connection)) peer->cancel(call);
}

void vanto_close(vanto_object_t connection) {
  if (vanto::Endpoint* endpoint = asEndpoint(connection)) endpoint->close();
}

vanto_object_t vanto_message_get_body(vanto_object_t message) {
  const auto* arrived = ofKind<MessageObject>(message);
  return arrived != nullptr ? arrived->body() : nullptr;
}

bool vanto_message_expects_reply(vanto_object_t message) {
  const auto* arrived = ofKind<MessageObject>(message);
  return arrived != nullptr && arrived->expectsReply();
}

bool vanto_message_is_cancelled(vanto_object_t message) {
  const auto* arrived = ofKind<MessageObject>(message);
  return arrived != nullptr && arrived->isCancelled();
}

vanto_error_code_t vanto_reply(vanto_object_t message, vanto_object_t reply) {
  auto* arrived = ofKind<MessageObject>(message);
  return arrived != nullptr ? arrived->reply(reply) : VANTO_ERROR_INVALID;
}

bool vanto_peer_identity(vanto_object_t connection, vanto_identity_t* identity) {
  auto* peer = ofKind<Connection>(connection);
  if (peer == nullptr || identity == nullptr) return false;
  const vanto::ProcessFacts facts = peer->peer();
  *identity = {facts.pid, facts.effectiveUser, facts.effectiveGroup, vanto::makeAuditToken(facts)};
  return true;
}

void vanto_handle_service(void*, void*, vanto_peer_evaluator_t evaluator) {
  vanto::setPeerEvaluator(evaluator);
}

void vanto_set_connections_per_user(size_t count) {
  vanto::UserLimit::setConnections(count);
}

void vanto_track_activity() {
  vanto::Activity::track();
  vanto::ManagerLink::activityIsTracked();
}
