// SPDX-License-Identifier: Apache-2.0
#include <stdio.h>

#include <VantoService/vanto.h>

// Calls the service of the guide, which sends back what it gets, and prints that.

int main(void) {
  vanto_object_t request = vanto_string_create("hello");
  vanto_object_t reply = vanto_call_service("org.example.echo", request, UINT64_C(20000000000));
  const char* text = vanto_kind(reply) == VANTO_KIND_ERROR ? vanto_error_get_text(reply) : vanto_string_get_text(reply);
  int status = puts(text == NULL ? "nothing" : text) < 0;
  vanto_release(reply);
  vanto_release(request);
  return status;
}
