// SPDX-License-Identifier: Apache-2.0
#include "vanto/ManagerClient.h"

#include <utility>

#include "vanto/DurationText.h"
#include "vanto/ReplyReader.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

std::string managerName(ManagerDomain domain) {
  return std::string("the service manager of the ") + nameOf(domain) + " domain";
}

/// What an error object of a connection or a call means for an order.
OrderFault faultOf(vanto_object_t error, ManagerDomain domain, std::uint64_t timeout) {
  const std::string name = managerName(domain);
  switch (vanto_error_get_code(error)) {
    case VANTO_ERROR_NO_SERVICE:
      return {OrderFault::Kind::NoManager, "no service manager of the " + std::string(nameOf(domain)) +
                                               " domain runs; start one: tolvend --domain " + nameOf(domain)};
    case VANTO_ERROR_TIMED_OUT:
      return {OrderFault::Kind::Failed, name + " did not answer within " +
                                            durationText(static_cast<std::int64_t>(timeout)) +
                                            "; it may still do what it was asked to"};
    case VANTO_ERROR_REFUSED:
      return {OrderFault::Kind::Failed, name + " refuses to talk to this user; it listens to its own user and root"};
    case VANTO_ERROR_CLOSED:
    case VANTO_ERROR_NO_REPLY:
      return {OrderFault::Kind::Failed, name + " ended before it answered; it may have done what it was asked to"};
    default:
      return {OrderFault::Kind::Failed, name + " cannot be asked: " + visible(vanto_error_get_text(error))};
  }
}

}  // namespace

ManagerClient::ManagerClient(ManagerDomain domain, std::uint64_t timeout, IpcReference connection) noexcept
    : domain_(domain), timeout_(timeout), connection_(std::move(connection)) {}

ManagerClient::~ManagerClient() {
  if (inbox_) inbox_->close();
}

std::unique_ptr<ManagerClient> ManagerClient::connect(ManagerDomain domain, std::uint64_t timeout, OrderFault& fault) {
  IpcReference connection(vanto_connect(managerServiceOf(domain).c_str(), nullptr, timeout));
  if (vanto_kind(connection.get()) == VANTO_KIND_CONNECTION) {
    return std::unique_ptr<ManagerClient>(new ManagerClient(domain, timeout, std::move(connection)));
  }
  fault = faultOf(connection.get(), domain, timeout);
  return nullptr;
}

void ManagerClient::listen(const std::shared_ptr<MessageInbox>& inbox, std::size_t sender) {
  inbox_ = inbox;
  vanto_connection_set_event_handler(connection_.get(), [inbox, sender](vanto_object_t, vanto_object_t event) {
    const bool isMessage = vanto_kind(event) == VANTO_KIND_MESSAGE;
    inbox->add({sender, IpcReference(vanto_retain(isMessage ? vanto_message_get_body(event) : event))});
  });
  vanto_connection_resume(connection_.get());
}

IpcReference ManagerClient::send(const Order& order, OrderFault& fault) {
  IpcReference reply(vanto_call(connection_.get(), order.request(), timeout_));
  if (vanto_kind(reply.get()) == VANTO_KIND_ERROR) {
    fault = faultOf(reply.get(), domain_, timeout_);
    return nullptr;
  }
  ReplyReader reader(reply.get());
  const auto error = reader.textIfAny("error");
  if (reader.isFine() && !error) return reply;
  fault = reader.isFine() ? OrderFault{OrderFault::Kind::Rejected, visible(*error)} : malformed(reader.problem());
  return nullptr;
}

OrderFault ManagerClient::malformed(const std::string& problem) const {
  return {OrderFault::Kind::Failed, name() + " gave an answer that makes no sense: " + problem};
}

std::string ManagerClient::name() const {
  return managerName(domain_);
}

}  // namespace vanto::tool
