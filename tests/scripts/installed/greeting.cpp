// SPDX-License-Identifier: Apache-2.0
#include <VantoService/VantoService.h>

#include <cstdio>
#include <cstring>

#include <dlfcn.h>

// A service and its client in one process, a property list, and a look at this program's own symbols.

extern "C" __attribute__((visibility("default"))) int QelApplicationMain(int, char**) {
  return 0;
}

namespace {

constexpr const char* name = "org.vanto.test.installed";

void admit(vanto_object_t, vanto_object_t event) {
  if (vanto_kind(event) != VANTO_KIND_CONNECTION) return;
  vanto_connection_set_event_handler(event, [](vanto_object_t, vanto_object_t received) {
    if (vanto_kind(received) == VANTO_KIND_MESSAGE) vanto_reply(received, vanto_message_get_body(received));
  });
  vanto_connection_resume(event);
}

bool answers() {
  const dispatch_queue_t queue = dispatch_queue_create(name, nullptr);
  const vanto_object_t listener = vanto_connection_create_listener(name, queue);
  vanto_connection_set_event_handler(listener, admit);
  vanto_connection_resume(listener);
  const vanto_object_t connection = vanto_connect(name, nullptr, 5'000'000'000);
  const vanto_object_t request = vanto_string_create("greeting");
  const vanto_object_t reply = vanto_call(connection, request, 5'000'000'000);
  const bool equal = vanto_equal(reply, request);
  vanto_release(reply);
  vanto_release(request);
  vanto_release(connection);
  vanto_close(listener);
  vanto_release(listener);
  return equal;
}

bool readsPropertyLists() {
  const vanto::TemporaryScope scope;
  constexpr const char* text = R"(<plist version="1.0"><dict><key>a</key><string>b</string></dict></plist>)";
  const auto data = PlistData::create({reinterpret_cast<const std::uint8_t*>(text), std::strlen(text)});
  PlistValue* value = KorPropertyListCreateFromBytes(data.get());
  const auto* dictionary = vanto::as<PlistDictionary>(value);
  const auto* string = dictionary == nullptr ? nullptr : vanto::as<PlistString>(dictionary->valueForKey("a"));
  const bool read = string != nullptr && string->text() == "b";
  KorRelease(value);
  return read;
}

bool check(const char* what, bool holds) {
  if (!holds) std::fprintf(stderr, "failed: %s\n", what);
  return holds;
}

}  // namespace

int main() {
  bool good = check("a property list is read", readsPropertyLists());
  good &= check("the program's symbols are visible", dlsym(RTLD_DEFAULT, "QelApplicationMain") != nullptr);
  good &= check("a call is answered", answers());
  return good ? 0 : 1;
}
