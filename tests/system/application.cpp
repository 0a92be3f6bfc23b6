// SPDX-License-Identifier: Apache-2.0
#include <syslog.h>

#include <VantoService/Export.h>

// Joined with service.cpp, this makes a service program that has an application main loop.

extern "C" VANTO_EXPORT int QelApplicationMain(int argc, char** argv) {
  syslog(LOG_DEBUG, "QelApplicationMain got %d arguments, the last is %s", argc, argv[argc - 1]);
  return 7;
}
