// SPDX-License-Identifier: Apache-2.0
#include <VantoService/VantoService.h>
#include <VantoServiceTest/FakeHost.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>

// A unit test of a service, without a host: its bundle is made in the folder that the argument names.

namespace {

void echo(vanto_object_t, vanto_object_t event) {
  if (vanto_kind(event) != VANTO_KIND_CONNECTION) return;
  vanto_connection_set_event_handler(event, [](vanto_object_t, vanto_object_t received) {
    if (vanto_kind(received) == VANTO_KIND_MESSAGE) vanto_reply(received, vanto_message_get_body(received));
  });
  vanto_connection_resume(event);
}

std::string makeBundle(const std::string& folder) {
  const std::string contents = folder + "/echo.vanto/Contents";
  std::filesystem::create_directories(contents + "/Linux");
  std::ofstream(contents + "/Info.plist")
      << R"(<plist version="1.0"><dict><key>KorBundleIdentifier</key><string>org.vanto.test.fake</string>)"
      << R"(<key>VantoService</key><dict/></dict></plist>)";
  return contents + "/Linux/echo";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  vanto::test::FakeHost host;
  host.answers().executablePath = makeBundle(argv[1]);
  bool answered = false;
  host.whileRunning([&] {
    vanto::test::FakeClient client = host.connect("org.vanto.test.fake");
    const vanto_object_t body = vanto_int64_create(42);
    const vanto::test::FakeRequest request = client.call(body);
    answered = vanto_int64_get_value(request.reply()) == 42;
    vanto_release(body);
  });
  const int status = vanto_service_main(argc, argv, echo);
  const bool listened = host.count("vanto_connection_create_listener") == 1;
  std::printf("answered: %d, listened: %d, status: %d\n", answered, listened, status);
  return answered && listened && status == 0 ? 0 : 1;
}
