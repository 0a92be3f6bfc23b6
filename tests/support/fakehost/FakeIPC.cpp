// SPDX-License-Identifier: Apache-2.0
// Listeners, connections and messages of the fake host. Durations are not waited for.
#include <algorithm>
#include <string>
#include <utility>

#include <unistd.h>

#include "support/fakehost/FakeConnection.h"
#include "support/fakehost/HostState.h"
#include "value/platform/ipc.h"

using vanto::Ref;
using vanto::test::asConnection;
using vanto::test::called;
using vanto::test::errorObject;
using vanto::test::FakeConnection;
using vanto::test::FakeMessage;
using vanto::test::HostState;
using vanto::test::nullOr;
using vanto::test::record;
using vanto::test::textOf;

namespace {

std::string nameOf(const FakeConnection* connection) {
  return connection == nullptr ? "null" : connection->text();
}

bool isConnection(vanto_object_t object) noexcept {
  const vanto_kind_t kind = vanto_kind(object);
  return kind == VANTO_KIND_LISTENER || kind == VANTO_KIND_CONNECTION;
}

bool canTravel(vanto_object_t object) noexcept {
  return object != nullptr && object->isValue();
}

vanto_error_code_t stateOf(const FakeConnection* connection, vanto_object_t message) {
  if (connection == nullptr || !canTravel(message)) return VANTO_ERROR_INVALID;
  return connection->isClosed() ? VANTO_ERROR_CLOSED : VANTO_ERROR_NONE;
}

/// What the peer answers to a request: its reply, or an error.
Ref<vanto_object> answerTo(FakeConnection* connection, vanto_object_t message) {
  const vanto_error_code_t error = stateOf(connection, message);
  if (error != VANTO_ERROR_NONE) return errorObject(error);
  Ref<vanto_object> reply = connection->sendToPeer(message);
  return reply ? reply : errorObject(VANTO_ERROR_NO_REPLY);
}

template <typename T>
void store(T* output, std::uint32_t word) noexcept {
  if (output != nullptr) *output = static_cast<T>(word);
}

}  // namespace

vanto_object_t vanto_retain(vanto_object_t object) {
  if (isConnection(object)) {
    asConnection(object)->retainByService();
  } else if (object != nullptr) {
    object->retain();
  }
  return object;
}

void vanto_release(vanto_object_t object) {
  if (isConnection(object)) {
    asConnection(object)->releaseByService();
  } else if (object != nullptr) {
    object->release();
  }
}

vanto_object_t vanto_connection_create_listener(const char* name, vanto_queue_t queue) {
  if (!called("vanto_connection_create_listener",
              {textOf(name), queue == nullptr ? "null" : "queue " + queue->label}) ||
      name == nullptr) {
    return nullptr;
  }
  Ref<FakeConnection> listener = FakeConnection::create(VANTO_KIND_LISTENER, name, queue);
  HostState& state = HostState::shared();
  const std::lock_guard lock(state.mutex);
  state.listeners.push_back(listener);
  // The host keeps it; the service's references are counted apart.
  return listener.get();
}

void vanto_connection_set_event_function(vanto_object_t connection, vanto_event_function_t function, void* context,
                                         vanto_context_release_t release) {
  FakeConnection* object = asConnection(connection);
  record("vanto_connection_set_event_function",
         {nameOf(object), nullOr(function != nullptr, "function"), nullOr(context != nullptr, "context"),
          nullOr(release != nullptr, "release")});
  // Without a function there is nothing to hand the context to, and it stays the caller's.
  if (function == nullptr) release = nullptr;
  if (object != nullptr) {
    object->setHandler(function, context, release);
  } else if (release != nullptr) {
    release(context);
  }
}

void vanto_connection_set_queue(vanto_object_t connection, vanto_queue_t queue) {
  FakeConnection* object = asConnection(connection);
  record("vanto_connection_set_queue", {nameOf(object), queue == nullptr ? "null" : "queue " + queue->label});
  if (object != nullptr) object->setQueue(queue);
}

void vanto_connection_resume(vanto_object_t connection) {
  FakeConnection* object = asConnection(connection);
  record("vanto_connection_resume", {nameOf(object)});
  if (object != nullptr) object->resume();
}

bool vanto_service_name_is_valid(const char* name) {
  return name != nullptr && *name != '\0';
}

vanto_object_t vanto_connect(const char* name, vanto_queue_t queue, uint64_t) {
  if (!called("vanto_connect", {textOf(name), queue == nullptr ? "null" : "queue " + queue->label})) {
    return errorObject(VANTO_ERROR_SYSTEM).leak();
  }
  HostState& state = HostState::shared();
  const auto service = name == nullptr ? state.services.end() : state.services.find(name);
  if (service == state.services.end()) return errorObject(VANTO_ERROR_NO_SERVICE).leak();
  const vanto::test::FakePeer self{getpid(), getuid(), getgid()};
  Ref<FakeConnection> connection = FakeConnection::create(VANTO_KIND_CONNECTION, name, queue, self);
  connection->setResponder(service->second);
  const std::lock_guard lock(state.mutex);
  state.connections.push_back(connection);
  return connection.get();
}

