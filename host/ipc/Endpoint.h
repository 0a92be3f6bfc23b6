// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include "dispatch/Queue.h"
#include "ipc/EventList.h"
#include "ipc/IPCObject.h"

namespace vanto {

/// Who receives the events of an endpoint. The context is let go when nobody needs the handler any more, so never while
/// it runs.
class EventHandler final : public Object {
 public:
  [[nodiscard]] static Ref<EventHandler> create(vanto_event_function_t function, void* context,
                                                vanto_context_release_t letGo) noexcept;

  void call(vanto_object_t source, vanto_object_t event) const noexcept { function_(source, event, context_); }

 private:
  EventHandler(vanto_event_function_t function, void* context, vanto_context_release_t letGo) noexcept;
  static void destroy(Object& self) noexcept;
  static const Class handlerClass;

  const vanto_event_function_t function_;
  void* const context_;
  const vanto_context_release_t letGo_;
};

/// What listeners and connections have in common: a queue, a handler, and events that are delivered to it one at a
/// time.
///
/// References of the user are counted apart from those of the library, since the last one closes the endpoint while
/// the library may still be at work on it; all of the user's together hold one reference to the object.
class Endpoint : public vanto_object {
 public:
  void retainByUser() noexcept;
  void releaseByUser() noexcept;

  void setHandler(Ref<EventHandler> handler) noexcept;
  void setQueue(Ref<dispatch_queue_s> queue) noexcept;

  /// Stops it for good, whatever it is.
  void close() noexcept;

 protected:
  Endpoint(const Class& runtimeClass, vanto_kind_t kind, Ref<dispatch_queue_s> queue) noexcept;
  ~Endpoint() = default;

  /// Where delivery runs: at once if the queue is idle, for a worker; or later in any case, for a thread of the user.
  enum class Delivery : std::uint8_t { AtOnce, Later };

  /// Queues an event. After the last one nothing but replies is taken.
  void addEventLocked(Event event) noexcept;
  /// True when there is something to deliver and nobody does it yet: the caller then must call deliver(), without the
  /// lock.
  [[nodiscard]] bool beginDeliveryLocked() noexcept;
  void deliver(Delivery when) noexcept;
  /// The queue of its events; null where it has none yet.
  [[nodiscard]] Ref<dispatch_queue_s> queue() const noexcept;
  /// Takes out the events that nobody may get any more once the user has closed the endpoint.
  [[nodiscard]] std::vector<Event> dropEventsLocked() noexcept;

  /// Guards everything, also what the classes below add, unless said otherwise there.
  mutable std::mutex mutex_;
  bool isResumed_ = false;
  /// Messages wait, while too many replies do.
  bool holdsMessages_ = false;
  /// The last event was delivered.
  bool isOver_ = false;
  /// The library itself keeps one of the user's references until the last event was delivered.
  bool keepsItself_ = false;

 private:
  static void drain(void* context) noexcept;
  [[nodiscard]] bool deliverOne() noexcept;
  void run(Event& event, Ref<EventHandler> handler) noexcept;
  void call(Event& event, const EventHandler* handler) noexcept;
  void endDelivery() noexcept;
  [[nodiscard]] std::size_t deliverableLocked() const noexcept;
  [[nodiscard]] dispatch_queue_t queueLocked() noexcept;

  bool isDelivering_ = false;
  bool hasLastEvent_ = false;
  std::atomic<std::uint32_t> users_{1};
  /// Made on first use when the user gave none.
  Ref<dispatch_queue_s> queue_;
  Ref<EventHandler> handler_;
  EventList events_;
};

/// `object` as an endpoint, or null.
[[nodiscard]] inline Endpoint* asEndpoint(vanto_object* object) noexcept {
  const vanto_kind_t kind = object != nullptr ? object->kind() : VANTO_KIND_NONE;
  return kind == VANTO_KIND_LISTENER || kind == VANTO_KIND_CONNECTION ? static_cast<Endpoint*>(object) : nullptr;
}

/// An error object with the code's own text, or another one.
[[nodiscard]] Ref<vanto_object> errorObject(vanto_error_code_t code, const char* text = nullptr) noexcept;

}  // namespace vanto
