// SPDX-License-Identifier: Apache-2.0
#include "ipc/Endpoint.h"

#include <new>
#include <utility>

#include "dispatch/Workers.h"
#include "ipc/Activity.h"
#include "ipc/Connection.h"
#include "ipc/ErrorObject.h"
#include "ipc/Listener.h"
#include "ipc/Message.h"
#include "value/ValueStorage.h"

namespace vanto {

namespace {

/// After so many events an endpoint lets others on its queue have their turn.
constexpr int eventsPerTurn = 64;
constexpr std::size_t none = SIZE_MAX;

}  // namespace

constinit const Class EventHandler::handlerClass{"EventHandler",         &objectClass, NoKind,
                                                 &EventHandler::destroy, nullptr,      nullptr};

EventHandler::EventHandler(vanto_event_function_t function, void* context, vanto_context_release_t letGo) noexcept
    : Object(handlerClass), function_(function), context_(context), letGo_(letGo) {}

Ref<EventHandler> EventHandler::create(vanto_event_function_t function, void* context,
                                       vanto_context_release_t letGo) noexcept {
  return Ref<EventHandler>::adopt(new (allocate(sizeof(EventHandler))) EventHandler(function, context, letGo));
}

void EventHandler::destroy(Object& self) noexcept {
  auto& handler = static_cast<EventHandler&>(self);
  if (handler.letGo_ != nullptr) handler.letGo_(handler.context_);
  handler.~EventHandler();
  deallocate(&handler);
}

Endpoint::Endpoint(const Class& runtimeClass, vanto_kind_t kind, Ref<dispatch_queue_s> queue) noexcept
    : vanto_object(runtimeClass, kind), queue_(std::move(queue)) {}

void Endpoint::retainByUser() noexcept {
  // From none to one happens too: in a handler that runs while another thread lets the last reference go.
  if (users_.fetch_add(1, std::memory_order_relaxed) == 0) retain();
}

void Endpoint::releaseByUser() noexcept {
  if (users_.fetch_sub(1, std::memory_order_acq_rel) != 1) return;
  close();
  release();
}

void Endpoint::close() noexcept {
  if (kind() == VANTO_KIND_CONNECTION) {
    static_cast<Connection*>(this)->closeConnection();
  } else {
    static_cast<Listener*>(this)->closeListener();
  }
}

void Endpoint::setHandler(Ref<EventHandler> handler) noexcept {
  const std::lock_guard lock(mutex_);
  // What was there is let go by the parameter, when the lock is free again.
  if (!isOver_) std::swap(handler_, handler);
}

void Endpoint::setQueue(Ref<dispatch_queue_s> queue) noexcept {
  const std::lock_guard lock(mutex_);
  // A delivery under way reads the queue without the lock.
  if (!isResumed_ && !isDelivering_) std::swap(queue_, queue);
}

Ref<dispatch_queue_s> Endpoint::queue() const noexcept {
  const std::lock_guard lock(mutex_);
  return queue_;
}

dispatch_queue_t Endpoint::queueLocked() noexcept {
  if (!queue_) queue_ = dispatch_queue_s::create("connection");
  return queue_.get();
}

void Endpoint::addEventLocked(Event event) noexcept {
  if (hasLastEvent_ && event.kind != Event::Kind::Reply) return;
  hasLastEvent_ = hasLastEvent_ || event.kind == Event::Kind::Error;
  events_.add(std::move(event));
}

/// Where the next event that may be delivered is. Events keep their order, but a reply waits for nothing.
std::size_t Endpoint::deliverableLocked() const noexcept {
  bool isHeldUp = !isResumed_;
  for (std::size_t i = 0; i < events_.count(); i++) {
    const Event::Kind kind = events_.at(i).kind;
    if (kind == Event::Kind::Reply) return i;
    isHeldUp = isHeldUp || (kind == Event::Kind::Message && holdsMessages_);
    if (!isHeldUp) return i;
  }
  return none;
}

bool Endpoint::beginDeliveryLocked() noexcept {
  if (isDelivering_ || events_.isEmpty() || deliverableLocked() == none) return false;
  isDelivering_ = true;
  // Without a queue of its own by now, it gets one while the lock is held.
  static_cast<void>(queueLocked());
  retain();
  return true;
}

void Endpoint::deliver(Delivery when) noexcept {
  dispatch_queue_t queue = queue_.get();
  if (when == Delivery::AtOnce) {
    runOnQueue(queue, this, &Endpoint::drain);
  } else {
    dispatch_queue_submit(queue, this, &Endpoint::drain);
  }
}

void Endpoint::drain(void* context) noexcept {
  auto* self = static_cast<Endpoint*>(context);
  for (int i = 0; i < eventsPerTurn; i++) {
    if (!self->deliverOne()) return self->release();
  }
  self->deliver(Delivery::Later);
}

bool Endpoint::deliverOne() noexcept {
  std::unique_lock lock(mutex_);
  const std::size_t index = deliverableLocked();
  if (index == none) {
    isDelivering_ = false;
    return false;
  }
  Event event = events_.take(index);
  Ref<EventHandler> handler = handler_;
  if (event.kind == Event::Kind::Error) {
    handler_ = nullptr;
    isOver_ = true;
  }
  lock.unlock();
  run(event, std::move(handler));
  return true;
}

/// The process does not end before this returns: a message is in hand anyway, everything else is from here on.
void Endpoint::run(Event& event, Ref<EventHandler> handler) noexcept {
  const bool isCounted = event.kind != Event::Kind::Message;
  if (isCounted) Activity::began();
  call(event, handler.get());
  // Its context may be let go with it, by another function of the user.
  handler = nullptr;
  if (isCounted) Activity::ended();
}

void Endpoint::call(Event& event, const EventHandler* handler) noexcept {
  // While exit() takes the process apart nothing that a handler needs is certain to be there.
  const bool mayCall = !Activity::isOver();
  if (mayCall && event.kind == Event::Kind::Reply) event.function(event.object.get(), event.context);
  if (mayCall && event.kind != Event::Kind::Reply && handler != nullptr) handler->call(this, event.object.get());
  if (event.kind == Event::Kind::Message) static_cast<MessageObject*>(event.object.get())->wasDelivered();
  if (event.kind == Event::Kind::Connection) static_cast<Connection*>(event.object.get())->wasDelivered();
  if (event.kind == Event::Kind::Error) endDelivery();
}

void Endpoint::endDelivery() noexcept {
  std::unique_lock lock(mutex_);
  const bool keptItself = std::exchange(keepsItself_, false);
  lock.unlock();
  if (kind() == VANTO_KIND_CONNECTION) static_cast<Connection*>(this)->isOverForUser();
  if (keptItself) releaseByUser();
}

std::vector<Event> Endpoint::dropEventsLocked() noexcept {
  std::vector<Event> dropped;
  EventList kept;
  while (!events_.isEmpty()) {
    Event event = events_.take(0);
    const bool isDropped = event.kind == Event::Kind::Message || event.kind == Event::Kind::Connection;
    if (isDropped) {
      dropped.push_back(std::move(event));
    } else {
      kept.add(std::move(event));
    }
  }
  events_ = std::move(kept);
  return dropped;
}

Ref<vanto_object> errorObject(vanto_error_code_t code, const char* text) noexcept {
  return ErrorObject::create(static_cast<std::uint32_t>(code), text != nullptr ? text : errorText(code));
}

}  // namespace vanto
