// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include <VantoServiceTest/FakeClient.h>

#include "ipc/IPCObject.h"
#include "support/fakehost/FakeQueue.h"

namespace vanto::test {

/// What becomes of one request: held by whoever asks and by the message that the service got. HostState's mutex guards
/// it.
struct FakeExchange {
  /// The reply or an error, once there is one.
  Ref<vanto_object> reply;
  bool isCancelled = false;

  /// Settles it, unless it is settled: with VANTO_ERROR_INVALID then, or VANTO_ERROR_CLOSED where that is its end.
  vanto_error_code_t settle(Ref<vanto_object> object);
};

/// An error object with the code's own text.
[[nodiscard]] Ref<vanto_object> errorObject(vanto_error_code_t code);

/// A message or request as the service gets it.
class FakeMessage final : public vanto_object {
 public:
  static constexpr vanto_kind_t objectKind = VANTO_KIND_MESSAGE;

  /// `exchange` is null for a message that expects no reply.
  [[nodiscard]] static Ref<FakeMessage> create(vanto_object_t body, std::shared_ptr<FakeExchange> exchange);

  [[nodiscard]] vanto_object_t body() const noexcept { return body_.get(); }
  [[nodiscard]] FakeExchange* exchange() const noexcept { return exchange_.get(); }

 private:
  FakeMessage(vanto_object_t body, std::shared_ptr<FakeExchange> exchange);
  ~FakeMessage();
  static void destroy(Object& self) noexcept;
  static const Class messageClass;

  const Ref<vanto_object> body_;
  const std::shared_ptr<FakeExchange> exchange_;
};

/// A listener, or the service's end of a connection. HostState's mutex guards the fields; it is free whenever a
/// function of the service is called.
class FakeConnection final : public vanto_object {
 public:
  /// A null queue stands for one of its own.
  [[nodiscard]] static Ref<FakeConnection> create(vanto_kind_t kind, std::string name, dispatch_queue_t queue,
                                                  const FakePeer& peer = {});

  [[nodiscard]] const std::string& name() const noexcept { return name_; }
  [[nodiscard]] const FakePeer& peer() const noexcept { return peer_; }
  /// As the journal shows it.
  [[nodiscard]] std::string text() const;

  [[nodiscard]] bool isResumed() const;
  [[nodiscard]] bool isClosed() const;
  [[nodiscard]] dispatch_queue_t queue() const;

  void setHandler(vanto_event_function_t function, void* context, vanto_context_release_t contextRelease);
  void setQueue(dispatch_queue_t queue);
  void resume();

  // References of the service, counted apart from ours: the last one to go closes it.
  void retainByService();
  void releaseByService();
  [[nodiscard]] bool isHeldByService() const;

  /// Hands an event over, now or when the connection is resumed. Nothing after it was closed.
  void deliver(Ref<vanto_object> event);
  /// Closes it: requests get `code`, and so does the handler, as its last event.
  void close(vanto_error_code_t code);

  /// A request of the peer that the service may answer until the connection is closed.
  void addExchange(const std::shared_ptr<FakeExchange>& exchange);

  // What the service sends.

  /// Keeps a copy of the reference for the peer, and gives the peer's answer; null when there is none.
  [[nodiscard]] Ref<vanto_object> sendToPeer(vanto_object_t message);
  [[nodiscard]] std::vector<vanto_object_t> received() const;
  void setResponder(FakeResponder responder);

  /// Names an asynchronous call whose reply is on its way.
  [[nodiscard]] std::uint64_t addCall(Ref<vanto_object> reply);
  /// The reply of a call, at its turn.
  [[nodiscard]] Ref<vanto_object> takeCall(std::uint64_t call);
  void cancelCall(std::uint64_t call);

 private:
  FakeConnection(vanto_kind_t kind, std::string name, dispatch_queue_t queue, const FakePeer& peer);
  ~FakeConnection();
  static void destroy(Object& self) noexcept;
  static const Class connectionClass;

  void enqueueEvent(Ref<vanto_object> event, bool isLast);
  void handle(vanto_object_t event, bool isLast);
  void wasOffered();

  const std::string name_;
  const FakePeer peer_;
  /// With a reference of its own.
  dispatch_queue_t queue_;
  vanto_event_function_t function_ = nullptr;
  void* context_ = nullptr;
  vanto_context_release_t release_ = nullptr;
  bool isResumed_ = false;
  /// No further events are taken.
  bool isClosed_ = false;
  std::uint32_t serviceReferences_ = 1;
  /// Of a connection that the service resumed: one of its references is the host's, until the last event.
  bool keepsItself_ = false;
  /// Events that wait for resume(); the last of a closed one ends it.
  std::deque<Ref<vanto_object>> held_;
  std::vector<std::weak_ptr<FakeExchange>> exchanges_;
  std::vector<Ref<vanto_object>> received_;
  FakeResponder responder_;
  std::map<std::uint64_t, Ref<vanto_object>> calls_;
  std::uint64_t lastCall_ = 0;
};

/// `object` as a listener or connection; ends the test program when it is another kind of object. Null for null.
[[nodiscard]] FakeConnection* asConnection(vanto_object_t object);

}  // namespace vanto::test
