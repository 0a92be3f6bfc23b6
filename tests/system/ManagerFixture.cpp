// SPDX-License-Identifier: Apache-2.0
#include "system/ManagerFixture.h"

#include <algorithm>
#include <fstream>
#include <iterator>

#include <sys/stat.h>
#include <unistd.h>

namespace vanto::test {
namespace {

Held newString(const std::string& text) {
  return Held(vanto_string_create(text.c_str()));
}

Held newDictionary() {
  return Held(vanto_dictionary_create(nullptr, nullptr, 0));
}

}  // namespace

ManagerFixture::ManagerFixture() {
  chmod(directory_.path().c_str(), 0700);
  mkdir((directory_ / "run").c_str(), 0700);
  mkdir((directory_ / "programs").c_str(), 0755);
  setenv("XDG_RUNTIME_DIR", (directory_ / "run").c_str(), 1);
  unsetenv("XDG_SESSION_ID");
}

ManagerSetting ManagerFixture::setting(std::vector<std::string> more) const {
  ManagerSetting setting;
  // A build with sanitizers is told through these where its reports go.
  setting.arguments = {"--proxy", VANTO_TEST_PROXY, "--keep", "ASAN_OPTIONS", "--keep", "LLVM_PROFILE_FILE"};
  setting.arguments.insert(setting.arguments.end(), more.begin(), more.end());
  return setting;
}

ManagerSetting ManagerFixture::impatient(std::vector<std::string> more) const {
  ManagerSetting changed = setting(std::move(more));
  changed.program = VANTO_TEST_IMPATIENT_MANAGER;
  return changed;
}

std::string ManagerFixture::program(const std::string& behaviour, const std::string& name) const {
  const std::string path = directory_ / ("programs/" + behaviour + "@" + name);
  unlink(path.c_str());
  EXPECT_EQ(symlink(VANTO_TEST_MANAGED, path.c_str()), 0);
  const std::string probe = directory_ / "programs/probe";
  static_cast<void>(!symlink(VANTO_TEST_PROBE, probe.c_str()));
  return path;
}

Held ManagerFixture::job(const std::string& name, const std::string& path) {
  const Held services = newDictionary();
  vanto_dictionary_set_value(services, name.c_str(), Held(vanto_bool_create(true)));
  const Held arguments(vanto_array_create(nullptr, 0));
  vanto_array_append_value(arguments, newString("/usr/libexec/vantoproxy"));
  vanto_array_append_value(arguments, newString(path));
  Held made = newDictionary();
  vanto_dictionary_set_value(made, "Label", newString(name));
  vanto_dictionary_set_value(made, "MachServices", services);
  vanto_dictionary_set_value(made, "ProgramArguments", arguments);
  vanto_dictionary_set_value(made, "EnableTransactions", Held(vanto_bool_create(true)));
  return made;
}

std::string ManagerFixture::load(const std::string& behaviour, const std::string& name,
                                 const std::vector<std::pair<const char*, Held>>& entries) const {
  const Held made = job(name, program(behaviour, name));
  for (const auto& [key, value] : entries) vanto_dictionary_set_value(made, key, value);
  return loadJob(made);
}

std::string ManagerFixture::loadJob(const Held& job) const {
  const Held request = newDictionary();
  vanto_dictionary_set_value(request, "command", newString("load"));
  vanto_dictionary_set_value(request, "job", job);
  return errorOf(order(request));
}

Held ManagerFixture::order(const Held& request) {
  const Held connection = connect("org.vanto.tolvend.user");
  if (vanto_kind(connection) != VANTO_KIND_CONNECTION) return connection;
  return Held(vanto_call(connection, request, generous));
}

Held ManagerFixture::order(const std::string& command, const std::string& label) {
  const Held request = newDictionary();
  vanto_dictionary_set_value(request, "command", newString(command));
  if (!label.empty()) vanto_dictionary_set_value(request, "label", newString(label));
  return order(request);
}

std::string ManagerFixture::errorOf(const Held& reply) {
  if (vanto_kind(reply) == VANTO_KIND_ERROR) return vanto_error_get_text(reply);
  return text(reply, "error");
}

std::string ManagerFixture::text(vanto_object_t dictionary, const char* key) {
  const char* found = vanto_string_get_text(vanto_dictionary_get_value(dictionary, key));
  return found != nullptr ? found : "";
}

std::int64_t ManagerFixture::number(vanto_object_t dictionary, const char* key) {
  return vanto_int64_get_value(vanto_dictionary_get_value(dictionary, key));
}

Held ManagerFixture::stateOf(const std::string& label) {
  const Held reply = order("status", label);
  return Held::share(vanto_array_get_value(vanto_dictionary_get_value(reply, "jobs"), 0));
}

std::vector<std::string> ManagerFixture::logOf(const std::string& label) {
  const Held reply = order("logs", label);
  const vanto_object_t lines = vanto_dictionary_get_value(reply, "lines");
  std::vector<std::string> texts;
  for (std::size_t i = 0; i < vanto_array_get_count(lines); i++) {
    texts.push_back(text(vanto_array_get_value(lines, i), "text"));
  }
  return texts;
}

Held ManagerFixture::connect(const std::string& name, std::uint64_t timeout) {
  return Held(vanto_connect(name.c_str(), nullptr, timeout));
}

std::pair<std::int64_t, std::string> ManagerFixture::tell(vanto_object_t connection, const std::string& words) {
  if (vanto_kind(connection) == VANTO_KIND_ERROR) return {-1, vanto_error_get_text(connection)};
  const Held reply(vanto_call(connection, newString(words), generous));
  if (vanto_kind(reply) == VANTO_KIND_ERROR) return {-1, vanto_error_get_text(reply)};
  return {vanto_int64_get_value(reply), ""};
}

std::int64_t ManagerFixture::call(const std::string& name, const std::string& words) {
  const auto [pid, error] = tell(connect(name), words);
  EXPECT_EQ(error, "");
  return pid;
}

std::string ManagerFixture::refusalOf(const std::string& name) {
  const Held connection = connect(name);
  if (vanto_kind(connection) != VANTO_KIND_ERROR) return "connected";
  return std::to_string(vanto_error_get_code(connection)) + " " + vanto_error_get_text(connection);
}

std::size_t ManagerFixture::starts(const std::string& name) const {
  std::ifstream file(directory_ / ("programs/" + name + ".starts"));
  return static_cast<std::size_t>(std::count(std::istreambuf_iterator<char>(file), {}, '\n'));
}

std::string ManagerFixture::socketPath(const std::string& name) const {
  return directory_ / ("run/vanto/user/" + name);
}

}  // namespace vanto::test
