// SPDX-License-Identifier: Apache-2.0
#include "vanto/MessageInbox.h"

#include <utility>

namespace vanto::tool {

void MessageInbox::add(Item item) {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return isClosed_ || items_.size() < capacity; });
  if (isClosed_) return;
  items_.push_back(std::move(item));
  changed_.notify_all();
}

MessageInbox::Item MessageInbox::takeFirst() {
  Item item = std::move(items_.front());
  items_.pop_front();
  changed_.notify_all();
  return item;
}

std::optional<MessageInbox::Item> MessageInbox::take(std::chrono::milliseconds patience) {
  std::unique_lock lock(mutex_);
  if (!changed_.wait_for(lock, patience, [this] { return !items_.empty(); })) return std::nullopt;
  return takeFirst();
}

MessageInbox::Item MessageInbox::take() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return !items_.empty(); });
  return takeFirst();
}

std::optional<MessageInbox::Item> MessageInbox::takeIfAny() {
  return take(std::chrono::milliseconds(0));
}

void MessageInbox::close() {
  const std::lock_guard lock(mutex_);
  isClosed_ = true;
  items_.clear();
  changed_.notify_all();
}

}  // namespace vanto::tool