vanto_error_code_t vanto_send(vanto_object_t connection, vanto_object_t message, uint64_t) {
  FakeConnection* object = asConnection(connection);
  if (!called("vanto_send", {nameOf(object), textOf(message)})) return VANTO_ERROR_FULL;
  const vanto_error_code_t error = stateOf(object, message);
  // What the peer has to say to a message that expects no reply is dropped.
  if (error == VANTO_ERROR_NONE) static_cast<void>(object->sendToPeer(message));
  return error;
}

vanto_object_t vanto_call(vanto_object_t connection, vanto_object_t message, uint64_t) {
  FakeConnection* object = asConnection(connection);
  if (!called("vanto_call", {nameOf(object), textOf(message)})) return errorObject(VANTO_ERROR_TIMED_OUT).leak();
  return answerTo(object, message).leak();
}

uint64_t vanto_call_async(vanto_object_t connection, vanto_object_t message, uint64_t, vanto_reply_function_t function,
                          void* context) {
  FakeConnection* object = asConnection(connection);
  if (!called("vanto_call_async", {nameOf(object), textOf(message)})) return 0;
  if (stateOf(object, message) != VANTO_ERROR_NONE || function == nullptr) return 0;
  const std::uint64_t call = object->addCall(answerTo(object, message));
  vanto::test::enqueue(object->queue(), [self = Ref<FakeConnection>::share(object), call, function, context] {
    function(self->takeCall(call).get(), context);
  });
  return call;
}

void vanto_cancel(vanto_object_t connection, uint64_t call) {
  FakeConnection* object = asConnection(connection);
  record("vanto_cancel", {nameOf(object), std::to_string(call)});
  if (object != nullptr) object->cancelCall(call);
}

void vanto_close(vanto_object_t connection) {
  FakeConnection* object = asConnection(connection);
  record("vanto_close", {nameOf(object)});
  if (object != nullptr) object->close(VANTO_ERROR_CANCELLED);
}

vanto_object_t vanto_message_get_body(vanto_object_t message) {
  record("vanto_message_get_body");
  const auto* object = vanto::ofKind<FakeMessage>(message);
  return object == nullptr ? nullptr : object->body();
}

bool vanto_message_expects_reply(vanto_object_t message) {
  record("vanto_message_expects_reply");
  const auto* object = vanto::ofKind<FakeMessage>(message);
  if (object == nullptr || object->exchange() == nullptr) return false;
  const std::lock_guard lock(HostState::shared().mutex);
  return !object->exchange()->reply;
}

bool vanto_message_is_cancelled(vanto_object_t message) {
  record("vanto_message_is_cancelled");
  const auto* object = vanto::ofKind<FakeMessage>(message);
  if (object == nullptr || object->exchange() == nullptr) return false;
  const std::lock_guard lock(HostState::shared().mutex);
  return object->exchange()->isCancelled;
}

vanto_error_code_t vanto_reply(vanto_object_t message, vanto_object_t reply) {
  if (!called("vanto_reply", {textOf(reply)})) return VANTO_ERROR_CLOSED;
  const auto* object = vanto::ofKind<FakeMessage>(message);
  if (object == nullptr || object->exchange() == nullptr || !canTravel(reply)) return VANTO_ERROR_INVALID;
  return object->exchange()->settle(Ref<vanto_object>::share(reply));
}

bool vanto_peer_identity(vanto_object_t connection, vanto_identity_t* identity) {
  const bool hasPeer = vanto_kind(connection) == VANTO_KIND_CONNECTION;
  if (!called("vanto_peer_identity", {hasPeer ? nameOf(asConnection(connection)) : "no connection"})) return false;
  if (!hasPeer) return false;
  const vanto::test::FakePeer& peer = asConnection(connection)->peer();
  *identity = {peer.pid, peer.uid, peer.gid, peer.token()};
  return true;
}

void audit_token_to_au32(audit_token_t token, uid_t* audit_uid, uid_t* effective_uid, gid_t* effective_gid,
                         uid_t* real_uid, gid_t* real_gid, pid_t* pid, uint32_t* session, uint32_t* terminal) {
  record("audit_token_to_au32", {nullOr(audit_uid != nullptr, "audit user"), nullOr(effective_uid != nullptr, "user"),
                                 nullOr(effective_gid != nullptr, "group"), nullOr(real_uid != nullptr, "real user"),
                                 nullOr(real_gid != nullptr, "real group"), nullOr(pid != nullptr, "pid"),
                                 nullOr(session != nullptr, "session"), nullOr(terminal != nullptr, "terminal")});
  store(pid, token.val[0]);
  store(effective_uid, token.val[1]);
  store(effective_gid, token.val[2]);
  store(real_uid, token.val[3]);
  store(real_gid, token.val[4]);
  store(audit_uid, 0);
  store(session, 0);
  store(terminal, 0);
}

void vanto_handle_service(void* reserved, void* reserved_too, vanto_peer_evaluator_t evaluator) {
  record("vanto_handle_service", {nullOr(reserved != nullptr, "reserved"), nullOr(reserved_too != nullptr, "reserved"),
                                  nullOr(evaluator != nullptr, "evaluator")});
  HostState& state = HostState::shared();
  const std::lock_guard lock(state.mutex);
  state.evaluator = evaluator;
}

void vanto_set_connections_per_user(size_t count) {
  record("vanto_set_connections_per_user", {std::to_string(count)});
}

void vanto_track_activity() {
  record("vanto_track_activity");
}
