// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Orders.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

#include <unistd.h>

#include "runtime/LogText.h"
#include "tolvend/DictionaryBuilder.h"
#include "tolvend/JobIntake.h"
#include "tolvend/JobReport.h"

namespace vanto::manager {

namespace {

Ref<vanto_object> errorReply(const std::string& error) {
  DictionaryBuilder reply;
  // Whatever it repeats of what was sent, it can be told.
  return reply.text("error", LogText(error).utf8()).take();
}

bool isAllowed(vanto_object_t connection) {
  vanto_identity_t identity;
  return vanto_peer_identity(connection, &identity) && (identity.uid == geteuid() || identity.uid == 0);
}

/// The text under `key`, or null.
const char* textIn(vanto_object_t order, const char* key) {
  return vanto_string_get_text(vanto_dictionary_get_value(order, key));
}

Ref<vanto_object> arrayOf(const Jobs::Map& jobs, const JobController* only) {
  Ref<vanto_object> states = Ref<vanto_object>::adopt(vanto_array_create(nullptr, 0));
  for (const auto& [label, job] : jobs) {
    if (only == nullptr || only == job.get()) vanto_array_append_value(states.get(), jobState(*job).get());
  }
  return states;
}

}  // namespace

std::string ordersName(Domain domain) {
  return std::string("org.vanto.tolvend.") + domainWord(domain);
}

struct Orders::Order {
  vanto_object_t body;
  vanto_object_t connection;
  vanto_object_t message;
  std::string label;
  /// The job of that label, or null.
  JobController* job;
};

struct Orders::Command {
  std::string_view name;
  enum class Label : std::uint8_t { None, Possible, Needed } label;
  Function function;
};

const Orders::Command Orders::commands[] = {
    {"load", Command::Label::None, &Orders::load},         {"unload", Command::Label::Needed, &Orders::unload},
    {"start", Command::Label::Needed, &Orders::start},     {"stop", Command::Label::Needed, &Orders::stop},
    {"restart", Command::Label::Needed, &Orders::restart}, {"hold", Command::Label::Needed, &Orders::hold},
    {"status", Command::Label::Possible, &Orders::status}, {"watch", Command::Label::Possible, &Orders::watch},
    {"logs", Command::Label::Needed, &Orders::logs},       {"why", Command::Label::Needed, &Orders::why},
};

Orders::~Orders() {
  if (!listener_) return;
  vanto_connection_set_event_function(listener_.get(), nullptr, nullptr, nullptr);
  vanto_close(listener_.get());
}

void Orders::listen() {
  const std::string name = ordersName(domain_);
  listener_ = Ref<vanto_object>::adopt(vanto_connection_create_listener(name.c_str(), nullptr));
  vanto_connection_set_event_function(listener_.get(), &Orders::eventOfListener, this, nullptr);
  vanto_connection_resume(listener_.get());
}

void Orders::jobChanged(const std::string& label) {
  subscriptions_.changed(label);
  pending_.look();
}

void Orders::eventOfListener(vanto_object_t, vanto_object_t event, void* context) noexcept {
  if (vanto_kind(event) != VANTO_KIND_CONNECTION) {
    std::fprintf(stderr, "tolvend: orders cannot be taken any more: %s\n", vanto_error_get_text(event));
    return;
  }
  vanto_connection_set_event_function(event, &Orders::eventOfConnection, context, nullptr);
  vanto_connection_resume(event);
}

void Orders::eventOfConnection(vanto_object_t connection, vanto_object_t event, void* context) noexcept {
  auto& orders = *static_cast<Orders*>(context);
  if (vanto_kind(event) == VANTO_KIND_MESSAGE) {
    orders.receive(connection, event);
  } else {
    orders.subscriptions_.forget(connection);
  }
}

void Orders::receive(vanto_object_t connection, vanto_object_t message) {
  // An order whose answer nobody waits for is none.
  if (!vanto_message_expects_reply(message)) return;
  Ref<vanto_object> reply;
  if (isAllowed(connection)) {
    reply = carryOut(vanto_message_get_body(message), connection, message);
  } else {
    const std::string user = std::to_string(geteuid());
    reply = errorReply("orders are taken from user " + user + " and from root only; give them as one of these");
  }
  if (reply) static_cast<void>(vanto_reply(message, reply.get()));
}

Ref<vanto_object> Orders::carryOut(vanto_object_t order, vanto_object_t connection, vanto_object_t message) {
  using Label = Command::Label;
  if (vanto_kind(order) != VANTO_KIND_DICTIONARY) return errorReply("an order must be a dictionary");
  const char* name = textIn(order, "command");
  if (name == nullptr) return errorReply("an order needs the string \"command\"");
  for (const Command& command : commands) {
    if (command.name != name) continue;
    const bool hasLabel = vanto_dictionary_get_value(order, "label") != nullptr;
    const char* label = textIn(order, "label");
    if (command.label != Label::None && label == nullptr && (hasLabel || command.label == Label::Needed)) {
      return errorReply(std::string(command.name) + " needs the string \"label\"");
    }
    JobController* const job = label != nullptr ? jobs_.find(label) : nullptr;
    if (command.label != Label::None && label != nullptr && job == nullptr) {
      return errorReply(std::string("there is no job ") + label + "; load it first");
    }
    return (this->*command.function)({order, connection, message, label != nullptr ? label : "", job});
  }
  std::string known;
  for (const Command& command : commands) known += (known.empty() ? "" : ", ") + std::string(command.name);
  return errorReply(std::string("there is no command ") + name + "; there are " + known);
}

Ref<vanto_object> Orders::load(const Order& order) {
  const vanto_object_t object = vanto_dictionary_get_value(order.body, "job");
  const vanto_object_t data = vanto_dictionary_get_value(order.body, "jobData");
  if ((object == nullptr) == (data == nullptr)) return errorReply("load needs either \"job\" or \"jobData\"");
  if (data != nullptr && vanto_kind(data) != VANTO_KIND_DATA) return errorReply("\"jobData\" must be data");
  Job job;
  const std::string refusal = object != nullptr
                                  ? takeJob(object, domain_, job)
                                  : takeJob(vanto_data_get_bytes_ptr(data), vanto_data_get_length(data), domain_, job);
  if (!refusal.empty()) return errorReply(refusal);
  const std::string label = job.label;
  const Jobs::Result result = jobs_.load(std::move(job));
  if (!result.error.empty()) return errorReply(result.error);
  DictionaryBuilder reply;
  return reply.text("label", label).truth("replaced", result.hasReplaced).take();
}

Ref<vanto_object> Orders::unload(const Order& order) {
  const Jobs::Result result = jobs_.unload(order.label);
  if (!result.error.empty()) return errorReply("not unloaded: " + result.error);
  pending_.add(order.message, order.label, PendingOrders::Goal::Unloaded);
  return nullptr;
}

Ref<vanto_object> Orders::start(const Order& order) {
  pending_.add(order.message, order.label, PendingOrders::Goal::Started);
  const Jobs::Result result = jobs_.start(*order.job);
  if (result.error.empty()) return nullptr;
  pending_.drop(order.message);
  return errorReply("not started: " + result.error);
}

Ref<vanto_object> Orders::stop(const Order& order) {
  pending_.add(order.message, order.label, PendingOrders::Goal::Ended);
  order.job->stop();
  return nullptr;
}

Ref<vanto_object> Orders::restart(const Order& order) {
  pending_.add(order.message, order.label, PendingOrders::Goal::Restarted);
  const Jobs::Result result = jobs_.restart(*order.job);
  if (result.error.empty()) return nullptr;
  pending_.drop(order.message);
  return errorReply("not restarted: " + result.error);
}

Ref<vanto_object> Orders::hold(const Order& order) {
  const Jobs::Result result = jobs_.hold(*order.job);
  if (!result.error.empty()) return errorReply("not held: " + result.error);
  pending_.add(order.message, order.label, PendingOrders::Goal::Ended);
  return nullptr;
}

Ref<vanto_object> Orders::status(const Order& order) {
  DictionaryBuilder reply;
  return reply.text("domain", domainWord(domain_))
      .number("pid", getpid())
      .object("jobs", arrayOf(jobs_.all(), order.job))
      .take();
}

Ref<vanto_object> Orders::watch(const Order& order) {
  subscriptions_.watch(order.connection, order.label);
  return status(order);
}

Ref<vanto_object> Orders::logs(const Order& order) {
  const vanto_object_t follow = vanto_dictionary_get_value(order.body, "follow");
  if (follow != nullptr && vanto_kind(follow) != VANTO_KIND_BOOL) return errorReply("\"follow\" must be a bool");
  if (vanto_bool_get_value(follow)) subscriptions_.follow(order.connection, *order.job);
  DictionaryBuilder reply;
  return reply.object("lines", linesReport(*order.job)).take();
}

Ref<vanto_object> Orders::why(const Order& order) {
  return whyReport(*order.job);
}

}  // namespace vanto::manager
