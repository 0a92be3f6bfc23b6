// SPDX-License-Identifier: Apache-2.0
#include <unistd.h>

#include "vantoproxy/Proxy.h"

int main(int count, char** arguments) {
  return vanto::runProxy(count, arguments, environ);
}
