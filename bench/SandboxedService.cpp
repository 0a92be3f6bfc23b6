// SPDX-License-Identifier: Apache-2.0
#include <VantoService/VantoService.h>

int main(int argc, char** argv) {
  return vanto_service_main(argc, argv, [](vanto_object_t, vanto_object_t) {});
}
