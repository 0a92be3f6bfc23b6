// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "ipc/IPCObject.h"

namespace vanto {

/// Something that an endpoint has to tell its user.
struct Event {
  enum class Kind : std::uint8_t {
    Message,
    Connection,
    Reply,  ///< for the function of an asynchronous call
    Error   ///< the last event
  };
  Kind kind = Kind::Error;
  Ref<vanto_object> object;
  vanto_reply_function_t function = nullptr;
  void* context = nullptr;
};

/// Events in the order of their arrival. Its memory follows the number of events in it, also where it is never empty.
/// Not thread-safe.
class EventList {
 public:
  [[nodiscard]] bool isEmpty() const noexcept { return taken_ == events_.size(); }
  [[nodiscard]] std::size_t count() const noexcept { return events_.size() - taken_; }
  [[nodiscard]] const Event& at(std::size_t index) const noexcept { return events_[taken_ + index]; }
  /// For how many events there is memory.
  [[nodiscard]] std::size_t room() const noexcept { return events_.capacity(); }

  void add(Event event) noexcept { events_.push_back(std::move(event)); }

  /// Takes one out; that is quick for the first.
  [[nodiscard]] Event take(std::size_t index) noexcept {
    Event event = std::move(events_[taken_ + index]);
    if (index == 0) {
      taken_++;
    } else {
      events_.erase(place(taken_ + index));
    }
    if (isEmpty()) {
      clear();
    } else if (taken_ >= keptEvents && taken_ > count()) {
      // So seldom that an event is moved once on the average.
      events_.erase(events_.begin(), place(taken_));
      taken_ = 0;
    }
    return event;
  }

 private:
  /// A list that grew beyond this is given back when it is empty.
  static constexpr std::size_t keptEvents = 64;

  [[nodiscard]] std::vector<Event>::iterator place(std::size_t index) noexcept {
    return events_.begin() + static_cast<std::ptrdiff_t>(index);
  }

  void clear() noexcept {
    if (events_.capacity() > keptEvents) events_ = std::vector<Event>();
    events_.clear();
    taken_ = 0;
  }

  std::vector<Event> events_;
  /// How many at the beginning were taken already.
  std::size_t taken_ = 0;
};

}  // namespace vanto
