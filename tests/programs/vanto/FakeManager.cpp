// SPDX-License-Identifier: Apache-2.0
#include "programs/vanto/FakeManager.h"

#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceBundle.h>

#include "vanto/JsonText.h"

namespace vanto::testing {
namespace {

std::string textIn(vanto_object_t request, const char* key) {
  const char* text = vanto_string_get_text(vanto_dictionary_get_value(request, key));
  return text == nullptr ? "" : text;
}

}  // namespace

test::Held objectOf(const std::string& json) {
  const TemporaryScope scope;
  tool::JsonProblem problem;
  const Ref<PlistValue> value = tool::createFromJson(json, problem);
  EXPECT_TRUE(value) << json << ": " << problem.message;
  return test::Held(VantoServiceBundle::createVantoJobsArrayFromArray(value.get()));
}

FakeManager::FakeManager(const std::string& domain)
    : service_(("org.vanto.tolvend." + domain).c_str(),
               [this](vanto_object_t connection, vanto_object_t event) { handle(connection, event); }) {
  // Nobody can connect before there is a socket.
  const test::Held connection = test::connectTo(("org.vanto.tolvend." + domain).c_str());
}

void FakeManager::answer(const std::string& command, const std::string& answer,
                         const std::vector<std::string>& messages, Then then) {
  const std::lock_guard lock(mutex_);
  scripts_[command] = {true, answer, messages, then};
}

void FakeManager::answerAbout(const std::string& label, const std::string& command, const std::string& answer) {
  this->answer(command + ' ' + label, answer);
}

void FakeManager::leaveUnanswered(const std::string& command, Then then) {
  const std::lock_guard lock(mutex_);
  scripts_[command] = {false, "", {}, then};
}

std::vector<std::string> FakeManager::orders() {
  const std::lock_guard lock(mutex_);
  return orders_;
}

test::Held FakeManager::lastRequest() {
  const std::lock_guard lock(mutex_);
  return lastRequest_;
}

FakeManager::Script FakeManager::scriptFor(vanto_object_t request) {
  const std::string command = textIn(request, "command");
  const std::string label = textIn(request, "label");
  const std::string order = label.empty() ? command : command + ' ' + label;
  const std::lock_guard lock(mutex_);
  orders_.push_back(order);
  lastRequest_ = test::Held::share(request);
  const auto exact = scripts_.find(order);
  const auto script = exact == scripts_.end() ? scripts_.find(command) : exact;
  return script == scripts_.end() ? Script{true, R"({"error": "unexpected order"})", {}, Then::Stay} : script->second;
}

void FakeManager::handle(vanto_object_t connection, vanto_object_t event) {
  if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
  const Script script = scriptFor(vanto_message_get_body(event));
  if (script.isAnswered) {
    vanto_reply(event, objectOf(script.answer));
  } else {
    const std::lock_guard lock(mutex_);
    kept_.push_back(test::Held::share(event));
  }
  for (const std::string& message : script.messages) vanto_send(connection, objectOf(message), test::generous);
  if (script.then == Then::HangUp) vanto_close(connection);
}

std::string FakeManager::job(const std::string& label, const std::string& more) {
  return R"({"label": ")" + label + R"(", "name": ")" + label +
         R"(", "program": "/opt/a", "state": "resting", "instances": [], "multiple": false, "starts": 3,)" +
         R"( "failures": 0)" + more + "}";
}

std::string FakeManager::runningJob(const std::string& label, const std::string& more) {
  return R"({"label": ")" + label + R"(", "name": ")" + label +
         R"(", "program": "/opt/a", "state": "running", "instances": [{"pid": 4321, "state": "running", "since": 5)" +
         more + "}]," + R"( "multiple": false, "starts": 1, "failures": 0})";
}

std::string FakeManager::status(const std::vector<std::string>& jobs) {
  std::string text = R"({"domain": "user", "pid": 77, "jobs": [)";
  for (const std::string& job : jobs) text += (text.back() == '[' ? "" : ", ") + job;
  return text + "]}";
}

}  // namespace vanto::testing
