/* SPDX-License-Identifier: Apache-2.0 */
#include <string.h>

#include <VantoService/vanto.h>

/* A service and its client, in plain C. */

int runServiceAndClientInC(void);

struct service {
  int messages;
  int released;
};

static void receiveMessage(vanto_object_t connection, vanto_object_t event, void* context) {
  struct service* service = context;
  (void)connection;
  if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
  service->messages++;
  vanto_object_t reply = vanto_dictionary_create(NULL, NULL, 0);
  vanto_dictionary_set_value(reply, "asked", vanto_message_get_body(event));
  vanto_reply(event, reply);
  vanto_release(reply);
}

static void receiveConnection(vanto_object_t listener, vanto_object_t event, void* context) {
  (void)listener;
  if (vanto_kind(event) != VANTO_KIND_CONNECTION) return;
  vanto_connection_set_event_function(event, receiveMessage, context, NULL);
  vanto_connection_resume(event);
}

int runServiceAndClientInC(void) {
  static struct service service;
  vanto_queue_t queue = vanto_queue_create("in C");
  vanto_object_t listener = vanto_connection_create_listener("org.example.in-c", queue);
  vanto_queue_release(queue);
  vanto_connection_set_event_function(listener, receiveConnection, &service, NULL);
  vanto_connection_resume(listener);
  vanto_object_t connection = vanto_connect("org.example.in-c", NULL, 60000000000);
  if (vanto_kind(connection) != VANTO_KIND_CONNECTION) return __LINE__;
  vanto_object_t question = vanto_string_create("what?");
  vanto_object_t reply = vanto_call(connection, question, VANTO_WAIT_FOREVER);
  if (vanto_kind(reply) != VANTO_KIND_DICTIONARY) return __LINE__;
  if (!vanto_equal(vanto_dictionary_get_value(reply, "asked"), question)) return __LINE__;
  if (service.messages != 1) return __LINE__;
  vanto_release(reply);
  vanto_release(question);
  vanto_release(connection);
  vanto_close(listener);
  vanto_release(listener);
  return 0;
}
