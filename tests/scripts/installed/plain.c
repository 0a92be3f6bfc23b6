/* SPDX-License-Identifier: Apache-2.0 */
#include <VantoService/KorRunLoop.h>
#include <VantoService/VantoServiceMain.h>
#include <VantoService/vanto.h>

#include <stdio.h>
#include <string.h>

/* A service and its client in plain C, in one process. */

static const char* const name = "org.vanto.test.plain";

static void answer(vanto_object_t connection, vanto_object_t event, void* context) {
  (void)connection;
  (void)context;
  if (vanto_kind(event) == VANTO_KIND_MESSAGE) {
    vanto_reply(event, vanto_dictionary_get_value(vanto_message_get_body(event), "number"));
  }
}

static void admit(vanto_object_t listener, vanto_object_t event, void* context) {
  (void)listener;
  if (vanto_kind(event) != VANTO_KIND_CONNECTION) return;
  vanto_connection_set_event_function(event, answer, context, NULL);
  vanto_connection_resume(event);
}

static void stop(void* loop) {
  KorRunLoopStop(loop);
}

int main(void) {
  vanto_object_t listener = vanto_connection_create_listener(name, NULL);
  vanto_connection_set_event_function(listener, admit, NULL, NULL);
  vanto_connection_resume(listener);

  const char* const keys[] = {"number"};
  vanto_object_t number = vanto_int64_create(42);
  vanto_object_t request = vanto_dictionary_create(keys, &number, 1);
  vanto_object_t connection = vanto_connect(name, NULL, UINT64_C(5000000000));
  vanto_object_t reply = vanto_call(connection, request, UINT64_C(5000000000));
  bool answered = vanto_int64_get_value(reply) == 42;
  if (!answered) fprintf(stderr, "failed: %s\n", vanto_error_get_text(reply));

  KorRunLoop* loop = KorRunLoopGetCurrent();
  KorRunLoopPerform(loop, loop, stop);
  KorRunLoopRun();

  vanto_release(reply);
  vanto_release(connection);
  vanto_release(request);
  vanto_release(number);
  vanto_close(listener);
  vanto_release(listener);
  return answered ? 0 : 1;
}
