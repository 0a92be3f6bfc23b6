// SPDX-License-Identifier: Apache-2.0
#include "vanto/HelpText.h"

#include <string_view>

#include "vanto/CodeHelp.h"
#include "vanto/ManagerHelp.h"
#include "vanto/ProfileHelp.h"
#include "vanto/ServiceHelp.h"

namespace vanto::tool {
namespace {

constexpr std::string_view overview =
    R"(vanto finds, describes, checks, converts and archives services, gives orders to service
managers, checks sandbox profiles, and signs code.

Usage: vanto COMMAND ...

  list PLACE...           the services of host bundles and directories, a row for each
  show BUNDLE|EXECUTABLE  everything about one service
  job BUNDLE...           the job that a service manager is given, in one of five forms
  lint BUNDLE...          what is wrong with bundles, or will silently not apply
  cache write|show|check  an archive of services that loads without opening a bundle
  plist FILE              print a property list, or convert it: XML, binary, JSON
  units BUNDLE...         systemd units that start services without a service manager

  load BUNDLE...          give services to the service manager
  status [LABEL...]       what the service manager runs, once or all the time
  start|stop|restart|hold|unload LABEL...
                          orders about services that it has
  logs LABEL              what a service has written
  why LABEL               the last failure of a service, and how it is confined

  profile check|explain|diff|show|run|learn
                          what sandbox profiles say, and what kernels make of it

  sign PATH               sign a bundle or a single executable
  verify PATH             what was changed since it was signed, and whether to trust who did
  identify FILE|PID       who an executable or a process is to a service that asks
  requirement check TEXT  whether a requirement text is one, and who satisfies it
  key new|public|succeed  make a key to sign with, give it to others, replace it
  trust add|list|remove|revoke
                          whose signatures this user, or the machine, trusts

  -h, --help     this text, or that of a command: vanto COMMAND --help
      --version  the version

Where a PLACE or BUNDLE is asked for, a service bundle (X.vanto) stands for itself, a
host bundle for its services, another directory for the services in it and those of
the host bundles in it. Names and texts from files are printed with control characters
escaped, as \x1b. NO_COLOR takes the colours away.

Exit status: 0 fine, 1 done and found something wrong, 2 could not do it.

Examples:
  vanto list /opt/Mail.app
  vanto lint build/Mail.app && vanto job build/Mail.app > jobs.plist
  vanto list /opt --json | jq -r '.[].identifier'
)";

}  // namespace

std::string helpText(const std::string& command) {
  for (const std::span<const HelpTopic> topics : {serviceHelp(), managerHelp(), profileHelp(), codeHelp()}) {
    for (const HelpTopic& topic : topics) {
      if (topic.command == command) return std::string(topic.text);
    }
  }
  return std::string(overview);
}

}  // namespace vanto::tool
