/* SPDX-License-Identifier: Apache-2.0 */
#include <VantoService/vanto.h>

#include <stdio.h>
#include <stdlib.h>

/* A client of the Echo service in plain C. */

static void print(const char* what, vanto_object_t object) {
  char* text = vanto_copy_description(object);
  printf("    %-8s %s\n", what, text);
  free(text);
}

static bool call(vanto_object_t connection) {
  vanto_object_t request = vanto_string_create("Hello from C");
  print("request", request);
  vanto_object_t reply = vanto_call(connection, request, UINT64_C(5000000000));
  print("reply", reply);
  bool echoed = vanto_equal(vanto_dictionary_get_value(reply, "echo"), request);
  vanto_release(reply);
  vanto_release(request);
  return echoed;
}

int main(void) {
  vanto_object_t connection = vanto_connect("org.vanto.example.echo", NULL, UINT64_C(5000000000));
  bool echoed = false;
  if (vanto_kind(connection) == VANTO_KIND_CONNECTION) {
    echoed = call(connection);
  } else {
    print("failed", connection);
  }
  vanto_release(connection);
  return echoed ? 0 : 1;
}
